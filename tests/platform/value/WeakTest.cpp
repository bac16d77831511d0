#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <utility>
#include <vector>

#include "platform/value/LiveObjects.h"

#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/platform/value/Subclass.h>
#include <JNFoundation/platform/value/Weak.h>

namespace JNFoundation {
namespace {

using testing::LiveObjects;

class Watching : public NSObjectProtocol {
 public:
  virtual int watch() = 0;
};
class Guard : public Subclass<Guard, NSObject, Watching> {
 public:
  int watch() override { return ++watched; }
  int watched = 0;
};

TEST(Weak, IsNullByDefault) {
  EXPECT_EQ(Weak<Guard>().load(), nullptr);
  EXPECT_EQ(Weak<Guard>(nullptr).load(), nullptr);
  EXPECT_EQ(Weak<Guard>(Ref<Guard>()).load(), nullptr);
}

TEST(Weak, LoadsWhileTheObjectLivesAndKeepsNothingAlive) {
  LiveObjects live;
  Ref<Guard> guard = makeObject<Guard>();
  const Weak<Guard> weak(guard);
  EXPECT_EQ(guard->retainCount(), 1u);
  {
    const Ref<Guard> strong = weak.load();
    EXPECT_EQ(strong, guard);
    EXPECT_EQ(guard->retainCount(), 2u);
  }
  EXPECT_EQ(guard->retainCount(), 1u);
  guard = nullptr;
  EXPECT_EQ(weak.load(), nullptr);
  EXPECT_EQ(live.count(), 0);
}

TEST(Weak, ALoadedReferenceKeepsTheObject) {
  Ref<Guard> guard = makeObject<Guard>();
  const Weak<Guard> weak(guard);
  Ref<Guard> strong = weak.load();
  guard = nullptr;
  EXPECT_EQ(weak.load(), strong);
  strong = nullptr;
  EXPECT_EQ(weak.load(), nullptr);
}

TEST(Weak, CopiesAndMovesReferToTheSame) {
  Ref<Guard> guard = makeObject<Guard>();
  Weak<Guard> first(guard);
  Weak<Guard> copy = first;
  Weak<Guard> moved = std::move(first);
  EXPECT_EQ(first.load(), nullptr);
  EXPECT_EQ(copy.load(), guard);
  EXPECT_EQ(moved.load(), guard);
  Weak<Guard>& alias = moved;
  moved = alias;
  EXPECT_EQ(moved.load(), guard);
  moved = nullptr;
  EXPECT_EQ(moved.load(), nullptr);
  copy.reset();
  EXPECT_EQ(copy.load(), nullptr);
  copy = guard;
  EXPECT_EQ(copy.load(), guard);
  const Weak<NSObject> upward = guard;
  EXPECT_EQ(upward.load(), guard);
}

TEST(Weak, LeadsToProtocols) {
  Ref<Guard> guard = makeObject<Guard>();
  const Weak<Watching> weak(guard);
  ASSERT_TRUE(weak.load());
  EXPECT_EQ(weak.load()->watch(), 1);
  EXPECT_EQ(guard->retainCount(), 1u);
  const Ref<Watching> watching = guard;
  EXPECT_EQ(Weak<Watching>(watching).load(), watching);
  EXPECT_EQ(guard->retainCount(), 2u);
  Weak<Watching> later;
  later = Weak<Watching>(guard.get());
  EXPECT_EQ(later.load()->watch(), 2);
}

TEST(Weak, OfAProtocolReadsAsNullAfterTheObject) {
  Ref<Guard> guard = makeObject<Guard>();
  const Weak<Watching> weak(guard);
  guard = nullptr;
  EXPECT_EQ(weak.load(), nullptr);
}

TEST(Weak, ReadsAsNullInTheDestructorOfItsObject) {
  struct Dying : public Subclass<Dying, NSObject> {
    ~Dying() override {
      EXPECT_EQ(before.load(), nullptr);
      const Weak<NSObject> fresh(static_cast<NSObject*>(this));
      EXPECT_EQ(fresh.load(), nullptr) << "also one that is made only now";
      *outlivingIt = fresh;
    }
    Weak<NSObject> before;
    Weak<NSObject>* outlivingIt = nullptr;
  };
  Weak<NSObject> outliving;
  Ref<Dying> object = makeObject<Dying>();
  object->outlivingIt = &outliving;
  object = nullptr;
  EXPECT_EQ(outliving.load(), nullptr);

  object = makeObject<Dying>();
  object->before = Weak<NSObject>(object);
  object->outlivingIt = &outliving;
  object = nullptr;
  EXPECT_EQ(outliving.load(), nullptr);
}

TEST(Weak, DoesNotFollowARecordThatIsUsedAgain) {
  // The records of dead objects serve new ones; an old weak reference must not see those.
  for (int round = 0; round < 1'000; ++round) {
    Ref<Guard> old = makeObject<Guard>();
    const Weak<Guard> toOld(old);
    old = nullptr;
    const Ref<Guard> young = makeObject<Guard>();
    const Weak<Guard> toYoung(young);
    ASSERT_EQ(toOld.load(), nullptr);
    ASSERT_EQ(toYoung.load(), young);
  }
}

TEST(Weak, AMillionObjectsHaveTheirOwn) {
  LiveObjects live;
  constexpr int count = 1'000'000;
  std::vector<Ref<Guard>> guards(count);
  std::vector<Weak<Guard>> weak(count);
  for (int i = 0; i < count; ++i) {
    guards[i] = makeObject<Guard>();
    weak[i] = guards[i];
  }
  for (int i = 0; i < count; i += 2) guards[i] = nullptr;
  for (int i = 0; i < count; ++i) ASSERT_EQ(weak[i].load(), guards[i]) << i;
  guards.clear();
  for (const auto& reference : weak) ASSERT_EQ(reference.load(), nullptr);
  EXPECT_EQ(live.count(), 0);
}

TEST(Weak, AMillionReferToOneObject) {
  Ref<Guard> guard = makeObject<Guard>();
  std::vector<Weak<Guard>> weak(1'000'000, Weak<Guard>(guard));
  EXPECT_EQ(guard->retainCount(), 1u);
  EXPECT_EQ(weak.back().load(), guard);
  guard = nullptr;
  for (const auto& reference : weak) ASSERT_EQ(reference.load(), nullptr);
}

TEST(Weak, LoadsAnObjectOrNothingWhileItDiesElsewhere) {
  LiveObjects live;
  constexpr int rounds = 200;
  constexpr int readers = 8;
  struct Cell {
    Weak<Guard> weak;
    std::atomic<bool> ready{false};
  };
  std::vector<Cell> cells(rounds);
  std::atomic<int> found{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < readers; ++t) {
    threads.emplace_back([&] {
      for (Cell& cell : cells) {
        while (!cell.ready.load(std::memory_order_acquire)) std::this_thread::yield();
        // Once gone, it stays gone.
        bool gone = false;
        for (int i = 0; i < 200; ++i) {
          const Weak<Guard> copy = cell.weak;
          if (const Ref<Guard> guard = copy.load()) {
            EXPECT_FALSE(gone);
            EXPECT_EQ(guard->class_().name(), "Guard");
            found.fetch_add(1, std::memory_order_relaxed);
          } else {
            gone = true;
          }
        }
      }
    });
  }
  for (Cell& cell : cells) {
    Ref<Guard> guard = makeObject<Guard>();
    cell.weak = guard;
    cell.ready.store(true, std::memory_order_release);
    for (int i = 0; i < 10; ++i) std::this_thread::yield();
    guard = nullptr;
    // Readers may hold the object a little longer; a reference of their own is the only reason.
  }
  for (auto& thread : threads) thread.join();
  for (Cell& cell : cells) EXPECT_EQ(cell.weak.load(), nullptr);
  EXPECT_EQ(live.count(), 0);
}

TEST(Weak, IsMadeOnEightThreadsAtOnce) {
  for (int round = 0; round < 200; ++round) {
    Ref<Guard> guard = makeObject<Guard>();
    std::vector<Weak<Guard>> weak(8);
    std::atomic<int> waiting{8};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
      threads.emplace_back([&, t] {
        waiting.fetch_sub(1);
        while (waiting.load() > 0) std::this_thread::yield();
        weak[t] = Weak<Guard>(guard);
      });
    }
    for (auto& thread : threads) thread.join();
    for (const auto& reference : weak) ASSERT_EQ(reference.load(), guard);
    guard = nullptr;
    for (const auto& reference : weak) ASSERT_EQ(reference.load(), nullptr);
  }
}

}  // namespace
}  // namespace JNFoundation
