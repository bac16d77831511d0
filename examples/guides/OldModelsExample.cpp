#include <cstdio>

#include "Examples.h"

#include <JNFoundation/platform/store/NSMappingModel.h>
#include <JNFoundation/platform/value/NSError.h>

namespace examples {
namespace {

void check(bool holds) { std::puts(holds ? "holds" : "FAILS"); }

constexpr const char* modelOfTheFirstRelease = R"(
<model>
  <entity name="Product">
    <attribute name="sku" attributeType="String"/>
    <attribute name="name" optional="YES" attributeType="String"/>
  </entity>
</model>)";

// begin
void testStoresOfEveryReleaseCanBeMigrated() {
  for (const char* earlier : {modelOfTheFirstRelease}) {
    Ref<NSError> error;
    const auto mapping = NSMappingModel::inferredMappingModelForSourceModelDestinationModelError(
        NSManagedObjectModel::modelWithXMLError(earlier), shopModel(), &error);
    check(mapping != nullptr);  // otherwise the error says which property, and why
  }
}
// end

}  // namespace

void testingOldModels() { testStoresOfEveryReleaseCanBeMigrated(); }

}  // namespace examples
