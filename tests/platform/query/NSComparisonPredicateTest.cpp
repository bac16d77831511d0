#include <gtest/gtest.h>
#include <limits>
#include <platform/query/Family.h>
#include <sstream>

#include <JNFoundation/platform/query/NSComparisonPredicate.h>
#include <JNFoundation/platform/query/NSCompoundPredicate.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation {
namespace {

using namespace testing;

const NSPredicateOperatorType everyOperator[] = {
    NSLessThanPredicateOperatorType,    NSLessThanOrEqualToPredicateOperatorType,
    NSGreaterThanPredicateOperatorType, NSGreaterThanOrEqualToPredicateOperatorType,
    NSEqualToPredicateOperatorType,     NSNotEqualToPredicateOperatorType,
    NSMatchesPredicateOperatorType,     NSLikePredicateOperatorType,
    NSBeginsWithPredicateOperatorType,  NSEndsWithPredicateOperatorType,
    NSInPredicateOperatorType,          NSContainsPredicateOperatorType,
    NSBetweenPredicateOperatorType,
};

/// The answer with the right side known beforehand, and the same with it read from the object.
bool answer(const Value& left, NSPredicateOperatorType type, const Value& right,
            NSComparisonPredicateOptions options = {}) {
  const Ref<NSExpression> key = NSExpression::expressionForKeyPath("left");
  const auto build = [&](const Ref<NSExpression>& side) {
    return NSComparisonPredicate::predicateWithLeftExpressionRightExpressionModifierTypeOptions(
        key, side, NSDirectPredicateModifier, type, options);
  };
  const Value object = record({{"left", left}, {"right", right}});
  const bool prepared =
      build(NSExpression::expressionForConstantValue(right))->evaluateWithObject(object);
  const bool read = build(NSExpression::expressionForKeyPath("right"))->evaluateWithObject(object);
  EXPECT_EQ(prepared, read) << "a constant and a key answer differently";
  return prepared;
}

bool isOrder(NSPredicateOperatorType type) {
  return type <= NSGreaterThanOrEqualToPredicateOperatorType;
}

TEST(Comparison, NullEqualsOnlyNull) {
  for (const Value& null : {Value(), Value(NSNull::null())}) {
    const Value values[] = {0, 1, "", "x", false, NSDate::date(), list({}), setOf({}), record({})};
    EXPECT_TRUE(answer(null, NSEqualToPredicateOperatorType, nullptr));
    EXPECT_FALSE(answer(null, NSNotEqualToPredicateOperatorType, nullptr));
    EXPECT_TRUE(answer(null, NSEqualToPredicateOperatorType, NSNull::null()));
    for (const Value& value : values) {
      EXPECT_FALSE(answer(null, NSEqualToPredicateOperatorType, value)) << value;
      EXPECT_FALSE(answer(value, NSEqualToPredicateOperatorType, null)) << value;
      EXPECT_TRUE(answer(null, NSNotEqualToPredicateOperatorType, value)) << value;
      EXPECT_TRUE(answer(value, NSNotEqualToPredicateOperatorType, null)) << value;
    }
  }
  EXPECT_TRUE(holds(record({}), "missing == nil"));
  EXPECT_TRUE(holds(record({{"k", nullptr}}), "k = NULL"));
  EXPECT_FALSE(holds(record({{"k", 0}}), "k == nil"));
  EXPECT_TRUE(holds(record({}), "missing != 'v'"));
}

TEST(Comparison, EveryOtherOperatorIsFalseForNull) {
  for (const NSPredicateOperatorType type : everyOperator) {
    if (type == NSEqualToPredicateOperatorType || type == NSNotEqualToPredicateOperatorType)
      continue;
    EXPECT_FALSE(answer(nullptr, type, nullptr)) << type;
    EXPECT_FALSE(answer(nullptr, type, NSNull::null())) << type;
    EXPECT_FALSE(answer("x", type, nullptr)) << type;
    if (type != NSBetweenPredicateOperatorType) {
      EXPECT_FALSE(answer(nullptr, type, "x")) << type;
    }
    EXPECT_FALSE(answer(nullptr, NSBetweenPredicateOperatorType, list({1, 2})));
    if (isOrder(type)) {
      EXPECT_FALSE(answer(1, type, nullptr)) << type;
      EXPECT_FALSE(answer(nullptr, type, 1)) << type;
    }
  }
}

TEST(Comparison, NumbersCompareByValueAcrossKinds) {
  const Value ones[] = {
      1, true, 1u, 1.0, 1.0f, std::uint64_t{1}, NSDecimalNumber::decimalNumberWithString("1.00")};
  for (const Value& left : ones) {
    for (const Value& right : ones) {
      EXPECT_TRUE(answer(left, NSEqualToPredicateOperatorType, right));
      EXPECT_TRUE(answer(left, NSLessThanOrEqualToPredicateOperatorType, right));
      EXPECT_FALSE(answer(left, NSLessThanPredicateOperatorType, right));
      EXPECT_TRUE(answer(left, NSInPredicateOperatorType, list({0, right})));
    }
    EXPECT_TRUE(answer(left, NSLessThanPredicateOperatorType, 1.5));
    EXPECT_TRUE(answer(left, NSGreaterThanPredicateOperatorType, -1));
    EXPECT_TRUE(answer(left, NSBetweenPredicateOperatorType, list({1, 1})));
  }
  EXPECT_TRUE(holds(record({{"flag", true}}), "flag == YES"));
  EXPECT_TRUE(holds(record({{"flag", 1}}), "flag == TRUE"));
  EXPECT_TRUE(
      holds(record({{"n", std::numeric_limits<std::int64_t>::max()}}), "n < 9223372036854775808"));
}

TEST(Comparison, DifferentKindsAreNeverEqualAndHaveNoOrder) {
  const Value kinds[] = {1, "1", NSDate::dateWithTimeIntervalSince1970(1)};
  for (std::size_t i = 0; i < std::size(kinds); ++i) {
    for (std::size_t j = 0; j < std::size(kinds); ++j) {
      if (i == j) continue;
      EXPECT_FALSE(answer(kinds[i], NSEqualToPredicateOperatorType, kinds[j]));
      EXPECT_TRUE(answer(kinds[i], NSNotEqualToPredicateOperatorType, kinds[j]));
      for (const NSPredicateOperatorType type : everyOperator) {
        if (isOrder(type)) {
          EXPECT_FALSE(answer(kinds[i], type, kinds[j])) << i << type << j;
        }
      }
      EXPECT_FALSE(answer(kinds[i], NSBetweenPredicateOperatorType, list({kinds[j], kinds[j]})));
      EXPECT_FALSE(answer(kinds[i], NSInPredicateOperatorType, list({kinds[j]})));
    }
  }
}

TEST(Comparison, TextsCompareByCodePoint) {
  EXPECT_TRUE(answer("B", NSLessThanPredicateOperatorType, "a"));
  EXPECT_TRUE(answer("\uFFFD", NSLessThanPredicateOperatorType, "😀"));
  EXPECT_FALSE(answer("a", NSEqualToPredicateOperatorType, "A"));
  EXPECT_TRUE(answer("", NSLessThanPredicateOperatorType, "a"));
  EXPECT_TRUE(answer("b", NSBetweenPredicateOperatorType, list({"a", "b"})));
  EXPECT_TRUE(answer("a", NSBetweenPredicateOperatorType, list({"a", "b"})));
  EXPECT_FALSE(answer("B", NSBetweenPredicateOperatorType, list({"a", "b"})));
}

TEST(Comparison, OptionsFoldBothSides) {
  const auto c = NSCaseInsensitivePredicateOption;
  const auto d = NSDiacriticInsensitivePredicateOption;
  EXPECT_TRUE(answer("ANN", NSEqualToPredicateOperatorType, "ann", c));
  EXPECT_FALSE(answer("Änn", NSEqualToPredicateOperatorType, "ann", c));
  EXPECT_TRUE(answer("Änn", NSEqualToPredicateOperatorType, "Ann", d));
  EXPECT_FALSE(answer("Änn", NSEqualToPredicateOperatorType, "ann", d));
  EXPECT_TRUE(answer("ÄNN", NSEqualToPredicateOperatorType, "ann", c | d));
  EXPECT_TRUE(answer("ann", NSEqualToPredicateOperatorType, "ÄNN", c | d));
  EXPECT_FALSE(answer("ANN", NSNotEqualToPredicateOperatorType, "ann", c));
  EXPECT_TRUE(answer("STRASSE", NSEqualToPredicateOperatorType, "straße", c));
  EXPECT_TRUE(answer("a", NSLessThanPredicateOperatorType, "B", c));
  EXPECT_TRUE(answer("B", NSBetweenPredicateOperatorType, list({"a", "c"}), c));
  EXPECT_TRUE(answer("ANN", NSInPredicateOperatorType, list({"ben", "ann"}), c));
  EXPECT_TRUE(answer(list({"Ben", "ÄNN"}), NSContainsPredicateOperatorType, "ann", c | d));
  EXPECT_TRUE(answer("NN", NSInPredicateOperatorType, "Anna", c));
  EXPECT_FALSE(answer("NN", NSInPredicateOperatorType, "Anna"));
  // Prepared texts are compared as they are, whatever else is asked.
  EXPECT_FALSE(
      answer("ANN", NSEqualToPredicateOperatorType, "ann", c | NSNormalizedPredicateOption));
  EXPECT_TRUE(
      answer("ANN", NSEqualToPredicateOperatorType, "ANN", NSLocaleSensitivePredicateOption));
}

TEST(Comparison, TextOperators) {
  EXPECT_TRUE(answer("Anna", NSBeginsWithPredicateOperatorType, "An"));
  EXPECT_FALSE(answer("Anna", NSBeginsWithPredicateOperatorType, "an"));
  EXPECT_TRUE(answer("Anna", NSBeginsWithPredicateOperatorType, ""));
  EXPECT_TRUE(answer("Anna", NSEndsWithPredicateOperatorType, "na"));
  EXPECT_TRUE(answer("Anna", NSContainsPredicateOperatorType, "nn"));
  EXPECT_FALSE(answer("Anna", NSContainsPredicateOperatorType, "NN"));
  EXPECT_TRUE(answer("nn", NSInPredicateOperatorType, "Anna"));
  EXPECT_TRUE(answer("ÁNNA", NSBeginsWithPredicateOperatorType, "an",
                     NSCaseInsensitivePredicateOption | NSDiacriticInsensitivePredicateOption));
}

TEST(Comparison, LikeHoldsTheWholeTextAgainstWildcards) {
  const struct {
    const char* text;
    const char* pattern;
    bool fits;
  } table[] = {
      {"Anna", "Anna", true}, {"Anna", "Ann", false},  {"Anna", "A*", true},
      {"Anna", "*na", true},  {"Anna", "?nn?", true},  {"Anna", "?nn", false},
      {"", "*", true},        {"", "?", false},        {"😀", "?", true},
      {"a*c", "a\\*c", true}, {"abc", "a\\*c", false}, {"ANNA", "anna", false},
      {"a\nb", "a?b", true},
  };
  for (const auto& [text, pattern, fits] : table) {
    EXPECT_EQ(answer(text, NSLikePredicateOperatorType, pattern), fits) << text << " " << pattern;
  }
  EXPECT_TRUE(answer("ÄNNA", NSLikePredicateOperatorType, "a*",
                     NSCaseInsensitivePredicateOption | NSDiacriticInsensitivePredicateOption));
}

TEST(Comparison, MatchesHoldsTheWholeTextAgainstAnExpression) {
  EXPECT_TRUE(answer("abc123", NSMatchesPredicateOperatorType, "[a-c]+\\d+"));
  EXPECT_FALSE(answer("abc123x", NSMatchesPredicateOperatorType, "[a-c]+\\d+"));
  EXPECT_FALSE(answer("abc", NSMatchesPredicateOperatorType, "b"));
  EXPECT_TRUE(answer("abc", NSMatchesPredicateOperatorType, ".*b.*"));
  EXPECT_TRUE(
      answer("ABC", NSMatchesPredicateOperatorType, "abc", NSCaseInsensitivePredicateOption));
  EXPECT_TRUE(holds(record({{"a", "x.5"}}), "a MATCHES 'x\\\\.\\\\d'"));
}

TEST(Comparison, MalformedExpressionRaisesWhenItIsUsed) {
  const auto predicate = NSPredicate::predicateWithFormat("a MATCHES '['");
  EXPECT_FALSE(predicate->evaluateWithObject(record({})));
  const std::string raised = raisedBy([&] { predicate->evaluateWithObject(record({{"a", "x"}})); });
  EXPECT_EQ(raised.find("NSInvalidArgumentException: Can't do regex matching, reason: "), 0u)
      << raised;
}

TEST(Comparison, ExpressionThatWouldNeverEndRaises) {
  const auto predicate = NSPredicate::predicateWithFormat("a MATCHES '(x+x+)+y'");
  EXPECT_EQ(raisedName([&] {
              predicate->evaluateWithObject(record({{"a", std::string(200, 'x') + "zy"}}));
            }),
            "NSInvalidArgumentException");
}

TEST(Comparison, TextOperatorsRaiseForOtherKinds) {
  for (const auto type : {NSBeginsWithPredicateOperatorType, NSEndsWithPredicateOperatorType,
                          NSLikePredicateOperatorType, NSMatchesPredicateOperatorType}) {
    EXPECT_EQ(raisedName([&] { answer(5, type, "x"); }), "NSInvalidArgumentException") << type;
    EXPECT_EQ(raisedName([&] { answer("x", type, 5); }), "NSInvalidArgumentException") << type;
    EXPECT_EQ(raisedName([&] { answer(list({}), type, "x"); }), "NSInvalidArgumentException");
  }
}

TEST(Comparison, InAndContainsLookIntoCollections) {
  const Value containers[] = {list({1, "a"}), setOf({1, "a"}), orderedSetOf({1, "a"}),
                              record({{"x", 1}, {"y", "a"}})};
  for (const Value& container : containers) {
    EXPECT_TRUE(answer(1, NSInPredicateOperatorType, container)) << container;
    EXPECT_TRUE(answer("a", NSInPredicateOperatorType, container)) << container;
    EXPECT_FALSE(answer("x", NSInPredicateOperatorType, container)) << container;
    EXPECT_FALSE(answer(nullptr, NSInPredicateOperatorType, container)) << container;
    EXPECT_TRUE(answer(container, NSContainsPredicateOperatorType, 1)) << container;
    EXPECT_FALSE(answer(container, NSContainsPredicateOperatorType, 2)) << container;
  }
  EXPECT_FALSE(answer(1, NSInPredicateOperatorType, list({})));
}

TEST(Comparison, NullIsInCollectionsThatHoldIt) {
  const Value nulls[] = {list({1, nullptr}), setOf({1, NSNull::null()}),
                         orderedSetOf({1, NSNull::null()})};
  for (const Value& container : nulls) {
    EXPECT_TRUE(answer(nullptr, NSInPredicateOperatorType, container));
    EXPECT_TRUE(answer(NSNull::null(), NSInPredicateOperatorType, container));
    EXPECT_TRUE(answer(container, NSContainsPredicateOperatorType, nullptr));
  }
  EXPECT_TRUE(holds(record({}), "a IN {1, nil}"));
  EXPECT_TRUE(holds(record({}), "a IN {b, 1}"));
  EXPECT_FALSE(holds(record({}), "a IN {1, 2}"));
  // Also where the nulls are behind a relationship, which as a set would leave them out.
  const Value team = record({{"people", setOf({Person::named(nullptr), Person::named("Ann")})}});
  EXPECT_TRUE(holds(team, "nil IN people.name"));
  EXPECT_TRUE(holds(team, "people.name CONTAINS nil"));
  EXPECT_TRUE(holds(team, "'Ann' IN people.name"));
  EXPECT_FALSE(holds(team, "'Ben' IN people.name"));
}

TEST(Comparison, InAndContainsRaiseForWhatIsNoContainer) {
  EXPECT_EQ(raisedBy([] { answer(1, NSInPredicateOperatorType, 5); }),
            "NSInvalidArgumentException: Can't use in/contains operator with collection 5 (not a "
            "collection)");
  EXPECT_EQ(raisedName([] { answer(5, NSContainsPredicateOperatorType, 1); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { answer(5, NSInPredicateOperatorType, "text"); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { answer("text", NSContainsPredicateOperatorType, 5); }),
            "NSInvalidArgumentException");
}

TEST(Comparison, BetweenIncludesBothEndsAndNeedsAPair) {
  const auto between = NSBetweenPredicateOperatorType;
  EXPECT_TRUE(answer(1, between, list({1, 5})));
  EXPECT_TRUE(answer(5, between, list({1, 5})));
  EXPECT_FALSE(answer(5.5, between, list({1, 5})));
  EXPECT_FALSE(answer(3, between, list({5, 1})));
  EXPECT_FALSE(answer(3, between, list({nullptr, 5})));
  EXPECT_FALSE(answer(3, between, list({1, nullptr})));
  const auto date = [](double seconds) { return NSDate::dateWithTimeIntervalSince1970(seconds); };
  EXPECT_TRUE(answer(date(2), between, list({date(1), date(2)})));
  EXPECT_TRUE(holds(record({{"a", 3}, {"b", 2}}), "a BETWEEN {b, b + 1}"));
  for (const Value& wrong :
       {Value(5), Value("ab"), Value(list({1})), Value(list({1, 2, 3})), Value(setOf({1, 2}))}) {
    EXPECT_EQ(raisedName([&] { answer(3, between, wrong); }), "NSInvalidArgumentException")
        << wrong;
  }
}

TEST(Comparison, ObjectsAnswerCompareOrRaise) {
  const Value old = Person::named("Old", 80), young = Person::named("Young", 8);
  EXPECT_TRUE(answer(young, NSLessThanPredicateOperatorType, old));
  EXPECT_TRUE(answer(old, NSEqualToPredicateOperatorType, old));
  EXPECT_FALSE(answer(old, NSEqualToPredicateOperatorType, young));
  EXPECT_FALSE(answer(old, NSLessThanPredicateOperatorType, 5));
  EXPECT_FALSE(answer(5, NSLessThanPredicateOperatorType, old));
  const std::string raised =
      raisedBy([] { answer(list({1}), NSLessThanPredicateOperatorType, 5); });
  EXPECT_EQ(
      raised.find("NSInvalidArgumentException: -[__NSArrayI compare:]: unrecognized selector"), 0u)
      << raised;
}

TEST(Comparison, CustomSelectorIsSentToTheLeftSide) {
  const Value old = Person::named("Old", 80), young = Person::named("Young", 8);
  const auto older =
      NSComparisonPredicate::predicateWithLeftExpressionRightExpressionCustomSelector(
          NSExpression::expressionForEvaluatedObject(),
          NSExpression::expressionForConstantValue(young), "isOlderThan:");
  EXPECT_TRUE(older->evaluateWithObject(old));
  EXPECT_FALSE(older->evaluateWithObject(young));
  EXPECT_FALSE(older->evaluateWithObject(nullptr));
  EXPECT_EQ(older->customSelector().name(), "isOlderThan:");
  EXPECT_EQ(raisedName([&] { older->evaluateWithObject("text"); }), "NSInvalidArgumentException");
}

Value family() {
  return record({{"kids", list({record({{"age", 3}, {"name", "Ann"}}),
                                record({{"age", 9}, {"name", nullptr}})})},
                 {"none", list({})},
                 {"age", 40}});
}

TEST(Quantifiers, AskTheMembersOfTheLeftSide) {
  const Value object = family();
  EXPECT_TRUE(holds(object, "ANY kids.age > 5"));
  EXPECT_TRUE(holds(object, "SOME kids.age > 5"));
  EXPECT_FALSE(holds(object, "ANY kids.age > 10"));
  EXPECT_FALSE(holds(object, "ALL kids.age > 5"));
  EXPECT_TRUE(holds(object, "ALL kids.age > 2"));
  EXPECT_FALSE(holds(object, "NONE kids.age > 5"));
  EXPECT_TRUE(holds(object, "NONE kids.age > 10"));
  EXPECT_TRUE(holds(object, "ANY kids.age IN {9, 10}"));
  EXPECT_TRUE(holds(object, "ANY {1, 2} == 2"));
  EXPECT_TRUE(holds(object, "ANY kids.age > age / 10"));
}

TEST(Quantifiers, NullsAreMembersToo) {
  const Value object = family();
  EXPECT_TRUE(holds(object, "ANY kids.name == nil"));
  EXPECT_FALSE(holds(object, "ALL kids.name != nil"));
  EXPECT_TRUE(holds(object, "ANY kids.name == 'Ann'"));
  const Value people = record({{"people", setOf({Person::named(nullptr), Person::named("Ann")})}});
  EXPECT_TRUE(holds(people, "ANY people.name == nil"));
  EXPECT_FALSE(holds(people, "ALL people.name == 'Ann'"));
}

TEST(Quantifiers, OfNothing) {
  const Value object = family();
  for (const char* nothing : {"none", "none.age", "missing", "missing.age"}) {
    EXPECT_FALSE(holds(object, "ANY %K == 1", nothing)) << nothing;
    EXPECT_TRUE(holds(object, "ALL %K == 1", nothing)) << nothing;
    EXPECT_TRUE(holds(object, "NONE %K == 1", nothing)) << nothing;
  }
}

TEST(Quantifiers, NeedACollection) {
  for (const char* format : {"ANY age == 1", "ALL age == 1", "ANY SELF == 1"}) {
    EXPECT_EQ(raisedBy([&] { holds(family(), format); }),
              "NSInvalidArgumentException: The left hand side for an ALL or ANY operator must be "
              "either an NSArray or an NSSet.")
        << format;
  }
}

TEST(ComparisonPredicate, RefusesNullAndUnknownOperators) {
  const Ref<NSExpression> one = NSExpression::expressionForConstantValue(1);
  const auto build = [&](const Ref<NSExpression>& left, const Ref<NSExpression>& right, int type) {
    return raisedName([&] {
      NSComparisonPredicate::predicateWithLeftExpressionRightExpressionModifierTypeOptions(
          left, right, NSDirectPredicateModifier, static_cast<NSPredicateOperatorType>(type));
    });
  };
  EXPECT_EQ(build(one, one, 4), "");
  EXPECT_EQ(build(nullptr, one, 4), "NSInvalidArgumentException");
  EXPECT_EQ(build(one, nullptr, 4), "NSInvalidArgumentException");
  EXPECT_EQ(build(one, one, 11), "NSInvalidArgumentException");
  EXPECT_EQ(build(one, one, 12), "NSInvalidArgumentException");
  EXPECT_EQ(build(one, one, 101), "NSInvalidArgumentException");
}

TEST(ComparisonPredicate, KeepsTheListItWasMadeWith) {
  const Ref<NSMutableArray> wanted = NSMutableArray::arrayWithValues({1});
  const auto predicate = NSPredicate::predicateWithFormat("a IN %@", wanted);
  wanted->addObject(2);
  EXPECT_FALSE(predicate->evaluateWithObject(record({{"a", 2}})));
  EXPECT_EQ(predicate->predicateFormat()->utf8(), "a IN {1}");
}

TEST(ComparisonPredicate, PatternsThatComeWithTheObjectsAreEachTheirOwn) {
  const auto predicate = NSPredicate::predicateWithFormat("a MATCHES b");
  for (int round = 0; round < 3; ++round) {
    for (int i = 0; i < 50; ++i) {
      const std::string number = std::to_string(i);
      EXPECT_TRUE(
          predicate->evaluateWithObject(record({{"a", "x" + number}, {"b", ".*" + number}})));
      EXPECT_FALSE(predicate->evaluateWithObject(record({{"a", "x"}, {"b", ".*" + number}})));
    }
  }
}

}  // namespace
}  // namespace JNFoundation
