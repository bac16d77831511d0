#include <random>
#include <thread>

#include "MainThreadFixture.h"

#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/dispatch/NSTimer.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/Weak.h>

namespace JNFoundation {
namespace {

class RunLoopTest : public MainThreadFixture {
 protected:
  Ref<NSTimer> timer(NSTimeInterval interval, bool repeats, std::string word) {
    return NSTimer::timerWithTimeIntervalRepeatsBlock(
        interval, repeats,
        [this, word = std::move(word)](const Ref<NSTimer>&) { record.push_back(word); });
  }

  Ref<NSRunLoop> loop = NSRunLoop::currentRunLoop();
};

TEST_F(RunLoopTest, ARunEndsWhenTasksWereRun) {
  queue.async(recording("task"));
  EXPECT_TRUE(
      loop->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::dateWithTimeIntervalSinceNow(9)));
  EXPECT_EQ(record, Words{"task"});
  EXPECT_EQ(elapsed(), 0);
}

TEST_F(RunLoopTest, TimersFireButDoNotEndARun) {
  loop->addTimerForMode(timer(1, true, "tick"), NSDefaultRunLoopMode);
  loop->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::dateWithTimeIntervalSinceNow(3.5));
  EXPECT_EQ(record, (Words{"tick", "tick", "tick"}));
  EXPECT_EQ(elapsed(), 3.5);
}

TEST_F(RunLoopTest, ATaskPostedByATimerEndsTheRun) {
  loop->addTimerForMode(NSTimer::timerWithTimeIntervalRepeatsBlock(
                            1, false, [&](const Ref<NSTimer>&) { queue.async(recording("task")); }),
                        NSDefaultRunLoopMode);
  loop->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::dateWithTimeIntervalSinceNow(9));
  EXPECT_EQ(record, Words{"task"});
  EXPECT_EQ(elapsed(), 1);
}

TEST_F(RunLoopTest, APastDateRunsWhatIsReadyWithoutWaiting) {
  loop->addTimerForMode(timer(1, false, "due"), NSDefaultRunLoopMode);
  loop->addTimerForMode(timer(2, false, "not due"), NSDefaultRunLoopMode);
  clock.advance(1);
  queue.async(recording("task"));
  EXPECT_TRUE(
      loop->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::dateWithTimeIntervalSinceNow(-1)));
  EXPECT_EQ(record, (Words{"task", "due"}));
  EXPECT_EQ(elapsed(), 1);
  EXPECT_TRUE(loop->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::date()));
  EXPECT_EQ(record.size(), 2u);
}

TEST_F(RunLoopTest, WithoutAnythingToDoARunWaitsUntilItsDate) {
  EXPECT_TRUE(
      loop->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::dateWithTimeIntervalSinceNow(4)));
  EXPECT_EQ(elapsed(), 4);
}

TEST_F(RunLoopTest, AWaitInALoopOfRunsEndsForEveryDate) {
  // What a wait for an outcome does. It must not turn for ever because the date, a double, lies a
  // hair beyond the moment that the clock jumped to.
  std::mt19937_64 random(20240517);
  for (int i = 0; i < 5000; ++i) {
    const double seconds = std::uniform_real_distribution<double>(0, 10)(random);
    const double deadline = clock.now() + seconds;
    int runs = 0;
    while (deadline - clock.now() > 0) {
      ASSERT_LT(++runs, 3) << seconds;
      loop->runModeBeforeDate(NSDefaultRunLoopMode,
                              NSDate::dateWithTimeIntervalSince1970(deadline));
    }
    ASSERT_LT(clock.now() - deadline, 1e-5);
  }
}

TEST_F(RunLoopTest, RunUntilDateGoesOnAfterTasks) {
  queue.async(recording("first"));
  queue.after(1, recording("second"));
  queue.after(3, recording("too late"));
  loop->runUntilDate(NSDate::dateWithTimeIntervalSinceNow(2));
  EXPECT_EQ(record, (Words{"first", "second"}));
  EXPECT_EQ(elapsed(), 2);
}

