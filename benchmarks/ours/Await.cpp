// A coroutine that awaits deferreds, beside a step on each of them.

#include <benchmark/benchmark.h>
#include <vector>

#include "Figures.h"

#include <JNFoundation/deferred/Coroutine.h>
#include <JNFoundation/deferred/PLVDeferred.h>

namespace bench {
namespace {

using namespace JNFoundation;

constexpr int kDeferreds = 100;

using Deferreds = std::vector<Ref<PLVDeferred>>;

Deferreds resolvedDeferreds() {
  Deferreds deferreds;
  for (int i = 0; i < kDeferreds; ++i) deferreds.push_back(PLVDeferred::withResolved(i));
  return deferreds;
}

constexpr int64_t kExpected = int64_t{kDeferreds} * (kDeferreds - 1) / 2;

Ref<PLVDeferred> sumOf(const Deferreds& deferreds) {
  int64_t sum = 0;
  for (const Ref<PLVDeferred>& deferred : deferreds) sum += (co_await deferred).integerValue();
  co_return sum;
}

void await(benchmark::State& state) {
  const Deferreds deferreds = resolvedDeferreds();
  bool right = true;
  for (auto _ : state) {
    right = right && sumOf(deferreds)->resolution().integerValue() == kExpected;
  }
  reportItems(state, kDeferreds);
  require(state, right, "an await gave a wrong value");
}
BENCHMARK(await)->Name("await/ours")->UseRealTime();

// The same values, each through a step that leaves the deferred as it was.
void step(benchmark::State& state) {
  const Deferreds deferreds = resolvedDeferreds();
  bool right = true;
  for (auto _ : state) {
    int64_t sum = 0;
    for (const Ref<PLVDeferred>& deferred : deferreds) {
      deferred->thenResolved([&sum](const Value& value) {
        sum += value.integerValue();
        return value;
      });
    }
    right = right && sum == kExpected;
  }
  reportItems(state, kDeferreds);
  require(state, right, "a step got a wrong value");
}
BENCHMARK(step)->Name("await/step")->UseRealTime();

// Each is awaited before it is resolved: the coroutine suspends, stands in the chain, and goes on.
void awaitPending(benchmark::State& state) {
  bool right = true;
  for (auto _ : state) {
    Deferreds deferreds;
    for (int i = 0; i < kDeferreds; ++i) deferreds.push_back(PLVDeferred::init());
    const Ref<PLVDeferred> sum = sumOf(deferreds);
    for (int i = 0; i < kDeferreds; ++i) deferreds[static_cast<std::size_t>(i)]->resolve(i);
    right = right && sum->resolution().integerValue() == kExpected;
  }
  reportItems(state, kDeferreds);
  require(state, right, "an await gave a wrong value");
}
BENCHMARK(awaitPending)->Name("await/ours-pending")->UseRealTime();

void stepPending(benchmark::State& state) {
  bool right = true;
  for (auto _ : state) {
    Deferreds deferreds;
    int64_t sum = 0;
    for (int i = 0; i < kDeferreds; ++i) {
      deferreds.push_back(PLVDeferred::init());
      deferreds.back()->thenResolved([&sum](const Value& value) {
        sum += value.integerValue();
        return value;
      });
    }
    for (int i = 0; i < kDeferreds; ++i) deferreds[static_cast<std::size_t>(i)]->resolve(i);
    right = right && sum == kExpected;
  }
  reportItems(state, kDeferreds);
  require(state, right, "a step got a wrong value");
}
BENCHMARK(stepPending)->Name("await/step-pending")->UseRealTime();

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
