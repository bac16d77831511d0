#include "../value/LiveObjects.h"
#include "../value/Raising.h"
#include "StoreFixture.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {

/// A model class as an application writes it: one attribute through accessors of its own, one
/// computed property, hooks that count.
class StoreTestPerson : public Subclass<StoreTestPerson, NSManagedObject> {
 public:
  Ref<NSString> nickname() const {
    ++reads;
    const Value stored = storedValueForKey("nickname");
    return stored.isNull() ? Ref<NSString>("nobody") : Ref<NSString>(as<NSString>(stored));
  }
  void setNickname(const Ref<NSString>& nickname) {
    ++writes;
    setStoredValueForKey(nickname ? Value(nickname->uppercaseString()) : Value(), "nickname");
  }
  Ref<NSString> greeting() const {
    return NSString::stringWithFormat("Hello %@", valueForKey("nickname"));
  }
  NSInteger age() const { return storedValueForKey("age").integerValue(); }
  void setAge(NSInteger age) { setStoredValueForKey(age, "age"); }

  void awakeFromInsert() override { ++inserts; }
  void awakeFromFetch() override {
    ++fetches;
    if (touchInAwake) setStoredValueForKey(99, "age");
  }
  void willSave() override {
    ++willSaves;
    if (stamp) {
      stamp = false;
      setStoredValueForKey(7, "age");
    }
  }
  void didSave() override { ++didSaves; }
  void prepareForDeletion() override { ++deletions; }
  bool validateForUpdate(Ref<NSError>* error) override {
    if (!NSManagedObject::validateForUpdate(error)) return false;
    if (age() != 13) return true;
    if (error) *error = NSError::errorWithDomainCodeUserInfo("People", 13, nullptr);
    return false;
  }

  mutable int reads = 0;
  int writes = 0, inserts = 0, fetches = 0, willSaves = 0, didSaves = 0, deletions = 0;
  bool stamp = false;
  static inline bool touchInAwake = false;
};

namespace {

using testing::raisedBy;
using testing::raisedName;

const ClassDeclaration<StoreTestPerson> declarationOfClassOfObjectTest =
    ClassDeclaration<StoreTestPerson>()
        .factory()
        .property("nickname", &StoreTestPerson::nickname, &StoreTestPerson::setNickname)
        .property("age", &StoreTestPerson::age, &StoreTestPerson::setAge)
        .property("greeting", &StoreTestPerson::greeting);

class StoreTestUnmakeable : public Subclass<StoreTestUnmakeable, NSManagedObject> {};
const ClassDeclaration<StoreTestUnmakeable> withoutFactory =
    ClassDeclaration<StoreTestUnmakeable>();

Ref<NSEntityDescription> entityOfClass(const char* name, const char* className) {
  auto entity = entityNamed(name, {attributeNamed("nickname", NSStringAttributeType),
                                   attributeNamed("age", NSInteger16AttributeType),
                                   attributeNamed("email", NSStringAttributeType)});
  entity->setManagedObjectClassName(className);
  return entity;
}

Ref<NSManagedObjectModel> peopleModel() {
  auto defaults = attributeNamed("kind", NSStringAttributeType);
  defaults->setDefaultValue("plain");
  auto computed = attributeNamed("cached", NSUndefinedAttributeType);
  computed->setTransient(true);
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObjects(
      entityOfClass("Person", "StoreTestPerson"), entityOfClass("Ghost", "NotLinkedAnywhere"),
      entityOfClass("Unmakeable", "StoreTestUnmakeable"), entityOfClass("Text", "NSString"),
      entityNamed("Thing",
                  {attributeNamed("name", NSStringAttributeType),
                   attributeNamed("size", NSInteger32AttributeType),
                   attributeNamed("born", NSDateAttributeType),
                   attributeNamed("data", NSBinaryDataAttributeType),
                   attributeNamed("updated", NSDateAttributeType),
                   attributeNamed("deleted", NSStringAttributeType), defaults, computed})));
  return model;
}

class NSManagedObjectTest : public StoreTest {
 protected:
  void SetUp() override { open(NSSQLiteStoreType, peopleModel()); }

  Ref<StoreTestPerson> person() {
    return Ref<StoreTestPerson>(static_cast<StoreTestPerson*>(insert("Person").get()));
  }
};

