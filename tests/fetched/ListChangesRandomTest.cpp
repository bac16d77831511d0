#include "tests/fetched/ListModel.h"

#include <JNFoundation/fetched/ListChanges.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSError.h>

namespace JNFoundation {
namespace {

using testing::Randomness;

/// Random batches between random lists. What they do to rows is known without them.
class ListChangesRandom : public ::testing::Test {
 protected:
  struct Batch {
    ListModel before, after;
    ListChanges changes;
    Expectation expected;
  };

  Batch batchFrom(const ListModel& before) {
    Batch batch{before, maker.changed(before), {}, {}};
    batch.changes = maker.changes(batch.before, batch.after, &batch.expected);
    return batch;
  }

  /// Mostly small lists, where the corners are, and some larger ones.
  Batch batch() { return batchFrom(random.below(10) == 0 ? maker.list(8, 30) : maker.list(3, 5)); }

  static void expectDoes(const ListChanges& changes, const ListModel& before,
                         const ListModel& after, const Expectation& expected) {
    expectRows(applyChanges(changes, before.rows(), after), after, expected);
    if (HasFatalFailure()) return;
    Rows rows = before.rows();
    const std::vector<EditStep> script = editScript(changes);
    runScript(script, rows, after);
    if (HasFatalFailure()) return;
    expectRows(rows, after, expected);
    rows = before.rows();
    applyEditScript(script, rows, after);
    expectRows(rows, after, expected);
  }

