#include <bit>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <string_view>

#include "platform/text/Randomness.h"

#include <JNFoundation/platform/text/NumberText.h>

namespace JNFoundation {
namespace {

using namespace std::string_view_literals;

constexpr double infinity = std::numeric_limits<double>::infinity();

template <class Number>
struct Row {
  std::string_view text;
  Number number;
};

TEST(IntegerFromText, ReadsTheLongestPrefixThatIsANumber) {
  const Row<std::int64_t> rows[] = {
      {"123", 123},
      {"123a", 123},
      {"-123a", -123},
      {"a123", 0},
      {"+123", 123},
      {"++123", 0},
      {"--123", 0},
      {"+-123", 0},
      {"-+1", 0},
      {"", 0},
      {"-", 0},
      {"+", 0},
      {"   ", 0},
      {"- 5", 0},
      {"0x1F", 0},
      {"12.9", 12},
      {"-12.9", -12},
      {"1,234", 1},
      {"1 234", 1},
      {"1e3", 1},
      {" \t\r\n42", 42},
      {"\v\f42", 42},
      {"000012", 12},
      {"-0", 0},
      {"\xC2\xA0"
       "7",
       7},
      {"\xE2\x80\x89"
       "7",
       7},
      {"\xE3\x80\x80-7", -7},
      {"\xD9\xA3", 0},
      {"\xFF"
       "7",
       0},
      {"7\0"
       "8"sv,
       7},
      {"\0"
       "7"sv,
       0},
      {"42 ", 42},
  };
  for (const auto& [text, number] : rows) {
    EXPECT_EQ(integerFromText(text), number) << ::testing::PrintToString(text);
    EXPECT_EQ(intFromText(text), number) << ::testing::PrintToString(text);
    EXPECT_EQ(unsignedFromText(text), static_cast<std::uint64_t>(number < 0 ? 0 : number))
        << ::testing::PrintToString(text);
  }
}

TEST(IntegerFromText, IsHeldToTheBoundsOfItsType) {
  constexpr auto largest = std::numeric_limits<std::int64_t>::max();
  constexpr auto smallest = std::numeric_limits<std::int64_t>::min();
  const Row<std::int64_t> rows[] = {
      {"9223372036854775806", largest - 1},
      {"9223372036854775807", largest},
      {"9223372036854775808", largest},
      {"18446744073709551616", largest},
      {"99999999999999999999999999999999999999", largest},
      {"0000000000000000000000000000000000000001", 1},
      {"-9223372036854775807", smallest + 1},
      {"-9223372036854775808", smallest},
      {"-9223372036854775809", smallest},
      {"-99999999999999999999999999999999999999", smallest},
  };
  for (const auto& [text, number] : rows) EXPECT_EQ(integerFromText(text), number) << text;
}

TEST(IntegerFromText, HasNarrowerBoundsForInt) {
  const Row<std::int32_t> rows[] = {
      {"2147483646", 2147483646},
      {"2147483647", 2147483647},
      {"2147483648", 2147483647},
      {"9223372036854775808", 2147483647},
      {"-2147483647", -2147483647},
      {"-2147483648", std::numeric_limits<std::int32_t>::min()},
      {"-2147483649", std::numeric_limits<std::int32_t>::min()},
      {"-99999999999999999999", std::numeric_limits<std::int32_t>::min()},
  };
  for (const auto& [text, number] : rows) EXPECT_EQ(intFromText(text), number) << text;
}

TEST(IntegerFromText, UnsignedReachesTwiceAsFarAndNotBelowZero) {
  constexpr auto largest = std::numeric_limits<std::uint64_t>::max();
  const Row<std::uint64_t> rows[] = {
      {"9223372036854775808", 9223372036854775808u},
      {"18446744073709551614", largest - 1},
      {"18446744073709551615", largest},
      {"18446744073709551616", largest},
      {"184467440737095516150", largest},
      {"-1", 0},
      {"-18446744073709551615", 0},
  };
  for (const auto& [text, number] : rows) EXPECT_EQ(unsignedFromText(text), number) << text;
}

TEST(DoubleFromText, ReadsDecimalNumbersOnly) {
  const Row<double> rows[] = {
      {".2", 0.2},
      {"+.2", 0.2},
      {"-.2", -0.2},
      {"1.23015e+3", 1230.15},
      {"12.e4", 120000},
      {"1E3", 1000},
      {"1.2.3.4", 1.2},
      {"1e2.3", 100},
      {"2e3.12", 2000},
      {".e12", 0},
      {".", 0},
      {"+", 0},
      {"-", 0},
      {"", 0},
      {"e5", 0},
      {"1e", 1},
      {"1e+", 1},
      {"1e-", 1},
      {"1e+5", 100000},
      {"1e-2", 0.01},
      {"++1", 0},
      {"- 1", 0},
      {"0x1F", 0},
      {"0x1p4", 0},
      {"inf", 0},
      {"-inf", 0},
      {"infinity", 0},
      {"nan", 0},
      {"NaN", 0},
      {"nan(1)", 0},
      {"1,5", 1},
      {"1 000", 1},
      {" \n\t9.99 EUR", 9.99},
      {"\xC2\xA0"
       "1.5",
       1.5},
      {"abc", 0},
      {"00012.50", 12.5},
      {"1_000", 1},
      {"5.", 5},
      {"1.5\0"
       "9"sv,
       1.5},
      {"9007199254740993", 9007199254740992.0},
      {"0.1", 0.1},
  };
  for (const auto& [text, number] : rows) {
    EXPECT_EQ(doubleFromText(text), number) << ::testing::PrintToString(text);
  }
}

TEST(DoubleFromText, KeepsTheSignOfZero) {
  EXPECT_TRUE(std::signbit(doubleFromText("-0")));
  EXPECT_FALSE(std::signbit(doubleFromText("0")));
  EXPECT_FALSE(std::signbit(doubleFromText("-")));
}

TEST(DoubleFromText, TooLargeIsInfiniteAndTooSmallIsZero) {
  const std::string zeros(400, '0');
  const Row<double> rows[] = {
      {"1e308", 1e308},
      {"1.7976931348623157e308", 1.7976931348623157e308},
      {"1.7976931348623159e308", infinity},
      {"1e309", infinity},
      {"-1e309", -infinity},
      {"+1e309", infinity},
      {"1e99999999999999999999999", infinity},
      {"0.0001e99999999999999999999999", infinity},
      {"1e-99999999999999999999999", 0},
      {"1000e-99999999999999999999999", 0},
      {"0e99999999999999999999999", 0},
      {"0.000e999", 0},
      {"2.2250738585072014e-308", std::numeric_limits<double>::min()},
      {"2.2250738585072011e-308", 2.2250738585072011e-308},
      {"5e-324", std::numeric_limits<double>::denorm_min()},
      {"4.9406564584124654e-324", std::numeric_limits<double>::denorm_min()},
      {"2e-324", 0},
      {"1e-400", 0},
      {"1e400 and more", infinity},
  };
  for (const auto& [text, number] : rows) EXPECT_EQ(doubleFromText(text), number) << text;
  EXPECT_EQ(doubleFromText("1" + zeros), infinity);
  EXPECT_EQ(doubleFromText("1" + zeros + ".5.5"), infinity);
  EXPECT_EQ(doubleFromText("." + zeros + "1"), 0);
  EXPECT_EQ(doubleFromText("1" + zeros + "e-400"), 1);
  EXPECT_EQ(doubleFromText("." + zeros + "1e401"), 1);
  EXPECT_EQ(doubleFromText("1" + zeros + " e-900"), infinity);
}

TEST(DoubleFromText, FloatIsRoundedOnce) {
  EXPECT_EQ(floatFromText("0.1"), 0.1f);
  EXPECT_EQ(floatFromText("16777217"), 16777216.0f);
  EXPECT_EQ(floatFromText("3.4028236e38"), std::numeric_limits<float>::infinity());
  EXPECT_EQ(floatFromText("-1e39"), -std::numeric_limits<float>::infinity());
  EXPECT_EQ(floatFromText("1e-46"), 0.0f);
  EXPECT_EQ(floatFromText("1e-45"), std::numeric_limits<float>::denorm_min());
  // Just above the middle of two floats; as a double it is the middle, which would round down.
  EXPECT_EQ(floatFromText("1.00000005960464477540"), std::nextafter(1.0f, 2.0f));
  EXPECT_EQ(static_cast<float>(doubleFromText("1.00000005960464477540")), 1.0f);
}

TEST(DoubleFromText, DoesNotFollowTheLocale) {
  const std::string before = std::setlocale(LC_NUMERIC, nullptr);
  // Where the machine has none of these, the locale stays and the test checks the plain case.
  for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "de_DE"}) {
    if (std::setlocale(LC_NUMERIC, name)) break;
  }
  EXPECT_EQ(doubleFromText("1.5"), 1.5);
  EXPECT_EQ(doubleFromText("1,5"), 1.0);
  EXPECT_EQ(textFromDouble(1234.5), "1234.5");
  std::setlocale(LC_NUMERIC, before.c_str());
}

