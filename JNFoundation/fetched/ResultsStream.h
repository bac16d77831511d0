#pragma once

#include <exception>

#include <JNFoundation/deferred/PLVPromise.h>
#include <JNFoundation/fetched/ListChanges.h>
#include <JNFoundation/fetched/Observation.h>
#include <JNFoundation/platform/store/NSFetchedResultsController.h>

namespace JNFoundation::inline v0_1 {

/// Fetched results as they were at one moment, and what led there.
/// Threads: that of the results; an event never changes.
class ResultsEvent : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Whether the results stand for themselves: at first, and after a fetch.
  bool isSnapshot() const noexcept { return _isSnapshot; }
  /// What became of the results of the event before; nothing for a snapshot. Every item is told
  /// of, also in sections that come and go.
  const ListChanges& changes() const noexcept { return _changes; }
  /// NSFetchedResultsSectionInfo objects; null before the first fetch.
  const Ref<NSArray>& sections() const noexcept { return _sections; }
  /// All objects; null before the first fetch.
  const Ref<NSArray>& objects() const noexcept { return _objects; }

 protected:
  ResultsEvent(const NSFetchedResultsController& controller, bool isSnapshot, ListChanges changes);

 private:
  bool _isSnapshot;
  ListChanges _changes;
  Ref<NSArray> _sections;
  Ref<NSArray> _objects;
};

/// The results of a controller as a stream: a snapshot, and then batch after batch, for any number
/// of observers.
///
///     auto stream = ResultsStream::withController(results);
///     _observation = stream->observe([this](const Ref<ResultsEvent>& event) {
///       if (event->isSnapshot()) return reload(event->sections());
///       for (const EditStep& step : editScript(event->changes())) ...
///     });
///     stream->nextChange()->whenFulfilled(...);
///
/// The stream is the controller's delegate. One that was there before goes on being told of
/// everything, before the observers are, and is the delegate again when the stream goes; so several
/// streams may stand on one controller. Whoever sets another delegate later ends the stream.
///
/// What happens while observers are told is told afterwards; each event has the results as they
/// were then. What an observer raises goes to the log like what a delegate raises, and ends the
/// telling.
/// Threads: the context's. Takes: the controller; the delegate weakly.
class ResultsStream : public NSObject, public NSFetchedResultsControllerDelegate {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }
  NSObject* protocolObject() noexcept override { return this; }

  /// Fails: raises NSInvalidArgumentException for null.
  static Ref<ResultsStream> withController(const Ref<NSFetchedResultsController>& controller);

  /// Whose results are told of. Never null.
  const Ref<NSFetchedResultsController>& controller() const noexcept { return _controller; }

  /// Has the controller fetch. A controller that fetches by itself tells nobody.
  /// Calls: the observers with a new snapshot. Fails: as the controller does; nothing is told.
  bool performFetch(Ref<NSError>* error = nullptr);

  /// Calls: the observer with a snapshot, now, and then with every event.
  Ref<Observation> observe(Block<void(const Ref<ResultsEvent>& event)> observer);

  /// Returns: a promise of the next batch, the caller's own, resolved with a ResultsEvent before
  /// observers are told of it; cancelled if the stream goes before. Snapshots do not resolve it.
  Ref<PLVPromise> nextChange();

  // What the controller tells.
  bool answers(Callback callback) const override;
  void controllerWillChangeContent(Controller controller) override;
  void controllerDidChangeSectionAtIndexForChangeType(
      Controller controller, const Ref<NSFetchedResultsSectionInfo>& section, NSUInteger index,
      NSFetchedResultsChangeType type) override;
  void controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(
      Controller controller, const Ref<NSManagedObject>& object, const Ref<NSIndexPath>& path,
      NSFetchedResultsChangeType type, const Ref<NSIndexPath>& newPath) override;
  void controllerDidChangeContent(Controller controller) override;
  Ref<NSString> controllerSectionIndexTitleForSectionName(Controller controller,
                                                          const Ref<NSString>& name) override;

 protected:
  explicit ResultsStream(const Ref<NSFetchedResultsController>& controller);
  ~ResultsStream() override;

 private:
  Ref<ResultsEvent> event(bool isSnapshot, ListChanges changes) const;
  /// The other delegate. Returns: null where it does not answer, or has gone.
  Ref<NSFetchedResultsControllerDelegate> otherFor(Callback callback) const;
  /// Tells the other delegate, unless it has raised something in this batch.
  template <class Tell>
  void forward(Callback callback, Tell tell);

  Ref<NSFetchedResultsController> _controller;
  Weak<NSFetchedResultsControllerDelegate> _other;
  impl::ObserverList<Ref<ResultsEvent>> _observers;

  // The batch that is being told.
  ListChanges _changes;
  /// Whether the results have the batch already, and the observers do not.
  bool _isAhead = false;
  /// Whether the results were fetched meanwhile, so that the changes lead from others.
  bool _isSuperseded = false;
  /// What the other delegate has raised, which ends the batch for it.
  std::exception_ptr _failure;

  /// Null unless somebody waits.
  Ref<PLVPromise> _next;
};

}  // namespace JNFoundation
