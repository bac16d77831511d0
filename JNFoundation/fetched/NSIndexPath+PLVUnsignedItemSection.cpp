#include "JNFoundation/fetched/NSIndexPath+PLVUnsignedItemSection.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace JNFoundation::inline v0_1 {
namespace {

const ClassDeclaration<NSIndexPath> declarationOfNSIndexPathPLVUnsignedItemSection =
    ClassDeclaration<NSIndexPath>()
        .classOperation("plv_indexPathForItemIndex:sectionIndex:",
                        &plv_indexPathForItemIndexSectionIndex)
        .operation("plv_sectionIndex",
                   [](const NSIndexPath& path) { return path.indexAtPosition(0); })
        .operation("plv_itemIndex",
                   [](const NSIndexPath& path) { return path.indexAtPosition(1); });

}  // namespace

Ref<NSIndexPath> plv_indexPathForItemIndexSectionIndex(NSUInteger itemIndex,
                                                       NSUInteger sectionIndex) {
  return NSIndexPath::indexPathWithIndexes({sectionIndex, itemIndex});
}

NSUInteger plv_sectionIndex(const Ref<NSIndexPath>& path) {
  return path ? path->indexAtPosition(0) : 0;
}

NSUInteger plv_itemIndex(const Ref<NSIndexPath>& path) {
  return path ? path->indexAtPosition(1) : 0;
}

}  // namespace JNFoundation
