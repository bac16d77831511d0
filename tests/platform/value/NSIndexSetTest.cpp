#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "platform/text/Randomness.h"
#include "platform/value/Raising.h"

#include <JNFoundation/platform/value/NSIndexSet.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation {
namespace {

using testing::raisedName;
using Indexes = std::vector<NSUInteger>;

constexpr NSUInteger lastValid = NSNotFound - 1;

Indexes indexesOf(const NSIndexSet& set) {
  Indexes indexes;
  for (const NSUInteger index : set) indexes.push_back(index);
  return indexes;
}

Ref<NSMutableIndexSet> setOf(const Indexes& indexes) {
  Ref<NSMutableIndexSet> set = NSMutableIndexSet::indexSet();
  for (const NSUInteger index : indexes) set->addIndex(index);
  return set;
}

Indexes shifted(const Indexes& indexes, NSUInteger start, NSInteger delta) {
  Ref<NSMutableIndexSet> set = setOf(indexes);
  set->shiftIndexesStartingAtIndexBy(start, delta);
  EXPECT_EQ(set->count(), indexesOf(*set).size());
  return indexesOf(*set);
}

TEST(NSIndexSet, EmptySetFindsNothing) {
  const Ref<NSIndexSet> set = NSIndexSet::indexSet();
  EXPECT_EQ(set->count(), 0u);
  EXPECT_EQ(set->firstIndex(), NSUInteger(NSNotFound));
  EXPECT_EQ(set->lastIndex(), NSUInteger(NSNotFound));
  EXPECT_EQ(set->indexGreaterThanOrEqualToIndex(0), NSUInteger(NSNotFound));
  EXPECT_EQ(set->indexLessThanOrEqualToIndex(lastValid), NSUInteger(NSNotFound));
  EXPECT_FALSE(set->containsIndex(0));
  EXPECT_EQ(indexesOf(*set), Indexes());
}

TEST(NSIndexSet, MillionConsecutiveIndexesAreOneRange) {
  const Ref<NSMutableIndexSet> set = NSMutableIndexSet::indexSet();
  for (NSUInteger index = 0; index < 1'000'000; ++index) set->addIndex(index);
  ASSERT_EQ(set->ranges().size(), 1u);
  EXPECT_EQ(set->ranges()[0], NSMakeRange(0, 1'000'000));
  EXPECT_EQ(set->count(), 1'000'000u);
}

TEST(NSIndexSet, AddingJoinsNeighboursOnBothSides) {
  const Ref<NSMutableIndexSet> set = setOf({1, 3});
  ASSERT_EQ(set->ranges().size(), 2u);
  set->addIndex(2);
  EXPECT_EQ(set->ranges(), (std::vector<NSRange>{{1, 3}}));
  set->addIndexesInRange({10, 5});
  set->addIndexesInRange({0, 20});
  EXPECT_EQ(set->ranges(), (std::vector<NSRange>{{0, 20}}));
  EXPECT_EQ(set->count(), 20u);
}

TEST(NSIndexSet, RemovingFromTheMiddleSplitsARange) {
  const Ref<NSMutableIndexSet> set = NSMutableIndexSet::indexSetWithIndexesInRange({0, 10});
  set->removeIndexesInRange({3, 4});
  EXPECT_EQ(set->ranges(), (std::vector<NSRange>{{0, 3}, {7, 3}}));
  set->removeIndex(100);
  EXPECT_EQ(set->count(), 6u);
}

TEST(NSIndexSet, ValidIndexesEndBeforeNSNotFound) {
  const Ref<NSMutableIndexSet> set = NSMutableIndexSet::indexSet();
  set->addIndex(lastValid);
  EXPECT_EQ(set->lastIndex(), lastValid);
  EXPECT_EQ(set->indexGreaterThanIndex(lastValid), NSUInteger(NSNotFound));
  const auto wholeRange = [&] { set->addIndexesInRange({0, NSNotFound}); };
  EXPECT_EQ(raisedName(wholeRange), "");
  EXPECT_EQ(set->count(), NSUInteger(NSNotFound));
  EXPECT_EQ(set->ranges().size(), 1u);
}

TEST(NSIndexSet, InvalidIndexesRaiseAndChangeNothing) {
  const Ref<NSMutableIndexSet> set = setOf({1, 2, 5});
  const NSUInteger highest = ~NSUInteger{0};
  EXPECT_EQ(raisedName([&] { set->addIndex(NSNotFound); }), NSRangeException);
  EXPECT_EQ(raisedName([&] { set->addIndex(highest); }), NSRangeException);
  EXPECT_EQ(raisedName([&] { set->addIndexesInRange({5, highest}); }), NSRangeException);
  EXPECT_EQ(raisedName([&] { set->addIndexesInRange({lastValid, 2}); }), NSRangeException);
  EXPECT_EQ(raisedName([&] { set->removeIndex(NSNotFound); }), NSRangeException);
  EXPECT_EQ(raisedName([&] { set->removeIndexesInRange({1, highest}); }), NSRangeException);
  EXPECT_EQ(raisedName([&] { set->shiftIndexesStartingAtIndexBy(NSNotFound, 1); }),
            NSRangeException);
  EXPECT_EQ(raisedName([&] { NSIndexSet::indexSetWithIndex(NSNotFound); }), NSRangeException);
  EXPECT_EQ(indexesOf(*set), (Indexes{1, 2, 5}));
}

TEST(NSIndexSet, AskingForInvalidIndexesIsFine) {
  const Ref<NSMutableIndexSet> set = setOf({1, 2, 5, lastValid});
  const NSUInteger highest = ~NSUInteger{0};
  EXPECT_FALSE(set->containsIndex(NSNotFound));
  EXPECT_FALSE(set->containsIndex(highest));
  EXPECT_FALSE(set->containsIndexesInRange({1, highest}));
  EXPECT_TRUE(set->containsIndexesInRange({highest, 0}));
  EXPECT_TRUE(set->intersectsIndexesInRange({3, highest}));
  EXPECT_FALSE(set->intersectsIndexesInRange({NSNotFound, highest}));
  EXPECT_EQ(set->countOfIndexesInRange({2, highest}), 3u);
  EXPECT_EQ(set->indexLessThanIndex(highest), lastValid);
  EXPECT_EQ(set->indexGreaterThanIndex(highest), NSUInteger(NSNotFound));
}

TEST(NSIndexSet, SearchesLookInBothDirections) {
  const Ref<NSMutableIndexSet> set = setOf({1, 2, 3, 7});
  EXPECT_EQ(set->indexGreaterThanIndex(0), 1u);
  EXPECT_EQ(set->indexGreaterThanIndex(2), 3u);
  EXPECT_EQ(set->indexGreaterThanIndex(3), 7u);
  EXPECT_EQ(set->indexGreaterThanIndex(7), NSUInteger(NSNotFound));
  EXPECT_EQ(set->indexGreaterThanOrEqualToIndex(3), 3u);
  EXPECT_EQ(set->indexGreaterThanOrEqualToIndex(4), 7u);
  EXPECT_EQ(set->indexLessThanIndex(1), NSUInteger(NSNotFound));
  EXPECT_EQ(set->indexLessThanIndex(7), 3u);
  EXPECT_EQ(set->indexLessThanOrEqualToIndex(7), 7u);
  EXPECT_EQ(set->indexLessThanOrEqualToIndex(100), 7u);
  EXPECT_EQ(set->indexLessThanIndex(0), NSUInteger(NSNotFound));
}

TEST(NSIndexSet, ShiftUpOpensAGap) {
  EXPECT_EQ(shifted({1, 2, 3, 6}, 2, 3), (Indexes{1, 5, 6, 9}));
  EXPECT_EQ(shifted({1, 2, 3, 6}, 0, 1), (Indexes{2, 3, 4, 7}));
  EXPECT_EQ(shifted({1, 2, 3, 6}, 4, 1), (Indexes{1, 2, 3, 7}));
  EXPECT_EQ(shifted({1, 2, 3, 6}, 7, 1), (Indexes{1, 2, 3, 6}));
  EXPECT_EQ(shifted({}, 0, 5), Indexes());
}

TEST(NSIndexSet, ShiftDownDeletesWhatItMovesOnto) {
  EXPECT_EQ(shifted({1, 3, 4, 6}, 4, -1), (Indexes{1, 3, 5}));
  EXPECT_EQ(shifted({0, 1, 2, 3, 4, 5}, 4, -3), (Indexes{0, 1, 2}));
  EXPECT_EQ(shifted({5}, 6, -1), Indexes());
  EXPECT_EQ(shifted({5, 9}, 9, -2), (Indexes{5, 7}));
}

TEST(NSIndexSet, ShiftDownJoinsRanges) {
  const Ref<NSMutableIndexSet> set = setOf({0, 1, 5, 6});
  set->shiftIndexesStartingAtIndexBy(5, -3);
  EXPECT_EQ(set->ranges(), (std::vector<NSRange>{{0, 4}}));
}

TEST(NSIndexSet, ShiftDownPastZeroDeletesWhatWouldFallBelow) {
  EXPECT_EQ(shifted({0, 1, 2, 7, 9}, 2, -8), (Indexes{1}));
  EXPECT_EQ(shifted({0, 1, 2, 7, 9}, 0, -2), (Indexes{0, 5, 7}));
  EXPECT_EQ(shifted({0, 1}, 0, std::numeric_limits<NSInteger>::min()), Indexes());
  EXPECT_EQ(shifted({lastValid}, lastValid, std::numeric_limits<NSInteger>::min()), Indexes());
}

TEST(NSIndexSet, ShiftByZeroChangesNothing) {
  EXPECT_EQ(shifted({1, 2, 9}, 0, 0), (Indexes{1, 2, 9}));
}

TEST(NSIndexSet, ShiftThatReachesNSNotFoundRaisesAndChangesNothing) {
  const Ref<NSMutableIndexSet> set = setOf({1, 2, 9});
  EXPECT_EQ(raisedName([&] { set->shiftIndexesStartingAtIndexBy(0, NSNotFound - 9); }),
            NSRangeException);
  EXPECT_EQ(indexesOf(*set), (Indexes{1, 2, 9}));
  set->shiftIndexesStartingAtIndexBy(9, NSNotFound - 10);
  EXPECT_EQ(indexesOf(*set), (Indexes{1, 2, lastValid}));
}

TEST(NSIndexSet, WalksStopWhenAsked) {
  const Ref<NSMutableIndexSet> set = setOf({1, 2, 3, 7});
  Indexes seen;
  set->enumerateIndexesUsingBlock([&seen](NSUInteger index, bool& stop) {
    seen.push_back(index);
    stop = index == 2;
  });
  EXPECT_EQ(seen, (Indexes{1, 2}));
  seen.clear();
  set->enumerateIndexesInReverseUsingBlock([&seen](NSUInteger index, bool& stop) {
    seen.push_back(index);
    stop = index == 3;
  });
  EXPECT_EQ(seen, (Indexes{7, 3}));
  std::vector<NSRange> ranges;
  set->enumerateRangesUsingBlock([&ranges](NSRange range, bool& stop) {
    ranges.push_back(range);
    stop = true;
  });
  EXPECT_EQ(ranges, (std::vector<NSRange>{{1, 3}}));
}

TEST(NSIndexSet, ChangeDuringAWalkRaises) {
  const Ref<NSMutableIndexSet> set = setOf({1, 2, 3, 7});
  const auto change = [&set](NSUInteger index, bool&) { set->addIndex(index + 20); };
  EXPECT_EQ(raisedName([&] { set->enumerateIndexesUsingBlock(change); }), NSGenericException);
  EXPECT_EQ(raisedName([&] { set->enumerateIndexesInReverseUsingBlock(change); }),
            NSGenericException);
  EXPECT_EQ(raisedName([&] {
              for (const NSUInteger index : *set) set->removeIndex(index);
            }),
            NSGenericException);
  EXPECT_FALSE(set->containsIndex(1));
}

TEST(NSIndexSet, LeavingAWalkAfterAChangeIsFine) {
  const Ref<NSMutableIndexSet> set = setOf({1, 2, 3});
  for (const NSUInteger index : *set) {
    set->removeIndex(index);
    break;
  }
  EXPECT_EQ(indexesOf(*set), (Indexes{2, 3}));
}

TEST(NSIndexSet, EqualityIgnoresMutability) {
  const Ref<NSMutableIndexSet> changeable = setOf({1, 2, 5});
  const Ref<NSIndexSet> fixed = NSIndexSet::indexSetWithIndexSet(changeable);
  EXPECT_EQ(Value(fixed), Value(changeable));
  EXPECT_EQ(fixed->hash(), changeable->hash());
  EXPECT_TRUE(fixed->isEqualToIndexSet(changeable));
  EXPECT_FALSE(fixed->isEqualToIndexSet(nullptr));
  changeable->addIndex(6);
  EXPECT_NE(Value(fixed), Value(changeable));
  EXPECT_NE(Value(fixed), Value("1-2 5"));
}

TEST(NSIndexSet, CopiesAreIndependent) {
  const Ref<NSMutableIndexSet> original = setOf({1});
  const Value copy = original->copy();
  const Value mutableCopy = original->mutableCopy();
  original->addIndex(2);
  EXPECT_EQ(as<NSIndexSet>(copy)->count(), 1u);
  EXPECT_FALSE(isKindOf<NSMutableIndexSet>(copy));
  EXPECT_EQ(as<NSMutableIndexSet>(mutableCopy)->count(), 1u);
  const Value sameCopy = as<NSIndexSet>(copy)->copy();
  EXPECT_EQ(sameCopy.object(), copy.object());
}

TEST(NSIndexSet, SetsOfSetsAreUnitedAndSubtracted) {
  const Ref<NSMutableIndexSet> set = setOf({1, 2, 3, 10, 20});
  set->addIndexes(setOf({0, 4, 5, 11, 30}));
  EXPECT_EQ(set->ranges(), (std::vector<NSRange>{{0, 6}, {10, 2}, {20, 1}, {30, 1}}));
  EXPECT_TRUE(set->containsIndexes(setOf({0, 5, 30})));
  EXPECT_FALSE(set->containsIndexes(setOf({0, 6})));
  EXPECT_TRUE(set->containsIndexes(nullptr));
  set->removeIndexes(setOf({1, 2, 5, 6, 7, 8, 9, 10, 20, 40}));
  EXPECT_EQ(indexesOf(*set), (Indexes{0, 3, 4, 11, 30}));
  EXPECT_EQ(set->count(), 5u);
  set->addIndexes(nullptr);
  set->addIndexes(set);
  EXPECT_EQ(set->count(), 5u);
  set->removeIndexes(set);
  EXPECT_EQ(set->count(), 0u);
}

TEST(NSIndexSet, DescriptionShowsRanges) {
  const std::string text = setOf({1, 2, 5})->description()->toStdString();
  EXPECT_EQ(text.substr(0, 22), "<NSMutableIndexSet: 0x");
  EXPECT_EQ(text.substr(text.find('[')), "[number of indexes: 3 (in 2 ranges), indexes: (1-2 5)]");
  const std::string empty = NSIndexSet::indexSet()->description()->toStdString();
  EXPECT_EQ(empty.substr(empty.find('(')), "(no indexes)");
}

/// What the operations come to, on a plain set.
struct IndexModel {
  std::set<NSUInteger> indexes;

