#include <cstdio>

#include "Examples.h"

#include <JNFoundation/deferred/DeferredCombinators.h>
#include <JNFoundation/deferred/JNTimeout.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/testing/TestMainThread.h>

using namespace JNFoundation;

namespace {

Ref<PLVDeferred> download(const char* text, NSTimeInterval seconds) {
  return PLVDeferred::withResolvedDelayInterval(text, seconds);
}

// begin
Ref<PLVDeferred> fetchPage() {
  const Ref<PLVDeferred> near = download("from near", 3), far = download("from far", 9);
  // Whoever is first; the other one is stopped.
  const Ref<PLVDeferred> page =
      firstResolved(NSArray::arrayWithObjects(near, far), Unneeded::Cancel);
  // And nobody waits longer than five seconds.
  return withTimeout(page, 5, Unneeded::Cancel)
      ->thenRejected([](const Ref<PLVRejected>& rejected) -> Value {
        return isKindOf<JNTimeout>(rejected->value()) ? Value("too slow") : Value(rejected);
      });
}

Ref<PLVDeferred> fetchPictures(const Ref<NSArray>& names) {
  // Two at a time, the pictures in the order of the names; each is tried up to four times.
  return mapConcurrently(names, 2, [](const Value& name, NSUInteger) {
    return retry([name](NSUInteger) { return download(name.stringValue()->UTF8String(), 1); },
                 {.attempts = 4, .jitter = 0.5});
  });
}
// end

}  // namespace

void combinatorsExample() {
  TestMainThread main;
  const Ref<PLVDeferred> page = fetchPage();
  const Ref<PLVDeferred> pictures = fetchPictures(NSArray::arrayWithObjects("a", "b", "c"));
  main.clock().advance(10);
  std::printf("%s\n", page->resolution().description()->UTF8String());
  std::printf("%d pictures\n", static_cast<int>(as<NSArray>(pictures->resolution())->count()));
}