  Randomness random;
  ListMaker maker{random};
};

TEST_F(ListChangesRandom, BatchAndScriptLeadToTheListAfter) {
  JN_TRACE_SEED(random);
  for (int round = testing::rounds(3'000, 400'000); round > 0; --round) {
    const Batch batch = this->batch();
    expectDoes(batch.changes, batch.before, batch.after, batch.expected);
    if (HasFatalFailure()) return;
    const auto places = batch.after.places();
    for (const auto& [id, place] : batch.before.places()) {
      ListPlace after{77, 77};
      const bool stays = batch.changes.placeAfter(place, &after);
      ASSERT_EQ(stays, batch.expected.kept.count(id) != 0);
      ASSERT_EQ(after, stays ? places.at(id) : (ListPlace{77, 77}));
    }
  }
}

TEST_F(ListChangesRandom, TwoBatchesAreAsGoodAsOne) {
  JN_TRACE_SEED(random);
  for (int round = testing::rounds(3'000, 300'000); round > 0; --round) {
    const Batch first = batch();
    const Batch second = batchFrom(first.after);
    Expectation expected;
    for (const int id : first.expected.kept) {
      if (second.expected.kept.count(id) == 0) continue;
      expected.kept.insert(id);
      if (first.expected.updated.count(id) + second.expected.updated.count(id) > 0) {
        expected.updated.insert(id);
      }
    }
    const ListChanges both = first.changes.followedBy(second.changes);
    expectDoes(both, first.before, second.after, expected);
    if (HasFatalFailure()) return;
    // It does not matter in which order three are joined.
    const Batch third = batchFrom(second.after);
    ASSERT_EQ(both.followedBy(third.changes),
              first.changes.followedBy(second.changes.followedBy(third.changes)));
  }
}

TEST_F(ListChangesRandom, AnInverseLeadsBack) {
  JN_TRACE_SEED(random);
  for (int round = testing::rounds(3'000, 300'000); round > 0; --round) {
    const Batch batch = this->batch();
    const ListChanges inverse = batch.changes.inverted();
    expectDoes(inverse, batch.after, batch.before, batch.expected);
    if (HasFatalFailure()) return;
    ASSERT_EQ(inverse.inverted(), ListChanges().followedBy(batch.changes).inverted().inverted());
    // There and back: everything that was kept is where it was.
    const ListChanges both = batch.changes.followedBy(inverse);
    for (const auto& [id, place] : batch.before.places()) {
      ListPlace back;
      if (batch.expected.kept.count(id) == 0) continue;
      ASSERT_TRUE(both.placeAfter(place, &back));
      ASSERT_EQ(back, place);
    }
  }
}

TEST_F(ListChangesRandom, AReducedBatchDoesTheSameWithNoMoreEntries) {
  JN_TRACE_SEED(random);
  for (int round = testing::rounds(3'000, 300'000); round > 0; --round) {
    const Batch batch = this->batch();
    ListChanges given = batch.changes;
    if (random.below(2) == 0) {
      given.deletedItems.insert(given.deletedItems.end(), batch.changes.deletedItems.begin(),
                                batch.changes.deletedItems.end());
      given.movedItems.insert(given.movedItems.end(), batch.changes.movedItems.begin(),
                              batch.changes.movedItems.end());
    }
    const ListChanges reduced = given.reduced();
    ASSERT_LE(reduced.size(), batch.changes.size());
    ASSERT_LE(reduced.movedItems.size(), batch.changes.movedItems.size());
    ASSERT_EQ(reduced.reduced(), reduced);

    // An item that leaves a section that goes for one that comes is left to the sections.
    Expectation expected = batch.expected;
    const auto contains = [](const auto& entries, const auto& entry) {
      return std::find(entries.begin(), entries.end(), entry) != entries.end();
    };
    for (const ListMove& move : given.movedItems) {
      if (contains(given.deletedSections, move.from.section) &&
          contains(given.insertedSections, move.to.section)) {
        const int id = batch.before.items[move.from.section][move.from.item];
        expected.kept.erase(id);
        expected.updated.erase(id);
      }
    }
    expectDoes(reduced, batch.before, batch.after, expected);
    if (HasFatalFailure()) return;

    // One entry for each item and section that has to be told of, and no fewer: as many as there
    // are new rows, gone rows and updated ones that no section speaks for.
    std::size_t needed = reduced.deletedSections.size() + reduced.insertedSections.size();
    const auto before = batch.before.places(), after = batch.after.places();
    for (const auto& [id, place] : before) {
      if (expected.kept.count(id) != 0) {
        needed += expected.updated.count(id);
      } else if (!contains(given.deletedSections, place.section)) {
        ++needed;
      }
    }
    for (const auto& [id, place] : after) {
      if (expected.kept.count(id) == 0 && !contains(given.insertedSections, place.section)) {
        ++needed;
      }
    }
    ASSERT_EQ(reduced.size(), needed);
  }
}

/// Tries every choice of moves that may be updates instead.
TEST_F(ListChangesRandom, MovesAreAsFewAsCanBe) {
  JN_TRACE_SEED(random);
  for (int round = testing::rounds(300, 30'000); round > 0; --round) {
    ListModel before{{1}, {{}}};
    for (auto count = 1 + random.below(7); count > 0; --count) {
      before.items[0].push_back(maker.nextItem++);
    }
    ListModel after = before;
    maker.shuffle(after.items[0]);
    ListChanges changes;
    const auto to = after.places();
    for (const auto& [id, place] : before.places())
      changes.movedItems.push_back({place, to.at(id)});
    std::size_t fewest = changes.movedItems.size();
    for (unsigned choice = 0; choice < 1u << changes.movedItems.size(); ++choice) {
      ListPlace last;
      bool ascends = true;
      std::size_t moves = 0;
      bool isFirst = true;
      for (std::size_t i = 0; i < changes.movedItems.size(); ++i) {
        if ((choice >> i & 1) != 0) {
          ++moves;
          continue;
        }
        ascends = ascends && (isFirst || last < changes.movedItems[i].to);
        last = changes.movedItems[i].to;
        isFirst = false;
      }
      if (ascends) fewest = std::min(fewest, moves);
    }
    ASSERT_EQ(changes.reduced().movedItems.size(), fewest);
    std::size_t steps = 0;
    for (const EditStep& step : editScript(changes)) {
      steps += step.kind == EditStep::Kind::MoveItem ? 1 : 0;
    }
    ASSERT_EQ(steps, fewest);
  }
}

TEST_F(ListChangesRandom, WhatIsWrittenIsReadBack) {
  JN_TRACE_SEED(random);
  for (int round = testing::rounds(500, 50'000); round > 0; --round) {
    const ListChanges changes = batch().changes;
    ListChanges read;
    Ref<NSError> error;
    ASSERT_TRUE(ListChanges::readJSONData(changes.JSONData(), &read, &error));
    ASSERT_EQ(read, changes);
  }
}

}  // namespace
}  // namespace JNFoundation
