#include "../text/Randomness.h"
#include "FaultVfs.h"
#include "NumberedStoreFixture.h"

namespace JNFoundation {
namespace {

using testing::FaultVfs;
using testing::NumberedSaves;
using testing::OpenedStore;
using testing::Randomness;
using Lasting = FaultVfs::Lasting;
using Operation = FaultVfs::Operation;

/// A store is opened, saved in, read and closed while one operation of its disk fails, each in
/// turn.
class FaultInjection : public testing::NumberedStoreTest {
 protected:
  static constexpr std::int64_t savesBefore = 5;
  static constexpr std::int64_t savesMeanwhile = 3;

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
    expectSaves(saved, lasting == Lasting::Once ? saved : tried);
    return wasReached;
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

TEST_F(FaultInjection, ADiskThatFillsUpKeepsWhatWasSavedAndGoesOnWithRoom) {
  for (const std::uint64_t room : {0, 1, 5'000, 30'000, 100'000, 300'000}) {
    SCOPED_TRACE(room);
    const Files start = storeOf(savesBefore, false);
    write(start);
    FaultVfs disk;
    OpenedStore store = opened();
    ASSERT_TRUE(store) << text(store.error);
    NumberedSaves saves(seed);
    saves.goTo(savesBefore);
    disk.setRoom(room);
    Ref<NSError> error;
    std::int64_t saved = savesBefore;
    while (saves.change(store.context, &error) && store.context->save(&error)) ++saved;
    expectReason(error, SQLITE_FULL);
    NumberedSaves expected(seed);
    expected.goTo(saved);
    EXPECT_EQ(expected.difference(store.newContext()), "") << "what was saved is read meanwhile";
    disk.heal();
    EXPECT_TRUE(store.context->save(&error)) << text(error);
    EXPECT_EQ(saves.difference(store.newContext()), "");
    store = OpenedStore();
    EXPECT_EQ(expectSaves(saved + 1, saved + 1), saved + 1);
  }
}

}  // namespace
}  // namespace JNFoundation
