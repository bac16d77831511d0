#include <gtest/gtest.h>
#include <random>
#include <thread>
#include <vector>

#include "../value/LiveObjects.h"

#include <JNFoundation/platform/store/ValueArray.h>
#include <JNFoundation/platform/value/NSArray.h>

namespace JNFoundation {
namespace {

TEST(ValueArray, StartsWithNullsAndKeepsWhatIsPutIn) {
  ValueArray nothing;
  EXPECT_FALSE(nothing);
  ValueArray values(3);
  ASSERT_TRUE(values);
  EXPECT_TRUE(values[0].isNull() && values[1].isNull() && values[2].isNull());
  values[1] = "text";
  ValueArray moved = std::move(values);
  EXPECT_FALSE(values);
  EXPECT_EQ(moved[1], Value("text"));
  moved.reset();
  EXPECT_FALSE(moved);
  EXPECT_TRUE(ValueArray(0)) << "an array of no values is not nothing";
}

TEST(ValueArray, ReleasesItsValues) {
  testing::LiveObjects live;
  {
    std::vector<ValueArray> arrays;
    for (std::size_t count : {1u, 10u, 31u, 32u, 1000u, 100000u}) {
      ValueArray& values = arrays.emplace_back(count);
      for (std::size_t i = 0; i < count; ++i) values[i] = NSArray::arrayWithObjects(1, 2);
    }
    arrays[0] = ValueArray(2);
  }
  EXPECT_EQ(live.count(), 0);
}

TEST(ValueArray, MayGoInAnyOrderAndOnAnyThread) {
  std::mt19937 random(3);
  std::vector<ValueArray> arrays;
  for (int i = 0; i < 20'000; ++i) {
    const std::size_t count = 1 + random() % 40;
    ValueArray values(count);
    for (std::size_t k = 0; k < count; ++k) values[k] = i;
    arrays.push_back(std::move(values));
    if (random() % 3 == 0) std::swap(arrays[random() % arrays.size()], arrays.back());
    if (random() % 3 == 0) arrays.pop_back();
  }
  std::thread other([mine = std::move(arrays)]() mutable {
    for (std::size_t i = 0; i < mine.size(); i += 2) mine[i].reset();
    for (std::size_t i = 1; i < mine.size(); i += 2) EXPECT_TRUE(mine[i][0].isNumber());
    mine.clear();
  });
  std::vector<ValueArray> meanwhile;
  for (int i = 0; i < 1000; ++i) meanwhile.emplace_back(10);
  other.join();
  EXPECT_TRUE(meanwhile.back()[9].isNull());
}

}  // namespace
}  // namespace JNFoundation
