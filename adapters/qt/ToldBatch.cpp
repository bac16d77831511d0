#include "ToldBatch.h"

#include <algorithm>

namespace JNFoundation::inline v0_1 {
namespace {

ToldBatch::Position positionOf(const Ref<NSIndexPath>& path) {
  if (!path) return {};
  return {path->indexAtPosition(0), path->indexAtPosition(1)};
}

void sortByOldPosition(std::vector<ToldBatch::Object>& objects) {
  std::sort(objects.begin(), objects.end(),
            [](const auto& left, const auto& right) { return left.from < right.from; });
}

void sortByNewPosition(std::vector<ToldBatch::Object>& objects) {
  std::sort(objects.begin(), objects.end(),
            [](const auto& left, const auto& right) { return left.to < right.to; });
}

}  // namespace

void ToldBatch::tellSection(NSFetchedResultsChangeType type, NSUInteger number,
                            const Ref<NSString>& name) {
  if (type == NSFetchedResultsChangeDelete) deletedSections.push_back(number);
  if (type == NSFetchedResultsChangeInsert) insertedSections.push_back({number, name});
}

void ToldBatch::tellObject(NSFetchedResultsChangeType type, const Ref<NSManagedObject>& object,
                           const Ref<NSIndexPath>& from, const Ref<NSIndexPath>& to) {
  Object told{object, positionOf(from), positionOf(to)};
  switch (type) {
    case NSFetchedResultsChangeInsert:
      return inserted.push_back(std::move(told));
    case NSFetchedResultsChangeDelete:
      return deleted.push_back(std::move(told));
    case NSFetchedResultsChangeMove:
      return moved.push_back(std::move(told));
    case NSFetchedResultsChangeUpdate:
      return updated.push_back(std::move(told));
  }
}

bool ToldBatch::resolve(const FetchedRows& rows) {
  std::sort(deletedSections.begin(), deletedSections.end());
  const bool namesSectionTwice =
      std::adjacent_find(deletedSections.begin(), deletedSections.end()) != deletedSections.end();
  if (namesSectionTwice) return false;
  if (!deletedSections.empty() && deletedSections.back() >= rows.sectionCount()) return false;
  std::sort(insertedSections.begin(), insertedSections.end(),
            [](const Section& left, const Section& right) { return left.number < right.number; });
  sortByOldPosition(deleted);
  sortByOldPosition(updated);
  sortByNewPosition(inserted);
  sortByNewPosition(moved);

  std::vector<const FetchedRow*> leaving;
  for (std::vector<Object>* objects : {&deleted, &moved, &updated}) {
    for (Object& each : *objects) {
      each.row = rows.rowAt(each.from.section, each.from.item);
      if (!each.row || each.row->object != each.object) return false;
      if (objects != &updated) leaving.push_back(each.row);
    }
  }
  std::sort(leaving.begin(), leaving.end());
  return std::adjacent_find(leaving.begin(), leaving.end()) == leaving.end();
}

bool ToldBatch::agrees(const NSFetchedResultsController& controller,
                       const FetchedRows& rows) const {
  const Ref<NSArray> sections = controller.sections();
  const Ref<NSArray> all = controller.fetchedObjects();
  if (!sections || !all) return false;
  if (sections->count() != rows.sectionCount() || all->count() != rows.rowCount()) return false;
  Ref<NSArray> objects;
  std::size_t section = NSNotFound;
  for (const std::vector<Object>* told : {&inserted, &moved}) {
    for (const Object& each : *told) {
      if (each.to.section != section) {
        section = each.to.section;
        if (section >= sections->count()) return false;
        const Value info = sections->objectAtIndex(section);
        objects = as<NSFetchedResultsSectionInfo>(info)->objects();
      }
      const FetchedRow* const row = rows.rowAt(section, each.to.item);
      if (!row || row->object != each.object || each.to.item >= objects->count() ||
          objects->objectAtIndex(each.to.item).object() != each.object.get()) {
        return false;
      }
    }
  }
  return true;
}

std::size_t ToldBatch::numberAmongAll(std::size_t section) const {
  const auto insertion = std::lower_bound(
      insertedSections.begin(), insertedSections.end(), section,
      [](const Section& each, std::size_t number) { return each.number < number; });
  const auto insertedBefore = static_cast<std::size_t>(insertion - insertedSections.begin());
  const bool isInserted = insertion != insertedSections.end() && insertion->number == section;
  // The old number of the n-th section that stays: n, and the deleted ones before it.
  const auto oldNumber = [&](std::size_t staying) {
    std::size_t first = 0, last = deletedSections.size();
    while (first < last) {
      const std::size_t middle = first + (last - first) / 2;
      if (deletedSections[middle] - middle <= staying) {
        first = middle + 1;
      } else {
        last = middle;
      }
    }
    return staying + first;
  };
  // A new one stands right after the one that stays before it.
  const std::size_t staying = section - insertedBefore;
  if (!isInserted) return oldNumber(staying) + insertedBefore;
  return (staying == 0 ? 0 : oldNumber(staying - 1) + 1) + insertedBefore;
}

}  // namespace JNFoundation
