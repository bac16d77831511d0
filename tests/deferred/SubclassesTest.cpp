#include "DeferredFixture.h"

namespace JNFoundation {
namespace {

/// Overrides nothing.
class PlainDeferred : public Subclass<PlainDeferred, PLVDeferred> {
 protected:
  using Subclass::Subclass;
};

/// Notes every call and passes it on.
class NotedDeferred : public Subclass<NotedDeferred, PLVDeferred> {
 public:
  void resolve(const Value& value) override {
    calls.push_back("resolve " + value.description()->toStdString());
    PLVDeferred::resolve(value);
    calls.push_back("resolved");
  }
  void reject(const Value& value) override {
    calls.push_back("reject " + value.description()->toStdString());
    PLVDeferred::reject(value);
  }
  void cancelWithValue(const Value& value) override {
    calls.push_back("cancel " + value.description()->toStdString());
    PLVDeferred::cancelWithValue(value);
    calls.push_back("cancelled");
  }
  std::vector<std::string> calls;

 protected:
  using Subclass::Subclass;
};

/// Inherits what another subclass overrides.
class NotedToo : public Subclass<NotedToo, NotedDeferred> {
 protected:
  using Subclass::Subclass;
};

/// Derived without declaring itself, and overrides all the same.
class Undeclared : public PLVDeferred {
 public:
  void resolve(const Value& value) override {
    ++resolves;
    PLVDeferred::resolve(value);
  }
  int resolves = 0;
};
class UndeclaredBelowPlain : public PlainDeferred {
 public:
  void cancelWithValue(const Value& value) override {
    ++cancels;
    PlainDeferred::cancelWithValue(value);
  }
  int cancels = 0;
};

class Sealed final : public Subclass<Sealed, PLVDeferred> {};

class PlainPromise : public Subclass<PlainPromise, PLVPromise> {
 protected:
  using Subclass::Subclass;
};

class NotedPromise : public Subclass<NotedPromise, PLVPromise> {
 public:
  void resolve(const Value& value) override {
    calls.push_back("resolve " + value.description()->toStdString());
    PLVPromise::resolve(value);
    calls.push_back("resolved");
  }
  void cancelWithValue(const Value& value) override {
    calls.push_back("cancel " + value.description()->toStdString());
    PLVPromise::cancelWithValue(value);
    calls.push_back("cancelled");
  }
  void resolvableDidCancelWithValue(const Ref<PLVResolvable>& resolvable,
                                    const Value& value) override {
    calls.push_back("listener cancelled " + value.description()->toStdString());
    PLVPromise::resolvableDidCancelWithValue(resolvable, value);
  }
  std::vector<std::string> calls;

 protected:
  using Subclass::Subclass;
};

class UndeclaredPromise : public PLVPromise {
 public:
  void resolve(const Value& value) override {
    ++resolves;
    PLVPromise::resolve(value);
  }
  int resolves = 0;
};

/// A deferred that is the source of another one.
class Relay : public Subclass<Relay, PLVDeferred, PLVResolutionSource> {
 public:
  NSObject* protocolObject() noexcept override { return this; }
  void resolvableDidCancelWithValue(const Ref<PLVResolvable>&, const Value& value) override {
    cancelWithValue(value);
  }

