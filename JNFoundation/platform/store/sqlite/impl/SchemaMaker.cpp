#include "JNFoundation/platform/store/sqlite/impl/SchemaMaker.h"

#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

const char* columnType(NSAttributeType type) {
  switch (type) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
    case NSBooleanAttributeType:
    case NSObjectIDAttributeType:
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

/// Ancestors first, so that a column belongs to the entity that declares the property.
std::vector<const NSEntityDescription*> hierarchy(const NSEntityDescription& root) {
  std::vector<const NSEntityDescription*> members{&root};
  for (std::size_t i = 0; i < members.size(); ++i) {
    for (const Ref<NSEntityDescription>& below : members[i]->directSubentities()) {
      members.push_back(below.get());
    }
  }
  return members;
}

bool isOrdered(const Ref<NSRelationshipDescription>& relationship) {
  return relationship && relationship->isToMany() && relationship->isOrdered();
}

}  // namespace

std::string NameTaker::take(const std::string& wanted) {
  const auto lowered = [](std::string text) {
    for (char& letter : text) {
      if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter + 32);
    }
    return text;
  };
  std::string name = wanted;
  for (int number = 2; !_taken.insert(lowered(name)).second; ++number) {
    name = wanted + "_" + std::to_string(number);
  }
  return name;
}

SchemaMaker::SchemaMaker(Database& database, const NSManagedObjectModel& model,
                         const KeptParts& kept)
    : _database(database), _model(model), _kept(kept), _lastNumber(kept.lastNumber) {
  for (const auto& [root, name] : kept.tableNames) _tables.take(name);
  for (const auto& [relationship, pairs] : kept.pairs) _tables.take(pairs.table);
}

bool SchemaMaker::makeOwnTables(std::string_view identifier) {
  static const std::string mark =
      "PRAGMA application_id = " + std::to_string(Schema::applicationMark) +
      "; PRAGMA user_version = " + std::to_string(Schema::formatVersion) + ";";
  if (!_database.execute(
          "CREATE TABLE jn_metadata (key TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;"
          "CREATE TABLE jn_entity (number INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, root "
          "INTEGER NOT NULL, table_name TEXT NOT NULL, version_hash TEXT NOT NULL, next_key "
          "INTEGER NOT NULL DEFAULT 1);"
          "CREATE TABLE jn_column (entity INTEGER NOT NULL, property TEXT NOT NULL, role INTEGER "
          "NOT NULL, column_name TEXT NOT NULL, PRIMARY KEY (entity, property, role)) WITHOUT "
          "ROWID;"
          "CREATE TABLE jn_link (entity INTEGER NOT NULL, property TEXT NOT NULL, table_name TEXT "
          "NOT NULL, near_column TEXT NOT NULL, far_column TEXT NOT NULL, position_column TEXT, "
          "PRIMARY KEY (entity, property)) WITHOUT ROWID;") ||
      !_database.execute(mark.c_str())) {
    return false;
  }
  Statement addMetadata = _database.prepare("INSERT INTO jn_metadata VALUES (?, ?)");
  if (!addMetadata) return false;
  addMetadata.bind(1, std::string_view("identifier"));
  addMetadata.bind(2, identifier);
  return addMetadata.run();
}

bool SchemaMaker::makeTables(EntityMaps& maps) {
  _addEntity = _database.prepare("INSERT INTO jn_entity VALUES (?, ?, ?, ?, ?, ?)");
  _addColumn = _database.prepare("INSERT INTO jn_column VALUES (?, ?, ?, ?)");
  if (!_addEntity || !_addColumn) return false;
  std::vector<const NSEntityDescription*> roots;
  for (const Ref<NSEntityDescription>& entity : _model.entityList()) {
    if (&entity->layout().root() != entity.get()) continue;
    roots.push_back(entity.get());
    const auto kept = _kept.tableNames.find(entity.get());
    _tableOf[entity.get()] = kept != _kept.tableNames.end()
                                 ? kept->second
                                 : _tables.take("object_" + entity->name()->toStdString());
  }
  for (const NSEntityDescription* root : roots) {
    if (!makeTable(*root, maps)) return false;
  }
  return true;
}

