#include "JNFoundation/platform/value/impl/Decimal.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include <JNFoundation/platform/text/ASCII.h>
#include <JNFoundation/platform/text/NumberText.h>

namespace JNFoundation::inline v0_1::impl {

namespace {

/// As many digits of an operand as decide how 38 of them are rounded, and then some.
constexpr int keptDigits = 60;
/// How far operands of a sum are brought together exactly; beyond it the smaller one only decides
/// the rounding.
constexpr int alignedDigits = 80;

/// Takes the last digits off. Returns: the highest of them; `more` tells whether any other was not
/// zero.
std::uint32_t dropDigits(WideInteger& number, std::int64_t count, bool& more) {
  if (count == 0) return 0;
  if (count > number.digitCount()) {
    more = more || !number.isZero();
    number = WideInteger();
    return 0;
  }
  for (; count > 9; count -= 9) more = number.divide(1'000'000'000) != 0 || more;
  for (; count > 1; --count) more = number.divide(10) != 0 || more;
  return number.divide(10);
}

std::string withoutTrailingZeros(std::string digits) {
  digits.erase(digits.find_last_not_of('0') + 1);
  return digits;
}

std::string digitsOf(WideInteger number) {
  std::string digits;
  while (!number.isZero()) digits += static_cast<char>('0' + number.divide(10));
  std::reverse(digits.begin(), digits.end());
  return digits;
}

}  // namespace

DecimalFit roundDecimal(UnroundedDecimal number, NSRoundingMode mode, std::int64_t minimumExponent,
                        NSDecimal& result) {
  WideInteger& magnitude = number.magnitude;
  const std::int64_t dropped = std::max<std::int64_t>(
      {0, magnitude.digitCount() - decimalDigits, minimumExponent - number.exponent});
  bool more = number.more;
  const std::uint32_t digit = dropDigits(magnitude, dropped, more);
  std::int64_t exponent = number.exponent + dropped;
  const bool inexact = digit != 0 || more;
  bool away = false;
  switch (mode) {
    case NSRoundPlain:
      away = digit >= 5;
      break;
    case NSRoundDown:
      away = inexact && number.negative;
      break;
    case NSRoundUp:
      away = inexact && !number.negative;
      break;
    case NSRoundBankers:
      away = digit > 5 || (digit == 5 && (more || magnitude.isOdd()));
      break;
  }
  if (away) {
    magnitude.add(WideInteger(0, 1));
    if (magnitude.digitCount() > decimalDigits) {
      magnitude.divide(10);
      ++exponent;
    }
  }
  result = NSDecimal();
  if (magnitude.isZero()) return inexact ? DecimalFit::TooSmall : DecimalFit::Fits;
  if (exponent > decimalMaximumExponent) {
    const std::int64_t missing = exponent - decimalMaximumExponent;
    if (missing > decimalDigits - magnitude.digitCount()) return DecimalFit::TooLarge;
    magnitude.multiplyByPowerOf10(static_cast<int>(missing));
    exponent = decimalMaximumExponent;
  }
  while (exponent < decimalMaximumExponent) {
    WideInteger tenth = magnitude;
    if (tenth.divide(10) != 0) break;
    magnitude = tenth;
    ++exponent;
  }
  result.mantissaHigh = magnitude.high();
  result.mantissaLow = magnitude.low();
  result.exponent = static_cast<std::int16_t>(exponent);
  result.negative = number.negative;
  return DecimalFit::Fits;
}

UnroundedDecimal unrounded(const NSDecimal& decimal) {
  return {decimal.negative, WideInteger(decimal.mantissaHigh, decimal.mantissaLow),
          decimal.exponent};
}

UnroundedDecimal decimalFromInteger(std::int64_t number) {
  // The magnitude of the smallest number has no signed counterpart.
  const auto bits = static_cast<std::uint64_t>(number);
  return {number < 0, WideInteger(0, number < 0 ? 0 - bits : bits)};
}

UnroundedDecimal decimalFromUnsigned(std::uint64_t number) {
  return {false, WideInteger(0, number)};
}

UnroundedDecimal decimalFromDouble(double number) {
  if (std::trunc(number) == number) {
    if (number >= -0x1p63 && number < 0x1p63) {
      return decimalFromInteger(static_cast<std::int64_t>(number));
    }
    if (number >= 0 && number < 0x1p64) {
      return decimalFromUnsigned(static_cast<std::uint64_t>(number));
    }
  }
  return *decimalFromText(textFromDouble(number));
}

std::optional<UnroundedDecimal> decimalFromText(std::string_view text) {
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  UnroundedDecimal number;
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) {
    number.negative = text.front() == '-';
    text.remove_prefix(1);
  }
  bool anyDigit = false, behindPoint = false;
  int digits = 0;
  std::size_t position = 0;
  for (; position < text.size(); ++position) {
    const char character = text[position];
    if (character == '.' && !behindPoint) {
      behindPoint = true;
      continue;
    }
    if (!isDigit(character)) break;
    anyDigit = true;
    if (digits < keptDigits) {
      number.magnitude.multiplyAdd(10, 0);
      number.magnitude.add(WideInteger(0, static_cast<std::uint64_t>(character - '0')));
      if (!number.magnitude.isZero()) ++digits;
      if (behindPoint) --number.exponent;
    } else {
      number.more = number.more || character != '0';
      if (!behindPoint) ++number.exponent;
    }
  }
  if (!anyDigit) return std::nullopt;
  if (position == text.size()) return number;
  if (text[position] != 'e' && text[position] != 'E') return std::nullopt;
  ++position;
  bool negativeExponent = false;
  if (position < text.size() && (text[position] == '-' || text[position] == '+')) {
    negativeExponent = text[position++] == '-';
  }
  if (position == text.size()) return std::nullopt;
  // No text is long enough to bring an exponent of this size back.
  constexpr std::int64_t enough = 100'000'000'000'000'000;
  std::int64_t written = 0;
  for (; position < text.size(); ++position) {
    if (!isDigit(text[position])) return std::nullopt;
    if (written < enough) written = written * 10 + (text[position] - '0');
  }
  number.exponent += negativeExponent ? -written : written;
  return number;
}

UnroundedDecimal sum(const NSDecimal& left, const NSDecimal& right) {
  UnroundedDecimal larger = unrounded(left), smaller = unrounded(right);
  if (smaller.magnitude.isZero()) return larger;
  if (larger.magnitude.isZero()) return smaller;
  // "Larger" is the one with the higher exponent: its digits are brought down to the other's.
  if (larger.exponent < smaller.exponent) std::swap(larger, smaller);
  const std::int64_t distance = larger.exponent - smaller.exponent;
  const auto shift = static_cast<int>(std::min<std::int64_t>(distance, alignedDigits));
  larger.magnitude.multiplyByPowerOf10(shift);
  larger.exponent -= shift;
  const bool sameSign = larger.negative == smaller.negative;
  if (distance > alignedDigits) {
    // The other lies below the last digit: only that it is there matters.
    if (!sameSign) larger.magnitude.subtract(WideInteger(0, 1));
    larger.more = true;
    return larger;
  }
  if (sameSign) {
    larger.magnitude.add(smaller.magnitude);
  } else if (larger.magnitude.compare(smaller.magnitude) >= 0) {
    larger.magnitude.subtract(smaller.magnitude);
  } else {
    smaller.magnitude.subtract(larger.magnitude);
    larger.magnitude = smaller.magnitude;
    larger.negative = smaller.negative;
  }
  return larger;
}

UnroundedDecimal product(const NSDecimal& left, const NSDecimal& right) {
  UnroundedDecimal result = unrounded(left);
  const UnroundedDecimal factor = unrounded(right);
  result.magnitude = WideInteger::product(result.magnitude, factor.magnitude);
  result.exponent += factor.exponent;
  result.negative = result.negative != factor.negative;
  return result;
}

UnroundedDecimal quotient(const NSDecimal& dividend, const NSDecimal& divisor) {
  UnroundedDecimal result = unrounded(dividend);
  const UnroundedDecimal by = unrounded(divisor);
  // One digit more than is kept decides the rounding, and the remainder decides its ties.
  const int shift =
      std::max(0, decimalDigits + 1 + by.magnitude.digitCount() - result.magnitude.digitCount());
  result.magnitude.multiplyByPowerOf10(shift);
  WideInteger remainder = result.magnitude;
  result.magnitude = WideInteger::quotient(remainder, by.magnitude);
  result.exponent -= shift + by.exponent;
  result.negative = result.negative != by.negative;
  result.more = !remainder.isZero();
  return result;
}

NSComparisonResult compareDecimals(const UnroundedDecimal& left, const UnroundedDecimal& right) {
  const int leftSign = left.magnitude.isZero() ? 0 : left.negative ? -1 : 1;
  const int rightSign = right.magnitude.isZero() ? 0 : right.negative ? -1 : 1;
  if (leftSign != rightSign || leftSign == 0) return orderOf(leftSign - rightSign);
  const std::int64_t leftPlaces = left.magnitude.digitCount() + left.exponent;
  const std::int64_t rightPlaces = right.magnitude.digitCount() + right.exponent;
  if (leftPlaces != rightPlaces) return orderOf(leftPlaces < rightPlaces ? -leftSign : leftSign);
  // As many digits in front: the exponents differ by no more than the numbers of digits do.
  WideInteger leftMagnitude = left.magnitude, rightMagnitude = right.magnitude;
  const auto distance = static_cast<int>(left.exponent - right.exponent);
  (distance > 0 ? leftMagnitude : rightMagnitude).multiplyByPowerOf10(std::abs(distance));
  return orderOf(leftSign * leftMagnitude.compare(rightMagnitude));
}

std::optional<std::uint64_t> wholePart(const NSDecimal& decimal) {
  WideInteger magnitude(decimal.mantissaHigh, decimal.mantissaLow);
  constexpr int digitsOf64Bits = 20;
  if (magnitude.digitCount() + decimal.exponent > digitsOf64Bits) return std::nullopt;
  if (decimal.exponent >= 0) {
    magnitude.multiplyByPowerOf10(decimal.exponent);
  } else {
    bool more = false;
    dropDigits(magnitude, -decimal.exponent, more);
  }
  if (!magnitude.fits64()) return std::nullopt;
  return magnitude.low();
}

std::string textFromDecimal(const NSDecimal& decimal) {
  if (decimal.notANumber) return "NaN";
  const std::string digits = digitsOf(WideInteger(decimal.mantissaHigh, decimal.mantissaLow));
  if (digits.empty()) return "0";
  std::string text(decimal.negative ? "-" : "");
  const int digitCount = static_cast<int>(digits.size());
  // How many digits stand in front of the point; 0 or less where zeros follow it first.
  const int places = digitCount + decimal.exponent;
  if (places > decimalDigits || -decimal.exponent > decimalDigits) {
    text += digits[0];
    const std::string fraction = withoutTrailingZeros(digits.substr(1));
    if (!fraction.empty()) text += "." + fraction;
    return text + (places > 0 ? "e+" : "e-") + textFromInteger(std::abs(places - 1));
  }
  if (decimal.exponent >= 0) return text + digits + std::string(std::size_t(decimal.exponent), '0');
  if (places <= 0) return text + "0." + std::string(std::size_t(-places), '0') + digits;
  return text.append(digits, 0, std::size_t(places)) + "." + digits.substr(std::size_t(places));
}

double doubleFromDecimal(const NSDecimal& decimal) {
  if (decimal.notANumber) return std::numeric_limits<double>::quiet_NaN();
  const std::string digits = digitsOf(WideInteger(decimal.mantissaHigh, decimal.mantissaLow));
  if (digits.empty()) return 0;
  return doubleFromText((decimal.negative ? "-" : "") + digits + "e" +
                        textFromInteger(decimal.exponent));
}

}  // namespace JNFoundation::impl
