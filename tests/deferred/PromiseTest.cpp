#include "DeferredFixture.h"

#include <JNFoundation/deferred/Promise.h>

/// The typed view of a promise.
namespace JNFoundation {
namespace {

class PromiseTest : public DeferredFixture {
 protected:
  auto notingOutcome(std::string name) {
    return [this, name = std::move(name)](const Outcome<int>& outcome) {
      record.push_back(name + (outcome.isRejected()
                                   ? " failure " + text(outcome.rejected()->value())
                                   : " " + std::to_string(outcome.value())));
    };
  }
};

TEST_F(PromiseTest, HandsItsOutcomeToTypedListeners) {
  const Promise<int> promise = Promise<int>::init();
  promise.deferredResolution().thenResolved(
      [this](int number) { record.push_back("first " + std::to_string(number)); });
  promise.promisedResolution().whenFulfilled(notingOutcome("second"));
  promise.whenFulfilled(notingOutcome("last"));
  EXPECT_TRUE(promise.isOutstanding());
  promise.resolve(1);
  EXPECT_TRUE(promise.isFulfilled());
  EXPECT_EQ(happened(), (Words{"first 1", "second 1", "last 1"}));
}

TEST_F(PromiseTest, TakesWhatAHandlerReturns) {
  const Promise<double> number = Promise<double>::init(), failed = Promise<double>::init(),
                        either = Promise<double>::init(), waiting = Promise<double>::init();
  number.resolve(1);
  EXPECT_EQ(number.untyped()->resolution().kind(), Value::Kind::Double);
  failed.resolve(PLVRejected::withValue("no"));
  EXPECT_EQ(text(failed.untyped()->resolution()), "PLVRejected [no]");
  either.resolve(Outcome<double>(2.5));
  EXPECT_EQ(either.untyped()->resolution(), Value(2.5));
  waiting.resolve(number);
  EXPECT_EQ(waiting.untyped()->resolution(), Value(1.0));
}

TEST_F(PromiseTest, RejectsAndCancelsLikeAnyOther) {
  const Promise<int> rejected = Promise<int>::init(), cancelled = Promise<int>::init();
  rejected.whenFulfilled(notingOutcome("rejected"));
  cancelled.whenFulfilled(notingOutcome("cancelled"));
  rejected.reject("no");
  cancelled.cancelWithValue("stop");
  EXPECT_EQ(happened(), (Words{"rejected failure no", "cancelled failure stop"}));
}

TEST_F(PromiseTest, IsAViewOfTheVeryPromise) {
  const Ref<PLVPromise> untyped = PLVPromise::init();
  const Promise<int> promise(untyped);
  const Promise<int> copy = promise;
  const Ref<PLVPromise>& again = copy;
  EXPECT_EQ(again, untyped);
  copy.resolve(1);
  EXPECT_EQ(untyped->resolution(), Value(1));
}

TEST_F(PromiseTest, AValueOfAnotherKindIsAFailureToItsListeners) {
  const Ref<PLVPromise> untyped = PLVPromise::withResolved("text");
  Promise<int>(untyped).whenFulfilled([this](const Outcome<int>& outcome) {
    record.push_back(text(as<NSError>(outcome.rejected()->value())->localizedDescription()));
  });
  EXPECT_EQ(happened(), Words{"Expected int, found __NSCFString."});
  EXPECT_EQ(untyped->resolution(), Value("text"));
}

TEST_F(PromiseTest, IsMadeOfAnOutcomeOrADeferred) {
  EXPECT_EQ(Promise<int>::withResolved(1).untyped()->resolution(), Value(1));
  EXPECT_TRUE(Promise<void>::withResolved().isFulfilled());
  EXPECT_EQ(text(Promise<int>::withRejected("no").untyped()->resolution()), "PLVRejected [no]");
  EXPECT_EQ(Promise<int>::resolvedBy(Deferred<int>::withResolved(2)).untyped()->resolution(),
            Value(2));
  const Promise<void> nothing = Promise<void>::init();
  nothing.resolve();
  EXPECT_TRUE(nothing.isFulfilled());
}

TEST_F(PromiseTest, AnAwaitGivesTheType) {
  const auto coroutine = [](Promise<int> promise) -> Deferred<int> {
    co_return co_await promise + co_await promise;
  };
  const Promise<int> promise = Promise<int>::init();
  const Deferred<int> result = coroutine(promise);
  promise.resolve(2);
  EXPECT_EQ(result.untyped()->resolution(), Value(4));
}

}  // namespace
}  // namespace JNFoundation
