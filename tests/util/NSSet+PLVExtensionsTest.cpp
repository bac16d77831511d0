#include <gtest/gtest.h>
#include <string>

#include "platform/value/LiveObjects.h"
#include "platform/value/Raising.h"

#include <JNFoundation/platform/query/KeyValueCoding.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/util/NSSet+PLVExtensions.h>

namespace JNFoundation {
namespace {

using testing::raisedName;

Ref<NSDictionary> setMember(const char* name, NSInteger age) {
  return NSDictionary::dictionaryWithEntries({{"name", name}, {"age", age}});
}
Ref<NSSet> setOfPeople() {
  return NSSet::setWithObjects(setMember("Ann", 30), setMember("Ben", 12), setMember("Cleo", 45));
}

TEST(SetMatching, AnyAndAllAskTheMembers) {
  EXPECT_TRUE(plv_hasAnyMatching(setOfPeople(), "age > %d", 40));
  EXPECT_FALSE(plv_hasAnyMatching(setOfPeople(), "age > %d", 45));
  EXPECT_TRUE(plv_hasAllMatching(setOfPeople(), "age >= %d", 12));
  EXPECT_FALSE(plv_hasAllMatching(setOfPeople(), "age >= %d", 13));
}

TEST(SetMatching, OfNoMembersAllMatchAndNoneDoes) {
  EXPECT_TRUE(plv_hasAllMatching(NSSet::set(), "age > 1"));
  EXPECT_FALSE(plv_hasAnyMatching(NSSet::set(), "age > 1"));
}

TEST(SetMatching, ABadFormatGoesUnnoticedOnlyWhereAnyIsAskedOfAnEmptySet) {
  EXPECT_FALSE(plv_hasAnyMatching(NSSet::set(), "age >>> 1"));
  EXPECT_FALSE(plv_hasAnyMatching(NSMutableSet::set(), nullptr));
  EXPECT_EQ(raisedName([] { plv_hasAnyMatching(setOfPeople(), "age >>> 1"); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { plv_hasAllMatching(NSSet::set(), "age >>> 1"); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { plv_anyObjectMatching(NSSet::set(), "("); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { plv_filteredSetMatching(NSSet::set(), "("); }),
            "NSInvalidArgumentException");
}

TEST(SetMatching, AnyObjectIsTheFirstMatchThatIsMet) {
  EXPECT_EQ(valueForKey(plv_anyObjectMatching(setOfPeople(), "age > %d", 20), "name"), "Ann");
  EXPECT_TRUE(plv_anyObjectMatching(setOfPeople(), "age > %d", 99).isNull());
  EXPECT_TRUE(plv_anyObjectMatching(NSSet::set(), "age > %d", 99).isNull());
}

TEST(SetMatching, FilteredIsTheSetOfThoseThatMatch) {
  const Ref<NSSet> grown = plv_filteredSetMatching(setOfPeople(), "age > %d", 20);
  EXPECT_EQ(Value(grown),
            Value(NSSet::setWithObjects(setMember("Cleo", 45), setMember("Ann", 30))));
  EXPECT_EQ(plv_filteredSetMatching(NSSet::set(), "age > 1")->count(), 0u);
}

TEST(SetMatching, NullAnswersAsAMessageToNull) {
  const Ref<NSSet> null;
  EXPECT_FALSE(plv_hasAnyMatching(null, "("));
  EXPECT_FALSE(plv_hasAllMatching(null, "("));
  EXPECT_TRUE(plv_anyObjectMatching(null, "(").isNull());
  EXPECT_FALSE(plv_filteredSetMatching(null, "("));
  EXPECT_FALSE(plv_mapObjectsUsingBlock(null, nullptr));
  EXPECT_TRUE(plv_reduceWithMemoUsingBlock(null, 1, nullptr).isNull());
  EXPECT_FALSE(plv_indexByKeyPath(null, "name"));
}

TEST(SetMapped, EqualResultsAreOneAndNullsAreLeftOut) {
  const auto mapped = plv_mapObjectsUsingBlock(
      NSSet::setWithObjects(1, 2, 3, 4, 5), [](const Value& number, bool&) {
        return number == Value(5) ? Value() : Value(number.integerValue() % 2);
      });
  EXPECT_EQ(Value(mapped), Value(NSSet::setWithObjects(1, 0)));
  mapped->addObject("more");
  EXPECT_EQ(mapped->count(), 3u) << "it can be changed";
}

TEST(SetMapped, EndsWhereItStops) {
  const auto mapped =
      plv_mapObjectsUsingBlock(NSSet::setWithObjects(1, 2, 3), [](const Value& number, bool& stop) {
        stop = number == Value(2);
        return number;
      });
  EXPECT_EQ(Value(mapped), Value(NSSet::setWithObjects(1, 2)));
}

TEST(SetMapped, OfNullsOnlyIsAnEmptySet) {
  EXPECT_EQ(
      plv_mapObjectsUsingBlock(setOfPeople(), [](const Value&, bool&) { return nullptr; })->count(),
      0u);
}

TEST(SetReduced, GoesInTheSetsOrderAndEndsWhereItStops) {
  const auto join = [](const Value& memo, const Value& letter, bool& stop) {
    stop = letter == "b";
    return NSString::stringWithFormat("%@%@", memo, letter);
  };
  EXPECT_EQ(plv_reduceWithMemoUsingBlock(NSSet::setWithObjects("a", "b", "c"), "", join), "ab");
  EXPECT_EQ(plv_reduceWithMemoUsingBlock(NSSet::set(), "memo", join), "memo");
}

TEST(SetIndexed, HasTheMembersByTheirValues) {
  const auto set = NSSet::setWithObjects(setMember("Ann", 30), NSNull::null(), setMember("Ann", 31),
                                         NSDictionary::dictionaryWithObjectForKey(7, "age"));
  const Ref<NSMutableDictionary> index = plv_indexByKeyPath(set, "name");
  EXPECT_EQ(index->count(), 1u);
  EXPECT_EQ(index->objectForKey("Ann"), Value(setMember("Ann", 31))) << "the one met last";
  EXPECT_EQ(plv_indexByKeyPath(NSSet::set(), "name")->count(), 0u);
  EXPECT_EQ(Value(performSelector(set, "plv_indexByKeyPath:", "name")), Value(index));
}

TEST(WalkedSet, AChangeDuringAWalkIsNoticed) {
  const auto set = NSMutableSet::setWithSet(setOfPeople());
  EXPECT_EQ(raisedName([&] {
              plv_mapObjectsUsingBlock(set, [&](const Value& one, bool&) {
                set->removeObject(one);
                return one;
              });
            }),
            "NSGenericException");
  EXPECT_EQ(raisedName([&] {
              plv_reduceWithMemoUsingBlock(set, 0, [&](const Value& memo, const Value&, bool&) {
                set->removeAllObjects();
                return memo;
              });
            }),
            "NSGenericException");
}

TEST(WalkedSet, ABlockMayReleaseTheSet) {
  const testing::LiveObjects objects;
  {
    Ref<NSSet> set = setOfPeople();
    const auto names = plv_mapObjectsUsingBlock(set, [&](const Value& one, bool&) {
      set = nullptr;
      return valueForKey(one, "name");
    });
    EXPECT_EQ(names->count(), 3u);
  }
  EXPECT_EQ(objects.count(), 0);
}

TEST(WalkedSetDeathTest, ANullBlockStopsTheProcessAtTheFirstMember) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(plv_mapObjectsUsingBlock(setOfPeople(), nullptr), "the block must not be null");
  EXPECT_DEATH(plv_reduceWithMemoUsingBlock(setOfPeople(), 0, nullptr),
               "the block must not be null");
  EXPECT_EQ(plv_mapObjectsUsingBlock(NSSet::set(), nullptr)->count(), 0u);
  EXPECT_EQ(plv_reduceWithMemoUsingBlock(NSSet::set(), 7, nullptr), Value(7));
}

}  // namespace
}  // namespace JNFoundation
