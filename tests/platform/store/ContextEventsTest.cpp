#include "tests/platform/store/RelationshipFixture.h"
#include "tests/platform/store/WorkerPool.h"

#include <JNFoundation/platform/dispatch/NSNotificationCenter.h>

namespace JNFoundation {
namespace {

using testing::runTurn;

/// Writes down what a context tells, by the titles of the objects.
class Listening {
 public:
  explicit Listening(const Ref<NSManagedObjectContext>& context, const char* key = "title")
      : _key(key) {
    const auto listen = [&](const char* name, auto method) {
      _observers.push_back(
          NSNotificationCenter::defaultCenter()->addObserverForNameObjectUsingBlock(
              name, Value(context), [this, method](const Ref<NSNotification>& notification) {
                (this->*method)(notification);
              }));
    };
    listen(NSManagedObjectContextObjectsDidChangeNotification, &Listening::changed);
    listen(NSManagedObjectContextWillSaveNotification, &Listening::willSave);
    listen(NSManagedObjectContextDidSaveNotification, &Listening::didSave);
  }
  ~Listening() {
    for (const Ref<NSObject>& observer : _observers) {
      NSNotificationCenter::defaultCenter()->removeObserver(observer);
    }
  }

  /// What was told since the last time.
  std::string heard() { return std::exchange(_heard, ""); }

  Block<void()> whenChanged;

 private:
  void changed(const Ref<NSNotification>& notification) {
    _heard += "changed(";
    add(notification,
        {NSInsertedObjectsKey, NSUpdatedObjectsKey, NSDeletedObjectsKey, NSRefreshedObjectsKey});
    if (!notification->userInfo()->objectForKey(NSInvalidatedAllObjectsKey).isNull()) {
      _heard += " all";
    }
    _heard += ")";
    if (whenChanged) whenChanged();
  }
  void willSave(const Ref<NSNotification>& notification) {
    EXPECT_FALSE(notification->userInfo());
    _heard += "will";
  }
  void didSave(const Ref<NSNotification>& notification) {
    _heard += "did(";
    add(notification, {NSInsertedObjectsKey, NSUpdatedObjectsKey, NSDeletedObjectsKey});
    _heard += ")";
  }

  void add(const Ref<NSNotification>& notification, const std::vector<const char*>& keys) {
    for (const char* key : keys) {
      const Value set = notification->userInfo()->objectForKey(key);
      if (set.isNull()) continue;
      std::vector<std::string> titles;
      for (const Value& object : *as<NSSet>(set)) {
        const auto& one = *as<NSManagedObject>(object);
        titles.push_back(one.primitiveValueForKey(_key).description()->toStdString());
      }
      std::sort(titles.begin(), titles.end());
      if (titles.empty()) continue;
      _heard += (_heard.back() == '(' ? "" : " ") + std::string(key) + ":";
      for (const std::string& title : titles) _heard += " " + title;
    }
  }

