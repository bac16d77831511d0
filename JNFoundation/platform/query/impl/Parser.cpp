#include "JNFoundation/platform/query/impl/Parser.h"

#include <limits>
#include <utility>

#include <JNFoundation/platform/query/NSComparisonPredicate.h>
#include <JNFoundation/platform/query/NSCompoundPredicate.h>
#include <JNFoundation/platform/query/impl/Functions.h>
#include <JNFoundation/platform/query/impl/Lexer.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSNumber.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

using TokenKind = Token::Kind;
using TokenSign = Token::Sign;

/// How tightly what stands between two operands binds; a higher power binds tighter.
enum Power : int {
  noPower,
  orPower,
  andPower,
  comparisonPower,
  setPower,
  sumPower,
  productPower,
  powerPower
};

/// A piece of the format is a question or an expression; a parenthesis does not say which until it
/// has been read. Exactly one of both is there.
struct Operand {
  Ref<NSPredicate> predicate;
  Ref<NSExpression> expression;
};

/// Reads a format from left to right and never goes back; each operator waits for operands that
/// bind tighter than it does.
class Parser {
 public:
  Parser(const Ref<NSString>& format, std::span<const FormatArgument> arguments)
      : _lexer(format), _arguments(arguments), _token(_lexer.next()) {}

  Ref<NSPredicate> parsePredicate() {
    Operand operand = parse(orPower);
    requireEndAfter(operand);
    return predicateOf(std::move(operand), 0);
  }

  Ref<NSExpression> parseExpression() {
    Operand operand = parse(orPower);
    requireEndAfter(operand);
    return expressionOf(std::move(operand), 0);
  }

  [[noreturn]] void fail(std::string_view reason) const { _lexer.fail(_token.begin, reason); }

 private:
  /// One level deeper for as long as it lives.
  class Level {
   public:
    explicit Level(Parser& parser) : _parser(parser) {
      if (++parser._depth > maximumNestingOfPredicates) parser.fail("this is nested too deeply");
    }
    ~Level() { --_parser._depth; }
    Level(const Level&) = delete;

   private:
    Parser& _parser;
  };

  [[gnu::noinline]] void advance() { _token = _lexer.next(); }
  bool accept(TokenSign sign) {
    if (!_token.is(sign)) return false;
    advance();
    return true;
  }
  void expect(TokenSign sign, std::string_view reason) {
    if (!accept(sign)) fail(reason);
  }
  void requireEndAfter(const Operand& operand) const {
    if (_token.kind == TokenKind::End) return;
    fail(operand.predicate ? "AND, OR or the end was expected"
                           : "an operator such as == or IN was expected");
  }

  Ref<NSPredicate> predicateOf(Operand operand, std::size_t position) const {
    if (!operand.predicate) _lexer.fail(position, "a comparison was expected, not a mere value");
    return std::move(operand.predicate);
  }
  Ref<NSExpression> expressionOf(Operand operand, std::size_t position) const {
    if (!operand.expression) _lexer.fail(position, "a value was expected, not a comparison");
    return std::move(operand.expression);
  }
  Ref<NSPredicate> parsePredicate(Power power) {
    const std::size_t position = _token.begin;
    return predicateOf(parse(power), position);
  }
  Ref<NSExpression> parseExpression(Power power) {
    const std::size_t position = _token.begin;
    return expressionOf(parse(power), position);
  }

  // These call each other in turn for as many levels as there are. None is inlined, so that a level
  // takes up what its own functions need and not what all the others would.
  [[gnu::noinline]] Operand parse(Power power);
  Power powerOfToken() const;
  [[gnu::noinline]] Operand parseInfix(Operand left, std::size_t position);
  [[gnu::noinline]] Operand parsePrefix();
  [[gnu::noinline]] Operand parseNot();
  [[gnu::noinline]] Operand parseQuantified();
  [[gnu::noinline]] Operand parseNegative();
  [[gnu::noinline]] Operand parsePrimary();
  [[gnu::noinline]] Ref<NSExpression> parseLeaf();
  [[gnu::noinline]] Operand parseParenthesis();
  [[gnu::noinline]] Operand parseWord();
  [[gnu::noinline]] Operand parseKeyword();
  [[gnu::noinline]] Ref<NSExpression> parseKeywordExpression(const Token& word);
  [[gnu::noinline]] Ref<NSExpression> parsePostfix(Ref<NSExpression> expression);

