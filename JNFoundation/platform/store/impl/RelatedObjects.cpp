#include "JNFoundation/platform/store/impl/RelatedObjects.h"

namespace JNFoundation::impl {
namespace {

bool contains(const Ref<NSMutableOrderedSet>& identifiers, const Value& identifier) {
  return identifiers && identifiers->containsObject(identifier);
}

void put(Ref<NSMutableOrderedSet>& identifiers, const Value& identifier) {
  if (!identifiers) identifiers = NSMutableOrderedSet::orderedSet();
  identifiers->addObject(identifier);
}

}  // namespace

void RelatedObjects::load(std::vector<Value> stored) {
  _members = NSMutableOrderedSet::orderedSetWithValues(std::move(stored));
  if (_removed) _members->minusOrderedSet(_removed);
  if (_added) {
    _members->minusOrderedSet(_added);
    _members->unionOrderedSet(_added);
  }
}

bool RelatedObjects::add(const Identifier& member) {
  if (contains(_members, member) || contains(_added, member)) return false;
  if (contains(_removed, member)) {
    // It stands at another place than the store has it at: last.
    _removed->removeObject(member);
    _isReordered = _isReordered || _members;
    if (!_members) put(_added, member);
  } else {
    put(_added, member);
  }
  if (_members) _members->addObject(member);
  noteEdit();
  return true;
}

bool RelatedObjects::remove(const Identifier& member) {
  if (_members ? !_members->containsObject(member) : contains(_removed, member)) return false;
  if (contains(_added, member)) {
    _added->removeObject(member);
  } else {
    put(_removed, member);
  }
  if (_members) _members->removeObject(member);
  noteEdit();
  return true;
}

void RelatedObjects::move(const Identifier& member, NSUInteger index) {
  if (_members->indexOfObject(member) == index) return;
  _members->removeObject(member);
  _members->insertObjectAtIndex(member, index);
  _isReordered = true;
  noteEdit();
}

void RelatedObjects::setOrder(std::vector<Value> members) {
  Ref<NSMutableOrderedSet> ordered = NSMutableOrderedSet::orderedSetWithValues(std::move(members));
  if (_members->isEqualToOrderedSet(ordered)) return;
  _members = std::move(ordered);
  _isReordered = true;
  noteEdit();
}

Ref<NSOrderedSet> RelatedObjects::membersBefore() const {
  Ref<NSMutableOrderedSet> before = NSMutableOrderedSet::orderedSetWithOrderedSet(_members);
  if (_added) before->minusOrderedSet(_added);
  if (_removed) before->unionOrderedSet(_removed);
  return before;
}

void RelatedObjects::rename(const Identifier& former, const Identifier& fresh) {
  for (const Ref<NSMutableOrderedSet>& identifiers : {_members, _added}) {
    if (!contains(identifiers, former)) continue;
    identifiers->replaceObjectAtIndexWithObject(identifiers->indexOfObject(former), fresh);
  }
}

void RelatedObjects::settle(const PermanentIDs& permanentIDs) {
  if (_added && _members && !permanentIDs.empty()) {
    for (const Value& value : _added) {
      const auto* identifier = as<NSManagedObjectID>(value);
      if (!identifier->isTemporaryID()) continue;
      const auto permanent = permanentIDs.find(identifier->number());
      if (permanent == permanentIDs.end()) continue;
      _members->replaceObjectAtIndexWithObject(_members->indexOfObject(value), permanent->second);
    }
  }
  _added = nullptr;
  _removed = nullptr;
  _isReordered = false;
}

}  // namespace JNFoundation::impl
