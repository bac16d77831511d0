#include <JNFoundation/platform/value/Method.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSObject.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/impl/IndexedAccessors.h>

namespace JNFoundation::inline v0_1 {
namespace {

[[noreturn]] void raiseNotCompliant(const NSObject& object, const char* operation,
                                    const Ref<NSString>& key) {
  raise(NSUndefinedKeyException,
        "[<%s %p> %s]: this class is not key value coding-compliant for the key %@.",
        object.class_().name(), static_cast<const void*>(&object), operation, key);
}

}  // namespace

Value NSObject::valueForKey(const Ref<NSString>& key) const {
  if (!key) return valueForUndefinedKey(key);
  if (const Method* getter = class_().getterForKey(key->utf8())) {
    return getter->invoke(Value(const_cast<NSObject*>(this)), {});
  }
  if (Value kept = impl::collectionOfAccessors(*this, key->utf8()); !kept.isNull()) return kept;
  return valueForUndefinedKey(key);
}

void NSObject::setValueForKey(const Value& value, const Ref<NSString>& key) {
  const Method* setter = key ? class_().setterForKey(key->utf8()) : nullptr;
  if (!setter) return setValueForUndefinedKey(value, key);
  const char type = setter->argumentType(2);
  if (value.isNull() && type != '@' && type != '#' && type != '*') return setNilValueForKey(key);
  setter->invoke(Value(this), {&value, 1});
}

Value NSObject::valueForUndefinedKey(const Ref<NSString>& key) const {
  raiseNotCompliant(*this, "valueForUndefinedKey:", key);
}

void NSObject::setValueForUndefinedKey(const Value&, const Ref<NSString>& key) {
  raiseNotCompliant(*this, "setValue:forUndefinedKey:", key);
}

void NSObject::setNilValueForKey(const Ref<NSString>& key) {
  raise(NSInvalidArgumentException,
        "[<%s %p> setNilValueForKey]: could not set nil as the value for the key %@.",
        class_().name(), static_cast<const void*>(this), key);
}

}  // namespace JNFoundation
