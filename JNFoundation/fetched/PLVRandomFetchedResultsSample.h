#pragma once

#include <JNFoundation/fetched/PLVFetchedResultsChanges.h>
#include <JNFoundation/platform/store/NSFetchedResultsController.h>

namespace JNFoundation::inline v0_1 {

/// A random choice of the objects in the first section of fetched results, as a section of its
/// own, that is kept valid from batch to batch: what was deleted drops out, free slots are filled
/// with new draws, and its changes are told as a `PLVFetchedResultsChanges`.
///
///     auto sample =
///         PLVRandomFetchedResultsSample::initWithFetchedResultsControllerLimit(results, 10);
///     sample->beginChanges();
///     ...                             // every change of the results, as a delegate hears of it
///     auto changes = sample->endChanges();
///
/// `PLVRandomFetchedResultsController` does all this for one. Objects stand in the order in which
/// they were drawn, so new ones come last.
///
/// **A sampled object that moves within the results is lost sight of**: it stays in the sample, but
/// updates to it and its deletion are no longer noticed, its slot is not filled again, and since
/// its new place counts as free it may be drawn a second time. That goes until the next sample.
///
/// A batch costs as much as its changes and the sample are large, a draw hardly more in a million
/// objects than in a hundred.
/// Threads: those of the results.
class PLVRandomFetchedResultsSample : public NSObject, public NSFetchedResultsSectionInfo {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }
  NSObject* protocolObject() noexcept override { return this; }

  /// Draws the first sample. It is empty, without a name, for results that were not fetched.
  /// Takes: the most objects that the sample may have. Fails: raises NSRangeException for results
  /// that are fetched and have no section.
  static Ref<PLVRandomFetchedResultsSample> initWithFetchedResultsControllerLimit(
      const Ref<NSFetchedResultsController>& controller, NSUInteger limit);

  // The section. Its names are those that the first section of the results had at first.
  Ref<NSString> name() const override { return _name; }
  Ref<NSString> indexTitle() const override { return _indexTitle; }
  NSUInteger numberOfObjects() const override { return _objects->count(); }
  /// As they are now: an array that stays as it is when the sample changes.
  Ref<NSArray> objects() const override { return _objects; }

  /// The most objects that the sample may have.
  NSUInteger sampleLimit() const noexcept { return _sampleLimit; }

  /// What the sample is drawn from.
  const Ref<NSFetchedResultsController>& fetchedResults() const noexcept { return _fetchedResults; }
  void setFetchedResults(const Ref<NSFetchedResultsController>& fetchedResults) {
    _fetchedResults = fetchedResults;
  }

  /// Where the sampled objects are in the results. Never null; null stands for an empty set.
  const Ref<NSMutableIndexSet>& sampleIndexes() const noexcept { return _sampleIndexes; }
  void setSampleIndexes(const Ref<NSMutableIndexSet>& sampleIndexes);

  // ---- A batch ----------------------------------------------------------------------------------

  // What is told outside a batch is lost.
  virtual void beginChanges();
  virtual void changeObjectAtIndexPathForChangeTypeNewIndexPath(const Value& object,
                                                                const Ref<NSIndexPath>& path,
                                                                NSFetchedResultsChangeType type,
                                                                const Ref<NSIndexPath>& newPath);
  virtual void changeSectionAtIndexForChangeType(const Ref<NSFetchedResultsSectionInfo>& section,
                                                 NSUInteger index, NSFetchedResultsChangeType type);
  /// Takes in the batch and fills free slots. Requires: the results have changed already.
  /// Returns: what became of the sample, in its own positions, moves excepted; null where no batch
  /// was begun.
  virtual Ref<PLVFetchedResultsChanges> endChanges();

  /// The changes of the sample during a batch, in its positions; null outside.
  const Ref<PLVFetchedResultsChanges>& sampleChanges() const noexcept { return _sampleChanges; }
  void setSampleChanges(const Ref<PLVFetchedResultsChanges>& changes) { _sampleChanges = changes; }
  /// The changes of the results during a batch, in their positions; null outside.
  const Ref<PLVFetchedResultsChanges>& controllerChanges() const noexcept {
    return _controllerChanges;
  }
  void setControllerChanges(const Ref<PLVFetchedResultsChanges>& changes) {
    _controllerChanges = changes;
  }

  // ---- Its steps --------------------------------------------------------------------------------

  /// Draws objects of the results that are not in the sample and adds them to the list, until it
  /// has as many as the sample may have or none is left; the list is then what the sample has. A
  /// null list is an empty one. Inserts are noted in the changes, which may be null.
  ///
  /// Not every object is as likely: a draw that hits one in the sample takes the next free one
  /// after it, so one that follows many of the sample is drawn more often. After the last one it
  /// takes the last free one.
  virtual void resampleWithObjectsChanges(const Ref<NSMutableArray>& objects,
                                          const Ref<PLVFetchedResultsChanges>& changes);
  /// Moves `sampleIndexes` through the deletes and inserts of the results.
  virtual void updateSampleIndexesWithChanges(const Ref<PLVFetchedResultsChanges>& changes);
  /// Returns: the objects without those at the deleted positions; the sample still has them.
  virtual Ref<NSMutableArray> updateObjectsWithChanges(
      const Ref<PLVFetchedResultsChanges>& changes) const;

  template <class Self, class Above>
  class ClassOperations : public Above {
   public:
    static Ref<Self> initWithFetchedResultsControllerLimit(
        const Ref<NSFetchedResultsController>& controller, NSUInteger limit) {
      Ref<Self> sample = makeObject<Self>(controller, limit);
      sample->resampleWithObjectsChanges(nullptr, nullptr);
      return sample;
    }

   protected:
    using Above::Above;
  };

 protected:
  /// Draws nothing yet.
  PLVRandomFetchedResultsSample(const Ref<NSFetchedResultsController>& controller,
                                NSUInteger limit);

 private:
  Ref<NSFetchedResultsController> _fetchedResults;
  NSUInteger _sampleLimit;
  Ref<NSMutableIndexSet> _sampleIndexes;
  Ref<NSArray> _objects;
  Ref<NSString> _name;
  Ref<NSString> _indexTitle;
  Ref<PLVFetchedResultsChanges> _sampleChanges;
  Ref<PLVFetchedResultsChanges> _controllerChanges;
};

}  // namespace JNFoundation
