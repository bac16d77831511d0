#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "platform/value/Limits.h"
#include "platform/value/Listed.h"
#include "platform/value/LiveObjects.h"
#include "platform/value/Raising.h"
#include "platform/value/Reentrant.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSIndexSet.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation {
namespace {

using testing::listed;
using testing::LiveObjects;
using testing::notFound;
using testing::raisedBy;
using testing::raisedName;
using testing::Reentrant;

Ref<NSMutableOrderedSet> distinctNumbers(NSInteger count) {
  Ref<NSMutableOrderedSet> set = NSMutableOrderedSet::orderedSet();
  for (NSInteger i = 0; i < count; ++i) set->addObject(i);
  return set;
}

class OrderedTag : public Subclass<OrderedTag, NSObject> {
 public:
  static Ref<OrderedTag> named(const Ref<NSString>& name) {
    Ref<OrderedTag> made = makeObject<OrderedTag>();
    made->_name = name;
    return made;
  }
  Ref<NSString> label() const { return _name; }
  void setLabel(const Ref<NSString>& name) { _name = name; }

 private:
  Ref<NSString> _name;
};
const ClassDeclaration<OrderedTag> declarationOfOrderedTag =
    ClassDeclaration<OrderedTag>().property("label", &OrderedTag::label, &OrderedTag::setLabel);

TEST(NSOrderedSet, HoldsEqualValuesOnceInTheOrderOfTheFirst) {
  EXPECT_EQ(listed(NSOrderedSet::orderedSetWithObjects("b", 1, "a", 1.0, "b")), "b 1 a");
  EXPECT_EQ(listed(NSOrderedSet::orderedSetWithValues({2, 2, 3})), "2 3");
  EXPECT_EQ(listed(NSOrderedSet::orderedSetWithArray(NSArray::arrayWithObjects(3, 3, 1))), "3 1");
  EXPECT_EQ(listed(NSOrderedSet::orderedSetWithSet(NSSet::setWithObjects(3, 1))), "3 1");
  EXPECT_EQ(listed(NSMutableOrderedSet::orderedSetWithArray(NSArray::arrayWithObjects(3, 3))), "3");
}

TEST(NSOrderedSet, ListsEndAtTheFirstNull) {
  EXPECT_EQ(listed(NSOrderedSet::orderedSetWithObjects(1, nullptr, 2)), "1");
  EXPECT_EQ(NSOrderedSet::orderedSetWithObjects()->count(), 0u);
}

TEST(NSOrderedSet, NullIsRefused) {
  EXPECT_EQ(raisedBy([] { NSOrderedSet::orderedSetWithValues({nullptr}); }),
            "NSInvalidArgumentException: *** -[__NSPlaceholderOrderedSet initWithObjects:count:]: "
            "attempt to insert nil object from objects[0]");
  EXPECT_EQ(raisedName([] { NSOrderedSet::orderedSetWithObject(nullptr); }),
            NSInvalidArgumentException);
}

TEST(NSOrderedSet, ANullCollectionCountsAsEmpty) {
  EXPECT_EQ(NSOrderedSet::orderedSetWithArray(nullptr)->count(), 0u);
  EXPECT_EQ(NSOrderedSet::orderedSetWithSet(nullptr)->count(), 0u);
  EXPECT_EQ(NSOrderedSet::orderedSetWithOrderedSet(nullptr)->count(), 0u);
  EXPECT_EQ(NSMutableOrderedSet::orderedSetWithOrderedSet(nullptr)->count(), 0u);
  Ref<NSOrderedSet> set = distinctNumbers(2);
  EXPECT_FALSE(set->isEqualToOrderedSet(nullptr));
  EXPECT_TRUE(NSOrderedSet::orderedSet()->isEqualToOrderedSet(nullptr));
  EXPECT_FALSE(set->isSubsetOfSet(nullptr));
  EXPECT_TRUE(NSOrderedSet::orderedSet()->isSubsetOfSet(nullptr));
  EXPECT_FALSE(set->isSubsetOfOrderedSet(nullptr));
  EXPECT_FALSE(set->intersectsSet(nullptr));
  EXPECT_FALSE(set->intersectsOrderedSet(nullptr));
}

TEST(NSOrderedSet, IsReadByIndexAndByObject) {
  Ref<NSOrderedSet> set = NSOrderedSet::orderedSetWithObjects("a", 2, "c");
  EXPECT_EQ(set->objectAtIndex(1), Value(2));
  EXPECT_EQ((*set)[2], Value("c"));
  EXPECT_EQ(set->firstObject(), Value("a"));
  EXPECT_EQ(set->lastObject(), Value("c"));
  EXPECT_EQ(set->indexOfObject(2.0), 1u);
  EXPECT_EQ(set->indexOfObject("x"), notFound);
  EXPECT_EQ(set->indexOfObject(nullptr), notFound);
  EXPECT_TRUE(set->containsObject("c"));
  EXPECT_FALSE(set->containsObject(nullptr));
  EXPECT_TRUE(NSOrderedSet::orderedSet()->firstObject().isNull());
  EXPECT_TRUE(NSOrderedSet::orderedSet()->lastObject().isNull());
}

TEST(NSOrderedSet, AnIndexPastTheEndIsRefusedInWords) {
  EXPECT_EQ(raisedBy([] { NSOrderedSet::orderedSetWithObjects(1, 2)->objectAtIndex(2); }),
            "NSRangeException: *** -[__NSOrderedSetI objectAtIndex:]: index 2 beyond bounds "
            "[0 .. 1]");
  EXPECT_EQ(raisedBy([] { NSMutableOrderedSet::orderedSet()->objectAtIndex(notFound); }),
            "NSRangeException: *** -[__NSOrderedSetM objectAtIndex:]: index " +
                std::to_string(NSNotFound) + " beyond bounds for empty ordered set");
}

TEST(NSOrderedSet, OtherCollectionsAreMadeOfIt) {
  Ref<NSMutableOrderedSet> set = distinctNumbers(4);
  Ref<NSArray> array = set->array();
  Ref<NSSet> plain = set->set();
  EXPECT_EQ(listed(set->reversedOrderedSet()), "3 2 1 0");
  EXPECT_EQ(listed(set->objectsAtIndexes(NSIndexSet::indexSetWithIndexesInRange({1, 2}))), "1 2");
  EXPECT_EQ(set->objectsAtIndexes(nullptr)->count(), 0u);
  EXPECT_EQ(raisedName([&] { set->objectsAtIndexes(NSIndexSet::indexSetWithIndex(4)); }),
            NSRangeException);
  EXPECT_EQ(listed(set->sortedArrayUsingComparator(
                [](const Value& left, const Value& right) { return right.compare(left); })),
            "3 2 1 0");
  set->removeAllObjects();
  EXPECT_EQ(listed(array), "0 1 2 3");
  EXPECT_EQ(listed(plain), "0 1 2 3");
}

TEST(NSOrderedSet, IsEqualOnlyToAnOrderedSetInTheSameOrder) {
  Ref<NSOrderedSet> set = NSOrderedSet::orderedSetWithObjects(1, "b");
  EXPECT_TRUE(set->isEqual(Value(NSMutableOrderedSet::orderedSetWithValues({1.0, "b"}))));
  EXPECT_TRUE(set->isEqualToOrderedSet(NSOrderedSet::orderedSetWithObjects(1, "b")));
  EXPECT_FALSE(set->isEqual(Value(NSOrderedSet::orderedSetWithObjects("b", 1))));
  EXPECT_FALSE(set->isEqual(Value(NSOrderedSet::orderedSetWithObjects(1))));
  EXPECT_FALSE(set->isEqual(Value(set->array())));
  EXPECT_FALSE(set->isEqual(Value(set->set())));
  EXPECT_FALSE(set->array()->isEqual(Value(set)));
  EXPECT_FALSE(set->set()->isEqual(Value(set)));
}

TEST(NSOrderedSet, OrderDoesNotMatterToSubsets) {
  Ref<NSOrderedSet> small = NSOrderedSet::orderedSetWithObjects(2, 1);
  EXPECT_TRUE(small->isSubsetOfOrderedSet(distinctNumbers(3)));
  EXPECT_TRUE(small->isSubsetOfSet(NSSet::setWithObjects(1, 2, 3)));
  EXPECT_FALSE(small->isSubsetOfSet(NSSet::setWithObjects(1, 3)));
  EXPECT_FALSE(small->isSubsetOfOrderedSet(NSOrderedSet::orderedSetWithObjects(1, 3, 4)));
  EXPECT_TRUE(small->intersectsSet(NSSet::setWithObjects(1, 9)));
  EXPECT_TRUE(small->intersectsOrderedSet(distinctNumbers(2)));
  EXPECT_FALSE(small->intersectsOrderedSet(distinctNumbers(1)));
}

TEST(NSOrderedSet, BlocksSeeEveryMemberUntilTheyStop) {
  std::string seen;
  distinctNumbers(9)->enumerateObjectsUsingBlock(
      [&](const Value& object, NSUInteger index, bool& stop) {
        EXPECT_EQ(object, Value(index));
        seen += object.description()->toStdString();
        stop = index == 2;
      });
  EXPECT_EQ(seen, "012");
}

TEST(NSOrderedSet, AChangeDuringAWalkIsNoticed) {
  Ref<NSMutableOrderedSet> set = distinctNumbers(3);
  EXPECT_EQ(raisedName([&] {
              set->enumerateObjectsUsingBlock(
                  [&](const Value&, NSUInteger, bool&) { set->addObject(9); });
            }),
            NSGenericException);
  EXPECT_EQ(raisedName([&] {
              for (const Value& object : *set) set->removeObject(object);
            }),
            NSGenericException);
  for (const Value& object : *set) {
    set->removeAllObjects();
    EXPECT_EQ(object, Value(1));
    break;
  }
}

TEST(NSOrderedSet, ReadingDuringAWalkDoesNotDisturbIt) {
  Ref<NSMutableOrderedSet> set = distinctNumbers(30);
  for (NSInteger i = 1; i < 30; i += 2) set->removeObject(i);
  std::string seen;
  for (const Value& object : *set) {
    EXPECT_EQ(set->objectAtIndex(set->indexOfObject(object)), object);
    EXPECT_EQ(set->array()->count(), 15u);
    seen += object.description()->toStdString();
  }
  EXPECT_EQ(seen, "0246810121416182022242628");
}

TEST(NSOrderedSet, ASetOutlivesItsOwnEnumeration) {
  const LiveObjects alive;
  Ref<NSOrderedSet> set =
      NSOrderedSet::orderedSetWithObjects(Reentrant::numbered(1), Reentrant::numbered(2));
  std::string seen;
  set->enumerateObjectsUsingBlock([&](const Value& object, NSUInteger, bool&) {
    set = nullptr;
    seen += object.description()->toStdString();
  });
  EXPECT_EQ(seen, "#1#2");
  EXPECT_EQ(alive.count(), 0);
}

TEST(NSOrderedSet, CopiesAreImmutableAndIndependent) {
  Ref<NSMutableOrderedSet> set = distinctNumbers(20);
  for (NSInteger i = 1; i < 19; ++i) set->removeObject(i);
  const Value copy = set->copy();
  set->addObject(7);
  EXPECT_EQ(listed(as<NSOrderedSet>(copy)), "0 19");
  EXPECT_EQ(as<NSOrderedSet>(copy)->objectAtIndex(1), Value(19));
  EXPECT_FALSE(isKindOf<NSMutableOrderedSet>(copy));
  EXPECT_TRUE(copy.copy().isIdentical(copy));
  const Value changed = as<NSOrderedSet>(copy)->mutableCopy();
  as<NSMutableOrderedSet>(changed)->addObject(9);
  EXPECT_EQ(as<NSOrderedSet>(copy)->count(), 2u);
}

TEST(NSOrderedSet, ClassesHaveTheNamesThatLogsShow) {
  EXPECT_EQ(NSOrderedSet::orderedSet()->class_().name(), "__NSOrderedSetI");
  EXPECT_EQ(distinctNumbers(1)->class_().name(), "__NSOrderedSetM");
  EXPECT_TRUE(isKindOf<NSMutableOrderedSet>(Value(NSMutableOrderedSet::classObject.newInstance())));
}

TEST(NSOrderedSet, TheRuntimeFindsItsOperations) {
  Ref<NSMutableOrderedSet> set = distinctNumbers(2);
  performSelector(Value(set), "addObject:", "new");
  EXPECT_EQ(performSelector(Value(set), "objectAtIndex:", 2), Value("new"));
  EXPECT_EQ(performSelector(Value(set), "count"), Value(3));
}

TEST(NSOrderedSet, AKeyIsReadOfEveryMemberWithoutNullAndTwins) {
  Ref<NSOrderedSet> tags =
      NSOrderedSet::orderedSetWithObjects(OrderedTag::named("b"), OrderedTag::named(nullptr),
                                          OrderedTag::named("a"), OrderedTag::named("b"));
  const Value labels = tags->valueForKey("label");
  EXPECT_EQ(listed(as<NSOrderedSet>(labels)), "b a");
  EXPECT_EQ(tags->valueForKey("@count"), Value(4));
  tags->setValueForKey("c", "label");
  EXPECT_EQ(listed(as<NSOrderedSet>(tags->valueForKey("label"))), "c");
  EXPECT_EQ(raisedName([&] { tags->valueForKey("age"); }), NSUndefinedKeyException);
}

}  // namespace
}  // namespace JNFoundation
