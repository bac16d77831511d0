#pragma once

#include <cstdint>

#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/value/SEL.h>

namespace JNFoundation::inline v0_1::impl {

/// A rule's destination string, "filter|name" or "filter|message:", held against an entity: what
/// maps are built of, and what is said about rules without building any.
struct MapDestination {
  enum class Verdict : std::uint8_t {
    Attribute,
    Message,
    // None of the rest makes a map.
    UnknownAttribute,
    UnmappableType,
    UnknownClass,
    UnknownMessage,
    UnsuitableMessage,
  };

  static MapDestination of(const Ref<NSString>& destination,
                           const Ref<NSEntityDescription>& entity);

  bool makesMap() const noexcept { return verdict <= Verdict::Message; }
  /// Whether the name is one of a message.
  bool namesMessage() const noexcept {
    return verdict == Verdict::Message || verdict >= Verdict::UnknownClass;
  }

  Verdict verdict = Verdict::UnknownAttribute;
  /// Null for none; may be empty.
  Ref<NSString> filter;
  /// What follows the filter. Null for a null destination.
  Ref<NSString> name;
  /// Null for messages, and where there is none of the name.
  Ref<NSAttributeDescription> attribute;
  /// Of a message that makes a map.
  SEL selector;
  bool returnsVoid = false;
  /// What the log says of a destination that makes no map; null for one that does.
  Ref<NSString> objection;
};

}  // namespace JNFoundation::impl
