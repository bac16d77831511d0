#include "JNFoundation/platform/store/impl/ConflictResolution.h"

#include <algorithm>

#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/ContextChanges.h>
#include <JNFoundation/platform/store/impl/ContextEvents.h>
#include <JNFoundation/platform/store/impl/Relations.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/store/impl/TransformedValue.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

bool keepsOurs(NSMergePolicyType type) {
  return type == NSMergeByPropertyObjectTrumpMergePolicyType || type == NSOverwriteMergePolicyType;
}

bool isWithin(const NSManagedObject& object, const NSManagedObjectContext& context) {
  return object.managedObjectContext().get() == &context;
}

void fireFault(NSManagedObject& object) {
  if ((ObjectAccess::flags(object) & ObjectAccess::fault) != 0) ObjectAccess::fire(object);
}

bool leadsTo(const Value& place, const Value& identifier) {
  return place.isNull() ? identifier.isNull() : place == identifier;
}

/// Whether a relationship to one object is led back from by one to one.
bool isMutual(const EntityLayout::Slot& slot) {
  const Ref<NSRelationshipDescription> inverse = slot.relationship->inverseRelationship();
  return inverse && !inverse->isToMany();
}

/// What the object's changes are based on is this record from now on.
void rebase(NSManagedObject& object, const Value* record, std::uint32_t version) {
  fireFault(object);
  ObjectAccess::willRelate(object);
  const EntityLayout& layout = object.entity()->layout();
  const ValueArray& base = ObjectAccess::committed(object);
  for (std::size_t i = 0; i < layout.count(); ++i) {
    if (layout[i].stored) base[i] = record[i];
  }
  ObjectAccess::version(object) = version;
  ++ObjectAccess::registry(object)->rereads;
}

}  // namespace

// ---- Conflicts ----------------------------------------------------------------------------------

Ref<NSMergeConflict> ConflictResolution::versionConflict(NSManagedObject& object,
                                                         RecordReceiver record, bool isWatched) {
  auto conflict = makeObject<NSMergeConflict>(Ref<NSManagedObject>(&object),
                                              std::move(record.values), record.version);
  conflict->_isWatched = isWatched;
  return conflict;
}

Ref<NSConstraintConflict> ConflictResolution::constraintConflict(
    std::vector<std::size_t> properties, const Value& key,
    const Ref<NSManagedObject>& databaseObject, RecordReceiver record, const Objects& objects) {
  return makeObject<NSConstraintConflict>(std::move(properties), key, databaseObject,
                                          std::move(record.values), record.version, objects);
}

Ref<NSError> ConflictResolution::errorOfVersions(const Ref<NSArray>& conflicts) {
  std::vector<Value> objects;
  for (const Value& value : *conflicts) {
    objects.emplace_back(as<NSMergeConflict>(value)->sourceObject());
  }
  return cocoaError(NSManagedObjectMergeError, "Could not merge changes.",
                    {{NSAffectedObjectsErrorKey, NSArray::arrayWithValues(std::move(objects))},
                     {NSPersistentStoreSaveConflictsErrorKey, Value(conflicts)}});
}

Ref<NSError> ConflictResolution::errorOfConstraints(const Ref<NSArray>& conflicts) {
  std::vector<Value> objects;
  for (const Value& value : *conflicts) {
    const auto& conflict = *as<NSConstraintConflict>(value);
    bool isFree = !conflict.databaseObject();
    for (const Value& object : *conflict.conflictingObjects()) {
      // Without a record in the way, the first one could be saved.
      if (!std::exchange(isFree, false) &&
          std::find(objects.begin(), objects.end(), object) == objects.end()) {
        objects.push_back(object);
      }
    }
  }
  return cocoaError(NSManagedObjectConstraintMergeError,
                    "A value that must be unique is there already.",
                    {{NSAffectedObjectsErrorKey, NSArray::arrayWithValues(std::move(objects))},
                     {NSPersistentStoreSaveConflictsErrorKey, Value(conflicts)}});
}

