#include <gtest/gtest.h>

#include "tests/platform/store/MergeFixture.h"

#include <JNFoundation/platform/store/NSConstraintConflict.h>

namespace JNFoundation {
namespace {

class ConstraintConflict : public MergeTest {
 protected:
  void use(NSUInteger type) {
    context->setMergePolicy(policy(static_cast<NSMergePolicyType>(type)));
  }
  static bool keepsOurs(NSUInteger type) { return type == 2 || type == 3; }
  void clear() {
    context->reset();
    const Ref<NSArray> found = fetch(request("Item"));
    for (const Value& each : *found) {
      context->deleteObject(Ref<NSManagedObject>(as<NSManagedObject>(each)));
    }
    save();
  }
};
FOR_EVERY_PAIR_OF_CONTEXTS(ConstraintConflict);

TEST_P(ConstraintConflict, TheErrorPolicyListsEveryClash) {
  auto x = saved("Item", {{"code", "x"}, {"a", "stored"}}), y = saved("Item", {{"code", "y"}});
  auto first = insert("Item", {{"code", "x"}, {"a", "new"}});
  auto second = insert("Item", {{"code", "z"}}), third = insert("Item", {{"code", "z"}});
  auto free = insert("Item", {{"code", "free"}});
  insert("Item");
  insert("Item");
  y->setValueForKey("x", "code");
  const Ref<NSError> error = failedSave();
  ASSERT_EQ(error->code(), NSManagedObjectConstraintMergeError);
  const Value listed = error->userInfo()->objectForKey(NSPersistentStoreSaveConflictsErrorKey);
  ASSERT_EQ(as<NSArray>(listed)->count(), 2u);
  const Value one = as<NSArray>(listed)->objectAtIndex(0),
              other = as<NSArray>(listed)->objectAtIndex(1);
  const auto& clash = *as<NSConstraintConflict>(one);
  EXPECT_EQ(Value(clash.constraint()), Value(NSArray::arrayWithObject("code")));
  EXPECT_EQ(clash.constraintValues()->objectForKey("code"), Value("x"));
  EXPECT_EQ(clash.databaseObject(), x);
  EXPECT_EQ(clash.databaseSnapshot()->objectForKey("a"), Value("stored"));
  EXPECT_EQ(Value(clash.conflictingObjects()), Value(NSArray::arrayWithObjects(y, first)));
  const Value snapshot = clash.conflictingSnapshots()->objectAtIndex(1);
  EXPECT_EQ(as<NSDictionary>(snapshot)->objectForKey("a"), Value("new"));
  EXPECT_NE(clash.description()->toStdString().find("NSConstraintConflict (0x"), std::string::npos);
  const auto& among = *as<NSConstraintConflict>(other);
  EXPECT_FALSE(among.databaseObject());
  EXPECT_FALSE(among.databaseSnapshot());
  EXPECT_EQ(Value(among.conflictingObjects()), Value(NSArray::arrayWithObjects(second, third)));
  EXPECT_EQ(error->userInfo()->objectForKey(NSAffectedObjectsErrorKey),
            Value(NSArray::arrayWithObjects(y, first, third)));
  EXPECT_EQ(codes(), "x y") << "nothing was written";
  EXPECT_TRUE(free->isInserted());
}

TEST_P(ConstraintConflict, ANewObjectMeetsARecordOfTheSameValue) {
  const char* const expected[] = {"stored stored 9", "ours stored 9", "ours - 7",
                                  "stored stored 9"};
  for (NSUInteger type = 1; type < 5; ++type) {
    SCOPED_TRACE(type);
    for (const bool isKnown : {true, false}) {
      auto record = saved("Item", {{"code", "x"}, {"a", "stored"}, {"b", "stored"}, {"n", 9}});
      const auto identifier = record->objectID();
      if (!isKnown) {
        record = nullptr;
        context->reset();
      }
      auto fresh = insert("Item", {{"code", "x"}, {"a", "ours"}});
      auto beside = insert("Item", {{"code", "beside"}});
      use(type);
      save();
      EXPECT_EQ(fresh->managedObjectContext(), nullptr);
      EXPECT_EQ(beside->managedObjectContext(), context);
      EXPECT_EQ(codes(), "beside x");
      auto survivor = context->existingObjectWithIDError(identifier);
      ASSERT_TRUE(survivor);
      EXPECT_TRUE(!isKnown || survivor == record);
      EXPECT_EQ(values(survivor), expected[type - 1]);
      EXPECT_EQ(values(anew(survivor)), expected[type - 1]);
      expectSettled(survivor);
      clear();
    }
  }
}

TEST_P(ConstraintConflict, TheRecordMayHaveChangedMeanwhile) {
  for (NSUInteger type = 1; type < 5; ++type) {
    SCOPED_TRACE(type);
    auto record = saved("Item", {{"code", "x"}, {"a", "base"}, {"b", "base"}});
    changeOutside(record, {{"b", "theirs"}});
    insert("Item", {{"code", "x"}, {"a", "ours"}});
    use(type);
    save();
    EXPECT_EQ(values(anew(record)), type == 2   ? "ours theirs 7"
                                    : type == 3 ? "ours - 7"
                                                : "base theirs 7");
    EXPECT_EQ(values(record), keepsOurs(type) ? values(anew(record)) : "base base 7");
    clear();
  }
}

TEST_P(ConstraintConflict, AChangedObjectMeetsARecordOfTheSameValue) {
  for (NSUInteger type = 1; type < 5; ++type) {
    SCOPED_TRACE(type);
    auto record = saved("Item", {{"code", "x"}, {"a", "stored"}});
    auto changed = saved("Item", {{"code", "y"}});
    const auto identifier = record->objectID();
    changed->setValueForKey("x", "code");
    changed->setValueForKey("ours", "a");
    use(type);
    save();
    EXPECT_EQ(isInStore(identifier), !keepsOurs(type));
    EXPECT_EQ(codes(), keepsOurs(type) ? "x" : "x y");
    EXPECT_EQ(value(changed, "code"), keepsOurs(type) ? "x" : "y");
    EXPECT_EQ(values(anew(changed)), "ours - 7") << "nothing but the value that must be unique";
    expectSettled(changed);
    clear();
  }
}

TEST_P(ConstraintConflict, OfNewObjectsTheFirstStandsForTheStore) {
  const char* const expected[] = {"first first 7", "third first 7", "third - 7", "first first 7"};
  for (NSUInteger type = 1; type < 5; ++type) {
    SCOPED_TRACE(type);
    auto first = insert("Item", {{"code", "x"}, {"a", "first"}, {"b", "first"}});
    auto second = insert("Item", {{"code", "x"}, {"a", "second"}});
    auto third = insert("Item", {{"code", "x"}, {"a", "third"}});
    use(type);
    save();
    EXPECT_EQ(codes(), "x");
    EXPECT_EQ(values(anew(first)), expected[type - 1]);
    EXPECT_EQ(second->managedObjectContext(), nullptr);
    EXPECT_EQ(third->managedObjectContext(), nullptr);
    expectSettled(first);
    clear();
  }
}

TEST_P(ConstraintConflict, WhoeverIsRelatedToTheNewOneIsRelatedToTheSurvivor) {
  for (const NSUInteger type : {2, 3}) {
    SCOPED_TRACE(type);
    auto oldBox = saved("Box", {{"name", "old"}}), oldTag = saved("Tag", {{"name", "old"}});
    auto record = insert("Item", {{"code", "x"}, {"box", oldBox}});
    record->mutableSetValueForKey("tags")->addObject(oldTag);
    save();
    auto fresh = insert("Item", {{"code", "x"}});
    auto box = insert("Box", {{"name", "box"}}), desk = insert("Desk", {{"name", "desk"}}),
         tag = insert("Tag", {{"name", "tag"}}), reader = insert("Reader", {{"name", "r"}});
    fresh->setValueForKey(box, "box");
    desk->setValueForKey(fresh, "item");
    tag->mutableSetValueForKey("items")->addObject(fresh);
    reader->setValueForKey(fresh, "item");
    reader->mutableSetValueForKey("list")->addObject(fresh);
    use(type);
    save();
    EXPECT_EQ(ends(anew(record), "box"), "box");
    EXPECT_EQ(ends(anew(box), "items"), "x");
    EXPECT_EQ(ends(oldBox, "items"), "");
    EXPECT_EQ(ends(anew(desk), "item"), "x");
    EXPECT_EQ(ends(record, "desk"), "desk");
    EXPECT_EQ(ends(anew(record), "tags"), "old tag");
    EXPECT_EQ(ends(anew(reader), "item"), "x");
    EXPECT_EQ(ends(anew(reader), "list"), "x");
    for (const auto& each : {record, oldBox, oldTag, box, desk, tag, reader}) {
      context->deleteObject(each);
    }
    save();
  }
}

TEST_P(ConstraintConflict, ADroppedObjectLeavesNobodyLeadingToIt) {
  for (const NSUInteger type : {1, 4}) {
    auto record = saved("Item", {{"code", "x"}});
    auto fresh = insert("Item", {{"code", "x"}});
    auto box = insert("Box", {{"name", "box"}}), desk = insert("Desk", {{"name", "desk"}}),
         reader = insert("Reader", {{"name", "r"}});
    fresh->setValueForKey(box, "box");
    desk->setValueForKey(fresh, "item");
    reader->setValueForKey(fresh, "item");
    reader->mutableSetValueForKey("list")->addObject(fresh);
    use(type);
    save();
    EXPECT_EQ(ends(anew(box), "items"), "");
    EXPECT_EQ(ends(anew(desk), "item"), "");
    EXPECT_EQ(ends(anew(reader), "item"), "");
    EXPECT_EQ(ends(anew(reader), "list"), "");
    EXPECT_EQ(ends(record, "box"), "");
    clear();
  }
}

TEST_P(ConstraintConflict, AChainOfHandOversIsTakenBackLinkByLink) {
  std::vector<Ref<NSManagedObject>> items;
  const auto code = [](int i) { return NSString::stringWithFormat("c%03d", i); };
  constexpr int count = 40;
  for (int i = 0; i < count; ++i) items.push_back(insert("Item", {{"code", code(i)}}));
  save();
  const std::string before = codes();
  // Each takes the value of the next; the last one's stays where it is.
  for (int i = 0; i + 1 < count; ++i) items[i]->setValueForKey(code(i + 1), "code");
  use(1);
  save();
  EXPECT_EQ(codes(), before);
  for (int i = 0; i + 1 < count; ++i) items[i]->setValueForKey(code(i + 1), "code");
  use(2);
  save();
  EXPECT_EQ(items.back()->managedObjectContext(), nullptr) << "the last one made way";
  EXPECT_EQ(value(items[count - 2], "code"), "c039");
  EXPECT_EQ(fetch(request("Item"))->count(), static_cast<NSUInteger>(count - 1));
}

TEST_P(ConstraintConflict, ConstraintsOfAnAncestorHoldAcrossEntities) {
  for (NSUInteger type = 1; type < 5; ++type) {
    SCOPED_TRACE(type);
    auto plain = saved("Item", {{"code", "x"}, {"a", "plain"}});
    auto special = insert("Special", {{"code", "x"}, {"a", "special"}, {"serial", 1}});
    use(type);
    save();
    EXPECT_EQ(codes(), "x");
    EXPECT_EQ(special->managedObjectContext(), nullptr);
    EXPECT_EQ(value(anew(plain), "a"), keepsOurs(type) ? "special" : "plain");
    context->deleteObject(plain);
    save();
    auto kept = saved("Special", {{"code", "y"}, {"serial", 1}});
    insert("Item", {{"code", "y"}, {"a", "plain"}});
    save();
    EXPECT_EQ(value(anew(kept), "serial"), "1") << "the other entity does not have it";
    EXPECT_EQ(value(anew(kept), "a"), keepsOurs(type) ? "plain" : "-");
    clear();
  }
}

TEST_P(ConstraintConflict, OneObjectMayMeetSeveralRecords) {
  for (NSUInteger type = 1; type < 5; ++type) {
    SCOPED_TRACE(type);
    auto one = saved("Special", {{"code", "x"}, {"serial", 1}});
    auto two = saved("Special", {{"code", "y"}, {"serial", 2}});
    auto fresh = insert("Special", {{"code", "x"}, {"serial", 2}, {"a", "ours"}});
    use(type);
    save();
    EXPECT_EQ(fresh->managedObjectContext(), nullptr);
    if (keepsOurs(type)) {
      EXPECT_EQ(fetch(request("Item"))->count(), 1u);
      auto survivor = one->managedObjectContext() ? one : two;
      EXPECT_EQ(value(survivor, "code") + value(survivor, "serial") + value(survivor, "a"),
                "x2ours");
    } else {
      EXPECT_EQ(codes(), "x y");
      EXPECT_EQ(value(anew(one), "serial"), "1");
    }
    clear();
  }
}

TEST_P(ConstraintConflict, AnotherContextMayHaveBeenFaster) {
  for (NSUInteger type = 1; type < 5; ++type) {
    SCOPED_TRACE(type);
    auto fresh = insert("Item", {{"code", "x"}, {"a", "ours"}});
    insertIn(other, "Item", {{"code", "x"}, {"a", "theirs"}, {"b", "theirs"}});
    saveOther();
    use(type);
    save();
    EXPECT_EQ(codes(), "x");
    const Value found = fetch(request("Item"))->firstObject();
    EXPECT_EQ(values(Ref(as<NSManagedObject>(found))), type == 2   ? "ours theirs 7"
                                                       : type == 3 ? "ours - 7"
                                                                   : "theirs theirs 7");
    clear();
  }
}

TEST_P(ConstraintConflict, ThousandsOfKnownRecordsAreInsertedAnew) {
  constexpr int count = 3000;
  for (int i = 0; i < count; ++i) insert("Item", {{"code", NSString::stringWithFormat("%d", i)}});
  save();
  context->reset();
  for (int i = 0; i < count; ++i) {
    insert("Item", {{"code", NSString::stringWithFormat("%d", i)}, {"n", i}});
  }
  use(2);
  save();
  EXPECT_EQ(fetch(request("Item"))->count(), static_cast<NSUInteger>(count));
  const Ref<NSArray> wrong =
      fetch(request("Item", NSPredicate::predicateWithFormat("n == 7 AND code != '7'")));
  EXPECT_EQ(wrong->count(), 0u);
}

}  // namespace
}  // namespace JNFoundation
