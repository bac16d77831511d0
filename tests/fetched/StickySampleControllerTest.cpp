#include <cmath>
#include <filesystem>
#include <map>
#include <set>

#include "tests/fetched/SampleFixture.h"
#include "tests/platform/text/Randomness.h"

#include <JNFoundation/fetched/StickySampleController.h>
#include <JNFoundation/fetched/impl/RandomPlaces.h>

namespace JNFoundation {
namespace {

using testing::Randomness;

class StickySampleTest : public SampleTest {
 protected:
  Ref<StickySampleController> stickyOf(NSUInteger limit, RandomSource source,
                                       const Ref<NSFetchRequest>& request = items()) {
    auto controller =
        StickySampleController::initWithFetchRequestManagedObjectContextSampleLimitRandomSource(
            request, context, limit, std::move(source));
    Ref<NSError> error;
    EXPECT_TRUE(controller->performFetch(&error)) << text(error);
    return controller;
  }

  static std::string namesOf(const Ref<StickySampleController>& controller) {
    return FetchedResultsTest::names(controller->fetchedObjects());
  }
};

TEST_F(StickySampleTest, HasOneSectionOfWhatWasDrawn) {
  fill({"A", "B", "C", "D", "E"});
  auto sticky =
      StickySampleController::initWithFetchRequestManagedObjectContextSampleLimitRandomSource(
          items(), context, 3, numbers({3, 1, 0}));
  EXPECT_FALSE(sticky->fetchedObjects());
  EXPECT_FALSE(sticky->sections());
  sticky->reshuffle();
  EXPECT_FALSE(sticky->fetchedObjects());
  ASSERT_TRUE(sticky->performFetch());
  // Of five the fourth; of A, B, C, E the second; of A, E, C the first.
  EXPECT_EQ(namesOf(sticky), "D B A");
  ASSERT_EQ(sticky->sections()->count(), 1u);
  const Value section = sticky->sections()->objectAtIndex(0);
  EXPECT_EQ(as<NSFetchedResultsSectionInfo>(section)->numberOfObjects(), 3u);
  EXPECT_FALSE(as<NSFetchedResultsSectionInfo>(section)->name());
  EXPECT_TRUE(sticky->objectAtIndexPath(path(0, 1)).isIdentical(Value(all[1])));
  EXPECT_TRUE(sticky->indexPathForObject(all[0])->isEqual(path(0, 2)));
  EXPECT_FALSE(sticky->indexPathForObject(all[2]));
  for (const auto& wrong : {path(0, 3), path(1, 0), NSIndexPath::indexPathWithIndex(0)}) {
    EXPECT_THROW(sticky->objectAtIndexPath(wrong), Raised);
  }
  EXPECT_EQ(sticky->results()->fetchedObjects()->count(), 5u);
}

TEST_F(StickySampleTest, TheSameSourceGivesTheSameSample) {
  for (int i = 0; i < 50; ++i) all.push_back(item(std::to_string(i).c_str(), i));
  save();
  const auto first = stickyOf(10, seededRandomSource(7)),
             second = stickyOf(10, seededRandomSource(7));
  const auto other = stickyOf(10, seededRandomSource(8));
  EXPECT_EQ(namesOf(first), namesOf(second));
  EXPECT_NE(namesOf(first), namesOf(other));
  context->deleteObject(as<NSManagedObject>(first->fetchedObjects()->objectAtIndex(4)));
  process();
  EXPECT_EQ(namesOf(first), namesOf(second));
  first->reshuffle();
  second->reshuffle();
  EXPECT_EQ(namesOf(first), namesOf(second));
}

TEST_F(StickySampleTest, TheSystemIsTheSourceWhereNoneIsGiven) {
  fill({"A", "B", "C"});
  const RandomSourceScope scope(numbers({2, 0}));
  EXPECT_EQ(namesOf(stickyOf(2, nullptr)), "C A");
}

TEST_F(StickySampleTest, ADeletedObjectIsReplacedInItsSlot) {
  fill({"A", "B", "C", "D", "E"});
  const auto sticky = stickyOf(3, numbers({0, 0, 0, 1}));
  ASSERT_EQ(namesOf(sticky), "A E D");
  const auto view = ListView::of(sticky);
  context->deleteObject(all[4]);
  EXPECT_EQ(namesOf(sticky), "A E D") << "not yet";
  process();
  EXPECT_EQ(namesOf(sticky), "A C D");
  EXPECT_EQ(view->told(), "will, -E 0.1, +C 0.1, did");
  view->expectTrue();
}

TEST_F(StickySampleTest, OnlyWhatConcernsTheSampleIsTold) {
  fill({"A", "B", "C", "D"});
  const auto sticky = stickyOf(2, numbers({0, 0}));
  ASSERT_EQ(namesOf(sticky), "A D");
  const auto view = ListView::of(sticky);
  context->deleteObject(all[1]);
  all[2]->setValueForKey(1.5, "score");
  all[2]->setValueForKey(5, "rank");
  item("N", 1);
  process();
  EXPECT_EQ(view->told(), "");
  EXPECT_EQ(namesOf(sticky), "A D");
}

TEST_F(StickySampleTest, AMovedObjectIsFollowed) {
  fill({"A", "B", "C", "D"});
  const auto sticky = stickyOf(2, numbers({0, 0, 1}));
  ASSERT_EQ(namesOf(sticky), "A D");
  const auto view = ListView::of(sticky);
  all[0]->setValueForKey(100, "rank");
  process();
  EXPECT_EQ(view->told(), "will, =A 0.0 0.0, did");
  all[0]->setValueForKey(2.5, "score");
  process();
  EXPECT_EQ(view->told(), "will, =A 0.0 0.0, did") << "its updates are noticed";
  context->deleteObject(all[0]);
  process();
  EXPECT_EQ(view->told(), "will, -A 0.0, +C 0.0, did") << "and so is its deletion";
  view->expectTrue();
}

TEST_F(StickySampleTest, AnObjectThatNoLongerMatchesIsReplaced) {
  fill({"A", "B", "C"});
  const auto sticky = stickyOf(
      1, numbers({0, 1}), items({by("rank")}, NSPredicate::predicateWithFormat("hidden != YES")));
  ASSERT_EQ(namesOf(sticky), "A");
  const auto view = ListView::of(sticky);
  all[0]->setValueForKey(true, "hidden");
  process();
  EXPECT_EQ(view->told(), "will, -A 0.0, +C 0.0, did");
}

TEST_F(StickySampleTest, AShortSampleClosesUpAndFillsAtItsEnd) {
  fill({"A", "B", "C"});
  const auto sticky = stickyOf(5, [] { return 0u; });
  ASSERT_EQ(namesOf(sticky), "A C B");
  const auto view = ListView::of(sticky);
  context->deleteObject(all[0]);
  all[1]->setValueForKey(1.0, "score");
  process();
  EXPECT_EQ(view->told(), "will, -A 0.0, =B 0.2 0.1, did");
  item("D", 1);
  process();
  EXPECT_EQ(view->told(), "will, +D 0.2, did");
  EXPECT_EQ(namesOf(sticky), "C B D");
  view->expectTrue();
  for (const Value& object : sticky->fetchedObjects()) {
    context->deleteObject(as<NSManagedObject>(object));
  }
  process();
  EXPECT_EQ(namesOf(sticky), "");
  view->expectTrue();
}

TEST_F(StickySampleTest, TheLimitDropsFromTheEndAndDrawsMore) {
  fill({"A", "B", "C", "D"});
  const auto sticky = stickyOf(3, [] { return 0u; });
  ASSERT_EQ(namesOf(sticky), "A D C");
  const auto view = ListView::of(sticky);
  sticky->setSampleLimit(1);
  EXPECT_EQ(view->told(), "will, -D 0.1, -C 0.2, did");
  sticky->setSampleLimit(0);
  EXPECT_EQ(namesOf(sticky), "");
  sticky->setSampleLimit(~NSUInteger{0});
  EXPECT_EQ(sticky->fetchedObjects()->count(), 4u);
  view->expectTrue();
}

TEST_F(StickySampleTest, AReshuffleIsOneBatch) {
  fill({"A", "B", "C", "D", "E"});
  // First D B A; then D, E and B of what is free, in this order.
  const auto sticky = stickyOf(3, numbers({3, 1, 0, 3, 3, 1}));
  ASSERT_EQ(namesOf(sticky), "D B A");
  const auto view = ListView::of(sticky);
  const Ref<NSArray> kept = sticky->fetchedObjects();
  sticky->reshuffle();
  EXPECT_EQ(namesOf(sticky), "D E B");
  EXPECT_EQ(view->told(), "will, -A 0.2, +E 0.1, did") << "D and B keep their order";
  view->expectTrue();
  EXPECT_EQ(FetchedResultsTest::names(kept), "D B A") << "an array that was kept stays";
}

TEST_F(StickySampleTest, AReshuffleTellsOfMovesAndOfNothingWhereNothingIsOther) {
  fill({"A", "B"});
  const auto sticky = stickyOf(2, numbers({0, 1, 1}));
  ASSERT_EQ(namesOf(sticky), "A B");
  const auto view = ListView::of(sticky);
  sticky->reshuffle();
  EXPECT_EQ(namesOf(sticky), "B A");
  EXPECT_EQ(view->told().substr(0, 7), "will, >");
  view->expectTrue();
  sticky->reshuffle();
  EXPECT_EQ(view->told(), "");
}

TEST_F(StickySampleTest, AFetchKeepsWhatIsStillThereAndTellsNothing) {
  fill({"A", "B", "C", "D", "E"});
  const auto sticky = stickyOf(3, numbers({3, 1, 0, 0}));
  ASSERT_EQ(namesOf(sticky), "D B A");
  const auto view = ListView::of(sticky);
  ASSERT_TRUE(sticky->performFetch());
  EXPECT_EQ(namesOf(sticky), "D B A");
  // After a reset the objects are others, of the same records.
  const Value before = sticky->fetchedObjects()->objectAtIndex(0);
  context->reset();
  ASSERT_TRUE(sticky->performFetch());
  EXPECT_EQ(namesOf(sticky), "D B A");
  EXPECT_FALSE(sticky->fetchedObjects()->objectAtIndex(0).isIdentical(before));
  sticky->fetchRequest()->setPredicate(NSPredicate::predicateWithFormat("name != 'B'"));
  ASSERT_TRUE(sticky->performFetch());
  EXPECT_EQ(namesOf(sticky), "D C A");
  EXPECT_EQ(view->told(), "");
}

TEST_F(StickySampleTest, AFetchThatFailsLeavesTheSample) {
  fill({"A", "B"});
  const auto sticky = stickyOf(1, numbers({0}));
  Ref<NSError> error;
  ASSERT_TRUE(coordinator->suspend(&error)) << text(error);
  std::filesystem::rename(directory.file("library.sqlite"), directory.file("away.sqlite"));
  EXPECT_FALSE(sticky->performFetch(&error));
  EXPECT_TRUE(error);
  EXPECT_EQ(namesOf(sticky), "A");
}

TEST_F(StickySampleTest, ItIsFollowedWithoutADelegate) {
  fill({"A", "B", "C"});
  const auto sticky = stickyOf(1, numbers({0, 1}));
  context->deleteObject(all[0]);
  process();
  EXPECT_EQ(namesOf(sticky), "C");
}

TEST_F(StickySampleTest, ARollbackIsFollowed) {
  fill({"A", "B", "C"});
  const auto sticky = stickyOf(3, [] { return 0u; });
  const auto view = ListView::of(sticky);
  context->deleteObject(all[1]);
  process();
  ASSERT_EQ(sticky->fetchedObjects()->count(), 2u);
  context->rollback();
  process();
  EXPECT_EQ(sticky->fetchedObjects()->count(), 3u);
  view->expectTrue();
}

// ---- Delegates that do something in their calls -------------------------------------------------

TEST_F(StickySampleTest, TheOldSampleStandsUntilTheBatchIsTold) {
  fill({"A", "B", "C"});
  const auto sticky = stickyOf(1, numbers({0, 0}));
  const auto view = ListView::of(sticky);
  std::string seen;
  view->onWill = [&] { seen += namesOf(sticky) + "; "; };
  view->onObject = view->onDid = [&] { seen += namesOf(sticky) + "; "; };
  all[0]->setValueForKey("a", "name");
  process();
  EXPECT_EQ(std::exchange(seen, ""), "a; a; a; ");
  sticky->setSampleLimit(0);
  EXPECT_EQ(seen, "a; ; ; ");
}

TEST_F(StickySampleTest, WhatADelegateAsksForWaitsForTheEndOfTheBatch) {
  fill({"A", "B", "C", "D", "E", "F"});
  for (const auto place : {&ListView::onWill, &ListView::onObject, &ListView::onDid}) {
    const auto sticky = stickyOf(2, seededRandomSource(3));
    const auto view = ListView::of(sticky);
    int times = 3;
    view.get()->*place = [&] {
      if (times-- <= 0) return;
      const std::string before = namesOf(sticky);
      sticky->reshuffle();
      sticky->setSampleLimit(sticky->sampleLimit() + 1);
      EXPECT_EQ(namesOf(sticky), before) << "not yet";
    };
    sticky->setSampleLimit(1);
    EXPECT_GT(view->batches, 1);
    EXPECT_EQ(sticky->fetchedObjects()->count(), sticky->sampleLimit());
    view->expectTrue();
  }
}

TEST_F(StickySampleTest, ADelegateMaySaveFetchLeaveOrLetGoInAnyCall) {
  for (const auto place : {&ListView::onWill, &ListView::onObject, &ListView::onDid}) {
    for (int what = 0; what < 5; ++what) {
      SCOPED_TRACE(what);
      all.clear();
      fill({"A", "B", "C", "D", "E", "F"});
      auto sticky = stickyOf(3, seededRandomSource(5));
      const auto view = ListView::of(sticky);
      bool isDone = false;
      view->ignores = what == 1 || what == 2;
      view.get()->*place = [&] {
        if (std::exchange(isDone, true)) return;
        if (what == 0) save();
        if (what == 1) sticky->performFetch();
        if (what == 2) sticky->setDelegate(nullptr);
        if (what == 3) sticky = nullptr;
        if (what == 4) {
          context->deleteObject(as<NSManagedObject>(sticky->fetchedObjects()->lastObject()));
          process();
        }
      };
      context->deleteObject(as<NSManagedObject>(sticky->fetchedObjects()->objectAtIndex(1)));
      process();
      EXPECT_TRUE(isDone);
      if (sticky) {
        process();
        const Ref<NSArray> results = sticky->results()->fetchedObjects();
        for (const Value& object : sticky->fetchedObjects()) {
          EXPECT_TRUE(results->containsObject(object));
        }
      }
      if (what == 0 || what == 4) view->expectTrue();
      if (sticky) sticky->setDelegate(nullptr);
      context->rollback();
      for (const Value& object : fetch(items())) context->deleteObject(as<NSManagedObject>(object));
      save();
    }
  }
}

TEST_F(StickySampleTest, ADelegateThatRaisesIsLoggedAndTheSampleIsTrue) {
  fill({"A", "B", "C"});
  const auto sticky = stickyOf(2, numbers({0, 0, 0}));
  ASSERT_EQ(namesOf(sticky), "A C");
  const auto view = ListView::of(sticky);
  view->ignores = true;
  view->onWill = [] { raise(NSGenericException, "not today"); };
  context->deleteObject(all[0]);
  EXPECT_EQ(logged([&] { process(); }).size(), 1u);
  EXPECT_EQ(namesOf(sticky), "B C");
}

TEST_F(StickySampleTest, WhoKeepsTheResultsKeepsNothingElse) {
  fill({"A", "B"});
  auto sticky = stickyOf(1, numbers({0}));
  const Ref<NSFetchedResultsController> results = sticky->results();
  EXPECT_TRUE(results->delegate());
  sticky = nullptr;
  EXPECT_FALSE(results->delegate());
}

// ---- Chance -------------------------------------------------------------------------------------

TEST(RandomPlaces, EveryOrderOfTheFreePlacesIsAsLikely) {
  const RandomSource source = seededRandomSource(2026);
  std::map<std::vector<NSUInteger>, int> counts;
  const int rounds = 60'000;
  for (int i = 0; i < rounds; ++i) {
    impl::RandomPlaces places(6, {1, 4}, source);
    std::vector<NSUInteger> drawn;
    while (drawn.size() < 3) drawn.push_back(places.draw());
    ++counts[drawn];
  }
  // Three of 0, 2, 3, 5, in order: 24 possibilities, 23 degrees of freedom.
  ASSERT_EQ(counts.size(), 24u);
  double chiSquare = 0;
  for (const auto& [drawn, count] : counts) {
    chiSquare += std::pow(count - rounds / 24.0, 2) / (rounds / 24.0);
  }
  EXPECT_LT(chiSquare, 49.7) << "happens by chance once in a thousand";
}

TEST(RandomPlaces, EveryFreePlaceIsDrawnOnceAndNoOther) {
  Randomness random;
  JN_TRACE_SEED(random);
  const RandomSource source = seededRandomSource(static_cast<std::uint32_t>(random.bits()));
  for (int round = testing::rounds(1'000, 100'000); round > 0; --round) {
    const NSUInteger count = random.below(30);
    std::vector<NSUInteger> taken;
    std::set<NSUInteger> expected;
    for (NSUInteger i = 0; i < count; ++i) {
      if (random.below(3) == 0) {
        taken.push_back(i);
      } else {
        expected.insert(i);
      }
    }
    impl::RandomPlaces places(count, taken, source);
    std::set<NSUInteger> drawn;
    while (!places.isEmpty()) ASSERT_TRUE(drawn.insert(places.draw()).second);
    ASSERT_EQ(drawn, expected);
  }
}

TEST(RandomPlaces, MorePlacesThanANumberOfTheSourceHasAreDrawnFrom) {
  const NSUInteger count = NSUInteger{1} << 40;
  const RandomSource source = seededRandomSource(1);
  impl::RandomPlaces places(count, {}, source);
  NSUInteger highest = 0;
  for (int i = 0; i < 100; ++i) highest = std::max(highest, places.draw());
  EXPECT_LT(highest, count);
  EXPECT_GT(highest, count / 2);
}

// ---- Against a plain model ----------------------------------------------------------------------

class StickySampleRandom : public StickySampleTest,
                           public ::testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override { open(GetParam(), listModel()); }
};

/// What is kept stays where it is; the first empty slots are filled; the others close up.
std::vector<const NSObject*> expectedSlots(const std::vector<Value>& before,
                                           const Ref<NSArray>& results, NSUInteger limit) {
  std::set<const NSObject*> there;
  for (const Value& object : results) there.insert(object.object());
  std::vector<const NSObject*> slots;
  NSUInteger kept = 0;
  for (const Value& object : before) {
    const bool stays = there.count(object.object()) != 0;
    slots.push_back(stays ? object.object() : nullptr);
    kept += stays ? 1 : 0;
  }
  const NSUInteger size = std::min<NSUInteger>(limit, there.size());
  NSUInteger draws = size - kept;
  std::vector<const NSObject*> expected;
  for (const NSObject* slot : slots) {
    if (slot) {
      expected.push_back(slot);
    } else if (draws > 0) {
      expected.push_back(nullptr);
      --draws;
    }
  }
  expected.resize(size, nullptr);
  return expected;
}

TEST_P(StickySampleRandom, OnlyWhatIsGoneIsReplaced) {
  Randomness random;
  JN_TRACE_SEED(random);
  std::vector<Ref<NSManagedObject>> alive;
  int made = 0;
  const auto make = [&] {
    alive.push_back(item(std::to_string(made++).c_str(), static_cast<int>(random.below(1000))));
  };
  for (int i = 0; i < 20; ++i) make();
  save();
  const auto seed = static_cast<std::uint32_t>(random.bits());
  NSUInteger limit = 6;
  const auto sticky = stickyOf(limit, seededRandomSource(seed));
  const auto twin = stickyOf(limit, seededRandomSource(seed));
  const auto view = ListView::of(sticky);
  const int steps = testing::rounds(5'000, 250'000);
  for (int step = 0; step < steps; ++step) {
    SCOPED_TRACE("step " + std::to_string(step));
    const std::vector<Value> before = view->sections[0].rows;
    for (auto edits = random.below(20) == 0 ? 20 : 1 + random.below(4); edits > 0; --edits) {
      const auto what = random.below(10);
      if (alive.empty() || (what < 3 && alive.size() < 64)) {
        make();
      } else if (what < 6) {
        const auto at = random.below(alive.size());
        context->deleteObject(alive[at]);
        std::swap(alive[at], alive.back());
        alive.pop_back();
      } else if (what < 8) {
        alive[random.below(alive.size())]->setValueForKey(random.bits() % 100 / 7.0, "score");
      } else {
        alive[random.below(alive.size())]->setValueForKey(random.between(0, 999), "rank");
      }
    }
    const int batches = view->batches;
    process();
    ASSERT_LE(view->batches, batches + 1);
    view->expectTrue();
    if (HasFatalFailure()) return;
    const auto expected = expectedSlots(before, sticky->results()->fetchedObjects(), limit);
    const auto& rows = view->sections[0].rows;
    ASSERT_EQ(rows.size(), expected.size());
    std::set<const NSObject*> distinct;
    for (std::size_t i = 0; i < rows.size(); ++i) {
      ASSERT_TRUE(distinct.insert(rows[i].object()).second) << "twice in the sample";
      ASSERT_TRUE(sticky->results()->indexPathForObject(rows[i]));
      if (expected[i]) {
        ASSERT_EQ(rows[i].object(), expected[i]) << "slot " << i;
      } else {
        for (const Value& old : before) ASSERT_NE(rows[i].object(), old.object());
      }
    }
    ASSERT_TRUE(twin->fetchedObjects()->isEqualToArray(sticky->fetchedObjects()));

    const auto next = random.below(20);
    if (next == 0) save();
    if (next == 1) {
      sticky->reshuffle();
      twin->reshuffle();
    }
    if (next == 2) {
      limit = random.below(12);
      sticky->setSampleLimit(limit);
      twin->setSampleLimit(limit);
    }
    if (next == 3) {
      context->rollback();
      process();
      alive.clear();
      for (const Value& object : fetch(items())) alive.emplace_back(as<NSManagedObject>(object));
    }
    view->expectTrue();
    if (HasFatalFailure()) return;
  }
}

FOR_EVERY_STORE(StickySampleRandom);

}  // namespace
}  // namespace JNFoundation