// ---- Versions -----------------------------------------------------------------------------------

/// One object and what comes of each of its properties, decided before anything is changed, since
/// a relationship that one object gets may be taken from another.
struct ConflictResolution::Merge {
  Ref<NSManagedObject> object;
  const Value* record;
  std::uint32_t version;
  ValueArray result;
  /// What prevails over what it is changed to on the way.
  std::vector<bool> wins;
  bool dropsChanges;
  bool hadChanges;
};

bool ConflictResolution::isOpen(const NSMergeConflict& conflict) {
  const NSManagedObject& object = *conflict._object;
  if (conflict._outcome != Outcome::Open || !object.managedObjectContext()) return false;
  if (!object.hasChanges() && !conflict._isWatched) return false;
  const bool isCurrent =
      conflict._record &&
      ObjectAccess::version(const_cast<NSManagedObject&>(object)) == conflict._newVersion;
  return !isCurrent;
}

void ConflictResolution::resolveVersions(NSMergePolicyType type, const Versions& conflicts) {
  for (const Ref<NSMergeConflict>& conflict : conflicts) {
    const Ref<NSManagedObjectContext> context = conflict->_object->managedObjectContext();
    if (context) return ConflictResolution(*context).resolve(type, conflicts);
  }
}

std::vector<ConflictResolution::Outcome> ConflictResolution::settle(const Versions& conflicts) {
  resolveVersions(NSOverwriteMergePolicyType, conflicts);
  std::vector<Outcome> outcomes;
  for (const Ref<NSMergeConflict>& conflict : conflicts) {
    if (conflict->_outcome == Outcome::Open) conflict->_outcome = Outcome::Settled;
    outcomes.push_back(conflict->_outcome);
  }
  return outcomes;
}

void ConflictResolution::resolve(NSMergePolicyType type, const Versions& conflicts) {
  std::vector<Merge> merges;
  Versions gone, deleted;
  for (const Ref<NSMergeConflict>& conflict : conflicts) {
    if (!isOpen(*conflict) || !isWithin(*conflict->_object, _context)) continue;
    conflict->_outcome = Outcome::Settled;
    const bool isDeleted = conflict->_object->isDeleted();
    if (isDeleted && !conflict->_record) {
      conflict->_outcome = Outcome::Gone;
    } else if (isDeleted) {
      deleted.push_back(conflict);
    } else if (!conflict->_record) {
      gone.push_back(conflict);
    } else {
      merges.push_back(
          decide(type, conflict->_object, conflict->_record.get(), conflict->_newVersion));
    }
  }
  if (!keepsOurs(type)) {
    for (const Ref<NSMergeConflict>& conflict : deleted) takeBackDeletion(*conflict);
    for (const Ref<NSMergeConflict>& conflict : gone) forgetObject(conflict->_object);
  }
  apply(merges);
  if (keepsOurs(type)) {
    for (const Ref<NSMergeConflict>& conflict : gone) {
      conflict->_outcome = Outcome::WriteAnew;
      fireFault(*conflict->_object);
      ObjectAccess::willRelate(*conflict->_object);
    }
    for (const Ref<NSMergeConflict>& conflict : gone) prepareWritingAnew(*conflict->_object);
    for (const Ref<NSMergeConflict>& conflict : deleted) {
      renewDeletion(*conflict->_object, conflict.get());
    }
  }
  finish();
}