  [[gnu::noinline]] Ref<NSPredicate> parseCompound(NSCompoundPredicateType type,
                                                   Ref<NSPredicate> first);
  [[gnu::noinline]] Ref<NSPredicate> parseComparison(Ref<NSExpression> left,
                                                     NSComparisonPredicateModifier modifier);
  NSPredicateOperatorType parseOperator();
  NSComparisonPredicateOptions parseOptions();
  [[gnu::noinline]] Ref<NSExpression> parseArithmetic(Ref<NSExpression> left);
  [[gnu::noinline]] Ref<NSExpression> parseSetExpression(Ref<NSExpression> left);

  std::string parseKeys(std::string keys);
  [[gnu::noinline]] Ref<NSArray> parseList(TokenSign end);
  [[gnu::noinline]] Ref<NSExpression> parseIndex(Ref<NSExpression> container);
  [[gnu::noinline]] Ref<NSExpression> parseCall(const Token& name);
  [[gnu::noinline]] Ref<NSExpression> parseSubquery();
  [[gnu::noinline]] Ref<NSExpression> parseCast();
  [[gnu::noinline]] Ref<NSExpression> parseSelectorCall();
  [[gnu::noinline]] Ref<NSExpression> parseConditional();

  const FormatArgument& takeArgument();
  Ref<NSExpression> parseArgument();
  std::string takeKeyPathArgument();
  static bool isText(const FormatArgument& argument);
  static std::string_view textOf(const FormatArgument& argument);

  static Ref<NSExpression> constant(const Value& value) {
    return NSExpression::expressionForConstantValue(value);
  }

  Lexer _lexer;
  std::span<const FormatArgument> _arguments;
  std::size_t _nextArgument = 0;
  Token _token;
  unsigned _depth = 0;
};

Operand Parser::parse(Power power) {
  const std::size_t position = _token.begin;
  Operand left = parsePrefix();
  while (powerOfToken() >= power) left = parseInfix(std::move(left), position);
  return left;
}

Power Parser::powerOfToken() const {
  if (_token.kind == TokenKind::Sign) {
    switch (_token.sign) {
      case TokenSign::Or:
        return orPower;
      case TokenSign::And:
        return andPower;
      case TokenSign::Equal:
      case TokenSign::NotEqual:
      case TokenSign::Less:
      case TokenSign::LessOrEqual:
      case TokenSign::Greater:
      case TokenSign::GreaterOrEqual:
        return comparisonPower;
      case TokenSign::Plus:
      case TokenSign::Minus:
        return sumPower;
      case TokenSign::Times:
      case TokenSign::Divide:
        return productPower;
      case TokenSign::Power:
        return powerPower;
      default:
        return noPower;
    }
  }
  if (_token.kind != TokenKind::Word) return noPower;
  switch (_token.keyword) {
    case Keyword::Or:
      return orPower;
    case Keyword::And:
      return andPower;
    case Keyword::In:
    case Keyword::Like:
    case Keyword::Matches:
    case Keyword::Contains:
    case Keyword::BeginsWith:
    case Keyword::EndsWith:
    case Keyword::Between:
    case Keyword::UTIConformsTo:
    case Keyword::UTIEquals:
      return comparisonPower;
    case Keyword::Union:
    case Keyword::Intersect:
    case Keyword::Minus:
      return setPower;
    default:
      return noPower;
  }
}

Operand Parser::parseInfix(Operand left, std::size_t position) {
  switch (powerOfToken()) {
    case orPower:
      return {parseCompound(NSOrPredicateType, predicateOf(std::move(left), position)), nullptr};
    case andPower:
      return {parseCompound(NSAndPredicateType, predicateOf(std::move(left), position)), nullptr};
    case comparisonPower:
      return {parseComparison(expressionOf(std::move(left), position), NSDirectPredicateModifier),
              nullptr};
    case setPower:
      return {nullptr, parseSetExpression(expressionOf(std::move(left), position))};
    default:
      return {nullptr, parseArithmetic(expressionOf(std::move(left), position))};
  }
}

