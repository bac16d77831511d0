#include "CatalogItem.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace catalog {

static const ClassDeclaration<CatalogItem> declaration = ClassDeclaration<CatalogItem>().factory();

Ref<NSEntityDescription> CatalogItem::entityInManagedObjectContext(
    const Ref<NSManagedObjectContext>& context) {
  return NSEntityDescription::entityForNameInManagedObjectContext("CatalogItem", context);
}

Ref<NSString> CatalogItem::summary() const {
  return NSString::stringWithFormat("%@  %@", code(), name());
}

Ref<PLVDictionaryDataMap> CatalogItem::automaticDataMap() const {
  return PLVDictionaryDataMap::newMapForEntityDescriptor(
      entity(), PLVDictionaryDataMap::automaticMapDescriptorForEntity(entity()));
}

}  // namespace catalog
