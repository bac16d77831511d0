#pragma once

#include <JNFoundation/platform/store/impl/ObjectAccess.h>

namespace JNFoundation::inline v0_1::impl {

/// What one context hands to another of an object, across their queues.
struct ObjectSnapshot {
  ObjectKey key;
  const NSEntityDescription* entity;
  std::uint32_t version;
  /// By property number, without relationships to many; null where nothing is known.
  ValueArray values;
};

/// What a context reads of the one above it, as others read stores. The parent works in its own
/// queue, and only snapshots and identifiers come out of it.
/// Threads: the child's.
class ParentContext {
 public:
  /// Requires: the context has a parent.
  explicit ParentContext(NSManagedObjectContext& child);

  /// Appends the child's objects for what the parent's fetch gives. Takes: a request that the
  /// parent may keep, of objects. Fails: returns false and sets the error.
  bool fetch(const Ref<NSFetchRequest>& request, std::vector<Ref<NSManagedObject>>& objects,
             Ref<NSError>* error);
  /// Returns: NSNotFound on failure.
  NSUInteger count(const Ref<NSFetchRequest>& request, Ref<NSError>* error);

  /// What the parent has of the object now. Returns: no values if it has no such object, or has
  /// deleted it.
  ObjectSnapshot read(const ObjectKey& key, const NSEntityDescription& entity);
  /// Appends the child's objects for what the relationship to many leads to in the parent.
  void readMembers(const ObjectKey& key, const NSEntityDescription& entity, std::size_t number,
                   std::vector<Ref<NSManagedObject>>& members);

  /// The predicate with identifiers in the place of the child's objects.
  static Ref<NSPredicate> withIdentifiers(const Ref<NSPredicate>& predicate);

 private:
  void adopt(ObjectSnapshot& snapshot, std::vector<Ref<NSManagedObject>>& objects);

  NSManagedObjectContext& _child;
  NSManagedObjectContext& _parent;
};

}  // namespace JNFoundation::impl
