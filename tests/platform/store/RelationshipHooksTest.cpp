#include <functional>
#include <gtest/gtest.h>

#include "../value/LiveObjects.h"
#include "../value/Raising.h"
#include "tests/platform/store/RelationshipFixture.h"

#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {
namespace {

using testing::raisedName;

/// What the application's class below does at its relativeHooks.
struct RelativeHooks {
  std::function<void(NSManagedObject&)> fetched, preparing, saving, saved, validating;
};
RelativeHooks relativeHooks;

void runForRelative(const std::function<void(NSManagedObject&)>& hook, NSManagedObject& object) {
  if (const auto kept = hook) kept(object);
}

class StoreTestRelative : public Subclass<StoreTestRelative, NSManagedObject> {
 public:
  void awakeFromFetch() override { runForRelative(relativeHooks.fetched, *this); }
  void prepareForDeletion() override { runForRelative(relativeHooks.preparing, *this); }
  void willSave() override { runForRelative(relativeHooks.saving, *this); }
  void didSave() override { runForRelative(relativeHooks.saved, *this); }
  bool validateForUpdate(Ref<NSError>* error) override {
    runForRelative(relativeHooks.validating, *this);
    return NSManagedObject::validateForUpdate(error);
  }

 protected:
  using Subclass::Subclass;
};

const ClassDeclaration<StoreTestRelative> declarationOfStoreTestRelative =
    ClassDeclaration<StoreTestRelative>().factory();

/// Person (name, unique; parent ⇄ children; spouse ⇄ spouse; shadow ⇄ shadows, both transient;
/// home ⇄ Home.people, two to three of them; caretaker → Home, required; "select" ⇄ Home."order
/// by", in order).
Ref<NSManagedObjectModel> familyModel() {
  auto person = entityNamed("Person", {});
  auto home = entityNamed("Home \"at\" the sea; DROP TABLE é", {});
  const RelationshipOptions many{.toMany = true};
  auto parent = relationshipNamed("parent", person),
       children = relationshipNamed("children", person, many);
  pairUp(parent, children);
  auto spouse = relationshipNamed("spouse", person);
  spouse->setInverseRelationship(spouse);
  auto shadow = relationshipNamed("shadow", person),
       shadows = relationshipNamed("shadows", person, many);
  shadow->setTransient(true);
  shadows->setTransient(true);
  pairUp(shadow, shadows);
  auto personHome = relationshipNamed("home", home);
  auto people = relationshipNamed("people", person, {.toMany = true, .minCount = 2, .maxCount = 3});
  pairUp(personHome, people);
  auto select = relationshipNamed("select", home, many);
  auto order = relationshipNamed("order \"by\" 1'--", person, {.toMany = true, .ordered = true});
  pairUp(select, order);
  auto needed = relationshipNamed("group", home, {.optional = false});
  auto needs = relationshipNamed("ключ", person, many);
  pairUp(needed, needs);
  person->setProperties(NSArray::arrayWithObjects(attributeNamed("name", NSStringAttributeType),
                                                  parent, children, spouse, shadow, shadows,
                                                  personHome, select));
  person->setUniquenessConstraints(NSArray::arrayWithObject(NSArray::arrayWithObjects("name")));
  person->setManagedObjectClassName("StoreTestRelative");
  auto tenant = entityNamed("Tenant", {needed});
  needs->setDestinationEntity(tenant);
  tenant->setManagedObjectClassName("StoreTestRelative");
  home->setProperties(NSArray::arrayWithObjects(people, order, needs));
  home->setManagedObjectClassName("StoreTestRelative");
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObjects(person, home, tenant));
  return model;
}

constexpr const char* homeName = "Home \"at\" the sea; DROP TABLE é";
constexpr const char* orderName = "order \"by\" 1'--";

class Relatives : public CompanyTest {
 protected:
  void SetUp() override {
    relativeHooks = {};
    open(GetParam(), familyModel());
  }
  void TearDown() override { relativeHooks = {}; }

  Ref<NSManagedObject> person(const char* name) { return make("Person", name); }

  Ref<NSManagedObject> personIn(const Ref<NSManagedObjectContext>& other, const char* name) {
    auto wanted = request("Person", NSPredicate::predicateWithFormat("name == %@", name));
    const Ref<NSArray> found = other->executeFetchRequestError(wanted);
    EXPECT_EQ(found->count(), 1u) << name;
    const Value first = found->firstObject();
    return Ref<NSManagedObject>(as<NSManagedObject>(first));
  }

