#include <functional>
#include <gtest/gtest.h>

#include <JNFoundation/adapters/RxCpp.h>

namespace JNFoundation {
namespace {

struct Real {
  using Rx = RxCpp;

  template <class Element, class Next, class Error, class Completed>
  static std::function<void()> subscribe(const rxcpp::observable<Element>& observable, Next next,
                                         Error error, Completed completed) {
    rxcpp::composite_subscription subscription = observable.subscribe(
        next, [error](std::exception_ptr failure) { error(RxCppError::of(failure)); }, completed);
    return [subscription] { subscription.unsubscribe(); };
  }
};
using Libraries = ::testing::Types<Real>;

}  // namespace
}  // namespace JNFoundation

#include "deferred/PLVDeferredUtilTests-inl.h"

namespace JNFoundation {
namespace {

TEST(RxCppExample, AnObserverGetsTheNameOrTheError) {
  std::vector<std::string> shown;
  const auto show = [&shown](const Ref<NSString>& text) { shown.push_back(text->toStdString()); };
  const auto showError = [&shown](const Ref<NSError>& error) {
    shown.push_back(error->domain()->toStdString());
  };
  for (const Ref<PLVDeferred>& name :
       {PLVDeferred::withResolved("Ada"), PLVDeferred::withRejected("offline")}) {
    // begin
    rxcpp::observable<Ref<NSString>> names = PLVDeferredUtil<RxCpp>::rx_observable<NSString>(name);
    names.subscribe([&](const Ref<NSString>& text) { show(text); },
                    [&](std::exception_ptr failure) { showError(RxCppError::of(failure)); });
    // end
  }
  EXPECT_EQ(shown, (std::vector<std::string>{"Ada", "PLVDeferred"}));
}

TEST(RxCppError, IsNullForAFailureThatCarriesNone) {
  EXPECT_FALSE(RxCppError::of(nullptr));
  EXPECT_FALSE(RxCppError::of(std::make_exception_ptr(1)));
}

TEST(RxCppError, SaysWhatItIsWhereNobodyKnowsIt) {
  const Ref<NSError> error = NSError::errorWithDomainCodeUserInfo("Net", 404, nullptr);
  EXPECT_STREQ(RxCppError(error).what(), "an NSError from a deferred");
}

}  // namespace
}  // namespace JNFoundation
