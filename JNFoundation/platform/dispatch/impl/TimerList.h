#pragma once

#include <cstdint>
#include <map>

#include <JNFoundation/platform/dispatch/NSTimer.h>

namespace JNFoundation::inline v0_1::impl {

/// The timers of a run loop in the order in which they are due.
class TimerList {
 public:
  bool isEmpty() const noexcept { return _timers.empty(); }

  /// Requires: not in the list.
  void add(NSTimer& timer);
  void remove(NSTimer& timer) noexcept;
  /// Moves the timer to its place for the moment, and sets that.
  void reschedule(NSTimer& timer, Nanoseconds moment) noexcept;

  /// Fires the timers of the mode that are due now; what is added meanwhile is left for later.
  void fireDue(Nanoseconds now, const Ref<NSString>& mode);

  /// The timer of the mode that is due next, leaving out those inside their handlers.
  /// Returns: null if there is none.
  NSTimer* next(const Ref<NSString>& mode) const noexcept;

  /// Invalidates every timer, those included that are added meanwhile.
  void clear() noexcept;

 private:
  struct Place {
    Nanoseconds moment;
    std::uint64_t order;
    bool operator<(const Place& other) const noexcept {
      return moment != other.moment ? moment < other.moment : order < other.order;
    }
  };

  static Place placeOf(const NSTimer& timer) noexcept { return {timer._moment, timer._order}; }
  static bool mayFire(const NSTimer& timer, const Ref<NSString>& mode) noexcept;

  std::map<Place, Ref<NSTimer>> _timers;
  std::uint64_t _lastOrder = 0;
};

}  // namespace JNFoundation::impl
