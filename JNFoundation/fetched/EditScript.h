#pragma once

#include <algorithm>
#include <iterator>

#include <JNFoundation/fetched/ListChanges.h>

namespace JNFoundation::inline v0_1 {

/// One step of a script: where things are at the moment of the step, with all steps before it done
/// and none after it.
struct EditStep {
  /// What a step does.
  enum class Kind : std::uint8_t {
    /// `count` items go, the first of them at `at`.
    RemoveItems,
    /// A section comes at `at.section`, as number `after.section` of the list after the batch. It
    /// has the items of that section which no later step inserts or moves there: none where the
    /// batch tells of every item, as a controller does; all where the section speaks for them.
    InsertSection,
    /// `count` items come, the first of them to `at`; afterwards they are at `after` and behind it.
    InsertItems,
    /// The item at `at` goes to `to`: it is taken out, and then put in so that it is there. It may
    /// have changed as well, as `after` of the list after the batch. Always moves it, and one only.
    MoveItem,
    /// The section `at.section` goes, with what is still in it.
    RemoveSection,
    /// `count` items have changed, the first of them at `at`, which is also its `after`.
    UpdateItems,
  };

  /// What the step does.
  Kind kind;
  /// Where, at the moment of the step.
  ListPlace at;
  /// Of a move only.
  ListPlace to = {};
  /// The place in the list after the whole batch, where the new values are; of all steps but
  /// removals.
  ListPlace after = {};
  /// How many items there are, one after the other; 1 for sections and moves.
  NSUInteger count = 1;
};

/// The batch, step by step, for toolkits that have to be told of one change at a time: each place
/// is valid at the moment it is used.
///
///     for (const EditStep& step : editScript(changes)) {
///       if (step.kind == EditStep::Kind::RemoveItems) {
///         view->beginRemoveRows(step.at.section, step.at.item, step.at.item + step.count - 1);
///         ...
///
/// Kinds come in this order: removals of items, last first; new sections; inserts and moves
/// together, by where they lead; removals of sections, last first; and updates. Until sections are
/// removed, old and new ones stand side by side. Neighbours are one step, moves excepted. A move
/// that changes no order is an update.
/// Takes: time n log n. Fails: as every operation of `ListChanges`.
std::vector<EditStep> editScript(const ListChanges& changes);

/// The places after the batch of all items that come or move by a step of their own, ascending.
std::vector<ListPlace> placesOfItemSteps(const std::vector<EditStep>& script);

/// Does all steps of a script, one after the other.
/// Takes: a source as `applyChanges` does. Requires: a list that the script is of.
template <class Row, class Source>
void applyEditScript(const std::vector<EditStep>& script, std::vector<std::vector<Row>>& list,
                     Source&& source) {
  const std::vector<ListPlace> later = placesOfItemSteps(script);
  const auto at = [](auto& rows, NSUInteger index) {
    return rows.begin() + static_cast<std::ptrdiff_t>(index);
  };
  for (const EditStep& step : script) {
    const auto [section, item] = step.at;
    switch (step.kind) {
      case EditStep::Kind::RemoveItems:
        list[section].erase(at(list[section], item), at(list[section], item + step.count));
        break;
      case EditStep::Kind::InsertSection: {
        std::vector<Row> rows;
        const NSUInteger count = source.count(step.after.section);
        for (ListPlace place{step.after.section, 0}; place.item < count; ++place.item) {
          if (!std::binary_search(later.begin(), later.end(), place)) {
            rows.push_back(source.make(place));
          }
        }
        list.insert(at(list, section), std::move(rows));
        break;
      }
      case EditStep::Kind::InsertItems: {
        std::vector<Row> rows;
        for (NSUInteger i = 0; i < step.count; ++i) {
          rows.push_back(source.make(ListPlace{step.after.section, step.after.item + i}));
        }
        list[section].insert(at(list[section], item), std::make_move_iterator(rows.begin()),
                             std::make_move_iterator(rows.end()));
        break;
      }
      case EditStep::Kind::MoveItem: {
        Row row = std::move(list[section][item]);
        list[section].erase(at(list[section], item));
        source.update(row, step.after);
        std::vector<Row>& rows = list[step.to.section];
        rows.insert(at(rows, step.to.item), std::move(row));
        break;
      }
      case EditStep::Kind::RemoveSection:
        list.erase(at(list, section));
        break;
      case EditStep::Kind::UpdateItems:
        for (NSUInteger i = 0; i < step.count; ++i) {
          source.update(list[section][item + i],
                        ListPlace{step.after.section, step.after.item + i});
        }
        break;
    }
  }
}

}  // namespace JNFoundation
