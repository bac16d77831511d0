#include "tests/fetched/SampleFixture.h"
#include "tests/platform/value/LiveObjects.h"

#include <JNFoundation/fetched/NSFetchedResultsController+PLVRefresh.h>
#include <JNFoundation/fetched/RefreshState.h>
#include <JNFoundation/platform/dispatch/ManualClock.h>
#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/value/NSDate.h>

namespace JNFoundation {
namespace {

using Phase = RefreshStatus::Phase;

class Server : public Subclass<Server, NSObject> {};

class RefreshStateTest : public SampleTest {
 protected:
  void SetUp() override {
    SampleTest::SetUp();
    controller = controllerOf(items());
    provide([this](NSInteger options, const Ref<NSObject>&,
                   const Ref<NSFetchedResultsController>& results) {
      EXPECT_EQ(results, controller);
      asked.push_back(options);
      answer = PLVPromise::init();
      return answer;
    });
    state = RefreshState::withController(controller);
    watch();
  }

  void provide(PLVRefreshBlock block) {
    plv_setRefreshProviderBlock(controller, server, std::move(block));
  }

  /// Notes "fresh@<seconds since the start>", with "!" where it is stale.
  static std::string textOf(const RefreshStatus& status) {
    static const char* const names[] = {"idle", "loading", "fresh", "failed"};
    std::string text = names[static_cast<int>(status.phase)];
    if (status.since) {
      text += "@" + std::to_string(static_cast<int>(status.since.timeIntervalSince1970() - 1e9));
    }
    if (status.isStale) text += "!";
    if (const auto error = status.error()) text += " " + std::to_string(error->code());
    return text;
  }

  void watch() {
    observation = state->observe([this](const RefreshStatus& status) {
      seen += (seen.empty() ? "" : ", ") + textOf(status);
    });
  }

  std::string told() { return std::exchange(seen, ""); }

  static void turn() {
    NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantPast());
  }
  void pass(NSTimeInterval seconds) {
    clock.advance(seconds);
    turn();
  }

  static Ref<NSError> offline() {
    return NSError::errorWithDomainCodeUserInfo("Server", 7, nullptr);
  }

  static std::string outcomeOf(const Ref<PLVPromise>& promise) {
    return promise->isFulfilled() ? promise->resolution().description()->toStdString() : "not yet";
  }

