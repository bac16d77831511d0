#include "Merge.h"

#include <chrono>
#include <memory>

#include "CatalogItem.h"

#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/store/NSFetchRequest.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSException.h>

namespace catalog {
namespace {

using Time = std::chrono::steady_clock;

/// How long a slice may hold the main thread: half a frame of a display.
constexpr auto sliceLength = std::chrono::milliseconds(8);

class Merge : public Subclass<Merge, NSObject> {
 public:
  Merge(const Ref<NSArray>& records, const Ref<NSString>& entityName,
        const Ref<NSManagedObjectContext>& context, MergeProgress progress, MergeCounts& counts)
      : finished(PLVDeferred::init()),
        _records(records),
        _entityName(entityName),
        _context(context),
        _progress(std::move(progress)),
        _counts(counts) {}

  const Ref<PLVDeferred> finished;

  /// The objects that the store has already, by code. Returns: false if they cannot be read.
  bool findExisting(Ref<NSError>* error) {
    const auto entity =
        NSEntityDescription::entityForNameInManagedObjectContext(_entityName, _context);
    _identityKey = entity->userInfo()->objectForKey("identity");
    Ref<NSFetchRequest> request = NSFetchRequest::init();
    request->setEntity(entity);
    const Ref<NSArray> objects = _context->executeFetchRequestError(request, error);
    if (!objects) return false;
    for (const Value& object : *objects) {
      _existing->setValueForKey(object, as<CatalogItem>(object)->code());
    }
    return true;
  }

  /// Merges records until the slice is over, then leaves the rest to the main queue.
  void mergeSlice() {
    const auto end = Time::now() + sliceLength;
    try {
      while (_next < _records->count() && Time::now() < end) {
        mergeRecord(as<NSDictionary>(_records->objectAtIndex(_next++)));
      }
    } catch (const Raised& raised) {
      finished->reject(raised.exception());
      return;
    }
    if (_progress) _progress(_entityName, _next, _records->count());
    if (_next == _records->count()) {
      finished->resolve(nullptr);
    } else {
      dispatch_async_main([self = Ref<Merge>(this)] { self->mergeSlice(); });
    }
  }

 private:
  void mergeRecord(const Ref<NSDictionary>& record) {
    const Ref<NSString> code = codeOf(record);
    if (!code) {
      ++_counts.skipped;
      return;
    }
    auto item = as<CatalogItem>(_existing->objectForKey(code));
    if (item) {
      ++_counts.updated;
    } else {
      ++_counts.inserted;
      item = as<CatalogItem>(
          Value(NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
              _entityName, _context)));
      _existing->setObjectForKey(item, code);
    }
    item->mergeDictionary(record);
  }

  /// Null for a record without one, or with something that is no code.
  Ref<NSString> codeOf(const Ref<NSDictionary>& record) const {
    const Value code = record->objectForKey(_identityKey);
    return code.isString() || code.isNumber() ? code.stringValue() : nullptr;
  }

  const Ref<NSArray> _records;
  const Ref<NSString> _entityName;
  const Ref<NSManagedObjectContext> _context;
  const MergeProgress _progress;
  MergeCounts& _counts;
  Value _identityKey;
  const Ref<NSMutableDictionary> _existing = NSMutableDictionary::dictionary();
  NSUInteger _next = 0;
};

}  // namespace

Ref<PLVDeferred> mergeRecords(const Ref<NSArray>& records, const Ref<NSString>& entityName,
                              const Ref<NSManagedObjectContext>& context, MergeProgress progress,
                              MergeCounts& counts) {
  auto merge = makeObject<Merge>(records, entityName, context, std::move(progress), counts);
  Ref<NSError> error;
  if (!merge->findExisting(&error)) return PLVDeferred::withRejected(error);
  merge->mergeSlice();
  return merge->finished;
}

}  // namespace catalog
