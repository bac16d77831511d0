#include "JNFoundation/platform/value/impl/IndexedAccessors.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <JNFoundation/platform/value/Class.h>
#include <JNFoundation/platform/value/Method.h>
#include <JNFoundation/platform/value/NSIndexSet.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::inline v0_1::impl {
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

class AccessorSet final : public NSSet {
 public:
  using Superclass = NSSet;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  AccessorSet(const NSObject& owner, const Method& members)
      : NSSet(Representation::Foreign), _owner(const_cast<NSObject*>(&owner)), _members(members) {}

 private:
  /// A set holds no null, whatever it was given.
  Ref<NSSet> foreignContents() const override {
    const Value found = _members.invoke(Value(_owner), {});
    std::vector<Value> members;
    const auto add = [&](const auto& collection) {
      for (const Value& member : collection) members.push_back(orNSNull(member));
    };
    if (const auto* set = as<NSSet>(found)) {
      add(*set);
    } else if (const auto* array = as<NSArray>(found)) {
      add(*array);
    }
    return setWithValues(std::move(members));
  }

  Ref<NSObject> _owner;
  const Method& _members;
};

constinit const Class AccessorSet::classObject = Class::of<AccessorSet>("NSKeyValueSet");

/// Keys may come from data, so that none of the names becomes a selector here.
const Method* methodNamed(const Class& cls, const std::string& name, std::size_t arguments) {
  const SEL selector = SEL::ifKnown(name);
  const Method* method = selector ? cls.instanceMethodForSelector(selector) : nullptr;
  const bool fits =
      method && method->numberOfArguments() == arguments + 2 && method->returnType() != 'v';
  return fits ? method : nullptr;
}

}  // namespace

Value collectionOfAccessors(const NSObject& object, std::string_view key) {
  if (key.empty()) return nullptr;
  std::string capitalized(key);
  if (key[0] >= 'a' && key[0] <= 'z') capitalized[0] = static_cast<char>(key[0] - 'a' + 'A');
  const Class& cls = object.class_();
  const Method* count = methodNamed(cls, "countOf" + capitalized, 0);
  if (!count) return nullptr;
  const Method* one = methodNamed(cls, "objectIn" + capitalized + "AtIndex:", 1);
  const Method* several = methodNamed(cls, std::string(key) + "AtIndexes:", 1);
  if (one || several) return Value(makeObject<AccessorArray>(object, *count, one, several));
  const Method* members = methodNamed(cls, "enumeratorOf" + capitalized, 0);
  if (!members || !methodNamed(cls, "memberOf" + capitalized + ":", 1)) return nullptr;
  return Value(makeObject<AccessorSet>(object, *members));
}

}  // namespace JNFoundation::impl
