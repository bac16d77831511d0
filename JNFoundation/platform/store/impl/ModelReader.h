#pragma once

#include <string>
#include <string_view>

#include <JNFoundation/platform/store/NSManagedObjectModel.h>

namespace JNFoundation::inline v0_1::impl {

/// Reads a model from the text of a `contents` file.
/// Takes: the file's path for errors to name; empty for a text that is of no file.
/// Fails: returns null and sets the error, which may be null.
Ref<NSManagedObjectModel> readModelText(std::string_view xml, const std::string& path,
                                        Ref<NSError>* error);

}  // namespace JNFoundation::impl
