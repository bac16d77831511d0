#pragma once

#include <JNFoundation/platform/value/NSIndexPath.h>

/// Index paths as the places of items in sections: the section at position 0, the item at 1.
///
/// A path that is too short has no item, or no section either, and says so instead of failing. A
/// null path answers what a message to null answers: 0.
/// Threads: any.
namespace JNFoundation::inline v0_1 {

/// The path [section, item]. The item comes first here, though second in the path.
Ref<NSIndexPath> plv_indexPathForItemIndexSectionIndex(NSUInteger itemIndex,
                                                       NSUInteger sectionIndex);

/// Returns: NSNotFound for an empty path.
NSUInteger plv_sectionIndex(const Ref<NSIndexPath>& path);
/// Returns: NSNotFound for a path of fewer than two positions.
NSUInteger plv_itemIndex(const Ref<NSIndexPath>& path);

}  // namespace JNFoundation
