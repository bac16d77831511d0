#include "../value/Raising.h"
#include "StoreFixture.h"

#include <JNFoundation/platform/query/NSComparisonPredicate.h>
#include <JNFoundation/platform/query/NSExpression.h>
#include <JNFoundation/platform/store/NSExpressionDescription.h>

namespace JNFoundation {
namespace {

using testing::raisedBy;
using testing::raisedName;

class FetchingTest : public EveryStoreTest {
 protected:
  /// Five works, saved: A and B are books, C an audio book, D and E films.
  void addWorks() {
    insert("Book", {{"title", "A"}, {"year", 1950}, {"pages", 100}, {"isbn", "x-1"}});
    insert("Book", {{"title", "B"}, {"year", 1960}, {"rating", 4.5}});
    insert("AudioBook", {{"title", "C"}, {"year", 1950}, {"reader", "Ann"}});
    insert("Film", {{"title", "D"}, {"rating", 3.0}, {"available", true}});
    insert("Film", {{"title", "E"}, {"year", 1970}, {"available", false}});
    save();
  }

  template <class... Arguments>
  std::string matching(const char* entity, const char* format, const Arguments&... arguments) {
    return fetched(request(entity, NSPredicate::predicateWithFormat(format, arguments...)));
  }

  /// The one object of that title.
  Ref<NSManagedObject> work(const char* title) {
    const Value found =
        fetch(request("Work", NSPredicate::predicateWithFormat("title == %@", title)))
            ->firstObject();
    return Ref<NSManagedObject>(as<NSManagedObject>(found));
  }

