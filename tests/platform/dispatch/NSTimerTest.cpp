#include <cmath>
#include <limits>
#include <stdexcept>

#include "MainThreadFixture.h"

#include <JNFoundation/platform/dispatch/NSTimer.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {
namespace {

class TimerTest : public MainThreadFixture {
 protected:
  using Handler = NSTimer::Handler;

  /// Notes the seconds at which it is called.
  Handler noting() {
    return [this](const Ref<NSTimer>&) { times.push_back(elapsed()); };
  }

  Ref<NSTimer> scheduled(NSTimeInterval interval, bool repeats, Handler handler) {
    return NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(interval, repeats,
                                                               std::move(handler));
  }

  Value dateAt(NSTimeInterval seconds) {
    return NSDate::dateWithTimeIntervalSince1970(start + seconds);
  }

  /// Moves the clock to the second and runs what is due.
  void turnAt(NSTimeInterval seconds) {
    clock.advance(seconds - elapsed());
    turn();
  }

  using Times = std::vector<double>;

  Times times;
  const double start = clock.now();
};

TEST_F(TimerTest, AOneShotTimerFiresOnceAtItsDateAndInvalidatesItself) {
  Ref<NSTimer> received;
  bool wasValid = false;
  const Ref<NSTimer> timer = scheduled(1, false, [&](const Ref<NSTimer>& fired) {
    times.push_back(elapsed());
    received = fired;
    wasValid = fired->isValid();
  });
  EXPECT_EQ(timer->timeInterval(), 0);
  turnAt(0.999999);
  EXPECT_EQ(times, Times{});
  EXPECT_TRUE(timer->isValid());
  turnAt(1);
  EXPECT_EQ(times, Times{1});
  EXPECT_EQ(received, timer);
  EXPECT_TRUE(wasValid);
  EXPECT_FALSE(timer->isValid());
  runFor(10);
  EXPECT_EQ(times.size(), 1u);
}

TEST_F(TimerTest, ATimerThatIsNotScheduledDoesNotFire) {
  const Ref<NSTimer> timer = NSTimer::timerWithTimeIntervalRepeatsBlock(1, false, noting());
  runFor(5);
  EXPECT_EQ(times, Times{});
  NSRunLoop::currentRunLoop()->addTimerForMode(timer, NSDefaultRunLoopMode);
  turn();
  EXPECT_EQ(times, Times{5});
}

TEST_F(TimerTest, NoIntervalOrLessIsATenthOfAMillisecond) {
  for (const double interval :
       {0.0, -1.0, -std::numeric_limits<double>::infinity(), std::nan("")}) {
    const Ref<NSTimer> timer = NSTimer::timerWithTimeIntervalRepeatsBlock(interval, true, noting());
    EXPECT_EQ(timer->timeInterval(), 0.0001);
    EXPECT_EQ(timer->fireDate(), dateAt(0.0001));
  }
}

TEST_F(TimerTest, IntervalsAndDatesBeyondAllReasonAreCut) {
  const Ref<NSTimer> timer = NSTimer::timerWithTimeIntervalRepeatsBlock(1e300, true, noting());
  EXPECT_EQ(timer->timeInterval(), 504911232);
  timer->setFireDate(NSDate::distantFuture());
  EXPECT_EQ(timer->fireDate(), NSDate::dateWithTimeIntervalSinceReferenceDate(4039289856));
}

TEST_F(TimerTest, ARepeatingTimerKeepsToItsGridWithoutDrift) {
  const Ref<NSTimer> timer = scheduled(0.1, true, noting());
  EXPECT_EQ(timer->timeInterval(), 0.1);
  runFor(1000);
  ASSERT_EQ(times.size(), 10000u);
  // To the nanosecond, after ten thousand steps.
  for (std::size_t i = 0; i < times.size(); ++i) {
    ASSERT_EQ(std::llround(times[i] * 1e9), static_cast<long long>(i + 1) * 100000000) << i;
  }
}

TEST_F(TimerTest, ALateTimerFiresOnceAndGoesOnWithTheNextDateOfItsGrid) {
  const Ref<NSTimer> timer = scheduled(1, true, noting());
  turnAt(3.5);
  EXPECT_EQ(times, Times{3.5});
  EXPECT_EQ(timer->fireDate(), dateAt(4));
  turnAt(3.999);
  EXPECT_EQ(times.size(), 1u);
  turnAt(4);
  EXPECT_EQ(times, (Times{3.5, 4}));
}

TEST_F(TimerTest, ADateThatIsHitExactlyIsFollowedByALaterOne) {
  const Ref<NSTimer> timer = scheduled(1, true, noting());
  turnAt(3);
  EXPECT_EQ(timer->fireDate(), dateAt(4));
}

TEST_F(TimerTest, DatesThatPassInsideTheHandlerAreSkipped) {
  const Ref<NSTimer> timer = scheduled(1, true, [&](const Ref<NSTimer>&) {
    times.push_back(elapsed());
    if (times.size() == 1) clock.advance(2.5);
  });
  runFor(5.25);
  EXPECT_EQ(times, (Times{1, 4, 5}));
}

TEST_F(TimerTest, AFirstDateStartsTheGrid) {
  const Ref<NSTimer> timer =
      NSTimer::initWithFireDateIntervalRepeatsBlock(dateAt(0.5), 2, true, noting());
  NSRunLoop::currentRunLoop()->addTimerForMode(timer, NSDefaultRunLoopMode);
  runFor(5);
  EXPECT_EQ(times, (Times{0.5, 2.5, 4.5}));
}

TEST_F(TimerTest, AFirstDateInThePastFiresAtOnceAndKeepsTheGrid) {
  const Ref<NSTimer> timer =
      NSTimer::initWithFireDateIntervalRepeatsBlock(dateAt(-2.75), 1, true, noting());
  NSRunLoop::currentRunLoop()->addTimerForMode(timer, NSDefaultRunLoopMode);
  runFor(1.5);
  EXPECT_EQ(times, (Times{0, 0.25, 1.25}));
}

TEST_F(TimerTest, AFirstDateInTheDistantPastIsHarmless) {
  const Ref<NSTimer> timer =
      NSTimer::initWithFireDateIntervalRepeatsBlock(NSDate::distantPast(), 1, true, noting());
  NSRunLoop::currentRunLoop()->addTimerForMode(timer, NSDefaultRunLoopMode);
  turn();
  turn();
  EXPECT_EQ(times, Times{0});
  turnAt(1);
  EXPECT_EQ(times.size(), 2u);
}

TEST_F(TimerTest, TheShortestIntervalIsOneNanosecond) {
  const Ref<NSTimer> timer = scheduled(1e-12, true, [&](const Ref<NSTimer>& fired) {
    times.push_back(elapsed());
    if (times.size() == 3) fired->invalidate();
  });
  runFor(1);
  EXPECT_EQ(times.size(), 3u);
}

TEST_F(TimerTest, AnInvalidTimerNeverFires) {
  const Ref<NSTimer> timer = scheduled(1, true, noting());
  turnAt(1);
  timer->invalidate();
  EXPECT_FALSE(timer->isValid());
  timer->invalidate();
  timer->fire();
  NSRunLoop::currentRunLoop()->addTimerForMode(timer, NSDefaultRunLoopMode);
  runFor(5);
  EXPECT_EQ(times, Times{1});
}

TEST_F(TimerTest, InvalidatingInsideTheHandlerIsTheLastTime) {
  scheduled(1, true, [&](const Ref<NSTimer>& timer) {
    times.push_back(elapsed());
    if (times.size() == 2) timer->invalidate();
  });
  runFor(10);
  EXPECT_EQ(times, (Times{1, 2}));
}

TEST_F(TimerTest, AnEarlierTimerCanInvalidateOneThatIsDueToo) {
  Ref<NSTimer> second;
  scheduled(1, false, [&](const Ref<NSTimer>&) { second->invalidate(); });
  second = scheduled(1, false, noting());
  turnAt(2);
  EXPECT_EQ(times, Times{});
}

TEST_F(TimerTest, TheHandlerIsAliveUntilItReturnsThoughItInvalidates) {
  auto probe = makeObject<ReleaseProbe>();
  int aliveInside = 0;
  scheduled(1, true, [probe, &aliveInside](const Ref<NSTimer>& timer) {
    timer->invalidate();
    aliveInside = ReleaseProbe::alive;
  });
  probe = nullptr;
  turnAt(1);
  EXPECT_EQ(aliveInside, 1);
  EXPECT_EQ(ReleaseProbe::alive, 0);
}

TEST_F(TimerTest, FireLeavesTheGridAlone) {
  const Ref<NSTimer> timer = scheduled(1, true, noting());
  turnAt(0.5);
  timer->fire();
  EXPECT_EQ(times, Times{0.5});
  EXPECT_EQ(timer->fireDate(), dateAt(1));
  runFor(1);
  EXPECT_EQ(times, (Times{0.5, 1}));
}

TEST_F(TimerTest, FireEndsAOneShotTimer) {
  const Ref<NSTimer> timer = scheduled(1, false, noting());
  timer->fire();
  EXPECT_EQ(times, Times{0});
  EXPECT_FALSE(timer->isValid());
  runFor(5);
  EXPECT_EQ(times.size(), 1u);
}

TEST_F(TimerTest, FireDoesNothingInsideTheTimersOwnHandler) {
  scheduled(1, true, [&](const Ref<NSTimer>& timer) {
    times.push_back(elapsed());
    ASSERT_LT(times.size(), 10u);
    timer->fire();
  });
  turnAt(1);
  EXPECT_EQ(times, Times{1});
}

TEST_F(TimerTest, AFireDateMovesTheGrid) {
  const Ref<NSTimer> timer = scheduled(1, true, noting());
  timer->setFireDate(dateAt(2.25));
  EXPECT_EQ(timer->fireDate(), dateAt(2.25));
  runFor(4.5);
  EXPECT_EQ(times, (Times{2.25, 3.25, 4.25}));
}

TEST_F(TimerTest, AFireDateCanBeSetForward) {
  const Ref<NSTimer> timer = scheduled(10, false, noting());
  timer->setFireDate(dateAt(1));
  turnAt(0.9);
  EXPECT_EQ(times, Times{});
  turnAt(1);
  EXPECT_EQ(times, Times{1});
}

TEST_F(TimerTest, TheDistantFuturePausesATimer) {
  const Ref<NSTimer> timer = scheduled(1, true, noting());
  timer->setFireDate(NSDate::distantFuture());
  runFor(100);
  EXPECT_EQ(times, Times{});
  timer->setFireDate(NSDate::date());
  turn();
  EXPECT_EQ(times, Times{100});
}

TEST_F(TimerTest, InsideTheHandlerOnlyALaterFireDateCounts) {
  const Ref<NSTimer> timer = scheduled(1, true, [&](const Ref<NSTimer>& fired) {
    times.push_back(elapsed());
    if (times.size() == 1) fired->setFireDate(dateAt(3.5));
    if (times.size() == 2) fired->setFireDate(dateAt(2));
  });
  runFor(5);
  EXPECT_EQ(times, (Times{1, 3.5, 4.5}));
}

TEST_F(TimerTest, AFireDateIsADate) {
  const Ref<NSTimer> timer = scheduled(1, true, noting());
  EXPECT_THROW(timer->setFireDate(5), Raised);
  EXPECT_THROW(timer->setFireDate(nullptr), Raised);
  EXPECT_THROW(NSTimer::initWithFireDateIntervalRepeatsBlock("now", 1, true, noting()), Raised);
}

TEST_F(TimerTest, AnInvalidTimerKeepsItsLastDate) {
  const Ref<NSTimer> timer = scheduled(1, false, noting());
  turnAt(1);
  EXPECT_EQ(timer->fireDate(), dateAt(1));
  timer->setFireDate(dateAt(7));
  EXPECT_EQ(timer->fireDate(), dateAt(1));
}

TEST_F(TimerTest, ANestedRunDoesNotFireTheTimerAgain) {
  Ref<NSTimer> outer = scheduled(1, true, [&](const Ref<NSTimer>&) {
    record.push_back("outer begins");
    runFor(3.5);
    record.push_back("outer ends");
  });
  scheduled(2, true, [&](const Ref<NSTimer>&) { record.push_back("other"); });
  turnAt(1);
  EXPECT_EQ(record, (Words{"outer begins", "other", "other", "outer ends"}));
  EXPECT_EQ(outer->fireDate(), dateAt(5));
}

TEST_F(TimerTest, TimersDueTogetherFireInTheOrderOfTheirDatesThenOfTheirAdding) {
  const auto word = [&](const char* text) {
    return [this, text](const Ref<NSTimer>&) { record.push_back(text); };
  };
  scheduled(0.3, true, word("c, first of two"));
  scheduled(0.2, true, word("b"));
  scheduled(0.1, true, word("a"));
  scheduled(0.3, false, word("c, second of two"));
  turnAt(0.35);
  EXPECT_EQ(record, (Words{"a", "b", "c, first of two", "c, second of two"}));
  record.clear();
  // Now 0.1 is at 0.4, 0.2 at 0.4, 0.3 at 0.6: equal dates, in the order of adding.
  turnAt(0.4);
  EXPECT_EQ(record, (Words{"b", "a"}));
}

TEST_F(TimerTest, RepeatingTimersThatMeetFireInTheOrderOfAdding) {
  // 3 x 0.1 and 1 x 0.3 are different doubles, and one and the same moment.
  scheduled(0.1, true, [&](const Ref<NSTimer>&) { record.push_back("0.1"); });
  scheduled(0.3, true, [&](const Ref<NSTimer>&) { record.push_back("0.3"); });
  runFor(0.3);
  EXPECT_EQ(record, (Words{"0.1", "0.1", "0.1", "0.3"}));
}

TEST_F(TimerTest, ATimerAddedByAHandlerWaitsForTheNextTurn) {
  int fired = 0;
  NSTimer::Handler again = [&](const Ref<NSTimer>&) {
    ++fired;
    NSRunLoop::currentRunLoop()->addTimerForMode(
        NSTimer::initWithFireDateIntervalRepeatsBlock(NSDate::distantPast(), 1, false,
                                                      [&](const Ref<NSTimer>&) { ++fired; }),
        NSDefaultRunLoopMode);
  };
  scheduled(1, false, again);
  turnAt(1);
  EXPECT_EQ(fired, 1);
  turn();
  EXPECT_EQ(fired, 2);
}

TEST_F(TimerTest, AHandlerThatThrowsLeavesTheTimerOnItsGrid) {
  const Ref<NSTimer> repeating = scheduled(1, true, [&](const Ref<NSTimer>&) {
    times.push_back(elapsed());
    if (times.size() == 1) throw std::runtime_error("out of a timer");
  });
  const Ref<NSTimer> once = scheduled(1, false, [](const Ref<NSTimer>&) { throw 1; });
  clock.advance(1);
  EXPECT_THROW(turn(), std::runtime_error);
  EXPECT_TRUE(repeating->isValid());
  EXPECT_EQ(repeating->fireDate(), dateAt(2));
  EXPECT_THROW(turn(), int);
  EXPECT_FALSE(once->isValid());
  runFor(1);
  EXPECT_EQ(times, (Times{1, 2}));
}

TEST_F(TimerTest, ToleranceIsKeptWithinReason) {
  const Ref<NSTimer> timer = scheduled(2, true, noting());
  EXPECT_EQ(timer->tolerance(), 0);
  timer->setTolerance(0.5);
  EXPECT_EQ(timer->tolerance(), 0.5);
  timer->setTolerance(-1);
  EXPECT_EQ(timer->tolerance(), 0);
  timer->setTolerance(50);
  EXPECT_EQ(timer->tolerance(), 1);
  runFor(2);
  EXPECT_EQ(times, Times{2});
}

TEST_F(TimerTest, AThousandTimersAreCheapAndInOrder) {
  std::vector<int> order;
  std::vector<Ref<NSTimer>> timers;
  for (int i = 0; i < 10000; ++i) {
    timers.push_back(
        scheduled(1 + ((i * 7919) % 10000) * 0.001, false,
                  [&, i](const Ref<NSTimer>&) { order.push_back((i * 7919) % 10000); }));
  }
  for (int i = 0; i < 10000; i += 2) timers[i]->invalidate();
  runFor(20);
  EXPECT_EQ(order.size(), 5000u);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

// A target with a message that takes the timer, and one that takes nothing.

class TimerTarget : public Subclass<TimerTarget, NSObject> {
 public:
  void timerFired(const Ref<NSTimer>& timer) {
    ++fired;
    userInfo = timer->userInfo();
  }
  void tick() { ++ticks; }

  int fired = 0;
  int ticks = 0;
  Value userInfo;
};

int classFired = 0;

const ClassDeclaration<TimerTarget> declarationOfTimerTarget =
    ClassDeclaration<TimerTarget>()
        .operation("timerFired:", &TimerTarget::timerFired)
        .operation("tick", &TimerTarget::tick)
        .classOperation(
            "classFired:", +[](const Ref<NSTimer>& timer) {
              if (timer->userInfo().isString()) ++classFired;
            });

TEST_F(TimerTest, ATargetGetsItsMessageWithTheTimer) {
  const auto target = makeObject<TimerTarget>();
  NSTimer::scheduledTimerWithTimeIntervalTargetSelectorUserInfoRepeats(
      1, target, "timerFired:", "details", true);
  runFor(2);
  EXPECT_EQ(target->fired, 2);
  EXPECT_EQ(target->userInfo, Value("details"));
}

TEST_F(TimerTest, AMessageWithoutArgumentsIsSentAsItIs) {
  const auto target = makeObject<TimerTarget>();
  NSTimer::scheduledTimerWithTimeIntervalTargetSelectorUserInfoRepeats(1, target, "tick", nullptr,
                                                                       false);
  runFor(5);
  EXPECT_EQ(target->ticks, 1);
}

TEST_F(TimerTest, ATargetMayBeAClass) {
  classFired = 0;
  const Ref<NSTimer> timer = NSTimer::initWithFireDateIntervalTargetSelectorUserInfoRepeats(
      dateAt(1), 1, TimerTarget::classObject, "classFired:", "details", true);
  NSRunLoop::currentRunLoop()->addTimerForMode(timer, NSDefaultRunLoopMode);
  runFor(3);
  EXPECT_EQ(classFired, 3);
}

TEST_F(TimerTest, AnUnknownMessageRaisesWhenTheTimerFires) {
  NSTimer::scheduledTimerWithTimeIntervalTargetSelectorUserInfoRepeats(
      1, makeObject<TimerTarget>(), "noSuchMessage:", nullptr, false);
  clock.advance(1);
  EXPECT_THROW(turn(), Raised);
}

TEST_F(TimerTest, TargetAndUserInfoLiveUntilTheTimerIsInvalid) {
  const auto target = makeObject<TimerTarget>();
  auto userInfo = makeObject<ReleaseProbe>();
  const Ref<NSTimer> timer = NSTimer::scheduledTimerWithTimeIntervalTargetSelectorUserInfoRepeats(
      1, target, "timerFired:", userInfo, true);
  userInfo = nullptr;
  EXPECT_EQ(target->retainCount(), 2u);
  EXPECT_EQ(ReleaseProbe::alive, 1);
  timer->invalidate();
  EXPECT_EQ(target->retainCount(), 1u);
  EXPECT_EQ(ReleaseProbe::alive, 0);
  EXPECT_TRUE(timer->userInfo().isNull());
}

TEST_F(TimerTest, TheRunLoopKeepsATimerUntilItIsInvalid) {
  auto timer = scheduled(1, true, noting());
  NSTimer* borrowed = timer.get();
  EXPECT_EQ(timer->retainCount(), 2u);
  timer = nullptr;
  runFor(1);
  EXPECT_EQ(times, Times{1});
  Ref<NSTimer> again(borrowed);
  again->invalidate();
  EXPECT_EQ(again->retainCount(), 1u);
}

TEST_F(TimerTest, TheRuntimeKnowsTimersByName) {
  const Ref<NSTimer> timer = scheduled(2, true, noting());
  EXPECT_EQ(timer->valueForKey("timeInterval"), Value(2));
  EXPECT_EQ(timer->valueForKey("valid"), Value(true));
  performSelector(timer, "fire");
  EXPECT_EQ(times, Times{0});
  performSelector(timer, "invalidate");
  EXPECT_FALSE(timer->isValid());
}

TEST(TimerDeathTest, ANullBlockStopsTheProcess) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(NSTimer::timerWithTimeIntervalRepeatsBlock(1, true, nullptr),
               "block must not be null");
}

}  // namespace
}  // namespace JNFoundation
