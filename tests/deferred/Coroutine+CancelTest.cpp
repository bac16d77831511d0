#include "DeferredFixture.h"

#include <JNFoundation/deferred/Coroutine.h>

/// Who is told when a coroutine is no longer wanted, and what becomes of one that nobody resumes.
namespace JNFoundation {
namespace {

class CoroutineCancelTest : public DeferredFixture {
 protected:
  struct Leaving {
    Words& record;
    std::string word;
    ~Leaving() { record.push_back(word); }
  };

  /// Awaits one after the other, noting what each gives or throws.
  Ref<PLVDeferred> walking(std::string name, std::vector<Ref<PLVDeferred>> each) {
    const Leaving leaving{record, name + " left"};
    for (Ref<PLVDeferred>& awaited : each) {
      try {
        record.push_back(name + " " + text(co_await std::move(awaited)));
      } catch (const Cancelled& cancelled) {
        record.push_back(name + " cancelled " + text(cancelled.rejected()->value()));
      }
    }
    co_return "done";
  }

  Ref<PLVDeferred> waiting(std::string name, Ref<PLVDeferred> awaited) {
    const Leaving leaving{record, name + " left"};
    co_return co_await std::move(awaited);
  }
};

TEST_F(CoroutineCancelTest, CancelsWhatItWaitsForAndCleansUpBeforeItsOwnSteps) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init(), deferred = waiting("coroutine", awaited);
  awaited->thenRejected(noting("behind the await"));
  deferred->thenRejected(noting("own step"));
  deferred->cancelWithValue("stop");
  EXPECT_EQ(happened(), (Words{"coroutine left", "behind the await PLVRejected (CANCELLED) [stop]",
                               "own step PLVRejected (CANCELLED) [stop]"}));
  EXPECT_TRUE(awaited->isCancelled());
}

TEST_F(CoroutineCancelTest, WithdrawsFromAPromise) {
  const Ref<PLVPromise> promise = PLVPromise::init(), shared = PLVPromise::init();
  const auto coroutine = [](Ref<PLVPromise> promise) -> Ref<PLVDeferred> {
    co_return co_await std::move(promise);
  };
  coroutine(promise)->cancel();
  EXPECT_TRUE(promise->isFulfilled()) << "it lost its last listener";

  const Ref<PLVDeferred> first = coroutine(shared), second = coroutine(shared);
  first->cancel();
  EXPECT_TRUE(first->isCancelled());
  EXPECT_FALSE(shared->isFulfilled());
  shared->resolve(1);
  EXPECT_EQ(second->resolution(), Value(1));
}

TEST_F(CoroutineCancelTest, IsThrownOnceAndCleanUpMayWait) {
  const Ref<PLVDeferred> work = PLVDeferred::init(), closing = PLVDeferred::init();
  const Ref<PLVDeferred> deferred = walking("step", {work, closing});
  deferred->cancelWithValue("stop");
  EXPECT_EQ(happened(), Words{"step cancelled stop"});
  EXPECT_EQ(text(deferred->resolution()), "PLVRejected (CANCELLED) [stop]");
  EXPECT_FALSE(closing->isCancelled());
  closing->resolve("closed");
  EXPECT_EQ(happened(), (Words{"step closed", "step left"}));
  EXPECT_EQ(text(deferred->resolution()), "PLVRejected (CANCELLED) [stop]")
      << "what it returns is dropped";
}

TEST_F(CoroutineCancelTest, IsThrownAlsoWhereTheAwaitedChainMakesAValueOfIt) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  awaited->thenRejected(returning("recovered", "value"));
  const Ref<PLVDeferred> deferred = walking("await", {awaited});
  deferred->cancelWithValue("stop");
  EXPECT_EQ(happened(), (Words{"recovered PLVRejected (CANCELLED) [stop]", "await cancelled stop",
                               "await left"}));
}

TEST_F(CoroutineCancelTest, WaitsForAnAwaitedDeferredThatDoesNotLetItselfBeCancelled) {
  class Stubborn : public Subclass<Stubborn, PLVDeferred> {
   public:
    void cancelWithValue(const Value&) override {}

   protected:
    using Subclass::Subclass;
  };
  const Ref<Stubborn> awaited = Stubborn::init();
  const Ref<PLVDeferred> deferred = walking("await", {awaited});
  deferred->cancelWithValue("stop");
  EXPECT_TRUE(deferred->isCancelled());
  EXPECT_EQ(happened(), Words{});
  awaited->resolve(1);
  EXPECT_EQ(happened(), (Words{"await cancelled stop", "await left"}));
}

