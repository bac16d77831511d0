#include <optional>

#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSManagedObjectID.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/store/sqlite/SQLiteStore.h>
#include <JNFoundation/platform/store/sqlite/impl/PredicateTranslator.h>
#include <JNFoundation/platform/store/sqlite/impl/SQLiteConnection.h>
#include <JNFoundation/platform/store/sqlite/impl/ValueBinding.h>

namespace JNFoundation::inline v0_1 {

using impl::PredicateTranslator;
using impl::Schema;
using impl::SQLiteConnection;
using impl::Statement;

namespace {

/// The SELECT of a query.
class Selection {
 public:
  Selection(const Schema& schema, std::string_view identifier, const StoreQuery& query) {
    PredicateTranslator translator(schema, *query.entity, identifier, parameters);
    const std::string condition = translator.condition(query.predicate, remaining);
    const auto order = translator.order(query.sortDescriptors);
    sorts = order.has_value();
    _tables = translator.source().sql();
    const std::string own = translator.source().name() + ".";
    shape.emplace(schema, *query.entity, query.includesSubentities,
                  translator.source().hasJoins() ? std::string_view(own) : std::string_view(),
                  query.properties);
    if (!shape->isWholeHierarchy()) _where = own + "_entity IN (" + shape->entityNumbers() + ")";
    if (!condition.empty()) _where += (_where.empty() ? "" : " AND ") + condition;
    _order = " ORDER BY " + (order ? *order : own + "_pk");
    if (!remaining && sorts && (query.limit > 0 || query.offset > 0)) {
      _limit = " LIMIT ?" + std::to_string(parameters.size() + 1) + " OFFSET ?" +
               std::to_string(parameters.size() + 2);
      limitParameters[0] = query.limit > 0 ? static_cast<std::int64_t>(query.limit) : -1;
      limitParameters[1] = static_cast<std::int64_t>(query.offset);
    }
  }

  std::string rowsSQL(bool withValues) const {
    return "SELECT " + shape->columns(withValues) + " FROM " + _tables + where() + _order + _limit;
  }

  std::string countSQL() const {
    if (_limit.empty()) return "SELECT count(*) FROM " + _tables + where();
    return "SELECT count(*) FROM (SELECT 1 FROM " + _tables + where() + _limit + ")";
  }

  void bind(Statement& statement) const {
    int number = 1;
    for (const Value& parameter : parameters) impl::bindParameter(statement, number++, parameter);
    if (_limit.empty()) return;
    statement.bind(number, limitParameters[0]);
    statement.bind(number + 1, limitParameters[1]);
  }

  std::optional<impl::RowShape> shape;
  std::vector<Value> parameters;
  Ref<NSPredicate> remaining;
  bool sorts = true;
  std::int64_t limitParameters[2] = {-1, 0};

 private:
  std::string where() const { return _where.empty() ? std::string() : " WHERE " + _where; }

