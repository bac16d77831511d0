#include "DeferredFixture.h"

/// Handlers, listeners, callbacks and the ends of objects that call back into what is running them.
namespace JNFoundation {
namespace {

class Reentrancy : public DeferredFixture {
 protected:
  Ref<Listener> listener(std::string name) {
    return Listener::answering([this, name = std::move(name)](const Value& value) {
      record.push_back(name + " " + text(value));
    });
  }
};

// Handlers of a deferred

TEST_F(Reentrancy, AHandlerThatAddsAStepToItsDeferredHasItRunAfterTheRemainingOnes) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved([&](const Value& value) {
    record.push_back("first begins");
    deferred->thenResolved(noting("added"));
    record.push_back("first ends");
    return value;
  });
  deferred->thenResolved(returning("second", 2));
  deferred->resolve(1);
  EXPECT_EQ(happened(), (Words{"first begins", "first ends", "second 1", "added 2"}));
}

TEST_F(Reentrancy, AHandlerThatAddsItselfAgainRunsInTheSameLoopNotDeeper) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  int depth = 0, deepest = 0, runs = 0;
  PLVResolvedHandler again;
  again = [&](const Value& value) {
    deepest = std::max(deepest, ++depth);
    if (++runs < 10'000) deferred->thenResolved(again);
    --depth;
    return value;
  };
  deferred->thenResolved(again);
  deferred->resolve(1);
  EXPECT_EQ(runs, 10'000);
  EXPECT_EQ(deepest, 1);
}

TEST_F(Reentrancy, AHandlerThatSettlesItsDeferredAgainIsIgnored) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred
      ->thenResolved([&](const Value& value) {
        deferred->resolve("again");
        deferred->reject("again");
        return value;
      })
      ->thenEither(noting("second"));
  deferred->resolve(1);
  EXPECT_EQ(happened(), Words{"second 1"});
}

TEST_F(Reentrancy, AHandlerMayDropTheLastReferenceToItsDeferred) {
  Ref<PLVDeferred> deferred = PLVDeferred::init();
  const Weak<PLVDeferred> weak = deferred;
  deferred->thenResolved([&](const Value& value) {
    deferred = nullptr;
    EXPECT_TRUE(weak.load());
    return value;
  });
  deferred->thenResolved(noting("second"));
  deferred->resolve(1);
  EXPECT_EQ(happened(), Words{"second 1"});
  EXPECT_FALSE(weak.load());
}

TEST_F(Reentrancy, AHandlerMayCallTheMachineryOfItsOwnDeferredWithoutEffect) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved([&](const Value&) -> Value {
    deferred->consumeSteps();
    deferred->consumeStepsWithValue("again");
    EXPECT_EQ(happened(), Words{});
    return 2;
  });
  deferred->thenResolved(noting("second"));
  deferred->resolve(1);
  EXPECT_EQ(happened(), Words{"second 2"});
}

TEST_F(Reentrancy, AHandlerMayRunTheMainLoopWhileItsChainStandsStill) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved([&](const Value& value) {
    scope.queue().async([&] {
      record.push_back("task");
      deferred->thenResolved(noting("third"));
    });
    turn();
    record.push_back("first");
    return value;
  });
  deferred->thenResolved(noting("second"));
  deferred->resolve(1);
  EXPECT_EQ(happened(), (Words{"task", "first", "second 1", "third 1"}));
}

TEST_F(Reentrancy, AHandlerThatResolvesTheDeferredItReturnsGoesOnAtOnce) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved([](const Value&) -> Value {
    const Ref<PLVDeferred> inner = PLVDeferred::init();
    inner->resolve(2);
    return inner;
  });
  deferred->thenResolved(noting("second"));
  deferred->resolve(1);
  EXPECT_EQ(happened(), Words{"second 2"});
}

TEST_F(Reentrancy, AStepOfTheInnerChainMayAddStepsToTheOneThatWaitsForIt) {
  const Ref<PLVDeferred> inner = PLVDeferred::init();
  const Ref<PLVDeferred> outer = PLVDeferred::init();
  inner->thenResolved([&](const Value& value) {
    outer->thenResolved(noting("added"));
    return value;
  });
  outer->resolve(inner);
  outer->thenResolved(noting("outer"));
  inner->resolve(1);
  EXPECT_EQ(happened(), (Words{"outer 1", "added 1"}));
}

