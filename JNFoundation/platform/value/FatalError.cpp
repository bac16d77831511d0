#include "JNFoundation/platform/value/FatalError.h"

#include <cstdio>
#include <cstdlib>

namespace JNFoundation::inline v0_1 {

void fatalError(std::string_view message) noexcept {
  std::fprintf(stderr, "Fatal error: %.*s\n", static_cast<int>(message.size()), message.data());
  std::fflush(stderr);
  std::abort();
}

}  // namespace JNFoundation
