#include "JNFoundation/importing/impl/EntityImport.h"

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
}

Value EntityImport::identityOfRecord(const Ref<NSDictionary>& record) {
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
  std::vector<Value> values;
  values.reserve(_identity.size());
  for (const auto& attribute : _identity) {
    Value value = object.valueForKey(attribute->name());
    if (value.isNull()) return nullptr;
    values.push_back(asKept(value, attribute->attributeType()));
  }
  if (values.size() == 1) return std::move(values.front());
  return values.empty() ? Value() : Value(NSArray::arrayWithValues(std::move(values)));
}

Value EntityImport::identityOfScratch() const { return identityOfObject(*_scratch); }

void EntityImport::clearScratch() {
  for (const auto& attribute : _identity) _scratch->setValueForKey(nullptr, attribute->name());
}

void EntityImport::addObjectsOfIdentities(const std::vector<Value>& identities,
                                          const Ref<NSMutableDictionary>& objects) const {
  if (identities.empty()) return;
  // Of several attributes each is held against all its values, which finds more than is wanted.
  const bool findsMore = _identity.size() > 1;
  std::vector<Value> conditions;
  for (std::size_t i = 0; i < _identity.size(); ++i) {
    Value values;
    if (findsMore) {
      const Ref<NSMutableSet> parts = NSMutableSet::set();
      for (const Value& identity : identities) {
        parts->addObject(as<NSArray>(identity)->objectAtIndex(i));
      }
      values = Value(parts);
    } else {
      values = Value(NSArray::arrayWithValues(identities));
    }
    conditions.emplace_back(
        NSPredicate::predicateWithFormat("%K IN %@", _identity[i]->name(), values));
  }
  const Ref<NSFetchRequest> request = NSFetchRequest::init();
  request->setEntity(_entity);
  request->setPredicate(NSCompoundPredicate::andPredicateWithSubpredicates(
      NSArray::arrayWithValues(std::move(conditions))));
  if (isOrdered(_identity.front()->attributeType())) {
    // As an index finds them, so that the store need not put them into its own order first.
    request->setSortDescriptors(NSArray::arrayWithObject(
        NSSortDescriptor::sortDescriptorWithKeyAscending(_identity.front()->name(), true)));
  }
  Ref<NSError> error;
  const Ref<NSArray> found = _context->executeFetchRequestError(request, &error);
  if (!found) throw Rejected(Value(error));
  // An object that the context has already may hold other values than its record.
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
