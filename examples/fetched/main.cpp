#include "Examples.h"

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/value/NSError.h>

namespace examples {

Ref<NSManagedObjectContext> open() {
  auto person = NSEntityDescription::init();
  person->setName("Person");
  person->setProperties(NSArray::arrayWithObject(
      NSAttributeDescription::attributeWithNameType("name", NSStringAttributeType)));
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObject(person));
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
  coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(NSInMemoryStoreType, nullptr,
                                                                      nullptr, nullptr, nullptr);
  auto context = NSManagedObjectContext::init();
  context->setPersistentStoreCoordinator(coordinator);
  for (const char* name : {"Ann", "Ben", "Cat"}) {
    NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Person", context)
        ->setValueForKey(name, "name");
  }
  context->save(nullptr);
  return context;
}

Ref<NSFetchRequest> people() {
  auto request = NSFetchRequest::fetchRequestWithEntityName("Person");
  request->setSortDescriptors(
      NSArray::arrayWithObject(NSSortDescriptor::sortDescriptorWithKeyAscending("name", true)));
  return request;
}

}  // namespace examples

int main() {
  const auto context = examples::open();
  examples::showChanges(context);
  examples::discover(context);
  examples::refresh(context);
  examples::showSteps(examples::open());
  examples::stick(examples::open());
  examples::followRefresh(examples::open());
  examples::followResults(examples::open());
}
