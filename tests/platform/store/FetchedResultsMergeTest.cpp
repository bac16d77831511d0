#include <optional>

#include "tests/platform/store/RandomLists.h"
#include "tests/platform/store/WorkerPool.h"

#include <JNFoundation/platform/dispatch/NSNotificationCenter.h>
#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSBatchDeleteRequest.h>
#include <JNFoundation/platform/store/NSBatchDeleteResult.h>
#include <JNFoundation/platform/store/NSBatchInsertRequest.h>
#include <JNFoundation/platform/store/NSBatchInsertResult.h>
#include <JNFoundation/platform/store/NSBatchUpdateRequest.h>
#include <JNFoundation/platform/store/NSBatchUpdateResult.h>
#include <JNFoundation/platform/store/NSMergePolicy.h>

namespace JNFoundation {
namespace {

using testing::runTurn;

/// What a context has yet to learn of what happened elsewhere.
struct Elsewhere {
  /// Null for a batch request.
  Ref<NSNotification> save;
  Ref<NSDictionary> identifiers;
  bool hasDeletions = false;
};

/// Lists over a context that works, while other contexts save, batch requests run and a child hands
/// up what it did, and that merges all of it at some time.
class FetchedResultsMerge : public RandomLists {
 protected:
  void SetUp() override {
    RandomLists::SetUp();
    _observer = NSNotificationCenter::defaultCenter()->addObserverForNameObjectUsingBlock(
        NSManagedObjectContextDidSaveNotification, Value(),
        [this](const Ref<NSNotification>& notification) {
          if (isSavingElsewhere) note(notification);
        });
  }
  void TearDown() override {
    NSNotificationCenter::defaultCenter()->removeObserver(_observer);
    RandomLists::TearDown();
  }

  void note(const Ref<NSNotification>& save) {
    const Ref<NSDictionary> userInfo = save->userInfo();
    const Value deleted = userInfo->objectForKey(NSDeletedObjectIDsKey);
    NSDictionary::Builder builder(3);
    for (const char* key : {NSInsertedObjectIDsKey, NSUpdatedObjectIDsKey, NSDeletedObjectIDsKey}) {
      builder.set(key, userInfo->objectForKey(key));
    }
    unknown.push_back({save, builder.finish(), as<NSSet>(deleted)->count() > 0});
  }
  void note(const char* key, const Value& identifiers) {
    ASSERT_TRUE(isKindOf<NSArray>(identifiers));
    unknown.push_back({nullptr, NSDictionary::dictionaryWithObjectForKey(identifiers, Value(key)),
                       key == std::string(NSDeletedObjectsKey)});
  }

  Ref<NSManagedObject> makeIn(const Ref<NSManagedObjectContext>& where) {
    auto made = NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
        random.below(4) == 0 ? "SpecialItem" : "Item", where);
    made->setValueForKey(std::to_string(lastName++), "name");
    made->setValueForKey(randomGroup(), "group");
    made->setValueForKey(randomRank(), "rank");
    return made;
  }

  static std::vector<Ref<NSManagedObject>> allOf(const Ref<NSManagedObjectContext>& where) {
    Ref<NSError> error;
    const Ref<NSArray> found = where->executeFetchRequestError(request("Item"), &error);
    EXPECT_TRUE(found) << text(error);
    std::vector<Ref<NSManagedObject>> objects;
    for (const Value& object : *found) objects.emplace_back(as<NSManagedObject>(object));
    return objects;
  }

  /// Some insertions, changes and deletions.
  void edit(const Ref<NSManagedObjectContext>& where, std::uint64_t count) {
    std::vector<Ref<NSManagedObject>> objects = allOf(where);
    for (std::uint64_t i = 0; i < count; ++i) {
      const auto what = random.below(10);
      if (objects.empty() || (what < 2 && objects.size() < 60)) {
        objects.push_back(makeIn(where));
      } else if (what < 4 && objects.size() > 25) {
        const auto at = random.below(objects.size());
        // What a child has read of it must not go without ever having been saved.
        if (objects[at]->isInserted() && where == context->parentContext()) continue;
        where->deleteObject(objects[at]);
        std::swap(objects[at], objects.back());
        objects.pop_back();
      } else {
        change(objects[random.below(objects.size())]);
      }
    }
  }

