#include "JNFoundation/fetched/PLVRandomFetchedResultsSample.h"

#include <algorithm>

#include <JNFoundation/fetched/NSIndexPath+PLVUnsignedItemSection.h>
#include <JNFoundation/fetched/impl/FreeIndexes.h>
#include <JNFoundation/fetched/impl/ShiftedIndexes.h>
#include <JNFoundation/platform/dispatch/Random.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class PLVRandomFetchedResultsSample::classObject =
    Class::of<PLVRandomFetchedResultsSample>("PLVRandomFetchedResultsSample");

namespace {

using Sample = PLVRandomFetchedResultsSample;

// There is no operation `objectAtIndex:`; see PLVRandomFetchedResultsController.
const ClassDeclaration<Sample> declarationOfSample =
    ClassDeclaration<Sample>()
        .property("name", &Sample::name)
        .property("indexTitle", &Sample::indexTitle)
        .property("numberOfObjects", &Sample::numberOfObjects)
        .property("objects", &Sample::objects)
        .property("sampleLimit", &Sample::sampleLimit)
        .property("fetchedResults", &Sample::fetchedResults, &Sample::setFetchedResults)
        .property("sampleIndexes", &Sample::sampleIndexes, &Sample::setSampleIndexes)
        .property("sampleChanges", &Sample::sampleChanges, &Sample::setSampleChanges)
        .property("controllerChanges", &Sample::controllerChanges, &Sample::setControllerChanges)
        .operation("beginChanges", &Sample::beginChanges)
        .operation("endChanges", &Sample::endChanges);

/// Returns: null for results that were not fetched. Raises where they have no section.
Ref<NSFetchedResultsSectionInfo> firstSection(const Ref<NSFetchedResultsController>& results) {
  const Ref<NSArray> sections = results ? results->sections() : nullptr;
  if (!sections) return nullptr;
  return as<NSFetchedResultsSectionInfo>(sections->objectAtIndex(0));
}

/// The items of the paths, in ascending order of the paths.
std::vector<NSUInteger> sortedItems(const Ref<NSMutableArray>& paths) {
  std::vector<Ref<NSIndexPath>> sorted;
  sorted.reserve(paths->count());
  for (const Value& path : paths) {
    sorted.emplace_back(as<NSIndexPath>(path));
    if (!sorted.back()) raise(NSInvalidArgumentException, "%@ is no index path", path);
  }
  std::sort(sorted.begin(), sorted.end(),
            [](const Ref<NSIndexPath>& left, const Ref<NSIndexPath>& right) {
              return left->compare(right) == NSOrderedAscending;
            });
  std::vector<NSUInteger> items;
  items.reserve(sorted.size());
  for (const Ref<NSIndexPath>& path : sorted) items.push_back(plv_itemIndex(path));
  return items;
}

}  // namespace

PLVRandomFetchedResultsSample::PLVRandomFetchedResultsSample(
    const Ref<NSFetchedResultsController>& controller, NSUInteger limit)
    : _fetchedResults(controller),
      _sampleLimit(limit),
      _sampleIndexes(NSMutableIndexSet::indexSet()),
      _objects(NSArray::array()) {
  if (const Ref<NSFetchedResultsSectionInfo> section = firstSection(controller)) {
    _name = section->name();
    _indexTitle = section->indexTitle();
  }
}

Ref<PLVRandomFetchedResultsSample>
PLVRandomFetchedResultsSample::initWithFetchedResultsControllerLimit(
    const Ref<NSFetchedResultsController>& controller, NSUInteger limit) {
  auto sample = makeObject<PLVRandomFetchedResultsSample>(controller, limit);
  sample->resampleWithObjectsChanges(nullptr, nullptr);
  return sample;
}

void PLVRandomFetchedResultsSample::setSampleIndexes(const Ref<NSMutableIndexSet>& sampleIndexes) {
  _sampleIndexes = sampleIndexes ? sampleIndexes : NSMutableIndexSet::indexSet();
}

// ---- A batch ------------------------------------------------------------------------------------

void PLVRandomFetchedResultsSample::beginChanges() {
  // Positions are followed place by place, where a move is a delete and an insert.
  _sampleChanges = PLVFetchedResultsChanges::initWithOptions(0);
  _controllerChanges = PLVFetchedResultsChanges::initWithOptions(0);
}

