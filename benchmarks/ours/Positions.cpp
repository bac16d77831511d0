// One move in the structure that a fetched-results controller keeps its objects in.

#include <benchmark/benchmark.h>
#include <string>
#include <vector>

#include "Figures.h"
#include "ListWork.h"

#include <JNFoundation/platform/store/impl/OrderedObjects.h>

namespace bench {
namespace {

using namespace JNFoundation;

class Element final : public NSObject {
 public:
  explicit Element(int64_t key) : key(key) {}
  int64_t key;
};

const Element& elementOf(const NSObject& object) { return static_cast<const Element&>(object); }

void move(benchmark::State& state, int64_t count) {
  std::vector<Ref<Element>> elements;
  std::vector<const NSObject*> objects;
  for (int64_t i = 0; i < count; ++i) {
    elements.push_back(makeObject<Element>(i * kGap));
    objects.push_back(elements.back().get());
  }
  impl::OrderedObjects list;
  list.assign(objects);
  list.indexOf(*objects[0]);  // the first look makes the index
  Moves moves(count);
  std::size_t sum = 0;
  for (auto _ : state) {
    Element& element = *elements[static_cast<std::size_t>(moves.element())];
    const int64_t key = moves.key();
    const std::size_t from = list.indexOf(element);
    list.erase(from);
    element.key = key;
    const std::size_t to = list.partitionPoint(
        [&](const NSObject& other) { return elementOf(other).key < element.key; });
    list.insert(to, element);
    sum += from + to;
  }
  reportItems(state, 1);
  require(state, sum > 0 && list.isConsistent(), "the list is not whole");
  bool isSorted = list.count() == elements.size();
  for (std::size_t i = 1; isSorted && i < list.count(); ++i) {
    isSorted = elementOf(*list.at(i - 1)).key <= elementOf(*list.at(i)).key;
  }
  require(state, isSorted, "the list is not in order");
}

[[maybe_unused]] const int registered = [] {
  for (const int64_t count : kListSizes) {
    benchmark::RegisterBenchmark((std::string("positions-") + sizeName(count) + "/ours").c_str(),
                                 move, count)
        ->UseRealTime();
  }
  return 0;
}();

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
