#include <gtest/gtest.h>
#include <map>
#include <platform/query/NaiveEvaluator.h>
#include <platform/query/RandomPredicates.h>

namespace JNFoundation {
namespace {

using namespace testing;

/// "yes" or "no"; "raises" where the library refuses to answer.
template <class Ask>
std::string answerOf(Ask ask) {
  bool holds = false;
  const std::string raised = raisedName([&] { holds = ask(); });
  if (raised == "NSInvalidArgumentException" || raised == "NSUnknownKeyException") return "raises";
  return !raised.empty() ? raised : holds ? "yes" : "no";
}

TEST(PredicateDifferential, AnswersAreThoseOfANaiveEvaluator) {
  Randomness random;
  JN_TRACE_SEED(random);
  RandomPredicates predicates(random);
  std::map<std::string, int> counts;
#if defined(__SANITIZE_ADDRESS__)
  // What is raised takes the checker long.
  const int rounds = ::JNFoundation::testing::rounds(300, 20'000);
#else
  const int rounds = ::JNFoundation::testing::rounds(2000, 200'000);
#endif
  for (int round = 0; round < rounds; ++round) {
    const Ref<NSPredicate> predicate = predicates.predicate(4);
    const Ref<NSDictionary> variables = predicates.variables();
    const std::string format = predicate->predicateFormat()->toStdString();
    const Ref<NSPredicate> read = NSPredicate::predicateWithFormat(format);
    const Ref<NSPredicate> replaced = predicate->predicateWithSubstitutionVariables(variables);
    const naive::Evaluator evaluator(variables);
    for (int i = 0; i < 5; ++i) {
      const Value family = predicates.family();
      const std::string expected = evaluator.answer(*predicate, family);
      ++counts[expected];
      if (expected == "unknown") continue;
      const std::string told = format + "\n" + family.description()->toStdString() + "\n" +
                               Value(variables).description()->toStdString();
      EXPECT_EQ(answerOf([&] {
                  return predicate->evaluateWithObjectSubstitutionVariables(family, variables);
                }),
                expected)
          << told;
      EXPECT_EQ(answerOf([&] {
                  return read->evaluateWithObjectSubstitutionVariables(family, variables);
                }),
                expected)
          << "read back: " << told;
      EXPECT_EQ(answerOf([&] { return replaced->evaluateWithObject(family); }), expected)
          << "with its variables replaced: " << told;
    }
    if (HasFailure()) return;
  }
  // The test would prove little if most questions had the same answer.
  EXPECT_GT(counts["yes"], rounds);
  EXPECT_GT(counts["no"], rounds);
  EXPECT_LT(counts["raises"], rounds * 2);
  EXPECT_LT(counts["unknown"], rounds / 2);
  for (const auto& [answer, count] : counts) RecordProperty(answer, count);
}

}  // namespace
}  // namespace JNFoundation
