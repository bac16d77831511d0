#pragma once

#include <JNFoundation/platform/dispatch/ManualClock.h>

namespace JNFoundation::inline v0_1 {

/// Virtual time for a test: while it exists, dates, delays, time-outs and timers of the calling
/// thread's queue and loop go by a clock that stands still until the test moves it.
///
///     TestClock clock;
///     Ref<PLVDeferred> limited = upload()->timeout(5);
///     clock.advance(4.9);
///     EXPECT_FALSE(limited->isResolved());
///     clock.advance(0.1);
///     EXPECT_TRUE(limited->isResolved());
///
/// A loop that would block until a date does not: the clock jumps there. So no test sleeps, whether
/// it moves the clock or just waits. A wait that has no end really waits, for other threads.
/// Threads: the main one; scopes of clocks are nested, not interleaved. Requires: a main queue
/// whose host goes by the library's clock, as the default one does.
class TestClock {
 public:
  /// Starts at that date; the default is 2001-09-09 01:46:40 UTC.
  /// Requires: a whole number of seconds.
  explicit TestClock(NSTimeInterval secondsSince1970 = 1000000000);
  TestClock(const TestClock&) = delete;
  TestClock& operator=(const TestClock&) = delete;

  /// Runs what is ready, then moves on by that many seconds, stopping at each delay and timer on
  /// the way to run what comes due there, at its own moment and in order. What comes due at the end
  /// is run as well. Requires: seconds that are not negative.
  void advance(NSTimeInterval seconds);

  /// Moves on from one delay or timer to the next until none is left, or for that many seconds.
  /// Returns: whether none is left; false also when tasks go on posting each other.
  bool advanceUntilIdle(NSTimeInterval limit = 3600);

  /// The seconds that have passed since the clock was made.
  NSTimeInterval elapsed() noexcept {
    return static_cast<NSTimeInterval>(_clock.monotonic()) / 1e9;
  }

  /// Moves on without running anything.
  ManualClock& clock() noexcept { return _clock; }

 private:
  /// Returns: whether all that came due until then was run.
  bool runUntil(Nanoseconds end);

  ManualClock _clock;
  ClockScope _scope{_clock};
};

}  // namespace JNFoundation
