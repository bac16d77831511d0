#include <array>
#include <thread>

#include "DeferredFixture.h"

namespace JNFoundation {
namespace {

class PLVDeferredThreadsTest : public DeferredFixture {
 protected:
  /// Runs the action on another thread and waits for its end.
  template <class Action>
  static void elsewhere(Action action) {
    std::thread(std::move(action)).join();
  }

  template <class Action>
  static void onEightThreads(Action action) {
    std::array<std::thread, 8> threads;
    for (int i = 0; i < 8; ++i) threads[i] = std::thread(action, i);
    for (std::thread& thread : threads) thread.join();
  }
};

TEST_F(PLVDeferredThreadsTest, ResolveElsewhereHappensOnTheMainQueue) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenEither(noting("step"));
  elsewhere([deferred] { deferred->resolve("from afar"); });
  EXPECT_FALSE(deferred->isResolved());
  EXPECT_EQ(happened(), Words{});
  turn();
  EXPECT_EQ(happened(), Words{"step from afar"});
}

TEST_F(PLVDeferredThreadsTest, RejectElsewhereHappensOnTheMainQueue) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  elsewhere([deferred] { deferred->reject("from afar"); });
  EXPECT_FALSE(deferred->isResolved());
  turn();
  EXPECT_EQ(text(deferred->resolution()), "PLVRejected [from afar]");
}

TEST_F(PLVDeferredThreadsTest, CancelElsewhereHappensOnTheMainQueue) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init(), other = PLVDeferred::init();
  elsewhere([deferred, other] {
    deferred->cancelWithValue("from afar");
    other->cancel();
  });
  EXPECT_FALSE(deferred->isCancelled());
  EXPECT_FALSE(deferred->isResolved());
  turn();
  EXPECT_EQ(text(deferred->resolution()), "PLVRejected (CANCELLED) [from afar]");
  EXPECT_EQ(text(other->resolution()), "PLVRejected (CANCELLED) [(null)]");
}

TEST_F(PLVDeferredThreadsTest, AStepAddedElsewhereToAResolvedDeferredRunsLaterOnTheMainThread) {
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved(1);
  std::thread::id ranOn;
  elsewhere([&] {
    EXPECT_EQ(deferred->thenResolved([&](const Value& value) {
      ranOn = std::this_thread::get_id();
      return value;
    }),
              deferred);
  });
  EXPECT_EQ(ranOn, std::thread::id());
  turn();
  EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST_F(PLVDeferredThreadsTest, ADeferredMadeElsewhereIsNotYetResolved) {
  Ref<PLVDeferred> resolved, rejected, by;
  const Ref<PLVDeferred> source = PLVDeferred::withResolved(3);
  elsewhere([&] {
    resolved = PLVDeferred::withResolved(1);
    rejected = PLVDeferred::withRejected(2);
    by = PLVDeferred::resolvedBy(source);
  });
  EXPECT_FALSE(resolved->isResolved());
  EXPECT_FALSE(rejected->isResolved());
  EXPECT_FALSE(by->isResolved());
  turn();
  EXPECT_EQ(resolved->resolution(), Value(1));
  EXPECT_EQ(text(rejected->resolution()), "PLVRejected [2]");
  EXPECT_EQ(by->resolution(), Value(3));
}

TEST_F(PLVDeferredThreadsTest, StepsAddedElsewhereStandBeforeThoseAddedLaterOnTheMainThread) {
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved(1);
  elsewhere([&] {
    deferred->thenResolved(noting("first"))
        ->thenResolved(noting("second"))
        ->thenResolved(noting("third"));
  });
  deferred->thenResolved(noting("fourth"));
  EXPECT_EQ(happened(), Words{}) << "the main thread's step waits behind the others";
  turn();
  EXPECT_EQ(happened(), (Words{"first 1", "second 1", "third 1", "fourth 1"}));
  deferred->thenResolved(noting("fifth"));
  EXPECT_EQ(happened(), Words{"fifth 1"}) << "nothing is on its way any more";
}

TEST_F(PLVDeferredThreadsTest, AHandlerThatAddsAStepWhileAdditionsAreOnTheirWayQueuesBehindThem) {
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved(1);
  elsewhere([&] {
    deferred->thenResolved([&](const Value& value) {
      record.push_back("first");
      deferred->thenResolved(noting("third"));
      return value;
    });
    deferred->thenResolved(noting("second"));
  });
  turn();
  EXPECT_EQ(happened(), (Words{"first", "second 1"}));
  turn();
  EXPECT_EQ(happened(), Words{"third 1"});
}

TEST_F(PLVDeferredThreadsTest, WaitingForADeferredQueuesBehindTheStepsOnTheirWayToIt) {
  const Ref<PLVDeferred> inner = PLVDeferred::withResolved(1);
  elsewhere([&] { inner->thenResolved(returning("inner", 2)); });
  const Ref<PLVDeferred> outer = PLVDeferred::withResolved(inner);
  EXPECT_TRUE(outer->isPaused());
  outer->thenResolved(noting("outer"));
  turn();
  EXPECT_EQ(happened(), (Words{"inner 1", "outer 2"}));
}

TEST_F(PLVDeferredThreadsTest, CallsOfOneThreadTakeEffectInTheirOrder) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  elsewhere([&] {
    deferred->thenEither(noting("before"));
    deferred->resolve(1);
    deferred->cancelWithValue("too late for the step before");
    deferred->thenEither(noting("after"));
  });
  turn();
  EXPECT_EQ(happened(),
            (Words{"before 1", "after PLVRejected (CANCELLED) [too late for the step before]"}));
}

