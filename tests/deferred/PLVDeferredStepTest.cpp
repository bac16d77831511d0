#include <functional>

#include "DeferredFixture.h"

#include <JNFoundation/deferred/PLVDeferredStep.h>

namespace JNFoundation {
namespace {

class Refusal : public Subclass<Refusal, PLVRejected> {
 protected:
  using Subclass::Subclass;
};

class PLVDeferredStepTest : public DeferredFixture {
 protected:
  static Ref<PLVDeferredStep> step(PLVResolvedHandler resolved, PLVRejectedHandler rejected) {
    return PLVDeferredStep::initWithResolvedBlockRejectedBlock(std::move(resolved),
                                                               std::move(rejected));
  }
};

TEST_F(PLVDeferredStepTest, ASuccessGoesThroughTheResolvedHandlerOnly) {
  EXPECT_EQ(step(returning("resolved", 2), returning("rejected", 3))->processValue(1), Value(2));
  EXPECT_EQ(happened(), Words{"resolved 1"});
}

TEST_F(PLVDeferredStepTest, AFailureGoesThroughTheRejectedHandlerOnly) {
  const Value failure = PLVRejected::withValue(1);
  EXPECT_EQ(step(returning("resolved", 2), returning("rejected", 3))->processValue(failure),
            Value(3));
  EXPECT_EQ(happened(), Words{"rejected PLVRejected [1]"});
}

TEST_F(PLVDeferredStepTest, NullIsASuccess) {
  EXPECT_EQ(step(returning("resolved", 2), noting("rejected"))->processValue(nullptr), Value(2));
  EXPECT_EQ(happened(), Words{"resolved (null)"});
}

TEST_F(PLVDeferredStepTest, ACancellationIsAFailure) {
  step(noting("resolved"), noting("rejected"))->processValue(PLVRejected::cancellation());
  EXPECT_EQ(happened(), Words{"rejected PLVRejected (CANCELLED) [(null)]"});
}

TEST_F(PLVDeferredStepTest, AFailureOfADerivedClassIsAFailure) {
  step(noting("resolved"), noting("rejected"))->processValue(Refusal::withValue(1));
  EXPECT_EQ(happened(), Words{"rejected PLVRejected [1]"});
}

TEST_F(PLVDeferredStepTest, WithoutAHandlerTheValuePassesUnchanged) {
  const Value failure = PLVRejected::withValue(1);
  EXPECT_TRUE(step(noting("resolved"), nullptr)->processValue(failure).isIdentical(failure));
  EXPECT_EQ(step(nullptr, noting("rejected"))->processValue("on"), Value("on"));
  EXPECT_EQ(step(nullptr, nullptr)->processValue("on"), Value("on"));
  EXPECT_TRUE(step(nullptr, nullptr)->processValue(failure).isIdentical(failure));
}

TEST_F(PLVDeferredStepTest, NullOutOfAHandlerIsTheResult) {
  EXPECT_TRUE(step(returning("resolved", nullptr), nullptr)->processValue(1).isNull());
  EXPECT_TRUE(step(nullptr, returning("rejected", nullptr))
                  ->processValue(PLVRejected::withValue(1))
                  .isNull());
  EXPECT_EQ(happened(), (Words{"resolved 1", "rejected PLVRejected [1]"}));
}

TEST_F(PLVDeferredStepTest, WhatAHandlerRaisesGoesToTheCaller) {
  const Ref<PLVDeferredStep> raises = step(raising("resolved"), nullptr);
  EXPECT_THROW(raises->processValue(1), Raised);
  EXPECT_EQ(happened(), Words{"resolved 1"});
}

TEST_F(PLVDeferredStepTest, HoldsCopiesOfItsHandlers) {
  PLVResolvedHandler handler = returning("kept", 2);
  const Ref<PLVDeferredStep> kept = step(handler, nullptr);
  handler = noting("replaced");
  EXPECT_EQ(kept->processValue(1), Value(2));
  EXPECT_EQ(happened(), Words{"kept 1"});
}

TEST_F(PLVDeferredStepTest, ARejectedHandlerMayTakeTheRejectionOrAnyValue) {
  const Value failure = PLVRejected::withValue(7);
  EXPECT_EQ(step(nullptr, [](const Ref<PLVRejected>& rejected) { return rejected->value(); })
                ->processValue(failure),
            Value(7));
  EXPECT_TRUE(step(nullptr, [](const Value& rejected) { return rejected; })
                  ->processValue(failure)
                  .isIdentical(failure));
}

TEST_F(PLVDeferredStepTest, AFunctionThatHoldsNothingIsNoHandler) {
  const Value failure = PLVRejected::withValue(7);
  const Ref<PLVDeferredStep> steps[] = {
      step(nullptr, std::function<Value(const Ref<PLVRejected>&)>()),
      step(nullptr, std::function<Value(const Value&)>()),
      step(nullptr, Block<Value(const Ref<PLVRejected>&)>()),
      step(nullptr, Block<Value(const Value&)>()),
      step(nullptr, static_cast<Value (*)(const Ref<PLVRejected>&)>(nullptr)),
      step(std::function<Value(const Value&)>(), nullptr),
  };
  for (const Ref<PLVDeferredStep>& empty : steps) {
    EXPECT_TRUE(empty->processValue(failure).isIdentical(failure));
    EXPECT_EQ(empty->processValue(7), Value(7));
  }
}

TEST_F(PLVDeferredStepTest, MayStandInTheListsOfSeveralDeferreds) {
  const Ref<PLVDeferredStep> shared = step(noting("shared"), nullptr);
  const Ref<PLVDeferred> one = PLVDeferred::init(), two = PLVDeferred::init();
  one->addStep(shared);
  two->addStep(shared);
  one->thenResolved(noting("one"));
  two->thenResolved(noting("two"));
  one->resolve(1);
  EXPECT_EQ(happened(), (Words{"shared 1", "one 1"}));
  two->resolve(2);
  EXPECT_EQ(happened(), (Words{"shared 2", "two 2"}));
}

TEST_F(PLVDeferredStepTest, MayStandInOneListTwice) {
  const Ref<PLVDeferredStep> first = step(noting("first"), nullptr);
  const Ref<PLVDeferredStep> second = step(noting("second"), nullptr);
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  for (const Ref<PLVDeferredStep>& next : {first, second, first, first, second}) {
    deferred->addStep(next);
  }
  EXPECT_EQ(happened(), Words{});
  deferred->resolve(1);
  EXPECT_EQ(happened(), (Words{"first 1", "second 1", "first 1", "first 1", "second 1"}));
}

TEST_F(PLVDeferredStepTest, AListInWhichAStepStandsTwiceIsDestroyedUnrun) {
  const Ref<PLVDeferredStep> twice = step(noting("twice"), nullptr);
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->addStep(twice);
  deferred->addStep(twice);
}

}  // namespace
}  // namespace JNFoundation
