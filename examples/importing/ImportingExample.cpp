#include <cstdio>

#include "Examples.h"

#include <JNFoundation/importing/RecordImport.h>
#include <JNFoundation/platform/value/NSError.h>

namespace examples {

// begin
Ref<PLVDeferred> importFeed(const Ref<NSManagedObjectContext>& context,
                            const Ref<NSArray>& records) {
  ImportOptions options{.absent = ImportAbsent::Delete, .chunkSize = 1000};
  options.progress = [](const ImportProgress& progress) {
    std::printf("%d of %d\n", static_cast<int>(progress.recordsDone),
                static_cast<int>(progress.recordsTotal));
  };
  return importRecords(records, "Country", context, options)
      .thenResolved([](const Ref<ImportReport>& report) {
        std::printf("%s\n", report->description()->utf8().data());
        for (const ImportReport::Refusal& refusal : report->refusals()) {
          std::printf("record %d: %s\n", static_cast<int>(refusal.index),
                      refusal.error->localizedDescription()->utf8().data());
        }
      })
      .untyped();
}
// end

}  // namespace examples