  NSInteger codeOfSave() {
    Ref<NSError> error;
    return context->save(&error) ? 0 : error->code();
  }
};
FOR_EVERY_STORE(Relatives);

// ---- One entity at both ends --------------------------------------------------------------------

TEST_P(Relatives, ATreeOfOneEntity) {
  auto root = person("root"), a = person("a"), b = person("b");
  relate(root, "children", {a});
  b->setValueForKey(a, "parent");
  root->setValueForKey(root, "parent");
  EXPECT_EQ(names(root, "children"), "a root");
  save();
  EXPECT_EQ(names(anew("Person", "root"), "children"), "a root");
  a->setValueForKey(b, "parent");
  EXPECT_EQ(names(root, "children"), "root");
  EXPECT_EQ(names(b, "children"), "a") << "a circle is nothing special";
  save();
  context->deleteObject(root);
  context->deleteObject(a);
  save();
  EXPECT_FALSE(one(anew("Person", "b"), "parent"));
}

TEST_P(Relatives, OneToOneThatIsItsOwnWayBack) {
  auto a = person("a"), b = person("b"), c = person("c");
  a->setValueForKey(b, "spouse");
  c->setValueForKey(a, "spouse");
  EXPECT_EQ(one(a, "spouse"), c);
  EXPECT_FALSE(one(b, "spouse"));
  b->setValueForKey(b, "spouse");
  save();
  EXPECT_EQ(names(anew("Person", "b"), "spouse"), "b");
  b->setValueForKey(a, "spouse");
  EXPECT_FALSE(one(c, "spouse"));
  save();
  EXPECT_EQ(names(anew("Person", "a"), "spouse"), "b");
  EXPECT_FALSE(one(anew("Person", "c"), "spouse"));
}

TEST_P(Relatives, TransientRelationshipsLastAsLongAsTheirObjects) {
  auto a = person("a"), b = person("b");
  save();
  auto c = person("c");
  c->setValueForKey(a, "shadow");
  b->setValueForKey(c, "shadow");
  EXPECT_EQ(names(a, "shadows"), "c");
  save();
  EXPECT_EQ(one(c, "shadow"), a);
  EXPECT_EQ(one(b, "shadow"), c) << "whatever its identifier was before the save";
  EXPECT_EQ(names(a, "shadows"), "c");
  EXPECT_EQ(names(c, "shadows"), "b");
  c->setValueForKey(nullptr, "shadow");
  context->rollback();
  EXPECT_EQ(one(c, "shadow"), a);
  EXPECT_EQ(names(a, "shadows"), "c");
  EXPECT_FALSE(one(anew("Person", "c"), "shadow"));
}

TEST_P(Relatives, NamesMayBeAnything) {
  auto home = insert(homeName);
  auto a = person("a"), b = person("b");
  home->setValueForKey(NSOrderedSet::orderedSetWithObjects(b, a), orderName);
  auto tenant = insert("Tenant", {{"group", home}});
  save();
  EXPECT_EQ(names(context->objectWithID(home->objectID()), orderName), "b a");
  context->reset();
  const Value found = fetch(request(homeName))->firstObject();
  home = Ref<NSManagedObject>(as<NSManagedObject>(found));
  EXPECT_EQ(names(home, orderName), "b a");
  const Value tenants = home->valueForKey("ключ");
  EXPECT_EQ(as<NSSet>(tenants)->count(), 1u);
  home->mutableOrderedSetValueForKey(orderName)->removeObjectAtIndex(0);
  save();
  const Value select = anew("Person", "a")->valueForKey("select");
  EXPECT_EQ(as<NSSet>(select)->count(), 1u);
}

// ---- Counts -------------------------------------------------------------------------------------

TEST_P(Relatives, CountsAreHeldAgainstTheModel) {
  auto home = insert(homeName);
  save();
  auto a = person("a"), b = person("b"), c = person("c"), d = person("d");
  relate(home, "people", {a});
  EXPECT_EQ(codeOfSave(), NSValidationRelationshipLacksMinimumCountError);
  relate(home, "people", {b, c, d});
  EXPECT_EQ(codeOfSave(), NSValidationRelationshipExceedsMaximumCountError);
  d->setValueForKey(nullptr, "home");
  EXPECT_EQ(codeOfSave(), 0);
  context->deleteObject(a);
  context->deleteObject(b);
  EXPECT_EQ(codeOfSave(), NSValidationRelationshipLacksMinimumCountError)
      << "what a deletion leaves counts as well";
  context->deleteObject(c);
  EXPECT_EQ(codeOfSave(), 0) << "an optional relationship may lead nowhere";
}

