#include <algorithm>

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSIndexSet.h>
#include <JNFoundation/platform/value/impl/CollectionSupport.h>
#include <JNFoundation/platform/value/impl/ConcreteCollections.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSMutableArray::classObject = Class::of<NSMutableArray>("NSMutableArray");
constinit const Class ConcreteMutableArray::classObject =
    Class::of<ConcreteMutableArray>("__NSArrayM");

namespace {

const ClassDeclaration<NSMutableArray> declarationOfNSMutableArray =
    ClassDeclaration<NSMutableArray>()
        .factory()
        .operation("addObject:", &NSMutableArray::addObject)
        .operation("addObjectsFromArray:", &NSMutableArray::addObjectsFromArray)
        .operation("insertObject:atIndex:", &NSMutableArray::insertObjectAtIndex)
        .operation("replaceObjectAtIndex:withObject:",
                   &NSMutableArray::replaceObjectAtIndexWithObject)
        .operation("removeObject:", &NSMutableArray::removeObject)
        .operation("removeObjectAtIndex:", &NSMutableArray::removeObjectAtIndex)
        .operation("removeLastObject", &NSMutableArray::removeLastObject)
        .operation("removeAllObjects", &NSMutableArray::removeAllObjects)
        .operation("setArray:", &NSMutableArray::setArray)
        .classOperation("array", &NSMutableArray::array);

/// A wish for room beyond this is cut: what comes then still fits.
constexpr NSUInteger largestReservation = NSUInteger{1} << 20;

}  // namespace

const Class& NSMutableArray::class_() const noexcept { return ConcreteMutableArray::classObject; }

Ref<NSMutableArray> NSMutableArray::array() { return makeObject<NSMutableArray>(); }

Ref<NSMutableArray> NSMutableArray::arrayWithCapacity(NSUInteger capacity) {
  Ref<NSMutableArray> made = array();
  made->_elements.reserve(std::min(capacity, largestReservation));
  return made;
}

Ref<NSMutableArray> NSMutableArray::arrayWithArray(const Ref<NSArray>& array) {
  return makeObject<NSMutableArray>(impl::elementsOf(array));
}

Ref<NSMutableArray> NSMutableArray::arrayWithValues(std::vector<Value> values) {
  impl::requireValues(values, "__NSPlaceholderArray");
  return makeObject<NSMutableArray>(std::move(values));
}

void NSMutableArray::addObject(const Value& object) {
  if (object.isNull()) impl::raiseNullObject(*this, "insertObject:atIndex:");
  _elements.push_back(object);
  ++_mutations;
}

void NSMutableArray::addObjectsFromArray(const Ref<NSArray>& other) {
  std::vector<Value> added = impl::elementsOf(other);
  _elements.insert(_elements.end(), std::make_move_iterator(added.begin()),
                   std::make_move_iterator(added.end()));
  ++_mutations;
}

void NSMutableArray::insertObjectAtIndex(const Value& object, NSUInteger index) {
  if (object.isNull()) impl::raiseNullObject(*this, "insertObject:atIndex:");
  if (index > _elements.size()) raiseBeyondBounds("insertObject:atIndex:", index);
  _elements.insert(_elements.begin() + static_cast<std::ptrdiff_t>(index), Value(object));
  ++_mutations;
}

// What goes is released last, in every operation: its end may reach this array again.

void NSMutableArray::replaceObjectAtIndexWithObject(NSUInteger index, const Value& object) {
  if (object.isNull()) impl::raiseNullObject(*this, "replaceObjectAtIndex:withObject:");
  if (index >= _elements.size()) raiseBeyondBounds("replaceObjectAtIndex:withObject:", index);
  Value replaced = object;
  _elements[index].swap(replaced);
  ++_mutations;
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
  if (impl::isBeyond(range, _elements.size())) {
    impl::raiseRangeBeyondBounds(*this, "removeObjectsInRange:", range, _elements.size());
  }
  const auto start = _elements.begin() + static_cast<std::ptrdiff_t>(range.location);
  const auto end = start + static_cast<std::ptrdiff_t>(range.length);
  const std::vector<Value> removed(std::make_move_iterator(start), std::make_move_iterator(end));
  _elements.erase(start, end);
  ++_mutations;
}

void NSMutableArray::removeObjectsAtIndexes(const Ref<NSIndexSet>& indexes) {
  if (!indexes || indexes->count() == 0) return;
  if (indexes->lastIndex() >= _elements.size()) {
    raiseBeyondBounds("removeObjectsAtIndexes:", indexes->lastIndex());
  }
  std::vector<Value> removed;
  removed.reserve(indexes->count());
  for (const NSUInteger index : *indexes) removed.push_back(std::move(_elements[index]));
  std::erase_if(_elements, [](const Value& element) { return element.isNull(); });
  ++_mutations;
}

void NSMutableArray::insertObjectsAtIndexes(const Ref<NSArray>& objects,
                                            const Ref<NSIndexSet>& indexes) {
  std::vector<Value> added = impl::elementsOf(objects);
  const NSUInteger places = indexes ? indexes->count() : 0;
  if (added.size() != places) {
    raise(
        NSInvalidArgumentException,
        "*** -[%s insertObjects:atIndexes:]: count of array (%zu) differs from count of index set "
        "(%llu)",
        class_().name(), added.size(), places);
  }
  if (added.empty()) return;
  const std::size_t size = _elements.size() + added.size();
  if (indexes->lastIndex() >= size) {
    raiseBeyondBounds("insertObjects:atIndexes:", indexes->lastIndex());
  }
  std::vector<Value> merged(size);
  auto next = added.begin();
  for (const NSUInteger index : *indexes) merged[index] = std::move(*next++);
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
  if (object.isNull()) return;
  // Compared first, then removed: equality may be an application's, and a refused change changes
  // nothing.
  const Value wanted = impl::held(object);
  std::vector<std::size_t> doomed;
  for (std::size_t i = 0; i < _elements.size(); ++i) {
    const Value& element = _elements[i];
    if (element.isIdentical(wanted) || impl::memberEquals(element, wanted, _mutations)) {
      doomed.push_back(i);
    }
  }
  if (doomed.empty()) return;
  std::vector<Value> removed;
  removed.reserve(doomed.size());
  for (const std::size_t index : doomed) removed.push_back(std::move(_elements[index]));
  std::erase_if(_elements, [](const Value& element) { return element.isNull(); });
  ++_mutations;
}

void NSMutableArray::removeAllObjects() {
  const std::vector<Value> removed = std::exchange(_elements, {});
  ++_mutations;
}

void NSMutableArray::setArray(const Ref<NSArray>& other) {
  std::vector<Value> elements = impl::elementsOf(other);
  _elements.swap(elements);
  ++_mutations;
}

void NSMutableArray::sortUsingComparator(
    const Block<NSComparisonResult(const Value&, const Value&)>& comparator) {
  const Ref<NSMutableArray> held(this);
  const std::uint64_t before = _mutations;
  std::vector<Value> sorted = impl::stablySorted(_elements, comparator);
  if (_mutations != before) raiseMutatedDuringWalk();
  _elements.swap(sorted);
  ++_mutations;
}

Value NSMutableArray::copy() const { return makeObject<NSArray>(_elements); }

}  // namespace JNFoundation