  ManualClock clock;
  ClockScope clockScope{clock};
  Ref<NSFetchedResultsController> controller;
  Ref<Server> server = makeObject<Server>();
  Ref<RefreshState> state;
  Ref<Observation> observation;
  std::vector<NSInteger> asked;
  Ref<PLVPromise> answer;
  std::string seen;
};

TEST_F(RefreshStateTest, NothingIsKnownBeforeTheFirstRefresh) {
  EXPECT_EQ(told(), "idle!");
  EXPECT_TRUE(state->isStale());
  EXPECT_FALSE(state->status().since);
  EXPECT_EQ(state->controller(), controller);
  EXPECT_THROW(RefreshState::withController(nullptr), Raised);
}

TEST_F(RefreshStateTest, ASuccessIsFreshSinceItArrived) {
  const auto promised = state->refresh(5);
  EXPECT_EQ(asked, (std::vector<NSInteger>{5}));
  EXPECT_EQ(told(), "idle!, loading!");
  pass(3);
  EXPECT_EQ(told(), "") << "not yet";
  EXPECT_EQ(outcomeOf(promised), "not yet");
  answer->resolve("data");
  EXPECT_EQ(told(), "fresh@3");
  EXPECT_EQ(outcomeOf(promised), "data");
  EXPECT_FALSE(state->isStale());
}

TEST_F(RefreshStateTest, AFailureKeepsTheDateOfTheLastSuccess) {
  state->refresh();
  answer->resolve(nullptr);
  pass(10);
  const auto promised = state->refresh();
  answer->reject(offline());
  EXPECT_EQ(told(), "idle!, loading!, fresh@0, loading@0, failed@0 7");
  EXPECT_FALSE(state->isStale()) << "what is there is as fresh as it was";
  EXPECT_TRUE(state->status().error()->isEqual(offline()));
  EXPECT_TRUE(isKindOf<PLVRejected>(promised->resolution()));
  state->refresh();
  EXPECT_EQ(told(), "loading@0") << "the error is gone";
  answer->reject("no error object");
  EXPECT_EQ(told(), "failed@0");
  EXPECT_FALSE(state->status().error());
  EXPECT_EQ(state->status().rejected->value().description()->toStdString(), "no error object");
}

TEST_F(RefreshStateTest, ASecondRefreshJoinsTheOneUnderWay) {
  const auto first = state->refresh(1), second = state->refresh(2),
             third = state->refreshIfStale(3);
  EXPECT_EQ(asked, (std::vector<NSInteger>{1}));
  EXPECT_EQ(told(), "idle!, loading!");
  EXPECT_NE(first, second);
  second->cancel();
  EXPECT_EQ(told(), "") << "one who leaves ends nothing";
  answer->resolve("data");
  EXPECT_EQ(outcomeOf(first), "data");
  EXPECT_EQ(outcomeOf(third), "data");
  EXPECT_NE(outcomeOf(second), "data");
  state->refresh(4);
  EXPECT_EQ(asked, (std::vector<NSInteger>{1, 4}));
}

TEST_F(RefreshStateTest, TheLastWhoLeavesDoesNotEndItEither) {
  state->refresh()->cancel();
  EXPECT_TRUE(answer->isOutstanding());
  answer->resolve("data");
  EXPECT_EQ(told(), "idle!, loading!, fresh@0");
}

TEST_F(RefreshStateTest, CancellingBringsBackThePhaseAndTellsTheProvider) {
  state->cancel();
  EXPECT_EQ(told(), "idle!") << "there is nothing to cancel";
  const auto promised = state->refresh();
  const auto first = answer;
  state->cancel();
  EXPECT_EQ(told(), "loading!, idle!");
  ASSERT_TRUE(promised->isFulfilled());
  EXPECT_TRUE(as<PLVRejected>(Value(promised->resolution()))->isCancellation());
  EXPECT_TRUE(first->isFulfilled()) << "nobody waits for it any more";
  first->resolve("late");
  EXPECT_EQ(told(), "");

  state->refresh();
  answer->reject(offline());
  EXPECT_EQ(told(), "loading!, failed! 7");
  state->refresh();
  const auto others = answer->promisedResolution();
  state->cancel();
  EXPECT_EQ(told(), "loading!, failed! 7");
  EXPECT_TRUE(answer->isOutstanding()) << "others wait for it";
  answer->resolve("data");
  EXPECT_EQ(outcomeOf(others), "data");
  EXPECT_EQ(told(), "");
}

TEST_F(RefreshStateTest, AProviderThatCancelsBringsBackThePhase) {
  state->refresh();
  answer->cancel();
  EXPECT_EQ(told(), "idle!, loading!, idle!");
}

TEST_F(RefreshStateTest, AnAnswerAtOnceIsToldInOrder) {
  provide([](NSInteger, const Ref<NSObject>&, const Ref<NSFetchedResultsController>&) {
    return PLVPromise::withResolved("data");
  });
  EXPECT_EQ(outcomeOf(state->refresh()), "data");
  EXPECT_EQ(told(), "idle!, loading!, fresh@0");
  // Null is nothing to wait for.
  provide([](NSInteger, const Ref<NSObject>&, const Ref<NSFetchedResultsController>&) {
    return Ref<PLVPromise>();
  });
  EXPECT_EQ(outcomeOf(state->refresh()), "(null)");
  EXPECT_EQ(told(), "loading@0, fresh@0");
}

TEST_F(RefreshStateTest, AProviderThatIsMissingOrRaisesHasFailed) {
  provide([](NSInteger, const Ref<NSObject>&,
             const Ref<NSFetchedResultsController>&) -> Ref<PLVPromise> {
    raise(NSGenericException, "not today");
  });
  EXPECT_TRUE(isKindOf<PLVRejected>(state->refresh()->resolution()));
  EXPECT_EQ(told(), "idle!, loading!, failed!");
  server = nullptr;
  state->refresh();
  EXPECT_EQ(told(), "loading!, failed! 1066150");
}

// ---- Age ----------------------------------------------------------------------------------------

TEST_F(RefreshStateTest, WhatIsFreshBecomesStaleByAge) {
  state->setStaleInterval(60);
  state->refresh();
  answer->resolve(nullptr);
  EXPECT_EQ(told(), "idle!, loading!, fresh@0");
  EXPECT_EQ(outcomeOf(state->refreshIfStale()), "(null)");
  EXPECT_EQ(asked.size(), 1u) << "it is fresh";
  pass(59.9);
  EXPECT_EQ(told(), "");
  EXPECT_FALSE(state->isStale());
  clock.advance(0.1);
  EXPECT_TRUE(state->isStale()) << "before anybody is told";
  turn();
  EXPECT_EQ(told(), "fresh@0!");
  EXPECT_EQ(outcomeOf(state->refreshIfStale()), "not yet");
  EXPECT_EQ(asked.size(), 2u);
  pass(5);
  answer->resolve(nullptr);
  EXPECT_EQ(told(), "loading@0!, fresh@65");
  pass(59);
  EXPECT_EQ(told(), "");
}

TEST_F(RefreshStateTest, AnotherIntervalCountsFromTheLastSuccess) {
  EXPECT_EQ(state->staleInterval(), std::numeric_limits<NSTimeInterval>::infinity());
  state->refresh();
  answer->resolve(nullptr);
  pass(1e9);
  EXPECT_EQ(told(), "idle!, loading!, fresh@0") << "it does not age";
  state->setStaleInterval(10);
  EXPECT_EQ(told(), "fresh@0!");
  state->setStaleInterval(2e9);
  EXPECT_EQ(told(), "fresh@0");
  for (const NSTimeInterval nothing : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
    state->setStaleInterval(nothing);
    EXPECT_TRUE(state->isStale());
  }
  EXPECT_EQ(told(), "fresh@0!");
  state->refresh();
  answer->resolve(nullptr);
  EXPECT_EQ(told(), "loading@0!, fresh@1000000000!");
}

TEST_F(RefreshStateTest, ItAgesWhileItLoads) {
  state->setStaleInterval(10);
  state->refresh();
  answer->resolve(nullptr);
  pass(8);
  state->refresh();
  pass(2);
  EXPECT_EQ(told(), "idle!, loading!, fresh@0, loading@0, loading@0!");
  state->cancel();
  EXPECT_EQ(told(), "fresh@0!");
}

// ---- Observers ----------------------------------------------------------------------------------

TEST_F(RefreshStateTest, AnObserverIsToldUntilItStopsOrIsLetGoOf) {
  told();
  std::string others;
  auto other = state->observe([&](const RefreshStatus& status) { others += textOf(status) + ","; });
  EXPECT_EQ(std::exchange(others, ""), "idle!,") << "as it is";
  EXPECT_EQ(told(), "");
  state->refresh();
  EXPECT_EQ(std::exchange(others, ""), "loading!,");
  other->stop();
  observation = nullptr;
  EXPECT_EQ(told(), "loading!");
  answer->resolve(nullptr);
  EXPECT_EQ(others + told(), "");
}

TEST_F(RefreshStateTest, WhatObserversDoIsToldAfterwardsAndInOrder) {
  told();
  Ref<Observation> late;
  std::string lateTold;
  const auto first = state->observe([&](const RefreshStatus& status) {
    if (status.phase != Phase::Loading || late) return;
    state->cancel();
    state->refresh();
    late = state->observe([&](const RefreshStatus& each) { lateTold += textOf(each) + ","; });
  });
  // The one that was there before `first` hears all of it once; who comes late, what came since.
  state->refresh();
  EXPECT_EQ(told(), "loading!, idle!, loading!");
  EXPECT_EQ(lateTold, "loading!,");
  EXPECT_EQ(asked.size(), 1u) << "the cancelled one did not reach the provider";
  answer->resolve(nullptr);
  EXPECT_EQ(lateTold, "loading!,fresh@0,");
}

TEST_F(RefreshStateTest, AnObserverMayStopItselfAndLetGoOfTheState) {
  observation->stop();
  told();
  int times = 0;
  observation = state->observe([&](const RefreshStatus& status) {
    ++times;
    if (status.phase != Phase::Loading) return;
    observation->stop();
    observation = nullptr;
    state = nullptr;
  });
  const auto promised = state->refresh();
  EXPECT_EQ(times, 2);
  ASSERT_TRUE(answer);
  answer->resolve("data");
  EXPECT_EQ(outcomeOf(promised), "data") << "the promise is kept";
}

TEST_F(RefreshStateTest, NothingIsLeftAlive) {
  testing::LiveObjects live;
  const auto before = live.count();
  {
    auto other = RefreshState::withController(controller);
    other->setStaleInterval(10);
    const auto watching = other->observe([](const RefreshStatus&) {});
    other->refresh();
    answer->resolve(nullptr);
    other->refresh();
    other->cancel();
    other->refresh();
    other = nullptr;
    answer->resolve(nullptr);
    answer = nullptr;
  }
  pass(20);
  EXPECT_EQ(live.count(), before);
}

}  // namespace
}  // namespace JNFoundation
