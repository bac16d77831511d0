#pragma once

#include <JNFoundation/platform/store/NSPersistentStore.h>

namespace JNFoundation::inline v0_1 {

class KeyPath;
class NSExpression;
class NSPredicate;

namespace impl {

/// Looks through what a request asks for before a store is asked, so that a mistake shows whether
/// or not there are records. Fail: raise NSInvalidArgumentException for a key path that leads from
/// the entity to anything but properties (or `objectID`), and for a transient property.
void checkPredicateKeys(const NSEntityDescription& entity, const NSPredicate& predicate);
void checkExpressionKeys(const NSEntityDescription& entity, const NSExpression& expression);
void checkSortKeys(const NSEntityDescription& entity, const NSArray& descriptors);

/// The entities of those other records that a fetch looks at by their properties, beyond the fact
/// that they are related.
class RelatedEntities {
 public:
  explicit RelatedEntities(const NSEntityDescription& entity) : _entity(entity) {}

  void add(const NSPredicate& predicate);
  void add(const NSArray& sortDescriptors);

  bool isEmpty() const noexcept { return !_mayBeAny && _entities.empty(); }
  bool has(const NSEntityDescription& entity) const;

 private:
  class PathWalker;
  void follow(const KeyPath& path);

  const NSEntityDescription& _entity;
  std::vector<const NSEntityDescription*> _entities;
  /// Where only an evaluation would tell.
  bool _mayBeAny = false;
};

/// Whether a predicate wants true objects: it has a block or sends messages.
bool wantsObjects(const NSPredicate& predicate);

/// Whether it speaks of records as such: of SELF or objectID, or of certain objects or identifiers.
bool namesRecords(const NSPredicate& predicate);

/// Whether the expression calls a function that makes one value of many records, as "max:" of a key
/// path does.
bool isAggregateCall(const NSExpression& expression);
/// Whether such a call is the expression or a part of it.
bool hasAggregate(const Ref<NSExpression>& expression);

}  // namespace impl
}  // namespace JNFoundation
