#include "JNFoundation/platform/value/NSDictionary.h"

#include <JNFoundation/platform/text/Hash.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/impl/ContainerEquality.h>
#include <JNFoundation/platform/value/impl/DescriptionWriter.h>

namespace JNFoundation {

constinit const Class NSDictionary::classObject = Class::of<NSDictionary>("NSDictionary");

namespace {

/// The concrete class, as log texts name it.
struct PlainDictionary {
  using Superclass = NSDictionary;
  static const Class classObject;
};
constinit const Class PlainDictionary::classObject = Class::of<PlainDictionary>("__NSDictionaryI");

const ClassDeclaration<NSDictionary> declaration =
    ClassDeclaration<NSDictionary>()
        .operation("count", &NSDictionary::count)
        .operation("allKeys", &NSDictionary::allKeys)
        .operation("allValues", &NSDictionary::allValues)
        .operation("objectForKey:", &NSDictionary::objectForKey)
        .classOperation("dictionary", &NSDictionary::dictionary);

using Table = OrderedHashTable<NSDictionary::Entry>;

std::uint64_t hashOf(const Value& key) {
  if (const NSString* text = as<NSString>(key)) return text->contentHash();
  return key.hash();
}

/// Sets the value under the key, in its old place if it is there. Returns: what was there before.
Value put(Table& table, Value key, Value value) {
  const std::uint64_t hash = hashOf(key);
  const std::size_t position = table.find(key, hash);
  if (position != Table::npos) return std::exchange(table.at(position).value, std::move(value));
  table.append({std::move(key), std::move(value), hash});
  return nullptr;
}

[[noreturn]] void raiseNull(const char* what) {
  raise(NSInvalidArgumentException, "*** -[__NSDictionaryM setObject:forKey:]: %s cannot be nil",
        what);
}

Table tableOfEntries(std::vector<NSDictionary::Pair> entries) {
  Table table;
  table.reserve(entries.size());
  for (auto& [key, value] : entries) {
    if (key.isNull()) raiseNull("key");
    if (value.isNull()) raiseNull("object");
    put(table, key.copy(), std::move(value));
  }
  return table;
}

}  // namespace

NSDictionary::~NSDictionary() = default;

const Class& NSDictionary::class_() const noexcept { return PlainDictionary::classObject; }

Ref<NSDictionary> NSDictionary::dictionary() {
  static const auto* empty = new Ref<NSDictionary>(makeObject<NSDictionary>());
  return *empty;
}

Ref<NSDictionary> NSDictionary::dictionaryWithObjectForKey(const Value& object, const Value& key) {
  return dictionaryWithEntries({{key, object}});
}

Ref<NSDictionary> NSDictionary::dictionaryWithDictionary(const Ref<NSDictionary>& other) {
  return other ? as<NSDictionary>(other->copy()) : dictionary();
}

Ref<NSDictionary> NSDictionary::dictionaryWithEntries(std::vector<Pair> entries) {
  return makeObject<NSDictionary>(tableOfEntries(std::move(entries)));
}

const Value* NSDictionary::find(const Value& key) const {
  if (key.isNull()) return nullptr;
  if (const NSString* text = as<NSString>(key)) return find(*text);
  const std::size_t position = _table.find(key, hashOf(key));
  return position == Table::npos ? nullptr : &_table.at(position).value;
}

const Value* NSDictionary::find(const NSString& key) const {
  const std::size_t position = _table.findWhere(key.contentHash(), [&](const Value& candidate) {
    if (candidate.object() == &key) return true;
    const NSString* text = as<NSString>(candidate);
    return text && text->hasContentOf(key);
  });
  return position == Table::npos ? nullptr : &_table.at(position).value;
}

const Value* NSDictionary::findText(std::string_view key) const {
  const std::uint64_t hash = hashBytes(key);
  const std::size_t position = _table.findWhere(hash != 0 ? hash : 1, [&](const Value& candidate) {
    const NSString* text = as<NSString>(candidate);
    return text && text->utf8() == key;
  });
  return position == Table::npos ? nullptr : &_table.at(position).value;
}

bool NSDictionary::entryAfter(std::size_t& position, Value& key, Value& value) const {
  while (position < _table.end()) {
    const Entry& entry = _table.at(position++);
    if (entry.key.isNull()) continue;
    key = entry.key;
    value = entry.value;
    return true;
  }
  return false;
}

Ref<NSArray> NSDictionary::allKeys() const {
  std::vector<Value> keys;
  keys.reserve(count());
  for (auto place = begin(); place != end(); ++place) keys.push_back(place.entry().key);
  return NSArray::arrayWithValues(std::move(keys));
}

Ref<NSArray> NSDictionary::allValues() const {
  std::vector<Value> values;
  values.reserve(count());
  for (auto place = begin(); place != end(); ++place) values.push_back(place.entry().value);
  return NSArray::arrayWithValues(std::move(values));
}

Ref<NSArray> NSDictionary::allKeysForObject(const Value& object) const {
  std::vector<Value> keys;
  for (const auto& [key, value] : *this) {
    if (value.isEqual(object)) keys.push_back(key);
  }
  return NSArray::arrayWithValues(std::move(keys));
}

bool NSDictionary::isEqualToDictionary(const Ref<NSDictionary>& other) const {
  return isEqual(Value(other));
}

void NSDictionary::enumerateKeysAndObjectsUsingBlock(
    const Block<void(const Value& key, const Value& object, bool& stop)>& block) const {
  const Ref<const NSDictionary> held(this);
  bool stop = false;
  for (const auto& [key, value] : *this) {
    block(key, value, stop);
    if (stop) break;
  }
}

bool NSDictionary::isEqual(const Value& other) const {
  return ContainerEquality::equal(*this, other);
}

std::size_t NSDictionary::hash() const { return static_cast<std::size_t>(count()); }

Ref<NSString> NSDictionary::description() const { return DescriptionWriter::describe(*this); }

Value NSDictionary::copy() const { return Value(const_cast<NSDictionary*>(this)); }

Value NSDictionary::mutableCopy() const { return makeObject<NSMutableDictionary>(_table); }

Value NSDictionary::valueForKey(const Ref<NSString>& key) const {
  if (key && key->hasPrefix("@")) return NSObject::valueForKey(key->substringFromIndex(1));
  return objectForKey(key);
}

void NSDictionary::raiseMutatedDuringWalk() const {
  raise(NSGenericException, "*** Collection <%s: %p> was mutated while being enumerated.",
        class_().name(), static_cast<const void*>(this));
}

void NSDictionary::Builder::set(Value key, Value value) {
  if (!key.isNull() && !value.isNull()) put(_table, std::move(key), std::move(value));
}

Ref<NSDictionary> NSDictionary::Builder::finish() {
  return makeObject<NSDictionary>(std::exchange(_table, {}));
}

constinit const Class NSMutableDictionary::classObject =
    Class::of<NSMutableDictionary>("NSMutableDictionary");

namespace {

/// The concrete class, as log texts name it.
struct PlainMutableDictionary {
  using Superclass = NSMutableDictionary;
  static const Class classObject;
};
constinit const Class PlainMutableDictionary::classObject =
    Class::of<PlainMutableDictionary>("__NSDictionaryM");

const ClassDeclaration<NSMutableDictionary> mutableDeclaration =
    ClassDeclaration<NSMutableDictionary>()
        .factory([]() -> Ref<NSObject> { return NSMutableDictionary::dictionary(); })
        .operation("setObject:forKey:", &NSMutableDictionary::setObjectForKey)
        .operation("removeObjectForKey:", &NSMutableDictionary::removeObjectForKey)
        .operation("removeAllObjects", &NSMutableDictionary::removeAllObjects)
        .classOperation("dictionary", &NSMutableDictionary::dictionary);

}  // namespace

const Class& NSMutableDictionary::class_() const noexcept {
  return PlainMutableDictionary::classObject;
}

Ref<NSMutableDictionary> NSMutableDictionary::dictionary() {
  return makeObject<NSMutableDictionary>();
}

Ref<NSMutableDictionary> NSMutableDictionary::dictionaryWithDictionary(
    const Ref<NSDictionary>& other) {
  return other ? as<NSMutableDictionary>(other->mutableCopy()) : dictionary();
}

Ref<NSMutableDictionary> NSMutableDictionary::dictionaryWithEntries(std::vector<Pair> entries) {
  return makeObject<NSMutableDictionary>(tableOfEntries(std::move(entries)));
}

void NSMutableDictionary::setObjectForKey(const Value& object, const Value& key) {
  if (key.isNull()) raiseNull("key");
  if (object.isNull()) raiseNull("object");
  Value ownKey = key.copy();
  ++_mutations;
  // What was there is released last: its end may reach this dictionary.
  const Value before = put(_table, std::move(ownKey), object);
}

void NSMutableDictionary::removeObjectForKey(const Value& key) {
  if (key.isNull()) return;
  const std::size_t position = _table.find(key, hashOf(key));
  if (position == Table::npos) return;
  ++_mutations;
  const Entry removed = _table.take(position);
}

void NSMutableDictionary::removeAllObjects() {
  ++_mutations;
  const std::vector<Entry> removed = _table.takeAll();
}

void NSMutableDictionary::addEntriesFromDictionary(const Ref<NSDictionary>& other) {
  if (!other || other.get() == this) return;
  for (const auto& [key, value] : *other) setObjectForKey(value, key);
}

void NSMutableDictionary::setDictionary(const Ref<NSDictionary>& other) {
  Ref<NSMutableDictionary> fresh = dictionaryWithDictionary(other);
  ++_mutations;
  _table.swap(fresh->_table);
}

void NSMutableDictionary::setValueForKey(const Value& value, const Ref<NSString>& key) {
  if (value.isNull()) {
    removeObjectForKey(key);
  } else {
    setObjectForKey(value, key);
  }
}

Value NSMutableDictionary::copy() const { return makeObject<NSDictionary>(_table); }

}  // namespace JNFoundation
