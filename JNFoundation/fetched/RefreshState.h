#pragma once

#include <limits>

#include <JNFoundation/deferred/PLVPromise.h>
#include <JNFoundation/fetched/Observation.h>
#include <JNFoundation/platform/dispatch/Clock.h>
#include <JNFoundation/platform/store/NSFetchedResultsController.h>

namespace JNFoundation::inline v0_1 {

/// How it stands with fresh data.
struct RefreshStatus {
  /// Where a refresh stands.
  enum class Phase : std::uint8_t {
    /// Nothing was asked for yet.
    Idle,
    /// A refresh is under way.
    Loading,
    /// What was asked for last has arrived, at `since`.
    Fresh,
    /// The last refresh was rejected, with `rejected`.
    Failed,
  };

  /// Where the refresh stands.
  Phase phase = Phase::Idle;
  /// The date of the last success, whatever came after it; null before the first one.
  Value since = nullptr;
  /// Whether there was no success, or the last one is older than it should be.
  bool isStale = true;
  /// What the last refresh was rejected with, in `Failed`; null in every other phase.
  Ref<PLVRejected> rejected = nullptr;

  /// The error that it was rejected with; null where there is none, or it is something else.
  Ref<NSError> error() const { return rejected ? as<NSError>(Value(rejected->value())) : nullptr; }

  /// Whether all members are the same; a date by its instant, a failure by identity.
  friend bool operator==(const RefreshStatus& left, const RefreshStatus& right) noexcept {
    return left.phase == right.phase && left.since.isIdentical(right.since) &&
           left.isStale == right.isStale && left.rejected == right.rejected;
  }
};

/// Refreshes the results of a controller by its refresh provider, once at a time, and says how it
/// stands:
///
///     auto state = RefreshState::withController(results);
///     state->setStaleInterval(300);
///     _observation = state->observe([this](const RefreshStatus& status) {
///       spinner->setVisible(status.phase == RefreshStatus::Phase::Loading);
///     });
///     state->refreshIfStale();
///
/// The provider is that of `plv_setRefreshProviderBlock`. Refreshes that go round the state, by
/// `plv_refreshWithOptions`, are not noticed.
///
/// Threads: the main thread, which is also where observers are called; the controller's context is
/// of the main queue. Takes: the controller. The state may go while it loads; whoever was promised
/// the outcome gets it.
class RefreshState : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Fails: raises NSInvalidArgumentException for null.
  static Ref<RefreshState> withController(const Ref<NSFetchedResultsController>& controller);

  /// Whose results are refreshed. Never null.
  const Ref<NSFetchedResultsController>& controller() const noexcept { return _controller; }
  /// As it is. Observers may still be on their way to it.
  const RefreshStatus& status() const noexcept { return _status; }
  /// Whether the results are stale at this very moment, by the clock; observers hear of it in a
  /// turn of the main queue.
  bool isStale() const noexcept;

  /// Seconds for which a success counts as fresh, in monotonic time; infinite at first. Nothing or
  /// less makes everything stale at once.
  NSTimeInterval staleInterval() const noexcept { return _staleInterval; }
  void setStaleInterval(NSTimeInterval seconds);

  /// Asks the provider, or joins those who wait for the refresh that is under way; the options are
  /// the first one's then.
  /// Returns: a promise of the outcome, the caller's own: cancelling it ends nothing else. Fails:
  /// as the provider does; an exception that it raises rejects, too.
  Ref<PLVPromise> refresh(NSInteger options = 0);
  /// Refreshes unless the results are fresh. Joins a refresh that is under way. Returns: a promise
  /// that is resolved with null already where they are.
  Ref<PLVPromise> refreshIfStale(NSInteger options = 0);

  /// Ends the refresh that is under way: the phase is what it was before, the provider's promise
  /// loses the state as its listener, and whoever joined gets a cancellation. A provider that
  /// cancels by itself has the same effect.
  void cancel();

  /// Calls: the observer with the status as it is, now, and with each new one, among them when the
  /// results have become stale by age. What changes while observers are called is told afterwards.
  Ref<Observation> observe(Block<void(const RefreshStatus& status)> observer);

 protected:
  explicit RefreshState(const Ref<NSFetchedResultsController>& controller)
      : _controller(controller) {}

 private:
  void finish(const Value& outcome);
  void setStatus(RefreshStatus status);
  /// The status that is not `Loading`, again.
  void restore();
  void watchAge();

  Ref<NSFetchedResultsController> _controller;
  RefreshStatus _status;
  /// As it was before the refresh that is under way.
  RefreshStatus _settled;
  impl::ObserverList<RefreshStatus> _observers;

  /// Null unless a refresh is under way.
  Ref<PLVPromise> _flight;
  Ref<PLVDeferred> _work;

  NSTimeInterval _staleInterval = std::numeric_limits<NSTimeInterval>::infinity();
  /// The moment of the last success. Meaningless before.
  Nanoseconds _successMoment = 0;
  /// Counts what would make a look at the age that is on its way pointless.
  std::uint64_t _ageWatches = 0;
};

}  // namespace JNFoundation
