#include "JNFoundation/platform/store/sqlite/impl/Schema.h"

#include <algorithm>
#include <unordered_set>

#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/sqlite/impl/Database.h>

namespace JNFoundation::impl {
namespace {

/// Names of tables and columns, which SQLite compares without regard to the case of ASCII letters.
class NameTaker {
 public:
  std::string take(const std::string& wanted) {
    std::string name = wanted;
    for (int number = 2; !_taken.insert(lowered(name)).second; ++number) {
      name = wanted + "_" + std::to_string(number);
    }
    return name;
  }

 private:
  static std::string lowered(std::string text) {
    for (char& letter : text) {
      if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter + 32);
    }
    return text;
  }
  std::unordered_set<std::string> _taken;
};

const char* columnType(NSAttributeType type) {
  switch (type) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
    case NSBooleanAttributeType:
      return "INTEGER";
    case NSDoubleAttributeType:
    case NSFloatAttributeType:
    case NSDateAttributeType:
      return "REAL";
    case NSBinaryDataAttributeType:
    case NSTransformableAttributeType:
      return "BLOB";
    default:
      return "TEXT";
  }
}

/// Ancestors first, so that a column belongs to the entity that declares the attribute.
std::vector<const NSEntityDescription*> hierarchy(const NSEntityDescription& root) {
  std::vector<const NSEntityDescription*> members{&root};
  for (std::size_t i = 0; i < members.size(); ++i) {
    for (const Ref<NSEntityDescription>& below : members[i]->directSubentities()) {
      members.push_back(below.get());
    }
  }
  return members;
}

bool createIndexes(Database& database, const Schema::EntityMap& map, int& number) {
  for (const Value& value : *map.entity->indexes()) {
    std::string columns;
    for (const Value& member : *as<NSFetchIndexDescription>(value)->elements()) {
      const auto* element = as<NSFetchIndexElementDescription>(member);
      const std::size_t index = map.entity->layout().indexOf(*element->propertyName());
      if (index == EntityLayout::none || map.columnOfAttribute[index] < 0) {
        columns.clear();
        break;
      }
      if (!columns.empty()) columns += ", ";
      columns += map.columns[static_cast<std::size_t>(map.columnOfAttribute[index])].name;
      if (!element->isAscending()) columns += " DESC";
    }
    // An index over a relationship is none of ours.
    if (columns.empty()) continue;
    const std::string sql = "CREATE INDEX jn_index_" + std::to_string(++number) + " ON " +
                            map.table + " (" + columns + ")";
    if (!database.execute(sql.c_str())) return false;
  }
  return true;
}

}  // namespace

std::string Schema::quoted(std::string_view name) {
  std::string text = "\"";
  for (const char letter : name) {
    if (letter == '"') text += '"';
    text += letter;
  }
  return text + '"';
}

void Schema::finish() {
  _byNumber.clear();
  for (auto& [entity, map] : _entities) {
    if (static_cast<std::size_t>(map.number) >= _byNumber.size()) {
      _byNumber.resize(static_cast<std::size_t>(map.number) + 1);
    }
    _byNumber[static_cast<std::size_t>(map.number)] = &map;
    std::sort(map.columns.begin(), map.columns.end(), [](const Column& left, const Column& right) {
      return left.attribute < right.attribute;
    });
    map.columnOfAttribute.assign(entity->layout().count(), -1);
    for (std::size_t i = 0; i < map.columns.size(); ++i) {
      map.columnOfAttribute[map.columns[i].attribute] = static_cast<int>(i);
    }
  }
}

const Schema::EntityMap* Schema::ofRecord(std::int64_t number,
                                          const NSEntityDescription& root) const noexcept {
  if (number <= 0 || static_cast<std::size_t>(number) >= _byNumber.size()) return nullptr;
  const EntityMap* map = _byNumber[static_cast<std::size_t>(number)];
  if (!map || map->entity->isAbstract() || &map->entity->layout().root() != &root) return nullptr;
  return map;
}

