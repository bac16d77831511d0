#include "JNFoundation/platform/dispatch/MainQueue.h"

#include <algorithm>

#include <JNFoundation/platform/dispatch/MainQueueHost.h>
#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/dispatch/impl/ConditionHost.h>
#include <JNFoundation/platform/value/FatalError.h>

namespace JNFoundation::inline v0_1 {
namespace {

/// A vector with room for more tasks than this gives its memory back once it is hardly used: the
/// rush that it grew for is over.
constexpr std::size_t keptCapacity = 65536;
constexpr std::size_t hardlyUsed = 8;

/// The queue's lock is held for a few instructions by one who posts, so that whoever finds it taken
/// gets it by trying again sooner than by falling asleep and being woken.
class BriefLock {
 public:
  explicit BriefLock(std::mutex& mutex) : _mutex(mutex) {
    for (int i = 0; i < trials; ++i) {
      if (_mutex.try_lock()) return;
      relax();
    }
    _mutex.lock();
  }
  ~BriefLock() { _mutex.unlock(); }
  BriefLock(const BriefLock&) = delete;
  BriefLock& operator=(const BriefLock&) = delete;

 private:
  static constexpr int trials = 100;

  static void relax() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    __asm__ volatile("yield");
#endif
  }

  std::mutex& _mutex;
};

/// The process's first thread, or the one that a scope or the application chose; 0 is no thread.
std::atomic<std::uint64_t> lastThreadNumber{1};

}  // namespace

constinit std::atomic<MainQueue*> MainQueue::_current{nullptr};
constinit std::atomic<std::uint64_t> MainQueue::_mainThreadNumber{1};
thread_local constinit std::uint64_t MainQueue::_threadNumber = 0;

/// Static objects are initialised by the thread that loads the library.
struct MainThreadMark {
  MainThreadMark() noexcept { MainQueue::_threadNumber = 1; }
};
static const MainThreadMark mark;

MainQueue& MainQueue::makeCurrent() {
  // Outlives every static object: other threads may post until the very end.
  static MainQueue* process = new MainQueue;
  MainQueue* none = nullptr;
  _current.compare_exchange_strong(none, process, std::memory_order_acq_rel);
  return none ? *none : *process;
}

void MainQueue::adoptCurrentThread() {
  if (_current.load(std::memory_order_acquire)) {
    fatalError("adoptCurrentThread: the main queue is in use already");
  }
  _threadNumber = ++lastThreadNumber;
  _mainThreadNumber.store(_threadNumber, std::memory_order_relaxed);
}

MainQueue::MainQueue(std::unique_ptr<MainQueueHost> host) : _runLoop(makeObject<NSRunLoop>(this)) {
  setHost(std::move(host));
}

MainQueue::~MainQueue() {
  close();
  _host->_queue = nullptr;
  _host->leave();
}

void MainQueue::close() noexcept {
  std::vector<Task> incoming;
  std::vector<Delayed> delayed;
  {
    std::lock_guard guard(_mutex);
    _isClosed = true;
    incoming.swap(_incoming);
    delayed.swap(_delayed);
    _earliest.store(never);
  }
  // What the tasks captured may post again while it dies; that goes the same way at once.
  dropBatch();
  incoming.clear();
  delayed.clear();
  _runLoop->close();
}

void MainQueue::setHost(std::unique_ptr<MainQueueHost> host) {
  if (_runLoop->currentMode()) fatalError("setHost: the main run loop is running");
  std::shared_ptr<MainQueueHost> replaced = std::move(host);
  if (!replaced) replaced = std::make_shared<impl::ConditionHost>();
  replaced->_queue = this;
  {
    std::lock_guard guard(_mutex);
    _host.swap(replaced);
  }
  if (replaced) {
    replaced->_queue = nullptr;
    replaced->leave();
  }
  _armed = never;
  deadlineChanged();
  wakeUpIfPending();
}

void MainQueue::async(Task task) {
  if (!task) fatalError("async: the task must not be null");
  std::shared_ptr<MainQueueHost> host;
  {
    BriefLock guard(_mutex);
    if (_isClosed) return;
    if (_incoming.empty()) host = _host;
    _incoming.push_back(std::move(task));
  }
  if (host) host->wakeUp();
}

void MainQueue::after(NSTimeInterval seconds, Task task) {
  if (!task) fatalError("after: the task must not be null");
  const Nanoseconds now = Clock::current().monotonic();
  const Nanoseconds delay = std::max(nanosecondsFromSeconds(seconds), Nanoseconds{0});
  std::shared_ptr<MainQueueHost> host;
  {
    std::lock_guard guard(_mutex);
    if (_isClosed) return;
    const bool wasEmpty = _incoming.empty();
    const Nanoseconds earliest = _earliest.load();
    _delayed.push_back({saturatingSum(now, delay), _delayedCount++, std::move(task)});
    std::push_heap(_delayed.begin(), _delayed.end(), isLater);
    // Also the ones that came due before it go first.
    if (delay == 0) moveDueTasks(now);
    updateEarliest();
    if (_earliest.load() < earliest || (wasEmpty && !_incoming.empty())) host = _host;
  }
  if (host) host->wakeUp();
}

