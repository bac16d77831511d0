#include "JNFoundation/platform/store/sqlite/impl/Database.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <limits>

#include <JNFoundation/platform/store/impl/StatementObservation.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

using StatementClock = std::chrono::steady_clock;

/// The most statements, and the most plans, that are kept.
constexpr std::size_t cacheLimit = 100;

/// Whether a statement is one that SQLite plans. Others may take effect even when only explained.
bool hasPlan(std::string_view sql) noexcept {
  constexpr std::string_view planned[] = {"SELECT", "INSERT", "UPDATE", "DELETE"};
  return std::any_of(std::begin(planned), std::end(planned),
                     [&](std::string_view word) { return sql.substr(0, word.size()) == word; });
}

}  // namespace

Statement& Statement::operator=(Statement&& other) noexcept {
  std::swap(_database, other._database);
  _entry.swap(other._entry);
  std::swap(_handle, other._handle);
  std::swap(_timing, other._timing);
  return *this;
}

Statement::~Statement() {
  if (!_handle) return;
  if (_timing) reset();
  _database->giveBack(std::move(_entry));
}

int Statement::timedStep() {
  const auto start = StatementClock::now();
  const int code = sqlite3_step(_handle);
  _timing->duration += StatementClock::now() - start;
  _timing->hasRun = true;
  if (code == SQLITE_ROW) {
    ++_timing->rowCount;
  } else if (code != SQLITE_DONE) {
    _timing->code = sqlite3_extended_errcode(_database->_handle);
  }
  return code;
}

void Statement::tell() noexcept {
  if (!_timing->hasRun) return;
  const Timing timing = std::exchange(*_timing, Timing());
  StatementTrace trace;
  trace.path = _database->_path;
  trace.sql = _entry.key();
  trace.parameterCount = sqlite3_bind_parameter_count(_handle);
  trace.rowCount = timing.rowCount;
  trace.duration = timing.duration;
  trace.code = timing.code;
  if (observesPlans()) trace.plan = _database->planOf(_entry.key());
  tellStatementObserver(trace);
}

