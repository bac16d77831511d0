#include "HostConformance.h"

namespace JNFoundation {
namespace {

/// No event loop at all: what its own events would be are tasks and timers of the library.
class NoLoop {
 public:
  static constexpr bool isEventLoop = false;
  static constexpr bool passesExceptions = true;

  std::unique_ptr<MainQueueHost> host() { return nullptr; }
  void run() { NSRunLoop::mainRunLoop()->run(); }
  void quit() { NSRunLoop::mainRunLoop()->stop(); }

  template <class Condition>
  void runUntil(Condition condition) {
    while (!condition()) {
      NSRunLoop::mainRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode,
                                                  NSDate::dateWithTimeIntervalSinceNow(0.001));
    }
  }

  void post(Block<void()> event) { MainQueue::current().async(std::move(event)); }

  void repeat(Block<bool()> tick) {
    NSTimer::scheduledTimerWithTimeIntervalRepeatsBlock(
        0.001, true, [tick = std::move(tick)](const Ref<NSTimer>& timer) {
          if (!tick()) timer->invalidate();
        });
  }

  void idle(Block<bool()> work) {
    MainQueue::current().async([this, work = std::move(work)] {
      if (work()) idle(work);
    });
  }

  void end() {}
};

INSTANTIATE_TYPED_TEST_SUITE_P(Default, HostConformance, NoLoop);

}  // namespace
}  // namespace JNFoundation
