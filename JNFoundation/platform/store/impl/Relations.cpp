#include "JNFoundation/platform/store/impl/Relations.h"

#include <algorithm>

#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/ObjectReceiver.h>
#include <JNFoundation/platform/store/impl/ParentContext.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

const EntityLayout::Slot& slotAt(const NSManagedObject& object, std::size_t number) {
  return object.entity()->layout()[number];
}

/// Reads the values of a fault. Returns: false if its record is gone.
bool isThere(NSManagedObject& object) {
  if ((ObjectAccess::flags(object) & ObjectAccess::fault) == 0) return true;
  if (!ObjectAccess::canFire(object)) return false;
  ObjectAccess::fire(object);
  return true;
}

[[noreturn]] void raiseUnacceptable(const NSManagedObject& object, std::size_t number,
                                    const Value& value) {
  const EntityLayout::Slot& slot = slotAt(object, number);
  const char* kind = !slot.isToMany()                 ? "to-one"
                     : slot.relationship->isOrdered() ? "ordered to-many"
                                                      : "to-many";
  const Ref<NSString> desired = !slot.isToMany() ? slot.relationship->destinationEntity()->name()
                                : slot.relationship->isOrdered() ? "NSOrderedSet"_s
                                                                 : "NSSet"_s;
  raise(NSInvalidArgumentException,
        "Unacceptable type of value for %s relationship: property = \"%@\"; desired type = %@; "
        "given type = %s; value = %@.",
        kind, slot.name, desired, value.isNull() ? "nil" : value.class_()->name(), value);
}

/// Whether a deleted object lets go of those that the relationship leads to, though they stay. The
/// rule that asks for nothing leaves an end that names the object as it is; one that leads to many
/// loses the object all the same, since its record goes. An object that was never saved cannot be
/// left behind in anybody's values.
bool parts(const NSRelationshipDescription& relationship, const NSManagedObject& object) {
  const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
  if (object.isInserted()) return static_cast<bool>(inverse);
  switch (relationship.deleteRule()) {
    case NSNullifyDeleteRule:
      return static_cast<bool>(inverse);
    case NSNoActionDeleteRule:
      return inverse && inverse->isToMany();
    default:
      return false;
  }
}

}  // namespace

namespace {

/// The members as far as they were read or added.
std::vector<Value> knownMembers(const RelatedObjects& related) {
  if (!related.isLoaded()) return listOf(related.added());
  std::vector<Value> members;
  members.reserve(related.members().count());
  for (const Value& member : related.members()) members.push_back(member);
  return members;
}

}  // namespace

void Relations::fireFault(const NSManagedObject& object) {
  if ((ObjectAccess::flags(object) & ObjectAccess::fault) != 0) ObjectAccess::fire(object);
}

Ref<NSManagedObjectID> Relations::identifierAt(NSManagedObject& object, std::size_t number) {
  return Ref<NSManagedObjectID>(as<NSManagedObjectID>(ObjectAccess::values(object)[number]));
}

Relations::End Relations::inverseAt(const NSManagedObject& other,
                                    const NSRelationshipDescription& relationship) {
  const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
  return {const_cast<NSManagedObject&>(other),
          inverse ? other.entity()->layout().indexOf(*inverse->name()) : EntityLayout::none};
}

Ref<NSManagedObject> Relations::objectOf(const NSManagedObject& owner, const Value& identifier) {
  const Ref<NSManagedObjectContext> context = owner.managedObjectContext();
  if (!context) return nullptr;
  return context->objectWithID(Ref<NSManagedObjectID>(as<NSManagedObjectID>(identifier)));
}

// ---- Many ---------------------------------------------------------------------------------------

RelatedObjects* Relations::known(const NSManagedObject& object, std::size_t number) noexcept {
  const ValueArray& values = ObjectAccess::values(const_cast<NSManagedObject&>(object));
  return values ? static_cast<RelatedObjects*>(values[number].object()) : nullptr;
}

