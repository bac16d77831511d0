#pragma once

#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/Types.h>

namespace JNFoundation::inline v0_1 {

// Running the main thread's loop from a test. Requires: the main thread; the process stops with a
// message on another. All of it works from inside a handler, too.

/// Runs everything that can run now, and what follows from it, without letting time pass.
/// Returns: whether nothing is left; false if the turns were not enough, because tasks go on
/// posting each other.
bool runUntilIdle(NSUInteger turns = 10'000);

/// Runs the loop until the condition holds or that many seconds have passed. The condition is asked
/// before the first turn, and then after each. With a TestClock the seconds pass at once; without
/// one the thread sleeps in between, so that other threads can bring the condition about.
/// Returns: whether the condition holds. Requires: a non-null condition.
bool pollUntil(const Block<bool()>& condition, NSTimeInterval seconds);

}  // namespace JNFoundation
