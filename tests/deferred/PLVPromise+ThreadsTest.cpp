#include <array>
#include <thread>

#include "DeferredFixture.h"

namespace JNFoundation {
namespace {

class PLVPromiseThreadsTest : public DeferredFixture {
 protected:
  template <class Action>
  static void elsewhere(Action action) {
    std::thread(std::move(action)).join();
  }
};

TEST_F(PLVPromiseThreadsTest, OutcomesElsewhereHappenOnTheMainQueue) {
  const Ref<PLVPromise> resolved = PLVPromise::init(), rejected = PLVPromise::init();
  const Ref<PLVPromise> cancelled = PLVPromise::init();
  elsewhere([&] {
    resolved->resolve(1);
    rejected->reject(2);
    cancelled->cancelWithValue(3);
  });
  for (const Ref<PLVPromise>& promise : {resolved, rejected, cancelled}) {
    EXPECT_FALSE(promise->isFulfilled());
  }
  turn();
  EXPECT_EQ(resolved->resolution(), Value(1));
  EXPECT_EQ(text(rejected->resolution()), "PLVRejected [2]");
  EXPECT_EQ(text(cancelled->resolution()), "PLVRejected (CANCELLED) [3]");
}

TEST_F(PLVPromiseThreadsTest, ACallbackGivenElsewhereRunsOnTheMainThread) {
  const Ref<PLVPromise> promise = PLVPromise::withResolved(1);
  std::thread::id ranOn;
  elsewhere([&] {
    promise->whenFulfilled([&](const Value& value, const Ref<PLVRejected>&) {
      EXPECT_EQ(value, Value(1));
      ranOn = std::this_thread::get_id();
    });
  });
  EXPECT_EQ(ranOn, std::thread::id());
  turn();
  EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST_F(PLVPromiseThreadsTest, ListenersAskedForElsewhereAreEnlistedOnlyLater) {
  const Ref<PLVPromise> promise = PLVPromise::withResolved(1);
  Ref<PLVDeferred> deferred;
  Ref<PLVPromise> derived, out;
  elsewhere([&] {
    deferred = promise->deferredResolution();
    derived = promise->promisedResolution();
    promise->getPromisedResolution(&out);
  });
  EXPECT_FALSE(deferred->isResolved());
  EXPECT_FALSE(derived->isFulfilled());
  EXPECT_FALSE(out->isFulfilled());
  turn();
  EXPECT_EQ(deferred->resolution(), Value(1));
  EXPECT_EQ(derived->resolution(), Value(1));
  EXPECT_EQ(out->resolution(), Value(1));
}

TEST_F(PLVPromiseThreadsTest, APromiseMadeElsewhereIsNotYetFulfilled) {
  const Ref<PLVDeferred> source = PLVDeferred::withResolved(3);
  Ref<PLVPromise> resolved, rejected, by;
  elsewhere([&] {
    resolved = PLVPromise::withResolved(1);
    rejected = PLVPromise::withRejected(2);
    by = PLVPromise::resolvedBy(source);
  });
  for (const Ref<PLVPromise>& promise : {resolved, rejected, by}) {
    EXPECT_FALSE(promise->isFulfilled());
  }
  turn();
  EXPECT_EQ(resolved->resolution(), Value(1));
  EXPECT_EQ(text(rejected->resolution()), "PLVRejected [2]");
  EXPECT_EQ(by->resolution(), Value(3));
}

TEST_F(PLVPromiseThreadsTest, WhenFulfilledResolveElsewhereTellsTheTargetLater) {
  const Ref<PLVPromise> promise = PLVPromise::withResolved(1);
  const Ref<PLVDeferred> target = PLVDeferred::init();
  elsewhere([&] { promise->whenFulfilledResolve(target); });
  EXPECT_FALSE(target->isResolved());
  turn();
  EXPECT_EQ(target->resolution(), Value(1));
}

TEST_F(PLVPromiseThreadsTest, CallsOfOneThreadTakeEffectInTheirOrder) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  elsewhere([&] {
    promise->whenFulfilled(fulfilled("first"));
    promise->resolve(1);
    promise->cancelWithValue(2);
    promise->whenFulfilled(fulfilled("second"));
  });
  turn();
  EXPECT_EQ(happened(), (Words{"first 1 (null)", "second (null) PLVRejected (CANCELLED) [2]"}));
}

TEST_F(PLVPromiseThreadsTest, EightThreadsMayListenAndSettleAtOnce) {
  constexpr int promiseCount = 32;
  std::vector<Ref<PLVPromise>> promises;
  for (int i = 0; i < promiseCount; ++i) promises.push_back(PLVPromise::init());
  std::atomic<int> told{0};
  std::atomic<int> ended{0};
  std::array<std::thread, 8> threads;
  for (int i = 0; i < 8; ++i) {
    threads[i] = std::thread([&, i] {
      for (int j = 0; j < promiseCount; ++j) {
        const Ref<PLVPromise>& promise = promises[(i * 5 + j) % promiseCount];
        promise->whenFulfilled([&](const Value&, const Ref<PLVRejected>&) { ++told; });
        promise->deferredResolution()->thenEither([&](const Value& value) {
          ++told;
          return value;
        });
        if (j % 3 == 0) promise->resolve(i);
        if (j % 3 == 1) promise->reject(i);
        if (j % 3 == 2) promise->cancelWithValue(i);
      }
      ++ended;
    });
  }
  while (ended < 8) turn();
  for (std::thread& thread : threads) thread.join();
  // A step given elsewhere to a listener's chain stands behind its enlistment.
  turn();
  EXPECT_EQ(told, 8 * promiseCount * 2);
  for (const Ref<PLVPromise>& promise : promises) EXPECT_TRUE(promise->isFulfilled());
}

TEST_F(PLVPromiseThreadsTest,
       APromiseThatDiesElsewhereHasItsCallbackAndListenersReleasedOnTheMainThread) {
  std::thread::id callbackReleasedOn, listenerReleasedOn;
  Ref<PLVPromise> promise = PLVPromise::init();
  promise->whenFulfilled([atEnd = AtEnd::run([&] {
                            callbackReleasedOn = std::this_thread::get_id();
                          })](const Value&, const Ref<PLVRejected>&) {});
  promise->enlistResolvable(Listener::answering([atEnd = AtEnd::run([&] {
                                                   listenerReleasedOn = std::this_thread::get_id();
                                                 })](const Value&) {}));
  std::thread([moved = std::move(promise)]() mutable { moved = nullptr; }).join();
  EXPECT_EQ(callbackReleasedOn, std::thread::id());
  EXPECT_EQ(listenerReleasedOn, std::thread::id());
  turn();
  EXPECT_EQ(callbackReleasedOn, std::this_thread::get_id());
  EXPECT_EQ(listenerReleasedOn, std::this_thread::get_id());
}

}  // namespace
}  // namespace JNFoundation
