#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/text/Randomness.h"

#include <JNFoundation/platform/text/TextMatch.h>

namespace JNFoundation {
namespace {

using namespace std::string_view_literals;

bool like(std::string_view text, std::string_view pattern, Fold fold = Fold::None) {
  return LikePattern(pattern, fold).matches(text);
}

TEST(LikePattern, WithoutWildcardsIsEquality) {
  EXPECT_TRUE(like("", ""));
  EXPECT_TRUE(like("abc", "abc"));
  EXPECT_FALSE(like("abc", "ab"));
  EXPECT_FALSE(like("ab", "abc"));
  EXPECT_FALSE(like("ABC", "abc"));
  EXPECT_FALSE(like("a", ""));
  EXPECT_TRUE(like("a.c", "a.c"));
  EXPECT_FALSE(like("abc", "a.c"));
  EXPECT_FALSE(like("abc", "%b_"));
}

TEST(LikePattern, QuestionMarkIsExactlyOneCodePoint) {
  EXPECT_TRUE(like("abc", "a?c"));
  EXPECT_TRUE(like("aéc", "a?c"));
  EXPECT_TRUE(like("a😀c", "a?c"));
  EXPECT_TRUE(like("日本", "??"));
  EXPECT_FALSE(like("ac", "a?c"));
  EXPECT_FALSE(like("abbc", "a?c"));
  EXPECT_FALSE(like("", "?"));
  EXPECT_FALSE(like("日", "??"));
  EXPECT_TRUE(like("e\u0301", "??"));
  EXPECT_FALSE(like("e\u0301", "?"));
  EXPECT_TRUE(like("a\0c"sv, "a?c"));
  EXPECT_TRUE(like("a\nc", "a?c"));
}

TEST(LikePattern, StarIsAnyNumber) {
  EXPECT_TRUE(like("", "*"));
  EXPECT_TRUE(like("anything\nat all", "*"));
  EXPECT_TRUE(like("abc", "a*c"));
  EXPECT_TRUE(like("ac", "a*c"));
  EXPECT_TRUE(like("abcbc", "a*bc"));
  EXPECT_FALSE(like("abcb", "a*bc"));
  EXPECT_TRUE(like("abc", "***"));
  EXPECT_TRUE(like("abc", "*b*"));
  EXPECT_FALSE(like("ac", "*b*"));
  EXPECT_TRUE(like("mississippi", "m*iss*iss*pi"));
  EXPECT_FALSE(like("mississippi", "m*iss*iss*iss*pi"));
  EXPECT_FALSE(like("aba", "ab*ba"));
  EXPECT_TRUE(like("abba", "ab*ba"));
  EXPECT_FALSE(like("a", "a*a"));
}

TEST(LikePattern, WildcardsCombine) {
  EXPECT_TRUE(like("abc", "?*"));
  EXPECT_TRUE(like("a", "?*"));
  EXPECT_FALSE(like("", "?*"));
  EXPECT_TRUE(like("ab", "?*?"));
  EXPECT_FALSE(like("a", "?*?"));
  EXPECT_TRUE(like("xaybz", "*a?b*"));
  EXPECT_FALSE(like("xabz", "*a?b*"));
  EXPECT_TRUE(like("xaabyb", "*a?b*b"));
  EXPECT_TRUE(like("日本語", "*?語"));
  EXPECT_TRUE(like("日本語", "?*?語"));
  EXPECT_FALSE(like("日語", "?*?語"));
}

TEST(LikePattern, BackslashTakesTheMeaning) {
  EXPECT_TRUE(like("a*c", "a\\*c"));
  EXPECT_FALSE(like("abc", "a\\*c"));
  EXPECT_TRUE(like("a?c", "a\\?c"));
  EXPECT_FALSE(like("abc", "a\\?c"));
  EXPECT_TRUE(like("a\\c", "a\\\\c"));
  EXPECT_TRUE(like("abc", "\\a\\b\\c"));
  EXPECT_TRUE(like("abc\\", "abc\\"));
  EXPECT_TRUE(like("xy*", "*\\*"));
  EXPECT_TRUE(like("é", "\\é"));
}

TEST(LikePattern, FoldsCaseAndDiacriticsWhereAsked) {
  EXPECT_TRUE(like("Hello World", "hello*", Fold::Case));
  EXPECT_FALSE(like("Hello World", "hello*", Fold::Diacritics));
  EXPECT_TRUE(like("hello", "H?LLO", Fold::Case));
  EXPECT_TRUE(like("Crème Brûlée", "*brulee", Fold::CaseAndDiacritics));
  EXPECT_FALSE(like("Crème Brûlée", "*brulee", Fold::Case));
  EXPECT_TRUE(like("Crème Brûlée", "Creme*", Fold::Diacritics));
  EXPECT_TRUE(like("ÀÉ", "??", Fold::CaseAndDiacritics));
  EXPECT_TRUE(like("E\u0301", "é", Fold::Case));
  EXPECT_TRUE(like("x E\u0301 y", "*?É?*", Fold::Case));
  EXPECT_TRUE(like("Ж", "ж", Fold::Case));
}

TEST(LikePattern, ComposedAndDecomposedLettersAreOneUnderFolding) {
  EXPECT_TRUE(like("cafe\u0301", "caf?", Fold::Case));
  EXPECT_TRUE(like("café", "caf?", Fold::Case));
  EXPECT_TRUE(like("café", "cafe\u0301", Fold::Case));
}

TEST(LikePattern, LetterThatFoldsToSeveralIsOne) {
  EXPECT_TRUE(like("Straße", "STRASSE", Fold::Case));
  EXPECT_TRUE(like("Straße", "STRA?E", Fold::Case));
  EXPECT_FALSE(like("Straße", "STR?E", Fold::Case));
  EXPECT_TRUE(like("Straße", "STRA??", Fold::Case));
  EXPECT_TRUE(like("ßß", "??", Fold::Case));
  EXPECT_TRUE(like("ßß", "*??", Fold::Case));
  EXPECT_FALSE(like("ßß", "*???", Fold::Case));
  EXPECT_FALSE(like("ßß", "????", Fold::Case));
  EXPECT_TRUE(like("ﬃx", "?X", Fold::Case));
  EXPECT_TRUE(like("İx", "?X", Fold::Case));
  EXPECT_TRUE(like("xß\u0301y", "X?Y", Fold::Case));
  EXPECT_TRUE(like("Straße", "STR*E", Fold::Case));
  EXPECT_TRUE(like("STRASSE", "stra??e", Fold::Case));
}

TEST(LikePattern, IllFormedSequencesCountAsReplacement) {
  EXPECT_TRUE(like("a\xFFz", "a?z"));
  EXPECT_TRUE(like("a\xFFz", "a\uFFFDz"));
  EXPECT_TRUE(like("a\xF0\x9Fz", "a?z"));
  EXPECT_TRUE(like("a\uFFFDz", "a\xFFz"));
  EXPECT_TRUE(like("\xC3\xC3", "*?\xC3", Fold::CaseAndDiacritics));
}

TEST(LikePattern, HostilePatternsEndSoon) {
  // An exponential or recursive matcher would not come back from any of these.
  const std::string text(20'000, 'a');
  std::string pattern;
  for (int index = 0; index < 1'000; ++index) pattern += "*a";
  EXPECT_TRUE(like(text, pattern));
  EXPECT_FALSE(like(text, pattern + "*b"));
  EXPECT_FALSE(like(text, pattern + "b"));
  EXPECT_FALSE(like(text, "*" + std::string(1'000, 'a') + "b*"));
  std::string holes;
  for (int index = 0; index < 200; ++index) holes += "a?";
  EXPECT_FALSE(like(text, "*" + holes + "b*"));
  EXPECT_FALSE(like(text, std::string(1'000'000, '*') + "b"));
  EXPECT_FALSE(like(text, std::string(1'000'000, '?')));
}

/// What the wildcards mean, straight from their definition.
bool likeByDefinition(std::string_view text, std::string_view pattern) {
  std::vector<bool> reachable(text.size() + 1, false);
  reachable[0] = true;
  for (const char wildcard : pattern) {
    std::vector<bool> next(text.size() + 1, false);
    bool before = false;
    for (std::size_t place = 0; place <= text.size(); ++place) {
      before = before || reachable[place];
      if (wildcard == '*') {
        next[place] = before;
      } else if (place > 0 && (wildcard == '?' || wildcard == text[place - 1])) {
        next[place] = reachable[place - 1];
      }
    }
    reachable = next;
  }
  return reachable[text.size()];
}

TEST(LikePattern, AgreesWithItsDefinition) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  int matches = 0;
  for (int round = 0; round < 50'000; ++round) {
    std::string text;
    std::string pattern;
    for (std::uint64_t length = random.below(12); length > 0; --length)
      text += "ab"[random.below(2)];
    for (std::uint64_t length = random.below(9); length > 0; --length) {
      pattern += "ab?*"[random.below(4)];
    }
    const bool expected = likeByDefinition(text, pattern);
    matches += expected;
    ASSERT_EQ(like(text, pattern), expected) << text << " LIKE " << pattern;
    // The same in letters of two bytes, under folding and not.
    std::string wideText;
    std::string widePattern;
    for (const char letter : text) wideText += letter == 'a' ? "ä" : "É";
    for (const char letter : pattern) {
      widePattern += letter == 'a' ? "Ä" : letter == 'b' ? "é" : std::string(1, letter);
    }
    ASSERT_EQ(like(wideText, widePattern, Fold::Case), expected) << text << " LIKE " << pattern;
  }
  EXPECT_GT(matches, 2'000);
}

TEST(LikePattern, ServesSeveralThreads) {
  const LikePattern pattern("*É?x", Fold::Case);
  std::vector<std::thread> threads;
  std::vector<int> found(4, 0);
  for (int& count : found) {
    threads.emplace_back([&count, &pattern] {
      for (int round = 0; round < 2'000; ++round) count += pattern.matches("abc é-X");
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(found, std::vector<int>(4, 2'000));
}

}  // namespace
}  // namespace JNFoundation
