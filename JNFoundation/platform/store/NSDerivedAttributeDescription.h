#pragma once

#include <JNFoundation/platform/store/NSAttributeDescription.h>

namespace JNFoundation::inline v0_1 {

/// An attribute whose value follows from other values of the object, such as the lower-case form of
/// a name or the count of related objects.
///
/// The description is read from a model, kept whole and written back. Nothing computes the value
/// yet: the store keeps whatever the application sets, as it does of every attribute.
/// Threads: see NSPropertyDescription.
class NSDerivedAttributeDescription : public NSAttributeDescription {
 public:
  using Superclass = NSAttributeDescription;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// An optional attribute without a name, of undefined type.
  static Ref<NSDerivedAttributeDescription> init();

  /// As data models write it, e.g. `lowercase:(name)` or `now()`. Null until it is set.
  const Ref<NSString>& derivationExpression() const noexcept { return _derivationExpression; }
  void setDerivationExpression(const Ref<NSString>& expression);

  bool isEqual(const Value& other) const override;

 protected:
  NSDerivedAttributeDescription();
  ~NSDerivedAttributeDescription() override;

 private:
  Ref<NSString> _derivationExpression;
};

}  // namespace JNFoundation
