#include <gtest/gtest.h>

#include "tests/platform/store/RelationshipFixture.h"

#include <JNFoundation/platform/dispatch/NSNotificationCenter.h>

namespace JNFoundation {
namespace {

/// Club (name): chair (a Person, required), guests (many), line (many, ordered); no ways back.
/// Person (name).
Ref<NSManagedObjectModel> clubModel() {
  auto person = entityNamed("Person", {attributeNamed("name", NSStringAttributeType)});
  auto club =
      entityNamed("Club", {attributeNamed("name", NSStringAttributeType),
                           relationshipNamed("chair", person, {.optional = false}),
                           relationshipNamed("guests", person, {.toMany = true}),
                           relationshipNamed("line", person, {.toMany = true, .ordered = true})});
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObjects(club, person));
  return model;
}

/// One person leads to others who know nothing of it.
class OneWayRelationship : public CompanyTest {
 protected:
  void SetUp() override {
    open(GetParam(), clubModel());
    club = make("Club", "Club");
    ann = make("Person", "Ann");
    bob = make("Person", "Bob");
    cid = make("Person", "Cid");
    club->setValueForKey(ann, "chair");
    relate(club, "guests", {ann, bob, cid});
    lineUp({ann, bob, cid});
    save();
  }

  void lineUp(const std::vector<Value>& people) {
    club->setValueForKey(NSOrderedSet::orderedSetWithValues(people), "line");
  }

  /// What is led to, here and in the store.
  std::string here(const char* key) { return names(club, key); }
  std::string there(const char* key) { return names(anew("Club", "Club"), key); }

