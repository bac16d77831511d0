#include <gtest/gtest.h>

#include "platform/text/Randomness.h"
#include "platform/value/LiveObjects.h"
#include "platform/value/Raising.h"

#include <JNFoundation/platform/net/NSURLError.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/platform/value/Subclass.h>
#include <JNFoundation/util/NSError+JNFoundation.h>

namespace JNFoundation {
namespace {

using testing::raisedName;

Ref<NSError> error(const Ref<NSString>& domain, NSInteger code, const Value& cause = nullptr) {
  return NSError::errorWithDomainCodeUserInfo(
      domain, code,
      cause.isNull() ? nullptr
                     : NSDictionary::dictionaryWithObjectForKey(cause, NSUnderlyingErrorKey));
}

TEST(Connectivity, AnOfflineDeviceCounts) {
  EXPECT_TRUE(jn_isNetworkConnectivityError(error("NSURLErrorDomain", -1009)));
}

TEST(Connectivity, NoOtherCodeAndNoOtherDomainCounts) {
  for (const NSInteger code : {-1001, -1003, -1004, -1005, -1020, 1009, 0}) {
    EXPECT_FALSE(jn_isNetworkConnectivityError(error(NSURLErrorDomain, code))) << code;
  }
  EXPECT_FALSE(jn_isNetworkConnectivityError(error("Feed", -1009)));
  EXPECT_FALSE(jn_isNetworkConnectivityError(error("nsurlerrordomain", -1009)));
  EXPECT_FALSE(jn_isNetworkConnectivityError(error("NSURLErrorDomain ", -1009)));
  EXPECT_FALSE(jn_isNetworkConnectivityError(nullptr));
}

TEST(Connectivity, ACauseCountsAtAnyDepth) {
  const auto offline = error(NSURLErrorDomain, NSURLErrorNotConnectedToInternet);
  EXPECT_TRUE(jn_isNetworkConnectivityError(error("Feed", 1, offline)));
  EXPECT_TRUE(jn_isNetworkConnectivityError(error("App", 2, error("Feed", 1, offline))));
  EXPECT_TRUE(jn_isNetworkConnectivityError(error(NSURLErrorDomain, -1001, offline)));
  EXPECT_FALSE(jn_isNetworkConnectivityError(error("App", 2, error(NSURLErrorDomain, -1001))));
}

TEST(Connectivity, ThereIsNoLookingPastAnOfflineError) {
  EXPECT_TRUE(jn_isNetworkConnectivityError(error(NSURLErrorDomain, -1009, "no error")));
}

TEST(Connectivity, AChainOfAMillionCausesIsFollowed) {
  const testing::LiveObjects objects;
  {
    Ref<NSError> chain = error(NSURLErrorDomain, -1009);
    for (int i = 0; i < testing::amount(1000000); ++i) chain = error("Layer", i, chain);
    EXPECT_TRUE(jn_isNetworkConnectivityError(chain));
  }
  EXPECT_EQ(objects.count(), 0);
}

TEST(Connectivity, TheRuntimePerformsIt) {
  const Value chain(error("Feed", 1, error(NSURLErrorDomain, -1009)));
  EXPECT_EQ(performSelector(chain, "jn_isNetworkConnectivityError"), Value(true));
  EXPECT_EQ(performSelector(error("Feed", 1), "jn_isNetworkConnectivityError"), Value(false));
}

TEST(Connectivity, ACauseThatIsNoErrorIsAskedAllTheSame) {
  for (const Value& cause : {Value("text"), Value(7), Value(NSNull::null())}) {
    EXPECT_EQ(raisedName([&] { jn_isNetworkConnectivityError(error("Feed", 1, cause)); }),
              "NSInvalidArgumentException");
  }
}

class Outage : public Subclass<Outage, NSObject> {
 public:
  bool isOffline() const { return true; }
};
const ClassDeclaration<Outage> declaration =
    ClassDeclaration<Outage>().operation("jn_isNetworkConnectivityError", &Outage::isOffline);

TEST(Connectivity, ACauseWithTheOperationAnswersForItself) {
  EXPECT_TRUE(jn_isNetworkConnectivityError(error("Feed", 1, makeObject<Outage>())));
}

}  // namespace
}  // namespace JNFoundation
