// What a pending deferred costs on the heap, alone and with one step.

#include <benchmark/benchmark.h>

#include "DeferredWork.h"
#include "Figures.h"
#include "HeapGrowth.h"

#include <JNFoundation/deferred/PLVDeferred.h>

namespace bench {
namespace {

using namespace JNFoundation;

void pendingBytes(benchmark::State& state) {
  for (auto _ : state) {
    reportFigure(state, heapBytesEach([] { return PLVDeferred::init(); }));
  }
}
BENCHMARK(pendingBytes)->Name("pending-bytes/ours")->Iterations(1);

void stepBytes(benchmark::State& state) {
  int64_t calls = 0;
  for (auto _ : state) {
    reportFigure(state, heapBytesEach([&] {
                   Ref<PLVDeferred> deferred = PLVDeferred::init();
                   deferred->thenResolved([step = Step{&calls, 1}](const Value& value) {
                     return step(value.integerValue());
                   });
                   return deferred;
                 }));
  }
}
BENCHMARK(stepBytes)->Name("step-bytes/ours")->Iterations(1);

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
