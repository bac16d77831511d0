#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "platform/text/Randomness.h"

#include <JNFoundation/platform/text/Folding.h>
#include <JNFoundation/platform/text/UTF8.h>

namespace JNFoundation {
namespace {

using namespace std::string_view_literals;

using Comparison = int (*)(std::string_view, std::string_view);

int compareIgnoringCase(std::string_view left, std::string_view right) {
  return compareFolded(left, right, Fold::Case);
}

/// Each text comes before the ones after it, whichever way round it is asked.
void expectAscending(Comparison compare, const std::vector<std::string_view>& texts) {
  for (std::size_t left = 0; left < texts.size(); ++left) {
    for (std::size_t right = 0; right < texts.size(); ++right) {
      const int expected = left < right ? -1 : left > right ? 1 : 0;
      EXPECT_EQ(compare(texts[left], texts[right]), expected)
          << texts[left] << " and " << texts[right];
    }
  }
}

/// Random text of few different letters, so that equal and nearly equal ones are frequent.
std::string randomText(testing::Randomness& random) {
  static constexpr std::u32string_view letters =
      U"aAbBzéÉeßsS\u0301\u0323\u0307İiıK\u212Aσς01 9日\u1161";
  std::string text;
  const std::uint64_t asciiOnly = random.below(3);
  for (std::uint64_t length = random.below(14); length > 0; --length) {
    if (asciiOnly == 0) {
      text += "aAbB01zZ"[random.below(8)];
    } else {
      appendUTF8(text, random.below(2) == 0 ? U'a' : letters[random.below(letters.size())]);
    }
  }
  return text;
}

int orderOf(const std::string& left, const std::string& right) {
  return (left > right) - (left < right);
}

TEST(Comparing, LiteralOrderIsThatOfCodePoints) {
  expectAscending(compareLiteral, {"", "\0"sv, "A", "AB", "Z", "a", "a\0"sv, "a\0b"sv, "aa", "é",
                                   "日", "\uFFFD", "😀"});
  EXPECT_EQ(compareLiteral("e\u0301", "é"), -1);
}

TEST(Comparing, FoldedOrderIgnoresWhatIsFolded) {
  expectAscending(compareIgnoringCase, {"", "0", "a", "AB", "abc", "B", "z", "é", "日"});
  EXPECT_EQ(compareFolded("ABC", "abc", Fold::Case), 0);
  EXPECT_EQ(compareFolded("ABC", "abc", Fold::Diacritics), -1);
  EXPECT_EQ(compareFolded("ABC", "abc", Fold::None), -1);
  EXPECT_EQ(compareFolded("Straße", "STRASSE", Fold::Case), 0);
  EXPECT_EQ(compareFolded("É", "e\u0301", Fold::Case), 0);
  EXPECT_EQ(compareFolded("é", "e", Fold::Case), 1);
  EXPECT_EQ(compareFolded("é", "e", Fold::Diacritics), 0);
  EXPECT_EQ(compareFolded("É", "e", Fold::CaseAndDiacritics), 0);
  EXPECT_EQ(compareFolded("e\u0301", "e", Fold::Diacritics), 0);
  EXPECT_EQ(compareFolded("\u212A", "k", Fold::Case), 0);
  EXPECT_EQ(
      compareFolded("A LONG TEXT, MOSTLY THE SAME", "a long text, mostly the same", Fold::Case), 0);
  EXPECT_EQ(
      compareFolded("A LONG TEXT, MOSTLY THE SAME", "a long text, mostly the sane", Fold::Case),
      -1);
}

TEST(Comparing, LettersBetweenTheCasesAreOrderedAsLowerCase) {
  // "_" stands between "Z" and "a".
  EXPECT_EQ(compareFolded("_", "Z", Fold::Case), -1);
  EXPECT_EQ(compareFolded("_", "Z", Fold::None), 1);
}

TEST(Comparing, ShortcutsAgreeWithFoldingInFull) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  for (int round = 0; round < 100'000; ++round) {
    std::string left = randomText(random);
    std::string right = random.below(2) == 0 ? randomText(random) : left;
    if (!right.empty() && random.below(2) == 0) right[random.below(right.size())] ^= 0x20;
    left = sanitizedUTF8(left);
    right = sanitizedUTF8(right);
    for (const Fold fold : {Fold::None, Fold::Case, Fold::Diacritics, Fold::CaseAndDiacritics}) {
      const std::string foldedLeft = folded(left, fold);
      const std::string foldedRight = folded(right, fold);
      const auto trace = [&] {
        return left + " | " + right + " | " + std::to_string(static_cast<unsigned>(fold));
      };
      ASSERT_EQ(compareFolded(left, right, fold), orderOf(foldedLeft, foldedRight)) << trace();
      ASSERT_EQ(containsFolded(left, right, fold),
                foldedLeft.find(foldedRight) != std::string::npos)
          << trace();
      ASSERT_EQ(hasPrefixFolded(left, right, fold), foldedLeft.rfind(foldedRight, 0) == 0)
          << trace();
      const bool suffix = foldedLeft.size() >= foldedRight.size() &&
                          foldedLeft.compare(foldedLeft.size() - foldedRight.size(),
                                             std::string::npos, foldedRight) == 0;
      ASSERT_EQ(hasSuffixFolded(left, right, fold), suffix) << trace();
    }
  }
}

TEST(Comparing, LocalizedPutsLettersBeforeCaseAndMarks) {
  expectAscending(compareLocalized, {"", "10", "9", "Äpfel", "Apple", "apple", "Banana", "banana",
                                     "cote", "coté", "côte", "Zebra", "zebra"});
}

TEST(Comparing, LocalizedIsZeroForIdenticalTextsOnly) {
  EXPECT_EQ(compareLocalized("abc", "abc"), 0);
  EXPECT_EQ(compareLocalized("ABC", "abc"), -1);
  EXPECT_EQ(compareLocalized("e", "é"), -1);
  EXPECT_EQ(compareLocalizedStandard("1", "01"), 1);
}

TEST(Comparing, CaseInsensitiveMakesCaseOnlyEqual) {
  EXPECT_EQ(compareLocalizedCaseInsensitive("ABC", "abc"), 0);
  EXPECT_EQ(compareLocalizedCaseInsensitive("ÉTÉ", "été"), 0);
  EXPECT_EQ(compareLocalizedCaseInsensitive("ÉTÉ", "e\u0301te\u0301"), 0);
  EXPECT_EQ(compareLocalizedCaseInsensitive("resume", "résumé"), -1);
  EXPECT_EQ(compareLocalizedCaseInsensitive("résumé", "Resumes"), -1);
  EXPECT_EQ(compareLocalizedCaseInsensitive("b", "A"), 1);
}

TEST(Comparing, StandardOrdersNumbersByValue) {
  expectAscending(compareLocalizedStandard,
                  {"", "file", "file0", "file1", "file2", "File9a", "file10", "file99", "file100",
                   "file100000000000000000000000000000", "file100000000000000000000000000001",
                   "filé101000000000000000000000000000", "files"});
  EXPECT_EQ(compareLocalizedStandard("a01b2", "a1b10"), -1);
  EXPECT_EQ(compareLocalizedStandard("a1b10", "a01b2"), 1);
  EXPECT_EQ(compareLocalizedStandard("1.10", "1.9"), 1);
  EXPECT_EQ(compareLocalizedStandard("été 9", "Été 10"), -1);
}

TEST(Comparing, EveryOrderIsTotal) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  std::vector<std::string> texts;
  for (int index = 0; index < 60; ++index) texts.push_back(randomText(random));
  for (const Comparison compare : {compareLiteral, compareIgnoringCase, compareLocalized,
                                   compareLocalizedCaseInsensitive, compareLocalizedStandard}) {
    for (const std::string& a : texts) {
      ASSERT_EQ(compare(a, a), 0);
      for (const std::string& b : texts) {
        const int order = compare(a, b);
        ASSERT_EQ(order, -compare(b, a)) << a << " | " << b;
        for (const std::string& c : texts) {
          if (order <= 0 && compare(b, c) <= 0) {
            ASSERT_LE(compare(a, c), 0) << a << " | " << b << " | " << c;
          }
        }
      }
    }
  }
}

