#include "Migrating.h"

namespace examples {

// begin
bool openMigrating(const Ref<NSPersistentStoreCoordinator>& coordinator, const Ref<NSURL>& url,
                   Ref<NSError>* error) {
  const auto options =
      NSDictionary::dictionaryWithEntries({{NSMigratePersistentStoresAutomaticallyOption, true},
                                           {NSInferMappingModelAutomaticallyOption, true}});
  return coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
             NSSQLiteStoreType, nullptr, url, options, error) != nullptr;
}
// end

}  // namespace examples
