#pragma once

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>

#include <JNFoundation/platform/value/Block.h>

namespace JNFoundation::inline v0_1::impl {

/// The line in which work on one context stands: one piece of work at a time, first in, first out.
///
/// The main thread's is the main queue. Another one lends itself to whoever works in it: to threads
/// of an executor for what was posted, to the calling thread for what somebody waits for. Who waits
/// does the posted work ahead of his own himself, so that waiting needs no thread of the executor.
/// A thread that waits lends its queues to those who wait for them, if what it waits for depends on
/// them, and the main thread does for them what they want of it: contexts that ask each other from
/// several threads never lock each other out.
/// Threads: any.
class ContextQueue final : public NSObject {
 public:
  /// Runs a task once, on any thread, or drops it.
  using ExecutorBlock = Block<void(Block<void()> task)>;

  /// Takes: null for the main thread's.
  explicit ContextQueue(ExecutorBlock executor) : _executor(std::move(executor)) {}

  /// Adds work behind what is there. What was posted is dropped when the executor drops its task,
  /// or the main queue goes. What it throws passes to the executor's task, or to whoever runs the
  /// main loop.
  void async(Block<void()> work);
  /// Returns when the work is done; at once, on this thread, where that has the queue already.
  /// Fails: what the work throws. Raises NSInternalInconsistencyException when the main queue goes
  /// before the work was begun.
  void sync(const Block<void()>& work);

  bool isMain() const noexcept { return !_executor; }
  /// Whether the calling thread has the queue.
  bool isCurrent() const noexcept;

 private:
  class DrainTicket;
  class MainTicket;
  struct MainRequest;
  struct Shared;
  struct Thread;
  struct Waiting;

  struct Entry {
    /// Posted work; null where somebody waits.
    Block<void()> work;
    Waiting* waiting;
  };
  using Lock = std::unique_lock<std::mutex>;

  static Shared& shared();
  static Thread& thisThread();
  static bool dependsOn(const Thread& waiter, const Thread& other) noexcept;
  static void serve(MainRequest& request, Lock& lock);
  static bool serveDependents(Thread& me, Waiting& mine, Lock& lock);

  void syncOnMain(const Block<void()>& work);
  void drain();
  void drop() noexcept;
  void postDrain();

  // With the lock.
  const Thread* owner() const noexcept;
  bool isNext(const Waiting& waiting) const noexcept;
  void forget(const Waiting& waiting) noexcept;
  void runPosted(Lock& lock, bool isHelping);
  void take(Thread& thread);
  /// Returns: whether a drain is to be posted.
  bool release(Thread& thread) noexcept;
  void giveBack(Thread& thread, Thread& lender) noexcept;
  bool needsDrain() noexcept;

  const ExecutorBlock _executor;
  // Guarded by the lock that all queues share.
  std::deque<Entry> _entries;
  bool _isDrainPosted = false;
  /// Read without the lock by who only asks whether it is he.
  std::atomic<Thread*> _owner{nullptr};
};

}  // namespace JNFoundation::impl
