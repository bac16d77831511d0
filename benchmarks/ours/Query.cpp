// Questions to a store and to values in memory, each beside the least that it can cost. The raw
// side of a question to a store runs the very SQL that ours has run, on the same file.

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <vector>

#include "Figures.h"
#include "RecordStore.h"
#include "feed/BenchTable.h"
#include "feed/RecordFeed.h"
#include "feed/Sqlite.h"

#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/StatementTrace.h>

namespace bench {
namespace {

using namespace JNFoundation;

constexpr NSUInteger kLimit = 100;
/// The quantities from which on a query looks, one after the other.
constexpr int64_t kQuantityStep = 997;
constexpr int64_t kQuantities = 98'000;
constexpr int64_t kManyObjects = 1'000'000;

/// The last statement that a fetch runs, as its store words it.
std::string sqlOf(const Ref<NSManagedObjectContext>& context, const Ref<NSFetchRequest>& request) {
  std::string sql;
  const StatementObserverScope scope([&](const StatementTrace& trace) { sql = trace.sql; });
  context->executeFetchRequestError(request);
  return sql;
}

// ---- query --------------------------------------------------------------------------------------

Ref<NSFetchRequest> requestFrom(int64_t quantity) {
  auto request = NSFetchRequest::fetchRequestWithEntityName("Record");
  request->setPredicate(NSPredicate::predicateWithFormat("quantity >= %@", quantity));
  request->setSortDescriptors(
      NSArray::arrayWithObject(NSSortDescriptor::sortDescriptorWithKeyAscending("quantity", true)));
  request->setFetchLimit(kLimit);
  return request;
}

/// The sum of the quantities of what one query of each quantity finds.
int64_t sumOfQueries() {
  std::vector<std::pair<int64_t, int64_t>> ordered;
  for (std::size_t i = 0; i < kRecords; ++i) {
    const Record record = recordAt(i);
    ordered.emplace_back(record.quantity, record.identifier);
  }
  std::stable_sort(ordered.begin(), ordered.end(),
                   [](const auto& left, const auto& right) { return left.first < right.first; });
  int64_t sum = 0;
  for (int64_t from = 0; from < kQuantities; from += kQuantityStep) {
    auto found = std::lower_bound(
        ordered.begin(), ordered.end(), from,
        [](const auto& entry, int64_t quantity) { return entry.first < quantity; });
    for (NSUInteger i = 0; i < kLimit && found != ordered.end(); ++i, ++found) {
      sum += found->first;
    }
  }
  return sum;
}

constexpr int64_t kQueries = (kQuantities + kQuantityStep - 1) / kQuantityStep;

void query(benchmark::State& state) {
  const RecordStore records("ours-query");
  require(state, records.isSaved, "the store was not made");
  const int64_t expected = sumOfQueries();
  const Ref<NSManagedObjectContext> context = openStore(records.model, records.path);
  const Ref<NSString> key = "quantity"_s;
  std::vector<Ref<NSFetchRequest>> requests;
  for (int64_t from = 0; from < kQuantities; from += kQuantityStep) {
    requests.push_back(requestFrom(from));
  }
  for (auto _ : state) {
    int64_t sum = 0;
    for (const Ref<NSFetchRequest>& request : requests) {
      const Ref<NSArray> found = context->executeFetchRequestError(request);
      for (const Value& object : *found) {
        sum += static_cast<NSManagedObject*>(object.object())->valueForKey(key).longLongValue();
      }
    }
    require(state, sum == expected, "the queries found other records");
  }
  reportItems(state, kQueries);
}
BENCHMARK(query)->Name("query/ours")->UseRealTime();

void queryLimit(benchmark::State& state) {
  const RecordStore records("limit-query");
  const int64_t expected = sumOfQueries();
  const std::string sql = sqlOf(openStore(records.model, records.path), requestFrom(1));
  Database database(records.path);
  Statement statement(database, sql.c_str());
  constexpr int firstColumn = 3;
  for (auto _ : state) {
    int64_t sum = 0;
    for (int64_t from = 0; from < kQuantities; from += kQuantityStep) {
      statement.bind(1, from);
      statement.bind(2, static_cast<int64_t>(kLimit));
      statement.bind(3, int64_t{0});
      std::vector<Record> found;
      while (statement.step()) statement.readRecord(found.emplace_back(), firstColumn);
      statement.reset();
      for (const Record& record : found) sum += record.quantity;
    }
    require(state, sum == expected, "the queries found other records");
  }
  reportItems(state, kQueries);
}
BENCHMARK(queryLimit)->Name("query/limit")->UseRealTime();

// ---- ids ----------------------------------------------------------------------------------------

Ref<NSFetchRequest> requestOfIdentifiers() {
  auto request = NSFetchRequest::fetchRequestWithEntityName("Record");
  request->setResultType(NSManagedObjectIDResultType);
  return request;
}

void ids(benchmark::State& state) {
  const RecordStore records("ours-ids");
  const Ref<NSManagedObjectContext> context = openStore(records.model, records.path);
  const Ref<NSFetchRequest> request = requestOfIdentifiers();
  for (auto _ : state) {
    const Ref<NSArray> found = context->executeFetchRequestError(request);
    require(state, found && found->count() == kRecords, "there are not as many identifiers");
  }
  reportItems(state, kRecords);
}
BENCHMARK(ids)->Name("ids/ours")->UseRealTime();

void idsLimit(benchmark::State& state) {
  const RecordStore records("limit-ids");
  const std::string sql = sqlOf(openStore(records.model, records.path), requestOfIdentifiers());
  struct Identity {
    int64_t number, version, entity;
  };
  Database database(records.path);
  Statement statement(database, sql.c_str());
  for (auto _ : state) {
    std::vector<Identity> found;
    while (statement.step()) {
      found.push_back({statement.integer(0), statement.integer(1), statement.integer(2)});
    }
    statement.reset();
    require(state, found.size() == kRecords, "there are not as many identifiers");
  }
  reportItems(state, kRecords);
}
BENCHMARK(idsLimit)->Name("ids/limit")->UseRealTime();

// ---- open ---------------------------------------------------------------------------------------

/// A store of a million objects, made as quickly as SQLite can.
struct LargeStore {
  explicit LargeStore(const char* side) : path(freshFile(side)), model(makeModel()) {
    openStore(model, path);
    Database database(path);
    const std::string count = std::to_string(kManyObjects);
    database.execute(("WITH RECURSIVE number(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM number "
                      "WHERE n < " +
                      count +
                      ") INSERT INTO object_Record (_pk, _entity, _version, identifier, quantity, "
                      "name) SELECT n, 1, 1, n, n % 1000, 'name ' || n FROM number")
                         .c_str());
    database.execute(("UPDATE jn_entity SET next_key = 1 + " + count).c_str());
    database.execute("PRAGMA wal_checkpoint(TRUNCATE)");
  }
  ~LargeStore() { removeFile(path); }
  LargeStore(const LargeStore&) = delete;
  LargeStore& operator=(const LargeStore&) = delete;

