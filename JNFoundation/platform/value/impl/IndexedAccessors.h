#pragma once

#include <string_view>

#include <JNFoundation/platform/value/NSArray.h>

namespace JNFoundation::inline v0_1::impl {

/// The array that an object keeps behind `countOfKey` and `objectInKeyAtIndex:` or
/// `keyAtIndexes:`, or the set that it keeps behind `countOfKey`, `enumeratorOfKey`, which gives an
/// array or a set of the members, and `memberOfKey:`. It asks the object anew each time, and keeps
/// it alive. Returns: null where the object's class declares no such operations.
Value collectionOfAccessors(const NSObject& object, std::string_view key);

}  // namespace JNFoundation::impl
