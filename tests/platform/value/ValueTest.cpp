#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>

#include "platform/value/Limits.h"
#include "platform/value/LiveObjects.h"
#include "platform/value/Raising.h"

#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSNumber.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Subclass.h>
#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation {
namespace {

using testing::infinity;
using testing::largest;
using testing::largestUnsigned;
using testing::notANumber;
using testing::raisedBy;
using testing::smallest;
using Kind = Value::Kind;

class Named : public NSObjectProtocol {
 public:
  virtual std::string ownName() const = 0;
};
class Plain : public Subclass<Plain, NSObject> {};
class Pet : public Subclass<Pet, NSObject, Named> {
 public:
  std::string ownName() const override { return "Rex"; }
};
class Dog : public Subclass<Dog, Pet> {};
class Mute : public Subclass<Mute, NSObject> {
 public:
  Ref<NSString> description() const override { return nullptr; }
};

enum Unscoped { one = 1 };
enum class Scoped { one = 1 };

// What would silently become a boolean or a wrong number does not compile.
static_assert(!std::is_constructible_v<Value, int*>);
static_assert(!std::is_constructible_v<Value, const void*>);
static_assert(!std::is_constructible_v<Value, unsigned char*>);
static_assert(!std::is_constructible_v<Value, const Class*>);
static_assert(!std::is_constructible_v<Value, void (*)()>);
static_assert(!std::is_constructible_v<Value, decltype([] {})>);
static_assert(!std::is_constructible_v<Value, int Plain::*>);
static_assert(!std::is_constructible_v<Value, long double>);
static_assert(!std::is_constructible_v<Value, wchar_t>);
static_assert(!std::is_constructible_v<Value, char8_t>);
static_assert(!std::is_constructible_v<Value, char16_t>);
static_assert(!std::is_constructible_v<Value, char32_t>);
static_assert(!std::is_constructible_v<Value, Unscoped>);
static_assert(!std::is_constructible_v<Value, Scoped>);
// Sharing a bare pointer is done on purpose only.
static_assert(std::is_constructible_v<Value, NSObject*>);
static_assert(!std::is_convertible_v<NSObject*, Value>);
static_assert(std::is_convertible_v<Ref<Plain>, Value>);
static_assert(std::is_convertible_v<Ref<Named>, Value>);
static_assert(std::is_convertible_v<const char*, Value>);
static_assert(!std::is_convertible_v<Value, bool>);
static_assert(std::is_nothrow_move_constructible_v<Value>);
static_assert(std::is_nothrow_copy_constructible_v<Value>);
// The typed look-ups refuse types that are neither classes nor protocols.
template <class T>
concept CanBeAskedFor = requires(const Value& value) {
  as<T>(value);
};
static_assert(CanBeAskedFor<NSString>);
static_assert(CanBeAskedFor<Named>);
static_assert(!CanBeAskedFor<int>);
static_assert(!CanBeAskedFor<std::string>);

template <class Number>
void expectExactInteger(Number number, Kind kind) {
  const Value value = number;
  EXPECT_EQ(value.kind(), kind) << +number;
  if constexpr (std::is_signed_v<Number>) {
    EXPECT_EQ(value.longLongValue(), number);
  } else {
    EXPECT_EQ(value.unsignedLongLongValue(), number);
  }
  EXPECT_EQ(value.stringValue()->toStdString(), std::to_string(number));
}

template <class Number>
void expectExactIntegers() {
  expectExactInteger(std::numeric_limits<Number>::min(), Kind::Integer);
  expectExactInteger(Number{0}, Kind::Integer);
  expectExactInteger(Number{1}, Kind::Integer);
  const Number last = std::numeric_limits<Number>::max();
  expectExactInteger(last,
                     Value(last).longLongValue() < 0 || std::uint64_t(last) > std::uint64_t(largest)
                         ? Kind::Unsigned
                         : Kind::Integer);
}

TEST(Value, IsNullByDefault) {
  const Value value;
  EXPECT_EQ(value.kind(), Kind::Null);
  EXPECT_TRUE(value.isNull());
  EXPECT_FALSE(value);
  EXPECT_TRUE(Value(nullptr).isNull());
  EXPECT_TRUE(Value(static_cast<const char*>(nullptr)).isNull());
  EXPECT_TRUE(Value(Ref<NSString>()).isNull());
  EXPECT_TRUE(Value(Ref<Named>()).isNull());
  EXPECT_TRUE(Value(static_cast<NSObject*>(nullptr)).isNull());
  EXPECT_EQ(value.class_(), nullptr);
  EXPECT_EQ(value.object(), nullptr);
}

TEST(Value, KeepsEveryIntegerOfEveryType) {
  expectExactIntegers<char>();
  expectExactIntegers<signed char>();
  expectExactIntegers<unsigned char>();
  expectExactIntegers<short>();
  expectExactIntegers<unsigned short>();
  expectExactIntegers<int>();
  expectExactIntegers<unsigned>();
  expectExactIntegers<long>();
  expectExactIntegers<unsigned long>();
  expectExactIntegers<long long>();
  expectExactIntegers<unsigned long long>();
}

TEST(Value, HasOneRepresentationForEveryInteger) {
  EXPECT_TRUE(Value(7u).isIdentical(Value(static_cast<signed char>(7))));
  EXPECT_TRUE(Value(std::uint64_t{7}).isIdentical(7));
  EXPECT_EQ(Value(std::uint64_t(largest)).kind(), Kind::Integer);
  EXPECT_EQ(Value(std::uint64_t(largest) + 1).kind(), Kind::Unsigned);
}

TEST(Value, TellsBooleansFromNumbers) {
  EXPECT_EQ(Value(true).kind(), Kind::Boolean);
  EXPECT_TRUE(Value(false).isBoolean());
  EXPECT_TRUE(Value(false)) << "a false boolean is a value";
  EXPECT_TRUE(Value(0)) << "so is a zero";
  EXPECT_FALSE(Value(1).isBoolean());
  EXPECT_EQ(Value(2.5).kind(), Kind::Double);
  EXPECT_EQ(Value(2.5f).kind(), Kind::Float);
}

TEST(Value, KindsAnswerWhatTheyAre) {
  EXPECT_TRUE(Value(1).isNumber());
  EXPECT_TRUE(Value(true).isNumber());
  EXPECT_TRUE(Value(largestUnsigned).isNumber());
  EXPECT_TRUE(Value(1.0f).isNumber());
  EXPECT_FALSE(Value("1").isNumber());
  EXPECT_TRUE(Value("1").isString());
  EXPECT_FALSE(Value(1).isString());
  EXPECT_FALSE(Value().isNumber());
  const Value date = NSDate::dateWithTimeIntervalSince1970(1.5);
  EXPECT_TRUE(date.isDate());
  EXPECT_FALSE(date.isNumber());
  EXPECT_FALSE(date.isObject());
  EXPECT_TRUE(Value(NSNull::null()).isNSNull());
  EXPECT_FALSE(Value().isNSNull());
  EXPECT_FALSE(Value("<null>").isNSNull());
  EXPECT_EQ(Value(NSString::classObject).kind(), Kind::Class);
  EXPECT_EQ(Value(NSString::classObject).classValue(), &NSString::classObject);
  EXPECT_EQ(Value("text").classValue(), nullptr);
}

TEST(Value, NamesItsConcreteClass) {
  const auto name = [](const Value& value) { return std::string(value.class_()->name()); };
  EXPECT_EQ(name(1), "__NSCFNumber");
  EXPECT_EQ(name(largestUnsigned), "__NSCFNumber");
  EXPECT_EQ(name(1.5), "__NSCFNumber");
  EXPECT_EQ(name(1.5f), "__NSCFNumber");
  EXPECT_EQ(name(true), "__NSCFBoolean");
  EXPECT_EQ(name("text"), "__NSCFString");
  EXPECT_EQ(name(NSDate::distantPast()), "__NSDate");
  EXPECT_EQ(name(NSNull::null()), "NSNull");
  EXPECT_EQ(name(NSString::classObject), "NSObject");
  EXPECT_EQ(name(makeObject<Dog>()), "Dog");
}

TEST(Value, IsOfItsClassAndOfThoseAbove) {
  EXPECT_TRUE(isKindOf<NSNumber>(1));
  EXPECT_TRUE(isKindOf<NSNumber>(true));
  EXPECT_TRUE(isKindOf<NSObject>(1.5));
  EXPECT_FALSE(isKindOf<NSString>(1));
  EXPECT_TRUE(isKindOf<NSDate>(NSDate::date()));
  EXPECT_FALSE(isKindOf<NSNumber>(NSDate::date()));
  EXPECT_TRUE(isKindOf<NSString>("text"));
  EXPECT_FALSE(isKindOf<NSObject>(nullptr));
  const Value dog = makeObject<Dog>();
  EXPECT_TRUE(isKindOf<Dog>(dog));
  EXPECT_TRUE(isKindOf<Pet>(dog));
  EXPECT_TRUE(isKindOf<NSObject>(dog));
  EXPECT_FALSE(isKindOf<Plain>(dog));
  EXPECT_FALSE(isKindOf<Dog>(makeObject<Pet>()));
  EXPECT_TRUE(isKindOf<Pet>(*dog.object()));
}

TEST(Value, LendsItsObjectAndSharesThatOfATemporary) {
  const Value dog = makeObject<Dog>();
  static_assert(std::is_same_v<decltype(as<Pet>(dog)), Pet*>);
  Pet* lent = as<Pet>(dog);
  EXPECT_EQ(lent, dog.object());
  EXPECT_EQ(lent->retainCount(), 1u);

  static_assert(std::is_same_v<decltype(as<Pet>(Value(dog))), Ref<Pet>>);
  const Ref<Pet> shared = as<Pet>(Value(makeObject<Dog>()));
  ASSERT_TRUE(shared);
  EXPECT_EQ(shared->retainCount(), 1u) << "the temporary has gone";

  EXPECT_EQ(as<Plain>(dog), nullptr);
  EXPECT_EQ(as<Plain>(Value(dog)), nullptr);
  EXPECT_EQ(as<Pet>(Value()), nullptr);
  EXPECT_EQ(as<NSNumber>(Value(1)), nullptr) << "a number is no object";
  EXPECT_EQ(as<NSString>(Value("text"))->utf8(), "text");
}

TEST(Value, LeadsToTheProtocolsOfItsObject) {
  const Ref<Dog> dog = makeObject<Dog>();
  const Value value = dog;
  Named* named = as<Named>(value);
  ASSERT_TRUE(named);
  EXPECT_EQ(named->ownName(), "Rex");
  EXPECT_EQ(Value(Ref<Named>(named)).object(), dog.get()) << "and the protocol leads back";
  EXPECT_EQ(as<Named>(Value(value))->ownName(), "Rex");
  EXPECT_EQ(as<Named>(Value(makeObject<Plain>())), nullptr);
  EXPECT_EQ(as<Named>(Value(1)), nullptr);
  EXPECT_EQ(as<Named>(Value()), nullptr);
}

TEST(Value, CountsReferencesExactly) {
  testing::LiveObjects live;
  {
    Ref<Plain> object = makeObject<Plain>();
    Value first = object;
    EXPECT_EQ(object->retainCount(), 2u);
    Value second = first;
    EXPECT_EQ(object->retainCount(), 3u);
    Value third = std::move(second);
    EXPECT_EQ(object->retainCount(), 3u);
    EXPECT_TRUE(second.isNull()) << "what was moved from is null";
    third = 1;
    EXPECT_EQ(object->retainCount(), 2u);
    first = Value(object.get());
    EXPECT_EQ(object->retainCount(), 2u);
    Value& alias = first;
    first = alias;
    EXPECT_EQ(object->retainCount(), 2u);
    first = std::move(alias);
    EXPECT_EQ(object->retainCount(), 2u);
    EXPECT_EQ(first.object(), object.get());
    Value adopted = std::move(object);
    EXPECT_EQ(adopted.object()->retainCount(), 2u);
    first.swap(third);
    EXPECT_TRUE(first.isIdentical(1));
  }
  EXPECT_EQ(live.count(), 0);
}

/// Reads a variable while it dies.
class LastLook : public Subclass<LastLook, NSObject> {
 public:
  explicit LastLook(const Value& variable) : _variable(variable) {}
  ~LastLook() override { seen = _variable; }
  static inline Value seen;

