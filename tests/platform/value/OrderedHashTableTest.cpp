#include <algorithm>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include "platform/text/Randomness.h"
#include "platform/value/LiveObjects.h"
#include "platform/value/Raising.h"
#include "platform/value/Reentrant.h"

#include <JNFoundation/platform/value/OrderedHashTable.h>

namespace JNFoundation {
namespace {

using testing::LiveObjects;
using testing::raisedBy;
using testing::Randomness;
using testing::Reentrant;

struct TableEntry {
  Value key;
  std::uint64_t hash;
};
using TestTable = OrderedHashTable<TableEntry>;

/// Every hash of a few, so that many keys share one.
std::uint64_t crowdedHash(NSInteger number) { return static_cast<std::uint64_t>(number % 3); }
/// Hashes that differ in their upper half only.
std::uint64_t highHash(NSInteger number) { return static_cast<std::uint64_t>(number) << 40; }
std::uint64_t ownHash(NSInteger number) { return Value(number).hash(); }

using Hash = std::uint64_t (*)(NSInteger);

TableEntry entryOf(NSInteger number, Hash hash = ownHash) { return {number, hash(number)}; }

std::vector<NSInteger> numbersOf(const TestTable& table) {
  std::vector<NSInteger> numbers;
  for (std::size_t i = table.begin(); i < table.end(); ++i) {
    if (!table.isHole(i)) numbers.push_back(table.at(i).key.integerValue());
  }
  return numbers;
}

std::size_t positionOf(const TestTable& table, NSInteger number, Hash hash = ownHash) {
  return table.find(number, hash(number));
}

TEST(OrderedHashTable, IsEmptyAtFirst) {
  TestTable table;
  EXPECT_EQ(table.count(), 0u);
  EXPECT_EQ(table.begin(), table.end());
  EXPECT_EQ(positionOf(table, 1), TestTable::npos);
}

TEST(OrderedHashTable, KeepsTheOrderOfInsertion) {
  TestTable table;
  std::vector<NSInteger> expected;
  for (NSInteger i = 0; i < 100; ++i) {
    table.append(entryOf(i * 7919 % 101));
    expected.push_back(i * 7919 % 101);
  }
  EXPECT_EQ(numbersOf(table), expected);
}

TEST(OrderedHashTable, ARemovedEntryIsNotFoundAndTheOthersAre) {
  TestTable table;
  for (NSInteger i = 0; i < 50; ++i) table.append(entryOf(i));
  EXPECT_EQ(table.take(positionOf(table, 20)).key, Value(20));
  EXPECT_EQ(positionOf(table, 20), TestTable::npos);
  for (NSInteger i = 0; i < 50; ++i)
    EXPECT_EQ(positionOf(table, i) != TestTable::npos, i != 20) << i;
  EXPECT_EQ(table.count(), 49u);
}

TEST(OrderedHashTable, TheFirstPositionIsNeverAHole) {
  TestTable table;
  for (NSInteger i = 0; i < 40; ++i) table.append(entryOf(i));
  for (NSInteger i = 1; i < 30; ++i) table.take(positionOf(table, i));
  table.take(positionOf(table, 0));
  EXPECT_FALSE(table.isHole(table.begin()));
  EXPECT_EQ(table.at(table.begin()).key, Value(30));
}

TEST(OrderedHashTable, PositionsStayWhileTheFrontIsTaken) {
  TestTable table;
  for (NSInteger i = 0; i < 1000; ++i) table.append(entryOf(i));
  const std::size_t last = positionOf(table, 999);
  for (NSInteger i = 0; i < 999; ++i) {
    ASSERT_EQ(table.begin(), static_cast<std::size_t>(i));
    table.take(table.begin());
  }
  EXPECT_EQ(positionOf(table, 999), last);
}

TEST(OrderedHashTable, AQueueThatNeverRunsEmptyDoesNotGrow) {
  TestTable table;
  for (NSInteger i = 0; i < 10; ++i) table.append(entryOf(i));
  for (NSInteger i = 10; i < 100'000; ++i) {
    table.append(entryOf(i));
    ASSERT_EQ(table.take(table.begin()).key, Value(i - 10));
    ASSERT_LE(table.end(), 64u);
  }
}

TEST(OrderedHashTable, ASmallTableWithHolesDoesNotGrowEither) {
  TestTable table;
  table.append(entryOf(-1));
  for (NSInteger i = 0; i < 10'000; ++i) {
    table.append(entryOf(i));
    table.take(positionOf(table, i));
    ASSERT_LE(table.end(), 16u);
  }
  EXPECT_EQ(numbersOf(table), std::vector<NSInteger>{-1});
}

TEST(OrderedHashTable, ExchangingAndReplacingForeverStillEndsEverySearch) {
  for (const NSInteger size : {2, 8, 9, 16, 31, 32, 33}) {
    TestTable table;
    for (NSInteger i = 0; i < size; ++i) table.append(entryOf(i));
    for (NSInteger i = 0; i < 5000; ++i) {
      table.exchange(static_cast<std::size_t>(i % size), static_cast<std::size_t>(i * 5 % size));
      table.replace(static_cast<std::size_t>(i % size), entryOf(1000 + i));
      ASSERT_EQ(positionOf(table, -1), TestTable::npos);
      ASSERT_NE(positionOf(table, 1000 + i), TestTable::npos);
    }
    EXPECT_EQ(table.count(), static_cast<std::size_t>(size));
  }
}

TEST(OrderedHashTable, InsertingAndTakingAtTheFrontForeverStillEndsEverySearch) {
  TestTable table;
  for (NSInteger i = 0; i < 100; ++i) table.append(entryOf(i));
  for (NSInteger i = 0; i < 5000; ++i) {
    const TableEntry taken = table.take(table.begin());
    ASSERT_EQ(positionOf(table, 0), TestTable::npos);
    table.insert(table.begin(), taken);
    ASSERT_EQ(positionOf(table, 0), table.begin());
  }
  EXPECT_EQ(table.end(), 100u);
}

TEST(OrderedHashTable, AMovedTableIsLeftEmpty) {
  TestTable table;
  for (NSInteger i = 0; i < 20; ++i) table.append(entryOf(i));
  const TestTable other = std::move(table);
  EXPECT_EQ(table.count(), 0u);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(positionOf(table, 3), TestTable::npos);
  EXPECT_EQ(other.count(), 20u);
}

TEST(OrderedHashTable, ACopyIsIndependent) {
  TestTable table;
  for (NSInteger i = 0; i < 20; ++i) table.append(entryOf(i));
  TestTable other = table;
  other.take(positionOf(other, 5));
  EXPECT_NE(positionOf(table, 5), TestTable::npos);
  EXPECT_EQ(positionOf(other, 5), TestTable::npos);
}

TEST(OrderedHashTable, AWishForEndlessRoomIsCut) {
  TestTable table;
  table.reserve(std::numeric_limits<std::size_t>::max() / 16);
  table.append(entryOf(1));
  EXPECT_EQ(numbersOf(table), std::vector<NSInteger>{1});
}

TEST(OrderedHashTable, WhatIsTakenIsReleasedByTheCaller) {
  const LiveObjects alive;
  TestTable table;
  bool isGone = false;
  Ref<Reentrant> object = Reentrant::numbered(1);
  object->whenGone = [&isGone] { isGone = true; };
  table.append({std::move(object), 1});
  {
    const TableEntry taken = table.take(0);
    EXPECT_EQ(table.count(), 0u);
    EXPECT_FALSE(isGone);
  }
  EXPECT_TRUE(isGone);
  EXPECT_EQ(alive.count(), 0);
}

TEST(OrderedHashTable, ASearchThatIsChangedUnderWayIsGivenUp) {
  for (const NSInteger size : {3, 30}) {
    TestTable table;
    for (NSInteger i = 0; i < size; ++i) table.append({Reentrant::numbered(i), 0});
    Ref<Reentrant> wanted = Reentrant::numbered(size - 1);
    as<Reentrant>(table.at(0).key)->whenCompared = [&table] { table.takeAll(); };
    EXPECT_EQ(raisedBy([&] { table.find(wanted, 0); }),
              "NSGenericException: *** A collection was mutated by the isEqual: of one of its "
              "members.");
    EXPECT_EQ(table.count(), 0u);
  }
}

TEST(OrderedHashTable, ASearchNoticesThatItsTableWasReplaced) {
  TestTable table;
  for (NSInteger i = 0; i < 30; ++i) table.append({Reentrant::numbered(i), 0});
  TestTable other;
  other.append({Reentrant::numbered(100), 0});
  as<Reentrant>(table.at(0).key)->whenCompared = [&] { table.swap(other); };
  EXPECT_THROW(table.find(Reentrant::numbered(29), 0), Raised);
}

/// The table beside a plain vector, which does everything the slow way.
class TableModel {
 public:
  explicit TableModel(Hash hash) : _hash(hash) {}

