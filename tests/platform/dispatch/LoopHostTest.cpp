#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "MainThreadFixture.h"

#include <JNFoundation/platform/dispatch/LoopHost.h>
#include <JNFoundation/platform/dispatch/NSTimer.h>

namespace JNFoundation {
namespace {

/// What a loop is asked for, in place of a loop.
struct ScriptedLoop {
  int requests = 0;
  std::vector<Nanoseconds> alarms;
  std::vector<Nanoseconds> runs;
  bool isReleased = false;
  Block<void()> turn;
  Block<void()> alarm;
  Block<void()> onRun;
  bool refuses = false;
  bool hasEvents = false;
};

class ScriptedHost final : public LoopHost {
 public:
  ScriptedHost(ScriptedLoop& loop, Exceptions exceptions) : LoopHost(exceptions), _loop(loop) {
    loop.turn = [this] { turn(); };
    loop.alarm = [this] { alarm(); };
  }
  ~ScriptedHost() override { detach(); }
  void loopEnds() { detach(); }

  static std::unique_ptr<ScriptedHost> passing(ScriptedLoop& loop) {
    return std::make_unique<ScriptedHost>(loop, Exceptions::pass);
  }
  static std::unique_ptr<ScriptedHost> stopping(ScriptedLoop& loop) {
    return std::make_unique<ScriptedHost>(loop, Exceptions::stop);
  }

 protected:
  void requestTurn() noexcept override { ++_loop.requests; }
  void setAlarm(Nanoseconds span) noexcept override { _loop.alarms.push_back(span); }
  Ran runLoop(Nanoseconds span) override {
    if (_loop.refuses) return Ran::refused;
    _loop.runs.push_back(span);
    if (_loop.onRun) _loop.onRun();
    return _loop.hasEvents ? Ran::events : Ran::nothing;
  }
  void releaseLoop() noexcept override {
    EXPECT_FALSE(_loop.isReleased);
    _loop.isReleased = true;
  }

 private:
  ScriptedLoop& _loop;
};

class LoopHostTest : public testing::Test {
 protected:
  static void turn() {
    NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantPast());
  }
  auto recording(std::string word) {
    return [this, word = std::move(word)] { record.push_back(word); };
  }

  using Words = std::vector<std::string>;
  static constexpr Nanoseconds second = 1'000'000'000;

  ScriptedLoop loop;
  std::unique_ptr<ScriptedHost> made = ScriptedHost::passing(loop);
  ScriptedHost* host = made.get();
  Words record;
  MainQueueScope scope{std::move(made)};
  MainQueue& queue = scope.queue();
};

TEST_F(LoopHostTest, AsksTheLoopOnceForManyWakeUpsAndDeadlines) {
  for (int i = 0; i < 100; ++i) {
    host->wakeUp();
    queue.after(100 - i, [] {});
  }
  EXPECT_EQ(loop.requests, 1);
  EXPECT_EQ(loop.alarms.size(), 0u);
  loop.turn();
  EXPECT_EQ(loop.requests, 2);
  loop.turn();
  ASSERT_EQ(loop.alarms.size(), 1u);
  EXPECT_GT(loop.alarms[0], 0);
  EXPECT_LE(loop.alarms[0], second);
  EXPECT_EQ(loop.requests, 2);
  host->wakeUp();
  EXPECT_EQ(loop.requests, 3);
}

TEST_F(LoopHostTest, ATurnAskedForADeadlineOnlyServesNothing) {
  queue.async(recording("task"));
  loop.turn();
  EXPECT_EQ(record, Words{"task"});
  loop.turn();
  const auto timer = NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(
      0, true, [&](const Ref<NSTimer>&) { record.push_back("timer"); });
  loop.turn();
  EXPECT_EQ(record, Words{"task"});
  EXPECT_EQ(loop.alarms.size(), 1u);
  timer->invalidate();
  loop.turn();
  EXPECT_EQ(loop.alarms.back(), never);
}

TEST_F(LoopHostTest, SetsAnAlarmAgainThatCameTooEarly) {
  queue.after(10, recording("delayed"));
  loop.turn();
  loop.turn();
  ASSERT_EQ(loop.alarms.size(), 1u);
  loop.alarm();
  EXPECT_EQ(record, Words{});
  ASSERT_EQ(loop.alarms.size(), 2u);
  EXPECT_GT(loop.alarms[1], 9 * second);
  EXPECT_LE(loop.alarms[1], loop.alarms[0]);
}

TEST_F(LoopHostTest, AsksForATurnWithinATaskThatHasOthersBehindIt) {
  queue.async([&] {
    record.push_back("first");
    EXPECT_EQ(loop.requests, 2);
    loop.turn();  // as a loop would that the task runs
    record.push_back("first ends");
  });
  queue.async(recording("second"));
  EXPECT_EQ(loop.requests, 1);
  loop.turn();
  EXPECT_EQ(record, (Words{"first", "second", "first ends"}));
}

TEST_F(LoopHostTest, ARunWaitsInTheLoopUntilItsDate) {
  queue.after(1000, [] {});
  loop.hasEvents = true;
  NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode,
                                                 NSDate::dateWithTimeIntervalSinceNow(50));
  ASSERT_EQ(loop.runs.size(), 1u) << "what the loop runs of its own ends a run";
  EXPECT_GT(loop.runs[0], 49 * second);
  EXPECT_LE(loop.runs[0], 50 * second);
  NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantPast());
  EXPECT_EQ(loop.runs[1], 0);
  EXPECT_LE(loop.alarms.back(), 1000 * second);
}

