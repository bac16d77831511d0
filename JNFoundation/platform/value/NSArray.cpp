#include "JNFoundation/platform/value/NSArray.h"

#include <algorithm>
#include <string>

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSIndexSet.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/platform/value/impl/ContainerEquality.h>
#include <JNFoundation/platform/value/impl/DescriptionWriter.h>

namespace JNFoundation {

constinit const Class NSArray::classObject = Class::of<NSArray>("NSArray");

namespace {

/// The concrete class, as log texts name it.
struct PlainArray {
  using Superclass = NSArray;
  static const Class classObject;
};
constinit const Class PlainArray::classObject = Class::of<PlainArray>("__NSArrayI");

const ClassDeclaration<NSArray> declaration =
    ClassDeclaration<NSArray>()
        .operation("count", &NSArray::count)
        .operation("firstObject", &NSArray::firstObject)
        .operation("lastObject", &NSArray::lastObject)
        .operation("objectAtIndex:", &NSArray::objectAtIndex)
        .operation("containsObject:", &NSArray::containsObject)
        .operation("indexOfObject:", &NSArray::indexOfObject)
        .classOperation("array", &NSArray::array);

}  // namespace

NSArray::~NSArray() = default;

const Class& NSArray::class_() const noexcept {
  return _foreign ? classObject : PlainArray::classObject;
}

Ref<NSArray> NSArray::array() {
  static const auto* empty = new Ref<NSArray>(makeObject<NSArray>());
  return *empty;
}

Ref<NSArray> NSArray::arrayWithObject(const Value& object) { return arrayWithValues({object}); }

Ref<NSArray> NSArray::arrayWithArray(const Ref<NSArray>& array) {
  return array ? as<NSArray>(array->copy()) : NSArray::array();
}

Ref<NSArray> NSArray::arrayWithValues(std::vector<Value> values) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (values[i].isNull()) {
      raise(NSInvalidArgumentException,
            "*** -[NSArray initWithObjects:count:]: attempt to insert nil object from objects[%zu]",
            i);
    }
  }
  return makeObject<NSArray>(std::move(values));
}

NSUInteger NSArray::foreignCount() const { return 0; }

Value NSArray::foreignObjectAtIndex(NSUInteger) const { return nullptr; }

Value NSArray::checkedObjectAtIndex(NSUInteger index) const {
  if (index >= count()) raiseBeyondBounds("objectAtIndex:", index);
  return _foreign ? foreignObjectAtIndex(index) : _elements[index];
}

void NSArray::raiseBeyondBounds(const char* operation, NSUInteger index) const {
  if (count() == 0) {
    raise(NSRangeException, "*** -[%s %s]: index %llu beyond bounds for empty array",
          class_().name(), operation, index);
  }
  raise(NSRangeException, "*** -[%s %s]: index %llu beyond bounds [0 .. %llu]", class_().name(),
        operation, index, count() - 1);
}

void NSArray::raiseMutatedDuringWalk() const {
  raise(NSGenericException, "*** Collection <%s: %p> was mutated while being enumerated.",
        class_().name(), static_cast<const void*>(this));
}

bool NSArray::containsObject(const Value& object) const {
  return indexOfObject(object) != static_cast<NSUInteger>(NSNotFound);
}

NSUInteger NSArray::indexOfObject(const Value& object) const {
  NSUInteger index = 0;
  for (const Value& element : *this) {
    if (element.isEqual(object)) return index;
    ++index;
  }
  return NSNotFound;
}

NSUInteger NSArray::indexOfObjectIdenticalTo(const Value& object) const {
  NSUInteger index = 0;
  for (const Value& element : *this) {
    if (element.isIdentical(object)) return index;
    ++index;
  }
  return NSNotFound;
}

bool NSArray::isEqualToArray(const Ref<NSArray>& other) const { return isEqual(Value(other)); }

