#include "Subdivision.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace catalog {

static const ClassDeclaration<Subdivision> declaration =
    ClassDeclaration<Subdivision>().factory().operation("applyCode:", &Subdivision::applyCode);

Ref<NSEntityDescription> Subdivision::entityInManagedObjectContext(
    const Ref<NSManagedObjectContext>& context) {
  return NSEntityDescription::entityForNameInManagedObjectContext("Subdivision", context);
}

Ref<PLVDictionaryDataMap> Subdivision::entityDataMap() const {
  static const Ref<PLVDictionaryDataMap> map = automaticDataMap();
  return map;
}

Ref<NSString> Subdivision::summary() const {
  return NSString::stringWithFormat("%@  %@ (%@ of %@)", code(), name(), kind(), countryCode());
}

void Subdivision::applyCode(const Value& code) {
  const NSString* text = as<NSString>(code);
  if (!text) return;
  setStoredValueForKey(code, "code");
  setStoredValueForKey(Value(text->utf8().substr(0, text->utf8().find('-'))), "countryCode");
}

}  // namespace catalog
