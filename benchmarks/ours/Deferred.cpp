// A deferred with ten steps, and a promise with a hundred listeners.

#include <benchmark/benchmark.h>
#include <thread>

#include "DeferredWork.h"
#include "Figures.h"

#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/deferred/PLVPromise.h>

namespace bench {
namespace {

using namespace JNFoundation;

void chain(benchmark::State& state) {
  int64_t calls = 0;
  int64_t start = 0;
  bool right = true;
  for (auto _ : state) {
    Ref<PLVDeferred> deferred = PLVDeferred::init();
    for (int i = 0; i < kSteps; ++i) {
      deferred->thenResolved(
          [step = Step{&calls, i}](const Value& value) { return step(value.integerValue()); });
    }
    deferred->resolve(++start);
    right = right && deferred->resolution().integerValue() == expectedOfChain(start);
  }
  reportItems(state, kSteps);
  require(state, right && calls == state.iterations() * kSteps, "a step was lost");
}
BENCHMARK(chain)->Name("chain/ours")->UseRealTime();

void fanout(benchmark::State& state) {
  int64_t sum = 0;
  for (auto _ : state) {
    Ref<PLVPromise> promise = PLVPromise::init();
    for (int i = 0; i < kListeners; ++i) {
      promise->deferredResolution()->thenResolved([listener = Listener{&sum}](const Value& value) {
        listener(value.integerValue());
        return value;
      });
    }
    promise->resolve(1);
  }
  reportItems(state, kListeners);
  require(state, sum == state.iterations() * kListeners, "a listener was lost");
}
BENCHMARK(fanout)->Name("fanout/ours")->UseRealTime();

// References are counted without atomic instructions until the process starts its second thread.
// The others here have one thread too; what a process with threads pays is shown beside. No process
// returns to one thread, so these come last.
void startThread() {
  static const bool started = [] {
    std::thread([] {}).join();
    return true;
  }();
  benchmark::DoNotOptimize(started);
}

void chainWithThreads(benchmark::State& state) {
  startThread();
  chain(state);
}
BENCHMARK(chainWithThreads)->Name("chain/ours-with-threads")->UseRealTime();

void fanoutWithThreads(benchmark::State& state) {
  startThread();
  fanout(state);
}
BENCHMARK(fanoutWithThreads)->Name("fanout/ours-with-threads")->UseRealTime();

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
