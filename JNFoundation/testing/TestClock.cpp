#include "JNFoundation/testing/TestClock.h"

#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/testing/RunLoopTesting.h>

namespace JNFoundation::inline v0_1 {

TestClock::TestClock(NSTimeInterval secondsSince1970) : _clock(secondsSince1970) {}

bool TestClock::runUntil(Nanoseconds end) {
  while (runUntilIdle()) {
    const Nanoseconds next = MainQueue::current().nextDeadline();
    if (next > end || next == never) return true;
    _clock.advanceTo(next);
  }
  return false;
}

void TestClock::advance(NSTimeInterval seconds) {
  const Nanoseconds end = _clock.momentAfter(seconds);
  if (runUntil(end)) _clock.advanceTo(end);
}

bool TestClock::advanceUntilIdle(NSTimeInterval limit) {
  return runUntil(_clock.momentAfter(limit)) && MainQueue::current().nextDeadline() == never;
}

}  // namespace JNFoundation
