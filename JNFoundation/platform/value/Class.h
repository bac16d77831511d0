#pragma once

#include <atomic>
#include <cstddef>
#include <string_view>

#include <JNFoundation/platform/value/SEL.h>

namespace JNFoundation::inline v0_1 {

class Class;
class Method;
class NSObject;
template <class T>
class Ref;

namespace impl {

struct ClassMembers;

/// The class objects from the root down to a class, fixed at compile time. A list of types and no
/// function: a class template's class object may be asked for while another one's is being made.
template <class... Classes>
struct ClassLine {
  static constexpr std::size_t depth = sizeof...(Classes) - 1;
  static constexpr const Class* value[] = {&Classes::classObject...};
};

template <class T, class... Below>
struct LineFromRoot {
  using type = typename LineFromRoot<typename T::Superclass, T, Below...>::type;
};
template <class... Below>
struct LineFromRoot<NSObject, Below...> {
  using type = ClassLine<NSObject, Below...>;
};

template <class T>
constexpr std::string_view signatureNaming() {
#if defined(_MSC_VER) && !defined(__clang__)
  return __FUNCSIG__;
#else
  return __PRETTY_FUNCTION__;
#endif
}

/// The name of T without what it is declared in, taken from the compiler at compile time.
template <class T>
constexpr std::string_view typeName() {
  // The text around the name is the same for every type, so one known name shows where it ends.
  constexpr std::string_view sample = signatureNaming<double>();
  constexpr std::size_t before = sample.find("double");
  std::string_view name = signatureNaming<T>();
  name = name.substr(before, name.size() - (sample.size() - std::string_view("double").size()));
  for (const std::string_view keyword : {"class ", "struct "}) {
    if (name.substr(0, keyword.size()) == keyword) name.remove_prefix(keyword.size());
  }
  int brackets = 0;
  for (std::size_t i = name.size(); i > 1; --i) {
    const char character = name[i - 1];
    if (character == '>' || character == ')' || character == ']') ++brackets;
    if (character == '<' || character == '(' || character == '[') --brackets;
    if (brackets == 0 && character == ':' && name[i - 2] == ':') return name.substr(i);
  }
  return name;
}

}  // namespace impl

/// A class as the object runtime sees it: a name, a superclass, and the operations declared for it.
///
/// There is exactly one object of this type per class, `T::classObject`, initialised before any
/// code runs; its address is the identity of the class. Operations are attached by a
/// ClassDeclaration. Threads: any; everything here may be read at any time.
class Class {
 public:
  /// The class object of T, whose ancestors are those of `T::Superclass`.
  template <class T>
  static constexpr Class of(std::string_view name) {
    using Line = typename impl::LineFromRoot<T>::type;
    return Class(name, Line::value, Line::depth);
  }

  Class(const Class&) = delete;
  Class& operator=(const Class&) = delete;

  /// As the class was declared: "NSArray".
  std::string_view name() const noexcept { return _name; }

  /// Returns: null for the root class.
  const Class* superclass() const noexcept { return _depth == 0 ? nullptr : _line[_depth - 1]; }

  /// Whether this is `other` or a descendant of it; takes constant time.
  bool isSubclassOf(const Class& other) const noexcept {
    return _depth >= other._depth && _line[other._depth] == &other;
  }

  /// Whether the class declared a factory, that is whether `newInstance` can make one.
  bool canMakeInstances() const noexcept;

  /// A new instance made by the declared factory. Returns: null where none was declared.
  Ref<NSObject> newInstance() const;

  /// The operation that an instance runs for the selector, inherited ones included; null if none.
  const Method* instanceMethodForSelector(SEL selector) const noexcept;

  /// The operation that the class itself runs for the selector, inherited ones included, and after
  /// them those that every object answers; null if none.
  const Method* classMethodForSelector(SEL selector) const noexcept;

  /// Whether instances run an operation for the selector, inherited ones included.
  bool instancesRespondToSelector(SEL selector) const noexcept {
    return instanceMethodForSelector(selector) != nullptr;
  }

  /// The operation that reads the property of that name: the first of getKey, key, isKey and _key
  /// that instances answer without an argument and with a result. Returns: null if there is none.
  const Method* getterForKey(std::string_view key) const noexcept;

  /// The operation that writes it: the first of setKey: and _setKey:. Returns: null if there is
  /// none.
  const Method* setterForKey(std::string_view key) const noexcept;

  /// Whether both are the very same class.
  friend bool operator==(const Class& left, const Class& right) noexcept { return &left == &right; }

  /// Makes the class findable by name. The first class of a name keeps it.
  void registerName() const;

 private:
  friend class ClassMembersAccess;

  constexpr Class(std::string_view name, const Class* const* line, std::size_t depth)
      : _name(name), _line(line), _depth(depth) {}

  std::string_view _name;
  const Class* const* _line;
  std::size_t _depth;
  mutable std::atomic<const impl::ClassMembers*> _members{nullptr};
};

/// The class of that name among those linked into the process; null if none is known.
const Class* NSClassFromString(std::string_view name) noexcept;
/// The name of the class.
std::string_view NSStringFromClass(const Class& cls) noexcept;

}  // namespace JNFoundation
