#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation::inline v0_1 {

/// Makes the strings of one column of many records. A text that came a short while ago gives the
/// same string again, which costs neither memory nor the making of it: categories, countries,
/// states. The first few texts are not looked at, so that many columns with one text each cost
/// nothing; where texts hardly ever come again, it soon stops looking for them. Lives no longer
/// than the reading of the records. Threads: one at a time.
class RecurringTexts {
 public:
  /// Takes: text whose UTF-8 is mended if it is ill-formed.
  Ref<NSString> stringOf(std::string_view text) {
    if (_unseen > 0) {
      --_unseen;
      return NSString::fromText(text);
    }
    if (_worth == 0 || text.size() > longestText) return NSString::fromTextAmongMany(text);
    return recentOrNew(text);
  }

 private:
  static constexpr std::size_t longestText = 64;
  static constexpr int placeBits = 8;
  /// How many texts pass before it begins.
  static constexpr int firstTexts = 8;
  /// How many texts in a row may be new ones, and how many more with each one that is not.
  static constexpr int firstWorth = 64, gain = 3, greatestWorth = 1024;

  Ref<NSString> recentOrNew(std::string_view text) {
    if (!_recent) _recent = std::make_unique<Ref<NSString>[]>(std::size_t{1} << placeBits);
    Ref<NSString>& known = _recent[placeOf(text)];
    if (known && known->utf8() == text) {
      if (_worth < greatestWorth) _worth += gain;
      return known;
    }
    if (--_worth == 0) {
      _recent.reset();
      return NSString::fromTextAmongMany(text);
    }
    return known = NSString::fromTextAmongMany(text);
  }

  /// Looks at the size and both ends: the texts of one column differ there.
  static std::size_t placeOf(std::string_view text) noexcept {
    std::uint64_t first = 0, last = 0;
    if (text.size() >= sizeof first) {
      std::memcpy(&first, text.data(), sizeof first);
      std::memcpy(&last, text.data() + text.size() - sizeof last, sizeof last);
    } else if (!text.empty()) {
      first = static_cast<unsigned char>(text.front()) * 256u +
              static_cast<unsigned char>(text[text.size() / 2]);
      last = static_cast<unsigned char>(text.back());
    }
    const std::uint64_t mixed = (first ^ (last << 7 | last >> 57)) + text.size();
    return static_cast<std::size_t>((mixed * 0x9E3779B97F4A7C15) >> (64 - placeBits));
  }

  std::unique_ptr<Ref<NSString>[]> _recent;
  int _worth = firstWorth;
  int _unseen = firstTexts;
};

}  // namespace JNFoundation
