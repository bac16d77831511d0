#include "JNFoundation/platform/text/Folding.h"

#include <utf8proc.h>

#include <JNFoundation/platform/text/ASCII.h>
#include <JNFoundation/platform/text/UTF8.h>
#include <JNFoundation/platform/text/impl/CodePoints.h>
#include <JNFoundation/platform/text/impl/Words.h>

namespace JNFoundation::inline v0_1 {

namespace {

constexpr char32_t capitalSigma = 0x03A3;
constexpr char32_t smallSigma = 0x03C3;
constexpr char32_t finalSigma = 0x03C2;
constexpr char32_t smallIota = 0x03B9;
constexpr char32_t capitalIWithDot = 0x0130;
constexpr char32_t dotAbove = 0x0307;

/// The ASCII text with the 26 letters from `first` on in the other case.
std::string withCaseFlippedFrom(std::string_view text, char first) {
  std::string result(text);
  char* bytes = result.data();
  std::size_t offset = 0;
  for (; result.size() - offset >= impl::wordSize; offset += impl::wordSize) {
    impl::storeWord(bytes + offset, impl::flipCaseFrom(impl::loadWord(bytes + offset),
                                                       static_cast<unsigned char>(first)));
  }
  for (; offset < result.size(); ++offset) {
    bytes[offset] =
        first == 'A' ? impl::lowerASCII(bytes[offset]) : impl::upperASCII(bytes[offset]);
  }
  return result;
}

utf8proc_category_t category(char32_t codePoint) {
  return utf8proc_category(static_cast<utf8proc_int32_t>(codePoint));
}

char32_t simpleUpper(char32_t codePoint) {
  return static_cast<char32_t>(utf8proc_toupper(static_cast<utf8proc_int32_t>(codePoint)));
}

char32_t simpleTitle(char32_t codePoint) {
  return static_cast<char32_t>(utf8proc_totitle(static_cast<utf8proc_int32_t>(codePoint)));
}

/// The parts of a letter that has no single capital of its own ("ß", "ﬁ", "ᾀ"), decomposed:
/// Unicode's special upper case of such a letter is the upper case of its case folding. Empty for
/// all others.
impl::CodePoints partsForUpperCase(char32_t codePoint) {
  constexpr char32_t capitalSharpS = 0x1E9E;
  const utf8proc_category_t kind = category(codePoint);
  if (kind != UTF8PROC_CATEGORY_LL && kind != UTF8PROC_CATEGORY_LT) return {};
  const char32_t upper = simpleUpper(codePoint);
  if (upper != capitalSharpS && category(upper) == UTF8PROC_CATEGORY_LU) return {};
  impl::CodePoints parts = impl::caseFolding(codePoint);
  return parts.size() > 1 ? parts : impl::CodePoints{};
}

void appendUpper(std::string& text, char32_t codePoint) {
  impl::CodePoints parts = partsForUpperCase(codePoint);
  if (parts.empty()) {
    appendUTF8(text, simpleUpper(codePoint));
    return;
  }
  for (std::int32_t& part : parts) part = utf8proc_toupper(part);
  impl::appendComposed(text, parts);
}

bool isLetter(char32_t codePoint) {
  const utf8proc_category_t kind = category(codePoint);
  return kind == UTF8PROC_CATEGORY_LU || kind == UTF8PROC_CATEGORY_LL ||
         kind == UTF8PROC_CATEGORY_LT || kind == UTF8PROC_CATEGORY_LM;
}

bool isMark(char32_t codePoint) {
  const utf8proc_category_t kind = category(codePoint);
  return kind == UTF8PROC_CATEGORY_MN || kind == UTF8PROC_CATEGORY_ME;
}

/// Whether the text, from the offset on, goes on with a letter, its first marks passed over.
bool continuesWithLetter(std::string_view text, std::size_t offset) {
  while (offset < text.size()) {
    const char32_t codePoint = nextCodePoint(text, offset);
    if (!isMark(codePoint)) return isLetter(codePoint);
  }
  return false;
}

/// Whether no code point of well-formed text can need composing: those below U+0300 do not.
bool isPlainlyComposed(std::string_view text) {
  for (const char byte : text) {
    if (static_cast<unsigned char>(byte) >= 0xCC) return false;
  }
  return isValidUTF8(text);
}

}  // namespace

std::string folded(std::string_view text, Fold fold) {
  if (fold == Fold::None) return std::string(text);
  if (isASCII(text)) {
    return includes(fold, Fold::Case) ? withCaseFlippedFrom(text, 'A') : std::string(text);
  }
  impl::CodePoints codePoints = impl::decomposed(text, fold);
  std::string result;
  result.reserve(text.size());
  impl::appendComposed(result, codePoints);
  return result;
}

std::string uppercased(std::string_view text) {
  if (isASCII(text)) return withCaseFlippedFrom(text, 'a');
  std::string result;
  result.reserve(text.size());
  for (std::size_t offset = 0; offset < text.size();) {
    const char32_t codePoint = nextCodePoint(text, offset);
    if (codePoint < 0x80) {
      result += impl::upperASCII(static_cast<char>(codePoint));
    } else {
      appendUpper(result, codePoint);
    }
  }
  return result;
}

std::string lowercased(std::string_view text) {
  if (isASCII(text)) return withCaseFlippedFrom(text, 'A');
  std::string result;
  result.reserve(text.size());
  bool afterLetter = false;
  for (std::size_t offset = 0; offset < text.size();) {
    const char32_t codePoint = nextCodePoint(text, offset);
    if (codePoint < 0x80) {
      result += impl::lowerASCII(static_cast<char>(codePoint));
      afterLetter = impl::isLetter(static_cast<char>(codePoint));
      continue;
    }
    if (codePoint == capitalSigma) {
      appendUTF8(result,
                 afterLetter && !continuesWithLetter(text, offset) ? finalSigma : smallSigma);
    } else if (codePoint == capitalIWithDot) {
      result += 'i';
      appendUTF8(result, dotAbove);
    } else {
      appendUTF8(result,
                 static_cast<char32_t>(utf8proc_tolower(static_cast<utf8proc_int32_t>(codePoint))));
    }
    if (!isMark(codePoint)) afterLetter = isLetter(codePoint);
  }
  return result;
}

std::string capitalizedFirst(std::string_view text) {
  if (text.empty()) return {};
  std::string result;
  result.reserve(text.size());
  std::size_t offset = 0;
  const char32_t first = nextCodePoint(text, offset);
  impl::CodePoints parts = partsForUpperCase(first);
  // A letter with an iota below has a title case of its own.
  if (parts.empty() || static_cast<char32_t>(parts.back()) == smallIota) {
    appendUTF8(result, simpleTitle(first));
  } else {
    parts.front() = utf8proc_totitle(parts.front());
    impl::appendComposed(result, parts);
  }
  return result.append(text.substr(offset));
}

std::string normalizedNFC(std::string_view text) {
  if (isPlainlyComposed(text)) return std::string(text);
  impl::CodePoints codePoints = impl::decomposed(text, Fold::None);
  std::string result;
  result.reserve(text.size());
  impl::appendComposed(result, codePoints);
  return result;
}

}  // namespace JNFoundation
