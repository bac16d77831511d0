#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include "platform/value/LiveObjects.h"

#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Ref.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {
namespace {

class Feeding : public NSObjectProtocol {
 public:
  virtual int feed(int portions) = 0;
};
class Washing : public NSObjectProtocol {
 public:
  virtual int wash() = 0;
};
class Animal : public Subclass<Animal, NSObject> {};
class Cat : public Subclass<Cat, Animal, Feeding, Washing> {
 public:
  int feed(int portions) override { return fed += portions; }
  int wash() override { return ++washed; }
  int fed = 0;
  int washed = 0;
};

static_assert(std::is_convertible_v<Ref<Cat>, Ref<Animal>>);
static_assert(std::is_convertible_v<Ref<Cat>, Ref<NSObject>>);
static_assert(std::is_convertible_v<Ref<Cat>, Ref<Feeding>>);
static_assert(!std::is_constructible_v<Ref<Cat>, Ref<Animal>>, "a downcast is as<Cat>(value)");
static_assert(!std::is_constructible_v<Ref<Cat>, Ref<NSString>>);
static_assert(!std::is_constructible_v<Ref<Animal>, const char*>);
static_assert(!std::is_convertible_v<Ref<Cat>, bool>);
static_assert(!std::is_constructible_v<Ref<NSString>, int>);
static_assert(std::is_nothrow_move_constructible_v<Ref<Cat>>);
static_assert(std::is_nothrow_copy_constructible_v<Ref<Cat>>);
static_assert(sizeof(Ref<Cat>) == sizeof(void*));

TEST(Ref, IsNullByDefault) {
  EXPECT_FALSE(Ref<Cat>());
  EXPECT_EQ(Ref<Cat>(), nullptr);
  EXPECT_EQ(Ref<Cat>(nullptr).get(), nullptr);
  EXPECT_EQ(Ref<Feeding>(Ref<Cat>()), nullptr);
}

TEST(Ref, CopiesShareAndMovesDoNot) {
  testing::LiveObjects live;
  {
    Ref<Cat> cat = makeObject<Cat>();
    Ref<Cat> copy = cat;
    EXPECT_EQ(cat->retainCount(), 2u);
    EXPECT_EQ(copy, cat);
    Ref<Cat> moved = std::move(copy);
    EXPECT_EQ(cat->retainCount(), 2u);
    EXPECT_EQ(copy, nullptr);
    moved = nullptr;
    EXPECT_EQ(cat->retainCount(), 1u);
  }
  EXPECT_EQ(live.count(), 0);
}

TEST(Ref, AssignmentToItselfChangesNothing) {
  Ref<Cat> cat = makeObject<Cat>();
  Ref<Cat>& alias = cat;
  cat = alias;
  ASSERT_TRUE(cat);
  EXPECT_EQ(cat->retainCount(), 1u);
  cat = std::move(alias);
  ASSERT_TRUE(cat);
  EXPECT_EQ(cat->retainCount(), 1u);
}

TEST(Ref, AssignmentFromWhatItsObjectHoldsIsSafe) {
  struct Link : public Subclass<Link, NSObject> {
    Ref<Link> next;
  };
  testing::LiveObjects live;
  {
    Ref<Link> list;
    for (int i = 0; i < 3; ++i) {
      Ref<Link> link = makeObject<Link>();
      link->next = std::move(list);
      list = std::move(link);
    }
    int length = 0;
    for (; list; ++length) {
      if (length % 2 == 0) {
        list = list->next;
      } else {
        list = std::move(list->next);
      }
    }
    EXPECT_EQ(length, 3);
  }
  EXPECT_EQ(live.count(), 0);
}

TEST(Ref, LeadsUpTheClassesAndToProtocols) {
  const Ref<Cat> cat = makeObject<Cat>();
  const Ref<Animal> animal = cat;
  const Ref<Feeding> feeding = cat;
  Ref<Washing> washing = Ref<Cat>(cat);
  EXPECT_EQ(cat->retainCount(), 4u);
  EXPECT_EQ(feeding->feed(2), 2);
  EXPECT_EQ(washing->wash(), 1);
  EXPECT_EQ(feeding->protocolObject(), cat.get());
  EXPECT_EQ(washing->protocolObject(), cat.get());
  EXPECT_EQ(animal, cat);
  washing = nullptr;
  EXPECT_EQ(cat->retainCount(), 3u);
}

TEST(Ref, OfAProtocolKeepsTheObjectAlive) {
  testing::LiveObjects live;
  {
    Ref<Feeding> feeding = makeObject<Cat>();
    EXPECT_EQ(feeding->feed(1), 1);
    const Ref<Feeding> copy = feeding;
    feeding = nullptr;
    EXPECT_EQ(copy->feed(1), 2);
    EXPECT_EQ(Value(copy).object()->retainCount(), 2u);
  }
  EXPECT_EQ(live.count(), 0);
}

TEST(Ref, AdoptsWhatWasLeaked) {
  testing::LiveObjects live;
  {
    Ref<Cat> cat = makeObject<Cat>();
    Cat* bare = cat.leak();
    EXPECT_EQ(cat, nullptr);
    EXPECT_EQ(bare->retainCount(), 1u);
    const Ref<Cat> again = Ref<Cat>::adopt(bare);
    EXPECT_EQ(again->retainCount(), 1u);
    EXPECT_EQ(Ref<Cat>::adopt(nullptr), nullptr);
  }
  EXPECT_EQ(live.count(), 0);
}

TEST(Ref, ComparesIdentityNotValue) {
  const Ref<NSString> one("text"), other("text");
  EXPECT_FALSE(one == other);
  EXPECT_TRUE(one == one.get());
  EXPECT_TRUE(one != nullptr);
  const Ref<Cat> cat = makeObject<Cat>();
  EXPECT_TRUE(Ref<NSObject>(cat) == cat);
}

TEST(Ref, OfStringsComesFromText) {
  const std::string text = "Ann";
  EXPECT_EQ(Ref<NSString>(text)->utf8(), "Ann");
  EXPECT_EQ(Ref<NSString>("Ann")->utf8(), "Ann");
  EXPECT_EQ(Ref<NSString>(text.c_str())->utf8(), "Ann");
  EXPECT_EQ(Ref<NSString>(std::string_view("A\0n", 3))->length(), 3u);
  EXPECT_EQ(Ref<NSString>(static_cast<const char*>(nullptr)), nullptr);
  const auto lengthOf = [](const Ref<NSString>& string) { return string->length(); };
  EXPECT_EQ(lengthOf("four"), 4u);
}

TEST(Ref, StandsInContainers) {
  testing::LiveObjects live;
  {
    std::vector<Ref<Cat>> cats;
    for (int i = 0; i < 100; ++i) cats.push_back(makeObject<Cat>());
    for (const Ref<Cat>& cat : cats) ASSERT_EQ(cat->retainCount(), 1u) << "growing moves";
    cats.erase(cats.begin() + 10, cats.begin() + 90);
#if JN_COUNT_OBJECTS
    EXPECT_EQ(live.count(), 20);
#endif
  }
  EXPECT_EQ(live.count(), 0);
}

}  // namespace
}  // namespace JNFoundation
