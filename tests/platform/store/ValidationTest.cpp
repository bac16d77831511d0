#include <limits>
#include <set>
#include <thread>

#include "../value/Raising.h"
#include "StoreFixture.h"

#include <JNFoundation/platform/store/ValidationOperation.h>
#include <JNFoundation/platform/store/impl/AttributeRules.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {

/// A class with checks of its own, one of which changes the value.
class ValidationTestCountry : public Subclass<ValidationTestCountry, NSManagedObject> {
 public:
  bool validateCode(Value& value, Ref<NSError>* error) {
    ++codeChecks;
    if (value.isNull()) return true;
    if (value == Value("quiet")) return false;
    if (value == Value("loud")) {
      if (error) *error = NSError::errorWithDomainCodeUserInfo("Countries", 7, nullptr);
      return false;
    }
    value = as<NSString>(value)->uppercaseString();
    return true;
  }
  /// Doubles, past what the model allows as well.
  bool validateSize(Value& value, Ref<NSError>*) const {
    if (!value.isNull()) value = value.longLongValue() * 2;
    return true;
  }
  bool validateValueForKeyError(Value& value, const Ref<NSString>& key,
                                Ref<NSError>* error) override {
    if (key->utf8() == "unchecked") return true;
    return NSManagedObject::validateValueForKeyError(value, key, error);
  }

  int codeChecks = 0;
};
class ValidationTestIsland : public Subclass<ValidationTestIsland, ValidationTestCountry> {};

namespace {

const ClassDeclaration<ValidationTestCountry> country =
    ClassDeclaration<ValidationTestCountry>()
        .factory()
        .operation("validateCode:error:", validation<&ValidationTestCountry::validateCode>)
        .operation("validateSize:error:", validation<&ValidationTestCountry::validateSize>);
const ClassDeclaration<ValidationTestIsland> island =
    ClassDeclaration<ValidationTestIsland>().factory();

Ref<NSAttributeDescription> bounded(const char* name, NSAttributeType type, const Value& least,
                                    const Value& most) {
  auto attribute = attributeNamed(name, type);
  attribute->setMinimumValue(least);
  attribute->setMaximumValue(most);
  return attribute;
}

Ref<NSAttributeDescription> matching(const char* name, const char* pattern) {
  auto attribute = attributeNamed(name, NSStringAttributeType);
  attribute->setRegularExpression(pattern);
  return attribute;
}

Value decimal(const char* text) { return NSDecimalNumber::decimalNumberWithString(text); }
Value day(double number) {
  return NSDate::dateWithTimeIntervalSinceReferenceDate(number * 24 * 60 * 60);
}

Ref<NSManagedObjectModel> rulesModel() {
  auto transient = bounded("transient", NSInteger16AttributeType, 1, 5);
  transient->setTransient(true);
  auto sample = entityNamed(
      "Sample", {bounded("short", NSInteger16AttributeType, 1, 5),
                 bounded("long", NSInteger64AttributeType, -5, nullptr),
                 bounded("double", NSDoubleAttributeType, 0.5, 1.5),
                 bounded("float", NSFloatAttributeType, 0.1, 0.3),
                 bounded("decimal", NSDecimalAttributeType, decimal("0.10"), decimal("0.30")),
                 bounded("date", NSDateAttributeType, day(1), day(3)),
                 bounded("seconds", NSDateAttributeType, 86400, nullptr),
                 bounded("text", NSStringAttributeType, 2, 4),
                 bounded("data", NSBinaryDataAttributeType, 1, 3), matching("word", "[a-z]+"),
                 matching("hostile", "(a+)+b"), transient});
  auto note = entityNamed("Note", {attributeNamed("text", NSStringAttributeType, false),
                                   bounded("stars", NSInteger16AttributeType, 0, 5)});
  const auto countryNamed = [](const char* name, const char* className) {
    auto entity = entityNamed(name, {bounded("code", NSStringAttributeType, 2, 9),
                                     bounded("size", NSInteger16AttributeType, 1, 100),
                                     attributeNamed("unchecked", NSDoubleAttributeType)});
    entity->setManagedObjectClassName(className);
    return entity;
  };
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObjects(sample, note,
                                               countryNamed("Country", "ValidationTestCountry"),
                                               countryNamed("Island", "ValidationTestIsland")));
  return model;
}

