// The main queue: another thread posts, the main thread runs its loop.

#include <benchmark/benchmark.h>
#include <thread>

#include "Figures.h"
#include "PostWork.h"

#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/value/NSDate.h>

namespace bench {
namespace {

using namespace JNFoundation;

void post(benchmark::State& state) {
  for (auto _ : state) {
    MainQueueScope scope;
    MainQueue& queue = scope.queue();
    struct Context {
      Drain drain;
      bool isDone = false;
    } context;
    std::thread poster([&] {
      for (int64_t i = 0; i < kTasks; ++i) {
        queue.async([&context, i] { context.isDone = context.drain.run(i); });
      }
    });
    const Ref<NSRunLoop> loop = NSRunLoop::mainRunLoop();
    while (!context.isDone) {
      loop->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantFuture());
    }
    poster.join();
    require(state, context.drain.isComplete(), "a task was lost or out of order");
  }
  reportItems(state, kTasks);
}
BENCHMARK(post)->Name("post/ours")->UseRealTime()->Iterations(10);

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
