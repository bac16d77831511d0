#include "ImportFixture.h"

#include <JNFoundation/importing/ContextDeferreds.h>

namespace JNFoundation {
namespace {

class ContextDeferreds : public ImportTest {
 protected:
  void SetUp() override {
    importText(
        "[{'code': 'A', 'name': 'a', 'population': 3},"
        " {'code': 'B', 'name': 'b', 'population': 2},"
        " {'code': 'C', 'name': 'c', 'population': 1}]");
  }

  static Ref<NSFetchRequest> byPopulation(const char* format = "TRUEPREDICATE") {
    auto request = NSFetchRequest::fetchRequestWithEntityName("Land");
    request->setPredicate(NSPredicate::predicateWithFormat(format));
    request->setSortDescriptors(NSArray::arrayWithObject(
        NSSortDescriptor::sortDescriptorWithKeyAscending("population", true)));
    return request;
  }

  static std::string codesOf(const Value& objects) {
    std::string codes;
    for (const Value& object : *as<NSArray>(objects)) {
      codes += text(as<NSManagedObject>(object)->valueForKey("code"));
    }
    return codes;
  }

  static NSInteger codeOf(const Value& outcome) {
    const auto* rejected = as<PLVRejected>(outcome);
    const Value value = rejected ? rejected->value() : Value();
    const auto* error = as<NSError>(value);
    return error ? error->code() : 0;
  }
};

TEST_F(ContextDeferreds, AMainContextGivesItsObjects) {
  const Value found = outcomeOf(fetchIn(context, byPopulation()));
  EXPECT_EQ(codesOf(found), "CBA");
}

TEST_F(ContextDeferreds, APrivateContextGivesIdentifiersInTheSameOrder) {
  const Value found = outcomeOf(fetchIn(newPrivateContext(), byPopulation("population < 3")));
  ASSERT_EQ(as<NSArray>(found)->count(), 2u);
  std::string codes;
  for (const Value& identifier : *as<NSArray>(found)) {
    codes += text(context->objectWithID(Ref<NSManagedObjectID>(as<NSManagedObjectID>(identifier)))
                      ->valueForKey("code"));
  }
  EXPECT_EQ(codes, "CB");
}

TEST_F(ContextDeferreds, AnUnsavedObjectOfAPrivateContextGetsItsIdentifier) {
  const auto background = newPrivateContext();
  background->performBlockAndWait([&] {
    const auto land = NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
        "Land", background);
    land->setValueForKey("new", "code");
    land->setValueForKey("new", "name");
  });
  const Value found = outcomeOf(fetchIn(background, byPopulation("code == 'new'")));
  ASSERT_EQ(as<NSArray>(found)->count(), 1u);
  EXPECT_FALSE(as<NSManagedObjectID>(as<NSArray>(found)->objectAtIndex(0))->isTemporaryID());
}

TEST_F(ContextDeferreds, DictionariesAndCountsLeaveAPrivateContextAsTheyAre) {
  const auto request = byPopulation();
  request->setResultType(NSDictionaryResultType);
  const Value found = outcomeOf(fetchIn(newPrivateContext(), request));
  ASSERT_EQ(as<NSArray>(found)->count(), 3u);
  EXPECT_TRUE(isKindOf<NSDictionary>(as<NSArray>(found)->objectAtIndex(0)));
  EXPECT_EQ(outcomeOf(countIn(newPrivateContext(), byPopulation("population > 1"))), Value(2));
}

TEST_F(ContextDeferreds, WhatABackgroundContextFindsArrivesAsObjectsOfTheMainOne) {
  const auto receiver = newContext();
  const Value found = outcomeOf(fetchInto(receiver, newPrivateContext(), byPopulation()));
  EXPECT_EQ(codesOf(found), "CBA");
  const auto first = as<NSManagedObject>(as<NSArray>(found)->objectAtIndex(0));
  EXPECT_EQ(first->managedObjectContext(), receiver);
  const Value none =
      outcomeOf(fetchInto(receiver, newPrivateContext(), byPopulation("code == 'X'")));
  EXPECT_EQ(as<NSArray>(none)->count(), 0u);
}

TEST_F(ContextDeferreds, WhatTheReceiverHasDeletedIsLeftOut) {
  const Ref<NSArray> all = context->executeFetchRequestError(byPopulation());
  context->deleteObject(as<NSManagedObject>(all->objectAtIndex(1)));
  const Value found = outcomeOf(fetchInto(context, newPrivateContext(), byPopulation()));
  EXPECT_EQ(codesOf(found), "CA");
}

TEST_F(ContextDeferreds, TheRequestIsTheOneOfTheCall) {
  const auto request = byPopulation();
  auto fetching = fetchIn(newPrivateContext(), request);
  request->setFetchLimit(1);
  EXPECT_EQ(as<NSArray>(outcomeOf(std::move(fetching)))->count(), 3u);
}

TEST_F(ContextDeferreds, ABadRequestIsARejection) {
  const Value outcome =
      outcomeOf(fetchIn(context, NSFetchRequest::fetchRequestWithEntityName("Unknown")));
  EXPECT_TRUE(isKindOf<PLVRejected>(outcome));
}

TEST_F(ContextDeferreds, ASaveGivesNothingOrItsError) {
  const auto background = newPrivateContext();
  background->performBlockAndWait([&] {
    NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Land", background)
        ->setValueForKey("D", "code");
  });
  EXPECT_EQ(codeOf(outcomeOf(saveIn(background))), NSValidationMissingMandatoryPropertyError);
  background->performBlockAndWait([&] {
    EXPECT_TRUE(background->hasChanges());
    const Value land = background->insertedObjects()->anyObject();
    as<NSManagedObject>(land)->setValueForKey("d", "name");
  });
  EXPECT_TRUE(outcomeOf(saveIn(background)).isNull());
  EXPECT_EQ(lands().size(), 4u);
}

TEST_F(ContextDeferreds, WorkRunsInTheQueueAndItsResultOnTheMainThread) {
  const auto background = newPrivateContext();
  const Value outcome = outcomeOf(
      runIn(background, [] { return MainQueue::isMainThread(); }).thenResolved([](bool wasMain) {
        EXPECT_TRUE(MainQueue::isMainThread());
        return wasMain;
      }));
  EXPECT_EQ(outcome, Value(false));
}

TEST_F(ContextDeferreds, CancellingBeforeTheWorkBeginsSkipsIt) {
  testing::HeldTasks held;
  const auto background = NSManagedObjectContext::initWithConcurrencyTypeExecutor(
      NSPrivateQueueConcurrencyType, held.executor());
  background->setPersistentStoreCoordinator(coordinator);
  bool hasRun = false;
  const auto work = runIn(background, [&hasRun] { hasRun = true; });
  work.cancel();
  held.runAll();
  EXPECT_FALSE(hasRun);
}

}  // namespace
}  // namespace JNFoundation
