// The least that a chain or a fan-out can cost in C++: its closures in a vector, called in turn.
// The vector grows as it is filled: nobody tells a deferred beforehand how many steps will come.

#include <benchmark/benchmark.h>
#include <functional>
#include <vector>

#include "DeferredWork.h"
#include "Figures.h"

namespace bench {
namespace {

void chain(benchmark::State& state) {
  int64_t calls = 0;
  int64_t start = 0;
  bool right = true;
  for (auto _ : state) {
    std::vector<std::function<int64_t(int64_t)>> steps;
    for (int i = 0; i < kSteps; ++i) steps.push_back(Step{&calls, i});
    benchmark::DoNotOptimize(steps.data());
    benchmark::ClobberMemory();
    int64_t value = ++start;
    for (const auto& step : steps) value = step(value);
    right = right && value == expectedOfChain(start);
  }
  reportItems(state, kSteps);
  require(state, right && calls == state.iterations() * kSteps, "a step was lost");
}
BENCHMARK(chain)->Name("chain/limit")->UseRealTime();

void fanout(benchmark::State& state) {
  int64_t sum = 0;
  for (auto _ : state) {
    std::vector<std::function<void(int64_t)>> listeners;
    for (int i = 0; i < kListeners; ++i) listeners.push_back(Listener{&sum});
    benchmark::DoNotOptimize(listeners.data());
    benchmark::ClobberMemory();
    for (const auto& listener : listeners) listener(1);
  }
  reportItems(state, kListeners);
  require(state, sum == state.iterations() * kListeners, "a listener was lost");
}
BENCHMARK(fanout)->Name("fanout/limit")->UseRealTime();

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
