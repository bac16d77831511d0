#pragma once

#include <vector>

#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

/// A set of positions, ascending and each at most once. Positions run from 0 to NSNotFound-1.
///
/// Kept as ranges: a million consecutive positions cost as much as one. Looking up takes time
/// logarithmic in the number of ranges.
///
///     for (NSUInteger index : *indexes) print(index);
///
/// Where an operation takes a position or a range, one outside the valid positions raises
/// NSRangeException and nothing is changed; asking whether such a position is in the set is fine.
/// Threads: an immutable set may be read on any thread; a mutable one belongs to one at a time.
class NSIndexSet : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// A set without indexes.
  static Ref<NSIndexSet> indexSet();
  /// The set of one index.
  static Ref<NSIndexSet> indexSetWithIndex(NSUInteger index);
  /// The set of all positions of the range.
  static Ref<NSIndexSet> indexSetWithIndexesInRange(NSRange range);
  /// Null counts as an empty set.
  static Ref<NSIndexSet> indexSetWithIndexSet(const Ref<NSIndexSet>& other);

  /// How many indexes there are.
  NSUInteger count() const noexcept { return _count; }
  // NSNotFound where the set has no such index.
  NSUInteger firstIndex() const noexcept;
  NSUInteger lastIndex() const noexcept;
  NSUInteger indexGreaterThanIndex(NSUInteger index) const noexcept;
  NSUInteger indexGreaterThanOrEqualToIndex(NSUInteger index) const noexcept;
  NSUInteger indexLessThanIndex(NSUInteger index) const noexcept;
  NSUInteger indexLessThanOrEqualToIndex(NSUInteger index) const noexcept;

  /// Whether the index is in the set.
  bool containsIndex(NSUInteger index) const noexcept;
  /// Whether every position of the range is in the set; true for an empty range.
  bool containsIndexesInRange(NSRange range) const noexcept;
  /// Whether every index of the other set is in this one; true for an empty one and for null.
  bool containsIndexes(const Ref<NSIndexSet>& other) const noexcept;
  /// Whether any position of the range is in the set.
  bool intersectsIndexesInRange(NSRange range) const noexcept;
  /// How many positions of the range are in the set.
  NSUInteger countOfIndexesInRange(NSRange range) const noexcept;
  /// Returns: false for null.
  bool isEqualToIndexSet(const Ref<NSIndexSet>& other) const noexcept;

  /// Calls: the block with each index, ascending, until it sets stop.
  /// Fails: raises NSGenericException when the set is changed meanwhile, as every walk does.
  void enumerateIndexesUsingBlock(const Block<void(NSUInteger index, bool& stop)>& block) const;
  /// The same from the last index down to the first.
  void enumerateIndexesInReverseUsingBlock(
      const Block<void(NSUInteger index, bool& stop)>& block) const;
  /// Calls: the block with each longest run of consecutive indexes, ascending, until it sets stop.
  void enumerateRangesUsingBlock(const Block<void(NSRange range, bool& stop)>& block) const;

  /// The longest runs of consecutive indexes, ascending, borrowed until the set changes.
  const std::vector<NSRange>& ranges() const noexcept { return _ranges; }

  bool isEqual(const Value& other) const override;
  std::size_t hash() const override;
  Ref<NSString> description() const override;
  Value copy() const override;
  Value mutableCopy() const override;

  /// Walks the indexes, ascending.
  class Iterator {
   public:
    explicit Iterator(const NSIndexSet& set) noexcept : _set(&set), _mutations(set._mutations) {}
    NSUInteger operator*() const noexcept { return _set->_ranges[_range].location + _offset; }
    Iterator& operator++() {
      if (_set->_mutations != _mutations) _set->raiseMutatedDuringWalk();
      if (++_offset == _set->_ranges[_range].length) {
        ++_range;
        _offset = 0;
      }
      return *this;
    }
    bool operator!=(const Iterator&) const noexcept { return _range < _set->_ranges.size(); }

   private:
    const NSIndexSet* _set;
    std::size_t _range = 0;
    NSUInteger _offset = 0;
    std::uint64_t _mutations;
  };
  Iterator begin() const noexcept { return Iterator(*this); }
  Iterator end() const noexcept { return Iterator(*this); }

 protected:
  NSIndexSet() = default;
  explicit NSIndexSet(std::vector<NSRange> ranges) noexcept;

  /// The position in `_ranges` of the first range that ends behind the index.
  std::size_t firstRangeEndingAfter(NSUInteger index) const noexcept;
  /// Fails: raises NSGenericException.
  [[noreturn]] void raiseMutatedDuringWalk() const;

  /// Ascending, none empty, and at least one missing position between neighbours.
  std::vector<NSRange> _ranges;
  NSUInteger _count = 0;  ///< the sum of the lengths
  /// Counts the changes, so that a walk notices them.
  std::uint64_t _mutations = 0;
};

/// A set of positions that can be changed.
class NSMutableIndexSet : public NSIndexSet {
 public:
  using Superclass = NSIndexSet;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  // The factories of NSIndexSet, for sets that can be changed.
  static Ref<NSMutableIndexSet> indexSet();
  static Ref<NSMutableIndexSet> init() { return indexSet(); }
  static Ref<NSMutableIndexSet> indexSetWithIndex(NSUInteger index);
  static Ref<NSMutableIndexSet> indexSetWithIndexesInRange(NSRange range);
  static Ref<NSMutableIndexSet> indexSetWithIndexSet(const Ref<NSIndexSet>& other);

  /// An index that is in the set already stays.
  void addIndex(NSUInteger index) { addIndexesInRange({index, 1}); }
  /// Adds all positions of the range; those that are in the set already stay.
  void addIndexesInRange(NSRange range);
  /// Adds the indexes of the other set; null counts as an empty one.
  void addIndexes(const Ref<NSIndexSet>& other);
  // An index that is not in the set is ignored.
  void removeIndex(NSUInteger index) { removeIndexesInRange({index, 1}); }
  void removeIndexesInRange(NSRange range);
  void removeIndexes(const Ref<NSIndexSet>& other);
  /// Leaves the set empty.
  void removeAllIndexes() noexcept;

  /// Moves the indexes from `index` on. Up: they grow by delta, and a gap of delta positions opens
  /// at `index`. Down: the |delta| positions below `index` are deleted, then the rest closes up;
  /// indexes that would fall below 0 are deleted too.
  /// Fails: raises NSRangeException, and changes nothing, where an index would reach NSNotFound.
  void shiftIndexesStartingAtIndexBy(NSUInteger index, NSInteger delta);

  Value copy() const override;

 protected:
  NSMutableIndexSet() = default;
  explicit NSMutableIndexSet(std::vector<NSRange> ranges) noexcept
      : NSIndexSet(std::move(ranges)) {}
};

}  // namespace JNFoundation
