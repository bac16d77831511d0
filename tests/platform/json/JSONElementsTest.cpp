#include <algorithm>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/json/JSONTexts.h"
#include "platform/text/Randomness.h"

#include <JNFoundation/platform/json/JSONElements.h>

namespace JNFoundation {
namespace {

using testing::nested;
using testing::problemOf;
using testing::Randomness;

struct Walked {
  std::vector<Value> elements;
  bool succeeded = false;
  std::string problem;
};

Walked walk(std::string_view text, NSUInteger stopAfter = ~NSUInteger{0}) {
  Walked walked;
  Ref<NSError> error;
  walked.succeeded = NSJSONSerialization::enumerateElementsOfTextOptionsErrorUsingBlock(
      text, NSJSONReadingPlain, &error,
      [&walked, stopAfter](const Value& element, NSUInteger index, bool& stop) {
        EXPECT_EQ(index, walked.elements.size());
        walked.elements.push_back(element);
        stop = index == stopAfter;
      });
  EXPECT_EQ(walked.succeeded, !error);
  if (error) walked.problem = error->localizedDescription()->toStdString();
  return walked;
}

TEST(JSONElements, AreThoseOfTheWholeText) {
  for (const std::string text : {"[]", " [ ] ", "[1]", "[ 1 , 2 ]", "[[],{},\"\",null,true,1.5]",
                                 R"([{"a":"]"},{"b":"\"[{\\"},[1,[2,[3]]],"x\\"])",
                                 "[99999999999999999999,[99999999999999999999]]", "[1,2]\n"}) {
    const Walked walked = walk(text);
    EXPECT_TRUE(walked.succeeded) << text << walked.problem;
    EXPECT_EQ(Value(NSArray::arrayWithValues(walked.elements)), testing::parsed(text)) << text;
  }
}

