#pragma once

#include <JNFoundation/platform/value/SEL.h>
#include <JNFoundation/platform/value/Value.h>
#include <JNFoundation/platform/value/Weak.h>

namespace JNFoundation::inline v0_1 {

/// A target and a one-argument action, to be performed later.
///
///     auto action = PLVTargetAction::initWithTargetAction(Value(this), "trim:");
///     Value trimmed = action->performWithObject(" Ann ");
///
/// Takes: the target weakly; once it is gone the target reads as null. A class as the target is
/// performed on the class itself.
/// Threads: the pair has no lock of its own.
class PLVTargetAction : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Takes: the target weakly; null for none.
  static Ref<PLVTargetAction> initWithTargetAction(const Value& target, SEL action);

  /// Sends the action to the target with the object, which may be null, as its argument.
  /// Returns: what the action returns; null without a target.
  /// Fails: raises NSInvalidArgumentException for a target that does not answer the action.
  Value performWithObject(const Value& object) const;

  /// Null when there is none, or none any more.
  Value target() const noexcept;
  void setTarget(const Value& target);
  /// The message that is sent. May be the null selector.
  SEL action() const noexcept { return _action; }
  void setAction(SEL action) noexcept { _action = action; }

  template <class Self, class Above>
  class ClassOperations : public Above {
   public:
    static Ref<Self> initWithTargetAction(const Value& target, SEL action) {
      return makeObject<Self>(target, action);
    }

   protected:
    using Above::Above;
  };

 protected:
  PLVTargetAction(const Value& target, SEL action);

 private:
  Weak<NSObject> _object;
  /// The target where it is no object: a class.
  Value _inlineTarget;
  SEL _action;
};

}  // namespace JNFoundation
