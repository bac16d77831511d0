#include <memory>
#include <unordered_map>

#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/ObjectAccess.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/store/sqlite/SQLiteStore.h>
#include <JNFoundation/platform/store/sqlite/impl/LinkWriter.h>
#include <JNFoundation/platform/store/sqlite/impl/SQLiteConnection.h>
#include <JNFoundation/platform/store/sqlite/impl/ValueBinding.h>

namespace JNFoundation {

using impl::Database;
using impl::Schema;
using impl::Statement;

namespace {

std::string insertSQL(const Schema::EntityMap& map) {
  std::string sql = "INSERT INTO " + map.table + " (_pk, _entity, _version";
  std::string places = ") VALUES (?, " + std::to_string(map.number) + ", 1";
  for (const Schema::Column& column : map.columns) {
    for (const std::string* name : {&column.name, &column.entityColumn}) {
      if (name->empty()) continue;
      sql += ", " + *name;
      places += ", ?";
    }
  }
  return sql + places + ")";
}

std::string deleteSQL(const Schema::EntityMap& map) {
  return "DELETE FROM " + map.table + " WHERE _pk = ? AND _version = ?";
}

/// Writes the rows of one save, with each statement prepared once.
class RowWriter {
 public:
  RowWriter(Database& database, const Schema& schema) : _database(database), _schema(schema) {}

  enum class Result { Written, Conflict, Failed };

  /// Takes the unique values that change out of their rows, where several rows are written: they
  /// may hand them on to each other, or to new ones. Fails: returns false; the database knows why.
  bool clearUniqueValues(std::span<const StoreRowChange> changes) {
    std::vector<std::pair<const Schema::Column*, const StoreRowChange*>> handedOn;
    for (const StoreRowChange& change : changes) {
      if (change.kind != StoreRowChange::Kind::Update) continue;
      for (const Schema::Column& column : _schema.of(*change.entity).columns) {
        if (column.isUnique && !isSame(change, column)) handedOn.emplace_back(&column, &change);
      }
    }
    if (handedOn.empty() || changes.size() < 2) return true;
    for (const auto& [column, change] : handedOn) {
      Statement statement =
          _database.prepare("UPDATE " + _schema.of(*change->entity).table + " SET " + column->name +
                            " = NULL WHERE _pk = ? AND _version = ?");
      if (!statement) return false;
      statement.bind(1, change->primaryKey);
      statement.bind(2, static_cast<std::int64_t>(change->version));
      if (!statement.run()) return false;
    }
    return true;
  }

  Result write(const StoreRowChange& change) {
    if (change.entity != _entity) {
      _entity = change.entity;
      _map = &_schema.of(*change.entity);
      _statements = &_byEntity[change.entity];
    }
    _made.clear();
    switch (change.kind) {
      case StoreRowChange::Kind::Insert:
        return insert(change);
      case StoreRowChange::Kind::Update:
        return update(change);
      case StoreRowChange::Kind::Delete:
        return remove(change);
    }
    return Result::Failed;
  }

 private:
  struct Statements {
    Statement insertion;
    Statement deletion;
    Statement update;
    /// Which columns the update writes.
    std::vector<bool> updated;
  };

  static bool isSame(const StoreRowChange& change, const Schema::Column& column) {
    return impl::storesAlike(change.values[column.attribute], change.committed[column.attribute],
                             column.type);
  }

  Result insert(const StoreRowChange& change) {
    Statement& statement = _statements->insertion;
    if (!statement) statement = _database.prepare(insertSQL(*_map));
    if (!statement) return Result::Failed;
    statement.bind(1, change.primaryKey);
    int parameter = 2;
    for (const Schema::Column& column : _map->columns) {
      bindColumn(statement, parameter, column, change.values[column.attribute]);
    }
    return statement.run() ? Result::Written : Result::Failed;
  }

  Result update(const StoreRowChange& change) {
    _changed.assign(_map->columns.size(), false);
    for (std::size_t i = 0; i < _map->columns.size(); ++i) {
      const Schema::Column& column = _map->columns[i];
      _changed[i] = !isSame(change, column);
    }
    Statement& statement = _statements->update;
    if (!statement || _statements->updated != _changed) {
      std::string sql = "UPDATE " + _map->table + " SET _version = _version + 1";
      for (std::size_t i = 0; i < _map->columns.size(); ++i) {
        const Schema::Column& column = _map->columns[i];
        if (!_changed[i]) continue;
        sql += ", " + column.name + " = ?";
        if (!column.entityColumn.empty()) sql += ", " + column.entityColumn + " = ?";
      }
      statement = _database.prepare(sql + " WHERE _pk = ? AND _version = ?");
      _statements->updated = _changed;
    }
    if (!statement) return Result::Failed;
    int parameter = 1;
    for (std::size_t i = 0; i < _map->columns.size(); ++i) {
      const Schema::Column& column = _map->columns[i];
      if (_changed[i]) bindColumn(statement, parameter, column, change.values[column.attribute]);
    }
    return runOnOneRow(statement, parameter, change);
  }

