#include <algorithm>
#include <optional>
#include <stdexcept>

#include "DeferredFixture.h"

#include <JNFoundation/deferred/Coroutine.h>
#include <JNFoundation/platform/value/NSArray.h>

/// What `co_await` gives, when it goes on, and what becomes of what leaves a coroutine.
namespace JNFoundation {
namespace {

class Coroutine : public DeferredFixture {
 protected:
  /// Leaves a word in the record at the end of its scope.
  struct Leaving {
    Words& record;
    std::string word;
    ~Leaving() { record.push_back(word); }
  };

  /// Gives what it awaits, and leaves it in the record.
  Ref<PLVDeferred> giving(std::string name, Ref<PLVDeferred> awaited) {
    const Value value = co_await std::move(awaited);
    record.push_back(name + " " + text(value));
    co_return value;
  }

  /// Leaves in the record what the await throws, and gives null then.
  Ref<PLVDeferred> catching(std::string name, Ref<PLVDeferred> awaited) {
    Value value;
    try {
      value = co_await std::move(awaited);
      record.push_back(name + " " + text(value));
    } catch (const Cancelled& cancelled) {
      record.push_back(name + " cancelled " + text(cancelled.rejected()->value()));
    } catch (const Rejected& rejected) {
      record.push_back(name + " rejected " + text(rejected.rejected()->value()));
    }
    co_return value;
  }
};

Ref<PLVDeferred> handingBack(Value value) { co_return value; }

Ref<PLVDeferred> passing(Ref<PLVDeferred> awaited) { co_return co_await std::move(awaited); }

TEST_F(Coroutine, ThatNeverAwaitsReturnsAResolvedDeferred) {
  const Ref<PLVDeferred> deferred = handingBack("done");
  EXPECT_TRUE(deferred->isResolved());
  EXPECT_EQ(deferred->resolution(), Value("done"));
}

TEST_F(Coroutine, RunsAtOnceUpToItsFirstWait) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  const auto coroutine = [this](Ref<PLVDeferred> awaited) -> Ref<PLVDeferred> {
    record.push_back("begun");
    record.push_back("got " + text(co_await awaited));
    co_return "done";
  };
  const Ref<PLVDeferred> deferred = coroutine(awaited);
  EXPECT_EQ(happened(), Words{"begun"});
  EXPECT_FALSE(deferred->isResolved());
  awaited->resolve(1);
  EXPECT_EQ(happened(), Words{"got 1"});
  EXPECT_EQ(deferred->resolution(), Value("done"));
}

TEST_F(Coroutine, TakesAnOutcomeThatIsThereWithoutWaiting) {
  EXPECT_EQ(giving("value", PLVDeferred::withResolved(1))->resolution(), Value(1));
  EXPECT_EQ(happened(), Words{"value 1"});
}

TEST_F(Coroutine, AwaitsAPromiseBeforeAndAfterItsOutcome) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  const auto coroutine = [this](std::string name, Ref<PLVPromise> promise) -> Ref<PLVDeferred> {
    record.push_back(name + " " + text(co_await promise));
    co_return nullptr;
  };
  const Ref<PLVDeferred> before = coroutine("before", promise);
  EXPECT_EQ(happened(), Words{});
  promise->resolve(1);
  EXPECT_EQ(happened(), Words{"before 1"});
  const Ref<PLVDeferred> after = coroutine("after", promise);
  EXPECT_EQ(happened(), Words{"after 1"});
}

TEST_F(Coroutine, NullIsAwaitedAsNull) {
  const auto coroutine = [this]() -> Ref<PLVDeferred> {
    record.push_back("deferred " + text(co_await Ref<PLVDeferred>()));
    record.push_back("promise " + text(co_await Ref<PLVPromise>()));
    co_return 1;
  };
  EXPECT_EQ(coroutine()->resolution(), Value(1));
  EXPECT_EQ(happened(), (Words{"deferred (null)", "promise (null)"}));
}

