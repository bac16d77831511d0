#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "platform/value/LiveObjects.h"
#include "platform/value/Raising.h"
#include "platform/value/Reentrant.h"
#include "platform/value/SmallStack.h"

#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation {
namespace {

using testing::LiveObjects;
using testing::onStackOf;
using testing::raisedName;
using testing::Reentrant;

/// What threads usually have; the nesting that is allowed takes a small part of it.
constexpr std::size_t stackOfAThread = 8 * 1024 * 1024;

using Wrap = Value (*)(const Value&);

Value inArray(const Value& value) { return NSArray::arrayWithObject(value); }
Value inMutableArray(const Value& value) { return NSMutableArray::arrayWithValues({value}); }
Value inDictionary(const Value& value) {
  return NSDictionary::dictionaryWithObjectForKey(value, "key");
}
Value inOrderedSet(const Value& value) { return NSOrderedSet::orderedSetWithObject(value); }
Value inSet(const Value& value) { return NSSet::setWithObject(value); }

Value nested(int depth, Wrap wrap, Value innermost) {
  for (int i = 0; i < depth; ++i) innermost = wrap(innermost);
  return innermost;
}

/// Answers as it was told to.
class Opinionated : public Subclass<Opinionated, NSArray> {
 public:
  explicit Opinionated(bool opinion) : Subclass({Value(1)}), _opinion(opinion) {}
  bool isEqual(const Value&) const override { return _opinion; }