TEST_F(CoroutineCancelTest, WhileItRunsIsThrownAtTheNextAwaitThatWaits) {
  const Ref<PLVDeferred> gate = PLVDeferred::init(), next = PLVDeferred::init();
  Ref<PLVDeferred> deferred;
  const auto coroutine = [&](Ref<PLVDeferred> gate, Ref<PLVDeferred> next) -> Ref<PLVDeferred> {
    co_await gate;
    deferred->cancelWithValue("stop");
    record.push_back("still running " + text(co_await PLVDeferred::withResolved(1)));
    try {
      co_await next;
    } catch (const Cancelled& cancelled) {
      record.push_back("cancelled " + text(cancelled.rejected()->value()));
    }
    co_return nullptr;
  };
  deferred = coroutine(gate, next);
  gate->resolve(nullptr);
  EXPECT_EQ(happened(), (Words{"still running 1", "cancelled stop"}));
  EXPECT_TRUE(next->isCancelled()) << "nobody wants it any more";
}

TEST_F(CoroutineCancelTest, AfterItsEndChangesItsDeferredOnly) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init(), deferred = waiting("coroutine", awaited);
  awaited->resolve(1);
  EXPECT_EQ(happened(), Words{"coroutine left"});
  deferred->cancel();
  EXPECT_TRUE(deferred->isCancelled());
  EXPECT_FALSE(awaited->isCancelled());
}

TEST_F(CoroutineCancelTest, TwiceIsOnce) {
  const Ref<PLVDeferred> work = PLVDeferred::init(), closing = PLVDeferred::init();
  const Ref<PLVDeferred> deferred = walking("step", {work, closing});
  deferred->cancelWithValue("first");
  deferred->cancelWithValue("second");
  EXPECT_EQ(happened(), Words{"step cancelled first"});
  EXPECT_FALSE(closing->isCancelled());
  closing->resolve(1);
  EXPECT_EQ(happened(), (Words{"step 1", "step left"}));
}

TEST_F(CoroutineCancelTest, ReachesTheInnermostFirst) {
  const Ref<PLVDeferred> gate = PLVDeferred::init();
  Ref<PLVDeferred> deferred = waiting("inner", gate);
  deferred = waiting("middle", std::move(deferred));
  deferred = waiting("outer", std::move(deferred));
  deferred->cancelWithValue("stop");
  EXPECT_EQ(happened(), (Words{"inner left", "middle left", "outer left"}));
  EXPECT_EQ(text(gate->resolution()), "PLVRejected (CANCELLED) [stop]");
}

TEST_F(CoroutineCancelTest, OfADeferredThatIsAwaitedTwiceReachesBoth) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  const Ref<PLVDeferred> first = waiting("first", awaited), second = waiting("second", awaited);
  first->cancel();
  EXPECT_EQ(happened(), (Words{"first left", "second left"}));
  EXPECT_TRUE(second->isCancelled());
}

TEST_F(CoroutineCancelTest, OneThatAwaitsItselfWaitsUntilItIsCancelled) {
  Ref<PLVDeferred> own;
  const auto coroutine = [this](Ref<PLVDeferred> gate, Ref<PLVDeferred>& own) -> Ref<PLVDeferred> {
    const Leaving leaving{record, "left"};
    co_await gate;
    co_return co_await std::move(own);
  };
  const Ref<PLVDeferred> gate = PLVDeferred::init(), deferred = coroutine(gate, own);
  own = deferred;
  gate->resolve(nullptr);
  EXPECT_FALSE(deferred->isResolved());
  EXPECT_EQ(happened(), Words{});
  deferred->cancelWithValue("stop");
  EXPECT_EQ(happened(), Words{"left"});
  EXPECT_EQ(text(deferred->resolution()), "PLVRejected (CANCELLED) [stop]");
}

TEST_F(CoroutineCancelTest, ACoroutineIsDestroyedWithWhatItWaitsFor) {
  Ref<PLVDeferred> awaited = PLVDeferred::init();
  const Ref<PLVDeferred> deferred = waiting("coroutine", awaited);
  deferred->thenRejected(noting("own step"));
  EXPECT_EQ(happened(), Words{});
  awaited = nullptr;
  EXPECT_EQ(happened(), (Words{"coroutine left", "own step PLVRejected (CANCELLED) [(null)]"}));
}

