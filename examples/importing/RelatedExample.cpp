#include <cstdio>

#include "Examples.h"

#include <JNFoundation/importing/RecordImport.h>
#include <JNFoundation/importing/RelatedRecords.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace examples {

// begin
/// The rule "$region" → "setRegionRecord:" stands in the entity's user info.
class Country : public Subclass<Country, PLVManagedObject> {
 public:
  void setRegionRecord(const Value& record) { relateRecord(*this, "region", record); }

 protected:
  using Subclass::Subclass;
};

const ClassDeclaration<Country> declaration =
    ClassDeclaration<Country>().factory().operation("setRegionRecord:", &Country::setRegionRecord);
// end

Ref<PLVDeferred> importRegions(const Ref<NSManagedObjectContext>& context,
                               const Ref<NSArray>& records) {
  return importRecords(records, "Country", context)
      .thenResolved([context](const Ref<ImportReport>& report) {
        std::printf("%s\n", report->description()->utf8().data());
        const Ref<NSArray> found = context->executeFetchRequestError(
            NSFetchRequest::fetchRequestWithEntityName("Country"));
        for (const Value& country : found) {
          const Value region = as<NSManagedObject>(country)->valueForKey("region");
          if (region.isNull()) continue;
          std::printf(
              "%s is in %s\n",
              as<NSManagedObject>(country)->valueForKey("name").stringValue()->utf8().data(),
              as<NSManagedObject>(region)->valueForKey("name").stringValue()->utf8().data());
        }
      })
      .untyped();
}

}  // namespace examples
