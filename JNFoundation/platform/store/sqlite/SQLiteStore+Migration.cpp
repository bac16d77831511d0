#include <vector>

#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSMigrationPlan.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/MappingInference.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/store/impl/StoredModel.h>
#include <JNFoundation/platform/store/sqlite/SQLiteStore.h>
#include <JNFoundation/platform/store/sqlite/impl/MigrationWork.h>
#include <JNFoundation/platform/store/sqlite/impl/SQLiteConnection.h>
#include <JNFoundation/platform/store/sqlite/impl/StoreMigrator.h>

namespace JNFoundation::inline v0_1 {

using impl::Database;
using impl::Schema;
using impl::Statement;

namespace {

bool asksFor(const Ref<NSDictionary>& options, const char* name) {
  return options && options->objectForKey(name).boolValue();
}

Ref<NSMigrationPlan> planIn(const Ref<NSDictionary>& options) {
  const Value value =
      options ? options->objectForKey(NSPersistentStoreMigrationPlanOption) : Value();
  return Ref<NSMigrationPlan>(as<NSMigrationPlan>(value));
}

/// Has tables be made anew: references are looked after at the end, and names in them stay what
/// they are when a table is set aside.
class LooseTables {
 public:
  explicit LooseTables(Database& database) : _database(database) {
    _isLoose = _database.execute("PRAGMA foreign_keys = OFF; PRAGMA legacy_alter_table = ON");
  }
  ~LooseTables() {
    sqlite3* handle = _database.handle();
    // Whatever happened: nothing of a transaction that was not ended is kept.
    if (sqlite3_get_autocommit(handle) == 0) {
      _database.rollBack();
    }
    sqlite3_exec(handle, "PRAGMA foreign_keys = ON; PRAGMA legacy_alter_table = OFF", nullptr,
                 nullptr, nullptr);
  }
  LooseTables(const LooseTables&) = delete;
  LooseTables& operator=(const LooseTables&) = delete;
  explicit operator bool() const noexcept { return _isLoose; }

