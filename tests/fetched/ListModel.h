#pragma once

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <set>

#include "tests/platform/text/Randomness.h"

#include <JNFoundation/fetched/EditScript.h>

namespace JNFoundation {

/// A row of a list that notices what is done to it.
struct Row {
  int id = 0;
  /// Whether it was made by the batch.
  bool isNew = false;
  /// Whether it was shown anew by it.
  bool isUpdated = false;
};

using Rows = std::vector<std::vector<Row>>;

/// A list of sections, by the numbers of both.
struct ListModel {
  std::vector<int> sections;
  std::vector<std::vector<int>> items;

  Rows rows() const {
    Rows rows;
    for (const auto& section : items) {
      rows.emplace_back();
      for (const int id : section) rows.back().push_back({id, false, false});
    }
    return rows;
  }

  std::map<int, ListPlace> places() const {
    std::map<int, ListPlace> places;
    for (std::size_t s = 0; s < items.size(); ++s) {
      for (std::size_t i = 0; i < items[s].size(); ++i) places[items[s][i]] = {s, i};
    }
    return places;
  }

  std::vector<NSUInteger> counts() const {
    std::vector<NSUInteger> counts;
    for (const auto& section : items) counts.push_back(section.size());
    return counts;
  }

  // As a source of rows.
  NSUInteger count(NSUInteger section) const { return items.at(section).size(); }
  Row make(const ListPlace& place) const {
    return {items.at(place.section).at(place.item), true, false};
  }
  void update(Row& row, const ListPlace& place) const {
    EXPECT_EQ(row.id, items.at(place.section).at(place.item)) << "another row is updated";
    row.isUpdated = true;
  }
};

/// What a batch of changes does to rows, found without it.
struct Expectation {
  std::set<int> kept;
  std::set<int> updated;
};

/// Makes lists, and batches that lead from one to the next.
class ListMaker {
 public:
  explicit ListMaker(testing::Randomness& random) : random(random) {}

  ListModel list(std::size_t sections, std::size_t items) {
    ListModel list;
    for (auto count = random.below(sections + 1); count > 0; --count) {
      list.sections.push_back(nextSection++);
      list.items.emplace_back();
      for (auto rows = random.below(items + 1); rows > 0; --rows) {
        list.items.back().push_back(nextItem++);
      }
    }
    return list;
  }

  /// The list with sections and items that come, go, and stand elsewhere.
  ListModel changed(const ListModel& before) {
    ListModel after;
    std::vector<int> loose;
    for (std::size_t s = 0; s < before.sections.size(); ++s) {
      const bool goes = random.below(5) == 0;
      if (!goes) {
        after.sections.push_back(before.sections[s]);
        after.items.emplace_back();
      }
      const auto shuffles = random.below(6) == 0;
      for (const int id : before.items[s]) {
        const auto what = random.below(10);
        if (what == 0) continue;
        if (goes || what < 3) {
          loose.push_back(id);
        } else {
          after.items.back().push_back(id);
        }
      }
      if (!goes && shuffles) shuffle(after.items.back());
    }
    while (random.below(3) == 0) {
      const auto at = static_cast<std::ptrdiff_t>(random.below(after.sections.size() + 1));
      after.sections.insert(after.sections.begin() + at, nextSection++);
      after.items.emplace(after.items.begin() + at);
      for (auto rows = random.below(4); rows > 0; --rows) {
        after.items[static_cast<std::size_t>(at)].push_back(nextItem++);
      }
    }
    for (auto rows = random.below(5); rows > 0; --rows) loose.push_back(nextItem++);
    shuffle(loose);
    if (after.items.empty()) return after;
    for (const int id : loose) {
      auto& rows = after.items[random.below(after.items.size())];
      rows.insert(rows.begin() + static_cast<std::ptrdiff_t>(random.below(rows.size() + 1)), id);
    }
    return after;
  }

  /// A batch from one list to the other, that says some things and leaves others to the sections.
  ListChanges changes(const ListModel& before, const ListModel& after, Expectation* expected) {
    ListChanges changes;
    const auto has = [](const std::vector<int>& numbers, int number) {
      return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
    };
    for (std::size_t s = 0; s < before.sections.size(); ++s) {
      if (!has(after.sections, before.sections[s])) changes.deletedSections.push_back(s);
    }
    for (std::size_t s = 0; s < after.sections.size(); ++s) {
      if (!has(before.sections, after.sections[s])) changes.insertedSections.push_back(s);
    }
    const auto goes = [&](const ListPlace& place) {
      return !has(after.sections, before.sections[place.section]);
    };
    const auto comes = [&](const ListPlace& place) {
      return !has(before.sections, after.sections[place.section]);
    };
    const auto from = before.places(), to = after.places();
    std::map<int, ListPlace> lastInSection;
    for (const auto& [place, id] : ordered(from)) {
      const bool stands = to.count(id) != 0;
      if (!stands) {
        if (!goes(place) || random.below(2) == 0) changes.deletedItems.push_back(place);
        continue;
      }
      const ListPlace& target = to.at(id);
      const int section = before.sections[place.section];
      if (!goes(place) && section == after.sections[target.section] && random.below(8) != 0 &&
          (lastInSection.count(section) == 0 || lastInSection[section] < target)) {
        lastInSection[section] = target;
        expected->kept.insert(id);
        if (random.below(4) == 0) {
          changes.updatedItems.push_back(place);
          expected->updated.insert(id);
        }
      } else if ((goes(place) || comes(target)) && random.below(2) == 0) {
        // Not as a move: it goes at one end, and comes at the other.
        if (!goes(place)) changes.deletedItems.push_back(place);
        if (!comes(target)) changes.insertedItems.push_back(target);
      } else {
        changes.movedItems.push_back({place, target});
        expected->kept.insert(id);
        expected->updated.insert(id);
      }
    }
    for (const auto& [place, id] : ordered(to)) {
      if (from.count(id) == 0 && (!comes(place) || random.below(2) == 0)) {
        changes.insertedItems.push_back(place);
      }
    }
    shuffle(changes.deletedSections);
    shuffle(changes.insertedSections);
    shuffle(changes.deletedItems);
    shuffle(changes.insertedItems);
    shuffle(changes.updatedItems);
    shuffle(changes.movedItems);
    return changes;
  }

