#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

#include "tests/platform/store/WorkerPool.h"

#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/store/impl/ContextQueue.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation {
namespace {

using impl::ContextQueue;
using testing::HeldTasks;
using testing::runTurn;
using testing::runUntil;
using testing::WorkerPool;

Ref<ContextQueue> queueOn(NSManagedObjectContextExecutor executor) {
  return makeObject<ContextQueue>(std::move(executor));
}

class ContextQueueTest : public ::testing::Test {
 protected:
  Block<void()> noting(char letter) {
    return [this, letter] { order += letter; };
  }

  MainQueueScope mainQueue;
  std::string order;
};

TEST_F(ContextQueueTest, PostedWorkRunsInOrderWhenTheExecutorRunsIt) {
  HeldTasks held;
  const auto queue = queueOn(held.executor());
  queue->async(noting('a'));
  queue->async(noting('b'));
  EXPECT_EQ(order, "");
  EXPECT_EQ(held.count(), 1u);
  held.runAll();
  EXPECT_EQ(order, "ab");
  queue->async(noting('c'));
  held.runAll();
  EXPECT_EQ(order, "abc");
}

TEST_F(ContextQueueTest, WhoWaitsDoesWhatWasPostedBeforeHimHimself) {
  HeldTasks held;
  const auto queue = queueOn(held.executor());
  queue->async(noting('a'));
  queue->sync([&] {
    order += 's';
    queue->async(noting('b'));
    EXPECT_TRUE(queue->isCurrent());
    queue->sync(noting('n'));
  });
  EXPECT_EQ(order, "asn");
  EXPECT_FALSE(queue->isCurrent());
  held.runAll();
  EXPECT_EQ(order, "asnb");
}

TEST_F(ContextQueueTest, WorkThatThrowsLeavesTheQueueUsable) {
  HeldTasks held;
  const auto queue = queueOn(held.executor());
  EXPECT_THROW(queue->sync([] { throw std::runtime_error("no"); }), std::runtime_error);
  queue->async([] { throw std::runtime_error("posted"); });
  queue->async(noting('a'));
  EXPECT_THROW(held.runAll(), std::runtime_error);
  held.runAll();
  EXPECT_EQ(order, "a");
  // Helped out with, it still meets the executor.
  queue->async([] { throw std::runtime_error("posted"); });
  queue->sync(noting('s'));
  EXPECT_EQ(order, "as");
  EXPECT_THROW(held.runAll(), std::runtime_error);
}

TEST_F(ContextQueueTest, AnExecutorThatDropsItsTaskDropsWhatWasPosted) {
  HeldTasks held;
  const auto queue = queueOn(held.executor());
  auto token = std::make_shared<int>(1);
  queue->async([token] {});
  queue->async([token] {});
  EXPECT_GT(token.use_count(), 1);
  held.dropAll();
  EXPECT_EQ(token.use_count(), 1);
  queue->async(noting('a'));
  held.runAll();
  EXPECT_EQ(order, "a");
}

TEST_F(ContextQueueTest, AnExecutorThatRunsTasksAtOnceRunsPostedWorkAtOnce) {
  const auto queue = queueOn([](Block<void()> task) { task(); });
  queue->async([&] {
    order += 'a';
    queue->async(noting('c'));
    order += 'b';
  });
  EXPECT_EQ(order, "abc");
}

TEST_F(ContextQueueTest, TheMainThreadsWorkRunsThere) {
  const auto queue = queueOn(nullptr);
  EXPECT_TRUE(queue->isMain());
  EXPECT_TRUE(queue->isCurrent());
  queue->async(noting('a'));
  queue->sync(noting('s'));
  EXPECT_EQ(order, "s");
  runTurn();
  EXPECT_EQ(order, "sa");
  std::atomic<bool> isDone{false};
  bool wasMain = false;
  std::thread other([&] {
    EXPECT_FALSE(queue->isCurrent());
    queue->sync([&] { wasMain = MainQueue::isMainThread(); });
    EXPECT_THROW(queue->sync([] { throw std::runtime_error("no"); }), std::runtime_error);
    isDone = true;
    MainQueue::current().async([] {});
  });
  runUntil([&] { return isDone.load(); });
  other.join();
  EXPECT_TRUE(wasMain);
}

TEST_F(ContextQueueTest, WorkForAMainQueueThatGoesIsRefused) {
  std::thread other;
  std::atomic<bool> isWaiting{false};
  std::string raisedName;
  {
    MainQueueScope inner;
    const auto queue = queueOn(nullptr);
    other = std::thread([&, queue] {
      isWaiting = true;
      try {
        queue->sync([] {});
      } catch (const Raised& raised) {
        raisedName = raised.exception()->name()->toStdString();
      }
    });
    while (MainQueue::current().isIdle()) std::this_thread::yield();
  }
  other.join();
  EXPECT_EQ(raisedName, NSInternalInconsistencyException);
}

TEST_F(ContextQueueTest, OnePieceOfWorkRunsAtATime) {
  WorkerPool pool(4);
  const auto queue = queueOn(pool.executor());
  int inside = 0, most = 0, count = 0;  // guarded by the queue alone
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int k = 0; k < 500; ++k) {
        const Block<void()> work = [&] {
          most = std::max(most, ++inside);
          ++count;
          --inside;
        };
        if (k % 3 == 0) {
          queue->sync(work);
        } else {
          queue->async(work);
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  queue->sync([] {});
  EXPECT_EQ(most, 1);
  EXPECT_EQ(count, 2000);
}

TEST_F(ContextQueueTest, TwoQueuesMayWaitForEachOther) {
  WorkerPool pool(2);
  const auto one = queueOn(pool.executor()), other = queueOn(pool.executor());
  int steps = 0;
  for (int round = 0; round < 200; ++round) {
    std::atomic<int> arrived{0};
    const auto meet = [&arrived] {
      ++arrived;
      while (arrived < 2) std::this_thread::yield();
    };
    std::thread first([&] {
      one->sync([&] {
        meet();
        other->sync([&] { ++steps; });
      });
    });
    other->sync([&] {
      meet();
      one->sync([&] { ++steps; });
    });
    first.join();
  }
  EXPECT_EQ(steps, 400);
}

TEST_F(ContextQueueTest, TheMainThreadServesThoseWhoWorkForIt) {
  // The main thread waits for a queue in which somebody asks the main thread.
  WorkerPool pool(1);
  const auto worker = queueOn(pool.executor()), main = queueOn(nullptr);
  for (int round = 0; round < 100; ++round) {
    std::atomic<bool> isInside{false};
    int served = 0;
    worker->async([&] {
      isInside = true;
      main->sync([&] { served += MainQueue::isMainThread() ? 1 : 100; });
    });
    while (!isInside) std::this_thread::yield();
    worker->sync([&] { served += 10; });
    EXPECT_EQ(served, 11);
  }
}

TEST_F(ContextQueueTest, AThreadThatWaitsDoesNotServeStrangers) {
  WorkerPool pool(2);
  const auto mine = queueOn(pool.executor()), busy = queueOn(pool.executor());
  std::atomic<bool> isBusy{false}, mayEnd{false};
  busy->async([&] {
    isBusy = true;
    while (!mayEnd) std::this_thread::yield();
  });
  while (!isBusy) std::this_thread::yield();
  bool wasServed = false;
  std::thread stranger;
  mine->sync([&] {
    std::atomic<bool> asks{false};
    stranger = std::thread([&] {
      asks = true;
      mine->sync([&] { wasServed = true; });
    });
    while (!asks) std::this_thread::yield();
    mayEnd = true;
    busy->sync([] {});
    EXPECT_FALSE(wasServed);
  });
  stranger.join();
  EXPECT_TRUE(wasServed);
}

TEST_F(ContextQueueTest, ManyQueuesInARingNeverLockEachOtherOut) {
  constexpr int count = 5;
  WorkerPool pool(3);
  std::vector<Ref<ContextQueue>> queues;
  queues.reserve(count);
  for (int i = 0; i < count; ++i) queues.push_back(queueOn(pool.executor()));
  std::atomic<int> steps{0};
  std::vector<std::thread> threads;
  threads.reserve(count);
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&, i] {
      for (int k = 0; k < 100; ++k) {
        queues[i]->sync([&] {
          queues[(i + 1) % count]->sync([&] { queues[(i + 2) % count]->sync([&] { ++steps; }); });
        });
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(steps, count * 100);
}

}  // namespace
}  // namespace JNFoundation
