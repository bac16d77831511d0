#include "JNFoundation/deferred/PLVRejected.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace JNFoundation::inline v0_1 {

constinit const Class PLVRejected::classObject = Class::of<PLVRejected>("PLVRejected");

namespace {

const ClassDeclaration<PLVRejected> declarationOfPLVRejected =
    ClassDeclaration<PLVRejected>()
        .property("value", &PLVRejected::value)
        .property("isCancellation", &PLVRejected::isCancellation)
        .operation("errorForDomain:", &PLVRejected::errorForDomain)
        .operation("isErrorForDomain:withCode:", &PLVRejected::isErrorForDomainWithCode)
        .classOperation("withValue:", &PLVRejected::withValue)
        .classOperation("cancellation", &PLVRejected::cancellation)
        .classOperation("cancellationWithValue:", &PLVRejected::cancellationWithValue);

}  // namespace

Ref<PLVRejected> PLVRejected::withValue(const Value& value) {
  return initWithValueCancellation(value, false);
}

Ref<PLVRejected> PLVRejected::cancellation() { return initWithValueCancellation(nullptr, true); }

Ref<PLVRejected> PLVRejected::cancellationWithValue(const Value& value) {
  return initWithValueCancellation(value, true);
}

Ref<PLVRejected> PLVRejected::initWithValue(const Value& value) {
  return initWithValueCancellation(value, false);
}

Ref<PLVRejected> PLVRejected::initWithValueCancellation(const Value& value, bool cancellation) {
  return makeObject<PLVRejected>(value, cancellation);
}

Ref<NSError> PLVRejected::errorForDomain(const Ref<NSString>& domain) const {
  NSError* error = as<NSError>(_value);
  if (!error || !error->domain() || !error->domain()->isEqualToString(domain)) return nullptr;
  return error;
}

bool PLVRejected::isErrorForDomainWithCode(const Ref<NSString>& domain, NSInteger code) const {
  const Ref<NSError> error = errorForDomain(domain);
  return error && error->code() == code;
}

Ref<NSString> PLVRejected::description() const {
  return NSString::stringWithFormat(
      "%@ [%@]", _cancellation ? "PLVRejected (CANCELLED)" : "PLVRejected", _value);
}

}  // namespace JNFoundation
