#pragma once

#include <JNFoundation/platform/store/NSPersistentStore.h>

namespace JNFoundation {

class NSExpression;
class NSPredicate;

namespace impl {

/// Looks through what a request asks for before a store is asked, so that a mistake shows whether
/// or not there are records. Fail: raise NSInvalidArgumentException for a key path that leads from
/// the entity to anything but properties (or `objectID`), and for a transient property.
void checkPredicateKeys(const NSEntityDescription& entity, const NSPredicate& predicate);
void checkExpressionKeys(const NSEntityDescription& entity, const NSExpression& expression);
void checkSortKeys(const NSEntityDescription& entity, const NSArray& descriptors);

/// Whether a predicate wants true objects: it has a block or sends messages.
bool wantsObjects(const NSPredicate& predicate);

/// Whether it speaks of records as such: of SELF or objectID, or of certain objects or identifiers.
bool namesRecords(const NSPredicate& predicate);

/// Whether the expression makes one value of all records, as "max:" of a key path does.
bool isAggregate(const NSExpression& expression);

}  // namespace impl
}  // namespace JNFoundation
