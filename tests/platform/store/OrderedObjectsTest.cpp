#include <algorithm>
#include <gtest/gtest.h>

#include "tests/platform/text/Randomness.h"

#include <JNFoundation/platform/store/impl/OrderedObjects.h>

namespace JNFoundation {
namespace {

using impl::OrderedObjects;
using impl::OrderedVersion;
using testing::Randomness;

class Item final : public NSObject {
 public:
  explicit Item(std::int64_t key) : key(key) {}
  std::int64_t key;
};

using Items = std::vector<const NSObject*>;

Items itemsOf(const OrderedVersion& version) {
  Items items;
  while (items.size() < version.count()) {
    const OrderedVersion::Run run = version.runAt(items.size());
    EXPECT_EQ(run.index, items.size());
    items.insert(items.end(), run.objects, run.objects + run.count);
  }
  return items;
}

class OrderedObjectsTest : public ::testing::Test {
 protected:
  const Item* make(std::int64_t key = 0) {
    made.push_back(makeObject<Item>(key));
    return made.back().get();
  }
  Items makeMany(std::size_t count) {
    Items items;
    for (std::size_t i = 0; i < count; ++i) items.push_back(make(static_cast<std::int64_t>(i)));
    return items;
  }

  std::vector<Ref<Item>> made;
};

TEST_F(OrderedObjectsTest, AnEmptyListHasNothing) {
  OrderedObjects list;
  EXPECT_TRUE(list.isEmpty());
  EXPECT_EQ(list.indexOf(*make()), OrderedObjects::none);
  EXPECT_EQ(list.partitionPoint([](const NSObject&) { return true; }), 0u);
  list.assign({});
  EXPECT_TRUE(list.isConsistent());
}

TEST_F(OrderedObjectsTest, EveryObjectKnowsItsPosition) {
  for (const std::size_t count : {1u, 95u, 96u, 97u, 128u, 129u, 5'000u, 300'000u}) {
    OrderedObjects list;
    const Items items = makeMany(count);
    list.assign(items);
    ASSERT_TRUE(list.isConsistent());
    ASSERT_EQ(itemsOf(list.version()), items);
    for (std::size_t i = 0; i < count; i += 1 + count / 1000) {
      ASSERT_EQ(list.at(i), items[i]);
      ASSERT_EQ(list.indexOf(*items[i]), i);
    }
    ASSERT_TRUE(list.isConsistent());
    const auto third = static_cast<std::int64_t>(count / 3);
    ASSERT_EQ(list.partitionPoint([&](const NSObject& object) {
      return static_cast<const Item&>(object).key < third;
    }),
              count / 3);
  }
}

TEST_F(OrderedObjectsTest, AppendedOneByOneItHasFullNodes) {
  OrderedObjects list;
  const Items items = makeMany(20'000);
  for (const NSObject* item : items) list.insert(list.count(), *item);
  EXPECT_TRUE(list.isConsistent());
  EXPECT_EQ(itemsOf(list.version()), items);
  EXPECT_GE(list.version().runAt(0).count, 127u);
}

TEST_F(OrderedObjectsTest, PrependedOneByOneItIsStillInOrder) {
  OrderedObjects list;
  Items items = makeMany(20'000);
  for (const NSObject* item : items) list.insert(0, *item);
  std::reverse(items.begin(), items.end());
  EXPECT_TRUE(list.isConsistent());
  EXPECT_EQ(itemsOf(list.version()), items);
  while (!list.isEmpty()) list.erase(0);
  EXPECT_TRUE(list.isConsistent());
}

TEST_F(OrderedObjectsTest, TheListKeepsItsObjectsAliveAndNoLonger) {
  OrderedObjects list;
  Ref<Item> item = makeObject<Item>(1);
  list.insert(0, *item);
  EXPECT_EQ(item->retainCount(), 2u);
  OrderedVersion kept = list.version();
  EXPECT_EQ(list.erase(0).get(), item.get());
  EXPECT_EQ(item->retainCount(), 2u) << "the version has it";
  kept = OrderedVersion();
  EXPECT_EQ(item->retainCount(), 1u);
}

TEST_F(OrderedObjectsTest, AVersionStaysAsItIsAndCostsNoCopyOfEverything) {
  OrderedObjects list;
  const Items items = makeMany(100'000);
  list.assign(items);
  const OrderedVersion kept = list.version();
  list.erase(50'000);
  EXPECT_EQ(itemsOf(kept), items);
  EXPECT_EQ(kept.runAt(0).objects, list.version().runAt(0).objects) << "shared, not copied";
  EXPECT_NE(kept.runAt(50'000).objects, list.version().runAt(50'000).objects);
}

TEST_F(OrderedObjectsTest, AnUnsharedListIsChangedInPlace) {
  OrderedObjects list;
  list.assign(makeMany(1'000));
  list.indexOf(*made.front());
  const auto* const before = list.version().runAt(0).objects;
  list.erase(1);
  EXPECT_EQ(list.version().runAt(0).objects, before);
}

// A list, a plain vector of the same, and versions of both that were kept on the way.
TEST_F(OrderedObjectsTest, RandomChangesGiveWhatAVectorHas) {
  Randomness random;
  JN_TRACE_SEED(random);
  const Items all = makeMany(6'000);
  Items outside = all, inside;
  std::vector<std::size_t> weights(all.size(), 0);
  const auto weightOf = [&](const NSObject* item) -> std::size_t& {
    return weights[static_cast<std::size_t>(static_cast<const Item*>(item)->key)];
  };
  OrderedObjects list;
  std::vector<std::pair<OrderedVersion, Items>> kept;
  const int steps = testing::rounds(60'000, 2'000'000);
  std::uint64_t growth = 7;
  for (int step = 0; step < steps; ++step) {
    if (step % 5'000 == 0) growth = 2 + random.below(7);
    if (!outside.empty() && (inside.empty() || random.below(10) < growth)) {
      const std::size_t from = random.below(outside.size()), to = random.below(inside.size() + 1);
      const std::size_t weight = 1 + random.below(5);
      weightOf(outside[from]) = weight;
      list.insert(to, *outside[from], weight);
      inside.insert(inside.begin() + static_cast<std::ptrdiff_t>(to), outside[from]);
      std::swap(outside[from], outside.back());
      outside.pop_back();
    } else {
      const std::size_t at = random.below(inside.size());
      if (random.below(4) == 0) {
        list.addWeight(at, 2);
        weightOf(inside[at]) += 2;
      } else {
        ASSERT_EQ(list.indexOf(*inside[at]), at);
        ASSERT_EQ(list.erase(at).get(), inside[at]);
        outside.push_back(inside[at]);
        inside.erase(inside.begin() + static_cast<std::ptrdiff_t>(at));
      }
    }
    ASSERT_EQ(list.count(), inside.size());
    if (random.below(50) == 0) {
      if (kept.size() > 20)
        kept.erase(kept.begin() + static_cast<std::ptrdiff_t>(random.below(20)));
      kept.emplace_back(list.version(), inside);
    }
    if (step % 500 != 0) continue;
    ASSERT_TRUE(list.isConsistent()) << step;
    ASSERT_EQ(itemsOf(list.version()), inside) << step;
    for (const auto& [version, items] : kept) ASSERT_EQ(itemsOf(version), items) << step;
    std::size_t before = 0;
    for (std::size_t i = 0; i < inside.size(); ++i) {
      const std::size_t weight = weightOf(inside[i]);
      ASSERT_EQ(list.placeOf(*inside[i]).before, before);
      for (const std::size_t at : {before, before + weight - 1}) {
        const OrderedVersion::Place place = list.version().placeAtWeight(at);
        ASSERT_EQ(place.object, inside[i]);
        ASSERT_EQ(place.index, i);
        ASSERT_EQ(place.before, before);
        ASSERT_EQ(place.weight, weight);
      }
      before += weight;
    }
    ASSERT_EQ(list.weight(), before);
    for (const NSObject* item : outside) ASSERT_FALSE(list.contains(*item));
  }
}

}  // namespace
}  // namespace JNFoundation
