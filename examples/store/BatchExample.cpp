#include <cstdio>

#include "Examples.h"

#include <JNFoundation/platform/query/NSExpression.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSBatchDeleteRequest.h>
#include <JNFoundation/platform/store/NSBatchInsertRequest.h>
#include <JNFoundation/platform/store/NSBatchUpdateRequest.h>
#include <JNFoundation/platform/store/NSBatchUpdateResult.h>
#include <JNFoundation/platform/value/NSError.h>

namespace examples {

// begin
void changeMany(const Ref<NSManagedObjectContext>& context) {
  Ref<NSError> error;
  int born = 1900;
  auto insertion = NSBatchInsertRequest::batchInsertRequestWithEntityNameDictionaryHandler(
      "Person", [&](const Ref<NSMutableDictionary>& person) {
        person->setObjectForKey("one of many", "name");
        person->setObjectForKey(born++, "born");
        return born > 2000;  // the dictionary of this call is not inserted
      });
  if (context->executeRequestError(insertion, &error).isNull()) return;

  auto update = NSBatchUpdateRequest::batchUpdateRequestWithEntityName("Person");
  update->setPredicate(NSPredicate::predicateWithFormat("born < 1950"));
  update->setPropertiesToUpdate(NSDictionary::dictionaryWithEntries(
      {{"name", "one of the old"}, {"born", NSExpression::expressionWithFormat("born + 1")}}));
  update->setResultType(NSUpdatedObjectsCountResultType);
  const Value result = context->executeRequestError(update, &error);
  std::printf("%ld changed\n", as<NSBatchUpdateResult>(result)->result().integerValue());

  auto many = NSFetchRequest::fetchRequestWithEntityName("Person");
  many->setPredicate(NSPredicate::predicateWithFormat("name BEGINSWITH 'one of '"));
  context->executeRequestError(NSBatchDeleteRequest::initWithFetchRequest(many), &error);
}
// end

}  // namespace examples
