#include <algorithm>

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSIndexSet.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>
#include <JNFoundation/platform/value/impl/CollectionSupport.h>
#include <JNFoundation/platform/value/impl/ConcreteCollections.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSMutableOrderedSet::classObject =
    Class::of<NSMutableOrderedSet>("NSMutableOrderedSet");
constinit const Class ConcreteMutableOrderedSet::classObject =
    Class::of<ConcreteMutableOrderedSet>("__NSOrderedSetM");

namespace {

const ClassDeclaration<NSMutableOrderedSet> declarationOfNSMutableOrderedSet =
    ClassDeclaration<NSMutableOrderedSet>()
        .factory()
        .operation("addObject:", &NSMutableOrderedSet::addObject)
        .operation("addObjectsFromArray:", &NSMutableOrderedSet::addObjectsFromArray)
        .operation("insertObject:atIndex:", &NSMutableOrderedSet::insertObjectAtIndex)
        .operation("removeObject:", &NSMutableOrderedSet::removeObject)
        .operation("removeObjectAtIndex:", &NSMutableOrderedSet::removeObjectAtIndex)
        .operation("removeAllObjects", &NSMutableOrderedSet::removeAllObjects)
        .operation("unionSet:", &NSMutableOrderedSet::unionSet)
        .operation("minusSet:", &NSMutableOrderedSet::minusSet)
        .classOperation("orderedSet", &NSMutableOrderedSet::orderedSet);

using OrderedSetTable = OrderedHashTable<NSOrderedSet::Entry>;

constexpr NSUInteger notFound = static_cast<NSUInteger>(NSNotFound);

/// Only a class that brings another representation is asked, and it must say what a change means.
[[noreturn]] void raiseOnlyInSubclass(const NSObject& set, const char* operation) {
  raise(NSInternalInconsistencyException, "*** -[%s %s]: only defined by a subclass",
        set.class_().name(), operation);
}

/// The members that the other set does not have.
template <class Set>
std::vector<Value> missingIn(const NSOrderedSet& members, const Ref<Set>& other) {
  std::vector<Value> missing;
  for (const Value& object : members) {
    if (!other || !other->containsObject(object)) missing.push_back(object);
  }
  return missing;
}

}  // namespace

const Class& NSMutableOrderedSet::class_() const noexcept {
  return _foreign ? classObject : ConcreteMutableOrderedSet::classObject;
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
  return orderedSetWithValues(impl::elementsOf(array));
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
  if (object.isNull()) impl::raiseNullObject(*this, "addObject:");
  if (_foreign) return insertObjectAtIndex(object, count());
  if (impl::addToTable(_table, object)) ++_mutations;
}

void NSMutableOrderedSet::addObjectsFromArray(const Ref<NSArray>& array) {
  for (const Value& object : impl::elementsOf(array)) addObject(object);
}

void NSMutableOrderedSet::insertObjectAtIndex(const Value& object, NSUInteger index) {
  if (object.isNull()) impl::raiseNullObject(*this, "insertObject:atIndex:");
  if (index > count()) raiseBeyondBounds("insertObject:atIndex:", index);
  if (_foreign) {
    if (!containsObject(object)) foreignInsertObjectAtIndex(object, index);
    return;
  }
  Entry entry{object, 0};
  entry.hash = entry.key.hash();
  if (_table.find(entry.key, entry.hash) != OrderedSetTable::npos) return;
  _table.closeHoles();
  // The hash may be an application's, which may have made the set shorter.
  _table.insert(_table.begin() + std::min<std::size_t>(index, _table.count()), std::move(entry));
  ++_mutations;
}

