#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

#include <JNFoundation/platform/dispatch/Clock.h>
#include <JNFoundation/platform/dispatch/ManualClock.h>
#include <JNFoundation/platform/value/NSDate.h>

namespace JNFoundation {
namespace {

constexpr Nanoseconds earliest = std::numeric_limits<Nanoseconds>::min();

TEST(Nanoseconds, AreTheNearestWholeNumber) {
  EXPECT_EQ(nanosecondsFromSeconds(0.1), 100000000);
  EXPECT_EQ(nanosecondsFromSeconds(1e-9), 1);
  EXPECT_EQ(nanosecondsFromSeconds(0.4e-9), 0);
  EXPECT_EQ(nanosecondsFromSeconds(-2.5), -2500000000);
}

TEST(Nanoseconds, StopAtTheEndsOfTheirRange) {
  EXPECT_EQ(nanosecondsFromSeconds(1e300), never);
  EXPECT_EQ(nanosecondsFromSeconds(-1e300), earliest);
  EXPECT_EQ(nanosecondsFromSeconds(std::numeric_limits<double>::infinity()), never);
  EXPECT_EQ(nanosecondsFromSeconds(std::nan("")), 0);
  EXPECT_EQ(saturatingSum(never, 1), never);
  EXPECT_EQ(saturatingSum(never, never), never);
  EXPECT_EQ(saturatingSum(never, -1), never - 1);
  EXPECT_EQ(saturatingSum(earliest, -1), earliest);
  EXPECT_EQ(saturatingSum(earliest, never), -1);
  EXPECT_EQ(saturatingSum(2, -5), -3);
}

TEST(SystemClock, AgreesWithDatesAndNeverGoesBack) {
  Clock& clock = Clock::current();
  const double before = NSDate::date().timeIntervalSince1970();
  const double now = clock.now();
  const double after = NSDate::date().timeIntervalSince1970();
  EXPECT_LE(before, now + 1e-3);
  EXPECT_LE(now, after + 1e-3);
  Nanoseconds last = clock.monotonic();
  for (int i = 0; i < 1000; ++i) {
    const Nanoseconds next = clock.monotonic();
    ASSERT_GE(next, last);
    last = next;
  }
}

TEST(SystemClock, FindsTheMomentOfADate) {
  Clock& clock = Clock::current();
  const Nanoseconds inAnHour = clock.momentOfDate(clock.now() + 3600);
  EXPECT_NEAR(static_cast<double>(inAnHour - clock.monotonic()) / 1e9, 3600, 1);
  EXPECT_EQ(clock.momentOfDate(NSDate::distantFuture().timeIntervalSince1970()), never);
}

TEST(ClockScope, ReplacesTheClockForDatesTooUntilItsEnd) {
  Clock& before = Clock::current();
  {
    ManualClock clock(5000);
    ClockScope scope(clock);
    EXPECT_EQ(&Clock::current(), &clock);
    EXPECT_EQ(NSDate::date(), NSDate::dateWithTimeIntervalSince1970(5000));
    {
      ManualClock inner(6000);
      ClockScope innerScope(inner);
      EXPECT_EQ(NSDate::date(), NSDate::dateWithTimeIntervalSince1970(6000));
    }
    clock.advance(2.5);
    EXPECT_EQ(NSDate::date(), NSDate::dateWithTimeIntervalSince1970(5002.5));
  }
  EXPECT_EQ(&Clock::current(), &before);
  EXPECT_GT(NSDate::date().timeIntervalSince1970(), 1e9);
}

TEST(ManualClock, StandsStillUntilMoved) {
  ManualClock clock;
  EXPECT_EQ(clock.now(), 1000000000);
  EXPECT_EQ(clock.monotonic(), 0);
  clock.advance(0.1);
  clock.advance(0.2);
  EXPECT_EQ(clock.monotonic(), 300000000);
  EXPECT_EQ(clock.now(), 1000000000.3);
}

TEST(ManualClock, FindsTheExactMomentOfADateThatWasComputedFromIt) {
  ManualClock clock;
  clock.advance(12.345678);
  for (const double seconds : {0.1, 0.3, 1.0 / 8, 2.7, 1e-6, 86400.000001}) {
    EXPECT_EQ(clock.momentOfDate(clock.now() + seconds), clock.momentAfter(seconds)) << seconds;
  }
}

TEST(ManualClock, HasReachedADateAtItsMoment) {
  const unsigned seed = 7;
  std::mt19937_64 random(seed);
  for (int i = 0; i < 100000; ++i) {
    ManualClock clock;
    const double date = clock.now() + std::uniform_real_distribution<double>(0, 1e5)(random);
    const Nanoseconds moment = clock.momentOfDate(date);
    clock.advance(static_cast<double>(moment) / 1e9);
    ASSERT_EQ(clock.monotonic(), moment);
    ASSERT_NEAR(clock.now(), date, 1e-6) << "seed " << seed;
    // What is left of the way, if anything, is a moment to come.
    if (clock.now() < date) {
      clock.advance(static_cast<double>(clock.momentOfDate(date) - moment) / 1e9);
      ASSERT_GE(clock.now(), date) << "seed " << seed;
    }
  }
}

TEST(ManualClock, TakesDatesFromEndToEnd) {
  ManualClock clock;
  EXPECT_EQ(clock.momentOfDate(NSDate::distantFuture().timeIntervalSince1970()), never);
  EXPECT_EQ(clock.momentOfDate(NSDate::distantPast().timeIntervalSince1970()), earliest);
}

}  // namespace
}  // namespace JNFoundation
