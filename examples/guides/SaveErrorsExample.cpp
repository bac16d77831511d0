#include <cstdio>

#include "Examples.h"

#include <JNFoundation/platform/store/NSCoreDataErrors.h>
#include <JNFoundation/platform/value/NSError.h>

namespace examples {
namespace {

// begin
/// One line for each thing that a save found wrong.
void explain(const NSError& error) {
  const Ref<NSDictionary>& details = error.userInfo();
  if (error.code() == NSValidationMultipleErrorsError) {
    const Value all = details->objectForKey(NSDetailedErrorsKey);
    for (const Value& one : *as<NSArray>(all)) explain(*as<NSError>(one));
    return;
  }
  const Value object = details->objectForKey(NSValidationObjectErrorKey);
  const Value key = details->objectForKey(NSValidationKeyErrorKey);
  std::printf("%s.%s: %d\n", as<NSManagedObject>(object)->entity()->name()->UTF8String(),
              key.description()->UTF8String(), static_cast<int>(error.code()));
}

void saveOrExplain(const Ref<NSManagedObjectContext>& context) {
  Ref<NSError> error;
  if (!context->save(&error)) explain(*error);  // the changes stay, to be mended or rolled back
}
// end

constexpr const char* modelText = R"(
<model>
  <entity name="Account">
    <attribute name="name" attributeType="String"/>
    <attribute name="age" attributeType="Integer 16" minValueString="18"/>
  </entity>
</model>)";

}  // namespace

void errorsOfSaves() {
  const auto context = openInMemory(NSManagedObjectModel::modelWithXMLError(modelText));
  const auto account = NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
      "Account", context);
  account->setValueForKey(12, "age");
  saveOrExplain(context);
}

}  // namespace examples
