#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>

#include <JNFoundation/platform/text/Hash.h>

/// One hash for one numeric value, whatever represents it.
namespace JNFoundation::inline v0_1::impl {

inline std::size_t hashOfInteger(std::int64_t number) {
  return static_cast<std::size_t>(mixHash(static_cast<std::uint64_t>(number)));
}

inline std::size_t hashOfUnsigned(std::uint64_t number) {
  return static_cast<std::size_t>(mixHash(number));
}

/// A whole number that a 64-bit word holds hashes as that word does.
inline std::size_t hashOfDouble(double number) {
  if (number >= -0x1p63 && number < 0x1p63 && std::trunc(number) == number) {
    return hashOfInteger(static_cast<std::int64_t>(number));
  }
  if (number >= 0x1p63 && number < 0x1p64)
    return hashOfUnsigned(static_cast<std::uint64_t>(number));
  if (std::isnan(number)) return hashOfInteger(-1);
  std::uint64_t bits;
  std::memcpy(&bits, &number, sizeof bits);
  return static_cast<std::size_t>(mixHash(bits));
}

}  // namespace JNFoundation::impl
