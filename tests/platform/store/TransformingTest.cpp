#include <stdexcept>

#include "StoreFixture.h"

#include <JNFoundation/platform/store/impl/Transforming.h>
#include <JNFoundation/platform/value/NSValueTransformer.h>

namespace JNFoundation {
namespace {

using impl::dataFromValue;
using impl::valueFromData;
using Conversion = Block<Value(const Value&)>;

/// A transformer that is registered as long as this lives.
class RegisteredTransformer {
 public:
  RegisteredTransformer(const char* name, Conversion transform, Conversion reverse) : _name(name) {
    NSValueTransformer::setValueTransformerForName(
        NSValueTransformer::transformerWithBlockReverseBlock(std::move(transform),
                                                             std::move(reverse)),
        name);
  }
  ~RegisteredTransformer() { NSValueTransformer::setValueTransformerForName(nullptr, _name); }

 private:
  const char* _name;
};

class TransformingTest : public ::testing::Test {
 protected:
  TransformingTest() : attribute(attributeNamed("shape", NSTransformableAttributeType)) {
    entity = entityNamed("Drawing", {attribute});
  }

  void useTransformer(const char* name) { attribute->setValueTransformerName(name); }

  /// What the refused value's error says, after its code.
  std::string refusal(const Value& value) const {
    Ref<NSError> error;
    EXPECT_FALSE(dataFromValue(value, *attribute, nullptr, &error));
    EXPECT_FALSE(dataFromValue(value, *attribute, nullptr, nullptr));
    return sentence(error);
  }
  std::string refusalOfData(const Ref<NSData>& data) const {
    Ref<NSError> error;
    EXPECT_FALSE(valueFromData(data, *attribute, &error));
    EXPECT_FALSE(valueFromData(data, *attribute, nullptr));
    return sentence(error);
  }

  static std::string sentence(const Ref<NSError>& error) {
    if (!error) return "no error";
    EXPECT_EQ(error->domain()->toStdString(), NSCocoaErrorDomain);
    EXPECT_EQ(error->userInfo()->objectForKey(NSValidationKeyErrorKey), Value("shape"));
    std::string text = error->localizedDescription()->toStdString();
    const std::string beginning = "The value of 'shape' of an object of entity 'Drawing' ";
    EXPECT_EQ(text.substr(0, beginning.size()), beginning);
    return std::to_string(error->code()) + " " +
           text.substr(std::min(beginning.size(), text.size()));
  }

  Ref<NSAttributeDescription> attribute;
  Ref<NSEntityDescription> entity;
  /// Texts to data and back.
  RegisteredTransformer bytes{
      "Bytes",
      [](const Value& value) -> Value {
        return NSData::dataWithText(value.stringValue()->toStdString());
      },
      [](const Value& data) -> Value { return std::string(as<NSData>(data)->view()); }};
};

TEST_F(TransformingTest, ValuesBecomeDataAndComeBack) {
  useTransformer("Bytes");
  Ref<NSError> error;
  const Ref<NSData> data = dataFromValue("round", *attribute, nullptr, &error);
  ASSERT_TRUE(data);
  EXPECT_EQ(data->view(), "round");
  EXPECT_EQ(valueFromData(data, *attribute, &error), Value("round"));
  EXPECT_FALSE(error);
}

TEST_F(TransformingTest, JSONIsThereWithoutTheProgramsDoing) {
  useTransformer("JNJSONTransformer");
  const Value shape = NSArray::arrayWithObjects(1, "a");
  const Ref<NSData> data = dataFromValue(shape, *attribute, nullptr, nullptr);
  ASSERT_TRUE(data);
  EXPECT_EQ(data->view(), "[1,\"a\"]");
  EXPECT_EQ(valueFromData(data, *attribute, nullptr), shape);
}

TEST_F(TransformingTest, AnotherTransformerMayTakeTheNameOfTheOneForJSON) {
  const RegisteredTransformer other(
      "JNJSONTransformer", [](const Value&) -> Value { return NSData::dataWithText("other"); },
      [](const Value&) -> Value { return "other"; });
  useTransformer("JNJSONTransformer");
  EXPECT_EQ(dataFromValue(1, *attribute, nullptr, nullptr)->view(), "other");
}

TEST_F(TransformingTest, NullAsksNoTransformer) {
  Ref<NSError> error;
  EXPECT_FALSE(dataFromValue(nullptr, *attribute, nullptr, &error));
  EXPECT_EQ(valueFromData(nullptr, *attribute, &error), Value());
  EXPECT_FALSE(error) << "though the attribute names none";
}

TEST_F(TransformingTest, TheErrorSaysWhichTransformerIsMissing) {
  EXPECT_EQ(refusal(1), "1550 needs a value transformer, but its attribute names none.");
  EXPECT_EQ(refusalOfData(NSData::data()),
            "134060 needs a value transformer, but its attribute names none.");
  useTransformer("Nobodys");
  EXPECT_EQ(refusal(1),
            "1550 needs the value transformer 'Nobodys', but there is none of that name.");
  EXPECT_EQ(refusalOfData(NSData::data()),
            "134060 needs the value transformer 'Nobodys', but there is none of that name.");
}

TEST_F(TransformingTest, WhatCouldNotBeReadAgainIsNotWritten) {
  const RegisteredTransformer oneWay(
      "OneWay", [](const Value&) -> Value { return NSData::data(); }, nullptr);
  useTransformer("OneWay");
  EXPECT_EQ(refusal(1),
            "1550 cannot be kept by the value transformer 'OneWay', which cannot be reversed.");
}

TEST_F(TransformingTest, OnlyDataCanBeStored) {
  const RegisteredTransformer same(
      "Same", [](const Value& value) { return value; }, [](const Value&) { return Value(); });
  useTransformer("Same");
  EXPECT_EQ(refusal(17),
            "1550 cannot be stored: the value transformer 'Same' gave 17 instead of data.");
  EXPECT_EQ(refusalOfData(NSData::data()),
            "134060 cannot be read: the value transformer 'Same' makes nothing of its data.");
  EXPECT_TRUE(dataFromValue(NSData::data(), *attribute, nullptr, nullptr));
}

TEST_F(TransformingTest, WhatATransformerRaisesBecomesTheError) {
  useTransformer("JNJSONTransformer");
  const std::string written = refusal(NSDate::date());
  EXPECT_EQ(written.rfind("1550 cannot be transformed: the value transformer 'JNJSONTransformer' "
                          "raised NSInvalidArgumentException, ",
                          0),
            0u)
      << written;
  EXPECT_EQ(refusalOfData(NSData::dataWithText("[")).rfind("134060 cannot be transformed: ", 0),
            0u);
}

TEST_F(TransformingTest, OtherExceptionsPassThrough) {
  const RegisteredTransformer failing(
      "Failing", [](const Value&) -> Value { throw std::runtime_error("own"); },
      [](const Value& value) { return value; });
  useTransformer("Failing");
  EXPECT_THROW(dataFromValue(1, *attribute, nullptr, nullptr), std::runtime_error);
}

TEST_F(TransformingTest, TheDataAreTheStoresOwn) {
  auto shared = NSMutableData::dataWithLength(2);
  const RegisteredTransformer lender(
      "Lender", [shared](const Value&) -> Value { return shared; },
      [](const Value& value) { return value; });
  useTransformer("Lender");
  const Ref<NSData> data = dataFromValue(1, *attribute, nullptr, nullptr);
  shared->setLength(9);
  EXPECT_EQ(data->length(), 2u);
}

}  // namespace
}  // namespace JNFoundation
