#include <JNFoundation/platform/store/impl/ObjectAccess.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/store/sqlite/SQLiteStore.h>
#include <JNFoundation/platform/store/sqlite/impl/PredicateTranslator.h>
#include <JNFoundation/platform/store/sqlite/impl/SQLiteConnection.h>

namespace JNFoundation::inline v0_1 {

using impl::PredicateTranslator;
using impl::Schema;
using impl::Statement;

namespace {

/// The SELECT of columns.
class ColumnSelection {
 public:
  ColumnSelection(const Schema& schema, std::string_view identifier, const StoreColumnQuery& wanted)
      : _schema(schema) {
    const StoreQuery& query = wanted.query;
    PredicateTranslator translator(schema, *query.entity, identifier, _parameters);
    for (const StoreColumn& column : wanted.columns) {
      std::optional<PredicateTranslator::Column> translated = translator.column(column);
      if (!translated) return;
      _columns.push_back(std::move(*translated));
    }
    Ref<NSPredicate> remaining;
    const std::string condition = translator.condition(query.predicate, remaining);
    if (remaining) return;
    const std::string own = translator.source().name() + ".";
    std::string order;
    if (wanted.groups) {
      order = groups(wanted, own);
    } else {
      const auto sorted = translator.order(query.sortDescriptors);
      if (!sorted) return;
      order = " ORDER BY " + *sorted;
    }
    const impl::RowShape shape(schema, *query.entity, query.includesSubentities, own);
    std::string where;
    if (!shape.isWholeHierarchy()) where = own + "_entity IN (" + shape.entityNumbers() + ")";
    if (!condition.empty()) where += (where.empty() ? "" : " AND ") + condition;
    _sql = "SELECT " + list() + " FROM " + translator.source().sql() +
           (where.empty() ? "" : " WHERE " + where) + order;
    if (!wanted.groups && (query.limit > 0 || query.offset > 0)) {
      _limit = query.limit > 0 ? static_cast<std::int64_t>(query.limit) : -1;
      _offset = static_cast<std::int64_t>(query.offset);
      _isLimited = true;
      _sql += " LIMIT ?" + std::to_string(_parameters.size() + 1) + " OFFSET ?" +
              std::to_string(_parameters.size() + 2);
    }
  }

  /// Empty where the store cannot do all of it.
  const std::string& sql() const noexcept { return _sql; }

  void bind(Statement& statement) const {
    int number = 1;
    for (const Value& parameter : _parameters) impl::bindParameter(statement, number++, parameter);
    if (!_isLimited) return;
    statement.bind(number, _limit);
    statement.bind(number + 1, _offset);
  }

  /// Reads the row that the statement stands at. Fails: returns false for a record of an entity
  /// that cannot be there.
  bool read(Statement& statement, const NSPersistentStore& store,
            std::vector<Value>& values) const {
    int position = 0;
    for (std::size_t i = 0; i < _columns.size(); ++i) {
      const PredicateTranslator::Column& column = _columns[i];
      values[i] = nullptr;
      if (column.type != NSObjectIDAttributeType) {
        impl::readColumn(statement, position++, column.type, values[i]);
        continue;
      }
      const int number = position;
      position += 2;
      if (sqlite3_column_type(statement.handle(), number) == SQLITE_NULL) continue;
      const Schema::EntityMap* map =
          _schema.ofRecord(statement.integer(number + 1), column.entity->layout().root());
      if (!map) return false;
      values[i] = Value(impl::ObjectAccess::makeID(
          Ref<NSEntityDescription>(const_cast<NSEntityDescription*>(map->entity)),
          statement.integer(number), &store));
    }
    return true;
  }

 private:
  std::string list() const {
    std::string list;
    for (const PredicateTranslator::Column& column : _columns) {
      list += (list.empty() ? "" : ", ") + column.sql;
      if (!column.entitySQL.empty()) list += ", " + column.entitySQL;
    }
    return list.empty() ? "1" : list;
  }

  std::string groups(const StoreColumnQuery& wanted, const std::string& own) const {
    std::string names;
    for (std::size_t i = 0; i < _columns.size(); ++i) {
      if (wanted.columns[i].kind != StoreColumn::Kind::Value) continue;
      names += (names.empty() ? "" : ", ") + _columns[i].sql;
    }
    return names.empty() ? std::string() : " GROUP BY " + names + " ORDER BY min(" + own + "_pk)";
  }

  const Schema& _schema;
  std::vector<Value> _parameters;
  std::vector<PredicateTranslator::Column> _columns;
  std::string _sql;
  std::int64_t _limit = -1;
  std::int64_t _offset = 0;
  bool _isLimited = false;
};

}  // namespace

StoreAnswer SQLiteStore::fetchColumns(const StoreColumnQuery& query,
                                      const StoreColumnReceiver& receiver, Ref<NSError>* error) {
  const auto failed = [](bool) { return StoreAnswer::Failed; };
  if (!_connection) return failed(refuse(NSPersistentStoreOperationError, "it was closed", error));
  const ColumnSelection selection(_connection->schema, identifier()->utf8(), query);
  if (selection.sql().empty()) return StoreAnswer::Unable;
  Statement statement = _connection->database.prepare(selection.sql());
  if (!statement) return failed(failedToRead(error));
  selection.bind(statement);
  std::vector<Value> values(query.columns.size());
  Statement::Step step;
  while ((step = statement.step()) == Statement::Step::Row) {
    if (!selection.read(statement, *this, values)) {
      return failed(refuse(NSPersistentStoreOperationError, "the store is damaged", error));
    }
    if (!receiver(values)) return StoreAnswer::Done;
  }
  return step == Statement::Step::Done ? StoreAnswer::Done : failed(failedToRead(error));
}

}  // namespace JNFoundation
