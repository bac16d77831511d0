#include <cstdio>

#include "Examples.h"

#include <JNFoundation/fetched/NSFetchedResultsController+PLVRefresh.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace examples {

// begin
/// Knows where people come from.
class Loader : public Subclass<Loader, NSObject> {
 public:
  Ref<PLVPromise> load(const Ref<NSFetchRequest>& request) const {
    return PLVPromise::withResolved(request->entityName());  // the answer of a server
  }
};

/// What a button that knows the controller alone does.
void press(const Ref<NSFetchedResultsController>& controller) {
  plv_refreshWithOptions(controller, 0)
      ->whenFulfilled([](const Value& entity, const Ref<PLVRejected>& rejected) {
        if (rejected) {
          const Ref<NSError> error = as<NSError>(rejected->value());
          std::puts(error->localizedDescription()->UTF8String());
        } else {
          std::printf("refreshed %s\n", entity.stringValue()->UTF8String());
        }
      });
}

void refresh(const Ref<NSManagedObjectContext>& context) {
  auto controller = NSFetchedResultsController::
      initWithFetchRequestManagedObjectContextSectionNameKeyPathCacheName(people(), context,
                                                                          nullptr, nullptr);
  auto loader = makeObject<Loader>();
  plv_setRefreshProviderBlock(
      controller, loader,
      [](NSInteger, const Ref<NSObject>& provider, const Ref<NSFetchedResultsController>& results) {
        return static_cast<const Loader&>(*provider).load(results->fetchRequest());
      });
  press(controller);
  loader = nullptr;  // the controller does not keep it
  press(controller);
}
// end

}  // namespace examples
