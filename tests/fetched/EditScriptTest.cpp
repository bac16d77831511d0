#include <chrono>

#include "tests/fetched/ListModel.h"

#include <JNFoundation/fetched/EditScript.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation {
namespace {

using Kind = EditStep::Kind;

std::string text(const ListPlace& place) {
  return std::to_string(place.section) + "." + std::to_string(place.item);
}

/// As "-0.1x2" for a removal, "+0.1" for an insert, ">0.1 0.2" for a move, "=0.1" for an update,
/// "+1" and "-1" for sections.
std::string text(const std::vector<EditStep>& script) {
  std::string joined;
  for (const EditStep& step : script) {
    joined += joined.empty() ? "" : ", ";
    switch (step.kind) {
      case Kind::RemoveItems:
        joined += "-" + text(step.at);
        break;
      case Kind::InsertSection:
        joined += "+" + std::to_string(step.at.section);
        break;
      case Kind::InsertItems:
        joined += "+" + text(step.at);
        break;
      case Kind::MoveItem:
        joined += ">" + text(step.at) + " " + text(step.to);
        break;
      case Kind::RemoveSection:
        joined += "-" + std::to_string(step.at.section);
        break;
      case Kind::UpdateItems:
        joined += "=" + text(step.at);
        break;
    }
    if (step.count != 1) joined += "x" + std::to_string(step.count);
  }
  return joined;
}

std::string scriptOf(const ListChanges& changes) { return text(editScript(changes)); }

TEST(EditScript, NothingIsNoStep) { EXPECT_EQ(scriptOf({}), ""); }

TEST(EditScript, RemovalsGoFromTheEndAndNeighboursGoTogether) {
  ListChanges changes;
  changes.deletedItems = {{0, 1}, {1, 0}, {0, 2}, {0, 5}, {0, 6}, {0, 7}};
  EXPECT_EQ(scriptOf(changes), "-1.0, -0.5x3, -0.1x2");
}

TEST(EditScript, InsertsGoFromTheStartAndNeighboursComeTogether) {
  ListChanges changes;
  changes.insertedItems = {{1, 0}, {0, 2}, {0, 1}, {0, 4}};
  const auto script = editScript(changes);
  EXPECT_EQ(text(script), "+0.1x2, +0.4, +1.0");
  EXPECT_EQ(script[1].after, (ListPlace{0, 4}));
}

TEST(EditScript, NeighboursInDifferentSectionsStayApart) {
  ListChanges changes;
  changes.deletedItems = {{0, 0}, {1, 1}};
  changes.insertedItems = {{0, 0}, {1, 1}};
  changes.updatedItems = {{2, 0}, {3, 1}};
  EXPECT_EQ(scriptOf(changes), "-1.1, -0.0, +0.0, +1.1, =2.0, =3.1");
}

TEST(EditScript, UpdatesComeLastWithTheirPlacesAfter) {
  ListChanges changes;
  changes.deletedItems = {{0, 0}};
  changes.updatedItems = {{0, 2}, {0, 1}, {0, 2}};
  changes.insertedItems = {{0, 3}};
  EXPECT_EQ(scriptOf(changes), "-0.0, +0.3, =0.0x2");
}

TEST(EditScript, ARemovedItemIsNotUpdated) {
  ListChanges changes;
  changes.deletedItems = {{0, 1}};
  changes.deletedSections = {1};
  changes.updatedItems = {{0, 1}, {1, 0}};
  EXPECT_EQ(scriptOf(changes), "-0.1, -1");
}

TEST(EditScript, AMoveTakesOutAndPutsIn) {
  ListChanges down, up;
  down.movedItems = {{{0, 0}, {0, 3}}};
  up.movedItems = {{{0, 3}, {0, 0}}};
  EXPECT_EQ(scriptOf(down), ">0.0 0.3");
  EXPECT_EQ(scriptOf(up), ">0.3 0.0");
}

TEST(EditScript, AMoveIntoTheGapOfARemovalIsAnUpdate) {
  ListChanges changes;
  changes.deletedItems = {{0, 0}};
  changes.movedItems = {{{0, 1}, {0, 0}}};
  EXPECT_EQ(scriptOf(changes), "-0.0, =0.0");
  // The same place, but not the same order.
  ListChanges across;
  across.deletedItems = {{0, 0}};
  across.insertedItems = {{0, 2}};
  across.movedItems = {{{0, 1}, {0, 1}}};
  EXPECT_EQ(scriptOf(across), "-0.0, >0.0 0.1, +0.2");
}

TEST(EditScript, AReversedListMovesAllButOne) {
  ListChanges changes;
  for (NSUInteger i = 0; i < 4; ++i) changes.movedItems.push_back({{0, i}, {0, 3 - i}});
  const auto script = editScript(changes);
  EXPECT_EQ(std::count_if(script.begin(), script.end(),
                          [](const EditStep& step) { return step.kind == Kind::MoveItem; }),
            3);
  EXPECT_EQ(script.size(), 4u);
  const ListModel before{{1}, {{1, 2, 3, 4}}}, after{{1}, {{4, 3, 2, 1}}};
  Rows rows = before.rows();
  runScript(script, rows, after);
  expectRows(rows, after, {{1, 2, 3, 4}, {1, 2, 3, 4}});
}

TEST(EditScript, EverythingGoesAndEverythingComes) {
  ListChanges changes;
  changes.deletedSections = {0, 1, 2};
  changes.insertedSections = {0, 1};
  EXPECT_EQ(scriptOf(changes), "+3, +4, -2, -1, -0");
  const ListModel before{{1, 2, 3}, {{1}, {}, {2, 3}}}, after{{4, 5}, {{4, 5}, {}}};
  Rows rows = before.rows();
  runScript(editScript(changes), rows, after);
  expectRows(rows, after, {});
}

TEST(EditScript, AnItemKeepsItsRowFromASectionThatGoesToOneThatComes) {
  ListChanges changes;
  changes.deletedSections = {0};
  changes.insertedSections = {1};
  changes.deletedItems = {{0, 0}};
  changes.movedItems = {{{0, 1}, {1, 1}}};
  changes.insertedItems = {{1, 0}};
  EXPECT_EQ(scriptOf(changes), "-0.0, +2, +2.0, >0.0 2.1, -0");
  const ListModel before{{1, 2}, {{1, 2}, {3}}}, after{{2, 3}, {{3}, {4, 2}}};
  Rows rows = before.rows();
  runScript(editScript(changes), rows, after);
  expectRows(rows, after, {{2, 3}, {2}});
}

TEST(EditScript, ASectionBringsWhatNoStepBrings) {
  ListChanges changes;
  changes.insertedSections = {0};
  changes.movedItems = {{{0, 0}, {0, 1}}};
  EXPECT_EQ(scriptOf(changes), "+0, >1.0 0.1");
  const ListModel before{{1}, {{1}}}, after{{2, 1}, {{7, 1, 8}, {}}};
  Rows rows = before.rows();
  applyEditScript(editScript(changes), rows, after);
  expectRows(rows, after, {{1}, {1}});
  EXPECT_EQ(placesOfItemSteps(editScript(changes)), (std::vector<ListPlace>{{0, 1}}));
}

TEST(EditScript, WhatDoesNotFitTogetherRaises) {
  ListChanges changes;
  changes.deletedItems = {{0, 1}};
  changes.movedItems = {{{0, 1}, {0, 2}}};
  EXPECT_THROW(editScript(changes), Raised);
}

// ---- Much of it ---------------------------------------------------------------------------------

/// A batch of so many entries of every kind, in disorder.
ListChanges large(NSUInteger size) {
  ListChanges changes;
  testing::Randomness random;
  ListMaker maker(random);
  std::vector<NSUInteger> targets(size);
  for (NSUInteger i = 0; i < size; ++i) targets[i] = i;
  maker.shuffle(targets);
  for (NSUInteger i = 0; i < size; ++i) {
    const ListPlace from{0, 5 * i}, to{i % 3 == 0 ? 1u : 0u, 3 * targets[i]};
    changes.movedItems.push_back({from, to});
    changes.deletedItems.push_back({0, 5 * i + 1});
    changes.insertedItems.push_back({0, 3 * i + 1});
    changes.updatedItems.push_back({0, 5 * i + 2});
  }
  return changes;
}

double secondsOf(NSUInteger size) {
  const ListChanges changes = large(size);
  double best = 1e9;
  for (int run = 0; run < 2; ++run) {
    const auto start = std::chrono::steady_clock::now();
    const ListChanges inverse = changes.inverted();
    EXPECT_EQ(changes.followedBy(inverse).reduced().deletedItems.size(), size);
    EXPECT_GT(editScript(changes).size(), 2 * size);
    best = std::min(
        best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  return best;
}

TEST(EditScript, AHundredThousandEntriesCostLittleMoreThanTenTimesTenThousand) {
  const auto size = static_cast<NSUInteger>(testing::amount(25'000));
  // Four entries each. Ten times as many are twelve times the work, or a hundred if each entry
  // looks at all others.
  EXPECT_LT(secondsOf(size), 40 * secondsOf(size / 10));
}

TEST(EditScript, AHundredThousandItemsInReverseOrderArePutInOrder) {
  const int size = testing::amount(100'000);
  ListModel before{{1}, {{}}};
  ListChanges changes;
  Expectation expected;
  for (int i = 0; i < size; ++i) {
    before.items[0].push_back(i);
    changes.movedItems.push_back(
        {{0, static_cast<NSUInteger>(i)}, {0, static_cast<NSUInteger>(size - 1 - i)}});
    expected.kept.insert(i);
  }
  expected.updated = expected.kept;
  ListModel after = before;
  std::reverse(after.items[0].begin(), after.items[0].end());
  expectRows(applyChanges(changes, before.rows(), after), after, expected);
  const auto script = editScript(changes);
  ASSERT_EQ(script.size(), static_cast<std::size_t>(size));
  // The last one stays, and is passed by all others, each taken from right before it.
  for (std::size_t i = 0; i + 1 < script.size(); ++i) ASSERT_EQ(script[i].kind, Kind::MoveItem);
  ASSERT_EQ(script.back().kind, Kind::UpdateItems);
}

}  // namespace
}  // namespace JNFoundation
