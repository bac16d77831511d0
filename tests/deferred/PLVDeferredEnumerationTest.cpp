#include <thread>

#include "DeferredFixture.h"

#include <JNFoundation/deferred/PLVDeferredEnumeration.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/testing/RunLoopTesting.h>

namespace JNFoundation {
namespace {

class EnumerationTest : public DeferredFixture {
 protected:
  /// A block that leaves "index element" in the record and returns what the function gives.
  template <class Function>
  auto visiting(Function function) {
    return [this, function](const Value& element, NSUInteger index, bool& stop) -> Value {
      record.push_back(std::to_string(index) + " " + text(element));
      return function(index, stop);
    };
  }
  auto visiting() {
    return visiting([](NSUInteger, bool&) -> Value { return nullptr; });
  }

  const char* const letters[5] = {"a", "b", "c", "d", "e"};
  Ref<NSArray> fiveLetters() const { return NSArray::arrayWithObjects("a", "b", "c", "d", "e"); }

  static Ref<NSArray> numbers(NSInteger count) {
    std::vector<Value> values;
    for (NSInteger i = 0; i < count; ++i) values.emplace_back(i);
    return NSArray::arrayWithValues(std::move(values));
  }
};

// A walk without waits

TEST_F(EnumerationTest, AnEmptyArrayIsResolvedWithItselfAndTheBlockIsNotCalled) {
  const Ref<NSArray> empty = NSArray::array();
  const Ref<PLVDeferred> completion =
      PLVDeferredEnumeration::enumerateObjectsUsingBlock(empty, visiting());
  EXPECT_EQ(happened(), Words{});
  ASSERT_TRUE(isKindOf<NSArray>(completion->resolution()));
  EXPECT_EQ(as<NSArray>(completion->resolution())->count(), 0u);
}

TEST_F(EnumerationTest, ABlockThatReturnsNullVisitsAllInOneCallInOrder) {
  const Ref<NSArray> array = fiveLetters();
  const Ref<PLVDeferred> completion =
      PLVDeferredEnumeration::enumerateObjectsUsingBlock(array, visiting());
  EXPECT_EQ(happened(), (Words{"0 a", "1 b", "2 c", "3 d", "4 e"}));
  EXPECT_EQ(completion->resolution(), Value(array));
}

TEST_F(EnumerationTest, ResultsOfOtherKindsAreIgnored) {
  const Value others[] = {1, "text", PLVRejected::withValue("no"), PLVRejected::cancellation(),
                          NSArray::array()};
  const Ref<PLVDeferred> completion = PLVDeferredEnumeration::enumerateObjectsUsingBlock(
      fiveLetters(), visiting([&](NSUInteger index, bool&) { return others[index]; }));
  EXPECT_EQ(happened().size(), 5u);
  EXPECT_EQ(completion->resolution(), Value(fiveLetters()));
}

TEST_F(EnumerationTest, TheStopFlagIsFalseAtFirstAndEndsTheWalkAfterItsElement) {
  const Ref<NSArray> array = fiveLetters();
  const Ref<PLVDeferred> completion = PLVDeferredEnumeration::enumerateObjectsUsingBlock(
      array, visiting([](NSUInteger index, bool& stop) -> Value {
        EXPECT_FALSE(stop);
        stop = index == 2;
        return nullptr;
      }));
  EXPECT_EQ(happened(), (Words{"0 a", "1 b", "2 c"}));
  EXPECT_EQ(completion->resolution(), Value(array)) << "the whole array";
}

TEST_F(EnumerationTest, TheStopFlagOnTheLastElementEndsTheWalkOnce) {
  int ends = 0;
  PLVDeferredEnumeration::enumerateObjectsUsingBlock(numbers(1), [](const Value&, NSUInteger,
                                                                    bool& stop) {
    stop = true;
    return Value();
  })->thenEither([&](const Value& value) {
    ++ends;
    return value;
  });
  EXPECT_EQ(ends, 1);
}

TEST_F(EnumerationTest, TheArrayIsCopiedWhenTheEnumerationIsMade) {
  const Ref<NSMutableArray> array = NSMutableArray::array();
  array->addObject("a");
  const Ref<PLVDeferredEnumeration> enumeration = PLVDeferredEnumeration::initWithArray(array);
  array->addObject("b");
  const Ref<PLVDeferred> completion =
      enumeration->deferredEnumerateObjectsUsingBlock(visiting([&](NSUInteger, bool&) -> Value {
        array->addObject("c");
        return nullptr;
      }));
  EXPECT_EQ(happened(), Words{"0 a"});
  EXPECT_EQ(as<NSArray>(completion->resolution())->count(), 1u);
  EXPECT_FALSE(isKindOf<NSMutableArray>(completion->resolution()));
}

TEST_F(EnumerationTest, ANullArrayIsResolvedWithNull) {
  const Ref<PLVDeferred> completion =
      PLVDeferredEnumeration::enumerateObjectsUsingBlock(nullptr, visiting());
  EXPECT_TRUE(completion->isResolved());
  EXPECT_TRUE(completion->resolution().isNull());
}

TEST_F(EnumerationTest, WithoutABlockTheWalkIsOverAtOnce) {
  const Ref<NSArray> array = fiveLetters();
  const Ref<PLVDeferred> completion =
      PLVDeferredEnumeration::enumerateObjectsUsingBlock(array, nullptr);
  EXPECT_EQ(completion->resolution(), Value(array));
}

// Waiting

TEST_F(EnumerationTest, AnElementWaitsForTheDeferredOfTheOneBefore) {
  for (const bool fails : {false, true}) {
    const Ref<PLVDeferred> awaited = PLVDeferred::init();
    const Ref<PLVDeferred> completion = PLVDeferredEnumeration::enumerateObjectsUsingBlock(
        NSArray::arrayWithObjects("a", "b", "c"),
        visiting([&](NSUInteger index, bool&) { return index == 1 ? Value(awaited) : Value(); }));
    EXPECT_EQ(happened(), (Words{"0 a", "1 b"}));
    EXPECT_FALSE(completion->isResolved());
    fails ? awaited->reject("no") : awaited->resolve("yes");
    EXPECT_EQ(happened(), Words{"2 c"});
    EXPECT_TRUE(isKindOf<NSArray>(completion->resolution()));
    EXPECT_EQ(text(awaited->resolution()), fails ? "PLVRejected [no]" : "yes");
  }
}

TEST_F(EnumerationTest, AnElementWaitsForThePromiseOfTheOneBefore) {
  const Ref<PLVPromise> awaited = PLVPromise::init();
  const Ref<PLVDeferred> completion = PLVDeferredEnumeration::enumerateObjectsUsingBlock(
      NSArray::arrayWithObjects("a", "b"),
      visiting([&](NSUInteger index, bool&) { return index == 0 ? Value(awaited) : Value(); }));
  EXPECT_EQ(happened(), Words{"0 a"});
  awaited->resolve(1);
  EXPECT_EQ(happened(), Words{"1 b"});
  EXPECT_TRUE(completion->isResolved());
}

TEST_F(EnumerationTest, TheWaitIsForWhatStandsInTheChainWhenItBegins) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  awaited->thenEither(noting("before"));
  PLVDeferredEnumeration::enumerateObjectsUsingBlock(
      NSArray::arrayWithObjects("a", "b"),
      visiting([&](NSUInteger index, bool&) { return index == 0 ? Value(awaited) : Value(); }));
  awaited->thenEither(noting("after"));
  happened();
  awaited->resolve(1);
  EXPECT_EQ(happened(), (Words{"before 1", "1 b", "after 1"}));
}

TEST_F(EnumerationTest, AStopTogetherWithADeferredWaitsForItAndThenEnds) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  const Ref<PLVDeferredEnumeration> enumeration =
      PLVDeferredEnumeration::initWithArray(fiveLetters());
  const Ref<PLVDeferred> completion = enumeration->deferredEnumerateObjectsUsingBlock(
      visiting([&](NSUInteger, bool& stop) -> Value {
        stop = true;
        return awaited;
      }));
  EXPECT_FALSE(completion->isResolved());
  EXPECT_TRUE(enumeration->stopOnConsume());
  happened();
  awaited->resolve(1);
  EXPECT_EQ(happened(), Words{});
  EXPECT_EQ(completion->resolution(), Value(fiveLetters()));
  EXPECT_FALSE(enumeration->stopOnConsume());
}