void PLVRandomFetchedResultsSample::changeObjectAtIndexPathForChangeTypeNewIndexPath(
    const Value& object, const Ref<NSIndexPath>& path, NSFetchedResultsChangeType type,
    const Ref<NSIndexPath>& newPath) {
  if (_controllerChanges) {
    _controllerChanges->changeObjectAtIndexPathForChangeTypeNewIndexPath(path, type, newPath);
  }
  if (!_sampleIndexes->containsIndex(plv_itemIndex(path))) return;
  const NSUInteger position = _objects->indexOfObject(object);
  if (position == static_cast<NSUInteger>(NSNotFound)) return;
  // A move is kept out on purpose: the sample has an order of its own, in which nothing moved. The
  // price is known and accepted: the object's place in the results is given up like a deleted
  // one's, and its new place is not taken, so from here on it is not followed, and may be drawn
  // again.
  if (type != NSFetchedResultsChangeDelete && type != NSFetchedResultsChangeUpdate) return;
  if (_sampleChanges) {
    _sampleChanges->changeObjectAtIndexPathForChangeTypeNewIndexPath(
        plv_indexPathForItemIndexSectionIndex(position, 0), type, newPath);
  }
}

void PLVRandomFetchedResultsSample::changeSectionAtIndexForChangeType(
    const Ref<NSFetchedResultsSectionInfo>& section, NSUInteger index,
    NSFetchedResultsChangeType type) {
  if (_controllerChanges) {
    _controllerChanges->changeSectionAtIndexForChangeType(section, index, type);
  }
}

Ref<PLVFetchedResultsChanges> PLVRandomFetchedResultsSample::endChanges() {
  updateSampleIndexesWithChanges(_controllerChanges);
  _controllerChanges = nullptr;
  Ref<PLVFetchedResultsChanges> changes = std::exchange(_sampleChanges, nullptr);
  resampleWithObjectsChanges(updateObjectsWithChanges(changes), changes);
  return changes;
}

// ---- Its steps ----------------------------------------------------------------------------------

void PLVRandomFetchedResultsSample::resampleWithObjectsChanges(
    const Ref<NSMutableArray>& objects, const Ref<PLVFetchedResultsChanges>& changes) {
  const Ref<NSFetchedResultsController> results = _fetchedResults;
  const Ref<NSFetchedResultsSectionInfo> section = firstSection(results);
  const NSUInteger count = section ? section->numberOfObjects() : 0;
  const Ref<NSMutableArray> list =
      objects ? objects : NSMutableArray::arrayWithCapacity(std::min(count, _sampleLimit));
  if (list->count() < _sampleLimit) {
    impl::FreeIndexes free(count, *_sampleIndexes, _sampleLimit - list->count());
    while (list->count() < _sampleLimit && !free.isEmpty()) {
      const NSUInteger index = free.take(arc4random_uniform(static_cast<std::uint32_t>(count)));
      if (changes) {
        changes->changeObjectAtIndexPathForChangeTypeNewIndexPath(
            nullptr, NSFetchedResultsChangeInsert,
            plv_indexPathForItemIndexSectionIndex(list->count(), 0));
      }
      list->addObject(results->objectAtIndexPath(plv_indexPathForItemIndexSectionIndex(index, 0)));
    }
    _sampleIndexes->addIndexes(free.drawn());
  }
  const Value copy = list->copy();
  _objects = Ref<NSArray>(as<NSArray>(copy));
}

void PLVRandomFetchedResultsSample::updateSampleIndexesWithChanges(
    const Ref<PLVFetchedResultsChanges>& changes) {
  if (!changes) return;
  const std::vector<NSUInteger> deleted = sortedItems(changes->deletedItemPaths());
  const std::vector<NSUInteger> inserted = sortedItems(changes->insertedItemPaths());
  if (deleted.empty() && inserted.empty()) return;
  // Old positions are those before every change, so they go from the highest down; new ones those
  // after every change, so they come from the lowest up.
  impl::ShiftedIndexes indexes(*_sampleIndexes);
  for (auto item = deleted.rbegin(); item != deleted.rend(); ++item) indexes.removePlace(*item);
  for (const NSUInteger item : inserted) indexes.insertPlace(item);
  indexes.writeTo(*_sampleIndexes);
}

Ref<NSMutableArray> PLVRandomFetchedResultsSample::updateObjectsWithChanges(
    const Ref<PLVFetchedResultsChanges>& changes) const {
  Ref<NSMutableArray> objects = NSMutableArray::arrayWithArray(_objects);
  if (!changes) return objects;
  const std::vector<NSUInteger> deleted = sortedItems(changes->deletedItemPaths());
  for (auto item = deleted.rbegin(); item != deleted.rend(); ++item) {
    objects->removeObjectAtIndex(*item);
  }
  return objects;
}

}  // namespace JNFoundation
