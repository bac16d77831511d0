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

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSIndexSet.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation {
namespace {

using testing::greatest;
using testing::listed;
using testing::LiveObjects;
using testing::notFound;
using testing::raisedBy;
using testing::raisedName;
using testing::Randomness;
using testing::Reentrant;

Ref<NSMutableArray> numbers(NSInteger count) {
  Ref<NSMutableArray> array = NSMutableArray::array();
  for (NSInteger i = 0; i < count; ++i) array->addObject(i);
  return array;
}

NSComparisonResult byNumber(const Value& left, const Value& right) { return left.compare(right); }

/// The squares, made when they are read.
class Squares : public Subclass<Squares, NSArray> {
 public:
  explicit Squares(NSUInteger count) : Subclass(Representation::Foreign), _count(count) {}

 protected:
  NSUInteger foreignCount() const override { return _count; }
  Value foreignObjectAtIndex(NSUInteger index) const override { return index * index; }

 private:
  NSUInteger _count;
};

class ArrayMember : public Subclass<ArrayMember, NSObject> {
 public:
  static Ref<ArrayMember> named(const Ref<NSString>& name) {
    Ref<ArrayMember> made = makeObject<ArrayMember>();
    made->_name = name;
    return made;
  }
  Ref<NSString> name() const { return _name; }
  void setName(const Ref<NSString>& name) { _name = name; }

 private:
  Ref<NSString> _name;
};
const ClassDeclaration<ArrayMember> declarationOfArrayMember =
    ClassDeclaration<ArrayMember>().property("name", &ArrayMember::name, &ArrayMember::setName);

TEST(NSArray, ListsEndAtTheFirstNull) {
  EXPECT_EQ(listed(NSArray::arrayWithObjects(1, "two", nullptr, 3)), "1 two");
  EXPECT_EQ(NSArray::arrayWithObjects()->count(), 0u);
  EXPECT_EQ(NSArray::arrayWithObjects(nullptr, 1)->count(), 0u);
}

TEST(NSArray, NullIsRefusedByName) {
  EXPECT_EQ(raisedBy([] {
              NSArray::arrayWithValues({1, nullptr});
            }),
            "NSInvalidArgumentException: *** -[__NSPlaceholderArray initWithObjects:count:]: "
            "attempt to insert nil object from objects[1]");
  EXPECT_EQ(raisedName([] { NSArray::arrayWithObject(nullptr); }), NSInvalidArgumentException);
  EXPECT_EQ(raisedName([] { NSMutableArray::arrayWithValues({nullptr}); }),
            NSInvalidArgumentException);
  EXPECT_EQ(raisedName([] { NSArray::array()->arrayByAddingObject(nullptr); }),
            NSInvalidArgumentException);
}

TEST(NSArray, ANullArrayCountsAsEmpty) {
  EXPECT_EQ(NSArray::arrayWithArray(nullptr)->count(), 0u);
  EXPECT_EQ(NSMutableArray::arrayWithArray(nullptr)->count(), 0u);
  EXPECT_EQ(listed(numbers(2)->arrayByAddingObjectsFromArray(nullptr)), "0 1");
  Ref<NSMutableArray> array = numbers(2);
  array->addObjectsFromArray(nullptr);
  EXPECT_EQ(listed(array), "0 1");
  array->setArray(nullptr);
  EXPECT_EQ(array->count(), 0u);
}

TEST(NSArray, AnIndexPastTheEndIsRefusedInWords) {
  Ref<NSArray> three = NSArray::arrayWithObjects(1, 2, 3);
  EXPECT_EQ(raisedBy([&] { three->objectAtIndex(3); }),
            "NSRangeException: *** -[__NSArrayI objectAtIndex:]: index 3 beyond bounds [0 .. 2]");
  EXPECT_EQ(raisedBy([] { NSArray::array()->objectAtIndex(0); }),
            "NSRangeException: *** -[__NSArrayI objectAtIndex:]: index 0 beyond bounds for empty "
            "array");
  EXPECT_EQ(raisedBy([] { numbers(1)->objectAtIndex(NSNotFound); }),
            "NSRangeException: *** -[__NSArrayM objectAtIndex:]: index " +
                std::to_string(NSNotFound) + " beyond bounds [0 .. 0]");
  EXPECT_EQ(raisedName([&] { (*three)[greatest]; }), NSRangeException);
}

TEST(NSArray, TheEndsOfAnEmptyArrayAreNull) {
  EXPECT_TRUE(NSArray::array()->firstObject().isNull());
  EXPECT_TRUE(NSArray::array()->lastObject().isNull());
  EXPECT_EQ(numbers(3)->firstObject(), Value(0));
  EXPECT_EQ(numbers(3)->lastObject(), Value(2));
}

TEST(NSArray, SearchesByEqualityAndByIdentity) {
  Ref<NSArray> array = NSArray::arrayWithObjects(1, "a", 2.0, "a", NSNull::null());
  EXPECT_EQ(array->indexOfObject("a"), 1u);
  EXPECT_EQ(array->indexOfObject(2), 2u);
  EXPECT_EQ(array->indexOfObject(true), 0u);
  EXPECT_EQ(array->indexOfObject(NSNull::null()), 4u);
  EXPECT_EQ(array->indexOfObject("b"), notFound);
  EXPECT_EQ(array->indexOfObject(nullptr), notFound);
  EXPECT_FALSE(array->containsObject(nullptr));
  EXPECT_EQ(array->indexOfObjectIdenticalTo(array->objectAtIndex(3)), 3u);
  EXPECT_EQ(array->indexOfObjectIdenticalTo("a"), notFound);
  EXPECT_EQ(array->indexOfObjectIdenticalTo(nullptr), notFound);
}

TEST(NSArray, ARangeIsCutOutOrRefused) {
  Ref<NSArray> array = numbers(5);
  EXPECT_EQ(listed(array->subarrayWithRange({1, 3})), "1 2 3");
  EXPECT_EQ(listed(array->subarrayWithRange({5, 0})), "");
  EXPECT_EQ(raisedBy([&] {
              array->subarrayWithRange({3, 3});
            }),
            "NSRangeException: *** -[__NSArrayM subarrayWithRange:]: range {3, 3} extends beyond "
            "bounds [0 .. 4]");
  EXPECT_EQ(raisedBy([] {
              NSArray::array()->subarrayWithRange({0, 1});
            }),
            "NSRangeException: *** -[__NSArrayI subarrayWithRange:]: range {0, 1} extends beyond "
            "bounds for empty array");
}

TEST(NSArray, ARangeWhoseEndOverflowsIsRefused) {
  for (const NSRange range : {NSRange{1, greatest}, NSRange{greatest, 1}, NSRange{6, 0},
                              NSRange{greatest, greatest}, NSRange{notFound, 0}}) {
    Ref<NSMutableArray> array = numbers(5);
    EXPECT_EQ(raisedName([&] { array->subarrayWithRange(range); }), NSRangeException);
    EXPECT_EQ(raisedName([&] { array->removeObjectsInRange(range); }), NSRangeException);
    EXPECT_EQ(array->count(), 5u);
  }
}

TEST(NSArray, DerivedArraysLeaveTheReceiverAlone) {
  Ref<NSMutableArray> array = numbers(3);
  EXPECT_EQ(listed(array->arrayByAddingObject(7)), "0 1 2 7");
  EXPECT_EQ(listed(array->arrayByAddingObjectsFromArray(array)), "0 1 2 0 1 2");
  EXPECT_EQ(listed(array->reversedArray()), "2 1 0");
  EXPECT_EQ(listed(array), "0 1 2");
}

TEST(NSArray, ObjectsAreTakenAtIndexesInOrder) {
  Ref<NSMutableIndexSet> indexes = NSMutableIndexSet::indexSetWithIndex(3);
  indexes->addIndex(0);
  EXPECT_EQ(listed(numbers(5)->objectsAtIndexes(indexes)), "0 3");
  EXPECT_EQ(numbers(5)->objectsAtIndexes(nullptr)->count(), 0u);
  EXPECT_EQ(raisedBy([&] { numbers(3)->objectsAtIndexes(indexes); }),
            "NSRangeException: *** -[__NSArrayM objectsAtIndexes:]: index 3 beyond bounds "
            "[0 .. 2]");
}

TEST(NSArray, SortingIsStable) {
  Ref<NSMutableArray> words = NSMutableArray::array();
  for (const char* word : {"pear", "fig", "kiwi", "plum", "nut", "date", "apple"}) {
    words->addObject(word);
  }
  const auto byLength = [](const Value& left, const Value& right) {
    return Value(as<NSString>(left)->length()).compare(as<NSString>(right)->length());
  };
  EXPECT_EQ(listed(words->sortedArrayUsingComparator(byLength)),
            "fig nut pear kiwi plum date apple");
  EXPECT_EQ(words->firstObject(), Value("pear"));
  words->sortUsingComparator(byLength);
  EXPECT_EQ(words->firstObject(), Value("fig"));
}

TEST(NSArray, SortingAgreesWithTheStandardLibrary) {
  Randomness random;
  JN_TRACE_SEED(random);
  for (int run = 0; run < 200; ++run) {
    std::vector<Value> values(random.below(70));
    for (Value& value : values) value = static_cast<NSInteger>(random.below(20) * 100);
    for (std::size_t i = 0; i < values.size(); ++i) {
      values[i] = values[i].integerValue() + static_cast<NSInteger>(i);
    }
    const auto rank = [](const Value& value) { return value.integerValue() / 100; };
    std::vector<Value> expected = values;
    std::stable_sort(expected.begin(), expected.end(), [&](const Value& left, const Value& right) {
      return rank(left) < rank(right);
    });
    Ref<NSArray> sorted = NSArray::arrayWithValues(values)->sortedArrayUsingComparator(
        [&](const Value& left, const Value& right) {
          return Value(rank(left)).compare(rank(right));
        });
    ASSERT_EQ(*sorted->contiguousElements(), expected);
  }
}

TEST(NSArray, AComparatorThatContradictsItselfLosesNothing) {
  Randomness random;
  JN_TRACE_SEED(random);
  for (int run = 0; run < 100; ++run) {
    Ref<NSMutableArray> array = numbers(static_cast<NSInteger>(random.below(100)));
    const NSUInteger count = array->count();
    array->sortUsingComparator([&](const Value&, const Value&) {
      return static_cast<NSComparisonResult>(random.between(-1, 1));
    });
    ASSERT_EQ(array->count(), count);
    for (NSUInteger i = 0; i < count; ++i) ASSERT_TRUE(array->containsObject(i));
  }
}

TEST(NSArray, AComparatorThatRaisesChangesNothing) {
  Ref<NSMutableArray> array = NSMutableArray::arrayWithValues({3, 1, 2, "x", 0});
  EXPECT_EQ(raisedName([&] { array->sortUsingComparator(byNumber); }), NSInvalidArgumentException);
  EXPECT_EQ(listed(array), "3 1 2 x 0");
}

TEST(NSArray, ASortNoticesThatItsArrayWasChanged) {
  Ref<NSMutableArray> array = numbers(10);
  EXPECT_EQ(raisedName([&] {
              array->sortUsingComparator([&](const Value& left, const Value& right) {
                array->removeAllObjects();
                return left.compare(right);
              });
            }),
            NSGenericException);
  EXPECT_EQ(array->count(), 0u);
}

TEST(NSArray, DescriptionsAreJoined) {
  EXPECT_EQ(
      NSArray::arrayWithObjects("a", 2, NSNull::null())->componentsJoinedByString(", ")->utf8(),
      "a, 2, <null>");
  EXPECT_EQ(NSArray::array()->componentsJoinedByString(",")->length(), 0u);
}

TEST(NSArray, EnumerationStopsWhenToldTo) {
  std::string seen;
  numbers(10)->enumerateObjectsUsingBlock([&](const Value& object, NSUInteger index, bool& stop) {
    seen += object.description()->toStdString();
    stop = index == 3;
  });
  EXPECT_EQ(seen, "0123");
}

TEST(NSArray, AChangeDuringAWalkIsNoticed) {
  Ref<NSMutableArray> array = numbers(3);
  NSUInteger seen = 0;
  const std::string raised = raisedBy([&] {
    array->enumerateObjectsUsingBlock([&](const Value&, NSUInteger, bool&) {
      ++seen;
      array->addObject(9);
    });
  });
  EXPECT_EQ(raised,
            "NSGenericException: " +
                NSString::stringWithFormat("*** Collection <__NSArrayM: %p> was mutated while "
                                           "being enumerated.",
                                           static_cast<const void*>(array.get()))
                    ->toStdString());
  EXPECT_EQ(seen, 1u);
  EXPECT_EQ(raisedName([&] {
              for (const Value& value : *array) array->replaceObjectAtIndexWithObject(0, value);
            }),
            NSGenericException);
}

TEST(NSArray, AWalkThatIsLeftAfterAChangeIsFine) {
  Ref<NSMutableArray> array = numbers(3);
  for (const Value& value : *array) {
    array->removeAllObjects();
    EXPECT_EQ(value, Value(0));
    break;
  }
  array = numbers(3);
  array->enumerateObjectsUsingBlock([&](const Value& value, NSUInteger, bool& stop) {
    array->removeAllObjects();
    EXPECT_EQ(value, Value(0));
    stop = true;
  });
  EXPECT_EQ(array->count(), 0u);
}

TEST(NSArray, AnArrayOutlivesItsOwnEnumeration) {
  const LiveObjects alive;
  Ref<NSArray> array = NSArray::arrayWithObjects(Reentrant::numbered(1), Reentrant::numbered(2));
  std::string seen;
  array->enumerateObjectsUsingBlock([&](const Value& object, NSUInteger, bool&) {
    array = nullptr;
    seen += object.description()->toStdString();
  });
  EXPECT_EQ(seen, "#1#2");
  EXPECT_EQ(alive.count(), 0);
}

TEST(NSArray, CopiesAreImmutableAndIndependent) {
  Ref<NSMutableArray> array = numbers(2);
  const Value copy = array->copy();
  array->addObject(2);
  EXPECT_EQ(listed(as<NSArray>(copy)), "0 1");
  EXPECT_FALSE(isKindOf<NSMutableArray>(copy));
  EXPECT_TRUE(copy.copy().isIdentical(copy));

  const Value mutableCopy = as<NSArray>(copy)->mutableCopy();
  as<NSMutableArray>(mutableCopy)->addObject(5);
  EXPECT_EQ(listed(as<NSArray>(mutableCopy)), "0 1 5");
  EXPECT_EQ(listed(as<NSArray>(copy)), "0 1");
}

TEST(NSArray, ClassesHaveTheNamesThatLogsShow) {
  EXPECT_EQ(NSArray::array()->class_().name(), "__NSArrayI");
  EXPECT_EQ(numbers(1)->class_().name(), "__NSArrayM");
  EXPECT_TRUE(isKindOf<NSArray>(Value(numbers(1))));
  EXPECT_EQ(NSClassFromString("NSMutableArray"), &NSMutableArray::classObject);
  EXPECT_TRUE(isKindOf<NSMutableArray>(Value(NSMutableArray::classObject.newInstance())));
}

TEST(NSArray, TheRuntimeFindsItsOperations) {
  Ref<NSMutableArray> array = numbers(2);
  EXPECT_EQ(performSelector(Value(array), "count"), Value(2));
  EXPECT_EQ(performSelector(Value(array), "objectAtIndex:", 1), Value(1));
  performSelector(Value(array), "addObject:", "new");
  EXPECT_EQ(performSelector(Value(array), "lastObject"), Value("new"));
}

TEST(NSArray, AKeyIsReadOfEveryElementWithTheNullMarkerForNull) {
  Ref<NSArray> people = NSArray::arrayWithObjects(
      ArrayMember::named("Ann"), ArrayMember::named(nullptr), ArrayMember::named("Ben"));
  EXPECT_EQ(listed(as<NSArray>(people->valueForKey("name"))), "Ann <null> Ben");
  EXPECT_EQ(as<NSArray>(NSArray::array()->valueForKey("name"))->count(), 0u);
  EXPECT_EQ(raisedName([&] { people->valueForKey("age"); }), NSUndefinedKeyException);
}

TEST(NSArray, AKeyReachesThroughNestedArraysAndNumbers) {
  Ref<NSArray> nested =
      NSArray::arrayWithObject(NSArray::arrayWithObject(ArrayMember::named("Ann")));
  const Value names = nested->valueForKey("name");
  EXPECT_EQ(as<NSArray>(as<NSArray>(names)->objectAtIndex(0))->firstObject(), Value("Ann"));
  EXPECT_EQ(listed(as<NSArray>(NSArray::arrayWithObjects(1, 2.5)->valueForKey("stringValue"))),
            "1 2.5");
  EXPECT_EQ(raisedName([] { NSArray::arrayWithObjects(1)->valueForKey("name"); }),
            NSUndefinedKeyException);
  EXPECT_EQ(raisedName([] { NSArray::arrayWithObjects(1)->valueForKey(nullptr); }),
            NSUndefinedKeyException);
}

TEST(NSArray, AKeyBehindAnAtSignIsTheArraysOwn) {
  EXPECT_EQ(numbers(4)->valueForKey("@count"), Value(4));
  EXPECT_EQ(numbers(4)->valueForKey("@lastObject"), Value(3));
  EXPECT_EQ(raisedName([] { numbers(4)->valueForKey("@nonsense"); }), NSUndefinedKeyException);
  EXPECT_EQ(raisedName([] { numbers(4)->valueForKey("@"); }), NSUndefinedKeyException);
}

TEST(NSArray, AKeyIsSetOnEveryElement) {
  Ref<NSArray> people =
      NSArray::arrayWithObjects(ArrayMember::named("Ann"), ArrayMember::named("Ben"));
  people->setValueForKey("Cy", "name");
  EXPECT_EQ(listed(as<NSArray>(people->valueForKey("name"))), "Cy Cy");
  EXPECT_EQ(raisedName([] { NSArray::arrayWithObjects(1)->setValueForKey(2, "name"); }),
            NSUndefinedKeyException);
}

TEST(NSArray, AKeyThroughEndlessNestingIsRefused) {
  Ref<NSMutableArray> own = NSMutableArray::array();
  own->addObject(own);
  EXPECT_EQ(raisedName([&] { own->valueForKey("name"); }), NSGenericException);
  EXPECT_EQ(raisedName([&] { own->setValueForKey(1, "name"); }), NSGenericException);
  EXPECT_EQ(numbers(1)->valueForKey("@count"), Value(1));
  own->removeAllObjects();
}

TEST(NSArray, AnotherRepresentationBehavesAlike) {
  Ref<Squares> squares = makeObject<Squares>(5);
  EXPECT_EQ(listed(squares), "0 1 4 9 16");
  EXPECT_EQ(squares->contiguousElements(), nullptr);
  EXPECT_EQ(squares->indexOfObject(9), 3u);
  EXPECT_EQ(squares->indexOfObjectIdenticalTo(16), 4u);
  EXPECT_EQ(listed(squares->subarrayWithRange({1, 2})), "1 4");
  EXPECT_EQ(listed(squares->reversedArray()), "16 9 4 1 0");
  EXPECT_EQ(squares->lastObject(), Value(16));
  EXPECT_TRUE(squares->isEqual(NSArray::arrayWithObjects(0, 1, 4, 9, 16)));
  EXPECT_TRUE(NSArray::arrayWithObjects(0, 1, 4, 9, 16)->isEqual(Value(squares)));
  EXPECT_EQ(raisedBy([&] { squares->objectAtIndex(5); }),
            "NSRangeException: *** -[Squares objectAtIndex:]: index 5 beyond bounds [0 .. 4]");
  EXPECT_TRUE(isKindOf<NSMutableArray>(squares->mutableCopy()));
  EXPECT_EQ(listed(as<NSArray>(squares->mutableCopy())), "0 1 4 9 16");
}

TEST(NSArrayDeathTest, ANullBlockStopsTheProgram) {
  EXPECT_DEATH(numbers(1)->enumerateObjectsUsingBlock(nullptr), "enumerateObjectsUsingBlock:");
  EXPECT_DEATH(numbers(1)->sortUsingComparator(nullptr), "comparator");
}

}  // namespace
}  // namespace JNFoundation
