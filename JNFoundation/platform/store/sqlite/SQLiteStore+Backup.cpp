#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/impl/LongWork.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/store/sqlite/SQLiteStore.h>
#include <JNFoundation/platform/store/sqlite/impl/SQLiteConnection.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation::inline v0_1 {

using impl::Database;

namespace {

namespace files = std::filesystem;

constexpr std::size_t bytesPerStep = std::size_t{1} << 20;

/// A file that is there for a scope, with what SQLite may put beside it.
class PartialFile {
 public:
  explicit PartialFile(const std::string& target)
      : path(target + "." + NSUUID::UUID()->UUIDString()->toStdString() + ".partial") {}
  ~PartialFile() {
    std::error_code ignored;
    for (const char* ending : {"", "-journal", "-wal", "-shm"}) {
      files::remove(path + ending, ignored);
    }
  }
  PartialFile(const PartialFile&) = delete;
  PartialFile& operator=(const PartialFile&) = delete;

  const std::string path;
};

struct BackupEnd {
  void operator()(sqlite3_backup* backup) const noexcept { sqlite3_backup_finish(backup); }
};

/// Gives a whole file its name, in one step, and has the directory know it.
/// Fails: `file_exists` when it is not to replace one that has come meanwhile.
std::error_code moveInPlace(const std::string& from, const std::string& to, bool replaces) {
  std::error_code trouble;
  if (replaces) {
    files::rename(from, to, trouble);
  } else {
    // Unlike a second name, a new name would replace what is there.
    files::create_hard_link(from, to, trouble);
    if (!trouble) {
      files::remove(from, trouble);
    } else if (trouble != std::errc::file_exists) {
      // There are file systems without second names.
      std::error_code ignored;
      if (files::exists(to, ignored)) return std::make_error_code(std::errc::file_exists);
      files::rename(from, to, trouble);
    }
  }
  if (trouble) return trouble;
  const std::string folder = files::absolute(to).parent_path().string();
  const int descriptor = ::open(folder.c_str(), O_RDONLY);
  if (descriptor >= 0) {
    fsync(descriptor);
    ::close(descriptor);
  }
  return {};
}

bool refuseBackup(NSInteger code, const std::string& path, const std::string& why,
                  Ref<NSError>* error) {
  return impl::fail(
      error,
      impl::cocoaError(
          code, NSString::stringWithFormat("The store cannot be backed up to '%s': %s.", path, why),
          {{NSFilePathErrorKey, Value(path)}}));
}

}  // namespace

bool SQLiteStore::openBeside(Database& database, Ref<NSError>* error) const {
  if (!_connection) return closed(error);
  bool isNew = false;
  if (!openDatabase(database, URL()->path()->toStdString(), false, error) ||
      !checkFile(database, isNew, error)) {
    return false;
  }
  if (!isNew) {
    // The last one to close the file writes its log back; that may be this one.
    sqlite3_db_config(database.handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
    // From its first look on, a transaction sees the file as it is now.
    if (!database.execute("BEGIN")) {
      return impl::fail(error, database.error(NSSQLiteError, "The store cannot be read"));
    }
    const Ref<NSString> found = readIdentifier(database, error);
    if (!found) return false;
    if (found->utf8() == identifier()->utf8()) return true;
  }
  return refuse(NSPersistentStoreOpenError, "another store stands in its place", error);
}

bool SQLiteStore::backup(const Ref<NSURL>& url, NSPersistentStoreBackupOptions options,
                         const NSPersistentStoreBackupProgress& progress, Ref<NSError>* error) {
  const std::string target = url && url->path() ? url->path()->toStdString() : std::string();
  if (target.empty()) {
    return refuseBackup(NSPersistentStoreOperationError, target, "that is no file URL", error);
  }
  const bool replaces = (options & NSPersistentStoreBackupReplacesExisting) != 0;
  std::error_code ignored;
  if (files::exists(target, ignored)) {
    if (!replaces) {
      return refuseBackup(NSFileWriteFileExistsError, target, "there is a file already", error);
    }
    if (!files::is_regular_file(target, ignored)) {
      return refuseBackup(NSPersistentStoreOperationError, target, "that is not a file", error);
    }
    if (files::equivalent(target, URL()->path()->toStdString(), ignored)) {
      return refuseBackup(NSPersistentStoreOperationError, target, "it is the store's own file",
                          error);
    }
  }
  for (const char* ending : {"-wal", "-journal"}) {
    // It would be taken for the copy's.
    if (!files::exists(target + ending, ignored)) continue;
    return refuseBackup(NSPersistentStoreOperationError, target,
                        "a log stands beside it; the file of that name is in use, or was not "
                        "closed in good order",
                        error);
  }
  const PartialFile partial(target);
  Database source;
  if (!openBeside(source, error) || !copyPages(source, partial.path, progress, error)) return false;
  const std::error_code trouble = moveInPlace(partial.path, target, replaces);
  if (!trouble) return true;
  return refuseBackup(
      trouble == std::errc::file_exists ? NSFileWriteFileExistsError : NSFileWriteUnknownError,
      target, trouble.message(), error);
}

bool SQLiteStore::copyPages(Database& source, const std::string& path,
                            const NSPersistentStoreBackupProgress& progress,
                            Ref<NSError>* error) const {
  Database copy;
  const auto failed = [&] {
    return impl::fail(error, copy.error(NSPersistentStoreOperationError,
                                        "The copy of the store cannot be written"));
  };
  std::int64_t pageSize = 0;
  if (!source.number("PRAGMA page_size", pageSize)) {
    return impl::fail(error, source.error(NSSQLiteError, "The store cannot be read"));
  }
  // Nobody else knows the file yet, so that it needs no journal; it is synced when it is whole.
  const std::string name = files::path(path).is_absolute() ? path : "./" + path;
  if (!copy.open(name, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, 0) ||
      !copy.execute("PRAGMA journal_mode = MEMORY") || !copy.execute("PRAGMA synchronous = FULL")) {
    return failed();
  }
  {
    const std::unique_ptr<sqlite3_backup, BackupEnd> backup(
        sqlite3_backup_init(copy.handle(), "main", source.handle(), "main"));
    if (!backup) {
      copy.refuse(sqlite3_extended_errcode(copy.handle()), sqlite3_errmsg(copy.handle()));
      return failed();
    }
    const int pagesPerStep = static_cast<int>(bytesPerStep / static_cast<std::size_t>(pageSize));
    int code = SQLITE_OK;
    while (code == SQLITE_OK) {
      if (longWork().isToEnd()) {
        return impl::fail(error, impl::cocoaError(NSUserCancelledError,
                                                  "The backup has ended, because the store is "
                                                  "being closed."));
      }
      code = sqlite3_backup_step(backup.get(), pagesPerStep);
      if (code != SQLITE_OK && code != SQLITE_DONE) {
        copy.refuse(code, sqlite3_errstr(code));
        return failed();
      }
      const auto total = static_cast<std::uint64_t>(sqlite3_backup_pagecount(backup.get()));
      const auto left = static_cast<std::uint64_t>(sqlite3_backup_remaining(backup.get()));
      const auto bytes = static_cast<std::uint64_t>(pageSize);
      if (progress && !progress((total - left) * bytes, total * bytes)) {
        return impl::fail(error,
                          impl::cocoaError(NSUserCancelledError, "The backup was cancelled."));
      }
    }
  }
  // The copied pages say that there is a log; the copy is whole without one.
  if (!copy.execute("PRAGMA journal_mode = DELETE")) return failed();
  return copy.close() || failed();
}

}  // namespace JNFoundation
