#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <JNFoundation/platform/store/NSEntityDescription.h>

namespace JNFoundation {

class NSManagedObjectModel;

namespace impl {

class Database;

/// How a model's entities stand in the file: a hierarchy of entities is one table, which has a
/// column for every stored attribute of every member. The file itself says which names these have:
///
///     jn_entity(number, name, root, table_name, version_hash, next_key)
///     jn_column(entity, attribute, column_name)
///     jn_metadata(key, value)
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
    /// The number of the attribute in the entity's layout.
    std::size_t attribute;
    NSAttributeType type;
  };
  struct EntityMap {
    const NSEntityDescription* entity = nullptr;
    std::int64_t number = 0;
    /// Quoted for SQL.
    std::string table;
    std::vector<Column> columns;
    /// By attribute number: the position in `columns`, or -1 for what is not stored.
    std::vector<int> columnOfAttribute;
  };

  /// Makes the tables of a new store. Fails: returns false; the database knows why.
  bool create(Database& database, const NSManagedObjectModel& model, std::string_view identifier);

  enum class Match { Same, OtherModel, Damaged, Failed };
  /// Reads which tables and columns the file has, and holds them against the model. `difference`
  /// then names the entity that differs.
  Match read(Database& database, const NSManagedObjectModel& model, std::string& difference);

  /// Never fails for an entity of the model.
  const EntityMap& of(const NSEntityDescription& entity) const { return _entities.at(&entity); }
  /// What a record of the root's hierarchy is, by the number that stands in it.
  /// Returns: null for a number that is no entity's of the hierarchy, or an abstract one's.
  const EntityMap* ofRecord(std::int64_t number, const NSEntityDescription& root) const noexcept;

  /// The name as SQL takes it, whatever is in it.
  static std::string quoted(std::string_view name);

 private:
  void finish();
  /// Whether each hierarchy has a table, and none has another's.
  bool haveOwnTables() const;

  std::unordered_map<const NSEntityDescription*, EntityMap> _entities;
  std::vector<const EntityMap*> _byNumber;
};

}  // namespace impl
}  // namespace JNFoundation
