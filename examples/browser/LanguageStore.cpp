#include "LanguageStore.h"

#include "../catalog/CatalogFilter.h"
#include "Download.h"

#include <JNFoundation/importing/RecordImport.h>
#include <JNFoundation/mapping/NSManagedObjectContext+PLVAssociatedFilter.h>
#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>

namespace browser {

Ref<LanguageStore> LanguageStore::open(const std::string& path, const std::string& url,
                                       WorkThread& thread, Ref<NSError>* error) {
  auto model = NSManagedObjectModel::initWithContentsOfFileError(CATALOG_MODEL, error);
  if (!model) return nullptr;
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
  const bool isInMemory = path.empty();
  if (!coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
          isInMemory ? NSInMemoryStoreType : NSSQLiteStoreType, nullptr,
          isInMemory ? nullptr : NSURL::fileURLWithPath(path), nullptr, error)) {
    return nullptr;
  }
  auto store = makeObject<LanguageStore>(url, thread);
  store->_context = NSManagedObjectContext::init();
  store->_context->setPersistentStoreCoordinator(coordinator);
  store->_context->setAutomaticallyMergesChangesFromParent(true);
  store->_importContext = NSManagedObjectContext::initWithConcurrencyTypeExecutor(
      NSPrivateQueueConcurrencyType, [&thread](Block<void()> task) { thread.execute(task); });
  store->_importContext->setPersistentStoreCoordinator(coordinator);
  plv_setDataMapFilter(store->_importContext, catalog::CatalogFilter::filter());
  return store;
}

Ref<PLVPromise> LanguageStore::load() {
  _loading =
      runOn(_thread, [url = _url](const CancellationToken& token) { return download(url, token); })
          .thenResolved([context = _importContext](const Value& records) {
            return importRecords(as<NSArray>(Value(records)), "Language", context,
                                 {.identity = NSArray::arrayWithObject("code"),
                                  .absent = ImportAbsent::Delete,
                                  .chunkSize = 1000});
          })
          .untyped();
  return PLVPromise::resolvedBy(_loading);
}

void LanguageStore::cancel() {
  if (_loading) _loading->cancel();
}

}  // namespace browser
