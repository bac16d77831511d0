#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include "EqualsNull.h"
#include "platform/value/Limits.h"
#include "platform/value/Listed.h"
#include "platform/value/Raising.h"

#include <JNFoundation/mapping/NSDictionary+Extensions.h>
#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSNumber.h>
#include <JNFoundation/platform/value/NSSet.h>
#include <JNFoundation/platform/value/NSUUID.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {
namespace {

using testing::infinity;
using testing::largestUnsigned;
using testing::listedEntries;
using testing::raisedBy;

using Limits = std::numeric_limits<NSInteger>;

/// What a value is to the readers.
enum class Is { Absent, Number, Text, Array, Dictionary, Other };

/// One kind of value that a decoded record may hold, and what each reader makes of it.
struct Row {
  const char* name;
  Value value;
  Is is;
  NSInteger integer;
  std::uint64_t unsignedNumber;
  bool boolean;
  /// What the reader with conversions gives, where it does not raise.
  Value converted;
};

std::vector<Row> rows() {
  const auto array = NSMutableArray::array();
  const auto dictionary = NSMutableDictionary::dictionary();
  const auto decimal = NSDecimalNumber::decimalNumberWithString("12.5");
  const auto same = [](const char* name, const Value& number, NSInteger integer,
                       std::uint64_t unsignedNumber, bool boolean) {
    return Row{name, number, Is::Number, integer, unsignedNumber, boolean, number};
  };
  const auto text = [](const char* name, const char* content, bool boolean,
                       const Value& converted) {
    return Row{name, content, Is::Text, 0, 0, boolean, converted};
  };
  const auto other = [](const char* name, const Value& value) {
    return Row{name, value, Is::Other, 0, 0, false, {}};
  };
  return {
      {"the null marker", NSNull::null(), Is::Absent, 0, 0, false, {}},
      {"what equals the null marker", EqualsNull::init(), Is::Absent, 0, 0, false, {}},

      same("true", true, 1, 1, true),
      same("false", false, 0, 0, false),
      same("zero", 0, 0, 0, false),
      same("two", 2, 2, 2, true),
      same("a negative number", -3, -3, 0, true),
      same("the largestUnsigned integer", INT64_MAX, Limits::max(), INT64_MAX, true),
      same("the least integer", INT64_MIN, Limits::min(), 0, true),
      same("the largestUnsigned unsigned number", largestUnsigned, Limits::max(), largestUnsigned,
           true),
      same("a fraction", 0.5, 0, 0, true),
      same("a negative fraction", -2.9, -2, 0, true),
      same("a float", 7.75f, 7, 7, true),
      same("zero as a double", 0.0, 0, 0, false),
      same("minus zero", -0.0, 0, 0, false),
      same("a double past all integers", 1e20, Limits::max(), largestUnsigned, true),
      same("infinity", infinity, Limits::max(), largestUnsigned, true),
      same("minus infinity", -infinity, Limits::min(), 0, true),
      same("not-a-number", std::numeric_limits<double>::quiet_NaN(), 0, 0, true),
      same("a decimal number", decimal, 12, 12, true),
      same("a decimal zero", NSDecimalNumber::zero(), 0, 0, false),

      text("empty text", "", false, {}),
      text("1", "1", true, 1.0),
      text("true", "true", true, 0.0),
      text("TRUE", "TRUE", true, 0.0),
      text("True", "True", true, 0.0),
      text("tRuE", "tRuE", true, 0.0),
      text("yes", "yes", false, 0.0),
      text("on", "on", false, 0.0),
      text("false", "false", false, 0.0),
      text("0", "0", false, 0.0),
      text("2", "2", false, 2.0),
      text("01", "01", false, 1.0),
      text("1.0", "1.0", false, 1.0),
      text("1 with white space", " 1", false, 1.0),
      text("true with white space", "true ", false, 0.0),
      text("true and more", "truely", false, 0.0),
      text("17", "17", false, 17.0),
      text("a fraction as text", "-2.5e3", false, -2500.0),
      text("a number and more", "12abc", false, 12.0),
      text("no number", "abc", false, 0.0),
      text("white space only", " ", false, 0.0),
      text("text past all integers", "9223372036854775808", false, 9223372036854775808.0),
      text("text past all doubles", "1e999", false, infinity),

      {"an array", NSArray::arrayWithObjects(1), Is::Array, 0, 0, false, {}},
      {"a mutable array", array, Is::Array, 0, 0, false, {}},
      {"a dictionary",
       NSDictionary::dictionaryWithObjectForKey(1, "a"),
       Is::Dictionary,
       0,
       0,
       false,
       {}},
      {"a mutable dictionary", dictionary, Is::Dictionary, 0, 0, false, {}},

      other("a date", NSDate::dateWithTimeIntervalSince1970(5)),
      other("a set", NSSet::setWithObjects(1)),
      other("data", NSData::dataWithText("1")),
      other("an identifier", NSUUID::UUID()),
      other("an error", NSError::errorWithDomainCodeUserInfo("E", 1, nullptr)),
      other("a class", Value(NSString::classObject)),
  };
}

class DictionaryReaders : public ::testing::Test {
 protected:
  /// A record that holds the value under "key".
  static Ref<NSDictionary> record(const Value& value) {
    return NSDictionary::dictionaryWithObjectForKey(value, "key");
  }

