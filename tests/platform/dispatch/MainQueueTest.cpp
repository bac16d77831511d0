#include <array>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <thread>

#include "MainThreadFixture.h"

#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/dispatch/NSTimer.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation {
namespace {

class MainQueueTest : public MainThreadFixture {};

TEST_F(MainQueueTest, TasksRunInTheOrderOfPostingOnceTheLoopRuns) {
  queue.async(recording("first"));
  dispatch_async_main(recording("second"));
  queue.async(recording("third"));
  EXPECT_EQ(record, Words{});
  turn();
  EXPECT_EQ(record, (Words{"first", "second", "third"}));
  turn();
  EXPECT_EQ(record.size(), 3u);
}

TEST_F(MainQueueTest, ATaskPostedByATaskRunsInTheNextTurn) {
  queue.async([&] {
    record.push_back("outer");
    queue.async(recording("inner"));
  });
  queue.async(recording("beside"));
  turn();
  EXPECT_EQ(record, (Words{"outer", "beside"}));
  turn();
  EXPECT_EQ(record, (Words{"outer", "beside", "inner"}));
}

TEST_F(MainQueueTest, ATaskThatPostsItselfAgainDoesNotStarveTimers) {
  int turns = 0;
  bool fired = false;
  Block<void()> again;
  again = [&] {
    ++turns;
    clock.advance(0.01);
    if (!fired) queue.async(again);
  };
  queue.async(again);
  NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(0.1, false,
                                                      [&](const Ref<NSTimer>&) { fired = true; });
  while (!fired && turns < 1000) waitForTasks();
  EXPECT_EQ(turns, 10);
}

TEST_F(MainQueueTest, IsIdleWhileATurnWouldRunNothing) {
  EXPECT_TRUE(queue.isIdle());
  EXPECT_EQ(queue.nextDeadline(), never);
  queue.async([&] {
    EXPECT_FALSE(queue.isIdle()) << "the task behind";
    record.push_back("first");
  });
  queue.async([&] { EXPECT_TRUE(queue.isIdle()); });
  EXPECT_FALSE(queue.isIdle());
  turn();
  EXPECT_EQ(record, Words{"first"});
  EXPECT_TRUE(queue.isIdle());
}

TEST_F(MainQueueTest, IsNotIdleOnceADelayOrATimerHasComeDue) {
  queue.after(2, recording("delay"));
  const Ref<NSTimer> timer = NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(
      1, true, [&](const Ref<NSTimer>&) { EXPECT_TRUE(queue.isIdle()) << "while it fires"; });
  const Ref<NSTimer> other =
      NSTimer::timerWithTimeIntervalRepeatsBlock(0.5, true, [](const Ref<NSTimer>&) {});
  NSRunLoop::currentRunLoop()->addTimerForMode(other, "tracking");
  EXPECT_TRUE(queue.isIdle());
  EXPECT_EQ(queue.nextDeadline(), 1'000'000'000) << "the timer of another mode does not count";
  clock.advance(1);
  EXPECT_FALSE(queue.isIdle());
  EXPECT_EQ(queue.nextDeadline(), 1'000'000'000) << "it stays until it was served";
  turn();
  EXPECT_TRUE(queue.isIdle());
  timer->invalidate();
  EXPECT_EQ(queue.nextDeadline(), 2'000'000'000);
  clock.advance(1);
  EXPECT_FALSE(queue.isIdle());
  turn();
  EXPECT_EQ(record, Words{"delay"});
  EXPECT_EQ(queue.nextDeadline(), never);
  other->invalidate();
}

TEST_F(MainQueueTest, ANestedRunGoesOnWithTheVeryNextTask) {
  queue.async([&] {
    record.push_back("1 begins");
    queue.async(recording("4"));
    turn();
    record.push_back("1 ends");
  });
  queue.async(recording("2"));
  queue.async(recording("3"));
  turn();
  EXPECT_EQ(record, (Words{"1 begins", "2", "3", "1 ends"}));
  waitForTasks();
  EXPECT_EQ(record.back(), "4");
}

TEST_F(MainQueueTest, ANestedRunTakesTheNextBatchWhenNoneIsInHand) {
  queue.async([&] {
    queue.async(recording("posted inside"));
    waitForTasks();
    record.push_back("outer ends");
  });
  turn();
  EXPECT_EQ(record, (Words{"posted inside", "outer ends"}));
}

TEST_F(MainQueueTest, ANestedWaitFindsTheNextTaskAtOnce) {
  queue.async([&] {
    NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode,
                                                   NSDate::dateWithTimeIntervalSinceNow(9));
    record.push_back("1 ends");
  });
  queue.async(recording("2"));
  turn();
  EXPECT_EQ(record, (Words{"2", "1 ends"}));
  EXPECT_EQ(elapsed(), 0);
}

TEST_F(MainQueueTest, RunsNestToAnyReasonableDepthInOrder) {
  constexpr int depth = 200;
  std::vector<int> began;
  std::vector<int> ended;
  for (int i = 0; i < depth; ++i) {
    queue.async([&, i] {
      began.push_back(i);
      turn();
      ended.push_back(i);
    });
  }
  turn();
  ASSERT_EQ(began.size(), std::size_t{depth});
  for (int i = 0; i < depth; ++i) {
    EXPECT_EQ(began[i], i);
    EXPECT_EQ(ended[i], depth - 1 - i);
  }
}

TEST_F(MainQueueTest, TheOuterTurnDoesNotRunBatchesThatANestedRunLeft) {
  // The nested runs take a second batch and stop in the middle of it; the turn that is unwound to
  // must not lose what is left of that, nor run it in the wrong turn.
  queue.async([&] {
    queue.async([] { throw std::runtime_error("stop"); });
    queue.async(recording("left"));
    EXPECT_THROW(turn(), std::runtime_error);
    record.push_back("outer ends");
  });
  turn();
  EXPECT_EQ(record, Words{"outer ends"});
  waitForTasks();
  EXPECT_EQ(record, (Words{"outer ends", "left"}));
}

TEST_F(MainQueueTest, AnExceptionPassesToWhoRunsTheLoopAndTheRestRunsInTheNextTurn) {
  queue.async(recording("before"));
  queue.async([] { throw std::runtime_error("out of a task"); });
  queue.async(recording("after 1"));
  queue.async([] { raise(NSGenericException, "raised in %@", "a task"); });
  queue.async(recording("after 2"));
  EXPECT_THROW(turn(), std::runtime_error);
  EXPECT_EQ(record, Words{"before"});
  queue.async(recording("posted later"));
  try {
    turn();
    FAIL() << "the exception did not pass";
  } catch (const Raised& raised) {
    EXPECT_STREQ(raised.what(), "raised in a task");
  }
  EXPECT_EQ(record, (Words{"before", "after 1"}));
  // Without a deadline: a wake-up lost with the exception would hang here.
  waitForTasks();
  EXPECT_EQ(record, (Words{"before", "after 1", "after 2"}));
  waitForTasks();
  EXPECT_EQ(record.back(), "posted later");
}

TEST_F(MainQueueTest, ATaskThatThrowsIsReleased) {
  auto probe = makeObject<ReleaseProbe>();
  queue.async([probe] { throw 1; });
  probe = nullptr;
  EXPECT_EQ(ReleaseProbe::alive, 1);
  EXPECT_THROW(turn(), int);
  EXPECT_EQ(ReleaseProbe::alive, 0);
}

TEST_F(MainQueueTest, ATaskIsReleasedBeforeTheNextRuns) {
  auto probe = makeObject<ReleaseProbe>();
  std::vector<int> alive;
  queue.async([probe, &alive] { alive.push_back(ReleaseProbe::alive); });
  probe = nullptr;
  queue.async([&alive] { alive.push_back(ReleaseProbe::alive); });
  turn();
  EXPECT_EQ(alive, (std::vector<int>{1, 0}));
}

TEST_F(MainQueueTest, AMillionTasksRunInOrder) {
  constexpr int count = 1000000;
  int next = 0;
  bool inOrder = true;
  for (int i = 0; i < count; ++i) {
    queue.async([&, i] { inOrder = inOrder && next++ == i; });
  }
  turn();
  EXPECT_EQ(next, count);
  EXPECT_TRUE(inOrder);
}

TEST_F(MainQueueTest, EachOfEightThreadsKeepsItsOrder) {
  constexpr int threads = 8;
  constexpr int perThread = 20000;
  std::array<int, threads> next{};
  int ran = 0;
  bool inOrder = true;
  bool onMainThread = true;
  std::vector<std::thread> posters;
  for (int thread = 0; thread < threads; ++thread) {
    posters.emplace_back([&, thread] {
      for (int i = 0; i < perThread; ++i) {
        MainQueue::current().async([&, thread, i] {
          onMainThread = onMainThread && MainQueue::isMainThread();
          inOrder = inOrder && next[thread]++ == i;
          ++ran;
        });
      }
    });
  }
  while (ran < threads * perThread) waitForTasks();
  for (std::thread& poster : posters) poster.join();
  EXPECT_TRUE(inOrder);
  EXPECT_TRUE(onMainThread);
  EXPECT_EQ(ran, threads * perThread);
}

TEST_F(MainQueueTest, TwoThreadsCanHandWorkToAndFro) {
  // Each task waits for the last to have run, so that every post finds the main thread asleep or
  // about to fall asleep.
  constexpr int rounds = 2000;
  std::atomic<int> done{0};
  std::thread poster([&] {
    for (int i = 0; i < rounds; ++i) {
      queue.async([&] {
        ++done;
        done.notify_one();
      });
      done.wait(i);
    }
  });
  while (done < rounds) waitForTasks();
  poster.join();
  EXPECT_EQ(done, rounds);
}

TEST_F(MainQueueTest, DelayedTasksRunAtTheirDeadlineAndNotBefore) {
  queue.after(1, recording("one"));
  dispatch_after_main(0.5, recording("half"));
  turn();
  clock.advance(0.499999999);
  turn();
  EXPECT_EQ(record, Words{});
  clock.advance(0.000000001);
  turn();
  EXPECT_EQ(record, Words{"half"});
  clock.advance(10);
  turn();
  EXPECT_EQ(record, (Words{"half", "one"}));
}

TEST_F(MainQueueTest, DelayedTasksWithEqualDeadlinesRunInTheOrderOfAsking) {
  std::vector<int> order;
  for (int i = 0; i < 100; ++i) queue.after(0.3, [&, i] { order.push_back(i); });
  clock.advance(0.1);
  for (int i = 100; i < 200; ++i) queue.after(0.2, [&, i] { order.push_back(i); });
  clock.advance(0.2);
  turn();
  ASSERT_EQ(order.size(), 200u);
  for (int i = 0; i < 200; ++i) EXPECT_EQ(order[i], i);
}

TEST_F(MainQueueTest, DelayedTasksRunInTheOrderOfTheirDeadlines) {
  queue.after(3, recording("3"));
  queue.after(1, recording("1"));
  queue.after(2, recording("2"));
  clock.advance(5);
  turn();
  EXPECT_EQ(record, (Words{"1", "2", "3"}));
}

TEST_F(MainQueueTest, ADelayedTaskGoesBehindWhatIsThere) {
  queue.after(1, recording("delayed"));
  clock.advance(1);
  queue.async(recording("there already"));
  turn();
  EXPECT_EQ(record, (Words{"there already", "delayed"}));
}

TEST_F(MainQueueTest, NoDelayOrLessIsTheEndOfTheQueue) {
  queue.async(recording("first"));
  queue.after(0, recording("none"));
  queue.after(-5, recording("negative"));
  queue.after(std::nan(""), recording("not a number"));
  queue.after(-std::numeric_limits<double>::infinity(), recording("infinitely negative"));
  queue.async(recording("last"));
  turn();
  EXPECT_EQ(record,
            (Words{"first", "none", "negative", "not a number", "infinitely negative", "last"}));
}

TEST_F(MainQueueTest, NoDelayGoesBehindDelayedTasksThatCameDueBefore) {
  queue.after(1, recording("due"));
  clock.advance(1);
  queue.after(0, recording("now"));
  turn();
  EXPECT_EQ(record, (Words{"due", "now"}));
}

TEST_F(MainQueueTest, AnEndlessDelayNeverComes) {
  queue.after(std::numeric_limits<double>::infinity(), recording("never"));
  queue.after(1e300, recording("nor this"));
  clock.advance(1e9);
  turn();
  EXPECT_EQ(record, Words{});
}

TEST_F(MainQueueTest, ARunWaitsForADelayedTask) {
  queue.after(2.5, recording("delayed"));
  waitForTasks();
  EXPECT_EQ(record, Words{"delayed"});
  EXPECT_EQ(elapsed(), 2.5);
}

TEST_F(MainQueueTest, ADelayAskedForOnAnotherThreadShortensTheWait) {
  queue.after(100, recording("late"));
  std::thread([&] { queue.after(1, recording("early")); }).join();
  waitForTasks();
  EXPECT_EQ(record, Words{"early"});
  EXPECT_EQ(elapsed(), 1);
}

TEST_F(MainQueueTest, PostsFromADelayedTaskAndDuringADrainAreKept) {
  queue.after(1, [&] {
    record.push_back("outer");
    queue.after(1, recording("inner"));
    queue.async(recording("posted"));
  });
  runFor(5);
  EXPECT_EQ(record, (Words{"outer", "posted", "inner"}));
}

TEST(MainQueue, WhatIsPendingIsReleasedWithTheQueueWithoutRunning) {
  bool ran = false;
  {
    MainQueueScope scope;
    MainQueue& queue = scope.queue();
    auto probe = makeObject<ReleaseProbe>();
    queue.async([probe, &ran] { ran = true; });
    queue.after(10, [probe, &ran] { ran = true; });
    NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(
        1, true, [probe, &ran](const Ref<NSTimer>&) { ran = true; });
    EXPECT_EQ(probe->retainCount(), 4u);
  }
  EXPECT_FALSE(ran);
  EXPECT_EQ(ReleaseProbe::alive, 0);
}

bool lastWishRan = false;

/// Posts, delays and schedules while it dies.
class Testator : public NSObject {
 public:
  using Superclass = NSObject;

 protected:
  ~Testator() override {
    const auto wish = [] { lastWishRan = true; };
    MainQueue::current().async(wish);
    MainQueue::current().after(0, wish);
    MainQueue::current().after(1, wish);
    NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(1, false,
                                                        [wish](const Ref<NSTimer>&) { wish(); });
  }
};

TEST(MainQueue, WhatIsPostedWhileTheQueueDiesIsDropped) {
  lastWishRan = false;
  {
    MainQueueScope scope;
    scope.queue().async([captured = makeObject<Testator>()] {});
    scope.queue().after(5, [captured = makeObject<Testator>()] {});
    NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(
        1, false, [captured = makeObject<Testator>()](const Ref<NSTimer>&) {});
  }
  NSRunLoop::mainRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantPast());
  EXPECT_FALSE(lastWishRan);
}

TEST(MainQueue, WhatATaskPostsWhileItDiesRuns) {
  lastWishRan = false;
  MainQueueScope scope;
  scope.queue().async([captured = makeObject<Testator>()] {});
  NSRunLoop::mainRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantPast());
  EXPECT_FALSE(lastWishRan);
  NSRunLoop::mainRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantFuture());
  EXPECT_TRUE(lastWishRan);
}

