#include <atomic>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>

#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/dispatch/NSTimer.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/testing/RunLoopTesting.h>
#include <JNFoundation/testing/TestMainThread.h>

namespace JNFoundation {
namespace {

class RunLoopTestingTest : public ::testing::Test {
 protected:
  TestMainThread main;
  MainQueue& queue = main.queue();
  TestClock& clock = main.clock();
};

// runUntilIdle

TEST_F(RunLoopTestingTest, WhatFollowsFromATaskIsRunToo) {
  int depth = 0;
  Block<void()> next;
  next = [&] {
    if (++depth < 100) queue.async(next);
  };
  queue.async(next);
  EXPECT_EQ(depth, 0);
  EXPECT_TRUE(runUntilIdle());
  EXPECT_EQ(depth, 100);
  EXPECT_TRUE(queue.isIdle());
}

TEST_F(RunLoopTestingTest, NoTimePassesUntilIdle) {
  bool ran = false;
  queue.after(1e-9, [&] { ran = true; });
  EXPECT_TRUE(runUntilIdle());
  EXPECT_FALSE(ran);
  EXPECT_EQ(clock.elapsed(), 0);
}

TEST_F(RunLoopTestingTest, TimersThatAreDueFire) {
  bool fired = false;
  NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(1, false,
                                                      [&](const Ref<NSTimer>&) { fired = true; });
  clock.clock().advance(0.5);
  EXPECT_TRUE(runUntilIdle());
  EXPECT_FALSE(fired);
  clock.clock().advance(0.5);
  EXPECT_TRUE(runUntilIdle());
  EXPECT_TRUE(fired);
}

TEST_F(RunLoopTestingTest, TurnsThatAreNotEnoughAreReported) {
  int ran = 0;
  Block<void()> again;
  again = [&] {
    ++ran;
    queue.async(again);
  };
  queue.async(again);
  EXPECT_FALSE(runUntilIdle(7));
  EXPECT_EQ(ran, 7);
  again = [] {};
}

TEST_F(RunLoopTestingTest, IdleIsReachedFromInsideATaskAndATimer) {
  bool inTask = false, inTimer = false, ran = false;
  queue.async([&] { inTask = runUntilIdle(); });
  queue.async([&] { ran = true; });
  NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(
      1, true, [&](const Ref<NSTimer>&) { inTimer = runUntilIdle(); });
  clock.advance(1);
  EXPECT_TRUE(inTask);
  EXPECT_TRUE(ran);
  EXPECT_TRUE(inTimer);
}

TEST_F(RunLoopTestingTest, IdleIsReachedInsideARunOfAnotherMode) {
  bool inMode = false;
  int fired = 0;
  const Ref<NSTimer> timer =
      NSTimer::timerWithTimeIntervalRepeatsBlock(1, true, [&](const Ref<NSTimer>&) { ++fired; });
  const Ref<NSRunLoop> loop = NSRunLoop::currentRunLoop();
  loop->addTimerForMode(timer, "tracking");
  queue.async([&] {
    clock.clock().advance(1);
    inMode = runUntilIdle();
  });
  loop->runModeBeforeDate("tracking", NSDate::distantPast());
  EXPECT_TRUE(inMode);
  EXPECT_EQ(fired, 1);
}

TEST_F(RunLoopTestingTest, AnExceptionOutOfATaskPassesAndTheOthersStay) {
  bool ran = false;
  queue.async([] { throw std::runtime_error("task"); });
  queue.async([&] { ran = true; });
  EXPECT_THROW(runUntilIdle(), std::runtime_error);
  EXPECT_FALSE(ran);
  EXPECT_TRUE(runUntilIdle());
  EXPECT_TRUE(ran);
}

// pollUntil

TEST_F(RunLoopTestingTest, AConditionThatHoldsRunsNothing) {
  bool ran = false;
  queue.async([&] { ran = true; });
  EXPECT_TRUE(pollUntil([] { return true; }, 0));
  EXPECT_FALSE(ran);
}

TEST_F(RunLoopTestingTest, TheConditionIsAskedAfterEachTurn) {
  int tasks = 0;
  for (int i = 0; i < 3; ++i) queue.after(i + 1, [&] { ++tasks; });
  EXPECT_TRUE(pollUntil([&] { return tasks == 2; }, 10));
  EXPECT_EQ(tasks, 2);
  EXPECT_EQ(clock.elapsed(), 2);
}

TEST_F(RunLoopTestingTest, ATimerMayBringItAbout) {
  bool fired = false;
  NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(3, true,
                                                      [&](const Ref<NSTimer>&) { fired = true; });
  EXPECT_TRUE(pollUntil([&] { return fired; }, 10));
  EXPECT_EQ(clock.elapsed(), 3);
}

TEST_F(RunLoopTestingTest, ItEndsWhenTheSecondsHavePassed) {
  EXPECT_FALSE(pollUntil([] { return false; }, 4));
  EXPECT_EQ(clock.elapsed(), 4);
  EXPECT_FALSE(pollUntil([] { return false; }, 0));
  EXPECT_FALSE(pollUntil([] { return false; }, -1));
  EXPECT_EQ(clock.elapsed(), 4);
}

TEST(PollUntil, WaitsForAnotherThreadOnTheSystemsClock) {
  const MainQueueScope scope;
  std::atomic<bool> arrived{false};
  std::thread thread([&] { MainQueue::current().async([&] { arrived = true; }); });
  EXPECT_TRUE(pollUntil([&] { return arrived.load(); }, 60));
  thread.join();
}

using RunLoopTestingDeathTest = RunLoopTestingTest;

TEST_F(RunLoopTestingDeathTest, OtherThreadsAndMissingConditionsAreRefused) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(std::thread([] { runUntilIdle(); }).join(), "runUntilIdle belongs");
  EXPECT_DEATH(std::thread([] { pollUntil([] { return true; }, 0); }).join(), "pollUntil belongs");
  EXPECT_DEATH(pollUntil(nullptr, 0), "must not be null");
}

}  // namespace
}  // namespace JNFoundation
