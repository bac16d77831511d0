// SQLiteCpp beneath the same simdjson reader as the limit: it brings no JSON parser of its own.

#include <SQLiteCpp/SQLiteCpp.h>
#include <benchmark/benchmark.h>
#include <vector>

#include "Figures.h"
#include "feed/BenchTable.h"
#include "feed/RecordReader.h"

namespace bench {
namespace {

void configure(SQLite::Database& database) {
  database.exec(kJournalMode);
  database.exec(kSynchronous);
}

void import(benchmark::State& state) {
  const std::string json = recordFeed();
  for (auto _ : state) {
    state.PauseTiming();
    const std::string path = freshFile("sqlitecpp-import");
    {
      SQLite::Database database(path, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
      configure(database);
      database.exec(kCreateTable);
      state.ResumeTiming();
      SQLite::Transaction transaction(database);
      SQLite::Statement insert(database, kInsert);
      forEachRecord(json, [&](const RecordView& record) {
        insert.bind(1, record.identifier);
        insert.bind(2, record.quantity);
        insert.bind(3, record.price);
        insert.bind(4, record.weight);
        insert.bind(5, std::string(record.name));
        insert.bind(6, std::string(record.category));
        insert.bind(7, std::string(record.barcode));
        insert.bind(8, std::string(record.note));
        insert.bind(9, record.available ? 1 : 0);
        insert.bind(10, record.updated);
        insert.exec();
        insert.reset();
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
BENCHMARK(import)->Name("import/SQLiteCpp")->UseRealTime()->Iterations(3);

void objects(benchmark::State& state) {
  const std::string path = freshFile("sqlitecpp-objects");
  writeTable(path);
  const Tally expected = expectedTally();
  {
    SQLite::Database database(path, SQLite::OPEN_READWRITE);
    configure(database);
    for (auto _ : state) {
      SQLite::Statement select(database, kSelect);
      std::vector<Record> records;
      while (select.executeStep()) {
        Record& record = records.emplace_back();
        record.identifier = select.getColumn(0).getInt64();
        record.quantity = select.getColumn(1).getInt64();
        record.price = select.getColumn(2).getDouble();
        record.weight = select.getColumn(3).getDouble();
        record.name = select.getColumn(4).getString();
        record.category = select.getColumn(5).getString();
        record.barcode = select.getColumn(6).getString();
        record.note = select.getColumn(7).getString();
        record.available = select.getColumn(8).getInt() != 0;
        record.updated = select.getColumn(9).getDouble();
      }
      Tally tally;
      for (const Record& record : records) tally.add(record);
      require(state, tally == expected, "the records differ from the feed's");
    }
  }
  removeFile(path);
  reportItems(state, kRecords);
}
BENCHMARK(objects)->Name("objects/SQLiteCpp")->UseRealTime()->Iterations(5);

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
