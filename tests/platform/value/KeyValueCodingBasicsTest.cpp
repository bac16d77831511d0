#include <cstdio>
#include <gtest/gtest.h>
#include <string>

#include "platform/value/Raising.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {
namespace {

using testing::raisedBy;

class Person : public Subclass<Person, NSObject> {
 public:
  const Ref<NSString>& name() const { return _name; }
  void setName(const Ref<NSString>& name) { _name = name; }
  NSInteger age() const { return _age; }
  void setAge(NSInteger age) { _age = age; }
  bool isHappy() const { return _happy; }
  void setHappy(bool happy) { _happy = happy; }
  Value extra() const { return _extra; }
  void setExtra(const Value& extra) { _extra = extra; }
  const Class* kind() const { return _kind; }
  void setKind(const Class* kind) { _kind = kind; }
  std::string nick() const { return _nick; }
  void setNick(const std::string& nick) { _nick = nick; }
  double weight() const { return _weight; }
  void setWeight(double weight) { _weight = weight; }

 private:
  Ref<NSString> _name;
  NSInteger _age = 30;
  bool _happy = true;
  Value _extra;
  const Class* _kind = nullptr;
  std::string _nick = "nick";
  double _weight = 70;
};
const ClassDeclaration<Person> declarationOfPerson =
    ClassDeclaration<Person>()
        .property("name", &Person::name, &Person::setName)
        .property("age", &Person::age, &Person::setAge)
        .operation("isHappy", &Person::isHappy)
        .operation("setHappy:", &Person::setHappy)
        .property("extra", &Person::extra, &Person::setExtra)
        .property("kind", &Person::kind, &Person::setKind)
        .property("nick", &Person::nick, &Person::setNick)
        .property("weight", &Person::weight, &Person::setWeight)
        .property("readOnly", [](const Person&) { return 5; });

/// A class whose accessors of every form all lead to one text, to see which of them is taken.
template <int forms>
class Formed : public Subclass<Formed<forms>, NSObject> {
 public:
  std::string written;
};
template <int forms>
Value readWith() {
  using Self = Formed<forms>;
  ClassDeclaration<Self> declaration;
  if (forms & 1) declaration.operation("getSize", [](const Self&) { return "getSize"; });
  if (forms & 2) declaration.operation("size", [](const Self&) { return "size"; });
  if (forms & 4) declaration.operation("isSize", [](const Self&) { return "isSize"; });
  if (forms & 8) declaration.operation("_size", [](const Self&) { return "_size"; });
  const ClassDeclaration<Self> inEffect = declaration;
  return makeObject<Self>()->valueForKey("size");
}

class Tolerant : public Subclass<Tolerant, NSObject> {
 public:
  Value valueForUndefinedKey(const Ref<NSString>& key) const override {
    return NSString::stringWithFormat("no %@", key);
  }
  void setValueForUndefinedKey(const Value& value, const Ref<NSString>& key) override {
    log = NSString::stringWithFormat("%@=%@", key, value)->toStdString();
  }
  void setNilValueForKey(const Ref<NSString>& key) override { log = "nil " + key->toStdString(); }
  void setCount(int value) { count = value; }
  std::string log;
  int count = 1;
};
const ClassDeclaration<Tolerant> tolerant =
    ClassDeclaration<Tolerant>().operation("setCount:", &Tolerant::setCount);

std::string withAddress(const char* format, const NSObject& object) {
  char text[200];
  std::snprintf(text, sizeof text, format, static_cast<const void*>(&object));
  return text;
}

TEST(KeyValueCodingBasics, ReadsAndWritesDeclaredProperties) {
  const Ref<Person> declarationOfPerson = makeObject<Person>();
  EXPECT_TRUE(declarationOfPerson->valueForKey("name").isNull());
  declarationOfPerson->setValueForKey("Ann", "name");
  EXPECT_EQ(declarationOfPerson->valueForKey("name"), Value("Ann"));
  declarationOfPerson->setValueForKey(41.9, "age");
  EXPECT_TRUE(declarationOfPerson->valueForKey("age").isIdentical(41)) << "boxed as its own type";
  declarationOfPerson->setValueForKey(0, "happy");
  EXPECT_TRUE(declarationOfPerson->valueForKey("happy").isIdentical(false));
  declarationOfPerson->setValueForKey(Person::classObject, "kind");
  EXPECT_EQ(declarationOfPerson->valueForKey("kind").classValue(), &Person::classObject);
  declarationOfPerson->setValueForKey("Annie", "nick");
  EXPECT_EQ(declarationOfPerson->valueForKey("nick"), Value("Annie"));
  declarationOfPerson->setValueForKey(62, "weight");
  EXPECT_EQ(declarationOfPerson->weight(), 62.0);
}

TEST(KeyValueCodingBasics, SearchesGettersInTheirOrder) {
  EXPECT_EQ(readWith<15>(), Value("getSize"));
  EXPECT_EQ(readWith<14>(), Value("size"));
  EXPECT_EQ(readWith<12>(), Value("isSize"));
  EXPECT_EQ(readWith<8>(), Value("_size"));
}

TEST(KeyValueCodingBasics, SearchesSettersInTheirOrder) {
  struct Box : public Subclass<Box, NSObject> {
    std::string written;
  };
  const auto box = makeObject<Box>();
  const ClassDeclaration<Box> second = ClassDeclaration<Box>().operation(
      "_setSize:", [](Box& self, int) { self.written = "_setSize:"; });
  box->setValueForKey(1, "size");
  EXPECT_EQ(box->written, "_setSize:");
  const ClassDeclaration<Box> first = ClassDeclaration<Box>().operation(
      "setSize:", [](Box& self, int) { self.written = "setSize:"; });
  box->setValueForKey(1, "size");
  EXPECT_EQ(box->written, "setSize:");
}

TEST(KeyValueCodingBasics, TakesOperationsOfTheRightShapeOnly) {
  struct Shapes : public Subclass<Shapes, NSObject> {};
  const ClassDeclaration<Shapes> declaration =
      ClassDeclaration<Shapes>()
          .operation("nothing", [](const Shapes&) {})
          .operation("getArgument", [](const Shapes&, int) { return 1; })
          .operation("argument:", [](const Shapes&, int value) { return value; })
          .operation("setPair:", [](Shapes&, int, int) {});
  const auto shapes = makeObject<Shapes>();
  EXPECT_NE(raisedBy([&] { shapes->valueForKey("nothing"); }), "") << "returns nothing";
  EXPECT_NE(raisedBy([&] { shapes->valueForKey("argument"); }), "") << "takes an argument";
  EXPECT_NE(raisedBy([&] { shapes->valueForKey("argument:"); }), "");
  EXPECT_NE(raisedBy([&] { shapes->setValueForKey(1, "pair"); }), "");
}

TEST(KeyValueCodingBasics, InheritsPropertiesAndThoseOfEveryObject) {
  struct Child : public Subclass<Child, Person> {};
  const auto child = makeObject<Child>();
  child->setValueForKey("Ben", "name");
  EXPECT_EQ(child->valueForKey("name"), Value("Ben"));
  EXPECT_EQ(child->valueForKey("class").classValue(), &Child::classObject);
  EXPECT_EQ(child->valueForKey("description"), Value(child->description()));
  EXPECT_TRUE(child->valueForKey("self").isIdentical(Value(child)));
}

TEST(KeyValueCodingBasics, RefusesUnknownKeysWithTheirNames) {
  const Ref<Person> declarationOfPerson = makeObject<Person>();
  EXPECT_EQ(raisedBy([&] { declarationOfPerson->valueForKey("salary"); }),
            withAddress("NSUnknownKeyException: [<Person %p> valueForUndefinedKey:]: this class is "
                        "not key value coding-compliant for the key salary.",
                        *declarationOfPerson));
  EXPECT_EQ(raisedBy([&] { declarationOfPerson->setValueForKey(1, "salary"); }),
            withAddress("NSUnknownKeyException: [<Person %p> setValue:forUndefinedKey:]: this "
                        "class is not key value coding-compliant for the key salary.",
                        *declarationOfPerson));
  EXPECT_EQ(raisedBy([&] { declarationOfPerson->setValueForKey(1, "readOnly"); }),
            withAddress("NSUnknownKeyException: [<Person %p> setValue:forUndefinedKey:]: this "
                        "class is not key value coding-compliant for the key readOnly.",
                        *declarationOfPerson));
  EXPECT_NE(raisedBy([&] { declarationOfPerson->valueForKey(""); }), "");
  EXPECT_NE(raisedBy([&] { declarationOfPerson->setValueForKey(1, ""); }), "");
  EXPECT_NE(raisedBy([&] { declarationOfPerson->valueForKey(nullptr); }), "");
  EXPECT_NE(raisedBy([&] { declarationOfPerson->setValueForKey(1, nullptr); }), "");
  EXPECT_NE(raisedBy([&] { declarationOfPerson->valueForKey("Name"); }), "") << "case counts";
  EXPECT_NE(raisedBy([&] { declarationOfPerson->valueForKey("name "); }), "");
  EXPECT_NE(raisedBy([&] { declarationOfPerson->valueForKey(std::string(100'000, 'k')); }), "");
}

TEST(KeyValueCodingBasics, UnknownKeysNameNoSelectors) {
  EXPECT_NE(raisedBy([&] { makeObject<Person>()->valueForKey("fromInputOnly"); }), "");
  EXPECT_NE(raisedBy([&] { makeObject<Person>()->setValueForKey(1, "fromInputOnly"); }), "");
  EXPECT_FALSE(SEL::ifKnown("fromInputOnly")) << "input must not fill the table of selectors";
  EXPECT_FALSE(SEL::ifKnown("getFromInputOnly"));
  EXPECT_FALSE(SEL::ifKnown("setFromInputOnly:"));
}

TEST(KeyValueCodingBasics, RefusesNullForANumber) {
  const Ref<Person> declarationOfPerson = makeObject<Person>();
  EXPECT_EQ(raisedBy([&] { declarationOfPerson->setValueForKey(nullptr, "age"); }),
            withAddress("NSInvalidArgumentException: [<Person %p> setNilValueForKey]: could not "
                        "set nil as the value for the key age.",
                        *declarationOfPerson));
  EXPECT_NE(raisedBy([&] { declarationOfPerson->setValueForKey(nullptr, "happy"); }), "");
  EXPECT_NE(raisedBy([&] { declarationOfPerson->setValueForKey(nullptr, "weight"); }), "");
  EXPECT_EQ(declarationOfPerson->age(), 30) << "nothing is lost";
}

TEST(KeyValueCodingBasics, TakesNullForEverythingElse) {
  const Ref<Person> declarationOfPerson = makeObject<Person>();
  for (const char* key : {"name", "extra", "kind", "nick"}) {
    declarationOfPerson->setValueForKey(nullptr, key);
  }
  EXPECT_EQ(declarationOfPerson->name(), nullptr);
  EXPECT_TRUE(declarationOfPerson->extra().isNull());
  EXPECT_EQ(declarationOfPerson->kind(), nullptr);
  EXPECT_EQ(declarationOfPerson->nick(), "");
}

TEST(KeyValueCodingBasics, RefusesValuesOfAnotherKind) {
  const Ref<Person> declarationOfPerson = makeObject<Person>();
  EXPECT_NE(raisedBy([&] { declarationOfPerson->setValueForKey(5, "name"); }), "");
  EXPECT_NE(raisedBy([&] { declarationOfPerson->setValueForKey(NSNull::null(), "age"); }), "");
  EXPECT_EQ(declarationOfPerson->name(), nullptr);
  EXPECT_EQ(declarationOfPerson->age(), 30);
}

TEST(KeyValueCodingBasics, ClassesDecideWhatUnknownKeysMean) {
  const Ref<Tolerant> tolerant = makeObject<Tolerant>();
  EXPECT_EQ(tolerant->valueForKey("x"), Value("no x"));
  tolerant->setValueForKey(3, "y");
  EXPECT_EQ(tolerant->log, "y=3");
  tolerant->setValueForKey(nullptr, "count");
  EXPECT_EQ(tolerant->log, "nil count");
  EXPECT_EQ(tolerant->count, 1);
  EXPECT_EQ(tolerant->valueForKey(nullptr), Value("no (null)"));
}

TEST(KeyValueCodingBasics, IsReachedBySelectors) {
  const Value declarationOfPerson = makeObject<Person>();
  performSelector(declarationOfPerson, "setValue:forKey:", "Ann", "name");
  EXPECT_EQ(performSelector(declarationOfPerson, "valueForKey:", "name"), Value("Ann"));
}

}  // namespace
}  // namespace JNFoundation
