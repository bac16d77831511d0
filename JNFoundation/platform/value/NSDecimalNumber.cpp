#include "JNFoundation/platform/value/NSDecimalNumber.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/impl/Decimal.h>
#include <JNFoundation/platform/value/impl/NumberHash.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSDecimalNumber::classObject = Class::of<NSDecimalNumber>("NSDecimalNumber");

namespace {

using impl::DecimalFit;
using impl::UnroundedDecimal;

const ClassDeclaration<NSDecimalNumber> declarationOfNSDecimalNumber =
    ClassDeclaration<NSDecimalNumber>()
        .operation("decimalNumberByAdding:", &NSDecimalNumber::decimalNumberByAdding)
        .operation("decimalNumberBySubtracting:", &NSDecimalNumber::decimalNumberBySubtracting)
        .operation("decimalNumberByMultiplyingBy:", &NSDecimalNumber::decimalNumberByMultiplyingBy)
        .operation("decimalNumberByDividingBy:", &NSDecimalNumber::decimalNumberByDividingBy);

constexpr NSDecimal notANumberDecimal{0, 0, 0, false, true};

bool isZero(const NSDecimal& decimal) {
  return decimal.mantissaHigh == 0 && decimal.mantissaLow == 0 && !decimal.notANumber;
}

/// What is too large becomes not-a-number, what is too small zero.
NSDecimal nearest(const UnroundedDecimal& number) {
  NSDecimal result;
  const DecimalFit fit =
      impl::roundDecimal(number, NSRoundPlain, impl::decimalMinimumExponent, result);
  return fit == DecimalFit::TooLarge ? notANumberDecimal : result;
}

NSDecimal checked(const UnroundedDecimal& number, const char* operation) {
  NSDecimal result;
  switch (impl::roundDecimal(number, NSRoundPlain, impl::decimalMinimumExponent, result)) {
    case DecimalFit::Fits:
      return result;
    case DecimalFit::TooLarge:
      raise(NSDecimalNumberOverflowException, "-[NSDecimalNumber %s]: the result is too large",
            operation);
    case DecimalFit::TooSmall:
      raise(NSDecimalNumberUnderflowException,
            "-[NSDecimalNumber %s]: the result is too small to differ from zero", operation);
  }
  return result;
}

/// Requires: a number other than an infinite one and not-a-number.
UnroundedDecimal unroundedFrom(const Value& number) {
  if (const NSDecimalNumber* decimal = as<NSDecimalNumber>(number)) {
    return impl::unrounded(decimal->decimalValue());
  }
  switch (number.kind()) {
    case Value::Kind::Boolean:
    case Value::Kind::Integer:
      return impl::decimalFromInteger(number.longLongValue());
    case Value::Kind::Unsigned:
      return impl::decimalFromUnsigned(number.unsignedLongLongValue());
    default:
      return impl::decimalFromDouble(number.doubleValue());
  }
}

/// The decimal of a number, not-a-number for what is none.
NSDecimal operand(const Value& value) {
  if (const NSDecimalNumber* decimal = as<NSDecimalNumber>(value)) return decimal->decimalValue();
  if (!value.isNumber() || !std::isfinite(value.doubleValue())) return notANumberDecimal;
  return nearest(unroundedFrom(value));
}

}  // namespace

const Ref<NSDecimalNumber>& NSDecimalNumber::zero() {
  static const Ref<NSDecimalNumber>& number =
      *new Ref<NSDecimalNumber>(makeObject<NSDecimalNumber>(NSDecimal()));
  return number;
}

const Ref<NSDecimalNumber>& NSDecimalNumber::one() {
  static const Ref<NSDecimalNumber>& number =
      *new Ref<NSDecimalNumber>(makeObject<NSDecimalNumber>(NSDecimal{0, 1}));
  return number;
}

const Ref<NSDecimalNumber>& NSDecimalNumber::notANumber() {
  static const Ref<NSDecimalNumber>& number =
      *new Ref<NSDecimalNumber>(makeObject<NSDecimalNumber>(notANumberDecimal));
  return number;
}

Ref<NSDecimalNumber> NSDecimalNumber::decimalNumberWithString(const Ref<NSString>& text) {
  const auto number = text ? impl::decimalFromText(text->utf8()) : std::nullopt;
  return number ? makeObject<NSDecimalNumber>(nearest(*number)) : notANumber();
}

Ref<NSDecimalNumber> NSDecimalNumber::decimalNumberWithInteger(NSInteger number) {
  return makeObject<NSDecimalNumber>(nearest(impl::decimalFromInteger(number)));
}

Ref<NSDecimalNumber> NSDecimalNumber::decimalNumberWithUnsignedInteger(NSUInteger number) {
  return makeObject<NSDecimalNumber>(nearest(impl::decimalFromUnsigned(number)));
}

Ref<NSDecimalNumber> NSDecimalNumber::decimalNumberWithDouble(double number) {
  if (!std::isfinite(number)) return notANumber();
  return makeObject<NSDecimalNumber>(nearest(impl::decimalFromDouble(number)));
}

Ref<NSDecimalNumber> NSDecimalNumber::decimalNumberWithValue(const Value& value) {
  if (NSDecimalNumber* decimal = as<NSDecimalNumber>(value)) return decimal;
  if (NSString* text = as<NSString>(value)) return decimalNumberWithString(text);
  return makeObject<NSDecimalNumber>(operand(value));
}

Ref<NSDecimalNumber> NSDecimalNumber::decimalNumberWithDecimal(const NSDecimal& decimal) {
  if (decimal.notANumber) return notANumber();
  return makeObject<NSDecimalNumber>(nearest(impl::unrounded(decimal)));
}

