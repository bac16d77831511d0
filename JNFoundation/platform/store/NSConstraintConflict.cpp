#include "JNFoundation/platform/store/NSConstraintConflict.h"

#include <JNFoundation/platform/store/impl/RecordValues.h>

namespace JNFoundation::inline v0_1 {

using impl::ObjectAccess;

constinit const Class NSConstraintConflict::classObject =
    Class::of<NSConstraintConflict>("NSConstraintConflict");

NSConstraintConflict::NSConstraintConflict(std::vector<std::size_t> properties, Value key,
                                           Ref<NSManagedObject> databaseObject,
                                           ValueArray databaseRecord, std::uint32_t databaseVersion,
                                           const std::vector<Ref<NSManagedObject>>& objects)
    : _properties(std::move(properties)),
      _key(std::move(key)),
      _databaseObject(std::move(databaseObject)),
      _databaseRecord(std::move(databaseRecord)),
      _databaseVersion(databaseVersion),
      _conflictingObjects(NSArray::arrayWithValues({objects.begin(), objects.end()})) {
  const impl::EntityLayout& layout = objects.front()->entity()->layout();
  const auto* values = as<NSArray>(_key);
  std::vector<Value> names;
  NSDictionary::Builder named(_properties.size());
  for (std::size_t i = 0; i < _properties.size(); ++i) {
    names.emplace_back(layout[_properties[i]].name);
    named.set(names.back(), values->objectAtIndex(i));
  }
  _constraint = NSArray::arrayWithValues(std::move(names));
  _constraintValues = named.finish();
  for (const Ref<NSManagedObject>& object : objects) {
    _held.push_back(impl::copyOfValues(ObjectAccess::values(*object), object->entity()->layout()));
  }
}

NSConstraintConflict::~NSConstraintConflict() = default;

Ref<NSDictionary> NSConstraintConflict::databaseSnapshot() const {
  if (!_databaseRecord) return nullptr;
  return impl::snapshotOfValues(_databaseRecord.get(), _databaseObject->entity()->layout());
}

Ref<NSArray> NSConstraintConflict::conflictingSnapshots() const {
  std::vector<Value> snapshots;
  snapshots.reserve(_held.size());
  for (std::size_t i = 0; i < _held.size(); ++i) {
    const Value object = _conflictingObjects->objectAtIndex(i);
    snapshots.emplace_back(
        impl::snapshotOfValues(_held[i].get(), as<NSManagedObject>(object)->entity()->layout()));
  }
  return NSArray::arrayWithValues(std::move(snapshots));
}

Ref<NSString> NSConstraintConflict::description() const {
  std::vector<Value> identifiers;
  for (const Value& object : *_conflictingObjects) {
    identifiers.emplace_back(as<NSManagedObject>(object)->objectID());
  }
  return NSString::stringWithFormat(
      "NSConstraintConflict (%p) for constraint %@: database: %@, conflictedObjects: %@",
      static_cast<const void*>(this), Value(_constraintValues),
      _databaseObject ? Value(_databaseObject->objectID()) : Value("nil"),
      Value(NSArray::arrayWithValues(std::move(identifiers))));
}

}  // namespace JNFoundation