class ValidationTest : public EveryStoreTest {
 protected:
  void SetUp() override { open(GetParam(), rulesModel()); }

  /// The error with which the save fails; null if it succeeds.
  Ref<NSError> saveError() const {
    Ref<NSError> error;
    const bool saved = context->save(&error);
    EXPECT_EQ(saved, !error) << text(error);
    return error;
  }

  /// The code with which the save of the value fails, 0 if it does not. The object is gone after.
  NSInteger code(const char* entity, const char* key, const Value& value) {
    auto object = insert(entity, {{key, value}});
    const Ref<NSError> error = saveError();
    context->deleteObject(object);
    save();
    if (!error) return 0;
    EXPECT_EQ(error->domain()->toStdString(), NSCocoaErrorDomain);
    const Ref<NSDictionary>& details = error->userInfo();
    EXPECT_EQ(details->objectForKey(NSValidationKeyErrorKey), Value(key));
    EXPECT_EQ(details->objectForKey(NSValidationValueErrorKey), value);
    EXPECT_EQ(details->objectForKey(NSValidationObjectErrorKey), Value(object));
    const std::string sentence = error->localizedDescription()->toStdString();
    EXPECT_NE(sentence.find("'" + std::string(key) + "'"), std::string::npos) << sentence;
    EXPECT_NE(sentence.find("'" + std::string(entity) + "'"), std::string::npos) << sentence;
    const Value predicate = details->objectForKey(NSValidationPredicateErrorKey);
    if (!predicate.isNull()) {
      EXPECT_FALSE(as<NSPredicate>(predicate)->evaluateWithObject(value))
          << predicate.description()->toStdString();
    }
    return error->code();
  }
  NSInteger code(const char* key, const Value& value) { return code("Sample", key, value); }

  Ref<ValidationTestCountry> newCountry(const Value& countryCode, const char* entity = "Country") {
    auto made = insert(entity, {{"code", countryCode}});
    return Ref<ValidationTestCountry>(static_cast<ValidationTestCountry*>(made.get()));
  }

  static std::string codes(const Ref<NSError>& error) {
    std::string joined;
    const Value details = error->userInfo()->objectForKey(NSDetailedErrorsKey);
    if (details.isNull()) return joined;
    for (const Value& detail : *as<NSArray>(details)) {
      joined += std::to_string(as<NSError>(detail)->code()) + " ";
    }
    return joined;
  }
};
FOR_EVERY_STORE(ValidationTest);

TEST_P(ValidationTest, NumbersAndDatesStayWithinTheirBounds) {
  struct Case {
    const char* key;
    Value below, least, most, above;
  };
  for (const Case& test : {Case{"short", 0, 1, 5, 6}, Case{"double", 0.49, 0.5, 1.5, 1.51},
                           Case{"float", 0.09, 0.1, 0.3, 0.31},
                           Case{"decimal", decimal("0.0999"), decimal("0.1"), decimal("0.3"),
                                decimal("0.30000000000000000001")}}) {
    EXPECT_EQ(code(test.key, test.below), NSValidationNumberTooSmallError) << test.key;
    EXPECT_EQ(code(test.key, test.least), 0) << test.key;
    EXPECT_EQ(code(test.key, test.most), 0) << test.key;
    EXPECT_EQ(code(test.key, test.above), NSValidationNumberTooLargeError) << test.key;
  }
  EXPECT_EQ(code("date", day(0.9)), 1640);
  EXPECT_EQ(code("date", day(1)), 0);
  EXPECT_EQ(code("date", day(3)), 0);
  EXPECT_EQ(code("date", day(3.1)), 1630);
  EXPECT_EQ(code("seconds", day(0.9)), 1640) << "a number is seconds since 2001";
  EXPECT_EQ(code("seconds", day(1)), 0);
}

