#include <random>
#include <unordered_map>

#include "StoreFixture.h"

#include <JNFoundation/platform/store/impl/ObjectAccess.h>
#include <JNFoundation/platform/store/impl/ObjectRegistry.h>

namespace JNFoundation {
namespace {

/// The registry against a plain map, with numbers that run, jump and collide.
class ObjectRegistryTest : public StoreTest {
 protected:
  Ref<NSManagedObject> object() {
    return NSManagedObject::initWithEntityInsertIntoManagedObjectContext(
        model->entityWithName("Book"), nullptr);
  }

  void drive(std::int64_t stride, std::int64_t range, int steps) {
    auto registry =
        makeObject<impl::ObjectRegistry>(*context, makeObject<impl::ContextQueue>(nullptr));
    const impl::StoreHierarchy hierarchies[2] = {{store.get(), nullptr}, {store.get(), nullptr}};
    std::vector<Ref<NSManagedObject>> pool;
    for (int i = 0; i < 300; ++i) pool.push_back(object());
    std::unordered_map<std::int64_t, NSManagedObject*> known[2];
    std::mt19937 random(7);
    for (int step = 0; step < steps; ++step) {
      const std::size_t table = random() % 2;
      const std::int64_t number =
          static_cast<std::int64_t>(random() % static_cast<unsigned>(range)) * stride;
      const impl::ObjectKey key{&hierarchies[table], number};
      const auto found = known[table].find(number);
      ASSERT_EQ(registry->find(key).get(), found == known[table].end() ? nullptr : found->second);
      NSManagedObject& candidate = *pool[random() % pool.size()];
      switch (random() % 3) {
        case 0:
          registry->add(key, candidate);
          known[table][number] = &candidate;
          break;
        case 1:
          registry->remove(key, candidate);
          if (found != known[table].end() && found->second == &candidate) known[table].erase(found);
          break;
        default:
          if (found != known[table].end()) {
            registry->remove(key, *found->second);
            known[table].erase(found);
          }
      }
    }
    EXPECT_EQ(registry->all().size(), known[0].size() + known[1].size());
  }
};

TEST_F(ObjectRegistryTest, NumbersInARowAreFound) { drive(1, 2000, 60'000); }
TEST_F(ObjectRegistryTest, NumbersFarApartAreFound) { drive(std::int64_t{1} << 40, 2000, 60'000); }
TEST_F(ObjectRegistryTest, NumbersThatLeaveGapsAreFound) { drive(64, 2000, 60'000); }

TEST_F(ObjectRegistryTest, LongRunsAreQuickToTakeApart) {
  auto registry =
      makeObject<impl::ObjectRegistry>(*context, makeObject<impl::ContextQueue>(nullptr));
  const impl::StoreHierarchy hierarchy{store.get(), nullptr};
  auto one = object();
  constexpr std::int64_t count = 300'000;
  for (std::int64_t i = 0; i < count; ++i) registry->add({&hierarchy, i}, *one);
  // Quadratic work would take minutes.
  EXPECT_FALSE(registry->find({&hierarchy, count + 1}));
  for (std::int64_t i = 0; i < count; ++i) registry->remove({&hierarchy, i}, *one);
  EXPECT_FALSE(registry->find({&hierarchy, 5}));
  EXPECT_TRUE(registry->all().empty());
}

}  // namespace
}  // namespace JNFoundation
