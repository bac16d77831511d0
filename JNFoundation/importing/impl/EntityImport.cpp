#include "JNFoundation/importing/impl/EntityImport.h"

#include <algorithm>
#include <limits>
#include <utility>

#include <JNFoundation/deferred/Rejected.h>
#include <JNFoundation/importing/ImportReport.h>
#include <JNFoundation/mapping/PLVManagedObject.h>
#include <JNFoundation/platform/query/NSCompoundPredicate.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/NSFetchRequest.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

/// The attributes of these names. Fails: throws a Rejected for another name.
std::vector<Ref<NSAttributeDescription>> attributesNamed(const Ref<NSArray>& names,
                                                         const NSEntityDescription& entity) {
  std::vector<Ref<NSAttributeDescription>> attributes;
  const Ref<NSDictionary> known = entity.attributesByName();
  for (const Value& name : names) {
    auto attribute = as<NSAttributeDescription>(known->objectForKey(name));
    if (!attribute) {
      throw Rejected(Value(importError(
          JNImportErrorBadEntity,
          NSString::stringWithFormat("The entity %@ has no attribute %@ to tell its objects apart.",
                                     entity.name(), name))));
    }
    attributes.push_back(std::move(attribute));
  }
  return attributes;
}

/// The first uniqueness constraint of the entity or an ancestor that has attributes only.
std::vector<Ref<NSAttributeDescription>> declaredIdentity(
    const Ref<NSEntityDescription>& described) {
  const Ref<NSDictionary> known = described->attributesByName();
  for (Ref<NSEntityDescription> entity = described; entity; entity = entity->superentity()) {
    for (const Value& constraint : entity->uniquenessConstraints()) {
      std::vector<Ref<NSAttributeDescription>> attributes;
      const Ref<NSArray> names = Ref<NSArray>(as<NSArray>(constraint));
      for (const Value& name : names) {
        auto attribute = as<NSAttributeDescription>(known->objectForKey(name));
        if (!attribute) break;
        attributes.push_back(std::move(attribute));
      }
      if (!attributes.empty() && attributes.size() == names->count()) return attributes;
    }
  }
  return {};
}

bool contains(const std::vector<Ref<NSAttributeDescription>>& attributes,
              const Ref<NSString>& name) {
  for (const auto& attribute : attributes) {
    if (Value(attribute->name()) == Value(name)) return true;
  }
  return false;
}

/// The map without the rules that lead elsewhere than to these attributes. A map is as deep as
/// somebody has written it, so nothing recurses.
Ref<PLVDictionaryDataMap> restrictedMap(
    const PLVDictionaryDataMap& whole, const std::vector<Ref<NSAttributeDescription>>& attributes) {
  struct Node {
    const PLVDictionaryDataMap* map;
    std::size_t parent;
    Value key;
    Ref<NSMutableDictionary> dictionaryMaps = NSMutableDictionary::dictionary();
  };
  std::vector<Node> nodes{{&whole, 0, nullptr}};
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    for (const auto& [key, nested] : *nodes[i].map->dictionaryMaps()) {
      if (const auto* map = as<PLVDictionaryDataMap>(nested)) nodes.push_back({map, i, key});
    }
  }
  for (std::size_t i = nodes.size(); i-- > 0;) {
    Ref<NSMutableDictionary> scalarMaps = NSMutableDictionary::dictionary();
    for (const auto& [key, scalar] : *nodes[i].map->scalarMaps()) {
      const auto* map = as<PLVScalarDataMap>(scalar);
      if (map && map->destination() && contains(attributes, map->destination())) {
        scalarMaps->setObjectForKey(scalar, key);
      }
    }
    auto restricted = PLVDictionaryDataMap::initWithEntityNameScalarMapsDictionaryMaps(
        whole.entityName(), scalarMaps, nodes[i].dictionaryMaps);
    if (i == 0) return restricted;
    nodes[nodes[i].parent].dictionaryMaps->setObjectForKey(restricted, nodes[i].key);
  }
  return nullptr;
}