bool Schema::create(Database& database, const NSManagedObjectModel& model,
                    std::string_view identifier) {
  static const std::string mark = "PRAGMA application_id = " + std::to_string(applicationMark) +
                                  "; PRAGMA user_version = " + std::to_string(formatVersion) + ";";
  if (!database.execute(
          "CREATE TABLE jn_metadata (key TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;"
          "CREATE TABLE jn_entity (number INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, root "
          "INTEGER "
          "NOT NULL, table_name TEXT NOT NULL, version_hash TEXT NOT NULL, next_key INTEGER NOT "
          "NULL "
          "DEFAULT 1);"
          "CREATE TABLE jn_column (entity INTEGER NOT NULL, attribute TEXT NOT NULL, column_name "
          "TEXT "
          "NOT NULL, PRIMARY KEY (entity, attribute)) WITHOUT ROWID;") ||
      !database.execute(mark.c_str())) {
    return false;
  }
  Statement addMetadata = database.prepare("INSERT INTO jn_metadata VALUES (?, ?)");
  Statement addEntity = database.prepare("INSERT INTO jn_entity VALUES (?, ?, ?, ?, ?, 1)");
  Statement addColumn = database.prepare("INSERT INTO jn_column VALUES (?, ?, ?)");
  if (!addMetadata || !addEntity || !addColumn) return false;
  addMetadata.bind(1, std::string_view("identifier"));
  addMetadata.bind(2, identifier);
  if (!addMetadata.run()) return false;
  NameTaker tables;
  std::int64_t number = 0;
  int indexNumber = 0;
  for (const Ref<NSEntityDescription>& candidate : model.entityList()) {
    const NSEntityDescription& root = *candidate;
    if (&root.layout().root() != &root) continue;
    const std::string table = tables.take("object_" + root.name()->toStdString());
    const std::int64_t rootNumber = number + 1;
    NameTaker columns;
    for (const char* own : {"_pk", "_entity", "_version", "rowid", "oid", "_rowid_"}) {
      columns.take(own);
    }
    std::string definition =
        "CREATE TABLE " + quoted(table) +
        " (_pk INTEGER PRIMARY KEY, _entity INTEGER NOT NULL, _version INTEGER "
        "NOT NULL";
    const auto members = hierarchy(root);
    std::unordered_map<const NSAttributeDescription*, std::string> columnOf;
    for (const NSEntityDescription* entity : members) {
      EntityMap& map = _entities[entity];
      map.entity = entity;
      map.number = ++number;
      map.table = quoted(table);
      const Ref<NSString> hash = entity->versionHash();
      addEntity.bind(1, map.number);
      addEntity.bind(2, entity->name()->utf8());
      addEntity.bind(3, rootNumber);
      addEntity.bind(4, table);
      addEntity.bind(5, hash->utf8());
      if (!addEntity.run()) return false;
      const EntityLayout& layout = entity->layout();
      for (std::size_t i = 0; i < layout.count(); ++i) {
        if (!layout[i].stored) continue;
        std::string& column = columnOf[layout[i].attribute.get()];
        if (column.empty()) {
          column = columns.take(layout[i].name->toStdString());
          definition += ", " + quoted(column) + " " + columnType(layout[i].type);
        }
        map.columns.push_back({quoted(column), i, layout[i].type});
        addColumn.bind(1, map.number);
        addColumn.bind(2, layout[i].name->utf8());
        addColumn.bind(3, column);
        if (!addColumn.run()) return false;
      }
    }
    if (!database.execute((definition + ")").c_str())) return false;
  }
  finish();
  for (const auto& [entity, map] : _entities) {
    if (!createIndexes(database, map, indexNumber)) return false;
  }
  return true;
}

bool Schema::haveOwnTables() const {
  std::unordered_set<std::string> tables;
  for (const auto& [entity, map] : _entities) {
    const NSEntityDescription& root = entity->layout().root();
    const bool isWhole =
        &root == entity ? tables.insert(map.table).second : of(root).table == map.table;
    if (!isWhole) return false;
  }
  return true;
}

Schema::Match Schema::read(Database& database, const NSManagedObjectModel& model,
                           std::string& difference) {
  Statement entities =
      database.prepare("SELECT number, name, table_name, version_hash FROM jn_entity");
  if (!entities) return Match::Failed;
  std::size_t found = 0;
  std::unordered_set<std::int64_t> numbers;
  Statement::Step step;
  while ((step = entities.step()) == Statement::Step::Row) {
    Ref<NSEntityDescription> entity = model.entityWithName(entities.text(1));
    if (!entity || entity->versionHash()->utf8() != entities.text(3)) {
      difference = entities.text(1);
      return Match::OtherModel;
    }
    EntityMap& map = _entities[entity.get()];
    map.entity = entity.get();
    map.number = entities.integer(0);
    map.table = quoted(entities.text(2));
    constexpr std::int64_t numberLimit = 1'000'000;
    if (map.number <= 0 || map.number > numberLimit || !numbers.insert(map.number).second) {
      return Match::Damaged;
    }
    ++found;
  }
  if (step == Statement::Step::Failed) return Match::Failed;
  for (const Ref<NSEntityDescription>& entity : model.entityList()) {
    if (_entities.count(entity.get())) continue;
    difference = entity->name()->toStdString();
    return Match::OtherModel;
  }
  if (found != _entities.size() || !haveOwnTables()) return Match::Damaged;
  Statement columns =
      database.prepare("SELECT attribute, column_name FROM jn_column WHERE entity = ?");
  if (!columns) return Match::Failed;
  for (auto& [entity, map] : _entities) {
    const EntityLayout& layout = entity->layout();
    std::vector<bool> known(layout.count());
    columns.bind(1, map.number);
    while ((step = columns.step()) == Statement::Step::Row) {
      const Ref<NSString> name = NSString::fromText(columns.text(0));
      const std::size_t index = layout.indexOf(*name);
      if (index == EntityLayout::none || !layout[index].stored || known[index]) {
        return Match::Damaged;
      }
      known[index] = true;
      map.columns.push_back({quoted(columns.text(1)), index, layout[index].type});
    }
    if (step == Statement::Step::Failed) return Match::Failed;
    columns.reset();
    const auto stored = std::count_if(layout.slots().begin(), layout.slots().end(),
                                      [](const EntityLayout::Slot& slot) { return slot.stored; });
    if (map.columns.size() != static_cast<std::size_t>(stored)) return Match::Damaged;
  }
  finish();
  return Match::Same;
}

}  // namespace JNFoundation::impl
