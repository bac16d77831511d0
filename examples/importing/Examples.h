#pragma once

#include <string>

#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/mapping/PLVManagedObject.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/value/NSArray.h>

namespace examples {

using namespace JNFoundation;

class Country;

/// A context of the main queue over a store in memory.
Ref<NSManagedObjectContext> open();
/// Records in JSON.
Ref<NSArray> decoded(const char* text);

Ref<PLVDeferred> importFeed(const Ref<NSManagedObjectContext>& context,
                            const Ref<NSArray>& records);
Ref<PLVDeferred> importFeedText(const Ref<NSManagedObjectContext>& context, std::string json);
Ref<PLVDeferred> importRegions(const Ref<NSManagedObjectContext>& context,
                               const Ref<NSArray>& records);
Ref<PLVDeferred> listNames(const Ref<NSManagedObjectContext>& context);

}  // namespace examples
