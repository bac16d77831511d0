#include <stdexcept>

#include "DeferredFixture.h"

#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation {
namespace {

class PLVDeferredExceptionsTest : public DeferredFixture {
 protected:
  /// A handler that leaves "name value" in the record and throws what is no NSException.
  auto throwing(std::string name) {
    return [this, name = std::move(name)](const Value& value) -> Value {
      record.push_back(name + " " + text(value));
      throw Foreign();
    };
  }
};

// NSExceptions become failures

TEST_F(PLVDeferredExceptionsTest, WhatAHandlerRaisesIsTheNextStepsFailure) {
  Value carried;
  PLVDeferred::withResolved(1)
      ->thenResolved(raising("first"))
      ->thenResolved(noting("skipped"))
      ->thenRejected([&](const Ref<PLVRejected>& rejected) -> Value {
        EXPECT_FALSE(rejected->isCancellation());
        carried = rejected->value();
        return 3;
      })
      ->thenResolved(noting("last"));
  EXPECT_EQ(happened(), (Words{"first 1", "last 3"}));
  ASSERT_TRUE(isKindOf<NSException>(carried));
  EXPECT_EQ(text(as<NSException>(carried)->name()), "Scripted");
}

TEST_F(PLVDeferredExceptionsTest, TheFailureCarriesTheVeryExceptionThatWasRaised) {
  const Ref<NSException> exception =
      NSException::exceptionWithNameReasonUserInfo("Mine", "because", nullptr);
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved(1);
  deferred->thenResolved([exception](const Value&) -> Value { exception->raise(); });
  const Value resolution = deferred->resolution();
  ASSERT_TRUE(isKindOf<PLVRejected>(resolution));
  EXPECT_TRUE(as<PLVRejected>(resolution)->value().isIdentical(exception));
}

TEST_F(PLVDeferredExceptionsTest, ARejectedHandlerMayRaiseToo) {
  PLVDeferred::withRejected(1)->thenRejected(raising("first"))->thenRejected(noting("second"));
  EXPECT_EQ(happened(), (Words{"first PLVRejected [1]", "second PLVRejected [first raised]"}));
}

TEST_F(PLVDeferredExceptionsTest, TheCallerOfResolveSeesNoNSException) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved(raising("step"));
  EXPECT_NO_THROW(deferred->resolve(1));
  EXPECT_EQ(happened(), Words{"step 1"});
}

TEST_F(PLVDeferredExceptionsTest, InACancelledChainAnExceptionBecomesAValuelessCancellation) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenRejected(raising("first"))->thenRejected(noting("second"));
  deferred->cancelWithValue("lost");
  EXPECT_EQ(happened(), (Words{"first PLVRejected (CANCELLED) [lost]",
                               "second PLVRejected (CANCELLED) [(null)]"}));
}

TEST_F(PLVDeferredExceptionsTest, AHandlerThatCancelsItsChainAndRaisesLeavesACancellation) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred
      ->thenResolved([&](const Value&) -> Value {
        deferred->cancelWithValue("lost");
        raise("Scripted", "raised");
      })
      ->thenEither(noting("second"));
  deferred->resolve(1);
  EXPECT_EQ(happened(), Words{"second PLVRejected (CANCELLED) [(null)]"});
}

TEST_F(PLVDeferredExceptionsTest, ATargetOfAnApplicationMayRaise) {
  const Ref<Listener> target =
      Listener::answering([](const Value&) { raise("Scripted", "target raised"); });
  PLVDeferred::withResolved(1)->thenResolve(target)->thenEither(noting("on"));
  EXPECT_EQ(happened(), Words{"on PLVRejected [target raised]"});
}

TEST_F(PLVDeferredExceptionsTest, WhatATargetsHandlerRaisesStaysInTheTargetsChain) {
  const Ref<PLVDeferred> target = PLVDeferred::init();
  target->thenResolved(raising("target"));
  PLVDeferred::withResolved(1)->thenResolve(target)->thenEither(noting("on"));
  EXPECT_EQ(happened(), (Words{"target 1", "on 1"}));
  EXPECT_EQ(text(target->resolution()), "PLVRejected [target raised]");
}

TEST_F(PLVDeferredExceptionsTest, WhatAResumedChainRaisesStaysInThatChain) {
  const Ref<PLVDeferred> inner = PLVDeferred::init();
  const Ref<PLVDeferred> outer = PLVDeferred::withResolved(inner);
  outer->thenResolved(raising("outer"));
  inner->thenEither(noting("inner"));
  inner->resolve(1);
  EXPECT_EQ(happened(), (Words{"outer 1", "inner 1"}));
  EXPECT_EQ(text(outer->resolution()), "PLVRejected [outer raised]");
}

TEST_F(PLVDeferredExceptionsTest, WhatASourceRaisesGoesToWhoCancelsAndTheDeferredStaysUnresolved) {
  const Ref<Source> source = Source::answering(
      [](const Ref<PLVResolvable>&, const Value&) { raise("Scripted", "source raised"); });
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolutionSource(source);
  deferred->thenEither(noting("step"));
  EXPECT_THROW(deferred->cancel(), Raised);
  EXPECT_TRUE(deferred->isCancelled());
  EXPECT_FALSE(deferred->isResolved());
  EXPECT_EQ(happened(), Words{});
}

