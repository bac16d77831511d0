#include "JNFoundation/fetched/PLVRandomFetchedResultsController.h"

#include <JNFoundation/fetched/NSIndexPath+PLVUnsignedItemSection.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation::inline v0_1 {

constinit const Class PLVRandomFetchedResultsController::classObject =
    Class::of<PLVRandomFetchedResultsController>("PLVRandomFetchedResultsController");

namespace {

using Random = PLVRandomFetchedResultsController;

const ClassDeclaration<Random> declarationOfRandom =
    ClassDeclaration<Random>()
        .property("sampleLimit", &Random::sampleLimit)
        .property("sample", &Random::sample, &Random::setSample)
        .property("fetchedObjects", &Random::fetchedObjects)
        .property("sections", &Random::sections)
        .operation("resampleFetchedObjects", &Random::resampleFetchedObjects)
        .operation("resampleFetchedObjectsWithLimit:", &Random::resampleFetchedObjectsWithLimit)
        .operation("objectAtIndexPath:", &Random::objectAtIndexPath)
        .operation("indexPathForObject:", &Random::indexPathForObject);

}  // namespace

PLVRandomFetchedResultsController::PLVRandomFetchedResultsController(
    const Ref<NSFetchRequest>& request, const Ref<NSManagedObjectContext>& context,
    NSUInteger sampleLimit)
    : _controller(NSFetchedResultsController::
                      initWithFetchRequestManagedObjectContextSectionNameKeyPathCacheName(
                          request, context, nullptr, nullptr)),
      _sampleLimit(sampleLimit) {}

PLVRandomFetchedResultsController::~PLVRandomFetchedResultsController() {
  // A delegate may keep the inner controller, which would follow changes for nobody.
  _controller->setDelegate(nullptr);
}

Ref<PLVRandomFetchedResultsController>
PLVRandomFetchedResultsController::initWithFetchRequestManagedObjectContextSampleLimit(
    const Ref<NSFetchRequest>& request, const Ref<NSManagedObjectContext>& context,
    NSUInteger sampleLimit) {
  return makeObject<PLVRandomFetchedResultsController>(request, context, sampleLimit);
}

// ---- Sampling -----------------------------------------------------------------------------------

bool PLVRandomFetchedResultsController::performFetch(Ref<NSError>* error) {
  const Ref<NSFetchedResultsController> self(this);
  if (!_controller->performFetch(error)) return false;
  resampleFetchedObjects();
  return true;
}

void PLVRandomFetchedResultsController::resampleFetchedObjects() {
  setSample(_controller->sections()
                ? PLVRandomFetchedResultsSample::initWithFetchedResultsControllerLimit(_controller,
                                                                                       _sampleLimit)
                : nullptr);
}

void PLVRandomFetchedResultsController::resampleFetchedObjectsWithLimit(NSUInteger limit) {
  _sampleLimit = limit;
  resampleFetchedObjects();
}

void PLVRandomFetchedResultsController::setDelegate(
    const Ref<NSFetchedResultsControllerDelegate>& delegate) {
  if (this->delegate() != delegate) ++_delegates;
  _delegate = delegate;
  // Setting it anew would end a batch that is being told, and the sample would miss the rest.
  const bool isFollowing = _controller->delegate() != nullptr;
  if (isFollowing == (delegate != nullptr)) return;
  _controller->setDelegate(delegate ? Ref<NSFetchedResultsControllerDelegate>(this) : nullptr);
}

// ---- Reading ------------------------------------------------------------------------------------

Ref<NSArray> PLVRandomFetchedResultsController::fetchedObjects() const {
  return _sample ? _sample->objects() : nullptr;
}

Ref<NSArray> PLVRandomFetchedResultsController::sections() const {
  return _sample ? NSArray::arrayWithObject(_sample) : nullptr;
}

Value PLVRandomFetchedResultsController::objectAtIndexPath(const Ref<NSIndexPath>& path) const {
  const Ref<NSArray> sections = this->sections();
  if (!sections) return nullptr;
  // Fails on purpose: no section answers this, a sample as little as others. Whoever calls it has
  // mistaken the sample for the results, which have other objects at these positions.
  return performSelector(sections->objectAtIndex(plv_sectionIndex(path)),
                         "objectAtIndex:", plv_itemIndex(path));
}

Ref<NSIndexPath> PLVRandomFetchedResultsController::indexPathForObject(const Value& object) const {
  const Ref<NSArray> objects = fetchedObjects();
  const NSUInteger position =
      objects ? objects->indexOfObject(object) : static_cast<NSUInteger>(NSNotFound);
  if (position == static_cast<NSUInteger>(NSNotFound)) return nullptr;
  return plv_indexPathForItemIndexSectionIndex(position, 0);
}

