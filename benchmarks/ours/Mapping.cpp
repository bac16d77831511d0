// Decoded records onto objects, one at a time and as a whole feed a second time, and what dates
// cost on the way. The limits have the same records and, for the second import, a file of the same
// columns.

#include <benchmark/benchmark.h>
#include <cstring>
#include <vector>

#include "Figures.h"
#include "MappedFeed.h"
#include "feed/BenchTable.h"
#include "feed/RecordFeed.h"
#include "feed/RecordReader.h"
#include "feed/Sqlite.h"

#include <JNFoundation/importing/RecordImport.h>
#include <JNFoundation/mapping/NSDictionary+Extensions.h>
#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/value/NSDate.h>

namespace bench {
namespace {

// ---- date ---------------------------------------------------------------------------------------

constexpr std::size_t kDates = 1000;

std::vector<std::string> dateTexts() {
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < kDates; ++i) {
    const int n = static_cast<int>(i);
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", 1970 + n % 80,
                  1 + n % 12, 1 + n % 28, n % 24, n % 60, n * 7 % 60, n);
    texts.emplace_back(text);
  }
  return texts;
}

double expectedSeconds() {
  double sum = 0;
  for (const std::string& text : dateTexts()) sum += secondsOfDateText(text);
  return sum;
}

void date(benchmark::State& state) {
  std::vector<Ref<NSString>> texts;
  for (const std::string& text : dateTexts()) texts.emplace_back(text.c_str());
  double sum = 0;
  for (auto _ : state) {
    sum = 0;
    for (const Ref<NSString>& text : texts) {
      sum += parseRFC3339DateTimeString(text).timeIntervalSince1970();
    }
    benchmark::DoNotOptimize(sum);
  }
  reportItems(state, kDates);
  require(state, sum == expectedSeconds(), "a date was read wrongly");
}
BENCHMARK(date)->Name("date/ours")->UseRealTime();

// The fastest that we can write: places are fixed, no character is looked at for what it is.
double uncheckedSeconds(const char* at) {
  const auto two = [at](int place) { return (at[place] - '0') * 10 + (at[place + 1] - '0'); };
  const int month = two(5);
  const int year = two(0) * 100 + two(2) - (month <= 2 ? 1 : 0);
  const int dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + two(8) - 1;
  const int days = year * 365 + year / 4 - year / 100 + year / 400 + dayOfYear - 719468;
  const int64_t seconds = int64_t{days} * 86400 + two(11) * 3600 + two(14) * 60 + two(17);
  const int milliseconds = (at[20] - '0') * 100 + two(21);
  return static_cast<double>(seconds * 1000 + milliseconds) / 1000;
}

void dateUnchecked(benchmark::State& state) {
  const std::vector<std::string> texts = dateTexts();
  double sum = 0;
  for (auto _ : state) {
    sum = 0;
    for (const std::string& text : texts) sum += uncheckedSeconds(text.c_str());
    benchmark::DoNotOptimize(sum);
  }
  reportItems(state, kDates);
  require(state, sum == expectedSeconds(), "a date was read wrongly");
}
BENCHMARK(dateUnchecked)->Name("date/limit")->UseRealTime();

// ---- map ----------------------------------------------------------------------------------------

constexpr std::size_t kMapped = 1000;

// Every turn gives each object another record than the last one did, so that each value is another.
std::size_t recordOf(std::size_t object, std::size_t turn) { return (object + turn) % kMapped; }

void map(benchmark::State& state) {
  const Ref<NSManagedObjectModel> model = makeFeedModel();
  const std::string path = freshFile("ours-map");
  {
    const Ref<NSManagedObjectContext> context = openFeedStore(model, path);
    const std::string json = recordFeed(kMapped);
    const auto records =
        NSJSONSerialization::JSONObjectWithTextOptionsError(json, NSJSONReadingPlain, nullptr);
    const auto* decoded = as<NSArray>(records);
    const Ref<NSEntityDescription> entity = FeedRecord::entityInManagedObjectContext(context);
    std::vector<Ref<FeedRecord>> objects;
    for (std::size_t i = 0; i < kMapped; ++i) {
      const auto object =
          NSManagedObject::initWithEntityInsertIntoManagedObjectContext(entity, context);
      objects.emplace_back(static_cast<FeedRecord*>(object.get()));
    }
    std::vector<Ref<NSDictionary>> dictionaries;
    for (const Value& record : *decoded) dictionaries.emplace_back(as<NSDictionary>(record));
    std::size_t turn = 0;
    for (auto _ : state) {
      for (std::size_t i = 0; i < kMapped; ++i) {
        objects[i]->mergeDictionary(dictionaries[recordOf(i, turn)]);
      }
      ++turn;
    }
    Tally tally;
    for (const Ref<FeedRecord>& object : objects) addObject(tally, *object);
    Tally expected;
    for (std::size_t i = 0; i < kMapped; ++i) expected.add(recordAt(recordOf(i, turn - 1)));
    require(state, tally == expected, "the objects differ from the records");
  }
  removeFile(path);
  reportItems(state, kMapped);
}
BENCHMARK(map)->Name("map/ours")->UseRealTime();

