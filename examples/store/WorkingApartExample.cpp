#include <condition_variable>
#include <cstdio>
#include <deque>
#include <mutex>
#include <thread>

#include "Examples.h"

#include <JNFoundation/platform/dispatch/NSNotificationCenter.h>
#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace examples {
namespace {

/// A thread that runs tasks one after the other: what an application's pool is to contexts.
class Worker {
 public:
  ~Worker() {
    run(nullptr);
    _thread.join();
  }
  void run(Block<void()> task) {
    std::lock_guard guard(_mutex);
    _tasks.push_back(std::move(task));
    _wakeUp.notify_one();
  }

 private:
  void work() {
    while (true) {
      std::unique_lock lock(_mutex);
      _wakeUp.wait(lock, [this] { return !_tasks.empty(); });
      const Block<void()> task = std::move(_tasks.front());
      _tasks.pop_front();
      lock.unlock();
      if (!task) return;
      task();
    }
  }

  std::mutex _mutex;
  std::condition_variable _wakeUp;
  std::deque<Block<void()>> _tasks;
  std::thread _thread{[this] { work(); }};
};

Worker& worker() {
  static Worker worker;
  return worker;
}

Ref<NSManagedObject> personNamed(const Ref<NSManagedObjectContext>& context, const char* name) {
  auto person =
      NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Person", context);
  person->setValueForKey(name, "name");
  return person;
}

}  // namespace

// begin
void workApart(const Ref<NSManagedObjectContext>& context) {
  // The library has no threads: a private queue runs on an executor of the application.
  auto background = NSManagedObjectContext::initWithConcurrencyTypeExecutor(
      NSPrivateQueueConcurrencyType, [](Block<void()> task) { worker().run(std::move(task)); });
  background->setPersistentStoreCoordinator(context->persistentStoreCoordinator());

  // What others save is merged into the main context, on the main thread, and observers are told.
  context->setAutomaticallyMergesChangesFromParent(true);
  bool isMerged = false;
  const auto center = NSNotificationCenter::defaultCenter();
  const Ref<NSObject> observer = center->addObserverForNameObjectUsingBlock(
      NSManagedObjectContextObjectsDidChangeNotification, Value(context),
      [&](const Ref<NSNotification>& notification) {
        const Value inserted = notification->userInfo()->objectForKey(NSInsertedObjectsKey);
        std::printf("%d new\n", static_cast<int>(as<NSSet>(inserted)->count()));
        isMerged = true;
      });

  background->performBlock([background] {
    personNamed(background, "Di");
    personNamed(background, "Ed");
    Ref<NSError> error;
    background->save(&error);
  });
  while (!isMerged) {
    NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantFuture());
  }
  center->removeObserver(observer);

  // Only identifiers cross from one context to another.
  Ref<NSManagedObjectID> someone;
  background->performBlockAndWait([&] {
    auto all = NSFetchRequest::fetchRequestWithEntityName("Person");
    all->setFetchLimit(1);
    const Value first = background->executeFetchRequestError(all)->firstObject();
    someone = as<NSManagedObject>(first)->objectID();
  });
  auto person = context->objectWithID(someone);

  // A child is a scratch pad: what is done in it is saved into its parent, or forgotten.
  auto form = NSManagedObjectContext::init();
  form->setParentContext(context);
  auto edited = form->objectWithID(person->objectID());
  edited->setValueForKey("Anna", "name");
  std::puts(person->valueForKey("name").description()->UTF8String());
  form->save();  // into the parent, where it waits for the parent's own save
  std::puts(person->valueForKey("name").description()->UTF8String());
  context->rollback();
  std::puts(person->valueForKey("name").description()->UTF8String());
}
// end

}  // namespace examples
