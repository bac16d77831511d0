// The tests of the bridge to observables, for the reactive-extensions libraries that the file which
// includes this one names as `Libraries`. Each is a class with the policy `Rx` and
//
//     template <class Observable, class Next, class Error, class Completed>
//     static std::function<void()> subscribe(const Observable&, Next, Error, Completed);
//
// which returns what disposes of the subscription.
#pragma once

#include <functional>
#include <thread>

#include "DeferredFixture.h"

#include <JNFoundation/deferred/PLVDeferredUtil.h>
#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation {
namespace {

template <class Library>
class PLVDeferredUtilTest : public DeferredFixture {
 protected:
  using Words = DeferredFixture::Words;
  using Util = PLVDeferredUtil<typename Library::Rx>;

  static std::string lineOf(const Ref<NSError>& error) {
    if (!error) return "no NSError";
    return text(error->domain()) + " " + std::to_string(error->code());
  }
  template <class Element>
  static std::string lineOf(const std::optional<Element>& element) {
    return element ? "some " + text(Value(*element)) : "none";
  }
  template <class Element>
  static std::string lineOf(const Element& element) {
    return text(Value(element));
  }

  /// Subscribes, and leaves each event in the record behind the name. Returns: what disposes.
  template <class Observable>
  std::function<void()> watch(const Observable& observable, const std::string& name) {
    return Library::subscribe(
        observable,
        [this, name](const auto& element) {
          record.push_back(name + " next " + lineOf(element));
          if (onNext) onNext();
        },
        [this, name](const Ref<NSError>& error) {
          record.push_back(name + " error " + lineOf(error));
          lastError = error;
        },
        [this, name] { record.push_back(name + " completed"); });
  }

  void TearDown() override {
    lastError = nullptr;
    onNext = nullptr;
    DeferredFixture::TearDown();
  }

  Ref<NSError> lastError;
  std::function<void()> onNext;
};
TYPED_TEST_SUITE(PLVDeferredUtilTest, Libraries);

TYPED_TEST(PLVDeferredUtilTest, ASuccessGivesTheElementAndThenCompleted) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  auto dispose = this->watch(TestFixture::Util::rx_observable(deferred), "a");
  EXPECT_EQ(this->happened(), typename TestFixture::Words{});
  deferred->resolve("value");
  EXPECT_EQ(this->happened(), (typename TestFixture::Words{"a next value", "a completed"}));
}

TYPED_TEST(PLVDeferredUtilTest, ASettledDeferredGivesItsEventsDuringSubscription) {
  auto dispose = this->watch(TestFixture::Util::rx_observable(PLVDeferred::withResolved(7)), "a");
  EXPECT_EQ(this->happened(), (typename TestFixture::Words{"a next 7", "a completed"}));
}

TYPED_TEST(PLVDeferredUtilTest, NothingHappensBeforeSomebodySubscribes) {
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved(7);
  auto observable = TestFixture::Util::rx_observable(deferred);
  EXPECT_EQ(this->happened(), typename TestFixture::Words{});
  auto dispose = this->watch(observable, "a");
  EXPECT_EQ(this->happened(), (typename TestFixture::Words{"a next 7", "a completed"}));
}

TYPED_TEST(PLVDeferredUtilTest, NullCompletesWithoutAnElement) {
  auto dispose =
      this->watch(TestFixture::Util::rx_observable(PLVDeferred::withResolved(nullptr)), "a");
  EXPECT_EQ(this->happened(), typename TestFixture::Words{"a completed"});
}

TYPED_TEST(PLVDeferredUtilTest, NullIsAnEmptyOptional) {
  auto dispose = this->watch(
      TestFixture::Util::rx_observableOptional(PLVDeferred::withResolved(nullptr)), "a");
  EXPECT_EQ(this->happened(), (typename TestFixture::Words{"a next none", "a completed"}));
}

TYPED_TEST(PLVDeferredUtilTest, AValueIsAFullOptional) {
  auto dispose =
      this->watch(TestFixture::Util::rx_observableOptional(PLVDeferred::withResolved(7)), "a");
  EXPECT_EQ(this->happened(), (typename TestFixture::Words{"a next some 7", "a completed"}));
}

TYPED_TEST(PLVDeferredUtilTest, ATransformMakesTheElementOnceForEachSubscriber) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  int calls = 0;
  auto observable = TestFixture::Util::rx_observable(deferred, [&calls](const Value& value) {
    ++calls;
    return static_cast<int>(value.integerValue() * 2);
  });
  auto first = this->watch(observable, "a");
  auto second = this->watch(observable, "b");
  EXPECT_EQ(calls, 0);
  deferred->resolve(21);
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(this->happened(),
            (typename TestFixture::Words{"a next 42", "a completed", "b next 42", "b completed"}));
}

