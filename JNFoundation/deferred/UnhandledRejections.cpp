#include "JNFoundation/deferred/UnhandledRejections.h"

#include <JNFoundation/deferred/impl/Watch.h>
#include <JNFoundation/platform/dispatch/NSLog.h>

namespace JNFoundation::inline v0_1 {

Ref<NSString> UnhandledRejection::description() const {
  Ref<NSString> subject = NSString::stringWithUTF8String(kind);
  if (label) subject = NSString::stringWithFormat("%@ “%@”", subject, label);
  if (place) {
    subject = NSString::stringWithFormat("%@ made at %s", subject, impl::Watch::lineOf(place));
  }
  return NSString::stringWithFormat("Unhandled rejection of the %@: %@", subject, rejected);
}

void setUnhandledRejectionHook(UnhandledRejectionHook hook) {
  impl::Watch::setHook(std::move(hook));
}

void logUnhandledRejections() {
  setUnhandledRejectionHook(
      [](const UnhandledRejection& unhandled) { NSLog("%@", unhandled.description()); });
}

}  // namespace JNFoundation
