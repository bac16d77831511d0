#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <sqlite3.h>
#include <string>

namespace JNFoundation::testing {

struct FaultVfsState;

/// A file system for SQLite that loses power and fails on demand.
///
/// While one lives it is SQLite's default, so that every store opened meanwhile stands on it. Its
/// files are real ones, and other processes see them. Beside them it keeps what a disk would hold
/// if the power went at this moment: what was synced, and apart from that, in order, what was not.
///
///     FaultVfs disk;
///     disk.cutPowerAfter(100);
///     ... save until it fails, close the store ...
///     disk.restorePower(random);   // the files are now what was left of them
///     ... open the store again ...
///
/// What a disk may do with what was not synced: every sector of it is written or is not, whatever
/// was written before or after it. The same goes for changes of a file's length. Changes of a
/// directory reach the disk in their order, and with the first sync of a log or journal, which
/// syncs the directory too; a file that was synced has its name. The log's index is shared memory
/// and never outlasts a cut. Temporary files are none of its business.
///
/// Requires: one at a time, no file of SQLite's open when it is made or dies. Threads: one.
class FaultVfs {
 public:
  enum class Operation { Read, Write, Sync, Truncate };
  static constexpr int operationCount = 4;
  enum class Lasting { Once, FromThenOn };

  FaultVfs();
  ~FaultVfs();
  FaultVfs(const FaultVfs&) = delete;
  FaultVfs& operator=(const FaultVfs&) = delete;

  // ---- Failures ---------------------------------------------------------------------------------

  /// Has the number-th operation of the kind fail, counted from 1 and from now, with the code; and
  /// those after it as well, or not. A write that fails has done half of its work.
  void fail(Operation operation, std::uint64_t number, int code, Lasting lasting);
  /// Nothing fails any more.
  void heal() noexcept;
  /// Whether anything has failed since the last call of `fail`.
  bool hasFailed() const noexcept;
  /// Files may grow by that many bytes altogether from now on; what passes that gets SQLITE_FULL.
  void setRoom(std::uint64_t bytes) noexcept;

  /// Has SQLite call the block wherever it would sleep, instead of sleeping. It waits for others'
  /// locks that way.
  void setPause(std::function<void()> block);

  /// How many operations of the kind there have been.
  std::uint64_t count(Operation operation) const noexcept;
  /// How many of the syncs were of write-ahead logs.
  std::uint64_t logSyncs() const noexcept;
  /// What SQLite answers to an operation of the kind that fails.
  static int usualCode(Operation operation) noexcept;

  // ---- Power ------------------------------------------------------------------------------------

  /// Cuts the power in the middle of the number-th change from now: a write, sync, truncation,
  /// creation or deletion. Every operation fails from then on.
  void cutPowerAfter(std::uint64_t changes) noexcept;
  bool hasPower() const noexcept;
  /// How many changes there have been.
  std::uint64_t changes() const noexcept;

  /// Makes the files what a disk without power may hold, and lets operations work again. Cuts the
  /// power before if it is on. Requires: every file is closed.
  void restorePower(std::mt19937_64& random);

 private:
  std::unique_ptr<FaultVfsState> _state;
};

}  // namespace JNFoundation::testing
