#include "JNFoundation/fetched/ListChanges.h"

#include <algorithm>

#include <JNFoundation/fetched/NSIndexPath+PLVUnsignedItemSection.h>
#include <JNFoundation/fetched/PLVFetchedResultsChanges.h>
#include <JNFoundation/fetched/impl/ListMapping.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

namespace {

using impl::ListMapping;
using Told = ListMapping::Told;

ListPlace placeOf(const Ref<NSIndexPath>& path) {
  if (!path || path->length() < 2) {
    raise(NSInvalidArgumentException, "%@ is no path of an item in a section", path);
  }
  return {plv_sectionIndex(path), plv_itemIndex(path)};
}

Ref<NSIndexPath> pathOf(const ListPlace& place) {
  return plv_indexPathForItemIndexSectionIndex(place.item, place.section);
}

std::vector<NSUInteger> indexesOf(const Ref<NSMutableIndexSet>& set) {
  std::vector<NSUInteger> indexes;
  for (const NSUInteger index : set) indexes.push_back(index);
  return indexes;
}

std::vector<ListPlace> placesOf(const Ref<NSMutableArray>& paths) {
  std::vector<ListPlace> places;
  places.reserve(paths->count());
  for (const Value& path : paths)
    places.push_back(placeOf(Ref<NSIndexPath>(as<NSIndexPath>(path))));
  return places;
}

}  // namespace

// ---- Collecting ---------------------------------------------------------------------------------

void ListChanges::changeSectionAtIndexForChangeType(NSUInteger index,
                                                    NSFetchedResultsChangeType type) {
  if (type == NSFetchedResultsChangeDelete) deletedSections.push_back(index);
  if (type == NSFetchedResultsChangeInsert) insertedSections.push_back(index);
}

void ListChanges::changeObjectAtIndexPathForChangeTypeNewIndexPath(
    const Ref<NSIndexPath>& path, NSFetchedResultsChangeType type,
    const Ref<NSIndexPath>& newPath) {
  switch (type) {
    case NSFetchedResultsChangeInsert:
      return insertedItems.push_back(placeOf(newPath));
    case NSFetchedResultsChangeDelete:
      return deletedItems.push_back(placeOf(path));
    case NSFetchedResultsChangeMove:
      return movedItems.push_back({placeOf(path), placeOf(newPath)});
    case NSFetchedResultsChangeUpdate:
      return updatedItems.push_back(placeOf(path));
  }
}

ListChanges ListChanges::withChanges(const Ref<PLVFetchedResultsChanges>& changes) {
  ListChanges list;
  if (!changes) return list;
  list.deletedSections = indexesOf(changes->deletedSections());
  list.insertedSections = indexesOf(changes->insertedSections());
  list.deletedItems = placesOf(changes->deletedItemPaths());
  list.insertedItems = placesOf(changes->insertedItemPaths());
  list.updatedItems = placesOf(changes->updatedItemPaths());
  for (const Value& value : changes->movedItems()) {
    const auto* move = as<PLVFetchedResultsItemMove>(value);
    if (!move) raise(NSInvalidArgumentException, "%@ is no move", value);
    list.movedItems.push_back({placeOf(move->fromIndexPath()), placeOf(move->toIndexPath())});
  }
  return list;
}

Ref<PLVFetchedResultsChanges> ListChanges::fetchedResultsChanges() const {
  auto changes = PLVFetchedResultsChanges::init();
  for (const NSUInteger section : deletedSections) changes->deletedSections()->addIndex(section);
  for (const NSUInteger section : insertedSections) changes->insertedSections()->addIndex(section);
  for (const ListPlace& place : deletedItems) {
    changes->deletedItemPaths()->addObject(pathOf(place));
  }
  for (const ListPlace& place : insertedItems) {
    changes->insertedItemPaths()->addObject(pathOf(place));
  }
  for (const ListPlace& place : updatedItems) {
    changes->updatedItemPaths()->addObject(pathOf(place));
  }
  for (const ListMove& move : movedItems) {
    changes->movedItems()->addObject(
        PLVFetchedResultsItemMove::initWithFromTo(pathOf(move.from), pathOf(move.to)));
  }
  return changes;
}

// ---- Calculating --------------------------------------------------------------------------------

