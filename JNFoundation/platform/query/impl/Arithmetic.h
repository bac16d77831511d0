#pragma once

#include <JNFoundation/platform/value/Value.h>

/// Arithmetic on values. Integers stay integers and become doubles where 64 bits do not hold the
/// result; with a decimal number the result is decimal while it is exact; otherwise it is a double.
/// Null on a side, a division by zero, and what no real number answers give null.
/// Fail: raise NSInvalidArgumentException for what is neither a number nor null.
namespace JNFoundation::inline v0_1::impl {

/// Whether it is a signed integer or a boolean.
inline bool isInteger(const Value& value) noexcept {
  return value.kind() == Value::Kind::Integer || value.kind() == Value::Kind::Boolean;
}
/// Whether it is an integer, with a sign or without.
inline bool isWhole(const Value& value) noexcept {
  return isInteger(value) || value.kind() == Value::Kind::Unsigned;
}

Value sum(const Value& left, const Value& right);
Value difference(const Value& left, const Value& right);
Value product(const Value& left, const Value& right);
/// Of integers rounded toward zero.
Value quotient(const Value& left, const Value& right);
/// With the sign of the left side.
Value remainder(const Value& left, const Value& right);
/// An integer for integers without a negative exponent.
Value power(const Value& base, const Value& exponent);
Value magnitude(const Value& number);

Value squareRoot(const Value& number);
Value commonLogarithm(const Value& number);
Value naturalLogarithm(const Value& number);
Value exponential(const Value& number);
// Integers stay as they are.
Value roundedUp(const Value& number);
Value roundedDown(const Value& number);
Value roundedTowardZero(const Value& number);

// On the 64 bits of integers; fractions are cut off.
Value bitwiseAnd(const Value& left, const Value& right);
Value bitwiseOr(const Value& left, const Value& right);
Value bitwiseExclusiveOr(const Value& left, const Value& right);
Value onesComplement(const Value& number);
/// Null for a negative count; bits shifted out are lost.
Value shiftedLeft(const Value& number, const Value& count);
/// Keeps the sign.
Value shiftedRight(const Value& number, const Value& count);

}  // namespace JNFoundation::impl
