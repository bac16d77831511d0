#include <chrono>
#include <cmath>
#include <cstdio>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "platform/text/Randomness.h"

#include <JNFoundation/platform/text/DateText.h>

namespace JNFoundation {
namespace {

using namespace std::string_view_literals;

constexpr double firstSecond = -62'135'596'800;  // 0001-01-01T00:00:00
constexpr double lastSecond = 253'402'300'799;   // 9999-12-31T23:59:59

/// The same date from the standard library's calendar.
std::chrono::year_month_day chronoDate(std::int64_t days) {
  return std::chrono::year_month_day(std::chrono::sys_days(std::chrono::days(days)));
}

TEST(DateText, ReadsExactlyTheOneForm) {
  EXPECT_EQ(secondsSince1970FromRFC3339("1970-01-01T00:00:00.000Z"), 0.0);
  EXPECT_EQ(secondsSince1970FromRFC3339("2016-03-01T12:30:00.250Z"), 1456835400.25);
  EXPECT_EQ(secondsSince1970FromRFC3339("2001-01-01T00:00:00.000Z"), 978307200.0);
  EXPECT_EQ(secondsSince1970FromRFC3339("1969-12-31T23:59:59.999Z"), -0.001);
  EXPECT_EQ(secondsSince1970FromRFC3339("0001-01-01T00:00:00.000Z"), firstSecond);
  EXPECT_EQ(secondsSince1970FromRFC3339("9999-12-31T23:59:59.000Z"), lastSecond);
  EXPECT_EQ(secondsSince1970FromRFC3339("2038-01-19T03:14:08.001Z"), 2147483648.001);
}

TEST(DateText, RefusesEveryOtherForm) {
  for (const std::string_view text : {
           "",
           "2016",
           "2016-03-01",
           "2016-03-01T12:30:00Z",
           "2016-03-01T12:30:00.25Z",
           "2016-03-01T12:30:00.2500Z",
           "2016-03-01T12:30:00.000+01:00",
           "2016-03-01T12:30:00.250z",
           "2016-03-01t12:30:00.250Z",
           "2016-03-01 12:30:00.250Z",
           "2016-03-01T12:30:00,250Z",
           "2016/03/01T12:30:00.250Z",
           "2016-03-01T12.30.00.250Z",
           " 2016-03-01T12:30:00.250Z",
           "2016-03-01T12:30:00.250Z ",
           "2016-03-01T12:30:00.250Z\n",
           "2016-03-01T12:30:00.25 Z",
           "2016-3-01T12:30:00.2500Z",
           "+016-03-01T12:30:00.250Z",
           "-016-03-01T12:30:00.250Z",
           "2016-03-01T12:30:00.250",
           "16-03-01T12:30:00.250000Z",
           "2016-03-01T12:30:0\xD9\xA0.25Z",
           "\xD9\xA2\xD9\xA0-03-01T12:30:00.250Z",
           "2016-03-01T12:30:00.2e0Z",
           "2016-03-01T12:30:-1.250Z",
           "2016-03-01T 1:30:00.250Z",
       }) {
    EXPECT_EQ(secondsSince1970FromRFC3339(text), std::nullopt) << text;
  }
  EXPECT_EQ(secondsSince1970FromRFC3339("2016-03-01T12:30:00.25\0Z"sv), std::nullopt);
}

TEST(DateText, EveryCharacterCounts) {
  const std::string valid = "2016-11-11T11:11:11.111Z";
  ASSERT_TRUE(secondsSince1970FromRFC3339(valid));
  for (std::size_t place = 0; place < valid.size(); ++place) {
    const bool digit = valid[place] >= '0' && valid[place] <= '9';
    for (int byte = 0; byte < 256; ++byte) {
      std::string text = valid;
      text[place] = static_cast<char>(byte);
      const bool stillDigit = byte >= '0' && byte <= '9';
      if (text == valid) continue;
      if (digit && stillDigit) continue;  // its range is the matter of the next test
      EXPECT_EQ(secondsSince1970FromRFC3339(text), std::nullopt) << place << ' ' << byte;
    }
  }
}

TEST(DateText, EveryFieldIsHeldToItsRange) {
  const auto valid = [](std::string_view text) {
    return secondsSince1970FromRFC3339(text).has_value();
  };
  EXPECT_FALSE(valid("0000-01-01T00:00:00.000Z"));
  EXPECT_FALSE(valid("2016-00-10T00:00:00.000Z"));
  EXPECT_FALSE(valid("2016-13-10T00:00:00.000Z"));
  EXPECT_FALSE(valid("2016-19-10T00:00:00.000Z"));
  EXPECT_FALSE(valid("2016-01-00T00:00:00.000Z"));
  EXPECT_TRUE(valid("2016-01-01T23:00:00.000Z"));
  EXPECT_FALSE(valid("2016-01-01T24:00:00.000Z"));
  EXPECT_FALSE(valid("2016-01-01T25:00:00.000Z"));
  EXPECT_FALSE(valid("2016-01-01T99:00:00.000Z"));
  EXPECT_TRUE(valid("2016-01-01T00:59:00.000Z"));
  EXPECT_FALSE(valid("2016-01-01T00:60:00.000Z"));
  EXPECT_TRUE(valid("2016-01-01T00:00:59.999Z"));
  EXPECT_FALSE(valid("2016-12-31T23:59:60.000Z"));
}

TEST(DateText, DayIsHeldToItsMonthAndYear) {
  for (const int year :
       {1, 4, 100, 400, 1582, 1600, 1700, 1900, 1999, 2000, 2015, 2016, 2100, 9999}) {
    for (unsigned month = 1; month <= 12; ++month) {
      for (unsigned day = 1; day <= 35; ++day) {
        const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(month),
                                               std::chrono::day(day)};
        char text[32];
        std::snprintf(text, sizeof text, "%04d-%02u-%02uT00:00:00.000Z", year, month, day);
        const std::optional<double> seconds = secondsSince1970FromRFC3339(text);
        ASSERT_EQ(seconds.has_value(), date.ok()) << text;
        if (!date.ok()) continue;
        const auto days = std::chrono::sys_days(date).time_since_epoch().count();
        ASSERT_EQ(*seconds, static_cast<double>(days) * 86'400) << text;
      }
    }
  }
}

TEST(DateText, AgreesWithAnIndependentCalendar) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  for (int round = 0; round < 100'000; ++round) {
    const std::int64_t milliseconds = random.between(static_cast<std::int64_t>(firstSecond) * 1000,
                                                     static_cast<std::int64_t>(lastSecond) * 1000);
    const std::int64_t seconds = static_cast<std::int64_t>(std::floor(milliseconds / 1000.0L));
    const std::int64_t days = static_cast<std::int64_t>(std::floor(seconds / 86'400.0L));
    const auto date = chronoDate(days);
    const auto secondOfDay = static_cast<int>(seconds - days * 86'400);
    char text[48];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), secondOfDay / 3600, secondOfDay / 60 % 60,
                  secondOfDay % 60, static_cast<int>(milliseconds - seconds * 1000));
    const double instant = static_cast<double>(milliseconds) / 1000;
    ASSERT_EQ(secondsSince1970FromRFC3339(text), instant) << text;
    ASSERT_EQ(rfc3339FromSecondsSince1970(instant), text);

    const CivilTime civil = civilFromSecondsSince1970(instant);
    ASSERT_EQ(civil.year, static_cast<int>(date.year()));
    ASSERT_EQ(civil.month, static_cast<int>(static_cast<unsigned>(date.month())));
    ASSERT_EQ(civil.day, static_cast<int>(static_cast<unsigned>(date.day())));
    ASSERT_EQ(civil.hour * 3600 + civil.minute * 60 + civil.second, secondOfDay);
    ASSERT_EQ(daysFromCivil(civil.year, civil.month, civil.day), days);
  }
}

TEST(DateText, TextSurvivesADateThatCountsFrom2001) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  for (int round = 0; round < 100'000; ++round) {
    const double instant =
        static_cast<double>(random.between(-4'000'000'000'000, 8'000'000'000'000)) / 1000;
    const std::string text = rfc3339FromSecondsSince1970(instant);
    // Such a date rounds twice.
    volatile double since2001 = instant - 978'307'200.0;
    ASSERT_EQ(rfc3339FromSecondsSince1970(since2001 + 978'307'200.0), text);
  }
}

TEST(DateText, CivilDaysFollowEachOtherWithoutAGap) {
  std::int64_t expected = daysFromCivil(-800, 1, 1);
  for (std::int64_t year = -800; year <= 2800; ++year) {
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    for (int month = 1; month <= 12; ++month) {
      const int lengths[] = {31, leap ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
      for (int day = 1; day <= lengths[month - 1]; ++day, ++expected) {
        ASSERT_EQ(daysFromCivil(year, month, day), expected);
        const CivilTime civil = civilFromSecondsSince1970(static_cast<double>(expected) * 86'400);
        ASSERT_EQ(civil.year, year);
        ASSERT_EQ(civil.month, month);
        ASSERT_EQ(civil.day, day);
        ASSERT_EQ(civil.hour + civil.minute + civil.second, 0);
      }
    }
  }
}

TEST(DateText, DayOutsideOfTheMonthCountsOn) {
  EXPECT_EQ(daysFromCivil(2016, 2, 30), daysFromCivil(2016, 3, 1));
  EXPECT_EQ(daysFromCivil(2016, 3, 0), daysFromCivil(2016, 2, 29));
}

TEST(DateText, FractionPassesForwardsBefore1970) {
  const CivilTime civil = civilFromSecondsSince1970(-0.25);
  EXPECT_EQ(civil.year, 1969);
  EXPECT_EQ(civil.second, 59);
  EXPECT_EQ(civil.fraction, 0.75);
  EXPECT_EQ(rfc3339FromSecondsSince1970(-0.25), "1969-12-31T23:59:59.750Z");
}

TEST(DateText, MillisecondsAreRoundedDown) {
  EXPECT_EQ(rfc3339FromSecondsSince1970(0.0019), "1970-01-01T00:00:00.001Z");
  EXPECT_EQ(rfc3339FromSecondsSince1970(0.9989), "1970-01-01T00:00:00.998Z");
  EXPECT_EQ(rfc3339FromSecondsSince1970(-0.0001), "1969-12-31T23:59:59.999Z");
}

TEST(DateText, InstantJustShortOfASecondCarriesIntoEveryField) {
  EXPECT_EQ(rfc3339FromSecondsSince1970(1483228800 - 1e-7), "2017-01-01T00:00:00.000Z");
  EXPECT_EQ(rfc3339FromSecondsSince1970(1483228800 - 1e-5), "2016-12-31T23:59:59.999Z");
}

TEST(DateText, YearsOutsideOfFourDigitsAreWrittenInFull) {
  EXPECT_EQ(rfc3339FromSecondsSince1970(lastSecond + 1), "10000-01-01T00:00:00.000Z");
  EXPECT_EQ(rfc3339FromSecondsSince1970(firstSecond - 1), "0000-12-31T23:59:59.000Z");
  EXPECT_EQ(rfc3339FromSecondsSince1970(firstSecond - 366 * 86'400.0 - 1),
            "-0001-12-31T23:59:59.000Z");
}

TEST(DateText, ImpossibleInstantsHaveADateToo) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(dateDescription(infinity), dateDescription(1e18));
  EXPECT_EQ(dateDescription(-infinity), dateDescription(-1e18));
  EXPECT_EQ(rfc3339FromSecondsSince1970(1e300), rfc3339FromSecondsSince1970(1e18));
  EXPECT_EQ(dateDescription(std::numeric_limits<double>::quiet_NaN()), dateDescription(0));
  EXPECT_EQ(civilFromSecondsSince1970(1e18).year, 31'688'740'476);
  EXPECT_EQ(rfc3339FromSecondsSince1970(1e18), "31688740476-10-23T01:46:40.000Z");
}

TEST(DateText, DescriptionIsForPeople) {
  EXPECT_EQ(dateDescription(1456835400), "2016-03-01 12:30:00 +0000");
  EXPECT_EQ(dateDescription(1456835400.999), "2016-03-01 12:30:00 +0000");
  EXPECT_EQ(dateDescription(-1), "1969-12-31 23:59:59 +0000");
  EXPECT_EQ(dateDescription(0), "1970-01-01 00:00:00 +0000");
}

}  // namespace
}  // namespace JNFoundation
