#include <gtest/gtest.h>
#include <mutex>
#include <thread>

#include "platform/value/LiveObjects.h"

#include <JNFoundation/platform/value/Subclass.h>
#include <JNFoundation/platform/value/TryRetain.h>

namespace JNFoundation {
namespace {

class Entry;

/// A table of objects that it does not keep alive.
struct Table {
  Ref<Entry> add();
  Ref<Entry> find();
  std::mutex mutex;
  Entry* entry = nullptr;
};

class Entry : public Subclass<Entry, NSObject> {
 public:
  explicit Entry(Table& table) : _table(table) {}
  ~Entry() override {
    EXPECT_FALSE(tryRetain(*this));
    std::lock_guard guard(_table.mutex);
    if (_table.entry == this) _table.entry = nullptr;
  }

 private:
  Table& _table;
};

Ref<Entry> Table::add() {
  // Not from the constructor: others must not meet an object that is not complete.
  Ref<Entry> added = makeObject<Entry>(*this);
  std::lock_guard guard(mutex);
  entry = added.get();
  return added;
}

Ref<Entry> Table::find() {
  std::lock_guard guard(mutex);
  return entry && tryRetain(*entry) ? Ref<Entry>::adopt(entry) : nullptr;
}

TEST(TryRetain, TakesAReferenceWhileThereIsOne) {
  testing::LiveObjects live;
  Table table;
  Ref<Entry> entry = table.add();
  EXPECT_EQ(table.find(), entry);
  EXPECT_EQ(entry->retainCount(), 1u);
  entry = nullptr;
  EXPECT_EQ(table.find(), nullptr);
  EXPECT_EQ(live.count(), 0);
}

TEST(TryRetain, GivesNothingOrAnObjectWhileItDiesElsewhere) {
  testing::LiveObjects live;
  {
    Table table;
    std::thread reader([&] {
      for (int i = 0; i < 20'000; ++i) {
        if (const Ref<Entry> entry = table.find()) {
          EXPECT_EQ(&entry->class_(), &Entry::classObject);
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
