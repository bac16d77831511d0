#include <filesystem>

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/LongWork.h>
#include <JNFoundation/platform/store/impl/Metadata.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/store/sqlite/SQLiteStore.h>

namespace JNFoundation::inline v0_1 {
namespace {

bool isSQLite(const Ref<NSString>& type) { return type && type->utf8() == NSSQLiteStoreType; }

/// Refuses a kind of store that has no files.
bool refuseType(const Ref<NSString>& type, Ref<NSError>* error) {
  const bool isKnown = type && type->utf8() == NSInMemoryStoreType;
  return impl::fail(error, impl::cocoaError(NSPersistentStoreInvalidTypeError,
                                            NSString::stringWithFormat(
                                                isKnown ? "A store of the kind '%@' has no file."
                                                        : "There is no kind of store named '%@'.",
                                                Value(type))));
}

}  // namespace

std::vector<Ref<NSPersistentStore>> NSPersistentStoreCoordinator::storeList() const {
  const std::lock_guard guard(_storeLock);
  return _stores;
}

// ---- Metadata -----------------------------------------------------------------------------------

Ref<NSDictionary> NSPersistentStoreCoordinator::metadataForPersistentStore(
    const Ref<NSPersistentStore>& store, Ref<NSError>* error) const {
  const std::lock_guard guard(_storeLock);
  return has(store, error) ? store->metadata(error) : nullptr;
}

bool NSPersistentStoreCoordinator::setMetadataForPersistentStore(
    const Ref<NSDictionary>& metadata, const Ref<NSPersistentStore>& store, Ref<NSError>* error) {
  std::string problem;
  const Ref<NSDictionary> own = impl::ownMetadata(metadata, problem);
  if (!own) {
    return impl::fail(
        error, impl::cocoaError(NSPersistentStoreOperationError,
                                NSString::stringWithFormat(
                                    "The store's metadata cannot be written: %s.", problem)));
  }
  const std::lock_guard guard(_storeLock);
  if (!has(store, error)) return false;
  if (store->isReadOnly()) {
    return impl::fail(error, impl::cocoaError(NSPersistentStoreSaveError,
                                              "The store was opened to be read only."));
  }
  return store->setOwnMetadata(own, error);
}

Ref<NSDictionary> NSPersistentStoreCoordinator::metadataForPersistentStoreOfTypeURLOptionsError(
    const Ref<NSString>& type, const Ref<NSURL>& url, const Ref<NSDictionary>& options,
    Ref<NSError>* error) {
  if (isSQLite(type)) return SQLiteStore::metadataOfFile(url, options, error);
  refuseType(type, error);
  return nullptr;
}

// ---- Copies and checks --------------------------------------------------------------------------

bool NSPersistentStoreCoordinator::backupPersistentStoreToURLOptionsProgressError(
    const Ref<NSPersistentStore>& store, const Ref<NSURL>& url,
    NSPersistentStoreBackupOptions options, const NSPersistentStoreBackupProgress& progress,
    Ref<NSError>* error) {
  std::unique_lock guard(_storeLock);
  if (!has(store, error) || !store->resume(error)) return false;
  const impl::LongWork::Scope work(store->longWork());
  guard.unlock();
  return store->backup(url, options, progress, error);
}

bool NSPersistentStoreCoordinator::backupPersistentStoreToURLError(
    const Ref<NSPersistentStore>& store, const Ref<NSURL>& url, Ref<NSError>* error) {
  return backupPersistentStoreToURLOptionsProgressError(store, url, NSPersistentStoreBackupPlain,
                                                        nullptr, error);
}

Ref<NSArray> NSPersistentStoreCoordinator::integrityErrorsOfPersistentStoreError(
    const Ref<NSPersistentStore>& store, Ref<NSError>* error) {
  std::unique_lock guard(_storeLock);
  if (!has(store, error) || !store->resume(error)) return nullptr;
  const impl::LongWork::Scope work(store->longWork());
  guard.unlock();
  return store->integrityErrors(error);
}

bool NSPersistentStoreCoordinator::compactPersistentStoreError(const Ref<NSPersistentStore>& store,
                                                               Ref<NSError>* error) {
  const std::lock_guard guard(_storeLock);
  return has(store, error) && store->compact(error);
}

std::optional<NSPersistentStoreSize> NSPersistentStoreCoordinator::sizeOfPersistentStoreError(
    const Ref<NSPersistentStore>& store, Ref<NSError>* error) const {
  const std::lock_guard guard(_storeLock);
  NSPersistentStoreSize size;
  if (!has(store, error) || !store->readSize(size, error)) return std::nullopt;
  return size;
}

// ---- Suspension ---------------------------------------------------------------------------------

bool NSPersistentStoreCoordinator::lockWithoutLongWork(
    const std::vector<Ref<NSPersistentStore>>& stores,
    std::unique_lock<std::recursive_mutex>& lock) const {
  for (;;) {
    // Not under the lock, which what the work calls may want.
    for (const Ref<NSPersistentStore>& store : stores) {
      if (!store->longWork().endAll()) return false;
    }
    lock.lock();
    bool isUnderWay = false;
    for (const Ref<NSPersistentStore>& store : stores) {
      isUnderWay = isUnderWay || store->longWork().isUnderWay();
    }
    if (!isUnderWay) return true;
    lock.unlock();
  }
}

bool NSPersistentStoreCoordinator::suspend(Ref<NSError>* error) {
  const std::vector<Ref<NSPersistentStore>> stores = storeList();
  bool isDone = true;
  for (const Ref<NSPersistentStore>& store : stores) {
    std::unique_lock guard(_storeLock, std::defer_lock);
    Ref<NSError> reason;
    if (!lockWithoutLongWork({store}, guard)) {
      reason = impl::cocoaError(NSPersistentStoreOperationError,
                                "The store is in use by the very call that wants to suspend it.");
    } else if (!store->isOpen() || store->suspend(&reason)) {
      continue;
    }
    // The first reason is told.
    if (isDone) impl::fail(error, std::move(reason));
    isDone = false;
  }
  return isDone;
}

bool NSPersistentStoreCoordinator::resume(Ref<NSError>* error) {
  const std::lock_guard guard(_storeLock);
  bool isDone = true;
  for (const Ref<NSPersistentStore>& store : _stores) {
    Ref<NSError> reason;
    if (store->resume(&reason)) continue;
    if (isDone) impl::fail(error, std::move(reason));
    isDone = false;
  }
  return isDone;
}

bool NSPersistentStoreCoordinator::isSuspended() const {
  const std::lock_guard guard(_storeLock);
  for (const Ref<NSPersistentStore>& store : _stores) {
    if (store->isSuspended()) return true;
  }
  return false;
}

// ---- The end ------------------------------------------------------------------------------------

bool NSPersistentStoreCoordinator::destroyPersistentStoreAtURLWithTypeOptionsError(
    const Ref<NSURL>& url, const Ref<NSString>& type, const Ref<NSDictionary>& options,
    Ref<NSError>* error) {
  if (!isSQLite(type)) return refuseType(type, error);
  const std::lock_guard guard(_storeLock);
  for (const Ref<NSPersistentStore>& store : _stores) {
    std::error_code ignored;
    if (url && store->URL() &&
        (store->URL()->isEqual(url) ||
         std::filesystem::equivalent(store->URL()->path()->toStdString(),
                                     url->path()->toStdString(), ignored))) {
      return impl::fail(
          error, impl::cocoaError(NSPersistentStoreOperationError,
                                  "The store cannot be deleted: the coordinator has it open.",
                                  {{NSFilePathErrorKey, url->path()}}));
    }
  }
  return SQLiteStore::destroyFile(url, options, error);
}

}  // namespace JNFoundation
