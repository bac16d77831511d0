#pragma once

#include <algorithm>
#include <functional>
#include <sqlite3.h>

#include "OpenedStore.h"
#include "StoreFixture.h"

#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/store/NSMigrationPlan.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>

namespace JNFoundation {

/// Stores of one model that are opened with another. Models are texts: `entity`, `attribute`, `one`
/// and `many` write their parts.
class MigrationTest : public ::testing::Test {
 protected:
  using Context = Ref<NSManagedObjectContext>;
  using Object = Ref<NSManagedObject>;

  static std::string text(const Ref<NSError>& error) {
    return error ? error->description()->toStdString() : "no error";
  }

  // ---- Models -----------------------------------------------------------------------------------

  static std::string attribute(const std::string& name, const std::string& type = "String",
                               const std::string& more = "optional='YES'") {
    return "<attribute name='" + name + "' attributeType='" + type + "' " + more + "/>";
  }
  static std::string one(const std::string& name, const std::string& destination,
                         const std::string& inverse = {}, const std::string& more = {}) {
    return relationship(name, destination, inverse, "maxCount='1' " + more);
  }
  static std::string many(const std::string& name, const std::string& destination,
                          const std::string& inverse = {}, const std::string& more = {}) {
    return relationship(name, destination, inverse, "toMany='YES' " + more);
  }
  static std::string relationship(const std::string& name, const std::string& destination,
                                  const std::string& inverse, const std::string& more) {
    std::string text = "<relationship name='" + name + "' destinationEntity='" + destination +
                       "' optional='YES' " + more;
    if (more.find("deletionRule") == std::string::npos) text += " deletionRule='Nullify'";
    if (!inverse.empty()) {
      text += " inverseName='" + inverse + "' inverseEntity='" + destination + "'";
    }
    return text + "/>";
  }
  static std::string entity(const std::string& name, const std::string& content,
                            const std::string& more = {}) {
    return "<entity name='" + name + "' " + more + ">" + content + "</entity>";
  }
  static std::string renamed(const std::string& from) {
    return "renamingIdentifier='" + from + "'";
  }

  static Ref<NSManagedObjectModel> modelOf(const std::string& entities) {
    Ref<NSError> error;
    auto model = NSManagedObjectModel::modelWithXMLError("<model>" + entities + "</model>", &error);
    EXPECT_TRUE(model) << text(error);
    return model;
  }

  // ---- Stores -----------------------------------------------------------------------------------

  static Ref<NSDictionary> automatically(const Ref<NSMigrationPlan>& plan = nullptr) {
    std::vector<NSDictionary::Pair> entries{{NSMigratePersistentStoresAutomaticallyOption, true},
                                            {NSInferMappingModelAutomaticallyOption, true}};
    if (plan) entries.push_back({NSPersistentStoreMigrationPlanOption, plan});
    return NSDictionary::dictionaryWithEntries(std::move(entries));
  }

  /// Makes the file anew with that model, and saves what the block inserts.
  void make(const std::string& entities, const std::function<void(const Context&)>& fill) {
    for (const char* ending : {"", "-wal", "-shm"}) std::filesystem::remove(file + ending);
    testing::OpenedStore store(file, modelOf(entities));
    ASSERT_TRUE(store) << text(store.error);
    fill(store.context);
    Ref<NSError> error;
    ASSERT_TRUE(store.context->save(&error)) << text(error);
  }

  /// Opens it with another one. The store is sound and opens without a migration from then on.
  testing::OpenedStore migrated(const std::string& entities,
                                const Ref<NSMigrationPlan>& plan = nullptr) {
    {
      testing::OpenedStore store(file, modelOf(entities), automatically(plan));
      EXPECT_TRUE(store) << text(store.error);
      if (!store) return store;
      Ref<NSError> error;
      const Ref<NSArray> found =
          store.coordinator->integrityErrorsOfPersistentStoreError(theStore(store), &error);
      EXPECT_TRUE(found && found->count() == 0)
          << (found ? found->description()->toStdString() : text(error));
    }
    EXPECT_EQ(testing::damageOf(file), "");
    EXPECT_EQ(leftovers(), "");
    testing::OpenedStore store(file, modelOf(entities));
    EXPECT_TRUE(store) << text(store.error);
    return store;
  }

  /// Opens it with another one, which must fail and leave the file as it is.
  Ref<NSError> refusal(const std::string& entities, const Ref<NSDictionary>& options) {
    const std::string before = bytes();
    testing::OpenedStore store(file, modelOf(entities), options);
    EXPECT_FALSE(store);
    EXPECT_EQ(bytes() == before, true) << "the file is another one";
    return store.error;
  }
  Ref<NSError> refusal(const std::string& entities) { return refusal(entities, automatically()); }

  static Ref<NSPersistentStore> theStore(const testing::OpenedStore& store) {
    const Value first = store.coordinator->persistentStores()->objectAtIndex(0);
    return Ref<NSPersistentStore>(as<NSPersistentStore>(first));
  }

