#pragma once

#include <vector>

#include <JNFoundation/platform/store/NSCoreDataErrors.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSError.h>

namespace JNFoundation::impl {

/// An error of NSCocoaErrorDomain with a sentence for people and further details.
Ref<NSError> cocoaError(NSInteger code, const Ref<NSString>& sentence,
                        std::vector<NSDictionary::Pair> details = {});

/// One error for a list of them: the only one itself, several as one that lists them.
/// Requires: at least one.
Ref<NSError> joinedErrors(const std::vector<Ref<NSError>>& errors);

/// Adds the error to the list, one that lists several as these.
void appendErrors(const Ref<NSError>& error, std::vector<Ref<NSError>>& errors);

/// Hands the error out where somebody asked for it.
/// Returns: false, so that a failing operation may return it.
inline bool fail(Ref<NSError>* error, Ref<NSError> reason) {
  if (error) *error = std::move(reason);
  return false;
}

}  // namespace JNFoundation::impl