RelatedObjects& Relations::related(NSManagedObject& object, std::size_t number) {
  Value& place = ObjectAccess::values(object)[number];
  if (place.isNull()) {
    const NSRelationshipDescription& relationship = *slotAt(object, number).relationship;
    auto made = makeObject<RelatedObjects>(relationship.isOrdered());
    // No store knows more of a transient relationship.
    const Ref<NSManagedObjectContext> context = object.managedObjectContext();
    if (relationship.isTransient() && !(context && context->parentContext())) made->load({});
    place = Value(made);
  }
  return *static_cast<RelatedObjects*>(place.object());
}

void Relations::readMembers(NSManagedObject& object, std::size_t number,
                            std::vector<Ref<NSManagedObject>>& read) {
  const EntityLayout::Slot& slot = slotAt(object, number);
  const ObjectKey key = ObjectAccess::key(object);
  const Ref<NSManagedObjectContext> context = object.managedObjectContext();
  if (!context || object.isInserted()) return;
  if (context->parentContext()) {
    ParentContext(*context).readMembers(key, *object.entity(), number, read);
    return;
  }
  if (!key.hierarchy || slot.relationship->isTransient()) return;
  NSPersistentStore& store = *key.hierarchy->store;
  if (!store.isOpen()) return;
  ObjectReceiver receiver(store, ObjectAccess::registry(object), true, read);
  Ref<NSError> error;
  std::lock_guard guard(context->persistentStoreCoordinator()->storeLock());
  if (!store.fetchRelated(*slot.relationship, key.number, receiver, &error)) {
    raise(NSObjectInaccessibleException, "The relationship '%@' of %@ cannot be read: %@",
          slot.name, Value(object.objectID()), Value(error));
  }
}

RelatedObjects& Relations::loaded(NSManagedObject& object, std::size_t number,
                                  std::vector<Ref<NSManagedObject>>& read) {
  RelatedObjects& state = related(object, number);
  if (state.isLoaded()) return state;
  readMembers(object, number, read);
  std::vector<Value> identifiers;
  identifiers.reserve(read.size());
  for (const Ref<NSManagedObject>& member : read) identifiers.emplace_back(member->objectID());
  state.load(std::move(identifiers));
  return state;
}

std::vector<Value> Relations::members(NSManagedObject& object, std::size_t number) {
  std::vector<Ref<NSManagedObject>> read;
  std::vector<Value> found;
  if (!object.managedObjectContext()) return found;
  RelatedObjects& state = loaded(object, number, read);
  found.reserve(state.members().count());
  if (read.empty()) {
    // Members that are not there any more are read again all at once.
    const Ref<ObjectRegistry>& registry = ObjectAccess::registry(object);
    const ObjectKey key = ObjectAccess::key(object);
    NSUInteger missing = 0;
    for (const Value& identifier : state.members()) {
      const auto& known = *as<NSManagedObjectID>(identifier);
      if (known.isTemporaryID() || !key.hierarchy) continue;
      const StoreHierarchy* hierarchy = key.hierarchy->store->hierarchyOf(*known.entity());
      if (!registry->find({hierarchy, known.number()})) ++missing;
    }
    if (missing > 1) readMembers(object, number, read);
  }
  for (const Value& identifier : state.members()) {
    if (Ref<NSManagedObject> member = objectOf(object, identifier)) found.emplace_back(member);
  }
  return found;
}

Value Relations::collection(const NSRelationshipDescription& relationship,
                            std::vector<Value> members) {
  if (relationship.isOrdered()) return NSOrderedSet::orderedSetWithValues(std::move(members));
  return NSSet::setWithValues(std::move(members));
}

