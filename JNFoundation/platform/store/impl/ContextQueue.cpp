#include "JNFoundation/platform/store/impl/ContextQueue.h"

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <vector>

#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {

/// What is known of a thread that has or wants queues.
struct ContextQueue::Thread {
  ~Thread();

  std::vector<ContextQueue*> owned;
  ContextQueue* waitsFor = nullptr;
  /// How many of its queues others have for the time being: it waits at least as long.
  int lent = 0;
};

/// Somebody who waits for the queue. Guarded by the lock.
struct ContextQueue::Waiting {
  Thread* thread;
  /// False while its thread serves somebody else: it cannot take the queue then.
  bool isAwake = true;
};

/// What somebody waits for the main thread to do. Guarded by the lock.
struct ContextQueue::MainRequest {
  const Block<void()>* work;
  Thread* thread;
  bool isDone = false;
  bool isDropped = false;
  std::exception_ptr failure = nullptr;
};

struct ContextQueue::Shared {
  std::mutex mutex;
  /// Notified of whatever may end a wait. Those who wait are few, and find out themselves.
  std::condition_variable wakeUp;
  // Guarded by the mutex.
  /// The main thread, if it ever waited.
  Thread* mainThread = nullptr;
  /// What others want the main thread to do.
  std::deque<MainRequest*> mainRequests;
};

/// The task that an executor has: tells the queue when it was dropped.
class ContextQueue::DrainTicket final : public NSObject {
 public:
  explicit DrainTicket(ContextQueue& queue) : _queue(&queue) {}
  ~DrainTicket() override {
    if (!_hasRun) _queue->drop();
  }
  void run() {
    _hasRun = true;
    _queue->drain();
  }

 private:
  const Ref<ContextQueue> _queue;
  bool _hasRun = false;
};

/// The task that the main queue has. Whoever waits lives until it was run or dropped.
class ContextQueue::MainTicket final : public NSObject {
 public:
  explicit MainTicket(std::shared_ptr<MainRequest> request) : _request(std::move(request)) {}
  ~MainTicket() override {
    Lock lock(shared().mutex);
    auto& requests = shared().mainRequests;
    const auto found = std::find(requests.begin(), requests.end(), _request.get());
    if (found == requests.end()) return;
    requests.erase(found);
    _request->isDropped = true;
    shared().wakeUp.notify_all();
  }
  void run() {
    Lock lock(shared().mutex);
    auto& requests = shared().mainRequests;
    const auto found = std::find(requests.begin(), requests.end(), _request.get());
    // The main thread may have served it already, while it waited itself.
    if (found == requests.end()) return;
    requests.erase(found);
    serve(*_request, lock);
  }

 private:
  const std::shared_ptr<MainRequest> _request;
};

ContextQueue::Shared& ContextQueue::shared() {
  // Never destroyed: contexts may outlive main.
  static Shared& shared = *new Shared;
  return shared;
}

ContextQueue::Thread::~Thread() {
  Lock lock(shared().mutex);
  if (shared().mainThread == this) shared().mainThread = nullptr;
}

ContextQueue::Thread& ContextQueue::thisThread() {
  static thread_local Thread thread;
  return thread;
}

bool ContextQueue::isCurrent() const noexcept {
  if (isMain()) return MainQueue::isMainThread();
  return _owner.load(std::memory_order_relaxed) == &thisThread();
}

// ---- Who has it ---------------------------------------------------------------------------------

const ContextQueue::Thread* ContextQueue::owner() const noexcept {
  return isMain() ? shared().mainThread : _owner.load(std::memory_order_relaxed);
}

void ContextQueue::take(Thread& thread) {
  thread.owned.push_back(this);
  _owner.store(&thread, std::memory_order_relaxed);
}

bool ContextQueue::release(Thread& thread) noexcept {
  _owner.store(nullptr, std::memory_order_relaxed);
  std::erase(thread.owned, this);
  for (const Entry& entry : _entries) {
    if (!entry.waiting || !entry.waiting->isAwake) continue;
    shared().wakeUp.notify_all();
    return false;
  }
  return needsDrain();
}

