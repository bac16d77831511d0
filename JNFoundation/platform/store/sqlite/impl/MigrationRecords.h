#pragma once

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

#include <JNFoundation/platform/store/NSMigrationRecord.h>
#include <JNFoundation/platform/store/impl/MigratedRecords.h>
#include <JNFoundation/platform/store/sqlite/impl/Database.h>
#include <JNFoundation/platform/store/sqlite/impl/RowShape.h>
#include <JNFoundation/platform/store/sqlite/impl/Schema.h>

namespace JNFoundation::inline v0_1::impl {

/// One side of a migration as an application sees it, record by record.
/// Requires: held by a shared pointer.
class MigrationRecords final : public MigratedRecords,
                               public std::enable_shared_from_this<MigrationRecords> {
 public:
  /// Where a table of the schema is to be found at present; both names are quoted.
  using Place = std::function<const std::string&(const std::string& table)>;

  /// Takes: no place for the records as they will be, whose tables are where the schema says.
  MigrationRecords(Database& database, const Schema& schema, NSPersistentStore& store, Place place)
      : _database(database), _schema(schema), _store(store), _place(std::move(place)) {}

  /// Calls the block for each record of the entity itself, in the order of their numbers, as long
  /// as it returns true. Returns: whether all of them were gone through.
  bool forEach(const NSEntityDescription& entity,
               const std::function<bool(const Ref<NSMigrationRecord>&)>& block);
  /// Returns: null for a record that is not there. Fails: raises; `hasFailed` is true then.
  Ref<NSMigrationRecord> record(const NSEntityDescription& entity, std::int64_t number);
  /// Writes the values that were set. Fails: returns false; the database knows why.
  bool write(const NSMigrationRecord& record);

  void allowRelationships(bool allows) noexcept { _allowsRelationships = allows; }
  /// Whether the database has failed while a block asked for something.
  bool hasFailed() const noexcept { return _hasFailed; }

  bool isNew() const noexcept override { return !_place; }
  Value related(const NSEntityDescription& entity, std::int64_t number, std::size_t slot) override;
  void relate(const NSEntityDescription& entity, std::int64_t number, std::size_t slot,
              const Value& value) override;

 private:
  struct Lookup {
    RowShape shape;
    std::string sql;
  };
  struct Member {
    std::int64_t number;
    std::int64_t entity;
  };
  class Receiver;

  const std::string& placeOf(const std::string& table) const {
    return _place ? _place(table) : table;
  }
  Lookup& lookupOf(const NSEntityDescription& root);
  void checkRelationships(const NSEntityDescription& entity, std::size_t slot) const;
  std::vector<Member> membersOf(const NSRelationshipDescription& relationship, const Value& value);
  void setOne(const NSEntityDescription& entity, std::int64_t number,
              const NSRelationshipDescription& relationship, const std::vector<Member>& members);
  void setOwned(const NSEntityDescription& entity, std::int64_t number,
                const NSRelationshipDescription& relationship, const std::vector<Member>& members);
  void setPairs(std::int64_t number, const NSRelationshipDescription& relationship,
                const std::vector<Member>& members);
  /// Runs a statement with numbers. Fails: raises, and `hasFailed` is true then.
  void run(const std::string& sql, std::initializer_list<std::int64_t> numbers);
  std::vector<std::int64_t> numbers(const std::string& sql, std::int64_t number);
  [[noreturn]] void failed();

  Database& _database;
  const Schema& _schema;
  NSPersistentStore& _store;
  Place _place;
  std::unordered_map<const NSEntityDescription*, Lookup> _lookups;
  bool _allowsRelationships = false;
  bool _hasFailed = false;
};

}  // namespace JNFoundation::impl