Ref<NSPredicate> Parser::parseCompound(NSCompoundPredicateType type, Ref<NSPredicate> first) {
  const Power power = powerOfToken();
  std::vector<Value> predicates{std::move(first)};
  while (powerOfToken() == power) {
    advance();
    predicates.emplace_back(parsePredicate(static_cast<Power>(power + 1)));
  }
  return NSCompoundPredicate::initWithTypeSubpredicates(
      type, NSArray::arrayWithValues(std::move(predicates)));
}

Ref<NSPredicate> Parser::parseComparison(Ref<NSExpression> left,
                                         NSComparisonPredicateModifier modifier) {
  const NSPredicateOperatorType type = parseOperator();
  const NSComparisonPredicateOptions options = parseOptions();
  Ref<NSExpression> right = parseExpression(setPower);
  return NSComparisonPredicate::predicateWithLeftExpressionRightExpressionModifierTypeOptions(
      left, right, modifier, type, options);
}

NSPredicateOperatorType Parser::parseOperator() {
  static constexpr std::pair<TokenSign, NSPredicateOperatorType> signs[] = {
      {TokenSign::Equal, NSEqualToPredicateOperatorType},
      {TokenSign::NotEqual, NSNotEqualToPredicateOperatorType},
      {TokenSign::Less, NSLessThanPredicateOperatorType},
      {TokenSign::LessOrEqual, NSLessThanOrEqualToPredicateOperatorType},
      {TokenSign::Greater, NSGreaterThanPredicateOperatorType},
      {TokenSign::GreaterOrEqual, NSGreaterThanOrEqualToPredicateOperatorType},
  };
  static constexpr std::pair<Keyword, NSPredicateOperatorType> words[] = {
      {Keyword::In, NSInPredicateOperatorType},
      {Keyword::Like, NSLikePredicateOperatorType},
      {Keyword::Matches, NSMatchesPredicateOperatorType},
      {Keyword::Contains, NSContainsPredicateOperatorType},
      {Keyword::BeginsWith, NSBeginsWithPredicateOperatorType},
      {Keyword::EndsWith, NSEndsWithPredicateOperatorType},
      {Keyword::Between, NSBetweenPredicateOperatorType},
  };
  for (const auto& [sign, type] : signs) {
    if (accept(sign)) return type;
  }
  for (const auto& [keyword, type] : words) {
    if (!_token.is(keyword)) continue;
    advance();
    return type;
  }
  if (_token.is(Keyword::UTIConformsTo) || _token.is(Keyword::UTIEquals)) {
    fail("uniform type identifiers are not supported");
  }
  fail("an operator such as == or IN was expected");
}

NSComparisonPredicateOptions Parser::parseOptions() {
  NSComparisonPredicateOptions options{};
  if (!accept(TokenSign::OpenBracket)) return options;
  if (_token.kind != TokenKind::Word) fail("options such as c or d were expected");
  for (const char letter : _token.text) {
    switch (letter) {
      case 'c':
      case 'C':
        options = options | NSCaseInsensitivePredicateOption;
        break;
      case 'd':
      case 'D':
        options = options | NSDiacriticInsensitivePredicateOption;
        break;
      case 'n':
      case 'N':
        options = options | NSNormalizedPredicateOption;
        break;
      case 'l':
      case 'L':
        options = options | NSLocaleSensitivePredicateOption;
        break;
      default:
        fail("the options are c, d, n and l");
    }
  }
  advance();
  expect(TokenSign::CloseBracket, "] was expected behind the options");
  return options;
}