TEST(MainQueue, ScopesNestAndGiveBackTheQueueBefore) {
  MainQueueScope outer;
  int outerRan = 0;
  outer.queue().async([&] { ++outerRan; });
  {
    MainQueueScope inner;
    EXPECT_EQ(&MainQueue::current(), &inner.queue());
    NSRunLoop::mainRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantPast());
    EXPECT_EQ(outerRan, 0);
  }
  EXPECT_EQ(&MainQueue::current(), &outer.queue());
  NSRunLoop::mainRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantPast());
  EXPECT_EQ(outerRan, 1);
}

TEST(MainQueue, TheQueueGoesOnAfterARushWhoseMemoryItGivesBack) {
  MainQueueScope scope;
  std::size_t ran = 0;
  for (int round = 0; round < 3; ++round) {
    for (int i = 0; i < 200000; ++i) scope.queue().async([&] { ++ran; });
    NSRunLoop::mainRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantPast());
    scope.queue().async([&] { ++ran; });
    NSRunLoop::mainRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantPast());
  }
  EXPECT_EQ(ran, 600003u);
}

TEST(MainThread, IsTheFirstThreadOfTheProcess) {
  EXPECT_TRUE(MainQueue::isMainThread());
  bool isMain = true;
  std::thread([&] { isMain = MainQueue::isMainThread(); }).join();
  EXPECT_FALSE(isMain);
}

