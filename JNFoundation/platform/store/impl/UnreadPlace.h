#pragma once

#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1::impl {

/// What stands in the place of a value that a fault has not read, while it has read others.
const Value& unreadPlace();
inline bool isUnreadPlace(const Value& place) { return place.isIdentical(unreadPlace()); }

}  // namespace JNFoundation::impl
