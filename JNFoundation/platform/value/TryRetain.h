#pragma once

#include <JNFoundation/platform/value/NSObject.h>

namespace JNFoundation::inline v0_1 {

/// Takes a reference, to be adopted, unless the last one has gone already: for tables of objects
/// that they do not keep alive and that take themselves out when they are destroyed. Returns:
/// whether it was taken. Requires: the object's memory is still there, that is, its destructor has
/// not run to its end. Threads: any.
bool tryRetain(const NSObject& object) noexcept;

}  // namespace JNFoundation