  Ref<NSManagedObject> club, ann, bob, cid;
};
FOR_EVERY_STORE(OneWayRelationship);

TEST_P(OneWayRelationship, MembersThatAreDeletedAreNoneAfterTheSave) {
  context->deleteObject(bob);
  EXPECT_EQ(here("guests"), "Ann Bob Cid") << "nobody tells those that lead to it";
  save();
  EXPECT_EQ(here("guests"), "Ann Cid");
  EXPECT_EQ(here("line"), "Ann Cid");
  EXPECT_EQ(there("guests"), "Ann Cid");
  EXPECT_EQ(there("line"), "Ann Cid");
  EXPECT_FALSE(club->hasChanges()) << "there is nothing left to save";
}

TEST_P(OneWayRelationship, WhoHadADeletedMemberIsToldAsRefreshed) {
  context->deleteObject(bob);
  std::vector<Value> refreshed;
  const auto token = NSNotificationCenter::defaultCenter()->addObserverForNameObjectUsingBlock(
      NSManagedObjectContextObjectsDidChangeNotification, Value(context),
      [&](const Ref<NSNotification>& notification) {
        const Value objects = notification->userInfo()->objectForKey(NSRefreshedObjectsKey);
        if (const auto* set = as<NSSet>(objects)) refreshed.push_back(*set->begin());
      });
  save();
  context->processPendingChanges();
  NSNotificationCenter::defaultCenter()->removeObserver(token);
  ASSERT_EQ(refreshed.size(), 1u);
  EXPECT_EQ(refreshed.front(), Value(club));
}

TEST_P(OneWayRelationship, WhatHadADeletedMemberCanBeChangedAndSaved) {
  context->deleteObject(bob);
  save();
  lineUp({cid, ann});
  relate(club, "guests", {make("Person", "Dora")});
  save();
  EXPECT_EQ(there("line"), "Cid Ann");
  EXPECT_EQ(there("guests"), "Ann Cid Dora");
}

TEST_P(OneWayRelationship, MembersThatWereNotReadAreTheStoresToTell) {
  context = newContext();
  const Value found = fetch(request("Club"))->firstObject();
  club = Ref<NSManagedObject>(as<NSManagedObject>(found));
  context->deleteObject(context->objectWithID(bob->objectID()));
  save();
  EXPECT_EQ(here("guests"), "Ann Cid");
  EXPECT_EQ(here("line"), "Ann Cid");
}

TEST_P(OneWayRelationship, AMemberThatIsAddedAndDeletedInOneSaveIsNone) {
  auto dora = make("Person", "Dora");
  save();
  relate(club, "guests", {dora});
  lineUp({dora, ann, bob, cid});
  context->deleteObject(dora);
  save();
  EXPECT_EQ(here("guests"), "Ann Bob Cid");
  EXPECT_EQ(there("guests"), "Ann Bob Cid");
  EXPECT_EQ(here("line"), "Ann Bob Cid");
  EXPECT_EQ(there("line"), "Ann Bob Cid");
}

TEST_P(OneWayRelationship, AMemberThatIsAddedUnseenAndDeletedIsNone) {
  context = newContext();
  const Value found = fetch(request("Club"))->firstObject();
  club = Ref<NSManagedObject>(as<NSManagedObject>(found));
  auto member = context->objectWithID(bob->objectID());
  club->mutableSetValueForKey("guests")->addObject(Value(member));
  context->deleteObject(member);
  save();
  EXPECT_EQ(here("guests"), "Ann Cid");
  EXPECT_EQ(there("guests"), "Ann Cid");
}

TEST_P(OneWayRelationship, WhatWasNeverSavedAndIsGoneIsLetGoOf) {
  auto dora = make("Person", "Dora"), eve = make("Person", "Eve");
  club->setValueForKey(dora, "chair");
  relate(club, "guests", {dora, eve});
  lineUp({dora, ann, eve});
  context->deleteObject(dora);
  EXPECT_EQ(here("guests"), "Ann Bob Cid Eve");
  EXPECT_EQ(here("line"), "Ann Eve");
  EXPECT_FALSE(one(club, "chair"));
  club->setValueForKey(ann, "chair");
  save();
  EXPECT_EQ(there("guests"), "Ann Bob Cid Eve");
  EXPECT_EQ(there("line"), "Ann Eve");
  EXPECT_EQ(there("chair"), "Ann");
}

TEST_P(OneWayRelationship, ANumberObtainedBeforeTheSaveChangesNothing) {
  auto dora = make("Person", "Dora");
  ASSERT_TRUE(context->obtainPermanentIDsForObjectsError(NSArray::arrayWithObjects(dora)));
  club->setValueForKey(dora, "chair");
  relate(club, "guests", {dora});
  lineUp({dora, ann});
  context->deleteObject(dora);
  EXPECT_EQ(here("guests"), "Ann Bob Cid");
  EXPECT_EQ(here("line"), "Ann");
  EXPECT_FALSE(one(club, "chair"));
  club->setValueForKey(ann, "chair");
  save();
  EXPECT_EQ(there("guests"), "Ann Bob Cid");
}

TEST_P(OneWayRelationship, ARequiredOneThatWasNeverSavedAndIsGoneIsMissed) {
  auto dora = make("Person", "Dora");
  club->setValueForKey(dora, "chair");
  context->deleteObject(dora);
  Ref<NSError> error;
  ASSERT_FALSE(context->save(&error));
  EXPECT_EQ(error->code(), NSValidationMissingMandatoryPropertyError) << text(error);
  club->setValueForKey(bob, "chair");
  save();
  EXPECT_EQ(there("chair"), "Bob");
}

TEST_P(OneWayRelationship, ASetPutInItsPlaceLetsGoOfWhatIsForgotten) {
  auto dora = make("Person", "Dora");
  relate(club, "guests", {dora});
  lineUp({ann, dora});
  context->deleteObject(dora);
  club->setValueForKey(club->valueForKey("guests"), "guests");
  lineUp({cid, ann});
  save();
  EXPECT_EQ(there("guests"), "Ann Bob Cid");
  EXPECT_EQ(there("line"), "Cid Ann");
}

TEST_P(OneWayRelationship, ASetOfAnObjectThatIsGoneCanBeEmptied) {
  context->deleteObject(club);
  save();
  EXPECT_FALSE(club->managedObjectContext());
  club->setValueForKey(nullptr, "guests");
  EXPECT_EQ(here("guests"), "");
}

TEST_P(OneWayRelationship, ARollbackBringsTheMembersBack) {
  relate(club, "guests", {make("Person", "Dora")});
  context->deleteObject(bob);
  context->rollback();
  EXPECT_EQ(here("guests"), "Ann Bob Cid");
  save();
  EXPECT_EQ(there("guests"), "Ann Bob Cid");
}

TEST_P(OneWayRelationship, ADeletionThatIsTakenBackLeavesTheMembers) {
  context->deleteObject(bob);
  context->processPendingChanges();
  context->insertObject(bob);
  save();
  EXPECT_EQ(here("guests"), "Ann Bob Cid");
  EXPECT_EQ(there("line"), "Ann Bob Cid");
}

TEST_P(OneWayRelationship, AChildsDeletionReachesTheParentAndTheStore) {
  auto child = NSManagedObjectContext::init();
  child->setParentContext(context);
  auto clubThere = child->objectWithID(club->objectID());
  EXPECT_EQ(names(clubThere, "guests"), "Ann Bob Cid");
  child->deleteObject(child->objectWithID(bob->objectID()));
  ASSERT_TRUE(child->save());
  EXPECT_EQ(names(clubThere, "guests"), "Ann Cid");
  save();
  EXPECT_EQ(here("guests"), "Ann Cid");
  EXPECT_EQ(there("line"), "Ann Cid");
}

}  // namespace
}  // namespace JNFoundation
