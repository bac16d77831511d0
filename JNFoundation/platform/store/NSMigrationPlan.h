#pragma once

#include <atomic>
#include <vector>

#include <JNFoundation/platform/store/NSMigrationStep.h>

namespace JNFoundation::inline v0_1 {

/// Told how much of a migration is done, counted in records, and what is going on at the moment:
/// "Copying Person". The total may grow from step to step. Returns: whether to go on.
using NSMigrationProgress =
    Block<bool(std::uint64_t completed, std::uint64_t total, const Ref<NSString>& phase)>;

/// How stores of other models are to be migrated, given with NSPersistentStoreMigrationPlanOption.
///
/// Of the steps, the first one that is for the store is taken, then, if it leads to another model
/// than the coordinator's, the next one that is for what has come of it, each once; where none is,
/// the rest is inferred. All of it is one transaction.
/// Threads: one, until it is in use; `cancel` any.
class NSMigrationPlan : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// A plan without steps.
  static Ref<NSMigrationPlan> init();

  /// Fails: raises NSInvalidArgumentException for null.
  void addStep(const Ref<NSMigrationStep>& step);
  /// In the order in which they were added, borrowed until one is added.
  const std::vector<Ref<NSMigrationStep>>& steps() const noexcept { return _steps; }

  // Called on the thread that opens the store, many times. Null, as at first, tells nobody.
  void setProgress(const NSMigrationProgress& progress) { _progress = progress; }
  const NSMigrationProgress& progress() const noexcept { return _progress; }

  /// Has a migration that is under way end, and each later one not begin: the store is not opened,
  /// with NSMigrationCancelledError (134120), and stays as it was.
  void cancel() noexcept { _isCancelled.store(true, std::memory_order_relaxed); }
  /// Whether `cancel` was called.
  bool isCancelled() const noexcept { return _isCancelled.load(std::memory_order_relaxed); }

 protected:
  NSMigrationPlan();
  ~NSMigrationPlan() override;

 private:
  std::vector<Ref<NSMigrationStep>> _steps;
  NSMigrationProgress _progress;
  std::atomic<bool> _isCancelled = false;
};

}  // namespace JNFoundation
