#pragma once

#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include "NumberedSaves.h"
#include "OpenedStore.h"
#include "StoreFixture.h"

namespace JNFoundation::testing {

/// A store of numbered saves in a directory of the test's own, whose files are taken away and put
/// back while it is closed.
class NumberedStoreTest : public ::testing::Test {
 protected:
  static constexpr std::uint64_t seed = 7;

  /// The endings of a store's files, and their bytes. The log's index is not one of them.
  using Files = std::map<std::string, std::string>;

  static std::string text(const Ref<NSError>& error) {
    return error ? error->description()->toStdString() : "no error";
  }

  Files files() const {
    Files found;
    for (const char* ending : {"", "-wal"}) {
      std::ifstream stream(file + ending, std::ios::binary);
      if (stream) found[ending] = std::string(std::istreambuf_iterator<char>(stream), {});
    }
    return found;
  }

  void write(const Files& wanted) const {
    for (const char* ending : {"", "-wal", "-shm", "-journal"}) {
      std::filesystem::remove(file + ending);
    }
    for (const auto& [ending, bytes] : wanted) {
      std::ofstream(file + ending, std::ios::binary) << bytes;
    }
  }

  /// A store as its last process left it: closed in good order, or not.
  Files storeOf(std::int64_t saves, bool isClosed) const {
    write({});
    OpenedStore store = opened();
    NumberedSaves made(seed);
    Ref<NSError> error;
    while (made.number() < saves) {
      EXPECT_TRUE(made.change(store.context, &error) && store.context->save(&error)) << text(error);
    }
    if (isClosed) store = OpenedStore();
    return files();
  }

  OpenedStore opened(const Ref<NSDictionary>& options = optionsFor(Durability::Full)) const {
    return OpenedStore(file, NumberedSaves::model(), options);
  }

  /// The store has one of the saves in the range, whole.
  /// Returns: which; -1 on failure.
  std::int64_t expectSaves(std::int64_t first, std::int64_t last) const {
    std::int64_t found = -1;
    OpenedStore store = opened();
    EXPECT_TRUE(store) << text(store.error);
    if (!store) return found;
    Ref<NSError> error;
    found = NumberedSaves::numberIn(store.context, &error);
    EXPECT_TRUE(found >= first && found <= last)
        << "has " << found << ", not " << first << " to " << last << " " << text(error);
    if (found < 0) return found;
    NumberedSaves saves(seed);
    saves.goTo(found);
    EXPECT_EQ(saves.difference(store.newContext()), "");
    EXPECT_EQ(damageOf(file), "");
    EXPECT_TRUE(saves.change(store.context, &error) && store.context->save(&error)) << text(error);
    return found;
  }

  TemporaryDirectory directory;
  MainQueueScope queue;
  std::string file = directory.file("saves.sqlite");
};

}  // namespace JNFoundation::testing
