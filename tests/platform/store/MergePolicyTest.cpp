#include <gtest/gtest.h>

#include "tests/platform/store/MergeFixture.h"

#include <JNFoundation/platform/store/NSMergePolicy.h>

namespace JNFoundation {
namespace {

class MergePolicy : public MergeTest {
 protected:
  static constexpr NSMergePolicyType merging[] = {
      NSMergeByPropertyStoreTrumpMergePolicyType, NSMergeByPropertyObjectTrumpMergePolicyType,
      NSOverwriteMergePolicyType, NSRollbackMergePolicyType};
};
FOR_EVERY_PAIR_OF_CONTEXTS(MergePolicy);

TEST_P(MergePolicy, TheFiveAreSharedAndKnowTheirTypes) {
  EXPECT_EQ(context->mergePolicy(), NSErrorMergePolicy());
  const Ref<NSMergePolicy> shared[] = {
      NSErrorMergePolicy(), NSMergeByPropertyStoreTrumpMergePolicy(),
      NSMergeByPropertyObjectTrumpMergePolicy(), NSOverwriteMergePolicy(), NSRollbackMergePolicy()};
  for (NSUInteger type = 0; type < 5; ++type) {
    EXPECT_EQ(shared[type]->mergeType(), type);
    EXPECT_EQ(shared[type]->valueForKey("mergeType"), Value(type));
  }
  EXPECT_EQ(NSMergePolicy::overwriteMergePolicy(), NSOverwriteMergePolicy());
  context->setMergePolicy(NSOverwriteMergePolicy());
  EXPECT_EQ(context->mergePolicy(), NSOverwriteMergePolicy());
  context->setMergePolicy(nullptr);
  EXPECT_EQ(context->mergePolicy(), NSErrorMergePolicy());
  EXPECT_ANY_THROW(policy(static_cast<NSMergePolicyType>(5)));
}

TEST_P(MergePolicy, TheErrorPolicyListsEveryConflict) {
  auto changed = saved("Item", {{"code", "c"}, {"a", "base"}});
  auto gone = saved("Item", {{"code", "g"}});
  auto untouched = saved("Item", {{"code", "u"}});
  auto deleted = saved("Item", {{"code", "d"}});
  changeOutside(changed, {{"a", "theirs"}});
  changeOutside(changed, {{"n", 8}});
  changeOutside(deleted, {{"a", "theirs"}});
  deleteOutside(gone);
  for (const auto& each : {changed, gone, untouched}) each->setValueForKey("ours", "b");
  context->deleteObject(deleted);
  const Ref<NSError> error = failedSave();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), NSManagedObjectMergeError);
  EXPECT_EQ(error->localizedDescription()->toStdString(), "Could not merge changes.");
  const Value listed = error->userInfo()->objectForKey("conflictList");
  ASSERT_TRUE(as<NSArray>(listed));
  std::vector<Ref<NSManagedObject>> objects;
  for (const Value& each : *as<NSArray>(listed)) {
    const auto& conflict = *as<NSMergeConflict>(each);
    objects.push_back(conflict.sourceObject());
    EXPECT_EQ(conflict.oldVersionNumber(), 1u);
    EXPECT_EQ(conflict.newVersionNumber(),
              objects.back() == changed ? 3u : (objects.back() == gone ? 0u : 2u));
    EXPECT_EQ(!conflict.persistedSnapshot(), objects.back() == gone);
    const std::string description = conflict.description()->toStdString();
    EXPECT_NE(description.find("for NSManagedObject (0x"), std::string::npos) << description;
    EXPECT_NE(description.find("with oldVersion = 1 and newVersion = "), std::string::npos);
    if (objects.back() != changed) continue;
    EXPECT_EQ(conflict.objectSnapshot()->objectForKey("a"), Value("base"));
    EXPECT_EQ(conflict.objectSnapshot()->objectForKey("b"), Value(NSNull::null()));
    EXPECT_EQ(conflict.persistedSnapshot()->objectForKey("a"), Value("theirs"));
    EXPECT_EQ(conflict.persistedSnapshot()->objectForKey("n"), Value(8));
    EXPECT_FALSE(conflict.persistedSnapshot()->objectForKey("memo").object());
    EXPECT_NE(description.find("newVersion = 3 and old object snapshot = {"), std::string::npos);
    EXPECT_NE(description.find("and new cached row = {"), std::string::npos);
  }
  EXPECT_EQ(objects.size(), 3u);
  EXPECT_EQ(std::count(objects.begin(), objects.end(), untouched), 0);
  const Value affected = error->userInfo()->objectForKey(NSAffectedObjectsErrorKey);
  EXPECT_EQ(as<NSArray>(affected)->count(), 3u);
  EXPECT_EQ(values(changed), "base ours 7");
  EXPECT_EQ(values(anew(changed)), "theirs - 8");
  EXPECT_TRUE(deleted->isDeleted());
  EXPECT_EQ(value(anew(untouched), "b"), "-") << "all or nothing";
}

