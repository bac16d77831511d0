#pragma once

#include <memory>

#include <JNFoundation/platform/store/NSFetchRequest.h>
#include <JNFoundation/platform/store/NSFetchedResultsControllerDelegate.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/value/Weak.h>

namespace JNFoundation::inline v0_1 {

namespace impl {
class FetchedResultsTracker;
}  // namespace impl

/// What a fetch request finds, as a list in sections that stays true: while it has a delegate, it
/// follows the changes of its context, unsaved ones included, and tells the delegate what moved
/// where.
///
///     auto people = NSFetchedResultsController::
///         initWithFetchRequestManagedObjectContextSectionNameKeyPathCacheName(
///             request, context, "department.name", nullptr);
///     people->setDelegate(list);
///     if (!people->performFetch(&error)) report(error);
///     Value first = people->objectAtIndexPath(NSIndexPath::indexPathWithIndexes({0, 0}));
///
/// Nothing costs more for a long list than for a short one but fetching it: a change, a position
/// and `fetchedObjects` take logarithmic time or less. The list keeps its objects alive.
///
/// A subclass may answer every operation otherwise; one that does so for all of them starts from
/// the plain constructor.
/// Threads: the context's.
class NSFetchedResultsController : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Takes: the request, whose later changes count from the next fetch on; a key path whose values
  /// divide the results into sections, or null for one section; and the name of a cache of
  /// sections, or null. Fails: raises NSInvalidArgumentException for a null request or context, for
  /// a request without sort descriptors, and for one whose results are not objects.
  static Ref<NSFetchedResultsController>
  initWithFetchRequestManagedObjectContextSectionNameKeyPathCacheName(
      const Ref<NSFetchRequest>& request, const Ref<NSManagedObjectContext>& context,
      const Ref<NSString>& sectionNameKeyPath, const Ref<NSString>& cacheName);

  /// Fetches, in place of what was there. The delegate is told nothing. Every section stands
  /// together only if the results are sorted by what divides them.
  /// Fails: returns false and sets the error, with what was there left as it was: 134060 where a
  /// section's name comes again after another one, the errors of the fetch otherwise.
  virtual bool performFetch(Ref<NSError>* error = nullptr);

  // Null in a controller that was made with the plain constructor.
  virtual Ref<NSFetchRequest> fetchRequest() const { return _request; }
  virtual Ref<NSManagedObjectContext> managedObjectContext() const { return _context; }
  virtual Ref<NSString> sectionNameKeyPath() const { return _sectionNameKeyPath; }
  virtual Ref<NSString> cacheName() const { return _cacheName; }

  /// Held weakly. Without one nothing is followed: the results stay as they are. One that is set
  /// later is told of what changes from then on; what changed before is not made up for, so fetch
  /// again if there may have been something.
  virtual Ref<NSFetchedResultsControllerDelegate> delegate() const { return _delegate.load(); }
  virtual void setDelegate(const Ref<NSFetchedResultsControllerDelegate>& delegate);

  /// The results as they are now: an array that stays as it is when they change. Null before the
  /// first fetch.
  virtual Ref<NSArray> fetchedObjects() const;
  /// NSFetchedResultsSectionInfo objects, as they are now. Without a section key path one section,
  /// which may be empty; otherwise none is. Null before the first fetch.
  virtual Ref<NSArray> sections() const;

  /// Fails: raises NSInvalidArgumentException where there is no object at the path.
  virtual Value objectAtIndexPath(const Ref<NSIndexPath>& path) const;
  /// Returns: null for an object that is not among the results.
  virtual Ref<NSIndexPath> indexPathForObject(const Value& object) const;

  /// What the delegate answers; else the first letter of the name as a capital. Null for null.
  virtual Ref<NSString> sectionIndexTitleForSectionName(const Ref<NSString>& name) const;
  /// The titles of all sections, each once, in order. Empty before the first fetch.
  virtual Ref<NSArray> sectionIndexTitles() const;
  /// The first section that has the title at this index. Returns: NSNotFound where no section has
  /// the title.
  virtual NSUInteger sectionForSectionIndexTitleAtIndex(const Ref<NSString>& title,
                                                        NSUInteger index) const;

  // ---- The cache of sections --------------------------------------------------------------------

  /// Where controllers with a cache name keep the names and lengths of their sections, so that a
  /// fetch of the same, of stores that did not change meanwhile, need not ask every object for its
  /// section. Null, which it is by default, keeps nothing. The directory is made if need be.
  /// Threads: any.
  static void setCacheDirectory(const Ref<NSString>& path);
  /// What `setCacheDirectory` was given last; null at first. Threads: any.
  static Ref<NSString> cacheDirectory();
  /// Deletes what is kept under the name; all of it for null.
  static void deleteCacheWithName(const Ref<NSString>& name);

  template <class Self, class Above>
  class ClassOperations;

 protected:
  NSFetchedResultsController();
  NSFetchedResultsController(const Ref<NSFetchRequest>& request,
                             const Ref<NSManagedObjectContext>& context,
                             const Ref<NSString>& sectionNameKeyPath,
                             const Ref<NSString>& cacheName);
  ~NSFetchedResultsController() override;

 private:
  friend class impl::FetchedResultsTracker;

  Ref<NSFetchRequest> _request;
  Ref<NSManagedObjectContext> _context;
  Ref<NSString> _sectionNameKeyPath;
  Ref<NSString> _cacheName;
  Weak<NSFetchedResultsControllerDelegate> _delegate;
  std::unique_ptr<impl::FetchedResultsTracker> _tracker;
};

/// A subclass is made as it is: with a request, or plain.
template <class Self, class Above>
class NSFetchedResultsController::ClassOperations : public Above {
 public:
  static Ref<Self> initWithFetchRequestManagedObjectContextSectionNameKeyPathCacheName(
      const Ref<NSFetchRequest>& request, const Ref<NSManagedObjectContext>& context,
      const Ref<NSString>& sectionNameKeyPath, const Ref<NSString>& cacheName) {
    return makeObject<Self>(request, context, sectionNameKeyPath, cacheName);
  }

 protected:
  using Above::Above;
  ClassOperations() = default;
};

}  // namespace JNFoundation
