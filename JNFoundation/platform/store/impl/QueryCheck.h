#pragma once

#include <JNFoundation/platform/store/NSPersistentStore.h>

namespace JNFoundation {

class NSExpression;
class NSPredicate;

namespace impl {

/// Looks through what a request asks for before a store is asked, so that a mistake shows whether
/// or not there are records. Fail: raise NSInvalidArgumentException for a key path that does not
/// begin with an attribute of the entity (or `objectID`), for a transient attribute and for a
/// relationship.
void checkPredicateKeys(const NSEntityDescription& entity, const NSPredicate& predicate);
void checkExpressionKeys(const NSEntityDescription& entity, const NSExpression& expression);
void checkSortKeys(const NSEntityDescription& entity, const NSArray& descriptors);

/// Whether a predicate wants true objects: it has a block, sends messages, or speaks of the object
/// itself (SELF) and not of its attributes only.
bool wantsObjects(const NSPredicate& predicate);

/// Whether the expression makes one value of all records, as "max:" of a key path does.
bool isAggregate(const NSExpression& expression);

}  // namespace impl
}  // namespace JNFoundation