TEST_F(LoopHostTest, WhatIsDueRunsWhateverTheLoopRan) {
  loop.hasEvents = true;
  queue.async(recording("task"));
  turn();
  EXPECT_EQ(record, Words{"task"});
  queue.async([&] { NSRunLoop::mainRunLoop()->stop(); });
  loop.onRun = loop.turn;
  NSRunLoop::mainRunLoop()->run();
  EXPECT_EQ(loop.runs.size(), 2u);
}

TEST_F(LoopHostTest, SleepsByItselfWhileTheLoopRefusesToRun) {
  loop.refuses = true;
  std::thread poster([&] { queue.after(0.001, recording("delayed")); });
  NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantFuture());
  poster.join();
  EXPECT_EQ(record, Words{"delayed"});
  EXPECT_EQ(loop.runs.size(), 0u);
}

TEST_F(LoopHostTest, SleepsByItselfOnceTheLoopIsGone) {
  host->loopEnds();
  EXPECT_TRUE(loop.isReleased);
  const int requests = loop.requests;
  queue.async(recording("task"));
  queue.after(0.001, recording("delayed"));
  while (record.size() < 2) {
    NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantFuture());
  }
  EXPECT_EQ(record, (Words{"task", "delayed"}));
  EXPECT_EQ(loop.requests, requests);
  EXPECT_EQ(loop.runs.size(), 0u);
  // What the loop still had under way comes to nothing.
  queue.async(recording("later"));
  loop.turn();
  loop.alarm();
  EXPECT_EQ(record.size(), 2u);
}

TEST_F(LoopHostTest, LetsGoOfTheLoopWhenItIsReplaced) {
  queue.setHost(nullptr);
  EXPECT_TRUE(loop.isReleased);
}

TEST_F(LoopHostTest, UnderAClockMovedByHandTheLoopIsOnlyLookedAt) {
  ManualClock clock;
  const ClockScope clockScope(clock);
  queue.after(60, recording("delayed"));
  NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantFuture());
  EXPECT_EQ(record, Words{"delayed"});
  EXPECT_EQ(clock.monotonic(), 60 * second);
  for (const Nanoseconds span : loop.runs) EXPECT_EQ(span, 0);
  for (const Nanoseconds span : loop.alarms) EXPECT_EQ(span, never);
}

TEST_F(LoopHostTest, AnExceptionPassesThroughTheLoopAndTheRestRunsInTheNextTurn) {
  queue.async([] { throw std::runtime_error("out of a task"); });
  queue.async(recording("behind"));
  EXPECT_THROW(loop.turn(), std::runtime_error);
  loop.turn();
  EXPECT_EQ(record, Words{"behind"});
}

TEST(LoopHostDeathTest, ALoopThatCannotUnwindStopsWithAMessage) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  ScriptedLoop loop;
  MainQueueScope scope(ScriptedHost::stopping(loop));
  scope.queue().async([] { throw std::runtime_error("why it failed"); });
  EXPECT_DEATH(loop.turn(), "exception in a handler of the main queue: why it failed");
}

TEST(LoopHostDeathTest, ALoopOnAnotherThreadStopsWithAMessage) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  ScriptedLoop loop;
  const MainQueueScope scope(ScriptedHost::passing(loop));
  EXPECT_DEATH(std::thread([&] { loop.turn(); }).join(),
               "the event loop that hosts the main queue runs on another thread than the main one");
}

}  // namespace
}  // namespace JNFoundation