Ref<NSArray> NSArray::subarrayWithRange(NSRange range) const {
  const NSUInteger size = count();
  if (range.location > size || range.length > size - range.location) {
    raise(NSRangeException,
          "*** -[%s subarrayWithRange:]: range {%llu, %llu} extends beyond bounds", class_().name(),
          range.location, range.length);
  }
  std::vector<Value> values;
  values.reserve(range.length);
  for (NSUInteger i = 0; i < range.length; ++i) values.push_back(objectAtIndex(range.location + i));
  return makeObject<NSArray>(std::move(values));
}

Ref<NSArray> NSArray::arrayByAddingObject(const Value& object) const {
  return arrayByAddingObjectsFromArray(arrayWithObject(object));
}

Ref<NSArray> NSArray::arrayByAddingObjectsFromArray(const Ref<NSArray>& other) const {
  std::vector<Value> values;
  values.reserve(count() + (other ? other->count() : 0));
  for (const Value& element : *this) values.push_back(element);
  if (other) {
    for (const Value& element : *other) values.push_back(element);
  }
  return makeObject<NSArray>(std::move(values));
}

Ref<NSArray> NSArray::objectsAtIndexes(const Ref<NSIndexSet>& indexes) const {
  std::vector<Value> values;
  if (indexes) {
    indexes->enumerateIndexesUsingBlock(
        [&](NSUInteger index, bool&) { values.push_back(objectAtIndex(index)); });
  }
  return makeObject<NSArray>(std::move(values));
}

Ref<NSArray> NSArray::reversedArray() const {
  std::vector<Value> values;
  values.reserve(count());
  for (NSUInteger i = count(); i-- > 0;) values.push_back(objectAtIndex(i));
  return makeObject<NSArray>(std::move(values));
}

Ref<NSArray> NSArray::sortedArrayUsingComparator(
    const Block<NSComparisonResult(const Value&, const Value&)>& comparator) const {
  Ref<NSMutableArray> sorted =
      NSMutableArray::arrayWithArray(Ref<NSArray>(const_cast<NSArray*>(this)));
  sorted->sortUsingComparator(comparator);
  return as<NSArray>(sorted->copy());
}

void NSArray::enumerateObjectsUsingBlock(
    const Block<void(const Value& object, NSUInteger index, bool& stop)>& block) const {
  const Ref<const NSArray> held(this);
  bool stop = false;
  NSUInteger index = 0;
  for (const Value& element : *this) {
    block(element, index++, stop);
    if (stop) break;
  }
}

Ref<NSString> NSArray::componentsJoinedByString(std::string_view separator) const {
  std::string text;
  bool isFirst = true;
  for (const Value& element : *this) {
    if (!isFirst) text += separator;
    isFirst = false;
    text += element.description()->utf8();
  }
  return NSString::fromText(text);
}

bool NSArray::isEqual(const Value& other) const { return ContainerEquality::equal(*this, other); }

std::size_t NSArray::hash() const { return static_cast<std::size_t>(count()); }

Ref<NSString> NSArray::description() const { return DescriptionWriter::describe(*this); }

Value NSArray::copy() const { return Value(const_cast<NSArray*>(this)); }

Value NSArray::mutableCopy() const {
  return NSMutableArray::arrayWithArray(Ref<NSArray>(const_cast<NSArray*>(this)));
}

Value NSArray::valueForKey(const Ref<NSString>& key) const {
  if (key && key->hasPrefix("@")) return NSObject::valueForKey(key->substringFromIndex(1));
  std::vector<Value> values;
  values.reserve(count());
  for (const Value& element : *this) {
    values.push_back(orNSNull(element.isObject()
                                  ? element.object()->valueForKey(key)
                                  : performSelector(element, NSSelectorFromString(key->utf8()))));
  }
  return makeObject<NSArray>(std::move(values));
}

void NSArray::setValueForKey(const Value& value, const Ref<NSString>& key) {
  for (const Value& element : *this) {
    if (element.isObject()) element.object()->setValueForKey(value, key);
  }
}

}  // namespace JNFoundation