  void shift(NSUInteger start, NSInteger delta) {
    std::set<NSUInteger> moved;
    for (const NSUInteger index : indexes) {
      const auto position = static_cast<NSInteger>(index), from = static_cast<NSInteger>(start);
      if (position >= from) {
        if (position + delta >= 0) moved.insert(static_cast<NSUInteger>(position + delta));
      } else if (delta > 0 || position < from + delta) {
        moved.insert(index);
      }
    }
    indexes = moved;
  }
};

TEST(NSIndexSet, RandomChangesAgreeWithAPlainSet) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  for (int round = 0; round < 200; ++round) {
    const Ref<NSMutableIndexSet> set = NSMutableIndexSet::indexSet();
    IndexModel model;
    for (int step = 0; step < 60; ++step) {
      const NSUInteger start = random.below(60);
      const NSUInteger length = random.below(8);
      Ref<NSMutableIndexSet> others = NSMutableIndexSet::indexSet();
      for (NSUInteger i = 0; i < length; ++i) others->addIndex(random.below(60));
      switch (random.below(6)) {
        case 0:
          set->addIndexesInRange({start, length});
          for (NSUInteger i = 0; i < length; ++i) model.indexes.insert(start + i);
          break;
        case 1:
          set->removeIndexesInRange({start, length});
          for (NSUInteger i = 0; i < length; ++i) model.indexes.erase(start + i);
          break;
        case 2:
          set->addIndexes(others);
          for (const NSUInteger index : *others) model.indexes.insert(index);
          break;
        case 3:
          set->removeIndexes(others);
          for (const NSUInteger index : *others) model.indexes.erase(index);
          break;
        default: {
          const auto delta = random.between(-70, 6);
          set->shiftIndexesStartingAtIndexBy(start, delta);
          model.shift(start, delta);
        }
      }
      ASSERT_EQ(indexesOf(*set), Indexes(model.indexes.begin(), model.indexes.end()));
      ASSERT_EQ(set->count(), model.indexes.size());
      for (std::size_t i = 1; i < set->ranges().size(); ++i) {
        ASSERT_GT(set->ranges()[i].location, set->ranges()[i - 1].end());
      }
      for (NSUInteger index = 0; index < 70; ++index) {
        ASSERT_EQ(set->containsIndex(index), model.indexes.count(index) == 1);
        const auto above = model.indexes.upper_bound(index);
        ASSERT_EQ(set->indexGreaterThanIndex(index),
                  above == model.indexes.end() ? NSUInteger(NSNotFound) : *above);
        const auto from = model.indexes.lower_bound(index);
        ASSERT_EQ(set->indexLessThanIndex(index),
                  from == model.indexes.begin() ? NSUInteger(NSNotFound) : *std::prev(from));
      }
      const auto inside =
          std::count_if(model.indexes.begin(), model.indexes.end(),
                        [&](NSUInteger index) { return index >= start && index < start + length; });
      ASSERT_EQ(set->countOfIndexesInRange({start, length}), static_cast<NSUInteger>(inside));
    }
  }
}

}  // namespace
}  // namespace JNFoundation
