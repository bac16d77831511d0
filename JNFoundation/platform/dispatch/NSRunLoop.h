#pragma once

#include <atomic>
#include <memory>

#include <JNFoundation/platform/dispatch/Clock.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation::inline v0_1 {

class MainQueue;
class NSTimer;

namespace impl {
class Sleeper;
class TimerList;
}  // namespace impl

/// The mode that loops run in unless another is named.
inline constexpr const char* NSDefaultRunLoopMode = "kCFRunLoopDefaultMode";
/// For adding timers: every mode.
inline constexpr const char* NSRunLoopCommonModes = "kCFRunLoopCommonModes";

/// Runs what a thread has waiting: timers, and on the main thread the tasks of the main queue.
/// Every thread has one. A loop runs only while its thread is inside one of the run operations,
/// which may also be called from inside a handler, to any depth.
///
///     while (!isDone && deadline.timeIntervalSince1970() > Clock::current().now()) {
///       NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, deadline);
///     }
///
/// The tasks of the main queue run in every mode, timers in the modes that they were added to.
/// Threads: the loop's own, unless said otherwise; on another the process stops with a message.
/// Fails: an exception out of a handler passes through the run operations.
class NSRunLoop : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// The calling thread's loop, made at first use. Threads: any.
  static Ref<NSRunLoop> currentRunLoop();

  /// The main thread's loop. Threads: any.
  static Ref<NSRunLoop> mainRunLoop();

  /// Runs once: until tasks of the main queue were run, the date came, or `stop` was called. Timers
  /// fire meanwhile, but do not end the run; what an event loop that hosts the queue runs of its
  /// own does. On other threads than the main one only time ends it, or `stop`. A date in the past
  /// runs what is ready without waiting. Returns: true. There is always something that a loop can
  /// wait for. Fails: raises NSInvalidArgumentException for anything but a date.
  bool runModeBeforeDate(const Ref<NSString>& mode, const Value& limitDate);

  /// Runs in the default mode until the date has come or `stop` was called.
  void runUntilDate(const Value& limitDate);

  /// Runs in the default mode until `stop` is called.
  void run();

  /// Ends the innermost run in progress when its turn is over; with none in progress, the next one
  /// after one turn. Threads: any.
  void stop() noexcept;

  /// The mode of the innermost run in progress. Returns: null outside every run.
  Ref<NSString> currentMode() const noexcept { return _mode; }

  /// Lets the timer fire in runs of that mode; a timer may be added for several. The loop keeps the
  /// timer until it is invalidated. An invalid timer is ignored,
  /// and one that comes when the thread is ending is invalidated.
  /// Fails: raises NSInvalidArgumentException for a timer of another loop and for null.
  void addTimerForMode(const Ref<NSTimer>& timer, const Ref<NSString>& mode);

  /// Fires what is due in that mode, without waiting, as a run with a date in the past does.
  /// Returns: the date at which the next timer is due, or the distant future.
  Value limitDateForMode(const Ref<NSString>& mode);

 protected:
  /// The main loop has a queue; the others have none.
  explicit NSRunLoop(MainQueue* queue);
  ~NSRunLoop() override;

 private:
  friend class MainQueue;
  friend class NSTimer;
  friend class ThreadRunLoop;
  class Run;

  void checkThread() const;
  void runTurn(Nanoseconds until);
  /// Returns: whether it was stopped.
  bool runOnce(Nanoseconds until);
  void fireDueTimers();
  /// When the next timer of the current mode is due.
  Nanoseconds nextMoment() const noexcept;
  void timersChanged() noexcept;
  void removeTimer(NSTimer& timer) noexcept;
  void rescheduleTimer(NSTimer& timer, Nanoseconds moment) noexcept;
  const Ref<NSString>& timerMode() const;
  /// Invalidates every timer: the thread or the queue is ending.
  void close() noexcept;

  MainQueue* _queue;
  bool _isClosed = false;
  std::atomic<bool> _isStopped{false};
  Ref<NSString> _mode;
  std::unique_ptr<impl::TimerList> _timers;
  std::unique_ptr<impl::Sleeper> _sleeper;  ///< null for the main loop, whose queue has a host
};

}  // namespace JNFoundation
