#include "SalesFixture.h"
#include "tests/platform/value/Raising.h"

#include <JNFoundation/platform/store/NSBatchInsertRequest.h>

namespace JNFoundation {
namespace {

using testing::raisedName;

class BatchSizeTest : public SalesTest {
 protected:
  void addSales(int count) {
    for (int i = 0; i < count; ++i) insert("Sale", {{"amount", i}});
    save();
    context->reset();
  }

  static Ref<NSFetchRequest> batched(NSUInteger size) {
    auto wanted = request("Sale", nullptr, {by("amount")});
    wanted->setFetchBatchSize(size);
    return wanted;
  }

  static std::int64_t amountOf(const Value& sale) {
    return as<NSObject>(sale)->valueForKey("amount").longLongValue();
  }

  NSUInteger registered() const { return context->registeredObjects()->count(); }
};
FOR_EVERY_STORE(BatchSizeTest);

class BatchSizeInSQL : public BatchSizeTest {};
INSTANTIATE_TEST_SUITE_P(Stores, BatchSizeInSQL, ::testing::Values(NSSQLiteStoreType), nameOfStore);

TEST_P(BatchSizeTest, ABatchIsReadWhenOneOfItsObjectsIsAskedFor) {
  addSales(100);
  auto sales = fetch(batched(10));
  EXPECT_EQ(sales->count(), 100u);
  EXPECT_EQ(registered(), 0u) << "counting reads nothing";
  EXPECT_EQ(amountOf(sales->objectAtIndex(35)), 35);
  EXPECT_EQ(registered(), 10u);
  const Value first = sales->firstObject();
  EXPECT_TRUE(as<NSManagedObject>(first)->isFault());
  EXPECT_EQ(amountOf(first), 0);
  EXPECT_EQ(sales->objectAtIndex(0), first) << "one object for a record";
  EXPECT_EQ(raisedName([&] { sales->objectAtIndex(100); }), NSRangeException);
}

TEST_P(BatchSizeTest, AWalkGivesEveryObjectInOrderAndKeepsAFewBatches) {
  addSales(103);
  auto sales = fetch(batched(10));
  std::int64_t next = 0;
  NSUInteger most = 0;
  for (const Value& sale : sales) {
    EXPECT_EQ(amountOf(sale), next++);
    most = std::max(most, registered());
  }
  EXPECT_EQ(next, 103);
  EXPECT_LE(most, 50u) << "what nobody has is read again";
  EXPECT_EQ(amountOf(sales->firstObject()), 0);
  EXPECT_EQ(amountOf(sales->lastObject()), 102);
  sales = nullptr;
  EXPECT_EQ(registered(), 0u);
}

TEST_P(BatchSizeTest, TheArrayIsAnArrayInEveryRespect) {
  addSales(25);
  auto sales = fetch(batched(4));
  auto plain = fetch(request("Sale", nullptr, {by("amount")}));
  EXPECT_EQ(Value(sales), Value(plain));
  EXPECT_EQ(Value(plain), Value(sales));
  EXPECT_EQ(sales->indexOfObject(plain->objectAtIndex(17)), 17u);
  EXPECT_EQ(Value(sales->subarrayWithRange({10, 3})), Value(plain->subarrayWithRange({10, 3})));
  EXPECT_EQ(sales->valueForKey("amount"), plain->valueForKey("amount"));
  EXPECT_EQ(Value(sales->reversedArray()), Value(plain->reversedArray()));
  EXPECT_TRUE(isKindOf<NSArray>(Value(sales)));
}

TEST_P(BatchSizeTest, UnsavedChangesArePartOfTheArray) {
  addSales(20);
  auto changed = fetch(request("Sale", NSPredicate::predicateWithFormat("amount == 3")));
  const Value third = changed->firstObject();
  as<NSManagedObject>(third)->setValueForKey(100, "amount");
  auto fresh = insert("Sale", {{"amount", 7}});
  auto gone = fetch(request("Sale", NSPredicate::predicateWithFormat("amount == 0")));
  const Value zero = gone->firstObject();
  context->deleteObject(Ref<NSManagedObject>(as<NSManagedObject>(zero)));
  auto wanted = batched(6);
  auto sales = fetch(wanted);
  ASSERT_EQ(sales->count(), 20u);
  EXPECT_EQ(amountOf(sales->firstObject()), 1);
  EXPECT_EQ(sales->lastObject(), third);
  EXPECT_EQ(sales->objectAtIndex(6), Value(fresh)) << "behind the saved one of the same amount";
  save();
  EXPECT_EQ(sales->objectAtIndex(6), Value(fresh)) << "whatever its identifier is by now";
  wanted->setFetchOffset(2);
  wanted->setFetchLimit(5);
  EXPECT_EQ(fetch(wanted)->count(), 5u);
}

TEST_P(BatchSizeTest, AnObjectThatIsGoneMeanwhileIsAFaultThatCannotBeFilled) {
  addSales(10);
  auto sales = fetch(batched(5));
  auto other = newContext();
  for (const Value& value : other->executeFetchRequestError(
           request("Sale", NSPredicate::predicateWithFormat("amount == 8")))) {
    other->deleteObject(Ref<NSManagedObject>(as<NSManagedObject>(value)));
  }
  ASSERT_TRUE(other->save());
  EXPECT_EQ(sales->count(), 10u);
  EXPECT_EQ(amountOf(sales->objectAtIndex(9)), 9);
  const Value gone = sales->objectAtIndex(8);
  EXPECT_TRUE(as<NSManagedObject>(gone)->isFault());
  context->setShouldDeleteInaccessibleFaults(false);
  EXPECT_EQ(raisedName([&] { amountOf(gone); }), NSObjectInaccessibleException);
}

TEST_P(BatchSizeTest, AfterAResetNothingCanBeRead) {
  addSales(10);
  auto sales = fetch(batched(5));
  EXPECT_EQ(amountOf(sales->firstObject()), 0);
  context->reset();
  EXPECT_EQ(raisedName([&] { sales->objectAtIndex(7); }), NSObjectInaccessibleException);
  auto others = fetch(batched(5));
  context = nullptr;
  EXPECT_EQ(others->count(), 10u);
  EXPECT_EQ(raisedName([&] { others->objectAtIndex(7); }), NSObjectInaccessibleException);
}

TEST_P(BatchSizeTest, AStoreThatIsRemovedCannotBeRead) {
  addSales(10);
  auto sales = fetch(batched(5));
  ASSERT_TRUE(coordinator->removePersistentStoreError(store));
  EXPECT_EQ(raisedName([&] { sales->objectAtIndex(7); }), NSObjectInaccessibleException);
}

TEST_P(BatchSizeTest, SettingsOfTheRequestHoldForEachBatch) {
  auto shop = insert("Shop", {{"name", "S"}});
  for (int i = 0; i < 10; ++i) insert("Sale", {{"amount", i}, {"shop", Value(shop)}});
  save();
  shop = nullptr;
  context->reset();
  auto whole = batched(5);
  whole->setReturnsObjectsAsFaults(false);
  whole->setRelationshipKeyPathsForPrefetching(NSArray::arrayWithObjects("shop"));
  auto sales = fetch(whole);
  const Value sale = sales->objectAtIndex(5);
  EXPECT_FALSE(as<NSManagedObject>(sale)->isFault());
  EXPECT_EQ(registered(), 6u) << "its batch and the shop";
  auto bare = batched(5);
  bare->setIncludesPropertyValues(false);
  sales = nullptr;
  EXPECT_EQ(amountOf(fetch(bare)->objectAtIndex(9)), 9) << "read one by one";
}

TEST_P(BatchSizeTest, DictionariesComeInBatchesOnlyIfTheyAreIdentified) {
  addSales(10);
  auto wanted = rows("Sale", {"objectID", "amount"});
  wanted->setSortDescriptors(NSArray::arrayWithObjects(by("amount", false)));
  const Value plain = Value(fetch(wanted));
  wanted->setFetchBatchSize(3);
  auto batches = fetch(wanted);
  EXPECT_EQ(batches->contiguousElements(), nullptr);
  EXPECT_EQ(Value(batches), plain);
  auto bare = rows("Sale", {"amount"});
  bare->setFetchBatchSize(3);
  EXPECT_NE(fetch(bare)->contiguousElements(), nullptr);
}

TEST_P(BatchSizeTest, ABatchOfABlockPredicateIsOneLikeOthers) {
  addSales(20);
  auto wanted = batched(3);
  wanted->setPredicate(NSPredicate::predicateWithBlock(
      [](const Value& sale, const Ref<NSDictionary>&) { return amountOf(sale) % 2 == 0; }));
  auto sales = fetch(wanted);
  ASSERT_EQ(sales->count(), 10u);
  EXPECT_EQ(amountOf(sales->objectAtIndex(4)), 8);
}

TEST_P(BatchSizeInSQL, AStatementForTheIdentifiersAndOneForEachBatch) {
  addSales(100);
  Ref<NSArray> sales;
  EXPECT_EQ(statementsOf([&] { sales = fetch(batched(20)); }).size(), 1u);
  EXPECT_EQ(statementsOf([&] { sales->count(); }).size(), 0u);
  EXPECT_EQ(statementsOf([&] { sales->objectAtIndex(50); }).size(), 1u);
  EXPECT_EQ(statementsOf([&] { amountOf(sales->objectAtIndex(59)); }).size(), 0u);
  EXPECT_EQ(statementsOf([&] {
              for (const Value& sale : sales) amountOf(sale);
            }).size(),
            4u)
      << "one batch was there";
}

TEST_P(BatchSizeTest, AHundredThousandAreWalkedWithoutKeepingThem) {
  std::int64_t next = 0;
  constexpr std::int64_t total = 100'000;
  Ref<NSError> error;
  const Value inserted = context->executeRequestError(
      NSBatchInsertRequest::batchInsertRequestWithEntityNameDictionaryHandler(
          "Sale",
          [&](const Ref<NSMutableDictionary>& object) {
            object->setObjectForKey(next, "amount");
            return next++ == total;
          }),
      &error);
  ASSERT_FALSE(inserted.isNull()) << text(error);
  auto sales = fetch(batched(1000));
  ASSERT_EQ(sales->count(), static_cast<NSUInteger>(total));
  std::int64_t sum = 0;
  NSUInteger most = 0, index = 0;
  for (const Value& sale : sales) {
    sum += amountOf(sale);
    if (++index % 10'000 == 0) most = std::max(most, registered());
  }
  EXPECT_EQ(sum, total * (total - 1) / 2);
  EXPECT_LE(most, 5000u);
}

}  // namespace
}  // namespace JNFoundation
