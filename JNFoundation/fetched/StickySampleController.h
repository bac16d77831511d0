#pragma once

#include <unordered_map>
#include <vector>

#include <JNFoundation/platform/dispatch/Random.h>
#include <JNFoundation/platform/store/NSFetchedResultsController.h>

namespace JNFoundation::inline v0_1 {

struct ListChanges;

/// A random choice of what a fetch request finds that changes as little as it can: an object stays
/// in its slot until it leaves the results, and only then another one is drawn into that slot.
///
///     auto discover = StickySampleController::
///         initWithFetchRequestManagedObjectContextSampleLimitRandomSource(
///             request, context, 10, seededRandomSource(2006));
///     discover->setDelegate(strip);
///     if (discover->performFetch(&error)) strip->show(discover->fetchedObjects());
///     ...
///     discover->reshuffle();
///
/// It is a controller of one section for whatever shows fetched results. Objects are known by
/// themselves, not by their places in the results: one that moves there stays, with its updates and
/// its deletion noticed, and none is in the sample twice. Each draw takes any object that is not in
/// the sample, all of them equally likely. A sample that is short, for want of objects, takes in
/// new ones at its end; where a slot cannot be filled it closes up.
///
/// The sample is followed with and without a delegate. The delegate hears of the sample alone, in
/// the order that every controller keeps: of nothing else, and in `controllerWillChangeContent` the
/// sample is still the old one. An object that has moved within the results is updated. The
/// delegate may do anything meanwhile: a batch goes on as it began, what it asks of the sample
/// waits until the batch has been told, and a delegate that is set meanwhile hears of later batches
/// only.
///
/// What `PLVRandomFetchedResultsController` does otherwise is described there. The base's own
/// results are not used.
///
/// A batch takes time linear in its changes and the sample, but for logarithms; memory is that of
/// the sample. Neither depends on how many objects there are to draw from.
/// Threads: the context's.
class StickySampleController : public NSFetchedResultsController,
                               public NSFetchedResultsControllerDelegate {
 public:
  using Superclass = NSFetchedResultsController;
  /// The controller that tells.
  using Controller = NSFetchedResultsControllerDelegate::Controller;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }
  NSObject* protocolObject() noexcept override { return this; }

  /// Takes: as the base, the most objects to sample, and where chance comes from; null is
  /// `arc4random`. The same source gives the same samples of the same results and changes.
  /// Fails: as the base.
  static Ref<StickySampleController>
  initWithFetchRequestManagedObjectContextSampleLimitRandomSource(
      const Ref<NSFetchRequest>& request, const Ref<NSManagedObjectContext>& context,
      NSUInteger sampleLimit, RandomSource source);

  /// Fetches. Sampled objects that are still there stay, also after the context was reset, if they
  /// were saved. The delegate is told nothing. Fails: as the base; the sample stays.
  bool performFetch(Ref<NSError>* error = nullptr) override;

  /// Draws everything anew; any object may come back. Does nothing before the first fetch.
  /// Calls: the delegate, as for a batch, where the sample is another one.
  void reshuffle();

  /// The most objects to sample.
  NSUInteger sampleLimit() const noexcept { return _sampleLimit; }
  /// A lower limit drops objects from the end, a higher one draws more.
  /// Calls: the delegate, as for a batch.
  void setSampleLimit(NSUInteger limit);

  /// All that is drawn from.
  const Ref<NSFetchedResultsController>& results() const noexcept { return _results; }

  Ref<NSFetchedResultsControllerDelegate> delegate() const override { return _delegate.load(); }
  void setDelegate(const Ref<NSFetchedResultsControllerDelegate>& delegate) override;

  /// The sample, slot by slot; null before the first fetch.
  Ref<NSArray> fetchedObjects() const override { return _objects; }
  /// One section; null before the first fetch.
  Ref<NSArray> sections() const override;
  Value objectAtIndexPath(const Ref<NSIndexPath>& path) const override;
  Ref<NSIndexPath> indexPathForObject(const Value& object) const override;

  Ref<NSFetchRequest> fetchRequest() const override { return _results->fetchRequest(); }
  Ref<NSManagedObjectContext> managedObjectContext() const override {
    return _results->managedObjectContext();
  }
  Ref<NSString> sectionNameKeyPath() const override { return nullptr; }
  Ref<NSString> cacheName() const override { return nullptr; }
  // Titles are those of all results.
  Ref<NSString> sectionIndexTitleForSectionName(const Ref<NSString>& name) const override;
  Ref<NSArray> sectionIndexTitles() const override;
  NSUInteger sectionForSectionIndexTitleAtIndex(const Ref<NSString>& title,
                                                NSUInteger index) const override;

  // What the controller of all results tells.
  void controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(
      Controller controller, const Ref<NSManagedObject>& object, const Ref<NSIndexPath>& path,
      NSFetchedResultsChangeType type, const Ref<NSIndexPath>& newPath) override;
  void controllerDidChangeContent(Controller controller) override;

  template <class Self, class Above>
  class ClassOperations : public Above {
   public:
    static Ref<Self> initWithFetchRequestManagedObjectContextSampleLimitRandomSource(
        const Ref<NSFetchRequest>& request, const Ref<NSManagedObjectContext>& context,
        NSUInteger sampleLimit, RandomSource source) {
      Ref<Self> self = makeObject<Self>(request, context, sampleLimit, std::move(source));
      static_cast<StickySampleController&>(*self).follow();
      return self;
    }

   protected:
    using Above::Above;
  };

 protected:
  StickySampleController(const Ref<NSFetchRequest>& request,
                         const Ref<NSManagedObjectContext>& context, NSUInteger sampleLimit,
                         RandomSource source);
  ~StickySampleController() override;

 private:
  /// A sample in the making. Slots that are null are to be filled.
  using Slots = std::vector<Value>;

  void follow();
  Slots slots() const;
  NSUInteger countOfResults() const;
  /// Fills empty slots, and new ones up to the limit, as far as there are objects.
  void fill(Slots& slots);
  void setObjects(const Slots& slots);
  /// Brings the sample up to date, and tells what that changes.
  void settle();
  ListChanges changesTo(const Slots& slots, bool isReshuffled,
                        const std::vector<Value>& updated) const;
  void tell(const ListChanges& changes, const Slots& slots);

  Ref<NSFetchedResultsController> _results;
  Weak<NSFetchedResultsControllerDelegate> _delegate;
  /// Counts delegates, so that a batch notices another one.
  std::uint64_t _delegates = 0;
  NSUInteger _sampleLimit;
  RandomSource _source;

  Ref<NSArray> _objects;
  /// Where each sampled object is.
  std::unordered_map<const NSObject*, NSUInteger> _slots;

  // What waits to be brought into the sample.
  std::vector<Value> _updated;
  /// Whether objects have come or gone, or another number of them is wanted.
  bool _isIncomplete = false;
  bool _isReshuffled = false;
  bool _isTelling = false;
  /// Counts fetches, so that a batch notices that its sample is no longer wanted.
  std::uint64_t _fetches = 0;
};

}  // namespace JNFoundation
