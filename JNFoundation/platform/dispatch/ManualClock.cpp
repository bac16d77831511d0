#include "JNFoundation/platform/dispatch/ManualClock.h"

#include <cmath>

namespace JNFoundation::inline v0_1 {

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
  // A date that was computed from this clock's own, in one step, is within two of a double's steps
  // of the microsecond that was meant.
  const NSTimeInterval elapsed = secondsSince1970 - _start;
  const Nanoseconds meant = nanosecondsFromSeconds(std::round(elapsed * 1e6) / 1e6);
  const NSTimeInterval step =
      std::nextafter(std::abs(secondsSince1970), HUGE_VAL) - std::abs(secondsSince1970);
  const bool isMeant = std::abs(dateOf(meant) - secondsSince1970) <= 2 * step;
  if (isMeant && (meant > monotonic() || now() >= secondsSince1970)) return meant;
  // At its moment the date must have come, or a wait for the date would never end.
  Nanoseconds moment = nanosecondsFromSeconds(elapsed);
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
