#pragma once

#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation::inline v0_1 {

/// What a notification centre hands to those who wait for a name: that something happened, to whom,
/// and what belongs to it.
///
/// Threads: any; it never changes. What its user info holds has rules of its own.
class NSNotification : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Takes: null for no object and no user info. Fails: raises NSInvalidArgumentException for a
  /// null name.
  static Ref<NSNotification> notificationWithNameObjectUserInfo(
      const Ref<NSString>& name, const Value& object, const Ref<NSDictionary>& userInfo = nullptr);

  /// What has happened. Never null.
  const Ref<NSString>& name() const noexcept { return _name; }
  /// Whom it is about; null for nobody in particular.
  const Value& object() const noexcept { return _object; }
  /// Null for none.
  const Ref<NSDictionary>& userInfo() const noexcept { return _userInfo; }

  Ref<NSString> description() const override;

 protected:
  NSNotification(Ref<NSString> name, Value object, Ref<NSDictionary> userInfo);
  ~NSNotification() override;

 private:
  Ref<NSString> _name;
  Value _object;
  Ref<NSDictionary> _userInfo;
};

}  // namespace JNFoundation
