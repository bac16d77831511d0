#include <cstdio>

#include "Examples.h"

#include <JNFoundation/fetched/EditScript.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace examples {

// begin
/// Prints what a toolkit that is told of one change at a time would be told.
class StepPrinter : public Subclass<StepPrinter, NSObject, NSFetchedResultsControllerDelegate> {
 public:
  void controllerWillChangeContent(Controller) override { changes = {}; }
  void controllerDidChangeSectionAtIndexForChangeType(Controller,
                                                      const Ref<NSFetchedResultsSectionInfo>&,
                                                      NSUInteger index,
                                                      NSFetchedResultsChangeType type) override {
    changes.changeSectionAtIndexForChangeType(index, type);
  }
  void controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(
      Controller, const Ref<NSManagedObject>&, const Ref<NSIndexPath>& from,
      NSFetchedResultsChangeType type, const Ref<NSIndexPath>& to) override {
    changes.changeObjectAtIndexPathForChangeTypeNewIndexPath(from, type, to);
  }
  void controllerDidChangeContent(Controller) override {
    for (const EditStep& step : editScript(changes)) {
      const int item = static_cast<int>(step.at.item);
      switch (step.kind) {
        case EditStep::Kind::RemoveItems:
          std::printf("remove %d from %d\n", static_cast<int>(step.count), item);
          break;
        case EditStep::Kind::InsertItems:
          std::printf("insert %d at %d\n", static_cast<int>(step.count), item);
          break;
        case EditStep::Kind::MoveItem:
          std::printf("move %d to %d\n", item, static_cast<int>(step.to.item));
          break;
        case EditStep::Kind::UpdateItems:
          std::printf("update %d from %d\n", static_cast<int>(step.count), item);
          break;
        case EditStep::Kind::InsertSection:  // with one section there are none
        case EditStep::Kind::RemoveSection:
          break;
      }
    }
  }

  ListChanges changes;
};

/// A list of names that follows a batch, as a model keeps one.
struct Names {
  Ref<NSFetchedResultsController> controller;

  static NSUInteger count(NSUInteger) { return 0; }  // of a section that comes
  std::string make(const ListPlace& place) const {
    const Value object = controller->objectAtIndexPath(
        NSIndexPath::indexPathWithIndexes({place.section, place.item}));
    return as<NSObject>(object)->valueForKey("name").stringValue()->toStdString();
  }
  void update(std::string& name, const ListPlace& place) const { name = make(place); }
};

void showSteps(const Ref<NSManagedObjectContext>& context) {
  auto controller = NSFetchedResultsController::
      initWithFetchRequestManagedObjectContextSectionNameKeyPathCacheName(people(), context,
                                                                          nullptr, nullptr);
  auto printer = makeObject<StepPrinter>();
  controller->setDelegate(Ref<NSFetchedResultsControllerDelegate>(printer));
  controller->performFetch();
  const Value ann = controller->fetchedObjects()->objectAtIndex(0);
  const Value ben = controller->fetchedObjects()->objectAtIndex(1);
  std::vector<std::vector<std::string>> names{{"Ann", "Ben", "Cat"}};

  as<NSManagedObject>(ann)->setValueForKey("Zoe", "name");
  context->deleteObject(as<NSManagedObject>(ben));
  context->processPendingChanges();
  const ListChanges first = printer->changes;

  as<NSManagedObject>(ann)->setValueForKey("Ann", "name");
  context->processPendingChanges();
  const ListChanges both = first.followedBy(printer->changes).reduced();
  const Ref<NSData> text = both.JSONData();
  std::printf("%.*s\n", static_cast<int>(text->length()),
              reinterpret_cast<const char*>(text->bytes()));
  names = applyChanges(both, std::move(names), Names{controller});
  std::printf("%s, %s\n", names[0][0].c_str(), names[0][1].c_str());
}
// end

}  // namespace examples
