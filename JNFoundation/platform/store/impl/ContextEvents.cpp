#include "JNFoundation/platform/store/impl/ContextEvents.h"

#include <algorithm>

#include <JNFoundation/platform/store/impl/ObjectAccess.h>

namespace JNFoundation::inline v0_1::impl {

void ContextEvents::note(NSManagedObject& object, std::uint32_t flag) {
  std::uint32_t& flags = ObjectAccess::flags(object);
  if ((flags & ObjectAccess::anyEvent) == 0) _objects.emplace_back(&object);
  flags |= flag;
}

void ContextEvents::noteInserted(NSManagedObject& object) {
  std::uint32_t& flags = ObjectAccess::flags(object);
  if ((flags & ObjectAccess::eventDeleted) != 0) {
    // Nobody was told that it had gone.
    flags &= ~ObjectAccess::eventDeleted;
    note(object, ObjectAccess::eventUpdated);
  } else {
    note(object, ObjectAccess::eventInserted);
  }
}

void ContextEvents::noteUpdated(NSManagedObject& object) {
  note(object, ObjectAccess::eventUpdated);
}

void ContextEvents::noteDeleted(NSManagedObject& object) {
  std::uint32_t& flags = ObjectAccess::flags(object);
  if ((flags & ObjectAccess::eventInserted) != 0) {
    // Nobody was told that it had come.
    flags &= ~ObjectAccess::anyEvent;
    flags |= ObjectAccess::eventCancelled;
  } else {
    note(object, ObjectAccess::eventDeleted);
  }
}

void ContextEvents::noteRefreshed(NSManagedObject& object) {
  note(object, ObjectAccess::eventRefreshed);
}

void ContextEvents::adopt(NSManagedObject& object) noexcept {
  std::uint32_t& flags = ObjectAccess::flags(object);
  if ((flags & ObjectAccess::anyEvent) == 0) return;
  const bool isOurs =
      std::find(_objects.begin(), _objects.end(), Ref<NSManagedObject>(&object)) != _objects.end();
  if (!isOurs) flags &= ~ObjectAccess::anyEvent;
}

void ContextEvents::noteInvalidatedAll() noexcept {
  for (const Ref<NSManagedObject>& object : _objects) {
    ObjectAccess::flags(*object) &= ~ObjectAccess::anyEvent;
  }
  _objects.clear();
  _invalidatedAll = true;
}

ContextEvent ContextEvents::take(const ObjectRegistry& registry) {
  ContextEvent event;
  event.invalidatedAll = std::exchange(_invalidatedAll, false);
  _tellsAgain = false;
  std::vector<Ref<NSManagedObject>> objects = std::exchange(_objects, {});
  for (Ref<NSManagedObject>& object : objects) {
    std::uint32_t& flags = ObjectAccess::flags(*object);
    const ObjectRegistry* place = ObjectAccess::registry(*object).get();
    if (place && place != &registry) {
      // It has gone to another context, which notes what it does there.
      event.deleted.push_back(std::move(object));
      continue;
    }
    const std::uint32_t noted = flags & ObjectAccess::anyEvent;
    flags &= ~ObjectAccess::anyEvent;
    if ((noted & ObjectAccess::eventDeleted) != 0) {
      event.deleted.push_back(std::move(object));
    } else if ((noted & ObjectAccess::eventInserted) != 0) {
      event.inserted.push_back(std::move(object));
    } else if ((noted & ObjectAccess::eventUpdated) != 0) {
      event.updated.push_back(std::move(object));
    } else if ((noted & ObjectAccess::eventRefreshed) != 0) {
      event.refreshed.push_back(std::move(object));
    }
  }
  return event;
}

void ContextEvents::removeObserver(ContextObserver& observer) noexcept {
  const auto found = std::find(_observers.begin(), _observers.end(), &observer);
  if (found == _observers.end()) return;
  if (_walks > 0) {
    *found = nullptr;
  } else {
    _observers.erase(found);
  }
}

}  // namespace JNFoundation::impl
