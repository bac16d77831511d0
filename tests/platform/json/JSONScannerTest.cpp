#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "platform/json/JSONTexts.h"
#include "platform/text/Randomness.h"

#include <JNFoundation/platform/json/impl/JSONReader.h>
#include <JNFoundation/platform/json/impl/JSONScanner.h>

namespace JNFoundation {
namespace {

using impl::findJSONProblem;
using impl::JSONReader;

const char* const samples[] = {
    R"({"id": 7, "name": "é\u00e9\ud83d\ude00\n", "tags": [true, null, -1.5e3], "in": {"a": {}}})",
    R"([[], [[]], {"a":[{"b":[{}]}]}, "\"\\\/\b\f\n\r\t", 0, -0, 0.0, 1e5, 1E+5, 1e-5, 10])",
    "\"plain € 😀 text\"",
    "[18446744073709551615, -9223372036854775808, 99999999999999999999, 1e308]",
    " [ 1 , { \"a\" : false } ] \n",
    "[1,[2,[3,[4,[5,[6]]]]]]",
};

/// Texts that are nearly JSON: a few bytes of a sample are changed.
std::string mutated(testing::Randomness& random) {
  static const std::string bytes =
      "{}[]\",:\\/ "
      "\n\t\r0123456789+-.eEtrufalsn\x01\x7F\x80\xBF\xC3\xA9\xE2\x82\xAC\xED\xA0\xF0\xFFud8";
  std::string text = samples[random.below(std::size(samples))];
  for (NSUInteger changes = random.below(4); changes-- > 0 && !text.empty();) {
    const std::size_t at = random.below(text.size());
    switch (random.below(4)) {
      case 0:
        text[at] = bytes[random.below(bytes.size())];
        break;
      case 1:
        text.erase(at, 1 + random.below(3));
        break;
      case 2:
        text.insert(at, 1, bytes[random.below(bytes.size())]);
        break;
      default:
        text.insert(at, text.substr(random.below(text.size()), random.below(10)));
    }
  }
  return text;
}

TEST(JSONScanner, AgreesWithTheFastReader) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  JSONReader reader(NSJSONReadingPlain);
  int accepted = 0, refused = 0;
  for (int i = 0; i < 200'000; ++i) {
    const std::string text = mutated(random);
    std::vector<std::size_t> largeIntegers;
    const auto problem = findJSONProblem(text, NSJSONMaximumDepth, &largeIntegers);
    const bool isRead =
        !reader.read(text, JSONReader::Padding::Missing, NSJSONMaximumDepth).isNull();
    ASSERT_EQ(isRead, !problem && largeIntegers.empty())
        << text << "\n"
        << (problem ? problem->message : "no problem") << "; " << reader.refusal();
    if (problem) {
      ASSERT_LE(problem->offset, text.size());
    }
    (isRead ? accepted : refused)++;
  }
  // Both happened, or nothing was tested.
  EXPECT_GT(accepted, 10'000);
  EXPECT_GT(refused, 10'000);
}

TEST(JSONReader, WhatWasGivenUpHalfWayLeavesNothingForTheNextText) {
  JSONReader reader(NSJSONReadingPlain);
  const auto read = [&](std::string_view text) {
    return reader.read(text, JSONReader::Padding::Missing, 3);
  };
  for (const char* tooDeep : {R"({"a": 1, "b": {"c": 2, "d": {"e": 3, "f": {}}}})",
                              R"([1, [2, [3, []]]])", R"([1, {"a": [2, {}]}])"}) {
    EXPECT_TRUE(read(tooDeep).isNull());
    for (const char* text : {R"({"x": {"y": {"z": 1}}, "a": [[]]})", "[[[9], 8], 7]"}) {
      EXPECT_EQ(read(text), testing::parsed(text));
    }
  }
}

TEST(JSONScanner, ElementsOfMutatedArraysAreTheArraysOwn) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  for (int i = 0; i < 50'000; ++i) {
    const std::string text = "[" + mutated(random) + (random.below(8) == 0 ? "" : "]");
    std::vector<Value> elements;
    Ref<NSError> error;
    const bool succeeded = NSJSONSerialization::enumerateElementsOfTextOptionsErrorUsingBlock(
        text, NSJSONReadingPlain, &error,
        [&elements](const Value& element, NSUInteger, bool&) { elements.push_back(element); });
    const Value whole = testing::parsed(text);
    ASSERT_EQ(succeeded, !whole.isNull()) << text;
    if (succeeded) {
      ASSERT_EQ(Value(NSArray::arrayWithValues(elements)), whole) << text;
    } else {
      ASSERT_EQ(error->localizedDescription()->toStdString(), testing::problemOf(text)) << text;
    }
  }
}

TEST(JSONScanner, WhatIsReadIsWrittenAndReadAgain) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  for (int i = 0; i < 20'000; ++i) {
    const Value value = testing::parsed(mutated(random));
    if (value.isNull()) continue;
    for (const auto options : {NSJSONWritingCompact, NSJSONWritingPrettyPrinted}) {
      ASSERT_EQ(testing::parsed(testing::written(value, options)), value);
    }
  }
}

/// Where a value ends that starts with a bracket, byte by byte.
std::size_t plainEndOf(std::string_view text) {
  std::size_t depth = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '"') {
      for (++i; i < text.size() && text[i] != '"'; ++i) i += text[i] == '\\' ? 1 : 0;
    } else if (text[i] == '{' || text[i] == '[') {
      ++depth;
    } else if ((text[i] == '}' || text[i] == ']') && --depth == 0) {
      return i + 1;
    }
  }
  return text.size();
}

TEST(JSONScanner, AValueEndsWhereItsBracketsCloseWhateverStandsInItsStrings) {
  testing::Randomness randomness;
  JN_TRACE_SEED(randomness);
  const std::string_view pieces[] = {"{",
                                     "}",
                                     "[",
                                     "]",
                                     "\"",
                                     "\\",
                                     "\\\"",
                                     "\\\\",
                                     "a",
                                     ",",
                                     " ",
                                     "\"key\":",
                                     "a longer text, with spaces",
                                     "\"a string with } and ] in it\""};
  for (int round = testing::rounds(20'000, 1'000'000); round > 0; --round) {
    std::string text = randomness.below(2) == 0 ? "{" : "[";
    for (std::uint64_t left = randomness.below(40); left > 0; --left) {
      text += pieces[randomness.below(std::size(pieces))];
    }
    const std::string before(randomness.below(20), ' ');
    ASSERT_EQ(impl::endOfJSONValue(before + text, before.size()), before.size() + plainEndOf(text))
        << text;
  }
}

}  // namespace
}  // namespace JNFoundation