TYPED_TEST(PLVDeferredUtilTest, ATransformIsNotCalledForNull) {
  auto dispose = this->watch(TestFixture::Util::rx_observable(PLVDeferred::withResolved(nullptr),
                                                              [](const Value&) -> int {
                                                                ADD_FAILURE();
                                                                return 0;
                                                              }),
                             "a");
  EXPECT_EQ(this->happened(), typename TestFixture::Words{"a completed"});
}

TYPED_TEST(PLVDeferredUtilTest, AnErrorObjectArrivesItself) {
  const Ref<NSError> error = NSError::errorWithDomainCodeUserInfo("Net", 404, nullptr);
  auto dispose =
      this->watch(TestFixture::Util::rx_observable(PLVDeferred::withRejected(error)), "a");
  EXPECT_EQ(this->happened(), typename TestFixture::Words{"a error Net 404"});
  EXPECT_EQ(this->lastError, error);
}

TYPED_TEST(PLVDeferredUtilTest, EveryOtherRejectionIsAnErrorOfTheBridge) {
  for (const Value& value : {Value("text"), Value(), Value(3)}) {
    auto dispose =
        this->watch(TestFixture::Util::rx_observable(PLVDeferred::withRejected(value)), "a");
    EXPECT_EQ(this->happened(), typename TestFixture::Words{"a error PLVDeferred 1"});
    EXPECT_EQ(this->lastError->userInfo()->count(), 0u);
  }
}

TYPED_TEST(PLVDeferredUtilTest, ACancellationIsAnErrorToo) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  auto dispose = this->watch(TestFixture::Util::rx_observableOptional(deferred), "a");
  deferred->cancel();
  EXPECT_EQ(this->happened(), typename TestFixture::Words{"a error PLVDeferred 1"});
}

TYPED_TEST(PLVDeferredUtilTest, ANullDeferredFailsAtSubscriptionAndGivesNothingElse) {
  auto observable = TestFixture::Util::rx_observable(nullptr);
  EXPECT_EQ(this->happened(), typename TestFixture::Words{});
  auto dispose = this->watch(observable, "a");
  EXPECT_EQ(this->happened(), typename TestFixture::Words{"a error PLVDeferredUtil 2"});
  EXPECT_EQ(this->lastError->userInfo()->count(), 0u);
}

TYPED_TEST(PLVDeferredUtilTest, ElementsHaveTheClassThatWasAskedFor) {
  auto dispose = this->watch(TestFixture::Util::rx_observable(
                                 PLVDeferred::withResolved("three"),
                                 [](const Value& text) { return as<NSString>(text)->length(); }),
                             "a");
  auto typed =
      TestFixture::Util::template rx_observable<NSString>(PLVDeferred::withResolved("three"));
  static_assert(
      std::is_same_v<typename TestFixture::Util::template Element<NSString>, Ref<NSString>>);
  auto second = this->watch(typed, "b");
  EXPECT_EQ(this->happened(), (typename TestFixture::Words{"a next 5", "a completed",
                                                           "b next three", "b completed"}));
}

TYPED_TEST(PLVDeferredUtilTest, AValueOfAnotherClassIsAnError) {
  auto dispose = this->watch(
      TestFixture::Util::template rx_observable<NSString>(PLVDeferred::withResolved(3)), "a");
  EXPECT_EQ(this->happened(), typename TestFixture::Words{"a error PLVDeferredUtil 3"});
}

TYPED_TEST(PLVDeferredUtilTest, OthersSeeTheChainUnchanged) {
  const Ref<PLVDeferred> success = PLVDeferred::init();
  auto first = this->watch(
      TestFixture::Util::rx_observable(success, [](const Value&) { return std::string("other"); }),
      "a");
  success->thenEither(this->noting("then"));
  success->resolve(1);
  EXPECT_EQ(this->happened(),
            (typename TestFixture::Words{"a next other", "a completed", "then 1"}));

  const Ref<PLVDeferred> failure = PLVDeferred::init();
  auto second = this->watch(TestFixture::Util::rx_observable(failure), "b");
  failure->thenEither(this->noting("then"));
  failure->reject(2);
  EXPECT_EQ(this->happened(),
            (typename TestFixture::Words{"b error PLVDeferred 1", "then PLVRejected [2]"}));
}