TEST_F(Reentrancy, AHandlerOfTheOuterChainThatCancelsTheInnerOneTurnsItsOutcome) {
  const Ref<PLVDeferred> inner = PLVDeferred::init();
  const Ref<PLVDeferred> outer = PLVDeferred::withResolved(inner);
  outer->thenResolved([&](const Value& value) {
    inner->cancelWithValue("enough");
    return value;
  });
  inner->resolve(1);
  EXPECT_EQ(text(inner->resolution()), "PLVRejected (CANCELLED) [enough]");
  EXPECT_EQ(outer->resolution(), Value(1));
}

TEST_F(Reentrancy, AResultThatCancelsAnotherMayRunAndPauseTheChainInBetween) {
  // The returned deferred is cancelled with no step of the chain running, so what its handler adds
  // to the chain runs within.
  const Ref<PLVDeferred> returned = PLVDeferred::init(), deferred = PLVDeferred::init();
  returned->thenRejected([&](const Ref<PLVRejected>&) -> Value {
    deferred->thenRejected(noting("added"));
    EXPECT_EQ(happened(),
              (Words{"second PLVRejected (CANCELLED) [1]", "added PLVRejected (CANCELLED) [1]"}));
    return nullptr;
  });
  deferred->thenRejected([&](const Ref<PLVRejected>&) -> Value { return returned; });
  deferred->thenRejected(noting("second"));
  deferred->cancelWithValue(1);
  EXPECT_EQ(happened(), Words{});
}

// Listeners and callbacks of a promise

TEST_F(Reentrancy, AListenerThatCancelsAnotherOneHasItSeeTheCancellationOnly) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVDeferred> first = promise->deferredResolution(),
                         second = promise->deferredResolution();
  first->thenResolved([&](const Value& value) {
    second->cancelWithValue("enough");
    return value;
  });
  second->thenEither(noting("second"));
  promise->resolve(1);
  EXPECT_EQ(happened(), Words{"second PLVRejected (CANCELLED) [enough]"});
  EXPECT_EQ(promise->resolution(), Value(1)) << "the outcome is there, so nothing cancels it";
}

TEST_F(Reentrancy, AListenerEnlistedByAListenerIsToldAtOnce) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->enlistResolvable(Listener::answering([&](const Value&) {
    record.push_back("first begins");
    promise->enlistResolvable(listener("enlisted"));
    record.push_back("first ends");
  }));
  promise->enlistResolvable(listener("second"));
  promise->resolve(1);
  EXPECT_EQ(happened(), (Words{"first begins", "enlisted 1", "first ends", "second 1"}));
}

TEST_F(Reentrancy, AListenerThatEnlistsItselfAgainIsToldAgain) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  Ref<Listener> again;
  int told = 0;
  again = Listener::answering([&](const Value&) {
    if (++told == 1) promise->enlistResolvable(again);
  });
  promise->enlistResolvable(again);
  promise->resolve(1);
  EXPECT_EQ(told, 2);
}

TEST_F(Reentrancy, AListenerMayReleaseThePromiseAndTheOthersAreStillTold) {
  Ref<PLVPromise> promise = PLVPromise::init();
  const Weak<PLVPromise> weak = promise;
  promise->enlistResolvable(Listener::answering([&](const Value&) { promise = nullptr; }));
  promise->enlistResolvable(listener("second"));
  promise->whenFulfilled(fulfilled("callback"));
  promise->resolve(1);
  EXPECT_EQ(happened(), (Words{"second 1", "callback 1 (null)"}));
  EXPECT_FALSE(weak.load());
}

TEST_F(Reentrancy, AListenerThatGivesTheFirstCallbackHasTheOthersToldFirstAndOnceMore) {
  // The outcome is there, so the callback may run at once, but not before the listeners.
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->enlistResolvable(Listener::answering([&](const Value&) {
    record.push_back("first begins");
    promise->whenFulfilled(fulfilled("callback"));
    record.push_back("first ends");
  }));
  promise->deferredResolution()->thenEither(noting("chain"));
  promise->enlistResolvable(listener("third"));
  promise->resolve(1);
  EXPECT_EQ(happened(), (Words{"first begins", "chain 1", "third 1", "callback 1 (null)",
                               "first ends", "third 1"}))
      << "a deferred ignores the second call, a resolvable of the application sees it";
}

TEST_F(Reentrancy, AListenerThatCancelsThePromiseChangesWhatLaterOnesSee) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->enlistResolvable(
      Listener::answering([&](const Value&) { promise->cancelWithValue(2); }));
  promise->enlistResolvable(listener("second"));
  promise->whenFulfilled(fulfilled("callback"));
  promise->resolve(1);
  EXPECT_EQ(happened(), (Words{"second 1", "callback 1 (null)"}));
  promise->enlistResolvable(listener("late"));
  EXPECT_EQ(happened(), Words{"late PLVRejected (CANCELLED) [2]"});
}