void mapByHand(benchmark::State& state) {
  const std::string json = recordFeed(kMapped);
  simdjson::dom::parser parser;
  const simdjson::dom::array decoded = parser.parse(json);
  std::vector<simdjson::dom::object> dictionaries;
  for (const simdjson::dom::element record : decoded) dictionaries.emplace_back(record);
  std::vector<Record> objects(kMapped);
  std::size_t turn = 0;
  for (auto _ : state) {
    for (std::size_t i = 0; i < kMapped; ++i) {
      const simdjson::dom::object& from = dictionaries[recordOf(i, turn)];
      Record& record = objects[i];
      record.identifier = from["identifier"];
      record.quantity = from["quantity"];
      record.price = from["price"];
      record.weight = from["weight"];
      record.name = std::string_view(from["name"]);
      record.category = std::string_view(from["category"]);
      record.barcode = std::string_view(from["barcode"]);
      record.note = std::string_view(from["note"]);
      record.available = from["available"];
      record.updated = secondsOfDateText(from["updated"]);
    }
    ++turn;
    benchmark::ClobberMemory();
  }
  Tally tally, expected;
  for (const Record& record : objects) tally.add(record);
  for (std::size_t i = 0; i < kMapped; ++i) expected.add(recordAt(recordOf(i, turn - 1)));
  require(state, tally == expected, "the structs differ from the records");
  reportItems(state, kMapped);
}
BENCHMARK(mapByHand)->Name("map/limit")->UseRealTime();

// ---- reimport -----------------------------------------------------------------------------------

Ref<ImportReport> importAll(const Ref<NSData>& json, const Ref<NSManagedObjectContext>& context) {
  Ref<ImportReport> report;
  bool hasSettled = false;
  const auto imported = importRecordsFromJSON(json, "FeedRecord", context, {.slice = 1e9});
  imported.untyped()->thenEither([&](const Value& value) {
    report = Ref<ImportReport>(as<ImportReport>(value));
    hasSettled = true;
    return value;
  });
  while (!hasSettled) {
    NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantFuture());
  }
  return report;
}

void reimport(benchmark::State& state) {
  const Ref<NSData> json = NSData::dataWithText(recordFeed());
  const Ref<NSManagedObjectModel> model = makeFeedModel(true);
  const std::string path = freshFile("ours-reimport");
  require(state, importAll(json, openFeedStore(model, path)) != nullptr, "nothing was imported");
  for (auto _ : state) {
    state.PauseTiming();
    {
      const Ref<NSManagedObjectContext> context = openFeedStore(model, path);
      state.ResumeTiming();
      const Ref<ImportReport> report = importAll(json, context);
      state.PauseTiming();
      require(state, report && report->unchanged() == kRecords, "a record was not the same");
    }
    state.ResumeTiming();
  }
  removeFile(path);
  reportItems(state, kRecords);
}
BENCHMARK(reimport)->Name("reimport/ours")->UseRealTime()->Iterations(3);

void reimportByHand(benchmark::State& state) {
  const std::string json = recordFeed();
  const std::string path = freshFile("limit-reimport");
  writeTable(path);
  const std::string select = std::string(kSelect) + " WHERE identifier = ?";
  for (auto _ : state) {
    state.PauseTiming();
    {
      Database database(path);
      state.ResumeTiming();
      database.execute("BEGIN");
      std::size_t same = 0;
      {
        Statement find(database, select.c_str());
        Record present;
        forEachRecord(json, [&](const RecordView& record) {
          find.bind(1, record.identifier);
          if (find.step()) {
            find.readRecord(present);
            same += present.identifier == record.identifier &&
                    present.quantity == record.quantity && present.price == record.price &&
                    present.weight == record.weight && present.name == record.name &&
                    present.category == record.category && present.barcode == record.barcode &&
                    present.note == record.note && present.available == record.available &&
                    present.updated == record.updated;
          }
          find.reset();
        });
      }
      database.execute("COMMIT");
      state.PauseTiming();
      require(state, same == kRecords, "a record was not the same");
    }
    state.ResumeTiming();
  }
  removeFile(path);
  reportItems(state, kRecords);
}
BENCHMARK(reimportByHand)->Name("reimport/limit")->UseRealTime()->Iterations(3);

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
