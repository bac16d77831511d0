#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <JNFoundation/platform/store/sqlite/impl/Database.h>
#include <JNFoundation/platform/store/sqlite/impl/KeptParts.h>
#include <JNFoundation/platform/store/sqlite/impl/Schema.h>

namespace JNFoundation::inline v0_1::impl {

/// Names of tables and columns, which SQLite compares without regard to the case of ASCII letters.
class NameTaker {
 public:
  /// Returns: the name, or that name with a number that makes it new.
  std::string take(const std::string& wanted);

 private:
  std::unordered_set<std::string> _taken;
};

/// Makes the tables of a store, as far as it does not have them already, and writes down in it what
/// stands where. Indexes are not its business.
/// Every operation fails by returning false; the database knows why.
class SchemaMaker {
 public:
  using EntityMaps = std::unordered_map<const NSEntityDescription*, Schema::EntityMap>;
  using Links = std::unordered_map<const NSRelationshipDescription*, Schema::Link>;

  /// Requires: the kept parts outlive it.
  SchemaMaker(Database& database, const NSManagedObjectModel& model, const KeptParts& kept);

  bool makeOwnTables(std::string_view identifier);
  /// The tables of the entities, whose maps are added.
  bool makeTables(EntityMaps& maps);
  /// The tables of pairs. Requires: the maps of all entities.
  bool makeLinks(const EntityMaps& maps, Links& links);

 private:
  /// Names that are not quoted yet; empty for what there is none of.
  using NewColumn = KeptParts::Column;
  using NewLink = KeptParts::Pairs;

  bool makeTable(const NSEntityDescription& root, EntityMaps& maps);
  bool noteEntity(const Schema::EntityMap& map, std::int64_t rootNumber, const std::string& table);
  std::int64_t numberOf(const NSEntityDescription& entity);
  NewColumn newColumn(const EntityLayout::Slot& slot, NameTaker& names,
                      std::vector<std::string>& definitions) const;
  bool noteColumn(const Schema::EntityMap& map, std::string_view property, const NewColumn& column);
  bool makePairs(const Schema::EntityMap& map, const NSRelationshipDescription& relationship,
                 const EntityMaps& maps, Links& links);
  bool noteLink(const Schema::EntityMap& map, const NSRelationshipDescription& relationship,
                const NewLink& link, Links& links);

  Database& _database;
  const NSManagedObjectModel& _model;
  const KeptParts& _kept;
  Statement _addEntity;
  Statement _addColumn;
  Statement _addLink;
  std::unordered_map<const NSEntityDescription*, std::string> _tableOf;
  NameTaker _tables;
  std::int64_t _lastNumber;
};

}  // namespace JNFoundation::impl
