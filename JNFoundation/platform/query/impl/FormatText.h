#pragma once

#include <string>
#include <string_view>

#include <JNFoundation/platform/query/KeyPath.h>

namespace JNFoundation::inline v0_1 {
class NSDecimalNumber;
}

/// How predicates and expressions are written as formats.
namespace JNFoundation::inline v0_1::impl {

/// In double quotes, escaped.
void appendQuoted(std::string& text, std::string_view content);

/// With "#" before keys that are keywords.
void appendKeyPath(std::string& text, const KeyPath& path);

/// As a CAST, which is read back as a decimal number and not as a double.
void appendDecimal(std::string& text, const NSDecimalNumber& decimal);

/// Text in quotes, collections as lists, dates as a CAST, and so are decimal numbers that a literal
/// would change; what formats cannot express is described.
void appendConstant(std::string& text, const Value& value);

}  // namespace JNFoundation::impl