TEST_P(Relatives, ARequiredRelationshipThatADeletionClearsIsMissing) {
  auto home = insert(homeName);
  auto tenant = insert("Tenant");
  EXPECT_EQ(codeOfSave(), NSValidationMissingMandatoryPropertyError);
  tenant->setValueForKey(home, "group");
  EXPECT_EQ(codeOfSave(), 0);
  context->deleteObject(home);
  EXPECT_EQ(codeOfSave(), NSValidationMissingMandatoryPropertyError);
  context->deleteObject(tenant);
  EXPECT_EQ(codeOfSave(), 0);
}

TEST_P(Relatives, SeveralFailuresAreToldAtOnce) {
  auto home = insert(homeName);
  relate(home, "people", {person("a")});
  insert("Tenant");
  insert("Tenant");
  Ref<NSError> error;
  ASSERT_FALSE(context->save(&error));
  EXPECT_EQ(error->code(), NSValidationMultipleErrorsError);
  const Value details = error->userInfo()->objectForKey(NSDetailedErrorsKey);
  std::vector<NSInteger> codes;
  for (const Value& detail : *as<NSArray>(details)) codes.push_back(as<NSError>(detail)->code());
  std::sort(codes.begin(), codes.end());
  EXPECT_EQ(codes, (std::vector<NSInteger>{1570, 1570, 1580}));
}

// ---- Who is gone --------------------------------------------------------------------------------

TEST_P(Relatives, WhoIsRelatedToADeletedObjectIsMetByItsRules) {
  auto a = person("a"), b = person("b");
  save();
  context->deleteObject(a);
  context->processPendingChanges();
  b->setValueForKey(a, "parent");
  a->setValueForKey(b, "spouse");
  EXPECT_EQ(one(b, "parent"), a);
  save();
  EXPECT_FALSE(one(b, "parent"));
  EXPECT_FALSE(one(b, "spouse"));
  EXPECT_FALSE(one(anew("Person", "b"), "spouse"));
}

TEST_P(Relatives, ADeletionTakenBackBeforeItsRulesRanIsAsIfItHadNotBeen) {
  auto a = person("a"), b = person("b");
  relate(a, "children", {b});
  save();
  context->deleteObject(a);
  context->insertObject(a);
  save();
  EXPECT_EQ(names(anew("Person", "a"), "children"), "b");
  context->deleteObject(a);
  context->processPendingChanges();
  context->insertObject(a);
  EXPECT_EQ(names(a, "children"), "") << "neither end leads to the other";
  EXPECT_FALSE(one(b, "parent"));
  save();
  EXPECT_EQ(names(anew("Person", "a"), "children"), "");
}

TEST_P(Relatives, AnObjectThatComesBackAfterItsDeletionIsRelatedToNobody) {
  auto a = person("a"), b = person("b");
  a->setValueForKey(b, "parent");
  save();
  context->deleteObject(a);
  save();
  context->insertObject(a);
  EXPECT_FALSE(one(a, "parent"));
  EXPECT_EQ(a->valueForKey("name"), Value("a"));
  save();
  EXPECT_EQ(names(anew("Person", "b"), "children"), "");
  auto fresh = person("fresh");
  fresh->setValueForKey(b, "parent");
  context->rollback();
  context->insertObject(fresh);
  EXPECT_FALSE(one(fresh, "parent"));
  save();
}

TEST_P(Relatives, AFaultWithoutARecordComesBackEmpty) {
  auto a = person("a");
  save();
  const auto objectID = a->objectID();
  auto other = newContext();
  auto fault = other->objectWithID(objectID);
  context->deleteObject(a);
  save();
  other->deleteObject(fault);
  EXPECT_FALSE(fault->managedObjectContext());
  other->insertObject(fault);
  EXPECT_TRUE(fault->valueForKey("name").isNull());
  fault->setValueForKey("again", "name");
  EXPECT_TRUE(other->save());
  EXPECT_TRUE(anew("Person", "again"));
}

