#include "JNFoundation/platform/store/impl/RelatedObjects.h"

#include <utility>

namespace JNFoundation::inline v0_1::impl {
namespace {

bool contains(const Ref<NSMutableOrderedSet>& identifiers, const Value& identifier) {
  return identifiers && identifiers->containsObject(identifier);
}

void put(Ref<NSMutableOrderedSet>& identifiers, const Value& identifier) {
  if (!identifiers) identifiers = NSMutableOrderedSet::orderedSet();
  identifiers->addObject(identifier);
}

void renameIn(NSMutableOrderedSet& identifiers, const PermanentIDs& permanentIDs) {
  for (NSUInteger i = 0; i < identifiers.count(); ++i) {
    const Value value = identifiers.objectAtIndex(i);
    const auto* identifier = as<NSManagedObjectID>(value);
    if (!identifier->isTemporaryID()) continue;
    const auto permanent = permanentIDs.find(identifier->number());
    if (permanent == permanentIDs.end()) continue;
    identifiers.replaceObjectAtIndexWithObject(i, Value(permanent->second));
  }
}

}  // namespace

std::vector<Value> listOf(const Ref<NSOrderedSet>& identifiers) {
  std::vector<Value> list;
  if (!identifiers) return list;
  list.reserve(identifiers->count());
  for (const Value& identifier : identifiers) list.push_back(identifier);
  return list;
}

void RelatedObjects::load(std::vector<Value> stored) {
  _members = NSMutableOrderedSet::orderedSetWithValues(std::move(stored));
  for (const Value& member : listOf(std::exchange(_excluded, nullptr))) {
    if (_members->containsObject(member) && !contains(_added, member)) put(_removed, member);
  }
  if (_removed) _removed->intersectOrderedSet(_members);
  if (_removed && _removed->count() > 0) {
    if (_isOrdered) _before = NSOrderedSet::orderedSetWithOrderedSet(_members);
    _members->minusOrderedSet(_removed);
  }
  if (!_added) return;
  _added->minusOrderedSet(_members);
  _members->unionOrderedSet(_added);
}

/// Of a set without order the changes tell what it was; an order has to be kept.
void RelatedObjects::keepOrderBefore() {
  if (_isOrdered && _members && !_before) _before = membersBefore();
}

bool RelatedObjects::add(const Identifier& member) {
  if (_excluded) _excluded->removeObject(Value(member));
  if (contains(_members ? _members : _added, member)) return false;
  if (_members && contains(_removed, member)) {
    // It is a member as before, at another place.
    _removed->removeObject(member);
    _isReordered = _isOrdered;
  } else {
    put(_added, member);
  }
  if (_members) _members->addObject(member);
  noteEdit();
  return true;
}

bool RelatedObjects::remove(const Identifier& member) {
  const bool isAdded = contains(_added, member);
  if (_members ? !_members->containsObject(member) : contains(_removed, member) && !isAdded) {
    return false;
  }
  keepOrderBefore();
  if (isAdded) _added->removeObject(member);
  // What was added unseen may have been a member all the same.
  if (!isAdded || !_members) put(_removed, member);
  if (_members) _members->removeObject(member);
  noteEdit();
  return true;
}

void RelatedObjects::exclude(const Identifier& member) {
  if (!remove(member) && !contains(_removed, member)) put(_excluded, member);
}

void RelatedObjects::removeAll() {
  if (_members->count() == 0) return;
  keepOrderBefore();
  if (_added) _members->minusOrderedSet(_added);
  if (_removed) {
    _removed->unionOrderedSet(_members);
  } else {
    _removed = _members;
  }
  _members = NSMutableOrderedSet::orderedSet();
  _added = nullptr;
  noteEdit();
}

void RelatedObjects::move(const Identifier& member, NSUInteger index) {
  if (_members->indexOfObject(member) == index) return;
  keepOrderBefore();
  _members->removeObject(member);
  _members->insertObjectAtIndex(member, index);
  _isReordered = true;
  noteEdit();
}

void RelatedObjects::setOrder(std::vector<Value> members) {
  Ref<NSMutableOrderedSet> ordered = NSMutableOrderedSet::orderedSetWithValues(std::move(members));
  if (_members->isEqualToOrderedSet(ordered)) return;
  keepOrderBefore();
  _members = std::move(ordered);
  _isReordered = true;
  noteEdit();
}

Ref<NSOrderedSet> RelatedObjects::membersBefore() const {
  if (_before) return _before;
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

void RelatedObjects::rename(const PermanentIDs& permanentIDs) {
  for (const Ref<NSMutableOrderedSet>& identifiers : {_members, _added, _removed, _excluded}) {
    if (identifiers) renameIn(*identifiers, permanentIDs);
  }
  if (!_before) return;
  const auto before = NSMutableOrderedSet::orderedSetWithOrderedSet(_before);
  renameIn(*before, permanentIDs);
  _before = before;
}

void RelatedObjects::rebase(std::vector<Value> stored) {
  const Ref<NSOrderedSet> order = newOrder();
  const Ref<NSOrderedSet> before = NSOrderedSet::orderedSetWithValues(stored);
  _before = nullptr;
  _isReordered = false;
  load(std::move(stored));
  noteEdit();
  if (!order) return;
  // The order from here, and behind it what came from elsewhere.
  const Ref<NSMutableOrderedSet> members = NSMutableOrderedSet::orderedSetWithOrderedSet(order);
  members->intersectOrderedSet(_members);
  members->unionOrderedSet(_members);
  _before = before;
  setOrder(listOf(members));
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
  _excluded = nullptr;
  _before = nullptr;
  _isReordered = false;
}

void RelatedObjects::revert() {
  if (_members) _members = NSMutableOrderedSet::orderedSetWithOrderedSet(membersBefore());
  _added = nullptr;
  _removed = nullptr;
  _excluded = nullptr;
  _before = nullptr;
  _isReordered = false;
  noteEdit();
}

void RelatedObjects::dropOrder() {
  if (!_isReordered) return;
  Ref<NSMutableOrderedSet> members = NSMutableOrderedSet::orderedSetWithOrderedSet(membersBefore());
  members->intersectOrderedSet(_members);
  members->unionOrderedSet(_members);
  _members = std::move(members);
  _isReordered = false;
  noteEdit();
}

void RelatedObjects::markAllAdded() {
  _added = NSMutableOrderedSet::orderedSetWithOrderedSet(_members);
  _removed = nullptr;
  _before = nullptr;
  _isReordered = false;
}

}  // namespace JNFoundation::impl
