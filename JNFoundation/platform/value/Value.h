#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <JNFoundation/platform/value/NSObject.h>
#include <JNFoundation/platform/value/Types.h>

namespace JNFoundation::inline v0_1 {

/// Any object reference that may stand in a collection, a dictionary or an outcome: null, a number,
/// a boolean, a date, a class, or a strong reference to an object.
///
/// Numbers, booleans, dates and classes are stored in the handle itself, without allocation; they
/// answer as the platform's number and date objects do. A Value converts implicitly from C++
/// numbers, booleans, text and `Ref<T>`; a raw pointer is never taken for a boolean.
///
///     Value count = 3, name = "Ann", nothing = nullptr;
///     if (isKindOf<NSString>(name)) use(as<NSString>(name)->utf8());
///
/// Equality, hash and order live in Value+Equality.cpp: numbers compare by numeric value whatever
/// their representation, null equals only null.
/// Threads: like any C++ value; what it refers to may be shared between threads if it is immutable.
class Value {
 public:
  /// How a value is represented.
  enum class Kind : std::uint8_t {
    Null,      ///< no value
    Boolean,   ///< a bool
    Integer,   ///< what a signed integer of 64 bits holds
    Unsigned,  ///< an integer that only an unsigned one holds
    Float,     ///< a float
    Double,    ///< a double
    Date,      ///< seconds since 1970
    Class,     ///< a class
    Object     ///< a reference to an NSObject
  };

  constexpr Value() noexcept : _integer(0), _kind(Kind::Null) {}
  constexpr Value(std::nullptr_t) noexcept : Value() {}

  /// A boolean, which is a number as well.
  template <std::same_as<bool> Boolean>
  constexpr Value(Boolean boolean) noexcept : _integer(boolean ? 1 : 0), _kind(Kind::Boolean) {}

  /// An integer of up to 64 bits.
  template <std::integral Integer>
  requires(!std::same_as<Integer, bool> && !std::same_as<Integer, wchar_t> &&
           !std::same_as<Integer, char8_t> && !std::same_as<Integer, char16_t> &&
           !std::same_as<Integer, char32_t> &&
           sizeof(Integer) <= 8) constexpr Value(Integer integer) noexcept
      : _integer(static_cast<std::int64_t>(integer)), _kind(Kind::Integer) {
    // Only what no signed word can hold is kept unsigned, so every integer has one representation.
    if constexpr (std::is_unsigned_v<Integer> && sizeof(Integer) == 8) {
      if (_integer < 0) _kind = Kind::Unsigned;
    }
  }

  // A floating-point number of that width.
  constexpr Value(double number) noexcept : _double(number), _kind(Kind::Double) {}
  constexpr Value(float number) noexcept : _double(number), _kind(Kind::Float) {}

  /// Text becomes a string object. Ill-formed UTF-8 is mended; a null pointer becomes null.
  Value(std::string_view text);
  Value(const std::string& text) : Value(std::string_view(text)) {}
  Value(const char* text);

  /// Shares the object; a null reference gives null.
  template <class T>
  Value(const Ref<T>& object) noexcept : Value(retained(impl::objectOf(object.get()))) {}
  /// Takes over the reference; a null one gives null.
  template <class T>
  Value(Ref<T>&& object) noexcept : Value(adopted(impl::objectOf(object.leak()))) {}

  /// Shares the object, e.g. `Value(this)`.
  template <std::derived_from<NSObject> T>
  explicit Value(T* object) noexcept : Value(retained(object)) {}
  /// Any other pointer is a mistake, not a boolean.
  template <class T>
  requires(!std::derived_from<T, NSObject> && !std::same_as<std::remove_const_t<T>, char>) Value(T*)
  = delete;

  /// The class itself.
  Value(const JNFoundation::Class& cls) noexcept : Value() {
    _class = &cls;
    _kind = Kind::Class;
  }

  /// The date that many seconds after 1970-01-01 00:00:00 UTC.
  static Value dateWithTimeIntervalSince1970(NSTimeInterval seconds) noexcept {
    Value date(seconds);
    date._kind = Kind::Date;
    return date;
  }

  Value(const Value& other) noexcept : _integer(other._integer), _kind(other._kind) {
    if (_kind == Kind::Object) _object->retain();
  }
  Value(Value&& other) noexcept
      : _integer(other._integer), _kind(std::exchange(other._kind, Kind::Null)) {}
  ~Value() {
    if (_kind == Kind::Object) _object->release();
  }
  Value& operator=(const Value& other) noexcept {
    Value(other).swap(*this);
    return *this;
  }
  Value& operator=(Value&& other) noexcept {
    Value(std::move(other)).swap(*this);
    return *this;
  }
  void swap(Value& other) noexcept {
    std::swap(_integer, other._integer);
    std::swap(_kind, other._kind);
  }

  /// How the value is represented.
  Kind kind() const noexcept { return _kind; }
  /// Whether there is no value.
  bool isNull() const noexcept { return _kind == Kind::Null; }
  /// Whether there is a value at all; a number 0 and a false boolean are values.
  explicit operator bool() const noexcept { return _kind != Kind::Null; }

  /// A number of any representation, booleans and decimal numbers included.
  bool isNumber() const noexcept {
    return _kind == Kind::Object ? isNumberObject()
                                 : _kind >= Kind::Boolean && _kind <= Kind::Double;
  }
  /// Whether the value was made of a boolean.
  bool isBoolean() const noexcept { return _kind == Kind::Boolean; }
  /// Whether the value is a date.
  bool isDate() const noexcept { return _kind == Kind::Date; }
  /// Whether the value is an object, and not stored inline.
  bool isObject() const noexcept { return _kind == Kind::Object; }
  /// Whether the value is an NSString.
  bool isString() const noexcept { return _kind == Kind::Object && isStringObject(); }
  /// The null marker NSNull, which is not null.
  bool isNSNull() const noexcept;

