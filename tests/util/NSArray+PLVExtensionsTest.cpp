#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/value/Limits.h"
#include "platform/value/LiveObjects.h"
#include "platform/value/Raising.h"

#include <JNFoundation/platform/query/KeyValueCoding.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/util/NSArray+PLVExtensions.h>

namespace JNFoundation {
namespace {

using testing::raisedBy;
using testing::raisedName;

TEST(FirstObject, IsElementZero) {
  EXPECT_EQ(plv_firstObject(NSArray::arrayWithObjects("a", "b")), "a");
  EXPECT_EQ(plv_firstObject(NSMutableArray::arrayWithArray(NSArray::arrayWithObject(7))), Value(7));
}

TEST(FirstObject, IsNothingOfAnEmptyArrayAndOfNull) {
  EXPECT_TRUE(plv_firstObject(NSArray::array()).isNull());
  EXPECT_TRUE(plv_firstObject(NSMutableArray::array()).isNull());
  EXPECT_TRUE(plv_firstObject(nullptr).isNull());
}

TEST(FirstObject, IsTheElementItselfTheNullMarkerIncluded) {
  const Value element(NSMutableArray::array());
  EXPECT_TRUE(plv_firstObject(NSArray::arrayWithObject(element)).isIdentical(element));
  EXPECT_TRUE(plv_firstObject(NSArray::arrayWithObject(NSNull::null())).isNSNull());
}

TEST(FirstObject, FollowsTheChangesOfAMutableArray) {
  const auto array = NSMutableArray::arrayWithArray(NSArray::arrayWithObjects("a", "b"));
  array->removeObjectAtIndex(0);
  EXPECT_EQ(plv_firstObject(array), "b");
}

TEST(ObjectAtAnyIndex, IsTheElementWithinTheArray) {
  const auto array = NSArray::arrayWithObjects("a", "b", NSNull::null());
  EXPECT_EQ(jn_safelyGetObjectAtIndex(array, 0), "a");
  EXPECT_EQ(jn_safelyGetObjectAtIndex(array, 1), "b");
  EXPECT_TRUE(jn_safelyGetObjectAtIndex(array, 2).isNSNull());
}

TEST(ObjectAtAnyIndex, IsNothingAtAndPastTheEnd) {
  const auto array = NSArray::arrayWithObjects("a", "b");
  EXPECT_TRUE(jn_safelyGetObjectAtIndex(array, 2).isNull());
  EXPECT_TRUE(jn_safelyGetObjectAtIndex(array, 3).isNull());
  EXPECT_TRUE(jn_safelyGetObjectAtIndex(array, testing::greatest).isNull());
  EXPECT_TRUE(jn_safelyGetObjectAtIndex(array, static_cast<NSUInteger>(-1)).isNull());
  EXPECT_TRUE(jn_safelyGetObjectAtIndex(array, NSNotFound).isNull());
}

TEST(ObjectAtAnyIndex, IsNothingOfAnEmptyArrayAndOfNull) {
  EXPECT_TRUE(jn_safelyGetObjectAtIndex(NSArray::array(), 0).isNull());
  EXPECT_TRUE(jn_safelyGetObjectAtIndex(nullptr, 0).isNull());
  EXPECT_TRUE(jn_safelyGetObjectAtIndex(nullptr, testing::greatest).isNull());
}

TEST(ObjectAtAnyIndex, FollowsTheChangesOfAMutableArray) {
  const auto array = NSMutableArray::arrayWithArray(NSArray::arrayWithObject("a"));
  array->removeAllObjects();
  EXPECT_TRUE(jn_safelyGetObjectAtIndex(array, 0).isNull());
  array->addObject("b");
  EXPECT_EQ(jn_safelyGetObjectAtIndex(array, 0), "b");
}

// Predicates

Ref<NSDictionary> person(const char* name, NSInteger age) {
  return NSDictionary::dictionaryWithEntries({{"name", name}, {"age", age}});
}
Ref<NSArray> people() {
  return NSArray::arrayWithObjects(person("Ann", 30), person("Ben", 12), person("Cleo", 45));
}
std::string namesOf(const Ref<NSArray>& people) {
  std::string names;
  for (const Value& one : people) {
    names += valueForKey(one, "name").description()->toStdString() + " ";
  }
  return names;
}

TEST(Matching, AnyIsTrueWhereOneElementMatches) {
  EXPECT_TRUE(plv_hasAnyMatching(people(), "age > %d", 40));
  EXPECT_FALSE(plv_hasAnyMatching(people(), "age > %d", 45));
  EXPECT_TRUE(plv_hasAnyMatching(people(), "name BEGINSWITH 'B'")) << "without arguments";
  EXPECT_TRUE(plv_hasAnyMatching(people(), "%K == %@ AND age == %d", "name", "Ann", 30));
}

TEST(Matching, AllIsFalseWhereOneElementDoesNot) {
  EXPECT_TRUE(plv_hasAllMatching(people(), "age >= %d", 12));
  EXPECT_FALSE(plv_hasAllMatching(people(), "age >= %d", 13));
}

TEST(Matching, OfNoElementsAllMatchAndNoneDoes) {
  EXPECT_TRUE(plv_hasAllMatching(NSArray::array(), "age > 1"));
  EXPECT_FALSE(plv_hasAnyMatching(NSArray::array(), "age > 1"));
  EXPECT_TRUE(plv_firstObjectMatching(NSArray::array(), "age > 1").isNull());
  EXPECT_EQ(plv_filteredArrayMatching(NSArray::array(), "age > 1")->count(), 0u);
}

TEST(Matching, TheFirstIsTheOneWithTheLowestIndex) {
  EXPECT_EQ(valueForKey(plv_firstObjectMatching(people(), "age > %d", 20), "name"), "Ann");
  EXPECT_TRUE(plv_firstObjectMatching(people(), "age > %d", 99).isNull());
}

TEST(Matching, FilteredElementsKeepTheirOrder) {
  EXPECT_EQ(namesOf(plv_filteredArrayMatching(people(), "age > %d", 20)), "Ann Cleo ");
  EXPECT_EQ(plv_filteredArrayMatching(people(), "age > %d", 99)->count(), 0u);
}

TEST(Matching, NothingBehindTheAnswerIsLookedAt) {
  // Reading a key of a text that has no such key would raise.
  const auto array = NSArray::arrayWithObjects(person("Ann", 30), "no person");
  EXPECT_TRUE(plv_hasAnyMatching(array, "age == 30"));
  EXPECT_FALSE(plv_hasAllMatching(array, "age == 31"));
  EXPECT_EQ(plv_firstObjectMatching(array, "age == 30"), array->objectAtIndex(0));
  EXPECT_EQ(raisedName([&] { plv_hasAnyMatching(array, "age == 31"); }), "NSUnknownKeyException");
  EXPECT_EQ(raisedName([&] { plv_filteredArrayMatching(array, "age == 30"); }),
            "NSUnknownKeyException");
}

TEST(Matching, ABadFormatRaisesWhateverTheArray) {
  for (const auto& array : {NSArray::array(), people()}) {
    const auto reason = raisedBy([&] { plv_hasAnyMatching(array, "age >>> 1"); });
    EXPECT_EQ(
        reason.find("NSInvalidArgumentException: Unable to parse the format string \"age >>> 1\""),
        0u)
        << reason;
    EXPECT_EQ(raisedName([&] { plv_hasAllMatching(array, "("); }), "NSInvalidArgumentException");
    EXPECT_EQ(raisedName([&] { plv_firstObjectMatching(array, ""); }),
              "NSInvalidArgumentException");
    EXPECT_EQ(raisedName([&] { plv_filteredArrayMatching(array, "age == %d"); }),
              "NSInvalidArgumentException")
        << "an argument is missing";
    EXPECT_EQ(raisedName([&] { plv_hasAnyMatching(array, nullptr); }),
              "NSInvalidArgumentException");
  }
}

TEST(Matching, NullAnswersAsAMessageToNullAndReadsNoFormat) {
  const Ref<NSArray> null;
  EXPECT_FALSE(plv_hasAnyMatching(null, "("));
  EXPECT_FALSE(plv_hasAllMatching(null, "("));
  EXPECT_TRUE(plv_firstObjectMatching(null, "(").isNull());
  EXPECT_FALSE(plv_filteredArrayMatching(null, "("));
}

// Blocks

TEST(SingleObject, IsTheLastOneOfSeveral) {
  int asked = 0;
  const Value found = plv_singleObjectWhere(people(), [&](const Value& one) {
    ++asked;
    return valueForKey(one, "age").integerValue() < 40;
  });
  EXPECT_EQ(valueForKey(found, "name"), "Ben");
  EXPECT_EQ(asked, 3) << "the walk goes to the end";
}

TEST(SingleObject, IsNothingWithoutAMatchOrWithoutABlock) {
  EXPECT_TRUE(plv_singleObjectWhere(people(), [](const Value&) { return false; }).isNull());
  EXPECT_TRUE(plv_singleObjectWhere(people(), nullptr).isNull());
  EXPECT_TRUE(plv_singleObjectWhere(nullptr, [](const Value&) { return true; }).isNull());
}

TEST(FilteredByBlock, HasTheMatchingElementsInOrder) {
  const auto big = plv_filteredArrayUsingBlock(people(), [](const Value& one, bool&) {
    return valueForKey(one, "age").integerValue() > 20;
  });
  EXPECT_EQ(namesOf(big), "Ann Cleo ");
  big->addObject("more");
  EXPECT_EQ(big->count(), 3u) << "it can be changed";
}

TEST(FilteredByBlock, TheElementAtWhichItStopsIsStillAddedWhereItMatches) {
  const auto numbers = NSArray::arrayWithObjects(1, 2, 3, 4);
  for (const bool matches : {true, false}) {
    const auto found = plv_filteredArrayUsingBlock(numbers, [&](const Value& number, bool& stop) {
      EXPECT_FALSE(stop);
      stop = number == Value(2);
      return !stop || matches;
    });
    EXPECT_EQ(Value(found),
              Value(matches ? NSArray::arrayWithObjects(1, 2) : NSArray::arrayWithObject(1)));
  }
}

TEST(FilteredByBlock, ANullBlockFindsNothing) {
  const auto found = plv_filteredArrayUsingBlock(people(), nullptr);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->count(), 0u);
  found->addObject(1);
  EXPECT_FALSE(plv_filteredArrayUsingBlock(nullptr, nullptr));
}

TEST(Mapped, HasTheResultsInOrderWithoutTheNulls) {
  const auto names = plv_mapObjectsUsingBlock(people(), [](const Value& one, bool&) {
    return valueForKey(one, "age").integerValue() > 20 ? valueForKey(one, "name") : Value();
  });
  EXPECT_EQ(Value(names), Value(NSArray::arrayWithObjects("Ann", "Cleo")));
}

TEST(Mapped, OfNullsOnlyIsAnEmptyArrayThatCanBeChanged) {
  const auto nothing =
      plv_mapObjectsUsingBlock(people(), [](const Value&, bool&) { return nullptr; });
  ASSERT_TRUE(nothing);
  EXPECT_EQ(nothing->count(), 0u);
  nothing->addObject(1);
  EXPECT_EQ(nothing->count(), 1u);
}

TEST(Mapped, KeepsTheNullMarkerAndTheResultAtWhichItStops) {
  const auto mapped = plv_mapObjectsUsingBlock(people(), [](const Value& one, bool& stop) -> Value {
    stop = valueForKey(one, "name") == "Ben";
    if (stop) return "last";
    return NSNull::null();
  });
  EXPECT_EQ(Value(mapped), Value(NSArray::arrayWithObjects(NSNull::null(), "last")));
}

TEST(Reduced, IsWhatTheBlockGaveLast) {
  const Value sum = plv_reduceWithMemoUsingBlock(
      NSArray::arrayWithObjects(1, 2, 3), 10, [](const Value& memo, const Value& number, bool&) {
        return memo.integerValue() + number.integerValue();
      });
  EXPECT_EQ(sum, Value(16));
}

TEST(Reduced, GoesFromTheFrontAndEndsWhereItStops) {
  const Value text =
      plv_reduceWithMemoUsingBlock(NSArray::arrayWithObjects("a", "b", "c"), "",
                                   [](const Value& memo, const Value& letter, bool& stop) {
                                     stop = letter == "b";
                                     return NSString::stringWithFormat("%@%@", memo, letter);
                                   });
  EXPECT_EQ(text, "ab");
}

TEST(Reduced, OfNothingIsTheMemoItself) {
  const Value memo(NSMutableArray::array());
  const auto never = [](const Value&, const Value&, bool&) {
    ADD_FAILURE();
    return Value();
  };
  EXPECT_TRUE(plv_reduceWithMemoUsingBlock(NSArray::array(), memo, never).isIdentical(memo));
  EXPECT_TRUE(plv_reduceWithMemoUsingBlock(nullptr, memo, never).isNull());
}

TEST(Reduced, PassesNullOnAsTheMemo) {
  int nulls = 0;
  const Value last = plv_reduceWithMemoUsingBlock(NSArray::arrayWithObjects(1, 2), nullptr,
                                                  [&](const Value& memo, const Value&, bool&) {
                                                    if (memo.isNull()) ++nulls;
                                                    return nullptr;
                                                  });
  EXPECT_EQ(nulls, 2);
  EXPECT_TRUE(last.isNull());
}

// Indexes

TEST(Indexed, HasTheLastElementOfEachValueAndNoNulls) {
  const auto a = person("Ann", 30), b = person("Ann", 31);
  const auto nameless = NSDictionary::dictionaryWithObjectForKey(7, "age");
  const auto index =
      plv_indexByKeyPath(NSArray::arrayWithObjects(a, NSNull::null(), b, nameless), "name");
  EXPECT_EQ(index->count(), 1u);
  EXPECT_TRUE(index->objectForKey("Ann").isIdentical(b));
  index->removeAllObjects();
}

TEST(Indexed, KeysAreOfAnyKindAndEqualByValue) {
  const auto index = plv_indexByKeyPath(people(), "age");
  EXPECT_EQ(valueForKey(index->objectForKey(45.0), "name"), "Cleo");
  const auto marked = NSDictionary::dictionaryWithObjectForKey(NSNull::null(), "name");
  EXPECT_TRUE(plv_indexByKeyPath(NSArray::arrayWithObject(marked), "name")
                  ->objectForKey(NSNull::null())
                  .isIdentical(marked))
      << "the null marker is a value";
}

TEST(Indexed, FollowsPaths) {
  const auto nested = NSDictionary::dictionaryWithObjectForKey(person("Ann", 30), "owner");
  EXPECT_TRUE(plv_indexByKeyPath(NSArray::arrayWithObject(nested), "owner.name")
                  ->objectForKey("Ann")
                  .isIdentical(nested));
}

TEST(Indexed, OfNothingIsEmptyAndOfNullNull) {
  EXPECT_EQ(plv_indexByKeyPath(NSArray::array(), "name")->count(), 0u);
  EXPECT_EQ(plv_indexByKeyPath(NSArray::arrayWithObject(NSNull::null()), "name")->count(), 0u);
  EXPECT_FALSE(plv_indexByKeyPath(Ref<NSArray>(), "name"));
}

TEST(Indexed, RaisesWhatReadingTheKeyRaises) {
  EXPECT_EQ(raisedName([] { plv_indexByKeyPath(NSArray::arrayWithObject("a"), "owner"); }),
            "NSUnknownKeyException");
  EXPECT_EQ(raisedName([] { plv_indexByKeyPath(people(), nullptr); }),
            "NSInvalidArgumentException");
}

TEST(ByPreference, IsTheElementWithTheEarliestValueThatOccurs) {
  const auto find = [](const Ref<NSArray>& values) {
    return valueForKey(plv_firstObjectWithKeyPathPresentInSortedValues(people(), "name", values),
                       "age");
  };
  EXPECT_EQ(find(NSArray::arrayWithObjects("Cleo", "Ann")), Value(45)) << "the caller's order";
  EXPECT_EQ(find(NSArray::arrayWithObjects(NSNull::null(), "x", "Ben")), Value(12));
  EXPECT_TRUE(find(NSArray::arrayWithObjects("x", "y")).isNull());
  EXPECT_TRUE(find(NSArray::array()).isNull());
  EXPECT_TRUE(find(nullptr).isNull());
  EXPECT_TRUE(plv_firstObjectWithKeyPathPresentInSortedValues(nullptr, "name",
                                                              NSArray::arrayWithObject("Ann"))
                  .isNull());
}

TEST(ByPreference, OfElementsWithOneValueTheLastIsFound) {
  const auto a = person("Ann", 30), b = person("Ann", 31);
  EXPECT_TRUE(plv_firstObjectWithKeyPathPresentInSortedValues(
                  NSArray::arrayWithObjects(a, b), "name", NSArray::arrayWithObject("Ann"))
                  .isIdentical(b));
}

TEST(ByPreference, TheNullMarkerIsNeverLookedFor) {
  const auto marked = NSDictionary::dictionaryWithObjectForKey(NSNull::null(), "name");
  EXPECT_TRUE(
      plv_firstObjectWithKeyPathPresentInSortedValues(NSArray::arrayWithObject(marked), "name",
                                                      NSArray::arrayWithObject(NSNull::null()))
          .isNull());
}

TEST(Sorted, IsByTheValuesOfTheKey) {
  EXPECT_EQ(namesOf(plv_sortedArrayByKeyAscending(people(), "age", true)), "Ben Ann Cleo ");
  EXPECT_EQ(namesOf(plv_sortedArrayByKeyAscending(people(), "name", false)), "Cleo Ben Ann ");
  EXPECT_EQ(plv_sortedArrayByKeyAscending(NSArray::array(), "age", true)->count(), 0u);
  EXPECT_FALSE(plv_sortedArrayByKeyAscending(nullptr, "age", true));
}

// Pieces

std::vector<NSUInteger> lengths(NSUInteger count, NSUInteger length) {
  std::vector<Value> values;
  for (NSUInteger i = 0; i < count; ++i) values.emplace_back(i);
  std::vector<NSUInteger> found;
  NSUInteger next = 0;
  plv_enumerateSubarraysOfLengthUsingBlock(NSArray::arrayWithValues(std::move(values)), length,
                                           [&](const Ref<NSArray>& piece, bool& stop) {
                                             EXPECT_FALSE(stop);
                                             for (const Value& value : piece)
                                               EXPECT_EQ(value, Value(next++));
                                             found.push_back(piece->count());
                                           });
  EXPECT_EQ(next, count);
  return found;
}

TEST(Pieces, HaveTheLengthExceptTheLast) {
  EXPECT_EQ(lengths(7, 3), (std::vector<NSUInteger>{3, 3, 1}));
  EXPECT_EQ(lengths(6, 3), (std::vector<NSUInteger>{3, 3}));
  EXPECT_EQ(lengths(2, 3), std::vector<NSUInteger>{2});
  EXPECT_EQ(lengths(2, testing::greatest), std::vector<NSUInteger>{2});
}

TEST(Pieces, ALengthOfZeroIsOnePieceAndAnEmptyArrayNone) {
  EXPECT_EQ(lengths(7, 0), std::vector<NSUInteger>{7});
  EXPECT_EQ(lengths(0, 0), std::vector<NSUInteger>());
  EXPECT_EQ(lengths(0, 3), std::vector<NSUInteger>());
}

TEST(Pieces, EndWhereTheBlockStops) {
  int calls = 0;
  plv_enumerateSubarraysOfLengthUsingBlock(NSArray::arrayWithObjects(1, 2, 3), 1,
                                           [&](const Ref<NSArray>&, bool& stop) {
                                             ++calls;
                                             stop = true;
                                           });
  EXPECT_EQ(calls, 1);
}

// What a block may do to the array

TEST(WalkedArray, AChangeDuringAWalkIsNoticed) {
  const auto array = NSMutableArray::arrayWithArray(NSArray::arrayWithObjects(1, 2, 3));
  const auto change = [&] { array->addObject(4); };
  EXPECT_EQ(raisedName([&] {
              plv_mapObjectsUsingBlock(array, [&](const Value&, bool&) {
                change();
                return nullptr;
              });
            }),
            "NSGenericException");
  EXPECT_EQ(raisedName([&] {
              plv_filteredArrayUsingBlock(array, [&](const Value&, bool&) {
                change();
                return true;
              });
            }),
            "NSGenericException");
  EXPECT_EQ(raisedName([&] {
              plv_singleObjectWhere(array, [&](const Value&) {
                change();
                return true;
              });
            }),
            "NSGenericException");
  EXPECT_EQ(raisedName([&] {
              plv_reduceWithMemoUsingBlock(array, 0, [&](const Value& memo, const Value&, bool&) {
                change();
                return memo;
              });
            }),
            "NSGenericException");
  EXPECT_EQ(raisedName([&] {
              plv_enumerateSubarraysOfLengthUsingBlock(
                  array, 2, [&](const Ref<NSArray>&, bool&) { change(); });
            }),
            "NSGenericException");
}

TEST(WalkedArray, AWalkThatStopsMayHaveChangedTheArray) {
  const auto array = NSMutableArray::arrayWithArray(NSArray::arrayWithObjects(1, 2, 3));
  plv_enumerateSubarraysOfLengthUsingBlock(array, 2, [&](const Ref<NSArray>&, bool& stop) {
    array->removeAllObjects();
    stop = true;
  });
  array->addObject(1);
  plv_mapObjectsUsingBlock(array, [&](const Value&, bool& stop) {
    array->removeAllObjects();
    stop = true;
    return nullptr;
  });
  EXPECT_EQ(array->count(), 0u);
}

TEST(WalkedArray, ABlockMayReleaseTheArrayAndItself) {
  const testing::LiveObjects objects;
  {
    Ref<NSArray> array = people();
    Block<Value(const Value&, bool&)> block = [&](const Value& one, bool&) {
      array = nullptr;
      block = nullptr;
      return valueForKey(one, "name");
    };
    const auto names = plv_mapObjectsUsingBlock(array, block);
    EXPECT_EQ(names->count(), 3u);

    array = people();
    int calls = 0;
    plv_enumerateSubarraysOfLengthUsingBlock(array, 1, [&](const Ref<NSArray>& piece, bool&) {
      array = nullptr;
      calls += static_cast<int>(piece->count());
    });
    EXPECT_EQ(calls, 3);
  }
  EXPECT_EQ(objects.count(), 0);
}

TEST(WalkedArray, WhatABlockRaisesComesThrough) {
  EXPECT_EQ(raisedName([] {
              plv_mapObjectsUsingBlock(people(),
                                       [](const Value&, bool&) -> Value { raise("Own", "x"); });
            }),
            "Own");
  EXPECT_THROW(plv_singleObjectWhere(
                   people(), [](const Value&) -> bool { throw std::runtime_error("plain"); }),
               std::runtime_error);
}

TEST(WalkedArray, TheRuntimePerformsWhatTakesNoBlock) {
  const Value array(people());
  EXPECT_EQ(performSelector(array, "plv_firstObject"), Value(person("Ann", 30)));
  EXPECT_EQ(performSelector(array, "jn_safelyGetObjectAtIndex:", 9), Value());
  EXPECT_EQ(valueForKeyPath(performSelector(array, "plv_sortedArrayByKey:ascending:", "age", true),
                            "name"),
            Value(NSArray::arrayWithObjects("Ben", "Ann", "Cleo")));
  EXPECT_EQ(as<NSDictionary>(performSelector(array, "plv_indexByKeyPath:", "name"))->count(), 3u);
  EXPECT_EQ(performSelector(array, "plv_firstObjectWithKeyPath:presentInSortedValues:", "name",
                            NSArray::arrayWithObject("Ben")),
            Value(person("Ben", 12)));
}

TEST(WalkedArrayDeathTest, ANullBlockStopsTheProcessAtTheFirstElement) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(plv_mapObjectsUsingBlock(people(), nullptr),
               "plv_mapObjectsUsingBlock: the block must not be null");
  EXPECT_DEATH(plv_reduceWithMemoUsingBlock(people(), 0, nullptr),
               "plv_reduceWithMemoUsingBlock: the block must not be null");
  EXPECT_DEATH(plv_enumerateSubarraysOfLengthUsingBlock(people(), 2, nullptr),
               "plv_enumerateSubarraysOfLengthUsingBlock: the block must not be null");
}

TEST(WalkedArray, ANullBlockDoesNotMatterWhereThereIsNoElement) {
  EXPECT_EQ(plv_mapObjectsUsingBlock(NSArray::array(), nullptr)->count(), 0u);
  EXPECT_EQ(plv_reduceWithMemoUsingBlock(NSArray::array(), 7, nullptr), Value(7));
  plv_enumerateSubarraysOfLengthUsingBlock(NSArray::array(), 2, nullptr);
  EXPECT_FALSE(plv_mapObjectsUsingBlock(Ref<NSArray>(), nullptr));
  plv_enumerateSubarraysOfLengthUsingBlock(nullptr, 2, nullptr);
}

}  // namespace
}  // namespace JNFoundation