TEST_F(Coroutine, StandsInTheChainAsAStepThatPassesTheValueOn) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  awaited->thenResolved(returning("before", 2));
  const Ref<PLVDeferred> first = giving("first", awaited);
  awaited->thenResolved(returning("between", 3));
  const Ref<PLVDeferred> second = giving("second", awaited);
  awaited->thenResolved(noting("behind"));
  awaited->resolve(1);
  EXPECT_EQ(happened(), (Words{"before 1", "first 2", "between 2", "second 3", "behind 3"}));
  EXPECT_EQ(first->resolution(), Value(2));
  EXPECT_EQ(second->resolution(), Value(3));
}

TEST_F(Coroutine, AFailureIsThrownAndTheAwaitedChainKeepsIt) {
  for (const bool isThereBefore : {true, false}) {
    const Ref<PLVDeferred> awaited = PLVDeferred::init();
    if (isThereBefore) awaited->reject("no");
    const Ref<PLVDeferred> deferred = catching("await", awaited);
    if (!isThereBefore) awaited->reject("no");
    EXPECT_EQ(happened(), Words{"await rejected no"});
    EXPECT_EQ(text(awaited->resolution()), "PLVRejected [no]");
    EXPECT_TRUE(deferred->resolution().isNull());
  }
}

TEST_F(Coroutine, ACancellationIsThrownAsOne) {
  for (const bool isThereBefore : {true, false}) {
    const Ref<PLVDeferred> awaited = PLVDeferred::init();
    if (isThereBefore) awaited->cancelWithValue("stop");
    const Ref<PLVDeferred> deferred = catching("await", awaited);
    if (!isThereBefore) awaited->cancelWithValue("stop");
    EXPECT_EQ(happened(), Words{"await cancelled stop"});
    EXPECT_FALSE(deferred->isCancelled());
  }
}

TEST_F(Coroutine, APromisesFailureIsThrown) {
  const auto coroutine = [this](Ref<PLVPromise> promise) -> Ref<PLVDeferred> {
    try {
      co_await std::move(promise);
    } catch (const Rejected& rejected) {
      record.push_back("rejected " + text(rejected.rejected()->value()));
    }
    co_return nullptr;
  };
  coroutine(PLVPromise::withRejected(1));
  const Ref<PLVPromise> promise = PLVPromise::init();
  coroutine(promise);
  EXPECT_EQ(happened(), Words{"rejected 1"});
  promise->reject(2);
  EXPECT_EQ(happened(), Words{"rejected 2"});
}

TEST_F(Coroutine, TheVeryFailureThatLeavesItRejects) {
  const Ref<PLVRejected> rejected = PLVRejected::withValue("no");
  EXPECT_EQ(passing(PLVDeferred::withRejected(rejected))->resolution().object(), rejected.get());
  const Ref<PLVDeferred> awaited = PLVDeferred::init(), deferred = passing(awaited);
  awaited->reject(rejected);
  EXPECT_EQ(deferred->resolution().object(), rejected.get());
}

TEST_F(Coroutine, ACancellationThatLeavesItCancels) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init(), deferred = passing(awaited);
  awaited->cancelWithValue("stop");
  EXPECT_TRUE(deferred->isCancelled());
  EXPECT_EQ(text(deferred->resolution()), "PLVRejected (CANCELLED) [stop]");
}

TEST_F(Coroutine, AnExceptionThatLeavesItRejectsAsOneOfAHandlerDoes) {
  const auto coroutine = [](Ref<PLVDeferred> awaited) -> Ref<PLVDeferred> {
    co_await awaited;
    raise("Scripted", "raised behind %@", "the await");
  };
  const Ref<PLVDeferred> awaited = PLVDeferred::init(), deferred = coroutine(awaited);
  awaited->resolve("kept");
  auto* rejected = as<PLVRejected>(deferred->resolution());
  ASSERT_TRUE(rejected);
  EXPECT_FALSE(rejected->isCancellation());
  auto* exception = as<NSException>(rejected->value());
  ASSERT_TRUE(exception);
  EXPECT_EQ(text(exception->reason()), "raised behind the await");
  EXPECT_EQ(awaited->resolution(), Value("kept")) << "the awaited chain has nothing to do with it";
}

TEST_F(Coroutine, AStandardExceptionRejectsWithAnErrorOfItsText) {
  const auto coroutine = []() -> Ref<PLVDeferred> {
    throw std::out_of_range("too far");
    co_return nullptr;
  };
  const Value outcome = coroutine()->resolution();
  auto* rejected = as<PLVRejected>(outcome);
  ASSERT_TRUE(rejected);
  ASSERT_TRUE(rejected->isErrorForDomainWithCode(JNDeferredErrorDomain, JNDeferredErrorException));
  EXPECT_EQ(text(as<NSError>(rejected->value())->localizedDescription()), "too far");
}

