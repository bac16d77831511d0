// The component for the tests of applications, where it is there.

#include <JNFoundation/deferred/PLVDeferred.h>
#if HAS_Testing
#include <JNFoundation/testing/TestHelper.h>
#include <JNFoundation/testing/TestMainThread.h>
#endif

using namespace JNFoundation;

bool doesTestingWork() {
  bool works = true;
#if HAS_Testing
  TestMainThread main;
  works = false;
  test_untilExpiresWaitForResolution(
      PLVDeferred::withResolvedDelayInterval("parcel", 3600), 7200,
      [&](bool resolved, const Value& value, const Ref<PLVRejected>&) {
        works = resolved && value == Value("parcel");
      });
#endif
  return works;
}
