#include <gtest/gtest.h>
#include <limits>

#include "platform/value/LiveObjects.h"

#include <JNFoundation/deferred/PLVRejected.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {
namespace {

class RefusalOfLogin : public Subclass<RefusalOfLogin, PLVRejected> {
 protected:
  using Subclass::Subclass;
};

class SpecialError : public Subclass<SpecialError, NSError> {
 protected:
  using Subclass::Subclass;
};

class PLVRejectedTest : public ::testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(live.count(), 0); }

  static Ref<NSError> error(const char* domain, NSInteger code) {
    return NSError::errorWithDomainCodeUserInfo(domain, code, nullptr);
  }
  static std::string description(const Ref<PLVRejected>& rejected) {
    return rejected->description()->toStdString();
  }

  ::JNFoundation::testing::LiveObjects live;
};

TEST_F(PLVRejectedTest, AFailureCarriesItsValueAndIsNoCancellation) {
  const Ref<PLVRejected> rejected = PLVRejected::withValue("broken");
  EXPECT_EQ(rejected->value(), Value("broken"));
  EXPECT_FALSE(rejected->isCancellation());
}

TEST_F(PLVRejectedTest, InitWithValueIsNoCancellation) {
  const Ref<PLVRejected> rejected = PLVRejected::initWithValue(404);
  EXPECT_EQ(rejected->value(), Value(404));
  EXPECT_FALSE(rejected->isCancellation());
}

TEST_F(PLVRejectedTest, AFailureMayCarryNull) {
  EXPECT_TRUE(PLVRejected::withValue(nullptr)->value().isNull());
}

TEST_F(PLVRejectedTest, CancellationCarriesNull) {
  EXPECT_TRUE(PLVRejected::cancellation()->value().isNull());
  EXPECT_TRUE(PLVRejected::cancellation()->isCancellation());
}

TEST_F(PLVRejectedTest, CancellationWithValueCarriesIt) {
  const Ref<PLVRejected> rejected = PLVRejected::cancellationWithValue("closed");
  EXPECT_EQ(rejected->value(), Value("closed"));
  EXPECT_TRUE(rejected->isCancellation());
}

TEST_F(PLVRejectedTest, InitWithValueCancellationStoresBoth) {
  EXPECT_FALSE(PLVRejected::initWithValueCancellation(1, false)->isCancellation());
  const Ref<PLVRejected> rejected = PLVRejected::initWithValueCancellation(1, true);
  EXPECT_TRUE(rejected->isCancellation());
  EXPECT_EQ(rejected->value(), Value(1));
}

TEST_F(PLVRejectedTest, DescriptionShowsTheValueInBrackets) {
  EXPECT_EQ(description(PLVRejected::withValue("broken")), "PLVRejected [broken]");
  EXPECT_EQ(description(PLVRejected::withValue(404)), "PLVRejected [404]");
  EXPECT_EQ(description(PLVRejected::withValue(nullptr)), "PLVRejected [(null)]");
}

TEST_F(PLVRejectedTest, DescriptionOfACancellationSaysSo) {
  EXPECT_EQ(description(PLVRejected::cancellationWithValue("closed")),
            "PLVRejected (CANCELLED) [closed]");
  EXPECT_EQ(description(PLVRejected::cancellation()), "PLVRejected (CANCELLED) [(null)]");
}

TEST_F(PLVRejectedTest, DescriptionOfAFailureInAFailureShowsBoth) {
  EXPECT_EQ(description(PLVRejected::withValue(PLVRejected::cancellationWithValue(1))),
            "PLVRejected [PLVRejected (CANCELLED) [1]]");
}

TEST_F(PLVRejectedTest, ErrorForItsDomainIsThatVeryError) {
  const Ref<NSError> refused = error("Feed", 404);
  EXPECT_EQ(PLVRejected::withValue(refused)->errorForDomain("Feed"), refused);
  EXPECT_EQ(PLVRejected::cancellationWithValue(refused)->errorForDomain("Feed"), refused);
}

TEST_F(PLVRejectedTest, AnErrorOfADerivedClassIsAnError) {
  const Ref<SpecialError> refused = SpecialError::errorWithDomainCodeUserInfo("Feed", 1, nullptr);
  EXPECT_EQ(PLVRejected::withValue(refused)->errorForDomain("Feed"), refused);
}

TEST_F(PLVRejectedTest, ErrorForAnotherDomainIsNull) {
  const Ref<PLVRejected> rejected = PLVRejected::withValue(error("Feed", 404));
  EXPECT_FALSE(rejected->errorForDomain("feed"));
  EXPECT_FALSE(rejected->errorForDomain("Fee"));
  EXPECT_FALSE(rejected->errorForDomain(""));
}

