// What single objects of a store cost: one that is changed and saved, one that is looked up by its
// identifier, and the memory of one that was loaded. Each beside the least that it can cost.

#include <algorithm>
#include <benchmark/benchmark.h>
#include <random>
#include <thread>
#include <unordered_map>
#include <vector>

#include "Figures.h"
#include "HeapGrowth.h"
#include "RecordStore.h"
#include "feed/RecordFeed.h"
#include "feed/Sqlite.h"

#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/store/StatementTrace.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace bench {
namespace {

/// The objects of the feed's first records, in the order of their numbers, with their values read.
Ref<NSArray> loadedObjects(const Ref<NSManagedObjectContext>& context, NSUInteger count = 0) {
  auto request = NSFetchRequest::fetchRequestWithEntityName("Record");
  request->setFetchLimit(count);
  const Ref<NSArray> objects = context->executeFetchRequestError(request);
  for (const Value& object : *objects) {
    for (const char* key : kKeys) as<NSManagedObject>(object)->valueForKey(key);
  }
  return objects;
}

// ---- save-one -----------------------------------------------------------------------------------

constexpr NSUInteger kObjectsSaved = 1000;

void runTurn() {
  NSRunLoop::mainRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantPast());
}

/// The sum of the prices that a file has.
double sumOfPrices(const std::string& path) {
  Database database(path);
  Statement statement(database, "SELECT CAST(sum(price) AS INTEGER) FROM object_Record");
  return statement.step() ? static_cast<double>(statement.integer(0)) : -1;
}

void saveOne(benchmark::State& state) {
  const RecordStore records("ours-save-one");
  const Ref<NSManagedObjectContext> context = openStore(records.model, records.path);
  const Ref<NSArray> objects = loadedObjects(context);
  const Ref<NSString> key = "price"_s;
  for (const Value& object : *objects) as<NSManagedObject>(object)->setValueForKey(0.0, key);
  context->save();
  std::vector<double> prices(kObjectsSaved);
  NSUInteger turn = 0;
  bool isSaved = true;
  for (auto _ : state) {
    const NSUInteger number = turn++ % kObjectsSaved;
    prices[number] = static_cast<double>(turn);
    const Value& object = objects->objectAtIndex(number * (kRecords / kObjectsSaved));
    static_cast<NSManagedObject*>(object.object())->setValueForKey(prices[number], key);
    isSaved = context->save() && isSaved;
    // The change has posted the end of its turn.
    runTurn();
  }
  double sum = 0;
  for (const double price : prices) sum += price;
  require(state, isSaved && sumOfPrices(records.path) == sum, "the file has other prices");
  reportItems(state, 1);
}
BENCHMARK(saveOne)->Name("save-one/ours")->UseRealTime();

/// The statement that saving one change runs.
std::string sqlOfSave(const RecordStore& records) {
  std::string sql;
  const Ref<NSManagedObjectContext> context = openStore(records.model, records.path);
  const Ref<NSArray> objects = loadedObjects(context, 1);
  as<NSManagedObject>(objects->firstObject())->setValueForKey(1.0, "price");
  const StatementObserverScope scope([&](const StatementTrace& trace) {
    if (trace.sql.substr(0, 6) == "UPDATE") sql = trace.sql;
  });
  context->save();
  return sql;
}

void saveOneLimit(benchmark::State& state) {
  const RecordStore records("limit-save-one");
  const std::string sql = sqlOfSave(records);
  Database database(records.path);
  database.execute("UPDATE object_Record SET price = 0.0, _version = 1");
  Statement begin(database, "BEGIN IMMEDIATE"), update(database, sql.c_str()),
      commit(database, "COMMIT");
  std::vector<double> prices(kObjectsSaved);
  std::vector<int64_t> versions(kObjectsSaved, 1);
  NSUInteger turn = 0;
  bool isSaved = true;
  for (auto _ : state) {
    const NSUInteger number = turn++ % kObjectsSaved;
    prices[number] = static_cast<double>(turn);
    begin.step();
    begin.reset();
    update.bind(1, prices[number]);
    update.bind(2, static_cast<int64_t>(1 + number * (kRecords / kObjectsSaved)));
    update.bind(3, versions[number]++);
    update.step();
    isSaved = sqlite3_changes(database.handle()) == 1 && isSaved;
    update.reset();
    commit.step();
    commit.reset();
  }
  double sum = 0;
  for (const double price : prices) sum += price;
  require(state, isSaved && sumOfPrices(records.path) == sum, "the file has other prices");
  reportItems(state, 1);
}
BENCHMARK(saveOneLimit)->Name("save-one/limit")->UseRealTime();

