#pragma once

#include <JNFoundation/mapping/PLVDataMapFilter.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>

namespace JNFoundation::inline v0_1 {

/// Attaches the filter that mappings onto objects of this context use; the context keeps it alive.
/// Null detaches. Threads: any; a reader on another thread gets the old filter or the new one.
void plv_setDataMapFilter(const Ref<NSManagedObjectContext>& context,
                          const Ref<PLVDataMapFilter>& filter);

/// The attached filter. Returns: null where there is none, and for a null context. Threads: any.
Ref<PLVDataMapFilter> plv_dataMapFilter(const Ref<NSManagedObjectContext>& context);

}  // namespace JNFoundation
