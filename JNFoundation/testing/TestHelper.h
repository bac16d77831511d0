#pragma once

#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/deferred/PLVPromise.h>

namespace JNFoundation::inline v0_1 {

/// Gets whether the outcome came in time and, if it did, the value of a success or the failure.
using TestResolutionBlock =
    Block<void(bool resolved, const Value& value, const Ref<PLVRejected>& rejected)>;

/// Runs the calling thread's loop, in the default mode, until the outcome is there or that many
/// seconds have passed, then calls the callback once:
///
///     test_untilExpiresWaitForResolution(
///         upload(), 5, [](bool resolved, const Value& value, const Ref<PLVRejected>& rejected) {
///           EXPECT_TRUE(resolved);
///           EXPECT_EQ(value, Value("stored"));
///         });
///
/// What is observed is what stands at the end of the chain as it is now; the chain goes on with the
/// same value. An outcome that is there already is reported without a run of the loop. With a
/// TestClock no time is spent. Does nothing at all for a null deferred.
/// Calls: the callback, which may be null, before it returns; with (false, null, null) when time is
/// up. Threads: any; but the outcome comes only while the main thread runs its loop, and a wait on
/// another thread lasts until its end.
void test_untilExpiresWaitForResolution(const Ref<PLVDeferred>& deferred, NSTimeInterval interval,
                                        const TestResolutionBlock& callback);

/// The same for a promise, through `whenFulfilled`.
void test_untilExpiresWaitForResolution(const Ref<PLVPromise>& promise, NSTimeInterval interval,
                                        const TestResolutionBlock& callback);

}  // namespace JNFoundation
