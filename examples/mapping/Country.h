#pragma once

#include "Examples.h"

namespace examples {

// begin
class Country : public Subclass<Country, PLVManagedObject> {
 public:
  static Ref<NSEntityDescription> entityInManagedObjectContext(
      const Ref<NSManagedObjectContext>& context) {
    return NSEntityDescription::entityForNameInManagedObjectContext("Country", context);
  }

  // Built at the first record and kept: a map never changes.
  Ref<PLVDictionaryDataMap> entityDataMap() const override {
    static const auto map = PLVDictionaryDataMap::newMapForEntityDescriptor(
        entity(), PLVDictionaryDataMap::automaticMapDescriptorForEntity(entity()));
    return map;
  }
};
// end

}  // namespace examples
