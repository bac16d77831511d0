#include "ImportFixture.h"

#include <JNFoundation/importing/ContextDeferreds.h>
#include <JNFoundation/importing/RecordImport.h>
#include <JNFoundation/platform/dispatch/NSNotificationCenter.h>
#include <JNFoundation/platform/store/StatementTrace.h>

namespace JNFoundation {
namespace {

using Texts = std::vector<std::string>;

class RecordImport : public ImportTest {};

/// The numbers of the refused records with the codes of their errors.
std::vector<std::pair<NSUInteger, NSInteger>> refusalsOf(const Ref<ImportReport>& report) {
  std::vector<std::pair<NSUInteger, NSInteger>> refusals;
  for (const auto& refusal : report->refusals()) {
    refusals.emplace_back(refusal.index, refusal.error->code());
  }
  return refusals;
}
using Refusals = std::vector<std::pair<NSUInteger, NSInteger>>;

TEST_F(RecordImport, ARecordWithoutAnObjectBecomesOne) {
  const auto report = importText(
      "[{'code': 'FR', 'name': 'France', 'population': '68'}, {'code': 'DE', 'name': 'Germany'}]");
  ASSERT_TRUE(report);
  EXPECT_EQ(report->inserted(), 2u);
  EXPECT_EQ(report->updated() + report->unchanged() + report->deleted(), 0u);
  EXPECT_EQ(lands(), (Texts{"DE:Germany:-", "FR:France:68"}));
  EXPECT_FALSE(context->hasChanges());
  EXPECT_EQ(text(report), "2 inserted");
}

TEST_F(RecordImport, ARecordIsMappedOntoTheObjectThatItsIdentityFinds) {
  importText("[{'code': 'FR', 'name': 'France', 'population': 1}, {'code': 'DE', 'name': 'D'}]");
  const auto report = importText(
      "[{'code': 'FR', 'meta': {'people': 68}}, {'code': 'DE', 'name': 'D'},"
      " {'code': 'IT', 'name': 'Italy'}]");
  ASSERT_TRUE(report);
  EXPECT_EQ(report->inserted(), 1u);
  EXPECT_EQ(report->updated(), 1u);
  EXPECT_EQ(report->unchanged(), 1u);
  EXPECT_EQ(lands(), (Texts{"DE:D:-", "FR:France:68", "IT:Italy:-"}));
}

TEST_F(RecordImport, WhatIsThereAlreadyIsNotTouchedAndNobodyHearsOfIt) {
  const std::string feed =
      "[{'code': 'FR', 'name': 'France', 'population': '68', 'share': 0.1,"
      " 'founded': '0843-08-10T00:00:00.000Z', 'region': {'code': 'EU', 'name': 'Europe'},"
      " 'languages': [{'code': 'fr'}, {'code': 'br'}], 'capital': {'name': 'Paris'}}]";
  ASSERT_TRUE(importText(feed));
  const auto other = newContext();
  int told = 0;
  const auto observer = NSNotificationCenter::defaultCenter()->addObserverForNameObjectUsingBlock(
      NSManagedObjectContextObjectsDidChangeNotification, nullptr,
      [&told](const Ref<NSNotification>&) { ++told; });
  const auto report = importInto(other, records(feed));
  NSNotificationCenter::defaultCenter()->removeObserver(observer);
  ASSERT_TRUE(report);
  EXPECT_EQ(report->unchanged(), 1u);
  EXPECT_EQ(report->updated() + report->inserted() + report->insertedRelated(), 0u);
  EXPECT_EQ(told, 0);
}

TEST_F(RecordImport, TheIdentityIsWhatTheMapMakesOfTheRecord) {
  ImportOptions options;
  options.identity = NSArray::arrayWithObject("population");
  importText("[{'population': 7, 'name': 'seven', 'code': 'A'}]", options);
  const auto report = importText("[{'population': '7', 'name': 'Seven'}]", options);
  ASSERT_TRUE(report);
  EXPECT_EQ(report->updated(), 1u);
  EXPECT_EQ(lands(), (Texts{"A:Seven:7"}));
}

TEST_F(RecordImport, TheLastKeyThatLeadsToTheIdentityDecidesAsInMapping) {
  ImportOptions options;
  options.identity = NSArray::arrayWithObject("population");
  importText("[{'population': 7, 'name': 'seven'}]", options);
  const auto report =
      importText("[{'population': 1, 'meta': {'people': 7}, 'name': 'Seven'}]", options);
  ASSERT_TRUE(report);
  EXPECT_EQ(report->updated(), 1u);
  EXPECT_EQ(report->inserted(), 0u);
}

TEST_F(RecordImport, AFloatIsFoundByTheValueThatWasGivenForIt) {
  ImportOptions options;
  options.identity = NSArray::arrayWithObject("share");
  importText("[{'share': 0.1, 'name': 'a', 'code': 'A'}]", options);
  const auto report = importText("[{'share': 0.1, 'name': 'b'}]", options);
  ASSERT_TRUE(report);
  EXPECT_EQ(report->updated(), 1u);
}

TEST_F(RecordImport, SeveralAttributesTellObjectsApartTogether) {
  const char* feed =
      "[{'place': 'Nice', 'day': 86400000, 'nights': 1}, {'place': 'Nice', 'day': 0, 'nights': 2},"
      " {'place': 'Rome', 'day': 0, 'nights': 3}]";
  const auto first = importText(feed, {}, "Stay");
  ASSERT_TRUE(first);
  EXPECT_EQ(first->inserted(), 3u);
  const auto second = importText(
      "[{'place': 'Rome', 'day': 86400000, 'nights': 4}, {'place': 'Nice', 'day': 0, 'nights': 5}]",
      {}, "Stay");
  ASSERT_TRUE(second);
  EXPECT_EQ(second->inserted(), 1u);
  EXPECT_EQ(second->updated(), 1u);
}

TEST_F(RecordImport, WithoutAnIdentityEveryRecordBecomesAnObject) {
  ImportOptions options;
  options.identity = NSArray::array();
  const char* feed = "[{'name': 'Paris'}, {'name': 'Paris'}]";
  importText(feed, options, "City");
  const auto report = importText(feed, {}, "City");
  ASSERT_TRUE(report);
  EXPECT_EQ(report->inserted(), 2u);
  EXPECT_EQ(report->duplicates().size(), 0u);
  EXPECT_EQ(
      newContext()->countForFetchRequestError(NSFetchRequest::fetchRequestWithEntityName("City")),
      4u);
}

TEST_F(RecordImport, ObjectsOfDescendantsAreFoundAsWell) {
  importText("[{'code': 'BE', 'name': 'Belgium', 'king': 'Philippe'}]", {}, "Kingdom");
  const auto report = importText("[{'code': 'BE', 'name': 'Belgique'}]");
  ASSERT_TRUE(report);
  EXPECT_EQ(report->updated(), 1u);
  EXPECT_EQ(lands(), (Texts{"BE:Belgique:-"}));
}

TEST_F(RecordImport, DuplicatesAreReportedAndTheLastOneWins) {
  const auto report = importText(
      "[{'code': 'A', 'name': 'first'}, {'code': 'B', 'name': 'b'}, {'code': 'A', 'name': "
      "'second'}]");
  ASSERT_TRUE(report);
  ASSERT_EQ(report->duplicates().size(), 1u);
  EXPECT_EQ(report->duplicates()[0].index, 2u);
  EXPECT_EQ(report->duplicates()[0].firstIndex, 0u);
  EXPECT_EQ(report->inserted(), 2u);
  EXPECT_EQ(lands(), (Texts{"A:second:-", "B:b:-"}));
}

TEST_F(RecordImport, DuplicatesMayBeSkippedAlsoAcrossChunks) {
  const auto report = importText(
      "[{'code': 'A', 'name': 'first'}, {'code': 'B', 'name': 'b'}, {'code': 'A', 'name': "
      "'second'}]",
      {.duplicate = ImportDuplicate::Skip, .chunkSize = 1});
  ASSERT_TRUE(report);
  EXPECT_EQ(report->duplicates().size(), 1u);
  EXPECT_EQ(lands(), (Texts{"A:first:-", "B:b:-"}));
}

TEST_F(RecordImport, WhatIsNoRecordIsRefusedAndTheRestImported) {
  const auto report = importText(
      "['text', {'code': 'A', 'name': 'a'}, null, {'name': 'nobody'}, {'code': null, 'name': "
      "'x'}]");
  ASSERT_TRUE(report);
  EXPECT_EQ(refusalsOf(report), (Refusals{{0, JNImportErrorNotARecord},
                                          {2, JNImportErrorNotARecord},
                                          {3, JNImportErrorNoIdentity},
                                          {4, JNImportErrorNoIdentity}}));
  EXPECT_EQ(lands(), (Texts{"A:a:-"}));
}

TEST_F(RecordImport, WhatAMessageRaisesRefusesItsRecordAlone) {
  importText("[{'code': 'B', 'name': 'b'}]");
  const auto report = importText(
      "[{'code': 'A', 'name': 'a'}, {'code': 'B', 'name': 'changed', 'explode': 1},"
      " {'code': 'C', 'name': 'c', 'region': {'code': 'R'}, 'explode': 1},"
      " {'code': 'D', 'name': 'd'}]");
  ASSERT_TRUE(report);
  EXPECT_EQ(refusalsOf(report), (Refusals{{1, JNImportErrorRaised}, {2, JNImportErrorRaised}}));
  EXPECT_EQ(text(report->refusals()[0].error->localizedDescription()), "Explosion: at 1");
  EXPECT_EQ(lands(), (Texts{"A:a:-", "B:b:-", "D:d:-"}));
  EXPECT_EQ(report->inserted(), 2u);
  EXPECT_EQ(report->insertedRelated(), 0u);
}

TEST_F(RecordImport, AnObjectThatTheModelForbidsIsRefusedAndTheRestOfItsChunkSaved) {
  importText("[{'code': 'B', 'name': 'b'}]");
  const auto report = importText(
      "[{'code': 'A', 'name': 'a'}, {'code': 'B', 'name': null}, {'code': 'C'},"
      " {'code': 'D', 'name': 'd'}]");
  ASSERT_TRUE(report);
  EXPECT_EQ(refusalsOf(report), (Refusals{{1, NSValidationMissingMandatoryPropertyError},
                                          {2, NSValidationMissingMandatoryPropertyError}}));
  EXPECT_EQ(lands(), (Texts{"A:a:-", "B:b:-", "D:d:-"}));
  EXPECT_EQ(report->inserted(), 2u);
  EXPECT_EQ(report->updated(), 0u);
  EXPECT_FALSE(context->hasChanges());
}

TEST_F(RecordImport, ARefusalMayEndTheImportAndWhatIsWrittenStays) {
  const auto report =
      importText("[{'code': 'A', 'name': 'a'}, {'code': 'B', 'name': 'b'}, {'code': 'C'}]",
                 {.refusal = ImportRefusal::Stop, .chunkSize = 2});
  EXPECT_FALSE(report);
  EXPECT_EQ(failureCode(), NSValidationMissingMandatoryPropertyError);
  const auto error = as<NSError>(failure->value());
  EXPECT_EQ(error->userInfo()->objectForKey(JNImportRecordIndexErrorKey), Value(2));
  const auto soFar = as<ImportReport>(error->userInfo()->objectForKey(JNImportReportErrorKey));
  ASSERT_TRUE(soFar);
  EXPECT_EQ(soFar->inserted(), 2u);
  EXPECT_EQ(lands(), (Texts{"A:a:-", "B:b:-"}));
  EXPECT_FALSE(context->hasChanges());
}

TEST_F(RecordImport, AllOrNothingWritesNothingWhenARecordIsRefused) {
  importText("[{'code': 'A', 'name': 'a'}]");
  EXPECT_FALSE(importText(
      "[{'code': 'A', 'name': 'changed'}, {'code': 'B', 'name': 'b'}, {'code': 'C'}]",
      {.commit = ImportCommit::AllOrNothing, .absent = ImportAbsent::Delete, .chunkSize = 1}));
  EXPECT_EQ(failureCode(), NSValidationMissingMandatoryPropertyError);
  EXPECT_EQ(as<NSError>(failure->value())->userInfo()->objectForKey(JNImportRecordIndexErrorKey),
            Value(2));
  EXPECT_EQ(lands(), (Texts{"A:a:-"}));
  EXPECT_FALSE(context->hasChanges());
}

TEST_F(RecordImport, AllOrNothingFindsWhatItHasMadeInAnEarlierChunk) {
  const auto report = importText(
      "[{'code': 'A', 'name': 'a'}, {'code': 'B', 'name': 'b'}, {'code': 'A', 'name': 'again'}]",
      {.commit = ImportCommit::AllOrNothing, .chunkSize = 1});
  ASSERT_TRUE(report);
  EXPECT_EQ(report->inserted(), 2u);
  EXPECT_EQ(lands(), (Texts{"A:again:-", "B:b:-"}));
}

TEST_F(RecordImport, ObjectsThatAreAbsentAreDeletedWhenTheCallerAsks) {
  importText(
      "[{'code': 'A', 'name': 'a'}, {'code': 'B', 'name': 'b'}, {'code': 'C', 'name': 'c'}]");
  const auto kept = importText("[{'code': 'A', 'name': 'a'}]");
  EXPECT_EQ(kept->deleted(), 0u);
  const auto report = importText("[{'code': 'B', 'name': 'b'}, {'code': 'D', 'name': 'd'}]",
                                 {.absent = ImportAbsent::Delete, .chunkSize = 1});
  ASSERT_TRUE(report);
  EXPECT_EQ(report->deleted(), 2u);
  EXPECT_EQ(lands(), (Texts{"B:b:-", "D:d:-"}));
}

TEST_F(RecordImport, OnlyObjectsOfTheScopeAreAbsent) {
  importText(
      "[{'code': 'A', 'name': 'a', 'population': 1}, {'code': 'B', 'name': 'b', 'population': 2}]");
  ImportOptions options{.absent = ImportAbsent::Delete};
  options.scope = NSPredicate::predicateWithFormat("population == 1");
  const auto report = importText("[]", options);
  ASSERT_TRUE(report);
  EXPECT_EQ(report->deleted(), 1u);
  EXPECT_EQ(lands(), (Texts{"B:b:2"}));
}

TEST_F(RecordImport, NothingIsDeletedWhenARecordCannotBeToldApart) {
  importText("[{'code': 'A', 'name': 'a'}]");
  const auto report =
      importText("[{'name': 'A without its code'}]", {.absent = ImportAbsent::Delete});
  ASSERT_TRUE(report);
  EXPECT_TRUE(report->keptAbsentObjects());
  EXPECT_EQ(lands(), (Texts{"A:a:-"}));
}

TEST_F(RecordImport, ARefusedRecordIsNotAbsent) {
  importText("[{'code': 'A', 'name': 'a'}]");
  const auto report = importText("[{'code': 'A', 'explode': 1}]", {.absent = ImportAbsent::Delete});
  ASSERT_TRUE(report);
  EXPECT_EQ(report->deleted(), 0u);
  EXPECT_EQ(lands(), (Texts{"A:a:-"}));
}

TEST_F(RecordImport, AnImportGoesOnWhereAnEarlierOneEnded) {
  const std::string feed =
      "[{'code': 'A', 'name': 'a'}, {'code': 'B', 'name': 'b'}, {'code': 'C', 'name': 'c'}]";
  importText("[{'code': 'A', 'name': 'as it was'}, {'code': 'X', 'name': 'x'}]");
  ImportOptions options{.absent = ImportAbsent::Delete, .chunkSize = 1, .firstRecord = 1};
  std::vector<NSUInteger> done;
  options.progress = [&done](const ImportProgress& progress) {
    EXPECT_EQ(progress.recordsTotal, 3u);
    done.push_back(progress.recordsDone);
  };
  const auto report = importText(feed, options);
  ASSERT_TRUE(report);
  EXPECT_EQ(report->inserted(), 2u);
  EXPECT_EQ(lands(), (Texts{"A:as it was:-", "B:b:-", "C:c:-"}));
  ASSERT_GE(done.size(), 2u);
  EXPECT_EQ(done[0], 2u);
  EXPECT_EQ(done[1], 3u);
}

TEST_F(RecordImport, AFirstRecordBehindTheEndImportsNothing) {
  const auto report = importText("[{'code': 'A', 'name': 'a'}]", {.firstRecord = 7});
  ASSERT_TRUE(report);
  EXPECT_EQ(text(report), "nothing to import");
  EXPECT_EQ(lands(), Texts{});
}

TEST_F(RecordImport, AnEmptyListAndNullImportNothing) {
  EXPECT_TRUE(importText("[]"));
  EXPECT_TRUE(importInto(context, nullptr));
}

TEST_F(RecordImport, AChunkOfNothingCountsAsOne) {
  const auto report =
      importText("[{'code': 'A', 'name': 'a'}, {'code': 'B', 'name': 'b'}]", {.chunkSize = 0});
  ASSERT_TRUE(report);
  EXPECT_EQ(report->inserted(), 2u);
}

TEST_F(RecordImport, AContextWithUnsavedChangesIsRefusedAndKeepsThem) {
  const auto land =
      NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Land", context);
  EXPECT_FALSE(importText("[{'code': 'A', 'name': 'a'}]"));
  EXPECT_EQ(failureCode(), JNImportErrorContextInUse);
  EXPECT_TRUE(context->insertedObjects()->containsObject(land));
}

TEST_F(RecordImport, TwoImportsInOneContextAreNotMixedUp) {
  const Ref<NSArray> list = records("[{'code': 'A', 'name': 'a'}, {'code': 'B', 'name': 'b'}]");
  Deferred<Ref<ImportReport>> first =
      importRecords(list, "Land", context, {.chunkSize = 1, .slice = 0});
  const Value second = outcomeOf(importRecords(list, "Land", context));
  ASSERT_TRUE(isKindOf<PLVRejected>(second));
  EXPECT_EQ(as<NSError>(as<PLVRejected>(second)->value())->code(), JNImportErrorContextInUse);
  EXPECT_TRUE(isKindOf<ImportReport>(outcomeOf(std::move(first).untyped())));
  EXPECT_EQ(lands(), (Texts{"A:a:-", "B:b:-"}));
  EXPECT_TRUE(importInto(context, list));
}

TEST_F(RecordImport, WhatIsNoEntityOrNoIdentityIsRefused) {
  EXPECT_FALSE(importText("[]", {}, "Unknown"));
  EXPECT_EQ(failureCode(), JNImportErrorBadEntity);
  EXPECT_FALSE(importText("[]", {}, "Thing"));
  EXPECT_EQ(failureCode(), JNImportErrorBadEntity);
  ImportOptions options;
  options.identity = NSArray::arrayWithObject("unknown");
  EXPECT_FALSE(importText("[]", options));
  EXPECT_EQ(failureCode(), JNImportErrorBadEntity);
  EXPECT_FALSE(importText("[]", {.absent = ImportAbsent::Delete}, "City"));
  EXPECT_EQ(failureCode(), JNImportErrorBadEntity);
  EXPECT_TRUE(importText("[]"));
}

TEST_F(RecordImport, OnTheMainThreadOtherTasksHaveTheirTurnBetweenSlices) {
  std::string list = "[";
  for (int i = 0; i < 10; ++i) {
    list += (i ? ", " : "") + std::string("{'code': 'L") + std::to_string(i) + "', 'name': 'n'}";
  }
  auto import_ = importRecords(records(list + "]"), "Land", context, {.slice = 0});
  int turns = 0;
  while (!import_.untyped()->isResolved()) {
    testing::runTurn();
    ++turns;
  }
  EXPECT_GT(turns, 10);
  EXPECT_EQ(lands().size(), 10u);
}

TEST_F(RecordImport, AnObjectThatGoesBetweenTwoSlicesIsMadeAnew) {
  importText("[{'code': 'B', 'name': 'old'}]");
  auto import_ = importRecords(
      records("[{'code': 'A', 'name': 'a'}, {'code': 'B', 'name': 'new', 'population': 2}]"),
      "Land", context, {.slice = 0});
  // The chunk has been looked up as soon as its first record is here.
  while (context->insertedObjects()->count() == 0) testing::runTurn();
  const Ref<NSArray> found = context->executeFetchRequestError([] {
    auto request = NSFetchRequest::fetchRequestWithEntityName("Land");
    request->setPredicate(NSPredicate::predicateWithFormat("code == 'B'"));
    return request;
  }());
  ASSERT_EQ(found->count(), 1u);
  context->deleteObject(as<NSManagedObject>(found->objectAtIndex(0)));
  EXPECT_TRUE(isKindOf<ImportReport>(outcomeOf(std::move(import_).untyped())));
  EXPECT_EQ(lands(), (Texts{"A:a:-", "B:new:2"}));
}

TEST_F(RecordImport, CancellingLeavesWhatIsWrittenAndNothingUnsaved) {
  ImportOptions options{.chunkSize = 1, .slice = 0};
  Ref<PLVDeferred> running;
  options.progress = [&running](const ImportProgress& progress) {
    if (progress.recordsDone == 2) running->cancel();
  };
  running = importRecords(records("[{'code': 'A', 'name': 'a'}, {'code': 'B', 'name': 'b'},"
                                  " {'code': 'C', 'name': 'c'}]"),
                          "Land", context, options)
                .untyped();
  const Value outcome = outcomeOf(running);
  ASSERT_TRUE(isKindOf<PLVRejected>(outcome));
  EXPECT_TRUE(as<PLVRejected>(outcome)->isCancellation());
  running = nullptr;
  for (int i = 0; i < 20; ++i) testing::runTurn();
  EXPECT_EQ(lands(), (Texts{"A:a:-", "B:b:-"}));
  EXPECT_FALSE(context->hasChanges());
  EXPECT_TRUE(importText("[{'code': 'C', 'name': 'c'}]"));
}

TEST_F(RecordImport, CancellingInTheMiddleOfAChunkRollsItBack) {
  const auto running =
      importRecords(records("[{'code': 'A', 'name': 'a'}, {'code': 'B', 'name': 'b'}]"), "Land",
                    context, {.slice = 0})
          .untyped();
  while (context->insertedObjects()->count() == 0) testing::runTurn();
  running->cancel();
  for (int i = 0; i < 20; ++i) testing::runTurn();
  EXPECT_FALSE(context->hasChanges());
  EXPECT_EQ(lands(), Texts{});
}

TEST_F(RecordImport, CancellingBeforeItBeginsDoesNothingToTheContext) {
  const auto running =
      importRecords(records("[{'code': 'A', 'name': 'a'}]"), "Land", context).untyped();
  running->cancel();
  const auto land =
      NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Land", context);
  for (int i = 0; i < 20; ++i) testing::runTurn();
  EXPECT_TRUE(context->insertedObjects()->containsObject(land));
}

TEST_F(RecordImport, APrivateContextImportsOnItsOwnThread) {
  const auto background = newPrivateContext();
  context->setAutomaticallyMergesChangesFromParent(true);
  std::string list = "[";
  for (int i = 0; i < 300; ++i) {
    list += (i ? ", " : "") + std::string("{'code': 'L") + std::to_string(i % 200) +
            "', 'name': 'n" + std::to_string(i) + "', 'region': {'code': 'R" +
            std::to_string(i % 7) + "'}}";
  }
  NSUInteger chunks = 0;
  ImportOptions options{.chunkSize = 50};
  options.progress = [&chunks](const ImportProgress&) {
    EXPECT_TRUE(MainQueue::isMainThread());
    ++chunks;
  };
  const auto report = importInto(background, records(list + "]"), options);
  ASSERT_TRUE(report) << text(failure);
  EXPECT_EQ(report->inserted(), 200u);
  EXPECT_EQ(report->duplicates().size(), 100u);
  EXPECT_EQ(report->insertedRelated(), 7u);
  EXPECT_GE(chunks, 6u);
  EXPECT_EQ(lands().size(), 200u);
}

TEST_F(RecordImport, APrivateImportMayBeCancelledAtAnyMoment) {
  std::string list = "[";
  for (int i = 0; i < 200; ++i) {
    list += (i ? ", " : "") + std::string("{'code': 'L") + std::to_string(i) + "', 'name': 'n'}";
  }
  const Ref<NSArray> feed = records(list + "]");
  for (int round = 0; round < 20; ++round) {
    const auto background = newPrivateContext();
    const auto running = importRecords(feed, "Land", background, {.chunkSize = 10}).untyped();
    for (int i = 0; i < round; ++i) testing::runTurn();
    running->cancel();
    bool hasChanges = true;
    background->performBlockAndWait([&] { hasChanges = background->hasChanges(); });
    EXPECT_FALSE(hasChanges);
    for (int i = 0; i < 5; ++i) testing::runTurn();
    EXPECT_EQ(lands().size() % 10, 0u) << "a chunk is written as a whole";
  }
}

TEST_F(RecordImport, AnExecutorThatDropsTheWorkFailsTheImport) {
  testing::HeldTasks held;
  const auto background = NSManagedObjectContext::initWithConcurrencyTypeExecutor(
      NSPrivateQueueConcurrencyType, held.executor());
  background->setPersistentStoreCoordinator(coordinator);
  auto import_ = importRecords(records("[{'code': 'A', 'name': 'a'}]"), "Land", background);
  held.dropAll();
  const Value outcome = outcomeOf(std::move(import_).untyped());
  ASSERT_TRUE(isKindOf<PLVRejected>(outcome));
  EXPECT_EQ(as<NSError>(as<PLVRejected>(outcome)->value())->code(), JNDeferredErrorNotRun);
}

TEST_F(RecordImport, AConflictThatNobodySettlesFailsAndLeavesNothingUnsaved) {
  importText("[{'code': 'A', 'name': 'a', 'population': 1}]");
  const auto other = newContext();
  ImportOptions options{.slice = 0};
  auto import_ =
      importRecords(records("[{'code': 'A', 'name': 'mine'}, {'code': 'B', 'name': 'b'}]"), "Land",
                    context, options);
  while (!context->hasChanges()) testing::runTurn();
  const Ref<NSArray> found =
      other->executeFetchRequestError(NSFetchRequest::fetchRequestWithEntityName("Land"));
  as<NSManagedObject>(found->objectAtIndex(0))->setValueForKey("theirs", "name");
  ASSERT_TRUE(other->save());
  const Value outcome = outcomeOf(std::move(import_).untyped());
  ASSERT_TRUE(isKindOf<PLVRejected>(outcome));
  EXPECT_EQ(as<NSError>(as<PLVRejected>(outcome)->value())->code(), NSManagedObjectMergeError);
  EXPECT_FALSE(context->hasChanges());
  EXPECT_EQ(lands(), (Texts{"A:theirs:1"}));
}

class RecordImportInSQLite : public ImportTest {
 protected:
  RecordImportInSQLite() : ImportTest(NSSQLiteStoreType) {}

