#include "JNFoundation/platform/store/sqlite/impl/StoreMigrator.h"

#include <algorithm>

#include <JNFoundation/platform/store/NSMigrationStep.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/store/sqlite/impl/MigrationRecords.h>
#include <JNFoundation/platform/store/sqlite/impl/MigrationWork.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

MappingInference::Custom customEntities(const NSMigrationStep* step) {
  MappingInference::Custom names;
  if (step) {
    for (const Ref<NSString>& name : step->entityNames()) names.insert(name->toStdString());
  }
  return names;
}

std::vector<const NSEntityDescription*> rootsOf(const NSManagedObjectModel& model) {
  std::vector<const NSEntityDescription*> roots;
  for (const Ref<NSEntityDescription>& entity : model.entityList()) {
    if (&entity->layout().root() == entity.get()) roots.push_back(entity.get());
  }
  return roots;
}

std::vector<const NSEntityDescription*> membersOf(const NSManagedObjectModel& model,
                                                  const NSEntityDescription& root) {
  std::vector<const NSEntityDescription*> members;
  for (const Ref<NSEntityDescription>& entity : model.entityList()) {
    if (&entity->layout().root() == &root) members.push_back(entity.get());
  }
  return members;
}

bool isIn(std::span<const NSEntityDescription* const> family, const NSEntityDescription* entity) {
  return std::find(family.begin(), family.end(), entity) != family.end();
}

KeptParts::Column unquoted(const Schema::Column& column) {
  return {Schema::unquoted(column.name), Schema::unquoted(column.entityColumn),
          Schema::unquoted(column.positionColumn)};
}

KeptParts::Pairs unquoted(const Schema::Link& link) {
  return {Schema::unquoted(link.table), Schema::unquoted(link.near), Schema::unquoted(link.far),
          Schema::unquoted(link.position)};
}

bool isOrderedAtOtherEnd(const NSRelationshipDescription& relationship) {
  const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
  return inverse && inverse->isToMany() && inverse->isOrdered();
}

}  // namespace

StoreMigrator::StoreMigrator(Database& database, MigrationWork& work, NSPersistentStore& store,
                             Ref<NSManagedObjectModel> source,
                             Ref<NSManagedObjectModel> destination, const NSMigrationStep* step)
    : _database(database),
      _work(work),
      _store(store),
      _source(std::move(source)),
      _destination(std::move(destination)),
      _step(step),
      _inference(*_source, *_destination, customEntities(step)) {}

StoreMigrator::~StoreMigrator() = default;

bool StoreMigrator::failed(Ref<NSError>* error) const {
  if (_work.isCancelled()) {
    return fail(error,
                cocoaError(NSMigrationCancelledError, "The migration of the store was cancelled.",
                           {{NSFilePathErrorKey, Value(_database.path())}}));
  }
  return fail(error, _database.error(NSMigrationError, "The store cannot be migrated"));
}

bool StoreMigrator::migrate(Ref<NSError>* error) {
  if (!_inference.infer(error) || !readOld(error)) return false;
  if (!findKept() || !setAside() || !_new.remake(_database, *_destination, _kept)) {
    return failed(error);
  }
  if (!countWork() || !copyRecords()) return failed(error);
  if (!migrateRecords(false, error)) return false;
  if (!copyPairs()) return failed(error);
  if (!migrateRecords(true, error) || !checkRequired(error)) return false;
  if (!_work.begin("Indexing") || !dropOld()) return failed(error);
  if (!makeIndexes(error)) return false;
  if (!Schema::writeModel(_database, *_destination) || !_work.advance(0)) return failed(error);
  return true;
}

bool StoreMigrator::readOld(Ref<NSError>* error) {
  std::string ignored;
  switch (_old.read(_database, *_source, ignored)) {
    case Schema::Match::Same:
      break;
    case Schema::Match::Failed:
      return failed(error);
    default:
      return fail(error, cocoaError(NSMigrationError,
                                    "The store cannot be migrated: it is damaged, and its tables "
                                    "are not those of its own model.",
                                    {{NSFilePathErrorKey, Value(_database.path())}}));
  }
  for (const NSEntityDescription* root : rootsOf(*_source)) {
    _oldTables[root] = _old.of(*root).table;
  }
  return true;
}

