#include "JNFoundation/platform/store/impl/ParentSave.h"

#include <JNFoundation/platform/store/impl/ContextEvents.h>
#include <JNFoundation/platform/store/impl/Relations.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/store/impl/TransformedValue.h>

namespace JNFoundation::inline v0_1::impl {

/// Requires: the values of an inserted or updated object have their data where they are
/// transformed.
ParentSave::Change ParentSave::noted(NSManagedObject& object) {
  const EntityLayout& layout = object.entity()->layout();
  Change change{ObjectAccess::key(object), object.entity().get(), {}, {}, {}, nullptr};
  if (object.isDeleted()) return change;
  const Value* values = ObjectAccess::values(object).get();
  const Value* committed = ObjectAccess::committed(object).get();
  for (std::size_t i = 0; i < layout.count(); ++i) {
    const EntityLayout::Slot& slot = layout[i];
    if (slot.isToMany()) {
      const RelatedObjects* related = Relations::known(object, i);
      if (!related || !related->hasChanges()) continue;
      Members& members = change.members.emplace_back(
          Members{i, listOf(related->added()), listOf(related->removed()), nullptr});
      if (const Ref<NSOrderedSet> order = related->newOrder()) {
        members.order = NSOrderedSet::orderedSetWithOrderedSet(order);
      }
      continue;
    }
    const bool isChanged =
        object.isInserted() || !committed || !storesAlike(values[i], committed[i], slot.type);
    if (!isChanged) continue;
    if (slot.relationship) {
      change.destinations.emplace_back(i, values[i]);
    } else {
      change.attributes.emplace_back(
          i, slot.isTransformed() ? storedFormOfPlace(values[i]) : values[i]);
    }
  }
  return change;
}

ParentSave::ParentSave(NSManagedObjectContext& child, const ContextChanges& changes)
    : _parent(*child.parentContext()) {
  const auto note = [](const ChangeList& list, std::vector<Change>& noted) {
    noted.reserve(list.count());
    list.forEach([&](NSManagedObject& object) { noted.push_back(ParentSave::noted(object)); });
  };
  note(changes.inserted, _inserted);
  note(changes.updated, _updated);
  note(changes.deleted, _deleted);
}

bool ParentSave::run(Ref<NSError>* error) {
  bool isDone = false;
  _parent.performBlockAndWait([&] {
    isDone = apply(error);
    // The parent's objects stay in its queue.
    for (auto* list : {&_inserted, &_updated, &_deleted}) {
      for (Change& change : *list) change.object = nullptr;
    }
  });
  return isDone;
}

// ---- In the parent ------------------------------------------------------------------------------

bool ParentSave::apply(Ref<NSError>* error) {
  for (Change& change : _updated) {
    change.object = _parent.objectForKey(change.key, *change.entity);
    const bool isThere =
        change.object && !change.object->isDeleted() && ObjectAccess::canFire(*change.object);
    if (isThere) continue;
    return fail(error,
                cocoaError(NSManagedObjectMergeError,
                           NSString::stringWithFormat(
                               "Could not merge changes: the parent context does not have an "
                               "object of entity '%@' any more that was changed here.",
                               change.entity->name())));
  }
  for (Change& change : _inserted) insert(change);
  for (const Change& change : _updated) write(change);
  for (const auto* list : {&_inserted, &_updated}) {
    for (const Change& change : *list) relate(change);
  }
  for (const Change& change : _deleted) {
    const Ref<NSManagedObject> object = _parent.objectForKey(change.key, *change.entity);
    if (object && !object->isDeleted()) _parent.deleteObject(object);
  }
  _parent.processPendingChanges();
  return true;
}

void ParentSave::insert(Change& change) {
  change.object = ObjectAccess::make(*change.entity);
  NSManagedObject& object = *change.object;
  ObjectAccess::values(object) = ValueArray(change.entity->layout().count());
  ObjectAccess::setKey(object, change.key);
  ObjectAccess::registry(object) = _parent._registry;
  ObjectAccess::flags(object) = ObjectAccess::inserted | ObjectAccess::hasValues;
  for (const auto& [number, value] : change.attributes) {
    ObjectAccess::values(object)[number] = value;
  }
  _parent._registry->add(change.key, object);
  _parent._changes->inserted.add(object);
  _parent._events->noteInserted(object);
  ++_parent._registry->edits;
  _parent.noteChange();
}

void ParentSave::write(const Change& change) {
  NSManagedObject& object = *change.object;
  if (object.isFault()) ObjectAccess::fire(object);
  ObjectAccess::willRelate(object);
  for (const auto& [number, value] : change.attributes) {
    ObjectAccess::values(object)[number] = value;
  }
}

/// Returns: null for an object that the parent does not have.
Ref<NSManagedObject> ParentSave::objectOf(const Value& identifier) {
  const auto& objectID = *as<NSManagedObjectID>(identifier);
  Ref<NSPersistentStore> store;
  const ObjectKey key =
      ObjectAccess::keyOf(objectID, _parent.persistentStoreCoordinator().get(), store);
  if (!objectID.isTemporaryID() && !key.hierarchy) return nullptr;
  Ref<NSManagedObject> object = _parent.objectForKey(key, *objectID.entity());
  return object && ObjectAccess::canFire(*object) ? object : nullptr;
}

void ParentSave::relate(const Change& change) {
  for (const auto& [number, destination] : change.destinations) {
    const Ref<NSManagedObject> other = destination.isNull() ? nullptr : objectOf(destination);
    if (destination.isNull() || other) Relations::setValue(*change.object, number, Value(other));
  }
  for (const Members& members : change.members) relateMany(change, members);
}

void ParentSave::relateMany(const Change& change, const Members& members) {
  NSManagedObject& object = *change.object;
  const NSRelationshipDescription& relationship =
      *change.entity->layout()[members.number].relationship;
  const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
  // What the members themselves say is done with them.
  if (!inverse || inverse->isToMany()) {
    for (const Value& identifier : members.removed) {
      if (const Ref<NSManagedObject> member = objectOf(identifier)) {
        Relations::remove(object, members.number, Value(member));
      }
    }
    for (const Value& identifier : members.added) {
      if (const Ref<NSManagedObject> member = objectOf(identifier)) {
        Relations::add(object, members.number, Value(member));
      }
    }
  }
  if (!members.order) return;
  // Those that only the parent has stand at the end.
  const std::vector<Ref<NSManagedObject>> current = Relations::destinations(object, members.number);
  const Ref<NSMutableOrderedSet> present = NSMutableOrderedSet::orderedSet();
  for (const Ref<NSManagedObject>& member : current) present->addObject(Value(member));
  const Ref<NSMutableOrderedSet> ordered = NSMutableOrderedSet::orderedSet();
  for (const Value& identifier : members.order) {
    const Ref<NSManagedObject> member = objectOf(identifier);
    if (member && present->containsObject(Value(member))) ordered->addObject(Value(member));
  }
  ordered->unionOrderedSet(present);
  Relations::setValue(object, members.number, Value(ordered));
}

}  // namespace JNFoundation::impl