TEST_F(PLVDeferredThreadsTest, WhatWaitsOnTheMainQueueKeepsTheDeferredAndTheValueAlive) {
  Ref<PLVDeferred> deferred = PLVDeferred::init();
  const Weak<PLVDeferred> weak = deferred;
  deferred->thenEither(noting("step"));
  std::thread([moved = std::move(deferred)] { moved->resolve(NSString::fromText("kept")); }).join();
  EXPECT_TRUE(weak.load());
  turn();
  EXPECT_EQ(happened(), Words{"step kept"});
  EXPECT_FALSE(weak.load());
}

TEST_F(PLVDeferredThreadsTest, EightThreadsAddStepsEachInItsOwnOrder) {
  constexpr int each = 200;
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved(0);
  std::array<std::vector<int>, 8> ran;
  onEightThreads([&](int thread) {
    for (int i = 0; i < each; ++i) {
      deferred->thenResolved([&ran, thread, i](const Value& value) {
        ran[thread].push_back(i);
        return value.integerValue() + 1;
      });
    }
  });
  EXPECT_EQ(deferred->resolution(), Value(0));
  turn();
  EXPECT_EQ(deferred->resolution(), Value(8 * each));
  for (const std::vector<int>& steps : ran) {
    ASSERT_EQ(steps.size(), static_cast<std::size_t>(each));
    for (int i = 0; i < each; ++i) ASSERT_EQ(steps[i], i);
  }
}

TEST_F(PLVDeferredThreadsTest, OfEightThreadsThatResolveOneWins) {
  for (int round = 0; round < 50; ++round) {
    const Ref<PLVDeferred> deferred = PLVDeferred::init();
    int outcomes = 0;
    Value first;
    deferred->thenEither([&](const Value& value) {
      ++outcomes;
      return first = value;
    });
    onEightThreads([&](int thread) {
      if (thread % 2) {
        deferred->resolve(thread);
      } else {
        deferred->reject(thread);
      }
    });
    EXPECT_EQ(outcomes, 0);
    turn();
    EXPECT_EQ(outcomes, 1);
    EXPECT_TRUE(deferred->resolution().isIdentical(first));
  }
}

TEST_F(PLVDeferredThreadsTest, EightThreadsMayDoEverythingAtOnceWhileTheMainThreadRuns) {
  constexpr int deferredCount = 64;
  std::vector<Ref<PLVDeferred>> deferreds;
  std::atomic<int> handled{0};
  for (int i = 0; i < deferredCount; ++i) deferreds.push_back(PLVDeferred::init());
  std::atomic<int> ended{0};
  std::array<std::thread, 8> threads;
  for (int i = 0; i < 8; ++i) {
    threads[i] = std::thread([&, i] {
      for (int j = 0; j < deferredCount; ++j) {
        const Ref<PLVDeferred>& deferred = deferreds[(i * 7 + j) % deferredCount];
        for (int step = 0; step < 4; ++step) {
          deferred->thenEither([&](const Value& value) {
            ++handled;
            EXPECT_TRUE(MainQueue::isMainThread());
            return value;
          });
        }
        if (j % 3 == 0) deferred->resolve(i);
        if (j % 3 == 1) deferred->reject(i);
        if (j % 3 == 2) deferred->cancelWithValue(i);
      }
      ++ended;
    });
  }
  while (ended < 8) turn();
  for (std::thread& thread : threads) thread.join();
  turn();
  EXPECT_EQ(handled, 8 * deferredCount * 4);
  for (const Ref<PLVDeferred>& deferred : deferreds) EXPECT_TRUE(deferred->isResolved());
}

TEST_F(PLVDeferredThreadsTest, ADeferredThatDiesElsewhereHasItsHandlersReleasedOnTheMainThread) {
  std::thread::id releasedOn;
  Ref<PLVDeferred> deferred = PLVDeferred::init();
  const Weak<PLVDeferred> weak = deferred;
  deferred->thenResolved([atEnd = AtEnd::run([&] { releasedOn = std::this_thread::get_id(); })](
                             const Value& value) { return value; });
  std::thread([moved = std::move(deferred)]() mutable { moved = nullptr; }).join();
  EXPECT_FALSE(weak.load());
  EXPECT_EQ(releasedOn, std::thread::id());
  turn();
  EXPECT_EQ(releasedOn, std::this_thread::get_id());
}

}  // namespace
}  // namespace JNFoundation
