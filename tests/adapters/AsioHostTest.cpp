#include "AsioLoop.h"

#include <JNFoundation/adapters/AsioHost.h>

namespace JNFoundation {
namespace {

using StandaloneAsioLoop = AsioLoop<AsioHost, StandaloneAsio>;
INSTANTIATE_TYPED_TEST_SUITE_P(Asio, HostConformance, StandaloneAsioLoop);

class AsioHostTest : public ::testing::Test {
 protected:
  asio::io_context context;
  MainQueueScope scope{std::make_unique<AsioHost>(context)};
  MainQueue& queue = scope.queue();
  std::vector<std::string> record;
};

TEST_F(AsioHostTest, RunReturnsOnceNothingIsDue) {
  queue.async([&] {
    record.push_back("task");
    queue.after(0.002, [&] { record.push_back("delayed"); });
  });
  const auto far =
      NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(1000, true, [](const Ref<NSTimer>&) {});
  queue.after(0.004, [far] { far->invalidate(); });
  context.run();
  EXPECT_EQ(record, (std::vector<std::string>{"task", "delayed"}));
  EXPECT_TRUE(context.stopped());
}

TEST_F(AsioHostTest, ARunOfTheRunLoopLeavesTheContextAsItWas) {
  const auto runLoop = NSRunLoop::currentRunLoop();
  runLoop->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::dateWithTimeIntervalSinceNow(0.002));
  EXPECT_FALSE(context.stopped());
  context.stop();
  queue.async([&] { record.push_back("task"); });
  runLoop->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantFuture());
  EXPECT_EQ(record.size(), 1u);
  EXPECT_TRUE(context.stopped());
}

TEST_F(AsioHostTest, AWaitInsideAHandlerOutlivesAStopOfTheContext) {
  queue.async([&] {
    context.stop();
    bool isThere = false;
    const auto later = [&] { isThere = true; };
    std::thread poster([&] { MainQueue::current().after(0.003, later); });
    while (!isThere) {
      NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantFuture());
    }
    poster.join();
    record.push_back("waited");
  });
  asio::post(context, [&] { record.push_back("event"); });
  context.run();
  EXPECT_EQ(record, std::vector<std::string>{"waited"});
  context.restart();
  context.run();
  EXPECT_EQ(record, (std::vector<std::string>{"waited", "event"}));
}

TEST_F(AsioHostTest, ManyHostsMayStandInOneContextAndGoWithIt) {
  auto inner = std::make_unique<asio::io_context>();
  {
    const MainQueueScope first(std::make_unique<AsioHost>(*inner));
    const MainQueueScope second(std::make_unique<AsioHost>(*inner));
    bool hasRun = false;
    MainQueue::current().async([&] { hasRun = true; });
    inner->run();
    EXPECT_TRUE(hasRun);
    inner.reset();
  }
  queue.async([&] { record.push_back("the outer one"); });
  context.run();
  EXPECT_EQ(record.size(), 1u);
}

TEST_F(AsioHostTest, TimersCancelledByTheThousandDoNotPileUpInTheContext) {
  for (int i = 0; i < 10000; ++i) {
    NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(1, false, [](const Ref<NSTimer>&) {
    })->invalidate();
  }
  EXPECT_LE(context.poll(), 2u);
}

TEST(AsioHostDeathTest, AContextRunByAnotherThreadStopsWithAMessage) {
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  asio::io_context context;
  MainQueueScope scope(std::make_unique<AsioHost>(context));
  scope.queue().async([] {});
  EXPECT_DEATH(std::thread([&] { context.run(); }).join(), "runs on another thread");
}

}  // namespace
}  // namespace JNFoundation
