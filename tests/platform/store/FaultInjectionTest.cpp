#include <fstream>
#include <map>

#include "../text/Randomness.h"
#include "FaultVfs.h"
#include "NumberedSaves.h"
#include "OpenedStore.h"
#include "StoreFixture.h"

namespace JNFoundation {
namespace {

using testing::damageOf;
using testing::Durability;
using testing::FaultVfs;
using testing::NumberedSaves;
using testing::OpenedStore;
using testing::optionsFor;
using testing::Randomness;
using Lasting = FaultVfs::Lasting;
using Operation = FaultVfs::Operation;

/// A store is opened, saved in, read and closed while one operation of its disk fails, each in
/// turn.
class FaultInjection : public ::testing::Test {
 protected:
  static constexpr std::uint64_t seed = 7;
  static constexpr std::int64_t savesBefore = 5;
  static constexpr std::int64_t savesMeanwhile = 3;

  /// What a trial starts from: the endings of files, and their bytes.
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

  /// A store as its last process left it: closed in good order, or not.
  Files storeOf(std::int64_t saves, bool isClosed) {
    write({});
    OpenedStore store(file, NumberedSaves::model());
    NumberedSaves made(seed);
    Ref<NSError> error;
    while (made.number() < saves) {
      EXPECT_TRUE(made.change(store.context, &error) && store.context->save(&error)) << text(error);
    }
    if (isClosed) store = OpenedStore();
    return files();
  }

  void write(const Files& wanted) const {
    for (const char* ending : {"", "-wal", "-shm", "-journal"}) {
      std::filesystem::remove(file + ending);
    }
    for (const auto& [ending, bytes] : wanted) {
      std::ofstream(file + ending, std::ios::binary) << bytes;
    }
  }

  /// A failure says what it is: an error of the store with the disk's below it.
  static void expectReason(const Ref<NSError>& error, int code) {
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain()->toStdString(), NSCocoaErrorDomain) << text(error);
    ASSERT_TRUE(error->underlyingError()) << text(error);
    EXPECT_EQ(error->underlyingError()->code() & 0xff, code & 0xff) << text(error);
  }

  /// One trial. Returns: whether the operation that was to fail was reached.
  bool failAt(Operation operation, std::uint64_t number, int code, Lasting lasting,
              const Files& start, std::int64_t saved) {
    SCOPED_TRACE("operation " + std::to_string(number) + " fails with " + std::to_string(code) +
                 (lasting == Lasting::Once ? " once" : " for good"));
    write(start);
    FaultVfs disk;
    disk.fail(operation, number, code, lasting);
    std::int64_t tried = saved;
    {
      OpenedStore store = opened();
      if (!store) {
        expectReason(store.error, code);
        if (lasting == Lasting::Once) {
          // The next try meets a disk that works.
          store = opened();
          EXPECT_TRUE(store) << text(store.error);
        }
      }
      NumberedSaves saves(seed);
      saves.goTo(saved);
      while (store && saved < savesBefore + savesMeanwhile) {
        tried = saved + 1;
        Ref<NSError> error;
        bool isSaved = saves.change(store.context, &error);
        if (isSaved) {
          isSaved = store.context->save(&error);
          if (!isSaved) {
            expectReason(error, code);
            EXPECT_TRUE(store.context->hasChanges()) << "the changes stay pending";
            if (lasting == Lasting::Once) {
              EXPECT_TRUE(isSaved = store.context->save(&error)) << text(error);
            }
          }
        } else {
          expectReason(error, code);
          if (lasting == Lasting::Once) {
            store.context->rollback();
            saves = NumberedSaves(seed);
            saves.goTo(saved);
            EXPECT_TRUE(isSaved =
                            saves.change(store.context, &error) && store.context->save(&error))
                << text(error);
          }
        }
        if (!isSaved) break;
        saved = tried;
      }
      if (store && saved == tried) {
        const std::string difference = saves.difference(store.newContext());
        EXPECT_TRUE(difference.empty() || disk.hasFailed()) << difference;
      }
    }
    const bool wasReached = disk.hasFailed();
    disk.heal();
    EXPECT_NO_FATAL_FAILURE(expectSaves(saved, lasting == Lasting::Once ? saved : tried));
    return wasReached;
  }

  OpenedStore opened() const {
    return OpenedStore(file, NumberedSaves::model(), optionsFor(Durability::Full));
  }

  /// The store, on a disk that works again, has one of the two saves, whole.
  void expectSaves(std::int64_t saved, std::int64_t tried) const {
    OpenedStore store = opened();
    ASSERT_TRUE(store) << text(store.error);
    Ref<NSError> error;
    const std::int64_t found = NumberedSaves::numberIn(store.context, &error);
    ASSERT_TRUE(found == saved || found == tried)
        << "has " << found << " where " << saved << " was saved " << text(error);
    NumberedSaves saves(seed);
    saves.goTo(found);
    EXPECT_EQ(saves.difference(store.newContext()), "");
    EXPECT_EQ(damageOf(file), "");
    EXPECT_TRUE(saves.change(store.context, &error) && store.context->save(&error)) << text(error);
  }

  /// Each operation in turn, or a sample of them, until a run passes clean.
  void failAtEach(Operation operation, int code, const Files& start, std::int64_t saved) {
    Randomness randomness;
    JN_TRACE_SEED(randomness);
    const auto step = static_cast<std::uint64_t>(testing::rounds(12, 1));
    for (const Lasting lasting : {Lasting::Once, Lasting::FromThenOn}) {
      std::uint64_t number = 1;
      while (failAt(operation, number, code, lasting, start, saved) && !HasFailure()) {
        number += 1 + randomness.below(step);
      }
      RecordProperty(lasting == Lasting::Once ? "once" : "for_good", std::to_string(number));
      EXPECT_GT(number, 1u) << "the store never asks its disk for that";
    }
  }

  TemporaryDirectory directory;
  MainQueueScope queue;
  std::string file = directory.file("saves.sqlite");
};

/// The parameter is what fails.
class FailingOperation : public FaultInjection, public ::testing::WithParamInterface<Operation> {};

INSTANTIATE_TEST_SUITE_P(Disk, FailingOperation,
                         ::testing::Values(Operation::Read, Operation::Write, Operation::Sync,
                                           Operation::Truncate),
                         [](const auto& info) {
                           switch (info.param) {
                             case Operation::Read:
                               return "Read";
                             case Operation::Write:
                               return "Write";
                             case Operation::Sync:
                               return "Sync";
                             case Operation::Truncate:
                               break;
                           }
                           return "Truncate";
                         });

TEST_P(FailingOperation, WhileAStoreIsMadeLosesNoSave) {
  failAtEach(GetParam(), FaultVfs::usualCode(GetParam()), {}, 0);
}

TEST_P(FailingOperation, InAClosedStoreLosesNoSave) {
  failAtEach(GetParam(), FaultVfs::usualCode(GetParam()), storeOf(savesBefore, true), savesBefore);
}

TEST_P(FailingOperation, InAStoreThatWasNeverClosedLosesNoSave) {
  const Files left = storeOf(savesBefore, false);
  ASSERT_EQ(left.count("-wal"), 1u);
  failAtEach(GetParam(), FaultVfs::usualCode(GetParam()), left, savesBefore);
}

TEST_F(FaultInjection, AFullDiskLosesNoSave) {
  failAtEach(Operation::Write, SQLITE_FULL, {}, 0);
  failAtEach(Operation::Write, SQLITE_FULL, storeOf(savesBefore, false), savesBefore);
}

}  // namespace
}  // namespace JNFoundation
