#pragma once

#include <atomic>

#include <JNFoundation/platform/dispatch/Clock.h>

namespace JNFoundation::inline v0_1 {

/// A clock that stands still until it is moved by hand, or until a run loop has nothing to do but
/// wait: then it jumps to the deadline at once, so that no test ever sleeps.
///
///     ManualClock clock;
///     ClockScope scope(clock);
///     queue.after(10, task);
///     clock.advance(9.9);   // and a run: not yet
///     clock.advance(0.1);   // and a run: now
///
/// A wait without a deadline really waits, for another thread to post something.
class ManualClock final : public Clock {
 public:
  /// Starts at that date; the default is 2001-09-09 01:46:40 UTC.
  /// Requires: a whole number of seconds.
  explicit ManualClock(NSTimeInterval secondsSince1970 = 1000000000) noexcept
      : _start(secondsSince1970) {}

  /// Moves the clock on. Runs nothing: what has become due runs in the next turn of its run loop.
  /// Requires: seconds that are not negative.
  void advance(NSTimeInterval seconds) noexcept;
  /// The same, up to that moment; nothing happens when it has passed.
  void advanceTo(Nanoseconds moment) noexcept;

  NSTimeInterval now() noexcept override { return dateOf(monotonic()); }
  Nanoseconds monotonic() noexcept override { return _elapsed.load(); }

  /// The moment of a date that was computed from this clock's own is exact: a date, which is a
  /// double, is good to a quarter of a microsecond only.
  Nanoseconds momentOfDate(NSTimeInterval secondsSince1970) noexcept override;

 private:
  void sleepUntil(Nanoseconds moment, impl::Sleeper& sleeper) override;

  NSTimeInterval dateOf(Nanoseconds moment) const noexcept;

  const NSTimeInterval _start;
  std::atomic<Nanoseconds> _elapsed{0};
};

}  // namespace JNFoundation
