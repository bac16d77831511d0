#pragma once

#include <memory>
#include <vector>

#include <JNFoundation/platform/store/impl/ContextEvents.h>
#include <JNFoundation/platform/store/impl/FetchedResults.h>

namespace JNFoundation::inline v0_1::impl {

/// Keeps a controller's results true, and tells its delegate.
///
/// While a batch is told, further events wait, and are told as the next batch; a fetch meanwhile
/// ends the batch. The delegate that a batch began with is the one that hears its end.
/// Threads: the context's.
class FetchedResultsTracker final : public ContextObserver {
 public:
  explicit FetchedResultsTracker(NSFetchedResultsController& controller)
      : _controller(controller) {}
  ~FetchedResultsTracker();
  FetchedResultsTracker(const FetchedResultsTracker&) = delete;
  FetchedResultsTracker& operator=(const FetchedResultsTracker&) = delete;

  /// See NSFetchedResultsController.
  bool performFetch(Ref<NSError>* error);
  /// Null before the first fetch.
  const FetchedResults* results() const noexcept { return _results.get(); }
  /// The controller has another delegate, or none.
  void delegateDidChange();

 private:
  using Delegate = NSFetchedResultsControllerDelegate;

  /// An object that may have to be put elsewhere.
  struct Pending {
    Ref<NSManagedObject> object;
    /// It was said to be gone.
    bool isGone;
    /// It may have changed; otherwise its place is all that may be wrong.
    bool isUpdate;
  };

  void contextDidChange(NSManagedObjectContext& context, const ContextEvent& event) override;
  void contextDidSave(NSManagedObjectContext& context) override;

  bool fetch(Ref<NSError>* error);
  void processPending();
  bool tellBatch(const Ref<Delegate>& delegate, std::vector<Pending> pending);
  void tell(const FetchedResults::Changes& changes, const Ref<Delegate>& delegate);
  std::vector<FetchedResults::Candidate> candidates(const std::vector<Pending>& pending) const;
  std::vector<Pending> takePending();
  bool belongs(const Pending& pending) const;
  void noteUnsaved(NSManagedObject& object);
  void waitForChanges();
  template <class Call>
  void call(const Ref<Delegate>& delegate, Delegate::Callback callback, const char* name,
            Call&& call);

  NSFetchedResultsController& _controller;
  std::unique_ptr<FetchedResults> _results;
  std::vector<Pending> _pending;
  /// Results that had no permanent identifier when they were put in.
  std::vector<Ref<NSManagedObject>> _unsaved;
  /// Counts fetches, saves and delegates, so that a batch notices them.
  std::uint64_t _fetches = 0;
  std::uint64_t _saves = 0;
  std::uint64_t _delegates = 0;
  std::uint64_t _delegateOfBatch = 0;
  /// What the context had counted when the list was put in order; see ObjectRegistry.
  std::uint64_t _rereads = 0;
  bool _isObserving = false;
  bool _isFetching = false;
  bool _isTelling = false;
  /// After a reset, until the next fetch.
  bool _isAbandoned = false;
};

}  // namespace JNFoundation::impl
