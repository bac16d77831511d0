#include <cstdio>

#include "Country.h"

#include <JNFoundation/mapping/MappingObserver.h>

namespace examples {

void watch(const Ref<NSManagedObjectContext>& context) {
  const Ref<Country> country = insertCountry(context);
  // begin
  setMappingObserver(context, [](const MappingEvent& event) {
    if (event.kind() != MappingEvent::Kind::Stored || event.isLossy()) {
      std::printf("%s\n", event.text()->UTF8String());
    }
  });
  country->mergeDictionary(recordOf(R"({"name": ["France"], "population": "66 million", "flag": 1,
                                        "meta": {"founded": "1792"}})"));
  // end
  setMappingObserver(context, nullptr);
}

}  // namespace examples
