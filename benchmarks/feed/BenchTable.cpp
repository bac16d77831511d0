#include "feed/BenchTable.h"

#include <cstdio>
#include <sqlite3.h>
#include <unistd.h>

#include "feed/Sqlite.h"

namespace bench {

std::string freshFile(const char* side) {
  std::string path = std::string(side) + "-" + std::to_string(getpid()) + ".sqlite";
  removeFile(path);
  return path;
}

void removeFile(const std::string& path) {
  for (const char* suffix : {"", "-wal", "-shm"}) std::remove((path + suffix).c_str());
}

void writeTable(const std::string& path) {
  Database database(path);
  database.execute(kCreateTable);
  database.execute("BEGIN");
  Statement insert(database, kInsert);
  for (size_t i = 0; i < kRecords; ++i) insert.insertRecord(recordAt(i));
  database.execute("COMMIT");
  database.execute("PRAGMA wal_checkpoint(TRUNCATE)");
}

std::string problemOfTable(const std::string& path) {
  Database database(path);
  Statement select(database, kSelect);
  Tally tally;
  size_t rows = 0;
  for (; select.step(); ++rows) {
    Record record;
    select.readRecord(record);
    tally.add(record);
  }
  if (rows != kRecords) return "the table has " + std::to_string(rows) + " rows";
  if (tally != expectedTally()) return "the table's values differ from the feed's";
  return "";
}

}  // namespace bench
