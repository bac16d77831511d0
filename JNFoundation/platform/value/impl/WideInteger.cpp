#include "JNFoundation/platform/value/impl/WideInteger.h"

#include <algorithm>
#include <bit>

namespace JNFoundation::inline v0_1::impl {

namespace {

constexpr std::array<std::uint32_t, 10> smallPowersOf10 = {
    1, 10, 100, 1'000, 10'000, 100'000, 1'000'000, 10'000'000, 100'000'000, 1'000'000'000};

}  // namespace

std::size_t WideInteger::bitCount() const noexcept {
  return _size == 0 ? 0
                    : _size * 32 - static_cast<std::size_t>(std::countl_zero(_limbs[_size - 1]));
}

int WideInteger::digitCount() const noexcept {
  if (isZero()) return 0;
  // 1233 / 4096 is the logarithm of 2, close enough for these sizes to be right or one too small.
  const int atLeast = static_cast<int>(bitCount() * 1233 >> 12);
  WideInteger power(0, 1);
  power.multiplyByPowerOf10(atLeast);
  return compare(power) >= 0 ? atLeast + 1 : atLeast;
}

int WideInteger::compare(const WideInteger& other) const noexcept {
  if (_size != other._size) return _size < other._size ? -1 : 1;
  for (std::size_t i = _size; i-- > 0;) {
    if (_limbs[i] != other._limbs[i]) return _limbs[i] < other._limbs[i] ? -1 : 1;
  }
  return 0;
}

void WideInteger::multiplyAdd(std::uint32_t factor, std::uint32_t addend) noexcept {
  std::uint64_t carry = addend;
  for (std::size_t i = 0; i < _size; ++i) {
    carry += static_cast<std::uint64_t>(_limbs[i]) * factor;
    _limbs[i] = static_cast<std::uint32_t>(carry);
    carry >>= 32;
  }
  if (carry != 0) _limbs[_size++] = static_cast<std::uint32_t>(carry);
  trim();
}

void WideInteger::multiplyByPowerOf10(int power) noexcept {
  for (; power > 9; power -= 9) multiplyAdd(smallPowersOf10[9], 0);
  if (power > 0) multiplyAdd(smallPowersOf10[static_cast<std::size_t>(power)], 0);
}

std::uint32_t WideInteger::divide(std::uint32_t divisor) noexcept {
  std::uint64_t remainder = 0;
  for (std::size_t i = _size; i-- > 0;) {
    remainder = remainder << 32 | _limbs[i];
    _limbs[i] = static_cast<std::uint32_t>(remainder / divisor);
    remainder %= divisor;
  }
  trim();
  return static_cast<std::uint32_t>(remainder);
}

void WideInteger::add(const WideInteger& other) noexcept {
  const std::size_t size = std::max(_size, other._size);
  std::uint64_t carry = 0;
  for (std::size_t i = 0; i < size; ++i) {
    carry += static_cast<std::uint64_t>(_limbs[i]) + other._limbs[i];
    _limbs[i] = static_cast<std::uint32_t>(carry);
    carry >>= 32;
  }
  _size = size;
  if (carry != 0) _limbs[_size++] = static_cast<std::uint32_t>(carry);
}

void WideInteger::subtract(const WideInteger& other) noexcept {
  std::uint64_t borrow = 0;
  for (std::size_t i = 0; i < _size; ++i) {
    const std::uint64_t difference =
        static_cast<std::uint64_t>(_limbs[i]) - other._limbs[i] - borrow;
    _limbs[i] = static_cast<std::uint32_t>(difference);
    borrow = difference >> 63;
  }
  trim();
}

WideInteger WideInteger::product(const WideInteger& left, const WideInteger& right) noexcept {
  WideInteger result;
  for (std::size_t i = 0; i < left._size; ++i) {
    std::uint64_t carry = 0;
    for (std::size_t j = 0; j < right._size; ++j) {
      carry += static_cast<std::uint64_t>(left._limbs[i]) * right._limbs[j] + result._limbs[i + j];
      result._limbs[i + j] = static_cast<std::uint32_t>(carry);
      carry >>= 32;
    }
    result._limbs[i + right._size] = static_cast<std::uint32_t>(carry);
  }
  result._size = left._size + right._size;
  result.trim();
  return result;
}

void WideInteger::shiftLeftByOne(bool lowest) noexcept {
  std::uint32_t carry = lowest ? 1 : 0;
  for (std::size_t i = 0; i < _size; ++i) {
    const std::uint32_t next = _limbs[i] >> 31;
    _limbs[i] = _limbs[i] << 1 | carry;
    carry = next;
  }
  if (carry != 0) _limbs[_size++] = carry;
}

WideInteger WideInteger::quotient(WideInteger& dividend, const WideInteger& divisor) noexcept {
  WideInteger result, remainder;
  for (std::size_t i = dividend.bitCount(); i-- > 0;) {
    remainder.shiftLeftByOne(dividend.bit(i));
    const bool fits = remainder.compare(divisor) >= 0;
    if (fits) remainder.subtract(divisor);
    result.shiftLeftByOne(fits);
  }
  dividend = remainder;
  return result;
}

}  // namespace JNFoundation::impl
