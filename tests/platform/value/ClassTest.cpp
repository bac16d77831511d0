#include <gtest/gtest.h>
#include <string>

#include <JNFoundation/platform/value/Class.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSNumber.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {

namespace zoo {
class Mammal : public Subclass<Mammal, NSObject> {};
namespace cats {
class Lion : public Subclass<Lion, Mammal> {};
template <class T>
struct Cage : public NSObject {
  class Door {};
};
}  // namespace cats
}  // namespace zoo

namespace {

class Hidden : public Subclass<Hidden, zoo::cats::Lion> {};
class Other : public Subclass<Other, NSObject> {};

template <class T>
std::string_view nameOfLocalClass() {
  class Local {};
  return impl::typeName<Local>();
}

TEST(Class, HasOneObjectForEach) {
  EXPECT_EQ(&zoo::Mammal::classObject, &makeObject<zoo::Mammal>()->class_());
  EXPECT_NE(&zoo::Mammal::classObject, &zoo::cats::Lion::classObject);
  EXPECT_TRUE(zoo::Mammal::classObject == zoo::Mammal::classObject);
  EXPECT_FALSE(zoo::Mammal::classObject == Other::classObject);
}

TEST(Class, KnowsItsAncestors) {
  EXPECT_EQ(NSObject::classObject.superclass(), nullptr);
  EXPECT_EQ(zoo::Mammal::classObject.superclass(), &NSObject::classObject);
  EXPECT_EQ(zoo::cats::Lion::classObject.superclass(), &zoo::Mammal::classObject);
  EXPECT_EQ(Hidden::classObject.superclass(), &zoo::cats::Lion::classObject);
}

TEST(Class, IsASubclassOfItselfAndItsAncestorsOnly) {
  const Class& hidden = Hidden::classObject;
  EXPECT_TRUE(hidden.isSubclassOf(hidden));
  EXPECT_TRUE(hidden.isSubclassOf(zoo::cats::Lion::classObject));
  EXPECT_TRUE(hidden.isSubclassOf(zoo::Mammal::classObject));
  EXPECT_TRUE(hidden.isSubclassOf(NSObject::classObject));
  EXPECT_FALSE(hidden.isSubclassOf(Other::classObject));
  EXPECT_FALSE(zoo::Mammal::classObject.isSubclassOf(hidden));
  EXPECT_FALSE(NSObject::classObject.isSubclassOf(Other::classObject));
}

TEST(Class, IsNamedWithoutItsNamespaces) {
  EXPECT_EQ(zoo::cats::Lion::classObject.name(), "Lion");
  EXPECT_EQ(Hidden::classObject.name(), "Hidden");
  EXPECT_EQ(NSString::classObject.name(), "NSString");
  EXPECT_EQ(NSStringFromClass(Other::classObject), "Other");
  EXPECT_EQ(impl::typeName<int>(), "int");
  EXPECT_EQ(impl::typeName<zoo::cats::Cage<zoo::Mammal>::Door>(), "Door");
  const std::string cage(impl::typeName<zoo::cats::Cage<zoo::Mammal>>());
  EXPECT_EQ(cage.rfind("Cage<", 0), 0u) << cage;
  struct Local {};
  EXPECT_EQ(impl::typeName<Local>(), "Local");
  EXPECT_EQ(nameOfLocalClass<int[3]>(), "Local");
  const auto fromLambda = [](auto) {
    struct Inner {};
    return impl::typeName<Inner>();
  };
  EXPECT_EQ(fromLambda(std::string()), "Inner");
}

TEST(Class, OfTheApplicationIsFoundByName) {
  EXPECT_EQ(NSClassFromString("Mammal"), &zoo::Mammal::classObject);
  EXPECT_EQ(NSClassFromString("Lion"), &zoo::cats::Lion::classObject);
  EXPECT_EQ(NSClassFromString("Hidden"), &Hidden::classObject);
}

TEST(Class, OfTheLibraryIsFoundByName) {
  EXPECT_EQ(NSClassFromString("NSObject"), &NSObject::classObject);
  EXPECT_EQ(NSClassFromString("NSString"), &NSString::classObject);
  EXPECT_EQ(NSClassFromString("NSNumber"), &NSNumber::classObject);
  EXPECT_EQ(NSClassFromString("NSDate"), &NSDate::classObject);
}

TEST(Class, OfAnUnknownNameIsNull) {
  EXPECT_EQ(NSClassFromString("NoSuchClass"), nullptr);
  EXPECT_EQ(NSClassFromString(""), nullptr);
  EXPECT_EQ(NSClassFromString("zoo::Mammal"), nullptr);
}

namespace first {
class Twin : public Subclass<Twin, NSObject> {};
}  // namespace first
namespace second {
class Twin : public Subclass<Twin, NSObject> {};
}  // namespace second

TEST(Class, OfANameThatIsTakenLeavesItToTheFirst) {
  const Class* found = NSClassFromString("Twin");
  ASSERT_TRUE(found == &first::Twin::classObject || found == &second::Twin::classObject);
  for (const Class* cls : {&first::Twin::classObject, &second::Twin::classObject}) {
    cls->registerName();
    EXPECT_EQ(NSClassFromString("Twin"), found);
  }
  EXPECT_EQ(first::Twin::classObject.name(), second::Twin::classObject.name());
  EXPECT_FALSE(first::Twin::classObject.isSubclassOf(second::Twin::classObject));
}

}  // namespace
}  // namespace JNFoundation
