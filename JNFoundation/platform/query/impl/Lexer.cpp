#include "JNFoundation/platform/query/impl/Lexer.h"

#include <charconv>

#include <JNFoundation/platform/text/ASCII.h>
#include <JNFoundation/platform/text/NumberText.h>
#include <JNFoundation/platform/text/UTF8.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

using TokenKind = Token::Kind;
using TokenSign = Token::Sign;

bool isOctalDigit(char c) noexcept { return c >= '0' && c <= '7'; }
bool isWordStart(char c) noexcept {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
bool isWordPart(char c) noexcept { return isWordStart(c) || isDigit(c); }

/// The value of a digit in any base up to 16; more than any for what is no digit.
unsigned digitValue(char c) noexcept { return static_cast<unsigned>(hexadecimalValue(c)); }

/// The line of the format that the position is in, with a caret below it; of a long line what
/// stands around. A code point takes a column, and no control character moves the caret.
std::string lineWithCaret(std::string_view text, std::size_t position) {
  constexpr std::size_t codePointsBefore = 50, codePointsAfter = 26;
  // At the end, empty lines say nothing.
  const std::size_t end = text.find_last_not_of(" \t\n\v\f\r") + 1;
  if (position == text.size() && text.find('\n', end) != std::string_view::npos) {
    text = text.substr(0, end);
    position = end;
  }
  const std::size_t begin = text.substr(0, position).rfind('\n') + 1;
  std::string_view before = text.substr(begin, position - begin);
  std::string_view after = text.substr(position, text.find('\n', position) - position);
  std::size_t column = codePointCount(before);
  std::string line;
  if (column > codePointsBefore) {
    before.remove_prefix(offsetOfCodePoint(before, column - codePointsBefore));
    column = codePointsBefore + 1;
    line += "…";
  }
  line += before;
  const std::size_t shown = offsetOfCodePoint(after, codePointsAfter);
  line += after.substr(0, shown);
  if (shown < after.size()) line += "…";
  for (char& c : line) {
    if (static_cast<unsigned char>(c) < ' ' || c == '\x7F') c = ' ';
  }
  return line + "\n" + std::string(column, ' ') + "^";
}

}  // namespace

void Lexer::fail(std::size_t position, std::string_view reason) const {
  const std::size_t character = codePointCount(_text.substr(0, position));
  const auto text = NSString::stringWithFormat(
      "Unable to parse the format string \"%@\": at character %zu: %s\n%s", _format, character,
      reason, lineWithCaret(_text, position));
  NSException::exceptionWithNameReasonUserInfo(
      NSInvalidArgumentException, text,
      NSDictionary::dictionaryWithObjectForKey(character, "position"))
      ->raise();
}

void Lexer::skipWhiteSpace() noexcept {
  while (_position < _text.size()) {
    const char c = _text[_position];
    if (c != ' ' && !(c >= '\t' && c <= '\r')) return;
    ++_position;
  }
}

Token Lexer::next() {
  skipWhiteSpace();
  Token token;
  token.begin = _position;
  const char c = at(_position);
  if (_position == _text.size()) {
    token.kind = TokenKind::End;
  } else if (isWordStart(c) || c == '#' || c == '@') {
    readWord(token);
  } else if (isDigit(c) || (c == '.' && isDigit(at(_position + 1)))) {
    readNumber(token);
  } else if (c == '"' || c == '\'') {
    readText(token);
  } else if (c == '$') {
    readVariable(token);
  } else if (c == '%') {
    readArgument(token);
  } else {
    readSign(token);
  }
  token.end = _position;
  return token;
}

