#pragma once

#include <cstddef>
#include <utility>

#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

/// A fixed number of values side by side, or nothing: what an object or a record holds.
///
/// Arrays stand beside each other and beside their objects in memory.
/// Threads: like any C++ value; an array may go on another thread than it was made on.
class ValueArray {
 public:
  /// Nothing.
  constexpr ValueArray() noexcept = default;
  /// So many nulls.
  explicit ValueArray(std::size_t count);
  ValueArray(ValueArray&& other) noexcept : _values(std::exchange(other._values, nullptr)) {}
  ValueArray& operator=(ValueArray&& other) noexcept {
    ValueArray taken(std::move(other));
    std::swap(_values, taken._values);
    return *this;
  }
  ~ValueArray() {
    if (_values) release(_values);
  }

  /// Whether there are values.
  explicit operator bool() const noexcept { return _values != nullptr; }
  /// The first of the values, borrowed; null if there are none.
  Value* get() const noexcept { return _values; }
  /// Requires: an index below the count that the array was made with.
  Value& operator[](std::size_t index) const noexcept { return _values[index]; }
  /// Lets go of the values.
  void reset() noexcept { *this = ValueArray(); }

 private:
  static void release(Value* values) noexcept;

  Value* _values = nullptr;
};

}  // namespace JNFoundation
