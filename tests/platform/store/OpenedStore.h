#pragma once

#include <string>

#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/value/NSError.h>

namespace JNFoundation::testing {

/// A store of one file with a coordinator and a context of its own, closed at the end of the scope.
struct OpenedStore {
  OpenedStore() = default;
  OpenedStore(const std::string& path, const Ref<NSManagedObjectModel>& model,
              const Ref<NSDictionary>& options = nullptr);

  /// Whether it is open; the error says why not.
  explicit operator bool() const { return context != nullptr; }
  Ref<NSManagedObjectContext> newContext() const;

  Ref<NSPersistentStoreCoordinator> coordinator;
  Ref<NSManagedObjectContext> context;
  Ref<NSError> error;
};

/// How much a completed save outlasts.
enum class Durability {
  /// The end of the process.
  Normal,
  /// A power cut too.
  Full,
};
Ref<NSDictionary> optionsFor(Durability durability);

/// What SQLite itself finds wrong with the file.
/// Returns: an empty text if nothing is.
std::string damageOf(const std::string& path);

}  // namespace JNFoundation::testing
