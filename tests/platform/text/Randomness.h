#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <gtest/gtest.h>
#include <random>
#include <string>

namespace JNFoundation::testing {

/// The numbers of a randomised test. The seed changes from run to run; a failure names it, and the
/// environment variable JN_SEED sets it again.
class Randomness {
 public:
  Randomness() : Randomness(seedOfRun()) {}

  std::uint64_t seed() const { return _seed; }

  std::uint64_t bits() { return _engine(); }

  std::uint64_t below(std::uint64_t limit) { return _engine() % limit; }

  std::int64_t between(std::int64_t first, std::int64_t last) {
    return std::uniform_int_distribution<std::int64_t>(first, last)(_engine);
  }

 private:
  explicit Randomness(std::uint64_t seed) : _seed(seed), _engine(seed) {
    ::testing::Test::RecordProperty("seed", std::to_string(seed));
  }

  static std::uint64_t seedOfRun() {
    if (const char* given = std::getenv("JN_SEED")) return std::strtoull(given, nullptr, 10);
    return std::random_device()();
  }

  std::uint64_t _seed;
  std::mt19937_64 _engine;
};

/// By how much less the tests do that repeat themselves, where every instruction is checked: those
/// checks cost five to twenty times the time, and find in a part of the rounds what they find in
/// all.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr int shareOfRounds = 4;
#else
inline constexpr int shareOfRounds = 1;
#endif

/// How many rounds a randomised test goes: the usual number, a quarter of it under sanitizers, or
/// the full one where the environment variable JN_SOAK is set, as it is by the long run. What is
/// less in the long run is the width of a step, which grows where rounds become fewer.
inline int rounds(int usual, int full) {
  if (std::getenv("JN_SOAK")) return full;
  return full < usual ? usual * shareOfRounds : std::max(1, usual / shareOfRounds);
}

/// How much of something that is tested for its size: a quarter under sanitizers.
inline int amount(int usual) { return rounds(usual, usual); }

/// Names the seed in every failure of the scope.
#define JN_TRACE_SEED(randomness) SCOPED_TRACE("JN_SEED=" + std::to_string((randomness).seed()))

}  // namespace JNFoundation::testing
