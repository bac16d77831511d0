#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/dispatch/NSTimer.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/testing/TestClock.h>
#include <JNFoundation/testing/TestMainThread.h>

namespace JNFoundation {
namespace {

class TestClockTest : public ::testing::Test {
 protected:
  using Words = std::vector<std::string>;

  auto recording(std::string word) {
    return [this, word = std::move(word)] {
      record.push_back(word + " at " + std::to_string(std::lround(clock.elapsed() * 1000)));
    };
  }
  Words happened() { return std::exchange(record, {}); }

  Words record;
  TestMainThread main;
  TestClock& clock = main.clock();
};

TEST_F(TestClockTest, StandsStillUntilItIsMoved) {
  EXPECT_EQ(clock.elapsed(), 0);
  const Value date = NSDate::date();
  EXPECT_EQ(date.timeIntervalSince1970(), 1000000000);
  clock.advance(2.5);
  EXPECT_EQ(clock.elapsed(), 2.5);
  EXPECT_EQ(NSDate::date().timeIntervalSince1970(), 1000000002.5);
}

TEST_F(TestClockTest, StartsAtTheDateThatItIsGiven) {
  const TestClock other(86400);
  EXPECT_EQ(NSDate::date().timeIntervalSince1970(), 86400);
}

TEST_F(TestClockTest, GivesTheTimeBackWhenItGoes) {
  const NSTimeInterval before = NSDate::date().timeIntervalSince1970();
  {
    TestClock other(5);
    other.advance(100);
  }
  EXPECT_EQ(NSDate::date().timeIntervalSince1970(), before);
}

TEST_F(TestClockTest, DelaysAndTimersRunAtTheirOwnMomentsOnTheWay) {
  main.queue().after(3, recording("delay"));
  main.queue().after(1, recording("delay"));
  NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(
      2, true, [note = recording("timer")](const Ref<NSTimer>&) { note(); });
  clock.advance(0.999999999);
  EXPECT_EQ(happened(), Words{});
  clock.advance(5);
  EXPECT_EQ(happened(),
            (Words{"delay at 1000", "timer at 2000", "delay at 3000", "timer at 4000"}));
}

TEST_F(TestClockTest, WhatComesDueAtTheEndRunsAndWhatFollowsFromItToo) {
  main.queue().after(1, [&] {
    recording("first")();
    main.queue().async(recording("posted"));
    main.queue().after(0, recording("at once"));
    main.queue().after(0.5, recording("later"));
  });
  clock.advance(1);
  EXPECT_EQ(happened(), (Words{"first at 1000", "posted at 1000", "at once at 1000"}));
  clock.advance(0.5);
  EXPECT_EQ(happened(), Words{"later at 1500"});
}

TEST_F(TestClockTest, ADelayAskedForOnTheWayRunsOnTheWay) {
  main.queue().after(1, [&] {
    recording("outer")();
    main.queue().after(1, recording("inner"));
  });
  clock.advance(2.5);
  EXPECT_EQ(happened(), (Words{"outer at 1000", "inner at 2000"}));
}

TEST_F(TestClockTest, WhatIsReadyRunsBeforeTimePasses) {
  main.queue().async(recording("ready"));
  clock.advance(7);
  EXPECT_EQ(happened(), Words{"ready at 0"});
}

TEST_F(TestClockTest, NanosecondsAreNotLost) {
  main.queue().after(3e-9, recording("tiny"));
  clock.advance(2e-9);
  EXPECT_EQ(happened(), Words{});
  clock.advance(1e-9);
  EXPECT_EQ(happened(), Words{"tiny at 0"});
}

TEST_F(TestClockTest, IdleIsReachedWhenNoDelayIsLeft) {
  main.queue().after(10, [&] {
    recording("first")();
    main.queue().after(20, recording("second"));
  });
  EXPECT_TRUE(clock.advanceUntilIdle());
  EXPECT_EQ(happened(), (Words{"first at 10000", "second at 30000"}));
  EXPECT_EQ(clock.elapsed(), 30);
  EXPECT_TRUE(clock.advanceUntilIdle());
  EXPECT_EQ(clock.elapsed(), 30) << "nothing moves the clock when nothing waits";
}

TEST_F(TestClockTest, ARepeatingTimerIsNeverIdle) {
  int fired = 0;
  const Ref<NSTimer> timer = NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(
      1, true, [&](const Ref<NSTimer>&) { ++fired; });
  EXPECT_FALSE(clock.advanceUntilIdle(5));
  EXPECT_EQ(fired, 5);
  timer->invalidate();
  EXPECT_TRUE(clock.advanceUntilIdle(5));
}

TEST_F(TestClockTest, TasksThatPostEachOtherWithoutEndAreGivenUp) {
  Block<void()> again;
  again = [&] { main.queue().async(again); };
  again();
  EXPECT_FALSE(clock.advanceUntilIdle());
  EXPECT_EQ(clock.elapsed(), 0);
  again = [] {};
}

TEST_F(TestClockTest, ALoopThatWouldBlockJumpsInstead) {
  main.queue().after(3600, recording("hour"));
  NSRunLoop::currentRunLoop()->runUntilDate(NSDate::dateWithTimeIntervalSinceNow(7200));
  EXPECT_EQ(happened(), Words{"hour at 3600000"});
  EXPECT_EQ(clock.elapsed(), 7200);
}

TEST_F(TestClockTest, MovingItByHandRunsNothing) {
  main.queue().after(1, recording("due"));
  clock.clock().advance(5);
  EXPECT_EQ(happened(), Words{});
  clock.advance(0);
  EXPECT_EQ(happened(), Words{"due at 5000"});
}

TEST_F(TestClockTest, MayBeMovedFromInsideAHandler) {
  main.queue().async([&] {
    clock.advance(2);
    recording("outer")();
  });
  main.queue().after(1, recording("inner"));
  clock.advance(0);
  EXPECT_EQ(happened(), (Words{"inner at 1000", "outer at 2000"}));
}

TEST_F(TestClockTest, DrivesTimeOutsOfDeferreds) {
  const Ref<PLVDeferred> limited = PLVDeferred::init()->timeout(5);
  clock.advance(4.9);
  EXPECT_FALSE(limited->isResolved());
  clock.advance(0.1);
  EXPECT_TRUE(limited->isResolved());
}

// The main thread

TEST(TestMainThread, HasAQueueOfItsOwnThatStartsEmpty) {
  bool ran = false;
  MainQueueScope outer;
  outer.queue().async([&] { ran = true; });
  {
    TestMainThread main;
    EXPECT_EQ(&main.queue(), &MainQueue::current());
    EXPECT_TRUE(MainQueue::isMainThread());
    main.clock().advance(1);
    EXPECT_FALSE(ran);
  }
  EXPECT_EQ(&outer.queue(), &MainQueue::current());
  NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantPast());
  EXPECT_TRUE(ran);
}

TEST(TestMainThread, ReleasesWhatIsLeftWithoutRunningIt) {
  bool ran = false;
  Weak<PLVDeferred> weak;
  {
    TestMainThread main;
    const Ref<PLVDeferred> kept = PLVDeferred::init();
    weak = kept;
    main.queue().after(1, [&ran, kept] { ran = true; });
  }
  EXPECT_FALSE(ran);
  EXPECT_FALSE(weak.load());
}

}  // namespace
}  // namespace JNFoundation