TEST(JSONElements, ManyRecordsArriveInOrder) {
  std::string text = "[";
  for (int i = 0; i < 10'000; ++i) {
    text += (i ? ",\n" : "") + std::string("{\"id\":") + std::to_string(i) + ",\"name\":\"n\"}";
  }
  const Walked walked = walk(text + "]");
  ASSERT_TRUE(walked.succeeded) << walked.problem;
  ASSERT_EQ(walked.elements.size(), 10'000u);
  for (int i = 0; i < 10'000; ++i) {
    const NSDictionary* record = as<NSDictionary>(walked.elements[static_cast<std::size_t>(i)]);
    ASSERT_EQ(record->objectForKey("id"), Value(i));
  }
}

TEST(JSONElements, ErrorsAreThoseOfTheWholeText) {
  for (const std::string text : {"",
                                 "[",
                                 "[1",
                                 "[1,",
                                 "[1,]",
                                 "[,1]",
                                 "[1 2]",
                                 "[1]x",
                                 "[1],",
                                 "[1,{\"a\":}]",
                                 "[{\"a\":1]}",
                                 "[{\"a\":1},\n {\"b\"}]",
                                 "[\"abc",
                                 "[nul]",
                                 "[1,2}",
                                 "]",
                                 "[[1,2]",
                                 "[\"\\ud800\"]",
                                 "[1e999]",
                                 "[1,\xFF]",
                                 "\xEF\xBB\xBF[]",
                                 "[{\"a\":1}{\"b\":2}]",
                                 "[1:2]"}) {
    const Walked walked = walk(text);
    EXPECT_FALSE(walked.succeeded) << text;
    EXPECT_EQ(walked.problem, problemOf(text)) << text;
    EXPECT_NE(walked.problem, "") << text;
  }
}

TEST(JSONElements, WhatStandsBeforeAnErrorIsReadAndNothingBehindIt) {
  const Walked walked = walk("[1,2,x,3]");
  EXPECT_EQ(walked.elements, (std::vector<Value>{1, 2}));
}

TEST(JSONElements, ATextThatIsNoArrayIsAnError) {
  EXPECT_EQ(walk(" {\"a\":1}").problem, "line 1, column 2: expected '[' at the start of an array");
  EXPECT_EQ(walk("7").problem, "line 1, column 1: expected '[' at the start of an array");
}

TEST(JSONElements, WhatFollowsAStopIsNotRead) {
  const Walked walked = walk("[1,2,x", 1);
  EXPECT_TRUE(walked.succeeded);
  EXPECT_EQ(walked.elements, (std::vector<Value>{1, 2}));
}

TEST(JSONElements, NestingHasTheLimitOfTheWholeText) {
  EXPECT_TRUE(walk(nested(NSJSONMaximumDepth)).succeeded);
  EXPECT_EQ(walk(nested(NSJSONMaximumDepth + 1)).problem,
            "line 1, column 1001: arrays and objects are nested more than 1000 deep");
  EXPECT_FALSE(walk(std::string(1'000'000, '[')).succeeded);
}

TEST(JSONElements, AnErrorOfTheBlockLeavesTheWalk) {
  int calls = 0;
  EXPECT_THROW(NSJSONSerialization::enumerateElementsOfTextOptionsErrorUsingBlock(
                   "[1,2]", NSJSONReadingPlain, nullptr,
                   [&calls](const Value&, NSUInteger, bool&) {
                     ++calls;
                     throw std::runtime_error("enough");
                   }),
               std::runtime_error);
  EXPECT_EQ(calls, 1);
}

TEST(JSONElementsDeathTest, ANullBlockIsFatal) {
  EXPECT_DEATH(NSJSONSerialization::enumerateElementsOfTextOptionsErrorUsingBlock(
                   "[]", NSJSONReadingPlain, nullptr, nullptr),
               "the block is null");
}

TEST(JSONElements, ComeAtThePaceOfWhoeverAsks) {
  const std::string text = " [1, null, [2], \"three\"] ";
  class JSONElements elements(text, NSJSONReadingPlain);
  EXPECT_EQ(elements.offset(), 0u);
  EXPECT_EQ(elements.next(), Value(1));
  const std::size_t offset = elements.offset();
  EXPECT_EQ(offset, text.find(','));
  EXPECT_FALSE(elements.failed(nullptr));
  EXPECT_TRUE(elements.next().isNSNull());
  EXPECT_GT(elements.offset(), offset);
  EXPECT_TRUE(isKindOf<NSArray>(elements.next()));
  EXPECT_EQ(elements.next(), Value("three"));
  Ref<NSError> error;
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(elements.next().isNull());
    EXPECT_FALSE(elements.failed(&error));
  }
  EXPECT_FALSE(error);
  EXPECT_EQ(elements.offset(), text.size());
}

TEST(JSONElements, EndForGoodWhereTheTextGoesWrong) {
  const std::string text = "[1, 2, x, 4]";
  class JSONElements elements(text, NSJSONReadingPlain);
  EXPECT_EQ(elements.next(), Value(1));
  EXPECT_EQ(elements.next(), Value(2));
  Ref<NSError> error;
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(elements.next().isNull());
    EXPECT_TRUE(elements.failed(&error));
    EXPECT_TRUE(elements.failed(nullptr));
  }
  EXPECT_EQ(error->userInfo()->objectForKey(NSJSONSerializationErrorIndex), Value(7));
}

