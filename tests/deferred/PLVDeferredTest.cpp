#include "DeferredFixture.h"

#include <JNFoundation/deferred/PLVDeferred.h>

namespace JNFoundation {
namespace {

class PLVDeferredTest : public DeferredFixture {};

// Making one

TEST_F(PLVDeferredTest, StartsWithoutAnOutcomeAndRunsNothing) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenEither(noting("step"));
  EXPECT_FALSE(deferred->isResolved());
  EXPECT_FALSE(deferred->isCancelled());
  EXPECT_FALSE(deferred->isPaused());
  EXPECT_TRUE(deferred->resolution().isNull());
  EXPECT_EQ(happened(), Words{});
}

TEST_F(PLVDeferredTest, WithResolvedHasItsValueAtOnce) {
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved("done");
  EXPECT_TRUE(deferred->isResolved());
  EXPECT_EQ(deferred->resolution(), Value("done"));
}

TEST_F(PLVDeferredTest, WithRejectedWrapsItsValue) {
  const Ref<PLVDeferred> deferred = PLVDeferred::withRejected("broken");
  EXPECT_EQ(text(deferred->resolution()), "PLVRejected [broken]");
  EXPECT_FALSE(deferred->isCancelled());
}

TEST_F(PLVDeferredTest, ResolvedByReceivesTheFinalValueOfTheSource) {
  const Ref<PLVDeferred> source = PLVDeferred::init();
  source->thenResolved(returning("source", "final"));
  const Ref<PLVDeferred> deferred = PLVDeferred::resolvedBy(source);
  EXPECT_FALSE(deferred->isResolved());
  source->resolve("first");
  EXPECT_EQ(happened(), Words{"source first"});
  EXPECT_EQ(deferred->resolution(), Value("final"));
  EXPECT_EQ(source->resolution(), Value("final"));
}

TEST_F(PLVDeferredTest, ResolvedByAnIdleSourceHasItsValueAtOnceFailuresIncluded) {
  EXPECT_EQ(PLVDeferred::resolvedBy(PLVDeferred::withResolved(1))->resolution(), Value(1));
  const Ref<PLVDeferred> rejected = PLVDeferred::withRejected(1);
  EXPECT_TRUE(PLVDeferred::resolvedBy(rejected)->resolution().isIdentical(rejected->resolution()));
}

TEST_F(PLVDeferredTest, ResolvedByNullHasNull) {
  const Ref<PLVDeferred> deferred = PLVDeferred::resolvedBy(nullptr);
  EXPECT_TRUE(deferred->isResolved());
  EXPECT_TRUE(deferred->resolution().isNull());
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
TEST_F(PLVDeferredTest, DeprecatedFormsDoWhatTheirSuccessorsDo) {
  EXPECT_EQ(PLVDeferred::deferredWithResolved(1)->resolution(), Value(1));
  EXPECT_EQ(text(PLVDeferred::deferredWithRejected(1)->resolution()), "PLVRejected [1]");
}
#pragma GCC diagnostic pop

// Adding steps

TEST_F(PLVDeferredTest, EveryThenOperationReturnsTheReceiver) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  EXPECT_EQ(deferred->thenResolvedRejected(nullptr, nullptr), deferred);
  EXPECT_EQ(deferred->thenResolved(nullptr), deferred);
  EXPECT_EQ(deferred->thenRejected(nullptr), deferred);
  EXPECT_EQ(deferred->thenEither(nullptr), deferred);
  EXPECT_EQ(deferred->thenEitherUnlessCanceled(nullptr), deferred);
  EXPECT_EQ(deferred->thenResolve(PLVDeferred::init()), deferred);
}

TEST_F(PLVDeferredTest, AStepAddedAfterTheOutcomeRunsBeforeTheCallReturns) {
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved(1);
  EXPECT_EQ(happened(), Words{});
  deferred->thenResolved(returning("first", 2));
  EXPECT_EQ(happened(), Words{"first 1"});
  deferred->thenResolved(noting("second"));
  EXPECT_EQ(happened(), Words{"second 2"});
}

TEST_F(PLVDeferredTest, StepsRunInOrderEachWithTheResultOfTheOneBefore) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved(returning("first", 2))
      ->thenResolved(returning("second", nullptr))
      ->thenResolved(returning("third", 4));
  EXPECT_EQ(happened(), Words{});
  deferred->resolve(1);
  EXPECT_EQ(happened(), (Words{"first 1", "second 2", "third (null)"}));
  EXPECT_EQ(deferred->resolution(), Value(4));
}

