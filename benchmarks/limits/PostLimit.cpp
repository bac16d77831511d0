// The least that a main queue between threads can cost: a mutex, a vector and a swap, and a
// condition for the main thread to sleep on, which is signalled only when the queue was empty.
// Beside it the same without the condition, the main thread yielding when it finds nothing: no main
// thread may live like that, and its time is twice or half as much as the system places the
// threads.

#include <benchmark/benchmark.h>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "Figures.h"
#include "PostWork.h"

namespace bench {
namespace {

using Tasks = std::vector<std::function<void()>>;

class SleepingQueue {
 public:
  void post(std::function<void()> task) {
    bool wasEmpty;
    {
      std::lock_guard lock(_mutex);
      wasEmpty = _tasks.empty();
      _tasks.push_back(std::move(task));
    }
    if (wasEmpty) _isFilled.notify_one();
  }

  // Leaves in `batch`, which is empty, the tasks that came since the last time.
  void take(Tasks& batch) {
    std::unique_lock lock(_mutex);
    _isFilled.wait(lock, [this] { return !_tasks.empty(); });
    batch.swap(_tasks);
  }

 private:
  std::mutex _mutex;
  std::condition_variable _isFilled;
  Tasks _tasks;
};

class YieldingQueue {
 public:
  void post(std::function<void()> task) {
    std::lock_guard lock(_mutex);
    _tasks.push_back(std::move(task));
  }

  void take(Tasks& batch) {
    {
      std::lock_guard lock(_mutex);
      batch.swap(_tasks);
    }
    if (batch.empty()) std::this_thread::yield();
  }

 private:
  std::mutex _mutex;
  Tasks _tasks;
};

template <typename Queue>
void post(benchmark::State& state) {
  for (auto _ : state) {
    Queue queue;
    // Two words of capture in each task: this and its number.
    struct Context {
      Drain drain;
      bool isDone = false;
    } context;
    std::thread poster([&] {
      for (int64_t i = 0; i < kTasks; ++i) {
        queue.post([&context, i] { context.isDone = context.drain.run(i); });
      }
    });
    Tasks batch;
    while (!context.isDone) {
      queue.take(batch);
      for (const auto& task : batch) task();
      batch.clear();
    }
    poster.join();
    require(state, context.drain.isComplete(), "a task was lost or out of order");
  }
  reportItems(state, kTasks);
}
BENCHMARK(post<SleepingQueue>)->Name("post/limit")->UseRealTime()->Iterations(10);
BENCHMARK(post<YieldingQueue>)->Name("post/yielding")->UseRealTime()->Iterations(10);

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
