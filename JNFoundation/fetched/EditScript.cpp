#include "JNFoundation/fetched/EditScript.h"

#include <JNFoundation/fetched/impl/ListMapping.h>

namespace JNFoundation::inline v0_1 {

namespace {

using impl::ListMapping;
using Told = ListMapping::Told;
using StepKind = EditStep::Kind;

/// Counts, of things in a row, those from the first up to any that still wait.
class WaitingCount {
 public:
  explicit WaitingCount(std::size_t size) : _tree(size + 1) {
    for (std::size_t i = 1; i <= size; ++i) _tree[i] = i & (~i + 1);
  }

  void remove(std::size_t index) noexcept {
    for (std::size_t i = index + 1; i < _tree.size(); i += i & (~i + 1)) --_tree[i];
  }

  NSUInteger below(std::size_t index) const noexcept {
    NSUInteger count = 0;
    for (std::size_t i = index; i > 0; i -= i & (~i + 1)) count += _tree[i];
    return count;
  }

 private:
  std::vector<NSUInteger> _tree;
};

/// Writes the script of a batch.
///
/// Once everything that is deleted has gone, a section consists of items that stay, items that come
/// or arrive, and items that wait to leave. The first two are put in order from the front on, each
/// right behind the one that it follows afterwards; so what is before a new one is what is before
/// it afterwards, and those that still wait there. Where both stand between the same two items that
/// stay, those that wait are behind.
class ScriptWriter {
 public:
  explicit ScriptWriter(const ListMapping& mapping)
      : _mapping(mapping), _leaving(leavingOf(mapping.before())), _waiting(_leaving.size()) {
    _leavingRanks.reserve(_leaving.size());
    for (const ListPlace& place : _leaving) {
      _leavingRanks.push_back(mapping.before().rankAt(place));
    }
    const auto& arriving = mapping.after().items;
    _arrivingRanks.reserve(arriving.size());
    for (const Told& told : arriving) _arrivingRanks.push_back(mapping.after().rankAt(told.place));
  }

  std::vector<EditStep> write() {
    removeItems();
    insertSections();
    const auto& arriving = _mapping.after().items;
    for (std::size_t i = 0; i < arriving.size(); ++i) {
      if (arriving[i].moves) {
        move(i);
      } else {
        insert(i);
      }
    }
    removeSections();
    update();
    return std::move(_steps);
  }

 private:
  static std::vector<ListPlace> leavingOf(const ListMapping::End& before) {
    std::vector<ListPlace> leaving;
    for (const Told& told : before.items) {
      if (told.moves) leaving.push_back(told.place);
    }
    return leaving;
  }

  void removeItems() {
    const auto& told = _mapping.before().items;
    for (auto item = told.rbegin(); item != told.rend(); ++item) {
      if (item->moves) continue;
      if (!_steps.empty()) {
        EditStep& last = _steps.back();
        if (last.at == ListPlace{item->place.section, item->place.item + 1}) {
          last.at = item->place;
          ++last.count;
          continue;
        }
      }
      _steps.push_back({StepKind::RemoveItems, item->place});
    }
  }

  // While old and new sections stand side by side, those that go stand before those that come,
  // where both are between the same two that stay. A rank counts the ones that stay.

  NSUInteger amongAll(NSUInteger before) const {
    const NSUInteger rank = _mapping.before().sectionRankAt(before);
    const auto broughtUpTo = [this](NSUInteger last) {
      return _mapping.after().sectionOfRank(last) - last;
    };
    if (!_mapping.before().hasSection(before)) return before + broughtUpTo(rank);
    return before + (rank == 0 ? 0 : broughtUpTo(rank - 1));
  }

  NSUInteger amongAllAfter(NSUInteger after) const {
    if (!_mapping.after().hasSection(after)) return amongAll(_mapping.sectionBefore(after));
    const NSUInteger rank = _mapping.after().sectionRankAt(after);
    return after + (_mapping.before().sectionOfRank(rank) - rank);
  }

  void insertSections() {
    for (const NSUInteger section : _mapping.after().sections) {
      _steps.push_back({StepKind::InsertSection, {amongAllAfter(section), 0}, {}, {section, 0}});
    }
  }

  /// How many items wait, in a section of the list after the batch, before the place of a rank.
  NSUInteger waitingBefore(NSUInteger after, NSUInteger rank) const {
    if (_mapping.after().hasSection(after)) return 0;
    const auto [first, last] = leavingIn(_mapping.sectionBefore(after));
    const auto ranks = _leavingRanks.begin();
    const auto end = std::lower_bound(ranks + static_cast<std::ptrdiff_t>(first),
                                      ranks + static_cast<std::ptrdiff_t>(last), rank);
    return _waiting.below(static_cast<std::size_t>(end - ranks)) - _waiting.below(first);
  }