const std::string& StoreMigrator::oldTableOf(const NSEntityDescription& entity) const {
  return _oldTables.at(&entity.layout().root());
}

// ---- What stays ---------------------------------------------------------------------------------

bool StoreMigrator::findKept() {
  std::unordered_map<std::int64_t, std::int64_t> nextKeys;
  {
    Statement keys = _database.prepare("SELECT number, next_key FROM jn_entity");
    if (!keys) return false;
    Statement::Step step;
    while ((step = keys.step()) == Statement::Step::Row)
      nextKeys[keys.integer(0)] = keys.integer(1);
    if (step == Statement::Step::Failed) return false;
  }
  for (const auto& [number, key] : nextKeys) {
    _kept.lastNumber = std::max(_kept.lastNumber, number);
  }
  for (const Ref<NSEntityDescription>& entity : _destination->entityList()) {
    const NSEntityDescription* source = _inference.of(*entity).source;
    if (!source) continue;
    _kept.numbers[entity.get()] = _old.of(*source).number;
    _kept.nextKeys[&entity->layout().root()] = nextKeys[_old.of(source->layout().root()).number];
    if (&entity->layout().root() == entity.get() && &source->layout().root() == source) {
      _kept.tableNames[entity.get()] = Schema::unquoted(_old.of(*source).table);
    }
  }
  for (const NSEntityDescription* root : rootsOf(*_destination)) {
    if (canKeep(*root)) _kept.tables.insert(root);
  }
  for (const Ref<NSEntityDescription>& entity : _destination->entityList()) {
    for (const Ref<NSPropertyDescription>& property : entity->ownProperties()) {
      if (!isKindOf<NSRelationshipDescription>(*property)) continue;
      const auto& relationship = static_cast<const NSRelationshipDescription&>(*property);
      if (!Schema::hasPairs(relationship) || !canKeepPairs(relationship)) continue;
      const auto& match = _inference.of(*entity);
      const EntityLayout::Slot* slot =
          _inference.sourceSlot(match, entity->layout().indexOf(*relationship.name()));
      _kept.pairs[&relationship] = unquoted(_old.of(*slot->relationship));
    }
  }
  // From both ends or not at all.
  for (auto entry = _kept.pairs.begin(); entry != _kept.pairs.end();) {
    const auto inverse = entry->first->inverseRelationship();
    const bool isWhole = !inverse || _kept.pairs.count(inverse.get()) > 0;
    entry = isWhole ? std::next(entry) : _kept.pairs.erase(entry);
  }
  return true;
}

/// Whether some records of the source's family will not be of the destination's.
bool StoreMigrator::losesRecords(const NSEntityDescription& source,
                                 const NSEntityDescription& destination) {
  for (const NSEntityDescription* member : source.layout().family()) {
    const NSEntityDescription* became = _inference.destinationOf(*member);
    if (!became || !isIn(destination.layout().family(), became)) return true;
  }
  return false;
}

bool StoreMigrator::canKeep(const NSEntityDescription& root) {
  const NSEntityDescription* source = _inference.of(root).source;
  if (!source || _kept.tableNames.count(&root) == 0) return false;
  // Blocks look at what was while they change what will be.
  if (_step && _step->hasRelationshipMigrations()) return false;
  std::unordered_map<const NSPropertyDescription*, KeptParts::Column> columns;
  for (const NSEntityDescription* member : membersOf(*_destination, root)) {
    if (_inference.isCustom(*member) || !keepColumns(*member, columns)) return false;
  }
  for (const NSEntityDescription* member : membersOf(*_source, *source)) {
    const NSEntityDescription* became = _inference.destinationOf(*member);
    if (!became || &became->layout().root() != &root) return false;
    // What a record had and has no more is not to lie about in its row.
    const auto& sources = _inference.of(*became).sourceOf;
    for (const Schema::Column& column : _old.of(*member).columns) {
      if (std::find(sources.begin(), sources.end(), column.attribute) == sources.end())
        return false;
    }
  }
  for (const auto& [property, column] : columns) {
    if (!column.name.empty()) _kept.columns.emplace(property, column);
  }
  return true;
}

