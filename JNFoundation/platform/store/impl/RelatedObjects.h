#pragma once

#include <unordered_map>
#include <vector>

#include <JNFoundation/platform/store/NSManagedObjectID.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>

namespace JNFoundation::inline v0_1::impl {

/// What identifiers of objects that were never saved become at a save, by their numbers.
using PermanentIDs = std::unordered_map<std::int64_t, Ref<NSManagedObjectID>>;

/// The identifiers in a list of its own; none for null.
std::vector<Value> listOf(const Ref<NSOrderedSet>& identifiers);

/// What one object's relationship to many leads to, by identifier: the members as far as they were
/// read, and what was changed since the last save. A change need not know the members, so that a
/// child finds its parent without the parent's other children being read.
/// Threads: the context's.
class RelatedObjects final : public NSObject {
 public:
  using Identifier = Ref<NSManagedObjectID>;

  explicit RelatedObjects(bool isOrdered) : _isOrdered(isOrdered) {}

  bool isLoaded() const noexcept { return static_cast<bool>(_members); }
  /// Takes what the store has, in its order; the changes made so far stay on top, those that turn
  /// out to be none are forgotten.
  void load(std::vector<Value> stored);
  /// Identifiers in order. Requires: they are loaded.
  const NSMutableOrderedSet& members() const noexcept { return *_members; }

  /// At the end. Returns: false for what is known to be a member.
  bool add(const Identifier& member);
  /// Returns: false for what is known to be no member.
  bool remove(const Identifier& member);
  /// The same, and one that is known to be no member is none either when the store, which may have
  /// it by now, is read again.
  void exclude(const Identifier& member);
  /// Requires: the members are loaded.
  void removeAll();
  /// Requires: the members are loaded, and it is one.
  void move(const Identifier& member, NSUInteger index);
  /// Requires: the members are loaded, and these are they.
  void setOrder(std::vector<Value> members);

  bool hasChanges() const noexcept {
    return (_added && _added->count() > 0) || (_removed && _removed->count() > 0) || _isReordered;
  }
  /// The members, if some that the store has stand in another order now. Returns: null otherwise.
  Ref<NSOrderedSet> newOrder() const { return _isReordered ? _members : nullptr; }
  /// Identifiers since the last save; null for none. What is in both was removed first, so that it
  /// stands last now.
  const Ref<NSMutableOrderedSet>& added() const noexcept { return _added; }
  const Ref<NSMutableOrderedSet>& removed() const noexcept { return _removed; }
  /// What the members were when last read or saved. Requires: they are loaded.
  Ref<NSOrderedSet> membersBefore() const;

  /// A member has another identifier now.
  void rename(const Identifier& former, const Identifier& fresh);
  void rename(const PermanentIDs& permanentIDs);
  /// The store has other members now; the changes stay on top. Requires: the members are loaded.
  void rebase(std::vector<Value> stored);
  /// The changes were saved.
  void settle(const PermanentIDs& permanentIDs);
  /// The changes are dropped.
  void revert();
  /// Members that the store has stand in its order again, those that were added behind them.
  void dropOrder();
  /// What was added is there already.
  void noteStored(const Identifier& member) {
    if (_added) _added->removeObject(Value(member));
  }
  /// No store has any of them any more. Requires: the members are loaded.
  void markAllAdded();

  /// Counts the changes of what the members are.
  std::uint64_t edits() const noexcept { return _edits; }

  /// The collection of objects last handed out, as long as somebody has it and nothing changed.
  Ref<NSObject> view() const noexcept { return _view.load(); }
  void setView(const Ref<NSObject>& view) noexcept { _view = Weak<NSObject>(view); }

 private:
  void keepOrderBefore();
  void noteEdit() noexcept {
    ++_edits;
    _view = nullptr;
  }

  Ref<NSMutableOrderedSet> _members;
  Ref<NSMutableOrderedSet> _added;
  Ref<NSMutableOrderedSet> _removed;
  /// No members here, though the store may have them by now; null for none.
  Ref<NSMutableOrderedSet> _excluded;
  /// The members before the first change that lost their order; null while that can be told.
  Ref<NSOrderedSet> _before;
  Weak<NSObject> _view;
  std::uint64_t _edits = 0;
  const bool _isOrdered;
  bool _isReordered = false;
};

}  // namespace JNFoundation::impl
