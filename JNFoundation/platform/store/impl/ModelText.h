#pragma once

#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include <JNFoundation/platform/store/NSAttributeDescription.h>
#include <JNFoundation/platform/store/NSFetchIndexElementDescription.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/text/RealNumber.h>

namespace JNFoundation::inline v0_1::impl {

/// The texts that stand for types, rules, flags and values in data-model files.

/// Returns: nothing for an unknown name; the empty name is the undefined type.
std::optional<NSAttributeType> attributeTypeNamed(std::string_view name);
/// Returns: an empty name for the undefined type.
std::string_view writtenNameOfType(NSAttributeType type) noexcept;

std::optional<NSDeleteRule> deleteRuleNamed(std::string_view name);
std::string_view nameOfDeleteRule(NSDeleteRule rule);

/// Returns: nothing for an unknown name; the empty name is the binary type.
std::optional<NSFetchIndexElementType> indexTypeNamed(std::string_view name);
std::string_view nameOfIndexType(NSFetchIndexElementType type);

/// The type of the bounds of values of the type: of texts and data the length is bounded.
NSAttributeType typeOfBounds(NSAttributeType type);

std::optional<bool> flagFromModelText(std::string_view text);

/// A value of the type; dates are seconds since 2001.
/// Returns: null for a text that is none, and for types whose values have no text.
Value valueFromModelText(std::string_view text, NSAttributeType type);
/// The text that reads back to the value, to the type's own precision.
/// Returns: nothing where there is none.
std::optional<std::string> modelTextFromValue(const Value& value, NSAttributeType type);

/// The number that the whole text is. Returns: nothing for every other text.
template <class Number>
std::optional<Number> numberFromModelText(std::string_view text) {
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  Number number{};
  const char* end = text.data() + text.size();
  const auto result = [&] {
    if constexpr (std::is_floating_point_v<Number>) {
      return realFromChars(text.data(), end, number);
    } else {
      return std::from_chars(text.data(), end, number);
    }
  }();
  if (text.empty() || result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return number;
}

}  // namespace JNFoundation::impl
