#include "JNFoundation/platform/value/impl/IndexedAccessors.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <JNFoundation/platform/value/Class.h>
#include <JNFoundation/platform/value/Method.h>
#include <JNFoundation/platform/value/NSIndexSet.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation::impl {
namespace {

class AccessorArray final : public NSArray {
 public:
  using Superclass = NSArray;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// One of the two readers may be null.
  AccessorArray(const NSObject& owner, const Method& count, const Method* object,
                const Method* objects)
      : NSArray(Representation::Foreign),
        _owner(const_cast<NSObject*>(&owner)),
        _count(count),
        _object(object),
        _objects(objects) {}

  /// What stands behind it now.
  Value copy() const override {
    std::vector<Value> objects;
    for (const Value& object : *this) objects.push_back(object);
    return arrayWithValues(std::move(objects));
  }

 private:
  NSUInteger foreignCount() const override {
    return static_cast<NSUInteger>(
        std::max<NSInteger>(_count.invoke(Value(_owner), {}).integerValue(), 0));
  }
  /// An array holds no null.
  Value foreignObjectAtIndex(NSUInteger index) const override {
    if (_object) {
      const Value argument(index);
      return orNSNull(_object->invoke(Value(_owner), {&argument, 1}));
    }
    const Value argument(NSIndexSet::indexSetWithIndex(index));
    const Value found = _objects->invoke(Value(_owner), {&argument, 1});
    const NSArray* objects = as<NSArray>(found);
    return orNSNull(objects ? objects->firstObject() : Value());
  }

  Ref<NSObject> _owner;
  // Methods are never freed.
  const Method& _count;
  const Method* _object;
  const Method* _objects;
};

constinit const Class AccessorArray::classObject = Class::of<AccessorArray>("NSKeyValueArray");

/// Keys may come from data, so that none of the names becomes a selector here.
const Method* methodNamed(const Class& cls, const std::string& name, std::size_t arguments) {
  const SEL selector = SEL::ifKnown(name);
  const Method* method = selector ? cls.instanceMethodForSelector(selector) : nullptr;
  const bool fits =
      method && method->numberOfArguments() == arguments + 2 && method->returnType() != 'v';
  return fits ? method : nullptr;
}

}  // namespace

Ref<NSArray> arrayOfIndexedAccessors(const NSObject& object, std::string_view key) {
  if (key.empty()) return nullptr;
  std::string capitalized(key);
  if (key[0] >= 'a' && key[0] <= 'z') capitalized[0] = static_cast<char>(key[0] - 'a' + 'A');
  const Class& cls = object.class_();
  const Method* count = methodNamed(cls, "countOf" + capitalized, 0);
  if (!count) return nullptr;
  const Method* one = methodNamed(cls, "objectIn" + capitalized + "AtIndex:", 1);
  const Method* several = methodNamed(cls, std::string(key) + "AtIndexes:", 1);
  if (!one && !several) return nullptr;
  return makeObject<AccessorArray>(object, *count, one, several);
}

}  // namespace JNFoundation::impl
