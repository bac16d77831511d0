#include "DeferredFixture.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace JNFoundation {
namespace {

class PLVDeferredCancelTest : public DeferredFixture {
 protected:
  /// A source that leaves "name value" in the record.
  Ref<Source> source(std::string name) {
    return Source::answering(
        [this, name = std::move(name)](const Ref<PLVResolvable>&, const Value& value) {
          record.push_back(name + " " + text(value));
        });
  }
};

/// Answers by its selector only.
class QuietSource : public Subclass<QuietSource, NSObject> {
 public:
  void resolvableDidCancelWithValue(const Value& resolvable, const Value& value) {
    seen = resolvable;
    carried = value;
  }
  Value seen, carried;
};
const ClassDeclaration<QuietSource> declaration = ClassDeclaration<QuietSource>().operation(
    "resolvable:didCancelWithValue:", &QuietSource::resolvableDidCancelWithValue);

// Before an outcome

TEST_F(PLVDeferredCancelTest, CancellingAPendingDeferredRunsItsStepsWithTheCancellation) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved(noting("resolved"))
      ->thenEitherUnlessCanceled(noting("unless cancelled"))
      ->thenRejected(noting("rejected"));
  EXPECT_EQ(happened(), Words{});
  deferred->cancelWithValue("enough");
  EXPECT_EQ(happened(), Words{"rejected PLVRejected (CANCELLED) [enough]"});
  EXPECT_TRUE(deferred->isCancelled());
  EXPECT_TRUE(deferred->isResolved());
  EXPECT_EQ(text(deferred->resolution()), "PLVRejected (CANCELLED) [enough]");
}

TEST_F(PLVDeferredCancelTest, CancelCarriesNull) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->cancel();
  EXPECT_EQ(text(deferred->resolution()), "PLVRejected (CANCELLED) [(null)]");
}

TEST_F(PLVDeferredCancelTest, OutcomesAfterACancellationAreIgnored) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->cancel();
  deferred->resolve(1);
  deferred->reject(2);
  deferred->thenEither(noting("step"));
  EXPECT_EQ(happened(), Words{"step PLVRejected (CANCELLED) [(null)]"});
}

TEST_F(PLVDeferredCancelTest, TheFirstCancellationWins) {
  const Ref<Source> told = source("source");
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolutionSource(told);
  deferred->cancelWithValue(1);
  deferred->cancelWithValue(2);
  EXPECT_EQ(happened(), Words{"source 1"});
  EXPECT_EQ(text(deferred->resolution()), "PLVRejected (CANCELLED) [1]");
}

TEST_F(PLVDeferredCancelTest, StepsThatFollowSeeTheCancellationWhateverTheOthersReturn) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenRejected(returning("first", 1))
      ->thenRejected(returning("second", PLVRejected::withValue(2)))
      ->thenEither(noting("third"));
  deferred->cancelWithValue("enough");
  EXPECT_EQ(happened(), (Words{"first PLVRejected (CANCELLED) [enough]",
                               "second PLVRejected (CANCELLED) [enough]",
                               "third PLVRejected (CANCELLED) [enough]"}));
}

// The source

TEST_F(PLVDeferredCancelTest, TheSourceIsToldFirstAndThenTheStepsRun) {
  const Ref<Source> told = source("source");
  const Ref<PLVDeferred> deferred = PLVDeferred::initWithResolutionSource(told);
  deferred->thenRejected(noting("step"));
  deferred->cancelWithValue(1);
  EXPECT_EQ(happened(), (Words{"source 1", "step PLVRejected (CANCELLED) [1]"}));
}

TEST_F(PLVDeferredCancelTest, TheSourceSeesTheDeferredCancelledButNotYetResolved) {
  const PLVDeferred* seen = nullptr;
  bool cancelled = false, resolved = true;
  const Ref<Source> told =
      Source::answering([&](const Ref<PLVResolvable>& resolvable, const Value&) {
        const Value same = resolvable;
        const PLVDeferred* deferred = as<PLVDeferred>(same);
        seen = deferred;
        cancelled = deferred->isCancelled();
        resolved = deferred->isResolved();
      });
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolutionSource(told);
  deferred->cancel();
  EXPECT_EQ(seen, deferred.get());
  EXPECT_TRUE(cancelled);
  EXPECT_FALSE(resolved);
}

