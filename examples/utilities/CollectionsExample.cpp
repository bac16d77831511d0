#include <cstdio>

#include "Examples.h"

#include <JNFoundation/platform/query/KeyValueCoding.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/util/NSArray+PLVExtensions.h>

namespace examples {
namespace {

Ref<NSDictionary> person(const char* name, int age) {
  return NSDictionary::dictionaryWithEntries({{"name", name}, {"age", age}});
}

}  // namespace

// begin
void workWithArrays() {
  auto people = NSArray::arrayWithObjects(person("Ann", 30), person("Ben", 12), person("Cleo", 45));
  if (plv_hasAnyMatching(people, "age > %d", 40)) std::puts("somebody is old");

  auto adults = plv_filteredArrayMatching(people, "age >= %d", 18);
  auto names = plv_mapObjectsUsingBlock(
      adults, [](const Value& adult, bool&) { return valueForKey(adult, "name"); });
  std::puts(names->componentsJoinedByString(" ")->UTF8String());

  auto byName = plv_indexByKeyPath(people, "name");  // the last of those with one name
  const Value age = valueForKey(byName->objectForKey("Cleo"), "age");
  std::printf("Cleo is %d\n", age.intValue());

  // Whoever is there of Zoe, Ben and Ann, in this order of preference.
  const Value found = plv_firstObjectWithKeyPathPresentInSortedValues(
      people, "name", NSArray::arrayWithObjects("Zoe", "Ben", "Ann"));
  std::printf("%s by preference\n", valueForKey(found, "name").description()->UTF8String());

  const Value years =
      plv_reduceWithMemoUsingBlock(people, 0, [](const Value& sum, const Value& one, bool&) {
        return sum.integerValue() + valueForKey(one, "age").integerValue();
      });
  std::printf("%d years\n", years.intValue());

  plv_enumerateSubarraysOfLengthUsingBlock(people, 2, [](const Ref<NSArray>& some, bool&) {
    std::printf("sending %d\n", static_cast<int>(some->count()));
  });
}
// end

}  // namespace examples