/// Ends a loan.
void ContextQueue::giveBack(Thread& thread, Thread& lender) noexcept {
  _owner.store(&lender, std::memory_order_relaxed);
  std::erase(thread.owned, this);
  --lender.lent;
  shared().wakeUp.notify_all();
}

/// Whether posted work stands in front, and nobody else is going to do it.
bool ContextQueue::needsDrain() noexcept {
  if (_isDrainPosted || _owner.load(std::memory_order_relaxed) || _entries.empty()) return false;
  if (_entries.front().waiting) return false;
  const bool hasHelp = std::any_of(_entries.begin(), _entries.end(), [](const Entry& entry) {
    return entry.waiting && entry.waiting->isAwake;
  });
  if (hasHelp) return false;
  return _isDrainPosted = true;
}

/// Whether nobody who could take the queue stands before this one.
bool ContextQueue::isNext(const Waiting& waiting) const noexcept {
  for (const Entry& entry : _entries) {
    if (entry.waiting == &waiting) return true;
    if (entry.waiting && entry.waiting->isAwake) return false;
  }
  return false;
}

void ContextQueue::forget(const Waiting& waiting) noexcept {
  std::erase_if(_entries, [&](const Entry& entry) { return entry.waiting == &waiting; });
}

/// Whether what the one waits for cannot go on before the other does.
bool ContextQueue::dependsOn(const Thread& waiter, const Thread& other) noexcept {
  constexpr int longestChain = 256;
  const ContextQueue* queue = waiter.waitsFor;
  for (int step = 0; queue && step < longestChain; ++step) {
    const Thread* owner = queue->owner();
    if (owner == &other) return true;
    if (!owner || owner == &waiter) return false;
    queue = owner->waitsFor;
  }
  return false;
}

// ---- Posted work --------------------------------------------------------------------------------

void ContextQueue::async(Block<void()> work) {
  if (isMain()) {
    MainQueue::current().async(std::move(work));
    return;
  }
  bool isToDrain = false;
  {
    Lock lock(shared().mutex);
    _entries.push_back({std::move(work), nullptr});
    isToDrain = needsDrain();
  }
  if (isToDrain) postDrain();
}

void ContextQueue::postDrain() {
  const auto ticket = makeObject<DrainTicket>(*this);
  _executor([ticket] { ticket->run(); });
}

/// The posted work that stands in front now. What it throws leaves a drain; whoever only helps has
/// the executor meet it instead.
void ContextQueue::runPosted(Lock& lock, bool isHelping) {
  std::size_t count = _entries.size();
  while (count-- > 0 && !_entries.empty() && !_entries.front().waiting) {
    Block<void()> work = std::move(_entries.front().work);
    _entries.pop_front();
    lock.unlock();
    if (isHelping) {
      try {
        work();
      } catch (...) {
        _executor([failure = std::current_exception()] { std::rethrow_exception(failure); });
      }
    } else {
      work();
    }
    work = nullptr;
    lock.lock();
  }
}

void ContextQueue::drain() {
  Thread& me = thisThread();
  Lock lock(shared().mutex);
  _isDrainPosted = false;
  // Whoever has the queue, or is about to, sees to the rest.
  if (_owner.load(std::memory_order_relaxed) || _entries.empty() || _entries.front().waiting)
    return;
  take(me);
  struct Release {
    ContextQueue& queue;
    Thread& thread;
    Lock& lock;
    ~Release() {
      if (!lock.owns_lock()) lock.lock();
      const bool isToDrain = queue.release(thread);
      lock.unlock();
      if (isToDrain) queue.postDrain();
    }
  } release{*this, me, lock};
  runPosted(lock, false);
}

void ContextQueue::drop() noexcept {
  std::vector<Block<void()>> dropped;
  Lock lock(shared().mutex);
  _isDrainPosted = false;
  for (Entry& entry : _entries) {
    if (!entry.waiting) dropped.push_back(std::move(entry.work));
  }
  std::erase_if(_entries, [](const Entry& entry) { return !entry.waiting; });
  if (!_entries.empty()) shared().wakeUp.notify_all();
  lock.unlock();
}

