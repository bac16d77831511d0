#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/LongWork.h>
#include <JNFoundation/platform/store/impl/Metadata.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/store/sqlite/SQLiteStore.h>
#include <JNFoundation/platform/store/sqlite/impl/IntegrityCheck.h>
#include <JNFoundation/platform/store/sqlite/impl/SQLiteConnection.h>

namespace JNFoundation::inline v0_1 {

using impl::Database;
using impl::Schema;
using impl::Statement;

namespace {

namespace files = std::filesystem;

/// Before the names of an application's entries among the store's own.
constexpr std::string_view ownPrefix = "application:";

bool isBusy(const Database& database) { return (database.lastCode() & 0xff) == SQLITE_BUSY; }

/// What a file begins with.
enum class Beginning { Nothing, Ours, OtherDatabase, NoDatabase };

Beginning beginningOf(const std::string& path) {
  constexpr std::string_view magic("SQLite format 3\0", 16);
  constexpr std::size_t markPosition = 68;
  std::array<char, 100> head{};
  std::ifstream stream(path, std::ios::binary);
  stream.read(head.data(), head.size());
  if (stream.gcount() == 0) return Beginning::Nothing;
  if (std::string_view(head.data(), magic.size()) != magic) return Beginning::NoDatabase;
  std::int64_t mark = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    mark = mark << 8 | static_cast<unsigned char>(head[markPosition + i]);
  }
  return mark == Schema::applicationMark ? Beginning::Ours : Beginning::OtherDatabase;
}

/// Whether every entity has the table and the columns in the one that it has in the other.
bool areAlike(const Schema& left, const Schema& right, const NSManagedObjectModel& model) {
  for (const Ref<NSEntityDescription>& entity : model.entityList()) {
    const Schema::EntityMap& one = left.of(*entity);
    const Schema::EntityMap& other = right.of(*entity);
    const bool hasSameColumns = std::equal(
        one.columns.begin(), one.columns.end(), other.columns.begin(), other.columns.end(),
        [](const Schema::Column& column, const Schema::Column& match) {
          return column.name == match.name && column.attribute == match.attribute &&
                 column.entityColumn == match.entityColumn &&
                 column.positionColumn == match.positionColumn;
        });
    if (one.number != other.number || one.table != other.table || !hasSameColumns) return false;
    for (const std::size_t number : entity->layout().toManys()) {
      const NSRelationshipDescription& relationship = *entity->layout()[number].relationship;
      if (relationship.isTransient()) continue;
      const Schema::Link& link = left.of(relationship);
      const Schema::Link& match = right.of(relationship);
      if (link.table != match.table || link.near != match.near || link.far != match.far ||
          link.position != match.position) {
        return false;
      }
    }
  }
  return true;
}

}  // namespace

bool SQLiteStore::closed(Ref<NSError>* error) const {
  return refuse(NSPersistentStoreOperationError, "it was closed", error);
}

// ---- Metadata -----------------------------------------------------------------------------------

