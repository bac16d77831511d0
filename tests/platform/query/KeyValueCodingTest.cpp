#include <gtest/gtest.h>
#include <platform/query/Family.h>

#include <JNFoundation/platform/query/KeyValueCoding.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSIndexSet.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation {
namespace {

using namespace testing;

TEST(KeyValueCoding, GettersAreSearchedInOrder) {
  const Ref<Person> person = Person::named("Ann", 30);
  person->setRank(101);
  EXPECT_EQ(valueForKey(person, "name"), "Ann");
  EXPECT_EQ(valueForKey(person, "secret"), 42);  // getSecret
  EXPECT_EQ(valueForKey(person, "tall"), true);  // isTall
  EXPECT_EQ(valueForKey(person, "hidden"), 43);  // _hidden
  EXPECT_EQ(valueForKey(person, "self"), Value(person));
}

/// Keeps its books and its numbers in forms of its own.
struct Shelf : public Subclass<Shelf, NSObject> {
  std::vector<std::string> titles;
  int asked = 0;

  NSInteger countOfBooks() const { return static_cast<NSInteger>(titles.size()); }
  Value objectInBooksAtIndex(NSUInteger index) {
    ++asked;
    return titles[index].empty() ? Value() : Value(titles[index]);
  }
  NSInteger countOfNumbers() const { return 3; }
  Ref<NSArray> numbersAtIndexes(const Ref<NSIndexSet>& indexes) const {
    return NSArray::arrayWithObject(indexes->firstIndex() * 10);
  }
  NSInteger countOfLamps() const { return 1; }
  NSInteger countOfKeys() const { return 2; }
  Ref<NSArray> enumeratorOfKeys() const { return list({"front", "back", "front"}); }
  Value memberOfKeys(const Value& key) const { return key; }
  NSInteger countOfDoors() const { return -1; }
  Value objectInDoorsAtIndex(NSUInteger) const { return 1; }
};

const ClassDeclaration<Shelf> shelfDeclaration =
    ClassDeclaration<Shelf>()
        .operation("countOfBooks", &Shelf::countOfBooks)
        .operation("objectInBooksAtIndex:", &Shelf::objectInBooksAtIndex)
        .operation("countOfNumbers", &Shelf::countOfNumbers)
        .operation("numbersAtIndexes:", &Shelf::numbersAtIndexes)
        .operation("countOfLamps", &Shelf::countOfLamps)
        .operation("countOfKeys", &Shelf::countOfKeys)
        .operation("enumeratorOfKeys", &Shelf::enumeratorOfKeys)
        .operation("memberOfKeys:", &Shelf::memberOfKeys)
        .operation("countOfDoors", &Shelf::countOfDoors)
        .operation("objectInDoorsAtIndex:", &Shelf::objectInDoorsAtIndex);

TEST(KeyValueCoding, IndexedAccessorsMakeAnArrayThatReadsThroughThem) {
  const auto shelf = makeObject<Shelf>();
  shelf->titles = {"Emma", "", "Ulysses"};
  const Value books = valueForKey(shelf, "books");
  EXPECT_EQ(as<NSArray>(books)->count(), 3u);
  EXPECT_EQ(shelf->asked, 0);
  EXPECT_EQ(books, Value(list({"Emma", nullptr, "Ulysses"})));
  const Value kept = books.copy();
  shelf->titles.pop_back();
  EXPECT_EQ(books, Value(list({"Emma", nullptr})));
  EXPECT_EQ(kept, Value(list({"Emma", nullptr, "Ulysses"})));
  EXPECT_EQ(valueForKey(shelf, "numbers"), Value(list({0, 10, 20})));
  EXPECT_EQ(valueForKeyPath(shelf, "numbers.@sum.self"), 30);
  EXPECT_TRUE(holds(shelf, "ANY books BEGINSWITH 'E' AND books.@count == 2 AND books[1] == nil"));
  EXPECT_EQ(valueForKey(shelf, "doors"), Value(list({})));
  EXPECT_EQ(raisedName([&] { valueForKey(shelf, "lamps"); }), "NSUnknownKeyException");
  EXPECT_EQ(raisedName([&] { valueForKey(shelf, ""); }), "NSUnknownKeyException");
  EXPECT_EQ(raisedName([&] { as<NSArray>(books)->objectAtIndex(2); }), "NSRangeException");
}

TEST(KeyValueCoding, SetAccessorsMakeASetThatReadsThroughThem) {
  const auto shelf = makeObject<Shelf>();
  const Value keys = valueForKey(shelf, "keys");
  EXPECT_EQ(keys, Value(NSSet::setWithObjects("back", "front")));
  EXPECT_TRUE(holds(shelf, "'back' IN keys AND keys.@count == 2 AND NONE keys == 'side'"));
}

TEST(KeyValueCoding, ArrayOfIndexedAccessorsKeepsItsObject) {
  Value books;
  {
    const auto shelf = makeObject<Shelf>();
    shelf->titles = {"Emma"};
    books = valueForKey(shelf, "books");
  }
  EXPECT_EQ(books, Value(list({"Emma"})));
}

TEST(KeyValueCoding, NullAnswersEveryKeyWithNull) {
  EXPECT_EQ(valueForKey(nullptr, "anything"), nullptr);
  EXPECT_EQ(valueForKeyPath(nullptr, "a.b.c"), nullptr);
  setValueForKey(nullptr, 1, "anything");
  setValueForKeyPath(nullptr, 1, "a.b");
}

TEST(KeyValueCoding, NullMarkerAnswersEveryKeyWithItselfAndTakesNone) {
  EXPECT_TRUE(valueForKey(NSNull::null(), "name").isNSNull());
  EXPECT_TRUE(valueForKeyPath(NSNull::null(), "a.b").isNSNull());
  EXPECT_EQ(raisedName([] { setValueForKey(NSNull::null(), 1, "name"); }), "NSUnknownKeyException");
}

TEST(KeyValueCoding, UndefinedKeyRaisesWithClassAddressAndKey) {
  const Ref<Person> person = Person::named("Ann");
  const std::string address =
      NSString::stringWithFormat("%p", static_cast<const void*>(person.get()))->toStdString();
  EXPECT_EQ(raisedBy([&] { valueForKey(person, "shoe"); }),
            "NSUnknownKeyException: [<Person " + address +
                "> valueForUndefinedKey:]: this class is not key value coding-compliant for the "
                "key shoe.");
  EXPECT_EQ(raisedBy([&] { setValueForKey(person, 1, "shoe"); }),
            "NSUnknownKeyException: [<Person " + address +
                "> setValue:forUndefinedKey:]: this class is not key value coding-compliant for "
                "the key shoe.");
}

TEST(KeyValueCoding, NumbersAndDatesAnswerThroughTheirClass) {
  EXPECT_EQ(valueForKey(7, "doubleValue"), 7.0);
  EXPECT_EQ(valueForKey(7, "stringValue"), "7");
  EXPECT_EQ(valueForKey(true, "description"), "1");
  EXPECT_EQ(valueForKey(7, "self"), 7);
  EXPECT_EQ(valueForKey(NSDate::dateWithTimeIntervalSince1970(5), "timeIntervalSince1970"), 5);
  EXPECT_EQ(valueForKey("abc", "length"), 3);
  EXPECT_EQ(raisedBy([] { valueForKey(7, "shoe"); }),
            "NSUnknownKeyException: [<__NSCFNumber 0x0> valueForUndefinedKey:]: this class is not "
            "key value coding-compliant for the key shoe.");
  EXPECT_EQ(raisedName([] { setValueForKey(7, 1, "doubleValue"); }), "NSUnknownKeyException");
}

TEST(KeyValueCoding, NullKeyRaises) {
  EXPECT_EQ(raisedName([] { valueForKey(1, nullptr); }), "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { valueForKeyPath(1, nullptr); }), "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { setValueForKey(1, 1, nullptr); }), "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { KeyPath{Ref<NSString>()}; }), "NSInvalidArgumentException");
}

TEST(KeyValueCoding, SettersConvertAndNullForANumberRaises) {
  const Ref<Person> person = Person::named("Ann");
  setValueForKey(person, 12, "rank");
  EXPECT_EQ(person->rank(), 12);
  setValueForKey(person, nullptr, "name");
  EXPECT_EQ(person->name(), nullptr);
  EXPECT_EQ(raisedName([&] { setValueForKey(person, nullptr, "rank"); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(person->rank(), 12);
}

TEST(KeyValueCoding, DictionariesAnswerTheirKeys) {
  const Ref<NSDictionary> dictionary = record({{"a", 1}, {"a.b", 2}});
  EXPECT_EQ(valueForKey(dictionary, "a"), 1);
  EXPECT_EQ(valueForKey(dictionary, "missing"), nullptr);
  EXPECT_EQ(valueForKey(dictionary, "@count"), 2);
  EXPECT_EQ(valueForKeyPath(dictionary, "@count"), 2);
  // A key with a dot is reached as a key, never as a path.
  EXPECT_EQ(valueForKey(dictionary, "a.b"), 2);
  EXPECT_EQ(raisedName([&] { valueForKeyPath(dictionary, "a.b"); }), "NSUnknownKeyException");

  const Ref<NSMutableDictionary> mutableOne = NSMutableDictionary::dictionary();
  setValueForKey(mutableOne, 5, "x");
  EXPECT_EQ(mutableOne->objectForKey("x"), 5);
  setValueForKey(mutableOne, nullptr, "x");
  EXPECT_EQ(mutableOne->count(), 0u);
}

TEST(KeyValueCoding, ArrayMapsAndKeepsItsCount) {
  const Ref<NSArray> people = list({Person::named("Ann", 1), Person::named(nullptr, 2), nullptr});
  EXPECT_EQ(valueForKey(people, "name"), Value(list({"Ann", nullptr, nullptr})));
  EXPECT_EQ(valueForKeyPath(people, "age"), Value(list({1, 2, nullptr})));
}

TEST(KeyValueCoding, SetsMapWithoutNullsAndDuplicates) {
  const Value ann = Person::named("Ann"), other = Person::named("Ann"),
              nobody = Person::named(nullptr);
  EXPECT_EQ(valueForKey(setOf({ann, other, nobody}), "name"), Value(setOf({"Ann"})));
  EXPECT_EQ(valueForKey(orderedSetOf({nobody, ann, other}), "name"), Value(orderedSetOf({"Ann"})));
}

TEST(KeyValueCoding, CollectionsPassAValueToEveryMember) {
  const Ref<Person> ann = Person::named("Ann"), ben = Person::named("Ben");
  setValueForKey(list({ann, list({ben})}), 9, "rank");
  EXPECT_EQ(ann->rank(), 9);
  EXPECT_EQ(ben->rank(), 9);
  setValueForKeyPath(list({ann}), "Cid", "self.name");
  EXPECT_EQ(Value(ann->name()), "Cid");
  setValueForKey(setOf({ann, ben}), 3, "rank");
  EXPECT_EQ(ann->rank() + ben->rank(), 6);
}

TEST(KeyValueCoding, PathsReadThroughObjectsAndStopAtNull) {
  const Ref<Person> ann = Person::named("Ann"), ben = Person::named("Ben");
  ann->setMother(ben);
  EXPECT_EQ(valueForKeyPath(ann, "mother.name"), "Ben");
  EXPECT_EQ(valueForKeyPath(ann, "mother.mother.name"), nullptr);
  EXPECT_EQ(valueForKeyPath(record({{"m", nullptr}}), "m.name.x"), Value(NSNull::null()));
  setValueForKeyPath(ann, "Bea", "mother.name");
  EXPECT_EQ(Value(ben->name()), "Bea");
  setValueForKeyPath(ann, "Nobody", "mother.mother.name");
  EXPECT_EQ(Value(ben->name()), "Bea");
}

TEST(KeyValueCoding, EmptyKeysAreUndefinedKeys) {
  const Ref<Person> ann = Person::named("Ann");
  EXPECT_EQ(raisedName([&] { valueForKeyPath(ann, ""); }), "NSUnknownKeyException");
  EXPECT_EQ(raisedName([&] { valueForKeyPath(ann, "name."); }), "NSUnknownKeyException");
  EXPECT_EQ(raisedName([&] { valueForKeyPath(ann, ".name"); }), "NSUnknownKeyException");
  EXPECT_EQ(valueForKeyPath(record({{"", 1}}), ""), 1);
}

TEST(KeyValueCoding, DictionaryWithValuesForKeysTranslatesNull) {
  const Ref<Person> ann = Person::named("Ann");
  EXPECT_EQ(Value(dictionaryWithValuesForKeys(ann, list({"name", "age"}))),
            Value(record({{"name", "Ann"}, {"age", nullptr}})));
  EXPECT_EQ(dictionaryWithValuesForKeys(ann, nullptr)->count(), 0u);
  EXPECT_EQ(raisedName([&] { dictionaryWithValuesForKeys(ann, list({1})); }),
            "NSInvalidArgumentException");
}

TEST(KeyValueCoding, SetValuesForKeysTranslatesNull) {
  const Ref<Person> ann = Person::named("Ann", 3);
  setValuesForKeysWithDictionary(ann, record({{"name", nullptr}, {"age", 5}}));
  EXPECT_EQ(ann->name(), nullptr);
  EXPECT_EQ(ann->age(), 5);
  setValuesForKeysWithDictionary(ann, nullptr);
}

TEST(KeyValueCoding, PathsReadWhileAPathIsReadDoNotDisturbIt) {
  // Blocks in the object's getters read other paths, which may take the place of the remembered
  // one.
  const Ref<NSDictionary> inner = record({{"x", 1}, {"y", record({{"z", 2}})}});
  std::vector<Value> members;
  for (int i = 0; i < 200; ++i) {
    const std::string key = "k" + std::to_string(i);
    const Ref<NSDictionary> one = record({{Value(key), Value(inner)}});
    EXPECT_EQ(valueForKeyPath(one, key + ".y.z"), 2) << i;
    EXPECT_EQ(valueForKeyPath(one, key + ".x"), 1) << i;
  }
}

TEST(KeyValueCoding, DeeplyNestedCollectionsDoNotExhaustTheStack) {
  Value nested = list({Person::named("deep")});
  for (int i = 0; i < 200'000; ++i) nested = NSArray::arrayWithObject(nested);
  Value names = valueForKey(nested, "name");
  setValueForKey(nested, 5, "rank");
  int depth = 0;
  while (const NSArray* array = as<NSArray>(names)) {
    names = array->firstObject();
    ++depth;
  }
  EXPECT_EQ(depth, 200'001);
  EXPECT_EQ(names, "deep");
  EXPECT_EQ(valueForKeyPath(nested, "rank.self").isObject(), true);
}

}  // namespace
}  // namespace JNFoundation
