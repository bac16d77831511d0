#include <cstdio>
#include <string>

#include "Examples.h"

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/StatementTrace.h>

namespace examples {
namespace {

constexpr const char* modelText = R"(
<model>
  <entity name="Person">
    <attribute name="name" attributeType="String"/>
    <attribute name="age" optional="YES" attributeType="Integer 16"/>
    <fetchIndex name="byAge"><fetchIndexElement property="age"/></fetchIndex>
  </entity>
</model>)";

// begin
/// Prints how the file goes about a fetch: SEARCH by an index, or SCAN of every record.
void explain(const Ref<NSManagedObjectContext>& context, const Ref<NSPredicate>& predicate) {
  StatementObserverScope watch(
      [](const StatementTrace& trace) {
        std::printf("%s\n", std::string(trace.plan.substr(0, trace.plan.find(' '))).c_str());
      },
      StatementPlans::Include);
  const auto request = NSFetchRequest::fetchRequestWithEntityName("Person");
  request->setPredicate(predicate);
  context->executeFetchRequestError(request);
}

void compare(const Ref<NSManagedObjectContext>& context) {
  explain(context, NSPredicate::predicateWithFormat("age BETWEEN {18, 40}"));
  explain(context, NSPredicate::predicateWithFormat("age + 0 >= 18"));
}
// end

}  // namespace

void predicatesInStores() {
  const char* path = "people-of-the-guides.sqlite";
  const auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(
      NSManagedObjectModel::modelWithXMLError(modelText));
  const Ref<NSURL> file = NSURL::fileURLWithPath(path);
  coordinator->destroyPersistentStoreAtURLWithTypeOptionsError(file, NSSQLiteStoreType, nullptr);
  coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(NSSQLiteStoreType, nullptr,
                                                                      file, nullptr);
  const auto context = NSManagedObjectContext::init();
  context->setPersistentStoreCoordinator(coordinator);
  compare(context);
}

}  // namespace examples
