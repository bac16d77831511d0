#include "JNFoundation/importing/RecordImport.h"

#include <memory>
#include <utility>

#include <JNFoundation/importing/impl/ImportRun.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

Deferred<Ref<ImportReport>> importRecords(const Ref<NSArray>& records,
                                          const Ref<NSString>& entityName,
                                          const Ref<NSManagedObjectContext>& context,
                                          ImportOptions options, CreationPlace place) {
  return Deferred<Ref<ImportReport>>(
      impl::ImportRun::start(std::make_unique<impl::ListedRecords>(records), entityName, context,
                             std::move(options), place));
}

Deferred<Ref<ImportReport>> importRecordsFromJSON(const Ref<NSData>& json,
                                                  const Ref<NSString>& entityName,
                                                  const Ref<NSManagedObjectContext>& context,
                                                  ImportOptions options, CreationPlace place) {
  if (!json) raise(NSInvalidArgumentException, "importRecordsFromJSON: the data is null");
  return Deferred<Ref<ImportReport>>(
      impl::ImportRun::start(std::make_unique<impl::WrittenRecords>(json), entityName, context,
                             std::move(options), place));
}

}  // namespace JNFoundation
