#pragma once

#include <JNFoundation/deferred/PLVRejected.h>

namespace JNFoundation::inline v0_1 {

/// A failure that was deliberately ignored, as a success value: it is no PLVRejected, so resolved
/// handlers receive it.
/// Threads: any, while nobody sets `rejected`.
class PLVRejectedIgnored : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Always an instance of this very class, also when a subclass is asked.
  static Ref<PLVRejectedIgnored> withRejected(const Ref<PLVRejected>& rejected);
  /// Takes: the failure; may be null.
  static Ref<PLVRejectedIgnored> initWithRejected(const Ref<PLVRejected>& rejected);

  /// The failure that was ignored; may be null.
  virtual Ref<PLVRejected> rejected() const { return _rejected; }
  virtual void setRejected(const Ref<PLVRejected>& rejected) { _rejected = rejected; }

  /// The default object description, followed by " (rejected)" where there is a failure.
  Ref<NSString> description() const override;

  /// The operations that make instances, for a subclass; `withRejected` is not among them.
  template <class Self, class Above>
  class ClassOperations : public Above {
   public:
    static Ref<Self> initWithRejected(const Ref<PLVRejected>& rejected) {
      Ref<Self> ignored = makeObject<Self>();
      ignored->setRejected(rejected);
      return ignored;
    }

   protected:
    using Above::Above;
  };

 protected:
  PLVRejectedIgnored() = default;

 private:
  Ref<PLVRejected> _rejected;
};

}  // namespace JNFoundation
