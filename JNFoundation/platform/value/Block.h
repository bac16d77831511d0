#pragma once

#include <cstddef>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include <JNFoundation/platform/value/NSObject.h>

namespace JNFoundation {

template <class Signature>
class Block;

namespace impl {

/// Where a closure too large to stand inside its Block lives, shared by all copies of the Block.
template <class Closure>
class SharedClosure final : public NSObject {
 public:
  explicit SharedClosure(Closure&& closure) : closure(std::move(closure)) {}
  explicit SharedClosure(const Closure& closure) : closure(closure) {}
  Closure closure;
};

template <class T>
inline constexpr bool isBlock = false;
template <class Signature>
inline constexpr bool isBlock<Block<Signature>> = true;

}  // namespace impl

/// A closure that may be null, can be copied, and is called through a const reference.
///
/// Closures of up to three words are stored inline, larger ones once, shared by all copies: a copy
/// never copies what the closure captured, so mutable captured state is shared as well.
/// A block that returns a value does not accept a closure that returns nothing.
/// Requires: a call needs a non-null block; calling a null one is undefined.
template <class Result, class... Arguments>
class Block<Result(Arguments...)> {
 public:
  constexpr Block() noexcept = default;
  constexpr Block(std::nullptr_t) noexcept {}

  template <class Closure>
  requires(!std::is_same_v<std::remove_cvref_t<Closure>, Block> &&
           std::is_invocable_v<std::decay_t<Closure>&, Arguments...>) Block(Closure&& closure) {
    using Stored = std::decay_t<Closure>;
    using Returned = std::invoke_result_t<Stored&, Arguments...>;
    static_assert(
        std::is_void_v<Result> || !std::is_void_v<Returned>,
        "this block must return a value: end it with `return value;` (or `return nullptr;`)");
    static_assert(std::is_void_v<Result> || std::is_convertible_v<Returned, Result>,
                  "what this block returns does not convert to the type that is expected of it");
    if constexpr (std::is_pointer_v<Stored> || impl::isBlock<Stored>) {
      if (!closure) return;
    }
    if constexpr (fitsInline<Stored>) {
      ::new (static_cast<void*>(_storage)) Stored(std::forward<Closure>(closure));
      _operations = &inlineOperations<Stored>;
    } else {
      using Shared = impl::SharedClosure<Stored>;
      *reinterpret_cast<NSObject**>(_storage) = new Shared(std::forward<Closure>(closure));
      _operations = &sharedOperations<Stored>;
    }
  }

  Block(const Block& other) : _operations(other._operations) {
    if (_operations) _operations->copy(_storage, other._storage);
  }
  Block(Block&& other) noexcept : _operations(std::exchange(other._operations, nullptr)) {
    if (_operations) _operations->relocate(_storage, other._storage);
  }
  ~Block() {
    if (_operations) _operations->destroy(_storage);
  }
  Block& operator=(const Block& other) {
    Block copy(other);
    *this = std::move(copy);
    return *this;
  }
  Block& operator=(Block&& other) noexcept {
    if (this == &other) return *this;
    // The old closure goes last: what it captured may reach this block again while it dies.
    Block old(std::move(*this));
    _operations = std::exchange(other._operations, nullptr);
    if (_operations) _operations->relocate(_storage, other._storage);
    return *this;
  }

  explicit operator bool() const noexcept { return _operations != nullptr; }
  friend bool operator==(const Block& block, std::nullptr_t) noexcept {
    return block._operations == nullptr;
  }

  Result operator()(Arguments... arguments) const {
    return _operations->call(_storage, std::forward<Arguments>(arguments)...);
  }

 private:
  static constexpr std::size_t inlineSize = 3 * sizeof(void*);

  template <class Closure>
  static constexpr bool fitsInline =
      sizeof(Closure) <= inlineSize && alignof(Closure) <= alignof(void*) &&
      std::is_nothrow_move_constructible_v<Closure>&& std::is_copy_constructible_v<Closure>;

  struct Operations {
    Result (*call)(std::byte* storage, Arguments&&... arguments);
    void (*copy)(std::byte* to, const std::byte* from);
    void (*relocate)(std::byte* to, std::byte* from) noexcept;
    void (*destroy)(std::byte* storage) noexcept;
  };

  template <class Closure>
  static Result callClosure(Closure& closure, Arguments&&... arguments) {
    if constexpr (std::is_void_v<Result>) {
      closure(std::forward<Arguments>(arguments)...);
    } else {
      return closure(std::forward<Arguments>(arguments)...);
    }
  }

  template <class Closure>
  static constexpr Operations inlineOperations{
      [](std::byte* storage, Arguments&&... arguments) -> Result {
        return callClosure(*std::launder(reinterpret_cast<Closure*>(storage)),
                           std::forward<Arguments>(arguments)...);
      },
      [](std::byte* to, const std::byte* from) {
        ::new (static_cast<void*>(to))
            Closure(*std::launder(reinterpret_cast<const Closure*>(from)));
      },
      [](std::byte* to, std::byte* from) noexcept {
        Closure* closure = std::launder(reinterpret_cast<Closure*>(from));
        ::new (static_cast<void*>(to)) Closure(std::move(*closure));
        closure->~Closure();
      },
      [](std::byte* storage) noexcept {
        std::launder(reinterpret_cast<Closure*>(storage))->~Closure();
      }};

  static NSObject* sharedObject(const std::byte* storage) noexcept {
    NSObject* object;
    std::memcpy(&object, storage, sizeof object);
    return object;
  }

  template <class Closure>
  static constexpr Operations sharedOperations{
      [](std::byte* storage, Arguments&&... arguments) -> Result {
        auto* shared = static_cast<impl::SharedClosure<Closure>*>(sharedObject(storage));
        return callClosure(shared->closure, std::forward<Arguments>(arguments)...);
      },
      [](std::byte* to, const std::byte* from) {
        std::memcpy(to, from, sizeof(NSObject*));
        sharedObject(to)->retain();
      },
      [](std::byte* to, std::byte* from) noexcept { std::memcpy(to, from, sizeof(NSObject*)); },
      [](std::byte* storage) noexcept { sharedObject(storage)->release(); }};

  const Operations* _operations = nullptr;
  alignas(void*) mutable std::byte _storage[inlineSize];
};

}  // namespace JNFoundation
