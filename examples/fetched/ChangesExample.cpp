#include <cstdio>

#include "Examples.h"

#include <JNFoundation/fetched/PLVFetchedResultsChanges.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace examples {

// begin
/// Collects what a controller tells call by call, and applies it as one batch.
class PeopleList : public Subclass<PeopleList, NSObject, NSFetchedResultsControllerDelegate> {
 public:
  void controllerWillChangeContent(Controller) override {
    _changes = PLVFetchedResultsChanges::init();
  }
  void controllerDidChangeSectionAtIndexForChangeType(
      Controller, const Ref<NSFetchedResultsSectionInfo>& section, NSUInteger index,
      NSFetchedResultsChangeType type) override {
    _changes->changeSectionAtIndexForChangeType(section, index, type);
  }
  void controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(
      Controller, const Ref<NSManagedObject>&, const Ref<NSIndexPath>& from,
      NSFetchedResultsChangeType type, const Ref<NSIndexPath>& to) override {
    _changes->changeObjectAtIndexPathForChangeTypeNewIndexPath(from, type, to);
  }
  void controllerDidChangeContent(Controller) override {
    std::printf("%d deleted, %d inserted, %d moved\n",
                static_cast<int>(_changes->deletedItemPaths()->count()),
                static_cast<int>(_changes->insertedItemPaths()->count()),
                static_cast<int>(_changes->movedItems()->count()));
    _changes = nullptr;  // the next batch has a set of its own
  }

 private:
  Ref<PLVFetchedResultsChanges> _changes;
};
// end

void showChanges(const Ref<NSManagedObjectContext>& context) {
  auto controller = NSFetchedResultsController::
      initWithFetchRequestManagedObjectContextSectionNameKeyPathCacheName(people(), context,
                                                                          nullptr, nullptr);
  auto list = makeObject<PeopleList>();
  controller->setDelegate(Ref<NSFetchedResultsControllerDelegate>(list));
  controller->performFetch();
  const Ref<NSArray> names = as<NSArray>(controller->fetchedObjects()->valueForKey("name"));
  std::puts(names->componentsJoinedByString(", ")->UTF8String());
  const auto person = [&](NSUInteger item) {
    const Value object =
        controller->objectAtIndexPath(NSIndexPath::indexPathWithIndexes({0, item}));
    return Ref<NSManagedObject>(as<NSManagedObject>(object));
  };
  const auto ann = person(0), ben = person(1);
  context->deleteObject(ben);
  ann->setValueForKey("Zoe", "name");
  NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Person", context)
      ->setValueForKey("Dan", "name");
  context->processPendingChanges();
}

}  // namespace examples
