#include "JNFoundation/platform/store/memory/impl/RecordLinks.h"

#include <algorithm>

#include <JNFoundation/platform/store/NSManagedObjectID.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>

namespace JNFoundation::impl {
namespace {

const RecordLinks::Numbers none;

template <class Lists>
const RecordLinks::Numbers& listOf(const Lists& lists,
                                   const NSRelationshipDescription& relationship,
                                   std::int64_t record) {
  const auto found = lists.find(&relationship);
  if (found == lists.end()) return none;
  const auto list = found->second.find(record);
  return list == found->second.end() ? none : list->second;
}

std::int64_t numberIn(const Value* values, std::size_t place) {
  const auto* identifier = values ? as<NSManagedObjectID>(values[place]) : nullptr;
  return identifier ? identifier->number() : 0;
}

}  // namespace

const RecordLinks::Numbers& RecordLinks::members(const NSRelationshipDescription& relationship,
                                                 std::int64_t owner) const {
  return listOf(_members, relationship, owner);
}

const RecordLinks::Numbers& RecordLinks::referrers(const NSRelationshipDescription& relationship,
                                                   std::int64_t record) const {
  return listOf(_owners, relationship, record);
}

void RecordLinks::add(const NSRelationshipDescription& relationship, Numbers& members,
                      std::int64_t member) {
  if (relationship.isToMany() && relationship.isOrdered()) {
    if (std::find(members.begin(), members.end(), member) == members.end()) {
      members.push_back(member);
    }
    return;
  }
  const auto place = std::lower_bound(members.begin(), members.end(), member);
  if (place == members.end() || *place != member) members.insert(place, member);
}

void RecordLinks::take(Numbers& members, std::int64_t member) {
  const auto place = std::find(members.begin(), members.end(), member);
  if (place != members.end()) members.erase(place);
}

void RecordLinks::changeReferences(const NSEntityDescription& entity, std::int64_t record,
                                   const Value* former, const Value* fresh) {
  const EntityLayout& layout = entity.layout();
  for (const std::size_t place : layout.toOnes()) {
    if (!layout[place].stored) continue;
    const NSRelationshipDescription& relationship = *layout[place].relationship;
    const std::int64_t before = numberIn(former, place), after = numberIn(fresh, place);
    if (before == after) continue;
    const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
    const bool isListed = inverse && inverse->isToMany();
    if (before != 0) {
      take(_owners[&relationship][before], record);
      if (isListed) take(_members[inverse.get()][before], record);
    }
    if (after != 0) {
      auto& owners = _owners[&relationship][after];
      owners.insert(std::lower_bound(owners.begin(), owners.end(), record), record);
      if (isListed) add(*inverse, _members[inverse.get()][after], record);
    }
  }
}

void RecordLinks::pair(const NSRelationshipDescription& relationship, std::int64_t owner,
                       std::int64_t member) {
  add(relationship, _members[&relationship][owner], member);
  auto& owners = _owners[&relationship][member];
  const auto place = std::lower_bound(owners.begin(), owners.end(), owner);
  if (place == owners.end() || *place != owner) owners.insert(place, owner);
}

void RecordLinks::part(const NSRelationshipDescription& relationship, std::int64_t owner,
                       std::int64_t member) {
  take(_members[&relationship][owner], member);
  take(_owners[&relationship][member], owner);
}

void RecordLinks::change(const StoreLinkChange& change) {
  const NSRelationshipDescription& relationship = *change.relationship;
  const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
  // Members that name their owner are listed by what they say; their order alone stands here.
  const bool hasPairs = !inverse || inverse->isToMany() || inverse->isTransient();
  const bool isMutual = hasPairs && inverse && inverse.get() != &relationship;
  for (const std::int64_t member : change.removed) {
    if (!hasPairs) continue;
    part(relationship, change.primaryKey, member);
    if (isMutual) part(*inverse, member, change.primaryKey);
  }
  Numbers& members = _members[&relationship][change.primaryKey];
  for (const std::int64_t member : change.added) {
    if (hasPairs) {
      pair(relationship, change.primaryKey, member);
      if (isMutual) pair(*inverse, member, change.primaryKey);
    } else if (std::find(members.begin(), members.end(), member) != members.end()) {
      take(members, member);
      members.push_back(member);
    }
  }
  if (change.order.empty() || !relationship.isOrdered()) return;
  // Members that somebody else added meanwhile stay, behind those whose order is known.
  std::unordered_map<std::int64_t, std::size_t> places;
  for (const std::int64_t member : change.order) places.emplace(member, places.size());
  Numbers& ordered = _members[&relationship][change.primaryKey];
  std::stable_sort(ordered.begin(), ordered.end(), [&](std::int64_t left, std::int64_t right) {
    const auto placeOf = [&](std::int64_t member) {
      const auto found = places.find(member);
      return found == places.end() ? places.size() : found->second;
    };
    return placeOf(left) < placeOf(right);
  });
}

void RecordLinks::remove(const NSEntityDescription& entity, std::int64_t record) {
  const EntityLayout& layout = entity.layout();
  for (const std::size_t place : layout.toManys()) {
    const auto found = _members.find(layout[place].relationship.get());
    if (found == _members.end()) continue;
    if (const auto list = found->second.find(record); list != found->second.end()) {
      for (const std::int64_t member : list->second) {
        take(_owners[layout[place].relationship.get()][member], record);
      }
      found->second.erase(list);
    }
  }
  for (auto& [relationship, lists] : _owners) {
    if (!relationship->isToMany() ||
        &relationship->destinationEntity()->layout().root() != &layout.root()) {
      continue;
    }
    const auto list = lists.find(record);
    if (list == lists.end()) continue;
    for (const std::int64_t owner : list->second) take(_members[relationship][owner], record);
    lists.erase(list);
  }
}

}  // namespace JNFoundation::impl
