#include <thread>

#include "DeferredFixture.h"

#include <JNFoundation/deferred/Coroutine.h>
#include <JNFoundation/deferred/DeferredTrace.h>
#include <JNFoundation/deferred/PLVDeferredEnumeration.h>
#include <JNFoundation/deferred/PLVRejectedIgnored.h>
#include <JNFoundation/deferred/UnhandledRejections.h>
#include <JNFoundation/platform/dispatch/NSLog.h>

namespace JNFoundation {
namespace {

class UnhandledRejections : public DeferredFixture {
 protected:
  void SetUp() override {
    setUnhandledRejectionHook([this](const UnhandledRejection& unhandled) {
      EXPECT_TRUE(MainQueue::isMainThread());
      record.push_back(std::string(unhandled.kind) + " " + text(unhandled.rejected));
    });
  }
  void TearDown() override {
    setUnhandledRejectionHook(nullptr);
    DeferredFixture::TearDown();
  }

  static Words reported(const std::string& line) { return {line}; }
  static inline const Words nothing;
};

// What is reported.

TEST_F(UnhandledRejections, ARejectedDeferredIsReportedWhenItsLastReferenceGoes) {
  Ref<PLVDeferred> deferred = PLVDeferred::withRejected("lost");
  Ref<PLVDeferred> another = deferred;
  deferred = nullptr;
  EXPECT_EQ(happened(), nothing);
  another = nullptr;
  EXPECT_EQ(happened(), reported("PLVDeferred PLVRejected [lost]"));
}

TEST_F(UnhandledRejections, ARejectedPromiseIsReported) {
  PLVPromise::withRejected("lost");
  EXPECT_EQ(happened(), reported("PLVPromise PLVRejected [lost]"));
}

TEST_F(UnhandledRejections, WhatAHandlerRaisedIsReported) {
  PLVDeferred::withResolved(1)->thenResolved(raising("step"));
  EXPECT_EQ(happened(), (Words{"step 1", "PLVDeferred PLVRejected [step raised]"}));
}

TEST_F(UnhandledRejections, WhatAHandlerReturnedIsReported) {
  PLVDeferred::withResolved(1)->thenResolved(
      [](const Value&) { return PLVRejected::withValue("made here"); });
  EXPECT_EQ(happened(), reported("PLVDeferred PLVRejected [made here]"));
}

TEST_F(UnhandledRejections, AHandlerOfSuccessesSeesNothing) {
  PLVDeferred::withRejected("lost")->thenResolved(noting("success"));
  EXPECT_EQ(happened(), reported("PLVDeferred PLVRejected [lost]"));
}

TEST_F(UnhandledRejections, AStepWithoutAHandlerOfFailuresSeesNothing) {
  PLVDeferred::withRejected("lost")->thenResolvedRejected(noting("success"), nullptr);
  Ref<PLVDeferred> deferred = PLVDeferred::withRejected("lost as well");
  deferred->addStep(
      PLVDeferredStep::initWithResolvedBlockRejectedBlock(noting("success"), nullptr));
  deferred = nullptr;
  EXPECT_EQ(happened(),
            (Words{"PLVDeferred PLVRejected [lost]", "PLVDeferred PLVRejected [lost as well]"}));
}

TEST_F(UnhandledRejections, ASecondFailureBehindAHandledOneIsReported) {
  PLVDeferred::withRejected("first")
      ->thenRejected(returning("handler", "recovered"))
      ->thenResolved(raising("step"));
  EXPECT_EQ(happened(), (Words{"handler PLVRejected [first]", "step recovered",
                               "PLVDeferred PLVRejected [step raised]"}));
}

TEST_F(UnhandledRejections, AFailureBehindAForwardedOneIsReported) {
  Ref<PLVDeferred> receiver = PLVDeferred::init();
  receiver->thenRejected(noting("receiver"));
  PLVDeferred::withRejected("first")->thenResolve(receiver)->thenRejected(
      returning("handler", PLVRejected::withValue("second")));
  EXPECT_EQ(happened(), (Words{"receiver PLVRejected [first]", "handler PLVRejected [first]",
                               "PLVDeferred PLVRejected [second]"}));
}

TEST_F(UnhandledRejections, TheReceiverIsJudgedForWhatWasForwarded) {
  Ref<PLVDeferred> receiver = PLVDeferred::init();
  Ref<PLVDeferred> sender = PLVDeferred::withRejected("lost")->thenResolve(receiver);
  sender = nullptr;
  EXPECT_EQ(happened(), nothing);
  receiver = nullptr;
  EXPECT_EQ(happened(), reported("PLVDeferred PLVRejected [lost]"));
}

TEST_F(UnhandledRejections, WhoeverWaitedIsJudgedForWhatItGot) {
  Ref<PLVDeferred> inner = PLVDeferred::init();
  Ref<PLVDeferred> outer = PLVDeferred::withResolved(inner);
  inner->reject("lost");
  inner = nullptr;
  EXPECT_EQ(happened(), nothing);
  outer = nullptr;
  EXPECT_EQ(happened(), reported("PLVDeferred PLVRejected [lost]"));
}

TEST_F(UnhandledRejections, AWaitingPromiseIsJudgedForWhatItGot) {
  Ref<PLVDeferred> inner = PLVDeferred::init();
  Ref<PLVPromise> outer = PLVPromise::withResolved(inner);
  inner->reject("lost");
  inner = nullptr;
  EXPECT_EQ(happened(), nothing);
  outer = nullptr;
  EXPECT_EQ(happened(), reported("PLVPromise PLVRejected [lost]"));
}

TEST_F(UnhandledRejections, ListenersAreJudgedForWhatThePromiseGaveThem) {
  Ref<PLVPromise> promise = PLVPromise::init();
  Ref<PLVDeferred> early = promise->deferredResolution();
  promise->reject("lost");
  Ref<PLVPromise> late = promise->promisedResolution();
  promise = nullptr;
  EXPECT_EQ(happened(), nothing);
  early = nullptr;
  EXPECT_EQ(happened(), reported("PLVDeferred PLVRejected [lost]"));
  late = nullptr;
  EXPECT_EQ(happened(), nothing) << "a rejection is reported once";
}

TEST_F(UnhandledRejections, APromiseWhoseCallbackIsNullIsReported) {
  PLVPromise::withRejected("lost")->whenFulfilled(nullptr);
  EXPECT_EQ(happened(), reported("PLVPromise PLVRejected [lost]"));
}

TEST_F(UnhandledRejections, AResolutionThatWasReadBeforeTheFailureDoesNotHideIt) {
  Ref<PLVDeferred> deferred = PLVDeferred::withResolved(1);
  EXPECT_EQ(deferred->resolution(), Value(1));
  deferred->thenResolved(raising("step"));
  deferred = nullptr;
  EXPECT_EQ(happened(), (Words{"step 1", "PLVDeferred PLVRejected [step raised]"}));
}

TEST_F(UnhandledRejections, AskingWhetherThereIsAnOutcomeIsNotSeeingIt) {
  EXPECT_TRUE(PLVDeferred::withRejected("lost")->isResolved());
  EXPECT_EQ(happened(), reported("PLVDeferred PLVRejected [lost]"));
}

TEST_F(UnhandledRejections, ADeferredThatDiesElsewhereIsReportedOnTheMainThread) {
  Ref<PLVDeferred> deferred = PLVDeferred::withRejected("lost");
  std::thread([moved = std::move(deferred)]() mutable { moved = nullptr; }).join();
  EXPECT_EQ(happened(), nothing);
  turn();
  EXPECT_EQ(happened(), reported("PLVDeferred PLVRejected [lost]"));
}

TEST_F(UnhandledRejections, ASubclassIsReportedAsWell) {
  class Upload : public Subclass<Upload, PLVDeferred> {};
  Upload::withRejected("lost");
  EXPECT_EQ(happened(), reported("PLVDeferred PLVRejected [lost]"));
}

Ref<PLVDeferred> awaitingUnhandled(Ref<PLVDeferred> awaited) { co_return co_await awaited; }

Ref<PLVDeferred> catching(Ref<PLVDeferred> awaited) {
  try {
    co_return co_await awaited;
  } catch (const Rejected&) {
    co_return "caught";
  }
}

TEST_F(UnhandledRejections, AFailureThatLeavesACoroutineIsReported) {
  awaitingUnhandled(PLVDeferred::withRejected("lost"));
  EXPECT_EQ(happened(), reported("PLVDeferred PLVRejected [lost]"));
}

TEST_F(UnhandledRejections, AHandlerThatIsSkippedBecauseItsOwnerHasGoneSeesNothing) {
  auto owner = std::make_shared<int>(1);
  Ref<PLVDeferred> deferred = PLVDeferred::withRejected("lost");
  const std::weak_ptr<int> guard(owner);
  owner = nullptr;
  deferred->thenRejected(guard, [](const Ref<PLVRejected>& rejected) { return rejected; });
  deferred->thenEither(guard, [](const Value& value) { return value; });
  deferred = nullptr;
  EXPECT_EQ(happened(), reported("PLVDeferred PLVRejected [lost]"));
}

TEST_F(UnhandledRejections, AHandlerWhoseOwnerLivesSees) {
  const auto owner = std::make_shared<int>(1);
  PLVDeferred::withRejected("seen")->thenRejected(
      std::weak_ptr<int>(owner), [](const Ref<PLVRejected>& rejected) { return rejected; });
  EXPECT_EQ(happened(), nothing);
}

// What is not reported. Each of these would be a false alarm.

TEST_F(UnhandledRejections, WhatAHandlerGotIsNotReported) {
  PLVDeferred::withRejected("a")->thenRejected(noting("rejected"));
  PLVDeferred::withRejected("b")->thenEither(noting("either"));
  PLVDeferred::withRejected("c")->thenEitherUnlessCanceled(noting("unless"));
  PLVDeferred::withRejected("d")->thenResolvedRejected(noting("success"), noting("both"));
  EXPECT_EQ(happened(), (Words{"rejected PLVRejected [a]", "either PLVRejected [b]",
                               "unless PLVRejected [c]", "both PLVRejected [d]"}));
}

TEST_F(UnhandledRejections, AHandlerThatComesLaterIsInTime) {
  Ref<PLVDeferred> deferred = PLVDeferred::withRejected("late");
  deferred->thenResolved(noting("success"));
  turn();
  deferred->thenRejected(noting("rejected"));
  deferred = nullptr;
  EXPECT_EQ(happened(), Words{"rejected PLVRejected [late]"});
}

TEST_F(UnhandledRejections, AReadResolutionIsNotReported) {
  Ref<PLVDeferred> deferred = PLVDeferred::withRejected("read");
  EXPECT_TRUE(isKindOf<PLVRejected>(deferred->resolution()));
  deferred = nullptr;
  Ref<PLVPromise> promise = PLVPromise::withRejected("read");
  EXPECT_TRUE(isKindOf<PLVRejected>(promise->resolution()));
  promise = nullptr;
  EXPECT_EQ(happened(), nothing);
}

TEST_F(UnhandledRejections, WhatAnybodyHasSeenIsNotReportedForAnother) {
  Ref<PLVPromise> promise = PLVPromise::init();
  Ref<PLVDeferred> unconcerned = promise->deferredResolution();
  promise->whenFulfilled(fulfilled("callback"));
  promise->reject("seen");
  unconcerned = nullptr;
  promise = nullptr;
  EXPECT_EQ(happened(), Words{"callback (null) PLVRejected [seen]"});
}

TEST_F(UnhandledRejections, WhatTheApplicationMarksAsSeenIsNotReported) {
  const Ref<PLVRejected> rejected = PLVRejected::withValue("known");
  EXPECT_FALSE(rejected->wasSeen());
  rejected->markAsSeen();
  PLVDeferred::withRejected(rejected);
  EXPECT_EQ(happened(), nothing);
}

TEST_F(UnhandledRejections, CancellationsAreNotReported) {
  Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->cancelWithValue("reason");
  deferred = nullptr;
  Ref<PLVPromise> promise = PLVPromise::init();
  promise->cancel();
  promise = nullptr;
  PLVDeferred::withResolved(PLVRejected::cancellation());
  PLVPromise::withRejected(PLVRejected::cancellation());
  EXPECT_EQ(happened(), nothing);
}

TEST_F(UnhandledRejections, AFailureThatWasCancelledAfterwardsIsNotReported) {
  Ref<PLVDeferred> deferred = PLVDeferred::withRejected("no longer wanted");
  deferred->cancel();
  deferred = nullptr;
  Ref<PLVPromise> promise = PLVPromise::withRejected("no longer wanted");
  promise->cancel();
  promise = nullptr;
  EXPECT_EQ(happened(), nothing);
}

TEST_F(UnhandledRejections, AFailureOfACancelledChainIsNotReported) {
  Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved([&deferred](const Value&) -> Value {
    deferred->cancel();
    return PLVRejected::withValue("of no interest");
  });
  deferred->thenResolved(noting("behind"));
  deferred->resolve(1);
  deferred = nullptr;
  EXPECT_EQ(happened(), Words{"behind 1"});
}

TEST_F(UnhandledRejections, DroppedSecondOutcomesAreNotReported) {
  Ref<PLVDeferred> deferred = PLVDeferred::withResolved(1);
  deferred->reject("second");
  deferred = nullptr;
  Ref<PLVPromise> promise = PLVPromise::withResolved(1);
  promise->reject("second");
  promise = nullptr;
  EXPECT_EQ(happened(), nothing);
}

TEST_F(UnhandledRejections, WhatCameSecondAtItsReceiverIsNotReported) {
  Ref<PLVDeferred> receiver = PLVDeferred::withResolved("first");
  PLVDeferred::withRejected("second")->thenResolve(receiver);
  EXPECT_EQ(happened(), nothing);
}

TEST_F(UnhandledRejections, AnApplicationsOwnReceiverAnswersForWhatItGets) {
  const Ref<Listener> listener = Listener::answering(
      [this](const Value& value) { record.push_back("listener " + text(value)); });
  PLVDeferred::withRejected("a")->thenResolve(listener);
  Ref<PLVPromise> promise = PLVPromise::withRejected("b");
  promise->enlistResolvable(listener);
  promise = nullptr;
  EXPECT_EQ(happened(), (Words{"listener PLVRejected [a]", "listener PLVRejected [b]"}));
}

TEST_F(UnhandledRejections, IgnoredFailuresAreNotReported) {
  PLVDeferred::withRejected("ignored")->thenRejected([](const Ref<PLVRejected>& rejected) -> Value {
    return PLVRejectedIgnored::withRejected(rejected);
  });
  EXPECT_EQ(happened(), nothing);
}

TEST_F(UnhandledRejections, IgnoreRejectedIsNotReported) {
  PLVDeferred::withRejected("ignored")->ignoreRejected();
  EXPECT_EQ(happened(), nothing);
}

TEST_F(UnhandledRejections, AFailureAfterTheTimeLimitIsNotReported) {
  Ref<PLVDeferred> work = PLVDeferred::init();
  Ref<PLVDeferred> limited = work->timeout(0);
  limited->thenRejected([](const Ref<PLVRejected>&) { return "timed out"; });
  turn();
  turn();
  ASSERT_TRUE(limited->isResolved());
  work->reject("too late");
  work = nullptr;
  limited = nullptr;
  EXPECT_EQ(happened(), nothing);
}

TEST_F(UnhandledRejections, WhatACombinationRecordedIsReportedOnlyAsItsOwnFailure) {
  PLVDeferred::withAnyResolved(
      NSArray::arrayWithObjects(PLVDeferred::withRejected("a"), PLVDeferred::withResolved(1)));
  EXPECT_EQ(happened(), nothing);
}

TEST_F(UnhandledRejections, AWalkIgnoresFailures) {
  PLVDeferredEnumeration::enumerateObjectsUsingBlock(NSArray::arrayWithObjects(1, 2),
                                                     [](const Value&, NSUInteger, bool&) -> Value {
                                                       return PLVDeferred::withRejected("ignored");
                                                     });
  EXPECT_EQ(happened(), nothing);
}

TEST_F(UnhandledRejections, AFailureThatACoroutineCaughtIsNotReported) {
  catching(PLVDeferred::withRejected("caught"));
  EXPECT_EQ(happened(), nothing);
}

TEST_F(UnhandledRejections, ARejectionThatWasNobodysOutcomeIsNotReported) {
  PLVRejected::withValue("never used");
  EXPECT_EQ(happened(), nothing);
}

TEST_F(UnhandledRejections, SuccessesAndWhatHasNoOutcomeAreNotReported) {
  PLVDeferred::init();
  PLVDeferred::withResolved(1);
  PLVPromise::init();
  PLVPromise::withResolved(nullptr);
  EXPECT_EQ(happened(), nothing);
}

TEST_F(UnhandledRejections, NothingIsReportedWhileThereIsNoHook) {
  setUnhandledRejectionHook(nullptr);
  PLVDeferred::withRejected("unwatched");
  DeferredTrace::setEnabled(true);
  PLVDeferred::withRejected("traced");
  DeferredTrace::setEnabled(false);
  EXPECT_EQ(happened(), nothing);
}

// The report and the hook.

TEST_F(UnhandledRejections, TheReportSaysWhatItWasAndWhereItWasMade) {
  std::vector<UnhandledRejection> reports;
  setUnhandledRejectionHook(
      [&reports](const UnhandledRejection& unhandled) { reports.push_back(unhandled); });
  const int line = __LINE__ + 1;
  Ref<PLVDeferred> deferred = PLVDeferred::init();
  DeferredTrace::setLabel(deferred, "feed");
  deferred->reject("timed out");
  deferred = nullptr;
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_EQ(reports[0].place.line, line);
  EXPECT_TRUE(std::string_view(reports[0].place.file).ends_with("UnhandledRejectionsTest.cpp"));
  EXPECT_EQ(text(reports[0].label), "feed");
  EXPECT_EQ(text(reports[0].rejected->value()), "timed out");
  EXPECT_EQ(text(reports[0].description()),
            "Unhandled rejection of the PLVDeferred “feed” made at UnhandledRejectionsTest.cpp:" +
                std::to_string(line) + ": PLVRejected [timed out]");
  reports.clear();
}

TEST_F(UnhandledRejections, EveryWayToMakeOneKnowsItsPlace) {
  class Upload : public Subclass<Upload, PLVDeferred> {};
  class Offer : public Subclass<Offer, PLVPromise> {};
  std::vector<int> lines;
  setUnhandledRejectionHook(
      [&lines](const UnhandledRejection& unhandled) { lines.push_back(unhandled.place.line); });
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVDeferred> source = PLVDeferred::init();
  std::vector<Ref<PLVDeferred>> deferreds;
  std::vector<Ref<PLVPromise>> promises;
  const int line = __LINE__;
  deferreds.push_back(PLVDeferred::init());
  deferreds.push_back(PLVDeferred::withResolutionSource(nullptr));
  deferreds.push_back(PLVDeferred::initWithResolutionSource(nullptr));
  deferreds.push_back(PLVDeferred::withRejected("x"));
  deferreds.push_back(PLVDeferred::withResolved(PLVRejected::withValue("x")));
  deferreds.push_back(PLVDeferred::resolvedBy(source));
  deferreds.push_back(Upload::init());
  deferreds.push_back(Upload::withResolutionSource(nullptr));
  deferreds.push_back(Upload::withRejected("x"));
  deferreds.push_back(Upload::resolvedBy(source));
  deferreds.push_back(promise->deferredResolution());
  promises.push_back(PLVPromise::init());
  promises.push_back(PLVPromise::withResolutionSource(nullptr));
  promises.push_back(PLVPromise::withRejected("x"));
  promises.push_back(PLVPromise::resolvedBy(source));
  promises.push_back(Offer::init());
  promises.push_back(Offer::withRejected("x"));
  promises.push_back(Offer::resolvedBy(source));
  promises.push_back(promise->promisedResolution());
  // An outcome of its own for each, because a rejection is reported once.
  for (auto& deferred : deferreds) deferred->reject("x");
  for (auto& made : promises) made->reject("x");
  // They keep alive who waits for them.
  source->resolve(1);
  promise->resolve(1);
  for (auto& deferred : deferreds) deferred = nullptr;
  for (auto& made : promises) made = nullptr;
  std::vector<int> expected;
  for (int i = 1; i <= 19; ++i) expected.push_back(line + i);
  EXPECT_EQ(lines, expected);
}

TEST_F(UnhandledRejections, WhatWasMadeBeforeTheHookHasNoPlace) {
  setUnhandledRejectionHook(nullptr);
  Ref<PLVDeferred> deferred = PLVDeferred::withRejected("early");
  Words lines;
  setUnhandledRejectionHook([&lines](const UnhandledRejection& unhandled) {
    lines.push_back(text(unhandled.description()));
  });
  deferred = nullptr;
  EXPECT_EQ(lines, Words{"Unhandled rejection of the PLVDeferred: PLVRejected [early]"});
}

TEST_F(UnhandledRejections, OneCallTurnsOnALogLine) {
  Words lines;
  LogSinkScope sink([&lines](const Ref<NSString>& line) { lines.push_back(line->toStdString()); });
  logUnhandledRejections();
  PLVDeferred::withRejected("lost");
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_TRUE(lines[0].starts_with(
      "Unhandled rejection of the PLVDeferred made at UnhandledRejectionsTest.cpp:"));
  EXPECT_TRUE(lines[0].ends_with(": PLVRejected [lost]"));
}

TEST_F(UnhandledRejections, AHookThatRaisesIsLogged) {
  Words lines;
  LogSinkScope sink([&lines](const Ref<NSString>& line) { lines.push_back(line->toStdString()); });
  setUnhandledRejectionHook([](const UnhandledRejection&) { raise("Bad", "no more"); });
  PLVDeferred::withRejected("lost");
  EXPECT_EQ(lines, Words{"The hook for unhandled rejections raised Bad: no more"});
}

TEST_F(UnhandledRejections, AHookMayMakeAndLoseDeferredsAndTakeItselfAway) {
  int calls = 0;
  setUnhandledRejectionHook([&calls](const UnhandledRejection&) {
    if (++calls < 100) {
      PLVDeferred::withRejected("another");
    } else {
      setUnhandledRejectionHook(nullptr);
      PLVDeferred::withRejected("unwatched");
    }
  });
  PLVDeferred::withRejected("first");
  EXPECT_EQ(calls, 100);
}

TEST_F(UnhandledRejections, AHookMayKeepTheFailure) {
  std::vector<Ref<PLVRejected>> kept;
  setUnhandledRejectionHook(
      [&kept](const UnhandledRejection& unhandled) { kept.push_back(unhandled.rejected); });
  for (int i = 0; i < 1000; ++i) PLVDeferred::withRejected(i);
  ASSERT_EQ(kept.size(), 1000u);
  EXPECT_EQ(kept[999]->value(), Value(999));
  kept.clear();
}

TEST_F(UnhandledRejections, ManyThreadsLoseWhatTheyMade) {
  int reports = 0;
  setUnhandledRejectionHook([&reports](const UnhandledRejection&) { ++reports; });
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([] {
      for (int round = 0; round < 200; ++round) PLVDeferred::withRejected(round);
    });
  }
  for (auto& thread : threads) thread.join();
  while (reports < 1600) turn();
  turn();
  EXPECT_EQ(reports, 1600);
}

}  // namespace
}  // namespace JNFoundation