TEST_P(Relatives, AMemberThatAnotherContextHasDeletedFailsTheSaveOnly) {
  auto a = person("a"), b = person("b");
  save();
  auto other = newContext();
  other->deleteObject(personIn(other, "b"));
  ASSERT_TRUE(other->save());
  relate(a, "children", {b});
  EXPECT_EQ(codeOfSave(), NSManagedObjectMergeError) << "the member itself has changed";
  context->rollback();
  auto home = insert(homeName);
  save();
  home->mutableOrderedSetValueForKey(orderName)->addObject(b);
  EXPECT_EQ(codeOfSave(), NSManagedObjectReferentialIntegrityError) << "a pair alone";
  home->mutableOrderedSetValueForKey(orderName)->removeAllObjects();
  home->mutableOrderedSetValueForKey(orderName)->addObject(a);
  EXPECT_EQ(codeOfSave(), 0);
}

TEST_P(Relatives, ObjectsOfAContextThatWasResetAreRefused) {
  auto a = person("a"), b = person("b");
  save();
  context->reset();
  EXPECT_EQ(raisedName([&] { a->setValueForKey(b, "parent"); }), NSObjectInaccessibleException);
  EXPECT_EQ(raisedName([&] { a->mutableSetValueForKey("children")->addObject(b); }),
            NSObjectInaccessibleException);
  auto fresh = person("fresh");
  EXPECT_EQ(raisedName([&] { fresh->setValueForKey(a, "parent"); }), NSInvalidArgumentException);
  EXPECT_FALSE(one(fresh, "parent"));
  save();
}

TEST_P(Relatives, AWalkThroughALiveSetNoticesChangesThroughIt) {
  auto root = person("root");
  for (const char* name : {"a", "b", "c"}) person(name)->setValueForKey(root, "parent");
  save();
  auto children = root->mutableSetValueForKey("children");
  const auto walk = [&](auto&& change) {
    for (const Value& child : *children) change(child);
  };
  EXPECT_EQ(raisedName([&] { walk([&](const Value& child) { children->removeObject(child); }); }),
            NSGenericException);
  EXPECT_EQ(children->count(), 2u);
  // From the other end: the walk goes on over those that there were, dead or alive.
  int seen = 0;
  walk([&](const Value& child) {
    ++seen;
    context->deleteObject(Ref<NSManagedObject>(as<NSManagedObject>(child)));
    context->processPendingChanges();
    save();
  });
  EXPECT_EQ(seen, 2);
  EXPECT_EQ(children->count(), 0u);
}

// ---- RelativeHooks
// --------------------------------------------------------------------------------------

TEST_P(Relatives, AnObjectThatAwakesMayRelateItself) {
  auto a = person("a"), b = person("b");
  save();
  context->reset();
  b = personIn(context, "b");
  relativeHooks.fetched = [&](NSManagedObject& object) {
    if (&object != b.get()) object.setValueForKey(b, "parent");
  };
  a = personIn(context, "a");
  EXPECT_EQ(a->valueForKey("name"), Value("a"));
  EXPECT_EQ(names(b, "children"), "a") << "both ends know";
  relativeHooks = {};
  save();
  EXPECT_EQ(names(anew("Person", "b"), "children"), "a");
}

TEST_P(Relatives, AnObjectMayBeDeletedOrRelatedWhereverItIsCalled) {
  auto a = person("a"), b = person("b"), c = person("c");
  relate(a, "children", {b});
  save();
  // Its last wish before it goes.
  relativeHooks.preparing = [&](NSManagedObject& object) {
    if (&object == b.get()) c->setValueForKey(a, "parent");
  };
  context->deleteObject(b);
  save();
  EXPECT_EQ(names(anew("Person", "a"), "children"), "c");
  relativeHooks = {};
  // While it is about to be saved.
  relativeHooks.saving = [&](NSManagedObject& object) {
    if (&object == a.get() && !a->isDeleted()) context->deleteObject(a);
  };
  a->setValueForKey("changed", "name");
  save();
  EXPECT_FALSE(one(anew("Person", "c"), "parent"));
  relativeHooks = {};
  // While it is asked whether it may be.
  auto d = person("d");
  d->setValueForKey(c, "parent");
  save();
  relativeHooks.validating = [&](NSManagedObject&) {
    if (!c->isDeleted()) context->deleteObject(c);
  };
  d->setValueForKey("D", "name");
  save();
  EXPECT_FALSE(one(anew("Person", "D"), "parent"));
  relativeHooks = {};
  // After it was.
  relativeHooks.saved = [&](NSManagedObject&) {
    relativeHooks = {};
    person("late")->setValueForKey(d, "parent");
  };
  d->setValueForKey("d", "name");
  save();
  EXPECT_TRUE(context->hasChanges());
  save();
  EXPECT_EQ(names(anew("Person", "d"), "children"), "late");
}