/// Finds the columns that the entity's properties have already. Returns: whether they can be what
/// the entity needs.
bool StoreMigrator::keepColumns(
    const NSEntityDescription& entity,
    std::unordered_map<const NSPropertyDescription*, KeptParts::Column>& columns) {
  const MappingInference::Match& match = _inference.of(entity);
  const EntityLayout& layout = entity.layout();
  for (std::size_t i = 0; match.source && i < layout.count(); ++i) {
    const EntityLayout::Slot& slot = layout[i];
    const EntityLayout::Slot* source = _inference.sourceSlot(match, i);
    if (!slot.stored) continue;
    const NSPropertyDescription* property = slot.relationship.get();
    if (!property) property = slot.attribute.get();
    if (!source) {
      // New for this entity: it cannot be an old one for another.
      if (!columns.emplace(property, KeptParts::Column()).first->second.name.empty()) return false;
      continue;
    }
    if (!MappingInference::isAlike(*source, slot) || source->type != slot.type) return false;
    if (slot.attribute && !slot.optional && source->optional && !slot.defaultValue.isNull()) {
      return false;
    }
    const Schema::Column& column = *Schema::columnNamed(_old.of(*match.source), *source->name);
    if (slot.relationship) {
      const NSEntityDescription& leads = *slot.relationship->destinationEntity();
      const NSEntityDescription& led = *source->relationship->destinationEntity();
      const auto name = _kept.tableNames.find(&leads.layout().root());
      if (Schema::needsEntityColumn(*slot.relationship) == column.entityColumn.empty() ||
          isOrderedAtOtherEnd(*slot.relationship) == column.positionColumn.empty() ||
          Schema::hasForeignKey(*slot.relationship) !=
              Schema::hasForeignKey(*source->relationship) ||
          name == _kept.tableNames.end() || name->second != Schema::unquoted(_old.of(led).table) ||
          losesRecords(led, leads)) {
        return false;
      }
    }
    const auto [known, isNew] = columns.emplace(property, unquoted(column));
    if (!isNew && known->second.name != Schema::unquoted(column.name)) return false;
  }
  return true;
}

bool StoreMigrator::canKeepPairs(const NSRelationshipDescription& relationship) {
  if (_step && _step->hasRelationshipMigrations()) return false;
  const NSEntityDescription& entity = *relationship.entity();
  const NSEntityDescription& leads = *relationship.destinationEntity();
  const MappingInference::Match& match = _inference.of(entity);
  if (!match.source) return false;
  const EntityLayout::Slot* slot =
      _inference.sourceSlot(match, entity.layout().indexOf(*relationship.name()));
  if (!slot || !slot->relationship || !Schema::hasPairs(*slot->relationship)) return false;
  const NSRelationshipDescription& former = *slot->relationship;
  const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
  const Ref<NSRelationshipDescription> formerInverse = former.inverseRelationship();
  // Declared by the same entity, with the same way back, between tables of the same names.
  if (former.entity().get() != match.source || !inverse != !formerInverse) return false;
  if (former.isOrdered() != relationship.isOrdered()) return false;
  if (inverse) {
    const MappingInference::Match& other = _inference.of(*inverse->entity());
    const EntityLayout::Slot* back =
        other.source
            ? _inference.sourceSlot(other, inverse->entity()->layout().indexOf(*inverse->name()))
            : nullptr;
    if (!back || back->relationship != formerInverse) return false;
  }
  const auto isSameTable = [&](const NSEntityDescription& one, const NSEntityDescription& was) {
    const auto name = _kept.tableNames.find(&one.layout().root());
    return name != _kept.tableNames.end() && name->second == Schema::unquoted(_old.of(was).table);
  };
  const NSEntityDescription& led = *former.destinationEntity();
  return isSameTable(entity, *match.source) && isSameTable(leads, led) &&
         !losesRecords(*match.source, entity) && !losesRecords(led, leads);
}

// ---- What is made anew --------------------------------------------------------------------------

bool StoreMigrator::setAside(const std::string& table, std::string& place) {
  place = Schema::quoted("jn_old_" + std::to_string(_toDrop.size() + 1));
  if (!_database.execute(("ALTER TABLE " + table + " RENAME TO " + place).c_str())) return false;
  _toDrop.push_back(place);
  return true;
}

