#pragma once

#include <optional>
#include <utility>

#include <JNFoundation/deferred/PLVRejected.h>
#include <JNFoundation/deferred/ValueConversion.h>

namespace JNFoundation::inline v0_1 {

/// A value of type T, or a failure: what a handler of a typed deferred returns that may fail, and
/// what one gets that takes both.
///
///     std::move(text).thenResolved([](const std::string& text) -> Outcome<int> {
///       if (text.empty()) return PLVRejected::withValue("empty");
///       return std::stoi(text);
///     });
///
/// Of void there is no value.
template <class T>
class Outcome {
 public:
  /// The value.
  Outcome(T value) : _value(std::move(value)) {}
  /// Requires: not null.
  Outcome(Ref<PLVRejected> rejected) noexcept : _rejected(std::move(rejected)) {}

  /// The value converted, or a failure where it is one or of another kind.
  static Outcome fromValue(const Value& value) {
    if (auto* rejected = as<PLVRejected>(value)) return Ref<PLVRejected>(rejected);
    if (!ValueConversion<T>::holds(value)) {
      return impl::rejectedForKind(ValueConversion<T>::name(), value);
    }
    return T(ValueConversion<T>::fromValue(value));
  }
  /// The value or the failure as a Value.
  Value toValue() && {
    return _rejected ? Value(std::move(_rejected))
                     : ValueConversion<T>::toValue(std::move(*_value));
  }

  /// Whether it is a failure.
  bool isRejected() const noexcept { return static_cast<bool>(_rejected); }
  /// Requires: no failure.
  const T& value() const& noexcept { return *_value; }
  T&& value() && noexcept { return std::move(*_value); }
  /// The failure, null if there is none.
  const Ref<PLVRejected>& rejected() const noexcept { return _rejected; }

 private:
  std::optional<T> _value;
  Ref<PLVRejected> _rejected;
};

/// The outcome of what gives no value.
template <>
class Outcome<void> {
 public:
  Outcome() noexcept = default;
  /// Requires: not null.
  Outcome(Ref<PLVRejected> rejected) noexcept : _rejected(std::move(rejected)) {}

  /// A failure where the value is one.
  static Outcome fromValue(const Value& value) {
    if (auto* rejected = as<PLVRejected>(value)) return Ref<PLVRejected>(rejected);
    return {};
  }
  /// Null or the failure.
  Value toValue() && { return Value(std::move(_rejected)); }

  /// Whether it is a failure.
  bool isRejected() const noexcept { return static_cast<bool>(_rejected); }
  /// The failure, null if there is none.
  const Ref<PLVRejected>& rejected() const noexcept { return _rejected; }

 private:
  Ref<PLVRejected> _rejected;
};

}  // namespace JNFoundation