TEST_F(EnumerationTest, ADeferredOnTheLastElementIsWaitedForToo) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  const Ref<PLVDeferred> completion = PLVDeferredEnumeration::enumerateObjectsUsingBlock(
      numbers(1), [&](const Value&, NSUInteger, bool&) { return Value(awaited); });
  EXPECT_FALSE(completion->isResolved());
  awaited->resolve(nullptr);
  EXPECT_TRUE(completion->isResolved());
}

TEST_F(EnumerationTest, ADeferredThatIsThereAlreadyDoesNotEndTheCall) {
  const Ref<PLVDeferred> completion = PLVDeferredEnumeration::enumerateObjectsUsingBlock(
      fiveLetters(),
      visiting([](NSUInteger index, bool&) -> Value { return PLVDeferred::withResolved(index); }));
  EXPECT_EQ(happened().size(), 5u);
  EXPECT_TRUE(completion->isResolved());
}

TEST_F(EnumerationTest, OneDeferredMayBeReturnedForEveryElement) {
  const Ref<PLVDeferred> same = PLVDeferred::init();
  const Ref<PLVDeferred> completion = PLVDeferredEnumeration::enumerateObjectsUsingBlock(
      fiveLetters(), visiting([&](NSUInteger, bool&) -> Value { return same; }));
  EXPECT_EQ(happened(), Words{"0 a"});
  // Each wait stands behind the one that led to it.
  same->resolve("s");
  EXPECT_EQ(happened(), (Words{"1 b", "2 c", "3 d", "4 e"}));
  EXPECT_TRUE(completion->isResolved());
  EXPECT_EQ(same->resolution(), Value("s"));
}

