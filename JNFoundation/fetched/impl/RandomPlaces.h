#pragma once

#include <unordered_map>
#include <vector>

#include <JNFoundation/platform/dispatch/Random.h>
#include <JNFoundation/platform/value/Types.h>

namespace JNFoundation::inline v0_1::impl {

/// The positions 0 to count-1 but those taken, drawn one by one, each free one as likely as any
/// other.
///
/// The free positions are thought to stand in a row, which is shuffled from its end as far as is
/// drawn; only what the shuffle has displaced is kept. A draw takes time logarithmic in what was
/// taken, and nothing depends on the count.
class RandomPlaces {
 public:
  /// Takes: ascending positions below the count; a null source is the system's.
  RandomPlaces(NSUInteger count, std::vector<NSUInteger> taken, const RandomSource& source)
      : _taken(std::move(taken)), _free(count - _taken.size()), _source(source) {}

  bool isEmpty() const noexcept { return _free == 0; }
  /// Requires: not empty.
  NSUInteger draw();

 private:
  NSUInteger below(NSUInteger bound) const;
  NSUInteger standingAt(NSUInteger index) const;

  std::vector<NSUInteger> _taken;
  NSUInteger _free;
  const RandomSource& _source;
  std::unordered_map<NSUInteger, NSUInteger> _displaced;
};

}  // namespace JNFoundation::impl