TEST_F(NSManagedObjectTest, AnInsertedObjectStartsWithTheDefaults) {
  auto thing = insert("Thing");
  EXPECT_EQ(thing->valueForKey("kind"), Value("plain"));
  EXPECT_TRUE(thing->valueForKey("name").isNull());
  EXPECT_TRUE(thing->isInserted());
  EXPECT_FALSE(thing->isUpdated());
  EXPECT_FALSE(thing->isFault());
  EXPECT_TRUE(thing->hasChanges());
  EXPECT_EQ(thing->managedObjectContext(), context);
  EXPECT_EQ(thing->entity(), model->entityWithName("Thing"));
}

TEST_F(NSManagedObjectTest, ValuesAreReadAsTheyWereSet) {
  auto thing = insert("Thing");
  thing->setValueForKey("a name", "name");
  thing->setValueForKey(2.9, "size");
  EXPECT_EQ(thing->valueForKey("name"), Value("a name"));
  EXPECT_EQ(thing->valueForKey("size"), Value(2.9));
  thing->setValueForKey(nullptr, "name");
  EXPECT_TRUE(thing->valueForKey("name").isNull());
}

TEST_F(NSManagedObjectTest, AnAttributeMayBeNamedLikeAStateOfObjects) {
  auto thing = insert("Thing", {{"deleted", "no"}});
  thing->setValueForKey(NSDate::dateWithTimeIntervalSince1970(5), "updated");
  EXPECT_EQ(thing->valueForKey("updated"), NSDate::dateWithTimeIntervalSince1970(5));
  EXPECT_EQ(thing->valueForKey("deleted"), Value("no"));
  EXPECT_FALSE(thing->isDeleted());
  EXPECT_EQ(thing->valueForKey("isInserted"), Value(true));
}

TEST_F(NSManagedObjectTest, AValueOfTheWrongKindRaisesAndChangesNothing) {
  auto thing = insert("Thing", {{"name", "before"}});
  EXPECT_EQ(raisedBy([&] { thing->setValueForKey(7, "name"); }),
            "NSInvalidArgumentException: Unacceptable type of value for attribute: property = "
            "\"name\"; desired type = NSString; given type = __NSCFNumber; value = 7.");
  EXPECT_EQ(raisedBy([&] { thing->setValueForKey("big", "size"); }),
            "NSInvalidArgumentException: Unacceptable type of value for attribute: property = "
            "\"size\"; desired type = NSNumber; given type = __NSCFString; value = big.");
  EXPECT_EQ(raisedName([&] { thing->setValueForKey(5, "born"); }), NSInvalidArgumentException);
  EXPECT_EQ(raisedName([&] { thing->setValueForKey(NSNull::null(), "name"); }),
            NSInvalidArgumentException);
  EXPECT_EQ(thing->valueForKey("name"), Value("before"));
}

TEST_F(NSManagedObjectTest, AKeyOutsideTheModelRaises) {
  auto thing = insert("Thing");
  char address[32];
  std::snprintf(address, sizeof address, "%p", static_cast<void*>(thing.get()));
  EXPECT_EQ(
      raisedBy([&] { thing->valueForKey("colour"); }),
      std::string("NSUnknownKeyException: [<NSManagedObject ") + address +
          "> valueForUndefinedKey:]: the entity Thing is not key value coding-compliant for the "
          "key \"colour\".");
  EXPECT_EQ(
      raisedBy([&] { thing->setValueForKey(1, "colour"); }),
      std::string("NSUnknownKeyException: [<NSManagedObject ") + address +
          "> setValue:forUndefinedKey:]: the entity Thing is not key value coding-compliant for "
          "the key \"colour\".");
  EXPECT_EQ(raisedName([&] { thing->valueForKey(nullptr); }), NSUndefinedKeyException);
  EXPECT_EQ(raisedName([&] { thing->primitiveValueForKey("colour"); }), NSUndefinedKeyException);
}

TEST_F(NSManagedObjectTest, DataIsKeptAsItWasWhenItWasSet) {
  auto thing = insert("Thing");
  auto bytes = NSMutableData::data();
  bytes->appendBytesLength("abc", 3);
  thing->setValueForKey(bytes, "data");
  bytes->appendBytesLength("def", 3);
  EXPECT_EQ(as<NSData>(thing->valueForKey("data"))->view(), "abc");
}

