#include <atomic>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/value/Raising.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/NSValueTransformer.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {

/// An application's transformer that nobody registers.
class TransformerTestShout : public Subclass<TransformerTestShout, NSValueTransformer> {
 public:
  TransformerTestShout() { ++made; }
  Value transformedValue(const Value& value) const override {
    return as<NSString>(value)->uppercaseString();
  }
  const Class& transformedValueClass() const override { return NSString::classObject; }

  static inline std::atomic<int> made{0};
};
/// One whose class says that it is its own reverse.
class TransformerTestMirror : public Subclass<TransformerTestMirror, NSValueTransformer> {
 public:
  Value transformedValue(const Value& value) const override { return -value.integerValue(); }
  bool allowsReverseTransformation() const override { return true; }
};
class TransformerTestUnmakeable : public Subclass<TransformerTestUnmakeable, NSValueTransformer> {};
class TransformerTestOther : public Subclass<TransformerTestOther, NSObject> {};

namespace {

using testing::raisedBy;
using testing::raisedName;

const ClassDeclaration<TransformerTestShout> shout =
    ClassDeclaration<TransformerTestShout>().factory();
const ClassDeclaration<TransformerTestMirror> mirror =
    ClassDeclaration<TransformerTestMirror>().factory();
const ClassDeclaration<TransformerTestUnmakeable> unmakeable;
const ClassDeclaration<TransformerTestOther> other =
    ClassDeclaration<TransformerTestOther>().factory();

Ref<NSValueTransformer> named(const Ref<NSString>& name) {
  return NSValueTransformer::valueTransformerForName(name);
}

bool isListed(const char* name) {
  return NSValueTransformer::valueTransformerNames()->containsObject(name);
}

/// A transformer that adds, under a name that is taken away again at the end.
class RegisteredAdder {
 public:
  explicit RegisteredAdder(const char* name, int summand = 1) : _name(name) {
    transformer = NSValueTransformer::transformerWithBlockReverseBlock(
        [summand](const Value& value) -> Value { return value.integerValue() + summand; },
        [summand](const Value& value) -> Value { return value.integerValue() - summand; });
    NSValueTransformer::setValueTransformerForName(transformer, name);
  }
  ~RegisteredAdder() { NSValueTransformer::setValueTransformerForName(nullptr, _name); }

  Ref<NSValueTransformer> transformer;

 private:
  const char* _name;
};

TEST(NSValueTransformer, TwoBlocksTransformAndReverse) {
  const RegisteredAdder adder("adder");
  EXPECT_EQ(adder.transformer->transformedValue(4), Value(5));
  EXPECT_EQ(adder.transformer->reverseTransformedValue(5), Value(4));
  EXPECT_TRUE(adder.transformer->allowsReverseTransformation());
}

TEST(NSValueTransformer, WithoutASecondBlockThereIsNoWayBack) {
  auto oneWay = NSValueTransformer::transformerWithBlockReverseBlock(
      [](const Value& value) { return value; }, nullptr);
  EXPECT_FALSE(oneWay->allowsReverseTransformation());
  EXPECT_EQ(oneWay->transformedValue(3), Value(3));
  EXPECT_EQ(raisedBy([&] { oneWay->reverseTransformedValue(3); }),
            "NSInvalidArgumentException: -[NSValueTransformer reverseTransformedValue:]: it cannot "
            "be reversed");
}

TEST(NSValueTransformerDeathTest, TheFirstBlockMustNotBeNull) {
  EXPECT_DEATH(NSValueTransformer::transformerWithBlockReverseBlock(nullptr, nullptr),
               "the block is null");
}

TEST(NSValueTransformer, ANameStandsForTheLastOneRegistered) {
  EXPECT_EQ(named("changing"), nullptr);
  {
    const RegisteredAdder one("changing", 1);
    EXPECT_EQ(named("changing"), one.transformer);
    EXPECT_TRUE(isListed("changing"));
    const RegisteredAdder ten("changing", 10);
    EXPECT_EQ(named("changing")->transformedValue(1), Value(11));
  }
  EXPECT_EQ(named("changing"), nullptr);
  EXPECT_FALSE(isListed("changing"));
}

TEST(NSValueTransformer, NoNameFindsNothingAndRegistersNothing) {
  EXPECT_EQ(named(nullptr), nullptr);
  EXPECT_EQ(named("nobodys"), nullptr);
  EXPECT_FALSE(isListed("nobodys"));
  EXPECT_EQ(raisedName([] { NSValueTransformer::setValueTransformerForName(nullptr, nullptr); }),
            NSInvalidArgumentException);
}

TEST(NSValueTransformer, AnApplicationsClassIsFoundByItsNameAndMadeOnce) {
  EXPECT_FALSE(isListed("TransformerTestShout"));
  auto found = named("TransformerTestShout");
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->transformedValue("a"), Value("A"));
  EXPECT_EQ(found, named("TransformerTestShout"));
  EXPECT_TRUE(isListed("TransformerTestShout"));
  EXPECT_EQ(TransformerTestShout::made, 1);
  NSValueTransformer::setValueTransformerForName(nullptr, "TransformerTestShout");
}