Ref<NSExpression> Parser::parseArithmetic(Ref<NSExpression> left) {
  const TokenSign sign = _token.sign;
  const Power power = powerOfToken();
  advance();
  Ref<NSExpression> right;
  if (power == powerPower) {
    // The power of a power belongs to the right: 2 ** 3 ** 2 is 2 ** 9.
    const Level level(*this);
    right = parseExpression(powerPower);
  } else {
    right = parseExpression(static_cast<Power>(power + 1));
  }
  const char* function = sign == TokenSign::Plus     ? "add:to:"
                         : sign == TokenSign::Minus  ? "from:subtract:"
                         : sign == TokenSign::Times  ? "multiply:by:"
                         : sign == TokenSign::Divide ? "divide:by:"
                                                     : "raise:toPower:";
  return NSExpression::expressionForFunctionArguments(function,
                                                      NSArray::arrayWithObjects(left, right));
}

Ref<NSExpression> Parser::parseSetExpression(Ref<NSExpression> left) {
  const Keyword keyword = _token.keyword;
  advance();
  Ref<NSExpression> right = parseExpression(sumPower);
  if (keyword == Keyword::Union) return NSExpression::expressionForUnionSetWith(left, right);
  if (keyword == Keyword::Intersect) {
    return NSExpression::expressionForIntersectSetWith(left, right);
  }
  return NSExpression::expressionForMinusSetWith(left, right);
}

Operand Parser::parsePrefix() {
  if (_token.is(TokenSign::Not) || _token.is(Keyword::Not)) return parseNot();
  if (_token.is(TokenSign::Minus)) return parseNegative();
  if (_token.kind == TokenKind::Word) {
    switch (_token.keyword) {
      case Keyword::Any:
      case Keyword::Some:
      case Keyword::All:
      case Keyword::None_:
        return parseQuantified();
      default:
        break;
    }
  }
  return parsePrimary();
}

Operand Parser::parseNot() {
  const Level level(*this);
  advance();
  return {NSCompoundPredicate::notPredicateWithSubpredicate(parsePredicate(comparisonPower)),
          nullptr};
}

Operand Parser::parseQuantified() {
  const Keyword quantifier = _token.keyword;
  advance();
  Ref<NSExpression> left = parseExpression(setPower);
  Ref<NSPredicate> predicate =
      parseComparison(std::move(left),
                      quantifier == Keyword::All ? NSAllPredicateModifier : NSAnyPredicateModifier);
  if (quantifier == Keyword::None_) {
    predicate = NSCompoundPredicate::notPredicateWithSubpredicate(predicate);
  }
  return {std::move(predicate), nullptr};
}

Operand Parser::parseNegative() {
  const Level level(*this);
  advance();
  const bool isLiteral = _token.kind == TokenKind::Number;
  Ref<NSExpression> operand = parseExpression(powerPower);
  if (isLiteral && operand->expressionType() == NSConstantValueExpressionType) {
    const Value number = operand->constantValue();
    if (number.kind() == Value::Kind::Integer) return {nullptr, constant(-number.longLongValue())};
    // The lowest integer is one further from zero than the highest.
    constexpr std::uint64_t lowest = std::uint64_t{1} << 63;
    if (number.kind() == Value::Kind::Unsigned && number.unsignedLongLongValue() == lowest) {
      return {nullptr, constant(std::numeric_limits<std::int64_t>::min())};
    }
    return {nullptr, constant(-number.doubleValue())};
  }
  return {nullptr, NSExpression::expressionForFunctionArguments(
                       "from:subtract:", NSArray::arrayWithObjects(constant(0), operand))};
}

Operand Parser::parsePrimary() {
  switch (_token.kind) {
    case TokenKind::Word:
    case TokenKind::Selector:
      return parseWord();
    case TokenKind::Operator:
    case TokenKind::Text:
    case TokenKind::Number:
    case TokenKind::Variable:
    case TokenKind::Argument:
      return {nullptr, parsePostfix(parseLeaf())};
    case TokenKind::Sign:
      if (_token.sign == TokenSign::OpenParenthesis) return parseParenthesis();
      if (_token.sign == TokenSign::OpenBrace) {
        const Level level(*this);
        advance();
        return {
            nullptr,
            parsePostfix(NSExpression::expressionForAggregate(parseList(TokenSign::CloseBrace)))};
      }
      break;
    case TokenKind::End:
      break;
  }
  fail("a value or a comparison was expected");
}