TEST(BoolFromText, IsTrueForYesTrueAndNumbersOtherThanZero) {
  for (const std::string_view text :
       {"t",   "true", "TRUE",    "tRuE", "T",   "yes",  "YES",    "y",  "Y", "yonder",
        "1",   "9",    "+000009", "-1",   "-09", " \t1", "\n yes", "10", "2", "\xC2\xA0true",
        "1.5", "1a"}) {
    EXPECT_TRUE(boolFromText(text)) << text;
  }
}

TEST(BoolFromText, IsFalseForEverythingElse) {
  for (const std::string_view text :
       {"f",      "false", "FALSE", "no", "NO", "0",   "<true>",   "_true",
        "-00000", "+t",    "-y",    "+",  "0t", "++",  "",         "0.5",
        "00.9",   "--1",   "+-1",   "on", " ",  "+ 1", "\xD9\xA1", "\xFFy"}) {
    EXPECT_FALSE(boolFromText(text)) << text;
  }
  EXPECT_FALSE(boolFromText("\0y"sv));
}

TEST(TextFromInteger, WritesEveryDigit) {
  EXPECT_EQ(textFromInteger(0), "0");
  EXPECT_EQ(textFromInteger(-7), "-7");
  EXPECT_EQ(textFromInteger(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(textFromInteger(std::numeric_limits<std::int64_t>::max()), "9223372036854775807");
  EXPECT_EQ(textFromUnsigned(0), "0");
  EXPECT_EQ(textFromUnsigned(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
}

TEST(TextFromDouble, IsTheShortestTextWithoutANeedlessFraction) {
  const Row<double> rows[] = {
      {"0", 0.0},
      {"-0", -0.0},
      {"1", 1.0},
      {"-1", -1.0},
      {"9.99", 9.99},
      {"0.1", 0.1},
      {"0.5", 0.5},
      {"-0.25", -0.25},
      {"100", 100.0},
      {"1000000000", 1e9},
      {"123456789.125", 123456789.125},
      {"1363395572.613", 1363395572.613},
      {"0.3333333333333333", 1 / 3.0},
      {"0.30000000000000004", 0.1 + 0.2},
      {"0.0001", 1e-4},
      {"0.00012345", 1.2345e-4},
      {"1e-05", 1e-5},
      {"1.2345e-05", 1.2345e-5},
      {"999999999999999", 999999999999999.0},
      {"1000000000000000", 1e15},
      {"9007199254740992", 9007199254740992.0},
      {"9999999999999998", 9999999999999998.0},
      {"1e+16", 1e16},
      {"1.2345678901234568e+17", 123456789012345678.0},
      {"1e+21", 1e21},
      {"-1.5e+300", -1.5e300},
      {"1e+100", 1e100},
      {"1e-100", 1e-100},
      {"1.7976931348623157e+308", std::numeric_limits<double>::max()},
      {"2.2250738585072014e-308", std::numeric_limits<double>::min()},
      {"5e-324", std::numeric_limits<double>::denorm_min()},
      {"+infinity", infinity},
      {"-infinity", -infinity},
      {"nan", std::numeric_limits<double>::quiet_NaN()},
      {"nan", -std::numeric_limits<double>::quiet_NaN()},
  };
  for (const auto& [text, number] : rows) EXPECT_EQ(textFromDouble(number), text);
}

TEST(TextFromDouble, FloatHasTheDigitsOfAFloat) {
  const Row<float> rows[] = {
      {"1", 1.0f},
      {"0.1", 0.1f},
      {"-0", -0.0f},
      {"9999999", 9999999.0f},
      {"1e+07", 1e7f},
      {"1.6777216e+07", 16777216.0f},
      {"3.1415927", 3.14159274f},
      {"1e-05", 1e-5f},
      {"0.0001", 1e-4f},
      {"123456.79", 123456.789f},
      {"1e-45", std::numeric_limits<float>::denorm_min()},
      {"3.4028235e+38", std::numeric_limits<float>::max()},
      {"nan", std::numeric_limits<float>::quiet_NaN()},
      {"+infinity", std::numeric_limits<float>::infinity()},
      {"-infinity", -std::numeric_limits<float>::infinity()},
  };
  for (const auto& [text, number] : rows) EXPECT_EQ(textFromFloat(number), text);
}

TEST(TextFromDouble, ReadsBackToTheSameBits) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  for (int round = 0; round < 200'000; ++round) {
    const auto number = std::bit_cast<double>(random.bits());
    if (!std::isfinite(number)) continue;
    const std::string text = textFromDouble(number);
    ASSERT_EQ(std::bit_cast<std::uint64_t>(doubleFromText(text)),
              std::bit_cast<std::uint64_t>(number))
        << text;
    ASSERT_LE(text.size(), 24u);
  }
}

TEST(TextFromDouble, ReadsBackNumbersOfEverydaySize) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  for (int round = 0; round < 200'000; ++round) {
    const double number = static_cast<double>(random.between(-1'000'000'000, 1'000'000'000)) /
                          std::pow(10.0, static_cast<double>(random.below(14)));
    const std::string text = textFromDouble(number);
    ASSERT_EQ(doubleFromText(text), number) << text;
    // Never longer than what printf needs for the same number.
    char printed[40];
    std::snprintf(printed, sizeof printed, "%.17g", number);
    ASSERT_LE(text.size(), std::string_view(printed).size());
  }
}

TEST(TextFromDouble, FloatReadsBackToTheSameBits) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  for (int round = 0; round < 200'000; ++round) {
    const auto number = std::bit_cast<float>(static_cast<std::uint32_t>(random.bits()));
    if (!std::isfinite(number)) continue;
    const std::string text = textFromFloat(number);
    ASSERT_EQ(std::bit_cast<std::uint32_t>(floatFromText(text)),
              std::bit_cast<std::uint32_t>(number))
        << text;
  }
}

TEST(TextFromInteger, ReadsBack) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  for (int round = 0; round < 100'000; ++round) {
    const std::uint64_t bits = random.bits() >> random.below(64);
    const auto number = static_cast<std::int64_t>(bits);
    ASSERT_EQ(integerFromText(textFromInteger(number)), number);
    ASSERT_EQ(unsignedFromText(textFromUnsigned(bits)), bits);
  }
}

}  // namespace
}  // namespace JNFoundation
