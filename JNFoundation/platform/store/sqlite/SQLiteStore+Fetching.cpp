#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/store/sqlite/SQLiteStore.h>
#include <JNFoundation/platform/store/sqlite/impl/PredicateTranslator.h>
#include <JNFoundation/platform/store/sqlite/impl/SQLiteConnection.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation {

using impl::PredicateTranslator;
using impl::Schema;
using impl::Statement;

namespace {

/// Reads a column that may hold a value of the type; the place is null so far. The column is looked
/// up once: nobody else uses the connection meanwhile, so that its value may be asked directly.
inline void readValue(sqlite3_stmt* row, int column, NSAttributeType type, Value& place) {
  sqlite3_value* value = sqlite3_column_value(row, column);
  if (sqlite3_value_type(value) == SQLITE_NULL) return;
  const auto text = [&] {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_value_text(value));
    return std::string_view(bytes ? bytes : "",
                            static_cast<std::size_t>(sqlite3_value_bytes(value)));
  };
  switch (type) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
      place = Value(static_cast<std::int64_t>(sqlite3_value_int64(value)));
      break;
    case NSBooleanAttributeType:
      place = Value(sqlite3_value_int64(value) != 0);
      break;
    case NSDoubleAttributeType:
      place = Value(sqlite3_value_double(value));
      break;
    case NSFloatAttributeType:
      place = Value(static_cast<float>(sqlite3_value_double(value)));
      break;
    case NSDateAttributeType:
      place = Value::dateWithTimeIntervalSince1970(sqlite3_value_double(value));
      break;
    case NSStringAttributeType:
      place = Value(NSString::fromText(text()));
      break;
    case NSBinaryDataAttributeType: {
      const void* bytes = sqlite3_value_blob(value);
      const auto size = static_cast<NSUInteger>(sqlite3_value_bytes(value));
      place = Value(NSData::dataWithBytesLength(bytes, size));
      break;
    }
    case NSDecimalAttributeType:
      place = Value(NSDecimalNumber::decimalNumberWithString(NSString::fromText(text())));
      break;
    case NSUUIDAttributeType:
      place = Value(NSUUID::initWithUUIDString(NSString::fromText(text())));
      break;
    case NSURIAttributeType:
      place = Value(NSURL::URLWithString(NSString::fromText(text())));
      break;
    default:
      break;
  }
}

/// The SELECT of a query, and how its columns stand to the attributes of each entity it may give.
class Selection {
 public:
  static constexpr int firstColumn = 3;

  Selection(const Schema& schema, std::string_view identifier, const StoreQuery& query)
      : _schema(schema), _map(schema.of(*query.entity)) {
    PredicateTranslator translator(_map, identifier, parameters);
    addFamily(query);
    const std::string condition = translator.condition(query.predicate, remaining);
    if (!condition.empty()) {
      if (!_where.empty()) _where += " AND ";
      _where += condition;
    }
    if (const auto order = translator.order(query.sortDescriptors)) {
      _order = " ORDER BY " + *order;
    } else {
      sorts = false;
      _order = " ORDER BY _pk";
    }
    if (!remaining && sorts && (query.limit > 0 || query.offset > 0)) {
      _limit = " LIMIT ? OFFSET ?";
      limitParameters[0] = query.limit > 0 ? static_cast<std::int64_t>(query.limit) : -1;
      limitParameters[1] = static_cast<std::int64_t>(query.offset);
    }
  }

  std::string rowsSQL(bool withValues) const {
    return "SELECT _pk, _version, _entity" + (withValues ? _columns : std::string()) + " FROM " +
           _map.table + where() + _order + _limit;
  }

  std::string countSQL() const {
    if (_limit.empty()) return "SELECT count(*) FROM " + _map.table + where();
    return "SELECT count(*) FROM (SELECT 1 FROM " + _map.table + where() + _limit + ")";
  }

  void bind(Statement& statement) const {
    int number = 1;
    for (const Value& parameter : parameters) impl::bindParameter(statement, number++, parameter);
    if (_limit.empty()) return;
    statement.bind(number, limitParameters[0]);
    statement.bind(number + 1, limitParameters[1]);
  }

  /// For each column of the entity in its order: where it stands among those selected.
  const std::vector<int>& positionsOf(const Schema::EntityMap& map) {
    for (const auto& [known, positions] : _positions) {
      if (known == &map) return positions;
    }
    std::vector<int> positions;
    for (const Schema::Column& column : map.columns) {
      positions.push_back(firstColumn + positionOfName(column.name));
    }
    return _positions.emplace_back(&map, std::move(positions)).second;
  }

  std::vector<Value> parameters;
  Ref<NSPredicate> remaining;
  bool sorts = true;
  std::int64_t limitParameters[2] = {-1, 0};

