#include "JNFoundation/platform/dispatch/Random.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <functional>
#include <mutex>
#include <random>

#include <JNFoundation/platform/value/FatalError.h>

namespace JNFoundation::inline v0_1 {
namespace {

std::mt19937 seededGenerator() {
  std::random_device system;
  std::array<std::uint32_t, 16> words;
  std::generate(words.begin(), words.end(), std::ref(system));
  std::seed_seq seed(words.begin(), words.end());
  return std::mt19937(seed);
}

struct Replacement {
  std::mutex mutex;
  RandomSource source;
  /// Spares the lock where no test has a source of its own.
  std::atomic<bool> isSet{false};

  static Replacement& shared() {
    static Replacement* replacement = new Replacement;  // outlives every static object
    return *replacement;
  }

  RandomSource exchange(RandomSource other) {
    std::lock_guard guard(mutex);
    std::swap(source, other);
    isSet.store(source != nullptr);
    return other;
  }
};

}  // namespace

std::uint32_t arc4random() {
  Replacement& replacement = Replacement::shared();
  if (replacement.isSet.load(std::memory_order_relaxed)) {
    std::lock_guard guard(replacement.mutex);
    if (replacement.source) return replacement.source();
  }
  thread_local std::mt19937 generator = seededGenerator();
  return static_cast<std::uint32_t>(generator());
}

std::uint32_t arc4random_uniform(std::uint32_t bound) {
  if (bound < 2) return 0;
  // The numbers above the last whole multiple of the bound would favour small remainders.
  const std::uint64_t all = std::uint64_t{1} << 32;
  const std::uint64_t usable = all - all % bound;
  std::uint32_t number;
  do {
    number = arc4random();
  } while (number >= usable);
  return number % bound;
}

RandomSource seededRandomSource(std::uint32_t seed) {
  return [generator = std::mt19937(seed)]() mutable {
    return static_cast<std::uint32_t>(generator());
  };
}

RandomSourceScope::RandomSourceScope(RandomSource source) {
  if (!source) fatalError("RandomSourceScope: the source must not be null");
  _previous = Replacement::shared().exchange(std::move(source));
}

RandomSourceScope::~RandomSourceScope() { Replacement::shared().exchange(std::move(_previous)); }

}  // namespace JNFoundation
