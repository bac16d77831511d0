#include "DeferredFixture.h"

#include <JNFoundation/deferred/Deferred.h>
#include <JNFoundation/deferred/Promise.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSNumber.h>

/// The typed view of a deferred.
namespace JNFoundation {
namespace {

class DeferredTest : public DeferredFixture {
 protected:
  /// The text of the error that a value of another kind comes to; "" for any other outcome.
  static std::string kindError(const Value& outcome) {
    auto* rejected = as<PLVRejected>(outcome);
    if (!rejected ||
        !rejected->isErrorForDomainWithCode(JNDeferredErrorDomain, JNDeferredErrorUnexpectedKind)) {
      return "";
    }
    return text(as<NSError>(rejected->value())->localizedDescription());
  }

  auto notingInt(std::string name) {
    return [this, name = std::move(name)](int number) {
      record.push_back(name + " " + std::to_string(number));
      return number;
    };
  }
};

/// What a chain keeps of a typed handler is as large as the handler.
template <class Handler>
constexpr bool costsNothing(const Handler&) {
  return sizeof(impl::TypedHandler<impl::Success<int>, int, Handler>) == sizeof(Handler);
}
static_assert(costsNothing([a = 1, b = 2L](int number) { return number + a + int(b); }));
static_assert(!std::is_copy_constructible_v<Deferred<int>>);
static_assert(std::is_nothrow_move_constructible_v<Deferred<int>>);
static_assert(sizeof(Deferred<int>) == sizeof(Ref<PLVDeferred>));
static_assert(sizeof(Promise<int>) == sizeof(Ref<PLVPromise>));
static_assert(!std::is_convertible_v<Ref<PLVDeferred>, Deferred<int>>,
              "what a deferred gives is stated, not guessed");
static_assert(std::is_convertible_v<Deferred<int>, Ref<PLVDeferred>>);
static_assert(!std::is_convertible_v<Deferred<int>&, Ref<PLVDeferred>>);

TEST_F(DeferredTest, AddsItsStepsToTheVeryDeferred) {
  const Ref<PLVDeferred> untyped = PLVDeferred::init();
  const Ref<PLVDeferred> same =
      Deferred<std::string>(untyped)
          .thenResolved([](const std::string& text) { return text.size(); })
          .thenResolved([](std::size_t size) { return size * 2; });
  EXPECT_EQ(same, untyped);
  untyped->resolve("four");
  EXPECT_EQ(untyped->resolution(), Value(8));
}

TEST_F(DeferredTest, AHandlersTypeFollowsFromWhatItReturns) {
  auto text = Deferred<int>::withResolved(3).thenResolved([](int) { return "text"; });
  static_assert(std::is_same_v<decltype(text), Deferred<std::string>>);
  auto nothing = std::move(text).thenResolved([](const std::string&) {});
  static_assert(std::is_same_v<decltype(nothing), Deferred<void>>);
  auto outcome = std::move(nothing).thenResolved([]() -> Outcome<double> { return 2.5; });
  static_assert(std::is_same_v<decltype(outcome), Deferred<double>>);
  auto nested = std::move(outcome).thenResolved([](double) { return Deferred<bool>(); });
  static_assert(std::is_same_v<decltype(nested), Deferred<bool>>);
  auto promised = std::move(nested).thenResolved([](bool) { return Promise<int>(); });
  static_assert(std::is_same_v<decltype(promised), Deferred<int>>);
  auto untyped = std::move(promised).thenResolved([](int) { return Ref<PLVDeferred>(); });
  static_assert(std::is_same_v<decltype(untyped), Deferred<Value>>);
  auto array = std::move(untyped).thenResolved([](const Value&) { return NSArray::array(); });
  static_assert(std::is_same_v<decltype(array), Deferred<Ref<NSArray>>>);
}

TEST_F(DeferredTest, ConsumesItsHandle) {
  Deferred<int> first = Deferred<int>::withResolved(1);
  const Deferred<int> second = std::move(first).thenResolved(notingInt("step"));
  EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): that it is null is what is tested
  EXPECT_TRUE(second);
  EXPECT_EQ(happened(), Words{"step 1"});
}

TEST_F(DeferredTest, AValueOfAnotherKindDoesNotReachTheHandler) {
  const Ref<PLVDeferred> untyped = PLVDeferred::withResolved("text");
  Deferred<int>(untyped).thenResolved(notingInt("unreachable")).thenResolved(notingInt("neither"));
  EXPECT_EQ(kindError(untyped->resolution()), "Expected int, found __NSCFString.");
}

TEST_F(DeferredTest, NullIsNoNumberAndNoText) {
  const Ref<PLVDeferred> number = PLVDeferred::withResolved(nullptr);
  Deferred<int>(number).thenResolved(notingInt("unreachable"));
  EXPECT_EQ(kindError(number->resolution()), "Expected int, found null.");
  const Ref<PLVDeferred> string = PLVDeferred::withResolved(nullptr);
  Deferred<std::string>(string).thenResolved([](const std::string& text) { return text; });
  EXPECT_EQ(kindError(string->resolution()), "Expected std::string, found null.");
}

TEST_F(DeferredTest, AnObjectIsOfItsClassOrOneDerivedOrNull) {
  const auto counting = [](const Ref<NSArray>& array) { return array ? int(array->count()) : -1; };
  const auto counted = [&](const Value& value) {
    const Ref<PLVDeferred> untyped = PLVDeferred::withResolved(value);
    Deferred<Ref<NSArray>>(untyped).thenResolved(counting);
    return untyped->resolution();
  };
  EXPECT_EQ(counted(NSArray::arrayWithObjects(1, 2)), Value(2));
  EXPECT_EQ(counted(NSMutableArray::array()), Value(0));
  EXPECT_EQ(counted(nullptr), Value(-1));
  EXPECT_EQ(kindError(counted("text")), "Expected NSArray, found __NSCFString.");
  EXPECT_EQ(kindError(counted(3)), "Expected NSArray, found __NSCFNumber 3.");
}

TEST_F(DeferredTest, AProtocolIsAKindAsWell) {
  const Ref<Listener> listener = Listener::answering([](const Value&) {});
  const Ref<PLVDeferred> adopts = PLVDeferred::withResolved(listener),
                         doesNot = PLVDeferred::withResolved(1);
  const auto resolving = [](const Ref<PLVResolvable>& resolvable) { return resolvable != nullptr; };
  Deferred<Ref<PLVResolvable>>(adopts).thenResolved(resolving);
  Deferred<Ref<PLVResolvable>>(doesNot).thenResolved(resolving);
  EXPECT_EQ(adopts->resolution(), Value(true));
  EXPECT_EQ(kindError(doesNot->resolution()), "Expected PLVResolvable, found __NSCFNumber 1.");
}

TEST_F(DeferredTest, AHandlerFailsByAnOutcome) {
  const auto parsed = [this](std::string text) {
    Ref<PLVDeferred> untyped = Deferred<std::string>::withResolved(text)
                                   .thenResolved([](const std::string& text) -> Outcome<int> {
                                     if (text.empty()) return PLVRejected::withValue("empty");
                                     return static_cast<int>(text.size());
                                   })
                                   .thenResolved(notingInt("parsed"));
    return untyped->resolution();
  };
  EXPECT_EQ(parsed("four"), Value(4));
  EXPECT_EQ(text(parsed("")), "PLVRejected [empty]");
  EXPECT_EQ(happened(), Words{"parsed 4"});
}

TEST_F(DeferredTest, AHandlerOfFailuresGivesTheTypeOrAFailure) {
  Ref<PLVDeferred> recovered =
      Deferred<int>::withRejected("no").thenRejected([](const Ref<PLVRejected>&) { return 7; });
  EXPECT_EQ(recovered->resolution(), Value(7));
  Ref<PLVDeferred> still = Deferred<int>::withRejected("no").thenRejected(
      [](const Ref<PLVRejected>& rejected) { return rejected; });
  EXPECT_EQ(text(still->resolution()), "PLVRejected [no]");
  Ref<PLVDeferred> either = Deferred<int>::withRejected("no").thenRejected(
      [](const Ref<PLVRejected>& rejected) -> Outcome<int> { return rejected; });
  EXPECT_EQ(text(either->resolution()), "PLVRejected [no]");
  Ref<PLVDeferred> passed =
      Deferred<int>::withResolved(1).thenRejected([](const Ref<PLVRejected>&) { return 7; });
  EXPECT_EQ(passed->resolution(), Value(1));
}

TEST_F(DeferredTest, OneOfTwoHandlersRuns) {
  const auto of = [](Deferred<int> deferred) {
    Ref<PLVDeferred> untyped = std::move(deferred).thenResolvedRejected(
        [](int number) { return number + 0.5; }, [](const Ref<PLVRejected>&) { return -1; });
    return untyped->resolution();
  };
  EXPECT_EQ(of(Deferred<int>::withResolved(1)), Value(1.5));
  EXPECT_EQ(of(Deferred<int>::withRejected("no")), Value(-1.0));
  EXPECT_EQ(of(Deferred<int>::withRejected("no")).kind(), Value::Kind::Double);
  EXPECT_EQ(kindError(of(Deferred<int>(PLVDeferred::withResolved("text")))),
            "Expected int, found __NSCFString.");
}

TEST_F(DeferredTest, AHandlerOfBothTakesAnOutcome) {
  const auto noting = [this](const Outcome<int>& outcome) {
    record.push_back(outcome.isRejected() ? "failure " + text(outcome.rejected()->value())
                                          : "value " + std::to_string(outcome.value()));
    return outcome.isRejected();
  };
  Deferred<int>::withResolved(1).thenEither(noting);
  Deferred<int>::withRejected("no").thenEither(noting);
  Deferred<int>::withRejected(PLVRejected::cancellation()).thenEitherUnlessCanceled(noting);
  EXPECT_EQ(happened(), (Words{"value 1", "failure no"}));
  Deferred<int>(PLVDeferred::withResolved("text")).thenEither([&](const Outcome<int>& outcome) {
    EXPECT_EQ(kindError(outcome.rejected()), "Expected int, found __NSCFString.");
  });
}

TEST_F(DeferredTest, OfVoidTakesAndGivesNothing) {
  const Ref<PLVDeferred> untyped = PLVDeferred::withResolved("ignored");
  Deferred<void>(untyped)
      .thenResolved([this] { record.push_back("called"); })
      .thenEither([this](const Outcome<void>& outcome) {
        record.push_back(outcome.isRejected() ? "failed" : "ended");
      })
      .thenRejected([](const Ref<PLVRejected>&) {});
  EXPECT_EQ(happened(), (Words{"called", "ended"}));
  EXPECT_TRUE(untyped->resolution().isNull());
}

TEST_F(DeferredTest, WaitsForATypedDeferredThatAHandlerReturns) {
  const Ref<PLVDeferred> inner = PLVDeferred::init();
  Ref<PLVDeferred> outer = Deferred<int>::withResolved(1)
                               .thenResolved([&](int) { return Deferred<int>(inner); })
                               .thenResolved(notingInt("after"));
  EXPECT_TRUE(outer->isPaused());
  inner->resolve(5);
  EXPECT_EQ(happened(), Words{"after 5"});
}

TEST_F(DeferredTest, AHandlerMayOwnWhatCannotBeCopiedAndChangeIt) {
  Ref<PLVDeferred> deferred = Deferred<int>::withResolved(1).thenResolved(
      [sum = std::make_unique<int>(10)](int number) mutable { return *sum += number; });
  EXPECT_EQ(deferred->resolution(), Value(11));
}

TEST_F(DeferredTest, PassesItsOutcomeToATarget) {
  const Ref<PLVPromise> target = PLVPromise::init();
  Deferred<int>::withResolved(1).thenResolve(target).thenResolved(notingInt("next"));
  EXPECT_EQ(target->resolution(), Value(1));
  EXPECT_EQ(happened(), Words{"next 1"});
}

TEST_F(DeferredTest, IsCancelledLikeAnyOther) {
  const Deferred<int> deferred(PLVDeferred::init());
  EXPECT_FALSE(deferred.isResolved());
  deferred.cancelWithValue("stop");
  EXPECT_TRUE(deferred.isResolved());
  EXPECT_TRUE(deferred.isCancelled());
  EXPECT_EQ(text(deferred.untyped()->resolution()), "PLVRejected (CANCELLED) [stop]");
}

TEST_F(DeferredTest, AGuardedHandlerIsSkippedOnceItsOwnerHasGone) {
  auto owner = std::make_shared<int>(10);
  const std::weak_ptr<int> guard = owner;
  const auto of = [&](Deferred<int> deferred) {
    const Ref<PLVDeferred> untyped =
        std::move(deferred)
            .thenResolved(guard, [](const std::shared_ptr<int>& owner,
                                    int number) { return *owner + number; })
            .thenResolved(guard, [calls = 0](int number) mutable { return number + ++calls; })
            .thenRejected(guard, [](const Ref<PLVRejected>&) { return -1; });
    return untyped->resolution();
  };
  EXPECT_EQ(of(Deferred<int>::withResolved(1)), Value(12));
  EXPECT_EQ(of(Deferred<int>::withRejected("no")), Value(-1));
  owner = nullptr;
  EXPECT_EQ(of(Deferred<int>::withResolved(1)), Value(1));
  EXPECT_EQ(text(of(Deferred<int>::withRejected("no"))), "PLVRejected [no]");
}

TEST_F(DeferredTest, AGuardedHandlerOfVoidTakesTheOwnerAlone) {
  const auto owner = std::make_shared<int>(10);
  Deferred<void>::withResolved().thenResolved(std::weak_ptr<int>(owner),
                                              [](const std::shared_ptr<int>& owner) { ++*owner; });
  EXPECT_EQ(*owner, 11);
}

TEST_F(DeferredTest, AnAwaitGivesTheType) {
  const auto coroutine = [](Deferred<std::string> text, Deferred<int> number,
                            Deferred<void> nothing) -> Deferred<std::string> {
    co_await nothing;
    std::string result = co_await std::move(text);
    result += std::to_string(co_await number + co_await Deferred<int>::withResolved(1));
    co_return result;
  };
  const Ref<PLVDeferred> number = PLVDeferred::init();
  const Deferred<std::string> result =
      coroutine(Deferred<std::string>::withResolved("number "), Deferred<int>(number),
                Deferred<void>::withResolved());
  EXPECT_FALSE(result.isResolved());
  number->resolve(41);
  EXPECT_EQ(result.untyped()->resolution(), Value("number 42"));
}

TEST_F(DeferredTest, AnAwaitOfAnotherKindThrowsAndTheChainKeepsItsValue) {
  const Ref<PLVDeferred> untyped = PLVDeferred::withResolved("text");
  const auto coroutine = [](Deferred<int> number) -> Deferred<int> {
    co_return co_await std::move(number) + 1;
  };
  const Deferred<int> result = coroutine(Deferred<int>(untyped));
  EXPECT_EQ(kindError(result.untyped()->resolution()), "Expected int, found __NSCFString.");
  EXPECT_EQ(untyped->resolution(), Value("text"));
}

TEST_F(DeferredTest, ACoroutineMayReturnWhatAHandlerMay) {
  const auto value = []() -> Deferred<double> { co_return 1; };
  const auto failure = []() -> Deferred<double> { co_return PLVRejected::withValue("no"); };
  const auto outcome = []() -> Deferred<double> { co_return Outcome<double>(2.5); };
  const auto deferred = [&]() -> Deferred<double> { co_return value(); };
  const auto nothing = []() -> Deferred<void> { co_return; };
  const auto braces = []() -> Deferred<Ref<NSArray>> { co_return {}; };
  EXPECT_EQ(value().untyped()->resolution(), Value(1.0));
  EXPECT_EQ(text(failure().untyped()->resolution()), "PLVRejected [no]");
  EXPECT_EQ(outcome().untyped()->resolution(), Value(2.5));
  EXPECT_EQ(deferred().untyped()->resolution(), Value(1.0));
  EXPECT_TRUE(nothing().isResolved());
  EXPECT_TRUE(braces().untyped()->resolution().isNull());
}

TEST_F(DeferredTest, ACoroutineOfVoidRejectsWithWhatLeavesIt) {
  const auto coroutine = [](Deferred<void> awaited) -> Deferred<void> { co_await awaited; };
  EXPECT_EQ(text(coroutine(Deferred<void>::withRejected("no")).untyped()->resolution()),
            "PLVRejected [no]");
}

}  // namespace
}  // namespace JNFoundation
