#include "JNFoundation/platform/value/NSOrderedSet.h"

#include <algorithm>

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSIndexSet.h>
#include <JNFoundation/platform/value/NSSet.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/platform/value/impl/ContainerEquality.h>
#include <JNFoundation/platform/value/impl/DescriptionWriter.h>

namespace JNFoundation {

constinit const Class NSOrderedSet::classObject = Class::of<NSOrderedSet>("NSOrderedSet");

namespace {

/// The concrete class, as log texts name it.
struct PlainOrderedSet {
  using Superclass = NSOrderedSet;
  static const Class classObject;
};
constinit const Class PlainOrderedSet::classObject = Class::of<PlainOrderedSet>("__NSOrderedSetI");

const ClassDeclaration<NSOrderedSet> declaration =
    ClassDeclaration<NSOrderedSet>()
        .operation("count", &NSOrderedSet::count)
        .operation("firstObject", &NSOrderedSet::firstObject)
        .operation("lastObject", &NSOrderedSet::lastObject)
        .operation("objectAtIndex:", &NSOrderedSet::objectAtIndex)
        .operation("containsObject:", &NSOrderedSet::containsObject)
        .operation("indexOfObject:", &NSOrderedSet::indexOfObject)
        .operation("array", &NSOrderedSet::array)
        .operation("set", &NSOrderedSet::set)
        .classOperation("orderedSet", &NSOrderedSet::orderedSet);

using Table = OrderedHashTable<NSOrderedSet::Entry>;

/// Adds what is no member yet. Returns: whether it was added.
bool add(Table& table, const Value& object) {
  const std::uint64_t hash = object.hash();
  if (table.find(object, hash) != Table::npos) return false;
  table.append({object, hash});
  return true;
}

std::vector<Value> valuesOf(const Ref<NSArray>& array) {
  std::vector<Value> values;
  if (array) {
    values.reserve(array->count());
    for (const Value& value : *array) values.push_back(value);
  }
  return values;
}

}  // namespace

NSOrderedSet::~NSOrderedSet() = default;

const Class& NSOrderedSet::class_() const noexcept {
  return _foreign ? classObject : PlainOrderedSet::classObject;
}

Table NSOrderedSet::tableOf(std::vector<Value> values) {
  Table table;
  table.reserve(values.size());
  for (const Value& value : values) {
    if (value.isNull()) {
      raise(NSInvalidArgumentException,
            "*** -[NSOrderedSet initWithObjects:count:]: attempt to insert nil object");
    }
    add(table, value);
  }
  return table;
}

Table NSOrderedSet::tableOfContents() const {
  Table table = _foreign ? foreignContents()->_table : _table;
  table.compact();
  return table;
}

Ref<NSOrderedSet> NSOrderedSet::foreignContents() const { return orderedSet(); }

std::vector<Value> NSOrderedSet::valuesBeforeNull(std::initializer_list<Value> values) {
  std::vector<Value> list;
  for (const Value& value : values) {
    if (value.isNull()) break;
    list.push_back(value);
  }
  return list;
}

Ref<NSOrderedSet> NSOrderedSet::orderedSet() {
  static const auto* empty = new Ref<NSOrderedSet>(makeObject<NSOrderedSet>());
  return *empty;
}

Ref<NSOrderedSet> NSOrderedSet::orderedSetWithObject(const Value& object) {
  return orderedSetWithValues({object});
}

Ref<NSOrderedSet> NSOrderedSet::orderedSetWithArray(const Ref<NSArray>& array) {
  return orderedSetWithValues(valuesOf(array));
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
  return count() == 0 ? Value() : objectAtIndex(count() - 1);
}

bool NSOrderedSet::containsObject(const Value& object) const {
  if (object.isNull()) return false;
  if (_foreign) return foreignContents()->containsObject(object);
  return _table.find(object, object.hash()) != Table::npos;
}

NSUInteger NSOrderedSet::indexOfObject(const Value& object) const {
  if (object.isNull()) return NSNotFound;
  if (_foreign) return foreignContents()->indexOfObject(object);
  _table.closeHoles();
  const std::size_t position = _table.find(object, object.hash());
  return position == Table::npos ? static_cast<NSUInteger>(NSNotFound) : position - _table.begin();
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
  return array()->objectsAtIndexes(indexes);
}

bool NSOrderedSet::isEqualToOrderedSet(const Ref<NSOrderedSet>& other) const {
  return other ? isEqual(Value(other)) : count() == 0;
}

bool NSOrderedSet::isSubsetOfSet(const Ref<NSSet>& other) const {
  for (const Value& object : *this) {
    if (!other || !other->containsObject(object)) return false;
  }
  return true;
}

bool NSOrderedSet::isSubsetOfOrderedSet(const Ref<NSOrderedSet>& other) const {
  for (const Value& object : *this) {
    if (!other || !other->containsObject(object)) return false;
  }
  return true;
}

bool NSOrderedSet::intersectsSet(const Ref<NSSet>& other) const {
  if (!other) return false;
  for (const Value& object : *this) {
    if (other->containsObject(object)) return true;
  }
  return false;
}

bool NSOrderedSet::intersectsOrderedSet(const Ref<NSOrderedSet>& other) const {
  if (!other) return false;
  for (const Value& object : *this) {
    if (other->containsObject(object)) return true;
  }
  return false;
}

Ref<NSArray> NSOrderedSet::sortedArrayUsingComparator(
    const Block<NSComparisonResult(const Value&, const Value&)>& comparator) const {
  return array()->sortedArrayUsingComparator(comparator);
}

void NSOrderedSet::enumerateObjectsUsingBlock(
    const Block<void(const Value& object, NSUInteger index, bool& stop)>& block) const {
  const Ref<const NSOrderedSet> held(this);
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
  if (key && key->hasPrefix("@")) return NSObject::valueForKey(key->substringFromIndex(1));
  Table table;
  for (const Value& object : *this) {
    const Value value = object.isObject()
                            ? object.object()->valueForKey(key)
                            : performSelector(object, NSSelectorFromString(key->utf8()));
    if (!value.isNull()) add(table, value);
  }
  return makeObject<NSOrderedSet>(std::move(table));
}

void NSOrderedSet::setValueForKey(const Value& value, const Ref<NSString>& key) {
  for (const Value& object : *this) {
    if (object.isObject()) object.object()->setValueForKey(value, key);
  }
}

void NSOrderedSet::raiseMutatedDuringWalk() const {
  raise(NSGenericException, "*** Collection <%s: %p> was mutated while being enumerated.",
        class_().name(), static_cast<const void*>(this));
}

void NSOrderedSet::raiseBeyondBounds(const char* operation, NSUInteger index) const {
  if (count() == 0) {
    raise(NSRangeException, "*** -[%s %s]: index %llu beyond bounds for empty ordered set",
          class_().name(), operation, index);
  }
  raise(NSRangeException, "*** -[%s %s]: index %llu beyond bounds [0 .. %llu]", class_().name(),
        operation, index, count() - 1);
}

void NSOrderedSet::raiseNull(const char* operation) const {
  raise(NSInvalidArgumentException, "*** -[%s %s]: object cannot be nil", class_().name(),
        operation);
}

}  // namespace JNFoundation
