#include <functional>
#include <gtest/gtest.h>

#include "tests/platform/store/MergeFixture.h"

#include <JNFoundation/platform/store/NSMergePolicy.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {
namespace {

/// An application's policy; a test fills in what it does.
class StoreTestPolicy : public Subclass<StoreTestPolicy, NSMergePolicy> {
 public:
  using Subclass::Subclass;
  using Decision = std::function<bool(const Ref<NSArray>&, Ref<NSError>*)>;

  bool resolveConflictsError(const Ref<NSArray>& conflicts, Ref<NSError>* error) override {
    ++asked;
    return any ? any(conflicts, error) : NSMergePolicy::resolveConflictsError(conflicts, error);
  }
  bool resolveOptimisticLockingVersionConflictsError(const Ref<NSArray>& conflicts,
                                                     Ref<NSError>* error) override {
    return versions
               ? versions(conflicts, error)
               : NSMergePolicy::resolveOptimisticLockingVersionConflictsError(conflicts, error);
  }
  bool resolveConstraintConflictsError(const Ref<NSArray>& conflicts,
                                       Ref<NSError>* error) override {
    return constraints ? constraints(conflicts, error)
                       : NSMergePolicy::resolveConstraintConflictsError(conflicts, error);
  }

  Decision any, versions, constraints;
  int asked = 0;
};

/// An application decides by itself.
class MergeDecision : public MergeTest {
 protected:
  void SetUp() override {
    MergeTest::SetUp();
    mine = StoreTestPolicy::initWithMergeType(NSErrorMergePolicyType);
    context->setMergePolicy(mine);
  }

  /// Items that both sides have changed.
  std::vector<Ref<NSManagedObject>> contested(int count) {
    std::vector<Ref<NSManagedObject>> items;
    for (int i = 0; i < count; ++i) items.push_back(insert("Item", {{"a", "base"}, {"b", "base"}}));
    save();
    for (const auto& item : items) {
      changeOutside(item, {{"a", "theirs"}, {"n", 8}});
      item->setValueForKey("ours", "a");
      item->setValueForKey("ours", "b");
    }
    return items;
  }
  Ref<NSManagedObject> contested() { return contested(1).front(); }
  static NSMergeConflict& conflictAt(const Ref<NSArray>& conflicts, NSUInteger index) {
    const Value value = conflicts->objectAtIndex(index);
    return *as<NSMergeConflict>(value);
  }
  static StoreTestPolicy::Decision accepting() {
    return [](const Ref<NSArray>&, Ref<NSError>*) { return true; };
  }

