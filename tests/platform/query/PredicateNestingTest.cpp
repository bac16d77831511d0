#include <gtest/gtest.h>
#include <platform/query/Family.h>
#include <pthread.h>

#include <JNFoundation/platform/query/NSComparisonPredicate.h>
#include <JNFoundation/platform/query/NSCompoundPredicate.h>

namespace JNFoundation {
namespace {

using namespace testing;

std::string repeated(const std::string& text, std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i) result += text;
  return result;
}

/// Runs the action on a thread whose stack is as small as other systems give their threads.
template <class Action>
void onSmallStack(Action action) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  // Instrumented frames are more than ten times as large, unoptimised ones several times.
  constexpr std::size_t size = 16 << 20;
#elif !defined(__OPTIMIZE__)
  constexpr std::size_t size = 4 << 20;
#else
  constexpr std::size_t size = 512 << 10;
#endif
  pthread_attr_setstacksize(&attributes, size);
  pthread_t thread;
  const auto run = [](void* argument) -> void* {
    (*static_cast<Action*>(argument))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, run, &action), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

/// Everything that walks a tree.
void walk(const Ref<NSPredicate>& predicate) {
  predicate->evaluateWithObject(record({{"a", 1}}));
  const Ref<NSString> format = predicate->predicateFormat();
  EXPECT_TRUE(predicate->isEqual(Value(predicate->predicateWithSubstitutionVariables(nullptr))));
  EXPECT_EQ(predicate->hash(), predicate->hash());
  EXPECT_GT(format->length(), 0u);
}

struct Nest {
  const char* name;
  std::string head;
  std::string open;
  std::string inside;
  std::string close;
  std::string tail;
};
void PrintTo(const Nest& nest, std::ostream* stream) { *stream << nest.name; }

class PredicateNesting : public ::testing::TestWithParam<Nest> {
 protected:
  static std::string format(std::size_t levels) {
    const Nest& nest = GetParam();
    return nest.head + repeated(nest.open, levels) + nest.inside + repeated(nest.close, levels) +
           nest.tail;
  }
};

TEST_P(PredicateNesting, IsReadUpToTheLimit) {
  onSmallStack([&] {
    // Each of these forms has up to three levels of the tree.
    for (const std::size_t levels : {1u, 10u, 160u}) {
      walk(NSPredicate::predicateWithFormat(format(levels)));
    }
  });
}

TEST_P(PredicateNesting, IsRefusedPastTheLimit) {
  onSmallStack([&] {
    for (const std::size_t levels : {501u, 600u, 100'000u}) {
      const std::string text = format(levels);
      const std::string raised = raisedBy([&] { NSPredicate::predicateWithFormat(text); });
      EXPECT_EQ(raised.find("NSInvalidArgumentException: Unable to parse the format string \"" +
                            text + "\""),
                0u)
          << raised.substr(raised.size() - 100);
    }
  });
}

INSTANTIATE_TEST_SUITE_P(Forms, PredicateNesting,
                         ::testing::ValuesIn(std::vector<Nest>{
                             {"parentheses", "", "(", "a == 1", ")", ""},
                             {"values in parentheses", "", "(", "a", ")", " == 1"},
                             {"negations", "", "NOT ", "a == 1", "", ""},
                             {"bangs", "", "!", "a == 1", "", ""},
                             {"and", "", "(a == 1 AND ", "a == 1", ")", ""},
                             {"or and", "", "(a == 2 OR a == 1 AND NOT ", "a == 2", ")", ""},
                             {"sums", "", "(1 + ", "a", ")", " == 1"},
                             {"sums of products", "", "(1 + 2 * - ", "a", ")", " == 1"},
                             {"powers", "", "1 ** ", "a", "", " == 1"},
                             {"signs", "", "- ", "a", "", " == 1"},
                             {"lists", "a IN ", "{", "1", "}", ""},
                             {"calls", "", "abs(", "a", ")", " == 1"},
                             {"indexes", "", "b[", "1", "]", " == 1"},
                             {"subqueries", "", "SUBQUERY(b, $x, ", "a == 1", ").@count == 0", ""},
                             {"conditions", "", "TERNARY(", "a == 1", ", 1, 2) == 1", ""},
                         }));

TEST(PredicateNestingLimit, IsExact) {
  const auto parentheses = [](std::size_t levels) {
    return repeated("(", levels) + "a == 1" + repeated(")", levels);
  };
  EXPECT_EQ(understood(parentheses(maximumNestingOfPredicates).c_str()), "a == 1");
  EXPECT_EQ(raisedName([&] { understood(parentheses(maximumNestingOfPredicates + 1).c_str()); }),
            "NSInvalidArgumentException");
  // The comparison, its key path and where that starts are three levels.
  const auto negations = [](std::size_t levels) { return repeated("NOT ", levels) + "a == 1"; };
  EXPECT_EQ(NSPredicate::predicateWithFormat(negations(497))->nesting(), 500u);
  EXPECT_EQ(raisedName([&] { understood(negations(498).c_str()); }), "NSInvalidArgumentException");
}

TEST(PredicateNestingLimit, HoldsForTreesMadeByCode) {
  Ref<NSPredicate> predicate = NSPredicate::predicateWithValue(true);
  for (unsigned i = 1; i < maximumNestingOfPredicates; ++i) {
    predicate = NSCompoundPredicate::notPredicateWithSubpredicate(predicate);
  }
  EXPECT_EQ(predicate->nesting(), maximumNestingOfPredicates);
  EXPECT_FALSE(predicate->evaluateWithObject(nullptr));
  onSmallStack([&] { walk(predicate); });
  EXPECT_EQ(raisedName([&] { NSCompoundPredicate::notPredicateWithSubpredicate(predicate); }),
            "NSInvalidArgumentException");
  Ref<NSExpression> expression = NSExpression::expressionForConstantValue(1);
  EXPECT_EQ(raisedName([&] {
              for (;;) {
                expression =
                    NSExpression::expressionForFunctionArguments("abs:", list({expression}));
              }
            }),
            "NSInvalidArgumentException");
  EXPECT_EQ(expression->nesting(), maximumNestingOfPredicates);
  EXPECT_EQ(expression->expressionValueWithObjectContext(nullptr, nullptr), 1);
}

TEST(PredicateNestingLimit, DoesNotCountWhatStandsSideBySide) {
  std::string format = "a == 0";
  for (int i = 1; i < 20'000; ++i) format += " OR a == " + std::to_string(i);
  const auto predicate = NSPredicate::predicateWithFormat(format);
  EXPECT_EQ(predicate->nesting(), 4u);
  EXPECT_TRUE(predicate->evaluateWithObject(record({{"a", 19'999}})));
  EXPECT_FALSE(predicate->evaluateWithObject(record({{"a", 20'000}})));
}

TEST(PredicateNestingLimit, SumsNestToTheLeft) {
  const auto sum = [](int count) { return "a == 1" + repeated(" + 1", count); };
  EXPECT_TRUE(holds(record({{"a", 400}}), sum(399).c_str()));
  const std::string raised = raisedBy([&] { understood(sum(600).c_str()); });
  EXPECT_EQ(raised.find("NSInvalidArgumentException: Unable to parse the format string"), 0u);
  EXPECT_NE(raised.find("more than 500 levels"), std::string::npos);
}

}  // namespace
}  // namespace JNFoundation
