#include "DeferredFixture.h"

#include <JNFoundation/deferred/PLVRejectedIgnored.h>

namespace JNFoundation {
namespace {

/// Overrides the accessors, as an application may.
class Forgiven : public Subclass<Forgiven, PLVRejectedIgnored> {
 public:
  Ref<PLVRejected> rejected() const override {
    ++reads;
    return reads > readable ? nullptr : PLVRejectedIgnored::rejected();
  }
  void setRejected(const Ref<PLVRejected>& rejected) override {
    ++writes;
    PLVRejectedIgnored::setRejected(rejected);
  }

  mutable int reads = 0;
  int readable = 2;
  int writes = 0;

 protected:
  using Subclass::Subclass;
};

class PLVRejectedIgnoredTest : public DeferredFixture {
 protected:
  static std::string address(const NSObject& object) {
    return text(object.NSObject::description());
  }
};

TEST_F(PLVRejectedIgnoredTest, CarriesTheFailure) {
  const Ref<PLVRejected> rejected = PLVRejected::withValue(1);
  EXPECT_EQ(PLVRejectedIgnored::withRejected(rejected)->rejected(), rejected);
  EXPECT_EQ(PLVRejectedIgnored::initWithRejected(rejected)->rejected(), rejected);
  EXPECT_FALSE(PLVRejectedIgnored::withRejected(nullptr)->rejected());
}

TEST_F(PLVRejectedIgnoredTest, TheFailureCanBeReplaced) {
  const Ref<PLVRejectedIgnored> ignored = PLVRejectedIgnored::withRejected(nullptr);
  const Ref<PLVRejected> rejected = PLVRejected::withValue(1);
  ignored->setRejected(rejected);
  EXPECT_EQ(ignored->rejected(), rejected);
}

TEST_F(PLVRejectedIgnoredTest, IsNoFailureOfItsOwn) {
  const Value ignored = PLVRejectedIgnored::withRejected(PLVRejected::cancellation());
  EXPECT_FALSE(isKindOf<PLVRejected>(ignored));
  EXPECT_FALSE(isCancellation(ignored));
}

TEST_F(PLVRejectedIgnoredTest, ResolvedHandlersReceiveItAndRejectedHandlersDoNot) {
  const Value ignored = PLVRejectedIgnored::withRejected(PLVRejected::cancellationWithValue(1));
  Value seen;
  PLVDeferred::withResolved(ignored)
      ->thenRejected(noting("rejected"))
      ->thenResolved([&](const Value& value) { return seen = value; });
  EXPECT_TRUE(seen.isIdentical(ignored));
}

TEST_F(PLVRejectedIgnoredTest, RejectingWithItMakesAFailureThatCarriesIt) {
  const Value ignored = PLVRejectedIgnored::withRejected(nullptr);
  const Ref<PLVDeferred> deferred = PLVDeferred::withRejected(ignored);
  ASSERT_TRUE(isKindOf<PLVRejected>(deferred->resolution()));
  EXPECT_TRUE(as<PLVRejected>(deferred->resolution())->value().isIdentical(ignored));
}

TEST_F(PLVRejectedIgnoredTest, WithRejectedOfASubclassMakesTheBaseClass) {
  const Value ignored = Forgiven::withRejected(PLVRejected::withValue(1));
  EXPECT_EQ(ignored.class_(), &PLVRejectedIgnored::classObject);
}

TEST_F(PLVRejectedIgnoredTest, InitWithRejectedOfASubclassMakesItAndUsesItsSetter) {
  const Ref<Forgiven> ignored = Forgiven::initWithRejected(PLVRejected::withValue(1));
  EXPECT_EQ(&ignored->class_(), &Forgiven::classObject);
  EXPECT_EQ(ignored->writes, 1);
  EXPECT_EQ(ignored->rejected()->value(), Value(1));
}

TEST_F(PLVRejectedIgnoredTest, DescribesItselfAsAnObjectFollowedByTheFailure) {
  const Ref<PLVRejectedIgnored> ignored =
      PLVRejectedIgnored::withRejected(PLVRejected::cancellationWithValue(1));
  EXPECT_EQ(text(ignored), address(*ignored) + " (PLVRejected (CANCELLED) [1])");
  EXPECT_EQ(address(*ignored).rfind("<PLVRejectedIgnored: 0x", 0), 0u);
}

TEST_F(PLVRejectedIgnoredTest, DescribesItselfWithoutAFailureAsAnObjectFollowedByNothing) {
  const Ref<PLVRejectedIgnored> ignored = PLVRejectedIgnored::withRejected(nullptr);
  EXPECT_EQ(text(ignored), address(*ignored));
}

TEST_F(PLVRejectedIgnoredTest, DescriptionReadsTheFailureTwice) {
  const Ref<Forgiven> ignored = Forgiven::initWithRejected(PLVRejected::withValue(1));
  EXPECT_EQ(text(ignored), address(*ignored) + " (PLVRejected [1])");
  EXPECT_EQ(ignored->reads, 2);
}

TEST_F(PLVRejectedIgnoredTest, DescriptionOfAFailureThatGoesBetweenTheTwoReadsSaysNull) {
  const Ref<Forgiven> ignored = Forgiven::initWithRejected(PLVRejected::withValue(1));
  ignored->readable = 1;
  EXPECT_EQ(text(ignored), address(*ignored) + " ((null))");
}

}  // namespace
}  // namespace JNFoundation
