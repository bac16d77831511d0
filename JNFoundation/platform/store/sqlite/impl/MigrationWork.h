#pragma once

#include <cstdint>
#include <string>

#include <JNFoundation/platform/store/NSMigrationPlan.h>
#include <JNFoundation/platform/store/sqlite/impl/Database.h>

namespace JNFoundation::inline v0_1::impl {

/// How far a migration is, for whoever wants to know and may want it to end.
class MigrationWork {
 public:
  /// Takes: a plan that may be null. SQLite itself asks now and then, in the middle of statements.
  MigrationWork(Database& database, Ref<NSMigrationPlan> plan);
  ~MigrationWork();
  MigrationWork(const MigrationWork&) = delete;
  MigrationWork& operator=(const MigrationWork&) = delete;

  /// So many records are still to be gone through.
  void add(std::uint64_t records) noexcept { _total += records; }
  // Returns: whether to go on.
  bool begin(const std::string& phase);
  bool advance(std::uint64_t records);
  bool isCancelled() const noexcept { return _isCancelled; }

  const Ref<NSMigrationPlan>& plan() const noexcept { return _plan; }

 private:
  bool tell();

  Database& _database;
  Ref<NSMigrationPlan> _plan;
  Ref<NSString> _phase;
  std::uint64_t _completed = 0;
  std::uint64_t _total = 0;
  bool _isCancelled = false;
};

}  // namespace JNFoundation::impl
