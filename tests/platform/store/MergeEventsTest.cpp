#include <gtest/gtest.h>
#include <map>

#include "tests/platform/store/MergeFixture.h"

#include <JNFoundation/platform/store/impl/ContextEvents.h>
#include <JNFoundation/platform/store/impl/ObjectAccess.h>

namespace JNFoundation {
namespace {

using impl::ContextEvent;
using impl::ObjectAccess;

/// Notes what it is told of each object, in order.
class Listener final : public impl::ContextObserver {
 public:
  explicit Listener(Ref<NSManagedObjectContext> context) : _context(std::move(context)) {
    ObjectAccess::addObserver(*_context, *this);
  }
  ~Listener() { ObjectAccess::removeObserver(*_context, *this); }

  void contextDidChange(NSManagedObjectContext&, const ContextEvent& event) override {
    note(event.inserted, "inserted");
    note(event.updated, "updated");
    note(event.deleted, "deleted");
    note(event.refreshed, "refreshed");
  }
  void contextDidSave(NSManagedObjectContext&) override { ++saves; }

  /// What was told of the object since the last time.
  std::string told(const Ref<NSManagedObject>& object) {
    return std::exchange(_told[object.get()], {});
  }

  int saves = 0;

 private:
  void note(const std::vector<Ref<NSManagedObject>>& objects, const char* what) {
    for (const auto& object : objects) {
      std::string& told = _told[object.get()];
      told += (told.empty() ? "" : " ") + std::string(what);
    }
  }

  Ref<NSManagedObjectContext> _context;
  std::map<const NSManagedObject*, std::string> _told;
};

/// Observers are told what a merge policy does to objects.
class MergeEvents : public MergeTest {};
FOR_EVERY_PAIR_OF_CONTEXTS(MergeEvents);

TEST_P(MergeEvents, WhatIsMergedIsToldBeforeTheSave) {
  for (NSUInteger type = 1; type < 5; ++type) {
    SCOPED_TRACE(type);
    const bool keepsOurs = type == 2 || type == 3;
    auto both = insert("Item"), gone = insert("Item"), undone = insert("Item"),
         untouched = insert("Item"), box = insert("Box", {{"name", "box"}});
    gone->setValueForKey(box, "box");
    save();
    deleteOutside(gone);
    changeOutside(both, {{"a", "theirs"}});
    changeOutside(undone, {{"a", "theirs"}});
    Listener listener(context);
    both->setValueForKey("ours", "b");
    gone->setValueForKey("ours", "b");
    context->deleteObject(undone);
    context->processPendingChanges();
    EXPECT_EQ(listener.told(both), "updated");
    EXPECT_EQ(listener.told(gone), "updated");
    EXPECT_EQ(listener.told(undone), "deleted");
    context->setMergePolicy(policy(static_cast<NSMergePolicyType>(type)));
    save();
    EXPECT_EQ(listener.saves, 1);
    EXPECT_EQ(listener.told(both), type == 4 ? "refreshed" : "updated");
    EXPECT_EQ(listener.told(gone), keepsOurs ? "updated" : "deleted");
    EXPECT_EQ(listener.told(undone), keepsOurs ? "" : "inserted");
    EXPECT_EQ(listener.told(untouched), "");
    EXPECT_EQ(listener.told(box), keepsOurs ? "" : "updated") << "it has lost a member";
  }
}

TEST_P(MergeEvents, WhoGivesWayIsToldDeletedAndWhoSurvivesUpdated) {
  auto record = saved("Item", {{"code", "x"}});
  Listener listener(context);
  auto fresh = insert("Item", {{"code", "x"}, {"a", "ours"}});
  context->processPendingChanges();
  EXPECT_EQ(listener.told(fresh), "inserted");
  context->setMergePolicy(NSMergeByPropertyObjectTrumpMergePolicy());
  save();
  EXPECT_EQ(listener.told(fresh), "deleted");
  EXPECT_EQ(listener.told(record), "updated");
}

}  // namespace
}  // namespace JNFoundation
