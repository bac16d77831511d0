#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include "platform/text/Randomness.h"
#include "platform/value/Raising.h"

#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation {
namespace {

using testing::raisedName;

Ref<NSDecimalNumber> decimal(const std::string& text) {
  return NSDecimalNumber::decimalNumberWithString(text);
}
std::string textOf(const Ref<NSDecimalNumber>& number) {
  return number->stringValue()->toStdString();
}
std::string reread(const std::string& text) { return textOf(decimal(text)); }

const std::string nines(38, '9');

TEST(NSDecimalNumber, TextIsReadExactly) {
  EXPECT_EQ(reread("12.50"), "12.5");
  EXPECT_EQ(reread("  -0.001\n"), "-0.001");
  EXPECT_EQ(reread("+7"), "7");
  EXPECT_EQ(reread(".5"), "0.5");
  EXPECT_EQ(reread("5."), "5");
  EXPECT_EQ(reread("1e3"), "1000");
  EXPECT_EQ(reread("1.5E-3"), "0.0015");
  EXPECT_EQ(reread("-0"), "0");
  EXPECT_EQ(reread("0e999999999999999999999"), "0");
  EXPECT_EQ(reread("000123.4500"), "123.45");
  EXPECT_EQ(reread(nines), nines);
  EXPECT_EQ(reread("0." + nines), "0." + nines);
}

TEST(NSDecimalNumber, OtherTextIsNotANumber) {
  EXPECT_TRUE(NSDecimalNumber::decimalNumberWithString(nullptr)->isNotANumber());
  for (const char* text : {"", " ", "abc", "1a", "1 2", "--1", "+-1", ".", "-", "e5", "1e", "1e+",
                           "1.2.3", "1,5", "0x10", "nan", "inf", "1e5.5", "١"}) {
    EXPECT_TRUE(decimal(text)->isNotANumber()) << text;
  }
  EXPECT_EQ(textOf(decimal("abc")), "NaN");
}

TEST(NSDecimalNumber, DigitsBeyondThirtyEightAreRounded) {
  EXPECT_EQ(reread(nines + "4"), "9." + std::string(37, '9') + "e+38");
  EXPECT_EQ(reread("1" + std::string(37, '0') + "5"), "1." + std::string(36, '0') + "1e+38");
  EXPECT_EQ(reread("0." + nines + "5"), "1");
  EXPECT_EQ(reread("0.1" + std::string(100, '3')), "0.1" + std::string(37, '3'));
  // Far behind the digits that are kept, one more still decides a tie.
  const std::string tie = std::string(38, '2') + "5";
  EXPECT_EQ(reread("0." + std::string(38, '2') + "4" + std::string(100, '9')),
            "0." + std::string(38, '2'));
  EXPECT_EQ(reread("0." + tie + std::string(100, '0') + "1"), "0." + std::string(37, '2') + "3");
}

TEST(NSDecimalNumber, LimitsOfTheExponentHold) {
  EXPECT_FALSE(decimal("1e127")->isNotANumber());
  EXPECT_EQ(reread("1e60"), "1e+60");
  EXPECT_EQ(reread("1e164"), "1e+164");
  EXPECT_EQ(reread(nines + "e127"), "9." + std::string(37, '9') + "e+164");
  EXPECT_TRUE(decimal("1e165")->isNotANumber());
  EXPECT_TRUE(decimal("1e999999999999999999999")->isNotANumber());
  EXPECT_EQ(reread("1e-128"), "1e-128");
  EXPECT_EQ(reread("5e-129"), "1e-128");
  EXPECT_EQ(reread("4e-129"), "0");
  EXPECT_EQ(reread("1e-999999999999999999999"), "0");
  // The exponent brings back what the position of the digits took away, and the other way round.
  EXPECT_EQ(reread("0." + std::string(100'000, '0') + "7e100001"), "7");
  EXPECT_EQ(reread("7" + std::string(100'000, '0') + "e-100000"), "7");
}

TEST(NSDecimalNumber, TextIsPlainUntilItWouldBeLong) {
  EXPECT_EQ(reread("1e37"), "1" + std::string(37, '0'));
  EXPECT_EQ(reread("1e38"), "1e+38");
  EXPECT_EQ(reread("1e-38"), "0." + std::string(37, '0') + "1");
  EXPECT_EQ(reread("-1.25e-39"), "-1.25e-39");
  EXPECT_EQ(textOf(decimal(reread("-1.25e-39"))), "-1.25e-39");
}

TEST(NSDecimalNumber, IntegersAreExact) {
  using Limits = std::numeric_limits<std::int64_t>;
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithValue(Limits::min())), "-9223372036854775808");
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithValue(Limits::max())), "9223372036854775807");
  EXPECT_EQ(
      textOf(NSDecimalNumber::decimalNumberWithValue(std::numeric_limits<std::uint64_t>::max())),
      "18446744073709551615");
  using Integers = std::numeric_limits<NSInteger>;
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithInteger(Integers::min())),
            std::to_string(Integers::min()));
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithInteger(Integers::max())),
            std::to_string(Integers::max()));
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithUnsignedInteger(~NSUInteger{0})),
            std::to_string(~NSUInteger{0}));
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithMantissaExponentIsNegative(1250, -2, true)),
            "-12.5");
  EXPECT_EQ(textOf(NSDecimalNumber::zero()), "0");
  EXPECT_EQ(textOf(NSDecimalNumber::one()), "1");
}

