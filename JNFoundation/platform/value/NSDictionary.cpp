#include "JNFoundation/platform/value/NSDictionary.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/impl/CollectionSupport.h>
#include <JNFoundation/platform/value/impl/ConcreteCollections.h>
#include <JNFoundation/platform/value/impl/ContainerEquality.h>
#include <JNFoundation/platform/value/impl/DescriptionWriter.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSDictionary::classObject = Class::of<NSDictionary>("NSDictionary");
constinit const Class ConcreteDictionary::classObject =
    Class::of<ConcreteDictionary>("__NSDictionaryI");

namespace {

const ClassDeclaration<NSDictionary> declarationOfNSDictionary =
    ClassDeclaration<NSDictionary>()
        .factory()
        .operation("count", &NSDictionary::count)
        .operation("allKeys", &NSDictionary::allKeys)
        .operation("allValues", &NSDictionary::allValues)
        .operation("objectForKey:", &NSDictionary::objectForKey)
        .classOperation("dictionary", &NSDictionary::dictionary);

std::uint64_t hashOf(const Value& key) {
  if (const NSString* text = as<NSString>(key)) return text->contentHash();
  return key.hash();
}

/// A key that the dictionary may keep: nobody can change it from outside.
Value ownKey(const Value& key) {
  if (!key.isObject() || key.isString()) return key;
  Value copy = key.copy();
  if (copy.isNull()) {
    raise(NSInvalidArgumentException, "-[%s copy]: a key of a dictionary must have a copy, not nil",
          key.class_()->name());
  }
  return copy;
}

/// Compares strings, which most keys are, without asking what else may be equal to them.
template <class Table>
std::size_t positionInTable(const Table& table, const NSString& key) {
  return table.findWhere(key.contentHash(), [&](const Value& candidate) {
    if (candidate.object() == &key) return true;
    const NSString* text = as<NSString>(candidate);
    return text && text->hasContentOf(key);
  });
}

template <class Table>
std::size_t positionInTable(const Table& table, const Value& key, std::uint64_t hash) {
  if (const NSString* text = as<NSString>(key)) return positionInTable(table, *text);
  return table.find(key, hash);
}

}  // namespace

NSDictionary::~NSDictionary() = default;

const Class& NSDictionary::class_() const noexcept { return ConcreteDictionary::classObject; }

Ref<NSDictionary> NSDictionary::dictionary() {
  static const auto* empty = [] {
    impl::excludeFromLiveObjects();
    return new Ref<NSDictionary>(makeObject<NSDictionary>());
  }();
  return *empty;
}

Ref<NSDictionary> NSDictionary::dictionaryWithObjectForKey(const Value& object, const Value& key) {
  return dictionaryWithEntries({{key, object}});
}

Ref<NSDictionary> NSDictionary::dictionaryWithDictionary(const Ref<NSDictionary>& other) {
  return other ? as<NSDictionary>(other->copy()) : dictionary();
}

Ref<NSDictionary> NSDictionary::dictionaryWithEntries(std::vector<Pair> entries) {
  return makeObject<NSDictionary>(tableOf(std::move(entries)));
}

Value NSDictionary::put(Table& table, const Value& key, Value value) {
  if (const NSString* text = as<NSString>(key)) {
    const std::size_t position = positionInTable(table, *text);
    if (position != Table::npos) return std::exchange(table.at(position).value, std::move(value));
    table.append({key, std::move(value), text->contentHash()});
    return nullptr;
  }
  Value own = ownKey(key);
  const std::uint64_t hash = hashOf(own);
  const std::size_t position = positionInTable(table, own, hash);
  if (position != Table::npos) return std::exchange(table.at(position).value, std::move(value));
  table.append({std::move(own), std::move(value), hash});
  return nullptr;
}

NSDictionary::Table NSDictionary::tableOf(std::vector<Pair> entries) {
  Table table;
  table.reserve(entries.size());
  for (std::size_t i = 0; i < entries.size(); ++i) {
    auto& [key, value] = entries[i];
    if (key.isNull() || value.isNull()) {
      raise(
          NSInvalidArgumentException,
          "*** -[__NSPlaceholderDictionary initWithObjects:forKeys:count:]: attempt to insert nil "
          "object from %s[%zu]",
          key.isNull() ? "keys" : "objects", i);
    }
    put(table, key, std::move(value));
  }
  return table;
}

NSDictionary::Table NSDictionary::compactedTable() const {
  Table table = _table;
  table.compact();
  return table;
}

std::size_t NSDictionary::positionOf(const Value& key) const {
  return positionInTable(_table, key, hashOf(key));
}

const Value* NSDictionary::find(const Value& key) const {
  if (key.isNull()) return nullptr;
  if (const NSString* text = as<NSString>(key)) return find(*text);
  const std::size_t position = positionOf(key);
  return position == Table::npos ? nullptr : &_table.at(position).value;
}

const Value* NSDictionary::find(const NSString& key) const {
  const std::size_t position = positionInTable(_table, key);
  return position == Table::npos ? nullptr : &_table.at(position).value;
}

const Value* NSDictionary::findText(std::string_view key) const {
  const std::uint64_t hash = NSString::contentHashOf(key);
  const std::size_t position = _table.findWhere(hash, [&](const Value& candidate) {
    const NSString* text = as<NSString>(candidate);
    return text && text->utf8() == key;
  });
  return position == Table::npos ? nullptr : &_table.at(position).value;
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
  const Value wanted = impl::held(object);
  std::vector<Value> keys;
  for (const auto& [key, value] : *this) {
    if (value.isEqual(wanted)) keys.push_back(key);
  }
  return NSArray::arrayWithValues(std::move(keys));
}

bool NSDictionary::isEqualToDictionary(const Ref<NSDictionary>& other) const {
  return isEqual(Value(other));
}

void NSDictionary::enumerateKeysAndObjectsUsingBlock(
    const Block<void(const Value& key, const Value& object, bool& stop)>& block) const {
  impl::requireBlock(block != nullptr, "NSDictionary enumerateKeysAndObjectsUsingBlock:");
  const Ref<NSDictionary> held = impl::held(this);
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

Value NSDictionary::mutableCopy() const {
  return makeObject<NSMutableDictionary>(compactedTable());
}

Value NSDictionary::valueForKey(const Ref<NSString>& key) const {
  if (impl::namesOwnProperty(key)) return NSObject::valueForKey(impl::ownPropertyName(key));
  return objectForKey(key);
}

void NSDictionary::raiseMutatedDuringWalk() const { impl::raiseMutated(*this); }

void NSDictionary::Builder::set(Value key, Value value) {
  if (!key.isNull() && !value.isNull()) put(_table, key, std::move(value));
}

Ref<NSDictionary> NSDictionary::Builder::finish() {
  return makeObject<NSDictionary>(std::exchange(_table, {}));
}

}  // namespace JNFoundation
