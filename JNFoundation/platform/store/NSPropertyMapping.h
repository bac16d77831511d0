#pragma once

#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation::inline v0_1 {

/// Where one property of a migrated entity comes from; part of an NSEntityMapping.
/// Threads: any.
class NSPropertyMapping : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// What the property is called in the new model.
  const Ref<NSString>& name() const noexcept { return _name; }
  /// What it was called. Null for a property that is new, or that the application fills itself.
  const Ref<NSString>& sourceName() const noexcept { return _sourceName; }

  /// "title", "title <- name" or "title (new)".
  Ref<NSString> description() const override;

 protected:
  NSPropertyMapping(Ref<NSString> name, Ref<NSString> sourceName);
  ~NSPropertyMapping() override;

 private:
  Ref<NSString> _name;
  Ref<NSString> _sourceName;
};

}  // namespace JNFoundation
