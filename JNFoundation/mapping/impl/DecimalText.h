#pragma once

#include <string_view>

namespace JNFoundation::inline v0_1::impl {

/// Whether the text is a decimal number from its first character to its last: an optional sign,
/// digits with or without a point among or around them, an optional exponent.
bool isDecimalText(std::string_view text) noexcept;

/// Whether a decimal number is written without a point and an exponent.
inline bool isWholeNumberText(std::string_view decimal) noexcept {
  return decimal.find_first_of(".eE") == std::string_view::npos;
}

}  // namespace JNFoundation::impl
