#pragma once

#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation::inline v0_1::impl {

/// The name among those given that a writer may have meant: the same but for upper and lower case,
/// or some letters too many, missing, changed or swapped with their neighbours, fewer than a third.
/// Returns: null where none is near, and for names that are very long.
Ref<NSString> nearestName(const Ref<NSString>& name, const Ref<NSArray>& names);

}  // namespace JNFoundation::impl
