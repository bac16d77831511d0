#include <cmath>
#include <limits>
#include <thread>

#include "DeferredFixture.h"

#include <JNFoundation/deferred/JNTimeout.h>
#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/deferred/PLVRejectedIgnored.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/testing/RunLoopTesting.h>
#include <JNFoundation/testing/TestClock.h>

namespace JNFoundation {
namespace {

/// Lives as long as the process, so it is there before objects are counted.
const Ref<JNTimeout> theOnlyTimeout = JNTimeout::instance();

class Upload : public Subclass<Upload, PLVDeferred> {
 protected:
  using Subclass::Subclass;
};

class CombinatorsTest : public DeferredFixture {
 protected:
  static Ref<NSArray> list(std::vector<Value> values) {
    return NSArray::arrayWithValues(std::move(values));
  }

  /// The descriptions of an array's elements.
  static std::string texts(const Value& array) {
    std::string all;
    const NSArray* elements = as<NSArray>(array);
    for (const Value& element : *elements) {
      all += (all.empty() ? "" : ", ") + text(element);
    }
    return "[" + all + "]";
  }

  /// What a combination has come to.
  static std::string outcome(const Ref<PLVDeferred>& deferred) {
    if (!deferred->isResolved() || deferred->isPaused()) return "pending";
    const Value& resolution = deferred->resolution();
    auto* rejected = as<PLVRejected>(resolution);
    const Value& value = rejected ? rejected->value() : resolution;
    const std::string prefix = rejected ? "rejected " : "";
    return prefix + (isKindOf<NSArray>(value) ? texts(value) : text(value));
  }

