// One attribute of one object is written, and the object moves: through the context, a
// fetched-results controller, and its delegate.

#include <benchmark/benchmark.h>
#include <string>

#include "Figures.h"
#include "ListedPeople.h"

namespace bench {
namespace {

void follow(benchmark::State& state, int64_t count) {
  const People people(count);
  auto controller = NSFetchedResultsController::
      initWithFetchRequestManagedObjectContextSectionNameKeyPathCacheName(
          people.request, people.context, nullptr, nullptr);
  auto counter = makeObject<Counter>();
  controller->setDelegate(Ref<NSFetchedResultsControllerDelegate>(counter));
  require(state, people.isReady && controller->performFetch(), "there is no list");
  Moves moves(count);
  const auto move = [&] {
    NSManagedObject& object = *people.objects[static_cast<std::size_t>(moves.element())];
    object.setValueForKey(moves.key(), "rank"_s);
    people.context->processPendingChanges();
  };
  move();  // the first look makes the index
  for (auto _ : state) move();
  reportItems(state, 1);
  // A move to where it stands already is an update.
  require(state,
          counter->batches == static_cast<int64_t>(state.iterations()) + 1 &&
              counter->changes == counter->batches && counter->rows > 0,
          "the delegate was not told of every change");
  require(state, isSorted(controller->fetchedObjects(), people.objects.size()),
          "the list is not in order");
  controller->setDelegate(nullptr);
  people.context->rollback();
}

[[maybe_unused]] const int registered = [] {
  for (const int64_t count : {1'000, 1'000'000}) {
    const std::string row = std::string("batch-") + sizeName(count);
    benchmark::RegisterBenchmark((row + "/ours").c_str(), follow, count)->UseRealTime();
    benchmark::RegisterBenchmark((row + "/query-again").c_str(), queryAgain, count)->UseRealTime();
  }
  return 0;
}();

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
