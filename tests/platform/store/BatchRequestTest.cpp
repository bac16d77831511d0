#include "SalesFixture.h"
#include "tests/platform/value/Raising.h"

#include <JNFoundation/platform/store/NSBatchDeleteRequest.h>
#include <JNFoundation/platform/store/NSBatchDeleteResult.h>
#include <JNFoundation/platform/store/NSBatchInsertRequest.h>
#include <JNFoundation/platform/store/NSBatchInsertResult.h>
#include <JNFoundation/platform/store/NSBatchUpdateRequest.h>
#include <JNFoundation/platform/store/NSBatchUpdateResult.h>

namespace JNFoundation {
namespace {

using testing::raisedName;

Ref<NSDictionary> entries(std::vector<NSDictionary::Pair> pairs) {
  return NSDictionary::dictionaryWithEntries(std::move(pairs));
}

/// Works and notes, of which a note's text is required and its number of stars 3 by default and
/// unique.
class BatchRequestTest : public StoreTest, public ::testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    auto model = libraryModel();
    auto note = model->entityWithName("Note");
    const Value code = Value(attributeNamed("code", NSInteger32AttributeType));
    auto level = attributeNamed("level", NSInteger16AttributeType);
    level->setDefaultValue(3);
    std::vector<Value> properties{code, Value(level)};
    for (const auto& property : note->ownProperties()) properties.emplace_back(property);
    note->setProperties(NSArray::arrayWithValues(std::move(properties)));
    note->setUniquenessConstraints(
        NSArray::arrayWithObjects(Value(NSArray::arrayWithObjects("code"))));
    open(GetParam(), model);
  }

  Value execute(const Ref<NSPersistentStoreRequest>& request) {
    Ref<NSError> error;
    const Value result = context->executeRequestError(request, &error);
    EXPECT_FALSE(result.isNull()) << text(error);
    EXPECT_FALSE(error);
    return result;
  }

  NSInteger codeOf(const Ref<NSPersistentStoreRequest>& request) {
    Ref<NSError> error;
    EXPECT_TRUE(context->executeRequestError(request, &error).isNull());
    EXPECT_TRUE(error);
    return error ? error->code() : 0;
  }

  static Ref<NSBatchInsertRequest> insertion(const char* entity, std::vector<Value> objects) {
    return NSBatchInsertRequest::batchInsertRequestWithEntityNameObjects(
        entity, NSArray::arrayWithValues(std::move(objects)));
  }

  static Ref<NSBatchUpdateRequest> update(const char* entity,
                                          std::vector<NSDictionary::Pair> properties,
                                          const Ref<NSPredicate>& predicate = nullptr) {
    auto request = NSBatchUpdateRequest::batchUpdateRequestWithEntityName(entity);
    request->setPropertiesToUpdate(entries(std::move(properties)));
    request->setPredicate(predicate);
    return request;
  }

  static Ref<NSBatchDeleteRequest> deletion(const char* entity,
                                            const Ref<NSPredicate>& predicate = nullptr) {
    return NSBatchDeleteRequest::initWithFetchRequest(request(entity, predicate));
  }

  /// What the store has, whatever this context knows.
  std::string stored(const char* entity, const char* key) {
    auto fresh = newContext();
    std::string all;
    for (const Value& object : fresh->executeFetchRequestError(request(entity))) {
      all += (all.empty() ? "" : " ") +
             as<NSObject>(object)->valueForKey(key).description()->toStdString();
    }
    return all;
  }

  NSUInteger count(const char* entity) {
    return newContext()->countForFetchRequestError(request(entity));
  }
};
FOR_EVERY_STORE(BatchRequestTest);

// ---- Inserting ----------------------------------------------------------------------------------

