#pragma once

#include <JNFoundation/deferred/CreationPlace.h>
#include <JNFoundation/deferred/PLVRejected.h>
#include <JNFoundation/platform/value/Block.h>

namespace JNFoundation::inline v0_1 {

/// A failure that nobody could see: the deferred or the promise that ended with it has gone.
struct UnhandledRejection {
  /// The failure. Never null.
  Ref<PLVRejected> rejected;
  /// "PLVDeferred" or "PLVPromise".
  const char* kind;
  /// What `DeferredTrace::setLabel` gave it, or null.
  Ref<NSString> label;
  /// Null for what was made before anybody asked for reports.
  CreationPlace place;

  /// The report as a line of text: "Unhandled rejection of the PLVDeferred “feed” made at
  /// Feed.cpp:42: PLVRejected [timed out]".
  Ref<NSString> description() const;
};

/// What is called for a rejection that was never seen.
using UnhandledRejectionHook = Block<void(const UnhandledRejection& unhandled)>;

/// Has the hook called for every rejection that was never seen. Null, as at first, turns this off.
///
/// A deferred or a promise is judged when its last reference goes. Its rejection was seen when a
/// handler or a callback got it, anywhere, or when somebody read it as a `resolution`; it was
/// forwarded, and the receiver is judged instead, when something else waits for it or is resolved
/// by it. Each rejection is reported once. Cancellations are not reported, nor outcomes that came
/// second and were dropped, nor what `ignoreRejected` ignored.
///
/// Threads: any; what happens meanwhile on others may be reported to the hook before. Calls: the
/// hook on the main thread, inside the release of the last reference, or posted from another
/// thread. An NSException that it raises is logged; another exception ends the process.
void setUnhandledRejectionHook(UnhandledRejectionHook hook);

/// Has every such rejection written to the log, as a line.
void logUnhandledRejections();

}  // namespace JNFoundation
