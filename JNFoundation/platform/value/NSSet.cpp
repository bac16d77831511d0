#include "JNFoundation/platform/value/NSSet.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/platform/value/impl/ContainerEquality.h>
#include <JNFoundation/platform/value/impl/DescriptionWriter.h>

namespace JNFoundation {

constinit const Class NSSet::classObject = Class::of<NSSet>("NSSet");

namespace {

/// The concrete class, as log texts name it.
struct PlainSet {
  using Superclass = NSSet;
  static const Class classObject;
};
constinit const Class PlainSet::classObject = Class::of<PlainSet>("__NSSetI");

const ClassDeclaration<NSSet> declaration =
    ClassDeclaration<NSSet>()
        .operation("count", &NSSet::count)
        .operation("anyObject", &NSSet::anyObject)
        .operation("allObjects", &NSSet::allObjects)
        .operation("containsObject:", &NSSet::containsObject)
        .operation("member:", &NSSet::member)
        .classOperation("set", &NSSet::set);

using Table = OrderedHashTable<NSSet::Entry>;

[[noreturn]] void raiseNull(const char* operation) {
  raise(NSInvalidArgumentException, "*** -[__NSSetM %s]: object cannot be nil", operation);
}

/// Adds what is no member yet. Returns: whether it was added.
bool add(Table& table, const Value& object) {
  const std::uint64_t hash = object.hash();
  if (table.find(object, hash) != Table::npos) return false;
  table.append({object, hash});
  return true;
}

}  // namespace

NSSet::~NSSet() = default;

const Class& NSSet::class_() const noexcept {
  return _foreign ? classObject : PlainSet::classObject;
}

Table NSSet::tableOf(std::vector<Value> values) {
  Table table;
  table.reserve(values.size());
  for (const Value& value : values) {
    if (value.isNull()) raiseNull("initWithObjects:count:");
    add(table, value);
  }
  return table;
}

Table NSSet::tableOfContents() const { return _foreign ? foreignContents()->_table : _table; }

Ref<NSSet> NSSet::foreignContents() const { return set(); }

std::vector<Value> NSSet::valuesBeforeNull(std::initializer_list<Value> values) {
  std::vector<Value> list;
  for (const Value& value : values) {
    if (value.isNull()) break;
    list.push_back(value);
  }
  return list;
}

Ref<NSSet> NSSet::set() {
  static const auto* empty = new Ref<NSSet>(makeObject<NSSet>());
  return *empty;
}

Ref<NSSet> NSSet::setWithObject(const Value& object) { return setWithValues({object}); }

Ref<NSSet> NSSet::setWithArray(const Ref<NSArray>& array) {
  std::vector<Value> values;
  if (array) {
    for (const Value& value : *array) values.push_back(value);
  }
  return setWithValues(std::move(values));
}

Ref<NSSet> NSSet::setWithSet(const Ref<NSSet>& other) {
  return other ? as<NSSet>(other->copy()) : set();
}

Ref<NSSet> NSSet::setWithValues(std::vector<Value> values) {
  return makeObject<NSSet>(tableOf(std::move(values)));
}

Value NSSet::member(const Value& object) const {
  if (object.isNull()) return nullptr;
  if (_foreign) return foreignContents()->member(object);
  const std::size_t position = _table.find(object, object.hash());
  return position == Table::npos ? Value() : _table.at(position).key;
}

Value NSSet::anyObject() const {
  for (const Value& object : *this) return object;
  return nullptr;
}

Ref<NSArray> NSSet::allObjects() const {
  std::vector<Value> values;
  values.reserve(count());
  for (const Value& object : *this) values.push_back(object);
  return NSArray::arrayWithValues(std::move(values));
}

bool NSSet::isEqualToSet(const Ref<NSSet>& other) const {
  return other ? isEqual(Value(other)) : count() == 0;
}

bool NSSet::isSubsetOfSet(const Ref<NSSet>& other) const {
  for (const Value& object : *this) {
    if (!other || !other->containsObject(object)) return false;
  }
  return true;
}

bool NSSet::intersectsSet(const Ref<NSSet>& other) const {
  if (!other) return false;
  for (const Value& object : *this) {
    if (other->containsObject(object)) return true;
  }
  return false;
}

Ref<NSSet> NSSet::setByAddingObject(const Value& object) const {
  if (object.isNull()) raiseNull("setByAddingObject:");
  Table table = tableOfContents();
  add(table, object);
  return makeObject<NSSet>(std::move(table));
}

Ref<NSSet> NSSet::setByAddingObjectsFromSet(const Ref<NSSet>& other) const {
  Table table = tableOfContents();
  if (other) {
    for (const Value& object : *other) add(table, object);
  }
  return makeObject<NSSet>(std::move(table));
}

Ref<NSSet> NSSet::setByAddingObjectsFromArray(const Ref<NSArray>& other) const {
  return setByAddingObjectsFromSet(setWithArray(other));
}

void NSSet::enumerateObjectsUsingBlock(
    const Block<void(const Value& object, bool& stop)>& block) const {
  const Ref<const NSSet> held(this);
  bool stop = false;
  for (const Value& object : *this) {
    block(object, stop);
    if (stop) break;
  }
}

Ref<NSSet> NSSet::objectsPassingTest(
    const Block<bool(const Value& object, bool& stop)>& test) const {
  const Ref<const NSSet> held(this);
  std::vector<Value> passing;
  bool stop = false;
  for (const Value& object : *this) {
    const Value candidate = object;
    if (test(candidate, stop)) passing.push_back(candidate);
    if (stop) break;
  }
  return setWithValues(std::move(passing));
}

bool NSSet::isEqual(const Value& other) const { return ContainerEquality::equal(*this, other); }

std::size_t NSSet::hash() const { return static_cast<std::size_t>(count()); }

Ref<NSString> NSSet::description() const { return DescriptionWriter::describe(*this); }

Value NSSet::copy() const {
  return _foreign ? Value(foreignContents()) : Value(const_cast<NSSet*>(this));
}

Value NSSet::mutableCopy() const { return makeObject<NSMutableSet>(tableOfContents()); }

Value NSSet::valueForKey(const Ref<NSString>& key) const {
  if (key && key->hasPrefix("@")) return NSObject::valueForKey(key->substringFromIndex(1));
  Table table;
  for (const Value& object : *this) {
    const Value value = object.isObject()
                            ? object.object()->valueForKey(key)
                            : performSelector(object, NSSelectorFromString(key->utf8()));
    if (!value.isNull()) add(table, value);
  }
  return makeObject<NSSet>(std::move(table));
}

void NSSet::setValueForKey(const Value& value, const Ref<NSString>& key) {
  for (const Value& object : *this) {
    if (object.isObject()) object.object()->setValueForKey(value, key);
  }
}

void NSSet::raiseMutatedDuringWalk() const {
  raise(NSGenericException, "*** Collection <%s: %p> was mutated while being enumerated.",
        class_().name(), static_cast<const void*>(this));
}

constinit const Class NSMutableSet::classObject = Class::of<NSMutableSet>("NSMutableSet");

namespace {

/// The concrete class, as log texts name it.
struct PlainMutableSet {
  using Superclass = NSMutableSet;
  static const Class classObject;
};
constinit const Class PlainMutableSet::classObject = Class::of<PlainMutableSet>("__NSSetM");

const ClassDeclaration<NSMutableSet> mutableDeclaration =
    ClassDeclaration<NSMutableSet>()
        .factory([]() -> Ref<NSObject> { return NSMutableSet::set(); })
        .operation("addObject:", &NSMutableSet::addObject)
        .operation("removeObject:", &NSMutableSet::removeObject)
        .operation("removeAllObjects", &NSMutableSet::removeAllObjects)
        .classOperation("set", &NSMutableSet::set);

}  // namespace

const Class& NSMutableSet::class_() const noexcept {
  return _foreign ? classObject : PlainMutableSet::classObject;
}

Ref<NSMutableSet> NSMutableSet::set() { return makeObject<NSMutableSet>(); }

Ref<NSMutableSet> NSMutableSet::setWithCapacity(NSUInteger capacity) {
  Ref<NSMutableSet> made = set();
  made->_table.reserve(capacity);
  return made;
}

Ref<NSMutableSet> NSMutableSet::setWithObject(const Value& object) {
  return setWithValues({object});
}

Ref<NSMutableSet> NSMutableSet::setWithArray(const Ref<NSArray>& array) {
  return as<NSMutableSet>(NSSet::setWithArray(array)->mutableCopy());
}

Ref<NSMutableSet> NSMutableSet::setWithSet(const Ref<NSSet>& other) {
  return other ? as<NSMutableSet>(other->mutableCopy()) : set();
}

Ref<NSMutableSet> NSMutableSet::setWithValues(std::vector<Value> values) {
  return makeObject<NSMutableSet>(tableOf(std::move(values)));
}

void NSMutableSet::addObject(const Value& object) {
  if (object.isNull()) raiseNull("addObject:");
  if (_foreign) return foreignAddObject(object);
  const Value added = object;
  if (add(_table, added)) ++_mutations;
}

void NSMutableSet::addObjectsFromArray(const Ref<NSArray>& array) {
  if (!array) return;
  for (const Value& object : *array) addObject(object);
}

void NSMutableSet::removeObject(const Value& object) {
  if (object.isNull()) return;
  if (_foreign) return foreignRemoveObject(object);
  const std::size_t position = _table.find(object, object.hash());
  if (position == Table::npos) return;
  ++_mutations;
  const Entry removed = _table.take(position);
}

void NSMutableSet::removeAllObjects() {
  if (_foreign) return take(*allObjects()->contiguousElements());
  ++_mutations;
  const std::vector<Entry> removed = _table.takeAll();
}

void NSMutableSet::unionSet(const Ref<NSSet>& other) {
  if (!other || other.get() == this) return;
  for (const Value& object : *other) addObject(object);
}

void NSMutableSet::minusSet(const Ref<NSSet>& other) {
  if (!other) return;
  take(*other->allObjects()->contiguousElements());
}

void NSMutableSet::intersectSet(const Ref<NSSet>& other) {
  std::vector<Value> doomed;
  for (const Value& object : *this) {
    const Value candidate = object;
    if (!other || !other->containsObject(candidate)) doomed.push_back(candidate);
  }
  take(std::move(doomed));
}

void NSMutableSet::setSet(const Ref<NSSet>& other) {
  if (other.get() == this) return;
  removeAllObjects();
  unionSet(other);
}

Value NSMutableSet::copy() const { return makeObject<NSSet>(tableOfContents()); }

void NSMutableSet::foreignAddObject(const Value&) {}

void NSMutableSet::foreignRemoveObject(const Value&) {}

void NSMutableSet::take(std::vector<Value> doomed) {
  for (const Value& object : doomed) removeObject(object);
}

}  // namespace JNFoundation
