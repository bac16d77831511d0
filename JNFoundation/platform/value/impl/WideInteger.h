#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace JNFoundation::inline v0_1::impl {

/// A natural number of up to 448 bits: room for what the arithmetic of 38-digit decimals comes to
/// before it is rounded. Lower limbs first; nothing checks for an overflow of those bits.
class WideInteger {
 public:
  WideInteger() = default;
  WideInteger(std::uint64_t high, std::uint64_t low) {
    _limbs[0] = static_cast<std::uint32_t>(low);
    _limbs[1] = static_cast<std::uint32_t>(low >> 32);
    _limbs[2] = static_cast<std::uint32_t>(high);
    _limbs[3] = static_cast<std::uint32_t>(high >> 32);
    _size = 4;
    trim();
  }

  bool isZero() const noexcept { return _size == 0; }
  bool isOdd() const noexcept { return (_limbs[0] & 1) != 0; }
  std::uint64_t low() const noexcept {
    return static_cast<std::uint64_t>(_limbs[1]) << 32 | _limbs[0];
  }
  std::uint64_t high() const noexcept {
    return static_cast<std::uint64_t>(_limbs[3]) << 32 | _limbs[2];
  }
  /// Whether 64 bits hold the number.
  bool fits64() const noexcept { return _size <= 2; }

  /// The number of decimal digits; 0 has none.
  int digitCount() const noexcept;
  /// -1, 0 or 1.
  int compare(const WideInteger& other) const noexcept;

  void multiplyAdd(std::uint32_t factor, std::uint32_t addend) noexcept;
  void multiplyByPowerOf10(int power) noexcept;
  /// Returns: the remainder.
  std::uint32_t divide(std::uint32_t divisor) noexcept;
  void add(const WideInteger& other) noexcept;
  /// Requires: other is not greater.
  void subtract(const WideInteger& other) noexcept;

  static WideInteger product(const WideInteger& left, const WideInteger& right) noexcept;
  /// Leaves the remainder in the dividend. Requires: the divisor is not zero.
  static WideInteger quotient(WideInteger& dividend, const WideInteger& divisor) noexcept;

 private:
  static constexpr std::size_t limbCount = 14;

  void trim() noexcept {
    while (_size > 0 && _limbs[_size - 1] == 0) --_size;
  }
  std::size_t bitCount() const noexcept;
  bool bit(std::size_t position) const noexcept {
    return (_limbs[position / 32] >> position % 32 & 1) != 0;
  }
  void shiftLeftByOne(bool lowest) noexcept;

  std::array<std::uint32_t, limbCount> _limbs{};
  /// Limbs in use: the last of them is not 0.
  std::size_t _size = 0;
};

}  // namespace JNFoundation::impl
