#include <gtest/gtest.h>
#include <vector>

#include "platform/value/LiveObjects.h"

#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/dispatch/ManualClock.h>
#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/platform/value/Subclass.h>
#include <JNFoundation/platform/value/Weak.h>
#include <JNFoundation/util/NSTimer+PLVExtensions.h>

namespace JNFoundation {
namespace {

class TimerExtensionsTest : public ::testing::Test {
 protected:
  void TearDown() override {
    fired.clear();
    EXPECT_EQ(live.count(), 0) << "objects are left alive";
  }

  void runFor(NSTimeInterval seconds) {
    NSRunLoop::currentRunLoop()->runUntilDate(NSDate::dateWithTimeIntervalSinceNow(seconds));
  }
  auto noting() {
    return [this](const Ref<NSTimer>& timer) { fired.push_back({timer, nullptr}); };
  }
  auto notingWithUserInfo() {
    return [this](const Ref<NSTimer>& timer, const Value& userInfo) {
      fired.push_back({timer, userInfo});
    };
  }

  struct Firing {
    Ref<NSTimer> timer;
    Value userInfo;
  };
  ManualClock clock;
  ClockScope clockScope{clock};
  std::vector<Firing> fired;
  MainQueueScope scope;
  ::JNFoundation::testing::LiveObjects live;
};

const SEL firedSelector("plv_executeTimerFiredBlockForTimer:");
const SEL firedUserInfoSelector("plv_executeTimerFiredUserInfoBlockForTimer:");

TEST_F(TimerExtensionsTest, AOneShotScheduledTimerCallsItsBlockOnceWithItself) {
  const Ref<NSTimer> timer = plv_scheduledTimerWithTimeIntervalRepeatsBlock(2, false, noting());
  runFor(1.9);
  EXPECT_EQ(fired.size(), 0u);
  runFor(0.1);
  ASSERT_EQ(fired.size(), 1u);
  EXPECT_EQ(fired[0].timer.get(), timer.get());
  EXPECT_FALSE(timer->isValid());
  runFor(10);
  EXPECT_EQ(fired.size(), 1u);
}

TEST_F(TimerExtensionsTest, ARepeatingTimerCallsItsBlockUntilItIsInvalidated) {
  const Ref<NSTimer> timer = plv_scheduledTimerWithTimeIntervalRepeatsBlock(2, true, noting());
  EXPECT_EQ(timer->timeInterval(), 2);
  runFor(6);
  EXPECT_EQ(fired.size(), 3u);
  timer->invalidate();
  runFor(6);
  EXPECT_EQ(fired.size(), 3u);
}

TEST_F(TimerExtensionsTest, TheSameUserInfoComesWithEveryFiring) {
  const Ref<NSString> info = NSString::stringWithFormat("an object %d", 1);
  const Ref<NSTimer> timer =
      plv_scheduledTimerWithTimeIntervalRepeatsUserInfoBlock(1, true, info, notingWithUserInfo());
  runFor(3);
  ASSERT_EQ(fired.size(), 3u);
  for (const Firing& firing : fired) {
    EXPECT_EQ(firing.timer.get(), timer.get());
    EXPECT_TRUE(firing.userInfo.isIdentical(info));
  }
  timer->invalidate();
}

TEST_F(TimerExtensionsTest, TheTimersOwnUserInfoIsTheWrapper) {
  const Ref<NSString> info = NSString::stringWithFormat("an object %d", 1);
  const Ref<NSTimer> plain = plv_timerWithTimeIntervalRepeatsBlock(1, true, noting());
  EXPECT_TRUE(isKindOf<PLVTimerFiredBlockWrapper>(plain->userInfo()));
  const Ref<NSTimer> informed =
      plv_timerWithTimeIntervalRepeatsUserInfoBlock(1, true, info, notingWithUserInfo());
  const Value userInfo = informed->userInfo();
  auto* wrapper = as<PLVTimerFiredUserInfoBlockWrapper>(userInfo);
  ASSERT_TRUE(wrapper);
  EXPECT_TRUE(wrapper->userInfo().isIdentical(info));
  EXPECT_TRUE(wrapper->timerFiredBlock());
}

TEST_F(TimerExtensionsTest, TimersThatAreNotScheduledFireOnceTheyAreAdded) {
  const Ref<NSTimer> plain = plv_timerWithTimeIntervalRepeatsBlock(1, false, noting());
  const Ref<NSTimer> informed =
      plv_timerWithTimeIntervalRepeatsUserInfoBlock(1, false, "info", notingWithUserInfo());
  runFor(5);
  EXPECT_EQ(fired.size(), 0u);
  NSRunLoop::currentRunLoop()->addTimerForMode(plain, NSDefaultRunLoopMode);
  NSRunLoop::currentRunLoop()->addTimerForMode(informed, NSDefaultRunLoopMode);
  runFor(0);
  ASSERT_EQ(fired.size(), 2u);
  EXPECT_EQ(fired[1].userInfo, Value("info"));
}

TEST_F(TimerExtensionsTest, ScheduledTimersFireInTheDefaultModeOnly) {
  const Ref<NSTimer> timer = plv_scheduledTimerWithTimeIntervalRepeatsBlock(1, false, noting());
  clock.advance(5);
  NSRunLoop::currentRunLoop()->runModeBeforeDate("tracking", NSDate::distantPast());
  EXPECT_EQ(fired.size(), 0u);
  runFor(0);
  EXPECT_EQ(fired.size(), 1u);
}

TEST_F(TimerExtensionsTest, ANullUserInfoArrivesAsNull) {
  plv_scheduledTimerWithTimeIntervalRepeatsUserInfoBlock(1, false, nullptr, notingWithUserInfo());
  runFor(1);
  ASSERT_EQ(fired.size(), 1u);
  EXPECT_TRUE(fired[0].userInfo.isNull());
}

TEST_F(TimerExtensionsTest, FiringByHandCallsTheBlock) {
  const Ref<NSTimer> timer =
      plv_timerWithTimeIntervalRepeatsUserInfoBlock(1, true, 7, notingWithUserInfo());
  timer->fire();
  timer->fire();
  EXPECT_EQ(fired.size(), 2u);
  EXPECT_EQ(fired[1].userInfo, Value(7));
}

TEST_F(TimerExtensionsTest, TheBlockMayInvalidateItsTimerAndStillUseWhatItHas) {
  const Ref<NSString> info = NSString::stringWithFormat("an object %d", 1);
  std::string seen;
  plv_scheduledTimerWithTimeIntervalRepeatsUserInfoBlock(
      1, true, NSString::stringWithFormat("an object %d", 2),
      [&, text = std::string("a capture that does not fit beside others")](
          const Ref<NSTimer>& timer, const Value& userInfo) {
        timer->invalidate();
        EXPECT_TRUE(timer->userInfo().isNull());
        seen = userInfo.description()->toStdString() + " " + text;
      });
  runFor(5);
  EXPECT_EQ(seen, "an object 2 a capture that does not fit beside others");
}

TEST_F(TimerExtensionsTest, BlockAndUserInfoAreKeptUntilTheTimerIsInvalidated) {
  const Ref<NSString> captured = NSString::stringWithFormat("captured %d", 1);
  Ref<NSString> info = NSString::stringWithFormat("info %d", 1);
  const Weak<NSString> weak = info;
  const Ref<NSTimer> timer = plv_scheduledTimerWithTimeIntervalRepeatsUserInfoBlock(
      1, true, info, [captured](const Ref<NSTimer>&, const Value&) {});
  info = nullptr;
  EXPECT_TRUE(weak.load());
  timer->invalidate();
  EXPECT_FALSE(weak.load());
}

// The dispatchers

TEST_F(TimerExtensionsTest, AnotherUserInfoMakesADispatcherDoNothing) {
  const Ref<PLVTimerFiredBlockWrapper> plain = PLVTimerFiredBlockWrapper::init();
  plain->setTimerFiredBlock(noting());
  const Ref<PLVTimerFiredUserInfoBlockWrapper> informed = PLVTimerFiredUserInfoBlockWrapper::init();
  informed->setTimerFiredBlock(notingWithUserInfo());
  for (const Value& info : {Value(), Value("text"), Value(7), Value(informed)}) {
    NSTimer::scheduledTimerWithTimeIntervalTargetSelectorUserInfoRepeats(
        1, NSTimer::classObject, firedSelector, info, false);
  }
  for (const Value& info : {Value(), Value("text"), Value(plain)}) {
    NSTimer::scheduledTimerWithTimeIntervalTargetSelectorUserInfoRepeats(
        1, NSTimer::classObject, firedUserInfoSelector, info, false);
  }
  runFor(2);
  EXPECT_EQ(fired.size(), 0u);
  plv_executeTimerFiredBlockForTimer(nullptr);
  plv_executeTimerFiredUserInfoBlockForTimer(nullptr);
}

class OwnWrapper : public Subclass<OwnWrapper, PLVTimerFiredBlockWrapper> {};

TEST_F(TimerExtensionsTest, AWrapperOfASubclassIsAWrapper) {
  const Ref<OwnWrapper> wrapper = makeObject<OwnWrapper>();
  wrapper->setTimerFiredBlock(noting());
  const Ref<NSTimer> timer = NSTimer::timerWithTimeIntervalTargetSelectorUserInfoRepeats(
      1, NSTimer::classObject, firedSelector, wrapper, true);
  plv_executeTimerFiredBlockForTimer(timer);
  ASSERT_EQ(fired.size(), 1u);
  EXPECT_EQ(fired[0].timer.get(), timer.get());
}

TEST_F(TimerExtensionsTest, TheRuntimeFindsTheDispatchersOnTheClass) {
  const Ref<NSTimer> timer = plv_timerWithTimeIntervalRepeatsBlock(1, true, noting());
  performSelector(NSTimer::classObject, firedSelector, timer);
  EXPECT_EQ(fired.size(), 1u);
  EXPECT_TRUE(Value(NSTimer::classObject).respondsToSelector(firedUserInfoSelector));
}

using TimerExtensionsDeathTest = TimerExtensionsTest;

TEST_F(TimerExtensionsDeathTest, ANullBlockIsRefused) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(plv_timerWithTimeIntervalRepeatsBlock(1, false, nullptr), "must not be null");
  EXPECT_DEATH(plv_scheduledTimerWithTimeIntervalRepeatsUserInfoBlock(1, false, 1, nullptr),
               "must not be null");
}

TEST_F(TimerExtensionsDeathTest, AWrapperWithoutABlockIsRefusedWhenItsTimerFires) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto timerWith = [](const Value& wrapper, SEL selector) {
    return NSTimer::timerWithTimeIntervalTargetSelectorUserInfoRepeats(1, NSTimer::classObject,
                                                                       selector, wrapper, false);
  };
  EXPECT_DEATH(timerWith(PLVTimerFiredBlockWrapper::init(), firedSelector)->fire(),
               "must not be null");
  EXPECT_DEATH(timerWith(PLVTimerFiredUserInfoBlockWrapper::init(), firedUserInfoSelector)->fire(),
               "must not be null");
}

}  // namespace
}  // namespace JNFoundation
