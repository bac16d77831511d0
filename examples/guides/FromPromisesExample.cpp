#include <cstdio>

#include "Examples.h"

#include <JNFoundation/deferred/PLVPromise.h>

namespace examples {
namespace {

// begin
/// Two independent continuations of one request, and what follows both.
Ref<PLVDeferred> greeting(const Ref<PLVDeferred>& request) {
  const Ref<PLVPromise> user = PLVPromise::resolvedBy(request);  // a branch needs a promise
  const Ref<PLVDeferred> name = user->deferredResolution()->thenResolved(
      [](const Value& record) { return as<NSDictionary>(record)->objectForKey("name"); });
  const Ref<PLVDeferred> city = user->deferredResolution()->thenResolved(
      [](const Value& record) { return as<NSDictionary>(record)->objectForKey("city"); });
  return PLVDeferred::withAllResolved(NSArray::arrayWithObjects(name, city))
      ->thenResolved([](const Value& both) -> Value {
        const NSArray& parts = *as<NSArray>(both);
        return NSString::stringWithFormat("%@ from %@", parts.objectAtIndex(0),
                                          parts.objectAtIndex(1));
      });
}
// end

}  // namespace

void fromPromises() {
  const Ref<PLVDeferred> request = PLVDeferred::init();
  const Ref<PLVDeferred> line = greeting(request);
  request->resolve(decoded(R"({"name": "Ann", "city": "Oslo"})"));
  std::puts(line->resolution().description()->UTF8String());
}

}  // namespace examples
