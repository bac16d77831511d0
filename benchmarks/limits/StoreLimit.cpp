// The least that an import and a load can cost on these libraries: simdjson straight into one
// prepared sqlite3 statement, and a step loop into structs.

#include <benchmark/benchmark.h>
#include <vector>

#include "Figures.h"
#include "feed/BenchTable.h"
#include "feed/RecordReader.h"
#include "feed/Sqlite.h"

namespace bench {
namespace {

// The file is opened and its table created beforehand; it is closed and read back afterwards.
void import(benchmark::State& state) {
  const std::string json = recordFeed();
  for (auto _ : state) {
    state.PauseTiming();
    const std::string path = freshFile("limit-import");
    {
      Database database(path);
      database.execute(kCreateTable);
      state.ResumeTiming();
      database.execute("BEGIN");
      {
        Statement insert(database, kInsert);
        forEachRecord(json, [&](const RecordView& record) { insert.insertRecord(record); });
      }
      database.execute("COMMIT");
      state.PauseTiming();
    }
    require(state, problemOfTable(path));
    removeFile(path);
    state.ResumeTiming();
  }
  reportItems(state, kRecords);
}
BENCHMARK(import)->Name("import/limit")->UseRealTime()->Iterations(3);

void objects(benchmark::State& state) {
  const std::string path = freshFile("limit-objects");
  writeTable(path);
  const Tally expected = expectedTally();
  {
    Database database(path);
    for (auto _ : state) {
      Statement select(database, kSelect);
      std::vector<Record> records;
      while (select.step()) select.readRecord(records.emplace_back());
      Tally tally;
      for (const Record& record : records) tally.add(record);
      require(state, tally == expected, "the records differ from the feed's");
    }
  }
  removeFile(path);
  reportItems(state, kRecords);
}
BENCHMARK(objects)->Name("objects/limit")->UseRealTime()->Iterations(5);

}  // namespace
}  // namespace bench

BENCHMARK_MAIN();