void Lexer::readWord(Token& token) {
  const char mark = _text[_position];
  if (mark == '#' || mark == '@') ++_position;
  const std::size_t begin = _position;
  if (!isWordStart(at(begin))) fail(begin, "a name was expected");
  while (isWordPart(at(_position))) ++_position;
  token.kind = TokenKind::Word;
  if (mark == '@') {
    token.kind = TokenKind::Operator;
    token.text = _text.substr(begin - 1, _position - begin + 1);
    return;
  }
  if (mark != '#') {
    for (const std::string_view operation : {"UTI-CONFORMS-TO", "UTI-EQUALS"}) {
      if (!isSameWord(_text.substr(begin, operation.size()), operation)) continue;
      _position = begin + operation.size();
      token.keyword = keywordFromWord(operation);
    }
    // A name with colons is the selector of a function: "modulus:by:".
    while (at(_position) == ':' && at(_position + 1) != '=') {
      token.kind = TokenKind::Selector;
      ++_position;
      while (isWordPart(at(_position))) ++_position;
    }
  }
  token.text = _text.substr(begin, _position - begin);
  if (mark != '#' && token.kind == TokenKind::Word) token.keyword = keywordFromWord(token.text);
}

void Lexer::readNumber(Token& token) {
  token.kind = TokenKind::Number;
  const std::size_t begin = _position;
  if (_text[begin] == '0') {
    switch (at(begin + 1)) {
      case 'x':
      case 'X':
        return readPrefixedNumber(token, 16);
      case 'o':
      case 'O':
        return readPrefixedNumber(token, 8);
      case 'b':
      case 'B':
        return readPrefixedNumber(token, 2);
      default:
        break;
    }
  }
  bool isInteger = true;
  while (isDigit(at(_position))) ++_position;
  if (at(_position) == '.' && isDigit(at(_position + 1))) {
    isInteger = false;
    ++_position;
    while (isDigit(at(_position))) ++_position;
  }
  if (at(_position) == 'e' || at(_position) == 'E') {
    const char sign = at(_position + 1);
    const std::size_t digits = _position + (sign == '+' || sign == '-' ? 2 : 1);
    if (isDigit(at(digits))) {
      isInteger = false;
      _position = digits;
      while (isDigit(at(_position))) ++_position;
    }
  }
  if (isWordPart(at(_position))) fail(begin, "a number goes on with letters; text needs quotes");
  const std::string_view digits = _text.substr(begin, _position - begin);
  std::uint64_t integer = 0;
  if (isInteger &&
      std::from_chars(digits.data(), digits.data() + digits.size(), integer).ec == std::errc()) {
    token.number = integer;
  } else {
    token.number = doubleFromText(digits);
  }
}

void Lexer::readPrefixedNumber(Token& token, unsigned base) {
  const std::size_t begin = _position;
  _position += 2;
  std::uint64_t number = 0;
  while (isWordPart(at(_position))) {
    const unsigned digit = digitValue(_text[_position++]);
    if (digit >= base) fail(begin, "a number holds a character that is no digit of its base");
    if (__builtin_mul_overflow(number, base, &number) ||
        __builtin_add_overflow(number, digit, &number)) {
      fail(begin, "a number has more than 64 bits");
    }
  }
  if (_position == begin + 2) fail(begin, "a number has no digits");
  token.number = number;
}

void Lexer::readText(Token& token) {
  token.kind = TokenKind::Text;
  const std::size_t begin = _position;
  const char quote = _text[_position++];
  while (at(_position) != quote || _position >= _text.size()) {
    if (_position >= _text.size()) fail(begin, "the text that begins here does not end");
    if (_text[_position] == '\\') {
      readEscape(token.text);
    } else {
      token.text += _text[_position++];
    }
  }
  ++_position;
}

