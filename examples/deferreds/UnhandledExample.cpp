#include <cstdio>

#include "Examples.h"

#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/deferred/UnhandledRejections.h>

using namespace JNFoundation;

void unhandledExample() {
  // begin
  setUnhandledRejectionHook([](const UnhandledRejection& unhandled) {
    std::printf("%s\n", unhandled.description()->toStdString().c_str());
  });
  // end
  PLVDeferred::withRejected("offline")->thenResolved([](const Value& feed) { return feed; });
  setUnhandledRejectionHook(nullptr);
}
