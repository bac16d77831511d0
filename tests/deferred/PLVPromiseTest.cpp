#include "DeferredFixture.h"

#include <JNFoundation/deferred/PLVPromise.h>

namespace JNFoundation {
namespace {

class PLVPromiseTest : public DeferredFixture {
 protected:
  /// A listener that leaves "name value" in the record.
  Ref<Listener> listener(std::string name) {
    return Listener::answering([this, name = std::move(name)](const Value& value) {
      record.push_back(name + " " + text(value));
    });
  }
};

// Making one

TEST_F(PLVPromiseTest, StartsOutstandingAndWithoutListeners) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  EXPECT_FALSE(promise->isFulfilled());
  EXPECT_TRUE(promise->isOutstanding());
  EXPECT_TRUE(promise->shouldProcessResolvableCancellations());
  EXPECT_TRUE(promise->resolution().isNull());
  EXPECT_FALSE(promise->resolvables());
}

TEST_F(PLVPromiseTest, WithResolvedIsFulfilledAtOnce) {
  const Ref<PLVPromise> promise = PLVPromise::withResolved(1);
  EXPECT_TRUE(promise->isFulfilled());
  EXPECT_FALSE(promise->isOutstanding());
  EXPECT_EQ(promise->resolution(), Value(1));
}

TEST_F(PLVPromiseTest, WithRejectedWrapsItsValueButKeepsARejection) {
  EXPECT_EQ(text(PLVPromise::withRejected(1)->resolution()), "PLVRejected [1]");
  const Value failure = PLVRejected::withValue(1);
  EXPECT_TRUE(PLVPromise::withRejected(failure)->resolution().isIdentical(failure));
}

TEST_F(PLVPromiseTest, ResolvedByIsFulfilledWithTheFinalValueOfTheDeferred) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved(returning("deferred", "final"));
  const Ref<PLVPromise> promise = PLVPromise::resolvedBy(deferred);
  EXPECT_FALSE(promise->isFulfilled());
  deferred->resolve("first");
  EXPECT_EQ(happened(), Words{"deferred first"});
  EXPECT_EQ(promise->resolution(), Value("final"));
}

TEST_F(PLVPromiseTest, ResolvedByNullIsFulfilledWithNull) {
  const Ref<PLVPromise> promise = PLVPromise::resolvedBy(nullptr);
  EXPECT_TRUE(promise->isFulfilled());
  EXPECT_TRUE(promise->resolution().isNull());
}

TEST_F(PLVPromiseTest, GetPromiseStoresAPromiseOfTheDeferred) {
  Ref<PLVPromise> promise;
  PLVPromise::getPromiseResolvedBy(&promise, PLVDeferred::withResolved(1));
  ASSERT_TRUE(promise);
  EXPECT_EQ(promise->resolution(), Value(1));
  PLVPromise::getPromiseResolvedBy(&promise, nullptr);
  EXPECT_TRUE(promise->isFulfilled());
  EXPECT_TRUE(promise->resolution().isNull());
}

TEST_F(PLVPromiseTest, GetPromiseWithNowhereToStoreItDoesNotEvenObserveTheDeferred) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  const std::int64_t before = live.count();
  PLVPromise::getPromiseResolvedBy(nullptr, deferred);
  EXPECT_EQ(live.count(), before) << "a step was added";
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
TEST_F(PLVPromiseTest, DeprecatedFormsDoWhatTheirSuccessorsDo) {
  EXPECT_EQ(PLVPromise::promiseWithResolved(1)->resolution(), Value(1));
  EXPECT_EQ(text(PLVPromise::promiseWithRejected(1)->resolution()), "PLVRejected [1]");
}
#pragma GCC diagnostic pop

// Outcomes

TEST_F(PLVPromiseTest, TheFirstOutcomeWins) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->enlistResolvable(listener("listener"));
  promise->resolve(1);
  promise->resolve(2);
  promise->reject(3);
  EXPECT_EQ(happened(), Words{"listener 1"});
  EXPECT_EQ(promise->resolution(), Value(1));
}

TEST_F(PLVPromiseTest, RejectSendsTheRejectionByResolve) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->enlistResolvable(listener("listener"));
  promise->reject(1);
  EXPECT_EQ(happened(), Words{"listener PLVRejected [1]"});
}

TEST_F(PLVPromiseTest, ADeferredAsTheOutcomeIsAwaitedToTheEndOfItsChain) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved(returning("deferred", "final"));
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->enlistResolvable(listener("listener"));
  promise->resolve(deferred);
  EXPECT_FALSE(promise->isFulfilled());
  EXPECT_TRUE(promise->resolution().isNull());
  promise->resolve("too late");
  EXPECT_EQ(happened(), Words{});
  deferred->resolve("first");
  EXPECT_EQ(happened(), (Words{"deferred first", "listener final"}));
  EXPECT_TRUE(promise->isFulfilled());
}