TEST_F(EnumerationTest, StepsAddedToAnAwaitedChainDuringTheWalkRunWhenTheWalkLetsGo) {
  // As of nested calls: the awaited chain is in the middle of its step until then.
  const Ref<PLVDeferred> awaited = PLVDeferred::withResolved("there");
  PLVDeferredEnumeration::enumerateObjectsUsingBlock(
      numbers(3), visiting([&](NSUInteger index, bool&) -> Value {
        if (index == 0) return awaited;
        if (index == 1) awaited->thenEither(noting("added"));
        return nullptr;
      }))
      ->thenEither(noting("completed"));
  EXPECT_EQ(happened(),
            (Words{"0 0", "1 1", "2 2", "added there", "completed " + text(numbers(3))}));
}

// The properties

TEST_F(EnumerationTest, TheStateIsVisibleWhileTheWalkWaits) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  const Ref<PLVDeferredEnumeration> enumeration =
      PLVDeferredEnumeration::initWithArray(fiveLetters());
  EXPECT_FALSE(enumeration->completion());
  EXPECT_FALSE(enumeration->current());
  EXPECT_FALSE(enumeration->enumerationBlock());
  EXPECT_FALSE(enumeration->stopOnConsume());
  EXPECT_EQ(Value(enumeration->inputArray()), Value(fiveLetters()));
  const Ref<PLVDeferred> completion =
      enumeration->deferredEnumerateObjectsUsingBlock([&](const Value&, NSUInteger, bool&) {
        EXPECT_TRUE(enumeration->completion());
        EXPECT_FALSE(enumeration->current());
        EXPECT_EQ(enumeration->currentIndex(), 0u);
        return Value(awaited);
      });
  EXPECT_EQ(enumeration->completion().get(), completion.get());
  EXPECT_EQ(enumeration->current().get(), awaited.get());
  EXPECT_TRUE(enumeration->enumerationBlock());
  EXPECT_EQ(enumeration->currentIndex(), 0u);
  enumeration->setStopOnConsume(true);
  awaited->resolve(1);
  EXPECT_FALSE(enumeration->completion());
  EXPECT_FALSE(enumeration->current());
  EXPECT_FALSE(enumeration->enumerationBlock());
  EXPECT_FALSE(enumeration->stopOnConsume());
  EXPECT_TRUE(completion->isResolved()) << "stopped behind the first element";
}

TEST_F(EnumerationTest, TheCurrentIndexIsTheApplications) {
  const Ref<PLVDeferredEnumeration> enumeration =
      PLVDeferredEnumeration::initWithArray(fiveLetters());
  enumeration->setCurrentIndex(7);
  enumeration->deferredEnumerateObjectsUsingBlock(visiting());
  EXPECT_EQ(enumeration->currentIndex(), 7u);
  happened();
}

TEST_F(EnumerationTest, TheInputArrayThatIsSetIsCopied) {
  const Ref<PLVDeferredEnumeration> enumeration = PLVDeferredEnumeration::initWithArray(nullptr);
  const Ref<NSMutableArray> array = NSMutableArray::array();
  array->addObject("a");
  enumeration->setInputArray(array);
  array->removeAllObjects();
  enumeration->deferredEnumerateObjectsUsingBlock(visiting());
  EXPECT_EQ(happened(), Words{"0 a"});
}

