#include <algorithm>
#include <deque>
#include <stdexcept>
#include <thread>

#include "MainThreadFixture.h"

#include <JNFoundation/platform/dispatch/MainQueueHost.h>
#include <JNFoundation/platform/dispatch/NSTimer.h>

namespace JNFoundation {
namespace {

/// An event loop as another library would bring it, driven by hand: events in a row, one alarm.
class EventLoopHost : public MainQueueHost {
 public:
  struct Loop {
    std::deque<Block<void()>> events;
    Nanoseconds alarm = never;
    std::vector<Nanoseconds> alarmsAskedFor;
    int wakeUps = 0;

    /// Runs one event or the alarm. Returns: whether there was one.
    bool runOne() {
      if (!events.empty()) {
        const Block<void()> event = std::move(events.front());
        events.pop_front();
        event();
        return true;
      }
      if (alarm > Clock::current().monotonic()) return false;
      alarm = never;
      onAlarm();
      return true;
    }

    Block<void()> onAlarm;
  };

  explicit EventLoopHost(Loop& loop) : _loop(loop) {
    loop.onAlarm = [this] { serve(); };
  }

  void wakeUp() noexcept override {
    ++_loop.wakeUps;
    _loop.events.push_back([this] { serve(); });
  }
  void callAt(Nanoseconds moment) noexcept override {
    _loop.alarm = moment;
    _loop.alarmsAskedFor.push_back(moment);
  }
  void runTurn(Nanoseconds until) override {
    if (_loop.runOne()) return;
    auto& clock = static_cast<ManualClock&>(Clock::current());
    const Nanoseconds moment = std::min(until, _loop.alarm);
    ASSERT_NE(moment, never) << "the loop would wait for ever";
    clock.advance(std::max<double>(0, static_cast<double>(moment - clock.monotonic()) / 1e9));
    _loop.runOne();
  }

 private:
  Loop& _loop;
};

class MainQueueHostTest : public testing::Test {
 protected:
  void runAll() {
    while (loop.runOne()) {
    }
  }

  using Words = std::vector<std::string>;

