#include "JNFoundation/platform/dispatch/Clock.h"

#include <atomic>
#include <chrono>
#include <cmath>

#include <JNFoundation/platform/dispatch/impl/Sleeper.h>
#include <JNFoundation/platform/value/NSDate.h>

namespace JNFoundation::inline v0_1 {
namespace {

constexpr Nanoseconds longAgo = std::numeric_limits<Nanoseconds>::min();

class SystemClock final : public Clock {
 public:
  NSTimeInterval now() noexcept override {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration<NSTimeInterval>(sinceEpoch).count();
  }

  Nanoseconds monotonic() noexcept override {
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(sinceStart).count();
  }

 private:
  void sleepUntil(Nanoseconds moment, impl::Sleeper& sleeper) override {
    if (moment == never) {
      block(sleeper);
    } else {
      blockFor(sleeper, moment - monotonic());
    }
  }
};

Clock& systemClock() noexcept {
  static Clock* clock = new SystemClock;  // outlives every static object
  return *clock;
}

/// Null for the system's.
std::atomic<Clock*> replacement{nullptr};

NSTimeInterval dateOfReplacement() noexcept { return Clock::current().now(); }

void setReplacement(Clock* clock) noexcept {
  replacement.store(clock, std::memory_order_release);
  NSDate::setTimeSource(clock ? &dateOfReplacement : nullptr);
}

}  // namespace

Nanoseconds nanosecondsFromSeconds(NSTimeInterval seconds) noexcept {
  const NSTimeInterval nanoseconds = seconds * 1e9;
  if (std::isnan(nanoseconds)) return 0;
  if (nanoseconds >= 0x1p63) return never;
  if (nanoseconds <= -0x1p63) return longAgo;
  return static_cast<Nanoseconds>(std::llround(nanoseconds));
}

Nanoseconds saturatingSum(Nanoseconds left, Nanoseconds right) noexcept {
  if (right > 0 && left > never - right) return never;
  if (right < 0 && left < longAgo - right) return longAgo;
  return left + right;
}

Clock& Clock::current() noexcept {
  Clock* clock = replacement.load(std::memory_order_acquire);
  return clock ? *clock : systemClock();
}

bool Clock::isSystemTime() noexcept { return !replacement.load(std::memory_order_acquire); }

Nanoseconds Clock::momentOfDate(NSTimeInterval secondsSince1970) noexcept {
  return saturatingSum(monotonic(), nanosecondsFromSeconds(secondsSince1970 - now()));
}

void Clock::block(impl::Sleeper& sleeper) { sleeper.block(never); }
void Clock::blockFor(impl::Sleeper& sleeper, Nanoseconds span) { sleeper.block(span); }

ClockScope::ClockScope(Clock& clock) noexcept
    : _previous(replacement.load(std::memory_order_acquire)) {
  setReplacement(&clock);
}

ClockScope::~ClockScope() { setReplacement(_previous); }

}  // namespace JNFoundation
