#pragma once

#include <span>

#include <JNFoundation/platform/value/Value.h>

/// What collection operators and aggregate functions have in common.
namespace JNFoundation::inline v0_1::impl {

/// The sum of the values so far: exact for integers until 64 bits overflow, exact for decimal
/// numbers, a double otherwise.
class Summation {
 public:
  /// Null and the null marker count as 0, text as its numeric prefix.
  /// Fails: raises NSInvalidArgumentException for what is neither (unrecognized selector).
  void add(const Value& value);
  /// Returns: the integer 0 if nothing was added.
  const Value& total() const noexcept { return _total; }

 private:
  Value _total = 0;
};

Value sumOf(std::span<const Value> values);

/// Returns: 0 for no values. Null among them counts as 0.
double averageOf(std::span<const Value> values);

/// The first of those that come last, or first, in the order of `compare:`; null among them is
/// ignored. Returns: null for no values.
/// Fails: raises NSInvalidArgumentException where two have no common order.
Value maximumOf(std::span<const Value> values);
Value minimumOf(std::span<const Value> values);

}  // namespace JNFoundation::impl
