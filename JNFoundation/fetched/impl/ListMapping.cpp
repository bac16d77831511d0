#include "JNFoundation/fetched/impl/ListMapping.h"

#include <algorithm>

#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {

namespace {

template <class Entry>
void sortOnce(std::vector<Entry>& entries) {
  std::sort(entries.begin(), entries.end());
  entries.erase(std::unique(entries.begin(), entries.end()), entries.end());
}

/// How many of the ascending, told positions are below the position of a rank among the rest: the
/// k-th of them has as many of the rest below it as it is above k.
template <class Position>
NSUInteger indexOfRank(std::size_t first, std::size_t last, NSUInteger rank, Position position) {
  const std::size_t start = first;
  while (first < last) {
    const std::size_t middle = first + (last - first) / 2;
    if (position(middle) - (middle - start) <= rank) {
      first = middle + 1;
    } else {
      last = middle;
    }
  }
  return rank + (first - start);
}

Ref<NSString> text(const char* format, const ListPlace& place) {
  return NSString::stringWithFormat(format, static_cast<unsigned long long>(place.section),
                                    static_cast<unsigned long long>(place.item));
}

bool isPlace(const ListPlace& place) noexcept {
  return place.section < NSNotFound && place.item < NSNotFound;
}

/// Returns: null where no place is told of in two ways.
Ref<NSString> doubleIn(const std::vector<ListMapping::Told>& items, const char* format) {
  const auto same = std::adjacent_find(
      items.begin(), items.end(),
      [](const auto& left, const auto& right) { return left.place == right.place; });
  return same == items.end() ? nullptr : text(format, same->place);
}

}  // namespace

// ---- One end ------------------------------------------------------------------------------------

const ListMapping::Told* ListMapping::End::find(const ListPlace& place) const noexcept {
  const auto found = std::partition_point(
      items.begin(), items.end(), [&place](const Told& told) { return told.place < place; });
  return found != items.end() && found->place == place ? &*found : nullptr;
}

bool ListMapping::End::hasSection(NSUInteger section) const noexcept {
  return std::binary_search(sections.begin(), sections.end(), section);
}

std::pair<std::size_t, std::size_t> ListMapping::End::itemsOf(NSUInteger section) const noexcept {
  const auto first = std::partition_point(items.begin(), items.end(), [section](const Told& told) {
    return told.place.section < section;
  });
  const auto last = std::partition_point(
      first, items.end(), [section](const Told& told) { return told.place.section == section; });
  return {static_cast<std::size_t>(first - items.begin()),
          static_cast<std::size_t>(last - items.begin())};
}

NSUInteger ListMapping::End::rankAt(const ListPlace& place) const noexcept {
  const auto below = std::partition_point(
      items.begin(), items.end(), [&place](const Told& told) { return told.place < place; });
  return place.item -
         (static_cast<std::size_t>(below - items.begin()) - itemsOf(place.section).first);
}

ListPlace ListMapping::End::placeOfRank(NSUInteger section, NSUInteger rank) const noexcept {
  const auto [first, last] = itemsOf(section);
  return {section,
          indexOfRank(first, last, rank, [this](std::size_t i) { return items[i].place.item; })};
}

NSUInteger ListMapping::End::sectionRankAt(NSUInteger section) const noexcept {
  const auto below = std::lower_bound(sections.begin(), sections.end(), section);
  return section - static_cast<std::size_t>(below - sections.begin());
}

NSUInteger ListMapping::End::sectionOfRank(NSUInteger rank) const noexcept {
  return indexOfRank(0, sections.size(), rank, [this](std::size_t i) { return sections[i]; });
}

// ---- Both ends ----------------------------------------------------------------------------------

ListMapping::ListMapping(const ListChanges& changes) {
  if (const Ref<NSString> fault = read(changes)) raise(NSInvalidArgumentException, "%@", fault);
}

Ref<NSString> ListMapping::faultOf(const ListChanges& changes) {
  return ListMapping().read(changes);
}

