#include "JNFoundation/testing/RunLoopTesting.h"

#include <algorithm>

#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/NSDate.h>

namespace JNFoundation::inline v0_1 {
namespace {

/// One turn in the mode that the loop runs in, since that is the one whose timers count.
void turn(const Value& limit) {
  const Ref<NSRunLoop> loop = NSRunLoop::mainRunLoop();
  const Ref<NSString> mode = loop->currentMode();
  loop->runModeBeforeDate(mode ? mode : NSString::interned(NSDefaultRunLoopMode), limit);
}

void checkThread(const char* message) {
  if (!MainQueue::isMainThread()) fatalError(message);
}

}  // namespace

bool runUntilIdle(NSUInteger turns) {
  checkThread("runUntilIdle belongs to the main thread");
  for (; !MainQueue::current().isIdle(); --turns) {
    if (turns == 0) return false;
    turn(NSDate::distantPast());
  }
  return true;
}

bool pollUntil(const Block<bool()>& condition, NSTimeInterval seconds) {
  checkThread("pollUntil belongs to the main thread");
  if (!condition) fatalError("pollUntil: the condition must not be null");
  const Nanoseconds end = Clock::current().momentAfter(seconds);
  while (!condition()) {
    const Nanoseconds now = Clock::current().monotonic();
    if (now >= end) return false;
    // Timers do not end a run, so a run ends where the next one is due.
    const Nanoseconds next = std::min(end, MainQueue::current().nextDeadline());
    turn(next <= now
             ? NSDate::distantPast()
             : NSDate::dateWithTimeIntervalSinceNow(static_cast<NSTimeInterval>(next - now) / 1e9));
  }
  return true;
}

}  // namespace JNFoundation
