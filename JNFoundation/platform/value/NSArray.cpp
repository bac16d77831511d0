#include "JNFoundation/platform/value/NSArray.h"

#include <string>

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSIndexSet.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/impl/CollectionSupport.h>
#include <JNFoundation/platform/value/impl/ConcreteCollections.h>
#include <JNFoundation/platform/value/impl/ContainerEquality.h>
#include <JNFoundation/platform/value/impl/DescriptionWriter.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSArray::classObject = Class::of<NSArray>("NSArray");
constinit const Class ConcreteArray::classObject = Class::of<ConcreteArray>("__NSArrayI");

namespace {

const ClassDeclaration<NSArray> declarationOfNSArray =
    ClassDeclaration<NSArray>()
        .factory()
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
  return _foreign ? classObject : ConcreteArray::classObject;
}

Ref<NSArray> NSArray::array() {
  static const auto* empty = [] {
    impl::excludeFromLiveObjects();
    return new Ref<NSArray>(makeObject<NSArray>());
  }();
  return *empty;
}

Ref<NSArray> NSArray::arrayWithObject(const Value& object) { return arrayWithValues({object}); }

Ref<NSArray> NSArray::arrayWithArray(const Ref<NSArray>& array) {
  return array ? as<NSArray>(array->copy()) : NSArray::array();
}

Ref<NSArray> NSArray::arrayWithValues(std::vector<Value> values) {
  impl::requireValues(values, "__NSPlaceholderArray");
  return makeObject<NSArray>(std::move(values));
}

NSUInteger NSArray::foreignCount() const { return 0; }

Value NSArray::foreignObjectAtIndex(NSUInteger) const { return nullptr; }

Value NSArray::checkedObjectAtIndex(NSUInteger index) const {
  if (index >= count()) raiseBeyondBounds("objectAtIndex:", index);
  return _foreign ? foreignObjectAtIndex(index) : _elements[index];
}

void NSArray::raiseBeyondBounds(const char* operation, NSUInteger index) const {
  impl::raiseIndexBeyondBounds(*this, operation, index, count(), "array");
}

void NSArray::raiseMutatedDuringWalk() const { impl::raiseMutated(*this); }

bool NSArray::containsObject(const Value& object) const {
  return indexOfObject(object) != static_cast<NSUInteger>(NSNotFound);
}

NSUInteger NSArray::indexOfObject(const Value& object) const {
  if (object.isNull()) return NSNotFound;
  // A copy: the object may be an element that goes when its equality changes the array.
  const Value wanted = impl::held(object);
  for (NSUInteger i = 0; i < count(); ++i) {
    if (_foreign) {
      if (objectAtIndex(i).isEqual(wanted)) return i;
      continue;
    }
    const Value& element = _elements[i];
    if (element.isIdentical(wanted) || impl::memberEquals(element, wanted, _mutations)) return i;
  }
  return NSNotFound;
}

NSUInteger NSArray::indexOfObjectIdenticalTo(const Value& object) const {
  if (object.isNull()) return NSNotFound;
  for (NSUInteger i = 0; i < count(); ++i) {
    if (_foreign ? objectAtIndex(i).isIdentical(object) : _elements[i].isIdentical(object))
      return i;
  }
  return NSNotFound;
}

bool NSArray::isEqualToArray(const Ref<NSArray>& other) const { return isEqual(Value(other)); }

Ref<NSArray> NSArray::subarrayWithRange(NSRange range) const {
  if (impl::isBeyond(range, count())) {
    impl::raiseRangeBeyondBounds(*this, "subarrayWithRange:", range, count());
  }
  std::vector<Value> values;
  values.reserve(range.length);
  for (NSUInteger i = 0; i < range.length; ++i) values.push_back(objectAtIndex(range.location + i));
  return makeObject<NSArray>(std::move(values));
}

Ref<NSArray> NSArray::arrayByAddingObject(const Value& object) const {
  if (object.isNull()) impl::raiseNullObject(*this, "arrayByAddingObject:");
  std::vector<Value> values = impl::elementsOf(impl::held(this));
  values.push_back(object);
  return makeObject<NSArray>(std::move(values));
}

Ref<NSArray> NSArray::arrayByAddingObjectsFromArray(const Ref<NSArray>& other) const {
  std::vector<Value> values = impl::elementsOf(impl::held(this));
  std::vector<Value> added = impl::elementsOf(other);
  values.insert(values.end(), std::make_move_iterator(added.begin()),
                std::make_move_iterator(added.end()));
  return makeObject<NSArray>(std::move(values));
}

Ref<NSArray> NSArray::objectsAtIndexes(const Ref<NSIndexSet>& indexes) const {
  std::vector<Value> values;
  if (indexes && indexes->count() > 0) {
    if (indexes->lastIndex() >= count()) {
      raiseBeyondBounds("objectsAtIndexes:", indexes->lastIndex());
    }
    values.reserve(indexes->count());
    for (const NSUInteger index : *indexes) values.push_back(objectAtIndex(index));
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
  return makeObject<NSArray>(impl::stablySorted(impl::elementsOf(impl::held(this)), comparator));
}

void NSArray::enumerateObjectsUsingBlock(
    const Block<void(const Value& object, NSUInteger index, bool& stop)>& block) const {
  impl::requireBlock(block != nullptr, "NSArray enumerateObjectsUsingBlock:");
  const Ref<NSArray> held = impl::held(this);
  bool stop = false;
  NSUInteger index = 0;
  for (const Value& element : *this) {
    block(element, index++, stop);
    if (stop) break;
  }
}

Ref<NSString> NSArray::componentsJoinedByString(std::string_view separator) const {
  const Ref<NSArray> held = impl::held(this);
  std::string text;
  bool isFirst = true;
  for (const Value& element : *this) {
    if (!isFirst) text += separator;
    isFirst = false;
    if (const NSString* string = as<NSString>(element)) {
      text += string->utf8();
    } else {
      text += element.description()->utf8();
    }
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
  if (impl::namesOwnProperty(key)) return NSObject::valueForKey(impl::ownPropertyName(key));
  const impl::KeyNesting nesting;
  const Ref<NSArray> held = impl::held(this);
  std::vector<Value> values;
  values.reserve(count());
  for (const Value& element : *this) {
    values.push_back(orNSNull(impl::memberValueForKey(element, key)));
  }
  return makeObject<NSArray>(std::move(values));
}

void NSArray::setValueForKey(const Value& value, const Ref<NSString>& key) {
  const impl::KeyNesting nesting;
  const Ref<NSArray> held(this);
  for (const Value& element : *this) impl::setMemberValueForKey(element, value, key);
}

}  // namespace JNFoundation