TEST_P(ValidationTest, TheCodesAreThoseOfThePlatform) {
  EXPECT_EQ(code("short", 0), 1620);
  EXPECT_EQ(code("short", 6), 1610);
  EXPECT_EQ(code("long", -6), 1620);
  EXPECT_EQ(code("long", std::numeric_limits<std::int64_t>::max()), 0) << "no upper bound";
  EXPECT_EQ(code("long", std::numeric_limits<std::uint64_t>::max()), 1610) << "but a type";
  EXPECT_EQ(code("text", "a"), 1670);
  EXPECT_EQ(code("text", "abcde"), 1660);
  EXPECT_EQ(code("word", "A"), 1680);
  auto note = insert("Note");
  EXPECT_EQ(saveError()->code(), 1570);
}

TEST_P(ValidationTest, NotANumberIsNoNumber) {
  const double none = std::numeric_limits<double>::quiet_NaN();
  for (const char* key : {"short", "double", "float"}) EXPECT_EQ(code(key, none), 1550) << key;
}

TEST_P(ValidationTest, ANumberIsHeldAgainstItsBoundsAsItWillBeStored) {
  EXPECT_EQ(code("short", 5.9), 0) << "stored as 5";
  EXPECT_EQ(code("short", 0.9), 1620) << "stored as 0";
  auto sample = insert("Sample", {{"float", 0.3}});
  save();
  // What came back from the store is the nearest float, a little above 0.3.
  sample->setValueForKey(2, "short");
  save();
}

TEST_P(ValidationTest, LengthsCountCodePointsOfTextsAndBytesOfData) {
  EXPECT_EQ(code("text", "äöüß"), 0);
  EXPECT_EQ(code("text", "\U0001F600\U0001F600\U0001F600\U0001F600"), 0);
  EXPECT_EQ(code("text", "\U0001F600"), 1670);
  EXPECT_EQ(code("text", ""), 1670);
  EXPECT_EQ(code("data", NSData::data()), 1670);
  EXPECT_EQ(code("data", NSData::dataWithText("abc")), 0);
  EXPECT_EQ(code("data", NSData::dataWithText("ä__")), 1660);
}

TEST_P(ValidationTest, AWholeTextMatchesThePattern) {
  EXPECT_EQ(code("word", "abc"), 0);
  for (const char* value : {"", "abc1", "1abc", "abc\n", "ab cd"}) {
    EXPECT_EQ(code("word", value), 1680) << value;
  }
}

TEST_P(ValidationTest, AHostilePatternEndsInARefusal) {
  EXPECT_EQ(code("hostile", "aab"), 0);
  auto sample = insert("Sample", {{"hostile", NSString::fromText(std::string(40, 'a') + "cb")}});
  const Ref<NSError> error = saveError();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), 1680);
  EXPECT_NE(text(error).find("takes too long to be matched"), std::string::npos) << text(error);
}

TEST(AttributeRules, WhatTheModelSaysWronglyIsToldOfTheValue) {
  // No coordinator takes a model with such an attribute.
  const auto malformed = impl::ruleBrokenBy("a", *matching("malformed", "[a-z"));
  ASSERT_TRUE(malformed);
  EXPECT_EQ(malformed->code, 1550);
  EXPECT_NE(malformed->problem.find("\"[a-z\" is malformed, missing"), std::string::npos)
      << malformed->problem;
  const auto senseless =
      impl::ruleBrokenBy(3, *bounded("senseless", NSInteger16AttributeType, "one", nullptr));
  ASSERT_TRUE(senseless);
  EXPECT_EQ(senseless->code, 1550);
}

