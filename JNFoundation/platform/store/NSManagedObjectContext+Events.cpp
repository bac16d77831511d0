#include <mutex>

#include <JNFoundation/platform/dispatch/NSNotificationCenter.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/impl/ContextChanges.h>
#include <JNFoundation/platform/store/impl/ContextEvents.h>
#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::inline v0_1 {

using impl::ContextEvent;
using impl::ContextObserver;

// ---- Queues -------------------------------------------------------------------------------------

namespace {

struct DefaultExecutor {
  std::mutex mutex;
  /// Guarded by the mutex.
  NSManagedObjectContextExecutor executor;
};

DefaultExecutor& defaultExecutor() {
  static DefaultExecutor& instance = *new DefaultExecutor;
  return instance;
}

}  // namespace

void NSManagedObjectContext::setDefaultExecutor(NSManagedObjectContextExecutor executor) {
  // The former one may do anything as it goes.
  std::lock_guard guard(defaultExecutor().mutex);
  std::swap(defaultExecutor().executor, executor);
}

Ref<NSManagedObjectContext> NSManagedObjectContext::initWithConcurrencyType(
    NSManagedObjectContextConcurrencyType type) {
  NSManagedObjectContextExecutor executor;
  if (type == NSPrivateQueueConcurrencyType) {
    std::lock_guard guard(defaultExecutor().mutex);
    executor = defaultExecutor().executor;
  }
  return initWithConcurrencyTypeExecutor(type, std::move(executor));
}

Ref<NSManagedObjectContext> NSManagedObjectContext::initWithConcurrencyTypeExecutor(
    NSManagedObjectContextConcurrencyType type, NSManagedObjectContextExecutor executor) {
  switch (type) {
    case NSMainQueueConcurrencyType:
      return makeObject<NSManagedObjectContext>(type, nullptr);
    case NSPrivateQueueConcurrencyType:
      if (!executor) {
        raise(
            NSInvalidArgumentException,
            "A context with a queue of its own needs an executor: give it one, or set the default "
            "executor first");
      }
      return makeObject<NSManagedObjectContext>(type, std::move(executor));
  }
  raise(NSInvalidArgumentException, "There is no concurrency type %lu",
        static_cast<unsigned long>(type));
}

void NSManagedObjectContext::performBlock(Block<void()> block) {
  if (!block) fatalError("performBlock: the block must not be null");
  _queue->async([self = Ref<NSManagedObjectContext>(this), block = std::move(block)] {
    block();
    self->processPendingChanges();
  });
}

void NSManagedObjectContext::performBlockAndWait(const Block<void()>& block) {
  if (!block) fatalError("performBlockAndWait: the block must not be null");
  const Ref<NSManagedObjectContext> alive(this);
  _queue->sync(block);
}

// ---- Pending changes ----------------------------------------------------------------------------

void NSManagedObjectContext::noteUpdate(NSManagedObject& object) { _changes->updated.add(object); }

void NSManagedObjectContext::noteEdit(NSManagedObject& object) {
  // What delete rules do to a deleted object is nobody's concern.
  if (!object.isDeleted()) _events->noteUpdated(object);
  noteChange();
}

void NSManagedObjectContext::noteChange() {
  if (_registry->processingIsPosted) return;
  _registry->processingIsPosted = true;
  _queue->async([weak = Weak<NSManagedObjectContext>(this)] {
    const Ref<NSManagedObjectContext> context = weak.load();
    if (!context) return;
    context->_registry->processingIsPosted = false;
    context->processPendingChanges();
  });
}

void NSManagedObjectContext::processPendingChanges() {
  _registry->requireThread();
  if (_propagatesDeletesAtEndOfEvent) propagateDeletes();
  tellChanges();
}

namespace {

Ref<NSDictionary> userInfoOf(const ContextEvent& event) {
  NSDictionary::Builder builder(5);
  const auto add = [&](const char* key, const std::vector<Ref<NSManagedObject>>& objects) {
    if (objects.empty()) return;
    builder.set(NSString::interned(key),
                Value(NSSet::setWithValues({objects.begin(), objects.end()})));
  };
  add(NSInsertedObjectsKey, event.inserted);
  add(NSUpdatedObjectsKey, event.updated);
  add(NSDeletedObjectsKey, event.deleted);
  add(NSRefreshedObjectsKey, event.refreshed);
  if (event.invalidatedAll) builder.set(NSString::interned(NSInvalidatedAllObjectsKey), true);
  return builder.finish();
}

}  // namespace

void NSManagedObjectContext::tellChanges() {
  constexpr int roundLimit = 1000;
  if (_events->isTelling || _events->isEmpty()) return;
  const Ref<NSManagedObjectContext> alive(this);
  struct Telling {
    bool& flag;
    ~Telling() { flag = false; }
  } telling{_events->isTelling};
  _events->isTelling = true;
  for (int round = 0; !_events->isEmpty(); ++round) {
    if (round == roundLimit) {
      // Observers that never stop changing objects go on in the next turn.
      noteChange();
      return;
    }
    const ContextEvent event = _events->take(*_registry);
    _events->forEachObserver(
        [&](ContextObserver& observer) { observer.contextDidChange(*this, event); });
    if (event.isEmpty()) continue;
    const Ref<NSNotificationCenter>& center = NSNotificationCenter::defaultCenter();
    const Ref<NSString> name =
        NSString::interned(NSManagedObjectContextObjectsDidChangeNotification);
    if (center->isObserved(name, Value(this))) {
      center->postNotificationNameObjectUserInfo(name, Value(this), userInfoOf(event));
    }
    if (_propagatesDeletesAtEndOfEvent) propagateDeletes();
  }
}

}  // namespace JNFoundation