TEST(MainThread, IsTheThreadOfAScopeWhileItLasts) {
  std::thread([] {
    EXPECT_FALSE(MainQueue::isMainThread());
    {
      MainQueueScope scope;
      EXPECT_TRUE(MainQueue::isMainThread());
      bool isMain = true;
      std::thread([&] { isMain = MainQueue::isMainThread(); }).join();
      EXPECT_FALSE(isMain);
    }
    EXPECT_FALSE(MainQueue::isMainThread());
  }).join();
  EXPECT_TRUE(MainQueue::isMainThread());
}

TEST(MainThreadDeathTest, AnotherThreadMayBeAdoptedBeforeFirstUse) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        std::thread([] {
          MainQueue::adoptCurrentThread();
          bool ran = false;
          std::thread([&] {
            dispatch_async_main([&] { ran = MainQueue::isMainThread(); });
          }).join();
          NSRunLoop::mainRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantPast());
          std::_Exit(ran ? 7 : 1);
        }).join();
      },
      testing::ExitedWithCode(7), "");
}

TEST(MainThreadDeathTest, NoThreadIsAdoptedOnceTheQueueIsInUse) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(
      {
        MainQueue::current().async([] {});
        std::thread([] { MainQueue::adoptCurrentThread(); }).join();
      },
      "main queue is in use already");
}

TEST(MainQueueDeathTest, ANullTaskStopsTheProcess) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(MainQueue::current().async(nullptr), "async: the task must not be null");
  EXPECT_DEATH(MainQueue::current().after(1, nullptr), "after: the task must not be null");
}

}  // namespace
}  // namespace JNFoundation