ConflictResolution::Merge ConflictResolution::decide(NSMergePolicyType type,
                                                     const Ref<NSManagedObject>& object,
                                                     const Value* record, std::uint32_t version) {
  const EntityLayout& layout = object->entity()->layout();
  const ValueArray& ours = ObjectAccess::values(*object);
  const ValueArray& committed = ObjectAccess::committed(*object);
  const ValueArray& base = committed ? committed : ours;
  Merge merge{object,
              record,
              version,
              ValueArray(layout.count()),
              std::vector<bool>(layout.count()),
              type == NSRollbackMergePolicyType,
              object->hasChanges()};
  for (std::size_t i = 0; i < layout.count(); ++i) {
    if (!layout[i].stored) continue;
    const bool changedHere = !storesAlike(base[i], ours[i], layout[i].type);
    const bool changedThere = !storesAlike(base[i], record[i], layout[i].type);
    bool takesOurs = false;
    switch (type) {
      case NSMergeByPropertyStoreTrumpMergePolicyType:
        takesOurs = changedHere && !changedThere;
        break;
      case NSMergeByPropertyObjectTrumpMergePolicyType:
        takesOurs = changedHere;
        break;
      case NSOverwriteMergePolicyType:
        takesOurs = true;
        break;
      default:
        break;
    }
    merge.result[i] = takesOurs ? ours[i] : record[i];
    merge.wins[i] = keepsOurs(type) ? changedHere : changedThere;
  }
  return merge;
}

void ConflictResolution::apply(std::vector<Merge>& merges) {
  for (const Merge& merge : merges) {
    rebase(*merge.object, merge.record, merge.version);
    const EntityLayout& layout = merge.object->entity()->layout();
    for (std::size_t i = 0; i < layout.count(); ++i) {
      if (layout[i].stored && layout[i].attribute) {
        ObjectAccess::values(*merge.object)[i] = merge.result[i];
      }
    }
  }
  // What gives way may be taken from others, and so goes first.
  for (const bool winners : {false, true}) {
    for (const Merge& merge : merges) mergeRelationships(merge, winners);
  }
  for (const Merge& merge : merges) {
    if (merge.dropsChanges) dropOtherChanges(*merge.object);
    if (merge.dropsChanges || !merge.hadChanges) _reverted.push_back(merge.object);
  }
}

void ConflictResolution::mergeRelationships(const Merge& merge, bool winners) {
  NSManagedObject& object = *merge.object;
  const EntityLayout& layout = object.entity()->layout();
  for (const std::size_t number : layout.toOnes()) {
    if (!layout[number].stored || merge.wins[number] != winners) continue;
    const Value& theirs = merge.record[number];
    const Ref<NSManagedObject> other =
        theirs.isNull()
            ? nullptr
            : _context.objectWithID(Ref<NSManagedObjectID>(as<NSManagedObjectID>(theirs)));
    const bool isLeft = other && !leadsTo(merge.result[number], theirs) && isMutual(layout[number]);
    // The store has the other one lead here, and it is to do so no more.
    if (isLeft && !other->hasChanges()) refresh(other);
    lead(object, number, merge.result[number]);
    if (isLeft && ObjectAccess::canFire(*other)) {
      Relations::letGoOf(object, number, *other);
    } else if (other && leadsTo(ObjectAccess::values(object)[number], theirs)) {
      Relations::noteStoredMember(object, number, *other);
    }
  }
}

/// Has a relationship to one object lead there, or to nothing where the object is gone.
void ConflictResolution::lead(NSManagedObject& object, std::size_t number,
                              const Value& identifier) {
  if (leadsTo(ObjectAccess::values(object)[number], identifier)) return;
  Ref<NSManagedObject> other;
  if (!identifier.isNull()) {
    other = _context.objectWithID(Ref<NSManagedObjectID>(as<NSManagedObjectID>(identifier)));
    if (other && !ObjectAccess::canFire(*other)) other = nullptr;
  }
  Relations::setValue(object, number, other ? Value(other) : Value());
}

/// What no record has: transient values, and what was changed of pairs and of orders.
void ConflictResolution::dropOtherChanges(NSManagedObject& object) {
  const EntityLayout& layout = object.entity()->layout();
  for (std::size_t i = 0; i < layout.count(); ++i) {
    if (layout[i].stored || layout[i].isToMany()) continue;
    const Value before = ObjectAccess::committed(object)[i];
    if (layout[i].relationship) {
      lead(object, i, before);
    } else {
      ObjectAccess::values(object)[i] = before;
    }
  }
  Relations::dropMemberChanges(object);
}

