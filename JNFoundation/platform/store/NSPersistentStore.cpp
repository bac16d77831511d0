#include "JNFoundation/platform/store/NSPersistentStore.h"

#include <algorithm>

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/LongWork.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSPersistentStore::classObject =
    Class::of<NSPersistentStore>("NSPersistentStore");

NSPersistentStore::NSPersistentStore(Ref<NSManagedObjectModel> model, Ref<NSString> configuration,
                                     Ref<NSURL> url, Ref<NSDictionary> options)
    : _model(std::move(model)),
      _configurationName(std::move(configuration)),
      _url(std::move(url)),
      _options(std::move(options)),
      _longWork(std::make_unique<impl::LongWork>()),
      _ownMetadata(NSDictionary::dictionary()) {
  if (_configurationName) {
    const Ref<NSArray> named = _model->entitiesForConfiguration(_configurationName);
    for (NSUInteger i = 0; named && i < named->count(); ++i) {
      _entities.push_back(as<NSEntityDescription>(named->objectAtIndex(i)).get());
    }
  }
  for (const Ref<NSEntityDescription>& entity : _model->entityList()) {
    if (&entity->layout().root() == entity.get()) {
      _hierarchies.push_back(
          std::make_unique<impl::StoreHierarchy>(impl::StoreHierarchy{this, entity.get()}));
    }
  }
}

NSPersistentStore::~NSPersistentStore() = default;

bool NSPersistentStore::takes(const NSEntityDescription& entity) const noexcept {
  if (!_configurationName) return true;
  for (Ref<NSEntityDescription> above(const_cast<NSEntityDescription*>(&entity)); above;
       above = above->superentity()) {
    if (std::find(_entities.begin(), _entities.end(), above.get()) != _entities.end()) return true;
  }
  return false;
}

const impl::StoreHierarchy* NSPersistentStore::hierarchyOf(
    const NSEntityDescription& entity) const noexcept {
  // By name, so that an identifier that came from another coordinator's model is understood.
  const Ref<NSString>& name = entity.layout().rootName();
  for (const auto& hierarchy : _hierarchies) {
    if (hierarchy->root->name() == name) return hierarchy.get();
  }
  return nullptr;
}

namespace {

/// Passes records on, with their values or without.
class PassingReceiver final : public StoreRowReceiver {
 public:
  PassingReceiver(StoreRowReceiver& receiver, bool includesValues)
      : _receiver(receiver), _includesValues(includesValues) {}

  Value* beginRow(const NSEntityDescription& entity, std::int64_t primaryKey,
                  std::uint32_t version) override {
    willBegin();
    Value* places = _receiver.beginRow(entity, primaryKey, version);
    return _includesValues ? places : nullptr;
  }
  void endRow() override { _receiver.endRow(); }

  /// Called once before the first record.
  Block<void()> begin;

 private:
  void willBegin() {
    if (begin) std::exchange(begin, nullptr)();
  }

  StoreRowReceiver& _receiver;
  bool _includesValues;
};

}  // namespace

bool NSPersistentStore::fetchRecords(const NSEntityDescription& entity,
                                     std::span<const std::int64_t> primaryKeys, bool includesValues,
                                     StoreRowReceiver& receiver, Ref<NSError>* error) {
  PassingReceiver passing(receiver, includesValues);
  for (const std::int64_t number : primaryKeys) {
    if (!fetchRow(entity, number, passing, error)) return false;
  }
  return true;
}

bool NSPersistentStore::fetchRelatedOfAll(const NSRelationshipDescription& relationship,
                                          std::span<const std::int64_t> primaryKeys,
                                          bool includesValues, StoreRelatedReceiver& receiver,
                                          Ref<NSError>* error) {
  for (const std::int64_t number : primaryKeys) {
    PassingReceiver passing(receiver, includesValues);
    passing.begin = [&receiver, number] { receiver.beginOwner(number); };
    if (!fetchRelated(relationship, number, passing, error)) return false;
  }
  return true;
}

StoreAnswer NSPersistentStore::fetchColumns(const StoreColumnQuery&, const StoreColumnReceiver&,
                                            Ref<NSError>*) {
  return StoreAnswer::Unable;
}

Ref<NSDictionary> NSPersistentStore::metadata(Ref<NSError>*) {
  std::vector<NSDictionary::Pair> hashes;
  for (const Ref<NSEntityDescription>& entity : _model->entityList()) {
    hashes.push_back({entity->name(), entity->versionHash()});
  }
  std::vector<NSDictionary::Pair> entries{
      {NSStoreTypeKey, type()},
      {NSStoreUUIDKey, _identifier},
      {NSStoreModelVersionHashesKey, NSDictionary::dictionaryWithEntries(std::move(hashes))}};
  for (const auto& entry : *_ownMetadata) entries.push_back({entry.key, entry.value});
  return NSDictionary::dictionaryWithEntries(std::move(entries));
}

bool NSPersistentStore::setOwnMetadata(const Ref<NSDictionary>& metadata, Ref<NSError>*) {
  _ownMetadata = metadata;
  return true;
}

bool NSPersistentStore::backup(const Ref<NSURL>&, NSPersistentStoreBackupOptions,
                               const NSPersistentStoreBackupProgress&, Ref<NSError>* error) {
  return impl::fail(error,
                    impl::cocoaError(NSPersistentStoreOperationError,
                                     "The store keeps nothing in a file that could be copied."));
}

Ref<NSArray> NSPersistentStore::integrityErrors(Ref<NSError>*) { return NSArray::array(); }

bool NSPersistentStore::compact(Ref<NSError>*) { return true; }

bool NSPersistentStore::readSize(NSPersistentStoreSize& size, Ref<NSError>*) {
  size = NSPersistentStoreSize();
  return true;
}

bool NSPersistentStore::suspend(Ref<NSError>*) { return true; }

bool NSPersistentStore::resume(Ref<NSError>*) { return true; }

}  // namespace JNFoundation
