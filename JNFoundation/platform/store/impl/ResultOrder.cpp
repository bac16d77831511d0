#include "JNFoundation/platform/store/impl/ResultOrder.h"

#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/query/KeyValueCoding.h>
#include <JNFoundation/platform/store/impl/ContextFetch.h>
#include <JNFoundation/platform/store/impl/QueryCheck.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

Value valueOf(const NSManagedObject& object) {
  return Value(const_cast<NSManagedObject*>(&object));
}

/// The answer of an object, or another one where it raises.
template <class Answer, class Ask>
Answer answerOr(Answer otherwise, const NSManagedObject& object, Ask&& ask) {
  try {
    return ask();
  } catch (const Raised& raised) {
    NSLog("CoreData: error: (NSFetchedResultsController) %@ cannot be asked: %@",
          Value(object.objectID()), Value(raised.exception()->reason()));
  } catch (const UnreadableRows& unreadable) {
    NSLog("CoreData: error: (NSFetchedResultsController) %@ cannot be asked: %@",
          Value(object.objectID()), Value(unreadable.error));
  }
  return otherwise;
}

/// The value of an attribute, borrowed: the saved one on request. Fires no awakeFromFetch. A record
/// that is gone has nulls.
const Value& placeOf(const NSManagedObject& object, std::size_t attribute, bool asSaved) {
  static const Value null;
  auto& changeable = const_cast<NSManagedObject&>(object);
  if ((ObjectAccess::flags(object) & ObjectAccess::hasValues) == 0 &&
      !ObjectAccess::canFire(changeable)) {
    return null;
  }
  const ValueArray& saved = ObjectAccess::committed(changeable);
  return asSaved && saved ? saved[attribute] : ObjectAccess::values(changeable)[attribute];
}

}  // namespace

ResultOrder::ResultOrder(NSManagedObjectContext& context, Ref<NSFetchRequest> request,
                         Ref<NSString> sectionKeyPath)
    : _context(context), _request(std::move(request)), _sectionKeyPath(std::move(sectionKeyPath)) {
  // What a fetch refuses is refused here.
  const ContextFetch check(context, *_request);
  _entity = check.entity();
  _predicate = _request->predicate();
  if (_predicate && _predicate->constantAnswer() && *_predicate->constantAnswer()) {
    _predicate = nullptr;
  }
  _namesRecords = _predicate && namesRecords(*_predicate) && !wantsObjects(*_predicate);
  for (const Value& value : _request->sortDescriptors()) {
    const auto* descriptor = as<NSSortDescriptor>(value);
    std::size_t attribute = _entity->layout().indexOf(*descriptor->key());
    if (attribute != EntityLayout::none) {
      const EntityLayout::Slot& slot = _entity->layout()[attribute];
      const bool isPlain = slot.attribute && slot.stored && !slot.isTransformed() &&
                           &descriptor->class_() == &NSSortDescriptor::classObject;
      if (!isPlain) attribute = EntityLayout::none;
    }
    _keys.push_back({descriptor, attribute});
  }
}

bool ResultOrder::includes(const NSManagedObject& object) const {
  const bool isConcerned = object.entity() == _entity || (_request->includesSubentities() &&
                                                          object.entity()->isKindOfEntity(_entity));
  if (!isConcerned) return false;
  // A record that is gone has no place.
  const bool hasValues = (ObjectAccess::flags(object) & ObjectAccess::hasValues) != 0;
  if (!hasValues && !ObjectAccess::canFire(const_cast<NSManagedObject&>(object))) return false;
  if (!_predicate) return true;
  return answerOr(false, object, [&] {
    return _namesRecords ? ContextFetch(_context, *_request).includes(object)
                         : _predicate->evaluateWithObject(valueOf(object));
  });
}

NSComparisonResult ResultOrder::compare(const Key& key, const NSManagedObject& left,
                                        const NSManagedObject& right) const {
  if (key.attribute == EntityLayout::none) {
    return key.descriptor->compareObjectToObject(valueOf(left), valueOf(right));
  }
  const Value& one = placeOf(left, key.attribute, !_request->includesPendingChanges());
  const Value& other = placeOf(right, key.attribute, !_request->includesPendingChanges());
  return key.descriptor->compareValues(one, other);
}

bool ResultOrder::isBefore(const NSManagedObject& left, const NSManagedObject& right) const {
  if (&left == &right) return false;
  for (const Key& key : _keys) {
    const NSComparisonResult result =
        answerOr(NSOrderedSame, left, [&] { return compare(key, left, right); });
    if (result != NSOrderedSame) return result == NSOrderedAscending;
  }
  return comesBefore(left, right);
}

void ResultOrder::read(const NSManagedObject& object) {
  auto& changeable = const_cast<NSManagedObject&>(object);
  answerOr(false, object, [&] { return ObjectAccess::canFire(changeable); });
}

Ref<NSString> ResultOrder::sectionName(const NSManagedObject& object) const {
  const Value value =
      answerOr(Value(), object, [&] { return valueForKeyPath(valueOf(object), _sectionKeyPath); });
  if (value.isNull() || value.isNSNull()) return ""_s;
  if (auto* text = as<NSString>(value)) return Ref<NSString>(text);
  return value.isNumber() ? value.stringValue() : value.description();
}

}  // namespace JNFoundation::impl
