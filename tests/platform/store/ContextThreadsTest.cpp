#include <array>
#include <atomic>

#include "tests/platform/store/FetchedResultsFixture.h"
#include "tests/platform/store/WorkerPool.h"

#include <JNFoundation/platform/store/NSMergePolicy.h>
#include <JNFoundation/platform/value/NSIndexPath.h>

namespace JNFoundation {
namespace {

using testing::runTurn;
using testing::runUntil;
using testing::WorkerPool;

/// Contexts on threads of their own beside the main one, over either kind of store.
class ContextThreadsTest : public FetchedResultsTest,
                           public ::testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override { open(GetParam(), listModel()); }

  Ref<NSManagedObjectContext> contextOn(const NSManagedObjectContextExecutor& executor) const {
    auto made = NSManagedObjectContext::initWithConcurrencyTypeExecutor(
        NSPrivateQueueConcurrencyType, executor);
    made->setPersistentStoreCoordinator(coordinator);
    return made;
  }

  static Ref<NSManagedObject> makeIn(const Ref<NSManagedObjectContext>& where,
                                     const std::string& name, int rank, const char* group) {
    auto made =
        NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Item", where);
    made->setValueForKey(name, "name");
    made->setValueForKey(rank, "rank");
    made->setValueForKey(group, "group");
    return made;
  }

  static Ref<NSFetchedResultsController> listIn(const Ref<NSManagedObjectContext>& where) {
    auto controller = NSFetchedResultsController::
        initWithFetchRequestManagedObjectContextSectionNameKeyPathCacheName(
            items({by("group"), by("rank"), by("name")}), where, "group", nullptr);
    Ref<NSError> error;
    EXPECT_TRUE(controller->performFetch(&error)) << text(error);
    return controller;
  }

