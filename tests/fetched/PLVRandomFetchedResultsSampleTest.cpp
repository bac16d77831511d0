#include "tests/fetched/SampleFixture.h"

#include <JNFoundation/fetched/PLVRandomFetchedResultsSample.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation {
namespace {

/// A sample over fetched results, told of changes by hand or, as their delegate would, of real
/// ones.
class PLVRandomFetchedResultsSampleTest : public SampleTest {
 protected:
  Ref<PLVRandomFetchedResultsSample> sampleOf(std::vector<std::uint32_t> draws, NSUInteger limit) {
    results = fetchedOf(items());
    RandomSourceScope scope(numbers(std::move(draws)));
    return PLVRandomFetchedResultsSample::initWithFetchedResultsControllerLimit(results, limit);
  }

  static std::string names(const Ref<PLVRandomFetchedResultsSample>& sample) {
    return FetchedResultsTest::names(sample->objects());
  }

  static Ref<NSMutableIndexSet> set(std::initializer_list<NSUInteger> indexes) {
    auto made = NSMutableIndexSet::indexSet();
    for (const NSUInteger index : indexes) made->addIndex(index);
    return made;
  }

  static Ref<PLVFetchedResultsChanges> changes(std::initializer_list<NSUInteger> deleted,
                                               std::initializer_list<NSUInteger> inserted) {
    auto made = PLVFetchedResultsChanges::initWithOptions(0);
    for (const NSUInteger item : deleted) made->deletedItemPaths()->addObject(path(0, item));
    for (const NSUInteger item : inserted) made->insertedItemPaths()->addObject(path(0, item));
    return made;
  }

  void change(const Ref<PLVRandomFetchedResultsSample>& sample, const Value& object,
              const Ref<NSIndexPath>& from, NSFetchedResultsChangeType type,
              const Ref<NSIndexPath>& to) {
    sample->changeObjectAtIndexPathForChangeTypeNewIndexPath(object, from, type, to);
  }

