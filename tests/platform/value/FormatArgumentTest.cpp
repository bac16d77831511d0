#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>

#include <JNFoundation/platform/value/FormatArgument.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation {
namespace {

using namespace std::string_view_literals;

enum PlainObject { plainOne = 1 };
enum class Strong : std::int8_t { minusOne = -1 };

template <class... Arguments>
std::string format(std::string_view text, const Arguments&... arguments) {
  return NSString::stringWithFormat(text, arguments...)->toStdString();
}

TEST(FormatArgument, TextWithoutConversionsStays) {
  EXPECT_EQ(format(""), "");
  EXPECT_EQ(format("plain é 😀"), "plain é 😀");
  EXPECT_EQ(format("a\0b"sv), "a\0b"sv);
  EXPECT_EQ(format("surplus arguments are ignored", 1, "two"), "surplus arguments are ignored");
}

TEST(FormatArgument, ObjectsDescribeThemselves) {
  EXPECT_EQ(format("%@ and %@", "text", 5), "text and 5");
  EXPECT_EQ(format("%@", Value("value")), "value");
  EXPECT_EQ(format("%@", Ref<NSString>("string")), "string");
  EXPECT_EQ(format("%@", std::string("std")), "std");
  EXPECT_EQ(format("%@", "view"sv), "view");
  EXPECT_EQ(format("%@ %@ %@", true, 2.5, -1), "1 2.5 -1");
  EXPECT_EQ(format("%@", nullptr), "(null)");
  EXPECT_EQ(format("%@", Value()), "(null)");
  EXPECT_EQ(format("%@", Ref<NSString>()), "(null)");
  EXPECT_EQ(format("%@", static_cast<const char*>(nullptr)), "(null)");
  EXPECT_EQ(format("%@", NSNull::null()), "<null>");
  EXPECT_EQ(format("%@", NSDate::dateWithTimeIntervalSince1970(0)), "1970-01-01 00:00:00 +0000");
  EXPECT_EQ(format("%@", NSString::classObject), "NSString");
  const Ref<NSString> string = "borrowed";
  EXPECT_EQ(format("%@", string.get()), "borrowed");
  EXPECT_EQ(format("%s %s", string, NSString::classObject.name()), "borrowed NSString");
}

TEST(FormatArgument, ContentIsNeverAFormat) {
  EXPECT_EQ(format("%@", "100% %@ %d"), "100% %@ %d");
  EXPECT_EQ(format("%s%s", "%", "@"), "%@");
}

TEST(FormatArgument, IntegersOfEveryTypeAndLength) {
  EXPECT_EQ(format("%d %i", 5, -6), "5 -6");
  EXPECT_EQ(format("%ld %lld %hd %hhd %qd %zd %td %jd", 1L, 2LL, short{3}, 4, 5, 6, 7, 8),
            "1 2 3 4 5 6 7 8");
  EXPECT_EQ(format("%d", std::numeric_limits<std::int64_t>::min()), "-9223372036854775808")
      << "the argument knows its type";
  EXPECT_EQ(format("%d", std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
  EXPECT_EQ(format("%lu %zu", 7ul, std::size_t{8}), "7 8");
  EXPECT_EQ(format("%d %d", true, 'A'), "1 65");
  EXPECT_EQ(format("%d %d", plainOne, Strong::minusOne), "1 -1");
  EXPECT_EQ(format("%x %X %o", 255, 255, 8), "ff FF 10");
  EXPECT_EQ(format("%d", 2.9), "2");
  EXPECT_EQ(format("%d", 1e300), "9223372036854775807");
  EXPECT_EQ(format("%d", Value(42)), "42");
}

TEST(FormatArgument, NegativeOnesShowTheBitsOfTheirType) {
  EXPECT_EQ(format("%x", -1), "ffffffff");
  EXPECT_EQ(format("%x", short{-1}), "ffffffff");
  EXPECT_EQ(format("%X", std::int64_t{-1}), "FFFFFFFFFFFFFFFF");
  EXPECT_EQ(format("%u", -1), "4294967295");
  EXPECT_EQ(format("%u", std::int64_t{-1}), "18446744073709551615");
  EXPECT_EQ(format("%o", -1), "37777777777");
  EXPECT_EQ(format("%x", Value(-1)), "ffffffffffffffff");
}

TEST(FormatArgument, FloatingPoint) {
  EXPECT_EQ(format("%f %.2f %e %g", 1.5, 2.345, 12345.0, 0.0001),
            "1.500000 2.35 1.234500e+04 0.0001");
  EXPECT_EQ(format("%.0f", 2.5), "2");
  EXPECT_EQ(format("%.f", 7.9), "8");
  EXPECT_EQ(format("%F %E %G %a", 1.0, 1.0, 1e-10, 1.0), "1.000000 1.000000E+00 1E-10 0x1p+0");
  EXPECT_EQ(format("%Lf %lf", 1.5, 1.5f), "1.500000 1.500000");
  EXPECT_EQ(format("%g", 3), "3");
  EXPECT_EQ(format("%g %g", std::numeric_limits<double>::infinity(),
                   std::numeric_limits<double>::quiet_NaN()),
            "inf nan");
}

TEST(FormatArgument, WidthsFlagsAndPrecisions) {
  EXPECT_EQ(format("[%5d] [%-5d] [%05d] [%+d] [% d] [%#x]", 42, 42, 42, 42, 42, 42),
            "[   42] [42   ] [00042] [+42] [ 42] [0x2a]");
  EXPECT_EQ(format("[%8.3f] [%-8.3f] [%08.3f]", 3.14159, 3.14159, 3.14159),
            "[   3.142] [3.142   ] [0003.142]");
  EXPECT_EQ(format("[%.4d]", 42), "[0042]");
  EXPECT_EQ(format("[%5s] [%-5s] [%.2s] [%5.1s]", "ab", "ab", "abcd", "xyz"),
            "[   ab] [ab   ] [ab] [    x]");
  EXPECT_EQ(format("[%5@] [%-5@]", "ab", 12), "[   ab] [12   ]");
  EXPECT_EQ(format("[%-+-+5d]", 4), "[+4   ]") << "a flag may be repeated";
}

TEST(FormatArgument, WidthsAreCodePoints) {
  EXPECT_EQ(format("[%4s]", "é😀"), "[  é😀]");
  EXPECT_EQ(format("[%.2s]", "é😀z"), "[é😀]") << "and a precision never cuts one";
  EXPECT_EQ(format("[%3c]", 0xE9), "[  é]");
}

TEST(FormatArgument, WidthsComeFromArguments) {
  EXPECT_EQ(format("[%*d]", 5, 42), "[   42]");
  EXPECT_EQ(format("[%*d]", -5, 42), "[42   ]");
  EXPECT_EQ(format("[%.*f]", 1, 2.55), "[2.5]");
  EXPECT_EQ(format("[%*.*s]", 4, 2, "abc"), "[  ab]");
  EXPECT_EQ(format("[%.*s]", -1, "abc"), "[abc]") << "a negative precision is none";
  EXPECT_EQ(format("[%*d]", std::numeric_limits<std::int64_t>::min(), 1).size(), 4098u);
  EXPECT_EQ(format("[%*d]"), "[0]");
}

TEST(FormatArgument, ArgumentsAreTakenByPlace) {
  EXPECT_EQ(format("%2$@ %1$@", "world", "hello"), "hello world");
  EXPECT_EQ(format("%1$@ %1$@ %@", "a", "b"), "a a a");
  EXPECT_EQ(format("[%3$@]", "only one"), "[(null)]");
  EXPECT_EQ(format("[%1$5d]", 7), "[    7]");
  EXPECT_EQ(format("%99999999999999999999$@", 1), "(null)");
}

TEST(FormatArgument, CharactersAreCodePoints) {
  EXPECT_EQ(format("%c%c", 'A', 66), "AB");
  EXPECT_EQ(format("%c %C", 0x1F600, 0x20AC), "😀 €");
  EXPECT_EQ(format("%c", 0), "\0"sv);
  EXPECT_EQ(format("%c", 0xD800), "\uFFFD");
  EXPECT_EQ(format("%c", -1), "\uFFFD");
  EXPECT_EQ(format("%c", std::numeric_limits<std::int64_t>::max()), "\uFFFD");
}

TEST(FormatArgument, Addresses) {
  const int number = 0;
  char expected[40];
  std::snprintf(expected, sizeof expected, "%p", static_cast<const void*>(&number));
  EXPECT_EQ(format("%p", &number), expected);
  EXPECT_EQ(format("%s", static_cast<const void*>(&number)), expected);
  const Ref<NSString> string = "text";
  std::snprintf(expected, sizeof expected, "%p", static_cast<void*>(string.get()));
  EXPECT_EQ(format("%p", string), expected);
  EXPECT_EQ(format("%p", string.get()), expected);
  EXPECT_EQ(format("%p %p %p", nullptr, static_cast<const void*>(nullptr), Value(5)),
            "0x0 0x0 0x0");
  std::snprintf(expected, sizeof expected, "%p", static_cast<const void*>(&NSString::classObject));
  EXPECT_EQ(format("%p", NSString::classObject), expected);
}

TEST(FormatArgument, ArgumentsOfAnotherKindReadAsNothing) {
  EXPECT_EQ(format("%d %f %x %c|", "12", "1.5", NSNull::null(), "A"), "0 0.000000 0 \0|"sv);
  EXPECT_EQ(format("%s %s", 5, 2.5), "5 2.5");
  EXPECT_EQ(format("%d", nullptr), "0");
}

TEST(FormatArgument, MissingArgumentsReadAsNothing) {
  EXPECT_EQ(format("%@ %s %d %f %p %x"), "(null) (null) 0 0.000000 0x0 0");
}

TEST(FormatArgument, PercentSigns) {
  EXPECT_EQ(format("100%%"), "100%");
  EXPECT_EQ(format("%%%d%%", 5), "%5%");
  EXPECT_EQ(format("%5%"), "%");
}

TEST(FormatArgument, WhatIsNoConversionStaysAsWritten) {
  EXPECT_EQ(format("100%"), "100%");
  EXPECT_EQ(format("%"), "%");
  EXPECT_EQ(format("%-5"), "%-5");
  EXPECT_EQ(format("%ll"), "%ll");
  EXPECT_EQ(format("%y %n %d", 3), "%y %n 3") << "and takes no argument";
  EXPECT_EQ(format("%é", 1), "%é");
  EXPECT_EQ(format("%\0d"sv, 1), "%\0d"sv);
}

TEST(FormatArgument, HostileFormatsStaySmall) {
  EXPECT_EQ(format("%999999999999d", 1).size(), 4096u);
  EXPECT_EQ(format("%.999999999999d", 1).size(), 4096u);
  EXPECT_EQ(format("%-2147483648@", "x").size(), 4096u);
  EXPECT_EQ(format("%.2147483648s", "abc"), "abc");
  EXPECT_LE(format("%.99999f", 1e308).size(), 4096u + 310);
  EXPECT_EQ(format("%" + std::string(100'000, '-') + "d", 1), "1");
  EXPECT_EQ(format("%" + std::string(100'000, 'l') + "d", 1), "1");
  EXPECT_EQ(format("%" + std::string(100'000, '0') + "5d", 1), "00001");
}

TEST(FormatArgument, IllFormedTextIsMended) {
  EXPECT_EQ(format("\xff%s", "\xfe"), "\uFFFD\uFFFD");
  EXPECT_EQ(format("[%3s]", "\xff"), "[  \uFFFD]");
}

}  // namespace
}  // namespace JNFoundation