  /// The object, borrowed. Returns: null for null and for everything stored inline.
  NSObject* object() const noexcept { return _kind == Kind::Object ? _object : nullptr; }

  /// The class of what is held. Returns: null for null; the root class for a class.
  const JNFoundation::Class* class_() const noexcept {
    return _kind == Kind::Object ? &_object->class_() : inlineClass();
  }

  /// The class held. Returns: null if this is not a class.
  const JNFoundation::Class* classValue() const noexcept {
    return _kind == Kind::Class ? _class : nullptr;
  }

  // Numbers and text answer these alike, as the platform's do: text by its numeric prefix, null
  // with 0. Out of range clamps (a negative number to an unsigned 0), fractions truncate toward
  // zero, not-a-number reads as 0, and as true. Fails: anything else raises
  // NSInvalidArgumentException (unrecognized selector).
  std::int64_t longLongValue() const;
  NSInteger integerValue() const {
    return sizeof(NSInteger) == sizeof(std::int64_t) ? static_cast<NSInteger>(longLongValue())
                                                     : static_cast<NSInteger>(intValue());
  }
  std::uint64_t unsignedLongLongValue() const;
  std::int32_t intValue() const;
  double doubleValue() const;
  float floatValue() const;
  bool boolValue() const;
  /// Decimal text of a number; a string itself; null for null.
  Ref<NSString> stringValue() const;

  /// Seconds between 1970-01-01 00:00:00 UTC and the date held. Fails: raises
  /// NSInvalidArgumentException (unrecognized selector) for anything but a date.
  NSTimeInterval timeIntervalSince1970() const {
    if (_kind != Kind::Date) raiseNotADate();
    return _double;
  }

  /// By value: numbers by their numeric value whatever their representation, objects as their class
  /// decides. Null equals only null; not-a-number equals itself, so that it can be found again.
  bool isEqual(const Value& other) const;
  /// Equal for values that are equal.
  std::size_t hash() const;
  /// Numeric, literal or chronological order; booleans count as 0 and 1; null is first, and
  /// not-a-number before every number. Objects of other classes are ordered by their `compare:`.
  /// Fails: raises NSInvalidArgumentException for kinds that have no common order.
  NSComparisonResult compare(const Value& other) const;

  /// Text for people and logs, "(null)" for null. Never null.
  Ref<NSString> description() const;
  /// What `copy` of the object gives; everything else is its own copy.
  Value copy() const;
  /// Whether the object, the class or the kind of value answers the selector; null answers none.
  bool respondsToSelector(SEL selector) const;

  /// The same as `isEqual`.
  friend bool operator==(const Value& left, const Value& right) { return left.isEqual(right); }

  /// The same null, the same object, or inline values of the same kind and content.
  bool isIdentical(const Value& other) const noexcept {
    return _kind == other._kind && (_kind == Kind::Null || _integer == other._integer);
  }

 private:
  bool isNumberObject() const noexcept;
  bool isStringObject() const noexcept;

  static Value retained(NSObject* object) noexcept {
    if (object) object->retain();
    return adopted(object);
  }
  static Value adopted(NSObject* object) noexcept {
    Value value;
    if (object) {
      value._object = object;
      value._kind = Kind::Object;
    }
    return value;
  }
  const JNFoundation::Class* inlineClass() const noexcept;
  [[noreturn]] void raiseNotADate() const;

  friend struct ValueEquality;

  // Copied, exchanged and compared as _integer: a pointer that is narrower is put beside zeros.
  union {
    std::int64_t _integer;
    double _double;
    NSObject* _object;
    const JNFoundation::Class* _class;
  };
  Kind _kind;
};

static_assert(sizeof(Value) == 16);

/// Whether the value is an instance of T or of a descendant of T; null is of no kind.
/// Takes constant time.
template <class T>
bool isKindOf(const Value& value) noexcept {
  const Class* cls = value.class_();
  return cls && cls->isSubclassOf(T::classObject);
}
template <class T>
bool isKindOf(const NSObject& object) noexcept {
  return object.class_().isSubclassOf(T::classObject);
}

/// The object held, as a T, borrowed from the value. Returns: null if it is null or of another
/// kind. Numbers and dates are no objects: read them through Value. Takes constant time.
template <std::derived_from<NSObject> T>
T* as(const Value& value) noexcept {
  NSObject* object = value.object();
  return object && object->class_().isSubclassOf(T::classObject) ? static_cast<T*>(object)
                                                                 : nullptr;
}
/// The same of a temporary: shares the object.
template <std::derived_from<NSObject> T>
Ref<T> as(Value&& value) noexcept {
  return Ref<T>(as<T>(static_cast<const Value&>(value)));
}

/// The object held, as the protocol, borrowed. Returns: null if the object does not adopt it.
template <impl::AdoptedProtocol T>
T* as(const Value& value) noexcept {
  return dynamic_cast<T*>(value.object());
}
template <impl::AdoptedProtocol T>
Ref<T> as(Value&& value) noexcept {
  return Ref<T>(dynamic_cast<T*>(value.object()));
}

}  // namespace JNFoundation

template <>
struct std::hash<JNFoundation::Value> {
  std::size_t operator()(const JNFoundation::Value& value) const { return value.hash(); }
};