ListChanges ListChanges::followedBy(const ListChanges& next) const {
  const ListMapping first(*this);
  const ListMapping second(next);
  ListChanges both;

  both.deletedSections = first.before().sections;
  both.insertedSections = second.after().sections;
  for (const NSUInteger section : second.before().sections) {
    if (!first.after().hasSection(section)) {
      both.deletedSections.push_back(first.sectionBefore(section));
    }
  }
  for (const NSUInteger section : first.after().sections) {
    if (!second.before().hasSection(section)) {
      both.insertedSections.push_back(second.sectionAfter(section));
    }
  }

  // What the first one tells of, followed through the second one.
  ListPlace place;
  for (const Told& told : first.before().items) {
    if (told.moves && second.follow(told.other, &place)) {
      both.movedItems.push_back({told.place, place});
    } else {
      both.deletedItems.push_back(told.place);
    }
  }
  for (const Told& told : first.after().items) {
    if (!told.moves && second.follow(told.place, &place)) both.insertedItems.push_back(place);
  }
  // What the second one alone tells of, followed back through the first one. What has no place
  // there came with its section.
  for (const Told& told : second.before().items) {
    if (first.after().find(told.place)) continue;
    const bool wasThere = first.followBack(told.place, &place);
    if (told.moves && wasThere) both.movedItems.push_back({place, told.other});
    if (told.moves && !wasThere) both.insertedItems.push_back(told.other);
    if (!told.moves && wasThere) both.deletedItems.push_back(place);
  }
  for (const Told& told : second.after().items) {
    if (!told.moves) both.insertedItems.push_back(told.place);
  }
  for (const ListPlace& updated : first.updated()) {
    if (first.follow(updated, &place) && second.follow(place, &place)) {
      both.updatedItems.push_back(updated);
    }
  }
  for (const ListPlace& updated : second.updated()) {
    ListPlace after;
    if (second.follow(updated, &after) && first.followBack(updated, &place)) {
      both.updatedItems.push_back(place);
    }
  }
  return ListMapping(both).changes();
}

ListChanges ListChanges::inverted() const {
  const ListMapping mapping(*this);
  ListChanges inverse;
  inverse.deletedSections = mapping.after().sections;
  inverse.insertedSections = mapping.before().sections;
  for (const Told& told : mapping.after().items) {
    if (told.moves) {
      inverse.movedItems.push_back({told.place, told.other});
    } else {
      inverse.deletedItems.push_back(told.place);
    }
  }
  for (const Told& told : mapping.before().items) {
    if (!told.moves) inverse.insertedItems.push_back(told.place);
  }
  ListPlace after;
  for (const ListPlace& updated : mapping.updated()) {
    if (mapping.follow(updated, &after)) inverse.updatedItems.push_back(after);
  }
  return inverse;
}

ListChanges ListChanges::reduced() const {
  ListMapping mapping(*this);
  mapping.settleMoves();
  ListChanges all = mapping.changes();
  const auto goesAlong = [&](const ListPlace& place) {
    return mapping.before().hasSection(place.section);
  };
  const auto isBrought = [&](const ListPlace& place) {
    return mapping.after().hasSection(place.section);
  };
  const auto drop = [](auto& entries, const auto& isSaid) {
    entries.erase(std::remove_if(entries.begin(), entries.end(), isSaid), entries.end());
  };
  drop(all.deletedItems, goesAlong);
  drop(all.updatedItems, goesAlong);
  drop(all.insertedItems, isBrought);
  drop(all.movedItems,
       [&](const ListMove& move) { return goesAlong(move.from) && isBrought(move.to); });
  return all;
}

bool ListChanges::placeAfter(const ListPlace& before, ListPlace* after) const {
  ListPlace place;
  if (!ListMapping(*this).follow(before, &place)) return false;
  *after = place;
  return true;
}

// ---- The list after -----------------------------------------------------------------------------

namespace {

[[noreturn]] void raiseOutside(const ListPlace& place, const char* when) {
  raise(NSRangeException, "there is no item at [%llu, %llu] %s the changes",
        static_cast<unsigned long long>(place.section), static_cast<unsigned long long>(place.item),
        when);
}

void append(std::vector<ListRun>& runs, ListRun::Origin origin, const ListPlace& place,
            NSUInteger count) {
  if (count == 0) return;
  if (!runs.empty() && origin != ListRun::Origin::Updated) {
    ListRun& last = runs.back();
    if (last.origin == origin && last.place.section == place.section &&
        last.place.item + last.count == place.item) {
      last.count += count;
      return;
    }
  }
  runs.push_back({origin, place, count});
}

/// What a section that stays, or has come, has afterwards.
class SectionLayout {
 public:
  SectionLayout(const ListMapping& mapping, NSUInteger section)
      : _mapping(mapping), _section(section), _isNew(mapping.after().hasSection(section)) {
    if (_isNew) return;
    _before.section = mapping.sectionBefore(section);
    _told = mapping.before().itemsOf(_before.section).first;
    const auto& updated = mapping.updated();
    _updated = std::lower_bound(updated.begin(), updated.end(), _before);
  }

