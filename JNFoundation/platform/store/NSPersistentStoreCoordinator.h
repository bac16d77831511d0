#pragma once

#include <mutex>
#include <optional>
#include <vector>

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSManagedObjectID.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation::inline v0_1 {

class NSError;
class NSManagedObjectModel;

namespace impl {
class MergingContexts;
}

/// One file in SQLite's format; survives a crash at any instant with the last completed save.
inline constexpr const char* NSSQLiteStoreType = "SQLite";
/// Nothing on disk; gone with the coordinator.
inline constexpr const char* NSInMemoryStoreType = "InMemory";

/// Option: a boolean. The file is read, never written.
inline constexpr const char* NSReadOnlyPersistentStoreOption = "NSReadOnlyPersistentStoreOption";
/// Option: a dictionary of SQLite settings. What is not listed here, and what a setting cannot be,
/// is refused when the store is added.
///
/// - "synchronous": how much a completed save outlasts. Either way the crash of a process costs
///   nothing, and nothing ever harms the file. "NORMAL", the default: a power cut, or the crash of
///   the whole system, may cost the last saves. "FULL": it does not; each save waits for the disk.
/// - "cache_size": pages, or with a minus sign KiB, of the file that are kept in memory.
/// - "mmap_size": how many bytes of the file are read through a mapping, 0 for none.
/// - "wal_autocheckpoint": pages of the log after which a save writes them back into the file.
/// - "fullfsync": 1 has a disk of Apple's systems empty its own cache, too; 0 is the default.
/// - "journal_mode": "WAL", as it is anyway.
inline constexpr const char* NSSQLitePragmasOption = "NSSQLitePragmasOption";
/// Option: how many seconds to wait for another process that holds the file, 5 by default. Several
/// processes may have one store open: they read beside each other and beside a save; saves take
/// turns. One that has waited that long, by trying again and again, fails with
/// NSPersistentStoreTimeoutError (134090), and nothing is lost: its changes stay pending.
inline constexpr const char* NSPersistentStoreTimeoutOption = "NSPersistentStoreTimeoutOption";
/// Option: a boolean. A file that was made with another model is migrated to the coordinator's
/// model when it is added, in one transaction: it has the new model with everything that was kept,
/// or is what it was. Without it such a file is refused with
/// NSPersistentStoreIncompatibleVersionHashError (134100). The file itself knows its model. Where
/// only indexes have changed, they are made and dropped.
inline constexpr const char* NSMigratePersistentStoresAutomaticallyOption =
    "NSMigratePersistentStoresAutomaticallyOption";
/// Option: a boolean. What becomes of entities and properties is inferred, see NSMappingModel.
/// Without it only the steps of a plan can lead to the coordinator's model.
inline constexpr const char* NSInferMappingModelAutomaticallyOption =
    "NSInferMappingModelAutomaticallyOption";
/// Option: an NSMigrationPlan, for what cannot be inferred, for progress and for cancelling.
inline constexpr const char* NSPersistentStoreMigrationPlanOption =
    "NSPersistentStoreMigrationPlanOption";

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

  /// Never null; nobody can change it any more.
  const Ref<NSManagedObjectModel>& managedObjectModel() const noexcept { return _model; }

  /// Opens the store, and makes its file if there is none. `configuration` names those entities of
  /// the model whose objects the store takes; null stands for all of them. The file has a place for
  /// every entity all the same.
  /// Returns: null on failure, with the error set; a file that is not a store, is damaged, belongs
  /// to another model (134100) or to a newer release is left exactly as it was. So is one that
  /// cannot be migrated: 134110 in general, 134111 where records repeat what must be unique, 134120
  /// when it was cancelled, 134130 where the file does not know its model, 134140 where neither a
  /// step nor inference is there, 134170 when a step's block failed, 134190 where nothing can be
  /// inferred, and 134090 while somebody else has the file open.
  Ref<NSPersistentStore> addPersistentStoreWithTypeConfigurationURLOptionsError(
      const Ref<NSString>& type, const Ref<NSString>& configuration, const Ref<NSURL>& url,
      const Ref<NSDictionary>& options, Ref<NSError>* error = nullptr);

  /// Closes the store, and ends backups and checks of it. Its objects can no longer be read or
  /// saved.
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

  // ---- Metadata ---------------------------------------------------------------------------------

  /// What the store keeps about itself (NSStoreTypeKey and the like) and the application's entries.
  /// Returns: null on failure.
  Ref<NSDictionary> metadataForPersistentStore(const Ref<NSPersistentStore>& store,
                                               Ref<NSError>* error = nullptr) const;
  /// Replaces the application's entries at once, in a transaction of its own; those that the store
  /// makes itself stay as they are, whatever the dictionary has for them. Names are texts, values
  /// are plain: text, number, date, data, NSNull, and arrays and dictionaries of such.
  bool setMetadataForPersistentStore(const Ref<NSDictionary>& metadata,
                                     const Ref<NSPersistentStore>& store,
                                     Ref<NSError>* error = nullptr);
  /// Reads the metadata of a file without its model, and changes nothing in it.
  /// Returns: null on failure: the file is not there, is not a store or cannot be read.
  static Ref<NSDictionary> metadataForPersistentStoreOfTypeURLOptionsError(
      const Ref<NSString>& type, const Ref<NSURL>& url, const Ref<NSDictionary>& options,
      Ref<NSError>* error = nullptr);

  // ---- Upkeep -----------------------------------------------------------------------------------

  /// Copies what the store holds at this moment into another file, which is a complete store by
  /// itself and has no log. Saves and fetches go on meanwhile, on other threads or between the
  /// calls of the progress block; what they save is not in the copy. The copy stands under a name
  /// of its own, which ends with ".partial", until it is whole and on the disk.
  /// Calls: the progress block, which may be null, on this thread, after every MiB.
  /// Fails: returns false, and leaves what is at the address as it is: a file that is not to be
  /// replaced, one that is the store's own, is in use or was not closed in good order; no room;
  /// NSUserCancelledError when the block has said so, or the store was suspended or removed.
  bool backupPersistentStoreToURLOptionsProgressError(
      const Ref<NSPersistentStore>& store, const Ref<NSURL>& url,
      NSPersistentStoreBackupOptions options, const NSPersistentStoreBackupProgress& progress,
      Ref<NSError>* error = nullptr);
  /// The same without options, and without telling anybody of the progress.
  bool backupPersistentStoreToURLError(const Ref<NSPersistentStore>& store, const Ref<NSURL>& url,
                                       Ref<NSError>* error = nullptr);

  /// Reads the whole file and says what is wrong with it, in sentences; none if it is sound. Saves
  /// and fetches go on meanwhile. At most 100 are given.
  /// Returns: null if the check could not be made, with the error set.
  Ref<NSArray> integrityErrorsOfPersistentStoreError(const Ref<NSPersistentStore>& store,
                                                     Ref<NSError>* error = nullptr);

  /// Writes the file anew without the room that holds nothing; takes as long as copying it, and as
  /// much room again until it is done.
  /// Fails: returns false and has changed nothing; with 134090 while another process, coordinator
  /// or backup has the file open.
  bool compactPersistentStoreError(const Ref<NSPersistentStore>& store,
                                   Ref<NSError>* error = nullptr);
  /// Returns: nothing on failure.
  std::optional<NSPersistentStoreSize> sizeOfPersistentStoreError(
      const Ref<NSPersistentStore>& store, Ref<NSError>* error = nullptr) const;

  /// Lets go of every file before the system puts the application to sleep: logs are written back
  /// into their files and emptied, backups and checks end, and no file is open and no lock held
  /// until the next use of a store, or `resume`. Objects stay what they are.
  ///
  /// Fails: returns false. A file that is in use on this very thread (in the block of a backup, for
  /// instance) stays open; everything else is done all the same. Where a log could not be written
  /// back, it is complete beside its file, and both are closed.
  bool suspend(Ref<NSError>* error = nullptr);
  /// Opens the files again, which the next use of each store would do as well.
  /// Fails: returns false; the store whose file is gone, or is another one now, fails each use
  /// until its file is back.
  bool resume(Ref<NSError>* error = nullptr);
  /// Whether there are stores whose files are closed for the time being.
  bool isSuspended() const;

  /// Deletes a store that is not in use, with its log and its index. That there is none is no
  /// failure; one that is damaged is deleted too.
  /// Fails: returns false, and has deleted nothing, for a store that this coordinator or another
  /// process has open (134090), and for a file that is not a store of this kind.
  bool destroyPersistentStoreAtURLWithTypeOptionsError(const Ref<NSURL>& url,
                                                       const Ref<NSString>& type,
                                                       const Ref<NSDictionary>& options,
                                                       Ref<NSError>* error = nullptr);

  /// Where a new object of the entity goes that nobody has given a store: to the first store that
  /// takes it and can be written to, else to the first that takes it.
  /// Returns: null if none takes it.
  Ref<NSPersistentStore> storeForNewObjectsOfEntity(const Ref<NSEntityDescription>& entity) const;

  /// The contexts that merge what others save.
  impl::MergingContexts& mergingContexts() const noexcept { return *_mergingContexts; }

  /// The lock under which stores are called.
  std::recursive_mutex& storeLock() const noexcept { return _storeLock; }

 protected:
  explicit NSPersistentStoreCoordinator(Ref<NSManagedObjectModel> model);
  ~NSPersistentStoreCoordinator() override;

 private:
  /// Whether the store is one of ours. Requires: the lock.
  bool has(const Ref<NSPersistentStore>& store, Ref<NSError>* error) const;
  /// Has the long work on the stores end, and takes the lock when there is none.
  /// Fails: returns false and takes nothing, when this thread is inside such work.
  bool lockWithoutLongWork(const std::vector<Ref<NSPersistentStore>>& stores,
                           std::unique_lock<std::recursive_mutex>& lock) const;
  std::vector<Ref<NSPersistentStore>> storeList() const;

  Ref<NSManagedObjectModel> _model;
  const std::unique_ptr<impl::MergingContexts> _mergingContexts;
  mutable std::recursive_mutex _storeLock;
  /// Guarded by the lock.
  std::vector<Ref<NSPersistentStore>> _stores;
  std::uint64_t _lastPlace = 0;
  /// Guarded by the lock. Closed ones stay, since objects refer to what they keep in memory.
  std::vector<Ref<NSPersistentStore>> _closedStores;
};

}  // namespace JNFoundation
