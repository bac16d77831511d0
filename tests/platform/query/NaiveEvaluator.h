#pragma once

#include <optional>
#include <platform/query/NaiveFunctions.h>
#include <string>

#include <JNFoundation/platform/query/NSCompoundPredicate.h>
#include <JNFoundation/platform/query/NSExpression.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::testing::naive {

/// Answers predicates once more, by the plainest code that follows their rules: walks the tree that
/// others see, reads keys by itself, keeps nothing ready, compares each time from the beginning. It
/// shares with the library only values, collections and the properties of objects that are no
/// dictionaries. What it has no rule for is an Unknown.
class Evaluator {
 public:
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
  /// A variable of a subquery around.
  struct Scope {
    std::string name;
    Value value;
    const Scope* outer;
  };

  using Keys = std::vector<std::string>;

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

  Ref<NSDictionary> _variables;
};

}  // namespace JNFoundation::testing::naive
