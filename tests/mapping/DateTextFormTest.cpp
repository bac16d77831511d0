#include <array>
#include <atomic>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "platform/text/Randomness.h"

#include <JNFoundation/mapping/NSDictionary+Extensions.h>
#include <JNFoundation/mapping/PLVScalarDataMap.h>
#include <JNFoundation/platform/value/NSDate.h>

/// The one form in which records write instants, 2016-03-01T12:30:00.250Z.
namespace JNFoundation {
namespace {

constexpr std::int64_t millisecondsPerDay = 86'400'000;

/// Counts the days of years 1 to 9999 one month after the other, with nothing but the rule for leap
/// years.
class Calendar {
 public:
  Calendar() : _daysBefore(13 * 10'001) {
    std::int64_t days = 0;
    for (int year = 1; year < 10'000; ++year) {
      for (int month = 1; month <= 12; ++month) {
        at(year, month) = days;
        days += daysIn(year, month);
      }
    }
    _epoch = at(1970, 1);
  }

  static bool isLeap(int year) {
    if (year % 400 == 0) return true;
    if (year % 100 == 0) return false;
    return year % 4 == 0;
  }
  static int daysIn(int year, int month) {
    static constexpr std::array lengths{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && isLeap(year) ? 29 : lengths[static_cast<std::size_t>(month - 1)];
  }
  std::int64_t daysSince1970(int year, int month, int day) const {
    return _daysBefore[index(year, month)] + day - 1 - _epoch;
  }

 private:
  static std::size_t index(int year, int month) {
    return static_cast<std::size_t>(year) * 13 + static_cast<std::size_t>(month);
  }
  std::int64_t& at(int year, int month) { return _daysBefore[index(year, month)]; }

  std::vector<std::int64_t> _daysBefore;
  std::int64_t _epoch = 0;
};

struct Fields {
  int year = 2016, month = 3, day = 1, hour = 12, minute = 30, second = 0, millisecond = 250;

