#pragma once

#include <platform/query/Family.h>
#include <platform/text/Randomness.h>
#include <string>
#include <vector>

#include <JNFoundation/platform/query/NSComparisonPredicate.h>
#include <JNFoundation/platform/query/NSCompoundPredicate.h>
#include <JNFoundation/platform/value/NSDate.h>

namespace JNFoundation::testing {

/// Random families, and random questions about them that mostly make sense: both sides of most
/// comparisons are of one kind, patterns are patterns, and what is asked of every member is asked
/// of a collection.
class RandomPredicates {
 public:
  explicit RandomPredicates(Randomness& random) : _random(random) {}

  Ref<NSPredicate> predicate(int depth) {
    switch (depth <= 0 ? 9 : below(10)) {
      case 0:
      case 1:
      case 2: {
        std::vector<Value> parts;
        for (int i = 1 + below(3); i > 0; --i) parts.emplace_back(predicate(depth - 1));
        return NSCompoundPredicate::initWithTypeSubpredicates(
            below(2) ? NSAndPredicateType : NSOrPredicateType, list(std::move(parts)));
      }
      case 3:
        return NSCompoundPredicate::notPredicateWithSubpredicate(predicate(depth - 1));
      default:
        return comparison(depth);
    }
  }

  /// What the variables $n, $t, $d and $l stand for.
  Ref<NSDictionary> variables() {
    return record(
        {{"n", number()}, {"t", text()}, {"d", date()}, {"l", list({number(), text(), nullptr})}});
  }

  /// A record of a person with tags, a mother and children, who have numbers.
  Value family() {
    const Ref<NSMutableDictionary> family = person();
    if (below(6)) family->setObjectForKey(person(), "mother");
    std::vector<Value> kids;
    for (int i = below(4); i > 0; --i) {
      const Ref<NSMutableDictionary> kid = person();
      std::vector<Value> toys;
      for (int k = below(4); k > 0; --k) toys.push_back(below(5) ? number() : Value());
      if (below(5)) kid->setObjectForKey(list(std::move(toys)), "toys");
      kids.emplace_back(kid);
    }
    if (below(6)) {
      family->setObjectForKey(below(3)   ? Value(list(std::move(kids)))
                              : below(2) ? Value(setOf(std::move(kids)))
                                         : Value(orderedSetOf(std::move(kids))),
                              "kids");
    }
    return family;
  }

 private:
  using Expression = Ref<NSExpression>;

  int below(int limit) {
    return static_cast<int>(_random.below(static_cast<std::uint64_t>(limit)));
  }
  template <std::size_t count>
  const char* oneOf(const char* const (&names)[count]) {
    return names[_random.below(count)];
  }

  Value number() {
    switch (below(8)) {
      case 0:
        return below(2) == 0;
      case 1:
        return below(40) / 4.0 - 5;
      case 2:
        return std::uint64_t{1} << below(64);
      case 3:
        return (std::int64_t{1} << below(63)) * (below(2) ? 1 : -1);
      default:
        return below(9) - 3;
    }
  }
  Value text() {
    static constexpr const char* texts[] = {"",  "a",   "A",        "ab",  "Ab",   "b", "é",
                                            "É", "e",   "e\u0301",  "ß",   "ss",   "S", "ö",
                                            "😀", "a*b", "a\\b",     "aXb", "3",    "1", "a\nb",
                                            "B", "öß",  "straße é", "abc", "zebra"};
    return oneOf(texts);
  }
  Value date() { return NSDate::dateWithTimeIntervalSinceReferenceDate(below(8) / 2.0); }

  Ref<NSMutableDictionary> person() {
    const Ref<NSMutableDictionary> person = NSMutableDictionary::dictionary();
    const auto maybe = [&](const char* key, const Value& value) {
      if (below(6)) person->setObjectForKey(below(8) ? value : Value(NSNull::null()), key);
    };
    maybe("name", text());
    maybe("nick", text());
    maybe("age", number());
    maybe("score", number());
    maybe("born", date());
    std::vector<Value> tags;
    for (int i = below(4); i > 0; --i) tags.push_back(below(6) ? text() : Value());
    maybe("tags", below(2) ? Value(list(tags)) : Value(list(tags)->count()));
    if (!tags.empty()) maybe("tags", list(std::move(tags)));
    return person;
  }

  // Expressions of a kind

