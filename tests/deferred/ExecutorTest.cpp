#include <array>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "DeferredFixture.h"

#include <JNFoundation/deferred/Executor.h>

/// Work that an application's executor runs.
namespace JNFoundation {
namespace {

/// Keeps its tasks until the test says what becomes of them.
class Later {
 public:
  void execute(Block<void()> task) { _tasks.push_back(std::move(task)); }
  void runAll() {
    for (const Block<void()>& task : std::exchange(_tasks, {})) task();
  }
  void dropAll() { _tasks.clear(); }

 private:
  std::deque<Block<void()>> _tasks;
};

class Pool {
 public:
  Pool() {
    for (std::thread& thread : _threads) thread = std::thread([this] { work(); });
  }
  ~Pool() { finish(); }
  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;

  void execute(Block<void()> task) {
    {
      std::lock_guard guard(_mutex);
      _tasks.push_back(std::move(task));
    }
    _changed.notify_one();
  }
  /// Runs what is there and ends the threads.
  void finish() {
    {
      std::lock_guard guard(_mutex);
      _isFinished = true;
    }
    _changed.notify_all();
    for (std::thread& thread : _threads) {
      if (thread.joinable()) thread.join();
    }
  }

 private:
  void work() {
    std::unique_lock lock(_mutex);
    for (;;) {
      _changed.wait(lock, [this] { return _isFinished || !_tasks.empty(); });
      if (_tasks.empty()) return;
      const Block<void()> task = std::move(_tasks.front());
      _tasks.pop_front();
      lock.unlock();
      task();
      lock.lock();
    }
  }

  std::mutex _mutex;
  std::condition_variable _changed;
  std::deque<Block<void()>> _tasks;
  bool _isFinished = false;
  std::array<std::thread, 8> _threads;
};

void inlineExecutor(Block<void()> task) { task(); }

static_assert(Executor<Later>);
static_assert(Executor<std::function<void(Block<void()>)>>);
static_assert(!Executor<int>);

class ExecutorTest : public DeferredFixture {
 protected:
  static std::string errorText(const Ref<PLVDeferred>& deferred, JNDeferredErrorCode code) {
    auto* rejected = as<PLVRejected>(deferred->resolution());
    if (!rejected || !rejected->isErrorForDomainWithCode(JNDeferredErrorDomain, code)) return "";
    return text(as<NSError>(rejected->value())->localizedDescription());
  }

