#include <array>
#include <cstdint>
#include <deque>
#include <gtest/gtest.h>
#include <limits>
#include <list>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/value/LiveObjects.h"
#include "platform/value/Raising.h"
#include "platform/value/Reentrant.h"

#include <JNFoundation/platform/dispatch/Random.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/util/CollectionExtensions.h>

namespace JNFoundation {
namespace {

using testing::LiveObjects;
using testing::raisedName;
using testing::Reentrant;

const std::vector<int> five = {1, 2, 3, 4, 5};
Ref<NSArray> fiveValues() { return NSArray::arrayWithObjects(1, 2, 3, 4, 5); }

std::vector<int> listed(const Ref<NSArray>& array) {
  std::vector<int> numbers;
  for (const Value& value : array) numbers.push_back(value.intValue());
  return numbers;
}
std::vector<std::vector<int>> listedPieces(const Ref<NSArray>& pieces) {
  std::vector<std::vector<int>> lists;
  for (const Value& piece : pieces) lists.push_back(listed(as<NSArray>(Value(piece))));
  return lists;
}
using Limits = std::numeric_limits<NSInteger>;
using Pieces = std::vector<std::vector<int>>;

/// Gives the numbers in turn, and fails where more are drawn.
RandomSource script(std::vector<std::uint32_t> numbers) {
  return [numbers = std::move(numbers), next = std::size_t{0}]() mutable {
    return numbers.at(next++);
  };
}

// findFirst

TEST(FindFirst, IsTheFirstElementForWhichThePredicateIsTrue) {
  int asked = 0;
  const auto found = findFirst(five, [&](int number) {
    ++asked;
    return number > 2;
  });
  EXPECT_EQ(found, 3);
  EXPECT_EQ(asked, 3) << "nothing behind it is looked at";
}

TEST(FindFirst, IsNothingWhereNoElementMatches) {
  EXPECT_EQ(findFirst(five, [](int) { return false; }), std::nullopt);
  EXPECT_EQ(findFirst(std::vector<int>(), [](int) { return true; }), std::nullopt);
}

TEST(FindFirst, TakesEveryRange) {
  const auto isEven = [](int number) { return number % 2 == 0; };
  const int plain[] = {1, 4, 6};
  EXPECT_EQ(findFirst(plain, isEven), 4);
  EXPECT_EQ(findFirst(std::array<int, 3>{1, 3, 8}, isEven), 8);
  EXPECT_EQ(findFirst(std::span<const int>(five), isEven), 2);
  EXPECT_EQ(findFirst(std::list<int>{9, 10}, isEven), 10);
  EXPECT_EQ(findFirst(std::set<int>{6, 4, 3}, isEven), 4) << "in the set's order";
  EXPECT_EQ(findFirst(std::vector<bool>{false, true}, [](bool b) { return b; }), true);
  const std::unordered_map<int, std::string> map = {{7, "seven"}};
  EXPECT_EQ(findFirst(map, [](const auto& pair) { return pair.first == 7; })->second, "seven");
}

TEST(FindFirst, TakesTheCollectionsOfValues) {
  const auto isBig = [](const Value& value) { return value.integerValue() > 3; };
  EXPECT_EQ(findFirst(fiveValues(), isBig), Value(4));
  EXPECT_EQ(findFirst(NSMutableArray::arrayWithArray(fiveValues()), isBig), Value(4));
  EXPECT_EQ(findFirst(NSSet::setWithObjects(9, 8), isBig), Value(9));
  EXPECT_EQ(findFirst(NSOrderedSet::orderedSetWithObjects(1, 8, 9), isBig), Value(8));
  EXPECT_TRUE(findFirst(NSArray::arrayWithObjects(1, 2), isBig).isNull());
  EXPECT_TRUE(findFirst(NSArray::array(), isBig).isNull());
  EXPECT_TRUE(findFirst(Ref<NSArray>(), isBig).isNull());
}

TEST(FindFirst, APredicateMayReleaseTheCollection) {
  const LiveObjects objects;
  {
    Ref<NSArray> array = NSArray::arrayWithObjects(Reentrant::numbered(1), Reentrant::numbered(2));
    const Value found = findFirst(array, [&](const Value& value) {
      array = nullptr;
      return as<Reentrant>(value)->number() == 2;
    });
    EXPECT_EQ(as<Reentrant>(found)->number(), 2);
  }
  EXPECT_EQ(objects.count(), 0);
}

TEST(FindFirst, APredicateThatChangesTheCollectionIsNoticed) {
  const auto array = NSMutableArray::arrayWithArray(fiveValues());
  EXPECT_EQ(raisedName([&] {
              findFirst(array, [&](const Value&) {
                array->addObject(6);
                return false;
              });
            }),
            "NSGenericException");
}

// containsObjects

TEST(ContainsObjects, IsTrueWhereEveryStringIsThere) {
  const auto tags = NSArray::arrayWithObjects("new", "open", "red");
  EXPECT_TRUE(containsObjects(tags, NSArray::arrayWithObjects("red", "new")));
  EXPECT_TRUE(containsObjects(tags, NSArray::arrayWithObjects("red", "red")));
  EXPECT_FALSE(containsObjects(tags, NSArray::arrayWithObjects("red", "blue")));
  EXPECT_FALSE(containsObjects(tags, NSArray::arrayWithObject("RED")));
  EXPECT_TRUE(containsObjects(NSSet::setWithArray(tags), NSArray::arrayWithObjects("open", "new")));
  EXPECT_FALSE(containsObjects(NSSet::setWithArray(tags), NSArray::arrayWithObject("blue")));
  EXPECT_TRUE(containsObjects(NSOrderedSet::orderedSetWithArray(tags), tags));
}

TEST(ContainsObjects, NoStringsAreNotContained) {
  const auto tags = NSArray::arrayWithObject("new");
  EXPECT_FALSE(containsObjects(tags, NSArray::array()));
  EXPECT_FALSE(containsObjects(NSSet::setWithArray(tags), NSArray::array()));
  EXPECT_FALSE(containsObjects(NSArray::array(), NSArray::array()));
  EXPECT_FALSE(containsObjects(std::vector<std::string>{"new"}, std::vector<std::string>()));
}

TEST(ContainsObjects, NullIsNeitherContainedNorContains) {
  EXPECT_FALSE(containsObjects(Ref<NSArray>(), NSArray::arrayWithObject("a")));
  EXPECT_FALSE(containsObjects(NSArray::arrayWithObject("a"), nullptr));
  EXPECT_FALSE(containsObjects(Ref<NSSet>(), nullptr));
}

TEST(ContainsObjects, StopsAtTheFirstThatIsMissing) {
  int compared = 0;
  const auto noticed = [&](NSInteger number) {
    auto object = Reentrant::numbered(number);
    object->whenCompared = [&] { ++compared; };
    return object;
  };
  const auto array = NSArray::arrayWithObject(noticed(1));
  EXPECT_FALSE(containsObjects(array, NSArray::arrayWithObject(noticed(2))));
  const int forOne = std::exchange(compared, 0);
  ASSERT_GT(forOne, 0);
  EXPECT_FALSE(containsObjects(array, NSArray::arrayWithObjects(noticed(2), noticed(1))));
  EXPECT_EQ(compared, forOne) << "the one behind the missing one is not looked for";
}

TEST(ContainsObjects, TakesEveryRange) {
  EXPECT_TRUE(containsObjects(std::vector<std::string>{"a", "b"}, std::array{"b", "a"}));
  EXPECT_FALSE(containsObjects(std::set<std::string>{"a", "b"}, std::vector{"a", "c"}));
  EXPECT_TRUE(containsObjects(five, std::list<int>{5, 1}));
}

TEST(ContainsObjects, TheRuntimePerformsIt) {
  const auto strings = NSArray::arrayWithObject("a");
  EXPECT_EQ(performSelector(strings, "containsObjects:", strings), Value(true));
  EXPECT_EQ(performSelector(NSSet::setWithObject("b"), "containsObjects:", strings), Value(false));
}

// shuffle

TEST(Shuffle, ChangesPlacesFromTheFrontWithWhatTheSourceSays) {
  // Bounds 5, 4, 3 and 2, so 0 leaves an element where it is.
  RandomSourceScope scope(script({4, 0, 2, 1}));
  std::vector<int> numbers = five;
  shuffleInPlace(numbers);
  EXPECT_EQ(numbers, (std::vector{5, 2, 1, 3, 4}));
}

TEST(Shuffle, DrawsNothingForFewerThanTwoElements) {
  RandomSourceScope scope(script({}));
  std::vector<int> none, one = {7};
  shuffleInPlace(none);
  shuffleInPlace(one);
  EXPECT_EQ(one, std::vector{7});
  const auto alone = NSMutableArray::arrayWithArray(NSArray::arrayWithObject("a"));
  shuffleInPlace(alone);
  EXPECT_EQ(alone->count(), 1u);
  EXPECT_EQ(shuffle(NSArray::array())->count(), 0u);
}

TEST(Shuffle, IsTheSameForEveryKindOfCollection) {
  const std::vector<std::uint32_t> numbers = {4, 0, 2, 1};
  const std::vector<int> expected = {5, 2, 1, 3, 4};
  const auto shuffled = [&](auto collection) {
    RandomSourceScope scope(script(numbers));
    return shuffle(collection);
  };
  EXPECT_EQ(shuffled(std::list<int>{1, 2, 3, 4, 5}), expected);
  EXPECT_EQ(shuffled(std::set<int>{5, 4, 3, 2, 1}), expected);
  EXPECT_EQ(listed(shuffled(fiveValues())), expected);
  EXPECT_EQ(listed(shuffled(NSSet::setWithArray(fiveValues()))), expected);
  EXPECT_EQ(listed(shuffled(NSOrderedSet::orderedSetWithArray(fiveValues()))), expected);

  const auto inPlace = [&](auto&& collection) {
    RandomSourceScope scope(script(numbers));
    shuffleInPlace(collection);
  };
  int plain[] = {1, 2, 3, 4, 5};
  inPlace(plain);
  EXPECT_EQ(std::vector<int>(std::begin(plain), std::end(plain)), expected);
  std::deque<int> deque = {1, 2, 3, 4, 5};
  inPlace(std::span<int>(plain));
  inPlace(deque);
  EXPECT_EQ(std::vector<int>(deque.begin(), deque.end()), expected);
  const auto array = NSMutableArray::arrayWithArray(fiveValues());
  inPlace(array);
  EXPECT_EQ(listed(array), expected);
  const auto ordered = NSMutableOrderedSet::orderedSetWithOrderedSet(
      NSOrderedSet::orderedSetWithArray(fiveValues()));
  inPlace(ordered);
  EXPECT_EQ(listed(ordered->array()), expected);
  std::vector<bool> flags = {true, false, false, false, false};
  inPlace(flags);
  EXPECT_EQ(flags, (std::vector<bool>{false, false, true, false, false}));
}

TEST(Shuffle, LeavesTheCollectionAsItIs) {
  const auto array = fiveValues();
  const std::vector<int> numbers = five;
  for (int i = 0; i < 20; ++i) {
    shuffle(array);
    shuffle(numbers);
  }
  EXPECT_EQ(listed(array), five);
  EXPECT_EQ(numbers, five);
}

TEST(Shuffle, TakesElementsThatCanOnlyBeMoved) {
  std::unique_ptr<int> numbers[] = {std::make_unique<int>(0), std::make_unique<int>(1),
                                    std::make_unique<int>(2)};
  RandomSourceScope scope(script({2, 0}));
  shuffleInPlace(numbers);
  EXPECT_EQ(*numbers[0], 2);
  EXPECT_EQ(*numbers[2], 0);
}

TEST(Shuffle, OfNullIsNull) {
  EXPECT_FALSE(shuffle(Ref<NSSet>()));
  shuffleInPlace(Ref<NSMutableArray>());
}

// randomElement

TEST(RandomElement, IsTheOneThatTheSourceSays) {
  RandomSourceScope scope(script({3, 0, 4, 2, 1}));
  EXPECT_EQ(randomElement(five), 4);
  EXPECT_EQ(randomElement(std::array{7, 8}), 7);
  EXPECT_EQ(randomElement(fiveValues()), Value(5));
  EXPECT_EQ(randomElement(NSOrderedSet::orderedSetWithArray(fiveValues())), Value(3));
  const int plain[] = {7, 8};
  EXPECT_EQ(randomElement(plain), 8);
}

TEST(RandomElement, OfOneIsThatOne) { EXPECT_EQ(randomElement(std::vector<int>{7}), 7); }

// safeTruncate

TEST(SafeTruncate, HasTheFirstElements) {
  EXPECT_EQ(safeTruncate(five, 2), (std::vector{1, 2}));
  EXPECT_EQ(safeTruncate(five, 5), five);
  EXPECT_EQ(safeTruncate(std::vector{1, 2, 3}, 10), (std::vector{1, 2, 3}));
  EXPECT_EQ(safeTruncate(five, 0), std::vector<int>());
  EXPECT_EQ(safeTruncate(std::vector<int>(), 3), std::vector<int>());
  EXPECT_EQ(safeTruncate(five, Limits::max()), five);
  EXPECT_EQ(safeTruncate(std::span<const int>(five).subspan(3), 1), std::vector{4});
}

TEST(SafeTruncate, TakesTheCollectionsOfValues) {
  const auto array = NSMutableArray::arrayWithArray(fiveValues());
  const Ref<NSArray> first = safeTruncate(array, 3);
  array->removeAllObjects();
  EXPECT_EQ(listed(first), (std::vector{1, 2, 3})) << "a new array";
  EXPECT_EQ(listed(safeTruncate(fiveValues(), 10)), five);
  EXPECT_EQ(safeTruncate(fiveValues(), 0)->count(), 0u);
  EXPECT_EQ(listed(safeTruncate(NSOrderedSet::orderedSetWithArray(fiveValues()), 1)),
            std::vector{1});
  EXPECT_FALSE(safeTruncate(Ref<NSArray>(), 1));
}

// splitBy

TEST(SplitBy, CutsIntoPiecesOfThatLengthAndARest) {
  EXPECT_EQ(splitBy(five, 2), (Pieces{{1, 2}, {3, 4}, {5}}));
  EXPECT_EQ(splitBy(five, 1), (Pieces{{1}, {2}, {3}, {4}, {5}}));
  EXPECT_EQ(splitBy(five, 5), Pieces{five});
  EXPECT_EQ(splitBy(five, Limits::max()), Pieces{five});
  EXPECT_EQ(splitBy(std::array{1, 2, 3, 4}, 2), (Pieces{{1, 2}, {3, 4}}));
  EXPECT_EQ(listedPieces(splitBy(fiveValues(), 2)), (Pieces{{1, 2}, {3, 4}, {5}}));
  EXPECT_EQ(listedPieces(splitBy(NSOrderedSet::orderedSetWithArray(fiveValues()), 3)),
            (Pieces{{1, 2, 3}, {4, 5}}));
}

TEST(SplitBy, OfNothingHasNoPiecesWhateverTheLength) {
  for (const NSInteger length :
       {NSInteger{1}, NSInteger{0}, NSInteger{-1}, Limits::min(), Limits::max()}) {
    EXPECT_EQ(splitBy(std::vector<int>(), length), Pieces{});
    EXPECT_EQ(splitBy(NSArray::array(), length)->count(), 0u);
  }
  EXPECT_FALSE(splitBy(Ref<NSArray>(), 2));
}

TEST(SplitBy, ThePiecesShareNothingWithTheArray) {
  const auto array = NSMutableArray::arrayWithArray(fiveValues());
  const Ref<NSArray> pieces = splitBy(array, 4);
  array->replaceObjectAtIndexWithObject(0, 9);
  EXPECT_EQ(listedPieces(pieces), (Pieces{{1, 2, 3, 4}, {5}}));
}

// Traps

/// Claims to have more elements than 32 bits can count.
struct Huge {
  std::size_t size() const { return static_cast<std::size_t>((std::uint64_t{1} << 32) + 1); }
  int* begin() { return &element; }
  int* end() { return &element; }
  int element = 0;
};

class CollectionDeathTest : public ::testing::Test {
 protected:
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(CollectionDeathTest, NothingCannotBeChosenFrom) {
  EXPECT_DEATH(randomElement(std::vector<int>()), "randomElement: there are no elements");
  EXPECT_DEATH(randomElement(NSArray::array()), "randomElement: there are no elements");
  EXPECT_DEATH(randomElement(Ref<NSArray>()), "randomElement: there are no elements");
}

TEST_F(CollectionDeathTest, ANegativeNumberOfElementsIsRefused) {
  EXPECT_DEATH(safeTruncate(five, -1), "safeTruncate: -1 elements were asked for");
  EXPECT_DEATH(safeTruncate(std::vector<int>(), -1), "safeTruncate: -1 elements");
  EXPECT_DEATH(safeTruncate(fiveValues(), Limits::min()),
               "safeTruncate: " + std::to_string(Limits::min()) + " el");
  EXPECT_DEATH(splitBy(five, -2), "splitBy: -2 elements were asked for");
  EXPECT_DEATH(splitBy(fiveValues(), -1), "splitBy: -1 elements were asked for");
}

TEST_F(CollectionDeathTest, MoreElementsThanTheSourceCanChooseFromAreRefused) {
  if (sizeof(std::size_t) < 8) GTEST_SKIP() << "nothing here has so many";
  EXPECT_DEATH(shuffleInPlace(Huge()), "shuffleInPlace: more than 4294967295 elements");
  EXPECT_DEATH(randomElement(Huge()), "randomElement: more than 4294967295 elements");
}

}  // namespace
}  // namespace JNFoundation