/// What has no parts.
Ref<NSExpression> Parser::parseLeaf() {
  if (_token.kind == TokenKind::Argument) return parseArgument();
  const Token token = std::exchange(_token, {});
  advance();
  switch (token.kind) {
    case TokenKind::Text:
      return constant(token.text);
    case TokenKind::Number:
      return constant(token.number);
    case TokenKind::Variable:
      return NSExpression::expressionForVariable(token.text);
    default:
      return NSExpression::expressionForKeyPath(parseKeys(token.text));
  }
}

Operand Parser::parseParenthesis() {
  const Level level(*this);
  advance();
  Operand inner = parse(orPower);
  expect(TokenSign::CloseParenthesis, ") was expected");
  if (inner.expression) inner.expression = parsePostfix(std::move(inner.expression));
  return inner;
}

Operand Parser::parseWord() {
  if (isReserved(_token.keyword)) return parseKeyword();
  const Token name = _token;
  advance();
  if (_token.is(TokenSign::OpenParenthesis)) {
    const Level level(*this);
    if (name.keyword == Keyword::Function) return {nullptr, parsePostfix(parseSelectorCall())};
    if (name.keyword == Keyword::Ternary) return {nullptr, parsePostfix(parseConditional())};
    return {nullptr, parsePostfix(parseCall(name))};
  }
  if (name.kind == TokenKind::Selector) fail("( was expected behind the name of a function");
  return {nullptr, parsePostfix(NSExpression::expressionForKeyPath(parseKeys(name.text)))};
}

Operand Parser::parseKeyword() {
  const Token word = _token;
  advance();
  if (word.keyword == Keyword::TruePredicate || word.keyword == Keyword::FalsePredicate) {
    return {NSPredicate::predicateWithValue(word.keyword == Keyword::TruePredicate), nullptr};
  }
  return {nullptr, parsePostfix(parseKeywordExpression(word))};
}

Ref<NSExpression> Parser::parseKeywordExpression(const Token& word) {
  switch (word.keyword) {
    case Keyword::Null:
    case Keyword::Nil:
      return constant(nullptr);
    case Keyword::True:
    case Keyword::Yes:
      return constant(true);
    case Keyword::False:
    case Keyword::No:
      return constant(false);
    case Keyword::Self:
      return NSExpression::expressionForEvaluatedObject();
    case Keyword::AnyKey:
      return NSExpression::expressionForAnyKey();
    case Keyword::Subquery: {
      const Level level(*this);
      return parseSubquery();
    }
    case Keyword::Cast: {
      const Level level(*this);
      return parseCast();
    }
    case Keyword::Fetch:
      _lexer.fail(word.begin, "FETCH is not supported");
    default:
      _lexer.fail(word.begin, "a reserved word; as a key it is written with # before it");
  }
}

Ref<NSExpression> Parser::parsePostfix(Ref<NSExpression> expression) {
  for (;;) {
    if (_token.is(TokenSign::OpenBracket)) {
      const Level level(*this);
      expression = parseIndex(std::move(expression));
    } else if (_token.is(TokenSign::Dot)) {
      const Ref<NSString> keys = NSString::fromText(parseKeys({}));
      expression = NSExpression::expressionForKeyPathOfOperand(keys, expression);
    } else {
      return expression;
    }
  }
}

/// The keys so far and all that follow, each behind a dot.
std::string Parser::parseKeys(std::string keys) {
  while (accept(TokenSign::Dot)) {
    if (!keys.empty()) keys += '.';
    if (_token.kind == TokenKind::Argument && _token.conversion == 'K') {
      keys += takeKeyPathArgument();
      continue;
    }
    // Behind a dot only a key can stand, so a keyword is one too.
    if (_token.kind != TokenKind::Word && _token.kind != TokenKind::Operator)
      fail("a key was expected");
    keys += _token.text;
    advance();
  }
  return keys;
}