  void changeElsewhere(const char* name, const Value& group, int rank) {
    const Ref<NSManagedObjectContext> other = newContext();
    const Ref<NSArray> found = other->executeFetchRequestError(
        request("Item", NSPredicate::predicateWithFormat("name == %@", name)));
    ASSERT_EQ(found->count(), 1u);
    const Value object = found->firstObject();
    as<NSObject>(object)->setValueForKey(rank, "rank");
    if (!group.isNull()) as<NSObject>(object)->setValueForKey(group, "group");
    isSavingElsewhere = true;
    EXPECT_TRUE(other->save());
    isSavingElsewhere = false;
  }

  void saveElsewhere() {
    const Ref<NSManagedObjectContext> other = newContext();
    edit(other, 1 + random.below(8));
    isSavingElsewhere = true;
    Ref<NSError> error;
    ASSERT_TRUE(other->save(&error)) << text(error);
    isSavingElsewhere = false;
  }

  /// A child hands up what it did, over what the context does meanwhile.
  void saveChild() {
    auto child = NSManagedObjectContext::init();
    child->setParentContext(context);
    edit(child, 1 + random.below(6));
    Ref<NSError> error;
    // One that it has changed may be gone from the context.
    if (child->save(&error)) return;
    ASSERT_TRUE(error->code() == NSManagedObjectMergeError ||
                error->code() == NSManagedObjectReferentialIntegrityError)
        << text(error);
  }

  Ref<NSPredicate> fewItems() {
    return NSPredicate::predicateWithFormat(
        "rank == %d OR name ENDSWITH %@", random.between(-3, 12), std::to_string(random.below(10)));
  }
  void runBatch() {
    const Ref<NSManagedObjectContext> other = random.below(2) == 0 ? context : newContext();
    Ref<NSError> error;
    switch (random.below(3)) {
      case 0: {
        int left = static_cast<int>(random.below(4));
        auto insertion = NSBatchInsertRequest::batchInsertRequestWithEntityNameDictionaryHandler(
            "Item", [&](const Ref<NSMutableDictionary>& item) {
              item->setObjectForKey(std::to_string(lastName++), "name");
              item->setObjectForKey("c", "group");
              item->setObjectForKey(random.between(-3, 12), "rank");
              return --left < 0;
            });
        insertion->setResultType(NSBatchInsertRequestResultTypeObjectIDs);
        const Value result = other->executeRequestError(insertion, &error);
        ASSERT_FALSE(result.isNull()) << text(error);
        return note(NSInsertedObjectsKey, as<NSBatchInsertResult>(result)->result());
      }
      case 1: {
        auto update = NSBatchUpdateRequest::batchUpdateRequestWithEntityName("Item");
        update->setPredicate(fewItems());
        update->setPropertiesToUpdate(NSDictionary::dictionaryWithEntries(
            {{"rank", random.between(-3, 12)}, {"group", random.below(2) == 0 ? "a" : "e"}}));
        update->setResultType(NSUpdatedObjectIDsResultType);
        const Value result = other->executeRequestError(update, &error);
        ASSERT_FALSE(result.isNull()) << text(error);
        return note(NSUpdatedObjectsKey, as<NSBatchUpdateResult>(result)->result());
      }
      default: {
        auto deletion = NSBatchDeleteRequest::initWithFetchRequest(request("Item", fewItems()));
        deletion->setResultType(NSBatchDeleteResultTypeObjectIDs);
        const Value result = other->executeRequestError(deletion, &error);
        ASSERT_FALSE(result.isNull()) << text(error);
        return note(NSDeletedObjectsKey, as<NSBatchDeleteResult>(result)->result());
      }
    }
  }

