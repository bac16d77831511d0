#include "JNFoundation/importing/impl/ImportRun.h"

#include <algorithm>

#include <JNFoundation/deferred/Rejected.h>
#include <JNFoundation/importing/ContextDeferreds.h>
#include <JNFoundation/mapping/NSManagedObjectContext+PLVAssociatedFilter.h>
#include <JNFoundation/platform/dispatch/Clock.h>
#include <JNFoundation/platform/store/NSCoreDataErrors.h>
#include <JNFoundation/platform/store/NSFetchRequest.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

/// Attached to a context in which an import runs.
const char importKey = 0;

bool isValidationError(const NSError& error) {
  return Value(error.domain()) == Value(NSCocoaErrorDomain) &&
         error.code() >= NSManagedObjectValidationError && error.code() < 1700;
}

/// The error with the record's number and the report, for whoever the import ends for.
Ref<NSError> endingError(const NSError& error, NSUInteger index, const Ref<ImportReport>& report) {
  const Ref<NSMutableDictionary> details =
      NSMutableDictionary::dictionaryWithDictionary(error.userInfo());
  details->setObjectForKey(index, JNImportRecordIndexErrorKey);
  details->setObjectForKey(report, JNImportReportErrorKey);
  return NSError::errorWithDomainCodeUserInfo(error.domain(), error.code(), details);
}

}  // namespace

ImportRun::ImportRun(std::unique_ptr<RecordSource> records, const Ref<NSString>& entityName,
                     const Ref<NSManagedObjectContext>& context, ImportOptions options)
    : _records(std::move(records)),
      _entityName(entityName),
      _context(context),
      _options(std::move(options)),
      _report(makeObject<ImportReport>()),
      _objects(NSMutableDictionary::dictionary()) {}

ImportRun::~ImportRun() { leaveContext(); }

Ref<PLVDeferred> ImportRun::start(std::unique_ptr<RecordSource> records,
                                  const Ref<NSString>& entityName,
                                  const Ref<NSManagedObjectContext>& context, ImportOptions options,
                                  CreationPlace place) {
  if (!context) fatalError("importRecords: the context must not be null");
  const auto run =
      makeObject<ImportRun>(std::move(records), entityName, context, std::move(options));
  run->_result = PLVDeferred::initWithResolutionSource(Value(run), place);
  Ref<PLVDeferred> result = run->_result;
  run->goOn();
  return result;
}

// ---- On the main thread
// ---------------------------------------------------------------------------

void ImportRun::goOn() {
  const Ref<ImportRun> self(this);
  Deferred<int> step =
      runIn(_context, [self](const CancellationToken& token) { return self->work(token); });
  _step = step.untyped();
  // The step keeps the run, and the run the step, until the step has ended.
  std::move(step).thenResolvedRejected(
      [self](int ended) { self->stepHasEnded(static_cast<Step>(ended)); },
      [self](const Ref<PLVRejected>& failure) {
        self->_step = nullptr;
        self->_result->reject(Value(failure));
      });
}

void ImportRun::stepHasEnded(Step step) {
  _step = nullptr;
  if (_result->isCancelled()) return;
  if (step == Step::ChunkDone && _options.progress) {
    _options.progress({_next, _records->total(), _records->fraction()});
    if (_result->isCancelled()) return;
  }
  if (step == Step::Done) {
    _result->resolve(Value(_report));
  } else {
    goOn();
  }
}

void ImportRun::resolvableDidCancelWithValue(const Ref<PLVResolvable>&, const Value&) {
  const Ref<ImportRun> self(this);
  if (_step) Ref<PLVDeferred>(_step)->cancel();
  _context->performBlock([self] { self->abandon(); });
}

// ---- In the context's queue
// -----------------------------------------------------------------------

Outcome<int> ImportRun::work(const CancellationToken& token) {
  const bool isSliced = _context->concurrencyType() == NSMainQueueConcurrencyType;
  const Nanoseconds end =
      saturatingSum(Clock::current().monotonic(), nanosecondsFromSeconds(_options.slice));
  try {
    while (!token.isCancelled()) {
      const Step step = advance();
      if (step != Step::Going || (isSliced && Clock::current().monotonic() >= end)) {
        return static_cast<int>(step);
      }
    }
    return static_cast<int>(Step::Going);
  } catch (...) {
    Ref<PLVRejected> failure = currentExceptionAsRejected();
    abandon();
    return failure;
  }
}