// ---- Work that somebody waits for ---------------------------------------------------------------

/// Does it for whoever waits.
void ContextQueue::serve(MainRequest& request, Lock& lock) {
  lock.unlock();
  std::exception_ptr failure;
  try {
    (*request.work)();
  } catch (...) {
    failure = std::current_exception();
  }
  lock.lock();
  request.failure = failure;
  request.isDone = true;
  shared().wakeUp.notify_all();
}

/// On the main thread: serves one who waits for that, and on whom it depends itself.
bool ContextQueue::serveDependents(Thread& me, Waiting& mine, Lock& lock) {
  if (!MainQueue::isMainThread()) return false;
  auto& requests = shared().mainRequests;
  const auto place =
      std::find_if(requests.begin(), requests.end(),
                   [&](const MainRequest* request) { return dependsOn(me, *request->thread); });
  if (place == requests.end()) return false;
  MainRequest& found = **place;
  requests.erase(place);
  mine.isAwake = false;
  ContextQueue* const waitsFor = std::exchange(me.waitsFor, nullptr);
  serve(found, lock);
  me.waitsFor = waitsFor;
  mine.isAwake = true;
  return true;
}

void ContextQueue::sync(const Block<void()>& work) {
  if (isCurrent()) {
    work();
    return;
  }
  const Ref<ContextQueue> alive(this);
  if (isMain()) {
    syncOnMain(work);
    return;
  }
  Thread& me = thisThread();
  Waiting mine{&me};
  Lock lock(shared().mutex);
  _entries.push_back({nullptr, &mine});
  ContextQueue* const waitedFor = std::exchange(me.waitsFor, this);
  // Those who wait for queues of this thread may get them now.
  shared().wakeUp.notify_all();
  if (MainQueue::isMainThread()) shared().mainThread = &me;
  Thread* lender = nullptr;
  while (true) {
    if (serveDependents(me, mine, lock)) continue;
    if (me.lent == 0) {
      lender = _owner.load(std::memory_order_relaxed);
      if (!lender && isNext(mine)) break;
      // Whoever has the queue cannot go on before this thread does: it lends it.
      if (lender && lender->waitsFor && dependsOn(*lender, me)) break;
    }
    shared().wakeUp.wait(lock);
  }
  me.waitsFor = waitedFor;
  take(me);
  if (lender) ++lender->lent;
  struct Release {
    ContextQueue& queue;
    Waiting& waiting;
    Thread* lender;
    Lock& lock;
    ~Release() {
      if (!lock.owns_lock()) lock.lock();
      queue.forget(waiting);
      bool isToDrain = false;
      if (lender) {
        queue.giveBack(*waiting.thread, *lender);
      } else {
        isToDrain = queue.release(*waiting.thread);
      }
      lock.unlock();
      if (isToDrain) queue.postDrain();
    }
  } release{*this, mine, lender, lock};
  // Those ahead that serve somebody else at present are passed.
  while (!lender && !_entries.empty() && !_entries.front().waiting) runPosted(lock, true);
  forget(mine);
  lock.unlock();
  work();
}

void ContextQueue::syncOnMain(const Block<void()>& work) {
  Thread& me = thisThread();
  const auto mine = std::make_shared<MainRequest>(MainRequest{&work, &me});
  Lock lock(shared().mutex);
  shared().mainRequests.push_back(mine.get());
  ContextQueue* const waitedFor = std::exchange(me.waitsFor, this);
  // Those who wait for queues of this thread may get them now.
  shared().wakeUp.notify_all();
  lock.unlock();
  {
    const auto ticket = makeObject<MainTicket>(mine);
    MainQueue::current().async([ticket] { ticket->run(); });
  }
  lock.lock();
  while (me.lent > 0 || (!mine->isDone && !mine->isDropped)) shared().wakeUp.wait(lock);
  me.waitsFor = waitedFor;
  lock.unlock();
  if (mine->failure) std::rethrow_exception(mine->failure);
  if (mine->isDropped) {
    raise(NSInternalInconsistencyException,
          "The main queue went before work on a context of its own was begun");
  }
}

}  // namespace JNFoundation::impl
