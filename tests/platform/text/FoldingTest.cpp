#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include "platform/text/Randomness.h"

#include <JNFoundation/platform/text/Folding.h>
#include <JNFoundation/platform/text/UTF8.h>

namespace JNFoundation {
namespace {

using namespace std::string_view_literals;

struct FoldedRow {
  std::string_view text;
  std::string_view expected;
};

TEST(Folding, CaseIsFoldedInFull) {
  const FoldedRow rows[] = {
      {"", ""},
      {"ABC xyz 019 @[`{", "abc xyz 019 @[`{"},
      {"A LONGER TEXT THAN EIGHT", "a longer text than eight"},
      {"É", "é"},
      {"e\u0301", "é"},
      {"E\u0301", "é"},
      {"Straße", "strasse"},
      {"ﬁn", "fin"},
      {"ΣΊΣΥΦΟΣ", "σίσυφοσ"},
      {"σίσυφος", "σίσυφοσ"},
      {"\u212A", "k"},
      {"ſ", "s"},
      {"İ", "i\u0307"},
      {"ı", "ı"},
      {"Привет", "привет"},
      {"日本語", "日本語"},
      {"한국어", "한국어"},
      {"가", "가"},
      {"a\0B"sv, "a\0b"sv},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(folded(text, Fold::Case), expected) << text;
}

TEST(Folding, DiacriticsOfAlphabetsGoAndOtherMarksStay) {
  const FoldedRow rows[] = {
      {"plain", "plain"},
      {"Café", "Cafe"},
      {"Cafe\u0301", "Cafe"},
      {"ÀÉÎõü", "AEIou"},
      {"Việt Nam", "Viet Nam"},
      {"Ångström", "Angstrom"},
      {"x\u0302\u0323", "x"},
      {"ά", "α"},
      {"й", "и"},
      {"שָׁלוֹם", "שלום"},
      {"مُحَمَّد", "محمد"},
      {"ø ł đ ß", "ø ł đ ß"},
      {"कि", "कि"},
      {"が", "が"},
      {"か\u3099", "が"},
      {"한", "한"},
      {"\u0301", ""},
  };
  for (const auto& [text, expected] : rows) {
    EXPECT_EQ(folded(text, Fold::Diacritics), expected) << text;
  }
}

TEST(Folding, BothAtOnce) {
  EXPECT_EQ(folded("CRÈME BRÛLÉE", Fold::CaseAndDiacritics), "creme brulee");
  EXPECT_EQ(folded("İ", Fold::CaseAndDiacritics), "i");
  EXPECT_EQ(folded("ÉTÉ", Fold::Case | Fold::Diacritics), "ete");
}

TEST(Folding, IotaBelowIsALetterNotADiacritic) {
  // The mark folds to a letter, after all other marks of its letter.
  EXPECT_EQ(folded("ᾳ", Fold::Case), "αι");
  EXPECT_EQ(folded("ᾳ\u0342", Fold::Case), "ᾶι");
  EXPECT_EQ(folded("ᾷ", Fold::Case), "ᾶι");
  EXPECT_EQ(folded("α\u0345\u0342", Fold::Case), "ᾶι");
  EXPECT_EQ(folded("ᾷ", Fold::Diacritics), "ᾳ");
  EXPECT_EQ(folded("ᾼ", Fold::Diacritics), "ᾼ");
  EXPECT_EQ(folded("ᾷ", Fold::CaseAndDiacritics), "αι");
}

TEST(Folding, NoneLeavesTheTextAlone) {
  EXPECT_EQ(folded("e\u0301 \xFF É", Fold::None), "e\u0301 \xFF É");
}

TEST(Folding, IllFormedSequencesCountAsReplacement) {
  EXPECT_EQ(folded("A\xFF", Fold::Case), "a\uFFFD");
  EXPECT_EQ(uppercased("a\xFF\xC3"), "A\uFFFD\uFFFD");
  EXPECT_EQ(lowercased("A\xFF"), "a\uFFFD");
  EXPECT_EQ(normalizedNFC("A\xFF"), "A\uFFFD");
}

TEST(Folding, FoldingTwiceChangesNothing) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  for (int round = 0; round < 20'000; ++round) {
    std::string text;
    for (std::uint64_t length = random.below(8); length > 0; --length) {
      const char32_t limits[] = {0x80, 0x600, 0x2200, 0x20000};
      appendUTF8(text, static_cast<char32_t>(random.below(limits[random.below(4)])));
    }
    for (const Fold fold : {Fold::Case, Fold::Diacritics, Fold::CaseAndDiacritics}) {
      const std::string once = folded(text, fold);
      ASSERT_EQ(folded(once, fold), once) << text << " at fold " << static_cast<unsigned>(fold);
      ASSERT_EQ(folded(normalizedNFC(text), fold), once) << text;
      ASSERT_EQ(compareFolded(text, once, fold), 0) << text;
      // What is equal under one folding is equal under both.
      ASSERT_EQ(compareFolded(text, once, Fold::CaseAndDiacritics), 0) << text;
    }
  }
}

TEST(Folding, ManyMarksInARowAreSortedInReasonableTime) {
  // Two marks that change places, a hundred thousand times: a quadratic sort would take minutes.
  std::string text = "a";
  std::string sorted = "a";
  constexpr int pairs = 100'000;
  for (int index = 0; index < pairs; ++index) text += "\u0301\u0323";
  for (int index = 0; index < pairs; ++index) sorted += "\u0323";
  for (int index = 0; index < pairs; ++index) sorted += "\u0301";
  EXPECT_EQ(normalizedNFC(text), normalizedNFC(sorted));
  EXPECT_EQ(folded(text, Fold::Diacritics), "a");
}

TEST(Folding, UpperCaseIsFull) {
  const FoldedRow rows[] = {
      {"", ""},
      {"abc XYZ 019 @[`{~", "ABC XYZ 019 @[`{~"},
      {"a longer text than eight", "A LONGER TEXT THAN EIGHT"},
      {"é", "É"},
      {"straße", "STRASSE"},
      {"ẞ", "ẞ"},
      {"ﬁ ﬃ", "FI FFI"},
      {"ŉ", "ʼN"},
      {"ǰ", "J\u030C"},
      {"և", "ԵՒ"},
      {"ᾀ", "ἈΙ"},
      {"ΐ", "Ϊ\u0301"},
      {"ς", "Σ"},
      {"ǆ ǅ", "Ǆ Ǆ"},
      {"µ", "Μ"},
      {"ı i", "I I"},
      {"привет", "ПРИВЕТ"},
      {"日本", "日本"},
      {"a\0b"sv, "A\0B"sv},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(uppercased(text), expected) << text;
}

TEST(Folding, LowerCaseIsFull) {
  const FoldedRow rows[] = {
      {"", ""},
      {"ABC xyz 019 @[`{", "abc xyz 019 @[`{"},
      {"É", "é"},
      {"ẞ", "ß"},
      {"İ", "i\u0307"},
      {"Ǆ ǅ", "ǆ ǆ"},
      {"ПРИВЕТ", "привет"},
      {"\u212A", "k"},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(lowercased(text), expected) << text;
}

TEST(Folding, SigmaIsFinalAtTheEndOfAWordOnly) {
  EXPECT_EQ(lowercased("ΣΊΣΥΦΟΣ"), "σίσυφος");
  EXPECT_EQ(lowercased("ΟΔΟΣ ΟΔΟΣ."), "οδος οδος.");
  EXPECT_EQ(lowercased("Σ"), "σ");
  EXPECT_EQ(lowercased("AΣ"), "aς");
  EXPECT_EQ(lowercased("AΣB"), "aσb");
  EXPECT_EQ(lowercased("A\u0301Σ\u0301"), "a\u0301ς\u0301");
}

TEST(Folding, CapitalizedFirstLeavesTheRest) {
  const FoldedRow rows[] = {
      {"", ""},
      {"a", "A"},
      {"firstName", "FirstName"},
      {"URL", "URL"},
      {"_name", "_name"},
      {"1a", "1a"},
      {"éa", "Éa"},
      {"ßa", "Ssa"},
      {"ﬁn", "Fin"},
      {"ǆa", "ǅa"},
      {"ᾳa", "ᾼa"},
      {"日本", "日本"},
      {"\xFFz", "\uFFFDz"},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(capitalizedFirst(text), expected) << text;
}

TEST(Folding, NormalisedTextIsComposed) {
  const FoldedRow rows[] = {
      {"", ""},
      {"plain", "plain"},
      {"é", "é"},
      {"e\u0301", "é"},
      {"a\u0323\u0302", "ậ"},
      {"a\u0302\u0323", "ậ"},
      {"\u1112\u1161\u11AB", "한"},
      {"\u212B", "Å"},
      {"\u0958", "\u0915\u093C"},
      {"ﬁ", "ﬁ"},
      {"ÿĀ", "ÿĀ"},
      {"a\0e\u0301"sv, "a\0é"sv},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(normalizedNFC(text), expected) << text;
}

}  // namespace
}  // namespace JNFoundation
