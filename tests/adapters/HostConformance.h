#pragma once

#include <array>
#include <atomic>
#include <ctime>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/value/LiveObjects.h"

#include <JNFoundation/deferred/JNTimeout.h>
#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/deferred/PLVRejected.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/dispatch/ManualClock.h>
#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/dispatch/NSTimer.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDate.h>

namespace JNFoundation {

/// What every host of the main queue does, whichever loop it stands on. `Loop` is the application's
/// loop as the test drives it:
///
///     std::unique_ptr<MainQueueHost> host();     a new host for the loop
///     void run();                                runs the loop until it is told to quit
///     void runUntil(condition);                  runs it until then, also from inside the loop
///     void quit();                               from inside the loop
///     void post(Block<void()> event);            an event of the loop's own
///     void repeat(Block<bool()> tick);           a timer of the loop's own, a millisecond, while
///     true void idle(Block<bool()> work);             the least urgent that the loop has, while
///     true void end();                                destroys the loop static constexpr bool
///     isEventLoop;         it is one, not just a sleep static constexpr bool passesExceptions;
///     they come out of `run`
template <class Loop>
class HostConformance : public ::testing::Test {
 public:
  using Words = std::vector<std::string>;

  /// Makes the objects that stay for the life of the process.
  static void SetUpTestSuite() {
    const MainQueueScope warmUp;
    JNTimeout::instance();
    NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(0, false, [](const Ref<NSTimer>&) {});
    turn();
  }

  void TearDown() override {
    EXPECT_EQ(record, Words{}) << "something happened that the test did not expect";
    scope.reset();
    loop.reset();
    EXPECT_EQ(_live.count(), 0) << "objects are left alive";
  }

  MainQueue& queue() { return scope->queue(); }

  /// Runs the application's loop; gives up after some seconds.
  void run() {
    bool isLate = false;
    const auto giveUp = [&](const Ref<NSTimer>&) {
      isLate = true;
      quit();
    };
    const auto alarm = NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(patience, false, giveUp);
    loop->run();
    alarm->invalidate();
    ASSERT_FALSE(isLate) << "nothing came";
  }
  void quit() { loop->quit(); }

  /// Runs the main run loop until the condition holds; gives up after some seconds.
  template <class Condition>
  void waitUntil(Condition condition) {
    const NSTimeInterval begin = now();
    while (!condition()) {
      ASSERT_LT(now() - begin, patience) << "nothing came";
      runModeFor(patience);
    }
  }

  static void runModeFor(NSTimeInterval seconds) {
    NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode,
                                                   NSDate::dateWithTimeIntervalSinceNow(seconds));
  }

  /// One turn, without waiting.
  static void turn() {
    NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantPast());
  }

  auto recording(std::string word) {
    return [this, word = std::move(word)] { record.push_back(word); };
  }

  Words happened() { return std::exchange(record, {}); }

  static NSTimeInterval now() {
    return static_cast<NSTimeInterval>(Clock::current().monotonic()) / 1e9;
  }

  static NSTimeInterval processorTime() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<NSTimeInterval>(time.tv_sec) +
           static_cast<NSTimeInterval>(time.tv_nsec) / 1e9;
  }

  static constexpr NSTimeInterval patience = 20;

 private:
  ::JNFoundation::testing::LiveObjects _live;

 public:
  std::unique_ptr<Loop> loop = std::make_unique<Loop>();
  std::optional<MainQueueScope> scope{std::in_place, loop->host()};
  Words record;
};

TYPED_TEST_SUITE_P(HostConformance);

// ---- Order --------------------------------------------------------------------------------------

