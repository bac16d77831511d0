#pragma once

#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation {

/// Equality of arrays, ordered sets, dictionaries and sets by content.
///
/// Containers inside containers are compared on an explicit stack, so nesting of any depth costs no
/// native stack. Only members of sets, and keys, are looked up by calls that nest; past
/// `nestingLimit` such levels NSGenericException is raised.
class ContainerEquality {
 public:
  static constexpr int nestingLimit = 500;

  static bool equal(const NSObject& left, const Value& right);
};

}  // namespace JNFoundation