TEST_F(PLVDeferredCancelTest, TheSourceIsNotToldOnceThereIsAnOutcome) {
  const Ref<Source> told = source("source");
  const Ref<PLVDeferred> idle = PLVDeferred::withResolutionSource(told);
  idle->resolve(1);
  idle->cancel();
  const Ref<PLVDeferred> inner = PLVDeferred::init();
  const Ref<PLVDeferred> waiting = PLVDeferred::withResolutionSource(told);
  waiting->resolve(inner);
  waiting->cancel();
  EXPECT_TRUE(inner->isCancelled());
  EXPECT_EQ(happened(), Words{});
}

TEST_F(PLVDeferredCancelTest, ACancellationAsTheOutcomeIsNotToldToTheSource) {
  const Ref<Source> told = source("source");
  PLVDeferred::withResolutionSource(told)->reject(PLVRejected::cancellation());
  EXPECT_EQ(happened(), Words{});
}

TEST_F(PLVDeferredCancelTest, TheSourceIsNotRetainedAndSkippedOnceItHasGone) {
  Ref<Source> told = source("source");
  const Weak<Source> weak = told;
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolutionSource(told);
  told = nullptr;
  EXPECT_FALSE(weak.load());
  deferred->thenRejected(noting("step"));
  deferred->cancel();
  EXPECT_EQ(happened(), Words{"step PLVRejected (CANCELLED) [(null)]"});
}

TEST_F(PLVDeferredCancelTest, ASourceThatAnswersByItsSelectorOnlyIsTold) {
  const Ref<QuietSource> told = makeObject<QuietSource>();
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolutionSource(told);
  deferred->cancelWithValue(1);
  EXPECT_TRUE(told->seen.isIdentical(deferred));
  EXPECT_EQ(told->carried, Value(1));
  told->seen = nullptr;
}

TEST_F(PLVDeferredCancelTest, ASourceThatDoesNotAnswerIsSkipped) {
  const Ref<NSString> string = "no source";
  const Ref<PLVDeferred> other = PLVDeferred::init();
  for (const Value& deaf : {Value(string), Value(other), Value(7), Value()}) {
    const Ref<PLVDeferred> deferred = PLVDeferred::withResolutionSource(deaf);
    deferred->cancelWithValue(1);
    EXPECT_EQ(text(deferred->resolution()), "PLVRejected (CANCELLED) [1]");
  }
  EXPECT_FALSE(other->isCancelled());
}

TEST_F(PLVDeferredCancelTest, ASourceThatResolvesOrCancelsTheDeferredAgainChangesNothing) {
  int told = 0;
  const Ref<Source> meddling =
      Source::answering([&](const Ref<PLVResolvable>& resolvable, const Value&) {
        ++told;
        resolvable->resolve("meddled");
        resolvable->reject("meddled");
        const Value same = resolvable;
        as<PLVDeferred>(same)->cancelWithValue("meddled");
      });
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolutionSource(meddling);
  deferred->cancelWithValue(1);
  EXPECT_EQ(told, 1);
  EXPECT_EQ(text(deferred->resolution()), "PLVRejected (CANCELLED) [1]");
}

TEST_F(PLVDeferredCancelTest, AChainThatResolvesTheDeferredWhileItsSourceIsToldChangesNothing) {
  const Ref<PLVDeferred> chain = PLVDeferred::init();
  const Ref<Source> meddling = Source::answering(
      [&](const Ref<PLVResolvable>&, const Value&) { chain->resolve("meddled"); });
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolutionSource(meddling);
  chain->thenResolve(deferred)->thenEither(noting("chain"));
  deferred->cancelWithValue(1);
  EXPECT_EQ(happened(), Words{"chain meddled"});
  EXPECT_EQ(text(deferred->resolution()), "PLVRejected (CANCELLED) [1]");
}

