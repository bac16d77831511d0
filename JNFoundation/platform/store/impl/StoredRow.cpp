#include "JNFoundation/platform/store/impl/StoredRow.h"

#include <JNFoundation/platform/store/impl/ObjectAccess.h>
#include <JNFoundation/platform/store/impl/TransformedValue.h>
#include <JNFoundation/platform/text/Hash.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::inline v0_1::impl {

constinit const Class RecordIdentity::classObject = Class::of<RecordIdentity>("JNRecordIdentity");
constinit const Class StoredRow::classObject = Class::of<StoredRow>("JNStoredRow");
constinit const Class ObjectRow::classObject = Class::of<ObjectRow>("JNObjectRow");

// ---- Identities ---------------------------------------------------------------------------------

bool RecordIdentity::isEqual(const Value& other) const {
  if (other.object() == this) return true;
  const auto* identity = as<RecordIdentity>(other);
  return identity && identity->_key == _key && _key.number != 0;
}

std::size_t RecordIdentity::hash() const {
  return static_cast<std::size_t>(mixHash(static_cast<std::uint64_t>(_key.number)));
}

Value RecordIdentity::valueForKey(const Ref<NSString>& key) const {
  const bool isItself = key && (key->utf8() == "self" || key->utf8() == "objectID");
  return isItself ? Value(const_cast<RecordIdentity*>(this)) : Value();
}

// ---- Related rows -------------------------------------------------------------------------------

Value RowSource::row(const NSManagedObjectID& identifier) {
  auto& known = _known[&identifier.entity()->layout().root()];
  const auto found = known.find(identifier.number());
  if (found != known.end()) return found->second;
  RowCollector collector(*this);
  Ref<NSError> error;
  if (!_store.fetchRow(*identifier.entity(), identifier.number(), collector, &error)) {
    throw UnreadableRows{error};
  }
  Value row = collector.rows.empty() ? Value() : collector.rows.front();
  known.emplace(identifier.number(), row);
  return row;
}

Value RowSource::relatedRows(const NSRelationshipDescription& relationship,
                             std::int64_t primaryKey) {
  RowCollector collector(*this);
  Ref<NSError> error;
  if (!_store.fetchRelated(relationship, primaryKey, collector, &error))
    throw UnreadableRows{error};
  if (relationship.isOrdered())
    return NSOrderedSet::orderedSetWithValues(std::move(collector.rows));
  return NSSet::setWithValues(std::move(collector.rows));
}

// ---- Rows ---------------------------------------------------------------------------------------

void StoredRow::pointTo(const NSEntityDescription& entity, std::int64_t primaryKey,
                        std::uint32_t version, const Value* values) noexcept {
  if (&entity != _entity) _key.hierarchy = _source.store().hierarchyOf(entity);
  _key.number = primaryKey;
  _entity = &entity;
  _version = version;
  _values = values;
}

Ref<NSManagedObjectID> StoredRow::objectID() const {
  return ObjectAccess::makeID(Ref<NSEntityDescription>(const_cast<NSEntityDescription*>(_entity)),
                              _key.number, &_source.store());
}

Value StoredRow::attributeAtIndex(std::size_t index) const {
  const EntityLayout::Slot& slot = _entity->layout()[index];
  return slot.isTransformed() ? valueOfPlace(_values[index], slot.attribute) : _values[index];
}

Value StoredRow::valueForKey(const Ref<NSString>& key) const {
  if (key) {
    const EntityLayout& layout = _entity->layout();
    const std::size_t index = layout.indexOf(*key);
    if (index != EntityLayout::none) {
      const EntityLayout::Slot& slot = layout[index];
      if (!slot.relationship) return attributeAtIndex(index);
      if (slot.isToMany()) return _source.relatedRows(*slot.relationship, _key.number);
      const auto* identifier = as<NSManagedObjectID>(_values[index]);
      return identifier ? _source.row(*identifier) : Value();
    }
    if (key->utf8() == "entity") {
      return Ref<NSEntityDescription>(const_cast<NSEntityDescription*>(_entity));
    }
    if (Value itself = RecordIdentity::valueForKey(key); !itself.isNull()) return itself;
  }
  raise(NSUndefinedKeyException,
        "[<NSManagedObject %p> valueForUndefinedKey:]: the entity %@ is not key value "
        "coding-compliant for the key \"%@\".",
        static_cast<const void*>(this), _entity->name(), Value(key));
}

ObjectRow::ObjectRow(Ref<NSManagedObject> object)
    : RecordIdentity(ObjectAccess::key(*object)), _object(std::move(object)) {}

Value ObjectRow::valueForKey(const Ref<NSString>& key) const {
  if (Value itself = RecordIdentity::valueForKey(key); !itself.isNull()) return itself;
  Value value = _object->valueForKey(key);
  const auto rowOf = [](const Value& object) {
    return Value(makeObject<ObjectRow>(Ref<NSManagedObject>(as<NSManagedObject>(object))));
  };
  if (isKindOf<NSManagedObject>(value)) return rowOf(value);
  const EntityLayout& layout = _object->entity()->layout();
  const std::size_t index = layout.indexOf(*key);
  if (index == EntityLayout::none || !layout[index].isToMany()) return value;
  std::vector<Value> rows;
  if (const auto* ordered = as<NSOrderedSet>(value)) {
    for (const Value& member : *ordered) rows.push_back(rowOf(member));
    return NSOrderedSet::orderedSetWithValues(std::move(rows));
  }
  const auto* set = as<NSSet>(value);
  if (!set) return value;
  for (const Value& member : *set) rows.push_back(rowOf(member));
  return NSSet::setWithValues(std::move(rows));
}

Value* RowCollector::beginRow(const NSEntityDescription& entity, std::int64_t primaryKey,
                              std::uint32_t version) {
  auto values = ValueArray(entity.layout().count());
  Value* places = values.get();
  rows.emplace_back(makeObject<StoredRow>(_source, entity, primaryKey, version, std::move(values)));
  return places;
}

Value* RowVisitor::beginRow(const NSEntityDescription& entity, std::int64_t primaryKey,
                            std::uint32_t version) {
  _row = makeObject<StoredRow>(_source, entity, primaryKey, version,
                               ValueArray(entity.layout().count()));
  return _row->ownedValues();
}

void RowVisitor::endRow() { _visit(*_row); }

}  // namespace JNFoundation::impl
