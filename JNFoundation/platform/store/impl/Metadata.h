#pragma once

#include <string>
#include <string_view>

#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation::inline v0_1::impl {

/// The text that keeps an entry of a store's metadata: JSON, in which a date, data or a decimal
/// stands as an object of one key, "$date", "$data" or "$decimal".
/// Returns: false for what is no plain value, that is a text, number, date, data, NSNull, or an
/// array or dictionary of such with texts as keys, nested at most 100 deep.
bool metadataText(const Value& value, std::string& text);

/// Reads it back. Returns: null for text that `metadataText` did not write.
Value metadataValue(std::string_view text);

/// The entries of a dictionary that are an application's own: those that stores make themselves
/// are left out. Null counts as none.
/// Returns: null, with a sentence in `problem`, if the name of one is no text, or its value is not
/// plain.
Ref<NSDictionary> ownMetadata(const Ref<NSDictionary>& metadata, std::string& problem);

}  // namespace JNFoundation::impl
