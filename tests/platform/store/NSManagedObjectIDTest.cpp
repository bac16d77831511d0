#include "StoreFixture.h"

#include <JNFoundation/platform/store/impl/ObjectAccess.h>

namespace JNFoundation {
namespace {

using NSManagedObjectIDTest = StoreTest;

TEST_F(NSManagedObjectIDTest, IsTemporaryUntilTheSave) {
  auto book = insert("Book");
  auto before = book->objectID();
  EXPECT_TRUE(before->isTemporaryID());
  EXPECT_EQ(before->persistentStore(), nullptr);
  EXPECT_TRUE(before->URIRepresentation()->absoluteString()->hasPrefix("x-coredata:///Book/t"));
  EXPECT_EQ(before->URIRepresentation()->absoluteString()->length(),
            std::string("x-coredata:///Book/t").size() + 36);
  save();
  auto after = book->objectID();
  EXPECT_FALSE(after->isTemporaryID());
  EXPECT_NE(Value(before), Value(after));
  EXPECT_EQ(after->persistentStore(), store);
  EXPECT_EQ(after->entity()->name()->toStdString(), "Book");
  EXPECT_EQ(after->URIRepresentation()->absoluteString()->toStdString(),
            "x-coredata://" + store->identifier()->toStdString() + "/Book/p1");
}

TEST_F(NSManagedObjectIDTest, ComparesByContent) {
  auto first = insert("Book");
  auto second = insert("Book");
  EXPECT_EQ(first->objectID(), first->objectID());
  EXPECT_NE(Value(first->objectID()), Value(second->objectID()));
  save();
  auto uri = first->objectID()->URIRepresentation();
  auto read = coordinator->managedObjectIDForURIRepresentation(uri);
  ASSERT_TRUE(read);
  EXPECT_NE(read, first->objectID()) << "another identifier object";
  EXPECT_EQ(Value(read), Value(first->objectID()));
  EXPECT_EQ(read->hash(), first->objectID()->hash());
  EXPECT_NE(Value(read), Value(second->objectID()));
  EXPECT_NE(Value(read), Value(uri));
}

TEST_F(NSManagedObjectIDTest, RecordsOfDifferentHierarchiesMayHaveTheSameNumber) {
  auto book = insert("Book");
  auto note = insert("Note", {{"text", "n"}});
  save();
  EXPECT_EQ(book->objectID()->number(), note->objectID()->number());
  EXPECT_NE(Value(book->objectID()), Value(note->objectID()));
  EXPECT_EQ(context->objectWithID(book->objectID()), book);
  EXPECT_EQ(context->objectWithID(note->objectID()), note);
}

TEST_F(NSManagedObjectIDTest, FindsTheRegisteredObjectWhoeverMadeIt) {
  auto book = insert("Book");
  auto note = insert("Note", {{"text", "n"}});
  EXPECT_EQ(context->registeredObjectForID(book->objectID()), book);
  const auto temporary = book->objectID();
  save();
  EXPECT_FALSE(context->registeredObjectForID(temporary));
  EXPECT_EQ(context->registeredObjectForID(book->objectID()), book);
  EXPECT_EQ(context->registeredObjectForID(note->objectID()), note);
  EXPECT_FALSE(newContext()->registeredObjectForID(book->objectID()));
  // The same record, as another coordinator and its model name it.
  auto other = NSPersistentStoreCoordinator::initWithManagedObjectModel(libraryModel());
  ASSERT_TRUE(other->addPersistentStoreWithTypeConfigurationURLOptionsError(
      NSSQLiteStoreType, nullptr, store->URL(), nullptr));
  const auto read =
      other->managedObjectIDForURIRepresentation(book->objectID()->URIRepresentation());
  ASSERT_TRUE(read);
  EXPECT_EQ(context->registeredObjectForID(read), book);
  EXPECT_EQ(context->objectWithID(read), book);
  auto objectOfOther = NSManagedObjectContext::init();
  objectOfOther->setPersistentStoreCoordinator(other);
  EXPECT_FALSE(objectOfOther->registeredObjectForID(book->objectID()));
}

TEST_F(NSManagedObjectIDTest, FindsObjectsOfSeveralStoresAndEntitiesInTurn) {
  insert("Book");
  insert("Note", {{"text", "n"}});
  save();
  // The same records once more, as another store.
  const auto copy = NSURL::fileURLWithPath(directory.file("copy.sqlite"));
  auto other = NSPersistentStoreCoordinator::initWithManagedObjectModel(libraryModel());
  ASSERT_TRUE(other->addPersistentStoreWithTypeConfigurationURLOptionsError(
      NSSQLiteStoreType, nullptr, copy, nullptr));
  {
    auto writer = NSManagedObjectContext::init();
    writer->setPersistentStoreCoordinator(other);
    for (const char* entity : {"Book", "Note"}) {
      NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(entity, writer)
          ->setValueForKey("n", std::string(entity) == "Book" ? "title" : "text");
    }
    ASSERT_TRUE(writer->save());
  }
  ASSERT_TRUE(coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
      NSSQLiteStoreType, nullptr, copy, nullptr));

