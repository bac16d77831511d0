#include "JNFoundation/platform/text/OldStyleText.h"

#include <algorithm>
#include <cstddef>

#include <JNFoundation/platform/text/ASCII.h>
#include <JNFoundation/platform/text/UTF8.h>
#include <JNFoundation/platform/text/impl/Words.h>

namespace JNFoundation::inline v0_1 {

namespace {

bool staysUnquoted(char byte) {
  return impl::isLetter(byte) || impl::isDigit(byte) || byte == '_' || byte == '.' || byte == '/' ||
         byte == '$' || byte == '-';
}

void appendUnit(std::string& text, char32_t unit) {
  constexpr std::string_view digits = "0123456789abcdef";
  text += "\\U";
  for (int shift = 12; shift >= 0; shift -= 4) text += digits[unit >> shift & 0xF];
}

void appendEscaped(std::string& text, char32_t codePoint) {
  switch (codePoint) {
    case U'"':
      text += "\\\"";
      return;
    case U'\\':
      text += "\\\\";
      return;
    case U'\n':
      text += "\\n";
      return;
    case U'\r':
      text += "\\r";
      return;
    case U'\t':
      text += "\\t";
      return;
    default:
      break;
  }
  if (codePoint >= 0x20 && codePoint < 0x7F) {
    text += static_cast<char>(codePoint);
  } else if (codePoint < 0x10000) {
    appendUnit(text, codePoint);
  } else {
    appendUnit(text, 0xD800 + ((codePoint - 0x10000) >> 10));
    appendUnit(text, 0xDC00 + ((codePoint - 0x10000) & 0x3FF));
  }
}

}  // namespace

std::string quotedForPropertyList(std::string_view text) {
  if (!text.empty() && std::all_of(text.begin(), text.end(), staysUnquoted)) {
    return std::string(text);
  }
  std::string quoted = "\"";
  quoted.reserve(text.size() + 2);
  for (std::size_t offset = 0; offset < text.size();) {
    appendEscaped(quoted, nextCodePoint(text, offset));
  }
  return quoted += '"';
}

}  // namespace JNFoundation
