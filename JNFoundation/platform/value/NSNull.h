#pragma once

#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

/// The marker that stands for null where null cannot: in collections and decoded records.
/// There is one; it describes itself as "<null>" and answers every key with itself.
/// Threads: any.
class NSNull final : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// The one null marker.
  static const Ref<NSNull>& null() noexcept;

  Ref<NSString> description() const override;
  Value valueForKey(const Ref<NSString>& key) const override;

 private:
  NSNull() = default;
};

/// The value itself, or the null marker in place of null.
inline Value orNSNull(const Value& value) { return value.isNull() ? Value(NSNull::null()) : value; }

}  // namespace JNFoundation
