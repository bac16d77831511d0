#include "JNFoundation/fetched/PLVFetchedResultsItemMove.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace JNFoundation::inline v0_1 {

constinit const Class PLVFetchedResultsItemMove::classObject =
    Class::of<PLVFetchedResultsItemMove>("PLVFetchedResultsItemMove");

namespace {

const ClassDeclaration<PLVFetchedResultsItemMove> declarationOfPLVFetchedResultsItemMove =
    ClassDeclaration<PLVFetchedResultsItemMove>()
        .property("fromIndexPath", &PLVFetchedResultsItemMove::fromIndexPath)
        .property("toIndexPath", &PLVFetchedResultsItemMove::toIndexPath);

}  // namespace

Ref<PLVFetchedResultsItemMove> PLVFetchedResultsItemMove::initWithFromTo(
    const Ref<NSIndexPath>& from, const Ref<NSIndexPath>& to) {
  return makeObject<PLVFetchedResultsItemMove>(from, to);
}

}  // namespace JNFoundation
