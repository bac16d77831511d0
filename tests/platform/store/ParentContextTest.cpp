#include "tests/platform/store/RelationshipFixture.h"
#include "tests/platform/store/WorkerPool.h"

#include <JNFoundation/platform/value/NSIndexSet.h>

namespace JNFoundation {
namespace {

using testing::runTurn;

/// A child of the fixture's context, on the main thread as well.
class ParentContextTest : public CompanyTest {
 protected:
  void SetUp() override {
    CompanyTest::SetUp();
    child = childOf(context);
  }
  void TearDown() override { child = nullptr; }

  static Ref<NSManagedObjectContext> childOf(const Ref<NSManagedObjectContext>& parent) {
    auto made = NSManagedObjectContext::init();
    made->setParentContext(parent);
    return made;
  }
  static Ref<NSManagedObject> makeIn(const Ref<NSManagedObjectContext>& place, const char* entity,
                                     const char* name) {
    auto object =
        NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(entity, place);
    object->setValueForKey(name, "name");
    return object;
  }
  static Ref<NSManagedObject> in(const Ref<NSManagedObjectContext>& place,
                                 const Ref<NSManagedObject>& object) {
    return place->objectWithID(object->objectID());
  }
  static std::string all(const Ref<NSManagedObjectContext>& place, const char* entity,
                         const char* format = nullptr) {
    auto wanted = request(entity, format ? NSPredicate::predicateWithFormat(format) : nullptr,
                          {Value(by("name"))});
    Ref<NSError> error;
    const Ref<NSArray> found = place->executeFetchRequestError(wanted, &error);
    EXPECT_TRUE(found) << text(error);
    std::string joined;
    for (NSUInteger i = 0; found && i < found->count(); ++i) {
      joined +=
          (i ? " " : "") +
          as<NSObject>(found->objectAtIndex(i))->valueForKey("name").description()->toStdString();
    }
    return joined;
  }
  static void saveIn(const Ref<NSManagedObjectContext>& place) {
    Ref<NSError> error;
    ASSERT_TRUE(place->save(&error)) << text(error);
  }

