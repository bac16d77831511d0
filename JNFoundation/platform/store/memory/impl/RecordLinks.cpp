#include "JNFoundation/platform/store/memory/impl/RecordLinks.h"

#include <JNFoundation/platform/store/NSManagedObjectID.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

template <class Lists>
RecordLinks::Numbers listOf(const Lists& lists, const NSRelationshipDescription& relationship,
                            std::int64_t record) {
  const auto found = lists.find(&relationship);
  if (found == lists.end()) return {};
  const auto list = found->second.find(record);
  return list == found->second.end() ? RecordLinks::Numbers() : list->second.members();
}

std::int64_t numberIn(const Value* values, std::size_t place) {
  const auto* identifier = values ? as<NSManagedObjectID>(values[place]) : nullptr;
  return identifier ? identifier->number() : 0;
}

/// The way back that has a list of its own; null where there is none, or it is the same one.
const NSRelationshipDescription* mutualOf(const NSRelationshipDescription& relationship) {
  const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
  const bool isMutual = inverse && inverse->isToMany() && inverse.get() != &relationship;
  return isMutual ? inverse.get() : nullptr;
}

}  // namespace

bool RecordLinks::hasPairs(const NSRelationshipDescription& relationship) {
  const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
  return !inverse || inverse->isToMany() || inverse->isTransient();
}

RecordLinks::Numbers RecordLinks::members(const NSRelationshipDescription& relationship,
                                          std::int64_t owner) const {
  return listOf(_members, relationship, owner);
}

RecordLinks::Numbers RecordLinks::referrers(const NSRelationshipDescription& relationship,
                                            std::int64_t record) const {
  return listOf(_owners, relationship, record);
}

MemberList& RecordLinks::membersOf(const NSRelationshipDescription& relationship,
                                   std::int64_t owner) {
  return _members[&relationship].try_emplace(owner, relationship.isOrdered()).first->second;
}

MemberList& RecordLinks::ownersOf(const NSRelationshipDescription& relationship,
                                  std::int64_t record) {
  return _owners[&relationship].try_emplace(record, false).first->second;
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
      ownersOf(relationship, before).remove(record);
      if (isListed) membersOf(*inverse, before).remove(record);
    }
    if (after != 0) {
      ownersOf(relationship, after).add(record);
      if (isListed) membersOf(*inverse, after).add(record);
    }
  }
}

void RecordLinks::pair(const NSRelationshipDescription& relationship, std::int64_t owner,
                       std::int64_t member) {
  membersOf(relationship, owner).add(member);
  ownersOf(relationship, member).add(owner);
}

void RecordLinks::part(const NSRelationshipDescription& relationship, std::int64_t owner,
                       std::int64_t member) {
  membersOf(relationship, owner).remove(member);
  ownersOf(relationship, member).remove(owner);
}

void RecordLinks::takeOut(const StoreLinkChange& change) {
  const NSRelationshipDescription& relationship = *change.relationship;
  // Members that name their owner are listed by what they say; their order alone stands here.
  if (!hasPairs(relationship)) return;
  const NSRelationshipDescription* mutual = mutualOf(relationship);
  for (const std::int64_t member : change.removed) {
    part(relationship, change.primaryKey, member);
    if (mutual) part(*mutual, member, change.primaryKey);
  }
}

void RecordLinks::bringIn(const StoreLinkChange& change) {
  const NSRelationshipDescription& relationship = *change.relationship;
  const bool isPair = hasPairs(relationship);
  const NSRelationshipDescription* mutual = mutualOf(relationship);
  MemberList& members = membersOf(relationship, change.primaryKey);
  for (const std::int64_t member : change.added) {
    if (isPair) {
      pair(relationship, change.primaryKey, member);
      if (mutual) pair(*mutual, member, change.primaryKey);
      // A pair that somebody else had made keeps its place.
      if (members.hasPlace(member)) continue;
    }
    members.moveToEnd(member);
  }
}

void RecordLinks::change(std::span<const StoreLinkChange> changes) {
  // Both ends of a pair tell of it, so that all that goes has to go before anything comes.
  for (const StoreLinkChange& change : changes) takeOut(change);
  for (const StoreLinkChange& change : changes) bringIn(change);
  for (const StoreLinkChange& change : changes) {
    if (!change.order.empty()) {
      membersOf(*change.relationship, change.primaryKey).putInOrder(change.order);
    }
  }
}

void RecordLinks::remove(const NSEntityDescription& entity, std::int64_t record) {
  const EntityLayout& layout = entity.layout();
  for (const std::size_t place : layout.toManys()) {
    const NSRelationshipDescription& relationship = *layout[place].relationship;
    for (const std::int64_t member : members(relationship, record)) {
      ownersOf(relationship, member).remove(record);
    }
    if (const auto found = _members.find(&relationship); found != _members.end()) {
      found->second.erase(record);
    }
  }
  for (auto& [relationship, lists] : _owners) {
    if (!relationship->isToMany() ||
        &relationship->destinationEntity()->layout().root() != &layout.root()) {
      continue;
    }
    const auto list = lists.find(record);
    if (list == lists.end()) continue;
    for (const std::int64_t owner : list->second.members()) {
      membersOf(*relationship, owner).remove(record);
    }
    lists.erase(list);
  }
}

}  // namespace JNFoundation::impl
