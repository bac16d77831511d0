#include "JNFoundation/platform/dispatch/impl/ConditionHost.h"

#include <algorithm>

namespace JNFoundation::inline v0_1::impl {

void ConditionHost::wakeUp() noexcept { _sleeper.wake(); }

void ConditionHost::callAt(Nanoseconds moment) noexcept { _moment = moment; }

void ConditionHost::runTurn(Nanoseconds until) {
  _sleeper.sleepUntil(std::min(until, _moment));
  serve();
}

}  // namespace JNFoundation::impl
