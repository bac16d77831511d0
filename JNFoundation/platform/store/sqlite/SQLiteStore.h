#pragma once

#include <memory>
#include <string>

#include <JNFoundation/platform/store/NSPersistentStore.h>

namespace JNFoundation {

namespace impl {
struct SQLiteConnection;
class Statement;
}  // namespace impl

/// A store in one file of SQLite's format with a write-ahead log beside it.
///
/// A save is one transaction: after a crash at any instant the file holds the last completed save
/// and nothing of a later one. With the option "synchronous" at its default NORMAL a power cut may
/// cost the last saves, but never harms the file; FULL makes every completed save outlast it. Dates
/// are kept as seconds since 1970-01-01 00:00:00 UTC, decimals, UUIDs and URLs as text. Threads:
/// see NSPersistentStore.
class SQLiteStore final : public NSPersistentStore {
 public:
  using Superclass = NSPersistentStore;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  static Ref<SQLiteStore> initWithModelConfigurationURLOptions(
      const Ref<NSManagedObjectModel>& model, const Ref<NSString>& configuration,
      const Ref<NSURL>& url, const Ref<NSDictionary>& options);

  Ref<NSString> type() const override;

  bool open(Ref<NSError>* error) override;
  void close() override;
  std::int64_t takePrimaryKeys(const NSEntityDescription& entity, NSUInteger count,
                               Ref<NSError>* error) override;
  bool beginSave(Ref<NSError>* error) override;
  bool writeRows(std::span<const StoreRowChange> changes, std::size_t* conflict,
                 Ref<NSError>* error) override;
  bool commitSave(Ref<NSError>* error) override;
  void abandonSave() noexcept override;
  StoreQueryPlan planQuery(const StoreQuery& query) override;
  bool fetchRows(const StoreQuery& query, StoreRowReceiver& receiver, Ref<NSError>* error) override;
  bool fetchRow(const NSEntityDescription& entity, std::int64_t primaryKey,
                StoreRowReceiver& receiver, Ref<NSError>* error) override;
  NSUInteger countRows(const StoreQuery& query, Ref<NSError>* error) override;

 private:
  SQLiteStore(const Ref<NSManagedObjectModel>& model, const Ref<NSString>& configuration,
              const Ref<NSURL>& url, const Ref<NSDictionary>& options);
  ~SQLiteStore() override;

  bool openFile(const std::string& path, bool exists, Ref<NSError>* error);
  bool openConnection(const std::string& path, Ref<NSError>* error);
  bool checkFile(bool& isNew, Ref<NSError>* error);
  bool prepareForWriting(bool isNew, Ref<NSError>* error);
  bool createTables(Ref<NSError>* error);
  bool readTables(Ref<NSError>* error);
  bool refuse(NSInteger code, const Ref<NSString>& why, Ref<NSError>* error) const;
  bool refuseUnwritable(Ref<NSError>* error) const;
  bool failedToRead(Ref<NSError>* error) const;
  bool failedToSave(Ref<NSError>* error) const;

  std::unique_ptr<impl::SQLiteConnection> _connection;
};

}  // namespace JNFoundation
