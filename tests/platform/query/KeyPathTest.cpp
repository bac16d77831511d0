#include <gtest/gtest.h>
#include <limits>
#include <platform/query/Family.h>

#include <JNFoundation/platform/query/KeyPath.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>

namespace JNFoundation {
namespace {

using namespace testing;

Ref<NSDictionary> item(Value price, Value tags = nullptr) {
  return record({{"price", price}, {"tags", tags}});
}

/// What the values that the path leads to are, in order; text "none" where it led to no collection.
Value allValues(const Value& object, const char* path) {
  std::vector<Value> values;
  if (!KeyPath(path).appendValuesInObject(object, values)) return "none";
  return list(std::move(values));
}

TEST(KeyPath, IsParsedIntoKeysAndOperators) {
  const KeyPath path("a.@sum.b.@nonsense");
  ASSERT_EQ(path.steps().size(), 4u);
  EXPECT_EQ(path.steps()[0].key->utf8(), "a");
  EXPECT_EQ(path.steps()[0].collectionOperator, CollectionOperator::None);
  EXPECT_EQ(path.steps()[1].key->utf8(), "@sum");
  EXPECT_EQ(path.steps()[1].collectionOperator, CollectionOperator::Sum);
  EXPECT_EQ(path.steps()[3].collectionOperator, CollectionOperator::Unknown);
  EXPECT_EQ(path.text()->utf8(), "a.@sum.b.@nonsense");
  EXPECT_EQ(path.singleKey(), nullptr);
  EXPECT_EQ(KeyPath("name").singleKey()->utf8(), "name");
  EXPECT_EQ(KeyPath("@count").singleKey(), nullptr);
  EXPECT_TRUE(KeyPath("a.b") == KeyPath("a.b"));
  EXPECT_FALSE(KeyPath("a.b") == KeyPath("a.c"));
  EXPECT_FALSE(KeyPath("a.b") == KeyPath());
  EXPECT_TRUE(KeyPath() == KeyPath());
}

TEST(KeyPath, WithoutKeysLeadsToTheObject) {
  EXPECT_EQ(KeyPath().valueInObject(7), 7);
  EXPECT_EQ(KeyPath().text()->utf8(), "");
  EXPECT_EQ(raisedName([] { KeyPath().setValueInObject(1, record({})); }),
            "NSInvalidArgumentException");
}

TEST(KeyPath, CountIgnoresWhatFollows) {
  const Value object = record({{"items", list({1, nullptr, 3})}});
  EXPECT_EQ(valueForKeyPath(object, "items.@count"), 3);
  EXPECT_EQ(valueForKeyPath(object, "items.@count.whatever"), 3);
  EXPECT_EQ(valueForKeyPath(list({}), "@count"), 0);
  EXPECT_EQ(valueForKeyPath(setOf({1, 2}), "@count"), 2);
  EXPECT_EQ(valueForKeyPath(orderedSetOf({1, 2}), "@count"), 2);
}

TEST(KeyPath, NumericOperators) {
  const Value items = list({item(2), item(3), item(nullptr), item(7)});
  EXPECT_EQ(valueForKeyPath(items, "@sum.price"), 12);
  EXPECT_EQ(valueForKeyPath(items, "@sum.price").kind(), Value::Kind::Integer);
  EXPECT_EQ(valueForKeyPath(items, "@avg.price"), 3.0);  // null counts as 0 and is counted
  EXPECT_EQ(valueForKeyPath(items, "@min.price"), 2);
  EXPECT_EQ(valueForKeyPath(items, "@max.price"), 7);
  EXPECT_EQ(valueForKeyPath(list({1, 2.5}), "@sum.self"), 3.5);
  EXPECT_EQ(valueForKeyPath(list({4, 6}), "@avg"), 5);
  EXPECT_EQ(valueForKeyPath(list({"1.5", "2 apples"}), "@sum"), 3.5);
}

TEST(KeyPath, NumericOperatorsOfNothing) {
  for (const Value& nothing : {Value(list({})), Value(setOf({})), Value(orderedSetOf({}))}) {
    EXPECT_EQ(valueForKeyPath(nothing, "@sum.price"), 0);
    EXPECT_EQ(valueForKeyPath(nothing, "@avg.price"), 0);
    EXPECT_EQ(valueForKeyPath(nothing, "@min.price"), nullptr);
    EXPECT_EQ(valueForKeyPath(nothing, "@max.price"), nullptr);
  }
  EXPECT_EQ(valueForKeyPath(list({item(nullptr)}), "@max.price"), nullptr);
  EXPECT_EQ(valueForKeyPath(list({item(nullptr)}), "@sum.price"), 0);
}

TEST(KeyPath, SumsAreExactAsLongAsTheyCanBe) {
  constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(valueForKeyPath(list({highest - 1, 1}), "@sum"), highest);
  const Value past = valueForKeyPath(list({highest, 1}), "@sum");
  EXPECT_EQ(past.kind(), Value::Kind::Double);
  EXPECT_EQ(past.doubleValue(), 0x1p63);
  const Value cents = NSDecimalNumber::decimalNumberWithString("0.10");
  const Value sum = valueForKeyPath(list({cents, cents, cents, 1}), "@sum");
  EXPECT_TRUE(isKindOf<NSDecimalNumber>(sum));
  EXPECT_EQ(sum.stringValue()->utf8(), "1.3");
  EXPECT_EQ(valueForKeyPath(list({cents, 0.5}), "@sum").kind(), Value::Kind::Double);
}

TEST(KeyPath, ExtremesCompareAndReturnTheObjectItself) {
  const Value early = NSDate::dateWithTimeIntervalSince1970(1);
  const Value late = NSDate::dateWithTimeIntervalSince1970(2);
  EXPECT_EQ(valueForKeyPath(list({late, early}), "@min"), early);
  EXPECT_EQ(valueForKeyPath(list({"b", "a", "C"}), "@max"), "b");
  EXPECT_EQ(valueForKeyPath(list({2.0, 2, 1}), "@max").kind(), Value::Kind::Double);
  const Value old = Person::named("Old", 80), young = Person::named("Young", 8);
  EXPECT_TRUE(valueForKeyPath(list({young, old}), "@max.self").isIdentical(old));
  EXPECT_EQ(raisedName([] {
              valueForKeyPath(list({1, "a"}), "@max");
            }),
            "NSInvalidArgumentException");
}

TEST(KeyPath, UnionsKeepOrDropDuplicates) {
  const Value items = list({item(2), item(1), item(2)});
  EXPECT_EQ(valueForKeyPath(items, "@unionOfObjects.price"), Value(list({2, 1, 2})));
  EXPECT_EQ(valueForKeyPath(items, "@distinctUnionOfObjects.price"), Value(list({2, 1})));
  const Value nested = list({items, list({item(3), item(1)})});
  EXPECT_EQ(valueForKeyPath(nested, "@unionOfArrays.price"), Value(list({2, 1, 2, 3, 1})));
  EXPECT_EQ(valueForKeyPath(nested, "@distinctUnionOfArrays.price"), Value(list({2, 1, 3})));
  const Value sets = setOf({setOf({1, 2}), setOf({2, 3})});
  EXPECT_EQ(valueForKeyPath(sets, "@distinctUnionOfSets.self"), Value(setOf({1, 2, 3})));
}

TEST(KeyPath, UnionsRaiseForNullLeaves) {
  const Value items = list({Person::named("Ann"), Person::named(nullptr)});
  for (const char* path :
       {"@unionOfObjects.name", "@distinctUnionOfObjects.name", "@unionOfArrays.name",
        "@distinctUnionOfArrays.name", "@distinctUnionOfSets.name"}) {
    EXPECT_EQ(raisedName([&] { valueForKeyPath(items, path); }), "NSInvalidArgumentException")
        << path;
  }
  EXPECT_EQ(raisedName([&] { valueForKeyPath(list({1}), "@unionOfArrays"); }),
            "NSInvalidArgumentException");
}

TEST(KeyPath, UnknownOperatorNamesItself) {
  const Ref<NSArray> array = list({1});
  const std::string reason = raisedBy([&] { valueForKeyPath(array, "@median.self"); });
  EXPECT_NE(reason.find("this class does not implement the median operation."), std::string::npos)
      << reason;
  EXPECT_EQ(raisedName([&] { valueForKeyPath("text", "@count"); }), "NSUnknownKeyException");
  EXPECT_EQ(raisedName([&] { valueForKeyPath(5, "@count"); }), "NSUnknownKeyException");
}

/// A firm with two departments: their people are kept in collections of the given kind.
template <class Collect>
Value firm(Collect collect) {
  const Value one =
      record({{"people", Value(collect({Person::named("Ann", 30), Person::named("Ben", 20)}))}});
  const Value two = record({{"people", Value(collect({Person::named("Ann", 10)}))}});
  return record({{"departments", Value(collect({one, two}))}});
}

TEST(KeyPath, TwoToManyStepsGiveOneFlatArray) {
  for (const Value& company : {firm(list), firm(setOf), firm(orderedSetOf)}) {
    EXPECT_EQ(valueForKeyPath(company, "departments.people").class_(), Value(list({})).class_());
    EXPECT_EQ(valueForKeyPath(company, "departments.people.name"),
              Value(list({"Ann", "Ben", "Ann"})));
    EXPECT_EQ(valueForKeyPath(company, "departments.people.@count"), 3);
    EXPECT_EQ(valueForKeyPath(company, "departments.people.@sum.age"), 60);
    EXPECT_EQ(valueForKeyPath(company, "departments.@sum.people.age"), 60);
    EXPECT_EQ(valueForKeyPath(company, "departments.@max.people.age"), 30);
    EXPECT_EQ(valueForKeyPath(company, "departments.@unionOfObjects.people.name"),
              Value(list({"Ann", "Ben", "Ann"})));
    EXPECT_EQ(valueForKeyPath(company, "departments.@distinctUnionOfArrays.people.name"),
              Value(list({"Ann", "Ben"})));
  }
}

TEST(KeyPath, OfACollectionIsReadOfEveryMember) {
  const Value companies = list({firm(list), firm(list)});
  EXPECT_EQ(valueForKeyPath(companies, "departments.people.name"),
            Value(list({list({"Ann", "Ben", "Ann"}), list({"Ann", "Ben", "Ann"})})));
  EXPECT_EQ(valueForKeyPath(companies, "departments.@count"), Value(list({2, 2})));
  EXPECT_EQ(valueForKeyPath(companies, "departments"), valueForKey(companies, "departments"));
  EXPECT_EQ(valueForKeyPath(companies, "@sum.departments.people.age"), 120);
}

TEST(KeyPath, EverySingleValueIsToldWithNullsAndDuplicates) {
  const Value people = setOf({Person::named("Ann"), Person::named("Ann"), Person::named(nullptr)});
  const Value object = record({{"people", people}, {"tags", list({"a", nullptr})}});
  EXPECT_EQ(allValues(object, "people.name"), Value(list({"Ann", "Ann", nullptr})));
  EXPECT_EQ(allValues(object, "tags"), Value(list({"a", nullptr})));
  EXPECT_EQ(allValues(object, "people.mother.name"), Value(list({nullptr, nullptr, nullptr})));
  EXPECT_EQ(allValues(object, "missing.name"), Value(list({})));
  EXPECT_EQ(allValues(object, "people.@count"), "none");
  EXPECT_EQ(allValues(record({{"x", 1}}), "x"), "none");
  EXPECT_EQ(allValues(people, "name"), Value(list({"Ann", "Ann", nullptr})));
  EXPECT_EQ(allValues(firm(setOf), "departments.people.name"), Value(list({"Ann", "Ben", "Ann"})));
}

TEST(KeyPath, WritesWhereItLeads) {
  const Ref<Person> ann = Person::named("Ann"), ben = Person::named("Ben");
  ann->setChildren(list({ben}));
  KeyPath("children.rank").setValueInObject(4, ann);
  EXPECT_EQ(ben->rank(), 4);
  EXPECT_EQ(raisedName([&] { KeyPath("children.@count").setValueInObject(4, ann); }),
            "NSUnknownKeyException");
}

TEST(KeyPath, MayNotHaveEndlesslyManyOperators) {
  std::string path = "@max";
  for (std::size_t i = 1; i < KeyPath::maximumOperators; ++i) path += ".@max";
  Value nested = 1;
  for (std::size_t i = 0; i < KeyPath::maximumOperators; ++i) nested = list({nested});
  EXPECT_EQ(valueForKeyPath(nested, path), 1);
  EXPECT_EQ(raisedName([&] { KeyPath(path + ".@max"); }), "NSInvalidArgumentException");
}

TEST(KeyPath, MayHaveAHundredThousandKeys) {
  std::string path = "self";
  for (int i = 0; i < 100'000; ++i) path += ".self";
  EXPECT_EQ(valueForKeyPath(7, path), 7);
}

}  // namespace
}  // namespace JNFoundation