/// The value as an attribute of the type keeps it, so that it equals what a fetch reads.
Value asKept(const Value& value, NSAttributeType type) {
  if (!value.isNumber()) return value;
  if (type == NSFloatAttributeType) return Value(static_cast<double>(value.floatValue()));
  return value;
}

/// Whether stores sort by attributes of the type themselves.
bool isOrdered(NSAttributeType type) {
  switch (type) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
    case NSDoubleAttributeType:
    case NSFloatAttributeType:
    case NSStringAttributeType:
    case NSDateAttributeType:
      return true;
    default:
      return false;
  }
}

/// The bounds of whole numbers that are so close together that all that is between them may be read
/// along.
std::optional<std::pair<std::int64_t, std::int64_t>> denseRange(
    const std::vector<Value>& identities) {
  std::int64_t least = std::numeric_limits<std::int64_t>::max();
  std::int64_t greatest = std::numeric_limits<std::int64_t>::min();
  for (const Value& identity : identities) {
    if (identity.kind() != Value::Kind::Integer) return std::nullopt;
    least = std::min(least, identity.longLongValue());
    greatest = std::max(greatest, identity.longLongValue());
  }
  const std::uint64_t width =
      static_cast<std::uint64_t>(greatest) - static_cast<std::uint64_t>(least);
  if (identities.size() < 16 || width / 2 > identities.size()) return std::nullopt;
  return std::pair(least, greatest);
}

}  // namespace

Ref<NSError> importError(NSInteger code, const Ref<NSString>& sentence,
                         std::vector<NSDictionary::Pair> details) {
  details.push_back({NSLocalizedDescriptionKey, sentence});
  return NSError::errorWithDomainCodeUserInfo(
      JNImportErrorDomain, code, NSDictionary::dictionaryWithEntries(std::move(details)));
}

Ref<NSError> raisedError(const Raised& raised) {
  const NSException& exception = *raised.exception();
  return importError(JNImportErrorRaised,
                     NSString::stringWithFormat("%@: %@", exception.name(), exception.reason()));
}

EntityImport::EntityImport(Ref<NSManagedObjectContext> context, Ref<NSEntityDescription> entity,
                           const Ref<NSArray>& identity, Ref<PLVDictionaryDataMap> map,
                           Ref<PLVDataMapFilter> filter)
    : _context(std::move(context)),
      _entity(std::move(entity)),
      _map(std::move(map)),
      _filter(std::move(filter)) {
  if (_entity->isAbstract()) {
    throw Rejected(Value(importError(
        JNImportErrorBadEntity,
        NSString::stringWithFormat("The entity %@ is abstract: it has no objects of its own.",
                                   _entity->name()))));
  }
  _identity = identity ? attributesNamed(identity, *_entity) : declaredIdentity(_entity);
  _scratch = NSManagedObject::initWithEntityInsertIntoManagedObjectContext(_entity, nullptr);
  if (!_map) {
    const Value scratch(_scratch);
    if (const auto* object = as<PLVManagedObject>(scratch)) _map = object->entityDataMap();
  }
  if (!_map) {
    _map = PLVDictionaryDataMap::newMapForEntityDescriptor(
        _entity, PLVDictionaryDataMap::automaticMapDescriptorForEntity(_entity));
  }
  _identityMap = restrictedMap(*_map, _identity);
  findPlainIdentity();
}

void EntityImport::findPlainIdentity() {
  if (_identity.size() != 1 || _identityMap->dictionaryMaps()->count() > 0 ||
      _identityMap->scalarMaps()->count() != 1 ||
      _scratch->declaresAccessorForKey(_identity.front()->name())) {
    return;
  }
  const Value key = _identityMap->scalarMaps()->allKeys()->firstObject();
  const Value rule = _identityMap->scalarMaps()->objectForKey(key);
  const auto* map = as<PLVScalarDataMap>(rule);
  if (map && !map->filterName()) _plainIdentityKey = Ref<NSString>(as<NSString>(key));
}

