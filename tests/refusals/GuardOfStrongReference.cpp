// Refused with: thenResolved
#include <JNFoundation/deferred/PLVDeferred.h>

using JNFoundation::NSObject;
using JNFoundation::Ref;
using JNFoundation::Value;
void handle(Ref<JNFoundation::PLVDeferred> deferred, Ref<NSObject> owner) {
  deferred->thenResolved(owner, [](const Value& value) { return value; });
}
