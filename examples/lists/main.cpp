#include "Examples.h"

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>

namespace examples {

Ref<NSFetchedResultsController> peopleByCity() {
  auto person = NSEntityDescription::init();
  person->setName("Person");
  person->setProperties(NSArray::arrayWithObjects(
      NSAttributeDescription::attributeWithNameType("name", NSStringAttributeType),
      NSAttributeDescription::attributeWithNameType("city", NSStringAttributeType)));
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObject(person));
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
  coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(NSInMemoryStoreType, nullptr,
                                                                      nullptr, nullptr, nullptr);
  auto context = NSManagedObjectContext::init();
  context->setPersistentStoreCoordinator(coordinator);
  for (const auto& [name, city] :
       {std::pair("Ann", "Aarhus"), std::pair("Ben", "Aarhus"), std::pair("Cat", "Bergen")}) {
    auto object = NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
        "Person", context);
    object->setValueForKey(name, "name");
    object->setValueForKey(city, "city");
  }
  context->save(nullptr);
  auto request = NSFetchRequest::fetchRequestWithEntityName("Person");
  request->setSortDescriptors(
      NSArray::arrayWithObjects(NSSortDescriptor::sortDescriptorWithKeyAscending("city", true),
                                NSSortDescriptor::sortDescriptorWithKeyAscending("name", true)));
  return NSFetchedResultsController::
      initWithFetchRequestManagedObjectContextSectionNameKeyPathCacheName(request, context, "city",
                                                                          nullptr);
}

}  // namespace examples

int main() { examples::showLists(examples::peopleByCity()); }