  /// Everything that a context finds, in order, one line each.
  static std::string everythingIn(const Ref<NSManagedObjectContext>& where) {
    Ref<NSError> error;
    const Ref<NSArray> found =
        where->executeFetchRequestError(request("Item", nullptr, {by("name")}), &error);
    EXPECT_TRUE(found) << text(error);
    return found ? linesOf(found) : "";
  }
  static std::string linesOf(const Ref<NSArray>& objects) {
    std::string lines;
    for (const Value& object : objects) {
      for (const char* key : {"name", "rank", "group"}) {
        lines += as<NSObject>(object)->valueForKey(key).description()->toStdString() + " ";
      }
      lines += "\n";
    }
    return lines;
  }
};

TEST_P(ContextThreadsTest, AControllerWorksInTheQueueOfItsContext) {
  WorkerPool pool(2);
  const auto worker = contextOn(pool.executor());
  worker->setAutomaticallyMergesChangesFromParent(true);
  makeIn(context, "a", 1, "x");
  auto b = makeIn(context, "b", 2, "x");
  save();
  Ref<NSFetchedResultsController> controller;
  Ref<ListView> view;
  std::atomic<int> told{0};
  bool wasElsewhere = false;
  worker->performBlockAndWait([&] {
    controller = listIn(worker);
    view = ListView::of(controller);
    EXPECT_EQ(names(controller), "x: a b");
    view->onWill = view->onSection = view->onObject = view->onDid = [&] {
      // Nobody but the worker may look at its objects.
      wasElsewhere = wasElsewhere || MainQueue::isMainThread();
      controller->fetchedObjects()->lastObject().isNull();
    };
    const auto onDid = view->onDid;
    view->onDid = [&, onDid] {
      onDid();
      ++told;
      MainQueue::current().async([] {});
    };
  });
  // What the main context saves.
  b->setValueForKey(0, "rank");
  makeIn(context, "c", 3, "y");
  save();
  runUntil([&] { return told > 0; });
  worker->performBlockAndWait([&] {
    EXPECT_EQ(view->told(), "will, +section 1 y, +c 1.0, >b 0.1 0.0, did");
    EXPECT_EQ(names(controller), "x: b a y: c");
    view->expectTrue();
  });
  // What the worker does itself is told at the end of its block, on its thread.
  worker->performBlock([&] { makeIn(worker, "d", 4, "y"); });
  runUntil([&] { return told > 1; });
  worker->performBlockAndWait([&] {
    EXPECT_EQ(view->told(), "will, +d 1.1, did");
    view->expectTrue();
    EXPECT_TRUE(worker->save());
    view = nullptr;
    controller = nullptr;
  });
  EXPECT_FALSE(wasElsewhere);
  EXPECT_EQ(context->countForFetchRequestError(request("Item")), 4u);
}

TEST_P(ContextThreadsTest, AControllerThatIsLetGoOfInItsQueueIsToldNoMore) {
  WorkerPool pool(1);
  const auto worker = contextOn(pool.executor());
  Ref<NSFetchedResultsController> controller;
  Ref<ListView> view;
  worker->performBlockAndWait([&] {
    makeIn(worker, "a", 1, "x");
    controller = listIn(worker);
    view = ListView::of(controller);
  });
  // Letting go happens in the queue, as everything else.
  worker->performBlockAndWait([&] { controller = nullptr; });
  worker->performBlockAndWait([&] {
    makeIn(worker, "b", 2, "x");
    worker->processPendingChanges();
    EXPECT_EQ(view->told(), "");
    EXPECT_TRUE(worker->save());
    view = nullptr;
  });
}

// Five writers, each with its own objects and some that all of them fight for.
TEST_P(ContextThreadsTest, FourContextsOnQueuesOfTheirOwnAndTheMainOneKeepUp) {
  constexpr int workerCount = 4, rounds = 15, sharedCount = 3;
  WorkerPool pool(workerCount);
  std::vector<Ref<NSManagedObjectID>> shared;
  for (int i = 0; i < sharedCount; ++i) makeIn(context, "shared-" + std::to_string(i), i, "s");
  save();
  const Ref<NSArray> known = fetch(request("Item"));
  for (const Value& object : known) shared.push_back(as<NSManagedObject>(object)->objectID());

  struct Writer {
    Ref<NSManagedObjectContext> context;
    std::vector<Ref<NSManagedObject>> own;
    Ref<NSFetchedResultsController> list;
    Ref<ListView> view;
  };
  std::array<Writer, workerCount + 1> writers;
  for (int i = 0; i <= workerCount; ++i) {
    Writer& writer = writers[static_cast<std::size_t>(i)];
    writer.context = i == workerCount ? context : contextOn(pool.executor());
    writer.context->performBlockAndWait([&] {
      writer.context->setMergePolicy(
          NSMergePolicy::initWithMergeType(NSMergeByPropertyObjectTrumpMergePolicyType));
      writer.context->setAutomaticallyMergesChangesFromParent(true);
      if (i == 0 || i == workerCount) {
        writer.list = listIn(writer.context);
        writer.view = ListView::of(writer.list);
      }
    });
  }

  const auto write = [&](int number, int round) {
    Writer& writer = writers[static_cast<std::size_t>(number)];
    const Ref<NSManagedObjectContext>& mine = writer.context;
    static const char* const groups[] = {"p", "q", "r", "s"};
    writer.own.push_back(makeIn(mine, std::to_string(number) + "-" + std::to_string(round), round,
                                groups[round % 4]));
    if (round % 3 == 1) writer.own.front()->setValueForKey(100 + round, "rank");
    if (round % 4 == 2) writer.own.front()->setValueForKey(groups[(round + number) % 4], "group");
    if (round % 5 == 4) {
      mine->deleteObject(writer.own.back());
      writer.own.pop_back();
    }
    // What all of them write is settled by the merge policy.
    auto contended = mine->objectWithID(shared[static_cast<std::size_t>(round % sharedCount)]);
    contended->setValueForKey(number * 1000 + round, "rank");
    Ref<NSError> error;
    EXPECT_TRUE(mine->save(&error)) << text(error);
    EXPECT_TRUE(mine->executeFetchRequestError(request("Item")));
    if (writer.view) writer.view->expectTrue();
  };

  std::atomic<int> ended{0};
  for (int i = 0; i < workerCount; ++i) {
    for (int round = 0; round < rounds; ++round) {
      writers[static_cast<std::size_t>(i)].context->performBlock([&, i, round] {
        write(i, round);
        if (round < rounds - 1) return;
        ++ended;
        MainQueue::current().async([] {});
      });
    }
  }
  for (int round = 0; round < rounds; ++round) {
    write(workerCount, round);
    runTurn();
  }
  runUntil([&] { return ended == workerCount; });

  // Every save has been posted to everybody by now, behind it stands who asks.
  const std::string stored = everythingIn(newContext());
  EXPECT_EQ(std::count(stored.begin(), stored.end(), '\n'),
            (workerCount + 1) * (rounds - rounds / 5) + sharedCount);
  runTurn();
  for (Writer& writer : writers) {
    writer.context->performBlockAndWait([&] {
      EXPECT_FALSE(writer.context->hasChanges());
      // As it is seen without reading again: what was merged is what the objects hold.
      EXPECT_EQ(everythingIn(writer.context), stored);
      if (writer.list) {
        writer.view->expectTrue();
        EXPECT_GT(writer.view->batches, 0);
        const Ref<NSArray> fresh =
            writer.context->executeFetchRequestError(writer.list->fetchRequest());
        EXPECT_EQ(linesOf(writer.list->fetchedObjects()), linesOf(fresh));
      }
      writer.own.clear();
      writer.view = nullptr;
      writer.list = nullptr;
    });
  }
}

FOR_EVERY_STORE(ContextThreadsTest);

#ifndef NDEBUG
TEST(ContextThreadDeathTest, UseOnAWrongThreadStopsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto misuse = [](auto&& use) {
    MainQueueScope queue;
    auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(libraryModel());
    coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(NSInMemoryStoreType,
                                                                        nullptr, nullptr, nullptr);
    auto context = NSManagedObjectContext::init();
    context->setPersistentStoreCoordinator(coordinator);
    auto book =
        NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Book", context);
    std::thread([&] { use(context, book); }).join();
  };
  using Context = Ref<NSManagedObjectContext>;
  using Object = Ref<NSManagedObject>;
  constexpr const char* message = "was used on a thread that does not have its queue";
  EXPECT_DEATH(misuse([](const Context&, const Object& book) { book->valueForKey("title"); }),
               message);
  EXPECT_DEATH(
      misuse([](const Context&, const Object& book) { book->setValueForKey("A", "title"); }),
      message);
  EXPECT_DEATH(misuse([](const Context& context, const Object&) { context->save(); }), message);
  EXPECT_DEATH(
      misuse([](const Context& context, const Object&) {
        context->executeFetchRequestError(NSFetchRequest::fetchRequestWithEntityName("Book"));
      }),
      message);
  // What may cross does.
  misuse([](const Context& context, const Object& book) {
    book->objectID();
    context->setName("main");
    context->performBlock([] {});
  });
}
#endif

TEST(ContextExecutor, APrivateQueueNeedsAnExecutor) {
  MainQueueScope queue;
  EXPECT_THROW(NSManagedObjectContext::initWithConcurrencyType(NSPrivateQueueConcurrencyType),
               Raised);
  testing::HeldTasks held;
  NSManagedObjectContext::setDefaultExecutor(held.executor());
  auto context = NSManagedObjectContext::initWithConcurrencyType(NSPrivateQueueConcurrencyType);
  EXPECT_EQ(context->concurrencyType(), NSPrivateQueueConcurrencyType);
  NSManagedObjectContext::setDefaultExecutor(nullptr);
  int count = 0;
  context->performBlock([&] { ++count; });
  EXPECT_EQ(count, 0);
  held.runAll();
  EXPECT_EQ(count, 1);
  EXPECT_THROW(NSManagedObjectContext::initWithConcurrencyType(NSPrivateQueueConcurrencyType),
               Raised);
}

}  // namespace
}  // namespace JNFoundation
