#include <future>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/text/Randomness.h"
#include "platform/value/LiveObjects.h"
#include "platform/value/Raising.h"
#include "platform/value/Reentrant.h"

#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/util/Synced.h>

namespace JNFoundation {
namespace {

using testing::Reentrant;

TEST(Synced, CallsTheClosureOnceBeforeItReturns) {
  int calls = 0;
  synced(Reentrant::numbered(1), [&] { ++calls; });
  EXPECT_EQ(calls, 1);
}

TEST(Synced, ClosuresForOneObjectNeverOverlap) {
  const auto object = Reentrant::numbered(1);
  const int times = testing::amount(20000);
  int count = 0, inside = 0, overlaps = 0;
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, object] {
      for (int n = 0; n < times; ++n) {
        synced(object, [&] {
          if (++inside != 1) ++overlaps;
          ++count;
          --inside;
        });
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, 4 * times);
  EXPECT_EQ(overlaps, 0);
}

TEST(Synced, ClosuresForDifferentObjectsDoNotWaitForEachOther) {
  const auto one = Reentrant::numbered(1), other = Reentrant::numbered(2);
  synced(one, [&] { std::thread([&] { synced(other, [] {}); }).join(); });
}

TEST(Synced, AThreadMayEnterAgain) {
  const auto object = Reentrant::numbered(1);
  int depth = 0;
  synced(object, [&] { synced(object, [&] { synced(object, [&] { depth = 3; }); }); });
  EXPECT_EQ(depth, 3);
  // All three were left again.
  std::thread([&] { synced(object, [&] { depth = 0; }); }).join();
  EXPECT_EQ(depth, 0);
}

TEST(Synced, TheLockIsGivenBackWhenTheClosureThrows) {
  const auto object = Reentrant::numbered(1);
  EXPECT_THROW(synced(object, [] { throw std::runtime_error("plain"); }), std::runtime_error);
  EXPECT_EQ(testing::raisedName([&] { synced(object, [] { raise("Own", "x"); }); }), "Own");
  bool entered = false;
  std::thread([&] { synced(object, [&] { entered = true; }); }).join();
  EXPECT_TRUE(entered);
}

TEST(Synced, GivesBackWhatTheClosureReturns) {
  const auto object = Reentrant::numbered(1);
  EXPECT_EQ(synced(object, [] { return 7; }), 7);
  int number = 1;
  synced(object, [&]() -> int& { return number; }) = 2;
  EXPECT_EQ(number, 2);
}

TEST(Synced, ANullObjectHasNoLock) {
  int calls = 0;
  synced(nullptr, [&] { ++calls; });
  EXPECT_EQ(calls, 1);
}

TEST(Synced, TheClosureMayReleaseTheObject) {
  const testing::LiveObjects objects;
  Ref<Reentrant> object = Reentrant::numbered(1);
  bool isGone = false;
  object->whenGone = [&] { isGone = true; };
  synced(object, [&] {
    object = nullptr;
    EXPECT_FALSE(isGone);
  });
  EXPECT_TRUE(isGone);
  EXPECT_EQ(objects.count(), 0);
}

}  // namespace
}  // namespace JNFoundation