TEST_P(Relatives, AnObjectThatIsBeingForgottenMayBeTakenBack) {
  auto home = insert(homeName);
  auto tenant = insert("Tenant", {{"group", home}});
  auto a = person("a");
  a->setValueForKey(a, "spouse");
  relativeHooks.preparing = [&](NSManagedObject& object) {
    if (&object == a.get()) context->insertObject(a);
  };
  context->deleteObject(a);
  relativeHooks = {};
  EXPECT_FALSE(a->isInserted()) << "not from its own preparation: it is not deleted yet";
  context->deleteObject(tenant);
  context->deleteObject(home);
  EXPECT_FALSE(context->hasChanges());
}

TEST_P(Relatives, APreparationThatRaisesLeavesTheRestOfACascadeForTheNextSave) {
  auto a = person("a"), b = person("b");
  relate(a, "children", {b});
  save();
  relativeHooks.preparing = [](NSManagedObject&) { raise(NSGenericException, "not now"); };
  EXPECT_EQ(raisedName([&] { context->deleteObject(a); }), NSGenericException);
  EXPECT_FALSE(a->isDeleted());
  relativeHooks = {};
  context->deleteObject(a);
  save();
  EXPECT_FALSE(one(anew("Person", "b"), "parent"));
}

// ---- Failed saves -------------------------------------------------------------------------------

/// Everything of a tree with changes of every sort is read out.
std::string descriptionOf(const Ref<NSManagedObject>& object) {
  std::string text = object->description()->toStdString();
  text += object->isInserted() ? " inserted" : object->isUpdated() ? " updated" : "";
  text += object->isDeleted() ? " deleted" : "";
  return text + " " + object->changedValues()->description()->toStdString();
}

TEST_P(Relatives, AFailedSaveLeavesEverythingAndTheNextOneSucceeds) {
  auto a = person("a"), b = person("b"), gone = person("gone"), home = insert(homeName);
  relate(a, "children", {b});
  home->setValueForKey(NSOrderedSet::orderedSetWithObjects(a, b), orderName);
  gone->setValueForKey(a, "parent");
  save();
  auto other = newContext();
  auto fresh = person("fresh"), repeated = person("a");
  fresh->setValueForKey(a, "parent");
  repeated->setValueForKey(fresh, "spouse");
  b->setValueForKey(fresh, "parent");
  home->mutableOrderedSetValueForKey(orderName)->insertObjectAtIndex(fresh, 0);
  home->mutableOrderedSetValueForKey(orderName)->removeObject(a);
  context->deleteObject(gone);
  context->processPendingChanges();
  const std::vector<Ref<NSManagedObject>> all{a, b, gone, home, fresh, repeated};
  std::vector<std::string> before;
  const auto readAll = [&] {
    before.clear();
    for (const auto& object : all) before.push_back(descriptionOf(object));
  };
  // Twice, since reading what has changed reads what is related.
  readAll();
  readAll();
  const auto expectNothingChanged = [&] {
    for (std::size_t i = 0; i < all.size(); ++i) EXPECT_EQ(descriptionOf(all[i]), before[i]);
  };
  EXPECT_EQ(codeOfSave(), NSManagedObjectConstraintMergeError);
  expectNothingChanged();
  repeated->setValueForKey("c", "name");
  readAll();
  personIn(other, "b")->setValueForKey("B", "name");
  ASSERT_TRUE(other->save());
  EXPECT_EQ(codeOfSave(), NSManagedObjectMergeError);
  expectNothingChanged();
  personIn(other, "B")->setValueForKey("b", "name");
  ASSERT_TRUE(other->save());
  EXPECT_EQ(codeOfSave(), NSManagedObjectMergeError) << "versions only grow";
  context->rollback();
  EXPECT_FALSE(context->hasChanges());
  EXPECT_EQ(names(a, "children"), "b gone");
  EXPECT_EQ(names(home, orderName), "a b");
  EXPECT_FALSE(fresh->managedObjectContext());
  EXPECT_EQ(one(gone, "parent"), a);
  EXPECT_EQ(names(anew("Person", "a"), "children"), "b gone");
}

