#pragma once

#include <chrono>
#include <memory>
#include <sqlite3.h>
#include <string>
#include <string_view>
#include <unordered_map>

#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1::impl {

class Database;

/// Prepared statements by their text.
using StatementsByText = std::unordered_map<std::string, sqlite3_stmt*>;

/// A prepared statement, taken from its database's cache and given back at the end of the scope.
class Statement {
 public:
  enum class Step { Row, Done, Failed };

  Statement() noexcept = default;
  Statement(Statement&& other) noexcept
      : _database(other._database),
        _entry(std::move(other._entry)),
        _handle(std::exchange(other._handle, nullptr)),
        _timing(std::move(other._timing)) {}
  Statement& operator=(Statement&& other) noexcept;
  ~Statement();

  explicit operator bool() const noexcept { return _handle != nullptr; }
  sqlite3_stmt* handle() const noexcept { return _handle; }

  // Parameters count from 1. Text and bytes are borrowed until the statement is bound again.
  void bind(int parameter, std::int64_t number) noexcept {
    sqlite3_bind_int64(_handle, parameter, number);
  }
  void bind(int parameter, double number) noexcept {
    sqlite3_bind_double(_handle, parameter, number);
  }
  void bind(int parameter, std::string_view text) noexcept {
    sqlite3_bind_text64(_handle, parameter, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
  }
  void bindNull(int parameter) noexcept { sqlite3_bind_null(_handle, parameter); }

  /// Fails: what a function of ours raised meanwhile is raised again.
  Step step() {
    const int code = _timing ? timedStep() : sqlite3_step(_handle);
    if (code == SQLITE_ROW) return Step::Row;
    if (code == SQLITE_DONE) return Step::Done;
    return failed();
  }
  /// Runs a statement that gives no rows, and makes it ready for the next run.
  bool run() {
    const Step result = step();
    reset();
    return result == Step::Done;
  }
  void reset() noexcept {
    sqlite3_reset(_handle);
    if (_timing) tell();
  }

  std::string_view text(int column) const noexcept {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(_handle, column));
    return {bytes ? bytes : "", static_cast<std::size_t>(sqlite3_column_bytes(_handle, column))};
  }
  std::int64_t integer(int column) const noexcept { return sqlite3_column_int64(_handle, column); }

 private:
  friend class Database;
  Statement(Database& database, StatementsByText::node_type entry) noexcept
      : _database(&database), _entry(std::move(entry)), _handle(_entry.mapped()) {}

  /// What an observer is to be told of the run so far.
  struct Timing {
    std::chrono::nanoseconds duration{0};
    std::uint64_t rowCount = 0;
    int code = SQLITE_OK;
    bool hasRun = false;
  };

  Step failed();
  int timedStep();
  /// Tells the observer of the run that has ended, if there was one.
  void tell() noexcept;

  Database* _database = nullptr;
  /// The cache's entry. Empty without a handle.
  StatementsByText::node_type _entry;
  sqlite3_stmt* _handle = nullptr;
  /// Only while statements are observed.
  std::unique_ptr<Timing> _timing;
};

/// A connection to one file: statements by their text, and errors as NSError.
/// Threads: one at a time.
class Database {
 public:
  Database() noexcept = default;
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  /// Takes: flags of sqlite3_open_v2. Fails: returns false; `lastCode` says why.
  bool open(const std::string& name, int flags, double timeout);
  bool isOpen() const noexcept { return _handle != nullptr; }
  /// How many seconds to wait from now on for another connection that is in the way.
  void setTimeout(double seconds) noexcept;
  /// Fails: returns false when statements are in use.
  bool close() noexcept;

  /// Closes the file for the time being: the next statement has the block open it again, which
  /// calls `open` and looks whether it is the same file. Fails: returns false, and has changed
  /// nothing, when statements are in use.
  bool suspend(Block<bool()> reopen);
  bool isSuspended() const noexcept { return _reopen != nullptr; }
  /// Gives back the pages that are kept to be read again.
  void releaseUnusedMemory() noexcept {
    if (_handle) sqlite3_db_release_memory(_handle);
  }
  /// Has the block of `suspend` open the file, if that has not happened.
  /// Fails: returns false; `lastCode` says why, and the file stays closed.
  bool resume();

  /// Runs statements that take no parameters and give no rows.
  bool execute(const char* sql);
  /// The same for one statement that will be run again and again.
  bool executeOften(const char* sql) {
    Statement statement = prepare(sql);
    return statement && statement.run();
  }
  /// As `execute`, tried again while another connection is in the way, for as long as `open` was
  /// told to wait: where two wait for each other's locks, SQLite lets one fail at once.
  bool executeWhenFree(const char* sql);
  /// Ends a transaction that has written nothing; the last failure stays what it is.
  void endReading() { run("COMMIT", false); }
  /// Takes back what the transaction has written; the last failure stays what it is.
  void rollBack() { run("ROLLBACK", false); }
  /// Returns: a false statement on failure.
  Statement prepare(std::string sql);
  /// The one number that a statement gives. Returns: false on failure.
  bool number(const char* sql, std::int64_t& result);

  /// A number that changes with each write to the file, be it somebody else's, as far as this
  /// connection has seen it: in a transaction, up to now. Runs no statement.
  unsigned dataVersion() const noexcept;

  sqlite3* handle() const noexcept { return _handle; }
  int lastCode() const noexcept { return _lastCode; }
  int changes() const noexcept { return sqlite3_changes(_handle); }
  const std::string& path() const noexcept { return _path; }

  /// Makes this the last failure, for what SQLite itself has nothing against.
  /// Returns: false, so that a failing operation may return it.
  bool refuse(int code, std::string message);

  /// An error of NSCocoaErrorDomain with the connection's last failure beneath it. A file that
  /// stays locked gives 134090 whatever the code asked for.
  Ref<NSError> error(NSInteger code, const Ref<NSString>& sentence) const;

  /// What a function called by SQLite raised; it cannot pass through SQLite itself.
  Ref<NSException> pendingException;

 private:
  friend class Statement;

  bool note(int code);
  /// Runs statements, and notes how that ended or keeps the failure before. Returns: SQLite's code.
  int run(const char* sql, bool notes);
  Statement statementOf(StatementsByText::node_type entry);
  /// How SQLite goes about a statement, a line for each step.
  const std::string& planOf(const std::string& sql);
  void giveBack(StatementsByText::node_type entry) noexcept;

  sqlite3* _handle = nullptr;
  std::string _path;
  /// In seconds.
  double _timeout = 0;
  int _lastCode = SQLITE_OK;
  std::string _lastMessage;
  StatementsByText _idle;
  /// Null unless the file is closed for the time being.
  Block<bool()> _reopen;
  /// Plans that observers were told, by the statement's text.
  std::unordered_map<std::string, std::string> _plans;
};

/// Registers the functions and collations by which SQL gives the answers of predicates and sort
/// descriptors: jn_text(operator, options, text, pattern), and jn_caseInsensitive, jn_localized,
/// jn_localizedCaseInsensitive and jn_localizedStandard.
bool registerFunctions(Database& database);

}  // namespace JNFoundation::impl
