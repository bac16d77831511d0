#include <algorithm>

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSIndexSet.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation {

constinit const Class NSMutableOrderedSet::classObject =
    Class::of<NSMutableOrderedSet>("NSMutableOrderedSet");

namespace {

/// The concrete class, as log texts name it.
struct PlainMutableOrderedSet {
  using Superclass = NSMutableOrderedSet;
  static const Class classObject;
};
constinit const Class PlainMutableOrderedSet::classObject =
    Class::of<PlainMutableOrderedSet>("__NSOrderedSetM");

const ClassDeclaration<NSMutableOrderedSet> declaration =
    ClassDeclaration<NSMutableOrderedSet>()
        .factory([]() -> Ref<NSObject> { return NSMutableOrderedSet::orderedSet(); })
        .operation("addObject:", &NSMutableOrderedSet::addObject)
        .operation("removeObject:", &NSMutableOrderedSet::removeObject)
        .operation("removeAllObjects", &NSMutableOrderedSet::removeAllObjects)
        .classOperation("orderedSet", &NSMutableOrderedSet::orderedSet);

using Table = OrderedHashTable<NSOrderedSet::Entry>;

std::vector<Value> valuesOf(const Ref<NSArray>& array) {
  std::vector<Value> values;
  if (array) {
    for (const Value& value : *array) values.push_back(value);
  }
  return values;
}

}  // namespace

const Class& NSMutableOrderedSet::class_() const noexcept {
  return _foreign ? classObject : PlainMutableOrderedSet::classObject;
}

Ref<NSMutableOrderedSet> NSMutableOrderedSet::orderedSet() {
  return makeObject<NSMutableOrderedSet>();
}

Ref<NSMutableOrderedSet> NSMutableOrderedSet::orderedSetWithCapacity(NSUInteger capacity) {
  Ref<NSMutableOrderedSet> made = orderedSet();
  made->_table.reserve(capacity);
  return made;
}

Ref<NSMutableOrderedSet> NSMutableOrderedSet::orderedSetWithObject(const Value& object) {
  return orderedSetWithValues({object});
}

Ref<NSMutableOrderedSet> NSMutableOrderedSet::orderedSetWithArray(const Ref<NSArray>& array) {
  return orderedSetWithValues(valuesOf(array));
}

Ref<NSMutableOrderedSet> NSMutableOrderedSet::orderedSetWithSet(const Ref<NSSet>& set) {
  return orderedSetWithArray(set ? set->allObjects() : nullptr);
}

Ref<NSMutableOrderedSet> NSMutableOrderedSet::orderedSetWithOrderedSet(
    const Ref<NSOrderedSet>& other) {
  return other ? as<NSMutableOrderedSet>(other->mutableCopy()) : orderedSet();
}

Ref<NSMutableOrderedSet> NSMutableOrderedSet::orderedSetWithValues(std::vector<Value> values) {
  return makeObject<NSMutableOrderedSet>(tableOf(std::move(values)));
}

void NSMutableOrderedSet::addObject(const Value& object) {
  if (object.isNull()) raiseNull("addObject:");
  if (_foreign) return insertObjectAtIndex(object, count());
  const std::uint64_t hash = object.hash();
  if (_table.find(object, hash) != Table::npos) return;
  _table.append({object, hash});
  ++_mutations;
}

void NSMutableOrderedSet::addObjectsFromArray(const Ref<NSArray>& array) {
  for (const Value& object : valuesOf(array)) addObject(object);
}

void NSMutableOrderedSet::insertObjectAtIndex(const Value& object, NSUInteger index) {
  if (object.isNull()) raiseNull("insertObject:atIndex:");
  if (index > count()) raiseBeyondBounds("insertObject:atIndex:", index);
  if (containsObject(object)) return;
  if (_foreign) return foreignInsertObjectAtIndex(object, index);
  const std::uint64_t hash = object.hash();
  _table.closeHoles();
  _table.insert(_table.begin() + index, {object, hash});
  ++_mutations;
}

void NSMutableOrderedSet::insertObjectsAtIndexes(const Ref<NSArray>& objects,
                                                 const Ref<NSIndexSet>& indexes) {
  const NSUInteger added = objects ? objects->count() : 0;
  if (added != (indexes ? indexes->count() : 0)) {
    raise(
        NSInvalidArgumentException,
        "*** -[%s insertObjects:atIndexes:]: count of array (%llu) differs from count of index set",
        class_().name(), added);
  }
  if (added == 0) return;
  if (indexes->lastIndex() >= count() + added) {
    raiseBeyondBounds("insertObjects:atIndexes:", indexes->lastIndex());
  }
  NSUInteger next = 0;
  indexes->enumerateIndexesUsingBlock([&](NSUInteger index, bool&) {
    insertObjectAtIndex(objects->objectAtIndex(next++), std::min(index, count()));
  });
}

void NSMutableOrderedSet::replaceObjectAtIndexWithObject(NSUInteger index, const Value& object) {
  if (object.isNull()) raiseNull("replaceObjectAtIndex:withObject:");
  if (index >= count()) raiseBeyondBounds("replaceObjectAtIndex:withObject:", index);
  const Value added = object;
  const NSUInteger known = indexOfObject(added);
  if (known != static_cast<NSUInteger>(NSNotFound) && known != index) return;
  removeObjectAtIndex(index);
  insertObjectAtIndex(added, std::min(index, count()));
}

void NSMutableOrderedSet::exchangeObjectAtIndexWithObjectAtIndex(NSUInteger first,
                                                                 NSUInteger second) {
  for (NSUInteger index : {first, second}) {
    if (index >= count()) raiseBeyondBounds("exchangeObjectAtIndex:withObjectAtIndex:", index);
  }
  if (first == second) return;
  std::vector<Value> values = valuesOf(array());
  values[first].swap(values[second]);
  setContents(std::move(values));
}

void NSMutableOrderedSet::moveObjectsAtIndexesToIndex(const Ref<NSIndexSet>& indexes,
                                                      NSUInteger index) {
  if (!indexes || indexes->count() == 0) return;
  if (indexes->lastIndex() >= count()) {
    raiseBeyondBounds("moveObjectsAtIndexes:toIndex:", indexes->lastIndex());
  }
  std::vector<Value> values = valuesOf(array());
  std::vector<Value> moved;
  indexes->enumerateIndexesUsingBlock(
      [&](NSUInteger from, bool&) { moved.push_back(std::move(values[from])); });
  std::erase_if(values, [](const Value& value) { return value.isNull(); });
  if (index > values.size()) raiseBeyondBounds("moveObjectsAtIndexes:toIndex:", index);
  values.insert(values.begin() + static_cast<std::ptrdiff_t>(index),
                std::make_move_iterator(moved.begin()), std::make_move_iterator(moved.end()));
  setContents(std::move(values));
}

void NSMutableOrderedSet::removeObject(const Value& object) {
  if (object.isNull()) return;
  if (_foreign) {
    const NSUInteger index = indexOfObject(object);
    if (index != static_cast<NSUInteger>(NSNotFound)) foreignRemoveObjectAtIndex(index);
    return;
  }
  const std::size_t position = _table.find(object, object.hash());
  if (position == Table::npos) return;
  ++_mutations;
  const Entry removed = _table.take(position);
}

void NSMutableOrderedSet::removeObjectAtIndex(NSUInteger index) {
  if (index >= count()) raiseBeyondBounds("removeObjectAtIndex:", index);
  if (_foreign) return foreignRemoveObjectAtIndex(index);
  ++_mutations;
  const Entry removed = _table.take(positionOfIndex(index));
}

void NSMutableOrderedSet::removeObjectsInRange(NSRange range) {
  if (range.location > count() || range.length > count() - range.location) {
    raise(NSRangeException,
          "*** -[%s removeObjectsInRange:]: range {%llu, %llu} extends beyond bounds",
          class_().name(), range.location, range.length);
  }
  if (range.length > 0) removeObjectsAtIndexes(NSIndexSet::indexSetWithIndexesInRange(range));
}

void NSMutableOrderedSet::removeObjectsAtIndexes(const Ref<NSIndexSet>& indexes) {
  if (!indexes || indexes->count() == 0) return;
  removeObjectsInArray(objectsAtIndexes(indexes));
}

void NSMutableOrderedSet::removeObjectsInArray(const Ref<NSArray>& array) {
  for (const Value& object : valuesOf(array)) removeObject(object);
}

void NSMutableOrderedSet::removeAllObjects() {
  if (_foreign) {
    while (count() > 0) foreignRemoveObjectAtIndex(count() - 1);
    return;
  }
  ++_mutations;
  const std::vector<Entry> removed = _table.takeAll();
}

Value NSMutableOrderedSet::takeFirstObject() {
  if (count() == 0) return nullptr;
  if (_foreign) {
    Value first = firstObject();
    foreignRemoveObjectAtIndex(0);
    return first;
  }
  ++_mutations;
  return _table.take(_table.begin()).key;
}

void NSMutableOrderedSet::unionSet(const Ref<NSSet>& other) {
  if (other) addObjectsFromArray(other->allObjects());
}

void NSMutableOrderedSet::unionOrderedSet(const Ref<NSOrderedSet>& other) {
  if (other) addObjectsFromArray(other->array());
}

void NSMutableOrderedSet::minusSet(const Ref<NSSet>& other) {
  if (other) removeObjectsInArray(other->allObjects());
}

void NSMutableOrderedSet::minusOrderedSet(const Ref<NSOrderedSet>& other) {
  if (other) removeObjectsInArray(other->array());
}

void NSMutableOrderedSet::intersectSet(const Ref<NSSet>& other) {
  for (const Value& object : valuesOf(array())) {
    if (!other || !other->containsObject(object)) removeObject(object);
  }
}

void NSMutableOrderedSet::intersectOrderedSet(const Ref<NSOrderedSet>& other) {
  for (const Value& object : valuesOf(array())) {
    if (!other || !other->containsObject(object)) removeObject(object);
  }
}

void NSMutableOrderedSet::sortUsingComparator(
    const Block<NSComparisonResult(const Value&, const Value&)>& comparator) {
  setContents(valuesOf(sortedArrayUsingComparator(comparator)));
}

Value NSMutableOrderedSet::copy() const { return makeObject<NSOrderedSet>(tableOfContents()); }

void NSMutableOrderedSet::foreignInsertObjectAtIndex(const Value&, NSUInteger) {}

void NSMutableOrderedSet::foreignRemoveObjectAtIndex(NSUInteger) {}

void NSMutableOrderedSet::setContents(std::vector<Value> values) {
  if (_foreign) {
    removeAllObjects();
    for (const Value& value : values) addObject(value);
    return;
  }
  Table table = tableOf(std::move(values));
  ++_mutations;
  _table.swap(table);
}

}  // namespace JNFoundation
