#pragma once

#include <vector>

#include <JNFoundation/platform/dispatch/Clock.h>
#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation::inline v0_1 {

class NSRunLoop;

namespace impl {
class TimerList;
}

/// Sends a message or calls a block at a date, once or again and again, while its run loop runs.
///
///     Ref<NSTimer> timer = NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(
///         0.5, true, [clock](const Ref<NSTimer>&) { clock->tick(); });
///     timer->invalidate();
///
/// A timer fires at its date or after it, never before. The dates of a repeating one are a grid
/// from its first date on, without drift: one that is late fires once, and next at the first date
/// of the grid that is still to come. While its handler runs it does not fire again, whoever runs
/// the loop in there. Timers that are due together fire in the order of their dates, then of their
/// adding.
///
/// An interval of nothing or less counts as a tenth of a millisecond, one of more than 16 years
/// as 16. The run loop keeps the timer, and the timer its target, its user info and its block,
/// until it is invalidated; a timer that does not repeat invalidates itself once it has fired.
/// Threads: the one of its run loop.
class NSTimer : public NSObject {
 public:
  using Superclass = NSObject;
  /// What a timer calls each time it fires.
  using Handler = Block<void(const Ref<NSTimer>& timer)>;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  // A target may be any object, or a class whose class operation the selector names. The message
  // has the timer as its argument, if the selector takes one. Timers that are not "scheduled" have
  // yet to be added to a run loop; the others are in the calling thread's, in its default mode.
  // Blocks must not be null.

  /// Fires first one interval from now, then, if it repeats, at every interval after that.
  static Ref<NSTimer> timerWithTimeIntervalTargetSelectorUserInfoRepeats(NSTimeInterval interval,
                                                                         const Value& target,
                                                                         SEL selector,
                                                                         const Value& userInfo,
                                                                         bool repeats);
  /// The same, in the calling thread's run loop already.
  static Ref<NSTimer> scheduledTimerWithTimeIntervalTargetSelectorUserInfoRepeats(
      NSTimeInterval interval, const Value& target, SEL selector, const Value& userInfo,
      bool repeats);
  /// Fires first one interval from now, then, if it repeats, at every interval after that.
  static Ref<NSTimer> timerWithTimeIntervalRepeatsBlock(NSTimeInterval interval, bool repeats,
                                                        Handler block);
  /// The same, in the calling thread's run loop already.
  static Ref<NSTimer> scheduledTimerWithTimeIntervalRepeatsBlock(NSTimeInterval interval,
                                                                 bool repeats, Handler block);

  // Fail: raise NSInvalidArgumentException for a first value that is not a date.
  static Ref<NSTimer> initWithFireDateIntervalTargetSelectorUserInfoRepeats(
      const Value& fireDate, NSTimeInterval interval, const Value& target, SEL selector,
      const Value& userInfo, bool repeats);
  static Ref<NSTimer> initWithFireDateIntervalRepeatsBlock(const Value& fireDate,
                                                           NSTimeInterval interval, bool repeats,
                                                           Handler block);

  /// Fires now, without a change to when it fires by itself; one that does not repeat is then
  /// invalidated. Nothing happens from inside its own handler, or when it is invalid.
  void fire();

  /// Never fires again, leaves its run loop, and lets go of target, user info and block.
  void invalidate();
  /// False once the timer was invalidated.
  bool isValid() const noexcept { return _isValid; }

  /// The date at which it fires next; of an invalid timer, at which it was to fire last.
  Value fireDate() const noexcept { return Value::dateWithTimeIntervalSince1970(_date); }

  /// Fires next at that date, from where the grid of a repeating timer then goes on. From inside
  /// its own handler a date that is not later than the one it just fired for is ignored. Fails:
  /// raises NSInvalidArgumentException for anything but a date.
  void setFireDate(const Value& date);

  /// The seconds between two firings; 0 if it does not repeat.
  NSTimeInterval timeInterval() const noexcept { return _interval; }

  /// How late the timer may fire, as far as its owner is concerned. This implementation does not
  /// make use of it. Negative counts as 0; of a repeating timer at most half of its interval.
  NSTimeInterval tolerance() const noexcept { return _tolerance; }
  void setTolerance(NSTimeInterval seconds) noexcept;

  /// Null once it is invalid.
  Value userInfo() const noexcept { return _userInfo; }

 protected:
  NSTimer(NSTimeInterval date, Nanoseconds moment, NSTimeInterval interval, bool repeats,
          Handler handler, Value userInfo);
  ~NSTimer() override;

 private:
  friend class NSRunLoop;
  friend class impl::TimerList;

  static Ref<NSTimer> make(NSTimeInterval interval, bool repeats, Handler handler, Value userInfo);
  static Ref<NSTimer> makeAtDate(const Value& fireDate, NSTimeInterval interval, bool repeats,
                                 Handler handler, Value userInfo);

  class Firing;

  /// Fires because it is due, and moves on to its next date.
  void fireAtDate();
  void moveOnFrom(Nanoseconds firedFor) noexcept;
  void moveTo(Nanoseconds moment) noexcept;
  void checkThread() const;

  Handler _handler;
  Value _userInfo;
  NSTimeInterval _date;
  Nanoseconds _moment;       ///< the date as a moment of the monotonic clock
  NSTimeInterval _interval;  ///< 0 if it does not repeat
  NSTimeInterval _tolerance = 0;
  NSRunLoop* _runLoop = nullptr;  ///< the loop that keeps it
  std::uint64_t _order = 0;       ///< its place among the timers of the loop
  std::vector<Ref<NSString>> _modes;
  bool _isValid = true;
  bool _isFiring = false;  ///< its handler is running
  bool _isAtDate = false;  ///< because it was due
};

}  // namespace JNFoundation