TEST_F(CoroutineCancelTest, TheEndOfItsFrameLeavesAnOutcomeThatOthersGave) {
  Ref<PLVDeferred> awaited = PLVDeferred::init();
  const Ref<PLVDeferred> deferred = waiting("coroutine", awaited);
  deferred->resolve("by another");
  awaited = nullptr;
  EXPECT_EQ(happened(), Words{"coroutine left"});
  EXPECT_EQ(deferred->resolution(), Value("by another"));
}

TEST_F(CoroutineCancelTest, ATemporaryThatNobodyElseHoldsIsAwaitedForNothing) {
  const Ref<PLVDeferred> deferred = waiting("coroutine", PLVDeferred::init());
  EXPECT_EQ(happened(), Words{"coroutine left"});
  EXPECT_TRUE(deferred->isCancelled());
}

TEST_F(CoroutineCancelTest, APromiseThatDiesTakesItsCoroutineWithIt) {
  const auto coroutine = [this](Ref<PLVPromise> promise) -> Ref<PLVDeferred> {
    const Leaving leaving{record, "left"};
    co_return co_await std::move(promise);
  };
  Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVDeferred> deferred = coroutine(promise);
  promise = nullptr;
  EXPECT_EQ(happened(), Words{"left"});
  EXPECT_TRUE(deferred->isCancelled());
}

TEST_F(CoroutineCancelTest, AVariableThatIsCancelledByTheEndOfTheFrameChangesNothing) {
  Ref<PLVDeferred> awaited = PLVDeferred::init(), deferred;
  const auto coroutine = [&](Ref<PLVDeferred> awaited) -> Ref<PLVDeferred> {
    const Ref<AtEnd> atEnd = AtEnd::run([&] { deferred->cancelWithValue("by a variable"); });
    co_return co_await std::move(awaited);
  };
  deferred = coroutine(awaited);
  awaited = nullptr;
  EXPECT_EQ(text(deferred->resolution()), "PLVRejected (CANCELLED) [by a variable]");
}

TEST_F(CoroutineCancelTest, WhileWhatItAwaitsIsBeingDestroyedLeavesThatAlone) {
  // A step in front of the await cancels the coroutine when it goes with the dying deferred.
  Ref<PLVDeferred> awaited = PLVDeferred::init(), deferred;
  awaited->thenResolved([&, atEnd = AtEnd::run([&] { deferred->cancelWithValue("stop"); })](
                            const Value& value) { return value; });
  deferred = waiting("coroutine", awaited);
  awaited->thenRejected(noting("behind the await"));
  awaited = nullptr;
  EXPECT_EQ(happened(), Words{"coroutine left"});
  EXPECT_EQ(text(deferred->resolution()), "PLVRejected (CANCELLED) [stop]");
}

TEST_F(CoroutineCancelTest, WhatAHandlerThrowsAtTheEndOfAFrameIsLeftToTheMainQueue) {
  Ref<PLVDeferred> awaited = PLVDeferred::init();
  const Ref<PLVDeferred> deferred = waiting("coroutine", awaited);
  deferred->thenRejected([](const Ref<PLVRejected>&) -> Value { throw Foreign(); });
  awaited = nullptr;
  EXPECT_EQ(happened(), Words{"coroutine left"});
  EXPECT_THROW(turn(), Foreign);
}

TEST_F(CoroutineCancelTest, WhatAnEarlierHandlerThrowsLeavesTheAwaitStanding) {
  // A chain that an exception left behind with steps to come.
  const Ref<PLVDeferred> chain = PLVDeferred::init();
  chain->thenResolved([](const Value&) -> Value { throw Foreign(); });
  chain->thenResolved([](const Value&) -> Value { throw Foreign(); });
  EXPECT_THROW(chain->resolve(1), Foreign);
  const Ref<PLVDeferred> deferred = walking("await", {chain});
  EXPECT_EQ(happened(), Words{});
  EXPECT_THROW(turn(), Foreign);
  turn();
  EXPECT_EQ(happened(), (Words{"await 1", "await left"}));
  EXPECT_EQ(deferred->resolution(), Value("done"));
}

}  // namespace
}  // namespace JNFoundation
