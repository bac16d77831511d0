#include "JNFoundation/fetched/StickySampleController.h"

#include <algorithm>

#include <JNFoundation/fetched/ListChanges.h>
#include <JNFoundation/fetched/NSIndexPath+PLVUnsignedItemSection.h>
#include <JNFoundation/fetched/impl/ListMapping.h>
#include <JNFoundation/fetched/impl/RandomPlaces.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class StickySampleController::classObject =
    Class::of<StickySampleController>("StickySampleController");

namespace {

using Sticky = StickySampleController;

const ClassDeclaration<Sticky> declarationOfSticky =
    ClassDeclaration<Sticky>()
        .property("sampleLimit", &Sticky::sampleLimit, &Sticky::setSampleLimit)
        .property("results", &Sticky::results)
        .property("fetchedObjects", &Sticky::fetchedObjects)
        .property("sections", &Sticky::sections)
        .operation("reshuffle", &Sticky::reshuffle)
        .operation("objectAtIndexPath:", &Sticky::objectAtIndexPath)
        .operation("indexPathForObject:", &Sticky::indexPathForObject);

/// The one section of a sample, as it was when it was asked for.
class StickySection final : public NSObject, public NSFetchedResultsSectionInfo {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }
  NSObject* protocolObject() noexcept override { return this; }

  explicit StickySection(const Ref<NSArray>& objects) : _objects(objects) {}

  Ref<NSString> name() const override { return nullptr; }
  Ref<NSString> indexTitle() const override { return nullptr; }
  NSUInteger numberOfObjects() const override { return _objects->count(); }
  Ref<NSArray> objects() const override { return _objects; }

 private:
  Ref<NSArray> _objects;
};

constinit const Class StickySection::classObject = Class::of<StickySection>("StickySection");

/// Sets a flag for a while.
class FlagScope {
 public:
  explicit FlagScope(bool& flag) : _flag(flag) { _flag = true; }
  ~FlagScope() { _flag = false; }
  FlagScope(const FlagScope&) = delete;
  FlagScope& operator=(const FlagScope&) = delete;

 private:
  bool& _flag;
};

}  // namespace

StickySampleController::StickySampleController(const Ref<NSFetchRequest>& request,
                                               const Ref<NSManagedObjectContext>& context,
                                               NSUInteger sampleLimit, RandomSource source)
    : _results(NSFetchedResultsController::
                   initWithFetchRequestManagedObjectContextSectionNameKeyPathCacheName(
                       request, context, nullptr, nullptr)),
      _sampleLimit(sampleLimit),
      _source(std::move(source)) {}

StickySampleController::~StickySampleController() {
  // Whoever keeps all results does not have them followed for nobody.
  _results->setDelegate(nullptr);
}

Ref<StickySampleController>
StickySampleController::initWithFetchRequestManagedObjectContextSampleLimitRandomSource(
    const Ref<NSFetchRequest>& request, const Ref<NSManagedObjectContext>& context,
    NSUInteger sampleLimit, RandomSource source) {
  auto controller =
      makeObject<StickySampleController>(request, context, sampleLimit, std::move(source));
  controller->follow();
  return controller;
}

void StickySampleController::follow() {
  _results->setDelegate(Ref<NSFetchedResultsControllerDelegate>(this));
}

// ---- The sample ---------------------------------------------------------------------------------

bool StickySampleController::performFetch(Ref<NSError>* error) {
  const Ref<NSFetchedResultsController> self(this);
  if (!_results->performFetch(error)) return false;
  ++_fetches;
  _updated.clear();
  _isIncomplete = _isReshuffled = false;
  Slots slots = this->slots();
  const Ref<NSManagedObjectContext> context = managedObjectContext();
  for (Value& slot : slots) {
    const Ref<NSManagedObject> object = as<NSManagedObject>(Value(slot));
    if (!object->managedObjectContext() && !object->objectID()->isTemporaryID()) {
      slot = context->objectWithID(object->objectID());
    }
    if (!_results->indexPathForObject(slot)) slot = nullptr;
  }
  fill(slots);
  setObjects(slots);
  return true;
}

void StickySampleController::reshuffle() {
  if (!_objects) return;
  _isReshuffled = true;
  settle();
}

void StickySampleController::setSampleLimit(NSUInteger limit) {
  _sampleLimit = limit;
  if (!_objects) return;
  _isIncomplete = true;
  settle();
}

StickySampleController::Slots StickySampleController::slots() const {
  Slots slots;
  if (!_objects) return slots;
  slots.reserve(_objects->count());
  for (const Value& object : _objects) slots.push_back(object);
  return slots;
}

