#pragma once

#include <string>
#include <string_view>

#include <JNFoundation/platform/query/impl/Keywords.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation::inline v0_1::impl {

/// One word, sign or literal of a predicate format.
struct Token {
  enum class Kind : unsigned char {
    End,
    Word,      ///< an identifier; `keyword` says whether it is a keyword
    Selector,  ///< "modulus:by:"
    Operator,  ///< "@count"
    Text,      ///< a literal in quotes, its escapes resolved
    Number,
    Variable,  ///< `text` is the name without "$"
    Argument,  ///< `conversion` is what stands behind the percent sign
    Sign,      ///< `sign`
  };
  enum class Sign : unsigned char {
    None,
    OpenParenthesis,
    CloseParenthesis,
    OpenBrace,
    CloseBrace,
    OpenBracket,
    CloseBracket,
    Comma,
    Dot,
    Plus,
    Minus,
    Times,
    Divide,
    Power,
    Equal,
    NotEqual,
    Less,
    LessOrEqual,
    Greater,
    GreaterOrEqual,
    And,
    Or,
    Not,
  };

  Kind kind = Kind::End;
  Keyword keyword = Keyword::None;
  Sign sign = Sign::None;
  char conversion = 0;
  /// Where it begins and ends in the format, in bytes.
  std::size_t begin = 0;
  std::size_t end = 0;
  std::string text;
  Value number;

  bool is(Keyword word) const noexcept { return kind == Kind::Word && keyword == word; }
  bool is(Sign wanted) const noexcept { return kind == Kind::Sign && sign == wanted; }
};

/// Cuts a format into tokens.
class Lexer {
 public:
  explicit Lexer(const Ref<NSString>& format) : _format(format), _text(format->utf8()) {}

  /// Fails: see `fail`.
  Token next();

  /// What the format says between two bytes, for error texts.
  std::string_view spelling(const Token& token) const noexcept {
    return _text.substr(token.begin, token.end - token.begin);
  }

  /// Raises NSInvalidArgumentException: the format cannot be parsed, for this reason at this byte.
  [[noreturn]] void fail(std::size_t position, std::string_view reason) const;

 private:
  char at(std::size_t offset) const noexcept {
    return offset < _text.size() ? _text[offset] : '\0';
  }
  void skipWhiteSpace() noexcept;
  void readWord(Token& token);
  void readNumber(Token& token);
  void readPrefixedNumber(Token& token, unsigned base);
  void readText(Token& token);
  void readEscape(std::string& text);
  char32_t readHexDigits(std::size_t count);
  void readVariable(Token& token);
  void readArgument(Token& token);
  void readSign(Token& token);

  Ref<NSString> _format;
  std::string_view _text;
  std::size_t _position = 0;
};

}  // namespace JNFoundation::impl
