#include <gtest/gtest.h>
#include <vector>

#include "DeferredFixture.h"

#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/deferred/PLVPromise.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>

/// Long and deep arrangements: they complete in the order that nested calls would give, and are
/// destroyed, on the native stack of an ordinary thread.
namespace JNFoundation {
namespace {

class DeepChain : public ::testing::Test {
 protected:
  MainQueueScope scope;
};

TEST_F(DeepChain, AMillionDeferredsEachResolvedByTheOneBeforeCompleteInOrder) {
  std::vector<Ref<PLVDeferred>> links;
  links.reserve(million);
  links.push_back(PLVDeferred::init());
  std::vector<int> order;
  order.reserve(2 * million);
  for (int i = 1; i < million; ++i) {
    const Ref<PLVDeferred>& before = links.back();
    Ref<PLVDeferred> next = PLVDeferred::resolvedBy(before);
    // Runs once the nested call into the next link has returned.
    before->thenResolved([&order, i](const Value& value) {
      order.push_back(i);
      return value;
    });
    links.push_back(std::move(next));
  }
  links.front()->resolve("end");
  EXPECT_EQ(links.back()->resolution(), Value("end"));
  ASSERT_EQ(order.size(), static_cast<std::size_t>(million - 1));
  // The innermost call is the last link's, so the handlers behind run from the end to the start.
  for (int i = 1; i < million; ++i) ASSERT_EQ(order[i - 1], million - i);
}

TEST_F(DeepChain, AMillionDeferredsThatNobodyElseHoldsAreResolvedAndDestroyed) {
  Ref<PLVDeferred> first = PLVDeferred::init();
  Ref<PLVDeferred> last = first;
  for (int i = 1; i < million; ++i) last = PLVDeferred::resolvedBy(last);
  EXPECT_FALSE(last->isResolved());
  first->resolve(7);
  EXPECT_EQ(last->resolution(), Value(7));
}

TEST_F(DeepChain, AMillionPendingDeferredsThatHoldEachOtherAreDestroyed) {
  Ref<PLVDeferred> first = PLVDeferred::init();
  Ref<PLVDeferred> last = first;
  for (int i = 1; i < million; ++i) last = PLVDeferred::resolvedBy(last);
  Weak<PLVDeferred> weak = last;
  last = nullptr;
  EXPECT_TRUE(weak.load());
  first = nullptr;
  EXPECT_FALSE(weak.load());
}

TEST_F(DeepChain, AMillionStepsThatEachReturnAResolvedDeferredRunInOrder) {
  Ref<PLVDeferred> deferred = PLVDeferred::init();
  int steps = 0;
  for (int i = 0; i < million; ++i) {
    deferred->thenResolved([&steps, i](const Value& value) -> Value {
      EXPECT_EQ(steps, i);
      ++steps;
      return PLVDeferred::withResolved(value.integerValue() + 1);
    });
  }
  deferred->resolve(0);
  EXPECT_EQ(steps, million);
  EXPECT_EQ(deferred->resolution(), Value(million));
}

TEST_F(DeepChain, AMillionStepsThatEachReturnAFulfilledPromiseRunInOrder) {
  Ref<PLVDeferred> deferred = PLVDeferred::init();
  for (int i = 0; i < million; ++i) {
    deferred->thenResolved([](const Value& value) -> Value {
      return PLVPromise::withResolved(value.integerValue() + 1);
    });
  }
  deferred->resolve(0);
  EXPECT_EQ(deferred->resolution(), Value(million));
}

TEST_F(DeepChain, AMillionPlainStepsOfOneDeferredRunAndAreDestroyed) {
  Ref<PLVDeferred> deferred = PLVDeferred::init();
  for (int i = 0; i < million; ++i) {
    deferred->thenResolved([](const Value& value) { return value.integerValue() + 1; });
  }
  Ref<PLVDeferred> pending = PLVDeferred::init();
  for (int i = 0; i < million; ++i) {
    pending->thenResolved([](const Value& value) { return value; });
  }
  deferred->resolve(0);
  EXPECT_EQ(deferred->resolution(), Value(million));
}

TEST_F(DeepChain, AMillionPromisesInARowAreFulfilled) {
  Ref<PLVPromise> first = PLVPromise::init();
  Ref<PLVPromise> last = first;
  for (int i = 1; i < million; ++i) last = last->promisedResolution();
  first->resolve("end");
  EXPECT_TRUE(last->isFulfilled());
  EXPECT_EQ(last->resolution(), Value("end"));
}

TEST_F(DeepChain, CancellingTheLastOfAMillionPromisesReachesTheFirst) {
  std::vector<Ref<PLVPromise>> promises{PLVPromise::init()};
  for (int i = 1; i < million; ++i) promises.push_back(promises.back()->promisedResolution());
  promises.back()->cancel();
  EXPECT_TRUE(isCancellation(promises.front()->resolution()));
  EXPECT_TRUE(isCancellation(promises.back()->resolution()));
}

TEST_F(DeepChain, CancellingTheOutermostOfAMillionWaitingDeferredsReachesTheInnermost) {
  Ref<PLVDeferred> innermost = PLVDeferred::init();
  Ref<PLVDeferred> outer = innermost;
  for (int i = 1; i < million; ++i) outer = PLVDeferred::withResolved(outer);
  outer->cancelWithValue("enough");
  EXPECT_TRUE(isCancellation(innermost->resolution()));
  EXPECT_TRUE(isCancellation(outer->resolution()));
}

TEST_F(DeepChain, HandlersThatCallIntoOtherChainsWithoutEndArePutOffButAllRun) {
  std::vector<Ref<PLVDeferred>> chains;
  constexpr int depth = 100'000;
  for (int i = 0; i <= depth; ++i) chains.push_back(PLVDeferred::init());
  int ran = 0;
  for (int i = 0; i < depth; ++i) {
    chains[i]->thenResolved([&, i](const Value& value) {
      ++ran;
      chains[i + 1]->resolve(value);
      return value;
    });
  }
  chains[0]->resolve(1);
  EXPECT_EQ(ran, depth);
  EXPECT_TRUE(chains[depth]->isResolved());
}

}  // namespace
}  // namespace JNFoundation
