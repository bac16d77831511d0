#include <atomic>
#include <gtest/gtest.h>
#include <platform/query/Family.h>
#include <platform/value/LiveObjects.h>
#include <thread>

#include <JNFoundation/platform/query/NSCompoundPredicate.h>
#include <JNFoundation/platform/query/NSPredicate.h>

namespace JNFoundation {
namespace {

using namespace testing;

Value numbers(int count) {
  std::vector<Value> values;
  for (int i = 0; i < count; ++i) values.emplace_back(i);
  return list(std::move(values));
}

TEST(Predicate, FiltersCollectionsInTheirOrder) {
  const auto even = NSPredicate::predicateWithFormat("modulus:by:(SELF, 2) == 0");
  const Ref<NSArray> array = list({3, 2, 1, 4, 2});
  EXPECT_EQ(Value(filteredArrayUsingPredicate(array, even)), Value(list({2, 4, 2})));
  EXPECT_EQ(Value(filteredSetUsingPredicate(setOf({1, 2, 4}), even)), Value(setOf({2, 4})));
  EXPECT_EQ(Value(filteredOrderedSetUsingPredicate(orderedSetOf({4, 1, 2}), even)),
            Value(orderedSetOf({4, 2})));
  const Ref<NSMutableArray> mutableArray = NSMutableArray::arrayWithArray(array);
  filterUsingPredicate(mutableArray, even);
  EXPECT_EQ(Value(mutableArray), Value(list({2, 4, 2})));
  const Ref<NSMutableSet> mutableSet = NSMutableSet::setWithSet(setOf({1, 2, 4}));
  filterUsingPredicate(mutableSet, even);
  EXPECT_EQ(Value(mutableSet), Value(setOf({2, 4})));
}

TEST(Predicate, FilteringNothingGivesNothingAndByNothingRaises) {
  const auto all = NSPredicate::predicateWithValue(true);
  EXPECT_EQ(filteredArrayUsingPredicate(nullptr, all), nullptr);
  EXPECT_EQ(filteredSetUsingPredicate(nullptr, all), nullptr);
  EXPECT_EQ(filteredArrayUsingPredicate(NSArray::array(), all)->count(), 0u);
  EXPECT_EQ(raisedName([] { filteredArrayUsingPredicate(NSArray::array(), nullptr); }),
            "NSInvalidArgumentException");
}

TEST(Predicate, FilteringThatRaisesChangesNothing) {
  const Ref<NSMutableArray> array = NSMutableArray::arrayWithValues({"a", 5});
  const auto predicate = NSPredicate::predicateWithFormat("SELF BEGINSWITH 'b'");
  EXPECT_EQ(raisedName([&] { filterUsingPredicate(array, predicate); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(Value(array), Value(list({"a", 5})));
}

TEST(Predicate, FiltersRecordsThatHoldTheNullMarker) {
  const Ref<NSArray> records = list({record({{"a", nullptr}}), record({{"a", 2}}), nullptr});
  const auto large = NSPredicate::predicateWithFormat("a > 1");
  EXPECT_EQ(filteredArrayUsingPredicate(records, large)->count(), 1u);
  EXPECT_EQ(
      filteredArrayUsingPredicate(records, NSPredicate::predicateWithFormat("a == nil"))->count(),
      2u);
}

TEST(Predicate, UndefinedKeyRaisesWhenItIsEvaluated) {
  const auto predicate = NSPredicate::predicateWithFormat("shoe == 1");
  EXPECT_EQ(raisedName([&] { predicate->evaluateWithObject(Person::named("Ann")); }),
            "NSUnknownKeyException");
}

TEST(Predicate, StopsAsSoonAsTheAnswerIsKnown) {
  const Value object = Person::named("Ann");
  EXPECT_FALSE(holds(object, "name == 'Ben' AND shoe == 1"));
  EXPECT_TRUE(holds(object, "name == 'Ann' OR shoe == 1"));
  EXPECT_EQ(raisedName([&] { holds(object, "shoe == 1 AND name == 'Ben'"); }),
            "NSUnknownKeyException");
}

TEST(Predicate, CompoundsOfNothing) {
  const Ref<NSArray> none = NSArray::array();
  EXPECT_TRUE(NSCompoundPredicate::andPredicateWithSubpredicates(none)->evaluateWithObject(1));
  EXPECT_FALSE(NSCompoundPredicate::orPredicateWithSubpredicates(none)->evaluateWithObject(1));
  EXPECT_EQ(NSCompoundPredicate::andPredicateWithSubpredicates(none)->predicateFormat()->utf8(),
            "TRUEPREDICATE");
  EXPECT_EQ(
      raisedName([&] { NSCompoundPredicate::initWithTypeSubpredicates(NSNotPredicateType, none); }),
      "NSInvalidArgumentException");
}

TEST(Predicate, TruthTable) {
  for (const bool a : {false, true}) {
    EXPECT_EQ(holds(nullptr, a ? "NOT TRUEPREDICATE" : "NOT FALSEPREDICATE"), !a);
    for (const bool b : {false, true}) {
      const Ref<NSArray> both =
          list({NSPredicate::predicateWithValue(a), NSPredicate::predicateWithValue(b)});
      EXPECT_EQ(NSCompoundPredicate::andPredicateWithSubpredicates(both)->evaluateWithObject(0),
                a && b);
      EXPECT_EQ(NSCompoundPredicate::orPredicateWithSubpredicates(both)->evaluateWithObject(0),
                a || b);
    }
  }
  EXPECT_EQ(NSPredicate::predicateWithValue(true)->constantAnswer(), true);
  EXPECT_EQ(NSPredicate::predicateWithFormat("1 == 1")->constantAnswer(), std::nullopt);
}

TEST(Predicate, CompoundsRefuseWhatIsNoPredicate) {
  EXPECT_EQ(raisedName([] { NSCompoundPredicate::andPredicateWithSubpredicates(list({1})); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { NSCompoundPredicate::andPredicateWithSubpredicates(nullptr); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { NSCompoundPredicate::notPredicateWithSubpredicate(nullptr); }),
            "NSInvalidArgumentException");
}

TEST(Predicate, CompoundsKeepTheListTheyWereMadeWith) {
  const Ref<NSMutableArray> parts =
      NSMutableArray::arrayWithValues({NSPredicate::predicateWithValue(true)});
  const auto all = NSCompoundPredicate::andPredicateWithSubpredicates(parts);
  parts->addObject(NSPredicate::predicateWithValue(false));
  EXPECT_TRUE(all->evaluateWithObject(nullptr));
}

TEST(Predicate, EqualWhereTheStructureIs) {
  const char* formats[] = {"a == 1",
                           "a == 2",
                           "b == 1",
                           "a != 1",
                           "a ==[c] 1",
                           "ANY a == 1",
                           "NOT a == 1",
                           "a == 1 AND b == 1",
                           "a == 1 OR b == 1",
                           "b == 1 AND a == 1",
                           "TRUEPREDICATE",
                           "FALSEPREDICATE",
                           "a == $x",
                           "sum(a) == 1",
                           "max(a) == 1",
                           "{a} == 1",
                           "a IN {1}",
                           "a IN {1, 2}",
                           "SUBQUERY(a, $x, $x == 1) == 1"};
  for (const char* left : formats) {
    for (const char* right : formats) {
      const auto one = NSPredicate::predicateWithFormat(left);
      const auto other = NSPredicate::predicateWithFormat(right);
      const bool same = std::string_view(left) == right;
      EXPECT_EQ(one->isEqual(Value(other)), same) << left << " / " << right;
      if (same) {
        EXPECT_EQ(one->hash(), other->hash()) << left;
      }
    }
  }
  const auto predicate = NSPredicate::predicateWithFormat("a == 1");
  EXPECT_FALSE(predicate->isEqual(nullptr));
  EXPECT_FALSE(predicate->isEqual("a == 1"));
  EXPECT_TRUE(predicate->copy().isIdentical(Value(predicate)));
  // Numbers that are equal make equal predicates.
  EXPECT_TRUE(predicate->isEqual(Value(NSPredicate::predicateWithFormat("a == 1.0"))));
  EXPECT_EQ(predicate->hash(), NSPredicate::predicateWithFormat("a == YES")->hash());
}

TEST(Predicate, VariablesAreGivenWhenItIsEvaluated) {
  const auto predicate = NSPredicate::predicateWithFormat("age > $limit AND name == $name");
  const Value ann = Person::named("Ann", 30);
  EXPECT_TRUE(predicate->evaluateWithObjectSubstitutionVariables(
      ann, record({{"limit", 20}, {"name", "Ann"}})));
  EXPECT_FALSE(predicate->evaluateWithObjectSubstitutionVariables(
      ann, record({{"limit", 30}, {"name", "Ann"}})));
  const std::string raised = raisedBy([&] { predicate->evaluateWithObject(ann); });
  EXPECT_EQ(raised.find("NSInvalidArgumentException: Can't get value for 'limit' in bindings"), 0u)
      << raised;
}

TEST(Predicate, VariablesAreReplacedByConstants) {
  const auto predicate = NSPredicate::predicateWithFormat(
      "a == $x AND ANY $list.b IN {$x, 2} AND $x + 1 == abs($y) AND c == 1");
  const auto replaced = predicate->predicateWithSubstitutionVariables(
      record({{"x", 1}, {"y", -2}, {"list", list({record({{"b", 2}})})}}));
  EXPECT_EQ(replaced->predicateFormat()->utf8().substr(0, 10), "a == 1 AND");
  EXPECT_NE(replaced->predicateFormat()->utf8().find("IN {1, 2} AND 1 + 1 == abs((-2)) AND c == 1"),
            std::string::npos)
      << replaced->predicateFormat()->utf8();
  EXPECT_TRUE(replaced->evaluateWithObject(record({{"a", 1}, {"c", 1}})));
  EXPECT_EQ(predicate->predicateFormat()->utf8().substr(0, 7), "a == $x");
  EXPECT_EQ(raisedName([&] {
              predicate->predicateWithSubstitutionVariables(record({{"x", 1}}));
            }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([&] { predicate->predicateWithSubstitutionVariables(nullptr); }),
            "NSInvalidArgumentException");
}

TEST(Predicate, NullMarkerForAVariableMeansNull) {
  const auto predicate = NSPredicate::predicateWithFormat("date == $date");
  const auto replaced = predicate->predicateWithSubstitutionVariables(record({{"date", nullptr}}));
  EXPECT_EQ(replaced->predicateFormat()->utf8(), "date == <null>");
  EXPECT_TRUE(replaced->evaluateWithObject(record({})));
  EXPECT_FALSE(replaced->evaluateWithObject(record({{"date", 1}})));
}

TEST(Predicate, WithoutVariablesIsItsOwnSubstitution) {
  const auto predicate = NSPredicate::predicateWithFormat("a == 1 AND NOT b IN {2}");
  EXPECT_EQ(predicate->predicateWithSubstitutionVariables(record({})).get(), predicate.get());
}

TEST(Predicate, BlocksSeeTheObjectAndTheVariables) {
  const auto predicate =
      NSPredicate::predicateWithBlock([](const Value& object, const Ref<NSDictionary>& variables) {
        return object == (variables ? variables->objectForKey("x") : Value(0));
      });
  EXPECT_TRUE(predicate->evaluateWithObject(0));
  EXPECT_FALSE(predicate->evaluateWithObject(7));
  EXPECT_TRUE(predicate->evaluateWithObjectSubstitutionVariables(7, record({{"x", 7}})));
  EXPECT_TRUE(
      predicate->predicateWithSubstitutionVariables(record({{"x", 7}}))->evaluateWithObject(7));
  EXPECT_TRUE(predicate->isEqual(Value(predicate)));
  EXPECT_EQ(predicate->predicateFormat()->utf8().substr(0, 15), "BLOCKPREDICATE(");
  EXPECT_EQ(predicate->constantAnswer(), std::nullopt);
}

TEST(Predicate, BlockThatThrowsLeavesTheTreeUsable) {
  const auto predicate = NSCompoundPredicate::notPredicateWithSubpredicate(
      NSPredicate::predicateWithBlock([](const Value& object, const Ref<NSDictionary>&) -> bool {
        if (object.isNull()) throw 42;
        return true;
      }));
  EXPECT_THROW(predicate->evaluateWithObject(nullptr), int);
  EXPECT_FALSE(predicate->evaluateWithObject(1));
}

TEST(Subquery, SelectsMembersAndSeesTheObjectAround) {
  const Value family =
      record({{"age", 40},
              {"kids", list({record({{"age", 3}, {"toys", list({1, 2})}}),
                             record({{"age", 9}, {"toys", list({5})}}), record({{"age", 15}})})}});
  EXPECT_TRUE(holds(family, "SUBQUERY(kids, $k, $k.age > 5).@count == 2"));
  EXPECT_TRUE(holds(family, "SUBQUERY(kids, $k, $k.age > age / 10).@count == 2"));
  EXPECT_TRUE(holds(family,
                    "SUBQUERY(kids, $k, SUBQUERY($k.toys, $t, $t < $k.age).@count == 2)"
                    ".@count == 1"));
  EXPECT_TRUE(holds(family, "SUBQUERY(kids, $k, ANY $k.toys == 5).@count == 1"));
  EXPECT_TRUE(holds(family, "SUBQUERY(missing, $k, $k.age > 5).@count == 0"));
  EXPECT_TRUE(holds(family, "SUBQUERY(kids, $k, $k.age > 5).@max.age == 15"));
  EXPECT_EQ(raisedName([&] { holds(family, "SUBQUERY(age, $k, $k > 5).@count == 0"); }),
            "NSInvalidArgumentException");
}

TEST(Subquery, ItsVariableHidesTheCallers) {
  const auto predicate =
      NSPredicate::predicateWithFormat("SUBQUERY(kids, $x, $x > $y).@count == $x");
  const auto replaced = predicate->predicateWithSubstitutionVariables(record({{"x", 2}, {"y", 5}}));
  EXPECT_EQ(replaced->predicateFormat()->utf8(), "SUBQUERY(kids, $x, $x > 5).@count == 2");
  const Value object = record({{"kids", list({4, 6, 8})}});
  EXPECT_TRUE(replaced->evaluateWithObject(object));
  EXPECT_TRUE(
      predicate->evaluateWithObjectSubstitutionVariables(object, record({{"x", 2}, {"y", 5}})));
}

TEST(Predicate, NothingOfAPredicateOutlivesIt) {
  const auto use = [] {
    const auto predicate = NSPredicate::predicateWithFormat(
        "a.b.@sum.c > $x OR a LIKE '*' OR NOT SUBQUERY(a, $y, $y.z MATCHES 'q').@count == 1 OR a "
        "IN "
        "{1, 'x'}");
    predicate->evaluateWithObjectSubstitutionVariables(record({}), record({{"x", 1}}));
    predicate->predicateWithSubstitutionVariables(record({{"x", 1}}))->predicateFormat();
    exceptionOf([] { NSPredicate::predicateWithFormat("a == (1 + {2, 3"); });
  };
  use();  // fills what is kept for the life of the process
  const LiveObjects live;
  use();
  EXPECT_EQ(live.count(), 0);
}

TEST(Predicate, MayBeUsedBySeveralThreadsAtOnce) {
  const auto predicate = NSPredicate::predicateWithFormat(
      "name MATCHES[c] 'a.*' AND name LIKE pattern AND name MATCHES expression AND tags.@count == "
      "SUBQUERY(tags, $t, $t BEGINSWITH[cd] 'É').@count AND age IN {1, 2, $age}");
  std::vector<std::thread> threads;
  std::atomic<int> found = 0;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&predicate, &found, thread] {
      const Ref<NSDictionary> variables = record({{"age", thread}});
      for (int i = 0; i < 200; ++i) {
        const Value object = record({{"name", "Anna" + std::to_string(i)},
                                     {"pattern", "*" + std::to_string(i % 20)},
                                     {"expression", ".*" + std::to_string(i % 30)},
                                     {"tags", list({"Eva", "émile"})},
                                     {"age", thread}});
        found += predicate->evaluateWithObjectSubstitutionVariables(object, variables);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  // Of 200 numbers these end in what both remainders are written as.
  int expected = 0;
  for (int i = 0; i < 200; ++i) {
    const std::string number = std::to_string(i);
    const auto ends = [&](int end) {
      const std::string text = std::to_string(end);
      return number.size() >= text.size() && number.substr(number.size() - text.size()) == text;
    };
    expected += ends(i % 20) && ends(i % 30);
  }
  EXPECT_GT(expected, 20);
  EXPECT_EQ(found, 4 * expected);
}

TEST(Predicate, MayBeUsedByHundredThousandObjects) {
  const auto predicate = NSPredicate::predicateWithFormat("SELF >= 10 AND SELF < 20");
  EXPECT_EQ(filteredArrayUsingPredicate(as<NSArray>(numbers(100'000)), predicate)->count(), 10u);
}

}  // namespace
}  // namespace JNFoundation
