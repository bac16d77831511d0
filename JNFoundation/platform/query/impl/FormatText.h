#pragma once

#include <string>
#include <string_view>

#include <JNFoundation/platform/query/KeyPath.h>

/// How predicates and expressions are written as formats.
namespace JNFoundation::impl {

/// In double quotes, escaped.
void appendQuoted(std::string& text, std::string_view content);

/// With "#" before keys that are keywords.
void appendKeyPath(std::string& text, const KeyPath& path);

/// Text in quotes, collections as lists, dates as a CAST; what formats cannot express is described.
void appendConstant(std::string& text, const Value& value);

}  // namespace JNFoundation::impl