TEST_F(PLVDeferredTest, AFailurePassesResolvedHandlersAndASuccessRejectedOnes) {
  const Ref<PLVDeferred> deferred = PLVDeferred::withRejected(1);
  deferred->thenResolved(noting("skipped"))
      ->thenRejected(returning("recovers", 2))
      ->thenRejected(noting("skipped"))
      ->thenResolved(returning("fails", PLVRejected::withValue(3)))
      ->thenResolved(noting("skipped"))
      ->thenResolvedRejected(noting("skipped"), noting("rejected"));
  EXPECT_EQ(happened(), (Words{"recovers PLVRejected [1]", "fails 2", "rejected PLVRejected [3]"}));
}

TEST_F(PLVDeferredTest, ThenEitherRunsForSuccessAndFailureAlike) {
  PLVDeferred::withResolved(1)->thenEither(noting("either"));
  PLVDeferred::withRejected(2)->thenEither(noting("either"));
  PLVDeferred::withRejected(PLVRejected::cancellation())->thenEither(noting("either"));
  EXPECT_EQ(happened(), (Words{"either 1", "either PLVRejected [2]",
                               "either PLVRejected (CANCELLED) [(null)]"}));
}

TEST_F(PLVDeferredTest, ThenEitherUsesOneHandlerForBothBranches) {
  PLVResolvedHandler counting = [count = 0](const Value&) mutable -> Value { return ++count; };
  const Ref<PLVDeferred> success = PLVDeferred::withResolved("on")->thenEither(counting);
  EXPECT_EQ(success->resolution(), Value(1));
  EXPECT_EQ(PLVDeferred::withRejected("off")->thenEither(counting)->resolution(), Value(2));
}

TEST_F(PLVDeferredTest, ThenEitherUnlessCanceledRunsForAllButACancellation) {
  PLVDeferred::withResolved(1)->thenEitherUnlessCanceled(noting("either"));
  PLVDeferred::withRejected(2)->thenEitherUnlessCanceled(noting("either"));
  EXPECT_EQ(happened(), (Words{"either 1", "either PLVRejected [2]"}));
  const Value cancellation = PLVRejected::cancellationWithValue(3);
  const Ref<PLVDeferred> cancelled = PLVDeferred::withRejected(cancellation);
  cancelled->thenEitherUnlessCanceled(noting("either"));
  EXPECT_EQ(happened(), Words{});
  EXPECT_TRUE(cancelled->resolution().isIdentical(cancellation));
}

TEST_F(PLVDeferredTest, ThenEitherUnlessCanceledWithoutAHandlerPassesEverything) {
  EXPECT_EQ(PLVDeferred::withResolved(1)->thenEitherUnlessCanceled(nullptr)->resolution(),
            Value(1));
  const Value failure = PLVRejected::withValue(2);
  EXPECT_TRUE(PLVDeferred::withRejected(failure)
                  ->thenEitherUnlessCanceled(nullptr)
                  ->resolution()
                  .isIdentical(failure));
}

TEST_F(PLVDeferredTest, ThenResolveSendsTheValueAndPassesItOn) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init(), target = PLVDeferred::init();
  target->thenResolved(returning("target", "changed"));
  deferred->thenResolve(target)->thenResolved(noting("on"));
  EXPECT_FALSE(target->isResolved());
  deferred->resolve(1);
  EXPECT_EQ(happened(), (Words{"target 1", "on 1"}));
  EXPECT_EQ(target->resolution(), Value("changed"));
}

