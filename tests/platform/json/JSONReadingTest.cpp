#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include "platform/json/JSONTexts.h"
#include "platform/value/Raising.h"

#include <JNFoundation/platform/value/NSData.h>

namespace JNFoundation {
namespace {

using testing::nested;
using testing::parsed;
using testing::problemOf;

TEST(JSONReading, ScalarsStandAlone) {
  EXPECT_TRUE(parsed("null").isNSNull());
  EXPECT_TRUE(parsed("true").isBoolean());
  EXPECT_TRUE(parsed("true").boolValue());
  EXPECT_TRUE(parsed("false").isBoolean());
  EXPECT_FALSE(parsed("false").boolValue());
  EXPECT_EQ(parsed(" 7 "), Value(7));
  EXPECT_EQ(parsed("\"a\""), Value("a"));
  EXPECT_EQ(parsed("\r\n\t \"\" "), Value(""));
}

TEST(JSONReading, NumbersKeepTheirKind) {
  EXPECT_EQ(parsed("0").kind(), Value::Kind::Integer);
  EXPECT_EQ(parsed("-9223372036854775808"), Value(std::numeric_limits<std::int64_t>::min()));
  EXPECT_EQ(parsed("9223372036854775807"), Value(std::numeric_limits<std::int64_t>::max()));
  EXPECT_EQ(parsed("9223372036854775808").kind(), Value::Kind::Unsigned);
  EXPECT_EQ(parsed("18446744073709551615"), Value(~std::uint64_t{0}));
  EXPECT_EQ(parsed("1.0").kind(), Value::Kind::Double);
  EXPECT_EQ(parsed("1e2"), Value(100));
  EXPECT_EQ(parsed("1E-2").doubleValue(), 0.01);
  EXPECT_EQ(parsed("0.1").doubleValue(), 0.1);
  EXPECT_EQ(parsed("2.2250738585072011e-308").doubleValue(), 2.2250738585072011e-308);
  EXPECT_EQ(parsed("1.7976931348623157e308").doubleValue(), 1.7976931348623157e308);
  EXPECT_EQ(parsed("1e-400").doubleValue(), 0.0);
  EXPECT_TRUE(std::signbit(parsed("-0.0").doubleValue()));
}

TEST(JSONReading, IntegersBeyondSixtyFourBitsBecomeDoubles) {
  const Value number = parsed("18446744073709551616");
  EXPECT_EQ(number.kind(), Value::Kind::Double);
  EXPECT_EQ(number.doubleValue(), 0x1p64);
  EXPECT_EQ(parsed("-9223372036854775809").doubleValue(), -0x1p63);
  EXPECT_EQ(parsed("1" + std::string(300, '0')).doubleValue(), 1e300);
  const Value list = parsed(
      "[123456789012345678901234567890, {\"99999999999999999999\": 99999999999999999999, \"b\": "
      "\"99999999999999999999\"}, -123456789012345678901234567890 ,7]");
  ASSERT_TRUE(isKindOf<NSArray>(list));
  EXPECT_EQ(as<NSArray>(list)->objectAtIndex(0).doubleValue(), 123456789012345678901234567890.0);
  const Value record = as<NSArray>(list)->objectAtIndex(1);
  EXPECT_EQ(as<NSDictionary>(record)->objectForKey("99999999999999999999").doubleValue(), 1e20);
  EXPECT_EQ(as<NSDictionary>(record)->objectForKey("b"), Value("99999999999999999999"));
  EXPECT_EQ(as<NSArray>(list)->objectAtIndex(3).kind(), Value::Kind::Integer);
}

TEST(JSONReading, NumbersBeyondTheDoublesAreErrors) {
  EXPECT_EQ(problemOf("1e400"), "line 1, column 1: the number 1e400 is too large for a double");
  EXPECT_EQ(problemOf("[1,\n -1e309]"),
            "line 2, column 2: the number -1e309 is too large for a double");
  EXPECT_EQ(
      problemOf("1" + std::string(400, '0')),
      "line 1, column 1: the number 1" + std::string(23, '0') + "... is too large for a double");
  EXPECT_EQ(problemOf("[99999999999999999999, 1e999]"),
            "line 1, column 24: the number 1e999 is too large for a double");
}

TEST(JSONReading, ObjectsKeepTheOrderOfTheirKeys) {
  const Value value = parsed(R"({"z":1,"a":{"y":null,"b":[]},"m":[1,[2,{"k":3}]],"":4})");
  const NSDictionary* record = as<NSDictionary>(value);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->allKeys()->componentsJoinedByString(" ")->utf8(), "z a m ");
  EXPECT_EQ(testing::written(value), R"({"z":1,"a":{"y":null,"b":[]},"m":[1,[2,{"k":3}]],"":4})");
}

TEST(JSONReading, OfEqualKeysTheLastValueStays) {
  EXPECT_EQ(testing::written(parsed(R"({"a":1,"b":2,"a":{"c":1,"c":2}})")),
            R"({"a":{"c":2},"b":2})");
  EXPECT_EQ(testing::written(parsed(R"({"a":1,"\u0061":2})")), R"({"a":2})");
  EXPECT_EQ(testing::written(parsed(R"({"a":{"a":1},"a":2})")), R"({"a":2})");
  EXPECT_EQ(testing::written(parsed(R"({"a":1,"b":[{"a":2,"b":3,"a":4}],"b":5,"a":6})")),
            R"({"a":6,"b":5})");
  EXPECT_EQ(testing::written(parsed(R"([{"a":1,"b":{"a":1}},{"a":2,"b":[{"b":2}],"a":3}])")),
            R"([{"a":1,"b":{"a":1}},{"a":3,"b":[{"b":2}]}])");
}

TEST(JSONReading, OfManyEqualKeysTheLastValueStaysToo) {
  std::string text = "{";
  for (int round = 0; round < 3; ++round) {
    for (int key = 0; key < 40; ++key) {
      text += "\"key " + std::to_string(key) + "\":" + std::to_string(round * 100 + key) + ",";
    }
  }
  text.back() = '}';
  const Value value = parsed(text);
  const NSDictionary* record = as<NSDictionary>(value);
  ASSERT_EQ(record->count(), 40u);
  for (int key = 0; key < 40; ++key) {
    EXPECT_EQ(record->objectForKey("key " + std::to_string(key)), Value(200 + key));
  }
}

TEST(JSONReading, ATextThatStandsUnderAKeyAgainAndAgainIsOneString) {
  std::string text = "[";
  for (int i = 0; i < 1000; ++i) {
    text += R"({"kind":")" + std::string(i % 2 ? "odd" : "even") + R"(","name":")" +
            std::to_string(i) + R"(","kinds":["odd"]},)";
  }
  text.back() = ']';
  const Value records = parsed(text);
  const auto kindOf = [&](NSUInteger number) {
    const Value record = as<NSArray>(records)->objectAtIndex(number);
    return as<NSDictionary>(record)->objectForKey("kind");
  };
  for (NSUInteger i = 0; i < 1000; ++i) {
    ASSERT_EQ(kindOf(i), Value(i % 2 ? "odd" : "even"));
    if (i >= 100) {
      ASSERT_EQ(kindOf(i).object(), kindOf(100 + i % 2).object());
    }
    const Value record = as<NSArray>(records)->objectAtIndex(i);
    ASSERT_EQ(as<NSDictionary>(record)->objectForKey("name"), Value(std::to_string(i)));
  }
}