TYPED_TEST(PLVDeferredUtilTest, TwoSubscribersGetTheirOwnEvents) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  auto observable = TestFixture::Util::rx_observable(deferred);
  auto first = this->watch(observable, "a");
  auto second = this->watch(observable, "b");
  deferred->resolve(1);
  EXPECT_EQ(this->happened(),
            (typename TestFixture::Words{"a next 1", "a completed", "b next 1", "b completed"}));
  auto third = this->watch(observable, "c");
  EXPECT_EQ(this->happened(), (typename TestFixture::Words{"c next 1", "c completed"}));
}

TYPED_TEST(PLVDeferredUtilTest, DisposingRejectsTheDeferredForEverybody) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  auto first = this->watch(TestFixture::Util::rx_observable(deferred), "a");
  auto second = this->watch(TestFixture::Util::rx_observable(deferred), "b");
  deferred->thenEither(this->noting("then"));
  first();
  EXPECT_EQ(this->happened(),
            (typename TestFixture::Words{"b error PLVDeferred 1", "then PLVRejected [(null)]"}));
  EXPECT_FALSE(deferred->isCancelled());
  deferred->resolve("too late");
  EXPECT_EQ(this->happened(), typename TestFixture::Words{});
  EXPECT_EQ(this->text(deferred->resolution()), "PLVRejected [(null)]");
}

TYPED_TEST(PLVDeferredUtilTest, DisposingAfterTheOutcomeChangesNothing) {
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved(1);
  auto dispose = this->watch(TestFixture::Util::rx_observable(deferred), "a");
  this->happened();
  dispose();
  dispose();
  EXPECT_EQ(deferred->resolution(), Value(1));
}

TYPED_TEST(PLVDeferredUtilTest, DisposingFromInsideNextEndsTheSequenceThere) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  std::function<void()> dispose;
  this->onNext = [&dispose] { dispose(); };
  dispose = this->watch(TestFixture::Util::rx_observable(deferred), "a");
  deferred->thenEither(this->noting("then"));
  deferred->resolve(1);
  EXPECT_EQ(this->happened(), (typename TestFixture::Words{"a next 1", "then 1"}));
  EXPECT_EQ(deferred->resolution(), Value(1));
}

TYPED_TEST(PLVDeferredUtilTest, ADeferredThatWaitsCannotBeRejectedAnyMore) {
  const Ref<PLVDeferred> inner = PLVDeferred::init();
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved(inner);
  auto dispose = this->watch(TestFixture::Util::rx_observable(deferred), "a");
  dispose();
  inner->resolve(1);
  EXPECT_EQ(deferred->resolution(), Value(1));
  EXPECT_EQ(this->happened(), typename TestFixture::Words{});
}

TYPED_TEST(PLVDeferredUtilTest, ASubscriptionFromAnotherThreadGetsItsEventsOnTheMainOne) {
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved(1);
  std::function<void()> dispose;
  this->onNext = [] { EXPECT_TRUE(MainQueue::isMainThread()); };
  std::thread([&] {
    dispose = this->watch(TestFixture::Util::rx_observable(deferred), "a");
  }).join();
  EXPECT_EQ(this->happened(), typename TestFixture::Words{});
  this->turn();
  EXPECT_EQ(this->happened(), (typename TestFixture::Words{"a next 1", "a completed"}));
}

TYPED_TEST(PLVDeferredUtilTest, DisposingOnAnotherThreadRejectsOnTheMainOne) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  auto dispose = this->watch(TestFixture::Util::rx_observable(deferred), "a");
  std::thread([&] { dispose(); }).join();
  EXPECT_FALSE(deferred->isResolved());
  this->turn();
  EXPECT_EQ(this->text(deferred->resolution()), "PLVRejected [(null)]");
  EXPECT_EQ(this->happened(), typename TestFixture::Words{});
}

TYPED_TEST(PLVDeferredUtilTest, ATransformThatRaisesRejectsTheRestOfTheChain) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  auto dispose = this->watch(
      TestFixture::Util::rx_observable(deferred, [](const Value&) -> int { raise("Bad", "no"); }),
      "a");
  deferred->thenEither(this->noting("then"));
  deferred->resolve(1);
  EXPECT_EQ(this->happened(),
            (typename TestFixture::Words{"a completed", "then PLVRejected [no]"}));
}

TYPED_TEST(PLVDeferredUtilTest, TheSubscriptionKeepsTheDeferredAlive) {
  Ref<PLVDeferred> deferred = PLVDeferred::init();
  const Weak<PLVDeferred> weak(deferred);
  auto dispose = this->watch(TestFixture::Util::rx_observable(deferred), "a");
  deferred = nullptr;
  ASSERT_TRUE(weak.load());
  dispose();
  dispose = nullptr;
  EXPECT_FALSE(weak.load());
}

}  // namespace
}  // namespace JNFoundation
