#include <unistd.h>

#include "../text/Randomness.h"
#include "NumberedStoreFixture.h"

namespace JNFoundation {
namespace {

using testing::NumberedSaves;
using testing::NumberedStoreTest;
using testing::OpenedStore;
using testing::Randomness;

/// Files that something else than the store has changed, or that it may not change.
class DamagedFiles : public NumberedStoreTest {
 protected:
  static Ref<NSDictionary> readOnly() {
    return NSDictionary::dictionaryWithEntries({{NSReadOnlyPersistentStoreOption, true}});
  }

  /// Every multiple of 512 below the limit, or a sample of them.
  template <class Block>
  static void forEachCut(std::size_t limit, Randomness& randomness, Block block) {
    const auto step = static_cast<std::uint64_t>(testing::rounds(48, 1));
    for (std::size_t size = 0; size < limit; size += 512 * (1 + randomness.below(step))) {
      SCOPED_TRACE("cut at " + std::to_string(size));
      block(size);
    }
  }
};

TEST_F(DamagedFiles, AFileThatWasCutIsRefusedAndLeftAsItIs) {
  Randomness randomness;
  JN_TRACE_SEED(randomness);
  constexpr std::int64_t saved = 40;
  const Files whole = storeOf(saved, true);
  ASSERT_EQ(whole.count("-wal"), 0u);
  forEachCut(whole.at("").size(), randomness, [&](std::size_t size) {
    // Nothing at all is a file that was only just begun.
    if (size == 0) return;
    const Files cut{{"", whole.at("").substr(0, size)}};
    write(cut);
    for (const Ref<NSDictionary>& options : {Ref<NSDictionary>(), readOnly()}) {
      OpenedStore store = opened(options);
      EXPECT_FALSE(store);
      ASSERT_TRUE(store.error);
      EXPECT_EQ(store.error->code(), NSPersistentStoreOpenError) << text(store.error);
      store = OpenedStore();
      EXPECT_TRUE(files().at("") == cut.at("")) << "the file was changed";
    }
  });
  write(whole);
  EXPECT_EQ(expectSaves(saved, saved), saved);
}

TEST_F(DamagedFiles, ALogThatWasCutGivesAnEarlierSaveWhole) {
  Randomness randomness;
  JN_TRACE_SEED(randomness);
  constexpr std::int64_t saved = 12;
  const Files whole = storeOf(saved, false);
  const std::string& log = whole.at("-wal");
  std::int64_t before = 0;
  forEachCut(log.size(), randomness, [&](std::size_t size) {
    write({{"", whole.at("")}, {"-wal", log.substr(0, size)}});
    before = expectSaves(before, saved);
  });
  EXPECT_GT(before, 0);
  write(whole);
  EXPECT_EQ(expectSaves(saved, saved), saved);
}

TEST_F(DamagedFiles, ALogWithAWrongByteGivesAnEarlierSaveWhole) {
  Randomness randomness;
  JN_TRACE_SEED(randomness);
  constexpr std::int64_t saved = 12;
  const Files whole = storeOf(saved, false);
  for (int i = testing::rounds(20, 500); i > 0 && !HasFailure(); --i) {
    Files changed = whole;
    std::string& log = changed["-wal"];
    log[randomness.below(log.size())] ^= static_cast<char>(1u << randomness.below(8));
    write(changed);
    expectSaves(0, saved);
  }
}

TEST_F(DamagedFiles, WhatIsRefusedKeepsItsLog) {
  constexpr std::int64_t saved = 5;
  const Files left = storeOf(saved, false);
  write(left);
  {
    OpenedStore store(file, libraryModel());
    EXPECT_FALSE(store);
    ASSERT_TRUE(store.error);
    EXPECT_EQ(store.error->code(), NSPersistentStoreIncompatibleVersionHashError);
  }
  EXPECT_TRUE(files() == left);
  EXPECT_EQ(expectSaves(saved, saved), saved);
}

TEST_F(DamagedFiles, AStoreThatIsOnlyReadShowsWhatItsLogHolds) {
  constexpr std::int64_t saved = 5;
  const Files left = storeOf(saved, false);
  write(left);
  {
    OpenedStore store = opened(readOnly());
    ASSERT_TRUE(store) << text(store.error);
    NumberedSaves saves(seed);
    saves.goTo(saved);
    EXPECT_EQ(saves.difference(store.context), "");
  }
  EXPECT_TRUE(files() == left);
}

TEST_F(DamagedFiles, ALogThatCannotBeReadIsNotPassedOver) {
  constexpr std::int64_t saved = 5;
  const Files left = storeOf(saved, false);
  write(left);
  std::filesystem::permissions(file, std::filesystem::perms(0444));
  std::filesystem::permissions(file + "-wal", std::filesystem::perms(0444));
  std::filesystem::permissions(directory.path, std::filesystem::perms(0555));
  // The superuser may write anywhere, so the test gives that up for a while.
  const bool isSuperuser = geteuid() == 0;
  if (isSuperuser) {
    ASSERT_EQ(seteuid(65534), 0);
  }
  {
    // The log's index has no place here, so the last saves are out of reach.
    OpenedStore store = opened(readOnly());
    if (store) {
      EXPECT_EQ(NumberedSaves::numberIn(store.context, nullptr), saved);
    } else {
      ASSERT_TRUE(store.error);
      EXPECT_EQ(store.error->code(), NSPersistentStoreOpenError) << text(store.error);
    }
  }
  if (isSuperuser) {
    ASSERT_EQ(seteuid(0), 0);
  }
  std::filesystem::permissions(directory.path, std::filesystem::perms(0755));
  EXPECT_TRUE(files() == left);
}

}  // namespace
}  // namespace JNFoundation
