#pragma once

#include <cstddef>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include <JNFoundation/platform/value/NSObject.h>

namespace JNFoundation::inline v0_1 {

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

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
// A closure's padding is moved with it.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

/// Moves words one at a time. They were often stored one at a time just before, and a processor
/// cannot forward those stores to one wide load: it would wait until all of them are in the cache.
template <std::size_t count>
inline void moveWords(std::byte* to, const std::byte* from) noexcept {
  for (std::size_t i = 0; i < count; ++i) {
    void* word;
    std::memcpy(&word, from + i * sizeof word, sizeof word);
#if defined(__GNUC__)
    // Keeps the compiler from joining the loads.
    __asm__("" : "+r"(word));
#endif
    std::memcpy(to + i * sizeof word, &word, sizeof word);
  }
}
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

template <class T>
inline constexpr bool isBlock = false;
template <class Signature>
inline constexpr bool isBlock<Block<Signature>> = true;

}  // namespace impl

/// A closure that may be null, can be copied, and is called through a const reference.
///
///     Block<Value(const Value&)> twice = [](const Value& value) { return value.integerValue() * 2;
///     };
///
/// A small closure whose call is const and which copies without failing (a few references or
/// numbers) stands inside its block and is copied with it; every other one is kept once and shared
/// by all copies of the block, so that copies share the state that a `mutable` closure changes. A
/// closure that can only be moved is as good as any.
///
/// The closure stays until its call has returned, even if it replaces or destroys the block that
/// runs it. A block that returns a value does not accept a closure that returns nothing. A null
/// function pointer, block or `std::function` gives a null block.
/// Requires: a call needs a non-null block; calling a null one is undefined.
template <class Result, class... Arguments>
class Block<Result(Arguments...)> {
 public:
  constexpr Block() noexcept = default;
  constexpr Block(std::nullptr_t) noexcept {}

  /// Takes: the closure, copied or moved in.
  template <class Closure>
  requires(!std::is_same_v<std::remove_cvref_t<Closure>, Block> &&
           !std::is_member_pointer_v<std::decay_t<Closure>> &&
           std::is_invocable_v<std::decay_t<Closure>&, Arguments...>) Block(Closure&& closure) {
    using Stored = std::decay_t<Closure>;
    using Returned = std::invoke_result_t<Stored&, Arguments...>;
    static_assert(
        std::is_void_v<Result> || !std::is_void_v<Returned>,
        "this block must return a value: end it with `return value;` (or `return nullptr;`)");
    static_assert(std::is_void_v<Result> || std::is_void_v<Returned> ||
                      std::is_convertible_v<Returned, Result>,
                  "what this block returns does not convert to the type that is expected of it");
    if constexpr (mayBeNull<Stored> && !std::is_function_v<std::remove_reference_t<Closure>>) {
      if (!static_cast<bool>(closure)) return;
    }
    if constexpr (fitsInline<Stored>) {
      clearBehind<sizeof(Stored)>();
      ::new (static_cast<void*>(_storage)) Stored(std::forward<Closure>(closure));
      _operations = &inlineOperations<Stored>;
    } else {
      NSObject* shared = new impl::SharedClosure<Stored>(std::forward<Closure>(closure));
      clearBehind<sizeof shared>();
      std::memcpy(_storage, &shared, sizeof shared);
      _operations = &sharedOperations<Stored>;
    }
  }

  Block(const Block& other) noexcept : _operations(other._operations) {
    if (_operations) _operations->copy(_storage, other._storage);
  }
  Block(Block&& other) noexcept { takeOver(other); }
  ~Block() {
    if (_operations && _operations->destroy) std::exchange(_operations, nullptr)->destroy(_storage);
  }
  Block& operator=(const Block& other) noexcept {
    Block copy(other);
    *this = std::move(copy);
    return *this;
  }
  Block& operator=(Block&& other) noexcept {
    if (this == &other) return *this;
    // The old closure goes last: what it captured may reach this block again while it dies.
    Block old(std::move(*this));
    takeOver(other);
    return *this;
  }

  /// Whether there is a closure to call.
  explicit operator bool() const noexcept { return _operations != nullptr; }
  /// Whether there is none.
  friend bool operator==(const Block& block, std::nullptr_t) noexcept {
    return block._operations == nullptr;
  }