  Ref<NSManagedObjectContext> child;
};

TEST_P(ParentContextTest, AChildSeesWhatItsParentHasNotSavedYet) {
  make("Person", "Ann");
  save();
  make("Person", "Bob");
  EXPECT_EQ(all(child, "Person"), "Ann Bob");
  EXPECT_EQ(all(child, "Person", "name BEGINSWITH 'B'"), "Bob");
  EXPECT_EQ(child->countForFetchRequestError(request("Person")), 2u);
  EXPECT_FALSE(child->hasChanges());
}

TEST_P(ParentContextTest, WhatTheParentChangesLaterIsNotSeenInWhatWasRead) {
  auto ann = make("Person", "Ann");
  save();
  auto mine = in(child, ann);
  EXPECT_EQ(mine->valueForKey("name"), Value("Ann"));
  ann->setValueForKey("Anna", "name");
  EXPECT_EQ(mine->valueForKey("name"), Value("Ann"));
  child->refreshObjectMergeChanges(mine, true);
  EXPECT_EQ(mine->valueForKey("name"), Value("Anna"));
}

TEST_P(ParentContextTest, ASaveGoesOneLevelUpAndNoFurther) {
  auto cy = makeIn(child, "Person", "Cy");
  EXPECT_EQ(all(context, "Person"), "");
  saveIn(child);
  EXPECT_FALSE(child->hasChanges());
  EXPECT_EQ(all(context, "Person"), "Cy");
  EXPECT_TRUE(context->hasChanges());
  EXPECT_EQ(all(newContext(), "Person"), "");
  EXPECT_TRUE(cy->objectID()->isTemporaryID());
  save();
  EXPECT_EQ(all(newContext(), "Person"), "Cy");
}

TEST_P(ParentContextTest, UpdatesArePushedPropertyByProperty) {
  auto ann = make("Person", "Ann");
  save();
  auto mine = in(child, ann);
  mine->setValueForKey("Anna", "name");
  auto desk = make("Desk", "D");
  ann->setValueForKey(desk, "desk");
  saveIn(child);
  EXPECT_EQ(ann->valueForKey("name"), Value("Anna"));
  EXPECT_EQ(names(ann, "desk"), "D");
  EXPECT_TRUE(ann->isUpdated());
  EXPECT_FALSE(mine->hasChanges());
}

TEST_P(ParentContextTest, RelationshipsArePushedThroughBothEnds) {
  auto ann = make("Person", "Ann"), bob = make("Person", "Bob");
  auto one = make("Department", "One"), two = make("Department", "Two");
  ann->setValueForKey(one, "department");
  save();
  in(child, ann)->setValueForKey(in(child, two), "department");
  relate(in(child, ann), "friends", {Value(in(child, bob))});
  auto task =
      NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Task", child);
  task->setValueForKey("T", "name");
  in(child, two)->mutableOrderedSetValueForKey("tasks")->addObject(Value(task));
  // Meanwhile the parent moves her elsewhere, too.
  auto three = make("Department", "Three");
  ann->setValueForKey(three, "department");
  saveIn(child);
  EXPECT_EQ(names(ann, "department"), "Two");
  EXPECT_EQ(names(one, "people"), "");
  EXPECT_EQ(names(two, "people"), "Ann");
  EXPECT_EQ(names(three, "people"), "");
  EXPECT_EQ(names(bob, "friends"), "Ann");
  EXPECT_EQ(names(two, "tasks"), "T");
  save();
  EXPECT_EQ(names(anew("Department", "Two"), "people"), "Ann");
  EXPECT_EQ(names(anew("Department", "Two"), "tasks"), "T");
}

TEST_P(ParentContextTest, AnOrderIsPushedAndWhatOnlyTheParentHasStandsBehind) {
  auto one = departmentWithTasks({"a", "b", "c"});
  auto mine = in(child, one);
  EXPECT_EQ(names(mine, "tasks"), "a b c");
  auto tasks = mine->mutableOrderedSetValueForKey("tasks");
  tasks->moveObjectsAtIndexesToIndex(NSIndexSet::indexSetWithIndex(2), 0);
  one->mutableOrderedSetValueForKey("tasks")->addObject(Value(make("Task", "d")));
  saveIn(child);
  EXPECT_EQ(names(one, "tasks"), "c a b d");
}

TEST_P(ParentContextTest, DeletionsArePushedWithTheirRules) {
  auto one = make("Department", "One");
  auto ann = make("Person", "Ann");
  ann->setValueForKey(one, "department");
  one->mutableOrderedSetValueForKey("tasks")->addObject(Value(make("Task", "t")));
  save();
  child->deleteObject(in(child, one));
  EXPECT_EQ(all(child, "Task"), "");
  EXPECT_EQ(all(context, "Task"), "t");
  saveIn(child);
  EXPECT_TRUE(one->isDeleted());
  EXPECT_EQ(names(ann, "department"), "");
  EXPECT_EQ(all(context, "Task"), "");
  save();
  EXPECT_EQ(all(newContext(), "Department"), "");
}

TEST_P(ParentContextTest, AChangedObjectThatTheParentHasDeletedRefusesTheSave) {
  auto ann = make("Person", "Ann"), bob = make("Person", "Bob");
  save();
  in(child, ann)->setValueForKey("Anna", "name");
  in(child, bob)->setValueForKey("Bobby", "name");
  auto kept = in(child, bob);
  context->deleteObject(ann);
  Ref<NSError> error;
  EXPECT_FALSE(child->save(&error));
  EXPECT_EQ(error->code(), NSManagedObjectMergeError);
  EXPECT_EQ(bob->valueForKey("name"), Value("Bob"));
  EXPECT_TRUE(child->hasChanges());
  // Deleted on both sides is no conflict.
  child->rollback();
  child->deleteObject(in(child, bob));
  context->deleteObject(bob);
  EXPECT_TRUE(child->save(&error)) << text(error);
}

TEST_P(ParentContextTest, BothIdentifiersFindTheObjectOnceTheLastParentHasSaved) {
  auto grandchild = childOf(child);
  auto ann = makeIn(grandchild, "Person", "Ann");
  auto skill = makeIn(grandchild, "Skill", "S");
  relate(ann, "skills", {Value(skill)});
  const Ref<NSManagedObjectID> temporary = ann->objectID();
  saveIn(grandchild);
  saveIn(child);
  save();
  runTurn();
  runTurn();
  for (const auto& place : {grandchild, child, context}) {
    const Ref<NSManagedObject> found = place->objectWithID(temporary);
    ASSERT_TRUE(found);
    EXPECT_FALSE(found->objectID()->isTemporaryID());
    EXPECT_EQ(place->objectWithID(found->objectID()), found);
    EXPECT_EQ(names(found, "skills"), "S");
  }
  EXPECT_FALSE(ann->objectID()->isTemporaryID());
  // What is known by the former identifier is written to the right record.
  ann->setValueForKey("Anna", "name");
  saveIn(grandchild);
  saveIn(child);
  save();
  EXPECT_EQ(all(newContext(), "Person"), "Anna");
}

TEST_P(ParentContextTest, AChildMaySaveBeforeItHasHeardOfThePermanentIdentifiers) {
  auto ann = makeIn(child, "Person", "Ann");
  saveIn(child);
  save();
  // No turn has run: the child still has the temporary one.
  EXPECT_TRUE(ann->objectID()->isTemporaryID());
  ann->setValueForKey("Anna", "name");
  ann->setValueForKey(makeIn(child, "Desk", "D"), "desk");
  saveIn(child);
  save();
  EXPECT_EQ(all(newContext(), "Person"), "Anna");
  EXPECT_EQ(names(anew("Desk", "D"), "person"), "Anna");
  runTurn();
  EXPECT_FALSE(ann->objectID()->isTemporaryID());
}

TEST_P(ParentContextTest, PermanentIdentifiersMayBeObtainedInTheChild) {
  auto ann = makeIn(child, "Person", "Ann");
  ASSERT_TRUE(child->obtainPermanentIDsForObjectsError(NSArray::arrayWithObject(Value(ann))));
  const Ref<NSManagedObjectID> permanent = ann->objectID();
  EXPECT_FALSE(permanent->isTemporaryID());
  saveIn(child);
  save();
  EXPECT_EQ(context->objectWithID(permanent)->valueForKey("name"), Value("Ann"));
  EXPECT_EQ(all(newContext(), "Person"), "Ann");
}

TEST_P(ParentContextTest, WhatARollbackBringsBackGoesByThePermanentIdentifiers) {
  auto one = make("Department", "One");
  save();
  for (const char* name : {"a", "b"}) {
    one->mutableOrderedSetValueForKey("tasks")->addObject(Value(make("Task", name)));
  }
  const auto oneBelow = in(child, one);
  const auto tasks = oneBelow->mutableOrderedSetValueForKey("tasks");
  ASSERT_EQ(names(oneBelow, "tasks"), "a b");
  const Value a = tasks->objectAtIndex(0), b = tasks->objectAtIndex(1);
  tasks->removeObject(a);
  save();
  runTurn();
  child->rollback();
  EXPECT_EQ(names(oneBelow, "tasks"), "a b");
  tasks->removeObject(a);
  EXPECT_EQ(names(oneBelow, "tasks"), "b");
  tasks->addObject(b);
  EXPECT_EQ(names(oneBelow, "tasks"), "b");
  saveIn(child);
  EXPECT_EQ(names(one, "tasks"), "b");
}

TEST_P(ParentContextTest, WhoWasDeletedBelowStaysAwayUnderThePermanentIdentifier) {
  auto one = make("Department", "One");
  save();
  const auto oneBelow = in(child, one);
  ASSERT_EQ(names(oneBelow, "people"), "");
  auto bob = make("Person", "Bob");
  bob->setValueForKey(one, "department");
  const auto bobBelow = in(child, bob);
  ASSERT_EQ(names(bobBelow, "department"), "One");
  child->deleteObject(bobBelow);
  child->processPendingChanges();
  save();
  runTurn();
  child->refreshObjectMergeChanges(oneBelow, true);
  EXPECT_EQ(names(oneBelow, "people"), "");
  saveIn(child);
  EXPECT_EQ(names(one, "people"), "");
}

TEST_P(ParentContextTest, PendingChangesOfBothArePartOfAFetch) {
  for (const char* name : {"a", "c", "e", "g"}) make("Person", name);
  save();
  make("Person", "b");
  auto wanted = request("Person", nullptr, {Value(by("name"))});
  wanted->setFetchLimit(3);
  makeIn(child, "Person", "d");
  const Value first = context->executeFetchRequestError(wanted)->objectAtIndex(0);
  context->deleteObject(Ref<NSManagedObject>(as<NSManagedObject>(first)));
  std::string found;
  const Ref<NSArray> objects = child->executeFetchRequestError(wanted);
  for (const Value& object : *objects) {
    found += as<NSObject>(object)->valueForKey("name").description()->toStdString();
  }
  EXPECT_EQ(found, "bcd");
  EXPECT_EQ(child->countForFetchRequestError(request("Person")), 5u);
}

TEST_P(ParentContextTest, APredicateMayNameObjectsOfTheChild) {
  auto one = make("Department", "One");
  auto ann = make("Person", "Ann");
  ann->setValueForKey(one, "department");
  make("Person", "Bob");
  auto wanted = request(
      "Person", NSPredicate::predicateWithFormat("department == %@", Value(in(child, one))));
  EXPECT_EQ(child->executeFetchRequestError(wanted)->count(), 1u);
  auto block = request(
      "Person", NSPredicate::predicateWithBlock([&](const Value& object, const Ref<NSDictionary>&) {
        return as<NSManagedObject>(object)->managedObjectContext() == child;
      }));
  EXPECT_EQ(child->executeFetchRequestError(block)->count(), 2u);
}

TEST_P(ParentContextTest, ValidationRunsInTheChild) {
  auto grandchild = childOf(child);
  auto badge = makeIn(child, "Badge", "B");
  auto one = makeIn(child, "Department", "One");
  badge->setValueForKey(one, "department");
  saveIn(child);
  child->deleteObject(one);
  Ref<NSError> error;
  EXPECT_FALSE(child->save(&error));
  EXPECT_EQ(error->code(), NSValidationRelationshipDeniedDeleteError);
  EXPECT_EQ(all(context, "Department"), "One");
}

TEST_P(ParentContextTest, RollbackAndResetOfAChildLeaveTheParentAlone) {
  auto ann = make("Person", "Ann");
  save();
  in(child, ann)->setValueForKey("Anna", "name");
  auto kept = in(child, ann);
  makeIn(child, "Person", "Bob");
  child->rollback();
  EXPECT_EQ(kept->valueForKey("name"), Value("Ann"));
  EXPECT_EQ(all(child, "Person"), "Ann");
  makeIn(child, "Person", "Cy");
  child->reset();
  EXPECT_EQ(all(child, "Person"), "Ann");
  EXPECT_FALSE(context->hasChanges());
}

TEST_P(ParentContextTest, AChildMergesWhatItsParentSaves) {
  auto ann = make("Person", "Ann"), bob = make("Person", "Bob"), cy = make("Person", "Cy");
  save();
  child->setAutomaticallyMergesChangesFromParent(true);
  auto mineAnn = in(child, ann), mineBob = in(child, bob), mineCy = in(child, cy);
  for (const auto& mine : {mineAnn, mineBob, mineCy}) mine->valueForKey("name");
  mineBob->setValueForKey(makeIn(child, "Desk", "D"), "desk");
  ann->setValueForKey("Anna", "name");
  bob->setValueForKey("Bobby", "name");
  context->deleteObject(cy);
  save();
  EXPECT_EQ(mineAnn->valueForKey("name"), Value("Ann"));
  runTurn();
  runTurn();
  EXPECT_EQ(mineAnn->valueForKey("name"), Value("Anna"));
  EXPECT_EQ(mineBob->valueForKey("name"), Value("Bobby"));
  EXPECT_EQ(names(mineBob, "desk"), "D");
  EXPECT_FALSE(mineCy->managedObjectContext());
}

TEST_P(ParentContextTest, AChildMergesWhatItHasReadBeforeItWasSaved) {
  child->setAutomaticallyMergesChangesFromParent(true);
  auto ann = make("Person", "Ann");
  auto mine = in(child, ann);
  EXPECT_EQ(mine->valueForKey("name"), Value("Ann"));
  ann->setValueForKey("Anna", "name");
  EXPECT_EQ(mine->valueForKey("name"), Value("Ann"));
  save();
  runTurn();
  runTurn();
  EXPECT_EQ(mine->valueForKey("name"), Value("Anna"));
}

TEST_P(ParentContextTest, AContextHasOneParentAndIsNotAboveItself) {
  EXPECT_EQ(child->parentContext(), context);
  EXPECT_EQ(child->persistentStoreCoordinator(), coordinator);
  auto free = NSManagedObjectContext::init();
  EXPECT_THROW(free->setParentContext(free), Raised);
  EXPECT_THROW(free->setParentContext(NSManagedObjectContext::init()), Raised);
  EXPECT_THROW(child->setParentContext(newContext()), Raised);
  EXPECT_THROW(context->setParentContext(child), Raised);
  EXPECT_THROW(child->setPersistentStoreCoordinator(nullptr), Raised);
}

TEST_P(ParentContextTest, AChildOnAQueueOfItsOwnWorksWithTheMainThread) {
  testing::WorkerPool pool(2);
  auto background = NSManagedObjectContext::initWithConcurrencyTypeExecutor(
      NSPrivateQueueConcurrencyType, pool.executor());
  background->setParentContext(context);
  make("Person", "Ann");
  std::atomic<bool> isDone{false};
  background->performBlock([&] {
    for (int i = 0; i < 20; ++i) {
      makeIn(background, "Person", "Bob");
      EXPECT_EQ(background->countForFetchRequestError(request("Person")),
                static_cast<NSUInteger>(i + 2));
      EXPECT_TRUE(background->save());
    }
    isDone = true;
    MainQueue::current().async([] {});
  });
  testing::runUntil([&] { return isDone.load(); });
  EXPECT_EQ(context->countForFetchRequestError(request("Person")), 21u);
  // Or the main thread waits, and serves the child meanwhile.
  background->performBlockAndWait([&] {
    makeIn(background, "Person", "Cy");
    EXPECT_TRUE(background->save());
  });
  EXPECT_EQ(context->countForFetchRequestError(request("Person")), 22u);
}

FOR_EVERY_STORE(ParentContextTest);

}  // namespace
}  // namespace JNFoundation
