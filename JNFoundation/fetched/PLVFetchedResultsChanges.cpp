#include "JNFoundation/fetched/PLVFetchedResultsChanges.h"

#include <JNFoundation/fetched/NSIndexPath+PLVUnsignedItemSection.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class PLVFetchedResultsChanges::classObject =
    Class::of<PLVFetchedResultsChanges>("PLVFetchedResultsChanges");

namespace {

using Changes = PLVFetchedResultsChanges;

const ClassDeclaration<Changes> declarationOfChanges =
    ClassDeclaration<Changes>()
        .factory([]() -> Ref<NSObject> { return Changes::init(); })
        .property("options", &Changes::options)
        .property("deletedSections", &Changes::deletedSections)
        .property("insertedSections", &Changes::insertedSections)
        .property("deletedItemPaths", &Changes::deletedItemPaths)
        .property("insertedItemPaths", &Changes::insertedItemPaths)
        .property("updatedItemPaths", &Changes::updatedItemPaths)
        .property("movedItems", &Changes::movedItems)
        .property("userInfo", &Changes::userInfo, &Changes::setUserInfo)
        .operation("objectForKeyedSubscript:", &Changes::objectForKeyedSubscript)
        .operation("setObject:forKeyedSubscript:", &Changes::setObjectForKeyedSubscript);

}  // namespace

PLVFetchedResultsChanges::PLVFetchedResultsChanges(NSUInteger options)
    : _options(options),
      _deletedSections(NSMutableIndexSet::indexSet()),
      _insertedSections(NSMutableIndexSet::indexSet()),
      _deletedItemPaths(NSMutableArray::array()),
      _insertedItemPaths(NSMutableArray::array()),
      _updatedItemPaths(NSMutableArray::array()),
      _movedItems(NSMutableArray::array()) {}

Ref<PLVFetchedResultsChanges> PLVFetchedResultsChanges::init() {
  return initWithOptions(keepsMoves);
}

Ref<PLVFetchedResultsChanges> PLVFetchedResultsChanges::initWithOptions(NSUInteger options) {
  return makeObject<PLVFetchedResultsChanges>(options);
}

void PLVFetchedResultsChanges::changeSectionAtIndexForChangeType(
    const Ref<NSFetchedResultsSectionInfo>&, NSUInteger index, NSFetchedResultsChangeType type) {
  if (type == NSFetchedResultsChangeDelete) _deletedSections->addIndex(index);
  if (type == NSFetchedResultsChangeInsert) _insertedSections->addIndex(index);
}

void PLVFetchedResultsChanges::changeObjectAtIndexPathForChangeTypeNewIndexPath(
    const Ref<NSIndexPath>& path, NSFetchedResultsChangeType type,
    const Ref<NSIndexPath>& newPath) {
  switch (type) {
    case NSFetchedResultsChangeInsert:
      if (_insertedSections->containsIndex(plv_sectionIndex(newPath))) return;
      return _insertedItemPaths->addObject(newPath);
    case NSFetchedResultsChangeDelete:
      if (_deletedSections->containsIndex(plv_sectionIndex(path))) return;
      return _deletedItemPaths->addObject(path);
    case NSFetchedResultsChangeMove:
      return moveItem(path, newPath);
    case NSFetchedResultsChangeUpdate:
      return _updatedItemPaths->addObject(path);
  }
}

void PLVFetchedResultsChanges::moveItem(const Ref<NSIndexPath>& from, const Ref<NSIndexPath>& to) {
  const bool sourceIsGone = _deletedSections->containsIndex(plv_sectionIndex(from));
  const bool targetIsNew = _insertedSections->containsIndex(plv_sectionIndex(to));
  if (sourceIsGone && targetIsNew) return;
  if (sourceIsGone) return _insertedItemPaths->addObject(to);
  if (targetIsNew) return _deletedItemPaths->addObject(from);
  if (!from || !to) {
    raise(NSInvalidArgumentException,
          "-[PLVFetchedResultsChanges changeObjectAtIndexPath:forChangeType:newIndexPath:]: a move "
          "needs both paths");
  }
  if ((_options & keepsMoves) != 0) {
    _movedItems->addObject(PLVFetchedResultsItemMove::initWithFromTo(from, to));
  } else {
    _deletedItemPaths->addObject(from);
    _insertedItemPaths->addObject(to);
  }
}

Value PLVFetchedResultsChanges::objectForKeyedSubscript(const Value& key) const {
  return _userInfo ? _userInfo->objectForKey(key) : Value();
}

void PLVFetchedResultsChanges::setObjectForKeyedSubscript(const Value& object, const Value& key) {
  if (!_userInfo) _userInfo = NSMutableDictionary::dictionary();
  // Held, since letting go of the old object may run anything.
  const Ref<NSMutableDictionary> userInfo = _userInfo;
  if (object.isNull()) {
    userInfo->removeObjectForKey(key);
  } else {
    userInfo->setObjectForKey(object, key);
  }
}

}  // namespace JNFoundation
