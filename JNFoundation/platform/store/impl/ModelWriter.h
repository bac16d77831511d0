#pragma once

#include <JNFoundation/platform/store/NSManagedObjectModel.h>

namespace JNFoundation::inline v0_1::impl {

/// The text of a `contents` file that is read back to an equal model.
/// Fails: returns null and sets the error, which may be null.
Ref<NSString> modelText(const NSManagedObjectModel& model, Ref<NSError>* error);

}  // namespace JNFoundation::impl
