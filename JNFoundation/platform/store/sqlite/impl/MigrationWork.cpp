#include "JNFoundation/platform/store/sqlite/impl/MigrationWork.h"

#include <algorithm>

namespace JNFoundation::inline v0_1::impl {

MigrationWork::MigrationWork(Database& database, Ref<NSMigrationPlan> plan)
    : _database(database), _plan(std::move(plan)), _phase(NSString::fromText("")) {
  constexpr int stepsBetweenLooks = 10'000;
  if (!_plan) return;
  sqlite3_progress_handler(
      database.handle(), stepsBetweenLooks,
      [](void* data) {
        auto* work = static_cast<MigrationWork*>(data);
        work->_isCancelled = work->_isCancelled || work->_plan->isCancelled();
        return work->_isCancelled ? 1 : 0;
      },
      this);
}

MigrationWork::~MigrationWork() {
  if (_plan) sqlite3_progress_handler(_database.handle(), 0, nullptr, nullptr);
}

bool MigrationWork::begin(const std::string& phase) {
  _phase = NSString::fromText(phase);
  return tell();
}

bool MigrationWork::advance(std::uint64_t records) {
  // Records that came since they were counted are no reason to pass the total.
  _completed = std::min(_completed + records, _total);
  return tell();
}

bool MigrationWork::tell() {
  if (!_plan) return true;
  if (_plan->progress() && !_plan->progress()(_completed, _total, _phase)) _isCancelled = true;
  if (_plan->isCancelled()) _isCancelled = true;
  return !_isCancelled;
}

}  // namespace JNFoundation::impl
