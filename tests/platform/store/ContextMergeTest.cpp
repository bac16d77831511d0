#include "tests/platform/store/RelationshipFixture.h"
#include "tests/platform/store/WorkerPool.h"

#include <JNFoundation/platform/dispatch/NSNotificationCenter.h>
#include <JNFoundation/platform/store/NSBatchDeleteRequest.h>
#include <JNFoundation/platform/value/NSIndexSet.h>

namespace JNFoundation {
namespace {

using testing::runTurn;

/// A second context over the same stores; `context` is the one that saves, mostly.
class ContextMergeTest : public CompanyTest {
 protected:
  void SetUp() override {
    CompanyTest::SetUp();
    other = newContext();
    _observer = NSNotificationCenter::defaultCenter()->addObserverForNameObjectUsingBlock(
        NSManagedObjectContextDidSaveNotification, Value(context),
        [this](const Ref<NSNotification>& notification) { saved = notification; });
    _listener = NSNotificationCenter::defaultCenter()->addObserverForNameObjectUsingBlock(
        NSManagedObjectContextObjectsDidChangeNotification, Value(other),
        [this](const Ref<NSNotification>& notification) { note(*notification->userInfo()); });
  }
  void TearDown() override {
    NSNotificationCenter::defaultCenter()->removeObserver(_observer);
    NSNotificationCenter::defaultCenter()->removeObserver(_listener);
    other = nullptr;
  }

  Ref<NSManagedObject> there(const Ref<NSManagedObject>& object) {
    return other->objectWithID(object->objectID());
  }
  /// The same with its values read.
  Ref<NSManagedObject> readThere(const Ref<NSManagedObject>& object) {
    Ref<NSManagedObject> found = there(object);
    found->valueForKey("name");
    return found;
  }
  Ref<NSManagedObject> makeThere(const char* entity, const char* name) {
    auto object =
        NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(entity, other);
    object->setValueForKey(name, "name");
    return object;
  }
  void merge() {
    other->processPendingChanges();
    told.clear();
    other->mergeChangesFromContextDidSaveNotification(saved);
  }
  void saveThere() {
    Ref<NSError> error;
    ASSERT_TRUE(other->save(&error)) << text(error);
  }

  Ref<NSManagedObjectContext> other;
  Ref<NSNotification> saved;
  /// What the other context told of the last merge, by name.
  std::string told;

 private:
  void note(const NSDictionary& userInfo) {
    for (const char* key :
         {NSInsertedObjectsKey, NSUpdatedObjectsKey, NSDeletedObjectsKey, NSRefreshedObjectsKey}) {
      const Value set = userInfo.objectForKey(key);
      if (set.isNull()) continue;
      std::vector<std::string> names;
      for (const Value& object : *as<NSSet>(set)) {
        const auto& one = *as<NSManagedObject>(object);
        const Value name =
            one.managedObjectContext() ? one.valueForKey("name") : one.primitiveValueForKey("name");
        names.push_back(name.description()->toStdString());
      }
      std::sort(names.begin(), names.end());
      told += (told.empty() ? "" : " ") + std::string(key) + ":";
      for (const std::string& name : names) told += " " + name;
    }
  }

