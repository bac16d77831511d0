#include <array>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include "platform/value/Raising.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/Method.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {
namespace {

using testing::raisedBy;

enum class Level : std::uint8_t { low = 1, high = 250 };

class Sounding : public NSObjectProtocol {
 public:
  virtual std::string sound() const = 0;
};

class Probe : public Subclass<Probe, NSObject, Sounding> {
 public:
  std::string sound() const override { return "ping"; }

  void takeNothing() { ++calls; }
  bool flag(bool value) { return value; }
  signed char i8(signed char value) { return value; }
  unsigned char u8(unsigned char value) { return value; }
  short i16(short value) { return value; }
  unsigned short u16(unsigned short value) { return value; }
  int i32(int value) const { return value; }
  unsigned u32(unsigned value) const noexcept { return value; }
  std::int64_t i64(std::int64_t value) noexcept { return value; }
  std::uint64_t u64(std::uint64_t value) { return value; }
  float f32(float value) { return value; }
  double f64(double value) { return value; }
  Level level(Level value) { return value; }
  const Class* cls(const Class* value) { return value; }
  std::string text(std::string_view view, const std::string& text) {
    return std::string(view) + "/" + text;
  }
  const char* cText(const char* text) { return text; }
  const Ref<NSString>& kept(const Ref<NSString>& value) { return _kept = value; }
  Value any(Value value) { return value; }
  std::string hear(const Ref<Sounding>& other) { return other ? other->sound() : "silence"; }
  int calls = 0;