TEST_F(Coroutine, AnyOtherExceptionRejectsWithAnErrorThatSaysSo) {
  const auto coroutine = [](Ref<PLVDeferred> awaited) -> Ref<PLVDeferred> {
    co_await awaited;
    throw Foreign();
  };
  const Ref<PLVDeferred> awaited = PLVDeferred::init(), deferred = coroutine(awaited);
  awaited->resolve(nullptr);
  auto* rejected = as<PLVRejected>(deferred->resolution());
  ASSERT_TRUE(rejected);
  ASSERT_TRUE(
      rejected->isErrorForDomainWithCode(JNDeferredErrorDomain, JNDeferredErrorUnknownException));
  EXPECT_EQ(text(as<NSError>(rejected->value())->localizedDescription()),
            "Something was thrown that is no std::exception.");
}

TEST_F(Coroutine, AReturnedFailureRejects) {
  EXPECT_EQ(text(handingBack(PLVRejected::withValue("no"))->resolution()), "PLVRejected [no]");
}

TEST_F(Coroutine, AReturnedDeferredIsAwaited) {
  const Ref<PLVDeferred> inner = PLVDeferred::init(), deferred = handingBack(inner);
  EXPECT_TRUE(deferred->isPaused());
  inner->resolve(1);
  EXPECT_EQ(deferred->resolution(), Value(1));
}

TEST_F(Coroutine, AReturnedPromiseIsAwaited) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVDeferred> deferred = handingBack(promise);
  promise->resolve(1);
  EXPECT_EQ(deferred->resolution(), Value(1));
}

TEST_F(Coroutine, MayBeGivenItsOutcomeByOthersFirst) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init(), deferred = giving("later", awaited);
  deferred->resolve("earlier");
  EXPECT_EQ(deferred->resolution(), Value("earlier"));
  awaited->resolve(1);
  EXPECT_EQ(happened(), Words{"later 1"});
  EXPECT_EQ(deferred->resolution(), Value("earlier"));
}

TEST_F(Coroutine, AwaitsInAHandlerWhatThatHandlersChainGives) {
  const Ref<PLVDeferred> chain = PLVDeferred::init();
  Ref<PLVDeferred> deferred;
  chain->thenResolved([&](const Value&) -> Value {
    deferred = giving("await", chain);
    record.push_back("handler ends");
    return 2;
  });
  chain->resolve(1);
  EXPECT_EQ(happened(), (Words{"handler ends", "await 2"}));
}

TEST_F(Coroutine, AwaitsTheSameDeferredAgain) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  const auto coroutine = [this](Ref<PLVDeferred> awaited) -> Ref<PLVDeferred> {
    record.push_back("first " + text(co_await awaited));
    awaited->thenResolved(returning("between", 2));
    record.push_back("second " + text(co_await awaited));
    co_return nullptr;
  };
  const Ref<PLVDeferred> deferred = coroutine(awaited);
  awaited->resolve(1);
  EXPECT_EQ(happened(), (Words{"first 1", "between 1", "second 2"}));
  EXPECT_TRUE(deferred->isResolved());
}

TEST_F(Coroutine, IsHandedAValueThatWaitsForAnother) {
  const Ref<PLVDeferred> inner = PLVDeferred::init();
  const Ref<PLVDeferred> outer = PLVDeferred::withResolved(inner), deferred = giving("got", outer);
  EXPECT_EQ(happened(), Words{});
  inner->resolve(1);
  EXPECT_EQ(happened(), Words{"got 1"});
}

