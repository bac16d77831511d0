#pragma once

#include "CatalogItem.h"

namespace catalog {

/// A part of a country, of ISO 3166-2.
class Subdivision : public Subclass<Subdivision, CatalogItem> {
 public:
  static Ref<NSEntityDescription> entityInManagedObjectContext(
      const Ref<NSManagedObjectContext>& context);
  Ref<PLVDictionaryDataMap> entityDataMap() const override;
  Ref<NSString> summary() const override;

  Ref<NSString> countryCode() const { return textForKey("countryCode"); }
  Ref<NSString> kind() const { return textForKey("kind"); }
  Ref<NSString> parentCode() const { return textForKey("parentCode"); }

  /// Takes "FR-75": the code, and the country in front of it. A rule of the model sends it.
  void applyCode(const Value& code);

 protected:
  using Subclass::Subclass;
};

}  // namespace catalog