TEST_F(RunLoopTest, StopEndsARunWithoutADate) {
  queue.async(recording("before"));
  queue.after(1, [&] {
    record.push_back("stops");
    loop->stop();
  });
  queue.after(2, recording("after"));
  loop->run();
  EXPECT_EQ(record, (Words{"before", "stops"}));
}

TEST_F(RunLoopTest, StopComesThroughFromAnotherThread) {
  std::thread stopper([loop = loop] { loop->stop(); });
  loop->run();
  stopper.join();
}

TEST_F(RunLoopTest, StopEndsOnlyTheInnermostRun) {
  bool outerWentOn = false;
  queue.async([&] {
    queue.async([&] { loop->stop(); });
    loop->run();
    record.push_back("inner run ended");
    queue.async([&] {
      outerWentOn = true;
      loop->stop();
    });
  });
  loop->run();
  EXPECT_EQ(record, Words{"inner run ended"});
  EXPECT_TRUE(outerWentOn);
}

TEST_F(RunLoopTest, TheModeIsThatOfTheInnermostRun) {
  std::vector<Value> modes;
  queue.async([&] {
    modes.push_back(loop->currentMode());
    queue.async([&] { modes.push_back(loop->currentMode()); });
    loop->runModeBeforeDate("panel", NSDate::distantFuture());
    modes.push_back(loop->currentMode());
  });
  EXPECT_EQ(loop->currentMode(), nullptr);
  turn();
  EXPECT_EQ(modes, (std::vector<Value>{NSDefaultRunLoopMode, "panel", NSDefaultRunLoopMode}));
  EXPECT_EQ(loop->currentMode(), nullptr);
}

TEST_F(RunLoopTest, TheModeIsRestoredWhenATaskThrows) {
  queue.async([] { throw 1; });
  EXPECT_THROW(loop->runModeBeforeDate("panel", NSDate::distantPast()), int);
  EXPECT_EQ(loop->currentMode(), nullptr);
}

TEST_F(RunLoopTest, TimersFireInTheirModesOnly) {
  const Ref<NSTimer> both = timer(1, true, "both");
  loop->addTimerForMode(timer(1, true, "default"), NSDefaultRunLoopMode);
  loop->addTimerForMode(timer(1, true, "panel"), "panel");
  loop->addTimerForMode(both, NSDefaultRunLoopMode);
  loop->addTimerForMode(both, "panel");
  loop->addTimerForMode(timer(1, true, "common"), NSRunLoopCommonModes);
  loop->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::dateWithTimeIntervalSinceNow(1));
  EXPECT_EQ(record, (Words{"default", "both", "common"}));
  record.clear();
  // The one of the panel is late, and the others come round again.
  loop->runModeBeforeDate("panel", NSDate::dateWithTimeIntervalSinceNow(1));
  EXPECT_EQ(record, (Words{"panel", "panel", "both", "common"}));
}

TEST_F(RunLoopTest, TheLimitDateIsThatOfTheNextTimer) {
  EXPECT_EQ(loop->limitDateForMode(NSDefaultRunLoopMode), NSDate::distantFuture());
  const Ref<NSTimer> due = timer(1, false, "due");
  const Ref<NSTimer> next = timer(3, false, "next");
  loop->addTimerForMode(next, NSDefaultRunLoopMode);
  loop->addTimerForMode(due, NSDefaultRunLoopMode);
  clock.advance(1);
  EXPECT_EQ(loop->limitDateForMode(NSDefaultRunLoopMode), next->fireDate());
  EXPECT_EQ(record, Words{"due"});
}

TEST_F(RunLoopTest, OnlyDatesLimitARun) {
  EXPECT_THROW(loop->runModeBeforeDate(NSDefaultRunLoopMode, nullptr), Raised);
  EXPECT_THROW(loop->runUntilDate(5), Raised);
}

TEST_F(RunLoopTest, ATimerIsInOneLoopOnly) {
  const Ref<NSTimer> shared = timer(1, false, "fired");
  loop->addTimerForMode(shared, NSDefaultRunLoopMode);
  std::thread([&] {
    EXPECT_THROW(NSRunLoop::currentRunLoop()->addTimerForMode(shared, NSDefaultRunLoopMode),
                 Raised);
  }).join();
  EXPECT_THROW(loop->addTimerForMode(nullptr, NSDefaultRunLoopMode), Raised);
  EXPECT_THROW(loop->addTimerForMode(shared, nullptr), Raised);
}

