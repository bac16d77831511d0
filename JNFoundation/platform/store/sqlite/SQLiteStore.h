#pragma once

#include <memory>
#include <string>

#include <JNFoundation/platform/store/NSPersistentStore.h>

namespace JNFoundation::inline v0_1 {

namespace impl {
class Database;
class MigrationWork;
class Schema;
struct SQLiteConnection;
class RowShape;
class Statement;
}  // namespace impl

/// A store in one file of SQLite's format with a write-ahead log beside it.
///
/// A save is one transaction: after a crash at any instant the file holds the last completed save
/// and nothing of a later one. What a power cut may cost, and what happens while another process
/// holds the file, is said at the options: NSSQLitePragmasOption, NSPersistentStoreTimeoutOption.
/// Dates are kept as seconds since 1970-01-01 00:00:00 UTC, decimals, UUIDs and URLs as text.
/// Threads: see NSPersistentStore.
class SQLiteStore final : public NSPersistentStore {
 public:
  using Superclass = NSPersistentStore;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Takes: null for no configuration and no options. Opens nothing yet.
  static Ref<SQLiteStore> initWithModelConfigurationURLOptions(
      const Ref<NSManagedObjectModel>& model, const Ref<NSString>& configuration,
      const Ref<NSURL>& url, const Ref<NSDictionary>& options);

  /// NSSQLiteStoreType.
  Ref<NSString> type() const override;

  bool open(Ref<NSError>* error) override;
  void close() override;
  std::int64_t takePrimaryKeys(const NSEntityDescription& entity, NSUInteger count,
                               Ref<NSError>* error) override;
  bool beginSave(Ref<NSError>* error) override;
  bool writeRows(std::span<const StoreRowChange> changes, std::size_t* conflict,
                 Ref<NSError>* error) override;
  bool writeLinks(std::span<const StoreLinkChange> changes, Ref<NSError>* error) override;
  bool prepareToCommit(Ref<NSError>* error) override;
  bool commitSave(Ref<NSError>* error) override;
  void abandonSave() noexcept override;
  StoreQueryPlan planQuery(const StoreQuery& query) override;
  bool fetchRows(const StoreQuery& query, StoreRowReceiver& receiver, Ref<NSError>* error) override;
  bool fetchRow(const NSEntityDescription& entity, std::int64_t primaryKey,
                StoreRowReceiver& receiver, Ref<NSError>* error) override;
  bool fetchHolder(const NSEntityDescription& entity, std::span<const std::size_t> properties,
                   const NSArray& values, StoreRowReceiver& receiver, Ref<NSError>* error) override;
  bool fetchRelated(const NSRelationshipDescription& relationship, std::int64_t primaryKey,
                    StoreRowReceiver& receiver, Ref<NSError>* error) override;
  NSUInteger countRows(const StoreQuery& query, Ref<NSError>* error) override;
  bool fetchRecords(const NSEntityDescription& entity, std::span<const std::int64_t> primaryKeys,
                    bool includesValues, StoreRowReceiver& receiver, Ref<NSError>* error) override;
  bool fetchRelatedOfAll(const NSRelationshipDescription& relationship,
                         std::span<const std::int64_t> primaryKeys, bool includesValues,
                         StoreRelatedReceiver& receiver, Ref<NSError>* error) override;
  StoreAnswer fetchColumns(const StoreColumnQuery& query, const StoreColumnReceiver& receiver,
                           Ref<NSError>* error) override;

  Ref<NSDictionary> metadata(Ref<NSError>* error) override;
  bool setOwnMetadata(const Ref<NSDictionary>& metadata, Ref<NSError>* error) override;
  bool backup(const Ref<NSURL>& url, NSPersistentStoreBackupOptions options,
              const NSPersistentStoreBackupProgress& progress, Ref<NSError>* error) override;
  Ref<NSArray> integrityErrors(Ref<NSError>* error) override;
  bool compact(Ref<NSError>* error) override;
  bool readSize(NSPersistentStoreSize& size, Ref<NSError>* error) override;
  bool suspend(Ref<NSError>* error) override;
  bool resume(Ref<NSError>* error) override;
  bool isSuspended() const noexcept override;
  void releaseUnusedMemory() noexcept override;

  // For files that are not open as a store.
  static Ref<NSDictionary> metadataOfFile(const Ref<NSURL>& url, const Ref<NSDictionary>& options,
                                          Ref<NSError>* error);
  static bool destroyFile(const Ref<NSURL>& url, const Ref<NSDictionary>& options,
                          Ref<NSError>* error);

 private:
  SQLiteStore(const Ref<NSManagedObjectModel>& model, const Ref<NSString>& configuration,
              const Ref<NSURL>& url, const Ref<NSDictionary>& options);
  ~SQLiteStore() override;

  bool openFile(const std::string& path, bool exists, Ref<NSError>* error);
  bool openDatabase(impl::Database& database, const std::string& path, bool mayCreate,
                    Ref<NSError>* error) const;
  bool checkFile(impl::Database& database, bool& isNew, Ref<NSError>* error) const;
  bool prepareForWriting(bool isNew, Ref<NSError>* error);
  bool applySettings(Ref<NSError>* error);
  /// Makes the file, which is another model's, or has other indexes, one of this model, where the
  /// options ask for that.
  bool migrateIfAsked(Ref<NSError>* error);
  bool migrate(Ref<NSError>* error);
  bool migrateInTransaction(const Ref<NSManagedObjectModel>& source, impl::MigrationWork& work,
                            Ref<NSError>* error);
  bool updateIndexes(Ref<NSError>* error);
  Ref<NSManagedObjectModel> readOwnModel(Ref<NSError>* error) const;
  bool failedToMigrate(Ref<NSError>* error) const;
  bool createTables(Ref<NSError>* error);
  bool readTables(Ref<NSError>* error);
  Ref<NSString> readIdentifier(impl::Database& database, Ref<NSError>* error) const;
  bool readSchema(impl::Schema& schema, Ref<NSError>* error) const;
  Ref<NSDictionary> readMetadata(impl::Database& database, Ref<NSError>* error) const;
  /// Reads the settings, and finds the file's path. Fails: returns an empty path.
  std::string beginOpening(Ref<NSError>* error);
  /// Opens the file once more, to read it as it is at this moment, beside its use.
  bool openBeside(impl::Database& database, Ref<NSError>* error) const;
  bool copyPages(impl::Database& source, const std::string& path,
                 const NSPersistentStoreBackupProgress& progress, Ref<NSError>* error) const;
  bool reopen(Ref<NSError>* error);
  bool closed(Ref<NSError>* error) const;
  bool refuse(NSInteger code, const Ref<NSString>& why, Ref<NSError>* error) const;
  bool refuseUnwritable(Ref<NSError>* error) const;
  bool readRows(impl::Statement& statement, impl::RowShape& shape, bool withValues,
                StoreRowReceiver& receiver, Ref<NSError>* error);
  bool failedToRead(Ref<NSError>* error) const;
  bool failedToSave(Ref<NSError>* error) const;
  bool readModelMark(std::string& mark);
  /// Whether the file has not been migrated since it was opened.
  bool isStillOfModel(Ref<NSError>* error);

  std::unique_ptr<impl::SQLiteConnection> _connection;
};

}  // namespace JNFoundation
