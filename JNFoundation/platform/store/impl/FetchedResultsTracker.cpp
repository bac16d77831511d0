#include "JNFoundation/platform/store/impl/FetchedResultsTracker.h"

#include <algorithm>

#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/store/impl/SectionCache.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

/// Sets a flag for the length of a scope.
class Flag {
 public:
  explicit Flag(bool& flag) : _flag(flag) { _flag = true; }
  ~Flag() { _flag = false; }
  Flag(const Flag&) = delete;
  Flag& operator=(const Flag&) = delete;

 private:
  bool& _flag;
};

void logException(const char* name, const Value& reason, const Value& userInfo) {
  NSLog(
      "CoreData: error: Serious application error. An exception was caught from the delegate of "
      "NSFetchedResultsController during a call to -%s. %@ with userInfo %@",
      name, reason, userInfo);
}

Ref<NSIndexPath> indexPath(const std::optional<FetchedResults::Path>& path) {
  if (!path) return nullptr;
  return NSIndexPath::indexPathWithIndexes({path->section, path->item});
}

/// In the order that the objects have as the context knows them.
Ref<NSArray> sorted(const Ref<NSArray>& objects, const ResultOrder& order) {
  std::vector<Value> values;
  values.reserve(objects->count());
  for (const Value& object : objects) {
    ResultOrder::read(*static_cast<const NSManagedObject*>(object.object()));
    values.push_back(object);
  }
  std::stable_sort(values.begin(), values.end(), [&](const Value& left, const Value& right) {
    return order.isBefore(*static_cast<const NSManagedObject*>(left.object()),
                          *static_cast<const NSManagedObject*>(right.object()));
  });
  return NSArray::arrayWithValues(std::move(values));
}

constexpr NSFetchedResultsControllerDelegate::Callback changeCallbacks[] = {
    NSFetchedResultsControllerDelegate::Callback::DidChangeContent,
    NSFetchedResultsControllerDelegate::Callback::DidChangeObject,
    NSFetchedResultsControllerDelegate::Callback::WillChangeContent,
    NSFetchedResultsControllerDelegate::Callback::DidChangeSection,
};

}  // namespace

FetchedResultsTracker::~FetchedResultsTracker() {
  if (_isObserving) ObjectAccess::removeObserver(*_controller._context, *this);
}

// ---- Fetching -----------------------------------------------------------------------------------

bool FetchedResultsTracker::performFetch(Ref<NSError>* error) {
  const Ref<NSFetchedResultsController> self(&_controller);
  const Ref<NSManagedObjectContext> context = _controller._context;
  // A fetch inside a fetch, from a hook of an object, leaves the flag to the outer one.
  const bool wasFetching = std::exchange(_isFetching, true);
  struct Fetching {
    bool& flag;
    const bool before;
    ~Fetching() { flag = before; }
  };
  bool succeeded = false;
  {
    const Fetching fetching{_isFetching, wasFetching};
    succeeded = fetch(error);
  }
  // What the fetch had the context tell is in the results that it gave; without any it still
  // counts.
  if (!succeeded) processPending();
  return succeeded;
}

bool FetchedResultsTracker::fetch(Ref<NSError>* error) {
  NSManagedObjectContext& context = *_controller._context;
  const Value copy = _controller._request->copy();
  const Ref<NSFetchRequest> request(as<NSFetchRequest>(copy));
  // Positions are wanted of all of them.
  request->setFetchBatchSize(0);
  request->setIncludesPropertyValues(true);
  request->setPropertiesToFetch(nullptr);
  ResultOrder order(context, request, _controller._sectionNameKeyPath);
  const std::uint64_t stale = ObjectAccess::staleObjects(context);
  Ref<NSArray> objects = context.executeFetchRequestError(request, error);
  if (!objects) return false;
  // Stores sort by what others have saved; here some of it has not been merged yet.
  const bool isStale = ObjectAccess::staleObjects(context) != stale;
  if (isStale) objects = sorted(objects, order);

  const SectionCache cache(_controller._cacheName, order, context, *request,
                           _controller._sectionNameKeyPath);
  std::optional<FetchedResults::SectionLengths> known;
  if (!isStale) known = cache.read();
  auto results = std::make_unique<FetchedResults>(std::move(order),
                                                  Weak<NSFetchedResultsController>(&_controller));
  if (const auto torn = results->fill(objects, known)) {
    logOutOfOrder(*torn);
    return fail(error, cocoaError(NSCoreDataError, "A Core Data error occurred.",
                                  {{"reason", reasonOf(*torn)}}));
  }
  if (!known && !isStale && results->order().hasSections()) cache.write(results->sectionLengths());
  _results = std::move(results);
  ++_fetches;
  _rereads = ObjectAccess::rereads(context);
  _isAbandoned = false;
  _pending.clear();
  _unsaved.clear();
  for (const Value& object : objects) noteUnsaved(*static_cast<NSManagedObject*>(object.object()));
  if (!_results->order().includesPendingChanges()) waitForChanges();
  if (!_isObserving) {
    ObjectAccess::addObserver(context, *this);
    _isObserving = true;
  }
  return true;
}

