#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include "platform/text/Randomness.h"
#include "platform/value/Limits.h"
#include "platform/value/Listed.h"
#include "platform/value/LiveObjects.h"
#include "platform/value/Raising.h"
#include "platform/value/Reentrant.h"

#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSIndexSet.h>

namespace JNFoundation {
namespace {

using testing::greatest;
using testing::listed;
using testing::LiveObjects;
using testing::raisedBy;
using testing::raisedName;
using testing::Randomness;
using testing::Reentrant;

Ref<NSMutableArray> mutableNumbers(NSInteger count) {
  Ref<NSMutableArray> array = NSMutableArray::array();
  for (NSInteger i = 0; i < count; ++i) array->addObject(i);
  return array;
}

Ref<NSIndexSet> indexes(const std::vector<NSUInteger>& list) {
  Ref<NSMutableIndexSet> set = NSMutableIndexSet::indexSet();
  for (const NSUInteger index : list) set->addIndex(index);
  return set;
}

TEST(NSMutableArray, NullIsRefusedAndChangesNothing) {
  Ref<NSMutableArray> array = mutableNumbers(2);
  EXPECT_EQ(raisedBy([&] { array->addObject(nullptr); }),
            "NSInvalidArgumentException: *** -[__NSArrayM insertObject:atIndex:]: object cannot be "
            "nil");
  EXPECT_EQ(raisedName([&] { array->insertObjectAtIndex(nullptr, 0); }),
            NSInvalidArgumentException);
  EXPECT_EQ(raisedBy([&] { array->replaceObjectAtIndexWithObject(0, nullptr); }),
            "NSInvalidArgumentException: *** -[__NSArrayM replaceObjectAtIndex:withObject:]: "
            "object cannot be nil");
  array->removeObject(nullptr);
  EXPECT_EQ(listed(array), "0 1");
}

TEST(NSMutableArray, AnIndexPastTheEndIsRefusedAndChangesNothing) {
  for (const NSUInteger index : {NSUInteger{3}, NSUInteger(NSNotFound), greatest}) {
    Ref<NSMutableArray> array = mutableNumbers(2);
    EXPECT_EQ(raisedName([&] { array->insertObjectAtIndex(1, index); }), NSRangeException);
    EXPECT_EQ(raisedName([&] { array->replaceObjectAtIndexWithObject(index, 1); }),
              NSRangeException);
    EXPECT_EQ(raisedName([&] { array->removeObjectAtIndex(index); }), NSRangeException);
    EXPECT_EQ(raisedName([&] { array->exchangeObjectAtIndexWithObjectAtIndex(0, index); }),
              NSRangeException);
    EXPECT_EQ(raisedName([&] { array->exchangeObjectAtIndexWithObjectAtIndex(index, 0); }),
              NSRangeException);
    EXPECT_EQ(listed(array), "0 1");
  }
  EXPECT_EQ(raisedBy([] { NSMutableArray::array()->removeObjectAtIndex(0); }),
            "NSRangeException: *** -[__NSArrayM removeObjectAtIndex:]: index 0 beyond bounds for "
            "empty array");
}

TEST(NSMutableArray, InsertsReplacesExchangesAndRemoves) {
  Ref<NSMutableArray> array = NSMutableArray::array();
  array->insertObjectAtIndex("b", 0);
  array->insertObjectAtIndex("a", 0);
  array->insertObjectAtIndex("c", 2);
  EXPECT_EQ(listed(array), "a b c");
  array->replaceObjectAtIndexWithObject(1, "x");
  array->exchangeObjectAtIndexWithObjectAtIndex(0, 2);
  EXPECT_EQ(listed(array), "c x a");
  array->exchangeObjectAtIndexWithObjectAtIndex(1, 1);
  array->removeObjectAtIndex(1);
  EXPECT_EQ(listed(array), "c a");
  array->removeLastObject();
  array->removeLastObject();
  array->removeLastObject();
  EXPECT_EQ(array->count(), 0u);
}

TEST(NSMutableArray, EveryEqualElementIsRemoved) {
  Ref<NSMutableArray> array = NSMutableArray::arrayWithValues({1, "a", 1.0, true, 2, "a"});
  array->removeObject(1);
  EXPECT_EQ(listed(array), "a 2 a");
  array->removeObject("a");
  EXPECT_EQ(listed(array), "2");
  array->removeObject("missing");
  EXPECT_EQ(listed(array), "2");
}

TEST(NSMutableArray, AnElementMayBeNamedByItsOwnPlace) {
  Ref<NSMutableArray> array = NSMutableArray::arrayWithValues({"a", "b", "a"});
  array->removeObject(array->contiguousElements()->front());
  EXPECT_EQ(listed(array), "b");
  for (int i = 0; i < 100; ++i) array->addObject(array->contiguousElements()->front());
  EXPECT_EQ(array->count(), 101u);
  for (int i = 0; i < 100; ++i) array->insertObjectAtIndex(array->contiguousElements()->back(), 0);
  array->replaceObjectAtIndexWithObject(0, array->contiguousElements()->back());
  EXPECT_EQ(array->count(), 201u);
  EXPECT_EQ(array->firstObject(), Value("b"));
}

TEST(NSMutableArray, ARangeIsRemoved) {
  Ref<NSMutableArray> array = mutableNumbers(6);
  array->removeObjectsInRange({2, 3});
  EXPECT_EQ(listed(array), "0 1 5");
  array->removeObjectsInRange({3, 0});
  EXPECT_EQ(array->count(), 3u);
  EXPECT_EQ(raisedBy([&] {
              array->removeObjectsInRange({2, 2});
            }),
            "NSRangeException: *** -[__NSArrayM removeObjectsInRange:]: range {2, 2} extends "
            "beyond bounds [0 .. 2]");
}

TEST(NSMutableArray, ObjectsAreRemovedAtIndexes) {
  Ref<NSMutableArray> array = mutableNumbers(6);
  array->removeObjectsAtIndexes(indexes({0, 2, 3, 5}));
  EXPECT_EQ(listed(array), "1 4");
  array->removeObjectsAtIndexes(nullptr);
  array->removeObjectsAtIndexes(indexes({}));
  EXPECT_EQ(raisedName([&] { array->removeObjectsAtIndexes(indexes({0, 2})); }), NSRangeException);
  EXPECT_EQ(listed(array), "1 4");
}

TEST(NSMutableArray, ObjectsEndAtTheIndexesTheyAreInsertedAt) {
  Ref<NSMutableArray> array = mutableNumbers(3);
  array->insertObjectsAtIndexes(NSArray::arrayWithObjects("a", "b", "c"), indexes({0, 2, 5}));
  EXPECT_EQ(listed(array), "a 0 b 1 2 c");
  array->insertObjectsAtIndexes(nullptr, nullptr);
  EXPECT_EQ(array->count(), 6u);
}

TEST(NSMutableArray, InsertingAtIndexesIsRefusedWhole) {
  Ref<NSMutableArray> array = mutableNumbers(2);
  EXPECT_EQ(raisedBy([&] {
              array->insertObjectsAtIndexes(NSArray::arrayWithObjects("a", "b"), indexes({0}));
            }),
            "NSInvalidArgumentException: *** -[__NSArrayM insertObjects:atIndexes:]: count of "
            "array (2) differs from count of index set (1)");
  EXPECT_EQ(raisedName([&] { array->insertObjectsAtIndexes(nullptr, indexes({0})); }),
            NSInvalidArgumentException);
  EXPECT_EQ(raisedName([&] {
              array->insertObjectsAtIndexes(NSArray::arrayWithObjects("a", "b"), indexes({0, 4}));
            }),
            NSRangeException);
  EXPECT_EQ(listed(array), "0 1");
}

TEST(NSMutableArray, AnArrayMayBePutIntoItself) {
  Ref<NSMutableArray> array = mutableNumbers(3);
  array->addObjectsFromArray(array);
  EXPECT_EQ(listed(array), "0 1 2 0 1 2");
  array->setArray(array);
  EXPECT_EQ(array->count(), 6u);
  array->insertObjectsAtIndexes(array, NSIndexSet::indexSetWithIndexesInRange({0, 6}));
  EXPECT_EQ(listed(array), "0 1 2 0 1 2 0 1 2 0 1 2");
  array->addObject(array);
  EXPECT_EQ(array->count(), 13u);
  array->removeLastObject();
}

TEST(NSMutableArray, AWishForEndlessRoomIsCut) {
  Ref<NSMutableArray> array = NSMutableArray::arrayWithCapacity(greatest);
  array->addObject(1);
  EXPECT_EQ(listed(array), "1");
}

/// An array of three objects whose ends do something to it, and how often they did.
struct Attacked {
  Ref<NSMutableArray> array = NSMutableArray::array();
  int ends = 0;

