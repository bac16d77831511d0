#include <cstdio>

#include "Examples.h"

#include <JNFoundation/fetched/NSFetchedResultsController+PLVRefresh.h>
#include <JNFoundation/fetched/RefreshState.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace examples {

class Feed : public Subclass<Feed, NSObject> {};

// begin
void followRefresh(const Ref<NSManagedObjectContext>& context) {
  auto controller = NSFetchedResultsController::
      initWithFetchRequestManagedObjectContextSectionNameKeyPathCacheName(people(), context,
                                                                          nullptr, nullptr);
  auto feed = makeObject<Feed>();
  Ref<PLVPromise> answer;  // of a server
  plv_setRefreshProviderBlock(
      controller, feed,
      [&](NSInteger, const Ref<NSObject>&, const Ref<NSFetchedResultsController>&) {
        return answer = PLVPromise::init();
      });

  auto state = RefreshState::withController(controller);
  state->setStaleInterval(300);
  const auto observation = state->observe([](const RefreshStatus& status) {
    switch (status.phase) {
      case RefreshStatus::Phase::Idle:
        return void(std::puts("nothing yet"));
      case RefreshStatus::Phase::Loading:
        return void(std::puts("spinning"));
      case RefreshStatus::Phase::Fresh:
        return void(std::puts(status.isStale ? "a while ago" : "just now"));
      case RefreshStatus::Phase::Failed:
        return void(std::puts(status.since ? "offline, with data of before" : "offline"));
    }
  });
  state->refreshIfStale();  // the view appears
  state->refresh();         // the user pulls: joins
  answer->resolve(nullptr);
  state->refreshIfStale();  // the view appears again: nothing to do
  state->refresh();
  answer->reject("no network");
}
// end

}  // namespace examples
