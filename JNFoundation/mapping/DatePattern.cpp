#include "JNFoundation/mapping/DatePattern.h"

#include <array>
#include <cstdint>

#include <JNFoundation/platform/text/ASCII.h>
#include <JNFoundation/platform/text/DateText.h>
#include <JNFoundation/platform/text/Folding.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {
namespace {

constexpr std::array months{"January", "February", "March",     "April",   "May",      "June",
                            "July",    "August",   "September", "October", "November", "December"};
/// From the day of 1970-01-01 on.
constexpr std::array weekdays{"Thursday", "Friday",  "Saturday", "Sunday",
                              "Monday",   "Tuesday", "Wednesday"};

/// Each letter, and how many of it may stand together, one digit for each number.
struct Allowed {
  char letter;
  std::string_view counts;
};
constexpr std::array allowed{Allowed{'y', "4"},         Allowed{'M', "1234"}, Allowed{'d', "12"},
                             Allowed{'E', "34"},        Allowed{'H', "12"},   Allowed{'h', "12"},
                             Allowed{'a', "1"},         Allowed{'m', "2"},    Allowed{'s', "2"},
                             Allowed{'S', "123456789"}, Allowed{'Z', "1"},    Allowed{'X', "123"}};

bool isAllowed(std::string_view letters) {
  for (const Allowed& one : allowed) {
    if (one.letter != letters.front()) continue;
    return letters.size() <= 9 &&
           one.counts.find(static_cast<char>('0' + letters.size())) != std::string_view::npos;
  }
  return false;
}

/// The text that is left to read, and what has been read of it.
class Reading {
 public:
  explicit Reading(std::string_view text) : _rest(text) {}

  bool isAtEnd() const { return _rest.empty(); }

  bool take(std::string_view text) {
    if (!_rest.starts_with(text)) return false;
    _rest.remove_prefix(text.size());
    return true;
  }

  /// A number of at least `least` and at most `most` digits.
  bool takeNumber(std::size_t least, std::size_t most, std::int64_t& number) {
    std::size_t count = 0;
    number = 0;
    while (count < most && count < _rest.size() && _rest[count] >= '0' && _rest[count] <= '9') {
      number = number * 10 + (_rest[count++] - '0');
    }
    _rest.remove_prefix(count);
    return count >= least;
  }

  /// One of the names, whole or by its first three letters, in any case; their position.
  template <std::size_t size>
  bool takeName(const std::array<const char*, size>& names, bool isWhole, std::int64_t& position) {
    for (std::size_t index = 0; index < size; ++index) {
      const std::string_view name = std::string_view(names[index]).substr(0, isWhole ? 99 : 3);
      if (_rest.size() < name.size() ||
          compareFolded(_rest.substr(0, name.size()), name, Fold::Case) != 0) {
        continue;
      }
      _rest.remove_prefix(name.size());
      position = static_cast<std::int64_t>(index);
      return true;
    }
    return false;
  }

  /// Hours and, unless only hours are wanted, minutes, as seconds.
  bool takeOffset(bool hasMinutes, bool hasColon, std::int64_t& seconds) {
    const bool isNegative = _rest.starts_with('-');
    if (!isNegative && !_rest.starts_with('+')) return false;
    _rest.remove_prefix(1);
    std::int64_t hours = 0, minutes = 0;
    if (!takeNumber(2, 2, hours) || hours > 23) return false;
    if (hasMinutes) {
      if (hasColon && !take(":")) return false;
      if (!takeNumber(2, 2, minutes) || minutes > 59) return false;
    }
    seconds = (hours * 60 + minutes) * 60 * (isNegative ? -1 : 1);
    return true;
  }

 private:
  std::string_view _rest;
};

struct Fields {
  std::int64_t year = 2000, month = 1, day = 1;
  std::int64_t hour = 0, minute = 0, second = 0;
  std::int64_t fraction = 0;
  std::int64_t fractionUnit = 1;
  std::int64_t offset = 0;
  /// Counted from Thursday; negative where none is named.
  std::int64_t weekday = -1;
  bool isHalfDay = false;
  bool isAfternoon = false;

