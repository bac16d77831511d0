#include <cstdio>

#include "Examples.h"

#include <JNFoundation/testing/RunLoopTesting.h>
#include <JNFoundation/testing/TestHelper.h>
#include <JNFoundation/testing/TestMainThread.h>

using namespace JNFoundation;

namespace {

void check(bool holds) { std::printf(holds ? "holds\n" : "FAILS\n"); }

// begin
void testGivesUpAfterFiveSeconds() {
  TestMainThread main;  // a queue of its own, and a clock that stands still
  const Ref<PLVDeferred> limited = PLVDeferred::init()->timeout(5);
  main.clock().advance(4.9);
  check(!limited->isResolved());  // not yet
  main.clock().advance(0.1);
  check(limited->isResolved());  // now, and nobody has waited
}

void testDelivers() {
  TestMainThread main;
  const Ref<PLVDeferred> late = PLVDeferred::withResolvedDelayInterval("parcel", 3600);
  test_untilExpiresWaitForResolution(
      late, 7200, [](bool resolved, const Value& value, const Ref<PLVRejected>&) {
        check(resolved && value == Value("parcel"));
      });
  check(main.clock().elapsed() == 3600);  // the loop would have blocked, so the clock jumped
  check(pollUntil([] { return MainQueue::current().isIdle(); }, 1));
}
// end

}  // namespace

void testingExample() {
  testGivesUpAfterFiveSeconds();
  testDelivers();
}