TEST_F(NSManagedObjectTest, AnApplicationsClassIsMadeByNameAndItsAccessorsAreUsed) {
  auto someone = person();
  EXPECT_EQ(someone->class_().name(), "StoreTestPerson");
  EXPECT_EQ(someone->inserts, 1);
  EXPECT_EQ(someone->valueForKey("nickname"), Value("nobody"));
  EXPECT_EQ(someone->reads, 1);
  someone->setValueForKey("bee", "nickname");
  EXPECT_EQ(someone->writes, 1);
  EXPECT_EQ(someone->primitiveValueForKey("nickname"), Value("BEE"));
  EXPECT_EQ(someone->valueForKey("greeting"), Value("Hello BEE"));
  EXPECT_EQ(raisedName([&] { someone->setValueForKey("x", "greeting"); }), NSUndefinedKeyException);
  EXPECT_EQ(raisedName([&] { someone->setValueForKey(nullptr, "age"); }),
            NSInvalidArgumentException)
      << "null for a number";
  someone->setValueForKey("e", "email");
  EXPECT_EQ(someone->valueForKey("email"), Value("e")) << "without an accessor of its own";
}

TEST_F(NSManagedObjectTest, AClassThatCannotBeMadeIsNamedWithItsEntity) {
  const auto why = [&](const char* entity) { return raisedBy([&] { insert(entity); }); };
  EXPECT_NE(why("Ghost").find("'NotLinkedAnywhere' of entity 'Ghost'"), std::string::npos);
  EXPECT_NE(why("Unmakeable").find("declares no factory"), std::string::npos);
  EXPECT_NE(why("Text").find("not a subclass of NSManagedObject"), std::string::npos);
  EXPECT_FALSE(context->hasChanges());
}

TEST_F(NSManagedObjectTest, AnObjectMayBeMadeWithoutAContextAndInsertedLater) {
  auto thing = NSManagedObject::initWithEntityInsertIntoManagedObjectContext(
      model->entityWithName("Thing"), nullptr);
  EXPECT_EQ(thing->managedObjectContext(), nullptr);
  EXPECT_FALSE(thing->hasChanges());
  thing->setValueForKey("early", "name");
  context->insertObject(thing);
  EXPECT_TRUE(thing->isInserted());
  save();
  EXPECT_EQ(fetched(request("Thing"), "name"), "early");
  EXPECT_EQ(raisedName([] {
              NSManagedObject::initWithEntityInsertIntoManagedObjectContext(nullptr, nullptr);
            }),
            NSInvalidArgumentException);
}

TEST_F(NSManagedObjectTest, ChangedAndCommittedValuesTellWhatASaveWouldWrite) {
  auto thing = insert("Thing", {{"name", "a"}, {"size", 1}});
  EXPECT_EQ(
      Value(thing->changedValues()),
      Value(NSDictionary::dictionaryWithEntries({{"name", "a"}, {"size", 1}, {"kind", "plain"}})));
  EXPECT_EQ(thing->committedValuesForKeys(nullptr)->objectForKey("name"), Value(NSNull::null()));
  save();
  EXPECT_EQ(thing->changedValues()->count(), 0u);
  thing->setValueForKey("a", "name");
  EXPECT_TRUE(thing->isUpdated()) << "even with an equal value";
  EXPECT_EQ(thing->changedValues()->count(), 0u);
  thing->setValueForKey("b", "name");
  thing->setValueForKey(nullptr, "size");
  EXPECT_EQ(Value(thing->changedValues()),
            Value(NSDictionary::dictionaryWithEntries({{"name", "b"}, {"size", NSNull::null()}})));
  EXPECT_EQ(Value(thing->committedValuesForKeys(NSArray::arrayWithObjects("name", "born"))),
            Value(NSDictionary::dictionaryWithEntries({{"name", "a"}, {"born", NSNull::null()}})));
  EXPECT_EQ(raisedName([&] { thing->committedValuesForKeys(NSArray::arrayWithObjects("colour")); }),
            NSUndefinedKeyException);
}

