#include "JNFoundation/platform/store/sqlite/impl/MigrationRecords.h"

#include <algorithm>

#include <JNFoundation/platform/store/sqlite/impl/ValueBinding.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

/// Takes a statement's rows no further.
struct Stopped {};

Ref<NSEntityDescription> shared(const NSEntityDescription& entity) {
  return Ref<NSEntityDescription>(const_cast<NSEntityDescription*>(&entity));
}

/// "column = NULL" of each column that a reference has.
std::string cleared(const Schema::Column& column) {
  std::string sets = column.name + " = NULL";
  if (!column.entityColumn.empty()) sets += ", " + column.entityColumn + " = NULL";
  if (!column.positionColumn.empty()) sets += ", " + column.positionColumn + " = NULL";
  return sets;
}

}  // namespace

/// Makes records of rows.
class MigrationRecords::Receiver final : public StoreRowReceiver {
 public:
  Receiver(std::weak_ptr<MigratedRecords> records,
           std::function<bool(const Ref<NSMigrationRecord>&)> block)
      : _records(std::move(records)), _block(std::move(block)) {}

  Value* beginRow(const NSEntityDescription& entity, std::int64_t primaryKey,
                  std::uint32_t) override {
    _entity = &entity;
    _number = primaryKey;
    _values.assign(entity.layout().count(), Value());
    return _values.data();
  }
  void endRow() override {
    if (!_block(makeObject<NSMigrationRecord>(shared(*_entity), _number, std::move(_values),
                                              _records))) {
      throw Stopped();
    }
  }

 private:
  std::weak_ptr<MigratedRecords> _records;
  std::function<bool(const Ref<NSMigrationRecord>&)> _block;
  const NSEntityDescription* _entity = nullptr;
  std::int64_t _number = 0;
  std::vector<Value> _values;
};

void MigrationRecords::failed() {
  _hasFailed = true;
  raise(NSGenericException, "The store cannot be read or written");
}

// ---- Records and their values -------------------------------------------------------------------

bool MigrationRecords::forEach(const NSEntityDescription& entity,
                               const std::function<bool(const Ref<NSMigrationRecord>&)>& block) {
  RowShape shape(_schema, entity, false);
  const Schema::EntityMap& map = _schema.of(entity);
  Statement rows =
      _database.prepare("SELECT " + shape.columns(true) + " FROM " + placeOf(map.table) +
                        " WHERE _entity = " + std::to_string(map.number) + " ORDER BY _pk");
  if (!rows) return false;
  Receiver receiver(weak_from_this(), block);
  bool hasFailed = false;
  try {
    return shape.read(rows, _store, true, receiver, hasFailed);
  } catch (const Stopped&) {
    return false;
  }
}

MigrationRecords::Lookup& MigrationRecords::lookupOf(const NSEntityDescription& root) {
  auto found = _lookups.find(&root);
  if (found == _lookups.end()) {
    found = _lookups.emplace(&root, Lookup{RowShape(_schema, root, true), {}}).first;
    found->second.sql = "SELECT " + found->second.shape.columns(true) + " FROM " +
                        placeOf(_schema.of(root).table) + " WHERE _pk = ?";
  }
  return found->second;
}

Ref<NSMigrationRecord> MigrationRecords::record(const NSEntityDescription& entity,
                                                std::int64_t number) {
  Lookup& lookup = lookupOf(entity.layout().root());
  Statement row = _database.prepare(lookup.sql);
  if (!row) failed();
  row.bind(1, number);
  Ref<NSMigrationRecord> found;
  Receiver receiver(weak_from_this(), [&](const Ref<NSMigrationRecord>& record) {
    found = record;
    return true;
  });
  bool hasFailed = false;
  if (!lookup.shape.read(row, _store, true, receiver, hasFailed)) failed();
  return found;
}

bool MigrationRecords::write(const NSMigrationRecord& record) {
  const Schema::EntityMap& map = _schema.of(entityOf(record));
  std::string sets;
  const std::vector<bool>& changes = changesOf(record);
  for (const Schema::Column& column : map.columns) {
    if (changes[column.attribute]) sets += (sets.empty() ? "" : ", ") + column.name + " = ?";
  }
  if (sets.empty()) return true;
  Statement statement =
      _database.prepare("UPDATE " + map.table + " SET " + sets + " WHERE _pk = ?");
  if (!statement) return false;
  std::vector<Ref<NSString>> made;
  int parameter = 1;
  for (const Schema::Column& column : map.columns) {
    if (!changes[column.attribute]) continue;
    bindValue(statement, parameter++, column.type, valuesOf(record)[column.attribute], made);
  }
  statement.bind(parameter, record.number());
  return statement.run();
}