TEST_P(MergePolicy, ChangesOfBothSidesAreMergedAsThePolicySays) {
  // a is changed on both sides, b here, n there.
  const char* const expected[] = {"theirs ours 8", "ours ours 8", "ours ours 7", "theirs base 8"};
  for (std::size_t i = 0; i < 4; ++i) {
    SCOPED_TRACE(i);
    auto item = saved("Item", {{"a", "base"}, {"b", "base"}});
    auto beside = saved("Item", {{"a", "base"}});
    changeOutside(item, {{"a", "theirs"}, {"n", 8}});
    item->setValueForKey("ours", "a");
    item->setValueForKey("ours", "b");
    beside->setValueForKey("ours", "a");
    context->setMergePolicy(policy(merging[i]));
    save();
    EXPECT_EQ(values(item), expected[i]);
    EXPECT_EQ(values(anew(item)), expected[i]);
    EXPECT_EQ(value(anew(beside), "a"), "ours");
    expectSettled(item);
  }
}

TEST_P(MergePolicy, EqualChangesOfBothSidesAreNoLoss) {
  for (const NSMergePolicyType type : merging) {
    auto item = saved("Item", {{"a", "base"}});
    changeOutside(item, {{"a", "both"}});
    item->setValueForKey("both", "a");
    context->setMergePolicy(policy(type));
    save();
    EXPECT_EQ(value(item, "a"), "both");
    expectSettled(item);
  }
}

TEST_P(MergePolicy, ARecordThatIsGoneIsForgottenOrWrittenAgain) {
  for (const NSMergePolicyType type : merging) {
    SCOPED_TRACE(type);
    auto item = saved("Item", {{"a", "base"}, {"b", "base"}});
    const auto identifier = item->objectID();
    deleteOutside(item);
    item->setValueForKey("ours", "a");
    context->setMergePolicy(policy(type));
    save();
    const bool comesBack =
        type == NSMergeByPropertyObjectTrumpMergePolicyType || type == NSOverwriteMergePolicyType;
    EXPECT_FALSE(context->hasChanges());
    EXPECT_EQ(item->managedObjectContext(), comesBack ? context : nullptr);
    EXPECT_EQ(isInStore(identifier), comesBack);
    EXPECT_TRUE(item->objectID()->isEqual(Value(identifier)));
    if (!comesBack) continue;
    EXPECT_EQ(values(anew(item)), "ours base 7");
    expectSettled(item);
  }
}

TEST_P(MergePolicy, ARecordThatCameBackIsNotTakenForTheFormerOne) {
  auto item = saved("Item", {{"a", "base"}});
  auto third = newContext();
  auto stale = same(item, third);
  deleteOutside(item);
  item->setValueForKey("again", "a");
  context->setMergePolicy(NSOverwriteMergePolicy());
  save();
  stale->setValueForKey("stale", "b");
  Ref<NSError> error;
  EXPECT_FALSE(third->save(&error)) << "their version is one of before the deletion";
  EXPECT_EQ(error->code(), NSManagedObjectMergeError);
  item->setValueForKey("once more", "a");
  save();
  EXPECT_EQ(value(anew(item), "a"), "once more");
}

