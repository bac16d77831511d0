#include <gtest/gtest.h>
#include <mutex>
#include <thread>

#include "platform/value/LiveObjects.h"

#include <JNFoundation/platform/value/Subclass.h>
#include <JNFoundation/platform/value/TryRetain.h>

namespace JNFoundation {
namespace {

class PublishedEntry;

/// A table of objects that it does not keep alive.
struct PublishedTable {
  Ref<PublishedEntry> add();
  Ref<PublishedEntry> find();
  std::mutex mutex;
  PublishedEntry* entry = nullptr;
};

class PublishedEntry : public Subclass<PublishedEntry, NSObject> {
 public:
  explicit PublishedEntry(PublishedTable& table) : _table(table) {}
  ~PublishedEntry() override {
    EXPECT_FALSE(tryRetain(*this));
    std::lock_guard guard(_table.mutex);
    if (_table.entry == this) _table.entry = nullptr;
  }

 private:
  PublishedTable& _table;
};

Ref<PublishedEntry> PublishedTable::add() {
  // Not from the constructor: others must not meet an object that is not complete.
  Ref<PublishedEntry> added = makeObject<PublishedEntry>(*this);
  std::lock_guard guard(mutex);
  entry = added.get();
  return added;
}

Ref<PublishedEntry> PublishedTable::find() {
  std::lock_guard guard(mutex);
  return entry && tryRetain(*entry) ? Ref<PublishedEntry>::adopt(entry) : nullptr;
}

TEST(TryRetain, TakesAReferenceWhileThereIsOne) {
  testing::LiveObjects live;
  PublishedTable table;
  Ref<PublishedEntry> entry = table.add();
  EXPECT_EQ(table.find(), entry);
  EXPECT_EQ(entry->retainCount(), 1u);
  entry = nullptr;
  EXPECT_EQ(table.find(), nullptr);
  EXPECT_EQ(live.count(), 0);
}

TEST(TryRetain, GivesNothingOrAnObjectWhileItDiesElsewhere) {
  testing::LiveObjects live;
  {
    PublishedTable table;
    std::thread reader([&] {
      for (int i = 0; i < 20'000; ++i) {
        if (const Ref<PublishedEntry> entry = table.find()) {
          EXPECT_EQ(&entry->class_(), &PublishedEntry::classObject);
        }
      }
    });
    for (int i = 0; i < 20'000; ++i) table.add();
    reader.join();
  }
  EXPECT_EQ(live.count(), 0);
}

}  // namespace
}  // namespace JNFoundation
