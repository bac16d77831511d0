#include "JNFoundation/platform/text/PercentText.h"

#include <cstddef>

#include <JNFoundation/platform/text/ASCII.h>
#include <JNFoundation/platform/text/UTF8.h>
#include <JNFoundation/platform/text/impl/Words.h>

namespace JNFoundation::inline v0_1 {

namespace {

constexpr bool isUnreserved(char byte) {
  return impl::isLetter(byte) || impl::isDigit(byte) || byte == '-' || byte == '.' || byte == '_' ||
         byte == '~';
}

/// The characters that may stand in a URL as they are.
constexpr bool isLegal(char byte) {
  return isUnreserved(byte) ||
         std::string_view("!$&'()*+,/:;=?@").find(byte) != std::string_view::npos;
}

void appendEscape(std::string& text, char byte) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  const auto number = static_cast<unsigned char>(byte);
  text += '%';
  text += digits[number >> 4];
  text += digits[number & 0xF];
}

}  // namespace

std::string percentEncoded(std::string_view text) {
  std::string encoded;
  encoded.reserve(text.size());
  for (const char byte : text) {
    if (isUnreserved(byte)) {
      encoded += byte;
    } else {
      appendEscape(encoded, byte);
    }
  }
  return encoded;
}

std::string percentEncodedExcept(std::string_view text, std::string_view leave,
                                 std::string_view force) {
  std::string encoded;
  encoded.reserve(text.size());
  for (std::size_t offset = 0; offset < text.size();) {
    const std::size_t start = offset;
    nextCodePoint(text, offset);
    // No sequence of bytes occurs inside of another character's sequence.
    const std::string_view character = text.substr(start, offset - start);
    const bool stays = isLegal(character.front()) ? force.find(character) == std::string_view::npos
                                                  : leave.find(character) != std::string_view::npos;
    if (stays) {
      encoded.append(character);
    } else {
      for (const char byte : character) appendEscape(encoded, byte);
    }
  }
  return encoded;
}

std::optional<std::string> percentDecodedASCII(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  std::size_t start = 0;
  while (true) {
    const std::size_t escape = text.find('%', start);
    decoded.append(text.substr(start, escape - start));
    if (escape == std::string_view::npos) return decoded;
    if (text.size() - escape < 3) return std::nullopt;
    const int high = impl::hexadecimalValue(text[escape + 1]);
    const int low = impl::hexadecimalValue(text[escape + 2]);
    if (high < 0 || high > 7 || low < 0) return std::nullopt;
    decoded += static_cast<char>(high << 4 | low);
    start = escape + 3;
  }
}

}  // namespace JNFoundation
