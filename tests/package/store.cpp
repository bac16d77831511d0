// A record that is saved in a file and found again.

#include <cstdio>

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/store/NSFetchRequest.h>
#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>

using namespace JNFoundation;

namespace {

Ref<NSManagedObjectContext> open(const char* path) {
  const auto model = NSManagedObjectModel::modelWithXMLError(
      R"(<model><entity name="City"><attribute name="name" attributeType="String"/></entity></model>)");
  const auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
  coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
      NSSQLiteStoreType, nullptr, NSURL::fileURLWithPath(path), nullptr, nullptr);
  const auto context = NSManagedObjectContext::init();
  context->setPersistentStoreCoordinator(coordinator);
  return context;
}

}  // namespace

bool doStoresWork() {
  const char* const path = "package.sqlite";
  for (const char* file : {"package.sqlite", "package.sqlite-wal", "package.sqlite-shm"}) {
    std::remove(file);
  }
  {
    const auto context = open(path);
    NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("City", context)
        ->setValueForKey("Z\u00FCrich", "name");
    if (!context->save(nullptr)) return false;
  }
  const auto request = NSFetchRequest::fetchRequestWithEntityName("City");
  request->setPredicate(NSPredicate::predicateWithFormat("name BEGINSWITH[cd] %@", "zur"));
  return open(path)->countForFetchRequestError(request) == 1;
}
