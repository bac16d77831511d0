#include "Product.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace catalog {

static const ClassDeclaration<Product> declaration =
    ClassDeclaration<Product>()
        .factory()
        .operation("applyTags:", &Product::applyTags)
        .operation("applyReviews:", &Product::applyReviews)
        .operation("applyAvailability:", &Product::applyAvailability);

Ref<NSEntityDescription> Product::entityInManagedObjectContext(
    const Ref<NSManagedObjectContext>& context) {
  return NSEntityDescription::entityForNameInManagedObjectContext("Product", context);
}

Ref<PLVDictionaryDataMap> Product::entityDataMap() const {
  static const Ref<PLVDictionaryDataMap> map = automaticDataMap();
  return map;
}

Ref<NSString> Product::summary() const {
  return NSString::stringWithFormat("%@  %@, %.2f (%@)", code(), name(), price(),
                                    brand() ? brand() : Ref<NSString>("no brand"));
}

void Product::applyTags(const Value& tags) {
  const NSArray* list = as<NSArray>(tags);
  setStoredValueForKey(list ? Value(list->componentsJoinedByString(", ")) : Value(), "tagList");
}

void Product::applyReviews(const Value& reviews) {
  const NSArray* list = as<NSArray>(reviews);
  setStoredValueForKey(list ? Value(list->count()) : Value(), "reviewCount");
}

void Product::applyAvailability(const Value& status) {
  const NSString* text = as<NSString>(status);
  setStoredValueForKey(text ? Value(text->utf8() != "Out of Stock") : Value(), "inStock");
}

}  // namespace catalog