void ConflictResolution::finish() {
  for (const Ref<NSManagedObject>& object : _reverted) makeClean(*object);
}

/// Takes an object that is as the store has it out of what is to be saved.
void ConflictResolution::makeClean(NSManagedObject& object) {
  std::uint32_t& flags = ObjectAccess::flags(object);
  constexpr std::uint32_t states =
      ObjectAccess::inserted | ObjectAccess::updated | ObjectAccess::deleted;
  if (!isWithin(object, _context) || (flags & states) != ObjectAccess::updated) return;
  const EntityLayout& layout = object.entity()->layout();
  for (std::size_t i = 0; i < layout.count(); ++i) {
    const Value& now = ObjectAccess::values(object)[i];
    const Value& before = ObjectAccess::committed(object)[i];
    if (layout[i].isToMany()) {
      const RelatedObjects* related = Relations::known(object, i);
      if (related && related->hasChanges()) return;
    } else if (!storesAlike(now, before, layout[i].type)) {
      return;
    }
  }
  _context._changes->updated.remove(object);
  _context._events->noteRefreshed(object);
  flags &= ~(ObjectAccess::updated | ObjectAccess::eventUpdated);
  ObjectAccess::committed(object).reset();
}

/// As after a deletion that was saved.
void ConflictResolution::forgetObject(const Ref<NSManagedObject>& object) {
  if (!isWithin(*object, _context) || object->isDeleted() || object->isInserted()) return;
  if ((ObjectAccess::flags(*object) & ObjectAccess::hasValues) != 0) Relations::letGo(*object);
  // What was let go may have been told so, and have changed the object.
  if (!isWithin(*object, _context)) return;
  if (object->isUpdated()) _context._changes->updated.remove(*object);
  ++_context._registry->edits;
  _context._events->noteDeleted(*object);
  ObjectAccess::detach(*object);
}

/// A record that comes back has its pairs again, and a partner that has found no other one.
void ConflictResolution::prepareWritingAnew(NSManagedObject& object) {
  const EntityLayout& layout = object.entity()->layout();
  const Value own(object.objectID());
  for (const std::size_t number : layout.toOnes()) {
    const Value identifier = ObjectAccess::values(object)[number];
    if (identifier.isNull() || !layout[number].stored || !isMutual(layout[number])) continue;
    const Ref<NSManagedObject> other =
        _context.objectWithID(Ref<NSManagedObjectID>(as<NSManagedObjectID>(identifier)));
    if (!other || other->isDeleted() || (!other->hasChanges() && !refresh(other))) {
      lead(object, number, nullptr);
      continue;
    }
    const std::size_t back = other->entity()->layout().indexOf(
        *layout[number].relationship->inverseRelationship()->name());
    const Value theirs = ObjectAccess::values(*other)[back];
    lead(object, number, theirs.isNull() || theirs == own ? identifier : Value());
  }
  for (const std::size_t number : layout.toManys()) {
    RelatedObjects* related = Relations::known(object, number);
    const NSRelationshipDescription& relationship = *layout[number].relationship;
    if (related && related->isLoaded() && Relations::hasPairs(relationship)) {
      related->markAllAdded();
    }
  }
}

/// Reads an object without changes again, where it has become another one. Returns: whether its
/// record is there.
bool ConflictResolution::refresh(const Ref<NSManagedObject>& object) {
  const ObjectKey key = ObjectAccess::key(*object);
  RecordReceiver record;
  if (key.hierarchy && key.hierarchy->store->isOpen()) {
    std::lock_guard guard(_context._coordinator->storeLock());
    key.hierarchy->store->fetchRow(*object->entity(), key.number, record, nullptr);
  }
  if (record.entity != object->entity().get()) return false;
  becomeAsStored(object, record.values.get(), record.version);
  return true;
}

void ConflictResolution::becomeAsStored(const Ref<NSManagedObject>& object, const Value* record,
                                        std::uint32_t version) {
  fireFault(*object);
  if (ObjectAccess::version(*object) == version) return;
  std::vector<Merge> merges;
  merges.push_back(decide(NSRollbackMergePolicyType, object, record, version));
  apply(merges);
}

