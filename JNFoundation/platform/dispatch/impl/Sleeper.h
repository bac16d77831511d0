#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

#include <JNFoundation/platform/dispatch/Clock.h>

namespace JNFoundation::inline v0_1::impl {

/// Lets one thread sleep until another wakes it or until a moment of the current clock.
class Sleeper {
 public:
  /// Ends the sleep in progress, or the next one before it begins. Several count as one.
  /// Threads: any.
  void wake() noexcept;

  /// Returns at once when woken since the last sleep. Threads: the one that sleeps.
  void sleepUntil(Nanoseconds moment);

 private:
  friend class JNFoundation::Clock;
  using Moment = std::chrono::time_point<std::chrono::steady_clock, std::chrono::nanoseconds>;

  bool isWoken() const noexcept { return _isWoken.load(); }
  bool isWokenBefore(Moment moment) const noexcept;
  /// Blocks until woken, at most for that long.
  void block(Nanoseconds span);

  // A waker that does not see the sleeper asleep need not notify: either it sees it, or the sleeper
  // sees that it is woken, because both write before they read.
  std::atomic<bool> _isWoken{false};
  std::atomic<bool> _isAsleep{false};
  std::mutex _mutex;
  std::condition_variable _condition;
};

}  // namespace JNFoundation::impl
