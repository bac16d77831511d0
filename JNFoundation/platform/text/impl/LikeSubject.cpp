#include "JNFoundation/platform/text/impl/LikeSubject.h"

#include <algorithm>

#include <JNFoundation/platform/text/UTF8.h>
#include <JNFoundation/platform/text/impl/CodePoints.h>

namespace JNFoundation::inline v0_1::impl {

LikeSubject::LikeSubject(std::string_view text, Fold fold) : _text(text) {
  if (isASCII(text)) {
    if (!includes(fold, Fold::Case)) return;
    _storage = folded(text, fold);
  } else if (fold == Fold::None) {
    if (isValidUTF8(text)) return;
    _storage = sanitizedUTF8(text);
  } else {
    appendFoldedLetters(_storage, _continued, text, fold);
  }
  _text = _storage;
}

bool LikeSubject::skipForward(std::size_t& position, std::size_t letters) const {
  for (; letters > 0; --letters) {
    if (position == _text.size()) return false;
    do {
      ++position;
    } while (position < _text.size() && !startsLetter(position));
  }
  return true;
}

bool LikeSubject::skipBackward(std::size_t& position, std::size_t letters) const {
  for (; letters > 0; --letters) {
    if (position == 0) return false;
    do {
      --position;
    } while (position > 0 && !startsLetter(position));
  }
  return true;
}

bool LikeSubject::startsLetter(std::size_t position) const {
  const bool startsCodePoint = (static_cast<unsigned char>(_text[position]) & 0xC0) != 0x80;
  return startsCodePoint && (_continued.empty() ||
                             !std::binary_search(_continued.begin(), _continued.end(), position));
}

}  // namespace JNFoundation::impl