/// A list of what is saved has yet to see what is changed already.
void FetchedResultsTracker::waitForChanges() {
  const NSManagedObjectContext& context = *_controller._context;
  for (const Ref<NSSet>& objects :
       {context.insertedObjects(), context.updatedObjects(), context.deletedObjects()}) {
    for (const Value& object : *objects) {
      _pending.push_back({Ref<NSManagedObject>(as<NSManagedObject>(object)), true, true});
    }
  }
}

void FetchedResultsTracker::noteUnsaved(NSManagedObject& object) {
  if (!ObjectAccess::key(object).hierarchy) _unsaved.emplace_back(&object);
}

// ---- Events -------------------------------------------------------------------------------------

void FetchedResultsTracker::delegateDidChange() {
  ++_delegates;
  if (_results) _results->forgetTitles();
}

void FetchedResultsTracker::contextDidChange(NSManagedObjectContext&, const ContextEvent& event) {
  if (!_results) return;
  if (event.invalidatedAll) {
    // There is nothing left that could be followed.
    _isAbandoned = true;
    ++_fetches;
    _pending.clear();
    _unsaved.clear();
    return;
  }
  for (const auto& object : event.deleted) _pending.push_back({object, true, true});
  // One that is in the list already was put there by a fetch, with the values that it has.
  for (const auto& object : event.inserted) _pending.push_back({object, false, false});
  for (const auto& object : event.updated) _pending.push_back({object, false, true});
  for (const auto& object : event.refreshed) _pending.push_back({object, false, true});
  processPending();
}

void FetchedResultsTracker::contextDidSave(NSManagedObjectContext&) {
  ++_saves;
  if (!_results || _isAbandoned) return;
  std::vector<Ref<NSManagedObject>> still;
  for (Ref<NSManagedObject>& object : _unsaved) {
    if (!ObjectAccess::key(*object).hierarchy) {
      if (ObjectAccess::registry(*object)) still.push_back(std::move(object));
    } else {
      _pending.push_back({std::move(object), false, false});
    }
  }
  _unsaved = std::move(still);
  if (!ObjectAccess::tellsAgain(*_controller._context)) {
    processPending();
  } else if (!_results->order().includesPendingChanges()) {
    // What was saved meanwhile may not have been told yet.
    _results->setOutOfOrder();
  }
}

// ---- Following ----------------------------------------------------------------------------------

void FetchedResultsTracker::processPending() {
  if (_isTelling || _isFetching || _pending.empty()) return;
  // Any of them may be let go of in a callback. The controller goes last: this is part of it.
  const Ref<NSFetchedResultsController> self(&_controller);
  const Ref<NSManagedObjectContext> context = _controller._context;
  const Flag telling(_isTelling);
  while (!_pending.empty()) {
    const Ref<Delegate> delegate = _isAbandoned ? nullptr : _controller._delegate.load();
    const bool isTracked =
        delegate && std::any_of(std::begin(changeCallbacks), std::end(changeCallbacks),
                                [&](Delegate::Callback each) { return delegate->answers(each); });
    if (!isTracked) {
      _pending.clear();
      return;
    }
    std::vector<Pending> pending = takePending();
    // What waits for a save waits.
    if (pending.empty() || !tellBatch(delegate, std::move(pending))) return;
  }
}

bool FetchedResultsTracker::belongs(const Pending& pending) const {
  NSManagedObject& object = *pending.object;
  const Ref<ObjectRegistry>& registry = ObjectAccess::registry(object);
  if (!registry || registry->isInvalid() || object.isDeleted()) return false;
  if (pending.isGone && object.managedObjectContext() != _controller._context) return false;
  return _results->order().includes(object);
}

/// What is to be done with the objects: those that have nothing to do with the list are left out.
std::vector<FetchedResults::Candidate> FetchedResultsTracker::candidates(
    const std::vector<Pending>& pending) const {
  std::vector<FetchedResults::Candidate> found;
  found.reserve(pending.size());
  bool isInOrder = true;
  for (const Pending& one : pending) {
    const bool belongs = this->belongs(one);
    const bool isIn = _results->contains(*one.object);
    if (!isIn && !belongs) continue;
    isInOrder = isInOrder && isIn && belongs && !one.isUpdate && _results->isInPlace(*one.object);
    found.push_back({one.object, belongs, one.isUpdate});
  }
  // One that stands right beside another that does not may have to move all the same.
  if (isInOrder) found.clear();
  return found;
}

