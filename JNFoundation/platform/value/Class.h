#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <string_view>

#include <JNFoundation/platform/value/SEL.h>

namespace JNFoundation {

class Class;
class Method;
class NSObject;
template <class T>
class Ref;

namespace impl {

struct ClassMembers;

template <class T>
struct ClassDepth {
  static constexpr std::size_t value = ClassDepth<typename T::Superclass>::value + 1;
};
template <>
struct ClassDepth<NSObject> {
  static constexpr std::size_t value = 0;
};

/// The class objects from the root down to T, fixed at compile time.
template <class T>
struct ClassLine {
  static constexpr std::size_t size = ClassDepth<T>::value + 1;
  static constexpr std::array<const Class*, size> make() {
    std::array<const Class*, size> line{};
    if constexpr (size > 1) {
      const auto above = ClassLine<typename T::Superclass>::make();
      for (std::size_t i = 0; i < above.size(); ++i) line[i] = above[i];
    }
    line[size - 1] = &T::classObject;
    return line;
  }
  static constexpr std::array<const Class*, size> value = make();
};

/// The unqualified name of T, taken from the compiler at compile time.
template <class T>
constexpr std::string_view typeName() {
#if defined(_MSC_VER) && !defined(__clang__)
  std::string_view text = __FUNCSIG__;
  text.remove_prefix(text.find("typeName<") + 9);
  text.remove_suffix(text.size() - text.rfind(">(void)"));
  if (text.substr(0, 6) == "class ") text.remove_prefix(6);
  if (text.substr(0, 7) == "struct ") text.remove_prefix(7);
#else
  std::string_view text = __PRETTY_FUNCTION__;
  text.remove_prefix(text.find("T = ") + 4);
  text.remove_suffix(text.size() - text.find_first_of(";]"));
#endif
  const std::size_t qualifier = text.rfind("::", text.find('<'));
  if (qualifier != std::string_view::npos) text.remove_prefix(qualifier + 2);
  return text;
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
    return Class(name, impl::ClassLine<T>::value.data(), ClassDepth<T>());
  }

  Class(const Class&) = delete;
  Class& operator=(const Class&) = delete;

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

  /// The operation that the class itself runs for the selector, inherited ones included; or null.
  const Method* classMethodForSelector(SEL selector) const noexcept;

  bool instancesRespondToSelector(SEL selector) const noexcept {
    return instanceMethodForSelector(selector) != nullptr;
  }

  friend bool operator==(const Class& left, const Class& right) noexcept { return &left == &right; }

  /// Makes the class findable by name. The first class of a name keeps it.
  void registerName() const;

 private:
  friend class ClassMembersAccess;
  template <class T>
  using ClassDepth = impl::ClassDepth<T>;

  template <class Depth>
  constexpr Class(std::string_view name, const Class* const* line, Depth)
      : _name(name), _line(line), _depth(Depth::value) {}

  std::string_view _name;
  const Class* const* _line;
  std::size_t _depth;
  mutable std::atomic<const impl::ClassMembers*> _members{nullptr};
};

/// The class of that name among those linked into the process; null if none is known.
const Class* NSClassFromString(std::string_view name) noexcept;
std::string_view NSStringFromClass(const Class& cls) noexcept;

}  // namespace JNFoundation
