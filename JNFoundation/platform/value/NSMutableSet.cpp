#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSSet.h>
#include <JNFoundation/platform/value/impl/CollectionSupport.h>
#include <JNFoundation/platform/value/impl/ConcreteCollections.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSMutableSet::classObject = Class::of<NSMutableSet>("NSMutableSet");
constinit const Class ConcreteMutableSet::classObject = Class::of<ConcreteMutableSet>("__NSSetM");

namespace {

const ClassDeclaration<NSMutableSet> declarationOfNSMutableSet =
    ClassDeclaration<NSMutableSet>()
        .factory()
        .operation("addObject:", &NSMutableSet::addObject)
        .operation("removeObject:", &NSMutableSet::removeObject)
        .operation("removeAllObjects", &NSMutableSet::removeAllObjects)
        .operation("unionSet:", &NSMutableSet::unionSet)
        .operation("minusSet:", &NSMutableSet::minusSet)
        .operation("intersectSet:", &NSMutableSet::intersectSet)
        .operation("setSet:", &NSMutableSet::setSet)
        .classOperation("set", &NSMutableSet::set);

/// Only a class that brings another representation is asked, and it must say what a change means.
[[noreturn]] void raiseNotImplemented(const NSObject& set, const char* operation) {
  raise(NSInternalInconsistencyException, "*** -[%s %s]: only defined by a subclass",
        set.class_().name(), operation);
}

}  // namespace

const Class& NSMutableSet::class_() const noexcept {
  return _foreign ? classObject : ConcreteMutableSet::classObject;
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
  return setWithValues(impl::elementsOf(array));
}

Ref<NSMutableSet> NSMutableSet::setWithSet(const Ref<NSSet>& other) {
  return other ? as<NSMutableSet>(other->mutableCopy()) : set();
}

Ref<NSMutableSet> NSMutableSet::setWithValues(std::vector<Value> values) {
  return makeObject<NSMutableSet>(tableOf(std::move(values)));
}

void NSMutableSet::addObject(const Value& object) {
  if (object.isNull()) impl::raiseNullObject(*this, "addObject:");
  if (_foreign) return foreignAddObject(object);
  if (impl::addToTable(_table, object)) ++_mutations;
}

void NSMutableSet::addObjectsFromArray(const Ref<NSArray>& array) {
  for (const Value& object : impl::elementsOf(array)) addObject(object);
}

// What goes is released last, in every operation: its end may reach this set again.

void NSMutableSet::removeObject(const Value& object) {
  if (object.isNull()) return;
  if (_foreign) return foreignRemoveObject(object);
  const std::size_t position = _table.find(object, object.hash());
  if (position == OrderedHashTable<Entry>::npos) return;
  const Entry removed = _table.take(position);
  ++_mutations;
}

void NSMutableSet::removeAllObjects() {
  if (_foreign) return removeObjects(impl::elementsOf(allObjects()));
  const std::vector<Entry> removed = _table.takeAll();
  ++_mutations;
}

void NSMutableSet::unionSet(const Ref<NSSet>& other) {
  if (!other || other.get() == this) return;
  for (const Value& object : *other) addObject(object);
}

void NSMutableSet::minusSet(const Ref<NSSet>& other) {
  if (other) removeObjects(impl::elementsOf(other->allObjects()));
}

void NSMutableSet::intersectSet(const Ref<NSSet>& other) {
  std::vector<Value> doomed;
  for (const Value& object : *this) {
    if (!other || !other->containsObject(object)) doomed.push_back(object);
  }
  removeObjects(doomed);
}

void NSMutableSet::setSet(const Ref<NSSet>& other) {
  if (other.get() == this) return;
  if (_foreign) {
    const std::vector<Value> objects = impl::elementsOf(other ? other->allObjects() : nullptr);
    removeAllObjects();
    for (const Value& object : objects) addObject(object);
    return;
  }
  OrderedHashTable<Entry> table;
  if (other) {
    for (const Value& object : *other) impl::addToTable(table, object);
  }
  _table.swap(table);
  ++_mutations;
}

Value NSMutableSet::copy() const { return makeObject<NSSet>(tableOfContents()); }

void NSMutableSet::foreignAddObject(const Value&) { raiseNotImplemented(*this, "addObject:"); }

void NSMutableSet::foreignRemoveObject(const Value&) {
  raiseNotImplemented(*this, "removeObject:");
}

/// Requires: the objects are held.
void NSMutableSet::removeObjects(const std::vector<Value>& objects) {
  for (const Value& object : objects) removeObject(object);
}

}  // namespace JNFoundation