  /// The statements that begin with the word.
  int countOf(std::string_view word) const {
    int count = 0;
    for (const std::string& statement : statements) count += statement.rfind(word, 0) == 0;
    return count;
  }

  Texts statements;
};

TEST_F(RecordImportInSQLite, AChunkIsLookedUpInOneFetchAndWrittenInOneTransaction) {
  std::string list = "[";
  for (int i = 0; i < 100; ++i) {
    list += (i ? ", " : "") + std::string("{'code': 'L") + std::to_string(i) +
            "', 'name': 'n', 'region': {'code': 'R" + std::to_string(i % 3) + "'}}";
  }
  const Ref<NSArray> feed = records(list + "]");
  ASSERT_TRUE(importInto(context, feed));
  const auto reading = newContext();
  {
    const StatementObserverScope observer(
        [this](const StatementTrace& trace) { statements.emplace_back(trace.sql); });
    ASSERT_TRUE(importInto(reading, feed, {.chunkSize = 50}));
  }
  // Twice the lands and twice the regions.
  EXPECT_EQ(countOf("SELECT"), 4) << ::testing::PrintToString(statements);
  EXPECT_EQ(countOf("UPDATE"), 0);
  EXPECT_EQ(countOf("INSERT"), 0);
}

TEST_F(RecordImportInSQLite, AllOrNothingIsOneTransaction) {
  {
    const StatementObserverScope observer(
        [this](const StatementTrace& trace) { statements.emplace_back(trace.sql); });
    ASSERT_TRUE(importText("[{'code': 'A', 'name': 'a'}, {'code': 'B', 'name': 'b'}]",
                           {.commit = ImportCommit::AllOrNothing, .chunkSize = 1}));
  }
  EXPECT_EQ(countOf("COMMIT"), 1) << ::testing::PrintToString(statements);
}

}  // namespace
}  // namespace JNFoundation
