#include "JNFoundation/platform/text/impl/CodePoints.h"

#include <algorithm>
#include <array>
#include <utf8proc.h>

#include <JNFoundation/platform/text/UTF8.h>
#include <JNFoundation/platform/text/impl/Words.h>

namespace JNFoundation::inline v0_1::impl {

namespace {

static_assert(sizeof(utf8proc_int32_t) == sizeof(CodePoints::value_type));

/// No code point before this one is a combining mark or composes with what stands before it.
constexpr std::int32_t firstMark = 0x300;

/// Longer than the longest decomposition of a folding.
using Decomposition = std::array<utf8proc_int32_t, 32>;

std::size_t decompose(Decomposition& decomposition, char32_t codePoint, Fold fold) {
  int options = UTF8PROC_DECOMPOSE;
  if (includes(fold, Fold::Case)) options |= UTF8PROC_CASEFOLD;
  int boundClass = UTF8PROC_BOUNDCLASS_START;
  const utf8proc_ssize_t length =
      utf8proc_decompose_char(static_cast<utf8proc_int32_t>(codePoint), decomposition.data(),
                              static_cast<utf8proc_ssize_t>(decomposition.size()),
                              static_cast<utf8proc_option_t>(options), &boundClass);
  return std::min(static_cast<std::size_t>(std::max<utf8proc_ssize_t>(length, 0)),
                  decomposition.size());
}

int combiningClass(std::int32_t codePoint) {
  return codePoint < firstMark ? 0 : utf8proc_get_property(codePoint)->combining_class;
}

/// Sorts each run of marks by combining class. Takes n log n steps also for text that is one run.
void orderMarks(CodePoints::iterator position, CodePoints::iterator end) {
  const auto isMark = [](std::int32_t codePoint) { return combiningClass(codePoint) != 0; };
  while (true) {
    position = std::find_if(position, end, isMark);
    if (position == end) return;
    const auto runEnd = std::find_if_not(position, end, isMark);
    const auto inOrder = [](std::int32_t left, std::int32_t right) {
      return combiningClass(left) < combiningClass(right);
    };
    if (runEnd - position > 1) std::stable_sort(position, runEnd, inOrder);
    position = runEnd;
  }
}

std::size_t compose(utf8proc_int32_t* codePoints, std::size_t length) {
  const utf8proc_ssize_t composed =
      utf8proc_normalize_utf32(codePoints, static_cast<utf8proc_ssize_t>(length),
                               static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE));
  return static_cast<std::size_t>(std::max<utf8proc_ssize_t>(composed, 0));
}

/// Whether the folding of the letter, composed, is several code points, as that of "ß" is.
bool foldsToSeveral(char32_t codePoint) {
  Decomposition decomposition;
  const std::size_t length = decompose(decomposition, codePoint, Fold::Case);
  return length > 1 && compose(decomposition.data(), length) > 1;
}

/// Folds the case of decomposed text whose ASCII letters are folded already. That comes after the
/// marks are in order, because one of them, the Greek iota below, folds to a letter.
CodePoints withCaseFolded(const CodePoints& codePoints) {
  CodePoints folded;
  folded.reserve(codePoints.size());
  Decomposition decomposition;
  for (const std::int32_t codePoint : codePoints) {
    if (codePoint < 0x80) {
      folded.push_back(codePoint);
      continue;
    }
    const std::size_t length =
        decompose(decomposition, static_cast<char32_t>(codePoint), Fold::Case);
    folded.insert(folded.end(), decomposition.begin(), decomposition.begin() + length);
  }
  orderMarks(folded.begin(), folded.end());
  return folded;
}

}  // namespace

