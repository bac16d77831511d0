#include "Migrating.h"

#include <JNFoundation/platform/query/NSPredicate.h>

namespace examples {

// begin
Ref<NSMigrationPlan> makePlan() {
  using Record = Ref<NSMigrationRecord>;
  const auto step = NSMigrationStep::stepWithSourcePredicate(nullptr);
  step->setRecordMigrationForEntityNamed(
      [](const Record& source, const Record& destination, Ref<NSError>*) {
        const Value year = source->valueForKey("year");  // was a text
        destination->setValueForKey(year.integerValue(), "year");
        return true;
      },
      "Book");
  step->setRelationshipMigrationForEntityNamed(
      [](const Record& source, const Record& destination, Ref<NSError>*) {
        const Value authors = source->valueForKey("authors");  // to many, now to one
        destination->setValueForKey(as<NSArray>(authors)->firstObject(), "author");
        return true;
      },
      "Book");
  auto plan = NSMigrationPlan::init();
  plan->addStep(step);
  return plan;
}
// end

}  // namespace examples