Ref<NSDictionary> SQLiteStore::readMetadata(Database& database, Ref<NSError>* error) const {
  const auto failed = [&] {
    impl::fail(error, database.error(NSSQLiteError, "The store's metadata cannot be read"));
    return nullptr;
  };
  std::vector<NSDictionary::Pair> hashes;
  Statement entities = database.prepare("SELECT name, version_hash FROM jn_entity ORDER BY number");
  if (!entities) return failed();
  Statement::Step step;
  while ((step = entities.step()) == Statement::Step::Row) {
    hashes.push_back({NSString::fromText(entities.text(0)), NSString::fromText(entities.text(1))});
  }
  if (step == Statement::Step::Failed) return failed();
  std::vector<NSDictionary::Pair> entries{
      {NSStoreTypeKey, type()},
      {NSStoreUUIDKey, nullptr},
      {NSStoreModelVersionHashesKey, NSDictionary::dictionaryWithEntries(std::move(hashes))}};
  Statement rows = database.prepare("SELECT key, value FROM jn_metadata ORDER BY key");
  if (!rows) return failed();
  while ((step = rows.step()) == Statement::Step::Row) {
    const std::string_view key = rows.text(0);
    if (key == "identifier") entries[1].value = Value(NSString::fromText(rows.text(1)));
    if (key.substr(0, ownPrefix.size()) != ownPrefix) continue;
    Value value = impl::metadataValue(rows.text(1));
    if (value.isNull()) {
      refuse(NSPersistentStoreOperationError, "its metadata is damaged", error);
      return nullptr;
    }
    entries.push_back({NSString::fromText(key.substr(ownPrefix.size())), std::move(value)});
  }
  if (step == Statement::Step::Failed) return failed();
  if (entries[1].value.isNull()) {
    refuse(NSPersistentStoreOperationError, "its metadata is damaged", error);
    return nullptr;
  }
  return NSDictionary::dictionaryWithEntries(std::move(entries));
}

Ref<NSDictionary> SQLiteStore::metadata(Ref<NSError>* error) {
  if (_connection) return readMetadata(_connection->database, error);
  closed(error);
  return nullptr;
}

bool SQLiteStore::setOwnMetadata(const Ref<NSDictionary>& metadata, Ref<NSError>* error) {
  if (!_connection) return closed(error);
  Database& database = _connection->database;
  const auto write = [&] {
    Statement removal =
        database.prepare("DELETE FROM jn_metadata WHERE substr(key, 1, length(?1)) = ?1");
    if (!removal) return false;
    removal.bind(1, ownPrefix);
    if (!removal.run()) return false;
    Statement insertion = database.prepare("INSERT INTO jn_metadata VALUES (?, ?)");
    if (!insertion) return false;
    for (const auto& entry : *metadata) {
      const std::string key = std::string(ownPrefix) + as<NSString>(entry.key)->toStdString();
      std::string text;
      impl::metadataText(entry.value, text);
      insertion.bind(1, std::string_view(key));
      insertion.bind(2, std::string_view(text));
      if (!insertion.run()) return false;
    }
    return database.execute("COMMIT");
  };
  if (!database.execute("BEGIN IMMEDIATE")) return failedToSave(error);
  if (write()) return true;
  failedToSave(error);
  if (sqlite3_get_autocommit(database.handle()) == 0) database.rollBack();
  return false;
}

