#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "platform/text/Randomness.h"

#include <JNFoundation/platform/text/UTF8.h>

namespace JNFoundation {
namespace {

using namespace std::string_view_literals;

const std::string replacement = "\xEF\xBF\xBD";

std::string replacements(std::size_t count) {
  std::string text;
  for (; count > 0; --count) text += replacement;
  return text;
}

struct IllFormed {
  std::string_view text;
  std::size_t subparts;
};

// Each text is ill-formed throughout; the numbers are those of the Unicode standard's rule of
// maximal subparts (its tables 3-8 to 3-11 are among them).
const IllFormed corpus[] = {
    {"\x80", 1},
    {"\xBF\xBF", 2},
    {"\xC0\xAF", 2},
    {"\xC1\xBF", 2},
    {"\xC2", 1},
    {"\xDF", 1},
    {"\xE0\x80\xAF", 3},
    {"\xE0\x9F\xBF", 3},
    {"\xE0\xA0", 1},
    {"\xE2\x82", 1},
    {"\xED\xA0\x80", 3},
    {"\xED\xBF\xBF", 3},
    {"\xED\xA0\x80\xED\xB0\x80", 6},
    {"\xEF\xBF", 1},
    {"\xF0\x80\x80\x80", 4},
    {"\xF0\x8F\xBF\xBF", 4},
    {"\xF0\x9F\x98", 1},
    {"\xF0\x9F", 1},
    {"\xF0", 1},
    {"\xF4\x90\x80\x80", 4},
    {"\xF4\x8F\xBF", 1},
    {"\xF5\x80\x80\x80", 4},
    {"\xF8\x88\x80\x80\x80", 5},
    {"\xFC\x84\x80\x80\x80\x80", 6},
    {"\xFE", 1},
    {"\xFF\xFF", 2},
    {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF", 4},
};

const std::string_view wellFormed[] = {
    "",
    "plain",
    "exactly8",
    "more than eight bytes of it",
    "\xC2\x80",
    "\xDF\xBF",
    "\xE0\xA0\x80",
    "\xED\x9F\xBF",
    "\xEE\x80\x80",
    "\xEF\xBF\xBF",
    "\xF0\x90\x80\x80",
    "\xF4\x8F\xBF\xBF",
    "a\0b"sv,
    "\0"sv,
    "na\xC3\xAFve caf\xC3\xA9, \xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E \xF0\x9F\x98\x80",
};

TEST(UTF8, WellFormedTextIsValidAndStaysAsItIs) {
  for (const std::string_view text : wellFormed) {
    EXPECT_TRUE(isValidUTF8(text)) << ::testing::PrintToString(text);
    EXPECT_EQ(sanitizedUTF8(text), text);
  }
}

TEST(UTF8, EveryMaximalSubpartBecomesOneReplacementCharacter) {
  for (const auto& [text, subparts] : corpus) {
    SCOPED_TRACE(::testing::PrintToString(text));
    EXPECT_FALSE(isValidUTF8(text));
    EXPECT_EQ(sanitizedUTF8(text), replacements(subparts));
  }
}

TEST(UTF8, WhatSurroundsAnIllFormedSequenceStays) {
  // At every alignment to the words that ASCII is read in.
  for (const auto& [text, subparts] : corpus) {
    for (std::size_t length = 0; length < 18; ++length) {
      const std::string before(length, 'a');
      const std::string whole = before + std::string(text) + "z" + before;
      EXPECT_FALSE(isValidUTF8(whole));
      EXPECT_EQ(sanitizedUTF8(whole), before + replacements(subparts) + "z" + before);
    }
  }
}

TEST(UTF8, SequenceCutOffByAnotherOneCostsOneReplacement) {
  EXPECT_EQ(sanitizedUTF8("\xE2\x82"
                          "A\xF0\x9F\x98\xC3\xA9"),
            replacement + "A" + replacement + "\xC3\xA9");
}

TEST(UTF8, ASCIIEndsAtTheFirstHighByte) {
  EXPECT_TRUE(isASCII(""));
  EXPECT_TRUE(isASCII("\0\x7F"sv));
  for (std::size_t length = 0; length < 40; ++length) {
    const std::string text(length, 'x');
    EXPECT_TRUE(isASCII(text));
    for (std::size_t place = 0; place < length; ++place) {
      std::string marred = text;
      marred[place] = '\x80';
      EXPECT_FALSE(isASCII(marred)) << place << " of " << length;
    }
  }
}

TEST(UTF8, EveryCodePointReadsBack) {
  for (char32_t codePoint = 0; codePoint <= 0x10FFFF; ++codePoint) {
    if (codePoint == 0xD800) codePoint = 0xE000;
    std::string text;
    appendUTF8(text, codePoint);
    std::size_t offset = 0;
    ASSERT_EQ(nextCodePoint(text, offset), codePoint);
    ASSERT_EQ(offset, text.size());
    ASSERT_TRUE(isValidUTF8(text));
    ASSERT_EQ(codePointCount(text), 1u);
  }
}

TEST(UTF8, NumbersThatAreNoCodePointsAreAppendedAsReplacement) {
  for (const char32_t number : {0xD800u, 0xDBFFu, 0xDC00u, 0xDFFFu, 0x110000u, 0xFFFFFFFFu}) {
    std::string text = "a";
    appendUTF8(text, number);
    EXPECT_EQ(text, "a" + replacement);
  }
}

TEST(UTF8, ReadingMovesOnByAtLeastOneByte) {
  for (const auto& [text, subparts] : corpus) {
    std::size_t offset = 0;
    std::size_t count = 0;
    while (offset < text.size()) {
      const std::size_t before = offset;
      EXPECT_EQ(nextCodePoint(text, offset), replacementCharacter);
      ASSERT_GT(offset, before);
      ++count;
    }
    EXPECT_EQ(offset, text.size());
    EXPECT_EQ(count, subparts);
  }
}

TEST(UTF8, CountsCodePointsNotBytes) {
  EXPECT_EQ(codePointCount(""), 0u);
  EXPECT_EQ(codePointCount("caf\xC3\xA9"), 4u);
  EXPECT_EQ(codePointCount("a\0b"sv), 3u);
  EXPECT_EQ(codePointCount("\xF0\x9F\x98\x80\xF0\x9F\x98\x80"), 2u);
  EXPECT_EQ(codePointCount(std::string(1000, 'a') + "\xC3\xA9"), 1001u);
}

TEST(UTF8, OffsetAtTheEndIsTheSize) {
  EXPECT_EQ(offsetOfCodePoint("", 0), 0u);
  EXPECT_EQ(offsetOfCodePoint("", 7), 0u);
  EXPECT_EQ(offsetOfCodePoint("caf\xC3\xA9", 3), 3u);
  EXPECT_EQ(offsetOfCodePoint("caf\xC3\xA9", 4), 5u);
  EXPECT_EQ(offsetOfCodePoint("caf\xC3\xA9", 100), 5u);
}

TEST(UTF8, CountsAndOffsetsAgreeWithReadingOneByOne) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  const char32_t samples[] = {U'a', 0, 0x7F, 0x80, 0xE9, 0x7FF, 0x800, 0x65E5, 0xFFFF, 0x1F600};
  for (int round = 0; round < 2'000; ++round) {
    std::string text;
    std::vector<std::size_t> starts;
    const std::uint64_t length = random.below(60);
    for (std::uint64_t index = 0; index < length; ++index) {
      starts.push_back(text.size());
      appendUTF8(text, random.below(3) == 0 ? samples[random.below(std::size(samples))] : U'x');
    }
    ASSERT_EQ(codePointCount(text), starts.size());
    std::size_t offset = 0;
    for (std::size_t index = 0; index < starts.size(); ++index) {
      ASSERT_EQ(offset, starts[index]);
      ASSERT_EQ(offsetOfCodePoint(text, index), starts[index]);
      nextCodePoint(text, offset);
    }
    ASSERT_EQ(offset, text.size());
    ASSERT_EQ(offsetOfCodePoint(text, starts.size()), text.size());
  }
}

TEST(UTF8, RandomBytesAreValidAfterSanitizing) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  for (int round = 0; round < 20'000; ++round) {
    std::string bytes;
    const std::uint64_t length = random.below(24);
    for (std::uint64_t index = 0; index < length; ++index) {
      bytes +=
          static_cast<char>(random.below(4) == 0 ? random.below(128) : 128 + random.below(128));
    }
    const std::string text = sanitizedUTF8(bytes);
    ASSERT_TRUE(isValidUTF8(text)) << ::testing::PrintToString(bytes);
    ASSERT_EQ(isValidUTF8(bytes), text == bytes) << ::testing::PrintToString(bytes);
    ASSERT_EQ(sanitizedUTF8(text), text);
  }
}

}  // namespace
}  // namespace JNFoundation
