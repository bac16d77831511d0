#pragma once

#include <algorithm>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

/// Text for the naive evaluator: plain code points, and the letters of the tests from a table.
namespace JNFoundation::testing::naive {

/// What lies beyond these few letters and patterns: whoever asks leaves the question out.
struct Unknown {};

using Text = std::u32string;

/// Requires: well-formed UTF-8.
inline Text codePoints(std::string_view utf8) {
  Text text;
  for (const char c : utf8) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      text += byte;
    } else if (byte < 0xC0) {
      text.back() = text.back() << 6 | (byte & 0x3F);
    } else {
      text += byte < 0xE0 ? byte & 0x1Fu : byte < 0xF0 ? byte & 0x0Fu : byte & 0x07u;
    }
  }
  return text;
}

inline std::string utf8Of(const Text& text) {
  std::string utf8;
  const auto add = [&](char32_t bits) { utf8 += static_cast<char>(bits); };
  for (const char32_t c : text) {
    if (c < 0x80) {
      add(c);
    } else if (c < 0x800) {
      add(0xC0 | c >> 6);
      add(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      add(0xE0 | c >> 12);
      add(0x80 | (c >> 6 & 0x3F));
      add(0x80 | (c & 0x3F));
    } else {
      add(0xF0 | c >> 18);
      add(0x80 | (c >> 12 & 0x3F));
      add(0x80 | (c >> 6 & 0x3F));
      add(0x80 | (c & 0x3F));
    }
  }
  return utf8;
}

inline constexpr char32_t sharpS = U'ß';

struct Letter {
  char32_t composed;
  char32_t base;
  char32_t mark;
};
inline constexpr Letter letters[] = {{U'é', U'e', 0x301}, {U'É', U'E', 0x301}, {U'ö', U'o', 0x308},
                                     {U'Ö', U'O', 0x308}, {U'ä', U'a', 0x308}, {U'Ä', U'A', 0x308}};

inline bool isMark(char32_t c) { return c == 0x301 || c == 0x308; }
inline char32_t lower(char32_t c) { return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c; }
inline char32_t upper(char32_t c) { return c >= 'a' && c <= 'z' ? c - ('a' - 'A') : c; }

inline Text decomposed(const Text& text) {
  Text result;
  for (const char32_t c : text) {
    const auto letter = std::find_if(std::begin(letters), std::end(letters),
                                     [&](const Letter& one) { return one.composed == c; });
    const bool isSymbol = c >= 0x1F300 && c < 0x1FA00;
    if (letter != std::end(letters)) {
      result += letter->base;
      result += letter->mark;
    } else if (c < 0x80 || c == sharpS || isMark(c) || isSymbol) {
      result += c;
    } else {
      throw Unknown();
    }
  }
  return result;
}

inline Text composed(const Text& text) {
  Text result;
  for (const char32_t c : text) {
    if (!isMark(c)) {
      result += c;
      continue;
    }
    const char32_t base = result.empty() ? 0 : result.back();
    const auto letter =
        std::find_if(std::begin(letters), std::end(letters),
                     [&](const Letter& one) { return one.base == base && one.mark == c; });
    if (letter == std::end(letters)) throw Unknown();
    result.back() = letter->composed;
  }
  return result;
}

inline Text folded(const Text& text, bool anyCase, bool anyMarks) {
  if (!anyCase && !anyMarks) return text;
  Text result;
  // Composing tells whether every mark stands behind its letter.
  for (const char32_t c : decomposed(composed(decomposed(text)))) {
    if (anyMarks && isMark(c)) continue;
    if (anyCase && c == sharpS) {
      result += U"ss";
    } else {
      result += anyCase ? lower(c) : c;
    }
  }
  return composed(result);
}

/// Letter by letter: what was composed stays so, and what was not does not become it.
template <class Change>
Text lettersChanged(const Text& text, Change change) {
  Text result;
  for (const char32_t c : text) {
    const Text parts = decomposed(Text(1, c));
    const Text whole = Text(1, change(parts[0])) + parts.substr(1);
    result += parts.size() > 1 ? composed(whole) : whole;
  }
  return result;
}

inline Text upperCased(const Text& text) {
  const Text letters = lettersChanged(text, upper);
  Text result;
  for (const char32_t c : letters) result += c == sharpS ? Text(U"SS") : Text(1, c);
  return result;
}

inline Text lowerCased(const Text& text) { return lettersChanged(text, lower); }

inline bool isLike(const Text& text, const Text& pattern, std::size_t t = 0, std::size_t p = 0) {
  if (p == pattern.size()) return t == text.size();
  if (pattern[p] == '*') {
    for (std::size_t end = t; end <= text.size(); ++end) {
      if (isLike(text, pattern, end, p + 1)) return true;
    }
    return false;
  }
  if (t == text.size()) return false;
  if (pattern[p] == '?') return isLike(text, pattern, t + 1, p + 1);
  if (pattern[p] == '\\' && p + 1 < pattern.size()) ++p;
  return text[t] == pattern[p] && isLike(text, pattern, t + 1, p + 1);
}

/// A regular expression of letters, dots, brackets, groups, alternatives and the three quantifiers,
/// tried out by going back.
class Expression {
 public:
  /// Another expression is an Unknown.
  explicit Expression(Text pattern) : _pattern(std::move(pattern)) {
    int depth = 0;
    bool canRepeat = false;
    for (std::size_t i = 0; i < _pattern.size(); ++i) {
      const char32_t c = _pattern[i];
      const bool repeats = isQuantifier(c);
      if (Text(U"\\{}$^:=!&#]").find(c) != Text::npos || (repeats && !canRepeat)) throw Unknown();
      if (c == '(') ++depth;
      if (c == ')' && --depth < 0) throw Unknown();
      if (c == '[') {
        const std::size_t end = endOfPart(i);
        if (end == Text::npos || end == i + 2) throw Unknown();
        if (_pattern.substr(i + 1, end - i - 2).find_first_of(U"[^\\") != Text::npos) {
          throw Unknown();
        }
        i = end - 1;
      }
      canRepeat = !repeats && c != '(' && c != '|';
    }
    if (depth != 0) throw Unknown();
  }

  /// Whether the whole text fits.
  bool matches(const Text& text) const {
    return alternatives(0, _pattern.size(), text, 0,
                        [&](std::size_t end) { return end == text.size(); });
  }

 private:
  using Rest = std::function<bool(std::size_t)>;

  static bool isQuantifier(char32_t c) { return c == '*' || c == '+' || c == '?'; }

  /// Behind the letter, the group or the brackets that begin there.
  std::size_t endOfPart(std::size_t begin) const {
    if (_pattern[begin] == '[') {
      const std::size_t close = _pattern.find(U']', begin);
      return close == Text::npos ? close : close + 1;
    }
    std::size_t end = begin;
    int depth = 0;
    do {
      if (_pattern[end] == '(') ++depth;
      if (_pattern[end] == ')') --depth;
      ++end;
    } while (depth > 0);
    return end;
  }

  bool alternatives(std::size_t begin, std::size_t end, const Text& text, std::size_t at,
                    const Rest& rest) const {
    for (std::size_t stop = begin;; stop = endOfPart(stop)) {
      if (stop < end && _pattern[stop] != '|') continue;
      if (sequence(begin, stop, text, at, rest)) return true;
      if (stop >= end) return false;
      begin = stop + 1;
    }
  }

  bool sequence(std::size_t begin, std::size_t end, const Text& text, std::size_t at,
                const Rest& rest) const {
    if (begin == end) return rest(at);
    const std::size_t behind = endOfPart(begin);
    const char32_t quantifier =
        behind < end && isQuantifier(_pattern[behind]) ? _pattern[behind] : 0;
    const std::size_t next = behind + (quantifier != 0);
    const Rest further = [&](std::size_t from) { return sequence(next, end, text, from, rest); };
    if (quantifier == 0) return part(begin, behind, text, at, further);
    if (quantifier == '+') {
      return part(begin, behind, text, at,
                  [&](std::size_t from) { return repeated(begin, behind, text, from, further); });
    }
    if (quantifier == '*') return repeated(begin, behind, text, at, further);
    return part(begin, behind, text, at, further) || further(at);
  }

  /// Any number of times.
  bool repeated(std::size_t begin, std::size_t end, const Text& text, std::size_t at,
                const Rest& rest) const {
    const auto again = [&](std::size_t from) {
      return from > at && repeated(begin, end, text, from, rest);
    };
    return part(begin, end, text, at, again) || rest(at);
  }

  bool part(std::size_t begin, std::size_t end, const Text& text, std::size_t at,
            const Rest& rest) const {
    if (_pattern[begin] == '(') return alternatives(begin + 1, end - 1, text, at, rest);
    return at < text.size() && takes(begin, end, text[at]) && rest(at + 1);
  }

  bool takes(std::size_t begin, std::size_t end, char32_t c) const {
    if (_pattern[begin] == '.') return (c < U'\n' || c > U'\r') && c != 0x85 && c >> 1 != 0x1014;
    if (_pattern[begin] != '[') return _pattern[begin] == c;
    for (std::size_t i = begin + 1; i + 1 < end; ++i) {
      const bool isRange = i + 3 < end && _pattern[i + 1] == '-';
      const char32_t last = isRange ? _pattern[i + 2] : _pattern[i];
      if (c >= _pattern[i] && c <= last) return true;
      if (isRange) i += 2;
    }
    return false;
  }

  Text _pattern;
};

inline bool matches(const Text& text, const Text& pattern) {
  return Expression(pattern).matches(text);
}

}  // namespace JNFoundation::testing::naive
