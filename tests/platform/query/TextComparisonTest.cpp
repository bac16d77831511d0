#include <gtest/gtest.h>
#include <platform/value/Raising.h>

#include <JNFoundation/platform/query/TextComparison.h>
#include <JNFoundation/platform/text/TextMatch.h>

namespace JNFoundation {
namespace {

using namespace testing;

const char* const texts[] = {"",      "a",     "A", "ab", "Ab", "b",  "é",      "e\u0301",
                             "É",     "e",     "E", "ß",  "ss", "SS", "straße", "STRASSE",
                             "Äpfel", "apfel", "ﬁ", "fi", "😀",  "İ",  "i",      "a\0b"};

/// The plain definitions, folding both sides each time.
bool expected(NSPredicateOperatorType type, std::string_view left, std::string_view right,
              Fold fold) {
  switch (type) {
    case NSLessThanPredicateOperatorType:
      return compareFolded(left, right, fold) < 0;
    case NSLessThanOrEqualToPredicateOperatorType:
      return compareFolded(left, right, fold) <= 0;
    case NSGreaterThanPredicateOperatorType:
      return compareFolded(left, right, fold) > 0;
    case NSGreaterThanOrEqualToPredicateOperatorType:
      return compareFolded(left, right, fold) >= 0;
    case NSEqualToPredicateOperatorType:
      return compareFolded(left, right, fold) == 0;
    case NSNotEqualToPredicateOperatorType:
      return compareFolded(left, right, fold) != 0;
    case NSBeginsWithPredicateOperatorType:
      return hasPrefixFolded(left, right, fold);
    case NSEndsWithPredicateOperatorType:
      return hasSuffixFolded(left, right, fold);
    case NSContainsPredicateOperatorType:
      return containsFolded(left, right, fold);
    case NSInPredicateOperatorType:
      return containsFolded(right, left, fold);
    case NSLikePredicateOperatorType:
      return LikePattern(right, fold).matches(left);
    default:
      return false;
  }
}

TEST(TextComparison, FoldingAheadAnswersAsFoldingEachTime) {
  for (unsigned options = 0; options < 8; ++options) {
    const Fold fold = options & 4 ? Fold::None : static_cast<Fold>(options & 3);
    for (const unsigned type : {0u, 1u, 2u, 3u, 4u, 5u, 7u, 8u, 9u, 10u, 99u}) {
      const auto operation = static_cast<NSPredicateOperatorType>(type);
      for (const char* right : texts) {
        const TextComparison comparison(operation,
                                        static_cast<NSComparisonPredicateOptions>(options), right);
        for (const char* left : texts) {
          EXPECT_EQ(comparison.matches(left), expected(operation, left, right, fold))
              << left << " " << type << " " << right << " [" << options << "]";
        }
      }
    }
  }
}

TEST(TextComparison, CopiesShareWhatWasCompiled) {
  const auto make = [] {
    const TextComparison first(NSMatchesPredicateOperatorType, {}, "a+");
    TextComparison copy = first;
    return copy;
  };
  const TextComparison comparison = make();
  EXPECT_TRUE(comparison.matches("aaa"));
  EXPECT_FALSE(comparison.matches("aab"));
}

TEST(TextComparison, TellsWhatIsWrongWithAnExpression) {
  const TextComparison comparison(NSMatchesPredicateOperatorType, {}, "(");
  const std::string raised = raisedBy([&] { comparison.matches("x"); });
  EXPECT_EQ(raised.find("NSInvalidArgumentException: Can't do regex matching, reason: "), 0u);
  EXPECT_NE(raised.find("(pattern \"(\")"), std::string::npos) << raised;
}

}  // namespace
}  // namespace JNFoundation
