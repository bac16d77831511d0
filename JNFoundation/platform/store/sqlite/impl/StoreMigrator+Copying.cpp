#include <algorithm>

#include <JNFoundation/platform/store/impl/TransformedValue.h>
#include <JNFoundation/platform/store/sqlite/impl/MigrationWork.h>
#include <JNFoundation/platform/store/sqlite/impl/StoreMigrator.h>
#include <JNFoundation/platform/store/sqlite/impl/ValueBinding.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

/// How many records one statement copies, so that somebody can be told, and can end it.
constexpr std::uint64_t recordsAtOnce = 50'000;

std::string numbersOf(const Schema& schema,
                      const std::vector<const NSEntityDescription*>& entities) {
  std::string numbers;
  for (const NSEntityDescription* entity : entities) {
    numbers += (numbers.empty() ? "" : ", ") + std::to_string(schema.of(*entity).number);
  }
  return "(" + numbers + ")";
}

}  // namespace

// ---- Records ------------------------------------------------------------------------------------

bool StoreMigrator::copyRecords() {
  for (const Ref<NSEntityDescription>& entity : _destination->entityList()) {
    if (&entity->layout().root() != entity.get()) continue;
    if (!_work.begin("Copying " + entity->name()->toStdString())) return false;
    const bool isThere = _kept.tables.count(entity.get()) > 0;
    if (!(isThere ? fillTable(*entity) : copyTable(*entity))) return false;
  }
  return true;
}

/// A new column of a table that stays has no values yet.
bool StoreMigrator::fillTable(const NSEntityDescription& root) {
  for (const NSEntityDescription* entity : root.layout().family()) {
    const MappingInference::Match& match = _inference.of(*entity);
    if (!match.source) continue;
    std::vector<Expression> values;
    std::string sets;
    for (const Schema::Column& column : _new.of(*entity).columns) {
      const EntityLayout::Slot& slot = entity->layout()[column.attribute];
      if (!slot.attribute || slot.defaultValue.isNull() ||
          _inference.sourceSlot(match, column.attribute)) {
        continue;
      }
      values.push_back(valueOf(match, column.attribute));
      sets += (sets.empty() ? "" : ", ") + column.name + " = " + values.back().text;
    }
    if (values.empty()) continue;
    const Schema::EntityMap& map = _new.of(*entity);
    Statement statement = _database.prepare("UPDATE " + map.table + " SET " + sets +
                                            " WHERE _entity = " + std::to_string(map.number));
    if (!statement || !bindAll(statement, 1, values) || !statement.run()) return false;
  }
  return true;
}

StoreMigrator::Expression StoreMigrator::valueOf(const MappingInference::Match& match,
                                                 std::size_t slot) {
  const EntityLayout::Slot& wanted = match.destination->layout()[slot];
  const EntityLayout::Slot* source = _inference.sourceSlot(match, slot);
  const Schema::Column* column = source && MappingInference::isAlike(*source, wanted)
                                     ? Schema::columnNamed(_old.of(*match.source), *source->name)
                                     : nullptr;
  Expression value{column ? "o." + column->name : "NULL", {}};
  if (wanted.defaultValue.isNull()) return value;
  if (!column) {
    value.text = "?";
  } else if (!wanted.optional && source->optional) {
    value.text = "coalesce(" + value.text + ", ?)";
  } else {
    return value;
  }
  value.parameters.emplace_back(wanted.type, wanted.defaultValue);
  if (wanted.isTransformed()) {
    Value place = placeOfValue(wanted.defaultValue, wanted.attribute);
    // What no transformer takes cannot be a default; the record is without a value then.
    value.parameters.back().second =
        makeDataAtPlace(place, wanted.attribute, match.destination->name(), nullptr)
            ? storedFormOfPlace(place)
            : Value();
  }
  return value;
}

/// A relationship to one: the record's number, its entity's where that stands too, and the place
/// in the order of the other end.
void StoreMigrator::referenceOf(const MappingInference::Match& match, std::size_t slot,
                                const Schema::Column& column, Expression& value, Expression& entity,
                                Expression& position) {
  const EntityLayout::Slot& wanted = match.destination->layout()[slot];
  const EntityLayout::Slot* source = _inference.sourceSlot(match, slot);
  const Schema::Column* former = source && source->relationship
                                     ? Schema::columnNamed(_old.of(*match.source), *source->name)
                                     : nullptr;
  value.text = entity.text = position.text = "NULL";
  if (!former || !MappingInference::isAlike(*source, wanted)) return;
  std::vector<const NSEntityDescription*> staying;
  const auto family = former->destination->layout().family();
  const auto members = column.destination->layout().family();
  for (const NSEntityDescription* member : family) {
    const NSEntityDescription* became = _inference.destinationOf(*member);
    if (became && std::find(members.begin(), members.end(), became) != members.end()) {
      staying.push_back(member);
    }
  }
  if (staying.empty()) return;
  const std::string number = "o." + former->name;
  const std::string formerEntity = former->entityColumn.empty()
                                       ? std::to_string(_old.of(*family.front()).number)
                                       : "o." + former->entityColumn;
  // What led to a record that goes, or that cannot be led to any more, leads to nothing.
  std::string condition = number + " IS NOT NULL";
  if (staying.size() < family.size()) {
    condition += " AND " + formerEntity + " IN " + numbersOf(_old, staying);
  }
  // Where nobody cared, it may lead to what is not there.
  const bool mayDangle =
      !Schema::hasForeignKey(*source->relationship) && Schema::hasForeignKey(*wanted.relationship);
  if (mayDangle) {
    condition += " AND EXISTS (SELECT 1 FROM " + oldTableOf(*former->destination) +
                 " d WHERE d._pk = " + number + ")";
  }
  const auto where = [&](const std::string& text) {
    return "CASE WHEN " + condition + " THEN " + text + " END";
  };
  value.text = mayDangle || staying.size() < family.size() ? where(number) : number;
  entity.text = where(formerEntity);
  position.text = where(former->positionColumn.empty() ? "o._pk" : "o." + former->positionColumn);
}