TEST_F(Reentrancy, AListenerThatSettlesThePromiseAgainIsIgnored) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->enlistResolvable(Listener::answering([&](const Value&) {
    promise->resolve("again");
    promise->reject("again");
  }));
  promise->enlistResolvable(listener("second"));
  promise->resolve(1);
  EXPECT_EQ(happened(), Words{"second 1"});
}

TEST_F(Reentrancy, ACallbackThatGivesAnotherCallbackHasItRunAtOnce) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->whenFulfilled([&](const Value&, const Ref<PLVRejected>&) {
    record.push_back("first begins");
    promise->whenFulfilled(fulfilled("second"));
    record.push_back("first ends");
  });
  promise->resolve(1);
  EXPECT_EQ(happened(), (Words{"first begins", "second 1 (null)", "first ends"}));
}

TEST_F(Reentrancy, ACallbackMayReleaseItsPromise) {
  Ref<PLVPromise> promise = PLVPromise::init();
  promise->whenFulfilled([&, atEnd = AtEnd::run([&] { record.push_back("released"); })](
                             const Value&, const Ref<PLVRejected>&) {
    promise = nullptr;
    record.push_back("callback");
  });
  promise->resolve(1);
  EXPECT_EQ(happened(), (Words{"callback", "released"}));
}

TEST_F(Reentrancy, ACallbackOfAPromiseMayCancelIt) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->whenFulfilled([&](const Value& value, const Ref<PLVRejected>&) {
    record.push_back(text(value));
    promise->cancelWithValue(2);
  });
  promise->resolve(1);
  EXPECT_EQ(happened(), Words{"1"});
  EXPECT_EQ(text(promise->resolution()), "PLVRejected (CANCELLED) [2]");
}

// The ends of objects, which may settle others

TEST_F(Reentrancy, AHandlerWhoseEndSettlesAnotherChainMayBeReleasedAnywhere) {
  for (const bool cancels : {false, true}) {
    const Ref<PLVDeferred> other = PLVDeferred::init();
    other->thenEither(noting("other"))->thenEither(noting("and"));
    Ref<PLVDeferred> deferred = PLVDeferred::init();
    deferred->thenEither([atEnd = AtEnd::run([other] { other->resolve("the end"); })](
                             const Value& value) { return value; });
    deferred->thenEither(noting("second"));
    if (cancels) {
      deferred->cancel();
      EXPECT_EQ(happened(),
                (Words{"other the end", "and the end", "second PLVRejected (CANCELLED) [(null)]"}));
    } else {
      deferred = nullptr;
      EXPECT_EQ(happened(), (Words{"other the end", "and the end"}));
    }
  }
}

TEST_F(Reentrancy, TheEndOfAnOutcomeMayAddStepsToTheChainThatLetsItGo) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenEither([](const Value&) { return nullptr; })->thenEither(noting("second"));
  deferred->resolve(AtEnd::run([&] {
    record.push_back("end");
    deferred->thenEither(noting("added"));
  }));
  const Words words = happened();
  EXPECT_EQ(std::count(words.begin(), words.end(), "end"), 1);
  EXPECT_EQ(std::count(words.begin(), words.end(), "second (null)"), 1);
  EXPECT_EQ(std::count(words.begin(), words.end(), "added (null)"), 1);
}

TEST_F(Reentrancy, TheEndOfAListenerThatOnlyThePromiseHeldMaySettleOtherChains) {
  // The end comes with the record of whom to tell, while the promise's own call is being undone.
  const Ref<PLVDeferred> other = PLVDeferred::init();
  const Ref<PLVDeferred> chain = PLVDeferred::resolvedBy(other);
  chain->thenEither(noting("chain"));
  const Ref<PLVPromise> promise = PLVPromise::init();
  for (int i = 0; i < 3; ++i) {
    promise->enlistResolvable(Listener::answering(
        [atEnd = AtEnd::run([other, i] { other->resolve(i); })](const Value&) {}));
  }
  promise->resolve(AtEnd::run([&] { record.push_back("outcome released"); }));
  EXPECT_EQ(happened().size(), 1u);
  EXPECT_TRUE(chain->isResolved());
  promise->setResolution(nullptr);
  EXPECT_EQ(happened(), Words{"outcome released"});
}

TEST_F(Reentrancy, TheEndOfACancellationsValueMaySettleOtherChains) {
  const Ref<PLVDeferred> other = PLVDeferred::init();
  other->thenEither(noting("other"));
  Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenEither([&](const Value&) -> Value {
    deferred = nullptr;
    return nullptr;
  });
  deferred->cancelWithValue(AtEnd::run([other] { other->resolve("the end"); }));
  EXPECT_EQ(happened(), Words{"other the end"});
}

