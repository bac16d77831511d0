#include <string>

#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSObject.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation {
namespace {

std::string capitalized(std::string_view key) {
  std::string text(key);
  if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') text[0] = static_cast<char>(text[0] - 32);
  return text;
}

const Method* getterForKey(const Class& cls, std::string_view key) {
  const std::string name = capitalized(key);
  for (const std::string& candidate :
       {"get" + name, std::string(key), "is" + name, "_" + std::string(key)}) {
    const Method* method = cls.instanceMethodForSelector(candidate.c_str());
    if (method && method->numberOfArguments() == 2 && method->returnType() != 'v') return method;
  }
  return nullptr;
}

const Method* setterForKey(const Class& cls, std::string_view key) {
  const std::string name = capitalized(key);
  for (const std::string& candidate : {"set" + name + ":", "_set" + name + ":"}) {
    const Method* method = cls.instanceMethodForSelector(candidate.c_str());
    if (method && method->numberOfArguments() == 3) return method;
  }
  return nullptr;
}

[[noreturn]] void raiseNotCompliant(const NSObject& object, const char* operation,
                                    const Ref<NSString>& key) {
  raise(NSUndefinedKeyException,
        "[<%s %p> %s]: this class is not key value coding-compliant for the key %@.",
        object.class_().name(), static_cast<const void*>(&object), operation, key);
}

}  // namespace

Value NSObject::valueForKey(const Ref<NSString>& key) const {
  const Method* getter = key ? getterForKey(class_(), key->utf8()) : nullptr;
  if (!getter) return valueForUndefinedKey(key);
  return getter->invoke(Value(const_cast<NSObject*>(this)), {});
}

void NSObject::setValueForKey(const Value& value, const Ref<NSString>& key) {
  const Method* setter = key ? setterForKey(class_(), key->utf8()) : nullptr;
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
