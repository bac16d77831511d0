#include <algorithm>
#include <unordered_set>

#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/store/impl/FetchedResults.h>

namespace JNFoundation::inline v0_1::impl {

/// A candidate that is in the list, or is to be.
struct FetchedResults::Entry {
  Ref<NSManagedObject> object;
  bool isUpdate = false;
  bool isMove = false;
  /// Where it was in the list before. Not for what is new.
  std::size_t index = 0;
  Path from{};
  Ref<FetchedSection> section;
  /// Where it is without what was removed.
  std::size_t rest = 0;
  /// The section's name now, where there are sections.
  Ref<NSString> name;
};

struct FetchedResults::Batch {
  struct Gone {
    Ref<FetchedSection> section;
    std::size_t index;
  };

  // In the order of the list before; what is new in the order in which it came.
  std::vector<Entry> removed;
  std::vector<Entry> kept;
  std::vector<Entry> added;
  /// Sections that lost their last object, and those that were made.
  std::vector<Gone> emptied;
  std::vector<Ref<FetchedSection>> made;
  /// What was put in so far.
  std::vector<const NSObject*> inserted;
};

namespace {

const NSManagedObject& managed(const NSObject* object) noexcept {
  return static_cast<const NSManagedObject&>(*object);
}

/// Which of the numbers 0 to count-1 stay in the longest run that is in order.
template <class IsBefore>
std::vector<bool> longestRun(std::size_t count, IsBefore&& isBefore) {
  std::vector<bool> stays(count, true);
  bool isInOrder = true;
  for (std::size_t i = 1; i < count && isInOrder; ++i) isInOrder = isBefore(i - 1, i);
  if (isInOrder) return stays;
  // By the length of the run that ends there: the best last element, and what each comes after.
  std::vector<std::size_t> ends, previous(count);
  for (std::size_t i = 0; i < count; ++i) {
    const auto place = std::partition_point(ends.begin(), ends.end(),
                                            [&](std::size_t end) { return isBefore(end, i); });
    previous[i] = place == ends.begin() ? count : *(place - 1);
    if (place == ends.end()) {
      ends.push_back(i);
    } else {
      *place = i;
    }
  }
  stays.assign(count, false);
  for (std::size_t i = ends.back(); i != count; i = previous[i]) stays[i] = true;
  return stays;
}

/// The same where some of the numbers must not be left out, as far as these are in order.
template <class IsBefore, class IsFixed>
std::vector<bool> longestRunAround(std::size_t count, IsBefore&& isBefore, IsFixed&& isFixed) {
  std::vector<bool> stays(count, true);
  constexpr std::size_t none = static_cast<std::size_t>(-1);
  std::size_t last = none;
  for (std::size_t i = 0; i < count; ++i) {
    if (!isFixed(i)) continue;
    if (last != none && !isBefore(last, i)) return longestRun(count, isBefore);
    last = i;
  }
  // Between two fixed ones, those that fit there.
  last = none;
  for (std::size_t first = 0; first < count;) {
    std::size_t end = first;
    while (end < count && !isFixed(end)) ++end;
    std::vector<std::size_t> fit;
    for (std::size_t i = first; i < end; ++i) {
      stays[i] = (last == none || isBefore(last, i)) && (end == count || isBefore(i, end));
      if (stays[i]) fit.push_back(i);
    }
    const std::vector<bool> run = longestRun(
        fit.size(), [&](std::size_t i, std::size_t j) { return isBefore(fit[i], fit[j]); });
    for (std::size_t i = 0; i < fit.size(); ++i) stays[fit[i]] = run[i];
    last = end;
    first = end + 1;
  }
  return stays;
}

/// The order in which objects are told of: by kind, and by position within it.
void sortAsTold(std::vector<FetchedResults::ObjectChange>& changes) {
  const auto rank = [](const FetchedResults::ObjectChange& change) {
    switch (change.type) {
      case NSFetchedResultsChangeDelete:
        return 0;
      case NSFetchedResultsChangeInsert:
        return 1;
      case NSFetchedResultsChangeMove:
        return 2;
      case NSFetchedResultsChangeUpdate:
        break;
    }
    return 3;
  };
  const auto path = [](const FetchedResults::ObjectChange& change) {
    const bool isNew =
        change.type == NSFetchedResultsChangeInsert || change.type == NSFetchedResultsChangeMove;
    return isNew ? *change.to : *change.from;
  };
  std::sort(changes.begin(), changes.end(), [&](const auto& left, const auto& right) {
    if (left.type != right.type) return rank(left) < rank(right);
    const FetchedResults::Path one = path(left), other = path(right);
    return one.section != other.section ? one.section < other.section : one.item < other.item;
  });
}

}  // namespace

void logOutOfOrder(const FetchedResults::OutOfOrder& torn) {
  NSLog("CoreData: error: (NSFetchedResultsController) %@", reasonOf(torn));
}

Ref<NSString> reasonOf(const FetchedResults::OutOfOrder& torn) {
  return NSString::stringWithFormat(
      "The fetched object at index %lu has an out of order section name '%@. Objects must be "
      "sorted "
      "by section name'",
      static_cast<unsigned long>(torn.index), torn.name);
}

FetchedResults::Changes FetchedResults::apply(const std::vector<Candidate>& candidates) {
  // Arrays that nobody else holds must not have the list copied.
  _objectArray = nullptr;
  _sectionArray = nullptr;
  Batch batch;
  const std::uint64_t rereads = _order.rereads();
  sortOut(candidates, batch);
  if (_isTorn || std::exchange(_isOutOfOrder, false)) return regroup(batch, placed());

  // From the back, so that the positions in front stay what they are.
  for (auto entry = batch.removed.rbegin(); entry != batch.removed.rend(); ++entry) {
    takeOut(*entry, entry->index, batch);
  }
  findMoves(batch);
  for (auto entry = batch.kept.rbegin(); entry != batch.kept.rend(); ++entry) {
    if (entry->isMove) takeOut(*entry, entry->rest, batch);
  }
  for (Entry& entry : batch.kept) {
    if (entry.isMove && !putIn(entry, batch)) return regroup(batch, placedBefore(batch));
  }
  for (Entry& entry : batch.added) {
    if (!putIn(entry, batch)) return regroup(batch, placedBefore(batch));
  }
  // What the places were looked up by has changed meanwhile.
  if (_order.rereads() != rereads) return regroup(batch, placedBefore(batch));
  if (!batch.emptied.empty() || !batch.made.empty()) _titles = Titles();
  return changesOf(batch);
}

/// Finds out what is to be done with each candidate, and where it is now.
void FetchedResults::sortOut(const std::vector<Candidate>& candidates, Batch& batch) const {
  for (const Candidate& candidate : candidates) {
    Entry entry;
    entry.index = _objects.indexOf(*candidate.object);
    const bool isIn = entry.index != OrderedObjects::none;
    if (!isIn && !candidate.belongs) continue;
    entry.object = candidate.object;
    entry.isUpdate = candidate.isUpdate;
    if (candidate.belongs && _order.hasSections()) entry.name = _order.sectionName(*entry.object);
    if (isIn) {
      const OrderedVersion::Place section = sectionPlaceAt(entry.index);
      entry.from = {section.index, entry.index - section.before};
      entry.section = Ref<FetchedSection>(
          const_cast<FetchedSection*>(static_cast<const FetchedSection*>(section.object)));
    }
    auto& list = !isIn ? batch.added : candidate.belongs ? batch.kept : batch.removed;
    list.push_back(std::move(entry));
  }
  const auto byIndex = [](const Entry& left, const Entry& right) {
    return left.index < right.index;
  };
  std::sort(batch.removed.begin(), batch.removed.end(), byIndex);
  std::sort(batch.kept.begin(), batch.kept.end(), byIndex);
  std::size_t gone = 0;
  for (Entry& entry : batch.kept) {
    while (gone < batch.removed.size() && batch.removed[gone].index < entry.index) ++gone;
    entry.rest = entry.index - gone;
  }
}

/// Finds the fewest objects that have to move so that all of them are in order.
/// Requires: what is removed has gone.
void FetchedResults::findMoves(Batch& batch) const {
  std::vector<Entry>& kept = batch.kept;
  for (std::size_t first = 0; first < kept.size();) {
    std::size_t end = first + 1;
    while (end < kept.size() && kept[end].rest == kept[end - 1].rest + 1) ++end;
    findMovesOfRun({kept.data() + first, end - first});
    first = end;
  }
}

/// The same for objects that stand side by side. Those around them are in order, since they are no
/// candidates.
void FetchedResults::findMovesOfRun(std::span<Entry> run) const {
  const std::size_t first = run.front().rest, last = run.back().rest;
  const NSObject* before = first > 0 ? _objects.at(first - 1) : nullptr;
  const NSObject* after = last + 1 < _objects.count() ? _objects.at(last + 1) : nullptr;
  std::vector<Entry*> fit;
  for (Entry& entry : run) {
    entry.isMove = (entry.name && !entry.name->isEqual(entry.section->name())) ||
                   (before && !_order.isBefore(managed(before), *entry.object)) ||
                   (after && !_order.isBefore(*entry.object, managed(after)));
    if (!entry.isMove) fit.push_back(&entry);
  }
  if (fit.size() < 2) return;
  const std::vector<bool> stays = longestRun(fit.size(), [&](std::size_t i, std::size_t j) {
    return _order.isBefore(*fit[i]->object, *fit[j]->object);
  });
  for (std::size_t i = 0; i < fit.size(); ++i) fit[i]->isMove = !stays[i];
}

void FetchedResults::takeOut(Entry& entry, std::size_t index, Batch& batch) {
  if (_order.hasSections()) {
    const OrderedVersion::Place section = sectionPlaceAt(index);
    if (section.weight > 1) {
      _sections.addWeight(section.index, -1);
    } else {
      _sectionsByName.erase(entry.section->name()->utf8());
      _sections.erase(section.index);
      batch.emptied.push_back({entry.section, entry.from.section});
    }
  }
  _objects.erase(index);
}

void FetchedResults::addSection(std::size_t index, const Ref<FetchedSection>& section,
                                std::size_t weight) {
  _sections.insert(index, *section, weight);
  _sectionsByName.emplace(section->name()->utf8(), section.get());
}

/// Puts the object where it belongs. Returns: false, with nothing done, if its section would not
/// stand together.
bool FetchedResults::putIn(Entry& entry, Batch& batch) {
  const NSManagedObject& object = *entry.object;
  const std::size_t index = _objects.partitionPoint(
      [&](const NSObject& other) { return _order.isBefore(managed(&other), object); });
  if (_order.hasSections()) {
    std::optional<OrderedVersion::Place> before, after;
    const auto isOf = [&](const std::optional<OrderedVersion::Place>& place) {
      return place &&
             static_cast<const FetchedSection*>(place->object)->name()->isEqual(entry.name);
    };
    if (index > 0) before = sectionPlaceAt(index - 1);
    if (index < _objects.count()) after = sectionPlaceAt(index);
    if (isOf(before)) {
      _sections.addWeight(before->index, 1);
    } else if (isOf(after)) {
      _sections.addWeight(after->index, 1);
    } else if ((before && after && before->index == after->index) ||
               _sectionsByName.count(entry.name->utf8()) > 0) {
      return false;
    } else {
      Ref<FetchedSection> section = makeObject<FetchedSection>(entry.name);
      addSection(after ? after->index : _sections.count(), section, 1);
      batch.made.push_back(std::move(section));
    }
  }
  _objects.insert(index, object);
  batch.inserted.push_back(&object);
  return true;
}

// ---- What is told -------------------------------------------------------------------------------

FetchedResults::Changes FetchedResults::changesOf(Batch& batch) const {
  Changes changes;
  // A section that lost everything and got something again is the same one where it stands between
  // the same others.
  struct Again {
    std::size_t gone;
    std::size_t made;
    std::size_t goneAfter;
    std::size_t madeAfter;
  };
  std::sort(batch.emptied.begin(), batch.emptied.end(),
            [](const auto& left, const auto& right) { return left.index < right.index; });
  struct Made {
    Ref<FetchedSection> section;
    std::size_t index;
  };
  std::vector<Made> made;
  for (const Ref<FetchedSection>& section : batch.made) {
    made.push_back({section, _sections.placeOf(*section).index});
  }
  std::sort(made.begin(), made.end(),
            [](const Made& left, const Made& right) { return left.index < right.index; });
  std::vector<bool> goneIsSame(batch.emptied.size()), madeIsSame(made.size());
  if (!batch.emptied.empty() && !made.empty()) {
    std::unordered_map<std::string_view, std::size_t> goneByName;
    for (std::size_t i = 0; i < batch.emptied.size(); ++i) {
      goneByName.emplace(batch.emptied[i].section->name()->utf8(), i);
    }
    std::vector<Again> again;
    for (std::size_t i = 0; i < made.size(); ++i) {
      const auto gone = goneByName.find(made[i].section->name()->utf8());
      if (gone == goneByName.end()) continue;
      // How many of the sections that never went stand in front.
      const Again one{gone->second, i, batch.emptied[gone->second].index - gone->second,
                      made[i].index - i};
      if (one.goneAfter == one.madeAfter) again.push_back(one);
    }
    const std::vector<bool> stays = longestRun(
        again.size(), [&](std::size_t i, std::size_t j) { return again[i].gone < again[j].gone; });
    for (std::size_t i = 0; i < again.size(); ++i) {
      goneIsSame[again[i].gone] = madeIsSame[again[i].made] = stays[i];
    }
  }
  for (std::size_t i = 0; i < batch.emptied.size(); ++i) {
    if (goneIsSame[i]) continue;
    changes.sections.push_back(
        {batch.emptied[i].section, NSFetchedResultsChangeDelete, batch.emptied[i].index});
  }
  for (std::size_t i = 0; i < made.size(); ++i) {
    if (madeIsSame[i]) continue;
    changes.sections.push_back({made[i].section, NSFetchedResultsChangeInsert, made[i].index});
  }

  for (const Entry& entry : batch.removed) {
    changes.objects.push_back({entry.object, NSFetchedResultsChangeDelete, entry.from, {}});
  }
  for (const Entry& entry : batch.added) {
    changes.objects.push_back(
        {entry.object, NSFetchedResultsChangeInsert, {}, pathNow(*entry.object)});
  }
  for (const Entry& entry : batch.kept) {
    if (!entry.isMove && !entry.isUpdate) continue;
    changes.objects.push_back(
        {entry.object, entry.isMove ? NSFetchedResultsChangeMove : NSFetchedResultsChangeUpdate,
         entry.from, pathNow(*entry.object)});
  }
  sortAsTold(changes.objects);
  return changes;
}

// ---- The whole list -----------------------------------------------------------------------------

/// The list as it is, with the section of each object.
std::vector<FetchedResults::Placed> FetchedResults::placed() const {
  std::vector<Placed> list;
  list.reserve(_objects.count());
  while (list.size() < _objects.count()) {
    const OrderedVersion::Run run = _objects.version().runAt(list.size());
    for (std::size_t i = 0; i < run.count; ++i) list.push_back({run.objects[i], nullptr});
  }
  if (!_order.hasSections()) {
    for (Placed& one : list) one.section = _wholeSection.get();
    return list;
  }
  std::size_t next = 0;
  for (std::size_t i = 0; i < _sections.count(); ++i) {
    const OrderedVersion::Place place = _sections.version().placeAt(i);
    for (const std::size_t end = place.before + place.weight; next < end; ++next) {
      list[next].section = static_cast<const FetchedSection*>(place.object);
    }
  }
  return list;
}

/// The list as it was before a batch that is half done: without what was put in, and with what was
/// taken out.
std::vector<FetchedResults::Placed> FetchedResults::placedBefore(const Batch& batch) const {
  const std::unordered_set<const NSObject*> inserted(batch.inserted.begin(), batch.inserted.end());
  std::vector<const Entry*> out;
  for (const Entry& entry : batch.removed) out.push_back(&entry);
  for (const Entry& entry : batch.kept) {
    if (entry.isMove) out.push_back(&entry);
  }
  std::sort(out.begin(), out.end(),
            [](const Entry* left, const Entry* right) { return left->index < right->index; });
  std::vector<Placed> list;
  auto next = out.begin();
  const auto addTakenOut = [&] {
    for (; next != out.end() && (*next)->index == list.size(); ++next) {
      list.push_back({(*next)->object.get(), (*next)->section.get()});
    }
  };
  for (const Placed& one : placed()) {
    if (inserted.count(one.object) > 0) continue;
    addTakenOut();
    list.push_back(one);
  }
  addTakenOut();
  return list;
}

/// Makes the whole list anew.
FetchedResults::Changes FetchedResults::regroup(Batch& batch, const std::vector<Placed>& before) {
  // What is in the list or in the batch stays alive meanwhile: `before` does not keep it.
  const OrderedVersion keptObjects = _objects.version(), keptSections = _sections.version();
  std::unordered_set<const NSObject*> removed;
  for (const Entry& entry : batch.removed) removed.insert(entry.object.get());
  std::vector<const NSObject*> objects;
  for (const Placed& one : before) {
    if (removed.count(one.object) == 0) objects.push_back(one.object);
  }
  for (const Entry& entry : batch.added) objects.push_back(entry.object.get());
  for (const NSObject* object : objects) ResultOrder::read(managed(object));
  std::stable_sort(objects.begin(), objects.end(), [&](const auto* left, const auto* right) {
    return _order.isBefore(managed(left), managed(right));
  });
  if (!_order.hasSections()) {
    _objects.assign(objects);
    std::vector<Placed> after;
    after.reserve(objects.size());
    for (const NSObject* object : objects) after.push_back({object, _wholeSection.get()});
    return difference(batch, before, after);
  }

  struct Group {
    Ref<FetchedSection> section;
    std::vector<const NSObject*> objects;
  };
  std::vector<Group> groups;
  std::unordered_map<std::string_view, std::size_t> groupsByName;
  std::unordered_map<std::string_view, const FetchedSection*> sectionsBefore;
  for (const Placed& one : before) sectionsBefore.emplace(one.section->name()->utf8(), one.section);
  std::optional<OutOfOrder> torn;
  std::size_t last = 0;
  for (std::size_t i = 0; i < objects.size(); ++i) {
    Ref<NSString> name = _order.sectionName(managed(objects[i]));
    auto known = groupsByName.find(name->utf8());
    if (known == groupsByName.end()) {
      const auto section = sectionsBefore.find(name->utf8());
      groups.push_back({section == sectionsBefore.end()
                            ? makeObject<FetchedSection>(std::move(name))
                            : Ref<FetchedSection>(const_cast<FetchedSection*>(section->second)),
                        {}});
      known = groupsByName.emplace(groups.back().section->name()->utf8(), groups.size() - 1).first;
    } else if (known->second != last && !torn) {
      torn = OutOfOrder{i, std::move(name)};
    }
    last = known->second;
    groups[last].objects.push_back(objects[i]);
  }
  if (torn && !_isTorn) logOutOfOrder(*torn);
  _isTorn = torn.has_value();

  std::vector<Placed> after;
  std::vector<const NSObject*> list, sections;
  std::vector<std::uint32_t> lengths;
  _sectionsByName.clear();
  for (const Group& group : groups) {
    for (const NSObject* object : group.objects) {
      list.push_back(object);
      after.push_back({object, group.section.get()});
    }
    sections.push_back(group.section.get());
    lengths.push_back(static_cast<std::uint32_t>(group.objects.size()));
    _sectionsByName.emplace(group.section->name()->utf8(), group.section.get());
  }
  _objects.assign(list);
  _sections.assign(sections, lengths);
  _titles = Titles();
  return difference(batch, before, after);
}

/// What became of one list to give the other: the fewest moves within each section.
FetchedResults::Changes FetchedResults::difference(const Batch& batch,
                                                   const std::vector<Placed>& before,
                                                   const std::vector<Placed>& after) const {
  struct Before {
    std::size_t index;
    Path path;
    const FetchedSection* section;
  };
  const auto pathsOf = [](const std::vector<Placed>& list,
                          std::vector<const FetchedSection*>& sections) {
    std::vector<Path> paths;
    for (const Placed& one : list) {
      if (sections.empty() || sections.back() != one.section) {
        sections.push_back(one.section);
        paths.push_back({sections.size() - 1, 0});
      } else {
        paths.push_back({sections.size() - 1, paths.back().item + 1});
      }
    }
    return paths;
  };
  std::vector<const FetchedSection*> sectionsBefore, sectionsAfter;
  const std::vector<Path> pathsBefore = pathsOf(before, sectionsBefore);
  const std::vector<Path> pathsAfter = pathsOf(after, sectionsAfter);
  // The only section is there without objects as well.
  if (!_order.hasSections()) sectionsBefore = sectionsAfter = {_wholeSection.get()};
  const auto shared = [](const FetchedSection* section) {
    return Ref<FetchedSection>(const_cast<FetchedSection*>(section));
  };

  Changes changes;
  std::unordered_map<const FetchedSection*, std::size_t> indexBefore;
  for (std::size_t i = 0; i < sectionsBefore.size(); ++i) indexBefore.emplace(sectionsBefore[i], i);
  std::vector<const FetchedSection*> common;
  for (const FetchedSection* section : sectionsAfter) {
    if (indexBefore.count(section) > 0) common.push_back(section);
  }
  const std::vector<bool> sectionStays =
      longestRun(common.size(), [&](std::size_t i, std::size_t j) {
        return indexBefore.at(common[i]) < indexBefore.at(common[j]);
      });
  std::unordered_set<const FetchedSection*> same;
  for (std::size_t i = 0; i < common.size(); ++i) {
    if (sectionStays[i]) same.insert(common[i]);
  }
  for (std::size_t i = 0; i < sectionsBefore.size(); ++i) {
    if (same.count(sectionsBefore[i]) > 0) continue;
    changes.sections.push_back({shared(sectionsBefore[i]), NSFetchedResultsChangeDelete, i});
  }
  for (std::size_t i = 0; i < sectionsAfter.size(); ++i) {
    if (same.count(sectionsAfter[i]) > 0) continue;
    changes.sections.push_back({shared(sectionsAfter[i]), NSFetchedResultsChangeInsert, i});
  }

  std::unordered_map<const NSObject*, Before> places;
  for (std::size_t i = 0; i < before.size(); ++i) {
    places.emplace(before[i].object, Before{i, pathsBefore[i], before[i].section});
  }
  std::unordered_set<const NSObject*> candidates, updated;
  for (const Entry& entry : batch.kept) {
    candidates.insert(entry.object.get());
    if (entry.isUpdate) updated.insert(entry.object.get());
  }
  for (const Entry& entry : batch.removed) {
    changes.objects.push_back({entry.object, NSFetchedResultsChangeDelete,
                               places.at(entry.object.get()).path, std::nullopt});
  }
  const auto objectAt = [&](std::size_t i) {
    return Ref<NSManagedObject>(
        const_cast<NSManagedObject*>(static_cast<const NSManagedObject*>(after[i].object)));
  };
  for (std::size_t first = 0; first < after.size();) {
    const FetchedSection* section = after[first].section;
    std::vector<std::size_t> staying;
    std::size_t end = first;
    for (; end < after.size() && after[end].section == section; ++end) {
      const auto place = places.find(after[end].object);
      if (place == places.end()) {
        changes.objects.push_back(
            {objectAt(end), NSFetchedResultsChangeInsert, std::nullopt, pathsAfter[end]});
      } else if (place->second.section == section && same.count(section) > 0) {
        staying.push_back(end);
      } else {
        changes.objects.push_back(
            {objectAt(end), NSFetchedResultsChangeMove, place->second.path, pathsAfter[end]});
      }
    }
    const auto indexOf = [&](std::size_t i) { return places.at(after[staying[i]].object).index; };
    const std::vector<bool> stays = longestRunAround(
        staying.size(), [&](std::size_t i, std::size_t j) { return indexOf(i) < indexOf(j); },
        [&](std::size_t i) { return candidates.count(after[staying[i]].object) == 0; });
    for (std::size_t i = 0; i < staying.size(); ++i) {
      const NSObject* object = after[staying[i]].object;
      if (stays[i] && updated.count(object) == 0) continue;
      changes.objects.push_back(
          {objectAt(staying[i]),
           stays[i] ? NSFetchedResultsChangeUpdate : NSFetchedResultsChangeMove,
           places.at(object).path, pathsAfter[staying[i]]});
    }
    first = end;
  }
  sortAsTold(changes.objects);
  return changes;
}

}  // namespace JNFoundation::impl
