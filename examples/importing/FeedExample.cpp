#include <cstdio>
#include <utility>

#include "Examples.h"

#include <JNFoundation/importing/RecordImport.h>

namespace examples {

// begin
Ref<PLVDeferred> importFeedText(const Ref<NSManagedObjectContext>& context, std::string json) {
  ImportOptions options;
  options.progress = [](const ImportProgress& progress) {
    std::printf("%.0f %%\n", 100 * progress.fraction);
  };
  return importRecordsFromJSON(NSData::dataWithText(std::move(json)), "Country", context, options)
      .thenResolved([](const Ref<ImportReport>& report) {
        std::printf("%s\n", report->description()->utf8().data());
      })
      .untyped();
}
// end

}  // namespace examples
