#include "JNFoundation/platform/store/sqlite/impl/SchemaMaker.h"

#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>

namespace JNFoundation::impl {
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
  _addEntity = _database.prepare("INSERT INTO jn_entity VALUES (?, ?, ?, ?, ?, 1)");
  _addColumn = _database.prepare("INSERT INTO jn_column VALUES (?, ?, ?, ?)");
  if (!_addEntity || !_addColumn) return false;
  std::vector<const NSEntityDescription*> roots;
  for (const Ref<NSEntityDescription>& entity : _model.entityList()) {
    if (&entity->layout().root() != entity.get()) continue;
    roots.push_back(entity.get());
    _tableOf[entity.get()] = _tables.take("object_" + entity->name()->toStdString());
  }
  for (const NSEntityDescription* root : roots) {
    if (!makeTable(*root, maps)) return false;
  }
  return true;
}

bool SchemaMaker::makeTable(const NSEntityDescription& root, EntityMaps& maps) {
  const std::string table = _tableOf.at(&root);
  const std::int64_t rootNumber = _number + 1;
  NameTaker names;
  for (const char* own : {"_pk", "_entity", "_version", "rowid", "oid", "_rowid_"}) names.take(own);
  std::string definition = "CREATE TABLE " + Schema::quoted(table) +
                           " (_pk INTEGER PRIMARY KEY, _entity INTEGER NOT NULL, _version INTEGER "
                           "NOT NULL";
  std::string indexes;
  std::unordered_map<const NSPropertyDescription*, NewColumn> columnOf;
  for (const NSEntityDescription* entity : hierarchy(root)) {
    Schema::EntityMap& map = maps[entity];
    map.entity = entity;
    map.number = ++_number;
    map.table = Schema::quoted(table);
    const Ref<NSString> hash = entity->versionHash();
    _addEntity.bind(1, map.number);
    _addEntity.bind(2, entity->name()->utf8());
    _addEntity.bind(3, rootNumber);
    _addEntity.bind(4, table);
    _addEntity.bind(5, hash->utf8());
    if (!_addEntity.run()) return false;
    const EntityLayout& layout = entity->layout();
    for (std::size_t i = 0; i < layout.count(); ++i) {
      const EntityLayout::Slot& slot = layout[i];
      if (!slot.stored) continue;
      const NSPropertyDescription* property = slot.relationship.get();
      if (!property) property = slot.attribute.get();
      NewColumn& column = columnOf[property];
      if (column.name.empty()) {
        column.name = names.take(slot.name->toStdString());
        definition += ", " + Schema::quoted(column.name) + " " + columnType(slot.type);
        if (slot.relationship) addReference(*slot.relationship, names, column, definition);
        if (slot.relationship && slot.relationship->inverseRelationship()) {
          indexes += "CREATE INDEX jn_reference_" + std::to_string(++_indexes) + " ON " +
                     Schema::quoted(table) + " (" + Schema::quoted(column.name) + ");";
        }
      }
      map.columns.push_back(Schema::columnOf(slot, i, column.name, column.entity, column.position));
      if (!noteColumn(map, slot.name->utf8(), column)) return false;
    }
  }
  return _database.execute((definition + ")").c_str()) && _database.execute(indexes.c_str());
}

/// What a column needs beyond its name to lead to a record. A record that still is led to cannot
/// go, unless the model says that nobody cares.
void SchemaMaker::addReference(const NSRelationshipDescription& relationship, NameTaker& names,
                               NewColumn& column, std::string& definition) const {
  const NSEntityDescription& destination = relationship.destinationEntity()->layout().root();
  const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
  if (inverse && inverse->deleteRule() != NSNoActionDeleteRule) {
    definition += " REFERENCES " + Schema::quoted(_tableOf.at(&destination)) +
                  " (_pk) DEFERRABLE INITIALLY DEFERRED";
  }
  if (Schema::needsEntityColumn(relationship)) {
    column.entity = names.take(column.name + "_entity");
    definition += ", " + Schema::quoted(column.entity) + " INTEGER";
  }
  if (isOrdered(inverse)) {
    column.position = names.take(column.name + "_position");
    definition += ", " + Schema::quoted(column.position) + " INTEGER";
  }
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
  NewLink link{_tables.take("link_" + map.entity->name()->toStdString() + "_" +
                            relationship.name()->toStdString()),
               "near", "far", relationship.isOrdered() ? "near_position" : ""};
  NewLink back{link.table, "far", "near", isMutual && inverse->isOrdered() ? "far_position" : ""};
  const Schema::EntityMap& members = maps.at(relationship.destinationEntity().get());
  const std::string table = Schema::quoted(link.table);
  std::string sql = "CREATE TABLE " + table + " (near INTEGER NOT NULL REFERENCES " + map.table +
                    " (_pk) ON DELETE CASCADE, far INTEGER NOT NULL REFERENCES " + members.table +
                    " (_pk) ON DELETE CASCADE";
  if (!link.position.empty()) sql += ", near_position INTEGER";
  if (!back.position.empty()) sql += ", far_position INTEGER";
  sql += ", PRIMARY KEY (near, far)) WITHOUT ROWID; CREATE INDEX jn_reference_" +
         std::to_string(++_indexes) + " ON " + table + " (far, near);";
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