  static Ref<NSDictionary> asAddresses(const NSDictionary& identifiers) {
    NSDictionary::Builder builder(3);
    for (const char* key : {NSInsertedObjectIDsKey, NSUpdatedObjectIDsKey, NSDeletedObjectIDsKey,
                            NSInsertedObjectsKey, NSUpdatedObjectsKey, NSDeletedObjectsKey}) {
      const Value collection = identifiers.objectForKey(key);
      std::vector<Value> addresses;
      const auto add = [&](const Value& identifier) {
        addresses.emplace_back(as<NSManagedObjectID>(identifier)->URIRepresentation());
      };
      if (const auto* set = as<NSSet>(collection)) {
        for (const Value& identifier : *set) add(identifier);
      } else if (const auto* array = as<NSArray>(collection)) {
        for (const Value& identifier : *array) add(identifier);
      } else {
        continue;
      }
      builder.set(key, NSArray::arrayWithValues(std::move(addresses)));
    }
    return builder.finish();
  }

  /// Merges the oldest of what is unknown, in one of the ways that there are.
  void mergeOne() {
    const Elsewhere one = unknown.front();
    unknown.erase(unknown.begin());
    const auto way = random.below(3);
    if (way == 0 && one.save) {
      context->mergeChangesFromContextDidSaveNotification(one.save);
    } else {
      NSManagedObjectContext::mergeChangesFromRemoteContextSaveIntoContexts(
          way == 1 ? asAddresses(*one.identifiers) : one.identifiers,
          NSArray::arrayWithObject(Value(context)));
    }
  }
  void mergeAll() {
    while (!unknown.empty()) mergeOne();
  }

  /// Saves, with conflicts settled by a policy or, where none is settled, once all is merged.
  void saveHere() {
    const bool hasDeletions = std::any_of(unknown.begin(), unknown.end(),
                                          [](const Elsewhere& one) { return one.hasDeletions; });
    static constexpr NSMergePolicyType types[] = {
        NSErrorMergePolicyType, NSMergeByPropertyStoreTrumpMergePolicyType,
        NSRollbackMergePolicyType, NSMergeByPropertyObjectTrumpMergePolicyType,
        NSOverwriteMergePolicyType};
    // A record that is written again must not be taken for deleted by what is merged afterwards.
    context->setMergePolicy(
        NSMergePolicy::initWithMergeType(types[random.below(hasDeletions ? 3 : 5)]));
    Ref<NSError> error;
    if (context->save(&error)) return;
    ASSERT_EQ(error->code(), NSManagedObjectMergeError) << text(error);
    mergeAll();
    ASSERT_TRUE(context->save(&error)) << text(error);
  }

  void refreshSome() {
    const std::vector<Ref<NSManagedObject>> objects = allOf(context);
    for (auto count = random.below(4); count > 0 && !objects.empty(); --count) {
      const Ref<NSManagedObject>& object = objects[random.below(objects.size())];
      // One whose record is gone elsewhere keeps its changes.
      const bool isThere = object->isInserted() ||
                           newContext()->existingObjectWithIDError(object->objectID()) != nullptr;
      context->refreshObjectMergeChanges(object, isThere && random.below(2) == 0);
    }
  }

  void step() {
    switch (random.below(16)) {
      case 0:
      case 1:
      case 2:
        return saveElsewhere();
      case 3: {
        // As they come.
        context->setAutomaticallyMergesChangesFromParent(true);
        const std::size_t count = unknown.size();
        saveElsewhere();
        unknown.resize(count);
        if (random.below(2) == 0) edit(context, random.below(3));
        runTurn();
        return context->setAutomaticallyMergesChangesFromParent(false);
      }
      case 4:
        return saveChild();
      case 5:
        return runBatch();
      case 6:
        return context->rollback();
      case 7:
        // Changes of objects whose records are gone could not be kept.
        return unknown.empty() ? context->refreshAllObjects() : refreshSome();
      case 8:
        return context->releaseUnusedMemory();
      case 9:
      case 10:
        return saveHere();
      case 11:
        return process();
      default:
        return edit(context, 1 + random.below(6));
    }
  }

  std::vector<Elsewhere> unknown;
  bool isSavingElsewhere = false;
  int lastName = 0;