TEST_F(PLVDeferredExceptionsTest, WhatASourceRaisesInACancelledChainBecomesItsCancellation) {
  const Ref<Source> source = Source::answering(
      [](const Ref<PLVResolvable>&, const Value&) { raise("Scripted", "source raised"); });
  const Ref<PLVDeferred> returned = PLVDeferred::withResolutionSource(source);
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenRejected(returning("first", returned))->thenRejected(noting("second"));
  deferred->cancelWithValue("lost");
  EXPECT_EQ(happened(), (Words{"first PLVRejected (CANCELLED) [lost]",
                               "second PLVRejected (CANCELLED) [(null)]"}));
  EXPECT_FALSE(returned->isResolved());
}

TEST_F(PLVDeferredExceptionsTest, AHandlerMayCatchWhatItsOwnCallsRaise) {
  const Ref<Source> source = Source::answering(
      [](const Ref<PLVResolvable>&, const Value&) { raise("Scripted", "source raised"); });
  const Ref<PLVDeferred> other = PLVDeferred::withResolutionSource(source);
  PLVDeferred::withResolved(1)
      ->thenResolved([&](const Value&) -> Value {
        EXPECT_THROW(other->cancel(), Raised);
        return 2;
      })
      ->thenEither(noting("on"));
  EXPECT_EQ(happened(), Words{"on 2"});
}

// Other exceptions leave, and the chain can be used afterwards

TEST_F(PLVDeferredExceptionsTest, AForeignExceptionLeavesResolveAndTheRestOfTheChainWaits) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved(throwing("first"))->thenEither(noting("second"));
  EXPECT_THROW(deferred->resolve(1), Foreign);
  EXPECT_EQ(happened(), Words{"first 1"});
  EXPECT_TRUE(deferred->isResolved());
  EXPECT_EQ(deferred->resolution(), Value(1));
  deferred->thenEither(noting("third"));
  EXPECT_EQ(happened(), (Words{"second 1", "third 1"}));
}

TEST_F(PLVDeferredExceptionsTest, AForeignExceptionLeavesTheThenOperationThatRanTheHandler) {
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved(1);
  EXPECT_THROW(deferred->thenResolved(throwing("step")), Foreign);
  deferred->thenResolved(noting("later"));
  EXPECT_EQ(happened(), (Words{"step 1", "later 1"}));
}

TEST_F(PLVDeferredExceptionsTest, StandardAndBareExceptionsAreForeign) {
  EXPECT_THROW(PLVDeferred::withResolved(1)->thenResolved(
                   [](const Value&) -> Value { throw std::runtime_error("foreign"); }),
               std::runtime_error);
  EXPECT_THROW(PLVDeferred::withResolved(1)->thenResolved([](const Value&) -> Value { throw 7; }),
               int);
}

TEST_F(PLVDeferredExceptionsTest, AForeignExceptionPassesHandlersAtSeveralLevels) {
  const Ref<PLVDeferred> one = PLVDeferred::init(), two = PLVDeferred::init();
  const Ref<PLVDeferred> three = PLVDeferred::init();
  three->thenResolved(throwing("three"))->thenEither(noting("three goes on"));
  two->thenResolved([&](const Value& value) {
       three->resolve(value);
       return value;
     })
      ->thenEither(noting("two goes on"));
  one->thenResolved([&](const Value& value) {
       two->resolve(value);
       return value;
     })
      ->thenEither(noting("one goes on"));
  EXPECT_THROW(one->resolve(1), Foreign);
  EXPECT_EQ(happened(), Words{"three 1"});
  for (const Ref<PLVDeferred>& deferred : {one, two, three}) deferred->thenEither(noting("and"));
  EXPECT_EQ(happened(), (Words{"one goes on 1", "and 1", "two goes on 1", "and 1",
                               "three goes on 1", "and 1"}));
}

TEST_F(PLVDeferredExceptionsTest, AHandlerMayCatchTheForeignExceptionOfAChainThatItCalls) {
  const Ref<PLVDeferred> inner = PLVDeferred::init();
  inner->thenResolved(throwing("inner"))->thenEither(noting("inner goes on"));
  PLVDeferred::withResolved(1)
      ->thenResolved([&](const Value&) -> Value {
        EXPECT_THROW(inner->resolve(2), Foreign);
        EXPECT_EQ(happened(), Words{"inner 2"});
        inner->thenEither(noting("and"));
        return 3;
      })
      ->thenResolved(noting("outer"));
  EXPECT_EQ(happened(), (Words{"inner goes on 2", "and 2", "outer 3"}));
}