  TestClock clock;
};

// withResolved:delayInterval:

TEST_F(CombinatorsTest, AValueArrivesOnceTheDelayHasPassed) {
  const Ref<PLVDeferred> delayed = PLVDeferred::withResolvedDelayInterval("late", 2.5);
  delayed->thenEither(noting("step"));
  clock.advance(2.499999);
  EXPECT_FALSE(delayed->isResolved());
  EXPECT_EQ(happened(), Words{});
  clock.advance(0.000001);
  EXPECT_EQ(happened(), Words{"step late"});
  EXPECT_EQ(clock.elapsed(), 2.5);
}

TEST_F(CombinatorsTest, ADelayCountsWholeNanosecondsOnly) {
  const Ref<PLVDeferred> delayed = PLVDeferred::withResolvedDelayInterval(1, 3.9e-9);
  EXPECT_TRUE(runUntilIdle());
  EXPECT_FALSE(delayed->isResolved());
  EXPECT_TRUE(clock.advanceUntilIdle());
  EXPECT_TRUE(delayed->isResolved());
  EXPECT_EQ(clock.clock().monotonic(), 3);
}

TEST_F(CombinatorsTest, LessThanANanosecondIsNoDelay) {
  const Ref<PLVDeferred> delayed = PLVDeferred::withResolvedDelayInterval(1, 0.9e-9);
  EXPECT_FALSE(delayed->isResolved());
  turn();
  EXPECT_TRUE(delayed->isResolved());
}

TEST_F(CombinatorsTest, NoDelayANegativeOneAndNoNumberArriveInTheNextTurn) {
  for (const double seconds : {0.0, -0.0, -5.0, -1e300, std::nan(""), -HUGE_VAL}) {
    const Ref<PLVDeferred> delayed = PLVDeferred::withResolvedDelayInterval(1, seconds);
    EXPECT_FALSE(delayed->isResolved()) << seconds;
    turn();
    EXPECT_TRUE(delayed->isResolved()) << seconds;
  }
}

TEST_F(CombinatorsTest, ADelayBeyondTheClockNeverPasses) {
  {
    const MainQueueScope own;
    for (const double seconds : {1e10, 1e300, HUGE_VAL}) {
      const Ref<PLVDeferred> delayed = PLVDeferred::withResolvedDelayInterval(1, seconds);
      EXPECT_EQ(MainQueue::current().nextDeadline(), never) << seconds;
      EXPECT_FALSE(delayed->isResolved()) << seconds;
    }
  }
  EXPECT_EQ(live.count(), 0) << "what waits for it goes with the queue";
}

TEST_F(CombinatorsTest, DelaysArriveInTheOrderOfTheirDeadlines) {
  PLVDeferred::withResolvedDelayInterval("c", 3)->thenEither(noting("step"));
  PLVDeferred::withResolvedDelayInterval("a", 1)->thenEither(noting("step"));
  PLVDeferred::withResolvedDelayInterval("b", 1)->thenEither(noting("step"));
  clock.advance(3);
  EXPECT_EQ(happened(), (Words{"step a", "step b", "step c"}));
}

TEST_F(CombinatorsTest, ADelayedFailureIsAFailure) {
  const Ref<PLVDeferred> delayed =
      PLVDeferred::withResolvedDelayInterval(PLVRejected::withValue("no"), 1);
  delayed->thenResolved(noting("resolved"))->thenRejected(noting("rejected"));
  clock.advance(1);
  EXPECT_EQ(happened(), Words{"rejected PLVRejected [no]"});
}

TEST_F(CombinatorsTest, ADelayedDeferredIsFollowedFromThenOn) {
  const Ref<PLVDeferred> followed = PLVDeferred::withResolved("there already");
  const Ref<PLVDeferred> delayed = PLVDeferred::withResolvedDelayInterval(followed, 1);
  const Ref<PLVDeferred> open = PLVDeferred::init();
  const Ref<PLVDeferred> waiting = PLVDeferred::withResolvedDelayInterval(open, 1);
  EXPECT_FALSE(delayed->isResolved());
  clock.advance(1);
  EXPECT_EQ(outcome(delayed), "there already");
  EXPECT_EQ(outcome(waiting), "pending");
  open->resolve("now");
  EXPECT_EQ(outcome(waiting), "now");
}

TEST_F(CombinatorsTest, ADelayedNullIsASuccess) {
  const Ref<PLVDeferred> delayed = PLVDeferred::withResolvedDelayInterval(nullptr, 1);
  delayed->thenResolved(noting("resolved"));
  clock.advance(1);
  EXPECT_EQ(happened(), Words{"resolved (null)"});
}

TEST_F(CombinatorsTest, ACancelledDelayLosesItsValueButIsKeptUntilItWouldHaveArrived) {
  Weak<PLVDeferred> weak;
  {
    const Ref<PLVDeferred> delayed = PLVDeferred::withResolvedDelayInterval("late", 1);
    weak = delayed;
    delayed->cancelWithValue("enough");
    delayed->thenEither(noting("step"));
  }
  EXPECT_EQ(happened(), Words{"step PLVRejected (CANCELLED) [enough]"});
  EXPECT_TRUE(weak.load());
  clock.advance(1);
  EXPECT_FALSE(weak.load());
}

TEST_F(CombinatorsTest, ADelayAskedForOnAnotherThreadArrivesOnTheMainThread) {
  Ref<PLVDeferred> delayed;
  std::thread([&] { delayed = PLVDeferred::withResolvedDelayInterval(1, 2); }).join();
  bool wasMain = false;
  delayed->thenEither([&](const Value& value) {
    wasMain = MainQueue::isMainThread();
    return value;
  });
  clock.advance(1.9);
  EXPECT_FALSE(delayed->isResolved());
  clock.advance(0.1);
  EXPECT_TRUE(wasMain);
}

// iterationDeferredWithDeferreds:resultsArray:

TEST_F(CombinatorsTest, AnIterationRecordsEveryOutcomeInOrderAndEndsWithNull) {
  const Ref<PLVDeferred> a = PLVDeferred::init(), b = PLVDeferred::init(), c = PLVDeferred::init();
  const Ref<NSMutableArray> results = NSMutableArray::array();
  const Ref<PLVDeferred> iteration =
      PLVDeferred::iterationDeferredWithDeferredsResultsArray(list({a, b, c}), results);
  iteration->thenEither(noting("end"));
  EXPECT_TRUE(iteration->isPaused());
  c->resolve("c");
  b->reject("b");
  EXPECT_EQ(texts(Value(results)), "[]") << "the first one is still waited for";
  a->resolve(nullptr);
  EXPECT_EQ(texts(Value(results)), "[<null>, PLVRejected [b], c]");
  EXPECT_TRUE(results->objectAtIndex(0).isIdentical(NSNull::null()));
  EXPECT_TRUE(results->objectAtIndex(1).isIdentical(b->resolution()));
  EXPECT_EQ(happened(), Words{"end (null)"});
}

TEST_F(CombinatorsTest, AnIterationRecordsEachOutcomeAsSoonAsItsTurnComes) {
  const Ref<PLVDeferred> a = PLVDeferred::init(), b = PLVDeferred::init();
  const Ref<NSMutableArray> results = NSMutableArray::array();
  const Ref<PLVDeferred> iteration =
      PLVDeferred::iterationDeferredWithDeferredsResultsArray(list({a, b}), results);
  a->resolve(1);
  EXPECT_EQ(texts(Value(results)), "[1]");
  EXPECT_TRUE(iteration->resolution().isIdentical(b)) << "it waits for the second";
  b->resolve(2);
  EXPECT_EQ(texts(Value(results)), "[1, 2]");
  EXPECT_EQ(outcome(iteration), "(null)");
}

TEST_F(CombinatorsTest, AnIterationOverNothingIsResolvedWithNull) {
  const Ref<NSMutableArray> results = NSMutableArray::array();
  for (const Ref<NSArray>& nothing : {NSArray::array(), Ref<NSArray>()}) {
    const Ref<PLVDeferred> iteration =
        PLVDeferred::iterationDeferredWithDeferredsResultsArray(nothing, results);
    EXPECT_TRUE(iteration->isResolved());
    EXPECT_EQ(outcome(iteration), "(null)");
  }
  EXPECT_EQ(texts(Value(results)), "[]");
}

TEST_F(CombinatorsTest, AnIterationAppendsToWhatStandsInTheArray) {
  const Ref<NSMutableArray> results = NSMutableArray::array();
  results->addObject("before");
  PLVDeferred::iterationDeferredWithDeferredsResultsArray(list({PLVDeferred::withResolved(1)}),
                                                          results);
  EXPECT_EQ(texts(Value(results)), "[before, 1]");
}

TEST_F(CombinatorsTest, AnIterationWithoutAnArrayWaitsAllTheSame) {
  const Ref<PLVDeferred> a = PLVDeferred::init();
  const Ref<PLVDeferred> iteration =
      PLVDeferred::iterationDeferredWithDeferredsResultsArray(list({a}), nullptr);
  EXPECT_EQ(outcome(iteration), "pending");
  a->resolve(1);
  EXPECT_EQ(outcome(iteration), "(null)");
}

/// Adds an input to the list while the iteration over it is being made.
class Growing : public Subclass<Growing, PLVDeferred> {
 public:
  void resolve(const Value& value) override {
    if (const Ref<NSMutableArray> grown = std::exchange(inputs, nullptr)) grown->addObject("added");
    PLVDeferred::resolve(value);
  }
  static inline Ref<NSMutableArray> inputs;