TEST_F(PLVDeferredCancelTest, ASourceMayAddStepsWhichThenSeeTheCancellation) {
  const Ref<Source> adding =
      Source::answering([&](const Ref<PLVResolvable>& resolvable, const Value&) {
        const Value same = resolvable;
        as<PLVDeferred>(same)->thenRejected(noting("added"));
        EXPECT_EQ(happened(), Words{});
      });
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolutionSource(adding);
  deferred->cancelWithValue(1);
  EXPECT_EQ(happened(), Words{"added PLVRejected (CANCELLED) [1]"});
}

// While the chain waits

TEST_F(PLVDeferredCancelTest, CancellingAWaitingDeferredCancelsTheInnerOneWithTheSameValue) {
  const Ref<PLVDeferred> inner = PLVDeferred::init();
  inner->thenRejected(noting("inner"));
  const Ref<PLVDeferred> outer = PLVDeferred::withResolved(inner);
  outer->thenRejected(noting("outer"));
  outer->cancelWithValue("enough");
  EXPECT_EQ(happened(), (Words{"inner PLVRejected (CANCELLED) [enough]",
                               "outer PLVRejected (CANCELLED) [enough]"}));
  EXPECT_TRUE(outer->resolution().isIdentical(inner->resolution()));
}

TEST_F(PLVDeferredCancelTest, ACancellationGoesDownEveryLevelAndComesBackUp) {
  const Ref<PLVDeferred> innermost = PLVDeferred::init();
  const Ref<PLVDeferred> middle = PLVDeferred::withResolved(innermost);
  const Ref<PLVDeferred> outer = PLVDeferred::withResolved(middle);
  innermost->thenEither(noting("innermost"));
  middle->thenEither(noting("middle"));
  outer->thenEither(noting("outer"));
  outer->cancelWithValue(1);
  // Each one's own step stands behind the one that resumes whoever waits for it.
  EXPECT_EQ(happened(),
            (Words{"outer PLVRejected (CANCELLED) [1]", "middle PLVRejected (CANCELLED) [1]",
                   "innermost PLVRejected (CANCELLED) [1]"}));
}

TEST_F(PLVDeferredCancelTest, WhatTheInnerChainMakesOfTheCancellationIsWhatTheOuterOneGets) {
  const Ref<PLVDeferred> middle = PLVDeferred::init(), innermost = PLVDeferred::init();
  middle->thenRejected(returning("recovers", "instead"));
  innermost->thenRejected(returning("recovers", "ignored"));
  const Ref<PLVDeferred> outer = PLVDeferred::withResolved(middle);
  outer->thenEither(noting("outer"));
  middle->resolve(innermost);
  // The middle one only waits for the innermost, so nobody cancels it when the innermost fails.
  innermost->cancelWithValue(1);
  EXPECT_EQ(happened(), (Words{"recovers PLVRejected (CANCELLED) [1]",
                               "recovers PLVRejected (CANCELLED) [1]", "outer instead"}));
}

TEST_F(PLVDeferredCancelTest, AWaitingDeferredThatIsCancelledIgnoresResultsOnceItGoesOn) {
  const Ref<PLVDeferred> inner = PLVDeferred::init();
  const Ref<PLVDeferred> outer = PLVDeferred::withResolved(inner);
  outer->thenRejected(returning("first", 2))->thenRejected(noting("second"));
  outer->cancelWithValue(1);
  EXPECT_EQ(happened(),
            (Words{"first PLVRejected (CANCELLED) [1]", "second PLVRejected (CANCELLED) [1]"}));
}

