#pragma once

#include <chrono>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

#include <JNFoundation/deferred/PLVRejected.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

class PLVDeferred;
class PLVPromise;

/// How a C++ type stands in a Value, for the typed views. An application may specialise it for
/// types of its own, with these members:
///
///     template <>
///     struct ValueConversion<Point> {
///       static bool holds(const Value& value);       // whether it is one
///       static Point fromValue(const Value& value);  // Requires: holds
///       static Value toValue(const Point& point);
///       static std::string_view name();              // for the text of the error
///     };
///
/// There is one for Value; for references to classes and protocols of the library, null included;
/// for bool, numbers, std::string and std::chrono's system time, which stands for a date.
template <class T>
struct ValueConversion {
  static_assert(!std::same_as<T, T>,
                "a typed view holds Value, Ref<Class>, bool, numbers, std::string, a time_point of "
                "the system's clock, or a type for which ValueConversion is specialised");
};

/// A Value is itself.
template <>
struct ValueConversion<Value> {
  static bool holds(const Value&) noexcept { return true; }
  static const Value& fromValue(const Value& value) noexcept { return value; }
  static Value toValue(Value value) noexcept { return value; }
  static std::string_view name() noexcept { return "Value"; }
};

/// A reference is the object, or null.
template <class T>
struct ValueConversion<Ref<T>> {
  static_assert(!std::derived_from<T, PLVDeferred> && !std::derived_from<T, PLVPromise>,
                "a deferred that gives a deferred gives what that one gives");
  static_assert(!std::derived_from<T, PLVRejected>,
                "a deferred gives no failure as a value; see Outcome");

  static bool holds(const Value& value) noexcept { return value.isNull() || as<T>(value); }
  static Ref<T> fromValue(const Value& value) noexcept { return Ref<T>(as<T>(value)); }
  static Value toValue(Ref<T> object) noexcept { return Value(std::move(object)); }
  static std::string_view name() {
    if constexpr (impl::AdoptedProtocol<T>) {
      return impl::typeName<T>();
    } else {
      return T::classObject.name();
    }
  }
};

/// A number is one of a type if that type has the very same number; of a floating-point type any
/// number is, and is rounded to it.
template <class T>
requires std::is_arithmetic_v<T>
struct ValueConversion<T> {
  static bool holds(const Value& value) {
    if constexpr (std::same_as<T, std::int64_t>) {
      if (value.kind() == Value::Kind::Integer) return true;
    }
    if (!value.isNumber()) return false;
    return std::is_floating_point_v<T> || Value(fromValue(value)) == value;
  }
  static T fromValue(const Value& value) {
    if constexpr (std::same_as<T, bool>) {
      return value.boolValue();
    } else if constexpr (std::is_floating_point_v<T>) {
      return static_cast<T>(value.doubleValue());
    } else if constexpr (std::is_signed_v<T>) {
      return static_cast<T>(value.longLongValue());
    } else {
      return static_cast<T>(value.unsignedLongLongValue());
    }
  }
  static Value toValue(T number) noexcept { return Value(number); }
  static std::string_view name() { return impl::typeName<T>(); }
};

template <>
struct ValueConversion<std::string> {
  static bool holds(const Value& value) noexcept { return value.isString(); }
  static std::string fromValue(const Value& value) { return as<NSString>(value)->toStdString(); }
  static Value toValue(std::string_view text) { return Value(text); }
  static std::string_view name() noexcept { return "std::string"; }
};

template <class Duration>
struct ValueConversion<std::chrono::time_point<std::chrono::system_clock, Duration>> {
  using Moment = std::chrono::time_point<std::chrono::system_clock, Duration>;
  using Seconds = std::chrono::duration<double>;

  /// A date that the duration reaches.
  static bool holds(const Value& value) noexcept {
    if (!value.isDate()) return false;
    const Seconds seconds(value.timeIntervalSince1970());
    return seconds > Seconds(Duration::min()) && seconds < Seconds(Duration::max());
  }
  static Moment fromValue(const Value& value) {
    // Whole seconds and the rest apart, because a double has not enough digits for both.
    const double seconds = value.timeIntervalSince1970();
    const double whole = std::floor(seconds);
    return Moment(std::chrono::duration_cast<Duration>(
                      std::chrono::seconds(static_cast<std::int64_t>(whole))) +
                  std::chrono::round<Duration>(Seconds(seconds - whole)));
  }
  static Value toValue(Moment moment) noexcept {
    const auto whole = std::chrono::floor<std::chrono::seconds>(moment.time_since_epoch());
    return Value::dateWithTimeIntervalSince1970(static_cast<double>(whole.count()) +
                                                Seconds(moment.time_since_epoch() - whole).count());
  }
  static std::string_view name() noexcept { return "NSDate"; }
};

namespace impl {

/// A failure with an error of JNDeferredErrorDomain that names both kinds.
Ref<PLVRejected> rejectedForKind(std::string_view expected, const Value& found);

}  // namespace impl
}  // namespace JNFoundation