/// Long arrays are read many elements at a time, which nobody is to notice.
class LongArray : public ::testing::Test {
 protected:
  /// One that may look like several.
  std::string element(int depth = 0) {
    static const char* const texts[] = {R"("},{\"id\":")", R"(",{\"id\"")", R"("\\")",
                                        R"("\\\"]},[")",   R"("ä€𝄞")",      R"("")",
                                        R"("id")"};
    switch (randomness.below(depth == 0 ? 12 : 7)) {
      case 0:
        return std::to_string(randomness.between(-1000, 1000));
      case 1:
        return "18446744073709551617";  // for no integer
      case 2:
        return texts[randomness.below(std::size(texts))];
      case 3:
        return depth < 3 ? "[" + element(depth + 1) + separator + element(depth + 1) + "]" : "[]";
      default:
        break;
    }
    std::string text = randomness.below(8) == 0 ? "{\"other\":1,\"id\":" : "{\"id\":";
    text += depth < 3 && randomness.below(4) == 0 ? element(depth + 1)
                                                  : std::to_string(randomness.below(100));
    text += separator + "\"name\":";
    text += texts[randomness.below(std::size(texts))];
    if (depth < 2 && randomness.below(6) == 0)
      text += separator + "\"inner\":" + element(depth + 1);
    return text + "}";
  }

  Randomness randomness;
  std::string separator = ",";
};

TEST_F(LongArray, HasTheElementsThatItsTextsAre) {
  JN_TRACE_SEED(randomness);
  for (int round = 0; round < testing::rounds(12, 500); ++round) {
    separator = randomness.below(2) == 0 ? "," : " ,\n ";
    const bool isPlain = randomness.below(3) == 0;
    std::vector<std::string> texts;
    std::string whole = "[";
    const std::size_t size = randomness.below(200'000);
    while (whole.size() < size) {
      texts.push_back(isPlain ? "{\"id\":" + std::to_string(texts.size()) + "}" : element());
      if (texts.size() > 1) whole += separator;
      whole += texts.back();
    }
    whole += "]";
    class JSONElements elements(whole, NSJSONReadingPlain);
    for (const std::string& text : texts) {
      const Value expected =
          NSJSONSerialization::JSONObjectWithTextOptionsError(text, NSJSONReadingPlain, nullptr);
      ASSERT_EQ(elements.next(), expected) << text;
      ASSERT_LE(elements.offset(), whole.size());
    }
    Ref<NSError> error;
    ASSERT_TRUE(elements.next().isNull());
    ASSERT_FALSE(elements.failed(&error)) << error->localizedDescription()->utf8();
  }
}

TEST_F(LongArray, IsRefusedWhereACarefulReaderRefusesIt) {
  JN_TRACE_SEED(randomness);
  for (int round = 0; round < testing::rounds(40, 2000); ++round) {
    std::string whole = "[{\"id\":0}";
    while (whole.size() < 100'000) whole += separator + element();
    whole += "]";
    static constexpr std::string_view spoils = "\"{}[],:x\\1 ";
    whole[randomness.below(whole.size())] = spoils[randomness.below(spoils.size())];
    // As the value of a member the array is read at once.
    const std::string before = "{\"array\":";
    Ref<NSError> expected;
    const Value member = NSJSONSerialization::JSONObjectWithTextOptionsError(
        before + whole + "}", NSJSONReadingPlain, &expected);
    const Walked walked = walk(whole);
    ASSERT_EQ(walked.succeeded, !member.isNull());
    if (!walked.succeeded) continue;
    ASSERT_EQ(Value(NSArray::arrayWithValues(walked.elements)),
              as<NSDictionary>(member)->objectForKey("array"));
  }
}

TEST_F(LongArray, OfNumbersAndOfTextsIsRead) {
  for (const std::string text : {"7", "\"a,b\"", "null", "[1,2]", "{}", "{\"\":{\"\":1}}"}) {
    std::string whole = "[" + text;
    NSUInteger count = 1;
    for (; whole.size() < 150'000; ++count) whole += "," + text;
    const Walked walked = walk(whole + "]");
    EXPECT_TRUE(walked.succeeded) << text;
    EXPECT_EQ(walked.elements.size(), count);
    const Value one =
        NSJSONSerialization::JSONObjectWithTextOptionsError(text, NSJSONReadingPlain, nullptr);
    EXPECT_EQ(std::count(walked.elements.begin(), walked.elements.end(), one),
              static_cast<std::ptrdiff_t>(count));
  }
}

}  // namespace
}  // namespace JNFoundation