ImportRun::Step ImportRun::advance() {
  switch (_stage) {
    case Stage::Begin:
      begin();
      _stage = Stage::Known;
      return Step::Going;
    case Stage::Known:
      noteKnownRecords();
      return Step::Going;
    case Stage::Open:
      _stage = openChunk() ? Stage::Map : Stage::Absent;
      return Step::Going;
    case Stage::Map:
      if (_nextItem < _items.size()) {
        mapNextRecord();
      } else {
        _stage = Stage::Relate;
      }
      return Step::Going;
    case Stage::Relate:
      if (_links->isEmpty()) {
        _stage = Stage::Commit;
      } else {
        relate();
      }
      return Step::Going;
    case Stage::Commit:
      commitChunk();
      _stage = Stage::Open;
      return Step::ChunkDone;
    case Stage::Absent:
      findPresentObjects();
      _stage = Stage::Delete;
      return Step::Going;
    case Stage::Delete:
      if (_nextPresent < _present->count()) {
        deleteAbsentObjects();
      } else {
        _stage = Stage::Finish;
      }
      return Step::Going;
    case Stage::Finish:
      if (isAtomic()) save();
      leaveContext();
      break;
  }
  return Step::Done;
}

void ImportRun::begin() {
  if (!objc_getAssociatedObject(_context.get(), &importKey).isNull() || _context->hasChanges()) {
    throw Rejected(Value(importError(
        JNImportErrorContextInUse,
        "The context has unsaved changes, or another import runs in it; use one of its own.")));
  }
  const auto coordinator = _context->persistentStoreCoordinator();
  const auto entity = as<NSEntityDescription>(
      coordinator
          ? coordinator->managedObjectModel()->entitiesByName()->objectForKey(Value(_entityName))
          : Value());
  if (!entity) {
    throw Rejected(
        Value(importError(JNImportErrorBadEntity,
                          NSString::stringWithFormat("The model has no entity %@.", _entityName))));
  }
  const Ref<PLVDataMapFilter> filter =
      _options.filter ? _options.filter : plv_dataMapFilter(_context);
  _import =
      std::make_unique<EntityImport>(_context, entity, _options.identity, _options.map, filter);
  if (_options.absent == ImportAbsent::Delete && !_import->hasIdentity()) {
    throw Rejected(Value(importError(
        JNImportErrorBadEntity,
        NSString::stringWithFormat("Nothing tells the objects of the entity %@ apart, so none can "
                                   "be said to be absent.",
                                   _entityName))));
  }
  _links = ImportLinks::init(
      _context, _options.relatedIdentities, filter,
      [this](NSUInteger index, const Ref<NSError>& error) { refuse(index, error); });
  objc_setAssociatedObject(_context.get(), &importKey, true, OBJC_ASSOCIATION_RETAIN);
  _isInContext = true;
}

void ImportRun::leaveContext() noexcept {
  if (!std::exchange(_isInContext, false)) return;
  objc_setAssociatedObject(_context.get(), &importKey, nullptr, OBJC_ASSOCIATION_RETAIN);
}

void ImportRun::abandon() {
  if (!_isInContext) return;
  leaveContext();
  _context->rollback();
}

NSUInteger ImportRun::endOfChunk(NSUInteger begin, NSUInteger end) const noexcept {
  const NSUInteger size = std::max<NSUInteger>(_options.chunkSize, 1);
  return end - begin > size ? begin + size : end;
}

Value ImportRun::identityOf(const Value& entry, Ref<NSDictionary>& record, Ref<NSError>& error) {
  record = Ref<NSDictionary>(as<NSDictionary>(entry));
  if (!record) {
    error = importError(JNImportErrorNotARecord, "An entry of the list is no dictionary.");
    return nullptr;
  }
  if (!_import->hasIdentity()) return nullptr;
  Value identity;
  try {
    identity = _import->identityOfRecord(record);
  } catch (const Raised& raised) {
    error = raisedError(raised);
    return nullptr;
  }
  if (identity.isNull()) {
    error = importError(JNImportErrorNoIdentity, "A record has no value for what tells it apart.");
  }
  return identity;
}

