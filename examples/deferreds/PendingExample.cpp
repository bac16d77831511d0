#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "Examples.h"

#include <JNFoundation/deferred/DeferredTrace.h>
#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/deferred/PLVPromise.h>
#include <JNFoundation/platform/value/NSArray.h>

using namespace JNFoundation;

void pendingExample() {
  // begin
  DeferredTrace::setEnabled(true);
  const Ref<PLVDeferred> download = PLVDeferred::init();
  const Ref<PLVPromise> user = PLVPromise::resolvedBy(download);
  const Ref<PLVDeferred> name = user->deferredResolution();
  const Ref<PLVDeferred> picture = user->deferredResolution();
  const Ref<PLVDeferred> page =
      PLVDeferred::withAllResolved(NSArray::arrayWithObjects(name, picture));
  DeferredTrace::setLabel(download, "download");
  DeferredTrace::setLabel(page, "page");

  const DeferredTrace trace = DeferredTrace::now().unsettled();
  // end
  std::printf("%zu are pending\n", trace.entries().size());
  // The guide's picture is made from this.
  if (const char* path = std::getenv("JN_PICTURE")) {
    std::ofstream(path) << trace.dot()->toStdString();
  }
  download->resolve("Ada");
  std::printf("%zu are pending\n", DeferredTrace::now().unsettled().entries().size());
  DeferredTrace::setEnabled(false);
}