NSUInteger StickySampleController::countOfResults() const {
  const Ref<NSArray> sections = _results->sections();
  if (!sections || sections->count() == 0) return 0;
  const Value section = sections->objectAtIndex(0);
  return as<NSFetchedResultsSectionInfo>(section)->numberOfObjects();
}

void StickySampleController::fill(Slots& slots) {
  if (slots.size() > _sampleLimit) slots.resize(_sampleLimit);
  if (slots.size() == _sampleLimit &&
      std::none_of(slots.begin(), slots.end(), [](const Value& slot) { return slot.isNull(); })) {
    return;
  }
  std::vector<NSUInteger> taken;
  for (const Value& slot : slots) {
    if (slot.isNull()) continue;
    if (const auto path = _results->indexPathForObject(slot)) {
      taken.push_back(plv_itemIndex(path));
    }
  }
  std::sort(taken.begin(), taken.end());
  impl::RandomPlaces places(countOfResults(), std::move(taken), _source);
  const auto draw = [&] {
    return _results->objectAtIndexPath(plv_indexPathForItemIndexSectionIndex(places.draw(), 0));
  };
  for (Value& slot : slots) {
    if (slot.isNull() && !places.isEmpty()) slot = draw();
  }
  slots.erase(
      std::remove_if(slots.begin(), slots.end(), [](const Value& slot) { return slot.isNull(); }),
      slots.end());
  while (slots.size() < _sampleLimit && !places.isEmpty()) slots.push_back(draw());
}

void StickySampleController::setObjects(const Slots& slots) {
  const Ref<NSMutableArray> objects = NSMutableArray::array();
  _slots.clear();
  for (const Value& slot : slots) {
    _slots[slot.object()] = objects->count();
    objects->addObject(slot);
  }
  const Value copy = objects->copy();
  _objects = Ref<NSArray>(as<NSArray>(copy));
}

// ---- Following ----------------------------------------------------------------------------------

void StickySampleController::controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(
    Controller, const Ref<NSManagedObject>& object, const Ref<NSIndexPath>&,
    NSFetchedResultsChangeType type, const Ref<NSIndexPath>&) {
  if (!_objects) return;
  // While a batch is told, the sample is about to be another one: whom it has is asked afterwards.
  const bool isSampled = _isTelling || _slots.count(object.get()) != 0;
  switch (type) {
    case NSFetchedResultsChangeInsert:
      if (_isTelling || _objects->count() < _sampleLimit) _isIncomplete = true;
      return;
    case NSFetchedResultsChangeDelete:
      if (isSampled) _isIncomplete = true;
      return;
    case NSFetchedResultsChangeMove:
    case NSFetchedResultsChangeUpdate:
      if (isSampled) _updated.emplace_back(object);
      return;
  }
}

void StickySampleController::controllerDidChangeContent(Controller) { settle(); }

void StickySampleController::settle() {
  if (_isTelling) return;
  const Ref<NSFetchedResultsController> self(this);
  while (_isReshuffled || _isIncomplete || !_updated.empty()) {
    const bool isReshuffled = std::exchange(_isReshuffled, false);
    const bool isIncomplete = std::exchange(_isIncomplete, false);
    const std::vector<Value> updated = std::exchange(_updated, {});
    Slots slots;
    if (!isReshuffled) slots = this->slots();
    if (isIncomplete) {
      for (Value& slot : slots) {
        if (!_results->indexPathForObject(slot)) slot = nullptr;
      }
    }
    if (isReshuffled || isIncomplete) fill(slots);
    const ListChanges changes = changesTo(slots, isReshuffled, updated);
    if (!changes.isEmpty()) tell(changes, slots);
  }
}

/// Objects change their places only when all are drawn anew. Some of them may stand in the old
/// order even then, and those are not told of.
ListChanges StickySampleController::changesTo(const Slots& slots, bool isReshuffled,
                                              const std::vector<Value>& updated) const {
  ListChanges changes;
  std::vector<bool> stays(_objects->count());
  for (NSUInteger i = 0; i < slots.size(); ++i) {
    const auto old = _slots.find(slots[i].object());
    if (old == _slots.end()) {
      changes.insertedItems.push_back({0, i});
      continue;
    }
    stays[old->second] = true;
    if (isReshuffled) changes.movedItems.push_back({{0, old->second}, {0, i}});
  }
  for (NSUInteger i = 0; i < stays.size(); ++i) {
    if (!stays[i]) changes.deletedItems.push_back({0, i});
  }
  if (isReshuffled) {
    changes = changes.reduced();
    changes.updatedItems.clear();
  }
  for (const Value& object : updated) {
    const auto slot = _slots.find(object.object());
    if (slot != _slots.end()) changes.updatedItems.push_back({0, slot->second});
  }
  return changes.reduced();
}

