#include "JNFoundation/platform/store/sqlite/SQLiteStore.h"

#include <filesystem>

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/store/sqlite/impl/SQLiteConnection.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation::inline v0_1 {

using impl::Schema;
using impl::Statement;

constinit const Class SQLiteStore::classObject = Class::of<SQLiteStore>("SQLiteStore");

namespace {

Value option(const Ref<NSDictionary>& options, const char* name) {
  return options ? options->objectForKey(name) : Value();
}

/// Whether there is a log beside the file that holds pages of it.
bool hasLog(const std::string& path) {
  std::error_code trouble;
  const auto size = std::filesystem::file_size(path + "-wal", trouble);
  return !trouble && size > 0;
}

}  // namespace

SQLiteStore::SQLiteStore(const Ref<NSManagedObjectModel>& model, const Ref<NSString>& configuration,
                         const Ref<NSURL>& url, const Ref<NSDictionary>& options)
    : NSPersistentStore(model, configuration, url, options) {}

SQLiteStore::~SQLiteStore() = default;

Ref<SQLiteStore> SQLiteStore::initWithModelConfigurationURLOptions(
    const Ref<NSManagedObjectModel>& model, const Ref<NSString>& configuration,
    const Ref<NSURL>& url, const Ref<NSDictionary>& options) {
  return Ref<SQLiteStore>::adopt(new SQLiteStore(model, configuration, url, options));
}

Ref<NSString> SQLiteStore::type() const { return NSString::interned(NSSQLiteStoreType); }

bool SQLiteStore::refuse(NSInteger code, const Ref<NSString>& why, Ref<NSError>* error) const {
  return impl::fail(
      error,
      impl::cocoaError(code,
                       NSString::stringWithFormat("The store %@ cannot be opened: %@",
                                                  URL() ? Value(URL()->path()) : Value(), why),
                       {{NSFilePathErrorKey, URL() ? Value(URL()->path()) : Value()}}));
}

bool SQLiteStore::refuseUnwritable(Ref<NSError>* error) const {
  return refuse(NSPersistentStoreOpenError,
                "the file cannot be written to; NSReadOnlyPersistentStoreOption reads it", error);
}

bool SQLiteStore::open(Ref<NSError>* error) {
  const std::string path = beginOpening(error);
  if (!path.empty()) {
    std::error_code ignored;
    const bool exists = std::filesystem::exists(path, ignored);
    if (!exists && isReadOnly()) {
      refuse(NSFileReadNoSuchFileError, "there is no such file", error);
    } else if (openFile(path, exists, error)) {
      return true;
    }
  }
  _connection.reset();
  return false;
}

std::string SQLiteStore::beginOpening(Ref<NSError>* error) {
  if (!URL() || !URL()->path() || URL()->path()->utf8().empty()) {
    refuse(NSPersistentStoreOpenError, "it has no file URL", error);
    return "";
  }
  setReadOnly(option(options(), NSReadOnlyPersistentStoreOption).boolValue());
  _connection = std::make_unique<impl::SQLiteConnection>();
  std::string problem;
  if (!_connection->settings.read(options(), problem)) {
    refuse(NSPersistentStoreOpenError, NSString::fromText(problem), error);
    return "";
  }
  return URL()->path()->toStdString();
}

bool SQLiteStore::openFile(const std::string& path, bool exists, Ref<NSError>* error) {
  bool isNew = !exists;
  if (!openDatabase(_connection->database, path, !isReadOnly(), error)) return false;
  if (exists && !checkFile(_connection->database, isNew, error)) return false;
  if (isReadOnly()) {
    if (isNew) return refuse(NSPersistentStoreOpenError, "the file is empty", error);
    return readTables(error) && applySettings(error);
  }
  return prepareForWriting(isNew, error);
}

bool SQLiteStore::openDatabase(impl::Database& database, const std::string& path, bool mayCreate,
                               Ref<NSError>* error) const {
  const double seconds = _connection->settings.timeout;
  const int flags = (isReadOnly() ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE) |
                    (mayCreate ? SQLITE_OPEN_CREATE : 0);
  // Some names mean something of their own to SQLite; a path never does.
  const std::string name = std::filesystem::path(path).is_absolute() ? path : "./" + path;
  if (!database.open(name, flags, seconds)) {
    return impl::fail(error,
                      database.error(NSPersistentStoreOpenError, "The store cannot be opened"));
  }
  // Until it is known to be ours, not even what its log holds is written into the file.
  sqlite3_db_config(database.handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  std::int64_t ignored;
  if (isReadOnly() && !database.number("PRAGMA schema_version", ignored) &&
      ((database.lastCode() & 0xff) == SQLITE_CANTOPEN ||
       (database.lastCode() & 0xff) == SQLITE_READONLY) &&
      !hasLog(path)) {
    // In a directory that cannot be written to there is no place for the log's index; without a log
    // the file is complete in itself.
    const Ref<NSURL> url = NSURL::fileURLWithPath(std::filesystem::absolute(path).string());
    if (!database.open(url->absoluteString()->toStdString() + "?immutable=1",
                       flags | SQLITE_OPEN_URI, seconds)) {
      return impl::fail(error,
                        database.error(NSPersistentStoreOpenError, "The store cannot be opened"));
    }
  }
  return true;
}

/// Looks whose file it is, without writing to it.
bool SQLiteStore::checkFile(impl::Database& database, bool& isNew, Ref<NSError>* error) const {
  std::int64_t mark, format, objects, pageSize;
  // One look in one transaction, since another process may be making the store meanwhile.
  const bool isRead = database.execute("BEGIN") && database.number("PRAGMA application_id", mark) &&
                      database.number("PRAGMA page_size", pageSize) &&
                      database.number("PRAGMA user_version", format) &&
                      database.number("SELECT count(*) FROM sqlite_schema", objects);
  database.endReading();
  if (!isRead) {
    if (!isReadOnly() && (database.lastCode() & 0xff) == SQLITE_READONLY) {
      return refuseUnwritable(error);
    }
    return impl::fail(error,
                      database.error(NSPersistentStoreOpenError, "The file is not a usable store"));
  }
  // A file that was only just begun has nothing in it.
  isNew = mark == 0 && format == 0 && objects == 0;
  if (isNew) return true;
  if (mark != Schema::applicationMark) {
    return refuse(NSPersistentStoreOpenError, "the file is a database of something else", error);
  }
  if (format != Schema::formatVersion) {
    return refuse(
        NSPersistentStoreIncompatibleSchemaError,
        NSString::stringWithFormat("it has format %lld, and this release knows format %lld "
                                   "only",
                                   format, Schema::formatVersion),
        error);
  }
  // SQLite takes what is missing of the last page for zeros, that is for records without values.
  std::error_code trouble;
  const std::string path = URL()->path()->toStdString();
  const auto size = std::filesystem::file_size(path, trouble);
  if (!trouble && !hasLog(path) && size % static_cast<std::uintmax_t>(pageSize) != 0) {
    return refuse(NSPersistentStoreOpenError, "the file has been cut off", error);
  }
  return true;
}

bool SQLiteStore::prepareForWriting(bool isNew, Ref<NSError>* error) {
  impl::Database& database = _connection->database;
  if (sqlite3_db_readonly(database.handle(), "main") == 1) return refuseUnwritable(error);
  if (!isNew && (!migrateIfAsked(error) || !readTables(error))) return false;
  if (!applySettings(error)) return false;
  if (isNew && !createTables(error)) return false;
  sqlite3_db_config(database.handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
  return true;
}

bool SQLiteStore::applySettings(Ref<NSError>* error) {
  impl::Database& database = _connection->database;
  const std::string& pragmas = _connection->settings.pragmas;
  // SQLite's own default may have been built to be another one.
  if ((isReadOnly() || (database.executeWhenFree("PRAGMA journal_mode = WAL") &&
                        database.execute("PRAGMA synchronous = NORMAL"))) &&
      (pragmas.empty() || database.execute(pragmas.c_str()))) {
    return true;
  }
  return impl::fail(error,
                    database.error(NSPersistentStoreOpenError, "The store cannot be opened"));
}

bool SQLiteStore::createTables(Ref<NSError>* error) {
  impl::Database& database = _connection->database;
  if (!database.execute("BEGIN IMMEDIATE")) {
    return impl::fail(error,
                      database.error(NSPersistentStoreOpenError, "The store cannot be created"));
  }
  // Another process may have been quicker.
  std::int64_t objects = 0;
  if (database.number("SELECT count(*) FROM sqlite_schema", objects) && objects > 0) {
    database.execute("ROLLBACK");
    bool isNew;
    return checkFile(database, isNew, error) && readTables(error);
  }
  setIdentifier(NSUUID::UUID()->UUIDString());
  if (_connection->schema.create(database, *model(), identifier()->utf8()) &&
      readModelMark(_connection->modelMark) && database.execute("COMMIT")) {
    return true;
  }
  impl::fail(error, database.error(NSPersistentStoreOpenError, "The store cannot be created"));
  database.execute("ROLLBACK");
  return false;
}

bool SQLiteStore::readTables(Ref<NSError>* error) {
  // In one transaction, since another process may be migrating the file meanwhile.
  impl::Database& database = _connection->database;
  bool isRead = database.execute("BEGIN");
  const bool isMarkRead = isRead && readModelMark(_connection->modelMark);
  if (!isMarkRead) {
    impl::fail(error, database.error(NSPersistentStoreOpenError, "The store is damaged"));
  }
  Ref<NSString> found = isMarkRead ? readIdentifier(database, error) : nullptr;
  isRead = found && readSchema(_connection->schema, error);
  database.endReading();
  if (isRead) setIdentifier(std::move(found));
  return isRead;
}

Ref<NSString> SQLiteStore::readIdentifier(impl::Database& database, Ref<NSError>* error) const {
  Statement identifier = database.prepare("SELECT value FROM jn_metadata WHERE key = 'identifier'");
  if (!identifier || identifier.step() != Statement::Step::Row) {
    impl::fail(error, database.error(NSPersistentStoreOpenError, "The store is damaged"));
    return nullptr;
  }
  return NSString::fromText(identifier.text(0));
}

bool SQLiteStore::readSchema(Schema& schema, Ref<NSError>* error) const {
  impl::Database& database = _connection->database;
  std::string difference;
  switch (schema.read(database, *model(), difference)) {
    case Schema::Match::Same:
      return true;
    case Schema::Match::OtherModel:
      return refuse(
          NSPersistentStoreIncompatibleVersionHashError,
          NSString::stringWithFormat(
              "it was made with another model, in which the entity '%s' is different", difference),
          error);
    case Schema::Match::Damaged:
      return refuse(NSPersistentStoreOpenError, "the store is damaged", error);
    case Schema::Match::Failed:
      break;
  }
  return impl::fail(error, database.error(NSPersistentStoreOpenError, "The store is damaged"));
}

void SQLiteStore::close() {
  if (_connection && _connection->saving) abandonSave();
  _connection.reset();
}

}  // namespace JNFoundation
