#pragma once

#include <JNFoundation/deferred/PLVDeferred.h>

namespace JNFoundation::inline v0_1 {

// Deferreds made of others that stop the work as well as the wait, beside the class operations of
// PLVDeferred:
//
//     Ref<PLVDeferred> page = firstResolved(mirrors, Unneeded::Cancel);
//     page = withTimeout(page, 5, Unneeded::Cancel);
//     …
//     page->cancel();   // cancels the downloads that still run
//
// Cancelling what they return cancels the work that still runs, with the same value, whatever the
// options say. They add a step to each input, in its place behind the steps that it has; the
// input's chain goes on with the same value. A promise among the inputs is listened to as by
// `deferredResolution`; an entry that is neither counts as settled with itself.
// Threads: any; blocks are called on the main thread. Takes: inputs weakly, so that what nobody
// else keeps alive cannot hang on to itself.

/// What becomes of work whose outcome is not needed any more.
enum class Unneeded {
  Continue,  ///< it goes on, and nobody looks
  Cancel,    ///< it is cancelled
};

/// `work->timeout(seconds)`, where work that has not settled in time may be cancelled; it then gets
/// a cancellation that carries the JNTimeout. Returns: resolved with null for null work.
Ref<PLVDeferred> withTimeout(const Ref<PLVDeferred>& work, NSTimeInterval seconds,
                             Unneeded unneeded = Unneeded::Continue,
                             CreationPlace place = CreationPlace::here());

/// `PLVDeferred::withAllResolved`, where the inputs that still run may be cancelled as soon as one
/// has failed. The array of outcomes is whole all the same.
/// Returns: null for an empty array and for null.
Ref<PLVDeferred> allResolved(const Ref<NSArray>& deferreds, Unneeded unneeded = Unneeded::Continue,
                             CreationPlace place = CreationPlace::here());

/// `PLVDeferred::withAnyResolved`, where the inputs that still run may be cancelled as soon as one
/// has succeeded. The array of outcomes is whole all the same.
/// Returns: null for an empty array and for null.
Ref<PLVDeferred> anyResolved(const Ref<NSArray>& deferreds, Unneeded unneeded = Unneeded::Continue,
                             CreationPlace place = CreationPlace::here());

/// Resolved with the value of the input that succeeds first, at once; those that still run may then
/// be cancelled. Rejected with the array of failures, in the order of the inputs, once all have
/// failed. Returns: null for an empty array and for null.
Ref<PLVDeferred> firstResolved(const Ref<NSArray>& deferreds,
                               Unneeded unneeded = Unneeded::Continue,
                               CreationPlace place = CreationPlace::here());

/// Resolved with the array of outcomes, in the order of the inputs, once all have settled: a value,
/// NSNull for null, or a PLVRejected. Never rejected but by cancelling it.
/// Returns: null for an empty array and for null.
Ref<PLVDeferred> allSettled(const Ref<NSArray>& deferreds,
                            CreationPlace place = CreationPlace::here());

/// Does something with every element of an array, with a limit to how much of it runs at a time:
///
///     mapConcurrently(files, 4, [](const Value& file, NSUInteger) { return upload(file); })
///         ->thenResolved([](const Value& receipts) { … });   // in the order of the files
///
/// The block is called with the elements in order, the next one when there is room for it; it may
/// return a deferred, a promise, or the result itself. Resolved with the array of results, in the
/// order of the elements, NSNull for null; of no elements, and for null, with an empty array.
/// Rejected with the first failure, an NSException that leaves the block included; no further
/// element is begun then, and those that still run may be cancelled. Another exception goes to
/// whoever made the work advance, and leaves the result to be cancelled. A limit of 0 counts as 1.
/// Requires: a non-null block.
Ref<PLVDeferred> mapConcurrently(const Ref<NSArray>& elements, NSUInteger limit,
                                 Block<Value(const Value& element, NSUInteger index)> work,
                                 Unneeded unneeded = Unneeded::Continue,
                                 CreationPlace place = CreationPlace::here());

/// When work that failed is tried again.
struct RetryOptions {
  /// How often it is tried at most; 0 counts as 1.
  NSUInteger attempts = 3;
  /// Seconds before the second attempt.
  NSTimeInterval delay = 0.5;
  /// How many times longer each delay after that is than the one before.
  double factor = 2;
  /// The seconds that no delay exceeds.
  NSTimeInterval longestDelay = 30;
  /// The share of each delay that is left to chance, from 0 to 1, so that many who failed together
  /// do not come back together: with 0.25 a delay lasts between 75 and 100 percent.
  double jitter = 0;
  /// Whether that failure is worth another attempt; null for every one. A cancellation never is.
  Block<bool(const Ref<PLVRejected>& rejected)> shouldRetry = nullptr;
};

/// Tries until something comes of it:
///
///     retry([](NSUInteger) { return download(); }, {.attempts = 5, .jitter = 0.5})
///
/// The block gets the number of the attempt, from 1 on; it may return a deferred, a promise, or the
/// outcome itself. Resolved with the first success; rejected with the last failure, an NSException
/// that leaves a block included, when there are no attempts left or it is not worth one. Cancelling
/// the result cancels the attempt that runs, or ends the wait for the next one.
/// Calls: the block for the first time before it returns when called on the main thread.
/// Requires: a non-null block.
Ref<PLVDeferred> retry(Block<Value(NSUInteger attempt)> work, RetryOptions options = {},
                       CreationPlace place = CreationPlace::here());

}  // namespace JNFoundation
