#pragma once

#include <vector>

#include <JNFoundation/platform/store/NSCoreDataErrors.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {

/// An error of NSCocoaErrorDomain with a sentence for people and further details.
Ref<NSError> cocoaError(NSInteger code, const Ref<NSString>& sentence,
                        std::vector<NSDictionary::Pair> details = {});

/// One error for a list of them: the only one itself, several as one that lists them.
/// Requires: at least one.
Ref<NSError> joinedErrors(const std::vector<Ref<NSError>>& errors);

/// Adds the error to the list, one that lists several as these.
void appendErrors(const Ref<NSError>& error, std::vector<Ref<NSError>>& errors);

/// Thrown where related rows cannot be read, past whatever asks for them, to the fetch that they
/// are read for; it gives the error.
struct UnreadableRows {
  Ref<NSError> error;
};

/// What is raised where an object cannot be read, as an error of code 133000.
/// Returns: null for everything else that is raised.
Ref<NSError> errorFromInaccessibleObject(const Raised& raised);

/// Runs the work of an operation that has an error to give, and gives one where records that it
/// needs on the way cannot be read. Everything else that is raised goes on.
template <class Work, class Result>
Result orError(Work&& work, Result failure, Ref<NSError>* error) {
  try {
    return work();
  } catch (const UnreadableRows& unreadable) {
    if (error) *error = unreadable.error;
  } catch (const Raised& raised) {
    Ref<NSError> reason = errorFromInaccessibleObject(raised);
    if (!reason) throw;
    if (error) *error = std::move(reason);
  }
  return failure;
}

/// Hands the error out where somebody asked for it.
/// Returns: false, so that a failing operation may return it.
inline bool fail(Ref<NSError>* error, Ref<NSError> reason) {
  if (error) *error = std::move(reason);
  return false;
}

}  // namespace JNFoundation::impl