  static Expression constant(const Value& value) {
    return NSExpression::expressionForConstantValue(value);
  }
  Expression path(const char* keys) {
    if (_members > 0 && below(3) > 0) {
      // Of the member that the subquery around asks about.
      return NSExpression::expressionForKeyPathOfOperand(keys,
                                                         NSExpression::expressionForVariable("x"));
    }
    return NSExpression::expressionForKeyPath(keys);
  }
  static Expression call(const char* function, std::vector<Value> arguments) {
    return NSExpression::expressionForFunctionArguments(function, list(std::move(arguments)));
  }
  Expression conditional(int depth, const Expression& one, const Expression& other) {
    return NSExpression::expressionForConditionalTrueExpressionFalseExpression(predicate(depth - 2),
                                                                               one, other);
  }

  Expression number(int depth) {
    static constexpr const char* paths[] = {"age",
                                            "score",
                                            "mother.age",
                                            "mother.score",
                                            "kids.@count",
                                            "tags.@count",
                                            "kids.@sum.age",
                                            "kids.@avg.score",
                                            "kids.@max.age",
                                            "kids.@min.mother.age",
                                            "kids.toys.@count",
                                            "kids.toys.@sum"};
    static constexpr const char* operations[] = {
        "add:to:",       "from:subtract:",  "multiply:by:",     "divide:by:",
        "modulus:by:",   "raise:toPower:",  "bitwiseAnd:with:", "bitwiseXor:with:",
        "leftshift:by:", "bitwiseOr:with:", "rightshift:by:"};
    static constexpr const char* functions[] = {
        "abs:", "floor:", "ceiling:", "trunc:", "sqrt:", "ln:", "log:", "onesComplement:", "exp:"};
    static constexpr const char* aggregates[] = {
        "sum:", "average:", "min:", "max:", "median:", "count:", "stddev:"};
    switch (depth <= 0 ? below(4) : below(12)) {
      case 0:
        return constant(number());
      case 1:
        return below(3) ? path(oneOf({"age", "score"})) : NSExpression::expressionForVariable("n");
      case 2:
      case 3:
        return path(oneOf(paths));
      case 4:
      case 5:
      case 6:
        return call(oneOf(operations), {number(depth - 1), number(depth - 1)});
      case 7:
        return call(oneOf(functions), {number(depth - 1)});
      case 8:
        if (below(2)) return call(oneOf(aggregates), {numbers(depth - 1)});
        return call(oneOf(aggregates), {number(depth - 1), number(depth - 1), number(depth - 1)});
      case 9:
        return NSExpression::expressionForKeyPathOfOperand("@count", subquery(depth));
      case 10:
        return call("castObject:toType:", {date(depth - 1), constant("NSNumber")});
      default:
        return below(2) ? conditional(depth, number(depth - 1), number(depth - 1))
                        : call("objectFrom:withIndex:", {numbers(depth - 1), number(0)});
    }
  }

  Expression text(int depth) {
    switch (depth <= 0 ? below(4) : below(7)) {
      case 0:
        return constant(text());
      case 1:
        return below(4) ? path("nick") : NSExpression::expressionForVariable("t");
      case 2:
        return path("name");
      case 3:
        return path("mother.name");
      case 4:
        return call(below(2) ? "uppercase:" : "lowercase:", {text(depth - 1)});
      case 5:
        return call("objectFrom:withIndex:", {texts(depth - 1), constant(below(3))});
      default:
        return conditional(depth, text(depth - 1), text(depth - 1));
    }
  }

  Expression date(int depth) {
    switch (below(depth <= 0 ? 4 : 6)) {
      case 0:
        return constant(date());
      case 1:
        return NSExpression::expressionForVariable("d");
      case 2:
        return path("born");
      case 3:
        return path("kids.@max.born");
      case 4:
        return call("castObject:toType:", {number(depth - 1), constant("NSDate")});
      default:
        return conditional(depth, date(depth - 1), date(depth - 1));
    }
  }

  Expression numbers(int depth) {
    switch (below(depth <= 0 ? 2 : 4)) {
      case 0:
        return path(oneOf({"kids.age", "kids.score", "kids.toys", "kids.mother.age", "kids.toys"}));
      case 1:
        return path(oneOf({"kids.@unionOfArrays.toys", "kids.@distinctUnionOfArrays.toys",
                           "kids.@distinctUnionOfSets.toys", "kids.@unionOfObjects.age",
                           "kids.@distinctUnionOfObjects.age"}));
      case 2:
        return set(numbers(depth - 1), numbers(depth - 1));
      default:
        return NSExpression::expressionForAggregate(
            list({number(depth - 1), number(depth - 1), number(depth - 1)}));
    }
  }

