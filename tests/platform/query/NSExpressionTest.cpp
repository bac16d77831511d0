#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <platform/query/Family.h>

#include <JNFoundation/platform/query/NSExpression.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>

namespace JNFoundation {
namespace {

using namespace testing;

constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();

/// The function of the arguments.
Value call(const char* function, std::vector<Value> arguments) {
  return NSExpression::expressionForFunctionArguments(function, list(std::move(arguments)))
      ->expressionValueWithObjectContext(nullptr, nullptr);
}

bool isInteger(const Value& value) { return value.kind() == Value::Kind::Integer; }
bool isDouble(const Value& value) { return value.kind() == Value::Kind::Double; }

TEST(Expression, ByType) {
  const Ref<NSMutableDictionary> context = NSMutableDictionary::dictionaryWithEntries({{"x", 7}});
  const Value object = record({{"a", record({{"b", 5}})}});
  const auto evaluate = [&](const Ref<NSExpression>& expression) {
    return expression->expressionValueWithObjectContext(object, context);
  };
  EXPECT_EQ(evaluate(NSExpression::expressionForConstantValue(3)), 3);
  EXPECT_EQ(evaluate(NSExpression::expressionForConstantValue(nullptr)), nullptr);
  EXPECT_EQ(evaluate(NSExpression::expressionForEvaluatedObject()), object);
  EXPECT_EQ(evaluate(NSExpression::expressionForVariable("x")), 7);
  EXPECT_EQ(evaluate(NSExpression::expressionForKeyPath("a.b")), 5);
  EXPECT_EQ(evaluate(NSExpression::expressionForAggregate(
                list({NSExpression::expressionForKeyPath("a.b"), 2,
                      NSExpression::expressionForConstantValue(nullptr)}))),
            Value(list({5, 2, nullptr})));
  EXPECT_EQ(evaluate(NSExpression::expressionForConditionalTrueExpressionFalseExpression(
                NSPredicate::predicateWithFormat("a.b == 5"),
                NSExpression::expressionForConstantValue("yes"),
                NSExpression::expressionForConstantValue("no"))),
            "yes");
  EXPECT_EQ(evaluate(NSExpression::expressionForBlockArguments(
                [](const Value& of, const Ref<NSArray>& arguments,
                   const Ref<NSMutableDictionary>& variables) {
                  return Value(list({valueForKeyPath(of, "a.b"), arguments->count(),
                                     variables->objectForKey("x")}));
                },
                list({1, 2}))),
            Value(list({5, 2, 7})));
  EXPECT_EQ(raisedName([&] { evaluate(NSExpression::expressionForAnyKey()); }),
            "NSInvalidArgumentException");
}

TEST(Expression, AccessorsThatDoNotFitRaise) {
  EXPECT_EQ(raisedBy([] { NSExpression::expressionForVariable("x")->keyPath(); }),
            "NSInvalidArgumentException: *** -keyPath only defined for abstract class.  Define "
            "-[NSVariableExpression keyPath]!");
  const Ref<NSExpression> constant = NSExpression::expressionForConstantValue(1);
  EXPECT_EQ(raisedName([&] { constant->function(); }), "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([&] { constant->arguments(); }), "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([&] { constant->operand(); }), "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([&] { constant->collection(); }), "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([&] { constant->predicate(); }), "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([&] { constant->leftExpression(); }), "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([&] { constant->trueExpression(); }), "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([&] { constant->variable(); }), "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([&] { constant->expressionBlock(); }), "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { NSExpression::expressionForKeyPath("a")->constantValue(); }),
            "NSInvalidArgumentException");
}

TEST(Expression, TellsItsPartsToWhoeverTranslatesIt) {
  const auto sum = NSExpression::expressionWithFormat("$x.a.b + 1");
  EXPECT_EQ(sum->expressionType(), NSFunctionExpressionType);
  EXPECT_EQ(sum->function()->utf8(), "add:to:");
  const Ref<NSExpression> path = as<NSExpression>(sum->arguments()->objectAtIndex(0));
  EXPECT_EQ(path->expressionType(), NSKeyPathExpressionType);
  EXPECT_EQ(path->keyPath()->utf8(), "a.b");
  EXPECT_EQ(path->operand()->variable()->utf8(), "x");
  EXPECT_EQ(NSExpression::expressionForKeyPath("a")->operand()->expressionType(),
            NSEvaluatedObjectExpressionType);
  const auto subquery = NSExpression::expressionWithFormat("SUBQUERY(a, $y, $y == 1)");
  EXPECT_EQ(subquery->variable()->utf8(), "y");
  EXPECT_EQ(as<NSExpression>(subquery->collection())->keyPath()->utf8(), "a");
  EXPECT_EQ(subquery->predicate()->predicateFormat()->utf8(), "$y == 1");
  const auto difference = NSExpression::expressionWithFormat("a MINUS b");
  EXPECT_EQ(difference->expressionType(), NSMinusSetExpressionType);
  EXPECT_EQ(difference->leftExpression()->keyPath()->utf8(), "a");
  EXPECT_EQ(difference->rightExpression()->keyPath()->utf8(), "b");
}

TEST(Expression, FactoriesRefuseNull) {
  EXPECT_EQ(raisedName([] { NSExpression::expressionForVariable(nullptr); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { NSExpression::expressionForKeyPath(nullptr); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { NSExpression::expressionForAggregate(nullptr); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { NSExpression::expressionForUnionSetWith(nullptr, nullptr); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { NSExpression::expressionForFunctionArguments(nullptr, nullptr); }),
            "NSInvalidArgumentException");
}

TEST(Functions, UnknownNamesAndWrongCountsRaiseAtOnce) {
  EXPECT_EQ(raisedName([] { NSExpression::expressionForFunctionArguments("foo:", list({1})); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { NSExpression::expressionForFunctionArguments("sum", list({1})); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { NSExpression::expressionForFunctionArguments("max:", list({})); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] {
              NSExpression::expressionForFunctionArguments("sqrt:", list({1, 2}));
            }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { NSExpression::expressionForFunctionArguments("now", list({1})); }),
            "NSInvalidArgumentException");
}

TEST(Functions, AggregatesOfOneCollectionOrOfTheArguments) {
  const Value sample = list({1, 2, 3, 4, 4, 5, 9, 11});
  EXPECT_EQ(call("sum:", {sample}), 39);
  EXPECT_EQ(call("count:", {sample}), 8);
  EXPECT_EQ(call("average:", {sample}), 4.875);
  EXPECT_EQ(call("min:", {sample}), 1);
  EXPECT_EQ(call("max:", {sample}), 11);
  EXPECT_EQ(call("median:", {sample}), 4);
  EXPECT_EQ(call("mode:", {sample}), Value(list({4})));
  EXPECT_NEAR(call("stddev:", {sample}).doubleValue(), 3.21859, 0.00001);
  EXPECT_EQ(call("max:", {1, 5, 10}), 10);
  EXPECT_EQ(call("sum:", {1, 2.5}), 3.5);
  EXPECT_EQ(call("sum:", {5}), 5);
  EXPECT_EQ(call("sum:", {setOf({1, 2})}), 3);
  EXPECT_EQ(call("max:", {orderedSetOf({1, 2})}), 2);
  EXPECT_EQ(call("median:", {list({3, 1, 2})}), 2);
  EXPECT_EQ(call("median:", {list({1, 2, 3, 10})}), 2.5);
  EXPECT_EQ(call("mode:", {list({2, 1, 1, 2, 3})}), Value(list({2, 1})));
  EXPECT_EQ(call("max:", {list({"b", "a"})}), "b");
}

TEST(Functions, AggregatesIgnoreNull) {
  const Value sample = list({nullptr, 2, 4, nullptr});
  EXPECT_EQ(call("sum:", {sample}), 6);
  EXPECT_EQ(call("count:", {sample}), 2);
  EXPECT_EQ(call("average:", {sample}), 3);
  EXPECT_EQ(call("min:", {sample}), 2);
  EXPECT_EQ(call("stddev:", {sample}), 1);
}

TEST(Functions, AggregatesOfNothing) {
  for (const Value& nothing : {Value(list({})), Value(setOf({})), Value(NSNull::null())}) {
    EXPECT_EQ(call("sum:", {nothing}), 0);
    EXPECT_EQ(call("count:", {nothing}), 0);
    EXPECT_EQ(call("average:", {nothing}), 0);
    EXPECT_EQ(call("min:", {nothing}), nullptr);
    EXPECT_EQ(call("max:", {nothing}), nullptr);
    EXPECT_EQ(call("median:", {nothing}), nullptr);
    EXPECT_EQ(call("stddev:", {nothing}), nullptr);
    EXPECT_EQ(call("mode:", {nothing}), Value(list({})));
  }
}

TEST(Functions, AggregatesOfAKeyPathTakeEverySingleValue) {
  const Value same = record({{"people", setOf({Person::named("A", 5), Person::named("B", 5),
                                               Person::named("C", nullptr)})}});
  EXPECT_EQ(valueOf(same, "sum(people.age)"), 10);
  EXPECT_EQ(valueOf(same, "count(people.age)"), 2);
  EXPECT_EQ(valueOf(same, "count(people)"), 3);
  EXPECT_EQ(valueOf(same, "average(people.age)"), 5);
  EXPECT_EQ(valueOf(same, "max(people.age)"), 5);
  EXPECT_EQ(valueOf(same, "sum(missing.age)"), 0);
  EXPECT_EQ(valueOf(record({{"x", 4}}), "sum(x)"), 4);
}

TEST(Arithmetic, KeepsIntegersIntegers) {
  const struct {
    const char* format;
    Value result;
  } table[] = {
      {"1 + 2", 3},
      {"5 - 7", -2},
      {"3 * -4", -12},
      {"7 / 2", 3},
      {"-7 / 2", -3},
      {"2 ** 10", 1024},
      {"(-2) ** 3", -8},
      {"2 ** 0", 1},
      {"4 + 5 - 2**3", 1},
      {"2 + 3 * 4 ** 2", 50},
      {"YES + YES", 2},
      {"-2 ** 2", -4},
      {"modulus:by:(7, 3)", 1},
      {"modulus:by:(-7, 3)", -1},
      {"abs(-5)", 5},
      {"floor(5)", 5},
  };
  for (const auto& [format, result] : table) {
    const Value value = valueOf(nullptr, format);
    EXPECT_EQ(value, result) << format;
    EXPECT_TRUE(isInteger(value)) << format;
  }
}

TEST(Arithmetic, WithADoubleIsDouble) {
  const struct {
    const char* format;
    double result;
  } table[] = {
      {"7.0 / 2", 3.5},   {"7 / 2.0", 3.5},
      {"1 + 0.5", 1.5},   {"2 ** 0.5", std::sqrt(2.0)},
      {"2 ** -1", 0.5},   {"modulus:by:(7.5, 2)", 1.5},
      {"abs(-0.5)", 0.5}, {"- 0.5 * 2", -1.0},
  };
  for (const auto& [format, result] : table) {
    const Value value = valueOf(nullptr, format);
    EXPECT_TRUE(isDouble(value)) << format;
    EXPECT_DOUBLE_EQ(value.doubleValue(), result) << format;
  }
}

TEST(Arithmetic, OverflowBecomesADouble) {
  EXPECT_EQ(call("add:to:", {highest, 1}).doubleValue(), 0x1p63);
  EXPECT_TRUE(isDouble(call("add:to:", {highest, 1})));
  EXPECT_TRUE(isInteger(call("add:to:", {highest, 0})));
  EXPECT_TRUE(isDouble(call("from:subtract:", {lowest, 1})));
  EXPECT_TRUE(isDouble(call("multiply:by:", {highest, 2})));
  EXPECT_TRUE(isDouble(call("divide:by:", {lowest, -1})));
  EXPECT_EQ(call("divide:by:", {lowest, -1}), 0x1p63);
  EXPECT_EQ(call("modulus:by:", {lowest, -1}), 0);
  EXPECT_TRUE(isDouble(call("abs:", {lowest})));
  EXPECT_TRUE(isInteger(call("raise:toPower:", {2, 62})));
  EXPECT_TRUE(isDouble(call("raise:toPower:", {2, 63})));
  EXPECT_EQ(call("raise:toPower:", {2, 63}), 0x1p63);
  EXPECT_EQ(call("raise:toPower:", {-2, 63}), lowest);
  EXPECT_TRUE(std::isinf(call("raise:toPower:", {10, 400}).doubleValue()));
  EXPECT_EQ(call("raise:toPower:", {1, highest}), 1);
  EXPECT_EQ(call("raise:toPower:", {-1, highest}), -1);
}

TEST(Arithmetic, HasNoResultWhereThereIsNone) {
  for (const char* format :
       {"1 / 0", "1.0 / 0", "1 / 0.0", "0 / 0", "modulus:by:(5, 0)", "nil + 1", "1 - nil",
        "nil / 0", "sqrt(-1)", "log(0)", "ln(-1)", "ln(0)", "abs(nil)", "-missing", "(-8) ** 0.5",
        "floor(nil)", "uppercase(nil)"}) {
    EXPECT_EQ(valueOf(record({}), format), nullptr) << format;
  }
  EXPECT_FALSE(holds(record({}), "1 / 0 > 0"));
  EXPECT_TRUE(holds(record({}), "1 / 0 == nil"));
}

TEST(Arithmetic, RaisesForWhatIsNoNumber) {
  for (const char* format : {"'5' + 1", "1 + '5'", "{1} * 2", "now() - 1", "sqrt('4')",
                             "uppercase(5)", "abs({})", "bitwiseAnd:with:('a', 1)"}) {
    EXPECT_EQ(raisedName([&] { valueOf(record({}), format); }), "NSInvalidArgumentException")
        << format;
  }
}

TEST(Arithmetic, WithDecimalsIsExact) {
  const Value cents = NSDecimalNumber::decimalNumberWithString("0.10");
  const Value sum = valueOf(nullptr, "%@ + %@ + %@", cents, cents, cents);
  EXPECT_TRUE(isKindOf<NSDecimalNumber>(sum));
  EXPECT_EQ(sum.stringValue()->utf8(), "0.3");
  EXPECT_TRUE(holds(nullptr, "%@ * 3 == 0.3", cents));
  EXPECT_EQ(valueOf(nullptr, "%@ / 4", cents).stringValue()->utf8(), "0.025");
  EXPECT_EQ(valueOf(nullptr, "%@ / 0", cents), nullptr);
  EXPECT_TRUE(isDouble(valueOf(nullptr, "%@ * 0.5", cents)));
  const Value huge = NSDecimalNumber::decimalNumberWithString("1e127");
  EXPECT_TRUE(isDouble(valueOf(nullptr, "%@ * %@", huge, huge)));
}

TEST(Functions, OfNumbers) {
  EXPECT_EQ(call("sqrt:", {9}), 3);
  EXPECT_EQ(call("log:", {1000}), 3);
  EXPECT_DOUBLE_EQ(call("ln:", {std::exp(2)}).doubleValue(), 2);
  EXPECT_DOUBLE_EQ(call("exp:", {1}).doubleValue(), std::exp(1));
  EXPECT_EQ(call("ceiling:", {1.2}), 2);
  EXPECT_EQ(call("floor:", {-1.2}), -2);
  EXPECT_EQ(call("trunc:", {-1.7}), -1);
  EXPECT_TRUE(isDouble(call("trunc:", {1.7})));
  EXPECT_EQ(call("noindex:", {5}), 5);
  EXPECT_EQ(call("bitwiseAnd:with:", {6, 3}), 2);
  EXPECT_EQ(call("bitwiseOr:with:", {6, 3}), 7);
  EXPECT_EQ(call("bitwiseXor:with:", {6, 3}), 5);
  EXPECT_EQ(call("onesComplement:", {0}), -1);
  EXPECT_EQ(call("leftshift:by:", {1, 4}), 16);
  EXPECT_EQ(call("leftshift:by:", {1, 64}), 0);
  EXPECT_EQ(call("leftshift:by:", {1, -1}), nullptr);
  EXPECT_EQ(call("rightshift:by:", {-16, 2}), -4);
  EXPECT_EQ(call("rightshift:by:", {-16, 100}), -1);
}

TEST(Functions, OfText) {
  EXPECT_EQ(call("uppercase:", {"straße"}), "STRASSE");
  EXPECT_EQ(call("lowercase:", {"ÄB"}), "äb");
  EXPECT_TRUE(holds(record({{"name", "ann"}}), "uppercase(name) == 'ANN'"));
}

TEST(Functions, OfChanceAndTime) {
  for (int i = 0; i < 1000; ++i) {
    const double fraction = call("random", {}).doubleValue();
    EXPECT_GE(fraction, 0);
    EXPECT_LT(fraction, 1);
    const Value integer = call("random:", {3});
    EXPECT_TRUE(isInteger(integer) && integer.integerValue() >= 0 && integer.integerValue() < 3);
  }
  EXPECT_EQ(call("random:", {0}), nullptr);
  const double before = NSDate::date().timeIntervalSince1970();
  const Value now = call("now", {});
  ASSERT_TRUE(now.isDate());
  EXPECT_GE(now.timeIntervalSince1970(), before);
  EXPECT_TRUE(holds(nullptr, "now() >= %@", NSDate::dateWithTimeIntervalSince1970(before)));
}

TEST(Functions, Casts) {
  const Value date = NSDate::dateWithTimeIntervalSinceReferenceDate(100);
  EXPECT_EQ(valueOf(nullptr, "CAST(100, 'NSDate')"), date);
  EXPECT_EQ(valueOf(record({{"a", 100}}), "CAST(a, 'NSDate')"), date);
  EXPECT_EQ(valueOf(nullptr, "CAST(%@, 'NSNumber')", date), 100);
  EXPECT_EQ(valueOf(nullptr, "CAST('1.5', 'NSNumber')"), 1.5);
  EXPECT_EQ(valueOf(nullptr, "CAST(15, 'NSString')"), "15");
  EXPECT_TRUE(isKindOf<NSDecimalNumber>(valueOf(nullptr, "CAST('0.1', 'NSDecimalNumber')")));
  EXPECT_EQ(valueOf(nullptr, "CAST('x', 'NSDate')"), nullptr);
  EXPECT_EQ(valueOf(nullptr, "CAST(nil, 'NSDate')"), nullptr);
  EXPECT_EQ(valueOf(nullptr, "CAST('x', 'NSArray')"), nullptr);
  EXPECT_EQ(raisedName([] { valueOf(nullptr, "CAST(1, 'NoSuchClass')"); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { valueOf(nullptr, "CAST(1, 2)"); }), "NSInvalidArgumentException");
}

TEST(Functions, Indexes) {
  const Value object = record({{"list", list({"a", "b", "c"})},
                               {"ordered", orderedSetOf({1, 2})},
                               {"map", record({{"k", 5}})},
                               {"i", 1}});
  EXPECT_EQ(valueOf(object, "list[0]"), "a");
  EXPECT_EQ(valueOf(object, "list[i]"), "b");
  EXPECT_EQ(valueOf(object, "list[i + 1]"), "c");
  EXPECT_EQ(valueOf(object, "list[FIRST]"), "a");
  EXPECT_EQ(valueOf(object, "list[LAST]"), "c");
  EXPECT_EQ(valueOf(object, "list[SIZE]"), 3);
  EXPECT_EQ(valueOf(object, "ordered[LAST]"), 2);
  EXPECT_EQ(valueOf(object, "map['k']"), 5);
  EXPECT_EQ(valueOf(object, "map[SIZE]"), 1);
  EXPECT_EQ(valueOf(object, "map['missing']"), nullptr);
  EXPECT_EQ(valueOf(object, "list[3]"), nullptr);
  EXPECT_EQ(valueOf(object, "list[-1]"), nullptr);
  EXPECT_EQ(valueOf(object, "missing[0]"), nullptr);
  EXPECT_EQ(valueOf(object, "{}[FIRST]"), nullptr);
  EXPECT_EQ(raisedName([&] { valueOf(object, "i[0]"); }), "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([&] { valueOf(object, "list['k']"); }), "NSInvalidArgumentException");
}

TEST(Functions, Sets) {
  const Value object =
      record({{"a", setOf({1, 2})}, {"b", list({2, 3, 3})}, {"m", record({{"k", 1}})}});
  EXPECT_EQ(valueOf(object, "a UNION b"), Value(setOf({1, 2, 3})));
  EXPECT_EQ(valueOf(object, "a INTERSECT b"), Value(setOf({2})));
  EXPECT_EQ(valueOf(object, "a MINUS b"), Value(setOf({1})));
  EXPECT_EQ(valueOf(object, "a MINUS m"), Value(setOf({2})));
  EXPECT_EQ(valueOf(object, "a UNION missing"), Value(setOf({1, 2})));
  EXPECT_EQ(valueOf(object, "(a UNION b).@count"), 3);
  EXPECT_EQ(raisedName([&] { valueOf(object, "a UNION 5"); }), "NSInvalidArgumentException");
}

TEST(Functions, SelectorsAreSentToObjects) {
  const Value object = record({{"name", "Anna"}});
  EXPECT_EQ(valueOf(object, "FUNCTION(name, 'length')"), 4);
  EXPECT_EQ(valueOf(object, "FUNCTION(name, 'substringToIndex:', 2)"), "An");
  EXPECT_EQ(valueOf(object, "FUNCTION(missing, 'length')"), nullptr);
  EXPECT_EQ(raisedName([&] { valueOf(object, "FUNCTION(name, 'shoe')"); }),
            "NSInvalidArgumentException");
}

TEST(Expression, EqualWhereTheStructureIs) {
  const char* formats[] = {"a",
                           "b",
                           "a.b",
                           "$a",
                           "$a.b",
                           "1",
                           "'a'",
                           "SELF",
                           "{a}",
                           "{a, b}",
                           "a + b",
                           "b + a",
                           "a - b",
                           "sum(a)",
                           "FUNCTION(a, 'sum')",
                           "a UNION b",
                           "a MINUS b",
                           "TERNARY(a == 1, 2, 3)",
                           "SUBQUERY(a, $x, $x == 1)",
                           "SUBQUERY(a, $y, $y == 1)",
                           "a[0]",
                           "a[FIRST]",
                           "ANYKEY",
                           "nil"};
  for (const char* left : formats) {
    for (const char* right : formats) {
      const auto one = NSExpression::expressionWithFormat(left);
      const auto other = NSExpression::expressionWithFormat(right);
      const bool same = std::string_view(left) == right;
      EXPECT_EQ(one->isEqual(Value(other)), same) << left << " / " << right;
      if (same) {
        EXPECT_EQ(one->hash(), other->hash()) << left;
      }
    }
  }
}

TEST(Expression, TellsNumbersApartThatArithmeticTellsApart) {
  const auto half = [](const Value& number) {
    return NSExpression::expressionWithFormat("%@ / 2", number);
  };
  const Value decimal = NSDecimalNumber::decimalNumberWithString("7");
  EXPECT_TRUE(half(7)->isEqual(Value(half(std::uint64_t{7}))));
  EXPECT_TRUE(half(7.0)->isEqual(Value(half(7.0f))));
  EXPECT_FALSE(half(7)->isEqual(Value(half(7.0))));
  EXPECT_FALSE(half(7)->isEqual(Value(half(decimal))));
  EXPECT_FALSE(half(7.0)->isEqual(Value(half(decimal))));
  EXPECT_TRUE(half(decimal)->isEqual(Value(half(decimal))));
}

TEST(Expression, SubstitutesItsVariables) {
  const auto expression = NSExpression::expressionWithFormat("{$a + 1, abs($b)}");
  EXPECT_EQ(expression->expressionWithSubstitutionVariables(record({{"a", 1}, {"b", 2}}))
                ->description()
                ->utf8(),
            "{1 + 1, abs(2)}");
  const auto none = NSExpression::expressionWithFormat("a + 1");
  EXPECT_EQ(none->expressionWithSubstitutionVariables(nullptr).get(), none.get());
}

}  // namespace
}  // namespace JNFoundation