  Ref<StoreTestPolicy> mine;
};
FOR_EVERY_PAIR_OF_CONTEXTS(MergeDecision);

TEST_P(MergeDecision, WhatTheObjectsHoldIsSavedOnceThePolicyIsContent) {
  const auto items = contested(3);
  const auto &item = items[0], &gone = items[1], &deleted = items[2];
  deleteOutside(gone);
  context->deleteObject(deleted);
  mine->any = accepting();
  save();
  EXPECT_EQ(mine->asked, 1);
  EXPECT_EQ(values(anew(item)), "ours ours 7");
  EXPECT_EQ(values(anew(gone)), "ours ours 7");
  EXPECT_FALSE(isInStore(deleted->objectID()));
  expectSettled(item);
}

TEST_P(MergeDecision, APolicyMayChangeTheObjectsItself) {
  auto item = contested();
  mine->versions = [&](const Ref<NSArray>& conflicts, Ref<NSError>*) {
    NSMergeConflict& conflict = conflictAt(conflicts, 0);
    EXPECT_EQ(conflict.sourceObject(), item);
    EXPECT_EQ(conflict.objectSnapshot()->objectForKey("a"), Value("base"));
    EXPECT_EQ(conflict.cachedSnapshot()->objectForKey("a"), Value("theirs"));
    const Value ours = item->valueForKey("a");
    item->setValueForKey(
        NSString::stringWithFormat("%@+%@", ours, conflict.persistedSnapshot()->objectForKey("a")),
        "a");
    insert("Box", {{"name", "noted"}});
    return true;
  };
  save();
  EXPECT_EQ(values(anew(item)), "ours+theirs ours 7");
  EXPECT_EQ(fetch(request("Box"))->count(), 1u);
}

TEST_P(MergeDecision, WhatAPolicyPutsInIsValidated) {
  auto item = contested();
  mine = StoreTestPolicy::initWithMergeType(NSMergeByPropertyStoreTrumpMergePolicyType);
  context->setMergePolicy(mine);
  mine->any = [&](const Ref<NSArray>& conflicts, Ref<NSError>* error) {
    item->setValueForKey(2000000, "n");
    const Ref<NSMergePolicy> base = NSMergeByPropertyObjectTrumpMergePolicy();
    return base->resolveConflictsError(conflicts, error);
  };
  EXPECT_EQ(codeOfSave(), NSValidationNumberTooLargeError);
  EXPECT_EQ(values(anew(item)), "theirs base 8");
  EXPECT_EQ(values(item), "ours ours 2000000") << "what is merged stays, to be mended";
  item->setValueForKey(9, "n");
  save();
  EXPECT_EQ(mine->asked, 1) << "it is merged already";
  EXPECT_EQ(values(anew(item)), "ours ours 9");
}

TEST_P(MergeDecision, APolicyMayLeaveSomeOfItToTheBase) {
  const auto items = contested(2);
  const auto &first = items[0], &second = items[1];
  mine = StoreTestPolicy::initWithMergeType(NSMergeByPropertyStoreTrumpMergePolicyType);
  context->setMergePolicy(mine);
  mine->versions = [&](const Ref<NSArray>& conflicts, Ref<NSError>* error) {
    std::vector<Value> left;
    for (const Value& each : *conflicts) {
      if (as<NSMergeConflict>(each)->sourceObject() != first) left.push_back(each);
    }
    return mine->NSMergePolicy::resolveOptimisticLockingVersionConflictsError(
        NSArray::arrayWithValues(std::move(left)), error);
  };
  save();
  EXPECT_EQ(values(anew(first)), "ours ours 7");
  EXPECT_EQ(values(anew(second)), "theirs ours 8");
}

TEST_P(MergeDecision, APolicyMayRefuseWithAnErrorOfItsOwn) {
  auto item = contested();
  mine->any = [](const Ref<NSArray>&, Ref<NSError>* error) {
    *error = NSError::errorWithDomainCodeUserInfo("Application", 17, nullptr);
    return false;
  };
  Ref<NSError> error = failedSave();
  EXPECT_EQ(error->code(), 17);
  mine->any = [](const Ref<NSArray>&, Ref<NSError>*) { return false; };
  error = failedSave();
  EXPECT_EQ(error->code(), NSManagedObjectMergeError);
  EXPECT_TRUE(error->userInfo()->objectForKey("conflictList").object());
  EXPECT_FALSE(context->save()) << "nobody wants the error";
  EXPECT_EQ(values(item), "ours ours 7");
  EXPECT_EQ(value(anew(item), "a"), "theirs");
  mine->any = [](const Ref<NSArray>&, Ref<NSError>*) -> bool { raise("Own", "reason"); };
  EXPECT_ANY_THROW(context->save());
  mine->any = accepting();
  save();
  EXPECT_EQ(value(anew(item), "a"), "ours") << "the save that raised has left nothing open";
}

TEST_P(MergeDecision, APolicyThatDoesNothingAboutUniqueValuesIsNotAskedForEver) {
  saved("Item", {{"code", "x"}});
  insert("Item", {{"code", "x"}});
  mine->any = accepting();
  EXPECT_EQ(codeOfSave(), NSManagedObjectConstraintMergeError);
  EXPECT_EQ(mine->asked, 1);
  // One that changes something else each time.
  int changes = 0;
  auto bystander = insert("Item");
  mine->any = [&](const Ref<NSArray>&, Ref<NSError>*) {
    bystander->setValueForKey(++changes, "n");
    return true;
  };
  EXPECT_EQ(codeOfSave(), NSManagedObjectConstraintMergeError);
  EXPECT_LT(changes, 1000);
}

TEST_P(MergeDecision, APolicyMaySolveUniqueValuesItself) {
  saved("Item", {{"code", "x"}});
  auto fresh = insert("Item", {{"code", "x"}});
  mine->constraints = [&](const Ref<NSArray>& conflicts, Ref<NSError>*) {
    const Value first = conflicts->firstObject();
    const Value object = as<NSConstraintConflict>(first)->conflictingObjects()->firstObject();
    as<NSManagedObject>(object)->setValueForKey("x2", "code");
    return true;
  };
  save();
  EXPECT_EQ(codes(), "x x2");
  EXPECT_EQ(fresh->managedObjectContext(), context);
}

TEST_P(MergeDecision, APolicyCannotSaveTheContextButMaySaveOthers) {
  auto item = contested();
  auto log = newContext();
  mine->any = [&](const Ref<NSArray>&, Ref<NSError>*) {
    Ref<NSError> refused;
    EXPECT_FALSE(context->save(&refused));
    EXPECT_EQ(refused->code(), NSPersistentStoreSaveError);
    insertIn(log, "Box", {{"name", "merged"}});
    EXPECT_TRUE(log->save());
    return true;
  };
  save();
  EXPECT_EQ(value(anew(item), "a"), "ours");
  EXPECT_EQ(fetch(request("Box"))->count(), 1u);
  item->setValueForKey("later", "a");
  save();
}

TEST_P(MergeDecision, OthersMayWriteInBetweenAgainAndAgain) {
  auto item = contested();
  mine->any = [&](const Ref<NSArray>&, Ref<NSError>*) {
    if (mine->asked < 5) changeOutside(item, {{"n", mine->asked}});
    return true;
  };
  save();
  EXPECT_EQ(mine->asked, 5);
  EXPECT_EQ(values(anew(item)), "ours ours 7");
  // Without an end.
  changeOutside(item, {{"n", 0}});
  item->setValueForKey("again", "a");
  mine->any = [&](const Ref<NSArray>&, Ref<NSError>*) {
    changeOutside(item, {{"n", mine->asked}});
    return true;
  };
  EXPECT_EQ(codeOfSave(), NSManagedObjectMergeError);
  EXPECT_LT(mine->asked, 1000);
}

TEST_P(MergeDecision, ARecordThatSomebodyElseHasWrittenAgainIsAConflictAgain) {
  auto item = contested();
  auto third = newContext();
  third->setMergePolicy(NSOverwriteMergePolicy());
  same(item, third)->setValueForKey("third", "a");
  deleteOutside(item);
  mine->any = [&](const Ref<NSArray>& conflicts, Ref<NSError>*) {
    NSMergeConflict& conflict = conflictAt(conflicts, 0);
    if (mine->asked == 1) {
      EXPECT_EQ(conflict.newVersionNumber(), 0u);
      EXPECT_TRUE(third->save());
    } else {
      EXPECT_GT(conflict.newVersionNumber(), 2u);
      EXPECT_EQ(conflict.persistedSnapshot()->objectForKey("a"), Value("third"));
    }
    return true;
  };
  save();
  EXPECT_EQ(mine->asked, 2);
  EXPECT_EQ(values(anew(item)), "ours ours 7");
  expectSettled(item);
}

TEST_P(MergeDecision, APolicyMayTakeTheObjectsAway) {
  auto item = contested();
  mine->any = [&](const Ref<NSArray>&, Ref<NSError>*) {
    context->rollback();
    return true;
  };
  save();
  EXPECT_FALSE(context->hasChanges());
  EXPECT_EQ(value(anew(item), "a"), "theirs");

  item = contested();
  mine->any = [&](const Ref<NSArray>&, Ref<NSError>*) {
    context->reset();
    return true;
  };
  save();
  EXPECT_EQ(value(anew(item), "a"), "theirs");

  item = contested();
  mine->any = [&](const Ref<NSArray>&, Ref<NSError>*) {
    context->deleteObject(item);
    return true;
  };
  save();
  EXPECT_FALSE(isInStore(item->objectID()));

  auto fresh = insert("Item", {{"code", "x"}});
  insertIn(other, "Item", {{"code", "x"}});
  saveOther();
  mine->any = [&](const Ref<NSArray>&, Ref<NSError>*) {
    context->deleteObject(fresh);
    fresh = nullptr;
    return true;
  };
  save();
  EXPECT_EQ(codes(), "x");
}

TEST_P(MergeDecision, ThePolicyMayBeReplacedWhileItDecides) {
  auto item = contested();
  mine->any = [&](const Ref<NSArray>& conflicts, Ref<NSError>* error) {
    context->setMergePolicy(NSRollbackMergePolicy());
    mine = nullptr;
    return NSOverwriteMergePolicy()->resolveConflictsError(conflicts, error);
  };
  save();
  EXPECT_EQ(value(anew(item), "a"), "ours");
}

TEST_P(MergeDecision, ConflictsOfAnEndedSaveDoNoHarm) {
  auto item = contested();
  Ref<NSArray> kept;
  mine->any = [&](const Ref<NSArray>& conflicts, Ref<NSError>*) {
    kept = conflicts;
    return true;
  };
  save();
  item->setValueForKey("later", "a");
  EXPECT_TRUE(NSRollbackMergePolicy()->resolveConflictsError(kept, nullptr));
  EXPECT_EQ(value(item, "a"), "later");
  save();
  EXPECT_TRUE(NSOverwriteMergePolicy()->resolveConflictsError(NSArray::array(), nullptr));
  EXPECT_TRUE(NSOverwriteMergePolicy()->resolveConflictsError(nullptr, nullptr));
  EXPECT_TRUE(NSOverwriteMergePolicy()->resolveConflictsError(
      NSArray::arrayWithObjects(Value("no conflict")), nullptr));
}

}  // namespace
}  // namespace JNFoundation
