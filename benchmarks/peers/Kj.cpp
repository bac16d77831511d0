// kj promises: a promise with its fulfiller, as a deferred is resolved from outside.

#include <benchmark/benchmark.h>
#include <kj/async.h>
#include <kj/vector.h>

#include "DeferredWork.h"
#include "Figures.h"
#include "HeapGrowth.h"

namespace bench {
namespace {

void chain(benchmark::State& state) {
  kj::EventLoop loop;
  kj::WaitScope waitScope(loop);
  int64_t calls = 0;
  int64_t start = 0;
  bool right = true;
  for (auto _ : state) {
    auto pair = kj::newPromiseAndFulfiller<int64_t>();
    kj::Promise<int64_t> promise = kj::mv(pair.promise);
    for (int i = 0; i < kSteps; ++i) promise = promise.then(Step{&calls, i});
    pair.fulfiller->fulfill(int64_t(++start));
    right = right && promise.wait(waitScope) == expectedOfChain(start);
  }
  reportItems(state, kSteps);
  require(state, right && calls == state.iterations() * kSteps, "a step was lost");
}
BENCHMARK(chain)->Name("chain/kj")->UseRealTime();

void fanout(benchmark::State& state) {
  kj::EventLoop loop;
  kj::WaitScope waitScope(loop);
  int64_t sum = 0;
  for (auto _ : state) {
    auto pair = kj::newPromiseAndFulfiller<int64_t>();
    auto fork = pair.promise.fork();
    kj::Vector<kj::Promise<void>> listeners;
    for (int i = 0; i < kListeners; ++i) {
      listeners.add(fork.addBranch().then(Listener{&sum}).eagerlyEvaluate(nullptr));
    }
    pair.fulfiller->fulfill(1);
    waitScope.poll();
  }
  reportItems(state, kListeners);
  require(state, sum == state.iterations() * kListeners, "a listener was lost");
}
BENCHMARK(fanout)->Name("fanout/kj")->UseRealTime();

void pendingBytes(benchmark::State& state) {
  kj::EventLoop loop;
  kj::WaitScope waitScope(loop);
  for (auto _ : state) {
    reportFigure(state, heapBytesEach([] { return kj::newPromiseAndFulfiller<int64_t>(); }));
  }
}
BENCHMARK(pendingBytes)->Name("pending-bytes/kj")->Iterations(1);

void stepBytes(benchmark::State& state) {
  kj::EventLoop loop;
  kj::WaitScope waitScope(loop);
  int64_t calls = 0;
  for (auto _ : state) {
    reportFigure(state, heapBytesEach([&] {
                   auto pair = kj::newPromiseAndFulfiller<int64_t>();
                   pair.promise = pair.promise.then(Step{&calls, 1});
                   return pair;
                 }));
  }
}
BENCHMARK(stepBytes)->Name("step-bytes/kj")->Iterations(1);

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
