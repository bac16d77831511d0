#include <stdexcept>

#include "DeferredFixture.h"

#include <JNFoundation/deferred/Rejected.h>
#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation {
namespace {

class RejectedTest : public DeferredFixture {
 protected:
  template <class Action>
  static Ref<PLVRejected> caught(Action action) {
    try {
      action();
    } catch (...) {
      return currentExceptionAsRejected();
    }
    return nullptr;
  }

  static Ref<NSError> error(const Ref<PLVRejected>& rejected) {
    return Ref<NSError>(as<NSError>(rejected->value()));
  }
};

TEST_F(RejectedTest, CarriesTheVeryFailure) {
  const Ref<PLVRejected> failure = PLVRejected::withValue("no");
  EXPECT_EQ(Rejected(failure).rejected(), failure);
  EXPECT_EQ(Rejected(Value(failure)).rejected(), failure);
  EXPECT_EQ(Rejected(Value("no")).rejected()->value(), Value("no"));
}

TEST_F(RejectedTest, OfNullCarriesNull) {
  const Rejected rejected{Ref<PLVRejected>()};
  ASSERT_TRUE(rejected.rejected());
  EXPECT_TRUE(rejected.rejected()->value().isNull());
}

TEST_F(RejectedTest, SaysWhatFailed) {
  const Ref<NSError> error = NSError::errorWithDomainCodeUserInfo(
      "Feed", 404,
      NSDictionary::dictionaryWithEntries({{NSLocalizedDescriptionKey, "There is no such feed."}}));
  EXPECT_STREQ(Rejected(Value(error)).what(), "There is no such feed.");
  EXPECT_STREQ(Rejected(Value("no")).what(), "PLVRejected [no]");
  EXPECT_STREQ(Cancelled().what(), "PLVRejected (CANCELLED) [(null)]");
}

TEST_F(RejectedTest, WhoseDescriptionFailsSaysSo) {
  class Mute : public Subclass<Mute, NSObject> {
   public:
    Ref<NSString> description() const override { throw Foreign(); }
  };
  EXPECT_STREQ(Rejected(Value(makeObject<Mute>())).what(), "rejected");
}

TEST_F(RejectedTest, IsRaisedAsACancellationWhereItIsOne) {
  EXPECT_THROW(Rejected::raise(PLVRejected::cancellation()), Cancelled);
  try {
    Rejected::raise(PLVRejected::withValue("no"));
  } catch (const Cancelled&) {
    FAIL() << "it is none";
  } catch (const Rejected& rejected) {
    EXPECT_EQ(rejected.rejected()->value(), Value("no"));
  }
  EXPECT_THROW(Rejected::raise(nullptr), Rejected);
}

TEST_F(RejectedTest, AnExceptionBecomesTheFailureThatItCarries) {
  const Ref<PLVRejected> failure = PLVRejected::withValue("no");
  EXPECT_EQ(caught([&] { throw Rejected(failure); }), failure);
  const Ref<PLVRejected> cancellation = PLVRejected::cancellation();
  EXPECT_EQ(caught([&] { throw Cancelled(cancellation); }), cancellation);
}

TEST_F(RejectedTest, ANSExceptionBecomesAFailureThatCarriesIt) {
  const Ref<PLVRejected> failure = caught([] { raise("Scripted", "why"); });
  ASSERT_TRUE(isKindOf<NSException>(failure->value()));
  EXPECT_EQ(text(as<NSException>(failure->value())->reason()), "why");
}

TEST_F(RejectedTest, AStandardExceptionBecomesAnErrorWithItsTextAndType) {
  const Ref<NSError> found = error(caught([] { throw std::invalid_argument("not a number"); }));
  ASSERT_TRUE(found);
  EXPECT_EQ(text(found->domain()), "JNDeferredErrorDomain");
  EXPECT_EQ(found->code(), JNDeferredErrorException);
  EXPECT_EQ(text(found->localizedDescription()), "not a number");
  EXPECT_EQ(text(found->userInfo()->objectForKey(NSDebugDescriptionErrorKey)),
            "std::invalid_argument");
}

TEST_F(RejectedTest, AStandardExceptionWithoutTextBecomesAnErrorWithout) {
  struct Silent : std::exception {
    const char* what() const noexcept override { return nullptr; }
  };
  EXPECT_EQ(text(error(caught([] { throw Silent(); }))->localizedDescription()), "");
}

TEST_F(RejectedTest, AnythingElseBecomesAnErrorThatSaysSo) {
  const Ref<NSError> found = error(caught([] { throw 7; }));
  ASSERT_TRUE(found);
  EXPECT_EQ(found->code(), JNDeferredErrorUnknownException);
  EXPECT_EQ(text(found->localizedDescription()), "Something was thrown that is no std::exception.");
  EXPECT_EQ(text(found->userInfo()->objectForKey(NSDebugDescriptionErrorKey)), "int");
}

TEST_F(RejectedTest, ACatchingHandlerTurnsWhatItThrowsIntoAFailure) {
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved("seven");
  deferred
      ->thenResolved(catching([](const Value& value) -> Value { return std::stoi(text(value)); }))
      ->thenRejected([this](const Ref<PLVRejected>& rejected) -> Value {
        EXPECT_TRUE(
            rejected->isErrorForDomainWithCode(JNDeferredErrorDomain, JNDeferredErrorException));
        record.push_back(text(error(rejected)->localizedDescription()));
        return rejected;
      });
  EXPECT_EQ(happened(), Words{"stoi"});
}

TEST_F(RejectedTest, ACatchingHandlerOfFailuresDoesSoToo) {
  const Ref<PLVDeferred> deferred = PLVDeferred::withRejected("no");
  int calls = 0;
  deferred->thenRejected(catching([&calls](const Ref<PLVRejected>&) mutable -> Value {
    ++calls;
    throw Foreign();
  }));
  EXPECT_EQ(calls, 1);
  EXPECT_TRUE(
      as<PLVRejected>(deferred->resolution())
          ->isErrorForDomainWithCode(JNDeferredErrorDomain, JNDeferredErrorUnknownException));
}

TEST_F(RejectedTest, ACatchingHandlerThatThrowsNothingChangesNothing) {
  const Ref<PLVDeferred> deferred = PLVDeferred::withResolved(1);
  deferred->thenResolved(catching(returning("step", 2)));
  EXPECT_EQ(happened(), Words{"step 1"});
  EXPECT_EQ(deferred->resolution(), Value(2));
}

}  // namespace
}  // namespace JNFoundation