TEST(NSDecimalNumber, DoubleIsItsShortestText) {
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithDouble(0.1)), "0.1");
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithDouble(-9.99)), "-9.99");
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithDouble(1e23)), "100000000000000000000000");
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithDouble(0x1p62)), "4611686018427387904");
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithDouble(-0.0)), "0");
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithDouble(5e-324)), "0");
  EXPECT_TRUE(NSDecimalNumber::decimalNumberWithDouble(1e300)->isNotANumber());
  EXPECT_TRUE(NSDecimalNumber::decimalNumberWithDouble(INFINITY)->isNotANumber());
  EXPECT_TRUE(NSDecimalNumber::decimalNumberWithDouble(NAN)->isNotANumber());
}

TEST(NSDecimalNumber, AnyValueBecomesADecimal) {
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithValue(true)), "1");
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithValue("2.50")), "2.5");
  EXPECT_EQ(textOf(NSDecimalNumber::decimalNumberWithValue(~std::uint64_t{0})),
            "18446744073709551615");
  EXPECT_TRUE(NSDecimalNumber::decimalNumberWithValue(nullptr)->isNotANumber());
  EXPECT_TRUE(NSDecimalNumber::decimalNumberWithValue(Value::dateWithTimeIntervalSince1970(1))
                  ->isNotANumber());
  const Ref<NSDecimalNumber> number = decimal("1.5");
  EXPECT_EQ(NSDecimalNumber::decimalNumberWithValue(number), number);
}

struct Calculation {
  const char* left;
  char operation;
  const char* right;
  const char* result;
};

