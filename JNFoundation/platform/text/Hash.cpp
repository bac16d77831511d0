#include "JNFoundation/platform/text/Hash.h"

namespace JNFoundation::inline v0_1::impl {

extern const unsigned char hashSeedAnchor = 0;

std::uint64_t hashLongBytes(std::string_view bytes) {
  const char* position = bytes.data();
  std::size_t remaining = bytes.size();
  std::uint64_t state = hashSeed() ^ hashMultiplier1;
  if (remaining > 48) {
    // Three lanes that do not wait for each other.
    std::uint64_t second = state;
    std::uint64_t third = state;
    do {
      state = multiplyAndFold(read64(position) ^ hashMultiplier1, read64(position + 8) ^ state);
      second =
          multiplyAndFold(read64(position + 16) ^ hashMultiplier2, read64(position + 24) ^ second);
      third =
          multiplyAndFold(read64(position + 32) ^ hashMultiplier3, read64(position + 40) ^ third);
      position += 48;
      remaining -= 48;
    } while (remaining > 48);
    state ^= second ^ third;
  }
  while (remaining > 16) {
    state = multiplyAndFold(read64(position) ^ hashMultiplier1, read64(position + 8) ^ state);
    position += 16;
    remaining -= 16;
  }
  // The last 16 bytes, some of which may have been read already.
  const char* end = position + remaining;
  const std::uint64_t mixed =
      multiplyAndFold(read64(end - 16) ^ hashMultiplier2, read64(end - 8) ^ state);
  return multiplyAndFold(mixed ^ hashMultiplier3, bytes.size() ^ hashMultiplier1);
}

}  // namespace JNFoundation::impl
