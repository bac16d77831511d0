#include "SalesFixture.h"
#include "tests/platform/value/Raising.h"

namespace JNFoundation {
namespace {

using testing::raisedBy;
using testing::raisedName;

class GroupingTest : public SalesTest {
 protected:
  void addSales() {
    auto bern = insert("City", {{"name", "Bern"}});
    auto left = insert("Shop", {{"name", "Left"}, {"city", Value(bern)}});
    auto right = insert("Shop", {{"name", "Right"}});
    insert("Sale", {{"region", "N"}, {"kind", 1}, {"amount", 10}, {"shop", Value(left)}});
    insert("Sale", {{"region", "S"}, {"kind", 1}, {"amount", 20}, {"shop", Value(right)}});
    insert("Sale", {{"region", "N"}, {"kind", 2}, {"amount", 40}, {"shop", Value(left)}});
    insert("Sale", {{"kind", 2}, {"amount", 80}});
    insert("Refund", {{"region", "S"}, {"kind", 2}, {"shop", Value(left)}});
    save();
  }
};
FOR_EVERY_STORE(GroupingTest);

TEST_P(GroupingTest, RecordsWithTheSameValuesAreOneDictionary) {
  addSales();
  const Value total(computed("total", "sum(amount)", NSInteger64AttributeType));
  const Value number(computed("number", "count(SELF)"));
  EXPECT_EQ(told(rows("Sale", {"region", total, number}, {"region"})),
            "{number=2 region=N total=50} {number=2 region=S total=20} {number=1 total=80}");
  EXPECT_EQ(told(rows("Sale", {"region", "kind", number}, {"region", "kind"})),
            "{kind=1 number=1 region=N} {kind=1 number=1 region=S} {kind=2 number=1 region=N} "
            "{kind=2 number=1} {kind=2 number=1 region=S}");
  EXPECT_EQ(told(rows("Sale", {total}, {"kind"})), "{total=30} {total=120}")
      << "not all that it is grouped by need be given";
}

TEST_P(GroupingTest, WithoutPropertiesAGroupIsWhatItsRecordsHaveInCommon) {
  addSales();
  auto wanted = rows("Sale", {}, {"region"});
  wanted->setPropertiesToFetch(nullptr);
  EXPECT_EQ(told(wanted), "{region=N} {region=S} {}");
}

TEST_P(GroupingTest, NothingMakesNoGroupsButOneTotal) {
  const Value number(computed("number", "count(SELF)"));
  EXPECT_EQ(told(rows("Sale", {"region", number}, {"region"})), "");
  EXPECT_EQ(told(rows("Sale", {number})), "{number=0}");
}

TEST_P(GroupingTest, GroupsReachThroughRelationshipsToOne) {
  addSales();
  const Value total(computed("total", "sum(amount)"));
  EXPECT_EQ(told(rows("Sale", {"shop.name", total}, {"shop.name"})),
            "{shop.name=Left total=50} {shop.name=Right total=20} {total=80}");
  EXPECT_EQ(told(rows("Sale", {"shop.city.name", total}, {"shop.city.name"})),
            "{shop.city.name=Bern total=50} {total=100}");
  EXPECT_EQ(told(rows("Sale", {"shop", total}, {"shop"})),
            "{shop=Shop1 total=50} {shop=Shop2 total=20} {total=80}");
  EXPECT_EQ(told(rows("Shop", {"name", computed("most", "max(sales.amount)")}, {"name"})),
            "{most=40 name=Left} {most=20 name=Right}")
      << "of many, every single one counts";
}

TEST_P(GroupingTest, EveryAggregateKnowsItsGroup) {
  addSales();
  EXPECT_EQ(told(rows("Sale",
                      {computed("average", "average(amount)"), computed("sum", "sum(amount)"),
                       computed("count", "count(amount)"), computed("min", "min(amount)"),
                       computed("max", "max(amount)"), computed("median", "median(amount)"),
                       computed("mode", "mode(region)"), computed("stddev", "stddev(amount)")},
                      {"kind"})),
            "{average=15 count=2 max=20 median=15 min=10 mode=(N,S) stddev=5 sum=30} "
            "{average=60 count=2 max=80 median=60 min=40 mode=(N,S) stddev=20 sum=120}");
}

TEST_P(GroupingTest, AnAggregateOfNothingButNullIsZeroOrAbsent) {
  insert("Sale", {{"region", "N"}});
  insert("Sale", {{"region", "N"}});
  save();
  EXPECT_EQ(told(rows("Sale",
                      {computed("average", "average(amount)"), computed("sum", "sum(amount)"),
                       computed("count", "count(amount)"), computed("min", "min(amount)"),
                       computed("max", "max(at)"), computed("median", "median(amount)"),
                       computed("mode", "mode(region)"), computed("stddev", "stddev(amount)")},
                      {"region"})),
            "{average=0 count=0 mode=(N) sum=0}");
}

TEST_P(GroupingTest, ExpressionsOfAggregatesAndWhatIsGroupedByAreGiven) {
  addSales();
  EXPECT_EQ(told(rows("Sale",
                      {computed("range", "max(amount) - min(amount)"), computed("next", "kind + 1"),
                       computed("word", "'x'")},
                      {"kind"})),
            "{next=2 range=10 word=x} {next=3 range=40 word=x}");
}

TEST_P(GroupingTest, RecordsAreGroupedByAnExpression) {
  addSales();
  const Value half(computed("half", "kind * 10"));
  EXPECT_EQ(told(rows("Sale", {half, computed("number", "count(SELF)")}, {half})),
            "{half=10 number=2} {half=20 number=3}");
  EXPECT_EQ(told(rows("Sale", {"half", computed("number", "count(SELF)")}, {half})),
            "{half=10 number=2} {half=20 number=3}");
}

TEST_P(GroupingTest, ThePredicateChoosesRecordsAndHavingChoosesGroups) {
  addSales();
  auto wanted = rows("Sale", {"region", computed("total", "sum(amount)")}, {"region"});
  wanted->setPredicate(NSPredicate::predicateWithFormat("amount < 50"));
  EXPECT_EQ(told(wanted), "{region=N total=50} {region=S total=20}");
  wanted->setHavingPredicate(NSPredicate::predicateWithFormat("total > 20"));
  EXPECT_EQ(told(wanted), "{region=N total=50}");
  wanted->setHavingPredicate(NSPredicate::predicateWithFormat("region == 'S'"));
  EXPECT_EQ(told(wanted), "{region=S total=20}");
  wanted->setHavingPredicate(
      NSPredicate::predicateWithFormat("max(amount) == 40 AND count(SELF) == 2"));
  EXPECT_EQ(told(wanted), "{region=N total=50}") << "by what is not given";
}

TEST_P(GroupingTest, GroupsAreSortedByTheirValues) {
  addSales();
  auto wanted = rows("Sale", {"region", computed("total", "sum(amount)")}, {"region", "shop.name"});
  wanted->setSortDescriptors(NSArray::arrayWithObjects(by("total", false)));
  EXPECT_EQ(told(wanted), "{total=80} {region=N total=50} {region=S total=20} {region=S total=0}");
  wanted->setSortDescriptors(NSArray::arrayWithObjects(by("region", false), by("shop.name")));
  EXPECT_EQ(told(wanted), "{region=S total=0} {region=S total=20} {region=N total=50} {total=80}")
      << "by what it is grouped by, given or not";
  wanted->setFetchOffset(1);
  wanted->setFetchLimit(2);
  EXPECT_EQ(told(wanted), "{region=S total=20} {region=N total=50}");
  EXPECT_EQ(context->countForFetchRequestError(wanted), 2u);
}

TEST_P(GroupingTest, DistinctGroupsAreGivenOnce) {
  addSales();
  auto wanted = rows("Sale", {"kind"}, {"kind", "region"});
  EXPECT_EQ(told(wanted), "{kind=1} {kind=1} {kind=2} {kind=2} {kind=2}");
  wanted->setReturnsDistinctResults(true);
  EXPECT_EQ(told(wanted), "{kind=1} {kind=2}");
  wanted->setFetchOffset(1);
  EXPECT_EQ(told(wanted), "{kind=2}");
}

TEST_P(GroupingTest, DescendantsCountWhereTheyAreAskedFor) {
  addSales();
  auto wanted = rows("Sale", {computed("number", "count(SELF)")}, {"kind"});
  wanted->setIncludesSubentities(false);
  EXPECT_EQ(told(wanted), "{number=2} {number=2}");
}

TEST_P(GroupingTest, SumsOfIntegersAreExact) {
  for (int i = 0; i < 3; ++i) {
    insert("Sale", {{"big", (std::int64_t{1} << 60) + 1}, {"amount", 2'147'483'647}});
  }
  save();
  const auto sum = [&](const char* format) {
    const Value row = fetch(rows("Sale", {computed("sum", format)}))->firstObject();
    return as<NSDictionary>(row)->objectForKey("sum");
  };
  EXPECT_EQ(sum("sum(big)"), Value(3 * ((std::int64_t{1} << 60) + 1)));
  EXPECT_EQ(sum("sum(amount)"), Value(3 * std::int64_t{2'147'483'647}));
  for (int i = 0; i < 8; ++i) insert("Sale", {{"big", std::int64_t{1} << 60}});
  save();
  EXPECT_EQ(sum("sum(big)").kind(), Value::Kind::Double) << "past 64 bits";
}

TEST_P(GroupingTest, ValuesHaveTheTypeThatIsAskedFor) {
  addSales();
  auto wanted = rows("Sale", {computed("a", "sum(amount)", NSDoubleAttributeType),
                              computed("b", "average(amount)", NSInteger64AttributeType),
                              computed("c", "sum(amount)", NSDecimalAttributeType),
                              computed("d", "count(SELF)", NSStringAttributeType)});
  const Value row = fetch(wanted)->firstObject();
  const auto& values = *as<NSDictionary>(row);
  EXPECT_EQ(values["a"].kind(), Value::Kind::Double);
  EXPECT_EQ(values["b"], Value(37));
  EXPECT_EQ(values["b"].kind(), Value::Kind::Integer);
  EXPECT_TRUE(isKindOf<NSDecimalNumber>(values["c"]));
  EXPECT_EQ(values["d"], Value("5"));
}

TEST_P(GroupingTest, WhatIsPendingIsNoPartOfGroups) {
  addSales();
  insert("Sale", {{"region", "N"}, {"amount", 1000}});
  EXPECT_EQ(told(rows("Sale", {computed("total", "sum(amount)")})), "{total=150}");
}

TEST_P(GroupingTest, RequestsThatMakeNoSenseRaise) {
  addSales();
  const auto refused = [&](const Ref<NSFetchRequest>& wanted) {
    return raisedName([&] { fetch(wanted); }) == NSInvalidArgumentException;
  };
  EXPECT_EQ(
      raisedBy([&] {
        fetch(rows("Sale", {"region", "amount"}, {"region"}));
      }),
      "NSInvalidArgumentException: SELECT clauses in queries with GROUP BY components can only "
      "contain properties named in the GROUP BY, literals and aggregate functions ('amount' "
      "of entity 'Sale' is none of them)");
  EXPECT_TRUE(refused(rows("Sale", {"region", computed("a", "amount + 1")}, {"region"})));
  EXPECT_TRUE(refused(rows("Sale", {"region", computed("a", "sum(max(amount))")}, {"region"})));
  EXPECT_TRUE(refused(rows("Sale", {"region", computed("a", "sum(colour)")}, {"region"})));
  EXPECT_TRUE(refused(rows("Sale", {"colour"}, {"region"})));
  EXPECT_TRUE(refused(rows("Sale", {"region"}, {"colour"})));
  EXPECT_TRUE(refused(rows("Shop", {"name"}, {"sales"}))) << "a relationship to many";
  EXPECT_TRUE(refused(rows("Sale", {"region"}, {Value(7)})));
  EXPECT_TRUE(refused(rows("Sale", {"region"}, {Value(computed("a", "sum(amount)"))})));
  EXPECT_TRUE(refused(rows("Sale", {"region", computed("a", "sum(amount)")})))
      << "one record's value beside all records' value";
  auto sorted = rows("Sale", {"region"}, {"region"});
  sorted->setSortDescriptors(NSArray::arrayWithObjects(by("amount")));
  EXPECT_TRUE(refused(sorted)) << "a group has no amount";
  auto having = rows("Sale", {"region"}, {"region"});
  having->setHavingPredicate(NSPredicate::predicateWithFormat("amount > 1"));
  EXPECT_TRUE(refused(having));
  having->setHavingPredicate(
      NSPredicate::predicateWithBlock([](const Value&, const Ref<NSDictionary>&) { return true; }));
  EXPECT_TRUE(refused(having));
  auto lonely = rows("Sale", {"region"});
  lonely->setHavingPredicate(NSPredicate::predicateWithFormat("region == 'N'"));
  EXPECT_TRUE(refused(lonely)) << "having without groups";
  auto objects = request("Sale");
  objects->setPropertiesToGroupBy(NSArray::arrayWithObjects("region"));
  EXPECT_EQ(raisedBy([&] { fetch(objects); }),
            "NSInvalidArgumentException: Invalid fetch request: GROUP BY requires "
            "NSDictionaryResultType");
  EXPECT_EQ(raisedName([&] {
              NSFetchRequest::init()->setPropertiesToFetch(NSArray::arrayWithObjects("region"));
            }),
            NSInvalidArgumentException)
      << "no entity yet";
}

class GroupingInSQL : public GroupingTest {};
INSTANTIATE_TEST_SUITE_P(Stores, GroupingInSQL, ::testing::Values(NSSQLiteStoreType), nameOfStore);

TEST_P(GroupingInSQL, WhatSQLCanGroupIsOneStatementOverTheColumns) {
  addSales();
  const auto of = [&](const Ref<NSFetchRequest>& wanted) {
    std::string all;
    for (const std::string& sql : statementsOf([&] { fetch(wanted); })) all += sql + "\n";
    return all;
  };
  auto grouped = rows("Sale", {"region", computed("total", "sum(amount)")}, {"region"});
  EXPECT_EQ(of(grouped),
            "SELECT \"object_Sale\".\"region\", ifnull(sum(\"object_Sale\".\"amount\"), 0) FROM "
            "\"object_Sale\" GROUP BY \"object_Sale\".\"region\" ORDER BY "
            "min(\"object_Sale\"._pk)\n");
  auto narrow = rows("Sale", {computed("middle", "median(amount)")}, {"region"});
  EXPECT_EQ(of(narrow),
            "SELECT \"object_Sale\".\"region\", \"object_Sale\".\"amount\" FROM \"object_Sale\" "
            "ORDER BY \"object_Sale\"._pk\n");
  auto plain = rows("Sale", {"region", "shop.name"});
  plain->setFetchLimit(2);
  EXPECT_EQ(of(plain),
            "SELECT \"object_Sale\".\"region\", t1.\"name\" FROM \"object_Sale\" LEFT JOIN "
            "\"object_Shop\" AS t1 ON t1._pk = \"object_Sale\".\"shop\" ORDER BY "
            "\"object_Sale\"._pk LIMIT ?1 OFFSET ?2\n");
}

// ---- Dictionaries of records --------------------------------------------------------------------

TEST_P(GroupingTest, DictionariesHoldIdentifiersAndWhatPathsToOneLeadTo) {
  addSales();
  EXPECT_EQ(told(rows("Sale", {"objectID", "shop", "shop.city", "shop.name"})),
            "{objectID=Sale1 shop.city=City1 shop.name=Left shop=Shop1} "
            "{objectID=Sale2 shop.name=Right shop=Shop2} "
            "{objectID=Sale3 shop.city=City1 shop.name=Left shop=Shop1} {objectID=Sale4} "
            "{objectID=Refund5 shop.city=City1 shop.name=Left shop=Shop1}");
  const Value shop = model->entityWithName("Sale")->relationshipsByName()->objectForKey("shop");
  EXPECT_EQ(told(rows("Refund", {shop, computed("me", NSExpression::expressionForEvaluatedObject(),
                                                NSObjectIDAttributeType)})),
            "{me=Refund5 shop=Shop1}");
}

TEST_P(GroupingTest, AReferenceWhoseRecordHasGoneCountsAsNone) {
  auto seller = insert("Seller", {{"name", "S"}});
  insert("Sale", {{"seller", Value(seller)}});
  save();
  EXPECT_EQ(told(rows("Sale", {"seller", "seller.name"})), "{seller.name=S seller=Seller1}");
  context->deleteObject(seller);
  save();
  EXPECT_EQ(told(rows("Sale", {"seller", "seller.name"})), "{}");
}

TEST_P(GroupingTest, DictionariesHoldWhatIsComputedOfARecord) {
  addSales();
  auto wanted = rows("Sale", {computed("double", "amount * 2"), computed("one", "1"),
                              computed("upper", "uppercase(shop.name)")});
  wanted->setFetchLimit(2);
  EXPECT_EQ(told(wanted), "{double=20 one=1 upper=LEFT} {double=40 one=1 upper=RIGHT}");
}

TEST_P(GroupingTest, DistinctDictionariesKeepTheOrderAndTheLimitIsTheirs) {
  addSales();
  auto wanted = rows("Sale", {"region"});
  wanted->setReturnsDistinctResults(true);
  EXPECT_EQ(told(wanted), "{region=N} {region=S} {}");
  wanted->setSortDescriptors(NSArray::arrayWithObjects(by("amount", false)));
  EXPECT_EQ(told(wanted), "{} {region=N} {region=S}");
  wanted->setFetchOffset(1);
  wanted->setFetchLimit(1);
  EXPECT_EQ(told(wanted), "{region=N}");
}

TEST_P(GroupingTest, OnlyTheAffectedStoresAreAsked) {
  addSales();
  auto wanted = rows("Sale", {computed("number", "count(SELF)")});
  wanted->setAffectedStores(NSArray::arrayWithObjects(store));
  EXPECT_EQ(told(wanted), "{number=5}");
  wanted->setAffectedStores(NSArray::array());
  EXPECT_EQ(told(wanted), "{number=0}");
  auto objects = request("Sale");
  objects->setAffectedStores(NSArray::array());
  EXPECT_EQ(fetch(objects)->count(), 0u);
}

}  // namespace
}  // namespace JNFoundation
