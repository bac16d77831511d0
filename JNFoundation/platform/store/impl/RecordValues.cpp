#include "JNFoundation/platform/store/impl/RecordValues.h"

#include <JNFoundation/platform/store/impl/TransformedValue.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation::inline v0_1::impl {

ValueArray copyOfValues(const ValueArray& values, const EntityLayout& layout) {
  ValueArray copy(layout.count());
  for (std::size_t i = 0; values && i < layout.count(); ++i) copy[i] = values[i];
  return copy;
}

bool hasStoredChanges(NSManagedObject& object) {
  const EntityLayout& layout = object.entity()->layout();
  const Value* values = ObjectAccess::values(object).get();
  const Value* committed = ObjectAccess::committed(object).get();
  for (std::size_t i = 0; committed && i < layout.count(); ++i) {
    if (layout[i].stored && !storesAlike(values[i], committed[i], layout[i].type)) return true;
  }
  return false;
}

Ref<NSDictionary> snapshotOfValues(const Value* values, const EntityLayout& layout) {
  NSDictionary::Builder snapshot(layout.count());
  for (std::size_t i = 0; i < layout.count(); ++i) {
    const EntityLayout::Slot& slot = layout[i];
    if (!slot.stored || slot.isToMany()) continue;
    Value value = slot.isTransformed() ? valueOfPlace(values[i], slot.attribute) : values[i];
    if (value.isNull()) value = NSNull::null();
    snapshot.set(slot.name, std::move(value));
  }
  return snapshot.finish();
}

Value uniqueKeyOf(const Value* values, std::span<const std::size_t> properties,
                  const EntityLayout& layout) {
  std::vector<Value> key;
  key.reserve(properties.size());
  for (const std::size_t property : properties) {
    Value value = canonicalValue(values[property], layout[property].type);
    if (value.isNull()) return nullptr;
    key.push_back(std::move(value));
  }
  return NSArray::arrayWithValues(std::move(key));
}

}  // namespace JNFoundation::impl
