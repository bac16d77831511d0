#include <cstdio>

#include "Country.h"

#include <JNFoundation/mapping/RecordExport.h>
#include <JNFoundation/platform/json/NSJSONSerialization.h>

namespace examples {

void exportCountry(const Ref<NSManagedObjectContext>& context) {
  const Ref<Country> country = insertCountry(context);
  country->mergeDictionary(recordOf(R"({"alpha2": "FR", "population": 66000000})"));
  // begin
  const RecordExport feed(country->entityDataMap());
  const Ref<NSDictionary> record = feed.recordOfObject(country);
  for (const RecordExport::Loss& loss : feed.losses()) {
    std::printf("%s has no way back\n", loss.path->componentsJoinedByString(".")->UTF8String());
  }
  // end
  std::printf("%s\n", NSJSONSerialization::stringWithJSONObjectOptionsError(
                          record, NSJSONWritingSortedKeys, nullptr)
                          ->UTF8String());
}

}  // namespace examples
