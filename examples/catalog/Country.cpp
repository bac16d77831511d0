#include "Country.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace catalog {

static const ClassDeclaration<Country> declaration = ClassDeclaration<Country>().factory();

Ref<NSEntityDescription> Country::entityInManagedObjectContext(
    const Ref<NSManagedObjectContext>& context) {
  return NSEntityDescription::entityForNameInManagedObjectContext("Country", context);
}

Ref<PLVDictionaryDataMap> Country::entityDataMap() const {
  static const Ref<PLVDictionaryDataMap> map = automaticDataMap();
  return map;
}

Ref<NSString> Country::summary() const {
  return NSString::stringWithFormat("%@  %@ %@ (%@, %03ld)", code(), flag(),
                                    commonName() ? commonName() : name(), alpha3(), numericCode());
}

}  // namespace catalog