TEST_F(RunLoopTest, AddingATimerTwiceFiresItOnce) {
  const Ref<NSTimer> once = timer(1, true, "once");
  loop->addTimerForMode(once, NSDefaultRunLoopMode);
  loop->addTimerForMode(once, NSDefaultRunLoopMode);
  loop->addTimerForMode(once, NSRunLoopCommonModes);
  runFor(1);
  EXPECT_EQ(record, Words{"once"});
}

TEST_F(RunLoopTest, EveryThreadHasItsOwnLoop) {
  EXPECT_EQ(loop, NSRunLoop::mainRunLoop());
  std::thread([&] {
    const Ref<NSRunLoop> own = NSRunLoop::currentRunLoop();
    EXPECT_FALSE(own == loop);
    EXPECT_EQ(own, NSRunLoop::currentRunLoop());
    EXPECT_EQ(NSRunLoop::mainRunLoop(), loop);
  }).join();
}

TEST_F(RunLoopTest, OtherThreadsDoNotServeTheMainQueue) {
  queue.async(recording("task"));
  std::thread([] {
    const double deadline = Clock::current().now() + 2;
    NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode,
                                                   NSDate::dateWithTimeIntervalSince1970(deadline));
    EXPECT_GE(Clock::current().now(), deadline);
  }).join();
  EXPECT_EQ(record, Words{});
  turn();
  EXPECT_EQ(record, Words{"task"});
}

TEST_F(RunLoopTest, TimersOfAnotherThreadFireThereAndGoWithIt) {
  Ref<NSTimer> timer;
  Weak<ReleaseProbe> weak;
  int fired = 0;
  std::thread([&] {
    const auto thread = std::this_thread::get_id();
    auto probe = makeObject<ReleaseProbe>();
    weak = probe;
    timer = NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(
        0.25, true, [&, probe, thread](const Ref<NSTimer>&) {
          EXPECT_EQ(std::this_thread::get_id(), thread);
          ++fired;
        });
    NSRunLoop::currentRunLoop()->runUntilDate(NSDate::dateWithTimeIntervalSinceNow(1));
    EXPECT_TRUE(timer->isValid());
  }).join();
  EXPECT_EQ(fired, 4);
  EXPECT_FALSE(timer->isValid());
  EXPECT_EQ(weak.load(), nullptr);
}

TEST_F(RunLoopTest, ARunOnAnotherThreadCanBeStopped) {
  Ref<NSRunLoop> other;
  std::atomic<bool> isKnown{false};
  std::thread runner([&] {
    other = NSRunLoop::currentRunLoop();
    isKnown = true;
    isKnown.notify_one();
    NSRunLoop::currentRunLoop()->run();
  });
  isKnown.wait(false);
  other->stop();
  runner.join();
  // The thread has ended, and so has its loop.
  other->stop();
}

TEST(RunLoopDeathTest, AnotherThreadMayNotUseALoop) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(std::thread([] { NSRunLoop::mainRunLoop()->run(); }).join(), "belong to one thread");
  EXPECT_DEATH(
      {
        const auto timer = NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(
            1, true, [](const Ref<NSTimer>&) {});
        std::thread([&] { timer->invalidate(); }).join();
      },
      "belong to one thread");
}

TEST(RunLoop, WaitsByTheSystemClockToo) {
  MainQueueScope scope;
  const Value date = NSDate::dateWithTimeIntervalSinceNow(0.002);
  NSRunLoop::currentRunLoop()->runUntilDate(date);
  EXPECT_GE(Clock::current().now(), date.timeIntervalSince1970() - 1e-5);
  // A task that comes while the wait is on ends it, long before its date.
  bool ran = false;
  std::thread poster([&] { dispatch_async_main([&] { ran = true; }); });
  NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode,
                                                 NSDate::dateWithTimeIntervalSinceNow(3600));
  poster.join();
  EXPECT_TRUE(ran);
}

}  // namespace
}  // namespace JNFoundation
