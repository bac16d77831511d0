#include "JNFoundation/platform/value/Runtime.h"

#include <algorithm>

#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/impl/SideRecord.h>

namespace JNFoundation::inline v0_1 {
namespace {

/// What the receiver runs for the selector. Returns: null if there is nothing.
const Method* methodOf(const Value& receiver, SEL selector) noexcept {
  if (receiver.isNull()) return nullptr;
  const Class* cls = receiver.classValue();
  return cls ? cls->classMethodForSelector(selector)
             : receiver.class_()->instanceMethodForSelector(selector);
}

}  // namespace

Value performSelectorWithArguments(const Value& receiver, SEL selector,
                                   std::span<const Value> arguments) {
  const Method* method = methodOf(receiver, selector);
  if (method) {
    // A copy: the operation may drop the last reference that the caller has to the receiver.
    return method->invoke(Value(receiver), arguments);
  }
  if (receiver.isNull()) return nullptr;
  doesNotRecognizeSelector(receiver, selector);
}

bool respondsToSelector(const Value& receiver, SEL selector) {
  return receiver.respondsToSelector(selector);
}

void doesNotRecognizeSelector(const Value& receiver, SEL selector) {
  if (const Class* cls = receiver.classValue()) {
    raise(NSInvalidArgumentException, "+[%s %s]: unrecognized selector sent to class %p",
          cls->name(), selector.name(), static_cast<const void*>(cls));
  }
  raise(NSInvalidArgumentException, "-[%s %s]: unrecognized selector sent to instance %p",
        receiver.isNull() ? std::string_view("(null)") : receiver.class_()->name(), selector.name(),
        static_cast<const void*>(receiver.object()));
}

void objc_setAssociatedObject(const NSObject* object, const void* key, const Value& value,
                              objc_AssociationPolicy policy) {
  if (!object) return;
  if (value.isNull() && !SideRecordAccess::existing(*object)) return;
  SideRecord::Association fresh{key, nullptr, nullptr};
  if (policy == OBJC_ASSOCIATION_ASSIGN && value.isObject()) {
    fresh.unretained = value.object();
  } else if (policy == OBJC_ASSOCIATION_COPY || policy == OBJC_ASSOCIATION_COPY_NONATOMIC) {
    fresh.value = value.copy();
  } else {
    fresh.value = value;
  }
  SideRecord& record = SideRecordAccess::of(*object);
  // What was attached before goes after the lock, into `fresh`: its end may run any code.
  SideRecord::Locked locked(record);
  auto& list = record.associations;
  const auto found =
      std::find_if(list.begin(), list.end(), [&](const auto& known) { return known.key == key; });
  if (found != list.end()) {
    std::swap(*found, fresh);
    if (value.isNull()) list.erase(found);
  } else if (!value.isNull() && !record.retired) {
    list.push_back(std::move(fresh));
  }
}

Value objc_getAssociatedObject(const NSObject* object, const void* key) {
  SideRecord* record = object ? SideRecordAccess::existing(*object) : nullptr;
  if (!record) return nullptr;
  SideRecord::Locked locked(*record);
  for (const auto& association : record->associations) {
    if (association.key != key) continue;
    return association.unretained ? Value(association.unretained) : association.value;
  }
  return nullptr;
}

void objc_removeAssociatedObjects(const NSObject* object) {
  SideRecord* record = object ? SideRecordAccess::existing(*object) : nullptr;
  if (!record) return;
  std::vector<SideRecord::Association> removed;
  SideRecord::Locked locked(*record);
  removed.swap(record->associations);
}

void objc_sync_enter(const NSObject* object) {
  if (!object) return;
  SideRecord& record = SideRecordAccess::of(*object);
  std::recursive_mutex* mutex;
  {
    SideRecord::Locked locked(record);
    if (!record.mutex) record.mutex = std::make_unique<std::recursive_mutex>();
    mutex = record.mutex.get();
  }
  mutex->lock();
}

void objc_sync_exit(const NSObject* object) {
  SideRecord* record = object ? SideRecordAccess::existing(*object) : nullptr;
  if (!record) return;
  std::recursive_mutex* mutex;
  {
    SideRecord::Locked locked(*record);
    mutex = record->mutex.get();
  }
  if (mutex) mutex->unlock();
}

}  // namespace JNFoundation