Statement::Step Statement::failed() {
  _database->note(sqlite3_extended_errcode(_database->_handle));
  reset();
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
  // The callers take turns, so that SQLite need not lock.
  const int code = sqlite3_open_v2(name.c_str(), &_handle, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  if (!note(code)) {
    sqlite3_close_v2(std::exchange(_handle, nullptr));
    return false;
  }
  sqlite3_extended_result_codes(_handle, 1);
  setTimeout(timeout);
  // Text that comes from outside is a parameter; what stands in quotes is a name and nothing else.
  sqlite3_db_config(_handle, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
  sqlite3_db_config(_handle, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
  sqlite3_db_config(_handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(_handle, SQLITE_DBCONFIG_ENABLE_FKEY, 1, nullptr);
  sqlite3_db_config(_handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  // Stores have neither triggers nor views; those of a file from elsewhere are not run.
  sqlite3_db_config(_handle, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_db_config(_handle, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
  return registerFunctions(*this);
}

void Database::setTimeout(double seconds) noexcept {
  // SQLite counts milliseconds in an int.
  constexpr double most = std::numeric_limits<int>::max();
  _timeout = seconds;
  sqlite3_busy_timeout(_handle, static_cast<int>(std::clamp(seconds * 1000, 0.0, most)));
}

bool Database::close() noexcept {
  for (auto& [sql, statement] : _idle) sqlite3_finalize(statement);
  _idle.clear();
  _plans.clear();
  return sqlite3_close_v2(std::exchange(_handle, nullptr)) == SQLITE_OK;
}

bool Database::suspend(Block<bool()> reopen) {
  if (isSuspended()) return true;
  for (auto& [sql, statement] : _idle) sqlite3_finalize(statement);
  _idle.clear();
  if (_handle && sqlite3_next_stmt(_handle, nullptr)) {
    return refuse(SQLITE_BUSY, "a statement is under way");
  }
  close();
  _reopen = std::move(reopen);
  return true;
}

bool Database::resume() {
  if (!isSuspended()) return _handle || note(SQLITE_MISUSE);
  // What the block runs must not ask for it again.
  Block<bool()> reopen = std::exchange(_reopen, nullptr);
  bool isOpen = false;
  try {
    isOpen = reopen();
  } catch (...) {
    close();
    _reopen = std::move(reopen);
    throw;
  }
  if (isOpen) return true;
  close();
  _reopen = std::move(reopen);
  return false;
}

bool Database::refuse(int code, std::string message) {
  _lastCode = code;
  _lastMessage = std::move(message);
  return false;
}

int Database::run(const char* sql, bool notes) {
  const bool observed = observesStatements();
  const auto start = observed ? StatementClock::now() : StatementClock::time_point();
  const int code = sqlite3_exec(_handle, sql, nullptr, nullptr, nullptr);
  const auto end = observed ? StatementClock::now() : StatementClock::time_point();
  if (notes) note(code);
  if (!observed) return code;
  StatementTrace trace;
  trace.duration = end - start;
  trace.path = _path;
  trace.sql = sql;
  trace.code = code;
  tellStatementObserver(trace);
  return code;
}

bool Database::execute(const char* sql) {
  if (!_handle && !resume()) return false;
  return run(sql, true) == SQLITE_OK;
}

const std::string& Database::planOf(const std::string& sql) {
  static const std::string none;
  if (!hasPlan(sql)) return none;
  if (const auto known = _plans.find(sql); known != _plans.end()) return known->second;
  if (_plans.size() >= cacheLimit) _plans.clear();
  std::string& plan = _plans[sql];
  sqlite3_stmt* statement = nullptr;
  const std::string question = "EXPLAIN QUERY PLAN " + sql;
  if (sqlite3_prepare_v2(_handle, question.data(), static_cast<int>(question.size()), &statement,
                         nullptr) == SQLITE_OK) {
    // Each step names the one that it is below, which came before.
    std::unordered_map<int, std::size_t> depths;
    while (sqlite3_step(statement) == SQLITE_ROW) {
      const auto above = depths.find(sqlite3_column_int(statement, 1));
      const std::size_t depth = above == depths.end() ? 0 : above->second + 1;
      depths[sqlite3_column_int(statement, 0)] = depth;
      if (!plan.empty()) plan += '\n';
      plan.append(2 * depth, ' ');
      const auto* detail = reinterpret_cast<const char*>(sqlite3_column_text(statement, 3));
      plan += detail ? detail : "";
    }
  }
  sqlite3_finalize(statement);
  return plan;
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
  if (StatementsByText::node_type known = _idle.extract(sql)) return statementOf(std::move(known));
  sqlite3_stmt* handle = nullptr;
  if (!_handle && !resume()) return Statement();
  if (!note(sqlite3_prepare_v3(_handle, sql.data(), static_cast<int>(sql.size()),
                               SQLITE_PREPARE_PERSISTENT, &handle, nullptr))) {
    return Statement();
  }
  StatementsByText fresh;
  fresh.emplace(std::move(sql), handle);
  return statementOf(fresh.extract(fresh.begin()));
}

Statement Database::statementOf(StatementsByText::node_type entry) {
  Statement statement(*this, std::move(entry));
  if (observesStatements()) statement._timing = std::make_unique<Statement::Timing>();
  return statement;
}

void Database::giveBack(StatementsByText::node_type entry) noexcept {
  sqlite3_stmt* handle = entry.mapped();
  sqlite3_reset(handle);
  sqlite3_clear_bindings(handle);
  const bool isKept =
      _handle && _idle.size() < cacheLimit && _idle.insert(std::move(entry)).inserted;
  if (!isKept) sqlite3_finalize(handle);
}

unsigned Database::dataVersion() const noexcept {
  unsigned version = 0;
  sqlite3_file_control(_handle, "main", SQLITE_FCNTL_DATA_VERSION, &version);
  return version;
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