  std::string path;
  Ref<NSManagedObjectModel> model;
};

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// What is closed is closed outside the time.
void open(benchmark::State& state) {
  const LargeStore large("ours-open");
  auto request = NSFetchRequest::fetchRequestWithEntityName("Record");
  require(state,
          openStore(large.model, large.path)->countForFetchRequestError(request) == kManyObjects,
          "the store has not as many objects");
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    const Ref<NSManagedObjectContext> context = openStore(large.model, large.path);
    state.SetIterationTime(secondsSince(start));
    require(state, context && true, "the store cannot be opened");
  }
  reportItems(state, 1);
}
BENCHMARK(open)->Name("open/ours")->UseManualTime();

void openLimit(benchmark::State& state) {
  const LargeStore large("limit-open");
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    Database database(large.path);
    int objects = 0;
    {
      Statement schema(database, "SELECT type, name, tbl_name, rootpage, sql FROM sqlite_schema");
      while (schema.step()) ++objects;
    }
    state.SetIterationTime(secondsSince(start));
    require(state, objects > 3, "the schema was not read");
  }
  reportItems(state, 1);
}
BENCHMARK(openLimit)->Name("open/limit")->UseManualTime();

// ---- filter -------------------------------------------------------------------------------------

Ref<NSArray> dictionaries() {
  return Ref<NSArray>(as<NSArray>(NSJSONSerialization::JSONObjectWithTextOptionsError(
      recordFeed(), NSJSONReadingPlain, nullptr)));
}

constexpr const char* kFilter =
    "quantity > 30000 AND available == YES AND category != 'office supplies'";

/// The same by hand, from the same dictionaries.
bool isWanted(const NSDictionary& record) {
  static const Ref<NSString> quantity = "quantity"_s;
  static const Ref<NSString> available = "available"_s;
  static const Ref<NSString> category = "category"_s;
  return record.find(*quantity)->longLongValue() > 30000 && record.find(*available)->boolValue() &&
         as<NSString>(*record.find(*category))->utf8() != "office supplies";
}

NSUInteger countOfWanted(const NSArray& records) {
  NSUInteger count = 0;
  for (const Value& record : records) count += isWanted(*as<NSDictionary>(record)) ? 1 : 0;
  return count;
}

void filter(benchmark::State& state) {
  const Ref<NSArray> records = dictionaries();
  const NSUInteger expected = countOfWanted(*records);
  require(state, expected > 1000 && expected < kRecords, "the filter says nothing");
  const Ref<NSPredicate> predicate = NSPredicate::predicateWithFormat(kFilter);
  for (auto _ : state) {
    const Ref<NSArray> found = filteredArrayUsingPredicate(records, predicate);
    require(state, found->count() == expected, "other records were found");
  }
  reportItems(state, kRecords);
}
BENCHMARK(filter)->Name("filter/ours")->UseRealTime();

void filterLimit(benchmark::State& state) {
  const Ref<NSArray> records = dictionaries();
  const NSUInteger expected = countOfWanted(*records);
  const auto wanted = [](const Value& record) { return isWanted(*as<NSDictionary>(record)); };
  for (auto _ : state) {
    std::vector<Value> found;
    for (const Value& record : *records) {
      if (wanted(record)) found.push_back(record);
    }
    require(state, found.size() == expected, "other records were found");
  }
  reportItems(state, kRecords);
}
BENCHMARK(filterLimit)->Name("filter/limit")->UseRealTime();

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