Value Relations::value(const NSManagedObject& object, std::size_t number) {
  const EntityLayout::Slot& slot = slotAt(object, number);
  if (slot.isToMany() || !ObjectAccess::hasReadPlace(object, number)) fireFault(object);
  auto& self = const_cast<NSManagedObject&>(object);
  if (!slot.isToMany()) {
    const Value& identifier = ObjectAccess::values(self)[number];
    return identifier.isNull() ? Value() : Value(objectOf(object, identifier));
  }
  RelatedObjects* state = known(object, number);
  if (state) {
    if (Ref<NSObject> view = state->view()) return Value(view);
  }
  Value made = collection(*slot.relationship, members(self, number));
  if ((state = known(object, number))) state->setView(Ref<NSObject>(made.object()));
  return made;
}

Value Relations::valueBefore(const NSManagedObject& object, std::size_t number) {
  const EntityLayout::Slot& slot = slotAt(object, number);
  auto& self = const_cast<NSManagedObject&>(object);
  const auto objects = [&](const Ref<NSOrderedSet>& identifiers) {
    std::vector<Value> found;
    for (const Value& identifier : identifiers) {
      if (Ref<NSManagedObject> member = objectOf(object, identifier)) found.emplace_back(member);
    }
    return found;
  };
  if (slot.isToMany()) {
    if (object.isInserted()) return collection(*slot.relationship, {});
    std::vector<Ref<NSManagedObject>> read;
    const Ref<NSOrderedSet> before = loaded(self, number, read).membersBefore();
    return collection(*slot.relationship, objects(before));
  }
  if (object.isInserted()) return nullptr;
  const ValueArray& committed = ObjectAccess::committed(self);
  const Value identifier = committed ? committed[number] : ObjectAccess::values(self)[number];
  return identifier.isNull() ? Value() : Value(objectOf(object, identifier));
}

std::vector<Ref<NSManagedObject>> Relations::destinations(const NSManagedObject& object,
                                                          std::size_t number) {
  std::vector<Ref<NSManagedObject>> found;
  if (slotAt(object, number).isToMany()) {
    fireFault(object);
    for (const Value& member : members(const_cast<NSManagedObject&>(object), number)) {
      found.emplace_back(as<NSManagedObject>(member));
    }
  } else if (const Value one = value(object, number); !one.isNull()) {
    found.emplace_back(as<NSManagedObject>(one));
  }
  return found;
}

NSUInteger Relations::count(const NSManagedObject& object, std::size_t number) {
  fireFault(object);
  if (!slotAt(object, number).isToMany()) {
    return ObjectAccess::values(const_cast<NSManagedObject&>(object))[number].isNull() ? 0 : 1;
  }
  std::vector<Ref<NSManagedObject>> read;
  return loaded(const_cast<NSManagedObject&>(object), number, read).members().count();
}

// ---- Changing -----------------------------------------------------------------------------------

NSManagedObject& Relations::checked(const NSManagedObject& object, std::size_t number,
                                    const Value& member) {
  const EntityLayout::Slot& slot = slotAt(object, number);
  auto* other = as<NSManagedObject>(member);
  if (!other || !other->entity()->isKindOfEntity(slot.relationship->destinationEntity())) {
    raiseUnacceptable(object, number, member);
  }
  if (!ObjectAccess::registry(object) ||
      ObjectAccess::registry(object) != ObjectAccess::registry(*other)) {
    raise(NSInvalidArgumentException,
          "Illegal attempt to establish a relationship '%@' between objects in different contexts "
          "(source = %@ , destination = %@)",
          slot.name, Value(object.objectID()), Value(other->objectID()));
  }
  return *other;
}

/// Has an end lead to the object as well. The other end is the caller's.
void Relations::attach(const End& end, NSManagedObject& other) {
  if (end.number == EntityLayout::none) return;
  fireFault(end.object);
  if (slotAt(end.object, end.number).isToMany()) {
    ObjectAccess::willRelate(end.object);
    related(end.object, end.number).add(other.objectID());
    return;
  }
  const Ref<NSManagedObjectID> former = identifierAt(end.object, end.number);
  if (former && former->isEqual(Value(other.objectID()))) return;
  if (former) {
    if (Ref<NSManagedObject> previous = objectOf(end.object, Value(former))) {
      detach(inverseAt(*previous, *slotAt(end.object, end.number).relationship), end.object);
    }
  }
  ObjectAccess::willRelate(end.object);
  ObjectAccess::values(end.object)[end.number] = Value(other.objectID());
}

