#include "JNFoundation/platform/store/NSPersistentStoreRequest.h"

namespace JNFoundation::inline v0_1 {

constinit const Class NSPersistentStoreRequest::classObject =
    Class::of<NSPersistentStoreRequest>("NSPersistentStoreRequest");

NSPersistentStoreRequest::NSPersistentStoreRequest() = default;
NSPersistentStoreRequest::~NSPersistentStoreRequest() = default;

void NSPersistentStoreRequest::setAffectedStores(const Ref<NSArray>& stores) {
  _affectedStores = stores ? NSArray::arrayWithArray(stores) : nullptr;
}

}  // namespace JNFoundation