Ref<NSDecimalNumber> NSDecimalNumber::decimalNumberWithMantissaExponentIsNegative(
    std::uint64_t mantissa, std::int16_t exponent, bool negative) {
  return decimalNumberWithDecimal({0, mantissa, exponent, negative, false});
}

Ref<NSDecimalNumber> NSDecimalNumber::decimalNumberByAdding(const Value& other) const {
  const NSDecimal addend = operand(other);
  if (isNotANumber() || addend.notANumber) return notANumber();
  return makeObject<NSDecimalNumber>(
      checked(impl::sum(_decimal, addend), "decimalNumberByAdding:"));
}

Ref<NSDecimalNumber> NSDecimalNumber::decimalNumberBySubtracting(const Value& other) const {
  NSDecimal subtrahend = operand(other);
  if (isNotANumber() || subtrahend.notANumber) return notANumber();
  subtrahend.negative = !subtrahend.negative;
  return makeObject<NSDecimalNumber>(
      checked(impl::sum(_decimal, subtrahend), "decimalNumberBySubtracting:"));
}

Ref<NSDecimalNumber> NSDecimalNumber::decimalNumberByMultiplyingBy(const Value& other) const {
  const NSDecimal factor = operand(other);
  if (isNotANumber() || factor.notANumber) return notANumber();
  return makeObject<NSDecimalNumber>(
      checked(impl::product(_decimal, factor), "decimalNumberByMultiplyingBy:"));
}

Ref<NSDecimalNumber> NSDecimalNumber::decimalNumberByDividingBy(const Value& other) const {
  const NSDecimal divisor = operand(other);
  if (isNotANumber() || divisor.notANumber) return notANumber();
  if (isZero(divisor)) {
    raise(NSDecimalNumberDivideByZeroException,
          "-[NSDecimalNumber decimalNumberByDividingBy:]: %@ divided by zero",
          Value(description()));
  }
  return makeObject<NSDecimalNumber>(
      checked(impl::quotient(_decimal, divisor), "decimalNumberByDividingBy:"));
}

Ref<NSDecimalNumber> NSDecimalNumber::decimalNumberByMultiplyingByPowerOf10(
    std::int16_t power) const {
  if (isNotANumber()) return notANumber();
  UnroundedDecimal number = impl::unrounded(_decimal);
  number.exponent += power;
  return makeObject<NSDecimalNumber>(checked(number, "decimalNumberByMultiplyingByPowerOf10:"));
}

Ref<NSDecimalNumber> NSDecimalNumber::decimalNumberByRoundingToScale(NSInteger scale,
                                                                     NSRoundingMode mode) const {
  if (isNotANumber()) return notANumber();
  // Far beyond any digit on either side, so that nothing overflows.
  const NSInteger lowest = -std::clamp<NSInteger>(scale, -1000, -impl::decimalMinimumExponent);
  NSDecimal result;
  if (impl::roundDecimal(impl::unrounded(_decimal), mode, lowest, result) == DecimalFit::TooLarge) {
    raise(NSDecimalNumberOverflowException,
          "-[NSDecimalNumber decimalNumberByRoundingToScale:]: the result is too large");
  }
  return makeObject<NSDecimalNumber>(result);
}

std::int64_t NSDecimalNumber::longLongValue() const {
  using Limits = std::numeric_limits<std::int64_t>;
  if (isNotANumber()) return 0;
  const auto whole = impl::wholePart(_decimal);
  const auto largest = static_cast<std::uint64_t>(Limits::max());
  if (_decimal.negative) {
    if (!whole || *whole > largest) return Limits::min();
    return -static_cast<std::int64_t>(*whole);
  }
  return !whole || *whole > largest ? Limits::max() : static_cast<std::int64_t>(*whole);
}

std::uint64_t NSDecimalNumber::unsignedLongLongValue() const {
  if (isNotANumber() || _decimal.negative) return 0;
  return impl::wholePart(_decimal).value_or(std::numeric_limits<std::uint64_t>::max());
}

double NSDecimalNumber::doubleValue() const { return impl::doubleFromDecimal(_decimal); }

Ref<NSString> NSDecimalNumber::stringValue() const { return impl::textFromDecimal(_decimal); }

NSComparisonResult NSDecimalNumber::compareNumber(const Value& other) const {
  if (const NSDecimalNumber* decimal = as<NSDecimalNumber>(other)) {
    if (isNotANumber() || decimal->isNotANumber()) {
      return impl::orderOf(decimal->isNotANumber() - isNotANumber());
    }
  } else if (isNotANumber() || !std::isfinite(other.doubleValue())) {
    // As everywhere, not-a-number is equal to itself and comes first.
    const double number = other.doubleValue();
    if (isNotANumber()) return std::isnan(number) ? NSOrderedSame : NSOrderedAscending;
    return number > 0 ? NSOrderedAscending : NSOrderedDescending;
  }
  return impl::compareDecimals(impl::unrounded(_decimal), unroundedFrom(other));
}

std::size_t NSDecimalNumber::hash() const {
  if (!isNotANumber() && _decimal.exponent >= 0) {
    // Whole: as the integer of that value, where there is one.
    if (const auto whole = impl::wholePart(_decimal)) {
      if (!_decimal.negative) return impl::hashOfUnsigned(*whole);
      if (*whole <= std::uint64_t{1} << 63) {
        return impl::hashOfInteger(static_cast<std::int64_t>(0 - *whole));
      }
    }
  }
  return impl::hashOfDouble(doubleValue());
}

}  // namespace JNFoundation
