#include <algorithm>
#include <gtest/gtest.h>

#include "tests/platform/store/RelationshipFixture.h"

#include <JNFoundation/platform/store/NSManagedObject.h>

namespace JNFoundation {
namespace {

using Relationship = CompanyTest;
FOR_EVERY_STORE(Relationship);

// ---- Both ends ----------------------------------------------------------------------------------

TEST_P(Relationship, SettingTheOneEndAddsToTheManyEnd) {
  auto ann = make("Person", "Ann"), bob = make("Person", "Bob");
  auto sales = make("Department", "Sales");
  EXPECT_EQ(names(sales, "people"), "");
  ann->setValueForKey(sales, "department");
  bob->setValueForKey(sales, "department");
  EXPECT_EQ(names(sales, "people"), "Ann Bob");
  ann->setValueForKey(nullptr, "department");
  EXPECT_EQ(names(sales, "people"), "Bob");
  save();
  EXPECT_EQ(names(anew("Department", "Sales"), "people"), "Bob");
  EXPECT_FALSE(one(anew("Person", "Ann"), "department"));
  EXPECT_EQ(names(anew("Person", "Bob"), "department"), "Sales");
}

TEST_P(Relationship, AddingToTheManyEndSetsTheOneEndAndLeavesTheFormerOwner) {
  auto ann = make("Person", "Ann");
  auto sales = make("Department", "Sales"), research = make("Department", "Research");
  relate(sales, "people", {ann});
  EXPECT_EQ(one(ann, "department"), sales);
  relate(research, "people", {ann});
  EXPECT_EQ(one(ann, "department"), research);
  EXPECT_EQ(names(sales, "people"), "");
  save();
  relate(sales, "people", {ann});
  EXPECT_EQ(names(research, "people"), "");
  save();
  EXPECT_EQ(names(anew("Person", "Ann"), "department"), "Sales");
  EXPECT_EQ(names(anew("Department", "Research"), "people"), "");
}

TEST_P(Relationship, OneToOneMovesAndLeavesNobodyBehind) {
  auto ann = make("Person", "Ann"), bob = make("Person", "Bob");
  auto window = make("Desk", "window"), corner = make("Desk", "corner");
  ann->setValueForKey(window, "desk");
  bob->setValueForKey(corner, "desk");
  EXPECT_EQ(one(window, "person"), ann);
  bob->setValueForKey(window, "desk");
  EXPECT_EQ(one(window, "person"), bob);
  EXPECT_FALSE(one(ann, "desk"));
  EXPECT_FALSE(one(corner, "person"));
  save();
  EXPECT_FALSE(one(anew("Person", "Ann"), "desk"));
  EXPECT_EQ(names(anew("Desk", "window"), "person"), "Bob");
}

TEST_P(Relationship, ManyToManyIsOneTableSeenFromTwoSides) {
  auto ann = make("Person", "Ann"), bob = make("Person", "Bob");
  auto sql = make("Skill", "sql"), art = make("Skill", "art");
  relate(ann, "skills", {sql, art});
  relate(sql, "people", {bob});
  EXPECT_EQ(names(sql, "people"), "Ann Bob");
  EXPECT_EQ(names(bob, "skills"), "sql");
  save();
  EXPECT_EQ(names(anew("Skill", "sql"), "people"), "Ann Bob");
  EXPECT_EQ(names(anew("Person", "Ann"), "skills"), "art sql");
  ann->mutableSetValueForKey("skills")->removeObject(sql);
  EXPECT_EQ(names(sql, "people"), "Bob");
  save();
  EXPECT_EQ(names(anew("Skill", "sql"), "people"), "Bob");
  EXPECT_EQ(names(anew("Person", "Ann"), "skills"), "art");
}

TEST_P(Relationship, ARelationshipMayBeItsOwnWayBack) {
  auto ann = make("Person", "Ann"), bob = make("Person", "Bob"), cat = make("Person", "Cat");
  relate(ann, "friends", {bob, cat});
  EXPECT_EQ(names(bob, "friends"), "Ann");
  save();
  EXPECT_EQ(names(anew("Person", "Cat"), "friends"), "Ann");
  bob->mutableSetValueForKey("friends")->removeObject(ann);
  save();
  EXPECT_EQ(names(anew("Person", "Ann"), "friends"), "Cat");
  EXPECT_EQ(names(anew("Person", "Bob"), "friends"), "");
}

TEST_P(Relationship, WithoutAWayBackOnlyOneEndKnows) {
  auto ann = make("Person", "Ann"), bob = make("Person", "Bob"), art = make("Skill", "art");
  ann->setValueForKey(bob, "mentor");
  relate(ann, "favourites", {art});
  save();
  EXPECT_EQ(names(anew("Person", "Ann"), "mentor"), "Bob");
  EXPECT_EQ(names(anew("Person", "Ann"), "favourites"), "art");
  EXPECT_FALSE(art->isUpdated());
  ann->mutableSetValueForKey("favourites")->removeAllObjects();
  save();
  EXPECT_EQ(names(anew("Person", "Ann"), "favourites"), "");
}

TEST_P(Relationship, ADestinationMayBeOfASubentity) {
  auto ann = make("Person", "Ann"), boss = make("Manager", "Boss");
  ann->setValueForKey(boss, "mentor");
  save();
  auto mentor = one(anew("Person", "Ann"), "mentor");
  EXPECT_EQ(mentor->entity()->name()->utf8(), "Manager");
}

// ---- Order --------------------------------------------------------------------------------------

TEST_P(Relationship, AnOrderIsKeptHoweverItCame) {
  auto sales = make("Department", "Sales");
  auto tasks = sales->mutableOrderedSetValueForKey("tasks");
  for (const char* name : {"a", "b", "c", "d"}) tasks->addObject(make("Task", name));
  EXPECT_EQ(names(sales, "tasks"), "a b c d");
  save();
  EXPECT_EQ(names(anew("Department", "Sales"), "tasks"), "a b c d");
  tasks->insertObjectAtIndex(make("Task", "x"), 1);
  tasks->exchangeObjectAtIndexWithObjectAtIndex(0, 4);
  EXPECT_EQ(names(sales, "tasks"), "d x b c a");
  save();
  EXPECT_EQ(names(anew("Department", "Sales"), "tasks"), "d x b c a");
  tasks->removeObjectAtIndex(2);
  save();
  EXPECT_EQ(names(anew("Department", "Sales"), "tasks"), "d x c a");
}

TEST_P(Relationship, WhatJoinsFromTheOtherEndStandsLast) {
  auto sales = make("Department", "Sales");
  auto first = make("Task", "z");
  sales->mutableOrderedSetValueForKey("tasks")->addObject(first);
  save();
  auto other = newContext();
  Ref<NSArray> found = other->executeFetchRequestError(request("Department"));
  const Value department = found->objectAtIndex(0);
  auto task =
      NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Task", other);
  task->setValueForKey("a", "name");
  task->setValueForKey(department, "department");
  ASSERT_TRUE(other->save());
  EXPECT_EQ(names(anew("Department", "Sales"), "tasks"), "z a");
}

TEST_P(Relationship, ManyToManyMayBeOrderedAtOneEnd) {
  auto task = make("Task", "task"), second = make("Task", "second");
  auto followers = task->mutableOrderedSetValueForKey("followers");
  auto ann = make("Person", "Ann"), bob = make("Person", "Bob"), cat = make("Person", "Cat");
  followers->addObject(cat);
  followers->addObject(ann);
  relate(bob, "followed", {task, second});
  EXPECT_EQ(names(task, "followers"), "Cat Ann Bob");
  save();
  EXPECT_EQ(names(anew("Task", "task"), "followers"), "Cat Ann Bob");
  EXPECT_EQ(names(anew("Person", "Bob"), "followed"), "second task");
  task->setValueForKey(NSOrderedSet::orderedSetWithObjects(bob, ann), "followers");
  EXPECT_EQ(names(cat, "followed"), "");
  save();
  EXPECT_EQ(names(anew("Task", "task"), "followers"), "Bob Ann");
}

TEST_P(Relationship, ReplacingAnOrderedSetByTheSameMembersInAnotherOrder) {
  auto sales = make("Department", "Sales");
  auto a = make("Task", "a"), b = make("Task", "b"), c = make("Task", "c");
  sales->setValueForKey(NSOrderedSet::orderedSetWithObjects(a, b, c), "tasks");
  save();
  sales->setValueForKey(NSOrderedSet::orderedSetWithObjects(c, a, b), "tasks");
  EXPECT_EQ(names(sales, "tasks"), "c a b");
  save();
  EXPECT_EQ(names(anew("Department", "Sales"), "tasks"), "c a b");
}

// ---- Deleting -----------------------------------------------------------------------------------

TEST_P(Relationship, NullifyClearsTheOtherEnd) {
  auto sales = make("Department", "Sales");
  auto ann = make("Person", "Ann");
  ann->setValueForKey(sales, "department");
  save();
  context->deleteObject(sales);
  EXPECT_EQ(one(ann, "department"), sales);
  context->processPendingChanges();
  EXPECT_FALSE(one(ann, "department"));
  save();
  EXPECT_FALSE(one(anew("Person", "Ann"), "department"));
  EXPECT_EQ(fetched(request("Department"), "name"), "");
}

TEST_P(Relationship, CascadeTakesTheOthersAlong) {
  auto sales = make("Department", "Sales");
  for (const char* name : {"a", "b"}) {
    sales->mutableOrderedSetValueForKey("tasks")->addObject(make("Task", name));
  }
  save();
  auto other = newContext();
  Ref<NSArray> found = other->executeFetchRequestError(request("Department"));
  const Value department = found->objectAtIndex(0);
  other->deleteObject(Ref<NSManagedObject>(as<NSManagedObject>(department)));
  Ref<NSError> error;
  ASSERT_TRUE(other->save(&error)) << text(error);
  EXPECT_EQ(newContext()->countForFetchRequestError(request("Task")), 0u);
}

TEST_P(Relationship, DenyRefusesTheSaveUntilTheOthersAreGone) {
  auto sales = make("Department", "Sales");
  auto badge = make("Badge", "gold");
  badge->setValueForKey(sales, "department");
  save();
  context->deleteObject(sales);
  Ref<NSError> error;
  EXPECT_FALSE(context->save(&error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), NSValidationRelationshipDeniedDeleteError);
  EXPECT_EQ(newContext()->countForFetchRequestError(request("Department")), 1u);
  context->deleteObject(badge);
  save();
  EXPECT_EQ(newContext()->countForFetchRequestError(request("Department")), 0u);
}

TEST_P(Relationship, AChainOfUnsavedCascadesIsForgottenWithoutNesting) {
  auto sales = make("Department", "Sales");
  auto task = make("Task", "a");
  task->setValueForKey(sales, "department");
  context->deleteObject(sales);
  EXPECT_FALSE(context->hasChanges());
  EXPECT_FALSE(task->managedObjectContext());
}

TEST_P(Relationship, DeleteRulesMayWaitForTheSave) {
  auto one = make("Department", "One");
  auto ann = make("Person", "Ann");
  ann->setValueForKey(one, "department");
  save();
  EXPECT_TRUE(context->propagatesDeletesAtEndOfEvent());
  context->setPropagatesDeletesAtEndOfEvent(false);
  context->deleteObject(one);
  context->processPendingChanges();
  EXPECT_FALSE(ann->hasChanges());
  save();
  EXPECT_TRUE(ann->valueForKey("department").isNull());
  EXPECT_FALSE(ann->hasChanges());
}

TEST_P(Relationship, DeletingAnUnsavedObjectLeavesTheOtherEnd) {
  auto sales = make("Department", "Sales");
  save();
  auto ann = make("Person", "Ann");
  ann->setValueForKey(sales, "department");
  context->deleteObject(ann);
  EXPECT_EQ(names(sales, "people"), "");
  save();
  EXPECT_EQ(names(anew("Department", "Sales"), "people"), "");
}

TEST_P(Relationship, NobodyIsLeftLeadingToWhatWasNeverSaved) {
  auto badge = make("Badge", "gold");
  badge->setValueForKey(make("Department", "Sales"), "department");
  context->deleteObject(one(badge, "department"));
  EXPECT_FALSE(one(badge, "department"));
  save();
}

TEST_P(Relationship, PairsGoWithEitherRecord) {
  auto ann = make("Person", "Ann"), art = make("Skill", "art");
  relate(ann, "favourites", {art});
  save();
  context->deleteObject(art);
  save();
  EXPECT_EQ(names(anew("Person", "Ann"), "favourites"), "");
}

// ---- Changes ------------------------------------------------------------------------------------

TEST_P(Relationship, RollbackRestoresBothEnds) {
  auto sales = make("Department", "Sales"), research = make("Department", "Research");
  auto ann = make("Person", "Ann"), art = make("Skill", "art");
  ann->setValueForKey(sales, "department");
  relate(ann, "skills", {art});
  save();
  ann->setValueForKey(research, "department");
  ann->mutableSetValueForKey("skills")->removeAllObjects();
  context->rollback();
  EXPECT_EQ(one(ann, "department"), sales);
  EXPECT_EQ(names(sales, "people"), "Ann");
  EXPECT_EQ(names(research, "people"), "");
  EXPECT_EQ(names(ann, "skills"), "art");
  EXPECT_FALSE(context->hasChanges());
}

TEST_P(Relationship, ChangedAndCommittedValuesKnowRelationships) {
  auto sales = make("Department", "Sales"), research = make("Department", "Research");
  auto ann = make("Person", "Ann"), art = make("Skill", "art");
  ann->setValueForKey(sales, "department");
  save();
  ann->setValueForKey(research, "department");
  relate(ann, "skills", {art});
  Ref<NSDictionary> changes = ann->changedValues();
  EXPECT_EQ(changes->count(), 2u);
  EXPECT_EQ(changes->objectForKey("department"), Value(research));
  EXPECT_EQ(changes->objectForKey("skills"), Value(NSSet::setWithObject(art)));
  Ref<NSDictionary> before = ann->committedValuesForKeys(nullptr);
  EXPECT_EQ(before->objectForKey("department"), Value(sales));
  EXPECT_EQ(before->objectForKey("skills"), Value(NSSet::set()));
}

TEST_P(Relationship, AChangeOfTheManyEndAloneWritesNoNewVersion) {
  auto sales = make("Department", "Sales"), ann = make("Person", "Ann");
  save();
  auto other = newContext();
  Ref<NSArray> found = other->executeFetchRequestError(request("Department"));
  const Value department = found->objectAtIndex(0);
  auto same = Ref<NSManagedObject>(as<NSManagedObject>(department));
  same->setValueForKey("Sales & more", "name");
  ann->setValueForKey(sales, "department");
  save();
  EXPECT_TRUE(other->save());
}

TEST_P(Relationship, PermanentIdentifiersMayComeBeforeTheSave) {
  auto sales = make("Department", "Sales"), ann = make("Person", "Ann"),
       bob = make("Person", "Bob");
  ann->setValueForKey(sales, "department");
  bob->setValueForKey(ann, "mentor");
  ASSERT_TRUE(context->obtainPermanentIDsForObjectsError(NSArray::arrayWithObjects(sales, ann)));
  EXPECT_EQ(one(ann, "department"), sales);
  EXPECT_EQ(names(sales, "people"), "Ann");
  EXPECT_EQ(one(bob, "mentor"), ann);
  save();
  EXPECT_EQ(names(anew("Department", "Sales"), "people"), "Ann");
  EXPECT_EQ(names(anew("Person", "Bob"), "mentor"), "Ann");
}

TEST_P(Relationship, PermanentIdentifiersAreKnownWhereADeletionIsTakenBack) {
  auto ann = make("Person", "Ann");
  save();
  auto bob = make("Person", "Bob"), art = make("Skill", "Art");
  ann->setValueForKey(bob, "mentor");
  ann->setValueForKey(NSSet::setWithObject(art), "favourites");
  context->deleteObject(ann);
  ASSERT_TRUE(context->obtainPermanentIDsForObjectsError(NSArray::arrayWithObjects(bob, art)));
  context->insertObject(ann);
  EXPECT_EQ(one(ann, "mentor"), bob);
  EXPECT_EQ(ann->valueForKey("favourites"), Value(NSSet::setWithObject(art)));
  save();
  EXPECT_EQ(names(anew("Person", "Ann"), "mentor"), "Bob");
  EXPECT_EQ(names(anew("Person", "Ann"), "favourites"), "Art");
}

TEST_P(Relationship, PermanentIdentifiersAreKnownWhereAMemberWasTakenOutUnseen) {
  make("Person", "Cid")->setValueForKey(NSSet::setWithObject(make("Skill", "Art")), "skills");
  save();
  context = newContext();
  Ref<NSArray> found = context->executeFetchRequestError(request("Skill"));
  const Value skill = found->objectAtIndex(0);
  auto art = Ref<NSManagedObject>(as<NSManagedObject>(skill));
  // The people of the skill are not read meanwhile.
  auto bob = make("Person", "Bob");
  bob->setValueForKey(NSSet::setWithObject(art), "skills");
  bob->setValueForKey(NSSet::set(), "skills");
  ASSERT_TRUE(art->hasFaultForRelationshipNamed("people"));
  ASSERT_TRUE(context->obtainPermanentIDsForObjectsError(NSArray::arrayWithObjects(bob)));
  EXPECT_EQ(names(art, "people"), "Cid");
  bob->setValueForKey(NSSet::setWithObject(art), "skills");
  EXPECT_EQ(names(art, "people"), "Bob Cid");
  save();
  EXPECT_EQ(names(anew("Skill", "Art"), "people"), "Bob Cid");
  bob->setValueForKey(NSSet::set(), "skills");
  save();
  EXPECT_EQ(names(anew("Skill", "Art"), "people"), "Cid");
}

TEST_P(Relationship, MembersAreReadWithOneLookAndFaultsAreTold) {
  auto sales = make("Department", "Sales");
  for (const char* name : {"Ann", "Bob"}) make("Person", name)->setValueForKey(sales, "department");
  save();
  auto other = newContext();
  Ref<NSArray> found = other->executeFetchRequestError(request("Department"));
  const Value value = found->objectAtIndex(0);
  auto department = Ref<NSManagedObject>(as<NSManagedObject>(value));
  EXPECT_TRUE(department->hasFaultForRelationshipNamed("people"));
  EXPECT_EQ(names(department, "people"), "Ann Bob");
  EXPECT_FALSE(department->hasFaultForRelationshipNamed("people"));
}

// ---- Refusals -----------------------------------------------------------------------------------

template <class Function>
std::string raisedReasonOf(Function&& function) {
  try {
    function();
  } catch (const Raised& raised) {
    return raised.exception()->reason()->toStdString();
  }
  return "nothing";
}

TEST_P(Relationship, WrongKindsAreRefusedAndChangeNothing) {
  auto ann = make("Person", "Ann"), art = make("Skill", "art"), sales = make("Department", "Sales");
  ann->setValueForKey(sales, "department");
  EXPECT_NE(raisedReasonOf([&] { ann->setValueForKey(art, "department"); })
                .find("Unacceptable type of value for to-one relationship: property = "
                      "\"department\"; desired type = Department"),
            std::string::npos);
  EXPECT_NE(
      raisedReasonOf([&] { ann->setValueForKey("Sales", "department"); }).find("Unacceptable type"),
      std::string::npos);
  EXPECT_NE(raisedReasonOf([&] {
              ann->setValueForKey(NSArray::arrayWithObject(art), "skills");
            }).find("desired type = NSSet"),
            std::string::npos);
  EXPECT_NE(raisedReasonOf([&] { sales->setValueForKey(NSSet::set(), "tasks"); })
                .find("ordered to-many relationship: property = \"tasks\"; desired type = "
                      "NSOrderedSet"),
            std::string::npos);
  EXPECT_NE(raisedReasonOf([&] {
              ann->mutableSetValueForKey("skills")->addObject(sales);
            }).find("Unacceptable type"),
            std::string::npos);
  EXPECT_EQ(one(ann, "department"), sales);
  EXPECT_EQ(names(ann, "skills"), "");
}

TEST_P(Relationship, ObjectsOfTwoContextsCannotMeet) {
  auto ann = make("Person", "Ann");
  auto other = newContext();
  auto sales = NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
      "Department", other);
  EXPECT_NE(raisedReasonOf([&] { ann->setValueForKey(sales, "department"); })
                .find("Illegal attempt to establish a relationship 'department' between objects in "
                      "different contexts"),
            std::string::npos);
  EXPECT_FALSE(one(ann, "department"));
}

TEST_P(Relationship, WhoIsNamedCannotGoBehindTheBackOfTheFile) {
  auto sales = make("Department", "Sales"), ann = make("Person", "Ann");
  save();
  auto other = newContext();
  Ref<NSArray> found = other->executeFetchRequestError(request("Department"));
  const Value department = found->objectAtIndex(0);
  other->deleteObject(Ref<NSManagedObject>(as<NSManagedObject>(department)));
  ASSERT_TRUE(other->save());
  ann->setValueForKey(sales, "department");
  Ref<NSError> error;
  EXPECT_FALSE(context->save(&error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), NSManagedObjectReferentialIntegrityError) << text(error);
  EXPECT_FALSE(one(anew("Person", "Ann"), "department"));
}

}  // namespace
}  // namespace JNFoundation