void ImportRun::noteKnownRecords() {
  const NSUInteger end = endOfChunk(_next, std::max(_next, _options.firstRecord));
  Value entry;
  while (_next < end) {
    if (!_records->next(entry)) {
      _stage = Stage::Open;
      return;
    }
    Ref<NSDictionary> record;
    Ref<NSError> error;
    const Value identity = identityOf(entry, record, error);
    if (error) _isSure = false;
    if (!identity.isNull()) _seen.firstIndex(identity, _next);
    ++_next;
  }
  if (_next >= _options.firstRecord) _stage = Stage::Open;
}

bool ImportRun::openChunk() {
  _items.clear();
  _nextItem = 0;
  const NSUInteger begin = _next;
  const NSUInteger size = std::max<NSUInteger>(_options.chunkSize, 1);
  for (Value entry; _next - begin < size && _records->next(entry); ++_next) {
    ImportItem item{.index = _next};
    Ref<NSError> error;
    item.identity = identityOf(entry, item.record, error);
    if (error) {
      _isSure = false;
      refuse(_next, error);
      continue;
    }
    if (!item.identity.isNull()) {
      const NSUInteger first = _seen.firstIndex(item.identity, _next);
      if (first != _next && !addDuplicate(item, first)) continue;
    }
    _items.push_back(std::move(item));
  }
  if (_next == begin) return false;
  if (_import->canCompare()) {
    _import->compare(_items);
    dropSettledItems();
  }
  std::vector<Value> wanted;
  for (const ImportItem& item : _items) {
    if (item.finding == ImportItem::Finding::Absent || item.identity.isNull()) continue;
    if (!_objects->find(item.identity)) wanted.push_back(item.identity);
  }
  _import->addObjectsOfIdentities(wanted, _objects);
  return true;
}

bool ImportRun::addDuplicate(ImportItem& item, NSUInteger firstIndex) {
  _report->_duplicates.push_back({item.index, static_cast<std::size_t>(firstIndex)});
  if (_options.duplicate == ImportDuplicate::Skip) return false;
  const auto first = std::lower_bound(
      _items.begin(), _items.end(), firstIndex,
      [](const ImportItem& earlier, NSUInteger index) { return earlier.index < index; });
  if (first != _items.end() && first->index == firstIndex) first->isRepeated = true;
  item.isRepeated = true;
  return true;
}

void ImportRun::dropSettledItems() {
  _settled += std::erase_if(
      _items, [](const ImportItem& item) { return item.finding == ImportItem::Finding::Settled; });
}

void ImportRun::mapNextRecord() {
  const ImportItem item = _items[_nextItem++];
  Ref<NSManagedObject> object;
  if (!item.identity.isNull()) {
    object = as<NSManagedObject>(_objects->objectForKey(item.identity));
    // Between two slices somebody may have deleted it.
    if (object && (object->isDeleted() || !object->managedObjectContext())) object = nullptr;
  }
  if (!object) {
    object = _import->insertObject();
    if (!item.identity.isNull()) _objects->setObjectForKey(object, item.identity);
  }
  touch(object, item.index);
  _links->setRecordIndex(item.index);
  try {
    const ImportLinks::Taking taking(*_links);
    _import->map(item.record, object);
  } catch (const Raised& raised) {
    _links->dropRecord(item.index);
    undo(object);
    refuse(item.index, raisedError(raised));
  }
}

void ImportRun::relate() {
  const ImportLinks::Taking taking(*_links);
  _links->relate();
  for (const auto& [object, index] : _links->takeInserted()) {
    ++_report->_counts.insertedRelated;
    _recordOfObject.try_emplace(object.get(), index);
  }
}

void ImportRun::touch(const Ref<NSManagedObject>& object, NSUInteger index) {
  if (_recordOfObject.insert_or_assign(object.get(), index).second) _touched.push_back(object);
}

void ImportRun::commitChunk() {
  if (isAtomic()) {
    count(countTouchedObjects());
    return;
  }
  save();
  _objects = NSMutableDictionary::dictionary();
}

void ImportRun::save() {
  while (true) {
    const ImportReport::Counts counts = countTouchedObjects();
    Ref<NSError> error;
    if (_context->save(&error)) {
      count(counts);
      break;
    }
    if (!refuseInvalidObjects(error)) throw Rejected(Value(error));
  }
  _touched.clear();
  _counted = 0;
  _recordOfObject.clear();
}

