#include <cstdio>

#include "Examples.h"

#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/platform/net/NSURLError.h>
#include <JNFoundation/util/NSError+JNFoundation.h>

namespace examples {
namespace {

// begin
Ref<PLVDeferred> withFallback(const Ref<PLVDeferred>& answer) {
  return answer->thenRejected([](const Ref<PLVRejected>& failure) -> Value {
    if (failure->isCancellation()) return failure;  // nobody waits any more: pass it on
    if (failure->isErrorForDomainWithCode("Feed", 404)) return "nothing there";
    if (jn_isNetworkConnectivityError(failure->errorForDomain(NSURLErrorDomain))) return "offline";
    return failure;  // for whoever knows more
  });
}
// end

Ref<PLVDeferred> failed(const char* domain, NSInteger code) {
  return PLVDeferred::withRejected(NSError::errorWithDomainCodeUserInfo(domain, code, nullptr));
}

void print(const Ref<PLVDeferred>& answer) {
  std::puts(withFallback(answer)->resolution().description()->UTF8String());
}

}  // namespace

void errorsOfDeferreds() {
  print(failed("Feed", 404));
  print(failed(NSURLErrorDomain, NSURLErrorNotConnectedToInternet));
  print(PLVDeferred::withRejected("something else"));
}

}  // namespace examples