bool StoreMigrator::setAside() {
  for (auto& [root, table] : _oldTables) {
    const NSEntityDescription* became = _inference.destinationOf(*root);
    if (became && _kept.tables.count(became) > 0) continue;
    const std::string name = table;
    if (!setAside(name, table)) return false;
  }
  for (const Ref<NSEntityDescription>& entity : _source->entityList()) {
    for (const Ref<NSPropertyDescription>& property : entity->ownProperties()) {
      if (!isKindOf<NSRelationshipDescription>(*property)) continue;
      const auto& relationship = static_cast<const NSRelationshipDescription&>(*property);
      if (!Schema::hasPairs(relationship)) continue;
      const std::string& table = _old.of(relationship).table;
      if (_oldPairs.count(table)) continue;
      const bool isKept =
          std::any_of(_kept.pairs.begin(), _kept.pairs.end(),
                      [&](const auto& kept) { return Schema::quoted(kept.second.table) == table; });
      std::string& place = _oldPairs[table] = table;
      if (!isKept && !setAside(table, place)) return false;
    }
  }
  return true;
}

bool StoreMigrator::count(const std::string& table, std::uint64_t& records) {
  std::int64_t number = 0;
  if (!_database.number(("SELECT count(*) FROM " + table).c_str(), number)) return false;
  records = static_cast<std::uint64_t>(number);
  return true;
}

bool StoreMigrator::countWork() {
  std::uint64_t records = 0;
  for (const std::string& table : _toDrop) {
    if (!count(table, records)) return false;
    _work.add(records);
  }
  for (const Ref<NSEntityDescription>& entity : _destination->entityList()) {
    const NSEntityDescription* source = _inference.of(*entity).source;
    if (!_step || !source) continue;
    if (!count(oldTableOf(*source) + " WHERE _entity = " + std::to_string(_old.of(*source).number),
               records)) {
      return false;
    }
    if (_step->recordMigrationForEntity(*entity)) _work.add(records);
    if (_step->relationshipMigrationForEntity(*entity)) _work.add(records);
  }
  return true;
}

bool StoreMigrator::migrateRecords(bool relationships, Ref<NSError>* error) {
  if (!_step) return true;
  if (!_oldRecords) {
    _oldRecords = std::make_shared<MigrationRecords>(
        _database, _old, _store, [this](const std::string& table) -> const std::string& {
          const auto pairs = _oldPairs.find(table);
          if (pairs != _oldPairs.end()) return pairs->second;
          for (const auto& [root, place] : _oldTables) {
            if (_old.of(*root).table == table) return place;
          }
          return table;
        });
    _newRecords = std::make_shared<MigrationRecords>(_database, _new, _store, nullptr);
  }
  for (const Ref<NSEntityDescription>& entity : _destination->entityList()) {
    const NSEntityDescription* source = _inference.of(*entity).source;
    const NSRecordMigration block = relationships ? _step->relationshipMigrationForEntity(*entity)
                                                  : _step->recordMigrationForEntity(*entity);
    if (!block || !source) continue;
    if (!_work.begin((relationships ? "Relating " : "Adjusting ") +
                     entity->name()->toStdString())) {
      return failed(error);
    }
    _oldRecords->allowRelationships(relationships);
    _newRecords->allowRelationships(relationships);
    Ref<NSError> reason;
    const auto migrateOne = [&](const Ref<NSMigrationRecord>& record) {
      const Ref<NSMigrationRecord> made = _newRecords->record(*entity, record->number());
      if (!made) return _database.refuse(SQLITE_CORRUPT, "a record is gone");
      if (!block(record, made, &reason)) {
        if (!reason) reason = cocoaError(NSEntityMigrationPolicyError, "The block says no more.");
        return false;
      }
      return _newRecords->write(*made) && _work.advance(1);
    };
    bool isDone = false;
    try {
      isDone = _oldRecords->forEach(*source, migrateOne);
    } catch (const Raised& raised) {
      if (_oldRecords->hasFailed() || _newRecords->hasFailed()) return failed(error);
      reason = cocoaError(NSEntityMigrationPolicyError, raised.exception()->reason());
    }
    if (isDone) continue;
    if (!reason) return failed(error);
    return fail(error, cocoaError(NSEntityMigrationPolicyError,
                                  NSString::stringWithFormat(
                                      "The records of '%@' cannot be migrated: %@", entity->name(),
                                      reason->localizedDescription()),
                                  {{"entity", entity->name()}, {NSUnderlyingErrorKey, reason}}));
  }
  return true;
}