  Expression texts(int depth) {
    switch (below(depth <= 0 ? 3 : 5)) {
      case 0:
        return path(oneOf({"kids.name", "kids.tags", "mother.tags"}));
      case 1:
        return path("tags");
      case 2:
        return below(2) ? constant(list({text(), text(), nullptr, text()}))
                        : NSExpression::expressionForVariable("l");
      case 3:
        return set(texts(depth - 1), texts(depth - 1));
      default:
        return NSExpression::expressionForAggregate(list({text(depth - 1), text(depth - 1)}));
    }
  }

  Expression set(const Expression& left, const Expression& right) {
    switch (below(3)) {
      case 0:
        return NSExpression::expressionForUnionSetWith(left, right);
      case 1:
        return NSExpression::expressionForIntersectSetWith(left, right);
      default:
        return NSExpression::expressionForMinusSetWith(left, right);
    }
  }

  Expression subquery(int depth) {
    const Expression collection = path("kids");
    ++_members;
    const Ref<NSPredicate> predicate = this->predicate(depth - 2);
    --_members;
    return NSExpression::expressionForSubqueryUsingIteratorVariablePredicate(collection, "x",
                                                                             predicate);
  }

  // Comparisons

  NSComparisonPredicateOptions options() {
    return static_cast<NSComparisonPredicateOptions>(below(2) ? 0 : below(8));
  }
  static Ref<NSPredicate> compare(const Expression& left, unsigned type, const Expression& right,
                                  NSComparisonPredicateOptions options = {},
                                  NSComparisonPredicateModifier modifier = {}) {
    return NSComparisonPredicate::predicateWithLeftExpressionRightExpressionModifierTypeOptions(
        left, right, modifier, static_cast<NSPredicateOperatorType>(type), options);
  }

  Expression any(int depth) {
    switch (below(6)) {
      case 0:
        return constant(nullptr);
      case 1:
        return texts(depth);
      case 2:
        return text(depth);
      case 3:
        return date(depth);
      default:
        return number(depth);
    }
  }

  Expression pattern(unsigned type) {
    static constexpr const char* wildcards[] = {"a*",   "*b", "?",  "a?b", "*",  "??",
                                                "\\**", "",   "É*", "*a*", "a*", "a\\?"};
    static constexpr const char* expressions[] = {"a.*", "[a-c]+", "(a|b)b?", "é", "e", ".", ""};
    return constant(type == NSLikePredicateOperatorType ? oneOf(wildcards) : oneOf(expressions));
  }

  Ref<NSPredicate> comparison(int depth) {
    const auto order = static_cast<unsigned>(below(6));
    switch (below(14)) {
      case 0:
      case 1:
      case 2:
        return compare(number(depth), order, number(depth));
      case 3:
      case 4:
        return compare(text(depth), order, text(depth), options());
      case 5:
        return compare(date(depth), order, date(depth));
      case 6: {
        const unsigned type = 6 + static_cast<unsigned>(below(2));
        return compare(text(depth), type, pattern(type), options());
      }
      case 7:
        return compare(text(depth), 8 + static_cast<unsigned>(below(2)), text(0), options());
      case 8:
        return below(2) ? compare(text(depth), NSInPredicateOperatorType, texts(depth), options())
                        : compare(number(depth), NSInPredicateOperatorType, numbers(depth));
      case 9:
        return below(2)
                   ? compare(texts(depth), NSContainsPredicateOperatorType, text(depth), options())
                   : compare(text(depth), NSContainsPredicateOperatorType, text(0), options());
      case 10: {
        const bool ofTexts = below(2);
        const auto bound = [&] { return ofTexts ? text(depth - 1) : number(depth - 1); };
        return compare(ofTexts ? text(depth) : number(depth), NSBetweenPredicateOperatorType,
                       NSExpression::expressionForAggregate(list({bound(), bound()})), options());
      }
      case 11:
      case 12: {
        const auto modifier = below(2) ? NSAllPredicateModifier : NSAnyPredicateModifier;
        return below(2) ? compare(numbers(depth), order, number(depth), {}, modifier)
                        : compare(texts(depth), order, text(depth), options(), modifier);
      }
      default:
        return compare(any(depth), order, any(depth), options());
    }
  }

  Randomness& _random;
  /// How many subqueries are around.
  int _members = 0;
};

}  // namespace JNFoundation::testing
