#include "JNFoundation/platform/store/NSPersistentStoreCoordinator.h"

#include <algorithm>
#include <charconv>

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/impl/ContextFamily.h>
#include <JNFoundation/platform/store/impl/ObjectAccess.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/store/memory/MemoryStore.h>
#include <JNFoundation/platform/store/sqlite/SQLiteStore.h>
#include <JNFoundation/platform/text/PercentText.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSPersistentStoreCoordinator::classObject =
    Class::of<NSPersistentStoreCoordinator>("NSPersistentStoreCoordinator");

NSPersistentStoreCoordinator::NSPersistentStoreCoordinator(Ref<NSManagedObjectModel> model)
    : _model(std::move(model)), _mergingContexts(std::make_unique<impl::MergingContexts>()) {}

NSPersistentStoreCoordinator::~NSPersistentStoreCoordinator() {
  for (const Ref<NSPersistentStore>& store : _stores) store->close();
}

Ref<NSPersistentStoreCoordinator> NSPersistentStoreCoordinator::initWithManagedObjectModel(
    const Ref<NSManagedObjectModel>& model) {
  if (!model)
    raise(NSInvalidArgumentException,
          "Cannot create an NSPersistentStoreCoordinator with a nil model");
  Ref<NSError> error;
  if (!model->makeImmutable(&error)) {
    raise(NSInvalidArgumentException, "%@", error->localizedDescription());
  }
  return makeObject<NSPersistentStoreCoordinator>(model);
}

Ref<NSPersistentStore>
NSPersistentStoreCoordinator::addPersistentStoreWithTypeConfigurationURLOptionsError(
    const Ref<NSString>& type, const Ref<NSString>& configuration, const Ref<NSURL>& url,
    const Ref<NSDictionary>& options, Ref<NSError>* error) {
  if (configuration && !_model->entitiesForConfiguration(configuration)) {
    impl::fail(error, impl::cocoaError(
                          NSPersistentStoreOpenError,
                          NSString::stringWithFormat("The model has no configuration named '%@'.",
                                                     Value(configuration))));
    return nullptr;
  }
  Ref<NSPersistentStore> store;
  if (type && type->utf8() == NSSQLiteStoreType) {
    store = SQLiteStore::initWithModelConfigurationURLOptions(_model, configuration, url, options);
  } else if (type && type->utf8() == NSInMemoryStoreType) {
    store = MemoryStore::initWithModelConfigurationURLOptions(_model, configuration, url, options);
  } else {
    impl::fail(error, impl::cocoaError(NSPersistentStoreInvalidTypeError,
                                       NSString::stringWithFormat(
                                           "There is no kind of store named '%@'.", Value(type))));
    return nullptr;
  }
  std::lock_guard guard(_storeLock);
  if (!store->open(error)) return nullptr;
  if (persistentStoreWithIdentifier(store->identifier()->utf8())) {
    store->close();
    impl::fail(error, impl::cocoaError(NSPersistentStoreOpenError,
                                       "The coordinator has that store already.",
                                       {{NSURLErrorKey, Value(url)}}));
    return nullptr;
  }
  store->_open = true;
  store->_place = ++_lastPlace;
  _stores.push_back(store);
  return store;
}

bool NSPersistentStoreCoordinator::removePersistentStoreError(const Ref<NSPersistentStore>& store,
                                                              Ref<NSError>* error) {
  {
    const std::lock_guard look(_storeLock);
    if (!has(store, error)) return false;
  }
  std::unique_lock guard(_storeLock, std::defer_lock);
  if (!lockWithoutLongWork({store}, guard)) {
    return impl::fail(error, impl::cocoaError(NSPersistentStoreOperationError,
                                              "The store is in use: it is being copied."));
  }
  if (!has(store, error)) return false;
  const auto found = std::find(_stores.begin(), _stores.end(), store);
  store->close();
  store->_open = false;
  _closedStores.push_back(store);
  _stores.erase(found);
  return true;
}

bool NSPersistentStoreCoordinator::has(const Ref<NSPersistentStore>& store,
                                       Ref<NSError>* error) const {
  if (store && std::find(_stores.begin(), _stores.end(), store) != _stores.end()) return true;
  return impl::fail(error, impl::cocoaError(NSPersistentStoreOperationError,
                                            "The store is not one of the coordinator's."));
}

Ref<NSArray> NSPersistentStoreCoordinator::persistentStores() const {
  std::lock_guard guard(_storeLock);
  return NSArray::arrayWithValues({_stores.begin(), _stores.end()});
}

Ref<NSPersistentStore> NSPersistentStoreCoordinator::persistentStoreWithIdentifier(
    std::string_view identifier) const {
  std::lock_guard guard(_storeLock);
  for (const Ref<NSPersistentStore>& store : _stores) {
    if (store->identifier()->utf8() == identifier) return store;
  }
  return nullptr;
}

Ref<NSPersistentStore> NSPersistentStoreCoordinator::storeForNewObjectsOfEntity(
    const Ref<NSEntityDescription>& entity) const {
  std::lock_guard guard(_storeLock);
  Ref<NSPersistentStore> first;
  for (const Ref<NSPersistentStore>& store : _stores) {
    if (!store->takes(*entity)) continue;
    if (!store->isReadOnly()) return store;
    if (!first) first = store;
  }
  return first;
}

Ref<NSManagedObjectID> NSPersistentStoreCoordinator::managedObjectIDForURIRepresentation(
    const Ref<NSURL>& uri) const {
  constexpr std::string_view scheme = "x-coredata://";
  const std::string_view text = uri ? uri->absoluteString()->utf8() : std::string_view();
  if (text.substr(0, scheme.size()) != scheme) return nullptr;
  const std::string_view rest = text.substr(scheme.size());
  const std::size_t first = rest.find('/');
  const std::size_t last = rest.rfind('/');
  if (first == std::string_view::npos || first == last) return nullptr;
  Ref<NSPersistentStore> store = persistentStoreWithIdentifier(rest.substr(0, first));
  const std::string_view record = rest.substr(last + 1);
  if (!store || record.size() < 2 || record.front() != 'p') return nullptr;
  std::int64_t number = 0;
  const char* end = record.data() + record.size();
  const auto read = std::from_chars(record.data() + 1, end, number);
  if (read.ec != std::errc() || read.ptr != end || number <= 0) return nullptr;
  const std::string_view name = rest.substr(first + 1, last - first - 1);
  for (const Ref<NSEntityDescription>& entity : _model->entityList()) {
    if (percentEncoded(entity->name()->utf8()) != name) continue;
    return impl::ObjectAccess::makeID(entity, number, store.get());
  }
  return nullptr;
}

}  // namespace JNFoundation
