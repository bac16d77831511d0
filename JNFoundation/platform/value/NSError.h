#pragma once

#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation::inline v0_1 {

class NSDictionary;

/// The domain of the errors of files, texts and object stores.
inline constexpr const char* NSCocoaErrorDomain = "NSCocoaErrorDomain";
/// The domain of errors of the operating system; the code is its errno.
inline constexpr const char* NSPOSIXErrorDomain = "NSPOSIXErrorDomain";

// Keys of an error's details: the text that stands for the whole, what could not be done, why, and
// what may help; all strings.
inline constexpr const char* NSLocalizedDescriptionKey = "NSLocalizedDescription";
inline constexpr const char* NSLocalizedFailureErrorKey = "NSLocalizedFailure";
inline constexpr const char* NSLocalizedFailureReasonErrorKey = "NSLocalizedFailureReason";
inline constexpr const char* NSLocalizedRecoverySuggestionErrorKey =
    "NSLocalizedRecoverySuggestion";
/// The NSError that caused this one.
inline constexpr const char* NSUnderlyingErrorKey = "NSUnderlyingError";
/// A text for developers.
inline constexpr const char* NSDebugDescriptionErrorKey = "NSDebugDescription";
/// The path of the file, a string.
inline constexpr const char* NSFilePathErrorKey = "NSFilePath";
/// The address, an NSURL.
inline constexpr const char* NSURLErrorKey = "NSURL";
/// The number of a text's encoding.
inline constexpr const char* NSStringEncodingErrorKey = "NSStringEncoding";

/// What went wrong: a domain, a code within it, and details. An expected failure is returned, never
/// thrown.
///
///     NSError::errorWithDomainCodeUserInfo("Upload", 3, NSDictionary::dictionaryWithEntries(
///         {{NSLocalizedDescriptionKey, "The photo is too large."}}))
///
/// Threads: any; an error never changes.
class NSError : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Takes: details of the error, copied if they are mutable; null is an empty dictionary.
  /// Fails: raises NSInvalidArgumentException for a null domain.
  static Ref<NSError> errorWithDomainCodeUserInfo(const Ref<NSString>& domain, NSInteger code,
                                                  const Ref<NSDictionary>& userInfo) {
    return makeObject<NSError>(domain, code, userInfo);
  }

  template <class Self, class Above>
  class ClassOperations : public Above {
   public:
    static Ref<Self> errorWithDomainCodeUserInfo(const Ref<NSString>& domain, NSInteger code,
                                                 const Ref<NSDictionary>& userInfo) {
      return makeObject<Self>(domain, code, userInfo);
    }

   protected:
    using Above::Above;
  };

  /// Whose code it is. Never null.
  const Ref<NSString>& domain() const noexcept { return _domain; }
  /// What went wrong, as a number of the domain.
  NSInteger code() const noexcept { return _code; }
  /// Never null.
  const Ref<NSDictionary>& userInfo() const noexcept { return _userInfo; }

  /// A sentence for people, never null: NSLocalizedDescription of the details; else
  /// NSLocalizedFailure with the failure reason behind it; else what the domain's provider says;
  /// else "The operation couldn’t be completed." with the failure reason or with domain and code.
  virtual Ref<NSString> localizedDescription() const;
  // From the details or the domain's provider; null if neither has it.
  virtual Ref<NSString> localizedFailureReason() const;
  virtual Ref<NSString> localizedRecoverySuggestion() const;
  /// The error that caused this one; null if there is none.
  Ref<NSError> underlyingError() const;

  /// What a domain says of its errors where their details do not: asked with an error and a key
  /// of its details; null where it has nothing.
  using UserInfoValueProvider = Block<Value(const NSError& error, const Ref<NSString>& key)>;
  /// Replaces the provider of the domain; null removes it.
  static void setUserInfoValueProviderForDomainProvider(const Ref<NSString>& domain,
                                                        UserInfoValueProvider provider);

  /// Same domain, same code, equal details.
  bool isEqual(const Value& other) const override;
  std::size_t hash() const override;
  /// Error Domain=NSCocoaErrorDomain Code=134060 "A sentence." UserInfo={reason=why}. The quoted
  /// text is (null) without a description; empty details are left out.
  Ref<NSString> description() const override;

 protected:
  NSError(const Ref<NSString>& domain, NSInteger code, const Ref<NSDictionary>& userInfo);
  ~NSError() override;

 private:
  Value detail(std::string_view key) const;
  Ref<NSString> textDetail(std::string_view key) const;
  Ref<NSString> providedText(std::string_view key) const;

  Ref<NSString> _domain;
  NSInteger _code;
  Ref<NSDictionary> _userInfo;
};

}  // namespace JNFoundation
