#include "JNFoundation/platform/json/impl/JSONScanner.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

#include <JNFoundation/platform/text/ASCII.h>
#include <JNFoundation/platform/text/NumberText.h>
#include <JNFoundation/platform/text/UTF8.h>

namespace JNFoundation::inline v0_1::impl {

namespace {

bool isWhiteSpace(char character) {
  return character == ' ' || character == '\n' || character == '\r' || character == '\t';
}

/// The number in upper-case hexadecimal, that many digits wide.
std::string hexadecimal(std::uint32_t number, int width) {
  std::string digits;
  while (width-- > 0) digits += "0123456789ABCDEF"[number >> 4 * width & 15];
  return digits;
}

/// A reader with one character in hand. The operations that return a boolean set the problem and
/// return false when the text is wrong.
class Scanner {
 public:
  Scanner(std::string_view text, std::size_t maximumDepth, std::vector<std::size_t>* largeIntegers)
      : _text(text), _maximumDepth(maximumDepth), _endsOfLargeIntegers(largeIntegers) {}

  std::optional<JSONProblem> scan() {
    scanText();
    return std::move(_problem);
  }

 private:
  bool atEnd() const { return _offset == _text.size(); }
  bool at(char character) const { return !atEnd() && _text[_offset] == character; }
  bool take(char character) {
    if (!at(character)) return false;
    ++_offset;
    return true;
  }
  void skipWhiteSpace() { _offset = skipJSONWhiteSpace(_text, _offset); }

  bool fail(std::size_t offset, std::string message) {
    _problem = JSONProblem{offset, std::move(message)};
    return false;
  }
  bool failExpecting(std::string_view expected) {
    return fail(_offset, "expected " + std::string(expected) + ", found " + found());
  }

  /// What stands at the offset, for people.
  std::string found() const {
    if (atEnd()) return "the end of the text";
    const char character = _text[_offset];
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x20 || byte == 0x7F) return "the control character U+" + hexadecimal(byte, 4);
    std::size_t end = _offset;
    while (end < _text.size() && end - _offset < 24 && isLetter(_text[end])) ++end;
    if (end == _offset) {
      if (isIllFormed(end)) return "the byte 0x" + hexadecimal(byte, 2) + ", which is not UTF-8";
    }
    return "'" + std::string(_text.substr(_offset, end - _offset)) + "'";
  }

  /// Moves the offset past the code point that starts there.
  bool isIllFormed(std::size_t& offset) const {
    const std::size_t start = offset;
    return nextCodePoint(_text, offset) == replacementCharacter &&
           _text.substr(start, offset - start) != "\xEF\xBF\xBD";
  }

  bool scanText() {
    if (_text.substr(0, 3) == "\xEF\xBB\xBF") {
      return fail(0, "the text starts with a byte order mark, which JSON does not have");
    }
    if (!scanValues()) return false;
    skipWhiteSpace();
    return atEnd() || failExpecting("the end of the text");
  }

  /// One value with all that is in it. The open containers stand in `_open`.
  bool scanValues() {
    for (;;) {
      skipWhiteSpace();
      bool opened = false;
      if (!scanStartOfValue(opened)) return false;
      if (opened) continue;
      // A value is complete: go on in its container, or close containers until one goes on.
      for (;;) {
        if (_open.empty()) return true;
        skipWhiteSpace();
        const bool isObject = _open.back() == '{';
        if (take(',')) {
          if (isObject && !scanKey("a key in quotation marks")) return false;
          break;
        }
        if (!take(isObject ? '}' : ']'))
          return failExpecting(isObject ? "',' or '}'" : "',' or ']'");
        _open.pop_back();
      }
    }
  }

