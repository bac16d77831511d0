#include <algorithm>

#include "FetchedResultsFeed.h"
#include "QtModelAccess.h"

namespace JNFoundation::inline v0_1 {
namespace {

using Rows = FetchedRows::Rows;

/// More moves than these are one change of layout: proxies put themselves in order anew after each.
constexpr std::size_t mostSingleMoves = 16;

std::vector<FetchedRow*> toldRows(const std::vector<ToldBatch::Object>& objects) {
  std::vector<FetchedRow*> rows;
  rows.reserve(objects.size());
  for (const ToldBatch::Object& each : objects) rows.push_back(each.row);
  return rows;
}

/// Where the moved rows stand among those that were there before: without what is inserted.
std::vector<std::size_t> placesOfMoved(const ToldBatch& batch) {
  std::vector<std::size_t> places;
  places.reserve(batch.moved.size());
  std::size_t next = 0, insertedBefore = 0, section = 0;
  for (const ToldBatch::Object& moved : batch.moved) {
    if (moved.to.section != section) {
      section = moved.to.section;
      insertedBefore = 0;
    }
    for (; next < batch.inserted.size() && batch.inserted[next].to < moved.to; ++next) {
      insertedBefore += batch.inserted[next].to.section == section;
    }
    // More than there can be is noticed when the place is looked for.
    places.push_back(moved.to.item - insertedBefore);
  }
  return places;
}

/// The end of the run of neighbours that begins there.
template <class Place>
std::size_t endOfRun(const std::vector<Place>& places, std::size_t first) {
  std::size_t end = first + 1;
  while (end < places.size() && places[end].parent == places[first].parent &&
         places[end].row == places[end - 1].row + 1) {
    ++end;
  }
  return end;
}

}  // namespace

void FetchedResultsModel::Feed::apply(ToldBatch batch) {
  const std::shared_ptr<Feed> self = shared_from_this();
  if (!_model) return;
  // What is being shown is shown with it, and anew.
  if (_isTelling) return want(Wanted::reload);
  if (!batch.resolve(_rows)) return reload();
  std::vector<FetchedRowSection*> deletedSections;
  for (const std::size_t number : batch.deletedSections) {
    deletedSections.push_back(_rows.sectionAt(number));
  }
  {
    const Telling telling(*this);
    const bool isDone = tellUpdated(batch) && removeRows(batch) && insertSections(batch) &&
                        moveRows(batch) && removeSections(deletedSections) && insertRows(batch) &&
                        tellSectionNumbers(batch);
    if (isDone && !batch.agrees(*_controller, _rows)) mistrust();
  }
  settle();
}

bool FetchedResultsModel::Feed::tellUpdated(const ToldBatch& batch) {
  return tellChanged(toldRows(batch.updated));
}

bool FetchedResultsModel::Feed::tellChanged(const std::vector<FetchedRow*>& rows) {
  const std::vector<Place> places = placesOf(rows);
  for (std::size_t first = 0, end = 0; first < places.size(); first = end) {
    end = endOfRun(places, first);
    for (std::size_t i = first; i < end; ++i) places[i].element->shown.clear();
    emit items().dataChanged(indexOf(*places[first].element), indexOf(*places[end - 1].element));
    if (!goesOn()) return false;
  }
  return true;
}

/// From the back, so that what is still to be removed keeps its number.
bool FetchedResultsModel::Feed::removeRows(const ToldBatch& batch) {
  const std::vector<Place> places = placesOf(toldRows(batch.deleted));
  for (std::size_t end = places.size(), first = 0; end > 0; end = first) {
    first = end - 1;
    while (first > 0 && places[first - 1].parent == places[first].parent &&
           places[first - 1].row + 1 == places[first].row) {
      --first;
    }
    QtModelAccess::beginRemove(items(), parentOf(*places[first].element->section),
                               static_cast<int>(places[first].row),
                               static_cast<int>(places[end - 1].row));
    for (std::size_t i = first; i < end; ++i) _rows.removeRow(*places[i].element);
    QtModelAccess::endRemove(items());
    if (!goesOn()) return false;
  }
  return true;
}

/// Empty, while those that go are still there, so that rows can move from these to those.
bool FetchedResultsModel::Feed::insertSections(const ToldBatch& batch) {
  std::vector<Place> places;
  for (const ToldBatch::Section& section : batch.insertedSections) {
    places.push_back({0, batch.numberAmongAll(section.number), nullptr});
  }
  for (std::size_t first = 0, end = 0; first < places.size(); first = end) {
    end = endOfRun(places, first);
    if (places[first].row > _rows.sectionCount()) return mistrust();
    if (isTree()) {
      QtModelAccess::beginInsert(items(), QModelIndex(), static_cast<int>(places[first].row),
                                 static_cast<int>(places[end - 1].row));
    }
    for (std::size_t i = first; i < end; ++i) {
      _rows.insertSection(places[i].row, batch.insertedSections[i].name);
    }
    if (isTree()) QtModelAccess::endInsert(items());
    if (!goesOn()) return false;
  }
  return true;
}

/// Those that have yet to move weigh nothing: the place of one is found among the others, which
/// stand in their new order already.
bool FetchedResultsModel::Feed::moveRows(const ToldBatch& batch) {
  if (batch.moved.empty()) return true;
  const std::vector<std::size_t> places = placesOfMoved(batch);
  for (const ToldBatch::Object& moved : batch.moved) Rows::setWeight(*moved.row, 0);
  const bool isDone = batch.moved.size() > mostSingleMoves ? moveAtOnce(batch, places)
                                                           : moveOneByOne(batch, places);
  return isDone && tellChanged(toldRows(batch.moved));
}

bool FetchedResultsModel::Feed::moveOneByOne(const ToldBatch& batch,
                                             const std::vector<std::size_t>& places) {
  for (std::size_t i = 0; i < places.size(); ++i) {
    FetchedRow& row = *batch.moved[i].row;
    FetchedRowSection* const section =
        _rows.sectionAt(batch.numberAmongAll(batch.moved[i].to.section));
    if (!section || places[i] > section->rows.weight()) return mistrust();
    const bool stands = row.section == section && Rows::weightBefore(row) == places[i];
    if (!stands) {
      const FetchedRow* const before =
          places[i] > 0 ? section->rows.atWeight(places[i] - 1) : nullptr;
      if (!moveRow(row, *section, before ? Rows::rank(*before) + 1 : 0)) return false;
    }
    Rows::setWeight(row, 1);
  }
  return true;
}

bool FetchedResultsModel::Feed::moveRow(FetchedRow& row, FetchedRowSection& section,
                                        std::size_t item) {
  const int from = numberOf(*row.section, Rows::rank(row));
  const int to = numberOf(section, item);
  // From the end of a section to the beginning of the next is no way in a list.
  if (!isTree() && (to == from || to == from + 1)) {
    _rows.moveRow(row, section, item);
    return tellChanged({&row});
  }
  if (!QtModelAccess::beginMove(items(), parentOf(*row.section), from, parentOf(section), to)) {
    return mistrust();
  }
  _rows.moveRow(row, section, item);
  QtModelAccess::endMove(items());
  return goesOn();
}

bool FetchedResultsModel::Feed::moveAtOnce(const ToldBatch& batch,
                                           const std::vector<std::size_t>& places) {
  emit items().layoutAboutToBeChanged();
  const QModelIndexList before = QtModelAccess::persistentIndexes(items());
  std::vector<FetchedRow*> rows;
  for (const QModelIndex& index : before) rows.push_back(rowAt(index));

  bool fits = true;
  for (std::size_t i = 0; i < places.size() && fits; ++i) {
    FetchedRow& row = *batch.moved[i].row;
    FetchedRowSection* const section =
        _rows.sectionAt(batch.numberAmongAll(batch.moved[i].to.section));
    fits = section && places[i] <= section->rows.weight();
    if (!fits) break;
    const FetchedRow* const previous =
        places[i] > 0 ? section->rows.atWeight(places[i] - 1) : nullptr;
    _rows.moveRow(row, *section, previous ? Rows::rank(*previous) + 1 : 0);
    Rows::setWeight(row, 1);
  }

  QModelIndexList after;
  for (int i = 0; i < before.size(); ++i) {
    const FetchedRow* const row = rows[static_cast<std::size_t>(i)];
    after.append(row ? indexOf(*row) : before[i]);  // sections stay where they are
  }
  QtModelAccess::changePersistentIndexes(items(), before, after);
  emit items().layoutChanged();
  return goesOn() && (fits || mistrust());
}

bool FetchedResultsModel::Feed::removeSections(const std::vector<FetchedRowSection*>& sections) {
  for (std::size_t end = sections.size(), first = 0; end > 0; end = first) {
    first = end - 1;
    const std::size_t last = FetchedRows::numberOf(*sections[first]);
    std::size_t number = last;
    while (first > 0 && FetchedRows::numberOf(*sections[first - 1]) + 1 == number) {
      --first;
      --number;
    }
    for (std::size_t i = first; i < end; ++i) {
      if (sections[i]->rows.size() > 0) return mistrust();
    }
    if (isTree()) {
      QtModelAccess::beginRemove(items(), QModelIndex(), static_cast<int>(number),
                                 static_cast<int>(last));
    }
    for (std::size_t i = first; i < end; ++i) _rows.removeSection(*sections[i]);
    if (isTree()) QtModelAccess::endRemove(items());
    if (!goesOn()) return false;
  }
  return true;
}

/// From the front, by the new positions.
bool FetchedResultsModel::Feed::insertRows(const ToldBatch& batch) {
  const std::vector<ToldBatch::Object>& inserted = batch.inserted;
  for (std::size_t first = 0, end = 0; first < inserted.size(); first = end) {
    end = first + 1;
    const ToldBatch::Position start = inserted[first].to;
    while (end < inserted.size() && inserted[end].to.section == start.section &&
           inserted[end].to.item == inserted[end - 1].to.item + 1) {
      ++end;
    }
    FetchedRowSection* const section = _rows.sectionAt(start.section);
    if (!section || start.item > section->rows.size()) return mistrust();
    const int number = numberOf(*section, start.item);
    QtModelAccess::beginInsert(items(), parentOf(*section), number,
                               number + static_cast<int>(end - first) - 1);
    for (std::size_t i = first; i < end; ++i) {
      _rows.insertRow(*section, inserted[i].to.item, inserted[i].object);
    }
    QtModelAccess::endInsert(items());
    if (!goesOn()) return false;
  }
  return true;
}

/// The numbers of sections from the first on that came or went.
bool FetchedResultsModel::Feed::tellSectionNumbers(const ToldBatch& batch) {
  if (isTree() || (batch.deletedSections.empty() && batch.insertedSections.empty())) return true;
  std::size_t number = _rows.sectionCount();
  if (!batch.deletedSections.empty()) number = std::min(number, batch.deletedSections.front());
  if (!batch.insertedSections.empty()) {
    number = std::min(number, batch.insertedSections.front().number);
  }
  const FetchedRowSection* const section = _rows.sectionAt(number);
  if (!section || FetchedRows::rowsBefore(*section) == _rows.rowCount()) return true;
  const int first = numberOf(*section, 0);
  const int last = static_cast<int>(_rows.rowCount()) - 1;
  emit items().dataChanged(items().index(first, 0), items().index(last, 0), {SectionRole});
  return goesOn();
}

}  // namespace JNFoundation
