#include "JNFoundation/platform/store/impl/ObjectReceiver.h"

#include <algorithm>

#include <JNFoundation/platform/store/impl/UnreadPlace.h>

namespace JNFoundation::inline v0_1::impl {

Value* ObjectReceiver::placesToRefresh(NSManagedObject& object, std::uint32_t version) {
  constexpr std::uint32_t changed =
      ObjectAccess::inserted | ObjectAccess::updated | ObjectAccess::deleted;
  if ((ObjectAccess::flags(object) & changed) != 0) return nullptr;
  ValueArray& values = ObjectAccess::values(object);
  if (ObjectAccess::version(object) == version) {
    // Who belongs to it may have changed all the same.
    for (const std::size_t number : _entity->layout().toManys()) {
      if (!_entity->layout()[number].relationship->isTransient()) values[number] = nullptr;
    }
    return nullptr;
  }
  values = ValueArray(_count);
  ObjectAccess::version(object) = version;
  // It is looked at anew, which is when its class hears of it.
  ObjectAccess::flags(object) |= ObjectAccess::hasValues | ObjectAccess::fault;
  _refreshed.emplace_back(&object);
  return values.get();
}

Value* ObjectReceiver::placesOfPart(NSManagedObject& object) {
  if ((ObjectAccess::flags(object) & ObjectAccess::hasValues) != 0) return nullptr;
  ObjectAccess::values(object) = ValueArray(_count);
  ObjectAccess::flags(object) &= ~ObjectAccess::partial;
  _part = &object;
  return ObjectAccess::values(object).get();
}

void ObjectReceiver::markUnread() {
  const EntityLayout& layout = _part->entity()->layout();
  ValueArray& values = ObjectAccess::values(*_part);
  for (std::size_t i = 0; i < layout.count(); ++i) {
    const bool isRead =
        std::any_of(_reading.properties.begin(), _reading.properties.end(),
                    [&](const Ref<NSString>& name) { return name->hasContentOf(*layout[i].name); });
    // Nothing is known of those to many.
    if (!isRead && !layout[i].isToMany()) values[i] = unreadPlace();
  }
  ObjectAccess::flags(*_part) |= ObjectAccess::partial;
  _part = nullptr;
}

}  // namespace JNFoundation::impl
