#include "JNFoundation/platform/dispatch/NSTimer.h"

#include <algorithm>

#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {
namespace {

constexpr NSTimeInterval shortestInterval = 0.0001;
/// Sixteen years, and the year 2129: what lies beyond is never reached.
constexpr NSTimeInterval longestInterval = 504911232;
constexpr NSTimeInterval lastDate = 4039289856 + NSDate::timeIntervalBetween1970AndReferenceDate;

const ClassDeclaration<NSTimer> declarationOfNSTimer =
    ClassDeclaration<NSTimer>()
        .operation("fire", &NSTimer::fire)
        .operation("invalidate", &NSTimer::invalidate)
        .property("isValid", &NSTimer::isValid)
        .property("fireDate", &NSTimer::fireDate, &NSTimer::setFireDate)
        .property("timeInterval", &NSTimer::timeInterval)
        .property("tolerance", &NSTimer::tolerance, &NSTimer::setTolerance)
        .property("userInfo", &NSTimer::userInfo);

NSTimeInterval usableInterval(NSTimeInterval interval) noexcept {
  return interval > 0 ? std::min(interval, longestInterval) : shortestInterval;
}

NSTimeInterval secondsOf(const Value& date) {
  if (!date.isDate()) raise(NSInvalidArgumentException, "a timer needs a date, not %@", date);
  return std::min(date.timeIntervalSince1970(), lastDate);
}

NSTimer::Handler handlerFor(const Value& target, SEL selector) {
  return [target, selector](const Ref<NSTimer>& timer) {
    if (selector.argumentCount() == 0) {
      performSelector(target, selector);
    } else {
      performSelector(target, selector, timer);
    }
  };
}

NSTimer::Handler checked(NSTimer::Handler block) {
  if (!block) fatalError("a timer's block must not be null");
  return block;
}

Ref<NSTimer> scheduled(Ref<NSTimer> timer) {
  NSRunLoop::currentRunLoop()->addTimerForMode(timer, NSDefaultRunLoopMode);
  return timer;
}

}  // namespace

constinit const Class NSTimer::classObject = Class::of<NSTimer>("NSTimer");

NSTimer::NSTimer(NSTimeInterval date, Nanoseconds moment, NSTimeInterval interval, bool repeats,
                 Handler handler, Value userInfo)
    : _handler(std::move(handler)),
      _userInfo(std::move(userInfo)),
      _date(date),
      _moment(moment),
      _interval(repeats ? usableInterval(interval) : 0) {}

NSTimer::~NSTimer() = default;

Ref<NSTimer> NSTimer::make(NSTimeInterval interval, bool repeats, Handler handler, Value userInfo) {
  Clock& clock = Clock::current();
  const NSTimeInterval usable = usableInterval(interval);
  return makeObject<NSTimer>(clock.now() + usable, clock.momentAfter(usable), usable, repeats,
                             std::move(handler), std::move(userInfo));
}

Ref<NSTimer> NSTimer::makeAtDate(const Value& fireDate, NSTimeInterval interval, bool repeats,
                                 Handler handler, Value userInfo) {
  const NSTimeInterval date = secondsOf(fireDate);
  return makeObject<NSTimer>(date, Clock::current().momentOfDate(date), interval, repeats,
                             std::move(handler), std::move(userInfo));
}

Ref<NSTimer> NSTimer::timerWithTimeIntervalTargetSelectorUserInfoRepeats(NSTimeInterval interval,
                                                                         const Value& target,
                                                                         SEL selector,
                                                                         const Value& userInfo,
                                                                         bool repeats) {
  return make(interval, repeats, handlerFor(target, selector), userInfo);
}

Ref<NSTimer> NSTimer::scheduledTimerWithTimeIntervalTargetSelectorUserInfoRepeats(
    NSTimeInterval interval, const Value& target, SEL selector, const Value& userInfo,
    bool repeats) {
  return scheduled(make(interval, repeats, handlerFor(target, selector), userInfo));
}

Ref<NSTimer> NSTimer::timerWithTimeIntervalRepeatsBlock(NSTimeInterval interval, bool repeats,
                                                        Handler block) {
  return make(interval, repeats, checked(std::move(block)), nullptr);
}

