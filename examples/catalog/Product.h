#pragma once

#include "CatalogItem.h"

namespace catalog {

/// Something that a shop sells; its code is the stock keeping unit.
class Product : public Subclass<Product, CatalogItem> {
 public:
  static Ref<NSEntityDescription> entityInManagedObjectContext(
      const Ref<NSManagedObjectContext>& context);
  Ref<PLVDictionaryDataMap> entityDataMap() const override;
  Ref<NSString> summary() const override;

  Ref<NSString> brand() const { return textForKey("brand"); }
  Ref<NSString> details() const { return textForKey("details"); }
  Ref<NSString> tagList() const { return textForKey("tagList"); }
  double price() const { return storedValueForKey("price").doubleValue(); }
  double width() const { return storedValueForKey("width").doubleValue(); }
  NSInteger reviewCount() const { return storedValueForKey("reviewCount").integerValue(); }
  /// Null where the record had none.
  Value createdAt() const { return storedValueForKey("createdAt"); }

  // What rules of the model send: the values under "tags", "reviews" and "availabilityStatus".
  void applyTags(const Value& tags);
  void applyReviews(const Value& reviews);
  void applyAvailability(const Value& status);

 protected:
  using Subclass::Subclass;
};

}  // namespace catalog