TEST_P(ValidationTest, NullBreaksNoRuleButThatOfAMissingValue) {
  insert("Sample");
  EXPECT_FALSE(saveError());
}

TEST_P(ValidationTest, TransientValuesAreHeldAgainstTheirBoundsToo) {
  EXPECT_EQ(code("transient", 6), 1610);
  EXPECT_EQ(code("transient", 5), 0);
}

TEST_P(ValidationTest, SeveralFailuresAreOneListOverAllObjects) {
  auto first = insert("Sample", {{"short", 6}, {"text", "a"}});
  insert("Note", {{"stars", -1}});
  Ref<NSError> error = saveError();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), 1560);
  EXPECT_EQ(codes(error), "1610 1670 1570 1620 ");
  EXPECT_EQ(fetch(request("Sample"))->count(), 1u) << "still pending";
  EXPECT_EQ(newContext()->countForFetchRequestError(request("Sample"), nullptr), 0u);

  EXPECT_FALSE(first->validateForInsert(&error));
  EXPECT_EQ(codes(error), "1610 1670 ");
  EXPECT_FALSE(context->save(nullptr));
}

TEST_P(ValidationTest, UpdatedObjectsAreCheckedAsInsertedOnes) {
  auto sample = insert("Sample", {{"short", 3}});
  save();
  sample->setValueForKey(6, "short");
  EXPECT_EQ(saveError()->code(), 1610);
  EXPECT_EQ(newContext()->existingObjectWithIDError(sample->objectID())->valueForKey("short"),
            Value(3));
  sample->setValueForKey(5, "short");
  EXPECT_FALSE(saveError());
}

TEST_P(ValidationTest, WhatAClassesOwnCheckPutsInThePlaceIsStored) {
  for (const char* entity : {"Country", "Island"}) {
    auto made = newCountry("at", entity);
    save();
    EXPECT_EQ(made->valueForKey("code"), Value("AT"));
    EXPECT_EQ(newContext()->existingObjectWithIDError(made->objectID())->valueForKey("code"),
              Value("AT"))
        << entity;
    EXPECT_FALSE(made->hasChanges());
    made->setValueForKey("be", "code");
    save();
    EXPECT_EQ(newContext()->existingObjectWithIDError(made->objectID())->valueForKey("code"),
              Value("BE"))
        << entity;
  }
}

TEST_P(ValidationTest, AClassesOwnCheckRefusesWithItsErrorOrWithout) {
  newCountry("loud");
  Ref<NSError> error = saveError();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain()->toStdString(), "Countries");
  EXPECT_EQ(error->code(), 7);
  context = newContext();
  auto quiet = newCountry("quiet");
  error = saveError();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), 1550);
  EXPECT_EQ(error->userInfo()->objectForKey(NSValidationKeyErrorKey), Value("code"));
  EXPECT_FALSE(quiet->validateForInsert(nullptr));
}

TEST_P(ValidationTest, AClassesOwnCheckComesAfterTheModels) {
  auto made = newCountry("a");
  EXPECT_EQ(saveError()->code(), 1670);
  EXPECT_EQ(made->codeChecks, 0);
  made->setValueForKey("ab", "code");
  save();
  EXPECT_EQ(made->codeChecks, 1);
}

TEST_P(ValidationTest, WhatACheckPutsInThePlaceMustBeAllowedItself) {
  auto made = newCountry("at");
  made->setValueForKey(40, "size");
  save();
  EXPECT_EQ(made->valueForKey("size"), Value(80));
  // A later save asks again, and 160 is too much.
  made->setValueForKey("be", "code");
  Ref<NSError> error = saveError();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), 1610);
  EXPECT_EQ(error->userInfo()->objectForKey(NSValidationValueErrorKey), Value(160));
  EXPECT_EQ(made->valueForKey("size"), Value(80));
}