 private:
  const Value& _variable;
};

TEST(Value, HoldsTheNewBeforeItReleasesTheOld) {
  Value variable;
  variable = makeObject<LastLook>(variable);
  variable = 5;
  EXPECT_EQ(LastLook::seen, Value(5));
  variable = makeObject<LastLook>(variable);
  const Value text = "text";
  variable = text;
  EXPECT_TRUE(std::exchange(LastLook::seen, Value()).isIdentical(text));
}

TEST(Value, IntegersClampAtTheirLimits) {
  EXPECT_EQ(Value(smallest).longLongValue(), smallest);
  EXPECT_EQ(Value(largestUnsigned).longLongValue(), largest);
  EXPECT_EQ(Value(largestUnsigned).unsignedLongLongValue(), largestUnsigned);
  EXPECT_EQ(Value(-1).unsignedLongLongValue(), 0u);
  EXPECT_EQ(Value(smallest).unsignedLongLongValue(), 0u);
  EXPECT_EQ(Value(1e20).longLongValue(), largest);
  EXPECT_EQ(Value(-1e20).longLongValue(), smallest);
  EXPECT_EQ(Value(1e20).unsignedLongLongValue(), largestUnsigned);
  EXPECT_EQ(Value(-1e20).unsignedLongLongValue(), 0u);
  EXPECT_EQ(Value(-0.5).unsignedLongLongValue(), 0u);
  EXPECT_EQ(Value(infinity).longLongValue(), largest);
  EXPECT_EQ(Value(-infinity).longLongValue(), smallest);
  EXPECT_EQ(Value(0x1p63).longLongValue(), largest);
  EXPECT_EQ(Value(0x1p63).unsignedLongLongValue(), std::uint64_t{1} << 63);
  EXPECT_EQ(Value(-0x1p63).longLongValue(), smallest);
  EXPECT_EQ(Value(std::nextafter(0x1p63, 0)).longLongValue(), largest - 1023);
  EXPECT_EQ(Value(std::nextafter(0x1p64, 0)).unsignedLongLongValue(), largestUnsigned - 2047);
  EXPECT_EQ(Value(largest).intValue(), std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(Value(smallest).intValue(), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(Value(largestUnsigned).intValue(), std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(Value(-1e10f).intValue(), std::numeric_limits<std::int32_t>::min());
}

TEST(Value, FractionsTruncateTowardZero) {
  EXPECT_EQ(Value(2.9).integerValue(), 2);
  EXPECT_EQ(Value(-2.9).integerValue(), -2);
  EXPECT_EQ(Value(-0.0).integerValue(), 0);
  EXPECT_EQ(Value(0.9f).intValue(), 0);
}

TEST(Value, NotANumberReadsAsZeroAndTrue) {
  EXPECT_EQ(Value(notANumber).longLongValue(), 0);
  EXPECT_EQ(Value(notANumber).unsignedLongLongValue(), 0u);
  EXPECT_EQ(Value(notANumber).intValue(), 0);
  EXPECT_TRUE(std::isnan(Value(notANumber).doubleValue()));
  EXPECT_TRUE(Value(notANumber).boolValue());
}

TEST(Value, BooleansAreWhatIsNotZero) {
  EXPECT_TRUE(Value(true).boolValue());
  EXPECT_FALSE(Value(false).boolValue());
  EXPECT_TRUE(Value(-3).boolValue());
  EXPECT_TRUE(Value(0.25).boolValue());
  EXPECT_FALSE(Value(-0.0).boolValue());
  EXPECT_TRUE(Value(largestUnsigned).boolValue());
  EXPECT_EQ(Value(true).integerValue(), 1);
  EXPECT_EQ(Value(true).doubleValue(), 1.0);
}

TEST(Value, DoublesComeFromEveryNumber) {
  EXPECT_EQ(Value(largestUnsigned).doubleValue(), 0x1p64);
  EXPECT_EQ(Value(smallest).doubleValue(), -0x1p63);
  EXPECT_EQ(Value(0.1f).doubleValue(), static_cast<double>(0.1f));
  EXPECT_EQ(Value(0.1).floatValue(), 0.1f);
  EXPECT_TRUE(std::signbit(Value(-0.0).doubleValue()));
}

TEST(Value, TextAnswersByItsNumericPrefix) {
  EXPECT_EQ(Value(" -12abc").longLongValue(), -12);
  EXPECT_EQ(Value("99999999999999999999").longLongValue(), largest);
  EXPECT_EQ(Value("-99999999999999999999").longLongValue(), smallest);
  EXPECT_EQ(Value("-99999999999999999999").integerValue(), std::numeric_limits<NSInteger>::min());
  EXPECT_EQ(Value("18446744073709551615").unsignedLongLongValue(), largestUnsigned);
  EXPECT_EQ(Value("-1").unsignedLongLongValue(), 0u);
  EXPECT_EQ(Value("5000000000").intValue(), std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(Value("1.5e2x").doubleValue(), 150);
  EXPECT_EQ(Value("0.1").floatValue(), 0.1f);
  EXPECT_EQ(Value("abc").doubleValue(), 0);
  EXPECT_TRUE(Value("yes").boolValue());
  EXPECT_FALSE(Value("0.5").boolValue()) << "as text does, not as the number";
  EXPECT_EQ(Value("text").stringValue()->utf8(), "text");
}

TEST(Value, NullReadsAsZero) {
  EXPECT_EQ(Value().longLongValue(), 0);
  EXPECT_EQ(Value().unsignedLongLongValue(), 0u);
  EXPECT_EQ(Value().intValue(), 0);
  EXPECT_EQ(Value().doubleValue(), 0);
  EXPECT_EQ(Value().floatValue(), 0);
  EXPECT_FALSE(Value().boolValue());
  EXPECT_EQ(Value().stringValue(), nullptr);
}

TEST(Value, WhatIsNoNumberRefusesToBeRead) {
  const Value date = NSDate::dateWithTimeIntervalSince1970(5);
  EXPECT_EQ(raisedBy([&] { date.longLongValue(); }),
            "NSInvalidArgumentException: -[__NSDate longLongValue]: unrecognized selector sent to "
            "instance 0x0");
  EXPECT_NE(raisedBy([&] { date.unsignedLongLongValue(); }), "");
  EXPECT_NE(raisedBy([&] { date.doubleValue(); }), "");
  EXPECT_NE(raisedBy([&] { date.floatValue(); }), "");
  EXPECT_NE(raisedBy([&] { date.boolValue(); }), "");
  EXPECT_NE(raisedBy([&] { date.intValue(); }), "");
  EXPECT_NE(raisedBy([&] { date.stringValue(); }), "");
  EXPECT_NE(raisedBy([&] { Value(NSNull::null()).integerValue(); }), "");
  const std::string text = raisedBy([&] { Value(NSString::classObject).doubleValue(); });
  EXPECT_EQ(text.rfind("NSInvalidArgumentException: +[NSString doubleValue]: unrecognized selector "
                       "sent to class 0x",
                       0),
            0u)
      << text;
}

TEST(Value, DatesTellTheirTimeAndNothingElseDoes) {
  const Value date = Value::dateWithTimeIntervalSince1970(-1.25);
  EXPECT_EQ(date.timeIntervalSince1970(), -1.25);
  EXPECT_NE(raisedBy([] { Value(1.5).timeIntervalSince1970(); }), "");
  EXPECT_NE(raisedBy([] { Value("2016").timeIntervalSince1970(); }), "");
  EXPECT_NE(raisedBy([] { Value().timeIntervalSince1970(); }), "");
}

TEST(Value, NumbersAsText) {
  const auto text = [](const Value& value) { return value.stringValue()->toStdString(); };
  EXPECT_EQ(text(true), "1");
  EXPECT_EQ(text(false), "0");
  EXPECT_EQ(text(smallest), "-9223372036854775808");
  EXPECT_EQ(text(largestUnsigned), "18446744073709551615");
  EXPECT_EQ(text(1.0), "1");
  EXPECT_EQ(text(0.1), "0.1");
  EXPECT_EQ(text(0.1f), "0.1");
  EXPECT_EQ(text(1e9), "1000000000");
  EXPECT_EQ(text(1e16), "1e+16");
  EXPECT_EQ(text(0.1 + 0.2), "0.30000000000000004");
  EXPECT_EQ(text(-0.0), "-0");
  EXPECT_EQ(text(notANumber), "nan");
  EXPECT_EQ(text(infinity), "+infinity");
}

TEST(Value, DescribesEveryKind) {
  const auto text = [](const Value& value) { return value.description()->toStdString(); };
  EXPECT_EQ(text(nullptr), "(null)");
  EXPECT_EQ(text(true), "1");
  EXPECT_EQ(text(-5), "-5");
  EXPECT_EQ(text(largestUnsigned), "18446744073709551615");
  EXPECT_EQ(text(2.5f), "2.5");
  EXPECT_EQ(text(1e21), "1e+21");
  EXPECT_EQ(text(NSDate::dateWithTimeIntervalSince1970(0)), "1970-01-01 00:00:00 +0000");
  EXPECT_EQ(text(NSString::classObject), "NSString");
  EXPECT_EQ(text("a \"quoted\" text"), "a \"quoted\" text");
  EXPECT_EQ(text(NSNull::null()), "<null>");
  EXPECT_EQ(text(makeObject<Mute>()), "(null)") << "even of an object without a text";
  const Ref<Plain> plain = makeObject<Plain>();
  char expected[64];
  std::snprintf(expected, sizeof expected, "<Plain: %p>", static_cast<void*>(plain.get()));
  EXPECT_EQ(text(plain), expected);
}

TEST(Value, TextIsCopiedAndMended) {
  char buffer[] = "abc";
  const Value value = buffer;
  buffer[0] = 'x';
  EXPECT_EQ(value, Value("abc"));
  EXPECT_EQ(Value(std::string_view("a\0b", 3)).stringValue()->utf8(), std::string_view("a\0b", 3));
  EXPECT_EQ(Value("\xff").stringValue()->utf8(), "\xEF\xBF\xBD");
  EXPECT_EQ(Value(std::string_view()).stringValue()->utf8(), "");
  EXPECT_FALSE(Value(std::string()).isNull()) << "empty text is a value";
}

TEST(Value, CopyOfWhatCannotChangeIsItself) {
  const Value text = "text";
  EXPECT_TRUE(text.copy().isIdentical(text));
  EXPECT_TRUE(Value(3).copy().isIdentical(3));
  EXPECT_TRUE(Value().copy().isNull());
}

TEST(Value, RespondsToWhatItsClassDeclares) {
  EXPECT_TRUE(Value(1).respondsToSelector("integerValue"));
  EXPECT_TRUE(Value("1").respondsToSelector("integerValue"));
  EXPECT_FALSE(Value(1).respondsToSelector("length"));
  EXPECT_FALSE(Value().respondsToSelector("description"));
  EXPECT_TRUE(Value(NSNull::classObject).respondsToSelector("null"));
  EXPECT_FALSE(Value(NSNull::null()).respondsToSelector("null"));
  EXPECT_TRUE(Value(NSNull::classObject).respondsToSelector("description"));
}

}  // namespace
}  // namespace JNFoundation
