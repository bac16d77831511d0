#include <cstdio>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <string_view>

#include <JNFoundation/platform/text/PercentText.h>

namespace JNFoundation {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view unreserved =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";

TEST(PercentText, EveryByteButTheUnreservedOnesIsEscaped) {
  for (int number = 0; number < 256; ++number) {
    const std::string text(1, static_cast<char>(number));
    char escape[4];
    std::snprintf(escape, sizeof escape, "%%%02X", number);
    const bool stays = unreserved.find(text) != std::string_view::npos;
    EXPECT_EQ(percentEncoded(text), stays ? text : escape);
  }
}

TEST(PercentText, EncodesTheBytesOfUTF8) {
  EXPECT_EQ(percentEncoded(""), "");
  EXPECT_EQ(percentEncoded("a b/é+100%"), "a%20b%2F%C3%A9%2B100%25");
  EXPECT_EQ(percentEncoded("😀"), "%F0%9F%98%80");
  EXPECT_EQ(percentEncoded("a\0b"sv), "a%00b");
}

TEST(PercentText, GeneralFormEscapesWhatMayNotStandInAURL) {
  constexpr std::string_view legal = "!$&'()*+,-./:;=?@_~";
  constexpr std::string_view illegal = " \"#%<>[\\]^`{|}\x7F\n\0"sv;
  for (const char character : legal) {
    const std::string text(1, character);
    EXPECT_EQ(percentEncodedExcept(text, "", ""), text);
    char escape[4];
    std::snprintf(escape, sizeof escape, "%%%02X", static_cast<unsigned>(character));
    EXPECT_EQ(percentEncodedExcept(text, "", text), escape);
    EXPECT_EQ(percentEncodedExcept(text, text, text), escape);
  }
  for (const char character : illegal) {
    const std::string text(1, character);
    EXPECT_EQ(percentEncodedExcept(text, "", ""), percentEncoded(text));
    EXPECT_EQ(percentEncodedExcept(text, text, ""), text);
    EXPECT_EQ(percentEncodedExcept(text, text, text), text);
  }
  EXPECT_EQ(percentEncodedExcept("AZaz09", "", ""), "AZaz09");
}

TEST(PercentText, GeneralFormReadsItsSetsByCodePoint) {
  EXPECT_EQ(percentEncodedExcept("é日", "", ""), "%C3%A9%E6%97%A5");
  EXPECT_EQ(percentEncodedExcept("é日", "日é", ""), "é日");
  // "é" and "è" share their first byte.
  EXPECT_EQ(percentEncodedExcept("éè", "è", ""), "%C3%A9è");
  EXPECT_EQ(percentEncodedExcept("a-b~", "", "-~a"), "%61%2Db%7E");
}

TEST(PercentText, EscapedTextIsEscapedAgainUnlessPercentIsLeft) {
  EXPECT_EQ(percentEncodedExcept("a%20b", "", ""), "a%2520b");
  EXPECT_EQ(percentEncodedExcept("a%20b c", "%", ""), "a%20b%20c");
}

TEST(PercentText, FullSetOfForcedCharactersGivesTheQueryForm) {
  std::string everything;
  for (int number = 0; number < 128; ++number) everything += static_cast<char>(number);
  everything += "é日😀";
  EXPECT_EQ(percentEncodedExcept(everything, "", "!*'();:@&=+$,/?%#[]"),
            percentEncoded(everything));
}

TEST(PercentText, DecodesASCIIEscapes) {
  EXPECT_EQ(percentDecodedASCII(""), "");
  EXPECT_EQ(percentDecodedASCII("plain"), "plain");
  EXPECT_EQ(percentDecodedASCII("a%20b%2fc%2F"), "a b/c/");
  EXPECT_EQ(percentDecodedASCII("%7F"), "\x7F");
  EXPECT_EQ(percentDecodedASCII("%00"), "\0"sv);
  EXPECT_EQ(percentDecodedASCII("%2541"), "%41");
  EXPECT_EQ(percentDecodedASCII("a+b"), "a+b");
}

TEST(PercentText, CharactersThatAreNoEscapesStay) {
  EXPECT_EQ(percentDecodedASCII("é%20日"), "é 日");
}

TEST(PercentText, EscapesThatAreNotASCIIAreRefused) {
  EXPECT_EQ(percentDecodedASCII("%80"), std::nullopt);
  EXPECT_EQ(percentDecodedASCII("%C3%A9"), std::nullopt);
  EXPECT_EQ(percentDecodedASCII("fine%20until%FF"), std::nullopt);
  EXPECT_EQ(percentDecodedASCII(percentEncoded("é")), std::nullopt);
}

TEST(PercentText, MalformedEscapesAreRefused) {
  for (const std::string_view text :
       {"%", "%2", "%zz", "%2z", "%z2", "a%", "a%4", "%%41", "% 41", "%+1", "%-1", "%\xC3\xA9"}) {
    EXPECT_EQ(percentDecodedASCII(text), std::nullopt) << text;
  }
}

TEST(PercentText, ASCIITextSurvivesEncodingAndDecoding) {
  std::string everything;
  for (int number = 0; number < 128; ++number) everything += static_cast<char>(number);
  EXPECT_EQ(percentDecodedASCII(percentEncoded(everything)), everything);
}

}  // namespace
}  // namespace JNFoundation
