#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace JNFoundation::inline v0_1 {

namespace impl {

/// Only its address matters: it moves from one run of the program to the next where the system
/// loads programs at random addresses, so that nobody can prepare keys that collide.
extern const unsigned char hashSeedAnchor;

inline constexpr std::uint64_t hashMultiplier1 = 0x9E3779B97F4A7C15;
inline constexpr std::uint64_t hashMultiplier2 = 0xC2B2AE3D27D4EB4F;
inline constexpr std::uint64_t hashMultiplier3 = 0xD6E8FEB86659FD93;

inline std::uint64_t hashSeed() {
  return static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(&hashSeedAnchor));
}

/// The 128 bits of the product, folded to 64.
inline std::uint64_t multiplyAndFold(std::uint64_t left, std::uint64_t right) {
#ifdef __SIZEOF_INT128__
  __extension__ using Wide = unsigned __int128;
  const Wide product = static_cast<Wide>(left) * right;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
#else
  const std::uint64_t leftLow = left & 0xFFFFFFFF, leftHigh = left >> 32;
  const std::uint64_t rightLow = right & 0xFFFFFFFF, rightHigh = right >> 32;
  const std::uint64_t cross = leftHigh * rightLow + (leftLow * rightLow >> 32);
  const std::uint64_t middle = leftLow * rightHigh + (cross & 0xFFFFFFFF);
  return (left * right) ^ (leftHigh * rightHigh + (cross >> 32) + (middle >> 32));
#endif
}

inline std::uint64_t read64(const char* bytes) {
  std::uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

inline std::uint64_t read32(const char* bytes) {
  std::uint32_t word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

/// Requires: more than 16 bytes.
std::uint64_t hashLongBytes(std::string_view bytes);

}  // namespace impl

/// A well-mixed hash of the bytes, every bit of it usable. Equal bytes have equal hashes during one
/// run of the program; the hashes of the next run may differ, so never store one.
inline std::uint64_t hashBytes(std::string_view bytes) {
  const std::size_t size = bytes.size();
  const char* start = bytes.data();
  std::uint64_t first;
  std::uint64_t last;
  if (size > 16) {
    return impl::hashLongBytes(bytes);
  } else if (size >= 8) {
    first = impl::read64(start);
    last = impl::read64(start + size - 8);
  } else if (size >= 4) {
    first = impl::read32(start);
    last = impl::read32(start + size - 4);
  } else if (size > 0) {
    first = static_cast<unsigned char>(start[0]) |
            static_cast<std::uint64_t>(static_cast<unsigned char>(start[size / 2])) << 8;
    last = static_cast<unsigned char>(start[size - 1]);
  } else {
    first = last = 0;
  }
  const std::uint64_t mixed = impl::multiplyAndFold(
      first ^ impl::hashMultiplier1 ^ impl::hashSeed(), last ^ impl::hashMultiplier2);
  return impl::multiplyAndFold(mixed ^ impl::hashMultiplier3, size ^ impl::hashMultiplier1);
}

/// Spreads the bits of a number that is its own bad hash: an integer, an address. To combine
/// hashes, mix `31 * first + second` or the like. The same in every run.
constexpr std::uint64_t mixHash(std::uint64_t number) {
  number = (number ^ (number >> 32)) * impl::hashMultiplier3;
  number = (number ^ (number >> 29)) * impl::hashMultiplier2;
  return number ^ (number >> 32);
}

}  // namespace JNFoundation
