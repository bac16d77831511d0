#include <JNFoundation/platform/store/NSCoreDataErrors.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/sqlite/SQLiteStore.h>
#include <JNFoundation/platform/store/sqlite/impl/SQLiteConnection.h>

namespace JNFoundation::inline v0_1 {

using impl::Schema;
using impl::Statement;

namespace {

/// A list of numbers of any length is one parameter, and the statement's text stays the same.
std::string listOf(std::span<const std::int64_t> numbers) {
  std::string list = "[";
  for (const std::int64_t number : numbers) {
    if (list.size() > 1) list += ',';
    list += std::to_string(number);
  }
  return list + "]";
}

constexpr const char* isListed = " IN (SELECT value FROM json_each(?))";

/// Tells the receiver to whom the records belong: the number stands in the last column.
class OwnerReader final : public StoreRowReceiver {
 public:
  OwnerReader(Statement& statement, StoreRelatedReceiver& receiver)
      : _statement(statement),
        _receiver(receiver),
        _column(sqlite3_column_count(statement.handle()) - 1) {}

  Value* beginRow(const NSEntityDescription& entity, std::int64_t primaryKey,
                  std::uint32_t version) override {
    const std::int64_t owner = _statement.integer(_column);
    if (_isFirst || owner != _owner) _receiver.beginOwner(owner);
    _isFirst = false;
    _owner = owner;
    return _receiver.beginRow(entity, primaryKey, version);
  }
  void endRow() override { _receiver.endRow(); }

 private:
  Statement& _statement;
  StoreRelatedReceiver& _receiver;
  int _column;
  std::int64_t _owner = 0;
  bool _isFirst = true;
};

}  // namespace

bool SQLiteStore::fetchRecords(const NSEntityDescription& entity,
                               std::span<const std::int64_t> primaryKeys, bool includesValues,
                               StoreRowReceiver& receiver, Ref<NSError>* error) {
  if (!_connection) return refuse(NSPersistentStoreOperationError, "it was closed", error);
  if (primaryKeys.empty()) return true;
  const Schema& schema = _connection->schema;
  const NSEntityDescription& root = entity.layout().root();
  impl::RowShape shape(schema, root, true);
  Statement statement =
      _connection->database.prepare("SELECT " + shape.columns(includesValues) + " FROM " +
                                    schema.of(root).table + " WHERE _pk" + isListed);
  if (!statement) return failedToRead(error);
  const std::string list = listOf(primaryKeys);
  statement.bind(1, std::string_view(list));
  return readRows(statement, shape, includesValues, receiver, error);
}

bool SQLiteStore::fetchRelatedOfAll(const NSRelationshipDescription& relationship,
                                    std::span<const std::int64_t> primaryKeys, bool includesValues,
                                    StoreRelatedReceiver& receiver, Ref<NSError>* error) {
  if (!_connection) return refuse(NSPersistentStoreOperationError, "it was closed", error);
  if (primaryKeys.empty()) return true;
  const Schema& schema = _connection->schema;
  const Schema::Link& link = schema.of(relationship);
  impl::RowShape shape(schema, *link.destination, true, "member.");
  const std::string owner = link.hasOwnTable ? "pair." : "member.";
  std::string sql = "SELECT " + shape.columns(includesValues) + ", " + owner + link.near +
                    " FROM " + schema.of(*link.destination).table + " member";
  if (link.hasOwnTable) sql += " JOIN " + link.table + " pair ON member._pk = pair." + link.far;
  sql += " WHERE " + owner + link.near + isListed + " ORDER BY " + owner + link.near;
  if (!link.position.empty()) {
    sql += ", " + owner + link.position + " IS NULL, " + owner + link.position;
  }
  sql += ", member._pk";
  Statement statement = _connection->database.prepare(std::move(sql));
  if (!statement) return failedToRead(error);
  const std::string list = listOf(primaryKeys);
  statement.bind(1, std::string_view(list));
  OwnerReader reader(statement, receiver);
  return readRows(statement, shape, includesValues, reader, error);
}

}  // namespace JNFoundation
