#pragma once

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/dispatch/ManualClock.h>
#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/value/NSDate.h>

namespace JNFoundation {

/// A test with a main queue of its own and a clock that moves by hand.
class MainThreadFixture : public testing::Test {
 protected:
  /// One turn, without waiting.
  void turn() {
    NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantPast());
  }

  /// Runs until something was handled, however long that takes.
  void waitForTasks() {
    NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantFuture());
  }

  void runFor(NSTimeInterval seconds) {
    NSRunLoop::currentRunLoop()->runUntilDate(NSDate::dateWithTimeIntervalSinceNow(seconds));
  }

  /// The seconds that have passed since the test began.
  double elapsed() { return static_cast<double>(clock.monotonic()) / 1e9; }

  /// A task or handler that leaves that word in the record.
  auto recording(std::string word) {
    return [this, word = std::move(word)] { record.push_back(word); };
  }

  using Words = std::vector<std::string>;

  ManualClock clock;
  ClockScope clockScope{clock};
  Words record;
  MainQueueScope scope;
  MainQueue& queue = scope.queue();
};

/// Notes in a flag when what captured it has been released.
class ReleaseProbe : public NSObject {
 public:
  using Superclass = NSObject;
  static constinit inline int alive = 0;

 protected:
  ReleaseProbe() { ++alive; }
  ~ReleaseProbe() override { --alive; }
};

}  // namespace JNFoundation
