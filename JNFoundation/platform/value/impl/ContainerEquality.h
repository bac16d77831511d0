#pragma once

#include <cstddef>

#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

class NSDictionary;
class NSSet;

/// Equality of arrays, ordered sets, dictionaries and sets by content.
///
/// Containers inside containers are compared on an explicit stack, so nesting of any depth costs no
/// native stack; containers that contain themselves are equal where no difference can be found.
/// Only where members of sets and keys are looked up, and where a class of an application compares
/// containers of its own, one comparison runs inside another; past `nestingLimit` of them
/// NSGenericException is raised.
///
/// What is changed meanwhile, by an application's isEqual, compares somehow, but safely.
class ContainerEquality {
 public:
  static constexpr int nestingLimit = 250;

  /// Requires: `left` is a container.
  static bool equal(const NSObject& left, const Value& right);

 private:
  enum class Kind { None, Array, OrderedSet, Dictionary, Set };
  enum class Outcome { Equal, Different, Nested };

  /// Two containers of one kind and how far they were compared.
  struct Frame {
    Value left;
    Value right;
    Kind kind;
    std::size_t next = 0;
  };
  class Nesting;
  class Comparison;

  static Kind kindOf(const Class& cls);
  static Kind plainKindOf(const Class& cls);
  static std::size_t countOf(const NSObject& container, Kind kind);
  static Outcome compareMembers(const Value& left, const Value& right);
  static Outcome advance(Frame& frame, Value& left, Value& right);
  static Outcome advanceDictionary(Frame& frame, Value& left, Value& right);
  static bool setsAreEqual(const NSSet& left, const NSSet& right);
};

}  // namespace JNFoundation
