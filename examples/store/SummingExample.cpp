#include <cstdio>

#include "Examples.h"

#include <JNFoundation/platform/query/NSExpression.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/NSExpressionDescription.h>

namespace examples {
namespace {

void print(const Ref<NSArray>& rows) {
  for (const Value& row : rows) {
    const auto& dictionary = *as<NSDictionary>(row);
    std::printf("%s %s\n", dictionary["department.name"].description()->UTF8String(),
                dictionary["youngest"].description()->UTF8String());
  }
}

}  // namespace

// begin
void sum(const Ref<NSManagedObjectContext>& context) {
  auto youngest = NSExpressionDescription::init();
  youngest->setName("youngest");
  youngest->setExpression(NSExpression::expressionWithFormat("max(born)"));
  youngest->setExpressionResultType(NSInteger32AttributeType);

  auto departments = NSFetchRequest::fetchRequestWithEntityName("Person");
  departments->setResultType(NSDictionaryResultType);
  departments->setPropertiesToFetch(NSArray::arrayWithObjects("department.name", youngest));
  departments->setPropertiesToGroupBy(NSArray::arrayWithObjects("department.name"));
  departments->setHavingPredicate(NSPredicate::predicateWithFormat("count(SELF) > 1"));
  departments->setSortDescriptors(NSArray::arrayWithObjects(
      NSSortDescriptor::sortDescriptorWithKeyAscending("youngest", false)));
  print(context->executeFetchRequestError(departments));
}
// end

}  // namespace examples