  Ref<NSFetchedResultsController> results;
};

TEST_F(PLVRandomFetchedResultsSampleTest, DrawsAreTakenUpwardsAndThenDownwards) {
  fill({"A", "B", "C", "D", "E"});
  // 3 is D; 3 again is the next one, E; once more there is none above, so the last below, C; 0 is
  // A; 0 again skips it.
  const auto sample = sampleOf({3, 3, 3, 0, 0}, 5);
  EXPECT_EQ(names(sample), "D E C A B");
  EXPECT_EQ(indexes(sample->sampleIndexes()), "{0, 1, 2, 3, 4}");
  EXPECT_EQ(sample->numberOfObjects(), 5u);
  EXPECT_EQ(sample->sampleLimit(), 5u);
  EXPECT_EQ(sample->fetchedResults(), results);
  EXPECT_FALSE(sample->sampleChanges());
  EXPECT_FALSE(sample->controllerChanges());
}

TEST_F(PLVRandomFetchedResultsSampleTest, EachDrawIsAmongAllResults) {
  fill({"A", "B", "C"});
  results = fetchedOf(items());
  // The largest number is the last of three while the bound is 3, and 4294967295 % 2 else.
  RandomSourceScope scope([] { return 4294967294u; });
  const auto sample =
      PLVRandomFetchedResultsSample::initWithFetchedResultsControllerLimit(results, 2);
  EXPECT_EQ(names(sample), "C B");
}

TEST_F(PLVRandomFetchedResultsSampleTest, FewResultsAreAllDrawnInRandomOrder) {
  fill({"A", "B", "C"});
  const auto sample = sampleOf({2, 0, 1}, 100);
  EXPECT_EQ(names(sample), "C A B");
  EXPECT_EQ(sample->numberOfObjects(), 3u);
}

TEST_F(PLVRandomFetchedResultsSampleTest, ALimitOfNoneDrawsNothing) {
  fill({"A", "B", "C"});
  const auto sample = sampleOf({}, 0);
  EXPECT_EQ(sample->numberOfObjects(), 0u);
  EXPECT_EQ(sample->sampleIndexes()->count(), 0u);
}

TEST_F(PLVRandomFetchedResultsSampleTest, NoResultsGiveAnEmptySampleWithoutADraw) {
  const auto sample = sampleOf({}, 3);
  EXPECT_EQ(sample->numberOfObjects(), 0u);
  ASSERT_TRUE(sample->objects());
}

TEST_F(PLVRandomFetchedResultsSampleTest, ResultsThatWereNotFetchedGiveAnEmptySample) {
  fill({"A"});
  for (const auto& unfetched : {controllerOf(items()), Ref<NSFetchedResultsController>()}) {
    const auto sample =
        PLVRandomFetchedResultsSample::initWithFetchedResultsControllerLimit(unfetched, 3);
    EXPECT_FALSE(sample->name());
    EXPECT_FALSE(sample->indexTitle());
    EXPECT_EQ(sample->numberOfObjects(), 0u);
    EXPECT_FALSE(sample->endChanges());
  }
}

TEST_F(PLVRandomFetchedResultsSampleTest, FetchedResultsWithoutASectionRaise) {
  auto sectioned = fetchedOf(items({by("group")}), "group");
  ASSERT_EQ(sectioned->sections()->count(), 0u);
  try {
    PLVRandomFetchedResultsSample::initWithFetchedResultsControllerLimit(sectioned, 3);
    FAIL() << "there is no section to sample";
  } catch (const Raised& raised) {
    EXPECT_TRUE(raised.exception()->name()->isEqual(NSRangeException));
  }
}

TEST_F(PLVRandomFetchedResultsSampleTest, OnlyTheFirstSectionIsSampledAndGivesItsNames) {
  item("a", 1, "first");
  item("b", 2, "first");
  item("c", 3, "second");
  save();
  auto sectioned = fetchedOf(items({by("group"), by("rank")}), "group");
  const auto sample =
      PLVRandomFetchedResultsSample::initWithFetchedResultsControllerLimit(sectioned, 3);
  EXPECT_EQ(sample->numberOfObjects(), 2u);
  EXPECT_EQ(sample->name()->toStdString(), "first");
  EXPECT_EQ(sample->indexTitle()->toStdString(), "F");
  EXPECT_EQ(indexes(sample->sampleIndexes()), "{0, 1}");
}

TEST_F(PLVRandomFetchedResultsSampleTest, ASampleIsASection) {
  fill({"A"});
  const Value sample(sampleOf({}, 1));
  const auto* section = as<NSFetchedResultsSectionInfo>(sample);
  ASSERT_TRUE(section);
  EXPECT_EQ(section->numberOfObjects(), 1u);
  EXPECT_EQ(performSelector(sample, "numberOfObjects").integerValue(), 1);
  EXPECT_FALSE(respondsToSelector(sample, "objectAtIndex:"));
}

TEST_F(PLVRandomFetchedResultsSampleTest, ArraysThatAreKeptStayAsTheyAre) {
  fill({"A", "B", "C"});
  const auto sample = sampleOf({0}, 1);
  const Ref<NSArray> kept = sample->objects();
  sample->setSampleIndexes(nullptr);
  EXPECT_EQ(indexes(sample->sampleIndexes()), "{}");
  RandomSourceScope scope(numbers({2}));
  sample->resampleWithObjectsChanges(nullptr, nullptr);
  EXPECT_EQ(names(sample), "C");
  EXPECT_EQ(FetchedResultsTest::names(kept), "A");
}

/// Draws nothing by chance: the first ones that are free.
class FirstOnes : public Subclass<FirstOnes, PLVRandomFetchedResultsSample> {
 public:
  void resampleWithObjectsChanges(const Ref<NSMutableArray>& objects,
                                  const Ref<PLVFetchedResultsChanges>& changes) override {
    RandomSourceScope scope([] { return 0u; });
    PLVRandomFetchedResultsSample::resampleWithObjectsChanges(objects, changes);
  }