TEST_F(PLVRejectedTest, ErrorForANullDomainIsNull) {
  EXPECT_FALSE(PLVRejected::withValue(error("Feed", 404))->errorForDomain(nullptr));
  EXPECT_FALSE(PLVRejected::withValue("Feed")->errorForDomain(nullptr));
  EXPECT_FALSE(PLVRejected::cancellation()->errorForDomain(nullptr));
  EXPECT_FALSE(PLVRejected::withValue(error("Feed", 0))->isErrorForDomainWithCode(nullptr, 0));
}

TEST_F(PLVRejectedTest, WhatIsNoErrorHasNoDomain) {
  EXPECT_FALSE(PLVRejected::withValue("Feed")->errorForDomain("Feed"));
  EXPECT_FALSE(PLVRejected::withValue(404)->errorForDomain("Feed"));
  EXPECT_FALSE(PLVRejected::withValue(nullptr)->errorForDomain("Feed"));
  EXPECT_FALSE(PLVRejected::withValue(nullptr)->isErrorForDomainWithCode("Feed", 0));
}

TEST_F(PLVRejectedTest, IsErrorNeedsBothDomainAndCode) {
  const Ref<PLVRejected> rejected = PLVRejected::withValue(error("Feed", 404));
  EXPECT_TRUE(rejected->isErrorForDomainWithCode("Feed", 404));
  EXPECT_FALSE(rejected->isErrorForDomainWithCode("Feed", 403));
  EXPECT_FALSE(rejected->isErrorForDomainWithCode("Door", 404));
}

TEST_F(PLVRejectedTest, CodesAreComparedInFull) {
  constexpr NSInteger lowest = std::numeric_limits<NSInteger>::min();
  const Ref<PLVRejected> rejected = PLVRejected::withValue(error("Feed", lowest));
  EXPECT_TRUE(rejected->isErrorForDomainWithCode("Feed", lowest));
  EXPECT_FALSE(rejected->isErrorForDomainWithCode("Feed", 0));
}

TEST_F(PLVRejectedTest, ClassOperationsOfASubclassMakeInstancesOfIt) {
  EXPECT_TRUE(isKindOf<RefusalOfLogin>(Value(RefusalOfLogin::withValue(1))));
  EXPECT_TRUE(isKindOf<RefusalOfLogin>(Value(RefusalOfLogin::cancellation())));
  EXPECT_TRUE(isKindOf<RefusalOfLogin>(Value(RefusalOfLogin::cancellationWithValue(1))));
  EXPECT_TRUE(isKindOf<RefusalOfLogin>(Value(RefusalOfLogin::initWithValue(1))));
  EXPECT_TRUE(isKindOf<RefusalOfLogin>(Value(RefusalOfLogin::initWithValueCancellation(1, true))));
  EXPECT_EQ(RefusalOfLogin::withValue(1)->value(), Value(1));
  EXPECT_FALSE(RefusalOfLogin::withValue(1)->isCancellation());
  EXPECT_FALSE(RefusalOfLogin::initWithValue(1)->isCancellation());
  EXPECT_TRUE(RefusalOfLogin::cancellation()->isCancellation());
  EXPECT_TRUE(RefusalOfLogin::cancellationWithValue(1)->isCancellation());
}

TEST_F(PLVRejectedTest, OnlyARejectionWithTheFlagIsACancellation) {
  EXPECT_TRUE(isCancellation(PLVRejected::cancellation()));
  EXPECT_TRUE(isCancellation(RefusalOfLogin::cancellationWithValue(1)));
  EXPECT_FALSE(isCancellation(PLVRejected::withValue(PLVRejected::cancellation())));
  EXPECT_FALSE(isCancellation("PLVRejected (CANCELLED) [(null)]"));
  EXPECT_FALSE(isCancellation(true));
  EXPECT_FALSE(isCancellation(nullptr));
}

TEST_F(PLVRejectedTest, AnswersByName) {
  const Value rejected = RefusalOfLogin::cancellationWithValue("closed");
  EXPECT_EQ(performSelector(rejected, "value"), Value("closed"));
  EXPECT_EQ(performSelector(rejected, "isCancellation"), Value(true));
  EXPECT_EQ(performSelector(PLVRejected::withValue(error("Feed", 4)),
                            "isErrorForDomain:withCode:", "Feed", 4),
            Value(true));
}

}  // namespace
}  // namespace JNFoundation