  Later later;
};

TEST_F(ExecutorTest, RunsTheFunctionWhenTheExecutorDoes) {
  const Deferred<std::string> deferred = runOn(later, [this] {
    record.push_back("works");
    return "done";
  });
  EXPECT_EQ(happened(), Words{});
  later.runAll();
  EXPECT_EQ(happened(), Words{"works"});
  EXPECT_EQ(deferred.untyped()->resolution(), Value("done"));
}

TEST_F(ExecutorTest, MayBeAnythingThatIsCalledWithATask) {
  EXPECT_EQ(runOn(inlineExecutor, [] { return 1; }).untyped()->resolution(), Value(1));
  const std::function<void(Block<void()>)> function = inlineExecutor;
  EXPECT_EQ(runOn(function, [] { return 2; }).untyped()->resolution(), Value(2));
  EXPECT_EQ(
      runOn([](const Block<void()>& task) { task(); }, [] { return 3; }).untyped()->resolution(),
      Value(3));
}

TEST_F(ExecutorTest, GivesTheResultOnTheMainThread) {
  std::thread::id workedOn;
  Ref<PLVDeferred> deferred;
  std::thread thread;
  deferred = runOn([&](Block<void()> task) { thread = std::thread(std::move(task)); },
                   [&] {
                     workedOn = std::this_thread::get_id();
                     return 1;
                   })
                 .thenResolved([this](int number) {
                   EXPECT_TRUE(MainQueue::isMainThread());
                   record.push_back("got " + std::to_string(number));
                 });
  const std::thread::id id = thread.get_id();
  thread.join();
  EXPECT_EQ(workedOn, id);
  EXPECT_EQ(happened(), Words{});
  turn();
  EXPECT_EQ(happened(), Words{"got 1"});
}

TEST_F(ExecutorTest, AFunctionReturnsWhatAHandlerMay) {
  EXPECT_TRUE(runOn(inlineExecutor, [] {}).untyped()->resolution().isNull());
  EXPECT_EQ(
      text(runOn(inlineExecutor, []() -> Outcome<int> { return PLVRejected::withValue("no"); })
               .untyped()
               ->resolution()),
      "PLVRejected [no]");
  const Ref<PLVDeferred> inner = PLVDeferred::init();
  const Deferred<Value> outer = runOn(inlineExecutor, [&] { return inner; });
  EXPECT_TRUE(outer.untyped()->isPaused());
  inner->resolve(1);
  EXPECT_EQ(outer.untyped()->resolution(), Value(1));
}

TEST_F(ExecutorTest, WhatTheFunctionThrowsIsAFailure) {
  const Ref<PLVDeferred> standard =
      runOn(inlineExecutor, []() -> int { throw std::runtime_error("broken"); });
  EXPECT_EQ(errorText(standard, JNDeferredErrorException), "broken");
  const Ref<PLVDeferred> raised = runOn(inlineExecutor, [] { raise("Scripted", "why"); });
  EXPECT_TRUE(isKindOf<NSException>(as<PLVRejected>(raised->resolution())->value()));
  const Ref<PLVRejected> rejected = PLVRejected::withValue("no");
  const Ref<PLVDeferred> failed = runOn(inlineExecutor, [&] { throw Rejected(rejected); });
  EXPECT_EQ(failed->resolution().object(), rejected.get());
  const Ref<PLVDeferred> unknown = runOn(inlineExecutor, [] { throw Foreign(); });
  EXPECT_NE(errorText(unknown, JNDeferredErrorUnknownException), "");
}

TEST_F(ExecutorTest, CancelledBeforeItBeginsTheWorkIsSkipped) {
  const Ref<PLVDeferred> deferred = runOn(later, [this] { record.push_back("unreachable"); });
  deferred->cancelWithValue("stop");
  EXPECT_EQ(text(deferred->resolution()), "PLVRejected (CANCELLED) [stop]");
  later.runAll();
  EXPECT_EQ(text(deferred->resolution()), "PLVRejected (CANCELLED) [stop]");
}

TEST_F(ExecutorTest, CancelledWhileItRunsTheTokenTells) {
  Ref<PLVDeferred> deferred;
  deferred = runOn(later, [&](const CancellationToken& token) {
    record.push_back(token.isCancelled() ? "cancelled" : "wanted");
    deferred->cancel();
    record.push_back(token.isCancelled() ? "cancelled" : "wanted");
    return "dropped";
  });
  later.runAll();
  EXPECT_EQ(happened(), (Words{"wanted", "cancelled"}));
  EXPECT_TRUE(deferred->isCancelled());
}

TEST_F(ExecutorTest, ThatDropsItsTaskRejects) {
  const Ref<PLVDeferred> deferred = runOn(later, [this] { record.push_back("unreachable"); });
  EXPECT_FALSE(deferred->isResolved());
  later.dropAll();
  EXPECT_EQ(errorText(deferred, JNDeferredErrorNotRun),
            "The executor dropped the work without running it.");
}

TEST_F(ExecutorTest, ThatDropsItsTaskAtOnceRejectsBeforeTheDeferredIsReturned) {
  const Ref<PLVDeferred> deferred =
      runOn([](const Block<void()>&) {}, [this] { record.push_back("unreachable"); });
  EXPECT_NE(errorText(deferred, JNDeferredErrorNotRun), "");
}

TEST_F(ExecutorTest, ThatDropsCancelledWorkChangesNothing) {
  const Ref<PLVDeferred> deferred = runOn(later, [] {});
  deferred->cancel();
  later.dropAll();
  EXPECT_TRUE(deferred->isCancelled());
}

TEST_F(ExecutorTest, ThatThrowsRejectsWithWhatItThrew) {
  const auto full = [](const Block<void()>&) { throw std::runtime_error("full"); };
  const Ref<PLVDeferred> deferred = runOn(full, [this] { record.push_back("unreachable"); });
  EXPECT_EQ(errorText(deferred, JNDeferredErrorException), "full");
}

TEST_F(ExecutorTest, ThatRunsItsTaskTwiceRunsTheFunctionOnce) {
  const auto twice = [](const Block<void()>& task) {
    task();
    task();
  };
  runOn(twice, [this] { record.push_back("works"); });
  EXPECT_EQ(happened(), Words{"works"});
}

TEST_F(ExecutorTest, TheFunctionGoesBeforeItsResultIsSeen) {
  Ref<PLVDeferred> deferred =
      runOn(later, [atEnd = AtEnd::run([this] { record.push_back("function gone"); })] {});
  deferred->thenResolved(noting("seen"));
  later.runAll();
  EXPECT_EQ(happened(), (Words{"function gone", "seen (null)"}));
}

TEST_F(ExecutorTest, AFunctionMayBeMovedOnly) {
  const Deferred<int> deferred =
      runOn(later, [number = std::make_unique<int>(7)] { return *number; });
  later.runAll();
  EXPECT_EQ(deferred.untyped()->resolution(), Value(7));
}

TEST_F(ExecutorTest, WhatAHandlerThrowsIsLeftToTheMainQueue) {
  const Ref<PLVDeferred> deferred = runOn(later, [] {});
  deferred->thenResolved([](const Value&) -> Value { throw Foreign(); });
  later.runAll();
  EXPECT_THROW(turn(), Foreign);
}

TEST_F(ExecutorTest, DiesWithDroppedWorkOnAnotherThread) {
  auto elsewhere = std::make_unique<Later>();
  const Ref<PLVDeferred> deferred = runOn(*elsewhere, [] {});
  std::thread([&] { elsewhere = nullptr; }).join();
  EXPECT_FALSE(deferred->isResolved());
  turn();
  EXPECT_NE(errorText(deferred, JNDeferredErrorNotRun), "");
}

TEST_F(ExecutorTest, EightThreadsWorkWhileSomeIsCancelled) {
  constexpr int count = 2000;
  std::atomic<int> worked{0};
  std::vector<Ref<PLVDeferred>> deferreds;
  {
    Pool pool;
    for (int i = 0; i < count; ++i) {
      deferreds.push_back(runOn(pool, [&worked, i](const CancellationToken& token) -> Outcome<int> {
        ++worked;
        if (token.isCancelled()) return PLVRejected::withValue("seen");
        if (i % 5 == 0) throw std::runtime_error("fifth");
        return i;
      }));
      if (i % 3 == 0) deferreds.back()->cancel();
      if (i % 100 == 0) turn();
    }
  }
  for (int i = 0; i < 3; ++i) turn();
  EXPECT_LE(worked.load(), count);
  for (int i = 0; i < count; ++i) {
    const Value& outcome = deferreds[static_cast<std::size_t>(i)]->resolution();
    // Cancelling one that has its outcome makes a cancellation of that.
    if (i % 3 == 0) {
      EXPECT_TRUE(isCancellation(outcome)) << i;
    } else if (i % 5 == 0) {
      EXPECT_TRUE(isKindOf<PLVRejected>(outcome)) << i;
    } else {
      EXPECT_EQ(outcome, Value(i));
    }
  }
}

TEST_F(ExecutorTest, ACoroutineGoesToWorkAndComesBack) {
  Pool pool;
  const auto coroutine = [](Pool& pool) -> Deferred<int> {
    int sum = 0;
    for (int i = 1; i <= 10; ++i) {
      sum += co_await runOn(pool, [i] { return i; });
      EXPECT_TRUE(MainQueue::isMainThread());
    }
    co_return sum;
  };
  const Deferred<int> deferred = coroutine(pool);
  NSRunLoop& loop = *NSRunLoop::currentRunLoop();
  while (!deferred.isResolved()) {
    loop.runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantFuture());
  }
  EXPECT_EQ(deferred.untyped()->resolution(), Value(55));
}

}  // namespace
}  // namespace JNFoundation
