#include "SalesFixture.h"
#include "tests/platform/value/Raising.h"

namespace JNFoundation {
namespace {

using testing::raisedName;

/// What the other tests of dictionaries do not say of the values alone.
class EnumeratedValues : public SalesTest {
 protected:
  void SetUp() override {
    SalesTest::SetUp();
    for (int i = 0; i < 10; ++i) insert("Sale", {{"amount", i}, {"region", i % 2 ? "N" : "S"}});
    save();
  }

  static Ref<NSFetchRequest> amounts(NSUInteger offset = 0, NSUInteger limit = 0) {
    auto wanted = rows("Sale", {"amount"});
    wanted->setSortDescriptors(NSArray::arrayWithObject(
        NSSortDescriptor::sortDescriptorWithKeyAscending("amount", false)));
    wanted->setFetchOffset(offset);
    wanted->setFetchLimit(limit);
    return wanted;
  }

  /// The first values, until there are as many as that.
  std::string some(const Ref<NSFetchRequest>& wanted, std::size_t count = 100) const {
    std::string all;
    std::size_t seen = 0;
    EXPECT_TRUE(context->enumerateValuesOfFetchRequestErrorUsingBlock(
        wanted, nullptr, [&](std::span<Value> values, bool& stop) {
          EXPECT_LT(seen, count) << "it was to stop";
          all += (all.empty() ? "" : " ") + shown(values[0]);
          stop = ++seen == count;
        }));
    return all;
  }
};
FOR_EVERY_STORE(EnumeratedValues);

TEST_P(EnumeratedValues, ComeInOrderAndInPart) {
  EXPECT_EQ(some(amounts()), "9 8 7 6 5 4 3 2 1 0");
  EXPECT_EQ(some(amounts(2, 3)), "7 6 5");
  EXPECT_EQ(some(amounts(8, 5)), "1 0");
  EXPECT_EQ(some(amounts(20, 5)), "");
  EXPECT_EQ(some(amounts(), 4), "9 8 7 6");
  EXPECT_EQ(some(amounts(1, 9), 2), "8 7");
}

TEST_P(EnumeratedValues, AreCutAfterRepeatedRowsAreGone) {
  auto distinct = rows("Sale", {"region"});
  distinct->setReturnsDistinctResults(true);
  EXPECT_EQ(some(distinct), "S N");
  distinct->setFetchOffset(1);
  EXPECT_EQ(some(distinct), "N");
}

TEST_P(EnumeratedValues, NeedARequestForNamedValues) {
  const auto none = [](std::span<Value>, bool&) {};
  auto objects = request("Sale");
  EXPECT_EQ(raisedName([&] {
              context->enumerateValuesOfFetchRequestErrorUsingBlock(objects, nullptr, none);
            }),
            NSInvalidArgumentException);
  auto everything = rows("Sale", {});
  everything->setPropertiesToFetch(nullptr);
  EXPECT_EQ(raisedName([&] {
              context->enumerateValuesOfFetchRequestErrorUsingBlock(everything, nullptr, none);
            }),
            NSInvalidArgumentException);
  EXPECT_EQ(raisedName([&] {
              context->enumerateValuesOfFetchRequestErrorUsingBlock(nullptr, nullptr, none);
            }),
            NSInvalidArgumentException);
}

TEST_P(EnumeratedValues, WhatTheBlockRaisesComesThrough) {
  EXPECT_EQ(raisedName([&] {
              context->enumerateValuesOfFetchRequestErrorUsingBlock(
                  amounts(), nullptr,
                  [](std::span<Value> values, bool&) { raise("Enough", "at %@", values[0]); });
            }),
            "Enough");
  // The stores are free again.
  EXPECT_EQ(some(amounts(0, 1)), "9");
}

}  // namespace
}  // namespace JNFoundation
