#include <thread>

#include "tests/fetched/SampleFixture.h"
#include "tests/platform/store/WorkerPool.h"
#include "tests/platform/text/Randomness.h"

#include <JNFoundation/fetched/PLVRandomFetchedResultsController.h>
#include <JNFoundation/fetched/ResultsStream.h>
#include <JNFoundation/fetched/StickySampleController.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/store/NSBatchDeleteRequest.h>
#include <JNFoundation/platform/store/NSBatchDeleteResult.h>
#include <JNFoundation/platform/store/NSBatchInsertRequest.h>
#include <JNFoundation/platform/store/NSBatchInsertResult.h>
#include <JNFoundation/platform/store/NSBatchUpdateRequest.h>
#include <JNFoundation/platform/store/NSBatchUpdateResult.h>

namespace JNFoundation {
namespace {

using testing::Randomness;
using testing::runUntil;

/// Samples on the main thread, of records that are changed elsewhere.
class SampleThreadsTest : public SampleTest, public ::testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override { open(GetParam(), listModel()); }

  void show(NSUInteger limit) {
    random = sampledOf(limit);
    strip = StripView::of(random);
    sticky =
        StickySampleController::initWithFetchRequestManagedObjectContextSampleLimitRandomSource(
            items(), context, limit, nullptr);
    ASSERT_TRUE(sticky->performFetch());
    list = ListView::of(sticky);
    strip->onDid = [this] { strip->expectTrue(); };
    list->onDid = [this] { list->expectTrue(); };
  }

  /// Both are what they are told to be, full, and of records that are there.
  void expectTrue(NSUInteger limit) {
    process();
    strip->expectTrue();
    list->expectTrue();
    const Ref<NSArray> fresh = context->executeFetchRequestError(items());
    ASSERT_TRUE(fresh);
    ASSERT_TRUE(sticky->results()->fetchedObjects()->isEqualToArray(fresh));
    ASSERT_EQ(sticky->fetchedObjects()->count(), std::min(limit, fresh->count()));
    for (const Value& object : sticky->fetchedObjects()) ASSERT_TRUE(fresh->containsObject(object));
    for (const NSUInteger index : random->sample()->sampleIndexes()) {
      ASSERT_LT(index, fresh->count());
      ASSERT_TRUE(random->fetchedObjects()->containsObject(fresh->objectAtIndex(index)));
    }
  }

  void merge(const char* key, const Value& identifiers) {
    ASSERT_TRUE(isKindOf<NSArray>(identifiers));
    NSManagedObjectContext::mergeChangesFromRemoteContextSaveIntoContexts(
        NSDictionary::dictionaryWithObjectForKey(identifiers, Value(key)),
        NSArray::arrayWithObject(Value(context)));
  }

