#pragma once

#include <string>

#include <JNFoundation/platform/store/NSManagedObjectModel.h>

namespace JNFoundation::inline v0_1::impl {

/// Reads a model from a `contents` file, a `.xcdatamodel` directory or a `.xcdatamodeld` directory.
/// Fails: returns null and sets the error, which may be null.
Ref<NSManagedObjectModel> readModelFile(const std::string& path, Ref<NSError>* error);

}  // namespace JNFoundation::impl
