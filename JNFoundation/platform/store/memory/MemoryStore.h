#pragma once

#include <map>
#include <memory>

#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/ValueArray.h>

namespace JNFoundation::inline v0_1 {

namespace impl {
struct RecordRules;
}

/// A store that keeps its records in memory, with the behaviour of the one that keeps them in a
/// file: the same rows in the same order, versions, conflicts, all of a save or nothing. Threads:
/// see NSPersistentStore.
class MemoryStore final : public NSPersistentStore {
 public:
  using Superclass = NSPersistentStore;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Takes: null for no configuration, no address and no options. Opens nothing yet.
  static Ref<MemoryStore> initWithModelConfigurationURLOptions(
      const Ref<NSManagedObjectModel>& model, const Ref<NSString>& configuration,
      const Ref<NSURL>& url, const Ref<NSDictionary>& options);

  /// NSInMemoryStoreType.
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

 private:
  struct Row {
    const NSEntityDescription* entity;
    std::uint32_t version;
    ValueArray values;
  };
  struct Table {
    std::map<std::int64_t, Row> rows;
    std::int64_t nextKey = 1;
  };
  struct PendingRow {
    StoreRowChange::Kind kind;
    std::int64_t primaryKey;
    Row row;
  };

  MemoryStore(const Ref<NSManagedObjectModel>& model, const Ref<NSString>& configuration,
              const Ref<NSURL>& url, const Ref<NSDictionary>& options);
  ~MemoryStore() override;

  Table& tableOf(const NSEntityDescription& entity);
  const Row* rowOf(const NSEntityDescription& entity, std::int64_t primaryKey);
  void readConstraints();
  /// The number of the first change that repeats what must be unique, or `none`.
  std::size_t findRepetition();
  bool namesOnlyWhatIsThere();
  const PendingRow* pendingOf(const NSEntityDescription& entity, std::int64_t primaryKey) const;
  bool isThereAfterwards(const NSEntityDescription& entity, std::int64_t primaryKey);
  /// Calls the function with the key and the row of each record of the query, in its order, as far
  /// as the plan says.
  template <class Function>
  void select(const StoreQuery& query, Function&& function);

  std::map<const NSEntityDescription*, Table> _tables;
  std::vector<PendingRow> _pending;
  std::map<std::pair<const NSEntityDescription*, std::int64_t>, std::size_t> _pendingByKey;
  std::vector<StoreLinkChange> _pendingLinks;
  std::unique_ptr<impl::RecordRules> _rules;
  bool _isSaving = false;
};

}  // namespace JNFoundation
