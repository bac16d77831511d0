// Many deferreds combined into one: what an input costs among few and among many.

#include <benchmark/benchmark.h>
#include <vector>

#include "Figures.h"

#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/platform/value/NSArray.h>

namespace bench {
namespace {

using namespace JNFoundation;

// The inputs have their outcomes; they are made outside of the timing.
void allOf(benchmark::State& state) {
  const auto inputs = static_cast<std::size_t>(state.range(0));
  std::vector<Value> values;
  for (std::size_t i = 0; i < inputs; ++i) values.emplace_back(PLVDeferred::withResolved(i));
  const Ref<NSArray> deferreds = NSArray::arrayWithValues(std::move(values));
  bool right = true;
  for (auto _ : state) {
    const Ref<PLVDeferred> all = PLVDeferred::withAllResolved(deferreds);
    const NSArray* results = as<NSArray>(all->resolution());
    right = right && results && results->lastObject().integerValue() == state.range(0) - 1;
  }
  reportItems(state, state.range(0));
  require(state, right, "the combination gave wrong results");
}
BENCHMARK(allOf)->Name("all/ours")->Arg(100'000)->UseRealTime();
BENCHMARK(allOf)->Name("all/ours-of-1000")->Arg(1'000)->UseRealTime();

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
