#include "JNFoundation/platform/value/Weak.h"

#include <JNFoundation/platform/value/TryRetain.h>
#include <JNFoundation/platform/value/impl/SideRecord.h>

namespace JNFoundation::inline v0_1 {

WeakObject::WeakObject(const NSObject* object) {
  if (!object) return;
  _record = &SideRecordAccess::of(*object);
  _record->hold();
}

WeakObject::WeakObject(const WeakObject& other) noexcept : _record(other._record) {
  if (_record) _record->hold();
}

Ref<NSObject> WeakObject::load() const noexcept {
  if (!_record) return nullptr;
  SideRecord::Locked locked(*_record);
  NSObject* object = _record->object;
  if (!object || !SideRecordAccess::tryRetain(*object)) return nullptr;
  return Ref<NSObject>::adopt(object);
}

void WeakObject::letGo() noexcept { std::exchange(_record, nullptr)->letGo(); }

bool tryRetain(const NSObject& object) noexcept { return SideRecordAccess::tryRetain(object); }

}  // namespace JNFoundation
