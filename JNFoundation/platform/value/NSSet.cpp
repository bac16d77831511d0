#include "JNFoundation/platform/value/NSSet.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/impl/CollectionSupport.h>
#include <JNFoundation/platform/value/impl/ConcreteCollections.h>
#include <JNFoundation/platform/value/impl/ContainerEquality.h>
#include <JNFoundation/platform/value/impl/DescriptionWriter.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSSet::classObject = Class::of<NSSet>("NSSet");
constinit const Class ConcreteSet::classObject = Class::of<ConcreteSet>("__NSSetI");

namespace {

const ClassDeclaration<NSSet> declarationOfNSSet =
    ClassDeclaration<NSSet>()
        .factory()
        .operation("count", &NSSet::count)
        .operation("anyObject", &NSSet::anyObject)
        .operation("allObjects", &NSSet::allObjects)
        .operation("containsObject:", &NSSet::containsObject)
        .operation("member:", &NSSet::member)
        .classOperation("set", &NSSet::set);

using SetTable = OrderedHashTable<NSSet::Entry>;

}  // namespace

NSSet::~NSSet() = default;

const Class& NSSet::class_() const noexcept {
  return _foreign ? classObject : ConcreteSet::classObject;
}

SetTable NSSet::tableOf(std::vector<Value> values) {
  impl::requireValues(values, "__NSPlaceholderSet");
  SetTable table;
  table.reserve(values.size());
  for (Value& value : values) impl::addToTable(table, std::move(value));
  return table;
}

SetTable NSSet::tableOfContents() const {
  SetTable table = _foreign ? foreignContents()->_table : _table;
  table.compact();
  return table;
}

Ref<NSSet> NSSet::foreignContents() const { return set(); }

Ref<NSSet> NSSet::setWithObjectsBeforeNull(std::initializer_list<Value> objects) {
  SetTable table;
  for (const Value& object : objects) {
    if (object.isNull()) break;
    impl::addToTable(table, object);
  }
  return makeObject<NSSet>(std::move(table));
}

Ref<NSSet> NSSet::set() {
  static const auto* empty = [] {
    impl::excludeFromLiveObjects();
    return new Ref<NSSet>(makeObject<NSSet>());
  }();
  return *empty;
}

Ref<NSSet> NSSet::setWithObject(const Value& object) { return setWithValues({object}); }

Ref<NSSet> NSSet::setWithArray(const Ref<NSArray>& array) {
  return setWithValues(impl::elementsOf(array));
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
  return position == SetTable::npos ? Value() : _table.at(position).key;
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
  if (count() > (other ? other->count() : 0)) return false;
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
  if (object.isNull()) impl::raiseNullObject(*this, "setByAddingObject:");
  SetTable table = tableOfContents();
  impl::addToTable(table, object);
  return makeObject<NSSet>(std::move(table));
}

Ref<NSSet> NSSet::setByAddingObjectsFromSet(const Ref<NSSet>& other) const {
  SetTable table = tableOfContents();
  if (other) {
    for (const Value& object : *other) impl::addToTable(table, object);
  }
  return makeObject<NSSet>(std::move(table));
}

Ref<NSSet> NSSet::setByAddingObjectsFromArray(const Ref<NSArray>& other) const {
  SetTable table = tableOfContents();
  for (const Value& object : impl::elementsOf(other)) impl::addToTable(table, object);
  return makeObject<NSSet>(std::move(table));
}

void NSSet::enumerateObjectsUsingBlock(
    const Block<void(const Value& object, bool& stop)>& block) const {
  impl::requireBlock(block != nullptr, "NSSet enumerateObjectsUsingBlock:");
  const Ref<NSSet> held = impl::held(this);
  bool stop = false;
  for (const Value& object : *this) {
    block(object, stop);
    if (stop) break;
  }
}

Ref<NSSet> NSSet::objectsPassingTest(
    const Block<bool(const Value& object, bool& stop)>& test) const {
  impl::requireBlock(test != nullptr, "NSSet objectsPassingTest:");
  const Ref<NSSet> held = impl::held(this);
  std::vector<Value> passing;
  bool stop = false;
  for (const Value& object : *this) {
    if (test(object, stop)) passing.push_back(object);
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
  if (impl::namesOwnProperty(key)) return NSObject::valueForKey(impl::ownPropertyName(key));
  const impl::KeyNesting nesting;
  const Ref<NSSet> held = impl::held(this);
  SetTable table;
  for (const Value& object : *this) {
    const Value value = impl::memberValueForKey(object, key);
    if (!value.isNull()) impl::addToTable(table, value);
  }
  return makeObject<NSSet>(std::move(table));
}

void NSSet::setValueForKey(const Value& value, const Ref<NSString>& key) {
  const impl::KeyNesting nesting;
  const Ref<NSSet> held(this);
  for (const Value& object : *this) impl::setMemberValueForKey(object, value, key);
}

void NSSet::raiseMutatedDuringWalk() const { impl::raiseMutated(*this); }

}  // namespace JNFoundation
