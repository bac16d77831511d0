#include "JNFoundation/platform/store/impl/ContextMerge.h"

#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/ContextChanges.h>
#include <JNFoundation/platform/store/impl/ContextEvents.h>
#include <JNFoundation/platform/store/impl/Relations.h>

namespace JNFoundation::inline v0_1::impl {

// ---- One object ---------------------------------------------------------------------------------

void ContextMerge::makeFault(NSManagedObject& object) noexcept {
  ObjectAccess::values(object).reset();
  ObjectAccess::committed(object).reset();
  std::uint32_t& flags = ObjectAccess::flags(object);
  flags = (flags & ObjectAccess::anyEvent) | ObjectAccess::fault;
}

bool ContextMerge::refresh(NSManagedObject& object, bool mergesChanges) {
  std::vector<Rival> rivals;
  if (!refresh(object, mergesChanges, rivals)) return false;
  separate(rivals);
  return true;
}

/// Where both sides have changed a destination, the one from here stays: the other one's way back
/// must not lead here. To be done when that one has been refreshed itself.
void ContextMerge::separate(const std::vector<Rival>& rivals) {
  for (const Rival& rival : rivals) {
    Relations::separate(*rival.object, rival.number, rival.destination);
  }
}

bool ContextMerge::refresh(NSManagedObject& object, bool mergesChanges,
                           std::vector<Rival>& rivals) {
  if (object.isInserted()) return true;
  if (object.isDeleted() || (object.isUpdated() && mergesChanges)) {
    if (!rebase(object, mergesChanges, rivals)) return false;
    // Whom others have related to it meanwhile is met by its rules as well.
    if (object.isDeleted()) ObjectAccess::repeatDeleteRules(object);
  } else {
    if (object.isUpdated()) _context._changes->updated.remove(object);
    makeFault(object);
  }
  _context._events->noteRefreshed(object);
  _context.noteChange();
  return true;
}

/// Puts what the record holds now under what was changed here.
bool ContextMerge::rebase(NSManagedObject& object, bool keepsChanges, std::vector<Rival>& rivals) {
  ValueArray row;
  std::uint32_t version = 0;
  if (!_context.readRecord(object, row, version, nullptr)) return false;
  const EntityLayout& layout = object.entity()->layout();
  ValueArray& values = ObjectAccess::values(object);
  ValueArray& committed = ObjectAccess::committed(object);
  ObjectAccess::version(object) = version;
  ++_context._registry->rereads;
  // The rules of a deleted object are to meet everyone who is related to it now.
  const bool keepsMembers = keepsChanges && !object.isDeleted();
  for (std::size_t i = 0; i < layout.count(); ++i) {
    const EntityLayout::Slot& slot = layout[i];
    if (slot.isToMany()) {
      if (keepsMembers) {
        row[i] = values[i];
      } else {
        values[i] = nullptr;
      }
      continue;
    }
    const Value& before = committed ? committed[i] : values[i];
    const bool isChanged = keepsChanges && !storesAlike(values[i], before, slot.type);
    if (!isChanged && slot.stored) {
      values[i] = row[i];
    } else if (slot.relationship && !row[i].isNull() && row[i] != before && row[i] != values[i]) {
      rivals.push_back({Ref<NSManagedObject>(&object), i, row[i]});
    }
  }
  const bool hadChanges = static_cast<bool>(committed);
  if (hadChanges) committed = std::move(row);
  if (keepsMembers) {
    for (const std::size_t number : layout.toManys()) rebaseMembers(object, number);
  }
  return true;
}

void ContextMerge::rebaseMembers(NSManagedObject& object, std::size_t number) {
  RelatedObjects* related = Relations::known(object, number);
  if (!related || !related->isLoaded()) return;
  std::vector<Ref<NSManagedObject>> members;
  Relations::readMembers(object, number, members);
  std::vector<Value> identifiers;
  identifiers.reserve(members.size());
  for (const Ref<NSManagedObject>& member : members) identifiers.emplace_back(member->objectID());
  related->rebase(std::move(identifiers));
}

/// An object whose record somebody else has deleted.
void ContextMerge::forget(NSManagedObject& object) {
  ContextChanges& changes = *_context._changes;
  if (object.isInserted()) {
    changes.inserted.remove(object);
  } else if (object.isDeleted()) {
    changes.deleted.remove(object);
  } else if (object.isUpdated()) {
    changes.updated.remove(object);
  }
  _context._events->noteDeleted(object);
  ObjectAccess::detach(object);
}

/// Those that lead to records which are gone, be it by changes made here, be it that whoever
/// deleted the records did not know of them. Those that have led there before they were changed
/// would do so again if the changes were dropped.
void ContextMerge::letGoOf(const std::vector<Ref<NSManagedObjectID>>& deleted,
                           std::vector<Rival>& rivals) {
  if (deleted.empty()) return;
  const Ref<NSSet> gone = NSSet::setWithValues({deleted.begin(), deleted.end()});
  for (const Ref<NSManagedObject>& object : _context._registry->all()) {
    if (!Relations::leadsOrLedToAny(*object, *gone)) continue;
    refresh(*object, true, rivals);
    if (object->hasChanges()) Relations::dropDestinations(*object, *gone);
  }
}

// ---- A save -------------------------------------------------------------------------------------

void ContextMerge::merge(const SavedIdentifiers& saved) {
  const ObjectRegistry& registry = *_context._registry;
  const auto keyOf = [&](const Ref<NSManagedObjectID>& identifier) {
    Ref<NSPersistentStore> store;
    return ObjectAccess::keyOf(*identifier, _context.persistentStoreCoordinator().get(), store);
  };
  const auto forEach = [&](const std::vector<Ref<NSManagedObjectID>>& identifiers,
                           auto&& function) {
    for (const Ref<NSManagedObjectID>& identifier : identifiers) {
      if (const ObjectKey key = keyOf(identifier); key.hierarchy) function(key, identifier);
    }
  };
  std::vector<Ref<NSManagedObject>> refreshed;
  std::vector<Rival> rivals;
  forEach(saved.updated, [&](const ObjectKey&, const Ref<NSManagedObjectID>& identifier) {
    // One that nobody has here may still matter to those who list objects.
    Ref<NSManagedObject> object = _context.objectWithID(identifier);
    if (object->isInserted()) return;
    // One with changes whose record is gone meanwhile stays as it is; its save will say so.
    refresh(*object, true, rivals);
    refreshed.push_back(std::move(object));
  });
  forEach(saved.inserted, [&](const ObjectKey&, const Ref<NSManagedObjectID>& identifier) {
    const Ref<NSManagedObject> object = _context.objectWithID(identifier);
    if (object->isInserted() || object->isDeleted()) return;
    // A child may have read it before it was saved, and it may have changed until then.
    if (_context._parent && (ObjectAccess::flags(*object) & ObjectAccess::hasValues) != 0) {
      refresh(*object, true, rivals);
      return;
    }
    _context._events->noteInserted(*object);
    _context.noteChange();
  });
  forEach(saved.deleted, [&](const ObjectKey& key, const Ref<NSManagedObjectID>&) {
    if (const Ref<NSManagedObject> object = registry.find(key)) forget(*object);
  });
  letGoOf(saved.deleted, rivals);
  separate(rivals);
  _context.noteChange();
  _context.processPendingChanges();
}

void ContextMerge::mergeLater(NSManagedObjectContext& context, const SavedIdentifiers& saved) {
  context._queue->async([weak = Weak<NSManagedObjectContext>(&context), saved] {
    if (const Ref<NSManagedObjectContext> alive = weak.load()) ContextMerge(*alive).merge(saved);
  });
}

// ---- Permanent identifiers ----------------------------------------------------------------------

void ContextMerge::adoptPermanentIDsLater(NSManagedObjectContext& context,
                                          const PermanentIDs& permanentIDs) {
  context._queue->async([weak = Weak<NSManagedObjectContext>(&context), permanentIDs] {
    if (const Ref<NSManagedObjectContext> alive = weak.load()) {
      ContextMerge(*alive).adoptPermanentIDs(permanentIDs);
    }
  });
}

void ContextMerge::adoptPermanentIDs(const PermanentIDs& permanentIDs) {
  ObjectRegistry& registry = *_context._registry;
  const std::vector<Ref<NSManagedObject>> objects = registry.all();
  for (const Ref<NSManagedObject>& object : objects) {
    const ObjectKey key = ObjectAccess::key(*object);
    if (key.hierarchy) continue;
    const auto permanent = permanentIDs.find(key.number);
    if (permanent == permanentIDs.end()) continue;
    Ref<NSPersistentStore> store;
    const ObjectKey fresh =
        ObjectAccess::keyOf(*permanent->second, _context.persistentStoreCoordinator().get(), store);
    if (!fresh.hierarchy) continue;
    registry.rekey(key, fresh, *object);
    ObjectAccess::setKey(*object, fresh);
    ObjectAccess::setID(*object, permanent->second);
  }
  // Those that are not here now may be asked for by their former identifier all the same.
  for (const auto& [number, identifier] : permanentIDs) {
    Ref<NSPersistentStore> store;
    const ObjectKey fresh =
        ObjectAccess::keyOf(*identifier, _context.persistentStoreCoordinator().get(), store);
    if (fresh.hierarchy) registry.noteFormerKey(number, fresh);
  }
  for (const Ref<NSManagedObject>& object : objects) Relations::rename(*object, permanentIDs);
  _context._family->tellPermanentIDs(permanentIDs);
}

}  // namespace JNFoundation::impl
