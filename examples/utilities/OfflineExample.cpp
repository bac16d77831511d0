#include <cstdio>

#include "Examples.h"

#include <JNFoundation/platform/net/NSURLError.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/util/NSError+JNFoundation.h>
#include <JNFoundation/util/Synced.h>

namespace examples {

// begin
void tellOffline() {
  auto cause = NSError::errorWithDomainCodeUserInfo(NSURLErrorDomain,
                                                    NSURLErrorNotConnectedToInternet, nullptr);
  auto error = NSError::errorWithDomainCodeUserInfo(
      "Feed", 3, NSDictionary::dictionaryWithObjectForKey(cause, NSUnderlyingErrorKey));
  if (jn_isNetworkConnectivityError(error)) std::puts("you are offline");

  auto cache = NSMutableDictionary::dictionary();  // shared with other threads
  synced(cache, [&] { cache->setObjectForKey(error, "last error"); });
  std::printf("stored %d\n", static_cast<int>(synced(cache, [&] { return cache->count(); })));
}
// end

}  // namespace examples
