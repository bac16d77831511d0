#include <cstdio>

#include "Examples.h"

#include <JNFoundation/deferred/PLVDeferredEnumeration.h>
#include <JNFoundation/platform/value/NSArray.h>

using namespace JNFoundation;

namespace {

Ref<PLVDeferred> upload(const Value& file) {
  std::printf("uploading %s\n", file.description()->UTF8String());
  return PLVDeferred::withResolved(file);
}

// begin
Ref<PLVDeferred> uploadUpTo(const Ref<NSArray>& files, const Value& last) {
  return PLVDeferredEnumeration::enumerateObjectsUsingBlock(
      files, [last](const Value& file, NSUInteger, bool& stop) -> Value {
        stop = file == last;
        return upload(file);  // the next file waits for this one
      });
}
// end

}  // namespace

void enumerationExample() {
  uploadUpTo(NSArray::arrayWithObjects("a.txt", "b.txt", "c.txt"), "b.txt")
      ->thenResolved([](const Value& files) {
        std::printf("done with %d files\n", static_cast<int>(as<NSArray>(files)->count()));
        return files;
      });
}
