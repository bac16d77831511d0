#include <cstdio>

#include "Examples.h"

#include <JNFoundation/importing/ContextDeferreds.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>

namespace examples {

// begin
Ref<PLVDeferred> listNames(const Ref<NSManagedObjectContext>& context) {
  auto request = NSFetchRequest::fetchRequestWithEntityName("Country");
  request->setSortDescriptors(
      NSArray::arrayWithObject(NSSortDescriptor::sortDescriptorWithKeyAscending("name", true)));
  return fetchIn(context, request)
      .thenResolved([](const Ref<NSArray>& countries) {
        std::string line;
        for (const Value& country : countries) {
          if (!line.empty()) line += ", ";
          line += as<NSManagedObject>(country)->valueForKey("name").stringValue()->toStdString();
        }
        std::printf("%s\n", line.c_str());
      })
      .untyped();
}
// end

}  // namespace examples
