#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <JNFoundation/platform/text/Folding.h>

/// Unicode text as numbers, and what the Unicode tables say of them.
namespace JNFoundation::inline v0_1::impl {

using CodePoints = std::vector<std::int32_t>;

/// Whether the code point is one of the marks that Fold::Diacritics takes away.
bool isDiacritic(char32_t codePoint);

/// The case folding of one code point, decomposed. Most have one of one code point.
CodePoints caseFolding(char32_t codePoint);

/// The canonical decomposition of the text, folded, its marks in canonical order.
CodePoints decomposed(std::string_view text, Fold fold);

/// Composes what has a composed form and appends it as UTF-8.
void appendComposed(std::string& text, CodePoints& codePoints);

/// Appends the folded text like folded(), and to `continued` the byte offsets of the code points
/// that only go on a letter of the text that folded to several, in ascending order.
void appendFoldedLetters(std::string& result, std::vector<std::size_t>& continued,
                         std::string_view text, Fold fold);

}  // namespace JNFoundation::impl
