#include "DeferredFixture.h"

namespace JNFoundation {
namespace {

class PLVPromiseCancelTest : public DeferredFixture {
 protected:
  /// A source that leaves "name value" in the record.
  Ref<Source> source(std::string name) {
    return Source::answering(
        [this, name = std::move(name)](const Ref<PLVResolvable>&, const Value& value) {
          record.push_back(name + " " + text(value));
        });
  }
};

TEST_F(PLVPromiseCancelTest, CancellingAnOutstandingPromiseTellsListenersAndCallback) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->whenFulfilled(fulfilled("callback"));
  promise->deferredResolution()->thenEither(noting("one"));
  promise->promisedResolution()->whenFulfilled(fulfilled("two"));
  EXPECT_EQ(happened(), Words{});
  promise->cancelWithValue("enough");
  EXPECT_EQ(happened(), (Words{"one PLVRejected (CANCELLED) [enough]",
                               "two (null) PLVRejected (CANCELLED) [enough]",
                               "callback (null) PLVRejected (CANCELLED) [enough]"}));
  EXPECT_TRUE(promise->isFulfilled());
}

TEST_F(PLVPromiseCancelTest, CancelCarriesNull) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->cancel();
  EXPECT_EQ(text(promise->resolution()), "PLVRejected (CANCELLED) [(null)]");
}

TEST_F(PLVPromiseCancelTest, OutcomesAfterACancellationAreIgnoredAndTheFirstCancellationWins) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->cancelWithValue(1);
  promise->resolve(2);
  promise->reject(3);
  promise->cancelWithValue(4);
  EXPECT_EQ(text(promise->resolution()), "PLVRejected (CANCELLED) [1]");
}

TEST_F(PLVPromiseCancelTest, APromiseResolvedWithACancellationIsCancelled) {
  const Ref<PLVPromise> promise = PLVPromise::withRejected(PLVRejected::cancellationWithValue(1));
  promise->cancelWithValue(2);
  EXPECT_EQ(text(promise->resolution()), "PLVRejected (CANCELLED) [1]");
}

TEST_F(PLVPromiseCancelTest, CancellingAFulfilledPromiseChangesItsOutcomeWithoutCallingAnyone) {
  const Ref<Source> told = source("source");
  const Ref<PLVPromise> promise = PLVPromise::withResolutionSource(told);
  promise->whenFulfilled(fulfilled("callback"));
  const Ref<PLVDeferred> listener = promise->deferredResolution();
  promise->resolve(1);
  EXPECT_EQ(happened(), Words{"callback 1 (null)"});
  promise->cancelWithValue(2);
  EXPECT_EQ(happened(), Words{});
  EXPECT_EQ(text(promise->resolution()), "PLVRejected (CANCELLED) [2]");
  EXPECT_EQ(listener->resolution(), Value(1));
  promise->deferredResolution()->thenEither(noting("late"));
  promise->whenFulfilled(fulfilled("late callback"));
  EXPECT_EQ(happened(), (Words{"late PLVRejected (CANCELLED) [2]",
                               "late callback (null) PLVRejected (CANCELLED) [2]"}));
}

// The source

TEST_F(PLVPromiseCancelTest, TheSourceIsToldBeforeTheListeners) {
  const Ref<Source> told = source("source");
  const Ref<PLVPromise> promise = PLVPromise::initWithResolutionSource(told);
  promise->deferredResolution()->thenEither(noting("listener"));
  promise->cancelWithValue(1);
  EXPECT_EQ(happened(), (Words{"source 1", "listener PLVRejected (CANCELLED) [1]"}));
}

TEST_F(PLVPromiseCancelTest, ASourceThatHasGoneOrDoesNotAnswerIsSkipped) {
  Ref<Source> gone = source("source");
  const Ref<PLVPromise> promise = PLVPromise::withResolutionSource(gone);
  gone = nullptr;
  promise->cancel();
  EXPECT_TRUE(promise->isFulfilled());
  const Ref<PLVDeferred> deaf = PLVDeferred::init();
  const Ref<PLVPromise> other = PLVPromise::withResolutionSource(deaf);
  other->cancel();
  EXPECT_TRUE(other->isFulfilled());
  EXPECT_FALSE(deaf->isCancelled());
}

TEST_F(PLVPromiseCancelTest, ASourceThatResolvesThePromiseChangesNothing) {
  const Ref<Source> meddling = Source::answering(
      [](const Ref<PLVResolvable>& resolvable, const Value&) { resolvable->resolve("meddled"); });
  const Ref<PLVPromise> promise = PLVPromise::withResolutionSource(meddling);
  promise->cancelWithValue(1);
  EXPECT_EQ(text(promise->resolution()), "PLVRejected (CANCELLED) [1]");
}

