#include <gtest/gtest.h>
#include <stdexcept>
#include <vector>

#include "platform/value/LiveObjects.h"
#include "platform/value/Raising.h"

#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/platform/value/Subclass.h>
#include <JNFoundation/util/PLVTargetAction.h>

namespace JNFoundation {
namespace {

using testing::LiveObjects;
using testing::raisedBy;
using testing::raisedName;

class Clerk : public Subclass<Clerk, NSObject> {
 public:
  static Ref<Clerk> init() { return makeObject<Clerk>(); }

  Value file(const Value& value) {
    received.push_back(value);
    return value;
  }
  void shred(const Value& value) { received.push_back(value); }
  Value rest() { return "resting"; }
  NSInteger twice(NSInteger number) { return number * 2; }
  Value refuse(const Value&) { raise("Refused", "by the clerk"); }
  Value fail(const Value&) { throw std::runtime_error("plain"); }
  Value act(const Value& value) { return whenActed(value); }
  static Value department(const Value& value) {
    return NSString::stringWithFormat("department of %@", value);
  }

  std::vector<Value> received;
  Block<Value(const Value&)> whenActed;

 protected:
  using Subclass::Subclass;
};

const ClassDeclaration<Clerk> declarationOfActionTarget =
    ClassDeclaration<Clerk>()
        .operation("file:", &Clerk::file)
        .operation("shred:", &Clerk::shred)
        .operation("rest", &Clerk::rest)
        .operation("twice:", &Clerk::twice)
        .operation("refuse:", &Clerk::refuse)
        .operation("fail:", &Clerk::fail)
        .operation("act:", &Clerk::act)
        .classOperation("department:", &Clerk::department);

Ref<PLVTargetAction> pair(const Value& target, SEL action) {
  return PLVTargetAction::initWithTargetAction(target, action);
}

TEST(PLVTargetAction, KeepsTargetAndAction) {
  const auto clerk = Clerk::init();
  const auto action = pair(Value(clerk), "file:");
  EXPECT_TRUE(action->target().isIdentical(Value(clerk)));
  EXPECT_EQ(action->action(), SEL("file:"));
}

TEST(PLVTargetAction, SendsTheActionWithTheObjectAndGivesItsResult) {
  const auto clerk = Clerk::init();
  const auto action = pair(Value(clerk), "file:");
  const Value object(NSString::fromText("form"));
  EXPECT_TRUE(action->performWithObject(object).isIdentical(object));
  ASSERT_EQ(clerk->received.size(), 1u);
  EXPECT_TRUE(clerk->received[0].isIdentical(object));
}

TEST(PLVTargetAction, PassesNothingAndTheNullMarkerAsTheyAre) {
  const auto clerk = Clerk::init();
  const auto action = pair(Value(clerk), "file:");
  EXPECT_TRUE(action->performWithObject(nullptr).isNull());
  EXPECT_TRUE(action->performWithObject(NSNull::null()).isNSNull());
  EXPECT_EQ(clerk->received.size(), 2u);
}

TEST(PLVTargetAction, GivesNothingForAnActionWithoutAResult) {
  const auto clerk = Clerk::init();
  EXPECT_TRUE(pair(Value(clerk), "shred:")->performWithObject("x").isNull());
  EXPECT_EQ(clerk->received.size(), 1u);
}

TEST(PLVTargetAction, DoesNotKeepItsTargetAlive) {
  const LiveObjects objects;
  auto clerk = Clerk::init();
  const Weak<Clerk> weak(clerk);
  const auto action = pair(Value(clerk), "file:");
  EXPECT_EQ(clerk->retainCount(), 1u);
  clerk = nullptr;
  EXPECT_FALSE(weak.load());
  EXPECT_TRUE(action->target().isNull());
  EXPECT_TRUE(action->performWithObject("x").isNull());
  EXPECT_EQ(objects.count(), 1) << "the pair alone";
}

TEST(PLVTargetAction, WithoutATargetGivesNothing) {
  EXPECT_TRUE(pair(nullptr, "file:")->target().isNull());
  EXPECT_TRUE(pair(nullptr, "file:")->performWithObject("x").isNull());
  EXPECT_TRUE(pair(nullptr, nullptr)->performWithObject(nullptr).isNull());
}

TEST(PLVTargetAction, RaisesForATargetThatDoesNotAnswerTheAction) {
  const auto clerk = Clerk::init();
  EXPECT_NE(raisedBy([&] {
              pair(Value(clerk), "unknown:")->performWithObject("x");
            }).find("-[Clerk unknown:]: unrecognized selector"),
            std::string::npos);
  EXPECT_EQ(raisedName([&] { pair(Value(clerk), nullptr)->performWithObject("x"); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([&] { pair(Value(clerk), "department:")->performWithObject("x"); }),
            "NSInvalidArgumentException")
      << "an operation of the class is none of its instances";
}

TEST(PLVTargetAction, RaisesForAnActionThatTakesNoArgument) {
  const auto clerk = Clerk::init();
  EXPECT_EQ(raisedName([&] { pair(Value(clerk), "rest")->performWithObject("x"); }),
            "NSInvalidArgumentException");
}

TEST(PLVTargetAction, RaisesForAnArgumentOfAnotherKindThanTheActionTakes) {
  const auto clerk = Clerk::init();
  const auto action = pair(Value(clerk), "twice:");
  EXPECT_EQ(action->performWithObject(21), Value(42));
  EXPECT_EQ(action->performWithObject(nullptr), Value(0));
  EXPECT_EQ(raisedName([&] { action->performWithObject("21"); }), "NSInvalidArgumentException");
}

TEST(PLVTargetAction, PerformsOnAClassAsItsTarget) {
  const auto action = pair(Value(Clerk::classObject), "department:");
  EXPECT_EQ(action->target().classValue(), &Clerk::classObject);
  EXPECT_EQ(action->performWithObject("tax"), "department of tax");
}

TEST(PLVTargetAction, PerformsOnAValueStoredInline) {
  const auto action = pair(7, "compare:");
  EXPECT_EQ(action->target(), Value(7));
  EXPECT_EQ(action->performWithObject(8), Value(NSInteger{NSOrderedAscending}));
}

TEST(PLVTargetAction, TargetAndActionMayBeReplaced) {
  const auto first = Clerk::init();
  const auto second = Clerk::init();
  const auto action = pair(Value(first), "shred:");
  action->setTarget(Value(second));
  action->setAction("file:");
  EXPECT_EQ(action->performWithObject("x"), "x");
  EXPECT_TRUE(first->received.empty());
  EXPECT_EQ(second->received.size(), 1u);

  action->setTarget(Value(Clerk::classObject));
  action->setAction("department:");
  EXPECT_EQ(action->performWithObject("tax"), "department of tax");
  action->setTarget(Value(first));
  action->setAction("file:");
  EXPECT_TRUE(action->target().isIdentical(Value(first))) << "no class is left behind";
  action->setTarget(nullptr);
  EXPECT_TRUE(action->target().isNull());
}

TEST(PLVTargetAction, WhatTheActionRaisesComesThrough) {
  const auto clerk = Clerk::init();
  EXPECT_EQ(raisedBy([&] { pair(Value(clerk), "refuse:")->performWithObject("x"); }),
            "Refused: by the clerk");
  EXPECT_THROW(pair(Value(clerk), "fail:")->performWithObject("x"), std::runtime_error);
}

TEST(PLVTargetAction, AnActionMayLetGoOfItsTargetAndOfThePair) {
  const LiveObjects objects;
  auto clerk = Clerk::init();
  auto action = pair(Value(clerk), "act:");
  const Weak<Clerk> weak(clerk);
  bool wasAlive = false;
  clerk->whenActed = [&](const Value& value) {
    clerk = nullptr;
    action = nullptr;
    wasAlive = weak.load() != nullptr;
    return value;
  };
  EXPECT_EQ(action->performWithObject("x"), "x");
  EXPECT_TRUE(wasAlive) << "the call itself keeps its receiver";
  EXPECT_FALSE(weak.load());
  EXPECT_EQ(objects.count(), 0);
}

TEST(PLVTargetAction, AnActionMayReplaceTargetAndActionOfItsPair) {
  const auto clerk = Clerk::init();
  const auto action = pair(Value(clerk), "act:");
  clerk->whenActed = [&](const Value&) {
    action->setTarget(nullptr);
    action->setAction(nullptr);
    return "done";
  };
  EXPECT_EQ(action->performWithObject("x"), "done");
  EXPECT_TRUE(action->performWithObject("x").isNull());
}

TEST(PLVTargetAction, AnActionMayPerformItsPairAgain) {
  const auto clerk = Clerk::init();
  const auto action = pair(Value(clerk), "act:");
  clerk->whenActed = [&](const Value& value) -> Value {
    const NSInteger number = value.integerValue();
    return number == 0 ? Value(0)
                       : Value(number + action->performWithObject(number - 1).integerValue());
  };
  EXPECT_EQ(action->performWithObject(10), Value(55));
}

TEST(PLVTargetAction, TheRuntimePerformsIt) {
  const auto clerk = Clerk::init();
  const Value action(pair(Value(clerk), "file:"));
  EXPECT_EQ(performSelector(action, "performWithObject:", "x"), "x");
  EXPECT_TRUE(performSelector(action, "target").isIdentical(Value(clerk)));
  performSelector(action, "setTarget:", nullptr);
  EXPECT_TRUE(performSelector(action, "performWithObject:", "x").isNull());
}

class Button : public Subclass<Button, PLVTargetAction> {
 protected:
  using Subclass::Subclass;
};

TEST(PLVTargetAction, ASubclassMakesPairsOfItself) {
  const auto clerk = Clerk::init();
  const Ref<Button> button = Button::initWithTargetAction(Value(clerk), "file:");
  EXPECT_EQ(button->performWithObject("x"), "x");
  EXPECT_TRUE(isKindOf<PLVTargetAction>(*button));
}

}  // namespace
}  // namespace JNFoundation
