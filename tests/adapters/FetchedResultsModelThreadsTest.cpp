#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>
#include <QtTest/QAbstractItemModelTester>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "tests/platform/store/StoreFixture.h"
#include "tests/platform/text/Randomness.h"

#include <JNFoundation/adapters/FetchedResultsListModel.h>
#include <JNFoundation/adapters/QtHost.h>
#include <JNFoundation/platform/dispatch/Random.h>

namespace JNFoundation {
namespace {

/// One thread for the blocks of a private context.
class Thread {
 public:
  ~Thread() {
    execute(nullptr);
    _thread.join();
  }

  void execute(Block<void()> task) {
    {
      const std::lock_guard lock(_mutex);
      _tasks.push_back(std::move(task));
    }
    _wakes.notify_one();
  }

 private:
  void run() {
    while (true) {
      Block<void()> task;
      {
        std::unique_lock lock(_mutex);
        _wakes.wait(lock, [this] { return !_tasks.empty(); });
        task = std::move(_tasks.front());
        _tasks.pop_front();
      }
      if (!task) return;
      task();
    }
  }

  std::mutex _mutex;
  std::condition_variable _wakes;
  std::deque<Block<void()>> _tasks;
  std::thread _thread{[this] { run(); }};
};

/// What a context on a thread of its own saves reaches a model through the event loop of Qt.
TEST(FetchedResultsModelThreads, AModelFollowsWhatAnotherThreadSaves) {
  int count = 1;
  char name[] = "test";
  char* arguments[] = {name, nullptr};
  const QCoreApplication application(count, arguments);
  const MainQueueScope queue(std::make_unique<QtHost>());
  const TemporaryDirectory directory;
  Thread thread;
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(libraryModel());
  ASSERT_TRUE(coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
      NSSQLiteStoreType, nullptr, NSURL::fileURLWithPath(directory.file("store.sqlite")), nullptr,
      nullptr));
  auto context = NSManagedObjectContext::init();
  context->setPersistentStoreCoordinator(coordinator);
  context->setAutomaticallyMergesChangesFromParent(true);
  auto apart = NSManagedObjectContext::initWithConcurrencyTypeExecutor(
      NSPrivateQueueConcurrencyType, [&](Block<void()> task) { thread.execute(std::move(task)); });
  apart->setPersistentStoreCoordinator(coordinator);

  auto request = NSFetchRequest::fetchRequestWithEntityName("Note");
  request->setSortDescriptors(
      NSArray::arrayWithObjects(NSSortDescriptor::sortDescriptorWithKeyAscending("stars", true),
                                NSSortDescriptor::sortDescriptorWithKeyAscending("text", true)));
  FetchedResultsListModel model(
      NSFetchedResultsController::
          initWithFetchRequestManagedObjectContextSectionNameKeyPathCacheName(request, context,
                                                                              "stars", nullptr));
  model.setDisplay("text");
  ASSERT_TRUE(model.fetch());
  const QAbstractItemModelTester tester(&model,
                                        QAbstractItemModelTester::FailureReportingMode::Fatal);

  constexpr int most = 20;
  const int rounds = testing::rounds(100, 5'000);
  std::atomic<int> saved = 0;
  std::function<void(int)> round = [&](int number) {
    const Ref<NSArray> notes = apart->executeFetchRequestError(request);
    for (const Value& each : notes) {
      const Ref<NSManagedObject> note(as<NSManagedObject>(each));
      note->setValueForKey(static_cast<int>(arc4random_uniform(4)), "stars");
      if (arc4random_uniform(most) == 0) apart->deleteObject(note);
    }
    if (notes->count() < most) {
      auto note =
          NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Note", apart);
      note->setValueForKey("note " + std::to_string(number), "text");
      note->setValueForKey(0, "stars");
    }
    EXPECT_TRUE(apart->save());
    ++saved;
  };
  for (int number = 0; number < rounds; ++number) {
    apart->performBlock([&round, number] { round(number); });
  }
  // The last merge may be seen before its round is counted: the loop wakes once more, after that.
  apart->performBlock([] { dispatch_async_main([] {}); });
  const auto isFollowed = [&] {
    if (saved < rounds) return false;
    const Ref<NSArray> fresh = context->executeFetchRequestError(request);
    if (model.rowCount() != static_cast<int>(fresh->count())) return false;
    for (int row = 0; row < model.rowCount(); ++row) {
      const Value object = fresh->objectAtIndex(static_cast<NSUInteger>(row));
      if (!object.isIdentical(model.objectAt(model.index(row)))) return false;
      const Ref<NSString> text = as<NSObject>(object)->valueForKey("text").stringValue();
      if (model.index(row).data().toString().toStdString() != text->utf8()) return false;
    }
    return true;
  };
  QTimer limit;
  limit.setSingleShot(true);
  limit.start(300'000);
  while (!isFollowed() && limit.isActive()) {
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }
  EXPECT_TRUE(limit.isActive()) << "a save reached the model without waking the loop";
  EXPECT_TRUE(isFollowed());
  EXPECT_GT(model.rowCount(), 0);
}

}  // namespace
}  // namespace JNFoundation