// One walk at a time

TEST_F(EnumerationTest, ASecondWalkIsRejectedWithNullAndTheFirstGoesOn) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init(), second = PLVDeferred::init();
  const Ref<PLVDeferredEnumeration> enumeration = PLVDeferredEnumeration::initWithArray(numbers(2));
  const Ref<PLVDeferred> first = enumeration->deferredEnumerateObjectsUsingBlock(
      visiting([&](NSUInteger index, bool&) { return index == 0 ? Value(awaited) : Value(); }));
  happened();
  enumeration->enumerateWithDeferredBlock(second, visiting());
  EXPECT_EQ(happened(), Words{});
  EXPECT_EQ(text(second->resolution()), "PLVRejected [(null)]");
  EXPECT_FALSE(second->isCancelled());
  EXPECT_FALSE(first->isResolved());
  EXPECT_EQ(enumeration->completion().get(), first.get());
  awaited->resolve(1);
  EXPECT_EQ(happened(), Words{"1 1"});
  EXPECT_TRUE(isKindOf<NSArray>(first->resolution()));
}

TEST_F(EnumerationTest, AWalkStartedFromTheBlockIsRejected) {
  const Ref<PLVDeferredEnumeration> enumeration = PLVDeferredEnumeration::initWithArray(numbers(1));
  Ref<PLVDeferred> second;
  enumeration->deferredEnumerateObjectsUsingBlock([&](const Value&, NSUInteger, bool&) {
    second = enumeration->deferredEnumerateObjectsUsingBlock(visiting());
    return Value();
  });
  EXPECT_EQ(text(second->resolution()), "PLVRejected [(null)]");
}

TEST_F(EnumerationTest, AWalkFromAHandlerOfTheCompletionIsStillASecondOne) {
  const Ref<PLVDeferredEnumeration> enumeration = PLVDeferredEnumeration::initWithArray(numbers(1));
  const Ref<PLVDeferred> completion = PLVDeferred::init(), second = PLVDeferred::init();
  completion->thenEither([&](const Value& value) {
    enumeration->enumerateWithDeferredBlock(second, visiting());
    return value;
  });
  enumeration->enumerateWithDeferredBlock(completion,
                                          [](const Value&, NSUInteger, bool&) { return Value(); });
  EXPECT_EQ(text(second->resolution()), "PLVRejected [(null)]");
  EXPECT_FALSE(enumeration->completion());
}

TEST_F(EnumerationTest, AfterAWalkThereMayBeAnother) {
  const Ref<PLVDeferredEnumeration> enumeration = PLVDeferredEnumeration::initWithArray(numbers(2));
  enumeration->deferredEnumerateObjectsUsingBlock(visiting([](NSUInteger, bool& stop) -> Value {
    stop = true;
    return nullptr;
  }));
  EXPECT_EQ(happened(), Words{"0 0"});
  enumeration->deferredEnumerateObjectsUsingBlock(visiting());
  EXPECT_EQ(happened(), (Words{"0 0", "1 1"}));
}

TEST_F(EnumerationTest, AWalkWithoutADeferredIsOverAtOnce) {
  const Ref<PLVDeferredEnumeration> enumeration = PLVDeferredEnumeration::initWithArray(numbers(2));
  enumeration->enumerateWithDeferredBlock(nullptr, visiting());
  EXPECT_EQ(happened(), Words{});
  EXPECT_FALSE(enumeration->enumerationBlock());
}

// Cancelling

TEST_F(EnumerationTest, CancellingTheCompletionCancelsWhatIsAwaitedAndEndsTheWalk) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  const Ref<PLVDeferredEnumeration> enumeration = PLVDeferredEnumeration::initWithArray(numbers(3));
  const Ref<PLVDeferred> completion = enumeration->deferredEnumerateObjectsUsingBlock(
      visiting([&](NSUInteger, bool&) -> Value { return awaited; }));
  awaited->thenEither(noting("awaited"));
  completion->thenEither(noting("completion"));
  happened();
  completion->cancelWithValue("enough");
  EXPECT_EQ(happened(), (Words{"awaited PLVRejected (CANCELLED) [enough]",
                               "completion PLVRejected (CANCELLED) [enough]"}));
  EXPECT_FALSE(enumeration->completion());
  EXPECT_FALSE(enumeration->current());
  EXPECT_FALSE(enumeration->enumerationBlock()) << "the walk has drained";
}

