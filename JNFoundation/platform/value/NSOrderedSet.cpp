#include "JNFoundation/platform/value/NSOrderedSet.h"

#include <algorithm>

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSIndexSet.h>
#include <JNFoundation/platform/value/NSSet.h>
#include <JNFoundation/platform/value/impl/CollectionSupport.h>
#include <JNFoundation/platform/value/impl/ConcreteCollections.h>
#include <JNFoundation/platform/value/impl/ContainerEquality.h>
#include <JNFoundation/platform/value/impl/DescriptionWriter.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSOrderedSet::classObject = Class::of<NSOrderedSet>("NSOrderedSet");
constinit const Class ConcreteOrderedSet::classObject =
    Class::of<ConcreteOrderedSet>("__NSOrderedSetI");

namespace {

const ClassDeclaration<NSOrderedSet> declarationOfNSOrderedSet =
    ClassDeclaration<NSOrderedSet>()
        .factory()
        .operation("count", &NSOrderedSet::count)
        .operation("firstObject", &NSOrderedSet::firstObject)
        .operation("lastObject", &NSOrderedSet::lastObject)
        .operation("objectAtIndex:", &NSOrderedSet::objectAtIndex)
        .operation("containsObject:", &NSOrderedSet::containsObject)
        .operation("indexOfObject:", &NSOrderedSet::indexOfObject)
        .operation("array", &NSOrderedSet::array)
        .operation("set", &NSOrderedSet::set)
        .classOperation("orderedSet", &NSOrderedSet::orderedSet);

using OrderedSetTable = OrderedHashTable<NSOrderedSet::Entry>;

template <class Set>
bool isSubsetOf(const NSOrderedSet& members, const Ref<Set>& other) {
  if (members.count() > (other ? other->count() : 0)) return false;
  for (const Value& object : members) {
    if (!other->containsObject(object)) return false;
  }
  return true;
}

template <class Set>
bool intersects(const NSOrderedSet& members, const Ref<Set>& other) {
  if (!other) return false;
  for (const Value& object : members) {
    if (other->containsObject(object)) return true;
  }
  return false;
}

}  // namespace

NSOrderedSet::~NSOrderedSet() = default;

const Class& NSOrderedSet::class_() const noexcept {
  return _foreign ? classObject : ConcreteOrderedSet::classObject;
}

OrderedSetTable NSOrderedSet::tableOf(std::vector<Value> values) {
  impl::requireValues(values, "__NSPlaceholderOrderedSet");
  OrderedSetTable table;
  table.reserve(values.size());
  for (Value& value : values) impl::addToTable(table, std::move(value));
  return table;
}

OrderedSetTable NSOrderedSet::tableOfContents() const {
  OrderedSetTable table = _foreign ? foreignContents()->_table : _table;
  table.compact();
  return table;
}

Ref<NSOrderedSet> NSOrderedSet::foreignContents() const { return orderedSet(); }

Ref<NSOrderedSet> NSOrderedSet::orderedSetWithObjectsBeforeNull(
    std::initializer_list<Value> objects) {
  OrderedSetTable table;
  for (const Value& object : objects) {
    if (object.isNull()) break;
    impl::addToTable(table, object);
  }
  return makeObject<NSOrderedSet>(std::move(table));
}

Ref<NSOrderedSet> NSOrderedSet::orderedSet() {
  static const auto* empty = [] {
    impl::excludeFromLiveObjects();
    return new Ref<NSOrderedSet>(makeObject<NSOrderedSet>());
  }();
  return *empty;
}

Ref<NSOrderedSet> NSOrderedSet::orderedSetWithObject(const Value& object) {
  return orderedSetWithValues({object});
}

Ref<NSOrderedSet> NSOrderedSet::orderedSetWithArray(const Ref<NSArray>& array) {
  return orderedSetWithValues(impl::elementsOf(array));
}

Ref<NSOrderedSet> NSOrderedSet::orderedSetWithSet(const Ref<NSSet>& set) {
  return orderedSetWithArray(set ? set->allObjects() : nullptr);
}

Ref<NSOrderedSet> NSOrderedSet::orderedSetWithOrderedSet(const Ref<NSOrderedSet>& other) {
  return other ? as<NSOrderedSet>(other->copy()) : orderedSet();
}

Ref<NSOrderedSet> NSOrderedSet::orderedSetWithValues(std::vector<Value> values) {
  return makeObject<NSOrderedSet>(tableOf(std::move(values)));
}

Value NSOrderedSet::objectAtIndex(NSUInteger index) const {
  if (_foreign) return foreignContents()->objectAtIndex(index);
  if (index >= _table.count()) raiseBeyondBounds("objectAtIndex:", index);
  return _table.at(positionOfIndex(index)).key;
}

Value NSOrderedSet::firstObject() const { return count() == 0 ? Value() : objectAtIndex(0); }