Ref<NSDictionary> SQLiteStore::metadataOfFile(const Ref<NSURL>& url,
                                              const Ref<NSDictionary>& options,
                                              Ref<NSError>* error) {
  // A store of no entities: only what every file has is read.
  auto store =
      initWithModelConfigurationURLOptions(NSManagedObjectModel::init(), nullptr, url, options);
  const std::string path = store->beginOpening(error);
  if (path.empty()) return nullptr;
  std::error_code ignored;
  if (!files::exists(path, ignored)) {
    store->refuse(NSFileReadNoSuchFileError, "there is no such file", error);
    return nullptr;
  }
  Database& database = store->_connection->database;
  bool isNew = false;
  if (!store->openDatabase(database, path, false, error)) return nullptr;
  if (!store->checkFile(database, isNew, error)) return nullptr;
  if (isNew) {
    store->refuse(NSPersistentStoreOpenError, "the file is empty", error);
    return nullptr;
  }
  // It is ours: the log may be written back, and none is left behind.
  sqlite3_db_config(database.handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
  return store->readMetadata(database, error);
}

// ---- Checks and room ----------------------------------------------------------------------------

Ref<NSArray> SQLiteStore::integrityErrors(Ref<NSError>* error) {
  Database database;
  if (!openBeside(database, error)) return nullptr;
  impl::IntegrityCheck check(database, _connection->schema, *model(), longWork());
  if (check.run()) {
    std::vector<Value> sentences(check.findings().begin(), check.findings().end());
    return NSArray::arrayWithValues(std::move(sentences));
  }
  if (longWork().isToEnd()) {
    impl::fail(error, impl::cocoaError(NSUserCancelledError,
                                       "The check has ended, because the store is being closed."));
  } else {
    impl::fail(error, database.error(NSSQLiteError, "The store cannot be checked"));
  }
  return nullptr;
}

bool SQLiteStore::compact(Ref<NSError>* error) {
  if (!_connection) return closed(error);
  if (isReadOnly()) {
    return impl::fail(error, impl::cocoaError(NSPersistentStoreSaveError,
                                              "The store was opened to be read only."));
  }
  Database& database = _connection->database;
  // Without its log the file can only belong to one connection.
  if (!database.execute("PRAGMA journal_mode = DELETE")) {
    return impl::fail(error, database.error(NSPersistentStoreOperationError,
                                            "The store cannot be compacted while something else "
                                            "has its file open"));
  }
  const bool isDone = database.execute("VACUUM");
  if (!isDone) {
    impl::fail(error, database.error(NSPersistentStoreSaveError, "The store cannot be compacted"));
  }
  if (database.executeWhenFree("PRAGMA journal_mode = WAL")) return isDone;
  return isDone ? failedToSave(error) : false;
}

bool SQLiteStore::readSize(NSPersistentStoreSize& size, Ref<NSError>* error) {
  if (!_connection) return closed(error);
  Database& database = _connection->database;
  std::int64_t pageSize = 0, pages = 0, free = 0;
  if (!database.execute("BEGIN")) return failedToRead(error);
  const bool isRead = database.number("PRAGMA page_size", pageSize) &&
                      database.number("PRAGMA page_count", pages) &&
                      database.number("PRAGMA freelist_count", free);
  database.endReading();
  if (!isRead) return failedToRead(error);
  size.file = static_cast<std::uint64_t>(pageSize * pages);
  size.unused = static_cast<std::uint64_t>(pageSize * free);
  std::error_code missing;
  const auto log = files::file_size(URL()->path()->toStdString() + "-wal", missing);
  size.log = missing ? 0 : log;
  return true;
}

// ---- Suspension ---------------------------------------------------------------------------------

void SQLiteStore::releaseUnusedMemory() noexcept {
  if (_connection) _connection->database.releaseUnusedMemory();
}

bool SQLiteStore::isSuspended() const noexcept {
  return _connection && _connection->database.isSuspended();
}

bool SQLiteStore::suspend(Ref<NSError>* error) {
  if (!_connection || isSuspended()) return true;
  Database& database = _connection->database;
  bool isEmptied = true;
  if (!isReadOnly() && !_connection->saving) {
    // Who reads or writes meanwhile in another process keeps the log; there is no time to wait.
    database.setTimeout(0);
    isEmptied = database.execute("PRAGMA wal_checkpoint(TRUNCATE)") || isBusy(database);
    if (!isEmptied) {
      impl::fail(error, database.error(NSPersistentStoreSaveError,
                                       "The store's log cannot be written back into its file"));
    }
  }
  const bool isClosed = !_connection->saving && database.suspend([this] {
    Ref<NSError>& reason = _connection->reopeningError;
    reason = nullptr;
    if (reopen(&reason)) return true;
    const int code = _connection->database.lastCode();
    return _connection->database.refuse(code == SQLITE_OK ? SQLITE_CANTOPEN : code,
                                        reason->localizedDescription()->toStdString());
  });
  if (isClosed) return isEmptied;
  if (!isReadOnly()) database.setTimeout(_connection->settings.timeout);
  return impl::fail(error, impl::cocoaError(NSPersistentStoreOperationError,
                                            "The store is in use by the very call that wants to "
                                            "suspend it."));
}

bool SQLiteStore::resume(Ref<NSError>* error) {
  if (!isSuspended() || _connection->database.resume()) return true;
  return impl::fail(error, _connection->reopeningError);
}

bool SQLiteStore::reopen(Ref<NSError>* error) {
  const std::string path = URL()->path()->toStdString();
  std::error_code ignored;
  if (!files::exists(path, ignored)) {
    return refuse(NSFileReadNoSuchFileError, "the file is gone", error);
  }
  Database& database = _connection->database;
  bool isNew = false;
  if (!openDatabase(database, path, false, error) || !checkFile(database, isNew, error)) {
    return false;
  }
  if (isNew) return refuse(NSPersistentStoreOpenError, "the file is empty", error);
  const Ref<NSString> found = readIdentifier(database, error);
  if (!found) return false;
  if (found->utf8() != identifier()->utf8()) {
    return refuse(NSPersistentStoreOpenError, "another store stands in its place", error);
  }
  Schema schema;
  if (!readSchema(schema, error)) return false;
  if (!areAlike(schema, _connection->schema, *model())) {
    return refuse(NSPersistentStoreIncompatibleSchemaError, "its tables were made anew meanwhile",
                  error);
  }
  if (!applySettings(error)) return false;
  // Another connection counts anew.
  _connection->knownDataVersion = 0;
  sqlite3_db_config(database.handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
  return true;
}

// ---- The end ------------------------------------------------------------------------------------

bool SQLiteStore::destroyFile(const Ref<NSURL>& url, const Ref<NSDictionary>& options,
                              Ref<NSError>* error) {
  auto store =
      initWithModelConfigurationURLOptions(NSManagedObjectModel::init(), nullptr, url, options);
  const std::string path = store->beginOpening(error);
  if (path.empty()) return false;
  const auto refuse = [&](NSInteger code, const char* why) {
    return impl::fail(error, impl::cocoaError(code,
                                              NSString::stringWithFormat(
                                                  "The store %s cannot be deleted: %s", path, why),
                                              {{NSFilePathErrorKey, Value(path)}}));
  };
  if (store->isReadOnly()) {
    return refuse(NSPersistentStoreOperationError, "the options say that it is read only");
  }
  std::error_code trouble;
  if (files::exists(path, trouble)) {
    if (!files::is_regular_file(path, trouble)) {
      return refuse(NSPersistentStoreOperationError, "it is not a file");
    }
    const Beginning beginning = beginningOf(path);
    if (beginning == Beginning::NoDatabase) {
      return refuse(NSPersistentStoreOperationError, "it is not a store");
    }
    Database& database = store->_connection->database;
    std::int64_t mark = 0, objects = 0;
    // A file that was only just begun may have its mark in the log.
    const bool isRead = database.open(path, SQLITE_OPEN_READWRITE, 0) &&
                        sqlite3_db_config(database.handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1,
                                          nullptr) == SQLITE_OK &&
                        database.number("PRAGMA application_id", mark) &&
                        database.number("SELECT count(*) FROM sqlite_schema", objects);
    if (!isRead && isBusy(database)) {
      return refuse(NSPersistentStoreTimeoutError, "another process has it open");
    }
    const bool isOurs = isRead ? mark == Schema::applicationMark || (mark == 0 && objects == 0)
                               : beginning != Beginning::OtherDatabase;
    if (!isOurs) {
      return refuse(NSPersistentStoreOperationError, "it is a database of something else");
    }
    // This succeeds for the only connection; what is damaged fails in other ways, and may go.
    if (isRead && !database.execute("PRAGMA journal_mode = DELETE") && isBusy(database)) {
      return refuse(NSPersistentStoreTimeoutError, "another process has it open");
    }
    database.close();
  }
  // The file goes first: a log without its file is worth nothing, and SQLite knows it.
  for (const char* ending : {"", "-wal", "-shm", "-journal"}) {
    files::remove(path + ending, trouble);
    if (trouble) return refuse(NSFileWriteUnknownError, trouble.message().c_str());
  }
  return true;
}

}  // namespace JNFoundation