/// One expression for the records of all those entities.
StoreMigrator::Expression StoreMigrator::joined(
    const std::vector<const MappingInference::Match*>& matches,
    const std::vector<Expression>& expressions) const {
  const bool isOne = std::all_of(expressions.begin(), expressions.end(), [&](const auto& other) {
    return other.text == expressions.front().text && other.parameters.empty();
  });
  if (isOne || expressions.size() == 1) return expressions.front();
  Expression result{"CASE o._entity", {}};
  for (std::size_t i = 0; i < matches.size(); ++i) {
    if (expressions[i].text == "NULL") continue;
    result.text += " WHEN " + std::to_string(_old.of(*matches[i]->source).number) + " THEN " +
                   expressions[i].text;
    result.parameters.insert(result.parameters.end(), expressions[i].parameters.begin(),
                             expressions[i].parameters.end());
  }
  result.text += " END";
  return result;
}

bool StoreMigrator::bindAll(Statement& statement, int first,
                            const std::vector<Expression>& expressions) {
  _bound.clear();
  _made.clear();
  for (const Expression& expression : expressions) {
    for (const auto& [type, value] : expression.parameters) {
      _bound.push_back(value);
      bindValue(statement, first++, type, _bound.back(), _made);
    }
  }
  return true;
}

bool StoreMigrator::copyTable(const NSEntityDescription& root) {
  std::vector<const MappingInference::Match*> matches;
  std::vector<const NSEntityDescription*> sources;
  for (const NSEntityDescription* entity : root.layout().family()) {
    const MappingInference::Match& match = _inference.of(*entity);
    if (!match.source || match.source->isAbstract()) continue;
    matches.push_back(&match);
    sources.push_back(match.source);
  }
  if (matches.empty()) return true;
  // By column: what stands there for each entity's records.
  std::vector<std::string> names;
  std::unordered_map<std::string, std::vector<Expression>> byName;
  const auto set = [&](const std::string& name, std::size_t entity, Expression expression) {
    if (name.empty()) return;
    auto [column, isNew] = byName.try_emplace(name, matches.size(), Expression{"NULL", {}});
    if (isNew) names.push_back(name);
    column->second[entity] = std::move(expression);
  };
  for (std::size_t i = 0; i < matches.size(); ++i) {
    const MappingInference::Match& match = *matches[i];
    for (const Schema::Column& column : _new.of(*match.destination).columns) {
      if (!column.destination) {
        set(column.name, i, valueOf(match, column.attribute));
        continue;
      }
      Expression value, entity, position;
      referenceOf(match, column.attribute, column, value, entity, position);
      set(column.name, i, std::move(value));
      set(column.entityColumn, i, std::move(entity));
      set(column.positionColumn, i, std::move(position));
    }
  }
  std::string columns = "_pk, _entity, _version", values = "o._pk, o._entity, o._version";
  std::vector<Expression> expressions;
  for (const std::string& name : names) {
    expressions.push_back(joined(matches, byName.at(name)));
    columns += ", " + name;
    values += ", " + expressions.back().text;
  }
  const std::string& from = oldTableOf(*sources.front());
  return copyInPieces(from,
                      "INSERT INTO " + _new.of(root).table + " (" + columns + ") SELECT " + values +
                          " FROM " + from + " o WHERE o._entity IN " + numbersOf(_old, sources),
                      expressions);
}

bool StoreMigrator::copyInPieces(const std::string& from, const std::string& sql,
                                 const std::vector<Expression>& expressions) {
  Statement piece = _database.prepare(sql + " AND o._pk > ? AND o._pk <= ?");
  Statement ends =
      _database.prepare("SELECT max(_pk), count(*) FROM (SELECT _pk FROM " + from +
                        " WHERE _pk > ? ORDER BY _pk LIMIT " + std::to_string(recordsAtOnce) + ")");
  if (!piece || !ends || !bindAll(piece, 1, expressions)) return false;
  const int last = sqlite3_bind_parameter_count(piece.handle());
  // Numbers begin at 1.
  std::int64_t start = 0;
  for (;;) {
    ends.bind(1, start);
    if (ends.step() != Statement::Step::Row) return false;
    const std::int64_t end = ends.integer(0);
    const std::int64_t records = ends.integer(1);
    ends.reset();
    if (records == 0) return true;
    piece.bind(last - 1, start);
    piece.bind(last, end);
    if (!piece.run() || !_work.advance(static_cast<std::uint64_t>(records))) return false;
    start = end;
  }
}

