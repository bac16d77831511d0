#pragma once

#include <string_view>

#include <JNFoundation/platform/store/NSAttributeDescription.h>

namespace JNFoundation::inline v0_1 {

/// The name that data models have for the type, e.g. "Integer 16"; "Undefined" for a type that they
/// do not know. Threads: any.
std::string_view nameOfAttributeType(NSAttributeType type) noexcept;

}  // namespace JNFoundation
