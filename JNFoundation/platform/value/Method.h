#pragma once

#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/SEL.h>
#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

/// One declared operation: its selector, the types of its arguments and result, and how to run it.
///
/// Types are written in one character each: '@' object, 'v' nothing, 'B' boolean, 'c' 's' 'i' 'q'
/// signed and 'C' 'S' 'I' 'Q' unsigned integers of 8 to 64 bits, 'f' 'd' floating point, '#' class,
/// '*' text.
/// Threads: any; a method never changes.
class Method {
 public:
  /// What runs an operation on a receiver that answers it.
  using Invocation = Block<Value(const Value& receiver, std::span<const Value> arguments)>;

  /// The types of the operation's own arguments, without those of the receiver and the selector.
  Method(SEL selector, char returnType, std::string argumentTypes, Invocation invocation)
      : _selector(selector),
        _returnType(returnType),
        _argumentTypes(std::move(argumentTypes)),
        _invocation(std::move(invocation)) {}

  /// The name of the operation.
  SEL selector() const noexcept { return _selector; }

  /// How many arguments there are, the receiver and the selector included, as the platform counts.
  std::size_t numberOfArguments() const noexcept { return _argumentTypes.size() + 2; }

  /// The type of an argument in the same count, so the first of the operation's own is number 2.
  /// Returns: NUL past the last one.
  char argumentType(std::size_t index) const noexcept {
    if (index < 2) return index == 0 ? '@' : ':';
    return index - 2 < _argumentTypes.size() ? _argumentTypes[index - 2] : '\0';
  }
  /// The type of the result.
  char returnType() const noexcept { return _returnType; }

  /// Runs the operation. Missing arguments are null; null is 0 where a number is taken, and a
  /// number out of the range of the type that is taken is held within it. Fails: raises
  /// NSInvalidArgumentException when the receiver or an argument is of another kind than the
  /// operation takes, or when there are too many arguments.
  Value invoke(const Value& receiver, std::span<const Value> arguments) const;

 private:
  SEL _selector;
  char _returnType;
  std::string _argumentTypes;
  Invocation _invocation;
};

