#pragma once

#include <cmath>
#include <limits>
#include <optional>
#include <platform/query/NaiveText.h>
#include <string>
#include <vector>

#include <JNFoundation/platform/query/NSComparisonPredicate.h>
#include <JNFoundation/platform/query/NSCompoundPredicate.h>
#include <JNFoundation/platform/query/NSExpression.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::testing::naive {

/// Answers predicates once more, by the plainest code that follows their rules: walks the tree that
/// others see, reads keys by itself, keeps nothing ready, compares each time from the beginning. It
/// shares with the library only values, collections and the properties of objects that are no
/// dictionaries. What it has no rule for is an Unknown.
class Evaluator {
 public:
  /// What the library refuses by raising an exception.
  struct Refusal {};

  explicit Evaluator(const Ref<NSDictionary>& variables = nullptr) : _variables(variables) {}

  bool holds(const NSPredicate& predicate, const Value& object) const {
    return holds(predicate, object, nullptr);
  }

  /// "yes", "no", "raises", or "unknown".
  std::string answer(const NSPredicate& predicate, const Value& object) const {
    try {
      return holds(predicate, object) ? "yes" : "no";
    } catch (const Refusal&) {
      return "raises";
    } catch (const Unknown&) {
      return "unknown";
    }
  }

 private:
  enum class Sort { Null, Number, Text, Date, Array, Set, OrderedSet, Dictionary, Other };

  /// A variable of a subquery around.
  struct Scope {
    std::string name;
    Value value;
    const Scope* outer;
  };

  using Values = std::vector<Value>;
  using Keys = std::vector<std::string>;

  // Values

  static Sort sortOf(const Value& value) {
    if (value.isNull() || value.isNSNull()) return Sort::Null;
    if (value.isNumber()) return Sort::Number;
    if (value.isString()) return Sort::Text;
    if (value.isDate()) return Sort::Date;
    if (isKindOf<NSArray>(value)) return Sort::Array;
    if (isKindOf<NSSet>(value)) return Sort::Set;
    if (isKindOf<NSOrderedSet>(value)) return Sort::OrderedSet;
    return isKindOf<NSDictionary>(value) ? Sort::Dictionary : Sort::Other;
  }
  static bool isNothing(const Value& value) { return sortOf(value) == Sort::Null; }
  static bool isCollection(const Value& value) {
    const Sort sort = sortOf(value);
    return sort == Sort::Array || sort == Sort::Set || sort == Sort::OrderedSet;
  }

  static Values membersOf(const Value& collection) {
    Values members;
    const auto add = [&](const auto& all) {
      for (const Value& member : all) members.push_back(member);
    };
    if (const auto* array = as<NSArray>(collection)) add(*array);
    if (const auto* set = as<NSSet>(collection)) add(*set);
    if (const auto* ordered = as<NSOrderedSet>(collection)) add(*ordered);
    if (const auto* dictionary = as<NSDictionary>(collection)) add(dictionary->allValues());
    return members;
  }

  static bool contains(const Values& values, const Value& wanted) {
    return std::any_of(values.begin(), values.end(),
                       [&](const Value& value) { return areEqual(value, wanted, {}); });
  }
  static Values distinct(const Values& values) {
    Values once;
    for (const Value& value : values) {
      if (!contains(once, value)) once.push_back(value);
    }
    return once;
  }
  static Value arrayOf(Values values) {
    for (Value& value : values) value = orNSNull(value);
    return NSArray::arrayWithValues(std::move(values));
  }
  /// A set leaves out null, and what is in it already.
  static Value collectionOf(Sort sort, Values values) {
    if (sort == Sort::Array) return arrayOf(std::move(values));
    std::erase_if(values, [](const Value& value) { return value.isNull(); });
    if (sort == Sort::Set) return NSSet::setWithValues(distinct(values));
    return NSOrderedSet::orderedSetWithValues(distinct(values));
  }