TEST_P(Relatives, RollbackAfterEveryKindOfChange) {
  auto a = person("a"), b = person("b"), c = person("c"), home = insert(homeName);
  relate(a, "children", {b, c});
  a->setValueForKey(b, "spouse");
  home->setValueForKey(NSOrderedSet::orderedSetWithObjects(c, a, b), orderName);
  save();
  const auto order = [&] { return home->mutableOrderedSetValueForKey(orderName); };
  const std::function<void()> changes[] = {
      [&] { b->setValueForKey(nullptr, "parent"); },
      [&] { a->mutableSetValueForKey("children")->removeAllObjects(); },
      [&] { a->setValueForKey(nullptr, "children"); },
      [&] { c->setValueForKey(a, "spouse"); },
      [&] { order()->exchangeObjectAtIndexWithObjectAtIndex(0, 2); },
      [&] { order()->removeObjectAtIndex(1); },
      [&] { order()->insertObjectAtIndex(person("d"), 1); },
      [&] { home->setValueForKey(NSOrderedSet::orderedSetWithObjects(b), orderName); },
      [&] { context->deleteObject(a); },
      [&] {
        context->deleteObject(home);
        context->processPendingChanges();
        context->insertObject(home);
      },
      [&] { a->mutableSetValueForKey("children")->addObject(person("e")); },
      [&] {
        auto fresh = person("f");
        fresh->setValueForKey(b, "parent");
        context->obtainPermanentIDsForObjectsError(NSArray::arrayWithObjects(fresh));
      },
  };
  for (const bool isFresh : {false, true}) {
    int number = 0;
    for (const auto& change : changes) {
      SCOPED_TRACE(++number);
      if (isFresh) {
        const auto homeID = home->objectID();
        context->reset();
        a = personIn(context, "a"), b = personIn(context, "b"), c = personIn(context, "c");
        home = context->objectWithID(homeID);
      }
      change();
      context->processPendingChanges();
      EXPECT_TRUE(context->hasChanges());
      context->rollback();
      EXPECT_FALSE(context->hasChanges());
      EXPECT_EQ(names(a, "children"), "b c");
      EXPECT_EQ(one(b, "parent"), a);
      EXPECT_EQ(one(a, "spouse"), b);
      EXPECT_EQ(one(b, "spouse"), a);
      EXPECT_FALSE(one(c, "spouse"));
      EXPECT_EQ(names(home, orderName), "c a b");
      save();
    }
  }
}

TEST_P(Relatives, TwoContextsChangeOneOrder) {
  auto home = insert(homeName);
  auto a = person("a"), b = person("b"), c = person("c"), d = person("d"), e = person("e");
  home->setValueForKey(NSOrderedSet::orderedSetWithObjects(a, b, c), orderName);
  save();
  auto other = newContext();
  auto theirs = other->objectWithID(home->objectID())->mutableOrderedSetValueForKey(orderName);
  EXPECT_EQ(theirs->count(), 3u);
  auto ours = home->mutableOrderedSetValueForKey(orderName);
  ours->exchangeObjectAtIndexWithObjectAtIndex(0, 2);
  ours->insertObjectAtIndex(d, 0);
  ours->removeObject(b);
  theirs->addObject(other->objectWithID(e->objectID()));
  ASSERT_TRUE(other->save());
  save();
  EXPECT_EQ(names(newContext()->objectWithID(home->objectID()), orderName), "d c a e")
      << "what the other one has added stands behind";
  theirs->removeObjectAtIndex(0);
  theirs->exchangeObjectAtIndexWithObjectAtIndex(1, 2);
  ASSERT_TRUE(other->save());
  EXPECT_EQ(names(newContext()->objectWithID(home->objectID()), orderName), "e c d")
      << "and what it has taken out stays out";
}

TEST_P(Relatives, NothingOfAFamilyLivesOn) {
  const testing::LiveObjects alive;
  {
    auto own = newContext();
    auto a =
        NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Person", own);
    auto b =
        NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Person", own);
    a->setValueForKey(b, "parent");
    a->setValueForKey(b, "spouse");
    b->setValueForKey(a, "shadow");
    auto live = b->mutableSetValueForKey("children");
    EXPECT_EQ(live->count(), 1u);
    const Value children = b->valueForKey("children");
    own->rollback();
  }
  NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantPast());
  EXPECT_EQ(alive.count(), 0);
}

}  // namespace
}  // namespace JNFoundation
