#include "Language.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace catalog {

static const ClassDeclaration<Language> declaration = ClassDeclaration<Language>().factory();

Ref<NSEntityDescription> Language::entityInManagedObjectContext(
    const Ref<NSManagedObjectContext>& context) {
  return NSEntityDescription::entityForNameInManagedObjectContext("Language", context);
}

Ref<PLVDictionaryDataMap> Language::entityDataMap() const {
  static const Ref<PLVDictionaryDataMap> map = automaticDataMap();
  return map;
}

Ref<NSString> Language::summary() const {
  return NSString::stringWithFormat("%@  %@ (%@, %@)", code(), name(), kind(), scope());
}

}  // namespace catalog
