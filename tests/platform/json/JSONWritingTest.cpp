#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <string>

#include "platform/json/JSONTexts.h"

#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>

namespace JNFoundation {
namespace {

using testing::written;

std::string writingProblemOf(const Value& value) {
  Ref<NSError> error;
  const Ref<NSData> data =
      NSJSONSerialization::dataWithJSONObjectOptionsError(value, NSJSONWritingCompact, &error);
  EXPECT_EQ(data == nullptr, error != nullptr);
  EXPECT_EQ(NSJSONSerialization::isValidJSONObject(value), error == nullptr);
  if (!error) return std::string();
  EXPECT_EQ(error->code(), NSPropertyListWriteInvalidError);
  return error->localizedDescription()->toStdString();
}

Value listOf(std::vector<Value> values) { return NSArray::arrayWithValues(std::move(values)); }
Value recordOf(std::vector<NSDictionary::Pair> pairs) {
  return NSDictionary::dictionaryWithEntries(std::move(pairs));
}

TEST(JSONWriting, ScalarsHaveTheirPlainForm) {
  EXPECT_EQ(written(true), "true");
  EXPECT_EQ(written(false), "false");
  EXPECT_EQ(written(NSNull::null()), "null");
  EXPECT_EQ(written(-7), "-7");
  EXPECT_EQ(written(~std::uint64_t{0}), "18446744073709551615");
  EXPECT_EQ(written(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(written(0.1), "0.1");
  EXPECT_EQ(written(0.1f), "0.1");
  EXPECT_EQ(written(1e300), "1e+300");
  EXPECT_EQ(written(2.0), "2");
  EXPECT_EQ(written(-0.0), "-0.0");
  EXPECT_EQ(written(NSDecimalNumber::decimalNumberWithString("12.50")), "12.5");
  EXPECT_EQ(written(NSDecimalNumber::decimalNumberWithString("1e100")), "1e+100");
  EXPECT_EQ(written("text"), "\"text\"");
}

TEST(JSONWriting, StringsAreEscapedWhereTheyMustBe) {
  EXPECT_EQ(written("\"\\/\b\f\n\r\t\x01\x1F\x7Fé😀"),
            "\"\\\"\\\\/\\b\\f\\n\\r\\t\\u0001\\u001f\x7Fé😀\"");
  EXPECT_EQ(written(std::string_view("a\0b", 3)), "\"a\\u0000b\"");
}

TEST(JSONWriting, CompactFormHasNoSpace) {
  EXPECT_EQ(written(recordOf({{"b", listOf({1, "x", NSNull::null()})}, {"a", recordOf({})}})),
            R"({"b":[1,"x",null],"a":{}})");
  EXPECT_EQ(written(listOf({})), "[]");
}

TEST(JSONWriting, PrettyFormIsIndentedByTwo) {
  EXPECT_EQ(
      written(recordOf({{"b", listOf({1, listOf({})})}, {"a", recordOf({{"c", recordOf({})}})}}),
              NSJSONWritingPrettyPrinted),
      "{\n"
      "  \"b\": [\n"
      "    1,\n"
      "    []\n"
      "  ],\n"
      "  \"a\": {\n"
      "    \"c\": {}\n"
      "  }\n"
      "}");
  EXPECT_EQ(written(7, NSJSONWritingPrettyPrinted), "7");
}

TEST(JSONWriting, SortedKeysFollowTheirBytes) {
  const Value record =
      recordOf({{"b", 1}, {"é", 2}, {"a", recordOf({{"y", 1}, {"x", 2}})}, {"B", 3}, {"", 4}});
  EXPECT_EQ(written(record, NSJSONWritingSortedKeys),
            R"({"":4,"B":3,"a":{"x":2,"y":1},"b":1,"é":2})");
  EXPECT_EQ(written(record, NSJSONWritingSortedKeys | NSJSONWritingPrettyPrinted).substr(0, 9),
            "{\n  \"\": 4");
}

TEST(JSONWriting, WhatJSONCannotExpressIsAnError) {
  EXPECT_EQ(writingProblemOf(nullptr), "null has no place in JSON; NSNull has");
  EXPECT_EQ(writingProblemOf(NAN), "not-a-number is no JSON number");
  EXPECT_EQ(writingProblemOf(-INFINITY), "infinity is no JSON number");
  EXPECT_EQ(writingProblemOf(NSDecimalNumber::notANumber()), "not-a-number is no JSON number");
  EXPECT_EQ(writingProblemOf(Value::dateWithTimeIntervalSince1970(0)),
            "a value of class __NSDate has no form in JSON");
  EXPECT_EQ(writingProblemOf(NSData::data()),
            "a value of class NSConcreteData has no form in JSON");
  EXPECT_EQ(writingProblemOf(Value(NSArray::classObject)),
            "a value of class NSObject has no form in JSON");
  EXPECT_EQ(writingProblemOf(recordOf({{1, 2}})),
            "1: a value of class __NSCFNumber is a key, and JSON's keys are strings");
}

TEST(JSONWriting, ErrorsNameThePlace) {
  const Value records =
      recordOf({{"count", 2}, {"records", listOf({recordOf({}), recordOf({{"price", NAN}})})}});
  EXPECT_EQ(writingProblemOf(records), "records[1].price: not-a-number is no JSON number");
  EXPECT_EQ(writingProblemOf(listOf({1, listOf({NSData::data()})})),
            "[1][0]: a value of class NSConcreteData has no form in JSON");
}

TEST(JSONWriting, NestingUpToTheLimitIsWritten) {
  Value value = listOf({});
  for (NSUInteger depth = 1; depth < NSJSONMaximumDepth; ++depth) value = listOf({value});
  EXPECT_EQ(written(value), testing::nested(NSJSONMaximumDepth));
  value = recordOf({{"a", value}});
  EXPECT_NE(writingProblemOf(value).find("nested more than 1000 deep"), std::string::npos);
}

TEST(JSONWriting, AListThatHoldsItselfIsAnError) {
  const Ref<NSMutableArray> list = NSMutableArray::array();
  list->addObject(list);
  const std::string problem = writingProblemOf(list);
  EXPECT_NE(problem.find("nested more than 1000 deep"), std::string::npos);
  EXPECT_LT(problem.size(), 400u);
  list->removeAllObjects();
}

TEST(JSONWriting, DataIsTheText) {
  const Ref<NSData> data = NSJSONSerialization::dataWithJSONObjectOptionsError(
      listOf({1, "é"}), NSJSONWritingCompact, nullptr);
  ASSERT_TRUE(data);
  EXPECT_EQ(data->view(), "[1,\"é\"]");
}

TEST(JSONWriting, WhatIsWrittenReadsBack) {
  const Value record = recordOf({{"integer", std::numeric_limits<std::int64_t>::min()},
                                 {"unsigned", ~std::uint64_t{0}},
                                 {"double", 0.1 + 0.2},
                                 {"small", 5e-324},
                                 {"large", 1.7976931348623157e308},
                                 {"flag", true},
                                 {"nothing", NSNull::null()},
                                 {"text", "\x01 é \" \\ 😀"},
                                 {"list", listOf({listOf({}), recordOf({})})}});
  for (const NSJSONWritingOptions options :
       {NSJSONWritingCompact, NSJSONWritingPrettyPrinted, NSJSONWritingSortedKeys}) {
    EXPECT_EQ(testing::parsed(written(record, options)), record);
  }
}

}  // namespace
}  // namespace JNFoundation
