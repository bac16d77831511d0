#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace JNFoundation::inline v0_1 {

/// Reading and writing UTF-8 in plain C++ strings.
///
/// Text may hold any bytes, NUL included. An ill-formed sequence never stops a reader: it reads as
/// U+FFFD, once per maximal subpart (the longest start of a well-formed sequence, or one byte).
/// All functions are pure and may run on any thread.

/// What stands for an ill-formed sequence.
inline constexpr char32_t replacementCharacter = 0xFFFD;

/// Whether every byte is below 0x80; true for empty text.
bool isASCII(std::string_view text);

/// Whether the text is well-formed: no surrogates, no overlong forms, nothing above U+10FFFF.
bool isValidUTF8(std::string_view text);

/// The text with every ill-formed sequence turned into U+FFFD; well-formed text comes back as it
/// is.
std::string sanitizedUTF8(std::string_view text);

/// The number of code points of well-formed text. It counts the bytes that are no continuation
/// bytes; for ill-formed text the number is between 0 and the number of bytes, no more is promised.
std::size_t codePointCount(std::string_view text);

/// Reads the code point that starts at `offset` and moves `offset` past it, by at least one byte.
/// Requires: offset < text.size().
char32_t nextCodePoint(std::string_view text, std::size_t& offset);

/// Appends the code point; a surrogate or a number above U+10FFFF is appended as U+FFFD.
void appendUTF8(std::string& text, char32_t codePoint);

/// The byte offset at which the code point number `index` of well-formed text starts.
/// Returns: text.size() for an index equal to or above the number of code points.
std::size_t offsetOfCodePoint(std::string_view text, std::size_t index);

}  // namespace JNFoundation
