#include <cstdio>

#include "Examples.h"

#include <JNFoundation/fetched/StickySampleController.h>
#include <JNFoundation/platform/value/NSError.h>

namespace examples {

// begin
void stick(const Ref<NSManagedObjectContext>& context) {
  auto sample =
      StickySampleController::initWithFetchRequestManagedObjectContextSampleLimitRandomSource(
          people(), context, 2, seededRandomSource(2006));  // null: another one every time
  Ref<NSError> error;
  if (!sample->performFetch(&error)) return;

  const Value first = sample->fetchedObjects()->firstObject();
  as<NSManagedObject>(first)->setValueForKey("Zoe", "name");  // another place in the results
  context->processPendingChanges();
  std::puts(sample->fetchedObjects()->containsObject(first) ? "still there" : "lost");

  context->deleteObject(as<NSManagedObject>(first));
  context->processPendingChanges();  // another one is in its slot
  std::printf("%d people\n", static_cast<int>(sample->fetchedObjects()->count()));

  sample->reshuffle();  // a delegate is told, as of any batch
}
// end

}  // namespace examples
