#include <cstdio>

#include "Examples.h"

#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>

namespace examples {
namespace {

void print(const Ref<NSManagedObjectContext>& context, const Ref<NSFetchRequest>& request) {
  std::string line;
  const Ref<NSArray> found = context->executeFetchRequestError(request);
  for (const Value& object : *found) {
    if (!line.empty()) line += ' ';
    line += as<NSManagedObject>(object)->valueForKey("name").description()->toStdString();
  }
  std::puts(line.c_str());
}

}  // namespace

// begin
void ask(const Ref<NSManagedObjectContext>& context) {
  auto people = NSFetchRequest::fetchRequestWithEntityName("Person");
  people->setSortDescriptors(NSArray::arrayWithObjects(
      NSSortDescriptor::sortDescriptorWithKeyAscending("department.name", true),
      NSSortDescriptor::sortDescriptorWithKeyAscending("name", true)));
  people->setPredicate(NSPredicate::predicateWithFormat("department.name ==[c] %@", "research"));
  print(context, people);

  people->setPredicate(NSPredicate::predicateWithFormat("born BETWEEN {%d, %d}", 1970, 1980));
  print(context, people);

  auto departments = NSFetchRequest::fetchRequestWithEntityName("Department");
  departments->setPredicate(NSPredicate::predicateWithFormat(
      "SUBQUERY(people, $p, $p.born > 1980).@count == 1 AND NONE people.name == %@", "Cat"));
  print(context, departments);
}
// end

}  // namespace examples
