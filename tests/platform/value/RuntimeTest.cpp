#include <array>
#include <gtest/gtest.h>
#include <string>

#include "platform/value/LiveObjects.h"
#include "platform/value/Raising.h"

#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {
namespace {

using testing::raisedBy;

class Player : public Subclass<Player, NSObject> {
 public:
  Value play(const Ref<NSString>& tune, NSInteger times) {
    return NSString::stringWithFormat("%@ x%d", tune, times);
  }
};
const ClassDeclaration<Player> player =
    ClassDeclaration<Player>().operation("play:times:", &Player::play).classOperation("count", [] {
      return 3;
    });

bool startsWith(const std::string& text, std::string_view start) {
  return text.rfind(start, 0) == 0;
}

TEST(PerformSelector, RunsTheOperationWithItsArguments) {
  const Ref<Player> player = makeObject<Player>();
  EXPECT_EQ(performSelector(player, "play:times:", "la", 3), Value("la x3"));
  EXPECT_EQ(performSelector(Value(player.get()), "play:times:", "la"), Value("la x0"));
  const std::array<Value, 2> arguments{"la", 2.9};
  EXPECT_EQ(performSelectorWithArguments(player, "play:times:", arguments), Value("la x2"));
}

TEST(PerformSelector, OnNullIsNull) {
  EXPECT_TRUE(performSelector(nullptr, "play:times:", "la", 3).isNull());
  EXPECT_TRUE(performSelector(Value(), "noSuchThing").isNull());
  EXPECT_TRUE(performSelector(Ref<Player>(), "description").isNull());
}

TEST(PerformSelector, OnAClassRunsWhatTheClassDeclares) {
  EXPECT_EQ(performSelector(Player::classObject, "count"), Value(3));
  EXPECT_TRUE(performSelector(NSNull::classObject, "null").isNSNull());
}

TEST(PerformSelector, AnswersOnNumbersDatesAndText) {
  EXPECT_EQ(performSelector(7, "doubleValue"), Value(7.0));
  EXPECT_EQ(performSelector(7.5, "integerValue"), Value(7));
  EXPECT_EQ(performSelector(true, "stringValue"), Value("1"));
  EXPECT_EQ(performSelector(1, "compare:", 2.5), Value(-1));
  EXPECT_EQ(performSelector("12", "integerValue"), Value(12));
  EXPECT_EQ(performSelector("one", "length"), Value(3));
  const Value date = NSDate::dateWithTimeIntervalSince1970(978307201);
  EXPECT_EQ(performSelector(date, "timeIntervalSince1970"), Value(978307201));
  EXPECT_EQ(performSelector(date, "timeIntervalSinceReferenceDate"), Value(1));
  EXPECT_EQ(performSelector(date, "compare:", NSDate::distantPast()), Value(1));
  EXPECT_EQ(performSelector(NSDecimalNumber::one(), "integerValue"), Value(1));
  EXPECT_EQ(performSelector(NSDecimalNumber::one(), "compare:", 2), Value(-1));
}

TEST(PerformSelector, EveryValueAnswersWhatEveryObjectDoes) {
  const Ref<Player> player = makeObject<Player>();
  for (const Value& value :
       {Value(7), Value(true), Value("text"), Value(player), NSDate::distantPast(),
        Value(NSNull::null()), Value(Player::classObject)}) {
    const std::string text = value.description()->toStdString();
    EXPECT_EQ(performSelector(value, "description"), value.description()) << text;
    EXPECT_EQ(performSelector(value, "hash"), Value(value.hash())) << text;
    EXPECT_TRUE(performSelector(value, "self").isIdentical(value)) << text;
    EXPECT_TRUE(performSelector(value, "copy").isIdentical(value)) << text;
    EXPECT_TRUE(performSelector(value, "isEqual:", value).boolValue()) << text;
    EXPECT_FALSE(performSelector(value, "isEqual:", nullptr).boolValue()) << text;
  }
  EXPECT_EQ(performSelector(7, "class").classValue()->name(), "__NSCFNumber");
  EXPECT_EQ(performSelector(7, "superclass").classValue()->name(), "NSNumber");
  EXPECT_EQ(performSelector(player, "class").classValue(), &Player::classObject);
  EXPECT_EQ(performSelector(Player::classObject, "class").classValue(), &Player::classObject);
  EXPECT_EQ(performSelector(Player::classObject, "superclass").classValue(),
            &NSObject::classObject);
  EXPECT_TRUE(performSelector(NSObject::classObject, "superclass").isNull());
}

TEST(PerformSelector, WhatOnlyObjectsAnswerIsRefusedElsewhere) {
  EXPECT_TRUE(startsWith(raisedBy([] { performSelector(7, "mutableCopy"); }),
                         "NSInvalidArgumentException: -[__NSCFNumber mutableCopy]: unrecognized"));
  EXPECT_TRUE(startsWith(raisedBy([] { performSelector(NSDate::date(), "valueForKey:", "x"); }),
                         "NSInvalidArgumentException: -[__NSDate valueForKey:]: unrecognized"));
  EXPECT_TRUE(startsWith(raisedBy([] { performSelector(Player::classObject, "mutableCopy"); }),
                         "NSInvalidArgumentException: +[Player mutableCopy]: unrecognized"));
}

TEST(PerformSelector, NamesReceiverAndSelectorOfWhatItDoesNotFind) {
  const Ref<Player> player = makeObject<Player>();
  EXPECT_EQ(raisedBy([&] { performSelector(player, "stop:", 1); }),
            NSString::stringWithFormat("NSInvalidArgumentException: -[Player stop:]: unrecognized "
                                       "selector sent to instance %p",
                                       static_cast<const void*>(player.get()))
                ->toStdString());
  EXPECT_EQ(raisedBy([&] { performSelector(Player::classObject, "stop"); }),
            NSString::stringWithFormat("NSInvalidArgumentException: +[Player stop]: unrecognized "
                                       "selector sent to class %p",
                                       static_cast<const void*>(&Player::classObject))
                ->toStdString());
  EXPECT_TRUE(startsWith(raisedBy([] { performSelector(7, "stop"); }),
                         "NSInvalidArgumentException: -[__NSCFNumber stop]: unrecognized selector "
                         "sent to instance 0x"));
  EXPECT_TRUE(startsWith(raisedBy([&] { performSelector(player, SEL()); }),
                         "NSInvalidArgumentException: -[Player ]: unrecognized"));
  EXPECT_NE(raisedBy([&] { performSelector(player, "play:times"); }), "")
      << "a selector differs by a colon";
}

TEST(PerformSelector, RefusesSurplusAndWrongArguments) {
  const Ref<Player> player = makeObject<Player>();
  EXPECT_NE(raisedBy([&] { performSelector(player, "play:times:", "la", 1, 2); }), "");
  EXPECT_NE(raisedBy([&] { performSelector(player, "play:times:", 1, 1); }), "");
}

TEST(PerformSelector, KeepsTheReceiverUntilItReturns) {
  static Value only;
  struct Leaving : public Subclass<Leaving, NSObject> {
    NSInteger number = 5;
  };
  const ClassDeclaration<Leaving> declaration =
      ClassDeclaration<Leaving>().operation("end", [](const Leaving& self) {
        only = nullptr;
        return self.number;
      });
  testing::LiveObjects live;
  only = makeObject<Leaving>();
  EXPECT_EQ(performSelector(only, "end"), Value(5));
  EXPECT_EQ(live.count(), 0);
}

TEST(RespondsToSelector, IsWhetherPerformSelectorWouldFindIt) {
  const Ref<Player> player = makeObject<Player>();
  EXPECT_TRUE(respondsToSelector(player, "play:times:"));
  EXPECT_TRUE(player->respondsToSelector("play:times:"));
  EXPECT_TRUE(respondsToSelector(player, "description"));
  EXPECT_FALSE(respondsToSelector(player, "play:"));
  EXPECT_FALSE(respondsToSelector(player, "count"));
  EXPECT_TRUE(respondsToSelector(Player::classObject, "count"));
  EXPECT_FALSE(respondsToSelector(nullptr, "description"));
  EXPECT_FALSE(respondsToSelector(player, SEL()));
  EXPECT_TRUE(respondsToSelector(5, "integerValue"));
}

TEST(ClassGetInstanceMethod, FindsInheritedOperations) {
  EXPECT_TRUE(class_getInstanceMethod(&Player::classObject, "play:times:"));
  EXPECT_EQ(class_getInstanceMethod(&Player::classObject, "description"),
            class_getInstanceMethod(&NSObject::classObject, "description"));
  EXPECT_EQ(class_getInstanceMethod(&Player::classObject, "nothing"), nullptr);
  EXPECT_EQ(class_getInstanceMethod(nullptr, "description"), nullptr);
}

}  // namespace
}  // namespace JNFoundation