  template <class Reader>
  void expectStrict(Reader read, Is kind, const char* reason) {
    for (const Row& row : rows()) {
      const auto dictionary = record(row.value);
      Value result;
      const std::string raised = raisedBy([&] { result = read(dictionary, "key"); });
      if (row.is == kind) {
        EXPECT_EQ(raised, "") << row.name;
        EXPECT_TRUE(result.isIdentical(row.value)) << row.name << " is not copied";
      } else {
        EXPECT_TRUE(result.isNull()) << row.name;
        EXPECT_EQ(raised, row.is == Is::Absent ? "" : std::string("Parse exception: ") + reason)
            << row.name;
      }
    }
    expectNothingWithoutAValue(read);
  }

  template <class Reader>
  void expectLenient(Reader read, Is kind) {
    for (const Row& row : rows()) {
      const Value result = read(record(row.value), "key");
      if (row.is == kind) {
        EXPECT_TRUE(result.isIdentical(row.value)) << row.name << " is not copied";
      } else {
        EXPECT_TRUE(result.isNull()) << row.name;
      }
    }
    expectNothingWithoutAValue(read);
  }

  template <class Reader>
  void expectNothingWithoutAValue(Reader read) {
    EXPECT_TRUE(Value(read(record(1), "missing")).isNull());
    EXPECT_TRUE(Value(read(record(1), nullptr)).isNull()) << "a null key";
    EXPECT_TRUE(Value(read(nullptr, "key")).isNull()) << "a null dictionary";
    EXPECT_TRUE(Value(read(NSDictionary::dictionary(), "key")).isNull()) << "an empty dictionary";
  }

  std::vector<std::string> log;

