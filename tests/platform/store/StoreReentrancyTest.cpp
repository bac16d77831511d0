#include <functional>
#include <platform/store/StoreFixture.h>
#include <platform/value/LiveObjects.h>

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {
namespace {

/// What the application's class below does at its hooks; a test fills in what it is about.
struct Hooks {
  std::function<void(NSManagedObject&)> inserted, fetched, preparing, saving, saved, reading,
      writing, ended;
};
Hooks hooks;

void run(const std::function<void(NSManagedObject&)>& hook, NSManagedObject& object) {
  if (const auto kept = hook) kept(object);
}

class StoreTestMeddler : public Subclass<StoreTestMeddler, NSManagedObject> {
 public:
  Value label() const {
    run(hooks.reading, const_cast<StoreTestMeddler&>(*this));
    return storedValueForKey("label");
  }
  void setLabel(const Value& label) {
    run(hooks.writing, *this);
    setStoredValueForKey(label, "label");
  }
  void awakeFromInsert() override { run(hooks.inserted, *this); }
  void awakeFromFetch() override { run(hooks.fetched, *this); }
  void prepareForDeletion() override { run(hooks.preparing, *this); }
  void willSave() override { run(hooks.saving, *this); }
  void didSave() override { run(hooks.saved, *this); }

 protected:
  using Subclass::Subclass;
  ~StoreTestMeddler() override { run(hooks.ended, *this); }
};

const ClassDeclaration<StoreTestMeddler> declarationOfStoreTestMeddler =
    ClassDeclaration<StoreTestMeddler>().factory().property("label", &StoreTestMeddler::label,
                                                            &StoreTestMeddler::setLabel);

/// Code of the application that runs inside the store's own, and takes away what it works on.
class StoreReentrancy : public EveryStoreTest {
 protected:
  void SetUp() override {
    hooks = {};
    auto entity = entityNamed("Thing", {attributeNamed("label", NSStringAttributeType),
                                        attributeNamed("number", NSInteger64AttributeType)});
    entity->setManagedObjectClassName("StoreTestMeddler");
    auto things = NSManagedObjectModel::init();
    things->setEntities(NSArray::arrayWithObjects(entity));
    open(GetParam(), things);
  }
  void TearDown() override { hooks = {}; }

  Ref<NSManagedObject> saved(const char* label) {
    auto thing = insert("Thing", {{"label", label}, {"number", 1}});
    save();
    return thing;
  }
};

TEST_P(StoreReentrancy, AnObjectMayLoseItsLastReferenceInItsOwnGetter) {
  saved("kept");
  context->reset();
  bool ended = false;
  hooks.ended = [&](NSManagedObject&) { ended = true; };
  Ref<NSArray> found = fetch(request("Thing"));
  auto* thing = static_cast<NSManagedObject*>(found->firstObject().object());
  hooks.reading = [&](NSManagedObject&) { found = nullptr; };
  EXPECT_EQ(thing->valueForKey("label"), Value("kept"));
  EXPECT_TRUE(ended) << "it lived until its getter had returned, and no longer";
}

TEST_P(StoreReentrancy, AnObjectMayLoseItsLastReferenceInItsOwnSetter) {
  saved("before");
  context->reset();
  Ref<NSArray> found = fetch(request("Thing"));
  auto* thing = static_cast<NSManagedObject*>(found->firstObject().object());
  hooks.writing = [&](NSManagedObject&) { found = nullptr; };
  thing->setValueForKey("after", "label");
  hooks = {};
  save();
  EXPECT_EQ(fetched(request("Thing"), "label"), "after") << "a changed object is the context's";
}

TEST_P(StoreReentrancy, AnObjectMayDeleteItselfWhereverItIsCalled) {
  const auto deleteSelf = [&](NSManagedObject& object) {
    context->deleteObject(Ref<NSManagedObject>(&object));
  };
  hooks.inserted = deleteSelf;
  auto born = insert("Thing");
  EXPECT_EQ(born->managedObjectContext(), nullptr);
  EXPECT_FALSE(context->hasChanges());

  hooks = {};
  auto thing = saved("a");
  hooks.saving = [&](NSManagedObject& object) {
    if (!object.isDeleted()) deleteSelf(object);
  };
  thing->setValueForKey("b", "label");
  save();
  EXPECT_EQ(newContext()->countForFetchRequestError(request("Thing")), 0u);

  hooks = {};
  saved("c");
  context->reset();
  hooks.fetched = deleteSelf;
  Ref<NSArray> found = fetch(request("Thing"));
  EXPECT_EQ(as<NSManagedObject>(found->firstObject())->valueForKey("number"), Value(1));
  EXPECT_EQ(context->deletedObjects()->count(), 1u);
  hooks = {};
  save();
  EXPECT_EQ(newContext()->countForFetchRequestError(request("Thing")), 0u);
}

TEST_P(StoreReentrancy, PreparingForDeletionMayLetGoOfTheObjectOrDeleteItAgain) {
  Ref<NSManagedObject> thing = saved("a");
  int prepared = 0;
  hooks.preparing = [&](NSManagedObject& object) {
    ++prepared;
    context->deleteObject(Ref<NSManagedObject>(&object));
    thing = nullptr;
  };
  context->deleteObject(thing);
  EXPECT_EQ(prepared, 1);
  EXPECT_EQ(context->deletedObjects()->count(), 1u);
  save();
  EXPECT_EQ(newContext()->countForFetchRequestError(request("Thing")), 0u);

  thing = insert("Thing");
  context->deleteObject(thing);
  EXPECT_EQ(prepared, 2);
  EXPECT_FALSE(context->hasChanges());
}

TEST_P(StoreReentrancy, PreparingForDeletionMayForgetEverything) {
  Ref<NSManagedObject> thing = saved("a");
  hooks.preparing = [&](NSManagedObject&) { context->reset(); };
  context->deleteObject(thing);
  hooks = {};
  EXPECT_FALSE(context->hasChanges());
  EXPECT_EQ(fetched(request("Thing"), "label"), "a");
}

TEST_P(StoreReentrancy, PreparingForDeletionThatRaisesDeletesNothing) {
  Ref<NSManagedObject> thing = saved("a");
  hooks.preparing = [](NSManagedObject&) { raise(NSGenericException, "not now"); };
  EXPECT_THROW(context->deleteObject(thing), Raised);
  EXPECT_FALSE(thing->isDeleted());
  hooks = {};
  context->deleteObject(thing);
  EXPECT_TRUE(thing->isDeleted()) << "a later attempt is not taken for the one that failed";
}

TEST_P(StoreReentrancy, AHookThatRaisesLeavesTheChangesForALaterSave) {
  for (auto hook : {&Hooks::saving, &Hooks::saved}) {
    auto thing = insert("Thing", {{"label", "x"}});
    hooks.*hook = [](NSManagedObject&) { raise(NSGenericException, "not now"); };
    EXPECT_THROW(context->save(), Raised);
    hooks = {};
    save();
    EXPECT_FALSE(context->hasChanges());
    auto other = newContext();
    EXPECT_EQ(other->countForFetchRequestError(request("Thing")), 1u);
    context->deleteObject(thing);
    save();
  }
}

TEST_P(StoreReentrancy, ObjectsInsertedWhileSavingAreSavedAsWell) {
  int left = 5;
  hooks.saving = [&](NSManagedObject&) {
    if (left-- > 0) insert("Thing", {{"label", "child"}});
  };
  insert("Thing", {{"label", "first"}});
  save();
  hooks = {};
  EXPECT_FALSE(context->hasChanges());
  EXPECT_EQ(newContext()->countForFetchRequestError(request("Thing")), 6u);
}

TEST_P(StoreReentrancy, WhatDidSaveChangesIsANewChange) {
  auto thing = insert("Thing", {{"label", "first"}});
  hooks.saved = [](NSManagedObject& object) { object.setValueForKey(2, "number"); };
  save();
  hooks = {};
  EXPECT_TRUE(thing->isUpdated());
  save();
  auto other = newContext()->executeFetchRequestError(request("Thing"));
  EXPECT_EQ(as<NSManagedObject>(other->firstObject())->valueForKey("number"), Value(2));
}

TEST_P(StoreReentrancy, AFetchInsideAnAwakeningFindsTheSameObject) {
  saved("a");
  context->reset();
  const NSManagedObject* seen = nullptr;
  hooks.fetched = [&](NSManagedObject& object) {
    if (seen) return;
    seen = &object;
    EXPECT_EQ(fetch(request("Thing"))->firstObject().object(), &object);
  };
  Ref<NSArray> found = fetch(request("Thing"));
  EXPECT_EQ(as<NSManagedObject>(found->firstObject())->valueForKey("label"), Value("a"));
  EXPECT_EQ(seen, found->firstObject().object());
}

TEST_P(StoreReentrancy, AContextKeepsItsCoordinatorAndObjectsOutliveBoth) {
  auto thing = saved("a");
  coordinator = nullptr;
  store = nullptr;
  EXPECT_EQ(fetched(request("Thing"), "label"), "a") << "the context has not lost its store";
  thing->setValueForKey("b", "label");
  save();
  context = nullptr;
  EXPECT_EQ(thing->valueForKey("label"), Value("b"));
  EXPECT_EQ(thing->managedObjectContext(), nullptr);
  thing->setValueForKey("c", "label");
  EXPECT_FALSE(thing->objectID()->isTemporaryID());
  EXPECT_EQ(thing->entity()->name()->toStdString(), "Thing");
}

TEST_P(StoreReentrancy, AContextWithoutACoordinatorRaises) {
  auto alone = NSManagedObjectContext::init();
  EXPECT_THROW(alone->executeFetchRequestError(request("Thing")), Raised);
  EXPECT_THROW(alone->countForFetchRequestError(request("Thing")), Raised);
  EXPECT_FALSE(alone->hasChanges());
  EXPECT_TRUE(alone->save()) << "there is nothing to save";
}

TEST_P(StoreReentrancy, TwoContextsTakeTurnsOnOneRecord) {
  auto mine = saved("0");
  const auto objectID = mine->objectID();
  auto other = newContext();
  for (int turn = 1; turn <= 20; ++turn) {
    auto& here = turn % 2 ? other : context;
    // Each looks at the record anew, so that neither is behind.
    mine = nullptr;
    here->reset();
    auto thing = here->existingObjectWithIDError(objectID);
    ASSERT_TRUE(thing);
    EXPECT_EQ(thing->valueForKey("label"), Value(std::to_string(turn - 1)));
    thing->setValueForKey(std::to_string(turn), "label");
    Ref<NSError> error;
    ASSERT_TRUE(here->save(&error)) << text(error);
  }
  EXPECT_EQ(newContext()->existingObjectWithIDError(objectID)->valueForKey("label"), Value("20"));
}

TEST_P(StoreReentrancy, NothingStaysAliveBehindAContext) {
  saved("warm-up");
  context->reset();
  queue.queue().runLoop();
  testing::LiveObjects live;
  {
    auto local = newContext();
    Ref<NSArray> found = local->executeFetchRequestError(request("Thing"));
    for (const Value& thing : *found) as<NSManagedObject>(thing)->valueForKey("label");
    EXPECT_GT(live.count(), 0);
  }
  EXPECT_EQ(live.count(), 0);
}

FOR_EVERY_STORE(StoreReentrancy);

}  // namespace
}  // namespace JNFoundation
