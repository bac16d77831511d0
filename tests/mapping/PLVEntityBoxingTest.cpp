#include <string>
#include <vector>

#include "MappingFixture.h"

#include <JNFoundation/mapping/PLVEntityBoxing.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>

namespace JNFoundation {
namespace {

/// An object of an application that has forms of its own.
class Parcel : public Subclass<Parcel, NSObject> {
 public:
  static Ref<Parcel> with(const Value& content) {
    Ref<Parcel> parcel = makeObject<Parcel>();
    parcel->content = content;
    return parcel;
  }
  Value boxed() const { return content; }
  Value unboxed(const Ref<NSManagedObjectContext>& context) const {
    return context ? content : Value("no context");
  }

  Value content;

 protected:
  using Subclass::Subclass;
};

const ClassDeclaration<Parcel> parcelDeclaration =
    ClassDeclaration<Parcel>()
        .operation("plv_objectWithEntitiesAsObjectID", &Parcel::boxed)
        .operation("plv_objectWithObjectIDsAsEntityInContext:", &Parcel::unboxed);

class PLVEntityBoxing : public MappingTest {
 protected:
  Ref<Person> savedPerson() {
    auto person = insertPerson();
    EXPECT_TRUE(context()->save());
    return person;
  }
  Ref<NSManagedObject> looseObject() {
    return NSManagedObject::initWithEntityInsertIntoManagedObjectContext(entity(), nullptr);
  }
  /// Another context on the same store.
  Ref<NSManagedObjectContext> otherContext() {
    auto other = NSManagedObjectContext::init();
    other->setPersistentStoreCoordinator(context()->persistentStoreCoordinator());
    return other;
  }
};

template <class T>
Value id(const Ref<T>& object) {
  return object->objectID();
}

TEST_F(PLVEntityBoxing, AnObjectBecomesItsID) {
  const auto saved = savedPerson();
  EXPECT_EQ(Value(plv_objectWithEntitiesAsObjectID(Ref<NSManagedObject>(saved))), id(saved));
  const auto inserted = insertPerson();
  EXPECT_EQ(Value(plv_objectWithEntitiesAsObjectID(Ref<NSManagedObject>(inserted))), id(inserted));
  EXPECT_TRUE(inserted->objectID()->isTemporaryID()) << "which is not made permanent by that";
  EXPECT_FALSE(plv_objectWithEntitiesAsObjectID(looseObject()));
}

TEST_F(PLVEntityBoxing, ObjectsOfAnArrayAreReplacedAndThoseWithoutAContextLeftOut) {
  const auto person = savedPerson();
  const Ref<NSArray> array =
      NSArray::arrayWithObjects(looseObject(), "text", person, 7, NSNull::null(), person);
  const auto boxed = plv_objectWithEntitiesAsObjectID(array);
  EXPECT_EQ(Value(boxed),
            Value(NSArray::arrayWithObjects("text", id(person), 7, NSNull::null(), id(person))));
  EXPECT_EQ(array->count(), 6u);
  boxed->addObject("more");
}

TEST_F(PLVEntityBoxing, ASetStaysASetAndNestedOnesAreConverted) {
  const auto person = savedPerson();
  const Ref<NSArray> array = NSArray::arrayWithObjects(
      looseObject(), "text", NSSet::setWithObjects(person, looseObject(), "in"));
  const auto boxed = plv_objectWithEntitiesAsObjectID(array);
  EXPECT_EQ(Value(boxed),
            Value(NSArray::arrayWithObjects("text", NSSet::setWithObjects(id(person), "in"))));
  EXPECT_TRUE(isKindOf<NSMutableSet>(boxed->objectAtIndex(1)));

  const Ref<NSSet> set = NSSet::setWithObjects(person, NSArray::arrayWithObjects(person));
  EXPECT_EQ(Value(plv_objectWithEntitiesAsObjectID(set)),
            Value(NSSet::setWithObjects(id(person), NSArray::arrayWithObjects(id(person)))));
}

TEST_F(PLVEntityBoxing, EmptyCollectionsStayAndOtherCollectionsAreKeptAsTheyAre) {
  const auto person = savedPerson();
  const Value ordered(NSOrderedSet::orderedSetWithObject(person));
  const Value dictionary(NSDictionary::dictionaryWithObjectForKey(person, "a"));
  const Ref<NSArray> array =
      NSArray::arrayWithObjects(NSArray::array(), NSSet::set(), ordered, dictionary);
  const auto boxed = plv_objectWithEntitiesAsObjectID(array);
  ASSERT_EQ(boxed->count(), 4u);
  EXPECT_EQ(boxed->objectAtIndex(0), Value(NSArray::array()));
  EXPECT_EQ(boxed->objectAtIndex(1), Value(NSSet::set()));
  EXPECT_TRUE(boxed->objectAtIndex(2).isIdentical(ordered));
  EXPECT_TRUE(boxed->objectAtIndex(3).isIdentical(dictionary));
  EXPECT_EQ(plv_objectWithEntitiesAsObjectID(NSArray::array())->count(), 0u);
}

TEST_F(PLVEntityBoxing, IDsBecomeTheObjectsOfTheContext) {
  const auto person = savedPerson();
  person->setValueForKey("Ann", "string");
  ASSERT_TRUE(context()->save());
  const auto other = otherContext();
  const Ref<NSArray> array = NSArray::arrayWithObjects(
      id(person), "text", NSSet::setWithObject(id(person)), NSNull::null());
  const auto unboxed = plv_objectWithObjectIDsAsEntityInContext(array, other);
  ASSERT_EQ(unboxed->count(), 4u);
  const auto there = as<NSManagedObject>(unboxed->objectAtIndex(0));
  ASSERT_TRUE(there);
  EXPECT_NE(there.get(), static_cast<NSManagedObject*>(person.get()));
  EXPECT_EQ(there->managedObjectContext().get(), other.get());
  EXPECT_EQ(there->valueForKey("string"), Value("Ann"));
  EXPECT_TRUE(as<NSSet>(unboxed->objectAtIndex(2))->containsObject(unboxed->objectAtIndex(0)));
  EXPECT_TRUE(unboxed->objectAtIndex(3).isNSNull());
  const Ref<NSSet> set = NSSet::setWithObjects(id(person), 5);
  EXPECT_EQ(plv_objectWithObjectIDsAsEntityInContext(set, other)->count(), 2u);
}

TEST_F(PLVEntityBoxing, AnIDWhoseObjectIsGoneBecomesNothing) {
  const auto person = savedPerson();
  const auto objectID = person->objectID();
  context()->deleteObject(person);
  ASSERT_TRUE(context()->save());
  const auto other = otherContext();
  EXPECT_FALSE(plv_objectWithObjectIDsAsEntityInContext(objectID, other));
  EXPECT_EQ(Value(plv_objectWithObjectIDsAsEntityInContext(
                Ref<NSArray>(NSArray::arrayWithObjects(objectID, 1)), other)),
            Value(NSArray::arrayWithObject(1)));
}

TEST_F(PLVEntityBoxing, ATemporaryIDIsThatOfAnObjectOfItsOwnContext) {
  const auto person = insertPerson();
  EXPECT_EQ(plv_objectWithObjectIDsAsEntityInContext(person->objectID(), context()).get(),
            person.get());
  EXPECT_FALSE(plv_objectWithObjectIDsAsEntityInContext(person->objectID(), otherContext()));
}

TEST_F(PLVEntityBoxing, APermanentIDIsObtainedForAnInsertedObject) {
  const auto person = insertPerson();
  ASSERT_TRUE(person->objectID()->isTemporaryID());
  const auto objectID = plv_permanentObjectID(person);
  ASSERT_TRUE(objectID);
  EXPECT_FALSE(objectID->isTemporaryID());
  EXPECT_EQ(Value(person->objectID()), Value(objectID));
  EXPECT_EQ(Value(plv_permanentObjectID(person)), Value(objectID));
  ASSERT_TRUE(context()->save());
  EXPECT_EQ(Value(person->objectID()), Value(objectID));
  EXPECT_FALSE(plv_permanentObjectID(looseObject()));
}

TEST_F(PLVEntityBoxing, AContextWithoutAStoreHasTemporaryIDsOnly) {
  const auto storeless = NSManagedObjectContext::init();
  storeless->setPersistentStoreCoordinator(NSPersistentStoreCoordinator::initWithManagedObjectModel(
      context()->persistentStoreCoordinator()->managedObjectModel()));
  const auto object =
      NSManagedObject::initWithEntityInsertIntoManagedObjectContext(entity(), storeless);
  const auto objectID = plv_permanentObjectID(object);
  ASSERT_TRUE(objectID);
  EXPECT_TRUE(objectID->isTemporaryID());
}

TEST_F(PLVEntityBoxing, ElementsWithFormsOfTheirOwnAreAsked) {
  const Ref<NSArray> array =
      NSArray::arrayWithObjects(Parcel::with("form"), Parcel::with(nullptr), "text");
  EXPECT_EQ(Value(plv_objectWithEntitiesAsObjectID(array)),
            Value(NSArray::arrayWithObjects("form", "text")));
  EXPECT_EQ(Value(plv_objectWithObjectIDsAsEntityInContext(array, context())),
            Value(NSArray::arrayWithObjects("form", "text")));
}

TEST_F(PLVEntityBoxing, NothingGivesNothing) {
  EXPECT_FALSE(plv_objectWithEntitiesAsObjectID(Ref<NSArray>()));
  EXPECT_FALSE(plv_objectWithEntitiesAsObjectID(Ref<NSSet>()));
  EXPECT_FALSE(plv_objectWithEntitiesAsObjectID(Ref<NSManagedObject>()));
  EXPECT_FALSE(plv_objectWithObjectIDsAsEntityInContext(Ref<NSArray>(), context()));
  EXPECT_FALSE(plv_objectWithObjectIDsAsEntityInContext(Ref<NSSet>(), context()));
  EXPECT_FALSE(plv_objectWithObjectIDsAsEntityInContext(Ref<NSManagedObjectID>(), context()));
  EXPECT_FALSE(plv_permanentObjectID(nullptr));
  const auto person = savedPerson();
  EXPECT_FALSE(plv_objectWithObjectIDsAsEntityInContext(person->objectID(), nullptr));
  EXPECT_TRUE(log.empty());
}

TEST_F(PLVEntityBoxing, CollectionsMayBeAHundredThousandDeep) {
  const auto person = savedPerson();
  Ref<NSArray> nested = NSArray::arrayWithObject(person);
  for (int i = 0; i < 100'000; ++i) nested = NSArray::arrayWithObject(nested);
  Value level(plv_objectWithEntitiesAsObjectID(nested));
  int depth = 0;
  while (const Ref<NSArray> inner = as<NSArray>(Value(level))) {
    ASSERT_EQ(inner->count(), 1u);
    level = inner->objectAtIndex(0);
    ++depth;
  }
  EXPECT_EQ(depth, 100'001);
  EXPECT_EQ(level, id(person));
}

TEST_F(PLVEntityBoxing, NestedCollectionsComeBackFromIDsAsTheyWere) {
  const auto person = savedPerson();
  const auto second = savedPerson();
  const Ref<NSArray> whole = NSArray::arrayWithObjects(
      person, NSArray::arrayWithObjects(second, NSSet::setWithObjects(person, second), 3), "x",
      NSSet::setWithObjects(NSArray::arrayWithObjects(second, person), "y"));
  const Ref<NSArray> boxed = plv_objectWithEntitiesAsObjectID(whole);
  EXPECT_EQ(Value(plv_objectWithObjectIDsAsEntityInContext(boxed, context())), Value(whole));
}

}  // namespace
}  // namespace JNFoundation