Ref<NSArray> Parser::parseList(TokenSign end) {
  std::vector<Value> expressions;
  if (!accept(end)) {
    do {
      expressions.emplace_back(parseExpression(setPower));
    } while (accept(TokenSign::Comma));
    expect(end, end == TokenSign::CloseBrace ? ", or } was expected" : ", or ) was expected");
  }
  return NSArray::arrayWithValues(std::move(expressions));
}

Ref<NSExpression> Parser::parseIndex(Ref<NSExpression> container) {
  advance();
  Ref<NSExpression> index;
  if (_token.is(Keyword::First)) {
    index = constant(valueOfIndexWord(IndexWord::First));
  } else if (_token.is(Keyword::Last)) {
    index = constant(valueOfIndexWord(IndexWord::Last));
  } else if (_token.is(Keyword::Size)) {
    index = constant(valueOfIndexWord(IndexWord::Size));
  }
  if (index) {
    advance();
  } else {
    index = parseExpression(setPower);
  }
  expect(TokenSign::CloseBracket, "] was expected");
  return NSExpression::expressionForFunctionArguments("objectFrom:withIndex:",
                                                      NSArray::arrayWithObjects(container, index));
}

Ref<NSExpression> Parser::parseCall(const Token& name) {
  advance();
  const Ref<NSArray> arguments = parseList(TokenSign::CloseParenthesis);
  const Function* function = functionForCall(name.text, arguments->count());
  if (!function) {
    _lexer.fail(name.begin, isNameOfFunction(name.text)
                                ? "the function does not take that many arguments"
                                : "there is no function of that name");
  }
  return NSExpression::expressionForFunctionArguments(NSString::fromText(function->selector),
                                                      arguments);
}

Ref<NSExpression> Parser::parseSubquery() {
  expect(TokenSign::OpenParenthesis, "( was expected behind SUBQUERY");
  Ref<NSExpression> collection = parseExpression(setPower);
  expect(TokenSign::Comma, ", was expected");
  if (_token.kind != TokenKind::Variable) fail("a variable was expected");
  const Ref<NSString> variable = _token.text;
  advance();
  expect(TokenSign::Comma, ", was expected");
  Ref<NSPredicate> predicate = parsePredicate(orPower);
  expect(TokenSign::CloseParenthesis, ") was expected");
  return NSExpression::expressionForSubqueryUsingIteratorVariablePredicate(collection, variable,
                                                                           predicate);
}

Ref<NSExpression> Parser::parseCast() {
  expect(TokenSign::OpenParenthesis, "( was expected behind CAST");
  Ref<NSExpression> operand = parseExpression(setPower);
  expect(TokenSign::Comma, ", was expected");
  Ref<NSExpression> type = parseExpression(setPower);
  expect(TokenSign::CloseParenthesis, ") was expected");
  const bool areConstant = operand->expressionType() == NSConstantValueExpressionType &&
                           type->expressionType() == NSConstantValueExpressionType;
  if (areConstant) {
    const Value value = operand->constantValue(), name = type->constantValue();
    // How dates and decimal numbers are written.
    if (name == Value("NSDate") && value.isNumber()) {
      return constant(NSDate::dateWithTimeIntervalSinceReferenceDate(value.doubleValue()));
    }
    if (name == Value("NSDecimalNumber") && value.isString()) {
      return constant(NSDecimalNumber::decimalNumberWithValue(value));
    }
  }
  return NSExpression::expressionForFunctionArguments("castObject:toType:",
                                                      NSArray::arrayWithObjects(operand, type));
}

Ref<NSExpression> Parser::parseSelectorCall() {
  advance();
  Ref<NSExpression> target = parseExpression(setPower);
  expect(TokenSign::Comma, ", was expected");
  const std::size_t position = _token.begin;
  const Ref<NSExpression> name = parseExpression(setPower);
  if (name->expressionType() != NSConstantValueExpressionType ||
      !name->constantValue().isString()) {
    _lexer.fail(position, "the name of a selector was expected");
  }
  Ref<NSArray> arguments = NSArray::array();
  if (accept(TokenSign::Comma)) {
    arguments = parseList(TokenSign::CloseParenthesis);
  } else {
    expect(TokenSign::CloseParenthesis, ", or ) was expected");
  }
  return NSExpression::expressionForFunctionSelectorNameArguments(
      target, as<NSString>(name->constantValue()), arguments);
}