/// What can be looked at now, each object once.
std::vector<FetchedResultsTracker::Pending> FetchedResultsTracker::takePending() {
  std::vector<Pending> taken = std::exchange(_pending, {});
  if (!_results->order().includesPendingChanges()) {
    std::erase_if(taken, [&](Pending& one) {
      // What is not the context's any more is never going to be saved.
      if (!one.object->hasChanges() || !ObjectAccess::registry(*one.object)) return false;
      _pending.push_back(std::move(one));
      return true;
    });
  }
  if (taken.size() < 2) return taken;
  std::unordered_map<const NSManagedObject*, std::size_t> places;
  std::vector<Pending> once;
  for (Pending& one : taken) {
    const auto [place, isNew] = places.emplace(one.object.get(), once.size());
    if (isNew) {
      once.push_back(std::move(one));
    } else {
      Pending& known = once[place->second];
      known.isGone = known.isGone || one.isGone;
      known.isUpdate = known.isUpdate || one.isUpdate;
    }
  }
  return once;
}

/// Returns: false if what seems to be in order can only be judged with what is told next.
bool FetchedResultsTracker::tellBatch(const Ref<Delegate>& delegate, std::vector<Pending> pending) {
  std::vector<FetchedResults::Candidate> found = candidates(pending);
  if (found.empty()) {
    if (ObjectAccess::notedObjects(*_controller._context).empty()) return true;
    std::move(pending.begin(), pending.end(), std::back_inserter(_pending));
    return false;
  }

  const Ref<NSFetchedResultsController> self(&_controller);
  _delegateOfBatch = _delegates;
  const std::uint64_t fetches = _fetches;
  const std::uint64_t edits = ObjectAccess::edits(*_controller._context);
  const std::uint64_t saves = _saves;
  call(delegate, Delegate::Callback::WillChangeContent,
       "controllerWillChangeContent:", [&] { delegate->controllerWillChangeContent(self); });
  if (_fetches == fetches) {
    // What was changed meanwhile, here or by those who were told before, is told later, but the
    // list is in order only with it.
    std::vector<Ref<NSManagedObject>> noted = ObjectAccess::notedObjects(*_controller._context);
    if (!noted.empty() || ObjectAccess::edits(*_controller._context) != edits || _saves != saves) {
      // What came meanwhile, or waits for a save, stays.
      std::move(pending.begin(), pending.end(), std::back_inserter(_pending));
      for (Ref<NSManagedObject>& object : noted)
        _pending.push_back({std::move(object), true, true});
      pending = takePending();
      found = candidates(pending);
    }
    // Those that wait for a save are where they were saved, which others may have changed.
    const std::uint64_t rereads = ObjectAccess::rereads(*_controller._context);
    if (!_results->order().includesPendingChanges() && rereads != _rereads) {
      _results->setOutOfOrder();
    }
    const FetchedResults::Changes changes = _results->apply(found);
    _rereads = ObjectAccess::rereads(*_controller._context);
    for (const FetchedResults::Candidate& one : found) {
      if (one.belongs) noteUnsaved(*one.object);
    }
    tell(changes, delegate);
  }
  call(delegate, Delegate::Callback::DidChangeContent,
       "controllerDidChangeContent:", [&] { delegate->controllerDidChangeContent(self); });
  return true;
}

/// A fetch in a callback ends this: it speaks of a list that is gone.
void FetchedResultsTracker::tell(const FetchedResults::Changes& changes,
                                 const Ref<Delegate>& delegate) {
  const Ref<NSFetchedResultsController> self(&_controller);
  const std::uint64_t fetches = _fetches;
  for (const FetchedResults::SectionChange& change : changes.sections) {
    if (_fetches != fetches) return;
    call(delegate, Delegate::Callback::DidChangeSection,
         "controller:didChangeSection:atIndex:forChangeType:", [&] {
           const Ref<FetchedSectionInfo> info =
               change.type == NSFetchedResultsChangeDelete
                   ? makeObject<FetchedSectionInfo>(self, change.section, OrderedVersion(),
                                                    std::size_t{0}, std::size_t{0})
                   : _results->infoOf(change.section);
           delegate->controllerDidChangeSectionAtIndexForChangeType(
               self, Ref<NSFetchedResultsSectionInfo>(info), change.index, change.type);
         });
  }
  for (const FetchedResults::ObjectChange& change : changes.objects) {
    if (_fetches != fetches) return;
    call(delegate, Delegate::Callback::DidChangeObject,
         "controller:didChangeObject:atIndexPath:forChangeType:newIndexPath:", [&] {
           delegate->controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(
               self, change.object, indexPath(change.from), change.type, indexPath(change.to));
         });
  }
}

/// Calls the delegate if it answers and still is the one that the batch began with. What it raises
/// ends nobody's work but its own.
template <class Call>
void FetchedResultsTracker::call(const Ref<Delegate>& delegate, Delegate::Callback callback,
                                 const char* name, Call&& call) {
  if (_delegates != _delegateOfBatch) return;
  try {
    if (delegate->answers(callback)) call();
  } catch (const Raised& raised) {
    const Ref<NSException>& exception = raised.exception();
    logException(name, Value(exception->reason()), Value(exception->userInfo()));
  } catch (const std::exception& exception) {
    logException(name, Value(exception.what()), nullptr);
  } catch (...) {
    logException(name, Value("An exception of an unknown kind"_s), nullptr);
  }
}

}  // namespace JNFoundation::impl
