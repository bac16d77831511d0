#include <string_view>

#include "DeferredFixture.h"

#include <JNFoundation/deferred/CreationPlace.h>
#include <JNFoundation/deferred/DeferredTrace.h>
#include <JNFoundation/deferred/Executor.h>
#include <JNFoundation/deferred/Promise.h>

/// What reports say of where coroutines, typed handles and work were made.
namespace JNFoundation {
namespace {

class CreationPlaceTest : public DeferredFixture {
 protected:
  void SetUp() override { DeferredTrace::setEnabled(true); }
  void TearDown() override {
    DeferredTrace::setEnabled(false);
    DeferredFixture::TearDown();
  }

  /// The line of this file that made the newest of those alive, 0 for another file.
  static int newest() {
    const CreationPlace place = DeferredTrace::now().entries().back().place;
    return place && std::string_view(place.file) == __FILE__ ? place.line : 0;
  }
};

constexpr int lineOfCoroutine = __LINE__ + 1;
Ref<PLVDeferred> coroutine() { co_return nullptr; }

constexpr int lineOfTyped = __LINE__ + 1;
Deferred<int> typedCoroutine() { co_return 1; }

constexpr int lineOfAwait = __LINE__ + 1;
Ref<PLVDeferred> awaiting(Ref<PLVPromise> promise) { co_return co_await std::move(promise); }

TEST_F(CreationPlaceTest, OfACoroutineIsItsOwn) {
  const Ref<PLVDeferred> deferred = coroutine();
  EXPECT_EQ(newest(), lineOfCoroutine);
  const Deferred<int> typed = typedCoroutine();
  EXPECT_EQ(newest(), lineOfTyped);
}

TEST_F(CreationPlaceTest, OfWhatListensForACoroutineIsTheAwait) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVDeferred> deferred = awaiting(promise);
  EXPECT_EQ(newest(), lineOfAwait);
}

TEST_F(CreationPlaceTest, OfATypedHandleIsItsMakers) {
  const Deferred<int> resolved = Deferred<int>::withResolved(1);
  EXPECT_EQ(newest(), __LINE__ - 1);
  const Deferred<void> rejected = Deferred<void>::withRejected(1);
  EXPECT_EQ(newest(), __LINE__ - 1);
  const Promise<int> promise = Promise<int>::init();
  EXPECT_EQ(newest(), __LINE__ - 1);
  const Deferred<int> listener = promise.deferredResolution();
  EXPECT_EQ(newest(), __LINE__ - 1);
  rejected.untyped()->thenRejected([](const Ref<PLVRejected>&) { return nullptr; });
}

TEST_F(CreationPlaceTest, OfWorkIsWhereItWasGiven) {
  const Deferred<int> work = runOn([](const Block<void()>& task) { task(); }, [] { return 1; });
  EXPECT_EQ(newest(), __LINE__ - 1);
}

}  // namespace
}  // namespace JNFoundation
