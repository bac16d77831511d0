#include "JNFoundation/platform/dispatch/ManualClock.h"

#include <cmath>

namespace JNFoundation {

void ManualClock::advance(NSTimeInterval seconds) noexcept {
  advanceTo(saturatingSum(monotonic(), nanosecondsFromSeconds(seconds)));
}

void ManualClock::advanceTo(Nanoseconds moment) noexcept {
  Nanoseconds elapsed = _elapsed.load();
  while (elapsed < moment && !_elapsed.compare_exchange_weak(elapsed, moment)) {
  }
}

NSTimeInterval ManualClock::dateOf(Nanoseconds moment) const noexcept {
  return _start + static_cast<NSTimeInterval>(moment) / 1e9;
}

Nanoseconds ManualClock::momentOfDate(NSTimeInterval secondsSince1970) noexcept {
  const NSTimeInterval elapsed = secondsSince1970 - _start;
  const Nanoseconds exact = nanosecondsFromSeconds(elapsed);
  // The microsecond that the date was computed from, if it was computed from one.
  const NSTimeInterval microseconds = std::round(elapsed * 1e6);
  const Nanoseconds rounded = nanosecondsFromSeconds(microseconds / 1e6);
  if (dateOf(rounded) == secondsSince1970) return rounded;
  // The date must have come at that moment, or a wait until the date would never end.
  Nanoseconds moment = exact;
  while (moment < never && dateOf(moment) < secondsSince1970) ++moment;
  return moment;
}

void ManualClock::sleepUntil(Nanoseconds moment, impl::Sleeper& sleeper) {
  if (moment == never) {
    block(sleeper);
  } else {
    advanceTo(moment);
  }
}

}  // namespace JNFoundation
