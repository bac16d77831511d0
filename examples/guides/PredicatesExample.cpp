#include "Examples.h"

#include <JNFoundation/platform/query/NSPredicate.h>

namespace examples {
namespace {

// begin
void findPeople(const Ref<NSArray>& people) {
  const auto grown = NSPredicate::predicateWithFormat("age >= %d AND city ==[cd] %@", 18, "MALMO");
  printNames(filteredArrayUsingPredicate(people, grown));

  const auto sociable =
      NSPredicate::predicateWithFormat("friends.@count > 1 OR ANY friends.name BEGINSWITH %@", "A");
  printNames(filteredArrayUsingPredicate(people, sociable));

  // %K is a key path that comes from elsewhere; quoted text stands for itself.
  const auto unknown = NSPredicate::predicateWithFormat("%K == NULL AND city != 'Oslo'", "age");
  printNames(filteredArrayUsingPredicate(people, unknown));
}
// end

}  // namespace

void predicates() { findPeople(somePeople()); }

}  // namespace examples
