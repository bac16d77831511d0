#include <cstdio>
#include <ctime>
#include <gtest/gtest.h>
#include <string>

#include "platform/text/Randomness.h"
#include "platform/value/Raising.h"

#include <JNFoundation/mapping/DatePattern.h>
#include <JNFoundation/platform/text/DateText.h>

namespace JNFoundation {
namespace {

/// The instant as "2016-03-01 12:30:00 +0000", "none" if the text is not of the form.
std::string read(std::string_view pattern, std::string_view text) {
  const auto seconds = DatePattern(pattern).secondsSince1970(text);
  return seconds ? dateDescription(*seconds) : "none";
}

TEST(DatePattern, FormsThatFeedsHaveAreRead) {
  EXPECT_EQ(read("yyyy-MM-dd", "2016-03-01"), "2016-03-01 00:00:00 +0000");
  EXPECT_EQ(read("dd.MM.yyyy HH:mm", "01.03.2016 12:30"), "2016-03-01 12:30:00 +0000");
  EXPECT_EQ(read("d/M/yyyy", "1/3/2016"), "2016-03-01 00:00:00 +0000");
  EXPECT_EQ(read("d/M/yyyy", "01/03/2016"), "2016-03-01 00:00:00 +0000");
  EXPECT_EQ(read("yyyyMMdd'T'HHmmss'Z'", "20160301T123000Z"), "2016-03-01 12:30:00 +0000");
  EXPECT_EQ(read("EEE, dd MMM yyyy HH:mm:ss 'GMT'", "Tue, 01 Mar 2016 12:30:00 GMT"),
            "2016-03-01 12:30:00 +0000");
  EXPECT_EQ(read("EEE MMM dd HH:mm:ss Z yyyy", "Tue Mar 01 12:30:00 +0000 2016"),
            "2016-03-01 12:30:00 +0000");
  EXPECT_EQ(read("yyyy-MM-dd'T'HH:mm:ssXXX", "2016-03-01T12:30:00+01:00"),
            "2016-03-01 11:30:00 +0000");
  EXPECT_EQ(read("EEEE, MMMM d, yyyy h:mm a", "tuesday, MARCH 1, 2016 3:07 pm"),
            "2016-03-01 15:07:00 +0000");
}

TEST(DatePattern, AnOffsetMovesTheInstant) {
  const std::string pattern = "yyyy-MM-dd HH:mm";
  const std::string colonOffset(3, 'X');
  EXPECT_EQ(read(pattern + " Z", "2016-03-01 00:30 +0130"), "2016-02-29 23:00:00 +0000");
  EXPECT_EQ(read(pattern + " Z", "2016-12-31 23:30 -0130"), "2017-01-01 01:00:00 +0000");
  EXPECT_EQ(read(pattern + " X", "2016-03-01 12:30 +05"), "2016-03-01 07:30:00 +0000");
  EXPECT_EQ(read(pattern + " XX", "2016-03-01 12:30 -0545"), "2016-03-01 18:15:00 +0000");
  EXPECT_EQ(read(pattern + colonOffset, "2016-03-01 12:30Z"), "2016-03-01 12:30:00 +0000");
  for (const char* bad : {"+5", "+05:0", "+24:00", "+05:60", "05:00", "z", "+0500", ""}) {
    EXPECT_EQ(read(pattern + colonOffset, std::string("2016-03-01 12:30") + bad), "none") << bad;
  }
  EXPECT_EQ(read(pattern + "Z", "2016-03-01 12:30Z"), "none");
}

TEST(DatePattern, WhatThePatternLacksIsThatOfTheFirstOfJanuary2000) {
  EXPECT_EQ(read("HH:mm", "07:05"), "2000-01-01 07:05:00 +0000");
  EXPECT_EQ(read("yyyy", "1999"), "1999-01-01 00:00:00 +0000");
  EXPECT_EQ(read("", ""), "2000-01-01 00:00:00 +0000");
}

TEST(DatePattern, FieldsOutOfRangeAreRefused) {
  for (const char* text : {"0000-01-01", "2016-00-01", "2016-13-01", "2016-01-00", "2016-01-32",
                           "2015-02-29", "2016-02-30", "2016-04-31", "1900-02-29"}) {
    EXPECT_EQ(read("yyyy-MM-dd", text), "none") << text;
  }
  EXPECT_EQ(read("yyyy-MM-dd", "2016-02-29"), "2016-02-29 00:00:00 +0000");
  EXPECT_EQ(read("HH:mm:ss", "24:00:00"), "none");
  EXPECT_EQ(read("HH:mm:ss", "23:60:00"), "none");
  EXPECT_EQ(read("HH:mm:ss", "23:59:60"), "none");
  EXPECT_EQ(read("hh a", "00 AM"), "none");
  EXPECT_EQ(read("hh a", "13 PM"), "none");
}

TEST(DatePattern, TheTwelveHoursAreThoseOfTheirHalfOfTheDay) {
  EXPECT_EQ(read("h a", "12 AM"), "2000-01-01 00:00:00 +0000");
  EXPECT_EQ(read("h a", "1 am"), "2000-01-01 01:00:00 +0000");
  EXPECT_EQ(read("h a", "12 PM"), "2000-01-01 12:00:00 +0000");
  EXPECT_EQ(read("a h", "PM 11"), "2000-01-01 23:00:00 +0000");
  EXPECT_EQ(read("h", "12"), "2000-01-01 00:00:00 +0000");
}

TEST(DatePattern, ADayIsTheOneThatItIsCalled) {
  EXPECT_EQ(read("EEE yyyy-MM-dd", "Mon 2016-03-01"), "none");
  EXPECT_EQ(read("EEE yyyy-MM-dd", "Wed 1969-12-31"), "1969-12-31 00:00:00 +0000");
  EXPECT_EQ(read("EEE yyyy-MM-dd", "Xyz 2016-03-01"), "none");
  EXPECT_EQ(read("EEEE", "Sat"), "none");
  EXPECT_EQ(read("EEE", "Saturday"), "none");
}

TEST(DatePattern, AFractionHasExactlyItsDigits) {
  EXPECT_EQ(DatePattern("ss.SSS").secondsSince1970("07.250"), 946684807.25);
  EXPECT_EQ(DatePattern("ss.S").secondsSince1970("07.5"), 946684807.5);
  EXPECT_EQ(DatePattern("ss.SSSSSS").secondsSince1970("07.250000"), 946684807.25);
  EXPECT_EQ(DatePattern("ss.SSSSSSSSS").secondsSince1970("07.500000000"), 946684807.5);
  EXPECT_FALSE(DatePattern("ss.SSS").secondsSince1970("07.25"));
  EXPECT_FALSE(DatePattern("ss.SSS").secondsSince1970("07.2500"));
}

TEST(DatePattern, TheWholeTextHasTheForm) {
  for (const char* text : {"", "2016", "2016-03-0", "2016-03-01 ", " 2016-03-01", "2016-03-01x",
                           "2016/03/01", "16-03-01", "2016-3-01", "+016-03-01", "２016-03-01"}) {
    EXPECT_EQ(read("yyyy-MM-dd", text), "none") << text;
  }
}

TEST(DatePattern, QuotedTextStandsForItself) {
  EXPECT_EQ(read("'year' yyyy", "year 2016"), "2016-01-01 00:00:00 +0000");
  EXPECT_EQ(read("yyyy 'o''clock'", "2016 o'clock"), "2016-01-01 00:00:00 +0000");
  EXPECT_EQ(read("''yyyy''", "'2016'"), "2016-01-01 00:00:00 +0000");
  EXPECT_EQ(read("'o'''yyyy", "o'2016"), "2016-01-01 00:00:00 +0000");
  EXPECT_EQ(read("yyyy年", "2016年"), "2016-01-01 00:00:00 +0000");
  EXPECT_EQ(read("'year' yyyy", "YEAR 2016"), "none");
}

TEST(DatePattern, WhatIsNoPatternRaises) {
  for (const char* pattern : {"yy", "y", "yyyyy", "MMMMM", "ddd", "EE", "HHH", "aa", "m", "s", "ZZ",
                              "XXXX", "SSSSSSSSSS", "Q", "T", "yyyy-MM-ddTHH", "dd 'unclosed"}) {
    EXPECT_EQ(testing::raisedName([&] { DatePattern made(pattern); }), NSInvalidArgumentException)
        << pattern;
  }
  EXPECT_EQ(testing::raisedBy([] { DatePattern made("dd.QQ"); }),
            "NSInvalidArgumentException: QQ is no field of a date pattern (in dd.QQ)");
  EXPECT_EQ(
      testing::raisedBy([] { DatePattern made("'x"); }),
      "NSInvalidArgumentException: the date pattern 'x has an apostrophe without its partner");
}

TEST(DatePattern, TheOneFormThatMappingReadsIsReadAlike) {
  const DatePattern pattern("yyyy-MM-dd'T'HH:mm:ss.SSS'Z'");
  testing::Randomness randomness;
  JN_TRACE_SEED(randomness);
  for (int round = 0; round < testing::rounds(100'000, 1'000'000); ++round) {
    char text[64];
    std::snprintf(
        text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ",
        static_cast<int>(randomness.between(0, 9999)), static_cast<int>(randomness.between(0, 13)),
        static_cast<int>(randomness.between(0, 32)), static_cast<int>(randomness.between(0, 24)),
        static_cast<int>(randomness.between(0, 60)), static_cast<int>(randomness.between(0, 60)),
        static_cast<int>(randomness.between(0, 999)));
    ASSERT_EQ(pattern.secondsSince1970(text), secondsSince1970FromRFC3339(text)) << text;
  }
}

TEST(DatePattern, RandomInstantsAgreeWithTheCalendarOfTheSystem) {
  const DatePattern pattern("EEE, d MMM yyyy h:mm:ss a");
  testing::Randomness randomness;
  JN_TRACE_SEED(randomness);
  for (int round = 0; round < testing::rounds(20'000, 200'000); ++round) {
    const std::time_t instant = randomness.between(-62135596800, 253402300799);
    std::tm parts{};
    ASSERT_TRUE(gmtime_r(&instant, &parts));
    char text[64];
    std::strftime(text, sizeof text, "%a, %e %b ", &parts);
    std::string line = text;
    std::snprintf(text, sizeof text, "%04d ", parts.tm_year + 1900);
    line += text;
    std::strftime(text, sizeof text, "%I:%M:%S %p", &parts);
    line += text;
    // A single digit has a blank in front of it here.
    if (const auto blank = line.find(",  "); blank != std::string::npos) line.erase(blank + 1, 1);
    ASSERT_EQ(pattern.secondsSince1970(line), static_cast<double>(instant)) << line;
  }
}

}  // namespace
}  // namespace JNFoundation
