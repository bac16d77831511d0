#include <cstdio>
#include <string>

#include "Examples.h"
#include "ShopFilter.h"

#include <JNFoundation/mapping/NSManagedObjectContext+PLVAssociatedFilter.h>
#include <JNFoundation/mapping/PLVDictionaryDataMap.h>
#include <JNFoundation/mapping/ReadyMadeFilters.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace examples {

// begin
class ShopFilter : public Subclass<ShopFilter, PLVDataMapFilter> {
 public:
  /// "1.299,50 €" is 1299.5. What is no text is left to mapping, which knows numbers and refuses
  /// the rest.
  Value price(const Value& value) const {
    const NSString* text = as<NSString>(value);
    if (!text) return value;
    std::string number;
    for (const char character : text->utf8()) {
      if (character >= '0' && character <= '9') number += character;
      if (character == ',') number += '.';
    }
    return numberOfText(Value(number));
  }
};
const ClassDeclaration<ShopFilter> declaration =
    ClassDeclaration<ShopFilter>().operation("price:", &ShopFilter::price);

Ref<PLVDataMapFilter> makeShopFilter() {
  const Ref<ShopFilter> filter = ShopFilter::init();
  filter->setActionForFilter("price:", "price");  // an operation of the class
  registerReadyMadeFilters(filter);               // trim, number, url, …
  setBlockForFilter(filter, dateFilter("dd.MM.yyyy"), "german");
  setBlockForFilter(  // one made of others
      filter, [](const Value& value) { return nullIfEmpty(trimmedText(value)); }, "text");
  return filter;
}
// end

Ref<NSManagedObjectModel> shopModel() {
  return NSManagedObjectModel::modelWithXMLError(R"(
<model>
  <entity name="Product">
    <attribute name="sku" attributeType="String"/>
    <attribute name="name" optional="YES" attributeType="String"/>
    <attribute name="price" optional="YES" attributeType="Double"/>
    <attribute name="since" optional="YES" attributeType="Date"/>
    <attribute name="note" optional="YES" attributeType="String"/>
    <uniquenessConstraints>
      <uniquenessConstraint><constraint value="sku"/></uniquenessConstraint>
    </uniquenessConstraints>
    <userInfo>
      <entry key="$name" value="text|name"/>
      <entry key="$price" value="price|price"/>
      <entry key="$since" value="german|since"/>
      <entry key="$remark" value="shorten|note"/>
    </userInfo>
  </entity>
</model>)");
}

void filters() {
  const auto context = openInMemory(shopModel());
  plv_setDataMapFilter(context, makeShopFilter());
  const auto product = NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
      "Product", context);
  product->setValueForKey("a remark", "note");
  const auto map = PLVDictionaryDataMap::newMapForEntityDescriptor(
      product->entity(), PLVDictionaryDataMap::automaticMapDescriptorForEntity(product->entity()));
  map->mapDictionaryToObject(
      as<NSDictionary>(decoded(R"({"sku": "A-1", "name": "  Lamp ", "price": "1.299,50 €",
                                   "since": "22.09.2021", "remark": "another one"})")),
      product);
  for (const char* key : {"name", "price", "since", "note"}) {
    std::printf("%s: %s\n", key, product->valueForKey(key).description()->UTF8String());
  }
}

}  // namespace examples