TEST(JSONReading, StringsAreUnescaped) {
  EXPECT_EQ(parsed(R"("\"\\\/\b\f\n\r\t\u00e9\u20AC\ud83d\uDE00")"), Value("\"\\/\b\f\n\r\té€😀"));
  EXPECT_EQ(parsed("\"é€😀\x7F\""), Value("é€😀\x7F"));
  const Value withNul = parsed(R"("a\u0000b")");
  EXPECT_EQ(as<NSString>(withNul)->utf8(), std::string_view("a\0b", 3));
}

TEST(JSONReading, EqualKeysAreOneStringAndTheInternedOneWhereThereIsOne) {
  const Ref<NSString> interned = NSString::interned("JSONReadingTest.title");
  const Value value = parsed(
      R"([{"JSONReadingTest.title":1,"JSONReadingTest.other":1},
          {"JSONReadingTest.title":2,"JSONReadingTest.other":2}])");
  std::vector<const NSObject*> keys;
  for (const Value& record : *as<NSArray>(value)) {
    for (const auto& [key, member] : *as<NSDictionary>(record)) keys.push_back(key.object());
  }
  ASSERT_EQ(keys.size(), 4u);
  EXPECT_EQ(keys[0], interned.get());
  EXPECT_EQ(keys[2], interned.get());
  EXPECT_EQ(keys[1], keys[3]);
  // What comes from input is never interned.
  EXPECT_EQ(NSString::internedIfPresent("JSONReadingTest.other"), nullptr);
}

