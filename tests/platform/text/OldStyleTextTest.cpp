#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include <JNFoundation/platform/text/OldStyleText.h>

namespace JNFoundation {
namespace {

using namespace std::string_view_literals;

TEST(OldStyleText, PlainTextStaysAsItIs) {
  for (const std::string_view text :
       {"a", "42", "-9.99", "first_name", "images/cat.png", "$var", "ABCxyz", "-"}) {
    EXPECT_EQ(quotedForPropertyList(text), text);
  }
}

TEST(OldStyleText, EveryOtherASCIICharacterAsksForQuotes) {
  constexpr std::string_view plain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_./$-";
  for (int number = 0; number < 128; ++number) {
    const std::string text = "a" + std::string(1, static_cast<char>(number));
    const bool stays = plain.find(static_cast<char>(number)) != std::string_view::npos;
    EXPECT_EQ(quotedForPropertyList(text) == text, stays) << number;
    EXPECT_EQ(quotedForPropertyList(text).front() == '"', !stays) << number;
  }
}

TEST(OldStyleText, QuotedTextIsEscaped) {
  EXPECT_EQ(quotedForPropertyList(""), R"("")");
  EXPECT_EQ(quotedForPropertyList("two words"), R"("two words")");
  EXPECT_EQ(quotedForPropertyList("say \"hi\""), R"("say \"hi\"")");
  EXPECT_EQ(quotedForPropertyList("C:\\dir"), R"("C:\\dir")");
  EXPECT_EQ(quotedForPropertyList("a\nb\tc\rd"), R"("a\nb\tc\rd")");
  EXPECT_EQ(quotedForPropertyList("a = b;"), R"("a = b;")");
  EXPECT_EQ(quotedForPropertyList("<null>"), R"("<null>")");
}

TEST(OldStyleText, WhatIsNotPrintableASCIIIsWrittenInUTF16) {
  EXPECT_EQ(quotedForPropertyList("é"), R"("\U00e9")");
  EXPECT_EQ(quotedForPropertyList("日本"), R"("\U65e5\U672c")");
  EXPECT_EQ(quotedForPropertyList("😀"), R"("\Ud83d\Ude00")");
  EXPECT_EQ(quotedForPropertyList("\U0010FFFF"), R"("\Udbff\Udfff")");
  EXPECT_EQ(quotedForPropertyList("\uFFFF"), R"("\Uffff")");
  EXPECT_EQ(quotedForPropertyList("a\0b\x1F\x7F"sv), R"("a\U0000b\U001f\U007f")");
  EXPECT_EQ(quotedForPropertyList("a\xFFz"), R"("a\Ufffdz")");
}

}  // namespace
}  // namespace JNFoundation
