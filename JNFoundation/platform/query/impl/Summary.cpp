#include "JNFoundation/platform/query/impl/Summary.h"

#include <JNFoundation/platform/query/impl/Arithmetic.h>
#include <JNFoundation/platform/query/impl/Members.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

/// A decimal number only mixes exactly with integers and other decimal numbers.
bool isDecimalSum(const Value& left, const Value& right) noexcept {
  const auto exact = [](const Value& value) {
    return isWhole(value) || isKindOf<NSDecimalNumber>(value);
  };
  return exact(left) && exact(right) &&
         (isKindOf<NSDecimalNumber>(left) || isKindOf<NSDecimalNumber>(right));
}

Value extreme(std::span<const Value> values, NSComparisonResult wanted) {
  const Value* found = nullptr;
  for (const Value& value : values) {
    if (isNullLike(value)) continue;
    if (!found || value.compare(*found) == wanted) found = &value;
  }
  return found ? *found : Value();
}

}  // namespace

void Summation::add(const Value& value) {
  if (isNullLike(value)) return;
  if (isInteger(_total) && isInteger(value)) {
    std::int64_t sum;
    if (!__builtin_add_overflow(_total.longLongValue(), value.longLongValue(), &sum)) {
      _total = sum;
      return;
    }
  } else if (isDecimalSum(_total, value)) {
    _total = NSDecimalNumber::decimalNumberWithValue(_total)->decimalNumberByAdding(value);
    return;
  }
  _total = _total.doubleValue() + value.doubleValue();
}

Value sumOf(std::span<const Value> values) {
  Summation sum;
  for (const Value& value : values) sum.add(value);
  return sum.total();
}

double averageOf(std::span<const Value> values) {
  if (values.empty()) return 0;
  return sumOf(values).doubleValue() / static_cast<double>(values.size());
}

Value maximumOf(std::span<const Value> values) { return extreme(values, NSOrderedDescending); }
Value minimumOf(std::span<const Value> values) { return extreme(values, NSOrderedAscending); }

}  // namespace JNFoundation::impl