 protected:
  using Subclass::Subclass;
};

class Subclasses : public DeferredFixture {};

// The deprecated forms included.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
TEST_F(Subclasses, ClassOperationsOfADeferredMakeInstancesOfTheReceivingClass) {
  const Ref<PlainDeferred> made[] = {
      PlainDeferred::init(),
      PlainDeferred::initWithResolutionSource(nullptr),
      PlainDeferred::withResolutionSource(nullptr),
      PlainDeferred::withResolved(1),
      PlainDeferred::withRejected(2),
      PlainDeferred::resolvedBy(PLVDeferred::withResolved(3)),
      PlainDeferred::resolvedBy(nullptr),
      PlainDeferred::deferredWithResolved(4),
      PlainDeferred::deferredWithRejected(5),
  };
  Words resolutions;
  for (const Ref<PlainDeferred>& deferred : made) {
    EXPECT_EQ(&deferred->class_(), &PlainDeferred::classObject);
    resolutions.push_back(text(deferred->resolution()));
  }
  EXPECT_EQ(resolutions, (Words{"(null)", "(null)", "(null)", "1", "PLVRejected [2]", "3", "(null)",
                                "4", "PLVRejected [5]"}));
}

TEST_F(Subclasses, ClassOperationsOfAPromiseMakeInstancesOfTheReceivingClass) {
  Ref<PLVPromise> stored;
  PlainPromise::getPromiseResolvedBy(&stored, nullptr);
  EXPECT_EQ(&stored->class_(), &PlainPromise::classObject);
  PlainPromise::getPromiseResolvedBy(nullptr, nullptr);
  const Ref<PlainPromise> made[] = {
      PlainPromise::init(),
      PlainPromise::initWithResolutionSource(nullptr),
      PlainPromise::withResolutionSource(nullptr),
      PlainPromise::withResolved(1),
      PlainPromise::withRejected(2),
      PlainPromise::resolvedBy(PLVDeferred::withResolved(3)),
      PlainPromise::promiseWithResolved(4),
      PlainPromise::promiseWithRejected(5),
  };
  Words resolutions;
  for (const Ref<PlainPromise>& promise : made) {
    EXPECT_EQ(&promise->class_(), &PlainPromise::classObject);
    resolutions.push_back(text(promise->resolution()));
  }
  EXPECT_EQ(resolutions, (Words{"(null)", "(null)", "(null)", "1", "PLVRejected [2]", "3", "4",
                                "PLVRejected [5]"}));
}
#pragma GCC diagnostic pop

TEST_F(Subclasses, DerivedListenersOfAPromiseAreOfTheBaseClass) {
  const Ref<PlainPromise> promise = PlainPromise::init();
  EXPECT_EQ(&promise->deferredResolution()->class_(), &PLVDeferred::classObject);
  EXPECT_EQ(&promise->promisedResolution()->class_(), &PLVPromise::classObject);
}

TEST_F(Subclasses, AClassOperationUsesTheOverriddenOperations) {
  EXPECT_EQ(NotedDeferred::withResolved(1)->calls, (Words{"resolve 1", "resolved"}));
  EXPECT_EQ(NotedDeferred::withRejected(1)->calls,
            (Words{"reject 1", "resolve PLVRejected [1]", "resolved"}));
  EXPECT_EQ(NotedDeferred::resolvedBy(PLVDeferred::withResolved(1))->calls,
            (Words{"resolve 1", "resolved"}));
  EXPECT_EQ(NotedDeferred::resolvedBy(nullptr)->calls, (Words{"resolve (null)", "resolved"}));
}

TEST_F(Subclasses, AChainResolvesAnOverridingTargetInTheOrderOfNestedCalls) {
  const Ref<PLVDeferred> first = PLVDeferred::init();
  const Ref<NotedToo> target = NotedToo::init();
  target->thenEither([&](const Value& value) {
    target->calls.push_back("step");
    return value;
  });
  first->thenResolve(target)->thenResolved([&](const Value& value) {
    target->calls.push_back("after");
    return value;
  });
  first->resolve(1);
  EXPECT_EQ(target->calls, (Words{"resolve 1", "step", "resolved", "after"}));
}

TEST_F(Subclasses, AnOverridingDeferredInTheMiddleKeepsTheOrderOfNestedCalls) {
  const Ref<PLVDeferred> first = PLVDeferred::init();
  const Ref<NotedDeferred> second = NotedDeferred::resolvedBy(first);
  const Ref<PLVDeferred> third = PLVDeferred::resolvedBy(second);
  auto into = [&](const char* word) {
    return [&calls = second->calls, word](const Value& value) {
      calls.push_back(word);
      return value;
    };
  };
  first->thenEither(into("first"));
  second->thenEither(into("second"));
  third->thenEither(into("third"));
  first->resolve(1);
  EXPECT_EQ(second->calls, (Words{"resolve 1", "third", "second", "resolved", "first"}));
}

TEST_F(Subclasses, ACancellationOfAnOuterDeferredReachesAnOverridingInnerOne) {
  const Ref<NotedDeferred> inner = NotedDeferred::init();
  const Ref<PLVDeferred> middle = PLVDeferred::withResolved(inner);
  const Ref<PLVDeferred> outer = PLVDeferred::withResolved(middle);
  outer->thenEither([&](const Value& value) {
    inner->calls.push_back("outer");
    return value;
  });
  outer->cancelWithValue(1);
  EXPECT_EQ(inner->calls, (Words{"cancel 1", "outer", "cancelled"}));
  EXPECT_TRUE(isCancellation(outer->resolution()));
}

TEST_F(Subclasses, AnOverridingDeferredReturnedInACancelledChainIsSentItsCancellation) {
  const Ref<NotedDeferred> returned = NotedDeferred::init();
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenRejected([&](const Ref<PLVRejected>&) -> Value { return returned; })
      ->thenRejected([&](const Ref<PLVRejected>& rejected) -> Value {
        returned->calls.push_back("second");
        return rejected;
      });
  deferred->cancelWithValue(1);
  EXPECT_EQ(returned->calls, (Words{"cancel 1", "cancelled", "second"}));
}

TEST_F(Subclasses, APromiseResolvesOverridingListenersInTheirOrder) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<NotedDeferred> one = NotedDeferred::init();
  const Ref<NotedPromise> two = NotedPromise::init();
  promise->enlistResolvable(one);
  promise->enlistResolvable(two);
  promise->resolve(1);
  EXPECT_EQ(one->calls, (Words{"resolve 1", "resolved"}));
  EXPECT_EQ(two->calls, (Words{"resolve 1", "resolved"}));
}

TEST_F(Subclasses, AnOverridingPromiseIsToldOfItsListenersCancellation) {
  const Ref<NotedPromise> promise = NotedPromise::init();
  const Ref<PLVDeferred> listener = promise->deferredResolution();
  listener->thenEither([&](const Value& value) {
    promise->calls.push_back("listener");
    return value;
  });
  listener->cancelWithValue(1);
  EXPECT_EQ(promise->calls,
            (Words{"listener cancelled 1", "cancel (null)", "cancelled", "listener"}));
  EXPECT_TRUE(promise->isFulfilled());
}

TEST_F(Subclasses, AnOverrideCountsHoweverTheClassIsDerived) {
  const Ref<Undeclared> target = makeObject<Undeclared>();
  PLVDeferred::withResolved(1)->thenResolve(target);
  EXPECT_EQ(target->resolves, 1);
  EXPECT_EQ(target->resolution(), Value(1));

  const Ref<UndeclaredPromise> promise = makeObject<UndeclaredPromise>();
  PLVDeferred::withResolved(1)->thenResolve(promise);
  EXPECT_EQ(promise->resolves, 1);

  const Ref<UndeclaredBelowPlain> inner = makeObject<UndeclaredBelowPlain>();
  PLVDeferred::withResolved(inner)->cancel();
  EXPECT_EQ(inner->cancels, 1);
}

TEST_F(Subclasses, AClassThatOverridesNothingIsDrivenWithoutNesting) {
  constexpr int links = 20'000;
  const Ref<PlainDeferred> first = PlainDeferred::init();
  Ref<PLVDeferred> last = first;
  for (int i = 0; i < links; ++i) {
    last = i % 2 ? Ref<PLVDeferred>(PlainDeferred::resolvedBy(last)) : Sealed::resolvedBy(last);
  }
  // Within the depth to which handlers nest nothing is put off, so the end is there at once.
  bool there = false;
  PLVDeferred::withResolved(nullptr)->thenResolved([&](const Value& value) {
    first->resolve(1);
    there = last->isResolved();
    return value;
  });
  EXPECT_TRUE(there);
}

TEST_F(Subclasses, ManyOverridingDeferredsThatResolveEachOtherDoNotExhaustTheStack) {
  const Ref<NotedDeferred> first = NotedDeferred::init();
  Ref<PLVDeferred> last = first;
  for (int i = 1; i < 100'000; ++i) last = NotedDeferred::resolvedBy(last);
  first->resolve(1);
  EXPECT_EQ(last->resolution(), Value(1));
}

TEST_F(Subclasses, CancellingTheOutermostOfManyOverridingDeferredsReachesTheInnermost) {
  const Ref<NotedDeferred> innermost = NotedDeferred::init();
  Ref<PLVDeferred> outer = innermost;
  for (int i = 1; i < 200'000; ++i) {
    const Ref<NotedDeferred> next = NotedDeferred::init();
    next->resolve(outer);
    outer = next;
  }
  EXPECT_FALSE(innermost->isCancelled());
  outer->cancelWithValue("enough");
  EXPECT_EQ(text(innermost->resolution()), "PLVRejected (CANCELLED) [enough]");
  EXPECT_EQ(text(outer->resolution()), "PLVRejected (CANCELLED) [enough]");
}

TEST_F(Subclasses, CancellingTheLastOfManyOverridingPromisesReachesTheFirst) {
  std::vector<Ref<PLVPromise>> promises{NotedPromise::init()};
  for (int i = 1; i < 100'000; ++i) {
    promises.push_back(NotedPromise::withResolutionSource(promises.back()));
    promises[i - 1]->enlistResolvable(promises[i]);
  }
  promises.back()->cancel();
  EXPECT_TRUE(promises.front()->isFulfilled());
  EXPECT_TRUE(promises.back()->isFulfilled());
}

TEST_F(Subclasses, ADeferredMayBeTheSourceOfAnother) {
  const Ref<Relay> relay = Relay::init();
  relay->thenEither(noting("relay"));
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolutionSource(relay);
  deferred->thenEither(noting("deferred"));
  deferred->cancelWithValue(1);
  EXPECT_EQ(happened(),
            (Words{"relay PLVRejected (CANCELLED) [1]", "deferred PLVRejected (CANCELLED) [1]"}));
}

}  // namespace
}  // namespace JNFoundation
