#include "JNFoundation/util/NSError+JNFoundation.h"

#include <JNFoundation/platform/net/NSURLError.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation::inline v0_1 {

namespace {

constexpr const char* selector = "jn_isNetworkConnectivityError";

const ClassDeclaration<NSError> declarationOfNSErrorJNFoundation =
    ClassDeclaration<NSError>().operation(selector, [](NSError& error) {
      return jn_isNetworkConnectivityError(Ref<NSError>(&error));
    });

}  // namespace

bool jn_isNetworkConnectivityError(const Ref<NSError>& error) {
  Value cause = error;
  // One after the other: a chain of causes may be of any length.
  while (auto* known = as<NSError>(cause)) {
    if (known->code() == NSURLErrorNotConnectedToInternet &&
        known->domain()->utf8() == NSURLErrorDomain) {
      return true;
    }
    cause = known->userInfo()->objectForKey(NSUnderlyingErrorKey);
  }
  return !cause.isNull() && performSelector(cause, selector).boolValue();
}

}  // namespace JNFoundation
