#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/value/NSDate.h>

namespace JNFoundation::testing {

/// Threads that run tasks, as an application's executor does. What was posted has run when the pool
/// goes.
class WorkerPool {
 public:
  explicit WorkerPool(int threads) {
    for (int i = 0; i < threads; ++i) _threads.emplace_back([this] { work(); });
  }
  ~WorkerPool() {
    {
      std::lock_guard guard(_mutex);
      _isEnding = true;
    }
    _wakeUp.notify_all();
    for (std::thread& thread : _threads) thread.join();
  }

  NSManagedObjectContextExecutor executor() {
    return [this](Block<void()> task) {
      {
        std::lock_guard guard(_mutex);
        _tasks.push_back(std::move(task));
      }
      _wakeUp.notify_one();
    };
  }

 private:
  void work() {
    std::unique_lock lock(_mutex);
    while (true) {
      _wakeUp.wait(lock, [this] { return _isEnding || !_tasks.empty(); });
      if (_tasks.empty()) return;
      Block<void()> task = std::move(_tasks.front());
      _tasks.pop_front();
      lock.unlock();
      task();
      task = nullptr;
      lock.lock();
    }
  }

  std::mutex _mutex;
  std::condition_variable _wakeUp;
  // Guarded by the mutex.
  std::deque<Block<void()>> _tasks;
  bool _isEnding = false;
  std::vector<std::thread> _threads;
};

/// Keeps tasks until a test runs them.
class HeldTasks {
 public:
  NSManagedObjectContextExecutor executor() {
    return [this](Block<void()> task) { _tasks.push_back(std::move(task)); };
  }
  std::size_t count() const noexcept { return _tasks.size(); }
  void runAll() {
    while (!_tasks.empty()) {
      Block<void()> task = std::move(_tasks.front());
      _tasks.pop_front();
      task();
    }
  }
  void dropAll() { _tasks.clear(); }

 private:
  std::deque<Block<void()>> _tasks;
};

/// One turn of the main queue, without waiting.
inline void runTurn() {
  NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantPast());
}

/// Serves the main queue until the condition holds; it is to be woken up by a post.
template <class Condition>
void runUntil(Condition&& condition) {
  while (!condition()) {
    NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantFuture());
  }
}

}  // namespace JNFoundation::testing
