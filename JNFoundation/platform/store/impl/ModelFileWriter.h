#pragma once

#include <string>

#include <JNFoundation/platform/store/NSManagedObjectModel.h>

namespace JNFoundation::inline v0_1::impl {

/// Writes the model's text into a file, or into a `.xcdatamodel` directory, which is made where
/// there is none. What was there is replaced whole or not at all.
/// Fails: returns false and sets the error, which may be null.
bool writeModelFile(const NSManagedObjectModel& model, const std::string& path,
                    Ref<NSError>* error);

}  // namespace JNFoundation::impl
