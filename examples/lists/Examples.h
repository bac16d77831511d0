#pragma once

#include <JNFoundation/platform/store/NSFetchedResultsController.h>

namespace examples {

using namespace JNFoundation;

/// Ann and Ben of Aarhus, and Cat of Bergen, by their cities.
Ref<NSFetchedResultsController> peopleByCity();

void showLists(const Ref<NSFetchedResultsController>& controller);

}  // namespace examples