/// Who is related to a deleted object in the store by now is met by its delete rules as well.
void ConflictResolution::renewDeletion(NSManagedObject& object, const NSMergeConflict* conflict) {
  const EntityLayout& layout = object.entity()->layout();
  const ValueArray& values = ObjectAccess::values(object);
  const ValueArray& committed = ObjectAccess::committed(object);
  for (std::size_t i = 0; conflict && i < layout.count(); ++i) {
    if (!layout[i].stored) continue;
    // It is as good as gone, so that nobody is told of a change.
    if (committed) committed[i] = conflict->_record[i];
    if (!committed || layout[i].relationship) values[i] = conflict->_record[i];
  }
  if (conflict) ObjectAccess::version(object) = conflict->_newVersion;
  for (const std::size_t number : layout.toManys()) {
    if (layout[number].relationship->isTransient()) continue;
    values[number] = nullptr;
    if (committed) committed[number] = nullptr;
  }
  for (const auto numbers : {layout.toOnes(), layout.toManys()}) {
    for (const std::size_t number : numbers) {
      for (const Ref<NSManagedObject>& other : Relations::destinations(object, number)) {
        if (!other->hasChanges()) refresh(other);
      }
    }
  }
  if (layout.hasRelationships()) ObjectAccess::repeatDeleteRules(object);
}

/// What its delete rules have done to those that the store has related to it is taken back with it.
void ConflictResolution::takeBackDeletion(NSMergeConflict& conflict) {
  Objects waiting{conflict._object};
  while (!waiting.empty()) {
    const Ref<NSManagedObject> object = std::move(waiting.back());
    waiting.pop_back();
    if (!isWithin(*object, _context) || !object->isDeleted()) continue;
    _context.insertObject(object);
    if (object == conflict._object) {
      rebase(*object, conflict._record.get(), conflict._newVersion);
    } else {
      ObjectAccess::willRelate(*object);
    }
    const EntityLayout& layout = object->entity()->layout();
    for (std::size_t i = 0; i < layout.count(); ++i) {
      if (layout[i].isToMany()) continue;
      const Value before = ObjectAccess::committed(*object)[i];
      if (layout[i].relationship) {
        lead(*object, i, before);
      } else {
        ObjectAccess::values(*object)[i] = before;
      }
    }
    Relations::takeBackMembers(*object, waiting);
    _reverted.push_back(object);
  }
}

void ConflictResolution::letGoOfMissing(const std::vector<MissingReference>& references,
                                        const Objects& deletions) {
  for (const MissingReference& reference : references) {
    const Ref<NSManagedObject>& object = reference.object;
    const Ref<NSManagedObjectContext> context = object->managedObjectContext();
    if (!context || object->isDeleted()) continue;
    const Ref<NSManagedObject> other = context->objectWithID(reference.destination);
    if (object->entity()->layout()[reference.number].isToMany()) {
      Relations::remove(*object, reference.number, Value(other));
    } else if (leadsTo(ObjectAccess::values(*object)[reference.number],
                       Value(reference.destination))) {
      Relations::setValue(*object, reference.number, nullptr);
    }
    if (!hasStoredChanges(*other)) ConflictResolution(*context).forgetObject(other);
  }
  for (const Ref<NSManagedObject>& object : deletions) {
    const Ref<NSManagedObjectContext> context = object->managedObjectContext();
    if (!context || !object->isDeleted()) continue;
    ConflictResolution resolution(*context);
    resolution.renewDeletion(*object, nullptr);
    resolution.finish();
  }
}

// ---- Unique values ------------------------------------------------------------------------------