TEST_P(ValidationTest, NoCheckLetsThroughWhatAStoreCannotHold) {
  auto made = newCountry("at");
  made->setValueForKey(std::numeric_limits<double>::quiet_NaN(), "unchecked");
  EXPECT_EQ(saveError()->code(), 1550);
  made->setValueForKey(1.5, "unchecked");
  save();
}

TEST_P(ValidationTest, WithoutAnErrorTheFirstFailureEndsTheCheck) {
  auto made = newCountry("loud");
  made->setValueForKey(1000, "size");
  Ref<NSError> error;
  EXPECT_FALSE(made->validateForInsert(&error));
  EXPECT_EQ(codes(error), "7 1610 ");
  EXPECT_EQ(made->codeChecks, 1);
  made->setValueForKey("x", "code");
  EXPECT_FALSE(made->validateForInsert(nullptr));
  EXPECT_EQ(made->codeChecks, 1) << "the model had refused it";
}

TEST_P(ValidationTest, AnyValueCanBeAskedAboutBeforeItIsSet) {
  auto made = newCountry("at");
  Value value = "de";
  Ref<NSError> error;
  EXPECT_TRUE(made->validateValueForKeyError(value, "code", &error));
  EXPECT_EQ(value, Value("DE"));
  EXPECT_EQ(made->valueForKey("code"), Value("at"));
  value = 5;
  EXPECT_FALSE(made->validateValueForKeyError(value, "code", &error));
  EXPECT_EQ(error->code(), 1550);
  EXPECT_NE(text(error).find("is no NSString"), std::string::npos) << text(error);
  value = 5;
  EXPECT_TRUE(made->validateValueForKeyError(value, "nobodysKey", nullptr));
  value = "x";
  EXPECT_FALSE(made->validateValueForKeyError(value, "code", nullptr));
}

class ModelFileValidationTest : public ValidationTest {
 protected:
  void SetUp() override {
    const char* xml =
        "<model><entity name='E'>"
        "<attribute name='t' optional='YES' attributeType='String' minValueString='2'"
        " maxValueString='3' regularExpressionString='a*'/>"
        "<attribute name='d' optional='YES' attributeType='Date' minDateTimeInterval='86400'"
        " maxDateTimeInterval='259200'/>"
        "<attribute name='n' optional='YES' attributeType='Float' maxValueString='0.3'/>"
        "</entity></model>";
    Ref<NSError> error;
    auto read = NSManagedObjectModel::modelWithXMLError(xml, &error);
    ASSERT_TRUE(read) << text(error);
    open(GetParam(), read);
  }
};
FOR_EVERY_STORE(ModelFileValidationTest);

TEST_P(ModelFileValidationTest, BoundsAreLengthsAndSecondsSince2001) {
  EXPECT_EQ(code("E", "t", "a"), 1670);
  EXPECT_EQ(code("E", "t", "aa"), 0);
  EXPECT_EQ(code("E", "t", "ab"), 1680);
  EXPECT_EQ(code("E", "t", "aaaa"), 1660);
  EXPECT_EQ(code("E", "d", day(0.5)), 1640);
  EXPECT_EQ(code("E", "d", day(1)), 0);
  EXPECT_EQ(code("E", "d", day(3.5)), 1630);
  EXPECT_EQ(code("E", "n", 0.3), 0);
  EXPECT_EQ(code("E", "n", 0.31), 1610);
}

TEST(ValidationPattern, IsCompiledOnceWhoeverAsks) {
  auto attribute = matching("word", "[a-z]+");
  std::vector<const impl::CompiledPattern*> seen(8);
  std::vector<std::thread> threads;
  for (auto& place : seen) {
    threads.emplace_back([&] { place = attribute->compiledPattern(); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_NE(seen.front(), nullptr);
  EXPECT_EQ(std::set(seen.begin(), seen.end()).size(), 1u);
  attribute->setRegularExpression(nullptr);
  EXPECT_EQ(attribute->compiledPattern(), nullptr);
}

}  // namespace
}  // namespace JNFoundation