/// Computed with another implementation of decimal arithmetic, at 38 digits.
const Calculation calculations[] = {
    {"-2.416871892076548320594E+29", '+', "1.6702456E-94",
     "-241687189207654832059400000000.00000000"},
    {"-2.90501E-23", '-', "6.7936125628160541417332315E-80",
     "-2.9050100000000000000000000000000000000E-23"},
    {"-5.234E-13", '*', "3.45357883542269E+33", "-1.807603162460235946E+21"},
    {"9.103167899910112068054731174E+41", '/', "8.913382575242986819265052E+28",
     "10212921775841.032527747515970824003872"},
    {"7.910525571734951680636377561386014E+38", '+', "-796378289878392921296694652.67",
     "7.9105255717269878977375936321730470535E+38"},
    {"9.76440818160E+13", '-', "8.153092950211698374E+22", "-8.15309294044729019240E+22"},
    {"0.0000083387999370209", '*', "512592728633598043.39963970683385892",
     "4274408213247.2186484126810522759337014"},
    {"-8.246716858256379980815195647394772E+42", '/', "4.826339088E+24",
     "-1708689900956329154.8020621893350838676"},
    {"9.9978564166216940E-8", '+', "-6.43051885963580175105E-96",
     "9.9978564166216940000000000000000000000E-8"},
    {"245770767496753103.8", '-', "1.68279619043658401256736878713239210E-64",
     "245770767496753103.80000000000000000000"},
    {"-5.9183E-10", '*', "-5.827045E+11", "344.862004235"},
    {"-4.814648796355E+30", '/', "-1924377.94020033026856873314",
     "2501924749695368438361316.0746617034773"},
    {"-3.730896094176835993668744893E-11", '+', "768336.042746236543777066033",
     "768336.04274623650646810509123164006331"},
    {"6.9865475828458503104E-11", '-', "0.00418670", "-0.004186699930134524171541496896"},
    {"0.00919459029157818", '*', "-5.333734064801E+25", "-490414994500790978086776.4218"},
    {"-262028.295275310498300433", '/', "508970877.7216331",
     "-0.00051481981925618010593788071688376529812"},
    {"-8.9E+7", '+', "5.358961308081982000225368229526919E-75",
     "-89000000.000000000000000000000000000000"},
    {"-8E-29", '-', "1.118157E-93", "-8.0000000000000000000000000000000000000E-29"},
    {"2.227606632E+17", '*', "5.33441468155567884077E+29", "1.188297752247159826296132398664E+47"},
    {"-41.400937001387852", '/', "-0.0007533458291840111222040868435582606583",
     "54956.084440304668136945352605834915240"},
    {"5.065799192647984385744176924551E+33", '+', "789.4009409688432",
     "5065799192647984385744176924551789.4009"},
    {"-50830030534.369485", '-', "89878413301.99350226821332312793",
     "-140708443836.36298726821332312793"},
    {"-5.11564999613590464020288911389623000E+36", '*', "10813395008981915367704711157542.73501",
     "-5.5317544135914345872938348268405280971E+67"},
    {"3219.81082880989681914120503", '/', "1.3036260227591635146E+33",
     "2.4698884285809750727956862639563326914E-30"},
    {"-7.7711918943330256567830465262E+35", '+', "2.7087947472595165467577532294696E-61",
     "-777119189433302565678304652620000000.00"},
    {"4501610321519065865378585.263213015", '-', "9.4988602854896872801619435246556E-69",
     "4501610321519065865378585.2632130150000"},
    {"6.008707587E+23", '*', "-7.169483716885E+17", "-4.3079331204519859506495E+41"},
    {"-5.312069359067741E-7", '/', "-4E-7", "1.32801733976693525"},
    {"6.96E+6", '+', "11500825618878058540.4016986003", "11500825618885018540.4016986003"},
    {"4.13320E+14", '-', "-44.678138316476378141749262564677941",
     "413320000000044.67813831647637814174926"},
    {"57665.6996833621474438028297832578", '*', "0.00179663511246822037894995636",
     "103.60422083617597206741541394864926609"},
    {"275899425566997463743359409109152752", '/', "-85656.41805891103301099",
     "-3221001202469673149024630116013.1064728"},
    {"-0.000078342090", '+', "1.6083602544760219625773028E-70",
     "-0.000078342090000000000000000000000000000000"},
    {"832577520796731.3308135129773363189", '-', "5.9E-85",
     "832577520796731.33081351297733631890000"},
    {"765649171594582431987211139198821107", '*', "-4.23E+19",
     "-3.2386959958450836873059031188110132826E+55"},
    {"-0.86470126395356464542572010", '/', "6.140E-22", "-1408308247481375644015.8307817589576547"},
    {"15349410534465309383666810.71353570339", '+', "1.71405105758333118E+30",
     "1714066406993865645309383666810.7135357"},
    {"-6.87E-11", '-', "-9.57491E+11", "957490999999.9999999999313"},
    {"8.502323965786565870068599429E-10", '*', "-91202485968004.561090534325601966526",
     "-77543.308218507816571719926943964295088"},
    {"-3.829727761191409044712724310E+29", '/', "2.79856601877347856344898194497160E+39",
     "-1.3684607529358394386805560858847688247E-10"},
    {"-5.8228861586613E-20", '+', "-5.10E-88", "-5.8228861586613000000000000000000000000E-20"},
    {"-8.307930783121861475455E+41", '-', "-5.67600487992638849842799142516314E-66",
     "-8.3079307831218614754550000000000000000E+41"},
    {"5.216750117E-16", '*', "-6.900E-7", "-3.5995575807300E-22"},
    {"-91390242400333919282295729731606.742", '/', "0.0000055123611718655912405",
     "-16579146313339989140290816193583170039"},
    {"99999999999999999999999999999999999999", '+', "0.5",
     "1.0000000000000000000000000000000000000E+38"},
    {"99999999999999999999999999999999999999", '+', "0.4999",
     "99999999999999999999999999999999999999"},
    {"1234567890123456789012345678901234567.8", '-', "1234567890123456789012345678901234567.7",
     "0.1"},
    {"10000000000000000000000000000000000000", '-', "1e-50",
     "10000000000000000000000000000000000000"},
    {"1", '-', "1e-38", "0.99999999999999999999999999999999999999"},
    {"1", '-', "1e-39", "1.0000000000000000000000000000000000000"},
    {"1", '/', "3", "0.33333333333333333333333333333333333333"},
    {"2", '/', "3", "0.66666666666666666666666666666666666667"},
    {"-2", '/', "3", "-0.66666666666666666666666666666666666667"},
    {"1", '/', "8", "0.125"},
    {"1e127", '/', "1e127", "1"},
    {"99999999999999999999999999999999999999", '*', "99999999999999999999999999999999999999",
     "9.9999999999999999999999999999999999998E+75"},
    {"1e-64", '*', "1e-64", "1E-128"},
    {"0.1", '+', "0.2", "0.3"},
    {"1e100", '-', "1e-100", "1.0000000000000000000000000000000000000E+100"},
    {"-1e100", '+', "1e-100", "-1.0000000000000000000000000000000000000E+100"},
    {"1e38", '-', "6", "99999999999999999999999999999999999994"},
    {"1e38", '-', "4", "99999999999999999999999999999999999996"},
    {"5", '-', "5.0", "0.0"},
};

