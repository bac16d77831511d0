#include <cstdio>
#include <string>

#include "Examples.h"

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/StatementTrace.h>
#include <JNFoundation/platform/value/NSError.h>

namespace examples {

// begin
void keep(const Ref<NSManagedObjectContext>& context, const Ref<NSString>& path) {
  const Ref<NSPersistentStoreCoordinator> coordinator = context->persistentStoreCoordinator();
  const Value first = coordinator->persistentStores()->objectAtIndex(0);
  const Ref<NSPersistentStore> store(as<NSPersistentStore>(first));
  Ref<NSError> error;

  // A copy while the application goes on; it opens like any store.
  if (!coordinator->backupPersistentStoreToURLError(store, NSURL::fileURLWithPath(path), &error)) {
    std::puts(error->localizedDescription()->UTF8String());
  }
  const Ref<NSArray> wrong = coordinator->integrityErrorsOfPersistentStoreError(store, &error);
  std::printf("%ld errors\n", static_cast<long>(wrong->count()));

  // Every statement, with its time.
  {
    StatementObserverScope watch([](const StatementTrace& trace) {
      const std::string start(trace.sql.substr(0, 15));
      std::printf("%s: %d row\n", start.c_str(), static_cast<int>(trace.rowCount));
    });
    context->countForFetchRequestError(NSFetchRequest::fetchRequestWithEntityName("Person"));
  }

  // No file stays open and no lock held while a mobile application sleeps; whatever comes next
  // wakes the store.
  coordinator->suspend(&error);
}
// end

}  // namespace examples
