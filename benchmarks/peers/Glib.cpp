// GLib: idle sources of the default main context.

#include <benchmark/benchmark.h>
#include <glib.h>
#include <thread>

#include "Figures.h"
#include "PostWork.h"

namespace bench {
namespace {

struct Context {
  Drain drain;
  GMainLoop* loop;
};

struct Task {
  Context* context;
  int64_t number;
};

void post(benchmark::State& state) {
  for (auto _ : state) {
    Context context{Drain{}, g_main_loop_new(nullptr, FALSE)};
    std::thread poster([&] {
      for (int64_t i = 0; i < kTasks; ++i) {
        g_idle_add_full(
            G_PRIORITY_DEFAULT_IDLE,
            [](gpointer data) -> gboolean {
              const Task& task = *static_cast<Task*>(data);
              if (task.context->drain.run(task.number)) g_main_loop_quit(task.context->loop);
              return G_SOURCE_REMOVE;
            },
            new Task{&context, i}, [](gpointer data) { delete static_cast<Task*>(data); });
      }
    });
    g_main_loop_run(context.loop);
    poster.join();
    g_main_loop_unref(context.loop);
    require(state, context.drain.isComplete(), "a task was lost or out of order");
  }
  reportItems(state, kTasks);
}
BENCHMARK(post)->Name("post/GLib")->UseRealTime()->Iterations(1);

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