template <class ValueAt>
Value EntityImport::identityOf(const ValueAt& valueAt) const {
  std::vector<Value> values;
  for (std::size_t i = 0; i < _identity.size(); ++i) {
    Value value = asKept(valueAt(i), _identity[i]->attributeType());
    if (value.isNull() || _identity.size() == 1) return value;
    values.push_back(std::move(value));
  }
  return values.empty() ? Value() : Value(NSArray::arrayWithValues(std::move(values)));
}

Value EntityImport::identityOfRecord(const Ref<NSDictionary>& record) {
  if (_plainIdentityKey) {
    // Whatever the attribute keeps as it comes need not be put into an object first.
    const Value* value = record->find(*_plainIdentityKey);
    if (!value) return nullptr;
    const NSAttributeType type = _identity.front()->attributeType();
    if ((type == NSInteger64AttributeType && value->kind() == Value::Kind::Integer) ||
        (type == NSStringAttributeType && value->isString())) {
      return *value;
    }
  }
  clearScratch();
  _identityMap->mapDictionaryToObjectFilter(record, _scratch, _filter);
  return identityOfScratch();
}

Value EntityImport::identityOfValue(const Value& value) {
  if (_identity.size() != 1 || value.isNull() || value.isNSNull()) return nullptr;
  clearScratch();
  const NSAttributeDescription& attribute = *_identity.front();
  PLVScalarDataMap::initWithEntityNameFilterAttributeNameAttributeType(
      _entity->name(), nullptr, attribute.name(), attribute.attributeType())
      ->mapValueToObjectFilter(value, _scratch, nullptr);
  return identityOfScratch();
}

Value EntityImport::identityOfObject(const NSManagedObject& object) const {
  return identityOf([&](std::size_t i) { return object.valueForKey(_identity[i]->name()); });
}

Value EntityImport::identityOfScratch() const { return identityOfObject(*_scratch); }

void EntityImport::clearScratch() {
  for (const auto& attribute : _identity) _scratch->setValueForKey(nullptr, attribute->name());
}

Ref<NSFetchRequest> EntityImport::requestFor(const std::vector<Value>& identities) const {
  std::vector<Value> conditions;
  for (std::size_t i = 0; i < _identity.size(); ++i) {
    const Ref<NSString>& name = _identity[i]->name();
    if (_identity.size() > 1) {
      // Of several attributes each is held against all its values, which finds more than is wanted.
      const Ref<NSMutableSet> parts = NSMutableSet::set();
      for (const Value& identity : identities) {
        parts->addObject(as<NSArray>(identity)->objectAtIndex(i));
      }
      conditions.emplace_back(NSPredicate::predicateWithFormat("%K IN %@", name, Value(parts)));
    } else if (const auto range = denseRange(identities)) {
      conditions.emplace_back(NSPredicate::predicateWithFormat(
          "%K BETWEEN %@", name,
          Value(NSArray::arrayWithValues({Value(range->first), Value(range->second)}))));
    } else {
      conditions.emplace_back(NSPredicate::predicateWithFormat(
          "%K IN %@", name, Value(NSArray::arrayWithValues(identities))));
    }
  }
  Ref<NSFetchRequest> request = NSFetchRequest::init();
  request->setEntity(_entity);
  request->setPredicate(NSCompoundPredicate::andPredicateWithSubpredicates(
      NSArray::arrayWithValues(std::move(conditions))));
  if (isOrdered(_identity.front()->attributeType())) {
    // As an index finds them, so that the store need not put them into its own order first.
    request->setSortDescriptors(NSArray::arrayWithObject(
        NSSortDescriptor::sortDescriptorWithKeyAscending(_identity.front()->name(), true)));
  }
  return request;
}

bool EntityImport::canCompare() const {
  return hasIdentity() && !_context->hasChanges() && !_context->parentContext() &&
         !mappingObserver(_context);
}

void EntityImport::prepareComparison() {
  _comparison.emplace(_map, *_entity);
  _compared = NSMutableArray::arrayWithArray(_comparison->attributes());
  for (const auto& attribute : _identity) {
    const Value name(attribute->name());
    if (!_compared->containsObject(name)) _compared->addObject(name);
    _comparedIdentity.push_back(static_cast<std::size_t>(_compared->indexOfObject(name)));
  }
}