TEST_F(PLVDeferredTest, ThenResolveSendsFailuresByResolveAsTheyAre) {
  const Value failure = PLVRejected::withValue(1);
  Value seen;
  const Ref<Listener> target = Listener::answering([&](const Value& value) { seen = value; });
  PLVDeferred::withRejected(failure)->thenResolve(target)->thenRejected(noting("on"));
  EXPECT_TRUE(seen.isIdentical(failure));
  EXPECT_EQ(happened(), Words{"on PLVRejected [1]"});
}

TEST_F(PLVDeferredTest, ThenResolveOfAPromiseFulfilsIt) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  const Ref<PLVPromise> target = PLVPromise::init();
  deferred->thenResolve(target);
  EXPECT_FALSE(target->isFulfilled());
  deferred->resolve(1);
  EXPECT_EQ(target->resolution(), Value(1));
}

TEST_F(PLVDeferredTest, ThenResolveOfNobodyPassesTheValueOn) {
  EXPECT_EQ(PLVDeferred::withResolved(1)->thenResolve(nullptr)->resolution(), Value(1));
}

// Outcomes

TEST_F(PLVDeferredTest, TheFirstOutcomeWins) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenEither(noting("step"));
  deferred->resolve(1);
  deferred->resolve(2);
  deferred->reject(3);
  deferred->thenEither(noting("later"));
  EXPECT_EQ(happened(), (Words{"step 1", "later 1"}));
}

TEST_F(PLVDeferredTest, RejectKeepsWhatAlreadyIsARejection) {
  const Value failure = PLVRejected::withValue(1);
  EXPECT_TRUE(PLVDeferred::withRejected(failure)->resolution().isIdentical(failure));
}

TEST_F(PLVDeferredTest, RejectWithNullIsAFailureThatCarriesNull) {
  EXPECT_EQ(text(PLVDeferred::withRejected(nullptr)->resolution()), "PLVRejected [(null)]");
}

TEST_F(PLVDeferredTest, RejectWithADeferredWrapsItAndDoesNotWait) {
  const Ref<PLVDeferred> inner = PLVDeferred::init();
  const Ref<PLVDeferred> deferred = PLVDeferred::withRejected(inner);
  EXPECT_FALSE(deferred->isPaused());
  EXPECT_TRUE(as<PLVRejected>(deferred->resolution())->value().isIdentical(inner));
}

TEST_F(PLVDeferredTest, AnOutcomeThatIsACancellationCancels) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenEither(noting("step"));
  deferred->resolve(PLVRejected::cancellationWithValue(1));
  EXPECT_EQ(happened(), Words{"step PLVRejected (CANCELLED) [1]"});
  EXPECT_TRUE(deferred->isCancelled());
}

TEST_F(PLVDeferredTest, AnOutcomeThatIsACancellationHasEveryResultIgnored) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenRejected(returning("first", "ignored"))->thenEither(noting("second"));
  deferred->reject(PLVRejected::cancellationWithValue(1));
  EXPECT_EQ(happened(),
            (Words{"first PLVRejected (CANCELLED) [1]", "second PLVRejected (CANCELLED) [1]"}));
}

TEST_F(PLVDeferredTest, AResultThatIsACancellationCancelsAndLaterResultsAreIgnored) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved(returning("cancels", PLVRejected::cancellationWithValue(2)))
      ->thenRejected(returning("ignored", 3))
      ->thenRejected(noting("again"));
  deferred->resolve(1);
  EXPECT_TRUE(deferred->isCancelled());
  EXPECT_EQ(happened(), (Words{"cancels 1", "ignored PLVRejected (CANCELLED) [2]",
                               "again PLVRejected (CANCELLED) [2]"}));
}

// Waiting for another deferred or a promise

