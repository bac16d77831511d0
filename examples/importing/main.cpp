#include "Examples.h"

#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSError.h>

namespace examples {
namespace {

Ref<NSEntityDescription> entity(const char* name, const Value& relationship) {
  auto made = NSEntityDescription::init();
  made->setName(name);
  made->setProperties(NSArray::arrayWithObjects(
      NSAttributeDescription::attributeWithNameType("code", NSStringAttributeType),
      NSAttributeDescription::attributeWithNameType("name", NSStringAttributeType), relationship));
  made->setUniquenessConstraints(NSArray::arrayWithObject(NSArray::arrayWithObject("code")));
  return made;
}

void runUntilSettled(const Ref<PLVDeferred>& deferred) {
  bool hasSettled = false;
  deferred->thenEither([&hasSettled](const Value& value) {
    hasSettled = true;
    return value;
  });
  while (!hasSettled) {
    NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantFuture());
  }
}

}  // namespace

Ref<NSManagedObjectContext> open() {
  auto region = NSRelationshipDescription::init();
  region->setName("region");
  region->setMaxCount(1);
  auto countries = NSRelationshipDescription::init();
  countries->setName("countries");
  auto country = entity("Country", region), continent = entity("Region", countries);
  region->setDestinationEntity(continent);
  countries->setDestinationEntity(country);
  region->setInverseRelationship(countries);
  countries->setInverseRelationship(region);
  country->setManagedObjectClassName("Country");
  country->setUserInfo(NSDictionary::dictionaryWithObjectForKey("setRegionRecord:", "$region"));
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObjects(country, continent));
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
  coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(NSInMemoryStoreType, nullptr,
                                                                      nullptr, nullptr, nullptr);
  auto context = NSManagedObjectContext::init();
  context->setPersistentStoreCoordinator(coordinator);
  return context;
}

Ref<NSArray> decoded(const char* text) {
  return Ref<NSArray>(
      as<NSArray>(NSJSONSerialization::JSONObjectWithTextOptionsError(text, {}, nullptr)));
}

}  // namespace examples

int main() {
  using namespace examples;
  const auto context = open();
  runUntilSettled(importFeed(context, decoded(R"([{"code": "DE", "name": "Germany"},
                                                  {"code": "FR", "name": "Frankreich"},
                                                  {"name": "nobody"}])")));
  runUntilSettled(importRegions(context, decoded(R"([
      {"code": "FR", "name": "France", "region": {"code": "EU", "name": "Europe"}},
      {"code": "DE"}])")));
  runUntilSettled(importFeedText(
      context, R"([{"code": "DE", "name": "Germany"}, {"code": "IT", "name": "Italy"}])"));
  runUntilSettled(listNames(context));
}