  static Value number(const Ref<NSArray>& rows, const char* key) {
    const Value row = rows->firstObject();
    return as<NSDictionary>(row)->objectForKey(key);
  }
};
FOR_EVERY_STORE(FetchingTest);

TEST_P(FetchingTest, WithoutConditionsEveryObjectComesInTheOrderOfItsNumber) {
  addWorks();
  EXPECT_EQ(fetched(request("Work")), "A B C D E");
  EXPECT_EQ(fetched(request("Book")), "A B C");
  EXPECT_EQ(fetched(request("AudioBook")), "C");
  EXPECT_EQ(fetched(request("Note")), "");
  context->reset();
  EXPECT_EQ(fetched(request("Work")), "A B C D E") << "read again from the store";
}

TEST_P(FetchingTest, SubentitiesMayBeLeftOut) {
  addWorks();
  auto books = request("Book");
  books->setIncludesSubentities(false);
  EXPECT_EQ(fetched(books), "A B");
  auto works = request("Work");
  works->setIncludesSubentities(false);
  EXPECT_EQ(fetched(works), "");
}

TEST_P(FetchingTest, ObjectsComeAsInstancesOfTheirOwnEntity) {
  addWorks();
  context->reset();
  auto reader = work("C");
  EXPECT_EQ(reader->entity()->name()->toStdString(), "AudioBook");
  EXPECT_EQ(reader->valueForKey("reader"), Value("Ann"));
  EXPECT_EQ(raisedName([&] { work("A")->valueForKey("reader"); }), NSUndefinedKeyException);
}

TEST_P(FetchingTest, APredicateSelects) {
  addWorks();
  EXPECT_EQ(matching("Work", "year == 1950"), "A C");
  EXPECT_EQ(matching("Work", "year != 1950"), "B D E") << "null differs from every number";
  EXPECT_EQ(matching("Work", "year > 1950"), "B E");
  EXPECT_EQ(matching("Work", "1950 < year"), "B E");
  EXPECT_EQ(matching("Work", "NOT year > 1950"), "A C D") << "null is not greater";
  EXPECT_EQ(matching("Work", "year = nil"), "D");
  EXPECT_EQ(matching("Work", "year != nil"), "A B C E");
  EXPECT_EQ(matching("Work", "rating >= 3 AND rating < 4.5"), "D");
  EXPECT_EQ(matching("Work", "title == 'A' OR available == YES"), "A D");
  EXPECT_EQ(matching("Work", "available == NO"), "E");
  EXPECT_EQ(matching("Work", "year BETWEEN {1955, 1970}"), "B E");
  EXPECT_EQ(matching("Work", "title IN {'B', 'E', 'Z'}"), "B E");
  EXPECT_EQ(matching("Work", "title IN %@", NSArray::array()), "");
  EXPECT_EQ(matching("Work", "year IN %@", NSArray::arrayWithObjects(1970, NSNull::null())), "D E");
  EXPECT_EQ(matching("Work", "title == %@", 5), "");
  EXPECT_EQ(matching("Work", "title != %@", 5), "A B C D E");
  EXPECT_EQ(matching("Work", "TRUEPREDICATE"), "A B C D E");
  EXPECT_EQ(matching("Work", "FALSEPREDICATE"), "");
}

TEST_P(FetchingTest, TextsThatComeAgainAndAgainAreReadRightAmongThoseThatDoNot) {
  const std::string kinds[] = {"novel", "", "a collection of short stories", "Krimi für Größere"};
  for (int i = 0; i < 500; ++i) {
    auto book = insert(i % 3 == 0 ? "AudioBook" : "Book", {{"pages", i}});
    if (i % 7 != 0) book->setValueForKey(kinds[i % 4], "title");
    book->setValueForKey("isbn " + std::to_string(i), "isbn");
  }
  save();
  context->reset();
  const auto many = NSPredicate::predicateWithFormat("isbn BEGINSWITH 'isbn'");
  const auto books = fetch(request("Book", many, {by("pages")}));
  ASSERT_EQ(books->count(), 500u);
  for (int i = 0; i < 500; ++i) {
    const Value value = books->objectAtIndex(static_cast<NSUInteger>(i));
    const auto& book = *as<NSManagedObject>(value);
    ASSERT_EQ(book.valueForKey("title"), i % 7 != 0 ? Value(kinds[i % 4]) : Value());
    ASSERT_EQ(book.valueForKey("isbn"), Value("isbn " + std::to_string(i)));
  }
}

TEST_P(FetchingTest, TextOperatorsFoldAsTheyDoInMemory) {
  for (const char* title : {"Straße", "STRASSE", "résumé", "Resume", "a_b%c", "x*y?z"}) {
    insert("Book", {{"title", title}});
  }
  insert("Book");
  save();
  EXPECT_EQ(matching("Book", "title BEGINSWITH 'S'"), "Straße STRASSE");
  EXPECT_EQ(matching("Book", "title BEGINSWITH ''"), "Straße STRASSE résumé Resume a_b%c x*y?z");
  EXPECT_EQ(matching("Book", "title BEGINSWITH[c] 'strass'"), "Straße STRASSE");
  EXPECT_EQ(matching("Book", "title ==[c] 'strasse'"), "Straße STRASSE");
  EXPECT_EQ(matching("Book", "title ==[cd] 'resume'"), "résumé Resume");
  EXPECT_EQ(matching("Book", "title !=[cd] 'resume'"), "Straße STRASSE a_b%c x*y?z (null)");
  EXPECT_EQ(matching("Book", "title CONTAINS '_b%'"), "a_b%c");
  EXPECT_EQ(matching("Book", "title ENDSWITH[d] 'e'"), "Straße résumé Resume");
  EXPECT_EQ(matching("Book", "title LIKE 'R?s*'"), "Resume");
  EXPECT_EQ(matching("Book", "title LIKE 'x\\\\*y\\\\?z'"), "x*y?z");
  EXPECT_EQ(matching("Book", "title MATCHES '[A-Z]+'"), "STRASSE");
  EXPECT_EQ(matching("Book", "title IN 'a_b%c and more'"), "a_b%c");
}

TEST_P(FetchingTest, AMalformedRegularExpressionRaisesWhateverTheStore) {
  addWorks();
  EXPECT_EQ(raisedName([&] { matching("Work", "title MATCHES '('"); }), NSInvalidArgumentException);
  EXPECT_EQ(fetched(request("Work")), "A B C D E") << "and the store goes on working";
}

TEST_P(FetchingTest, WhatHasNoSQLFormIsEvaluatedAllTheSame) {
  addWorks();
  EXPECT_EQ(matching("Work", "year + 10 == 1960"), "A C");
  EXPECT_EQ(matching("Work", "title.lowercaseString == 'b'"), "B");
  EXPECT_EQ(matching("Work", "year == 1950 AND title.lowercaseString == 'c'"), "C");
  auto byBlock = NSPredicate::predicateWithBlock([](const Value& object, const Ref<NSDictionary>&) {
    return as<NSManagedObject>(object)->valueForKey("title") == Value("D");
  });
  EXPECT_EQ(fetched(request("Work", byBlock)), "D");
  EXPECT_EQ(matching("Work", "SELF == %@", work("E")), "E");
  EXPECT_EQ(matching("Work", "SELF IN %@", NSArray::arrayWithObjects(work("A"), work("D"))), "A D");
  auto limited =
      request("Work", NSPredicate::predicateWithFormat("year + 0 > 0"), {by("year", false)});
  limited->setFetchLimit(2);
  limited->setFetchOffset(1);
  EXPECT_EQ(fetched(limited), "B A");
  auto blockLimited = request("Work", byBlock, {by("title")});
  blockLimited->setFetchOffset(1);
  EXPECT_EQ(fetched(blockLimited), "");
}

TEST_P(FetchingTest, ObjectsAreFoundByTheirIdentifier) {
  addWorks();
  auto book = work("B");
  EXPECT_EQ(matching("Work", "objectID == %@", book->objectID()), "B");
  EXPECT_EQ(matching("Work", "objectID != %@", book->objectID()), "A C D E");
  EXPECT_EQ(matching("Work", "objectID IN %@",
                     NSArray::arrayWithObjects(book->objectID(), work("D")->objectID(), "no id")),
            "B D");
  auto note = insert("Note", {{"text", "t"}});
  save();
  EXPECT_EQ(matching("Work", "objectID == %@", note->objectID()), "") << "of another hierarchy";
}

TEST_P(FetchingTest, SortDescriptorsOrderWithNullFirst) {
  addWorks();
  EXPECT_EQ(fetched(request("Work", nullptr, {by("year")})), "D A C B E");
  EXPECT_EQ(fetched(request("Work", nullptr, {by("year", false)})), "E B A C D");
  EXPECT_EQ(fetched(request("Work", nullptr, {by("year"), by("title", false)})), "D C A B E");
  EXPECT_EQ(fetched(request("Work", nullptr, {by("available"), by("title")})), "A B C E D");
}

TEST_P(FetchingTest, TextSortsByTheSelectorOfTheDescriptor) {
  for (const char* title : {"b", "A", "Ä", "a", "file10", "file9", "B"}) {
    insert("Book", {{"title", title}});
  }
  save();
  const auto sorted = [&](const char* selector) {
    return fetched(request(
        "Book", nullptr,
        {NSSortDescriptor::sortDescriptorWithKeyAscendingSelector("title", true, selector)}));
  };
  EXPECT_EQ(sorted("compare:"), "A B a b file10 file9 Ä");
  EXPECT_EQ(sorted("caseInsensitiveCompare:"), "A a b B file10 file9 Ä");
  EXPECT_EQ(sorted("localizedStandardCompare:"), "A a Ä B b file9 file10");
  EXPECT_EQ(fetched(request("Book", nullptr,
                            {NSSortDescriptor::sortDescriptorWithKeyAscendingComparator(
                                "title", true,
                                [](const Value& left, const Value& right) {
                                  return static_cast<NSComparisonResult>(-left.compare(right));
                                })})),
            "Ä file9 file10 b a B A");
}

TEST_P(FetchingTest, LimitAndOffsetCut) {
  addWorks();
  auto some = request("Work", nullptr, {by("title")});
  some->setFetchLimit(2);
  EXPECT_EQ(fetched(some), "A B");
  some->setFetchOffset(4);
  EXPECT_EQ(fetched(some), "E");
  EXPECT_EQ(context->countForFetchRequestError(some), 1u);
  some->setFetchOffset(5);
  EXPECT_EQ(fetched(some), "");
  some->setFetchLimit(0);
  some->setFetchOffset(1);
  EXPECT_EQ(fetched(some), "B C D E");
  EXPECT_EQ(context->countForFetchRequestError(some), 4u);
}

TEST_P(FetchingTest, IdentifiersAndCountsComeInTheirOwnForm) {
  addWorks();
  auto wanted = request("Book", NSPredicate::predicateWithFormat("year == 1950"));
  wanted->setResultType(NSManagedObjectIDResultType);
  auto identifiers = fetch(wanted);
  ASSERT_EQ(identifiers->count(), 2u);
  EXPECT_EQ(identifiers->objectAtIndex(0), Value(work("A")->objectID()));
  EXPECT_EQ(identifiers->objectAtIndex(1), Value(work("C")->objectID()));
  wanted->setResultType(NSCountResultType);
  EXPECT_EQ(Value(fetch(wanted)), Value(NSArray::arrayWithObjects(2)));
  EXPECT_EQ(context->countForFetchRequestError(wanted), 2u);
}

TEST_P(FetchingTest, ARequestThatMakesNoSenseRaises) {
  addWorks();
  EXPECT_EQ(
      raisedBy([&] { fetch(request("Nothing")); }),
      "NSInvalidArgumentException: NSFetchRequest could not locate an NSEntityDescription for "
      "entity name 'Nothing'");
  EXPECT_EQ(raisedName([&] { fetch(NSFetchRequest::init()); }), NSInvalidArgumentException);
  EXPECT_EQ(raisedBy([&] { matching("Work", "colour == 'red'"); }),
            "NSInvalidArgumentException: keypath colour not found in entity Work");
  EXPECT_EQ(raisedName([&] { matching("Work", "pages == 1"); }), NSInvalidArgumentException)
      << "an attribute of a descendant only";
  EXPECT_EQ(raisedName([&] { fetch(request("Work", nullptr, {by("colour")})); }),
            NSInvalidArgumentException);
  EXPECT_EQ(raisedName([&] { fetch(request("Work", nullptr, {Value("title")})); }),
            NSInvalidArgumentException);
  auto other = libraryModel();
  auto wanted = NSFetchRequest::init();
  wanted->setEntity(other->entityWithName("Book"));
  EXPECT_EQ(raisedName([&] { fetch(wanted); }), NSInvalidArgumentException) << "of another model";
}

// ---- Unsaved changes ----------------------------------------------------------------------------

TEST_P(FetchingTest, InsertedObjectsAppearAndDeletedOnesDoNot) {
  addWorks();
  insert("Book", {{"title", "N"}, {"year", 1950}});
  insert("Note", {{"text", "other entity"}});
  context->deleteObject(work("A"));
  EXPECT_EQ(matching("Work", "year == 1950"), "C N");
  EXPECT_EQ(fetched(request("Work", nullptr, {by("title", false)})), "N E D C B");
  EXPECT_EQ(context->countForFetchRequestError(request("Work")), 5u);
  auto stored = request("Work", nullptr, {by("title")});
  stored->setIncludesPendingChanges(false);
  EXPECT_EQ(fetched(stored), "A B C D E");
}

TEST_P(FetchingTest, ChangedObjectsAreJudgedByTheirValuesHere) {
  addWorks();
  work("A")->setValueForKey(1999, "year");
  work("E")->setValueForKey(1950, "year");
  EXPECT_EQ(matching("Work", "year == 1950"), "C E");
  EXPECT_EQ(matching("Work", "year == 1999"), "A");
  EXPECT_EQ(fetched(request("Work", nullptr, {by("year"), by("title")})), "D C E B A");
}

TEST_P(FetchingTest, TheLimitHoldsForWhatTheCallerGets) {
  addWorks();
  context->deleteObject(work("A"));
  work("B")->setValueForKey("Z", "title");
  insert("Book", {{"title", "BB"}});
  auto first = request("Work", nullptr, {by("title")});
  first->setFetchLimit(3);
  EXPECT_EQ(fetched(first), "BB C D");
  first->setFetchOffset(3);
  EXPECT_EQ(fetched(first), "E Z");
  auto unsorted = request("Work");
  unsorted->setFetchLimit(1);
  EXPECT_EQ(fetched(unsorted), "Z") << "the record of lowest number that is left";
  EXPECT_EQ(context->countForFetchRequestError(first), 2u);
}

TEST_P(FetchingTest, IdentifiersOfUnsavedObjectsAreTemporary) {
  addWorks();
  auto fresh = insert("Film", {{"title", "F"}});
  auto wanted = request("Film");
  wanted->setResultType(NSManagedObjectIDResultType);
  auto identifiers = fetch(wanted);
  ASSERT_EQ(identifiers->count(), 3u);
  EXPECT_EQ(identifiers->lastObject(), Value(fresh->objectID()));
}

// ---- One object per record ----------------------------------------------------------------------

TEST_P(FetchingTest, ARecordIsOneObjectHoweverItIsFound) {
  addWorks();
  auto book = work("B");
  EXPECT_EQ(work("B"), book);
  EXPECT_EQ(context->objectWithID(book->objectID()), book);
  EXPECT_EQ(context->existingObjectWithIDError(book->objectID()), book);
  EXPECT_EQ(context->registeredObjectForID(book->objectID()), book);
  auto other = newContext();
  auto there = other->existingObjectWithIDError(book->objectID());
  ASSERT_TRUE(there);
  EXPECT_NE(there, book);
  EXPECT_EQ(there->valueForKey("title"), Value("B"));
}

TEST_P(FetchingTest, AFetchNeverChangesAnObjectThatWasLookedAt) {
  addWorks();
  auto here = work("A");
  EXPECT_EQ(here->valueForKey("title"), Value("A"));
  auto other = newContext();
  other->existingObjectWithIDError(here->objectID())->setValueForKey("A2", "title");
  ASSERT_TRUE(other->save());
  EXPECT_EQ(fetched(request("Work")), "A B C D E");
  here = nullptr;
  EXPECT_EQ(fetched(request("Work")), "A2 B C D E") << "a new object has the new value";
}

TEST_P(FetchingTest, FetchedObjectsAreFaultsUnlessAskedOtherwise) {
  addWorks();
  context->reset();
  auto faults = fetch(request("Work"));
  const Value first = faults->firstObject();
  auto* object = as<NSManagedObject>(first);
  EXPECT_TRUE(object->isFault());
  object->valueForKey("title");
  EXPECT_FALSE(object->isFault());
  auto bare = request("Film");
  bare->setIncludesPropertyValues(false);
  EXPECT_EQ(fetched(bare), "D E") << "read one by one";
  context->reset();
  auto whole = request("Work");
  whole->setReturnsObjectsAsFaults(false);
  const Value realised = fetch(whole)->firstObject();
  EXPECT_FALSE(as<NSManagedObject>(realised)->isFault());
}

TEST_P(FetchingTest, AFaultOfARecordThatIsGoneIsDeletedOrRaises) {
  addWorks();
  auto objectID = work("A")->objectID();
  context->deleteObject(work("A"));
  save();
  auto fault = context->objectWithID(objectID);
  ASSERT_TRUE(fault);
  EXPECT_TRUE(fault->isFault());
  EXPECT_TRUE(context->shouldDeleteInaccessibleFaults());
  context->setShouldDeleteInaccessibleFaults(false);
  EXPECT_EQ(raisedName([&] { fault->valueForKey("title"); }), NSObjectInaccessibleException);
  EXPECT_TRUE(fault->isFault());
  EXPECT_FALSE(fault->isDeleted());
  context->setShouldDeleteInaccessibleFaults(true);
  EXPECT_TRUE(fault->valueForKey("title").isNull());
  EXPECT_TRUE(fault->isDeleted());
  EXPECT_FALSE(fault->isFault());
  EXPECT_FALSE(fault->managedObjectContext());
  EXPECT_FALSE(context->hasChanges()) << "there is nothing to save";
  fault->setValueForKey("late", "title");
  EXPECT_FALSE(context->hasChanges());
  Ref<NSError> error;
  EXPECT_EQ(context->existingObjectWithIDError(objectID, &error), nullptr);
  EXPECT_EQ(error->code(), 133000);
  EXPECT_EQ(context->existingObjectWithIDError(nullptr), nullptr);
  EXPECT_EQ(context->objectWithID(nullptr), nullptr);
}

// ---- Dictionaries -------------------------------------------------------------------------------

Ref<NSExpressionDescription> aggregate(const char* name, const char* function, const char* key,
                                       NSAttributeType type = NSUndefinedAttributeType) {
  auto description = NSExpressionDescription::init();
  description->setName(name);
  description->setExpression(NSExpression::expressionForFunctionArguments(
      function, NSArray::arrayWithObjects(NSExpression::expressionForKeyPath(key))));
  description->setExpressionResultType(type);
  return description;
}

TEST_P(FetchingTest, DictionariesHoldTheValuesThatAreNotNull) {
  addWorks();
  auto wanted = request("Work", nullptr, {by("title")});
  wanted->setResultType(NSDictionaryResultType);
  const Value title = model->entityWithName("Work")->attributesByName()->objectForKey("title");
  wanted->setPropertiesToFetch(NSArray::arrayWithObjects(title, "year"));
  auto rows = fetch(wanted);
  ASSERT_EQ(rows->count(), 5u);
  EXPECT_EQ(rows->objectAtIndex(0),
            Value(NSDictionary::dictionaryWithEntries({{"title", "A"}, {"year", 1950}})));
  EXPECT_EQ(rows->objectAtIndex(3), Value(NSDictionary::dictionaryWithEntries({{"title", "D"}})));
  wanted->setPropertiesToFetch(nullptr);
  const Value whole = fetch(wanted)->objectAtIndex(3);
  EXPECT_EQ(whole, Value(NSDictionary::dictionaryWithEntries(
                       {{"title", "D"}, {"rating", 3.0}, {"available", true}})));
  wanted->setFetchLimit(2);
  wanted->setFetchOffset(1);
  EXPECT_EQ(fetch(wanted)->count(), 2u);
  EXPECT_EQ(context->countForFetchRequestError(wanted), 2u);
}

TEST_P(FetchingTest, DictionariesMayBeDistinct) {
  addWorks();
  auto wanted = request("Work", nullptr, {by("year")});
  wanted->setResultType(NSDictionaryResultType);
  wanted->setPropertiesToFetch(NSArray::arrayWithObjects("year"));
  wanted->setReturnsDistinctResults(true);
  auto rows = fetch(wanted);
  EXPECT_EQ(rows->count(), 4u);
  wanted->setFetchLimit(2);
  EXPECT_EQ(fetch(wanted)->count(), 2u);
}

TEST_P(FetchingTest, AggregatesSummariseEveryMatchingRecord) {
  addWorks();
  auto wanted = request("Work");
  wanted->setResultType(NSDictionaryResultType);
  wanted->setPropertiesToFetch(NSArray::arrayWithObjects(
      aggregate("most", "max:", "year"), aggregate("least", "min:", "year"),
      aggregate("all", "sum:", "year"), aggregate("mean", "average:", "year"),
      aggregate("number", "count:", "title"), aggregate("last", "max:", "title")));
  auto rows = fetch(wanted);
  ASSERT_EQ(rows->count(), 1u);
  EXPECT_EQ(number(rows, "most"), Value(1970));
  EXPECT_EQ(number(rows, "least"), Value(1950));
  EXPECT_EQ(number(rows, "all"), Value(1950 + 1960 + 1950 + 1970));
  EXPECT_EQ(number(rows, "mean"), Value(7830 / 4.0));
  EXPECT_EQ(number(rows, "number"), Value(5));
  EXPECT_EQ(number(rows, "last"), Value("E"));
  wanted->setPredicate(NSPredicate::predicateWithFormat("year == 1950"));
  EXPECT_EQ(number(fetch(wanted), "most"), Value(1950));
  EXPECT_EQ(number(fetch(wanted), "number"), Value(2));
}

TEST_P(FetchingTest, AggregatesOfNothingAreZeroOrAbsent) {
  auto wanted = request("Work");
  wanted->setResultType(NSDictionaryResultType);
  wanted->setPropertiesToFetch(NSArray::arrayWithObjects(aggregate("most", "max:", "year"),
                                                         aggregate("all", "sum:", "year"),
                                                         aggregate("number", "count:", "year")));
  auto rows = fetch(wanted);
  ASSERT_EQ(rows->count(), 1u);
  EXPECT_TRUE(number(rows, "most").isNull());
  EXPECT_EQ(number(rows, "all"), Value(0));
  EXPECT_EQ(number(rows, "number"), Value(0));
}

TEST_P(FetchingTest, AnAggregatesResultHasTheTypeAskedFor) {
  addWorks();
  auto wanted = request("Work");
  wanted->setResultType(NSDictionaryResultType);
  wanted->setPropertiesToFetch(
      NSArray::arrayWithObjects(aggregate("mean", "average:", "year", NSInteger64AttributeType),
                                aggregate("most", "max:", "year", NSDoubleAttributeType)));
  auto rows = fetch(wanted);
  EXPECT_EQ(number(rows, "mean"), Value(1957));
  EXPECT_EQ(number(rows, "most").kind(), Value::Kind::Double);
}

TEST_P(FetchingTest, DictionariesShowTheStoreAndNotWhatIsPending) {
  addWorks();
  work("E")->setValueForKey(2020, "year");
  insert("Film", {{"year", 2030}});
  auto wanted = request("Work");
  wanted->setResultType(NSDictionaryResultType);
  wanted->setPropertiesToFetch(NSArray::arrayWithObjects(aggregate("most", "max:", "year")));
  EXPECT_EQ(number(fetch(wanted), "most"), Value(1970));
  save();
  EXPECT_EQ(number(fetch(wanted), "most"), Value(2030));
}

TEST_P(FetchingTest, PropertiesThatCannotBeFetchedRaise) {
  addWorks();
  auto wanted = request("Work");
  wanted->setResultType(NSDictionaryResultType);
  for (const Value& property :
       {Value("colour"), Value(7), Value(aggregate("a", "max:", "colour"))}) {
    wanted->setPropertiesToFetch(NSArray::arrayWithObjects(property));
    EXPECT_EQ(raisedName([&] { fetch(wanted); }), NSInvalidArgumentException)
        << property.description()->utf8();
  }
  wanted->setPropertiesToFetch(
      NSArray::arrayWithObjects("title", aggregate("most", "max:", "year")));
  EXPECT_EQ(raisedName([&] { fetch(wanted); }), NSInvalidArgumentException)
      << "one record's value beside all records' value";
}

}  // namespace
}  // namespace JNFoundation
