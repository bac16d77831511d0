#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include "MappingFixture.h"
#include "platform/store/StoreFixture.h"
#include "platform/value/Raising.h"

#include <JNFoundation/mapping/PLVManagedObject.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation {
namespace {

using testing::raisedBy;
using testing::raisedName;

/// A model class that does not say which entity is its own: it inherits the answer of its base.
class Employee : public Subclass<Employee, Person> {
 protected:
  using Subclass::Subclass;
};

/// A model class whose entity no model has.
class Stranger : public Subclass<Stranger, PLVManagedObject> {
 public:
  static Ref<NSEntityDescription> entityInManagedObjectContext(const Ref<NSManagedObjectContext>&) {
    return nullptr;
  }

 protected:
  using Subclass::Subclass;
};

class PLVManagedObjectTest : public MappingTest {
 protected:
  Ref<Person> insertPerson(const Value& name, const Value& age) {
    auto person = MappingTest::insertPerson();
    person->setValueForKey(name, "string");
    person->setValueForKey(age, "integer64");
    return person;
  }
  /// Ann 30, Bob 40, Cid 50 and Dan without an age, saved.
  void insertPeople() {
    insertPerson("Ann", 30);
    insertPerson("Bob", 40);
    insertPerson("Cid", 50);
    insertPerson("Dan", nullptr);
    ASSERT_TRUE(context()->save());
  }

  static std::string names(const Ref<NSArray>& people) {
    if (!people) return "(null)";
    std::string text;
    for (const Value& person : *people) {
      if (!text.empty()) text += ' ';
      text += as<NSManagedObject>(person)->valueForKey("string").description()->utf8();
    }
    return text;
  }

  Value aggregate(const Ref<NSString>& attribute, const Ref<NSString>& function) {
    return Person::valueForAttributeNameWithFunctionContextError(attribute, function, context(),
                                                                 &error);
  }

  /// The aggregate gives nothing, and exactly this line is logged.
  void expectAggregateRefused(const Ref<NSString>& attribute, const Ref<NSString>& function,
                              const std::string& message) {
    log.clear();
    EXPECT_TRUE(aggregate(attribute, function).isNull());
    EXPECT_EQ(log, std::vector{aggregateLine(Person::classObject, message)});
    EXPECT_FALSE(error);
  }
  static std::string aggregateLine(const Class& receiver, const std::string& message) {
    return NSString::stringWithFormat(
               "+[PLVManagedObject valueForAttributeName:withFunction:context:error:](%p) %s",
               static_cast<const void*>(&receiver), message)
        ->toStdString();
  }

  static Ref<NSPredicate> predicate(const char* format) {
    return NSPredicate::predicateWithFormat(format);
  }

