#include <limits>
#include <thread>

#include "DeferredFixture.h"

#include <JNFoundation/deferred/DeferredCombinators.h>
#include <JNFoundation/deferred/JNTimeout.h>
#include <JNFoundation/deferred/UnhandledRejections.h>
#include <JNFoundation/platform/dispatch/Random.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/testing/RunLoopTesting.h>
#include <JNFoundation/testing/TestClock.h>

namespace JNFoundation {
namespace {

/// Lives as long as the process, so it is there before objects are counted.
const Ref<JNTimeout> theTimeout = JNTimeout::instance();

class DeferredCombinatorsTest : public DeferredFixture {
 protected:
  static Ref<NSArray> list(std::vector<Value> values) {
    return NSArray::arrayWithValues(std::move(values));
  }
  static std::string texts(const Value& array) {
    std::string all;
    const NSArray* elements = as<NSArray>(array);
    for (const Value& element : *elements) all += (all.empty() ? "" : ", ") + text(element);
    return "[" + all + "]";
  }
  static std::string outcome(const Ref<PLVDeferred>& deferred) {
    if (!deferred->isResolved() || deferred->isPaused()) return "pending";
    const Value& resolution = deferred->resolution();
    auto* rejected = as<PLVRejected>(resolution);
    const Value& value = rejected ? rejected->value() : resolution;
    const std::string prefix = !rejected                    ? ""
                               : rejected->isCancellation() ? "cancelled "
                                                            : "rejected ";
    return prefix + (isKindOf<NSArray>(value) ? texts(value) : text(value));
  }

