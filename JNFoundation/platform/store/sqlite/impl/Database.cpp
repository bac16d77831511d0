#include "JNFoundation/platform/store/sqlite/impl/Database.h"

#include <chrono>

#include <JNFoundation/platform/store/impl/StoreErrors.h>

namespace JNFoundation::impl {

Statement& Statement::operator=(Statement&& other) noexcept {
  std::swap(_database, other._database);
  std::swap(_sql, other._sql);
  std::swap(_handle, other._handle);
  return *this;
}

Statement::~Statement() {
  if (_handle) _database->giveBack(std::move(_sql), _handle);
}

Statement::Step Statement::failed() {
  _database->note(sqlite3_extended_errcode(_database->_handle));
  sqlite3_reset(_handle);
  if (_database->pendingException) std::exchange(_database->pendingException, nullptr)->raise();
  return Step::Failed;
}

Database::~Database() { close(); }

bool Database::note(int code) {
  _lastCode = code;
  if (code == SQLITE_OK) return true;
  _lastMessage = _handle ? sqlite3_errmsg(_handle) : sqlite3_errstr(code);
  return false;
}

bool Database::open(const std::string& name, int flags, double timeout) {
  close();
  _path = name;
  _timeout = timeout;
  // The callers take turns, so that SQLite need not lock.
  const int code = sqlite3_open_v2(name.c_str(), &_handle, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  if (!note(code)) {
    sqlite3_close_v2(std::exchange(_handle, nullptr));
    return false;
  }
  sqlite3_extended_result_codes(_handle, 1);
  sqlite3_busy_timeout(_handle, static_cast<int>(timeout * 1000));
  // Text that comes from outside is a parameter; what stands in quotes is a name and nothing else.
  sqlite3_db_config(_handle, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
  sqlite3_db_config(_handle, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
  sqlite3_db_config(_handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(_handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  // Stores have neither triggers nor views; those of a file from elsewhere are not run.
  sqlite3_db_config(_handle, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_db_config(_handle, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
  return registerFunctions(*this);
}

bool Database::close() noexcept {
  for (auto& [sql, statement] : _idle) sqlite3_finalize(statement);
  _idle.clear();
  return sqlite3_close_v2(std::exchange(_handle, nullptr)) == SQLITE_OK;
}

bool Database::execute(const char* sql) {
  if (!_handle) return note(SQLITE_MISUSE);
  sqlite3_exec(_handle, sql, nullptr, nullptr, nullptr);
  return note(sqlite3_extended_errcode(_handle));
}

bool Database::executeWhenFree(const char* sql) {
  constexpr int pauseMilliseconds = 5;
  const auto start = std::chrono::steady_clock::now();
  while (!execute(sql)) {
    const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - start;
    if ((_lastCode & 0xff) != SQLITE_BUSY || waited.count() >= _timeout) return false;
    sqlite3_sleep(pauseMilliseconds);
  }
  return true;
}

Statement Database::prepare(std::string sql) {
  if (const auto found = _idle.find(sql); found != _idle.end()) {
    sqlite3_stmt* handle = found->second;
    _idle.erase(found);
    return Statement(*this, std::move(sql), handle);
  }
  sqlite3_stmt* handle = nullptr;
  if (!_handle) {
    note(SQLITE_MISUSE);
    return Statement();
  }
  if (!note(sqlite3_prepare_v3(_handle, sql.data(), static_cast<int>(sql.size()),
                               SQLITE_PREPARE_PERSISTENT, &handle, nullptr))) {
    return Statement();
  }
  return Statement(*this, std::move(sql), handle);
}

void Database::giveBack(std::string sql, sqlite3_stmt* handle) noexcept {
  constexpr std::size_t cacheLimit = 100;
  sqlite3_reset(handle);
  sqlite3_clear_bindings(handle);
  if (!_handle || _idle.size() >= cacheLimit || !_idle.emplace(std::move(sql), handle).second) {
    sqlite3_finalize(handle);
  }
}

bool Database::number(const char* sql, std::int64_t& result) {
  Statement statement = prepare(sql);
  if (!statement || statement.step() != Statement::Step::Row) return false;
  result = statement.integer(0);
  return true;
}

Ref<NSError> Database::error(NSInteger code, const Ref<NSString>& sentence) const {
  const int primary = _lastCode & 0xff;
  if (primary == SQLITE_BUSY || primary == SQLITE_LOCKED) code = NSPersistentStoreTimeoutError;
  Ref<NSError> cause = NSError::errorWithDomainCodeUserInfo(
      NSSQLiteErrorDomain, _lastCode,
      NSDictionary::dictionaryWithEntries({{NSLocalizedDescriptionKey, _lastMessage}}));
  return cocoaError(code, NSString::stringWithFormat("%@ (%s)", sentence, _lastMessage),
                    {{NSFilePathErrorKey, _path}, {NSUnderlyingErrorKey, cause}});
}

}  // namespace JNFoundation::impl
