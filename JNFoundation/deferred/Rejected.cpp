#include "JNFoundation/deferred/Rejected.h"

#include <cstdlib>
#include <memory>
#include <typeinfo>
#if __has_include(<cxxabi.h>)
#include <cxxabi.h>
#endif

#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {
namespace {

#if __has_include(<cxxabi.h>)
Ref<NSString> nameOfType(const std::type_info& type) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> name(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
  return status == 0 && name ? name.get() : type.name();
}

const std::type_info* currentExceptionType() { return abi::__cxa_current_exception_type(); }
#else
Ref<NSString> nameOfType(const std::type_info& type) { return type.name(); }

const std::type_info* currentExceptionType() { return nullptr; }
#endif

Ref<PLVRejected> rejectedWithText(JNDeferredErrorCode code, const char* text,
                                  const Ref<NSString>& debugText) {
  const Ref<NSMutableDictionary> details = NSMutableDictionary::dictionary();
  details->setObjectForKey(text ? text : "", NSLocalizedDescriptionKey);
  if (debugText) details->setObjectForKey(debugText, NSDebugDescriptionErrorKey);
  return PLVRejected::withValue(
      NSError::errorWithDomainCodeUserInfo(JNDeferredErrorDomain, code, details));
}

}  // namespace

Rejected::Rejected(Ref<PLVRejected> rejected)
    : _rejected(rejected ? std::move(rejected) : PLVRejected::withValue(nullptr)) {}

Rejected::Rejected(const Value& value)
    : Rejected(isKindOf<PLVRejected>(value) ? Ref<PLVRejected>(as<PLVRejected>(value))
                                            : PLVRejected::withValue(value)) {}

const char* Rejected::what() const noexcept {
  try {
    if (!_text) {
      auto* error = as<NSError>(_rejected->value());
      _text = error ? error->localizedDescription() : _rejected->description();
    }
    return _text->utf8().data();
  } catch (...) {
    // The description of an application's own class may fail.
    return "rejected";
  }
}

void Rejected::raise(Ref<PLVRejected> rejected) {
  if (rejected && rejected->isCancellation()) throw Cancelled(std::move(rejected));
  throw Rejected(std::move(rejected));
}

Ref<PLVRejected> currentExceptionAsRejected() {
  try {
    throw;
  } catch (const Rejected& failure) {
    return failure.rejected();
  } catch (const Raised& raised) {
    return PLVRejected::withValue(raised.exception());
  } catch (const std::exception& exception) {
    return rejectedWithText(JNDeferredErrorException, exception.what(),
                            nameOfType(typeid(exception)));
  } catch (...) {
    const std::type_info* type = currentExceptionType();
    return rejectedWithText(JNDeferredErrorUnknownException,
                            "Something was thrown that is no std::exception.",
                            type ? nameOfType(*type) : nullptr);
  }
}

}  // namespace JNFoundation