TEST(JSONReading, ContainersAreMutableOnRequestOnly) {
  const char* text = R"({"a":[{}]})";
  const Value fixed = parsed(text);
  EXPECT_FALSE(isKindOf<NSMutableDictionary>(fixed));
  const Value changeable = NSJSONSerialization::JSONObjectWithTextOptionsError(
      text, NSJSONReadingMutableContainers, nullptr);
  ASSERT_TRUE(isKindOf<NSMutableDictionary>(changeable));
  const Value list = as<NSDictionary>(changeable)->objectForKey("a");
  ASSERT_TRUE(isKindOf<NSMutableArray>(list));
  EXPECT_TRUE(isKindOf<NSMutableDictionary>(as<NSArray>(list)->objectAtIndex(0)));
  EXPECT_EQ(fixed, changeable);
}

TEST(JSONReading, DataIsReadLikeText) {
  EXPECT_EQ(NSJSONSerialization::JSONObjectWithDataOptionsError(NSData::dataWithText("[1]"),
                                                                NSJSONReadingPlain, nullptr),
            parsed("[1]"));
  EXPECT_EQ(testing::raisedName([] {
              NSJSONSerialization::JSONObjectWithDataOptionsError(nullptr, NSJSONReadingPlain,
                                                                  nullptr);
            }),
            NSInvalidArgumentException);
}

TEST(JSONReading, ErrorsSayWhereAndWhat) {
  const std::vector<std::pair<std::string, std::string>> texts = {
      {"", "line 1, column 1: expected a value, found the end of the text"},
      {" \n ", "line 2, column 2: expected a value, found the end of the text"},
      {"[1,2", "line 1, column 5: expected ',' or ']', found the end of the text"},
      {"[", "line 1, column 2: expected a value or ']', found the end of the text"},
      {"{",
       "line 1, column 2: expected a key in quotation marks or '}', found the end of the text"},
      {"[1,]", "line 1, column 4: expected a value, found ']'"},
      {"[,1]", "line 1, column 2: expected a value, found ','"},
      {"[1 2]", "line 1, column 4: expected ',' or ']', found '2'"},
      {"[1}", "line 1, column 3: expected ',' or ']', found '}'"},
      {"{\"a\":1,}", "line 1, column 8: expected a key in quotation marks, found '}'"},
      {"{\n  \"a\": 1\n  \"b\": 2\n}", "line 3, column 3: expected ',' or '}', found '\"'"},
      {"{\"a\" 1}", "line 1, column 6: expected ':', found '1'"},
      {"{a:1}", "line 1, column 2: expected a key in quotation marks or '}', found 'a'"},
      {"{1:1}", "line 1, column 2: expected a key in quotation marks or '}', found '1'"},
      {"{\"é€\":1 x}", "line 1, column 9: expected ',' or '}', found 'x'"},
      {"{} {}", "line 1, column 4: expected the end of the text, found '{'"},
      {"1 1", "line 1, column 3: expected the end of the text, found '1'"},
      {"nul", "line 1, column 1: expected a value, found 'nul'"},
      {"[NaN]", "line 1, column 2: expected a value, found 'NaN'"},
      {"-Infinity", "line 1, column 2: expected a digit, found 'Infinity'"},
      {"True", "line 1, column 1: expected a value, found 'True'"},
      {"nullx", "line 1, column 1: expected a value, found 'nullx'"},
      {"'a'", "line 1, column 1: expected a value, found '''"},
      {"01", "line 1, column 1: a number starts with 0"},
      {"-01", "line 1, column 2: a number starts with 0"},
      {"+1", "line 1, column 1: expected a value, found '+'"},
      {".5", "line 1, column 1: expected a value, found '.'"},
      {"5.", "line 1, column 3: expected a digit, found the end of the text"},
      {"[1.e5]", "line 1, column 4: expected a digit, found 'e'"},
      {"1e", "line 1, column 3: expected a digit, found the end of the text"},
      {"1e+x", "line 1, column 4: expected a digit, found 'x'"},
      {"-", "line 1, column 2: expected a digit, found the end of the text"},
      {"0x10", "line 1, column 2: expected the end of the text, found 'x'"},
      {"\"abc",
       "line 1, column 5: expected '\"' at the end of a string, found the end of the text"},
      {"\"abc\\",
       "line 1, column 6: expected '\"' at the end of a string, found the end of the text"},
      {"\"a\nb\"",
       "line 1, column 3: a string holds the control character U+000A, which must be escaped"},
      {"\"\\x41\"", "line 1, column 2: a string holds a backslash before 'x', which is no escape"},
      {"\"\\u12G4\"", "line 1, column 6: expected four hexadecimal digits behind \\u, found 'G'"},
      {"\"\\ud800\"",
       "line 1, column 2: a string holds the escape \\uD800, half of a surrogate pair"},
      {"\"a\\udc00b\"",
       "line 1, column 3: a string holds the escape \\uDC00, half of a surrogate pair"},
      {"\"\\ud800\\u0041\"",
       "line 1, column 2: a string holds the escape \\uD800, half of a surrogate pair"},
      {"\"\\ud800\\ud800\"",
       "line 1, column 2: a string holds the escape \\uD800, half of a surrogate pair"},
      {"\"a\xFF\"", "line 1, column 3: a string holds the byte 0xFF, which is not UTF-8"},
      {"\"\xED\xA0\x80\"", "line 1, column 2: a string holds the byte 0xED, which is not UTF-8"},
      {"\"\xC0\xAF\"", "line 1, column 2: a string holds the byte 0xC0, which is not UTF-8"},
      {"\"\xE2\x82", "line 1, column 2: a string holds the byte 0xE2, which is not UTF-8"},
      {"[1,\xFE]", "line 1, column 4: expected a value, found the byte 0xFE, which is not UTF-8"},
      {"\xEF\xBB\xBF[]",
       "line 1, column 1: the text starts with a byte order mark, which JSON does not have"},
      {std::string("[1,\0]", 5),
       "line 1, column 4: expected a value, found the control character U+0000"},
      {std::string("[1]\0", 4),
       "line 1, column 4: expected the end of the text, found the control character U+0000"},
      {"[1,é]", "line 1, column 4: expected a value, found 'é'"},
      {"[/*x*/1]", "line 1, column 2: expected a value, found '/'"},
      {"[1\v]", "line 1, column 3: expected ',' or ']', found the control character U+000B"},
      {"\xC2\xA0[]", "line 1, column 1: expected a value, found '\xC2\xA0'"},
  };
  for (const auto& [text, problem] : texts) EXPECT_EQ(problemOf(text), problem) << text;
}

