#include "JNFoundation/platform/text/DateText.h"

#include <algorithm>
#include <array>
#include <cmath>

#include <JNFoundation/platform/text/NumberText.h>
#include <JNFoundation/platform/text/impl/Words.h>

namespace JNFoundation::inline v0_1 {

namespace {

constexpr std::int64_t secondsPerDay = 86'400;
constexpr double furthestSecond = 1e18;

// The calendar repeats every 400 years. Counted from 1 March of a year 0, the leap day is the last
// day of a year, and the days before each month are a straight line.
constexpr std::int64_t yearsPerEra = 400;
constexpr std::int64_t daysPerEra = 146'097;
constexpr std::int64_t daysFromMarch0ToEpoch = 719'468;

constexpr std::int64_t floorDivision(std::int64_t dividend, std::int64_t divisor) {
  return dividend / divisor - (dividend % divisor < 0 ? 1 : 0);
}

constexpr bool isLeapYear(unsigned year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

constexpr unsigned daysInMonth(unsigned year, unsigned month) {
  // From July on, long and short months change places.
  return month == 2 ? (isLeapYear(year) ? 29 : 28) : 30 + ((month + (month >> 3)) & 1);
}

double withinLimits(double seconds) {
  return std::isnan(seconds) ? 0 : std::clamp(seconds, -furthestSecond, furthestSecond);
}

/// The fields of a whole second.
CivilTime civilFromWholeSeconds(std::int64_t seconds) {
  const std::int64_t days = floorDivision(seconds, secondsPerDay);
  const auto secondOfDay = static_cast<int>(seconds - days * secondsPerDay);
  const std::int64_t shifted = days + daysFromMarch0ToEpoch;
  const std::int64_t era = floorDivision(shifted, daysPerEra);
  const auto dayOfEra = static_cast<int>(shifted - era * daysPerEra);
  const int yearOfEra =
      (dayOfEra - dayOfEra / 1'460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
  const int dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const int monthFromMarch = (5 * dayOfYear + 2) / 153;
  CivilTime civil{};
  civil.month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
  civil.year = yearOfEra + era * yearsPerEra + (civil.month <= 2 ? 1 : 0);
  civil.day = dayOfYear - (153 * monthFromMarch + 2) / 5 + 1;
  civil.hour = secondOfDay / 3'600;
  civil.minute = secondOfDay / 60 % 60;
  civil.second = secondOfDay % 60;
  return civil;
}

/// Text of known greatest length, written from the front.
class Line {
 public:
  void put(char character) { _characters[_size++] = character; }

  /// Two digits. Requires: a number below 100.
  void putPair(int number) {
    put(static_cast<char>('0' + number / 10));
    put(static_cast<char>('0' + number % 10));
  }

  /// At least four digits, after a sign if the year is negative.
  void putYear(std::int64_t year) {
    if (year < 0) put('-');
    const std::int64_t magnitude = year < 0 ? -year : year;
    if (magnitude < 10'000) {
      putPair(static_cast<int>(magnitude / 100));
      putPair(static_cast<int>(magnitude % 100));
    } else {
      for (const char digit : textFromInteger(magnitude)) put(digit);
    }
  }

  void putDate(const CivilTime& civil) {
    putYear(civil.year);
    put('-');
    putPair(civil.month);
    put('-');
    putPair(civil.day);
  }

  void putTime(const CivilTime& civil) {
    putPair(civil.hour);
    put(':');
    putPair(civil.minute);
    put(':');
    putPair(civil.second);
  }

  std::string text() const { return std::string(_characters.data(), _size); }

 private:
  // The furthest year has 11 digits and a sign, and 22 characters follow it.
  std::array<char, 40> _characters;
  std::size_t _size = 0;
};

/// Eight characters that a text must have, with a zero for each digit.
class Pattern {
 public:
  explicit constexpr Pattern(const char (&characters)[9]) {
    for (std::size_t index = 0; index < 8; ++index) {
      _characters[index] = characters[index];
      // A digit lies at most 9 above its zero, another character exactly on its own: adding what is
      // missing to 0x80 sets the high bit of every byte that lies further.
      _rooms[index] = characters[index] == '0' ? 0x76 : 0x7F;
    }
  }

  /// Zero if the eight characters fit.
  std::uint64_t misfit(const char* text) const {
    const std::uint64_t distance = impl::loadWord(text) ^ impl::loadWord(_characters);
    return ((distance + impl::loadWord(_rooms)) | distance) & impl::highBits;
  }

 private:
  char _characters[8] = {};
  char _rooms[8] = {};
};

/// As daysFromCivil, for the years that a text can name, in half the time.
/// Requires: a year from 1 to 9999.
std::int64_t daysFromNearCivil(unsigned year, unsigned month, unsigned day) {
  const unsigned yearFromMarch = month <= 2 ? year - 1 : year;
  const unsigned monthFromMarch = month > 2 ? month - 3 : month + 9;
  const unsigned century = yearFromMarch / 100;
  const unsigned days =
      yearFromMarch * 1'461 / 4 - century + century / 4 + (153 * monthFromMarch + 2) / 5 + day - 1;
  return static_cast<std::int64_t>(days) - daysFromMarch0ToEpoch;
}

unsigned digitAt(const char* text) { return static_cast<unsigned>(*text - '0'); }

unsigned pairAt(const char* text) { return digitAt(text) * 10 + digitAt(text + 1); }

}  // namespace

std::int64_t daysFromCivil(std::int64_t year, int month, int day) {
  const std::int64_t yearFromMarch = month <= 2 ? year - 1 : year;
  const std::int64_t era = floorDivision(yearFromMarch, yearsPerEra);
  const std::int64_t yearOfEra = yearFromMarch - era * yearsPerEra;
  const int monthFromMarch = month > 2 ? month - 3 : month + 9;
  const std::int64_t dayOfYear =
      (153 * monthFromMarch + 2) / 5 + static_cast<std::int64_t>(day) - 1;
  const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * daysPerEra + dayOfEra - daysFromMarch0ToEpoch;
}

CivilTime civilFromSecondsSince1970(double seconds) {
  const double limited = withinLimits(seconds);
  const double whole = std::floor(limited);
  CivilTime civil = civilFromWholeSeconds(static_cast<std::int64_t>(whole));
  civil.fraction = limited - whole;
  return civil;
}

std::optional<double> secondsSince1970FromRFC3339(std::string_view text) {
  if (text.size() != 24) return std::nullopt;
  const char* start = text.data();
  static constexpr Pattern yearAndMonth("0000-00-");
  static constexpr Pattern dayToMinute("00T00:00");
  static constexpr Pattern secondToZone(":00.000Z");
  if ((yearAndMonth.misfit(start) | dayToMinute.misfit(start + 8) |
       secondToZone.misfit(start + 16)) != 0) {
    return std::nullopt;
  }
  const unsigned year = pairAt(start) * 100 + pairAt(start + 2);
  const unsigned month = pairAt(start + 5);
  const unsigned day = pairAt(start + 8);
  const unsigned hour = pairAt(start + 11);
  const unsigned minute = pairAt(start + 14);
  const unsigned second = pairAt(start + 17);
  if (year < 1 || month < 1 || month > 12 || day < 1 ||
      (day > 28 && day > daysInMonth(year, month)) || hour > 23 || minute > 59 || second > 59) {
    return std::nullopt;
  }
  const unsigned millisecond = digitAt(start + 20) * 100 + pairAt(start + 21);
  const std::int64_t days = daysFromNearCivil(year, month, day);
  const std::int64_t seconds = days * secondsPerDay + hour * 3'600 + minute * 60 + second;
  // One division, so that the result is the double nearest to the instant.
  return static_cast<double>(seconds * 1'000 + millisecond) / 1'000;
}

std::string rfc3339FromSecondsSince1970(double seconds) {
  const double limited = withinLimits(seconds);
  const double whole = std::floor(limited);
  double milliseconds = std::floor((limited - whole) * 1'000 + 0.001);
  // The nearest double to a millisecond may lie below it. In years far from 1970 that is more than
  // the microsecond, so ask the division that reads a text; beyond, doubles are whole milliseconds.
  constexpr double exactMilliseconds = 9e12;
  if (std::abs(whole) < exactMilliseconds &&
      (whole * 1'000 + milliseconds + 1) / 1'000 <= limited) {
    ++milliseconds;
  }
  const bool carry = milliseconds >= 1'000;
  const CivilTime civil = civilFromWholeSeconds(static_cast<std::int64_t>(whole) + (carry ? 1 : 0));
  const int millisecond = carry ? 0 : static_cast<int>(milliseconds);
  Line line;
  line.putDate(civil);
  line.put('T');
  line.putTime(civil);
  line.put('.');
  line.put(static_cast<char>('0' + millisecond / 100));
  line.putPair(millisecond % 100);
  line.put('Z');
  return line.text();
}

std::string dateDescription(double secondsSince1970) {
  const CivilTime civil = civilFromSecondsSince1970(secondsSince1970);
  Line line;
  line.putDate(civil);
  line.put(' ');
  line.putTime(civil);
  for (const char character : std::string_view(" +0000")) line.put(character);
  return line.text();
}

}  // namespace JNFoundation
