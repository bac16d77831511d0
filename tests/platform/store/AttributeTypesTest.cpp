#include <cmath>
#include <limits>

#include "StoreFixture.h"

#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation {
namespace {

/// One entity with an attribute of every type, named after it.
Ref<NSManagedObjectModel> typesModel() {
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObjects(entityNamed(
      "Sample",
      {attributeNamed("integer16", NSInteger16AttributeType),
       attributeNamed("integer32", NSInteger32AttributeType),
       attributeNamed("integer64", NSInteger64AttributeType),
       attributeNamed("decimal", NSDecimalAttributeType),
       attributeNamed("double", NSDoubleAttributeType),
       attributeNamed("float", NSFloatAttributeType),
       attributeNamed("string", NSStringAttributeType),
       attributeNamed("boolean", NSBooleanAttributeType),
       attributeNamed("date", NSDateAttributeType),
       attributeNamed("binary", NSBinaryDataAttributeType),
       attributeNamed("uuid", NSUUIDAttributeType), attributeNamed("uri", NSURIAttributeType),
       attributeNamed("transformable", NSTransformableAttributeType),
       attributeNamed("objectIdentifier", NSObjectIDAttributeType)})));
  return model;
}

class AttributeTypesTest : public EveryStoreTest {
 protected:
  void SetUp() override { open(GetParam(), typesModel()); }

  /// What the store gives back for the value.
  Value stored(const char* key, const Value& value) {
    auto sample = insert("Sample", {{key, value}});
    save();
    const Value kept = sample->valueForKey(key);
    auto again = newContext()->existingObjectWithIDError(sample->objectID());
    EXPECT_TRUE(again);
    const Value read = again->valueForKey(key);
    EXPECT_EQ(kept, read) << "the saved object holds what another context reads: " << key;
    EXPECT_EQ(kept.kind(), read.kind()) << key;
    return read;
  }

  /// The code of the error with which the save of the value fails; 0 if it does not.
  NSInteger refusal(const char* key, const Value& value) {
    auto sample = insert("Sample", {{key, value}});
    Ref<NSError> error;
    const bool saved = context->save(&error);
    EXPECT_EQ(saved, !error);
    if (error) {
      EXPECT_TRUE(error->localizedDescription()->containsString(key));
      EXPECT_TRUE(error->localizedDescription()->containsString("Sample"));
    }
    context->rollback();
    return error ? error->code() : 0;
  }
};
FOR_EVERY_STORE(AttributeTypesTest);

TEST_P(AttributeTypesTest, NullStaysNullForEveryType) {
  auto sample = insert("Sample");
  save();
  auto again = newContext()->existingObjectWithIDError(sample->objectID());
  auto keys = sample->entity()->attributesByName()->allKeys();
  for (const Value& key : *keys) {
    EXPECT_TRUE(again->valueForKey(key.stringValue()).isNull()) << key.stringValue()->utf8();
  }
}

TEST_P(AttributeTypesTest, IntegersAtTheEdges) {
  for (const std::int64_t number :
       {INT64_MIN, INT64_MIN + 1, std::int64_t{INT32_MIN} - 1, std::int64_t{-1}, std::int64_t{0},
        std::int64_t{1}, (std::int64_t{1} << 53) + 1, INT64_MAX}) {
    const Value read = stored("integer64", number);
    EXPECT_EQ(read.kind(), Value::Kind::Integer);
    EXPECT_EQ(read.longLongValue(), number);
  }
  for (const std::int64_t number : {INT32_MIN, -1, 0, INT32_MAX}) {
    EXPECT_EQ(stored("integer32", number), Value(number));
  }
  for (const std::int64_t number : {INT16_MIN, -1, 0, INT16_MAX}) {
    EXPECT_EQ(stored("integer16", number), Value(number));
  }
  EXPECT_EQ(stored("integer16", true), Value(1));
  EXPECT_EQ(stored("integer32", -2.9), Value(-2)) << "fractions are cut off";
  EXPECT_EQ(stored("integer16", 32767.9), Value(32767));
  EXPECT_EQ(stored("integer64", NSDecimalNumber::decimalNumberWithString("12.75")), Value(12));
}