TEST_F(EnumerationTest, CancellingTheCompletionReachesThePromiseThatIsAwaited) {
  const Ref<PLVPromise> awaited = PLVPromise::init();
  const Ref<PLVDeferred> completion = PLVDeferredEnumeration::enumerateObjectsUsingBlock(
      numbers(3), [&](const Value&, NSUInteger, bool&) { return Value(awaited); });
  completion->cancel();
  EXPECT_TRUE(isCancellation(awaited->resolution())) << "its only listener has gone";
}

TEST_F(EnumerationTest, TheBlockMayCancelTheWalk) {
  const Ref<PLVDeferredEnumeration> enumeration = PLVDeferredEnumeration::initWithArray(numbers(3));
  const Ref<PLVDeferred> completion = PLVDeferred::withResolutionSource(enumeration);
  enumeration->enumerateWithDeferredBlock(completion,
                                          visiting([&](NSUInteger index, bool&) -> Value {
                                            if (index == 1) completion->cancelWithValue("enough");
                                            return nullptr;
                                          }));
  EXPECT_EQ(happened(), (Words{"0 0", "1 1"}));
  EXPECT_EQ(text(completion->resolution()), "PLVRejected (CANCELLED) [enough]");
  EXPECT_FALSE(enumeration->enumerationBlock());
}

TEST_F(EnumerationTest, ABlockThatCancelsTheWalkAndReturnsADeferredIsWaitedForOnceMore) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  const Ref<PLVDeferredEnumeration> enumeration = PLVDeferredEnumeration::initWithArray(numbers(3));
  const Ref<PLVDeferred> completion = PLVDeferred::withResolutionSource(enumeration);
  enumeration->enumerateWithDeferredBlock(completion, visiting([&](NSUInteger, bool&) -> Value {
                                            completion->cancel();
                                            return awaited;
                                          }));
  EXPECT_FALSE(awaited->isCancelled()) << "it was not awaited yet when the walk was cancelled";
  EXPECT_EQ(enumeration->current().get(), awaited.get());
  happened();
  awaited->resolve(1);
  EXPECT_EQ(happened(), Words{});
  EXPECT_FALSE(enumeration->enumerationBlock());
}

TEST_F(EnumerationTest, CancellingAFinishedWalkChangesOnlyTheOutcome) {
  const Ref<PLVDeferred> completion =
      PLVDeferredEnumeration::enumerateObjectsUsingBlock(numbers(1), visiting());
  happened();
  completion->cancel();
  EXPECT_TRUE(isCancellation(completion->resolution()));
}

TEST_F(EnumerationTest, ADeferredWithAnotherSourceIsCancelledWithoutTheWalk) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init(), completion = PLVDeferred::init();
  const Ref<PLVDeferredEnumeration> enumeration = PLVDeferredEnumeration::initWithArray(numbers(2));
  enumeration->enumerateWithDeferredBlock(
      completion, visiting([&](NSUInteger index, bool&) { return index ? Value() : awaited; }));
  completion->cancel();
  EXPECT_FALSE(awaited->isCancelled());
  awaited->resolve(1);
  EXPECT_EQ(happened(), (Words{"0 0", "1 1"}));
}

TEST_F(EnumerationTest, ACancelledWaitDoesNotDisturbTheNextWalk) {
  // What is awaited goes on waiting in spite of the cancellation, as some work does.
  class Stubborn : public Subclass<Stubborn, PLVDeferred> {
   public:
    void cancelWithValue(const Value&) override {}
  };
  const Ref<PLVDeferred> stubborn = makeObject<Stubborn>(), awaited = PLVDeferred::init();
  const Ref<PLVDeferredEnumeration> enumeration = PLVDeferredEnumeration::initWithArray(numbers(3));
  enumeration
      ->deferredEnumerateObjectsUsingBlock(
          [&](const Value&, NSUInteger, bool&) { return Value(stubborn); })
      ->cancel();
  const Ref<PLVDeferred> completion = enumeration->deferredEnumerateObjectsUsingBlock(
      visiting([&](NSUInteger index, bool&) { return index == 1 ? Value(awaited) : Value(); }));
  EXPECT_EQ(happened(), (Words{"0 0", "1 1"}));
  stubborn->resolve("late");
  EXPECT_EQ(happened(), Words{});
  EXPECT_EQ(enumeration->current().get(), awaited.get());
  awaited->resolve(1);
  EXPECT_EQ(happened(), Words{"2 2"});
  EXPECT_TRUE(completion->isResolved());
}