  template <class Entry>
  void shuffle(std::vector<Entry>& entries) {
    for (std::size_t i = entries.size(); i > 1; --i) {
      std::swap(entries[i - 1], entries[random.below(i)]);
    }
  }

  testing::Randomness& random;
  int nextSection = 1;
  int nextItem = 100;

 private:
  static std::map<ListPlace, int> ordered(const std::map<int, ListPlace>& places) {
    std::map<ListPlace, int> ordered;
    for (const auto& [id, place] : places) ordered[place] = id;
    return ordered;
  }
};

/// Whether the rows are those of the list, and these of them were kept, and these shown anew.
inline void expectRows(const Rows& rows, const ListModel& list, const Expectation& expected) {
  ASSERT_EQ(rows.size(), list.items.size());
  for (std::size_t s = 0; s < rows.size(); ++s) {
    ASSERT_EQ(rows[s].size(), list.items[s].size()) << "section " << s;
    for (std::size_t i = 0; i < rows[s].size(); ++i) {
      const Row& row = rows[s][i];
      ASSERT_EQ(row.id, list.items[s][i]) << "row " << s << "." << i;
      ASSERT_EQ(!row.isNew, expected.kept.count(row.id) != 0) << "row " << s << "." << i;
      ASSERT_EQ(row.isUpdated, expected.updated.count(row.id) != 0) << "row " << s << "." << i;
    }
  }
}

/// Does the steps as a toolkit would that believes nothing: every place is looked at before it is
/// used.
inline void runScript(const std::vector<EditStep>& script, Rows& rows, const ListModel& source) {
  const std::vector<ListPlace> later = placesOfItemSteps(script);
  ASSERT_TRUE(std::is_sorted(later.begin(), later.end()));
  for (const EditStep& step : script) {
    const auto [section, item] = step.at;
    const auto offset = static_cast<std::ptrdiff_t>(item);
    ASSERT_GT(step.count, 0u);
    if (step.kind == EditStep::Kind::InsertSection) {
      ASSERT_LE(section, rows.size());
      std::vector<Row> brought;
      for (NSUInteger i = 0; i < source.count(step.after.section); ++i) {
        const ListPlace place{step.after.section, i};
        if (std::count(later.begin(), later.end(), place) == 0) {
          brought.push_back(source.make(place));
        }
      }
      rows.insert(rows.begin() + static_cast<std::ptrdiff_t>(section), brought);
      continue;
    }
    ASSERT_LT(section, rows.size());
    auto& list = rows[section];
    switch (step.kind) {
      case EditStep::Kind::RemoveItems:
        ASSERT_LE(item + step.count, list.size());
        list.erase(list.begin() + offset,
                   list.begin() + offset + static_cast<std::ptrdiff_t>(step.count));
        break;
      case EditStep::Kind::InsertItems:
        for (NSUInteger i = 0; i < step.count; ++i) {
          ASSERT_LE(item + i, list.size());
          list.insert(list.begin() + offset + static_cast<std::ptrdiff_t>(i),
                      source.make({step.after.section, step.after.item + i}));
        }
        break;
      case EditStep::Kind::MoveItem: {
        ASSERT_EQ(step.count, 1u);
        ASSERT_NE(step.at, step.to) << "a move that moves nothing";
        ASSERT_LT(item, list.size());
        Row row = list[item];
        list.erase(list.begin() + offset);
        ASSERT_LT(step.to.section, rows.size());
        auto& target = rows[step.to.section];
        ASSERT_LE(step.to.item, target.size());
        source.update(row, step.after);
        target.insert(target.begin() + static_cast<std::ptrdiff_t>(step.to.item), row);
        break;
      }
      case EditStep::Kind::UpdateItems:
        ASSERT_EQ(step.at, step.after);
        for (NSUInteger i = 0; i < step.count; ++i) {
          ASSERT_LT(item + i, list.size());
          source.update(list[item + i], {section, item + i});
        }
        break;
      case EditStep::Kind::RemoveSection:
        rows.erase(rows.begin() + static_cast<std::ptrdiff_t>(section));
        break;
      case EditStep::Kind::InsertSection:
        break;
    }
  }
}

}  // namespace JNFoundation
