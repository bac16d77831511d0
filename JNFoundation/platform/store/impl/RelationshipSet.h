#pragma once

#include <JNFoundation/platform/store/impl/Relations.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::inline v0_1::impl {

/// The members of a relationship to many as a live set last saw them. What goes through the set is
/// done to them as well, so that adding one by one does not collect all of them each time.
template <class Mutable>
class LiveMembers {
 public:
  LiveMembers(Ref<NSManagedObject> owner, std::size_t number)
      : _owner(std::move(owner)), _number(number) {}

  NSManagedObject& owner() const noexcept { return *_owner; }
  std::size_t number() const noexcept { return _number; }

  const Ref<Mutable>& members() const {
    if (isCurrent()) return _members;
    const Value now = Relations::value(*_owner, _number);
    const Value changeable = now.object()->mutableCopy();
    _members = Ref<Mutable>(as<Mutable>(changeable));
    note();
    return _members;
  }

  /// Calls: the first function, which changes the object, and the second with the members if they
  /// are known.
  template <class Change, class Follow>
  void change(Change&& change, Follow&& follow) {
    const bool wasCurrent = isCurrent();
    change();
    if (!wasCurrent) return;
    follow(*_members);
    note();
    // A fault that awoke on the way may have changed them as well.
    if (!_state || _members->count() != _state->members().count()) _state = nullptr;
  }

 private:
  bool isCurrent() const {
    const RelatedObjects* state = Relations::known(*_owner, _number);
    return _members && state && state == _state.get() && state->edits() == _edits;
  }
  void note() const {
    _state = Ref<RelatedObjects>(Relations::known(*_owner, _number));
    _edits = _state ? _state->edits() : 0;
  }

  Ref<NSManagedObject> _owner;
  std::size_t _number;
  mutable Ref<Mutable> _members;
  mutable Ref<RelatedObjects> _state;
  mutable std::uint64_t _edits = 0;
};

/// The live set of a relationship to many: reads and changes go to the object.
class RelationshipSet final : public NSMutableSet {
 public:
  RelationshipSet(Ref<NSManagedObject> owner, std::size_t number)
      : NSMutableSet(Representation::Foreign), _live(std::move(owner), number) {}

 private:
  Ref<NSSet> foreignContents() const override { return _live.members(); }
  void foreignAddObject(const Value& object) override {
    _live.change([&] { Relations::add(_live.owner(), _live.number(), object); },
                 [&](NSMutableSet& members) { members.addObject(object); });
  }
  void foreignRemoveObject(const Value& object) override {
    const Value removed = object;
    _live.change([&] { Relations::remove(_live.owner(), _live.number(), removed); },
                 [&](NSMutableSet& members) { members.removeObject(removed); });
  }

  LiveMembers<NSMutableSet> _live;
};

/// The same in order.
class OrderedRelationshipSet final : public NSMutableOrderedSet {
 public:
  OrderedRelationshipSet(Ref<NSManagedObject> owner, std::size_t number)
      : NSMutableOrderedSet(Representation::Foreign), _live(std::move(owner), number) {}

 private:
  Ref<NSOrderedSet> foreignContents() const override { return _live.members(); }
  void foreignInsertObjectAtIndex(const Value& object, NSUInteger index) override {
    _live.change([&] { Relations::insert(_live.owner(), _live.number(), object, index); },
                 [&](NSMutableOrderedSet& members) { members.insertObjectAtIndex(object, index); });
  }
  void foreignRemoveObjectAtIndex(NSUInteger index) override {
    // Neither asks for an index where none is needed: that would close the holes that removals
    // leave, each time.
    const Ref<NSMutableOrderedSet>& known = _live.members();
    const bool isLast = index + 1 == known->count();
    const Value removed = isLast ? known->lastObject() : known->objectAtIndex(index);
    _live.change([&] { Relations::remove(_live.owner(), _live.number(), removed); },
                 [&](NSMutableOrderedSet& members) { members.removeObject(removed); });
  }

  LiveMembers<NSMutableOrderedSet> _live;
};

}  // namespace JNFoundation::impl