void EntityImport::compare(std::vector<ImportItem>& items) {
  if (!_comparison) prepareComparison();
  // Records of a feed are alike: where neither the first nor the last can be compared, hardly any
  // of those between them can.
  if (items.empty() ||
      (!_comparison->isPlain(items.front().record) && !_comparison->isPlain(items.back().record))) {
    return;
  }
  std::vector<Value> identities;
  identities.reserve(items.size());
  for (const ImportItem& item : items) {
    if (!item.isRepeated) identities.push_back(item.identity);
  }
  if (identities.empty()) return;
  const Ref<NSFetchRequest> request = requestFor(identities);
  request->setResultType(NSDictionaryResultType);
  request->setPropertiesToFetch(_compared);

  // The rows mostly come in the order of the records; the table is for those that do not.
  std::size_t next = 0;
  Ref<NSMutableDictionary> places;
  const auto itemOf = [&](const Value& identity) -> ImportItem* {
    while (next < items.size() && items[next].isRepeated) ++next;
    if (next < items.size() && items[next].identity == identity) return &items[next++];
    if (!places) {
      places = NSMutableDictionary::dictionary();
      for (std::size_t i = 0; i < items.size(); ++i) {
        if (!items[i].isRepeated) places->setObjectForKey(i, items[i].identity);
      }
    }
    const Value* place = places->find(identity);
    if (!place) return nullptr;
    const auto found = static_cast<std::size_t>(place->unsignedLongLongValue());
    next = found + 1;
    return &items[found];
  };
  Ref<NSError> error;
  const bool succeeded = _context->enumerateValuesOfFetchRequestErrorUsingBlock(
      request, &error, [&](std::span<Value> values, bool&) {
        const Value identity =
            identityOf([&](std::size_t i) { return values[_comparedIdentity[i]]; });
        ImportItem* item = identity.isNull() ? nullptr : itemOf(identity);
        // Of several objects the first is the record's.
        if (!item || item->finding != ImportItem::Finding::None) return;
        item->finding = _comparison->isSettled(item->record, values) ? ImportItem::Finding::Settled
                                                                     : ImportItem::Finding::Differs;
        if (next < items.size() && !items[next].isRepeated) {
          _comparison->expect(items[next].record, values);
        }
      });
  if (!succeeded) throw Rejected(Value(error));
  for (ImportItem& item : items) {
    if (!item.isRepeated && item.finding == ImportItem::Finding::None) {
      item.finding = ImportItem::Finding::Absent;
    }
  }
}

void EntityImport::addObjectsOfIdentities(const std::vector<Value>& identities,
                                          const Ref<NSMutableDictionary>& objects) const {
  if (identities.empty()) return;
  const Ref<NSFetchRequest> request = requestFor(identities);
  // What the context has of them may be older than what the store has.
  request->setShouldRefreshRefetchedObjects(true);
  Ref<NSError> error;
  const Ref<NSArray> found = _context->executeFetchRequestError(request, &error);
  if (!found) throw Rejected(Value(error));
  // More than is wanted may have been found, and what is unsaved stays as it is.
  const Ref<NSSet> wanted = NSSet::setWithArray(NSArray::arrayWithValues(identities));
  for (const Value& value : found) {
    Value identity = identityOfObject(*as<NSManagedObject>(value));
    if (!wanted->containsObject(identity) || objects->find(identity)) continue;
    objects->setObjectForKey(value, identity);
  }
}

Ref<NSManagedObject> EntityImport::insertObject() const {
  return NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(_entity->name(),
                                                                                    _context);
}

void EntityImport::map(const Ref<NSDictionary>& record, const Ref<NSManagedObject>& object) const {
  _map->mapDictionaryToObjectFilterObserver(record, object, _filter, mappingObserver(_context),
                                            MappingWrites::Changes);
}

}  // namespace JNFoundation::impl
