#pragma once

#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

/// One argument of a format: a value for %@, text for %s, an address for %p, or a number.
/// Borrows text for the length of the call it is made for.
class FormatArgument {
 public:
  /// What an argument was given as.
  enum class Kind {
    Object,   ///< a value
    Text,     ///< C++ text
    Pointer,  ///< an address
    Number    ///< a number or an enum
  };

  /// Text and character pointers are Text; numbers and enums Number; null, and whatever else a
  /// value is made of, Object; every other pointer Pointer, null character pointers included.
  template <class T>
  explicit FormatArgument(const T& argument) {
    if constexpr (std::is_same_v<T, std::nullptr_t>) {
      _kind = Kind::Object;
    } else if constexpr (std::is_convertible_v<const T&, std::string_view> &&
                         !std::is_base_of_v<NSObject, T>) {
      if constexpr (std::is_pointer_v<T>) {
        _kind = argument ? Kind::Text : Kind::Pointer;
        if (argument) _text = argument;
      } else {
        _kind = Kind::Text;
        _text = argument;
      }
    } else if constexpr (std::is_enum_v<T>) {
      _kind = Kind::Number;
      _value = static_cast<std::underlying_type_t<T>>(argument);
      _size = sizeof(T);
    } else if constexpr (std::is_arithmetic_v<T>) {
      _kind = Kind::Number;
      _value = argument;
      _size = sizeof(T);
    } else if constexpr (std::is_pointer_v<T>) {
      _kind = Kind::Pointer;
      _pointer = argument;
      if constexpr (std::is_convertible_v<T, const NSObject*>) {
        _kind = Kind::Object;
        _value = Value(const_cast<NSObject*>(static_cast<const NSObject*>(argument)));
      }
    } else {
      _kind = Kind::Object;
      _value = Value(argument);
    }
  }

  /// What the argument was given as.
  Kind kind() const noexcept { return _kind; }
  /// The object or the number; null for text and for pointers.
  const Value& value() const noexcept { return _value; }
  /// The text; empty for every other kind.
  std::string_view text() const noexcept { return _text; }
  /// The address; null for every other kind.
  const void* pointer() const noexcept { return _pointer; }
  /// The bytes of a number as it was given: they decide how a negative one looks to %x, %o and %u.
  std::size_t size() const noexcept { return _size; }

 private:
  Kind _kind = Kind::Object;
  std::uint8_t _size = sizeof(std::int64_t);
  Value _value;
  std::string_view _text;
  const void* _pointer = nullptr;
};

/// The formatted text, see NSString::stringWithFormat.
std::string formatText(std::string_view format, std::span<const FormatArgument> arguments);

}  // namespace JNFoundation
