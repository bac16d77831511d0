#pragma once

#include <string>

#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation {

/// Writes containers as old-style property lists: one element a line, four spaces a level, strings
/// quoted where they hold more than letters, digits and a few signs.
class DescriptionWriter {
 public:
  /// Containers nested deeper than this are written as "...", which also ends cycles.
  static constexpr int nestingLimit = 64;

  static Ref<NSString> describe(const NSObject& container);

 private:
  void write(const Value& value, int level);
  void writeContainer(const Value& value, int level);
  void indent(int level);

  std::string _text;
};

}  // namespace JNFoundation
