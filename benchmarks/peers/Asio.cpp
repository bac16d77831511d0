// Standalone asio: asio::post to an io_context that the main thread runs.

#include <asio.hpp>
#include <benchmark/benchmark.h>
#include <thread>

#include "Figures.h"
#include "PostWork.h"

namespace bench {
namespace {

void post(benchmark::State& state) {
  for (auto _ : state) {
    asio::io_context context;
    auto work = asio::make_work_guard(context);
    Drain drain;
    std::thread poster([&] {
      for (int64_t i = 0; i < kTasks; ++i) {
        asio::post(context, [&, i] {
          if (drain.run(i)) work.reset();
        });
      }
    });
    context.run();
    poster.join();
    require(state, drain.isComplete(), "a task was lost or out of order");
  }
  reportItems(state, kTasks);
}
BENCHMARK(post)->Name("post/asio")->UseRealTime()->Iterations(3);

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