void StickySampleController::tell(const ListChanges& changes, const Slots& slots) {
  using Callback = NSFetchedResultsControllerDelegate::Callback;
  const FlagScope telling(_isTelling);
  const Ref<NSFetchedResultsController> self(this);
  const Ref<NSFetchedResultsControllerDelegate> delegate = this->delegate();
  const std::uint64_t delegates = _delegates;
  const std::uint64_t fetches = _fetches;
  const auto isHeard = [&] { return delegate && _delegates == delegates; };
  const auto answers = [&](Callback callback) { return isHeard() && delegate->answers(callback); };
  const Slots before = this->slots();
  const auto change = [&] {
    if (_fetches == fetches) setObjects(slots);
  };

  try {
    if (answers(Callback::WillChangeContent)) delegate->controllerWillChangeContent(self);
  } catch (...) {
    change();
    throw;
  }
  change();
  if (answers(Callback::DidChangeObject)) {
    const auto tellOf = [&](NSFetchedResultsChangeType type, const Value& object,
                            const ListPlace* from, const ListPlace* to) {
      if (!isHeard()) return;
      const auto pathOf = [](const ListPlace* place) {
        return place ? plv_indexPathForItemIndexSectionIndex(place->item, 0) : nullptr;
      };
      delegate->controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(
          self, as<NSManagedObject>(Value(object)), pathOf(from), type, pathOf(to));
    };
    for (const ListPlace& place : changes.deletedItems) {
      tellOf(NSFetchedResultsChangeDelete, before[place.item], &place, nullptr);
    }
    for (const ListPlace& place : changes.insertedItems) {
      tellOf(NSFetchedResultsChangeInsert, slots[place.item], nullptr, &place);
    }
    std::vector<ListMove> moves = changes.movedItems;
    std::sort(moves.begin(), moves.end(),
              [](const ListMove& left, const ListMove& right) { return left.to < right.to; });
    for (const ListMove& move : moves) {
      tellOf(NSFetchedResultsChangeMove, slots[move.to.item], &move.from, &move.to);
    }
    const impl::ListMapping mapping(changes);
    for (const ListPlace& place : changes.updatedItems) {
      ListPlace after;
      mapping.follow(place, &after);
      tellOf(NSFetchedResultsChangeUpdate, before[place.item], &place, &after);
    }
  }
  if (answers(Callback::DidChangeContent)) delegate->controllerDidChangeContent(self);
}

// ---- As a controller ----------------------------------------------------------------------------

void StickySampleController::setDelegate(const Ref<NSFetchedResultsControllerDelegate>& delegate) {
  if (this->delegate() != delegate) ++_delegates;
  _delegate = delegate;
}

Ref<NSArray> StickySampleController::sections() const {
  if (!_objects) return nullptr;
  return NSArray::arrayWithObject(Ref<NSObject>(makeObject<StickySection>(_objects)));
}

Value StickySampleController::objectAtIndexPath(const Ref<NSIndexPath>& path) const {
  if (!path || path->length() != 2) {
    raise(NSInvalidArgumentException,
          "objectAtIndexPath: a path of section and item is required, not %@", Value(path));
  }
  if (!_objects || plv_sectionIndex(path) != 0) {
    raise(NSInvalidArgumentException, "no section at index %lu",
          static_cast<unsigned long>(plv_sectionIndex(path)));
  }
  if (plv_itemIndex(path) >= _objects->count()) {
    raise(NSInvalidArgumentException, "no object at index %lu in section at index 0",
          static_cast<unsigned long>(plv_itemIndex(path)));
  }
  return _objects->objectAtIndex(plv_itemIndex(path));
}

Ref<NSIndexPath> StickySampleController::indexPathForObject(const Value& object) const {
  const auto slot = _slots.find(object.object());
  if (slot == _slots.end()) return nullptr;
  return plv_indexPathForItemIndexSectionIndex(slot->second, 0);
}

Ref<NSString> StickySampleController::sectionIndexTitleForSectionName(
    const Ref<NSString>& name) const {
  return _results->sectionIndexTitleForSectionName(name);
}

Ref<NSArray> StickySampleController::sectionIndexTitles() const {
  return _results->sectionIndexTitles();
}

NSUInteger StickySampleController::sectionForSectionIndexTitleAtIndex(const Ref<NSString>& title,
                                                                      NSUInteger index) const {
  return _results->sectionForSectionIndexTitleAtIndex(title, index);
}

}  // namespace JNFoundation
