#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "Command.h"

#include <JNFoundation/platform/value/Value.h>

namespace jnmap {

using namespace JNFoundation;

/// A file of records in JSON, and how to find them in it.
class RecordSource {
 public:
  /// The options --at and --max-size, which fill this in.
  std::vector<Option> options();

  /// Gives every record, or what stands in its place, until the block returns false. A file that
  /// holds one object has that one record. Of a list that is the whole file one record at a time is
  /// in memory. Fails: throws Failure, which names the file and what is wrong with it.
  void enumerate(const std::string& path, const std::function<bool(const Value&)>& take) const;

 private:
  std::size_t _longest = std::size_t{256} << 20;
  /// The key of the list of records in an object. Empty for none.
  std::string _at;
};

}  // namespace jnmap