std::int64_t SchemaMaker::numberOf(const NSEntityDescription& entity) {
  const auto kept = _kept.numbers.find(&entity);
  return kept != _kept.numbers.end() ? kept->second : ++_lastNumber;
}

bool SchemaMaker::noteEntity(const Schema::EntityMap& map, std::int64_t rootNumber,
                             const std::string& table) {
  const Ref<NSString> hash = map.entity->versionHash();
  const auto next = _kept.nextKeys.find(map.entity);
  _addEntity.bind(1, map.number);
  _addEntity.bind(2, map.entity->name()->utf8());
  _addEntity.bind(3, rootNumber);
  _addEntity.bind(4, table);
  _addEntity.bind(5, hash->utf8());
  _addEntity.bind(6, next != _kept.nextKeys.end() ? next->second : std::int64_t{1});
  return _addEntity.run();
}

bool SchemaMaker::makeTable(const NSEntityDescription& root, EntityMaps& maps) {
  const std::string table = _tableOf.at(&root);
  const bool isThere = _kept.tables.count(&root) > 0;
  std::int64_t rootNumber = 0;
  NameTaker names;
  for (const char* own : {"_pk", "_entity", "_version", "rowid", "oid", "_rowid_"}) names.take(own);
  std::vector<std::string> definitions;
  std::unordered_map<const NSPropertyDescription*, NewColumn> columnOf;
  const std::vector<const NSEntityDescription*> members = hierarchy(root);
  for (const NSEntityDescription* entity : members) {
    for (const Ref<NSPropertyDescription>& property : entity->ownProperties()) {
      const auto kept = _kept.columns.find(property.get());
      if (!isThere || kept == _kept.columns.end()) continue;
      columnOf[property.get()] = kept->second;
      for (const std::string* name :
           {&kept->second.name, &kept->second.entity, &kept->second.position}) {
        if (!name->empty()) names.take(*name);
      }
    }
  }
  for (const NSEntityDescription* entity : members) {
    Schema::EntityMap& map = maps[entity];
    map.entity = entity;
    map.number = numberOf(*entity);
    if (entity == &root) rootNumber = map.number;
    map.table = Schema::quoted(table);
    if (!noteEntity(map, rootNumber, table)) return false;
    const EntityLayout& layout = entity->layout();
    for (std::size_t i = 0; i < layout.count(); ++i) {
      const EntityLayout::Slot& slot = layout[i];
      if (!slot.stored) continue;
      const NSPropertyDescription* property = slot.relationship.get();
      if (!property) property = slot.attribute.get();
      NewColumn& column = columnOf[property];
      if (column.name.empty()) column = newColumn(slot, names, definitions);
      map.columns.push_back(Schema::columnOf(slot, i, column.name, column.entity, column.position));
      if (!noteColumn(map, slot.name->utf8(), column)) return false;
    }
  }
  std::string sql;
  for (const std::string& definition : definitions) {
    sql += isThere ? "ALTER TABLE " + Schema::quoted(table) + " ADD COLUMN " + definition + ";"
                   : ", " + definition;
  }
  if (!isThere) {
    sql = "CREATE TABLE " + Schema::quoted(table) +
          " (_pk INTEGER PRIMARY KEY, _entity INTEGER NOT NULL, _version INTEGER NOT NULL" + sql +
          ")";
  }
  return sql.empty() || _database.execute(sql.c_str());
}

/// Names the columns of a property. A record that still is led to cannot go, unless the model says
/// that nobody cares.
SchemaMaker::NewColumn SchemaMaker::newColumn(const EntityLayout::Slot& slot, NameTaker& names,
                                              std::vector<std::string>& definitions) const {
  NewColumn column{names.take(slot.name->toStdString()), {}, {}};
  std::string definition = Schema::quoted(column.name) + " " + columnType(slot.type);
  if (!slot.relationship) {
    definitions.push_back(std::move(definition));
    return column;
  }
  const NSEntityDescription& destination = slot.relationship->destinationEntity()->layout().root();
  const Ref<NSRelationshipDescription> inverse = slot.relationship->inverseRelationship();
  if (Schema::hasForeignKey(*slot.relationship)) {
    definition += " REFERENCES " + Schema::quoted(_tableOf.at(&destination)) +
                  " (_pk) DEFERRABLE INITIALLY DEFERRED";
  }
  definitions.push_back(std::move(definition));
  if (Schema::needsEntityColumn(*slot.relationship)) {
    column.entity = names.take(column.name + "_entity");
    definitions.push_back(Schema::quoted(column.entity) + " INTEGER");
  }
  if (isOrdered(inverse)) {
    column.position = names.take(column.name + "_position");
    definitions.push_back(Schema::quoted(column.position) + " INTEGER");
  }
  return column;
}

