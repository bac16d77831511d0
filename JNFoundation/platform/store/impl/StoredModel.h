#pragma once

#include <string>

#include <JNFoundation/platform/store/NSManagedObjectModel.h>

namespace JNFoundation::inline v0_1::impl {

/// The text by which a store remembers the model that it was made with: the model's own XML text,
/// of what decides about the file only. Entities, their descent, properties with types and flags,
/// indexes, constraints and renaming identifiers are in it; defaults, bounds, user info, fetch
/// requests and configurations are not.
/// Returns: an empty text for a model that has no such form (a name with a control character).
std::string storedModelText(const NSManagedObjectModel& model);

/// 16 hexadecimal digits that differ where the text differs.
std::string storedModelHash(std::string_view text);

/// The model of the text, immutable.
/// Returns: null for text that is not whole, or is not the one of the hash.
Ref<NSManagedObjectModel> modelOfStoredText(std::string_view text, std::string_view hash);

}  // namespace JNFoundation::impl