  explicit Attacked(Block<void(NSMutableArray& array)> attack) {
    for (NSInteger i = 0; i < 3; ++i) {
      Ref<Reentrant> object = Reentrant::numbered(i);
      object->whenGone = [this, attack] {
        ++ends;
        attack(*array);
      };
      array->addObject(object);
    }
  }
};

TEST(NSMutableArray, TheEndOfWhatIsRemovedMayChangeTheArray) {
  const LiveObjects alive;
  {
    const std::vector<Block<void(NSMutableArray&)>> removals = {
        [](NSMutableArray& array) { array.removeAllObjects(); },
        [](NSMutableArray& array) { array.setArray(NSArray::arrayWithObject("new")); },
        [](NSMutableArray& array) {
          array.removeObjectsInRange({0, array.count()});
        },
        [](NSMutableArray& array) { array.removeObjectAtIndex(0); },
        [](NSMutableArray& array) { array.removeLastObject(); },
        [](NSMutableArray& array) { array.removeObject(Reentrant::numbered(1)); },
        [](NSMutableArray& array) { array.replaceObjectAtIndexWithObject(1, "new"); },
        [](NSMutableArray& array) {
          array.removeObjectsAtIndexes(indexes({0, 2}));
        }};
    const std::vector<Block<void(NSMutableArray&)>> attacks = {
        [](NSMutableArray& array) { array.addObject("late"); },
        [](NSMutableArray& array) { array.removeAllObjects(); },
        [](NSMutableArray& array) {
          for (int i = 0; i < 50; ++i) array.addObject(i);
        },
        [](NSMutableArray& array) { array.setArray(NSArray::arrayWithObjects("x", "y", "z")); }};
    for (const auto& removal : removals) {
      for (const auto& attack : attacks) {
        Attacked attacked(attack);
        removal(*attacked.array);
        EXPECT_GT(attacked.ends, 0);
        for (const Value& element : *attacked.array) EXPECT_FALSE(element.isNull());
        attacked.array->removeAllObjects();
        EXPECT_EQ(attacked.ends, 3);
        attacked.array->removeAllObjects();
      }
    }
  }
  EXPECT_EQ(alive.count(), 0);
}

TEST(NSMutableArray, ASearchWhoseEqualityChangesTheArrayIsGivenUp) {
  Ref<NSMutableArray> array = NSMutableArray::array();
  for (NSInteger i = 0; i < 3; ++i) array->addObject(Reentrant::numbered(i));
  as<Reentrant>(array->objectAtIndex(1))->whenCompared = [&] { array->removeAllObjects(); };
  EXPECT_EQ(raisedName([&] { array->indexOfObject(Reentrant::numbered(2)); }), NSGenericException);
  EXPECT_EQ(array->count(), 0u);
}

TEST(NSMutableArray, ARemovalWhoseEqualityChangesTheArrayRemovesNothing) {
  Ref<NSMutableArray> array = NSMutableArray::array();
  for (NSInteger i = 0; i < 3; ++i) array->addObject(Reentrant::numbered(0));
  as<Reentrant>(array->objectAtIndex(2))->whenCompared = [&] { array->addObject("late"); };
  EXPECT_EQ(raisedName([&] { array->removeObject(Reentrant::numbered(0)); }), NSGenericException);
  EXPECT_EQ(listed(array), "#0 #0 #0 late");
}

TEST(NSMutableArray, AgreesWithAPlainVectorWhateverIsDone) {
  Randomness random;
  JN_TRACE_SEED(random);
  for (int run = 0; run < 50; ++run) {
    Ref<NSMutableArray> array = NSMutableArray::array();
    std::vector<Value> model;
    for (int step = 0; step < 200; ++step) {
      const auto value = static_cast<NSInteger>(random.below(10));
      const std::size_t index = random.below(model.size() + 1);
      const auto place = model.begin() + static_cast<std::ptrdiff_t>(index);
      switch (random.below(6)) {
        case 0:
        case 1:
          array->insertObjectAtIndex(value, index);
          model.insert(place, value);
          break;
        case 2:
          if (index < model.size()) {
            array->removeObjectAtIndex(index);
            model.erase(place);
          }
          break;
        case 3:
          if (index < model.size()) {
            array->replaceObjectAtIndexWithObject(index, value);
            *place = value;
          }
          break;
        case 4: {
          const std::size_t length = random.below(model.size() - index + 1);
          array->removeObjectsInRange({index, length});
          model.erase(place, place + static_cast<std::ptrdiff_t>(length));
          for (std::size_t i = 0; i < length; ++i) {
            array->addObject(value);
            model.push_back(value);
          }
          break;
        }
        case 5:
          array->removeObject(value);
          std::erase_if(model, [&](const Value& element) { return element == Value(value); });
          break;
      }
      ASSERT_EQ(*array->contiguousElements(), model);
    }
  }
}

TEST(NSMutableArray, AMillionElementsAreHandledInLinearTime) {
  Ref<NSMutableArray> array = mutableNumbers(1'000'000);
  EXPECT_EQ(array->indexOfObject(999'999), 999'999u);
  Ref<NSMutableIndexSet> odd = NSMutableIndexSet::indexSet();
  for (NSUInteger i = 1; i < 1'000'000; i += 2) odd->addIndex(i);
  Ref<NSArray> removed = array->objectsAtIndexes(odd);
  array->removeObjectsAtIndexes(odd);
  EXPECT_EQ(array->count(), 500'000u);
  array->insertObjectsAtIndexes(removed, odd);
  EXPECT_EQ(array->objectAtIndex(777'777), Value(777'777));
  array->sortUsingComparator(
      [](const Value& left, const Value& right) { return right.compare(left); });
  EXPECT_EQ(array->firstObject(), Value(999'999));
  array->removeObject(5);
  EXPECT_EQ(array->count(), 999'999u);
}

}  // namespace
}  // namespace JNFoundation