/// Has an end not lead to the object any more. An end whose record is gone leads nowhere already.
void Relations::detach(const End& end, NSManagedObject& other) {
  if (end.number == EntityLayout::none || !isThere(end.object)) return;
  if (slotAt(end.object, end.number).isToMany()) {
    ObjectAccess::willRelate(end.object);
    related(end.object, end.number).exclude(other.objectID());
    return;
  }
  const Ref<NSManagedObjectID> former = identifierAt(end.object, end.number);
  if (!former || !former->isEqual(Value(other.objectID()))) return;
  ObjectAccess::willRelate(end.object);
  ObjectAccess::values(end.object)[end.number] = nullptr;
}

void Relations::setDestination(NSManagedObject& object, std::size_t number,
                               NSManagedObject* other) {
  fireFault(object);
  const NSRelationshipDescription& relationship = *slotAt(object, number).relationship;
  const Ref<NSManagedObjectID> former = identifierAt(object, number);
  ObjectAccess::willRelate(object);
  const bool isSame = other ? former && former->isEqual(Value(other->objectID())) : !former;
  if (isSame) return;
  if (former) {
    if (Ref<NSManagedObject> previous = objectOf(object, Value(former))) {
      detach(inverseAt(*previous, relationship), object);
    }
  }
  ObjectAccess::values(object)[number] = other ? Value(other->objectID()) : Value();
  if (!other) return;
  attach(inverseAt(*other, relationship), object);
  applyRulesOfDeleted(object, *other);
}

void Relations::addMember(NSManagedObject& object, std::size_t number, NSManagedObject& member) {
  fireFault(object);
  const NSRelationshipDescription& relationship = *slotAt(object, number).relationship;
  const End end = inverseAt(member, relationship);
  if (end.number != EntityLayout::none && !slotAt(member, end.number).isToMany()) {
    // The member says where it belongs, and tells this end and the former one.
    setDestination(member, end.number, &object);
    ObjectAccess::willRelate(object);
    return;
  }
  ObjectAccess::willRelate(object);
  if (!related(object, number).add(member.objectID())) return;
  attach(end, object);
  applyRulesOfDeleted(object, member);
}

/// Who is related to a deleted object is met by its rules as those were that it had before.
void Relations::applyRulesOfDeleted(NSManagedObject& one, NSManagedObject& other) {
  for (NSManagedObject* end : {&one, &other}) {
    if (end->isDeleted()) ObjectAccess::repeatDeleteRules(*end);
  }
}

void Relations::removeMember(NSManagedObject& object, std::size_t number, NSManagedObject& member) {
  fireFault(object);
  const End end = inverseAt(member, *slotAt(object, number).relationship);
  ObjectAccess::willRelate(object);
  if (!related(object, number).remove(member.objectID())) return;
  const bool isSameEnd = &member == &object && end.number == number;
  if (!isSameEnd) detach(end, object);
}

void Relations::add(NSManagedObject& object, std::size_t number, const Value& member) {
  addMember(object, number, checked(object, number, member));
}

void Relations::insert(NSManagedObject& object, std::size_t number, const Value& member,
                       NSUInteger index) {
  NSManagedObject& other = checked(object, number, member);
  fireFault(object);
  std::vector<Ref<NSManagedObject>> read;
  loaded(object, number, read);
  addMember(object, number, other);
  RelatedObjects& state = related(object, number);
  if (index < state.members().count()) state.move(other.objectID(), index);
}

