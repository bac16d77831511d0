#pragma once

#include <cstdint>
#include <sqlite3.h>
#include <string>
#include <string_view>

#include "feed/RecordFeed.h"

// The least that stands between the sqlite3 calls and C++: what the limits are made of.
namespace bench {

// An open database with the settings of BenchTable.h. Every failure throws std::runtime_error.
class Database {
 public:
  explicit Database(const std::string& path);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  void execute(const char* sql);
  [[noreturn]] void fail(const char* doing) const;

  sqlite3* handle() const { return _handle; }

 private:
  sqlite3* _handle = nullptr;
};

// One prepared statement over the columns of BenchTable.h.
class Statement {
 public:
  Statement(Database& database, const char* sql);
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  // True while there is a row.
  bool step() {
    const int code = sqlite3_step(_handle);
    if (code == SQLITE_ROW) return true;
    if (code != SQLITE_DONE) _database.fail("stepping a statement");
    return false;
  }

  void reset() { sqlite3_reset(_handle); }
  void bind(int index, int64_t number) { sqlite3_bind_int64(_handle, index, number); }
  void bind(int index, double number) { sqlite3_bind_double(_handle, index, number); }
  int64_t integer(int column) const { return sqlite3_column_int64(_handle, column); }

  // Binds and inserts a Record or a RecordView.
  template <typename AnyRecord>
  void insertRecord(const AnyRecord& record) {
    sqlite3_bind_int64(_handle, 1, record.identifier);
    sqlite3_bind_int64(_handle, 2, record.quantity);
    sqlite3_bind_double(_handle, 3, record.price);
    sqlite3_bind_double(_handle, 4, record.weight);
    bindText(5, record.name);
    bindText(6, record.category);
    bindText(7, record.barcode);
    bindText(8, record.note);
    sqlite3_bind_int(_handle, 9, record.available);
    sqlite3_bind_double(_handle, 10, record.updated);
    step();
    sqlite3_reset(_handle);
  }

  // Reads the row that the last step() came to; its columns begin at that one.
  void readRecord(Record& record, int first = 0) {
    record.identifier = sqlite3_column_int64(_handle, first);
    record.quantity = sqlite3_column_int64(_handle, first + 1);
    record.price = sqlite3_column_double(_handle, first + 2);
    record.weight = sqlite3_column_double(_handle, first + 3);
    readText(first + 4, record.name);
    readText(first + 5, record.category);
    readText(first + 6, record.barcode);
    readText(first + 7, record.note);
    record.available = sqlite3_column_int(_handle, first + 8) != 0;
    record.updated = sqlite3_column_double(_handle, first + 9);
  }

 private:
  void bindText(int index, std::string_view text) {
    sqlite3_bind_text(_handle, index, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
  }

  void readText(int column, std::string& text) {
    const unsigned char* bytes = sqlite3_column_text(_handle, column);
    text.assign(reinterpret_cast<const char*>(bytes),
                static_cast<size_t>(sqlite3_column_bytes(_handle, column)));
  }

  Database& _database;
  sqlite3_stmt* _handle = nullptr;
};

}  // namespace bench
