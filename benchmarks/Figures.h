#pragma once

#include <benchmark/benchmark.h>
#include <string>

// How every program of this folder reports, so that run.py can put the figures side by side.
namespace bench {

// Reports a figure that is not a time, in the unit that run.py's table states for it.
inline void reportFigure(benchmark::State& state, double figure) {
  state.counters["figure"] = figure;
}

// Reports the time of one item: `items` of them are done in each turn of the timing loop.
inline void reportItems(benchmark::State& state, int64_t items) {
  state.SetItemsProcessed(state.iterations() * items);
}

// A side that did the work wrongly has no figure.
inline void require(benchmark::State& state, bool holds, const char* what) {
  if (!holds) state.SkipWithError(what);
}

inline void require(benchmark::State& state, const std::string& problem) {
  if (!problem.empty()) state.SkipWithError(problem.c_str());
}

}  // namespace bench
