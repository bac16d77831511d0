#include "JNFoundation/platform/value/FatalError.h"

#include <cstdio>
#include <cstdlib>

namespace JNFoundation {

void fatalError(std::string_view message) noexcept {
  std::fprintf(stderr, "Fatal error: %.*s\n", static_cast<int>(message.size()), message.data());
  std::fflush(stderr);
  std::abort();
}

}  // namespace JNFoundation
