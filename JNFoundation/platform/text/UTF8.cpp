#include "JNFoundation/platform/text/UTF8.h"

#include <cstdint>

#include <JNFoundation/platform/text/impl/Words.h>

namespace JNFoundation::inline v0_1 {

namespace {

struct Decoded {
  char32_t codePoint;
  /// The bytes of the sequence, or of the maximal subpart when it is ill-formed; at least 1.
  std::size_t length;
  bool wellFormed;
};

constexpr bool isContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

/// Requires: at least one byte, the first of them not ASCII.
Decoded decodeMultibyte(const char* bytes, std::size_t available) {
  const auto at = [bytes](std::size_t index) { return static_cast<unsigned char>(bytes[index]); };
  const unsigned char lead = at(0);
  std::size_t length;
  // What the second byte may be tells overlong forms, surrogates and too large numbers apart.
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
  char32_t codePoint;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
    codePoint = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    codePoint = lead & 0x0F;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    codePoint = lead & 0x07;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return {replacementCharacter, 1, false};
  }
  if (available < 2 || at(1) < low || at(1) > high) return {replacementCharacter, 1, false};
  codePoint = codePoint << 6 | (at(1) & 0x3F);
  for (std::size_t index = 2; index < length; ++index) {
    if (available <= index || !isContinuation(at(index))) {
      return {replacementCharacter, index, false};
    }
    codePoint = codePoint << 6 | (at(index) & 0x3F);
  }
  return {codePoint, length, true};
}

/// The number of ASCII bytes that the text starts with, rounded down to whole words but for the
/// end.
std::size_t skipASCII(std::string_view text, std::size_t offset) {
  while (text.size() - offset >= impl::wordSize &&
         (impl::loadWord(text.data() + offset) & impl::highBits) == 0) {
    offset += impl::wordSize;
  }
  while (offset < text.size() && impl::isASCIIByte(text[offset])) ++offset;
  return offset;
}

/// The offset of the first ill-formed sequence at or after `offset`, or the size of the text.
std::size_t firstIllFormed(std::string_view text, std::size_t offset) {
  while (true) {
    if (offset < text.size() && impl::isASCIIByte(text[offset])) offset = skipASCII(text, offset);
    if (offset == text.size()) return offset;
    const Decoded decoded = decodeMultibyte(text.data() + offset, text.size() - offset);
    if (!decoded.wellFormed) return offset;
    offset += decoded.length;
  }
}

/// The number of bytes in a word that are no continuation bytes, those with high bits other
/// than 10.
std::size_t startsInWord(std::uint64_t word) {
  return impl::sumOfFlags(((word >> 6) | (~word >> 7)) & impl::everyByte);
}

}  // namespace

bool isASCII(std::string_view text) {
  if (text.size() < impl::wordSize) return skipASCII(text, 0) == text.size();
  const char* const last = text.data() + text.size() - impl::wordSize;
  for (const char* at = text.data(); at < last; at += impl::wordSize) {
    if ((impl::loadWord(at) & impl::highBits) != 0) return false;
  }
  // It may begin within the word before.
  return (impl::loadWord(last) & impl::highBits) == 0;
}

bool isValidUTF8(std::string_view text) { return firstIllFormed(text, 0) == text.size(); }

std::string sanitizedUTF8(std::string_view text) {
  std::size_t illFormed = firstIllFormed(text, 0);
  if (illFormed == text.size()) return std::string(text);
  std::string result;
  result.reserve(text.size() + 16);
  std::size_t start = 0;
  while (illFormed < text.size()) {
    result.append(text, start, illFormed - start);
    appendUTF8(result, replacementCharacter);
    start = illFormed + decodeMultibyte(text.data() + illFormed, text.size() - illFormed).length;
    illFormed = firstIllFormed(text, start);
  }
  return result.append(text, start);
}

std::size_t codePointCount(std::string_view text) {
  std::size_t count = 0;
  std::size_t offset = 0;
  for (; text.size() - offset >= impl::wordSize; offset += impl::wordSize) {
    count += startsInWord(impl::loadWord(text.data() + offset));
  }
  for (; offset < text.size(); ++offset) {
    count += !isContinuation(static_cast<unsigned char>(text[offset]));
  }
  return count;
}

char32_t nextCodePoint(std::string_view text, std::size_t& offset) {
  const char lead = text[offset];
  if (impl::isASCIIByte(lead)) {
    ++offset;
    return static_cast<char32_t>(lead);
  }
  const Decoded decoded = decodeMultibyte(text.data() + offset, text.size() - offset);
  offset += decoded.length;
  return decoded.codePoint;
}

void appendUTF8(std::string& text, char32_t codePoint) {
  if (codePoint > 0x10FFFF || (codePoint >= 0xD800 && codePoint <= 0xDFFF)) {
    codePoint = replacementCharacter;
  }
  const auto continuation = [codePoint](int shift) {
    return static_cast<char>(0x80 | (codePoint >> shift & 0x3F));
  };
  if (codePoint < 0x80) {
    text += static_cast<char>(codePoint);
  } else if (codePoint < 0x800) {
    text += static_cast<char>(0xC0 | codePoint >> 6);
    text += continuation(0);
  } else if (codePoint < 0x10000) {
    text += static_cast<char>(0xE0 | codePoint >> 12);
    text += continuation(6);
    text += continuation(0);
  } else {
    text += static_cast<char>(0xF0 | codePoint >> 18);
    text += continuation(12);
    text += continuation(6);
    text += continuation(0);
  }
}

std::size_t offsetOfCodePoint(std::string_view text, std::size_t index) {
  std::size_t offset = 0;
  std::size_t remaining = index;
  while (text.size() - offset >= impl::wordSize) {
    const std::size_t starts = startsInWord(impl::loadWord(text.data() + offset));
    if (starts > remaining) break;
    remaining -= starts;
    offset += impl::wordSize;
  }
  for (; offset < text.size(); ++offset) {
    if (isContinuation(static_cast<unsigned char>(text[offset]))) continue;
    if (remaining == 0) return offset;
    --remaining;
  }
  return text.size();
}

}  // namespace JNFoundation
