#include "JNFoundation/platform/store/impl/StoredRow.h"

#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/ObjectAccess.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::impl {

Value StoredRow::valueForKey(const Ref<NSString>& key) const {
  if (key) {
    const std::size_t index = _entity->layout().indexOf(*key);
    if (index != EntityLayout::none) return _values[index];
    if (key->utf8() == "objectID") {
      return ObjectAccess::makeID(
          Ref<NSEntityDescription>(const_cast<NSEntityDescription*>(_entity)), _primaryKey,
          &_store);
    }
    if (key->utf8() == "entity") {
      return Ref<NSEntityDescription>(const_cast<NSEntityDescription*>(_entity));
    }
  }
  raise(NSUndefinedKeyException,
        "[<NSManagedObject %p> valueForUndefinedKey:]: the entity %@ is not key value "
        "coding-compliant for the key \"%@\".",
        static_cast<const void*>(this), _entity->name(), Value(key));
}

Value* RowCollector::beginRow(const NSEntityDescription& entity, std::int64_t primaryKey,
                              std::uint32_t version) {
  auto values = ValueArray(entity.layout().count());
  Value* places = values.get();
  rows.emplace_back(makeObject<StoredRow>(_store, entity, primaryKey, version, std::move(values)));
  return places;
}

}  // namespace JNFoundation::impl