Ref<NSTimer> NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(NSTimeInterval interval,
                                                                 bool repeats, Handler block) {
  return scheduled(make(interval, repeats, checked(std::move(block)), nullptr));
}

Ref<NSTimer> NSTimer::initWithFireDateIntervalTargetSelectorUserInfoRepeats(
    const Value& fireDate, NSTimeInterval interval, const Value& target, SEL selector,
    const Value& userInfo, bool repeats) {
  return makeAtDate(fireDate, interval, repeats, handlerFor(target, selector), userInfo);
}

Ref<NSTimer> NSTimer::initWithFireDateIntervalRepeatsBlock(const Value& fireDate,
                                                           NSTimeInterval interval, bool repeats,
                                                           Handler block) {
  return makeAtDate(fireDate, interval, repeats, checked(std::move(block)), nullptr);
}

/// The call of the handler, which the timer lets go of meanwhile: the handler may invalidate it.
class NSTimer::Firing {
 public:
  explicit Firing(NSTimer& timer) : _timer(&timer), _handler(std::move(timer._handler)) {
    _timer->_isFiring = true;
  }
  ~Firing() {
    _timer->_isFiring = false;
    if (!_timer->_isValid) return;
    _timer->_handler = std::move(_handler);
    if (_timer->_interval == 0) _timer->invalidate();
  }
  Firing(const Firing&) = delete;
  Firing& operator=(const Firing&) = delete;

  void callHandler() const { _handler(_timer); }

 private:
  const Ref<NSTimer> _timer;
  Handler _handler;
};

void NSTimer::fire() {
  if (!_isValid || _isFiring) return;
  checkThread();
  {
    const Firing firing(*this);
    firing.callHandler();
  }
}

void NSTimer::fireAtDate() {
  /// However the handler is left, the timer is on its grid again.
  struct Step {
    NSTimer& timer;
    const Nanoseconds firedFor = timer._moment;
    ~Step() {
      timer._isAtDate = false;
      if (timer._isValid) timer.moveOnFrom(firedFor);
    }
  };
  const Step step{*this};
  _isAtDate = true;
  const Firing firing(*this);
  firing.callHandler();
}

void NSTimer::moveOnFrom(Nanoseconds firedFor) noexcept {
  // The handler has chosen a date of its own.
  if (_moment != firedFor) return;
  // Unsigned, because the moment may lie as far back as there are moments.
  const auto interval =
      static_cast<std::uint64_t>(std::max(nanosecondsFromSeconds(_interval), Nanoseconds{1}));
  const auto late = static_cast<std::uint64_t>(Clock::current().monotonic()) -
                    static_cast<std::uint64_t>(_moment);
  const std::uint64_t steps = late / interval + 1;
  _date += static_cast<NSTimeInterval>(steps) * _interval;
  moveTo(static_cast<Nanoseconds>(static_cast<std::uint64_t>(_moment) + steps * interval));
}

void NSTimer::moveTo(Nanoseconds moment) noexcept {
  if (_runLoop) {
    _runLoop->rescheduleTimer(*this, moment);
  } else {
    _moment = moment;
  }
}

void NSTimer::invalidate() {
  if (!_isValid) return;
  checkThread();
  const Ref<NSTimer> self(this);
  _isValid = false;
  if (_runLoop) std::exchange(_runLoop, nullptr)->removeTimer(*this);
  // They may reach the timer while they die.
  const Handler handler = std::move(_handler);
  const Value userInfo = std::move(_userInfo);
}

void NSTimer::setFireDate(const Value& date) {
  const NSTimeInterval seconds = secondsOf(date);
  checkThread();
  const Nanoseconds moment = Clock::current().momentOfDate(seconds);
  if (_isAtDate && moment <= _moment) return;
  if (!_isValid) return;
  _date = seconds;
  moveTo(moment);
}

void NSTimer::setTolerance(NSTimeInterval seconds) noexcept {
  const NSTimeInterval positive = seconds > 0 ? seconds : 0;
  _tolerance = _interval > 0 ? std::min(positive, _interval / 2) : positive;
}

void NSTimer::checkThread() const {
  if (_runLoop) _runLoop->checkThread();
}

}  // namespace JNFoundation
