#pragma once

#include <JNFoundation/platform/value/NSArray.h>

namespace JNFoundation {

/// The first element. Returns: null for an empty array and for null.
Value plv_firstObject(const Ref<NSArray>& array);

/// The element at the index. Returns: null at or past the end and for null; never fails.
Value jn_safelyGetObjectAtIndex(const Ref<NSArray>& array, NSUInteger index);

}  // namespace JNFoundation