Ref<NSDecimalNumber> compute(const Ref<NSDecimalNumber>& left, char operation, const Value& right) {
  switch (operation) {
    case '+':
      return left->decimalNumberByAdding(right);
    case '-':
      return left->decimalNumberBySubtracting(right);
    case '*':
      return left->decimalNumberByMultiplyingBy(right);
    default:
      return left->decimalNumberByDividingBy(right);
  }
}

TEST(NSDecimalNumber, ArithmeticIsExactOrRoundedAtTheLastDigit) {
  for (const auto& [left, operation, right, result] : calculations) {
    EXPECT_EQ(textOf(compute(decimal(left), operation, decimal(right))), reread(result))
        << left << ' ' << operation << ' ' << right;
  }
}

TEST(NSDecimalNumber, SmallCalculationsAgreeWithIntegers) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  for (int i = 0; i < 20'000; ++i) {
    const std::int64_t left = random.between(-1'000'000'000, 1'000'000'000);
    const std::int64_t right = random.between(-1'000'000'000, 1'000'000'000);
    const Ref<NSDecimalNumber> number = NSDecimalNumber::decimalNumberWithInteger(left);
    ASSERT_EQ(number->decimalNumberByAdding(right)->longLongValue(), left + right);
    ASSERT_EQ(number->decimalNumberBySubtracting(right)->longLongValue(), left - right);
    const Ref<NSDecimalNumber> product = number->decimalNumberByMultiplyingBy(right);
    ASSERT_EQ(product->longLongValue(), left * right);
    if (right != 0) {
      ASSERT_EQ(Value(product->decimalNumberByDividingBy(right)), Value(left));
      ASSERT_EQ(product->decimalNumberByAdding(right / 2)
                    ->decimalNumberByDividingBy(right)
                    ->decimalNumberByRoundingToScale(0, NSRoundDown)
                    ->longLongValue(),
                left + (right / 2 != 0 && (right / 2 < 0) != (right < 0) ? -1 : 0));
    }
  }
}