namespace impl {

[[noreturn]] void raiseReceiverMismatch(const Value& receiver, SEL selector);
[[noreturn]] void raiseArgumentMismatch(const Value& argument, std::string_view wanted);

/// The number that is nearest within the range of the narrower type.
template <class Narrow, class Wide>
Narrow heldWithin(Wide number) {
  using Limits = std::numeric_limits<Narrow>;
  if (number < static_cast<Wide>(Limits::min())) return Limits::min();
  if (number > static_cast<Wide>(Limits::max())) return Limits::max();
  return static_cast<Narrow>(number);
}

/// How a C++ type crosses the boundary of a declared operation.
template <class T, class = void>
struct RuntimeType {
  static_assert(!std::is_same_v<T, T>,
                "an operation declared for the runtime takes and returns values, references, "
                "numbers, enumerations, classes and text");
};

template <>
struct RuntimeType<Value> {
  static constexpr char encoding = '@';
  static const Value& fromValue(const Value& value) { return value; }
  static Value toValue(Value value) { return value; }
};

template <class T>
struct RuntimeType<Ref<T>> {
  static constexpr char encoding = '@';
  static Ref<T> fromValue(const Value& value) {
    if (value.isNull()) return nullptr;
    if (T* object = as<T>(value)) return Ref<T>(object);
    if constexpr (requires { T::classObject; }) {
      raiseArgumentMismatch(value, T::classObject.name());
    } else {
      raiseArgumentMismatch(value, typeName<T>());
    }
  }
  static Value toValue(Ref<T> object) { return Value(std::move(object)); }
};

template <class T>
struct RuntimeType<T, std::enable_if_t<std::is_arithmetic_v<T>>> {
  static constexpr char encoding = std::is_same_v<T, bool>     ? 'B'
                                   : std::is_same_v<T, float>  ? 'f'
                                   : std::is_same_v<T, double> ? 'd'
                                   : std::is_signed_v<T>       ? "cs i   q"[sizeof(T) - 1]
                                                               : "CS I   Q"[sizeof(T) - 1];
  static T fromValue(const Value& value) {
    if (!value.isNull() && !value.isNumber()) raiseArgumentMismatch(value, "number");
    if constexpr (std::is_same_v<T, bool>) {
      return value.boolValue();
    } else if constexpr (std::is_floating_point_v<T>) {
      return static_cast<T>(value.doubleValue());
    } else if constexpr (std::is_signed_v<T>) {
      return heldWithin<T>(value.longLongValue());
    } else {
      return heldWithin<T>(value.unsignedLongLongValue());
    }
  }
  static Value toValue(T number) { return Value(number); }
};

template <class T>
struct RuntimeType<T, std::enable_if_t<std::is_enum_v<T>>> {
  using Number = std::underlying_type_t<T>;
  static constexpr char encoding = RuntimeType<Number>::encoding;
  static T fromValue(const Value& v) { return static_cast<T>(RuntimeType<Number>::fromValue(v)); }
  static Value toValue(T number) { return Value(static_cast<Number>(number)); }
};

template <>
struct RuntimeType<const Class*> {
  static constexpr char encoding = '#';
  static const Class* fromValue(const Value& value) {
    if (!value.isNull() && !value.classValue()) raiseArgumentMismatch(value, "class");
    return value.classValue();
  }
  static Value toValue(const Class* cls) { return cls ? Value(*cls) : Value(); }
};

/// A view or a pointer is borrowed from the argument for the length of the call.
template <class T>
inline constexpr bool isText =
    std::is_same_v<T, std::string> || std::is_same_v<T, std::string_view> ||
    std::is_same_v<T, const char*>;

template <class T>
struct RuntimeType<T, std::enable_if_t<isText<T>>> {
  static constexpr char encoding = '*';
  static T fromValue(const Value& value);
  static Value toValue(const T& text) { return Value(text); }
};

/// The receiver of an operation of T: the object itself, or the value where T is stored inline.
template <class T>
decltype(auto) receiverAs(const Value& receiver, SEL selector) {
  if constexpr (std::is_same_v<T, Value>) {
    return receiver;
  } else {
    T* object = as<T>(receiver);
    if (!object) raiseReceiverMismatch(receiver, selector);
    return *object;
  }
}

template <class Returned, class Call>
Value callForValue(Call&& call) {
  if constexpr (std::is_void_v<Returned>) {
    call();
    return Value();
  } else {
    return RuntimeType<std::remove_cvref_t<Returned>>::toValue(call());
  }
}

template <class Returned>
constexpr char returnEncoding() {
  if constexpr (std::is_void_v<Returned>) {
    return 'v';
  } else {
    return RuntimeType<std::remove_cvref_t<Returned>>::encoding;
  }
}

template <class... Arguments>
std::string argumentEncodings() {
  return {RuntimeType<std::remove_cvref_t<Arguments>>::encoding...};
}

/// An operation of T from a member function, or from a function whose first parameter is the
/// receiver.
template <class T, class Returned, class... Arguments, class Function>
Method makeMethod(SEL selector, Function function) {
  return Method(selector, returnEncoding<Returned>(), argumentEncodings<Arguments...>(),
                [function](const Value& receiver, std::span<const Value> arguments) {
                  return [&]<std::size_t... I>(std::index_sequence<I...>) {
                    return callForValue<Returned>([&]() -> Returned {
                      return function(
                          receiver,
                          RuntimeType<std::remove_cvref_t<Arguments>>::fromValue(arguments[I])...);
                    });
                  }
                  (std::index_sequence_for<Arguments...>());
                });
}

}  // namespace impl
}  // namespace JNFoundation
