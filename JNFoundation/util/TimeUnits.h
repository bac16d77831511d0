#pragma once

#include <limits>

#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/NSString.h>

/// Seconds in larger units, and larger units in seconds.
///
///     Integer::hours(7199)   // 1: whole hours, cut off toward zero
///     Double::weeks(1)       // 604800.0 seconds
///     Integer::formattedDigitalHoursMinutesSecondsString(3725)   // "1:02:05"
///
/// An hour is 3600 seconds and a day 86400, whatever a calendar says.
/// Threads: any.
namespace JNFoundation::inline v0_1 {

namespace impl {

constexpr NSInteger wholeUnits(double seconds, NSInteger secondsPerUnit) {
  // The bound is exact, since it is a power of two. Not-a-number is on neither side of it.
  constexpr double bound = -static_cast<double>(std::numeric_limits<NSInteger>::min());
  if (!(seconds >= -bound && seconds < bound)) {
    fatalError("Integer: the seconds are no number that an integer can hold");
  }
  return static_cast<NSInteger>(seconds) / secondsPerUnit;
}

constexpr double secondsOf(NSInteger count, NSInteger secondsPerUnit) {
  NSInteger seconds = 0;
  if (__builtin_mul_overflow(count, secondsPerUnit, &seconds)) {
    fatalError("Double: so many units are more seconds than an integer can hold");
  }
  return static_cast<double>(seconds);
}

}  // namespace impl

/// Static members of the integer type: seconds to whole units. A part of a second is dropped first,
/// then a part of a unit, both toward zero.
/// Require: a finite number within the range of an integer; the process stops with a message
/// otherwise. There are no weeks.
namespace Integer {

// The whole units in that many seconds.
constexpr NSInteger minutes(double seconds) { return impl::wholeUnits(seconds, 60); }
constexpr NSInteger hours(double seconds) { return impl::wholeUnits(seconds, 3600); }
constexpr NSInteger days(double seconds) { return impl::wholeUnits(seconds, 86400); }

/// What a clock shows: hours, minutes and seconds with colons between them. Units that are zero are
/// left out in front, those behind the first have two digits: "0", "59", "1:05", "1:02:05". Hours
/// go on past 24 without grouping ("100:00:00"), and a negative time has one minus sign in front.
Ref<NSString> formattedDigitalHoursMinutesSecondsString(NSInteger totalSeconds);

}  // namespace Integer

/// Static members of the floating-point type: units to seconds.
/// Require: a product within the range of an integer; the process stops with a message otherwise.
namespace Double {

// The seconds of so many units.
constexpr double minutes(NSInteger count) { return impl::secondsOf(count, 60); }
constexpr double hours(NSInteger count) { return impl::secondsOf(count, 3600); }
constexpr double days(NSInteger count) { return impl::secondsOf(count, 86400); }
constexpr double weeks(NSInteger count) { return impl::secondsOf(count, 604800); }

}  // namespace Double

}  // namespace JNFoundation
