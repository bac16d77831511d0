#include <cstdio>

#include "Examples.h"

#include <JNFoundation/fetched/ResultsStream.h>

namespace examples {

// begin
void followResults(const Ref<NSManagedObjectContext>& context) {
  auto controller = NSFetchedResultsController::
      initWithFetchRequestManagedObjectContextSectionNameKeyPathCacheName(people(), context,
                                                                          nullptr, nullptr);
  auto stream = ResultsStream::withController(controller);
  if (!stream->performFetch()) return;
  const auto observation = stream->observe([](const Ref<ResultsEvent>& event) {
    std::printf("%d people, %d changes\n", static_cast<int>(event->objects()->count()),
                static_cast<int>(event->changes().size()));
  });
  stream->nextChange()->whenFulfilled([](const Value& value, const Ref<PLVRejected>&) {
    if (const auto* event = as<ResultsEvent>(value)) {
      std::printf("%d left\n", static_cast<int>(event->changes().deletedItems.size()));
    }
  });
  const Value first = controller->fetchedObjects()->firstObject();
  context->deleteObject(as<NSManagedObject>(first));
  context->processPendingChanges();
}
// end

}  // namespace examples