 private:
  Ref<NSString> _kept;
};

const ClassDeclaration<Probe> declaration =
    ClassDeclaration<Probe>()
        .operation("takeNothing", &Probe::takeNothing)
        .operation("flag:", &Probe::flag)
        .operation("i8:", &Probe::i8)
        .operation("u8:", &Probe::u8)
        .operation("i16:", &Probe::i16)
        .operation("u16:", &Probe::u16)
        .operation("i32:", &Probe::i32)
        .operation("u32:", &Probe::u32)
        .operation("i64:", &Probe::i64)
        .operation("u64:", &Probe::u64)
        .operation("f32:", &Probe::f32)
        .operation("f64:", &Probe::f64)
        .operation("level:", &Probe::level)
        .operation("cls:", &Probe::cls)
        .operation("text:and:", &Probe::text)
        .operation("cText:", &Probe::cText)
        .operation("kept:", &Probe::kept)
        .operation("any:", &Probe::any)
        .operation("hear:", &Probe::hear)
        .operation("soundOf", [](const Sounding& sounding) { return sounding.sound(); })
        .operation("five:a:b:c:d:", [](Probe& self, const Value& a, int b, double c,
                                       const Ref<NSString>& d, bool e) {
          ++self.calls;
          return NSString::stringWithFormat("%@ %d %g %@ %d", a, b, c, d, e);
        });

const Method& method(const char* name) {
  const Method* found = Probe::classObject.instanceMethodForSelector(name);
  EXPECT_TRUE(found) << name;
  return *found;
}

Value send(const char* name, const Value& argument) {
  static const Value probe = makeObject<Probe>();
  return method(name).invoke(probe, {&argument, 1});
}

std::string types(const char* name) {
  const Method& found = method(name);
  std::string text(1, found.returnType());
  for (std::size_t i = 0; i < found.numberOfArguments(); ++i) text += found.argumentType(i);
  return text;
}

TEST(Method, WritesTypesInOneCharacterEach) {
  EXPECT_EQ(types("takeNothing"), "v@:");
  EXPECT_EQ(types("flag:"), "B@:B");
  EXPECT_EQ(types("i8:"), "c@:c");
  EXPECT_EQ(types("u8:"), "C@:C");
  EXPECT_EQ(types("i16:"), "s@:s");
  EXPECT_EQ(types("u16:"), "S@:S");
  EXPECT_EQ(types("i32:"), "i@:i");
  EXPECT_EQ(types("u32:"), "I@:I");
  EXPECT_EQ(types("i64:"), "q@:q");
  EXPECT_EQ(types("u64:"), "Q@:Q");
  EXPECT_EQ(types("f32:"), "f@:f");
  EXPECT_EQ(types("f64:"), "d@:d");
  EXPECT_EQ(types("level:"), "C@:C");
  EXPECT_EQ(types("cls:"), "#@:#");
  EXPECT_EQ(types("text:and:"), "*@:**");
  EXPECT_EQ(types("cText:"), "*@:*");
  EXPECT_EQ(types("kept:"), "@@:@");
  EXPECT_EQ(types("five:a:b:c:d:"), "@@:@id@B");
}

TEST(Method, CountsTheReceiverAndTheSelector) {
  EXPECT_EQ(method("takeNothing").numberOfArguments(), 2u);
  EXPECT_EQ(method("five:a:b:c:d:").numberOfArguments(), 7u);
  EXPECT_EQ(method("flag:").argumentType(3), '\0') << "there is no such argument";
  EXPECT_EQ(method("flag:").argumentType(1'000), '\0');
  EXPECT_EQ(method("flag:").selector(), SEL("flag:"));
}

TEST(Method, PassesMixedArgumentsInOrder) {
  const Value probe = makeObject<Probe>();
  const std::array<Value, 5> arguments{"a", 2, 2.5, "d", true};
  EXPECT_EQ(method("five:a:b:c:d:").invoke(probe, arguments), Value("a 2 2.5 d 1"));
  EXPECT_EQ(as<Probe>(probe)->calls, 1);
}

TEST(Method, ReturnsNullForNothing) {
  const Value probe = makeObject<Probe>();
  EXPECT_TRUE(method("takeNothing").invoke(probe, {}).isNull());
  EXPECT_EQ(as<Probe>(probe)->calls, 1);
}

TEST(Method, ConvertsBetweenValuesAndTypes) {
  EXPECT_TRUE(send("flag:", true).isBoolean());
  EXPECT_TRUE(send("flag:", 2).isIdentical(true));
  EXPECT_EQ(send("u64:", std::numeric_limits<NSUInteger>::max()),
            Value(std::numeric_limits<NSUInteger>::max()));
  EXPECT_EQ(send("f32:", 0.1).kind(), Value::Kind::Float);
  EXPECT_EQ(send("f64:", 3), Value(3));
  EXPECT_EQ(send("i32:", 2.9), Value(2));
  EXPECT_EQ(send("level:", 250), Value(250));
  EXPECT_EQ(send("cls:", NSString::classObject).classValue(), &NSString::classObject);
  EXPECT_TRUE(send("cls:", nullptr).isNull());
  EXPECT_EQ(send("kept:", "text"), Value("text"));
  EXPECT_EQ(send("cText:", "text"), Value("text"));
  EXPECT_EQ(send("any:", 1.5), Value(1.5));
  EXPECT_EQ(send("hear:", makeObject<Probe>()), Value("ping"));
  const Value probe = makeObject<Probe>();
  EXPECT_EQ(method("soundOf").invoke(probe, {}), Value("ping"));
}

TEST(Method, HoldsNumbersWithinTheTypeThatIsTaken) {
  EXPECT_EQ(send("i8:", 1'000), Value(127));
  EXPECT_EQ(send("i8:", -1'000), Value(-128));
  EXPECT_EQ(send("u8:", 1'000), Value(255));
  EXPECT_EQ(send("u8:", -1), Value(0));
  EXPECT_EQ(send("i16:", 1e9), Value(32767));
  EXPECT_EQ(send("u16:", 70'000), Value(65535));
  EXPECT_EQ(send("i32:", std::int64_t{1} << 40), Value(std::numeric_limits<int>::max()));
  EXPECT_EQ(send("u32:", std::int64_t{1} << 40), Value(std::numeric_limits<unsigned>::max()));
  EXPECT_EQ(send("i64:", 1e300), Value(std::numeric_limits<std::int64_t>::max()));
  EXPECT_EQ(send("u64:", -5), Value(0));
  EXPECT_EQ(send("level:", 256), Value(255));
}

TEST(Method, TakesNullForEverything) {
  EXPECT_EQ(send("i64:", nullptr), Value(0));
  EXPECT_EQ(send("f64:", nullptr), Value(0));
  EXPECT_EQ(send("flag:", nullptr), Value(false));
  EXPECT_TRUE(send("kept:", nullptr).isNull());
  EXPECT_TRUE(send("any:", nullptr).isNull());
  EXPECT_EQ(send("hear:", nullptr), Value("silence"));
  EXPECT_EQ(send("text:and:", nullptr), Value("/"));
  EXPECT_TRUE(send("cText:", nullptr).isNull());
}

TEST(Method, RefusesArgumentsOfAnotherKind) {
  EXPECT_EQ(raisedBy([] { send("i32:", "3"); }),
            "NSInvalidArgumentException: an argument of class __NSCFString was given where a "
            "number is needed");
  EXPECT_EQ(raisedBy([] { send("kept:", 3); }),
            "NSInvalidArgumentException: an argument of class __NSCFNumber was given where a "
            "NSString is needed");
  EXPECT_EQ(raisedBy([] { send("hear:", "text"); }),
            "NSInvalidArgumentException: an argument of class __NSCFString was given where a "
            "Sounding is needed");
  EXPECT_EQ(raisedBy([] { send("cls:", "NSString"); }),
            "NSInvalidArgumentException: an argument of class __NSCFString was given where a "
            "class is needed");
  EXPECT_NE(raisedBy([] { send("text:and:", 1); }), "");
  EXPECT_NE(raisedBy([] { send("flag:", "yes"); }), "");
  EXPECT_NE(raisedBy([] { send("f64:", makeObject<Probe>()); }), "");
}

TEST(Method, CompletesMissingArgumentsWithNull) {
  const Value probe = makeObject<Probe>();
  const Value first = "a";
  EXPECT_EQ(method("five:a:b:c:d:").invoke(probe, {&first, 1}), Value("a 0 0 (null) 0"));
  EXPECT_EQ(method("five:a:b:c:d:").invoke(probe, {}), Value("(null) 0 0 (null) 0"));
}

TEST(Method, RefusesSurplusArguments) {
  const Value probe = makeObject<Probe>();
  const std::array<Value, 2> two{true, true};
  EXPECT_EQ(raisedBy([&] { method("flag:").invoke(probe, two); }),
            "NSInvalidArgumentException: flag: takes 1 arguments, 2 were given");
  EXPECT_NE(raisedBy([&] { method("takeNothing").invoke(probe, two); }), "");
  EXPECT_EQ(as<Probe>(probe)->calls, 0);
}

TEST(Method, RefusesReceiversOfAnotherClass) {
  const Value yes = true;
  const std::string text = raisedBy([&] { method("flag:").invoke("text", {&yes, 1}); });
  EXPECT_EQ(
      text.rfind("NSInvalidArgumentException: -[__NSCFString flag:]: unrecognized selector", 0), 0u)
      << text;
  EXPECT_NE(raisedBy([&] { method("flag:").invoke(5, {&yes, 1}); }), "");
  EXPECT_NE(raisedBy([&] { method("flag:").invoke(nullptr, {&yes, 1}); }), "");
  EXPECT_NE(raisedBy([&] { method("soundOf").invoke("text", {}); }), "");
}

}  // namespace
}  // namespace JNFoundation
