#include <cstdio>

#include "Examples.h"

#include <JNFoundation/deferred/Coroutine.h>
#include <JNFoundation/platform/value/NSArray.h>

using namespace JNFoundation;

namespace {

// begin
Ref<PLVDeferred> savePages(Ref<PLVDeferred> feed, Ref<PLVPromise> disk) {
  try {
    const Value pages = co_await std::move(feed);  // throws what was rejected
    co_await std::move(disk);
    std::printf("saved %d pages\n", static_cast<int>(as<NSArray>(pages)->count()));
    co_return pages;
  } catch (const Cancelled&) {
    throw;  // nobody wants the pages any more
  } catch (const Rejected& failure) {
    std::printf("the feed failed: %s\n", failure.rejected()->value().description()->UTF8String());
    co_return NSArray::array();
  }
}
// end

}  // namespace

void awaitExample() {
  const Ref<PLVPromise> disk = PLVPromise::init();
  const Ref<PLVDeferred> good = PLVDeferred::init(), bad = PLVDeferred::init();
  savePages(good, disk);
  savePages(bad, disk);
  good->resolve(NSArray::arrayWithObjects("first", "second"));
  disk->resolve(nullptr);
  bad->reject("offline");
}
