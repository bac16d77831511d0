#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <unordered_set>

#include "platform/value/Raising.h"

#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation {
namespace {

constexpr const char* sampleText = "68753A44-4D6F-1226-9C60-0050E4C00067";

TEST(NSUUID, TextIsReadInEitherCaseAndWrittenInUpperCase) {
  EXPECT_EQ(NSUUID::initWithUUIDString(sampleText)->UUIDString()->utf8(), sampleText);
  EXPECT_EQ(
      NSUUID::initWithUUIDString("68753a44-4d6f-1226-9c60-0050e4c00067")->UUIDString()->utf8(),
      sampleText);
  EXPECT_EQ(NSUUID::initWithUUIDString(sampleText)->description()->utf8(), sampleText);
  EXPECT_EQ(NSUUID::initWithUUIDString(sampleText)->bytes()[0], 0x68);
  EXPECT_EQ(NSUUID::initWithUUIDString(sampleText)->bytes()[15], 0x67);
}

TEST(NSUUID, OtherTextGivesNull) {
  EXPECT_EQ(NSUUID::initWithUUIDString(nullptr), nullptr);
  for (const std::string text :
       {"", "68753A44", "68753A444D6F12269C600050E4C00067", "68753A44-4D6F-1226-9C60-0050E4C0006",
        "68753A44-4D6F-1226-9C60-0050E4C000677", "G8753A44-4D6F-1226-9C60-0050E4C00067",
        "68753A44-4D6F-1226-9C60_0050E4C00067", "{68753A44-4D6F-1226-9C60-0050E4C0006",
        "68753A4-44D6F-1226-9C60-0050E4C00067", " 8753A44-4D6F-1226-9C60-0050E4C00067",
        "68753A44-4D6F-1226-9C60-0050E4C0006é"}) {
    EXPECT_EQ(NSUUID::initWithUUIDString(text), nullptr) << text;
  }
  EXPECT_EQ(NSUUID::initWithUUIDString(std::string(36, '\0')), nullptr);
}

TEST(NSUUID, RandomOnesDifferAndCarryTheirVersion) {
  std::unordered_set<std::string> seen;
  for (int i = 0; i < 1'000; ++i) {
    const std::string text = NSUUID::UUID()->UUIDString()->toStdString();
    EXPECT_EQ(text[14], '4');
    EXPECT_NE(std::string("89AB").find(text[19]), std::string::npos) << text;
    EXPECT_TRUE(seen.insert(text).second);
  }
}

TEST(NSUUID, SourceDecidesEveryOtherBit) {
  const Ref<NSUUID> zeros = NSUUID::UUIDWithRandomSource([] { return std::uint64_t{0}; });
  EXPECT_EQ(zeros->UUIDString()->utf8(), "00000000-0000-4000-8000-000000000000");
  const Ref<NSUUID> ones = NSUUID::UUIDWithRandomSource([] { return ~std::uint64_t{0}; });
  EXPECT_EQ(ones->UUIDString()->utf8(), "FFFFFFFF-FFFF-4FFF-BFFF-FFFFFFFFFFFF");
}

TEST(NSUUID, EqualityAndOrderFollowTheBytes) {
  const Ref<NSUUID> low = NSUUID::initWithUUIDString("00000000-0000-0000-0000-0000000000FF");
  const Ref<NSUUID> high = NSUUID::initWithUUIDString("80000000-0000-0000-0000-000000000000");
  EXPECT_EQ(Value(NSUUID::initWithUUIDBytes(low->bytes())), Value(low));
  EXPECT_EQ(NSUUID::initWithUUIDBytes(low->bytes())->hash(), low->hash());
  EXPECT_NE(Value(low), Value(high));
  EXPECT_NE(Value(low), Value(low->UUIDString()));
  EXPECT_EQ(low->compare(high), NSOrderedAscending);
  EXPECT_EQ(Value(high).compare(low), NSOrderedDescending);
  EXPECT_EQ(low->compare(low), NSOrderedSame);
  EXPECT_EQ(testing::raisedName([&] { low->compare(nullptr); }), NSInvalidArgumentException);
}

TEST(NSUUID, LogsNameTheConcreteClass) {
  EXPECT_EQ(NSUUID::UUID()->class_().name(), "__NSConcreteUUID");
  EXPECT_TRUE(isKindOf<NSUUID>(Value(NSUUID::UUID())));
}

}  // namespace
}  // namespace JNFoundation
