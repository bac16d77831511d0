#include <chrono>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <JNFoundation/platform/text/TextMatch.h>

namespace JNFoundation {
namespace {

using namespace std::string_view_literals;

bool fits(std::string_view text, std::string_view pattern, Fold fold = Fold::None) {
  std::string error;
  const auto expression = RegularExpression::compile(pattern, fold, &error);
  EXPECT_TRUE(expression) << pattern << ": " << error;
  return expression && expression->matches(text);
}

TEST(RegularExpression, WantsTheWholeText) {
  EXPECT_TRUE(fits("abc", "abc"));
  EXPECT_FALSE(fits("xabc", "abc"));
  EXPECT_FALSE(fits("abcx", "abc"));
  EXPECT_FALSE(fits("abc\n", "abc"));
  EXPECT_FALSE(fits("abc\n", "abc$"));
  EXPECT_TRUE(fits("abc", "^abc$"));
  EXPECT_TRUE(fits("xabcx", ".*abc.*"));
  EXPECT_TRUE(fits("", ""));
  EXPECT_TRUE(fits({}, "a?"));
  EXPECT_FALSE(fits("a", ""));
}

TEST(RegularExpression, TriesTheLongerAlternativeToo) {
  // The first alternative that fits at the start is not the one that fits the whole.
  EXPECT_TRUE(fits("abcd", "ab|abcd"));
  EXPECT_TRUE(fits("aab", "a*?b"));
  EXPECT_TRUE(fits("aaaa", "(a|aa)+?"));
}

TEST(RegularExpression, KnowsUnicode) {
  EXPECT_TRUE(fits("café", "caf."));
  EXPECT_TRUE(fits("café", "\\w+"));
  EXPECT_TRUE(fits("日本語", "\\w{3}"));
  EXPECT_TRUE(fits("٣", "\\d"));
  EXPECT_TRUE(fits("😀", "."));
  EXPECT_TRUE(fits("Ω", "\\p{Lu}"));
  EXPECT_TRUE(fits("é", "[à-ÿ]"));
  EXPECT_TRUE(fits("a\u00A0b", "a\\sb"));
}

TEST(RegularExpression, DotStopsAtEveryLineEnd) {
  for (const std::string_view end : {"\n", "\r", "\r\n", "\u0085", "\u2028", "\u2029"}) {
    EXPECT_FALSE(fits("a" + std::string(end) + "b", "a.+b"));
    EXPECT_TRUE(fits("a" + std::string(end) + "b", "(?s)a.+b"));
  }
}

TEST(RegularExpression, EscapesNameCodePoints) {
  EXPECT_TRUE(fits("é", "\\u00e9"));
  EXPECT_TRUE(fits("é", "[\\u00E0-\\u00FF]"));
  EXPECT_TRUE(fits("😀", "\\uD83D\\uDE00"));
  EXPECT_TRUE(fits("😀", "\\U0001F600"));
  EXPECT_TRUE(fits("é", "\\x{e9}"));
  EXPECT_TRUE(fits("\\u00e9", "\\\\u00e9"));
  EXPECT_TRUE(fits("\\u00e9", "\\Q\\u00e9\\E"));
  EXPECT_TRUE(fits("\\u00e9é", "\\Q\\u00e9\\E\\u00e9"));
  EXPECT_FALSE(RegularExpression::compile("\\u00e", Fold::None));
  EXPECT_FALSE(RegularExpression::compile("\\uD83D", Fold::None));
}

TEST(RegularExpression, FoldsWhereAsked) {
  EXPECT_FALSE(fits("ABC", "abc"));
  EXPECT_TRUE(fits("ABC", "abc", Fold::Case));
  EXPECT_TRUE(fits("ÉTÉ", "été", Fold::Case));
  EXPECT_FALSE(fits("ÉTÉ", "ete", Fold::Case));
  EXPECT_FALSE(fits("ÉTÉ", "ete", Fold::Diacritics));
  EXPECT_TRUE(fits("été", "ete", Fold::Diacritics));
  EXPECT_TRUE(fits("ete", "été", Fold::Diacritics));
  EXPECT_TRUE(fits("e\u0301t\u0065\u0301", "ete", Fold::Diacritics));
  EXPECT_TRUE(fits("ÉTÉ", "ete", Fold::CaseAndDiacritics));
  // Case folding must not turn the class \D into \d.
  EXPECT_TRUE(fits("x", "\\D", Fold::Case));
  EXPECT_FALSE(fits("1", "\\D", Fold::CaseAndDiacritics));
}

TEST(RegularExpression, TextMayHoldAnyBytes) {
  EXPECT_TRUE(fits("a\0b"sv, "a.b"));
  EXPECT_TRUE(fits("a\0b"sv, "a\\x00b"));
  EXPECT_TRUE(fits("a\0b"sv, "a\0b"sv));
  EXPECT_FALSE(fits("a\0b"sv, "a"));
  EXPECT_TRUE(fits("a\xFFz", "a\uFFFDz"));
  EXPECT_TRUE(fits("a\xFFz", "a.z", Fold::CaseAndDiacritics));
  EXPECT_TRUE(fits("a\uFFFDz", "a\xFFz"));
}

TEST(RegularExpression, SaysWhatIsWrongWithAPattern) {
  std::string error;
  EXPECT_FALSE(RegularExpression::compile("a(b", Fold::None, &error));
  EXPECT_EQ(error, "missing closing parenthesis at byte 3");
  EXPECT_FALSE(RegularExpression::compile("[z-a]", Fold::None, &error));
  EXPECT_NE(error.find("range out of order"), std::string::npos) << error;
  // Where the pattern was rewritten, no byte of it is named.
  EXPECT_FALSE(RegularExpression::compile("\\u00e9(", Fold::None, &error));
  EXPECT_EQ(error, "missing closing parenthesis");
  for (const std::string_view pattern :
       {"*", "(", ")", "[", "a{2,1}", "(?<n", "\\", "\\C", "(?z)"}) {
    error.clear();
    EXPECT_FALSE(RegularExpression::compile(pattern, Fold::None, &error)) << pattern;
    EXPECT_FALSE(error.empty()) << pattern;
    EXPECT_FALSE(RegularExpression::compile(pattern, Fold::None)) << pattern;
  }
}

TEST(RegularExpression, HostilePatternGivesUpSoon) {
  const std::pair<std::string_view, std::string> pairs[] = {
      {"(a+)+$", std::string(40, 'a') + "!"},
      {"(a|aa)+", std::string(60, 'a') + "!"},
      {"(\\w+\\s?)*", std::string(60, 'a') + "!"},
  };
  for (const auto& [pattern, text] : pairs) {
    const auto expression = RegularExpression::compile(pattern, Fold::None);
    ASSERT_TRUE(expression) << pattern;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(expression->match(text), std::nullopt) << pattern;
    EXPECT_FALSE(expression->matches(text)) << pattern;
    // Without the limit each takes years. A busy machine must not fail the test.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30)) << pattern;
    EXPECT_EQ(expression->match("a"), true) << pattern;
  }
}

TEST(RegularExpression, RecursionWithoutAnEndGivesUp) {
  const auto expression = RegularExpression::compile("(?R)?a", Fold::None);
  ASSERT_TRUE(expression);
  EXPECT_EQ(expression->match("aaaa"), std::nullopt);
}

TEST(RegularExpression, LongTextStaysBelowTheLimit) {
  const std::string text(1'000'000, 'a');
  const auto turns = RegularExpression::compile("(?:a|b)*", Fold::None);
  ASSERT_TRUE(turns);
  EXPECT_EQ(turns->match(text), true);
  EXPECT_EQ(turns->match(text + "c"), false);
  const auto plain = RegularExpression::compile(".*a", Fold::None);
  ASSERT_TRUE(plain);
  EXPECT_EQ(plain->match(text), true);
}

TEST(RegularExpression, CanBeMovedNotCopied) {
  static_assert(!std::is_copy_constructible_v<RegularExpression>);
  static_assert(std::is_nothrow_move_constructible_v<RegularExpression>);
  auto first = RegularExpression::compile("a+", Fold::None);
  ASSERT_TRUE(first);
  RegularExpression second = std::move(*first);
  EXPECT_TRUE(second.matches("aaa"));
  auto third = RegularExpression::compile("b", Fold::None);
  ASSERT_TRUE(third);
  *third = std::move(second);
  EXPECT_TRUE(third->matches("a"));
  EXPECT_FALSE(third->matches("b"));
}

TEST(RegularExpression, ServesSeveralThreads) {
  const auto expression = RegularExpression::compile("(?:x|é)*(\\d+)", Fold::Case);
  ASSERT_TRUE(expression);
  std::vector<std::thread> threads;
  std::vector<int> found(4, 0);
  // Long enough to need a stack aside in some of the calls.
  std::string text;
  for (int index = 0; index < 20'000; ++index) text += "É";
  text += "42";
  for (int& count : found) {
    threads.emplace_back([&] {
      for (int round = 0; round < 20; ++round) {
        count += expression->matches(text);
        count += expression->matches("xxX7");
        count += expression->matches("xxX");
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(found, std::vector<int>(4, 40));
}

}  // namespace
}  // namespace JNFoundation
