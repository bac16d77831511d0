#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include <JNFoundation/platform/dispatch/Clock.h>
#include <JNFoundation/platform/dispatch/MainQueueHost.h>
#include <JNFoundation/platform/value/Block.h>

namespace JNFoundation::inline v0_1 {

class NSRunLoop;

/// The first-in-first-out queue of what runs on the main thread.
///
///     MainQueue::current().async([label] { label->refresh(); });
///     MainQueue::current().after(0.5, [view] { view->hide(); });
///
/// The main thread is the one that loaded the library, in general the process's first, unless the
/// application adopts another. The queue is served by whoever runs the main thread's `NSRunLoop`,
/// or by the event loop of the application when that is its host.
///
/// Each turn runs the tasks that were there when it began, then the timers that are due, so a task
/// that posts itself again never starves them. A run of the loop from inside a task goes on with
/// the very next task. A task is released as soon as it has run. Fails: an exception out of a task
/// or timer passes to whoever runs the loop. The tasks behind it run in the next turn, in order.
/// Threads: `async`, `after` and the static members any; the rest the main thread.
class MainQueue {
 public:
  /// A queue with that host; null is the default one, which sleeps when there is nothing to do.
  explicit MainQueue(std::unique_ptr<MainQueueHost> host = nullptr);

  /// Releases what is pending without running it, and invalidates the main run loop's timers.
  ~MainQueue();

  MainQueue(const MainQueue&) = delete;
  MainQueue& operator=(const MainQueue&) = delete;

  /// The queue of the process, made at first use, or the one that a MainQueueScope put in its
  /// place.
  static MainQueue& current() {
    MainQueue* queue = _current.load(std::memory_order_acquire);
    return queue ? *queue : makeCurrent();
  }

  /// Whether the calling thread is the main one. Costs next to nothing.
  static bool isMainThread() noexcept {
    return _threadNumber == _mainThreadNumber.load(std::memory_order_relaxed);
  }

  /// Makes the calling thread the main one. Requires: nothing has used the queue yet; the process
  /// stops with a message otherwise.
  static void adoptCurrentThread();

  /// Adds a task behind those that are there. Requires: a non-null task.
  void async(Block<void()> task);

  /// Adds the task to the queue as soon as that many seconds have passed; tasks with equal
  /// deadlines in the order in which they were asked for. Nothing or less adds it now. Requires: a
  /// non-null task.
  void after(NSTimeInterval seconds, Block<void()> task);

  /// Whether a turn would run nothing: no task waits, and neither a delayed one nor a timer of the
  /// mode that the loop runs in, the default one outside of runs, has come due.
  bool isIdle() noexcept;

  /// When the next delayed task or timer of that mode comes due, or has; `never` without any.
  Nanoseconds nextDeadline() const noexcept;

  /// The main thread's run loop.
  NSRunLoop& runLoop() noexcept { return *_runLoop; }

  /// Hands the queue to another host, null for the default one. Requires: no run is in progress.
  void setHost(std::unique_ptr<MainQueueHost> host);

 private:
  friend class MainQueueHost;
  friend class MainQueueScope;
  friend class NSRunLoop;
  friend struct MainThreadMark;
  class Turn;

  using Task = Block<void()>;
  struct Delayed {
    Nanoseconds moment;
    std::uint64_t order;
    Task task;
  };

  static MainQueue& makeCurrent();
  static bool isLater(const Delayed& left, const Delayed& right) noexcept;

  /// One turn: delayed tasks that have come due, one batch of tasks, timers that are due.
  void serve();
  void submitDue();
  void takeBatch();
  void runBatch();
  void dropBatch() noexcept;
  bool hasBatch() const noexcept { return _next < _batch.size(); }
  void wakeUp() noexcept;
  void wakeUpIfPending() noexcept;
  void deadlineChanged() noexcept;
  /// Drops what is pending and whatever is posted from now on.
  void close() noexcept;

  // With the mutex locked.
  void moveDueTasks(Nanoseconds now);
  void updateEarliest() noexcept;

  static std::atomic<MainQueue*> _current;
  static std::atomic<std::uint64_t> _mainThreadNumber;
  /// 0 in threads that never were the main one.
  static thread_local constinit std::uint64_t _threadNumber;

  std::mutex _mutex;
  // Guarded by the mutex.
  std::vector<Task> _incoming;
  std::vector<Delayed> _delayed;  ///< a heap, the earliest on top
  std::uint64_t _delayedCount = 0;
  std::shared_ptr<MainQueueHost> _host;  ///< written by the main thread only
  bool _isClosed = false;

  /// The moment of the top of the heap.
  std::atomic<Nanoseconds> _earliest{never};

  // The main thread's.
  std::vector<Task> _batch;
  std::size_t _next = 0;  ///< the task of the batch that runs next
  std::uint64_t _batchNumber = 0;
  std::uint64_t _handledCount = 0;
  Nanoseconds _armed = never;
  Ref<NSRunLoop> _runLoop;
};

/// Puts a queue of its own in the place of the process's until the end of the scope, and makes the
/// calling thread the main one. For tests: scopes are nested, not interleaved, and threads that
/// post have ended before the scope does.
class MainQueueScope {
 public:
  /// Takes: as the constructor of the queue.
  explicit MainQueueScope(std::unique_ptr<MainQueueHost> host = nullptr);
  ~MainQueueScope();
  MainQueueScope(const MainQueueScope&) = delete;
  MainQueueScope& operator=(const MainQueueScope&) = delete;

  /// The scope's own queue.
  MainQueue& queue() noexcept { return _queue; }

 private:
  MainQueue _queue;
  MainQueue* _previousQueue;
  std::uint64_t _previousMainThread;
  std::uint64_t _previousThreadNumber;
};

/// `MainQueue::current().async(task)`.
inline void dispatch_async_main(Block<void()> task) { MainQueue::current().async(std::move(task)); }

/// `MainQueue::current().after(seconds, task)`.
inline void dispatch_after_main(NSTimeInterval seconds, Block<void()> task) {
  MainQueue::current().after(seconds, std::move(task));
}

}  // namespace JNFoundation
