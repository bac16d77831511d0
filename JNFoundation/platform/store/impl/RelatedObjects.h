#pragma once

#include <unordered_map>
#include <vector>

#include <JNFoundation/platform/store/NSManagedObjectID.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>

namespace JNFoundation::impl {

/// What identifiers of objects that were never saved become at a save, by their numbers.
using PermanentIDs = std::unordered_map<std::int64_t, Ref<NSManagedObjectID>>;

/// What one object's relationship to many leads to, by identifier: the members as far as they were
/// read, and what was changed since the last save. A change need not know the members, so that a
/// child finds its parent without the parent's other children being read.
/// Threads: the context's.
class RelatedObjects final : public NSObject {
 public:
  using Identifier = Ref<NSManagedObjectID>;

  bool isLoaded() const noexcept { return static_cast<bool>(_members); }
  /// Takes what the store has, in its order; the changes made so far stay on top.
  void load(std::vector<Value> stored);
  /// Identifiers in order. Requires: they are loaded.
  const NSMutableOrderedSet& members() const noexcept { return *_members; }

  /// At the end. Returns: false for what is known to be a member.
  bool add(const Identifier& member);
  /// Returns: false for what is known to be no member.
  bool remove(const Identifier& member);
  /// Requires: the members are loaded, and it is one.
  void move(const Identifier& member, NSUInteger index);
  /// Requires: the members are loaded, and these are they.
  void setOrder(std::vector<Value> members);

  bool hasChanges() const noexcept {
    return (_added && _added->count() > 0) || (_removed && _removed->count() > 0) || _isReordered;
  }
  /// The members, if some that the store has stand in another order now. Returns: null otherwise.
  Ref<NSOrderedSet> newOrder() const { return _isReordered ? _members : nullptr; }
  /// Identifiers since the last save; null for none.
  const Ref<NSMutableOrderedSet>& added() const noexcept { return _added; }
  const Ref<NSMutableOrderedSet>& removed() const noexcept { return _removed; }
  /// The members that the store has, as far as they are known.
  Ref<NSOrderedSet> membersBefore() const;

  /// A member has another identifier now.
  void rename(const Identifier& former, const Identifier& fresh);
  /// The changes were saved.
  void settle(const PermanentIDs& permanentIDs);

  /// Counts the changes of what the members are.
  std::uint64_t edits() const noexcept { return _edits; }

  /// The collection of objects last handed out, as long as somebody has it and nothing changed.
  Ref<NSObject> view() const noexcept { return _view.load(); }
  void setView(const Ref<NSObject>& view) noexcept { _view = Weak<NSObject>(view); }

 private:
  Ref<NSMutableOrderedSet> _members;
  Ref<NSMutableOrderedSet> _added;
  Ref<NSMutableOrderedSet> _removed;
  void noteEdit() noexcept {
    ++_edits;
    _view = nullptr;
  }

  Weak<NSObject> _view;
  std::uint64_t _edits = 0;
  bool _isReordered = false;
};

}  // namespace JNFoundation::impl