TEST_F(Reentrancy, EndsThatSettleChainsRunAtEveryLevelOfCallsThatFail) {
  // Every frame that a foreign exception leaves behind holds the last reference to something.
  std::vector<Ref<PLVDeferred>> others;
  for (int i = 0; i < 8; ++i) {
    others.push_back(PLVDeferred::init());
    others.back()->thenEither(noting("other"))->thenEither(noting("and"));
  }
  Ref<PLVDeferred> first = PLVDeferred::init();
  Ref<PLVDeferred> last = first;
  for (int i = 0; i < 8; ++i) {
    last->thenEither([](const Value& value) { return value; });
    Ref<PLVDeferred> next = PLVDeferred::resolvedBy(last);
    last->thenEither([atEnd = AtEnd::run([other = others[i]] { other->resolve("end"); })](
                         const Value& value) { return value; });
    last = next;
  }
  last->thenEither([](const Value&) -> Value { throw Foreign(); });
  last = nullptr;
  const Ref<PLVDeferred> start = std::exchange(first, nullptr);
  EXPECT_THROW(start->resolve(1), Foreign);
  start->consumeSteps();
  EXPECT_EQ(happened().size(), 16u);
  for (const Ref<PLVDeferred>& other : others) EXPECT_TRUE(other->isResolved());
}

// Past the depth to which handlers nest

/// Calls the action from inside that many handlers, each of which resolves the next one's chain.
void nested(int depth, const Block<void()>& action) {
  if (depth == 0) return action();
  PLVDeferred::withResolved(nullptr)->thenResolved([&](const Value& value) {
    nested(depth - 1, action);
    return value;
  });
}

TEST_F(Reentrancy, WhatIsPutOffRunsBeforeTheOutermostCallReturns) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved(noting("step"));
  nested(128, [&] {
    deferred->resolve(1);
    EXPECT_TRUE(deferred->isResolved());
    EXPECT_EQ(happened(), Words{}) << "put off";
  });
  EXPECT_EQ(happened(), Words{"step 1"});
}

TEST_F(Reentrancy, AChainThatWasPutOffAndHasComeToAPauseSinceStaysPaused) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init(), inner = PLVDeferred::init();
  deferred->thenResolved(returning("first", inner))->thenResolved(noting("second"));
  PLVDeferred::withResolved(nullptr)->thenResolved([&](const Value& value) {
    nested(127, [&] {
      deferred->resolve(1);
      EXPECT_EQ(happened(), Words{}) << "put off";
    });
    deferred->thenResolved(noting("third"));
    EXPECT_EQ(happened(), Words{"first 1"}) << "this call is not nested as deep";
    return value;
  });
  EXPECT_EQ(happened(), Words{}) << "it waits for the inner one";
  inner->resolve(2);
  EXPECT_EQ(happened(), (Words{"second 2", "third 2"}));
}

TEST_F(Reentrancy, WhatIsPutOffSurvivesAForeignExceptionOnTheMainQueue) {
  const Ref<PLVDeferred> one = PLVDeferred::init(), two = PLVDeferred::init();
  one->thenResolved([&](const Value&) -> Value {
    record.push_back("one");
    throw Foreign();
  });
  two->thenResolved(noting("two"));
  EXPECT_THROW(nested(128,
                      [&] {
                        one->resolve(1);
                        two->resolve(2);
                        throw Foreign();
                      }),
               Foreign);
  EXPECT_EQ(happened(), Words{});
  EXPECT_THROW(turn(), Foreign);
  EXPECT_EQ(happened(), Words{"one"});
  turn();
  EXPECT_EQ(happened(), Words{"two 2"});
}

TEST_F(Reentrancy, ACancellationThatIsPutOffTellsTheSourceAndTheStepsLater) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVDeferred> listener = promise->deferredResolution();
  listener->thenEither(noting("step"));
  nested(128, [&] {
    listener->cancelWithValue(1);
    EXPECT_FALSE(promise->isFulfilled());
    EXPECT_TRUE(listener->isCancelled());
  });
  EXPECT_EQ(happened(), Words{"step PLVRejected (CANCELLED) [1]"});
  EXPECT_TRUE(promise->isFulfilled());
}

TEST_F(Reentrancy, WithinTheDepthNothingIsPutOff) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved(noting("step"));
  nested(127, [&] {
    deferred->resolve(1);
    EXPECT_EQ(happened(), Words{"step 1"});
  });
}

}  // namespace
}  // namespace JNFoundation