 protected:
  using Subclass::Subclass;
};

TEST_F(CombinatorsTest, TheArrayIsReadWhileTheIterationIsMadeAndNotAfterwards) {
  const Ref<NSMutableArray> inputs = NSMutableArray::array();
  const Ref<NSMutableArray> results = NSMutableArray::array();
  const Ref<PLVDeferred> first = PLVDeferred::init();
  inputs->addObject(first);
  Growing::inputs = inputs;
  const Ref<Growing> iteration =
      Growing::iterationDeferredWithDeferredsResultsArray(inputs, results);
  inputs->addObject("too late");
  first->resolve(1);
  EXPECT_EQ(texts(Value(results)), "[1, added]");
  EXPECT_EQ(outcome(iteration), "(null)");
}

TEST_F(CombinatorsTest, ACancelledInputIsRecordedAndDoesNotCancelTheIteration) {
  const Ref<PLVDeferred> a = PLVDeferred::init(), b = PLVDeferred::init();
  const Ref<PLVDeferred> all = PLVDeferred::withAllResolved(list({a, b}));
  a->cancelWithValue("enough");
  EXPECT_EQ(outcome(all), "pending");
  EXPECT_FALSE(all->isCancelled());
  EXPECT_FALSE(b->isCancelled());
  b->resolve(2);
  EXPECT_EQ(outcome(all), "rejected [PLVRejected (CANCELLED) [enough], 2]");
}

TEST_F(CombinatorsTest, InputsOfOtherKindsCountAsSettledWithThemselves) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVDeferred> all =
      PLVDeferred::withAllResolved(list({"text", promise, NSNull::null(), 7}));
  EXPECT_EQ(outcome(all), "pending");
  promise->resolve("kept");
  EXPECT_EQ(outcome(all), "[text, kept, <null>, 7]");
}

// withAnyResolved:

TEST_F(CombinatorsTest, AnyAndAllOfNothingAreNull) {
  EXPECT_FALSE(PLVDeferred::withAnyResolved(NSArray::array()));
  EXPECT_FALSE(PLVDeferred::withAllResolved(NSArray::array()));
  EXPECT_FALSE(PLVDeferred::withAnyResolved(nullptr));
  EXPECT_FALSE(PLVDeferred::withAllResolved(nullptr));
  EXPECT_FALSE(Upload::withAnyResolved(NSArray::array()));
  EXPECT_FALSE(Upload::withAllResolved(NSArray::array()));
}

TEST_F(CombinatorsTest, AnyOfAFailureAndANullSucceedsWithBoth) {
  const Ref<PLVDeferred> any = PLVDeferred::withAnyResolved(
      list({PLVDeferred::withRejected("no"), PLVDeferred::withResolved(nullptr)}));
  EXPECT_EQ(outcome(any), "[PLVRejected [no], <null>]");
}

TEST_F(CombinatorsTest, AnyWaitsForEveryInputEvenAfterASuccess) {
  const Ref<PLVDeferred> a = PLVDeferred::init(), b = PLVDeferred::init();
  const Ref<PLVDeferred> any = PLVDeferred::withAnyResolved(list({a, b}));
  a->resolve(1);
  EXPECT_EQ(outcome(any), "pending");
  EXPECT_FALSE(b->isCancelled());
  b->reject(2);
  EXPECT_EQ(outcome(any), "[1, PLVRejected [2]]");
}

TEST_F(CombinatorsTest, AnyOfFailuresOnlyIsRejectedWithAllOfThem) {
  const Ref<PLVDeferred> any = PLVDeferred::withAnyResolved(
      list({PLVDeferred::withRejected(1), PLVDeferred::withRejected(2)}));
  EXPECT_EQ(outcome(any), "rejected [PLVRejected [1], PLVRejected [2]]");
}

TEST_F(CombinatorsTest, AnIgnoredFailureIsASuccessForAny) {
  const Ref<PLVDeferred> any =
      PLVDeferred::withAnyResolved(list({PLVDeferred::withRejected(1)->ignoreRejected()}));
  ASSERT_TRUE(isKindOf<NSArray>(any->resolution()));
  EXPECT_TRUE(isKindOf<PLVRejectedIgnored>(as<NSArray>(any->resolution())->objectAtIndex(0)));
}

// withAllResolved:

TEST_F(CombinatorsTest, ResultsStandInTheOrderOfTheInputsWhateverSettlesFirst) {
  const Ref<PLVDeferred> a = PLVDeferred::init(), b = PLVDeferred::init(), c = PLVDeferred::init();
  const Ref<PLVDeferred> all = PLVDeferred::withAllResolved(list({a, b, c}));
  c->resolve("c");
  b->resolve("b");
  EXPECT_EQ(outcome(all), "pending");
  a->resolve("a");
  EXPECT_EQ(outcome(all), "[a, b, c]");
}

TEST_F(CombinatorsTest, AllWaitsForEveryInputEvenAfterAFailure) {
  const Ref<PLVDeferred> a = PLVDeferred::init(), b = PLVDeferred::init(), c = PLVDeferred::init();
  const Ref<PLVDeferred> all = PLVDeferred::withAllResolved(list({a, b, c}));
  all->thenResolved(noting("resolved"));
  a->reject("no");
  b->resolve(2);
  EXPECT_EQ(outcome(all), "pending");
  EXPECT_FALSE(c->isCancelled());
  c->resolve(3);
  EXPECT_EQ(outcome(all), "rejected [PLVRejected [no], 2, 3]");
  auto* results = as<NSArray>(as<PLVRejected>(all->resolution())->value());
  EXPECT_TRUE(results->objectAtIndex(0).isIdentical(a->resolution())) << "the very rejection";
}

TEST_F(CombinatorsTest, TheFirstFailureMayStandAnywhere) {
  const Ref<PLVDeferred> all = PLVDeferred::withAllResolved(
      list({PLVDeferred::withResolved(1), PLVDeferred::withRejected(2)}));
  EXPECT_EQ(outcome(all), "rejected [1, PLVRejected [2]]");
}

TEST_F(CombinatorsTest, TheInputsGoOnWithTheirOwnValues) {
  const Ref<PLVDeferred> a = PLVDeferred::init();
  const Ref<PLVDeferred> all = PLVDeferred::withAllResolved(list({a}));
  a->thenEither(noting("input"));
  a->resolve("own");
  EXPECT_EQ(happened(), Words{"input own"});
  EXPECT_EQ(outcome(all), "[own]");
}

TEST_F(CombinatorsTest, OneDeferredMayStandInTheListTwice) {
  const Ref<PLVDeferred> a = PLVDeferred::init();
  const Ref<PLVDeferred> all = PLVDeferred::withAllResolved(list({a, a}));
  a->resolve(1);
  EXPECT_EQ(outcome(all), "[1, 1]");
}

TEST_F(CombinatorsTest, CancellingTheCombinationCancelsWhatItWaitsForAndWhatWouldFollow) {
  const Ref<PLVDeferred> a = PLVDeferred::init(), b = PLVDeferred::init();
  const Ref<PLVDeferred> all = PLVDeferred::withAllResolved(list({a, b}));
  all->cancelWithValue("enough");
  EXPECT_EQ(text(a->resolution()), "PLVRejected (CANCELLED) [enough]");
  EXPECT_EQ(text(b->resolution()), "PLVRejected (CANCELLED) [enough]");
  EXPECT_EQ(text(all->resolution()), "PLVRejected (CANCELLED) [enough]");
}

TEST_F(CombinatorsTest, CombinationsMadeOnAnotherThreadRecordOnTheMainThread) {
  const Ref<PLVDeferred> a = PLVDeferred::init(), b = PLVDeferred::withResolved(2);
  Ref<PLVDeferred> all;
  std::thread([&] { all = PLVDeferred::withAllResolved(list({a, b})); }).join();
  EXPECT_FALSE(all->isResolved());
  EXPECT_TRUE(runUntilIdle());
  EXPECT_EQ(outcome(all), "pending");
  a->resolve(1);
  EXPECT_EQ(outcome(all), "[1, 2]");
}

// withAllResolvedVariadic:

TEST_F(CombinatorsTest, AListOfArgumentsEndsAtTheFirstNull) {
  const Ref<PLVDeferred> a = PLVDeferred::withResolved(1), b = PLVDeferred::withResolved(2);
  const Ref<PLVDeferred> none;
  EXPECT_EQ(outcome(PLVDeferred::withAllResolvedVariadic(a, b)), "[1, 2]");
  EXPECT_EQ(outcome(PLVDeferred::withAllResolvedVariadic(a, nullptr)), "[1]");
  EXPECT_EQ(outcome(PLVDeferred::withAllResolvedVariadic(a, none, b)), "[1]");
  EXPECT_FALSE(PLVDeferred::withAllResolvedVariadic(nullptr, a));
  EXPECT_FALSE(PLVDeferred::withAllResolvedVariadic(none, a));
  EXPECT_FALSE(PLVDeferred::withAllResolvedVariadic());
}

template <class... Arguments>
concept MayBeCombined = requires(Arguments... arguments) {
  PLVDeferred::withAllResolvedVariadic(arguments...);
};
static_assert(MayBeCombined<Ref<PLVDeferred>, Ref<Upload>, std::nullptr_t>);
static_assert(!MayBeCombined<Ref<PLVDeferred>, Ref<NSString>>);
static_assert(!MayBeCombined<int>);

TEST_F(CombinatorsTest, AListOfArgumentsMayMixClasses) {
  const Ref<Upload> upload = Upload::withResolved("u");
  EXPECT_EQ(outcome(PLVDeferred::withAllResolvedVariadic(PLVDeferred::withResolved(1), upload)),
            "[1, u]");
}

// timeout:

TEST_F(CombinatorsTest, TheOutcomeBeforeTheLimitPassesAndTheLimitChangesNothing) {
  const Ref<PLVDeferred> work = PLVDeferred::init();
  const Ref<PLVDeferred> limited = work->timeout(5);
  EXPECT_FALSE(limited.get() == work.get());
  limited->thenEither(noting("limited"));
  clock.advance(4.9);
  work->resolve("done");
  EXPECT_EQ(happened(), Words{"limited done"});
  clock.advance(10);
  EXPECT_EQ(outcome(limited), "done");
  EXPECT_EQ(outcome(work), "done");
}

TEST_F(CombinatorsTest, AFailureBeforeTheLimitPassesToo) {
  const Ref<PLVDeferred> work = PLVDeferred::init();
  const Ref<PLVDeferred> limited = work->timeout(5);
  work->reject("no");
  EXPECT_EQ(outcome(limited), "rejected no");
  clock.advance(5);
  EXPECT_EQ(outcome(limited), "rejected no");
}

TEST_F(CombinatorsTest, PastTheLimitItIsRejectedWithTheOneTimeoutAndTheWorkGoesOn) {
  const Ref<PLVDeferred> work = PLVDeferred::init();
  const Ref<PLVDeferred> limited = work->timeout(5), other = work->timeout(1);
  clock.advance(4.999);
  EXPECT_EQ(outcome(limited), "pending");
  clock.advance(0.001);
  auto* rejected = as<PLVRejected>(limited->resolution());
  ASSERT_TRUE(rejected);
  EXPECT_FALSE(rejected->isCancellation());
  EXPECT_TRUE(rejected->value().isIdentical(JNTimeout::instance()));
  EXPECT_TRUE(as<PLVRejected>(other->resolution())->value().isIdentical(theOnlyTimeout));
  EXPECT_FALSE(work->isResolved());
  EXPECT_FALSE(work->isCancelled());
  limited->thenEither(noting("limited"));
  happened();
  work->resolve("late");
  EXPECT_EQ(happened(), Words{}) << "the late outcome is ignored";
  EXPECT_EQ(outcome(work), "late");
}

TEST_F(CombinatorsTest, ALimitOfNothingOrLessPassesInTheNextTurn) {
  const Ref<PLVDeferred> work = PLVDeferred::init();
  for (const double seconds : {0.0, -1.0, std::nan("")}) {
    const Ref<PLVDeferred> limited = work->timeout(seconds);
    EXPECT_FALSE(limited->isResolved()) << seconds;
    turn();
    EXPECT_TRUE(limited->isResolved()) << seconds;
  }
}

TEST_F(CombinatorsTest, WorkThatIsDoneAlreadyIsNotLimited) {
  const Ref<PLVDeferred> limited = PLVDeferred::withResolved("done")->timeout(0);
  EXPECT_EQ(outcome(limited), "done");
  EXPECT_TRUE(runUntilIdle());
  EXPECT_EQ(outcome(limited), "done");
}

TEST_F(CombinatorsTest, TheLimitedDeferredIsKeptUntilTheLimit) {
  const Ref<PLVDeferred> work = PLVDeferred::init();
  const Weak<PLVDeferred> weak = work->timeout(5);
  work->resolve(1);
  EXPECT_TRUE(weak.load());
  clock.advance(5);
  EXPECT_FALSE(weak.load());
}

TEST_F(CombinatorsTest, CancellingTheLimitedDeferredLeavesTheWorkAlone) {
  const Ref<PLVDeferred> work = PLVDeferred::init();
  const Ref<PLVDeferred> limited = work->timeout(5);
  limited->cancel();
  EXPECT_FALSE(work->isCancelled());
  clock.advance(5);
  EXPECT_TRUE(isCancellation(limited->resolution()));
}

TEST_F(CombinatorsTest, TheLimitedDeferredGetsWhatTheChainMakesOfTheValueUpToThere) {
  const Ref<PLVDeferred> work = PLVDeferred::init();
  work->thenResolved(returning("before", "made"));
  const Ref<PLVDeferred> limited = work->timeout(5);
  work->thenResolved(returning("after", "other"));
  work->resolve("raw");
  EXPECT_EQ(happened(), (Words{"before raw", "after made"}));
  EXPECT_EQ(outcome(limited), "made");
  clock.advance(5);
}

TEST_F(CombinatorsTest, ThereIsOneTimeoutOnEveryThread) {
  Ref<JNTimeout> other;
  std::thread([&] { other = JNTimeout::instance(); }).join();
  EXPECT_EQ(other.get(), JNTimeout::instance().get());
  EXPECT_FALSE(isKindOf<PLVRejected>(Value(other)));
  EXPECT_TRUE(Value(other).isIdentical(performSelector(JNTimeout::classObject, SEL("instance"))));
}

// ignoreRejected

TEST_F(CombinatorsTest, AnIgnoredFailureIsASuccessThatCarriesTheFailure) {
  const Ref<PLVDeferred> work = PLVDeferred::init();
  const Ref<PLVDeferred> ignoring = work->ignoreRejected();
  EXPECT_FALSE(ignoring.get() == work.get());
  Value seen;
  ignoring
      ->thenResolved([&](const Value& value) {
        seen = value;
        return value;
      })
      ->thenRejected(noting("rejected"));
  work->reject("no");
  ASSERT_TRUE(isKindOf<PLVRejectedIgnored>(seen));
  EXPECT_TRUE(Value(as<PLVRejectedIgnored>(seen)->rejected()).isIdentical(work->resolution()));
  EXPECT_EQ(outcome(work), "rejected no") << "the work's own chain is not altered";
}

TEST_F(CombinatorsTest, ASuccessPassesAnIgnoringDeferredUnchanged) {
  const Ref<PLVDeferred> work = PLVDeferred::init();
  const Ref<PLVDeferred> ignoring = work->ignoreRejected();
  work->resolve("fine");
  EXPECT_EQ(outcome(ignoring), "fine");
}

TEST_F(CombinatorsTest, ACancellationOfTheWorkIsIgnoredAsWell) {
  const Ref<PLVDeferred> work = PLVDeferred::init();
  const Ref<PLVDeferred> ignoring = work->ignoreRejected();
  work->cancel();
  // It arrives as a cancellation of the new deferred, whose results no longer count.
  EXPECT_TRUE(isCancellation(ignoring->resolution()));
}

// Classes

TEST_F(CombinatorsTest, TheClassThatWasAskedMakesTheInstances) {
  const Ref<NSArray> inputs = list({PLVDeferred::withResolved(1)});
  const Ref<Upload> delayed = Upload::withResolvedDelayInterval(1, 0);
  const Ref<Upload> iteration =
      Upload::iterationDeferredWithDeferredsResultsArray(inputs, NSMutableArray::array());
  const Ref<Upload> any = Upload::withAnyResolved(inputs);
  const Ref<Upload> all = Upload::withAllResolved(inputs);
  const Ref<Upload> variadic = Upload::withAllResolvedVariadic(PLVDeferred::withResolved(1));
  for (const Ref<Upload>& made : {delayed, iteration, any, all, variadic}) {
    EXPECT_EQ(&made->class_(), &Upload::classObject);
  }
  EXPECT_EQ(outcome(all), "[1]");
  EXPECT_EQ(outcome(variadic), "[1]");
  EXPECT_TRUE(runUntilIdle());
  EXPECT_EQ(outcome(delayed), "1");
}

TEST_F(CombinatorsTest, InstanceOperationsMakeDeferredsOfTheBaseClass) {
  const Ref<Upload> upload = Upload::withResolved(1);
  EXPECT_EQ(&upload->timeout(0)->class_(), &PLVDeferred::classObject);
  EXPECT_EQ(&upload->ignoreRejected()->class_(), &PLVDeferred::classObject);
  EXPECT_TRUE(runUntilIdle());
}

TEST_F(CombinatorsTest, TheRuntimeFindsThemByTheirSelectors) {
  const Value deferredClass = PLVDeferred::classObject;
  const Ref<NSArray> inputs = list({PLVDeferred::withResolved(1)});
  const Value all = performSelector(deferredClass, SEL("withAllResolved:"), inputs);
  EXPECT_EQ(outcome(Ref<PLVDeferred>(as<PLVDeferred>(all))), "[1]");
  const Value any = performSelector(deferredClass, SEL("withAnyResolved:"), inputs);
  EXPECT_EQ(outcome(Ref<PLVDeferred>(as<PLVDeferred>(any))), "[1]");
  const Value delayed =
      performSelector(deferredClass, SEL("withResolved:delayInterval:"), "late", 1.5);
  const Value limited = performSelector(delayed, SEL("timeout:"), 1.0);
  const Value ignoring = performSelector(limited, SEL("ignoreRejected"));
  const Value iteration =
      performSelector(deferredClass, SEL("iterationDeferredWithDeferreds:resultsArray:"), inputs,
                      NSMutableArray::array());
  EXPECT_EQ(outcome(Ref<PLVDeferred>(as<PLVDeferred>(iteration))), "(null)");
  clock.advance(1.5);
  EXPECT_EQ(outcome(Ref<PLVDeferred>(as<PLVDeferred>(delayed))), "late");
  EXPECT_TRUE(isKindOf<PLVRejectedIgnored>(as<PLVDeferred>(ignoring)->resolution()));
}

// Without end

TEST_F(CombinatorsTest, AMillionInputsThatAreThereAlreadyAreCombined) {
  std::vector<Value> inputs;
  for (int i = 0; i < million; ++i) inputs.emplace_back(PLVDeferred::withResolved(i));
  const Ref<PLVDeferred> all = PLVDeferred::withAllResolved(list(std::move(inputs)));
  auto* results = as<NSArray>(all->resolution());
  ASSERT_TRUE(results);
  ASSERT_EQ(results->count(), static_cast<NSUInteger>(million));
  for (int i = 0; i < million; ++i) ASSERT_EQ(results->objectAtIndex(i), Value(i));
}

TEST_F(CombinatorsTest, AMillionInputsThatSettleBackwardsAreCombined) {
  std::vector<Ref<PLVDeferred>> inputs(million);
  std::vector<Value> values;
  for (Ref<PLVDeferred>& input : inputs) values.emplace_back(input = PLVDeferred::init());
  const Ref<PLVDeferred> all = PLVDeferred::withAllResolved(list(std::move(values)));
  for (int i = million - 1; i > 0; --i) inputs[i]->resolve(i);
  EXPECT_EQ(outcome(all), "pending");
  inputs[0]->resolve(0);
  ASSERT_TRUE(isKindOf<NSArray>(all->resolution()));
  EXPECT_EQ(as<NSArray>(all->resolution())->lastObject(), Value(million - 1));
}

TEST_F(CombinatorsTest, AMillionPendingInputsAreReleasedWithTheCombination) {
  std::vector<Value> values;
  for (int i = 0; i < million; ++i) values.emplace_back(PLVDeferred::init());
  Value first = values.front();
  Ref<PLVDeferred> all = PLVDeferred::withAllResolved(list(std::move(values)));
  all->cancel();
  EXPECT_TRUE(isCancellation(as<PLVDeferred>(first)->resolution()));
  EXPECT_TRUE(isCancellation(all->resolution()));
}

}  // namespace
}  // namespace JNFoundation
