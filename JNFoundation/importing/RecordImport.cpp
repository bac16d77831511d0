#include "JNFoundation/importing/RecordImport.h"

#include <utility>

#include <JNFoundation/importing/impl/ImportRun.h>

namespace JNFoundation::inline v0_1 {

Deferred<Ref<ImportReport>> importRecords(const Ref<NSArray>& records,
                                          const Ref<NSString>& entityName,
                                          const Ref<NSManagedObjectContext>& context,
                                          ImportOptions options, CreationPlace place) {
  return Deferred<Ref<ImportReport>>(
      impl::ImportRun::start(records, entityName, context, std::move(options), place));
}

}  // namespace JNFoundation
