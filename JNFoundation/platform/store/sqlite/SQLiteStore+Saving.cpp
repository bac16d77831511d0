#include <algorithm>
#include <memory>
#include <unordered_map>

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/impl/BringNear.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/ObjectAccess.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/store/sqlite/SQLiteStore.h>
#include <JNFoundation/platform/store/sqlite/impl/LinkWriter.h>
#include <JNFoundation/platform/store/sqlite/impl/SQLiteConnection.h>
#include <JNFoundation/platform/store/sqlite/impl/ValueBinding.h>

namespace JNFoundation::inline v0_1 {

using impl::Database;
using impl::Schema;
using impl::Statement;

namespace {

std::string insertSQL(const Schema::EntityMap& map, std::size_t rowCount) {
  std::string sql = "INSERT INTO " + map.table + " (_pk, _entity, _version";
  std::string places = "(?, " + std::to_string(map.number) + ", 1";
  for (const Schema::Column& column : map.columns) {
    for (const std::string* name : {&column.name, &column.entityColumn}) {
      if (name->empty()) continue;
      sql += ", " + *name;
      places += ", ?";
    }
  }
  places += ")";
  sql += ") VALUES " + places;
  while (--rowCount > 0) sql += ", " + places;
  return sql;
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

  /// How many rows are inserted by one statement where there are as many: SQLite then finds the end
  /// of the table once for all of them.
  static constexpr std::size_t rowsAtOnce = 16;

  /// Whether the first `rowsAtOnce` changes may be one statement.
  bool canInsertAtOnce(std::span<const StoreRowChange> changes) {
    if (changes.size() < rowsAtOnce) return false;
    const StoreRowChange& first = changes.front();
    // SQLite takes no more parameters in one statement.
    constexpr std::size_t mostColumns = 1000;
    if (_schema.of(*first.entity).columns.size() > mostColumns) return false;
    return std::all_of(changes.begin(), changes.begin() + rowsAtOnce,
                       [&](const StoreRowChange& change) {
                         return change.kind == StoreRowChange::Kind::Insert &&
                                change.entity == first.entity && change.version == 0;
                       });
  }

  /// Inserts all of them or none. Returns: `Conflict` where one of them must not be there; which
  /// one, `write` finds out.
  Result insertAtOnce(std::span<const StoreRowChange> changes) {
    useEntity(changes.front());
    Statement& statement = _statements->insertionOfMany;
    if (!statement) statement = _database.prepare(insertSQL(*_map, changes.size()));
    if (!statement) return Result::Failed;
    int parameter = 1;
    for (const StoreRowChange& change : changes) bindRow(statement, parameter, change);
    if (statement.run()) return Result::Written;
    const bool isRefused = (_database.lastCode() & 0xff) == SQLITE_CONSTRAINT;
    return isRefused ? Result::Conflict : Result::Failed;
  }

  Result write(const StoreRowChange& change) {
    useEntity(change);
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
    Statement insertionOfMany;
    Statement deletion;
    Statement update;
    /// The numbers of the columns that the update writes.
    std::vector<std::size_t> updated;
  };

  void useEntity(const StoreRowChange& change) {
    _made.clear();
    if (change.entity == _entity) return;
    _entity = change.entity;
    _map = &_schema.of(*change.entity);
    _statements = &_byEntity[change.entity];
  }

  static bool isSame(const StoreRowChange& change, const Schema::Column& column) {
    return impl::storesAlike(change.values[column.attribute], change.committed[column.attribute],
                             column.type);
  }

  Result insert(const StoreRowChange& change) {
    Statement& statement = _statements->insertion;
    if (!statement) statement = _database.prepare(insertSQL(*_map, 1));
    if (!statement) return Result::Failed;
    int parameter = 1;
    bindRow(statement, parameter, change);
    if (!statement.run()) return Result::Failed;
    return change.version == 0 || setVersion(change) ? Result::Written : Result::Failed;
  }

  /// Of a record that comes back, so that it is not taken for the one that was deleted.
  bool setVersion(const StoreRowChange& change) {
    Statement statement =
        _database.prepare("UPDATE " + _map->table + " SET _version = ? WHERE _pk = ?");
    if (!statement) return false;
    statement.bind(1, static_cast<std::int64_t>(change.version) + 1);
    statement.bind(2, change.primaryKey);
    return statement.run();
  }

  Result update(const StoreRowChange& change) {
    const std::vector<Schema::Column>& columns = _map->columns;
    _changed.clear();
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (!isSame(change, columns[i])) _changed.push_back(i);
    }
    Statement& statement = _statements->update;
    if (!statement || _statements->updated != _changed) {
      std::string sql = "UPDATE " + _map->table + " SET _version = _version + 1";
      for (const std::size_t i : _changed) {
        sql += ", " + columns[i].name + " = ?";
        if (!columns[i].entityColumn.empty()) sql += ", " + columns[i].entityColumn + " = ?";
      }
      sql += " WHERE _pk = ? AND _version = ?";
      statement = _database.prepare(std::move(sql));
      _statements->updated = _changed;
    }
    if (!statement) return Result::Failed;
    int parameter = 1;
    for (const std::size_t i : _changed) {
      bindColumn(statement, parameter, columns[i], change.values[columns[i].attribute]);
    }
    return runOnOneRow(statement, parameter, change);
  }