  Ref<PLVRandomFetchedResultsController> random;
  Ref<StripView> strip;
  Ref<StickySampleController> sticky;
  Ref<ListView> list;
};

TEST_P(SampleThreadsTest, SavesOfPrivateContextsAreFollowedAsTheyCome) {
  Randomness randomness;
  JN_TRACE_SEED(randomness);
  constexpr NSUInteger limit = 10;
  for (int i = 0; i < 20; ++i) item(std::to_string(i).c_str(), i);
  save();
  context->setAutomaticallyMergesChangesFromParent(true);
  show(limit);
  const auto stream = ResultsStream::withController(sticky->results());
  int events = 0;
  const auto observation = stream->observe([&](const Ref<ResultsEvent>&) { ++events; });

  constexpr int workers = 2;
  const int saves = testing::rounds(60, 3'000);
  int left = workers;
  std::vector<std::uint64_t> seeds;
  seeds.reserve(workers);
  for (int i = 0; i < workers; ++i) seeds.push_back(randomness.bits());
  std::atomic<int> failures{0};
  testing::WorkerPool pool(workers);
  for (int worker = 0; worker < workers; ++worker) {
    auto background = NSManagedObjectContext::initWithConcurrencyTypeExecutor(
        NSPrivateQueueConcurrencyType, pool.executor());
    background->setPersistentStoreCoordinator(coordinator);
    background->performBlock([&, background, worker] {
      EXPECT_FALSE(MainQueue::isMainThread());
      std::mt19937_64 engine(seeds[static_cast<std::size_t>(worker)]);
      std::vector<Ref<NSManagedObject>> mine;
      for (int round = 0; round < saves; ++round) {
        for (auto edits = 1 + engine() % 4; edits > 0; --edits) {
          const auto what = engine() % 4;
          if (mine.empty() || (what == 0 && mine.size() < 30)) {
            mine.push_back(
                NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
                    "Item", background));
            mine.back()->setValueForKey(static_cast<int>(engine() % 100), "rank");
          } else if (what == 1) {
            background->deleteObject(mine.back());
            mine.pop_back();
          } else {
            const auto& object = mine[engine() % mine.size()];
            object->setValueForKey(static_cast<int>(engine() % 100), what == 2 ? "rank" : "score");
          }
        }
        if (!background->save()) ++failures;
      }
      MainQueue::current().async([&left] { --left; });
    });
  }
  // Meanwhile the main thread has changes and wishes of its own.
  int turns = 0;
  runUntil([&] {
    if (++turns % 7 == 0) sticky->reshuffle();
    if (turns % 11 == 0) {
      random->resampleFetchedObjects();
      strip->reload();
    }
    return left == 0;
  });
  for (int i = 0; i < 3; ++i) testing::runTurn();
  EXPECT_EQ(failures, 0);
  EXPECT_GT(events, 1);
  expectTrue(limit);
}

TEST_P(SampleThreadsTest, BatchRequestsAreFollowedOnceTheyAreMerged) {
  fill({"A", "B", "C"});
  show(5);
  EXPECT_EQ(list->sections[0].rows.size(), 3u);

  int number = 0;
  auto insertion = NSBatchInsertRequest::batchInsertRequestWithEntityNameDictionaryHandler(
      "Item", [&](const Ref<NSMutableDictionary>& record) {
        record->setObjectForKey("N", "name");
        record->setObjectForKey(100 + number, "rank");
        return ++number > 20;
      });
  insertion->setResultType(NSBatchInsertRequestResultTypeObjectIDs);
  const Value inserted = newContext()->executeRequestError(insertion, nullptr);
  ASSERT_TRUE(inserted);
  process();
  EXPECT_EQ(list->batches + strip->batches, 0) << "nobody has told the context";
  merge(NSInsertedObjectsKey, as<NSBatchInsertResult>(inserted)->result());
  process();
  EXPECT_EQ(random->fetchedObjects()->count(), 5u);
  expectTrue(5);
  EXPECT_EQ(list->batches, 1);

  auto update = NSBatchUpdateRequest::batchUpdateRequestWithEntityName("Item");
  update->setPropertiesToUpdate(NSDictionary::dictionaryWithObjectForKey("M", "name"));
  update->setResultType(NSUpdatedObjectIDsResultType);
  const Value updated = newContext()->executeRequestError(update, nullptr);
  ASSERT_TRUE(updated);
  strip->changes.clear();
  merge(NSUpdatedObjectsKey, as<NSBatchUpdateResult>(updated)->result());
  process();
  EXPECT_EQ(strip->changes.size(), 5u) << "every sampled object is updated";
  EXPECT_EQ(list->objectChanges.size(), 5u);
  for (const Value& object : sticky->fetchedObjects()) {
    EXPECT_EQ(as<NSObject>(object)->valueForKey("name").description()->toStdString(), "M");
  }
  expectTrue(5);

  auto deletion = NSBatchDeleteRequest::initWithFetchRequest(
      request("Item", NSPredicate::predicateWithFormat("rank > 102")));
  deletion->setResultType(NSBatchDeleteResultTypeObjectIDs);
  const Value deleted = newContext()->executeRequestError(deletion, nullptr);
  ASSERT_TRUE(deleted);
  merge(NSDeletedObjectsKey, as<NSBatchDeleteResult>(deleted)->result());
  process();
  expectTrue(5);
  EXPECT_EQ(random->fetchedObjects()->count(), 5u);
}

FOR_EVERY_STORE(SampleThreadsTest);

}  // namespace
}  // namespace JNFoundation