bool SchemaMaker::noteColumn(const Schema::EntityMap& map, std::string_view property,
                             const NewColumn& column) {
  const std::string* const names[] = {&column.name, &column.entity, &column.position};
  for (std::int64_t role = 0; role < 3; ++role) {
    if (names[role]->empty()) continue;
    _addColumn.bind(1, map.number);
    _addColumn.bind(2, property);
    _addColumn.bind(3, role);
    _addColumn.bind(4, *names[role]);
    if (!_addColumn.run()) return false;
  }
  return true;
}

bool SchemaMaker::makeLinks(const EntityMaps& maps, Links& links) {
  _addLink = _database.prepare("INSERT INTO jn_link VALUES (?, ?, ?, ?, ?, ?)");
  if (!_addLink) return false;
  for (const Ref<NSEntityDescription>& entity : _model.entityList()) {
    for (const Ref<NSPropertyDescription>& property : entity->ownProperties()) {
      if (!isKindOf<NSRelationshipDescription>(*property)) continue;
      const auto& relationship = static_cast<const NSRelationshipDescription&>(*property);
      if (!Schema::hasPairs(relationship) || links.count(&relationship)) continue;
      if (!makePairs(maps.at(entity.get()), relationship, maps, links)) return false;
    }
  }
  return true;
}

bool SchemaMaker::makePairs(const Schema::EntityMap& map,
                            const NSRelationshipDescription& relationship, const EntityMaps& maps,
                            Links& links) {
  const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
  const bool leadsBackByItself = inverse.get() == &relationship;
  const bool isMutual = inverse && !leadsBackByItself;
  const auto kept = _kept.pairs.find(&relationship);
  if (kept != _kept.pairs.end()) {
    if (!noteLink(map, relationship, kept->second, links)) return false;
    return !isMutual || noteLink(maps.at(inverse->entity().get()), *inverse,
                                 _kept.pairs.at(inverse.get()), links);
  }
  const NewLink link{_tables.take("link_" + map.entity->name()->toStdString() + "_" +
                                  relationship.name()->toStdString()),
                     "near", "far", relationship.isOrdered() ? "near_position" : ""};
  const NewLink back{link.table, "far", "near",
                     isMutual && inverse->isOrdered() ? "far_position" : ""};
  const Schema::EntityMap& members = maps.at(relationship.destinationEntity().get());
  std::string sql = "CREATE TABLE " + Schema::quoted(link.table) +
                    " (near INTEGER NOT NULL REFERENCES " + map.table +
                    " (_pk) ON DELETE CASCADE, far INTEGER NOT NULL REFERENCES " + members.table +
                    " (_pk) ON DELETE CASCADE";
  if (!link.position.empty()) sql += ", near_position INTEGER";
  if (!back.position.empty()) sql += ", far_position INTEGER";
  sql += ", PRIMARY KEY (near, far)) WITHOUT ROWID";
  if (!_database.execute(sql.c_str()) || !noteLink(map, relationship, link, links)) return false;
  return !isMutual || noteLink(maps.at(inverse->entity().get()), *inverse, back, links);
}

bool SchemaMaker::noteLink(const Schema::EntityMap& map,
                           const NSRelationshipDescription& relationship, const NewLink& link,
                           Links& links) {
  links[&relationship] =
      Schema::linkOf(relationship, link.table, link.near, link.far, link.position);
  _addLink.bind(1, map.number);
  _addLink.bind(2, relationship.name()->utf8());
  _addLink.bind(3, link.table);
  _addLink.bind(4, link.near);
  _addLink.bind(5, link.far);
  if (link.position.empty()) {
    _addLink.bindNull(6);
  } else {
    _addLink.bind(6, link.position);
  }
  return _addLink.run();
}

}  // namespace JNFoundation::impl