void NSMutableOrderedSet::insertObjectsAtIndexes(const Ref<NSArray>& objects,
                                                 const Ref<NSIndexSet>& indexes) {
  const std::vector<Value> added = impl::elementsOf(objects);
  const NSUInteger places = indexes ? indexes->count() : 0;
  if (added.size() != places) {
    raise(
        NSInvalidArgumentException,
        "*** -[%s insertObjects:atIndexes:]: count of array (%zu) differs from count of index set "
        "(%llu)",
        class_().name(), added.size(), places);
  }
  if (added.empty()) return;
  if (indexes->lastIndex() >= count() + added.size()) {
    raiseBeyondBounds("insertObjects:atIndexes:", indexes->lastIndex());
  }
  // Added at the end, then moved in one go: where each one would stand if they were inserted one
  // after another, those that are members already left out.
  const std::size_t before = count();
  std::vector<NSUInteger> goals;
  auto next = added.begin();
  for (const NSUInteger index : *indexes) {
    const std::size_t known = count();
    addObject(*next++);
    if (count() > known) goals.push_back(index);
  }
  std::vector<std::size_t> order;
  std::size_t old = 0;
  for (std::size_t i = 0; i < goals.size(); ++i) {
    while (order.size() < goals[i] && old < before) order.push_back(old++);
    order.push_back(before + i);
  }
  while (old < before) order.push_back(old++);
  reorder(order);
}

void NSMutableOrderedSet::replaceObjectAtIndexWithObject(NSUInteger index, const Value& object) {
  if (object.isNull()) impl::raiseNullObject(*this, "replaceObjectAtIndex:withObject:");
  if (index >= count()) raiseBeyondBounds("replaceObjectAtIndex:withObject:", index);
  if (_foreign) {
    const Value added = impl::held(object);
    const NSUInteger known = indexOfObject(added);
    if (known != notFound && known != index) return;
    foreignRemoveObjectAtIndex(index);
    foreignInsertObjectAtIndex(added, index);
    return;
  }
  Entry entry{object, 0};
  entry.hash = entry.key.hash();
  // The hash may be an application's, which may have made the set shorter.
  if (index >= count()) raiseMutatedDuringWalk();
  _table.closeHoles();
  const std::size_t position = _table.begin() + index;
  const std::size_t known = _table.find(entry.key, entry.hash);
  if (known != OrderedSetTable::npos && known != position) return;
  const Entry replaced = _table.replace(position, std::move(entry));
  ++_mutations;
}

void NSMutableOrderedSet::exchangeObjectAtIndexWithObjectAtIndex(NSUInteger first,
                                                                 NSUInteger second) {
  for (NSUInteger index : {first, second}) {
    if (index >= count()) raiseBeyondBounds("exchangeObjectAtIndex:withObjectAtIndex:", index);
  }
  if (first == second) return;
  if (_foreign) {
    const Value objects[] = {objectAtIndex(first), objectAtIndex(second)};
    const NSUInteger low = std::min(first, second), high = std::max(first, second);
    foreignRemoveObjectAtIndex(high);
    foreignRemoveObjectAtIndex(low);
    foreignInsertObjectAtIndex(objects[low == first], low);
    foreignInsertObjectAtIndex(objects[low != first], high);
    return;
  }
  _table.closeHoles();
  _table.exchange(_table.begin() + first, _table.begin() + second);
  ++_mutations;
}

void NSMutableOrderedSet::moveObjectsAtIndexesToIndex(const Ref<NSIndexSet>& indexes,
                                                      NSUInteger index) {
  if (!indexes || indexes->count() == 0) return;
  if (indexes->lastIndex() >= count()) {
    raiseBeyondBounds("moveObjectsAtIndexes:toIndex:", indexes->lastIndex());
  }
  if (index > count() - indexes->count()) {
    raiseBeyondBounds("moveObjectsAtIndexes:toIndex:", index);
  }
  std::vector<std::size_t> order;
  order.reserve(count());
  for (std::size_t i = 0; i < count(); ++i) {
    if (!indexes->containsIndex(i)) order.push_back(i);
  }
  std::vector<std::size_t> moved;
  for (const NSUInteger from : *indexes) moved.push_back(from);
  order.insert(order.begin() + static_cast<std::ptrdiff_t>(index), moved.begin(), moved.end());
  reorder(order);
}

// What goes is released last, in every operation: its end may reach this set again.

void NSMutableOrderedSet::removeObject(const Value& object) {
  if (object.isNull()) return;
  if (_foreign) {
    const NSUInteger index = indexOfObject(object);
    if (index != notFound) foreignRemoveObjectAtIndex(index);
    return;
  }
  const std::size_t position = _table.find(object, object.hash());
  if (position == OrderedSetTable::npos) return;
  const Entry removed = _table.take(position);
  ++_mutations;
}

