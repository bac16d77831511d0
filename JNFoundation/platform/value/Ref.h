#pragma once

#include <concepts>
#include <cstddef>
#include <string_view>
#include <type_traits>
#include <utility>

namespace JNFoundation::inline v0_1 {

class NSObject;
class NSString;

/// What a protocol class (an abstract class that objects adopt beside their own class) derives
/// from: it leads from the protocol to the object that adopts it. `Subclass` implements it.
///
///     class Feeding : public NSObjectProtocol {
///      public:
///       virtual void feed(NSInteger portions) = 0;
///     };
class NSObjectProtocol {
 public:
  /// The object that adopts the protocol.
  virtual NSObject* protocolObject() noexcept = 0;

 protected:
  virtual ~NSObjectProtocol() = default;
};

namespace impl {

void retainObject(const NSObject* object) noexcept;
void releaseObject(const NSObject* object) noexcept;

template <class T>
concept AdoptedProtocol = std::derived_from<T, NSObjectProtocol> && !std::derived_from<T, NSObject>;

/// What a loop can walk: the collections.
template <class T>
concept Walkable = requires(T& collection) {
  collection.begin();
  collection.end();
};

template <class T>
inline NSObject* objectOf(T* pointer) noexcept {
  if constexpr (AdoptedProtocol<T>) {
    return pointer ? pointer->protocolObject() : nullptr;
  } else {
    return const_cast<std::remove_const_t<T>*>(pointer);
  }
}

}  // namespace impl

/// The strong reference: keeps its object alive. May be null. Moving is free, a copy costs one
/// atomic increment.
///
/// T is a class derived from NSObject or a protocol. A `Ref<NSString>` may be made of C++ text.
/// Threads: different references to one object may be used on different threads; one reference is
/// like any C++ value.
template <class T>
class Ref {
 public:
  /// What the reference refers to.
  using element_type = T;

  constexpr Ref() noexcept = default;
  constexpr Ref(std::nullptr_t) noexcept {}

  /// Shares the object.
  Ref(T* object) noexcept : _object(object) { retain(); }

  Ref(const Ref& other) noexcept : _object(other._object) { retain(); }
  Ref(Ref&& other) noexcept : _object(std::exchange(other._object, nullptr)) {}

  /// Shares the object of a reference to a descendant.
  template <class U>
  requires std::convertible_to<U*, T*> Ref(const Ref<U>& other)
  noexcept : _object(other.get()) { retain(); }
  /// Takes over the object of a reference to a descendant.
  template <class U>
  requires std::convertible_to<U*, T*> Ref(Ref<U>&& other)
  noexcept : _object(other.leak()) {}

  /// From C++ text, where T is NSString. Ill-formed UTF-8 is mended, see NSString; a null pointer
  /// becomes null.
  template <class Text>
  requires(std::is_same_v<T, NSString>&& std::convertible_to<const Text&, std::string_view>)
      Ref(const Text& text)
      : Ref(fromText(text)) {}

  ~Ref() { release(); }

  Ref& operator=(const Ref& other) noexcept {
    Ref(other).swap(*this);
    return *this;
  }
  Ref& operator=(Ref&& other) noexcept {
    Ref(std::move(other)).swap(*this);
    return *this;
  }

  /// Takes over a reference that the caller owns, without counting it again.
  static Ref adopt(T* object) noexcept {
    Ref reference;
    reference._object = object;
    return reference;
  }

  /// Gives the owned reference to the caller, who must adopt it again; this becomes null.
  [[nodiscard]] T* leak() noexcept { return std::exchange(_object, nullptr); }

  /// The object, borrowed; null if there is none.
  T* get() const noexcept { return _object; }
  // The object. Requires: there is one.
  T* operator->() const noexcept { return _object; }
  T& operator*() const& noexcept { return *_object; }
  T& operator*() const&& noexcept requires(!impl::Walkable<T>) { return *_object; }
  /// A range-based for over `*temporary()` would walk a collection that has gone. Write
  /// `for (... : temporary())`.
  T& operator*() const&& requires(impl::Walkable<T>) = delete;
  /// Whether there is an object.
  explicit operator bool() const noexcept { return _object != nullptr; }

  // A reference to a collection is walked like the collection, and keeps it alive meanwhile.
  // Requires: not null.
  template <class Collection = T>
  auto begin() const -> decltype(std::declval<const Collection&>().begin()) {
    return static_cast<const Collection&>(*_object).begin();
  }
  template <class Collection = T>
  auto end() const -> decltype(std::declval<const Collection&>().end()) {
    return static_cast<const Collection&>(*_object).end();
  }

  void swap(Ref& other) noexcept { std::swap(_object, other._object); }

  /// Identity, not equality: the same object, or both null.
  template <class U>
  friend bool operator==(const Ref& left, const Ref<U>& right) noexcept {
    return left.get() == right.get();
  }
  friend bool operator==(const Ref& left, const T* right) noexcept { return left._object == right; }
  friend bool operator==(const Ref& left, std::nullptr_t) noexcept {
    return left._object == nullptr;
  }

 private:
  template <class Text>
  static Ref fromText(const Text& text) {
    if constexpr (std::is_pointer_v<Text>) {
      if (!text) return nullptr;
    }
    return T::fromText(std::string_view(text));
  }

  void retain() const noexcept {
    if (_object) impl::retainObject(impl::objectOf(_object));
  }
  void release() noexcept {
    if (_object) impl::releaseObject(impl::objectOf(_object));
  }

  T* _object = nullptr;
};

}  // namespace JNFoundation
