#include <cstdio>

#include "Examples.h"

#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/util/NSTimer+PLVExtensions.h>

namespace examples {

// begin
void tick() {
  int ticks = 0;
  plv_scheduledTimerWithTimeIntervalRepeatsUserInfoBlock(
      0.01, true, "tick", [&ticks](const Ref<NSTimer>& timer, const Value& word) {
        std::printf("%s %d\n", word.description()->UTF8String(), ++ticks);
        if (ticks == 2) timer->invalidate();  // lets go of the block and the word
      });
  while (ticks < 2)
    NSRunLoop::mainRunLoop()->runUntilDate(NSDate::dateWithTimeIntervalSinceNow(0.01));
}
// end

}  // namespace examples
