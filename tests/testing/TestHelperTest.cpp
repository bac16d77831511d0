#include <gtest/gtest.h>
#include <string>
#include <thread>

#include "platform/value/LiveObjects.h"

#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/dispatch/NSTimer.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/testing/TestHelper.h>
#include <JNFoundation/testing/TestMainThread.h>

namespace JNFoundation {
namespace {

class TestHelperTest : public ::testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(live.count(), 0) << "objects are left alive"; }

  /// What the callback got, "" if it was not called.
  template <class Resolvable>
  std::string wait(const Ref<Resolvable>& resolvable, NSTimeInterval interval) {
    std::string got;
    test_untilExpiresWaitForResolution(
        resolvable, interval,
        [&](bool resolved, const Value& value, const Ref<PLVRejected>& rejected) {
          EXPECT_EQ(got, "") << "called once";
          got = std::string(resolved ? "resolved " : "expired ") +
                value.description()->toStdString() + " " +
                Value(rejected).description()->toStdString();
        });
    return got;
  }

  /// Whether a task that waits has been run.
  struct Waiting {
    explicit Waiting(MainQueue& queue) {
      queue.async([this] { ran = true; });
    }
    bool ran = false;
  };

  TestMainThread main;
  MainQueue& queue = main.queue();
  TestClock& clock = main.clock();
  ::JNFoundation::testing::LiveObjects live;
};

// Deferreds

TEST_F(TestHelperTest, AnOutcomeThatIsThereIsReportedWithoutARunOfTheLoop) {
  const Waiting task(queue);
  EXPECT_EQ(wait(PLVDeferred::withResolved("value"), 5), "resolved value (null)");
  EXPECT_EQ(wait(PLVDeferred::withRejected("no"), 5), "resolved (null) PLVRejected [no]");
  EXPECT_FALSE(task.ran);
  EXPECT_EQ(clock.elapsed(), 0);
}

TEST_F(TestHelperTest, ACancellationIsAFailure) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->cancelWithValue("enough");
  EXPECT_EQ(wait(deferred, 5), "resolved (null) PLVRejected (CANCELLED) [enough]");
}

TEST_F(TestHelperTest, ANullIsASuccess) {
  EXPECT_EQ(wait(PLVDeferred::withResolved(nullptr), 0), "resolved (null) (null)");
}

TEST_F(TestHelperTest, TheLoopRunsUntilTheOutcomeArrives) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  queue.after(2, [deferred] { deferred->resolve("late"); });
  EXPECT_EQ(wait(deferred, 5), "resolved late (null)");
  EXPECT_EQ(clock.elapsed(), 2) << "and not longer";
}

TEST_F(TestHelperTest, AnOutcomeThatComesTooLateIsNotReported) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  queue.after(5.1, [deferred] { deferred->resolve("late"); });
  EXPECT_EQ(wait(deferred, 5), "expired (null) (null)");
  EXPECT_EQ(clock.elapsed(), 5);
  clock.advance(0.1);
  EXPECT_EQ(deferred->resolution(), Value("late"));
}

TEST_F(TestHelperTest, NoTimeAndLessExpireAtOnce) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  const Waiting task(queue);
  EXPECT_EQ(wait(deferred, 0), "expired (null) (null)");
  EXPECT_EQ(wait(deferred, -1), "expired (null) (null)");
  EXPECT_FALSE(task.ran);
  EXPECT_EQ(clock.elapsed(), 0);
}

TEST_F(TestHelperTest, ANullCallbackWaitsAllTheSame) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  queue.after(2, [deferred] { deferred->resolve(1); });
  test_untilExpiresWaitForResolution(deferred, 5, nullptr);
  EXPECT_TRUE(deferred->isResolved());
  EXPECT_EQ(clock.elapsed(), 2);
  test_untilExpiresWaitForResolution(PLVDeferred::init(), 5, nullptr);
  EXPECT_EQ(clock.elapsed(), 7);
}