  std::vector<ListRun> runs(NSUInteger count) {
    const auto& after = _mapping.after().items;
    const auto [first, last] = _mapping.after().itemsOf(_section);
    for (std::size_t i = first; i < last; ++i) {
      const Told& told = after[i];
      appendRest(told.place.item);
      if (told.moves) {
        append(_runs, ListRun::Origin::Updated, told.other, 1);
      } else {
        append(_runs, ListRun::Origin::New, told.place, 1);
      }
      ++_item;
    }
    appendRest(count);
    return std::move(_runs);
  }

 private:
  /// What is not told of, up to an item after the batch.
  void appendRest(NSUInteger end) {
    if (_isNew) {
      append(_runs, ListRun::Origin::New, {_section, _item}, end - _item);
      _item = end;
      return;
    }
    const auto& told = _mapping.before().items;
    const auto& updated = _mapping.updated();
    while (_item < end) {
      for (; _told < told.size() && told[_told].place == _before; ++_told) ++_before.item;
      NSUInteger count = end - _item;
      if (_updated != updated.end() && *_updated == _before) {
        ++_updated;
        append(_runs, ListRun::Origin::Updated, _before, count = 1);
      } else {
        const auto stopAt = [&](const ListPlace& place) {
          if (place.section == _before.section) {
            count = std::min(count, place.item - _before.item);
          }
        };
        if (_told < told.size()) stopAt(told[_told].place);
        if (_updated != updated.end()) stopAt(*_updated);
        append(_runs, ListRun::Origin::Kept, _before, count);
      }
      _before.item += count;
      _item += count;
    }
  }

  const ListMapping& _mapping;
  NSUInteger _section;
  bool _isNew;
  std::vector<ListRun> _runs;
  /// The next item after the batch.
  NSUInteger _item = 0;
  /// The next item before the batch, the next told of from there on, and the next update.
  ListPlace _before;
  std::size_t _told = 0;
  std::vector<ListPlace>::const_iterator _updated;
};

}  // namespace

std::vector<std::vector<ListRun>> ListChanges::layout(
    const std::vector<NSUInteger>& counts,
    const Block<NSUInteger(NSUInteger section)>& countAfter) const {
  const ListMapping mapping(*this);
  const auto& before = mapping.before();
  const auto& after = mapping.after();
  for (const NSUInteger section : before.sections) {
    if (section >= counts.size()) {
      raise(NSRangeException, "there is no section %llu before the changes",
            static_cast<unsigned long long>(section));
    }
  }
  const auto exists = [&](const ListPlace& place) {
    return place.section < counts.size() && place.item < counts[place.section];
  };
  for (const Told& told : before.items) {
    if (!exists(told.place)) raiseOutside(told.place, "before");
  }
  for (const ListPlace& place : mapping.updated()) {
    if (!exists(place)) raiseOutside(place, "before");
  }

  const NSUInteger sections = counts.size() - before.sections.size() + after.sections.size();
  if (!after.sections.empty() && after.sections.back() >= sections) {
    raise(NSRangeException, "there is no section %llu after the changes",
          static_cast<unsigned long long>(after.sections.back()));
  }
  if (!after.items.empty() && after.items.back().place.section >= sections) {
    raiseOutside(after.items.back().place, "after");
  }
  std::vector<NSUInteger> countsAfter(sections);
  for (NSUInteger section = 0; section < sections; ++section) {
    const auto [first, last] = after.itemsOf(section);
    if (after.hasSection(section)) {
      countsAfter[section] = countAfter(section);
    } else {
      const NSUInteger old = mapping.sectionBefore(section);
      const auto [firstOld, lastOld] = before.itemsOf(old);
      countsAfter[section] = counts[old] - (lastOld - firstOld) + (last - first);
    }
    if (last > first && after.items[last - 1].place.item >= countsAfter[section]) {
      raiseOutside(after.items[last - 1].place, "after");
    }
  }

  std::vector<std::vector<ListRun>> layout(sections);
  for (NSUInteger section = 0; section < sections; ++section) {
    layout[section] = SectionLayout(mapping, section).runs(countsAfter[section]);
  }
  return layout;
}

}  // namespace JNFoundation
