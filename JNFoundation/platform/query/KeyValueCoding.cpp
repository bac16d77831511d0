#include "JNFoundation/platform/query/KeyValueCoding.h"

#include <algorithm>
#include <array>
#include <string>

#include <JNFoundation/platform/query/impl/KeyReading.h>
#include <JNFoundation/platform/query/impl/Members.h>
#include <JNFoundation/platform/value/Method.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation::inline v0_1 {
namespace {

void requireKey(const Ref<NSString>& key) {
  if (!key) raise(NSInvalidArgumentException, "a key must not be nil");
}

/// Numbers and dates have no address; a class has its own.
[[noreturn]] void raiseNotCompliant(const Value& value, const char* operation,
                                    const Ref<NSString>& key) {
  const Class* cls = value.classValue();
  raise(NSUndefinedKeyException,
        "[<%s %p> %s]: this class is not key value coding-compliant for the key %@.",
        (cls ? cls : value.class_())->name(), static_cast<const void*>(cls), operation, key);
}

/// The operation that reads the key of a value without an object.
const Method* getterOf(const Value& value, std::string_view key) {
  const Class* cls = value.classValue();
  if (!cls) return value.class_()->getterForKey(key);
  std::string capitalized(key);
  if (!key.empty() && key[0] >= 'a' && key[0] <= 'z') {
    capitalized[0] = static_cast<char>(key[0] - 'a' + 'A');
  }
  const std::array<std::string, 4> names{"get" + capitalized, std::string(key), "is" + capitalized,
                                         "_" + std::string(key)};
  for (const std::string& name : names) {
    const SEL selector = SEL::ifKnown(name);
    const Method* method = selector ? cls->classMethodForSelector(selector) : nullptr;
    if (method && method->numberOfArguments() == 2 && method->returnType() != 'v') return method;
  }
  return nullptr;
}

/// The paths that a thread read last.
struct RememberedPath {
  Ref<NSString> text;
  KeyPath path;
};
constexpr std::size_t rememberedPathCount = 32;

/// A copy, because reading the path may read others, which take the place of this one.
KeyPath parsedPath(const Ref<NSString>& text) {
  thread_local std::array<RememberedPath, rememberedPathCount> remembered;
  RememberedPath& place = remembered[text->contentHash() % rememberedPathCount];
  if (!place.text || !place.text->hasContentOf(*text)) place = {text, KeyPath(text)};
  return place.path;
}

bool isSingleKey(const NSString& path) {
  return path.utf8().find_first_of(".@") == std::string_view::npos;
}

}  // namespace

Value impl::valueForKeyOfOne(const Value& object, const Ref<NSString>& key) {
  if (const NSObject* receiver = object.object()) return receiver->valueForKey(key);
  if (object.isNull()) return nullptr;
  const Method* getter = getterOf(object, key->utf8());
  if (!getter) raiseNotCompliant(object, "valueForUndefinedKey:", key);
  return getter->invoke(object, {});
}

Value valueForKey(const Value& object, const Ref<NSString>& key) {
  requireKey(key);
  if (!impl::isCollection(object) || key->hasPrefix("@")) {
    return impl::valueForKeyOfOne(object, key);
  }
  return impl::mapMembers(object, impl::Nested::Kept,
                          [&](const Value& member) { return impl::valueForKeyOfOne(member, key); });
}

Value valueForKeyPath(const Value& object, const Ref<NSString>& path) {
  requireKey(path);
  if (isSingleKey(*path)) return valueForKey(object, path);
  return parsedPath(path).valueInObject(object);
}

void setValueForKey(const Value& object, const Value& value, const Ref<NSString>& key) {
  requireKey(key);
  if (object.isNull()) return;
  std::vector<Value> waiting{object};
  while (!waiting.empty()) {
    const Value receiver = std::move(waiting.back());
    waiting.pop_back();
    const std::size_t before = waiting.size();
    if (impl::appendMembers(receiver, waiting)) {
      std::reverse(waiting.begin() + static_cast<std::ptrdiff_t>(before), waiting.end());
    } else if (NSObject* one = receiver.object()) {
      one->setValueForKey(value, key);
    } else {
      raiseNotCompliant(receiver, "setValue:forUndefinedKey:", key);
    }
  }
}

void setValueForKeyPath(const Value& object, const Value& value, const Ref<NSString>& path) {
  requireKey(path);
  if (isSingleKey(*path)) return setValueForKey(object, value, path);
  parsedPath(path).setValueInObject(value, object);
}

Ref<NSDictionary> dictionaryWithValuesForKeys(const Value& object, const Ref<NSArray>& keys) {
  NSDictionary::Builder builder;
  if (keys) {
    for (const Value& key : *keys) {
      if (!key.isString()) raise(NSInvalidArgumentException, "a key must be text, not %@", key);
      builder.set(key, orNSNull(valueForKey(object, as<NSString>(key))));
    }
  }
  return builder.finish();
}

void setValuesForKeysWithDictionary(const Value& object, const Ref<NSDictionary>& values) {
  if (!values) return;
  for (const auto& [key, value] : *values) {
    if (!key.isString()) raise(NSInvalidArgumentException, "a key must be text, not %@", key);
    setValueForKey(object, value.isNSNull() ? Value() : value, as<NSString>(key));
  }
}

}  // namespace JNFoundation
