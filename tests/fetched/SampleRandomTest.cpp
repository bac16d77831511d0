#include <map>
#include <numeric>
#include <set>

#include "tests/fetched/SampleFixture.h"
#include "tests/platform/text/Randomness.h"

#include <JNFoundation/fetched/PLVRandomFetchedResultsController.h>
#include <JNFoundation/fetched/impl/FreeIndexes.h>
#include <JNFoundation/fetched/impl/ShiftedIndexes.h>

namespace JNFoundation {
namespace {

using testing::Randomness;

/// Random controllers that are led through random changes beside a plain one, which tells what has
/// happened to all results. An object that moves while its place is sampled is lost sight of from
/// there on, on purpose; everything else has to be true after every batch.
class SampleRandom : public SampleTest, public ::testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override { open(GetParam(), listModel()); }

  struct Shown {
    Ref<PLVRandomFetchedResultsController> controller;
    Ref<StripView> view;
    NSUInteger limit;
    /// Those that the indexes lead to, and those that have been lost sight of, before the batch.
    std::vector<const NSObject*> followed;
    std::multiset<const NSObject*> lost;
  };

  static std::vector<const NSObject*> followed(const Shown& shown) {
    std::vector<const NSObject*> objects;
    const auto sample = shown.controller->sample();
    const Ref<NSArray> results = sample->fetchedResults()->fetchedObjects();
    for (const NSUInteger index : sample->sampleIndexes()) {
      if (index >= results->count()) {
        ADD_FAILURE() << "index " << index << " of " << results->count();
        return {};
      }
      objects.push_back(results->objectAtIndex(index).object());
    }
    return objects;
  }

  Shown show() {
    Shown shown;
    shown.limit = random.below(12);
    shown.controller = sampledOf(shown.limit);
    shown.view = StripView::of(shown.controller);
    shown.followed = followed(shown);
    return shown;
  }

  /// Holds what a random controller told and has against what has happened.
  void expectTrue(Shown& shown, const std::vector<ListView::ObjectChange>& happened) {
    const std::set<const NSObject*> before(shown.followed.begin(), shown.followed.end());
    std::multiset<const NSObject*> updated, deleted;
    for (const ListView::ObjectChange& change : happened) {
      const NSObject* object = change.object.get();
      if (before.count(object) == 0) continue;
      if (change.type == NSFetchedResultsChangeMove) shown.lost.insert(object);
      if (change.type == NSFetchedResultsChangeUpdate) updated.insert(object);
      if (change.type == NSFetchedResultsChangeDelete) deleted.insert(object);
    }
    for (const StripView::Change& told : shown.view->changes) {
      if (told.type == NSFetchedResultsChangeUpdate) {
        ASSERT_EQ(updated.erase(told.object.get()), 1u);
      } else if (told.type == NSFetchedResultsChangeDelete) {
        ASSERT_EQ(deleted.erase(told.object.get()), 1u);
      }
    }
    ASSERT_TRUE(updated.empty()) << "an update was not told";
    ASSERT_TRUE(deleted.empty()) << "a deletion was not told";
    shown.view->expectTrue();

    shown.followed = followed(shown);
    std::multiset<const NSObject*> expected = shown.lost;
    expected.insert(shown.followed.begin(), shown.followed.end());
    std::multiset<const NSObject*> sampled;
    for (const Value& object : shown.controller->fetchedObjects()) sampled.insert(object.object());
    ASSERT_EQ(sampled, expected) << "the followed and the lost are the sample";
    const NSUInteger results =
        shown.controller->sample()->fetchedResults()->fetchedObjects()->count();
    ASSERT_LE(sampled.size(), shown.limit);
    ASSERT_TRUE(sampled.size() == shown.limit || shown.followed.size() == results)
        << "a slot is free, and an object to fill it";
  }

