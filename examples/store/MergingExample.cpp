#include <cstdio>

#include "Examples.h"

#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSMergeConflict.h>
#include <JNFoundation/platform/store/NSMergePolicy.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace examples {

// begin
/// Somebody else's year of birth is believed if it is the earlier one; for the rest, ours wins.
class EarlierYear : public Subclass<EarlierYear, NSMergePolicy> {
 public:
  using Subclass::Subclass;

  bool resolveOptimisticLockingVersionConflictsError(const Ref<NSArray>& conflicts,
                                                     Ref<NSError>* error) override {
    for (const Value& value : *conflicts) {
      const auto* conflict = as<NSMergeConflict>(value);
      const Ref<NSManagedObject>& person = conflict->sourceObject();
      const Ref<NSDictionary> theirs = conflict->persistedSnapshot();
      if (!theirs || person->isDeleted()) continue;  // as the base class has it
      const Value born = theirs->objectForKey("born");
      if (born.isNumber() && born.longLongValue() < person->valueForKey("born").longLongValue()) {
        person->setValueForKey(born, "born");
      }
    }
    return NSMergePolicy::resolveOptimisticLockingVersionConflictsError(conflicts, error);
  }
};

void merge(const Ref<NSManagedObjectContext>& context) {
  const auto ann = [](const Ref<NSManagedObjectContext>& where) {
    auto request = NSFetchRequest::fetchRequestWithEntityName("Person");
    request->setPredicate(NSPredicate::predicateWithFormat("name BEGINSWITH %@", "Ann"));
    const Value found = where->executeFetchRequestError(request)->firstObject();
    return Ref<NSManagedObject>(as<NSManagedObject>(found));
  };
  auto other = NSManagedObjectContext::init();
  other->setPersistentStoreCoordinator(context->persistentStoreCoordinator());
  const Ref<NSManagedObject> ours = ann(context), theirs = ann(other);
  ours->setValueForKey(1977, "born");
  theirs->setValueForKey(1974, "born");
  theirs->setValueForKey("Anna", "name");
  other->save();

  Ref<NSError> error;
  if (!context->save(&error)) std::printf("error %ld\n", static_cast<long>(error->code()));
  context->setMergePolicy(
      EarlierYear::initWithMergeType(NSMergeByPropertyObjectTrumpMergePolicyType));
  context->save(&error);
  std::printf("%s, born in %s\n", ours->valueForKey("name").description()->UTF8String(),
              ours->valueForKey("born").description()->UTF8String());
}
// end

}  // namespace examples
