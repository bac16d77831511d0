#include <gtest/gtest.h>
#include <string>

#include "platform/text/Randomness.h"

#include <JNFoundation/mapping/NSString+Extensions.h>

namespace JNFoundation {
namespace {

std::string encoded(std::string_view text) { return jn_stringWithUrlEncoding(text)->toStdString(); }

/// The decoded text, "(null)" if it cannot be decoded.
std::string decoded(std::string_view text) {
  return Value(jn_stringWithUrlDecoding(text)).description()->toStdString();
}

TEST(UrlEncoding, EveryASCIICharacterButLettersDigitsAndFourMarksIsEscaped) {
  const std::string kept = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
  for (int code = 0; code < 0x80; ++code) {
    const std::string character(1, static_cast<char>(code));
    char escape[4];
    std::snprintf(escape, sizeof escape, "%%%02X", code);
    EXPECT_EQ(encoded(character), kept.find(character) == std::string::npos ? escape : character)
        << code;
  }
}

TEST(UrlEncoding, ReservedCharactersAreEscaped) {
  EXPECT_EQ(encoded("!*'();:@&=+$,/?%#[]"),
            "%21%2A%27%28%29%3B%3A%40%26%3D%2B%24%2C%2F%3F%25%23%5B%5D");
}

TEST(UrlEncoding, TextBeyondASCIIIsEscapedByteByByteInUpperCase) {
  EXPECT_EQ(encoded("é"), "%C3%A9");
  EXPECT_EQ(encoded("€"), "%E2%82%AC");
  EXPECT_EQ(encoded("😀"), "%F0%9F%98%80");
  EXPECT_EQ(encoded("a b/c"), "a%20b%2Fc");
}

TEST(UrlEncoding, AnEscapeIsEscapedAgain) { EXPECT_EQ(encoded("%20"), "%2520"); }

TEST(UrlEncoding, EmptyTextStaysEmptyAndNullStaysNull) {
  EXPECT_EQ(encoded(""), "");
  EXPECT_FALSE(jn_stringWithUrlEncoding(nullptr));
}

TEST(UrlDecoding, EveryASCIIEscapeIsReplacedInEitherCase) {
  for (int code = 0; code < 0x80; ++code) {
    const std::string character(1, static_cast<char>(code));
    char upper[4], lower[4];
    std::snprintf(upper, sizeof upper, "%%%02X", code);
    std::snprintf(lower, sizeof lower, "%%%02x", code);
    EXPECT_EQ(jn_stringWithUrlDecoding(upper)->toStdString(), character) << code;
    EXPECT_EQ(jn_stringWithUrlDecoding(lower)->toStdString(), character) << code;
  }
}

TEST(UrlDecoding, EveryEscapeOf128OrMoreRefusesTheWholeText) {
  for (int code = 0x80; code < 0x100; ++code) {
    char escape[4];
    std::snprintf(escape, sizeof escape, "%%%02X", code);
    EXPECT_FALSE(jn_stringWithUrlDecoding(escape)) << code;
    EXPECT_FALSE(jn_stringWithUrlDecoding(std::string("before") + escape + "after")) << code;
  }
}

TEST(UrlDecoding, ABrokenEscapeRefusesTheWholeText) {
  for (const char* text : {"%", "%4", "a%", "a%4", "%zz", "%4g", "%g4", "%%41", "%-1", "% 1", "%+1",
                           "%4%41", "%41%", "%é9", "%0x"}) {
    EXPECT_EQ(decoded(text), "(null)") << text;
  }
}

TEST(UrlDecoding, WhatIsNoEscapeStays) {
  EXPECT_EQ(decoded("a+b"), "a+b");
  EXPECT_EQ(decoded("é€😀"), "é€😀");
  EXPECT_EQ(decoded("a%20é"), "a é");
  EXPECT_EQ(decoded("%2541"), "%41") << "what comes out is not decoded again";
}

TEST(UrlDecoding, EmptyTextStaysEmptyAndNullStaysNull) {
  EXPECT_EQ(decoded(""), "");
  EXPECT_FALSE(jn_stringWithUrlDecoding(nullptr));
}

TEST(UrlDecoding, EncodedASCIITextComesBackAsItWas) {
  testing::Randomness randomness;
  JN_TRACE_SEED(randomness);
  for (int round = 0; round < 10'000; ++round) {
    std::string text(randomness.below(40), ' ');
    for (char& character : text) character = static_cast<char>(randomness.below(0x80));
    const Ref<NSString> back = jn_stringWithUrlDecoding(jn_stringWithUrlEncoding(text));
    ASSERT_TRUE(back);
    ASSERT_EQ(back->toStdString(), text);
  }
}

TEST(UrlDecoding, EncodedTextBeyondASCIIDoesNotComeBack) {
  EXPECT_FALSE(jn_stringWithUrlDecoding(jn_stringWithUrlEncoding("é")));
  EXPECT_FALSE(jn_stringWithUrlDecoding(jn_stringWithUrlEncoding("mostly ASCII, but for €")));
}

}  // namespace
}  // namespace JNFoundation
