#include "JNFoundation/mapping/PLVEntityBoxing.h"

#include <vector>

#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation::inline v0_1 {
namespace {

/// An array or a set on its way through a conversion.
struct Level {
  explicit Level(const Ref<NSArray>& array) : elements(NSArray::arrayWithArray(array)) {}
  explicit Level(const Ref<NSSet>& set) : elements(set->allObjects()), isSet(true) {}

  Value result() const {
    return isSet ? Value(NSMutableSet::setWithArray(converted)) : Value(converted);
  }

  Ref<NSArray> elements;
  bool isSet = false;
  NSUInteger next = 0;
  Ref<NSMutableArray> converted = NSMutableArray::array();
};

/// Converts everything in the collection that is no array and no set, which come out as new ones.
/// Collections may be in each other to any depth, so nothing here recurses.
template <class Collection, class Convert>
Value converted(const Ref<Collection>& collection, const Convert& convert) {
  std::vector<Level> open;
  open.emplace_back(collection);
  while (true) {
    if (open.back().next == open.back().elements->count()) {
      Value result = open.back().result();
      open.pop_back();
      if (open.empty()) return result;
      open.back().converted->addObject(result);
      continue;
    }
    const Value element = open.back().elements->objectAtIndex(open.back().next++);
    if (const Ref<NSArray> array = as<NSArray>(Value(element))) {
      open.emplace_back(array);
    } else if (const Ref<NSSet> set = as<NSSet>(Value(element))) {
      open.emplace_back(set);
    } else if (const Value form = convert(element); !form.isNull()) {
      open.back().converted->addObject(form);
    }
  }
}

Value boxed(const Value& element) {
  static const SEL operation("plv_objectWithEntitiesAsObjectID");
  if (element.respondsToSelector(operation)) return performSelector(element, operation);
  const auto object = as<NSManagedObject>(Value(element));
  return object ? Value(plv_objectWithEntitiesAsObjectID(object)) : element;
}

Value unboxed(const Value& element, const Ref<NSManagedObjectContext>& context) {
  static const SEL operation("plv_objectWithObjectIDsAsEntityInContext:");
  if (element.respondsToSelector(operation)) {
    return performSelector(element, operation, Value(context));
  }
  const auto objectID = as<NSManagedObjectID>(Value(element));
  return objectID ? Value(plv_objectWithObjectIDsAsEntityInContext(objectID, context)) : element;
}

}  // namespace

Ref<NSMutableArray> plv_objectWithEntitiesAsObjectID(const Ref<NSArray>& array) {
  return array ? as<NSMutableArray>(converted(array, boxed)) : nullptr;
}

Ref<NSMutableSet> plv_objectWithEntitiesAsObjectID(const Ref<NSSet>& set) {
  return set ? as<NSMutableSet>(converted(set, boxed)) : nullptr;
}

Ref<NSManagedObjectID> plv_objectWithEntitiesAsObjectID(const Ref<NSManagedObject>& object) {
  return object && object->managedObjectContext() ? object->objectID() : nullptr;
}

Ref<NSMutableArray> plv_objectWithObjectIDsAsEntityInContext(
    const Ref<NSArray>& array, const Ref<NSManagedObjectContext>& context) {
  const auto convert = [&](const Value& element) { return unboxed(element, context); };
  return array ? as<NSMutableArray>(converted(array, convert)) : nullptr;
}

Ref<NSMutableSet> plv_objectWithObjectIDsAsEntityInContext(
    const Ref<NSSet>& set, const Ref<NSManagedObjectContext>& context) {
  const auto convert = [&](const Value& element) { return unboxed(element, context); };
  return set ? as<NSMutableSet>(converted(set, convert)) : nullptr;
}

Ref<NSManagedObject> plv_objectWithObjectIDsAsEntityInContext(
    const Ref<NSManagedObjectID>& objectID, const Ref<NSManagedObjectContext>& context) {
  if (!objectID || !context) return nullptr;
  return objectID->isTemporaryID() ? context->objectWithID(objectID)
                                   : context->existingObjectWithIDError(objectID, nullptr);
}

Ref<NSManagedObjectID> plv_permanentObjectID(const Ref<NSManagedObject>& object) {
  Ref<NSManagedObjectID> objectID = plv_objectWithEntitiesAsObjectID(object);
  if (!objectID || !objectID->isTemporaryID()) return objectID;
  // Without a permanent ID the temporary one is the answer, whatever the reason was.
  object->managedObjectContext()->obtainPermanentIDsForObjectsError(
      NSArray::arrayWithObject(object), nullptr);
  return object->objectID();
}

}  // namespace JNFoundation
