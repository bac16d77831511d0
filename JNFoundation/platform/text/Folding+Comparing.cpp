#include <algorithm>

#include <JNFoundation/platform/text/ASCII.h>
#include <JNFoundation/platform/text/Folding.h>
#include <JNFoundation/platform/text/UTF8.h>
#include <JNFoundation/platform/text/impl/Words.h>

namespace JNFoundation::inline v0_1 {

namespace {

constexpr int sign(int order) { return (order > 0) - (order < 0); }

constexpr int orderOfBytes(char left, char right) {
  return static_cast<unsigned char>(left) < static_cast<unsigned char>(right) ? -1 : 1;
}

constexpr char foldedASCII(char byte, bool foldsCase) {
  return foldsCase ? impl::lowerASCII(byte) : byte;
}

/// Whether the eight bytes are equal as they are, or are all ASCII and equal but for their case.
bool equalWords(const char* left, const char* right, bool foldsCase) {
  const std::uint64_t leftWord = impl::loadWord(left);
  const std::uint64_t rightWord = impl::loadWord(right);
  if (leftWord == rightWord) return true;
  return foldsCase && ((leftWord | rightWord) & impl::highBits) == 0 &&
         impl::flipCaseFrom(leftWord, 'A') == impl::flipCaseFrom(rightWord, 'A');
}

/// The length of the common start of the texts: bytes that are equal, or ASCII and equal when
/// folded.
std::size_t commonStart(std::string_view left, std::string_view right, bool foldsCase) {
  const std::size_t limit = std::min(left.size(), right.size());
  std::size_t offset = 0;
  while (limit - offset >= impl::wordSize &&
         equalWords(left.data() + offset, right.data() + offset, foldsCase)) {
    offset += impl::wordSize;
  }
  while (offset < limit &&
         foldedASCII(left[offset], foldsCase) == foldedASCII(right[offset], foldsCase)) {
    ++offset;
  }
  return offset;
}

/// Whether the next code point cannot combine with what stands before it.
bool startsAfresh(std::string_view text, std::size_t offset) {
  return offset >= text.size() || impl::isASCIIByte(text[offset]);
}

/// Whether the ASCII text holds the part, which is ASCII and folded already.
bool containsASCII(std::string_view text, std::string_view foldedPart) {
  // A part of nothing but marks may have been folded away.
  if (foldedPart.empty()) return true;
  const auto equal = [](char byte, char wanted) { return impl::lowerASCII(byte) == wanted; };
  return std::search(text.begin(), text.end(), foldedPart.begin(), foldedPart.end(), equal) !=
         text.end();
}

/// The order of texts that are folded, or ASCII whose case is left to fold, numbers by their value.
int orderWithNumbers(std::string_view left, std::string_view right, bool foldsCase) {
  const auto takeNumber = [](std::string_view text, std::size_t& offset) {
    while (offset < text.size() && text[offset] == '0') ++offset;
    const std::size_t start = offset;
    while (offset < text.size() && impl::isDigit(text[offset])) ++offset;
    return text.substr(start, offset - start);
  };
  std::size_t leftOffset = 0;
  std::size_t rightOffset = 0;
  while (leftOffset < left.size() && rightOffset < right.size()) {
    if (impl::isDigit(left[leftOffset]) && impl::isDigit(right[rightOffset])) {
      const std::string_view leftNumber = takeNumber(left, leftOffset);
      const std::string_view rightNumber = takeNumber(right, rightOffset);
      if (leftNumber.size() != rightNumber.size()) {
        return leftNumber.size() < rightNumber.size() ? -1 : 1;
      }
      if (const int order = leftNumber.compare(rightNumber)) return sign(order);
      continue;
    }
    const char leftByte = foldedASCII(left[leftOffset++], foldsCase);
    const char rightByte = foldedASCII(right[rightOffset++], foldsCase);
    if (leftByte != rightByte) return orderOfBytes(leftByte, rightByte);
  }
  if (leftOffset < left.size()) return 1;
  return rightOffset < right.size() ? -1 : 0;
}

}  // namespace

int compareLiteral(std::string_view left, std::string_view right) {
  return sign(left.compare(right));
}

int compareFolded(std::string_view left, std::string_view right, Fold fold) {
  if (fold == Fold::None) return compareLiteral(left, right);
  const bool foldsCase = includes(fold, Fold::Case);
  std::size_t offset = commonStart(left, right, foldsCase);
  if (startsAfresh(left, offset) && startsAfresh(right, offset)) {
    if (offset == left.size() || offset == right.size()) {
      return sign(static_cast<int>(left.size() > right.size()) -
                  static_cast<int>(left.size() < right.size()));
    }
    if (startsAfresh(left, offset + 1) && startsAfresh(right, offset + 1)) {
      return orderOfBytes(foldedASCII(left[offset], foldsCase),
                          foldedASCII(right[offset], foldsCase));
    }
  }
  // Folding has to tell. It can start anew at every ASCII character.
  do {
    if (offset == 0) break;
    --offset;
  } while (!impl::isASCIIByte(left[offset]));
  return compareLiteral(folded(left.substr(offset), fold), folded(right.substr(offset), fold));
}

int compareLocalized(std::string_view left, std::string_view right) {
  const int order = compareFolded(left, right, Fold::CaseAndDiacritics);
  return order != 0 ? order : compareLiteral(left, right);
}

int compareLocalizedCaseInsensitive(std::string_view left, std::string_view right) {
  const int order = compareFolded(left, right, Fold::CaseAndDiacritics);
  return order != 0 ? order : compareFolded(left, right, Fold::Case);
}

int compareLocalizedStandard(std::string_view left, std::string_view right) {
  const int order = isASCII(left) && isASCII(right)
                        ? orderWithNumbers(left, right, true)
                        : orderWithNumbers(folded(left, Fold::CaseAndDiacritics),
                                           folded(right, Fold::CaseAndDiacritics), false);
  return order != 0 ? order : compareLiteral(left, right);
}

bool containsFolded(std::string_view text, std::string_view part, Fold fold) {
  if (part.empty()) return true;
  if (fold == Fold::None) return text.find(part) != std::string_view::npos;
  const std::string foldedPart = folded(part, fold);
  if (isASCII(text)) {
    return includes(fold, Fold::Case) ? containsASCII(text, foldedPart)
                                      : text.find(foldedPart) != std::string_view::npos;
  }
  return folded(text, fold).find(foldedPart) != std::string::npos;
}

bool hasPrefixFolded(std::string_view text, std::string_view part, Fold fold) {
  const bool foldsCase = includes(fold, Fold::Case);
  if (fold == Fold::None ||
      (isASCII(part) && isASCII(text.substr(0, part.size())) && startsAfresh(text, part.size()))) {
    return text.size() >= part.size() && commonStart(text, part, foldsCase) == part.size();
  }
  const std::string foldedText = folded(text, fold);
  const std::string foldedPart = folded(part, fold);
  return std::string_view(foldedText).substr(0, foldedPart.size()) == foldedPart;
}

bool hasSuffixFolded(std::string_view text, std::string_view part, Fold fold) {
  const std::string_view end = text.substr(text.size() - std::min(text.size(), part.size()));
  const bool foldsCase = includes(fold, Fold::Case);
  if (fold == Fold::None || (isASCII(part) && isASCII(end))) {
    return end.size() == part.size() && commonStart(end, part, foldsCase) == part.size();
  }
  const std::string foldedText = folded(text, fold);
  const std::string foldedPart = folded(part, fold);
  return foldedText.size() >= foldedPart.size() &&
         std::string_view(foldedText).substr(foldedText.size() - foldedPart.size()) == foldedPart;
}

}  // namespace JNFoundation