ImportReport::Counts ImportRun::countTouchedObjects() const {
  ImportReport::Counts counts;
  counts.unchanged = _settled;
  for (std::size_t i = _counted; i < _touched.size(); ++i) {
    const NSManagedObject& object = *_touched[i];
    if (object.isDeleted()) {
      ++counts.deleted;
    } else if (!object.managedObjectContext()) {
      // It was undone.
    } else if (object.isInserted()) {
      ++counts.inserted;
    } else if (object.isUpdated() && object.changedValues()->count() > 0) {
      ++counts.updated;
    } else {
      ++counts.unchanged;
    }
  }
  return counts;
}

void ImportRun::count(const ImportReport::Counts& counts) noexcept {
  _report->_counts.inserted += counts.inserted;
  _report->_counts.updated += counts.updated;
  _report->_counts.unchanged += counts.unchanged;
  _report->_counts.deleted += counts.deleted;
  _counted = _touched.size();
  _settled = 0;
}

bool ImportRun::refuseInvalidObjects(const Ref<NSError>& error) {
  std::vector<Ref<NSError>> errors;
  if (error->code() == NSValidationMultipleErrorsError) {
    const Value listed = error->userInfo()->objectForKey(NSDetailedErrorsKey);
    if (const auto* list = as<NSArray>(listed)) {
      for (const Value& one : *list) errors.emplace_back(as<NSError>(one));
    }
  } else {
    errors.push_back(error);
  }
  std::vector<ImportReport::Refusal> refusals;
  for (const Ref<NSError>& one : errors) {
    if (!one || !isValidationError(*one)) return false;
    const Value value = one->userInfo()->objectForKey(NSValidationObjectErrorKey);
    const Ref<NSManagedObject> object(as<NSManagedObject>(value));
    const auto place = _recordOfObject.find(object.get());
    // What somebody else has in the context is not ours to undo.
    if (!object || place == _recordOfObject.end()) continue;
    refusals.push_back({place->second, one});
    // A second fault of the same object goes with the first.
    _recordOfObject.erase(place);
    undo(object);
  }
  std::stable_sort(refusals.begin(), refusals.end(),
                   [](const auto& left, const auto& right) { return left.index < right.index; });
  for (const ImportReport::Refusal& refusal : refusals) refuse(refusal.index, refusal.error);
  return !refusals.empty();
}

void ImportRun::undo(const Ref<NSManagedObject>& object) {
  if (object->isInserted()) {
    _context->deleteObject(object);
    return;
  }
  if (object->isDeleted()) _context->insertObject(object);
  _context->refreshObjectMergeChanges(object, false);
  std::erase(_touched, object);
}

void ImportRun::refuse(NSUInteger index, const Ref<NSError>& error) {
  _report->_refusals.push_back({index, error});
  if (_options.refusal == ImportRefusal::Stop || isAtomic()) {
    throw Rejected(Value(endingError(*error, index, _report)));
  }
}

// ---- Absent objects
// -------------------------------------------------------------------------------

void ImportRun::findPresentObjects() {
  _present = NSArray::array();
  if (_options.absent == ImportAbsent::Keep) return;
  if (!_isSure) {
    _report->_keptAbsentObjects = true;
    return;
  }
  const Ref<NSFetchRequest> request = NSFetchRequest::init();
  request->setEntity(_import->entity());
  request->setPredicate(_options.scope);
  request->setFetchBatchSize(std::max<NSUInteger>(_options.chunkSize, 1));
  Ref<NSError> error;
  _present = _context->executeFetchRequestError(request, &error);
  if (!_present) throw Rejected(Value(error));
}

void ImportRun::deleteAbsentObjects() {
  const NSUInteger end = endOfChunk(_nextPresent, _present->count());
  for (; _nextPresent < end; ++_nextPresent) {
    const Value value = _present->objectAtIndex(_nextPresent);
    const Ref<NSManagedObject> object(as<NSManagedObject>(value));
    if (!object || object->isDeleted() || !object->managedObjectContext()) continue;
    const Value identity = _import->identityOfObject(*object);
    if (!identity.isNull() && _seen.has(identity)) continue;
    touch(object, NSNotFound);
    _context->deleteObject(object);
  }
  if (isAtomic()) {
    count(countTouchedObjects());
  } else {
    save();
  }
}

}  // namespace JNFoundation::impl
