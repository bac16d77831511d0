#pragma once

#include <JNFoundation/platform/value/NSError.h>

namespace JNFoundation::inline v0_1 {

/// The domain of the data layer's errors.
inline constexpr const char* PLVDataErrorDomain = "PLVDataErrorDomain";

/// The error class of the data layer; adds nothing to its base.
class PLVDataError : public NSError {
 public:
  using Superclass = NSError;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// As of the base, of this class.
  static Ref<PLVDataError> errorWithDomainCodeUserInfo(const Ref<NSString>& domain, NSInteger code,
                                                       const Ref<NSDictionary>& userInfo);

 protected:
  using NSError::NSError;
};

}  // namespace JNFoundation
