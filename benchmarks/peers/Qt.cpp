// Qt: QPromise with QFuture::then, and calls queued to an object of the main thread. A QFuture of
// this release takes one continuation only, so a hundred listeners are a hundred QFutureWatchers.

#include <QCoreApplication>
#include <QFuture>
#include <QFutureWatcher>
#include <QObject>
#include <QPromise>
#include <benchmark/benchmark.h>
#include <memory>
#include <thread>
#include <vector>

#include "DeferredWork.h"
#include "Figures.h"
#include "HeapGrowth.h"
#include "PostWork.h"

namespace bench {
namespace {

void chain(benchmark::State& state) {
  int64_t calls = 0;
  int64_t start = 0;
  bool right = true;
  for (auto _ : state) {
    QPromise<int64_t> promise;
    promise.start();
    QFuture<int64_t> future = promise.future();
    for (int i = 0; i < kSteps; ++i) future = future.then(QtFuture::Launch::Sync, Step{&calls, i});
    promise.addResult(++start);
    promise.finish();
    right = right && future.result() == expectedOfChain(start);
  }
  reportItems(state, kSteps);
  require(state, right && calls == state.iterations() * kSteps, "a step was lost");
}
BENCHMARK(chain)->Name("chain/Qt")->UseRealTime();

void fanout(benchmark::State& state) {
  int64_t sum = 0;
  for (auto _ : state) {
    QPromise<int64_t> promise;
    promise.start();
    const QFuture<int64_t> future = promise.future();
    std::vector<std::unique_ptr<QFutureWatcher<int64_t>>> watchers;
    int64_t finished = 0;
    for (int i = 0; i < kListeners; ++i) {
      auto watcher = std::make_unique<QFutureWatcher<int64_t>>();
      const Listener listener{&sum};
      QObject::connect(watcher.get(), &QFutureWatcherBase::finished,
                       [listener, &finished, one = watcher.get()] {
                         listener(one->result());
                         ++finished;
                       });
      watcher->setFuture(future);
      watchers.push_back(std::move(watcher));
    }
    promise.addResult(1);
    promise.finish();
    while (finished < kListeners) QCoreApplication::processEvents();
  }
  reportItems(state, kListeners);
  require(state, sum == state.iterations() * kListeners, "a listener was lost");
}
BENCHMARK(fanout)->Name("fanout/Qt")->UseRealTime();

void post(benchmark::State& state) {
  for (auto _ : state) {
    QObject receiver;
    Drain drain;
    std::thread poster([&] {
      for (int64_t i = 0; i < kTasks; ++i) {
        QMetaObject::invokeMethod(
            &receiver,
            [&drain, i] {
              if (drain.run(i)) QCoreApplication::exit();
            },
            Qt::QueuedConnection);
      }
    });
    QCoreApplication::exec();
    poster.join();
    require(state, drain.isComplete(), "a task was lost or out of order");
  }
  reportItems(state, kTasks);
}
BENCHMARK(post)->Name("post/Qt")->UseRealTime()->Iterations(1);

struct Pending {
  QPromise<int64_t> promise;
  QFuture<int64_t> future;
};

void pendingBytes(benchmark::State& state) {
  for (auto _ : state) {
    reportFigure(state, heapBytesEach([] {
                   auto pending = Pending{};
                   pending.promise.start();
                   pending.future = pending.promise.future();
                   return pending;
                 }));
  }
}
BENCHMARK(pendingBytes)->Name("pending-bytes/Qt")->Iterations(1);

void stepBytes(benchmark::State& state) {
  int64_t calls = 0;
  for (auto _ : state) {
    reportFigure(
        state, heapBytesEach([&] {
          auto pending = Pending{};
          pending.promise.start();
          pending.future = pending.promise.future().then(QtFuture::Launch::Sync, Step{&calls, 1});
          return pending;
        }));
  }
}
BENCHMARK(stepBytes)->Name("step-bytes/Qt")->Iterations(1);

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  QCoreApplication application(argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