// Settled by hand

TEST_F(EnumerationTest, ResolvingTheEnumerationEndsTheWalk) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  const Ref<PLVDeferredEnumeration> enumeration = PLVDeferredEnumeration::initWithArray(numbers(3));
  const Ref<PLVDeferred> completion = enumeration->deferredEnumerateObjectsUsingBlock(
      visiting([&](NSUInteger, bool&) -> Value { return awaited; }));
  happened();
  enumeration->resolve("by hand");
  EXPECT_EQ(completion->resolution(), Value("by hand"));
  EXPECT_FALSE(enumeration->completion());
  awaited->resolve(1);
  EXPECT_EQ(happened(), Words{});
}

TEST_F(EnumerationTest, RejectWrapsWhatIsNoRejectionAndPassesWhatIs) {
  const Ref<PLVDeferredEnumeration> enumeration = PLVDeferredEnumeration::initWithArray(nullptr);
  const Ref<PLVDeferred> wrapped = PLVDeferred::init(), passed = PLVDeferred::init();
  enumeration->setCompletion(wrapped);
  enumeration->reject("no");
  EXPECT_EQ(text(wrapped->resolution()), "PLVRejected [no]");
  const Ref<PLVRejected> rejection = PLVRejected::cancellation();
  enumeration->setCompletion(passed);
  enumeration->reject(rejection);
  EXPECT_TRUE(passed->resolution().isIdentical(rejection));
  enumeration->reject("nobody");
}

// Exceptions

TEST_F(EnumerationTest, ABlockThatRaisesEndsTheWalkAndTheCompletionCarriesTheException) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  const Ref<PLVDeferredEnumeration> enumeration = PLVDeferredEnumeration::initWithArray(numbers(3));
  const Ref<PLVDeferred> completion =
      enumeration->deferredEnumerateObjectsUsingBlock([&](const Value&, NSUInteger index, bool&) {
        if (index == 1) raise("Scripted", "stop here");
        return Value(awaited);
      });
  awaited->resolve("fine");
  auto* rejected = as<PLVRejected>(completion->resolution());
  ASSERT_TRUE(rejected);
  EXPECT_EQ(text(Value(as<NSException>(rejected->value())->reason())), "stop here");
  EXPECT_EQ(awaited->resolution(), Value("fine")) << "the awaited chain is not altered";
  EXPECT_FALSE(enumeration->completion());
  EXPECT_FALSE(enumeration->enumerationBlock());
}

TEST_F(EnumerationTest, AnotherExceptionGoesToTheCallerAndTheCompletionMayBeCancelled) {
  const Ref<PLVDeferredEnumeration> enumeration = PLVDeferredEnumeration::initWithArray(numbers(3));
  const Ref<PLVDeferred> completion = PLVDeferred::withResolutionSource(enumeration);
  EXPECT_THROW(enumeration->enumerateWithDeferredBlock(
                   completion, [](const Value&, NSUInteger, bool&) -> Value { throw Foreign(); }),
               Foreign);
  EXPECT_FALSE(completion->isResolved());
  completion->cancel();
  EXPECT_FALSE(enumeration->completion());
}

// Ownership and threads

TEST_F(EnumerationTest, WhatIsAwaitedKeepsTheEnumerationAliveAndTheCompletionDoesNot) {
  Ref<PLVDeferred> awaited = PLVDeferred::init();
  Ref<PLVDeferredEnumeration> enumeration = PLVDeferredEnumeration::initWithArray(numbers(2));
  const Weak<PLVDeferredEnumeration> weak = enumeration;
  const Ref<PLVDeferred> completion = enumeration->deferredEnumerateObjectsUsingBlock(
      [&](const Value&, NSUInteger index, bool&) { return index ? Value() : Value(awaited); });
  enumeration = nullptr;
  EXPECT_TRUE(weak.load());
  awaited->resolve(1);
  EXPECT_TRUE(completion->isResolved());
  EXPECT_FALSE(weak.load());
}

