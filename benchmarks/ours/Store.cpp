// The whole way in, from JSON text through data map and context to committed rows, and the whole
// way out, from rows to objects of which every attribute is read.

#include <benchmark/benchmark.h>

#include "Figures.h"
#include "MappedFeed.h"
#include "feed/BenchTable.h"
#include "feed/RecordFeed.h"

#include <JNFoundation/platform/json/NSJSONSerialization.h>

namespace bench {
namespace {

bool importFeed(const std::string& json, const Ref<NSManagedObjectContext>& context) {
  const Ref<NSEntityDescription> entity = FeedRecord::entityInManagedObjectContext(context);
  const bool isRead = NSJSONSerialization::enumerateElementsOfTextOptionsErrorUsingBlock(
      json, NSJSONReadingPlain, nullptr, [&](const Value& record, NSUInteger, bool&) {
        const auto object =
            NSManagedObject::initWithEntityInsertIntoManagedObjectContext(entity, context);
        static_cast<FeedRecord&>(*object).mergeDictionary(as<NSDictionary>(Value(record)));
      });
  return isRead && context->save(nullptr);
}

/// What reading every attribute of every object adds up to.
Tally tallyOf(const NSArray& objects) {
  Tally tally;
  for (const Value& value : objects) {
    addObject(tally, static_cast<const NSManagedObject&>(*value.object()));
  }
  return tally;
}

Tally tallyOfStore(const Ref<NSManagedObjectContext>& context) {
  auto request = NSFetchRequest::fetchRequestWithEntityName("FeedRecord");
  const Ref<NSArray> objects = context->executeFetchRequestError(request);
  return objects ? tallyOf(*objects) : Tally();
}

void import(benchmark::State& state) {
  const std::string json = recordFeed();
  const Tally expected = expectedTally();
  const Ref<NSManagedObjectModel> model = makeFeedModel();
  for (auto _ : state) {
    state.PauseTiming();
    const std::string path = freshFile("ours-import");
    {
      const Ref<NSManagedObjectContext> context = openFeedStore(model, path);
      require(state, context && true, "the store cannot be opened");
      if (!context) break;
      state.ResumeTiming();
      const bool isImported = importFeed(json, context);
      state.PauseTiming();
      require(state, isImported, "the feed was not imported");
    }
    require(state, tallyOfStore(openFeedStore(model, path)) == expected,
            "the store's values differ from the feed's");
    removeFile(path);
    state.ResumeTiming();
  }
  reportItems(state, kRecords);
}
BENCHMARK(import)->Name("import/ours")->UseRealTime()->Iterations(3);

void objects(benchmark::State& state) {
  const std::string path = freshFile("ours-objects");
  const Tally expected = expectedTally();
  const Ref<NSManagedObjectModel> model = makeFeedModel();
  require(state, importFeed(recordFeed(), openFeedStore(model, path)), "the feed was not imported");
  {
    const Ref<NSManagedObjectContext> context = openFeedStore(model, path);
    for (auto _ : state) {
      require(state, tallyOfStore(context) == expected, "the objects differ from the feed's");
    }
  }
  removeFile(path);
  reportItems(state, kRecords);
}
BENCHMARK(objects)->Name("objects/ours")->UseRealTime()->Iterations(5);

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