// ---- registered ---------------------------------------------------------------------------------

/// The objects' identifiers in an order that no cache foresees.
std::vector<Ref<NSManagedObjectID>> shuffledIDs(const NSArray& objects) {
  std::vector<Ref<NSManagedObjectID>> identifiers;
  for (const Value& object : objects) {
    identifiers.push_back(as<NSManagedObject>(object)->objectID());
  }
  std::shuffle(identifiers.begin(), identifiers.end(), std::mt19937_64(1));
  return identifiers;
}

void registered(benchmark::State& state) {
  const RecordStore records("ours-registered");
  const Ref<NSManagedObjectContext> context = openStore(records.model, records.path);
  const Ref<NSArray> objects = loadedObjects(context);
  const std::vector<Ref<NSManagedObjectID>> identifiers = shuffledIDs(*objects);
  for (auto _ : state) {
    std::size_t found = 0;
    for (const Ref<NSManagedObjectID>& identifier : identifiers) {
      const Ref<NSManagedObject> object = context->registeredObjectForID(identifier);
      found += object && !object->isFault() ? 1 : 0;
    }
    require(state, found == kRecords, "not every object was found");
  }
  for (const Ref<NSManagedObjectID>& identifier : identifiers) {
    require(state, context->registeredObjectForID(identifier)->objectID() == identifier,
            "another object was found");
  }
  reportItems(state, kRecords);
}
BENCHMARK(registered)->Name("registered/ours")->UseRealTime();

// The same objects, so that what stands where in memory is the same.
void registeredLimit(benchmark::State& state) {
  const RecordStore records("limit-registered");
  const Ref<NSManagedObjectContext> context = openStore(records.model, records.path);
  const Ref<NSArray> objects = loadedObjects(context);
  const std::vector<Ref<NSManagedObjectID>> identifiers = shuffledIDs(*objects);
  std::unordered_map<int64_t, NSManagedObject*> table;
  for (const Value& value : *objects) {
    auto* object = static_cast<NSManagedObject*>(value.object());
    table.emplace(object->objectID()->number(), object);
  }
  for (auto _ : state) {
    std::size_t found = 0;
    for (const Ref<NSManagedObjectID>& identifier : identifiers) {
      const auto place = table.find(identifier->number());
      found += place != table.end() && !place->second->isFault() ? 1 : 0;
    }
    require(state, found == kRecords, "not every object was found");
  }
  reportItems(state, kRecords);
}
BENCHMARK(registeredLimit)->Name("registered/limit")->UseRealTime();

// ---- object-bytes -------------------------------------------------------------------------------

void objectBytes(benchmark::State& state) {
  const RecordStore records("ours-object-bytes");
  for (auto _ : state) {
    const Ref<NSManagedObjectContext> context = openStore(records.model, records.path);
    // SQLite fills its cache, which is no object's.
    loadedObjects(context);
    const size_t before = heapBytes();
    const Ref<NSArray> objects = loadedObjects(context);
    const size_t handles = objects->count() * sizeof(Value);
    const size_t after = heapBytes();
    require(state, context->registeredObjects()->count() == kRecords, "not all are loaded");
    reportFigure(state, static_cast<double>(after - before - handles) / kRecords);
  }
}
BENCHMARK(objectBytes)->Name("object-bytes/ours")->Iterations(1);

void objectBytesLimit(benchmark::State& state) {
  for (auto _ : state) {
    const size_t before = heapBytes();
    std::vector<Record> records;
    records.reserve(kRecords);
    for (size_t i = 0; i < kRecords; ++i) {
      records.push_back(recordAt(i));
      Record& record = records.back();
      // The strings have no more room than they need.
      for (auto* text : {&record.name, &record.category, &record.barcode, &record.note}) {
        *text = std::string(*text);
      }
    }
    const size_t after = heapBytes();
    require(state, records.back().identifier != 0, "the records are empty");
    reportFigure(state, static_cast<double>(after - before) / kRecords);
  }
}
BENCHMARK(objectBytesLimit)->Name("object-bytes/limit")->Iterations(1);

// ---- registered, with threads -------------------------------------------------------------------

// Until the process starts its second thread, references are counted without atomic instructions,
// and a context's table is not locked. No process returns to one thread, so this comes last.
void registeredWithThreads(benchmark::State& state) {
  std::thread([] {}).join();
  registered(state);
}
BENCHMARK(registeredWithThreads)->Name("registered/ours-with-threads")->UseRealTime();

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