  /// Binds what stands in the file for a value, and moves on behind it.
  void bindColumn(Statement& statement, int& parameter, const Schema::Column& column,
                  const Value& value) {
    if (!column.destination) {
      impl::bindValue(statement, parameter++, column.type, value, _made);
      return;
    }
    const auto* identifier = as<NSManagedObjectID>(value);
    if (identifier) {
      statement.bind(parameter++, identifier->number());
    } else {
      statement.bindNull(parameter++);
    }
    if (column.entityColumn.empty()) return;
    if (identifier) {
      statement.bind(parameter++, _schema.of(*identifier->entity()).number);
    } else {
      statement.bindNull(parameter++);
    }
  }

  Result remove(const StoreRowChange& change) {
    Statement& statement = _statements->deletion;
    if (!statement) statement = _database.prepare(deleteSQL(*_map));
    if (!statement) return Result::Failed;
    return runOnOneRow(statement, 1, change);
  }

  Result runOnOneRow(Statement& statement, int parameter, const StoreRowChange& change) {
    statement.bind(parameter, change.primaryKey);
    statement.bind(parameter + 1, static_cast<std::int64_t>(change.version));
    if (!statement.run()) return Result::Failed;
    return _database.changes() == 1 ? Result::Written : Result::Conflict;
  }

  Database& _database;
  const Schema& _schema;
  const NSEntityDescription* _entity = nullptr;
  const Schema::EntityMap* _map = nullptr;
  Statements* _statements = nullptr;
  std::unordered_map<const NSEntityDescription*, Statements> _byEntity;
  std::vector<bool> _changed;
  std::vector<Ref<NSString>> _made;
};

}  // namespace

bool SQLiteStore::failedToSave(Ref<NSError>* error) const {
  const bool dangles = _connection->database.lastCode() == SQLITE_CONSTRAINT_FOREIGNKEY;
  return impl::fail(
      error, _connection->database.error(
                 dangles ? NSManagedObjectReferentialIntegrityError : NSPersistentStoreSaveError,
                 dangles ? "A record would lead to one that is not there"
                         : "The store cannot be written"));
}

std::int64_t SQLiteStore::takePrimaryKeys(const NSEntityDescription& entity, NSUInteger count,
                                          Ref<NSError>* error) {
  if (!_connection) return refuse(NSPersistentStoreOperationError, "it was closed", error);
  const auto number = static_cast<std::int64_t>(count);
  std::int64_t next = 0;
  {
    Statement statement = _connection->database.prepare(
        "UPDATE jn_entity SET next_key = next_key + ?1 WHERE number = ?2 RETURNING next_key");
    if (statement) {
      statement.bind(1, number);
      statement.bind(2, _connection->schema.of(entity.layout().root()).number);
      if (statement.step() == Statement::Step::Row) {
        next = statement.integer(0);
        if (statement.step() != Statement::Step::Done) next = 0;
      }
    }
  }
  if (next <= number) {
    failedToSave(error);
    return 0;
  }
  return next - number;
}

bool SQLiteStore::beginSave(Ref<NSError>* error) {
  if (!_connection) return refuse(NSPersistentStoreOperationError, "it was closed", error);
  if (isReadOnly()) {
    return impl::fail(error, impl::cocoaError(NSPersistentStoreSaveError,
                                              "The store was opened to be read only."));
  }
  if (!_connection->database.execute("BEGIN IMMEDIATE")) return failedToSave(error);
  _connection->saving = true;
  return true;
}

bool SQLiteStore::writeRows(std::span<const StoreRowChange> changes, std::size_t* conflict,
                            Ref<NSError>* error) {
  RowWriter writer(_connection->database, _connection->schema);
  const auto write = [&](const StoreRowChange& change) {
    const RowWriter::Result result = writer.write(change);
    if (result == RowWriter::Result::Written) return true;
    const bool repeats = result == RowWriter::Result::Failed &&
                         _connection->database.lastCode() == SQLITE_CONSTRAINT_UNIQUE;
    if (result == RowWriter::Result::Failed && !repeats) return failedToSave(error);
    if (conflict) *conflict = static_cast<std::size_t>(&change - changes.data());
    return impl::fail(
        error, repeats ? _connection->database.error(NSManagedObjectConstraintMergeError,
                                                     "A value that must be unique is there already")
                       : impl::cocoaError(NSManagedObjectMergeError, "Could not merge changes."));
  };
  // What goes makes room for what comes with the same unique values, and so does what changes.
  for (const StoreRowChange& change : changes) {
    if (change.kind == StoreRowChange::Kind::Delete && !write(change)) return false;
  }
  if (!writer.clearUniqueValues(changes)) return failedToSave(error);
  for (const StoreRowChange& change : changes) {
    if (change.kind != StoreRowChange::Kind::Delete && !write(change)) return false;
  }
  return true;
}

bool SQLiteStore::writeLinks(std::span<const StoreLinkChange> changes, Ref<NSError>* error) {
  impl::LinkWriter writer(_connection->database, _connection->schema);
  return writer.write(changes) || failedToSave(error);
}

bool SQLiteStore::commitSave(Ref<NSError>* error) {
  if (!_connection->database.execute("COMMIT")) {
    failedToSave(error);
    abandonSave();
    return false;
  }
  _connection->saving = false;
  return true;
}

void SQLiteStore::abandonSave() noexcept {
  if (!_connection || !_connection->saving) return;
  _connection->saving = false;
  // SQLite may have taken everything back by itself already.
  if (sqlite3_get_autocommit(_connection->database.handle()) == 0) {
    _connection->database.rollBack();
  }
}

}  // namespace JNFoundation
