#include <array>
#include <thread>

#include "DeferredFixture.h"

#include <JNFoundation/deferred/Coroutine.h>

/// Coroutines that begin, wait and are cancelled on other threads than the main one.
namespace JNFoundation {
namespace {

class CoroutineThreadsTest : public DeferredFixture {
 protected:
  template <class Action>
  static void elsewhere(Action action) {
    std::thread(std::move(action)).join();
  }

  static std::string where() { return MainQueue::isMainThread() ? "main" : "elsewhere"; }

  Ref<PLVDeferred> telling(Ref<PLVDeferred> awaited) {
    record.push_back("begun " + where());
    const Value value = co_await std::move(awaited);
    record.push_back("got " + text(value) + " " + where());
    co_return value;
  }
};

TEST_F(CoroutineThreadsTest, AnAwaitElsewhereGoesOnOnTheMainThread) {
  const Ref<PLVDeferred> awaited = PLVDeferred::withResolved(1);
  Ref<PLVDeferred> deferred;
  elsewhere([&] { deferred = telling(awaited); });
  EXPECT_EQ(happened(), Words{"begun elsewhere"}) << "the outcome is there, and is waited for";
  turn();
  EXPECT_EQ(happened(), Words{"got 1 main"});
  EXPECT_EQ(deferred->resolution(), Value(1));
}

TEST_F(CoroutineThreadsTest, OneThatNeverAwaitsElsewhereResolvesOnTheMainQueue) {
  Ref<PLVDeferred> deferred;
  elsewhere([&] { deferred = [](Value value) -> Ref<PLVDeferred> { co_return value; }("done"); });
  EXPECT_FALSE(deferred->isResolved());
  turn();
  EXPECT_EQ(deferred->resolution(), Value("done"));
}

TEST_F(CoroutineThreadsTest, AnAwaitOfAPromiseElsewhereGoesOnOnTheMainThread) {
  const Ref<PLVPromise> promise = PLVPromise::withResolved(1);
  Ref<PLVDeferred> deferred;
  elsewhere([&] {
    deferred = [](Ref<PLVPromise> promise) -> Ref<PLVDeferred> {
      const Value value = co_await std::move(promise);
      EXPECT_TRUE(MainQueue::isMainThread());
      co_return value;
    }(promise);
  });
  turn();
  EXPECT_EQ(deferred->resolution(), Value(1));
}

TEST_F(CoroutineThreadsTest, AnAwaitStandsBehindTheStepsThatAreOnTheirWay) {
  const Ref<PLVDeferred> awaited = PLVDeferred::withResolved(1);
  Ref<PLVDeferred> deferred;
  elsewhere([&] {
    awaited->thenResolved(returning("first", 2));
    deferred = telling(awaited);
  });
  const Ref<PLVDeferred> behind = telling(awaited);
  EXPECT_EQ(happened(), (Words{"begun elsewhere", "begun main"}));
  turn();
  EXPECT_EQ(happened(), (Words{"first 1", "got 2 main", "got 2 main"}));
}

TEST_F(CoroutineThreadsTest, CancelledElsewhereIsCancelledOnTheMainThread) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  const Ref<PLVDeferred> deferred = [](Words& record,
                                       Ref<PLVDeferred> awaited) -> Ref<PLVDeferred> {
    try {
      co_await awaited;
    } catch (const Cancelled& cancelled) {
      record.push_back("cancelled " + text(cancelled.rejected()->value()) + " " + where());
    }
    co_return nullptr;
  }(record, awaited);
  elsewhere([&] { deferred->cancelWithValue("from afar"); });
  EXPECT_EQ(happened(), Words{});
  turn();
  EXPECT_EQ(happened(), Words{"cancelled from afar main"});
}

TEST_F(CoroutineThreadsTest, CancelledBeforeItsAwaitArrivedIsThrownThere) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  Ref<PLVDeferred> deferred;
  elsewhere([&] { deferred = telling(awaited); });
  deferred->cancelWithValue("stop");
  EXPECT_FALSE(awaited->isCancelled());
  EXPECT_EQ(happened(), Words{"begun elsewhere"});
  turn();
  EXPECT_TRUE(awaited->isCancelled());
  EXPECT_EQ(happened(), Words{}) << "the await threw";
  EXPECT_EQ(text(deferred->resolution()), "PLVRejected (CANCELLED) [stop]");
}

TEST_F(CoroutineThreadsTest, AFrameThatDiesWithADeferredElsewhereDiesOnTheMainThread) {
  Ref<PLVDeferred> awaited = PLVDeferred::init();
  const Ref<PLVDeferred> deferred = [](Words& record,
                                       Ref<PLVDeferred> awaited) -> Ref<PLVDeferred> {
    const Ref<AtEnd> atEnd = AtEnd::run([&record] { record.push_back("gone " + where()); });
    co_return co_await std::move(awaited);
  }(record, awaited);
  elsewhere([last = std::move(awaited)]() mutable { last = nullptr; });
  EXPECT_EQ(happened(), Words{});
  turn();
  EXPECT_EQ(happened(), Words{"gone main"});
  EXPECT_TRUE(deferred->isCancelled());
}

