#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "platform/value/Raising.h"

#include <JNFoundation/platform/value/NSIndexPath.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation {
namespace {

using testing::raisedName;

Ref<NSIndexPath> path(std::initializer_list<NSUInteger> indexes) {
  return NSIndexPath::indexPathWithIndexes(indexes);
}

TEST(NSIndexPath, PositionsBehindTheEndAreNotFound) {
  EXPECT_EQ(path({4, 7})->length(), 2u);
  EXPECT_EQ(path({4, 7})->indexAtPosition(0), 4u);
  EXPECT_EQ(path({4, 7})->indexAtPosition(1), 7u);
  EXPECT_EQ(path({4, 7})->indexAtPosition(2), NSUInteger(NSNotFound));
  EXPECT_EQ(path({})->indexAtPosition(0), NSUInteger(NSNotFound));
  EXPECT_EQ(path({1, 2, 3})->indexAtPosition(~NSUInteger{0}), NSUInteger(NSNotFound));
}

TEST(NSIndexPath, EveryLengthKeepsItsPositions) {
  std::vector<NSUInteger> indexes;
  Ref<NSIndexPath> grown = NSIndexPath::indexPath();
  for (NSUInteger length = 0; length < 20; ++length) {
    const Ref<NSIndexPath> made =
        NSIndexPath::indexPathWithIndexesLength(indexes.data(), indexes.size());
    ASSERT_EQ(made->length(), length);
    for (NSUInteger i = 0; i < length; ++i) ASSERT_EQ(made->indexAtPosition(i), indexes[i]);
    ASSERT_EQ(Value(made), Value(grown));
    ASSERT_EQ(made->hash(), grown->hash());
    indexes.push_back(length * length + 1);
    grown = grown->indexPathByAddingIndex(indexes.back());
  }
  for (NSUInteger length = 20; length-- > 0;) {
    grown = grown->indexPathByRemovingLastIndex();
    ASSERT_EQ(grown->length(), length);
    for (NSUInteger i = 0; i < length; ++i) ASSERT_EQ(grown->indexAtPosition(i), indexes[i]);
  }
  EXPECT_EQ(grown->indexPathByRemovingLastIndex()->length(), 0u);
}

TEST(NSIndexPath, AddingLeavesTheOriginalAlone) {
  const Ref<NSIndexPath> original = path({1, 2});
  const Ref<NSIndexPath> longer = original->indexPathByAddingIndex(3);
  EXPECT_EQ(original->length(), 2u);
  EXPECT_EQ(Value(longer), Value(path({1, 2, 3})));
}

TEST(NSIndexPath, OrderIsPositionByPosition) {
  EXPECT_EQ(path({1, 2})->compare(path({1, 3})), NSOrderedAscending);
  EXPECT_EQ(path({2})->compare(path({1, 3})), NSOrderedDescending);
  EXPECT_EQ(path({1, 2})->compare(path({1, 2})), NSOrderedSame);
  EXPECT_EQ(path({})->compare(path({})), NSOrderedSame);
  EXPECT_EQ(path({1, 2, 0})->compare(path({1, 2, ~NSUInteger{0}})), NSOrderedAscending);
  EXPECT_EQ(Value(path({0, 9})).compare(path({1})), NSOrderedAscending);
}

TEST(NSIndexPath, ShorterPathComesBeforeItsContinuation) {
  EXPECT_EQ(path({1})->compare(path({1, 0})), NSOrderedAscending);
  EXPECT_EQ(path({1, 0})->compare(path({1})), NSOrderedDescending);
  EXPECT_EQ(path({})->compare(path({0})), NSOrderedAscending);
}

TEST(NSIndexPath, NullRaises) {
  EXPECT_EQ(raisedName([] { path({1})->compare(nullptr); }), NSInvalidArgumentException);
  EXPECT_EQ(raisedName([] { NSIndexPath::indexPathWithIndexesLength(nullptr, 1); }),
            NSInvalidArgumentException);
}

TEST(NSIndexPath, EqualityNeedsTheSameLengthAndPositions) {
  EXPECT_EQ(Value(path({1, 2})), Value(path({1, 2})));
  EXPECT_NE(Value(path({1, 2})), Value(path({2, 1})));
  EXPECT_NE(Value(path({1})), Value(path({1, 0})));
  EXPECT_NE(Value(path({1})), Value(1));
  EXPECT_NE(path({0})->hash(), path({})->hash());
  EXPECT_NE(path({1, 2})->hash(), path({2, 1})->hash());
}

TEST(NSIndexPath, DescriptionShowsLengthAndPath) {
  const std::string text = path({0, 3})->description()->toStdString();
  EXPECT_EQ(text.substr(0, 16), "<NSIndexPath: 0x");
  EXPECT_EQ(text.substr(text.find('{')), "{length = 2, path = 0 - 3}");
}

}  // namespace
}  // namespace JNFoundation
