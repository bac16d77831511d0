#pragma once

#include "Examples.h"

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSMigrationPlan.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/value/NSError.h>

// What docs/migration.md shows.
namespace examples {

bool openMigrating(const Ref<NSPersistentStoreCoordinator>& coordinator, const Ref<NSURL>& url,
                   Ref<NSError>* error);
Ref<NSMigrationPlan> makePlan();

}  // namespace examples