TEST_F(PLVDeferredTest, AHandlerThatReturnsAPendingDeferredStopsTheChainUntilThatHasAValue) {
  const Ref<PLVDeferred> outer = PLVDeferred::init(), inner = PLVDeferred::init();
  outer->thenResolved(returning("first", inner))->thenResolved(noting("second"));
  outer->resolve(1);
  EXPECT_EQ(happened(), Words{"first 1"});
  EXPECT_TRUE(outer->isPaused());
  EXPECT_TRUE(outer->resolution().isIdentical(inner));
  inner->resolve(2);
  EXPECT_EQ(happened(), Words{"second 2"});
  EXPECT_FALSE(outer->isPaused());
  EXPECT_EQ(outer->resolution(), Value(2));
}

TEST_F(PLVDeferredTest, TheOuterChainGetsTheFinalValueOfTheInnerOne) {
  const Ref<PLVDeferred> outer = PLVDeferred::init(), inner = PLVDeferred::init();
  inner->thenResolved(returning("inner", 3));
  outer->thenResolved(returning("outer", inner))->thenResolved(noting("on"));
  outer->resolve(1);
  inner->resolve(2);
  EXPECT_EQ(happened(), (Words{"outer 1", "inner 2", "on 3"}));
}

TEST_F(PLVDeferredTest, TheInnerChainGoesOnWithTheSameValueAfterTheOuterOne) {
  const Ref<PLVDeferred> inner = PLVDeferred::init();
  const Ref<PLVDeferred> outer = PLVDeferred::withResolved(inner);
  outer->thenResolved(returning("outer", "changed"));
  inner->thenResolved(noting("inner"));
  inner->resolve(1);
  EXPECT_EQ(happened(), (Words{"outer 1", "inner 1"}));
  EXPECT_EQ(outer->resolution(), Value("changed"));
  EXPECT_EQ(inner->resolution(), Value(1));
}

TEST_F(PLVDeferredTest, AHandlerThatReturnsAnIdleDeferredGoesOnAtOnce) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved(returning("first", PLVDeferred::withResolved(2)))
      ->thenResolved(returning("second", PLVDeferred::withRejected(3)))
      ->thenRejected(noting("third"));
  deferred->resolve(1);
  EXPECT_EQ(happened(), (Words{"first 1", "second 2", "third PLVRejected [3]"}));
  EXPECT_FALSE(deferred->isPaused());
}

TEST_F(PLVDeferredTest, ADeferredAsTheOutcomeIsAwaitedBeforeTheFirstStep) {
  const Ref<PLVDeferred> outer = PLVDeferred::init(), inner = PLVDeferred::init();
  outer->thenEither(noting("step"));
  outer->resolve(inner);
  EXPECT_TRUE(outer->isResolved());
  EXPECT_EQ(happened(), Words{});
  outer->resolve("too late");
  inner->reject(1);
  EXPECT_EQ(happened(), Words{"step PLVRejected [1]"});
}

TEST_F(PLVDeferredTest, APromiseAsTheOutcomeIsAwaitedAsItsDeferredResolution) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved(promise);
  deferred->thenResolved(noting("step"));
  EXPECT_TRUE(isKindOf<PLVDeferred>(deferred->resolution()));
  EXPECT_EQ(promise->resolvables()->count(), 1u);
  EXPECT_EQ(happened(), Words{});
  promise->resolve(1);
  EXPECT_EQ(happened(), Words{"step 1"});
}

TEST_F(PLVDeferredTest, AHandlerThatReturnsAPromiseBehavesAsIfItReturnedItsDeferredResolution) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved(1);
  deferred->thenResolved(returning("first", promise))->thenResolved(noting("second"));
  EXPECT_EQ(happened(), Words{"first 1"});
  EXPECT_TRUE(deferred->isPaused());
  EXPECT_TRUE(promise->resolvables()->containsObject(deferred->resolution()));
  promise->resolve(2);
  EXPECT_EQ(happened(), Words{"second 2"});
}

