#pragma once

#include <JNFoundation/fetched/PLVRandomFetchedResultsSample.h>

namespace JNFoundation::inline v0_1 {

/// A random choice of what a fetch request finds, for whatever shows fetched results: one section,
/// kept true, with a delegate that is told of changes as by any other controller.
///
///     auto discover = PLVRandomFetchedResultsController::
///         initWithFetchRequestManagedObjectContextSampleLimit(request, context, 10);
///     discover->setDelegate(strip);
///     if (discover->performFetch(&error)) strip->show(discover->fetchedObjects());
///
/// The sample lasts until the next fetch or resampling: what is deleted is replaced by a new draw
/// at the end, what is updated is told, and what changes outside the sample tells nothing but that
/// something did. See `PLVRandomFetchedResultsSample` for what becomes of objects that move.
///
/// The delegate is told once the sample has taken in the whole batch, so that the first it hears,
/// `controllerWillChangeContent`, already comes after the fact: keep what a batch is applied to.
/// Then come updates, deletes and inserts, each kind in its own order; moves and sections are never
/// told. Everything is told of the list before and after the batch, whatever the delegate does
/// meanwhile; one that was set meanwhile hears of later batches only. What a delegate raises goes
/// to the log, and ends the batch for it.
///
/// Read sampled objects through `fetchedObjects` or the section; `objectAtIndexPath` always fails.
/// Titles are those of all results. The base's own results are not used.
/// Threads: the context's.
class PLVRandomFetchedResultsController : public NSFetchedResultsController,
                                          public NSFetchedResultsControllerDelegate {
 public:
  using Superclass = NSFetchedResultsController;
  /// The controller that tells.
  using Controller = NSFetchedResultsControllerDelegate::Controller;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }
  NSObject* protocolObject() noexcept override { return this; }

  /// Takes: as the base, and the most objects to sample. Fails: as the base.
  static Ref<PLVRandomFetchedResultsController> initWithFetchRequestManagedObjectContextSampleLimit(
      const Ref<NSFetchRequest>& request, const Ref<NSManagedObjectContext>& context,
      NSUInteger sampleLimit);

  /// Fetches and draws a new sample. The delegate is told nothing.
  /// Fails: as the base; the sample stays.
  bool performFetch(Ref<NSError>* error = nullptr) override;

  /// The most objects to sample.
  NSUInteger sampleLimit() const noexcept { return _sampleLimit; }
  /// Null before the first fetch.
  const Ref<PLVRandomFetchedResultsSample>& sample() const noexcept { return _sample; }
  void setSample(const Ref<PLVRandomFetchedResultsSample>& sample) { _sample = sample; }
  /// Draws a new sample, without a fetch. The delegate is told nothing.
  virtual void resampleFetchedObjects();
  /// The same with another limit, which stays.
  virtual void resampleFetchedObjectsWithLimit(NSUInteger limit);

  /// Without a delegate nothing is followed, and the sample stays as it is; as in the base.
  Ref<NSFetchedResultsControllerDelegate> delegate() const override { return _delegate.load(); }
  void setDelegate(const Ref<NSFetchedResultsControllerDelegate>& delegate) override;

  /// The sampled objects, in the order in which they were drawn; null before the first fetch.
  Ref<NSArray> fetchedObjects() const override;
  /// The sample alone; null before the first fetch.
  Ref<NSArray> sections() const override;
  /// Fails: raises NSInvalidArgumentException, since a sample does not answer `objectAtIndex:`, and
  /// NSRangeException for a section other than the first. Returns: null before the first fetch.
  Value objectAtIndexPath(const Ref<NSIndexPath>& path) const override;
  /// Returns: null for an object that is not in the sample.
  Ref<NSIndexPath> indexPathForObject(const Value& object) const override;

  Ref<NSFetchRequest> fetchRequest() const override;
  Ref<NSManagedObjectContext> managedObjectContext() const override;
  Ref<NSString> sectionNameKeyPath() const override;
  Ref<NSString> cacheName() const override;
  Ref<NSString> sectionIndexTitleForSectionName(const Ref<NSString>& name) const override;
  Ref<NSArray> sectionIndexTitles() const override;
  NSUInteger sectionForSectionIndexTitleAtIndex(const Ref<NSString>& title,
                                                NSUInteger index) const override;

  // What the controller of all results tells.
  void controllerWillChangeContent(Controller controller) override;
  void controllerDidChangeSectionAtIndexForChangeType(
      Controller controller, const Ref<NSFetchedResultsSectionInfo>& section, NSUInteger index,
      NSFetchedResultsChangeType type) override;
  void controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(
      Controller controller, const Ref<NSManagedObject>& object, const Ref<NSIndexPath>& path,
      NSFetchedResultsChangeType type, const Ref<NSIndexPath>& newPath) override;
  void controllerDidChangeContent(Controller controller) override;

  template <class Self, class Above>
  class ClassOperations : public Above {
   public:
    static Ref<Self> initWithFetchRequestManagedObjectContextSampleLimit(
        const Ref<NSFetchRequest>& request, const Ref<NSManagedObjectContext>& context,
        NSUInteger sampleLimit) {
      return makeObject<Self>(request, context, sampleLimit);
    }

   protected:
    using Above::Above;
  };

 protected:
  PLVRandomFetchedResultsController(const Ref<NSFetchRequest>& request,
                                    const Ref<NSManagedObjectContext>& context,
                                    NSUInteger sampleLimit);
  ~PLVRandomFetchedResultsController() override;

 private:
  void tell(const PLVFetchedResultsChanges& changes, const Ref<NSArray>& before,
            const Ref<NSArray>& after);

  /// Fetches, and follows the changes of all results.
  Ref<NSFetchedResultsController> _controller;
  Weak<NSFetchedResultsControllerDelegate> _delegate;
  /// Counts delegates, so that a batch notices another one.
  std::uint64_t _delegates = 0;
  NSUInteger _sampleLimit;
  Ref<PLVRandomFetchedResultsSample> _sample;
};

}  // namespace JNFoundation