  Randomness random;
};

TEST_P(SampleRandom, TheListRebuiltFromItsChangesIsTheSample) {
  JN_TRACE_SEED(random);
  RandomSourceScope scope(seededRandomSource(static_cast<std::uint32_t>(random.bits())));
  std::vector<Ref<NSManagedObject>> alive;
  int made = 0;
  const auto make = [&] {
    alive.push_back(item(std::to_string(made++).c_str(), static_cast<int>(random.below(1000))));
  };
  for (int i = 0; i < 25; ++i) make();
  save();
  const auto plain = fetchedOf(items());
  const auto witness = ListView::of(plain);
  std::vector<Shown> shown;
  const int steps = testing::rounds(10'000, 500'000);
  int moves = 0;
  for (int step = 0; step < steps; ++step) {
    SCOPED_TRACE("step " + std::to_string(step));
    while (shown.size() < 4) shown.push_back(show());
    witness->objectChanges.clear();
    for (Shown& each : shown) each.view->changes.clear();
    const int batches = witness->batches;
    for (auto edits = random.below(20) == 0 ? 30 : 1 + random.below(5); edits > 0; --edits) {
      const auto what = random.below(10);
      if (alive.empty() || (what < 3 && alive.size() < 64)) {
        make();
      } else if (what < 5) {
        const auto at = random.below(alive.size());
        context->deleteObject(alive[at]);
        std::swap(alive[at], alive.back());
        alive.pop_back();
      } else if (what < 9) {
        alive[random.below(alive.size())]->setValueForKey(random.bits() % 100 / 7.0, "score");
      } else {
        alive[random.below(alive.size())]->setValueForKey(random.between(0, 999), "rank");
      }
    }
    context->processPendingChanges();
    ASSERT_LE(witness->batches, batches + 1);
    for (Shown& each : shown) {
      expectTrue(each, witness->objectChanges);
      if (HasFatalFailure()) return;
      moves += static_cast<int>(each.lost.size());
    }
    const auto next = random.below(14);
    if (next == 0) {
      // What was new gets a permanent place, which may tell a batch of its own.
      witness->objectChanges.clear();
      for (Shown& each : shown) each.view->changes.clear();
      const int told = witness->batches;
      save();
      ASSERT_LE(witness->batches, told + 1);
      for (Shown& each : shown) {
        expectTrue(each, witness->objectChanges);
        if (HasFatalFailure()) return;
      }
    } else if (next == 1) {
      shown.erase(shown.begin() + static_cast<std::ptrdiff_t>(random.below(shown.size())));
    } else if (next == 2) {
      Shown& each = shown[random.below(shown.size())];
      each.limit = random.below(12);
      each.controller->resampleFetchedObjectsWithLimit(each.limit);
      each.view->reload();
      each.lost.clear();
      each.followed = followed(each);
    } else if (next == 3) {
      shown.clear();
      context->rollback();
      context->processPendingChanges();
      alive.clear();
      for (const Value& object : fetch(items())) alive.emplace_back(as<NSManagedObject>(object));
    }
  }
  EXPECT_GT(moves, 0) << "no sampled object moved";
}

FOR_EVERY_STORE(SampleRandom);

// ---- The machinery against plain index sets -----------------------------------------------------

Ref<NSMutableIndexSet> randomSet(Randomness& random, NSUInteger below) {
  auto set = NSMutableIndexSet::indexSet();
  for (auto count = random.below(20); count > 0; --count) set->addIndex(random.below(below));
  return set;
}

TEST(FreeIndexes, DrawsAreThoseOfASetOfEverythingThatIsFree) {
  Randomness random;
  JN_TRACE_SEED(random);
  for (int round = testing::rounds(2'000, 200'000); round > 0; --round) {
    const NSUInteger count = random.below(40);
    const auto taken = randomSet(random, 45);
    impl::FreeIndexes free(count, *taken);
    const auto all = NSMutableIndexSet::indexSetWithIndexesInRange({0, count});
    all->removeIndexes(taken);
    const auto drawn = NSMutableIndexSet::indexSet();
    while (all->count() > 0) {
      ASSERT_FALSE(free.isEmpty());
      const NSUInteger r = random.below(count);
      NSUInteger expected = all->indexGreaterThanOrEqualToIndex(r);
      if (expected == static_cast<NSUInteger>(NSNotFound)) expected = all->indexLessThanIndex(r);
      ASSERT_EQ(free.take(r), expected);
      all->removeIndex(expected);
      drawn->addIndex(expected);
      if (random.below(30) == 0) break;
    }
    ASSERT_EQ(free.isEmpty(), all->count() == 0);
    ASSERT_TRUE(free.drawn()->isEqualToIndexSet(drawn));
  }
}

TEST(FreeIndexes, EverythingIsDrawnOnceHoweverMuchItIs) {
  const NSUInteger count = static_cast<NSUInteger>(testing::rounds(200'000, 1'000'000));
  RandomSourceScope scope(seededRandomSource(1));
  const auto none = NSIndexSet::indexSet();
  impl::FreeIndexes free(count, *none);
  NSUInteger drawn = 0;
  for (; !free.isEmpty(); ++drawn) free.take(arc4random_uniform(static_cast<std::uint32_t>(count)));
  EXPECT_EQ(drawn, count);
  EXPECT_EQ(free.drawn()->ranges().size(), 1u);
}

TEST(ShiftedIndexes, PlacesAreThoseOfASetThatIsShifted) {
  Randomness random;
  JN_TRACE_SEED(random);
  for (int round = testing::rounds(2'000, 200'000); round > 0; --round) {
    const auto set = randomSet(random, 40);
    impl::ShiftedIndexes places(*set);
    for (auto changes = random.below(12); changes > 0; --changes) {
      const NSUInteger place = random.below(45);
      if (random.below(2) == 0) {
        set->shiftIndexesStartingAtIndexBy(place + 1, -1);
        places.removePlace(place);
      } else {
        set->shiftIndexesStartingAtIndexBy(place, 1);
        places.insertPlace(place);
      }
    }
    const auto shifted = NSMutableIndexSet::indexSetWithIndex(3);
    places.writeTo(*shifted);
    ASSERT_TRUE(shifted->isEqualToIndexSet(set))
        << shifted->description()->toStdString() << " is not " << set->description()->toStdString();
  }
}

}  // namespace
}  // namespace JNFoundation