  void step(Randomness& random) {
    const auto number = static_cast<NSInteger>(random.below(60));
    const std::size_t position = _table.find(number, _hash(number));
    const auto known = std::find(_list.begin(), _list.end(), number);
    ASSERT_EQ(position != TestTable::npos, known != _list.end());
    switch (random.below(10)) {
      case 0:
      case 1:
      case 2:
      case 3:
        if (position == TestTable::npos) append(number);
        break;
      case 4:
        if (position != TestTable::npos) {
          ASSERT_EQ(_table.take(position).key, Value(number));
          _list.erase(known);
        }
        break;
      case 5:
        if (!_list.empty()) {
          ASSERT_EQ(_table.take(_table.begin()).key, Value(_list.front()));
          _list.erase(_list.begin());
        }
        break;
      case 6:
        if (position == TestTable::npos) insert(number, random.below(_list.size() + 1));
        break;
      case 7:
        if (!_list.empty()) takeRun(random.below(_list.size() + 1), random);
        break;
      case 8:
        if (!_list.empty()) exchange(random.below(_list.size()), random.below(_list.size()));
        break;
      case 9:
        if (!_list.empty() && position == TestTable::npos)
          replace(number, random.below(_list.size()));
        break;
    }
  }

  void check() const {
    ASSERT_EQ(_table.count(), _list.size());
    ASSERT_EQ(numbersOf(_table), _list);
    for (NSInteger number = 0; number < 60; ++number) {
      const std::size_t position = _table.find(number, _hash(number));
      const bool isThere = std::find(_list.begin(), _list.end(), number) != _list.end();
      ASSERT_EQ(position != TestTable::npos, isThere) << number;
      if (isThere) {
        ASSERT_EQ(_table.at(position).key, Value(number));
      }
    }
  }

