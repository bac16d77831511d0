#pragma once

#include <cstdint>

#include <JNFoundation/platform/value/NSNumber.h>

namespace JNFoundation::inline v0_1 {

/// What a result that is too large raises.
inline constexpr const char* NSDecimalNumberOverflowException = "NSDecimalNumberOverflowException";
/// What a result raises that is too small to differ from zero.
inline constexpr const char* NSDecimalNumberUnderflowException =
    "NSDecimalNumberUnderflowException";
/// What a division by zero raises.
inline constexpr const char* NSDecimalNumberDivideByZeroException =
    "NSDecimalNumberDivideByZeroException";

/// Where a decimal goes that does not fit between two neighbours.
enum NSRoundingMode : NSUInteger {
  /// To the nearer one; from the middle away from zero.
  NSRoundPlain = 0,
  /// Toward minus infinity.
  NSRoundDown = 1,
  /// Toward plus infinity.
  NSRoundUp = 2,
  /// To the nearer one; from the middle to the even one.
  NSRoundBankers = 3,
};

/// A decimal: ± mantissa × 10^exponent, with a mantissa of at most 38 digits and an exponent of
/// -128 to 127; or not a number. Zero has no sign.
struct NSDecimal {
  /// The upper 64 bits of the mantissa.
  std::uint64_t mantissaHigh = 0;
  /// The lower 64 bits of the mantissa.
  std::uint64_t mantissaLow = 0;
  /// The power of ten that the mantissa is multiplied by.
  std::int16_t exponent = 0;
  /// Whether the number is below zero.
  bool negative = false;
  /// Whether there is no number; the other members then say nothing.
  bool notANumber = false;
};

/// A decimal number of up to 38 significant digits, computed exactly where the digits suffice and
/// rounded plainly (NSRoundPlain) at the last one where they do not.
///
///     NSDecimalNumber::decimalNumberWithString("12.50")->decimalNumberByMultiplyingBy(3)
///
/// It is a number among numbers: it equals, and hashes as, integers and doubles of its value. A
/// double counts as one decimal: its exact value where a 64-bit integer holds it, otherwise the
/// shortest decimal that reads back to it, so 0.1 is 0.1. Not-a-number equals itself, comes first.
/// Threads: any; a number never changes.
class NSDecimalNumber : public NSNumber {
 public:
  using Superclass = NSNumber;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// 0, one object for everybody.
  static const Ref<NSDecimalNumber>& zero();
  /// 1, one object for everybody.
  static const Ref<NSDecimalNumber>& one();
  /// Not-a-number, one object for everybody.
  static const Ref<NSDecimalNumber>& notANumber();

  /// Reads "12.50", "-.5", "1e-3", white space around it allowed; digits that do not fit are
  /// rounded. Returns: not-a-number for any other text, for null and for a number that is too
  /// large; zero for one that is too small.
  static Ref<NSDecimalNumber> decimalNumberWithString(const Ref<NSString>& text);
  /// Exactly that number.
  static Ref<NSDecimalNumber> decimalNumberWithInteger(NSInteger number);
  /// Exactly that number.
  static Ref<NSDecimalNumber> decimalNumberWithUnsignedInteger(NSUInteger number);
  /// The decimal that the double counts as.
  /// Returns: not-a-number for what is infinite or too large, zero for what is too small.
  static Ref<NSDecimalNumber> decimalNumberWithDouble(double number);
  /// Any number as a decimal, text as decimalNumberWithString, everything else not-a-number.
  static Ref<NSDecimalNumber> decimalNumberWithValue(const Value& value);
  /// Takes: any mantissa and exponent of the struct; a mantissa of more than 38 digits is rounded.
  static Ref<NSDecimalNumber> decimalNumberWithDecimal(const NSDecimal& decimal);
  /// The number ± mantissa × 10^exponent.
  static Ref<NSDecimalNumber> decimalNumberWithMantissaExponentIsNegative(std::uint64_t mantissa,
                                                                          std::int16_t exponent,
                                                                          bool negative);

  // Not-a-number makes the result not-a-number; so does an operand that is no number.
  // Fail: raise NSDecimalNumberOverflowException for a result that is too large,
  // NSDecimalNumberUnderflowException for one that is too small to differ from zero, and
  // NSDecimalNumberDivideByZeroException.
  Ref<NSDecimalNumber> decimalNumberByAdding(const Value& other) const;
  Ref<NSDecimalNumber> decimalNumberBySubtracting(const Value& other) const;
  Ref<NSDecimalNumber> decimalNumberByMultiplyingBy(const Value& other) const;
  Ref<NSDecimalNumber> decimalNumberByDividingBy(const Value& other) const;
  Ref<NSDecimalNumber> decimalNumberByMultiplyingByPowerOf10(std::int16_t power) const;
  /// At most `scale` digits behind the point; a negative scale rounds in front of it.
  Ref<NSDecimalNumber> decimalNumberByRoundingToScale(NSInteger scale,
                                                      NSRoundingMode mode = NSRoundPlain) const;

  /// The parts of the number.
  const NSDecimal& decimalValue() const noexcept { return _decimal; }
  /// Whether it is not-a-number.
  bool isNotANumber() const noexcept { return _decimal.notANumber; }

  std::int64_t longLongValue() const override;
  std::uint64_t unsignedLongLongValue() const override;
  /// The nearest double.
  double doubleValue() const override;
  /// Plain digits without trailing zeros ("12.5"), "NaN"; with an exponent ("1e+60") only where the
  /// plain form would need more than 38 digits on one side of the point.
  Ref<NSString> stringValue() const override;
  NSComparisonResult compareNumber(const Value& other) const override;
  std::size_t hash() const override;

 protected:
  explicit NSDecimalNumber(const NSDecimal& normalized) noexcept : _decimal(normalized) {}

 private:
  /// Without trailing zeros in the mantissa, so that equal numbers have equal members.
  NSDecimal _decimal;
};

}  // namespace JNFoundation