TEST_F(PLVDeferredCancelTest, CancellingAChainThatWaitsForACancelledOneOnlySetsTheFlag) {
  // The source is asked in the middle of the inner chain's cancellation.
  const Ref<PLVDeferred> inner = PLVDeferred::init();
  const Ref<PLVDeferred> outer = PLVDeferred::withResolved(inner);
  outer->thenEither(noting("outer"));
  const Ref<Source> told = Source::answering(
      [&](const Ref<PLVResolvable>&, const Value&) { outer->cancelWithValue("second"); });
  const Ref<PLVDeferred> cancelled = PLVDeferred::withResolutionSource(told);
  inner->resolve(cancelled);
  inner->cancelWithValue("first");
  EXPECT_EQ(happened(), Words{"outer PLVRejected (CANCELLED) [first]"});
  EXPECT_TRUE(outer->isCancelled());
}

// Idle

TEST_F(PLVDeferredCancelTest, CancellingAnIdleDeferredTurnsItsOutcomeIntoACancellation) {
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved("outcome");
  deferred->thenResolved(noting("before"));
  EXPECT_EQ(happened(), Words{"before outcome"});
  deferred->cancelWithValue(1);
  EXPECT_EQ(happened(), Words{});
  EXPECT_EQ(text(deferred->resolution()), "PLVRejected (CANCELLED) [1]");
  deferred->resolve(2);
  deferred->thenEither(noting("after"));
  EXPECT_EQ(happened(), Words{"after PLVRejected (CANCELLED) [1]"});
}

// From inside a handler

TEST_F(PLVDeferredCancelTest, CancelInAHandlerLeavesTheResolutionToTheStepsThatFollow) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred
      ->thenResolved([&](const Value&) -> Value {
        deferred->cancelWithValue("enough");
        EXPECT_EQ(deferred->resolution(), Value(1));
        return "ignored";
      })
      ->thenEither(returning("second", "ignored too"))
      ->thenEither(noting("third"));
  deferred->resolve(1);
  EXPECT_EQ(happened(), (Words{"second 1", "third 1"}));
  EXPECT_EQ(deferred->resolution(), Value(1));
  EXPECT_TRUE(deferred->isCancelled());
  deferred->thenEither(noting("later"));
  EXPECT_EQ(happened(), Words{"later 1"});
}

TEST_F(PLVDeferredCancelTest, CancelInTheLastHandlerMakesTheOutcomeACancellation) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved([&](const Value&) -> Value {
    deferred->cancelWithValue("enough");
    return "ignored";
  });
  deferred->resolve(1);
  EXPECT_EQ(text(deferred->resolution()), "PLVRejected (CANCELLED) [enough]");
}

TEST_F(PLVDeferredCancelTest, OfACancelledChainOnlyACancellationIsTakenAsAResult) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenRejected(returning("first", PLVRejected::withValue("ignored")))
      ->thenRejected(returning("second", PLVRejected::cancellationWithValue("other")))
      ->thenRejected(noting("third"));
  deferred->cancelWithValue(1);
  EXPECT_EQ(happened(),
            (Words{"first PLVRejected (CANCELLED) [1]", "second PLVRejected (CANCELLED) [1]",
                   "third PLVRejected (CANCELLED) [other]"}));
}

TEST_F(PLVDeferredCancelTest, ADeferredReturnedInACancelledChainIsCancelledWithTheSameValue) {
  const Ref<PLVDeferred> returned = PLVDeferred::init();
  returned->thenRejected(noting("returned"));
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenRejected(returning("first", returned))->thenRejected(noting("second"));
  deferred->cancelWithValue("enough");
  EXPECT_EQ(happened(), (Words{"first PLVRejected (CANCELLED) [enough]",
                               "returned PLVRejected (CANCELLED) [enough]",
                               "second PLVRejected (CANCELLED) [enough]"}));
  EXPECT_FALSE(deferred->isPaused());
}

TEST_F(PLVDeferredCancelTest, APromiseReturnedInACancelledChainLosesItsOnlyListenerAndIsCancelled) {
  const Ref<PLVPromise> returned = PLVPromise::init();
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenRejected(returning("first", returned));
  deferred->cancelWithValue("enough");
  EXPECT_EQ(happened(), Words{"first PLVRejected (CANCELLED) [enough]"});
  EXPECT_EQ(text(returned->resolution()), "PLVRejected (CANCELLED) [(null)]");
}

