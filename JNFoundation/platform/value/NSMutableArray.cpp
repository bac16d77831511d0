#include <algorithm>

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSIndexSet.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation {

constinit const Class NSMutableArray::classObject = Class::of<NSMutableArray>("NSMutableArray");

namespace {

/// The concrete class, as log texts name it.
struct PlainMutableArray {
  using Superclass = NSMutableArray;
  static const Class classObject;
};
constinit const Class PlainMutableArray::classObject = Class::of<PlainMutableArray>("__NSArrayM");

const ClassDeclaration<NSMutableArray> declaration =
    ClassDeclaration<NSMutableArray>()
        .factory([]() -> Ref<NSObject> { return NSMutableArray::array(); })
        .operation("addObject:", &NSMutableArray::addObject)
        .operation("removeObject:", &NSMutableArray::removeObject)
        .operation("removeAllObjects", &NSMutableArray::removeAllObjects)
        .classOperation("array", &NSMutableArray::array);

[[noreturn]] void raiseNull(const char* operation) {
  raise(NSInvalidArgumentException, "*** -[__NSArrayM %s]: object cannot be nil", operation);
}

std::vector<Value> elementsOf(const Ref<NSArray>& array) {
  std::vector<Value> values;
  if (!array) return values;
  values.reserve(array->count());
  for (const Value& element : *array) values.push_back(element);
  return values;
}

}  // namespace

const Class& NSMutableArray::class_() const noexcept {
  return _foreign ? classObject : PlainMutableArray::classObject;
}

Ref<NSMutableArray> NSMutableArray::array() { return makeObject<NSMutableArray>(); }

Ref<NSMutableArray> NSMutableArray::arrayWithCapacity(NSUInteger capacity) {
  Ref<NSMutableArray> made = array();
  made->_elements.reserve(std::min<NSUInteger>(capacity, 1 << 20));
  return made;
}

Ref<NSMutableArray> NSMutableArray::arrayWithArray(const Ref<NSArray>& array) {
  return makeObject<NSMutableArray>(elementsOf(array));
}

Ref<NSMutableArray> NSMutableArray::arrayWithValues(std::vector<Value> values) {
  if (std::any_of(values.begin(), values.end(), [](const Value& v) { return v.isNull(); })) {
    raiseNull("initWithObjects:count:");
  }
  return makeObject<NSMutableArray>(std::move(values));
}

void NSMutableArray::addObject(const Value& object) {
  if (object.isNull()) raiseNull("insertObject:atIndex:");
  _elements.push_back(object);
  ++_mutations;
}

void NSMutableArray::addObjectsFromArray(const Ref<NSArray>& other) {
  std::vector<Value> values = elementsOf(other);
  _elements.insert(_elements.end(), std::make_move_iterator(values.begin()),
                   std::make_move_iterator(values.end()));
  ++_mutations;
}

void NSMutableArray::insertObjectAtIndex(const Value& object, NSUInteger index) {
  if (object.isNull()) raiseNull("insertObject:atIndex:");
  if (index > _elements.size()) raiseBeyondBounds("insertObject:atIndex:", index);
  _elements.insert(_elements.begin() + static_cast<std::ptrdiff_t>(index), Value(object));
  ++_mutations;
}

void NSMutableArray::replaceObjectAtIndexWithObject(NSUInteger index, const Value& object) {
  if (object.isNull()) raiseNull("replaceObjectAtIndex:withObject:");
  if (index >= _elements.size()) raiseBeyondBounds("replaceObjectAtIndex:withObject:", index);
  ++_mutations;
  // What was there is released last: its end may reach this array.
  const Value before = std::exchange(_elements[index], object);
}

void NSMutableArray::exchangeObjectAtIndexWithObjectAtIndex(NSUInteger first, NSUInteger second) {
  for (NSUInteger index : {first, second}) {
    if (index >= _elements.size()) {
      raiseBeyondBounds("exchangeObjectAtIndex:withObjectAtIndex:", index);
    }
  }
  _elements[first].swap(_elements[second]);
  ++_mutations;
}

void NSMutableArray::removeObjectAtIndex(NSUInteger index) {
  if (index >= _elements.size()) raiseBeyondBounds("removeObjectAtIndex:", index);
  ++_mutations;
  const Value removed = std::move(_elements[index]);
  _elements.erase(_elements.begin() + static_cast<std::ptrdiff_t>(index));
}

void NSMutableArray::removeObjectsInRange(NSRange range) {
  const NSUInteger size = _elements.size();
  if (range.location > size || range.length > size - range.location) {
    raise(NSRangeException,
          "*** -[%s removeObjectsInRange:]: range {%llu, %llu} extends beyond bounds",
          class_().name(), range.location, range.length);
  }
  ++_mutations;
  const auto begin = _elements.begin() + static_cast<std::ptrdiff_t>(range.location);
  const auto end = begin + static_cast<std::ptrdiff_t>(range.length);
  const std::vector<Value> removed(std::make_move_iterator(begin), std::make_move_iterator(end));
  _elements.erase(begin, end);
}

void NSMutableArray::removeObjectsAtIndexes(const Ref<NSIndexSet>& indexes) {
  if (!indexes || indexes->count() == 0) return;
  if (indexes->lastIndex() >= _elements.size()) {
    raiseBeyondBounds("removeObjectsAtIndexes:", indexes->lastIndex());
  }
  ++_mutations;
  std::vector<Value> removed;
  indexes->enumerateIndexesUsingBlock(
      [&](NSUInteger index, bool&) { removed.push_back(std::move(_elements[index])); });
  std::erase_if(_elements, [](const Value& element) { return element.isNull(); });
}

void NSMutableArray::insertObjectsAtIndexes(const Ref<NSArray>& objects,
                                            const Ref<NSIndexSet>& indexes) {
  const NSUInteger added = objects ? objects->count() : 0;
  if (added != (indexes ? indexes->count() : 0)) {
    raise(
        NSInvalidArgumentException,
        "*** -[%s insertObjects:atIndexes:]: count of array (%llu) differs from count of index set",
        class_().name(), added);
  }
  if (added == 0) return;
  const NSUInteger size = _elements.size() + added;
  if (indexes->lastIndex() >= size) {
    raiseBeyondBounds("insertObjects:atIndexes:", indexes->lastIndex());
  }
  std::vector<Value> merged(size);
  NSUInteger next = 0;
  indexes->enumerateIndexesUsingBlock(
      [&](NSUInteger index, bool&) { merged[index] = objects->objectAtIndex(next++); });
  auto old = _elements.begin();
  for (Value& place : merged) {
    if (place.isNull()) place = std::move(*old++);
  }
  _elements.swap(merged);
  ++_mutations;
}

void NSMutableArray::removeLastObject() {
  if (!_elements.empty()) removeObjectAtIndex(_elements.size() - 1);
}

void NSMutableArray::removeObject(const Value& object) {
  const Value wanted = object;
  // Compared first, on elements that are held, then removed: equality may be an application's.
  const std::vector<Value> before = _elements;
  std::vector<Value> kept;
  for (const Value& element : before) {
    if (!element.isEqual(wanted)) kept.push_back(element);
  }
  if (kept.size() == before.size()) return;
  _elements.swap(kept);
  ++_mutations;
}

void NSMutableArray::removeAllObjects() {
  ++_mutations;
  const std::vector<Value> removed = std::exchange(_elements, {});
}

void NSMutableArray::setArray(const Ref<NSArray>& other) {
  std::vector<Value> values = elementsOf(other);
  _elements.swap(values);
  ++_mutations;
}

void NSMutableArray::sortUsingComparator(
    const Block<NSComparisonResult(const Value&, const Value&)>& comparator) {
  std::vector<Value> sorted = _elements;
  std::stable_sort(sorted.begin(), sorted.end(), [&](const Value& left, const Value& right) {
    return comparator(left, right) == NSOrderedAscending;
  });
  _elements.swap(sorted);
  ++_mutations;
}

Value NSMutableArray::copy() const { return makeObject<NSArray>(_elements); }

}  // namespace JNFoundation
