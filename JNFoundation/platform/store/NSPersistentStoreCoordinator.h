#pragma once

#include <mutex>
#include <vector>

#include <JNFoundation/platform/store/NSManagedObjectID.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation {

class NSError;
class NSManagedObjectModel;
class NSPersistentStore;
class NSURL;

/// One file in SQLite's format; survives a crash at any instant with the last completed save.
inline constexpr const char* NSSQLiteStoreType = "SQLite";
/// Nothing on disk; gone with the coordinator.
inline constexpr const char* NSInMemoryStoreType = "InMemory";

/// Option: a boolean. The file is read, never written.
inline constexpr const char* NSReadOnlyPersistentStoreOption = "NSReadOnlyPersistentStoreOption";
/// Option: a dictionary of SQLite settings. "synchronous" may be "NORMAL" (the default: a power cut
/// may lose the last saves, never harm the file) or "FULL" (a completed save outlasts a power cut).
inline constexpr const char* NSSQLitePragmasOption = "NSSQLitePragmasOption";
/// Option: how many seconds to wait for another process that holds the file, 5 by default.
inline constexpr const char* NSPersistentStoreTimeoutOption = "NSPersistentStoreTimeoutOption";

/// Stands between contexts and stores: it has the model and the stores that keep its objects.
///
///     auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
///     coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
///         NSSQLiteStoreType, nullptr, NSURL::fileURLWithPath("catalog.sqlite"), nullptr, &error);
///
/// Threads: any; each call to a store runs alone.
class NSPersistentStoreCoordinator : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Makes the model unchangeable.
  /// Fails: raises NSInvalidArgumentException for no model and for one that is not whole, with the
  /// reason that `NSManagedObjectModel::makeImmutable` gives.
  static Ref<NSPersistentStoreCoordinator> initWithManagedObjectModel(
      const Ref<NSManagedObjectModel>& model);

  const Ref<NSManagedObjectModel>& managedObjectModel() const noexcept { return _model; }

  /// Opens the store, and makes its file if there is none. `configuration` is kept as text.
  /// Returns: null on failure, with the error set; a file that is not a store, is damaged, belongs
  /// to another model (134100) or to a newer release is left exactly as it was.
  Ref<NSPersistentStore> addPersistentStoreWithTypeConfigurationURLOptionsError(
      const Ref<NSString>& type, const Ref<NSString>& configuration, const Ref<NSURL>& url,
      const Ref<NSDictionary>& options, Ref<NSError>* error = nullptr);

  /// Closes the store. Its objects can no longer be read or saved.
  bool removePersistentStoreError(const Ref<NSPersistentStore>& store,
                                  Ref<NSError>* error = nullptr);

  /// In the order in which they were added.
  Ref<NSArray> persistentStores() const;
  /// Returns: null if there is none of that identifier.
  Ref<NSPersistentStore> persistentStoreWithIdentifier(std::string_view identifier) const;

  /// Reads an identifier's address back.
  /// Returns: null for other addresses, and for a store or an entity that the coordinator does not
  /// have.
  Ref<NSManagedObjectID> managedObjectIDForURIRepresentation(const Ref<NSURL>& uri) const;

  /// The lock under which stores are called.
  std::recursive_mutex& storeLock() const noexcept { return _storeLock; }

 protected:
  explicit NSPersistentStoreCoordinator(Ref<NSManagedObjectModel> model);
  ~NSPersistentStoreCoordinator() override;

 private:
  Ref<NSManagedObjectModel> _model;
  mutable std::recursive_mutex _storeLock;
  /// Guarded by the lock.
  std::vector<Ref<NSPersistentStore>> _stores;
  /// Guarded by the lock. Closed ones stay, since objects refer to what they keep in memory.
  std::vector<Ref<NSPersistentStore>> _closedStores;
};

}  // namespace JNFoundation
