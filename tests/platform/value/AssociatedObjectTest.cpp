#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "platform/value/LiveObjects.h"

#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/platform/value/Subclass.h>
#include <JNFoundation/platform/value/Weak.h>

namespace JNFoundation {
namespace {

using testing::LiveObjects;

class Host : public Subclass<Host, NSObject> {};
class Attachment : public Subclass<Attachment, NSObject> {
 public:
  explicit Attachment(std::function<void()> atDeath = [] {}) : _atDeath(std::move(atDeath)) {}
  ~Attachment() override { _atDeath(); }
  Value copy() const override { return "a copy"; }

 private:
  std::function<void()> _atDeath;
};

constexpr char keyBytes[8] = {};
constexpr const void* key = &keyBytes[0];
constexpr const void* otherKey = &keyBytes[1];

TEST(AssociatedObject, IsFoundUnderItsKeyOnly) {
  const Ref<Host> host = makeObject<Host>(), other = makeObject<Host>();
  EXPECT_TRUE(objc_getAssociatedObject(host.get(), key).isNull());
  objc_setAssociatedObject(host.get(), key, "value", OBJC_ASSOCIATION_RETAIN);
  objc_setAssociatedObject(host.get(), nullptr, 5, OBJC_ASSOCIATION_RETAIN);
  EXPECT_EQ(objc_getAssociatedObject(host.get(), key), Value("value"));
  EXPECT_EQ(objc_getAssociatedObject(host.get(), nullptr), Value(5));
  EXPECT_TRUE(objc_getAssociatedObject(host.get(), otherKey).isNull());
  EXPECT_TRUE(objc_getAssociatedObject(other.get(), key).isNull());
}

TEST(AssociatedObject, IsReplacedAndDetached) {
  LiveObjects live;
  const Ref<Host> host = makeObject<Host>();
  Ref<Attachment> tag = makeObject<Attachment>();
  objc_setAssociatedObject(host.get(), key, tag, OBJC_ASSOCIATION_RETAIN);
  EXPECT_EQ(tag->retainCount(), 2u);
  objc_setAssociatedObject(host.get(), key, 1, OBJC_ASSOCIATION_RETAIN_NONATOMIC);
  EXPECT_EQ(tag->retainCount(), 1u);
  objc_setAssociatedObject(host.get(), key, tag, OBJC_ASSOCIATION_RETAIN_NONATOMIC);
  objc_setAssociatedObject(host.get(), otherKey, 2, OBJC_ASSOCIATION_RETAIN);
  objc_setAssociatedObject(host.get(), key, nullptr, OBJC_ASSOCIATION_ASSIGN);
  EXPECT_EQ(tag->retainCount(), 1u);
  EXPECT_TRUE(objc_getAssociatedObject(host.get(), key).isNull());
  EXPECT_EQ(objc_getAssociatedObject(host.get(), otherKey), Value(2));
  objc_removeAssociatedObjects(host.get());
  EXPECT_TRUE(objc_getAssociatedObject(host.get(), otherKey).isNull());
}

TEST(AssociatedObject, IsKeptAsItsPolicySays) {
  const Ref<Host> host = makeObject<Host>();
  const Ref<Attachment> tag = makeObject<Attachment>();
  objc_setAssociatedObject(host.get(), key, tag, OBJC_ASSOCIATION_ASSIGN);
  EXPECT_EQ(tag->retainCount(), 1u);
  EXPECT_EQ(objc_getAssociatedObject(host.get(), key).object(), tag.get());
  objc_setAssociatedObject(host.get(), key, 7, OBJC_ASSOCIATION_ASSIGN);
  EXPECT_EQ(objc_getAssociatedObject(host.get(), key), Value(7)) << "a number has no owner";
  objc_setAssociatedObject(host.get(), key, tag, OBJC_ASSOCIATION_COPY);
  EXPECT_EQ(objc_getAssociatedObject(host.get(), key), Value("a copy"));
  objc_setAssociatedObject(host.get(), key, tag, OBJC_ASSOCIATION_COPY_NONATOMIC);
  EXPECT_EQ(objc_getAssociatedObject(host.get(), key), Value("a copy"));
  EXPECT_EQ(tag->retainCount(), 1u);
}

TEST(AssociatedObject, OfNullIsIgnored) {
  objc_setAssociatedObject(nullptr, key, 1, OBJC_ASSOCIATION_RETAIN);
  EXPECT_TRUE(objc_getAssociatedObject(nullptr, key).isNull());
  objc_removeAssociatedObjects(nullptr);
}

TEST(AssociatedObject, GoesWithItsHostInTheOrderOfAttaching) {
  LiveObjects live;
  std::string order;
  Ref<Host> host = makeObject<Host>();
  for (int i = 0; i < 5; ++i) {
    objc_setAssociatedObject(host.get(), &keyBytes[i],
                             makeObject<Attachment>([&order, i] { order += std::to_string(i); }),
                             OBJC_ASSOCIATION_RETAIN);
  }
  EXPECT_EQ(order, "");
  host = nullptr;
  EXPECT_EQ(order, "01234");
  EXPECT_EQ(live.count(), 0);
}

TEST(AssociatedObject, IsStillThereInTheDestructorOfItsHost) {
  struct Asking : public Subclass<Asking, NSObject> {
    ~Asking() override {
      EXPECT_EQ(objc_getAssociatedObject(this, key), Value("mine"));
      objc_setAssociatedObject(this, otherKey, makeObject<Attachment>(), OBJC_ASSOCIATION_RETAIN);
    }
  };
  LiveObjects live;
  Ref<Asking> asking = makeObject<Asking>();
  objc_setAssociatedObject(asking.get(), key, "mine", OBJC_ASSOCIATION_RETAIN);
  asking = nullptr;
  EXPECT_EQ(live.count(), 0) << "what the destructor attached has gone as well";
}

TEST(AssociatedObject, MayTouchItsDyingHost) {
  LiveObjects live;
  Ref<Host> host = makeObject<Host>();
  Host* bare = host.get();
  int deaths = 0;
  objc_setAssociatedObject(bare, key, makeObject<Attachment>([&, bare] {
                             ++deaths;
                             EXPECT_TRUE(objc_getAssociatedObject(bare, key).isNull());
                             EXPECT_TRUE(objc_getAssociatedObject(bare, otherKey).isNull());
                             // Attaching to what dies keeps nothing.
                             objc_setAssociatedObject(bare, otherKey,
                                                      makeObject<Attachment>([&] { ++deaths; }),
                                                      OBJC_ASSOCIATION_RETAIN);
                             EXPECT_EQ(deaths, 2);
                             objc_removeAssociatedObjects(bare);
                             objc_sync_enter(bare);
                             objc_sync_exit(bare);
                             EXPECT_EQ(Weak<Host>(bare).load(), nullptr);
                           }),
                           OBJC_ASSOCIATION_RETAIN);
  objc_setAssociatedObject(bare, otherKey, "beside it", OBJC_ASSOCIATION_RETAIN);
  host = nullptr;
  EXPECT_EQ(deaths, 2);
  EXPECT_EQ(live.count(), 0);

  // The record that served the host serves another one now, which has nothing attached.
  const Ref<Host> next = makeObject<Host>();
  objc_setAssociatedObject(next.get(), key, 1, OBJC_ASSOCIATION_RETAIN);
  EXPECT_TRUE(objc_getAssociatedObject(next.get(), otherKey).isNull());
  EXPECT_EQ(objc_getAssociatedObject(next.get(), key), Value(1));
}

TEST(AssociatedObject, MayReplaceItselfWhileItIsReplaced) {
  LiveObjects live;
  const Ref<Host> host = makeObject<Host>();
  const auto attach = [&](const Value& value) {
    objc_setAssociatedObject(host.get(), key, value, OBJC_ASSOCIATION_RETAIN);
  };
  attach(makeObject<Attachment>([&] { attach("from the destructor"); }));
  attach("from outside");
  EXPECT_EQ(objc_getAssociatedObject(host.get(), key), Value("from the destructor"));
  attach(nullptr);
  EXPECT_TRUE(objc_getAssociatedObject(host.get(), key).isNull());
#if JN_COUNT_OBJECTS
  EXPECT_EQ(live.count(), 1);
#endif
}

TEST(AssociatedObject, ChainsOfHostsDieWithinTheStack) {
  LiveObjects live;
  Ref<Host> first = makeObject<Host>();
  for (int i = 0; i < 200'000; ++i) {
    Ref<Host> host = makeObject<Host>();
    objc_setAssociatedObject(host.get(), key, first, OBJC_ASSOCIATION_RETAIN);
    first = std::move(host);
  }
  first = nullptr;
  EXPECT_EQ(live.count(), 0);
}

TEST(AssociatedObject, IsOldOrNewToReadersOnOtherThreads) {
  LiveObjects live;
  {
    const Ref<Host> host = makeObject<Host>();
    objc_setAssociatedObject(host.get(), key, makeObject<Attachment>(), OBJC_ASSOCIATION_RETAIN);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
      threads.emplace_back([&, t] {
        const void* own = &keyBytes[t];
        for (int i = 0; i < 2'000; ++i) {
          if (t % 2 == 0) {
            objc_setAssociatedObject(host.get(), key, makeObject<Attachment>(),
                                     OBJC_ASSOCIATION_RETAIN);
          } else if (!as<Attachment>(objc_getAssociatedObject(host.get(), key))) {
            ++wrong;
          }
          if (t == 0) continue;
          objc_setAssociatedObject(host.get(), own, i, OBJC_ASSOCIATION_COPY);
          if (objc_getAssociatedObject(host.get(), own) != Value(i)) ++wrong;
        }
      });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
  }
  EXPECT_EQ(live.count(), 0);
}

TEST(AssociatedObject, IsFirstAttachedOnEightThreadsAtOnce) {
  for (int round = 0; round < 100; ++round) {
    const Ref<Host> host = makeObject<Host>();
    std::atomic<int> waiting{8};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
      threads.emplace_back([&, t] {
        waiting.fetch_sub(1);
        while (waiting.load() > 0) std::this_thread::yield();
        objc_setAssociatedObject(host.get(), &keyBytes[t], t, OBJC_ASSOCIATION_RETAIN);
      });
    }
    for (auto& thread : threads) thread.join();
    for (int t = 0; t < 8; ++t) {
      ASSERT_EQ(objc_getAssociatedObject(host.get(), &keyBytes[t]), Value(t));
    }
  }
}

}  // namespace
}  // namespace JNFoundation
