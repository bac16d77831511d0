#include <gtest/gtest.h>

#include "platform/value/Raising.h"

#include <JNFoundation/platform/json/JNJSONTransformer.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation {
namespace {

using testing::raisedBy;
using testing::raisedName;

Ref<NSValueTransformer> transformer() {
  return NSValueTransformer::valueTransformerForName("JNJSONTransformer");
}

TEST(JNJSONTransformer, IsFoundByItsName) {
  ASSERT_NE(transformer(), nullptr);
  EXPECT_EQ(transformer()->class_(), JNJSONTransformer::classObject);
  EXPECT_EQ(transformer()->transformedValueClass(), NSData::classObject);
  EXPECT_TRUE(transformer()->allowsReverseTransformation());
}

TEST(JNJSONTransformer, WhatGoesInComesBackEqual) {
  const Value record =
      NSDictionary::dictionaryWithEntries({{"name", "Zoë"},
                                           {"tags", NSArray::arrayWithObjects("a", 2, 2.5, true)},
                                           {"nothing", NSNull::null()}});
  const Value data = transformer()->transformedValue(record);
  EXPECT_EQ(as<NSData>(data)->view(), R"({"name":"Zoë","tags":["a",2,2.5,true],"nothing":null})");
  EXPECT_EQ(transformer()->reverseTransformedValue(data), record);
  for (const Value& value : {Value("text"), Value(7), Value(NSNull::null()),
                             Value(NSArray::array()), Value(NSDictionary::dictionary())}) {
    EXPECT_EQ(transformer()->reverseTransformedValue(transformer()->transformedValue(value)),
              value);
  }
}

TEST(JNJSONTransformer, NullStaysNull) {
  EXPECT_TRUE(transformer()->transformedValue(nullptr).isNull());
  EXPECT_TRUE(transformer()->reverseTransformedValue(nullptr).isNull());
}

TEST(JNJSONTransformer, WhatJSONCannotExpressRaises) {
  EXPECT_EQ(raisedName([] { transformer()->transformedValue(NSDate::date()); }),
            NSInvalidArgumentException);
  EXPECT_EQ(
      raisedName([] { transformer()->transformedValue(NSArray::arrayWithObject(NSData::data())); }),
      NSInvalidArgumentException);
}

TEST(JNJSONTransformer, DataThatIsNoJSONRaisesAndSaysWhere) {
  EXPECT_NE(raisedBy([] {
              transformer()->reverseTransformedValue(NSData::dataWithText("[1,\n x]"));
            }).find("NSInvalidArgumentException: line 2, column 2"),
            std::string::npos);
  EXPECT_EQ(raisedName([] { transformer()->reverseTransformedValue(NSData::data()); }),
            NSInvalidArgumentException);
  EXPECT_EQ(raisedName([] { transformer()->reverseTransformedValue("[1]"); }),
            NSInvalidArgumentException);
}

}  // namespace
}  // namespace JNFoundation
