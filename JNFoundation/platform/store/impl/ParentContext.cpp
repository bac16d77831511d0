#include "JNFoundation/platform/store/impl/ParentContext.h"

#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/impl/ConstantReplacing.h>
#include <JNFoundation/platform/store/impl/Relations.h>
#include <JNFoundation/platform/store/impl/TransformedValue.h>
#include <JNFoundation/platform/value/NSError.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

/// What of a place may leave the context. A transformed value could be changed where it stands, so
/// only its data go.
Value sharedForm(Value& place, const EntityLayout::Slot& slot, NSManagedObject& object) {
  if (!slot.isTransformed()) return place;
  return makeDataAtPlace(place, slot.attribute, Value(&object), nullptr) ? storedFormOfPlace(place)
                                                                         : Value();
}

ObjectSnapshot snapshotOf(NSManagedObject& object) {
  const NSEntityDescription& entity = *object.entity();
  ObjectSnapshot snapshot{ObjectAccess::key(object), &entity, ObjectAccess::version(object), {}};
  if ((ObjectAccess::flags(object) & ObjectAccess::hasValues) == 0) return snapshot;
  const EntityLayout& layout = entity.layout();
  Value* values = ObjectAccess::values(object).get();
  snapshot.values = ValueArray(layout.count());
  for (std::size_t i = 0; i < layout.count(); ++i) {
    if (!layout[i].isToMany()) snapshot.values[i] = sharedForm(values[i], layout[i], object);
  }
  return snapshot;
}

/// Whether what the child has read is not what the parent has now. A version says little: the
/// parent may have changes of its own.
bool isOther(NSManagedObject& object, const ObjectSnapshot& snapshot) {
  const std::uint32_t flags = ObjectAccess::flags(object);
  if ((flags & ObjectAccess::hasValues) == 0) return (flags & ObjectAccess::dropped) != 0;
  if (ObjectAccess::version(object) != snapshot.version) return true;
  const ValueArray& committed = ObjectAccess::committed(object);
  const ValueArray& values = committed ? committed : ObjectAccess::values(object);
  const EntityLayout& layout = object.entity()->layout();
  for (std::size_t i = 0; i < layout.count(); ++i) {
    const bool isCompared = !layout[i].isToMany() && !layout[i].isTransformed();
    if (isCompared && values[i] != snapshot.values[i]) return true;
  }
  return false;
}

Value withIdentifiersInPlace(const Value& constant) {
  return withReplacedMembers(constant, [](const Value& value) -> std::optional<Value> {
    const auto* object = as<NSManagedObject>(value);
    if (!object) return std::nullopt;
    return Value(object->objectID());
  });
}

}  // namespace

ParentContext::ParentContext(NSManagedObjectContext& child)
    : _child(child), _parent(*child.parentContext()) {}

Ref<NSPredicate> ParentContext::withIdentifiers(const Ref<NSPredicate>& predicate) {
  return predicate ? predicate->predicateByReplacingConstants(withIdentifiersInPlace) : nullptr;
}

/// The child's object of that identity, with the values where it has none of its own.
void ParentContext::adopt(ObjectSnapshot& snapshot, std::vector<Ref<NSManagedObject>>& objects) {
  Ref<NSManagedObject> object = _child.objectForKey(snapshot.key, *snapshot.entity);
  constexpr std::uint32_t states = ObjectAccess::fault | ObjectAccess::deleted;
  std::uint32_t& flags = ObjectAccess::flags(*object);
  if (snapshot.values) {
    const bool isStale = isOther(*object, snapshot);
    if ((flags & states) == ObjectAccess::fault) {
      ObjectAccess::values(*object) = std::move(snapshot.values);
      ObjectAccess::version(*object) = snapshot.version;
      flags = (flags & ~ObjectAccess::dropped) | ObjectAccess::hasValues;
      if (isStale) ObjectAccess::noteRefreshed(*object);
    } else if (isStale) {
      ++ObjectAccess::registry(*object)->staleObjects;
    }
  }
  objects.push_back(std::move(object));
}

bool ParentContext::fetch(const Ref<NSFetchRequest>& request,
                          std::vector<Ref<NSManagedObject>>& objects, Ref<NSError>* error) {
  std::vector<ObjectSnapshot> snapshots;
  bool isGood = false;
  _parent.performBlockAndWait([&] {
    const Ref<NSArray> found = _parent.executeFetchRequestError(request, error);
    if (!found) return;
    isGood = true;
    snapshots.reserve(found->count());
    for (const Value& value : *found) snapshots.push_back(snapshotOf(*as<NSManagedObject>(value)));
  });
  objects.reserve(objects.size() + snapshots.size());
  for (ObjectSnapshot& snapshot : snapshots) adopt(snapshot, objects);
  return isGood;
}

NSUInteger ParentContext::count(const Ref<NSFetchRequest>& request, Ref<NSError>* error) {
  NSUInteger count = 0;
  _parent.performBlockAndWait([&] { count = _parent.countForFetchRequestError(request, error); });
  return count;
}

ObjectSnapshot ParentContext::read(const ObjectKey& key, const NSEntityDescription& entity) {
  ObjectSnapshot snapshot{key, &entity, 0, {}};
  _parent.performBlockAndWait([&] {
    const Ref<NSManagedObject> object = _parent.objectForKey(key, entity);
    if (!object || object->isDeleted() || !ObjectAccess::canFire(*object)) return;
    snapshot = snapshotOf(*object);
  });
  return snapshot;
}

void ParentContext::readMembers(const ObjectKey& key, const NSEntityDescription& entity,
                                std::size_t number, std::vector<Ref<NSManagedObject>>& members) {
  std::vector<ObjectSnapshot> snapshots;
  _parent.performBlockAndWait([&] {
    const Ref<NSManagedObject> object = _parent.objectForKey(key, entity);
    if (!object || !ObjectAccess::canFire(*object)) return;
    for (const Ref<NSManagedObject>& member : Relations::destinations(*object, number)) {
      if (!member->isDeleted()) snapshots.push_back(snapshotOf(*member));
    }
  });
  for (ObjectSnapshot& snapshot : snapshots) adopt(snapshot, members);
}

}  // namespace JNFoundation::impl
