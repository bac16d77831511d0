#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

/// Text eight bytes at a time. None of this depends on the order of the bytes in a word.
namespace JNFoundation::inline v0_1::impl {

inline constexpr std::size_t wordSize = sizeof(std::uint64_t);
inline constexpr std::uint64_t everyByte = 0x0101010101010101;
inline constexpr std::uint64_t highBits = 0x8080808080808080;

inline std::uint64_t loadWord(const char* bytes) {
  std::uint64_t word;
  std::memcpy(&word, bytes, wordSize);
  return word;
}

inline void storeWord(char* bytes, std::uint64_t word) { std::memcpy(bytes, &word, wordSize); }

/// The number of bytes that are set to 1 in a word whose bytes are all 0 or 1.
inline std::size_t sumOfFlags(std::uint64_t word) {
  return static_cast<std::size_t>((word * everyByte) >> 56);
}

/// Flips the case of the letters from `first` to `first + 25` in a word that is all ASCII.
constexpr std::uint64_t flipCaseFrom(std::uint64_t word, unsigned char first) {
  const std::uint64_t fromFirst = word + everyByte * (0x80 - first);
  const std::uint64_t afterLast = word + everyByte * (0x80 - first - 26);
  return word ^ (((fromFirst & ~afterLast) & highBits) >> 2);
}

constexpr bool isASCIIByte(char byte) { return static_cast<unsigned char>(byte) < 0x80; }

constexpr char lowerASCII(char byte) {
  return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte + 0x20) : byte;
}

constexpr char upperASCII(char byte) {
  return byte >= 'a' && byte <= 'z' ? static_cast<char>(byte - 0x20) : byte;
}

}  // namespace JNFoundation::impl