Ref<NSString> ListMapping::read(const ListChanges& changes) {
  _before.sections = changes.deletedSections;
  _after.sections = changes.insertedSections;
  _before.items.reserve(changes.deletedItems.size() + changes.movedItems.size());
  _after.items.reserve(changes.insertedItems.size() + changes.movedItems.size());
  for (const ListPlace& place : changes.deletedItems) _before.items.push_back({place, {}, false});
  for (const ListPlace& place : changes.insertedItems) _after.items.push_back({place, {}, false});
  for (const ListMove& move : changes.movedItems) {
    _before.items.push_back({move.from, move.to, true});
    _after.items.push_back({move.to, move.from, true});
  }
  _updated = changes.updatedItems;
  for (End* end : {&_before, &_after}) {
    sortOnce(end->sections);
    sortOnce(end->items);
    if (!end->sections.empty() && end->sections.back() >= NSNotFound) {
      return text("%llu is no section", {end->sections.back(), 0});
    }
    for (const Told& told : end->items) {
      if (!isPlace(told.place)) return text("[%llu, %llu] is no place", told.place);
    }
  }
  if (Ref<NSString> fault = doubleIn(
          _before.items, "the item at [%llu, %llu] is deleted or moved in more than one way")) {
    return fault;
  }
  if (Ref<NSString> fault = doubleIn(_after.items, "two items come to [%llu, %llu]")) return fault;
  sortOnce(_updated);
  for (const ListPlace& place : _updated) {
    if (!isPlace(place)) return text("[%llu, %llu] is no place", place);
  }
  _updated.erase(
      std::remove_if(_updated.begin(), _updated.end(),
                     [this](const ListPlace& place) { return _before.find(place) != nullptr; }),
      _updated.end());
  return nullptr;
}

bool ListMapping::follow(const End& from, const End& to, const ListPlace& place,
                         ListPlace* other) noexcept {
  if (const Told* told = from.find(place)) {
    *other = told->other;
    return told->moves;
  }
  if (from.hasSection(place.section)) return false;
  const NSUInteger section = to.sectionOfRank(from.sectionRankAt(place.section));
  *other = to.placeOfRank(section, from.rankAt(place));
  return true;
}

/// A move passes nothing that is not told of if it has the same rank before and after. The longest
/// row of such moves that stand in the same order before and after are those that pass neither each
/// other, and may stay.
void ListMapping::settleMoves() {
  std::vector<std::size_t> candidates;
  for (std::size_t i = 0; i < _before.items.size(); ++i) {
    const Told& told = _before.items[i];
    if (!told.moves || _before.hasSection(told.place.section) ||
        _after.hasSection(told.other.section) ||
        sectionAfter(told.place.section) != told.other.section ||
        _before.rankAt(told.place) != _after.rankAt(told.other)) {
      continue;
    }
    candidates.push_back(i);
  }
  if (candidates.empty()) return;

  // ends[n] is the candidate with the least target that ends an ascending row of n+1 of them.
  std::vector<std::size_t> ends;
  std::vector<std::size_t> previous(candidates.size());
  const auto target = [&](std::size_t c) { return _before.items[candidates[c]].other; };
  for (std::size_t c = 0; c < candidates.size(); ++c) {
    const auto at = std::partition_point(ends.begin(), ends.end(),
                                         [&](std::size_t end) { return target(end) < target(c); });
    previous[c] = at == ends.begin() ? candidates.size() : *(at - 1);
    if (at == ends.end()) {
      ends.push_back(c);
    } else {
      *at = c;
    }
  }
  std::vector<bool> stays(_before.items.size());
  for (std::size_t c = ends.back(); c != candidates.size(); c = previous[c]) {
    stays[candidates[c]] = true;
  }

  std::vector<Told> before;
  std::vector<ListPlace> settled;
  for (std::size_t i = 0; i < _before.items.size(); ++i) {
    if (stays[i]) {
      _updated.push_back(_before.items[i].place);
      settled.push_back(_before.items[i].other);
    } else {
      before.push_back(_before.items[i]);
    }
  }
  _before.items = std::move(before);
  // The settled targets ascend, as the rows do.
  _after.items.erase(std::remove_if(_after.items.begin(), _after.items.end(),
                                    [&](const Told& told) {
                                      return std::binary_search(settled.begin(), settled.end(),
                                                                told.place);
                                    }),
                     _after.items.end());
  std::sort(_updated.begin(), _updated.end());
}

ListChanges ListMapping::changes() const {
  ListChanges changes;
  changes.deletedSections = _before.sections;
  changes.insertedSections = _after.sections;
  for (const Told& told : _before.items) {
    if (told.moves) {
      changes.movedItems.push_back({told.place, told.other});
    } else {
      changes.deletedItems.push_back(told.place);
    }
  }
  for (const Told& told : _after.items) {
    if (!told.moves) changes.insertedItems.push_back(told.place);
  }
  changes.updatedItems = _updated;
  return changes;
}

}  // namespace JNFoundation::impl