  std::vector<Ref<NSManagedObject>> objects;
  for (const char* entity : {"Book", "Note"}) {
    const auto found =
        context->executeFetchRequestError(NSFetchRequest::fetchRequestWithEntityName(entity));
    ASSERT_EQ(found->count(), 2u);
    for (const Value& object : *found) {
      objects.push_back(Ref<NSManagedObject>(as<NSManagedObject>(object)));
    }
  }
  EXPECT_EQ(objects[0]->objectID()->number(), objects[1]->objectID()->number());
  for (int round = 0; round < 3; ++round) {
    for (const auto& object : objects) {
      for (int again = 0; again < 2; ++again) {
        EXPECT_EQ(context->registeredObjectForID(object->objectID()), object);
      }
    }
  }
  std::vector<Ref<NSManagedObjectID>> identifiers;
  for (const auto& object : objects) identifiers.push_back(object->objectID());
  context->reset();
  for (const auto& identifier : identifiers) {
    EXPECT_FALSE(context->registeredObjectForID(identifier));
  }
}

TEST_F(NSManagedObjectIDTest, FindsNothingOfAStoreThatWasRemoved) {
  auto book = insert("Book");
  save();
  const auto identifier = book->objectID();
  // A look-up remembers where the last one ended.
  for (int i = 0; i < 2; ++i) EXPECT_EQ(context->registeredObjectForID(identifier), book);
  ASSERT_TRUE(coordinator->removePersistentStoreError(store));
  EXPECT_FALSE(context->registeredObjectForID(identifier));
}

TEST_F(NSManagedObjectIDTest, OtherAddressesGiveNone) {
  auto book = insert("Book");
  save();
  const std::string good = book->objectID()->URIRepresentation()->absoluteString()->toStdString();
  const std::string stem = good.substr(0, good.rfind('/'));
  for (const std::string& text :
       {std::string("x-coredata:///Book/t1"), std::string("https://example.com/Book/p1"), stem,
        stem + "/1", stem + "/p", stem + "/p0", stem + "/p-1", stem + "/p1x",
        stem + "/p99999999999999999999", std::string("x-coredata://UNKNOWN/Book/p1"),
        stem.substr(0, stem.rfind('/')) + "/Nothing/p1"}) {
    EXPECT_FALSE(coordinator->managedObjectIDForURIRepresentation(NSURL::URLWithString(text)))
        << text;
  }
  EXPECT_FALSE(coordinator->managedObjectIDForURIRepresentation(nullptr));
  EXPECT_TRUE(coordinator->managedObjectIDForURIRepresentation(NSURL::URLWithString(good)));
}

TEST_F(NSManagedObjectIDTest, AnEntityOfAnyNameHasAnAddressThatReadsBack) {
  auto odd = NSManagedObjectModel::init();
  odd->setEntities(NSArray::arrayWithObjects(
      entityNamed("Größe/a b", {attributeNamed("x", NSStringAttributeType)})));
  open(NSInMemoryStoreType, odd);
  auto object = insert("Größe/a b");
  EXPECT_TRUE(object->objectID()->URIRepresentation());
  save();
  auto uri = object->objectID()->URIRepresentation();
  ASSERT_TRUE(uri);
  EXPECT_EQ(Value(coordinator->managedObjectIDForURIRepresentation(uri)),
            Value(object->objectID()));
}

TEST_F(NSManagedObjectIDTest, PermanentOnesCanBeHadBeforeTheSave) {
  auto book = insert("Book", {{"title", "Early"}});
  auto temporary = book->objectID();
  Ref<NSError> error;
  ASSERT_TRUE(context->obtainPermanentIDsForObjectsError(NSArray::arrayWithObjects(book), &error));
  auto permanent = book->objectID();
  EXPECT_FALSE(permanent->isTemporaryID());
  EXPECT_TRUE(book->isInserted());
  EXPECT_EQ(context->registeredObjectForID(permanent), book);
  EXPECT_EQ(context->registeredObjectForID(temporary), nullptr);
  ASSERT_TRUE(context->obtainPermanentIDsForObjectsError(NSArray::arrayWithObjects(book)));
  EXPECT_EQ(book->objectID(), permanent) << "one that is permanent stays";
  EXPECT_EQ(newContext()->existingObjectWithIDError(permanent), nullptr) << "not saved yet";
  insert("Book", {{"title", "Late"}});
  save();
  EXPECT_EQ(Value(book->objectID()), Value(permanent));
  EXPECT_TRUE(newContext()->existingObjectWithIDError(permanent));
  EXPECT_EQ(fetched(request("Book")), "Early Late");
}

}  // namespace
}  // namespace JNFoundation