void ConflictResolution::resolveConstraints(NSMergePolicyType type, const Constraints& conflicts) {
  if (conflicts.empty()) return;
  const Value first = conflicts.front()->_conflictingObjects->firstObject();
  // A policy may have had the context forget some of them.
  Ref<NSManagedObjectContext> context = as<NSManagedObject>(first)->managedObjectContext();
  for (std::size_t i = 0; !context && i < conflicts.size(); ++i) {
    for (const Value& object : *conflicts[i]->_conflictingObjects) {
      if (!context) context = as<NSManagedObject>(object)->managedObjectContext();
    }
  }
  if (!context) return;
  ConflictResolution resolution(*context);
  for (const Ref<NSConstraintConflict>& conflict : conflicts) resolution.resolve(type, *conflict);
  resolution.deleteReplaced();
  resolution.finish();
}

bool ConflictResolution::has(const NSManagedObject& object,
                             const NSConstraintConflict& conflict) const {
  if (!isWithin(object, _context) || object.isDeleted()) return false;
  if (_replaced.count(const_cast<NSManagedObject*>(&object)) > 0) return false;
  const ValueArray& values = ObjectAccess::values(const_cast<NSManagedObject&>(object));
  return values && uniqueKeyOf(values.get(), conflict._properties, object.entity()->layout()) ==
                       conflict._key;
}

/// Whether the object of the store's record has not got other values by an earlier decision. Its
/// own may be older than the store's.
bool ConflictResolution::holdsStill(NSManagedObject& object,
                                    const NSConstraintConflict& conflict) const {
  if (!isWithin(object, _context) || object.isDeleted()) return false;
  const ValueArray& committed = ObjectAccess::committed(object);
  if (!committed || has(object, conflict)) return true;
  return uniqueKeyOf(committed.get(), conflict._properties, object.entity()->layout()) !=
         conflict._key;
}

/// The objects come one after the other, as if each had been saved before the next.
void ConflictResolution::resolve(NSMergePolicyType type, const NSConstraintConflict& conflict) {
  Ref<NSManagedObject> holder = conflict._databaseObject;
  if (holder && keepsOurs(type)) bringUpToDate(conflict);
  if (holder && !holdsStill(*holder, conflict)) holder = nullptr;
  for (const Value& value : *conflict._conflictingObjects) {
    const Ref<NSManagedObject> object(as<NSManagedObject>(value));
    if (object == holder || !has(*object, conflict)) continue;
    if (!holder) {
      holder = object;
    } else if (!object->isInserted()) {
      if (keepsOurs(type)) {
        _context.deleteObject(std::exchange(holder, object));
      } else {
        giveBack(*object, conflict);
      }
    } else if (keepsOurs(type)) {
      takeValues(*holder, *object, type == NSOverwriteMergePolicyType);
      drop(object, holder);
    } else {
      drop(object, nullptr);
    }
  }
}

/// Whoever survives with the values of another object has the others as the store has them now.
void ConflictResolution::bringUpToDate(const NSConstraintConflict& conflict) {
  const Ref<NSManagedObject>& object = conflict._databaseObject;
  if (!isWithin(*object, _context) || object->hasChanges()) return;
  becomeAsStored(object, conflict._databaseRecord.get(), conflict._databaseVersion);
}

void ConflictResolution::takeValues(NSManagedObject& survivor, NSManagedObject& other,
                                    bool takesAll) {
  fireFault(survivor);
  ObjectAccess::willRelate(survivor);
  const EntityLayout& layout = other.entity()->layout();
  const EntityLayout& kept = survivor.entity()->layout();
  const Value own(survivor.objectID()), replaced(other.objectID());
  for (std::size_t i = 0; i < layout.count(); ++i) {
    const EntityLayout::Slot& slot = layout[i];
    const std::size_t place = kept.indexOf(*slot.name);
    // Both are of the entity that has the constraint, not of the same one.
    if (place == EntityLayout::none || kept[place].attribute != slot.attribute ||
        kept[place].relationship != slot.relationship) {
      continue;
    }
    const Value value = ObjectAccess::values(other)[i];
    if (slot.attribute) {
      const Value initial = slot.isTransformed() ? placeOfValue(slot.defaultValue, slot.attribute)
                                                 : slot.defaultValue;
      if (takesAll || !storesAlike(value, initial, slot.type)) {
        ObjectAccess::values(survivor)[place] = value;
      }
    } else if (slot.isToMany()) {
      for (const Ref<NSManagedObject>& member : Relations::destinations(other, i)) {
        Relations::add(survivor, place, Value(member.get() == &other ? &survivor : member.get()));
      }
    } else if (takesAll || !value.isNull()) {
      lead(survivor, place, leadsTo(value, replaced) ? own : value);
    }
  }
}