Ref<NSExpression> Parser::parseConditional() {
  advance();
  Ref<NSPredicate> predicate = parsePredicate(orPower);
  expect(TokenSign::Comma, ", was expected");
  Ref<NSExpression> trueExpression = parseExpression(setPower);
  expect(TokenSign::Comma, ", was expected");
  Ref<NSExpression> falseExpression = parseExpression(setPower);
  expect(TokenSign::CloseParenthesis, ") was expected");
  return NSExpression::expressionForConditionalTrueExpressionFalseExpression(
      predicate, trueExpression, falseExpression);
}

const FormatArgument& Parser::takeArgument() {
  if (_nextArgument == _arguments.size()) fail("there is no argument for this");
  return _arguments[_nextArgument++];
}

bool Parser::isText(const FormatArgument& argument) {
  return argument.kind() == FormatArgument::Kind::Text || argument.value().isString();
}

std::string_view Parser::textOf(const FormatArgument& argument) {
  if (argument.kind() == FormatArgument::Kind::Text) return argument.text();
  return as<NSString>(argument.value())->utf8();
}

Ref<NSExpression> Parser::parseArgument() {
  if (_token.conversion == 'K') {
    return NSExpression::expressionForKeyPath(parseKeys(takeKeyPathArgument()));
  }
  const FormatArgument& argument = takeArgument();
  Ref<NSExpression> expression;
  switch (_token.conversion) {
    case '@':
      if (isText(argument)) {
        expression = constant(textOf(argument));
      } else if (argument.kind() == FormatArgument::Kind::Pointer && argument.pointer()) {
        fail("the argument is an address, not a value");
      } else if (isKindOf<NSPredicate>(argument.value())) {
        fail("the argument is a predicate, which cannot stand for a value");
      } else if (Ref<NSExpression> given = as<NSExpression>(argument.value())) {
        expression = std::move(given);
      } else {
        expression = constant(argument.value());
      }
      break;
    case 's':
      if (!isText(argument)) fail("the argument is no text");
      expression = constant(textOf(argument));
      break;
    default:
      if (!argument.value().isNumber()) fail("the argument is no number");
      expression = constant(argument.value());
      if (std::string_view("fFeEgGaA").find(_token.conversion) != std::string::npos &&
          !argument.value().isObject()) {
        expression = constant(argument.value().doubleValue());
      }
      break;
  }
  advance();
  return expression;
}

std::string Parser::takeKeyPathArgument() {
  const FormatArgument& argument = takeArgument();
  if (!isText(argument)) fail("the argument is no key path");
  advance();
  return std::string(textOf(argument));
}

/// What the trees refuse (their depth, a key path with too many operators) is a format that cannot
/// be parsed as well.
template <class Parse>
auto parsed(const Ref<NSString>& format, std::span<const FormatArgument> arguments, Parse parse) {
  if (!format) {
    raise(NSInvalidArgumentException, "Unable to parse the format string \"(null)\"");
  }
  std::optional<Parser> parser;
  try {
    parser.emplace(format, arguments);
    return parse(*parser);
  } catch (const Raised& raised) {
    const NSException& exception = *raised.exception();
    if (!parser || exception.userInfo()) throw;
    parser->fail(exception.reason()->utf8());
  }
}

}  // namespace

Ref<NSPredicate> parsePredicate(const Ref<NSString>& format,
                                std::span<const FormatArgument> arguments) {
  return parsed(format, arguments, [](Parser& parser) { return parser.parsePredicate(); });
}

Ref<NSExpression> parseExpression(const Ref<NSString>& format,
                                  std::span<const FormatArgument> arguments) {
  return parsed(format, arguments, [](Parser& parser) { return parser.parseExpression(); });
}

}  // namespace JNFoundation::impl