TEST_F(TestHelperTest, TheObserverIsTheLastStepAndPassesTheValueOn) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved([](const Value&) -> Value { return "before"; });
  queue.async([deferred] { deferred->resolve("raw"); });
  EXPECT_EQ(wait(deferred, 5), "resolved before (null)");
  Value after;
  deferred->thenEither([&](const Value& value) { return after = value; });
  EXPECT_EQ(after, Value("before"));
  const Ref<PLVDeferred> failed = PLVDeferred::withRejected("no");
  const Value failure = failed->resolution();
  wait(failed, 0);
  EXPECT_TRUE(failed->resolution().isIdentical(failure));
}

TEST_F(TestHelperTest, ATimerThatLeadsToTheOutcomeEndsTheWait) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(
      1, false, [deferred](const Ref<NSTimer>&) { deferred->resolve("tick"); });
  EXPECT_EQ(wait(deferred, 60), "resolved tick (null)");
  EXPECT_EQ(clock.elapsed(), 1);
}

TEST_F(TestHelperTest, OnlyTimersOfTheDefaultModeFire) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  const Ref<NSTimer> timer = NSTimer::timerWithTimeIntervalRepeatsBlock(
      1, false, [deferred](const Ref<NSTimer>&) { deferred->resolve("tick"); });
  NSRunLoop::currentRunLoop()->addTimerForMode(timer, "tracking");
  EXPECT_EQ(wait(deferred, 5), "expired (null) (null)");
  timer->invalidate();
}

TEST_F(TestHelperTest, WaitsMayBeNested) {
  const Ref<PLVDeferred> outer = PLVDeferred::init(), inner = PLVDeferred::init();
  queue.after(1, [&] {
    EXPECT_EQ(wait(inner, 5), "resolved inner (null)");
    outer->resolve("outer");
  });
  queue.after(3, [inner] { inner->resolve("inner"); });
  EXPECT_EQ(wait(outer, 10), "resolved outer (null)");
  EXPECT_EQ(clock.elapsed(), 3);
}

TEST_F(TestHelperTest, ANullDeferredIsNotWaitedForAndNothingIsCalled) {
  EXPECT_EQ(wait(Ref<PLVDeferred>(), 5), "");
  EXPECT_EQ(wait(Ref<PLVPromise>(), 5), "");
  EXPECT_EQ(clock.elapsed(), 0);
}

TEST_F(TestHelperTest, AWaitOnAnotherThreadLastsUntilItsEndAndReportsWhatIsThere) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  std::string got;
  std::thread([&] { got = wait(deferred, 0); }).join();
  EXPECT_EQ(got, "expired (null) (null)") << "its observer still waits on the main queue";
  deferred->resolve(1);
  clock.advance(0);
}

TEST_F(TestHelperTest, AnOutcomeFromAnotherThreadArrives) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  std::thread thread([deferred] { deferred->resolve("worker"); });
  thread.join();
  EXPECT_EQ(wait(deferred, 5), "resolved worker (null)");
}

TEST_F(TestHelperTest, AnExceptionOutOfTheLoopLeavesTheObserverInPlace) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  queue.async([] { throw 7; });
  EXPECT_THROW(wait(deferred, 5), int);
  deferred->resolve(1);
  EXPECT_EQ(wait(deferred, 5), "resolved 1 (null)");
}

// Promises

TEST_F(TestHelperTest, APromisesOutcomeIsReported) {
  EXPECT_EQ(wait(PLVPromise::withResolved("value"), 5), "resolved value (null)");
  EXPECT_EQ(wait(PLVPromise::withRejected("no"), 5), "resolved (null) PLVRejected [no]");
  EXPECT_EQ(clock.elapsed(), 0);
}

TEST_F(TestHelperTest, APromiseIsWaitedFor) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  queue.after(2, [promise] { promise->resolve("late"); });
  EXPECT_EQ(wait(promise, 1), "expired (null) (null)");
  EXPECT_EQ(wait(promise, 5), "resolved late (null)") << "the second time, as a listener";
  EXPECT_EQ(clock.elapsed(), 2);
}

TEST_F(TestHelperTest, APromiseThatNeverComesExpires) {
  EXPECT_EQ(wait(PLVPromise::init(), 3), "expired (null) (null)");
  EXPECT_EQ(clock.elapsed(), 3);
}

}  // namespace
}  // namespace JNFoundation