  /// A value that is complete, or a container up to its first value.
  bool scanStartOfValue(bool& opened) {
    if (at('"')) return scanString();
    if (at('-') || (!atEnd() && isDigit(_text[_offset]))) return scanNumber();
    if (at('[') || at('{')) {
      const bool isObject = at('{');
      if (_open.size() == _maximumDepth) {
        return fail(_offset, "arrays and objects are nested more than " +
                                 textFromUnsigned(_maximumDepth) + " deep");
      }
      ++_offset;
      skipWhiteSpace();
      if (take(isObject ? '}' : ']')) return true;
      _open += isObject ? '{' : '[';
      opened = true;
      if (isObject) return scanKey("a key in quotation marks or '}'");
      return !atEnd() || failExpecting("a value or ']'");
    }
    for (const std::string_view word : {"true", "false", "null"}) {
      if (_text.substr(_offset, word.size()) != word) continue;
      const std::size_t end = _offset + word.size();
      if (end < _text.size() && (isLetter(_text[end]) || isDigit(_text[end]))) break;
      _offset = end;
      return true;
    }
    return failExpecting("a value");
  }

  bool scanKey(std::string_view expected) {
    skipWhiteSpace();
    if (!at('"')) return failExpecting(expected);
    if (!scanString()) return false;
    skipWhiteSpace();
    return take(':') || failExpecting("':'");
  }

  bool scanString() {
    ++_offset;
    while (!atEnd()) {
      const auto byte = static_cast<unsigned char>(_text[_offset]);
      if (byte == '"') {
        ++_offset;
        return true;
      }
      if (byte < 0x20) {
        return fail(_offset, "a string holds " + found() + ", which must be escaped");
      }
      if (byte == '\\') {
        if (!scanEscape()) return false;
      } else if (byte < 0x80) {
        ++_offset;
      } else {
        std::size_t end = _offset;
        if (isIllFormed(end)) return fail(_offset, "a string holds " + found());
        _offset = end;
      }
    }
    return failExpecting("'\"' at the end of a string");
  }

  bool scanEscape() {
    const std::size_t start = _offset++;
    if (atEnd()) return failExpecting("'\"' at the end of a string");
    if (!take('u')) {
      if (std::string_view("\"\\/bfnrt").find(_text[_offset]) == std::string_view::npos) {
        return fail(start, "a string holds a backslash before " + found() + ", which is no escape");
      }
      ++_offset;
      return true;
    }
    std::uint32_t first = 0;
    if (!scanFourDigits(first)) return false;
    if (first < 0xD800 || first > 0xDFFF) return true;
    std::uint32_t second = 0;
    if (first <= 0xDBFF && _text.substr(_offset, 2) == "\\u") {
      _offset += 2;
      if (!scanFourDigits(second)) return false;
    }
    if (second >= 0xDC00 && second <= 0xDFFF) return true;
    return fail(start, "a string holds the escape \\u" + hexadecimal(first, 4) +
                           ", half of a surrogate pair");
  }

  bool scanFourDigits(std::uint32_t& number) {
    for (int i = 0; i < 4; ++i, ++_offset) {
      if (atEnd() || hexadecimalValue(_text[_offset]) < 0) {
        return failExpecting("four hexadecimal digits behind \\u");
      }
    }
    std::from_chars(_text.data() + _offset - 4, _text.data() + _offset, number, 16);
    return true;
  }

  bool scanDigits() {
    if (atEnd() || !isDigit(_text[_offset])) return failExpecting("a digit");
    while (!atEnd() && isDigit(_text[_offset])) ++_offset;
    return true;
  }

  bool scanNumber() {
    const std::size_t start = _offset;
    take('-');
    if (at('0') && _offset + 1 < _text.size() && isDigit(_text[_offset + 1])) {
      return fail(_offset, "a number starts with 0");
    }
    if (!scanDigits()) return false;
    bool isWhole = true;
    if (take('.')) {
      isWhole = false;
      if (!scanDigits()) return false;
    }
    if (take('e') || take('E')) {
      isWhole = false;
      if (!take('+')) take('-');
      if (!scanDigits()) return false;
    }
    const std::string_view number = _text.substr(start, _offset - start);
    if (isWhole && fits64Bits(number)) return true;
    if (std::isinf(doubleFromText(number))) {
      constexpr std::size_t shown = 24;
      return fail(start, "the number " + std::string(number.substr(0, shown)) +
                             (number.size() > shown ? "..." : "") + " is too large for a double");
    }
    if (isWhole && _endsOfLargeIntegers) _endsOfLargeIntegers->push_back(_offset);
    return true;
  }

