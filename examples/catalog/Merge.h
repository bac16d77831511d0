#pragma once

#include <string>

#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/value/NSArray.h>

namespace catalog {

using namespace JNFoundation;

/// What became of the records of one list.
struct MergeCounts {
  NSUInteger inserted = 0;
  NSUInteger updated = 0;
  /// Records without a code, which nothing can identify.
  NSUInteger skipped = 0;

  NSUInteger total() const { return inserted + updated + skipped; }
};

/// Called after each slice of a merge. Threads: the main thread.
using MergeProgress = Block<void(const Ref<NSString>& entityName, NSUInteger done, NSUInteger all)>;

/// Merges every record into the object of the entity that has its code, or into a new one, a few
/// milliseconds at a time, so that the main queue gets on with other things in between.
/// Returns: a deferred of null, once all are merged; the counts are complete then. Nothing is
/// saved. Fails: rejects with an NSError, or with what a record's setter raised. Requires: the
/// counts outlive the deferred's chain.
Ref<PLVDeferred> mergeRecords(const Ref<NSArray>& records, const Ref<NSString>& entityName,
                              const Ref<NSManagedObjectContext>& context, MergeProgress progress,
                              MergeCounts& counts);

}  // namespace catalog
