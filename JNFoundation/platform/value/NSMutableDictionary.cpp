#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/impl/CollectionSupport.h>
#include <JNFoundation/platform/value/impl/ConcreteCollections.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSMutableDictionary::classObject =
    Class::of<NSMutableDictionary>("NSMutableDictionary");
constinit const Class ConcreteMutableDictionary::classObject =
    Class::of<ConcreteMutableDictionary>("__NSDictionaryM");

namespace {

const ClassDeclaration<NSMutableDictionary> declarationOfNSMutableDictionary =
    ClassDeclaration<NSMutableDictionary>()
        .factory()
        .operation("setObject:forKey:", &NSMutableDictionary::setObjectForKey)
        .operation("removeObjectForKey:", &NSMutableDictionary::removeObjectForKey)
        .operation("removeAllObjects", &NSMutableDictionary::removeAllObjects)
        .operation("addEntriesFromDictionary:", &NSMutableDictionary::addEntriesFromDictionary)
        .operation("setDictionary:", &NSMutableDictionary::setDictionary)
        .classOperation("dictionary", &NSMutableDictionary::dictionary);

}  // namespace

const Class& NSMutableDictionary::class_() const noexcept {
  return ConcreteMutableDictionary::classObject;
}

Ref<NSMutableDictionary> NSMutableDictionary::dictionary() {
  return makeObject<NSMutableDictionary>();
}

Ref<NSMutableDictionary> NSMutableDictionary::dictionaryWithDictionary(
    const Ref<NSDictionary>& other) {
  return other ? as<NSMutableDictionary>(other->mutableCopy()) : dictionary();
}

Ref<NSMutableDictionary> NSMutableDictionary::dictionaryWithEntries(std::vector<Pair> entries) {
  return makeObject<NSMutableDictionary>(tableOf(std::move(entries)));
}

// What goes is released last, in every operation: its end may reach this dictionary again.

void NSMutableDictionary::setObjectForKey(const Value& object, const Value& key) {
  if (key.isNull()) impl::raiseNullObject(*this, "setObject:forKey:", "key");
  if (object.isNull()) impl::raiseNullObject(*this, "setObject:forKey:");
  const Value replaced = put(_table, key, object);
  ++_mutations;
}

void NSMutableDictionary::removeObjectForKey(const Value& key) {
  if (key.isNull()) impl::raiseNullObject(*this, "removeObjectForKey:", "key");
  const std::size_t position = positionOf(key);
  if (position == OrderedHashTable<Entry>::npos) return;
  const Entry removed = _table.take(position);
  ++_mutations;
}

void NSMutableDictionary::removeAllObjects() {
  const std::vector<Entry> removed = _table.takeAll();
  ++_mutations;
}

void NSMutableDictionary::addEntriesFromDictionary(const Ref<NSDictionary>& other) {
  if (!other || other.get() == this) return;
  std::vector<Value> replaced;
  for (const auto& [key, value] : *other) {
    replaced.push_back(put(_table, key, value));
    ++_mutations;
  }
}

void NSMutableDictionary::setDictionary(const Ref<NSDictionary>& other) {
  const Ref<NSMutableDictionary> fresh = dictionaryWithDictionary(other);
  _table.swap(fresh->_table);
  ++_mutations;
}

void NSMutableDictionary::setValueForKey(const Value& value, const Ref<NSString>& key) {
  if (value.isNull()) {
    removeObjectForKey(key);
  } else {
    setObjectForKey(value, key);
  }
}

Value NSMutableDictionary::copy() const { return makeObject<NSDictionary>(compactedTable()); }

}  // namespace JNFoundation
