#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/impl/WideInteger.h>

/// Arithmetic of decimals, without objects and exceptions.
namespace JNFoundation::inline v0_1::impl {

/// A decimal before it is rounded to what NSDecimal holds: ± magnitude × 10^exponent, and, where
/// `more` is set, a little further from zero.
struct UnroundedDecimal {
  bool negative = false;
  WideInteger magnitude;
  std::int64_t exponent = 0;
  bool more = false;
};

enum class DecimalFit { Fits, TooLarge, TooSmall };

inline constexpr int decimalDigits = 38;
inline constexpr int decimalMinimumExponent = -128;
inline constexpr int decimalMaximumExponent = 127;

/// The order of two things whose difference has that sign.
inline NSComparisonResult orderOf(int difference) {
  return difference < 0 ? NSOrderedAscending : difference > 0 ? NSOrderedDescending : NSOrderedSame;
}

/// Rounds to at most 38 digits and to no digit below 10^minimumExponent, and brings the result to
/// its one form: as few digits as the exponent allows. TooSmall: the result is zero, the number is
/// not.
DecimalFit roundDecimal(UnroundedDecimal number, NSRoundingMode mode, std::int64_t minimumExponent,
                        NSDecimal& result);

UnroundedDecimal unrounded(const NSDecimal& decimal);
UnroundedDecimal decimalFromInteger(std::int64_t number);
UnroundedDecimal decimalFromUnsigned(std::uint64_t number);
/// What the double counts as: its exact value if it is a 64-bit integer, otherwise the shortest
/// decimal that reads back to it. Requires: the number is finite.
UnroundedDecimal decimalFromDouble(double number);
/// Returns: nothing for text that is no decimal number from end to end, white space apart.
std::optional<UnroundedDecimal> decimalFromText(std::string_view text);

// None of these takes not-a-number, nor numbers with `more`.
UnroundedDecimal sum(const NSDecimal& left, const NSDecimal& right);
UnroundedDecimal product(const NSDecimal& left, const NSDecimal& right);
/// Requires: the divisor is not zero.
UnroundedDecimal quotient(const NSDecimal& dividend, const NSDecimal& divisor);
NSComparisonResult compareDecimals(const UnroundedDecimal& left, const UnroundedDecimal& right);

/// The digits in front of the point, without the sign. Returns: nothing if they exceed 64 bits.
std::optional<std::uint64_t> wholePart(const NSDecimal& decimal);

/// See NSDecimalNumber::stringValue; "NaN" for not-a-number.
std::string textFromDecimal(const NSDecimal& decimal);
double doubleFromDecimal(const NSDecimal& decimal);

}  // namespace JNFoundation::impl