/// An object gets back what the store has of the values that must be unique together.
void ConflictResolution::giveBack(NSManagedObject& object, const NSConstraintConflict& conflict) {
  ObjectAccess::willRelate(object);
  const EntityLayout& layout = object.entity()->layout();
  for (const std::size_t number : conflict._properties) {
    const Value before = ObjectAccess::committed(object)[number];
    if (layout[number].relationship) {
      lead(object, number, before);
    } else {
      ObjectAccess::values(object)[number] = before;
    }
  }
}

void ConflictResolution::drop(const Ref<NSManagedObject>& object,
                              const Ref<NSManagedObject>& replacement) {
  Relations::letGo(*object);
  _replaced[object.get()] = replacement;
  _dropped.push_back(object);
}

Ref<NSManagedObject> ConflictResolution::replacementOf(const Ref<NSManagedObject>& object) const {
  Ref<NSManagedObject> last = object;
  for (auto next = _replaced.find(last.get()); next != _replaced.end();
       next = _replaced.find(last.get())) {
    last = next->second;
  }
  return last;
}

/// Who leads to a replaced object where there is no way back leads to the other one instead.
void ConflictResolution::replaceIn(NSManagedObject& holder) {
  const EntityLayout& layout = holder.entity()->layout();
  const auto registered = [&](const Value& identifier) {
    return _context.registeredObjectForID(
        Ref<NSManagedObjectID>(as<NSManagedObjectID>(identifier)));
  };
  const auto fitting = [&](const Ref<NSManagedObject>& object, std::size_t number) {
    Ref<NSManagedObject> other = replacementOf(object);
    const bool fits =
        other && other->entity()->isKindOfEntity(layout[number].relationship->destinationEntity());
    return fits ? other : nullptr;
  };
  for (const std::size_t number : layout.toOnes()) {
    if (layout[number].relationship->inverseRelationship()) continue;
    const Value identifier = ObjectAccess::values(holder)[number];
    const Ref<NSManagedObject> object = identifier.isNull() ? nullptr : registered(identifier);
    if (!object || _replaced.count(object.get()) == 0) continue;
    const Ref<NSManagedObject> other = fitting(object, number);
    Relations::setValue(holder, number, other ? Value(other) : Value());
  }
  for (const std::size_t number : layout.toManys()) {
    const RelatedObjects* related = Relations::known(holder, number);
    if (!related || !related->added() || layout[number].relationship->inverseRelationship()) {
      continue;
    }
    const Ref<NSOrderedSet> added = NSOrderedSet::orderedSetWithOrderedSet(related->added());
    for (const Value& identifier : *added) {
      const Ref<NSManagedObject> object = registered(identifier);
      if (!object || _replaced.count(object.get()) == 0) continue;
      Relations::remove(holder, number, Value(object));
      if (const Ref<NSManagedObject> other = fitting(object, number)) {
        Relations::add(holder, number, Value(other));
      }
    }
  }
}

void ConflictResolution::deleteReplaced() {
  if (_dropped.empty()) return;
  for (const ChangeList* list : {&_context._changes->inserted, &_context._changes->updated}) {
    for (const Ref<NSManagedObject>& holder : list->objects()) {
      if (_replaced.count(holder.get()) == 0) replaceIn(*holder);
    }
  }
  for (const Ref<NSManagedObject>& object : _dropped) {
    if (isWithin(*object, _context)) _context.deleteObject(object);
  }
}

}  // namespace JNFoundation::impl