  /// Holds every 64-bit integer and every double exactly.
  static long double numberOf(const Value& value) {
    static_assert(std::numeric_limits<long double>::digits >= 64);
    if (isKindOf<NSDecimalNumber>(value) || std::isnan(value.doubleValue())) throw Unknown();
    if (value.kind() == Value::Kind::Unsigned) return value.unsignedLongLongValue();
    return isInteger(value) ? static_cast<long double>(value.longLongValue()) : value.doubleValue();
  }
  static bool isInteger(const Value& value) {
    return value.kind() == Value::Kind::Integer || value.kind() == Value::Kind::Boolean;
  }
  static Text textOf(const Value& value) { return codePoints(as<NSString>(value)->utf8()); }

  // Comparisons

  struct Folding {
    bool anyCase = false;
    bool anyMarks = false;
    Text operator()(const Text& text) const { return folded(text, anyCase, anyMarks); }
  };
  static Folding foldingOf(NSComparisonPredicateOptions options) {
    if (options & NSNormalizedPredicateOption) return {};
    return {(options & NSCaseInsensitivePredicateOption) != 0,
            (options & NSDiacriticInsensitivePredicateOption) != 0};
  }

  static bool areEqual(const Value& left, const Value& right, Folding folding) {
    const Sort sort = sortOf(left);
    if (sort != sortOf(right)) return false;
    switch (sort) {
      case Sort::Null:
        return true;
      case Sort::Number:
        return numberOf(left) == numberOf(right);
      case Sort::Text:
        return folding(textOf(left)) == folding(textOf(right));
      case Sort::Date:
        return left.timeIntervalSince1970() == right.timeIntervalSince1970();
      case Sort::Array:
      case Sort::OrderedSet: {
        const Values one = membersOf(left), other = membersOf(right);
        return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                          [](const Value& l, const Value& r) { return areEqual(l, r, {}); });
      }
      case Sort::Set: {
        const Values one = membersOf(left), other = membersOf(right);
        return one.size() == other.size() &&
               std::all_of(one.begin(), one.end(),
                           [&](const Value& member) { return contains(other, member); });
      }
      case Sort::Dictionary: {
        const auto* one = as<NSDictionary>(left);
        const auto* other = as<NSDictionary>(right);
        if (one->count() != other->count()) return false;
        for (const auto& [key, value] : *one) {
          const Value* found = other->find(key);
          if (!found || !areEqual(value, *found, {})) return false;
        }
        return true;
      }
      case Sort::Other:
        return left.object() == right.object();
    }
    return false;
  }

  /// Below 0, 0 or above it; nothing where there is no order.
  static std::optional<int> order(const Value& left, const Value& right, Folding folding) {
    if (isNothing(left) || isNothing(right)) return std::nullopt;
    const Sort sort = sortOf(left);
    if (sort == Sort::Other) throw Unknown();
    if (sort > Sort::Date) throw Refusal();
    if (sort != sortOf(right)) return std::nullopt;
    const auto compare = [](const auto& l, const auto& r) { return l < r ? -1 : l > r; };
    if (sort == Sort::Number) return compare(numberOf(left), numberOf(right));
    if (sort == Sort::Text) return compare(folding(textOf(left)), folding(textOf(right)));
    return compare(left.timeIntervalSince1970(), right.timeIntervalSince1970());
  }
  /// As a sort needs it: values without a common order are refused.
  static int orderOrRefusal(const Value& left, const Value& right) {
    const std::optional<int> known = order(left, right, {});
    if (!known) throw Refusal();
    return *known;
  }

  static bool isMember(const Value& element, const Value& container, Folding folding) {
    if (isNothing(container)) return false;
    if (sortOf(container) == Sort::Text) {
      if (isNothing(element)) return false;
      if (sortOf(element) != Sort::Text) throw Refusal();
      return folding(textOf(container)).find(folding(textOf(element))) != Text::npos;
    }
    if (!isCollection(container) && sortOf(container) != Sort::Dictionary) throw Refusal();
    const Values members = membersOf(container);
    return std::any_of(members.begin(), members.end(),
                       [&](const Value& member) { return areEqual(member, element, folding); });
  }

  static bool compareTexts(NSPredicateOperatorType type, const Value& left, const Value& right,
                           Folding folding) {
    if (isNothing(left) || isNothing(right)) return false;
    if (sortOf(left) != Sort::Text || sortOf(right) != Sort::Text) throw Refusal();
    const bool isPattern =
        type == NSLikePredicateOperatorType || type == NSMatchesPredicateOperatorType;
    for (const Text& text : {textOf(left), textOf(right)}) {
      // How wildcards and expressions take a letter of several parts is a chapter of its own.
      const bool hasParts = (folding.anyCase && text.find(sharpS) != Text::npos) ||
                            (type == NSMatchesPredicateOperatorType && folding.anyCase &&
                             std::any_of(text.begin(), text.end(), isMark));
      if (isPattern && hasParts) throw Unknown();
    }
    const Text text = folding(textOf(left)), part = folding(textOf(right));
    switch (type) {
      case NSBeginsWithPredicateOperatorType:
        return text.substr(0, part.size()) == part;
      case NSEndsWithPredicateOperatorType:
        return text.size() >= part.size() && text.substr(text.size() - part.size()) == part;
      case NSLikePredicateOperatorType:
        return isLike(text, part);
      default:
        return matches(text, part);
    }
  }

  static bool compare(NSPredicateOperatorType type, const Value& left, const Value& right,
                      Folding folding) {
    switch (type) {
      case NSEqualToPredicateOperatorType:
        return areEqual(left, right, folding);
      case NSNotEqualToPredicateOperatorType:
        return !areEqual(left, right, folding);
      case NSLessThanPredicateOperatorType:
        return order(left, right, folding).value_or(1) < 0;
      case NSLessThanOrEqualToPredicateOperatorType:
        return order(left, right, folding).value_or(1) <= 0;
      case NSGreaterThanPredicateOperatorType:
        return order(left, right, folding).value_or(-1) > 0;
      case NSGreaterThanOrEqualToPredicateOperatorType:
        return order(left, right, folding).value_or(-1) >= 0;
      case NSInPredicateOperatorType:
        return isMember(left, right, folding);
      case NSContainsPredicateOperatorType:
        return isMember(right, left, folding);
      case NSBetweenPredicateOperatorType: {
        if (isNothing(right)) return false;
        const Values bounds = membersOf(right);
        if (sortOf(right) != Sort::Array || bounds.size() != 2) throw Refusal();
        return order(left, bounds[0], folding).value_or(-1) >= 0 &&
               order(left, bounds[1], folding).value_or(1) <= 0;
      }
      case NSCustomSelectorPredicateOperatorType:
        throw Unknown();
      default:
        return compareTexts(type, left, right, folding);
    }
  }

  // Predicates

  bool holds(const NSPredicate& predicate, const Value& object, const Scope* scope) const {
    if (const std::optional<bool> answer = predicate.constantAnswer()) return *answer;
    if (isKindOf<NSCompoundPredicate>(predicate)) {
      const auto& compound = static_cast<const NSCompoundPredicate&>(predicate);
      const NSCompoundPredicateType type = compound.compoundPredicateType();
      for (const Value& part : *compound.subpredicates()) {
        const bool answer = holds(*as<NSPredicate>(part), object, scope);
        if (type == NSNotPredicateType) return !answer;
        if (answer == (type == NSOrPredicateType)) return answer;
      }
      return type == NSAndPredicateType;
    }
    if (!isKindOf<NSComparisonPredicate>(predicate)) throw Unknown();
    return comparisonHolds(static_cast<const NSComparisonPredicate&>(predicate), object, scope);
  }

  bool comparisonHolds(const NSComparisonPredicate& predicate, const Value& object,
                       const Scope* scope) const {
    const NSPredicateOperatorType type = predicate.predicateOperatorType();
    const Folding folding = foldingOf(predicate.options());
    const NSExpression& left = *predicate.leftExpression();
    const NSExpression& right = *predicate.rightExpression();
    const auto rightValue = [&] {
      return type == NSInPredicateOperatorType ? containerOf(right, object, scope)
                                               : valueOf(right, object, scope);
    };
    if (predicate.comparisonPredicateModifier() == NSDirectPredicateModifier) {
      const Value leftValue = type == NSContainsPredicateOperatorType
                                  ? containerOf(left, object, scope)
                                  : valueOf(left, object, scope);
      return compare(type, leftValue, rightValue(), folding);
    }
    const std::optional<Values> members = singleValuesOf(left, object, scope);
    if (!members) throw Refusal();
    const bool all = predicate.comparisonPredicateModifier() == NSAllPredicateModifier;
    for (const Value& member : *members) {
      if (compare(type, member, rightValue(), folding) != all) return !all;
    }
    return all;
  }

  // Key paths

  static Keys keysOf(std::string_view path) {
    Keys keys(1);
    for (const char c : path) {
      if (c == '.') {
        keys.emplace_back();
      } else {
        keys.back() += c;
      }
    }
    return keys;
  }
  static bool isOperator(const std::string& key) { return !key.empty() && key[0] == '@'; }

  static Value valueForKey(const Value& object, const std::string& key) {
    if (isNothing(object)) return object;
    if (isCollection(object)) return mapped(object, {key}, 0);
    if (const auto* dictionary = as<NSDictionary>(object)) {
      if (!isOperator(key)) return dictionary->objectForKey(Value(key));
      if (key == "@count") return dictionary->count();
      throw Refusal();
    }
    if (!object.isObject() || object.isString() || isOperator(key)) throw Refusal();
    try {
      return as<NSObject>(object)->valueForKey(key);
    } catch (const Raised&) {
      throw Refusal();
    }
  }

  /// What the keys from one on lead to in every member, nested as the members are.
  static Value mapped(const Value& collection, const Keys& keys, std::size_t from) {
    Values values;
    for (const Value& member : membersOf(collection)) {
      values.push_back(isCollection(member) ? mapped(member, keys, from)
                                            : along(member, keys, from, false));
    }
    return collectionOf(sortOf(collection), std::move(values));
  }
  /// One key of every member, laid out flat.
  static Value flattened(const Value& collection, const std::string& key) {
    Values values;
    Sort sort = sortOf(collection);
    for (const Value& member : membersOf(collection)) {
      const Value value = isCollection(member) ? flattened(member, key) : valueForKey(member, key);
      if (!isCollection(value)) {
        values.push_back(value);
        continue;
      }
      sort = Sort::Array;
      for (const Value& one : membersOf(value)) values.push_back(one);
    }
    return collectionOf(sort, std::move(values));
  }

  /// `reached`: a key led to the object, the path did not start with it.
  static Value along(Value object, const Keys& keys, std::size_t from, bool reached) {
    for (std::size_t i = from; i < keys.size(); ++i) {
      if (isNothing(object)) return object;
      if (!isCollection(object)) {
        object = valueForKey(object, keys[i]);
        reached = true;
      } else if (isOperator(keys[i])) {
        return operated(object, keys, i, reached);
      } else if (reached) {
        object = flattened(object, keys[i]);
      } else {
        return mapped(object, keys, i);
      }
    }
    return object;
  }

  static Value operated(const Value& collection, const Keys& keys, std::size_t at, bool reached) {
    const std::string& name = keys[at];
    const Values members = membersOf(collection);
    if (name == "@count") return members.size();
    const bool ofObjects = name == "@unionOfObjects" || name == "@distinctUnionOfObjects";
    const bool ofCollections = name == "@unionOfArrays" || name == "@distinctUnionOfArrays" ||
                               name == "@distinctUnionOfSets";
    const bool ofNumbers = name == "@sum" || name == "@avg" || name == "@min" || name == "@max";
    if (!ofObjects && !ofCollections && !ofNumbers) throw Refusal();
    Values values;
    for (const Value& member : members) {
      const Value value = along(member, keys, at + 1, false);
      const bool unites = ofCollections || ofNumbers || reached;
      if (!ofNumbers && value.isNull()) throw Refusal();
      if (ofCollections && !isCollection(value)) throw Refusal();
      if (!unites || !isCollection(value)) {
        values.push_back(value);
        continue;
      }
      for (const Value& one : membersOf(value)) values.push_back(one);
    }
    if (name == "@sum") return sumOf(values);
    if (name == "@avg") return averageOf(values);
    if (ofNumbers) return extremeOf(values, name == "@max" ? 1 : -1);
    if (name == "@distinctUnionOfSets") return collectionOf(Sort::Set, values);
    return arrayOf(name.find("distinct") == std::string::npos ? values : distinct(values));
  }

  /// Every single value that the expression leads to, if it leads to a collection or to null.
  std::optional<Values> singleValuesOf(const NSExpression& expression, const Value& object,
                                       const Scope* scope) const {
    Value value;
    Keys keys;
    if (expression.expressionType() == NSKeyPathExpressionType) {
      value = valueOf(*expression.operand(), object, scope);
      keys = keysOf(expression.keyPath()->utf8());
    } else {
      value = valueOf(expression, object, scope);
    }
    for (std::size_t i = 0; i < keys.size(); ++i) {
      if (isNothing(value)) return Values();
      if (!isCollection(value)) {
        value = valueForKey(value, keys[i]);
        continue;
      }
      if (isOperator(keys[i])) {
        value = operated(value, keys, i, true);
        break;
      }
      Values further;
      for (const Value& member : membersOf(value)) {
        const Value next = isNothing(member) ? Value() : valueForKey(member, keys[i]);
        if (isCollection(next)) {
          for (const Value& one : membersOf(next)) further.push_back(one);
        } else {
          further.push_back(next);
        }
      }
      value = arrayOf(std::move(further));
    }
    if (isNothing(value)) return Values();
    if (!isCollection(value)) return std::nullopt;
    return membersOf(value);
  }

  /// Where something is looked for: with the nulls that a set on the way would lose.
  Value containerOf(const NSExpression& expression, const Value& object, const Scope* scope) const {
    if (expression.expressionType() == NSKeyPathExpressionType) {
      const Keys keys = keysOf(expression.keyPath()->utf8());
      if (keys.size() > 1 || isOperator(keys[0])) {
        if (const std::optional<Values> values = singleValuesOf(expression, object, scope)) {
          return arrayOf(*values);
        }
      }
    }
    return valueOf(expression, object, scope);
  }

  // Expressions

  Value valueOf(const NSExpression& expression, const Value& object, const Scope* scope) const {
    switch (expression.expressionType()) {
      case NSConstantValueExpressionType:
        return expression.constantValue();
      case NSEvaluatedObjectExpressionType:
        return object;
      case NSVariableExpressionType:
        return variable(expression.variable()->toStdString(), scope);
      case NSKeyPathExpressionType:
        return along(valueOf(*expression.operand(), object, scope),
                     keysOf(expression.keyPath()->utf8()), 0, false);
      case NSAggregateExpressionType:
        return arrayOf(valuesOf(as<NSArray>(expression.collection()), object, scope));
      case NSConditionalExpressionType:
        return holds(*expression.predicate(), object, scope)
                   ? valueOf(*expression.trueExpression(), object, scope)
                   : valueOf(*expression.falseExpression(), object, scope);
      case NSSubqueryExpressionType:
        return subquery(expression, object, scope);
      case NSUnionSetExpressionType:
      case NSIntersectSetExpressionType:
      case NSMinusSetExpressionType:
        return setOf(expression, object, scope);
      case NSFunctionExpressionType:
        return functionOf(expression, object, scope);
      default:
        throw Unknown();
    }
  }

  Values valuesOf(const Ref<NSArray>& expressions, const Value& object, const Scope* scope) const {
    Values values;
    for (const Value& expression : expressions) {
      values.push_back(valueOf(*as<NSExpression>(expression), object, scope));
    }
    return values;
  }

  Value variable(const std::string& name, const Scope* scope) const {
    for (; scope; scope = scope->outer) {
      if (scope->name == name) return scope->value;
    }
    const Value* found = _variables ? _variables->find(Value(name)) : nullptr;
    if (!found) throw Refusal();
    return *found;
  }

  Value subquery(const NSExpression& expression, const Value& object, const Scope* scope) const {
    const Ref<NSExpression> inner = as<NSExpression>(expression.collection());
    const Value collection = valueOf(*inner, object, scope);
    if (!isCollection(collection) && !isNothing(collection)) throw Refusal();
    Values found;
    for (const Value& member : membersOf(collection)) {
      const Scope own{expression.variable()->toStdString(), member, scope};
      if (holds(*expression.predicate(), object, &own)) found.push_back(member);
    }
    return arrayOf(std::move(found));
  }

  Value setOf(const NSExpression& expression, const Value& object, const Scope* scope) const {
    const auto members = [&](const NSExpression& side) {
      const Value value = valueOf(side, object, scope);
      if (sortOf(value) != Sort::Dictionary && !isCollection(value) && !isNothing(value)) {
        throw Refusal();
      }
      return membersOf(value);
    };
    const Values left = members(*expression.leftExpression());
    const Values right = members(*expression.rightExpression());
    Values result;
    const NSExpressionType type = expression.expressionType();
    for (const Value& one : left) {
      if (type == NSUnionSetExpressionType ||
          contains(right, one) == (type == NSIntersectSetExpressionType)) {
        result.push_back(one);
      }
    }
    if (type == NSUnionSetExpressionType) result.insert(result.end(), right.begin(), right.end());
    return NSSet::setWithValues(distinct(result));
  }

  Value functionOf(const NSExpression& expression, const Value& object, const Scope* scope) const {
    const std::string name = expression.function()->toStdString();
    const Ref<NSArray> arguments = expression.arguments();
    if (const Ref<NSExpression> receiver = expression.operand()) {
      const Value left = valueOf(*receiver, object, scope);
      const Values values = valuesOf(arguments, object, scope);
      if (name != "isEqual:" || values.size() != 1 || left.isNSNull()) throw Unknown();
      return left.isNull() ? Value() : Value(areEqual(left, values[0], {}));
    }
    for (const char* aggregate :
         {"average:", "sum:", "count:", "min:", "max:", "median:", "mode:", "stddev:"}) {
      if (name == aggregate) return aggregated(name, arguments, object, scope);
    }
    const Values values = valuesOf(arguments, object, scope);
    if (values.size() == 1) return ofOne(name, values[0]);
    if (values.size() == 2) return ofTwo(name, values[0], values[1]);
    throw Unknown();
  }

  Value aggregated(const std::string& name, const Ref<NSArray>& arguments, const Value& object,
                   const Scope* scope) const {
    std::optional<Values> single;
    if (arguments->count() == 1) {
      single = singleValuesOf(*as<NSExpression>(arguments->objectAtIndex(0)), object, scope);
    }
    Values values = single ? *single : valuesOf(arguments, object, scope);
    std::erase_if(values, isNothing);
    if (name == "count:") return values.size();
    if (name == "sum:") return sumOf(values);
    if (name == "average:") return averageOf(values);
    if (name == "min:") return extremeOf(values, -1);
    if (name == "max:") return extremeOf(values, 1);
    if (name == "median:") return medianOf(values);
    if (name == "mode:") return modeOf(values);
    if (values.empty()) return nullptr;
    const double mean = averageOf(values);
    double squares = 0;
    for (const Value& value : values) squares += std::pow(doubleOf(value) - mean, 2);
    return std::sqrt(squares / static_cast<double>(values.size()));
  }

  // Numbers

  static double doubleOf(const Value& value) {
    const Sort sort = sortOf(value);
    if (sort != Sort::Number && sort != Sort::Text && sort != Sort::Null) throw Refusal();
    if (sort == Sort::Null) return 0;
    if (sort == Sort::Number) numberOf(value);
    return value.doubleValue();
  }
  static std::optional<std::int64_t> fitting(long double number) {
    if (number < -0x1p63L || number >= 0x1p63L) return std::nullopt;
    return static_cast<std::int64_t>(number);
  }

  static Value sumOf(const Values& values) {
    Value sum = 0;
    for (const Value& value : values) {
      if (isNothing(value)) continue;
      std::int64_t whole;
      if (isInteger(sum) && isInteger(value) &&
          !__builtin_add_overflow(sum.longLongValue(), value.longLongValue(), &whole)) {
        sum = whole;
      } else {
        sum = sum.doubleValue() + doubleOf(value);
      }
    }
    return sum;
  }
  static double averageOf(const Values& values) {
    return values.empty() ? 0 : sumOf(values).doubleValue() / static_cast<double>(values.size());
  }
  static Value extremeOf(const Values& values, int wanted) {
    std::optional<Value> found;
    for (const Value& value : values) {
      if (isNothing(value)) continue;
      if (!found || orderOrRefusal(value, *found) == wanted) found = value;
    }
    return found.value_or(Value());
  }
  static Value medianOf(Values values) {
    if (values.empty()) return nullptr;
    for (std::size_t i = 1; i < values.size(); ++i) {
      for (std::size_t k = i; k > 0 && orderOrRefusal(values[k], values[k - 1]) < 0; --k) {
        std::swap(values[k], values[k - 1]);
      }
    }
    const std::size_t middle = values.size() / 2;
    if (values.size() % 2 == 1) return values[middle];
    return (doubleOf(values[middle - 1]) + doubleOf(values[middle])) / 2;
  }
  static Value modeOf(const Values& values) {
    const auto count = [&](const Value& wanted) {
      return std::count_if(values.begin(), values.end(),
                           [&](const Value& value) { return areEqual(value, wanted, {}); });
    };
    std::ptrdiff_t highest = 0;
    for (const Value& value : values) highest = std::max(highest, count(value));
    Values modes = distinct(values);
    std::erase_if(modes, [&](const Value& value) { return count(value) != highest; });
    return arrayOf(std::move(modes));
  }

  static void requireNumber(const Value& value) {
    if (sortOf(value) != Sort::Number) throw Refusal();
    numberOf(value);
  }
  static Value orNothing(double number) { return std::isnan(number) ? Value() : Value(number); }

  static Value ofOne(const std::string& name, const Value& value) {
    if (name == "noindex:") return value;
    if (isNothing(value) && name != "random:" && name != "randomn:") return nullptr;
    if (name == "uppercase:" || name == "lowercase:") {
      if (sortOf(value) != Sort::Text) throw Refusal();
      const Text text = textOf(value);
      return utf8Of(name == "uppercase:" ? upperCased(text) : lowerCased(text));
    }
    if (name == "random:" || name == "randomn:") throw Unknown();
    requireNumber(value);
    const double number = value.doubleValue();
    const bool isWhole = isInteger(value) || value.kind() == Value::Kind::Unsigned;
    if (name == "sqrt:") return orNothing(std::sqrt(number));
    if (name == "ln:") return number > 0 ? Value(std::log(number)) : Value();
    if (name == "log:") return number > 0 ? Value(std::log10(number)) : Value();
    if (name == "exp:") return std::exp(number);
    if (name == "onesComplement:") return ~value.longLongValue();
    if (name == "abs:") {
      if (!isWhole) return std::abs(number);
      if (numberOf(value) >= 0) return value;
      const std::optional<std::int64_t> whole = fitting(-numberOf(value));
      return whole ? Value(*whole) : Value(-number);
    }
    if (name != "floor:" && name != "ceiling:" && name != "trunc:") throw Unknown();
    if (isWhole) return value;
    return name == "floor:"     ? std::floor(number)
           : name == "ceiling:" ? std::ceil(number)
                                : std::trunc(number);
  }

  static Value ofTwo(const std::string& name, const Value& left, const Value& right) {
    if (name == "objectFrom:withIndex:") return element(left, right);
    if (name == "castObject:toType:") return cast(left, right);
    const bool divides = name == "divide:by:" || name == "modulus:by:";
    if (divides && sortOf(right) == Sort::Number && numberOf(right) == 0) return nullptr;
    if (isNothing(left) || isNothing(right)) return nullptr;
    requireNumber(left);
    requireNumber(right);
    if (name.find("bitwise") == 0 || name.find("shift:by:") != std::string::npos) {
      return ofBits(name, left.longLongValue(), right.longLongValue());
    }
    if (isInteger(left) && isInteger(right)) {
      const std::optional<std::int64_t> whole =
          ofIntegers(name, left.longLongValue(), right.longLongValue());
      if (whole) return *whole;
    }
    const double l = left.doubleValue(), r = right.doubleValue();
    if (name == "add:to:") return orNothing(l + r);
    if (name == "from:subtract:") return orNothing(l - r);
    if (name == "multiply:by:") return orNothing(l * r);
    if (name == "divide:by:") return orNothing(l / r);
    if (name == "modulus:by:") return orNothing(std::fmod(l, r));
    if (name == "raise:toPower:") return orNothing(std::pow(l, r));
    throw Unknown();
  }

  /// Nothing where the result has more than 64 bits.
  static std::optional<std::int64_t> ofIntegers(const std::string& name, std::int64_t l,
                                                std::int64_t r) {
    __extension__ using Wide = __int128;
    const auto narrow = [](Wide wide) -> std::optional<std::int64_t> {
      const auto result = static_cast<std::int64_t>(wide);
      return result == wide ? std::optional(result) : std::nullopt;
    };
    if (name == "add:to:") return narrow(Wide{l} + r);
    if (name == "from:subtract:") return narrow(Wide{l} - r);
    if (name == "multiply:by:") return narrow(Wide{l} * r);
    if (name == "divide:by:") return narrow(Wide{l} / r);
    if (name == "modulus:by:") return narrow(Wide{l} % r);
    if (name != "raise:toPower:" || r < 0) return std::nullopt;
    if (l == 0) return r == 0;
    if (l == 1 || l == -1) return r % 2 == 0 ? 1 : l;
    Wide power = 1;
    for (std::int64_t i = 0; i < r && narrow(power); ++i) power *= l;
    return narrow(power);
  }

  static Value ofBits(const std::string& name, std::int64_t l, std::int64_t r) {
    if (name == "bitwiseAnd:with:") return l & r;
    if (name == "bitwiseOr:with:") return l | r;
    if (name == "bitwiseXor:with:") return l ^ r;
    if (r < 0) return nullptr;
    if (name == "rightshift:by:") {
      for (; r > 0 && l != 0 && l != -1; --r) l = (l - (l & 1)) / 2;
      return l;
    }
    auto bits = static_cast<std::uint64_t>(l);
    for (; r > 0 && bits != 0; --r) bits *= 2;
    return static_cast<std::int64_t>(bits);
  }

  static Value cast(const Value& value, const Value& type) {
    if (sortOf(type) != Sort::Text) throw Refusal();
    if (isNothing(value)) return nullptr;
    const std::string_view name = as<NSString>(type)->utf8();
    const Sort sort = sortOf(value);
    constexpr double epoch = 978'307'200;
    if (name == "NSDate") {
      if (sort == Sort::Number) {
        numberOf(value);
        return NSDate::dateWithTimeIntervalSinceReferenceDate(value.doubleValue());
      }
      return sort == Sort::Date ? value : Value();
    }
    if (name == "NSNumber") {
      if (sort == Sort::Date) return value.timeIntervalSince1970() - epoch;
      if (sort == Sort::Text) return value.doubleValue();
      return sort == Sort::Number ? value : Value();
    }
    if (name == "NSString") return value.description();
    throw Unknown();
  }

  static Value element(const Value& container, const Value& index) {
    if (isNothing(container)) return nullptr;
    const std::string word = index.isObject() && sortOf(index) == Sort::Other
                                 ? index.description()->toStdString()
                                 : std::string();
    const Sort sort = sortOf(container);
    if (sort == Sort::Dictionary) {
      const auto* dictionary = as<NSDictionary>(container);
      return word == "SIZE" ? Value(dictionary->count()) : dictionary->objectForKey(index);
    }
    if (!isCollection(container)) throw Refusal();
    const Values members = membersOf(container);
    if (word == "SIZE") return members.size();
    if (members.empty() || isNothing(index)) return nullptr;
    // The order of a set is its own.
    if (sort == Sort::Set && members.size() > 1 && (!word.empty() || index.isNumber())) {
      throw Unknown();
    }
    if (word == "FIRST") return members.front();
    if (word == "LAST") return members.back();
    if (sortOf(index) != Sort::Number) throw Refusal();
    const long double position = std::trunc(numberOf(index));
    if (position < 0 || position >= static_cast<long double>(members.size())) return nullptr;
    return members[static_cast<std::size_t>(position)];
  }

  Ref<NSDictionary> _variables;
};

}  // namespace JNFoundation::testing::naive
