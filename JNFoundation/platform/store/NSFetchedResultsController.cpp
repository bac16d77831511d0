#include "JNFoundation/platform/store/NSFetchedResultsController.h"

#include <JNFoundation/platform/store/impl/FetchedResultsTracker.h>
#include <JNFoundation/platform/store/impl/SectionCache.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSFetchedResultsController::classObject =
    Class::of<NSFetchedResultsController>("NSFetchedResultsController");

NSFetchedResultsController::NSFetchedResultsController()
    : _tracker(std::make_unique<impl::FetchedResultsTracker>(*this)) {}

NSFetchedResultsController::NSFetchedResultsController(const Ref<NSFetchRequest>& request,
                                                       const Ref<NSManagedObjectContext>& context,
                                                       const Ref<NSString>& sectionNameKeyPath,
                                                       const Ref<NSString>& cacheName)
    : _request(request),
      _context(context),
      _sectionNameKeyPath(sectionNameKeyPath),
      _cacheName(cacheName),
      _tracker(std::make_unique<impl::FetchedResultsTracker>(*this)) {
  if (!request || !context) {
    raise(NSInvalidArgumentException,
          "An instance of NSFetchedResultsController requires a non-nil fetchRequest and "
          "managedObjectContext");
  }
  if (!request->sortDescriptors() || request->sortDescriptors()->count() == 0) {
    raise(
        NSInvalidArgumentException,
        "An instance of NSFetchedResultsController requires a fetch request with sort descriptors");
  }
  if (request->resultType() != NSManagedObjectResultType) {
    raise(NSInvalidArgumentException,
          "An instance of NSFetchedResultsController requires a fetch request whose results are "
          "managed objects");
  }
}

NSFetchedResultsController::~NSFetchedResultsController() = default;

Ref<NSFetchedResultsController>
NSFetchedResultsController::initWithFetchRequestManagedObjectContextSectionNameKeyPathCacheName(
    const Ref<NSFetchRequest>& request, const Ref<NSManagedObjectContext>& context,
    const Ref<NSString>& sectionNameKeyPath, const Ref<NSString>& cacheName) {
  return makeObject<NSFetchedResultsController>(request, context, sectionNameKeyPath, cacheName);
}

bool NSFetchedResultsController::performFetch(Ref<NSError>* error) {
  if (!_request) {
    raise(NSInternalInconsistencyException,
          "A fetched results controller that was made without a request cannot fetch");
  }
  return _tracker->performFetch(error);
}

void NSFetchedResultsController::setDelegate(
    const Ref<NSFetchedResultsControllerDelegate>& delegate) {
  _delegate = delegate;
  _tracker->delegateDidChange();
}

// ---- Reading ------------------------------------------------------------------------------------

Ref<NSArray> NSFetchedResultsController::fetchedObjects() const {
  const impl::FetchedResults* results = _tracker->results();
  return results ? results->objects() : nullptr;
}

Ref<NSArray> NSFetchedResultsController::sections() const {
  const impl::FetchedResults* results = _tracker->results();
  return results ? results->sections() : nullptr;
}

Value NSFetchedResultsController::objectAtIndexPath(const Ref<NSIndexPath>& path) const {
  const impl::FetchedResults* results = _tracker->results();
  const NSUInteger section = path ? path->indexAtPosition(0) : static_cast<NSUInteger>(NSNotFound);
  const NSUInteger item = path ? path->indexAtPosition(1) : static_cast<NSUInteger>(NSNotFound);
  if (!path || path->length() != 2) {
    raise(NSInvalidArgumentException,
          "objectAtIndexPath: a path of section and item is required, not %@", Value(path));
  }
  if (!results || section >= results->sectionCount()) {
    raise(NSInvalidArgumentException, "no section at index %lu",
          static_cast<unsigned long>(section));
  }
  if (item >= results->countOfSection(section)) {
    raise(NSInvalidArgumentException, "no object at index %lu in section at index %lu",
          static_cast<unsigned long>(item), static_cast<unsigned long>(section));
  }
  return Value(const_cast<NSObject*>(&results->objectAt({section, item})));
}

Ref<NSIndexPath> NSFetchedResultsController::indexPathForObject(const Value& object) const {
  const impl::FetchedResults* results = _tracker->results();
  const auto* managed = as<NSManagedObject>(object);
  if (!results || !managed) return nullptr;
  const auto path = results->pathOf(*managed);
  return path ? NSIndexPath::indexPathWithIndexes({path->section, path->item}) : nullptr;
}

// ---- Titles -------------------------------------------------------------------------------------

Ref<NSString> NSFetchedResultsController::sectionIndexTitleForSectionName(
    const Ref<NSString>& name) const {
  using Callback = NSFetchedResultsControllerDelegate::Callback;
  const Ref<NSFetchedResultsControllerDelegate> delegate = this->delegate();
  if (delegate && delegate->answers(Callback::SectionIndexTitle)) {
    return delegate->controllerSectionIndexTitleForSectionName(
        Ref<NSFetchedResultsController>(const_cast<NSFetchedResultsController*>(this)), name);
  }
  if (!name || name->length() == 0) return name;
  return name->substringToIndex(1)->uppercaseString();
}

Ref<NSArray> NSFetchedResultsController::sectionIndexTitles() const {
  const impl::FetchedResults* results = _tracker->results();
  return results ? results->titles().titles : NSArray::array();
}

NSUInteger NSFetchedResultsController::sectionForSectionIndexTitleAtIndex(
    const Ref<NSString>& title, NSUInteger index) const {
  const impl::FetchedResults* results = _tracker->results();
  if (!results || !title) return NSNotFound;
  const impl::FetchedResults::Titles& known = results->titles();
  if (index < known.sections.size() && known.titles->objectAtIndex(index).isEqual(Value(title))) {
    return known.sections[index];
  }
  const NSUInteger found = known.titles->indexOfObject(Value(title));
  return found == static_cast<NSUInteger>(NSNotFound) ? found : known.sections[found];
}

// ---- The cache ----------------------------------------------------------------------------------

void NSFetchedResultsController::setCacheDirectory(const Ref<NSString>& path) {
  impl::SectionCache::setDirectory(path);
}

Ref<NSString> NSFetchedResultsController::cacheDirectory() {
  return impl::SectionCache::directory();
}

void NSFetchedResultsController::deleteCacheWithName(const Ref<NSString>& name) {
  impl::SectionCache::remove(name);
}

}  // namespace JNFoundation
