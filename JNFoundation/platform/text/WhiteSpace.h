#pragma once

#include <cstddef>
#include <string_view>

#include <JNFoundation/platform/text/UTF8.h>

namespace JNFoundation::inline v0_1 {

/// White space is what Unicode's White_Space property says: blanks of every width, tabulators and
/// ends of lines. All functions are pure and may run on any thread.

/// Whether the code point is white space.
constexpr bool isWhiteSpace(char32_t codePoint) {
  return (codePoint >= 0x09 && codePoint <= 0x0D) || codePoint == 0x20 || codePoint == 0x85 ||
         codePoint == 0xA0 || codePoint == 0x1680 || (codePoint >= 0x2000 && codePoint <= 0x200A) ||
         codePoint == 0x2028 || codePoint == 0x2029 || codePoint == 0x202F || codePoint == 0x205F ||
         codePoint == 0x3000;
}

/// The text from its first code point on that is no white space, borrowed from it.
inline std::string_view withoutLeadingWhiteSpace(std::string_view text) {
  std::size_t offset = 0;
  while (offset < text.size()) {
    std::size_t next = offset;
    if (!isWhiteSpace(nextCodePoint(text, next))) break;
    offset = next;
  }
  return text.substr(offset);
}

/// The text between its first and its last code point that is no white space, borrowed from it.
inline std::string_view withoutWhiteSpaceAround(std::string_view text) {
  text = withoutLeadingWhiteSpace(text);
  std::size_t end = 0;
  for (std::size_t offset = 0; offset < text.size();) {
    if (!isWhiteSpace(nextCodePoint(text, offset))) end = offset;
  }
  return text.substr(0, end);
}

}  // namespace JNFoundation