TEST_F(Coroutine, AwaitsInsideExpressionsLoopsAndConditions) {
  const auto coroutine = [](Ref<PLVDeferred> three, Ref<PLVDeferred> yes) -> Ref<PLVDeferred> {
    std::int64_t sum = 0;
    for (int i = 0; i < (co_await three).integerValue(); ++i) {
      sum += (co_await yes).boolValue() ? (co_await three).integerValue() + i : 0;
    }
    const Ref<NSArray> both = NSArray::arrayWithObjects(co_await three, co_await yes);
    co_return sum + static_cast<std::int64_t>(both->count());
  };
  const Ref<PLVDeferred> three = PLVDeferred::init(), yes = PLVDeferred::init();
  const Ref<PLVDeferred> deferred = coroutine(three, yes);
  three->resolve(3);
  EXPECT_FALSE(deferred->isResolved());
  yes->resolve(true);
  EXPECT_EQ(deferred->resolution(), Value(14));
}

TEST_F(Coroutine, RunsItsCleanUpAndThenAwaitsAgain) {
  const auto coroutine = [this](Ref<PLVDeferred> tried,
                                Ref<PLVDeferred> other) -> Ref<PLVDeferred> {
    std::optional<Rejected> failure;
    try {
      const Leaving leaving{record, "left"};
      co_await tried;
    } catch (const Rejected& rejected) {
      failure = rejected;
    }
    if (failure) record.push_back("instead " + text(co_await other));
    co_return nullptr;
  };
  const Ref<PLVDeferred> tried = PLVDeferred::init(), other = PLVDeferred::init();
  const Ref<PLVDeferred> deferred = coroutine(tried, other);
  tried->reject("no");
  EXPECT_EQ(happened(), Words{"left"});
  other->resolve(1);
  EXPECT_EQ(happened(), Words{"instead 1"});
  EXPECT_TRUE(deferred->isResolved());
}

TEST_F(Coroutine, ItsVariablesAndArgumentsGoBeforeItsOutcomeIsSeen) {
  const auto coroutine = [this](Ref<PLVDeferred> awaited, Ref<AtEnd>) -> Ref<PLVDeferred> {
    const Leaving leaving{record, "variable"};
    co_return co_await awaited;
  };
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  const Ref<PLVDeferred> deferred =
      coroutine(awaited, AtEnd::run([this] { record.push_back("argument"); }));
  deferred->thenResolved(noting("seen"));
  awaited->resolve(1);
  EXPECT_EQ(happened(), (Words{"variable", "argument", "seen 1"}));
}

TEST_F(Coroutine, GoesOnWhenNobodyHoldsItsDeferred) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  giving("still", awaited);
  awaited->resolve(1);
  EXPECT_EQ(happened(), Words{"still 1"});
}

TEST_F(Coroutine, MayBeAMemberThatAwaitsOnASubclass) {
  class Upload : public Subclass<Upload, PLVDeferred> {
   protected:
    using Subclass::Subclass;
  };
  const Ref<Upload> upload = Upload::init();
  const auto coroutine = [this](Ref<Upload> upload) -> Ref<PLVDeferred> {
    record.push_back(text(co_await std::move(upload)));
    co_return nullptr;
  };
  const Ref<PLVDeferred> deferred = coroutine(upload);
  upload->resolve("uploaded");
  EXPECT_EQ(happened(), Words{"uploaded"});
}

TEST_F(Coroutine, ALoopOverAMillionOutcomesUsesNoStack) {
  const auto coroutine = [](Ref<PLVDeferred> one, Ref<PLVPromise> two) -> Ref<PLVDeferred> {
    std::int64_t sum = 0;
    for (int i = 0; i < 1'000'000; ++i) {
      sum += (co_await one).integerValue();
      sum += (co_await two).integerValue();
      sum += (co_await PLVDeferred::withResolved(3)).integerValue();
    }
    co_return sum;
  };
  EXPECT_EQ(coroutine(PLVDeferred::withResolved(1), PLVPromise::withResolved(2))->resolution(),
            Value(6'000'000));
}

