#pragma once

#include "CatalogItem.h"

namespace catalog {

/// A country of ISO 3166-1; its code is the one of two letters.
class Country : public Subclass<Country, CatalogItem> {
 public:
  static Ref<NSEntityDescription> entityInManagedObjectContext(
      const Ref<NSManagedObjectContext>& context);
  Ref<PLVDictionaryDataMap> entityDataMap() const override;
  Ref<NSString> summary() const override;

  Ref<NSString> alpha3() const { return textForKey("alpha3"); }
  Ref<NSString> commonName() const { return textForKey("commonName"); }
  Ref<NSString> flag() const { return textForKey("flag"); }
  Ref<NSString> officialName() const { return textForKey("officialName"); }
  NSInteger numericCode() const { return storedValueForKey("numericCode").integerValue(); }

 protected:
  using Subclass::Subclass;
};

}  // namespace catalog