  Ref<NSError> error;
};

// ---- Merging

TEST_F(PLVManagedObjectTest, TheBaseHasNoMapAndMergesNothing) {
  entity()->setManagedObjectClassName("PLVManagedObject");
  const Value held(
      NSManagedObject::initWithEntityInsertIntoManagedObjectContext(entity(), context()));
  auto* object = as<PLVManagedObject>(held);
  ASSERT_TRUE(object);
  EXPECT_FALSE(object->entityDataMap());
  object->setValueForKey("old", "string");
  object->mergeDictionary(NSDictionary::dictionaryWithObjectForKey("new", "string"));
  EXPECT_EQ(object->valueForKey("string"), "old");
  EXPECT_TRUE(log.empty());
}

TEST_F(PLVManagedObjectTest, MergingSetsWhatTheMapKnowsAndKeepsTheRest) {
  const auto person = insertPerson("old", 5);
  person->mergeDictionary(
      NSDictionary::dictionaryWithEntries({{"string", "new"}, {"unknown", 1}, {"String", "x"}}));
  EXPECT_EQ(person->valueForKey("string"), "new");
  EXPECT_EQ(person->valueForKey("integer64"), Value(5));
  EXPECT_TRUE(log.empty());
}

TEST_F(PLVManagedObjectTest, MergingClearsWhatTheRecordHasAsTheNullMarker) {
  const auto person = insertPerson("old", 5);
  person->mergeDictionary(NSDictionary::dictionaryWithObjectForKey(NSNull::null(), "string"));
  EXPECT_TRUE(person->valueForKey("string").isNull());
}

TEST_F(PLVManagedObjectTest, MergingNothingChangesNothing) {
  const auto person = insertPerson("old", 5);
  person->mergeDictionary(nullptr);
  person->mergeDictionary(NSDictionary::dictionary());
  EXPECT_EQ(person->valueForKey("string"), "old");
}

TEST_F(PLVManagedObjectTest, MergingUsesTheFilterOfTheContext) {
  setUserInfo({{"$name", "trim|string"}});
  attachFilter();
  const auto person = insertPerson("old", 5);
  person->mergeDictionary(NSDictionary::dictionaryWithObjectForKey(" Ann ", "name"));
  EXPECT_EQ(person->valueForKey("string"), "Ann");
  plv_setDataMapFilter(context(), nullptr);
  person->mergeDictionary(NSDictionary::dictionaryWithObjectForKey(" Ann ", "name"));
  EXPECT_TRUE(person->valueForKey("string").isNull());
}

TEST_F(PLVManagedObjectTest, TheRuntimeMerges) {
  const auto person = insertPerson("old", 5);
  performSelector(Value(person),
                  "mergeDictionary:", NSDictionary::dictionaryWithObjectForKey("new", "string"));
  EXPECT_EQ(person->valueForKey("string"), "new");
}

// ---- Requests

TEST_F(PLVManagedObjectTest, ARequestIsForTheEntityWithThePredicateGiven) {
  const auto wanted = predicate("integer64 > 1");
  const auto request = Person::fetchRequestWithPredicateContext(wanted, context());
  EXPECT_EQ(request->entity().get(), entity().get());
  EXPECT_EQ(request->predicate().get(), wanted.get());
  EXPECT_EQ(request->fetchLimit(), 0u);
  EXPECT_EQ(request->resultType(), NSManagedObjectResultType);
  EXPECT_FALSE(request->sortDescriptors());
}

TEST_F(PLVManagedObjectTest, ARequestWithoutAPredicateHasNone) {
  EXPECT_FALSE(Person::fetchRequestWithPredicateContext(nullptr, context())->predicate());
}

TEST_F(PLVManagedObjectTest, EachRequestIsNew) {
  EXPECT_NE(Person::fetchRequestWithPredicateContext(nullptr, context()).get(),
            Person::fetchRequestWithPredicateContext(nullptr, context()).get());
}

TEST_F(PLVManagedObjectTest, ARequestTakesAFormatWithArguments) {
  const auto request = Person::fetchRequestInContextMatching(
      context(), "integer64 > %d AND string == %@", 30, "Bob");
  EXPECT_EQ(request->entity().get(), entity().get());
  EXPECT_EQ(Value(request->predicate()), Value(predicate("integer64 > 30 AND string == 'Bob'")));
}

// ---- Lists

TEST_F(PLVManagedObjectTest, AllMatchingObjectsAreFound) {
  insertPeople();
  EXPECT_EQ(names(Person::objectsMatchingPredicateContextError(predicate("integer64 >= 40"),
                                                               context(), &error)),
            "Bob Cid");
  EXPECT_EQ(names(Person::objectsInContextErrorMatching(context(), &error, "integer64 >= %d", 40)),
            "Bob Cid");
  EXPECT_FALSE(error);
}

TEST_F(PLVManagedObjectTest, WithoutAPredicateAllObjectsAreFound) {
  insertPeople();
  EXPECT_EQ(names(Person::objectsMatchingPredicateContextError(nullptr, context(), &error)),
            "Ann Bob Cid Dan");
}

TEST_F(PLVManagedObjectTest, NoMatchIsAnEmptyArray) {
  insertPeople();
  const auto found =
      Person::objectsInContextErrorMatching(context(), &error, "string == %@", "Nobody");
  ASSERT_TRUE(found);
  EXPECT_EQ(found->count(), 0u);
}

TEST_F(PLVManagedObjectTest, ALimitHoldsAndZeroIsNone) {
  insertPeople();
  const auto limited = [&](NSUInteger limit) {
    return names(Person::objectsMatchingPredicateLimitContextError(predicate("integer64 > 0"),
                                                                   limit, context(), &error));
  };
  EXPECT_EQ(limited(0), "Ann Bob Cid");
  EXPECT_EQ(limited(1), "Ann");
  EXPECT_EQ(limited(2), "Ann Bob");
  EXPECT_EQ(limited(100), "Ann Bob Cid");
  EXPECT_EQ(limited(std::numeric_limits<NSUInteger>::max()), "Ann Bob Cid");
  EXPECT_EQ(
      names(Person::objectsInContextLimitErrorMatching(context(), 2, &error, "integer64 > %d", 30)),
      "Bob Cid");
  EXPECT_EQ(names(Person::objectsInContextLimitErrorMatching(context(), 0, &error, "string != %@",
                                                             "Ann")),
            "Bob Cid Dan");
}

TEST_F(PLVManagedObjectTest, UnsavedObjectsAreFound) {
  insertPeople();
  insertPerson("Eve", 60);
  EXPECT_EQ(names(Person::objectsInContextErrorMatching(context(), nullptr, "integer64 > 45")),
            "Cid Eve");
}

TEST_F(PLVManagedObjectTest, TheFirstMatchingObjectIsOfTheClass) {
  insertPeople();
  const Ref<Person> bob =
      Person::firstObjectInContextErrorMatching(context(), &error, "integer64 > %d", 30);
  ASSERT_TRUE(bob);
  EXPECT_EQ(bob->valueForKey("string"), "Bob");
}

TEST_F(PLVManagedObjectTest, NoFirstObjectIsNothingAndLeavesTheErrorAlone) {
  insertPeople();
  const auto before = NSError::errorWithDomainCodeUserInfo("Before", 1, nullptr);
  error = before;
  EXPECT_FALSE(Person::firstObjectInContextErrorMatching(context(), &error, "string == 'Nobody'"));
  EXPECT_EQ(error.get(), before.get());
}

TEST_F(PLVManagedObjectTest, SuccessLeavesTheErrorAlone) {
  insertPeople();
  const auto before = NSError::errorWithDomainCodeUserInfo("Before", 1, nullptr);
  error = before;
  Person::objectsMatchingPredicateContextError(nullptr, context(), &error);
  Person::firstObjectInContextErrorMatching(context(), &error, "string == 'Ann'");
  aggregate("integer64", "max:");
  EXPECT_EQ(error.get(), before.get());
}

TEST_F(PLVManagedObjectTest, AnErrorNeedNotBeAskedFor) {
  insertPeople();
  EXPECT_EQ(names(Person::objectsMatchingPredicateContextError(nullptr, context(), nullptr)),
            "Ann Bob Cid Dan");
}

TEST_F(PLVManagedObjectTest, FetchingLogsNothing) {
  insertPeople();
  Person::objectsInContextErrorMatching(context(), &error, "string == 'Nobody'");
  EXPECT_TRUE(log.empty());
}

TEST_F(PLVManagedObjectTest, ABadFormatRaises) {
  EXPECT_EQ(
      raisedName([&] { Person::objectsInContextErrorMatching(context(), &error, "string =="); }),
      "NSInvalidArgumentException");
  EXPECT_EQ(
      raisedName([&] { Person::firstObjectInContextErrorMatching(context(), &error, nullptr); }),
      "NSInvalidArgumentException");
}

TEST_F(PLVManagedObjectTest, WithoutAContextNothingIsFound) {
  EXPECT_FALSE(Person::objectsMatchingPredicateContextError(nullptr, nullptr, &error));
  EXPECT_FALSE(Person::firstObjectInContextErrorMatching(nullptr, &error, "string == 'Ann'"));
  EXPECT_FALSE(error);
}

TEST_F(PLVManagedObjectTest, AClassWithoutAnEntityCannotFetch) {
  EXPECT_EQ(raisedName([&] {
              Stranger::objectsMatchingPredicateContextError(nullptr, context(), &error);
            }),
            "NSInvalidArgumentException");
}

TEST_F(PLVManagedObjectTest, AnObjectOfAnotherClassThanAskedForRaises) {
  insertPeople();
  EXPECT_EQ(raisedBy([&] {
              Employee::firstObjectInContextErrorMatching(context(), &error, "string == 'Ann'");
            }),
            "NSInternalInconsistencyException: the entity Person has objects of the class Person, "
            "which is no Employee; its class name in the model says which class they get");
  EXPECT_FALSE(Employee::firstObjectInContextErrorMatching(context(), &error, "string == 'Zoe'"));
}

// ---- A store that fails

/// Objects in a file of which everything but the beginning is damaged.
class FetchFromADamagedFile : public PLVManagedObjectTest {
 protected:
  void SetUp() override {
    const std::string file = directory.file("people.sqlite");
    auto model = NSManagedObjectModel::init();
    auto person = NSEntityDescription::init();
    person->setName("Person");
    person->setManagedObjectClassName("Person");
    person->setProperties(NSArray::arrayWithObjects(
        NSAttributeDescription::attributeWithNameType("string", NSStringAttributeType),
        NSAttributeDescription::attributeWithNameType("integer64", NSInteger64AttributeType)));
    model->setEntities(NSArray::arrayWithObject(person));
    {
      const auto whole = open(file, model);
      for (int i = 0; i < 500; ++i) {
        NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Person", whole)
            ->setValueForKey(std::string(4000, 'x'), "string");
      }
      ASSERT_TRUE(whole->save());
      const auto coordinator = whole->persistentStoreCoordinator();
      const auto stores = coordinator->persistentStores();
      ASSERT_TRUE(coordinator->removePersistentStoreError(
          Ref<NSPersistentStore>(as<NSPersistentStore>(stores->objectAtIndex(0)))));
    }
    const auto size = std::filesystem::file_size(file);
    ASSERT_GT(size, 1'000'000u);
    std::fstream bytes(file, std::ios::binary | std::ios::in | std::ios::out);
    bytes.seekp(static_cast<std::streamoff>(size / 4));
    bytes << std::string(size - size / 4, '\xA5');
    bytes.close();
    damaged = open(file, model);
  }

