#include <gtest/gtest.h>
#include <set>
#include <thread>
#include <vector>

#include <JNFoundation/platform/dispatch/Random.h>

namespace JNFoundation {
namespace {

RandomSource script(std::vector<std::uint32_t> numbers) {
  return [numbers = std::move(numbers), next = std::size_t{0}]() mutable {
    return numbers.at(next++);
  };
}

TEST(Random, ABoundOfNothingOrOneLeavesOnlyZeroAndDrawsNothing) {
  RandomSourceScope scope(script({}));
  EXPECT_EQ(JNFoundation::arc4random_uniform(0), 0u);
  EXPECT_EQ(JNFoundation::arc4random_uniform(1), 0u);
}

TEST(Random, ANumberBelowTheBoundIsTakenAsItIs) {
  RandomSourceScope scope(script({0, 6, 3}));
  EXPECT_EQ(JNFoundation::arc4random_uniform(7), 0u);
  EXPECT_EQ(JNFoundation::arc4random_uniform(7), 6u);
  EXPECT_EQ(JNFoundation::arc4random_uniform(7), 3u);
}

TEST(Random, NumbersThatWouldFavourSmallOnesAreDrawnAgain) {
  // 2^32 is 1 more than a multiple of 3, so only the greatest number is refused.
  {
    RandomSourceScope scope(script({0xffffffff, 0xfffffffe, 5}));
    EXPECT_EQ(JNFoundation::arc4random_uniform(3), 2u);
    EXPECT_EQ(JNFoundation::arc4random_uniform(3), 2u);
  }
  // Nearly half of all numbers lie above the one multiple of this bound.
  constexpr std::uint32_t bound = 0x80000001;
  RandomSourceScope scope(script({bound, 0xffffffff, bound - 1}));
  EXPECT_EQ(JNFoundation::arc4random_uniform(bound), bound - 1);
}

TEST(Random, EveryNumberOfAPowerOfTwoIsUsed) {
  RandomSourceScope scope(script({0xffffffff}));
  EXPECT_EQ(JNFoundation::arc4random_uniform(8), 7u);
}

TEST(Random, TheGreatestBoundIsKept) {
  RandomSourceScope scope(script({0xffffffff, 0xfffffffe}));
  EXPECT_EQ(JNFoundation::arc4random_uniform(0xffffffff), 0xfffffffeu);
}

TEST(Random, ScopesNestAndHoldForEveryThread) {
  RandomSourceScope outer([] { return 1u; });
  {
    RandomSourceScope inner([] { return 2u; });
    std::uint32_t seen = 0;
    std::thread([&] { seen = JNFoundation::arc4random(); }).join();
    EXPECT_EQ(seen, 2u);
  }
  EXPECT_EQ(JNFoundation::arc4random(), 1u);
}

TEST(Random, ASeedGivesTheSameNumbersEverywhere) {
  const auto drawn = [](std::uint32_t seed) {
    RandomSourceScope scope(seededRandomSource(seed));
    std::vector<std::uint32_t> numbers(5);
    for (std::uint32_t& number : numbers) number = JNFoundation::arc4random();
    return numbers;
  };
  EXPECT_EQ(drawn(7), drawn(7));
  EXPECT_NE(drawn(7), drawn(8));
  EXPECT_EQ(drawn(5489).front(), 3499211612u);
}

TEST(Random, TheSystemsNumbersAreSpreadEvenly) {
  constexpr std::uint32_t bound = 10;
  constexpr int draws = 100000;
  std::vector<int> counts(bound);
  for (int i = 0; i < draws; ++i) ++counts.at(JNFoundation::arc4random_uniform(bound));
  // Nine degrees of freedom: beyond 60 once in a hundred million runs.
  double chiSquare = 0;
  for (const int count : counts) {
    const double off = count - draws / double{bound};
    chiSquare += off * off / (draws / double{bound});
  }
  EXPECT_LT(chiSquare, 60);
}

TEST(Random, ThreadsDrawDifferentNumbers) {
  std::vector<std::uint64_t> first(8);
  std::vector<std::thread> threads;
  threads.reserve(first.size());
  for (std::uint64_t& number : first) {
    threads.emplace_back([&number] {
      number = std::uint64_t{JNFoundation::arc4random()} << 32 | JNFoundation::arc4random();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(std::set<std::uint64_t>(first.begin(), first.end()).size(), first.size());
}

TEST(RandomDeathTest, ANullSourceStopsTheProcess) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(RandomSourceScope scope(nullptr), "source must not be null");
}

}  // namespace
}  // namespace JNFoundation
