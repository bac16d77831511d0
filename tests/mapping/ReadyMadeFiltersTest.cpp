#include <cmath>
#include <string>
#include <vector>

#include "MappingFixture.h"
#include "platform/value/Raising.h"

#include <JNFoundation/mapping/PLVDictionaryDataMap.h>
#include <JNFoundation/mapping/ReadyMadeFilters.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation {
namespace {

using ReadyMadeFilters = MappingTest;

/// Values that no action on text is made for.
std::vector<Value> otherValues() {
  return {nullptr,
          7,
          true,
          NSDate::dateWithTimeIntervalSince1970(1),
          Value(NSArray::arrayWithObjects(1)),
          Value(NSNull::null())};
}

TEST_F(ReadyMadeFilters, TextIsTrimmedAndChangesItsCase) {
  EXPECT_EQ(trimmedText(" \n\u00a0Ann B \t"), Value("Ann B"));
  EXPECT_EQ(trimmedText("   "), Value(""));
  EXPECT_EQ(lowercaseText("ÀNN"), Value("ànn"));
  EXPECT_EQ(uppercaseText("ànn"), Value("ÀNN"));
}

TEST_F(ReadyMadeFilters, WhatAnActionIsNotMadeForComesBackAsItWas) {
  for (const Value& value : otherValues()) {
    EXPECT_TRUE(trimmedText(value).isIdentical(value));
    EXPECT_TRUE(lowercaseText(value).isIdentical(value));
    EXPECT_TRUE(uppercaseText(value).isIdentical(value));
    EXPECT_TRUE(nullIfEmpty(value).isIdentical(value));
    EXPECT_TRUE(numberOfText(value).isIdentical(value));
    EXPECT_TRUE(textOfURL(value).isIdentical(value));
    EXPECT_TRUE(dateFilter("yyyy")(value).isIdentical(value));
    if (!value.isNumber()) {
      EXPECT_TRUE(dateOfSeconds(value).isIdentical(value));
    }
  }
}

TEST_F(ReadyMadeFilters, WhatIsEmptyBecomesNull) {
  EXPECT_TRUE(nullIfEmpty("").isNull());
  EXPECT_TRUE(nullIfEmpty(NSArray::array()).isNull());
  EXPECT_TRUE(nullIfEmpty(NSDictionary::dictionary()).isNull());
  EXPECT_EQ(nullIfEmpty(" "), Value(" "));
  EXPECT_EQ(nullIfEmpty(0), Value(0));
}

TEST_F(ReadyMadeFilters, ANumberIsTheWholeText) {
  const auto expectNumber = [](const char* text, const Value& number) {
    const Value read = numberOfText(text);
    EXPECT_TRUE(read.isIdentical(number)) << text << " " << read.description()->utf8();
  };
  expectNumber("12", 12);
  expectNumber(" -12\n", -12);
  expectNumber("+12", 12);
  expectNumber("007", 7);
  expectNumber("-0", 0);
  expectNumber("3.75", 3.75);
  expectNumber(".5", 0.5);
  expectNumber("5.", 5.0);
  expectNumber("-1e3", -1000.0);
  expectNumber("9223372036854775807", INT64_MAX);
  expectNumber("-9223372036854775808", INT64_MIN);
  expectNumber("18446744073709551615", UINT64_MAX);
  expectNumber("18446744073709551616", 0x1p64);
  expectNumber("-9223372036854775809", -0x1p63);
  for (const char* text :
       {"",   " ",  "abc", "12abc", "12 13", "1,000", "0x1F",   "--1", "+",     ".",
        "e5", "1e", "1e+", "inf",   "nan",   "1e999", "-1e999", "١٢",  "1.2.3", "+-1"}) {
    expectNumber(text, nullptr);
  }
}

TEST_F(ReadyMadeFilters, AnAddressIsTextWithAScheme) {
  EXPECT_EQ(textOfURL(" https://example.com/a?b=c#d "), Value("https://example.com/a?b=c#d"));
  EXPECT_EQ(textOfURL("mailto:ann@example.com"), Value("mailto:ann@example.com"));
  EXPECT_EQ(textOfURL(NSURL::URLWithString("http://a.b")), Value("http://a.b"));
  for (const char* text : {"", "example", "/path", "http://a b", "http://é.com", "http://%zz"}) {
    EXPECT_TRUE(textOfURL(text).isNull()) << text;
  }
}

TEST_F(ReadyMadeFilters, SecondsAndFormsBecomeDates) {
  const Value date = NSDate::dateWithTimeIntervalSince1970(1456835400);
  EXPECT_EQ(dateOfSeconds(1456835400), date);
  EXPECT_EQ(dateOfSeconds("1456835400"), date);
  EXPECT_EQ(dateOfSeconds("1456835400.25"), NSDate::dateWithTimeIntervalSince1970(1456835400.25));
  EXPECT_TRUE(dateOfSeconds("today").isNull());
  EXPECT_EQ(dateFilter("dd.MM.yyyy HH:mm")(" 01.03.2016 12:30 "), date);
  EXPECT_TRUE(dateFilter("dd.MM.yyyy HH:mm")("2016-03-01").isNull());
  EXPECT_EQ(testing::raisedName([] { dateFilter("QQQ"); }), NSInvalidArgumentException);
}

TEST_F(ReadyMadeFilters, NoneIsRegisteredByItself) {
  EXPECT_EQ(PLVDataMapFilter::init()->filterActions()->count(), 0u);
}

TEST_F(ReadyMadeFilters, AllAreRegisteredByOneCall) {
  const auto filter = PLVDataMapFilter::init();
  registerReadyMadeFilters(filter);
  const auto filtered = [&](const Value& value, const char* name) {
    return filter->valueFilteredBy(value, name);
  };
  EXPECT_EQ(filtered(" a ", "trim"), Value("a"));
  EXPECT_EQ(filtered("A", "lowercase"), Value("a"));
  EXPECT_EQ(filtered("a", "uppercase"), Value("A"));
  EXPECT_TRUE(filtered("", "emptyToNull").isNull());
  EXPECT_EQ(filtered("1.5", "number"), Value(1.5));
  EXPECT_EQ(filtered("http://a.b", "url"), Value("http://a.b"));
  EXPECT_EQ(filtered(5, "seconds"), NSDate::dateWithTimeIntervalSince1970(5));
  EXPECT_EQ(filtered("1970-01-02", "day"), NSDate::dateWithTimeIntervalSince1970(86400));
  EXPECT_EQ(filter->filterActions()->count(), 8u);
}

TEST_F(ReadyMadeFilters, ARegisteredBlockIsAnActionLikeAnyOther) {
  const auto filter = attachFilter();
  setBlockForFilter(filter, trimmedText, "tidy");
  setBlockForFilter(
      filter, [](const Value& value) { return nullIfEmpty(trimmedText(value)); }, "shout");
  EXPECT_EQ(filter->valueFilteredBy(" a ", "tidy"), Value("a"));
  EXPECT_TRUE(filter->valueFilteredBy("  ", "shout").isNull()) << "the block replaces the message";
  filter->setActionForFilter("shout:", "tidy");
  EXPECT_EQ(filter->valueFilteredBy("a", "tidy"), Value("A")) << "a message replaces the block";
  filter->removeActionForFilter("shout");
  EXPECT_TRUE(filter->valueFilteredBy("a", "shout").isNull());
  EXPECT_EQ(testing::raisedName([&] { setBlockForFilter(filter, trimmedText, nullptr); }),
            NSInvalidArgumentException);
}

TEST_F(ReadyMadeFilters, WhatABlockRaisesComesThrough) {
  const auto filter = PLVDataMapFilter::init();
  setBlockForFilter(
      filter, [](const Value&) -> Value { raise("FilterException", "no"); }, "bad");
  EXPECT_EQ(testing::raisedName([&] { filter->valueFilteredBy(1, "bad"); }), "FilterException");
}

TEST_F(ReadyMadeFilters, ABlockLivesAsLongAsItIsRegisteredOrRuns) {
  static int alive = 0;
  struct Counted {
    Counted() { ++alive; }
    Counted(const Counted&) { ++alive; }
    ~Counted() { --alive; }
  };
  alive = 0;
  {
    const auto filter = PLVDataMapFilter::init();
    setBlockForFilter(
        filter, [counted = Counted()](const Value& value) { return value; }, "a");
    EXPECT_EQ(alive, 1);
    int aliveInside = 0;
    setBlockForFilter(
        filter,
        [&aliveInside, filter = filter.get(), counted = Counted()](const Value& value) {
          filter->removeActionForFilter("b");
          aliveInside = alive;
          return value;
        },
        "b");
    EXPECT_EQ(filter->valueFilteredBy(1, "b"), Value(1));
    EXPECT_EQ(aliveInside, 2) << "a block that removes itself is there until it returns";
    EXPECT_EQ(alive, 1);
  }
  EXPECT_EQ(alive, 0);
}

TEST_F(ReadyMadeFilters, NothingIsRegisteredWithoutAFilterOrItsTable) {
  setBlockForFilter(nullptr, trimmedText, "a");
  registerReadyMadeFilters(nullptr);
  const auto filter = PLVDataMapFilter::init();
  filter->setFilterActions(nullptr);
  registerReadyMadeFilters(filter);
  EXPECT_TRUE(filter->valueFilteredBy(" a ", "trim").isNull());
}

TEST_F(ReadyMadeFilters, RulesUseThem) {
  registerReadyMadeFilters(attachFilter());
  const auto person = insertPerson();
  PLVDictionaryDataMap::newMapForEntityDescriptor(
      entity(), NSDictionary::dictionaryWithEntries({{"$price", "number|double"},
                                                     {"$born", "day|date"},
                                                     {"$name", "trim|string"},
                                                     {"$bad", "number|integer32"}}))
      ->mapDictionaryToObject(
          NSDictionary::dictionaryWithEntries(
              {{"price", "3.75"}, {"born", "1970-01-02"}, {"name", " Ann "}, {"bad", "abc"}}),
          person);
  EXPECT_EQ(person->valueForKey("double"), Value(3.75)) << "with its fraction";
  EXPECT_EQ(person->valueForKey("date"), NSDate::dateWithTimeIntervalSince1970(86400));
  EXPECT_EQ(person->valueForKey("string"), Value("Ann"));
  EXPECT_TRUE(person->valueForKey("integer32").isNull());
}

using ReadyMadeFiltersDeathTest = MappingTest;

TEST_F(ReadyMadeFiltersDeathTest, ANullBlockEndsTheProgram) {
  EXPECT_DEATH(setBlockForFilter(PLVDataMapFilter::init(), nullptr, "a"), "the block is null");
}

}  // namespace
}  // namespace JNFoundation