 private:
  Ref<NSObject> _observer;
};

TEST_P(FetchedResultsMerge, WhatIsMergedMakesTheListAFreshFetchAgain) {
  JN_TRACE_SEED(random);
  for (int i = 0; i < 30; ++i) makeIn(context);
  save();
  // Lists of what is saved are divided by what is not.
  const LogSinkScope silence([](const Ref<NSString>&) {});
  std::vector<Shown> shown;
  const int steps = testing::rounds(4'000, 400'000);
  for (int step = 0; step < steps; ++step) {
    SCOPED_TRACE("step " + std::to_string(step));
    while (shown.size() < 4) shown.push_back(show());
    if (random.below(40) == 0) {
      shown.erase(shown.begin() + static_cast<std::ptrdiff_t>(random.below(shown.size())));
    }
    this->step();
    if (HasFatalFailure()) return;
    if (random.below(3) != 0) {
      // Between, the lists are what was told, whatever that is.
      process();
      for (const Shown& each : shown) each.view->expectTrue();
      if (HasFatalFailure()) return;
      continue;
    }
    mergeAll();
    process();
    for (const Shown& each : shown) {
      expectTrue(each, step);
      if (HasFatalFailure()) return;
    }
  }
}

// A section of the file may be another one than that of the objects, which have not heard of it.
TEST_P(FetchedResultsMerge, AFetchBeforeTheMergeIsInTheOrderOfTheContext) {
  auto a = item("a", 1, "x"), b = item("b", 2, "x"), c = item("c", 3, "y");
  save();
  changeElsewhere("a", "z", 9);
  auto controller = fetchedOf(items({by("group"), by("rank")}), "group");
  auto view = ListView::of(controller);
  EXPECT_EQ(names(controller), "x: a b y: c");
  item("d", 0, "x");
  process();
  EXPECT_EQ(view->told(), "will, +d 0.0, did");
  view->expectTrue();
  mergeAll();
  EXPECT_EQ(names(controller), "x: d b y: c z: a");
  view->expectTrue();
}

TEST_P(FetchedResultsMerge, ObjectsThatGotOtherValuesUntoldDoNotMisleadOthers) {
  for (const bool releases : {true, false}) {
    SCOPED_TRACE(releases ? "memory was released" : "they were fetched again");
    context->reset();
    for (const Ref<NSManagedObject>& object : allOf(context)) context->deleteObject(object);
    std::vector<Ref<NSManagedObject>> kept;
    for (int i = 1; i <= 9; ++i) kept.push_back(item(std::to_string(i).c_str(), 10 * i));
    save();
    if (!releases) {
      kept.clear();
      context->reset();
    }
    auto controller = fetchedOf(items());
    auto view = ListView::of(controller);
    // In the middle, where others look for their place.
    changeElsewhere("5", nullptr, 99);
    if (releases) {
      context->releaseUnusedMemory();
    } else {
      fetch(request("Item"));
    }
    item("new", 75);
    process();
    EXPECT_EQ(names(controller), "1 2 3 4 6 7 new 8 9 5");
    view->expectTrue();
    mergeAll();
    EXPECT_EQ(names(controller), "1 2 3 4 6 7 new 8 9 5");
    view->expectTrue();
    save();
  }
}

TEST_P(FetchedResultsMerge, AnObjectThatIsReadAgainIsToldAsRefreshedOnlyIfItIsAnother) {
  auto a = item("a", 1), b = item("b", 2);
  save();
  auto controller = fetchedOf(items());
  auto view = ListView::of(controller);
  changeElsewhere("a", nullptr, 3);
  context->releaseUnusedMemory();
  process();
  EXPECT_EQ(view->told(), "");
  b->valueForKey("rank");
  process();
  EXPECT_EQ(view->told(), "");
  a->valueForKey("rank");
  EXPECT_EQ(view->told(), "") << "not before the context tells";
  process();
  EXPECT_EQ(view->told(), "will, >a 0.0 0.1, did");
  view->expectTrue();
}

TEST_P(FetchedResultsMerge, ARequestForPartsOfObjectsStillHasPlacesForThem) {
  for (int i = 1; i <= 9; ++i) item(std::to_string(i).c_str(), 10 * i);
  save();
  context->reset();
  auto wanted = items();
  wanted->setIncludesPropertyValues(false);
  wanted->setPropertiesToFetch(NSArray::arrayWithObject("name"));
  auto controller = fetchedOf(wanted);
  auto view = ListView::of(controller);
  changeElsewhere("5", nullptr, 99);
  item("new", 75);
  process();
  mergeAll();
  EXPECT_EQ(names(controller), "1 2 3 4 6 7 new 8 9 5");
  view->expectTrue();
}

TEST_P(FetchedResultsMerge, AListOfWhatIsSavedLearnsOfWhatWasChangedBeforeItWasFetched) {
  auto a = item("a", 1), b = item("b", 2);
  save();
  a->setValueForKey(3, "rank");
  context->deleteObject(b);
  item("c", 0);
  process();
  auto wanted = items();
  wanted->setIncludesPendingChanges(false);
  auto controller = fetchedOf(wanted);
  auto view = ListView::of(controller);
  EXPECT_EQ(names(controller), "a b");
  changeElsewhere("a", "x", 9);
  mergeAll();
  save();
  EXPECT_EQ(names(controller), "c a");
  view->expectTrue();
}

TEST_P(FetchedResultsMerge, AListOfWhatIsSavedLetsGoOfARecordThatTurnsOutToBeGone) {
  auto a = item("a", 1), b = item("b", 2);
  save();
  auto wanted = items();
  wanted->setIncludesPendingChanges(false);
  auto controller = fetchedOf(wanted);
  auto view = ListView::of(controller);
  const Ref<NSManagedObjectContext> other = newContext();
  other->deleteObject(other->objectWithID(a->objectID()));
  ASSERT_TRUE(other->save());
  context->releaseUnusedMemory();
  process();
  EXPECT_EQ(view->told(), "");
  a->valueForKey("name");
  process();
  EXPECT_EQ(names(controller), "b");
  view->expectTrue();
}

TEST_P(FetchedResultsMerge, AListInAChildFollowsWhatItsParentSaves) {
  JN_TRACE_SEED(random);
  for (int i = 0; i < 30; ++i) makeIn(context);
  save();
  const Ref<NSManagedObjectContext> parent = context;
  context = NSManagedObjectContext::init();
  context->setParentContext(parent);
  context->setAutomaticallyMergesChangesFromParent(true);
  // Lists ask for objects that the parent has deleted by now.
  const LogSinkScope silence([](const Ref<NSString>&) {});
  std::vector<Shown> shown;
  const int steps = testing::rounds(1'500, 150'000);
  for (int step = 0; step < steps; ++step) {
    SCOPED_TRACE("step " + std::to_string(step));
    while (shown.size() < 3) shown.push_back(show());
    if (random.below(30) == 0) shown.erase(shown.begin());
    switch (random.below(10)) {
      case 0:
      case 1:
      case 2:
        edit(parent, 1 + random.below(5));
        parent->processPendingChanges();
        break;
      case 3:
        context->releaseUnusedMemory();
        break;
      case 4:
        try {
          context->refreshAllObjects();
        } catch (const Raised&) {
          // The parent has deleted what was changed here.
          context->rollback();
        }
        break;
      case 5:
        context->rollback();
        break;
      case 6:
        // What the child has read may never have been.
        parent->rollback();
        context->reset();
        shown.clear();
        break;
      default:
        edit(context, 1 + random.below(5));
        break;
    }
    process();
    for (const Shown& each : shown) each.view->expectTrue();
    if (HasFatalFailure()) return;
    if (random.below(3) != 0) continue;
    // Its changes go up, and what both have goes down and comes back.
    Ref<NSError> error;
    if (!context->save(&error)) {
      ASSERT_TRUE(error->code() == NSManagedObjectMergeError ||
                  error->code() == NSManagedObjectReferentialIntegrityError)
          << text(error);
      context->rollback();
    }
    ASSERT_TRUE(parent->save(&error)) << text(error);
    runTurn();
    process();
    for (const Shown& each : shown) {
      expectTrue(each, step);
      if (HasFatalFailure()) return;
    }
  }
  shown.clear();
  context = parent;
}

FOR_EVERY_STORE(FetchedResultsMerge);

}  // namespace
}  // namespace JNFoundation