 private:
  LogSinkScope _sink{[this](const Ref<NSString>& line) { log.push_back(line->toStdString()); }};
};

// ---- Scalars

TEST_F(DictionaryReaders, AnIntegerIsReadFromNumbersAndIsZeroForAllElse) {
  for (const Row& row : rows()) {
    EXPECT_EQ(jn_integerForKey(record(row.value), "key"), row.integer) << row.name;
  }
  EXPECT_EQ(jn_integerForKey(record(7), "missing"), 0);
  EXPECT_EQ(jn_integerForKey(record(7), nullptr), 0);
  EXPECT_EQ(jn_integerForKey(nullptr, "key"), 0);
  EXPECT_TRUE(log.empty());
}

TEST_F(DictionaryReaders, AnUnsignedNumberIsReadFromNumbersAndIsZeroForAllElse) {
  for (const Row& row : rows()) {
    EXPECT_EQ(jn_unsignedLongLongForKey(record(row.value), "key"), row.unsignedNumber) << row.name;
  }
  EXPECT_EQ(jn_unsignedLongLongForKey(record(7), "missing"), 0u);
  EXPECT_EQ(jn_unsignedLongLongForKey(record(7), nullptr), 0u);
  EXPECT_EQ(jn_unsignedLongLongForKey(nullptr, "key"), 0u);
}

TEST_F(DictionaryReaders, ABooleanIsReadFromNumbersTheDigitOneAndTheWordTrue) {
  for (const Row& row : rows()) {
    EXPECT_EQ(jn_boolForKey(record(row.value), "key"), row.boolean) << row.name;
  }
}

TEST_F(DictionaryReaders, EveryReadingOfABooleanWritesOneLineWithTheValue) {
  for (const Row& row : rows()) {
    log.clear();
    jn_boolForKey(record(row.value), "key");
    const Value shown = row.is == Is::Absent ? Value() : row.value;
    EXPECT_EQ(log, std::vector{"BoolForKey " + shown.description()->toStdString()}) << row.name;
  }
  log.clear();
  EXPECT_FALSE(jn_boolForKey(record(1), "missing"));
  EXPECT_FALSE(jn_boolForKey(record(1), nullptr));
  EXPECT_FALSE(jn_boolForKey(nullptr, "key"));
  jn_boolForKey(record("50% %@"), "key");
  EXPECT_EQ(log, (std::vector<std::string>{"BoolForKey (null)", "BoolForKey (null)",
                                           "BoolForKey (null)", "BoolForKey 50% %@"}));
}

// ---- Strict

TEST_F(DictionaryReaders, AStrictNumberIsTheNumberItselfAndRaisesForOtherKinds) {
  expectStrict(jn_numberForKey, Is::Number, "number needed for key:key");
}

TEST_F(DictionaryReaders, AStrictStringIsTheStringItselfAndRaisesForOtherKinds) {
  expectStrict(jn_stringForKey, Is::Text, "string needed for key:key");
}

TEST_F(DictionaryReaders, AStrictArrayIsTheArrayItselfAndRaisesForOtherKinds) {
  expectStrict(jn_arrayForKey, Is::Array, "array needed for key:key");
}

TEST_F(DictionaryReaders, AStrictDictionaryIsTheDictionaryItselfAndRaisesForOtherKinds) {
  expectStrict(jn_dictionaryForKey, Is::Dictionary, "dictionary needed for key:key");
}

/// Collections of an application's own classes.
class Payload : public Subclass<Payload, NSMutableDictionary> {
 public:
  static Ref<Payload> init() { return makeObject<Payload>(); }

 protected:
  using Subclass::Subclass;
};
class Listing : public Subclass<Listing, NSMutableArray> {
 public:
  static Ref<Listing> init() { return makeObject<Listing>(); }

