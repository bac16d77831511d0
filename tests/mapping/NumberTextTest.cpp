#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include <JNFoundation/mapping/PLVScalarDataMap.h>
#include <JNFoundation/platform/dispatch/NSLog.h>

/// How text becomes the number of an attribute.
namespace JNFoundation {
namespace {

struct Reading {
  const char* text;
  std::int64_t number;
};

Ref<PLVScalarDataMap> mapOfType(NSUInteger type) {
  return PLVScalarDataMap::initWithEntityNameFilterAttributeNameAttributeType("Person", nullptr,
                                                                              "age", type);
}

void expectReadings(NSUInteger type, const std::vector<Reading>& readings) {
  const auto map = mapOfType(type);
  for (const Reading& reading : readings) {
    const Value number = map->numberForInputString(reading.text);
    EXPECT_EQ(number, Value(reading.number)) << type << " '" << reading.text << "'";
    EXPECT_EQ(number.kind(), Value::Kind::Integer) << type << " '" << reading.text << "'";
  }
  EXPECT_EQ(map->numberForInputString(nullptr), Value(0)) << type;
}

TEST(NumberText, AnIntegerAttributeTakesTheLeadingDigits) {
  const std::vector<Reading> readings = {
      {"123", 123},
      {"0", 0},
      {"-7", -7},
      {"+123", 123},
      {"123a", 123},
      {"-123a", -123},
      {"12abc", 12},
      {"a123", 0},
      {"++123", 0},
      {"--123", 0},
      {"+-1", 0},
      {"", 0},
      {" ", 0},
      {"  42", 42},
      {"\t\n-42", -42},
      {"42 ", 42},
      {"4 2", 4},
      {"12.9", 12},
      {"-12.9", -12},
      {".9", 0},
      {"1e3", 1},
      {"0x1F", 0},
      {"1,234", 1},
      {"007", 7},
      {"true", 0},
      {"١٢٣", 0},
      {"32768", 32768},
      {"99999", 99999},
      {"9223372036854775807", INT64_MAX},
      {"9223372036854775808", INT64_MAX},
      {"-9223372036854775808", INT64_MIN},
      {"-9223372036854775809", INT64_MIN},
      {"123456789012345678901234567890", INT64_MAX},
  };
  for (const NSUInteger type :
       {NSInteger16AttributeType, NSInteger32AttributeType, NSInteger64AttributeType}) {
    expectReadings(type, readings);
  }
}

TEST(NumberText, ADoubleAttributeLosesTheFractionOfText) {
  expectReadings(NSDoubleAttributeType, {{"3.75", 3},
                                         {"-2.5", -2},
                                         {"2.9", 2},
                                         {"-0.9", 0},
                                         {"0.999999", 0},
                                         {".2", 0},
                                         {"+.2", 0},
                                         {"1.23015e+3", 1230},
                                         {"12.e4", 120000},
                                         {"1E3", 1000},
                                         {"1.2.3.4", 1},
                                         {"1e2.3", 100},
                                         {"2e3.12", 2000},
                                         {".e12", 0},
                                         {"0x1F", 0},
                                         {"inf", 0},
                                         {"nan", 0},
                                         {"", 0},
                                         {"abc", 0},
                                         {"  7.5kg", 7},
                                         {"1e-999", 0},
                                         {"1e18", 1000000000000000000},
                                         {"9007199254740993", 9007199254740992},
                                         {"1e300", INT64_MAX},
                                         {"-1e300", INT64_MIN},
                                         {"1e999", INT64_MAX},
                                         {"-1e999", INT64_MIN}});
}

TEST(NumberText, AFloatAttributeReadsTextAsAFloatAndLosesItsFraction) {
  expectReadings(NSFloatAttributeType, {{"3.75", 3},
                                        {"-2.5", -2},
                                        {"1e3", 1000},
                                        {"abc", 0},
                                        {"", 0},
                                        {"16777217", 16777216},
                                        {"0.99999999", 1},
                                        {"1e-60", 0},
                                        {"1e39", INT64_MAX},
                                        {"-1e39", INT64_MIN},
                                        {"1e999", INT64_MAX}});
}

TEST(NumberText, ABooleanAttributeBecomesOneOrZero) {
  expectReadings(
      NSBooleanAttributeType,
      {{"t", 1},       {"true", 1},  {"TRUE", 1},   {"tRuE", 1}, {"T", 1},         {"yes", 1},
       {"YES", 1},     {"y", 1},     {"Y", 1},      {"1", 1},    {"9", 1},         {"-1", 1},
       {"+000009", 1}, {" 1", 1},    {"  true", 1}, {"10", 1},   {"yesterday", 1}, {"false", 0},
       {"no", 0},      {"n", 0},     {"f", 0},      {"0", 0},    {"00", 0},        {"-00000", 0},
       {"<true>", 0},  {"_true", 0}, {"+t", 0},     {"+", 0},    {"0t", 0},        {"++", 0},
       {"", 0},        {" ", 0},     {"on", 0},     {"off", 0},  {"0.5", 0},       {".5", 0}});
}

TEST(NumberText, OtherTypesGiveNothingAndOneLine) {
  std::vector<std::string> log;
  const LogSinkScope sink([&](const Ref<NSString>& line) { log.push_back(line->toStdString()); });
  for (const NSUInteger type :
       {NSUInteger{0}, NSUInteger{400}, NSUInteger{700}, NSUInteger{900}, NSUInteger{1000},
        NSUInteger{1800}, NSUInteger{2000}, NSUInteger{7}}) {
    const auto map = mapOfType(type);
    log.clear();
    EXPECT_TRUE(map->numberForInputString("5").isNull()) << type;
    const std::vector<std::string> expected{
        NSString::stringWithFormat("-[PLVScalarDataMap numberForInputString:](%p) Unexpected type "
                                   "to generate number from string for Person.age",
                                   static_cast<const void*>(map.get()))
            ->toStdString()};
    EXPECT_EQ(log, expected) << type;
  }
}

}  // namespace
}  // namespace JNFoundation