 private:
  Database& _database;
  bool _isLoose;
};

}  // namespace

bool SQLiteStore::failedToMigrate(Ref<NSError>* error) const {
  return impl::fail(error,
                    _connection->database.error(NSMigrationError, "The store cannot be migrated"));
}

bool SQLiteStore::migrateIfAsked(Ref<NSError>* error) {
  if (!asksFor(options(), NSMigratePersistentStoresAutomaticallyOption)) return true;
  std::string ignored;
  Schema found;
  switch (found.read(_connection->database, *model(), ignored)) {
    case Schema::Match::Same:
      return updateIndexes(error);
    case Schema::Match::OtherModel:
      return migrate(error);
    case Schema::Match::Failed:
      break;
    case Schema::Match::Damaged:
      // Whoever reads it next says so.
      return true;
  }
  return impl::fail(
      error, _connection->database.error(NSPersistentStoreOpenError, "The store cannot be read"));
}

/// Indexes are no part of the version hashes, so that a file may have those of an earlier model.
bool SQLiteStore::updateIndexes(Ref<NSError>* error) {
  Database& database = _connection->database;
  const std::string text = impl::storedModelText(*model());
  const std::string hash = impl::storedModelHash(text);
  {
    Statement known = database.prepare("SELECT value FROM jn_metadata WHERE key = 'model_hash'");
    if (!known) return failedToMigrate(error);
    const Statement::Step step = known.step();
    if (step == Statement::Step::Failed) return failedToMigrate(error);
    if (text.empty() || (step == Statement::Step::Row && known.text(0) == hash)) return true;
  }
  if (!applySettings(error)) return false;
  if (!database.execute("BEGIN IMMEDIATE")) return failedToMigrate(error);
  Schema schema;
  std::string ignored;
  // Another process may have been quicker.
  if (schema.read(database, *model(), ignored) == Schema::Match::Same &&
      schema.makeIndexes(database, *model()) && Schema::writeModel(database, *model()) &&
      database.execute("COMMIT")) {
    return true;
  }
  failedToMigrate(error);
  if (sqlite3_get_autocommit(database.handle()) == 0) database.rollBack();
  return false;
}

/// The model that the file was made with.
Ref<NSManagedObjectModel> SQLiteStore::readOwnModel(Ref<NSError>* error) const {
  Database& database = _connection->database;
  std::string text, hash;
  bool isTheOne = false;
  {
    Statement rows =
        database.prepare("SELECT key, value FROM jn_metadata WHERE key IN ('model', 'model_hash')");
    Statement::Step step = Statement::Step::Failed;
    while (rows && (step = rows.step()) == Statement::Step::Row) {
      (rows.text(0) == "model" ? text : hash) = std::string(rows.text(1));
    }
    if (step == Statement::Step::Failed) {
      failedToMigrate(error);
      return nullptr;
    }
  }
  Ref<NSManagedObjectModel> source = impl::modelOfStoredText(text, hash);
  if (source) {
    Schema schema;
    std::string ignored;
    const Schema::Match match = schema.read(database, *source, ignored);
    if (match == Schema::Match::Failed) {
      failedToMigrate(error);
      return nullptr;
    }
    isTheOne = match == Schema::Match::Same;
  }
  if (isTheOne) return source;
  refuse(NSMigrationMissingSourceModelError,
         "it is to be migrated, and its own model is not in it any more, or is not the one of its "
         "tables",
         error);
  return nullptr;
}

bool SQLiteStore::migrate(Ref<NSError>* error) {
  Database& database = _connection->database;
  const Ref<NSMigrationPlan> plan = planIn(options());
  const bool infers = asksFor(options(), NSInferMappingModelAutomaticallyOption);
  const bool hasSteps = plan && !plan->steps().empty();
  const Ref<NSManagedObjectModel> source = readOwnModel(error);
  if (!source) return false;
  if (!hasSteps) {
    // What cannot be done is found out before anything is touched.
    if (!infers) {
      return refuse(NSMigrationMissingMappingModelError,
                    "it was made with another model, and nothing says how to migrate it", error);
    }
    if (!impl::MappingInference(*source, *model()).infer(error)) return false;
  }
  if (plan && plan->isCancelled()) {
    return refuse(NSMigrationCancelledError, "its migration was cancelled", error);
  }
  if (!applySettings(error)) return false;
  // Whoever has the file open goes by the tables as they are; without its log it can only belong
  // to one connection.
  if (!database.execute("PRAGMA journal_mode = DELETE") ||
      !database.executeWhenFree("PRAGMA journal_mode = WAL")) {
    return failedToMigrate(error);
  }
  const LooseTables tables(database);
  if (!tables || !database.execute("BEGIN IMMEDIATE")) return failedToMigrate(error);
  {
    Schema found;
    std::string ignored;
    // Another process may have been quicker.
    const Schema::Match match = found.read(database, *model(), ignored);
    if (match == Schema::Match::Failed) return failedToMigrate(error);
    if (match == Schema::Match::Same) return true;
  }
  {
    impl::MigrationWork work(database, plan);
    if (!migrateInTransaction(source, work, error)) return false;
  }
  return database.execute("COMMIT") || failedToMigrate(error);
}

bool SQLiteStore::migrateInTransaction(const Ref<NSManagedObjectModel>& source,
                                       impl::MigrationWork& work, Ref<NSError>* error) {
  Database& database = _connection->database;
  const bool infers = asksFor(options(), NSInferMappingModelAutomaticallyOption);
  const auto hashes = Value(model()->entityVersionHashesByName());
  std::vector<Ref<NSMigrationStep>> steps;
  if (work.plan()) steps = work.plan()->steps();
  Ref<NSManagedObjectModel> current = source;
  while (Value(current->entityVersionHashesByName()) != hashes) {
    const Ref<NSDictionary> found = readMetadata(database, error);
    if (!found) return false;
    Ref<NSMigrationStep> step;
    for (auto candidate = steps.begin(); candidate != steps.end(); ++candidate) {
      if (!(*candidate)->isForMetadata(found)) continue;
      step = *candidate;
      steps.erase(candidate);
      break;
    }
    if (!step && !infers) {
      return refuse(NSMigrationMissingMappingModelError,
                    "it was made with another model, and no step is for it", error);
    }
    const Ref<NSManagedObjectModel> next =
        step && step->destinationModel() ? step->destinationModel() : model();
    impl::StoreMigrator migrator(database, work, *this, current, next, step.get());
    if (!migrator.migrate(error)) return false;
    current = next;
  }
  Statement dangling = database.prepare("PRAGMA foreign_key_check");
  if (!dangling) return failedToMigrate(error);
  const Statement::Step step = dangling.step();
  if (step == Statement::Step::Failed) return failedToMigrate(error);
  if (step == Statement::Step::Row) {
    return impl::fail(
        error, impl::cocoaError(
                   NSMigrationError,
                   NSString::stringWithFormat("The store cannot be migrated: the record %s of the "
                                              "table %s would lead to one that is not there.",
                                              dangling.text(1), dangling.text(0)),
                   {{NSFilePathErrorKey, Value(database.path())}}));
  }
  Schema made;
  std::string difference;
  const Schema::Match match = made.read(database, *model(), difference);
  if (match == Schema::Match::Same) return true;
  return match == Schema::Match::Failed
             ? failedToMigrate(error)
             : refuse(NSMigrationError, "its new tables are not those of the model", error);
}

}  // namespace JNFoundation
