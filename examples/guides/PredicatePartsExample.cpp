#include <cstdio>

#include "Examples.h"

#include <JNFoundation/platform/query/KeyValueCoding.h>
#include <JNFoundation/platform/query/NSCompoundPredicate.h>

namespace examples {
namespace {

// begin
void combine(const Ref<NSArray>& people) {
  // Parsed once, filled in as often as it is needed.
  const auto between = NSPredicate::predicateWithFormat("age BETWEEN {$from, $to}");
  const auto young = between->predicateWithSubstitutionVariables(
      NSDictionary::dictionaryWithEntries({{"from", 0}, {"to", 17}}));

  const auto notYoung = NSCompoundPredicate::notPredicateWithSubpredicate(young);
  const auto shortName = NSPredicate::predicateWithBlock(  // stores evaluate it in memory
      [](const Value& person, const Ref<NSDictionary>&) {
        return valueForKey(person, "name").stringValue()->length() <= 3;
      });
  const auto both = NSCompoundPredicate::andPredicateWithSubpredicates(
      NSArray::arrayWithObjects(notYoung, shortName));
  printNames(filteredArrayUsingPredicate(people, both));

  // A predicate is text again, for a log or a file.
  std::puts(young->predicateFormat()->UTF8String());
}
// end

}  // namespace

void predicateParts() { combine(somePeople()); }

}  // namespace examples