  TestClock clock;
};

// withTimeout

TEST_F(DeferredCombinatorsTest, WorkThatIsTooSlowIsCancelledWhenAskedFor) {
  const Ref<PLVDeferred> work = PLVDeferred::init();
  const Ref<PLVDeferred> limited = withTimeout(work, 5, Unneeded::Cancel);
  work->thenEither(noting("work"));
  limited->thenEither(noting("limited"));
  clock.advance(4.999);
  EXPECT_EQ(happened(), Words{});
  clock.advance(0.001);
  const std::string timeout = text(theTimeout);
  EXPECT_EQ(happened(), (Words{"limited PLVRejected [" + timeout + "]",
                               "work PLVRejected (CANCELLED) [" + timeout + "]"}));
}

TEST_F(DeferredCombinatorsTest, WorkThatWaitsIsCancelledDownToWhatItWaitsFor) {
  const Ref<PLVDeferred> inner = PLVDeferred::init();
  const Ref<PLVDeferred> limited =
      withTimeout(PLVDeferred::withResolved(inner), 5, Unneeded::Cancel);
  clock.advance(5);
  EXPECT_TRUE(isCancellation(inner->resolution()));
  EXPECT_EQ(outcome(limited), "rejected " + text(theTimeout));
}

TEST_F(DeferredCombinatorsTest, WorkThatIsFastEnoughKeepsItsOutcome) {
  const Ref<PLVDeferred> work = PLVDeferred::init();
  const Ref<PLVDeferred> limited = withTimeout(work, 5, Unneeded::Cancel);
  work->resolve("done");
  EXPECT_EQ(outcome(limited), "done");
  clock.advance(5);
  EXPECT_EQ(outcome(work), "done");
  EXPECT_FALSE(work->isCancelled());
}

TEST_F(DeferredCombinatorsTest, CancellingTheLimitedDeferredCancelsTheWork) {
  const Ref<PLVDeferred> work = PLVDeferred::init();
  const Ref<PLVDeferred> limited = withTimeout(work, 5, Unneeded::Cancel);
  limited->cancelWithValue("enough");
  EXPECT_EQ(outcome(work), "cancelled enough");
  EXPECT_EQ(outcome(limited), "cancelled enough");
  clock.advance(5);
  EXPECT_EQ(outcome(limited), "cancelled enough");
}

TEST_F(DeferredCombinatorsTest, WithoutTheOptionTheWorkGoesOn) {
  const Ref<PLVDeferred> work = PLVDeferred::init();
  const Ref<PLVDeferred> limited = withTimeout(work, 5);
  clock.advance(5);
  EXPECT_EQ(outcome(limited), "rejected " + text(theTimeout));
  EXPECT_FALSE(work->isResolved());
}

TEST_F(DeferredCombinatorsTest, NoWorkIsDoneAtOnce) {
  EXPECT_EQ(outcome(withTimeout(nullptr, 5, Unneeded::Cancel)), "(null)");
}

TEST_F(DeferredCombinatorsTest, WorkThatNobodyElseHoldsIsNotKeptAliveByItsLimit) {
  Weak<PLVDeferred> weak;
  Ref<PLVDeferred> limited;
  {
    const Ref<PLVDeferred> work = PLVDeferred::init();
    weak = work;
    limited = withTimeout(work, 5, Unneeded::Cancel);
  }
  EXPECT_FALSE(weak.load());
  clock.advance(5);
  EXPECT_EQ(outcome(limited), "rejected " + text(theTimeout));
}

// allResolved

TEST_F(DeferredCombinatorsTest, AFailureCancelsTheInputsThatStillRun) {
  const Ref<PLVDeferred> a = PLVDeferred::init(), b = PLVDeferred::init(), c = PLVDeferred::init();
  const Ref<PLVDeferred> all = allResolved(list({a, b, c}), Unneeded::Cancel);
  a->resolve("a");
  EXPECT_EQ(outcome(all), "pending");
  b->reject("no");
  EXPECT_EQ(outcome(a), "a");
  EXPECT_EQ(outcome(c), "cancelled (null)");
  EXPECT_EQ(outcome(all), "rejected [a, PLVRejected [no], PLVRejected (CANCELLED) [(null)]]");
}

TEST_F(DeferredCombinatorsTest, WithoutTheOptionAllWaitsForEveryInput) {
  const Ref<PLVDeferred> a = PLVDeferred::init(), b = PLVDeferred::init();
  const Ref<PLVDeferred> all = allResolved(list({a, b}));
  a->reject("no");
  EXPECT_FALSE(b->isResolved());
  EXPECT_EQ(outcome(all), "pending");
  b->resolve(nullptr);
  EXPECT_EQ(outcome(all), "rejected [PLVRejected [no], <null>]");
}

TEST_F(DeferredCombinatorsTest, AllSuccessesGiveTheArrayInTheOrderOfTheInputs) {
  const Ref<PLVDeferred> a = PLVDeferred::init(), b = PLVDeferred::init();
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVDeferred> all = allResolved(list({a, "plain", promise, b}), Unneeded::Cancel);
  promise->resolve("kept");
  b->resolve("b");
  EXPECT_EQ(outcome(all), "pending");
  a->resolve("a");
  EXPECT_EQ(outcome(all), "[a, plain, kept, b]");
}

TEST_F(DeferredCombinatorsTest, AFailureThatIsThereAlreadyCancelsWhatComesBehindIt) {
  const Ref<PLVDeferred> running = PLVDeferred::init(), done = PLVDeferred::withResolved("done");
  const Ref<PLVDeferred> all =
      allResolved(list({PLVDeferred::withRejected("no"), running, done}), Unneeded::Cancel);
  EXPECT_EQ(outcome(running), "cancelled (null)");
  EXPECT_EQ(outcome(done), "done") << "what has settled keeps its outcome";
  EXPECT_EQ(outcome(all), "rejected [PLVRejected [no], PLVRejected (CANCELLED) [(null)], done]");
}

TEST_F(DeferredCombinatorsTest, CombinationsOfNothingAreNull) {
  for (const Ref<NSArray>& nothing : {NSArray::array(), Ref<NSArray>()}) {
    EXPECT_FALSE(allResolved(nothing, Unneeded::Cancel));
    EXPECT_FALSE(anyResolved(nothing));
    EXPECT_FALSE(firstResolved(nothing));
    EXPECT_FALSE(allSettled(nothing));
  }
}

// anyResolved

TEST_F(DeferredCombinatorsTest, ASuccessCancelsTheInputsThatStillRun) {
  const Ref<PLVDeferred> a = PLVDeferred::init(), b = PLVDeferred::init(), c = PLVDeferred::init();
  const Ref<PLVDeferred> any = anyResolved(list({a, b, c}), Unneeded::Cancel);
  c->reject("no");
  EXPECT_FALSE(a->isResolved());
  b->resolve("b");
  EXPECT_EQ(outcome(a), "cancelled (null)");
  EXPECT_EQ(outcome(any), "[PLVRejected (CANCELLED) [(null)], b, PLVRejected [no]]");
}

TEST_F(DeferredCombinatorsTest, FailuresOnlyRejectAny) {
  const Ref<PLVDeferred> any = anyResolved(
      list({PLVDeferred::withRejected(1), PLVDeferred::withRejected(2)}), Unneeded::Cancel);
  EXPECT_EQ(outcome(any), "rejected [PLVRejected [1], PLVRejected [2]]");
}

TEST_F(DeferredCombinatorsTest, AnInputWhoseHandlerRunsIsCancelledInTheMiddle) {
  const Ref<PLVDeferred> a = PLVDeferred::init(), b = PLVDeferred::init();
  const Ref<PLVDeferred> next = PLVDeferred::init();
  a->thenResolved([&](const Value&) -> Value {
    b->resolve("b");
    return next;
  });
  const Ref<PLVDeferred> any = anyResolved(list({a, b}), Unneeded::Cancel);
  a->resolve("a");
  EXPECT_TRUE(a->isCancelled());
  EXPECT_EQ(outcome(next), "pending") << "a value without a value of its own is no cancellation";
  EXPECT_EQ(outcome(any), "[PLVRejected (CANCELLED) [(null)], b]");
}

// firstResolved

TEST_F(DeferredCombinatorsTest, TheFirstSuccessWinsAtOnce) {
  const Ref<PLVDeferred> a = PLVDeferred::init(), b = PLVDeferred::init(), c = PLVDeferred::init();
  const Ref<PLVDeferred> first = firstResolved(list({a, b, c}));
  c->reject("no");
  EXPECT_EQ(outcome(first), "pending");
  b->resolve("b");
  EXPECT_EQ(outcome(first), "b");
  EXPECT_FALSE(a->isResolved()) << "it goes on";
  a->resolve("late");
  EXPECT_EQ(outcome(first), "b");
}

TEST_F(DeferredCombinatorsTest, TheLosersAreCancelledWhenAskedFor) {
  const Ref<PLVDeferred> a = PLVDeferred::init(), b = PLVDeferred::init();
  const Ref<PLVPromise> c = PLVPromise::init();
  const Ref<PLVDeferred> first = firstResolved(list({a, b, c}), Unneeded::Cancel);
  first->thenEither(noting("first"));
  a->thenEither(noting("loser"));
  b->resolve("b");
  EXPECT_EQ(happened(), (Words{"first b", "loser PLVRejected (CANCELLED) [(null)]"}));
  EXPECT_TRUE(isCancellation(c->resolution()));
}

TEST_F(DeferredCombinatorsTest, ASuccessThatIsThereAlreadyCancelsWhatComesBehindIt) {
  const Ref<PLVDeferred> running = PLVDeferred::init();
  const Ref<PLVDeferred> first = firstResolved(list({"there", running}), Unneeded::Cancel);
  EXPECT_EQ(outcome(first), "there");
  EXPECT_EQ(outcome(running), "cancelled (null)");
}

TEST_F(DeferredCombinatorsTest, NullIsASuccess) {
  EXPECT_EQ(outcome(firstResolved(list({PLVDeferred::withResolved(nullptr)}))), "(null)");
}

TEST_F(DeferredCombinatorsTest, OnlyWhenAllHaveFailedTheFirstIsRejected) {
  const Ref<PLVDeferred> a = PLVDeferred::init(), b = PLVDeferred::init();
  const Ref<PLVDeferred> first = firstResolved(list({a, b}), Unneeded::Cancel);
  b->reject(2);
  EXPECT_EQ(outcome(first), "pending");
  a->cancel();
  EXPECT_EQ(outcome(first), "rejected [PLVRejected (CANCELLED) [(null)], PLVRejected [2]]");
}

// allSettled

TEST_F(DeferredCombinatorsTest, AllSettledIsNeverRejected) {
  const Ref<PLVDeferred> a = PLVDeferred::init(), b = PLVDeferred::init();
  const Ref<PLVDeferred> settled = allSettled(list({a, b, PLVDeferred::withResolved(nullptr)}));
  a->reject("no");
  EXPECT_EQ(outcome(settled), "pending");
  b->cancel();
  EXPECT_EQ(outcome(settled), "[PLVRejected [no], PLVRejected (CANCELLED) [(null)], <null>]");
}

// What they have in common

TEST_F(DeferredCombinatorsTest, CancellingTheResultCancelsWhatStillRunsWithTheSameValue) {
  for (auto combine : {+[](const Ref<NSArray>& inputs) { return allResolved(inputs); },
                       +[](const Ref<NSArray>& inputs) { return anyResolved(inputs); },
                       +[](const Ref<NSArray>& inputs) { return firstResolved(inputs); },
                       +[](const Ref<NSArray>& inputs) { return allSettled(inputs); }}) {
    const Ref<PLVDeferred> done = PLVDeferred::withRejected("done"), running = PLVDeferred::init();
    const Ref<PLVDeferred> result = combine(list({done, running}));
    result->cancelWithValue("enough");
    EXPECT_EQ(outcome(done), "rejected done");
    EXPECT_EQ(outcome(running), "cancelled enough");
    EXPECT_EQ(outcome(result), "cancelled enough");
  }
}

TEST_F(DeferredCombinatorsTest, CancellingAResultThatIsThereLeavesTheInputsAlone) {
  const Ref<PLVDeferred> running = PLVDeferred::init();
  const Ref<PLVDeferred> first = firstResolved(list({"there", running}));
  first->cancel();
  EXPECT_FALSE(running->isResolved());
}

TEST_F(DeferredCombinatorsTest, TheInputsGoOnWithTheirOwnValues) {
  const Ref<PLVDeferred> a = PLVDeferred::init();
  const Ref<PLVDeferred> all = allSettled(list({a}));
  a->thenEither(noting("input"));
  a->reject("own");
  EXPECT_EQ(happened(), Words{"input PLVRejected [own]"});
}

TEST_F(DeferredCombinatorsTest, OneDeferredMayStandInTheListTwice) {
  const Ref<PLVDeferred> a = PLVDeferred::init(), b = PLVDeferred::init();
  const Ref<PLVDeferred> all = allResolved(list({a, a, b}), Unneeded::Cancel);
  a->reject(1);
  EXPECT_EQ(outcome(b), "cancelled (null)");
  EXPECT_EQ(outcome(all),
            "rejected [PLVRejected [1], PLVRejected [1], PLVRejected (CANCELLED) [(null)]]");
}

TEST_F(DeferredCombinatorsTest, InputsThatNobodyElseHoldsTakeTheCombinationWithThem) {
  const Ref<PLVDeferred> all = allSettled(list({PLVDeferred::init(), PLVDeferred::init()}));
  EXPECT_EQ(outcome(all), "pending");
  EXPECT_LE(live.count(), 1) << "only the result is left";
}

TEST_F(DeferredCombinatorsTest, OnAnotherThreadTheyCombineOnTheMainThread) {
  const Ref<PLVDeferred> a = PLVDeferred::init(), b = PLVDeferred::init();
  Ref<PLVDeferred> first, cancelled;
  std::thread([&] {
    first = firstResolved(list({a, b}), Unneeded::Cancel);
    cancelled = allSettled(list({PLVDeferred::init()}));
    cancelled->cancel();
  }).join();
  a->resolve("a");
  EXPECT_EQ(outcome(first), "pending");
  EXPECT_TRUE(runUntilIdle());
  EXPECT_EQ(outcome(first), "a");
  EXPECT_EQ(outcome(b), "cancelled (null)");
  EXPECT_EQ(outcome(cancelled), "cancelled (null)");
}

TEST_F(DeferredCombinatorsTest, AResultThatIsCancelledBeforeItsThreadComesToItCancelsTheInputs) {
  const Ref<PLVDeferred> a = PLVDeferred::init();
  Ref<PLVDeferred> all;
  std::thread([&] { all = allSettled(list({a})); }).join();
  all->cancelWithValue("enough");
  EXPECT_EQ(outcome(a), "cancelled enough");
  EXPECT_TRUE(runUntilIdle());
  EXPECT_EQ(outcome(all), "cancelled enough");
}

TEST_F(DeferredCombinatorsTest, AMillionInputsAreCombinedAndCancelled) {
  constexpr int million = 1'000'000;
  std::vector<Ref<PLVDeferred>> inputs(million);
  std::vector<Value> values;
  for (Ref<PLVDeferred>& input : inputs) values.emplace_back(input = PLVDeferred::init());
  const Ref<PLVDeferred> first = firstResolved(list(std::move(values)), Unneeded::Cancel);
  inputs.back()->resolve("won");
  EXPECT_EQ(outcome(first), "won");
  EXPECT_TRUE(isCancellation(inputs.front()->resolution()));
  EXPECT_TRUE(isCancellation(inputs[million - 2]->resolution()));
}

// mapConcurrently

class MapTest : public DeferredCombinatorsTest {
 protected:
  void TearDown() override {
    work.clear();
    DeferredCombinatorsTest::TearDown();
  }

