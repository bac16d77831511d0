#pragma once

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

/// How many rounds a randomised test goes: the usual number, or the full one where the environment
/// variable JN_SOAK is set, as it is by the long run.
inline int rounds(int usual, int full) { return std::getenv("JN_SOAK") ? full : usual; }

/// Names the seed in every failure of the scope.
#define JN_TRACE_SEED(randomness) SCOPED_TRACE("JN_SEED=" + std::to_string((randomness).seed()))

}  // namespace JNFoundation::testing
