#include "JNFoundation/platform/store/NSMergeConflict.h"

#include <JNFoundation/platform/store/impl/RecordValues.h>

namespace JNFoundation::inline v0_1 {

using impl::ObjectAccess;

constinit const Class NSMergeConflict::classObject = Class::of<NSMergeConflict>("NSMergeConflict");

NSMergeConflict::NSMergeConflict(Ref<NSManagedObject> object, ValueArray record,
                                 std::uint32_t newVersion)
    : _object(std::move(object)),
      _base(impl::copyOfValues(ObjectAccess::committed(*_object) ? ObjectAccess::committed(*_object)
                                                                 : ObjectAccess::values(*_object),
                               _object->entity()->layout())),
      _record(std::move(record)),
      _oldVersion(ObjectAccess::version(*_object)),
      _newVersion(newVersion) {}

NSMergeConflict::~NSMergeConflict() = default;

Ref<NSDictionary> NSMergeConflict::objectSnapshot() const {
  return impl::snapshotOfValues(_base.get(), _object->entity()->layout());
}

Ref<NSDictionary> NSMergeConflict::persistedSnapshot() const {
  if (!_record) return nullptr;
  return impl::snapshotOfValues(_record.get(), _object->entity()->layout());
}

Ref<NSString> NSMergeConflict::description() const {
  const Ref<NSString> beginning = NSString::stringWithFormat(
      "NSMergeConflict (%p) for %s (%p) with objectID '%@' with oldVersion = %u and newVersion = ",
      static_cast<const void*>(this), _object->class_().name(),
      static_cast<const void*>(_object.get()), Value(_object->objectID()),
      static_cast<unsigned>(_oldVersion));
  if (!_record) {
    return NSString::stringWithFormat("%@<deleted> and old object snapshot = %@", beginning,
                                      Value(objectSnapshot()));
  }
  return NSString::stringWithFormat("%@%u and old object snapshot = %@ and new cached row = %@",
                                    beginning, static_cast<unsigned>(_newVersion),
                                    Value(objectSnapshot()), Value(persistedSnapshot()));
}

}  // namespace JNFoundation