bool MainQueue::isIdle() noexcept {
  if (hasBatch() || nextDeadline() <= Clock::current().monotonic()) return false;
  std::lock_guard guard(_mutex);
  return _incoming.empty();
}

Nanoseconds MainQueue::nextDeadline() const noexcept {
  return std::min(_earliest.load(), _runLoop->nextMoment());
}

bool MainQueue::isLater(const Delayed& left, const Delayed& right) noexcept {
  return left.moment != right.moment ? left.moment > right.moment : left.order > right.order;
}

void MainQueue::moveDueTasks(Nanoseconds now) {
  while (!_delayed.empty() && _delayed.front().moment <= now) {
    std::pop_heap(_delayed.begin(), _delayed.end(), isLater);
    _incoming.push_back(std::move(_delayed.back().task));
    _delayed.pop_back();
  }
}

void MainQueue::updateEarliest() noexcept {
  _earliest.store(_delayed.empty() ? never : _delayed.front().moment);
}

/// Ends a turn however it is left.
class MainQueue::Turn {
 public:
  explicit Turn(MainQueue& queue) noexcept : _queue(queue) {}
  ~Turn() {
    if (!hasTakenBatch || _queue.hasBatch()) _queue.wakeUpIfPending();
    _queue.deadlineChanged();
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  /// From then on whoever posts wakes the host; before, the turn may have used up the wake-up.
  bool hasTakenBatch = false;

 private:
  MainQueue& _queue;
};

void MainQueue::serve() {
  Turn turn(*this);
  submitDue();
  if (!hasBatch()) {
    takeBatch();
    turn.hasTakenBatch = true;
  }
  runBatch();
  _runLoop->fireDueTimers();
}

void MainQueue::submitDue() {
  const Nanoseconds earliest = _earliest.load();
  if (earliest == never) return;
  const Nanoseconds now = Clock::current().monotonic();
  if (earliest > now) return;
  std::lock_guard guard(_mutex);
  moveDueTasks(now);
  updateEarliest();
}

void MainQueue::takeBatch() {
  if (!_batch.empty()) dropBatch();
  ++_batchNumber;
  BriefLock guard(_mutex);
  _batch.swap(_incoming);
}

void MainQueue::runBatch() {
  // A run of the loop inside a task may finish this batch and begin others; those are its own.
  const std::uint64_t number = _batchNumber;
  if (_batch.size() - _next > 1) _host->willRunSeveral();
  while (number == _batchNumber && hasBatch()) {
    const Task task = std::move(_batch[_next++]);
    ++_handledCount;
    task();
  }
  if (!hasBatch()) dropBatch();
}

void MainQueue::dropBatch() noexcept {
  const std::size_t capacity = _batch.capacity();
  const bool isTooLarge = capacity > keptCapacity && _batch.size() < capacity / hardlyUsed;
  _batch.clear();
  if (isTooLarge) std::vector<Task>().swap(_batch);
  _next = 0;
}

void MainQueue::wakeUpIfPending() noexcept {
  std::shared_ptr<MainQueueHost> host;
  {
    std::lock_guard guard(_mutex);
    if (hasBatch() || !_incoming.empty()) host = _host;
  }
  if (host) host->wakeUp();
}

void MainQueue::deadlineChanged() noexcept {
  const Nanoseconds moment = nextDeadline();
  // A moment that has come was used up.
  const bool mustArm =
      moment != _armed || (moment != never && moment <= Clock::current().monotonic());
  if (!mustArm) return;
  _armed = moment;
  _host->callAt(moment);
}

void MainQueue::wakeUp() noexcept {
  std::shared_ptr<MainQueueHost> host;
  {
    std::lock_guard guard(_mutex);
    host = _host;
  }
  host->wakeUp();
}

MainQueueScope::MainQueueScope(std::unique_ptr<MainQueueHost> host)
    : _queue(std::move(host)),
      _previousQueue(MainQueue::_current.load()),
      _previousMainThread(MainQueue::_mainThreadNumber.load()),
      _previousThreadNumber(MainQueue::_threadNumber) {
  MainQueue::_threadNumber = ++lastThreadNumber;
  MainQueue::_mainThreadNumber.store(MainQueue::_threadNumber);
  MainQueue::_current.store(&_queue);
}

MainQueueScope::~MainQueueScope() {
  _queue.close();
  MainQueue::_current.store(_previousQueue);
  MainQueue::_mainThreadNumber.store(_previousMainThread);
  MainQueue::_threadNumber = _previousThreadNumber;
}

}  // namespace JNFoundation
