#include <cstdio>

#include "Examples.h"

#include <JNFoundation/fetched/NSIndexPath+PLVUnsignedItemSection.h>
#include <JNFoundation/fetched/PLVRandomFetchedResultsController.h>
#include <JNFoundation/platform/dispatch/Random.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace examples {

// begin
/// A strip of people to discover.
class Strip : public Subclass<Strip, NSObject, NSFetchedResultsControllerDelegate> {
 public:
  void controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(
      Controller, const Ref<NSManagedObject>&, const Ref<NSIndexPath>&,
      NSFetchedResultsChangeType type, const Ref<NSIndexPath>& to) override {
    if (type == NSFetchedResultsChangeInsert) {
      std::printf("replace %d\n", static_cast<int>(plv_itemIndex(to)));
    }
  }
  void controllerDidChangeContent(Controller controller) override {
    std::printf("%d people\n", static_cast<int>(controller->fetchedObjects()->count()));
  }
};

void discover(const Ref<NSManagedObjectContext>& context) {
  RandomSourceScope repeatable(seededRandomSource(2006));  // for a test: the same every time
  auto sample =
      PLVRandomFetchedResultsController::initWithFetchRequestManagedObjectContextSampleLimit(
          people(), context, 2);
  auto strip = makeObject<Strip>();
  sample->setDelegate(Ref<NSFetchedResultsControllerDelegate>(strip));
  Ref<NSError> error;
  if (!sample->performFetch(&error)) return;
  std::printf("%d people\n", static_cast<int>(sample->fetchedObjects()->count()));

  const Value first = sample->fetchedObjects()->firstObject();
  context->deleteObject(as<NSManagedObject>(first));
  context->processPendingChanges();  // or the end of the turn: another one is drawn

  sample->resampleFetchedObjects();  // others, of which the strip is not told
}
// end

}  // namespace examples