/// What a block was to set must be there.
bool StoreMigrator::checkRequired(Ref<NSError>* error) {
  for (const Ref<NSEntityDescription>& entity : _destination->entityList()) {
    if (!_inference.isCustom(*entity) || entity->isAbstract()) continue;
    const Schema::EntityMap& map = _new.of(*entity);
    for (const Schema::Column& column : map.columns) {
      const EntityLayout::Slot& slot = entity->layout()[column.attribute];
      if (slot.optional || !slot.attribute) continue;
      std::uint64_t missing = 0;
      if (!count(map.table + " WHERE _entity = " + std::to_string(map.number) + " AND " +
                     column.name + " IS NULL",
                 missing)) {
        return failed(error);
      }
      if (missing == 0) continue;
      return fail(error,
                  cocoaError(NSMigrationError,
                             NSString::stringWithFormat(
                                 "The store cannot be migrated: %lld records of '%@' would have no "
                                 "value for '%@', which is required.",
                                 static_cast<long long>(missing), entity->name(), slot.name),
                             {{"entity", entity->name()}, {"property", slot.name}}));
    }
  }
  return true;
}

bool StoreMigrator::dropOld() {
  _oldRecords = nullptr;
  _newRecords = nullptr;
  for (const std::string& table : _toDrop) {
    if (!_database.execute(("DROP TABLE " + table).c_str())) return false;
  }
  return true;
}

bool StoreMigrator::makeIndexes(Ref<NSError>* error) {
  if (_new.makeIndexes(_database, *_destination)) return true;
  return _database.lastCode() == SQLITE_CONSTRAINT_UNIQUE ? repeatedValues(error) : failed(error);
}

/// Says which records do not satisfy a constraint.
bool StoreMigrator::repeatedValues(Ref<NSError>* error) {
  const Ref<NSError> cause = _database.error(NSMigrationConstraintViolationError, "");
  for (const Ref<NSEntityDescription>& entity : _destination->entityList()) {
    const Schema::EntityMap& map = _new.of(*entity);
    for (const Value& constraint : *entity->uniquenessConstraints()) {
      const std::string columns = Schema::columnsOfConstraint(map, constraint);
      if (columns.empty()) continue;
      std::string known = _new.familyCondition(map);
      for (const Value& name : *as<NSArray>(constraint)) {
        known += (known.empty() ? " WHERE " : " AND ") +
                 Schema::columnNamed(map, *as<NSString>(name))->name + " IS NOT NULL";
      }
      constexpr int most = 5;
      std::string sql = "SELECT min(_pk), max(_pk), " + columns;
      sql += " FROM " + map.table + known;
      sql += " GROUP BY " + columns;
      sql += " HAVING count(*) > 1 LIMIT " + std::to_string(most);
      Statement repeated = _database.prepare(std::move(sql));
      if (!repeated) return failed(error);
      std::string found;
      Statement::Step step;
      while ((step = repeated.step()) == Statement::Step::Row) {
        found += found.empty() ? "" : "; ";
        for (int i = 2; i < sqlite3_column_count(repeated.handle()); ++i) {
          found += (i > 2 ? ", '" : "'") + std::string(repeated.text(i)) + "'";
        }
        found += " in the records " + std::string(repeated.text(0)) + " and " +
                 std::string(repeated.text(1));
      }
      if (step == Statement::Step::Failed) return failed(error);
      if (found.empty()) continue;
      return fail(
          error, cocoaError(NSMigrationConstraintViolationError,
                            NSString::stringWithFormat(
                                "The store cannot be migrated: records of '%@' repeat what must be "
                                "unique by %@: %s.",
                                entity->name(),
                                as<NSArray>(constraint)->componentsJoinedByString(", "), found),
                            {{"entity", entity->name()},
                             {NSFilePathErrorKey, Value(_database.path())},
                             {NSUnderlyingErrorKey, cause->underlyingError()}}));
    }
  }
  return fail(error, cause);
}

}  // namespace JNFoundation::impl
