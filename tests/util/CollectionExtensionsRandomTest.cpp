#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <map>
#include <numeric>
#include <vector>

#include "platform/text/Randomness.h"

#include <JNFoundation/platform/dispatch/Random.h>
#include <JNFoundation/util/CollectionExtensions.h>
#include <JNFoundation/util/NSArray+PLVExtensions.h>

namespace JNFoundation {
namespace {

using testing::Randomness;
using testing::rounds;

std::vector<int> numbered(std::size_t count) {
  std::vector<int> numbers(count);
  std::iota(numbers.begin(), numbers.end(), 0);
  return numbers;
}

Ref<NSArray> numberedValues(std::size_t count) {
  std::vector<Value> values;
  for (std::size_t i = 0; i < count; ++i) values.emplace_back(i);
  return NSArray::arrayWithValues(std::move(values));
}

/// How far the counts are from being alike, which for true chance is about the number of kinds less
/// one.
double chiSquare(const std::vector<int>& counts, int draws) {
  const double expected = draws / static_cast<double>(counts.size());
  double sum = 0;
  for (const int count : counts) sum += (count - expected) * (count - expected) / expected;
  return sum;
}

/// True chance is beyond this once in a thousand million runs: Wilson and Hilferty's approximation,
/// six deviations from the middle.
double chiSquareLimit(std::size_t kinds) {
  const double freedom = static_cast<double>(kinds - 1);
  const double root = 1 - 2 / (9 * freedom) + 6 * std::sqrt(2 / (9 * freedom));
  return freedom * root * root * root;
}

/// How often each of the 120 orders of five elements came out.
template <class Shuffle>
std::vector<int> ordersCounted(int draws, Shuffle&& shuffle) {
  std::map<std::vector<int>, int> counted;
  for (int i = 0; i < draws; ++i) ++counted[shuffle()];
  std::vector<int> counts;
  counts.reserve(counted.size());
  for (const auto& [order, count] : counted) counts.push_back(count);
  counts.resize(std::max<std::size_t>(counts.size(), 120));
  return counts;
}

class ChanceTest : public ::testing::Test {
 protected:
  Randomness randomness;
  RandomSourceScope scope{seededRandomSource(static_cast<std::uint32_t>(randomness.seed()))};
};

TEST_F(ChanceTest, EveryOrderOfFiveIsAsLikelyAsAnyOther) {
  JN_TRACE_SEED(randomness);
  const int draws = rounds(60000, 1200000);
  const std::vector<int> five = numbered(5);
  const auto counts = ordersCounted(draws, [&] { return shuffle(five); });
  ASSERT_EQ(counts.size(), 120u);
  EXPECT_LT(chiSquare(counts, draws), chiSquareLimit(120));
}

TEST_F(ChanceTest, EveryOrderOfFiveValuesIsAsLikelyAsAnyOther) {
  JN_TRACE_SEED(randomness);
  const int draws = rounds(60000, 1200000);
  const auto array = NSMutableArray::arrayWithArray(numberedValues(5));
  const auto counts = ordersCounted(draws, [&] {
    // Each shuffle starts from what the last one left, which must not matter.
    shuffleInPlace(array);
    std::vector<int> order;
    for (const Value& value : array) order.push_back(value.intValue());
    return order;
  });
  ASSERT_EQ(counts.size(), 120u);
  EXPECT_LT(chiSquare(counts, draws), chiSquareLimit(120));
}

TEST_F(ChanceTest, AShuffleThatFavoursOrdersWouldBeNoticed) {
  JN_TRACE_SEED(randomness);
  const int draws = rounds(60000, 1200000);
  const auto counts = ordersCounted(draws, [&] {
    std::vector<int> order = numbered(5);
    for (int& element : order) std::swap(element, order[JNFoundation::arc4random_uniform(5)]);
    return order;
  });
  EXPECT_GT(chiSquare(counts, draws), chiSquareLimit(120));
}

TEST_F(ChanceTest, EveryElementIsChosenAsOftenAsAnyOther) {
  JN_TRACE_SEED(randomness);
  const int draws = rounds(60000, 1200000);
  const std::vector<int> numbers = numbered(7);
  const auto values = numberedValues(7);
  std::vector<int> counts(7), countsOfValues(7);
  for (int i = 0; i < draws; ++i) {
    ++counts.at(static_cast<std::size_t>(randomElement(numbers)));
    ++countsOfValues.at(randomElement(values).unsignedLongLongValue());
  }
  EXPECT_LT(chiSquare(counts, draws), chiSquareLimit(7));
  EXPECT_LT(chiSquare(countsOfValues, draws), chiSquareLimit(7));
}

TEST_F(ChanceTest, AShuffleKeepsEveryElementOnce) {
  JN_TRACE_SEED(randomness);
  for (int round = 0; round < rounds(300, 5000); ++round) {
    const std::vector<int> before = numbered(randomness.below(200));
    std::vector<int> after = shuffle(before);
    std::sort(after.begin(), after.end());
    ASSERT_EQ(after, before);
  }
}

TEST_F(ChanceTest, AMillionElementsAreShuffled) {
  const std::vector<int> before = numbered(static_cast<std::size_t>(testing::amount(1000000)));
  std::vector<int> after = shuffle(before);
  EXPECT_NE(after, before);
  std::sort(after.begin(), after.end());
  EXPECT_EQ(after, before);
}

// Cutting up: whatever the length, the pieces are the elements.

TEST(PiecesRandom, AllButTheLastHaveTheLengthAndTogetherTheyAreTheElements) {
  Randomness randomness;
  JN_TRACE_SEED(randomness);
  for (int round = 0; round < rounds(500, 20000); ++round) {
    const std::size_t count = randomness.below(60);
    const auto length = static_cast<NSInteger>(1 + randomness.below(70));
    SCOPED_TRACE(std::to_string(count) + " elements by " + std::to_string(length));
    const std::vector<int> elements = numbered(count);

    const auto pieces = splitBy(elements, length);
    std::vector<int> together;
    for (const auto& piece : pieces) together.insert(together.end(), piece.begin(), piece.end());
    ASSERT_EQ(together, elements);
    for (std::size_t i = 0; i + 1 < pieces.size(); ++i) {
      ASSERT_EQ(pieces[i].size(), static_cast<std::size_t>(length));
    }
    ASSERT_EQ(pieces.empty(), count == 0);
    for (const auto& piece : pieces) ASSERT_FALSE(piece.empty());

    // The same pieces of an array of values, all at once and one by one.
    const Ref<NSArray> values = numberedValues(count);
    const Ref<NSArray> valuePieces = splitBy(values, length);
    NSUInteger met = 0;
    plv_enumerateSubarraysOfLengthUsingBlock(
        values, static_cast<NSUInteger>(length), [&](const Ref<NSArray>& piece, bool&) {
          ASSERT_LT(met, pieces.size());
          ASSERT_EQ(Value(piece), valuePieces->objectAtIndex(met));
          ASSERT_EQ(piece->count(), pieces[met].size());
          ASSERT_EQ(piece->objectAtIndex(0), Value(pieces[met][0]));
          ++met;
        });
    ASSERT_EQ(met, pieces.size());
    ASSERT_EQ(valuePieces->count(), pieces.size());

    const auto first = safeTruncate(elements, length);
    ASSERT_EQ(first, pieces.empty() ? std::vector<int>() : pieces.front());
  }
}

TEST(PiecesRandom, AMillionElementsAreCutIntoSinglePieces) {
  const auto count = static_cast<std::size_t>(testing::amount(1000000));
  EXPECT_EQ(splitBy(numbered(count), 1).size(), count);
  EXPECT_EQ(splitBy(numberedValues(count), 1)->count(), count);
}

}  // namespace
}  // namespace JNFoundation
