#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "EqualsNull.h"
#include "MappingFixture.h"

#include <JNFoundation/mapping/PLVScalarDataMap.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSSet.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation {
namespace {

class PLVScalarDataMapTest : public MappingTest {
 protected:
  Ref<PLVScalarDataMap> mapTo(const char* destination) {
    return PLVScalarDataMap::newMapWithDestinationForEntity(destination, entity());
  }

  /// Building the map fails with exactly one line, which ends with the message.
  void expectRefused(const char* destination, const std::string& message) {
    log.clear();
    EXPECT_FALSE(mapTo(destination)) << destination;
    const std::string expected =
        NSString::stringWithFormat("+[PLVScalarDataMap newMapWithDestination:forEntity:](%p) %s",
                                   &PLVScalarDataMap::classObject, message)
            ->toStdString();
    ASSERT_EQ(log.size(), 1u) << destination;
    EXPECT_EQ(log[0], expected);
  }

  /// What the attribute holds after the value was mapped onto a new object.
  Value mapped(const char* attribute, const Value& value) {
    auto person = insertPerson();
    mapTo(attribute)->mapValueToObject(value, person);
    return person->valueForKey(attribute);
  }

  /// The value is refused: the attribute keeps what it had, one line says why.
  void expectUnparsable(const char* attribute, const Value& before, const Value& value,
                        const std::string& message) {
    expectUnparsable(attribute, attribute, before, value, message);
  }
  void expectUnparsable(const char* destination, const char* attribute, const Value& before,
                        const Value& value, const std::string& message) {
    auto person = insertPerson();
    person->setValueForKey(before, attribute);
    const auto map = mapTo(destination);
    log.clear();
    map->mapValueToObject(value, person);
    EXPECT_EQ(person->valueForKey(attribute), before) << attribute;
    ASSERT_EQ(log.size(), 1u) << attribute << " " << value.description()->utf8();
    EXPECT_EQ(log[0],
              NSString::stringWithFormat("-[PLVScalarDataMap mapValue:toObject:filter:](%p) %s",
                                         static_cast<const void*>(map.get()), message)
                  ->toStdString());
  }
};

TEST_F(PLVScalarDataMapTest, ADestinationWithoutPrefixIsAnAttribute) {
  auto map = mapTo("string");
  ASSERT_TRUE(map);
  EXPECT_FALSE(map->filterName());
  EXPECT_TRUE(log.empty());
}

TEST_F(PLVScalarDataMapTest, AFilterEndsAtTheFirstBar) {
  EXPECT_EQ(Value(mapTo("trim|string")->filterName()), "trim");
  expectRefused("a|b|c", "Undefined attribute 'b|c' for entity 'Person'");
}

TEST_F(PLVScalarDataMapTest, AnEmptyFilterNameIsNoFilter) {
  auto map = mapTo("|string");
  ASSERT_TRUE(map);
  EXPECT_FALSE(map->filterName());
}

TEST_F(PLVScalarDataMapTest, AFilterWithoutAnAttributeIsUndefined) {
  expectRefused("f|", "Undefined attribute '' for entity 'Person'");
}

TEST_F(PLVScalarDataMapTest, AColonAloneIsAnAttributeName) {
  expectRefused(":", "Undefined attribute ':' for entity 'Person'");
}

TEST_F(PLVScalarDataMapTest, AnUnknownAttributeIsRefused) {
  expectRefused("missing", "Undefined attribute 'missing' for entity 'Person'");
  expectRefused("String", "Undefined attribute 'String' for entity 'Person'");
}

TEST_F(PLVScalarDataMapTest, AttributesOfOtherTypesAreRefused) {
  addAttribute("decimal", NSDecimalAttributeType);
  addAttribute("binary", NSBinaryDataAttributeType);
  addAttribute("transformable", NSTransformableAttributeType);
  addAttribute("identifier", NSUUIDAttributeType);
  expectRefused("decimal", "Unknown type 400 for Person.decimal");
  expectRefused("binary", "Unknown type 1000 for Person.binary");
  expectRefused("transformable", "Unknown type 1800 for Person.transformable");
  expectRefused("identifier", "Unknown type 1100 for Person.identifier");
}

TEST_F(PLVScalarDataMapTest, ASelectorThatTheClassLacksIsRefused) {
  expectRefused("missing:", "Class for entity Person does not implement selector missing:");
}

TEST_F(PLVScalarDataMapTest, ASelectorOfAClassThatIsNotLinkedIsRefused) {
  entity()->setManagedObjectClassName("NobodyLinkedThis");
  expectRefused("applyPayload:",
                "Class for entity Person does not implement selector applyPayload:");
}

TEST_F(PLVScalarDataMapTest, ASelectorOfTwoArgumentsIsRefused) {
  expectRefused("setA:b:",
                "Method for entity Person with selector setA:b: does not take a single argument");
}

TEST_F(PLVScalarDataMapTest, ASelectorThatTakesANumberIsRefused) {
  expectRefused(
      "applyCount:",
      "Method for entity Person with selector applyCount: does not take a single argument "
      "of type 'id'");
}

TEST_F(PLVScalarDataMapTest, ASelectorThatReturnsABooleanIsRefused) {
  expectRefused("applyAndJudge:",
                "Method for entity Person with selector applyAndJudge: does not return either void "
                "or id");
}

TEST_F(PLVScalarDataMapTest, ASelectorMapSendsTheValueAsItIs) {
  auto person = insertPerson();
  const Value record(NSDictionary::dictionaryWithEntries({{"a", 1}}));
  mapTo("applyPayload:")->mapValueToObject(record, person);
  mapTo("applyAndAnswer:")->mapValueToObject("x", person);
  ASSERT_EQ(person->received.size(), 2u);
  EXPECT_TRUE(person->received[0].isIdentical(record));
  EXPECT_EQ(person->received[1], "x");
}

TEST_F(PLVScalarDataMapTest, ASelectorMapSendsNullForTheNullMarkerAndForNull) {
  auto person = insertPerson();
  mapTo("applyPayload:")->mapValueToObject(NSNull::null(), person);
  mapTo("applyPayload:")->mapValueToObject(nullptr, person);
  ASSERT_EQ(person->received.size(), 2u);
  EXPECT_TRUE(person->received[0].isNull());
  EXPECT_TRUE(person->received[1].isNull());
}

TEST_F(PLVScalarDataMapTest, NumbersAreStoredInNumberAttributesAsTheyAre) {
  for (const char* attribute :
       {"integer16", "integer32", "integer64", "double", "float", "boolean"}) {
    EXPECT_EQ(mapped(attribute, 7), Value(7)) << attribute;
    EXPECT_EQ(mapped(attribute, true), Value(true)) << attribute;
  }
  EXPECT_EQ(mapped("double", 2.9), Value(2.9));
  EXPECT_EQ(mapped("double", NSDecimalNumber::decimalNumberWithString("2.5")), Value(2.5));
  EXPECT_TRUE(log.empty());
}

TEST_F(PLVScalarDataMapTest, TextBecomesANumberByItsPrefix) {
  EXPECT_EQ(mapped("integer16", "12abc"), Value(12));
  EXPECT_EQ(mapped("integer32", "-7"), Value(-7));
  EXPECT_EQ(mapped("integer64", "9223372036854775808"), Value(std::int64_t{INT64_MAX}));
  EXPECT_EQ(mapped("integer64", "abc"), Value(0));
  EXPECT_EQ(mapped("integer64", ""), Value(0));
  EXPECT_EQ(mapped("boolean", "yes"), Value(1));
  EXPECT_EQ(mapped("boolean", "TRUE"), Value(1));
  EXPECT_EQ(mapped("boolean", "0"), Value(0));
  EXPECT_EQ(mapped("boolean", "on"), Value(0));
}

TEST_F(PLVScalarDataMapTest, TextInFractionalAttributesLosesItsFraction) {
  EXPECT_EQ(mapped("double", "2.9"), Value(2));
  EXPECT_EQ(mapped("double", "-2.5"), Value(-2));
  EXPECT_EQ(mapped("float", "3.75"), Value(3));
  EXPECT_EQ(mapped("double", "1e3"), Value(1000));
  EXPECT_EQ(mapped("double", "1e300"), Value(std::int64_t{INT64_MAX}));
  EXPECT_EQ(mapped("double", "-1e300"), Value(std::int64_t{INT64_MIN}));
}

TEST_F(PLVScalarDataMapTest, AStringAttributeTakesTextAndTheTextOfNumbers) {
  EXPECT_EQ(mapped("string", "Ann"), "Ann");
  EXPECT_EQ(mapped("string", 42), "42");
  EXPECT_EQ(mapped("string", 9.99), "9.99");
  EXPECT_EQ(mapped("string", 1.0), "1");
  EXPECT_EQ(mapped("string", true), "1");
  EXPECT_EQ(mapped("string", ""), "");
}

TEST_F(PLVScalarDataMapTest, ADateAttributeTakesMillisecondsTextAndDates) {
  EXPECT_EQ(mapped("date", std::int64_t{1456835400000}),
            NSDate::dateWithTimeIntervalSince1970(1456835400));
  EXPECT_EQ(mapped("date", 1.5), NSDate::dateWithTimeIntervalSince1970(0.0015));
  EXPECT_EQ(mapped("date", "2016-03-01T12:30:00.250Z"),
            NSDate::dateWithTimeIntervalSince1970(1456835400.25));
  const Value date = NSDate::dateWithTimeIntervalSince1970(5);
  EXPECT_EQ(mapped("date", date), date);
}

TEST_F(PLVScalarDataMapTest, TextThatIsNoDateClearsTheAttribute) {
  auto person = insertPerson();
  person->setValueForKey(NSDate::dateWithTimeIntervalSince1970(5), "date");
  mapTo("date")->mapValueToObject("2016-03-01T12:30:00Z", person);
  EXPECT_TRUE(person->valueForKey("date").isNull());
  EXPECT_TRUE(log.empty());
}

TEST_F(PLVScalarDataMapTest, OtherKindsAreRefusedAndLeaveTheAttribute) {
  const Value array(NSArray::arrayWithObjects(1, 2));
  const Value record(NSDictionary::dictionaryWithEntries({{"a", 1}}));
  const Value date = NSDate::dateWithTimeIntervalSince1970(5);
  for (const char* attribute :
       {"integer16", "integer32", "integer64", "double", "float", "boolean"}) {
    const std::string end = std::string(" when mapping number to Person.") + attribute;
    expectUnparsable(attribute, 3, array, "unparsable value class __NSArrayI" + end);
    expectUnparsable(attribute, 3, record, "unparsable value class __NSDictionaryI" + end);
    expectUnparsable(attribute, 3, date, "unparsable value class __NSDate" + end);
  }
  expectUnparsable("string", "old", array,
                   "unparsable value class __NSArrayI when mapping string to Person.string");
  expectUnparsable("string", "old", date,
                   "unparsable value class __NSDate when mapping string to Person.string");
  expectUnparsable("date", date, array,
                   "unparsable value class __NSArrayI when mapping date to Person.date");
  expectUnparsable("date", date, record,
                   "unparsable value class __NSDictionaryI when mapping date to Person.date");
}

TEST_F(PLVScalarDataMapTest, NullAndTheNullMarkerClearTheAttribute) {
  for (const Value& nothing : {Value(), Value(NSNull::null())}) {
    auto person = insertPerson();
    person->setValueForKey("old", "string");
    mapTo("string")->mapValueToObject(nothing, person);
    EXPECT_TRUE(person->valueForKey("string").isNull());
  }
  EXPECT_TRUE(log.empty());
}

TEST_F(PLVScalarDataMapTest, AFilterOfTheContextIsApplied) {
  attachFilter();
  auto person = insertPerson();
  mapTo("trim|string")->mapValueToObject("  Ann ", person);
  EXPECT_EQ(person->valueForKey("string"), "Ann");
}

TEST_F(PLVScalarDataMapTest, AFilterThatTheContextLacksClearsTheAttribute) {
  auto person = insertPerson();
  person->setValueForKey("old", "string");
  mapTo("trim|string")->mapValueToObject("new", person);
  EXPECT_TRUE(person->valueForKey("string").isNull());
}

TEST_F(PLVScalarDataMapTest, AnActionThatTheFilterLacksClearsTheAttribute) {
  attachFilter();
  auto person = insertPerson();
  person->setValueForKey("old", "string");
  mapTo("unknown|string")->mapValueToObject("new", person);
  EXPECT_TRUE(person->valueForKey("string").isNull());
}

TEST_F(PLVScalarDataMapTest, AFilterGetsNullForTheNullMarkerAndItsResultIsStored) {
  auto filter = attachFilter();
  auto person = insertPerson();
  mapTo("something|string")->mapValueToObject(NSNull::null(), person);
  EXPECT_EQ(person->valueForKey("string"), "something");
  mapTo("nothing|string")->mapValueToObject("x", person);
  EXPECT_TRUE(person->valueForKey("string").isNull());
  mapTo("trim|string")->mapValueToObject(NSNull::null(), person);
  ASSERT_EQ(filter->received.size(), 1u);
  EXPECT_TRUE(filter->received[0].isNull());
}

TEST_F(PLVScalarDataMapTest, AFilterGoesBeforeASelector) {
  attachFilter();
  auto person = insertPerson();
  mapTo("shout|applyPayload:")->mapValueToObject("ann", person);
  ASSERT_EQ(person->received.size(), 1u);
  EXPECT_EQ(person->received[0], "ANN");
}

TEST_F(PLVScalarDataMapTest, TheResultOfAFilterIsConvertedLikeAnyValue) {
  attachFilter();
  auto person = insertPerson();
  mapTo("trim|integer32")->mapValueToObject(" 42 ", person);
  EXPECT_EQ(person->valueForKey("integer32"), Value(42));
}

TEST_F(PLVScalarDataMapTest, AnExplicitFilterReplacesTheContextsOwn) {
  attachFilter();
  auto person = insertPerson();
  mapTo("trim|string")->mapValueToObjectFilter(" x ", person, nullptr);
  EXPECT_TRUE(person->valueForKey("string").isNull());
}

TEST_F(PLVScalarDataMapTest, AMapMadeOfARefusedTypeRefusesEveryValue) {
  const auto map = PLVScalarDataMap::initWithEntityNameFilterAttributeNameAttributeType(
      "Person", nullptr, "string", NSDecimalAttributeType);
  auto person = insertPerson();
  person->setValueForKey("old", "string");
  map->mapValueToObject("new", person);
  EXPECT_EQ(person->valueForKey("string"), "old");
  EXPECT_EQ(log, std::vector{NSString::stringWithFormat(
                                 "-[PLVScalarDataMap mapValue:toObject:filter:](%p) Unexpected "
                                 "type to map to Person.string",
                                 static_cast<const void*>(map.get()))
                                 ->toStdString()});
  map->mapValueToObject(nullptr, person);
  EXPECT_TRUE(person->valueForKey("string").isNull());
}

TEST_F(PLVScalarDataMapTest, ANumberForTextOfNoNumberTypeIsNullAndLogged) {
  const auto map = mapTo("string");
  EXPECT_TRUE(map->numberForInputString("5").isNull());
  ASSERT_EQ(log.size(), 1u);
  EXPECT_EQ(log[0], NSString::stringWithFormat(
                        "-[PLVScalarDataMap numberForInputString:](%p) Unexpected type to generate "
                        "number from string for Person.string",
                        static_cast<const void*>(map.get()))
                        ->toStdString());
}

TEST_F(PLVScalarDataMapTest, AnObjectWithoutAContextIsMappedWithoutAFilter) {
  auto person = as<Person>(
      Value(NSManagedObject::initWithEntityInsertIntoManagedObjectContext(entity(), nullptr)));
  mapTo("string")->mapValueToObject("x", person);
  EXPECT_EQ(person->valueForKey("string"), "x");
  mapTo("trim|string")->mapValueToObject("x", person);
  EXPECT_TRUE(person->valueForKey("string").isNull());
}

TEST_F(PLVScalarDataMapTest, NumberAttributesTakeEveryNumberAsItIs) {
  const Value numbers[] = {0,
                           -1,
                           true,
                           false,
                           2.9,
                           -0.5f,
                           std::int64_t{INT64_MAX},
                           std::int64_t{INT64_MIN},
                           std::uint64_t{UINT64_MAX},
                           1e300,
                           std::numeric_limits<double>::infinity(),
                           std::numeric_limits<double>::quiet_NaN(),
                           NSDecimalNumber::decimalNumberWithString("12.25")};
  for (const char* attribute :
       {"integer16", "integer32", "integer64", "double", "float", "boolean"}) {
    for (const Value& number : numbers) {
      EXPECT_TRUE(mapped(attribute, number).isIdentical(number))
          << attribute << " " << number.description()->utf8();
    }
  }
  EXPECT_TRUE(log.empty());
}

TEST_F(PLVScalarDataMapTest, EveryKindThatAnAttributeCannotTakeIsRefusedWithItsClass) {
  const Value date = NSDate::dateWithTimeIntervalSince1970(5);
  const std::pair<Value, const char*> others[] = {
      {NSArray::arrayWithObject(1), "__NSArrayI"},
      {NSMutableArray::array(), "__NSArrayM"},
      {NSDictionary::dictionaryWithObjectForKey(1, "a"), "__NSDictionaryI"},
      {NSMutableDictionary::dictionary(), "__NSDictionaryM"},
      {NSSet::setWithObject(1), "__NSSetI"},
      {NSData::dataWithText("x"), "NSConcreteData"},
      {NSUUID::UUID(), "__NSConcreteUUID"},
      {EqualsNull::init(), "EqualsNull"},
      {Value(NSString::classObject), "NSObject"},
  };
  const auto expect = [&](const char* attribute, const Value& before, const Value& value,
                          const char* className, const char* wanted) {
    expectUnparsable(attribute, before, value,
                     std::string("unparsable value class ") + className + " when mapping " +
                         wanted + " to Person." + attribute);
  };
  const char* const numbers[] = {"integer16", "integer32", "integer64",
                                 "double",    "float",     "boolean"};
  for (const auto& [value, className] : others) {
    for (const char* attribute : numbers) expect(attribute, 1, value, className, "number");
    expect("string", "old", value, className, "string");
    expect("date", date, value, className, "date");
  }
  for (const char* attribute : numbers) expect(attribute, 1, date, "__NSDate", "number");
  expect("string", "old", date, "__NSDate", "string");
}

TEST_F(PLVScalarDataMapTest, WhatOnlyEqualsTheNullMarkerIsRefusedAndDoesNotClear) {
  expectUnparsable("string", "old", EqualsNull::init(),
                   "unparsable value class EqualsNull when mapping string to Person.string");
}

TEST_F(PLVScalarDataMapTest, ANullMarkerThatAFilterGivesIsRefusedAndDoesNotClear) {
  attachFilter()->result = NSNull::null();
  expectUnparsable("answer|string", "string", "old", "new",
                   "unparsable value class NSNull when mapping string to Person.string");
}

TEST_F(PLVScalarDataMapTest, AFilterWithoutAnyMatchingActionIsAskedOnlyForItsOwnName) {
  const auto filter = attachFilter();
  insertPerson();
  const auto person = insertPerson();
  mapTo("Trim|string")->mapValueToObject(" x ", person);
  EXPECT_TRUE(person->valueForKey("string").isNull());
  EXPECT_TRUE(filter->received.empty());
}

TEST_F(PLVScalarDataMapTest, AnAttributeIsSetThroughTheAccessorThatItsClassDeclares) {
  addAttribute("motto", NSStringAttributeType);
  const auto person = insertPerson();
  mapTo("motto")->mapValueToObject(42, person);
  EXPECT_EQ(person->mottos, std::vector<std::string>{"42"});
  EXPECT_EQ(person->valueForKey("motto"), "42");
  mapTo("motto")->mapValueToObject(nullptr, person);
  EXPECT_EQ(person->mottos, (std::vector<std::string>{"42", "(null)"}));
}

TEST_F(PLVScalarDataMapTest, AnInheritedAttributeIsADestination) {
  auto child = NSEntityDescription::init();
  child->setName("Child");
  child->setManagedObjectClassName("Person");
  entity()->setSubentities(NSArray::arrayWithObject(child));
  log.clear();
  EXPECT_TRUE(PLVScalarDataMap::newMapWithDestinationForEntity("string", child));
  EXPECT_TRUE(log.empty());
  EXPECT_FALSE(PLVScalarDataMap::newMapWithDestinationForEntity("missing", child));
  ASSERT_EQ(log.size(), 1u);
  EXPECT_TRUE(log[0].ends_with(" Undefined attribute 'missing' for entity 'Child'")) << log[0];
}

TEST_F(PLVScalarDataMapTest, NoDestinationIsAnUndefinedAttribute) {
  log.clear();
  EXPECT_FALSE(PLVScalarDataMap::newMapWithDestinationForEntity(nullptr, entity()));
  ASSERT_EQ(log.size(), 1u);
  EXPECT_TRUE(log[0].ends_with(" Undefined attribute '(null)' for entity 'Person'")) << log[0];
  expectRefused("", "Undefined attribute '' for entity 'Person'");
  expectRefused("|", "Undefined attribute '' for entity 'Person'");
}

TEST_F(PLVScalarDataMapTest, NoEntityHasNeitherAttributesNorMessages) {
  EXPECT_FALSE(PLVScalarDataMap::newMapWithDestinationForEntity("string", nullptr));
  EXPECT_FALSE(PLVScalarDataMap::newMapWithDestinationForEntity("applyPayload:", nullptr));
  EXPECT_FALSE(PLVScalarDataMap::newMapWithDestinationForEntity(nullptr, nullptr));
  ASSERT_EQ(log.size(), 3u);
  EXPECT_TRUE(log[0].ends_with(" Undefined attribute 'string' for entity '(null)'")) << log[0];
  EXPECT_TRUE(
      log[1].ends_with(" Class for entity (null) does not implement selector applyPayload:"))
      << log[1];
  EXPECT_TRUE(log[2].ends_with(" Undefined attribute '(null)' for entity '(null)'")) << log[2];
}

TEST_F(PLVScalarDataMapTest, NoObjectIsNotMapped) {
  const auto filter = attachFilter();
  mapTo("trim|string")->mapValueToObject("x", nullptr);
  mapTo("trim|applyPayload:")->mapValueToObjectFilter("x", nullptr, filter);
  EXPECT_TRUE(filter->received.empty());
  EXPECT_TRUE(log.empty());
}

TEST_F(PLVScalarDataMapTest, AMapMadeByHandOfNothingRefusesEveryValue) {
  const auto map = PLVScalarDataMap::initWithEntityNameFilterMapType(
      nullptr, nullptr, PLVScalarDataMap::MapType::Attribute);
  const auto person = insertPerson();
  map->mapValueToObject(1, person);
  EXPECT_EQ(log, std::vector{NSString::stringWithFormat(
                                 "-[PLVScalarDataMap mapValue:toObject:filter:](%p) Unexpected "
                                 "type to map to (null).(null)",
                                 static_cast<const void*>(map.get()))
                                 ->toStdString()});
}

TEST_F(PLVScalarDataMapTest, AMapMadeByHandKeepsItsFilterNameUnlessItIsEmpty) {
  const auto nameOf = [](const Ref<NSString>& filter) {
    return Value(PLVScalarDataMap::initWithEntityNameFilterMapType(
                     "Person", filter, PLVScalarDataMap::MapType::Selector)
                     ->filterName());
  };
  EXPECT_EQ(nameOf("trim"), "trim");
  EXPECT_TRUE(nameOf("").isNull());
  EXPECT_TRUE(nameOf(nullptr).isNull());
}

TEST_F(PLVScalarDataMapTest, ADateOfANumberIsTheNumberOfMilliseconds) {
  const auto secondsOf = [&](const Value& number) {
    return mapped("date", number).timeIntervalSince1970();
  };
  EXPECT_EQ(secondsOf(0), 0);
  EXPECT_EQ(secondsOf(-1500), -1.5);
  EXPECT_EQ(secondsOf(true), 0.001);
  EXPECT_EQ(secondsOf(std::uint64_t{UINT64_MAX}), 18446744073709551615.0 / 1000);
  EXPECT_EQ(secondsOf(NSDecimalNumber::decimalNumberWithString("250.5")), 0.2505);
  EXPECT_EQ(secondsOf(1e300), 1e297);
  EXPECT_TRUE(std::isinf(secondsOf(std::numeric_limits<double>::infinity())));
  EXPECT_TRUE(std::isnan(secondsOf(std::numeric_limits<double>::quiet_NaN())));
  EXPECT_TRUE(log.empty());
}

TEST_F(PLVScalarDataMapTest, EmptyTextClearsADateAndStaysInAString) {
  const auto person = insertPerson();
  person->setValueForKey(NSDate::dateWithTimeIntervalSince1970(5), "date");
  mapTo("date")->mapValueToObject("", person);
  EXPECT_TRUE(person->valueForKey("date").isNull());
  EXPECT_EQ(mapped("string", ""), "");
}

}  // namespace
}  // namespace JNFoundation