TEST_F(PLVPromiseCancelTest, AChainThatResolvesThePromiseWhileItsSourceIsToldChangesNothing) {
  const Ref<PLVDeferred> chain = PLVDeferred::init();
  const Ref<Source> meddling = Source::answering(
      [&](const Ref<PLVResolvable>&, const Value&) { chain->resolve("meddled"); });
  const Ref<PLVPromise> promise = PLVPromise::withResolutionSource(meddling);
  chain->thenResolve(promise)->thenEither(noting("chain"));
  promise->cancelWithValue(1);
  EXPECT_EQ(happened(), Words{"chain meddled"});
  EXPECT_EQ(text(promise->resolution()), "PLVRejected (CANCELLED) [1]");
}

TEST_F(PLVPromiseCancelTest, WhatASourceRaisesGoesToWhoCancelsAndThePromiseStaysOutstanding) {
  const Ref<Source> raises = Source::answering(
      [](const Ref<PLVResolvable>&, const Value&) { raise("Scripted", "raised"); });
  const Ref<PLVPromise> promise = PLVPromise::withResolutionSource(raises);
  EXPECT_THROW(promise->cancel(), Raised);
  EXPECT_FALSE(promise->isFulfilled());
  promise->resolve(1);
  EXPECT_FALSE(promise->isFulfilled()) << "it is cancelled all the same";
}

// While it waits for a deferred

TEST_F(PLVPromiseCancelTest,
       CancellingAWaitingPromiseCancelsWhatItWaitsForAndTakesWhatComesOfThat) {
  const Ref<Source> told = source("source");
  const Ref<PLVPromise> promise = PLVPromise::withResolutionSource(told);
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  awaited->thenRejected(noting("awaited"));
  promise->deferredResolution()->thenEither(noting("listener"));
  promise->resolve(awaited);
  EXPECT_EQ(happened(), Words{});
  promise->cancelWithValue(1);
  EXPECT_EQ(happened(), (Words{"source 1", "awaited PLVRejected (CANCELLED) [1]",
                               "listener PLVRejected (CANCELLED) [1]"}));
  EXPECT_TRUE(promise->resolution().isIdentical(awaited->resolution()));
}

TEST_F(PLVPromiseCancelTest, AnAwaitedChainThatIsCancelledInItsMiddleFulfilsWithWhatItComesTo) {
  const Ref<PLVDeferred> innermost = PLVDeferred::init();
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  awaited->thenResolved(returning("awaited", innermost));
  const Ref<PLVPromise> promise = PLVPromise::withResolved(awaited);
  awaited->resolve(1);
  promise->cancelWithValue(2);
  EXPECT_EQ(happened(), Words{"awaited 1"});
  EXPECT_EQ(text(innermost->resolution()), "PLVRejected (CANCELLED) [2]");
  EXPECT_EQ(text(promise->resolution()), "PLVRejected (CANCELLED) [2]");
}

TEST_F(PLVPromiseCancelTest, CancellingAWaitingPromiseWhoseDeferredHasGoneLeavesItWaiting) {
  Ref<PLVDeferred> awaited = PLVDeferred::init();
  const Ref<PLVPromise> promise = PLVPromise::withResolved(awaited);
  awaited = nullptr;
  promise->cancel();
  EXPECT_FALSE(promise->isFulfilled()) << "it was resolved, and what it waits for never comes";
}

TEST_F(PLVPromiseCancelTest, APromiseResolvedWithItselfWaitsUntilItIsCancelled) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->whenFulfilled(fulfilled("callback"));
  promise->resolve(promise);
  EXPECT_FALSE(promise->isFulfilled());
  EXPECT_EQ(happened(), Words{});
  promise->cancelWithValue(1);
  EXPECT_EQ(happened(), Words{"callback (null) PLVRejected (CANCELLED) [1]"});
}

TEST_F(PLVPromiseCancelTest, APromiseResolvedWithItsOwnListenerWaitsUntilItIsCancelled) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVPromise> listener = promise->promisedResolution();
  promise->resolve(listener);
  EXPECT_FALSE(promise->isFulfilled());
  promise->cancelWithValue(1);
  EXPECT_EQ(text(promise->resolution()), "PLVRejected (CANCELLED) [1]");
  EXPECT_TRUE(isCancellation(listener->resolution()));
}

TEST_F(PLVPromiseCancelTest, TwoPromisesThatWaitForEachOtherAreBothEndedByACancellation) {
  const Ref<PLVPromise> one = PLVPromise::init(), two = PLVPromise::init();
  one->resolve(two);
  two->resolve(one);
  EXPECT_FALSE(one->isFulfilled());
  EXPECT_FALSE(two->isFulfilled());
  one->cancelWithValue(1);
  EXPECT_TRUE(isCancellation(one->resolution()));
  EXPECT_TRUE(isCancellation(two->resolution()));
}

// Listeners that are cancelled

TEST_F(PLVPromiseCancelTest, CancellingTheOnlyListenerCancelsThePromiseWithNull) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->whenFulfilled(fulfilled("callback"));
  const Ref<PLVDeferred> listener = promise->deferredResolution();
  listener->thenEither(noting("listener"));
  listener->cancelWithValue("enough");
  EXPECT_EQ(happened(), (Words{"callback (null) PLVRejected (CANCELLED) [(null)]",
                               "listener PLVRejected (CANCELLED) [enough]"}));
  EXPECT_EQ(text(promise->resolution()), "PLVRejected (CANCELLED) [(null)]");
}