TEST_F(NSManagedObjectTest, TransientAttributesAreHeldButNotStored) {
  auto thing = insert("Thing", {{"cached", NSArray::arrayWithObjects(1, 2)}, {"name", "x"}});
  save();
  EXPECT_EQ(as<NSArray>(thing->valueForKey("cached"))->count(), 2u);
  context->reset();
  const Value again = fetch(request("Thing"))->firstObject();
  EXPECT_TRUE(as<NSManagedObject>(again)->valueForKey("cached").isNull());
  EXPECT_EQ(as<NSManagedObject>(again)->valueForKey("name"), Value("x"));
}

TEST_F(NSManagedObjectTest, HooksRunWhenTheirTimeComes) {
  auto someone = person();
  someone->stamp = true;
  save();
  EXPECT_EQ(someone->willSaves, 2) << "again, because the first one changed the object";
  EXPECT_EQ(someone->didSaves, 1);
  EXPECT_EQ(someone->age(), 7);
  const auto objectID = someone->objectID();
  someone = nullptr;

  const Value found = fetch(request("Person"))->firstObject();
  auto* again = static_cast<StoreTestPerson*>(as<NSManagedObject>(found));
  EXPECT_TRUE(again->isFault());
  EXPECT_EQ(again->fetches, 0);
  EXPECT_EQ(again->age(), 7);
  EXPECT_FALSE(again->isFault());
  EXPECT_EQ(again->fetches, 1);
  context->deleteObject(Ref<NSManagedObject>(again));
  EXPECT_EQ(again->deletions, 1);
  save();
  EXPECT_EQ(again->didSaves, 1);
}

TEST_F(NSManagedObjectTest, WhatAwakeFromFetchWritesIsNoChange) {
  person()->setAge(5);
  save();
  context->reset();
  StoreTestPerson::touchInAwake = true;
  const Value found = fetch(request("Person"))->firstObject();
  EXPECT_EQ(as<NSManagedObject>(found)->valueForKey("age"), Value(99));
  StoreTestPerson::touchInAwake = false;
  EXPECT_FALSE(as<NSManagedObject>(found)->hasChanges());
  EXPECT_FALSE(context->hasChanges());
}

TEST_F(NSManagedObjectTest, AnObjectsOwnValidationStopsTheSave) {
  auto someone = person();
  save();
  someone->setAge(13);
  Ref<NSError> error;
  EXPECT_FALSE(context->save(&error));
  EXPECT_EQ(error->domain()->toStdString(), "People");
  EXPECT_FALSE(context->save());
  someone->setAge(14);
  save();
}

TEST_F(NSManagedObjectTest, ItsDescriptionShowsValuesWithoutFiringAFault) {
  auto thing = insert("Thing", {{"name", "visible"}});
  EXPECT_TRUE(thing->description()->containsString("name = visible"))
      << thing->description()->utf8();
  save();
  const auto objectID = thing->objectID();
  thing = nullptr;
  auto fault = context->objectWithID(objectID);
  EXPECT_TRUE(fault->description()->containsString("<fault>")) << fault->description()->utf8();
  EXPECT_TRUE(fault->isFault());
}

TEST_F(NSManagedObjectTest, ObjectsDieWithTheirLastReference) {
  testing::LiveObjects live;
  {
    auto local = newContext();
    for (int i = 0; i < 10; ++i) {
      NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Thing", local)
          ->setValueForKey(NSString::stringWithFormat("thing %d", i), "name");
    }
    EXPECT_TRUE(local->save());
    EXPECT_EQ(local->registeredObjects()->count(), 0u) << "nobody refers to them";
    Ref<NSArray> found = local->executeFetchRequestError(request("Thing"));
    EXPECT_EQ(local->registeredObjects()->count(), 10u);
    found = nullptr;
    EXPECT_EQ(local->registeredObjects()->count(), 0u);
  }
  // What the pending task of the queue holds is weak.
  EXPECT_LE(live.count(), 1);
}

TEST_F(NSManagedObjectTest, AnObjectOutlivesItsContextWithItsValues) {
  auto local = newContext();
  auto thing =
      NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Thing", local);
  thing->setValueForKey("kept", "name");
  local = nullptr;
  EXPECT_EQ(thing->managedObjectContext(), nullptr);
  EXPECT_EQ(thing->valueForKey("name"), Value("kept"));
  thing->setValueForKey("still", "name");
  EXPECT_EQ(thing->valueForKey("name"), Value("still"));
  EXPECT_TRUE(thing->objectID()->isTemporaryID());
}

}  // namespace
}  // namespace JNFoundation