TEST(NSValueTransformer, OtherClassesAreNoTransformers) {
  for (const char* name :
       {"NSValueTransformer", "TransformerTestUnmakeable", "TransformerTestOther", "NSString"}) {
    EXPECT_EQ(named(name), nullptr) << name;
  }
}

TEST(NSValueTransformer, ReversingIsTransformingAgainUnlessItIsOverridden) {
  auto mirrored = named("TransformerTestMirror");
  EXPECT_EQ(mirrored->reverseTransformedValue(mirrored->transformedValue(3)), Value(3));
  NSValueTransformer::setValueTransformerForName(nullptr, "TransformerTestMirror");
}

TEST(NSValueTransformer, SomeAreThereFromTheStart) {
  for (const char* name : {"NSIsNil", "NSIsNotNil", "NSNegateBoolean"}) EXPECT_TRUE(isListed(name));
  EXPECT_EQ(named(NSIsNilTransformerName)->transformedValue(nullptr), Value(true));
  EXPECT_EQ(named(NSIsNilTransformerName)->transformedValue(0), Value(false));
  EXPECT_EQ(named(NSIsNotNilTransformerName)->transformedValue(nullptr), Value(false));
  EXPECT_EQ(named(NSIsNotNilTransformerName)->transformedValue(0), Value(true));
  EXPECT_FALSE(named(NSIsNilTransformerName)->allowsReverseTransformation());
  auto negate = named(NSNegateBooleanTransformerName);
  EXPECT_EQ(negate->transformedValue(true), Value(false));
  EXPECT_EQ(negate->transformedValue(0), Value(true));
  EXPECT_EQ(negate->transformedValue(nullptr), Value(true));
  EXPECT_EQ(negate->reverseTransformedValue(false), Value(true));
}

TEST(NSValueTransformer, TheRuntimeKnowsItsOperations) {
  const RegisteredAdder adder("told");
  EXPECT_EQ(performSelector(adder.transformer, "transformedValue:", 1), Value(2));
  EXPECT_EQ(performSelector(adder.transformer, "reverseTransformedValue:", 2), Value(1));
  EXPECT_EQ(performSelector(adder.transformer, "allowsReverseTransformation"), Value(true));
  EXPECT_EQ(performSelector(named("TransformerTestShout"), "transformedValueClass"),
            Value(NSString::classObject));
  EXPECT_EQ(performSelector(adder.transformer, "transformedValueClass"),
            Value(NSObject::classObject));
  NSValueTransformer::setValueTransformerForName(nullptr, "TransformerTestShout");
}

TEST(NSValueTransformer, ManyThreadsMayAskAndRegisterAtOnce) {
  constexpr int rounds = 500;
  std::vector<Ref<NSValueTransformer>> found(4);
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (std::size_t number = 0; number < found.size(); ++number) {
    threads.emplace_back([&, number] {
      const std::string own = "thread " + std::to_string(number);
      found[number] = named("TransformerTestShout");
      for (int i = 0; i < rounds; ++i) {
        const RegisteredAdder adder(own.c_str(), static_cast<int>(number));
        const auto seen = named(own);
        if (!seen || seen->transformedValue(1) != Value(number + 1)) ++wrong;
        if (!isListed("NSIsNil")) ++wrong;
        if (const auto others = named("thread 0")) others->transformedValue(1);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(
      std::set<const NSObject*>({found[0].get(), found[1].get(), found[2].get(), found[3].get()})
          .size(),
      1u);
  NSValueTransformer::setValueTransformerForName(nullptr, "TransformerTestShout");
}

}  // namespace
}  // namespace JNFoundation
