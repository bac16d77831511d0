// Boost.MultiIndex: a ranked index. A move asks for the position, changes the key, and asks again.
// A draw asks for the elements at random positions.

#include <benchmark/benchmark.h>
#include <boost/multi_index/member.hpp>
#include <boost/multi_index/ranked_index.hpp>
#include <boost/multi_index_container.hpp>
#include <random>
#include <string>
#include <vector>

#include "Figures.h"
#include "ListWork.h"

namespace bench {
namespace {

struct Element {
  int64_t id;
  int64_t key;
};

using List = boost::multi_index_container<
    Element, boost::multi_index::indexed_by<boost::multi_index::ranked_non_unique<
                 boost::multi_index::member<Element, int64_t, &Element::key>>>>;

void move(benchmark::State& state, int64_t count) {
  List list;
  std::vector<List::iterator> elements;
  for (int64_t i = 0; i < count; ++i) elements.push_back(list.insert({i, i * kGap}).first);
  Moves moves(count);
  std::size_t sum = 0;
  for (auto _ : state) {
    const List::iterator element = elements[static_cast<std::size_t>(moves.element())];
    const int64_t key = moves.key();
    sum += list.rank(element);
    list.modify(element, [key](Element& each) { each.key = key; });
    sum += list.rank(element);
  }
  reportItems(state, 1);
  require(state, sum > 0 && list.size() == static_cast<std::size_t>(count), "an element was lost");
  bool isSorted = true;
  int64_t last = 0;
  for (const Element& each : list) isSorted = isSorted && std::exchange(last, each.key) <= each.key;
  require(state, isSorted, "the list is not in order");
}

// As many random numbers below the count as are drawn, and the elements at those positions. A
// number that comes again leads to the same element; ours takes another one.
void draw(benchmark::State& state, int64_t count) {
  List list;
  for (int64_t i = 0; i < count; ++i) list.insert({i, i * kGap});
  std::mt19937 generator(2006);
  const uint64_t all = uint64_t{1} << 32;
  const auto bound = static_cast<uint64_t>(count);
  const uint64_t usable = all - all % bound;
  std::vector<const Element*> drawn;
  int64_t sum = 0;
  for (auto _ : state) {
    drawn.clear();
    drawn.reserve(kSampled);
    for (int64_t i = 0; i < kSampled; ++i) {
      uint64_t number;
      do {
        number = generator();
      } while (number >= usable);
      drawn.push_back(&*list.nth(static_cast<std::size_t>(number % bound)));
    }
    benchmark::DoNotOptimize(drawn.data());
    sum += drawn.back()->id;
  }
  reportItems(state, kSampled);
  require(state, sum > 0, "nothing was drawn");
}

// The move is what `batch` and `sample-batch` are held against as well.
[[maybe_unused]] const int registered = [] {
  for (const int64_t count : kListSizes) {
    for (const char* row : {"positions-", "batch-", "sample-batch-"}) {
      if (row[0] != 'p' && count == 100'000) continue;
      benchmark::RegisterBenchmark((std::string(row) + sizeName(count) + "/boost").c_str(), move,
                                   count)
          ->UseRealTime();
    }
    if (count == 100'000) continue;
    benchmark::RegisterBenchmark((std::string("draw-") + sizeName(count) + "/boost").c_str(), draw,
                                 count)
        ->UseRealTime();
  }
  return 0;
}();

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