TEST_P(BatchRequestTest, InsertedRecordsHaveWhatTheyWereGivenAndDefaults) {
  const Value result = execute(
      insertion("Note", {entries({{"text", "one"}, {"stars", 1}}),
                         entries({{"text", "two"}, {"level", 9}, {"stars", NSNull::null()}})}));
  ASSERT_TRUE(isKindOf<NSBatchInsertResult>(result));
  EXPECT_EQ(as<NSBatchInsertResult>(result)->resultType(),
            NSBatchInsertRequestResultTypeStatusOnly);
  EXPECT_EQ(as<NSBatchInsertResult>(result)->result(), Value(true));
  EXPECT_EQ(stored("Note", "text"), "one two");
  EXPECT_EQ(stored("Note", "level"), "3 9");
  EXPECT_EQ(stored("Note", "stars"), "1 (null)");
  EXPECT_EQ(context->registeredObjects()->count(), 0u) << "nothing happens to a context";
  EXPECT_FALSE(context->hasChanges());
}

TEST_P(BatchRequestTest, AHandlerFillsOneAfterTheOtherUntilItSaysStop) {
  int calls = 0;
  auto request = NSBatchInsertRequest::batchInsertRequestWithEntityNameDictionaryHandler(
      "Note", [&](const Ref<NSMutableDictionary>& object) {
        EXPECT_EQ(object->count(), 0u);
        object->setObjectForKey(NSString::stringWithFormat("n%d", calls), "text");
        return ++calls == 4;
      });
  request->setResultType(NSBatchInsertRequestResultTypeCount);
  const Value result = execute(request);
  EXPECT_EQ(as<NSBatchInsertResult>(result)->result(), Value(3));
  EXPECT_EQ(calls, 4);
  EXPECT_EQ(stored("Note", "text"), "n0 n1 n2") << "what the last call filled is not inserted";
}

TEST_P(BatchRequestTest, IdentifiersOfInsertedRecordsLeadToThem) {
  auto wanted = insertion(
      "AudioBook",
      {entries({{"title", "A"}, {"reader", "Ann"}, {"year", 1999}}), entries({{"title", "B"}})});
  wanted->setResultType(NSBatchInsertRequestResultTypeObjectIDs);
  const Value result = execute(wanted);
  const Value identifiers = as<NSBatchInsertResult>(result)->result();
  ASSERT_EQ(as<NSArray>(identifiers)->count(), 2u);
  const Value first = as<NSArray>(identifiers)->firstObject();
  auto book =
      context->existingObjectWithIDError(Ref<NSManagedObjectID>(as<NSManagedObjectID>(first)));
  ASSERT_TRUE(book);
  EXPECT_EQ(book->valueForKey("reader"), Value("Ann"));
  EXPECT_EQ(book->entity()->name()->toStdString(), "AudioBook");
  auto another = insert("Film", {{"title", "C"}});
  save();
  EXPECT_EQ(another->objectID()->number(), 3) << "numbers are taken for good";
}