  Ref<NSObject> _observer;
  Ref<NSObject> _listener;
};

TEST_P(ContextMergeTest, UpdatesInsertionsAndDeletionsOfAnotherContextAreTakenOver) {
  auto ann = make("Person", "Ann"), bob = make("Person", "Bob"), cy = make("Person", "Cy");
  save();
  auto annThere = readThere(ann), cyThere = readThere(cy);
  ann->setValueForKey("Anna", "name");
  bob->setValueForKey("Bobby", "name");
  context->deleteObject(cy);
  make("Person", "Di");
  save();
  EXPECT_EQ(annThere->valueForKey("name"), Value("Ann"));
  merge();
  EXPECT_EQ(told, "inserted: Di deleted: Cy refreshed: Anna Bobby");
  EXPECT_EQ(annThere->valueForKey("name"), Value("Anna"));
  EXPECT_FALSE(cyThere->managedObjectContext());
  EXPECT_FALSE(other->hasChanges());
}

TEST_P(ContextMergeTest, ChangesMadeHereStayOnTop) {
  auto ann = make("Person", "Ann");
  auto desk = make("Desk", "D");
  save();
  auto annThere = readThere(ann);
  annThere->setValueForKey("Annie", "name");
  ann->setValueForKey("Anna", "name");
  ann->setValueForKey(desk, "desk");
  save();
  merge();
  EXPECT_EQ(annThere->valueForKey("name"), Value("Annie"));
  EXPECT_EQ(names(annThere, "desk"), "D");
  EXPECT_EQ(annThere->changedValues()->count(), 1u);
  EXPECT_EQ(
      annThere->committedValuesForKeys(NSArray::arrayWithObject("name"))->objectForKey("name"),
      Value("Anna"));
  // What was merged is what a save is based on.
  saveThere();
  EXPECT_EQ(anew("Person", "Annie")->valueForKey("name"), Value("Annie"));
}

TEST_P(ContextMergeTest, AnObjectDeletedHereStaysDeletedAndCanBeSaved) {
  auto ann = make("Person", "Ann");
  save();
  other->deleteObject(readThere(ann));
  ann->setValueForKey("Anna", "name");
  save();
  merge();
  EXPECT_EQ(other->deletedObjects()->count(), 1u);
  saveThere();
  EXPECT_EQ(newContext()->countForFetchRequestError(request("Person")), 0u);
}

TEST_P(ContextMergeTest, WhomOthersRelateToAnObjectDeletedHereIsMetByItsRules) {
  auto ann = make("Person", "Ann"), bob = make("Person", "Bob"), cy = make("Person", "Cy");
  auto one = make("Department", "One");
  save();
  auto annThere = readThere(ann), bobThere = readThere(bob), cyThere = readThere(cy);
  annThere->valueForKey("friends");
  other->deleteObject(bobThere);
  other->deleteObject(readThere(one));
  other->processPendingChanges();
  annThere->mutableSetValueForKey("friends")->addObject(Value(cyThere));
  relate(ann, "friends", {Value(bob)});
  ann->setValueForKey(one, "department");
  save();
  merge();
  EXPECT_EQ(names(annThere, "friends"), "Cy");
  EXPECT_EQ(names(annThere, "department"), "");
  saveThere();
  EXPECT_EQ(names(anew("Person", "Ann"), "friends"), "Cy");
}

TEST_P(ContextMergeTest, AnObjectDeletedElsewhereGoesWithItsChanges) {
  auto ann = make("Person", "Ann");
  save();
  auto annThere = readThere(ann);
  annThere->setValueForKey("Annie", "name");
  context->deleteObject(ann);
  save();
  merge();
  EXPECT_EQ(told, "deleted: Annie");
  EXPECT_FALSE(other->hasChanges());
  EXPECT_FALSE(annThere->managedObjectContext());
}

TEST_P(ContextMergeTest, WhoWasRelatedToADeletedObjectHereIsRelatedToNobody) {
  auto one = make("Department", "One");
  save();
  auto oneThere = readThere(one);
  auto bob = makeThere("Person", "Bob");
  bob->setValueForKey(oneThere, "department");
  context->deleteObject(one);
  save();
  merge();
  EXPECT_TRUE(bob->valueForKey("department").isNull());
  saveThere();
  EXPECT_EQ(names(anew("Person", "Bob"), "department"), "");
}

TEST_P(ContextMergeTest, ARollbackDoesNotBringBackWhomOthersHaveDeleted) {
  auto ann = make("Person", "Ann"), bob = make("Person", "Bob"), cy = make("Person", "Cy"),
       di = make("Person", "Di");
  save();
  // Whoever deletes Bob has read before whom he knows, and does not tell the others of it.
  EXPECT_EQ(names(bob, "friends"), "");
  auto annThere = readThere(ann), bobThere = readThere(bob), cyThere = readThere(cy),
       diThere = readThere(di);
  relate(bobThere, "friends", {Value(annThere), Value(cyThere), Value(diThere)});
  relate(annThere, "friends", {Value(diThere)});
  saveThere();
  EXPECT_EQ(names(annThere, "friends"), "Bob Di");
  EXPECT_EQ(names(cyThere, "friends"), "Bob");
  EXPECT_EQ(names(diThere, "friends"), "Ann Bob");
  context->deleteObject(bob);
  save();
  annThere->mutableSetValueForKey("friends")->removeObject(Value(bobThere));
  other->deleteObject(cyThere);
  other->processPendingChanges();
  EXPECT_EQ(names(annThere, "friends"), "Di");
  merge();
  EXPECT_EQ(told, "deleted: Bob refreshed: Ann Cy Di");
  EXPECT_EQ(names(annThere, "friends"), "Di");
  const auto keys = NSArray::arrayWithObject("friends");
  const Value before = annThere->committedValuesForKeys(keys)->objectForKey("friends");
  EXPECT_EQ(as<NSSet>(before)->count(), 1u) << before.description()->utf8();
  other->rollback();
  EXPECT_EQ(names(annThere, "friends"), "Di");
  EXPECT_EQ(names(cyThere, "friends"), "");
  EXPECT_EQ(names(diThere, "friends"), "Ann");
  EXPECT_FALSE(other->hasChanges());
}

TEST_P(ContextMergeTest, ARollbackDoesNotLeadBackToADestinationThatOthersHaveDeleted) {
  auto one = make("Department", "One"), two = make("Department", "Two");
  auto ann = make("Person", "Ann"), bob = make("Person", "Bob");
  ann->setValueForKey(one, "department");
  bob->setValueForKey(one, "department");
  save();
  auto annThere = readThere(ann), bobThere = readThere(bob), twoThere = readThere(two);
  const Ref<NSManagedObjectID> oneID = one->objectID();
  // A request past the objects tells what it has deleted, and not whom it has related to nobody.
  Ref<NSError> error;
  context->executeRequestError(
      NSBatchDeleteRequest::initWithObjectIDs(NSArray::arrayWithObject(Value(oneID))), &error);
  ASSERT_FALSE(error) << text(error);
  annThere->setValueForKey(twoThere, "department");
  bobThere->setValueForKey(nullptr, "department");
  NSManagedObjectContext::mergeChangesFromRemoteContextSaveIntoContexts(
      NSDictionary::dictionaryWithObjectForKey(NSArray::arrayWithObject(Value(oneID)),
                                               Value(NSDeletedObjectIDsKey)),
      NSArray::arrayWithObject(Value(other)));
  EXPECT_EQ(names(annThere, "department"), "Two");
  EXPECT_TRUE(bobThere->valueForKey("department").isNull());
  other->rollback();
  EXPECT_TRUE(annThere->valueForKey("department").isNull());
  EXPECT_TRUE(bobThere->valueForKey("department").isNull());
  EXPECT_EQ(names(twoThere, "people"), "");
}

TEST_P(ContextMergeTest, BothEndsOfRelationshipsAgreeAfterwards) {
  auto one = make("Department", "One"), two = make("Department", "Two"),
       three = make("Department", "Three");
  auto ann = make("Person", "Ann"), bob = make("Person", "Bob");
  ann->setValueForKey(one, "department");
  bob->setValueForKey(one, "department");
  save();
  auto oneThere = readThere(one), twoThere = readThere(two), threeThere = readThere(three);
  EXPECT_EQ(names(oneThere, "people"), "Ann Bob");
  EXPECT_EQ(names(twoThere, "people") + names(threeThere, "people"), "");
  // Here Ann goes to Two; elsewhere she goes to Three, and Bob to Two.
  readThere(ann)->setValueForKey(twoThere, "department");
  auto annThere = there(ann);
  ann->setValueForKey(three, "department");
  bob->setValueForKey(two, "department");
  save();
  merge();
  EXPECT_EQ(names(annThere, "department"), "Two");
  EXPECT_EQ(names(oneThere, "people"), "");
  EXPECT_EQ(names(twoThere, "people"), "Ann Bob");
  EXPECT_EQ(names(threeThere, "people"), "");
  saveThere();
  EXPECT_EQ(names(anew("Department", "Two"), "people"), "Ann Bob");
  EXPECT_EQ(names(anew("Department", "Three"), "people"), "");
}

TEST_P(ContextMergeTest, MembersAddedOnBothSidesAreAllThere) {
  auto ann = make("Person", "Ann");
  auto s = make("Skill", "s"), t = make("Skill", "t"), u = make("Skill", "u");
  relate(ann, "skills", {Value(s)});
  save();
  auto annThere = readThere(ann);
  EXPECT_EQ(names(annThere, "skills"), "s");
  annThere->mutableSetValueForKey("skills")->addObject(Value(there(t)));
  annThere->mutableSetValueForKey("skills")->removeObject(Value(there(s)));
  relate(ann, "skills", {Value(u)});
  save();
  merge();
  EXPECT_EQ(names(annThere, "skills"), "t u");
  saveThere();
  EXPECT_EQ(names(anew("Person", "Ann"), "skills"), "t u");
}

TEST_P(ContextMergeTest, AnOrderChangedHereStaysAndWhatCameStandsBehind) {
  auto one = departmentWithTasks({"a", "b", "c"});
  auto oneThere = readThere(one);
  EXPECT_EQ(names(oneThere, "tasks"), "a b c");
  oneThere->mutableOrderedSetValueForKey("tasks")->moveObjectsAtIndexesToIndex(
      NSIndexSet::indexSetWithIndex(2), 0);
  auto tasks = one->mutableOrderedSetValueForKey("tasks");
  tasks->addObject(Value(make("Task", "d")));
  tasks->removeObjectAtIndex(1);
  save();
  merge();
  EXPECT_EQ(names(oneThere, "tasks"), "c a d");
  saveThere();
  EXPECT_EQ(names(anew("Department", "One"), "tasks"), "c a d");
}

TEST_P(ContextMergeTest, WithoutMergingTheContextKeepsWhatItHasRead) {
  auto ann = make("Person", "Ann");
  save();
  auto annThere = readThere(ann);
  ann->setValueForKey("Anna", "name");
  save();
  other->executeFetchRequestError(request("Person"));
  EXPECT_EQ(annThere->valueForKey("name"), Value("Ann"));
  annThere->setValueForKey("Annie", "name");
  Ref<NSError> error;
  EXPECT_FALSE(other->save(&error));
  EXPECT_EQ(error->code(), NSManagedObjectMergeError);
}

TEST_P(ContextMergeTest, SavesAreMergedByThemselvesWhenAskedFor) {
  auto ann = make("Person", "Ann");
  save();
  auto annThere = readThere(ann);
  EXPECT_FALSE(other->automaticallyMergesChangesFromParent());
  other->setAutomaticallyMergesChangesFromParent(true);
  other->setAutomaticallyMergesChangesFromParent(true);
  ann->setValueForKey("Anna", "name");
  save();
  EXPECT_EQ(annThere->valueForKey("name"), Value("Ann"));
  runTurn();
  EXPECT_EQ(annThere->valueForKey("name"), Value("Anna"));
  EXPECT_EQ(told, "refreshed: Anna");
  // Its own saves are no news.
  annThere->setValueForKey("Annie", "name");
  saveThere();
  told.clear();
  runTurn();
  EXPECT_EQ(told, "");
  other->setAutomaticallyMergesChangesFromParent(false);
  context->refreshAllObjects();
  ann->setValueForKey("A", "name");
  save();
  runTurn();
  EXPECT_EQ(annThere->valueForKey("name"), Value("Annie"));
}

TEST_P(ContextMergeTest, ChangesComeAsIdentifiersOrAddressesToo) {
  auto ann = make("Person", "Ann"), bob = make("Person", "Bob");
  save();
  auto annThere = readThere(ann), bobThere = readThere(bob);
  ann->setValueForKey("Anna", "name");
  const Ref<NSManagedObjectID> bobID = bob->objectID();
  context->deleteObject(bob);
  save();
  NSDictionary::Builder builder(2);
  builder.set(NSUpdatedObjectsKey,
              NSArray::arrayWithObject(Value(ann->objectID()->URIRepresentation())));
  builder.set(NSDeletedObjectIDsKey, NSSet::setWithObject(Value(bobID)));
  const Ref<NSDictionary> changes = builder.finish();
  NSManagedObjectContext::mergeChangesFromRemoteContextSaveIntoContexts(
      changes, NSArray::arrayWithObject(Value(other)));
  EXPECT_EQ(annThere->valueForKey("name"), Value("Anna"));
  EXPECT_FALSE(bobThere->managedObjectContext());
  EXPECT_THROW(NSManagedObjectContext::mergeChangesFromRemoteContextSaveIntoContexts(
                   NSDictionary::dictionaryWithObjectForKey(NSArray::arrayWithObject(Value(3)),
                                                            Value(NSUpdatedObjectsKey)),
                   NSArray::arrayWithObject(Value(other))),
               Raised);
}

TEST_P(ContextMergeTest, MergingNothingOrItsOwnSaveDoesNothing) {
  auto ann = make("Person", "Ann");
  save();
  ann->setValueForKey("Anna", "name");
  context->mergeChangesFromContextDidSaveNotification(saved);
  EXPECT_EQ(ann->valueForKey("name"), Value("Anna"));
  other->mergeChangesFromContextDidSaveNotification(nullptr);
  other->mergeChangesFromContextDidSaveNotification(
      NSNotification::notificationWithNameObjectUserInfo("else", nullptr));
  EXPECT_EQ(told, "");
}

TEST_P(ContextMergeTest, RefreshingReadsTheRecordAndKeepsOrDropsChanges) {
  auto ann = make("Person", "Ann"), bob = make("Person", "Bob"), cy = make("Person", "Cy");
  save();
  auto annThere = readThere(ann), bobThere = readThere(bob), cyThere = readThere(cy);
  annThere->setValueForKey("Annie", "name");
  bobThere->setValueForKey("Bobbie", "name");
  for (const auto& object : {ann, bob, cy}) object->setValueForKey("new", "name");
  save();
  other->processPendingChanges();
  told.clear();
  other->refreshObjectMergeChanges(annThere, true);
  other->refreshObjectMergeChanges(bobThere, false);
  other->refreshObjectMergeChanges(cyThere, true);
  EXPECT_FALSE(annThere->isFault());
  EXPECT_TRUE(bobThere->isFault());
  EXPECT_TRUE(cyThere->isFault());
  EXPECT_EQ(annThere->valueForKey("name"), Value("Annie"));
  EXPECT_EQ(bobThere->valueForKey("name"), Value("new"));
  EXPECT_EQ(cyThere->valueForKey("name"), Value("new"));
  EXPECT_TRUE(annThere->isUpdated());
  EXPECT_FALSE(bobThere->isUpdated());
  other->processPendingChanges();
  EXPECT_EQ(told, "refreshed: Annie new new");
  auto di = makeThere("Person", "Di");
  other->refreshObjectMergeChanges(di, false);
  EXPECT_EQ(di->valueForKey("name"), Value("Di"));
  EXPECT_THROW(other->refreshObjectMergeChanges(ann, true), Raised);
  other->refreshObjectMergeChanges(nullptr, true);
}

TEST_P(ContextMergeTest, RefreshingAChangedObjectWhoseRecordIsGoneIsRefused) {
  auto ann = make("Person", "Ann");
  save();
  auto annThere = readThere(ann);
  annThere->setValueForKey("Annie", "name");
  context->deleteObject(ann);
  save();
  EXPECT_THROW(other->refreshObjectMergeChanges(annThere, true), Raised);
  EXPECT_EQ(annThere->valueForKey("name"), Value("Annie"));
  other->refreshObjectMergeChanges(annThere, false);
  EXPECT_TRUE(annThere->isFault());
}

TEST_P(ContextMergeTest, RefreshingAllLeavesOnlyChangedObjectsRead) {
  auto ann = make("Person", "Ann"), bob = make("Person", "Bob");
  save();
  auto annThere = readThere(ann), bobThere = readThere(bob);
  annThere->setValueForKey("Annie", "name");
  other->refreshAllObjects();
  EXPECT_FALSE(annThere->isFault());
  EXPECT_TRUE(bobThere->isFault());
  other->processPendingChanges();
  EXPECT_EQ(told, "updated: Annie refreshed: Bob");
}

TEST_P(ContextMergeTest, ReleasingMemoryIsNotNoticed) {
  auto ann = make("Person", "Ann"), bob = make("Person", "Bob");
  relate(ann, "friends", {Value(bob)});
  save();
  auto annThere = readThere(ann), bobThere = readThere(bob);
  EXPECT_EQ(names(bobThere, "friends"), "Ann");
  annThere->setValueForKey("Annie", "name");
  other->processPendingChanges();
  told.clear();
  other->releaseUnusedMemory();
  EXPECT_TRUE(bobThere->isFault());
  EXPECT_EQ(annThere->valueForKey("name"), Value("Annie"));
  EXPECT_EQ(bobThere->valueForKey("name"), Value("Bob"));
  EXPECT_EQ(names(bobThere, "friends"), "Annie");
  runTurn();
  EXPECT_EQ(told, "");
}

FOR_EVERY_STORE(ContextMergeTest);

}  // namespace
}  // namespace JNFoundation