TEST_P(AttributeTypesTest, NumbersOutsideTheirRangeAreRefusedAtTheSave) {
  EXPECT_EQ(refusal("integer16", 32768), 1610);
  EXPECT_EQ(refusal("integer16", -32769), 1620);
  EXPECT_EQ(refusal("integer32", std::int64_t{INT32_MAX} + 1), 1610);
  EXPECT_EQ(refusal("integer32", std::int64_t{INT32_MIN} - 1), 1620);
  EXPECT_EQ(refusal("integer64", std::uint64_t{INT64_MAX} + 1), 1610);
  EXPECT_EQ(refusal("integer64", 9.3e18), 1610);
  EXPECT_EQ(refusal("integer64", -9.3e18), 1620);
  EXPECT_EQ(refusal("integer64", -0x1p63), 0) << "the least number fits";
  EXPECT_EQ(refusal("integer32", std::numeric_limits<double>::infinity()), 1610);
  EXPECT_EQ(refusal("integer64", NSDecimalNumber::decimalNumberWithString("1e30")), 1610);
}

TEST_P(AttributeTypesTest, WhatIsNotANumberIsRefusedAtTheSave) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const char* key : {"integer16", "integer32", "integer64", "double", "float", "boolean"}) {
    EXPECT_EQ(refusal(key, nan), 1550) << key;
  }
  EXPECT_EQ(refusal("decimal", NSDecimalNumber::notANumber()), 1550);
  EXPECT_EQ(refusal("date", NSDate::dateWithTimeIntervalSince1970(nan)), 1650);
}

TEST_P(AttributeTypesTest, FloatingPointNumbersAtTheEdges) {
  using Limits = std::numeric_limits<double>;
  for (const double number :
       {0.0, 0.1, -1.5, 1e300, Limits::min(), Limits::denorm_min(), Limits::max(), Limits::lowest(),
        Limits::infinity(), -Limits::infinity(), 9007199254740993.0, 3.0}) {
    const Value read = stored("double", number);
    EXPECT_EQ(read.kind(), Value::Kind::Double);
    EXPECT_EQ(read.doubleValue(), number);
  }
  EXPECT_EQ(stored("double", 7).kind(), Value::Kind::Double);
  EXPECT_EQ(stored("float", 0.1).kind(), Value::Kind::Float);
  EXPECT_EQ(stored("float", 0.1).floatValue(), 0.1f);
  EXPECT_EQ(stored("float", 16777217).floatValue(), 16777216.0f);
}

TEST_P(AttributeTypesTest, BooleansStayBooleans) {
  EXPECT_EQ(stored("boolean", true).kind(), Value::Kind::Boolean);
  EXPECT_EQ(stored("boolean", true), Value(true));
  EXPECT_EQ(stored("boolean", false), Value(false));
  EXPECT_EQ(stored("boolean", 1).kind(), Value::Kind::Boolean);
  EXPECT_EQ(stored("boolean", 17), Value(true));
}

TEST_P(AttributeTypesTest, DecimalsKeepEveryDigit) {
  for (const char* text : {"0", "12.5", "-0.0000000000000000000000000001", "0.1",
                           "99999999999999999999999999999999999999", "1e60"}) {
    const Value number = NSDecimalNumber::decimalNumberWithString(text);
    const Value read = stored("decimal", number);
    EXPECT_TRUE(isKindOf<NSDecimalNumber>(read)) << text;
    EXPECT_EQ(read, number) << text;
  }
}

TEST_P(AttributeTypesTest, TextOfEveryKind) {
  const std::string withNul("a\0b", 3);
  const std::string large(1 << 20, 'x');
  for (const std::string& text :
       {std::string(), std::string(" "), std::string("'; DROP TABLE object_Sample; --"),
        std::string("Zoë 🦊 日本語"), withNul, std::string("\0", 1), large,
        std::string("123"), std::string("1e5"), std::string("NULL")}) {
    const Value read = stored("string", text);
    ASSERT_TRUE(read.isString());
    EXPECT_EQ(as<NSString>(read)->utf8(), text);
  }
}

TEST_P(AttributeTypesTest, DatesToTheLastBit) {
  for (const double seconds :
       {0.0, 1456835400.123, -1e10, 978307200.0, 0.1, 1e17, -62135769600.0}) {
    const Value read = stored("date", NSDate::dateWithTimeIntervalSince1970(seconds));
    ASSERT_TRUE(read.isDate());
    EXPECT_EQ(read.timeIntervalSince1970(), seconds);
  }
  EXPECT_TRUE(stored("date", NSDate::distantFuture()) == NSDate::distantFuture());
}