TEST_F(PLVPromiseTest, TheAwaitedChainGoesOnWithTheSameValue) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  const Ref<PLVPromise> promise = PLVPromise::withResolved(deferred);
  promise->enlistResolvable(listener("listener"));
  deferred->thenEither(noting("deferred"));
  deferred->reject(1);
  EXPECT_EQ(happened(), (Words{"listener PLVRejected [1]", "deferred PLVRejected [1]"}));
}

TEST_F(PLVPromiseTest, TheAwaitedDeferredIsHeldWeakly) {
  Ref<PLVDeferred> deferred = PLVDeferred::init();
  const Weak<PLVDeferred> weak = deferred;
  const Ref<PLVPromise> promise = PLVPromise::withResolved(deferred);
  EXPECT_TRUE(weak.load());
  deferred = nullptr;
  EXPECT_FALSE(weak.load());
  EXPECT_FALSE(promise->isFulfilled());
}

TEST_F(PLVPromiseTest, AnotherPromiseAsTheOutcomeIsAwaited) {
  const Ref<PLVPromise> inner = PLVPromise::init();
  const Ref<PLVPromise> outer = PLVPromise::withResolved(inner);
  EXPECT_FALSE(outer->isFulfilled());
  EXPECT_EQ(inner->resolvables()->count(), 1u);
  inner->resolve(1);
  EXPECT_EQ(outer->resolution(), Value(1));
}

TEST_F(PLVPromiseTest, AFulfilledPromiseAsTheOutcomeFulfilsAtOnce) {
  EXPECT_EQ(PLVPromise::withResolved(PLVPromise::withResolved(1))->resolution(), Value(1));
}

TEST_F(PLVPromiseTest, ACancellationThatTheAwaitedChainBringsDoesNotCancelThePromise) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  const Ref<PLVPromise> promise = PLVPromise::withResolved(deferred);
  deferred->cancelWithValue(1);
  EXPECT_EQ(text(promise->resolution()), "PLVRejected (CANCELLED) [1]");
  promise->cancelWithValue(2);
  EXPECT_EQ(text(promise->resolution()), "PLVRejected (CANCELLED) [2]")
      << "it was fulfilled with a cancellation, but not yet cancelled itself";
}

// Listeners

TEST_F(PLVPromiseTest, ListenersAreToldInTheOrderOfTheirEnlistmentAndLetGo) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->enlistResolvable(listener("one"));
  promise->deferredResolution()->thenEither(noting("two"));
  promise->promisedResolution()->whenFulfilled(fulfilled("three"));
  EXPECT_EQ(promise->resolvables()->count(), 3u);
  EXPECT_EQ(happened(), Words{});
  promise->resolve(1);
  EXPECT_EQ(happened(), (Words{"one 1", "two 1", "three 1 (null)"}));
  EXPECT_EQ(promise->resolvables()->count(), 0u);
}

TEST_F(PLVPromiseTest, AListenerEnlistedTwiceIsToldOnceInItsFirstPlace) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<Listener> twice = listener("twice");
  promise->enlistResolvable(twice);
  promise->enlistResolvable(listener("other"));
  promise->enlistResolvable(twice);
  promise->resolve(1);
  EXPECT_EQ(happened(), (Words{"twice 1", "other 1"}));
}

TEST_F(PLVPromiseTest, AListenerEnlistedAfterTheOutcomeIsToldAtOnceAndNotKept) {
  const Ref<PLVPromise> promise = PLVPromise::withResolved(1);
  promise->enlistResolvable(listener("late"));
  EXPECT_EQ(happened(), Words{"late 1"});
  EXPECT_FALSE(promise->resolvables());
}

TEST_F(PLVPromiseTest, TheDeferredResolutionOfAFulfilledPromiseIsResolved) {
  EXPECT_EQ(PLVPromise::withResolved(1)->deferredResolution()->resolution(), Value(1));
  const Ref<PLVPromise> rejected = PLVPromise::withRejected(1);
  EXPECT_TRUE(rejected->deferredResolution()->resolution().isIdentical(rejected->resolution()));
}

TEST_F(PLVPromiseTest, EveryDeferredResolutionIsAChainOfItsOwn) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVDeferred> one = promise->deferredResolution(), two = promise->deferredResolution();
  EXPECT_NE(one, two);
  one->thenResolved(returning("one", "changed"));
  two->thenResolved(noting("two"));
  promise->resolve(1);
  EXPECT_EQ(happened(), (Words{"one 1", "two 1"}));
  EXPECT_EQ(promise->resolution(), Value(1));
}