/// A chain that is cancelled by its first handler while its resolution is that value, and whose
/// second handler returns a pending deferred.
struct CancelledWithResolution {
  explicit CancelledWithResolution(const Value& resolution) {
    deferred
        ->thenEither([this](const Value& value) -> Value {
          deferred->cancelWithValue("not this");
          return value;
        })
        ->thenEither([this](const Value&) -> Value { return returned; })
        ->thenEither([this](const Value& value) -> Value { return last = value; });
    deferred->resolve(resolution);
  }
  Ref<PLVDeferred> deferred = PLVDeferred::init();
  Ref<PLVDeferred> returned = PLVDeferred::init();
  Value last;
};

TEST_F(PLVDeferredCancelTest, TheReturnedDeferredGetsTheValueOfTheFailureThatStoodThere) {
  CancelledWithResolution chain(PLVRejected::withValue("failure"));
  EXPECT_EQ(text(chain.returned->resolution()), "PLVRejected (CANCELLED) [failure]");
  EXPECT_EQ(text(chain.last), "PLVRejected [failure]");
}

TEST_F(PLVDeferredCancelTest, ANullResolutionGivesTheReturnedDeferredANullCancellation) {
  CancelledWithResolution chain(nullptr);
  EXPECT_EQ(text(chain.returned->resolution()), "PLVRejected (CANCELLED) [(null)]");
  EXPECT_TRUE(chain.last.isNull());
}

TEST_F(PLVDeferredCancelTest, AResolutionWithoutAValueBecomesAValuelessCancellation) {
  for (const Value& resolution : {Value(1), Value("text"), Value(true)}) {
    CancelledWithResolution chain(resolution);
    EXPECT_FALSE(chain.returned->isCancelled()) << "the exception came before its cancellation";
    EXPECT_EQ(text(chain.last), "PLVRejected (CANCELLED) [(null)]");
    EXPECT_EQ(text(chain.deferred->resolution()), "PLVRejected (CANCELLED) [(null)]");
  }
}

// Cycles of waiting, which nothing but a cancellation can be asked to end

TEST_F(PLVDeferredCancelTest, AStepThatReturnsItsOwnDeferredWaitsForEverAndTakesACancellation) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred
      ->thenResolved([deferred = deferred.get()](const Value&) -> Value { return Value(deferred); })
      ->thenEither(noting("never"));
  deferred->resolve(1);
  EXPECT_TRUE(deferred->isPaused());
  EXPECT_EQ(happened(), Words{});
  deferred->cancel();
  EXPECT_TRUE(deferred->isCancelled());
  EXPECT_TRUE(deferred->isPaused());
  EXPECT_EQ(happened(), Words{}) << "it waits for itself, so the cancellation has nobody to go to";
  deferred->resumeWithValue("freed");
  EXPECT_EQ(happened(), Words{"never freed"});
}

TEST_F(PLVDeferredCancelTest, ADeferredResolvedWithItselfWaitsForEverAndTakesACancellation) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->resolve(deferred);
  EXPECT_TRUE(deferred->isPaused());
  deferred->cancel();
  EXPECT_TRUE(deferred->isCancelled());
  EXPECT_TRUE(deferred->isPaused());
  deferred->resumeWithValue(nullptr);
}

TEST_F(PLVDeferredCancelTest, TwoThatWaitForEachOtherAreBothMarkedCancelledOnce) {
  const Ref<PLVDeferred> one = PLVDeferred::init(), two = PLVDeferred::init();
  one->resolve(two);
  two->resolve(one);
  EXPECT_TRUE(one->isPaused());
  EXPECT_TRUE(two->isPaused());
  one->cancelWithValue(1);
  EXPECT_TRUE(one->isCancelled());
  EXPECT_TRUE(two->isCancelled());
  one->thenEither(noting("one"));
  two->thenEither(noting("two"));
  EXPECT_EQ(happened(), Words{});
  two->resumeWithValue("freed");
  EXPECT_EQ(happened(), (Words{"one freed", "two freed"}));
}

}  // namespace
}  // namespace JNFoundation