TEST_P(MergePolicy, ADeletionOfWhatHasChangedIsDoneOrTakenBack) {
  for (const NSMergePolicyType type : merging) {
    SCOPED_TRACE(type);
    auto item = saved("Item", {{"a", "base"}, {"b", "base"}});
    const auto identifier = item->objectID();
    changeOutside(item, {{"a", "theirs"}});
    item->setValueForKey("lost", "b");
    context->deleteObject(item);
    context->setMergePolicy(policy(type));
    save();
    const bool isGone =
        type == NSMergeByPropertyObjectTrumpMergePolicyType || type == NSOverwriteMergePolicyType;
    EXPECT_EQ(isInStore(identifier), !isGone);
    EXPECT_EQ(item->managedObjectContext(), isGone ? nullptr : context);
    if (isGone) continue;
    EXPECT_FALSE(item->isDeleted());
    EXPECT_EQ(values(item), "theirs base 7");
    expectSettled(item);
  }
}

TEST_P(MergePolicy, WhatBothSidesDeletedIsGone) {
  for (const NSMergePolicyType type : merging) {
    SCOPED_TRACE(type);
    auto item = saved("Item"), beside = saved("Item");
    deleteOutside(item);
    context->deleteObject(item);
    beside->setValueForKey("ours", "a");
    context->setMergePolicy(nullptr);
    EXPECT_EQ(codeOfSave(), NSManagedObjectMergeError);
    context->setMergePolicy(policy(type));
    save();
    EXPECT_EQ(item->managedObjectContext(), nullptr);
    EXPECT_FALSE(context->hasChanges());
    EXPECT_EQ(value(anew(beside), "a"), "ours");
  }
}

TEST_P(MergePolicy, TransientValuesStayUnlessTheObjectIsRolledBack) {
  for (const NSMergePolicyType type : merging) {
    auto item = saved("Item", {{"a", "base"}});
    changeOutside(item, {{"a", "theirs"}});
    item->setValueForKey("ours", "b");
    item->setValueForKey("ours", "memo");
    context->setMergePolicy(policy(type));
    save();
    EXPECT_EQ(value(item, "memo"), type == NSRollbackMergePolicyType ? "-" : "ours");
  }
}

TEST_P(MergePolicy, AWatchedObjectIsInTheWayOfASave) {
  auto watched = saved("Item", {{"a", "base"}}), changed = saved("Item");
  auto gone = saved("Item");
  changeOutside(watched, {{"a", "theirs"}});
  changed->setValueForKey("1", "a");
  save();
  EXPECT_EQ(value(watched, "a"), "base") << "nobody has asked";
  context->detectConflictsForObject(watched);
  context->detectConflictsForObject(watched);
  EXPECT_EQ(codeOfSave(), 0) << "nothing is written";
  changed->setValueForKey("2", "a");
  Ref<NSError> error = failedSave();
  ASSERT_EQ(error->code(), NSManagedObjectMergeError);
  EXPECT_EQ(error->userInfo()->objectForKey(NSAffectedObjectsErrorKey),
            Value(NSArray::arrayWithObject(watched)));
  context->setMergePolicy(NSMergeByPropertyObjectTrumpMergePolicy());
  save();
  EXPECT_EQ(value(watched, "a"), "theirs");
  EXPECT_EQ(value(anew(changed), "a"), "2");
  expectSettled(watched);

  changeOutside(watched, {{"a", "later"}});
  changed->setValueForKey("3", "a");
  save();
  EXPECT_EQ(value(watched, "a"), "settled") << "a save that succeeds ends the watch";

  context->detectConflictsForObject(gone);
  deleteOutside(gone);
  changed->setValueForKey("4", "a");
  context->setMergePolicy(NSMergeByPropertyStoreTrumpMergePolicy());
  save();
  EXPECT_EQ(gone->managedObjectContext(), nullptr);
  EXPECT_ANY_THROW(context->detectConflictsForObject(insertIn(other, "Item")));
}

TEST_P(MergePolicy, TwoStoresMergeInOneSave) {
  Ref<NSError> error;
  auto beside = coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
      NSInMemoryStoreType, nullptr, nullptr, nullptr, &error);
  ASSERT_TRUE(beside) << text(error);
  auto item = saved("Item", {{"a", "base"}});
  changeOutside(item, {{"a", "theirs"}});
  item->setValueForKey("ours", "b");
  insert("Box", {{"name", "box"}});
  context->setMergePolicy(NSMergeByPropertyStoreTrumpMergePolicy());
  save();
  EXPECT_EQ(values(anew(item)), "theirs ours 7");
}

}  // namespace
}  // namespace JNFoundation