Value NSOrderedSet::lastObject() const {
  if (_foreign) return foreignContents()->lastObject();
  if (count() == 0) return nullptr;
  // A set that is emptied from its end has holes there; they are closed now and then, not each
  // time.
  constexpr std::size_t many = 256;
  if (_table.isHole(_table.end() - std::min(many, _table.end() - _table.begin()))) {
    _table.closeHoles();
  }
  std::size_t position = _table.end() - 1;
  while (_table.isHole(position)) --position;
  return _table.at(position).key;
}

bool NSOrderedSet::containsObject(const Value& object) const {
  if (object.isNull()) return false;
  if (_foreign) return foreignContents()->containsObject(object);
  return _table.find(object, object.hash()) != OrderedSetTable::npos;
}

NSUInteger NSOrderedSet::indexOfObject(const Value& object) const {
  if (object.isNull()) return NSNotFound;
  if (_foreign) return foreignContents()->indexOfObject(object);
  _table.closeHoles();
  const std::size_t position = _table.find(object, object.hash());
  return position == OrderedSetTable::npos ? static_cast<NSUInteger>(NSNotFound)
                                           : position - _table.begin();
}

Ref<NSArray> NSOrderedSet::array() const {
  std::vector<Value> values;
  values.reserve(count());
  for (const Value& object : *this) values.push_back(object);
  return NSArray::arrayWithValues(std::move(values));
}

Ref<NSSet> NSOrderedSet::set() const { return NSSet::setWithArray(array()); }

Ref<NSOrderedSet> NSOrderedSet::reversedOrderedSet() const {
  return orderedSetWithArray(array()->reversedArray());
}

Ref<NSArray> NSOrderedSet::objectsAtIndexes(const Ref<NSIndexSet>& indexes) const {
  if (indexes && indexes->count() > 0 && indexes->lastIndex() >= count()) {
    raiseBeyondBounds("objectsAtIndexes:", indexes->lastIndex());
  }
  std::vector<Value> values;
  if (indexes) {
    values.reserve(indexes->count());
    for (const NSUInteger index : *indexes) values.push_back(objectAtIndex(index));
  }
  return NSArray::arrayWithValues(std::move(values));
}

bool NSOrderedSet::isEqualToOrderedSet(const Ref<NSOrderedSet>& other) const {
  return other ? isEqual(Value(other)) : count() == 0;
}

bool NSOrderedSet::isSubsetOfSet(const Ref<NSSet>& other) const { return isSubsetOf(*this, other); }

bool NSOrderedSet::isSubsetOfOrderedSet(const Ref<NSOrderedSet>& other) const {
  return isSubsetOf(*this, other);
}

bool NSOrderedSet::intersectsSet(const Ref<NSSet>& other) const { return intersects(*this, other); }

bool NSOrderedSet::intersectsOrderedSet(const Ref<NSOrderedSet>& other) const {
  return intersects(*this, other);
}

Ref<NSArray> NSOrderedSet::sortedArrayUsingComparator(
    const Block<NSComparisonResult(const Value&, const Value&)>& comparator) const {
  return array()->sortedArrayUsingComparator(comparator);
}

void NSOrderedSet::enumerateObjectsUsingBlock(
    const Block<void(const Value& object, NSUInteger index, bool& stop)>& block) const {
  impl::requireBlock(block != nullptr, "NSOrderedSet enumerateObjectsUsingBlock:");
  const Ref<NSOrderedSet> held = impl::held(this);
  bool stop = false;
  NSUInteger index = 0;
  for (const Value& object : *this) {
    block(object, index++, stop);
    if (stop) break;
  }
}

bool NSOrderedSet::isEqual(const Value& other) const {
  return ContainerEquality::equal(*this, other);
}

std::size_t NSOrderedSet::hash() const { return static_cast<std::size_t>(count()); }

Ref<NSString> NSOrderedSet::description() const { return DescriptionWriter::describe(*this); }

Value NSOrderedSet::copy() const {
  return _foreign ? Value(foreignContents()) : Value(const_cast<NSOrderedSet*>(this));
}

Value NSOrderedSet::mutableCopy() const {
  return makeObject<NSMutableOrderedSet>(tableOfContents());
}

Value NSOrderedSet::valueForKey(const Ref<NSString>& key) const {
  if (impl::namesOwnProperty(key)) return NSObject::valueForKey(impl::ownPropertyName(key));
  const impl::KeyNesting nesting;
  const Ref<NSOrderedSet> held = impl::held(this);
  OrderedSetTable table;
  for (const Value& object : *this) {
    const Value value = impl::memberValueForKey(object, key);
    if (!value.isNull()) impl::addToTable(table, value);
  }
  return makeObject<NSOrderedSet>(std::move(table));
}

void NSOrderedSet::setValueForKey(const Value& value, const Ref<NSString>& key) {
  const impl::KeyNesting nesting;
  const Ref<NSOrderedSet> held(this);
  for (const Value& object : *this) impl::setMemberValueForKey(object, value, key);
}

void NSOrderedSet::raiseMutatedDuringWalk() const { impl::raiseMutated(*this); }

void NSOrderedSet::raiseBeyondBounds(const char* operation, NSUInteger index) const {
  impl::raiseIndexBeyondBounds(*this, operation, index, count(), "ordered set");
}

}  // namespace JNFoundation
