#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include <JNFoundation/platform/dispatch/MainQueueHost.h>

namespace JNFoundation::inline v0_1 {

namespace impl {
class Sleeper;
}

/// What hosts over the event loops of other libraries have in common: wake-ups and changes of the
/// deadline reach the loop as one request at a time, however many there were; the loop has one
/// alarm; and without its loop (gone, or stopped) the host sleeps by itself, as the default one
/// does. A derived class says how its loop is asked for a turn, waits for a moment, and runs.
///
/// While a clock other than the system's is in use the loop is only looked at, never waited in:
/// such a clock lets time pass in its own way, and deadlines are noticed by the runs of NSRunLoop.
/// Threads: that of the main queue, unless said otherwise; a loop that calls `turn` or `alarm` on
/// another stops the process with a message.
class LoopHost : public MainQueueHost {
 public:
  ~LoopHost() override;
  LoopHost(const LoopHost&) = delete;
  LoopHost& operator=(const LoopHost&) = delete;

  void wakeUp() noexcept final;
  void callAt(Nanoseconds moment) noexcept final;
  void runTurn(Nanoseconds until) final;

 protected:
  /// What becomes of an exception out of a task or a timer: it passes through the loop to whoever
  /// runs it, or the process stops with a message, because the loop cannot be unwound.
  enum class Exceptions {
    pass,  ///< through the loop
    stop   ///< the process stops
  };
  explicit LoopHost(Exceptions exceptions);

  /// Makes the loop call `turn` soon. Not called again until it did. Threads: any; never two at
  /// once, nor together with or after `releaseLoop`.
  virtual void requestTurn() noexcept = 0;

  /// Makes the loop call `alarm` once that much time has passed, in place of the alarm before;
  /// `never` for not at all. Earlier does no harm: the alarm is then set again.
  virtual void setAlarm(Nanoseconds span) noexcept = 0;

  /// What a turn of the loop came to.
  enum class Ran {
    nothing,  ///< nothing but what the host asked for, or nothing at all
    events,   ///< something of the loop's own
    refused,  ///< the loop cannot be run now, and was not waited in
  };

  /// Runs one turn of the loop: what is ready, or, if nothing is, what is ready first, waiting for
  /// it for that span at most, 0 for not at all and `never` for any time.
  virtual Ran runLoop(Nanoseconds span) = 0;

  /// Lets go of everything that refers to the loop. Called once, by `detach`.
  virtual void releaseLoop() noexcept = 0;

  // Called by the loop.
  void turn();
  void alarm();

  /// Parts from the loop: it is about to go, or the queue has another host, or the derived class is
  /// being destroyed, whose destructor calls this. Happens once.
  void detach() noexcept;

 private:
  void willRunSeveral() noexcept final { wakeUp(); }
  void leave() noexcept final { detach(); }
  void request() noexcept;
  void arm() noexcept;
  void serveQueue();
  static void checkThread();

  const Exceptions _exceptions;
  std::atomic<bool> _isWoken{false};      ///< the queue has something to run
  std::atomic<bool> _isRequested{false};  ///< the loop is about to call `turn`
  std::mutex _mutex;
  bool _isAttached = true;  ///< guarded by the mutex where it is written, and off the main thread
  const std::unique_ptr<impl::Sleeper> _sleeper;

  Nanoseconds _moment = never;  ///< the deadline that the queue asked for
  Nanoseconds _armed = never;   ///< the deadline that the loop's alarm is set for
};

}  // namespace JNFoundation
