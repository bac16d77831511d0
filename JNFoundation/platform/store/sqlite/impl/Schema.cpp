#include "JNFoundation/platform/store/sqlite/impl/Schema.h"

#include <algorithm>
#include <unordered_set>

#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/StoredModel.h>
#include <JNFoundation/platform/store/sqlite/impl/SchemaMaker.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

/// The columns of an index, by commas. Returns: nothing where one of them is not stored.
std::string columnsOfIndex(const Schema::EntityMap& map, const NSFetchIndexDescription& index) {
  std::string columns;
  for (const Value& member : *index.elements()) {
    const auto* element = as<NSFetchIndexElementDescription>(member);
    const Schema::Column* column = Schema::columnNamed(map, *element->propertyName());
    // An index over a relationship to many is none of ours.
    if (!column) return {};
    columns += (columns.empty() ? "" : ", ") + column->name;
    if (!element->isAscending()) columns += " DESC";
  }
  return columns;
}

/// Where SQL has "CREATE INDEX name ON table (columns)": what follows the name, with the sign of
/// a unique one before it.
std::string keyOfIndex(std::string_view sql) {
  const std::size_t tail = sql.find(" ON ");
  if (tail == std::string_view::npos) return {};
  return (sql.substr(0, 14) == "CREATE UNIQUE " ? "!" : " ") + std::string(sql.substr(tail + 1));
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

std::string Schema::unquoted(std::string_view name) {
  std::string text;
  for (std::size_t i = 1; i + 1 < name.size(); ++i) {
    text += name[i];
    if (name[i] == '"') ++i;
  }
  return text;
}

bool Schema::hasPairs(const NSRelationshipDescription& relationship) {
  if (!relationship.isToMany() || relationship.isTransient()) return false;
  const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
  return !inverse || inverse->isToMany() || inverse->isTransient();
}

bool Schema::needsEntityColumn(const NSRelationshipDescription& relationship) {
  return relationship.destinationEntity()->layout().family().size() != 1;
}

bool Schema::hasForeignKey(const NSRelationshipDescription& relationship) {
  const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
  return inverse && inverse->deleteRule() != NSNoActionDeleteRule;
}

Schema::Column Schema::columnOf(const EntityLayout::Slot& slot, std::size_t number,
                                const std::string& name, const std::string& entityColumn,
                                const std::string& positionColumn) {
  const auto quotedOrEmpty = [](const std::string& text) {
    return text.empty() ? text : quoted(text);
  };
  Column column{quoted(name),
                number,
                slot.type,
                nullptr,
                quotedOrEmpty(entityColumn),
                quotedOrEmpty(positionColumn)};
  if (slot.relationship) column.destination = slot.relationship->destinationEntity().get();
  return column;
}

Schema::Link Schema::linkOf(const NSRelationshipDescription& relationship, const std::string& table,
                            const std::string& near, const std::string& far,
                            const std::string& position) {
  return {quoted(table), quoted(near),
          quoted(far),   position.empty() ? position : quoted(position),
          true,          relationship.destinationEntity().get()};
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
  markUniqueColumns();
  addDerivedLinks();
}

void Schema::markUniqueColumns() {
  for (auto& [entity, map] : _entities) {
    for (Ref<NSEntityDescription> above(const_cast<NSEntityDescription*>(entity)); above;
         above = above->superentity()) {
      for (const Value& constraint : above->uniquenessConstraints()) {
        const auto* names = as<NSArray>(constraint);
        for (NSUInteger i = 0; names && i < names->count(); ++i) {
          const Value name = names->objectAtIndex(i);
          const auto* text = as<NSString>(name);
          const auto* column = text ? columnNamed(map, *text) : nullptr;
          if (column)
            map.columns[static_cast<std::size_t>(column - map.columns.data())].isUnique = true;
        }
      }
    }
  }
}

/// The relationships to many that are the other side of a column.
void Schema::addDerivedLinks() {
  for (const auto& [entity, map] : _entities) {
    const EntityLayout& layout = entity->layout();
    for (const std::size_t number : layout.toManys()) {
      const NSRelationshipDescription& relationship = *layout[number].relationship;
      if (relationship.isTransient() || hasPairs(relationship)) continue;
      const Column& column = *columnNamed(of(*relationship.destinationEntity()),
                                          *relationship.inverseRelationship()->name());
      _links[&relationship] = {of(*relationship.destinationEntity()).table,
                               column.name,
                               "_pk",
                               column.positionColumn,
                               false,
                               relationship.destinationEntity().get()};
    }
  }
}

const Schema::Column* Schema::columnNamed(const EntityMap& map, const NSString& property) {
  const std::size_t index = map.entity->layout().indexOf(property);
  if (index == EntityLayout::none || map.columnOfAttribute[index] < 0) return nullptr;
  return &map.columns[static_cast<std::size_t>(map.columnOfAttribute[index])];
}

std::string Schema::columnsOfConstraint(const EntityMap& map, const Value& constraint) {
  const auto* names = as<NSArray>(constraint);
  std::string columns;
  if (!names) return {};
  for (const Value& name : *names) {
    const auto* text = as<NSString>(name);
    const Column* column = text ? columnNamed(map, *text) : nullptr;
    if (!column) return {};
    columns += (columns.empty() ? "" : ", ") + column->name;
  }
  return columns;
}

std::string Schema::familyCondition(const EntityMap& map) const {
  const EntityLayout& layout = map.entity->layout();
  if (layout.family().size() == layout.root().layout().family().size()) return {};
  std::string numbers;
  for (const NSEntityDescription* member : layout.family()) {
    numbers += (numbers.empty() ? "" : ", ") + std::to_string(of(*member).number);
  }
  return " WHERE _entity IN (" + numbers + ")";
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
  const KeptParts nothing;
  SchemaMaker maker(database, model, nothing);
  if (!maker.makeOwnTables(identifier) || !maker.makeTables(_entities)) return false;
  if (!maker.makeLinks(_entities, _links)) return false;
  finish();
  return makeIndexes(database, model) && writeModel(database, model);
}

bool Schema::remake(Database& database, const NSManagedObjectModel& model, const KeptParts& kept) {
  SchemaMaker maker(database, model, kept);
  if (!database.execute("DELETE FROM jn_entity; DELETE FROM jn_column; DELETE FROM jn_link")) {
    return false;
  }
  if (!maker.makeTables(_entities) || !maker.makeLinks(_entities, _links)) return false;
  finish();
  return true;
}

bool Schema::writeModel(Database& database, const NSManagedObjectModel& model) {
  const std::string text = storedModelText(model);
  if (!database.execute("DELETE FROM jn_metadata WHERE key IN ('model', 'model_hash')")) {
    return false;
  }
  if (text.empty()) return true;
  const std::string hash = storedModelHash(text);
  Statement insertion = database.prepare("INSERT INTO jn_metadata VALUES (?, ?)");
  if (!insertion) return false;
  for (const auto& [key, value] :
       {std::pair<std::string_view, std::string_view>{"model", text}, {"model_hash", hash}}) {
    insertion.bind(1, key);
    insertion.bind(2, value);
    if (!insertion.run()) return false;
  }
  return true;
}

std::vector<std::pair<std::string, std::string>> Schema::neededIndexes(
    const NSManagedObjectModel& model) const {
  std::vector<std::pair<std::string, std::string>> needed;
  for (const Ref<NSEntityDescription>& entity : model.entityList()) {
    const EntityMap& map = of(*entity);
    for (const Value& index : *entity->indexes()) {
      const std::string columns = columnsOfIndex(map, *as<NSFetchIndexDescription>(index));
      if (!columns.empty()) {
        needed.emplace_back(" ON " + map.table + " (" + columns + ")", "jn_index_");
      }
    }
    for (const Value& constraint : *entity->uniquenessConstraints()) {
      const std::string columns = columnsOfConstraint(map, constraint);
      // The entities beside this one may repeat each other.
      if (!columns.empty()) {
        needed.emplace_back("!ON " + map.table + " (" + columns + ")" + familyCondition(map),
                            "jn_unique_");
      }
    }
    for (const Ref<NSPropertyDescription>& property : entity->ownProperties()) {
      if (!isKindOf<NSRelationshipDescription>(*property)) continue;
      const auto& relationship = static_cast<const NSRelationshipDescription&>(*property);
      const Column* column = columnNamed(map, *relationship.name());
      if (column && relationship.inverseRelationship()) {
        needed.emplace_back(" ON " + map.table + " (" + column->name + ")", "jn_reference_");
      }
      // From the other end of the pairs; from the near one the table itself is in order.
      const auto link = _links.find(&relationship);
      if (link != _links.end() && link->second.hasOwnTable && link->second.near == "\"near\"") {
        needed.emplace_back(
            " ON " + link->second.table + " (" + link->second.far + ", " + link->second.near + ")",
            "jn_reference_");
      }
    }
  }
  return needed;
}

bool Schema::makeIndexes(Database& database, const NSManagedObjectModel& model) const {
  std::unordered_map<std::string, std::string> there;
  std::unordered_set<std::string> names;
  {
    Statement indexes = database.prepare(
        "SELECT name, sql FROM sqlite_schema WHERE type = 'index' AND sql IS NOT NULL AND "
        "substr(name, 1, 3) = 'jn_'");
    if (!indexes) return false;
    Statement::Step step;
    while ((step = indexes.step()) == Statement::Step::Row) {
      names.insert(std::string(indexes.text(0)));
      there.emplace(keyOfIndex(indexes.text(1)), indexes.text(0));
    }
    if (step == Statement::Step::Failed) return false;
  }
  std::vector<std::string> statements;
  std::unordered_set<std::string> known;
  int number = 0;
  for (const auto& [key, kind] : neededIndexes(model)) {
    if (!known.insert(key).second || there.erase(key) > 0) continue;
    std::string name;
    while (!names.insert(name = kind + std::to_string(++number)).second) {
    }
    statements.push_back((key[0] == '!' ? "CREATE UNIQUE INDEX " : "CREATE INDEX ") + name + " " +
                         key.substr(1));
  }
  for (const auto& [key, name] : there) {
    if (!database.execute(("DROP INDEX " + quoted(name)).c_str())) return false;
  }
  for (const std::string& sql : statements) {
    if (!database.execute(sql.c_str())) return false;
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
  const Match columns = readColumns(database);
  if (columns != Match::Same) return columns;
  const Match links = readLinks(database, model);
  if (links != Match::Same) return links;
  finish();
  return Match::Same;
}

Schema::Match Schema::readColumns(Database& database) {
  Statement columns = database.prepare(
      "SELECT property, role, column_name FROM jn_column WHERE entity = ? ORDER BY property, role");
  if (!columns) return Match::Failed;
  constexpr std::int64_t valueRole = 0, entityRole = 1, positionRole = 2;
  for (auto& [entity, map] : _entities) {
    const EntityLayout& layout = entity->layout();
    std::vector<bool> known(layout.count());
    std::size_t last = EntityLayout::none;
    columns.bind(1, map.number);
    Statement::Step step;
    while ((step = columns.step()) == Statement::Step::Row) {
      const Ref<NSString> name = NSString::fromText(columns.text(0));
      const std::int64_t role = columns.integer(1);
      const std::string column(columns.text(2));
      const std::size_t index = layout.indexOf(*name);
      if (index == EntityLayout::none || !layout[index].stored) return Match::Damaged;
      if (role == valueRole && !known[index]) {
        known[index] = true;
        last = index;
        map.columns.push_back(columnOf(layout[index], index, column, {}, {}));
      } else if (last == index && role == entityRole) {
        map.columns.back().entityColumn = quoted(column);
      } else if (last == index && role == positionRole) {
        map.columns.back().positionColumn = quoted(column);
      } else {
        return Match::Damaged;
      }
    }
    if (step == Statement::Step::Failed) return Match::Failed;
    columns.reset();
    const auto stored = std::count_if(layout.slots().begin(), layout.slots().end(),
                                      [](const EntityLayout::Slot& slot) { return slot.stored; });
    if (map.columns.size() != static_cast<std::size_t>(stored)) return Match::Damaged;
    for (const Column& column : map.columns) {
      const auto& relationship = layout[column.attribute].relationship;
      if (!relationship) continue;
      const Ref<NSRelationshipDescription> inverse = relationship->inverseRelationship();
      const bool hasPosition = inverse && inverse->isToMany() && inverse->isOrdered();
      if (column.entityColumn.empty() == needsEntityColumn(*relationship) ||
          column.positionColumn.empty() == hasPosition) {
        return Match::Damaged;
      }
    }
  }
  return Match::Same;
}

Schema::Match Schema::readLinks(Database& database, const NSManagedObjectModel& model) {
  Statement links = database.prepare(
      "SELECT table_name, near_column, far_column, position_column FROM jn_link WHERE entity = ? "
      "AND property = ?");
  if (!links) return Match::Failed;
  for (const Ref<NSEntityDescription>& entity : model.entityList()) {
    for (const Ref<NSPropertyDescription>& property : entity->ownProperties()) {
      if (!isKindOf<NSRelationshipDescription>(*property)) continue;
      const auto& relationship = static_cast<const NSRelationshipDescription&>(*property);
      if (!hasPairs(relationship)) continue;
      links.bind(1, of(*entity).number);
      links.bind(2, relationship.name()->utf8());
      const Statement::Step step = links.step();
      if (step == Statement::Step::Failed) return Match::Failed;
      if (step == Statement::Step::Done) return Match::Damaged;
      _links[&relationship] =
          linkOf(relationship, std::string(links.text(0)), std::string(links.text(1)),
                 std::string(links.text(2)), std::string(links.text(3)));
      if (_links[&relationship].position.empty() == relationship.isOrdered()) return Match::Damaged;
      links.reset();
    }
  }
  return Match::Same;
}

}  // namespace JNFoundation::impl
