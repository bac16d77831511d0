#include <algorithm>
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
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation {
namespace {

using testing::greatest;
using testing::listed;
using testing::LiveObjects;
using testing::raisedBy;
using testing::raisedName;
using testing::Randomness;
using testing::Reentrant;

Ref<NSMutableOrderedSet> orderedNumbers(NSInteger count) {
  Ref<NSMutableOrderedSet> set = NSMutableOrderedSet::orderedSet();
  for (NSInteger i = 0; i < count; ++i) set->addObject(i);
  return set;
}

Ref<NSIndexSet> indexSet(const std::vector<NSUInteger>& list) {
  Ref<NSMutableIndexSet> set = NSMutableIndexSet::indexSet();
  for (const NSUInteger index : list) set->addIndex(index);
  return set;
}

/// A view of another set; every change goes through it.
class OrderedView : public Subclass<OrderedView, NSMutableOrderedSet> {
 public:
  explicit OrderedView(Ref<NSMutableOrderedSet> source)
      : Subclass(Representation::Foreign), _source(std::move(source)) {}

 protected:
  Ref<NSOrderedSet> foreignContents() const override { return as<NSOrderedSet>(_source->copy()); }
  void foreignInsertObjectAtIndex(const Value& object, NSUInteger index) override {
    EXPECT_FALSE(_source->containsObject(object));
    _source->insertObjectAtIndex(object, index);
  }
  void foreignRemoveObjectAtIndex(NSUInteger index) override {
    _source->removeObjectAtIndex(index);
  }

 private:
  Ref<NSMutableOrderedSet> _source;
};

/// A view that forgot to say how it is changed.
class StiffOrderedView : public Subclass<StiffOrderedView, NSMutableOrderedSet> {
 public:
  StiffOrderedView() : Subclass(Representation::Foreign) {}

 protected:
  Ref<NSOrderedSet> foreignContents() const override {
    return NSOrderedSet::orderedSetWithObject(1);
  }
};

TEST(NSMutableOrderedSet, AnObjectThatIsThereKeepsItsPlace) {
  Ref<NSMutableOrderedSet> set = orderedNumbers(3);
  set->addObject(1.0);
  set->insertObjectAtIndex(2, 0);
  set->addObjectsFromArray(NSArray::arrayWithObjects(0, 5));
  set->replaceObjectAtIndexWithObject(0, 5);
  EXPECT_EQ(listed(set), "0 1 2 5");
}

TEST(NSMutableOrderedSet, NullIsRefusedAndChangesNothing) {
  Ref<NSMutableOrderedSet> set = orderedNumbers(2);
  EXPECT_EQ(raisedBy([&] { set->addObject(nullptr); }),
            "NSInvalidArgumentException: *** -[__NSOrderedSetM addObject:]: object cannot be nil");
  EXPECT_EQ(raisedName([&] { set->insertObjectAtIndex(nullptr, 0); }), NSInvalidArgumentException);
  EXPECT_EQ(raisedName([&] { set->replaceObjectAtIndexWithObject(0, nullptr); }),
            NSInvalidArgumentException);
  set->removeObject(nullptr);
  set->addObjectsFromArray(nullptr);
  set->removeObjectsInArray(nullptr);
  set->removeObjectsAtIndexes(nullptr);
  set->insertObjectsAtIndexes(nullptr, nullptr);
  set->moveObjectsAtIndexesToIndex(nullptr, 7);
  set->unionSet(nullptr);
  set->unionOrderedSet(nullptr);
  set->minusSet(nullptr);
  set->minusOrderedSet(nullptr);
  EXPECT_EQ(listed(set), "0 1");
  set->intersectOrderedSet(nullptr);
  EXPECT_EQ(set->count(), 0u);
}

TEST(NSMutableOrderedSet, AnIndexPastTheEndIsRefusedAndChangesNothing) {
  for (const NSUInteger index : {NSUInteger{3}, NSUInteger(NSNotFound), greatest}) {
    Ref<NSMutableOrderedSet> set = orderedNumbers(2);
    EXPECT_EQ(raisedName([&] { set->insertObjectAtIndex(9, index); }), NSRangeException);
    EXPECT_EQ(raisedName([&] { set->replaceObjectAtIndexWithObject(index, 9); }), NSRangeException);
    EXPECT_EQ(raisedName([&] { set->removeObjectAtIndex(index); }), NSRangeException);
    EXPECT_EQ(raisedName([&] { set->exchangeObjectAtIndexWithObjectAtIndex(0, index); }),
              NSRangeException);
    EXPECT_EQ(raisedName([&] { set->moveObjectsAtIndexesToIndex(indexSet({0}), index); }),
              NSRangeException);
    EXPECT_EQ(listed(set), "0 1");
  }
  EXPECT_EQ(raisedName([] {
              orderedNumbers(2)->removeObjectsAtIndexes(indexSet({0, 2}));
            }),
            NSRangeException);
  EXPECT_EQ(raisedName([] { orderedNumbers(2)->moveObjectsAtIndexesToIndex(indexSet({2}), 0); }),
            NSRangeException);
}

TEST(NSMutableOrderedSet, ARangeWhoseEndOverflowsIsRefused) {
  for (const NSRange range : {NSRange{1, greatest}, NSRange{greatest, 1}, NSRange{6, 0},
                              NSRange{greatest, greatest}, NSRange{3, 3}}) {
    Ref<NSMutableOrderedSet> set = orderedNumbers(5);
    EXPECT_EQ(raisedName([&] { set->removeObjectsInRange(range); }), NSRangeException);
    EXPECT_EQ(set->count(), 5u);
  }
}

TEST(NSMutableOrderedSet, RemovesFromEverywhere) {
  Ref<NSMutableOrderedSet> set = orderedNumbers(10);
  set->removeObjectAtIndex(9);
  set->removeObjectAtIndex(0);
  set->removeObject(4);
  EXPECT_EQ(listed(set), "1 2 3 5 6 7 8");
  set->removeObjectsInRange({1, 2});
  EXPECT_EQ(listed(set), "1 5 6 7 8");
  set->removeObjectsInRange({0, 1});
  set->removeObjectsInRange({2, 0});
  EXPECT_EQ(listed(set), "5 6 7 8");
  set->removeObjectsAtIndexes(indexSet({0, 2}));
  EXPECT_EQ(listed(set), "6 8");
  set->removeObjectsInArray(NSArray::arrayWithObjects(8, 9));
  EXPECT_EQ(set->takeFirstObject(), Value(6));
  EXPECT_TRUE(set->takeFirstObject().isNull());
  EXPECT_EQ(set->count(), 0u);
}

TEST(NSMutableOrderedSet, ExchangesAndMoves) {
  Ref<NSMutableOrderedSet> set = orderedNumbers(6);
  set->exchangeObjectAtIndexWithObjectAtIndex(0, 5);
  set->exchangeObjectAtIndexWithObjectAtIndex(2, 2);
  EXPECT_EQ(listed(set), "5 1 2 3 4 0");
  set->moveObjectsAtIndexesToIndex(indexSet({0, 3, 5}), 1);
  EXPECT_EQ(listed(set), "1 5 3 0 2 4");
  set->moveObjectsAtIndexesToIndex(indexSet({0}), 5);
  EXPECT_EQ(listed(set), "5 3 0 2 4 1");
  EXPECT_EQ(raisedName([&] {
              set->moveObjectsAtIndexesToIndex(indexSet({0, 1}), 5);
            }),
            NSRangeException);
  for (NSInteger i = 0; i < 6; ++i) {
    EXPECT_EQ(set->objectAtIndex(set->indexOfObject(i)), Value(i));
  }
}

TEST(NSMutableOrderedSet, ObjectsEndAtTheIndexesTheyAreInsertedAt) {
  Ref<NSMutableOrderedSet> set = orderedNumbers(3);
  set->insertObjectsAtIndexes(NSArray::arrayWithObjects("a", "b", "c"), indexSet({0, 2, 5}));
  EXPECT_EQ(listed(set), "a 0 b 1 2 c");
}

TEST(NSMutableOrderedSet, ObjectsThatAreThereAreLeftOutOfAnInsertion) {
  Ref<NSMutableOrderedSet> set = orderedNumbers(3);
  set->insertObjectsAtIndexes(NSArray::arrayWithObjects("a", 2, "a", "b"), indexSet({0, 1, 2, 6}));
  EXPECT_EQ(listed(set), "a 0 1 2 b");
}

TEST(NSMutableOrderedSet, InsertingAtIndexesIsRefusedWhole) {
  Ref<NSMutableOrderedSet> set = orderedNumbers(2);
  EXPECT_EQ(raisedName([&] {
              set->insertObjectsAtIndexes(NSArray::arrayWithObjects("a", "b"), indexSet({0}));
            }),
            NSInvalidArgumentException);
  EXPECT_EQ(raisedName([&] {
              set->insertObjectsAtIndexes(NSArray::arrayWithObjects("a", "b"), indexSet({0, 4}));
            }),
            NSRangeException);
  EXPECT_EQ(listed(set), "0 1");
}

TEST(NSMutableOrderedSet, AReplacedObjectIsForgotten) {
  Ref<NSMutableOrderedSet> set = orderedNumbers(20);
  set->replaceObjectAtIndexWithObject(3, "x");
  EXPECT_FALSE(set->containsObject(3));
  EXPECT_EQ(set->indexOfObject("x"), 3u);
  Ref<Reentrant> one = Reentrant::numbered(1);
  Ref<Reentrant> twin = Reentrant::numbered(1);
  set->addObject(one);
  set->replaceObjectAtIndexWithObject(20, twin);
  EXPECT_TRUE(set->lastObject().isIdentical(twin));
}

TEST(NSMutableOrderedSet, SetsAreUnitedSubtractedAndIntersected) {
  Ref<NSMutableOrderedSet> set = orderedNumbers(4);
  set->unionSet(NSSet::setWithObjects(9, 3));
  set->unionOrderedSet(NSOrderedSet::orderedSetWithObjects(8, 0));
  EXPECT_EQ(listed(set), "0 1 2 3 9 8");
  set->minusSet(NSSet::setWithObjects(0, 5));
  set->minusOrderedSet(NSOrderedSet::orderedSetWithObjects(9));
  EXPECT_EQ(listed(set), "1 2 3 8");
  set->intersectSet(NSSet::setWithObjects(8, 3, 2));
  EXPECT_EQ(listed(set), "2 3 8");
  set->intersectOrderedSet(NSOrderedSet::orderedSetWithObjects(8, 2));
  EXPECT_EQ(listed(set), "2 8");
  set->unionOrderedSet(set);
  set->intersectOrderedSet(set);
  EXPECT_EQ(listed(set), "2 8");
  set->minusOrderedSet(set);
  EXPECT_EQ(set->count(), 0u);
}

TEST(NSMutableOrderedSet, SortingIsStableAndKeepsTheIndexTrue) {
  Ref<NSMutableOrderedSet> set = orderedNumbers(100);
  set->removeObject(50);
  set->sortUsingComparator([](const Value& left, const Value& right) {
    return Value(left.integerValue() % 10).compare(right.integerValue() % 10);
  });
  EXPECT_EQ(set->objectAtIndex(0), Value(0));
  EXPECT_EQ(set->objectAtIndex(1), Value(10));
  EXPECT_EQ(set->objectAtIndex(5), Value(60));
  for (NSUInteger i = 0; i < 99; ++i) EXPECT_EQ(set->indexOfObject(set->objectAtIndex(i)), i);
}

TEST(NSMutableOrderedSet, ASortThatRaisesOrIsDisturbedChangesNothingItself) {
  Ref<NSMutableOrderedSet> set = NSMutableOrderedSet::orderedSetWithValues({3, 1, "x", 0});
  const auto byOrder = [](const Value& left, const Value& right) { return left.compare(right); };
  EXPECT_EQ(raisedName([&] { set->sortUsingComparator(byOrder); }), NSInvalidArgumentException);
  EXPECT_EQ(listed(set), "3 1 x 0");
  EXPECT_EQ(raisedName([&] {
              set->sortUsingComparator([&](const Value&, const Value&) {
                set->removeObject("x");
                return NSOrderedDescending;
              });
            }),
            NSGenericException);
  EXPECT_EQ(listed(set), "3 1 0");
}

TEST(NSMutableOrderedSet, EveryChangeOfAViewArrivesAtItsHooks) {
  Ref<NSMutableOrderedSet> source = orderedNumbers(3);
  Ref<OrderedView> view = makeObject<OrderedView>(source);
  view->addObject("a");
  view->addObject(1);
  view->insertObjectAtIndex("b", 0);
  EXPECT_EQ(listed(source), "b 0 1 2 a");
  EXPECT_EQ(listed(view), "b 0 1 2 a");
  view->exchangeObjectAtIndexWithObjectAtIndex(4, 1);
  EXPECT_EQ(listed(source), "b a 1 2 0");
  view->moveObjectsAtIndexesToIndex(indexSet({0, 1}), 3);
  EXPECT_EQ(listed(source), "1 2 0 b a");
  view->replaceObjectAtIndexWithObject(1, "c");
  EXPECT_EQ(listed(source), "1 c 0 b a");
  view->insertObjectsAtIndexes(NSArray::arrayWithObjects("d", "e"), indexSet({0, 2}));
  EXPECT_EQ(listed(source), "d 1 e c 0 b a");
  view->removeObjectsAtIndexes(indexSet({0, 2}));
  view->removeObjectsInRange({3, 2});
  view->removeObject(1);
  EXPECT_EQ(listed(source), "c 0");
  view->sortUsingComparator([](const Value& left, const Value&) {
    return left == Value("c") ? NSOrderedDescending : NSOrderedSame;
  });
  EXPECT_EQ(listed(source), "0 c");
  EXPECT_EQ(view->takeFirstObject(), Value(0));
  EXPECT_TRUE(view->isEqual(Value(NSOrderedSet::orderedSetWithObjects("c"))));
  EXPECT_EQ(raisedName([&] { view->objectAtIndex(1); }), NSRangeException);
  view->removeAllObjects();
  EXPECT_EQ(source->count(), 0u);
}

TEST(NSMutableOrderedSet, AViewThatCannotBeChangedSaysSo) {
  Ref<StiffOrderedView> view = makeObject<StiffOrderedView>();
  EXPECT_EQ(raisedName([&] { view->addObject(2); }), NSInternalInconsistencyException);
  EXPECT_EQ(raisedName([&] { view->removeAllObjects(); }), NSInternalInconsistencyException);
}

TEST(NSMutableOrderedSet, TheEndOfWhatIsRemovedMayChangeTheSet) {
  const LiveObjects alive;
  {
    const std::vector<Block<void(NSMutableOrderedSet&)>> removals = {
        [](NSMutableOrderedSet& set) { set.removeAllObjects(); },
        [](NSMutableOrderedSet& set) { set.removeObject(Reentrant::numbered(1)); },
        [](NSMutableOrderedSet& set) { set.removeObjectAtIndex(0); },
        [](NSMutableOrderedSet& set) { set.takeFirstObject(); },
        [](NSMutableOrderedSet& set) {
          set.removeObjectsInRange({0, 2});
        },
        [](NSMutableOrderedSet& set) {
          set.removeObjectsInRange({1, 1});
        },
        [](NSMutableOrderedSet& set) {
          set.removeObjectsAtIndexes(indexSet({0, 2}));
        },
        [](NSMutableOrderedSet& set) { set.replaceObjectAtIndexWithObject(1, "new"); },
        [](NSMutableOrderedSet& set) { set.intersectSet(nullptr); }};
    const std::vector<Block<void(NSMutableOrderedSet&)>> attacks = {
        [](NSMutableOrderedSet& set) { set.addObject("late"); },
        [](NSMutableOrderedSet& set) { set.insertObjectAtIndex("early", 0); },
        [](NSMutableOrderedSet& set) { set.removeAllObjects(); },
        [](NSMutableOrderedSet& set) {
          for (int i = 0; i < 50; ++i) set.addObject(i);
        }};
    for (const auto& removal : removals) {
      for (const auto& attack : attacks) {
        Ref<NSMutableOrderedSet> set = NSMutableOrderedSet::orderedSet();
        int ends = 0;
        for (NSInteger i = 0; i < 3; ++i) {
          Ref<Reentrant> object = Reentrant::numbered(i);
          object->whenGone = [&ends, &set, &attack] {
            ++ends;
            attack(*set);
          };
          set->addObject(object);
        }
        removal(*set);
        EXPECT_GT(ends, 0);
        for (NSUInteger i = 0; i < set->count(); ++i) {
          EXPECT_EQ(set->indexOfObject(set->objectAtIndex(i)), i);
        }
        set->removeAllObjects();
        EXPECT_EQ(ends, 3);
        set->removeAllObjects();
      }
    }
  }
  EXPECT_EQ(alive.count(), 0);
}

TEST(NSMutableOrderedSet, ASearchWhoseEqualityChangesTheSetIsGivenUp) {
  for (int operation = 0; operation < 5; ++operation) {
    Ref<NSMutableOrderedSet> set = NSMutableOrderedSet::orderedSet();
    Ref<Reentrant> member = Reentrant::numbered(1);
    set->addObject(member);
    set->addObject("other");
    member->whenCompared = [&] { set->removeAllObjects(); };
    const Value twin = Reentrant::numbered(1);
    EXPECT_EQ(raisedName([&] {
                switch (operation) {
                  case 0:
                    return set->addObject(twin);
                  case 1:
                    return set->insertObjectAtIndex(twin, 2);
                  case 2:
                    return set->removeObject(twin);
                  case 3:
                    return set->replaceObjectAtIndexWithObject(1, twin);
                  default:
                    set->indexOfObject(twin);
                }
              }),
              NSGenericException);
    EXPECT_EQ(set->count(), 0u);
  }
}

TEST(NSMutableOrderedSet, AnObjectWhoseHashChangesTheSetFindsItConsistent) {
  for (int operation = 0; operation < 3; ++operation) {
    Ref<NSMutableOrderedSet> set = orderedNumbers(20);
    Ref<Reentrant> object = Reentrant::numbered(1);
    object->whenHashed = [&, once = true]() mutable {
      if (std::exchange(once, false)) set->removeObjectsInRange({0, 15});
    };
    switch (operation) {
      case 0:
        set->insertObjectAtIndex(object, 20);
        EXPECT_EQ(listed(set), "15 16 17 18 19 #1");
        break;
      case 1:
        EXPECT_EQ(raisedName([&] { set->replaceObjectAtIndexWithObject(19, object); }),
                  NSGenericException);
        EXPECT_EQ(listed(set), "15 16 17 18 19");
        break;
      case 2:
        set->addObject(object);
        EXPECT_EQ(listed(set), "15 16 17 18 19 #1");
        break;
    }
  }
}

TEST(NSMutableOrderedSet, AgreesWithAPlainListWhateverIsDone) {
  Randomness random;
  JN_TRACE_SEED(random);
  for (int run = 0; run < 60; ++run) {
    Ref<NSMutableOrderedSet> set = NSMutableOrderedSet::orderedSet();
    std::vector<NSInteger> model;
    for (int step = 0; step < 300; ++step) {
      const auto number = static_cast<NSInteger>(random.below(40));
      const auto known = std::find(model.begin(), model.end(), number);
      const std::size_t index = random.below(model.size() + 1);
      const auto place = model.begin() + static_cast<std::ptrdiff_t>(index);
      switch (random.below(8)) {
        case 0:
        case 1:
          set->addObject(number);
          if (known == model.end()) model.push_back(number);
          break;
        case 2:
          set->insertObjectAtIndex(number, index);
          if (known == model.end()) model.insert(place, number);
          break;
        case 3:
          set->removeObject(number);
          if (known != model.end()) model.erase(known);
          break;
        case 4:
          if (model.empty()) break;
          ASSERT_EQ(set->takeFirstObject(), Value(model.front()));
          model.erase(model.begin());
          break;
        case 5: {
          const std::size_t length =
              random.below(std::min<std::size_t>(model.size() - index, 3) + 1);
          set->removeObjectsInRange({index, length});
          model.erase(place, place + static_cast<std::ptrdiff_t>(length));
          break;
        }
        case 6:
          if (index == model.size()) break;
          set->exchangeObjectAtIndexWithObjectAtIndex(index, 0);
          std::swap(model[index], model[0]);
          break;
        case 7:
          if (index == model.size()) break;
          set->replaceObjectAtIndexWithObject(index, number);
          if (known == model.end()) *place = number;
          break;
      }
      ASSERT_EQ(set->count(), model.size());
      if (step % 7 != 0) continue;
      for (std::size_t i = 0; i < model.size(); ++i) {
        ASSERT_EQ(set->objectAtIndex(i), Value(model[i]));
        ASSERT_EQ(set->indexOfObject(model[i]), i);
      }
    }
  }
}

TEST(NSMutableOrderedSet, AMillionObjectsAreAddedAndTakenFromTheFront) {
  Ref<NSMutableOrderedSet> set = orderedNumbers(1'000'000);
  for (NSInteger i = 0; i < 1'000'000; ++i) {
    if (i % 2 == 0) {
      ASSERT_EQ(set->takeFirstObject(), Value(i));
    } else {
      ASSERT_EQ(set->firstObject(), Value(i));
      set->removeObjectAtIndex(0);
    }
  }
  EXPECT_EQ(set->count(), 0u);
}

TEST(NSMutableOrderedSet, AMillionObjectsAreRemovedByNameFromAnywhere) {
  Ref<NSMutableOrderedSet> set = orderedNumbers(1'000'000);
  for (NSInteger i = 0; i < 1'000'000; ++i) set->removeObject(std::int64_t{i} * 7919 % 1'000'000);
  EXPECT_EQ(set->count(), 0u);
}

TEST(NSMutableOrderedSet, AMillionObjectsAreInsertedAndRemovedByIndexAtOnce) {
  Ref<NSMutableOrderedSet> set = orderedNumbers(500'000);
  std::vector<Value> added;
  Ref<NSMutableIndexSet> odd = NSMutableIndexSet::indexSet();
  for (NSInteger i = 0; i < 500'000; ++i) {
    added.push_back(-1 - i);
    odd->addIndex(static_cast<NSUInteger>(2 * i + 1));
  }
  set->insertObjectsAtIndexes(NSArray::arrayWithValues(std::move(added)), odd);
  EXPECT_EQ(set->objectAtIndex(7), Value(-4));
  EXPECT_EQ(set->objectAtIndex(8), Value(4));
  set->removeObjectsAtIndexes(odd);
  EXPECT_EQ(set->count(), 500'000u);
  EXPECT_EQ(set->objectAtIndex(7), Value(7));
}

}  // namespace
}  // namespace JNFoundation