void Relations::remove(NSManagedObject& object, std::size_t number, const Value& member) {
  auto* other = as<NSManagedObject>(member);
  if (other && ObjectAccess::registry(*other) == ObjectAccess::registry(object)) {
    removeMember(object, number, *other);
  }
}

void Relations::setMembers(NSManagedObject& object, std::size_t number, const Value& collection) {
  const NSRelationshipDescription& relationship = *slotAt(object, number).relationship;
  std::vector<Ref<NSManagedObject>> wanted;
  const auto take = [&](const Value& member) {
    wanted.emplace_back(&checked(object, number, member));
  };
  if (const auto* ordered = as<NSOrderedSet>(collection)) {
    if (!relationship.isOrdered()) raiseUnacceptable(object, number, collection);
    for (const Value& member : *ordered) take(member);
  } else if (const auto* set = as<NSSet>(collection)) {
    if (relationship.isOrdered()) raiseUnacceptable(object, number, collection);
    for (const Value& member : *set) take(member);
  } else if (!collection.isNull()) {
    raiseUnacceptable(object, number, collection);
  }
  fireFault(object);
  std::vector<Value> identifiers;
  identifiers.reserve(wanted.size());
  for (const Ref<NSManagedObject>& member : wanted) identifiers.emplace_back(member->objectID());
  const Ref<NSSet> kept = NSSet::setWithValues(identifiers);
  const std::vector<Value> former = members(object, number);
  const RelatedObjects* known = Relations::known(object, number);
  const bool leadsToForgotten =
      known && known->isLoaded() && former.size() < known->members().count();
  for (const Value& value : former) {
    auto& member = *as<NSManagedObject>(value);
    if (!kept->containsObject(Value(member.objectID()))) removeMember(object, number, member);
  }
  if (leadsToForgotten) {
    RelatedObjects& state = related(object, number);
    for (const Value& identifier : knownMembers(state)) {
      if (kept->containsObject(identifier)) continue;
      state.remove(Ref<NSManagedObjectID>(as<NSManagedObjectID>(identifier)));
    }
  }
  for (const Ref<NSManagedObject>& member : wanted) addMember(object, number, *member);
  if (relationship.isOrdered()) related(object, number).setOrder(std::move(identifiers));
  ObjectAccess::willRelate(object);
}

void Relations::setValue(NSManagedObject& object, std::size_t number, const Value& value) {
  if (slotAt(object, number).isToMany()) {
    setMembers(object, number, value);
  } else {
    setDestination(object, number, value.isNull() ? nullptr : &checked(object, number, value));
  }
}

// ---- Deleting -----------------------------------------------------------------------------------

void Relations::applyDeleteRules(NSManagedObject& object) {
  const EntityLayout& layout = object.entity()->layout();
  for (const auto numbers : {layout.toOnes(), layout.toManys()}) {
    for (const std::size_t number : numbers) {
      const NSRelationshipDescription& relationship = *layout[number].relationship;
      const bool cascades = relationship.deleteRule() == NSCascadeDeleteRule;
      if (!cascades && !parts(relationship, object)) continue;
      const std::vector<Ref<NSManagedObject>> others = destinations(object, number);
      if (others.empty()) continue;
      for (const Ref<NSManagedObject>& other : others) {
        const Ref<NSManagedObjectContext> context = other->managedObjectContext();
        if (cascades && context) context->deleteObject(other);
      }
      if (!relationship.inverseRelationship()) continue;
      // Both ends, so that they still agree if one of the deletions is taken back.
      for (const Ref<NSManagedObject>& other : others) {
        detach(inverseAt(*other, relationship), object);
      }
      ObjectAccess::willRelate(object);
      if (layout[number].isToMany()) {
        related(object, number).removeAll();
      } else {
        ObjectAccess::values(object)[number] = nullptr;
      }
    }
  }
}

