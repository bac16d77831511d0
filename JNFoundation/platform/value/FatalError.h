#pragma once

#include <string_view>

namespace JNFoundation::inline v0_1 {

/// Writes "Fatal error: " and the message to standard error and aborts the process. For misuse that
/// no caller could handle: a null block that must not be null, a trap of arithmetic.
/// Threads: any.
[[noreturn]] void fatalError(std::string_view message) noexcept;

}  // namespace JNFoundation
