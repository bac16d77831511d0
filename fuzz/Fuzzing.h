#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::fuzzing {

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

/// Ends the run where the library does what it must not; the fuzzer keeps the input.
inline void require(bool holds, const char* what, std::string_view detail = {}) {
  if (holds) return;
  std::fprintf(stderr, "fuzz: %s: %.*s\n", what, static_cast<int>(detail.size()), detail.data());
  std::abort();
}

/// The name of what the work raises, nothing where it does not raise. What is thrown otherwise ends
/// the run.
template <class Work>
std::string raisedName(const Work& work) {
  try {
    work();
    return {};
  } catch (const Raised& raised) {
    return raised.exception()->name()->toStdString();
  }
}

}  // namespace JNFoundation::fuzzing
