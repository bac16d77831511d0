#include <cstdio>

#include "Examples.h"

#include <JNFoundation/mapping/NSManagedObjectContext+PLVAssociatedFilter.h>
#include <JNFoundation/mapping/PLVManagedObject.h>
#include <JNFoundation/mapping/ReadyMadeFilters.h>
#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>

// What docs/images/record-mapping.svg shows.
namespace examples {
namespace {

class Land : public Subclass<Land, PLVManagedObject> {
 public:
  Ref<PLVDictionaryDataMap> entityDataMap() const override {
    return PLVDictionaryDataMap::newMapForEntityDescriptor(
        entity(), PLVDictionaryDataMap::automaticMapDescriptorForEntity(entity()));
  }
  void applyNames(const Value& names) {
    std::printf("applyNames(%d of them)\n", static_cast<int>(as<NSArray>(names)->count()));
  }
};
const ClassDeclaration<Land> declaration =
    ClassDeclaration<Land>().factory().operation("applyNames:", &Land::applyNames);

constexpr const char* modelText = R"(
<model>
  <entity name="Land" representedClassName="Land">
    <attribute name="name" optional="YES" attributeType="String"/>
    <attribute name="code" optional="YES" attributeType="String"/>
    <attribute name="capital" optional="YES" attributeType="String"/>
    <attribute name="founded" optional="YES" attributeType="Date"/>
    <attribute name="area" optional="YES" attributeType="Double"/>
    <attribute name="motto" optional="YES" attributeType="String"/>
    <attribute name="population" optional="YES" attributeType="Integer 64"/>
    <userInfo>
      <entry key="$alpha2" value="code"/>
      <entry key="$capital" value="trim|capital"/>
      <entry key="$names" value="applyNames:"/>
      <entry key="%meta.$founded" value="founded"/>
      <entry key="%meta.%stats.$area" value="area"/>
    </userInfo>
  </entity>
</model>)";

}  // namespace

void picture() {
  const auto context = openInMemory(NSManagedObjectModel::modelWithXMLError(modelText));
  const auto filter = PLVDataMapFilter::init();
  registerReadyMadeFilters(filter);
  plv_setDataMapFilter(context, filter);
  const Value object =
      NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Land", context);
  auto* land = as<Land>(object);
  land->setValueForKey("to be cleared", "motto");
  land->setValueForKey(67, "population");

  int lines = 0;
  LogSinkScope log([&lines](const Ref<NSString>&) { ++lines; });
  land->mergeDictionary(as<NSDictionary>(decoded(R"({
      "name": "France", "alpha2": "FR", "capital": " Paris ", "names": ["La France", "France"],
      "meta": {"founded": "1792-09-22T00:00:00.000Z", "stats": {"area": 543}},
      "motto": null, "population": [66], "flag": "fr.svg"})")));
  for (const char* key : {"name", "code", "capital", "founded", "area", "motto", "population"}) {
    std::printf("%s = %s\n", key, land->valueForKey(key).description()->UTF8String());
  }
  std::printf("%d line in the log\n", lines);
}

}  // namespace examples