// ---- Pairs --------------------------------------------------------------------------------------

std::string StoreMigrator::isRecord(const std::string& column,
                                    const NSEntityDescription& entity) const {
  const auto family = entity.layout().family();
  return "EXISTS (SELECT 1 FROM " + _new.of(entity).table + " r WHERE r._pk = " + column +
         " AND r._entity IN " + numbersOf(_new, {family.begin(), family.end()}) + ")";
}

std::string StoreMigrator::pairsOf(const NSRelationshipDescription& relationship) const {
  const auto orNull = [](const std::string& name) { return name.empty() ? "NULL" : name; };
  const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
  if (Schema::hasPairs(relationship)) {
    const Schema::Link& link = _old.of(relationship);
    const bool isMutual = inverse && inverse.get() != &relationship && Schema::hasPairs(*inverse);
    return "SELECT " + link.near + " AS a, " + link.far + " AS b, " + orNull(link.position) +
           " AS p, " + orNull(isMutual ? _old.of(*inverse).position : std::string()) +
           " AS q FROM " + _oldPairs.at(link.table);
  }
  if (!relationship.isToMany()) {
    const Schema::Column& column =
        *Schema::columnNamed(_old.of(*relationship.entity()), *relationship.name());
    return "SELECT _pk AS a, " + column.name + " AS b, NULL AS p, " +
           orNull(column.positionColumn) + " AS q FROM " + oldTableOf(*relationship.entity()) +
           " WHERE " + column.name + " IS NOT NULL";
  }
  const Schema::Link& link = _old.of(relationship);
  return "SELECT " + link.near + " AS a, _pk AS b, " + orNull(link.position) +
         " AS p, NULL AS q FROM " + oldTableOf(*relationship.destinationEntity()) + " WHERE " +
         link.near + " IS NOT NULL";
}

bool StoreMigrator::copyPairs() {
  std::unordered_map<std::string, bool> done;
  for (const Ref<NSEntityDescription>& entity : _destination->entityList()) {
    for (const Ref<NSPropertyDescription>& property : entity->ownProperties()) {
      if (!isKindOf<NSRelationshipDescription>(*property)) continue;
      const auto& relationship = static_cast<const NSRelationshipDescription&>(*property);
      if (!Schema::hasPairs(relationship) || _kept.pairs.count(&relationship)) continue;
      if (!done.emplace(_new.of(relationship).table, true).second) continue;
      if (!_work.begin("Relating " + entity->name()->toStdString())) return false;
      bool hasCopied = false;
      if (!copyPairs(relationship, hasCopied)) return false;
      const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
      // The way back may be the one that was there before.
      if (!hasCopied && inverse && inverse.get() != &relationship &&
          !copyPairs(*inverse, hasCopied)) {
        return false;
      }
    }
  }
  return true;
}

/// Fills a table of pairs from what the relationship was, in each entity that has it.
bool StoreMigrator::copyPairs(const NSRelationshipDescription& relationship, bool& hasCopied) {
  const Schema::Link& link = _new.of(relationship);
  const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
  const bool isMutual = inverse && inverse.get() != &relationship;
  const std::string back = isMutual ? _new.of(*inverse).position : std::string();
  std::vector<const NSRelationshipDescription*> formers;
  for (const NSEntityDescription* entity : relationship.entity()->layout().family()) {
    const MappingInference::Match& match = _inference.of(*entity);
    if (!match.source) continue;
    const EntityLayout::Slot* slot =
        _inference.sourceSlot(match, entity->layout().indexOf(*relationship.name()));
    if (!slot || !slot->relationship) continue;
    const auto* former = slot->relationship.get();
    if (std::find(formers.begin(), formers.end(), former) == formers.end())
      formers.push_back(former);
  }
  for (const NSRelationshipDescription* former : formers) {
    hasCopied = true;
    std::string columns = link.near + ", " + link.far, values = "v.a, v.b";
    // What had no order gets the one of the records' numbers, in which it was given.
    if (!link.position.empty()) {
      columns += ", " + link.position;
      values += ", coalesce(v.p, v.b)";
    }
    if (!back.empty()) {
      columns += ", " + back;
      values += ", coalesce(v.q, v.a)";
    }
    std::string sql = "INSERT OR IGNORE INTO " + link.table + " (" + columns;
    sql += ") SELECT " + values;
    sql += " FROM (" + pairsOf(*former) + ") v WHERE ";
    sql += isRecord("v.a", *relationship.entity()) + " AND " + isRecord("v.b", *link.destination);
    Statement statement = _database.prepare(std::move(sql));
    if (!statement || !statement.run()) return false;
    if (!_work.advance(static_cast<std::uint64_t>(_database.changes()))) return false;
  }
  return true;
}

}  // namespace JNFoundation::impl
