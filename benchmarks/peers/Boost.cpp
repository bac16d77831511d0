// Boost futures: a promise, and continuations that run in the thread that sets its value.

#define BOOST_THREAD_VERSION 4
#include <benchmark/benchmark.h>
#include <boost/thread/future.hpp>
#include <vector>

#include "DeferredWork.h"
#include "Figures.h"
#include "HeapGrowth.h"

namespace bench {
namespace {

boost::future<int64_t> withStep(boost::future<int64_t> future, Step step) {
  return future.then(boost::launch::sync,
                     [step](boost::future<int64_t> done) mutable { return step(done.get()); });
}

void chain(benchmark::State& state) {
  int64_t calls = 0;
  int64_t start = 0;
  bool right = true;
  for (auto _ : state) {
    boost::promise<int64_t> promise;
    boost::future<int64_t> future = promise.get_future();
    for (int i = 0; i < kSteps; ++i) future = withStep(std::move(future), Step{&calls, i});
    promise.set_value(++start);
    right = right && future.get() == expectedOfChain(start);
  }
  reportItems(state, kSteps);
  require(state, right && calls == state.iterations() * kSteps, "a step was lost");
}
BENCHMARK(chain)->Name("chain/Boost")->UseRealTime();

void fanout(benchmark::State& state) {
  int64_t sum = 0;
  for (auto _ : state) {
    boost::promise<int64_t> promise;
    boost::shared_future<int64_t> future = promise.get_future().share();
    std::vector<boost::future<void>> listeners;
    for (int i = 0; i < kListeners; ++i) {
      const Listener listener{&sum};
      listeners.push_back(
          future.then(boost::launch::sync,
                      [listener](boost::shared_future<int64_t> done) { listener(done.get()); }));
    }
    promise.set_value(1);
    for (auto& listener : listeners) listener.get();
  }
  reportItems(state, kListeners);
  require(state, sum == state.iterations() * kListeners, "a listener was lost");
}
BENCHMARK(fanout)->Name("fanout/Boost")->UseRealTime();

struct Pending {
  boost::promise<int64_t> promise;
  boost::future<int64_t> future;
};

Pending pending() {
  Pending pending;
  pending.future = pending.promise.get_future();
  return pending;
}

void pendingBytes(benchmark::State& state) {
  for (auto _ : state) reportFigure(state, heapBytesEach(pending));
}
BENCHMARK(pendingBytes)->Name("pending-bytes/Boost")->Iterations(1);

void stepBytes(benchmark::State& state) {
  int64_t calls = 0;
  for (auto _ : state) {
    reportFigure(state, heapBytesEach([&] {
                   Pending made = pending();
                   made.future = withStep(std::move(made.future), Step{&calls, 1});
                   return made;
                 }));
  }
}
BENCHMARK(stepBytes)->Name("step-bytes/Boost")->Iterations(1);

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