bool Relations::needsMembers(const NSManagedObject& object, std::size_t number) noexcept {
  const EntityLayout::Slot& slot = slotAt(object, number);
  const bool isStored = ObjectAccess::key(object).hierarchy && !object.isInserted() &&
                        !slot.relationship->isTransient();
  const bool hasValues = (ObjectAccess::flags(object) & ObjectAccess::hasValues) != 0;
  if (!slot.isToMany() || !isStored || !hasValues) return false;
  const RelatedObjects* state = known(object, number);
  return !state || !state->isLoaded();
}

void Relations::setStoredMembers(NSManagedObject& object, std::size_t number,
                                 std::vector<Value> identifiers) {
  related(object, number).load(std::move(identifiers));
}

void Relations::forget(NSManagedObject& object) noexcept {
  const ValueArray& values = ObjectAccess::values(object);
  const EntityLayout& layout = object.entity()->layout();
  for (const auto numbers : {layout.toOnes(), layout.toManys()}) {
    for (const std::size_t number : numbers) values[number] = nullptr;
  }
}

// ---- Identifiers --------------------------------------------------------------------------------

void Relations::renameIn(NSManagedObject& holder, const Ref<NSManagedObjectID>& former,
                         const Ref<NSManagedObjectID>& fresh) {
  const ValueArray& values = ObjectAccess::values(holder);
  if (!values) return;
  const EntityLayout& layout = holder.entity()->layout();
  for (const std::size_t number : layout.toOnes()) {
    if (former->isEqual(values[number])) values[number] = Value(fresh);
  }
  for (const std::size_t number : layout.toManys()) {
    if (RelatedObjects* related = known(holder, number)) related->rename(former, fresh);
  }
}

void Relations::rename(NSManagedObject& object, const Ref<NSManagedObjectID>& former,
                       const std::vector<Ref<NSManagedObject>>& changed) {
  const Ref<NSManagedObjectID> fresh = object.objectID();
  // It may lead to itself, and is not found by the former one any more.
  renameIn(object, former, fresh);
  for (const Ref<NSManagedObject>& holder : changed) renameIn(*holder, former, fresh);
  const EntityLayout& layout = object.entity()->layout();
  for (const auto numbers : {layout.toOnes(), layout.toManys()}) {
    for (const std::size_t number : numbers) {
      for (const Ref<NSManagedObject>& holder : destinations(object, number)) {
        renameIn(*holder, former, fresh);
      }
    }
  }
}

void Relations::rename(NSManagedObject& holder, const PermanentIDs& permanentIDs) {
  const ValueArray& values = ObjectAccess::values(holder);
  if (!values) return;
  const EntityLayout& layout = holder.entity()->layout();
  const auto permanentOf = [&](const Value& value) -> Ref<NSManagedObjectID> {
    const auto* identifier = as<NSManagedObjectID>(value);
    if (!identifier || !identifier->isTemporaryID()) return nullptr;
    const auto found = permanentIDs.find(identifier->number());
    return found == permanentIDs.end() ? nullptr : found->second;
  };
  const ValueArray& committed = ObjectAccess::committed(holder);
  for (const std::size_t number : layout.toOnes()) {
    if (const auto permanent = permanentOf(values[number])) values[number] = Value(permanent);
    if (!committed) continue;
    if (const auto permanent = permanentOf(committed[number])) committed[number] = Value(permanent);
  }
  for (const std::size_t number : layout.toManys()) {
    if (RelatedObjects* related = known(holder, number)) related->rename(permanentIDs);
  }
}

void Relations::separate(NSManagedObject& object, std::size_t number, const Value& identifier) {
  const Ref<NSManagedObject> other = objectOf(object, identifier);
  if (other) detach(inverseAt(*other, *slotAt(object, number).relationship), object);
}

