#pragma once

#include <string>

#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation::testing {

/// What the text means; null if it is no JSON.
inline Value parsed(std::string_view text) {
  return NSJSONSerialization::JSONObjectWithTextOptionsError(text, NSJSONReadingPlain, nullptr);
}

/// The sentence of the error that reading the text gives; empty if it gives none.
inline std::string problemOf(std::string_view text) {
  Ref<NSError> error;
  const Value value =
      NSJSONSerialization::JSONObjectWithTextOptionsError(text, NSJSONReadingPlain, &error);
  if (value.isNull() != static_cast<bool>(error)) return "a value and an error, or neither";
  return error ? error->localizedDescription()->toStdString() : std::string();
}

/// The text of the value; empty if it has none.
inline std::string written(const Value& value,
                           NSJSONWritingOptions options = NSJSONWritingCompact) {
  const Ref<NSString> text =
      NSJSONSerialization::stringWithJSONObjectOptionsError(value, options, nullptr);
  return text ? text->toStdString() : std::string();
}

/// As many brackets, one in the other.
inline std::string nested(std::size_t depth, std::string_view innermost = "") {
  return std::string(depth, '[') + std::string(innermost) + std::string(depth, ']');
}

}  // namespace JNFoundation::testing