TEST_F(PLVDeferredExceptionsTest, AForeignExceptionPassesChainsThatResolveEachOther) {
  const Ref<PLVDeferred> first = PLVDeferred::init();
  const Ref<PLVDeferred> second = PLVDeferred::resolvedBy(first);
  const Ref<PLVDeferred> third = PLVDeferred::resolvedBy(second);
  first->thenEither(noting("first"));
  second->thenEither(noting("second"));
  third->thenEither(throwing("third"))->thenEither(noting("third goes on"));
  EXPECT_THROW(first->resolve(1), Foreign);
  EXPECT_EQ(happened(), Words{"third 1"});
  for (const Ref<PLVDeferred>& deferred : {first, second, third}) {
    EXPECT_TRUE(deferred->isResolved());
    deferred->thenEither(noting("and"));
  }
  EXPECT_EQ(happened(),
            (Words{"first 1", "and 1", "second 1", "and 1", "third goes on 1", "and 1"}));
}

TEST_F(PLVDeferredExceptionsTest, AForeignExceptionPassesChainsThatWaitForEachOther) {
  const Ref<PLVDeferred> innermost = PLVDeferred::init();
  const Ref<PLVDeferred> middle = PLVDeferred::withResolved(innermost);
  const Ref<PLVDeferred> outer = PLVDeferred::withResolved(middle);
  outer->thenEither(throwing("outer"))->thenEither(noting("outer goes on"));
  EXPECT_THROW(innermost->resolve(1), Foreign);
  EXPECT_EQ(happened(), Words{"outer 1"});
  for (const Ref<PLVDeferred>& deferred : {outer, middle, innermost}) {
    EXPECT_FALSE(deferred->isPaused());
    deferred->thenEither(noting("and"));
  }
  EXPECT_EQ(happened(), (Words{"outer goes on 1", "and 1", "and 1", "and 1"}));
}

TEST_F(PLVDeferredExceptionsTest,
       AForeignExceptionOfAResumedChainLeavesTheThenOperationOfTheInnerOne) {
  const Ref<PLVDeferred> outer = PLVDeferred::init();
  outer->thenResolved(returning("first", PLVDeferred::withResolved(2)))
      ->thenResolved(throwing("second"))
      ->thenResolved(noting("third"));
  EXPECT_THROW(outer->resolve(1), Foreign);
  EXPECT_EQ(happened(), (Words{"first 1", "second 2"}));
  EXPECT_FALSE(outer->isPaused());
  outer->consumeSteps();
  EXPECT_EQ(happened(), Words{"third 2"});
}

TEST_F(PLVDeferredExceptionsTest, AForeignExceptionOfATargetLeavesTheChainThatResolvesIt) {
  const Ref<Listener> target = Listener::answering([](const Value&) { throw Foreign(); });
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolve(target)->thenEither(noting("on"));
  EXPECT_THROW(deferred->resolve(1), Foreign);
  EXPECT_EQ(happened(), Words{});
  deferred->consumeSteps();
  EXPECT_EQ(happened(), Words{"on 1"});
}

TEST_F(PLVDeferredExceptionsTest, AForeignExceptionOfASourceLeavesTheCancellation) {
  const Ref<Source> source =
      Source::answering([](const Ref<PLVResolvable>&, const Value&) { throw Foreign(); });
  const Ref<PLVDeferred> inner = PLVDeferred::withResolutionSource(source);
  const Ref<PLVDeferred> outer = PLVDeferred::withResolved(inner);
  outer->thenEither(noting("outer"));
  EXPECT_THROW(outer->cancel(), Foreign);
  EXPECT_TRUE(outer->isCancelled());
  EXPECT_TRUE(inner->isCancelled());
  EXPECT_FALSE(inner->isResolved());
  inner->consumeStepsWithValue("freed");
  EXPECT_EQ(happened(), Words{"outer freed"});
}

TEST_F(PLVDeferredExceptionsTest,
       AForeignExceptionInAReturnedDeferredsCancellationLeavesBothUsable) {
  const Ref<PLVDeferred> returned = PLVDeferred::init();
  returned->thenRejected(throwing("returned"))->thenEither(noting("returned goes on"));
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenRejected(returning("first", returned))->thenEither(noting("second"));
  EXPECT_THROW(deferred->cancelWithValue(1), Foreign);
  EXPECT_EQ(happened(),
            (Words{"first PLVRejected (CANCELLED) [1]", "returned PLVRejected (CANCELLED) [1]"}));
  deferred->consumeSteps();
  returned->consumeSteps();
  EXPECT_EQ(happened(), (Words{"second PLVRejected (CANCELLED) [1]",
                               "returned goes on PLVRejected (CANCELLED) [1]"}));
}

TEST_F(PLVDeferredExceptionsTest, AForeignExceptionOutOfAMainQueueTaskReachesWhoRunsTheLoop) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved(throwing("step"))->thenResolved(noting("rest"));
  scope.queue().async([deferred] { deferred->resolve(1); });
  EXPECT_THROW(turn(), Foreign);
  EXPECT_EQ(happened(), Words{"step 1"});
  deferred->consumeSteps();
  EXPECT_EQ(happened(), Words{"rest 1"});
}

}  // namespace
}  // namespace JNFoundation
