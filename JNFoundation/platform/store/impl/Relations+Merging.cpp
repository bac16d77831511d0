#include <JNFoundation/platform/store/impl/Relations.h>

namespace JNFoundation::inline v0_1::impl {

bool Relations::hasPairs(const NSRelationshipDescription& relationship) {
  const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
  return !inverse || inverse->isToMany();
}

void Relations::letGo(NSManagedObject& object) {
  const EntityLayout& layout = object.entity()->layout();
  for (const auto numbers : {layout.toOnes(), layout.toManys()}) {
    for (const std::size_t number : numbers) {
      const NSRelationshipDescription& relationship = *layout[number].relationship;
      if (!relationship.inverseRelationship()) continue;
      for (const Ref<NSManagedObject>& other : destinations(object, number)) {
        detach(inverseAt(*other, relationship), object);
      }
    }
  }
  forget(object);
}

void Relations::letGoOf(NSManagedObject& object, std::size_t number, NSManagedObject& other) {
  detach(inverseAt(other, *object.entity()->layout()[number].relationship), object);
}

void Relations::noteStoredMember(NSManagedObject& object, std::size_t number,
                                 NSManagedObject& other) {
  const End end = inverseAt(other, *object.entity()->layout()[number].relationship);
  if (end.number == EntityLayout::none || !other.entity()->layout()[end.number].isToMany()) return;
  if (RelatedObjects* back = known(other, end.number)) back->noteStored(object.objectID());
}

void Relations::dropMemberChanges(NSManagedObject& object) {
  const EntityLayout& layout = object.entity()->layout();
  for (const std::size_t number : layout.toManys()) {
    const Ref<RelatedObjects> state(known(object, number));
    if (!state || !state->hasChanges()) continue;
    const NSRelationshipDescription& relationship = *layout[number].relationship;
    std::vector<Ref<NSManagedObject>> read;
    // Only of known members can be told that nothing is left of the changes.
    loaded(object, number, read);
    if (hasPairs(relationship)) {
      const auto objects = [&](const Ref<NSMutableOrderedSet>& identifiers) {
        std::vector<Ref<NSManagedObject>> found;
        if (!identifiers) return found;
        for (const Value& identifier : *identifiers) {
          Ref<NSManagedObject> member = objectOf(object, identifier);
          if (!member || !ObjectAccess::canFire(*member)) continue;
          const End end = inverseAt(*member, relationship);
          if (end.number != EntityLayout::none) {
            fireFault(*member);
            std::vector<Ref<NSManagedObject>> others;
            loaded(*member, end.number, others);
          }
          found.push_back(std::move(member));
        }
        return found;
      };
      const auto added = objects(state->added()), removed = objects(state->removed());
      for (const Ref<NSManagedObject>& member : added) removeMember(object, number, *member);
      for (const Ref<NSManagedObject>& member : removed) {
        if (!member->isDeleted()) addMember(object, number, *member);
      }
    }
    state->dropOrder();
  }
}

void Relations::takeBackMembers(NSManagedObject& object,
                                std::vector<Ref<NSManagedObject>>& deletedWithIt) {
  const EntityLayout& layout = object.entity()->layout();
  const Ref<NSManagedObjectID> own = object.objectID();
  for (const std::size_t number : layout.toManys()) {
    const NSRelationshipDescription& relationship = *layout[number].relationship;
    if (relationship.isTransient()) continue;
    ObjectAccess::values(object)[number] = nullptr;
    if (ObjectAccess::committed(object)) ObjectAccess::committed(object)[number] = nullptr;
    const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
    for (const Ref<NSManagedObject>& member : destinations(object, number)) {
      if (!inverse) break;
      if (member->isDeleted() && relationship.deleteRule() == NSCascadeDeleteRule) {
        deletedWithIt.push_back(member);
      }
      fireFault(*member);
      const End end = inverseAt(*member, relationship);
      if (inverse->isToMany()) {
        RelatedObjects& back = related(*member, end.number);
        if (!back.removed() || !back.removed()->containsObject(Value(own))) continue;
        ObjectAccess::willRelate(*member);
        back.add(own);
        continue;
      }
      const Ref<NSManagedObjectID> owner = identifierAt(*member, end.number);
      if (owner && owner->isEqual(Value(own))) continue;
      const ValueArray& before = ObjectAccess::committed(*member);
      if (!owner && before && own->isEqual(before[end.number])) {
        ObjectAccess::willRelate(*member);
        ObjectAccess::values(*member)[end.number] = Value(own);
      } else {
        // In this context it belongs to somebody else by now.
        related(object, number).remove(member->objectID());
      }
    }
  }
}

}  // namespace JNFoundation::impl
