#include <cstdio>
#include <functional>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/value/LiveObjects.h"
#include "platform/value/Raising.h"
#include "platform/value/SmallStack.h"

#include <JNFoundation/platform/value/NSObject.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Subclass.h>
#include <JNFoundation/platform/value/Weak.h>

namespace JNFoundation {
namespace {

using testing::LiveObjects;
using testing::onStackOf;
using testing::raisedBy;

class Node : public Subclass<Node, NSObject> {
 public:
  Ref<Node> next;
  std::vector<Ref<Node>> children;
};

/// Does something while it dies.
class Mortal : public Subclass<Mortal, NSObject> {
 public:
  explicit Mortal(std::function<void(Mortal&)> atDeath) : _atDeath(std::move(atDeath)) {}
  ~Mortal() override { _atDeath(*this); }
  Ref<NSObject> next;

 private:
  std::function<void(Mortal&)> _atDeath;
};

Ref<Node> chainOf(int length) {
  Ref<Node> first;
  for (int i = 0; i < length; ++i) {
    Ref<Node> node = makeObject<Node>();
    node->next = std::move(first);
    first = std::move(node);
  }
  return first;
}

TEST(NSObject, EqualsItselfOnly) {
  const Ref<Node> one = makeObject<Node>(), other = makeObject<Node>();
  EXPECT_TRUE(one->isEqual(one));
  EXPECT_FALSE(one->isEqual(other));
  EXPECT_FALSE(one->isEqual(nullptr));
  EXPECT_FALSE(one->isEqual(1));
  EXPECT_EQ(one->hash(), one->hash());
  EXPECT_NE(one->hash(), other->hash());
}

TEST(NSObject, DescribesItselfByClassAndAddress) {
  const Ref<Node> node = makeObject<Node>();
  char expected[64];
  std::snprintf(expected, sizeof expected, "<Node: %p>", static_cast<void*>(node.get()));
  EXPECT_EQ(node->description()->utf8(), expected);
}

TEST(NSObject, IsItsOwnCopyAndHasNoMutableOne) {
  const Ref<Node> node = makeObject<Node>();
  EXPECT_TRUE(node->copy().isIdentical(Value(node)));
  const std::string text = raisedBy([&] { node->mutableCopy(); });
  EXPECT_EQ(text.rfind("NSInvalidArgumentException: -[Node mutableCopyWithZone:]: unrecognized "
                       "selector sent to instance 0x",
                       0),
            0u)
      << text;
}

TEST(NSObject, IsBornWithOneReference) {
  const Ref<Node> node = makeObject<Node>();
  EXPECT_EQ(node->retainCount(), 1u);
}

TEST(NSObject, MayBeSharedByItsConstructor) {
  class Sharing : public Subclass<Sharing, NSObject> {
   public:
    Sharing() {
      const Ref<NSObject> self(this);
      EXPECT_EQ(retainCount(), 2u);
    }
  };
  EXPECT_EQ(makeObject<Sharing>()->retainCount(), 1u);
}

TEST(NSObject, WhoseConstructorFailsLeavesNothingBehind) {
  static Weak<NSObject> seen;
  class Failing : public Subclass<Failing, NSObject> {
   public:
    Failing() {
      seen = Weak<NSObject>(this);
      throw std::runtime_error("no");
    }
  };
  LiveObjects live;
  EXPECT_THROW(makeObject<Failing>(), std::runtime_error);
  EXPECT_EQ(live.count(), 0);
  EXPECT_EQ(seen.load(), nullptr);
  seen.reset();
}

TEST(NSObject, AChainOfAMillionDiesWithinTheStack) {
  LiveObjects live;
  Ref<Node> chain = chainOf(1'000'000);
#if JN_COUNT_OBJECTS
  EXPECT_EQ(live.count(), 1'000'000);
#endif
  chain = nullptr;
  EXPECT_EQ(live.count(), 0);
}

TEST(NSObject, AChainOfAMillionDiesWithinASmallStack) {
  LiveObjects live;
  onStackOf(256 * 1024, [chain = chainOf(1'000'000)]() mutable { chain = nullptr; });
  EXPECT_EQ(live.count(), 0);
}

TEST(NSObject, AWideAndDeepGraphDiesWithinASmallStack) {
  LiveObjects live;
  // Sixty levels, so past the depth that nests natively, with a thousand leaves on each.
  Ref<Node> root;
  for (int level = 0; level < 60; ++level) {
    Ref<Node> node = makeObject<Node>();
    if (root) node->children.push_back(std::move(root));
    for (int i = 0; i < 1'000; ++i) node->children.push_back(chainOf(3));
    root = std::move(node);
  }
  onStackOf(256 * 1024, [root = std::move(root)]() mutable { root = nullptr; });
  EXPECT_EQ(live.count(), 0);
}

TEST(NSObject, SharedPartsOfAGraphDieOnce) {
  LiveObjects live;
  const Ref<Node> shared = chainOf(100);
  {
    std::vector<Ref<Node>> roots(200);
    for (auto& root : roots) {
      root = makeObject<Node>();
      root->next = shared;
    }
  }
  EXPECT_EQ(shared->retainCount(), 1u);
#if JN_COUNT_OBJECTS
  EXPECT_EQ(live.count(), 100);
#endif
}

TEST(NSObject, AShortChainDiesInItsNaturalOrder) {
  std::string order;
  Ref<NSObject> first;
  for (int i = 5; i-- > 0;) {
    auto mortal = makeObject<Mortal>([&order, i](Mortal&) { order += std::to_string(i); });
    mortal->next = std::move(first);
    first = std::move(mortal);
  }
  first = nullptr;
  EXPECT_EQ(order, "01234");
}

TEST(NSObject, TwoThingsOfOneOwnerDieInTheReverseOfTheirDeclaration) {
  std::string order;
  struct Owner : public Subclass<Owner, NSObject> {
    Ref<NSObject> first, second;
  };
  Ref<Owner> owner = makeObject<Owner>();
  owner->first = makeObject<Mortal>([&](Mortal&) { order += "first"; });
  owner->second = makeObject<Mortal>([&](Mortal&) { order += "second,"; });
  owner = nullptr;
  EXPECT_EQ(order, "second,first");
}

TEST(NSObject, EverythingIsGoneWhenTheOutermostReleaseReturns) {
  int dead = 0;
  Ref<NSObject> first;
  for (int i = 0; i < 1'000; ++i) {
    auto mortal = makeObject<Mortal>([&dead](Mortal&) { ++dead; });
    mortal->next = std::move(first);
    first = std::move(mortal);
  }
  first = nullptr;
  EXPECT_EQ(dead, 1'000);
}

TEST(NSObject, MayBeRetainedAndReleasedByItsDestructor) {
  LiveObjects live;
  int deaths = 0;
  makeObject<Mortal>([&](Mortal& self) {
    ++deaths;
    for (int i = 0; i < 3; ++i) {
      const Ref<NSObject> again(&self);
      const Value value(again);
      EXPECT_EQ(value.class_(), &Mortal::classObject);
    }
  });
  EXPECT_EQ(deaths, 1);
  EXPECT_EQ(live.count(), 0);
}

TEST(NSObject, DestructorsMayMakeAndReleaseOtherObjects) {
  LiveObjects live;
  makeObject<Mortal>([&](Mortal&) {
    Ref<Node> chain = chainOf(100'000);
    chain = nullptr;
  });
  EXPECT_EQ(live.count(), 0);
}

TEST(NSObject, WhatADeepDestructorReleasesWaitsForTheOutermost) {
  // Deeper than the nesting that is allowed, a destructor sees its garbage go only afterwards, but
  // weak references to it read as null at once.
  int deaths = 0;
  bool goneAtOnce = true;
  const std::function<void(Mortal&)> atDeath = [&](Mortal&) {
    Ref<NSObject> garbage = makeObject<Mortal>([&](Mortal&) { ++deaths; });
    const Weak<NSObject> weak(garbage);
    garbage = nullptr;
    goneAtOnce = goneAtOnce && !weak.load();
  };
  Ref<NSObject> first;
  for (int i = 0; i < 200; ++i) {
    auto mortal = makeObject<Mortal>(atDeath);
    mortal->next = std::move(first);
    first = std::move(mortal);
  }
  first = nullptr;
  EXPECT_EQ(deaths, 200);
  EXPECT_TRUE(goneAtOnce);
}

TEST(NSObject, MayDieWhileItsThreadEnds) {
  LiveObjects live;
  std::thread([] {
    // Made before the first deep release of the thread, so that it dies after what that left.
    thread_local Ref<Node> kept;
    kept = chainOf(100'000);
    chainOf(100'000);
  }).join();
  EXPECT_EQ(live.count(), 0);
}

TEST(NSObject, DiesOnTheThreadOfItsLastReference) {
  std::thread::id place;
  Ref<NSObject> object = makeObject<Mortal>([&](Mortal&) { place = std::this_thread::get_id(); });
  std::thread::id expected;
  std::thread([&, object = std::move(object)]() mutable {
    expected = std::this_thread::get_id();
    object = nullptr;
  }).join();
  EXPECT_EQ(place, expected);
}

TEST(NSObject, CountsExactlyOnEightThreads) {
  int deaths = 0;
  {
    const Ref<NSObject> object = makeObject<Mortal>([&](Mortal&) { ++deaths; });
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
      threads.emplace_back([copy = object] {
        for (int j = 0; j < 20'000; ++j) Ref<NSObject> another(copy);
      });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(object->retainCount(), 1u + 0u) << "the threads' copies have gone with them";
    EXPECT_EQ(deaths, 0);
  }
  EXPECT_EQ(deaths, 1);
}

TEST(NSObjectDeathTest, ThatIsStillSharedAfterItsDestructionStopsTheProgram) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  static Ref<NSObject> kept;
  EXPECT_DEATH(makeObject<Mortal>([](Mortal& self) { kept = Ref<NSObject>(&self); }),
               "Fatal error: an object was retained while it was being destroyed");
}

}  // namespace
}  // namespace JNFoundation
