#include <cstdio>

#include "Examples.h"

#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/NSFetchedResultsController.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace examples {

// begin
/// Where a list view would insert, delete, move and redraw its rows.
class PeopleList : public Subclass<PeopleList, NSObject, NSFetchedResultsControllerDelegate> {
 public:
  void controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(
      Controller, const Ref<NSManagedObject>& person, const Ref<NSIndexPath>& from,
      NSFetchedResultsChangeType type, const Ref<NSIndexPath>& to) override {
    static constexpr const char* words[] = {"", "insert", "delete", "move", "update"};
    const Value name = person->valueForKey("name");
    std::printf("%s %s", words[type], name.description()->UTF8String());
    if (from) std::printf(" from row %d", static_cast<int>(from->indexAtPosition(1)));
    if (to) std::printf(" to row %d", static_cast<int>(to->indexAtPosition(1)));
    std::puts("");
  }
  void controllerDidChangeContent(Controller controller) override {
    std::printf("%d people\n", static_cast<int>(controller->fetchedObjects()->count()));
  }
};

void list(const Ref<NSManagedObjectContext>& context) {
  auto request = NSFetchRequest::fetchRequestWithEntityName("Person");
  request->setSortDescriptors(NSArray::arrayWithObjects(
      NSSortDescriptor::sortDescriptorWithKeyAscending("department.name", true),
      NSSortDescriptor::sortDescriptorWithKeyAscending("name", true)));
  auto people = NSFetchedResultsController::
      initWithFetchRequestManagedObjectContextSectionNameKeyPathCacheName(
          request, context, "department.name", nullptr);
  auto view = makeObject<PeopleList>();
  people->setDelegate(Ref<NSFetchedResultsControllerDelegate>(view));
  Ref<NSError> error;
  people->performFetch(&error);

  const Value section = people->sections()->objectAtIndex(0);
  const auto* info = as<NSFetchedResultsSectionInfo>(section);
  std::printf("%s: %d\n", info->name()->UTF8String(), static_cast<int>(info->numberOfObjects()));

  const Ref<NSArray> before = people->fetchedObjects();  // stays as it is
  const Value ann = people->objectAtIndexPath(NSIndexPath::indexPathWithIndexes({0, 0}));
  as<NSManagedObject>(ann)->setValueForKey("Zoe", "name");
  auto cat =
      NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Person", context);
  cat->setValueForKey("Cat", "name");
  cat->setValueForKey(as<NSManagedObject>(ann)->valueForKey("department"), "department");
  context->save(&error);  // or the end of the turn: the delegate is told of both at once
}
// end

}  // namespace examples