TEST_F(PLVPromiseTest, GetPromisedResolutionStoresItAndDoesNothingWithNowhereToStoreIt) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->getPromisedResolution(nullptr);
  EXPECT_FALSE(promise->resolvables());
  Ref<PLVPromise> derived;
  promise->getPromisedResolution(&derived);
  ASSERT_TRUE(derived);
  promise->resolve(1);
  EXPECT_EQ(derived->resolution(), Value(1));
}

TEST_F(PLVPromiseTest, WhenFulfilledResolveSendsTheOutcomeToTheTarget) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVDeferred> target = PLVDeferred::init();
  promise->whenFulfilledResolve(target);
  EXPECT_FALSE(target->isResolved());
  promise->reject(1);
  EXPECT_EQ(text(target->resolution()), "PLVRejected [1]");
  promise->whenFulfilledResolve(listener("late"));
  EXPECT_EQ(happened(), Words{"late PLVRejected [1]"});
}

TEST_F(PLVPromiseTest, AListenerThatRaisesDoesNotStarveTheOthers) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->enlistResolvable(Listener::answering([](const Value&) { raise("Scripted", "raised"); }));
  promise->enlistResolvable(listener("second"));
  promise->whenFulfilled(fulfilled("callback"));
  EXPECT_NO_THROW(promise->resolve(1));
  EXPECT_EQ(happened(), (Words{"second 1", "callback 1 (null)"}));
}

TEST_F(PLVPromiseTest, AListeningPromiseWhoseCallbackRaisesDoesNotStarveTheOthers) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->promisedResolution()->whenFulfilled(
      [](const Value&, const Ref<PLVRejected>&) { raise("Scripted", "raised"); });
  promise->enlistResolvable(listener("second"));
  EXPECT_NO_THROW(promise->resolve(1));
  EXPECT_EQ(happened(), Words{"second 1"});
}

TEST_F(PLVPromiseTest, WhatALateListenerRaisesGoesToWhoEnlistsIt) {
  const Ref<PLVPromise> promise = PLVPromise::withResolved(1);
  EXPECT_THROW(promise->enlistResolvable(
                   Listener::answering([](const Value&) { raise("Scripted", "raised"); })),
               Raised);
}

TEST_F(PLVPromiseTest, AForeignExceptionOfAListenerLeavesAndTheRestIsToldLater) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->enlistResolvable(Listener::answering([](const Value&) { throw Foreign(); }));
  promise->enlistResolvable(listener("second"));
  promise->whenFulfilled(fulfilled("callback"));
  EXPECT_THROW(promise->resolve(1), Foreign);
  EXPECT_EQ(happened(), Words{});
  EXPECT_TRUE(promise->isFulfilled());
  promise->consume();
  EXPECT_EQ(happened(), (Words{"second 1", "callback 1 (null)"}));
}

TEST_F(PLVPromiseTest, AForeignExceptionPassesPromisesAndChainsInBetween) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVDeferred> chain = promise->deferredResolution();
  const Ref<PLVPromise> end = PLVPromise::resolvedBy(chain);
  chain->thenEither(noting("chain"));
  end->enlistResolvable(Listener::answering([](const Value&) { throw Foreign(); }));
  promise->enlistResolvable(listener("second"));
  EXPECT_THROW(promise->resolve(1), Foreign);
  EXPECT_EQ(happened(), Words{});
  chain->consumeSteps();
  EXPECT_EQ(happened(), Words{"chain 1"});
  promise->consume();
  EXPECT_EQ(happened(), Words{"second 1"});
}

// The callback

TEST_F(PLVPromiseTest, TheCallbackFollowsAllListeners) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->whenFulfilled(fulfilled("callback"));
  promise->enlistResolvable(listener("listener"));
  EXPECT_EQ(happened(), Words{});
  promise->resolve(1);
  EXPECT_EQ(happened(), (Words{"listener 1", "callback 1 (null)"}));
}

TEST_F(PLVPromiseTest, TheCallbackOfAFulfilledPromiseRunsBeforeTheCallReturns) {
  PLVPromise::withResolved(1)->whenFulfilled(fulfilled("callback"));
  EXPECT_EQ(happened(), Words{"callback 1 (null)"});
}

