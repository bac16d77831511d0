#include <gtest/gtest.h>

#include "tests/platform/store/MergeFixture.h"

#include <JNFoundation/platform/store/NSMergePolicy.h>

namespace JNFoundation {
namespace {

class MergeRelationships : public MergeTest {
 protected:
  void use(NSMergePolicyType type) { context->setMergePolicy(policy(type)); }
  Ref<NSManagedObject> named(const char* entity, const char* name) {
    return saved(entity, {{entity == std::string("Item") ? "code" : "name", name}});
  }
};
FOR_EVERY_PAIR_OF_CONTEXTS(MergeRelationships);

TEST_P(MergeRelationships, ARelationshipToOneIsAPropertyLikeOthers) {
  auto home = named("Box", "home"), mine = named("Box", "mine"), yours = named("Box", "yours");
  const char* const expected[] = {"yours", "mine", "mine", "yours"};
  for (NSUInteger type = 1; type < 5; ++type) {
    SCOPED_TRACE(type);
    auto item = saved("Item", {{"box", home}});
    changeOutside(item, {{"box", theirs(yours)}});
    item->setValueForKey(mine, "box");
    use(static_cast<NSMergePolicyType>(type));
    save();
    EXPECT_EQ(ends(item, "box"), expected[type - 1]);
    EXPECT_EQ(ends(anew(item), "box"), expected[type - 1]);
    for (const auto& box : {home, mine, yours}) {
      const Value members = box->valueForKey("items");
      EXPECT_EQ(as<NSSet>(members)->containsObject(Value(item)),
                value(box, "name") == expected[type - 1])
          << value(box, "name");
    }
    expectSettled(item);
  }
}

TEST_P(MergeRelationships, WhatOnlyTheOtherSideMovedMoves) {
  auto home = named("Box", "home"), yours = named("Box", "yours");
  for (const NSUInteger type : {1, 2, 4}) {
    auto item = saved("Item", {{"code", "x"}, {"box", home}});
    EXPECT_EQ(ends(home, "items"), "x");
    EXPECT_EQ(ends(yours, "items"), "");
    changeOutside(item, {{"box", theirs(yours)}});
    item->setValueForKey("ours", "a");
    use(static_cast<NSMergePolicyType>(type));
    save();
    EXPECT_EQ(ends(item, "box"), "yours");
    EXPECT_EQ(ends(home, "items"), "");
    EXPECT_EQ(ends(yours, "items"), "x");
    EXPECT_FALSE(context->hasChanges());
    context->deleteObject(item);
    save();
  }
}

TEST_P(MergeRelationships, BothEndsOfOneToOneStayTrue) {
  for (NSUInteger type = 1; type < 5; ++type) {
    SCOPED_TRACE(type);
    auto item = saved("Item", {{"code", "i"}});
    auto first = named("Desk", "first"), second = named("Desk", "second");
    changeOutside(item, {{"desk", theirs(second)}});
    item->setValueForKey(first, "desk");
    use(static_cast<NSMergePolicyType>(type));
    save();
    const bool isOurs = type == 2 || type == 3;
    EXPECT_EQ(ends(item, "desk"), isOurs ? "first" : "second");
    EXPECT_EQ(ends(first, "item"), isOurs ? "i" : "");
    EXPECT_EQ(ends(second, "item"), isOurs ? "" : "i");
    EXPECT_EQ(ends(anew(item), "desk"), isOurs ? "first" : "second");
    EXPECT_EQ(ends(anew(first), "item"), isOurs ? "i" : "");
    EXPECT_EQ(ends(anew(second), "item"), isOurs ? "" : "i");
    expectSettled(item);
    for (const auto& each : {item, first, second}) context->deleteObject(each);
    save();
  }
}

TEST_P(MergeRelationships, PairsOfBothSidesAddUp) {
  auto item = named("Item", "i"), mine = named("Tag", "mine"), yours = named("Tag", "yours"),
       old = named("Tag", "old");
  item->mutableSetValueForKey("tags")->addObject(old);
  save();
  auto outside = theirs(item);
  outside->mutableSetValueForKey("tags")->addObject(theirs(yours));
  outside->setValueForKey("theirs", "a");
  saveOther();
  item->mutableSetValueForKey("tags")->addObject(mine);
  item->mutableSetValueForKey("tags")->removeObject(old);
  item->setValueForKey("ours", "b");
  use(NSMergeByPropertyStoreTrumpMergePolicyType);
  save();
  EXPECT_EQ(ends(anew(item), "tags"), "mine yours");
}

TEST_P(MergeRelationships, ARollbackDropsPairsAtBothEnds) {
  auto item = named("Item", "i"), mine = named("Tag", "mine"), old = named("Tag", "old");
  item->mutableSetValueForKey("tags")->addObject(old);
  save();
  changeOutside(item, {{"a", "theirs"}});
  item->mutableSetValueForKey("tags")->addObject(mine);
  item->mutableSetValueForKey("tags")->removeObject(old);
  item->setValueForKey("ours", "a");
  use(NSRollbackMergePolicyType);
  save();
  EXPECT_EQ(ends(item, "tags"), "old");
  EXPECT_EQ(ends(mine, "items"), "");
  EXPECT_EQ(ends(old, "items"), "i");
  EXPECT_EQ(ends(anew(item), "tags"), "old");
  EXPECT_FALSE(context->hasChanges());
}

TEST_P(MergeRelationships, AnObjectThatIsForgottenIsNoLongerRelated) {
  auto box = named("Box", "box"), item = named("Item", "i"), desk = named("Desk", "desk"),
       tag = named("Tag", "tag");
  item->setValueForKey(desk, "desk");
  item->setValueForKey(box, "box");
  item->mutableSetValueForKey("tags")->addObject(tag);
  save();
  EXPECT_EQ(ends(box, "items"), "i");
  deleteOutside(item);
  item->setValueForKey("ours", "a");
  use(NSMergeByPropertyStoreTrumpMergePolicyType);
  save();
  EXPECT_EQ(ends(box, "items"), "");
  EXPECT_EQ(ends(desk, "item"), "");
  EXPECT_EQ(ends(tag, "items"), "");
  EXPECT_FALSE(context->hasChanges());
}

TEST_P(MergeRelationships, ARecordThatComesBackHasItsRelationships) {
  for (const NSUInteger type : {2, 3}) {
    SCOPED_TRACE(type);
    auto box = named("Box", "box"), item = named("Item", "i"), desk = named("Desk", "desk"),
         tag = named("Tag", "tag");
    item->setValueForKey(desk, "desk");
    item->setValueForKey(box, "box");
    item->mutableSetValueForKey("tags")->addObject(tag);
    save();
    EXPECT_EQ(ends(item, "tags"), "tag") << "a pair comes back if it was read";
    deleteOutside(item);
    item->setValueForKey("ours", "a");
    use(static_cast<NSMergePolicyType>(type));
    save();
    EXPECT_EQ(ends(anew(item), "box"), "box");
    EXPECT_EQ(ends(anew(item), "desk"), "desk");
    EXPECT_EQ(ends(anew(desk), "item"), "i");
    EXPECT_EQ(ends(anew(item), "tags"), "tag");
    EXPECT_EQ(ends(desk, "item"), "i");
    expectSettled(item);
    for (const auto& each : {box, item, desk, tag}) context->deleteObject(each);
    save();
  }
}

TEST_P(MergeRelationships, APartnerThatFoundAnotherOneStaysWithIt) {
  auto item = named("Item", "i"), desk = named("Desk", "desk"), rival = named("Item", "rival");
  item->setValueForKey(desk, "desk");
  save();
  deleteOutside(item);
  changeOutside(rival, {{"desk", theirs(desk)}});
  item->setValueForKey("ours", "a");
  use(NSOverwriteMergePolicyType);
  save();
  EXPECT_EQ(ends(anew(item), "desk"), "");
  EXPECT_EQ(ends(anew(desk), "item"), "rival");
  EXPECT_EQ(ends(item, "desk"), "");
}

TEST_P(MergeRelationships, ADeletionThatIsTakenBackTakesItsRulesBack) {
  for (const NSUInteger type : {1, 4}) {
    SCOPED_TRACE(type);
    auto box = named("Box", "box"), item = named("Item", "i"), moved = named("Item", "m"),
         elsewhere = named("Box", "elsewhere"), part = named("Part", "p");
    item->setValueForKey(box, "box");
    moved->setValueForKey(box, "box");
    part->setValueForKey(box, "box");
    save();
    changeOutside(box, {{"name", "theirs"}});
    moved->setValueForKey(elsewhere, "box");
    context->deleteObject(box);
    context->processPendingChanges();
    EXPECT_TRUE(part->isDeleted());
    use(static_cast<NSMergePolicyType>(type));
    save();
    EXPECT_FALSE(box->isDeleted());
    EXPECT_EQ(ends(box, "items"), "i");
    EXPECT_EQ(ends(box, "parts"), "p");
    EXPECT_EQ(ends(item, "box"), "theirs");
    EXPECT_EQ(ends(part, "box"), "theirs");
    EXPECT_EQ(ends(moved, "box"), "elsewhere");
    EXPECT_EQ(ends(anew(box), "items"), "i");
    EXPECT_EQ(ends(anew(box), "parts"), "p");
    EXPECT_FALSE(context->hasChanges());
    for (const auto& each : {box, item, moved, elsewhere}) context->deleteObject(each);
    save();
  }
}

TEST_P(MergeRelationships, ADeletionMeetsWhoCameMeanwhile) {
  for (const NSUInteger type : {2, 3}) {
    SCOPED_TRACE(type);
    auto box = named("Box", "box"), item = named("Item", "i"), part = named("Part", "p");
    auto outside = theirs(box);
    theirs(item)->setValueForKey(outside, "box");
    theirs(part)->setValueForKey(outside, "box");
    outside->setValueForKey("theirs", "name");
    saveOther();
    context->deleteObject(box);
    use(static_cast<NSMergePolicyType>(type));
    save();
    EXPECT_FALSE(isInStore(box->objectID()));
    EXPECT_FALSE(isInStore(part->objectID())) << "the rule cascades";
    EXPECT_EQ(ends(anew(item), "box"), "");
    context->deleteObject(item);
    save();
  }
}

TEST_P(MergeRelationships, WhoCameMeanwhileAloneIsMetAsWell) {
  // The box itself has not changed, so nothing but the reference is in the way.
  for (NSUInteger type = 1; type < 5; ++type) {
    SCOPED_TRACE(type);
    auto box = named("Box", "box"), item = named("Item", "i");
    changeOutside(item, {{"box", theirs(box)}});
    context->deleteObject(box);
    context->setMergePolicy(nullptr);
    EXPECT_EQ(codeOfSave(), NSManagedObjectReferentialIntegrityError);
    use(static_cast<NSMergePolicyType>(type));
    save();
    EXPECT_FALSE(isInStore(box->objectID()));
    EXPECT_EQ(ends(anew(item), "box"), "");
    context->deleteObject(item);
    save();
  }
}

TEST_P(MergeRelationships, NobodyIsLeftLeadingToWhatIsGone) {
  for (NSUInteger type = 1; type < 5; ++type) {
    SCOPED_TRACE(type);
    auto box = named("Box", "box"), tag = named("Tag", "tag"), item = named("Item", "i");
    deleteOutside(box);
    deleteOutside(tag);
    item->setValueForKey(box, "box");
    item->mutableSetValueForKey("tags")->addObject(tag);
    context->setMergePolicy(nullptr);
    EXPECT_EQ(codeOfSave(), NSManagedObjectReferentialIntegrityError);
    EXPECT_EQ(ends(item, "box"), "box");
    use(static_cast<NSMergePolicyType>(type));
    save();
    EXPECT_EQ(ends(item, "box"), "");
    EXPECT_EQ(ends(item, "tags"), "");
    EXPECT_EQ(ends(anew(item), "box"), "");
    EXPECT_EQ(box->managedObjectContext(), nullptr);
    expectSettled(item);
    context->deleteObject(item);
    save();
  }
}

}  // namespace
}  // namespace JNFoundation