  const char* _key;
  std::string _heard;
  std::vector<Ref<NSObject>> _observers;
};

class ContextEventsTest : public EveryStoreTest {
 protected:
  Ref<NSManagedObject> book(const char* title) { return insert("Book", {{"title", title}}); }
};

TEST_P(ContextEventsTest, WhatATurnHasChangedIsToldOnceAtItsEnd) {
  auto a = book("A");
  save();
  Listening listening(context);
  auto b = book("B");
  a->setValueForKey("A2", "title");
  a->setValueForKey("A3", "title");
  b->setValueForKey("B2", "title");
  EXPECT_EQ(listening.heard(), "");
  runTurn();
  EXPECT_EQ(listening.heard(), "changed(inserted: B2 updated: A3)");
  runTurn();
  EXPECT_EQ(listening.heard(), "");
  context->deleteObject(a);
  context->processPendingChanges();
  EXPECT_EQ(listening.heard(), "changed(deleted: A3)");
}

TEST_P(ContextEventsTest, WhatCameAndWentIsNotTold) {
  Listening listening(context);
  context->deleteObject(book("A"));
  context->processPendingChanges();
  EXPECT_EQ(listening.heard(), "");
  auto b = book("B");
  context->processPendingChanges();
  EXPECT_EQ(listening.heard(), "changed(inserted: B)");
  context->deleteObject(b);
  context->processPendingChanges();
  EXPECT_EQ(listening.heard(), "changed(deleted: B)");
}

TEST_P(ContextEventsTest, ADeletionTakenBackIsAnUpdateOrAnInsertion) {
  auto a = book("A");
  save();
  Listening listening(context);
  context->deleteObject(a);
  context->insertObject(a);
  context->processPendingChanges();
  EXPECT_EQ(listening.heard(), "changed(updated: A)");
  context->deleteObject(a);
  context->processPendingChanges();
  context->insertObject(a);
  context->processPendingChanges();
  EXPECT_EQ(listening.heard(), "changed(deleted: A)changed(inserted: A)");
}

TEST_P(ContextEventsTest, AFetchTellsFirstAndItsObjectsAreNotTold) {
  book("A");
  save();
  context->reset();
  Listening listening(context);
  book("B");
  EXPECT_EQ(fetch(request("Book"))->count(), 2u);
  EXPECT_EQ(listening.heard(), "changed(inserted: B)");
  runTurn();
  EXPECT_EQ(listening.heard(), "");
}

TEST_P(ContextEventsTest, ASaveTellsBeforeWithinAndAfter) {
  auto a = book("A"), b = book("B");
  save();
  Listening listening(context);
  book("C");
  a->setValueForKey("A2", "title");
  context->deleteObject(b);
  save();
  EXPECT_EQ(listening.heard(),
            "willchanged(inserted: C updated: A2 deleted: B)did(inserted: C updated: A2 deleted: "
            "B)");
  save();
  EXPECT_EQ(listening.heard(), "");
}

TEST_P(ContextEventsTest, TheIdentifiersThatASaveTellsArePermanent) {
  Ref<NSDictionary> told;
  const auto observer = NSNotificationCenter::defaultCenter()->addObserverForNameObjectUsingBlock(
      NSManagedObjectContextDidSaveNotification, Value(context),
      [&](const Ref<NSNotification>& notification) { told = notification->userInfo(); });
  auto a = book("A");
  save();
  NSNotificationCenter::defaultCenter()->removeObserver(observer);
  const Value inserted = told->objectForKey(NSInsertedObjectIDsKey);
  ASSERT_TRUE(as<NSSet>(inserted));
  EXPECT_EQ(as<NSSet>(inserted)->count(), 1u);
  EXPECT_TRUE(as<NSSet>(inserted)->containsObject(Value(a->objectID())));
  EXPECT_FALSE(a->objectID()->isTemporaryID());
  EXPECT_EQ(as<NSSet>(told->objectForKey(NSDeletedObjectIDsKey))->count(), 0u);
}

TEST_P(ContextEventsTest, AFailedSaveTellsNoEnd) {
  Listening listening(context, "text");
  auto note = insert("Note");
  EXPECT_FALSE(context->save());
  EXPECT_EQ(listening.heard(), "willchanged(inserted: (null))");
  note->setValueForKey("T", "text");
  EXPECT_TRUE(context->save());
  EXPECT_EQ(listening.heard(), "willchanged(updated: T)did(inserted: T)");
}

TEST_P(ContextEventsTest, RollbackTellsWhatItTakesBack) {
  auto a = book("A"), b = book("B");
  save();
  Listening listening(context);
  auto c = book("C");
  a->setValueForKey("A2", "title");
  context->deleteObject(b);
  context->processPendingChanges();
  listening.heard();
  context->rollback();
  EXPECT_EQ(listening.heard(), "");
  runTurn();
  EXPECT_EQ(listening.heard(), "changed(inserted: B deleted: C refreshed: A)");
  EXPECT_FALSE(context->hasChanges());
}

TEST_P(ContextEventsTest, ResetTellsThatEverythingIsGoneAndNothingElse) {
  auto a = book("A");
  save();
  Listening listening(context);
  a->setValueForKey("A2", "title");
  book("B");
  context->reset();
  EXPECT_EQ(listening.heard(), "changed( all)");
  runTurn();
  EXPECT_EQ(listening.heard(), "");
}

TEST_P(ContextEventsTest, WhatAnObserverChangesIsToldToAllAfterwards) {
  auto a = book("A");
  save();
  Listening first(context), second(context);
  first.whenChanged = [&] {
    if (a->valueForKey("year") == Value(2000)) return;
    a->setValueForKey(2000, "year");
    context->processPendingChanges();
    EXPECT_EQ(fetch(request("Book"))->count(), 2u);
  };
  book("B");
  context->processPendingChanges();
  EXPECT_EQ(first.heard(), "changed(inserted: B)changed(updated: A)");
  EXPECT_EQ(second.heard(), "changed(inserted: B)changed(updated: A)");
}

TEST_P(ContextEventsTest, AnObserverMaySaveAndItsSaveHasWhatWasChanged) {
  Listening listening(context);
  listening.whenChanged = [&] {
    if (context->hasChanges()) {
      EXPECT_TRUE(context->save());
    }
  };
  book("A");
  context->processPendingChanges();
  EXPECT_EQ(listening.heard(), "changed(inserted: A)willdid(inserted: A)");
  EXPECT_FALSE(context->hasChanges());
}

TEST_P(ContextEventsTest, ObserversThatNeverStopAreStopped) {
  auto a = book("A");
  Listening listening(context);
  std::int64_t count = 0;
  listening.whenChanged = [&] { a->setValueForKey(++count, "year"); };
  context->processPendingChanges();
  EXPECT_GE(count, 10);
  EXPECT_LE(count, 100000);
  listening.whenChanged = nullptr;
}

TEST_P(ContextEventsTest, AContextMayGoWhileItTells) {
  auto other = newContext();
  context->reset();
  Listening listening(context);
  listening.whenChanged = [&] { context = nullptr; };
  book("A");
  NSManagedObjectContext& borrowed = *context;
  borrowed.processPendingChanges();
  EXPECT_EQ(listening.heard(), "changed(inserted: A)");
  EXPECT_FALSE(context);
  context = other;
}

FOR_EVERY_STORE(ContextEventsTest);

}  // namespace
}  // namespace JNFoundation
