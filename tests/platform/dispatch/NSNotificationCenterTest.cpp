#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include <JNFoundation/platform/dispatch/NSNotificationCenter.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {
namespace {

class Listener : public Subclass<Listener, NSObject> {
 public:
  void changed(const Ref<NSNotification>& notification) { heard.push_back(notification->name()); }
  void happened() { ++count; }

  std::vector<Ref<NSString>> heard;
  int count = 0;
};

const ClassDeclaration<Listener> declaration = ClassDeclaration<Listener>()
                                                   .factory()
                                                   .operation("changed:", &Listener::changed)
                                                   .operation("happened", &Listener::happened);

class NotificationCenter : public ::testing::Test {
 protected:
  NSNotificationCenter::Handler noting(const char* text) {
    return [this, text](const Ref<NSNotification>&) { heard.emplace_back(text); };
  }
  void post(const char* name, const Value& object = nullptr) {
    center->postNotificationNameObjectUserInfo(name, object);
  }

  Ref<NSNotificationCenter> center = NSNotificationCenter::init();
  std::vector<std::string> heard;
};

using Heard = std::vector<std::string>;

TEST_F(NotificationCenter, ObserversHearWhatTheyAskedForInTheOrderOfAdding) {
  const auto one = makeObject<NSObject>(), other = makeObject<NSObject>();
  center->addObserverForNameObjectUsingBlock("saved", Value(one), noting("saved by one"));
  center->addObserverForNameObjectUsingBlock("saved", nullptr, noting("saved"));
  center->addObserverForNameObjectUsingBlock(nullptr, Value(other), noting("anything of other"));
  center->addObserverForNameObjectUsingBlock(nullptr, nullptr, noting("anything"));
  post("saved", Value(one));
  EXPECT_EQ(heard, (Heard{"saved by one", "saved", "anything"}));
  heard.clear();
  post("closed", Value(other));
  EXPECT_EQ(heard, (Heard{"anything of other", "anything"}));
  heard.clear();
  post("saved");
  EXPECT_EQ(heard, (Heard{"saved", "anything"}));
}

TEST_F(NotificationCenter, TheNotificationHasNameObjectAndUserInfo) {
  Ref<NSNotification> got;
  center->addObserverForNameObjectUsingBlock(
      "saved", nullptr, [&](const Ref<NSNotification>& notification) { got = notification; });
  const auto object = makeObject<NSObject>();
  center->postNotificationNameObjectUserInfo(
      "saved", Value(object), NSDictionary::dictionaryWithObjectForKey(Value(3), Value("count")));
  ASSERT_TRUE(got);
  EXPECT_EQ(got->name()->utf8(), "saved");
  EXPECT_EQ(got->object(), Value(object));
  EXPECT_EQ(got->userInfo()->objectForKey("count"), Value(3));
}

TEST_F(NotificationCenter, ARemovedObserverHearsNothingMore) {
  const Ref<NSObject> observer =
      center->addObserverForNameObjectUsingBlock("saved", nullptr, noting("saved"));
  EXPECT_TRUE(center->isObserved("saved", nullptr));
  center->removeObserver(observer);
  center->removeObserver(observer);
  center->removeObserver(makeObject<NSObject>());
  post("saved");
  EXPECT_TRUE(heard.empty());
  EXPECT_FALSE(center->isObserved("saved", nullptr));
}

TEST_F(NotificationCenter, AnObserverRemovedByAnEarlierOneIsNotCalledAndAnAddedOneFromTheNextOn) {
  Ref<NSObject> later;
  center->addObserverForNameObjectUsingBlock("saved", nullptr, [&](const Ref<NSNotification>&) {
    if (!later) return;
    center->removeObserver(later);
    later = nullptr;
    center->addObserverForNameObjectUsingBlock("saved", nullptr, noting("added"));
  });
  later = center->addObserverForNameObjectUsingBlock("saved", nullptr, noting("removed"));
  post("saved");
  EXPECT_TRUE(heard.empty());
  post("saved");
  EXPECT_EQ(heard, (Heard{"added"}));
}

TEST_F(NotificationCenter, ASelectorIsSentAsLongAsItsObserverLives) {
  Ref<Listener> listener = makeObject<Listener>();
  center->addObserverSelectorNameObject(listener, SEL("changed:"), "saved", nullptr);
  center->addObserverSelectorNameObject(listener, SEL("happened"), nullptr, nullptr);
  post("saved");
  post("closed");
  EXPECT_EQ(listener->heard.size(), 1u);
  EXPECT_EQ(listener->count, 2);
  center->removeObserverNameObject(listener, "saved", nullptr);
  post("saved");
  EXPECT_EQ(listener->heard.size(), 1u);
  EXPECT_EQ(listener->count, 3);
  listener = nullptr;
  post("saved");  // nobody is there any more
}

TEST_F(NotificationCenter, ObserversOfAnObjectThatIsGoneHearNothingOfItsSuccessor) {
  Ref<NSObject> object = makeObject<NSObject>();
  center->addObserverForNameObjectUsingBlock("saved", Value(object), noting("saved"));
  object = nullptr;
  for (int i = 0; i < 100; ++i) post("saved", Value(makeObject<NSObject>()));
  post("saved");
  EXPECT_TRUE(heard.empty());
}

TEST_F(NotificationCenter, AnObserverThatRaisesStopsThePost) {
  center->addObserverForNameObjectUsingBlock("saved", nullptr, [](const Ref<NSNotification>&) {
    raise(NSInvalidArgumentException, "no");
  });
  center->addObserverForNameObjectUsingBlock("saved", nullptr, noting("behind"));
  EXPECT_THROW(post("saved"), Raised);
  EXPECT_TRUE(heard.empty());
}

TEST_F(NotificationCenter, WhatARemovedBlockHoldsMayUseTheCenterAsItGoes) {
  struct Holder {
    NSNotificationCenter& center;
    explicit Holder(NSNotificationCenter& center) : center(center) {}
    ~Holder() { center.isObserved("saved", nullptr); }
  };
  const Ref<NSObject> observer = center->addObserverForNameObjectUsingBlock(
      "saved", nullptr,
      [holder = std::make_shared<Holder>(*center)](const Ref<NSNotification>&) {});
  center->removeObserver(observer);
  EXPECT_FALSE(center->isObserved("saved", nullptr));
}

TEST_F(NotificationCenter, ThreadsMayAddPostAndRemoveAtOnce) {
  std::atomic<int> calls{0};
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int k = 0; k < 200; ++k) {
        const Ref<NSObject> observer = center->addObserverForNameObjectUsingBlock(
            "saved", nullptr, [&](const Ref<NSNotification>&) { ++calls; });
        post("saved");
        center->removeObserver(observer);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_GE(calls.load(), 800);
  EXPECT_FALSE(center->isObserved("saved", nullptr));
}

TEST_F(NotificationCenter, ANamelessNotificationIsRefused) {
  EXPECT_THROW(NSNotification::notificationWithNameObjectUserInfo(nullptr, nullptr), Raised);
  EXPECT_THROW(center->postNotification(nullptr), Raised);
}

}  // namespace
}  // namespace JNFoundation
