#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <unordered_map>

#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation {
namespace {

NSTimeInterval stopped() noexcept { return 1'000.5; }

TEST(NSDate, CountsFromEitherEpoch) {
  EXPECT_EQ(NSDate::dateWithTimeIntervalSince1970(12.5).timeIntervalSince1970(), 12.5);
  EXPECT_EQ(NSDate::dateWithTimeIntervalSinceReferenceDate(0).timeIntervalSince1970(), 978307200);
  EXPECT_EQ(NSDate::dateWithTimeIntervalSinceReferenceDate(0).description()->utf8(),
            "2001-01-01 00:00:00 +0000");
}

TEST(NSDate, ReadsTheClock) {
  const double before = NSDate::date().timeIntervalSince1970();
  EXPECT_GT(before, 1.4e9) << "long after 1970";
  EXPECT_GE(NSDate::date().timeIntervalSince1970(), before - 1);
}

TEST(NSDate, ReadsAnotherClockThatIsSet) {
  const NSDate::TimeSource before = NSDate::setTimeSource(&stopped);
  EXPECT_EQ(NSDate::date().timeIntervalSince1970(), 1'000.5);
  EXPECT_EQ(NSDate::dateWithTimeIntervalSinceNow(-0.5).timeIntervalSince1970(), 1'000);
  EXPECT_EQ(NSDate::setTimeSource(nullptr), &stopped);
  EXPECT_GT(NSDate::date().timeIntervalSince1970(), 1.4e9);
  NSDate::setTimeSource(before);
}

TEST(NSDate, DistantOnesAreReadable) {
  EXPECT_EQ(NSDate::distantPast().description()->utf8(), "0001-01-01 00:00:00 +0000");
  EXPECT_EQ(NSDate::distantFuture().description()->utf8(), "4001-01-01 00:00:00 +0000");
  EXPECT_EQ(NSDate::distantPast().compare(NSDate::distantFuture()), NSOrderedAscending);
}

TEST(NSDate, DescriptionsRoundDownToSeconds) {
  EXPECT_EQ(NSDate::dateWithTimeIntervalSince1970(1456835400.9).description()->utf8(),
            "2016-03-01 12:30:00 +0000");
  EXPECT_EQ(NSDate::dateWithTimeIntervalSince1970(-0.5).description()->utf8(),
            "1969-12-31 23:59:59 +0000");
}

TEST(NSDate, IsAKeyOfItsInstant) {
  std::unordered_map<Value, int> table;
  table[NSDate::dateWithTimeIntervalSince1970(5)] = 1;
  table[5] = 2;
  EXPECT_EQ(table.size(), 2u) << "a date is no number";
  EXPECT_EQ(table.at(NSDate::dateWithTimeIntervalSince1970(5)), 1);
  EXPECT_FALSE(isKindOf<NSDate>(Value(5)));
  EXPECT_TRUE(isKindOf<NSDate>(NSDate::date()));
}

}  // namespace
}  // namespace JNFoundation
