#include <map>

#include "tests/platform/store/RandomLists.h"

namespace JNFoundation {
namespace {

class FetchedResultsRandom : public RandomLists {};

TEST_P(FetchedResultsRandom, TheListRebuiltFromItsChangesIsAFreshFetch) {
  JN_TRACE_SEED(random);
  std::vector<Ref<NSManagedObject>> alive;
  std::vector<Shown> shown;
  int names = 0;
  const auto make = [&] {
    auto object = insert(
        random.below(4) == 0 ? "SpecialItem" : "Item",
        {{"name", std::to_string(names++)}, {"group", randomGroup()}, {"rank", randomRank()}});
    alive.push_back(object);
  };
  for (int i = 0; i < 30; ++i) make();
  save();
  const int steps = testing::rounds(2'500, 500'000);
  for (int step = 0; step < steps; ++step) {
    if (shown.size() < 4) shown.push_back(show());
    if (random.below(40) == 0)
      shown.erase(shown.begin() + static_cast<std::ptrdiff_t>(random.below(shown.size())));
    std::vector<Ref<NSArray>> kept;
    for (const Shown& each : shown) {
      if (random.below(3) == 0) kept.push_back(each.controller->fetchedObjects());
    }
    std::vector<Ref<NSArray>> copies;
    for (const Ref<NSArray>& array : kept)
      copies.push_back(array->subarrayWithRange({0, array->count()}));

    const auto edits = random.below(20) == 0 ? 40 : 1 + random.below(6);
    for (std::uint64_t i = 0; i < edits; ++i) {
      const auto what = random.below(10);
      if (alive.empty() || (what < 2 && alive.size() < 80)) {
        make();
      } else if (what == 2 || alive.size() > 90) {
        const auto at = random.below(alive.size());
        context->deleteObject(alive[at]);
        std::swap(alive[at], alive.back());
        alive.pop_back();
      } else {
        change(alive[random.below(alive.size())]);
      }
    }
    switch (random.below(12)) {
      case 0:
      case 1:
        save();
        break;
      case 2: {
        context->rollback();
        alive.clear();
        auto everything = request("Item");
        const Ref<NSArray> all = context->executeFetchRequestError(everything);
        ASSERT_TRUE(all);
        for (const Value& object : *all) alive.emplace_back(as<NSManagedObject>(object));
        break;
      }
      case 3:
        if (!alive.empty()) {
          Ref<NSError> error;
          ASSERT_TRUE(context->obtainPermanentIDsForObjectsError(
              NSArray::arrayWithObject(alive[random.below(alive.size())]), &error))
              << text(error);
        }
        break;
      default:
        break;
    }
    process();
    for (std::size_t i = 0; i < kept.size(); ++i) {
      ASSERT_TRUE(kept[i]->isEqualToArray(copies[i])) << "an array that was kept has changed";
    }
    for (const Shown& each : shown) {
      expectTrue(each, step);
      if (HasFatalFailure()) return;
    }
  }
}

// The sections are not what the list is sorted by, so that they are torn apart time and again.
TEST_P(FetchedResultsRandom, TornSectionsAreWholeAgainWhenTheOrderIs) {
  JN_TRACE_SEED(random);
  std::vector<Ref<NSManagedObject>> all;
  for (int i = 0; i < 8; ++i) {
    all.push_back(insert(
        "Item", {{"name", std::to_string(i)}, {"rank", i}, {"group", std::to_string(i / 2)}}));
  }
  save();
  auto controller = fetchedOf(items(), "group");
  auto view = ListView::of(controller);
  const LogSinkScope silence([](const Ref<NSString>&) {});
  int torn = 0, whole = 0;
  const int steps = testing::rounds(3'000, 300'000);
  for (int step = 0; step < steps; ++step) {
    for (auto i = 1 + random.below(3); i > 0; --i) {
      const auto& object = all[random.below(all.size())];
      if (random.below(2) == 0) {
        object->setValueForKey(random.between(0, 9), "rank");
      } else {
        object->setValueForKey(std::to_string(random.below(4)), "group");
      }
    }
    process();
    SCOPED_TRACE("step " + std::to_string(step));
    view->expectTrue();
    if (HasFatalFailure()) return;
    // As it is said to be: in order, grouped by name in the order of the first objects.
    const Ref<NSArray> sorted = context->executeFetchRequestError(controller->fetchRequest());
    std::vector<std::string> order;
    std::map<std::string, std::vector<Value>> groups;
    for (const Value& object : *sorted) {
      const std::string group =
          as<NSObject>(object)->valueForKey("group").description()->toStdString();
      if (groups.count(group) == 0) order.push_back(group);
      groups[group].push_back(object);
    }
    ASSERT_EQ(view->sections.size(), order.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
      ASSERT_EQ(view->sections[i].name, order[i]);
      ASSERT_EQ(view->sections[i].rows.size(), groups[order[i]].size());
      for (std::size_t k = 0; k < view->sections[i].rows.size(); ++k) {
        ASSERT_TRUE(view->sections[i].rows[k].isIdentical(groups[order[i]][k]));
      }
    }
    (controllerOf(items(), "group")->performFetch() ? whole : torn) += 1;
  }
  EXPECT_GT(torn, 0);
  EXPECT_GT(whole, 0);
}

// Delegates that change things while they are told.
TEST_P(FetchedResultsRandom, DelegatesThatChangeObjectsKeepEachOthersListsTrue) {
  JN_TRACE_SEED(random);
  std::vector<Ref<NSManagedObject>> all;
  for (int i = 0; i < 20; ++i) {
    all.push_back(insert(
        "Item", {{"name", std::to_string(i)}, {"group", randomGroup()}, {"rank", randomRank()}}));
  }
  save();
  std::vector<Shown> shown = {show(), show(), show()};
  const int steps = testing::rounds(1'500, 200'000);
  for (int step = 0; step < steps; ++step) {
    int left = 4;
    const auto meddle = [&] {
      if (left == 0 || random.below(3) != 0) return;
      --left;
      change(all[random.below(all.size())]);
      if (random.below(4) == 0) process();
      if (random.below(8) == 0) save();
    };
    for (const Shown& each : shown) {
      each.view->onWill = each.view->onSection = each.view->onObject = each.view->onDid = meddle;
    }
    change(all[random.below(all.size())]);
    process();
    for (const Shown& each : shown) {
      expectTrue(each, step);
      if (HasFatalFailure()) return;
    }
  }
}

FOR_EVERY_STORE(FetchedResultsRandom);

}  // namespace
}  // namespace JNFoundation
