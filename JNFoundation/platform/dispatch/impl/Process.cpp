#include "JNFoundation/platform/dispatch/impl/Process.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string_view>
#include <unistd.h>

namespace JNFoundation::inline v0_1::impl {

std::string processName() {
#if defined(__GLIBC__)
  return program_invocation_short_name;
#elif defined(_WIN32)
  char* path = nullptr;
  if (_get_pgmptr(&path) != 0 || !path) return "program";
  const std::string_view name(path);
  return std::string(name.substr(name.find_last_of("/\\") + 1));
#else
  return getprogname();
#endif
}

long processIdentifier() noexcept { return static_cast<long>(::getpid()); }

std::string localTimeText(double secondsSince1970) {
  const double milliseconds = std::floor(secondsSince1970 * 1000);
  const double wholeSeconds = std::floor(milliseconds / 1000);
  const auto seconds = static_cast<std::time_t>(wholeSeconds);
  std::tm fields{};
#if defined(_WIN32)
  localtime_s(&fields, &seconds);
#else
  localtime_r(&seconds, &fields);
#endif
  char date[32];
  const std::size_t length = std::strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", &fields);
  char fraction[8];
  std::snprintf(fraction, sizeof fraction, ".%03d",
                static_cast<int>(milliseconds - wholeSeconds * 1000));
  return std::string(date, length) + fraction;
}

}  // namespace JNFoundation::impl
