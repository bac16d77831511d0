#include <cstdio>

#include "Examples.h"

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/query/KeyValueCoding.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace examples {

// begin
Ref<NSManagedObjectModel> makeModel() {
  return NSManagedObjectModel::modelWithXMLError(R"(
    <model>
      <entity name="Person">
        <attribute name="name" attributeType="String" minValueString="1"/>
        <attribute name="born" optional="YES" attributeType="Integer 16"/>
        <relationship name="department" optional="YES" maxCount="1" deletionRule="Nullify"
            destinationEntity="Department" inverseName="people" inverseEntity="Department"/>
        <fetchIndex name="byBirth"><fetchIndexElement property="born"/></fetchIndex>
      </entity>
      <entity name="Department">
        <attribute name="name" attributeType="String"/>
        <relationship name="people" optional="YES" toMany="YES" deletionRule="Deny"
            destinationEntity="Person" inverseName="department" inverseEntity="Person"/>
        <uniquenessConstraints>
          <uniquenessConstraint><constraint value="name"/></uniquenessConstraint>
        </uniquenessConstraints>
      </entity>
    </model>)");
}

Ref<NSManagedObjectContext> open(const Ref<NSString>& path) {
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(makeModel());
  Ref<NSError> error;
  if (!coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
          NSSQLiteStoreType, nullptr, NSURL::fileURLWithPath(path), nullptr, &error)) {
    std::puts(error->localizedDescription()->UTF8String());
  }
  auto context = NSManagedObjectContext::init();
  context->setPersistentStoreCoordinator(coordinator);
  return context;
}

void relate(const Ref<NSManagedObjectContext>& context) {
  const auto make = [&](const char* entity, const char* name) {
    auto object =
        NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(entity, context);
    object->setValueForKey(name, "name");
    return object;
  };
  auto research = make("Department", "Research");
  auto ann = make("Person", "Ann"), bob = make("Person", "Bob");

  ann->setValueForKey(research, "department");                // either end will do,
  research->mutableSetValueForKey("people")->addObject(bob);  // the other one follows at once
  const Value place = valueForKeyPath(ann, "department.name");
  std::printf("Ann works in %s\n", place.description()->UTF8String());

  bob->setValueForKey(nullptr, "department");
  const Value left = valueForKeyPath(research, "people.@count");
  std::printf("%s is left\n", left.description()->UTF8String());

  bob->setValueForKey(research, "department");
  ann->setValueForKey(1975, "born");
  bob->setValueForKey(1990, "born");
  Ref<NSError> error;
  context->save(&error);
  context->deleteObject(research);  // people are there, and the rule denies
  if (!context->save(&error)) std::printf("refused with %ld\n", static_cast<long>(error->code()));
  context->insertObject(research);  // so it stays
  context->save(&error);
}
// end

}  // namespace examples
