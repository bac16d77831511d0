#include <algorithm>
#include <gtest/gtest.h>
#include <platform/query/Family.h>
#include <random>

#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/value/NSDate.h>

namespace JNFoundation {
namespace {

using namespace testing;

Ref<NSSortDescriptor> by(const char* key, bool ascending = true,
                         const char* selector = "compare:") {
  return NSSortDescriptor::sortDescriptorWithKeyAscendingSelector(key, ascending, selector);
}

Value sorted(std::vector<Value> values, std::vector<Value> descriptors) {
  return sortedArrayUsingDescriptors(list(std::move(values)), list(std::move(descriptors)));
}

TEST(SortDescriptor, ComparesKeysInItsDirection) {
  const Value one = record({{"a", 1}}), two = record({{"a", 2}});
  EXPECT_EQ(by("a")->compareObjectToObject(one, two), NSOrderedAscending);
  EXPECT_EQ(by("a")->compareObjectToObject(two, one), NSOrderedDescending);
  EXPECT_EQ(by("a")->compareObjectToObject(two, record({{"a", 2.0}})), NSOrderedSame);
  EXPECT_EQ(by("a", false)->compareObjectToObject(one, two), NSOrderedDescending);
  EXPECT_EQ(by("a.b")->compareObjectToObject(record({{"a", record({{"b", "x"}})}}),
                                             record({{"a", record({{"b", "y"}})}})),
            NSOrderedAscending);
}

TEST(SortDescriptor, NullComesFirstWhenAscending) {
  for (const Value& null : {Value(), Value(NSNull::null())}) {
    EXPECT_EQ(by("a")->compareValues(null, 0), NSOrderedAscending);
    EXPECT_EQ(by("a")->compareValues("", null), NSOrderedDescending);
    EXPECT_EQ(by("a")->compareValues(null, nullptr), NSOrderedSame);
    EXPECT_EQ(by("a")->compareValues(null, NSNull::null()), NSOrderedSame);
    EXPECT_EQ(by("a", false)->compareValues(null, 0), NSOrderedDescending);
    EXPECT_EQ(by("a", true, "caseInsensitiveCompare:")->compareValues(null, "x"),
              NSOrderedAscending);
  }
  EXPECT_EQ(
      sorted({record({{"a", 2}}), record({}), record({{"a", nullptr}}), record({{"a", 1}})},
             {by("a", false)}),
      Value(list({record({{"a", 2}}), record({{"a", 1}}), record({}), record({{"a", nullptr}})})));
}

TEST(SortDescriptor, NullKeyComparesTheObjectsThemselves) {
  EXPECT_EQ(sorted({3, 1, 2}, {NSSortDescriptor::sortDescriptorWithKeyAscending(nullptr, true)}),
            Value(list({1, 2, 3})));
  EXPECT_EQ(sorted({3, 1, 2}, {by("self", false)}), Value(list({3, 2, 1})));
}

TEST(SortDescriptor, SelectorsOfText) {
  const auto order = [](const char* selector, const char* left, const char* right) {
    return by("a", true, selector)->compareValues(left, right);
  };
  EXPECT_EQ(order("compare:", "a", "B"), NSOrderedDescending);
  EXPECT_EQ(order("caseInsensitiveCompare:", "a", "B"), NSOrderedAscending);
  EXPECT_EQ(order("caseInsensitiveCompare:", "ABC", "abc"), NSOrderedSame);
  EXPECT_EQ(order("caseInsensitiveCompare:", "é", "e"), NSOrderedDescending);
  EXPECT_EQ(order("localizedCompare:", "apple", "Äpfel"), NSOrderedDescending);
  EXPECT_EQ(order("localizedCompare:", "Äpfel", "Banana"), NSOrderedAscending);
  EXPECT_NE(order("localizedCompare:", "a", "A"), NSOrderedSame);
  EXPECT_EQ(order("localizedCaseInsensitiveCompare:", "a", "A"), NSOrderedSame);
  EXPECT_NE(order("localizedCaseInsensitiveCompare:", "a", "á"), NSOrderedSame);
  EXPECT_EQ(order("localizedStandardCompare:", "file9", "File10"), NSOrderedAscending);
  EXPECT_EQ(order("compare:", "file9", "file10"), NSOrderedDescending);
}

TEST(SortDescriptor, LaterDescriptorsDecideTies) {
  const Value a = record({{"n", "ABC"}, {"i", 2}}), b = record({{"n", "abc"}, {"i", 1}});
  const Value c = record({{"n", "B"}, {"i", 0}});
  EXPECT_EQ(sorted({c, a, b}, {by("n", true, "caseInsensitiveCompare:"), by("i")}),
            Value(list({b, a, c})));
  EXPECT_EQ(sorted({c, a, b}, {by("n", true, "caseInsensitiveCompare:"), by("i", false)}),
            Value(list({a, b, c})));
}

TEST(SortDescriptor, SelectorThatTheValuesDoNotAnswerRaises) {
  const std::string raised =
      raisedBy([] { by("a", true, "caseInsensitiveCompare:")->compareValues(1, 2); });
  EXPECT_EQ(raised.find("NSInvalidArgumentException: -[__NSCFNumber caseInsensitiveCompare:]: "
                        "unrecognized selector"),
            0u)
      << raised;
  EXPECT_EQ(raisedName([] { by("a")->compareValues(setOf({1}), setOf({2})); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { by("a")->compareValues(1, "1"); }), "NSInvalidArgumentException");
  EXPECT_EQ(
      raisedName([] { by("shoe")->compareObjectToObject(Person::named("A"), Person::named("B")); }),
      "NSUnknownKeyException");
}

TEST(SortDescriptor, OtherSelectorsAreSentToTheValues) {
  const Value old = Person::named("Old", 80), young = Person::named("Young", 8);
  EXPECT_EQ(sorted({old, young}, {NSSortDescriptor::sortDescriptorWithKeyAscending(nullptr, true)}),
            Value(list({young, old})));
  EXPECT_EQ(by("x", true, nullptr)->selector().name(), "compare:");
}

TEST(SortDescriptor, ComparatorDecidesButSeesNoNull) {
  const auto byLength = NSSortDescriptor::sortDescriptorWithKeyAscendingComparator(
      "n", true, [](const Value& left, const Value& right) {
        EXPECT_FALSE(left.isNull() || right.isNull());
        return Value(as<NSString>(left)->length()).compare(as<NSString>(right)->length());
      });
  const Value a = record({{"n", "zz"}}), b = record({{"n", "aaa"}}), none = record({});
  EXPECT_EQ(sorted({b, none, a}, {byLength}), Value(list({none, a, b})));
  EXPECT_EQ(sorted({b, none, a}, {byLength->reversedSortDescriptor()}), Value(list({b, a, none})));
  EXPECT_FALSE(byLength->selector());
}

TEST(SortDescriptor, Equality) {
  EXPECT_TRUE(by("a")->isEqual(Value(NSSortDescriptor::sortDescriptorWithKeyAscending("a", true))));
  EXPECT_EQ(by("a")->hash(), NSSortDescriptor::sortDescriptorWithKeyAscending("a", true)->hash());
  EXPECT_FALSE(by("a")->isEqual(Value(by("b"))));
  EXPECT_FALSE(by("a")->isEqual(Value(by("a", false))));
  EXPECT_FALSE(by("a")->isEqual(Value(by("a", true, "localizedCompare:"))));
  EXPECT_FALSE(by("a")->isEqual("a"));
  EXPECT_FALSE(
      by("a")->isEqual(Value(NSSortDescriptor::sortDescriptorWithKeyAscending(nullptr, true))));
  EXPECT_TRUE(by("a")->reversedSortDescriptor()->isEqual(Value(by("a", false))));
  EXPECT_TRUE(by("a")->reversedSortDescriptor()->reversedSortDescriptor()->isEqual(Value(by("a"))));
  const auto comparator = [](const Value&, const Value&) { return NSOrderedSame; };
  const auto one =
      NSSortDescriptor::sortDescriptorWithKeyAscendingComparator("a", true, comparator);
  const auto other =
      NSSortDescriptor::sortDescriptorWithKeyAscendingComparator("a", true, comparator);
  EXPECT_FALSE(one->isEqual(Value(other)));
  EXPECT_TRUE(one->reversedSortDescriptor()->reversedSortDescriptor()->isEqual(Value(one)));
  EXPECT_EQ(by("a", false)->description()->utf8(), "(a, descending, compare:)");
}

TEST(Sorting, IsStableAndAgreesWithAPlainSort) {
  std::mt19937 random(20240131);
  for (const int count : {0, 1, 2, 3, 5, 8, 31, 32, 33, 1000}) {
    std::vector<Value> values;
    std::vector<std::pair<int, int>> plain;
    for (int i = 0; i < count; ++i) {
      const int key = static_cast<int>(random() % 10);
      values.push_back(record({{"k", key}, {"i", i}}));
      plain.emplace_back(key, i);
    }
    std::stable_sort(plain.begin(), plain.end(),
                     [](const auto& l, const auto& r) { return l.first > r.first; });
    const Value result = sorted(values, {by("k", false)});
    const NSArray* array = as<NSArray>(result);
    ASSERT_EQ(array->count(), plain.size());
    for (std::size_t i = 0; i < plain.size(); ++i) {
      EXPECT_EQ(valueForKey(array->objectAtIndex(i), "i"), plain[i].second) << i;
    }
  }
}

TEST(Sorting, OfSetsAndInPlace) {
  const Ref<NSArray> descriptors = list({by("self")});
  EXPECT_EQ(Value(sortedArrayUsingDescriptors(setOf({3, 1, 2}), descriptors)),
            Value(list({1, 2, 3})));
  EXPECT_EQ(Value(sortedArrayUsingDescriptors(orderedSetOf({3, 1, 2}), descriptors)),
            Value(list({1, 2, 3})));
  const Ref<NSMutableArray> array = NSMutableArray::arrayWithValues({3, 1, 2});
  sortUsingDescriptors(array, descriptors);
  EXPECT_EQ(Value(array), Value(list({1, 2, 3})));
}

TEST(Sorting, WithoutDescriptorsChangesNoOrder) {
  const Ref<NSArray> array = list({3, 1, 2});
  EXPECT_EQ(Value(sortedArrayUsingDescriptors(array, nullptr)), Value(array));
  EXPECT_EQ(Value(sortedArrayUsingDescriptors(array, list({}))), Value(array));
  EXPECT_EQ(sortedArrayUsingDescriptors(Ref<NSArray>(), list({by("a")})), nullptr);
  EXPECT_EQ(raisedName([&] { sortedArrayUsingDescriptors(array, list({1})); }),
            "NSInvalidArgumentException");
}

TEST(Sorting, ThatRaisesLeavesTheArray) {
  const Ref<NSMutableArray> array = NSMutableArray::arrayWithValues({3, "a", 2});
  EXPECT_EQ(raisedName([&] { sortUsingDescriptors(array, list({by("self")})); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(Value(array), Value(list({3, "a", 2})));
}

TEST(Sorting, SurvivesAComparatorThatContradictsItself) {
  std::mt19937 random(7);
  const auto nonsense = NSSortDescriptor::sortDescriptorWithKeyAscendingComparator(
      nullptr, true, [&](const Value&, const Value&) {
        return static_cast<NSComparisonResult>(static_cast<int>(random() % 3) - 1);
      });
  std::vector<Value> values;
  for (int i = 0; i < 2000; ++i) values.emplace_back(i);
  const Value result = sorted(values, {nonsense});
  EXPECT_EQ(Value(NSSet::setWithArray(as<NSArray>(result))), Value(setOf(values)));
}

TEST(Sorting, ReadsEachKeyOnce) {
  int reads = 0;
  class Counting : public Subclass<Counting, NSObject> {
   public:
    int* reads = nullptr;
    Value valueForKey(const Ref<NSString>&) const override { return ++*reads; }
  };
  std::vector<Value> values;
  for (int i = 0; i < 100; ++i) {
    const Ref<Counting> object = makeObject<Counting>();
    object->reads = &reads;
    values.emplace_back(object);
  }
  sorted(values, {by("k", false)});
  EXPECT_EQ(reads, 100);
}

}  // namespace
}  // namespace JNFoundation
