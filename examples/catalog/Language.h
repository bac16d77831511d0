#pragma once

#include "CatalogItem.h"

namespace catalog {

/// A language of ISO 639-3; its code is the one of three letters.
class Language : public Subclass<Language, CatalogItem> {
 public:
  static Ref<NSEntityDescription> entityInManagedObjectContext(
      const Ref<NSManagedObjectContext>& context);
  Ref<PLVDictionaryDataMap> entityDataMap() const override;
  Ref<NSString> summary() const override;

  Ref<NSString> alpha2() const { return textForKey("alpha2"); }
  Ref<NSString> invertedName() const { return textForKey("invertedName"); }
  Ref<NSString> kind() const { return textForKey("kind"); }
  Ref<NSString> scope() const { return textForKey("scope"); }

 protected:
  using Subclass::Subclass;
};

}  // namespace catalog
