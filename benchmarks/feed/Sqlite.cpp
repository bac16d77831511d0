#include "feed/Sqlite.h"

#include <stdexcept>

#include "feed/BenchTable.h"

namespace bench {

Database::Database(const std::string& path) {
  if (sqlite3_open(path.c_str(), &_handle) != SQLITE_OK) fail("opening a database");
  execute(kJournalMode);
  execute(kSynchronous);
}

Database::~Database() { sqlite3_close(_handle); }

void Database::execute(const char* sql) {
  if (sqlite3_exec(_handle, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail(sql);
}

void Database::fail(const char* doing) const {
  throw std::runtime_error(std::string(doing) + ": " + sqlite3_errmsg(_handle));
}

Statement::Statement(Database& database, const char* sql) : _database(database) {
  if (sqlite3_prepare_v2(database.handle(), sql, -1, &_handle, nullptr) != SQLITE_OK) {
    database.fail(sql);
  }
}

Statement::~Statement() { sqlite3_finalize(_handle); }

}  // namespace bench
