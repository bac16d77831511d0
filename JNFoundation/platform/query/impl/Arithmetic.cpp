#include "JNFoundation/platform/query/impl/Arithmetic.h"

#include <cmath>
#include <limits>

#include <JNFoundation/platform/query/impl/Members.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

using Limits = std::numeric_limits<std::int64_t>;

void requireNumber(const Value& value) {
  if (value.isNumber()) return;
  raise(NSInvalidArgumentException, "arithmetic takes numbers, not a %s: %@",
        value.class_()->name(), value);
}

/// A result that is no number is none at all.
Value fromDouble(double number) { return std::isnan(number) ? Value() : Value(number); }

bool areDecimal(const Value& left, const Value& right) noexcept {
  const bool decimalLeft = isKindOf<NSDecimalNumber>(left);
  const bool decimalRight = isKindOf<NSDecimalNumber>(right);
  return (decimalLeft || decimalRight) && (decimalLeft || isWhole(left)) &&
         (decimalRight || isWhole(right));
}

using DecimalOperation = Ref<NSDecimalNumber> (NSDecimalNumber::*)(const Value&) const;

/// What the kinds of both sides call for. `integers` returns whether the result overflowed.
template <class Integers, class Doubles>
Value calculated(const Value& left, const Value& right, Integers integers,
                 DecimalOperation decimals, Doubles doubles) {
  if (isNullLike(left) || isNullLike(right)) return nullptr;
  requireNumber(left);
  requireNumber(right);
  if (isInteger(left) && isInteger(right)) {
    std::int64_t result;
    if (!integers(left.longLongValue(), right.longLongValue(), &result)) return result;
  } else if (decimals && areDecimal(left, right)) {
    try {
      const auto decimal = NSDecimalNumber::decimalNumberWithValue(left);
      return ((*decimal).*decimals)(right);
    } catch (const Raised&) {
      // Out of the range of decimals, which is narrower than that of doubles.
    }
  }
  return fromDouble(doubles(left.doubleValue(), right.doubleValue()));
}

template <class Function>
Value ofDouble(const Value& number, Function function) {
  if (isNullLike(number)) return nullptr;
  requireNumber(number);
  return fromDouble(function(number.doubleValue()));
}

template <class Function>
Value rounded(const Value& number, Function function) {
  if (isWhole(number)) return isInteger(number) ? Value(number.longLongValue()) : number;
  return ofDouble(number, function);
}

template <class Function>
Value ofBits(const Value& left, const Value& right, Function function) {
  if (isNullLike(left) || isNullLike(right)) return nullptr;
  requireNumber(left);
  requireNumber(right);
  return function(left.longLongValue(), right.longLongValue());
}

bool isZero(const Value& value) { return value.isNumber() && value.doubleValue() == 0; }

/// Returns: whether the result overflowed.
bool powerOverflows(std::int64_t base, std::int64_t exponent, std::int64_t* result) {
  if (exponent < 0) return true;
  *result = 1;
  for (;;) {
    if ((exponent & 1) && __builtin_mul_overflow(*result, base, result)) return true;
    exponent >>= 1;
    if (exponent == 0) return false;
    if (__builtin_mul_overflow(base, base, &base)) return true;
  }
}

}  // namespace

Value sum(const Value& left, const Value& right) {
  return calculated(
      left, right,
      [](std::int64_t a, std::int64_t b, std::int64_t* r) {
        return __builtin_add_overflow(a, b, r);
      },
      &NSDecimalNumber::decimalNumberByAdding, [](double a, double b) { return a + b; });
}

Value difference(const Value& left, const Value& right) {
  return calculated(
      left, right,
      [](std::int64_t a, std::int64_t b, std::int64_t* r) {
        return __builtin_sub_overflow(a, b, r);
      },
      &NSDecimalNumber::decimalNumberBySubtracting, [](double a, double b) { return a - b; });
}

Value product(const Value& left, const Value& right) {
  return calculated(
      left, right,
      [](std::int64_t a, std::int64_t b, std::int64_t* r) {
        return __builtin_mul_overflow(a, b, r);
      },
      &NSDecimalNumber::decimalNumberByMultiplyingBy, [](double a, double b) { return a * b; });
}

Value quotient(const Value& left, const Value& right) {
  if (isZero(right)) return product(left, nullptr);
  return calculated(
      left, right,
      [](std::int64_t a, std::int64_t b, std::int64_t* r) {
        if (a == Limits::min() && b == -1) return true;
        *r = a / b;
        return false;
      },
      &NSDecimalNumber::decimalNumberByDividingBy, [](double a, double b) { return a / b; });
}

Value remainder(const Value& left, const Value& right) {
  if (isZero(right)) return product(left, nullptr);
  return calculated(
      left, right,
      [](std::int64_t a, std::int64_t b, std::int64_t* r) {
        *r = b == -1 ? 0 : a % b;
        return false;
      },
      nullptr, [](double a, double b) { return std::fmod(a, b); });
}

Value power(const Value& base, const Value& exponent) {
  return calculated(base, exponent, powerOverflows, nullptr,
                    [](double a, double b) { return std::pow(a, b); });
}

Value magnitude(const Value& number) {
  if (number.kind() == Value::Kind::Unsigned) return number;
  if (number.isNumber() && number.compare(0) != NSOrderedAscending) return sum(number, 0);
  return difference(0, number);
}

Value squareRoot(const Value& number) {
  return ofDouble(number, [](double x) { return std::sqrt(x); });
}
Value commonLogarithm(const Value& number) {
  return ofDouble(number, [](double x) { return x > 0 ? std::log10(x) : std::nan(""); });
}
Value naturalLogarithm(const Value& number) {
  return ofDouble(number, [](double x) { return x > 0 ? std::log(x) : std::nan(""); });
}
Value exponential(const Value& number) {
  return ofDouble(number, [](double x) { return std::exp(x); });
}

Value roundedUp(const Value& number) {
  return rounded(number, [](double x) { return std::ceil(x); });
}
Value roundedDown(const Value& number) {
  return rounded(number, [](double x) { return std::floor(x); });
}
Value roundedTowardZero(const Value& number) {
  return rounded(number, [](double x) { return std::trunc(x); });
}

Value bitwiseAnd(const Value& left, const Value& right) {
  return ofBits(left, right, [](std::int64_t a, std::int64_t b) { return Value(a & b); });
}
Value bitwiseOr(const Value& left, const Value& right) {
  return ofBits(left, right, [](std::int64_t a, std::int64_t b) { return Value(a | b); });
}
Value bitwiseExclusiveOr(const Value& left, const Value& right) {
  return ofBits(left, right, [](std::int64_t a, std::int64_t b) { return Value(a ^ b); });
}
Value onesComplement(const Value& number) { return bitwiseExclusiveOr(number, -1); }

Value shiftedLeft(const Value& number, const Value& count) {
  return ofBits(number, count, [](std::int64_t bits, std::int64_t by) {
    if (by < 0) return Value();
    return by > 63 ? Value(0) : Value(static_cast<std::int64_t>(std::uint64_t(bits) << by));
  });
}
Value shiftedRight(const Value& number, const Value& count) {
  return ofBits(number, count, [](std::int64_t bits, std::int64_t by) {
    return by < 0 ? Value() : Value(bits >> (by > 63 ? 63 : by));
  });
}

}  // namespace JNFoundation::impl