TEST(NSDecimalNumber, ResultsOutOfRangeRaise) {
  EXPECT_EQ(raisedName([] { decimal("1e100")->decimalNumberByMultiplyingBy(decimal("1e100")); }),
            NSDecimalNumberOverflowException);
  EXPECT_EQ(
      raisedName([] { decimal(nines + "e127")->decimalNumberByAdding(decimal(nines + "e127")); }),
      NSDecimalNumberOverflowException);
  EXPECT_EQ(raisedName([] { decimal("1e-100")->decimalNumberByMultiplyingBy(decimal("1e-100")); }),
            NSDecimalNumberUnderflowException);
  EXPECT_EQ(raisedName([] { decimal("1e-100")->decimalNumberByDividingBy(decimal("1e100")); }),
            NSDecimalNumberUnderflowException);
  EXPECT_EQ(raisedName([] { decimal("1")->decimalNumberByMultiplyingByPowerOf10(165); }),
            NSDecimalNumberOverflowException);
  EXPECT_EQ(raisedName([] { decimal("1")->decimalNumberByDividingBy(0); }),
            NSDecimalNumberDivideByZeroException);
  EXPECT_EQ(raisedName([] { NSDecimalNumber::zero()->decimalNumberByDividingBy(0); }),
            NSDecimalNumberDivideByZeroException);
  EXPECT_EQ(textOf(decimal("1")->decimalNumberByMultiplyingByPowerOf10(164)), "1e+164");
}

TEST(NSDecimalNumber, NotANumberSpreads) {
  const Ref<NSDecimalNumber> one = NSDecimalNumber::one();
  EXPECT_TRUE(one->decimalNumberByAdding(NSDecimalNumber::notANumber())->isNotANumber());
  EXPECT_TRUE(one->decimalNumberByAdding(NAN)->isNotANumber());
  EXPECT_TRUE(one->decimalNumberByMultiplyingBy(nullptr)->isNotANumber());
  EXPECT_TRUE(one->decimalNumberBySubtracting("1")->isNotANumber());
  EXPECT_TRUE(NSDecimalNumber::notANumber()->decimalNumberByDividingBy(0)->isNotANumber());
  EXPECT_EQ(NSDecimalNumber::notANumber()->longLongValue(), 0);
  EXPECT_TRUE(std::isnan(NSDecimalNumber::notANumber()->doubleValue()));
}

TEST(NSDecimalNumber, RoundingFollowsItsMode) {
  const auto rounded = [](const char* text, NSInteger scale, NSRoundingMode mode) {
    return textOf(decimal(text)->decimalNumberByRoundingToScale(scale, mode));
  };
  struct Row {
    const char* text;
    const char *plain, *down, *up, *bankers;
  };
  for (const Row& row : {Row{"1.25", "1.3", "1.2", "1.3", "1.2"},
                         {"1.35", "1.4", "1.3", "1.4", "1.4"},
                         {"-1.25", "-1.3", "-1.3", "-1.2", "-1.2"},
                         {"1.21", "1.2", "1.2", "1.3", "1.2"},
                         {"-1.21", "-1.2", "-1.3", "-1.2", "-1.2"},
                         {"1.2", "1.2", "1.2", "1.2", "1.2"},
                         {"0.05", "0.1", "0", "0.1", "0"},
                         {"0.0001", "0", "0", "0.1", "0"},
                         {"-0.0001", "0", "-0.1", "0", "0"},
                         {"1.2500001", "1.3", "1.2", "1.3", "1.3"},
                         {"9.99", "10", "9.9", "10", "10"}}) {
    EXPECT_EQ(rounded(row.text, 1, NSRoundPlain), row.plain) << row.text;
    EXPECT_EQ(rounded(row.text, 1, NSRoundDown), row.down) << row.text;
    EXPECT_EQ(rounded(row.text, 1, NSRoundUp), row.up) << row.text;
    EXPECT_EQ(rounded(row.text, 1, NSRoundBankers), row.bankers) << row.text;
  }
  EXPECT_EQ(rounded("1250", -2, NSRoundPlain), "1300");
  EXPECT_EQ(rounded("1250", -2, NSRoundBankers), "1200");
  EXPECT_EQ(rounded("1250", -9, NSRoundPlain), "0");
  EXPECT_EQ(rounded("1.5", std::numeric_limits<NSInteger>::max(), NSRoundPlain), "1.5");
  EXPECT_EQ(rounded("1.5", std::numeric_limits<NSInteger>::min(), NSRoundPlain), "0");
}

