#pragma once

#include <exception>

#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation::inline v0_1 {

class NSDictionary;

/// A collection that was changed during a walk, and whatever has no name of its own.
inline constexpr const char* NSGenericException = "NSGenericException";
/// An argument that is not accepted, and a message that the receiver does not answer.
inline constexpr const char* NSInvalidArgumentException = "NSInvalidArgumentException";
/// An index or a range past the end.
inline constexpr const char* NSRangeException = "NSRangeException";
/// A call that the state of the object does not allow.
inline constexpr const char* NSInternalInconsistencyException = "NSInternalInconsistencyException";
/// A key for which the object has no property.
inline constexpr const char* NSUndefinedKeyException = "NSUnknownKeyException";
/// A record that is read but is not in its store any more.
inline constexpr const char* NSObjectInaccessibleException = "NSObjectInaccessibleException";

/// What misuse raises: a name that code tests, a reason for people, and details.
///
/// Raising throws a `Raised`, a light handle around the exception, so C++ code catches
/// `const Raised&` (or `const std::exception&`) and reads `raised.exception()`.
/// Threads: any; an exception never changes.
class NSException : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Takes: the texts and details; the name must not be null, the others may.
  static Ref<NSException> exceptionWithNameReasonUserInfo(const Ref<NSString>& name,
                                                          const Ref<NSString>& reason,
                                                          const Ref<NSDictionary>& userInfo);

  /// Throws a new exception whose reason is the formatted text.
  template <class... Arguments>
  [[noreturn]] static void raiseFormat(const Ref<NSString>& name, std::string_view format,
                                       const Arguments&... arguments) {
    raiseWithReason(name, NSString::stringWithFormat(format, arguments...));
  }

  /// Throws this exception.
  [[noreturn]] void raise();

  /// What kind of misuse it was. Never null.
  const Ref<NSString>& name() const noexcept { return _name; }
  /// May be null.
  const Ref<NSString>& reason() const noexcept { return _reason; }
  /// May be null.
  const Ref<NSDictionary>& userInfo() const noexcept { return _userInfo; }

  /// The reason, or the name where there is none.
  Ref<NSString> description() const override;

 protected:
  NSException(Ref<NSString> name, Ref<NSString> reason, Ref<NSDictionary> userInfo);
  ~NSException() override;

 private:
  [[noreturn]] static void raiseWithReason(const Ref<NSString>& name, Ref<NSString> reason);

  Ref<NSString> _name;
  Ref<NSString> _reason;
  Ref<NSDictionary> _userInfo;
};

/// What is thrown when an NSException is raised.
class Raised : public std::exception {
 public:
  /// Requires: not null.
  explicit Raised(Ref<NSException> exception) noexcept : _exception(std::move(exception)) {}
  // Never moved from, so that it never loses its exception.
  Raised(const Raised&) noexcept = default;
  Raised& operator=(const Raised&) noexcept = default;

  /// Never null.
  const Ref<NSException>& exception() const noexcept { return _exception; }

  /// The reason as UTF-8, alive as long as the exception.
  const char* what() const noexcept override;

 private:
  Ref<NSException> _exception;
};

/// Raises an exception of that name with the formatted reason.
template <class... Arguments>
[[noreturn]] void raise(const char* name, std::string_view format, const Arguments&... arguments) {
  NSException::raiseFormat(name, format, arguments...);
}

}  // namespace JNFoundation