// ---- Relationships ------------------------------------------------------------------------------

void MigrationRecords::checkRelationships(const NSEntityDescription& entity,
                                          std::size_t slot) const {
  if (_allowsRelationships) return;
  raise(NSInternalInconsistencyException,
        "'%@' of '%@' is there when the relationships are migrated, not before",
        entity.layout()[slot].name, entity.name());
}

std::vector<std::int64_t> MigrationRecords::numbers(const std::string& sql, std::int64_t number) {
  Statement rows = _database.prepare(sql);
  if (!rows) failed();
  rows.bind(1, number);
  std::vector<std::int64_t> found;
  Statement::Step step;
  while ((step = rows.step()) == Statement::Step::Row) found.push_back(rows.integer(0));
  if (step == Statement::Step::Failed) failed();
  return found;
}

void MigrationRecords::run(const std::string& sql, std::initializer_list<std::int64_t> numbers) {
  Statement statement = _database.prepare(sql);
  if (!statement) failed();
  int parameter = 0;
  for (const std::int64_t number : numbers) statement.bind(++parameter, number);
  if (!statement.run()) failed();
}

Value MigrationRecords::related(const NSEntityDescription& entity, std::int64_t number,
                                std::size_t slot) {
  checkRelationships(entity, slot);
  const NSRelationshipDescription& relationship = *entity.layout()[slot].relationship;
  const NSEntityDescription& leads = *relationship.destinationEntity();
  if (!relationship.isToMany()) {
    const Schema::EntityMap& map = _schema.of(entity);
    const Schema::Column& column = *Schema::columnNamed(map, *relationship.name());
    const auto found = numbers("SELECT " + column.name + " FROM " + placeOf(map.table) +
                                   " WHERE _pk = ? AND " + column.name + " IS NOT NULL",
                               number);
    return found.empty() ? Value() : Value(record(leads, found.front()));
  }
  const Schema::Link& link = _schema.of(relationship);
  const std::string order = link.position.empty() ? link.far : link.position + ", " + link.far;
  const auto found = numbers("SELECT " + link.far + " FROM " + placeOf(link.table) + " WHERE " +
                                 link.near + " = ? ORDER BY " + order,
                             number);
  std::vector<Value> records;
  for (const std::int64_t far : found) {
    if (Ref<NSMigrationRecord> other = record(leads, far)) records.emplace_back(std::move(other));
  }
  return NSArray::arrayWithValues(std::move(records));
}

/// The records that a value names, as they will be.
std::vector<MigrationRecords::Member> MigrationRecords::membersOf(
    const NSRelationshipDescription& relationship, const Value& value) {
  std::vector<Value> values;
  if (const auto* list = as<NSArray>(value)) {
    for (const Value& member : *list) values.push_back(member);
  } else if (!value.isNull()) {
    values.push_back(value);
  }
  const auto refuse = [&](const Value& wrong) {
    raise(NSInvalidArgumentException, "'%@' of '%@' cannot lead to %@", relationship.name(),
          relationship.entity()->name(), wrong);
  };
  if ((!relationship.isToMany() && (values.size() > 1 || isKindOf<NSArray>(value))) ||
      (relationship.isToMany() && !value.isNull() && !isKindOf<NSArray>(value))) {
    refuse(value);
  }
  const Ref<NSEntityDescription> leads = relationship.destinationEntity();
  std::vector<Member> members;
  for (const Value& member : values) {
    const auto* given = as<NSMigrationRecord>(member);
    const Ref<NSMigrationRecord> there = given ? record(*leads, given->number()) : nullptr;
    const NSEntityDescription* entity = there ? &entityOf(*there) : nullptr;
    if (!entity || !entity->isKindOfEntity(leads)) refuse(member);
    const bool isKnown = std::any_of(members.begin(), members.end(), [&](const Member& known) {
      return known.number == given->number();
    });
    if (!isKnown) members.push_back({given->number(), _schema.of(*entity).number});
  }
  return members;
}

void MigrationRecords::relate(const NSEntityDescription& entity, std::int64_t number,
                              std::size_t slot, const Value& value) {
  checkRelationships(entity, slot);
  const NSRelationshipDescription& relationship = *entity.layout()[slot].relationship;
  const std::vector<Member> members = membersOf(relationship, value);
  if (!relationship.isToMany()) {
    setOne(entity, number, relationship, members);
  } else if (Schema::hasPairs(relationship)) {
    setPairs(number, relationship, members);
  } else {
    setOwned(entity, number, relationship, members);
  }
}