TEST_P(AttributeTypesTest, BytesOfEveryLength) {
  std::string all;
  for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
  for (const std::string& bytes : {std::string(), std::string("\0", 1), all}) {
    const Value read = stored("binary", NSData::dataWithText(bytes));
    ASSERT_TRUE(isKindOf<NSData>(read)) << "no bytes are not null";
    EXPECT_EQ(as<NSData>(read)->view(), bytes);
  }
}

TEST_P(AttributeTypesTest, IdentifiersAndAddresses) {
  const Value uuid = NSUUID::UUID();
  EXPECT_EQ(stored("uuid", uuid), uuid);
  for (const char* text : {"https://example.com/a%20b?q=1#f", "relative/path", "mailto:a@b.c"}) {
    const Value url = NSURL::URLWithString(text);
    ASSERT_FALSE(url.isNull());
    EXPECT_EQ(stored("uri", url), url);
  }
}

TEST_P(AttributeTypesTest, WhatNothingTurnsIntoDataIsRefusedAtTheSave) {
  EXPECT_EQ(refusal("transformable", NSArray::arrayWithObjects(1)), 1550);
  auto sample = insert("Sample");
  save();
  EXPECT_EQ(refusal("objectIdentifier", sample->objectID()), 1550);
}

TEST_P(AttributeTypesTest, EveryTypeIsFoundByItsValue) {
  const Value uuid = NSUUID::UUID();
  const Value date = NSDate::dateWithTimeIntervalSince1970(1e9);
  auto wanted = insert("Sample", {{"integer64", 7},
                                  {"decimal", NSDecimalNumber::decimalNumberWithString("1.10")},
                                  {"double", 0.1},
                                  {"float", 0.1},
                                  {"string", "s"},
                                  {"boolean", true},
                                  {"date", date},
                                  {"binary", NSData::dataWithText("b")},
                                  {"uuid", uuid},
                                  {"uri", NSURL::URLWithString("a:b")}});
  insert("Sample", {{"integer64", 8},
                    {"decimal", NSDecimalNumber::decimalNumberWithString("2")},
                    {"double", 0.2},
                    {"float", 0.2},
                    {"string", "t"},
                    {"boolean", false},
                    {"date", NSDate::dateWithTimeIntervalSince1970(2e9)},
                    {"binary", NSData::dataWithText("c")},
                    {"uuid", NSUUID::UUID()},
                    {"uri", NSURL::URLWithString("a:c")}});
  insert("Sample");
  save();
  const auto found = [&](const char* format, const Value& value) {
    auto all = fetch(request("Sample", NSPredicate::predicateWithFormat(format, value)));
    return all->count() == 1 && all->firstObject() == Value(wanted);
  };
  EXPECT_TRUE(found("integer64 == %@", 7));
  EXPECT_TRUE(found("integer64 == %@", 7.0));
  EXPECT_TRUE(found("integer64 < %@", 7.5));
  EXPECT_TRUE(found("integer64 < %@", NSDecimalNumber::decimalNumberWithString("7.5")));
  EXPECT_TRUE(found("decimal == %@", 1.1));
  EXPECT_TRUE(found("decimal < %@", 2));
  EXPECT_TRUE(found("double == %@", 0.1));
  EXPECT_TRUE(found("float == %@", 0.1f));
  EXPECT_TRUE(found("string == %@", "s"));
  EXPECT_TRUE(found("boolean == %@", true));
  EXPECT_TRUE(found("boolean == %@", 1));
  EXPECT_TRUE(found("date == %@", date));
  EXPECT_TRUE(found("date < %@", NSDate::dateWithTimeIntervalSince1970(1.5e9)));
  EXPECT_TRUE(found("binary == %@", NSData::dataWithText("b")));
  EXPECT_TRUE(found("uuid == %@", uuid));
  EXPECT_TRUE(found("uuid IN %@", NSArray::arrayWithObjects(uuid, NSUUID::UUID())));
  EXPECT_TRUE(found("uri == %@", NSURL::URLWithString("a:b")));
}

}  // namespace
}  // namespace JNFoundation
