#include <cstdio>

#include "Examples.h"

#include <JNFoundation/deferred/PLVPromise.h>

namespace examples {
namespace {

// begin
void shareUser(const Ref<PLVDeferred>& download) {
  const Ref<PLVPromise> user = PLVPromise::resolvedBy(download);

  // Each listener has a chain of its own; what one makes of the value, no other sees.
  user->deferredResolution()->thenResolved([](const Value& record) -> Value {
    const Value name = as<NSDictionary>(record)->objectForKey("name");
    std::printf("hello, %s\n", name.description()->UTF8String());
    return nullptr;
  });
  const Ref<PLVDeferred> age = user->deferredResolution()->thenResolved(
      [](const Value& record) { return as<NSDictionary>(record)->objectForKey("age"); });

  // Called once, behind all listeners.
  user->whenFulfilled([age](const Value&, const Ref<PLVRejected>& rejected) {
    if (!rejected) std::printf("%d years old\n", age->resolution().intValue());
  });
}
// end

}  // namespace

void promises() {
  const Ref<PLVDeferred> download = PLVDeferred::init();
  shareUser(download);
  download->resolve(decoded(R"({"name": "Ann", "age": 30})"));
}

}  // namespace examples
