#include "JNFoundation/platform/store/NSPersistentStore.h"

#include <algorithm>

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>

namespace JNFoundation {

constinit const Class NSPersistentStore::classObject =
    Class::of<NSPersistentStore>("NSPersistentStore");

NSPersistentStore::NSPersistentStore(Ref<NSManagedObjectModel> model, Ref<NSString> configuration,
                                     Ref<NSURL> url, Ref<NSDictionary> options)
    : _model(std::move(model)),
      _configurationName(std::move(configuration)),
      _url(std::move(url)),
      _options(std::move(options)) {
  for (const Ref<NSEntityDescription>& entity : _model->entityList()) {
    if (&entity->layout().root() == entity.get()) {
      _hierarchies.push_back(
          std::make_unique<impl::StoreHierarchy>(impl::StoreHierarchy{this, entity.get()}));
    }
  }
}

NSPersistentStore::~NSPersistentStore() = default;

const impl::StoreHierarchy* NSPersistentStore::hierarchyOf(
    const NSEntityDescription& entity) const noexcept {
  // By name, so that an identifier that came from another coordinator's model is understood.
  const Ref<NSString>& name = entity.layout().rootName();
  for (const auto& hierarchy : _hierarchies) {
    if (hierarchy->root->name() == name) return hierarchy.get();
  }
  return nullptr;
}

}  // namespace JNFoundation