 private:
  std::string where() const { return _where.empty() ? std::string() : " WHERE " + _where; }

  int positionOfName(const std::string& name) const {
    for (std::size_t i = 0; i < _names.size(); ++i) {
      if (_names[i] == name) return static_cast<int>(i);
    }
    return 0;
  }

  /// Which records belong to the query's entity, and the columns of all of them.
  void addFamily(const StoreQuery& query) {
    std::vector<const NSEntityDescription*> members{query.entity};
    if (query.includesSubentities) {
      const auto family = query.entity->layout().family();
      members.assign(family.begin(), family.end());
    }
    std::string numbers;
    for (const NSEntityDescription* member : members) {
      const Schema::EntityMap& map = _schema.of(*member);
      if (!numbers.empty()) numbers += ", ";
      numbers += std::to_string(map.number);
      for (const Schema::Column& column : map.columns) {
        bool known = false;
        for (const std::string& name : _names) known = known || name == column.name;
        if (known) continue;
        _names.push_back(column.name);
        _columns += ", " + column.name;
      }
    }
    const NSEntityDescription& root = query.entity->layout().root();
    if (members.size() == root.layout().family().size()) return;
    _where = "_entity IN (" + numbers + ")";
  }

  const Schema& _schema;
  const Schema::EntityMap& _map;
  std::vector<std::string> _names;
  std::string _columns;
  std::string _where;
  std::string _order;
  std::string _limit;
  std::vector<std::pair<const Schema::EntityMap*, std::vector<int>>> _positions;
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

bool SQLiteStore::fetchRows(const StoreQuery& query, StoreRowReceiver& receiver,
                            Ref<NSError>* error) {
  if (!_connection) return refuse(NSPersistentStoreOperationError, "it was closed", error);
  Selection selection(_connection->schema, identifier()->utf8(), query);
  Statement statement = _connection->database.prepare(selection.rowsSQL(query.includesValues));
  if (!statement) return failedToRead(error);
  selection.bind(statement);
  sqlite3_stmt* row = statement.handle();
  const NSEntityDescription& root = query.entity->layout().root();
  const Schema::EntityMap* map = nullptr;
  const std::vector<int>* positions = nullptr;
  Statement::Step step;
  while ((step = statement.step()) == Statement::Step::Row) {
    const std::int64_t number = sqlite3_column_int64(row, 2);
    if (!map || map->number != number) {
      map = _connection->schema.ofRecord(number, root);
      if (!map) return refuse(NSPersistentStoreOperationError, "the store is damaged", error);
      positions = query.includesValues ? &selection.positionsOf(*map) : nullptr;
    }
    Value* places = receiver.beginRow(*map->entity, sqlite3_column_int64(row, 0),
                                      static_cast<std::uint32_t>(sqlite3_column_int64(row, 1)));
    if (!places || !positions) continue;
    const Schema::Column* column = map->columns.data();
    for (const int position : *positions) {
      readValue(row, position, column->type, places[column->attribute]);
      ++column;
    }
    receiver.endRow();
  }
  return step == Statement::Step::Done || failedToRead(error);
}

bool SQLiteStore::fetchRow(const NSEntityDescription& entity, std::int64_t primaryKey,
                           StoreRowReceiver& receiver, Ref<NSError>* error) {
  if (!_connection) return refuse(NSPersistentStoreOperationError, "it was closed", error);
  // The record may be one of a descendant, whose columns are more.
  const NSEntityDescription& root = entity.layout().root();
  Statement statement = _connection->database.prepare(
      "SELECT * FROM " + _connection->schema.of(root).table + " WHERE _pk = ?");
  if (!statement) return failedToRead(error);
  statement.bind(1, primaryKey);
  const Statement::Step step = statement.step();
  if (step == Statement::Step::Failed) return failedToRead(error);
  if (step == Statement::Step::Done) return true;
  sqlite3_stmt* row = statement.handle();
  const Schema::EntityMap* map = _connection->schema.ofRecord(sqlite3_column_int64(row, 1), root);
  if (!map) return refuse(NSPersistentStoreOperationError, "the store is damaged", error);
  Value* places = receiver.beginRow(*map->entity, primaryKey,
                                    static_cast<std::uint32_t>(sqlite3_column_int64(row, 2)));
  if (!places) return true;
  const int count = sqlite3_column_count(row);
  for (int i = Selection::firstColumn; i < count; ++i) {
    const std::string name = Schema::quoted(sqlite3_column_name(row, i));
    for (const Schema::Column& column : map->columns) {
      if (column.name == name) readValue(row, i, column.type, places[column.attribute]);
    }
  }
  receiver.endRow();
  return true;
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