  ManualClock clock;
  ClockScope clockScope{clock};
  EventLoopHost::Loop loop;
  Words record;
  MainQueueScope scope{std::make_unique<EventLoopHost>(loop)};
  MainQueue& queue = scope.queue();
};

TEST_F(MainQueueHostTest, IsWokenOnlyWhenTheQueueWasEmpty) {
  EXPECT_EQ(loop.wakeUps, 0);
  for (int i = 0; i < 5; ++i) queue.async([&] { record.push_back("task"); });
  EXPECT_EQ(loop.wakeUps, 1);
  runAll();
  EXPECT_EQ(record.size(), 5u);
  EXPECT_EQ(loop.wakeUps, 1);
  queue.async([] {});
  EXPECT_EQ(loop.wakeUps, 2);
}

TEST_F(MainQueueHostTest, IsWokenAgainForWhatATaskPosts) {
  queue.async([&] { queue.async([&] { record.push_back("inner"); }); });
  ASSERT_TRUE(loop.runOne());
  EXPECT_EQ(record, Words{});
  EXPECT_EQ(loop.wakeUps, 2);
  runAll();
  EXPECT_EQ(record, Words{"inner"});
}

TEST_F(MainQueueHostTest, IsWokenForWhatAnExceptionLeft) {
  queue.async([] { throw std::runtime_error("out of a task"); });
  queue.async([&] { record.push_back("left"); });
  EXPECT_THROW(loop.runOne(), std::runtime_error);
  EXPECT_EQ(record, Words{});
  runAll();
  EXPECT_EQ(record, Words{"left"});
}

TEST_F(MainQueueHostTest, IsWokenForTasksThatTimersPostAndThrowBehind) {
  NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(1, false, [&](const Ref<NSTimer>&) {
    queue.async([&] { record.push_back("posted"); });
    throw std::runtime_error("out of a timer");
  });
  NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(
      1, false, [&](const Ref<NSTimer>&) { record.push_back("second timer"); });
  clock.advance(1);
  EXPECT_THROW(loop.runOne(), std::runtime_error);
  EXPECT_EQ(record, Words{});
  runAll();
  EXPECT_EQ(record, (Words{"posted", "second timer"}));
}

TEST_F(MainQueueHostTest, IsAskedForTheEarliestDeadlineOnly) {
  const auto later = NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(
      5, false, [&](const Ref<NSTimer>&) { record.push_back("later"); });
  EXPECT_EQ(loop.alarm, 5'000'000'000);
  const auto earlier = NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(
      2, false, [&](const Ref<NSTimer>&) { record.push_back("earlier"); });
  EXPECT_EQ(loop.alarm, 2'000'000'000);
  const std::size_t asked = loop.alarmsAskedFor.size();
  NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(3, false, [](const Ref<NSTimer>&) {});
  EXPECT_EQ(loop.alarmsAskedFor.size(), asked);
  clock.advance(2);
  runAll();
  EXPECT_EQ(record, Words{"earlier"});
  EXPECT_EQ(loop.alarm, 3'000'000'000);
  later->invalidate();
  clock.advance(1);
  runAll();
  EXPECT_EQ(loop.alarm, never);
}

TEST_F(MainQueueHostTest, HearsOfDelaysAskedForOnOtherThreadsOnTheMainThread) {
  std::thread([&] { queue.after(4, [&] { record.push_back("delayed"); }); }).join();
  EXPECT_EQ(loop.alarm, never);
  runAll();
  EXPECT_EQ(loop.alarm, 4'000'000'000);
  clock.advance(4);
  runAll();
  EXPECT_EQ(record, Words{"delayed"});
}

TEST_F(MainQueueHostTest, RunsNestedRunsOfTheRunLoop) {
  queue.async([&] {
    queue.after(3, [&] { record.push_back("inner"); });
    while (record.empty()) {
      NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantFuture());
    }
    record.push_back("outer");
  });
  runAll();
  EXPECT_EQ(record, (Words{"inner", "outer"}));
  EXPECT_EQ(clock.monotonic(), 3'000'000'000);
}

TEST_F(MainQueueHostTest, ArmsForTheModeOfTheRunInProgress) {
  const auto timer = NSTimer::timerWithTimeIntervalRepeatsBlock(
      1, true, [&](const Ref<NSTimer>&) { record.push_back("tracking"); });
  NSRunLoop::currentRunLoop()->addTimerForMode(timer, "tracking");
  EXPECT_EQ(loop.alarm, never);
  NSRunLoop::currentRunLoop()->runModeBeforeDate("tracking",
                                                 NSDate::dateWithTimeIntervalSinceNow(2.5));
  EXPECT_EQ(record, (Words{"tracking", "tracking"}));
  EXPECT_EQ(loop.alarm, never);
}

TEST_F(MainQueueHostTest, TakesOverWhatIsPendingFromTheHostBefore) {
  queue.async([&] { record.push_back("task"); });
  queue.after(1, [&] { record.push_back("delayed"); });
  EventLoopHost::Loop other;
  queue.setHost(std::make_unique<EventLoopHost>(other));
  loop.events.clear();
  while (other.runOne()) {
  }
  EXPECT_EQ(record, Words{"task"});
  EXPECT_EQ(other.alarm, 1'000'000'000);
  // Back to no event loop at all: the queue sleeps by itself.
  queue.setHost(nullptr);
  NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantFuture());
  EXPECT_EQ(record, (Words{"task", "delayed"}));
}

class UnwindableHost : public MainQueueHost {
 public:
  void wakeUp() noexcept override {}
  void callAt(Nanoseconds) noexcept override {}
  void runTurn(Nanoseconds) override { serveOrStop(); }
};

TEST(MainQueueHostDeathTest, ALoopThatCannotUnwindStopsWithAMessage) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto runThrowing = [](Block<void()> task) {
    MainQueueScope scope(std::make_unique<UnwindableHost>());
    scope.queue().async(std::move(task));
    NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantPast());
  };
  EXPECT_DEATH(runThrowing([] { throw std::runtime_error("why it failed"); }), "why it failed");
  EXPECT_DEATH(runThrowing([] { throw 1; }), "exception in a handler of the main queue");
}

}  // namespace
}  // namespace JNFoundation
