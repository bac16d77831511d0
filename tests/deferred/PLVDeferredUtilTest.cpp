#include <gtest/gtest.h>

#include "RecordingRx.h"

#include <JNFoundation/deferred/PLVDeferredUtil.h>

namespace JNFoundation {
namespace {

struct Recording {
  using Rx = RecordingRx;

  template <class Element, class Next, class Error, class Completed>
  static std::function<void()> subscribe(const RecordingRx::Observable<Element>& observable,
                                         Next next, Error error, Completed completed) {
    auto subscription = observable.subscribe(next, error, completed);
    return [subscription] { subscription->dispose(); };
  }
};

using Libraries = ::testing::Types<Recording>;

}  // namespace
}  // namespace JNFoundation

#include "PLVDeferredUtilTests-inl.h"
