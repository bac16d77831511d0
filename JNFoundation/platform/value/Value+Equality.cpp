#include <cmath>

#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSNumber.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/platform/value/Value.h>
#include <JNFoundation/platform/value/impl/NumberHash.h>

namespace JNFoundation::inline v0_1 {

/// The numbers inside Value, by what they mean: a signed word, an unsigned one, or floating point.
struct ValueEquality {
  using Kind = Value::Kind;

  static std::int64_t integer(const Value& value) { return value._integer; }
  static std::uint64_t unsignedInteger(const Value& value) {
    return static_cast<std::uint64_t>(value._integer);
  }
  static double floating(const Value& value) { return value._double; }

  static bool isInlineNumber(Kind kind) { return kind >= Kind::Boolean && kind <= Kind::Double; }
  static bool isSigned(Kind kind) { return kind == Kind::Boolean || kind == Kind::Integer; }
  static bool isFloating(Kind kind) { return kind == Kind::Float || kind == Kind::Double; }

  template <class Number>
  static NSComparisonResult order(Number left, Number right) {
    return left < right ? NSOrderedAscending : left > right ? NSOrderedDescending : NSOrderedSame;
  }

  /// Exact, where converting the integer to a double would round. Not-a-number comes first.
  static NSComparisonResult orderIntegerDouble(std::int64_t left, double right) {
    if (std::isnan(right)) return NSOrderedDescending;
    if (right >= 0x1p63) return NSOrderedAscending;
    if (right < -0x1p63) return NSOrderedDescending;
    const auto whole = static_cast<std::int64_t>(right);
    if (left != whole) return order(left, whole);
    return order(0.0, right - static_cast<double>(whole));
  }
  static NSComparisonResult orderUnsignedDouble(std::uint64_t left, double right) {
    if (std::isnan(right) || right < 0) return NSOrderedDescending;
    if (right >= 0x1p64) return NSOrderedAscending;
    const auto whole = static_cast<std::uint64_t>(right);
    if (left != whole) return order(left, whole);
    return order(0.0, right - static_cast<double>(whole));
  }
  static NSComparisonResult orderDoubles(double left, double right) {
    if (std::isnan(left) || std::isnan(right)) return order(!std::isnan(left), !std::isnan(right));
    return order(left, right);
  }
  static NSComparisonResult reversed(NSComparisonResult result) {
    return static_cast<NSComparisonResult>(-result);
  }

  static NSComparisonResult orderInlineNumbers(const Value& left, const Value& right) {
    const Kind l = left._kind, r = right._kind;
    if (isFloating(l)) {
      return isFloating(r) ? orderDoubles(left._double, right._double)
                           : reversed(orderInlineNumbers(right, left));
    }
    if (isFloating(r)) {
      return isSigned(l) ? orderIntegerDouble(left._integer, right._double)
                         : orderUnsignedDouble(unsignedInteger(left), right._double);
    }
    if (isSigned(l) != isSigned(r)) return isSigned(l) ? NSOrderedAscending : NSOrderedDescending;
    return isSigned(l) ? order(left._integer, right._integer)
                       : order(unsignedInteger(left), unsignedInteger(right));
  }

  /// Requires: both are numbers.
  static NSComparisonResult orderNumbers(const Value& left, const Value& right) {
    if (left.isObject()) return static_cast<NSNumber*>(left.object())->compareNumber(right);
    if (right.isObject()) {
      return reversed(static_cast<NSNumber*>(right.object())->compareNumber(left));
    }
    return orderInlineNumbers(left, right);
  }

  [[noreturn]] static void raiseNoCommonOrder(const Value& left, const Value& right) {
    raise(NSInvalidArgumentException, "-[%s compare:]: a %s has no order against it",
          left.isNull() ? "(null)" : left.class_()->name(),
          right.isNull() ? "(null)" : right.class_()->name());
  }
};

bool Value::isEqual(const Value& other) const {
  if (_kind == Kind::Object) {
    if (other._kind == Kind::Object && _object == other._object) return true;
    return other._kind != Kind::Null && _object->isEqual(other);
  }
  if (other._kind == Kind::Object) return !isNull() && other._object->isEqual(*this);
  if (ValueEquality::isInlineNumber(_kind) && ValueEquality::isInlineNumber(other._kind)) {
    return ValueEquality::orderInlineNumbers(*this, other) == NSOrderedSame;
  }
  if (_kind != other._kind) return false;
  if (_kind == Kind::Date) return ValueEquality::orderDoubles(_double, other._double) == 0;
  return _kind == Kind::Null || _integer == other._integer;
}

std::size_t Value::hash() const {
  switch (_kind) {
    case Kind::Null:
      return 0;
    case Kind::Boolean:
    case Kind::Integer:
      return impl::hashOfInteger(_integer);
    case Kind::Unsigned:
      return impl::hashOfUnsigned(static_cast<std::uint64_t>(_integer));
    case Kind::Float:
    case Kind::Double:
    case Kind::Date:
      return impl::hashOfDouble(_double);
    case Kind::Class:
      return static_cast<std::size_t>(mixHash(reinterpret_cast<std::uintptr_t>(_class)));
    case Kind::Object:
      return _object->hash();
  }
  return 0;
}

NSComparisonResult Value::compare(const Value& other) const {
  if (isNull() || other.isNull()) return ValueEquality::order(!isNull(), !other.isNull());
  if (isNumber() && other.isNumber()) return ValueEquality::orderNumbers(*this, other);
  if (isDate() && other.isDate()) return ValueEquality::orderDoubles(_double, other._double);
  const NSString* left = as<NSString>(*this);
  const NSString* right = as<NSString>(other);
  if (left && right) {
    return ValueEquality::order(left->utf8().compare(right->utf8()), 0);
  }
  static const SEL compareSelector("compare:");
  // Text and numbers have a compare: that leads here.
  if (_kind == Kind::Object && !left && !isNumber() && respondsToSelector(compareSelector)) {
    return static_cast<NSComparisonResult>(
        performSelector(*this, compareSelector, other).integerValue());
  }
  ValueEquality::raiseNoCommonOrder(*this, other);
}

}  // namespace JNFoundation