TEST_F(EnumerationTest, TheEnumerationMayLoseItsLastReferenceInItsOwnBlock) {
  Ref<PLVDeferredEnumeration> enumeration = PLVDeferredEnumeration::initWithArray(numbers(3));
  const Ref<PLVDeferred> completion = PLVDeferred::init();
  PLVDeferredEnumeration& alive = *enumeration;
  alive.enumerateWithDeferredBlock(completion, visiting([&](NSUInteger, bool&) -> Value {
                                     enumeration = nullptr;
                                     return nullptr;
                                   }));
  EXPECT_EQ(happened().size(), 3u);
  EXPECT_TRUE(completion->isResolved());
}

TEST_F(EnumerationTest, AWalkAskedForOnAnotherThreadRunsOnTheMainThread) {
  Ref<PLVDeferred> completion;
  std::thread([&] {
    completion = PLVDeferredEnumeration::enumerateObjectsUsingBlock(
        NSArray::arrayWithObjects("a", "b"), visiting([](NSUInteger, bool&) -> Value {
          EXPECT_TRUE(MainQueue::isMainThread());
          return nullptr;
        }));
  }).join();
  EXPECT_EQ(happened(), Words{});
  turn();
  EXPECT_EQ(happened(), (Words{"0 a", "1 b"}));
  EXPECT_TRUE(runUntilIdle());
  EXPECT_TRUE(completion->isResolved());
}

TEST_F(EnumerationTest, ResolveAndRejectOnAnotherThreadTakeEffectOnTheMainThread) {
  const Ref<PLVDeferredEnumeration> enumeration = PLVDeferredEnumeration::initWithArray(nullptr);
  const Ref<PLVDeferred> completion = PLVDeferred::init();
  enumeration->setCompletion(completion);
  std::thread([&] { enumeration->reject("no"); }).join();
  EXPECT_FALSE(completion->isResolved());
  turn();
  EXPECT_EQ(text(completion->resolution()), "PLVRejected [no]");
}

// Subclasses and selectors

class NotedEnumeration : public Subclass<NotedEnumeration, PLVDeferredEnumeration> {
 public:
  void resolve(const Value& value) override {
    ++resolves;
    PLVDeferredEnumeration::resolve(value);
  }
  void resolvableDidCancelWithValue(const Ref<PLVResolvable>& resolvable,
                                    const Value& value) override {
    ++cancels;
    PLVDeferredEnumeration::resolvableDidCancelWithValue(resolvable, value);
  }
  static inline int resolves = 0, cancels = 0;

 protected:
  using Subclass::Subclass;
};

TEST_F(EnumerationTest, WhatASubclassOverridesIsCalled) {
  NotedEnumeration::resolves = NotedEnumeration::cancels = 0;
  const Ref<PLVDeferred> completion = NotedEnumeration::enumerateObjectsUsingBlock(
      numbers(2),
      [](const Value&, NSUInteger, bool&) { return Value(PLVDeferred::withResolved(1)); });
  EXPECT_TRUE(completion->isResolved());
  EXPECT_EQ(NotedEnumeration::resolves, 1);
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  const Ref<NotedEnumeration> enumeration = NotedEnumeration::initWithArray(numbers(2));
  enumeration
      ->deferredEnumerateObjectsUsingBlock(
          [&](const Value&, NSUInteger, bool&) { return Value(awaited); })
      ->cancelWithValue("enough");
  EXPECT_EQ(NotedEnumeration::cancels, 1);
  EXPECT_EQ(NotedEnumeration::resolves, 2) << "the walk drains through it";
  EXPECT_EQ(text(awaited->resolution()), "PLVRejected (CANCELLED) [enough]");
}

TEST_F(EnumerationTest, TheRuntimeReadsAndWritesItsProperties) {
  const Ref<PLVDeferredEnumeration> enumeration = PLVDeferredEnumeration::initWithArray(numbers(2));
  const Value object = enumeration;
  EXPECT_EQ(performSelector(object, SEL("inputArray")), Value(numbers(2)));
  performSelector(object, SEL("setCurrentIndex:"), 3);
  EXPECT_EQ(performSelector(object, SEL("currentIndex")), Value(3));
  performSelector(object, SEL("setStopOnConsume:"), true);
  EXPECT_TRUE(enumeration->stopOnConsume());
  const Ref<PLVDeferred> completion = PLVDeferred::init();
  performSelector(object, SEL("setCompletion:"), completion);
  performSelector(object, SEL("consumeObjectsStartingAtIndex:"), 5);
  EXPECT_EQ(completion->resolution(), Value(numbers(2)));
}

// The machinery

