#include <cstdio>

#include "Country.h"

#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace examples {
namespace {

const ClassDeclaration<Country> declaration = ClassDeclaration<Country>().factory();

constexpr const char* modelText = R"xml(
<model>
  <entity name="Country" representedClassName="Country">
    <attribute name="code" attributeType="String" optional="YES"/>
    <attribute name="name" attributeType="String" optional="YES"/>
    <attribute name="population" attributeType="Integer 64" optional="YES"/>
    <attribute name="area" attributeType="Double" optional="YES"/>
    <attribute name="founded" attributeType="Date" optional="YES"/>
    <userInfo>
      <entry key="$alpha2" value="code"/>
      <entry key="%meta.$area" value="number|area"/>
      <entry key="%meta.$founded" value="founded"/>
    </userInfo>
  </entity>
</model>)xml";

}  // namespace

Ref<NSManagedObjectContext> open() {
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(
      NSManagedObjectModel::modelWithXMLError(modelText));
  coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(NSInMemoryStoreType, nullptr,
                                                                      nullptr, nullptr);
  auto context = NSManagedObjectContext::init();
  context->setPersistentStoreCoordinator(coordinator);
  return context;
}

Ref<Country> insertCountry(const Ref<NSManagedObjectContext>& context) {
  return as<Country>(
      Value(NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Country",
                                                                                       context)));
}

Ref<NSDictionary> recordOf(const char* json) {
  return as<NSDictionary>(
      NSJSONSerialization::JSONObjectWithTextOptionsError(json, NSJSONReadingPlain, nullptr));
}

void mapRecord(const Ref<NSManagedObjectContext>& context) {
  // begin
  const Ref<Country> country = insertCountry(context);
  country->mergeDictionary(recordOf(R"({"alpha2": "FR", "name": "France", "flag": "🇫🇷",
                                        "meta": {"founded": "1792-09-22T00:00:00.000Z"}})"));
  // end
  const auto print = [&](const char* key) {
    std::printf("%s: %s\n", key, country->valueForKey(key).description()->UTF8String());
  };
  print("code");
  print("name");
  print("founded");
}

}  // namespace examples