  /// Calls the closure. Requires: there is one.
  Result operator()(Arguments... arguments) const {
    return _operations->call(_storage, std::forward<Arguments>(arguments)...);
  }

 private:
  static constexpr std::size_t inlineSize = 3 * sizeof(void*);

  /// A copy must not divide state that the closure changes, nor allocate.
  template <class Closure>
  static constexpr bool fitsInline =
      sizeof(Closure) <= inlineSize && alignof(Closure) <= alignof(void*) &&
      std::is_nothrow_move_constructible_v<Closure>&& std::is_nothrow_copy_constructible_v<
          Closure>&& std::is_invocable_v<const Closure&, Arguments...>;

  /// A lambda without captures converts to a function pointer and so to a boolean; it is never
  /// null.
  template <class Closure>
  static constexpr bool mayBeNull = std::is_pointer_v<Closure> ||
                                    (!std::is_empty_v<Closure> &&
                                     std::is_constructible_v<bool, const Closure&>);

  struct Operations {
    Result (*call)(const std::byte* storage, Arguments&&... arguments);
    void (*copy)(std::byte* to, const std::byte* from) noexcept;
    /// Null where moving the bytes is enough.
    void (*relocate)(std::byte* to, std::byte* from) noexcept;
    /// Null where nothing has to be done.
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
  static const Closure& inlineClosure(const std::byte* storage) noexcept {
    return *std::launder(reinterpret_cast<const Closure*>(storage));
  }

  template <class Closure>
  static void relocateInline(std::byte* to, std::byte* from) noexcept {
    Closure* closure = std::launder(reinterpret_cast<Closure*>(from));
    ::new (static_cast<void*>(to)) Closure(std::move(*closure));
    closure->~Closure();
  }

  template <class Closure>
  static void destroyInline(std::byte* storage) noexcept {
    std::launder(reinterpret_cast<Closure*>(storage))->~Closure();
  }

  template <class Closure>
  static constexpr Operations inlineOperations{
      [](const std::byte* storage, Arguments&&... arguments) -> Result {
        // A copy, because the block may be gone before the call returns.
        const Closure closure(inlineClosure<Closure>(storage));
        return callClosure(closure, std::forward<Arguments>(arguments)...);
      },
      [](std::byte* to, const std::byte* from) noexcept {
        ::new (static_cast<void*>(to)) Closure(inlineClosure<Closure>(from));
      },
      std::is_trivially_copyable_v<Closure> ? nullptr : &relocateInline<Closure>,
      std::is_trivially_destructible_v<Closure> ? nullptr : &destroyInline<Closure>};

  static NSObject* sharedObject(const std::byte* storage) noexcept {
    NSObject* object;
    std::memcpy(&object, storage, sizeof object);
    return object;
  }

  template <class Closure>
  static constexpr Operations sharedOperations{
      [](const std::byte* storage, Arguments&&... arguments) -> Result {
        const Ref<impl::SharedClosure<Closure>> shared(
            static_cast<impl::SharedClosure<Closure>*>(sharedObject(storage)));
        return callClosure(shared->closure, std::forward<Arguments>(arguments)...);
      },
      [](std::byte* to, const std::byte* from) noexcept {
        std::memcpy(to, from, sizeof(NSObject*));
        sharedObject(to)->retain();
      },
      nullptr,  // the reference moves with its bytes
      [](std::byte* storage) noexcept { sharedObject(storage)->release(); }};

  /// Moving all bytes must not read any that were never written.
  template <std::size_t used>
  void clearBehind() noexcept {
    if constexpr (used < inlineSize) std::memset(_storage + used, 0, inlineSize - used);
  }

  /// Requires: this block is null.
  void takeOver(Block& other) noexcept {
    _operations = std::exchange(other._operations, nullptr);
    if (!_operations) return;
    if (_operations->relocate) {
      _operations->relocate(_storage, other._storage);
    } else {
      impl::moveWords<inlineSize / sizeof(void*)>(_storage, other._storage);
    }
  }

  const Operations* _operations = nullptr;
  alignas(void*) std::byte _storage[inlineSize];
};

}  // namespace JNFoundation