  std::pair<std::size_t, std::size_t> leavingIn(NSUInteger section) const {
    const auto [first, last] = std::equal_range(
        _leaving.begin(), _leaving.end(), ListPlace{section, 0},
        [](const ListPlace& left, const ListPlace& right) { return left.section < right.section; });
    return {static_cast<std::size_t>(first - _leaving.begin()),
            static_cast<std::size_t>(last - _leaving.begin())};
  }

  /// How many of the first items to arrive, up to one, stand before a rank's waiting ones.
  NSUInteger arrivedBefore(NSUInteger before, NSUInteger rank, std::size_t next) const {
    if (_mapping.before().hasSection(before)) return 0;
    const auto [first, last] = _mapping.after().itemsOf(_mapping.sectionAfter(before));
    const auto ranks = _arrivingRanks.begin();
    const auto end = std::upper_bound(ranks + static_cast<std::ptrdiff_t>(first),
                                      ranks + static_cast<std::ptrdiff_t>(last), rank);
    const std::size_t arrived = std::min(static_cast<std::size_t>(end - ranks), next);
    return arrived > first ? arrived - first : 0;
  }

  ListPlace target(std::size_t arriving) const {
    const ListPlace& after = _mapping.after().items[arriving].place;
    return {amongAllAfter(after.section),
            after.item + waitingBefore(after.section, _arrivingRanks[arriving])};
  }

  void insert(std::size_t arriving) {
    const ListPlace& after = _mapping.after().items[arriving].place;
    extend({StepKind::InsertItems, target(arriving), {}, after});
  }

  void move(std::size_t arriving) {
    const Told& told = _mapping.after().items[arriving];
    const ListPlace& from = told.other;
    const auto index = static_cast<std::size_t>(
        std::lower_bound(_leaving.begin(), _leaving.end(), from) - _leaving.begin());
    const NSUInteger rank = _leavingRanks[index];
    const NSUInteger waiting =
        _waiting.below(index) - _waiting.below(leavingIn(from.section).first);
    const ListPlace at{amongAll(from.section),
                       rank + arrivedBefore(from.section, rank, arriving) + waiting};
    _waiting.remove(index);
    _steps.push_back({StepKind::MoveItem, at, target(arriving), told.place});
  }

  void removeSections() {
    const auto& gone = _mapping.before().sections;
    for (auto section = gone.rbegin(); section != gone.rend(); ++section) {
      _steps.push_back({StepKind::RemoveSection, {amongAll(*section), 0}});
    }
  }

  void update() {
    ListPlace after;
    for (const ListPlace& updated : _mapping.updated()) {
      if (_mapping.follow(updated, &after)) extend({StepKind::UpdateItems, after, {}, after});
    }
  }

  /// Adds a step, or makes the last one longer by it.
  void extend(const EditStep& step) {
    const auto isBehind = [](const ListPlace& place, const ListPlace& first, NSUInteger count) {
      return place.section == first.section && place.item == first.item + count;
    };
    if (!_steps.empty()) {
      EditStep& last = _steps.back();
      if (last.kind == step.kind && isBehind(step.at, last.at, last.count) &&
          isBehind(step.after, last.after, last.count)) {
        ++last.count;
        return;
      }
    }
    _steps.push_back(step);
  }

  const ListMapping& _mapping;
  /// Where the items are that will move, ascending, and their ranks among those that stay.
  std::vector<ListPlace> _leaving;
  std::vector<NSUInteger> _leavingRanks;
  WaitingCount _waiting;
  /// The ranks of the items that come or arrive.
  std::vector<NSUInteger> _arrivingRanks;
  std::vector<EditStep> _steps;
};

}  // namespace

std::vector<EditStep> editScript(const ListChanges& changes) {
  impl::ListMapping mapping(changes);
  mapping.settleMoves();
  return ScriptWriter(mapping).write();
}

std::vector<ListPlace> placesOfItemSteps(const std::vector<EditStep>& script) {
  std::vector<ListPlace> places;
  for (const EditStep& step : script) {
    if (step.kind != StepKind::InsertItems && step.kind != StepKind::MoveItem) continue;
    for (NSUInteger i = 0; i < step.count; ++i) {
      places.push_back({step.after.section, step.after.item + i});
    }
  }
  return places;
}

}  // namespace JNFoundation