  static Ref<NSArray> letters() { return NSArray::arrayWithObjects("a", "b", "c", "d", "e"); }

  /// Work that runs until the test settles it, in the order of the elements.
  auto running() {
    return [this](const Value& element, NSUInteger index) -> Value {
      EXPECT_EQ(index, work.size());
      record.push_back("begin " + text(element));
      work.push_back(PLVDeferred::init());
      return work.back();
    };
  }
  std::vector<Ref<PLVDeferred>> work;
};

TEST_F(MapTest, NoMoreThanTheLimitRunsAtATime) {
  const Ref<PLVDeferred> results = mapConcurrently(letters(), 2, running());
  EXPECT_EQ(happened(), (Words{"begin a", "begin b"}));
  work[1]->resolve("B");
  EXPECT_EQ(happened(), Words{"begin c"});
  work[2]->resolve(nullptr);
  work[0]->resolve("A");
  EXPECT_EQ(happened(), (Words{"begin d", "begin e"}));
  work[4]->resolve("E");
  EXPECT_EQ(outcome(results), "pending");
  work[3]->resolve("D");
  EXPECT_EQ(outcome(results), "[A, B, <null>, D, E]");
}

TEST_F(MapTest, ALimitOfNothingCountsAsOne) {
  const Ref<PLVDeferred> results = mapConcurrently(letters(), 0, running());
  EXPECT_EQ(happened(), Words{"begin a"});
  results->cancel();
}

TEST_F(MapTest, ALimitBeyondTheElementsBeginsAllOfThem) {
  const Ref<PLVDeferred> results =
      mapConcurrently(letters(), std::numeric_limits<NSUInteger>::max(), running());
  EXPECT_EQ(happened().size(), 5u);
  results->cancel();
}

TEST_F(MapTest, ResultsThatAreThereNeedNoRoom) {
  const Ref<PLVDeferred> results =
      mapConcurrently(letters(), 1, [](const Value& element, NSUInteger index) -> Value {
        if (index == 1) return PLVPromise::withResolved("B");
        if (index == 2) return PLVDeferred::withResolved("C");
        return element;
      });
  EXPECT_EQ(outcome(results), "[a, B, C, d, e]");
}

TEST_F(MapTest, NoElementsGiveAnEmptyArray) {
  EXPECT_EQ(outcome(mapConcurrently(NSArray::array(), 3, running())), "[]");
  EXPECT_EQ(outcome(mapConcurrently(nullptr, 3, running())), "[]");
}

TEST_F(MapTest, AFailureRejectsAtOnceAndNothingMoreIsBegun) {
  const Ref<PLVDeferred> results = mapConcurrently(letters(), 2, running());
  happened();
  work[1]->reject("no");
  EXPECT_EQ(outcome(results), "rejected no");
  EXPECT_TRUE(results->resolution().isIdentical(work[1]->resolution())) << "the very failure";
  EXPECT_FALSE(work[0]->isResolved()) << "it goes on";
  work[0]->resolve("late");
  EXPECT_EQ(happened(), Words{});
}

TEST_F(MapTest, AFailureCancelsWhatRunsWhenAskedFor) {
  const Ref<PLVDeferred> results = mapConcurrently(letters(), 3, running(), Unneeded::Cancel);
  happened();
  work[0]->resolve("A");
  EXPECT_EQ(happened(), Words{"begin d"});
  work[2]->reject("no");
  EXPECT_EQ(outcome(work[0]), "A");
  EXPECT_EQ(outcome(work[1]), "cancelled (null)");
  EXPECT_EQ(outcome(work[3]), "cancelled (null)");
  EXPECT_EQ(outcome(results), "rejected no");
}

TEST_F(MapTest, CancellingTheResultCancelsWhatRuns) {
  const Ref<PLVDeferred> results = mapConcurrently(letters(), 2, running());
  happened();
  results->cancelWithValue("enough");
  EXPECT_EQ(outcome(work[0]), "cancelled enough");
  EXPECT_EQ(outcome(work[1]), "cancelled enough");
  EXPECT_EQ(work.size(), 2u);
}

TEST_F(MapTest, ABlockThatCancelsTheResultHasItsOwnWorkCancelled) {
  Ref<PLVDeferred> results, begun;
  std::thread([&] {
    results = mapConcurrently(letters(), 2, [&](const Value&, NSUInteger) -> Value {
      results->cancel();
      return begun = PLVDeferred::init();
    });
  }).join();
  EXPECT_FALSE(begun);
  EXPECT_TRUE(runUntilIdle());
  EXPECT_EQ(outcome(begun), "cancelled (null)");
}

TEST_F(MapTest, ABlockThatRaisesIsAFailure) {
  const Ref<PLVDeferred> results = mapConcurrently(
      letters(), 2, [](const Value&, NSUInteger) -> Value { raise("Scripted", "stop here"); });
  EXPECT_EQ(text(Value(as<NSException>(as<PLVRejected>(results->resolution())->value())->reason())),
            "stop here");
}

TEST_F(MapTest, AnotherExceptionGoesToTheCaller) {
  EXPECT_THROW(
      mapConcurrently(letters(), 2, [](const Value&, NSUInteger) -> Value { throw Foreign(); }),
      Foreign);
}

TEST_F(MapTest, AMillionElementsOfEveryKindAreMapped) {
  constexpr NSInteger million = 1'000'000;
  std::vector<Value> values;
  for (NSInteger i = 0; i < million; ++i) values.emplace_back(i);
  NSInteger begun = 0;
  Ref<PLVDeferred> gate = PLVDeferred::init();
  const Ref<PLVDeferred> results = mapConcurrently(
      list(std::move(values)), 3, [&](const Value& element, NSUInteger index) -> Value {
        ++begun;
        if (index == 0) return gate;
        return index % 2 ? Value(PLVDeferred::withResolved(element)) : element;
      });
  EXPECT_EQ(begun, million);
  EXPECT_EQ(outcome(results), "pending");
  gate->resolve("gate");
  const NSArray* array = as<NSArray>(results->resolution());
  ASSERT_TRUE(array);
  EXPECT_EQ(array->firstObject(), Value("gate"));
  EXPECT_EQ(array->lastObject(), Value(million - 1));
}

// retry

class RetryTest : public DeferredCombinatorsTest {
 protected:
  /// Fails until the attempt of that number, which gives "done".
  auto failingUntil(NSUInteger success) {
    return [this, success](NSUInteger attempt) -> Value {
      record.push_back("attempt " + std::to_string(attempt) + " at " +
                       std::to_string(static_cast<int>(clock.elapsed() * 1000 + 0.5)));
      if (attempt < success) return PLVDeferred::withRejected("failure " + std::to_string(attempt));
      return "done";
    };
  }
};

TEST_F(RetryTest, ASuccessNeedsNoSecondAttempt) {
  EXPECT_EQ(outcome(retry(failingUntil(1))), "done");
  EXPECT_EQ(happened(), Words{"attempt 1 at 0"});
  EXPECT_EQ(MainQueue::current().nextDeadline(), never);
}

TEST_F(RetryTest, EachDelayIsLongerByTheFactorUpToTheLongest) {
  const Ref<PLVDeferred> result =
      retry(failingUntil(6), {.attempts = 10, .delay = 1, .factor = 3, .longestDelay = 10});
  EXPECT_TRUE(clock.advanceUntilIdle());
  EXPECT_EQ(happened(), (Words{"attempt 1 at 0", "attempt 2 at 1000", "attempt 3 at 4000",
                               "attempt 4 at 13000", "attempt 5 at 23000", "attempt 6 at 33000"}));
  EXPECT_EQ(outcome(result), "done");
}

TEST_F(RetryTest, TheLastFailureIsTheOutcome) {
  const Ref<PLVDeferred> result = retry(failingUntil(10));
  clock.advance(0.5);
  EXPECT_EQ(outcome(result), "pending");
  clock.advance(1);
  EXPECT_EQ(happened(), (Words{"attempt 1 at 0", "attempt 2 at 500", "attempt 3 at 1500"}));
  EXPECT_EQ(outcome(result), "rejected failure 3");
  EXPECT_TRUE(clock.advanceUntilIdle());
  EXPECT_EQ(happened(), Words{});
}

TEST_F(RetryTest, NoAttemptsCountAsOne) {
  EXPECT_EQ(outcome(retry(failingUntil(2), {.attempts = 0})), "rejected failure 1");
  happened();
}

TEST_F(RetryTest, TheNextAttemptNeverRunsInsideTheOneBefore) {
  const Ref<PLVDeferred> result = retry(failingUntil(2), {.delay = 0});
  EXPECT_EQ(happened(), Words{"attempt 1 at 0"});
  turn();
  EXPECT_EQ(happened(), Words{"attempt 2 at 0"});
  EXPECT_EQ(outcome(result), "done");
}

TEST_F(RetryTest, ACancelledAttemptIsNotTriedAgain) {
  const Ref<PLVDeferred> running = PLVDeferred::init();
  const Ref<PLVDeferred> result = retry([&](NSUInteger) -> Value { return running; });
  running->cancelWithValue("enough");
  EXPECT_EQ(outcome(result), "cancelled enough");
  EXPECT_EQ(MainQueue::current().nextDeadline(), never);
}

TEST_F(RetryTest, CancellingTheResultCancelsTheAttemptThatRuns) {
  const Ref<PLVDeferred> running = PLVDeferred::init();
  const Ref<PLVDeferred> result = retry([&](NSUInteger) -> Value { return running; });
  result->cancelWithValue("enough");
  EXPECT_EQ(outcome(running), "cancelled enough");
  EXPECT_EQ(outcome(result), "cancelled enough");
}

TEST_F(RetryTest, CancellingTheResultEndsTheWaitForTheNextAttempt) {
  const Ref<PLVDeferred> result = retry(failingUntil(5));
  happened();
  result->cancel();
  EXPECT_TRUE(clock.advanceUntilIdle());
  EXPECT_EQ(happened(), Words{});
}

TEST_F(RetryTest, AFailureThatIsNotWorthItIsTheOutcome) {
  const auto isWorthIt = [](const Ref<PLVRejected>& rejected) {
    return rejected->value() == Value("failure 1");
  };
  const Ref<PLVDeferred> result = retry(failingUntil(5), {.shouldRetry = isWorthIt});
  EXPECT_TRUE(clock.advanceUntilIdle());
  EXPECT_EQ(happened().size(), 2u);
  EXPECT_EQ(outcome(result), "rejected failure 2");
}

TEST_F(RetryTest, ExceptionsOfBothBlocksAreFailures) {
  const Ref<PLVDeferred> raising =
      retry([](NSUInteger) -> Value { raise("Scripted", "attempt"); }, {.attempts = 2});
  EXPECT_EQ(outcome(raising), "pending");
  EXPECT_TRUE(clock.advanceUntilIdle());
  EXPECT_TRUE(isKindOf<NSException>(as<PLVRejected>(raising->resolution())->value()));
  const Ref<PLVDeferred> undecided = retry(
      failingUntil(2),
      {.shouldRetry = [](const Ref<PLVRejected>&) -> bool { raise("Scripted", "undecided"); }});
  EXPECT_EQ(
      text(Value(as<NSException>(as<PLVRejected>(undecided->resolution())->value())->reason())),
      "undecided");
  happened();
}

TEST_F(RetryTest, JitterTakesUpToItsShareOfEachDelay) {
  std::uint32_t bits = 0;
  RandomSourceScope random([&] { return bits; });
  const RetryOptions options{.attempts = 2, .delay = 8, .jitter = 0.25};
  Ref<PLVDeferred> result = retry(failingUntil(3), options);
  EXPECT_EQ(MainQueue::current().nextDeadline(), 8'000'000'000);
  EXPECT_TRUE(clock.advanceUntilIdle());
  bits = 0x80000000;
  result = retry(failingUntil(3), options);
  EXPECT_EQ(MainQueue::current().nextDeadline(), 8'000'000'000 + 7'000'000'000);
  EXPECT_TRUE(clock.advanceUntilIdle());
  happened();
}

TEST_F(RetryTest, OnAnotherThreadItTriesOnTheMainThread) {
  Ref<PLVDeferred> result;
  std::thread([&] { result = retry(failingUntil(1)); }).join();
  EXPECT_EQ(happened(), Words{});
  EXPECT_TRUE(runUntilIdle());
  EXPECT_EQ(happened(), Words{"attempt 1 at 0"});
  EXPECT_EQ(outcome(result), "done");
}

// Failures that nobody looks at

class UnseenTest : public DeferredCombinatorsTest {
 protected:
  void SetUp() override {
    setUnhandledRejectionHook([this](const UnhandledRejection& unhandled) {
      record.push_back(text(Value(unhandled.rejected)));
      lines.push_back(unhandled.place.line);
    });
  }
  void TearDown() override {
    setUnhandledRejectionHook(nullptr);
    DeferredCombinatorsTest::TearDown();
  }

  std::vector<int> lines;
};

TEST_F(UnseenTest, AFailureThatPassesThroughIsReportedOnceAndWithThePlaceOfTheResult) {
  const auto failing = [](NSUInteger) -> Value { return PLVDeferred::withRejected("retried"); };
  const auto failingMap = [](const Value& element, NSUInteger) -> Value {
    return PLVDeferred::withRejected(element);
  };
  const int before = __LINE__;
  retry(failing, {.attempts = 1});
  mapConcurrently(list({"mapped"}), 1, failingMap);
  withTimeout(PLVDeferred::withRejected("limited"), 0, Unneeded::Cancel);
  EXPECT_TRUE(runUntilIdle());
  EXPECT_EQ(happened(),
            (Words{"PLVRejected [retried]", "PLVRejected [mapped]", "PLVRejected [limited]"}));
  EXPECT_EQ(lines, (std::vector<int>{before + 1, before + 2, before + 3}));
}

TEST_F(UnseenTest, FailuresThatAnArrayHoldsAreReportedWithIt) {
  allResolved(list({PLVDeferred::withRejected(1)}));
  EXPECT_EQ(happened().size(), 1u);
  PLVDeferred::withAllResolved(list({PLVDeferred::withRejected(2)}));
  EXPECT_EQ(happened().size(), 1u);
  firstResolved(list({PLVDeferred::withRejected(3), PLVDeferred::withRejected(4)}));
  EXPECT_EQ(happened().size(), 1u);
}

TEST_F(UnseenTest, FailuresThatACombinationIsMadeForAreNotReported) {
  allSettled(list({PLVDeferred::withRejected(1)}));
  anyResolved(list({PLVDeferred::withRejected(2), 3}));
  firstResolved(list({PLVDeferred::withRejected(4), 5}));
  retry([](NSUInteger attempt) -> Value {
    return attempt == 1 ? PLVDeferred::withRejected(6) : PLVDeferred::withResolved(7);
  });
  PLVDeferred::withRejected(8)->ignoreRejected();
  EXPECT_TRUE(clock.advanceUntilIdle());
  EXPECT_EQ(happened(), Words{});
}

using CombinatorsDeathTest = DeferredCombinatorsTest;

TEST_F(CombinatorsDeathTest, NullBlocksAreRefused) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(mapConcurrently(NSArray::array(), 1, nullptr), "must not be null");
  EXPECT_DEATH(retry(nullptr), "must not be null");
}

}  // namespace
}  // namespace JNFoundation