TEST_F(Coroutine, ALoopOverManyFailuresUsesNoStack) {
  const auto coroutine = [](Ref<PLVDeferred> failed) -> Ref<PLVDeferred> {
    int caught = 0;
    for (int i = 0; i < 20'000; ++i) {
      try {
        co_await failed;
      } catch (const Rejected&) {
        ++caught;
      }
    }
    co_return caught;
  };
  EXPECT_EQ(coroutine(PLVDeferred::withRejected("no"))->resolution(), Value(20'000));
}

TEST_F(Coroutine, AHundredThousandStepsOfOneChainAreAwaitedInTurn) {
  const auto coroutine = [](Ref<PLVDeferred> chain) -> Ref<PLVDeferred> {
    std::int64_t sum = 0;
    for (int i = 0; i < 100'000; ++i) sum += (co_await chain).integerValue();
    co_return sum;
  };
  const Ref<PLVDeferred> chain = PLVDeferred::init(), deferred = coroutine(chain);
  chain->resolve(1);
  EXPECT_EQ(deferred->resolution(), Value(100'000));
}

/// Coroutines that each await the one before, all of them on the gate in the end.
Ref<PLVDeferred> nested(Ref<PLVDeferred> gate, int depth) {
  Ref<PLVDeferred> outermost = std::move(gate);
  for (int i = 0; i < depth; ++i) outermost = passing(std::move(outermost));
  return outermost;
}

TEST_F(Coroutine, AHundredThousandThatAwaitEachOtherFinishOnASmallStack) {
  const Ref<PLVDeferred> gate = PLVDeferred::init(), outermost = nested(gate, 100'000);
  gate->resolve("through");
  EXPECT_EQ(outermost->resolution(), Value("through"));
}

TEST_F(Coroutine, TwentyThousandThatAwaitEachOtherFailOnASmallStack) {
  const Ref<PLVDeferred> gate = PLVDeferred::init(), outermost = nested(gate, 20'000);
  gate->reject("no");
  EXPECT_EQ(text(outermost->resolution()), "PLVRejected [no]");
}

TEST_F(Coroutine, AHundredThousandThatAwaitEachOtherAreDestroyedOnASmallStack) {
  Ref<PLVDeferred> gate = PLVDeferred::init();
  const Ref<PLVDeferred> outermost = nested(gate, 100'000);
  gate = nullptr;
  EXPECT_EQ(text(outermost->resolution()), "PLVRejected (CANCELLED) [(null)]");
}

TEST_F(Coroutine, TwentyThousandThatAwaitEachOtherAreCancelledOnASmallStack) {
  const Ref<PLVDeferred> gate = PLVDeferred::init(), outermost = nested(gate, 20'000);
  outermost->cancelWithValue("stop");
  EXPECT_EQ(text(gate->resolution()), "PLVRejected (CANCELLED) [stop]");
  EXPECT_EQ(text(outermost->resolution()), "PLVRejected (CANCELLED) [stop]");
}

TEST_F(Coroutine, BegunTooDeepInNestedHandlersGoesOnWhenTheyHaveReturned) {
  // Handlers that call into other chains nest natively, and past a limit the call is put off.
  constexpr int levels = 200;
  const Ref<PLVDeferred> failed = PLVDeferred::withRejected("no");
  std::vector<Ref<PLVDeferred>> chains, coroutines;
  for (int i = 0; i < levels; ++i) chains.push_back(PLVDeferred::init());
  int caught = 0;
  const auto coroutine = [&caught](Ref<PLVDeferred> failed) -> Ref<PLVDeferred> {
    try {
      co_await failed;
    } catch (const Rejected&) {
      ++caught;
    }
    co_return nullptr;
  };
  for (int i = 0; i < levels; ++i) {
    chains[static_cast<std::size_t>(i)]->thenResolved([&, i](const Value& value) {
      const int before = caught;
      coroutines.push_back(coroutine(failed));
      record.push_back(caught > before ? "at once" : "put off");
      if (i + 1 < levels) chains[static_cast<std::size_t>(i) + 1]->resolve(value);
      return value;
    });
  }
  chains[0]->resolve(nullptr);
  EXPECT_EQ(caught, levels);
  for (const Ref<PLVDeferred>& deferred : coroutines) EXPECT_TRUE(deferred->isResolved());
  const Words words = happened();
  EXPECT_EQ(words.front(), "at once");
  EXPECT_TRUE(std::find(words.begin(), words.end(), "put off") != words.end());
}

/// A coroutine of somebody else's kind, which owns its frame.
struct Task {
  struct promise_type {
    Task get_return_object() { return {std::coroutine_handle<promise_type>::from_promise(*this)}; }
    std::suspend_never initial_suspend() noexcept { return {}; }
    std::suspend_always final_suspend() noexcept { return {}; }
    void return_void() noexcept {}
    void unhandled_exception() { throw; }
  };
  std::coroutine_handle<promise_type> handle;
};

TEST_F(Coroutine, OfAnotherKindAwaitsAsWell) {
  const auto coroutine = [this](Ref<PLVDeferred> waits, Ref<PLVPromise> isThere) -> Task {
    record.push_back("promise " + text(co_await isThere));
    record.push_back("deferred " + text(co_await waits));
    try {
      co_await PLVDeferred::withRejected("no");
    } catch (const Rejected& rejected) {
      record.push_back("rejected " + text(rejected.rejected()->value()));
    }
  };
  const Ref<PLVDeferred> waits = PLVDeferred::init();
  const Task task = coroutine(waits, PLVPromise::withResolved(1));
  EXPECT_EQ(happened(), Words{"promise 1"});
  waits->resolve(2);
  EXPECT_EQ(happened(), (Words{"deferred 2", "rejected no"}));
  EXPECT_EQ(waits->resolution(), Value(2));
  EXPECT_TRUE(task.handle.done());
  task.handle.destroy();
}

TEST_F(Coroutine, OfAnotherKindMayBeDestroyedWhileItWaits) {
  const auto coroutine = [this](Ref<PLVDeferred> waits) -> Task {
    const Leaving leaving{record, "left"};
    co_await waits;
    record.push_back("unreachable");
  };
  const Ref<PLVDeferred> waits = PLVDeferred::init();
  coroutine(waits).handle.destroy();
  EXPECT_EQ(happened(), Words{"left"});
  waits->resolve(1);
  EXPECT_EQ(waits->resolution(), Value(1));
}

TEST_F(Coroutine, OfAnotherKindGetsACancellationWhereTheChainDies) {
  const auto coroutine = [this](Ref<PLVDeferred> waits) -> Task {
    try {
      co_await std::move(waits);
    } catch (const Cancelled&) {
      record.push_back("cancelled");
    }
  };
  Ref<PLVDeferred> waits = PLVDeferred::init();
  const Task task = coroutine(waits);
  EXPECT_EQ(happened(), Words{});
  waits = nullptr;
  EXPECT_EQ(happened(), Words{"cancelled"});
  task.handle.destroy();
}

/// Suspends for good and leaves the handle to the test.
struct Parking {
  std::coroutine_handle<>& parked;
  bool await_ready() const noexcept { return false; }
  void await_suspend(std::coroutine_handle<> handle) const noexcept { parked = handle; }
  void await_resume() const noexcept {}
};

TEST_F(Coroutine, AwaitsWhatIsNotTheLibrarysAsWell) {
  std::coroutine_handle<> parked;
  const auto coroutine = [&](Ref<PLVDeferred> awaited) -> Ref<PLVDeferred> {
    const Value first = co_await awaited;
    co_await Parking{parked};
    co_return first.integerValue() + (co_await awaited).integerValue();
  };
  const Ref<PLVDeferred> awaited = PLVDeferred::init(), deferred = coroutine(awaited);
  awaited->resolve(2);
  EXPECT_FALSE(deferred->isResolved());
  deferred->thenResolved(noting("got"));
  parked.resume();
  EXPECT_EQ(happened(), Words{"got 4"});
}

TEST_F(Coroutine, DestroyedWhereItIsParkedCancels) {
  std::coroutine_handle<> parked;
  const auto coroutine = [&]() -> Ref<PLVDeferred> {
    const Leaving leaving{record, "left"};
    co_await Parking{parked};
    co_return nullptr;
  };
  const Ref<PLVDeferred> deferred = coroutine();
  parked.destroy();
  EXPECT_EQ(happened(), Words{"left"});
  EXPECT_TRUE(deferred->isCancelled());
}

TEST_F(Coroutine, WhatAHandlerThrowsWhenTheOutcomeComesGoesToWhoeverRunsIt) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init(), deferred = giving("got", awaited);
  deferred->thenResolved([](const Value&) -> Value { throw Foreign(); });
  EXPECT_THROW(awaited->resolve(1), Foreign);
  EXPECT_EQ(happened(), Words{"got 1"});
  deferred->thenResolved(noting("goes on"));
  EXPECT_EQ(happened(), Words{"goes on 1"});
}

}  // namespace
}  // namespace JNFoundation