 protected:
  using Subclass::Subclass;
};

TEST_F(PLVRandomFetchedResultsSampleTest, ASubclassMayDrawInItsOwnWayFromTheStart) {
  fill({"A", "B", "C", "D"});
  results = fetchedOf(items());
  const Ref<FirstOnes> sample = FirstOnes::initWithFetchedResultsControllerLimit(results, 2);
  EXPECT_EQ(names(Ref<PLVRandomFetchedResultsSample>(sample)), "A B");
  sample->beginChanges();
  change(sample, all[0], path(0, 0), NSFetchedResultsChangeDelete, nullptr);
  context->deleteObject(all[0]);
  save();
  ASSERT_TRUE(results->performFetch());
  const auto noted = sample->endChanges();
  EXPECT_EQ(itemsOf(noted->deletedItemPaths()), "0");
  EXPECT_EQ(itemsOf(noted->insertedItemPaths()), "1");
  EXPECT_EQ(names(Ref<PLVRandomFetchedResultsSample>(sample)), "B C");
}

// ---- Filling ------------------------------------------------------------------------------------

TEST_F(PLVRandomFetchedResultsSampleTest, FillingGoesOnFromTheListAndNotesInserts) {
  fill({"A", "B", "C", "D"});
  const auto sample = sampleOf({1}, 1);
  const auto list = NSMutableArray::arrayWithArray(sample->objects());
  const auto noted = PLVFetchedResultsChanges::initWithOptions(0);
  sample->resampleWithObjectsChanges(list, noted);
  EXPECT_EQ(names(sample), "B") << "it is full";
  EXPECT_EQ(itemsOf(noted->insertedItemPaths()), "");

  auto wide = sampleOf({1}, 1);
  wide = PLVRandomFetchedResultsSample::initWithFetchedResultsControllerLimit(nullptr, 3);
  wide->setFetchedResults(results);
  wide->setSampleIndexes(set({1}));
  RandomSourceScope scope(numbers({1, 3}));
  wide->resampleWithObjectsChanges(list, noted);
  EXPECT_EQ(names(wide), "B C D");
  EXPECT_EQ(itemsOf(noted->insertedItemPaths()), "1 2");
  EXPECT_EQ(indexes(wide->sampleIndexes()), "{1, 2, 3}");
  EXPECT_EQ(list->count(), 3u) << "the list is what was filled";
  list->removeAllObjects();
  EXPECT_EQ(names(wide), "B C D") << "and the sample has a copy of it";
}

TEST_F(PLVRandomFetchedResultsSampleTest, IndexesBeyondTheResultsAreNoFreeOnesAndNoHarm) {
  fill({"A", "B", "C"});
  const auto sample = sampleOf({}, 0);
  auto other = PLVRandomFetchedResultsSample::initWithFetchedResultsControllerLimit(nullptr, 9);
  other->setFetchedResults(results);
  other->setSampleIndexes(set({2, 3, 4, 700}));
  RandomSourceScope scope(numbers({2, 2}));
  other->resampleWithObjectsChanges(nullptr, nullptr);
  EXPECT_EQ(names(other), "B A");
  EXPECT_EQ(indexes(other->sampleIndexes()), "{0, 1, 2, 3, 4, 700}");
}

// ---- Following ----------------------------------------------------------------------------------

TEST_F(PLVRandomFetchedResultsSampleTest, ABatchHasBothChangeSetsAndSplitsMoves) {
  fill({"A", "B", "C"});
  const auto sample = sampleOf({0, 2}, 2);
  sample->beginChanges();
  ASSERT_TRUE(sample->sampleChanges());
  ASSERT_TRUE(sample->controllerChanges());
  EXPECT_EQ(sample->sampleChanges()->options(), 0u);
  EXPECT_EQ(sample->controllerChanges()->options(), 0u);
  change(sample, all[0], path(0, 0), NSFetchedResultsChangeMove, path(0, 2));
  sample->changeSectionAtIndexForChangeType(nullptr, 4, NSFetchedResultsChangeInsert);
  EXPECT_EQ(itemsOf(sample->controllerChanges()->deletedItemPaths()), "0");
  EXPECT_EQ(itemsOf(sample->controllerChanges()->insertedItemPaths()), "2");
  EXPECT_TRUE(sample->controllerChanges()->insertedSections()->containsIndex(4));
  EXPECT_EQ(sample->sampleChanges()->insertedSections()->count(), 0u);
  EXPECT_EQ(sample->sampleChanges()->deletedItemPaths()->count(), 0u);
  EXPECT_EQ(sample->sampleChanges()->insertedItemPaths()->count(), 0u);
  const auto begun = sample->sampleChanges();
  EXPECT_EQ(sample->endChanges(), begun);
  EXPECT_FALSE(sample->sampleChanges());
  EXPECT_FALSE(sample->controllerChanges());
}

TEST_F(PLVRandomFetchedResultsSampleTest, OnlyDeletesAndUpdatesOfSampledObjectsAreNoted) {
  fill({"A", "B", "C"});
  const auto sample = sampleOf({2, 0}, 2);  // C A
  sample->beginChanges();
  change(sample, all[0], path(0, 0), NSFetchedResultsChangeUpdate, path(0, 9));
  change(sample, all[1], path(0, 1), NSFetchedResultsChangeUpdate, path(0, 1));
  change(sample, all[2], path(0, 2), NSFetchedResultsChangeDelete, nullptr);
  // An insert has no old path, which reads as item 0; that one is sampled.
  change(sample, item("new"), nullptr, NSFetchedResultsChangeInsert, path(0, 0));
  change(sample, all[0], path(0, 0), NSFetchedResultsChangeMove, path(0, 0));
  const auto noted = sample->sampleChanges();
  EXPECT_EQ(itemsOf(noted->updatedItemPaths()), "1");
  EXPECT_EQ(itemsOf(noted->deletedItemPaths()), "0");
  EXPECT_EQ(itemsOf(noted->insertedItemPaths()), "");
  EXPECT_EQ(noted->movedItems()->count(), 0u);
}

TEST_F(PLVRandomFetchedResultsSampleTest, AnObjectIsSampledOnlyIfItsIndexAndItselfAre) {
  fill({"A", "B", "C"});
  const auto sample = sampleOf({0}, 1);
  sample->beginChanges();
  change(sample, all[0], path(0, 1), NSFetchedResultsChangeDelete, nullptr);
  change(sample, all[1], path(0, 0), NSFetchedResultsChangeDelete, nullptr);
  EXPECT_EQ(sample->sampleChanges()->deletedItemPaths()->count(), 0u);
  EXPECT_EQ(itemsOf(sample->controllerChanges()->deletedItemPaths()), "1 0");
}

TEST_F(PLVRandomFetchedResultsSampleTest, ChangesOutsideABatchAreLost) {
  fill({"A", "B", "C"});
  const auto sample = sampleOf({0}, 1);
  change(sample, all[0], path(0, 0), NSFetchedResultsChangeDelete, nullptr);
  sample->changeSectionAtIndexForChangeType(nullptr, 0, NSFetchedResultsChangeDelete);
  EXPECT_FALSE(sample->sampleChanges());
  EXPECT_FALSE(sample->controllerChanges());
  EXPECT_FALSE(sample->endChanges());
  EXPECT_EQ(names(sample), "A");
  EXPECT_EQ(indexes(sample->sampleIndexes()), "{0}");
}

TEST_F(PLVRandomFetchedResultsSampleTest, AnEndWithoutABeginFillsTheSampleAndTellsNothing) {
  fill({"A", "B"});
  const auto sample = sampleOf({0, 0}, 3);
  item("C", 30);
  save();
  ASSERT_TRUE(results->performFetch());
  EXPECT_EQ(names(sample), "A B");
  EXPECT_FALSE(sample->endChanges());
  EXPECT_EQ(names(sample), "A B C");
  EXPECT_EQ(indexes(sample->sampleIndexes()), "{0, 1, 2}");
}

TEST_F(PLVRandomFetchedResultsSampleTest, ASecondBeginForgetsTheFirst) {
  fill({"A", "B"});
  const auto sample = sampleOf({0}, 1);
  sample->beginChanges();
  change(sample, all[0], path(0, 0), NSFetchedResultsChangeUpdate, path(0, 0));
  sample->beginChanges();
  EXPECT_EQ(sample->sampleChanges()->updatedItemPaths()->count(), 0u);
}

TEST_F(PLVRandomFetchedResultsSampleTest, IndexesMoveThroughDeletesAndThenInserts) {
  struct Case {
    std::initializer_list<NSUInteger> before, deleted, inserted;
    const char* after;
  };
  const Case cases[] = {
      {{1, 3}, {2}, {0}, "{2, 3}"},
      {{1, 3}, {3}, {}, "{1}"},
      {{1, 3}, {1}, {}, "{2}"},
      {{1, 3}, {0, 1, 2, 3}, {}, "{}"},
      {{1, 3}, {3, 0, 2, 1}, {}, "{}"},  // in whatever order they are told
      {{1, 3}, {}, {3}, "{1, 4}"},
      {{1, 3}, {}, {4}, "{1, 3}"},
      {{1, 3}, {}, {2, 1, 0}, "{4, 6}"},
      {{1, 3}, {}, {0, 5, 6}, "{2, 4}"},
      {{0, 1, 2, 3}, {1}, {1}, "{0, 2, 3}"},  // a move in place
      {{0, 1, 2, 3}, {0}, {3}, "{0, 1, 2}"},
      {{5}, {5, 5}, {}, "{}"},
      {{5, 6}, {5, 5}, {}, "{}"},  // told twice, it is done twice
      {{5, 9}, {5, 5}, {}, "{7}"},
      {{5}, {}, {2, 2}, "{7}"},
      {{}, {0, 1}, {0, 4}, "{}"},
  };
  fill({"A"});
  const auto sample = sampleOf({}, 0);
  for (const Case& each : cases) {
    sample->setSampleIndexes(set(each.before));
    sample->updateSampleIndexesWithChanges(changes(each.deleted, each.inserted));
    EXPECT_EQ(indexes(sample->sampleIndexes()), each.after) << &each - cases;
  }
  sample->setSampleIndexes(set({1}));
  sample->updateSampleIndexesWithChanges(nullptr);
  EXPECT_EQ(indexes(sample->sampleIndexes()), "{1}");
}

TEST_F(PLVRandomFetchedResultsSampleTest, UpdatesAndKeptMovesDoNotMoveIndexes) {
  fill({"A"});
  const auto sample = sampleOf({}, 0);
  sample->setSampleIndexes(set({1, 3}));
  const auto kept = PLVFetchedResultsChanges::init();
  kept->updatedItemPaths()->addObject(path(0, 0));
  kept->movedItems()->addObject(PLVFetchedResultsItemMove::initWithFromTo(path(0, 0), path(0, 9)));
  sample->updateSampleIndexesWithChanges(kept);
  EXPECT_EQ(indexes(sample->sampleIndexes()), "{1, 3}");
}

TEST_F(PLVRandomFetchedResultsSampleTest, WhatIsNoPathIsRefused) {
  fill({"A"});
  const auto sample = sampleOf({}, 0);
  const auto wrong = changes({0}, {});
  wrong->deletedItemPaths()->addObject("no path");
  EXPECT_THROW(sample->updateSampleIndexesWithChanges(wrong), Raised);
  EXPECT_THROW(sample->updateObjectsWithChanges(wrong), Raised);
}

TEST_F(PLVRandomFetchedResultsSampleTest, DeletedPositionsDropOutOfACopy) {
  fill({"A", "B", "C", "D"});
  const auto sample = sampleOf({0, 1, 2, 3}, 4);
  EXPECT_EQ(FetchedResultsTest::names(sample->updateObjectsWithChanges(changes({0, 2}, {1}))),
            "B D");
  EXPECT_EQ(FetchedResultsTest::names(sample->updateObjectsWithChanges(changes({3, 0, 1}, {}))),
            "C");
  EXPECT_EQ(FetchedResultsTest::names(sample->updateObjectsWithChanges(nullptr)), "A B C D");
  EXPECT_EQ(names(sample), "A B C D");
  EXPECT_THROW(sample->updateObjectsWithChanges(changes({4}, {})), Raised);
}

// ---- The worked example -------------------------------------------------------------------------

/// [A, B, C, D, E] sampled as [D, B]; then C goes and F comes to the front; then D goes, while the
/// next draw is r.
class WorkedExample : public PLVRandomFetchedResultsSampleTest,
                      public ::testing::WithParamInterface<std::pair<std::uint32_t, const char*>> {
};

TEST_P(WorkedExample, GoesAsItWasWorkedOut) {
  fill({"A", "B", "C", "D", "E"});
  const auto [r, drawn] = GetParam();
  RandomSourceScope scope(numbers({3, 1, r}));
  const auto controller = sampledOf(2);
  const auto view = StripView::of(controller);
  const auto sample = controller->sample();
  EXPECT_EQ(indexes(sample->sampleIndexes()), "{1, 3}");
  EXPECT_EQ(names(sample), "D B");

  context->deleteObject(all[2]);
  item("F", 5);
  process();
  EXPECT_EQ(indexes(sample->sampleIndexes()), "{2, 3}");
  EXPECT_EQ(names(sample), "D B");
  EXPECT_EQ(view->told(), "will, did");

  context->deleteObject(all[3]);
  process();
  EXPECT_EQ(names(sample), std::string("B ") + drawn);
  EXPECT_EQ(view->told(), std::string("will, -D 0, +") + drawn + " 1, did");
  const std::string now = "{" + std::string(r == 0 ? "0, 2" : r == 1 ? "1, 2" : "2, 3") + "}";
  EXPECT_EQ(indexes(sample->sampleIndexes()), now);
  view->expectTrue();
}

INSTANTIATE_TEST_SUITE_P(Draws, WorkedExample,
                         ::testing::Values(std::pair(0u, "F"), std::pair(1u, "A"),
                                           std::pair(2u, "E"), std::pair(3u, "E")));

/// How far counts are from what was expected.
double chiSquare(const std::vector<double>& counts, const std::vector<double>& shares) {
  double total = 0, sum = 0;
  for (const double count : counts) total += count;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    const double expected = total * shares[i];
    sum += (counts[i] - expected) * (counts[i] - expected) / expected;
  }
  return sum;
}