TYPED_TEST_P(HostConformance, TasksRunFromTheLoopInTheOrderOfPosting) {
  this->queue().async(this->recording("first"));
  this->queue().async(this->recording("second"));
  this->queue().async([this] {
    this->record.push_back("third");
    this->queue().async(this->recording("posted by the third"));
    this->queue().async([this] { this->quit(); });
  });
  this->queue().async(this->recording("fourth"));
  EXPECT_EQ(this->record.size(), 0u);
  this->run();
  EXPECT_EQ(this->happened(), (std::vector<std::string>{"first", "second", "third", "fourth",
                                                        "posted by the third"}));
}

TYPED_TEST_P(HostConformance, DelaysAndTimersComeInTheOrderOfTheirMomentsAndNotBefore) {
  const NSTimeInterval begin = this->now();
  std::vector<int> delays;
  std::vector<int> timers;
  const auto arrive = [&](std::vector<int>& arrivals, int number, NSTimeInterval due) {
    EXPECT_GE(HostConformance<TypeParam>::now(), begin + due) << number;
    arrivals.push_back(number);
    if (delays.size() + timers.size() == 6) this->quit();
  };
  const auto delay = [&](int number, NSTimeInterval due) {
    this->queue().after(due, [&, arrive, number, due] { arrive(delays, number, due); });
  };
  const auto schedule = [&](int number, NSTimeInterval due) {
    NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(
        due, false, [&, arrive, number, due](const Ref<NSTimer>&) { arrive(timers, number, due); });
  };
  delay(3, 0.0203);
  schedule(2, 0.015);
  delay(1, 0.0051);
  schedule(3, 0.0198);
  delay(2, 0.010);
  schedule(1, 0.003);
  this->run();
  EXPECT_EQ(delays, (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(timers, (std::vector<int>{1, 2, 3}));
}

TYPED_TEST_P(HostConformance, ARepeatingTimerFiresAgainAndAgain) {
  int fired = 0;
  const auto timer =
      NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(0.001, true, [&](const Ref<NSTimer>&) {
        if (++fired == 10) this->quit();
      });
  const NSTimeInterval begin = this->now();
  this->run();
  timer->invalidate();
  EXPECT_EQ(fired, 10);
  EXPECT_GE(this->now() - begin, 0.010);
}

TYPED_TEST_P(HostConformance, AnEarlierDelayFromAnotherThreadShortensTheWait) {
  this->queue().after(1000, this->recording("too late"));
  std::thread([&] { MainQueue::current().after(0.005, [&] { this->quit(); }); }).join();
  this->run();
}

TYPED_TEST_P(HostConformance, AMillionPostsRunInOrder) {
  constexpr int count = 1000000;
  int next = 0;
  bool isInOrder = true;
  for (int i = 0; i < count; ++i) {
    this->queue().async([&, i] { isInOrder = isInOrder && next++ == i; });
  }
  this->queue().async([this] { this->quit(); });
  this->run();
  EXPECT_EQ(next, count);
  EXPECT_TRUE(isInOrder);
}

// ---- Other threads ------------------------------------------------------------------------------

TYPED_TEST_P(HostConformance, APostFromAnotherThreadWakesTheLoop) {
  // Each task waits for the last to have run, so that every post finds the loop asleep or about to
  // fall asleep.
  constexpr int rounds = 2000;
  std::atomic<int> done{0};
  std::thread poster([&] {
    for (int i = 0; i < rounds; ++i) {
      MainQueue::current().async([&] {
        ++done;
        done.notify_one();
      });
      done.wait(i);
    }
    MainQueue::current().async([this] { this->quit(); });
  });
  this->run();
  poster.join();
  EXPECT_EQ(done, rounds);
}

TYPED_TEST_P(HostConformance, EachOfEightThreadsKeepsItsOrder) {
  constexpr int threads = 8;
  constexpr int perThread = 5000;
  std::array<int, threads> next{};
  int ran = 0;
  bool isInOrder = true;
  bool isOnMainThread = true;
  std::vector<std::thread> posters;
  for (int thread = 0; thread < threads; ++thread) {
    posters.emplace_back([&, thread] {
      for (int i = 0; i < perThread; ++i) {
        MainQueue::current().async([&, thread, i] {
          isOnMainThread = isOnMainThread && MainQueue::isMainThread();
          isInOrder = isInOrder && next[thread]++ == i;
          if (++ran == threads * perThread) this->quit();
        });
      }
    });
  }
  this->run();
  for (std::thread& poster : posters) poster.join();
  EXPECT_EQ(ran, threads * perThread);
  EXPECT_TRUE(isInOrder);
  EXPECT_TRUE(isOnMainThread);
}

TYPED_TEST_P(HostConformance, StopFromAnotherThreadEndsARunThatWaits) {
  std::thread stopper([runLoop = NSRunLoop::mainRunLoop()] { runLoop->stop(); });
  NSRunLoop::mainRunLoop()->run();
  stopper.join();
}

// ---- Runs of the run loop -----------------------------------------------------------------------

TYPED_TEST_P(HostConformance, ARunOfTheRunLoopRunsTheLoop) {
  bool isThere = false;
  this->loop->post([&] { this->queue().after(0.003, [&] { isThere = true; }); });
  this->waitUntil([&] { return isThere; });
  EXPECT_TRUE(isThere);
}

TYPED_TEST_P(HostConformance, AnEventOfTheLoopEndsARunAndATimerDoesNot) {
  int fired = 0;
  const auto timer = NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(
      0.002, true, [&](const Ref<NSTimer>&) { ++fired; });
  const NSTimeInterval begin = this->now();
  this->runModeFor(0.020);
  EXPECT_GE(this->now() - begin, 0.020);
  EXPECT_GT(fired, 0);
  const auto expectEnd = [&] {
    bool isThere = false;
    this->loop->post([&] { isThere = true; });
    this->waitUntil([&] { return isThere; });
    EXPECT_LT(this->now() - begin, this->patience / 2);
  };
  expectEnd();
  this->queue().async([&] {
    expectEnd();
    this->quit();
  });
  this->run();
  timer->invalidate();
}

TYPED_TEST_P(HostConformance, ARunInsideATaskRunsTheLoopAndGoesOnWithTheVeryNextTask) {
  this->queue().async([this] {
    bool isEventThere = false;
    this->loop->post([&] { isEventThere = true; });
    this->record.push_back("outer begins");
    this->turn();
    this->waitUntil([&] { return isEventThere; });
    bool isDelayThere = false;
    this->queue().after(0.003, [&] { isDelayThere = true; });
    this->waitUntil([&] { return isDelayThere; });
    this->record.push_back("outer ends");
    this->quit();
  });
  this->queue().async(this->recording("next"));
  this->run();
  EXPECT_EQ(this->happened(), (std::vector<std::string>{"outer begins", "next", "outer ends"}));
}

TYPED_TEST_P(HostConformance, ARunInsideAnEventOfTheLoopServesTheQueue) {
  this->loop->post([this] {
    bool isThere = false;
    this->queue().async(this->recording("task"));
    this->queue().after(0.003, [&] { isThere = true; });
    this->waitUntil([&] { return isThere; });
    this->record.push_back("event ends");
    this->quit();
  });
  this->run();
  EXPECT_EQ(this->happened(), (std::vector<std::string>{"task", "event ends"}));
}

TYPED_TEST_P(HostConformance, ARunInsideATimerServesTheQueue) {
  NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(0.001, false, [this](const Ref<NSTimer>&) {
    bool isThere = false;
    this->queue().after(0.003, [&] { isThere = true; });
    this->waitUntil([&] { return isThere; });
    this->record.push_back("timer ends");
    this->quit();
  });
  this->run();
  EXPECT_EQ(this->happened(), (std::vector<std::string>{"timer ends"}));
}

TYPED_TEST_P(HostConformance, AWaitInsideATaskFindsTheTasksBehindItAtOnce) {
  bool isSecondThere = false;
  bool isThirdThere = false;
  const NSTimeInterval begin = this->now();
  this->queue().async([&] {
    this->waitUntil([&] { return isThirdThere; });
    this->quit();
  });
  this->queue().async([&] {
    isSecondThere = true;
    this->waitUntil([&] { return isThirdThere; });
  });
  this->queue().async([&] { isThirdThere = true; });
  this->run();
  EXPECT_TRUE(isSecondThere);
  EXPECT_LT(this->now() - begin, this->patience / 2);
}

TYPED_TEST_P(HostConformance, TheLoopRunInsideATaskRunsTheTasksBehindIt) {
  bool isSecondThere = false;
  bool isThirdThere = false;
  this->queue().async([&] {
    this->loop->runUntil([&] { return isThirdThere; });
    this->record.push_back("first ends");
    this->quit();
  });
  this->queue().async([&] {
    isSecondThere = true;
    this->loop->runUntil([&] { return isThirdThere; });
    this->record.push_back("second ends");
  });
  this->queue().async([&] { isThirdThere = true; });
  this->run();
  EXPECT_TRUE(isSecondThere);
  EXPECT_EQ(this->happened(), (std::vector<std::string>{"second ends", "first ends"}));
}

TYPED_TEST_P(HostConformance, TheLoopRunInsideATimerFiresTheTimersBehindIt) {
  const auto schedule = [](NSTimeInterval seconds, Block<void()> fire) {
    NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(
        seconds, false, [fire = std::move(fire)](const Ref<NSTimer>&) { fire(); });
  };
  bool isSecondThere = false;
  bool isThirdThere = false;
  const NSTimeInterval begin = this->now();
  this->queue().async([&, schedule] {
    schedule(0.001, [&] {
      this->loop->runUntil([&] { return isSecondThere && isThirdThere; });
      this->quit();
    });
    schedule(0.001, [&] { isSecondThere = true; });
    schedule(0.004, [&] { isThirdThere = true; });
    // Both are due when the first fires.
    while (this->now() < begin + 0.003) {
    }
  });
  this->run();
  EXPECT_TRUE(isSecondThere && isThirdThere);
}

TYPED_TEST_P(HostConformance, RunsNestAndEndInReverse) {
  constexpr int depth = 50;
  std::vector<int> ended;
  for (int i = 0; i < depth; ++i) {
    this->queue().async([&, i] {
      this->turn();
      ended.push_back(i);
      if (i == 0) this->quit();
    });
  }
  this->run();
  ASSERT_EQ(ended.size(), std::size_t{depth});
  for (int i = 0; i < depth; ++i) EXPECT_EQ(ended[i], depth - 1 - i);
}

TYPED_TEST_P(HostConformance, ARunWithNothingToDoEndsAtItsDateAndSleepsUntilThen) {
  const auto waits = [this](const char* where) {
    // The loop is asked to wait for this, which must not keep it awake.
    this->queue().after(1000, this->recording("not due"));
    const NSTimeInterval begin = this->now();
    const NSTimeInterval busyBefore = this->processorTime();
    this->runModeFor(0.040);
    EXPECT_GE(this->now() - begin, 0.040) << where;
    EXPECT_LT(this->now() - begin, this->patience / 2) << where;
    EXPECT_LT(this->processorTime() - busyBefore, 0.020) << where;
  };
  waits("outside the loop");
  this->queue().async([&] {
    waits("inside a task");
    this->quit();
  });
  this->run();
}

TYPED_TEST_P(HostConformance, APastDateRunsWhatIsReadyBehindEventsOfTheLoop) {
  for (int i = 0; i < 5; ++i) this->loop->post([] {});
  this->queue().async(this->recording("task"));
  this->queue().after(1000, this->recording("not due"));
  this->turn();
  EXPECT_EQ(this->happened(), (std::vector<std::string>{"task"}));
}

TYPED_TEST_P(HostConformance, TimersOfAnotherModeFireInRunsOfThatModeOnly) {
  int fired = 0;
  const auto timer = NSTimer::timerWithTimeIntervalRepeatsBlock(
      0.002, true, [&](const Ref<NSTimer>&) { ++fired; });
  NSRunLoop::currentRunLoop()->addTimerForMode(timer, "tracking");
  this->queue().after(0.010, [this] { this->quit(); });
  this->run();
  EXPECT_EQ(fired, 0);
  NSRunLoop::currentRunLoop()->runModeBeforeDate("tracking",
                                                 NSDate::dateWithTimeIntervalSinceNow(0.020));
  EXPECT_GT(fired, 0);
  timer->invalidate();
}

TYPED_TEST_P(HostConformance, UnderAClockMovedByHandAWaitTakesNoTime) {
  const NSTimeInterval begin = this->now();
  {
    ManualClock clock;
    const ClockScope clockScope(clock);
    bool isThere = false;
    this->queue().after(3600, [&] { isThere = true; });
    NSRunLoop::currentRunLoop()->runUntilDate(NSDate::dateWithTimeIntervalSinceNow(3599));
    EXPECT_FALSE(isThere);
    NSRunLoop::currentRunLoop()->runUntilDate(NSDate::dateWithTimeIntervalSinceNow(2));
    EXPECT_TRUE(isThere);
    EXPECT_EQ(clock.monotonic(), 3'601'000'000'000);
  }
  EXPECT_LT(this->now() - begin, this->patience);
}

// ---- Fairness -----------------------------------------------------------------------------------

/// Counts what each part of the loop gets to do while tasks post themselves again.
template <class Test>
struct Shares {
  explicit Shares(Test& owner) : test(owner) {}

  Test& test;
  int tasks = 0, timers = 0, delays = 0, ticks = 0, idles = 0, events = 0;
  bool isOver = false;
  Block<void()> again, later;
  Ref<NSTimer> timer;

  void begin() {
    again = [this] {
      ++tasks;
      if (!isOver) MainQueue::current().async(again);
    };
    later = [this] {
      ++delays;
      if (!isOver) MainQueue::current().after(0.001, later);
    };
    MainQueue::current().async(again);
    MainQueue::current().after(0.001, later);
    timer = NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(
        0.001, true, [this](const Ref<NSTimer>&) { ++timers; });
    test.loop->repeat([this] {
      test.loop->post([this] { ++events; });
      return ++ticks, !isOver;
    });
    test.loop->idle([this] { return ++idles, !isOver; });
  }

  bool isFair() const {
    constexpr int enough = 5;
    return tasks > enough && timers > enough && delays > enough && ticks > enough &&
           idles > enough && events > enough;
  }

  /// Lets everything that refers to this run out.
  void end() {
    isOver = true;
    timer->invalidate();
    const auto before = *this;
    bool areDelaysOver = false;
    MainQueue::current().after(0.010, [&] { areDelaysOver = true; });
    test.waitUntil([&] {
      return areDelaysOver && tasks > before.tasks && events > before.events &&
             ticks > before.ticks && idles > before.idles;
    });
  }
};

TYPED_TEST_P(HostConformance, ATaskThatPostsItselfAgainStarvesNothing) {
  Shares<HostConformance<TypeParam>> shares(*this);
  shares.begin();
  const auto watch =
      NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(0.002, true, [&](const Ref<NSTimer>&) {
        if (shares.isFair()) this->quit();
      });
  this->run();
  EXPECT_TRUE(shares.isFair()) << shares.tasks << " tasks, " << shares.timers << " timers, "
                               << shares.delays << " delays, " << shares.ticks << " ticks, "
                               << shares.idles << " idles, " << shares.events << " events";
  watch->invalidate();
  shares.end();
}

TYPED_TEST_P(HostConformance, NorDoesItInRunsOfTheRunLoop) {
  Shares<HostConformance<TypeParam>> shares(*this);
  shares.begin();
  this->waitUntil([&] { return shares.isFair(); });
  EXPECT_TRUE(shares.isFair()) << shares.tasks << " tasks, " << shares.timers << " timers, "
                               << shares.delays << " delays, " << shares.ticks << " ticks, "
                               << shares.idles << " idles, " << shares.events << " events";
  shares.end();
}

// ---- Deadlines ----------------------------------------------------------------------------------

TYPED_TEST_P(HostConformance, TimersThatComeAndGoLeaveNothingBehind) {
  this->queue().async([this] {
    for (int i = 0; i < 100000; ++i) {
      NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(1000 - i * 0.001, false,
                                                          [](const Ref<NSTimer>&) {})
          ->invalidate();
    }
    NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(0.005, false, [this](const Ref<NSTimer>&) {
      this->record.push_back("the one that stayed");
      this->quit();
    });
  });
  this->run();
  EXPECT_EQ(this->happened(), (std::vector<std::string>{"the one that stayed"}));
}

TYPED_TEST_P(HostConformance, ADeadlineMayBeMovedBothWays) {
  const auto timer =
      NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(1000, false, [this](const Ref<NSTimer>&) {
        this->record.push_back("fires");
        this->quit();
      });
  this->queue().async([timer] { timer->setFireDate(NSDate::dateWithTimeIntervalSinceNow(0.002)); });
  this->queue().async([timer] { timer->setFireDate(NSDate::dateWithTimeIntervalSinceNow(0.015)); });
  const NSTimeInterval begin = this->now();
  this->run();
  EXPECT_GE(this->now() - begin, 0.0149);
  EXPECT_EQ(this->happened(), (std::vector<std::string>{"fires"}));
}

// ---- The end of things --------------------------------------------------------------------------

TYPED_TEST_P(HostConformance, WhatIsPendingAtTheEndIsReleasedWithoutRunning) {
  const auto captured = NSMutableArray::init();
  this->queue().async([this, captured] { this->record.push_back("ran"); });
  this->queue().after(0.001, [this, captured] { this->record.push_back("ran"); });
  NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(
      0.001, true, [this, captured](const Ref<NSTimer>&) { this->record.push_back("ran"); });
  this->scope.reset();
  EXPECT_EQ(captured->retainCount(), 1u);
  // The loop goes on without the queue; what the host had asked of it comes to nothing.
  if constexpr (TypeParam::isEventLoop) {
    int ticks = 0;
    this->loop->repeat([&] {
      if (++ticks < 5) return true;
      this->quit();
      return false;
    });
    this->loop->run();
    EXPECT_EQ(ticks, 5);
  }
}

TYPED_TEST_P(HostConformance, TheLoopMayGoFirst) {
  this->queue().async(this->recording("posted before"));
  this->queue().after(0.002, this->recording("due afterwards"));
  this->loop->end();
  this->turn();
  EXPECT_EQ(this->happened(), (std::vector<std::string>{"posted before"}));
  this->queue().async(this->recording("posted after"));
  this->waitUntil([this] { return this->record.size() == 2; });
  EXPECT_EQ(this->happened(), (std::vector<std::string>{"posted after", "due afterwards"}));
  const NSTimeInterval begin = this->now();
  this->runModeFor(0.005);
  EXPECT_GE(this->now() - begin, 0.005);
  // Its own end finds work left, too.
  this->queue().async(this->recording("never"));
}

TYPED_TEST_P(HostConformance, TheLoopMayGoWhileOtherThreadsPost) {
  constexpr int threads = 4;
  constexpr int perThread = 3000;
  std::atomic<int> posted{0};
  int ran = 0;
  std::vector<std::thread> posters;
  for (int thread = 0; thread < threads; ++thread) {
    posters.emplace_back([&] {
      for (int i = 0; i < perThread; ++i) {
        MainQueue::current().async([&] { ++ran; });
        ++posted;
      }
    });
  }
  while (posted < 100) this->turn();
  this->loop->end();
  this->waitUntil([&] { return ran == threads * perThread; });
  for (std::thread& poster : posters) poster.join();
  EXPECT_EQ(ran, threads * perThread);
}

TYPED_TEST_P(HostConformance, AHostMayBeReplacedAndComeBack) {
  this->queue().async(this->recording("task"));
  this->queue().after(0.003, this->recording("delayed"));
  this->queue().setHost(nullptr);
  this->waitUntil([this] { return this->record.size() == 2; });
  EXPECT_EQ(this->happened(), (std::vector<std::string>{"task", "delayed"}));
  this->queue().after(0.003, [this] { this->quit(); });
  this->queue().setHost(this->loop->host());
  this->run();
}

TYPED_TEST_P(HostConformance, ATaskMayReplaceTheHostThatRunsItButNotInsideARunOfTheRunLoop) {
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto replaceInsideARun = [this] {
    this->queue().async([this] { this->queue().setHost(this->loop->host()); });
    this->turn();
  };
  EXPECT_DEATH(replaceInsideARun(), "setHost: the main run loop is running");
  if constexpr (TypeParam::isEventLoop) {
    int rounds = 0;
    Block<void()> replace;
    replace = [&] {
      this->queue().setHost(this->loop->host());
      if (++rounds < 20) {
        this->queue().after(rounds % 2 == 0 ? 0.0002 : 0, replace);
      } else {
        this->quit();
      }
    };
    NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(0.001, false,
                                                        [&](const Ref<NSTimer>&) { replace(); });
    this->run();
    EXPECT_EQ(rounds, 20);
  }
}

TYPED_TEST_P(HostConformance, HostsAreReplacedWhileOtherThreadsPost) {
  constexpr int threads = 4;
  constexpr int perThread = 3000;
  int ran = 0;
  std::vector<std::thread> posters;
  for (int thread = 0; thread < threads; ++thread) {
    posters.emplace_back([&] {
      for (int i = 0; i < perThread; ++i) MainQueue::current().async([&] { ++ran; });
    });
  }
  while (ran < threads * perThread) {
    this->queue().setHost(this->loop->host());
    this->turn();
  }
  for (std::thread& poster : posters) poster.join();
  EXPECT_EQ(ran, threads * perThread);
}

// ---- Exceptions ---------------------------------------------------------------------------------

TYPED_TEST_P(HostConformance, AnExceptionPassesOrStopsTheProcessWithAMessage) {
  const auto throwAfterwards = [this] {
    this->queue().async([] { throw std::runtime_error("out of a task"); });
    this->queue().async(this->recording("behind"));
    this->queue().after(0.003, [this] { this->quit(); });
  };
  const auto throwFromATimer = [] {
    NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(
        0.001, false, [](const Ref<NSTimer>&) { throw std::runtime_error("out of a timer"); });
  };
  if constexpr (TypeParam::passesExceptions) {
    throwAfterwards();
    EXPECT_THROW(this->loop->run(), std::runtime_error);
    EXPECT_EQ(this->record.size(), 0u);
    this->run();
    EXPECT_EQ(this->happened(), (std::vector<std::string>{"behind"}));
    throwFromATimer();
    EXPECT_THROW(this->runModeFor(this->patience), std::runtime_error);
    this->queue().async([this] {
      this->queue().async([] { throw std::runtime_error("out of a nested run"); });
      EXPECT_THROW(this->runModeFor(this->patience), std::runtime_error);
      this->quit();
    });
    this->run();
  } else {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    const char* message = "Fatal error: exception in a handler of the main queue: out of a ";
    EXPECT_DEATH((throwAfterwards(), this->loop->run()), std::string(message) + "task");
    EXPECT_DEATH((throwFromATimer(), this->loop->run()), std::string(message) + "timer");
    EXPECT_DEATH((throwAfterwards(), this->turn()), std::string(message) + "task");
  }
}

// ---- Deferreds ----------------------------------------------------------------------------------

TYPED_TEST_P(HostConformance, AChainWithADelayAndATimeoutRunsToItsEnd) {
  const NSTimeInterval begin = this->now();
  PLVDeferred::withResolvedDelayInterval("slow", 0.006)
      ->timeout(1000)
      ->thenResolved([this](const Value& value) -> Value {
        this->record.push_back(value.description()->toStdString());
        return PLVDeferred::withResolvedDelayInterval("slower", 1000)->timeout(0.004);
      })
      ->thenRejected([this, begin](const Ref<PLVRejected>& rejected) -> Value {
        EXPECT_GE(this->now() - begin, 0.010);
        this->record.push_back(isKindOf<JNTimeout>(rejected->value()) ? "timeout"
                                                                      : "something else");
        this->quit();
        return {};
      });
  this->run();
  EXPECT_EQ(this->happened(), (std::vector<std::string>{"slow", "timeout"}));
  // The far delays hold their deferreds.
  this->scope.reset();
}

TYPED_TEST_P(HostConformance, AHandlerMayWaitForADeferred) {
  this->queue().async([this] {
    const auto deferred = PLVDeferred::init();
    std::thread worker([deferred] { deferred->resolve("from a worker"); });
    this->waitUntil([&] { return deferred->isResolved(); });
    worker.join();
    this->record.push_back(deferred->resolution().description()->toStdString());
    this->quit();
  });
  this->run();
  EXPECT_EQ(this->happened(), (std::vector<std::string>{"from a worker"}));
}

REGISTER_TYPED_TEST_SUITE_P(
    HostConformance, TasksRunFromTheLoopInTheOrderOfPosting,
    DelaysAndTimersComeInTheOrderOfTheirMomentsAndNotBefore, ARepeatingTimerFiresAgainAndAgain,
    AnEarlierDelayFromAnotherThreadShortensTheWait, AMillionPostsRunInOrder,
    APostFromAnotherThreadWakesTheLoop, EachOfEightThreadsKeepsItsOrder,
    StopFromAnotherThreadEndsARunThatWaits, ARunOfTheRunLoopRunsTheLoop,
    AnEventOfTheLoopEndsARunAndATimerDoesNot,
    ARunInsideATaskRunsTheLoopAndGoesOnWithTheVeryNextTask,
    ARunInsideAnEventOfTheLoopServesTheQueue, ARunInsideATimerServesTheQueue,
    AWaitInsideATaskFindsTheTasksBehindItAtOnce, TheLoopRunInsideATaskRunsTheTasksBehindIt,
    TheLoopRunInsideATimerFiresTheTimersBehindIt, RunsNestAndEndInReverse,
    ARunWithNothingToDoEndsAtItsDateAndSleepsUntilThen,
    APastDateRunsWhatIsReadyBehindEventsOfTheLoop, TimersOfAnotherModeFireInRunsOfThatModeOnly,
    UnderAClockMovedByHandAWaitTakesNoTime, ATaskThatPostsItselfAgainStarvesNothing,
    NorDoesItInRunsOfTheRunLoop, TimersThatComeAndGoLeaveNothingBehind, ADeadlineMayBeMovedBothWays,
    WhatIsPendingAtTheEndIsReleasedWithoutRunning, TheLoopMayGoFirst,
    TheLoopMayGoWhileOtherThreadsPost, AHostMayBeReplacedAndComeBack,
    ATaskMayReplaceTheHostThatRunsItButNotInsideARunOfTheRunLoop,
    HostsAreReplacedWhileOtherThreadsPost, AnExceptionPassesOrStopsTheProcessWithAMessage,
    AChainWithADelayAndATimeoutRunsToItsEnd, AHandlerMayWaitForADeferred);

}  // namespace JNFoundation
