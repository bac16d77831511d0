#include "JNFoundation/platform/dispatch/impl/TimerList.h"

#include <JNFoundation/platform/dispatch/NSRunLoop.h>

namespace JNFoundation::inline v0_1::impl {

void TimerList::add(NSTimer& timer) {
  timer._order = ++_lastOrder;
  _timers.emplace(placeOf(timer), Ref<NSTimer>(&timer));
}

void TimerList::remove(NSTimer& timer) noexcept { _timers.erase(placeOf(timer)); }

void TimerList::reschedule(NSTimer& timer, Nanoseconds moment) noexcept {
  auto node = _timers.extract(placeOf(timer));
  timer._moment = moment;
  node.key() = placeOf(timer);
  _timers.insert(std::move(node));
}

void TimerList::fireDue(Nanoseconds now, const Ref<NSString>& mode) {
  const std::uint64_t lastOrder = _lastOrder;
  auto timer = _timers.begin();
  while (timer != _timers.end() && timer->first.moment <= now) {
    const Place place = timer->first;
    if (place.order > lastOrder || !mayFire(*timer->second, mode)) {
      ++timer;
      continue;
    }
    const Ref<NSTimer> fired = timer->second;
    fired->fireAtDate();
    timer = _timers.upper_bound(place);
  }
}

NSTimer* TimerList::next(const Ref<NSString>& mode) const noexcept {
  for (const auto& [place, timer] : _timers) {
    if (mayFire(*timer, mode)) return timer.get();
  }
  return nullptr;
}

void TimerList::clear() noexcept {
  while (!_timers.empty()) {
    const Ref<NSTimer> timer = std::move(_timers.begin()->second);
    _timers.erase(_timers.begin());
    timer->_runLoop = nullptr;
    timer->invalidate();
  }
}

bool TimerList::mayFire(const NSTimer& timer, const Ref<NSString>& mode) noexcept {
  if (timer._isFiring) return false;
  for (const Ref<NSString>& added : timer._modes) {
    if (added->isEqualToString(mode) || added->utf8() == NSRunLoopCommonModes) return true;
  }
  return false;
}

}  // namespace JNFoundation::impl