TEST_F(PLVRandomFetchedResultsSampleTest, TheObjectAfterASampledOneIsDrawnTwiceAsOften) {
  fill({"F", "A", "B", "E"});
  const std::uint32_t seed = 2006;
  SCOPED_TRACE("seed " + std::to_string(seed));
  RandomSourceScope scope(seededRandomSource(seed));
  results = fetchedOf(items());
  const auto sample =
      PLVRandomFetchedResultsSample::initWithFetchedResultsControllerLimit(results, 2);
  std::vector<double> drawn(3);
  const int draws = 100'000;
  for (int i = 0; i < draws; ++i) {
    sample->setSampleIndexes(set({2}));
    const auto noted = PLVFetchedResultsChanges::initWithOptions(0);
    sample->resampleWithObjectsChanges(
        NSMutableArray::arrayWithArray(NSArray::arrayWithObject(all[2])), noted);
    ASSERT_EQ(itemsOf(noted->insertedItemPaths()), "1");
    const Value object = sample->objects()->objectAtIndex(1);
    const auto at = std::find_if(all.begin(), all.end(), [&](const Ref<NSManagedObject>& one) {
      return object.isIdentical(Value(one));
    });
    ASSERT_NE(at, all.end());
    const auto place = static_cast<std::size_t>(at - all.begin());
    ASSERT_NE(place, 2u) << "B is in the sample";
    ++drawn[place == 3 ? 2 : place];
  }
  // Two degrees of freedom: 13.8 is passed once in a thousand seeds.
  EXPECT_LT(chiSquare(drawn, {0.25, 0.25, 0.5}), 13.8) << drawn[0] << " " << drawn[1];
  EXPECT_GT(chiSquare(drawn, {1.0 / 3, 1.0 / 3, 1.0 / 3}), 1000) << "the test can tell";
}

TEST_F(PLVRandomFetchedResultsSampleTest, TheFirstDrawIsFair) {
  fill({"A", "B", "C", "D", "E", "F", "G"});
  results = fetchedOf(items());
  const std::uint32_t seed = 1972;
  SCOPED_TRACE("seed " + std::to_string(seed));
  RandomSourceScope scope(seededRandomSource(seed));
  std::vector<double> drawn(7);
  for (int i = 0; i < 35'000; ++i) {
    const auto sample =
        PLVRandomFetchedResultsSample::initWithFetchedResultsControllerLimit(results, 1);
    ++drawn[sample->sampleIndexes()->firstIndex()];
  }
  EXPECT_LT(chiSquare(drawn, std::vector<double>(7, 1.0 / 7)), 22.5);
}

}  // namespace
}  // namespace JNFoundation
