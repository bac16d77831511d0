#include "JNFoundation/platform/store/impl/OneWayReferences.h"

#include <algorithm>
#include <utility>

#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/Relations.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

using Objects = std::vector<Ref<NSManagedObject>>;

/// Whether others may lead to the object without its knowing of them.
bool isLedToWithoutWayBack(const NSManagedObject& object) {
  return object.entity()->layout().isLedToWithoutWayBack();
}

Ref<NSSet> identifiersOf(const Objects& objects) {
  std::vector<Value> identifiers;
  identifiers.reserve(objects.size());
  for (const Ref<NSManagedObject>& object : objects) identifiers.emplace_back(object->objectID());
  return NSSet::setWithValues(std::move(identifiers));
}

}  // namespace

void letGoOfWhatGoes(ContextChanges& changes) {
  const auto forgotten = std::exchange(changes.forgotten, {});
  Objects deleted;
  changes.deleted.forEach([&](NSManagedObject& object) {
    if (isLedToWithoutWayBack(object)) deleted.emplace_back(&object);
  });
  if (forgotten.empty() && deleted.empty()) return;
  const Ref<NSSet> unsaved = NSSet::setWithValues({forgotten.begin(), forgotten.end()});
  const Ref<NSSet> saved = identifiersOf(deleted);
  changes.forEach([&](NSManagedObject& object) { Relations::letGoOfForgotten(object, *unsaved); });
  // May have to read, and so fail.
  changes.forEach([&](NSManagedObject& object) { Relations::letGoOfAdded(object, *saved); });
}

void forgetDeletedMembers(const ObjectRegistry& registry, const Objects& deleted) {
  const bool isLedTo = std::any_of(
      deleted.begin(), deleted.end(),
      [](const Ref<NSManagedObject>& object) { return isLedToWithoutWayBack(*object); });
  if (!isLedTo) return;
  const Ref<NSSet> gone = identifiersOf(deleted);
  for (const Ref<NSManagedObject>& object : registry.all()) {
    if (Relations::forgetMembers(*object, *gone)) ObjectAccess::noteRefreshed(*object);
  }
}

}  // namespace JNFoundation::impl
