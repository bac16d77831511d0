#pragma once

#include <JNFoundation/platform/value/NSObject.h>

namespace JNFoundation::testing {

/// How many more objects are alive than when this was made. Always 0 in builds that do not count.
class LiveObjects {
 public:
  std::int64_t count() const { return total() - _before; }

 private:
  static std::int64_t total() {
#if JN_COUNT_OBJECTS
    return impl::liveObjectCount();
#else
    return 0;
#endif
  }

  std::int64_t _before = total();
};

}  // namespace JNFoundation::testing