  Ref<NSManagedObjectContext> open(const std::string& file,
                                   const Ref<NSManagedObjectModel>& model) {
    auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
    Ref<NSError> failure;
    coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
        NSSQLiteStoreType, nullptr, NSURL::fileURLWithPath(file), nullptr, &failure);
    EXPECT_FALSE(failure) << failure->description()->utf8();
    auto opened = NSManagedObjectContext::init();
    opened->setPersistentStoreCoordinator(coordinator);
    return opened;
  }

  TemporaryDirectory directory;
  Ref<NSManagedObjectContext> damaged;
};

TEST_F(FetchFromADamagedFile, GivesNothingAndTheErrorOfTheStore) {
  EXPECT_FALSE(Person::objectsMatchingPredicateContextError(nullptr, damaged, &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(Value(error->domain()), NSCocoaErrorDomain);
  error = nullptr;
  EXPECT_FALSE(Person::firstObjectInContextErrorMatching(damaged, &error, "string == 'Ann'"));
  EXPECT_TRUE(error);
  error = nullptr;
  EXPECT_TRUE(
      Person::valueForAttributeNameWithFunctionContextError("integer64", "max:", damaged, &error)
          .isNull());
  EXPECT_TRUE(error);
}

TEST_F(FetchFromADamagedFile, NeedsNoErrorToBeAskedForAndLogsNothing) {
  log.clear();
  EXPECT_FALSE(Person::objectsMatchingPredicateContextError(nullptr, damaged, nullptr));
  EXPECT_TRUE(
      Person::valueForAttributeNameWithFunctionContextError("integer64", "max:", damaged, nullptr)
          .isNull());
  EXPECT_TRUE(log.empty());
}

// ---- The aggregate

TEST_F(PLVManagedObjectTest, AnAggregateIsOverAllObjectsOfTheEntity) {
  insertPeople();
  EXPECT_EQ(aggregate("integer64", "max:"), Value(50));
  EXPECT_EQ(aggregate("integer64", "min:"), Value(30));
  EXPECT_EQ(aggregate("integer64", "sum:"), Value(120));
  EXPECT_EQ(aggregate("string", "max:"), "Dan");
  EXPECT_EQ(aggregate("string", "min:"), "Ann");
  EXPECT_FALSE(error);
  EXPECT_TRUE(log.empty());
}

TEST_F(PLVManagedObjectTest, AnAggregateOfDatesIsADate) {
  for (const double seconds : {5.0, 9.0, 7.0}) {
    MappingTest::insertPerson()->setValueForKey(NSDate::dateWithTimeIntervalSince1970(seconds),
                                                "date");
  }
  ASSERT_TRUE(context()->save());
  EXPECT_EQ(aggregate("date", "max:"), NSDate::dateWithTimeIntervalSince1970(9));
}

TEST_F(PLVManagedObjectTest, AnAggregateHasTheTypeOfItsAttribute) {
  insertPeople();
  EXPECT_EQ(aggregate("integer64", "sum:").kind(), Value::Kind::Integer);
}

TEST_F(PLVManagedObjectTest, AnAggregateOfNothingIsNothing) {
  EXPECT_TRUE(aggregate("integer64", "max:").isNull());
  insertPerson("Ann", nullptr);
  ASSERT_TRUE(context()->save());
  EXPECT_TRUE(aggregate("integer64", "max:").isNull());
  EXPECT_FALSE(error);
  EXPECT_TRUE(log.empty());
}

TEST_F(PLVManagedObjectTest, AnAggregateNeedsAnAttributeName) {
  const std::string message = "unable to fetch value for an empty/nil attribute name";
  expectAggregateRefused("", "max:", message);
  expectAggregateRefused(nullptr, "max:", message);
}

TEST_F(PLVManagedObjectTest, AnAggregateNeedsAFunctionName) {
  const std::string message = "unable to fetch value for an empty/nil expression function";
  expectAggregateRefused("integer64", "", message);
  expectAggregateRefused("integer64", nullptr, message);
}

TEST_F(PLVManagedObjectTest, OfTwoEmptyNamesOnlyTheAttributeNameIsLogged) {
  const std::string message = "unable to fetch value for an empty/nil attribute name";
  expectAggregateRefused("", "", message);
  expectAggregateRefused(nullptr, nullptr, message);
}

TEST_F(PLVManagedObjectTest, AnEmptyFunctionIsNoticedBeforeAnUnknownAttribute) {
  expectAggregateRefused("missing", "",
                         "unable to fetch value for an empty/nil expression function");
}

TEST_F(PLVManagedObjectTest, AnAggregateOfAnUnknownAttributeIsRefused) {
  expectAggregateRefused("missing",
                         "max:", "unable to locate attribute with name missing in entity Person");
  expectAggregateRefused("String",
                         "max:", "unable to locate attribute with name String in entity Person");
  expectAggregateRefused("%@ %s",
                         "max:", "unable to locate attribute with name %@ %s in entity Person");
}

TEST_F(PLVManagedObjectTest, RefusalsLeaveTheErrorAlone) {
  const auto before = NSError::errorWithDomainCodeUserInfo("Before", 1, nullptr);
  error = before;
  aggregate("", "max:");
  aggregate("integer64", "");
  aggregate("missing", "max:");
  EXPECT_EQ(error.get(), before.get());
  EXPECT_EQ(log.size(), 3u);
}

TEST_F(PLVManagedObjectTest, TheLineNamesTheReceivingClass) {
  Employee::valueForAttributeNameWithFunctionContextError("", "max:", context(), nullptr);
  EXPECT_EQ(log,
            std::vector{aggregateLine(Employee::classObject,
                                      "unable to fetch value for an empty/nil attribute name")});
}

TEST_F(PLVManagedObjectTest, AnAggregateWithoutAnEntityIsRefused) {
  Stranger::valueForAttributeNameWithFunctionContextError("age", "max:", context(), nullptr);
  Person::valueForAttributeNameWithFunctionContextError("age", "max:", nullptr, nullptr);
  const std::string message = "unable to locate attribute with name age in entity (null)";
  EXPECT_EQ(log, (std::vector{aggregateLine(Stranger::classObject, message),
                              aggregateLine(Person::classObject, message)}));
}

TEST_F(PLVManagedObjectTest, AnAggregateByAFunctionThatNobodyKnowsRaises) {
  EXPECT_EQ(raisedBy([&] { aggregate("integer64", "nonsense:"); }),
            "NSInvalidArgumentException: Unknown function name: nonsense:");
}

}  // namespace
}  // namespace JNFoundation
