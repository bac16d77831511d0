#pragma once

#include <memory>

#include <JNFoundation/platform/dispatch/Clock.h>

namespace JNFoundation::inline v0_1 {

class MainQueue;

/// What the main queue needs of the event loop that the application runs on its main thread. Hosts
/// exist for no loop at all (the default), and in the adapters for those of other libraries. One
/// for a loop of your own is best derived from LoopHost, which knows what the adapters have in
/// common.
///
/// In return the host calls `serve` on the main thread: after a wake-up, and at the deadline.
class MainQueueHost : public std::enable_shared_from_this<MainQueueHost> {
 public:
  virtual ~MainQueueHost() = default;

  /// Makes the main thread call `serve` soon. Several wake-ups may become one call.
  /// Threads: any.
  virtual void wakeUp() noexcept = 0;

  /// Makes the main thread call `serve` at that moment of the current clock, in place of the moment
  /// asked for before; `never` for not at all.
  virtual void callAt(Nanoseconds moment) noexcept = 0;

  /// Runs one turn of the loop: what is ready, or, if nothing is, what is ready first, waiting for
  /// it until the moment at most. A moment in the past only looks. May be called from inside a
  /// handler that this loop runs. Fails: lets exceptions out of handlers pass, or stops the process
  /// with a message if the loop cannot be unwound.
  virtual void runTurn(Nanoseconds until) = 0;

 protected:
  /// Several tasks are about to run one after the other. A loop that a task may run itself, without
  /// NSRunLoop, should call `serve` there for the tasks behind.
  virtual void willRunSeveral() noexcept {}

  /// Lets go of what belongs to the loop: the queue has another host now, or is gone. Wake-ups that
  /// were under way on other threads may still come, and the last reference to the host may be
  /// theirs.
  virtual void leave() noexcept {}

  /// The loop ran something of its own, which ends a run of NSRunLoop as a task does.
  void didRunOther() noexcept;

  /// Runs what is due of the queue that this hosts; nothing while it hosts none.
  /// Fails: lets exceptions out of tasks and timers pass. What was due after them stays due, and
  /// the host has been woken for it.
  void serve();

  /// The same for a loop that cannot be unwound: an exception stops the process with a message.
  void serveOrStop() noexcept;

 private:
  friend class MainQueue;
  MainQueue* _queue = nullptr;
};

}  // namespace JNFoundation