  std::string bytes() const {
    std::string all;
    sqlite3* handle = nullptr;
    // What it says, whatever the header counts.
    if (sqlite3_open_v2(file.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
      sqlite3_stmt* tables = nullptr;
      sqlite3_prepare_v2(handle, "SELECT type, name, sql FROM sqlite_schema ORDER BY name", -1,
                         &tables, nullptr);
      while (sqlite3_step(tables) == SQLITE_ROW) {
        const std::string name(reinterpret_cast<const char*>(sqlite3_column_text(tables, 1)));
        all += name + '\n';
        if (sqlite3_column_text(tables, 0)[0] == 't') all += rowsOf(handle, name);
      }
      sqlite3_finalize(tables);
    }
    sqlite3_close(handle);
    return all;
  }

  static std::string rowsOf(sqlite3* handle, const std::string& table) {
    std::string all;
    sqlite3_stmt* rows = nullptr;
    sqlite3_prepare_v2(handle, ("SELECT * FROM \"" + table + "\"").c_str(), -1, &rows, nullptr);
    while (sqlite3_step(rows) == SQLITE_ROW) {
      for (int i = 0; i < sqlite3_column_count(rows); ++i) {
        const auto* cell = reinterpret_cast<const char*>(sqlite3_column_text(rows, i));
        all += (cell ? cell : "NULL") + std::string("|");
      }
      all += '\n';
    }
    sqlite3_finalize(rows);
    return all;
  }

  /// The first column of the rows, joined by spaces.
  std::string query(const std::string& sql) const {
    sqlite3* handle = nullptr;
    std::string all;
    if (sqlite3_open_v2(file.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
      sqlite3_stmt* rows = nullptr;
      EXPECT_EQ(sqlite3_prepare_v2(handle, sql.c_str(), -1, &rows, nullptr), SQLITE_OK)
          << sqlite3_errmsg(handle);
      while (sqlite3_step(rows) == SQLITE_ROW) {
        const auto* cell = reinterpret_cast<const char*>(sqlite3_column_text(rows, 0));
        all += (all.empty() ? "" : " ") + std::string(cell ? cell : "NULL");
      }
      sqlite3_finalize(rows);
    }
    sqlite3_close(handle);
    return all;
  }

  /// Tables of a migration that should have gone with it.
  std::string leftovers() const {
    return query("SELECT name FROM sqlite_schema WHERE name LIKE 'jn_old%'");
  }

  // ---- Objects ----------------------------------------------------------------------------------

  static Object insert(const Context& context, const char* entity,
                       std::vector<NSDictionary::Pair> values) {
    auto object =
        NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(entity, context);
    for (const auto& [key, value] : values) object->setValueForKey(value, key.stringValue());
    return object;
  }

  static void put(const Object& object, const char* key, std::vector<Value> members) {
    const Value former = object->valueForKey(key);
    auto list = NSArray::arrayWithValues(std::move(members));
    if (isKindOf<NSOrderedSet>(former)) {
      object->setValueForKey(NSOrderedSet::orderedSetWithArray(list), key);
    } else {
      object->setValueForKey(NSSet::setWithArray(list), key);
    }
  }

  static std::vector<Object> all(const Context& context, const char* entity) {
    Ref<NSError> error;
    auto request = NSFetchRequest::fetchRequestWithEntityName(entity);
    Ref<NSArray> found = context->executeFetchRequestError(request, &error);
    EXPECT_TRUE(found) << text(error);
    std::vector<Object> objects;
    for (NSUInteger i = 0; found && i < found->count(); ++i) {
      const Value object = found->objectAtIndex(i);
      objects.emplace_back(as<NSManagedObject>(object));
    }
    return objects;
  }

  /// A value as a text; an object as its name, several in their order or sorted.
  static std::string shown(const Value& value) {
    if (value.isNull()) return "-";
    if (const auto* object = as<NSManagedObject>(value)) return shown(object->valueForKey("name"));
    std::vector<std::string> names;
    if (const auto* ordered = as<NSOrderedSet>(value)) {
      for (const Value& member : *ordered) names.push_back(shown(member));
    } else if (const auto* set = as<NSSet>(value)) {
      for (const Value& member : *set) names.push_back(shown(member));
      std::sort(names.begin(), names.end());
    } else {
      return value.description()->toStdString();
    }
    std::string joined = "[";
    for (const std::string& name : names) joined += (joined.size() > 1 ? " " : "") + name;
    return joined + "]";
  }

  /// The values of those keys in every object of the entity, in the order of their numbers:
  /// "Ada 36; Bob -".
  static std::string dump(const testing::OpenedStore& store, const char* entity,
                          std::vector<const char*> keys) {
    if (!store) return "no store";
    std::string lines;
    const Context context = store.newContext();
    for (const Object& object : all(context, entity)) {
      std::string line;
      for (const char* key : keys)
        line += (line.empty() ? "" : " ") + shown(object->valueForKey(key));
      lines += (lines.empty() ? "" : "; ") + line;
    }
    return lines;
  }

  TemporaryDirectory directory;
  MainQueueScope queue;
  std::string file = directory.file("store.sqlite");
};

}  // namespace JNFoundation
