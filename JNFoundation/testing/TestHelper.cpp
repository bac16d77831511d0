#include "JNFoundation/testing/TestHelper.h"

#include <atomic>
#include <memory>

#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/value/NSDate.h>

namespace JNFoundation::inline v0_1 {
namespace {

/// What the observer on the main thread saw, for the thread that waits.
class SettlementWatch {
 public:
  void observe(const Value& value, const Ref<PLVRejected>& rejected) {
    if (_resolved) return;
    _value = value;
    _rejected = rejected;
    _resolved = true;
    // A timer that leads here does not end the run of the loop that fired it; a task does.
    if (_endsRun) MainQueue::current().async([] {});
  }

  void waitUntil(const Value& deadline) {
    _endsRun = MainQueue::isMainThread();
    const Ref<NSRunLoop> loop = NSRunLoop::currentRunLoop();
    while (!_resolved && deadline.timeIntervalSince1970() > Clock::current().now()) {
      loop->runModeBeforeDate(NSDefaultRunLoopMode, deadline);
    }
    _endsRun = false;
  }

  void report(const TestResolutionBlock& callback) const {
    if (!callback) return;
    if (_resolved) {
      callback(true, _value, _rejected);
    } else {
      callback(false, nullptr, nullptr);
    }
  }

 private:
  /// Whether the others are there to be read.
  std::atomic<bool> _resolved{false};
  std::atomic<bool> _endsRun{false};
  Value _value;
  Ref<PLVRejected> _rejected;
};

void waitAndReport(SettlementWatch& observation, NSTimeInterval interval,
                   const TestResolutionBlock& callback) {
  observation.waitUntil(NSDate::dateWithTimeIntervalSinceNow(interval));
  observation.report(callback);
}

}  // namespace

void test_untilExpiresWaitForResolution(const Ref<PLVDeferred>& deferred, NSTimeInterval interval,
                                        const TestResolutionBlock& callback) {
  if (!deferred) return;
  // The observer may outlive the wait.
  const auto observation = std::make_shared<SettlementWatch>();
  deferred->thenResolvedRejected(
      [observation](const Value& value) {
        observation->observe(value, nullptr);
        return value;
      },
      [observation](const Ref<PLVRejected>& rejected) -> Value {
        observation->observe(nullptr, rejected);
        return rejected;
      });
  waitAndReport(*observation, interval, callback);
}

void test_untilExpiresWaitForResolution(const Ref<PLVPromise>& promise, NSTimeInterval interval,
                                        const TestResolutionBlock& callback) {
  if (!promise) return;
  const auto observation = std::make_shared<SettlementWatch>();
  promise->whenFulfilled([observation](const Value& value, const Ref<PLVRejected>& rejected) {
    observation->observe(value, rejected);
  });
  waitAndReport(*observation, interval, callback);
}

}  // namespace JNFoundation