 private:
  void append(NSInteger number) {
    _table.append(entryOf(number, _hash));
    _list.push_back(number);
  }
  void insert(NSInteger number, std::size_t index) {
    _table.closeHoles();
    _table.insert(_table.begin() + index, entryOf(number, _hash));
    _list.insert(_list.begin() + static_cast<std::ptrdiff_t>(index), number);
  }
  void takeRun(std::size_t index, Randomness& random) {
    const std::size_t count = random.below(std::min<std::size_t>(_list.size() - index, 4) + 1);
    _table.closeHoles();
    const std::vector<TableEntry> taken = _table.takeRun(_table.begin() + index, count);
    const auto start = _list.begin() + static_cast<std::ptrdiff_t>(index);
    for (std::size_t i = 0; i < count; ++i) {
      ASSERT_EQ(taken[i].key, Value(start[static_cast<std::ptrdiff_t>(i)]));
    }
    _list.erase(start, start + static_cast<std::ptrdiff_t>(count));
  }
  void exchange(std::size_t first, std::size_t second) {
    _table.closeHoles();
    _table.exchange(_table.begin() + first, _table.begin() + second);
    std::swap(_list[first], _list[second]);
  }
  void replace(NSInteger number, std::size_t index) {
    _table.closeHoles();
    ASSERT_EQ(_table.replace(_table.begin() + index, entryOf(number, _hash)).key,
              Value(_list[index]));
    _list[index] = number;
  }

  Hash _hash;
  TestTable _table;
  std::vector<NSInteger> _list;
};

TEST(OrderedHashTable, AgreesWithAPlainListWhateverIsDone) {
  Randomness random;
  JN_TRACE_SEED(random);
  for (const Hash hash : {ownHash, crowdedHash, highHash}) {
    for (int run = 0; run < 40; ++run) {
      TableModel model(hash);
      for (int step = 0; step < 250; ++step) {
        ASSERT_NO_FATAL_FAILURE(model.step(random));
        if (step % 10 == 0) {
          ASSERT_NO_FATAL_FAILURE(model.check());
        }
      }
      ASSERT_NO_FATAL_FAILURE(model.check());
    }
  }
}

// Takes hours where hashes that differ in a few bits only meet in one place of the index.
TEST(OrderedHashTable, AMillionEntriesComeAndGoWhateverBitsTheirHashesDifferIn) {
  for (const Hash hash :
       {ownHash, highHash, Hash([](NSInteger n) { return std::uint64_t(n) * 16; })}) {
    TestTable table;
    for (NSInteger i = 0; i < 1'000'000; ++i) table.append(entryOf(i, hash));
    for (NSInteger i = 0; i < 1'000'000; i += 2) table.take(positionOf(table, i, hash));
    EXPECT_EQ(table.count(), 500'000u);
    for (NSInteger i = 1; i < 1'000'000; i += 2) {
      ASSERT_EQ(table.take(table.begin()).key, Value(i));
    }
    EXPECT_EQ(table.count(), 0u);
  }
}

}  // namespace
}  // namespace JNFoundation
