#pragma once

#include <vector>

#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::inline v0_1::impl {

/// The collections that key paths and predicates look into. A dictionary is none: it is an object
/// with keys.
enum class CollectionKind { None, Array, Set, OrderedSet };

inline CollectionKind collectionKind(const Value& value) noexcept {
  const NSObject* object = value.object();
  if (!object) return CollectionKind::None;
  const Class& cls = object->class_();
  if (cls.isSubclassOf(NSArray::classObject)) return CollectionKind::Array;
  if (cls.isSubclassOf(NSSet::classObject)) return CollectionKind::Set;
  if (cls.isSubclassOf(NSOrderedSet::classObject)) return CollectionKind::OrderedSet;
  return CollectionKind::None;
}

inline bool isCollection(const Value& value) noexcept {
  return collectionKind(value) != CollectionKind::None;
}

/// Null and the null marker, which count the same wherever values are compared.
inline bool isNullLike(const Value& value) noexcept { return value.isNull() || value.isNSNull(); }

/// Calls the function with each member, until it returns false.
/// Returns: false if the value is no collection.
template <class Function>
bool forEachMember(const Value& collection, Function&& function) {
  const auto walk = [&](const auto& members) {
    for (const Value& member : members) {
      if (!function(member)) break;
    }
    return true;
  };
  switch (collectionKind(collection)) {
    case CollectionKind::Array:
      return walk(*static_cast<const NSArray*>(collection.object()));
    case CollectionKind::Set:
      return walk(*static_cast<const NSSet*>(collection.object()));
    case CollectionKind::OrderedSet:
      return walk(*static_cast<const NSOrderedSet*>(collection.object()));
    case CollectionKind::None:
      break;
  }
  return false;
}

/// Appends the members as they are now. Returns: false if the value is no collection.
inline bool appendMembers(const Value& collection, std::vector<Value>& members) {
  return forEachMember(collection, [&](const Value& member) {
    members.push_back(member);
    return true;
  });
}

}  // namespace JNFoundation::impl
