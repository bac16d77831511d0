#pragma once

#include <algorithm>
#include <vector>

#include <JNFoundation/platform/value/NSIndexSet.h>

namespace JNFoundation::inline v0_1::impl {

/// The positions 0 to count-1 that are not taken, drawn from one by one.
///
/// Only what is taken is kept, so nothing costs more for a longer list: a draw takes time that is
/// logarithmic in what was taken before.
class FreeIndexes {
 public:
  /// Takes: how many are likely to be drawn, to have room for some of them from the start.
  FreeIndexes(NSUInteger count, const NSIndexSet& taken, NSUInteger draws = 0)
      : _count(count),
        _before(taken.ranges()),
        _free(count - taken.countOfIndexesInRange({0, count})),
        _end(count),
        _ways(std::min(draws, _free)) {}

  bool isEmpty() const noexcept { return _free == 0; }

  /// Takes the first free position from `index` on or, where there is none, the last one below.
  /// Requires: not empty.
  NSUInteger take(NSUInteger index);

  /// What was drawn.
  Ref<NSIndexSet> drawn() const;

 private:
  /// The run of positions, taken from the start, that has the index. Returns: null if none has.
  const NSRange* runWith(NSUInteger index) const noexcept;
  NSUInteger firstFrom(NSUInteger index);
  NSUInteger last();

  NSUInteger _count;
  std::vector<NSRange> _before;
  NSUInteger _free;
  /// Everything from here on is taken.
  NSUInteger _end;

  /// Where the search goes on from each position that was drawn. The ways get shorter as they are
  /// gone.
  class Ways {
   public:
    struct Way {
      NSUInteger from = none;
      NSUInteger onward = 0;
    };
    static constexpr NSUInteger none = ~NSUInteger{0};

    explicit Ways(NSUInteger expected);
    /// Null for a position that was not drawn. Good until the next one is.
    Way* find(NSUInteger from) noexcept;
    void add(NSUInteger from, NSUInteger onward);
    /// The positions, in the order in which they were drawn.
    const std::vector<NSUInteger>& positions() const noexcept { return _positions; }

   private:
    Way& slotFor(NSUInteger from) noexcept;

    /// One after the other from where a position should be; empty ones between. The size is a power
    /// of two, and twice what is in it or more.
    std::vector<Way> _slots;
    std::vector<NSUInteger> _positions;
  };
  Ways _ways;
};

}  // namespace JNFoundation::impl
