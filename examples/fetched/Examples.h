#pragma once

#include <JNFoundation/platform/store/NSFetchedResultsController.h>

namespace examples {

using namespace JNFoundation;

/// A context of the main queue over a store in memory, with Ann, Ben and Cat.
Ref<NSManagedObjectContext> open();
/// People by name.
Ref<NSFetchRequest> people();

void showChanges(const Ref<NSManagedObjectContext>& context);
void showSteps(const Ref<NSManagedObjectContext>& context);
void stick(const Ref<NSManagedObjectContext>& context);
void discover(const Ref<NSManagedObjectContext>& context);
void followRefresh(const Ref<NSManagedObjectContext>& context);
void followResults(const Ref<NSManagedObjectContext>& context);
void refresh(const Ref<NSManagedObjectContext>& context);

}  // namespace examples