TEST_F(CoroutineThreadsTest, CancelledBetweenTheEndOfADeferredElsewhereAndThatOfItsFrame) {
  Ref<PLVDeferred> awaited = PLVDeferred::init();
  const Ref<PLVDeferred> deferred = [](Ref<PLVDeferred> awaited) -> Ref<PLVDeferred> {
    co_return co_await std::move(awaited);
  }(awaited);
  elsewhere([last = std::move(awaited)]() mutable { last = nullptr; });
  deferred->cancelWithValue("stop");
  EXPECT_EQ(text(deferred->resolution()), "PLVRejected (CANCELLED) [stop]");
  turn();
}

/// Goes on on a thread of its own.
struct OnOwnThread {
  std::thread& thread;
  bool await_ready() const noexcept { return false; }
  void await_suspend(std::coroutine_handle<> handle) const {
    // The new thread may be done with the frame, and with this in it, before it is assigned.
    std::thread& own = thread;
    own = std::thread([handle] { handle.resume(); });
  }
  void await_resume() const noexcept {}
};

TEST_F(CoroutineThreadsTest, OneThatChangesThreadsByItselfReturnsToTheMainThreadAtItsNextAwait) {
  std::thread thread;
  const Ref<PLVDeferred> gate = PLVDeferred::init(), next = PLVDeferred::withResolved(2);
  const auto coroutine = [&](Ref<PLVDeferred> gate, Ref<PLVDeferred> next) -> Ref<PLVDeferred> {
    co_await gate;
    co_await OnOwnThread{thread};
    EXPECT_FALSE(MainQueue::isMainThread());
    const Value value = co_await next;
    EXPECT_TRUE(MainQueue::isMainThread());
    co_return value;
  };
  const Ref<PLVDeferred> deferred = coroutine(gate, next);
  gate->resolve(1);
  thread.join();
  EXPECT_FALSE(deferred->isResolved());
  turn();
  EXPECT_EQ(deferred->resolution(), Value(2));
}

TEST_F(CoroutineThreadsTest, OneThatEndsOnAThreadOfItsOwnResolvesOnTheMainQueue) {
  std::thread thread;
  const Ref<PLVDeferred> gate = PLVDeferred::init();
  const auto coroutine = [&](Ref<PLVDeferred> gate) -> Ref<PLVDeferred> {
    co_await gate;
    co_await OnOwnThread{thread};
    co_return "from afar";
  };
  const Ref<PLVDeferred> deferred = coroutine(gate);
  gate->resolve(1);
  thread.join();
  EXPECT_FALSE(deferred->isResolved());
  turn();
  EXPECT_EQ(deferred->resolution(), Value("from afar"));
}

TEST_F(CoroutineThreadsTest, CancellingOneThatRunsElsewhereReachesItsNextAwait) {
  for (int round = 0; round < 200; ++round) {
    std::thread thread;
    const Ref<PLVDeferred> next = PLVDeferred::init();
    const auto coroutine = [&](Ref<PLVDeferred> next) -> Ref<PLVDeferred> {
      co_await OnOwnThread{thread};
      try {
        co_await next;
      } catch (const Cancelled&) {
        record.push_back("cancelled");
      }
      co_return nullptr;
    };
    const Ref<PLVDeferred> deferred = coroutine(next);
    deferred->cancelWithValue("stop");
    thread.join();
    turn();
    turn();
    EXPECT_EQ(happened(), Words{"cancelled"});
    EXPECT_TRUE(next->isCancelled());
  }
}

TEST_F(CoroutineThreadsTest, EightThreadsBeginCoroutinesOnOneDeferred) {
  constexpr int coroutinesPerThread = 200;
  const Ref<PLVDeferred> gate = PLVDeferred::init(), open = PLVDeferred::withResolved(1);
  std::array<std::vector<Ref<PLVDeferred>>, 8> made;
  std::array<std::thread, 8> threads;
  const auto coroutine = [](Ref<PLVDeferred> gate, Ref<PLVDeferred> open) -> Ref<PLVDeferred> {
    std::int64_t sum = 0;
    for (int i = 0; i < 3; ++i) {
      sum += (co_await gate).integerValue();
      EXPECT_TRUE(MainQueue::isMainThread());
      sum += (co_await open).integerValue();
    }
    co_return sum;
  };
  for (std::size_t i = 0; i < threads.size(); ++i) {
    threads[i] = std::thread([&, i] {
      for (int n = 0; n < coroutinesPerThread; ++n) made[i].push_back(coroutine(gate, open));
    });
  }
  gate->resolve(10);
  for (int i = 0; i < 50; ++i) turn();
  for (std::thread& thread : threads) thread.join();
  for (int i = 0; i < 10; ++i) turn();
  for (const auto& deferreds : made) {
    for (const Ref<PLVDeferred>& deferred : deferreds) EXPECT_EQ(deferred->resolution(), Value(33));
  }
}

}  // namespace
}  // namespace JNFoundation
