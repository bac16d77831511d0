// SOCI's SQLite backend beneath the same simdjson reader as the limit, with bound variables.

#include <benchmark/benchmark.h>
#include <soci/soci.h>
#include <soci/sqlite3/soci-sqlite3.h>
#include <vector>

#include "Figures.h"
#include "feed/BenchTable.h"
#include "feed/RecordReader.h"

namespace bench {
namespace {

constexpr const char* kNamedInsert =
    "INSERT INTO record VALUES (:identifier, :quantity, :price, :weight, :name, :category, "
    ":barcode, :note, :available, :updated)";

// The variables that a statement is bound to: SOCI has no 64-bit type but long long, and no bool.
struct Variables {
  long long identifier;
  long long quantity;
  double price;
  double weight;
  std::string name;
  std::string category;
  std::string barcode;
  std::string note;
  int available;
  double updated;
};

void open(soci::session& session, const std::string& path) {
  session.open(soci::sqlite3, path);
  session << kJournalMode;
  session << kSynchronous;
}

void import(benchmark::State& state) {
  const std::string json = recordFeed();
  for (auto _ : state) {
    state.PauseTiming();
    const std::string path = freshFile("soci-import");
    {
      soci::session session;
      open(session, path);
      session << kCreateTable;
      state.ResumeTiming();
      soci::transaction transaction(session);
      Variables at{};
      soci::statement insert = (session.prepare << kNamedInsert, soci::use(at.identifier),
                                soci::use(at.quantity), soci::use(at.price), soci::use(at.weight),
                                soci::use(at.name), soci::use(at.category), soci::use(at.barcode),
                                soci::use(at.note), soci::use(at.available), soci::use(at.updated));
      forEachRecord(json, [&](const RecordView& record) {
        at.identifier = record.identifier;
        at.quantity = record.quantity;
        at.price = record.price;
        at.weight = record.weight;
        at.name = record.name;
        at.category = record.category;
        at.barcode = record.barcode;
        at.note = record.note;
        at.available = record.available ? 1 : 0;
        at.updated = record.updated;
        insert.execute(true);
      });
      transaction.commit();
      state.PauseTiming();
    }
    require(state, problemOfTable(path));
    removeFile(path);
    state.ResumeTiming();
  }
  reportItems(state, kRecords);
}
BENCHMARK(import)->Name("import/SOCI")->UseRealTime()->Iterations(3);

void objects(benchmark::State& state) {
  const std::string path = freshFile("soci-objects");
  writeTable(path);
  const Tally expected = expectedTally();
  {
    soci::session session;
    open(session, path);
    for (auto _ : state) {
      Variables at{};
      soci::statement select =
          (session.prepare << kSelect, soci::into(at.identifier), soci::into(at.quantity),
           soci::into(at.price), soci::into(at.weight), soci::into(at.name),
           soci::into(at.category), soci::into(at.barcode), soci::into(at.note),
           soci::into(at.available), soci::into(at.updated));
      std::vector<Record> records;
      select.execute();
      while (select.fetch()) {
        records.push_back({at.identifier, at.quantity, at.price, at.weight, at.name, at.category,
                           at.barcode, at.note, at.available != 0, at.updated});
      }
      Tally tally;
      for (const Record& record : records) tally.add(record);
      require(state, tally == expected, "the records differ from the feed's");
    }
  }
  removeFile(path);
  reportItems(state, kRecords);
}
BENCHMARK(objects)->Name("objects/SOCI")->UseRealTime()->Iterations(5);

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