TEST_F(PLVPromiseTest, AFailureGivesTheCallbackANullValueAndTheRejection) {
  PLVPromise::withRejected(1)->whenFulfilled(fulfilled("failed"));
  PLVPromise::withRejected(PLVRejected::cancellation())->whenFulfilled(fulfilled("cancelled"));
  EXPECT_EQ(happened(), (Words{"failed (null) PLVRejected [1]",
                               "cancelled (null) PLVRejected (CANCELLED) [(null)]"}));
}

TEST_F(PLVPromiseTest, ANullOutcomeGivesTheCallbackNullTwice) {
  PLVPromise::withResolved(nullptr)->whenFulfilled(fulfilled("callback"));
  EXPECT_EQ(happened(), Words{"callback (null) (null)"});
}

TEST_F(PLVPromiseTest, EveryCallbackRunsOnceTheLaterOnesAsListeners) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->whenFulfilled(fulfilled("first"));
  promise->whenFulfilled(fulfilled("second"));
  promise->whenFulfilled(fulfilled("third"));
  EXPECT_EQ(promise->resolvables()->count(), 2u);
  EXPECT_EQ(happened(), Words{});
  promise->resolve(1);
  EXPECT_EQ(happened(), (Words{"second 1 (null)", "third 1 (null)", "first 1 (null)"}));
  promise->whenFulfilled(fulfilled("late"));
  EXPECT_EQ(happened(), Words{"late 1 (null)"});
  promise->consume();
  EXPECT_EQ(happened(), Words{});
}

TEST_F(PLVPromiseTest, ANullCallbackTakesThePlaceOfTheFirst) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->whenFulfilled(nullptr);
  promise->whenFulfilled(fulfilled("second"));
  EXPECT_EQ(promise->resolvables()->count(), 1u);
  promise->resolve(1);
  EXPECT_EQ(happened(), Words{"second 1 (null)"});
}

TEST_F(PLVPromiseTest, WhatTheCallbackRaisesGoesToWhoResolvesAndTheCallbackIsReleased) {
  bool released = false;
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->whenFulfilled(
      [atEnd = AtEnd::run([&] { released = true; })](const Value&, const Ref<PLVRejected>&) {
        raise("Scripted", "raised");
      });
  EXPECT_FALSE(released);
  EXPECT_THROW(promise->resolve(1), Raised);
  EXPECT_TRUE(released);
  promise->consume();
}

TEST_F(PLVPromiseTest, AForeignExceptionOfTheCallbackLeavesAndTheCallbackIsReleased) {
  bool released = false;
  const Ref<PLVPromise> promise = PLVPromise::withResolved(1);
  EXPECT_THROW(
      promise->whenFulfilled([atEnd = AtEnd::run([&] { released = true; })](
                                 const Value&, const Ref<PLVRejected>&) { throw Foreign(); }),
      Foreign);
  EXPECT_TRUE(released);
}

TEST_F(PLVPromiseTest, WhatTheCallbackRaisesIsTheFailureOfAChainThatResolvesThePromise) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  PLVPromise::resolvedBy(deferred)->whenFulfilled(
      [](const Value&, const Ref<PLVRejected>&) { raise("Scripted", "raised"); });
  deferred->thenEither(noting("on"));
  deferred->resolve(1);
  EXPECT_EQ(happened(), Words{"on PLVRejected [raised]"});
}

TEST_F(PLVPromiseTest, WhatTheCallbackRaisesIsTheFailureOfAChainThatThePromiseWaitsFor) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  PLVPromise::withResolved(deferred)->whenFulfilled(
      [](const Value&, const Ref<PLVRejected>&) { raise("Scripted", "raised"); });
  deferred->thenEither(noting("on"));
  deferred->resolve(1);
  EXPECT_EQ(happened(), Words{"on PLVRejected [raised]"});
}

// The machinery

TEST_F(PLVPromiseTest, ResumeWithValueFulfilsByHand) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->enlistResolvable(listener("listener"));
  promise->consume();
  EXPECT_EQ(happened(), Words{});
  promise->resumeWithValue(1);
  EXPECT_EQ(happened(), Words{"listener 1"});
  EXPECT_TRUE(promise->isFulfilled());
}

TEST_F(PLVPromiseTest, WaitForDeferredByHandFulfilsWithItsValue) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  promise->waitForDeferred(deferred);
  EXPECT_FALSE(promise->isFulfilled());
  deferred->resolve(1);
  EXPECT_EQ(promise->resolution(), Value(1));
}

TEST_F(PLVPromiseTest, TheListenersMayBeReplaced) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->enlistResolvable(listener("dropped"));
  promise->setResolvables(NSMutableOrderedSet::orderedSetWithObject(listener("instead")));
  promise->resolve(1);
  EXPECT_EQ(happened(), Words{"instead 1"});
}

}  // namespace
}  // namespace JNFoundation
