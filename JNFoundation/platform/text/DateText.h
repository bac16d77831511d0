#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace JNFoundation::inline v0_1 {

/// Instants as text, always in UTC and in the proleptic Gregorian calendar, independent of the
/// machine's locale and time zone. An instant is a number of seconds since 1970-01-01 00:00:00 UTC,
/// without leap seconds. All functions are pure and may run on any thread.

/// An instant taken apart. Year 1 is 1 AD, year 0 the year before it; month and day count from 1.
struct CivilTime {
  /// The year of the calendar, which may be 0 or negative.
  std::int64_t year;
  /// 1 to 12.
  int month;
  /// 1 to 31.
  int day;
  /// 0 to 23.
  int hour;
  /// 0 to 59.
  int minute;
  /// 0 to 59.
  int second;
  /// The part of the second that has passed, in [0, 1), also before 1970.
  double fraction;
};

/// Instants further than 1e18 seconds from 1970 read as that limit, and NaN as 1970.
CivilTime civilFromSecondsSince1970(double seconds);

/// The number of days from 1970-01-01 to the given date, negative before it.
/// Requires: a month in 1...12 and a year within ±1e15. The day may lie outside of the month.
std::int64_t daysFromCivil(std::int64_t year, int month, int day);

/// Reads `yyyy-MM-ddTHH:mm:ss.SSSZ`: exactly these 24 ASCII characters, every field in its range,
/// the day within its month. The years are 0001 to 9999; there is no year 0000.
/// Returns: nothing for any other text: without a fraction, with an offset, with a second 60, with
/// white space around it.
std::optional<double> secondsSince1970FromRFC3339(std::string_view text);

/// Writes the form that secondsSince1970FromRFC3339 reads, milliseconds rounded down. An instant
/// less than a microsecond short of the next millisecond counts as that millisecond, because a
/// date's double cannot tell them apart; text that was read comes back as it was. A year outside of
/// 0001...9999 is written with the sign and the digits it needs, and is not read back.
std::string rfc3339FromSecondsSince1970(double seconds);

/// The form for people and logs, whole seconds rounded down: "2016-03-01 12:30:00 +0000".
std::string dateDescription(double secondsSince1970);

}  // namespace JNFoundation
