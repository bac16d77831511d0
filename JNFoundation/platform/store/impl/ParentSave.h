#pragma once

#include <JNFoundation/platform/store/impl/ContextChanges.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>

namespace JNFoundation::inline v0_1::impl {

/// A child's save: its changes, property by property, made in the parent.
///
/// What the child knows is written down in its own queue and done over again in the parent's, with
/// the parent's objects and through both ends of its relationships, so that the ends agree there
/// whatever the parent has changed meanwhile. The child's changes win where both changed a
/// property.
class ParentSave {
 public:
  ParentSave(NSManagedObjectContext& child, const ContextChanges& changes);

  /// Threads: the child's. Fails: returns false, sets the error and has changed nothing: 133020
  /// where the parent does not have an object any more that the child has changed.
  bool run(Ref<NSError>* error);

 private:
  struct Members {
    std::size_t number;
    std::vector<Value> added;
    std::vector<Value> removed;
    /// Null where the order is as it was.
    Ref<NSOrderedSet> order;
  };
  /// What to do with one object; everything by identifier and property number.
  struct Change {
    ObjectKey key;
    const NSEntityDescription* entity;
    std::vector<std::pair<std::size_t, Value>> attributes;
    std::vector<std::pair<std::size_t, Value>> destinations;
    std::vector<Members> members;
    /// The parent's.
    Ref<NSManagedObject> object;
  };

  static Change noted(NSManagedObject& object);

  // In the parent's queue.
  bool apply(Ref<NSError>* error);
  void insert(Change& change);
  void write(const Change& change);
  void relate(const Change& change);
  void relateMany(const Change& change, const Members& members);
  Ref<NSManagedObject> objectOf(const Value& identifier);

  NSManagedObjectContext& _parent;
  std::vector<Change> _inserted;
  std::vector<Change> _updated;
  std::vector<Change> _deleted;
};

}  // namespace JNFoundation::impl