TEST(JSONReading, ErrorsCarryTheirPlace) {
  Ref<NSError> error;
  EXPECT_TRUE(NSJSONSerialization::JSONObjectWithTextOptionsError("[\"é\",\n\"ü\" x]",
                                                                  NSJSONReadingPlain, &error)
                  .isNull());
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain()->utf8(), NSCocoaErrorDomain);
  EXPECT_EQ(error->code(), NSPropertyListReadCorruptError);
  EXPECT_EQ(error->userInfo()->objectForKey(NSJSONSerializationErrorLine), Value(2));
  EXPECT_EQ(error->userInfo()->objectForKey(NSJSONSerializationErrorColumn), Value(5));
  EXPECT_EQ(error->userInfo()->objectForKey(NSJSONSerializationErrorIndex), Value(12));
}

TEST(JSONReading, EveryStartOfATextIsAnError) {
  const std::string text =
      R"({"id": 7, "name": "é\u00e9\ud83d\ude00", "tags": [true, null, -1.5e3], "in": {"a": {}}})";
  ASSERT_EQ(problemOf(text), "");
  for (std::size_t size = 0; size < text.size(); ++size) {
    EXPECT_NE(problemOf(text.substr(0, size)), "") << text.substr(0, size);
  }
}

TEST(JSONReading, NestingUpToTheLimitIsRead) {
  EXPECT_EQ(problemOf(nested(NSJSONMaximumDepth)), "");
  EXPECT_EQ(problemOf(nested(NSJSONMaximumDepth, "1")), "");
  EXPECT_EQ(problemOf(nested(NSJSONMaximumDepth, "99999999999999999999")), "");
  const std::string tooDeep =
      "line 1, column 1001: arrays and objects are nested more than 1000 deep";
  EXPECT_EQ(problemOf(nested(NSJSONMaximumDepth + 1)), tooDeep);
  EXPECT_EQ(problemOf(nested(NSJSONMaximumDepth, "{}")), tooDeep);
  EXPECT_EQ(problemOf(nested(1'000'000)), tooDeep);
  EXPECT_EQ(problemOf(std::string(10'000'000, '[')), tooDeep);
  std::string objects;
  for (int i = 0; i < 100'000; ++i) objects += "{\"a\":";
  EXPECT_EQ(problemOf(objects),
            "line 1, column 5001: arrays and objects are nested more than 1000 deep");
}

TEST(JSONReading, TextUpToTheLengthThatTheCallerSetsIsRead) {
  const auto problem = [](std::string_view text, NSUInteger limit) {
    Ref<NSError> error, ofData;
    const Value value = NSJSONSerialization::JSONObjectWithTextOptionsMaximumLengthError(
        text, NSJSONReadingPlain, limit, &error);
    const Value again = NSJSONSerialization::JSONObjectWithDataOptionsMaximumLengthError(
        NSData::dataWithText(std::string(text)), NSJSONReadingPlain, limit, &ofData);
    EXPECT_EQ(value, again);
    EXPECT_EQ(value.isNull(), static_cast<bool>(error));
    EXPECT_EQ(Value(error), Value(ofData));
    if (!error) return std::string();
    EXPECT_EQ(error->code(), NSPropertyListReadCorruptError);
    return error->localizedDescription()->toStdString();
  };
  EXPECT_EQ(problem("[1, 2]", 6), "");
  EXPECT_EQ(problem("[1, 2]", 5),
            "line 1, column 6: the text has 6 bytes, more than the limit of 5");
  EXPECT_EQ(problem("[1,\n2]", 4),
            "line 2, column 1: the text has 6 bytes, more than the limit of 4");
  EXPECT_EQ(problem("\"é\"", 4), "") << "bytes are counted";
  EXPECT_EQ(problem("\"é\"", 3),
            "line 1, column 3: the text has 4 bytes, more than the limit of 3");
  EXPECT_EQ(problem("1", 0), "line 1, column 1: the text has 1 bytes, more than the limit of 0");
  EXPECT_NE(problem("", 0), "") << "an empty text is no JSON";
  EXPECT_EQ(problem("[1 2]", 3), "line 1, column 4: the text has 5 bytes, more than the limit of 3")
      << "what is too long is not read";
  EXPECT_EQ(problem("[" + std::string(100'000, ' ') + "]", 100'002), "");
  EXPECT_NE(problem("[" + std::string(100'000, ' ') + "]", 100'001), "");
  EXPECT_TRUE(NSJSONSerialization::JSONObjectWithTextOptionsMaximumLengthError(
                  "[1]", NSJSONReadingPlain, 2, nullptr)
                  .isNull());
  EXPECT_EQ(testing::raisedName([] {
              NSJSONSerialization::JSONObjectWithDataOptionsMaximumLengthError(
                  nullptr, NSJSONReadingPlain, 2, nullptr);
            }),
            NSInvalidArgumentException);
}

TEST(JSONReading, ATextMayFollowOneThatWasTooDeep) {
  EXPECT_NE(problemOf(nested(NSJSONMaximumDepth + 5, "1,2,3")), "");
  EXPECT_EQ(testing::written(parsed("[4]")), "[4]");
}

TEST(JSONReading, LargeArraysAreReadLikeSmallOnes) {
  std::string text = " [";
  for (int i = 0; i < 20'000; ++i) text += (i ? ", [" : "[") + std::to_string(i) + "]";
  const Value value = parsed(text + "] ");
  const NSArray* list = as<NSArray>(value);
  ASSERT_TRUE(list);
  ASSERT_EQ(list->count(), 20'000u);
  EXPECT_EQ(testing::written(list->lastObject()), "[19999]");
  EXPECT_EQ(problemOf(text), "line 1, column " + std::to_string(text.size() + 1) +
                                 ": expected ',' or ']', found the end of the text");
  EXPECT_EQ(problemOf(text + "] x"), "line 1, column " + std::to_string(text.size() + 3) +
                                         ": expected the end of the text, found 'x'");
  EXPECT_EQ(problemOf(std::string(100'000, ' ')),
            "line 1, column 100001: expected a value, found the end of the text");
  const Value changeable = NSJSONSerialization::JSONObjectWithTextOptionsError(
      text + "]", NSJSONReadingMutableContainers, nullptr);
  ASSERT_TRUE(isKindOf<NSMutableArray>(changeable));
  EXPECT_TRUE(isKindOf<NSMutableArray>(as<NSArray>(changeable)->firstObject()));
  EXPECT_EQ(changeable, value);
}

TEST(JSONReading, ManyKeysAndLongValuesAreRead) {
  std::string text = "{";
  for (int i = 0; i < 50'000; ++i) {
    text += (i ? ",\"key" : "\"key") + std::to_string(i) + "\":" + std::to_string(i);
  }
  text += ",\"long\":\"" + std::string(5'000'000, 'x') + "\"}";
  const Value value = parsed(text);
  const NSDictionary* record = as<NSDictionary>(value);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->count(), 50'001u);
  for (int i = 0; i < 50'000; i += 997) {
    EXPECT_EQ(record->objectForKey("key" + std::to_string(i)), Value(i));
  }
  const Value text5 = record->objectForKey("long");
  EXPECT_EQ(as<NSString>(text5)->length(), 5'000'000u);
}

}  // namespace
}  // namespace JNFoundation