TEST(Comparing, PartsAreFoundUnderFolding) {
  EXPECT_TRUE(containsFolded("Crème Brûlée", "BRULEE", Fold::CaseAndDiacritics));
  EXPECT_FALSE(containsFolded("Crème Brûlée", "BRULEE", Fold::Case));
  EXPECT_TRUE(containsFolded("Crème Brûlée", "BRÛLÉE", Fold::Case));
  EXPECT_TRUE(containsFolded("plain Text", "TEXT", Fold::Case));
  EXPECT_FALSE(containsFolded("plain Text", "TEXT", Fold::None));
  EXPECT_FALSE(containsFolded("plain Text", "TEXT", Fold::Diacritics));
  EXPECT_FALSE(containsFolded("short", "longer than that", Fold::Case));
  EXPECT_TRUE(containsFolded("", "\u0301", Fold::Diacritics));
  EXPECT_TRUE(containsFolded("", "\u0301", Fold::CaseAndDiacritics));
  EXPECT_FALSE(containsFolded("", "\u0301", Fold::Case));
  EXPECT_TRUE(containsFolded("a\0B"sv, "\0b"sv, Fold::Case));
  EXPECT_TRUE(hasPrefixFolded("Straße", "STRASS", Fold::Case));
  EXPECT_TRUE(hasPrefixFolded("École", "eco", Fold::CaseAndDiacritics));
  EXPECT_FALSE(hasPrefixFolded("École", "eco", Fold::Case));
  EXPECT_FALSE(hasPrefixFolded("e\u0301cole", "e", Fold::Case));
  EXPECT_TRUE(hasSuffixFolded("Menu du soir É", " e", Fold::CaseAndDiacritics));
  EXPECT_FALSE(hasSuffixFolded("Menu du soir É", " e", Fold::Case));
  EXPECT_TRUE(hasSuffixFolded("photo.JPG", ".jpg", Fold::Case));
  EXPECT_FALSE(hasSuffixFolded("jpg", "photo.jpg", Fold::Case));
}

TEST(Comparing, EveryTextHoldsTheEmptyPart) {
  for (const Fold fold : {Fold::None, Fold::Case, Fold::Diacritics, Fold::CaseAndDiacritics}) {
    for (const std::string_view text : {"", "a", "é"}) {
      EXPECT_TRUE(containsFolded(text, "", fold));
      EXPECT_TRUE(hasPrefixFolded(text, "", fold));
      EXPECT_TRUE(hasSuffixFolded(text, "", fold));
    }
  }
}

}  // namespace
}  // namespace JNFoundation
