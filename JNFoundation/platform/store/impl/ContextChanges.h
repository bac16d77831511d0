#pragma once

#include <deque>
#include <vector>

#include <JNFoundation/platform/store/NSManagedObjectID.h>
#include <JNFoundation/platform/store/impl/ObjectAccess.h>

namespace JNFoundation::inline v0_1::impl {

/// Objects with changes of one sort, in the order in which they got them. An object is in one list
/// at most and knows its place there.
class ChangeList {
 public:
  std::size_t count() const noexcept { return _count; }
  bool isEmpty() const noexcept { return _count == 0; }

  void add(NSManagedObject& object) {
    ObjectAccess::changeIndex(object) = static_cast<std::uint32_t>(_objects.size());
    _objects.emplace_back(&object);
    ++_count;
  }

  /// Requires: the object is in the list.
  void remove(NSManagedObject& object) {
    Ref<NSManagedObject> taken = std::move(_objects[ObjectAccess::changeIndex(object)]);
    if (--_count == 0) {
      _objects.clear();
    } else if (_objects.size() > 64 && _count < _objects.size() / 2) {
      closeHoles();
    }
  }

  /// Takes the objects out, without holes.
  std::vector<Ref<NSManagedObject>> takeAll() {
    closeHoles();
    _count = 0;
    return std::exchange(_objects, {});
  }

  std::vector<Ref<NSManagedObject>> objects() const {
    std::vector<Ref<NSManagedObject>> list;
    list.reserve(_count);
    for (const Ref<NSManagedObject>& object : _objects) {
      if (object) list.push_back(object);
    }
    return list;
  }

  /// Calls the function with each object; it must not change the list.
  template <class Function>
  void forEach(Function&& function) const {
    for (const Ref<NSManagedObject>& object : _objects) {
      if (object) function(*object);
    }
  }

 private:
  void closeHoles() {
    if (_count == _objects.size()) return;
    std::size_t to = 0;
    for (std::size_t from = 0; from < _objects.size(); ++from) {
      if (!_objects[from]) continue;
      ObjectAccess::changeIndex(*_objects[from]) = static_cast<std::uint32_t>(to);
      if (to != from) _objects[to] = std::move(_objects[from]);
      ++to;
    }
    _objects.resize(to);
  }

  std::vector<Ref<NSManagedObject>> _objects;
  std::size_t _count = 0;
};

/// What a context has to save.
class ContextChanges {
 public:
  ChangeList inserted;
  ChangeList updated;
  ChangeList deleted;
  /// Deleted objects whose delete rules have not run yet.
  std::deque<Ref<NSManagedObject>> withRules;
  /// The same of objects that were never saved; they are forgotten as soon as the rules have run.
  std::deque<Ref<NSManagedObject>> unsavedWithRules;
  bool isForgetting = false;
  /// Of objects that were never saved and are gone, as long as others may lead to them without a
  /// way back.
  std::vector<Ref<NSManagedObjectID>> forgotten;
  /// Objects without changes whose records the next save holds against the store.
  std::vector<Ref<NSManagedObject>> watched;
  /// Whether the merge policy of a save is being asked.
  bool isMerging = false;

  /// Calls the function with each object as they are now; it may change them.
  template <class Function>
  void forEach(Function&& function) const {
    for (const ChangeList* list : {&inserted, &updated, &deleted}) {
      for (const Ref<NSManagedObject>& object : list->objects()) function(*object);
    }
  }

  bool isEmpty() const noexcept {
    return inserted.isEmpty() && updated.isEmpty() && deleted.isEmpty();
  }
};

}  // namespace JNFoundation::impl