  std::string _tables;
  std::string _where;
  std::string _order;
  std::string _limit;
};

}  // namespace

bool SQLiteStore::failedToRead(Ref<NSError>* error) const {
  return impl::fail(error, _connection->database.error(NSSQLiteError, "The store cannot be read"));
}

StoreQueryPlan SQLiteStore::planQuery(const StoreQuery& query) {
  StoreQueryPlan plan;
  if (!_connection) return plan;
  Selection selection(_connection->schema, identifier()->utf8(), query);
  plan.remainingPredicate = selection.remaining;
  plan.sorts = selection.sorts;
  plan.limits = !selection.remaining && selection.sorts;
  return plan;
}

/// Reads the rows of a statement that has its parameters.
bool SQLiteStore::readRows(impl::Statement& statement, impl::RowShape& shape, bool withValues,
                           StoreRowReceiver& receiver, Ref<NSError>* error) {
  bool failed = false;
  if (shape.read(statement, *this, withValues, receiver, failed)) return true;
  return failed ? failedToRead(error)
                : refuse(NSPersistentStoreOperationError, "the store is damaged", error);
}

bool SQLiteStore::fetchRows(const StoreQuery& query, StoreRowReceiver& receiver,
                            Ref<NSError>* error) {
  if (!_connection) return refuse(NSPersistentStoreOperationError, "it was closed", error);
  Selection selection(_connection->schema, identifier()->utf8(), query);
  Statement statement = _connection->database.prepare(selection.rowsSQL(query.includesValues));
  if (!statement) return failedToRead(error);
  selection.bind(statement);
  return readRows(statement, *selection.shape, query.includesValues, receiver, error);
}

bool SQLiteStore::fetchRow(const NSEntityDescription& entity, std::int64_t primaryKey,
                           StoreRowReceiver& receiver, Ref<NSError>* error) {
  if (!_connection) return refuse(NSPersistentStoreOperationError, "it was closed", error);
  // The record may be one of a descendant, whose columns are more.
  const NSEntityDescription& root = entity.layout().root();
  SQLiteConnection::Lookup& lookup = _connection->lookupOf(root);
  Statement statement = _connection->database.prepare(lookup.sql);
  if (!statement) return failedToRead(error);
  statement.bind(1, primaryKey);
  return readRows(statement, lookup.shape, true, receiver, error);
}

bool SQLiteStore::fetchHolder(const NSEntityDescription& entity,
                              std::span<const std::size_t> properties, const NSArray& values,
                              StoreRowReceiver& receiver, Ref<NSError>* error) {
  if (!_connection) return refuse(NSPersistentStoreOperationError, "it was closed", error);
  const Schema::EntityMap& map = _connection->schema.of(entity);
  impl::RowShape shape(_connection->schema, entity, true);
  std::string sql = "SELECT " + shape.columns(true) + " FROM " + map.table;
  const std::string family = _connection->schema.familyCondition(map);
  sql += family.empty() ? " WHERE " : family + " AND ";
  for (std::size_t i = 0; i < properties.size(); ++i) {
    const auto column = static_cast<std::size_t>(map.columnOfAttribute[properties[i]]);
    sql += (i > 0 ? " AND " : "") + map.columns[column].name + " = ?";
  }
  Statement statement = _connection->database.prepare(std::move(sql));
  if (!statement) return failedToRead(error);
  std::vector<Ref<NSString>> made;
  for (std::size_t i = 0; i < properties.size(); ++i) {
    const auto parameter = static_cast<int>(i) + 1;
    const Value value = values.objectAtIndex(i);
    if (const auto* identifier = as<NSManagedObjectID>(value)) {
      statement.bind(parameter, identifier->number());
    } else {
      impl::bindValue(statement, parameter, entity.layout()[properties[i]].type, value, made);
    }
  }
  return readRows(statement, shape, true, receiver, error);
}

bool SQLiteStore::fetchRelated(const NSRelationshipDescription& relationship,
                               std::int64_t primaryKey, StoreRowReceiver& receiver,
                               Ref<NSError>* error) {
  if (!_connection) return refuse(NSPersistentStoreOperationError, "it was closed", error);
  SQLiteConnection::Lookup& lookup = _connection->lookupOf(relationship);
  Statement statement = _connection->database.prepare(lookup.sql);
  if (!statement) return failedToRead(error);
  statement.bind(1, primaryKey);
  return readRows(statement, lookup.shape, true, receiver, error);
}

NSUInteger SQLiteStore::countRows(const StoreQuery& query, Ref<NSError>* error) {
  constexpr auto failure = static_cast<NSUInteger>(NSNotFound);
  if (!_connection) {
    refuse(NSPersistentStoreOperationError, "it was closed", error);
    return failure;
  }
  Selection selection(_connection->schema, identifier()->utf8(), query);
  Statement statement = _connection->database.prepare(selection.countSQL());
  if (statement) {
    selection.bind(statement);
    if (statement.step() == Statement::Step::Row) {
      return static_cast<NSUInteger>(statement.integer(0));
    }
  }
  failedToRead(error);
  return failure;
}

}  // namespace JNFoundation