TEST_F(PLVPromiseCancelTest, CancellingOneOfTwoListenersWithdrawsItOnly) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVDeferred> one = promise->deferredResolution();
  const Ref<PLVPromise> two = promise->promisedResolution();
  one->cancel();
  EXPECT_FALSE(promise->isFulfilled());
  EXPECT_EQ(promise->resolvables()->count(), 1u);
  two->cancel();
  EXPECT_TRUE(promise->isFulfilled());
}

TEST_F(PLVPromiseCancelTest, APromiseThatMayNotLoseItsLastListenerToCancellationStaysOutstanding) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->setShouldProcessResolvableCancellations(false);
  EXPECT_FALSE(promise->shouldProcessResolvableCancellations());
  promise->deferredResolution()->cancel();
  EXPECT_FALSE(promise->isFulfilled());
  EXPECT_EQ(promise->resolvables()->count(), 0u) << "the listener was withdrawn all the same";
  promise->resolve(1);
  EXPECT_EQ(promise->resolution(), Value(1));
}

TEST_F(PLVPromiseCancelTest, AStrangersCancellationIsIgnored) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVDeferred> stranger = PLVDeferred::init();
  promise->resolvableDidCancelWithValue(stranger, 1);
  promise->enlistResolvable(PLVDeferred::init());
  promise->resolvableDidCancelWithValue(stranger, 1);
  promise->resolvableDidCancelWithValue(nullptr, 1);
  EXPECT_FALSE(promise->isFulfilled());
}

TEST_F(PLVPromiseCancelTest, AStrangerIsIgnoredAlsoWhereNoListenerIsLeft) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->setShouldProcessResolvableCancellations(false);
  const Ref<PLVDeferred> withdrawn = promise->deferredResolution();
  withdrawn->cancel();
  promise->setShouldProcessResolvableCancellations(true);
  EXPECT_EQ(promise->resolvables()->count(), 0u);
  promise->resolvableDidCancelWithValue(withdrawn, nullptr);
  promise->resolvableDidCancelWithValue(PLVDeferred::init(), nullptr);
  EXPECT_FALSE(promise->isFulfilled());
}

TEST_F(PLVPromiseCancelTest, AListenerThatWasToldIsAStrangerFromThenOn) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVDeferred> listener = promise->deferredResolution();
  promise->resolve(1);
  listener->cancel();
  promise->resolvableDidCancelWithValue(listener, nullptr);
  EXPECT_EQ(promise->resolution(), Value(1));
}

TEST_F(PLVPromiseCancelTest, AWaitingPromiseThatLosesItsLastListenerCancelsWhatItWaitsFor) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  awaited->thenRejected(noting("awaited"));
  const Ref<PLVPromise> promise = PLVPromise::withResolved(awaited);
  promise->deferredResolution()->cancelWithValue("enough");
  EXPECT_EQ(happened(), Words{"awaited PLVRejected (CANCELLED) [(null)]"});
  EXPECT_EQ(text(promise->resolution()), "PLVRejected (CANCELLED) [(null)]");
}

TEST_F(PLVPromiseCancelTest, ACancellationGoesUpThroughPromisesToTheirSource) {
  const Ref<Source> told = source("source");
  const Ref<PLVPromise> first = PLVPromise::withResolutionSource(told);
  const Ref<PLVPromise> second = first->promisedResolution();
  const Ref<PLVDeferred> third = second->deferredResolution();
  first->whenFulfilled(fulfilled("first"));
  second->whenFulfilled(fulfilled("second"));
  third->thenEither(noting("third"));
  third->cancelWithValue("enough");
  EXPECT_EQ(happened(), (Words{"source (null)", "first (null) PLVRejected (CANCELLED) [(null)]",
                               "second (null) PLVRejected (CANCELLED) [(null)]",
                               "third PLVRejected (CANCELLED) [enough]"}));
}

TEST_F(PLVPromiseCancelTest, ADeferredPausedOnAPromiseThatIsCancelledCancelsThePromise) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved(promise);
  deferred->thenEither(noting("step"));
  deferred->cancelWithValue("enough");
  EXPECT_EQ(happened(), Words{"step PLVRejected (CANCELLED) [enough]"});
  EXPECT_EQ(text(promise->resolution()), "PLVRejected (CANCELLED) [(null)]");
}

TEST_F(PLVPromiseCancelTest, AWhenFulfilledResolveTargetIsNoListenerSoItsCancellationStaysWithIt) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVDeferred> target = PLVDeferred::init();
  promise->whenFulfilledResolve(target);
  target->cancel();
  EXPECT_FALSE(promise->isFulfilled());
  promise->resolve(1);
  EXPECT_TRUE(target->isCancelled());
}

}  // namespace
}  // namespace JNFoundation