 private:
  bool _opinion;
};

/// Groups of values that are equal within the group and to nothing outside of it.
std::vector<std::vector<Value>> groupsOfContainers() {
  Ref<NSMutableDictionary> turned = NSMutableDictionary::dictionary();
  turned->setObjectForKey(0, "x");
  turned->setObjectForKey("one", 1.0);
  turned->setObjectForKey(2, "b");
  turned->removeObjectForKey("x");
  return {
      {1, 1.0, true},
      {"1"},
      {NSNull::null()},
      {NSArray::array(), NSMutableArray::array()},
      {NSArray::arrayWithObjects(1, "a"), NSMutableArray::arrayWithValues({1.0, "a"})},
      {NSArray::arrayWithObjects("a", 1)},
      {NSArray::arrayWithObjects(1, "a", 2)},
      {NSArray::arrayWithObject(NSArray::array()),
       NSArray::arrayWithObject(NSMutableArray::array())},
      {NSArray::arrayWithObject(NSDictionary::dictionary())},
      {NSArray::arrayWithObject(NSSet::set())},
      {NSDictionary::dictionary(), NSMutableDictionary::dictionary()},
      {NSDictionary::dictionaryWithEntries({{1, "one"}, {"b", 2}}), turned},
      {NSDictionary::dictionaryWithEntries({{1, "one"}, {"b", 3}})},
      {NSDictionary::dictionaryWithEntries({{1, "one"}, {"c", 2}})},
      {NSDictionary::dictionaryWithObjectForKey(NSArray::array(), NSArray::array()),
       NSDictionary::dictionaryWithObjectForKey(NSMutableArray::array(), NSMutableArray::array())},
      {NSSet::set(), NSMutableSet::set()},
      {NSSet::setWithObjects(1, "a"), NSMutableSet::setWithObjects("a", 1.0)},
      {NSSet::setWithObjects(1, "b")},
      {NSSet::setWithObject(NSSet::setWithObjects(1, 2)),
       NSSet::setWithObject(NSSet::setWithObjects(2, 1))},
      {NSSet::setWithObject(NSArray::arrayWithObjects(1, 2))},
      {NSOrderedSet::orderedSet(), NSMutableOrderedSet::orderedSet()},
      {NSOrderedSet::orderedSetWithObjects(1, "a"),
       NSMutableOrderedSet::orderedSetWithValues({true, "a"})},
      {NSOrderedSet::orderedSetWithObjects("a", 1)},
  };
}

TEST(ContainerEquality, EveryPairOfValuesComparesAsItsGroupsSay) {
  const std::vector<std::vector<Value>> table = groupsOfContainers();
  for (std::size_t i = 0; i < table.size(); ++i) {
    for (const Value& left : table[i]) {
      for (std::size_t j = 0; j < table.size(); ++j) {
        for (const Value& right : table[j]) {
          EXPECT_EQ(left == right, i == j)
              << left.description()->utf8() << " and " << right.description()->utf8();
        }
        if (i == j) {
          for (const Value& right : table[j]) EXPECT_EQ(left.hash(), right.hash());
        }
      }
      EXPECT_FALSE(left == Value());
    }
  }
}

TEST(ContainerEquality, AMillionNestedArraysFitOnASmallStack) {
  onStackOf(128 * 1024, [] {
    const Value left = nested(1'000'000, inArray, "core");
    EXPECT_TRUE(left == nested(1'000'000, inMutableArray, "core"));
    EXPECT_FALSE(left == nested(1'000'000, inMutableArray, "other"));
  });
}

TEST(ContainerEquality, NestingOfEveryKindFitsOnASmallStack) {
  onStackOf(128 * 1024, [] {
    for (const Wrap wrap : {&inArray, &inDictionary, &inOrderedSet}) {
      EXPECT_TRUE(nested(100'000, wrap, "core") == nested(100'000, wrap, "core"));
      EXPECT_FALSE(nested(100'000, wrap, "core") == nested(100'000, wrap, "other"));
      EXPECT_FALSE(nested(100'000, wrap, "core") == nested(99'999, wrap, "core"));
    }
  });
}

TEST(ContainerEquality, KindsMayAlternate) {
  onStackOf(128 * 1024, [] {
    const auto tower = [](const Value& core) {
      Value value = core;
      for (int i = 0; i < 30'000; ++i) value = inOrderedSet(inDictionary(inMutableArray(value)));
      return value;
    };
    EXPECT_TRUE(tower(1) == tower(1.0));
    EXPECT_FALSE(tower(1) == tower(2));
  });
}

TEST(ContainerEquality, SetsAreNestedUpToALimitWithAClearError) {
  const LiveObjects alive;
  onStackOf(stackOfAThread, [] {
    EXPECT_TRUE(nested(200, inSet, "core") == nested(200, inSet, "core"));
    EXPECT_FALSE(nested(200, inSet, "core") == nested(200, inSet, "other"));
    EXPECT_EQ(raisedName([] { (void)(nested(100'000, inSet, 1) == nested(100'000, inSet, 1)); }),
              NSGenericException);
    // And it is over with the error.
    EXPECT_TRUE(nested(200, inSet, "core") == nested(200, inSet, "core"));
  });
  EXPECT_EQ(alive.count(), 0);
}

TEST(ContainerEquality, KeysAreNestedUpToTheSameLimit) {
  const Wrap asKey = [](const Value& value) -> Value {
    return NSDictionary::dictionaryWithObjectForKey(1, value);
  };
  onStackOf(stackOfAThread, [asKey] {
    EXPECT_TRUE(nested(200, asKey, "core") == nested(200, asKey, "core"));
    EXPECT_EQ(raisedName([&] { (void)(nested(5000, asKey, 1) == nested(5000, asKey, 1)); }),
              NSGenericException);
  });
}

TEST(ContainerEquality, ContainersThatContainThemselvesCompare) {
  Ref<NSMutableArray> one = NSMutableArray::array();
  Ref<NSMutableArray> other = NSMutableArray::array();
  Ref<NSMutableDictionary> dictionary = NSMutableDictionary::dictionary();
  dictionary->setObjectForKey(one, "one");
  one->addObject(dictionary);
  one->addObject(one);
  one->addObject(other);
  Ref<NSMutableDictionary> mirror = NSMutableDictionary::dictionary();
  mirror->setObjectForKey(other, "one");
  other->addObject(mirror);
  other->addObject(other);
  other->addObject(one);
  EXPECT_TRUE(one->isEqual(Value(other)));
  EXPECT_TRUE(dictionary->isEqual(Value(mirror)));
  other->addObject(1);
  EXPECT_FALSE(one->isEqual(Value(other)));
  one->addObject(2);
  EXPECT_FALSE(one->isEqual(Value(other)));
  for (const Ref<NSMutableArray>& array : {one, other}) array->removeAllObjects();
}

TEST(ContainerEquality, CyclesOfDifferentLengthCompare) {
  const auto ring = [](int length) {
    std::vector<Ref<NSMutableArray>> arrays;
    arrays.reserve(static_cast<std::size_t>(length));
    for (int i = 0; i < length; ++i) arrays.push_back(NSMutableArray::array());
    for (int i = 0; i < length; ++i) arrays[i]->addObject(arrays[(i + 1) % length]);
    return arrays;
  };
  // A ring that is entered from outside, so that no start of it is met again.
  auto three = ring(3);
  auto five = ring(5);
  const Value left = inArray(inArray(three[0]));
  const Value right = inArray(five[0]);
  EXPECT_TRUE(left == right);
  five[4]->addObject("end");
  EXPECT_FALSE(left == right);
  for (const auto& array : three) array->removeAllObjects();
  for (const auto& array : five) array->removeAllObjects();
}

TEST(ContainerEquality, ACycleThroughSetsGivesAClearError) {
  const auto cycle = [] {
    Ref<NSMutableArray> array = NSMutableArray::arrayWithValues({1});
    array->replaceObjectAtIndexWithObject(0, inSet(array));
    return array;
  };
  Ref<NSMutableArray> one = cycle();
  Ref<NSMutableArray> other = cycle();
  onStackOf(stackOfAThread, [&] {
    EXPECT_EQ(raisedName([&] { one->isEqual(Value(other)); }), NSGenericException);
  });
  one->removeAllObjects();
  other->removeAllObjects();
}

// Takes longer than the world lasts where every way through is walked.
TEST(ContainerEquality, WhatIsSharedManyTimesIsComparedOnce) {
  for (const auto& pair : std::vector<std::function<Value(const Value&)>>{
           [](const Value& v) { return NSArray::arrayWithObjects(v, v); },
           [](const Value& v) {
             return NSDictionary::dictionaryWithEntries({{"a", v}, {"b", v}});
           }}) {
    const auto doubled = [&](const Value& core) {
      Value value = core;
      for (int i = 0; i < 200; ++i) value = pair(value);
      return value;
    };
    EXPECT_TRUE(doubled("core") == doubled("core"));
    EXPECT_FALSE(doubled("core") == doubled("other"));
  }
}

TEST(ContainerEquality, AClassWithAnEqualityOfItsOwnIsAsked) {
  const Value yes = makeObject<Opinionated>(true);
  const Value no = makeObject<Opinionated>(false);
  EXPECT_TRUE(inArray(yes) == inArray("anything"));
  EXPECT_FALSE(inArray(no) == inArray(NSArray::arrayWithObject(1)));
  EXPECT_TRUE(inDictionary(yes) == inDictionary(2));
  EXPECT_FALSE(inOrderedSet(no) == inOrderedSet(NSArray::arrayWithObject(1)));
  EXPECT_TRUE(NSArray::arrayWithObject(1)->isEqual(no));
}

TEST(ContainerEquality, AnEqualityThatChangesTheContainersIsSurvived) {
  const LiveObjects alive;
  {
    for (const bool shrinks : {true, false}) {
      Ref<NSMutableArray> left = NSMutableArray::array();
      Ref<NSMutableArray> right = NSMutableArray::array();
      Ref<NSMutableDictionary> leftRecord = NSMutableDictionary::dictionary();
      Ref<NSMutableDictionary> rightRecord = NSMutableDictionary::dictionary();
      for (NSInteger i = 0; i < 20; ++i) {
        Ref<Reentrant> object = Reentrant::numbered(i);
        object->whenCompared = [=] {
          for (const Ref<NSMutableArray>& array : {left, right}) {
            if (shrinks) {
              array->removeAllObjects();
            } else {
              for (int n = 0; n < 30; ++n) array->addObject(n);
            }
          }
          for (const Ref<NSMutableDictionary>& record : {leftRecord, rightRecord}) {
            if (shrinks) {
              record->removeAllObjects();
            } else {
              for (int n = 0; n < 30; ++n) record->setObjectForKey(n, n);
            }
          }
        };
        left->addObject(object);
        right->addObject(Reentrant::numbered(i));
        leftRecord->setObjectForKey(object, NSString::stringWithFormat("%lld", i));
        rightRecord->setObjectForKey(Reentrant::numbered(i), NSString::stringWithFormat("%lld", i));
      }
      const Value objects = left->copy();
      (void)left->isEqual(Value(right));
      (void)leftRecord->isEqual(Value(rightRecord));
      for (const Value& object : *as<NSArray>(objects)) {
        as<Reentrant>(object)->whenCompared = nullptr;
      }
      left->removeAllObjects();
      leftRecord->removeAllObjects();
    }
  }
  EXPECT_EQ(alive.count(), 0);
}

TEST(ContainerEquality, AnEqualityThatRaisesLeavesNothingBehind) {
  Ref<Reentrant> object = Reentrant::numbered(1);
  object->whenCompared = [] { raise(NSGenericException, "no"); };
  for (int i = 0; i < 2000; ++i) {
    EXPECT_THROW((void)(inSet(Reentrant::numbered(1)) == inSet(object)), Raised);
  }
  EXPECT_TRUE(inSet(1) == inSet(1));
}

TEST(ContainerEquality, ManySmallContainersAreComparedInLinearTime) {
  Ref<NSMutableArray> left = NSMutableArray::array();
  Ref<NSMutableArray> right = NSMutableArray::array();
  for (NSInteger i = 0; i < 300'000; ++i) {
    left->addObject(NSArray::arrayWithObjects(i, "text"));
    right->addObject(NSArray::arrayWithObjects(i, "text"));
  }
  EXPECT_TRUE(left->isEqual(Value(right)));
  right->replaceObjectAtIndexWithObject(299'999, NSArray::arrayWithObjects(1, "text"));
  EXPECT_FALSE(left->isEqual(Value(right)));
}

}  // namespace
}  // namespace JNFoundation