  static bool fits64Bits(std::string_view number) {
    std::int64_t integer = 0;
    std::uint64_t unsignedInteger = 0;
    const char* end = number.data() + number.size();
    return std::from_chars(number.data(), end, integer).ec == std::errc() ||
           (number.front() != '-' &&
            std::from_chars(number.data(), end, unsignedInteger).ec == std::errc());
  }

  std::string_view _text;
  std::size_t _offset = 0;
  std::size_t _maximumDepth;
  std::vector<std::size_t>* _endsOfLargeIntegers;
  /// '[' and '{', the innermost last.
  std::string _open;
  std::optional<JSONProblem> _problem;
};

/// What a byte does to a walk that only counts brackets.
enum class Mark : unsigned char { None, Quote, Open, Close };

constexpr std::array<Mark, 256> makeMarks() {
  std::array<Mark, 256> marks{};
  marks['"'] = Mark::Quote;
  marks['['] = marks['{'] = Mark::Open;
  marks[']'] = marks['}'] = Mark::Close;
  return marks;
}
constexpr std::array<Mark, 256> marks = makeMarks();
Mark markOf(char character) { return marks[static_cast<unsigned char>(character)]; }

/// The place behind the string whose opening quotation mark is at `start`.
const char* endOfString(const char* start, const char* end) noexcept {
  const char* at = ++start;
  for (;;) {
    const auto* quote =
        static_cast<const char*>(std::memchr(at, '"', static_cast<std::size_t>(end - at)));
    if (!quote) return end;
    // One behind a backslash ends no string, unless that is escaped itself.
    const char* run = quote;
    while (run > start && run[-1] == '\\') --run;
    at = quote + 1;
    if ((quote - run) % 2 == 0) return at;
  }
}

/// The place behind the container whose opening bracket is at `at`.
const char* endOfContainer(const char* at, const char* end) noexcept {
  std::size_t depth = 0;
  while (at < end) {
    switch (markOf(*at)) {
      case Mark::None:
        // Numbers, words and what stands between values.
        do ++at;
        while (at < end && markOf(*at) == Mark::None);
        break;
      case Mark::Quote:
        at = endOfString(at, end);
        break;
      case Mark::Open:
        ++depth;
        ++at;
        break;
      case Mark::Close:
        ++at;
        if (--depth == 0) return at;
        break;
    }
  }
  return end;
}

}  // namespace

std::optional<JSONProblem> findJSONProblem(std::string_view text, std::size_t maximumDepth,
                                           std::vector<std::size_t>* endsOfLargeIntegers) {
  return Scanner(text, maximumDepth, endsOfLargeIntegers).scan();
}

std::size_t skipJSONWhiteSpace(std::string_view text, std::size_t offset) noexcept {
  while (offset < text.size() && isWhiteSpace(text[offset])) ++offset;
  return offset;
}

std::size_t endOfJSONValue(std::string_view text, std::size_t start) noexcept {
  if (start >= text.size()) return text.size();
  const char* const end = text.data() + text.size();
  const char* at = text.data() + start;
  if (*at == '"') {
    at = endOfString(at, end);
  } else if (markOf(*at) == Mark::Open) {
    at = endOfContainer(at, end);
  } else {
    while (at < end && *at != ',' && !isWhiteSpace(*at) && markOf(*at) != Mark::Close) ++at;
  }
  return static_cast<std::size_t>(at - text.data());
}

}  // namespace JNFoundation::impl
