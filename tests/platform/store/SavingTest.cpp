#include "../value/Raising.h"
#include "StoreFixture.h"

#include <JNFoundation/platform/dispatch/NSRunLoop.h>

namespace JNFoundation {
namespace {

using testing::raisedName;

class SavingTest : public EveryStoreTest {
 protected:
  Ref<NSManagedObject> saved(const char* entity, std::vector<NSDictionary::Pair> values) {
    auto object = insert(entity, std::move(values));
    save();
    return object;
  }

  /// The same record in another context.
  static Ref<NSManagedObject> same(const Ref<NSManagedObject>& object,
                                   const Ref<NSManagedObjectContext>& other) {
    auto found = other->existingObjectWithIDError(object->objectID());
    EXPECT_TRUE(found);
    return found;
  }
};
FOR_EVERY_STORE(SavingTest);

TEST_P(SavingTest, WhatWasSavedIsReadByAnotherContext) {
  auto book = saved("Book", {{"title", "T"}, {"year", 1999}});
  EXPECT_FALSE(book->hasChanges());
  EXPECT_FALSE(context->hasChanges());
  auto other = newContext();
  EXPECT_EQ(same(book, other)->valueForKey("year"), Value(1999));
  book->setValueForKey(2000, "year");
  EXPECT_TRUE(book->isUpdated());
  save();
  EXPECT_EQ(same(book, newContext())->valueForKey("year"), Value(2000));
  context->deleteObject(book);
  EXPECT_TRUE(book->isDeleted());
  save();
  EXPECT_FALSE(book->isDeleted());
  EXPECT_EQ(book->managedObjectContext(), nullptr);
  EXPECT_EQ(newContext()->existingObjectWithIDError(book->objectID()), nullptr);
}

TEST_P(SavingTest, TheContextTellsWhatItWillSave) {
  auto kept = saved("Book", {{"title", "kept"}});
  auto gone = saved("Book", {{"title", "gone"}});
  auto fresh = insert("Book");
  kept->setValueForKey("changed", "title");
  context->deleteObject(gone);
  EXPECT_EQ(Value(context->insertedObjects()), Value(NSSet::setWithObject(fresh)));
  EXPECT_EQ(Value(context->updatedObjects()), Value(NSSet::setWithObject(kept)));
  EXPECT_EQ(Value(context->deletedObjects()), Value(NSSet::setWithObject(gone)));
  EXPECT_TRUE(context->hasChanges());
  save();
  EXPECT_EQ(context->insertedObjects()->count() + context->updatedObjects()->count() +
                context->deletedObjects()->count(),
            0u);
}

TEST_P(SavingTest, AnObjectInsertedAndDeletedIsForgotten) {
  auto book = insert("Book");
  context->deleteObject(book);
  EXPECT_FALSE(context->hasChanges());
  EXPECT_FALSE(book->isDeleted());
  EXPECT_FALSE(book->isInserted());
  EXPECT_EQ(book->managedObjectContext(), nullptr);
  EXPECT_TRUE(book->objectID()->isTemporaryID());
  save();
  EXPECT_EQ(fetch(request("Book"))->count(), 0u);
}

TEST_P(SavingTest, ADeletionCanBeTakenBack) {
  auto book = saved("Book", {{"title", "A"}});
  book->setValueForKey("B", "title");
  context->deleteObject(book);
  context->insertObject(book);
  EXPECT_FALSE(book->isDeleted());
  EXPECT_TRUE(book->isUpdated());
  save();
  EXPECT_EQ(fetched(request("Book")), "B");
}

TEST_P(SavingTest, MissingRequiredValuesAreRefusedAllAtOnce) {
  auto note = insert("Note");
  Ref<NSError> error;
  EXPECT_FALSE(context->save(&error));
  EXPECT_EQ(error->domain()->toStdString(), NSCocoaErrorDomain);
  EXPECT_EQ(error->code(), 1570);
  EXPECT_EQ(error->userInfo()->objectForKey(NSValidationKeyErrorKey), Value("text"));
  EXPECT_EQ(error->userInfo()->objectForKey(NSValidationObjectErrorKey), Value(note));
  EXPECT_TRUE(note->isInserted()) << "the change stays pending";

  auto second = insert("Note", {{"stars", 70000}});
  EXPECT_FALSE(context->save(&error));
  EXPECT_EQ(error->code(), 1560);
  const Value details = error->userInfo()->objectForKey(NSDetailedErrorsKey);
  std::string codes;
  for (const Value& detail : *as<NSArray>(details)) {
    codes += std::to_string(as<NSError>(detail)->code()) + " ";
  }
  EXPECT_EQ(codes, "1570 1570 1610 ");
  EXPECT_FALSE(context->save()) << "without an error asked for";
  note->setValueForKey("a", "text");
  second->setValueForKey("b", "text");
  second->setValueForKey(5, "stars");
  save();
  EXPECT_EQ(fetched(request("Note"), "text"), "a b");
}

TEST_P(SavingTest, RequiredValuesMayBeMissingUntilTheSave) {
  auto note = saved("Note", {{"text", "a"}});
  note->setValueForKey(nullptr, "text");
  Ref<NSError> error;
  EXPECT_FALSE(context->save(&error));
  EXPECT_EQ(error->code(), 1570);
  EXPECT_EQ(same(note, newContext())->valueForKey("text"), Value("a"));
  context->deleteObject(note);
  save();
}

TEST_P(SavingTest, AFailedSaveWritesNothing) {
  insert("Book", {{"title", "good"}});
  auto bad = insert("Note");
  EXPECT_FALSE(context->save());
  EXPECT_EQ(newContext()->countForFetchRequestError(request("Book")), 0u);
  context->deleteObject(bad);
  save();
  EXPECT_EQ(newContext()->countForFetchRequestError(request("Book")), 1u);
}

TEST_P(SavingTest, ARecordThatSomebodyElseChangedIsAConflict) {
  auto book = saved("Book", {{"title", "first"}});
  auto other = newContext();
  same(book, other)->setValueForKey("theirs", "title");
  ASSERT_TRUE(other->save());
  book->setValueForKey("ours", "title");
  insert("Book", {{"title", "beside"}});
  Ref<NSError> error;
  EXPECT_FALSE(context->save(&error));
  EXPECT_EQ(error->code(), 133020);
  EXPECT_EQ(error->localizedDescription()->toStdString(), "Could not merge changes.");
  EXPECT_EQ(error->userInfo()->objectForKey(NSAffectedObjectsErrorKey),
            Value(NSArray::arrayWithObject(book)));
  EXPECT_EQ(same(book, newContext())->valueForKey("title"), Value("theirs"));
  EXPECT_EQ(newContext()->countForFetchRequestError(request("Book")), 1u) << "all or nothing";
  EXPECT_EQ(book->valueForKey("title"), Value("ours")) << "and nothing is lost here";
  context->rollback();
  EXPECT_EQ(book->valueForKey("title"), Value("first"));
}

TEST_P(SavingTest, ARecordThatSomebodyElseDeletedIsAConflict) {
  auto book = saved("Book", {{"title", "a"}});
  auto film = saved("Film", {{"title", "b"}});
  auto other = newContext();
  other->deleteObject(same(book, other));
  other->deleteObject(same(film, other));
  ASSERT_TRUE(other->save());
  Ref<NSError> error;
  book->setValueForKey("late", "title");
  EXPECT_FALSE(context->save(&error));
  EXPECT_EQ(error->code(), 133020);
  context->rollback();
  context->deleteObject(film);
  EXPECT_FALSE(context->save(&error));
  EXPECT_EQ(error->code(), 133020);
}

TEST_P(SavingTest, DeletingAFaultWhoseRecordIsGoneForgetsIt) {
  auto book = saved("Book", {{"title", "a"}});
  const auto objectID = book->objectID();
  context->deleteObject(book);
  save();
  auto other = newContext();
  auto fault = other->objectWithID(objectID);
  other->deleteObject(fault);
  EXPECT_FALSE(other->hasChanges());
  EXPECT_EQ(fault->managedObjectContext(), nullptr);
  EXPECT_TRUE(other->save());
}

TEST_P(SavingTest, EqualValuesAreNoChangeOfTheRecord) {
  auto book = saved("Book", {{"title", "same"}, {"pages", 7}, {"rating", 2.0}});
  auto other = newContext();
  auto theirs = same(book, other);
  book->setValueForKey("same", "title");
  book->setValueForKey(7.9, "pages");
  book->setValueForKey(2, "rating");
  EXPECT_TRUE(book->isUpdated());
  save();
  EXPECT_FALSE(book->isUpdated());
  theirs->setValueForKey("theirs", "title");
  EXPECT_TRUE(other->save()) << "no new version was written, so there is no conflict";
}

TEST_P(SavingTest, OneContextSavesTheSameObjectAgainAndAgain) {
  auto book = saved("Book", {{"title", "0"}});
  for (int i = 1; i <= 5; ++i) {
    book->setValueForKey(std::to_string(i), "title");
    save();
  }
  EXPECT_EQ(same(book, newContext())->valueForKey("title"), Value("5"));
}

TEST_P(SavingTest, WhatWasSavedIsWhatTheObjectHolds) {
  auto book = insert("Book", {{"year", 1999.9}, {"rating", 4}, {"available", 1}});
  EXPECT_EQ(book->valueForKey("year"), Value(1999.9));
  save();
  const auto check = [](const Ref<NSManagedObject>& object) {
    EXPECT_EQ(object->valueForKey("year").kind(), Value::Kind::Integer);
    EXPECT_EQ(object->valueForKey("year"), Value(1999));
    EXPECT_EQ(object->valueForKey("rating").kind(), Value::Kind::Double);
    EXPECT_EQ(object->valueForKey("available").kind(), Value::Kind::Boolean);
  };
  check(book);
  check(same(book, newContext()));
}

TEST_P(SavingTest, RollbackDropsEveryChange) {
  auto kept = saved("Book", {{"title", "kept"}});
  auto gone = saved("Book", {{"title", "gone"}});
  auto fresh = insert("Book", {{"title", "fresh"}});
  kept->setValueForKey("changed", "title");
  gone->setValueForKey("changed as well", "title");
  context->deleteObject(gone);
  context->rollback();
  EXPECT_FALSE(context->hasChanges());
  EXPECT_EQ(kept->valueForKey("title"), Value("kept"));
  EXPECT_EQ(gone->valueForKey("title"), Value("gone"));
  EXPECT_FALSE(gone->isDeleted());
  EXPECT_EQ(fresh->managedObjectContext(), nullptr);
  EXPECT_EQ(fetched(request("Book")), "kept gone");
  kept->setValueForKey("again", "title");
  save();
  EXPECT_EQ(same(kept, newContext())->valueForKey("title"), Value("again"));
}

TEST_P(SavingTest, ResetForgetsObjectsAndUsingThemRaises) {
  auto book = saved("Book", {{"title", "T"}});
  auto fresh = insert("Book");
  context->reset();
  EXPECT_FALSE(context->hasChanges());
  EXPECT_EQ(context->registeredObjects()->count(), 0u);
  EXPECT_EQ(raisedName([&] { book->valueForKey("title"); }), NSObjectInaccessibleException);
  EXPECT_EQ(raisedName([&] { fresh->setValueForKey("x", "title"); }),
            NSObjectInaccessibleException);
  EXPECT_EQ(fetched(request("Book")), "T") << "a new object for the record";
}

TEST_P(SavingTest, ObjectsOfAnotherContextAreRefused) {
  auto book = saved("Book", {});
  auto other = newContext();
  EXPECT_EQ(raisedName([&] { other->deleteObject(book); }), NSInvalidArgumentException);
  EXPECT_EQ(raisedName([&] { other->insertObject(book); }), NSInvalidArgumentException);
  EXPECT_EQ(raisedName(
                [&] { other->obtainPermanentIDsForObjectsError(NSArray::arrayWithObjects(book)); }),
            NSInvalidArgumentException);
}

TEST_P(SavingTest, AbstractAndUnknownEntitiesHaveNoObjects) {
  EXPECT_EQ(raisedName([&] { insert("Work"); }), NSInvalidArgumentException);
  EXPECT_EQ(raisedName([&] { insert("Nothing"); }), NSInternalInconsistencyException);
}

TEST_P(SavingTest, ASaveOfNothingSucceeds) {
  save();
  auto bare = NSManagedObjectContext::init();
  EXPECT_TRUE(bare->save()) << "even without a coordinator";
  EXPECT_EQ(raisedName([&] { bare->executeFetchRequestError(request("Book")); }),
            NSInternalInconsistencyException);
}

TEST_P(SavingTest, WithoutAStoreASaveFails) {
  auto lone = NSPersistentStoreCoordinator::initWithManagedObjectModel(libraryModel());
  auto homeless = NSManagedObjectContext::init();
  homeless->setPersistentStoreCoordinator(lone);
  NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Book", homeless);
  Ref<NSError> error;
  EXPECT_FALSE(homeless->save(&error));
  EXPECT_EQ(error->code(), 134030);
  EXPECT_TRUE(homeless->hasChanges());
}

TEST_P(SavingTest, ARemovedStoreTakesNoSavesAndGivesNoValues) {
  auto book = saved("Book", {{"title", "T"}});
  auto fault = newContext()->objectWithID(book->objectID());
  auto keptContext = newContext();
  auto stored = keptContext->objectWithID(book->objectID());
  ASSERT_TRUE(coordinator->removePersistentStoreError(store));
  EXPECT_FALSE(coordinator->removePersistentStoreError(store));
  EXPECT_EQ(raisedName([&] { stored->valueForKey("title"); }), NSObjectInaccessibleException);
  book->setValueForKey("U", "title");
  Ref<NSError> error;
  EXPECT_FALSE(context->save(&error));
  EXPECT_TRUE(error);
  EXPECT_EQ(fetch(request("Film"))->count(), 0u) << "no store, no records";
}

TEST_P(SavingTest, NumbersOfDeletedRecordsAreNotUsedAgain) {
  auto first = saved("Note", {{"text", "a"}});
  const auto number = first->objectID()->number();
  context->deleteObject(first);
  save();
  EXPECT_GT(saved("Note", {{"text", "b"}})->objectID()->number(), number);
}

TEST_P(SavingTest, TheFirstChangeOfATurnPostsOneTask) {
  const auto turn = [] {
    NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantPast());
  };
  turn();
  auto book = insert("Book");
  int before = 0;
  queue.queue().async([&] { before = 1; });
  book->setValueForKey("x", "title");
  book->setValueForKey("y", "title");
  turn();
  EXPECT_EQ(before, 1);
  context = nullptr;
  turn();
  EXPECT_EQ(book->valueForKey("title"), Value("y")) << "a pending task keeps no context alive";
}

TEST_P(SavingTest, RunsOfNewObjectsOfSeveralEntitiesKeepTheirOwnValues) {
  struct Expected {
    Ref<NSManagedObject> object;
    Value title, number;
    const char* numberKey;
  };
  std::vector<Expected> all;
  for (const int length : {1, 2, 15, 16, 17, 31, 32, 33, 48, 5}) {
    const bool isBook = all.size() % 2 == 0;
    const char* numberKey = isBook ? "pages" : "minutes";
    for (int i = 0; i < length; ++i) {
      // Here and there a null where the object before has a value.
      const int number = static_cast<int>(all.size());
      const Value title = i % 3 == 1 ? Value() : Value(NSString::stringWithFormat("T%d", number));
      const Value value = i % 5 == 2 ? Value() : Value(number);
      auto object = insert(isBook ? "Book" : "Film");
      object->setValueForKey(title, "title");
      object->setValueForKey(value, numberKey);
      all.push_back({object, title, value, numberKey});
    }
  }
  save();
  const auto other = newContext();
  for (const Expected& expected : all) {
    const auto found = same(expected.object, other);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->entity(), expected.object->entity());
    EXPECT_EQ(found->valueForKey("title"), expected.title);
    EXPECT_EQ(found->valueForKey(expected.numberKey), expected.number);
  }
}

TEST_P(SavingTest, ManyObjectsInOneSave) {
  constexpr int count = 100'000;
  for (int i = 0; i < count; ++i) {
    auto book = insert("Book");
    book->setValueForKey(i, "year");
    book->setValueForKey(NSString::stringWithFormat("title %d", i), "title");
  }
  save();
  context->reset();
  auto all = fetch(request("Book", nullptr, {by("year")}));
  ASSERT_EQ(all->count(), static_cast<NSUInteger>(count));
  std::int64_t sum = 0;
  for (const Value& book : *all) {
    sum += as<NSManagedObject>(book)->valueForKey("year").integerValue();
  }
  EXPECT_EQ(sum, std::int64_t{count} * (count - 1) / 2);
  EXPECT_EQ(as<NSManagedObject>(all->lastObject())->valueForKey("title"), Value("title 99999"));
  for (const Value& book : *all)
    context->deleteObject(Ref<NSManagedObject>(as<NSManagedObject>(book)));
  save();
  EXPECT_EQ(newContext()->countForFetchRequestError(request("Work")), 0u);
}

}  // namespace
}  // namespace JNFoundation
