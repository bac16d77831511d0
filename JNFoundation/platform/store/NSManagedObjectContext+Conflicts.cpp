#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSMergePolicy.h>
#include <JNFoundation/platform/store/impl/ContextChanges.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

using impl::ObjectAccess;

void NSManagedObjectContext::setMergePolicy(const Ref<NSMergePolicy>& policy) {
  _mergePolicy = policy ? policy : NSMergePolicy::errorMergePolicy();
}

void NSManagedObjectContext::detectConflictsForObject(const Ref<NSManagedObject>& object) {
  if (!object) return;
  if (ObjectAccess::registry(*object) != _registry) {
    raise(NSInvalidArgumentException, "An object of another context cannot be watched here: %@",
          Value(object->objectID()));
  }
  // The version that the context has read has to be known.
  if (object->isInserted() || object->isDeleted()) return;
  if ((ObjectAccess::flags(*object) & ObjectAccess::hasValues) == 0) ObjectAccess::fire(*object);
  _changes->watched.push_back(object);
}

}  // namespace JNFoundation
