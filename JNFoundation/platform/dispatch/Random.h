#pragma once

#include <cstdint>

#include <JNFoundation/platform/value/Block.h>

namespace JNFoundation::inline v0_1 {

/// 32 random bits. Seeded by the system; not for secrets.
/// Threads: any.
std::uint32_t arc4random();

/// A number from 0 to bound-1, each as likely as any other; 0 where the bound is 0 or 1.
/// Threads: any.
std::uint32_t arc4random_uniform(std::uint32_t bound);

/// Gives 32 bits at each call.
using RandomSource = Block<std::uint32_t()>;

/// The same numbers for the same seed, in every run and on every system.
RandomSource seededRandomSource(std::uint32_t seed);

/// Puts a source of its own in the place of the system's until the end of the scope, for every
/// thread. A source that gives a number below the bound makes `arc4random_uniform` give that
/// number:
///
///     RandomSourceScope scope([next = 0u]() mutable { return next++; });
///     RandomSourceScope repeatable(seededRandomSource(2006));
///
/// The source is called by one thread at a time, and must not ask for random numbers itself.
/// For tests: scopes are nested, not interleaved. Requires: a non-null source.
class RandomSourceScope {
 public:
  /// The source is asked until the end of the scope.
  explicit RandomSourceScope(RandomSource source);
  ~RandomSourceScope();
  RandomSourceScope(const RandomSourceScope&) = delete;
  RandomSourceScope& operator=(const RandomSourceScope&) = delete;

 private:
  RandomSource _previous;
};

}  // namespace JNFoundation
