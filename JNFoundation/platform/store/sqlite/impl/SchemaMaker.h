#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>

#include <JNFoundation/platform/store/sqlite/impl/Database.h>
#include <JNFoundation/platform/store/sqlite/impl/Schema.h>

namespace JNFoundation::impl {

/// Names of tables and columns, which SQLite compares without regard to the case of ASCII letters.
class NameTaker {
 public:
  /// Returns: the name, or that name with a number that makes it new.
  std::string take(const std::string& wanted);

 private:
  std::unordered_set<std::string> _taken;
};

/// Makes the tables of a new store, and writes down in it what stands where.
/// Every operation fails by returning false; the database knows why.
class SchemaMaker {
 public:
  using EntityMaps = std::unordered_map<const NSEntityDescription*, Schema::EntityMap>;
  using Links = std::unordered_map<const NSRelationshipDescription*, Schema::Link>;

  SchemaMaker(Database& database, const NSManagedObjectModel& model)
      : _database(database), _model(model) {}

  bool makeOwnTables(std::string_view identifier);
  /// The tables of the entities, whose maps are added.
  bool makeTables(EntityMaps& maps);
  /// The tables of pairs. Requires: the maps of all entities.
  bool makeLinks(const EntityMaps& maps, Links& links);

 private:
  /// Names that are not quoted yet; empty for what there is none of.
  struct NewColumn {
    std::string name;
    std::string entity;
    std::string position;
  };
  struct NewLink {
    std::string table;
    std::string near;
    std::string far;
    std::string position;
  };

  bool makeTable(const NSEntityDescription& root, EntityMaps& maps);
  void addReference(const NSRelationshipDescription& relationship, NameTaker& names,
                    NewColumn& column, std::string& definition) const;
  bool noteColumn(const Schema::EntityMap& map, std::string_view property, const NewColumn& column);
  bool makePairs(const Schema::EntityMap& map, const NSRelationshipDescription& relationship,
                 const EntityMaps& maps, Links& links);
  bool noteLink(const Schema::EntityMap& map, const NSRelationshipDescription& relationship,
                const NewLink& link, Links& links);

  Database& _database;
  const NSManagedObjectModel& _model;
  Statement _addEntity;
  Statement _addColumn;
  Statement _addLink;
  std::unordered_map<const NSEntityDescription*, std::string> _tableOf;
  NameTaker _tables;
  std::int64_t _number = 0;
  int _indexes = 0;
};

}  // namespace JNFoundation::impl