Ref<NSFetchRequest> PLVRandomFetchedResultsController::fetchRequest() const {
  return _controller->fetchRequest();
}
Ref<NSManagedObjectContext> PLVRandomFetchedResultsController::managedObjectContext() const {
  return _controller->managedObjectContext();
}
Ref<NSString> PLVRandomFetchedResultsController::sectionNameKeyPath() const {
  return _controller->sectionNameKeyPath();
}
Ref<NSString> PLVRandomFetchedResultsController::cacheName() const {
  return _controller->cacheName();
}
Ref<NSString> PLVRandomFetchedResultsController::sectionIndexTitleForSectionName(
    const Ref<NSString>& name) const {
  return _controller->sectionIndexTitleForSectionName(name);
}
Ref<NSArray> PLVRandomFetchedResultsController::sectionIndexTitles() const {
  return _controller->sectionIndexTitles();
}
NSUInteger PLVRandomFetchedResultsController::sectionForSectionIndexTitleAtIndex(
    const Ref<NSString>& title, NSUInteger index) const {
  return _controller->sectionForSectionIndexTitleAtIndex(title, index);
}

// ---- Following ----------------------------------------------------------------------------------

void PLVRandomFetchedResultsController::controllerWillChangeContent(Controller) {
  // The delegate is told afterwards: what will change of the sample is known only then.
  if (_sample) _sample->beginChanges();
}

void PLVRandomFetchedResultsController::controllerDidChangeSectionAtIndexForChangeType(
    Controller, const Ref<NSFetchedResultsSectionInfo>&, NSUInteger, NSFetchedResultsChangeType) {
  // The sample is one section that stays.
}

void PLVRandomFetchedResultsController::
    controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(
        Controller, const Ref<NSManagedObject>& object, const Ref<NSIndexPath>& path,
        NSFetchedResultsChangeType type, const Ref<NSIndexPath>& newPath) {
  if (!_sample) return;
  _sample->changeObjectAtIndexPathForChangeTypeNewIndexPath(object, path, type, newPath);
}

void PLVRandomFetchedResultsController::controllerDidChangeContent(Controller) {
  const Ref<PLVRandomFetchedResultsSample> sample = _sample;
  if (!sample) return;
  const Ref<NSArray> before = sample->objects();
  const Ref<PLVFetchedResultsChanges> changes = sample->endChanges();
  if (changes) tell(*changes, before, sample->objects());
}

/// The delegate may do anything meanwhile, so nothing is read again but whether it still is the
/// one that the batch began with.
void PLVRandomFetchedResultsController::tell(const PLVFetchedResultsChanges& changes,
                                             const Ref<NSArray>& before,
                                             const Ref<NSArray>& after) {
  using Callback = NSFetchedResultsControllerDelegate::Callback;
  const Ref<NSFetchedResultsController> self(this);
  const Ref<NSFetchedResultsControllerDelegate> delegate = this->delegate();
  const std::uint64_t delegates = _delegates;
  const auto isHeard = [&] { return delegate && _delegates == delegates; };
  const auto answers = [&](Callback callback) { return isHeard() && delegate->answers(callback); };

  if (answers(Callback::WillChangeContent)) delegate->controllerWillChangeContent(self);
  if (answers(Callback::DidChangeObject)) {
    const auto tellEach = [&](const Ref<NSMutableArray>& paths, const Ref<NSArray>& objects,
                              NSFetchedResultsChangeType type) {
      for (const Value& value : paths) {
        if (!isHeard()) return;
        const Ref<NSIndexPath> path(as<NSIndexPath>(value));
        const Value object = objects->objectAtIndex(plv_itemIndex(path));
        delegate->controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(
            self, Ref<NSManagedObject>(as<NSManagedObject>(object)),
            type == NSFetchedResultsChangeInsert ? nullptr : path, type,
            type == NSFetchedResultsChangeDelete ? nullptr : path);
      }
    };
    // An object that keeps its slot has one path: the deletes that shift it are told besides.
    tellEach(changes.updatedItemPaths(), before, NSFetchedResultsChangeUpdate);
    tellEach(changes.deletedItemPaths(), before, NSFetchedResultsChangeDelete);
    tellEach(changes.insertedItemPaths(), after, NSFetchedResultsChangeInsert);
  }
  if (answers(Callback::DidChangeContent)) delegate->controllerDidChangeContent(self);
}

}  // namespace JNFoundation