  bool take(Reading& text, char letter, std::size_t count) {
    // Two letters ask for two digits, one takes one or two.
    const std::size_t least = count == 1 ? 1 : 2;
    switch (letter) {
      case 'y':
        return text.takeNumber(4, 4, year) && year > 0;
      case 'M':
        if (count <= 2) return text.takeNumber(least, 2, month) && month >= 1 && month <= 12;
        if (!text.takeName(months, count == 4, month)) return false;
        ++month;
        return true;
      case 'd':
        return text.takeNumber(least, 2, day) && day >= 1;
      case 'E':
        return text.takeName(weekdays, count == 4, weekday);
      case 'H':
        isHalfDay = false;
        return text.takeNumber(least, 2, hour) && hour <= 23;
      case 'h':
        isHalfDay = true;
        return text.takeNumber(least, 2, hour) && hour >= 1 && hour <= 12;
      case 'a': {
        std::int64_t half = 0;
        if (!text.takeName(std::array{"AM", "PM"}, true, half)) return false;
        isAfternoon = half == 1;
        return true;
      }
      case 'm':
        return text.takeNumber(2, 2, minute) && minute <= 59;
      case 's':
        return text.takeNumber(2, 2, second) && second <= 59;
      case 'S':
        fractionUnit = 1;
        for (std::size_t i = 0; i < count; ++i) fractionUnit *= 10;
        return text.takeNumber(count, count, fraction);
      case 'Z':
        return text.takeOffset(true, false, offset);
      default:
        offset = 0;
        return text.take("Z") || text.takeOffset(count > 1, count == 3, offset);
    }
  }

  std::optional<double> secondsSince1970() const {
    const std::int64_t days = daysFromCivil(year, static_cast<int>(month), static_cast<int>(day));
    const std::int64_t nextMonth = month == 12
                                       ? daysFromCivil(year + 1, 1, 1)
                                       : daysFromCivil(year, static_cast<int>(month) + 1, 1);
    if (days >= nextMonth) return std::nullopt;
    if (weekday >= 0 && ((days % 7) + 7) % 7 != weekday) return std::nullopt;
    const std::int64_t hourOfDay = isHalfDay ? hour % 12 + (isAfternoon ? 12 : 0) : hour;
    const std::int64_t seconds = ((days * 24 + hourOfDay) * 60 + minute) * 60 + second - offset;
    // Rounded once where the whole fits into a double, as it does down to milliseconds.
    if (fractionUnit <= 1000) {
      return static_cast<double>(seconds * fractionUnit + fraction) /
             static_cast<double>(fractionUnit);
    }
    return static_cast<double>(seconds) +
           static_cast<double>(fraction) / static_cast<double>(fractionUnit);
  }
};

}  // namespace

DatePattern::DatePattern(std::string_view pattern) {
  bool isQuoted = false;
  for (std::size_t at = 0; at < pattern.size();) {
    if (pattern[at] == '\'') {
      // Two of them stand for one, inside of quoted text and outside of it.
      const bool isDouble = pattern.substr(at).starts_with("''");
      if (isDouble) addText("'");
      if (!isDouble) isQuoted = !isQuoted;
      at += isDouble ? 2 : 1;
      continue;
    }
    std::size_t end = at + 1;
    if (!isQuoted && impl::isLetter(pattern[at])) {
      while (end < pattern.size() && pattern[end] == pattern[at]) ++end;
      const std::string_view letters = pattern.substr(at, end - at);
      if (!isAllowed(letters)) {
        raise(NSInvalidArgumentException, "%s is no field of a date pattern (in %s)", letters,
              pattern);
      }
      addField(letters);
    } else {
      addText(pattern.substr(at, 1));
    }
    at = end;
  }
  if (isQuoted) {
    raise(NSInvalidArgumentException, "the date pattern %s has an apostrophe without its partner",
          pattern);
  }
}

void DatePattern::addField(std::string_view letters) {
  _pieces.push_back({letters.front(), letters.size(), {}});
}

void DatePattern::addText(std::string_view text) {
  if (_pieces.empty() || _pieces.back().letter != '\'') _pieces.push_back({'\'', 0, {}});
  _pieces.back().text += text;
}

std::optional<double> DatePattern::secondsSince1970(std::string_view text) const {
  Reading reading(text);
  Fields fields;
  for (const Piece& piece : _pieces) {
    const bool fits = piece.letter == '\'' ? reading.take(piece.text)
                                           : fields.take(reading, piece.letter, piece.count);
    if (!fits) return std::nullopt;
  }
  return reading.isAtEnd() ? fields.secondsSince1970() : std::nullopt;
}

}  // namespace JNFoundation