TEST_F(PLVDeferredTest, AHandlerThatReturnsAFulfilledPromiseGoesOnAtOnce) {
  PLVDeferred::withResolved(1)
      ->thenResolved(returning("first", PLVPromise::withResolved(2)))
      ->thenResolved(noting("second"));
  EXPECT_EQ(happened(), (Words{"first 1", "second 2"}));
}

TEST_F(PLVDeferredTest, AStepAddedToAWaitingChainWaitsItsTurn) {
  const Ref<PLVDeferred> inner = PLVDeferred::init();
  const Ref<PLVDeferred> outer = PLVDeferred::withResolved(inner);
  outer->thenResolved(noting("first"));
  outer->thenResolved(noting("second"));
  EXPECT_EQ(happened(), Words{});
  inner->resolve(1);
  EXPECT_EQ(happened(), (Words{"first 1", "second 1"}));
}

TEST_F(PLVDeferredTest, TwoChainsMayWaitForTheSameDeferred) {
  const Ref<PLVDeferred> inner = PLVDeferred::init();
  const Ref<PLVDeferred> one = PLVDeferred::withResolved(inner);
  const Ref<PLVDeferred> two = PLVDeferred::withResolved(inner);
  two->thenResolved(noting("two"));
  one->thenResolved(noting("one"));
  inner->resolve(1);
  EXPECT_EQ(happened(), (Words{"one 1", "two 1"}));
}

TEST_F(PLVDeferredTest, ACancellationThatComesBackFromTheInnerChainIsAValueLikeAnyOther) {
  const Ref<PLVDeferred> inner = PLVDeferred::init();
  const Ref<PLVDeferred> outer = PLVDeferred::withResolved(inner);
  outer->thenRejected(returning("recovers", 2))->thenResolved(noting("on"));
  inner->cancelWithValue(1);
  EXPECT_EQ(happened(), (Words{"recovers PLVRejected (CANCELLED) [1]", "on 2"}));
  EXPECT_FALSE(outer->isCancelled());
  EXPECT_TRUE(inner->isCancelled());
}

// The chain's machinery

TEST_F(PLVDeferredTest, ConsumeStepsRunsWhatIsThereWithTheResolutionAsItStands) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved(returning("step", 2));
  deferred->setResolution(1);
  EXPECT_EQ(happened(), Words{});
  deferred->consumeSteps();
  EXPECT_EQ(happened(), Words{"step 1"});
  EXPECT_EQ(deferred->resolution(), Value(2));
  EXPECT_FALSE(deferred->isResolved());
}

TEST_F(PLVDeferredTest, ConsumeStepsDoesNothingWhileTheChainWaits) {
  const Ref<PLVDeferred> inner = PLVDeferred::init();
  const Ref<PLVDeferred> outer = PLVDeferred::withResolved(inner);
  outer->thenEither(noting("step"));
  outer->consumeSteps();
  EXPECT_EQ(happened(), Words{});
  inner->resolve(1);
  EXPECT_EQ(happened(), Words{"step 1"});
}

TEST_F(PLVDeferredTest, PauseAndResumeByHandHoldTheChainInBetween) {
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved(1);
  const Ref<PLVDeferred> inner = PLVDeferred::init();
  deferred->pauseWithDeferred(inner);
  deferred->thenResolved(noting("step"));
  EXPECT_EQ(happened(), Words{});
  EXPECT_EQ(deferred->resolution(), Value(1));
  deferred->resumeWithValue(2);
  EXPECT_EQ(happened(), Words{"step 2"});
  EXPECT_FALSE(deferred->isPaused());
}

TEST_F(PLVDeferredTest, AWrittenResolutionIsWhatTheNextStepGets) {
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved(1);
  deferred->setResolution(2);
  deferred->thenResolved(noting("step"));
  EXPECT_EQ(happened(), Words{"step 2"});
}

}  // namespace
}  // namespace JNFoundation