  std::string text() const {
    char line[64];
    std::snprintf(line, sizeof line, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", year, month, day, hour,
                  minute, second, millisecond);
    return line;
  }
  std::int64_t milliseconds(const Calendar& calendar) const {
    return calendar.daysSince1970(year, month, day) * millisecondsPerDay + hour * 3'600'000ll +
           minute * 60'000ll + second * 1'000ll + millisecond;
  }
};

bool isRead(const std::string& text) { return !parseRFC3339DateTimeString(text).isNull(); }

TEST(DateTextForm, AnInstantIsReadToTheMillisecondInUTC) {
  EXPECT_EQ(parseRFC3339DateTimeString("2016-03-01T12:30:00.250Z"),
            NSDate::dateWithTimeIntervalSince1970(1456835400.25));
  EXPECT_EQ(parseRFC3339DateTimeString("1970-01-01T00:00:00.000Z"),
            NSDate::dateWithTimeIntervalSince1970(0));
  EXPECT_EQ(parseRFC3339DateTimeString("1969-12-31T23:59:59.999Z"),
            NSDate::dateWithTimeIntervalSince1970(-0.001));
  EXPECT_TRUE(parseRFC3339DateTimeString("2016-03-01T12:30:00.250Z").isDate());
}

TEST(DateTextForm, NullIsNothing) {
  EXPECT_TRUE(parseRFC3339DateTimeString(nullptr).isNull());
  EXPECT_TRUE(PLVScalarDataMap::parseRFC3339DateTimeString(nullptr).isNull());
}

TEST(DateTextForm, AScalarMapReadsTheSame) {
  for (const char* text : {"2016-03-01T12:30:00.250Z", "2016-03-01T12:30:00Z", "", "x",
                           "2016-02-30T12:30:00.250Z", "0001-01-01T00:00:00.000Z"}) {
    EXPECT_EQ(PLVScalarDataMap::parseRFC3339DateTimeString(text), parseRFC3339DateTimeString(text))
        << text;
  }
}

TEST(DateTextForm, OtherFormsOfTheStandardAreNotRead) {
  for (const char* text :
       {"2016-03-01T12:30:00Z", "2016-03-01T12:30:00.000+01:00", "2016-03-01T12:30:00.000+00:00",
        "2016-03-01T12:30:00.000", "2016-03-01 12:30:00.000Z", "2016-03-01t12:30:00.000Z",
        "2016-03-01T12:30:00.000z", "20160301T123000.000Z", "2016-03-01T12:30:00,000Z",
        "2016-03-01", "12:30:00.000Z", "2016-W09-2T12:30:00.000Z", "2016-061T12:30:00.000Z"}) {
    EXPECT_FALSE(isRead(text)) << text;
  }
}

TEST(DateTextForm, NothingStandsAroundTheInstant) {
  const std::string text = Fields{}.text();
  for (const char* addition : {" ", "\n", "\t", "Z", "0", "x", "\u00a0"}) {
    EXPECT_FALSE(isRead(addition + text));
    EXPECT_FALSE(isRead(text + addition));
  }
  EXPECT_FALSE(isRead(text + '\0'));
}

TEST(DateTextForm, EveryBeginningOfAnInstantIsTooShort) {
  const std::string text = Fields{}.text();
  for (std::size_t length = 0; length < text.size(); ++length) {
    EXPECT_FALSE(isRead(text.substr(0, length))) << length;
  }
}

TEST(DateTextForm, EveryCharacterIsADigitOrTheOneThatBelongsThere) {
  const std::string text = "1111-11-11T11:11:11.111Z";
  ASSERT_TRUE(isRead(text));
  for (std::size_t place = 0; place < text.size(); ++place) {
    const bool digit = text[place] == '1';
    for (int code = 0; code < 0x80; ++code) {
      std::string changed = text;
      changed[place] = static_cast<char>(code);
      // Digits that leave their field's range have a test of their own.
      if (digit && code >= '0' && code <= '9') continue;
      EXPECT_EQ(isRead(changed), changed == text) << place << " " << code;
    }
  }
  EXPECT_FALSE(isRead("１111-11-11T11:11:11.111Z")) << "a digit of another script";
  EXPECT_FALSE(isRead("١٩٧٠-01-01T00:00:00.000Z"));
}

TEST(DateTextForm, EveryFieldIsReadWithinItsLimitsOnly) {
  const auto expectLimits = [](int Fields::*field, int first, int last, int widest) {
    for (int value = 0; value <= widest; ++value) {
      Fields fields;
      fields.*field = value;
      EXPECT_EQ(isRead(fields.text()), value >= first && value <= last) << fields.text();
    }
  };
  expectLimits(&Fields::year, 1, 9999, 9999);
  expectLimits(&Fields::month, 1, 12, 99);
  expectLimits(&Fields::day, 1, 31, 99);
  expectLimits(&Fields::hour, 0, 23, 99);
  expectLimits(&Fields::minute, 0, 59, 99);
  expectLimits(&Fields::second, 0, 59, 99);
  expectLimits(&Fields::millisecond, 0, 999, 999);
}

TEST(DateTextForm, AMonthHasItsDaysInEveryYear) {
  for (int year = 1; year < 10'000; ++year) {
    for (int month = 1; month <= 12; ++month) {
      for (int day = 28; day <= 32; ++day) {
        Fields fields;
        fields.year = year;
        fields.month = month;
        fields.day = day;
        if (isRead(fields.text()) != (day <= Calendar::daysIn(year, month))) {
          FAIL() << fields.text();
        }
      }
    }
  }
}

TEST(DateTextForm, FirstAndLastInstantsAreRead) {
  const Calendar calendar;
  for (const Fields& fields :
       {Fields{1, 1, 1, 0, 0, 0, 0}, Fields{9999, 12, 31, 23, 59, 59, 999}}) {
    EXPECT_EQ(parseRFC3339DateTimeString(fields.text()).timeIntervalSince1970(),
              static_cast<double>(fields.milliseconds(calendar)) / 1000);
  }
}

Fields randomFields(testing::Randomness& randomness) {
  Fields fields;
  fields.year = static_cast<int>(randomness.between(1, 9999));
  fields.month = static_cast<int>(randomness.between(1, 12));
  fields.day = static_cast<int>(randomness.between(1, Calendar::daysIn(fields.year, fields.month)));
  fields.hour = static_cast<int>(randomness.between(0, 23));
  fields.minute = static_cast<int>(randomness.between(0, 59));
  fields.second = static_cast<int>(randomness.between(0, 59));
  fields.millisecond = static_cast<int>(randomness.between(0, 999));
  return fields;
}

TEST(DateTextForm, AMillionInstantsAgreeWithACountOfDays) {
  const Calendar calendar;
  testing::Randomness randomness;
  JN_TRACE_SEED(randomness);
  for (int round = 0; round < 1'000'000; ++round) {
    const Fields fields = randomFields(randomness);
    const std::string text = fields.text();
    const Value date = parseRFC3339DateTimeString(text);
    if (date.isNull() ||
        date.timeIntervalSince1970() != static_cast<double>(fields.milliseconds(calendar)) / 1000) {
      FAIL() << text << " was read as " << date.description()->utf8();
    }
  }
}

TEST(DateTextForm, EveryDayFollowsTheOneBefore) {
  std::int64_t expected = 0;
  bool first = true;
  for (int year = 1; year < 10'000; ++year) {
    for (int month = 1; month <= 12; ++month) {
      for (int day = 1; day <= Calendar::daysIn(year, month); ++day) {
        const Value date = parseRFC3339DateTimeString(Fields{year, month, day, 0, 0, 0, 0}.text());
        ASSERT_TRUE(date.isDate());
        const auto seconds = static_cast<std::int64_t>(date.timeIntervalSince1970());
        ASSERT_TRUE(first || seconds == expected) << year << "-" << month << "-" << day;
        first = false;
        expected = seconds + 86'400;
      }
    }
  }
}

TEST(DateTextForm, ThreadsReadWithoutSharingAnything) {
  const Calendar calendar;
  testing::Randomness randomness;
  JN_TRACE_SEED(randomness);
  std::vector<Fields> instants;
  for (int i = 0; i < 2'000; ++i) instants.push_back(randomFields(randomness));
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int number = 0; number < 8; ++number) {
    threads.emplace_back([&] {
      for (const Fields& fields : instants) {
        const Value date = parseRFC3339DateTimeString(fields.text());
        if (date != NSDate::dateWithTimeIntervalSince1970(
                        static_cast<double>(fields.milliseconds(calendar)) / 1000)) {
          ++wrong;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace JNFoundation
