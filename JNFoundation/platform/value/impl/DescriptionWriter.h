#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

/// Writes containers as old-style property lists: one element a line, four spaces a level, strings
/// quoted where they hold more than letters, digits and a few signs.
///
/// "..." stands for a container nested deeper than `nestingLimit`, for one that contains itself,
/// and for all that would follow on `sizeLimit` bytes of text. The limits hold together for all
/// descriptions that run inside one another on a thread, an application's own between them.
class DescriptionWriter {
 public:
  static constexpr std::size_t nestingLimit = 64;
  static constexpr std::size_t sizeLimit = std::size_t{64} << 20;

  /// Requires: a container.
  static Ref<NSString> describe(const NSObject& container);

 private:
  class Opened;

  void write(const Value& value, std::size_t level);
  void writeContainer(const Value& container, std::size_t level);
  void writeMembers(const std::vector<Value>& members, std::size_t level);
  void writePairs(const std::vector<std::pair<Value, Value>>& pairs, std::size_t level);
  void indent(std::size_t level) { _text.append(level * 4, ' '); }
  bool isFull() const;

  std::string _text;
};

}  // namespace JNFoundation
