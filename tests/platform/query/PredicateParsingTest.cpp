#include <gtest/gtest.h>
#include <limits>
#include <platform/query/Family.h>

#include <JNFoundation/platform/query/NSComparisonPredicate.h>
#include <JNFoundation/platform/query/NSCompoundPredicate.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>

namespace JNFoundation {
namespace {

using namespace testing;

/// What follows the stated beginning of the reason; the whole reason if it begins otherwise.
template <class... Arguments>
std::string complaint(const std::string& format, const Arguments&... arguments) {
  const Ref<NSException> exception =
      exceptionOf([&] { NSPredicate::predicateWithFormat(format, arguments...); });
  if (!exception) return "(no exception)";
  const std::string beginning = "Unable to parse the format string \"" + format + "\"";
  const std::string reason = exception->reason()->toStdString();
  if (exception->name()->utf8() != NSInvalidArgumentException)
    return exception->name()->toStdString();
  if (reason.compare(0, beginning.size(), beginning) != 0) return reason;
  // Behind the first line stands the format with a caret.
  return reason.substr(beginning.size(), reason.find('\n', beginning.size()) - beginning.size());
}

/// The line of the format that a complaint shows, and the line with the caret below it.
std::string shown(const std::string& format) {
  const Ref<NSException> exception = exceptionOf([&] { NSPredicate::predicateWithFormat(format); });
  if (!exception) return "(no exception)";
  const std::string reason = exception->reason()->toStdString();
  const std::size_t caret = reason.rfind('\n');
  return reason.substr(reason.rfind('\n', caret - 1) + 1);
}

struct Reading {
  const char* format;
  const char* understood;
};
void PrintTo(const Reading& reading, std::ostream* stream) { *stream << reading.format; }

class PredicateReading : public ::testing::TestWithParam<Reading> {};

TEST_P(PredicateReading, IsUnderstoodAs) {
  EXPECT_EQ(understood(GetParam().format), GetParam().understood);
}

INSTANTIATE_TEST_SUITE_P(Operators, PredicateReading,
                         ::testing::ValuesIn(std::vector<Reading>{
                             {"a = 1", "a == 1"},
                             {"a == 1", "a == 1"},
                             {"a==1", "a == 1"},
                             {"a != 1", "a != 1"},
                             {"a <> 1", "a != 1"},
                             {"a < 1", "a < 1"},
                             {"a > 1", "a > 1"},
                             {"a <= 1", "a <= 1"},
                             {"a =< 1", "a <= 1"},
                             {"a >= 1", "a >= 1"},
                             {"a => 1", "a >= 1"},
                             {"a BETWEEN {1, 2}", "a BETWEEN {1, 2}"},
                             {"a between {1,2}", "a BETWEEN {1, 2}"},
                             {"a IN {1, 2}", "a IN {1, 2}"},
                             {"a in b", "a IN b"},
                             {"a CONTAINS 'x'", "a CONTAINS \"x\""},
                             {"a beginswith 'x'", "a BEGINSWITH \"x\""},
                             {"a EndsWith 'x'", "a ENDSWITH \"x\""},
                             {"a LIKE 'x*'", "a LIKE \"x*\""},
                             {"a MATCHES 'x.*'", "a MATCHES \"x.*\""},
                             {"a LIKE[c] 'x'", "a LIKE[c] \"x\""},
                             {"a LIKE[dc] 'x'", "a LIKE[cd] \"x\""},
                             {"a ==[cd] 'x'", "a ==[cd] \"x\""},
                             {"a CONTAINS [ CD ] 'x'", "a CONTAINS[cd] \"x\""},
                             {"a IN[c] {'x'}", "a IN[c] {\"x\"}"},
                             {"a ==[n] 'x'", "a ==[n] \"x\""},
                             {"a ==[cl] 'x'", "a ==[cl] \"x\""},
                         }));

INSTANTIATE_TEST_SUITE_P(Precedence, PredicateReading,
                         ::testing::ValuesIn(std::vector<Reading>{
                             {"a == 1 AND b == 2", "a == 1 AND b == 2"},
                             {"a == 1 && b == 2", "a == 1 AND b == 2"},
                             {"a == 1 or b == 2", "a == 1 OR b == 2"},
                             {"a == 1 || b == 2", "a == 1 OR b == 2"},
                             {"a == 1 OR b == 2 AND c == 3", "a == 1 OR (b == 2 AND c == 3)"},
                             {"a == 1 AND b == 2 OR c == 3", "(a == 1 AND b == 2) OR c == 3"},
                             {"NOT a == 1 AND b == 2", "NOT a == 1 AND b == 2"},
                             {"NOT (a == 1 AND b == 2)", "NOT (a == 1 AND b == 2)"},
                             {"!a == 1 || b == 2", "NOT a == 1 OR b == 2"},
                             {"!(a == 1)", "NOT a == 1"},
                             {"NOT NOT a == 1", "NOT (NOT a == 1)"},
                             {"a == 1 AND b == 2 AND c == 3", "a == 1 AND b == 2 AND c == 3"},
                             {"(a == 1 AND b == 2) AND c == 3", "(a == 1 AND b == 2) AND c == 3"},
                             {"((((a == 1))))", "a == 1"},
                             {"(a + b) > (3)", "a + b > 3"},
                             {"((a) + ((b))) > 3 AND ((c) == 1)", "a + b > 3 AND c == 1"},
                             {"TRUEPREDICATE", "TRUEPREDICATE"},
                             {"falsepredicate OR a == 1", "FALSEPREDICATE OR a == 1"},
                             {"(TRUEPREDICATE)", "TRUEPREDICATE"},
                             {"ANY a.b == 1 AND c == 2", "ANY a.b == 1 AND c == 2"},
                             {"SOME a.b == 1", "ANY a.b == 1"},
                             {"ALL a.b == 1", "ALL a.b == 1"},
                             {"NONE a.b == 1", "NOT ANY a.b == 1"},
                             {"NOT ANY a.b == 1", "NOT ANY a.b == 1"},
                         }));

INSTANTIATE_TEST_SUITE_P(Arithmetic, PredicateReading,
                         ::testing::ValuesIn(std::vector<Reading>{
                             {"a + b * c == 1", "a + (b * c) == 1"},
                             {"a * b + c == 1", "(a * b) + c == 1"},
                             {"a - b - c == 1", "(a - b) - c == 1"},
                             {"a / b * c == 1", "(a / b) * c == 1"},
                             {"a ** b ** c == 1", "a ** (b ** c) == 1"},
                             {"a * b ** c == 1", "a * (b ** c) == 1"},
                             {"-a ** b == 1", "0 - (a ** b) == 1"},
                             {"-a * b == 1", "(0 - a) * b == 1"},
                             {"a ** -1 == 1", "a ** (-1) == 1"},
                             {"a == -1", "a == -1"},
                             {"a == - 1.5", "a == -1.5"},
                             {"a-1 == 1", "a - 1 == 1"},
                             {"a - -1 == 1", "a - (-1) == 1"},
                             {"a + 7.0 / 2 == 1", "a + (7.0 / 2) == 1"},
                             {"(a UNION b) == c", "(a UNION b) == c"},
                             {"a INTERSECT b MINUS c == d", "((a INTERSECT b) MINUS c) == d"},
                         }));

INSTANTIATE_TEST_SUITE_P(Literals, PredicateReading,
                         ::testing::ValuesIn(std::vector<Reading>{
                             {"a == \"x\"", "a == \"x\""},
                             {"a == 'x'", "a == \"x\""},
                             {"a == 'say \"x\"'", "a == \"say \\\"x\\\"\""},
                             {"a == \"it's\"", "a == \"it's\""},
                             {"a == 'it\\'s'", "a == \"it's\""},
                             {"a == 'back\\\\slash'", "a == \"back\\\\slash\""},
                             {"a == '\\101\\x42\\u0043'", "a == \"ABC\""},
                             {"a == '\\ud83d\\ude00\\u00e9'", "a == \"😀é\""},
                             {"a == 'é'", "a == \"é\""},
                             {"a == 'tab\\tline\\n\\r'", "a == \"tab\\tline\\n\\r\""},
                             {"a == '\\x01'", "a == \"\\x01\""},
                             {"a == '\\q\\é'", "a == \"qé\""},
                             {"a == ''", "a == \"\""},
                             {"a == '$b %@ %K'", "a == \"$b %@ %K\""},
                             {"a == 5", "a == 5"},
                             {"a == 0x1F", "a == 31"},
                             {"a == 0Xff", "a == 255"},
                             {"a == 0o17", "a == 15"},
                             {"a == 0b101", "a == 5"},
                             {"a == 9.2e-5", "a == 9.2e-05"},
                             {"a == 1E3", "a == 1000"},
                             {"a == 1e+3", "a == 1000"},
                             {"a == .5", "a == 0.5"},
                             {"a == 1.50", "a == 1.5"},
                             {"a == 9223372036854775807", "a == 9223372036854775807"},
                             {"a == -9223372036854775808", "a == -9223372036854775808"},
                             {"a == 18446744073709551615", "a == 18446744073709551615"},
                             {"a == 18446744073709551616", "a == 1.8446744073709552e+19"},
                             {"a == NULL", "a == nil"},
                             {"a == nil", "a == nil"},
                             {"a == TRUE", "a == 1"},
                             {"a == Yes", "a == 1"},
                             {"a == false", "a == 0"},
                             {"a == NO", "a == 0"},
                             {"a IN {}", "a IN {}"},
                             {"a IN {1, 'b', nil, c.d, {2}}", "a IN {1, \"b\", nil, c.d, {2}}"},
                             {"CAST(5, \"NSDate\") < a", "CAST(5, \"NSDate\") < a"},
                         }));

INSTANTIATE_TEST_SUITE_P(Keys, PredicateReading,
                         ::testing::ValuesIn(std::vector<Reading>{
                             {"SELF == 1", "SELF == 1"},
                             {"self == 1", "SELF == 1"},
                             {"SELF.name == 1", "name == 1"},
                             {"a.b.c == 1", "a.b.c == 1"},
                             {" a . b\t.\nc ==1 ", "a.b.c == 1"},
                             {"#size == 1", "#size == 1"},
                             {"a.#first == 1", "a.#first == 1"},
                             {"a.first == 1", "a.#first == 1"},
                             {"#name == 1", "name == 1"},
                             {"_a1 == 1", "_a1 == 1"},
                             {"order == 1", "order == 1"},      // not OR
                             {"nothing == 1", "nothing == 1"},  // not NOT
                             {"anyone == 1", "anyone == 1"},
                             {"function == 1", "function == 1"},
                             {"a.@count == 0", "a.@count == 0"},
                             {"@sum.items.price < 1000", "@sum.items.price < 1000"},
                             {"items.@max.price < 1000", "items.@max.price < 1000"},
                             {"SELF.@count == 1", "@count == 1"},
                             {"$x == 1", "$x == 1"},
                             {"$x.name == 1", "$x.name == 1"},
                             {"a[0] == 1", "a[0] == 1"},
                             {"a[FIRST].b == 1", "(a[FIRST]).b == 1"},
                             {"a[last] == 1", "a[LAST] == 1"},
                             {"a[SIZE] == 1", "a[SIZE] == 1"},
                             {"a['key'] == 1", "a[\"key\"] == 1"},
                             {"a[b + 1] == 1", "a[b + 1] == 1"},
                             {"ANYKEY == 1", "ANYKEY == 1"},
                         }));

INSTANTIATE_TEST_SUITE_P(
    Calls, PredicateReading,
    ::testing::ValuesIn(std::vector<Reading>{
        {"sum(a) == 1", "sum(a) == 1"},
        {"MAX(1, 5, 10) == 10", "max(1, 5, 10) == 10"},
        {"max:(a) == 10", "max(a) == 10"},
        {"now() > a", "now() > a"},
        {"modulus:by:(a, 2) == 0", "modulus:by:(a, 2) == 0"},
        {"add:to:(a, 2) == 0", "a + 2 == 0"},
        {"uppercase(a) == 'B'", "uppercase(a) == \"B\""},
        {"floor(a / 2) == 0", "floor((a / 2)) == 0"},
        {"SUBQUERY(kids, $k, $k.age > 3).@count > 1", "SUBQUERY(kids, $k, $k.age > 3).@count > 1"},
        {"subquery(kids, $k, $k.age > 3 AND $k.b == 1).@count == 1",
         "SUBQUERY(kids, $k, $k.age > 3 AND $k.b == 1).@count == 1"},
        {"SUBQUERY(a, $x, SUBQUERY($x.b, $y, $y.c == $x.d).@count > 0).@count > 0",
         "SUBQUERY(a, $x, SUBQUERY($x.b, $y, $y.c == $x.d).@count > 0).@count > 0"},
        {"TERNARY(a > 1, b, c) == 2", "TERNARY(a > 1, b, c) == 2"},
        {"FUNCTION(a, 'length') == 2", "FUNCTION(a, \"length\") == 2"},
        {"FUNCTION(a, 'compare:', b) == 2", "FUNCTION(a, \"compare:\", b) == 2"},
        {"CAST(a, 'NSNumber') == 2", "CAST(a, \"NSNumber\") == 2"},
    }));

TEST(PredicateParsing, BuildsTheTreeThatTheFormatDescribes) {
  const auto predicate = NSPredicate::predicateWithFormat("NOT ALL a.b BEGINSWITH[cd] 'x'");
  const auto* negation = as<NSCompoundPredicate>(Value(predicate)).get();
  ASSERT_NE(negation, nullptr);
  EXPECT_EQ(negation->compoundPredicateType(), NSNotPredicateType);
  const Ref<NSComparisonPredicate> comparison =
      as<NSComparisonPredicate>(negation->subpredicates()->firstObject());
  ASSERT_NE(comparison, nullptr);
  EXPECT_EQ(comparison->comparisonPredicateModifier(), NSAllPredicateModifier);
  EXPECT_EQ(comparison->predicateOperatorType(), NSBeginsWithPredicateOperatorType);
  EXPECT_EQ(comparison->options(),
            NSCaseInsensitivePredicateOption | NSDiacriticInsensitivePredicateOption);
  EXPECT_EQ(comparison->leftExpression()->expressionType(), NSKeyPathExpressionType);
  EXPECT_EQ(comparison->leftExpression()->keyPath()->utf8(), "a.b");
  EXPECT_EQ(comparison->rightExpression()->constantValue(), "x");
  EXPECT_EQ(predicate->nesting(), 4u);
}

TEST(PredicateParsing, NumericValuesOfTheEnumerations) {
  EXPECT_EQ(NSLessThanPredicateOperatorType, 0u);
  EXPECT_EQ(NSEqualToPredicateOperatorType, 4u);
  EXPECT_EQ(NSInPredicateOperatorType, 10u);
  EXPECT_EQ(NSCustomSelectorPredicateOperatorType, 11u);
  EXPECT_EQ(NSContainsPredicateOperatorType, 99u);
  EXPECT_EQ(NSBetweenPredicateOperatorType, 100u);
  EXPECT_EQ(NSSubqueryExpressionType, 13u);
  EXPECT_EQ(NSConditionalExpressionType, 20u);
  EXPECT_EQ(NSAnyPredicateModifier, 2u);
}

TEST(PredicateArguments, StandForConstantsAndKeyPaths) {
  EXPECT_EQ(understood("a == %@", "it's"), "a == \"it's\"");
  EXPECT_EQ(understood("a == %@", std::string("x")), "a == \"x\"");
  EXPECT_EQ(understood("a == %@", 5), "a == 5");
  EXPECT_EQ(understood("a == %@", true), "a == 1");
  EXPECT_EQ(understood("a == %@", nullptr), "a == nil");
  EXPECT_EQ(understood("a == %@", Value(NSNull::null())), "a == <null>");
  EXPECT_EQ(understood("a IN %@", list({1, "b"})), "a IN {1, \"b\"}");
  EXPECT_EQ(understood("a < %@", NSDate::dateWithTimeIntervalSinceReferenceDate(86400.5)),
            "a < CAST(86400.5, \"NSDate\")");
  EXPECT_EQ(understood("%K == 1", "a.b"), "a.b == 1");
  EXPECT_EQ(understood("%K.c.@count == 1", "a.b"), "a.b.c.@count == 1");
  EXPECT_EQ(understood("a.%K == 1", "b.c"), "a.b.c == 1");
  EXPECT_EQ(understood("%K == 1", "size"), "#size == 1");
  EXPECT_EQ(understood("%K == 1", "schön da"), "schön da == 1");
  EXPECT_EQ(understood("a == %d", 5), "a == 5");
  EXPECT_EQ(understood("a == %ld OR a == %5.2llu", 5L, 6ULL), "a == 5 OR a == 6");
  EXPECT_EQ(understood("a == %f", 1.5), "a == 1.5");
  EXPECT_EQ(understood("a == %x", 255), "a == 255");
  EXPECT_EQ(understood("a == %s", "text"), "a == \"text\"");
  EXPECT_EQ(understood("%@ + %@ == a", 1, 2), "1 + 2 == a");
  EXPECT_EQ(understood("%f / 2 == a", 7), "7.0 / 2 == a");
  EXPECT_EQ(understood("a == %s", std::string("text")), "a == \"text\"");
}

TEST(PredicateArguments, OfEveryConversionAndSize) {
  for (const char* marker : {"%d",  "%D",   "%i",  "%u",   "%U",  "%x",   "%X",   "%o",  "%O",
                             "%hd", "%hhd", "%ld", "%lld", "%qd", "%lu",  "%llu", "%zu", "%zd",
                             "%td", "%jd",  "%5d", "%-5d", "%+d", "%05d", "%#x",  "%c"}) {
    const std::string format = "a == " + std::string(marker);
    EXPECT_EQ(understood(format.c_str(), 7), "a == 7") << marker;
    EXPECT_EQ(understood(format.c_str(), -7L), "a == -7") << marker;
    EXPECT_EQ(understood(format.c_str(), 18446744073709551615ULL), "a == 18446744073709551615")
        << marker;
  }
  for (const char* marker :
       {"%f", "%F", "%e", "%E", "%g", "%G", "%a", "%A", "%lf", "%Lf", "%.3f"}) {
    const std::string format = "a == " + std::string(marker);
    EXPECT_EQ(understood(format.c_str(), 0.1), "a == 0.1") << marker;
    EXPECT_EQ(understood(format.c_str(), 1), "a == 1") << marker;
  }
}

TEST(PredicateFormat, KeepsWhatConstantsAre) {
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(understood("a < %@ AND a > %@", infinity, -infinity), "a < 1e999 AND a > -1e999");
  EXPECT_EQ(understood("a == %@", 0.1f), "a == 0.10000000149011612");
  EXPECT_EQ(understood("a IN %@", list({1, nullptr, list({nullptr})})), "a IN {1, nil, {nil}}");
  const auto decimal = [](const char* digits) {
    return Value(NSDecimalNumber::decimalNumberWithString(digits));
  };
  EXPECT_EQ(understood("a == %@", decimal("9.99")), "a == 9.99");
  EXPECT_EQ(understood("a == %@", decimal("0.12345678901234567890123")),
            "a == CAST(\"0.12345678901234567890123\", \"NSDecimalNumber\")");
  EXPECT_EQ(understood("a == %@ / 2", decimal("5")), "a == CAST(\"5\", \"NSDecimalNumber\") / 2");
  for (const Value& constant :
       {Value(infinity), Value(-infinity), Value(0.1f), Value(1e300), decimal("9.99"),
        decimal("0.12345678901234567890123"), decimal("-7"), Value(list({nullptr, 0.1f, "x"}))}) {
    const auto written =
        NSPredicate::predicateWithFormat("a == %@ OR a IN {b, %@}", constant, constant);
    const auto read = NSPredicate::predicateWithFormat(written->predicateFormat());
    EXPECT_TRUE(read->evaluateWithObject(record({{"a", constant}}))) << constant;
    EXPECT_EQ(read->predicateFormat()->utf8(), written->predicateFormat()->utf8());
  }
}

TEST(PredicateArguments, ExpressionsStandForThemselves) {
  EXPECT_EQ(understood("%@ > 3", NSExpression::expressionForKeyPath("age")), "age > 3");
}

TEST(PredicateArguments, InsideQuotesArePlainText) {
  EXPECT_EQ(understood("a == '%@' AND b == %@", "x"), "a == \"%@\" AND b == \"x\"");
  EXPECT_EQ(understood("a == \"%K %d\""), "a == \"%K %d\"");
}

TEST(PredicateArguments, LeftOverOnesAreIgnored) {
  EXPECT_EQ(understood("a == %@", 1, 2, 3), "a == 1");
  EXPECT_EQ(understood("a == '%@'", "x"), "a == \"%@\"");
}

TEST(PredicateArguments, InAnArray) {
  EXPECT_EQ(
      NSPredicate::predicateWithFormatArgumentArray("%K == %@ AND b == %d", list({"a", nullptr, 3}))
          ->predicateFormat()
          ->utf8(),
      "a == <null> AND b == 3");
  EXPECT_EQ(NSPredicate::predicateWithFormatArguments("a == 1", Ref<NSArray>())
                ->predicateFormat()
                ->utf8(),
            "a == 1");
}

TEST(PredicateArguments, MissingOnesAndWrongOnesRaise) {
  EXPECT_EQ(complaint("a == %@"), ": at character 5: there is no argument for this");
  EXPECT_EQ(complaint("a == %@ OR a == %d", 1), ": at character 16: there is no argument for this");
  EXPECT_EQ(complaint("%K == 1", 5), ": at character 0: the argument is no key path");
  EXPECT_EQ(complaint("%K == 1", nullptr), ": at character 0: the argument is no key path");
  EXPECT_EQ(complaint("a == %d", "5"), ": at character 5: the argument is no number");
  EXPECT_EQ(complaint("a == %d", nullptr), ": at character 5: the argument is no number");
  EXPECT_EQ(complaint("a == %s", 5), ": at character 5: the argument is no text");
  EXPECT_EQ(complaint("a == %@", static_cast<const void*>("x")),
            ": at character 5: the argument is an address, not a value");
  EXPECT_EQ(complaint("%@", NSPredicate::predicateWithValue(true)),
            ": at character 0: the argument is a predicate, which cannot stand for a value");
  EXPECT_EQ(complaint("a == %y", 1),
            ": at character 5: a percent sign is no argument of a known kind");
  EXPECT_EQ(complaint("a == %%"),
            ": at character 5: a percent sign is no argument of a known kind");
  EXPECT_EQ(complaint("a == %"), ": at character 5: a percent sign is no argument of a known kind");
}

struct Mistake {
  const char* format;
  const char* complaint;
};
void PrintTo(const Mistake& mistake, std::ostream* stream) { *stream << mistake.format; }

class PredicateMistake : public ::testing::TestWithParam<Mistake> {};

TEST_P(PredicateMistake, IsRefused) {
  EXPECT_EQ(complaint(GetParam().format), std::string(": at character ") + GetParam().complaint);
}

INSTANTIATE_TEST_SUITE_P(
    Formats, PredicateMistake,
    ::testing::ValuesIn(std::vector<Mistake>{
        {"", "0: a value or a comparison was expected"},
        {"   ", "3: a value or a comparison was expected"},
        {"a", "0: a comparison was expected, not a mere value"},
        {"a + b", "0: a comparison was expected, not a mere value"},
        {"a ==", "4: a value or a comparison was expected"},
        {"== 1", "0: a value or a comparison was expected"},
        {"a == 1 AND", "10: a value or a comparison was expected"},
        {"a == 1 AND b", "11: a comparison was expected, not a mere value"},
        {"a == 1 b == 2", "7: AND, OR or the end was expected"},
        {"a == b == c", "0: a value was expected, not a comparison"},
        {"(a == 1", "7: ) was expected"},
        {"a == 1)", "6: AND, OR or the end was expected"},
        {"(a == 1) + 2 == 3", "0: a value was expected, not a comparison"},
        {"a == (b == 1)", "5: a value was expected, not a comparison"},
        {"NOT a", "4: a comparison was expected, not a mere value"},
        {"ANY a", "5: an operator such as == or IN was expected"},
        {"ANY (a == 1)", "4: a value was expected, not a comparison"},
        {"a NOT IN b", "2: an operator such as == or IN was expected"},
        {"TRUE", "0: a comparison was expected, not a mere value"},
        // Text, numbers and names
        {"a == 'x", "5: the text that begins here does not end"},
        {"a == 'it's'", "9: AND, OR or the end was expected"},
        {"a == 'x\\'", "5: the text that begins here does not end"},
        {"a == \"x'", "5: the text that begins here does not end"},
        {"a == '\\u12'", "10: a hexadecimal digit was expected"},
        {"a == '\\xg'", "8: a hexadecimal digit was expected"},
        {"id == 5475f3", "6: a number goes on with letters; text needs quotes"},
        {"id == 5x", "6: a number goes on with letters; text needs quotes"},
        {"a == 1e", "5: a number goes on with letters; text needs quotes"},
        {"a == 1.", "7: a key was expected"},
        {"a == 0x", "5: a number has no digits"},
        {"a == 0b12", "5: a number holds a character that is no digit of its base"},
        {"a == 0x12345678901234567", "5: a number has more than 64 bits"},
        {"a == ?", "5: a character that means nothing outside of quotes"},
        {"a ? b", "2: a character that means nothing outside of quotes"},
        {"größe == 1", "2: a character that means nothing outside of quotes"},
        {"a == 'ö' AND é == 1", "13: a character that means nothing outside of quotes"},
        {"a & b == 1", "2: a character that means nothing outside of quotes"},
        {"$1 == a", "1: the name of a variable was expected behind $"},
        {"$ == a", "1: the name of a variable was expected behind $"},
        {"# == a", "1: a name was expected"},
        {"a. == 1", "3: a key was expected"},
        {"a..b == 1", "2: a key was expected"},
        {"a.5 == 1", "1: an operator such as == or IN was expected"},
        {"$x := 1", "3: assignments are not supported"},
        // Reserved words
        {"size > 3", "0: a reserved word; as a key it is written with # before it"},
        {"first == 1", "0: a reserved word; as a key it is written with # before it"},
        {"a == in", "5: a reserved word; as a key it is written with # before it"},
        {"between == 1", "0: a reserved word; as a key it is written with # before it"},
        {"FETCH(a, b) == 1", "0: FETCH is not supported"},
        {"a UTI-EQUALS 'public.text'", "2: uniform type identifiers are not supported"},
        {"a UTI-CONFORMS-TO 'public.text'", "2: uniform type identifiers are not supported"},
        // Options, lists, calls
        {"a LIKE[x] 'y'", "7: the options are c, d, n and l"},
        {"a LIKE[] 'y'", "7: options such as c or d were expected"},
        {"a LIKE[c 'y'", "9: ] was expected behind the options"},
        {"a IN {1, 2", "10: , or } was expected"},
        {"a IN {1,}", "8: a value or a comparison was expected"},
        {"a IN {b == 1}", "8: , or } was expected"},
        {"sum(a == 1", "6: , or ) was expected"},
        {"sum(a", "5: , or ) was expected"},
        {"nonsense(a) == 1", "0: there is no function of that name"},
        {"sqrt(1, 2) == 1", "0: the function does not take that many arguments"},
        {"sum() == 1", "0: the function does not take that many arguments"},
        {"a == modulus:by:(1)", "5: the function does not take that many arguments"},
        {"a:b == 1", "4: ( was expected behind the name of a function"},
        {"SUBQUERY(a, b, c == 1) == 1", "12: a variable was expected"},
        {"SUBQUERY(a, $b) == 1", "14: , was expected"},
        {"SUBQUERY(a, $b, c) == 1", "16: a comparison was expected, not a mere value"},
        {"SUBQUERY == 1", "9: ( was expected behind SUBQUERY"},
        {"FUNCTION(a, b) == 1", "12: the name of a selector was expected"},
        {"TERNARY(a, b, c) == 1", "8: a comparison was expected, not a mere value"},
        {"a[1 == 2", "4: ] was expected"},
        {"a[1", "3: ] was expected"},
        {"a LIKE %@*", "7: there is no argument for this"},
    }));

TEST(PredicateMistakes, WildcardsBelongIntoTheArgument) {
  EXPECT_EQ(complaint("a LIKE %@*", "x"),
            ": at character 10: a value or a comparison was expected");
  // A product of a text and a text, which only shows when it is evaluated.
  const auto predicate = NSPredicate::predicateWithFormat("a LIKE %@*%@", "x", "y");
  EXPECT_EQ(raisedName([&] {
              predicate->evaluateWithObject(record({{"a", "x"}}));
            }),
            "NSInvalidArgumentException");
}

TEST(PredicateMistakes, TellTheirPositionInTheUserInfo) {
  const Ref<NSException> exception =
      exceptionOf([] { NSPredicate::predicateWithFormat("ä == 'ö' ß"); });
  ASSERT_NE(exception, nullptr);
  EXPECT_EQ(exception->userInfo()->objectForKey("position"), 0);
  const Ref<NSException> later =
      exceptionOf([] { NSPredicate::predicateWithFormat("a == 'öö' !"); });
  EXPECT_EQ(later->userInfo()->objectForKey("position"), 10);
}

TEST(PredicateMistakes, AreShownWithACaret) {
  EXPECT_EQ(shown("a == 1 AND"),
            "a == 1 AND\n"
            "          ^");
  EXPECT_EQ(shown("ä == 'ö' ß"),
            "ä == 'ö' ß\n"
            "^");
  EXPECT_EQ(shown("a == 'öß😀' !"),
            "a == 'öß😀' !\n"
            "           ^");
  EXPECT_EQ(shown(""), "\n^");
  // Of several lines the one that matters; tabs take a column like everything else.
  EXPECT_EQ(shown("a == 1 AND\n\tb ? 2 OR\nc == 3"),
            " b ? 2 OR\n"
            "   ^");
  EXPECT_EQ(shown("a == 1 AND \n\t\n"),
            "a == 1 AND\n"
            "          ^");
  EXPECT_EQ(shown("  \n"), "\n^");
}

TEST(PredicateMistakes, OfALongFormatShowWhatStandsAround) {
  const std::string before(60, 'b'), after(60, 'd');
  EXPECT_EQ(shown(before + " ? " + after), "…" + std::string(49, 'b') + " ? " +
                                               std::string(24, 'd') + "…\n" + std::string(51, ' ') +
                                               "^");
  const std::string umlauts = "a == '" + std::string(60, '.') + "ääää' ? c";
  EXPECT_EQ(shown(umlauts),
            "…" + std::string(44, '.') + "ääää' ? c\n" + std::string(51, ' ') + "^");
  EXPECT_EQ(shown(std::string(50, 'b') + "?"),
            std::string(50, 'b') + "?\n" + std::string(50, ' ') + "^");
}

TEST(PredicateMistakes, NullFormatIsOne) {
  EXPECT_EQ(raisedBy([] { NSPredicate::predicateWithFormat(Ref<NSString>()); }),
            "NSInvalidArgumentException: Unable to parse the format string \"(null)\"");
}

TEST(PredicateMistakes, ExpressionsRefuseComparisons) {
  EXPECT_EQ(raisedBy([] { NSExpression::expressionWithFormat("a == 1"); }),
            "NSInvalidArgumentException: Unable to parse the format string \"a == 1\": at "
            "character 0: a value was expected, not a comparison\na == 1\n^");
}

}  // namespace
}  // namespace JNFoundation