bool isDiacritic(char32_t codePoint) {
  struct Range {
    char32_t first;
    char32_t last;
  };
  static constexpr Range ranges[] = {
      // Of Latin, Greek and Cyrillic, but for the Greek iota below: it is a letter, and case
      // folding
      // makes it one.
      {0x0300, 0x0344}, {0x0346, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x05BF, 0x05BF},
      {0x05C1, 0x05C2}, {0x05C4, 0x05C5}, {0x05C7, 0x05C7},  // Hebrew points and accents
      {0x0610, 0x061A}, {0x064B, 0x065F}, {0x0670, 0x0670},  // Arabic vowel marks
      {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF}, {0x20D0, 0x20FF}, {0xFE20, 0xFE2F},
  };
  for (const Range& range : ranges) {
    if (codePoint <= range.last) return codePoint >= range.first;
  }
  return false;
}

CodePoints caseFolding(char32_t codePoint) {
  Decomposition decomposition;
  const std::size_t length = decompose(decomposition, codePoint, Fold::Case);
  return CodePoints(decomposition.begin(), decomposition.begin() + length);
}

CodePoints decomposed(std::string_view text, Fold fold) {
  const bool foldsCase = includes(fold, Fold::Case);
  const bool foldsDiacritics = includes(fold, Fold::Diacritics);
  CodePoints codePoints;
  codePoints.reserve(text.size());
  Decomposition decomposition;
  for (std::size_t offset = 0; offset < text.size();) {
    if (isASCIIByte(text[offset])) {
      codePoints.push_back(foldsCase ? lowerASCII(text[offset]) : text[offset]);
      ++offset;
      continue;
    }
    const std::size_t length = decompose(decomposition, nextCodePoint(text, offset), Fold::None);
    for (std::size_t index = 0; index < length; ++index) {
      const std::int32_t part = decomposition[index];
      if (foldsDiacritics && isDiacritic(static_cast<char32_t>(part))) continue;
      const bool foldsHere = foldsCase && part < 0x80;
      codePoints.push_back(foldsHere ? lowerASCII(static_cast<char>(part)) : part);
    }
  }
  orderMarks(codePoints.begin(), codePoints.end());
  const auto isFolded = [](std::int32_t codePoint) { return codePoint < 0x80; };
  if (!foldsCase || std::all_of(codePoints.begin(), codePoints.end(), isFolded)) return codePoints;
  return withCaseFolded(codePoints);
}

void appendComposed(std::string& text, CodePoints& codePoints) {
  const bool mayCompose = std::any_of(codePoints.begin(), codePoints.end(),
                                      [](std::int32_t part) { return part >= firstMark; });
  const std::size_t length =
      mayCompose ? compose(codePoints.data(), codePoints.size()) : codePoints.size();
  for (std::size_t index = 0; index < length; ++index) {
    appendUTF8(text, static_cast<char32_t>(codePoints[index]));
  }
}

void appendFoldedLetters(std::string& result, std::vector<std::size_t>& continued,
                         std::string_view text, Fold fold) {
  const auto appendPiece = [&](std::string_view piece) {
    CodePoints codePoints = decomposed(piece, fold);
    appendComposed(result, codePoints);
  };
  const bool foldsCase = includes(fold, Fold::Case);
  std::size_t pieceStart = 0;
  for (std::size_t offset = 0; offset < text.size();) {
    const std::size_t letterStart = offset;
    const char32_t codePoint = nextCodePoint(text, offset);
    if (codePoint < 0x80 || !foldsCase || !foldsToSeveral(codePoint)) {
      continue;
    }
    appendPiece(text.substr(pieceStart, letterStart - pieceStart));
    // The letter's own marks belong to it.
    std::size_t next = offset;
    while (next < text.size() &&
           combiningClass(static_cast<std::int32_t>(nextCodePoint(text, next))) != 0) {
      offset = next;
    }
    const std::size_t letter = result.size();
    appendPiece(text.substr(letterStart, offset - letterStart));
    std::size_t part = letter;
    nextCodePoint(result, part);
    while (part < result.size()) {
      continued.push_back(part);
      nextCodePoint(result, part);
    }
    pieceStart = offset;
  }
  appendPiece(text.substr(pieceStart));
}

}  // namespace JNFoundation::impl
