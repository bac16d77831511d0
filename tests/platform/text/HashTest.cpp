#include <bit>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <unordered_set>
#include <vector>

#include "platform/text/Randomness.h"

#include <JNFoundation/platform/text/Hash.h>

namespace JNFoundation {
namespace {

std::string randomBytes(testing::Randomness& random, std::size_t size) {
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random.bits());
  return bytes;
}

TEST(Hash, EqualBytesAtAnyAddressHaveEqualHashes) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  for (std::size_t size = 0; size < 300; ++size) {
    const std::string bytes = randomBytes(random, size);
    for (std::size_t shift = 0; shift < 9; ++shift) {
      const std::string moved = std::string(shift, 'x') + bytes + "tail";
      ASSERT_EQ(hashBytes(std::string_view(moved).substr(shift, size)), hashBytes(bytes));
    }
  }
}

TEST(Hash, ZerosOfDifferentLengthsDiffer) {
  std::unordered_set<std::uint64_t> hashes;
  for (std::size_t size = 0; size < 1'000; ++size)
    hashes.insert(hashBytes(std::string(size, '\0')));
  EXPECT_EQ(hashes.size(), 1'000u);
}

TEST(Hash, EveryBitOfTheBytesReachesEveryBitOfTheHash) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  for (const std::size_t size :
       {1, 2, 3, 4, 7, 8, 9, 15, 16, 17, 31, 32, 47, 48, 49, 64, 97, 200}) {
    for (std::size_t bit = 0; bit < size * 8; ++bit) {
      double flipped = 0;
      constexpr int rounds = 64;
      for (int round = 0; round < rounds; ++round) {
        std::string bytes = randomBytes(random, size);
        const std::uint64_t before = hashBytes(bytes);
        bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << (bit % 8)));
        ASSERT_NE(hashBytes(bytes), before) << size << ' ' << bit;
        flipped += std::popcount(hashBytes(bytes) ^ before);
      }
      // Half of the 64 bits should flip; the mean of 64 rounds strays from 32 by 0.5 at most
      // rarely.
      ASSERT_NEAR(flipped / rounds, 32, 5) << "size " << size << ", bit " << bit;
    }
  }
}

/// How far the hashes, cut to a table's size, are from a fair throw (1 is fair).
double unevenness(const std::vector<std::uint64_t>& hashes, int shift) {
  std::vector<int> buckets(1'024, 0);
  for (const std::uint64_t hash : hashes) ++buckets[hash >> shift & 1'023];
  const double expected = static_cast<double>(hashes.size()) / 1'024;
  double sum = 0;
  for (const int count : buckets) sum += (count - expected) * (count - expected) / expected;
  return sum / 1'023;
}

TEST(Hash, KeysOfOneKindSpreadOverTheBuckets) {
  std::vector<std::uint64_t> names;
  std::vector<std::uint64_t> numbers;
  std::vector<std::uint64_t> addresses;
  for (std::uint64_t index = 0; index < 100'000; ++index) {
    names.push_back(hashBytes("attribute" + std::to_string(index)));
    numbers.push_back(mixHash(index));
    addresses.push_back(mixHash(0x7F0000000000 + index * 16));
  }
  for (const auto* hashes : {&names, &numbers, &addresses}) {
    EXPECT_EQ(std::unordered_set<std::uint64_t>(hashes->begin(), hashes->end()).size(), 100'000u);
    for (const int shift : {0, 20, 54}) {
      EXPECT_GT(unevenness(*hashes, shift), 0.75) << shift;
      EXPECT_LT(unevenness(*hashes, shift), 1.25) << shift;
    }
  }
}

TEST(Hash, MixingLosesNothingAndIsConstant) {
  static_assert(mixHash(1) != mixHash(2));
  std::unordered_set<std::uint64_t> mixed;
  for (std::uint64_t number = 0; number < 100'000; ++number) {
    mixed.insert(mixHash(number));
    mixed.insert(mixHash(number << 40 | 1ull << 63));
  }
  EXPECT_EQ(mixed.size(), 200'000u);
}

}  // namespace
}  // namespace JNFoundation
