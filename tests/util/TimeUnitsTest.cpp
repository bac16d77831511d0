#include <cmath>
#include <cstdint>
#include <cstdio>
#include <gtest/gtest.h>
#include <limits>
#include <string>

#include "platform/text/Randomness.h"

#include <JNFoundation/util/TimeUnits.h>

namespace JNFoundation {
namespace {

constexpr NSInteger greatest = std::numeric_limits<NSInteger>::max();
constexpr NSInteger least = std::numeric_limits<NSInteger>::min();
/// The least number that is too great.
constexpr double bound = -static_cast<double>(least);

std::string clockOf(NSInteger seconds) {
  return Integer::formattedDigitalHoursMinutesSecondsString(seconds)->toStdString();
}

TEST(SecondsToUnits, AreCutOffTowardZero) {
  EXPECT_EQ(Integer::minutes(59.9), 0);
  EXPECT_EQ(Integer::minutes(60), 1);
  EXPECT_EQ(Integer::minutes(119.9), 1);
  EXPECT_EQ(Integer::minutes(-59.9), 0);
  EXPECT_EQ(Integer::minutes(-90), -1);
  EXPECT_EQ(Integer::hours(7199), 1);
  EXPECT_EQ(Integer::hours(7200), 2);
  EXPECT_EQ(Integer::hours(-3600.5), -1);
  EXPECT_EQ(Integer::days(-86400.5), -1);
  EXPECT_EQ(Integer::days(86399.999), 0);
  EXPECT_EQ(Integer::days(0), 0);
}

TEST(SecondsToUnits, APartOfASecondIsDroppedFirst) {
  // As a fraction of a unit this would round up to the whole one.
  EXPECT_EQ(Integer::minutes(std::nextafter(60.0, 0.0)), 0);
}

TEST(SecondsToUnits, TakeWhatAnIntegerCanHold) {
  EXPECT_EQ(Integer::minutes(static_cast<double>(least)), least / 60);
  const double last = std::nextafter(bound, 0.0);
  EXPECT_EQ(Integer::days(last), static_cast<NSInteger>(last) / 86400);
}

TEST(SecondsToUnits, AreKnownToTheCompiler) {
  static_assert(Integer::minutes(119.9) == 1);
  static_assert(Integer::hours(7199) == 1);
  static_assert(Integer::days(-86400.5) == -1);
  static_assert(Double::weeks(1) == 604800.0);
  static_assert(Double::hours(-2) == -7200.0);
}

TEST(UnitsToSeconds, AreExact) {
  EXPECT_EQ(Double::minutes(1), 60.0);
  EXPECT_EQ(Double::hours(1), 3600.0);
  EXPECT_EQ(Double::days(2), 172800.0);
  EXPECT_EQ(Double::weeks(1), 604800.0);
  EXPECT_EQ(Double::weeks(0), 0.0);
  EXPECT_EQ(Double::minutes(-3), -180.0);
}

TEST(UnitsToSeconds, TakeWhatAnIntegerCanHold) {
  const NSInteger minutes = greatest / 60, weeks = least / 604800;
  const NSInteger secondsOfMinutes = minutes * 60, secondsOfWeeks = weeks * 604800;
  EXPECT_EQ(Double::minutes(minutes), static_cast<double>(secondsOfMinutes));
  EXPECT_EQ(Double::weeks(weeks), static_cast<double>(secondsOfWeeks));
}

class TimeUnitsDeathTest : public ::testing::Test {
 protected:
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(TimeUnitsDeathTest, SecondsThatNoIntegerHoldsAreRefused) {
  const char* message = "Integer: the seconds are no number that an integer can hold";
  EXPECT_DEATH(Integer::minutes(std::nan("")), message);
  EXPECT_DEATH(Integer::hours(HUGE_VAL), message);
  EXPECT_DEATH(Integer::days(-HUGE_VAL), message);
  EXPECT_DEATH(Integer::minutes(bound), message);
  EXPECT_DEATH(Integer::minutes(std::nextafter(-bound, -HUGE_VAL)), message);
}

TEST_F(TimeUnitsDeathTest, ProductsThatNoIntegerHoldsAreRefused) {
  const char* message = "Double: so many units are more seconds than an integer can hold";
  EXPECT_DEATH(Double::minutes(greatest / 60 + 1), message);
  EXPECT_DEATH(Double::hours(greatest / 3600 + 1), message);
  EXPECT_DEATH(Double::days(least / 86400 - 1), message);
  EXPECT_DEATH(Double::weeks(least), message);
}

TEST(ClockText, LeavesOutUnitsInFrontThatAreZero) {
  const std::pair<NSInteger, const char*> table[] = {
      {0, "0"},          {5, "5"},           {59, "59"},        {60, "1:00"},
      {65, "1:05"},      {150, "2:30"},      {600, "10:00"},    {3599, "59:59"},
      {3600, "1:00:00"}, {3605, "1:00:05"},  {3725, "1:02:05"}, {36000, "10:00:00"},
      {3610, "1:00:10"}, {86399, "23:59:59"}};
  for (const auto& [seconds, text] : table) EXPECT_EQ(clockOf(seconds), text) << seconds;
}

TEST(ClockText, HoursGoOnPastADayWithoutGrouping) {
  EXPECT_EQ(clockOf(86400), "24:00:00");
  EXPECT_EQ(clockOf(360000), "100:00:00");
  EXPECT_EQ(clockOf(3600000), "1000:00:00");
  EXPECT_EQ(clockOf(360000000), "100000:00:00");
}

TEST(ClockText, ANegativeTimeHasOneMinusSignInFront) {
  EXPECT_EQ(clockOf(-5), "-5");
  EXPECT_EQ(clockOf(-60), "-1:00");
  EXPECT_EQ(clockOf(-65), "-1:05");
  EXPECT_EQ(clockOf(-3725), "-1:02:05");
  EXPECT_EQ(clockOf(-86400), "-24:00:00");
}

TEST(ClockText, TheGreatestAndTheLeastIntegerHaveOne) {
  const bool isWide = sizeof(NSInteger) == 8;
  EXPECT_EQ(clockOf(greatest), isWide ? "2562047788015215:30:07" : "596523:14:07");
  EXPECT_EQ(clockOf(least), isWide ? "-2562047788015215:30:08" : "-596523:14:08");
}

TEST(ClockText, ReadsBackAsTheSeconds) {
  testing::Randomness randomness;
  JN_TRACE_SEED(randomness);
  for (int round = 0; round < testing::rounds(20000, 500000); ++round) {
    const auto seconds = static_cast<NSInteger>(static_cast<std::int64_t>(randomness.bits()) >>
                                                randomness.below(63));
    const std::string text = clockOf(seconds);
    unsigned long long units[3] = {0, 0, 0};
    char rest = 0;
    const char* digits = text.c_str() + (seconds < 0 ? 1 : 0);
    ASSERT_EQ(text[0] == '-', seconds < 0) << text;
    const int count =
        std::sscanf(digits, "%llu:%2llu:%2llu%c", &units[0], &units[1], &units[2], &rest);
    ASSERT_TRUE(count >= 1 && count <= 3) << text;
    unsigned long long total = 0;
    for (int i = 0; i < count; ++i) {
      ASSERT_TRUE(i == 0 || units[i] < 60u) << text;
      total = total * 60 + units[i];
    }
    ASSERT_EQ(seconds < 0 ? 0 - total : total, static_cast<unsigned long long>(seconds)) << text;
    ASSERT_TRUE(count == 1 || units[0] > 0) << text;
  }
}

}  // namespace
}  // namespace JNFoundation
