#include "JNFoundation/importing/RelatedRecords.h"

#include <JNFoundation/importing/impl/ImportLinks.h>
#include <JNFoundation/mapping/NSManagedObjectContext+PLVAssociatedFilter.h>
#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

void relateRecord(NSManagedObject& object, const Ref<NSString>& relationship, const Value& record) {
  const auto description = as<NSRelationshipDescription>(
      object.entity()->relationshipsByName()->objectForKey(Value(relationship)));
  if (!description) {
    raise(NSInvalidArgumentException, "The entity %@ has no relationship %@.",
          object.entity()->name(), relationship);
  }
  const Ref<NSManagedObjectContext> context = object.managedObjectContext();
  if (!context) return;
  const Ref<NSManagedObject> source(&object);
  if (impl::ImportLinks* taking = impl::ImportLinks::taking(*context)) {
    taking->add(source, description, record);
    return;
  }
  const auto related = impl::ImportLinks::init(
      context, nullptr, plv_dataMapFilter(context), [&](NSUInteger, const Ref<NSError>& error) {
        NSLog("relateRecord(%p) %@", &object, error->localizedDescription());
      });
  const impl::ImportLinks::Taking taking(*related);
  related->add(source, description, record);
  while (!related->isEmpty()) related->relate();
}

}  // namespace JNFoundation
