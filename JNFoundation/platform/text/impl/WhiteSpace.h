#pragma once

#include <cstddef>
#include <string_view>

#include <JNFoundation/platform/text/UTF8.h>

namespace JNFoundation::impl {

/// Unicode's White_Space property.
constexpr bool isWhiteSpace(char32_t codePoint) {
  return (codePoint >= 0x09 && codePoint <= 0x0D) || codePoint == 0x20 || codePoint == 0x85 ||
         codePoint == 0xA0 || codePoint == 0x1680 || (codePoint >= 0x2000 && codePoint <= 0x200A) ||
         codePoint == 0x2028 || codePoint == 0x2029 || codePoint == 0x202F || codePoint == 0x205F ||
         codePoint == 0x3000;
}

inline std::string_view withoutLeadingWhiteSpace(std::string_view text) {
  std::size_t offset = 0;
  while (offset < text.size()) {
    std::size_t next = offset;
    if (!isWhiteSpace(nextCodePoint(text, next))) break;
    offset = next;
  }
  return text.substr(offset);
}

}  // namespace JNFoundation::impl