void Lexer::readEscape(std::string& text) {
  const std::size_t begin = _position++;
  if (_position >= _text.size()) return;  // the text does not end, which its reader sees
  const char c = _text[_position];
  if (isOctalDigit(c)) {
    char32_t codePoint = 0;
    for (int i = 0; i < 3 && isOctalDigit(at(_position)); ++i) {
      codePoint = codePoint * 8 + digitValue(_text[_position++]);
    }
    return appendUTF8(text, codePoint);
  }
  ++_position;
  switch (c) {
    case 'x':
      return appendUTF8(text, readHexDigits(2));
    case 'u': {
      char32_t codePoint = readHexDigits(4);
      const bool isHigh = codePoint >= 0xD800 && codePoint < 0xDC00;
      if (isHigh && at(_position) == '\\' && at(_position + 1) == 'u') {
        const std::size_t second = _position;
        _position += 2;
        const char32_t low = readHexDigits(4);
        if (low >= 0xDC00 && low < 0xE000) {
          codePoint = 0x10000 + ((codePoint - 0xD800) << 10) + (low - 0xDC00);
        } else {
          _position = second;
        }
      }
      return appendUTF8(text, codePoint);
    }
    case 'n':
      text += '\n';
      return;
    case 't':
      text += '\t';
      return;
    case 'r':
      text += '\r';
      return;
    default:
      break;
  }
  // Every other character stands for itself, whole.
  _position = begin + 1;
  const std::size_t character = _position;
  nextCodePoint(_text, _position);
  text += _text.substr(character, _position - character);
}

char32_t Lexer::readHexDigits(std::size_t count) {
  char32_t codePoint = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const unsigned digit = digitValue(at(_position));
    if (digit > 15) fail(_position, "a hexadecimal digit was expected");
    codePoint = codePoint * 16 + digit;
    ++_position;
  }
  return codePoint;
}

void Lexer::readVariable(Token& token) {
  token.kind = TokenKind::Variable;
  const std::size_t begin = ++_position;
  if (!isWordStart(at(begin))) fail(begin, "the name of a variable was expected behind $");
  while (isWordPart(at(_position))) ++_position;
  token.text = _text.substr(begin, _position - begin);
}

void Lexer::readArgument(Token& token) {
  token.kind = TokenKind::Argument;
  const std::size_t begin = _position++;
  const auto skip = [&](std::string_view characters) {
    while (_position < _text.size() && characters.find(_text[_position]) != std::string::npos) {
      ++_position;
    }
  };
  // Flags, width, precision and size: the arguments know their types.
  skip("-+ #0123456789.");
  skip("hlqLzjt");
  token.conversion = at(_position);
  constexpr std::string_view known = "@KdDiuUxXoOcfFeEgGaAs";
  if (_position >= _text.size() || known.find(token.conversion) == std::string::npos) {
    fail(begin, "a percent sign is no argument of a known kind");
  }
  ++_position;
}

void Lexer::readSign(Token& token) {
  token.kind = TokenKind::Sign;
  struct Spelling {
    std::string_view text;
    TokenSign sign;
  };
  // The longer ones first.
  static constexpr Spelling spellings[] = {
      {"==", TokenSign::Equal},
      {"=<", TokenSign::LessOrEqual},
      {"=>", TokenSign::GreaterOrEqual},
      {"!=", TokenSign::NotEqual},
      {"<>", TokenSign::NotEqual},
      {"<=", TokenSign::LessOrEqual},
      {">=", TokenSign::GreaterOrEqual},
      {"**", TokenSign::Power},
      {"&&", TokenSign::And},
      {"||", TokenSign::Or},
      {"=", TokenSign::Equal},
      {"<", TokenSign::Less},
      {">", TokenSign::Greater},
      {"!", TokenSign::Not},
      {"(", TokenSign::OpenParenthesis},
      {")", TokenSign::CloseParenthesis},
      {"{", TokenSign::OpenBrace},
      {"}", TokenSign::CloseBrace},
      {"[", TokenSign::OpenBracket},
      {"]", TokenSign::CloseBracket},
      {",", TokenSign::Comma},
      {".", TokenSign::Dot},
      {"+", TokenSign::Plus},
      {"-", TokenSign::Minus},
      {"*", TokenSign::Times},
      {"/", TokenSign::Divide},
  };
  for (const auto& [text, sign] : spellings) {
    if (_text.substr(_position, text.size()) != text) continue;
    token.sign = sign;
    _position += text.size();
    return;
  }
  if (_text.substr(_position, 2) == ":=") fail(_position, "assignments are not supported");
  fail(_position, "a character that means nothing outside of quotes");
}

}  // namespace JNFoundation::impl
