#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "platform/value/LiveObjects.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {
namespace {

class Country : public Subclass<Country, NSObject> {
 public:
  const Ref<NSString>& name() const { return _name; }
  void setName(const Ref<NSString>& name) { _name = name; }
  NSInteger area() const { return 42; }
  virtual std::string title() const { return "Country"; }

 private:
  Ref<NSString> _name;
};
const ClassDeclaration<Country> country =
    ClassDeclaration<Country>()
        .factory()
        .property("name", &Country::name, &Country::setName)
        .property("area", &Country::area)
        .operation("title", &Country::title)
        .classOperation("continents", [] { return 7; })
        .classOperation("countryNamed:", [](const Ref<NSString>& name) {
          const Ref<Country> country = makeObject<Country>();
          country->setName(name);
          return country;
        });

class Kingdom : public Subclass<Kingdom, Country> {
 public:
  std::string title() const override { return "Kingdom"; }
  std::string anthem() const { return "la"; }
};
// Declares under the selector of the class above.
const ClassDeclaration<Kingdom> kingdom = ClassDeclaration<Kingdom>()
                                              .operation("anthem", &Kingdom::anthem)
                                              .operation("area", [](const Kingdom&) { return 1; })
                                              .classOperation("continents", [] { return 1; });

class Nameless : public Subclass<Nameless, NSObject> {};
class Bare : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }
};
constinit const Class Bare::classObject = Class::of<Bare>("BareClass");
const ClassDeclaration<Bare> bare = ClassDeclaration<Bare>();

TEST(ClassDeclaration, MakesInstancesByTheClassesName) {
  testing::LiveObjects live;
  const Class* cls = NSClassFromString("Country");
  ASSERT_TRUE(cls);
  EXPECT_TRUE(cls->canMakeInstances());
  {
    const Ref<NSObject> made = cls->newInstance();
    ASSERT_TRUE(made);
    EXPECT_EQ(&made->class_(), &Country::classObject);
    EXPECT_EQ(made->retainCount(), 1u);
  }
  EXPECT_EQ(live.count(), 0);
}

TEST(ClassDeclaration, WithoutAFactoryMakesNothing) {
  EXPECT_FALSE(Nameless::classObject.canMakeInstances());
  EXPECT_EQ(Nameless::classObject.newInstance(), nullptr);
  EXPECT_FALSE(Kingdom::classObject.canMakeInstances())
      << "the factory of the class above would make instances of that";
}

TEST(ClassDeclaration, OfNothingMakesTheClassFindable) {
  EXPECT_EQ(NSClassFromString("BareClass"), &Bare::classObject);
}

TEST(ClassDeclaration, DeclaresPropertiesAsOperations) {
  const Value country = makeObject<Country>();
  EXPECT_TRUE(respondsToSelector(country, "name"));
  EXPECT_TRUE(respondsToSelector(country, "setName:"));
  EXPECT_TRUE(respondsToSelector(country, "area"));
  EXPECT_FALSE(respondsToSelector(country, "setArea:"));
  performSelector(country, "setName:", "Chad");
  EXPECT_EQ(performSelector(country, "name"), Value("Chad"));
}

TEST(ClassDeclaration, IsInheritedAndVirtual) {
  const Value kingdom = makeObject<Kingdom>();
  EXPECT_EQ(performSelector(kingdom, "title"), Value("Kingdom"))
      << "declared above, overridden in C++";
  EXPECT_EQ(performSelector(kingdom, "anthem"), Value("la"));
  EXPECT_FALSE(respondsToSelector(makeObject<Country>(), "anthem"));
}

TEST(ClassDeclaration, BelowGoesBeforeTheOneAbove) {
  EXPECT_EQ(performSelector(makeObject<Kingdom>(), "area"), Value(1));
  EXPECT_EQ(performSelector(makeObject<Country>(), "area"), Value(42));
  EXPECT_EQ(performSelector(Kingdom::classObject, "continents"), Value(1));
  EXPECT_EQ(performSelector(Country::classObject, "continents"), Value(7));
}

TEST(ClassDeclaration, DeclaresClassOperationsApartFromThoseOfInstances) {
  const Value made = performSelector(Country::classObject, "countryNamed:", "Peru");
  EXPECT_EQ(as<Country>(made)->name()->utf8(), "Peru");
  EXPECT_EQ(
      as<Country>(performSelector(Kingdom::classObject, "countryNamed:", "Oman"))->name()->utf8(),
      "Oman")
      << "inherited";
  EXPECT_FALSE(respondsToSelector(makeObject<Country>(), "countryNamed:"));
  EXPECT_FALSE(respondsToSelector(Country::classObject, "name"));
}

TEST(ClassDeclaration, MadeLaterAddsToTheFirst) {
  class Growing : public Subclass<Growing, NSObject> {};
  const Value object = makeObject<Growing>();
  EXPECT_FALSE(respondsToSelector(object, "first"));
  const ClassDeclaration<Growing> first =
      ClassDeclaration<Growing>().operation("first", [](const Growing&) { return 1; });
  EXPECT_EQ(performSelector(object, "first"), Value(1));
  EXPECT_FALSE(respondsToSelector(object, "second"));
  const ClassDeclaration<Growing> second =
      ClassDeclaration<Growing>()
          .operation("second", [](const Growing&) { return 2; })
          .operation("first", [](const Growing&) { return 3; });
  EXPECT_EQ(performSelector(object, "second"), Value(2));
  EXPECT_EQ(performSelector(object, "first"), Value(3)) << "the later one holds";
}

TEST(ClassDeclaration, TakesEffectWhileOthersLookUp) {
  class Busy : public Subclass<Busy, NSObject> {};
  static constexpr int declarations = 100;
  const auto name = [](int i) { return "busy" + std::to_string(i); };
  std::atomic<int> declared{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      const Value object = makeObject<Busy>();
      const Method* kept = nullptr;
      for (int known = 0; known < declarations; known = declared.load()) {
        if (known == 0) continue;
        const Method* found = Busy::classObject.instanceMethodForSelector(name(known - 1));
        ASSERT_TRUE(found);
        ASSERT_EQ(found->invoke(object, {}), Value(5));
        if (!kept) kept = found;
        ASSERT_EQ(kept->invoke(object, {}), Value(5)) << "what was found stays good";
        ASSERT_EQ(NSClassFromString("Busy"), &Busy::classObject);
      }
    });
  }
  for (int i = 0; i < declarations; ++i) {
    const ClassDeclaration<Busy> next =
        ClassDeclaration<Busy>().operation(SEL(name(i)), [](const Busy&) { return 5; });
    declared.store(i + 1);
  }
  for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace JNFoundation
