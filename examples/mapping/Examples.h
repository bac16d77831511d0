#pragma once

#include <JNFoundation/mapping/PLVManagedObject.h>

namespace examples {

using namespace JNFoundation;

class Country;

/// A context over a memory store, with the model of ModelExample.cpp.
Ref<NSManagedObjectContext> open();
Ref<Country> insertCountry(const Ref<NSManagedObjectContext>& context);
/// What the JSON text means.
Ref<NSDictionary> recordOf(const char* json);

void readByHand();
void mapRecord(const Ref<NSManagedObjectContext>& context);
void useFilters(const Ref<NSManagedObjectContext>& context);
void watch(const Ref<NSManagedObjectContext>& context);
void exportCountry(const Ref<NSManagedObjectContext>& context);
void cross(const Ref<NSManagedObjectContext>& context);

}  // namespace examples