bool Relations::leadsOrLedToAny(const NSManagedObject& object, const NSSet& identifiers) {
  auto& self = const_cast<NSManagedObject&>(object);
  const ValueArray& values = ObjectAccess::values(self);
  if (!values) return false;
  const ValueArray& committed = ObjectAccess::committed(self);
  const EntityLayout& layout = object.entity()->layout();
  const auto isAmong = [&](const Value& identifier) {
    return !identifier.isNull() && identifiers.containsObject(identifier);
  };
  const auto hasAny = [&](const NSOrderedSet& members) {
    for (const Value& member : members) {
      if (isAmong(member)) return true;
    }
    return false;
  };
  for (const std::size_t number : layout.toOnes()) {
    if (isAmong(values[number]) || (committed && isAmong(committed[number]))) return true;
  }
  for (const std::size_t number : layout.toManys()) {
    const RelatedObjects* related = known(object, number);
    if (!related) continue;
    if (related->isLoaded() && hasAny(related->members())) return true;
    for (const Ref<NSMutableOrderedSet>& changed : {related->added(), related->removed()}) {
      if (changed && hasAny(*changed)) return true;
    }
  }
  return false;
}

void Relations::letGoOfForgotten(NSManagedObject& object, const NSSet& identifiers) {
  if (identifiers.count() > 0 && leadsOrLedToAny(object, identifiers)) {
    dropDestinations(object, identifiers);
  }
}

void Relations::letGoOfAdded(NSManagedObject& object, const NSSet& identifiers) {
  if (identifiers.count() == 0) return;
  for (const std::size_t number : object.entity()->layout().toManys()) {
    const Ref<RelatedObjects> state(known(object, number));
    if (!state || slotAt(object, number).relationship->inverseRelationship()) continue;
    std::vector<Value> going = listOf(state->added());
    std::erase_if(going, [&](const Value& member) { return !identifiers.containsObject(member); });
    if (going.empty()) continue;
    // Of known members can be told which ones the store has.
    std::vector<Ref<NSManagedObject>> read;
    loaded(object, number, read);
    for (const Value& member : going) {
      if (!state->added() || !state->added()->containsObject(member)) continue;
      ObjectAccess::willRelate(object);
      state->remove(Ref<NSManagedObjectID>(as<NSManagedObjectID>(member)));
    }
  }
}

bool Relations::forgetMembers(NSManagedObject& object, const NSSet& identifiers) {
  bool isFound = false;
  for (const std::size_t number : object.entity()->layout().toManys()) {
    RelatedObjects* related = known(object, number);
    if (!related || !related->isLoaded()) continue;
    if (slotAt(object, number).relationship->inverseRelationship()) continue;
    std::vector<Value> members = knownMembers(*related);
    const std::size_t gone = std::erase_if(
        members, [&](const Value& member) { return identifiers.containsObject(member); });
    if (gone == 0) continue;
    related->rebase(std::move(members));
    isFound = true;
  }
  return isFound;
}

void Relations::dropDestinations(NSManagedObject& object, const NSSet& identifiers) {
  const ValueArray& values = ObjectAccess::values(object);
  const EntityLayout& layout = object.entity()->layout();
  for (const std::size_t number : layout.toOnes()) {
    if (values[number].isNull() || !identifiers.containsObject(values[number])) continue;
    ObjectAccess::willRelate(object);
    values[number] = nullptr;
  }
  for (const std::size_t number : layout.toManys()) {
    RelatedObjects* related = known(object, number);
    if (!related) continue;
    for (const Value& member : knownMembers(*related)) {
      if (!identifiers.containsObject(member)) continue;
      ObjectAccess::willRelate(object);
      related->remove(Ref<NSManagedObjectID>(as<NSManagedObjectID>(member)));
    }
  }
}

void Relations::revertMembers(NSManagedObject& object) {
  const ValueArray& values = ObjectAccess::values(object);
  if (!values) return;
  for (const std::size_t number : object.entity()->layout().toManys()) {
    RelatedObjects* related = known(object, number);
    if (!related) continue;
    if (related->isLoaded()) {
      related->revert();
    } else {
      values[number] = nullptr;
    }
  }
}

}  // namespace JNFoundation::impl
