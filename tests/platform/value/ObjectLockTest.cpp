#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "platform/value/LiveObjects.h"

#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {
namespace {

class Account : public Subclass<Account, NSObject> {
 public:
  long balance = 0;
};

TEST(ObjectLock, ExcludesOtherThreads) {
  testing::LiveObjects live;
  {
    const Ref<Account> account = makeObject<Account>();
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
      threads.emplace_back([&] {
        for (int i = 0; i < 2'000; ++i) {
          objc_sync_enter(account.get());
          ++account->balance;
          objc_sync_exit(account.get());
        }
      });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(account->balance, 16'000);
  }
  EXPECT_EQ(live.count(), 0);
}

TEST(ObjectLock, IsRecursive) {
  const Ref<Account> account = makeObject<Account>();
  for (int depth = 0; depth < 100; ++depth) objc_sync_enter(account.get());
  for (int depth = 0; depth < 99; ++depth) objc_sync_exit(account.get());
  std::atomic<bool> entered{false};
  std::thread other([&] {
    objc_sync_enter(account.get());
    entered = true;
    objc_sync_exit(account.get());
  });
  // The lock is still held once, so the other thread cannot have entered, however long it had.
  for (int i = 0; i < 1'000; ++i) std::this_thread::yield();
  EXPECT_FALSE(entered);
  objc_sync_exit(account.get());
  other.join();
  EXPECT_TRUE(entered);
}

TEST(ObjectLock, BelongsToOneObject) {
  const Ref<Account> one = makeObject<Account>(), other = makeObject<Account>();
  objc_sync_enter(one.get());
  std::thread([&] {
    objc_sync_enter(other.get());
    objc_sync_exit(other.get());
  }).join();
  objc_sync_exit(one.get());
}

TEST(ObjectLock, OfNullIsIgnored) {
  objc_sync_enter(nullptr);
  objc_sync_exit(nullptr);
  const Ref<Account> account = makeObject<Account>();
  objc_sync_exit(account.get());
}

TEST(ObjectLock, LivesBesideWeakReferencesAndAttachments) {
  const Ref<Account> account = makeObject<Account>();
  static const char key = 0;
  objc_sync_enter(account.get());
  objc_setAssociatedObject(account.get(), &key, 1, OBJC_ASSOCIATION_RETAIN);
  objc_sync_enter(account.get());
  objc_removeAssociatedObjects(account.get());
  objc_sync_exit(account.get());
  objc_sync_exit(account.get());
  std::thread([&] {
    objc_sync_enter(account.get());
    objc_sync_exit(account.get());
  }).join();
}

}  // namespace
}  // namespace JNFoundation
