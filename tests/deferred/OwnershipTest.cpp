#include "DeferredFixture.h"

/// Who keeps whom alive, and until when.
namespace JNFoundation {
namespace {

class Ownership : public DeferredFixture {
 protected:
  /// A handler whose end leaves the word in the record.
  auto ending(std::string word) {
    return [atEnd = AtEnd::run([this, word = std::move(word)] { record.push_back(word); })](
               const Value& value) { return value; };
  }
};

TEST_F(Ownership, ADeferredOwnsItsHandlersUntilTheyHaveRun) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved(ending("first released"))->thenResolved(noting("second"));
  EXPECT_EQ(happened(), Words{});
  deferred->resolve(1);
  EXPECT_EQ(happened(), (Words{"first released", "second 1"}));
}

TEST_F(Ownership, AHandlerThatIsPassedByIsReleasedWithItsStep) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenRejected(ending("rejected released"))->thenResolved(noting("second"));
  deferred->resolve(1);
  EXPECT_EQ(happened(), (Words{"rejected released", "second 1"}));
}

TEST_F(Ownership, HandlersOfADeferredThatNobodyResolvesGoWithIt) {
  Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved(ending("released"));
  EXPECT_EQ(happened(), Words{});
  deferred = nullptr;
  EXPECT_EQ(happened(), Words{"released"});
}

TEST_F(Ownership, ThenResolveKeepsItsTargetUntilTheStepHasRun) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  Ref<PLVDeferred> target = PLVDeferred::init();
  const Weak<PLVDeferred> weak = target;
  deferred->thenResolve(target);
  target = nullptr;
  EXPECT_TRUE(weak.load());
  deferred->resolve(1);
  EXPECT_FALSE(weak.load());
}

TEST_F(Ownership, ADeferredKeepsItsOutcomeAndLetsGoOfTheOneBefore) {
  Ref<AtEnd> outcome = AtEnd::run([this] { record.push_back("outcome released"); });
  Ref<PLVDeferred> deferred = PLVDeferred::withResolved(outcome);
  outcome = nullptr;
  EXPECT_EQ(happened(), Words{});
  deferred->thenResolved([](const Value&) -> Value { return 2; });
  EXPECT_EQ(happened(), Words{"outcome released"});
}

TEST_F(Ownership, AChainThatWaitsIsKeptAliveByWhatItWaitsFor) {
  Ref<PLVDeferred> inner = PLVDeferred::init();
  Ref<PLVDeferred> outer = PLVDeferred::withResolved(inner);
  const Weak<PLVDeferred> weak = outer;
  outer->thenResolved(noting("outer"));
  outer = nullptr;
  EXPECT_TRUE(weak.load());
  inner->resolve(1);
  EXPECT_EQ(happened(), Words{"outer 1"});
  EXPECT_FALSE(weak.load());
}

TEST_F(Ownership, AChainThatHasGoneOnNoLongerKeepsWhatItWaitedFor) {
  Ref<PLVDeferred> inner = PLVDeferred::init();
  const Weak<PLVDeferred> weak = inner;
  const Ref<PLVDeferred> outer = PLVDeferred::withResolved(inner);
  inner->resolve(1);
  inner = nullptr;
  EXPECT_FALSE(weak.load());
}

TEST_F(Ownership, APromiseKeepsItsListenersUntilTheyWereTold) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Weak<PLVDeferred> listener = promise->deferredResolution();
  EXPECT_TRUE(listener.load());
  promise->resolve(1);
  EXPECT_FALSE(listener.load());
}

TEST_F(Ownership, APromiseLetsGoOfAListenerThatWasCancelled) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->setShouldProcessResolvableCancellations(false);
  Ref<PLVDeferred> listener = promise->deferredResolution();
  const Weak<PLVDeferred> weak = listener;
  listener->cancel();
  listener = nullptr;
  EXPECT_FALSE(weak.load());
}

TEST_F(Ownership, AListenerDoesNotKeepItsPromise) {
  Ref<PLVPromise> promise = PLVPromise::init();
  const Weak<PLVPromise> weak = promise;
  const Ref<PLVDeferred> listener = promise->deferredResolution();
  promise = nullptr;
  EXPECT_FALSE(weak.load());
  listener->cancel();
  EXPECT_TRUE(listener->isResolved());
}

TEST_F(Ownership, APromiseReleasesItsCallbackOnceItHasRun) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->whenFulfilled(
      [atEnd = AtEnd::run([this] { record.push_back("released"); }), this](
          const Value&, const Ref<PLVRejected>&) { record.push_back("callback"); });
  EXPECT_EQ(happened(), Words{});
  promise->resolve(1);
  EXPECT_EQ(happened(), (Words{"callback", "released"}));
}

TEST_F(Ownership, ACallbackOfAPromiseThatIsNeverFulfilledGoesWithIt) {
  Ref<PLVPromise> promise = PLVPromise::init();
  promise->whenFulfilled([atEnd = AtEnd::run([this] { record.push_back("released"); })](
                             const Value&, const Ref<PLVRejected>&) {});
  EXPECT_EQ(happened(), Words{});
  promise = nullptr;
  EXPECT_EQ(happened(), Words{"released"});
}

TEST_F(Ownership, ALaterCallbackIsKeptByItsOwnPromise) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  promise->whenFulfilled(fulfilled("first"));
  promise->whenFulfilled([atEnd = AtEnd::run([this] { record.push_back("second released"); })](
                             const Value&, const Ref<PLVRejected>&) {});
  EXPECT_EQ(happened(), Words{});
  promise->resolve(1);
  EXPECT_EQ(happened(), (Words{"second released", "first 1 (null)"}));
}

TEST_F(Ownership, APromiseThatWaitsIsKeptAliveByWhatItWaitsFor) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  Ref<PLVPromise> promise = PLVPromise::withResolved(awaited);
  promise->whenFulfilled(fulfilled("callback"));
  promise = nullptr;
  awaited->resolve(1);
  EXPECT_EQ(happened(), Words{"callback 1 (null)"});
}

TEST_F(Ownership, APromiseThatWaitsForAnotherOneIsKeptAliveByIt) {
  const Ref<PLVPromise> inner = PLVPromise::init();
  Ref<PLVPromise> outer = PLVPromise::withResolved(inner);
  const Weak<PLVPromise> weak = outer;
  outer->whenFulfilled(fulfilled("callback"));
  outer = nullptr;
  EXPECT_TRUE(weak.load());
  inner->resolve(1);
  EXPECT_EQ(happened(), Words{"callback 1 (null)"});
  EXPECT_FALSE(weak.load());
}

TEST_F(Ownership, NobodyNeedsToHoldAChainThatRuns) {
  PLVDeferred::withResolved(1)
      ->thenResolved(returning("first", PLVPromise::withResolved(2)))
      ->thenResolved(noting("second"));
  EXPECT_EQ(happened(), (Words{"first 1", "second 2"}));
}

}  // namespace
}  // namespace JNFoundation
