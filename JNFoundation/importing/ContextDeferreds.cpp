#include "JNFoundation/importing/ContextDeferreds.h"

#include <vector>

#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSError.h>

namespace JNFoundation::inline v0_1 {
namespace {

Ref<NSFetchRequest> copyOf(const Ref<NSFetchRequest>& request) {
  if (!request) fatalError("a fetch needs a request");
  return Ref<NSFetchRequest>(as<NSFetchRequest>(request->copy()));
}

Ref<PLVRejected> failure(const Ref<NSError>& error) { return PLVRejected::withValue(error); }

/// The first ancestor of the entity: identifiers of one result share it.
Ref<NSEntityDescription> rootOf(Ref<NSEntityDescription> entity) {
  while (Ref<NSEntityDescription> above = entity->superentity()) entity = above;
  return entity;
}

/// The identifiers in place of objects; other results as they are.
Ref<NSArray> withoutObjects(NSManagedObjectContext& context, const Ref<NSArray>& found) {
  std::vector<Value> unsaved;
  for (const Value& value : found) {
    const auto* object = as<NSManagedObject>(value);
    if (!object) return found;  // Results are of one kind.
    if (object->objectID()->isTemporaryID()) unsaved.push_back(value);
  }
  if (!unsaved.empty()) {
    context.obtainPermanentIDsForObjectsError(NSArray::arrayWithValues(std::move(unsaved)));
  }
  std::vector<Value> identifiers;
  identifiers.reserve(found->count());
  for (const Value& value : found) {
    Ref<NSManagedObjectID> identifier = as<NSManagedObject>(value)->objectID();
    if (!identifier->isTemporaryID()) identifiers.emplace_back(std::move(identifier));
  }
  return NSArray::arrayWithValues(std::move(identifiers));
}

/// The objects that are still there, in the same order, read in one statement.
Outcome<Ref<NSArray>> objectsOfIdentifiers(NSManagedObjectContext& context,
                                           const Ref<NSArray>& identifiers) {
  if (identifiers->count() == 0) return identifiers;
  const Ref<NSFetchRequest> request = NSFetchRequest::init();
  request->setEntity(rootOf(as<NSManagedObjectID>(identifiers->objectAtIndex(0))->entity()));
  request->setPredicate(NSPredicate::predicateWithFormat("SELF IN %@", identifiers));
  Ref<NSError> error;
  const Ref<NSArray> found = context.executeFetchRequestError(request, &error);
  if (!found) return failure(error);
  const Ref<NSMutableDictionary> objects = NSMutableDictionary::dictionary();
  for (const Value& object : found) {
    objects->setObjectForKey(object, as<NSManagedObject>(object)->objectID());
  }
  std::vector<Value> inOrder;
  inOrder.reserve(found->count());
  for (const Value& identifier : identifiers) {
    if (const Value* object = objects->find(identifier)) inOrder.push_back(*object);
  }
  return NSArray::arrayWithValues(std::move(inOrder));
}

}  // namespace

Deferred<Ref<NSArray>> fetchIn(const Ref<NSManagedObjectContext>& context,
                               const Ref<NSFetchRequest>& request, CreationPlace place) {
  return runIn(
      context,
      [context, request = copyOf(request)]() -> Outcome<Ref<NSArray>> {
        Ref<NSError> error;
        Ref<NSArray> found = context->executeFetchRequestError(request, &error);
        if (!found) return failure(error);
        if (context->concurrencyType() == NSMainQueueConcurrencyType) return found;
        return withoutObjects(*context, found);
      },
      place);
}

Deferred<Ref<NSArray>> fetchInto(const Ref<NSManagedObjectContext>& receiver,
                                 const Ref<NSManagedObjectContext>& context,
                                 const Ref<NSFetchRequest>& request, CreationPlace place) {
  if (!receiver || receiver->concurrencyType() != NSMainQueueConcurrencyType) {
    fatalError("fetchInto: the receiver must be a context of the main queue");
  }
  Ref<NSFetchRequest> search = copyOf(request);
  search->setResultType(NSManagedObjectIDResultType);
  search->setFetchBatchSize(0);
  return fetchIn(context, search, place).thenResolved([receiver](const Ref<NSArray>& identifiers) {
    return objectsOfIdentifiers(*receiver, identifiers);
  });
}

Deferred<NSUInteger> countIn(const Ref<NSManagedObjectContext>& context,
                             const Ref<NSFetchRequest>& request, CreationPlace place) {
  return runIn(
      context,
      [context, request = copyOf(request)]() -> Outcome<NSUInteger> {
        Ref<NSError> error;
        const NSUInteger count = context->countForFetchRequestError(request, &error);
        if (count == static_cast<NSUInteger>(NSNotFound)) return failure(error);
        return count;
      },
      place);
}

Deferred<void> saveIn(const Ref<NSManagedObjectContext>& context, CreationPlace place) {
  return runIn(
      context,
      [context]() -> Outcome<void> {
        Ref<NSError> error;
        if (!context->save(&error)) return failure(error);
        return {};
      },
      place);
}

}  // namespace JNFoundation
