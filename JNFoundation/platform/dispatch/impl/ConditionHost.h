#pragma once

#include <JNFoundation/platform/dispatch/MainQueueHost.h>
#include <JNFoundation/platform/dispatch/impl/Sleeper.h>

namespace JNFoundation::inline v0_1::impl {

/// The host of a main thread that has no event loop: it sleeps on a condition while nothing is due.
class ConditionHost final : public MainQueueHost {
 public:
  void wakeUp() noexcept override;
  void callAt(Nanoseconds moment) noexcept override;
  void runTurn(Nanoseconds until) override;

 private:
  Sleeper _sleeper;
  Nanoseconds _moment = never;
};

}  // namespace JNFoundation::impl