TEST(NSDecimalNumber, IntegersClampAndTruncate) {
  using Limits = std::numeric_limits<std::int64_t>;
  EXPECT_EQ(decimal("12.99")->longLongValue(), 12);
  EXPECT_EQ(decimal("-12.99")->longLongValue(), -12);
  EXPECT_EQ(decimal("9223372036854775807.9")->longLongValue(), Limits::max());
  EXPECT_EQ(decimal("9223372036854775808")->longLongValue(), Limits::max());
  EXPECT_EQ(decimal("-9223372036854775808")->longLongValue(), Limits::min());
  EXPECT_EQ(decimal("-9223372036854775809")->longLongValue(), Limits::min());
  EXPECT_EQ(decimal("1e100")->longLongValue(), Limits::max());
  EXPECT_EQ(decimal("-1e100")->longLongValue(), Limits::min());
  EXPECT_EQ(decimal("1e-100")->longLongValue(), 0);
  EXPECT_EQ(decimal("18446744073709551615")->unsignedLongLongValue(), ~std::uint64_t{0});
  EXPECT_EQ(decimal("18446744073709551616")->unsignedLongLongValue(), ~std::uint64_t{0});
  EXPECT_EQ(decimal("-1")->unsignedLongLongValue(), 0u);
}

TEST(NSDecimalNumber, NearestDoubleIsExactToTheLastBit) {
  EXPECT_EQ(decimal("0.1")->doubleValue(), 0.1);
  EXPECT_EQ(decimal("-123456789.125")->doubleValue(), -123456789.125);
  // One digit beyond the middle of two doubles decides.
  EXPECT_EQ(decimal("9007199254740993")->doubleValue(), 9007199254740992.0);
  EXPECT_EQ(decimal("9007199254740993.0000000000000000001")->doubleValue(), 9007199254740994.0);
  EXPECT_EQ(decimal("1e-128")->doubleValue(), 1e-128);
  EXPECT_EQ(decimal(nines + "e127")->doubleValue(), 1e165);
}

TEST(NSDecimalNumber, DoublesComeBackThroughDecimals) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  for (int i = 0; i < 20'000; ++i) {
    const double number =
        std::ldexp(static_cast<double>(random.bits()), static_cast<int>(random.between(-300, 200)));
    const Ref<NSDecimalNumber> same = NSDecimalNumber::decimalNumberWithDouble(number);
    ASSERT_EQ(same->doubleValue(), number);
    ASSERT_EQ(Value(same), Value(number));
    ASSERT_EQ(Value(same).hash(), Value(number).hash());
    ASSERT_EQ(same->compareNumber(std::nextafter(number, INFINITY)), NSOrderedAscending);
    ASSERT_EQ(same->compareNumber(std::nextafter(number, 0)), NSOrderedDescending);
  }
}

TEST(NSDecimalNumber, IsANumberByClass) {
  const Value number = decimal("2.5");
  EXPECT_TRUE(number.isNumber());
  EXPECT_TRUE(isKindOf<NSNumber>(number));
  EXPECT_EQ(number.integerValue(), 2);
  EXPECT_EQ(number.doubleValue(), 2.5);
  EXPECT_EQ(number.stringValue()->utf8(), "2.5");
  EXPECT_EQ(number.description()->utf8(), "2.5");
  EXPECT_NE(number, Value("2.5"));
  EXPECT_NE(number, Value::dateWithTimeIntervalSince1970(2.5));
}

}  // namespace
}  // namespace JNFoundation