TEST_F(EnumerationTest, AWalkBeginsAtTheIndexThatItIsGiven) {
  const Ref<PLVDeferredEnumeration> enumeration =
      PLVDeferredEnumeration::initWithArray(fiveLetters());
  enumeration->setCompletion(PLVDeferred::init());
  enumeration->setEnumerationBlock(visiting());
  enumeration->consumeObjectsStartingAtIndex(3);
  EXPECT_EQ(happened(), (Words{"3 d", "4 e"}));
}

TEST_F(EnumerationTest, AWalkPausedByHandGoesOnBehindThatIndex) {
  const Ref<PLVDeferredEnumeration> enumeration =
      PLVDeferredEnumeration::initWithArray(fiveLetters());
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  enumeration->setCompletion(PLVDeferred::init());
  enumeration->setEnumerationBlock(visiting());
  enumeration->pauseWithDeferredAtIndex(awaited, 2);
  EXPECT_EQ(enumeration->current().get(), awaited.get());
  EXPECT_EQ(happened(), Words{});
  awaited->reject("no");
  EXPECT_EQ(happened(), (Words{"3 d", "4 e"}));
}

TEST_F(EnumerationTest, PausingForNullWaitsForNothing) {
  const Ref<PLVDeferredEnumeration> enumeration = PLVDeferredEnumeration::initWithArray(nullptr);
  enumeration->pauseWithDeferredAtIndex(nullptr, 0);
  EXPECT_FALSE(enumeration->current());
}

// Without end

TEST_F(EnumerationTest, AMillionElementsWhoseDeferredsAreThereAlready) {
  NSInteger visited = 0;
  const Ref<PLVDeferred> completion = PLVDeferredEnumeration::enumerateObjectsUsingBlock(
      numbers(million), [&](const Value& element, NSUInteger index, bool&) -> Value {
        EXPECT_EQ(static_cast<NSInteger>(index), visited++);
        return index % 2 ? Value(PLVDeferred::withResolved(element))
                         : Value(PLVPromise::withResolved(element));
      });
  EXPECT_EQ(visited, million);
  EXPECT_TRUE(completion->isResolved());
}

TEST_F(EnumerationTest, AMillionElementsThatWaitOneAfterTheOther) {
  std::vector<Ref<PLVDeferred>> awaited(million);
  for (Ref<PLVDeferred>& deferred : awaited) deferred = PLVDeferred::init();
  NSInteger visited = 0;
  const Ref<PLVDeferred> completion = PLVDeferredEnumeration::enumerateObjectsUsingBlock(
      numbers(million), [&](const Value&, NSUInteger index, bool&) -> Value {
        ++visited;
        return awaited[index];
      });
  // From behind, so that the first one lets all of them go.
  for (int i = million - 1; i > 0; --i) awaited[i]->resolve(i);
  EXPECT_EQ(visited, 1);
  awaited[0]->resolve(0);
  EXPECT_EQ(visited, million);
  EXPECT_TRUE(completion->isResolved());
}

/// Walks each of which waits for the completion of the next, which has begun before it.
class NestedWalksTest : public EnumerationTest {
 protected:
  static constexpr int depth = 100'000;
  Ref<PLVDeferred> innermost() { return walks.front(); }

  void nest() {
    walks.push_back(PLVDeferred::init());
    for (int i = 0; i < depth; ++i) {
      walks.push_back(PLVDeferredEnumeration::enumerateObjectsUsingBlock(
          one, [inner = walks.back()](const Value&, NSUInteger, bool&) -> Value { return inner; }));
    }
  }
  void TearDown() override {
    walks.clear();
    one = nullptr;
    EnumerationTest::TearDown();
  }

  Ref<NSArray> one = numbers(1);
  std::vector<Ref<PLVDeferred>> walks;
};

TEST_F(NestedWalksTest, TheInnermostOutcomeEndsAllOfThem) {
  nest();
  EXPECT_FALSE(walks.back()->isResolved());
  innermost()->resolve(1);
  EXPECT_TRUE(walks.back()->isResolved());
}

TEST_F(NestedWalksTest, CancellingTheOutermostReachesTheInnermost) {
  nest();
  walks.back()->cancelWithValue("enough");
  EXPECT_EQ(text(innermost()->resolution()), "PLVRejected (CANCELLED) [enough]");
  for (const Ref<PLVDeferred>& walk : walks) ASSERT_TRUE(isCancellation(walk->resolution()));
}

}  // namespace
}  // namespace JNFoundation
