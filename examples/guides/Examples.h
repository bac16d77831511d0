#pragma once

#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>

// The examples of the guides that have no program of their own, each in a file; main.cpp runs them.
namespace examples {

using namespace JNFoundation;

/// What the JSON text means.
Value decoded(const char* json);
/// People with a name, an age, a city and friends: dictionaries.
Ref<NSArray> somePeople();
/// The names of the people, in order.
void printNames(const Ref<NSArray>& people);

/// An empty store in memory, of that model.
Ref<NSManagedObjectContext> openInMemory(const Ref<NSManagedObjectModel>& model);

// What docs/filters.md and docs/testing.md have in common.
Ref<NSManagedObjectModel> shopModel();

void firstDeferred();
void threads();
void ownership();
void promises();
void cancellation();
void picture();
void predicates();
void predicateParts();
void predicatesInStores();
void badPredicates();
void filters();
void filterProblems();
void migrating();
void testing();
void testingOldModels();
void errorsOfSaves();
void errorsOfDeferreds();
void logLines();
void fromPromises();
void fromMappers();

}  // namespace examples
