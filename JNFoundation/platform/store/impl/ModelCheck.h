#pragma once

#include <JNFoundation/platform/store/NSManagedObjectModel.h>

namespace JNFoundation::inline v0_1::impl {

/// Everything that keeps the model from being used, as one error; NSManagedObjectModel::validate
/// says what is looked for. A model with very many faults has the first ones told.
/// Returns: null for a whole model.
Ref<NSError> problemOfModel(const NSManagedObjectModel& model);

}  // namespace JNFoundation::impl