  void bindRow(Statement& statement, int& parameter, const StoreRowChange& change) {
    statement.bind(parameter++, change.primaryKey);
    for (const Schema::Column& column : _map->columns) {
      bindColumn(statement, parameter, column, change.values[column.attribute]);
    }
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
  /// The numbers of the columns that the row being updated has other values for.
  std::vector<std::size_t> _changed;
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
  if (!_connection->database.executeOften("BEGIN IMMEDIATE")) return failedToSave(error);
  _connection->saving = true;
  if (isStillOfModel(error)) return true;
  abandonSave();
  return false;
}

bool SQLiteStore::readModelMark(std::string& mark) {
  Statement statement = _connection->database.prepare(
      "SELECT group_concat(entity, ' ') FROM (SELECT name || ' ' || table_name || ' ' || "
      "version_hash AS entity FROM jn_entity ORDER BY name)");
  if (!statement || statement.step() != Statement::Step::Row) return false;
  mark = statement.text(0);
  return true;
}

bool SQLiteStore::isStillOfModel(Ref<NSError>* error) {
  const unsigned version = _connection->database.dataVersion();
  if (version == _connection->knownDataVersion) return true;
  std::string mark;
  if (!readModelMark(mark)) return failedToSave(error);
  if (mark != _connection->modelMark) {
    return impl::fail(
        error, impl::cocoaError(NSPersistentStoreIncompatibleVersionHashError,
                                "The store cannot be written: its file was migrated to another "
                                "model after it was opened here.",
                                {{NSFilePathErrorKey, Value(URL()->path())}}));
  }
  _connection->knownDataVersion = version;
  return true;
}

namespace {

/// Asks for what the next so many rows are made of, and for where that stands of as many behind.
[[gnu::always_inline]] inline void bringNear(std::span<const StoreRowChange> rest,
                                             std::size_t count) noexcept {
  for (std::size_t i = 0; i < 2 * count && i < rest.size(); ++i) {
    const StoreRowChange& change = rest[i];
    if (i >= count) {
      impl::bringNear(change.values);
    } else if (change.kind != StoreRowChange::Kind::Delete) {
      impl::bringNear(change.values, change.entity->layout().count());
    }
  }
}

}  // namespace

bool SQLiteStore::writeRows(std::span<const StoreRowChange> changes, std::size_t* conflict,
                            Ref<NSError>* error) {
  RowWriter writer(_connection->database, _connection->schema);
  const auto write = [&](const StoreRowChange& change) {
    const RowWriter::Result result = writer.write(change);
    if (result == RowWriter::Result::Written) return true;
    const bool failed = result == RowWriter::Result::Failed;
    const int code = _connection->database.lastCode();
    const bool repeats = failed && code == SQLITE_CONSTRAINT_UNIQUE;
    const bool isThereAgain = failed && code == SQLITE_CONSTRAINT_PRIMARYKEY && change.version != 0;
    if (failed && !repeats && !isThereAgain) return failedToSave(error);
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
  for (auto rest = changes; !rest.empty();) {
    const auto next = rest.first(writer.canInsertAtOnce(rest) ? RowWriter::rowsAtOnce : 1);
    rest = rest.subspan(next.size());
    bringNear(rest, next.size());
    if (next.size() > 1) {
      const RowWriter::Result result = writer.insertAtOnce(next);
      if (result == RowWriter::Result::Written) continue;
      if (result == RowWriter::Result::Failed) return failedToSave(error);
    }
    for (const StoreRowChange& change : next) {
      if (change.kind != StoreRowChange::Kind::Delete && !write(change)) return false;
    }
  }
  return true;
}

bool SQLiteStore::writeLinks(std::span<const StoreLinkChange> changes, Ref<NSError>* error) {
  impl::LinkWriter writer(_connection->database, _connection->schema);
  return writer.write(changes) || failedToSave(error);
}

bool SQLiteStore::prepareToCommit(Ref<NSError>* error) {
  impl::Database& database = _connection->database;
  int unresolved = 0;
  int highest = 0;
  sqlite3_db_status(database.handle(), SQLITE_DBSTATUS_DEFERRED_FKS, &unresolved, &highest, 0);
  if (unresolved == 0) return true;
  database.refuse(SQLITE_CONSTRAINT_FOREIGNKEY, "FOREIGN KEY constraint failed");
  return failedToSave(error);
}

bool SQLiteStore::commitSave(Ref<NSError>* error) {
  if (!_connection->database.executeOften("COMMIT")) {
    failedToSave(error);
    abandonSave();
    return false;
  }
  // What this save has written is no reason to look.
  _connection->knownDataVersion = _connection->database.dataVersion();
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