 protected:
  using Subclass::Subclass;
};

TEST_F(DictionaryReaders, ASubclassIsOfTheKindThatItDerivesFrom) {
  const auto payload = record(Payload::init());
  const auto listing = record(Listing::init());
  EXPECT_TRUE(isKindOf<Payload>(Value(jn_dictionaryForKey(payload, "key"))));
  EXPECT_TRUE(isKindOf<Payload>(Value(jn_dictionaryForKeyOptionalType(payload, "key"))));
  EXPECT_TRUE(isKindOf<Listing>(Value(jn_arrayForKey(listing, "key"))));
  EXPECT_TRUE(isKindOf<Listing>(Value(jn_arrayForKeyOptionalType(listing, "key"))));
  EXPECT_FALSE(jn_arrayForKeyOptionalType(payload, "key"));
}

TEST_F(DictionaryReaders, ADictionaryOfAnApplicationsClassIsReadLikeAnyOther) {
  const auto payload = Payload::init();
  payload->setObjectForKey(7, "id");
  EXPECT_EQ(jn_integerForKey(payload, "id"), 7);
  EXPECT_EQ(jn_numberForKey(payload, "id"), Value(7));
  EXPECT_EQ(jn_valueForCaseInsensitiveKey(payload, "ID"), Value(7));
}

TEST_F(DictionaryReaders, TheReasonNamesTheKeyWhateverItIs) {
  const auto reasonFor = [](const Value& key) {
    const auto record = NSDictionary::dictionaryWithObjectForKey("text", key);
    return raisedBy([&] { jn_numberForKey(record, key); });
  };
  EXPECT_EQ(reasonFor("count"), "Parse exception: number needed for key:count");
  EXPECT_EQ(reasonFor(42), "Parse exception: number needed for key:42");
  EXPECT_EQ(reasonFor("%@ %s %n"), "Parse exception: number needed for key:%@ %s %n");
  EXPECT_EQ(reasonFor(""), "Parse exception: number needed for key:");
  EXPECT_EQ(reasonFor("Größe"), "Parse exception: number needed for key:Größe");
}

TEST_F(DictionaryReaders, TheExceptionIsOneThatOrdinaryHandlersCatch) {
  const auto dictionary = record("text");
  EXPECT_THROW(jn_arrayForKey(dictionary, "key"), std::exception);
}

TEST_F(DictionaryReaders, AKeyIsLookedUpAsItStandsWithoutPaths) {
  const auto inner = NSDictionary::dictionaryWithObjectForKey(1, "b");
  const auto dictionary = NSDictionary::dictionaryWithEntries({{"a", inner}, {"@count", 9}});
  EXPECT_TRUE(jn_numberForKey(dictionary, "a.b").isNull());
  EXPECT_EQ(jn_integerForKey(dictionary, "@count"), 9);
  EXPECT_EQ(jn_integerForKey(dictionary, "@allKeys"), 0);
}

// ---- Lenient

TEST_F(DictionaryReaders, ALenientNumberIsTheNumberItselfAndNothingForOtherKinds) {
  expectLenient(jn_numberForKeyOptionalType, Is::Number);
}

TEST_F(DictionaryReaders, ALenientStringIsTheStringItselfAndNothingForOtherKinds) {
  expectLenient(jn_stringForKeyOptionalType, Is::Text);
}

TEST_F(DictionaryReaders, ALenientArrayIsTheArrayItselfAndNothingForOtherKinds) {
  expectLenient(jn_arrayForKeyOptionalType, Is::Array);
}

TEST_F(DictionaryReaders, ALenientDictionaryIsTheDictionaryItselfAndNothingForOtherKinds) {
  expectLenient(jn_dictionaryForKeyOptionalType, Is::Dictionary);
}

// ---- Converting

TEST_F(DictionaryReaders, ANumberWithConversionsReadsTextAndRaisesForOtherKinds) {
  for (const Row& row : rows()) {
    const auto dictionary = record(row.value);
    Value result;
    const std::string raised =
        raisedBy([&] { result = jn_numberForKeyWithConversions(dictionary, "key"); });
    const bool refused = row.is == Is::Array || row.is == Is::Dictionary || row.is == Is::Other;
    EXPECT_EQ(raised, refused ? "Parse exception: number needed for key:key" : "") << row.name;
    EXPECT_EQ(result, row.converted) << row.name;
    if (row.is == Is::Number) {
      EXPECT_TRUE(result.isIdentical(row.value)) << row.name << " stays as it is";
    }
    if (row.is == Is::Text && !result.isNull()) {
      EXPECT_EQ(result.kind(), Value::Kind::Double) << row.name << " becomes a double";
    }
  }
  expectNothingWithoutAValue(jn_numberForKeyWithConversions);
}

TEST_F(DictionaryReaders, ADateIsReadFromItsOneTextForm) {
  EXPECT_EQ(jn_dateForKey(record("2016-03-01T12:30:00.250Z"), "key"),
            NSDate::dateWithTimeIntervalSince1970(1456835400.25));
  EXPECT_TRUE(jn_dateForKey(record("2016-03-01T12:30:00Z"), "key").isNull());
  EXPECT_TRUE(jn_dateForKey(record("yesterday"), "key").isNull());
}

TEST_F(DictionaryReaders, ADateRaisesForEverythingThatIsNeitherTextNorAbsent) {
  for (const Row& row : rows()) {
    const auto dictionary = record(row.value);
    Value result;
    const std::string raised = raisedBy([&] { result = jn_dateForKey(dictionary, "key"); });
    EXPECT_TRUE(result.isNull()) << row.name;
    EXPECT_EQ(raised, row.is == Is::Absent || row.is == Is::Text
                          ? ""
                          : "Parse exception: string needed for key:key")
        << row.name << ": dates among them";
  }
  expectNothingWithoutAValue(jn_dateForKey);
}

TEST_F(DictionaryReaders, OnlyTheReadingOfABooleanIsLogged) {
  for (const Row& row : rows()) {
    const auto dictionary = record(row.value);
    raisedBy([&] { jn_numberForKey(dictionary, "key"); });
    raisedBy([&] { jn_dateForKey(dictionary, "key"); });
    jn_stringForKeyOptionalType(dictionary, "key");
  }
  dictionaryFromURLQueryString("a=%zz");
  EXPECT_TRUE(log.empty());
}

// ---- Keys in any case

TEST_F(DictionaryReaders, AKeyIsFoundInAnyCase) {
  const auto dictionary = NSDictionary::dictionaryWithEntries({{"id", 7}, {"Größe", 8}});
  EXPECT_EQ(jn_valueForCaseInsensitiveKey(dictionary, "ID"), Value(7));
  EXPECT_EQ(jn_valueForCaseInsensitiveKey(dictionary, "id"), Value(7));
  EXPECT_EQ(jn_valueForCaseInsensitiveKey(dictionary, "iD"), Value(7));
  EXPECT_EQ(jn_valueForCaseInsensitiveKey(dictionary, "GRÖSSE"), Value(8));
  EXPECT_EQ(jn_valueForCaseInsensitiveKey(dictionary, "größe"), Value(8));
}

TEST_F(DictionaryReaders, NoKeyInAnyCaseIsNothing) {
  const auto dictionary = record(7);
  EXPECT_TRUE(jn_valueForCaseInsensitiveKey(dictionary, "keys").isNull());
  EXPECT_TRUE(jn_valueForCaseInsensitiveKey(dictionary, "ke").isNull());
  EXPECT_TRUE(jn_valueForCaseInsensitiveKey(dictionary, "").isNull());
  EXPECT_TRUE(jn_valueForCaseInsensitiveKey(dictionary, nullptr).isNull());
  EXPECT_TRUE(jn_valueForCaseInsensitiveKey(NSDictionary::dictionary(), "key").isNull());
  EXPECT_TRUE(jn_valueForCaseInsensitiveKey(nullptr, "key").isNull());
}

TEST_F(DictionaryReaders, OfKeysThatDifferInCaseTheFirstOfTheDictionaryWinsEvenOverTheExactOne) {
  EXPECT_EQ(jn_valueForCaseInsensitiveKey(
                NSDictionary::dictionaryWithEntries({{"ID", 1}, {"id", 2}, {"Id", 3}}), "id"),
            Value(1));
  EXPECT_EQ(jn_valueForCaseInsensitiveKey(
                NSDictionary::dictionaryWithEntries({{"Id", 3}, {"ID", 1}, {"id", 2}}), "id"),
            Value(3));
}

TEST_F(DictionaryReaders, KeysThatAreNoTextArePassedOver) {
  const auto dictionary =
      NSDictionary::dictionaryWithEntries({{1, "number"}, {NSNull::null(), "null"}, {"A", "text"}});
  EXPECT_EQ(jn_valueForCaseInsensitiveKey(dictionary, "a"), "text");
  EXPECT_TRUE(jn_valueForCaseInsensitiveKey(dictionary, "1").isNull());
}

TEST_F(DictionaryReaders, TheValueUnderAKeyInAnyCaseIsGivenAsItIs) {
  EXPECT_TRUE(jn_valueForCaseInsensitiveKey(record(NSNull::null()), "KEY").isNSNull());
}

// ---- Query strings

std::string split(const char* query) {
  const auto entries = dictionaryFromURLQueryString(query);
  return listedEntries(*entries);
}

TEST(QueryStrings, NoStringIsNoDictionary) { EXPECT_FALSE(dictionaryFromURLQueryString(nullptr)); }

TEST(QueryStrings, AnEmptyStringIsAnEmptyDictionary) {
  ASSERT_TRUE(dictionaryFromURLQueryString(""));
  EXPECT_EQ(split(""), "");
  EXPECT_EQ(split("&"), "");
  EXPECT_EQ(split("&&&"), "");
}

TEST(QueryStrings, EmptyPiecesAreSkipped) {
  EXPECT_EQ(split("a=1&&b=2"), "a=1 b=2");
  EXPECT_EQ(split("a=1&"), "a=1");
  EXPECT_EQ(split("&a=1"), "a=1");
}

TEST(QueryStrings, APieceWithoutAnEqualsSignHasTheEmptyTextAsItsValue) {
  EXPECT_EQ(split("b"), "b=");
  EXPECT_EQ(split("b="), "b=");
  EXPECT_EQ(split("%62"), "b=");
}

TEST(QueryStrings, FurtherEqualsSignsBelongToTheValue) {
  EXPECT_EQ(split("a=b=c"), "a=b=c");
  EXPECT_EQ(dictionaryFromURLQueryString("a=b=c")->objectForKey("a"), "b=c");
  EXPECT_EQ(dictionaryFromURLQueryString("a==")->objectForKey("a"), "=");
}

TEST(QueryStrings, AnEmptyKeyIsKept) {
  EXPECT_EQ(dictionaryFromURLQueryString("=x")->objectForKey(""), "x");
  EXPECT_EQ(dictionaryFromURLQueryString("=")->objectForKey(""), "");
}

TEST(QueryStrings, PiecesThatCannotBeDecodedAreLeftOut) {
  EXPECT_EQ(split("a=1&b&=x&c=%zz&d=%C3%A9&a=2"), "a=2 b= =x");
  EXPECT_EQ(split("%zz=1&%C3%A9=2&%=3&%4=4&a=%&b=%4&k=v"), "k=v");
  EXPECT_EQ(split("%zz"), "") << "a key without a value is decoded, too";
}

TEST(QueryStrings, ALaterPieceReplacesAnEarlierOneOfTheSameKey) {
  EXPECT_EQ(split("a=1&b=2&a=3"), "a=3 b=2");
  EXPECT_EQ(split("a=1&%61=2"), "a=2") << "keys are the same when they are so decoded";
  EXPECT_EQ(split("a=1&a=%zz"), "a=1") << "a piece that is left out replaces nothing";
  EXPECT_EQ(split("a=1&A=2"), "a=1 A=2");
}

TEST(QueryStrings, AnEscapedSeparatorDoesNotSeparate) {
  EXPECT_EQ(dictionaryFromURLQueryString("a%26b%3Dc=d%26e")->objectForKey("a&b=c"), "d&e");
}

TEST(QueryStrings, APlusSignStays) { EXPECT_EQ(split("a+b=c+d"), "a+b=c+d"); }

TEST(QueryStrings, UnescapedTextBeyondASCIIStays) { EXPECT_EQ(split("ü=é"), "ü=é"); }

TEST(QueryStrings, TheDictionaryMayBeChangedAndIsNew) {
  const auto first = dictionaryFromURLQueryString("a=1");
  first->setObjectForKey("2", "b");
  EXPECT_EQ(first->count(), 2u);
  EXPECT_EQ(dictionaryFromURLQueryString("a=1")->count(), 1u);
}

TEST(QueryStrings, AMillionPiecesAreSplit) {
  std::string query;
  for (int i = 0; i < 1'000'000; ++i) query += "k" + std::to_string(i % 1000) + "=v&";
  EXPECT_EQ(dictionaryFromURLQueryString(query)->count(), 1000u);
}

}  // namespace
}  // namespace JNFoundation
