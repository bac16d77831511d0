#pragma once

#include <cstdint>
#include <limits>

#include <JNFoundation/platform/value/Types.h>

namespace JNFoundation::inline v0_1 {

namespace impl {
class Sleeper;
}

/// A moment of a clock's monotonic time, or a span of it, in nanoseconds. Whole numbers, so that a
/// grid of moments has no drift and equal moments are equal.
using Nanoseconds = std::int64_t;

/// The moment that does not come.
inline constexpr Nanoseconds never = std::numeric_limits<Nanoseconds>::max();

/// The nearest whole nanoseconds; what does not fit becomes the most that does, not-a-number 0.
Nanoseconds nanosecondsFromSeconds(NSTimeInterval seconds) noexcept;

/// The sum, stopping at either end of the range.
Nanoseconds saturatingSum(Nanoseconds left, Nanoseconds right) noexcept;

/// Where the library takes its time from: dates (`NSDate::date` included), timers, delays, and
/// waiting. The system's clock, unless a test puts another in its place for a while:
///
///     ManualClock clock;
///     ClockScope scope(clock);
///
/// Threads: any.
class Clock {
 public:
  virtual ~Clock() = default;

  /// The clock in use.
  static Clock& current() noexcept;

  /// Whether the clock in use is the system's, by which event loops of other libraries wait too.
  static bool isSystemTime() noexcept;

  /// The date: seconds since 1970-01-01 00:00:00 UTC. May be set back.
  virtual NSTimeInterval now() noexcept = 0;

  /// The time since a start that means nothing. Never goes back.
  virtual Nanoseconds monotonic() noexcept = 0;

  /// The moment at which the date will have come, if nobody sets the date until then.
  virtual Nanoseconds momentOfDate(NSTimeInterval secondsSince1970) noexcept;

  /// The moment that many seconds from now.
  Nanoseconds momentAfter(NSTimeInterval seconds) noexcept {
    return saturatingSum(monotonic(), nanosecondsFromSeconds(seconds));
  }

 protected:
  friend class impl::Sleeper;

  /// Lets time pass until the moment, or until the sleeper is woken; may return early.
  virtual void sleepUntil(Nanoseconds moment, impl::Sleeper& sleeper) = 0;

  // Blocks the thread for real until the sleeper is woken, or for that long; for implementations.
  static void block(impl::Sleeper& sleeper);
  static void blockFor(impl::Sleeper& sleeper, Nanoseconds span);
};

/// Puts a clock in the place of the current one until the end of the scope. For tests: scopes are
/// nested, not interleaved, and no other thread uses the old clock meanwhile.
class ClockScope {
 public:
  /// Takes: nothing; the clock is borrowed for the scope.
  explicit ClockScope(Clock& clock) noexcept;
  ~ClockScope();
  ClockScope(const ClockScope&) = delete;
  ClockScope& operator=(const ClockScope&) = delete;

 private:
  Clock* _previous;
};

}  // namespace JNFoundation
