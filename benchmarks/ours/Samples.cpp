// Random samples of a list: one change through context, list, sample and delegate; 100 objects
// drawn; and what a sample weighs.

#include <benchmark/benchmark.h>
#include <string>
#include <unordered_set>

#include "Figures.h"
#include "HeapGrowth.h"
#include "ListedPeople.h"

#include <JNFoundation/fetched/PLVRandomFetchedResultsController.h>
#include <JNFoundation/fetched/StickySampleController.h>

namespace bench {
namespace {

using Sample = PLVRandomFetchedResultsSample;

Ref<NSFetchedResultsController> random(const People& people) {
  return PLVRandomFetchedResultsController::initWithFetchRequestManagedObjectContextSampleLimit(
      people.request, people.context, kSampled);
}

Ref<NSFetchedResultsController> sticky(const People& people) {
  return StickySampleController::initWithFetchRequestManagedObjectContextSampleLimitRandomSource(
      people.request, people.context, kSampled, nullptr);
}

void follow(benchmark::State& state, int64_t count,
            Ref<NSFetchedResultsController> (*make)(const People&)) {
  const People people(count);
  const auto controller = make(people);
  auto counter = makeObject<Counter>();
  controller->setDelegate(Ref<NSFetchedResultsControllerDelegate>(counter));
  if (!people.isReady || !controller->performFetch()) {
    return state.SkipWithError("there is no sample");
  }
  // Those outside it move, so that all of it is followed from the first change to the last.
  std::unordered_set<const NSObject*> sampled;
  for (const Value& object : controller->fetchedObjects()) sampled.insert(object.object());
  std::vector<NSManagedObject*> others;
  for (const auto& object : people.objects) {
    if (sampled.count(object.get()) == 0) others.push_back(object.get());
  }
  const Ref<NSArray> before = controller->fetchedObjects();
  Moves moves(static_cast<int64_t>(others.size()));
  const auto move = [&] {
    NSManagedObject& object = *others[static_cast<std::size_t>(moves.element())];
    object.setValueForKey(moves.key(), "rank"_s);
    people.context->processPendingChanges();
  };
  move();  // the first look makes the index
  for (auto _ : state) move();
  reportItems(state, 1);
  require(state, before->isEqualToArray(controller->fetchedObjects()), "the sample is another one");
  // And one change inside it.
  const int64_t changes = counter->changes;
  as<NSManagedObject>(before->firstObject())->setValueForKey(2.5, "score"_s);
  people.context->processPendingChanges();
  require(state, counter->changes == changes + 1, "the delegate was not told of a change");
  controller->setDelegate(nullptr);
  people.context->rollback();
}

Ref<NSFetchedResultsController> resultsOf(const People& people) {
  auto results = NSFetchedResultsController::
      initWithFetchRequestManagedObjectContextSectionNameKeyPathCacheName(
          people.request, people.context, nullptr, nullptr);
  return people.isReady && results->performFetch() ? results : nullptr;
}

void draw(benchmark::State& state, int64_t count) {
  const People people(count);
  const auto results = resultsOf(people);
  if (!results) return state.SkipWithError("there are no results");
  Ref<Sample> sample;
  for (auto _ : state) {
    sample = Sample::initWithFetchedResultsControllerLimit(results, kSampled);
  }
  reportItems(state, kSampled);
  std::unordered_set<const NSObject*> distinct;
  for (const Value& object : sample->objects()) distinct.insert(object.object());
  require(state, distinct.size() == kSampled, "an object was drawn twice");
}

void bytes(benchmark::State& state, int64_t count) {
  const People people(count);
  const auto results = resultsOf(people);
  if (!results) return state.SkipWithError("there are no results");
  double each = 0;
  for (auto _ : state) {
    std::vector<Ref<Sample>> samples(200);
    // What the results set up when they are first asked.
    samples[0] = Sample::initWithFetchedResultsControllerLimit(results, kSampled);
    const std::size_t before = heapBytes();
    for (std::size_t i = 1; i < samples.size(); ++i) {
      samples[i] = Sample::initWithFetchedResultsControllerLimit(results, kSampled);
    }
    each = static_cast<double>(heapBytes() - before) / static_cast<double>(samples.size() - 1);
  }
  reportFigure(state, each);
}

[[maybe_unused]] const int registered = [] {
  for (const int64_t count : {1'000, 1'000'000}) {
    const auto add = [&](const char* row, const char* side, auto... run) {
      benchmark::RegisterBenchmark((std::string(row) + sizeName(count) + "/" + side).c_str(),
                                   run..., count)
          ->UseRealTime();
    };
    add("sample-batch-", "query-again", queryAgain);
    add("draw-", "ours", draw);
    const std::string row = std::string("sample-batch-") + sizeName(count);
    benchmark::RegisterBenchmark((row + "/ours").c_str(), follow, count, random)->UseRealTime();
    benchmark::RegisterBenchmark((row + "/sticky").c_str(), follow, count, sticky)->UseRealTime();
  }
  benchmark::RegisterBenchmark("sample-bytes/ours", bytes, 1'000'000)->Iterations(1);
  benchmark::RegisterBenchmark("sample-bytes/ours-of-1000", bytes, 1'000)->Iterations(1);
  return 0;
}();

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
