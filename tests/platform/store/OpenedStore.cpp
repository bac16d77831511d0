#include "OpenedStore.h"

#include <sqlite3.h>

#include <JNFoundation/platform/net/NSURL.h>

namespace JNFoundation::testing {

OpenedStore::OpenedStore(const std::string& path, const Ref<NSManagedObjectModel>& model,
                         const Ref<NSDictionary>& options)
    : coordinator(NSPersistentStoreCoordinator::initWithManagedObjectModel(model)) {
  if (coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
          NSSQLiteStoreType, nullptr, NSURL::fileURLWithPath(path), options, &error)) {
    context = newContext();
  }
}

Ref<NSManagedObjectContext> OpenedStore::newContext() const {
  auto made = NSManagedObjectContext::init();
  made->setPersistentStoreCoordinator(coordinator);
  return made;
}

Ref<NSDictionary> optionsFor(Durability durability) {
  const char* synchronous = durability == Durability::Full ? "FULL" : "NORMAL";
  return NSDictionary::dictionaryWithEntries(
      {{NSSQLitePragmasOption,
        NSDictionary::dictionaryWithEntries({{"synchronous", synchronous}})}});
}

std::string damageOf(const std::string& path) {
  sqlite3* handle = nullptr;
  std::string found;
  if (sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
    const auto collect = [](void* text, int count, char** values, char**) {
      for (int i = 0; i < count; ++i) {
        *static_cast<std::string*>(text) += values[i] ? values[i] : "NULL";
        *static_cast<std::string*>(text) += '\n';
      }
      return 0;
    };
    sqlite3_exec(handle, "PRAGMA integrity_check; PRAGMA foreign_key_check", collect, &found,
                 nullptr);
  }
  if (found == "ok\n") found.clear();
  if (sqlite3_errcode(handle) != SQLITE_OK) found += sqlite3_errmsg(handle);
  sqlite3_close(handle);
  return found;
}

}  // namespace JNFoundation::testing