TEST_P(BatchRequestTest, NothingIsInsertedWhereOneRecordCannotBe) {
  EXPECT_EQ(codeOf(insertion("Note", {entries({{"text", "a"}}), entries({{"stars", 1}})})), 1570);
  EXPECT_EQ(codeOf(insertion(
                "Note", {entries({{"text", "a"}}), entries({{"text", "b"}, {"stars", 70'000}})})),
            1610);
  EXPECT_EQ(codeOf(insertion("Note", {entries({{"text", "a"}, {"code", 1}}),
                                      entries({{"text", "b"}, {"code", 1}})})),
            133021);
  EXPECT_EQ(count("Note"), 0u);
  std::vector<Value> many;
  for (int i = 0; i < 1200; ++i) many.emplace_back(entries({{"text", "t"}, {"code", i}}));
  many.emplace_back(entries({{"text", "t"}, {"code", 7}}));
  EXPECT_EQ(codeOf(insertion("Note", many)), 133021) << "far behind";
  EXPECT_EQ(count("Note"), 0u);
  many.pop_back();
  execute(insertion("Note", many));
  EXPECT_EQ(count("Note"), 1200u);
  EXPECT_EQ(codeOf(insertion("Note", {entries({{"text", "t"}, {"code", 1199}})})), 133021);
}

TEST_P(BatchRequestTest, WhatNoRecordCanHaveRaises) {
  const auto refused = [&](const Ref<NSPersistentStoreRequest>& wanted) {
    return raisedName([&] { context->executeRequestError(wanted); }) == NSInvalidArgumentException;
  };
  EXPECT_TRUE(refused(insertion("Note", {entries({{"text", "a"}}), entries({{"colour", 1}})})));
  EXPECT_TRUE(refused(insertion("Note", {entries({{"text", 7}})})));
  EXPECT_TRUE(refused(insertion("Note", {entries({{Value(7), 7}})})));
  EXPECT_TRUE(refused(insertion("Note", {Value("no dictionary")})));
  EXPECT_TRUE(refused(insertion("Work", {entries({{"title", "a"}})}))) << "abstract";
  EXPECT_TRUE(refused(insertion("Book", {entries({{"reader", "a"}})})))
      << "an attribute of a descendant";
  EXPECT_TRUE(refused(insertion("Nothing", {})));
  EXPECT_TRUE(refused(NSBatchInsertRequest::initWithEntityObjects(
      libraryModel()->entityWithName("Note"), NSArray::array())))
      << "of another model";
  EXPECT_TRUE(
      refused(NSBatchInsertRequest::batchInsertRequestWithEntityNameObjects("Note", nullptr)));
  EXPECT_TRUE(refused(update("Note", {{"colour", 1}})));
  EXPECT_TRUE(refused(update("Note", {})));
  EXPECT_TRUE(
      refused(update("Note", {{"stars", 1}}, NSPredicate::predicateWithFormat("colour == 1"))));
  EXPECT_TRUE(
      refused(update("Note", {{"stars", NSExpression::expressionWithFormat("colour + 1")}})));
  EXPECT_TRUE(refused(deletion("Nothing")));
  EXPECT_TRUE(refused(deletion("Note", NSPredicate::predicateWithFormat("colour == 1"))));
  auto unsaved = insert("Note", {{"text", "t"}});
  EXPECT_TRUE(refused(NSBatchDeleteRequest::initWithObjectIDs(
      NSArray::arrayWithObjects(Value(unsaved->objectID())))));
  EXPECT_TRUE(refused(NSBatchDeleteRequest::initWithObjectIDs(NSArray::arrayWithObjects("x"))));
  EXPECT_TRUE(refused(nullptr));
  context->rollback();
  EXPECT_EQ(count("Note"), 0u);
  execute(insertion("Note", {entries({{"text", "fine"}})}));
}

TEST_P(BatchRequestTest, WhatAHandlerRaisesEndsTheRequest) {
  int calls = 0;
  auto wanted = NSBatchInsertRequest::batchInsertRequestWithEntityNameDictionaryHandler(
      "Note", [&](const Ref<NSMutableDictionary>& object) -> bool {
        if (++calls == 1000) raise(NSGenericException, "enough");
        object->setObjectForKey("t", "text");
        return false;
      });
  EXPECT_EQ(raisedName([&] { context->executeRequestError(wanted); }), NSGenericException);
  EXPECT_EQ(count("Note"), 0u);
  insert("Note", {{"text", "t"}});
  save();
}

TEST_P(BatchRequestTest, AHandlerCannotSaveTheStoreThatIsWrittenTo) {
  insert("Note", {{"text", "pending"}});
  bool saved = true;
  int calls = 0;
  Ref<NSError> problem;
  execute(NSBatchInsertRequest::batchInsertRequestWithEntityNameDictionaryHandler(
      "Note", [&](const Ref<NSMutableDictionary>& object) {
        object->setObjectForKey("t", "text");
        if (calls == 700) saved = context->save(&problem);
        return ++calls == 1001;
      }));
  EXPECT_FALSE(saved);
  EXPECT_TRUE(problem);
  EXPECT_TRUE(context->hasChanges()) << "and loses nothing";
  EXPECT_EQ(count("Note"), 1000u);
  save();
  EXPECT_EQ(count("Note"), 1001u);
}

TEST_P(BatchRequestTest, AHandlerThatRemovesTheStoreHasTheRequestFail) {
  int calls = 0;
  auto wanted = NSBatchInsertRequest::batchInsertRequestWithEntityNameDictionaryHandler(
      "Note", [&](const Ref<NSMutableDictionary>& object) {
        object->setObjectForKey("t", "text");
        if (++calls == 600) coordinator->removePersistentStoreError(store);
        return calls == 2000;
      });
  EXPECT_EQ(codeOf(wanted), NSPersistentStoreOperationError);
  EXPECT_EQ(calls, 600);
}

// ---- Updating -----------------------------------------------------------------------------------

TEST_P(BatchRequestTest, UpdatesSetConstantsAndWhatIsComputedOfTheRecord) {
  insert("Book", {{"title", "A"}, {"year", 1950}, {"pages", 10}});
  insert("Book", {{"title", "B"}, {"year", 1960}});
  insert("AudioBook", {{"title", "C"}, {"year", 1970}, {"reader", "Ann"}});
  save();
  auto wanted = update(
      "Book", {{"available", true}, {"year", NSExpression::expressionWithFormat("year + 1")}},
      NSPredicate::predicateWithFormat("year >= 1960"));
  wanted->setResultType(NSUpdatedObjectsCountResultType);
  const Value result = execute(wanted);
  EXPECT_EQ(as<NSBatchUpdateResult>(result)->result(), Value(2));
  EXPECT_EQ(stored("Book", "year"), "1950 1961 1971");
  EXPECT_EQ(stored("Book", "available"), "(null) 1 1");
  EXPECT_EQ(stored("Book", "title"), "A B C");
  wanted = update("Book", {{"title", NSNull::null()}});
  wanted->setIncludesSubentities(false);
  wanted->setResultType(NSUpdatedObjectIDsResultType);
  const Value second = execute(wanted);
  const Value identifiers = as<NSBatchUpdateResult>(second)->result();
  EXPECT_EQ(as<NSArray>(identifiers)->count(), 2u);
  EXPECT_EQ(stored("Book", "title"), "(null) (null) C");
}

TEST_P(BatchRequestTest, AContextThatHasChangedARecordMeanwhileCannotSaveIt) {
  auto book = insert("Book", {{"title", "A"}});
  auto other = insert("Book", {{"title", "B"}});
  save();
  book->setValueForKey("A here", "title");
  execute(update("Book", {{"year", 2000}}, NSPredicate::predicateWithFormat("title == 'A'")));
  EXPECT_EQ(other->valueForKey("title"), Value("B"));
  EXPECT_TRUE(book->valueForKey("year").isNull()) << "objects stay what they are";
  Ref<NSError> error;
  EXPECT_FALSE(context->save(&error));
  EXPECT_EQ(error->code(), 133020);
  context->rollback();
  other->setValueForKey("B here", "title");
  save();
}

TEST_P(BatchRequestTest, NothingIsUpdatedWhereOneRecordCannotBe) {
  for (int i = 0; i < 700; ++i) insert("Note", {{"text", "t"}, {"code", i}, {"stars", i}});
  save();
  EXPECT_EQ(codeOf(update("Note", {{"text", NSNull::null()}})), 1570);
  EXPECT_EQ(codeOf(update("Note", {{"stars", NSExpression::expressionWithFormat("stars * 47")}})),
            1610)
      << "only the last ones are too large";
  EXPECT_EQ(codeOf(update("Note", {{"code", 5}})), 133021);
  auto sum = request("Note");
  sum->setResultType(NSDictionaryResultType);
  sum->setPropertiesToFetch(NSArray::arrayWithObjects(computed("s", "sum(stars)")));
  const Value row = fetch(sum)->firstObject();
  EXPECT_EQ(as<NSDictionary>(row)->objectForKey("s"), Value(699 * 700 / 2));
}

TEST_P(BatchRequestTest, UniqueValuesAreHandedOnAmongAllRecords) {
  for (int i = 0; i < 1500; ++i) insert("Note", {{"text", "t"}, {"code", i}});
  save();
  execute(update("Note", {{"code", NSExpression::expressionWithFormat("code + 1")}}));
  execute(update("Note", {{"code", NSExpression::expressionWithFormat("1500 - code")}}));
  auto last = request("Note", nullptr, {by("code")});
  EXPECT_EQ(fetch(last)->count(), 1500u);
  const Value first = fetch(last)->firstObject();
  EXPECT_EQ(as<NSObject>(first)->valueForKey("code"), Value(0));
}

TEST_P(BatchRequestTest, UnsavedChangesAreNotLookedAt) {
  auto book = insert("Book", {{"title", "A"}});
  save();
  book->setValueForKey("Z", "title");
  insert("Book", {{"title", "A"}});
  auto wanted = update("Book", {{"year", 1}}, NSPredicate::predicateWithFormat("title == 'A'"));
  wanted->setResultType(NSUpdatedObjectsCountResultType);
  const Value result = execute(wanted);
  EXPECT_EQ(as<NSBatchUpdateResult>(result)->result(), Value(1)) << "the saved one";
}

// ---- Deleting -----------------------------------------------------------------------------------

TEST_P(BatchRequestTest, WhatAFetchRequestFindsGoes) {
  for (int i = 0; i < 10; ++i) insert("Book", {{"title", "t"}, {"year", i}});
  insert("Film", {{"title", "f"}, {"year", 3}});
  save();
  auto some = request("Work", NSPredicate::predicateWithFormat("year >= 2"), {by("year", false)});
  some->setFetchOffset(1);
  some->setFetchLimit(4);
  auto wanted = NSBatchDeleteRequest::initWithFetchRequest(some);
  wanted->setResultType(NSBatchDeleteResultTypeCount);
  const Value result = execute(wanted);
  EXPECT_EQ(as<NSBatchDeleteResult>(result)->result(), Value(4));
  EXPECT_EQ(stored("Work", "year"), "0 1 2 3 4 9 3");
  execute(deletion("Book"));
  EXPECT_EQ(stored("Work", "year"), "3");
}

TEST_P(BatchRequestTest, WhatHasTheIdentifiersGoes) {
  std::vector<Value> identifiers;
  for (int i = 0; i < 5; ++i) {
    auto book = insert("Book", {{"year", i}});
    save();
    identifiers.emplace_back(book->objectID());
  }
  auto note = insert("Note", {{"text", "n"}});
  save();
  auto wanted = NSBatchDeleteRequest::initWithObjectIDs(NSArray::arrayWithObjects(
      identifiers[1], identifiers[3], identifiers[1], Value(note->objectID())));
  wanted->setResultType(NSBatchDeleteResultTypeObjectIDs);
  const Value result = execute(wanted);
  const Value gone = as<NSBatchDeleteResult>(result)->result();
  EXPECT_EQ(as<NSArray>(gone)->count(), 3u);
  EXPECT_TRUE(as<NSArray>(gone)->containsObject(identifiers[3]));
  EXPECT_EQ(stored("Book", "year"), "0 2 4");
  EXPECT_EQ(count("Note"), 0u);
  const Value again = execute(wanted);
  EXPECT_EQ(as<NSArray>(as<NSBatchDeleteResult>(again)->result())->count(), 0u) << "gone already";
}

TEST_P(BatchRequestTest, AContextThatHasChangedWhatIsGoneCannotSaveIt) {
  auto book = insert("Book", {{"title", "A"}});
  save();
  book->setValueForKey("B", "title");
  execute(deletion("Book"));
  Ref<NSError> error;
  EXPECT_FALSE(context->save(&error));
  EXPECT_EQ(error->code(), 133020);
}

// ---- Stores -------------------------------------------------------------------------------------

TEST_P(BatchRequestTest, TheAffectedStoresAreTheOnlyOnes) {
  Ref<NSError> error;
  auto second = coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
      GetParam(), nullptr, NSURL::fileURLWithPath(directory.file("second.sqlite")), nullptr,
      &error);
  ASSERT_TRUE(second) << text(error);
  execute(insertion("Note", {entries({{"text", "first"}})}));
  auto elsewhere = insertion("Note", {entries({{"text", "second"}})});
  elsewhere->setAffectedStores(NSArray::arrayWithObjects(second));
  elsewhere->setResultType(NSBatchInsertRequestResultTypeObjectIDs);
  const Value inserted = execute(elsewhere);
  const Value identifier = as<NSArray>(as<NSBatchInsertResult>(inserted)->result())->firstObject();
  EXPECT_EQ(as<NSManagedObjectID>(identifier)->persistentStore(), second);
  auto wanted = update("Note", {{"stars", 5}});
  wanted->setAffectedStores(NSArray::arrayWithObjects(second));
  execute(wanted);
  EXPECT_EQ(stored("Note", "stars"), "(null) 5");
  execute(update("Note", {{"stars", NSExpression::expressionWithFormat("level")}}));
  EXPECT_EQ(stored("Note", "stars"), "3 3") << "all of them";
  auto gone = deletion("Note");
  gone->setAffectedStores(NSArray::arrayWithObjects(store));
  execute(gone);
  EXPECT_EQ(stored("Note", "text"), "second");
  gone = deletion("Note");
  gone->setAffectedStores(NSArray::array());
  execute(gone);
  EXPECT_EQ(count("Note"), 1u);
}

TEST_P(BatchRequestTest, AStoreThatIsReadOnlyIsNotWrittenTo) {
  execute(insertion("Note", {entries({{"text", "first"}})}));
  if (std::string(GetParam()) == NSInMemoryStoreType) return;
  ASSERT_TRUE(coordinator->removePersistentStoreError(store));
  Ref<NSError> error;
  ASSERT_TRUE(coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
      GetParam(), nullptr, NSURL::fileURLWithPath(directory.file("library.sqlite")),
      entries({{NSReadOnlyPersistentStoreOption, true}}), &error))
      << text(error);
  EXPECT_EQ(codeOf(insertion("Note", {entries({{"text", "second"}})})), 134030);
  EXPECT_EQ(codeOf(update("Note", {{"stars", 5}})), 134030);
  EXPECT_EQ(codeOf(deletion("Note")), 134030);
  EXPECT_EQ(stored("Note", "text"), "first");
}

TEST_P(BatchRequestTest, AFetchRequestIsARequestLikeOthers) {
  insert("Note", {{"text", "t"}});
  save();
  const Value found = execute(request("Note"));
  EXPECT_EQ(as<NSArray>(found)->count(), 1u);
}

TEST_P(BatchRequestTest, AHundredThousandRecordsComeChangeAndGo) {
  constexpr int total = 100'000;
  int next = 0;
  auto wanted = NSBatchInsertRequest::batchInsertRequestWithEntityNameDictionaryHandler(
      "Note", [&](const Ref<NSMutableDictionary>& object) {
        object->setObjectForKey("t", "text");
        object->setObjectForKey(next, "code");
        return next++ == total;
      });
  execute(wanted);
  EXPECT_EQ(count("Note"), static_cast<NSUInteger>(total));
  execute(update("Note", {{"level", NSExpression::expressionWithFormat("code - code / 10 * 10")}}));
  EXPECT_EQ(newContext()->countForFetchRequestError(
                request("Note", NSPredicate::predicateWithFormat("level == 7"))),
            static_cast<NSUInteger>(total / 10));
  auto gone = deletion("Note", NSPredicate::predicateWithFormat("level != 7"));
  gone->setResultType(NSBatchDeleteResultTypeCount);
  const Value result = execute(gone);
  EXPECT_EQ(as<NSBatchDeleteResult>(result)->result(), Value(total / 10 * 9));
  EXPECT_EQ(count("Note"), static_cast<NSUInteger>(total / 10));
}

}  // namespace
}  // namespace JNFoundation
