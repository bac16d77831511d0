#include "tests/platform/store/RandomLists.h"

#include <JNFoundation/fetched/EditScript.h>
#include <JNFoundation/fetched/PLVFetchedResultsChanges.h>
#include <JNFoundation/fetched/PLVRandomFetchedResultsController.h>
#include <JNFoundation/platform/dispatch/Random.h>

namespace JNFoundation {
namespace {

using Sections = std::vector<std::vector<Value>>;

/// Rows of a controller, changed by nothing but the batches that it tells, in every way there is.
class BatchRecorder : public Subclass<BatchRecorder, NSObject, NSFetchedResultsControllerDelegate> {
 public:
  static Ref<BatchRecorder> of(const Ref<NSFetchedResultsController>& controller) {
    auto recorder = makeObject<BatchRecorder>();
    recorder->controller = controller.get();
    recorder->rows = recorder->fresh();
    recorder->restart();
    controller->setDelegate(Ref<NSFetchedResultsControllerDelegate>(recorder));
    return recorder;
  }

  Sections fresh() const {
    Sections sections;
    for (const ListView::Section& section : ListView::sectionsOf(*controller)) {
      sections.push_back(section.rows);
    }
    return sections;
  }

  /// Joins batches from here on.
  void restart() {
    start = rows;
    joined = {};
  }

  void controllerWillChangeContent(Controller) override {
    changes = {};
    set = PLVFetchedResultsChanges::init();
  }
  void controllerDidChangeSectionAtIndexForChangeType(Controller,
                                                      const Ref<NSFetchedResultsSectionInfo>& info,
                                                      NSUInteger index,
                                                      NSFetchedResultsChangeType type) override {
    changes.changeSectionAtIndexForChangeType(index, type);
    set->changeSectionAtIndexForChangeType(info, index, type);
  }
  void controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(
      Controller, const Ref<NSManagedObject>&, const Ref<NSIndexPath>& from,
      NSFetchedResultsChangeType type, const Ref<NSIndexPath>& to) override {
    changes.changeObjectAtIndexPathForChangeTypeNewIndexPath(from, type, to);
    set->changeObjectAtIndexPathForChangeTypeNewIndexPath(from, type, to);
  }
  void controllerDidChangeContent(Controller) override {
    ++batches;
    const Sections before = std::exchange(rows, fresh());
    expect(applyChanges(changes, before, Source{rows}), rows, "the batch");
    expect(applyChanges(changes.reduced(), before, Source{rows}), rows, "the reduced batch");
    expect(applyChanges(changes.inverted(), rows, Source{before}), before, "the inverse");
    Sections stepped = before;
    applyEditScript(editScript(changes), stepped, Source{rows});
    expect(stepped, rows, "the script");
    const ListChanges collected = ListChanges::withChanges(set);
    expect(applyChanges(collected, before, Source{rows}), rows, "the collected set");
    stepped = before;
    applyEditScript(editScript(collected), stepped, Source{rows});
    expect(stepped, rows, "the script of the collected set");
    joined = joined.followedBy(changes);
    expect(applyChanges(joined, start, Source{rows}), rows, "what was joined");
  }

  NSFetchedResultsController* controller = nullptr;
  Sections rows;
  int batches = 0;

 private:
  /// Rows that come are those of the list after; those that stay have to be them as well.
  struct Source {
    const Sections& after;

    NSUInteger count(NSUInteger section) const { return after.at(section).size(); }
    Value make(const ListPlace& place) const { return after.at(place.section).at(place.item); }
    void update(Value& row, const ListPlace& place) const {
      EXPECT_TRUE(row.isIdentical(make(place)));
    }
  };

  static void expect(const Sections& made, const Sections& expected, const char* what) {
    SCOPED_TRACE(what);
    ASSERT_EQ(made.size(), expected.size());
    for (std::size_t s = 0; s < made.size(); ++s) {
      ASSERT_EQ(made[s].size(), expected[s].size()) << "section " << s;
      for (std::size_t i = 0; i < made[s].size(); ++i) {
        ASSERT_TRUE(made[s][i].isIdentical(expected[s][i])) << "row " << s << "." << i;
      }
    }
  }

  ListChanges changes;
  Ref<PLVFetchedResultsChanges> set;
  Sections start;
  ListChanges joined;
};

/// Controllers of all results and of samples, with random sections, sorts and predicates.
class ListChangesOfControllers : public RandomLists {
 protected:
  Ref<BatchRecorder> recorder() {
    controllers.push_back(show().controller);
    if (random.below(3) == 0) {
      controllers.back() =
          PLVRandomFetchedResultsController::initWithFetchRequestManagedObjectContextSampleLimit(
              controllers.back()->fetchRequest(), context, random.below(12));
      EXPECT_TRUE(controllers.back()->performFetch());
    }
    return BatchRecorder::of(controllers.back());
  }

  std::vector<Ref<NSFetchedResultsController>> controllers;
};

TEST_P(ListChangesOfControllers, EveryWayFromTheListBeforeLeadsToAFreshOne) {
  JN_TRACE_SEED(random);
  const RandomSourceScope scope(seededRandomSource(static_cast<std::uint32_t>(random.bits())));
  std::vector<Ref<NSManagedObject>> alive;
  int names = 0;
  const auto make = [&] {
    alive.push_back(insert(
        "Item",
        {{"name", std::to_string(names++)}, {"group", randomGroup()}, {"rank", randomRank()}}));
  };
  for (int i = 0; i < 30; ++i) make();
  save();
  std::vector<Ref<BatchRecorder>> recorders;
  const int steps = testing::rounds(10'000, 500'000);
  for (int step = 0; step < steps; ++step) {
    SCOPED_TRACE("step " + std::to_string(step));
    while (recorders.size() < 3) recorders.push_back(recorder());
    for (auto edits = random.below(20) == 0 ? 40 : 1 + random.below(6); edits > 0; --edits) {
      const auto what = random.below(10);
      if (alive.empty() || (what < 2 && alive.size() < 64)) {
        make();
      } else if (what == 2) {
        const auto at = random.below(alive.size());
        context->deleteObject(alive[at]);
        std::swap(alive[at], alive.back());
        alive.pop_back();
      } else {
        change(alive[random.below(alive.size())]);
      }
    }
    process();
    if (HasFailure()) return;
    for (const auto& each : recorders) {
      if (random.below(10) == 0) each->restart();
    }
    const auto next = random.below(40);
    if (next == 0) {
      const auto at = static_cast<std::ptrdiff_t>(random.below(recorders.size()));
      recorders.erase(recorders.begin() + at);
      controllers.erase(controllers.begin() + at);
    } else if (next < 4) {
      save();
    } else if (next == 4) {
      context->rollback();
      process();
      alive.clear();
      for (const Value& object : fetch(request("Item"))) {
        alive.emplace_back(as<NSManagedObject>(object));
      }
    }
    if (HasFailure()) return;
  }
  int batches = 0;
  for (const auto& each : recorders) batches += each->batches;
  EXPECT_GT(batches, 0);
}

FOR_EVERY_STORE(ListChangesOfControllers);

}  // namespace
}  // namespace JNFoundation