void NSMutableOrderedSet::removeObjectAtIndex(NSUInteger index) {
  if (index >= count()) raiseBeyondBounds("removeObjectAtIndex:", index);
  if (_foreign) return foreignRemoveObjectAtIndex(index);
  const Entry removed = _table.take(positionOfIndex(index));
  ++_mutations;
}

void NSMutableOrderedSet::removeObjectsInRange(NSRange range) {
  if (impl::isBeyond(range, count())) {
    impl::raiseRangeBeyondBounds(*this, "removeObjectsInRange:", range, count());
  }
  if (range.length == 0) return;
  if (_foreign) {
    for (NSUInteger i = 0; i < range.length; ++i) foreignRemoveObjectAtIndex(range.location);
    return;
  }
  _table.closeHoles();
  const std::vector<Entry> removed = _table.takeRun(_table.begin() + range.location, range.length);
  ++_mutations;
}

void NSMutableOrderedSet::removeObjectsAtIndexes(const Ref<NSIndexSet>& indexes) {
  if (!indexes || indexes->count() == 0) return;
  if (indexes->lastIndex() >= count()) {
    raiseBeyondBounds("removeObjectsAtIndexes:", indexes->lastIndex());
  }
  const std::vector<NSRange> ranges = indexes->ranges();
  if (_foreign || ranges.size() == 1) {
    for (auto range = ranges.rbegin(); range != ranges.rend(); ++range) {
      removeObjectsInRange(*range);
    }
    return;
  }
  OrderedSetTable kept;
  std::vector<Entry> removed;
  std::size_t index = 0;
  auto range = ranges.begin();
  for (Entry& entry : _table.takeAll()) {
    if (entry.key.isNull()) continue;
    while (range != ranges.end() && range->end() <= index) ++range;
    if (range != ranges.end() && range->location <= index) {
      removed.push_back(std::move(entry));
    } else {
      kept.append(std::move(entry));
    }
    ++index;
  }
  _table.swap(kept);
  ++_mutations;
}

void NSMutableOrderedSet::removeObjectsInArray(const Ref<NSArray>& array) {
  for (const Value& object : impl::elementsOf(array)) removeObject(object);
}

void NSMutableOrderedSet::removeAllObjects() {
  if (_foreign) return removeObjectsInRange({0, count()});
  const std::vector<Entry> removed = _table.takeAll();
  ++_mutations;
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
  for (const Value& object : missingIn(*this, other)) removeObject(object);
}

void NSMutableOrderedSet::intersectOrderedSet(const Ref<NSOrderedSet>& other) {
  for (const Value& object : missingIn(*this, other)) removeObject(object);
}

void NSMutableOrderedSet::sortUsingComparator(
    const Block<NSComparisonResult(const Value&, const Value&)>& comparator) {
  const Ref<NSMutableOrderedSet> held(this);
  const std::uint64_t before = _mutations;
  const std::vector<std::size_t> order = impl::stableOrder(impl::elementsOf(array()), comparator);
  if (_mutations != before) raiseMutatedDuringWalk();
  reorder(order);
}

Value NSMutableOrderedSet::copy() const { return makeObject<NSOrderedSet>(tableOfContents()); }

void NSMutableOrderedSet::foreignInsertObjectAtIndex(const Value&, NSUInteger) {
  raiseOnlyInSubclass(*this, "insertObject:atIndex:");
}

void NSMutableOrderedSet::foreignRemoveObjectAtIndex(NSUInteger) {
  raiseOnlyInSubclass(*this, "removeObjectAtIndex:");
}

void NSMutableOrderedSet::reorder(const std::vector<std::size_t>& order) {
  if (order.size() != count()) raiseMutatedDuringWalk();
  if (_foreign) {
    const std::vector<Value> objects = impl::elementsOf(array());
    removeAllObjects();
    NSUInteger index = 0;
    for (const std::size_t from : order) foreignInsertObjectAtIndex(objects[from], index++);
    return;
  }
  _table.closeHoles();
  const std::size_t start = _table.begin();
  OrderedSetTable reordered;
  reordered.reserve(order.size());
  for (const std::size_t from : order) reordered.append(std::move(_table.at(start + from)));
  _table.swap(reordered);
  ++_mutations;
}

}  // namespace JNFoundation