void MigrationRecords::setOne(const NSEntityDescription& entity, std::int64_t number,
                              const NSRelationshipDescription& relationship,
                              const std::vector<Member>& members) {
  const Schema::EntityMap& map = _schema.of(entity);
  const Schema::Column& column = *Schema::columnNamed(map, *relationship.name());
  const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
  const bool isOneToOne = inverse && !inverse->isToMany() && !inverse->isTransient();
  const Schema::EntityMap& other = _schema.of(*relationship.destinationEntity());
  const Schema::Column* back =
      isOneToOne ? Schema::columnNamed(_schema.of(*inverse->entity()), *inverse->name()) : nullptr;
  if (back) {
    run("UPDATE " + other.table + " SET " + cleared(*back) + " WHERE " + back->name + " = ?",
        {number});
  }
  run("UPDATE " + map.table + " SET " + cleared(column) + " WHERE _pk = ?", {number});
  if (members.empty()) return;
  const Member& member = members.front();
  if (back) {
    run("UPDATE " + map.table + " SET " + cleared(column) + " WHERE " + column.name + " = ?",
        {member.number});
    run("UPDATE " + other.table + " SET " + back->name + " = ?" +
            (back->entityColumn.empty()
                 ? ""
                 : ", " + back->entityColumn + " = " + std::to_string(map.number)) +
            " WHERE _pk = ?",
        {number, member.number});
  }
  std::string sets = column.name + " = ?1";
  if (!column.entityColumn.empty()) {
    sets += ", " + column.entityColumn + " = " + std::to_string(member.entity);
  }
  // At the end of the order at the other end.
  if (!column.positionColumn.empty()) {
    sets += ", " + column.positionColumn + " = (SELECT coalesce(max(" + column.positionColumn +
            "), 0) + 1 FROM " + map.table + " WHERE " + column.name + " = ?1)";
  }
  run("UPDATE " + map.table + " SET " + sets + " WHERE _pk = ?2", {member.number, number});
}

/// Where the way back leads to one, the other records say to whom they belong.
void MigrationRecords::setOwned(const NSEntityDescription& entity, std::int64_t number,
                                const NSRelationshipDescription& relationship,
                                const std::vector<Member>& members) {
  const Schema::EntityMap& other = _schema.of(*relationship.destinationEntity());
  const Schema::Column& column =
      *Schema::columnNamed(other, *relationship.inverseRelationship()->name());
  run("UPDATE " + other.table + " SET " + cleared(column) + " WHERE " + column.name + " = ?",
      {number});
  std::string sets = column.name + " = ?1";
  if (!column.entityColumn.empty()) {
    sets += ", " + column.entityColumn + " = " + std::to_string(_schema.of(entity).number);
  }
  if (!column.positionColumn.empty()) sets += ", " + column.positionColumn + " = ?3";
  std::int64_t position = 0;
  for (const Member& member : members) {
    ++position;
    const std::string sql = "UPDATE " + other.table + " SET " + sets + " WHERE _pk = ?2";
    if (column.positionColumn.empty()) {
      run(sql, {number, member.number});
    } else {
      run(sql, {number, member.number, position});
    }
  }
}

void MigrationRecords::setPairs(std::int64_t number, const NSRelationshipDescription& relationship,
                                const std::vector<Member>& members) {
  const Schema::Link& link = _schema.of(relationship);
  const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
  const bool leadsBackByItself = inverse.get() == &relationship;
  const bool isMutual = inverse && !leadsBackByItself;
  const std::string back = isMutual ? _schema.of(*inverse).position : std::string();
  run("DELETE FROM " + link.table + " WHERE " + link.near + " = ?", {number});
  if (leadsBackByItself) run("DELETE FROM " + link.table + " WHERE " + link.far + " = ?", {number});
  std::int64_t position = 0;
  const auto add = [&](std::int64_t near, std::int64_t far, std::int64_t place) {
    std::string columns = link.near + ", " + link.far, values = "?1, ?2";
    if (!link.position.empty()) {
      columns += ", " + link.position;
      values += ", ?3";
    }
    if (!back.empty()) {
      columns += ", " + back;
      values += ", (SELECT coalesce(max(" + back + "), 0) + 1 FROM " + link.table + " WHERE " +
                link.far + " = ?2)";
    }
    run("INSERT OR IGNORE INTO " + link.table + " (" + columns + ") VALUES (" + values + ")",
        {near, far, place});
  };
  for (const Member& member : members) {
    add(number, member.number, ++position);
    if (leadsBackByItself) add(member.number, number, number);
  }
}

}  // namespace JNFoundation::impl
