#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <JNFoundation/platform/store/impl/EntityLayout.h>

namespace JNFoundation::inline v0_1 {

class NSManagedObjectModel;

namespace impl {

class Database;
struct KeptParts;

/// How a model's entities stand in the file: a hierarchy of entities is one table, which has a
/// column for every stored attribute and every relationship to one object of every member. Such a
/// relationship is the number of the other record; where that may be of several entities, a second
/// column says of which; where the way back is ordered, a third says at which place this record
/// stands there. A relationship to many whose way back leads to one object is the other side of its
/// column; every other one has a table of pairs, which it shares with its way back. The file itself
/// says which names all these have:
///
///     jn_entity(number, name, root, table_name, version_hash, next_key)
///     jn_column(entity, property, role, column_name)
///     jn_link(entity, property, table_name, near_column, far_column, position_column)
///     jn_metadata(key, value)
///
/// jn_metadata has the store's identifier, the text of the model and its hash, and what the
/// application keeps there.
///
/// A table's own columns are _pk, _entity and _version.
class Schema {
 public:
  /// What this release writes; files of a higher number are refused.
  static constexpr std::int64_t formatVersion = 1;
  /// "JNOS", in the place that SQLite reserves for the application's mark.
  static constexpr std::int64_t applicationMark = 0x4a4e4f53;

  struct Column {
    /// Quoted for SQL.
    std::string name;
    /// The number of the property in the entity's layout.
    std::size_t attribute;
    NSAttributeType type;
    /// Where a relationship leads. Null for an attribute.
    const NSEntityDescription* destination = nullptr;
    /// Empty where the destination can be of one entity only.
    std::string entityColumn;
    /// Empty unless the way back is ordered.
    std::string positionColumn;
    /// Whether a uniqueness constraint of the entity or an ancestor names it.
    bool isUnique = false;
  };
  /// How a relationship to many stands in the file.
  struct Link {
    /// Quoted for SQL, as all of them: the table of pairs, or the destination's own.
    std::string table;
    /// Which record's members, and which ones.
    std::string near;
    std::string far;
    /// Empty for a relationship without order.
    std::string position;
    bool hasOwnTable = false;
    const NSEntityDescription* destination = nullptr;
  };
  struct EntityMap {
    const NSEntityDescription* entity = nullptr;
    std::int64_t number = 0;
    /// Quoted for SQL.
    std::string table;
    std::vector<Column> columns;
    /// By property number: the position in `columns`, or -1 for what is not stored there.
    std::vector<int> columnOfAttribute;
  };

  /// Makes the tables of a new store. Fails: returns false; the database knows why.
  bool create(Database& database, const NSManagedObjectModel& model, std::string_view identifier);
  /// Makes the tables for another model in a store that has some, as far as they are not kept, and
  /// writes down anew what stands where; without indexes. Fails: as `create`.
  bool remake(Database& database, const NSManagedObjectModel& model, const KeptParts& kept);
  /// Makes the indexes that the model, its constraints and its references need, and drops those
  /// that are needed no more. Fails: as `create`; SQLITE_CONSTRAINT_UNIQUE where records repeat
  /// each other.
  bool makeIndexes(Database& database, const NSManagedObjectModel& model) const;
  /// The columns of a constraint of the entity, by commas. Returns: nothing for a constraint over
  /// what is not stored.
  static std::string columnsOfConstraint(const EntityMap& map, const Value& constraint);
  /// What tells records of the entity and its descendants from others of their table; nothing where
  /// there are no others.
  std::string familyCondition(const EntityMap& map) const;
  /// Writes down the model itself, so that a later one can tell how it changed.
  static bool writeModel(Database& database, const NSManagedObjectModel& model);

  enum class Match { Same, OtherModel, Damaged, Failed };
  /// Reads which tables and columns the file has, and holds them against the model. `difference`
  /// then names the entity that differs.
  Match read(Database& database, const NSManagedObjectModel& model, std::string& difference);

  /// Never fails for an entity of the model.
  const EntityMap& of(const NSEntityDescription& entity) const { return _entities.at(&entity); }
  /// Never fails for a stored relationship to many of the model.
  const Link& of(const NSRelationshipDescription& relationship) const {
    return _links.at(&relationship);
  }
  /// What a record of the root's hierarchy is, by the number that stands in it.
  /// Returns: null for a number that is no entity's of the hierarchy, or an abstract one's.
  const EntityMap* ofRecord(std::int64_t number, const NSEntityDescription& root) const noexcept;

  /// The column of a property that is stored with the record. Returns: null for others.
  static const Column* columnNamed(const EntityMap& map, const NSString& property);

  // What a model's properties need, whatever the file calls it.
  static bool hasPairs(const NSRelationshipDescription& relationship);
  static bool needsEntityColumn(const NSRelationshipDescription& relationship);
  /// Whether the record that it leads to must be there. Requires: a relationship to one.
  static bool hasForeignKey(const NSRelationshipDescription& relationship);
  static Column columnOf(const EntityLayout::Slot& slot, std::size_t number,
                         const std::string& name, const std::string& entityColumn,
                         const std::string& positionColumn);
  static Link linkOf(const NSRelationshipDescription& relationship, const std::string& table,
                     const std::string& near, const std::string& far, const std::string& position);

  /// The name as SQL takes it, whatever is in it.
  static std::string quoted(std::string_view name);
  /// The name that `quoted` made that of.
  static std::string unquoted(std::string_view name);

 private:
  void finish();
  void addDerivedLinks();
  void markUniqueColumns();
  /// What follows each index's own name in SQL, and the beginning of that name.
  std::vector<std::pair<std::string, std::string>> neededIndexes(
      const NSManagedObjectModel& model) const;
  Match readColumns(Database& database);
  Match readLinks(Database& database, const NSManagedObjectModel& model);
  /// Whether each hierarchy has a table, and none has another's.
  bool haveOwnTables() const;

  std::unordered_map<const NSEntityDescription*, EntityMap> _entities;
  std::unordered_map<const NSRelationshipDescription*, Link> _links;
  std::vector<const EntityMap*> _byNumber;
};

}  // namespace impl
}  // namespace JNFoundation
