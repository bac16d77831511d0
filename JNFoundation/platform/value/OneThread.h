#pragma once

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#endif

namespace JNFoundation::inline v0_1 {

/// Whether the process has had one thread only so far. While that is so, what keeps threads apart
/// may be left out: nobody can start a second one in the few instructions that it would guard.
inline bool hasOneThread() noexcept {
#if __has_include(<sys/single_threaded.h>)
  return __libc_single_threaded != 0;
#else
  return false;
#endif
}

}  // namespace JNFoundation
