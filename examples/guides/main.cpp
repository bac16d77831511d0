#include <cstdio>
#include <string>

#include "Examples.h"

#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/query/KeyValueCoding.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>

namespace examples {

Value decoded(const char* json) {
  return NSJSONSerialization::JSONObjectWithTextOptionsError(json, NSJSONReadingPlain, nullptr);
}

Ref<NSArray> somePeople() {
  return as<NSArray>(decoded(R"([
      {"name": "Ann", "age": 30, "city": "Oslo", "friends": [{"name": "Ben"}, {"name": "Åsa"}]},
      {"name": "Ben", "age": 12, "city": "Malmö", "friends": []},
      {"name": "Åsa", "age": 44, "city": "Malmö", "friends": [{"name": "Ann"}]},
      {"name": "Bob", "age": null, "city": "Bergen", "friends": []}])"));
}

void printNames(const Ref<NSArray>& people) {
  std::string line;
  for (const Value& person : people) {
    if (!line.empty()) line += ' ';
    line += valueForKey(person, "name").description()->toStdString();
  }
  std::puts(line.c_str());
}

Ref<NSManagedObjectContext> openInMemory(const Ref<NSManagedObjectModel>& model) {
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
  coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(NSInMemoryStoreType, nullptr,
                                                                      nullptr, nullptr);
  auto context = NSManagedObjectContext::init();
  context->setPersistentStoreCoordinator(coordinator);
  return context;
}

}  // namespace examples

int main() {
  using namespace examples;
  firstDeferred();
  threads();
  ownership();
  promises();
  cancellation();
  picture();
  predicates();
  predicateParts();
  predicatesInStores();
  badPredicates();
  filters();
  filterProblems();
  migrating();
  testing();
  testingOldModels();
  errorsOfSaves();
  errorsOfDeferreds();
  logLines();
  fromPromises();
  fromMappers();
}
